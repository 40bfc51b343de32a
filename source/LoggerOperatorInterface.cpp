#include "LoggerOperatorInterface.h"

#include "LoggerDb.h"
#include "LoggerErrorText.h"
#include "LoggerOperator.h"

namespace {

QString storeAdvice()
{
    const LoggerDb& db = LoggerDb::getInstance();
    if (!db.isInitialized())
        return QStringLiteral("the store is not initialized; initialize it first");
    return QStringLiteral("check the catalogue %1 and the data folder %2")
        .arg(db.getFullDbName(), db.getDataFolder());
}

} // namespace

LoggerOperatorInterface::~LoggerOperatorInterface() = default;

bool LoggerOperatorInterface::initialize()
{
    return withErrorText(
        [] { return LoggerOperator::initialize(); },
        [] { return QStringLiteral("the operator log did not initialize: ") + storeAdvice(); });
}

bool LoggerOperatorInterface::startLogger()
{
    return withErrorText([] { return LoggerOperator::start(); },
                         [] { return QStringLiteral("the operator log did not start: ") + storeAdvice(); });
}

bool LoggerOperatorInterface::logEvent(DataOperator item)
{
    return withErrorText(
        [&item] { return LoggerOperator::logEvent(item); },
        [] {
            return QStringLiteral("the operator entry was not written to the operator log: start the log "
                                  "first; ") +
                   storeAdvice();
        });
}

void LoggerOperatorInterface::createDefault(DataOperator& item)
{
    LoggerOperator::createDefault(item);
}

void LoggerOperatorInterface::setUser(QString user, DataOperator& item)
{
    LoggerOperator::setUser(user, item);
}

void LoggerOperatorInterface::setIp(QString ip, DataOperator& item)
{
    LoggerOperator::setIp(ip, item);
}

bool LoggerOperatorInterface::isEnabled()
{
    return LoggerOperator::getEnabled();
}

bool LoggerOperatorInterface::createNewFile(timespec time)
{
    return withErrorText([time] { return LoggerOperator::createNewOperatorFile(time); },
                         [] {
                             if (!LoggerOperator::getInstance()->isOperatorEnabled())
                                 return QStringLiteral(
                                     "the operator log is switched off, so no new operator file is made: "
                                     "switch it on with setEnabled(true)");
                             return QStringLiteral("no new operator file was made: ") + storeAdvice();
                         });
}

int LoggerOperatorInterface::getDaysPerFile()
{
    return LoggerOperator::getDaysPerFileInterval();
}

bool LoggerOperatorInterface::removeLogger(bool reinitialize)
{
    return withErrorText([reinitialize] { return LoggerOperator::remove(reinitialize); },
                         [] { return QStringLiteral("the operator log was not removed: ") + storeAdvice(); });
}

void LoggerOperatorInterface::closeTimer()
{
    LoggerOperator::closeTimer();
}

void LoggerOperatorInterface::closeFile()
{
    LoggerOperator::getInstance()->closeFile();
}

bool LoggerOperatorInterface::reOpenFile()
{
    return withErrorText(
        [] { return LoggerOperator::getInstance()->reOpenFile(); },
        [] { return QStringLiteral("the operator log's file was not opened again: ") + storeAdvice(); });
}

bool LoggerOperatorInterface::readDatabaseChanges(bool createIfEmpty)
{
    return withErrorText(
        [createIfEmpty] { return LoggerOperator::getInstance()->readDatabaseChanges(createIfEmpty); },
        [] {
            return QStringLiteral("the operator log did not read its type from the catalogue: ") +
                   storeAdvice();
        });
}

void LoggerOperatorInterface::setEnabled(bool enabled)
{
    LoggerOperator::getInstance()->setOperatorEnabled(enabled);
}

bool LoggerOperatorInterface::flush()
{
    return withErrorText([] { return LoggerOperator::getInstance()->flush(); },
                         [] { return QStringLiteral("the operator log was not flushed: ") + storeAdvice(); });
}

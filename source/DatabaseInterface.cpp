#include "DatabaseInterface.h"

#include "LoggerDb.h"
#include "LoggerErrorText.h"
#include "LoggerFileSystem.h"
#include "LoggerGlobalStates.h"
#include "LoggerList.h"
#include "LoggerSDCard.h"

DatabaseInterface::~DatabaseInterface() = default;

void DatabaseInterface::setWriterMode(bool writer)
{
    LoggerDb::getInstance().setWriterMode(writer);
}

void DatabaseInterface::initializeCompleted()
{
    LoggerDb::getInstance().initializeCompleted();
}

LoggerState DatabaseInterface::getLoggerState()
{
    return LoggerDb::getInstance().getLoggerState();
}

QString DatabaseInterface::getDatabaseFolder() const
{
    return LoggerDb::getInstance().getPath();
}

QString DatabaseInterface::getDataFolder() const
{
    return LoggerDb::getInstance().getDataFolder();
}

bool DatabaseInterface::isDropSchema()
{
    return LoggerDb::getInstance().isDropSchema();
}

bool DatabaseInterface::readParameters(const QString& fileName)
{
    return LoggerDb::getInstance().readParameters(fileName);
}

bool DatabaseInterface::initialize()
{
    LoggerDb& db = LoggerDb::getInstance();
    db.loggerMessage("DatabaseInterface::initialize()", LOGGER_MESSAGE_ROUTINE);
    return db.initialize();
}

bool DatabaseInterface::initialize(const QString& fileName)
{
    LoggerDb& db = LoggerDb::getInstance();
    db.loggerMessage(("DatabaseInterface::initialize(fileName=" + fileName + ")").toStdString(),
                     LOGGER_MESSAGE_ROUTINE);
    return db.initialize(fileName);
}

bool DatabaseInterface::initializeSDCard()
{
    LoggerDb& db = LoggerDb::getInstance();
    db.loggerMessage("DatabaseInterface::initializeSDCard()", LOGGER_MESSAGE_ROUTINE);
    return db.initializeSDCard();
}

bool DatabaseInterface::reinitialize()
{
    return LoggerDb::getInstance().reinitialize();
}

bool DatabaseInterface::isInitialized()
{
    return LoggerDb::getInstance().isInitialized();
}

bool DatabaseInterface::isReadable()
{
    return LoggerGlobalStates::getInstance().isReadable();
}

bool DatabaseInterface::checkValidity()
{
    return LoggerDb::getInstance().checkValidity();
}

void DatabaseInterface::close()
{
    LoggerDb::getInstance().close();
}

QString DatabaseInterface::getLastError()
{
    return LoggerDb::getInstance().getLastError();
}

double DatabaseInterface::getTotalTransactionTime()
{
    return LoggerDb::getInstance().getPerformanceCounter().getTotalDuration();
}

int DatabaseInterface::getTotalTransactionCount()
{
    return LoggerDb::getInstance().getPerformanceCounter().getTotalCount();
}

double DatabaseInterface::getTotalWriteFileTime()
{
    return LoggerFileSystem::mWritePerformance.getTotalDuration();
}

LoggerSDCard* DatabaseInterface::getLoggerSDCard()
{
    return LoggerDb::getInstance().getLoggerSDCard();
}

bool DatabaseInterface::isSdcardMounted()
{
    const LoggerSDCard* sdCard = getLoggerSDCard();
    return sdCard != nullptr && sdCard->isSDCardMounted();
}

void DatabaseInterface::setSDcardMounted()
{
    LoggerSDCard* sdCard = getLoggerSDCard();
    if (sdCard != nullptr)
        sdCard->SetSdState(SDC_MOUNTED);
}

bool DatabaseInterface::initializeLoggers()
{
    return withErrorText(
        [] { return LoggerList::initializeLoggers(); },
        [] {
            const LoggerDb& db = LoggerDb::getInstance();
            return QStringLiteral(
                       "the loggers did not initialize: check the catalogue %1 and the data folder %2")
                .arg(db.getFullDbName(), db.getDataFolder());
        });
}

void DatabaseInterface::setShouldStartLoggers(bool start)
{
    LoggerList::getInstance()->setShouldStartLoggers(start);
}

bool DatabaseInterface::startStopLoggers(bool start)
{
    if (!start)
        return LoggerList::stopLoggers();
    return withErrorText([] { return LoggerList::startLoggers(); },
                         [] {
                             return QStringLiteral(
                                        "the loggers did not start: check the card and the data folder %1")
                                 .arg(LoggerDb::getInstance().getDataFolder());
                         });
}

bool DatabaseInterface::deleteAllLoggers()
{
    return withErrorText(
        [] { return LoggerList::getInstance()->deleteAllLoggers(true); },
        [] {
            const LoggerDb& db = LoggerDb::getInstance();
            return QStringLiteral(
                       "not every logger was deleted from the catalogue %1: initialize the store and "
                       "delete again")
                .arg(db.getFullDbName());
        });
}

void DatabaseInterface::factoryReset()
{
    LoggerList::stopLoggers();
    LoggerDb& db = LoggerDb::getInstance();
    db.setReadable(false);
    db.deleteLoggerFolder();
}

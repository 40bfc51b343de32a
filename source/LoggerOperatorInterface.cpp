#include "LoggerOperatorInterface.h"

#include "LoggerOperator.h"

LoggerOperatorInterface::~LoggerOperatorInterface() = default;

bool LoggerOperatorInterface::initialize()
{
    return LoggerOperator::initialize();
}

bool LoggerOperatorInterface::startLogger()
{
    return LoggerOperator::start();
}

bool LoggerOperatorInterface::logEvent(DataOperator item)
{
    return LoggerOperator::logEvent(item);
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
    return LoggerOperator::createNewOperatorFile(time);
}

int LoggerOperatorInterface::getDaysPerFile()
{
    return LoggerOperator::getDaysPerFileInterval();
}

bool LoggerOperatorInterface::removeLogger(bool reinitialize)
{
    return LoggerOperator::remove(reinitialize);
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
    return LoggerOperator::getInstance()->reOpenFile();
}

bool LoggerOperatorInterface::readDatabaseChanges(bool createIfEmpty)
{
    return LoggerOperator::getInstance()->readDatabaseChanges(createIfEmpty);
}

void LoggerOperatorInterface::setEnabled(bool enabled)
{
    LoggerOperator::getInstance()->setOperatorEnabled(enabled);
}

bool LoggerOperatorInterface::flush()
{
    return LoggerOperator::getInstance()->flush();
}

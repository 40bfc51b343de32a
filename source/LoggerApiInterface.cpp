#include "LoggerApiInterface.h"

#include "LoggerApi.h"
#include "LoggerDb.h"

LoggerApiInterface::~LoggerApiInterface() = default;

LoggerApiInterface* LoggerApiInterface::getApi()
{
    return new LoggerApi();
}

QString LoggerApiInterface::getLastError()
{
    return LoggerDb::getInstance().getAndResetLastError();
}

LoggerState LoggerApiInterface::getLoggerState()
{
    return LoggerDb::getInstance().getLoggerState();
}

void LoggerApiInterface::setInitialLoggerState(LoggerState state)
{
    LoggerDb::getInstance().setInitialLoggerState(state);
}

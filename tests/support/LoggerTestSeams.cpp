#include "LoggerTestSeams.h"

#include "LoggerHooks.h"

#include <utility>

void setRetrySleepForTesting(std::function<void(unsigned long milliseconds)> sleep)
{
    LoggerHooks::retrySleep() = std::move(sleep);
}

void setRetryMessageObserverForTesting(
    std::function<void(const std::string& text, LoggerMessageType type)> observer)
{
    LoggerHooks::retryMessage() = std::move(observer);
}

void setCurrentDateForTesting(std::function<QDate()> today)
{
    LoggerHooks::today() = std::move(today);
}

void setLoggerMessageObserverForTesting(
    std::function<void(const std::string& text, LoggerMessageType type)> observer)
{
    LoggerHooks::loggerMessage() = std::move(observer);
}

void setReadPauseObserverForTesting(std::function<void(unsigned long milliseconds)> observer)
{
    LoggerHooks::readPause() = std::move(observer);
}

void setFullTimeFileWalkForTesting(bool full)
{
    LoggerHooks::fullTimeFileWalk() = full;
}

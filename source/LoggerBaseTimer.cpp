#include "LoggerBaseTimer.h"

#include "LoggerBase.h"

LoggerBaseTimer::LoggerBaseTimer()
{
    setObjectName(QStringLiteral("qzlogger:BaseTimer"));
}

LoggerBaseTimer::~LoggerBaseTimer()
{
    // The thread calls into mLogger: it must have ended before this part of the object goes.
    closeTimer();
}

void LoggerBaseTimer::initTimer(LoggerBase* logger)
{
    mLogger = logger;
}

LoggerBase* LoggerBaseTimer::getLogger() const
{
    return mLogger;
}

void LoggerBaseTimer::timerElapsed()
{
    if (mLogger != nullptr) {
        mLogger->timerElapsed();
    }
}

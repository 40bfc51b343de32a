#include "LoggerCacheTimer.h"

#include "LoggerCacheBase.h"

LoggerCacheTimer::LoggerCacheTimer()
{
    setObjectName(QStringLiteral("qzlogger:CacheTimer"));
}

LoggerCacheTimer::~LoggerCacheTimer()
{
    // The thread calls into mCache: it must have ended before this part of the object goes.
    closeTimer();
}

void LoggerCacheTimer::initTimer(LoggerCacheBase* cache)
{
    mCache = cache;
    setTimeout(0);
}

LoggerCacheBase* LoggerCacheTimer::getCache() const
{
    return mCache;
}

void LoggerCacheTimer::timerElapsed()
{
    if (mCache != nullptr) {
        mCache->timerElapsed();
    }
}

#pragma once

#include "qzlogger_export.h"

#include "LoggerTimer.h"

class LoggerCacheBase;

// The quiet-period timer of a write cache: when a delay ends without a new item, it calls
// timerElapsed() of the cache given to initTimer, which flushes the cache on the timer's thread.
// The cache owns its timer and closes it in its destructor, before its buffer goes.
class QZLOGGER_EXPORT LoggerCacheTimer : public LoggerTimer {
public:
    LoggerCacheTimer();
    LoggerCacheTimer(const LoggerCacheTimer&) = delete;
    LoggerCacheTimer& operator=(const LoggerCacheTimer&) = delete;
    // Ends the thread before the pointer to the cache goes.
    ~LoggerCacheTimer() override;

    // Binds the timer to its cache and sets the time-out to 0: a cache is uncached and without
    // a thread until its logger chooses a time-out. null unbinds it.
    void initTimer(LoggerCacheBase* cache);
    LoggerCacheBase* getCache() const;

    // Calls timerElapsed() of the bound cache, if there is one.
    void timerElapsed() override;

private:
    LoggerCacheBase* mCache = nullptr; // not owned
};

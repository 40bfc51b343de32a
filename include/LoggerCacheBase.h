#pragma once

#include "qzlogger_export.h"

#include <QMutex>

// The part of a write cache that its quiet-period timer sees: the timer calls timerElapsed() on
// its own thread, and that flushes the cache.
//
// mMutex guards the cache's items and count. It is recursive because the cache's writeDatas
// takes it again while writeLoggerItem or flush already hold it. Lock order on the write path:
// mMutex, then the save mutex of the logger's access object, then the mutex of LoggerDb.
class QZLOGGER_EXPORT LoggerCacheBase {
public:
    LoggerCacheBase() = default;
    LoggerCacheBase(const LoggerCacheBase&) = delete;
    LoggerCacheBase& operator=(const LoggerCacheBase&) = delete;
    virtual ~LoggerCacheBase();

    // The quiet period has passed: flush(true). Runs on the timer's thread.
    virtual void timerElapsed();
    // Hands the waiting items to the logger. The argument has no effect.
    virtual bool flush(bool fromTimer) = 0;

protected:
    QMutex mMutex{QMutex::Recursive};
};

#pragma once

#include "qzlogger_export.h"

#include <QMutex>
#include <cstdint>

// Measures how long transactions and file writes take. Safe across threads: the clock is read
// outside the lock, so that waiting for the lock does not count in the measure.
class QZLOGGER_EXPORT LoggerPerformanceCounter {
public:
    LoggerPerformanceCounter() = default;
    virtual ~LoggerPerformanceCounter();
    LoggerPerformanceCounter(const LoggerPerformanceCounter&) = delete;
    LoggerPerformanceCounter& operator=(const LoggerPerformanceCounter&) = delete;

    // Each start counts, also one that is never stopped; a stop adds the time since the last start.
    void startTimer();
    void stopTimer();
    // The last measured duration in seconds.
    double getDuration();
    // The total in seconds; reading it resets it to 0, the count stays.
    double getTotalDuration();
    // The starts counted; never reset.
    int getTotalCount();
    // The total in seconds without resetting it.
    double getCurrentDuration();

private:
    int64_t mStartTime = 0; // system clock, nanoseconds
    int64_t mStopTime = 0;
    double mDuration = 0.0;
    double mTotalDuration = 0.0;
    int mCount = 0;
    QMutex mMutex; // guards all of the above
};

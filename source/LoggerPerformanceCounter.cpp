#include "LoggerPerformanceCounter.h"

#include <QMutexLocker>
#include <ctime>

namespace {

int64_t systemClockNanoseconds()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

} // namespace

LoggerPerformanceCounter::~LoggerPerformanceCounter() = default;

void LoggerPerformanceCounter::startTimer()
{
    const int64_t now = systemClockNanoseconds();
    QMutexLocker locker(&mMutex);
    mStartTime = now;
    ++mCount;
}

void LoggerPerformanceCounter::stopTimer()
{
    const int64_t now = systemClockNanoseconds();
    QMutexLocker locker(&mMutex);
    mStopTime = now;
    mDuration = static_cast<double>(mStopTime - mStartTime) / 1e9;
    mTotalDuration += mDuration;
}

double LoggerPerformanceCounter::getDuration()
{
    QMutexLocker locker(&mMutex);
    return mDuration;
}

double LoggerPerformanceCounter::getTotalDuration()
{
    QMutexLocker locker(&mMutex);
    const double total = mTotalDuration;
    mTotalDuration = 0.0;
    return total;
}

int LoggerPerformanceCounter::getTotalCount()
{
    QMutexLocker locker(&mMutex);
    return mCount;
}

double LoggerPerformanceCounter::getCurrentDuration()
{
    QMutexLocker locker(&mMutex);
    return mTotalDuration;
}

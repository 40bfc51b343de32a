#include "LoggerTimer.h"

#include <QMutexLocker>
#include <algorithm>
#include <chrono>

namespace {

constexpr unsigned long kStoppedPollMilliseconds = 10; // a stopped timer polls rather than parks
constexpr unsigned long kClosePollMilliseconds = 1;
constexpr qint64 kNanosecondsPerMillisecond = 1000000;

// The steady clock in nanoseconds; read through the vDSO, without a system call.
qint64 steadyNow()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

qint64 toNanoseconds(int milliseconds)
{
    return static_cast<qint64>(std::max(0, milliseconds)) * kNanosecondsPerMillisecond;
}

// Rounded up, so that a wait for the rest of a period never ends before the deadline.
unsigned long toWaitMilliseconds(qint64 nanoseconds)
{
    return static_cast<unsigned long>((nanoseconds + kNanosecondsPerMillisecond - 1) /
                                      kNanosecondsPerMillisecond);
}

} // namespace

LoggerTimer::LoggerTimer()
{
    setObjectName(QStringLiteral("qzlogger:Timer"));
}

LoggerTimer::LoggerTimer(const LoggerTimer& other)
    : QThread(), mTimeout(other.mTimeout.load()), mRunning(other.mRunning.load()),
      mEnabled(other.mEnabled.load()), mReserved(other.mReserved), mStarting(other.mStarting.load()),
      mDeadline(other.mDeadline.load())
{
    setObjectName(QStringLiteral("qzlogger:Timer"));
}

LoggerTimer::~LoggerTimer()
{
    closeTimer();
}

void LoggerTimer::timerElapsed()
{
}

void LoggerTimer::run()
{
    mEnabled = true;
    while (mEnabled) {
        if (!mRunning) {
            QThread::msleep(kStoppedPollMilliseconds);
            continue;
        }
        // Called without mWakeMutex: the callback may stop or start this timer.
        if (waitForQuietPeriod()) {
            timerElapsed();
        }
    }
    mEnabled = false;
}

bool LoggerTimer::waitForQuietPeriod()
{
    QMutexLocker locker(&mWakeMutex);
    while (mEnabled && mRunning) {
        setStarting(false);
        // Publish the deadline and read it again: a start that stores an earlier deadline after
        // the second read sees the published one and wakes this thread, and the mutex held until
        // the wait keeps that wake-up from getting lost.
        qint64 deadline = mDeadline.load();
        for (;;) {
            mWaitingUntil.store(deadline);
            const qint64 latest = mDeadline.load();
            if (latest == deadline) {
                break;
            }
            deadline = latest;
        }
        const qint64 now = steadyNow();
        if (now < deadline) {
            // No deadline while running: a start overlapped a stop. The next start wakes the
            // thread, since any deadline lies before this one; until then it polls.
            const unsigned long wait =
                deadline == kNoDeadline ? kStoppedPollMilliseconds : toWaitMilliseconds(deadline - now);
            mPerformance.startTimer();
            mWakeCondition.wait(&mWakeMutex, wait);
            mPerformance.stopTimer();
            // Reading the total resets it, so that it always holds the last wait alone.
            mPerformance.getTotalDuration();
            continue;
        }
        // The quiet period is over unless a start or stop moved the deadline since it was read;
        // the swap decides, and the next period of a timer left running begins now.
        if (mDeadline.compare_exchange_strong(deadline, now + toNanoseconds(mTimeout))) {
            mWaitingUntil.store(kNotWaiting);
            return true;
        }
    }
    mWaitingUntil.store(kNotWaiting);
    return false;
}

void LoggerTimer::startTimer()
{
    const int timeout = mTimeout;
    if (timeout == 0) {
        return;
    }
    // The deadline first: the thread reads it after it has seen mRunning.
    const qint64 deadline = steadyNow() + toNanoseconds(timeout);
    mDeadline.store(deadline);
    setStarting(true);
    if (!mRunning) {
        mRunning = true;
    }
    // Whether the thread runs is a question under QThread's mutex; once this timer started it,
    // the thread lives until closeTimer(), and the flag answers without the lock.
    if (!mThreadStarted.load(std::memory_order_acquire)) {
        if (!isRunning()) {
            start(QThread::InheritPriority);
        }
        mThreadStarted.store(true, std::memory_order_release);
    }
    // A thread that waits for a later deadline wakes then by itself and waits for the rest; only
    // one that would sleep past this deadline is woken now.
    if (deadline < mWaitingUntil.load()) {
        wakeUpTimer();
    }
}

void LoggerTimer::stopTimer()
{
    if (mRunning) {
        // The deadline first, so that the thread's swap fails from here on and nothing fires.
        mDeadline.store(kNoDeadline);
        mRunning = false;
        wakeUpTimer();
    }
}

void LoggerTimer::closeTimer()
{
    mRunning = false;
    mEnabled = false;
    wakeUpTimer();
    // The thread sets mEnabled when it begins, which may be after the store above.
    while (isRunning()) {
        mEnabled = false;
        QThread::msleep(kClosePollMilliseconds);
    }
    mThreadStarted.store(false, std::memory_order_release);
    QThread::msleep(kClosePollMilliseconds);
}

void LoggerTimer::wakeUpTimer()
{
    QMutexLocker locker(&mWakeMutex);
    mWakeCondition.wakeOne();
}

void LoggerTimer::waitDelay()
{
    QMutexLocker locker(&mWakeMutex);
    mWakeCondition.wait(&mWakeMutex, static_cast<unsigned long>(std::max(0, mTimeout.load())));
}

void LoggerTimer::setStarting(bool starting)
{
    // Decides nothing, so it orders nothing: a plain atomic store without a fence.
    mStarting.store(starting, std::memory_order_relaxed);
}

bool LoggerTimer::getStarting() const
{
    return mStarting;
}

void LoggerTimer::setTimeout(int timeout)
{
    mTimeout = timeout;
}

int LoggerTimer::getTimeout() const
{
    return mTimeout;
}

bool LoggerTimer::getRunning() const
{
    return mRunning;
}

bool LoggerTimer::getEnabled() const
{
    return mEnabled;
}

void LoggerTimer::setNextTime()
{
}

void LoggerTimer::timerTick(timespec time)
{
    Q_UNUSED(time)
}

#include "LoggerTimer.h"

#include <QMutexLocker>
#include <algorithm>
#include <chrono>

namespace {

constexpr unsigned long kStoppedPollMilliseconds = 10; // a stopped timer polls rather than parks
constexpr unsigned long kClosePollMilliseconds = 1;
// How often a running timer's thread looks for starts during one time-out; a quiet period ends
// at most an eighth of a time-out late.
constexpr qint64 kPollsPerTimeout = 8;
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
        qint64 deadline = mDeadline.load();
        if (deadline == kRestarted || deadline == kDating) {
            // Date the starts made so far: the start is claimed before the clock is read, so the
            // quiet period counts from a moment after every start it covers. A start from here on
            // marks the timer again, and the second swap then fails and dates once more.
            if (!mDeadline.compare_exchange_strong(deadline, kDating)) {
                continue;
            }
            const qint64 dated = steadyNow() + toNanoseconds(mTimeout);
            qint64 claimed = kDating;
            if (!mDeadline.compare_exchange_strong(claimed, dated)) {
                continue;
            }
            deadline = dated;
        }
        const qint64 now = steadyNow();
        if (deadline == kNoDeadline || now < deadline) {
            // A start does not wake this thread: it looks again after a fraction of the time-out,
            // which bounds how late a quiet period that began with an undated start can end. No
            // deadline while running means a start overlapped a stop; the thread then polls.
            const unsigned long wait = deadline == kNoDeadline
                                           ? kStoppedPollMilliseconds
                                           : std::min(toWaitMilliseconds(deadline - now), pollMilliseconds());
            mPerformance.startTimer();
            mWakeCondition.wait(&mWakeMutex, wait);
            mPerformance.stopTimer();
            // Reading the total resets it, so that it always holds the last wait alone.
            mPerformance.getTotalDuration();
            continue;
        }
        // The quiet period is over unless a start or stop changed the deadline since it was read;
        // the swap decides, and the next period of a timer left running begins now.
        if (mDeadline.compare_exchange_strong(deadline, now + toNanoseconds(mTimeout))) {
            return true;
        }
    }
    return false;
}

unsigned long LoggerTimer::pollMilliseconds() const
{
    return std::max(1ul, toWaitMilliseconds(toNanoseconds(mTimeout) / kPollsPerTimeout));
}

void LoggerTimer::startTimer()
{
    const int timeout = mTimeout;
    if (timeout == 0) {
        return;
    }
    // A start that the thread has not dated yet covers this one: the thread dates it after this
    // moment. A stream of starts thus costs a load each and nothing else.
    if (mDeadline.load(std::memory_order_relaxed) == kRestarted &&
        mThreadStarted.load(std::memory_order_relaxed)) {
        return;
    }
    // The mark first: the thread reads it after it has seen mRunning.
    mDeadline.store(kRestarted);
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
    // No mark survives the thread: the next start after a close must take the slow way, which
    // starts a new thread.
    mDeadline.store(kNoDeadline);
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
    const int before = mTimeout.exchange(timeout);
    // A thread that waits by the old time-out looks again now, so that a shorter one counts.
    if (before != timeout && mThreadStarted.load(std::memory_order_acquire)) {
        wakeUpTimer();
    }
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

#include "LoggerTimer.h"

#include <QMutexLocker>
#include <algorithm>

namespace {

constexpr unsigned long kStoppedPollMilliseconds = 10; // a stopped timer polls rather than parks
constexpr unsigned long kClosePollMilliseconds = 1;

} // namespace

LoggerTimer::LoggerTimer()
{
    setObjectName(QStringLiteral("qzlogger:Timer"));
}

LoggerTimer::LoggerTimer(const LoggerTimer& other)
    : QThread(), mTimeout(other.mTimeout.load()), mRunning(other.mRunning.load()),
      mEnabled(other.mEnabled.load()), mReserved(other.mReserved), mStarting(other.mStarting.load())
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
    setStarting(true);
    while (mEnabled) {
        if (!mRunning) {
            QThread::msleep(kStoppedPollMilliseconds);
            continue;
        }
        mPerformance.startTimer();
        waitDelay();
        mPerformance.stopTimer();
        // Reading the total resets it, so that it always holds the last wait alone.
        mPerformance.getTotalDuration();
        // A wait that ended while mStarting was set was restarted or is the thread's first one.
        if (!getStarting() && mRunning) {
            timerElapsed();
        }
        setStarting(false);
    }
    mEnabled = false;
}

void LoggerTimer::startTimer()
{
    if (mTimeout == 0) {
        return;
    }
    setStarting(true);
    mRunning = true;
    if (!isRunning()) {
        start(QThread::InheritPriority);
    }
    wakeUpTimer();
    // Set once more after the wake: the thread may have cleared the flag after the first set,
    // and the delay that begins now must run to its full length.
    setStarting(true);
}

void LoggerTimer::stopTimer()
{
    if (mRunning) {
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
    mStarting = starting;
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

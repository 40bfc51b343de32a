#pragma once

#include "qzlogger_export.h"

#include "LoggerPerformanceCounter.h"

#include <QMutex>
#include <QThread>
#include <QWaitCondition>
#include <atomic>
#include <ctime>
#include <limits>

// A retriggerable one-thread timer: mTimeout milliseconds after the last startTimer() the thread
// calls the virtual timerElapsed() on its own thread. Every startTimer() restarts the delay, so a
// timer started again and again at intervals shorter than the time-out never fires. While it
// runs, it fires once per time-out; a subclass that wants a single shot calls stopTimer() from
// its timerElapsed(), as the write cache does through its flush.
//
// A start does not wake the thread: it moves the deadline of the quiet period. The thread wakes
// at the deadline it waits for, finds the deadline moved and waits again for what is left, so a
// stream of starts costs a clock read and a few atomic stores each, and no system call. Only a
// start whose deadline lies before the one the thread waits for (the time-out was shortened)
// wakes it. The first delay of a freshly started thread is a full time-out like any other; a
// start on a stopped timer is taken up at the thread's next poll, within 10 ms.
//
// A stopped timer keeps its thread, which polls every 10 ms until startTimer() or closeTimer().
// closeTimer() ends the thread; the destructor calls it. A subclass whose timerElapsed() uses its
// own members calls closeTimer() in its own destructor, so that the thread has ended before those
// members go. closeTimer() must not be called from the timer's own thread, which it waits for.
//
// Threads: startTimer, stopTimer, closeTimer, setTimeout and setStarting are called by other
// threads while the timer thread reads the flags and the deadline, which are atomics. The
// thread takes the end of a quiet period with a compare-and-swap on the deadline, so a start or
// stop that stored a deadline before that moment always wins over the fire. mWakeMutex is held
// by the thread from reading the deadline until it waits, and taken by every wake-up, so that
// no wake-up falls between the two. startTimer and stopTimer on one timer are meant to come one
// after the other, as the cache's mutex orders them; a start that overlaps a stop may leave the
// timer stopped while getRunning() says true, until the next start.
class QZLOGGER_EXPORT LoggerTimer : public QThread {
public:
    LoggerTimer();
    // A fresh timer with the same state values as other: time-out and flags. The thread is not
    // copied; the copy has none until it is started.
    LoggerTimer(const LoggerTimer& other);
    LoggerTimer& operator=(const LoggerTimer&) = delete;
    ~LoggerTimer() override;

    // Called on the timer's thread when a delay ended without being restarted or stopped. Does
    // nothing here.
    virtual void timerElapsed();

    // Does nothing while the time-out is 0. Otherwise starts the thread if it does not run yet
    // and begins a new delay of full length; a delay that was running ends without firing.
    void startTimer();
    // Ends the running delay without firing; the thread stays and polls. A fire whose quiet
    // period ended before the call may still be under way on the timer's thread.
    void stopTimer();
    // Stops the timer and waits until its thread has ended, then 1 ms more.
    void closeTimer();
    // Ends the running wait early. The thread then looks at the deadline again and waits for
    // what is left of it: a wake-up alone never fires.
    void wakeUpTimer();
    // One wait of at most mTimeout milliseconds on the wake condition. It does not tell a
    // wake-up from a time-out; the thread itself waits for the deadline instead.
    void waitDelay();

    // Set by startTimer(): a start that the thread has not taken up yet. The thread clears it
    // when it reads the deadline; it decides nothing.
    void setStarting(bool starting);
    bool getStarting() const;
    // Milliseconds; a negative time-out waits 0 ms.
    void setTimeout(int timeout);
    int getTimeout() const;
    bool getRunning() const;
    bool getEnabled() const;

    // Hooks for timers that follow the writer's clock; they do nothing here.
    void setNextTime();
    void timerTick(timespec time);

protected:
    // The thread: waits while the timer runs and fires when a wait was not restarted.
    void run() override;

private:
    static constexpr qint64 kNoDeadline = std::numeric_limits<qint64>::max();
    static constexpr qint64 kNotWaiting = std::numeric_limits<qint64>::min();

    // Waits until the deadline passes with the timer running: true when the quiet period ended
    // and this thread claimed it, false when the timer was stopped or closed.
    bool waitForQuietPeriod();

    std::atomic<int> mTimeout{0};      // milliseconds
    std::atomic<bool> mRunning{false}; // the timer should fire
    std::atomic<bool> mEnabled{false}; // the thread should live on
    bool mReserved = false;            // has no reader; stays false
    QMutex mStartingMutex;             // not taken: mStarting is atomic
    QMutex mWakeMutex;                 // the mutex of the wait on mWakeCondition
    QWaitCondition mWakeCondition;
    std::atomic<bool> mStarting{false};    // a start the thread has not taken up yet
    LoggerPerformanceCounter mPerformance; // measures each wait
    // End of the quiet period, steady clock in nanoseconds; a stopped timer's is kNoDeadline.
    std::atomic<qint64> mDeadline{kNoDeadline};
    // The deadline the thread waits for now, kNotWaiting while it does not wait. Written by the
    // thread under mWakeMutex; a start compares its deadline with it to know whether to wake.
    std::atomic<qint64> mWaitingUntil{kNotWaiting};
    // startTimer() started the thread, which lives until closeTimer() clears this again. Not
    // copied: a copy has no thread.
    std::atomic<bool> mThreadStarted{false};
};

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
// A start neither wakes the thread nor reads the clock: it marks the timer as started. The thread
// looks at the mark every eighth of a time-out, claims it, reads the clock and waits a full
// time-out from that moment, which lies after every start it covers. Further starts before the
// thread has looked find the mark still set and cost one load, so a stream of starts costs no
// system call and no clock read. The quiet period thus ends a full time-out after the last start
// at the earliest, and at most an eighth of a time-out later. A start on a stopped timer is taken
// up at the thread's next poll, within 10 ms; setTimeout() wakes the thread, so that a shorter
// time-out counts at once.
//
// A stopped timer keeps its thread, which polls every 10 ms until startTimer() or closeTimer().
// closeTimer() ends the thread; the destructor calls it. A subclass whose timerElapsed() uses its
// own members calls closeTimer() in its own destructor, so that the thread has ended before those
// members go. closeTimer() must not be called from the timer's own thread, which it waits for.
//
// Threads: startTimer, stopTimer, closeTimer, setTimeout and setStarting are called by other
// threads while the timer thread reads the flags and the deadline, which are atomics. The
// thread takes the end of a quiet period with a compare-and-swap on the deadline, so a start or
// stop that stored its mark or deadline before that moment always wins over the fire. mWakeMutex
// is held by the thread from reading the deadline until it waits, and taken by every wake-up, so
// that no wake-up falls between the two. startTimer and stopTimer on one timer are meant to come
// one after the other, as the cache's mutex orders them; a start that overlaps a stop may leave
// the timer stopped while getRunning() says true, until the next start.
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
    // A start the thread has not dated yet, and the moment the thread dates it.
    static constexpr qint64 kRestarted = kNoDeadline - 1;
    static constexpr qint64 kDating = kNoDeadline - 2;

    // Waits until the deadline passes with the timer running: true when the quiet period ended
    // and this thread claimed it, false when the timer was stopped or closed.
    bool waitForQuietPeriod();
    // The longest wait of the running timer's thread: an eighth of the time-out, 1 ms at least.
    unsigned long pollMilliseconds() const;

    std::atomic<int> mTimeout{0};      // milliseconds
    std::atomic<bool> mRunning{false}; // the timer should fire
    std::atomic<bool> mEnabled{false}; // the thread should live on
    bool mReserved = false;            // has no reader; stays false
    QMutex mStartingMutex;             // not taken: mStarting is atomic
    QMutex mWakeMutex;                 // the mutex of the wait on mWakeCondition
    QWaitCondition mWakeCondition;
    std::atomic<bool> mStarting{false};    // a start the thread has not taken up yet
    LoggerPerformanceCounter mPerformance; // measures each wait
    // End of the quiet period, steady clock in nanoseconds; kRestarted or kDating while a start
    // waits to be dated, kNoDeadline for a stopped timer.
    std::atomic<qint64> mDeadline{kNoDeadline};
    // startTimer() started the thread, which lives until closeTimer() clears this again. Not
    // copied: a copy has no thread.
    std::atomic<bool> mThreadStarted{false};
};

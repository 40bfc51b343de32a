#pragma once

#include "qzlogger_export.h"

#include "LoggerPerformanceCounter.h"

#include <QMutex>
#include <QThread>
#include <QWaitCondition>
#include <atomic>
#include <ctime>

// A retriggerable one-thread timer: the thread waits on a condition for mTimeout milliseconds and
// then calls the virtual timerElapsed() on its own thread. Every startTimer() restarts the delay,
// so a timer started again and again at intervals shorter than the time-out never fires. While
// it runs, it fires once per time-out; a subclass that wants a single shot calls stopTimer() from
// its timerElapsed(), as the write cache does through its flush.
//
// The first delay of a freshly started thread may last up to twice the time-out: the thread
// ignores the first wait it begins, and the start's wake-up is lost when it arrives before the
// thread waits.
//
// A stopped timer keeps its thread, which polls every 10 ms until startTimer() or closeTimer().
// closeTimer() ends the thread; the destructor calls it. A subclass whose timerElapsed() uses its
// own members calls closeTimer() in its own destructor, so that the thread has ended before those
// members go. closeTimer() must not be called from the timer's own thread, which it waits for.
//
// Threads: startTimer, stopTimer, closeTimer, setTimeout and setStarting are called by other
// threads while the timer thread reads the flags. The four flags are atomics, and no lock spans
// two of them; that is why startTimer() sets mStarting both before and after its wake-up.
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
    // Ends the running delay without firing; the thread stays and polls.
    void stopTimer();
    // Stops the timer and waits until its thread has ended, then 1 ms more.
    void closeTimer();
    // Ends the running wait early. Whether that fires depends on mStarting: a wake-up after
    // setStarting(true) does not fire, one without does.
    void wakeUpTimer();
    // One wait of at most mTimeout milliseconds on the wake condition. It does not tell a
    // wake-up from a time-out.
    void waitDelay();

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
    std::atomic<int> mTimeout{0};      // milliseconds
    std::atomic<bool> mRunning{false}; // the timer should fire
    std::atomic<bool> mEnabled{false}; // the thread should live on
    bool mReserved = false;            // has no reader; stays false
    QMutex mStartingMutex;             // not taken: mStarting is atomic
    QMutex mWakeMutex;                 // the mutex of the wait on mWakeCondition
    QWaitCondition mWakeCondition;
    std::atomic<bool> mStarting{false};    // a wait running now is to be ignored once
    LoggerPerformanceCounter mPerformance; // measures each wait
};

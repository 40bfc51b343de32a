#pragma once

#include "LoggerTimer.h"

class LoggerBase;

// A timer that hands its firing to a logger: timerElapsed() of the logger given to initTimer,
// on the timer's thread. The logger is not owned and must outlive the timer's thread; whoever
// owns both closes the timer (closeTimer) before the logger goes.
class LoggerBaseTimer : public LoggerTimer {
public:
    LoggerBaseTimer();
    LoggerBaseTimer(const LoggerBaseTimer&) = delete;
    LoggerBaseTimer& operator=(const LoggerBaseTimer&) = delete;
    // Ends the thread before the pointer to the logger goes.
    ~LoggerBaseTimer() override;

    // Binds the timer to its logger; null unbinds it.
    void initTimer(LoggerBase* logger);
    LoggerBase* getLogger() const;

    // Calls timerElapsed() of the bound logger, if there is one.
    void timerElapsed() override;

private:
    LoggerBase* mLogger = nullptr; // not owned
};

#pragma once

#include "LoggerTypes.h"

#include <csignal>
#include <ctime>
#include <iostream>

// Power cuts at named points of a writer, for the crash tests whose writer is a child process.
// A cut ends the process at once with SIGKILL: no handler, no flush of the store, no destructor
// runs, as when the instrument loses its power. Before it, the line "cut <where>" goes to the
// standard output, so that the parent can tell a cut at the named point from a failure.

// Ends this process as a power cut does.
[[noreturn]] inline void cutPowerNow(const char* where)
{
    std::cout << "cut " << where << std::endl;
    ::raise(SIGKILL);
    // SIGKILL is neither caught nor ignored; the process ends before raise returns.
    for (;;) {
    }
}

// A logger whose power is cut right after it has begun a further file: the file is made and
// its catalogue row stored, and no block has reached it yet. Armed by cutAfterNextNewFile().
template <class Logger> class CutAfterNewFileRow : public Logger {
public:
    using Logger::Logger;

    void cutAfterNextNewFile(bool armed = true) { mArmed = armed; }

    bool createNewFile(timespec time, LoggerDataType dataType) override
    {
        const bool created = Logger::createNewFile(time, dataType);
        if (created && mArmed)
            cutPowerNow("after-new-file-row");
        return created;
    }

private:
    bool mArmed = false;
};

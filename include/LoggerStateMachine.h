#pragma once

#include "qzlogger_export.h"

#include "LoggerState.h"

// Composes the state word group by group and posts it through LoggerGlobalStates. The writer's
// LoggerDb holds one; readers only read the word.
//
// setState is a read-modify-write on the local copy, not on the file: a change that another
// party made to the file counts only after getState has refreshed the copy.
class QZLOGGER_EXPORT LoggerStateMachine {
public:
    LoggerStateMachine() = default;
    virtual ~LoggerStateMachine();

    // Reads the word from the state file, keeps it as the local copy and returns it.
    LoggerState getState();

    // Changes one group of the local copy and writes the whole word. The group is the first
    // one, in the order card, run, access, reset, in which state has bits; with none of those
    // it is the base group. 0 clears every group. Bits of later groups are dropped, so that
    // setting two groups takes two calls.
    void setState(LoggerState state);

private:
    LoggerState mState = LOGGER_STATE_STARTUP;
};

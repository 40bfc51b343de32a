#include "LoggerStateMachine.h"

#include "LoggerGlobalStates.h"

namespace {

LoggerState replaceGroup(LoggerState word, LoggerState mask, LoggerState state)
{
    return (word & ~mask) | (state & mask);
}

} // namespace

LoggerStateMachine::~LoggerStateMachine() = default;

LoggerState LoggerStateMachine::getState()
{
    mState = LoggerGlobalStates::getInstance().getLoggerState();
    return mState;
}

void LoggerStateMachine::setState(LoggerState state)
{
    // The first test that holds chooses the group; the order is part of the contract, since a
    // caller passing bits of two groups gets only the first of them.
    if (state == LOGGER_STATE_STARTUP)
        mState = LOGGER_STATE_STARTUP;
    else if (state & LOGGER_STATE_CARD_MASK)
        mState = replaceGroup(mState, LOGGER_STATE_CARD_MASK, state);
    else if (state & LOGGER_STATE_RUN_MASK)
        mState = replaceGroup(mState, LOGGER_STATE_RUN_MASK, state);
    else if (state & LOGGER_STATE_ACCESS_MASK)
        mState = replaceGroup(mState, LOGGER_STATE_ACCESS_MASK, state);
    else if (state & LOGGER_STATE_RESET_MASK)
        mState = replaceGroup(mState, LOGGER_STATE_RESET_MASK, state);
    else
        mState = replaceGroup(mState, LOGGER_STATE_BASE_MASK, state);
    LoggerGlobalStates::getInstance().setLoggerState(mState);
}

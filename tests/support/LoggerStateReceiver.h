#pragma once

#include "LoggerState.h"

#include <QList>
#include <QMutex>
#include <QObject>
#include <QWaitCondition>

// A host's receiver of the posted state word: an object with the slot
// loggerStateChanged(LoggerState) that LoggerSDCard::connectReceiver connects to. It writes down
// every word it gets, in the order of arrival. Tests move it to a thread with its own event
// loop, as a host's object lives there, so that the words arrive queued.
class LoggerStateReceiver : public QObject {
    Q_OBJECT
public:
    static constexpr int kTimeoutMs = 10000;

    LoggerStateReceiver() = default;

    QList<LoggerState> states() const;
    // Waits until the word state has arrived; false at the deadline.
    bool waitForState(LoggerState state, int timeoutMs = kTimeoutMs);
    // Returns once everything posted to the receiver's thread before the call has been handled:
    // a word that has not arrived then was never sent.
    void drainEvents();

public slots:
    void loggerStateChanged(LoggerState state);

private:
    mutable QMutex mMutex; // guards mStates
    QWaitCondition mArrived;
    QList<LoggerState> mStates;
};

#include "LoggerStateReceiver.h"

#include <QDeadlineTimer>
#include <QMetaObject>
#include <QMutexLocker>
#include <QThread>

QList<LoggerState> LoggerStateReceiver::states() const
{
    QMutexLocker locker(&mMutex);
    return mStates;
}

bool LoggerStateReceiver::waitForState(LoggerState state, int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    QMutexLocker locker(&mMutex);
    while (!mStates.contains(state)) {
        if (!mArrived.wait(&mMutex, deadline))
            return mStates.contains(state);
    }
    return true;
}

void LoggerStateReceiver::drainEvents()
{
    if (thread() == QThread::currentThread())
        return;
    QMetaObject::invokeMethod(
        this, [] {}, Qt::BlockingQueuedConnection);
}

void LoggerStateReceiver::loggerStateChanged(LoggerState state)
{
    QMutexLocker locker(&mMutex);
    mStates.append(state);
    mArrived.wakeAll();
}

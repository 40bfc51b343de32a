#pragma once

#include <QDeadlineTimer>
#include <QThread>

// Polls condition until it holds or timeoutMs have passed; the answer is the last one.
template <typename Condition> bool waitUntil(Condition condition, int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    while (!condition()) {
        if (deadline.hasExpired())
            return condition();
        QThread::msleep(5);
    }
    return true;
}

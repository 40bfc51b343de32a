#include "LoggerEntityChanged.h"

#include <QMutexLocker>

LoggerEntityChanged& LoggerEntityChanged::getInstance()
{
    static LoggerEntityChanged instance;
    return instance;
}

LoggerEntityChanged::~LoggerEntityChanged() = default;

void LoggerEntityChanged::setChanged(const LoggerKey& key, bool changed)
{
    QMutexLocker locker(&mMutex);
    mChanged.insert(key, changed);
}

bool LoggerEntityChanged::getChanged(const LoggerKey& key)
{
    QMutexLocker locker(&mMutex);
    auto entry = mChanged.find(key);
    if (entry == mChanged.end()) {
        // Nobody has read this logger yet: whatever a reader holds of it is not known to be current.
        mChanged.insert(key, false);
        return true;
    }
    const bool changed = entry.value();
    entry.value() = false;
    return changed;
}

void LoggerEntityChanged::remove(const LoggerKey& key)
{
    QMutexLocker locker(&mMutex);
    mChanged.remove(key);
}

void LoggerEntityChanged::setLoggerChanged(LoggerType type, LoggerDataType dataType, int id, bool changed)
{
    getInstance().setChanged(LoggerKey(type, dataType, id), changed);
}

bool LoggerEntityChanged::getLoggerChanged(LoggerType type, LoggerDataType dataType, int id)
{
    return getInstance().getChanged(LoggerKey(type, dataType, id));
}

void LoggerEntityChanged::remove(LoggerType type, LoggerDataType dataType, int id)
{
    getInstance().remove(LoggerKey(type, dataType, id));
}

#pragma once

#include "LoggerBase.h"
#include "LoggerCacheBase.h"
#include "LoggerCacheTimer.h"
#include "LoggerDb.h"
#include "LoggerDebug.h"
#include "LoggerResult.h"

#include <QMutexLocker>
#include <QString>

// The write cache in front of a typed logger: it collects items of type T in memory and hands
// them to the write engine as one block, when it is full or when a quiet period has passed
// without a new item. One file open and close then serves a whole block, and items that
// arrive before the database is up wait here.
//
// Capacity and quiet period are chosen once by the owning logger, in its constructor
// (setCapacity, setTimeout). Capacity 0, the default, writes each item at once; time-out 0,
// the default, never starts the timer's thread.
//
// Threads: writeLoggerItem and flush run on the caller's thread, the quiet-period flush on the
// timer's thread; mMutex (recursive) guards mCount, mCacheItems and the log flag for both.
//
// The per-item debug messages are decided by a flag the cache keeps, not by asking log4cxx per
// item, whose level check takes a lock that the timer's thread contends for. The flag is asked
// anew with the first item of each block and whenever the log configuration's generation
// moved (LoggerDebug::getLogGeneration), which every appender that comes or goes does. A change
// of level thus counts from the next block at the latest, and from the next item where a
// configurator added or removed appenders after it.
//
// Lifetime: the logger is not owned and must outlive the cache. The destructor ends the timer's
// thread before the buffer goes; waiting items are not written, whoever wants them on disk
// flushes first.
template <typename T> class LoggerCache : public LoggerCacheBase {
public:
    explicit LoggerCache(LoggerBase* logger);
    ~LoggerCache() override;

    // Keeps the item, restarting the quiet period; with capacity 0 writes it at once, and a full
    // cache goes out as one block. A mobile logger that is not enabled drops it with true. False
    // where it did not get through: the database down with a full cache (or capacity 0), or the
    // block not written. A cache that filled while the database was down goes out on the first
    // call after it is up, and the item in hand is then lost, whatever the answer.
    bool writeLoggerItem(const T* item);
    // Hands all waiting items to the engine as one block, without the engine's order check
    // (the typed logger checked each item on its way in). False while the database is down,
    // while the logger is disabled (the items then stay) and when the engine refused the
    // block (the items are then gone).
    bool writeDatas();
    // Writes the waiting items and stops the quiet-period timer. With nothing waiting the timer
    // is left alone and the result is whether the database is up.
    bool flush(bool fromTimer) override;

    // Items the cache holds at most; reallocates the buffer and drops what waits in it.
    void setCapacity(int items);
    // The quiet period in milliseconds.
    void setTimeout(int milliseconds);
    // Throws the waiting items away; the typed logger does this as it goes.
    void discardItems();
    // Ends the timer's thread; it must not be called from that thread.
    void closeTimer();
    // The writer's clock; the quiet period runs on the timer's own thread and ignores it.
    void timerTick(timespec time);

    unsigned int getCount();
    unsigned int getCapacity();
    const LoggerCacheTimer& getTimer() const;
    // The flag the per-item debug messages go by; see above.
    bool getLogEnabled();

private:
    static bool isDatabaseInitialized();
    // Copies the item behind the waiting ones. The caller holds mMutex and has checked room.
    void storeItem(const T* item);
    // Asks for the debug level again where a block begins or the configuration moved. The caller
    // holds mMutex.
    void refreshLogEnabled();
    void logCacheMessage(const QString& text);

    unsigned int mCount = 0;                // items waiting
    LoggerBase* mLogger;                    // owner, not owned
    LoggerCacheTimer mTimer;                // the quiet period, bound to this cache
    LoggerResult<T, void*> mCacheItems{0u}; // buffer; its size is the capacity
    bool mLogEnabled = false;               // LoggerDebug::isLogEnabled() when last asked
    unsigned int mLogGeneration = 0;        // the log generation then; 0 before the first ask
};

template <typename T> LoggerCache<T>::LoggerCache(LoggerBase* logger) : mLogger(logger)
{
    mTimer.initTimer(this);
}

template <typename T> LoggerCache<T>::~LoggerCache()
{
    // The timer's flush reads the buffer: its thread ends before the buffer goes.
    mTimer.closeTimer();
}

template <typename T> bool LoggerCache<T>::writeLoggerItem(const T* item)
{
    // A mobile logger that is not running records nothing, and that is no fault.
    if (mLogger != nullptr && mLogger->isMobile() && !mLogger->isEnabled()) {
        return true;
    }
    QMutexLocker locker(&mMutex);
    // Read here rather than through getCapacity(), which would lock the recursive mutex again.
    const auto capacity = static_cast<unsigned int>(mCacheItems.mNumItems);
    if (!isDatabaseInitialized()) {
        // Items wait for the database without a timer; beyond the capacity they are lost.
        if (mCount < capacity) {
            storeItem(item);
            return true;
        }
        return false;
    }
    if (capacity == 0) {
        if (mLogger == nullptr) {
            return false;
        }
        return mLogger->writeDatas(reinterpret_cast<const char*>(item), 1, true, false) != nullptr;
    }
    const bool fullOnEntry = mCount >= capacity;
    if (!fullOnEntry) {
        refreshLogEnabled();
        storeItem(item);
        logCacheMessage(QStringLiteral("Cache Item added"));
        if (mCount < capacity) {
            // Every item restarts the quiet period: a steady stream empties the cache by
            // filling it.
            logCacheMessage(QStringLiteral("Cache Timer started"));
            mTimer.startTimer();
            return true;
        }
    }
    // Full on entry only after items waited for the database: they go out, the item in hand
    // is lost.
    return writeDatas();
}

template <typename T> bool LoggerCache<T>::writeDatas()
{
    if (!isDatabaseInitialized()) {
        return false;
    }
    QMutexLocker locker(&mMutex);
    if (mLogger == nullptr || !mLogger->isEnabled()) {
        return false;
    }
    const bool written = mLogger->writeDatas(reinterpret_cast<const char*>(mCacheItems.mItems),
                                             static_cast<int>(mCount), true, false) != nullptr;
    // A refused block is not kept: the cache has no second queue.
    mCount = 0;
    return written;
}

template <typename T> bool LoggerCache<T>::flush(bool)
{
    if (mLogger == nullptr) {
        return false;
    }
    QMutexLocker locker(&mMutex);
    const bool databaseInitialized = isDatabaseInitialized();
    if (databaseInitialized && mCount != 0) {
        mTimer.stopTimer();
        return writeDatas();
    }
    return databaseInitialized;
}

template <typename T> void LoggerCache<T>::setCapacity(int items)
{
    QMutexLocker locker(&mMutex);
    mCount = 0;
    mCacheItems.resize(items);
}

template <typename T> void LoggerCache<T>::setTimeout(int milliseconds)
{
    mTimer.setTimeout(milliseconds);
}

template <typename T> void LoggerCache<T>::discardItems()
{
    QMutexLocker locker(&mMutex);
    mCount = 0;
    mCacheItems.clear();
}

template <typename T> void LoggerCache<T>::closeTimer()
{
    mTimer.closeTimer();
}

template <typename T> void LoggerCache<T>::timerTick(timespec time)
{
    mTimer.timerTick(time);
}

template <typename T> unsigned int LoggerCache<T>::getCount()
{
    QMutexLocker locker(&mMutex);
    return mCount;
}

template <typename T> unsigned int LoggerCache<T>::getCapacity()
{
    QMutexLocker locker(&mMutex);
    return static_cast<unsigned int>(mCacheItems.mNumItems);
}

template <typename T> const LoggerCacheTimer& LoggerCache<T>::getTimer() const
{
    return mTimer;
}

template <typename T> bool LoggerCache<T>::getLogEnabled()
{
    QMutexLocker locker(&mMutex);
    return mLogEnabled;
}

template <typename T> bool LoggerCache<T>::isDatabaseInitialized()
{
    return LoggerDb::getInstance().isInitialized();
}

template <typename T> void LoggerCache<T>::storeItem(const T* item)
{
    mCacheItems.mItems[mCount] = *item;
    ++mCount;
}

template <typename T> void LoggerCache<T>::refreshLogEnabled()
{
    const unsigned int generation = LoggerDebug::getLogGeneration();
    if (mCount == 0 || generation != mLogGeneration) {
        mLogEnabled = LoggerDebug::isLogEnabled();
        mLogGeneration = generation;
    }
}

template <typename T> void LoggerCache<T>::logCacheMessage(const QString& text)
{
    // The text is only passed on where debug output is wanted.
    if (mLogEnabled) {
        LoggerDebug::logPqEventMessage(mLogger, text);
    }
}

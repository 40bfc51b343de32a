#pragma once

#include "LoggerBase.h"
#include "LoggerCache.h"
#include "LoggerTypes.h"

#include <cstring>
#include <ctime>
#include <type_traits>

// A logger of one item type T on top of the byte-block engine of LoggerBase, with a write cache
// in front. Every T begins with its time stamp (a DataTimespec), as all item records do.
//
// A derived logger that wants caching sets capacity and quiet period once in its constructor
// (setCacheCapacity, setCacheTimeout); by default each item is written at once.
//
// Threads: writeLoggerItem runs on the caller's thread; the cache's quiet-period flush runs on
// the cache timer's thread and meets it on the cache's mutex.
template <typename T> class LoggerTemplate : public LoggerBase {
public:
    static_assert(std::is_trivially_copyable<T>::value, "logger items are plain records");

    LoggerTemplate(LoggerType loggerType, LoggerDataType loggerDataType, int dataBlockSize = sizeof(T));
    LoggerTemplate(const LoggerTemplate&) = delete;
    LoggerTemplate& operator=(const LoggerTemplate&) = delete;
    // Items still waiting in the cache are thrown away; flush() first to keep them.
    ~LoggerTemplate() override;

    bool createNewFile(timespec time, LoggerDataType dataType) override;
    // Writes what waits in the cache.
    bool flush() override;
    void timerTick(timespec time) override;
    int getDataBlockSize() const override;

    // False when the item did not get through: the process is not the writer (the last error
    // says so), the quantity is disabled, or the cache or the engine refused it. An item that is not newer
    // than getCurrentUtc() gives true and is not written: sources repeat themselves, and a repeat is not a
    // fault (writeDatas with its order check refuses such a block with null instead). A taken item's stamp
    // becomes the current time. A changed identification moves the logger to its new type row first.
    bool writeLoggerItem(const T* item);

protected:
    void setCacheCapacity(int items);
    void setCacheTimeout(int milliseconds);

    LoggerCache<T> mCache{this};
};

template <typename T>
LoggerTemplate<T>::LoggerTemplate(LoggerType loggerType, LoggerDataType loggerDataType, int dataBlockSize)
    : LoggerBase(loggerType, loggerDataType, dataBlockSize)
{
}

template <typename T> LoggerTemplate<T>::~LoggerTemplate()
{
    // The timer ends first, so that no quiet-period flush reaches this logger while it goes.
    mCache.closeTimer();
    mCache.discardItems();
}

template <typename T> bool LoggerTemplate<T>::createNewFile(timespec time, LoggerDataType dataType)
{
    return LoggerBase::createNewFile(time, dataType);
}

template <typename T> bool LoggerTemplate<T>::flush()
{
    return mCache.flush(false);
}

template <typename T> void LoggerTemplate<T>::timerTick(timespec time)
{
    mCache.timerTick(time);
}

template <typename T> int LoggerTemplate<T>::getDataBlockSize() const
{
    return static_cast<int>(sizeof(T));
}

template <typename T> bool LoggerTemplate<T>::writeLoggerItem(const T* item)
{
    // Checked before the cache takes the item: a reader's cache would otherwise answer true.
    if (this->refuseNonWriter("writing to")) {
        return false;
    }
    DataTimespec stamp{0, 0};
    std::memcpy(&stamp, item, sizeof(stamp));
    const timespec time = stamp;

    mMeasType = getNewMeasType();
    if (!mMeasType.enabled) {
        return false;
    }
    // A new identification moves the logger over to its new type row here; initializing the
    // logger anew clears mIdStringChanged when it succeeds.
    if (mIdStringChanged) {
        flush();
        changeMeasuredString();
    }
    mFileRemoved = false;
    if (!checkUtcOrder(time)) {
        return true;
    }
    if (!mCache.writeLoggerItem(item)) {
        return false;
    }
    mCurrentUtc = time;
    return true;
}

template <typename T> void LoggerTemplate<T>::setCacheCapacity(int items)
{
    mCache.setCapacity(items);
}

template <typename T> void LoggerTemplate<T>::setCacheTimeout(int milliseconds)
{
    mCache.setTimeout(milliseconds);
}

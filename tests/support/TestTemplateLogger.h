#pragma once

#include "DataMeasType.h"
#include "LoggerAccess.h"
#include "LoggerBase.h"
#include "LoggerDataItems.h"
#include "LoggerFileInfo.h"
#include "LoggerFileSystem.h"
#include "LoggerTemplate.h"
#include "LoggerTypes.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QString>
#include <QThread>

#include <cstdint>
#include <functional>

// A typed measure logger of mean values with a chosen cache capacity and quiet period, as the
// writer's own loggers set them in their constructors. The quantity can be switched off, as a
// disabled entry of the writer's measurement table does.
class TestTemplateLogger : public LoggerTemplate<DataMean> {
public:
    static constexpr const char* kMeasureId = "mean_3s.signal_3s.out.mean_out";

    TestTemplateLogger(int capacity, int timeoutMilliseconds)
        : LoggerTemplate<DataMean>(LoggerType::CYCLIC, LoggerDataType::MEAN)
    {
        setCacheCapacity(capacity);
        setCacheTimeout(timeoutMilliseconds);
    }
    ~TestTemplateLogger() override = default;

    QString getLoggerName() override { return QStringLiteral("TestTemplateLogger"); }
    QString getConfiguratedMeasuredTypeId() override { return QString::fromLatin1(kMeasureId); }
    double getInterval() override { return 1.0; }
    DataMeasType getDataMeasType(const QString& idString) override
    {
        DataMeasType measType;
        measType.configId = idString;
        measType.interval = 1.0;
        measType.enabled = mQuantityEnabled;
        return measType;
    }

    LoggerCache<DataMean>& cache() { return mCache; }
    void setQuantityEnabled(bool enabled) { mQuantityEnabled = enabled; }

private:
    bool mQuantityEnabled = true;
};

// A mean value at the given time stamp; the counter goes into the mean.
inline DataMean testMean(int32_t seconds, int32_t counter = 0, int32_t nanoseconds = 0)
{
    DataMean item{};
    item.utc.tv_sec = seconds;
    item.utc.tv_nsec = nanoseconds;
    item.mean = static_cast<float>(counter);
    return item;
}

// A second a little ahead of now: initializing a logger sets its last time to now, and only
// later items are written.
inline int32_t testStartSecond()
{
    return static_cast<int32_t>(LoggerBase::getSystemTime().tv_sec) + 10;
}

// The full name of the logger's current data file, empty while it has none.
inline QString currentDataFile(LoggerBase& logger)
{
    const PtrLoggerAccess access = logger.getLoggerAccess();
    const PtrLoggerFileInfo info = access ? access->getCurrentFileInfo() : nullptr;
    return info ? LoggerFileSystem::getFullFileName(info.get()) : QString();
}

// Items in a data file behind its header; 0 where the file does not exist.
inline int itemsInFile(const QString& fileName, int blockSize)
{
    const QFileInfo file(fileName);
    if (fileName.isEmpty() || !file.exists()) {
        return 0;
    }
    return static_cast<int>((file.size() - LoggerBase::kHeaderSize) / blockSize);
}

inline int itemsInCurrentFile(LoggerBase& logger)
{
    return itemsInFile(currentDataFile(logger), logger.getDataBlockSize());
}

// Polls the condition until it holds or the deadline passes; the result is the last answer.
inline bool waitFor(const std::function<bool()>& condition, int deadlineMilliseconds)
{
    QElapsedTimer clock;
    clock.start();
    while (!condition()) {
        if (clock.elapsed() > deadlineMilliseconds) {
            return condition();
        }
        QThread::msleep(2);
    }
    return true;
}

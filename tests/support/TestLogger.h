#pragma once

#include "DataMeasType.h"
#include "LoggerBase.h"
#include "LoggerTypes.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <cstring>
#include <vector>

// A measure logger of the writer's kind without the typed layer: a name, an identification and
// an item size, and a description that carries the identification, as the writer's measurement
// table gives it.
class TestLogger : public LoggerBase {
public:
    TestLogger(const QString& idString, int blockSize, LoggerType type = LoggerType::CYCLIC,
               LoggerDataType dataType = LoggerDataType::MEAN)
        : LoggerBase(type, dataType, blockSize), mIdString(idString), mBlockSize(blockSize)
    {
    }

    QString getLoggerName() override { return QStringLiteral("TestLogger ") + mIdString; }
    QString getConfiguratedMeasuredTypeId() override { return mIdString; }
    int getDataBlockSize() const override { return mBlockSize; }
    double getInterval() override { return mInterval; }
    DataMeasType getDataMeasType(const QString& idString) override
    {
        DataMeasType measType;
        measType.configId = idString;
        measType.interval = mInterval;
        return measType;
    }
    bool readDataToUpdate() override
    {
        ++mReadsToUpdate;
        return true;
    }

    void setIdString(const QString& idString) { mIdString = idString; }
    // The seconds between items that the catalogue keeps for the logger; set before it starts.
    void setInterval(double interval) { mInterval = interval; }
    int readsToUpdate() const { return mReadsToUpdate; }

private:
    QString mIdString;
    int mBlockSize;
    double mInterval = 1.0;
    int mReadsToUpdate = 0;
};

// Items of `blockSize` bytes, each its time stamp followed by a counter, at the given seconds.
inline QByteArray testItems(const std::vector<int32_t>& seconds, int blockSize = 16, int32_t nanoseconds = 0)
{
    QByteArray block;
    int32_t counter = 0;
    for (int32_t second : seconds) {
        QByteArray item(blockSize, '\0');
        const DataTimespec stamp{second, nanoseconds};
        std::memcpy(item.data(), &stamp, sizeof(stamp));
        if (blockSize >= static_cast<int>(sizeof(stamp) + sizeof(counter))) {
            ++counter;
            std::memcpy(item.data() + sizeof(stamp), &counter, sizeof(counter));
        }
        block.append(item);
    }
    return block;
}

// `count` items one `step` of seconds apart, from `start`.
inline std::vector<int32_t> testSeconds(int32_t start, int count, int32_t step = 1)
{
    std::vector<int32_t> seconds;
    seconds.reserve(static_cast<size_t>(count));
    for (int index = 0; index < count; ++index) {
        seconds.push_back(start + index * step);
    }
    return seconds;
}

#pragma once

#include "DataMeasType.h"
#include "LoggerTemplate.h"
#include "LoggerTypes.h"

#include <QString>

// A typed logger of the writer, as a host program declares one: its family and data type, its
// identification, and the seconds between its items, which the catalogue keeps. Each item goes
// to the card at once unless the caller gives it a cache (setCacheCapacity, setCacheTimeout).
template <typename T> class TypedTestLogger : public LoggerTemplate<T> {
public:
    TypedTestLogger(LoggerType type, LoggerDataType dataType, const QString& id, double interval)
        : LoggerTemplate<T>(type, dataType), mId(id), mInterval(interval)
    {
    }
    ~TypedTestLogger() override = default;

    QString getLoggerName() override { return QStringLiteral("TypedTestLogger ") + mId; }
    QString getConfiguratedMeasuredTypeId() override { return mId; }
    double getInterval() override { return mInterval; }
    DataMeasType getDataMeasType(const QString& idString) override
    {
        DataMeasType measType;
        measType.configId = idString;
        measType.interval = mInterval;
        return measType;
    }

    // Items that wait in the cache, not yet handed to the card.
    unsigned int waitingItems() { return this->mCache.getCount(); }
    // Whether the cache holds as many items as it takes.
    bool cacheFull()
    {
        return this->mCache.getCapacity() > 0 && this->mCache.getCount() >= this->mCache.getCapacity();
    }

private:
    const QString mId;
    const double mInterval;
};

// The aggregated getters of LoggerApi: the values of a measured logger read by time and folded
// onto a grid of whole intervals by a LoggerAggregator of the call's own.

#include "LoggerApi.h"

#include "LoggerAggregator.h"
#include "LoggerApiReads.h"
#include "LoggerDb.h"

#include <climits>
#include <cmath>
#include <utility>

namespace {

// The bound of a read that is to give maxItems bins of interval seconds from items stored every
// stored seconds (0 < stored < interval): the items those bins hold, within the range of an int.
// Its sign, and so the meaning of a bound below 1 (none), stays.
int scaledBound(int interval, int maxItems, double stored)
{
    const double items = std::trunc(static_cast<double>(interval) * static_cast<double>(maxItems) / stored);
    if (items >= static_cast<double>(INT_MAX)) {
        return INT_MAX;
    }
    if (items <= static_cast<double>(INT_MIN)) {
        return INT_MIN;
    }
    return static_cast<int>(items);
}

void trace(const QString& text)
{
    LoggerDb::getInstance().loggerMessage(text.toStdString(), LOGGER_MESSAGE_TRACE);
}

} // namespace

template <typename T>
std::shared_ptr<LoggerResult<T>> LoggerApi::readForAggregation(LoggerDataType dataType, const QString& id,
                                                               timespec start, timespec end, int interval,
                                                               int maxItems)
{
    int baseTypeId = -1;
    const std::shared_ptr<DefnBaseType> measuredType =
        identifyMeasured(dataType, id, baseTypeId, kFailedLookupPause);
    if (measuredType == nullptr) {
        return nullptr;
    }
    const double stored = measuredType->getInterval();
    int bound = maxItems;
    if (stored > 0.0 && stored < static_cast<double>(interval)) {
        // The mean values keep a bound below 1 as it is, and say what they scaled.
        if (dataType != LoggerDataType::MEAN) {
            bound = scaledBound(interval, maxItems, stored);
        } else if (maxItems >= 1) {
            bound = scaledBound(interval, maxItems, stored);
            trace(QStringLiteral("scaledMaxItems: ") + QString::number(bound));
            trace(QStringLiteral("interval      : ") + QString::number(interval));
        }
    }
    std::shared_ptr<LoggerResult<T>> result =
        readItems<T>(LoggerType::CYCLIC, baseTypeId, start, end, bound, nullptr);
    reportReversedRange(start, end);
    if (result != nullptr) {
        result->mInterval = stored;
    }
    return result;
}

void LoggerApi::aggregateMeanValues(PtrLoggerResultMean result, timespec start, int interval)
{
    LoggerAggregator aggregator(0);
    aggregator.aggregateMeanValues(std::move(result), start, interval);
}

PtrLoggerResultAggregatedFloat LoggerApi::aggregateVtqValues(PtrLoggerResultVtq result, timespec start,
                                                             int interval)
{
    LoggerAggregator aggregator(0);
    return aggregator.aggregateXtqValues<DataXtq<float>, DataAggregated<float>, float>(std::move(result),
                                                                                       start, interval);
}

PtrLoggerResultAggregatedDouble LoggerApi::aggregateDtqValues(PtrLoggerResultDtq result, timespec start,
                                                              int interval)
{
    LoggerAggregator aggregator(0);
    return aggregator.aggregateXtqValues<DataXtq<double>, DataAggregated<double>, double>(std::move(result),
                                                                                          start, interval);
}

PtrLoggerResultAggregatedFloat LoggerApi::getAggregatedVtqValues(const QString& id, timespec start,
                                                                 timespec end, int interval, int maxItems)
{
    PtrLoggerResultVtq values =
        readForAggregation<DataXtq<float>>(LoggerDataType::VTQ, id, start, end, interval, maxItems);
    if (values == nullptr) {
        return nullptr;
    }
    return aggregateVtqValues(values, start, interval);
}

PtrLoggerResultAggregatedDouble LoggerApi::getAggregatedDtqValues(const QString& id, timespec start,
                                                                  timespec end, int interval, int maxItems)
{
    PtrLoggerResultDtq values =
        readForAggregation<DataXtq<double>>(LoggerDataType::DTQ, id, start, end, interval, maxItems);
    if (values == nullptr) {
        return nullptr;
    }
    return aggregateDtqValues(values, start, interval);
}

PtrLoggerResultMean LoggerApi::getAggregatedMeanValues(const QString& id, timespec start, timespec end,
                                                       int interval, int maxItems)
{
    PtrLoggerResultMean values =
        readForAggregation<DataMean>(LoggerDataType::MEAN, id, start, end, interval, maxItems);
    if (values != nullptr) {
        aggregateMeanValues(values, start, interval);
    }
    return values;
}

// The statistic getters of LoggerApi: shares in per cent of the values of a range that stayed
// within limits, computed from stored values, from merged histograms, or added up from the
// statistic records that the host program logs.

#include "LoggerApi.h"

#include "LoggerApiReads.h"
#include "LoggerDb.h"
#include "StatisticAggregator.h"
#include "StatisticCalculator.h"

#include <memory>
#include <new>

namespace {

constexpr int kFrequencyClasses = 2650;
constexpr int kMainsSignallingClasses = 200;
// The orders of a harmonics record, 0 to 50.
constexpr int kHarmonicOrders = 51;
// The words of the value area of a 14-value record: mean, minimum and maximum of 14 quantities.
constexpr unsigned int kMeanArray14Words = 3 * 14;
// A value whose quality has this bit is not judged; the first value of a range is passed over
// where it has it.
constexpr uint32_t kNotJudged = 0x20000;

void trace(const QString& text)
{
    LoggerDb::getInstance().loggerMessage(text.toStdString(), LOGGER_MESSAGE_TRACE);
}

// Lower and upper limit in double precision: per cent of the nominal value.
void setLimits(qzlogger::StatisticCalculator& calculator, float nominal, float lowerPercent,
               float upperPercent)
{
    const double lower = lowerPercent / 100.0 * nominal;
    const double upper = upperPercent / 100.0 * nominal;
    calculator.setLowerLimits(&lower);
    calculator.setUpperLimits(&upper);
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Statistics of stored values.

template <typename T, typename Value>
std::shared_ptr<DataStatisticBase<float>>
LoggerApi::itemStatistic(LoggerDataType dataType, const QString& id, timespec start, timespec end,
                         float nominal, float lowerPercent, float upperPercent, Value value)
{
    qzlogger::StatisticCalculator calculator(1);
    setLimits(calculator, nominal, lowerPercent, upperPercent);
    calculator.setStartTime(start);
    int baseTypeId = -1;
    const std::shared_ptr<DefnBaseType> measuredType =
        identifyMeasured(dataType, id, baseTypeId, kFailedLookupPause);
    if (measuredType == nullptr) {
        return nullptr;
    }
    const double interval = measuredType->getInterval();
    if (interval != 0.0) {
        calculator.setInterval(LoggerTimeStamp::getTimeSpec(interval));
    }
    const std::shared_ptr<LoggerResult<T>> items =
        readItems<T>(LoggerType::CYCLIC, baseTypeId, start, end, -1, nullptr);
    reportReversedRange(start, end);
    if (items == nullptr) {
        return nullptr;
    }
    for (int index = 0; index < items->mNumItems; ++index) {
        const T& item = items->mItems[index];
        // A range that begins with a value not to be judged does not begin with a gap either.
        if (index == 0 && (item.quality & kNotJudged) != 0) {
            continue;
        }
        calculator.addDataItem(item.utc, value(item), static_cast<long>(item.quality));
    }
    calculator.setEndTime(end, 1);
    return std::make_shared<DataStatisticBase<float>>(calculator.getDataStatistic());
}

std::shared_ptr<DataStatisticBase<float>> LoggerApi::getMeanStatistic(const QString& id, timespec start,
                                                                      timespec end, float nominal,
                                                                      float lowerPercent, float upperPercent)
{
    return itemStatistic<DataMean>(LoggerDataType::MEAN, id, start, end, nominal, lowerPercent, upperPercent,
                                   [](const DataMean& item) { return item.mean; });
}

std::shared_ptr<DataStatisticBase<float>> LoggerApi::getVtqStatistic(const QString& id, timespec start,
                                                                     timespec end, float nominal,
                                                                     float lowerPercent, float upperPercent)
{
    return itemStatistic<DataXtq<float>>(LoggerDataType::VTQ, id, start, end, nominal, lowerPercent,
                                         upperPercent, [](const DataXtq<float>& item) { return item.value; });
}

std::shared_ptr<DataStatisticBase<float>>
LoggerApi::getMeanArray14Statistic(const QString& id, unsigned int index, timespec start, timespec end,
                                   float nominal, float lowerPercent, float upperPercent)
{
    if (index >= kMeanArray14Words) {
        LoggerDb::getInstance().setError(
            QStringLiteral(
                "the statistic of value %1 of '%2' cannot be computed: a 14-value record holds the "
                "values 0 to %3")
                .arg(QString::number(index), id, QString::number(kMeanArray14Words - 1)));
        return nullptr;
    }
    using Record = DataMeanMinMaxArray<float, 14>;
    return itemStatistic<Record>(LoggerDataType::MEAN_14, id, start, end, nominal, lowerPercent, upperPercent,
                                 [index](const Record& item) { return item.values[index]; });
}

// ---------------------------------------------------------------------------------------------
// Statistics of harmonics against a limit per order.

bool LoggerApi::checkHarmonicOrders(const QString& id, const int* orders, const float* limits, int count)
{
    QString problem;
    if (count < 0) {
        problem = QStringLiteral("a count of %1 orders: give 0 or more").arg(count);
    } else if (count > 0 && (orders == nullptr || limits == nullptr)) {
        problem = QStringLiteral("%1 orders without their orders and limits").arg(count);
    } else {
        for (int index = 0; index < count; ++index) {
            if (orders[index] < 0 || orders[index] >= kHarmonicOrders) {
                problem = QStringLiteral("order %1 at position %2: the orders are 0 to %3")
                              .arg(QString::number(orders[index]), QString::number(index),
                                   QString::number(kHarmonicOrders - 1));
                break;
            }
        }
    }
    if (problem.isEmpty()) {
        return true;
    }
    LoggerDb::getInstance().setError(
        QStringLiteral("the harmonics statistic of '%1' cannot be computed: %2").arg(id, problem));
    return false;
}

std::shared_ptr<DataStatisticBase<float>> LoggerApi::getHarmonicsStatistic(const QString& id, timespec start,
                                                                           timespec end, int* orders,
                                                                           float* limits, int count,
                                                                           bool fromComplex)
{
    using loggerapi_detail::traceTime;
    if (!mDatabase.checkValidity()) {
        return nullptr;
    }
    if (!checkHarmonicOrders(id, orders, limits, count)) {
        return nullptr;
    }
    const QString name = QStringLiteral("getHarmonicsStatistic(") + id;
    trace(name + QStringLiteral("), Complex=") +
          (fromComplex ? QStringLiteral("True") : QStringLiteral("False")) + QStringLiteral("  Start: ") +
          traceTime(start) + QStringLiteral(" End: ") + traceTime(end));

    int baseTypeId = -1;
    if (fromComplex) {
        trace(name + QStringLiteral(") from Complex values..."));
        baseTypeId =
            getBaseTypeId(LoggerType::CYCLIC, LoggerDataType::COMPLEX, QLatin1String(kComplexHarmonicsId));
    } else {
        baseTypeId = getBaseTypeId(LoggerType::CYCLIC, LoggerDataType::HARMONICS, id);
    }
    if (baseTypeId < 0) {
        trace(name + QStringLiteral(") measuredTypeId < 0 "));
        if (fromComplex) {
            reportUnknownId(LoggerType::CYCLIC, LoggerDataType::COMPLEX, QLatin1String(kComplexHarmonicsId));
        } else {
            reportUnknownId(LoggerType::CYCLIC, LoggerDataType::HARMONICS, id);
            readPause(kFailedLookupPause);
        }
        return nullptr;
    }
    const std::shared_ptr<DefnBaseType> measuredType = readMeasuredType(baseTypeId);
    if (measuredType == nullptr) {
        trace(name + QStringLiteral(") baseType = nullptr "));
        reportUnknownBaseType(LoggerType::CYCLIC, baseTypeId);
        if (!fromComplex) {
            readPause(kFailedLookupPause);
        }
        return nullptr;
    }
    PtrLoggerResultHarmonics values;
    if (fromComplex) {
        values = getComplexAmplitudeArray(id, start, end, true);
    } else {
        values = readItems<DataHarmonics>(LoggerType::CYCLIC, baseTypeId, start, end, -1, nullptr);
        reportReversedRange(start, end);
    }
    if (values == nullptr) {
        trace(name + QStringLiteral("): dataValues = nullptr"));
        return nullptr;
    }
    if (values->mNumItems == 0) {
        trace(name + QStringLiteral("): numValues = 0"));
        return nullptr;
    }
    trace(name + QStringLiteral("): numValues = ") + QString::number(values->mNumItems));

    qzlogger::StatisticCalculator calculator(1);
    const double interval = measuredType->getInterval();
    if (interval != 0.0) {
        calculator.setInterval(LoggerTimeStamp::getTimeSpec(interval));
    }
    const double lower = 0.0;
    calculator.setLowerLimits(&lower);
    // count orders of one record, checked above to lie within its 51 values.
    std::unique_ptr<float[]> picked(new (std::nothrow) float[count > 0 ? count : 1]);
    if (picked == nullptr) {
        LoggerDb::getInstance().setError(
            QStringLiteral("the harmonics statistic of '%1' cannot be computed: no memory for %2 orders")
                .arg(id, QString::number(count)));
        return nullptr;
    }
    for (int index = 0; index < values->mNumItems; ++index) {
        const DataHarmonics& record = values->mItems[index];
        for (int order = 0; order < count; ++order) {
            picked[order] = record.values[orders[order]];
        }
        calculator.addDataArrayToSingleStatistic(record.utc, picked.get(), limits, count,
                                                 static_cast<long>(record.quality));
    }
    calculator.setEndTime(end, count);
    return std::make_shared<DataStatisticBase<float>>(calculator.getDataStatistic());
}

// ---------------------------------------------------------------------------------------------
// Statistics of merged histograms.

template <int N>
std::shared_ptr<DataStatisticBase<float>>
LoggerApi::histogramStatistic(const QString& id, timespec start, timespec end, float nominal,
                              float lowerPercent, float upperPercent)
{
    if (!mDatabase.checkValidity()) {
        return nullptr;
    }
    std::shared_ptr<DataStatisticBase<float>> result =
        getStatistic<N>(id, start, end, nominal, lowerPercent, upperPercent);
    // The lookup is asked once more on the failed path only, for the last error.
    if (result == nullptr && getBaseTypeId(LoggerType::CYCLIC, LoggerDataType::HISTOGRAM, id) < 0) {
        reportUnknownId(LoggerType::CYCLIC, LoggerDataType::HISTOGRAM, id);
    }
    reportReversedRange(start, end);
    return result;
}

std::shared_ptr<DataStatisticBase<float>> LoggerApi::getFrequencyStatistic(const QString& id, timespec start,
                                                                           timespec end, float nominal,
                                                                           float lowerPercent,
                                                                           float upperPercent)
{
    return histogramStatistic<kFrequencyClasses>(id, start, end, nominal, lowerPercent, upperPercent);
}

std::shared_ptr<DataStatisticBase<float>>
LoggerApi::getMainsSignallingStatistic(const QString& id, timespec start, timespec end, float nominal,
                                       float lowerPercent, float upperPercent)
{
    return histogramStatistic<kMainsSignallingClasses>(id, start, end, nominal, lowerPercent, upperPercent);
}

// ---------------------------------------------------------------------------------------------
// Stored statistic records.

PtrLoggerResultStatistic LoggerApi::getStatisticValues(const QString& id, timespec start, timespec end)
{
    if (!mDatabase.checkValidity()) {
        return nullptr;
    }
    trace(QStringLiteral("getStatisticValues()..."));
    int baseTypeId = -1;
    const std::shared_ptr<DefnBaseType> measuredType =
        identifyMeasured(LoggerDataType::STATISTIC, id, baseTypeId, kFailedLookupPause);
    if (measuredType == nullptr) {
        return nullptr;
    }
    PtrLoggerResultStatistic result =
        readItems<DataStatisticBase<long>>(LoggerType::CYCLIC, baseTypeId, start, end, -1, nullptr);
    reportReversedRange(start, end);
    if (result != nullptr) {
        result->mInterval = measuredType->getInterval();
    }
    trace(QStringLiteral("...getStatistic()"));
    return result;
}

std::shared_ptr<DataStatisticBase<float>> LoggerApi::calculateStatistic(const QString& id, timespec start,
                                                                        timespec end, int interval)
{
    const PtrLoggerResultStatistic records = getStatisticValues(id, start, end);
    // A range without records, or a logger that cannot be read, has no share to tell: zeros.
    if (records == nullptr || records->mNumItems == 0) {
        return std::make_shared<DataStatisticBase<float>>();
    }
    qzlogger::StatisticAggregator aggregator;
    aggregator.clearAggregated();
    aggregator.setRecordInterval(LoggerTimeStamp::getTimeSpec(records->mInterval));
    aggregator.setValueInterval(timespec{interval, 0});
    for (int index = 0; index < records->mNumItems; ++index) {
        aggregator.add(records->mItems[index]);
    }
    return std::make_shared<DataStatisticBase<float>>(aggregator.getDataStatistic(start, end));
}

#include "StatisticAggregator.h"

#include "LoggerDb.h"
#include "LoggerTimeStamp.h"
#include "StatisticArithmetic.h"

#include <QString>

#include <cmath>
#include <cstdint>

namespace qzlogger {

namespace {

// A record whose quality has this bit follows a change of the clock.
constexpr uint32_t kClockChanged = 0x8;
// Values whose quality has this bit are not judged: they are one missing value.
constexpr long kNotJudged = 0x20000;

// A stored count plus more, held to the range of the record's 32-bit counts.
int32_t addCount(int32_t count, long long more)
{
    const long long sum = static_cast<long long>(count) + more;
    if (sum > INT32_MAX) {
        return INT32_MAX;
    }
    if (sum < INT32_MIN) {
        return INT32_MIN;
    }
    return static_cast<int32_t>(sum);
}

void trace(const QString& text)
{
    LoggerDb::getInstance().loggerMessage(text.toStdString(), LOGGER_MESSAGE_TRACE);
}

} // namespace

using statistic_detail::isSet;
using statistic_detail::wholePart;

StatisticAggregator::StatisticAggregator() = default;

StatisticAggregator::~StatisticAggregator() = default;

void StatisticAggregator::clearAggregated()
{
    clearDataAbsolute(mAggregated);
    mLastUtc = timespec{};
    mHasData = false;
}

void StatisticAggregator::clearDataStatistic(DataStatisticBase<float>& record)
{
    record = DataStatisticBase<float>{};
}

void StatisticAggregator::clearDataAbsolute(DataStatisticBase<long>& record)
{
    record = DataStatisticBase<long>{};
}

void StatisticAggregator::setData(DataStatisticBase<long>& record)
{
    mAggregated = record;
    mLastUtc = record.utc;
    mHasData = true;
}

void StatisticAggregator::add(DataStatisticBase<long>& record)
{
    if (!mHasData) {
        setData(record);
        return;
    }
    // The whole number of record intervals, not held to a count: a gap of more records than an
    // int holds still loses as many values as the largest count.
    const double records = std::trunc(getIntervals(mLastUtc, record.utc, mRecordInterval) + 0.5);
    // Without a value interval the lost records cannot be told in values.
    const bool clockChanged = (record.quality & kClockChanged) != 0;
    if (records >= 2 && !clockChanged && LoggerTimeStamp::getSeconds(mValueInterval) > 0.0) {
        // Each lost record would have held record interval / value interval values.
        const double perRecord = statistic_detail::quotientSeconds(mRecordInterval, mValueInterval);
        mAggregated.missing = addCount(mAggregated.missing, wholePart((records - 1.0) * perRecord));
    }
    mAggregated.utc = record.utc;
    mAggregated.betweenLimits = addCount(mAggregated.betweenLimits, record.betweenLimits);
    mAggregated.missing = addCount(mAggregated.missing, record.missing);
    mAggregated.limitViolation = addCount(mAggregated.limitViolation, record.limitViolation);
    mAggregated.quality |= record.quality;
    mLastUtc = record.utc;
}

void StatisticAggregator::addArray(DataStatisticBase<long>& record, timespec start, float* values,
                                   float* limits, int count, timespec time, long quality)
{
    if (count < 0 || (count > 0 && (values == nullptr || limits == nullptr))) {
        return;
    }
    if (!isSet(record.utcStart)) {
        record.utcStart = start;
    }
    record.utc = time;
    if ((quality & kNotJudged) == 0) {
        for (int index = 0; index < count; ++index) {
            if (values[index] <= limits[index]) {
                record.betweenLimits = addCount(record.betweenLimits, 1);
            } else {
                record.limitViolation = addCount(record.limitViolation, 1);
            }
        }
    } else {
        record.missing = addCount(record.missing, 1);
    }
    record.quality |= static_cast<uint32_t>(quality);
}

double StatisticAggregator::getIntervals(timespec first, timespec second, timespec interval) const
{
    if (!(LoggerTimeStamp::getSeconds(interval) > 0.0)) {
        return 0.0;
    }
    return statistic_detail::quotientSeconds(LoggerTimeStamp::subtract(second, first), interval);
}

int StatisticAggregator::getMissingMeasValues(timespec start, timespec end) const
{
    double lead = getIntervals(start, mAggregated.utcStart, mValueInterval);
    double trail = getIntervals(mAggregated.utc, end, mValueInterval);
    if (lead < 0.0) {
        lead = 0.0;
    }
    if (trail < 0.0) {
        trail = 0.0;
    }
    return static_cast<int>(wholePart(lead + trail + 0.5));
}

void StatisticAggregator::DebugStatistic(int outsideTimeRange) const
{
    trace(QStringLiteral("Statistic: BetweenLimits:       ") + QString::number(mAggregated.betweenLimits));
    trace(QStringLiteral("Statistic: LimitViolation:      ") + QString::number(mAggregated.limitViolation));
    trace(QStringLiteral("Statistic: MissingDataElements: ") + QString::number(mAggregated.missing));
    trace(QStringLiteral("Statistic: Outside time range: ") + QString::number(outsideTimeRange));
}

DataStatisticBase<float> StatisticAggregator::getDataStatistic(timespec start, timespec end)
{
    const int extra = getMissingMeasValues(start, end);
    const double between = mAggregated.betweenLimits;
    const double violation = mAggregated.limitViolation;
    const double missing = static_cast<double>(mAggregated.missing) + extra;
    const double all = between + violation + missing;
    DataStatisticBase<float> result{};
    result.utcStart = mAggregated.utcStart;
    result.utc = mAggregated.utc;
    result.quality = mAggregated.quality;
    // Without any value counted there is no share to tell.
    if (all > 0.0) {
        result.betweenLimits = static_cast<float>(between / all * 100.0);
        result.limitViolation = static_cast<float>(violation / all * 100.0);
        result.missing = static_cast<float>(missing / all * 100.0);
    }
    DebugStatistic(extra);
    return result;
}

void StatisticAggregator::setRecordInterval(timespec interval)
{
    mRecordInterval = interval;
}

void StatisticAggregator::setValueInterval(timespec interval)
{
    mValueInterval = interval;
}

const DataStatisticBase<long>& StatisticAggregator::getAggregated() const
{
    return mAggregated;
}

} // namespace qzlogger

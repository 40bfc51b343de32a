#include "LoggerAggregator.h"

#include <climits>

namespace {

constexpr long long kNanosecondsPerSecond = 1000000000LL;
// Grids of longer intervals stay on whole hours: a two-hour grid starts at any full hour.
constexpr long long kLongestAlignment = 3600;

} // namespace

LoggerAggregator::LoggerAggregator(int interval)
    : mInterval(interval), mRoundedStart{}, mBinEnd{}, mFirstBinPartial(false)
{
}

LoggerAggregator::~LoggerAggregator() = default;

timespec LoggerAggregator::getRoundedStartUtc(timespec start, timespec firstItem)
{
    if (mInterval == 0) {
        return firstItem;
    }
    const long long interval = mInterval;
    const long long step = interval < kLongestAlignment ? interval : kLongestAlignment;
    timespec base{};
    base.tv_sec = static_cast<time_t>((static_cast<long long>(start.tv_sec) / step) * step);
    base.tv_nsec = 0;
    if (isEarlier(firstItem, start)) {
        return base;
    }
    // The whole intervals from start to the first item, counted exactly in integers: a sum of
    // fractions in double can round a difference just short of a bin end up to it.
    long long seconds = static_cast<long long>(firstItem.tv_sec) - start.tv_sec;
    long long nanoseconds = static_cast<long long>(firstItem.tv_nsec) - start.tv_nsec;
    seconds += nanoseconds / kNanosecondsPerSecond;
    nanoseconds %= kNanosecondsPerSecond;
    if (nanoseconds < 0) {
        --seconds;
    }
    if (seconds < 0) {
        return base; // nanosecond words out of their range: the item lies before start after all
    }
    long long bins = seconds / interval;
    if (bins > 0) {
        --bins; // the grid begins one bin before the bin of the first item
    }
    base.tv_sec = static_cast<time_t>(static_cast<long long>(base.tv_sec) + interval * bins);
    return base;
}

void LoggerAggregator::setUpGrid(timespec start, timespec firstItem)
{
    mFirstBinPartial = true;
    mRoundedStart = getRoundedStartUtc(start, firstItem);
    if (mRoundedStart.tv_sec == firstItem.tv_sec && mRoundedStart.tv_nsec == firstItem.tv_nsec) {
        // The first item is the end of the first bin, which holds it alone.
        mFirstBinPartial = false;
        mBinEnd = mRoundedStart;
    } else {
        mBinEnd = nextBinEnd(mRoundedStart);
    }
}

void LoggerAggregator::aggregateMeanValues(std::shared_ptr<LoggerResult<DataMean, void*>> result,
                                           timespec start, int interval)
{
    if (result == nullptr || result->mItems == nullptr || result->mNumItems < 1 || interval <= 0 ||
        !(result->mInterval < static_cast<double>(interval))) {
        return;
    }
    mInterval = interval;
    setUpGrid(start, result->mItems[0].utc);
    const int written = aggregateValues<DataMean, DataMean>(result, result);
    result->resize(written);
    // The records now stand for bins of the grid, as the aggregated DataXtq results do.
    result->mInterval = static_cast<double>(interval);
}

timespec LoggerAggregator::nextBinEnd(timespec binEnd) const
{
    binEnd.tv_sec = static_cast<time_t>(static_cast<long long>(binEnd.tv_sec) + mInterval);
    return binEnd;
}

timespec LoggerAggregator::binEndReaching(timespec binEnd, timespec time) const
{
    if (mInterval <= 0 || !isEarlier(binEnd, time)) {
        return binEnd;
    }
    // Whole intervals by the seconds at once, then at most two more steps for what is left;
    // the order is that of getValueCount, seconds first, then nanoseconds.
    const long long gap = static_cast<long long>(time.tv_sec) - binEnd.tv_sec;
    if (gap > 0) {
        binEnd.tv_sec =
            static_cast<time_t>(static_cast<long long>(binEnd.tv_sec) + (gap / mInterval) * mInterval);
    }
    while (isEarlier(binEnd, time)) {
        binEnd = nextBinEnd(binEnd);
    }
    return binEnd;
}

int LoggerAggregator::expectedValues(int interval, double inputInterval)
{
    if (!(inputInterval > 0.0)) {
        return 0;
    }
    const double ratio = static_cast<double>(interval) / inputInterval;
    if (!(ratio > 0.0)) {
        return 0;
    }
    if (ratio >= static_cast<double>(INT_MAX)) {
        return INT_MAX;
    }
    return static_cast<int>(ratio);
}

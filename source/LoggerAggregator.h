#pragma once

#include "LoggerDataItems.h"
#include "LoggerResult.h"
#include "TimeOrder.h"

#include <cmath>
#include <cstdint>
#include <ctime>
#include <limits>
#include <memory>

// Folds a time-ordered result of a measured logger into one record per grid interval, with
// minimum, maximum and mean. The read API builds one aggregator per call; it holds only the
// grid of that call, so an object must not be shared between threads.
//
// The grid starts on a whole multiple of the interval in UTC seconds (of an hour for intervals
// longer than that) and steps by the interval. A bin holds the items later than the end of the
// bin before it and not later than its own end: an item exactly on a bin end belongs to the bin
// that ends there, as a mean value is stamped at the end of the time it covers. The record of a
// bin carries the bin's end as its utc. The grid begins shortly before the first item; the bins
// before it hold nothing.
//
// A bin without items leaves no record. A record whose bin holds fewer values than the grid
// interval over the logger's interval promises has the quality bit kQualityIncomplete; the
// quality of the items themselves is not carried over. A first bin that began before the data
// shows only through that bit.
//
// Precision: minimum and maximum are taken in single precision, from a DataMean's minimum and
// maximum or a DataXtq's value narrowed to float. The mean is the sum in double of the items'
// values in their own precision (a DataMean's mean, a DataXtq's value, a double one unnarrowed)
// over their count, stored as a float. A NaN never displaces a minimum or maximum that is a
// number, so that one bad value does not hide the range of the others; a bin of NaN alone has
// NaN for both. A NaN or an infinity in the sum shows in the mean as the arithmetic gives it.
//
// A grid interval of 0 or below does not aggregate: DataXtq values are copied one record per
// item, a DataMean result stays as it is. Nothing here divides by the interval where it is 0.
class LoggerAggregator {
public:
    // Fewer values than expected fell into the bin of the record.
    static constexpr uint32_t kQualityIncomplete = 0x10000;

    explicit LoggerAggregator(int interval);
    virtual ~LoggerAggregator();
    LoggerAggregator(const LoggerAggregator&) = delete;
    LoggerAggregator& operator=(const LoggerAggregator&) = delete;

    // The start of the grid for an interval of mInterval seconds: start rounded down to a
    // multiple of the interval (of one hour for longer ones), moved forward by whole intervals
    // to the bin before the one that holds firstItem. firstItem itself where the interval is 0;
    // the rounded start where firstItem lies before start. Nanoseconds are 0 but for firstItem.
    timespec getRoundedStartUtc(timespec start, timespec firstItem);

    // Aggregates a mean-value result in place onto the grid of interval seconds from start and
    // shortens it to the records written; its interval becomes the grid interval. Nothing
    // changes for null or empty results, an interval of 0 or below, and an interval not above
    // the result's own.
    void aggregateMeanValues(std::shared_ptr<LoggerResult<DataMean, void*>> result, timespec start,
                             int interval);

    // A new result of aggregated records of the DataXtq<T> input, with the grid interval as its
    // interval. An empty result for null or empty input; where interval is 0 or below, or not
    // above the input's interval, the values are copied (copyXtqValues) with the input's interval.
    template <typename In, typename Out, typename T>
    std::shared_ptr<LoggerResult<Out, void*>>
    aggregateXtqValues(std::shared_ptr<LoggerResult<In, void*>> input, timespec start, int interval);

    // One record per item: its utc and quality, and its value, in the value's own precision, as
    // minimum, maximum and mean alike. An empty result for null or empty input.
    template <typename In, typename Out, typename T>
    std::shared_ptr<LoggerResult<Out, void*>> copyXtqValues(std::shared_ptr<LoggerResult<In, void*>> input);

    // Writes the records of the grid set up in mRoundedStart and mBinEnd into out, which may be
    // the input itself, and returns their number; never more than out holds. Where the input's interval
    // is not below the grid interval, record i is the bin from item i to the bin end.
    template <typename In, typename Out>
    int aggregateValues(std::shared_ptr<LoggerResult<In, void*>> in,
                        std::shared_ptr<LoggerResult<Out, void*>> out);

    // The number of items from index on whose utc is not later than binEnd, up to the first that
    // is, or the end of the input. 0 for null input and an index outside it.
    template <typename In>
    int getValueCount(std::shared_ptr<LoggerResult<In, void*>> in, int index, timespec binEnd);

    // The record of the bin from index to binEnd: utc binEnd, quality 0, minimum, maximum and mean
    // of its items. With no item in the bin the item at index stands alone; with no item at index
    // the values are 0.
    template <typename In, typename Out>
    Out getMeanValue(std::shared_ptr<LoggerResult<In, void*>> in, int index, timespec binEnd);

    // The single-precision minimum, maximum and mean of one item.
    template <typename T> void getMinMaxMean(T& item, float& min, float& max, float& mean);

    int mInterval;          // grid interval in seconds
    timespec mRoundedStart; // start of the grid
    timespec mBinEnd;       // end of the bin being filled
    // Whether the grid begins before the first item. Kept for diagnostics; nothing reads it.
    bool mFirstBinPartial;

private:
    // Sets up mRoundedStart, mBinEnd and mFirstBinPartial for the first item firstItem.
    void setUpGrid(timespec start, timespec firstItem);
    // The first bin end of the grid through binEnd that is not before time: bins without items
    // are stepped over at once, however far the next item lies.
    timespec binEndReaching(timespec binEnd, timespec time) const;
    // binEnd + mInterval seconds.
    timespec nextBinEnd(timespec binEnd) const;
    // The record of the bin from index to binEnd as getMeanValue gives it, and in count the
    // number of items that getValueCount finds for it. One walk reads each item once; counting
    // a bin apart before folding it would read every item again, for a day of second values
    // the larger part of the time. index must lie inside in.
    template <typename In, typename Out>
    Out foldBin(LoggerResult<In, void*>& in, int index, timespec binEnd, int& count);
    // The values a full bin holds: the whole number of input intervals in the grid interval,
    // at most INT_MAX; 0 where the input has no interval above 0.
    static int expectedValues(int interval, double inputInterval);

    // What an item adds to the sum of the mean, in its own precision.
    static double sumValue(const DataMean& item) { return static_cast<double>(item.mean); }
    template <typename T> static double sumValue(const DataXtq<T>& item)
    {
        return static_cast<double>(item.value);
    }

    static void storeValues(DataMean& record, float min, float max, float mean);
    template <typename T>
    static void storeValues(DataAggregated<T>& record, float min, float max, float mean);
};

// --- definitions ---------------------------------------------------------------------------------

namespace loggeraggregator_detail {

inline bool isLater(const DataTimespec& time, const timespec& binEnd)
{
    return time.tv_sec > binEnd.tv_sec || (time.tv_sec == binEnd.tv_sec && time.tv_nsec > binEnd.tv_nsec);
}

// The running minimum and maximum: a NaN is taken only while nothing else has been.
inline void takeMin(float value, float& min)
{
    if (std::isnan(min) || value < min)
        min = value;
}

inline void takeMax(float value, float& max)
{
    if (std::isnan(max) || value > max)
        max = value;
}

} // namespace loggeraggregator_detail

template <>
inline void LoggerAggregator::getMinMaxMean<DataMean>(DataMean& item, float& min, float& max, float& mean)
{
    min = item.min;
    max = item.max;
    mean = item.mean;
}

template <>
inline void LoggerAggregator::getMinMaxMean<DataXtq<float>>(DataXtq<float>& item, float& min, float& max,
                                                            float& mean)
{
    min = item.value;
    max = item.value;
    mean = item.value;
}

template <>
inline void LoggerAggregator::getMinMaxMean<DataXtq<double>>(DataXtq<double>& item, float& min, float& max,
                                                             float& mean)
{
    const float value = static_cast<float>(item.value);
    min = value;
    max = value;
    mean = value;
}

inline void LoggerAggregator::storeValues(DataMean& record, float min, float max, float mean)
{
    record.min = min;
    record.mean = mean;
    record.max = max;
}

template <typename T>
void LoggerAggregator::storeValues(DataAggregated<T>& record, float min, float max, float mean)
{
    record.min = static_cast<T>(min);
    record.max = static_cast<T>(max);
    record.mean = static_cast<T>(mean);
}

template <typename In>
int LoggerAggregator::getValueCount(std::shared_ptr<LoggerResult<In, void*>> in, int index, timespec binEnd)
{
    if (in == nullptr || in->mItems == nullptr || index < 0) {
        return 0;
    }
    int count = 0;
    for (int position = index; position < in->mNumItems; ++position) {
        if (loggeraggregator_detail::isLater(in->mItems[position].utc, binEnd)) {
            break;
        }
        ++count;
    }
    return count;
}

template <typename In, typename Out>
Out LoggerAggregator::foldBin(LoggerResult<In, void*>& in, int index, timespec binEnd, int& count)
{
    Out record{};
    record.utc = binEnd;
    record.quality = 0;
    float min = std::numeric_limits<float>::quiet_NaN();
    float max = std::numeric_limits<float>::quiet_NaN();
    double sum = 0.0;
    const auto take = [&](In& item) {
        float itemMin = 0.0f;
        float itemMax = 0.0f;
        float itemMean = 0.0f;
        getMinMaxMean<In>(item, itemMin, itemMax, itemMean);
        loggeraggregator_detail::takeMin(itemMin, min);
        loggeraggregator_detail::takeMax(itemMax, max);
        // Not itemMean: a double value adds to the sum unnarrowed.
        sum += sumValue(item);
    };
    int position = index;
    while (position < in.mNumItems && !loggeraggregator_detail::isLater(in.mItems[position].utc, binEnd)) {
        take(in.mItems[position]);
        ++position;
    }
    count = position - index;
    // An empty bin still reads the item at index, and a count below 1 divides by 1.
    if (count == 0) {
        take(in.mItems[index]);
    }
    const float mean = static_cast<float>(sum / static_cast<double>(count < 1 ? 1 : count));
    storeValues(record, min, max, mean);
    return record;
}

template <typename In, typename Out>
Out LoggerAggregator::getMeanValue(std::shared_ptr<LoggerResult<In, void*>> in, int index, timespec binEnd)
{
    const int available = (in == nullptr || in->mItems == nullptr) ? 0 : in->mNumItems;
    if (index < 0 || index >= available) {
        Out record{};
        record.utc = binEnd;
        record.quality = 0;
        return record;
    }
    int count = 0;
    return foldBin<In, Out>(*in, index, binEnd, count);
}

template <typename In, typename Out>
int LoggerAggregator::aggregateValues(std::shared_ptr<LoggerResult<In, void*>> in,
                                      std::shared_ptr<LoggerResult<Out, void*>> out)
{
    if (in == nullptr || out == nullptr || in->mItems == nullptr || out->mItems == nullptr) {
        return 0;
    }
    const int inputSize = in->mNumItems;
    const int outputSize = out->mNumItems;
    if (inputSize < 1 || outputSize < 1) {
        return 0;
    }
    const int expected = expectedValues(mInterval, in->mInterval);

    // Items at least as far apart as the grid: one record per output index, each from its own
    // item on. Nothing reaches this from the operations above, which copy such input instead.
    if (in->mInterval >= static_cast<double>(mInterval)) {
        int index = 0;
        for (; index < outputSize && index < inputSize; ++index) {
            out->mItems[index] = getMeanValue<In, Out>(in, index, mBinEnd);
            mBinEnd = nextBinEnd(mBinEnd);
        }
        return index;
    }
    if (mInterval <= 0) {
        return 0; // no grid to walk
    }

    const timespec firstItem = in->mItems[0].utc;
    if (isEarlier(mRoundedStart, mBinEnd)) {
        mBinEnd = nextBinEnd(mRoundedStart);
    }
    mBinEnd = binEndReaching(mBinEnd, firstItem);

    // out may be the input itself: a record is written only after the items of its bin have been
    // read, at a position no later than the first of them, so no unread item is overwritten.
    // A bin without items writes nothing, so that it cannot overwrite the next bin's first item.
    int inputIndex = 0;
    int outputIndex = 0;
    while (inputIndex < inputSize && outputIndex < outputSize) {
        if (loggeraggregator_detail::isLater(in->mItems[inputIndex].utc, mBinEnd)) {
            mBinEnd = binEndReaching(mBinEnd, in->mItems[inputIndex].utc);
            continue;
        }
        int count = 0;
        Out record = foldBin<In, Out>(*in, inputIndex, mBinEnd, count);
        if (count < expected) {
            record.quality |= kQualityIncomplete;
        }
        out->mItems[outputIndex] = record;
        ++outputIndex;
        inputIndex += count;
        mBinEnd = nextBinEnd(mBinEnd);
    }
    return outputIndex;
}

template <typename In, typename Out, typename T>
std::shared_ptr<LoggerResult<Out, void*>>
LoggerAggregator::copyXtqValues(std::shared_ptr<LoggerResult<In, void*>> input)
{
    using Result = LoggerResult<Out, void*>;
    if (input == nullptr || input->mItems == nullptr || input->mNumItems < 1) {
        return Result::create(0);
    }
    std::shared_ptr<Result> output = Result::create(input->mNumItems);
    output->mInterval = input->mInterval;
    for (int index = 0; index < output->mNumItems; ++index) {
        const In& item = input->mItems[index];
        Out& record = output->mItems[index];
        record.utc = item.utc;
        record.quality = item.quality;
        record.min = static_cast<T>(item.value);
        record.max = static_cast<T>(item.value);
        record.mean = static_cast<T>(item.value);
    }
    return output;
}

template <typename In, typename Out, typename T>
std::shared_ptr<LoggerResult<Out, void*>>
LoggerAggregator::aggregateXtqValues(std::shared_ptr<LoggerResult<In, void*>> input, timespec start,
                                     int interval)
{
    using Result = LoggerResult<Out, void*>;
    if (input == nullptr || input->mItems == nullptr || input->mNumItems < 1) {
        return Result::create(0);
    }
    mInterval = interval;
    if (interval <= 0 || !(static_cast<double>(interval) > input->mInterval)) {
        std::shared_ptr<Result> copy = copyXtqValues<In, Out, T>(input);
        copy->mInterval = input->mInterval;
        return copy;
    }
    setUpGrid(start, input->mItems[0].utc);

    // The first pass counts the bins that hold items, so that the result is allocated once.
    int bins = 0;
    int index = 0;
    timespec binEnd = binEndReaching(mBinEnd, input->mItems[0].utc);
    while (index < input->mNumItems) {
        const int count = getValueCount<In>(input, index, binEnd);
        if (count == 0) {
            binEnd = binEndReaching(binEnd, input->mItems[index].utc);
            continue;
        }
        index += count;
        ++bins;
        binEnd = nextBinEnd(binEnd);
    }
    std::shared_ptr<Result> output = Result::create(bins);
    output->mInterval = static_cast<double>(interval);
    const int written = aggregateValues<In, Out>(input, output);
    if (written < output->mNumItems) {
        output->resize(written);
    }
    return output;
}

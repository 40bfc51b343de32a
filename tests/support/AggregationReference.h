#pragma once

#include "LoggerDataItems.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <iterator>
#include <limits>
#include <vector>

// Aggregation onto a grid of whole intervals as the rules put it, in another form than the
// aggregator's walk: each item goes to the first bin end not before it, counted in whole
// nanoseconds from the first bin's end, and the items of one bin end make one record. Written
// from the rules alone; it calls nothing of the library. The tests of the aggregator and the
// end-to-end test of the computed values compare with it.

namespace aggregation_reference {

constexpr int64_t kNanosPerSecond = 1000000000;
constexpr uint32_t kFewerValuesThanExpected = 0x10000;

inline int64_t nanosOf(int64_t seconds, int64_t nanoseconds)
{
    return seconds * kNanosPerSecond + nanoseconds;
}

} // namespace aggregation_reference

struct ReferenceValues {
    float min;    // single precision
    float max;    // single precision
    double value; // what the item adds to the mean's sum, in its own precision
};

inline ReferenceValues referenceValues(const DataXtq<float>& item)
{
    return {item.value, item.value, static_cast<double>(item.value)};
}

inline ReferenceValues referenceValues(const DataXtq<double>& item)
{
    const float narrowed = static_cast<float>(item.value);
    return {narrowed, narrowed, item.value};
}

inline ReferenceValues referenceValues(const DataMean& item)
{
    return {item.min, item.max, static_cast<double>(item.mean)};
}

// The smallest of the values that are numbers, the first of equal ones; NaN where none is.
inline float referenceMin(const std::vector<float>& values)
{
    std::vector<float> numbers;
    std::copy_if(values.begin(), values.end(), std::back_inserter(numbers),
                 [](float v) { return !std::isnan(v); });
    if (numbers.empty())
        return std::numeric_limits<float>::quiet_NaN();
    return *std::min_element(numbers.begin(), numbers.end());
}

inline float referenceMax(const std::vector<float>& values)
{
    std::vector<float> numbers;
    std::copy_if(values.begin(), values.end(), std::back_inserter(numbers),
                 [](float v) { return !std::isnan(v); });
    if (numbers.empty())
        return std::numeric_limits<float>::quiet_NaN();
    return *std::max_element(numbers.begin(), numbers.end());
}

struct ReferenceRecord {
    DataTimespec utc;
    uint32_t quality;
    float min;
    float max;
    float mean;
};

// Items in time order, nanoseconds from 0 to 999999999, a grid interval above 0 and above the
// stored one. The records of the bins that hold items.
template <typename In>
std::vector<ReferenceRecord>
referenceAggregation(const std::vector<In>& items, double storedInterval, timespec start, int interval,
                     int64_t* roundedStart = nullptr, int* onBinEnds = nullptr, int* emptyBins = nullptr)
{
    using aggregation_reference::kNanosPerSecond;
    using aggregation_reference::nanosOf;
    std::vector<ReferenceRecord> records;
    if (items.empty())
        return records;
    // The start of the grid: the start's seconds rounded down to the interval, to the hour at
    // most; where the first item is not before the start, moved on by the whole intervals
    // between them but one.
    const int64_t step = std::min<int64_t>(interval, 3600);
    const int64_t base = (static_cast<int64_t>(start.tv_sec) / step) * step;
    const int64_t first = nanosOf(items[0].utc.tv_sec, items[0].utc.tv_nsec);
    const int64_t startNanos = nanosOf(start.tv_sec, start.tv_nsec);
    const int64_t binNanos = static_cast<int64_t>(interval) * kNanosPerSecond;
    int64_t rounded = base;
    if (first >= startNanos) {
        int64_t whole = (first - startNanos) / binNanos;
        if (whole > 0)
            whole -= 1;
        rounded = base + whole * interval;
    }
    if (roundedStart != nullptr)
        *roundedStart = rounded;
    // An item on the grid's start closes the first bin; else the first bin ends an interval on.
    const int64_t firstEnd =
        nanosOf(rounded, 0) == first ? nanosOf(rounded, 0) : nanosOf(rounded + interval, 0);
    int64_t expected = 0;
    if (storedInterval > 0.0) {
        const double ratio = std::floor(static_cast<double>(interval) / storedInterval);
        expected = ratio >= static_cast<double>(INT_MAX) ? INT_MAX : static_cast<int64_t>(ratio);
    }

    size_t index = 0;
    int64_t previousBin = -1;
    while (index < items.size()) {
        const int64_t time = nanosOf(items[index].utc.tv_sec, items[index].utc.tv_nsec);
        const int64_t bin = time <= firstEnd ? 0 : (time - firstEnd + binNanos - 1) / binNanos;
        const int64_t end = firstEnd + bin * binNanos;
        if (emptyBins != nullptr && previousBin >= 0 && bin > previousBin + 1)
            ++*emptyBins;
        previousBin = bin;
        std::vector<float> minima;
        std::vector<float> maxima;
        double sum = 0.0;
        int64_t count = 0;
        while (index < items.size() && nanosOf(items[index].utc.tv_sec, items[index].utc.tv_nsec) <= end) {
            if (onBinEnds != nullptr && nanosOf(items[index].utc.tv_sec, items[index].utc.tv_nsec) == end)
                ++*onBinEnds;
            const ReferenceValues values = referenceValues(items[index]);
            minima.push_back(values.min);
            maxima.push_back(values.max);
            sum += values.value;
            ++count;
            ++index;
        }
        ReferenceRecord record{};
        record.utc = DataTimespec{static_cast<int32_t>(end / kNanosPerSecond),
                                  static_cast<int32_t>(end % kNanosPerSecond)};
        record.quality = count < expected ? aggregation_reference::kFewerValuesThanExpected : 0u;
        record.min = referenceMin(minima);
        record.max = referenceMax(maxima);
        record.mean = static_cast<float>(sum / static_cast<double>(count));
        records.push_back(record);
    }
    return records;
}

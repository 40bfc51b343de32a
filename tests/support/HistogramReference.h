#pragma once

#include "LoggerDataItems.h"

#include <cmath>
#include <cstdint>
#include <vector>

// The histogram rules written once more, step by step as they are stated, without the library's
// code: the class of a value, the missing values of a span, and the merge of the records of a
// range. The tests of the calculator and the merge and the end-to-end test of the computed values
// compare with them.

// "class = integer part of (value minus lower limit) / class width. Below 0 gives 0; N or more
// gives N minus 1", the width "(upper minus lower) / (N minus 1), both as single-precision floats",
// the limits held as doubles; a value at or above the upper limit is in the last class, and so is
// one above the only limit of a histogram whose limits are equal.
inline int referenceClass(float value, float lower, float upper, int n)
{
    if (lower < upper && value >= upper)
        return n - 1;
    const float width = n > 1 ? (upper - lower) / static_cast<float>(n - 1) : 0.0f;
    if (width == 0.0f)
        return value > lower ? n - 1 : 0;
    const double quotient =
        (static_cast<double>(value) - static_cast<double>(lower)) / static_cast<double>(width);
    if (std::isnan(quotient) || quotient < 0.0)
        return 0;
    if (quotient >= n)
        return n - 1;
    return static_cast<int>(quotient);
}

// A time as seconds and nanoseconds, normalised, in 64 bits.
struct RefTime {
    int64_t sec = 0;
    int64_t nsec = 0;
};

inline RefTime refNormalised(int64_t sec, int64_t nsec)
{
    while (nsec < 0) {
        nsec += 1000000000;
        --sec;
    }
    while (nsec >= 1000000000) {
        nsec -= 1000000000;
        ++sec;
    }
    return RefTime{sec, nsec};
}

inline RefTime refTime(const DataTimespec& time)
{
    return refNormalised(time.tv_sec, time.tv_nsec);
}

inline RefTime refMinus(const RefTime& a, const RefTime& b)
{
    return refNormalised(a.sec - b.sec, a.nsec - b.nsec);
}

inline RefTime refPlus(const RefTime& a, const RefTime& b)
{
    return refNormalised(a.sec + b.sec, a.nsec + b.nsec);
}

inline bool refBefore(const RefTime& a, const RefTime& b)
{
    return a.sec < b.sec || (a.sec == b.sec && a.nsec < b.nsec);
}

inline double refSeconds(const RefTime& time)
{
    return static_cast<double>(time.nsec) / 1e9 + static_cast<double>(time.sec);
}

// The intervals of the property tests are whole nanoseconds, so their time form is exact.
inline RefTime refInterval(double interval)
{
    const int64_t nanoseconds = std::llround(interval * 1e9);
    return refNormalised(nanoseconds / 1000000000, nanoseconds % 1000000000);
}

template <int N> struct RefHistogram {
    RefTime utc;
    RefTime utcStart;
    uint32_t quality = 0;
    float lowerLimit = 0.0f;
    float upperLimit = 0.0f;
    long long totalValues = 0;
    long long missingValues = 0;
    long long maxValues = 0;
    std::vector<float> percent = std::vector<float>(N, 0.0f);
    bool missingBooked = false; // whether missing values lowered the per cent
};

// "Nothing happens where the interval is 0, or span does not exceed the interval. d = span minus
// interval; missing = integer part of (d.tv_nsec / 1e9) / interval + d.tv_sec / interval. m =
// maxValues + missing. Where m is above 0, each percent entry is scaled by maxValues / m.
// maxValues = m; missingValues += missing."
template <int N> void refMissingValues(const RefTime& span, double interval, RefHistogram<N>& record)
{
    if (interval <= 0.0 || !(refSeconds(span) > interval))
        return;
    const RefTime d = refMinus(span, refInterval(interval));
    const long long missing = static_cast<long long>((static_cast<double>(d.nsec) / 1e9) / interval +
                                                     static_cast<double>(d.sec) / interval);
    const long long m = record.maxValues + missing;
    if (m > 0) {
        for (float& percent : record.percent)
            percent = static_cast<float>(static_cast<double>(percent) *
                                         static_cast<double>(record.maxValues) / static_cast<double>(m));
        record.missingBooked = record.missingBooked || missing > 0;
    }
    record.maxValues = m;
    record.missingValues += missing;
}

// The merge: the records whose end lies in the range are taken in their order, the others are not
// there. The first taken is the sum; for each further one the gap from the sum's end to its start
// beyond one interval is missing time, the per cent are (record x its max + sum x sum's max) / both
// maxes in double where both maxes are above 0, the later end is the sum's, the limits are taken
// where the sum's are equal, the counts add up. Then, with a record taken, the missing time, the
// time from start to the sum's start and from the sum's end to end are booked as missing values,
// the sum spanning the range; cumulative per cent are running sums in double.
template <int N>
RefHistogram<N> refMerge(const std::vector<DataHistogram<N>>& records, const RefTime& start,
                         const RefTime& end, double interval, bool cumulative)
{
    RefHistogram<N> sum;
    bool taken = false;
    RefTime missingTime;
    for (const DataHistogram<N>& record : records) {
        const RefTime utc = refTime(record.utc);
        if (refBefore(utc, start) || refBefore(end, utc))
            continue;
        if (!taken) {
            taken = true;
            sum.utc = utc;
            sum.utcStart = refTime(record.utcStart);
            sum.quality = record.quality;
            sum.lowerLimit = record.lowerLimit;
            sum.upperLimit = record.upperLimit;
            sum.totalValues = record.totalValues;
            sum.missingValues = record.missingValues;
            sum.maxValues = record.maxValues;
            sum.percent.assign(record.percent, record.percent + N);
            continue;
        }
        const RefTime gap = refMinus(refTime(record.utcStart), sum.utc);
        if (interval > 0.0 && refSeconds(gap) > interval)
            missingTime = refPlus(missingTime, refMinus(gap, refInterval(interval)));
        const double both = static_cast<double>(sum.maxValues) + static_cast<double>(record.maxValues);
        if (both > 0.0) {
            for (int index = 0; index < N; ++index)
                sum.percent[index] = static_cast<float>(
                    (static_cast<double>(record.percent[index]) * record.maxValues +
                     static_cast<double>(sum.percent[index]) * static_cast<double>(sum.maxValues)) /
                    both);
        }
        if (refBefore(sum.utc, utc))
            sum.utc = utc;
        if (sum.lowerLimit == sum.upperLimit) {
            sum.lowerLimit = record.lowerLimit;
            sum.upperLimit = record.upperLimit;
        }
        sum.totalValues += record.totalValues;
        sum.maxValues += record.maxValues;
        sum.missingValues += record.missingValues;
    }
    if (taken) {
        if (refBefore(RefTime{}, missingTime))
            refMissingValues(missingTime, interval, sum);
        if (refBefore(start, sum.utcStart)) {
            refMissingValues(refMinus(sum.utcStart, start), interval, sum);
            sum.utcStart = start;
        }
        if (refBefore(sum.utc, end)) {
            refMissingValues(refMinus(end, sum.utc), interval, sum);
            sum.utc = end;
        }
    }
    if (cumulative) {
        double running = 0.0;
        for (float& percent : sum.percent) {
            running += percent;
            percent = static_cast<float>(running);
        }
    }
    return sum;
}

// Statistics against references written here from the rules alone: qzlogger::StatisticCalculator
// fed random sequences of values, arrays, time marks and period ends; the same calculator reading
// merged frequency and mains-signalling histograms; and qzlogger::StatisticAggregator adding up
// random statistic records. Library and reference take the same calls, and every field that the
// calculator or the aggregator holds or answers is compared after every call, over thousands of
// random sequences per property: random gaps (none, negative, huge), equal time stamps, clock
// changes, excluded values, values on the limits, not a number and infinite values, limits in the
// wrong order, classes without values, garbage histograms and records, empty and single inputs.
//
// The per cents are single-precision floats computed from double-precision quotients, and they are
// compared to the bit, as are all counts and times. The one allowance is the precision in which a
// histogram read takes the difference of the record's limits, which the rules leave open: there
// the library must give the result of one of the two readings (see readHistogram). Times stay
// within the 32-bit seconds of the records, from 0 to 2^31 - 1, so that every difference of two of
// them is a 32-bit time too.

#include "LoggerDataItems.h"
#include "StatisticAggregator.h"
#include "StatisticCalculator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using qzlogger::StatisticAggregator;
using qzlogger::StatisticCalculator;

constexpr long kClockChanged = 0x8;  // the clock was set at this value
constexpr long kNotJudged = 0x20000; // the value is missing, not measured against the limits
constexpr int64_t kNanosPerSecond = 1000000000;
constexpr int64_t kLastSecond = INT32_MAX;   // the latest second a record can hold
constexpr int32_t kFirstSecond = 1763802000; // 2025-11-22, a present-day time
constexpr double kFrequencyClasses = 2650.0; // the scale of every histogram read

// The seed of a property test: QZLOGGER_TEST_SEED where it is set, so that a failure can be
// repeated, else a fresh one; printed with every failure.
unsigned int propertySeed()
{
    const char* given = std::getenv("QZLOGGER_TEST_SEED");
    if (given != nullptr && *given != '\0')
        return static_cast<unsigned int>(std::strtoul(given, nullptr, 10));
    return std::random_device{}();
}

timespec at(int64_t seconds, int64_t nanoseconds = 0)
{
    timespec time{};
    time.tv_sec = static_cast<time_t>(seconds);
    time.tv_nsec = static_cast<long>(nanoseconds);
    return time;
}

// A time of total nanoseconds, the nanoseconds within 0 to 999999999 also for a negative time.
timespec fromNanos(int64_t nanos)
{
    int64_t seconds = nanos / kNanosPerSecond;
    int64_t rest = nanos % kNanosPerSecond;
    if (rest < 0) {
        rest += kNanosPerSecond;
        --seconds;
    }
    return at(seconds, rest);
}

int64_t toNanos(timespec time)
{
    return static_cast<int64_t>(time.tv_sec) * kNanosPerSecond + time.tv_nsec;
}

std::string text(timespec time)
{
    return "{" + std::to_string(static_cast<long long>(time.tv_sec)) + ", " +
           std::to_string(static_cast<long long>(time.tv_nsec)) + "}";
}

std::string text(float value)
{
    uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof(bits));
    char buffer[64];
    std::snprintf(buffer, sizeof(buffer), "%.9g (0x%08x)", static_cast<double>(value), bits);
    return buffer;
}

std::string text(double value)
{
    char buffer[64];
    std::snprintf(buffer, sizeof(buffer), "%.17g", value);
    return buffer;
}

bool sameBits(float a, float b)
{
    return std::memcmp(&a, &b, sizeof(a)) == 0;
}

bool sameTime(timespec a, timespec b)
{
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

bool sameTime(DataTimespec a, DataTimespec b)
{
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

// =================================================================================================
// The references: the rules written once more, step by step as they are stated, without the
// library's code. Where the rules' arithmetic would divide by zero, leave the range of int or take
// the integer part of something that is not a number, they follow the library's stated choices:
// counts saturate at the ends of int, a count from not a number is 0, an interval that is not
// positive books nothing.

// "a minus b": the seconds and nanoseconds apart, borrowing whole seconds from b's copy.
timespec referenceSubtract(timespec a, timespec b)
{
    int64_t ySeconds = b.tv_sec;
    int64_t yNanos = b.tv_nsec;
    const int64_t d = static_cast<int64_t>(a.tv_nsec) - b.tv_nsec;
    if (a.tv_nsec < b.tv_nsec) {
        const int64_t n = (static_cast<int64_t>(b.tv_nsec) - a.tv_nsec) / kNanosPerSecond + 1;
        ySeconds += n;
        yNanos -= kNanosPerSecond * n;
    }
    if (d > kNanosPerSecond) {
        const int64_t n = d / kNanosPerSecond;
        ySeconds -= n;
        yNanos += kNanosPerSecond * n;
    }
    return at(a.tv_sec - ySeconds, a.tv_nsec - yNanos);
}

// "nanoseconds / 1e9 + seconds, both converted to double first".
double referenceSeconds(timespec time)
{
    return static_cast<double>(time.tv_nsec) / 1e9 + static_cast<double>(time.tv_sec);
}

// A double stored in a 32-bit time word: truncated, and 0x80000000 where it is not finite or does
// not fit, as the conversion instruction gives it.
int32_t referenceTimeWord(double value)
{
    const double whole = std::trunc(value);
    if (!(whole >= -2147483648.0 && whole <= 2147483647.0))
        return INT32_MIN;
    return static_cast<int32_t>(whole);
}

// "d = getSeconds(b); q = a.seconds / d + (a.nanoseconds / 1e9) / d; seconds = q truncated;
// nanoseconds = ((q - seconds) x 1e9) truncated".
timespec referenceDivide(timespec a, timespec b)
{
    const double d = referenceSeconds(b);
    const double q = static_cast<double>(a.tv_sec) / d + (static_cast<double>(a.tv_nsec) / 1e9) / d;
    const int32_t seconds = referenceTimeWord(q);
    const int32_t nanos = referenceTimeWord((q - static_cast<double>(seconds)) * 1e9);
    return at(seconds, nanos);
}

// The seconds of a / b as divide gives them, where the quotient has a time word; beyond, the
// quotient itself: a count made of a quotient that divide cannot hold saturates.
double referenceQuotient(timespec a, timespec b)
{
    const double quotient = referenceSeconds(a) / referenceSeconds(b);
    if (std::isfinite(quotient) && std::fabs(quotient) < 2147483646.0)
        return referenceSeconds(referenceDivide(a, b));
    return quotient;
}

bool isZeroTime(timespec time)
{
    return time.tv_sec == 0 && time.tv_nsec == 0;
}

bool isLater(timespec a, timespec b)
{
    return a.tv_sec > b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_nsec > b.tv_nsec);
}

bool isPositive(timespec time)
{
    return isLater(time, at(0));
}

// A count from a double: the integer part, held to the range of int, 0 from not a number.
int countOf(double value)
{
    if (std::isnan(value))
        return 0;
    if (value >= static_cast<double>(INT_MAX))
        return INT_MAX;
    if (value <= static_cast<double>(INT_MIN))
        return INT_MIN;
    return static_cast<int>(value);
}

// count + more, held to the range of int.
int addSaturated(int count, long long more)
{
    // Beyond twice the range of int, more saturates the sum whatever count is.
    const long long bounded = std::max<long long>(std::min<long long>(more, 2LL * INT_MAX), 2LL * INT_MIN);
    const long long sum = static_cast<long long>(count) + bounded;
    return static_cast<int>(std::max<long long>(INT_MIN, std::min<long long>(INT_MAX, sum)));
}

// The integer part of a class position, where scale may be infinite or not a number: a position
// that is not a number is class 0, an infinite one lies beyond every class.
long long classOf(double position)
{
    if (std::isnan(position))
        return 0;
    if (position >= 9.0e18)
        return LLONG_MAX;
    if (position <= -9.0e18)
        return LLONG_MIN;
    return static_cast<long long>(position);
}

class ReferenceCalculator {
public:
    explicit ReferenceCalculator(unsigned int channels)
        : mChannels(channels), mLower(channels, 0.0), mUpper(channels, 0.0), mBetween(channels, 0),
          mViolation(channels, 0)
    {
    }

    // Base clear: quality, times and counts; limits and interval stay. The calculator's clear
    // also zeroes the counters of every channel.
    void clear()
    {
        mQuality = 0;
        mStartTime = at(0);
        mEndTime = at(0);
        mTotalValues = 0;
        mMaxValues = 0;
        mMissing = 0;
        std::fill(mBetween.begin(), mBetween.end(), 0);
        std::fill(mViolation.begin(), mViolation.end(), 0);
    }

    void setStartTime(timespec time) { mStartTime = time; }
    void setInterval(timespec interval) { mInterval = interval; }
    void setLowerLimits(const double* limits)
    {
        if (limits != nullptr)
            std::copy(limits, limits + mChannels, mLower.begin());
    }
    void setUpperLimits(const double* limits)
    {
        if (limits != nullptr)
            std::copy(limits, limits + mChannels, mUpper.begin());
    }

    // "the value as a double is at least the lower limit and not above the upper limit, both of
    // channel 0".
    bool isBetweenLimits(float value) const
    {
        if (mChannels == 0)
            return false;
        const double v = static_cast<double>(value);
        return v >= mLower[0] && v <= mUpper[0];
    }

    // "start time is set if still 0. End time becomes time; max values and missing data elements
    // go up by 1."
    void setCurrentTime(timespec time)
    {
        if (isZeroTime(mStartTime))
            mStartTime = time;
        mEndTime = time;
        mMaxValues = addSaturated(mMaxValues, 1);
        mMissing = addSaturated(mMissing, 1);
    }

    // "end time moves to time only where that is later".
    void setTimeChanged(timespec time)
    {
        if (isLater(time, mEndTime))
            mEndTime = time;
    }

    // "nothing where span does not exceed the interval. Otherwise missing = k x integer part of
    // ((span minus interval) in seconds / interval in seconds). Max values and missing data
    // elements both go up by it." An interval that is not positive books nothing.
    void calculateMissingValues(timespec span, int itemsPerInterval)
    {
        if (!isPositive(mInterval) || !isLater(span, mInterval))
            return;
        const double quotient =
            referenceSeconds(referenceSubtract(span, mInterval)) / referenceSeconds(mInterval);
        const int missing = countOf(static_cast<double>(itemsPerInterval) * std::trunc(quotient));
        mMaxValues = addSaturated(mMaxValues, missing);
        mMissing = addSaturated(mMissing, missing);
    }

    // "span = time minus end time; where the interval is still 0, it becomes span; then
    // calculateMissingValues(span, k)". The end time stays: it is the latest value's.
    void setEndTime(timespec time, int itemsPerInterval)
    {
        const timespec span = referenceSubtract(time, mEndTime);
        if (isZeroTime(mInterval))
            mInterval = span;
        calculateMissingValues(span, itemsPerInterval);
    }

    // Steps 1 to 5 of every add: the times, the gap and the interval learned from it.
    void takeTime(timespec time, long quality, bool clockChangeStep, int itemsPerInterval)
    {
        if (isZeroTime(mStartTime))
            mStartTime = time;
        if (isZeroTime(mEndTime))
            mEndTime = time;
        timespec d = referenceSubtract(time, mEndTime);
        if (clockChangeStep && (quality & kClockChanged) != 0) {
            setTimeChanged(time);
            d = mInterval;
        }
        if (isZeroTime(mInterval))
            mInterval = d;
        calculateMissingValues(d, itemsPerInterval);
        mEndTime = time;
    }

    void addDataItem(timespec time, float value, long quality)
    {
        takeTime(time, quality, true, 1);
        if ((quality & kNotJudged) == 0) {
            if (mChannels > 0) {
                if (isBetweenLimits(value))
                    mBetween[0] = addSaturated(mBetween[0], 1);
                else
                    mViolation[0] = addSaturated(mViolation[0], 1);
            }
        } else {
            mMissing = addSaturated(mMissing, 1);
        }
        mTotalValues = addSaturated(mTotalValues, 1);
        mMaxValues = addSaturated(mMaxValues, 1);
        mQuality |= quality;
    }

    void addDataArray(timespec time, const float* values, const float* limits, long quality)
    {
        if (values == nullptr || limits == nullptr)
            return;
        takeTime(time, quality, false, 1);
        if ((quality & kNotJudged) == 0) {
            for (unsigned int k = 0; k < mChannels; ++k) {
                if (values[k] <= limits[k])
                    mBetween[k] = addSaturated(mBetween[k], 1);
                else
                    mViolation[k] = addSaturated(mViolation[k], 1);
            }
        } else {
            mMissing = addSaturated(mMissing, 1);
        }
        mTotalValues = addSaturated(mTotalValues, 1);
        mMaxValues = addSaturated(mMaxValues, 1);
        mQuality |= quality;
    }

    void addDataArrayToSingleStatistic(timespec time, const float* values, const float* limits, int count,
                                       long quality)
    {
        if (count < 0 || (count > 0 && (values == nullptr || limits == nullptr)))
            return;
        takeTime(time, quality, false, count);
        if ((quality & kNotJudged) == 0) {
            for (int k = 0; k < count && mChannels > 0; ++k) {
                if (values[k] <= limits[k])
                    mBetween[0] = addSaturated(mBetween[0], 1);
                else
                    mViolation[0] = addSaturated(mViolation[0], 1);
            }
        } else {
            mMissing = addSaturated(mMissing, 1);
        }
        mTotalValues = addSaturated(mTotalValues, count);
        mMaxValues = addSaturated(mMaxValues, count);
        mQuality |= quality;
    }

    // "f = max values / 100, or 1.0 where max values is below 1 ... betweenLimits = between / f,
    // missing = missing / f, limitViolation = violation / f, each as a float".
    DataStatisticBase<float> getDataStatistic() const
    {
        const double f = mMaxValues < 1 ? 1.0 : static_cast<double>(mMaxValues) / 100.0;
        DataStatisticBase<float> result{};
        result.utc = mEndTime;
        result.utcStart = mStartTime;
        result.quality = static_cast<uint32_t>(mQuality);
        result.betweenLimits = static_cast<float>(static_cast<double>(betweenLimits()) / f);
        result.missing = static_cast<float>(static_cast<double>(mMissing) / f);
        result.limitViolation = static_cast<float>(static_cast<double>(limitViolation()) / f);
        return result;
    }

    // The histogram read over classes 0 to lastClass on the frequency scale, step by step.
    // "scale = 2650.0 / (upperLimit minus lowerLimit)" leaves open whether the difference of the
    // record's two single-precision limits is formed in single or in double precision; the one
    // rounds where the other does not, and a limit that lies on a class bound then falls into the
    // neighbouring class. Both readings are written here, and the library must give one of them.
    template <int N>
    void readHistogram(const DataHistogram<N>& record, int lastClass, bool differenceInDouble)
    {
        // 1.
        const double width = differenceInDouble ? static_cast<double>(record.upperLimit) -
                                                      static_cast<double>(record.lowerLimit)
                                                : static_cast<double>(record.upperLimit - record.lowerLimit);
        const double scale = kFrequencyClasses / width;
        // 2. and 3.
        long long a = classOf((mLower[0] - static_cast<double>(record.lowerLimit)) * scale + 0.5);
        if (a < 0)
            a = 0;
        long long b = classOf((mUpper[0] - static_cast<double>(record.lowerLimit)) * scale);
        if (b < a)
            b = a;
        if (b > lastClass)
            b = lastClass;
        if (a > b)
            a = b;
        // 4.
        clear();
        // 5.
        double s1 = 0.0;
        double s2 = 0.0;
        double s3 = 0.0;
        for (int i = 0; i < N; ++i) {
            if (i < a)
                s1 += static_cast<double>(record.percent[i]);
            else if (i <= b)
                s2 += static_cast<double>(record.percent[i]);
            else
                s3 += static_cast<double>(record.percent[i]);
        }
        // 6.
        const double f = static_cast<double>(record.maxValues) / 100.0;
        mViolation[0] = countOf(f * (s1 + s3) + 0.5);
        mBetween[0] = countOf(f * s2 + 0.5);
        mTotalValues = countOf(f * (s1 + s2 + s3) + 0.5);
        // 7.
        mQuality = static_cast<long>(record.quality);
        mStartTime = record.utcStart;
        mEndTime = record.utc;
        mMaxValues = record.maxValues;
        mMissing = record.missingValues;
    }

    int betweenLimits() const { return mChannels > 0 ? mBetween[0] : 0; }
    int limitViolation() const { return mChannels > 0 ? mViolation[0] : 0; }

    unsigned int mChannels;
    long mQuality = 0;
    timespec mStartTime{};
    timespec mEndTime{};
    timespec mInterval{};
    int mTotalValues = 0;
    int mMaxValues = 0;
    int mMissing = 0;
    std::vector<double> mLower;
    std::vector<double> mUpper;
    std::vector<int> mBetween;
    std::vector<int> mViolation;
};

class ReferenceAggregator {
public:
    void clearAggregated()
    {
        mAggregated = DataStatisticBase<long>{};
        mLastUtc = at(0);
        mHasData = false;
    }

    void setData(const DataStatisticBase<long>& record)
    {
        mAggregated = record;
        mLastUtc = record.utc;
        mHasData = true;
    }

    // "the seconds of (second minus first) / third"; 0 where the interval is not positive.
    double getIntervals(timespec first, timespec second, timespec interval) const
    {
        if (!isPositive(interval))
            return 0.0;
        return referenceQuotient(referenceSubtract(second, first), interval);
    }

    void add(const DataStatisticBase<long>& record)
    {
        if (!mHasData) {
            setData(record);
            return;
        }
        // "n = integer part of getIntervals(last utc, record's utc, record interval) + 0.5".
        const long long n = classOf(getIntervals(mLastUtc, record.utc, mRecordInterval) + 0.5);
        // "the gap holds n minus 1 lost records ... (n minus 1) x (record interval / value
        // interval), worked by divide and getSeconds, truncated to an integer". A value interval
        // that is not positive books nothing.
        if (n >= 2 && (record.quality & kClockChanged) == 0 && isPositive(mValueInterval)) {
            const double perRecord = referenceQuotient(mRecordInterval, mValueInterval);
            const int lost = countOf(static_cast<double>(n - 1) * perRecord);
            mAggregated.missing = addSaturated(mAggregated.missing, lost);
        }
        mAggregated.utc = record.utc;
        mAggregated.betweenLimits = addSaturated(mAggregated.betweenLimits, record.betweenLimits);
        mAggregated.missing = addSaturated(mAggregated.missing, record.missing);
        mAggregated.limitViolation = addSaturated(mAggregated.limitViolation, record.limitViolation);
        mAggregated.quality |= record.quality;
        mLastUtc = record.utc;
    }

    // "lead = getIntervals(start, utcStart, value interval), trail = getIntervals(utc, end, value
    // interval), each with negative values taken as 0; integer part of lead + trail + 0.5".
    int getMissingMeasValues(timespec start, timespec end) const
    {
        double lead = getIntervals(start, mAggregated.utcStart, mValueInterval);
        double trail = getIntervals(mAggregated.utc, end, mValueInterval);
        if (lead < 0.0)
            lead = 0.0;
        if (trail < 0.0)
            trail = 0.0;
        return countOf(lead + trail + 0.5);
    }

    // "all = between + violation + missing + extra".
    long long getAll(timespec start, timespec end) const
    {
        return static_cast<long long>(mAggregated.betweenLimits) + mAggregated.limitViolation +
               mAggregated.missing + getMissingMeasValues(start, end);
    }

    // "betweenLimits = between / all x 100, limitViolation = violation / all x 100, missing =
    // (missing + extra) / all x 100".
    DataStatisticBase<float> getDataStatistic(timespec start, timespec end) const
    {
        const int extra = getMissingMeasValues(start, end);
        const long long missing = static_cast<long long>(mAggregated.missing) + extra;
        const long long all = getAll(start, end);
        DataStatisticBase<float> result{};
        result.utcStart = mAggregated.utcStart;
        result.utc = mAggregated.utc;
        result.quality = mAggregated.quality;
        if (all != 0) {
            const double whole = static_cast<double>(all);
            result.betweenLimits =
                static_cast<float>(static_cast<double>(mAggregated.betweenLimits) / whole * 100.0);
            result.limitViolation =
                static_cast<float>(static_cast<double>(mAggregated.limitViolation) / whole * 100.0);
            result.missing = static_cast<float>(static_cast<double>(missing) / whole * 100.0);
        }
        return result;
    }

    // The host's record of a period: values[k] at most limits[k] is between, the not judged
    // values are one missing value; the record takes start where it has none, time as its end.
    static void addArray(DataStatisticBase<long>& record, timespec start, const float* values,
                         const float* limits, int count, timespec time, long quality)
    {
        if (count < 0 || (count > 0 && (values == nullptr || limits == nullptr)))
            return;
        if (isZeroTime(record.utcStart))
            record.utcStart = start;
        record.utc = time;
        record.quality |= static_cast<uint32_t>(quality);
        if ((quality & kNotJudged) != 0) {
            record.missing = addSaturated(record.missing, 1);
            return;
        }
        for (int k = 0; k < count; ++k) {
            if (values[k] <= limits[k])
                record.betweenLimits = addSaturated(record.betweenLimits, 1);
            else
                record.limitViolation = addSaturated(record.limitViolation, 1);
        }
    }

    DataStatisticBase<long> mAggregated{};
    timespec mRecordInterval{};
    timespec mValueInterval{};
    timespec mLastUtc{};
    bool mHasData = false;
};

// =================================================================================================
// The library's side, with its protected state in view so that every channel and every time can
// be compared.

class ObservedCalculator : public StatisticCalculator {
public:
    using StatisticCalculator::StatisticCalculator;
    timespec startTime() const { return mStartTime; }
    timespec endTime() const { return mEndTime; }
    timespec interval() const { return mInterval; }
    int betweenOf(unsigned int channel) const { return mBetweenLimits[channel]; }
    int violationOf(unsigned int channel) const { return mLimitViolation[channel]; }
};

// The fields in which a statistic in per cent differs, empty where none does.
std::string differencesOf(const DataStatisticBase<float>& expected, const DataStatisticBase<float>& got,
                          const std::string& what)
{
    std::ostringstream out;
    if (!sameTime(expected.utc, got.utc))
        out << "  " << what << ".utc: expected " << text(timespec(expected.utc)) << ", got "
            << text(timespec(got.utc)) << "\n";
    if (!sameTime(expected.utcStart, got.utcStart))
        out << "  " << what << ".utcStart: expected " << text(timespec(expected.utcStart)) << ", got "
            << text(timespec(got.utcStart)) << "\n";
    if (expected.quality != got.quality)
        out << "  " << what << ".quality: expected " << expected.quality << ", got " << got.quality << "\n";
    if (!sameBits(expected.betweenLimits, got.betweenLimits))
        out << "  " << what << ".betweenLimits: expected " << text(expected.betweenLimits) << ", got "
            << text(got.betweenLimits) << "\n";
    if (!sameBits(expected.missing, got.missing))
        out << "  " << what << ".missing: expected " << text(expected.missing) << ", got "
            << text(got.missing) << "\n";
    if (!sameBits(expected.limitViolation, got.limitViolation))
        out << "  " << what << ".limitViolation: expected " << text(expected.limitViolation) << ", got "
            << text(got.limitViolation) << "\n";
    return out.str();
}

std::string differencesOf(const ReferenceCalculator& expected, const ObservedCalculator& got)
{
    std::ostringstream out;
    auto count = [&out](const char* what, long long e, long long g) {
        if (e != g)
            out << "  " << what << ": expected " << e << ", got " << g << "\n";
    };
    auto time = [&out](const char* what, timespec e, timespec g) {
        if (!sameTime(e, g))
            out << "  " << what << ": expected " << text(e) << ", got " << text(g) << "\n";
    };
    count("channels", expected.mChannels, got.getChannels());
    count("quality", expected.mQuality, got.getQuality());
    count("total values", expected.mTotalValues, got.getTotalValues());
    count("max values", expected.mMaxValues, got.getMaxValues());
    count("missing data elements", expected.mMissing, got.getMissingDataElements());
    count("between limits", expected.betweenLimits(), got.getBetweenLimits());
    count("limit violation", expected.limitViolation(), got.getLimitViolation());
    time("start time", expected.mStartTime, got.startTime());
    time("end time", expected.mEndTime, got.endTime());
    time("interval", expected.mInterval, got.interval());
    if (expected.mChannels == got.getChannels()) {
        for (unsigned int k = 0; k < expected.mChannels; ++k) {
            const std::string channel = " of channel " + std::to_string(k);
            count(("between" + channel).c_str(), expected.mBetween[k], got.betweenOf(k));
            count(("violation" + channel).c_str(), expected.mViolation[k], got.violationOf(k));
        }
    }
    out << differencesOf(expected.getDataStatistic(), got.getDataStatistic(), "getDataStatistic()");
    return out.str();
}

std::string differencesOf(const DataStatisticBase<long>& expected, const DataStatisticBase<long>& got,
                          const std::string& what)
{
    std::ostringstream out;
    if (!sameTime(expected.utc, got.utc))
        out << "  " << what << ".utc: expected " << text(timespec(expected.utc)) << ", got "
            << text(timespec(got.utc)) << "\n";
    if (!sameTime(expected.utcStart, got.utcStart))
        out << "  " << what << ".utcStart: expected " << text(timespec(expected.utcStart)) << ", got "
            << text(timespec(got.utcStart)) << "\n";
    if (expected.quality != got.quality)
        out << "  " << what << ".quality: expected " << expected.quality << ", got " << got.quality << "\n";
    if (expected.betweenLimits != got.betweenLimits)
        out << "  " << what << ".betweenLimits: expected " << expected.betweenLimits << ", got "
            << got.betweenLimits << "\n";
    if (expected.missing != got.missing)
        out << "  " << what << ".missing: expected " << expected.missing << ", got " << got.missing << "\n";
    if (expected.limitViolation != got.limitViolation)
        out << "  " << what << ".limitViolation: expected " << expected.limitViolation << ", got "
            << got.limitViolation << "\n";
    return out.str();
}

// =================================================================================================
// Random inputs.

class Dice {
public:
    explicit Dice(unsigned int seed) : mEngine(seed) {}

    // 0 to n - 1.
    int below(int n) { return static_cast<int>(mEngine() % static_cast<unsigned int>(n)); }
    bool chance(int percent) { return below(100) < percent; }
    int64_t between(int64_t low, int64_t high)
    {
        return std::uniform_int_distribution<int64_t>(low, high)(mEngine);
    }
    double real(double low, double high)
    {
        return std::uniform_real_distribution<double>(low, high)(mEngine);
    }

    // Quality masks: mostly clean, often one of the two bits that count, sometimes anything.
    long quality()
    {
        switch (below(10)) {
        case 0:
        case 1: return kClockChanged;
        case 2:
        case 3: return kNotJudged;
        case 4: return kClockChanged | kNotJudged;
        case 5: return static_cast<long>(mEngine()); // any 32-bit mask, also with the top bit
        case 6: return 0x10000 | 0x1;
        default: return 0;
        }
    }

    // The time expected between values, in nanoseconds: the usual ones, a nanosecond, none, one
    // that is not positive, and one as long as a record's whole time.
    int64_t intervalNanos()
    {
        switch (below(16)) {
        case 0: return 0;
        case 1: return 1;
        case 2: return between(1, 1000);
        case 3: return 100000000;
        case 4: return 200000000;
        case 5: return 250000000;
        case 6: return 3 * kNanosPerSecond;
        case 7: return 600 * kNanosPerSecond;
        case 8: return 86400 * kNanosPerSecond;
        case 9: return -kNanosPerSecond;
        case 10: return -500000000;
        case 11: return kLastSecond * kNanosPerSecond;
        case 12: return between(1, 10 * kNanosPerSecond);
        default: return kNanosPerSecond;
        }
    }

    // A time from 0 to the last second a record holds.
    timespec anyTime()
    {
        switch (below(6)) {
        case 0: return at(0);
        case 1: return at(between(0, 10), between(0, kNanosPerSecond - 1));
        case 2: return at(kLastSecond - between(0, 10), between(0, kNanosPerSecond - 1));
        default: return at(between(0, kLastSecond), between(0, kNanosPerSecond - 1));
        }
    }

    // The step that the times of an interval move by: a second where the interval is not
    // positive, and at most a sixteenth of the 32-bit seconds, so that a dozen steps do not
    // leave the nanoseconds of an int64_t.
    static int64_t stepOf(int64_t intervalNanos)
    {
        const int64_t step = intervalNanos > 0 ? intervalNanos : kNanosPerSecond;
        return std::min<int64_t>(step, kLastSecond / 16 * kNanosPerSecond);
    }

    // The time after previous: regular, with jitter, a hole of several intervals, the same stamp,
    // a step back, a huge jump either way, or anywhere at all.
    timespec nextTime(timespec previous, int64_t intervalNanos)
    {
        const int64_t step = stepOf(intervalNanos);
        int64_t gap = step;
        switch (below(20)) {
        case 0:
        case 1: gap = 0; break;
        case 2: gap = -between(1, 3 * step); break;
        case 3: gap = step * between(2, 12); break;
        case 4: gap = step * between(2, 5) + between(-step / 2, step / 2); break;
        case 5: gap = between(1, step); break;
        case 6: gap = between(0, kLastSecond) * kNanosPerSecond; break;
        case 7: gap = -between(0, kLastSecond) * kNanosPerSecond; break;
        case 8: return anyTime();
        case 9: gap = step + between(-step / 5, step / 5); break;
        case 10: gap = between(1, 1000); break;
        default: break;
        }
        const int64_t last = kLastSecond * kNanosPerSecond + kNanosPerSecond - 1;
        const int64_t nanos = std::max<int64_t>(0, std::min<int64_t>(last, toNanos(previous) + gap));
        return fromNanos(nanos);
    }

    // A time a few steps before or after time, or near it, within the 32-bit seconds.
    timespec around(timespec time, int64_t stepNanos)
    {
        const int64_t step = stepOf(stepNanos);
        const int64_t offset = step * between(-5, 5) + between(-step / 2, step / 2);
        const int64_t last = kLastSecond * kNanosPerSecond + kNanosPerSecond - 1;
        return fromNanos(std::max<int64_t>(0, std::min<int64_t>(last, toNanos(time) + offset)));
    }

    // A pair of limits: around a nominal value as the getters form them, exact single-precision
    // values that values can equal, equal limits, limits in the wrong order, now and then one
    // that is infinite or not a number.
    void limits(double& lower, double& upper)
    {
        switch (below(8)) {
        case 0: {
            const float nominal = static_cast<float>(real(0.5, 500.0));
            const float lowerPercent = static_cast<float>(real(80.0, 100.0));
            const float upperPercent = static_cast<float>(real(100.0, 120.0));
            lower = static_cast<double>(lowerPercent) / 100.0 * static_cast<double>(nominal);
            upper = static_cast<double>(upperPercent) / 100.0 * static_cast<double>(nominal);
            break;
        }
        case 1:
            lower = static_cast<double>(static_cast<float>(real(-10.0, 10.0)));
            upper = lower;
            break;
        case 2:
            lower = static_cast<double>(static_cast<float>(real(0.0, 100.0)));
            upper = static_cast<double>(static_cast<float>(real(-100.0, 0.0)));
            break;
        case 3:
            lower = below(2) == 0 ? -std::numeric_limits<double>::infinity() : std::nan("");
            upper = below(2) == 0 ? std::numeric_limits<double>::infinity() : 1.0;
            break;
        default:
            lower = static_cast<double>(static_cast<float>(real(-100.0, 100.0)));
            upper = lower + static_cast<double>(static_cast<float>(real(0.0, 50.0)));
            break;
        }
    }

    // A value judged against lower and upper: on either limit or next to it, within, outside,
    // zero of either sign, the largest and the smallest floats, infinite, not a number.
    float value(double lower, double upper)
    {
        const float low = static_cast<float>(lower);
        const float high = static_cast<float>(upper);
        const float inf = std::numeric_limits<float>::infinity();
        switch (below(16)) {
        case 0: return std::nanf("");
        case 1: return inf;
        case 2: return -inf;
        case 3:
        case 4: return low;
        case 5:
        case 6: return high;
        case 7: return std::nextafter(low, below(2) == 0 ? inf : -inf);
        case 8: return std::nextafter(high, below(2) == 0 ? inf : -inf);
        case 9: return below(2) == 0 ? 0.0f : -0.0f;
        case 10:
            return below(2) == 0 ? std::numeric_limits<float>::max() : -std::numeric_limits<float>::max();
        case 11: return std::numeric_limits<float>::denorm_min();
        default: {
            double from = std::min(lower, upper);
            double to = std::max(lower, upper);
            if (!std::isfinite(from) || !std::isfinite(to)) {
                from = -100.0;
                to = 100.0;
            }
            const double margin = (to - from) / 2.0 + 1.0;
            return static_cast<float>(real(from - margin, to + margin));
        }
        }
    }

    // A limit of an array element, with the values it is tested against drawn by value().
    float arrayLimit()
    {
        switch (below(10)) {
        case 0: return std::nanf("");
        case 1: return std::numeric_limits<float>::infinity();
        case 2: return -std::numeric_limits<float>::infinity();
        default: return static_cast<float>(real(-5.0, 10.0));
        }
    }

    std::mt19937& engine() { return mEngine; }

private:
    std::mt19937 mEngine;
};

// A failure of one random sequence: the seed, the sequence and every call up to it.
struct SequenceLog {
    unsigned int seed = 0;
    int sequence = 0;
    std::ostringstream calls;

    void start(int number)
    {
        sequence = number;
        calls.str("");
    }
    std::string report(const std::string& differences) const
    {
        return "QZLOGGER_TEST_SEED=" + std::to_string(seed) + ", sequence " + std::to_string(sequence) +
               "\ncalls:\n" + calls.str() + "differences:\n" + differences;
    }
};

// Library and reference, driven alike and compared after each call.
class CalculatorPair {
public:
    explicit CalculatorPair(unsigned int channels) : library(channels), reference(channels) {}

    void setLimits(const std::vector<double>& lower, const std::vector<double>& upper, SequenceLog& log)
    {
        library.setLowerLimits(lower.data());
        library.setUpperLimits(upper.data());
        reference.setLowerLimits(lower.data());
        reference.setUpperLimits(upper.data());
        log.calls << "  limits";
        for (size_t k = 0; k < lower.size(); ++k)
            log.calls << " [" << text(lower[k]) << ", " << text(upper[k]) << "]";
        log.calls << "\n";
    }

    ObservedCalculator library;
    ReferenceCalculator reference;
};

void randomLimits(Dice& dice, unsigned int channels, std::vector<double>& lower, std::vector<double>& upper)
{
    lower.assign(channels, 0.0);
    upper.assign(channels, 0.0);
    for (unsigned int k = 0; k < channels; ++k)
        dice.limits(lower[k], upper[k]);
}

// Runs count random sequences and stops at the first that differs. A sequence draws its inputs
// from the dice, drives library and reference, writes its calls to the log and answers the
// differences it found, empty where there are none.
template <typename Sequence> void runSequences(const char* name, int count, Sequence sequence)
{
    const unsigned int seed = propertySeed();
    SCOPED_TRACE("QZLOGGER_TEST_SEED=" + std::to_string(seed));
    Dice dice(seed);
    SequenceLog log;
    log.seed = seed;
    const auto began = std::chrono::steady_clock::now();
    for (int number = 0; number < count; ++number) {
        log.start(number);
        const std::string differences = sequence(dice, log);
        if (!differences.empty()) {
            ADD_FAILURE() << name << ": library and reference differ\n" << log.report(differences);
            return;
        }
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
    std::printf("%s: %d random sequences in %.2f s (QZLOGGER_TEST_SEED=%u)\n", name, count, seconds, seed);
}

// =================================================================================================
// StatisticCalculator, from values.

// Values of one period as the item getters count them: a start, maybe a stored interval, the
// values with their gaps, clock changes and exclusions, and the end of the range.
TEST(StatisticPropertyTest, ValuesCountedAgainstLimitsAgreeWithTheReference)
{
    runSequences("values", 4000, [](Dice& dice, SequenceLog& log) -> std::string {
        CalculatorPair pair(1);
        std::vector<double> lower;
        std::vector<double> upper;
        randomLimits(dice, 1, lower, upper);
        pair.setLimits(lower, upper, log);
        const int64_t intervalNanos = dice.intervalNanos();
        timespec time = dice.chance(10) ? dice.anyTime() : at(kFirstSecond, dice.between(0, 999999999));
        if (dice.chance(80)) {
            pair.library.setStartTime(time);
            pair.reference.setStartTime(time);
            log.calls << "  setStartTime(" << text(time) << ")\n";
        }
        if (dice.chance(50)) {
            pair.library.setInterval(fromNanos(intervalNanos));
            pair.reference.setInterval(fromNanos(intervalNanos));
            log.calls << "  setInterval(" << text(fromNanos(intervalNanos)) << ")\n";
        }
        std::string differences = differencesOf(pair.reference, pair.library);
        const int values = dice.chance(10) ? 0 : dice.chance(15) ? 1 : dice.below(60);
        for (int index = 0; index < values && differences.empty(); ++index) {
            time = index == 0 && dice.chance(50) ? time : dice.nextTime(time, intervalNanos);
            const float value = dice.value(lower[0], upper[0]);
            const long quality = dice.quality();
            pair.library.addDataItem(time, value, quality);
            pair.reference.addDataItem(time, value, quality);
            log.calls << "  addDataItem(" << text(time) << ", " << text(value) << ", 0x" << std::hex
                      << quality << std::dec << ")\n";
            differences = differencesOf(pair.reference, pair.library);
            if (differences.empty() &&
                pair.library.isBetweenLimits(value) != pair.reference.isBetweenLimits(value))
                differences = "  isBetweenLimits(" + text(value) + ") differs\n";
        }
        if (differences.empty()) {
            const timespec end = dice.chance(80) ? dice.nextTime(time, intervalNanos) : dice.anyTime();
            pair.library.setEndTime(end, 1);
            pair.reference.setEndTime(end, 1);
            log.calls << "  setEndTime(" << text(end) << ", 1)\n";
            differences = differencesOf(pair.reference, pair.library);
        }
        return differences;
    });
}

// One value per channel against a limit per channel, as a host judges its arrays.
TEST(StatisticPropertyTest, ArraysCountedPerChannelAgreeWithTheReference)
{
    runSequences("arrays per channel", 3000, [](Dice& dice, SequenceLog& log) -> std::string {
        const unsigned int channels = static_cast<unsigned int>(dice.below(8));
        CalculatorPair pair(channels);
        std::vector<double> lower;
        std::vector<double> upper;
        randomLimits(dice, channels, lower, upper);
        pair.setLimits(lower, upper, log);
        const int64_t intervalNanos = dice.intervalNanos();
        if (dice.chance(50)) {
            pair.library.setInterval(fromNanos(intervalNanos));
            pair.reference.setInterval(fromNanos(intervalNanos));
            log.calls << "  setInterval(" << text(fromNanos(intervalNanos)) << ")\n";
        }
        timespec time = dice.anyTime();
        std::string differences = differencesOf(pair.reference, pair.library);
        const int arrays = dice.chance(10) ? 0 : dice.chance(15) ? 1 : dice.below(40);
        for (int index = 0; index < arrays && differences.empty(); ++index) {
            time = dice.nextTime(time, intervalNanos);
            std::vector<float> values(channels + 1);
            std::vector<float> limits(channels + 1);
            for (unsigned int k = 0; k < channels; ++k) {
                limits[k] = dice.arrayLimit();
                values[k] = dice.value(static_cast<double>(limits[k]), static_cast<double>(limits[k]));
            }
            const long quality = dice.quality();
            const bool null = dice.chance(3);
            const float* valuesGiven = null && dice.chance(50) ? nullptr : values.data();
            const float* limitsGiven = null && valuesGiven != nullptr ? nullptr : limits.data();
            pair.library.addDataArray(time, valuesGiven, limitsGiven, quality);
            pair.reference.addDataArray(time, valuesGiven, limitsGiven, quality);
            log.calls << "  addDataArray(" << text(time) << ", " << (valuesGiven ? "values" : "null") << ", "
                      << (limitsGiven ? "limits" : "null") << ", 0x" << std::hex << quality << std::dec
                      << ")";
            for (unsigned int k = 0; k < channels; ++k)
                log.calls << " [" << text(values[k]) << " <= " << text(limits[k]) << "]";
            log.calls << "\n";
            differences = differencesOf(pair.reference, pair.library);
        }
        if (differences.empty()) {
            const timespec end = dice.nextTime(time, intervalNanos);
            pair.library.setEndTime(end, 1);
            pair.reference.setEndTime(end, 1);
            log.calls << "  setEndTime(" << text(end) << ", 1)\n";
            differences = differencesOf(pair.reference, pair.library);
        }
        return differences;
    });
}

// Several values per time into the first channel, as the harmonics statistic counts its orders.
TEST(StatisticPropertyTest, ArraysCountedIntoOneStatisticAgreeWithTheReference)
{
    runSequences("arrays into one statistic", 3000, [](Dice& dice, SequenceLog& log) -> std::string {
        CalculatorPair pair(dice.chance(5) ? 0 : 1);
        std::vector<double> lower;
        std::vector<double> upper;
        randomLimits(dice, pair.reference.mChannels, lower, upper);
        pair.setLimits(lower, upper, log);
        const int64_t intervalNanos = dice.intervalNanos();
        if (dice.chance(50)) {
            pair.library.setInterval(fromNanos(intervalNanos));
            pair.reference.setInterval(fromNanos(intervalNanos));
            log.calls << "  setInterval(" << text(fromNanos(intervalNanos)) << ")\n";
        }
        // The orders picked stay the same through a period, as the getter's do.
        const int count = dice.chance(5) ? -dice.between(1, 3) : dice.chance(5) ? 0 : dice.between(1, 50);
        timespec time = dice.anyTime();
        std::string differences = differencesOf(pair.reference, pair.library);
        const int records = dice.chance(10) ? 0 : dice.chance(15) ? 1 : dice.below(30);
        for (int index = 0; index < records && differences.empty(); ++index) {
            time = dice.nextTime(time, intervalNanos);
            const size_t size = static_cast<size_t>(std::max(count, 0)) + 1;
            std::vector<float> values(size);
            std::vector<float> limits(size);
            for (int k = 0; k < count; ++k) {
                limits[k] = dice.arrayLimit();
                values[k] = dice.value(static_cast<double>(limits[k]), static_cast<double>(limits[k]));
            }
            const long quality = dice.quality();
            const bool null = dice.chance(3);
            float* valuesGiven = null && dice.chance(50) ? nullptr : values.data();
            float* limitsGiven = null && valuesGiven != nullptr ? nullptr : limits.data();
            pair.library.addDataArrayToSingleStatistic(time, valuesGiven, limitsGiven, count, quality);
            pair.reference.addDataArrayToSingleStatistic(time, valuesGiven, limitsGiven, count, quality);
            log.calls << "  addDataArrayToSingleStatistic(" << text(time) << ", "
                      << (valuesGiven ? "values" : "null") << ", " << (limitsGiven ? "limits" : "null")
                      << ", " << count << ", 0x" << std::hex << quality << std::dec << ")";
            for (int k = 0; k < count; ++k)
                log.calls << " [" << text(values[k]) << " <= " << text(limits[k]) << "]";
            log.calls << "\n";
            differences = differencesOf(pair.reference, pair.library);
        }
        if (differences.empty()) {
            const timespec end = dice.nextTime(time, intervalNanos);
            const int perInterval = std::max(count, 0);
            pair.library.setEndTime(end, perInterval);
            pair.reference.setEndTime(end, perInterval);
            log.calls << "  setEndTime(" << text(end) << ", " << perInterval << ")\n";
            differences = differencesOf(pair.reference, pair.library);
        }
        return differences;
    });
}

// Every operation of the calculator in any order: also time marks without a value, clock changes
// told apart, gaps booked by hand, new limits and intervals in the middle, and clears.
TEST(StatisticPropertyTest, AnyOrderOfCallsAgreesWithTheReference)
{
    runSequences("any order", 3000, [](Dice& dice, SequenceLog& log) -> std::string {
        const unsigned int channels = static_cast<unsigned int>(dice.below(4));
        CalculatorPair pair(channels);
        std::vector<double> lower;
        std::vector<double> upper;
        randomLimits(dice, channels, lower, upper);
        pair.setLimits(lower, upper, log);
        int64_t intervalNanos = dice.intervalNanos();
        timespec time = dice.anyTime();
        std::string differences = differencesOf(pair.reference, pair.library);
        const int calls = dice.chance(5) ? 0 : dice.below(50);
        for (int index = 0; index < calls && differences.empty(); ++index) {
            const int what = dice.below(100);
            const long quality = dice.quality();
            if (what < 35) {
                time = dice.nextTime(time, intervalNanos);
                const float value = channels > 0 ? dice.value(lower[0], upper[0]) : dice.value(0.0, 1.0);
                pair.library.addDataItem(time, value, quality);
                pair.reference.addDataItem(time, value, quality);
                log.calls << "  addDataItem(" << text(time) << ", " << text(value) << ", 0x" << std::hex
                          << quality << std::dec << ")\n";
            } else if (what < 45) {
                time = dice.nextTime(time, intervalNanos);
                std::vector<float> values(channels + 1);
                std::vector<float> limits(channels + 1);
                for (unsigned int k = 0; k < channels; ++k) {
                    limits[k] = dice.arrayLimit();
                    values[k] = dice.value(static_cast<double>(limits[k]), static_cast<double>(limits[k]));
                }
                pair.library.addDataArray(time, values.data(), limits.data(), quality);
                pair.reference.addDataArray(time, values.data(), limits.data(), quality);
                log.calls << "  addDataArray(" << text(time) << ", 0x" << std::hex << quality << std::dec
                          << ")";
                for (unsigned int k = 0; k < channels; ++k)
                    log.calls << " [" << text(values[k]) << " <= " << text(limits[k]) << "]";
                log.calls << "\n";
            } else if (what < 55) {
                time = dice.nextTime(time, intervalNanos);
                const int count = dice.between(-1, 8);
                std::vector<float> values(static_cast<size_t>(std::max(count, 0)) + 1);
                std::vector<float> limits(values.size());
                for (int k = 0; k < count; ++k) {
                    limits[k] = dice.arrayLimit();
                    values[k] = dice.value(static_cast<double>(limits[k]), static_cast<double>(limits[k]));
                }
                pair.library.addDataArrayToSingleStatistic(time, values.data(), limits.data(), count,
                                                           quality);
                pair.reference.addDataArrayToSingleStatistic(time, values.data(), limits.data(), count,
                                                             quality);
                log.calls << "  addDataArrayToSingleStatistic(" << text(time) << ", " << count << ", 0x"
                          << std::hex << quality << std::dec << ")";
                for (int k = 0; k < count; ++k)
                    log.calls << " [" << text(values[k]) << " <= " << text(limits[k]) << "]";
                log.calls << "\n";
            } else if (what < 62) {
                time = dice.nextTime(time, intervalNanos);
                pair.library.setCurrentTime(time);
                pair.reference.setCurrentTime(time);
                log.calls << "  setCurrentTime(" << text(time) << ")\n";
            } else if (what < 69) {
                const timespec changed = dice.nextTime(time, intervalNanos);
                pair.library.setTimeChanged(changed);
                pair.reference.setTimeChanged(changed);
                log.calls << "  setTimeChanged(" << text(changed) << ")\n";
            } else if (what < 76) {
                // Values per interval are a count of values, never below 0.
                const timespec end = dice.nextTime(time, intervalNanos);
                const int k = dice.between(0, 10);
                pair.library.setEndTime(end, k);
                pair.reference.setEndTime(end, k);
                log.calls << "  setEndTime(" << text(end) << ", " << k << ")\n";
            } else if (what < 83) {
                const timespec span = referenceSubtract(dice.nextTime(time, intervalNanos), time);
                const int k = dice.between(0, 10);
                pair.library.calculateMissingValues(span, k);
                pair.reference.calculateMissingValues(span, k);
                log.calls << "  calculateMissingValues(" << text(span) << ", " << k << ")\n";
            } else if (what < 87) {
                const timespec start = dice.chance(20) ? at(0) : dice.nextTime(time, intervalNanos);
                pair.library.setStartTime(start);
                pair.reference.setStartTime(start);
                log.calls << "  setStartTime(" << text(start) << ")\n";
            } else if (what < 91) {
                intervalNanos = dice.intervalNanos();
                pair.library.setInterval(fromNanos(intervalNanos));
                pair.reference.setInterval(fromNanos(intervalNanos));
                log.calls << "  setInterval(" << text(fromNanos(intervalNanos)) << ")\n";
            } else if (what < 95) {
                randomLimits(dice, channels, lower, upper);
                pair.setLimits(lower, upper, log);
            } else {
                pair.library.clear();
                pair.reference.clear();
                log.calls << "  clear()\n";
            }
            differences = differencesOf(pair.reference, pair.library);
        }
        return differences;
    });
}

// Gaps of up to 68 years against intervals of nanoseconds and arrays of many values: the counts
// the rules give lie far beyond int, and the calculator holds them at its end without overflow.
TEST(StatisticPropertyTest, HugeGapsOverTinyIntervalsSaturateTheCounts)
{
    int saturated = 0;
    runSequences("huge gaps", 2000, [&saturated](Dice& dice, SequenceLog& log) -> std::string {
        CalculatorPair pair(1);
        std::vector<double> lower{0.0};
        std::vector<double> upper{1.0};
        pair.setLimits(lower, upper, log);
        const timespec interval = at(0, dice.between(1, 1000));
        pair.library.setInterval(interval);
        pair.reference.setInterval(interval);
        log.calls << "  setInterval(" << text(interval) << ")\n";
        std::string differences;
        const int calls = 1 + dice.below(6);
        for (int index = 0; index < calls && differences.empty(); ++index) {
            const timespec time = index % 2 == 0
                                      ? at(dice.between(0, 5), dice.between(0, 999999999))
                                      : at(kLastSecond - dice.between(0, 5), dice.between(0, 999999999));
            const int count = dice.chance(30) ? INT_MAX - dice.below(3) : dice.between(1, 64);
            std::vector<float> values(64, 0.5f);
            std::vector<float> limits(64, 1.0f);
            switch (dice.below(4)) {
            case 0:
                pair.library.addDataItem(time, 0.5f, 0);
                pair.reference.addDataItem(time, 0.5f, 0);
                log.calls << "  addDataItem(" << text(time) << ", 0.5, 0)\n";
                break;
            case 1: {
                const int given = std::min(count, 64);
                pair.library.addDataArrayToSingleStatistic(time, values.data(), limits.data(), given, 0);
                pair.reference.addDataArrayToSingleStatistic(time, values.data(), limits.data(), given, 0);
                log.calls << "  addDataArrayToSingleStatistic(" << text(time) << ", " << given << ", 0)\n";
                break;
            }
            case 2:
                pair.library.setEndTime(time, count);
                pair.reference.setEndTime(time, count);
                log.calls << "  setEndTime(" << text(time) << ", " << count << ")\n";
                break;
            default:
                pair.library.calculateMissingValues(referenceSubtract(time, at(0)), count);
                pair.reference.calculateMissingValues(referenceSubtract(time, at(0)), count);
                log.calls << "  calculateMissingValues(" << text(time) << ", " << count << ")\n";
                break;
            }
            differences = differencesOf(pair.reference, pair.library);
        }
        if (pair.library.getMaxValues() == INT_MAX)
            ++saturated;
        return differences;
    });
    // The property is only shown where the counts did reach the end of int.
    EXPECT_GT(saturated, 100);
}

// =================================================================================================
// StatisticCalculator, from a merged histogram.

// A histogram of a period: a bump of values around a random class that sums to about 100 per
// cent, classes without values, and now and then garbage: percentages below 0, infinite or not a
// number, limits that are equal or in the wrong order, counts at the ends of int.
template <int N> void randomHistogram(Dice& dice, DataHistogram<N>& record)
{
    std::memset(&record, 0, sizeof(record));
    record.utcStart = DataTimespec::fromTimespec(dice.anyTime());
    record.utc = DataTimespec::fromTimespec(dice.anyTime());
    record.quality = static_cast<uint32_t>(dice.quality());
    switch (dice.below(8)) {
    case 0:
        record.lowerLimit = static_cast<float>(dice.real(-10.0, 10.0));
        record.upperLimit = record.lowerLimit;
        break;
    case 1:
        record.lowerLimit = 55.0f;
        record.upperLimit = 45.0f;
        break;
    case 2:
        record.lowerLimit = dice.chance(50) ? std::nanf("") : 0.0f;
        record.upperLimit = dice.chance(50) ? std::numeric_limits<float>::infinity() : 1e-30f;
        break;
    case 3:
        record.lowerLimit = 0.0f;
        record.upperLimit = 2.0f;
        break;
    case 4:
    case 5:
        // Limits whose difference a float does not hold exactly.
        record.lowerLimit = static_cast<float>(dice.real(-100.0, 100.0));
        record.upperLimit = record.lowerLimit + static_cast<float>(dice.real(0.001, 200.0));
        break;
    default:
        record.lowerLimit = 42.5f;
        record.upperLimit = 57.5f;
        break;
    }
    switch (dice.below(8)) {
    case 0: record.maxValues = 0; break;
    case 1: record.maxValues = INT32_MAX; break;
    case 2: record.maxValues = -static_cast<int32_t>(dice.between(1, 1000)); break;
    default: record.maxValues = static_cast<int32_t>(dice.between(1, 2000000)); break;
    }
    record.missingValues = dice.chance(10) ? INT32_MIN : static_cast<int32_t>(dice.between(0, 1000));
    const int64_t total = static_cast<int64_t>(record.maxValues) - record.missingValues;
    record.totalValues =
        static_cast<int32_t>(std::max<int64_t>(INT32_MIN, std::min<int64_t>(INT32_MAX, total)));
    if (dice.chance(5))
        return; // no value at all
    const int center = dice.below(N);
    const int width = 1 + dice.below(std::min(N, 300));
    double left = 100.0;
    for (int i = std::max(0, center - width); i < std::min(N, center + width) && left > 0.0; ++i) {
        if (dice.chance(30))
            continue; // a class without values
        const float share = static_cast<float>(std::min(left, dice.real(0.0, 100.0 / width * 2.0)));
        record.percent[i] = share;
        left -= static_cast<double>(share);
    }
    if (dice.chance(15)) {
        const float garbage[] = {-5.0f,
                                 std::nanf(""),
                                 std::numeric_limits<float>::infinity(),
                                 -std::numeric_limits<float>::infinity(),
                                 3e38f,
                                 1e-42f};
        const int spoiled = 1 + dice.below(4);
        for (int k = 0; k < spoiled; ++k)
            record.percent[dice.below(N)] = garbage[dice.below(6)];
    }
}

// The calculator's limits for a histogram: often exactly on a class bound or half a class from
// it, where the rounding of the class positions decides; below the first and beyond the last
// class; in the wrong order; as the getters form them from a nominal value.
template <int N>
void histogramLimits(Dice& dice, const DataHistogram<N>& record, double& lower, double& upper)
{
    const double base = static_cast<double>(record.lowerLimit);
    const double width = static_cast<double>(record.upperLimit - record.lowerLimit) / kFrequencyClasses;
    auto onClass = [&dice, base, width]() {
        const double position = static_cast<double>(dice.between(-5, N + 5)) + 0.5 * dice.below(2);
        return base + position * width;
    };
    switch (dice.below(6)) {
    case 0:
    case 1:
        lower = onClass();
        upper = onClass();
        if (lower > upper && dice.chance(80))
            std::swap(lower, upper);
        break;
    case 2: {
        const float nominal = 50.0f;
        const float lowerPercent = static_cast<float>(dice.real(90.0, 100.0));
        const float upperPercent = static_cast<float>(dice.real(100.0, 110.0));
        lower = static_cast<double>(lowerPercent) / 100.0 * static_cast<double>(nominal);
        upper = static_cast<double>(upperPercent) / 100.0 * static_cast<double>(nominal);
        break;
    }
    case 3:
        lower = base - dice.real(0.0, 100.0);
        upper = base + dice.real(0.0, 1000.0);
        break;
    default: dice.limits(lower, upper); break;
    }
}

// entry chooses, for the frequency histogram, between getHistogramDataFrequency and the template.
template <int N> std::string compareHistogramRead(Dice& dice, SequenceLog& log, int entry)
{
    static DataHistogram<N> record;
    randomHistogram(dice, record);
    CalculatorPair pair(1);
    std::vector<double> lower(1);
    std::vector<double> upper(1);
    histogramLimits(dice, record, lower[0], upper[0]);
    pair.setLimits(lower, upper, log);
    // A calculator that counted before: the read starts it anew.
    if (dice.chance(30)) {
        const timespec time = dice.anyTime();
        pair.library.addDataItem(time, 1.0f, 0x40);
        pair.reference.addDataItem(time, 1.0f, 0x40);
        pair.library.setInterval(at(1));
        pair.reference.setInterval(at(1));
        log.calls << "  addDataItem(" << text(time) << ", 1, 0x40), setInterval({1, 0})\n";
    }
    log.calls << "  record<" << N << ">: limits [" << text(record.lowerLimit) << ", "
              << text(record.upperLimit) << "], max " << record.maxValues << ", missing "
              << record.missingValues << ", quality 0x" << std::hex << record.quality << std::dec
              << ", non-zero classes:";
    for (int i = 0; i < N; ++i) {
        if (record.percent[i] != 0.0f)
            log.calls << " " << i << "=" << text(record.percent[i]);
    }
    log.calls << "\n";
    bool read = false;
    if constexpr (N == 2650) {
        if (entry == 0) {
            pair.library.getHistogramDataFrequency(record);
            log.calls << "  getHistogramDataFrequency(record)\n";
            read = true;
        }
    }
    if (!read) {
        pair.library.getHistogramData<N>(record, N - 1);
        log.calls << "  getHistogramData<" << N << ">(record, " << N - 1 << ")\n";
    }
    ReferenceCalculator single = pair.reference;
    pair.reference.readHistogram<N>(record, N - 1, true);
    single.readHistogram<N>(record, N - 1, false);
    const std::string inDouble = differencesOf(pair.reference, pair.library);
    const std::string inSingle = differencesOf(single, pair.library);
    if (inDouble.empty() || inSingle.empty())
        return std::string();
    return "  the limits' difference in double:\n" + inDouble +
           "  the limits' difference in single precision:\n" + inSingle;
}

TEST(StatisticPropertyTest, FrequencyHistogramReadAgreesWithTheReference)
{
    runSequences("frequency histogram", 3000, [](Dice& dice, SequenceLog& log) -> std::string {
        return compareHistogramRead<2650>(dice, log, dice.below(2));
    });
}

// 200 classes read on the scale of 2650, the last class 199 taking all above it.
TEST(StatisticPropertyTest, MainsSignallingHistogramReadOnTheFrequencyScaleAgreesWithTheReference)
{
    runSequences("mains-signalling histogram", 5000, [](Dice& dice, SequenceLog& log) -> std::string {
        return compareHistogramRead<200>(dice, log, 0);
    });
}

// =================================================================================================
// StatisticAggregator.

// A record of one period as a host logs it: its counts, mostly those of a full period, sometimes
// garbage at the ends of int.
DataStatisticBase<long> randomRecord(Dice& dice, timespec start, timespec end)
{
    DataStatisticBase<long> record{};
    record.utcStart = start;
    record.utc = end;
    record.quality = static_cast<uint32_t>(dice.quality());
    auto count = [&dice]() -> int32_t {
        switch (dice.below(12)) {
        case 0: return INT32_MAX - static_cast<int32_t>(dice.below(3));
        case 1: return -static_cast<int32_t>(dice.between(1, 100));
        case 2: return INT32_MIN;
        case 3: return 0;
        default: return static_cast<int32_t>(dice.between(0, 100000));
        }
    };
    record.betweenLimits = count();
    record.missing = count();
    record.limitViolation = count();
    return record;
}

class AggregatorPair {
public:
    void setIntervals(timespec recordInterval, timespec valueInterval)
    {
        library.setRecordInterval(recordInterval);
        library.setValueInterval(valueInterval);
        reference.mRecordInterval = recordInterval;
        reference.mValueInterval = valueInterval;
    }

    std::string differences(Dice& dice, timespec first, timespec last)
    {
        std::string out = differencesOf(reference.mAggregated, library.getAggregated(), "getAggregated()");
        // The range of the read: around the records, inside them, reversed, anywhere.
        for (int k = 0; k < 2 && out.empty(); ++k) {
            const int64_t step = toNanos(reference.mRecordInterval);
            timespec start = dice.chance(70) ? dice.around(first, step) : dice.anyTime();
            timespec end = dice.chance(70) ? dice.around(last, step) : dice.anyTime();
            if (dice.chance(10))
                std::swap(start, end);
            const int expectedMissing = reference.getMissingMeasValues(start, end);
            const int gotMissing = library.getMissingMeasValues(start, end);
            if (expectedMissing != gotMissing)
                out += "  getMissingMeasValues(" + text(start) + ", " + text(end) + "): expected " +
                       std::to_string(expectedMissing) + ", got " + std::to_string(gotMissing) + "\n";
            DataStatisticBase<float> expected = reference.getDataStatistic(start, end);
            const DataStatisticBase<float> got = library.getDataStatistic(start, end);
            // Records with counts below 0 are garbage that no host logs; where they bring the
            // whole below 0, the read is shown to run without overflow and to keep its times,
            // and its shares are not compared.
            if (reference.getAll(start, end) < 0) {
                expected.betweenLimits = got.betweenLimits;
                expected.missing = got.missing;
                expected.limitViolation = got.limitViolation;
            }
            out += differencesOf(expected, got, "getDataStatistic(" + text(start) + ", " + text(end) + ")");
            const timespec interval = fromNanos(dice.intervalNanos());
            const double expectedIntervals = reference.getIntervals(start, end, interval);
            const double gotIntervals = library.getIntervals(start, end, interval);
            if (std::memcmp(&expectedIntervals, &gotIntervals, sizeof(double)) != 0)
                out += "  getIntervals(" + text(start) + ", " + text(end) + ", " + text(interval) +
                       "): expected " + text(expectedIntervals) + ", got " + text(gotIntervals) + "\n";
        }
        return out;
    }

    StatisticAggregator library;
    ReferenceAggregator reference;
};

// Records one after the other with lost ones between them, clock changes, equal and earlier
// stamps, read over ranges that start before and end after them, under any pair of intervals.
TEST(StatisticPropertyTest, AggregatedRecordsAgreeWithTheReference)
{
    runSequences("aggregated records", 4000, [](Dice& dice, SequenceLog& log) -> std::string {
        AggregatorPair pair;
        pair.library.clearAggregated();
        pair.reference.clearAggregated();
        int64_t recordNanos = dice.chance(70) ? 600 * kNanosPerSecond : dice.intervalNanos();
        int64_t valueNanos = dice.chance(70) ? 10 * kNanosPerSecond : dice.intervalNanos();
        if (dice.chance(10))
            valueNanos = recordNanos;
        pair.setIntervals(fromNanos(recordNanos), fromNanos(valueNanos));
        log.calls << "  record interval " << text(fromNanos(recordNanos)) << ", value interval "
                  << text(fromNanos(valueNanos)) << "\n";
        timespec time = dice.chance(20) ? dice.anyTime() : at(kFirstSecond);
        const timespec first = time;
        std::string differences = pair.differences(dice, first, time);
        const int records = dice.chance(10) ? 0 : dice.chance(15) ? 1 : dice.below(40);
        for (int index = 0; index < records && differences.empty(); ++index) {
            const timespec start = time;
            time = dice.nextTime(time, recordNanos);
            DataStatisticBase<long> record = randomRecord(dice, start, time);
            pair.library.add(record);
            pair.reference.add(record);
            log.calls << "  add({utcStart " << text(timespec(record.utcStart)) << ", utc "
                      << text(timespec(record.utc)) << ", quality 0x" << std::hex << record.quality
                      << std::dec << ", between " << record.betweenLimits << ", missing " << record.missing
                      << ", violation " << record.limitViolation << "})\n";
            differences = pair.differences(dice, first, time);
            if (differences.empty() && dice.chance(3)) {
                pair.library.clearAggregated();
                pair.reference.clearAggregated();
                log.calls << "  clearAggregated()\n";
                differences = pair.differences(dice, first, time);
            }
        }
        return differences;
    });
}

// Gaps of decades between records, intervals of nanoseconds, and reads of the whole 32-bit time:
// quotients far beyond a 32-bit time word, which the division of times has no word for. They are
// taken as they are, so that lost records and values outside the range saturate the counts
// instead of turning them negative. The counts stay within int.
TEST(StatisticPropertyTest, AggregatorHugeGapsOverTinyIntervalsAgreeWithTheReference)
{
    runSequences("aggregator huge gaps", 3000, [](Dice& dice, SequenceLog& log) -> std::string {
        AggregatorPair pair;
        pair.library.clearAggregated();
        pair.reference.clearAggregated();
        const timespec recordInterval =
            dice.chance(50) ? at(0, dice.between(1, 1000)) : at(dice.between(1, 600));
        const timespec valueInterval = at(0, dice.between(1, 1000));
        pair.setIntervals(recordInterval, valueInterval);
        log.calls << "  record interval " << text(recordInterval) << ", value interval "
                  << text(valueInterval) << "\n";
        std::string differences;
        for (int index = 0; index < 3 && differences.empty(); ++index) {
            const timespec time = at(dice.between(0, kLastSecond), dice.between(0, 999999999));
            DataStatisticBase<long> record = randomRecord(dice, time, time);
            record.quality &= ~static_cast<uint32_t>(kClockChanged);
            pair.library.add(record);
            pair.reference.add(record);
            log.calls << "  add({utc " << text(time) << ", between " << record.betweenLimits << ", missing "
                      << record.missing << ", violation " << record.limitViolation << "})\n";
            differences = pair.differences(dice, at(0), at(kLastSecond, 999999999));
        }
        return differences;
    });
}

// A host's record filled value by value, then added up.
TEST(StatisticPropertyTest, RecordsFilledByAddArrayAgreeWithTheReference)
{
    runSequences("addArray", 3000, [](Dice& dice, SequenceLog& log) -> std::string {
        StatisticAggregator aggregator;
        DataStatisticBase<long> got{};
        DataStatisticBase<long> expected{};
        aggregator.clearDataAbsolute(got);
        if (dice.chance(20)) {
            got = randomRecord(dice, dice.anyTime(), dice.anyTime());
            expected = got;
        }
        timespec time = dice.anyTime();
        std::string differences;
        const int calls = dice.below(20);
        for (int index = 0; index < calls && differences.empty(); ++index) {
            const timespec start = dice.chance(80) ? time : dice.anyTime();
            time = dice.nextTime(time, kNanosPerSecond);
            const int count = dice.chance(5) ? -1 : dice.between(0, 12);
            std::vector<float> values(static_cast<size_t>(std::max(count, 0)) + 1);
            std::vector<float> limits(values.size());
            for (int k = 0; k < count; ++k) {
                limits[k] = dice.arrayLimit();
                values[k] = dice.value(static_cast<double>(limits[k]), static_cast<double>(limits[k]));
            }
            const long quality = dice.quality();
            const bool null = dice.chance(5);
            float* valuesGiven = null ? nullptr : values.data();
            aggregator.addArray(got, start, valuesGiven, limits.data(), count, time, quality);
            ReferenceAggregator::addArray(expected, start, valuesGiven, limits.data(), count, time, quality);
            log.calls << "  addArray(record, " << text(start) << ", " << (null ? "null" : "values")
                      << ", limits, " << count << ", " << text(time) << ", 0x" << std::hex << quality
                      << std::dec << ")";
            for (int k = 0; k < count; ++k)
                log.calls << " [" << text(values[k]) << " <= " << text(limits[k]) << "]";
            log.calls << "\n";
            differences = differencesOf(expected, got, "record");
        }
        return differences;
    });
}

} // namespace

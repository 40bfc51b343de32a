#include "HistogramCalculator.h"

#include <climits>
#include <cmath>

namespace qzlogger {

namespace {

// How far a gap may lie from the nominal interval and still enter the average: less than the
// interval itself where lenient, else less than one fifth (20 %) of it.
constexpr long long kStrictShare = 5;
constexpr long long kNanoseconds = 1000000000;
// Intervals beyond this many seconds do not fit the nanosecond arithmetic of the gaps; nothing
// measured by the store comes near it.
constexpr double kLongestInterval = 1e9;

bool isSet(const timespec& time)
{
    return time.tv_sec != 0 || time.tv_nsec != 0;
}

} // namespace

HistogramCalculator::HistogramCalculator(int* classes, int count) : mClassCount(count), mClasses(classes)
{
    clear();
}

HistogramCalculator::~HistogramCalculator() = default;

void HistogramCalculator::clear()
{
    mTotalValues = 0;
    mTimeChangedValues = 0;
    mIntervalCount = 0;
    mIntervalSum = 0.0;
    mStartTime = timespec{};
    mCurrentTime = timespec{};
    if (mClasses != nullptr) {
        for (int index = 0; index < mClassCount; ++index) {
            mClasses[index] = 0;
        }
    }
}

void HistogramCalculator::setParameters(float lower, float upper, timespec interval)
{
    mLowerLimit = lower;
    mUpperLimit = upper;
    // One class has no width to divide: everything lands in it.
    mClassWidth = mClassCount > 1 ? (upper - lower) / static_cast<float>(mClassCount - 1) : 0.0f;
    mInterval = static_cast<double>(interval.tv_sec) + static_cast<double>(interval.tv_nsec) / 1e9;
}

void HistogramCalculator::add(float value, timespec time, bool lenient)
{
    const double seconds = static_cast<double>(time.tv_sec) - static_cast<double>(mCurrentTime.tv_sec);
    if (isSet(mCurrentTime) && mInterval > 0.0 && mInterval < kLongestInterval &&
        std::fabs(seconds) < 2 * kLongestInterval) {
        // The deviation is compared in whole nanoseconds: a gap of exactly 1.2 intervals is 20 %
        // off, which its nearest double would not quite be.
        const long long gap = (static_cast<long long>(time.tv_sec) - mCurrentTime.tv_sec) * kNanoseconds +
                              (static_cast<long long>(time.tv_nsec) - mCurrentTime.tv_nsec);
        const long long interval = std::llround(mInterval * 1e9);
        const long long deviation = gap > interval ? gap - interval : interval - gap;
        const bool regular = lenient ? deviation < interval : deviation * kStrictShare < interval;
        if (regular) {
            ++mIntervalCount;
            mIntervalSum += static_cast<double>(gap) / 1e9;
        }
    }
    setCurrentTime(time);
    const int index = classOf(value);
    if (index >= 0 && mClasses != nullptr) {
        ++mClasses[index];
    }
    ++mTotalValues;
}

int HistogramCalculator::classOf(float value) const
{
    if (mClassCount < 1) {
        return -1;
    }
    const int last = mClassCount - 1;
    // The upper limit is the value of the last class; the rounding of the width must not move it,
    // or a value above it, into the class below.
    if (mLowerLimit < mUpperLimit && static_cast<double>(value) >= mUpperLimit) {
        return last;
    }
    const double width = mClassWidth;
    if (width == 0.0) {
        // Equal limits, or a single class: below or at the limit is the first class.
        return static_cast<double>(value) > mLowerLimit ? last : 0;
    }
    const double position = (static_cast<double>(value) - mLowerLimit) / width;
    if (!(position >= 0.0)) {
        return 0; // below the lower limit, or not a number
    }
    if (position >= static_cast<double>(mClassCount)) {
        return last;
    }
    return static_cast<int>(position);
}

float HistogramCalculator::getLowerLimit() const
{
    return static_cast<float>(mLowerLimit);
}

float HistogramCalculator::getUpperLimit() const
{
    return static_cast<float>(mUpperLimit);
}

float HistogramCalculator::getInterval() const
{
    return mClassWidth;
}

long HistogramCalculator::getTotalValues() const
{
    return mTotalValues;
}

void HistogramCalculator::setTotalValues(long totalValues)
{
    mTotalValues = totalValues;
}

void HistogramCalculator::setInterval(double interval)
{
    mInterval = interval;
}

int HistogramCalculator::getTimeChangedValues() const
{
    return mTimeChangedValues;
}

long HistogramCalculator::calcTotalValues() const
{
    long total = 0;
    if (mClasses != nullptr) {
        for (int index = 0; index < mClassCount; ++index) {
            total += mClasses[index];
        }
    }
    return total;
}

int HistogramCalculator::clampToInt(long long value)
{
    if (value > INT_MAX) {
        return INT_MAX;
    }
    if (value < INT_MIN) {
        return INT_MIN;
    }
    return static_cast<int>(value);
}

int HistogramCalculator::roundToCount(double quotient)
{
    if (std::isnan(quotient)) {
        return 0;
    }
    const double rounded = std::round(quotient);
    if (rounded >= static_cast<double>(INT_MAX)) {
        return INT_MAX;
    }
    if (rounded <= static_cast<double>(INT_MIN)) {
        return INT_MIN;
    }
    return static_cast<int>(rounded);
}

int HistogramCalculator::getIntervalCount(timespec span) const
{
    const double average = mIntervalCount > 1 ? mIntervalSum / mIntervalCount : mInterval;
    if (!(average > 0.0)) {
        return 0;
    }
    return roundToCount(LoggerTimeStamp::getSeconds(span) / average);
}

void HistogramCalculator::setCurrentTime(timespec time)
{
    mCurrentTime = time;
    if (!isSet(mStartTime)) {
        mStartTime = time;
    }
}

void HistogramCalculator::setTimeChanged(timespec time)
{
    if (isSet(mCurrentTime)) {
        const int intervals = getIntervalCount(LoggerTimeStamp::subtract(time, mCurrentTime));
        mTimeChangedValues =
            clampToInt(static_cast<long long>(mTimeChangedValues) + static_cast<long long>(intervals) - 1);
    }
    setCurrentTime(time);
}

int HistogramCalculator::calculateMaxDataElements() const
{
    const timespec span = LoggerTimeStamp::subtract(mCurrentTime, mStartTime);
    if (span.tv_sec < 1 && span.tv_nsec == 0) {
        return isSet(mCurrentTime) ? 1 : 0;
    }
    const long long expected =
        static_cast<long long>(getIntervalCount(span)) + 1 - static_cast<long long>(mTimeChangedValues);
    return clampToInt(expected > mTotalValues ? expected : static_cast<long long>(mTotalValues));
}

void HistogramCalculator::calculatePercent(float* out) const
{
    if (mClasses == nullptr || out == nullptr) {
        return;
    }
    const int expected = calculateMaxDataElements();
    const double factor = expected < 1 ? 0.0 : 100.0 / expected;
    for (int index = 0; index < mClassCount; ++index) {
        out[index] = static_cast<float>(mClasses[index] * factor);
    }
}

void HistogramCalculator::calculateCumulativePercent(float* in, float* out) const
{
    if (in == nullptr || out == nullptr) {
        return;
    }
    double sum = 0.0;
    for (int index = 0; index < mClassCount; ++index) {
        sum += in[index];
        out[index] = static_cast<float>(sum);
    }
}

} // namespace qzlogger

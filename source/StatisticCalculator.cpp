#include "StatisticCalculator.h"

#include "LoggerTimeStamp.h"

#include <climits>
#include <cmath>

namespace qzlogger {

namespace {

// A value whose quality has this bit is not judged: it is expected and missing.
constexpr long kNotJudged = 0x20000;
// A value whose quality has this bit comes after a change of the clock.
constexpr long kClockChanged = 0x8;

bool isSet(const timespec& time)
{
    return time.tv_sec != 0 || time.tv_nsec != 0;
}

// The whole part of value, held to the range of int; 0 where it is not a number. The class
// positions and counts of a histogram come from products with whatever limits a record holds.
int wholePart(double value)
{
    if (std::isnan(value)) {
        return 0;
    }
    if (value >= static_cast<double>(INT_MAX)) {
        return INT_MAX;
    }
    if (value <= static_cast<double>(INT_MIN)) {
        return INT_MIN;
    }
    return static_cast<int>(std::trunc(value));
}

} // namespace

StatisticCalculator::StatisticCalculator(unsigned int channels) : StatisticCalculatorBase(channels) {}

StatisticCalculator::~StatisticCalculator()
{
    delete[] mLowerLimits;
    delete[] mUpperLimits;
    delete[] mBetweenLimits;
    delete[] mLimitViolation;
    mLowerLimits = nullptr;
    mUpperLimits = nullptr;
    mBetweenLimits = nullptr;
    mLimitViolation = nullptr;
    mChannels = 0;
}

void StatisticCalculator::clear()
{
    StatisticCalculatorBase::clear();
    for (unsigned int channel = 0; channel < mChannels; ++channel) {
        mBetweenLimits[channel] = 0;
        mLimitViolation[channel] = 0;
    }
}

int StatisticCalculator::getBetweenLimits() const
{
    return mChannels > 0 ? mBetweenLimits[0] : 0;
}

int StatisticCalculator::getLimitViolation() const
{
    return mChannels > 0 ? mLimitViolation[0] : 0;
}

DataStatisticBase<float> StatisticCalculator::getDataStatistic() const
{
    // The counts as shares of the expected values; with none expected the counts, all 0, stay.
    const double factor = mMaxValues < 1 ? 1.0 : static_cast<double>(mMaxValues) / 100.0;
    DataStatisticBase<float> result{};
    result.utc = mEndTime;
    result.utcStart = mStartTime;
    result.quality = static_cast<uint32_t>(mQuality);
    result.betweenLimits = static_cast<float>(getBetweenLimits() / factor);
    result.missing = static_cast<float>(mMissingDataElements / factor);
    result.limitViolation = static_cast<float>(getLimitViolation() / factor);
    return result;
}

bool StatisticCalculator::isBetweenLimits(float value) const
{
    if (mChannels == 0) {
        return false;
    }
    const double measured = value;
    return measured >= mLowerLimits[0] && measured <= mUpperLimits[0];
}

void StatisticCalculator::addDataItem(timespec time, float value, long quality)
{
    if (!isSet(mStartTime)) {
        mStartTime = time;
    }
    if (!isSet(mEndTime)) {
        mEndTime = time;
    }
    timespec gap = LoggerTimeStamp::subtract(time, mEndTime);
    if ((quality & kClockChanged) != 0) {
        setTimeChanged(time);
        gap = mInterval;
    }
    if (!isSet(mInterval)) {
        mInterval = gap;
    }
    calculateMissingValues(gap, 1);
    mEndTime = time;
    if ((quality & kNotJudged) == 0) {
        if (isBetweenLimits(value)) {
            if (mChannels > 0) {
                mBetweenLimits[0] = addCount(mBetweenLimits[0], 1);
            }
        } else if (mChannels > 0) {
            mLimitViolation[0] = addCount(mLimitViolation[0], 1);
        }
    } else {
        mMissingDataElements = addCount(mMissingDataElements, 1);
    }
    mTotalValues = addCount(mTotalValues, 1);
    mMaxValues = addCount(mMaxValues, 1);
    mQuality |= quality;
}

void StatisticCalculator::addDataArray(timespec time, const float* values, const float* limits, long quality)
{
    if (values == nullptr || limits == nullptr) {
        return;
    }
    if (!isSet(mStartTime)) {
        mStartTime = time;
    }
    if (!isSet(mEndTime)) {
        mEndTime = time;
    }
    const timespec gap = LoggerTimeStamp::subtract(time, mEndTime);
    if (!isSet(mInterval)) {
        mInterval = gap;
    }
    calculateMissingValues(gap, 1);
    mEndTime = time;
    if ((quality & kNotJudged) == 0) {
        for (unsigned int channel = 0; channel < mChannels; ++channel) {
            if (values[channel] <= limits[channel]) {
                mBetweenLimits[channel] = addCount(mBetweenLimits[channel], 1);
            } else {
                mLimitViolation[channel] = addCount(mLimitViolation[channel], 1);
            }
        }
    } else {
        mMissingDataElements = addCount(mMissingDataElements, 1);
    }
    mTotalValues = addCount(mTotalValues, 1);
    mMaxValues = addCount(mMaxValues, 1);
    mQuality |= quality;
}

void StatisticCalculator::addDataArrayToSingleStatistic(timespec time, float* values, float* limits, int count,
                                                        long quality)
{
    if (count < 0 || (count > 0 && (values == nullptr || limits == nullptr))) {
        return;
    }
    if (!isSet(mStartTime)) {
        mStartTime = time;
    }
    if (!isSet(mEndTime)) {
        mEndTime = time;
    }
    const timespec gap = LoggerTimeStamp::subtract(time, mEndTime);
    if (!isSet(mInterval)) {
        mInterval = gap;
    }
    calculateMissingValues(gap, count);
    mEndTime = time;
    if ((quality & kNotJudged) == 0) {
        if (mChannels > 0) {
            for (int index = 0; index < count; ++index) {
                if (values[index] <= limits[index]) {
                    mBetweenLimits[0] = addCount(mBetweenLimits[0], 1);
                } else {
                    mLimitViolation[0] = addCount(mLimitViolation[0], 1);
                }
            }
        }
    } else {
        // The record as a whole is not judged: one value is missing, not count.
        mMissingDataElements = addCount(mMissingDataElements, 1);
    }
    mTotalValues = addCount(mTotalValues, count);
    mMaxValues = addCount(mMaxValues, count);
    mQuality |= quality;
}

void StatisticCalculator::getHistogramDataFrequency(DataHistogram<2650>& record)
{
    getHistogramData<2650>(record, 2649);
}

void StatisticCalculator::countClasses(const float* percent, int count, int lastClass, float lowerLimit,
                                       float upperLimit, int maxValues)
{
    // The frequency histogram's class count sets the scale for every histogram: the classes of
    // a mains-signalling record are read on the frequency scale too, and the last class takes
    // everything above it.
    const double scale = 2650.0 / (static_cast<double>(upperLimit) - static_cast<double>(lowerLimit));
    const double lower = mChannels > 0 ? mLowerLimits[0] : 0.0;
    const double upper = mChannels > 0 ? mUpperLimits[0] : 0.0;
    int first = wholePart((lower - lowerLimit) * scale + 0.5);
    if (first < 0) {
        first = 0;
    }
    int last = wholePart((upper - lowerLimit) * scale);
    if (last < first) {
        last = first;
    }
    if (last > lastClass) {
        last = lastClass;
    }
    if (first > last) {
        first = last;
    }
    clear();
    double below = 0.0;
    double between = 0.0;
    double above = 0.0;
    for (int index = 0; index < count; ++index) {
        const double share = percent[index];
        if (index < first) {
            below += share;
        } else if (index <= last) {
            between += share;
        } else {
            above += share;
        }
    }
    // The shares back to counts of the record's expected values, rounded.
    const double factor = static_cast<double>(maxValues) / 100.0;
    if (mChannels > 0) {
        mLimitViolation[0] = wholePart(factor * (below + above) + 0.5);
        mBetweenLimits[0] = wholePart(factor * between + 0.5);
    }
    mTotalValues = wholePart(factor * (below + between + above) + 0.5);
}

} // namespace qzlogger

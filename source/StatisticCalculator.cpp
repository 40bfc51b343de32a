#include "StatisticCalculator.h"

#include "LoggerTimeStamp.h"
#include "StatisticArithmetic.h"

namespace qzlogger {

namespace {

// A value whose quality has this bit is not judged: it is expected and missing.
constexpr long kNotJudged = 0x20000;
// A value whose quality has this bit comes after a change of the clock.
constexpr long kClockChanged = 0x8;

// The class positions and counts of a histogram come from products with whatever limits a record
// holds: they are whole parts held to the range of int.
int wholeInt(double value)
{
    return static_cast<int>(statistic_detail::wholePart(value));
}

} // namespace

using statistic_detail::isSet;

StatisticCalculator::StatisticCalculator(unsigned int channels) : StatisticCalculatorBase(channels)
{
}

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

void StatisticCalculator::advance(timespec time, bool clockChanged, int itemsPerInterval)
{
    if (!isSet(mStartTime)) {
        mStartTime = time;
    }
    if (!isSet(mEndTime)) {
        mEndTime = time;
    }
    timespec gap = LoggerTimeStamp::subtract(time, mEndTime);
    if (clockChanged) {
        setTimeChanged(time);
        gap = mInterval;
    }
    if (!isSet(mInterval)) {
        mInterval = gap;
    }
    calculateMissingValues(gap, itemsPerInterval);
    mEndTime = time;
}

void StatisticCalculator::countExpected(int count, long quality)
{
    mTotalValues = addCount(mTotalValues, count);
    mMaxValues = addCount(mMaxValues, count);
    mQuality |= quality;
}

void StatisticCalculator::judge(int channel, bool between)
{
    if (between) {
        mBetweenLimits[channel] = addCount(mBetweenLimits[channel], 1);
    } else {
        mLimitViolation[channel] = addCount(mLimitViolation[channel], 1);
    }
}

void StatisticCalculator::addDataItem(timespec time, float value, long quality)
{
    advance(time, (quality & kClockChanged) != 0, 1);
    if ((quality & kNotJudged) != 0) {
        mMissingDataElements = addCount(mMissingDataElements, 1);
    } else if (mChannels > 0) {
        judge(0, isBetweenLimits(value));
    }
    countExpected(1, quality);
}

void StatisticCalculator::addDataArray(timespec time, const float* values, const float* limits, long quality)
{
    if (values == nullptr || limits == nullptr) {
        return;
    }
    advance(time, false, 1);
    if ((quality & kNotJudged) != 0) {
        mMissingDataElements = addCount(mMissingDataElements, 1);
    } else {
        for (unsigned int channel = 0; channel < mChannels; ++channel) {
            judge(static_cast<int>(channel), values[channel] <= limits[channel]);
        }
    }
    countExpected(1, quality);
}

void StatisticCalculator::addDataArrayToSingleStatistic(timespec time, float* values, float* limits,
                                                        int count, long quality)
{
    if (count < 0 || (count > 0 && (values == nullptr || limits == nullptr))) {
        return;
    }
    advance(time, false, count);
    if ((quality & kNotJudged) != 0) {
        // The record as a whole is not judged: one value is missing, not count.
        mMissingDataElements = addCount(mMissingDataElements, 1);
    } else if (mChannels > 0) {
        for (int index = 0; index < count; ++index) {
            judge(0, values[index] <= limits[index]);
        }
    }
    countExpected(count, quality);
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
    int first = wholeInt((lower - lowerLimit) * scale + 0.5);
    if (first < 0) {
        first = 0;
    }
    int last = wholeInt((upper - lowerLimit) * scale);
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
        mLimitViolation[0] = wholeInt(factor * (below + above) + 0.5);
        mBetweenLimits[0] = wholeInt(factor * between + 0.5);
    }
    mTotalValues = wholeInt(factor * (below + between + above) + 0.5);
}

} // namespace qzlogger

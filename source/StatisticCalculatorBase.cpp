#include "StatisticCalculatorBase.h"

#include "LoggerTimeStamp.h"
#include "StatisticArithmetic.h"

#include <climits>
#include <new>

namespace qzlogger {

using statistic_detail::isSet;
using statistic_detail::wholePart;

StatisticCalculatorBase::StatisticCalculatorBase(unsigned int channels)
{
    mLowerLimits = new (std::nothrow) double[channels]();
    mUpperLimits = new (std::nothrow) double[channels]();
    mBetweenLimits = new (std::nothrow) int[channels]();
    mLimitViolation = new (std::nothrow) int[channels]();
    if (mLowerLimits != nullptr && mUpperLimits != nullptr && mBetweenLimits != nullptr &&
        mLimitViolation != nullptr) {
        mChannels = channels;
    }
}

StatisticCalculatorBase::~StatisticCalculatorBase()
{
    // StatisticCalculator frees the arrays first; what a calculator of the base alone allocated
    // is freed here.
    delete[] mLowerLimits;
    delete[] mUpperLimits;
    delete[] mBetweenLimits;
    delete[] mLimitViolation;
}

void StatisticCalculatorBase::clear()
{
    mQuality = 0;
    mStartTime = timespec{};
    mEndTime = timespec{};
    mTotalValues = 0;
    mMaxValues = 0;
    mMissingDataElements = 0;
}

long StatisticCalculatorBase::getQuality() const
{
    return mQuality;
}

int StatisticCalculatorBase::getTotalValues() const
{
    return mTotalValues;
}

int StatisticCalculatorBase::getMaxValues() const
{
    return mMaxValues;
}

int StatisticCalculatorBase::getMissingDataElements() const
{
    return mMissingDataElements;
}

unsigned int StatisticCalculatorBase::getChannels() const
{
    return mChannels;
}

void StatisticCalculatorBase::setStartTime(timespec time)
{
    mStartTime = time;
}

void StatisticCalculatorBase::setInterval(timespec interval)
{
    mInterval = interval;
}

void StatisticCalculatorBase::setTimeChanged(timespec time)
{
    if (LoggerTimeStamp::getSeconds(LoggerTimeStamp::subtract(time, mEndTime)) > 0.0) {
        mEndTime = time;
    }
}

void StatisticCalculatorBase::setCurrentTime(timespec time)
{
    if (!isSet(mStartTime)) {
        mStartTime = time;
    }
    mEndTime = time;
    mMaxValues = addCount(mMaxValues, 1);
    mMissingDataElements = addCount(mMissingDataElements, 1);
}

void StatisticCalculatorBase::setLowerLimits(const double* limits)
{
    if (limits == nullptr) {
        return;
    }
    for (unsigned int channel = 0; channel < mChannels; ++channel) {
        mLowerLimits[channel] = limits[channel];
    }
}

void StatisticCalculatorBase::setUpperLimits(const double* limits)
{
    if (limits == nullptr) {
        return;
    }
    for (unsigned int channel = 0; channel < mChannels; ++channel) {
        mUpperLimits[channel] = limits[channel];
    }
}

void StatisticCalculatorBase::calculateMissingValues(timespec span, int itemsPerInterval)
{
    const double interval = LoggerTimeStamp::getSeconds(mInterval);
    // An interval of no length, or one that a clock running backward taught, cannot count a gap.
    if (!(interval > 0.0) || itemsPerInterval <= 0) {
        return;
    }
    if (!(LoggerTimeStamp::getSeconds(span) > interval)) {
        return;
    }
    const double beyond = LoggerTimeStamp::getSeconds(LoggerTimeStamp::subtract(span, mInterval));
    const long long missing = static_cast<long long>(itemsPerInterval) * wholePart(beyond / interval);
    mMaxValues = addCount(mMaxValues, missing);
    mMissingDataElements = addCount(mMissingDataElements, missing);
}

void StatisticCalculatorBase::setEndTime(timespec time, int itemsPerInterval)
{
    const timespec span = LoggerTimeStamp::subtract(time, mEndTime);
    if (!isSet(mInterval)) {
        mInterval = span;
    }
    calculateMissingValues(span, itemsPerInterval);
}

int StatisticCalculatorBase::addCount(int count, long long more)
{
    const long long sum = static_cast<long long>(count) + more;
    if (sum > INT_MAX) {
        return INT_MAX;
    }
    if (sum < INT_MIN) {
        return INT_MIN;
    }
    return static_cast<int>(sum);
}

} // namespace qzlogger

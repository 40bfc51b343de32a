#pragma once

#include "qzlogger_export.h"

#include <ctime>

namespace qzlogger {

// The frame of a limit statistic: the times of the first and of the latest value, the interval
// expected between values, and how many values came, were expected and are missing. It keeps
// one pair of limits per channel and one pair of counters per channel, which StatisticCalculator
// counts into.
//
// The expected values follow the time: a gap of more than one interval between two values holds
// the values that did not come, and they are expected and missing alike. Where no interval is
// set, the first gap measured becomes the interval.
//
// All counts stay within the range of int, however far apart the times lie. An interval that is
// not positive books no missing values, since there is nothing to count a gap in.
//
// One calculator serves one thread; it has no lock.
class QZLOGGER_EXPORT StatisticCalculatorBase {
public:
    // A calculator of channels limit pairs. Its four arrays are allocated here without throwing,
    // limits and counters 0; where that fails the calculator counts no channel.
    explicit StatisticCalculatorBase(unsigned int channels);
    virtual ~StatisticCalculatorBase();
    StatisticCalculatorBase(const StatisticCalculatorBase&) = delete;
    StatisticCalculatorBase& operator=(const StatisticCalculatorBase&) = delete;

    // Starts anew: quality, times and counts go to zero. Limits and interval stay.
    void clear();
    // The OR of the quality of every value counted.
    long getQuality() const;
    // The values counted.
    int getTotalValues() const;
    // The values expected: those counted and those missing.
    int getMaxValues() const;
    // The values lost in gaps or excluded from the judgement.
    int getMissingDataElements() const;
    // The number of limit pairs.
    unsigned int getChannels() const;

    void setStartTime(timespec time);
    // The time expected between values.
    void setInterval(timespec interval);
    // The clock was set to time: the latest time moves there where that is later, so that the
    // jump is not taken for a gap.
    void setTimeChanged(timespec time);
    // A moment with an expected value that did not come: the first one also starts the period,
    // and the value is expected and missing.
    void setCurrentTime(timespec time);
    // The limits of every channel, one double per channel. Null changes nothing.
    void setLowerLimits(const double* limits);
    void setUpperLimits(const double* limits);
    // Books the values missing in a gap of span: itemsPerInterval for every whole interval that
    // the gap holds beyond its first. Nothing where span does not exceed the interval, and
    // nothing for an itemsPerInterval below 1, which would take values away.
    void calculateMissingValues(timespec span, int itemsPerInterval);
    // Ends the period at time: the gap from the latest value to time is booked as missing.
    void setEndTime(timespec time, int itemsPerInterval);

protected:
    // Adds to a count without leaving the range of int.
    static int addCount(int count, long long more);

    unsigned int mChannels = 0;
    long mQuality = 0;
    timespec mStartTime{};
    timespec mEndTime{};
    timespec mInterval{};
    int mTotalValues = 0;
    int mMaxValues = 0;
    int mMissingDataElements = 0;
    double* mLowerLimits = nullptr;
    double* mUpperLimits = nullptr;
    int* mBetweenLimits = nullptr;
    int* mLimitViolation = nullptr;
};

} // namespace qzlogger

#pragma once

#include "qzlogger_export.h"

#include "LoggerDataItems.h"
#include "LoggerTimeStamp.h"

#include <climits>
#include <cmath>
#include <ctime>

// The namespace of the store's calculators that a host program uses on its own side.
namespace qzlogger {

// Counts values into the classes of a histogram and turns the counts into the per cent of a
// DataHistogram record. Frequency and mains-signalling values are logged as such records, one per
// period, in a CYCLIC/HISTOGRAM logger; the host program fills them with this class, and the
// read API uses its missing values and cumulative per cent to merge them.
//
// The classes are counters that the caller owns; they must stay alive as long as the calculator
// counts into them, and they may be null for a calculator that only computes. Class i holds the
// values from lowerLimit + i x width up to the next class; values below the lower limit go into
// the first class and values at or above the upper limit into the last, so that nothing is
// dropped and the total always equals the sum of the classes. A value that is not a number
// counts into the first class for the same reason.
//
// The expected number of values of a period follows from its span and the interval between
// values. The interval is averaged from the gaps measured between values, so that a clock that
// runs a little fast or slow costs no missing values; a gap that is too far from the nominal
// interval does not enter the average. A clock that is set meanwhile is told through
// setTimeChanged and costs nothing either.
//
// One calculator serves one thread; it has no lock.
//
// A host that fills the record of one period of 10 s of mains-signalling values, one value
// every 200 ms, writes it like this:
// \code
//   int classes[200];
//   qzlogger::HistogramCalculator calculator(classes, 200);
//   timespec interval{0, 200000000};
//   calculator.setParameters(0.0f, 10.0f, interval); // 0 % to 10 % of the nominal voltage
//   for (const Sample& sample : period)              // the host's own values
//       calculator.add(sample.value, sample.time, false);
//
//   DataHistogram<200> record{};
//   record.utcStart = periodStart;
//   record.utc = periodEnd;
//   record.lowerLimit = calculator.getLowerLimit();
//   record.upperLimit = calculator.getUpperLimit();
//   record.totalValues = static_cast<int32_t>(calculator.getTotalValues());
//   record.maxValues = calculator.calculateMaxDataElements();
//   record.missingValues = record.maxValues - record.totalValues;
//   calculator.calculatePercent(record.percent);
//   logger.writeLoggerItem(&record); // a LoggerTemplate of DataHistogram<200>
//   calculator.clear();             // the next period starts empty
// \endcode
class QZLOGGER_EXPORT HistogramCalculator {
public:
    // A calculator over count classes. classes may be null; where it is not, it must hold count
    // counters, which start at zero.
    HistogramCalculator(int* classes, int count);
    virtual ~HistogramCalculator();
    // A copy would count into the same counters as the original.
    HistogramCalculator(const HistogramCalculator&) = delete;
    HistogramCalculator& operator=(const HistogramCalculator&) = delete;

    // Starts a new period: totals, times and measured gaps go to zero, and the classes too where
    // they are set. Limits and intervals stay.
    void clear();
    // The values of the first and of the last class, and the nominal interval between values.
    // The class width is (upper - lower) / (count - 1) in single precision, so that the upper
    // limit is the value of the last class. Limits with lower not below upper are taken as they
    // are: every value then lands in the first or in the last class.
    void setParameters(float lower, float upper, timespec interval);
    // Counts value at time. The gap since the previous value enters the average interval where
    // it lies within the tolerance of the nominal interval: 100 % of it where lenient is true,
    // else 20 %. Without a nominal interval no gap is taken.
    void add(float value, timespec time, bool lenient);

    // The value of the first class.
    float getLowerLimit() const;
    // The value of the last class.
    float getUpperLimit() const;
    // The class width.
    float getInterval() const;
    // The values counted.
    long getTotalValues() const;
    // Sets the count of values, for a calculator that is filled from elsewhere.
    void setTotalValues(long totalValues);
    // The nominal interval between values in seconds.
    void setInterval(double interval);
    // The expected values that clock changes have taken out of the period.
    int getTimeChangedValues() const;
    // The sum of all classes; 0 without classes.
    long calcTotalValues() const;

    // The number of intervals in span, rounded to the nearest whole number, halves away from
    // zero: span divided by the average of the gaps taken where more than one gap was taken, else
    // by the nominal interval. 0 where there is no interval to divide by.
    int getIntervalCount(timespec span) const;
    // The time of the latest value; the first one set is also the start of the period.
    void setCurrentTime(timespec time);
    // The clock was set to time: the values that the jump from the latest value's time would
    // add to, or take from, the expected values are booked as time-changed values, and time
    // becomes the latest value's time. Before the first value a jump costs nothing.
    void setTimeChanged(timespec time);

    // The values expected in the period from the first to the latest value, both included,
    // less those that clock changes took: at least the values counted. 1 for a period of a
    // single moment with a value, 0 for one without any.
    int calculateMaxDataElements() const;
    // The per cent of every class of the expected values into out, which must hold count
    // floats; all 0 where no value is expected. Nothing without classes.
    void calculatePercent(float* out) const;
    // The running sum of in into out, count floats each, summed in double precision and stored
    // after each step; in and out may be the same array.
    void calculateCumulativePercent(float* in, float* out) const;
    // Books the values missing in span into record: the values expected in span beyond its first
    // interval are added to maxValues and missingValues, and the per cent are lowered so that
    // they stay shares of the larger maxValues. Nothing where span does not exceed the interval
    // or there is no interval.
    template <int N> void calculateMissingValues(timespec span, DataHistogram<N>* record) const;

private:
    // The class of value, -1 where there are no classes.
    int classOf(float value) const;
    // A count in 64 bits, held to the range of int.
    static int clampToInt(long long value);
    // A count from a quotient: rounded, halves away from zero; 0 where it is not a number.
    static int roundToCount(double quotient);

    double mLowerLimit = 0.0;   // value of the first class
    double mUpperLimit = 0.0;   // value of the last class
    int mClassCount = 0;        // number of classes
    int* mClasses = nullptr;    // the caller's counters, or null
    long mTotalValues = 0;      // values counted
    int mTimeChangedValues = 0; // expected values lost to clock changes
    timespec mStartTime{};      // time of the first value
    timespec mCurrentTime{};    // time of the latest value
    double mInterval = 0.0;     // nominal seconds between values
    int mIntervalCount = 0;     // gaps taken into the average
    double mIntervalSum = 0.0;  // their sum in seconds
    float mClassWidth = 0.0f;   // (upper - lower) / (count - 1)
};

template <int N>
void HistogramCalculator::calculateMissingValues(timespec span, DataHistogram<N>* record) const
{
    if (record == nullptr || !(mInterval > 0.0) || !(LoggerTimeStamp::getSeconds(span) > mInterval)) {
        return;
    }
    const timespec beyond = LoggerTimeStamp::subtract(span, LoggerTimeStamp::getTimeSpec(mInterval));
    const double intervals = (static_cast<double>(beyond.tv_nsec) / 1e9) / mInterval +
                             static_cast<double>(beyond.tv_sec) / mInterval;
    // Whole intervals only: a part of an interval holds no value.
    const int missing = intervals >= static_cast<double>(INT_MAX) ? INT_MAX : static_cast<int>(intervals);
    const long long expected = static_cast<long long>(record->maxValues) + missing;
    if (expected > 0) {
        const double factor = static_cast<double>(record->maxValues) / static_cast<double>(expected);
        for (int index = 0; index < N; ++index) {
            record->percent[index] = static_cast<float>(static_cast<double>(record->percent[index]) * factor);
        }
    }
    record->maxValues = clampToInt(expected);
    record->missingValues = clampToInt(static_cast<long long>(record->missingValues) + missing);
}

} // namespace qzlogger

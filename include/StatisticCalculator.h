#pragma once

#include "qzlogger_export.h"

#include "LoggerDataItems.h"
#include "StatisticCalculatorBase.h"

#include <ctime>

namespace qzlogger {

// Counts values against limits and tells what share of the expected values stayed within them,
// what share violated them and what share is missing: the statistic of a grid-code compliance
// report. The read API computes its statistics with it, from stored values or from a merged
// histogram; a host program may use it to fill the statistic records that it logs.
//
// A value between the lower and the upper limit, both included, is between the limits; any
// other value, also one that is not a number, violates them. A value whose quality has the bit
// 0x20000 is not judged: it is expected and missing. A value whose quality has the bit 0x8
// comes after a change of the clock, and the jump is not taken for a gap.
//
// A host that judges one day of 10-minute frequency values against 49.5 Hz to 50.5 Hz:
// \code
//   qzlogger::StatisticCalculator calculator(1);
//   const double lower = 49.5;
//   const double upper = 50.5;
//   calculator.setLowerLimits(&lower);
//   calculator.setUpperLimits(&upper);
//   calculator.setStartTime(dayStart);
//   calculator.setInterval(timespec{600, 0});
//   for (const Value& value : day)                  // the host's own values
//       calculator.addDataItem(value.time, value.frequency, value.quality);
//   calculator.setEndTime(dayEnd, 1);               // a silent end of the day is missing
//   DataStatisticBase<float> shares = calculator.getDataStatistic(); // per cent
// \endcode
class QZLOGGER_EXPORT StatisticCalculator : public StatisticCalculatorBase {
public:
    explicit StatisticCalculator(unsigned int channels);
    ~StatisticCalculator() override;

    // As the base, and the counters of every channel go to zero.
    void clear();
    // The counters of the first channel; 0 without a channel.
    int getBetweenLimits() const;
    int getLimitViolation() const;
    // The shares in per cent of the expected values: between the limits, missing and violating,
    // each of the first channel. Without any expected value all shares are 0. utcStart is the
    // start of the period and utc the latest value.
    DataStatisticBase<float> getDataStatistic() const;
    // Whether value lies within the first channel's limits; false without a channel.
    bool isBetweenLimits(float value) const;

    // Counts one value at time.
    void addDataItem(timespec time, float value, long quality);
    // Counts one value per channel at time, each against its own upper limit in limits: value[k]
    // at most limits[k] is between. The array counts as one expected value. Null arrays count
    // nothing.
    void addDataArray(timespec time, const float* values, const float* limits, long quality);
    // Counts count values at time into the first channel, each against its own upper limit:
    // values[k] at most limits[k] is between. They are count expected values, and a gap before
    // them holds count values per interval; where the quality excludes them, they are one missing
    // value. A count below 0, or null arrays with a count, count nothing.
    void addDataArrayToSingleStatistic(timespec time, float* values, float* limits, int count, long quality);

    // Takes the counts of a frequency histogram that covers the limits: the classes below the
    // lower limit and above the upper limit violate, the classes in between are between. The
    // period, its quality and its expected and missing values are the record's.
    void getHistogramDataFrequency(DataHistogram<2650>& record);
    // The same over the classes of any histogram, class i lying i x (upper - lower) / 2650 above
    // the record's lowerLimit, and the classes above lastClass merged into it. It is how the read
    // API reads both its frequency and its mains-signalling histograms.
    template <int N> void getHistogramData(const DataHistogram<N>& record, int lastClass);

private:
    // What every value does first: the first one opens the period, the gap since the latest value
    // teaches the interval where none is set and books the values missing in it (none after a
    // change of the clock), and time becomes the latest.
    void advance(timespec time, bool clockChanged, int itemsPerInterval);
    // count values more expected and counted, their quality ORed in.
    void countExpected(int count, long quality);
    // One value of channel between the limits or violating them.
    void judge(int channel, bool between);
    // The body of the histogram reads, over count classes of percent of maxValues expected values.
    void countClasses(const float* percent, int count, int lastClass, float lowerLimit, float upperLimit,
                      int maxValues);
};

template <int N> void StatisticCalculator::getHistogramData(const DataHistogram<N>& record, int lastClass)
{
    countClasses(record.percent, N, lastClass, record.lowerLimit, record.upperLimit, record.maxValues);
    mQuality = static_cast<long>(record.quality);
    mStartTime = record.utcStart;
    mEndTime = record.utc;
    mMaxValues = record.maxValues;
    mMissingDataElements = record.missingValues;
}

} // namespace qzlogger

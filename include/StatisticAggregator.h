#pragma once

#include "qzlogger_export.h"

#include "LoggerDataItems.h"

#include <ctime>

namespace qzlogger {

// Adds up statistic records of absolute counts, as a host program logs them one per period in a
// CYCLIC/STATISTIC logger, into the statistic of a longer range in per cent.
//
// Two intervals give the counts their meaning: the record interval is the time one record
// covers, the value interval the time between two measured values. A gap of n record intervals
// between two records holds n - 1 lost records, each worth record interval / value interval
// missing values; a record whose quality has the bit 0x8 follows a change of the clock and its
// gap loses nothing. The time from the start of the range to the first record and from the last
// record to the end of the range is missing too. An interval that is not positive books no
// missing values from time, since there is nothing to count a gap in.
//
// A read of a month of daily records as 10-second values:
// \code
//   qzlogger::StatisticAggregator aggregator;
//   aggregator.clearAggregated();
//   aggregator.setRecordInterval(timespec{86400, 0});
//   aggregator.setValueInterval(timespec{10, 0});
//   for (int i = 0; i < records->mNumItems; ++i)
//       aggregator.add(records->mItems[i]);
//   DataStatisticBase<float> month = aggregator.getDataStatistic(monthStart, monthEnd);
// \endcode
//
// One aggregator serves one thread; it has no lock.
class QZLOGGER_EXPORT StatisticAggregator {
public:
    StatisticAggregator();
    virtual ~StatisticAggregator();

    // Starts anew without a record; the intervals stay.
    void clearAggregated();
    // Sets every field of a record to zero.
    void clearDataStatistic(DataStatisticBase<float>& record);
    void clearDataAbsolute(DataStatisticBase<long>& record);
    // The first record: the sum is the record.
    void setData(DataStatisticBase<long>& record);
    // The next record, later than those before: its counts are added, and the records lost in
    // the gap before it are booked as missing values.
    void add(DataStatisticBase<long>& record);
    // Counts count values at time into a record of the host's period starting at start, each
    // against its own upper limit: values[k] at most limits[k] is between the limits, else it
    // violates them. Where the quality has the bit 0x20000 the values are not judged and count
    // as one missing value. The record takes start where it has no start yet, time as its end
    // and the quality ORed in. Null arrays with a count, or a count below 0, count nothing.
    void addArray(DataStatisticBase<long>& record, timespec start, float* values, float* limits, int count,
                  timespec time, long quality);
    // How many intervals lie from first to second, in seconds of the quotient; 0 where interval
    // is not positive. Quotients beyond the range of a time word are taken as they are, so that
    // the counts made of them stop at the largest count instead of turning negative.
    double getIntervals(timespec first, timespec second, timespec interval) const;
    // The values missing from start to the first record and from the last record to end, in value
    // intervals, rounded; a record outside the range adds nothing.
    int getMissingMeasValues(timespec start, timespec end) const;
    // Writes the counts of the sum and the values missing outside it to the trace.
    void DebugStatistic(int outsideTimeRange) const;
    // The shares in per cent of all values of start to end: between the limits, violating them,
    // and missing, including those missing before the first and after the last record. All 0
    // where the values counted do not add up to more than 0: none at all, or records whose
    // counts are no counts.
    DataStatisticBase<float> getDataStatistic(timespec start, timespec end);

    // The time one record covers.
    void setRecordInterval(timespec interval);
    // The time between two measured values.
    void setValueInterval(timespec interval);
    // The sum so far, in absolute counts.
    const DataStatisticBase<long>& getAggregated() const;

private:
    DataStatisticBase<long> mAggregated{};
    timespec mRecordInterval{};
    timespec mValueInterval{};
    timespec mLastUtc{};
    bool mHasData = false; // whether a record has been taken since the last clear
};

} // namespace qzlogger

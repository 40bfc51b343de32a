// Aggregation of read results onto a grid of whole intervals: LoggerAggregator on results built in
// memory, case by case and against a reference written here from the rules of the grid alone; and
// the aggregated getters of LoggerApi on a real catalogue of a simulated card (WriterStore), with
// the values written through the writer's path. Each test runs in a process of its own.

#include "AggregationReference.h"
#include "LoggerAggregator.h"
#include "LoggerApi.h"
#include "LoggerApiInterface.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerResult.h"
#include "LoggerTestSeams.h"
#include "TestLogger.h"
#include "WriterStore.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QtGlobal>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using Vtq = DataXtq<float>;
using Dtq = DataXtq<double>;
using AggregatedFloat = DataAggregated<float>;
using AggregatedDouble = DataAggregated<double>;

constexpr int32_t kMidnight = 1767225600;   // 2026-01-01 00:00:00 UTC: a whole day, so a whole hour too
constexpr uint32_t kIncomplete = 0x10000;   // fewer values than expected in the record's bin
constexpr unsigned long kLookupPause = 200; // ms before a failed identification answers null
constexpr unsigned long kReadPause = 50;    // ms after a read by time that found files
const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInfinity = std::numeric_limits<float>::infinity();

timespec at(int64_t seconds, int64_t nanoseconds = 0)
{
    timespec time{};
    time.tv_sec = static_cast<time_t>(seconds);
    time.tv_nsec = static_cast<long>(nanoseconds);
    return time;
}

Vtq vtq(int32_t seconds, float value, int32_t nanoseconds = 0, uint32_t quality = 0)
{
    return Vtq{DataTimespec{seconds, nanoseconds}, quality, value};
}

Dtq dtq(int32_t seconds, double value, int32_t nanoseconds = 0, uint32_t quality = 0)
{
    Dtq item{};
    item.utc = DataTimespec{seconds, nanoseconds};
    item.quality = quality;
    item.value = value;
    return item;
}

DataMean mean(int32_t seconds, float min, float average, float max, int32_t nanoseconds = 0,
              uint32_t quality = 0)
{
    return DataMean{DataTimespec{seconds, nanoseconds}, quality, min, average, max};
}

template <typename T> std::shared_ptr<LoggerResult<T>> resultOf(const std::vector<T>& items, double interval)
{
    std::shared_ptr<LoggerResult<T>> result = LoggerResult<T>::create(static_cast<int>(items.size()));
    if (!items.empty())
        std::memcpy(static_cast<void*>(result->mItems), items.data(), sizeof(T) * items.size());
    result->mInterval = interval;
    return result;
}

// As the read API aggregates: a fresh aggregator for each call.
PtrLoggerResultAggregatedFloat aggregateVtq(const std::vector<Vtq>& items, double storedInterval,
                                            timespec start, int interval)
{
    LoggerAggregator aggregator(0);
    return aggregator.aggregateXtqValues<Vtq, AggregatedFloat, float>(resultOf(items, storedInterval), start,
                                                                      interval);
}

PtrLoggerResultAggregatedDouble aggregateDtq(const std::vector<Dtq>& items, double storedInterval,
                                             timespec start, int interval)
{
    LoggerAggregator aggregator(0);
    return aggregator.aggregateXtqValues<Dtq, AggregatedDouble, double>(resultOf(items, storedInterval),
                                                                        start, interval);
}

PtrLoggerResultMean aggregateMean(const std::vector<DataMean>& items, double storedInterval, timespec start,
                                  int interval)
{
    PtrLoggerResultMean result = resultOf(items, storedInterval);
    LoggerAggregator aggregator(0);
    aggregator.aggregateMeanValues(result, start, interval);
    return result;
}

template <typename T> bool sameBits(T a, T b)
{
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

// Equal to the bit, or both not a number: the payload of a NaN that arithmetic made is not ours.
template <typename T> bool sameValue(T actual, T expected)
{
    if (std::isnan(expected))
        return std::isnan(actual);
    return sameBits(actual, expected);
}

std::string timeText(const DataTimespec& time)
{
    return "(" + std::to_string(time.tv_sec) + "," + std::to_string(time.tv_nsec) + ")";
}

std::vector<int32_t> secondsOf(const PtrLoggerResultAggregatedFloat& result)
{
    std::vector<int32_t> seconds;
    for (int index = 0; result && index < result->mNumItems; ++index)
        seconds.push_back(result->mItems[index].utc.tv_sec);
    return seconds;
}

// The item values of the end-to-end tests: a saw tooth with a fraction, different in every second
// of a bin, so that minimum, maximum and mean of each bin are distinct.
float secondValue(int index)
{
    return static_cast<float>((index * 7919) % 1000) * 0.25f - 100.0f;
}

} // namespace

// --- no grid: the values as they are -----------------------------------------------------------------

TEST(LoggerAggregatorTest, WithoutAGridEveryValueComesBackAsItsOwnMinimumMaximumAndMean)
{
    const std::vector<Vtq> items = {vtq(kMidnight + 1, 1.5f, 0, 7),
                                    vtq(kMidnight + 2, -2.25f, 0, kIncomplete | 3),
                                    vtq(kMidnight + 2, kNaN, 5), vtq(kMidnight + 3, kInfinity, 999999999)};
    // No interval, a negative one, the stored interval itself, and one shorter than it.
    const std::vector<std::pair<int, double>> cases = {
        {0, 1.0}, {-600, 1.0}, {INT_MIN, 1.0}, {1, 1.0}, {600, 900.0}};
    for (const auto& grid : cases) {
        SCOPED_TRACE("interval " + std::to_string(grid.first) + ", stored " + std::to_string(grid.second));
        const PtrLoggerResultAggregatedFloat result =
            aggregateVtq(items, grid.second, at(kMidnight), grid.first);
        ASSERT_NE(result, nullptr);
        ASSERT_EQ(result->mNumItems, static_cast<int>(items.size()));
        EXPECT_EQ(result->mInterval, grid.second);
        for (int index = 0; index < result->mNumItems; ++index) {
            const AggregatedFloat& record = result->mItems[index];
            const Vtq& item = items[static_cast<size_t>(index)];
            EXPECT_EQ(timeText(record.utc), timeText(item.utc)) << index;
            EXPECT_EQ(record.quality, item.quality) << index;
            EXPECT_TRUE(sameValue(record.min, item.value)) << index;
            EXPECT_TRUE(sameValue(record.max, item.value)) << index;
            EXPECT_TRUE(sameValue(record.mean, item.value)) << index;
        }
    }

    // Double values keep their own precision when they are only copied.
    const std::vector<Dtq> doubles = {dtq(kMidnight + 1, 0.1), dtq(kMidnight + 2, 1e300)};
    const PtrLoggerResultAggregatedDouble copied = aggregateDtq(doubles, 1.0, at(kMidnight), 0);
    ASSERT_NE(copied, nullptr);
    ASSERT_EQ(copied->mNumItems, 2);
    EXPECT_EQ(copied->mItems[0].min, 0.1);
    EXPECT_EQ(copied->mItems[0].max, 0.1);
    EXPECT_EQ(copied->mItems[0].mean, 0.1);
    EXPECT_EQ(copied->mItems[1].mean, 1e300);
}

TEST(LoggerAggregatorTest, MeanValuesStayAsTheyAreWithoutAGrid)
{
    const std::vector<DataMean> items = {mean(kMidnight + 60, 1.0f, 2.0f, 3.0f, 0, 5),
                                         mean(kMidnight + 120, -1.0f, kNaN, 9.0f, 17),
                                         mean(kMidnight + 180, 4.0f, 4.5f, 5.0f)};
    LoggerApi api;
    for (int interval : {0, -1, -600, INT_MIN, 30, 60}) {
        SCOPED_TRACE("interval " + std::to_string(interval));
        PtrLoggerResultMean result = resultOf(items, 60.0);
        api.aggregateMeanValues(result, at(kMidnight), interval);
        ASSERT_EQ(result->mNumItems, 3);
        EXPECT_EQ(result->mInterval, 60.0);
        EXPECT_EQ(std::memcmp(result->mItems, items.data(), sizeof(DataMean) * items.size()), 0);
    }
    api.aggregateMeanValues(nullptr, at(kMidnight), 600);
    PtrLoggerResultMean empty = LoggerResult<DataMean>::create(0);
    api.aggregateMeanValues(empty, at(kMidnight), 600);
    EXPECT_EQ(empty->mNumItems, 0);
}

// --- the grid --------------------------------------------------------------------------------------

TEST(LoggerAggregatorTest, AnIntervalOf7200RoundsTheBaseToAWholeHourNotToATwoHourMark)
{
    const int32_t oneTen = kMidnight + 3600 + 600; // 01:10, an odd hour
    LoggerAggregator aggregator(7200);
    EXPECT_EQ(aggregator.getRoundedStartUtc(at(oneTen), at(oneTen)).tv_sec, kMidnight + 3600);
    // The first item three hours on: one whole interval lies between, and the grid begins one bin
    // before the item's.
    EXPECT_EQ(aggregator.getRoundedStartUtc(at(oneTen), at(oneTen + 3 * 3600)).tv_sec, kMidnight + 3600);
    EXPECT_EQ(aggregator.getRoundedStartUtc(at(oneTen), at(oneTen + 5 * 3600)).tv_sec, kMidnight + 3 * 3600);
    EXPECT_EQ(aggregator.getRoundedStartUtc(at(oneTen, 999999999), at(oneTen + 5 * 3600, 5)).tv_nsec, 0);

    // Shorter intervals align to their own multiples.
    LoggerAggregator tenMinutes(600);
    EXPECT_EQ(tenMinutes.getRoundedStartUtc(at(oneTen + 599), at(oneTen + 599)).tv_sec, oneTen);
    LoggerAggregator none(0);
    EXPECT_EQ(none.getRoundedStartUtc(at(oneTen + 599), at(oneTen + 1000, 7)).tv_nsec, 7);

    // A minute's values from 01:10 for four hours: the bins end at 03:00, 05:00 and 07:00.
    std::vector<Vtq> items;
    for (int32_t second = oneTen; second <= oneTen + 4 * 3600; second += 60)
        items.push_back(vtq(second, 1.0f));
    const PtrLoggerResultAggregatedFloat result = aggregateVtq(items, 60.0, at(oneTen), 7200);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(secondsOf(result),
              (std::vector<int32_t>{kMidnight + 3 * 3600, kMidnight + 5 * 3600, kMidnight + 7 * 3600}));
    EXPECT_EQ(result->mInterval, 7200.0);
}

TEST(LoggerAggregatorTest, AnItemExactlyOnABinEndBelongsToTheBinThatEndsThere)
{
    const std::vector<Vtq> items = {vtq(kMidnight + 300, 1.0f), vtq(kMidnight + 600, 2.0f),
                                    vtq(kMidnight + 600, 3.0f, 1), vtq(kMidnight + 1200, 4.0f)};
    const PtrLoggerResultAggregatedFloat result = aggregateVtq(items, 0.0, at(kMidnight), 600);
    ASSERT_NE(result, nullptr);
    ASSERT_EQ(result->mNumItems, 2);
    EXPECT_EQ(timeText(result->mItems[0].utc), timeText(DataTimespec{kMidnight + 600, 0}));
    EXPECT_EQ(result->mItems[0].min, 1.0f);
    EXPECT_EQ(result->mItems[0].max, 2.0f);
    EXPECT_EQ(result->mItems[0].mean, 1.5f);
    EXPECT_EQ(timeText(result->mItems[1].utc), timeText(DataTimespec{kMidnight + 1200, 0}));
    EXPECT_EQ(result->mItems[1].min, 3.0f);
    EXPECT_EQ(result->mItems[1].max, 4.0f);

    // An item on the start of the grid is the end of the first bin, which holds it alone.
    const std::vector<Vtq> onStart = {vtq(kMidnight, 5.0f), vtq(kMidnight + 1, 6.0f),
                                      vtq(kMidnight + 600, 7.0f)};
    const PtrLoggerResultAggregatedFloat first = aggregateVtq(onStart, 0.0, at(kMidnight), 600);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(secondsOf(first), (std::vector<int32_t>{kMidnight, kMidnight + 600}));
    ASSERT_EQ(first->mNumItems, 2);
    EXPECT_EQ(first->mItems[0].mean, 5.0f);
    EXPECT_EQ(first->mItems[1].mean, 6.5f);
}

TEST(LoggerAggregatorTest, ABinWithFewerValuesThanExpectedIsMarkedAndABinWithoutValuesLeavesNoRecord)
{
    // Minute values on a ten-minute grid: ten to a full bin. The items' own quality is not carried.
    std::vector<Vtq> items;
    for (int32_t second = kMidnight + 60; second <= kMidnight + 600; second += 60)
        items.push_back(vtq(second, 1.0f, 0, 0xFF));
    for (int32_t second = kMidnight + 660; second <= kMidnight + 1140; second += 60)
        items.push_back(vtq(second, 2.0f, 0, 0xFF));
    // (kMidnight + 1200, kMidnight + 1800] holds nothing.
    for (int32_t second = kMidnight + 1860; second <= kMidnight + 2400; second += 60)
        items.push_back(vtq(second, 3.0f, 0, 0xFF));

    const PtrLoggerResultAggregatedFloat result = aggregateVtq(items, 60.0, at(kMidnight), 600);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(secondsOf(result), (std::vector<int32_t>{kMidnight + 600, kMidnight + 1200, kMidnight + 2400}));
    ASSERT_EQ(result->mNumItems, 3);
    EXPECT_EQ(result->mItems[0].quality, 0u);
    EXPECT_EQ(result->mItems[1].quality, kIncomplete);
    EXPECT_EQ(result->mItems[2].quality, 0u);
    EXPECT_EQ(result->mItems[2].mean, 3.0f);

    // The same for mean values, in place.
    std::vector<DataMean> means;
    for (const Vtq& item : items)
        means.push_back(mean(item.utc.tv_sec, item.value - 1.0f, item.value, item.value + 1.0f, 0, 0xFF));
    const PtrLoggerResultMean aggregated = aggregateMean(means, 60.0, at(kMidnight), 600);
    ASSERT_EQ(aggregated->mNumItems, 3);
    EXPECT_EQ(aggregated->mItems[0].quality, 0u);
    EXPECT_EQ(aggregated->mItems[1].quality, kIncomplete);
    EXPECT_EQ(aggregated->mItems[2].quality, 0u);
    EXPECT_EQ(aggregated->mItems[2].utc.tv_sec, kMidnight + 2400);
}

TEST(LoggerAggregatorTest, AFirstBinThatBeganBeforeTheDataShowsOnlyThroughTheQualityBit)
{
    // From 00:06 on, minute values: the first ten-minute bin began four minutes before them.
    std::vector<Vtq> items;
    for (int32_t second = kMidnight + 360; second <= kMidnight + 1800; second += 60)
        items.push_back(vtq(second, static_cast<float>(second - kMidnight) / 60.0f));
    LoggerAggregator aggregator(0);
    const PtrLoggerResultAggregatedFloat result =
        aggregator.aggregateXtqValues<Vtq, AggregatedFloat, float>(resultOf(items, 60.0), at(kMidnight), 600);
    ASSERT_NE(result, nullptr);
    EXPECT_TRUE(aggregator.mFirstBinPartial);
    EXPECT_EQ(aggregator.mRoundedStart.tv_sec, kMidnight);
    EXPECT_EQ(secondsOf(result), (std::vector<int32_t>{kMidnight + 600, kMidnight + 1200, kMidnight + 1800}));
    ASSERT_EQ(result->mNumItems, 3);
    EXPECT_EQ(result->mItems[0].quality, kIncomplete);
    EXPECT_EQ(result->mItems[0].min, 6.0f);
    EXPECT_EQ(result->mItems[0].max, 10.0f);
    EXPECT_EQ(result->mItems[0].mean, 8.0f);
    EXPECT_EQ(result->mItems[1].quality, 0u);
    EXPECT_EQ(result->mItems[2].quality, 0u);

    // Data from the grid's start: the first bin is its first item alone, and incomplete as well.
    std::vector<Vtq> fromStart = {vtq(kMidnight, 0.0f)};
    fromStart.insert(fromStart.end(), items.begin(), items.end());
    LoggerAggregator exact(0);
    const PtrLoggerResultAggregatedFloat onGrid =
        exact.aggregateXtqValues<Vtq, AggregatedFloat, float>(resultOf(fromStart, 60.0), at(kMidnight), 600);
    EXPECT_FALSE(exact.mFirstBinPartial);
    ASSERT_EQ(onGrid->mNumItems, 4);
    EXPECT_EQ(onGrid->mItems[0].utc.tv_sec, kMidnight);
    EXPECT_EQ(onGrid->mItems[0].quality, kIncomplete);
}

// --- the values ------------------------------------------------------------------------------------

TEST(LoggerAggregatorTest, MeanRecordsTakeTheLowestMinimumTheHighestMaximumAndTheMeanOfTheMeans)
{
    const std::vector<DataMean> items = {
        mean(kMidnight + 60, 1.0f, 2.0f, 3.0f), mean(kMidnight + 120, -4.0f, 0.5f, 2.0f),
        mean(kMidnight + 180, 0.0f, 0.25f, 8.0f), mean(kMidnight + 660, 10.0f, 11.0f, 12.0f)};
    const PtrLoggerResultMean result = aggregateMean(items, 60.0, at(kMidnight), 600);
    ASSERT_EQ(result->mNumItems, 2);
    EXPECT_EQ(result->mInterval, 600.0);
    const DataMean& first = result->mItems[0];
    EXPECT_EQ(first.utc.tv_sec, kMidnight + 600);
    EXPECT_EQ(first.min, -4.0f);
    EXPECT_EQ(first.max, 8.0f);
    EXPECT_EQ(first.mean, static_cast<float>((2.0 + 0.5 + 0.25) / 3.0));
    EXPECT_EQ(first.quality, kIncomplete);
    EXPECT_EQ(result->mItems[1].mean, 11.0f);

    // Double values: minimum and maximum in single precision, the mean from the double sum.
    const std::vector<Dtq> doubles = {dtq(kMidnight + 1, 0.1), dtq(kMidnight + 2, 0.2),
                                      dtq(kMidnight + 3, 1e-9)};
    const PtrLoggerResultAggregatedDouble folded = aggregateDtq(doubles, 1.0, at(kMidnight), 600);
    ASSERT_EQ(folded->mNumItems, 1);
    EXPECT_EQ(folded->mItems[0].min, static_cast<double>(1e-9f));
    EXPECT_EQ(folded->mItems[0].max, static_cast<double>(0.2f));
    EXPECT_EQ(folded->mItems[0].mean, static_cast<double>(static_cast<float>((0.1 + 0.2 + 1e-9) / 3.0)));
}

TEST(LoggerAggregatorTest, ANotANumberDoesNotHideTheRangeOfTheOtherValuesButShowsInTheMean)
{
    const std::vector<Vtq> items = {
        vtq(kMidnight + 1, kNaN),         vtq(kMidnight + 2, 2.0f),         vtq(kMidnight + 3, 1.0f), // bin 1
        vtq(kMidnight + 601, kNaN),       vtq(kMidnight + 602, kNaN),                                 // bin 2
        vtq(kMidnight + 1201, kInfinity), vtq(kMidnight + 1202, 1.0f),                                // bin 3
        vtq(kMidnight + 1801, kInfinity), vtq(kMidnight + 1802, -kInfinity)};                         // bin 4
    const PtrLoggerResultAggregatedFloat result = aggregateVtq(items, 0.0, at(kMidnight), 600);
    ASSERT_EQ(result->mNumItems, 4);
    EXPECT_EQ(result->mItems[0].min, 1.0f);
    EXPECT_EQ(result->mItems[0].max, 2.0f);
    EXPECT_TRUE(std::isnan(result->mItems[0].mean));
    EXPECT_TRUE(std::isnan(result->mItems[1].min));
    EXPECT_TRUE(std::isnan(result->mItems[1].max));
    EXPECT_TRUE(std::isnan(result->mItems[1].mean));
    EXPECT_EQ(result->mItems[2].min, 1.0f);
    EXPECT_EQ(result->mItems[2].max, kInfinity);
    EXPECT_EQ(result->mItems[2].mean, kInfinity);
    EXPECT_EQ(result->mItems[3].min, -kInfinity);
    EXPECT_EQ(result->mItems[3].max, kInfinity);
    EXPECT_TRUE(std::isnan(result->mItems[3].mean));
}

// --- bad input -------------------------------------------------------------------------------------

TEST(LoggerAggregatorTest, NullEmptyAndSingleInputsGiveResultsAndNoFault)
{
    LoggerAggregator aggregator(0);
    const PtrLoggerResultAggregatedFloat fromNull =
        aggregator.aggregateXtqValues<Vtq, AggregatedFloat, float>(nullptr, at(kMidnight), 600);
    ASSERT_NE(fromNull, nullptr);
    EXPECT_EQ(fromNull->mNumItems, 0);
    const PtrLoggerResultAggregatedDouble copiedNull =
        aggregator.copyXtqValues<Dtq, AggregatedDouble, double>(nullptr);
    ASSERT_NE(copiedNull, nullptr);
    EXPECT_EQ(copiedNull->mNumItems, 0);
    EXPECT_EQ(aggregateVtq({}, 1.0, at(kMidnight), 600)->mNumItems, 0);
    EXPECT_EQ(aggregateDtq({}, 1.0, at(kMidnight), 0)->mNumItems, 0);
    EXPECT_EQ(aggregateMean({}, 1.0, at(kMidnight), 600)->mNumItems, 0);

    const PtrLoggerResultAggregatedFloat single =
        aggregateVtq({vtq(kMidnight + 7, 3.5f)}, 1.0, at(kMidnight), 600);
    ASSERT_EQ(single->mNumItems, 1);
    EXPECT_EQ(single->mItems[0].utc.tv_sec, kMidnight + 600);
    EXPECT_EQ(single->mItems[0].quality, kIncomplete);
    EXPECT_EQ(single->mItems[0].mean, 3.5f);
    const PtrLoggerResultMean singleMean =
        aggregateMean({mean(kMidnight + 7, 1.0f, 2.0f, 3.0f)}, 1.0, at(kMidnight), 600);
    ASSERT_EQ(singleMean->mNumItems, 1);
    EXPECT_EQ(singleMean->mItems[0].max, 3.0f);

    // The counting helpers outside the input.
    const std::shared_ptr<LoggerResult<Vtq>> two =
        resultOf(std::vector<Vtq>{vtq(10, 1.0f), vtq(20, 2.0f)}, 1.0);
    EXPECT_EQ(aggregator.getValueCount<Vtq>(nullptr, 0, at(100)), 0);
    EXPECT_EQ(aggregator.getValueCount<Vtq>(two, -1, at(100)), 0);
    EXPECT_EQ(aggregator.getValueCount<Vtq>(two, 2, at(100)), 0);
    EXPECT_EQ(aggregator.getValueCount<Vtq>(two, 0, at(15)), 1);
    EXPECT_EQ(aggregator.getValueCount<Vtq>(two, 0, at(20)), 2);
    const AggregatedFloat beyond = aggregator.getMeanValue<Vtq, AggregatedFloat>(two, 5, at(100));
    EXPECT_EQ(beyond.utc.tv_sec, 100);
    EXPECT_EQ(beyond.mean, 0.0f);
    // A bin without items reads the item at its index alone.
    const AggregatedFloat alone = aggregator.getMeanValue<Vtq, AggregatedFloat>(two, 1, at(15));
    EXPECT_EQ(alone.utc.tv_sec, 15);
    EXPECT_EQ(alone.mean, 2.0f);
    EXPECT_EQ(alone.quality, 0u);
}

TEST(LoggerAggregatorTest, OddGridsAndTimesNeitherFaultNorHang)
{
    const std::vector<Vtq> day = {vtq(kMidnight + 1, 1.0f), vtq(kMidnight + 43200, 2.0f),
                                  vtq(kMidnight + 86400, 3.0f)};

    // Intervals above a day: one bin for the day, on whole hours.
    for (int interval : {86401, 172800, 1000000, INT_MAX / 2}) {
        SCOPED_TRACE("interval " + std::to_string(interval));
        const PtrLoggerResultAggregatedFloat result = aggregateVtq(day, 1.0, at(kMidnight), interval);
        ASSERT_EQ(result->mNumItems, 1);
        EXPECT_EQ(result->mItems[0].min, 1.0f);
        EXPECT_EQ(result->mItems[0].max, 3.0f);
        EXPECT_EQ(result->mItems[0].quality, kIncomplete);
    }

    // A grid start after all items: one bin up to the first bin end after the start.
    const PtrLoggerResultAggregatedFloat late = aggregateVtq(day, 1.0, at(kMidnight + 200000), 600);
    ASSERT_EQ(late->mNumItems, 1);
    EXPECT_EQ(late->mItems[0].utc.tv_sec, kMidnight + 200400);
    EXPECT_EQ(late->mItems[0].mean, 2.0f);

    // Items 2^30 seconds apart on a grid of one second: the empty bins between cost nothing.
    QElapsedTimer clock;
    clock.start();
    const std::vector<Vtq> far = {vtq(1, 1.0f), vtq(1 + (1 << 30), 2.0f, 500)};
    const PtrLoggerResultAggregatedFloat apart = aggregateVtq(far, 0.5, at(0), 1);
    ASSERT_EQ(apart->mNumItems, 2);
    EXPECT_EQ(apart->mItems[1].utc.tv_sec, 2 + (1 << 30));
    EXPECT_LT(clock.elapsed(), 1000);

    // Interval ratios that do not fit an int, or are not numbers.
    for (double stored : {1e-300, std::numeric_limits<double>::denorm_min(), -1.0,
                          static_cast<double>(std::numeric_limits<float>::quiet_NaN()),
                          std::numeric_limits<double>::infinity()}) {
        const PtrLoggerResultAggregatedFloat result = aggregateVtq(day, stored, at(kMidnight), 600);
        ASSERT_NE(result, nullptr);
        EXPECT_GE(result->mNumItems, 1);
        EXPECT_LE(result->mNumItems, 3);
    }

    // Items out of order, nanosecond words out of their range, times before 1970.
    const std::vector<Vtq> odd = {
        vtq(kMidnight + 900, 1.0f),    vtq(kMidnight + 10, 2.0f), vtq(kMidnight + 20, 3.0f, 2000000000),
        vtq(kMidnight + 30, 4.0f, -5), vtq(-100000, 5.0f),        vtq(kMidnight + 2000, 6.0f)};
    for (int interval : {1, 7, 600, 3600, 7200}) {
        const PtrLoggerResultAggregatedFloat result = aggregateVtq(odd, 0.5, at(kMidnight), interval);
        ASSERT_NE(result, nullptr);
        EXPECT_GE(result->mNumItems, 1);
        EXPECT_LE(result->mNumItems, static_cast<int>(odd.size()));
        const PtrLoggerResultMean means =
            aggregateMean({mean(kMidnight + 900, 1, 1, 1), mean(kMidnight + 10, 2, 2, 2, 2000000000),
                           mean(-100000, 3, 3, 3, -7)},
                          0.5, at(-200000), interval);
        EXPECT_GE(means->mNumItems, 1);
    }

    // The rounded start with odd operands: negative and huge intervals, nanoseconds past a second.
    for (int interval : {-1, -7200, INT_MIN, INT_MAX}) {
        LoggerAggregator aggregator(interval);
        const timespec rounded =
            aggregator.getRoundedStartUtc(at(kMidnight + 5, 999999999), at(kMidnight + 100000));
        EXPECT_EQ(rounded.tv_nsec, 0);
    }
    LoggerAggregator aggregator(600);
    EXPECT_EQ(aggregator.getRoundedStartUtc(at(kMidnight), at(kMidnight, 3000000000)).tv_sec, kMidnight);
    EXPECT_EQ(aggregator.getRoundedStartUtc(at(kMidnight, 5), at(kMidnight + 1, -2000000000)).tv_sec,
              kMidnight);

    // Records in place where the input's interval is not below the grid's: one per output record
    // and never past either array.
    const std::shared_ptr<LoggerResult<Vtq>> input = resultOf(day, 600.0);
    const PtrLoggerResultAggregatedFloat output = LoggerResult<AggregatedFloat>::create(5);
    LoggerAggregator direct(600);
    direct.mBinEnd = at(kMidnight + 600);
    EXPECT_EQ((direct.aggregateValues<Vtq, AggregatedFloat>(input, output)), 3);
    EXPECT_EQ(output->mItems[1].mean, 2.0f);
    EXPECT_EQ(output->mItems[1].utc.tv_sec, kMidnight + 1200);
}

// --- against a reference -----------------------------------------------------------------------------

namespace {

// The reference of the grid rules, referenceAggregation, is shared with the end-to-end test of the
// computed values (AggregationReference.h).
using aggregation_reference::kNanosPerSecond;

uint32_t propertySeed()
{
    bool ok = false;
    const int chosen = qEnvironmentVariableIntValue("QZLOGGER_TEST_SEED", &ok);
    return ok ? static_cast<uint32_t>(chosen) : 20261124u;
}

// Random inputs of the shapes the rules single out: gaps of whole bins, equal time stamps, items
// exactly on bin ends, nanosecond parts, values that are not numbers or infinite, empty and
// single-item inputs.
class RandomInputs {
public:
    explicit RandomInputs(uint32_t seed) : mRandom(seed) {}

    int interval()
    {
        static const int kChosen[] = {0,   -1,  -3600, 1,    2,    3,    7,    10,   60,    90,
                                      300, 600, 900,   3599, 3600, 3601, 5400, 7200, 86400, 172800};
        if (chance(0.7))
            return kChosen[uniform(0, static_cast<int>(std::size(kChosen)) - 1)];
        return uniform(1, 20000);
    }

    double storedInterval(int interval)
    {
        switch (uniform(0, 9)) {
        case 0: return 0.0;
        case 1: return 1.0;
        case 2: return 0.5;
        case 3: return 60.0;
        case 4: return static_cast<double>(interval);
        case 5:
            return interval > 0 ? interval * std::uniform_real_distribution<double>(0.01, 1.2)(mRandom) : 3.0;
        case 6: return chance(0.5) ? std::numeric_limits<double>::quiet_NaN() : -1.0;
        case 7: return 1e-12;
        default: return std::uniform_real_distribution<double>(0.1, 100.0)(mRandom);
        }
    }

    // Time stamps in order; some equal, some on multiples of the alignment, some whole bins apart.
    std::vector<DataTimespec> times(int interval)
    {
        const int shape = uniform(0, 9);
        const int count = shape == 0 ? 0 : shape == 1 ? 1 : shape == 2 ? 2 : uniform(3, 400);
        const int64_t span = interval > 0 ? interval : 600;
        const int64_t alignment = std::min<int64_t>(span, 3600);
        std::vector<DataTimespec> stamps;
        int64_t seconds = 1700000000 + uniform(0, 10000000);
        int64_t nanoseconds = chance(0.5) ? 0 : uniform(0, 999999999);
        for (int index = 0; index < count && seconds < 2000000000; ++index) {
            stamps.push_back(DataTimespec{static_cast<int32_t>(seconds), static_cast<int32_t>(nanoseconds)});
            switch (uniform(0, 9)) {
            case 0: // the same stamp again
                break;
            case 1: // a few nanoseconds on
                nanoseconds += uniform(1, 1000);
                break;
            case 2: // the next multiple of the alignment: often a bin end
                seconds = (seconds / alignment + 1) * alignment;
                nanoseconds = 0;
                break;
            case 3: // bins without items between
                seconds += span * uniform(2, 20);
                break;
            default:
                seconds += uniform(0, static_cast<int>(std::min<int64_t>(3 * span, 100000)));
                nanoseconds = chance(0.7) ? 0 : uniform(0, 999999999);
                break;
            }
            if (nanoseconds >= kNanosPerSecond) {
                seconds += 1;
                nanoseconds -= kNanosPerSecond;
            }
        }
        return stamps;
    }

    timespec start(const std::vector<DataTimespec>& stamps, int interval)
    {
        const int64_t span = interval > 0 ? interval : 600;
        const int64_t first = stamps.empty() ? 1700000000 : stamps.front().tv_sec;
        const int64_t last = stamps.empty() ? first : stamps.back().tv_sec;
        const long nanoseconds = chance(0.6) ? 0 : uniform(0, 999999999);
        switch (uniform(0, 4)) {
        case 0: return at(first, stamps.empty() ? 0 : stamps.front().tv_nsec);
        case 1:
            return at(first - uniform(0, static_cast<int>(std::min<int64_t>(3 * span, 1000000))),
                      nanoseconds);
        case 2:
            return at(first + uniform(0, static_cast<int>(std::min<int64_t>(3 * span, 1000000))),
                      nanoseconds);
        case 3: return at(last + uniform(1, 100000), nanoseconds); // after every item
        default: return at((first / 86400) * 86400, 0);
        }
    }

    float value()
    {
        switch (uniform(0, 19)) {
        case 0: return kNaN;
        case 1: return kInfinity;
        case 2: return -kInfinity;
        case 3: return 0.0f;
        case 4: return -0.0f;
        case 5: return std::numeric_limits<float>::max();
        case 6: return std::numeric_limits<float>::denorm_min();
        case 7: return std::uniform_real_distribution<float>(-1e30f, 1e30f)(mRandom);
        default: return std::normal_distribution<float>(230.0f, 20.0f)(mRandom);
        }
    }

    // Doubles with more digits than a float holds.
    double doubleValue()
    {
        if (chance(0.2))
            return static_cast<double>(value());
        return std::normal_distribution<double>(0.0, 1e6)(mRandom) + 1.0 / 3.0;
    }

    bool chance(double p) { return std::bernoulli_distribution(p)(mRandom); }
    int uniform(int low, int high) { return std::uniform_int_distribution<int>(low, high)(mRandom); }

private:
    std::mt19937 mRandom;
};

template <typename T> std::string valueText(T value)
{
    std::ostringstream text;
    text.precision(std::numeric_limits<T>::max_digits10);
    text << value;
    return text.str();
}

template <typename In>
std::string inputText(const std::vector<In>& items, double stored, timespec start, int interval)
{
    std::ostringstream text;
    text.precision(17);
    text << "interval " << interval << ", stored " << stored << ", start (" << start.tv_sec << ","
         << start.tv_nsec << "), " << items.size() << " items:";
    for (size_t index = 0; index < items.size() && index < 40; ++index) {
        const ReferenceValues values = referenceValues(items[index]);
        text << " " << timeText(items[index].utc) << "=" << values.min << "/" << values.value << "/"
             << values.max;
    }
    return text.str();
}

// Compares field by field; the first difference is the answer, empty where there is none.
template <typename Record>
std::string differences(const Record& actual, const ReferenceRecord& expected, size_t index)
{
    std::ostringstream text;
    text << "record " << index << ": ";
    if (actual.utc.tv_sec != expected.utc.tv_sec || actual.utc.tv_nsec != expected.utc.tv_nsec)
        return text.str() + "utc " + timeText(actual.utc) + " instead of " + timeText(expected.utc);
    if (actual.quality != expected.quality)
        return text.str() + "quality " + std::to_string(actual.quality) + " instead of " +
               std::to_string(expected.quality);
    using Value = std::remove_reference_t<decltype(actual.min)>;
    const std::pair<const char*, std::pair<Value, Value>> fields[] = {
        {"min", {actual.min, static_cast<Value>(expected.min)}},
        {"max", {actual.max, static_cast<Value>(expected.max)}},
        {"mean", {actual.mean, static_cast<Value>(expected.mean)}}};
    for (const auto& field : fields) {
        if (!sameValue(field.second.first, field.second.second))
            return text.str() + field.first + " " + valueText(field.second.first) + " instead of " +
                   valueText(field.second.second);
    }
    return std::string();
}

// One random case of a DataXtq logger: aggregated against the reference, or copied item by item.
template <typename In, typename Out, typename T>
std::string checkXtqCase(const std::vector<In>& items, double stored, timespec start, int interval)
{
    LoggerAggregator aggregator(0);
    const std::shared_ptr<LoggerResult<Out>> result =
        aggregator.aggregateXtqValues<In, Out, T>(resultOf(items, stored), start, interval);
    if (result == nullptr)
        return "null result";
    const bool aggregates = !items.empty() && interval > 0 && static_cast<double>(interval) > stored;
    if (!aggregates) {
        if (result->mNumItems != static_cast<int>(items.size()))
            return std::to_string(result->mNumItems) + " records for " + std::to_string(items.size()) +
                   " items";
        for (size_t index = 0; index < items.size(); ++index) {
            const Out& record = result->mItems[index];
            const In& item = items[index];
            if (record.utc.tv_sec != item.utc.tv_sec || record.utc.tv_nsec != item.utc.tv_nsec ||
                record.quality != item.quality || !sameValue(record.min, static_cast<T>(item.value)) ||
                !sameValue(record.max, static_cast<T>(item.value)) ||
                !sameValue(record.mean, static_cast<T>(item.value)))
                return "copy differs at item " + std::to_string(index);
        }
        if (!items.empty() && !sameValue(result->mInterval, stored))
            return "the copy's interval is " + valueText(result->mInterval);
        return std::string();
    }
    int64_t roundedStart = 0;
    const std::vector<ReferenceRecord> expected =
        referenceAggregation(items, stored, start, interval, &roundedStart);
    if (aggregator.mRoundedStart.tv_sec != roundedStart || aggregator.mRoundedStart.tv_nsec != 0)
        return "the grid starts at " + std::to_string(aggregator.mRoundedStart.tv_sec) + " instead of " +
               std::to_string(roundedStart);
    if (result->mNumItems != static_cast<int>(expected.size()))
        return std::to_string(result->mNumItems) + " records instead of " + std::to_string(expected.size());
    if (result->mInterval != static_cast<double>(interval))
        return "interval " + valueText(result->mInterval);
    for (size_t index = 0; index < expected.size(); ++index) {
        const std::string difference = differences(result->mItems[index], expected[index], index);
        if (!difference.empty())
            return difference;
    }
    return std::string();
}

std::string checkMeanCase(const std::vector<DataMean>& items, double stored, timespec start, int interval)
{
    const PtrLoggerResultMean result = aggregateMean(items, stored, start, interval);
    const bool aggregates = !items.empty() && interval > 0 && stored < static_cast<double>(interval);
    if (!aggregates) {
        if (result->mNumItems != static_cast<int>(items.size()) ||
            (!items.empty() &&
             std::memcmp(result->mItems, items.data(), sizeof(DataMean) * items.size()) != 0))
            return "the mean values changed without a grid";
        return std::string();
    }
    const std::vector<ReferenceRecord> expected = referenceAggregation(items, stored, start, interval);
    if (result->mNumItems != static_cast<int>(expected.size()))
        return std::to_string(result->mNumItems) + " records instead of " + std::to_string(expected.size());
    for (size_t index = 0; index < expected.size(); ++index) {
        const std::string difference = differences(result->mItems[index], expected[index], index);
        if (!difference.empty())
            return difference;
    }
    return std::string();
}

constexpr int kRandomCases = 3000; // per record type

} // namespace

TEST(AggregationPropertyTest, RandomInputsAggregateAsTheReferenceOfTheGridRulesDoes)
{
    const uint32_t seed = propertySeed();
    SCOPED_TRACE("seed " + std::to_string(seed) + " (QZLOGGER_TEST_SEED repeats a run)");
    RandomInputs random(seed);
    int aggregatedCases = 0;
    int incompleteRecords = 0;
    int itemsOnBinEnds = 0;
    int emptyBins = 0;
    for (int run = 0; run < kRandomCases; ++run) {
        const int interval = random.interval();
        const double stored = random.storedInterval(interval);
        const std::vector<DataTimespec> stamps = random.times(interval);
        const timespec start = random.start(stamps, interval);

        std::vector<Vtq> floats;
        std::vector<Dtq> doubles;
        std::vector<DataMean> means;
        for (const DataTimespec& stamp : stamps) {
            const uint32_t quality = static_cast<uint32_t>(random.uniform(0, 3)) << 15;
            floats.push_back(vtq(stamp.tv_sec, random.value(), stamp.tv_nsec, quality));
            doubles.push_back(dtq(stamp.tv_sec, random.doubleValue(), stamp.tv_nsec, quality));
            means.push_back(
                mean(stamp.tv_sec, random.value(), random.value(), random.value(), stamp.tv_nsec, quality));
        }

        std::string failure = checkXtqCase<Vtq, AggregatedFloat, float>(floats, stored, start, interval);
        if (!failure.empty()) {
            ADD_FAILURE() << "seed " << seed << ", case " << run << ", VTQ: " << failure << "\n"
                          << inputText(floats, stored, start, interval);
            return;
        }
        failure = checkXtqCase<Dtq, AggregatedDouble, double>(doubles, stored, start, interval);
        if (!failure.empty()) {
            ADD_FAILURE() << "seed " << seed << ", case " << run << ", DTQ: " << failure << "\n"
                          << inputText(doubles, stored, start, interval);
            return;
        }
        failure = checkMeanCase(means, stored, start, interval);
        if (!failure.empty()) {
            ADD_FAILURE() << "seed " << seed << ", case " << run << ", MEAN: " << failure << "\n"
                          << inputText(means, stored, start, interval);
            return;
        }
        if (!floats.empty() && interval > 0 && interval > stored) {
            ++aggregatedCases;
            for (const ReferenceRecord& record :
                 referenceAggregation(floats, stored, start, interval, nullptr, &itemsOnBinEnds, &emptyBins))
                incompleteRecords += record.quality == kIncomplete ? 1 : 0;
        }
    }
    // The cases must have reached the grid, not only the copies, and the corners of the grid.
    EXPECT_GT(aggregatedCases, kRandomCases / 3) << "seed " << seed;
    EXPECT_GT(incompleteRecords, 0) << "seed " << seed;
    EXPECT_GT(itemsOnBinEnds, 1000) << "seed " << seed;
    EXPECT_GT(emptyBins, 1000) << "seed " << seed;
}

// --- the getters on a real store ---------------------------------------------------------------------

namespace {

// The minimum, maximum and mean of secondValue over the indexes first to last, as a bin of the
// day's values has them.
struct BinValues {
    float min;
    float max;
    float mean;
};

BinValues secondValues(int first, int last)
{
    BinValues values{secondValue(first), secondValue(first), 0.0f};
    double sum = 0.0;
    for (int index = first; index <= last; ++index) {
        values.min = std::min(values.min, secondValue(index));
        values.max = std::max(values.max, secondValue(index));
        sum += static_cast<double>(secondValue(index));
    }
    values.mean = static_cast<float>(sum / (last - first + 1));
    return values;
}

class AggregatedGettersTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        setReadPauseObserverForTesting(
            [this](unsigned long milliseconds) { mPauses.push_back(milliseconds); });
        setLoggerMessageObserverForTesting(
            [this](const std::string& text, LoggerMessageType type) { mMessages.emplace_back(text, type); });
    }
    void TearDown() override
    {
        setReadPauseObserverForTesting(nullptr);
        setLoggerMessageObserverForTesting(nullptr);
        for (const auto& logger : mLoggers)
            logger->stopLogger();
    }

    // A started measured logger of one value a second (TestLogger's interval); null where it
    // did not start.
    TestLogger* startLogger(const QString& id, LoggerDataType dataType, int blockSize)
    {
        mLoggers.push_back(std::make_unique<TestLogger>(id, blockSize, LoggerType::CYCLIC, dataType));
        TestLogger* logger = mLoggers.back().get();
        if (!logger->startLogger()) {
            ADD_FAILURE() << LoggerDb::getInstance().getLastError().toStdString();
            return nullptr;
        }
        return logger;
    }

    // The items through the writer's path in blocks of perBlock, and the catalogue brought up to
    // date.
    template <typename T> void writeInBlocks(TestLogger* logger, const std::vector<T>& items, int perBlock)
    {
        ASSERT_NE(logger, nullptr);
        for (size_t offset = 0; offset < items.size(); offset += static_cast<size_t>(perBlock)) {
            const int count =
                static_cast<int>(std::min<size_t>(static_cast<size_t>(perBlock), items.size() - offset));
            ASSERT_NE(
                logger->writeDatas(reinterpret_cast<const char*>(items.data() + offset), count, true, true),
                nullptr)
                << "block at item " << offset;
        }
        ASSERT_TRUE(logger->updateAccess());
    }

    // count values, one a second, the first a second after midnight: each stamped at the end of
    // its second, so that a ten-minute bin holds 600 of them.
    void writeSeconds(TestLogger* logger, LoggerDataType dataType, int count)
    {
        if (dataType == LoggerDataType::VTQ) {
            std::vector<Vtq> items;
            for (int index = 0; index < count; ++index)
                items.push_back(vtq(kMidnight + 1 + index, secondValue(index)));
            writeInBlocks(logger, items, 3600);
        } else if (dataType == LoggerDataType::DTQ) {
            std::vector<Dtq> items;
            for (int index = 0; index < count; ++index)
                items.push_back(dtq(kMidnight + 1 + index, static_cast<double>(secondValue(index))));
            writeInBlocks(logger, items, 3600);
        } else {
            std::vector<DataMean> items;
            for (int index = 0; index < count; ++index) {
                const float value = secondValue(index);
                items.push_back(mean(kMidnight + 1 + index, value - 1.0f, value, value + 2.0f));
            }
            writeInBlocks(logger, items, 3600);
        }
    }

    int countMessages(const std::string& text, LoggerMessageType type) const
    {
        return static_cast<int>(std::count(mMessages.begin(), mMessages.end(), std::make_pair(text, type)));
    }

    WriterStore mStore;
    LoggerApi mApi;
    std::vector<std::unique_ptr<TestLogger>> mLoggers;
    std::vector<unsigned long> mPauses;
    std::vector<std::pair<std::string, LoggerMessageType>> mMessages;
};

const QString kVtqId = QStringLiteral("aggr.vtq_1s.rms.u1");
const QString kDtqId = QStringLiteral("aggr.dtq_1s.energy");
const QString kMeanId = QStringLiteral("aggr.mean_1s.rms.u2");
constexpr int kDay = 86400;

} // namespace

TEST_F(AggregatedGettersTest, ADayOfSecondValuesAggregatesToOneRecordPerTenMinutes)
{
    TestLogger* logger = startLogger(kVtqId, LoggerDataType::VTQ, sizeof(Vtq));
    ASSERT_NE(logger, nullptr);
    writeSeconds(logger, LoggerDataType::VTQ, kDay);
    ASSERT_FALSE(HasFatalFailure());

    mPauses.clear();
    const PtrLoggerResultAggregatedFloat result =
        mApi.getAggregatedVtqValues(kVtqId, at(kMidnight), at(kMidnight + kDay), 600, -1);
    ASSERT_NE(result, nullptr) << LoggerApiInterface::getLastError().toStdString();
    ASSERT_EQ(result->mNumItems, kDay / 600);
    EXPECT_EQ(result->mInterval, 600.0);
    for (int bin = 0; bin < result->mNumItems; ++bin) {
        const AggregatedFloat& record = result->mItems[bin];
        const BinValues expected = secondValues(bin * 600, bin * 600 + 599);
        ASSERT_EQ(record.utc.tv_sec, kMidnight + 600 * (bin + 1)) << bin;
        ASSERT_EQ(record.utc.tv_nsec, 0) << bin;
        ASSERT_EQ(record.quality, 0u) << bin;
        ASSERT_EQ(record.min, expected.min) << bin;
        ASSERT_EQ(record.max, expected.max) << bin;
        ASSERT_TRUE(sameBits(record.mean, expected.mean)) << bin;
    }
    // One read of the whole day, with the pause of a read that found files.
    EXPECT_EQ(mPauses, std::vector<unsigned long>{kReadPause});
}

TEST_F(AggregatedGettersTest, MeanAndDoubleValuesAggregateThroughTheirOwnGetters)
{
    TestLogger* means = startLogger(kMeanId, LoggerDataType::MEAN, sizeof(DataMean));
    TestLogger* doubles = startLogger(kDtqId, LoggerDataType::DTQ, sizeof(Dtq));
    ASSERT_NE(means, nullptr);
    ASSERT_NE(doubles, nullptr);
    writeSeconds(means, LoggerDataType::MEAN, 3600);
    writeSeconds(doubles, LoggerDataType::DTQ, 3600);
    ASSERT_FALSE(HasFatalFailure());

    const PtrLoggerResultMean meanResult =
        mApi.getAggregatedMeanValues(kMeanId, at(kMidnight), at(kMidnight + 3600), 600, -1);
    ASSERT_NE(meanResult, nullptr) << LoggerApiInterface::getLastError().toStdString();
    ASSERT_EQ(meanResult->mNumItems, 6);
    EXPECT_EQ(meanResult->mInterval, 600.0);
    const PtrLoggerResultAggregatedDouble doubleResult =
        mApi.getAggregatedDtqValues(kDtqId, at(kMidnight), at(kMidnight + 3600), 600, -1);
    ASSERT_NE(doubleResult, nullptr) << LoggerApiInterface::getLastError().toStdString();
    ASSERT_EQ(doubleResult->mNumItems, 6);
    EXPECT_EQ(doubleResult->mInterval, 600.0);
    for (int bin = 0; bin < 6; ++bin) {
        const BinValues expected = secondValues(bin * 600, bin * 600 + 599);
        const DataMean& record = meanResult->mItems[bin];
        EXPECT_EQ(record.utc.tv_sec, kMidnight + 600 * (bin + 1));
        EXPECT_EQ(record.quality, 0u);
        EXPECT_EQ(record.min, expected.min - 1.0f);
        EXPECT_EQ(record.max, expected.max + 2.0f);
        EXPECT_TRUE(sameBits(record.mean, expected.mean)) << bin;
        const AggregatedDouble& folded = doubleResult->mItems[bin];
        EXPECT_EQ(folded.utc.tv_sec, kMidnight + 600 * (bin + 1));
        EXPECT_EQ(folded.min, static_cast<double>(expected.min));
        EXPECT_EQ(folded.max, static_cast<double>(expected.max));
        EXPECT_EQ(folded.mean, static_cast<double>(expected.mean));
    }
    // Without a bound the mean values trace nothing.
    EXPECT_EQ(countMessages("scaledMaxItems: -1", LOGGER_MESSAGE_TRACE), 0);
}

TEST_F(AggregatedGettersTest, TheItemLimitCountsBinsOfTheGridIntervalNotStoredItems)
{
    TestLogger* floats = startLogger(kVtqId, LoggerDataType::VTQ, sizeof(Vtq));
    TestLogger* doubles = startLogger(kDtqId, LoggerDataType::DTQ, sizeof(Dtq));
    TestLogger* means = startLogger(kMeanId, LoggerDataType::MEAN, sizeof(DataMean));
    ASSERT_TRUE(floats != nullptr && doubles != nullptr && means != nullptr);
    writeSeconds(floats, LoggerDataType::VTQ, 7200);
    writeSeconds(doubles, LoggerDataType::DTQ, 7200);
    writeSeconds(means, LoggerDataType::MEAN, 7200);
    ASSERT_FALSE(HasFatalFailure());
    const timespec start = at(kMidnight);
    const timespec end = at(kMidnight + 7200);

    // Ten bins of ten minutes are 6000 values of a second: the oldest, and every bin full.
    const PtrLoggerResultAggregatedFloat ten = mApi.getAggregatedVtqValues(kVtqId, start, end, 600, 10);
    ASSERT_NE(ten, nullptr);
    EXPECT_EQ(secondsOf(ten).size(), 10u);
    ASSERT_EQ(ten->mNumItems, 10);
    EXPECT_EQ(ten->mItems[9].utc.tv_sec, kMidnight + 6000);
    EXPECT_EQ(ten->mItems[9].quality, 0u);

    // Values that begin inside a bin: that bin and the last one are cut, and one record more comes.
    const PtrLoggerResultAggregatedFloat cut =
        mApi.getAggregatedVtqValues(kVtqId, at(kMidnight + 300), end, 600, 10);
    ASSERT_NE(cut, nullptr);
    ASSERT_EQ(cut->mNumItems, 11);
    EXPECT_EQ(cut->mItems[0].quality, kIncomplete);
    EXPECT_EQ(cut->mItems[0].min, secondValues(299, 599).min);
    EXPECT_EQ(cut->mItems[5].quality, 0u);
    EXPECT_EQ(cut->mItems[10].utc.tv_sec, kMidnight + 6600);
    EXPECT_EQ(cut->mItems[10].quality, kIncomplete);
    EXPECT_EQ(cut->mItems[10].max, secondValues(6000, 6298).max);

    const PtrLoggerResultAggregatedDouble three = mApi.getAggregatedDtqValues(kDtqId, start, end, 600, 3);
    ASSERT_NE(three, nullptr);
    ASSERT_EQ(three->mNumItems, 3);
    EXPECT_EQ(three->mItems[2].utc.tv_sec, kMidnight + 1800);

    mMessages.clear();
    const PtrLoggerResultMean four = mApi.getAggregatedMeanValues(kMeanId, start, end, 600, 4);
    ASSERT_NE(four, nullptr);
    ASSERT_EQ(four->mNumItems, 4);
    EXPECT_EQ(four->mItems[3].utc.tv_sec, kMidnight + 2400);
    EXPECT_EQ(countMessages("scaledMaxItems: 2400", LOGGER_MESSAGE_TRACE), 1);
    EXPECT_EQ(countMessages("interval      : 600", LOGGER_MESSAGE_TRACE), 1);

    // No bound: no scaling and no trace; every value of the two hours.
    mMessages.clear();
    const PtrLoggerResultMean all = mApi.getAggregatedMeanValues(kMeanId, start, end, 600, -1);
    ASSERT_NE(all, nullptr);
    EXPECT_EQ(all->mNumItems, 12);
    EXPECT_EQ(countMessages("interval      : 600", LOGGER_MESSAGE_TRACE), 0);
    const PtrLoggerResultAggregatedFloat unbounded = mApi.getAggregatedVtqValues(kVtqId, start, end, 600, 0);
    ASSERT_NE(unbounded, nullptr);
    EXPECT_EQ(unbounded->mNumItems, 12);

    // A grid not above the stored interval reads the bound as items.
    const PtrLoggerResultAggregatedFloat items = mApi.getAggregatedVtqValues(kVtqId, start, end, 1, 10);
    ASSERT_NE(items, nullptr);
    EXPECT_EQ(items->mNumItems, 10);
    EXPECT_EQ(items->mInterval, 1.0);
}

TEST_F(AggregatedGettersTest, BadIntervalsAndRangesAnswerWithoutFault)
{
    TestLogger* floats = startLogger(kVtqId, LoggerDataType::VTQ, sizeof(Vtq));
    TestLogger* means = startLogger(kMeanId, LoggerDataType::MEAN, sizeof(DataMean));
    ASSERT_TRUE(floats != nullptr && means != nullptr);
    writeSeconds(floats, LoggerDataType::VTQ, 3600);
    writeSeconds(means, LoggerDataType::MEAN, 3600);
    ASSERT_FALSE(HasFatalFailure());
    const timespec start = at(kMidnight);
    const timespec end = at(kMidnight + 3600);

    // No grid: every value as its own record, with the stored interval.
    for (int interval : {0, -600, INT_MIN}) {
        SCOPED_TRACE("interval " + std::to_string(interval));
        const PtrLoggerResultAggregatedFloat copied =
            mApi.getAggregatedVtqValues(kVtqId, start, end, interval, 10);
        ASSERT_NE(copied, nullptr);
        ASSERT_EQ(copied->mNumItems, 10);
        EXPECT_EQ(copied->mInterval, 1.0);
        EXPECT_EQ(copied->mItems[9].utc.tv_sec, kMidnight + 10);
        EXPECT_EQ(copied->mItems[9].mean, secondValue(9));
        const PtrLoggerResultMean asRead = mApi.getAggregatedMeanValues(kMeanId, start, end, interval, -1);
        ASSERT_NE(asRead, nullptr);
        EXPECT_EQ(asRead->mNumItems, 3600);
        EXPECT_EQ(asRead->mInterval, 1.0);
    }

    // Above a day: the hour's values in one bin on whole hours, incomplete.
    for (int interval : {kDay + 1, 2 * kDay, INT_MAX}) {
        SCOPED_TRACE("interval " + std::to_string(interval));
        const PtrLoggerResultAggregatedFloat long_ =
            mApi.getAggregatedVtqValues(kVtqId, start, end, interval, 10);
        ASSERT_NE(long_, nullptr);
        ASSERT_EQ(long_->mNumItems, 1);
        EXPECT_EQ(long_->mItems[0].quality, kIncomplete);
        EXPECT_EQ(long_->mItems[0].min, secondValues(0, 3599).min);
        const PtrLoggerResultMean longMeans = mApi.getAggregatedMeanValues(kMeanId, start, end, interval, 10);
        ASSERT_NE(longMeans, nullptr);
        EXPECT_EQ(longMeans->mNumItems, 1);
    }
    const PtrLoggerResultAggregatedFloat twoDays =
        mApi.getAggregatedVtqValues(kVtqId, start, end, 2 * kDay, -1);
    ASSERT_NE(twoDays, nullptr);
    ASSERT_EQ(twoDays->mNumItems, 1);
    EXPECT_EQ(twoDays->mItems[0].utc.tv_sec, kMidnight + 2 * kDay);

    // A start after the end: no answer, and the last error says why.
    LoggerApiInterface::getLastError();
    EXPECT_EQ(mApi.getAggregatedVtqValues(kVtqId, at(kMidnight + 3000), at(kMidnight + 1000), 600, -1),
              nullptr);
    EXPECT_TRUE(LoggerApiInterface::getLastError().contains(QStringLiteral("is reversed")));
    EXPECT_EQ(mApi.getAggregatedMeanValues(kMeanId, at(kMidnight + 3000), at(kMidnight + 1000), 600, 5),
              nullptr);
    EXPECT_TRUE(LoggerApiInterface::getLastError().contains(QStringLiteral("is reversed")));

    // A range without values: an empty answer, not a failure.
    const PtrLoggerResultAggregatedFloat none =
        mApi.getAggregatedVtqValues(kVtqId, at(kMidnight + 10 * kDay), at(kMidnight + 11 * kDay), 600, -1);
    ASSERT_NE(none, nullptr);
    EXPECT_EQ(none->mNumItems, 0);
}

TEST_F(AggregatedGettersTest, AQueryForAnUnknownIdTakesTheLookupPauseAndAnswersNull)
{
    TestLogger* floats = startLogger(kVtqId, LoggerDataType::VTQ, sizeof(Vtq));
    ASSERT_NE(floats, nullptr);
    writeSeconds(floats, LoggerDataType::VTQ, 60);
    ASSERT_FALSE(HasFatalFailure());
    const QString unknown = QStringLiteral("aggr.no_such_logger");
    const std::pair<const char*, std::function<bool()>> queries[] = {
        {"VTQ",
         [&] {
             return mApi.getAggregatedVtqValues(unknown, at(kMidnight), at(kMidnight + 60), 600, -1) ==
                    nullptr;
         }},
        {"DTQ",
         [&] {
             return mApi.getAggregatedDtqValues(unknown, at(kMidnight), at(kMidnight + 60), 600, -1) ==
                    nullptr;
         }},
        {"MEAN",
         [&] {
             return mApi.getAggregatedMeanValues(unknown, at(kMidnight), at(kMidnight + 60), 600, 5) ==
                    nullptr;
         }},
        // Known, but with records of another data type.
        {"MEAN of a VTQ logger",
         [&] {
             return mApi.getAggregatedMeanValues(kVtqId, at(kMidnight), at(kMidnight + 60), 600, 5) ==
                    nullptr;
         }},
    };
    for (const auto& query : queries) {
        SCOPED_TRACE(query.first);
        LoggerApiInterface::getLastError();
        mPauses.clear();
        QElapsedTimer clock;
        clock.start();
        EXPECT_TRUE(query.second());
        EXPECT_GE(clock.elapsed(), static_cast<qint64>(kLookupPause));
        EXPECT_EQ(mPauses, std::vector<unsigned long>{kLookupPause});
        const QString error = LoggerApiInterface::getLastError();
        EXPECT_TRUE(error.contains(std::strcmp(query.first, "MEAN of a VTQ logger") == 0 ? kVtqId : unknown))
            << error.toStdString();
    }
}

TEST(AggregatedGettersWithoutStoreTest, WithoutAValidStoreTheGettersAnswerNullAtOnce)
{
    std::vector<unsigned long> pauses;
    setReadPauseObserverForTesting([&pauses](unsigned long milliseconds) { pauses.push_back(milliseconds); });
    LoggerApi api;
    EXPECT_EQ(api.getAggregatedVtqValues(kVtqId, at(kMidnight), at(kMidnight + 60), 600, -1), nullptr);
    EXPECT_EQ(api.getAggregatedDtqValues(kDtqId, at(kMidnight), at(kMidnight + 60), 600, -1), nullptr);
    EXPECT_EQ(api.getAggregatedMeanValues(kMeanId, at(kMidnight), at(kMidnight + 60), 600, 5), nullptr);
    EXPECT_TRUE(pauses.empty());
    setReadPauseObserverForTesting(nullptr);
}

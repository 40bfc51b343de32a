// Statistics against limits: qzlogger::StatisticCalculator and qzlogger::StatisticAggregator at
// their edges, with the counts worked out by hand in each test, and the eight statistic getters
// of LoggerApi end to end on a real catalogue of a simulated card (WriterStore), the items
// written through the writer's path. Each test runs in a process of its own.

#include "LogCapture.h"
#include "LoggerApi.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerResult.h"
#include "LoggerTestSeams.h"
#include "StatisticAggregator.h"
#include "StatisticCalculator.h"
#include "TestLogger.h"
#include "WriterStore.h"

#include <gtest/gtest.h>

#include <QString>

#include <algorithm>
#include <climits>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using qzlogger::StatisticAggregator;
using qzlogger::StatisticCalculator;

constexpr int32_t kFirstSecond = 1763802000; // 2025-11-22, mid-day in any zone
constexpr uint32_t kNotJudged = 0x20000;
constexpr uint32_t kClockChanged = 0x8;
const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInfinity = std::numeric_limits<float>::infinity();

timespec at(int64_t seconds, int64_t nanoseconds = 0)
{
    timespec time{};
    time.tv_sec = static_cast<time_t>(seconds);
    time.tv_nsec = static_cast<long>(nanoseconds);
    return time;
}

DataTimespec stamp(int32_t seconds)
{
    return DataTimespec{seconds, 0};
}

std::string bitsOf(float value)
{
    uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof(bits));
    char text[64];
    std::snprintf(text, sizeof(text), "%.9g (0x%08x)", static_cast<double>(value), bits);
    return text;
}

// count of expected values as a share in per cent, in the precision of the statistic: the
// expected values over 100 in double, the quotient stored as a float.
float share(int count, int expected)
{
    const double factor = expected < 1 ? 1.0 : static_cast<double>(expected) / 100.0;
    return static_cast<float>(count / factor);
}

#define EXPECT_SAME_FLOAT(actual, expected) EXPECT_EQ(bitsOf(actual), bitsOf(expected))

// A calculator of one channel between lower and upper.
void setLimits(StatisticCalculator& calculator, double lower, double upper)
{
    calculator.setLowerLimits(&lower);
    calculator.setUpperLimits(&upper);
}

// =================================================================================================
// The calculator.

TEST(StatisticCalculatorTest, AValueOnEitherLimitIsBetweenInEveryForm)
{
    StatisticCalculator single(1);
    setLimits(single, 49.5, 50.5);
    EXPECT_TRUE(single.isBetweenLimits(49.5f));
    EXPECT_TRUE(single.isBetweenLimits(50.5f));
    EXPECT_FALSE(single.isBetweenLimits(std::nextafter(49.5f, 0.0f)));
    EXPECT_FALSE(single.isBetweenLimits(std::nextafter(50.5f, 100.0f)));
    single.addDataItem(at(kFirstSecond), 49.5f, 0);
    single.addDataItem(at(kFirstSecond + 1), 50.5f, 0);
    EXPECT_EQ(single.getBetweenLimits(), 2);
    EXPECT_EQ(single.getLimitViolation(), 0);

    // The arrays test the upper limit of each value only.
    StatisticCalculator channels(2);
    const float values[2] = {5.0f, -1000.0f};
    const float limits[2] = {5.0f, -1000.0f};
    channels.addDataArray(at(kFirstSecond), values, limits, 0);
    EXPECT_EQ(channels.getBetweenLimits(), 1);
    EXPECT_EQ(channels.getLimitViolation(), 0);

    StatisticCalculator orders(1);
    float orderValues[3] = {3.0f, 6.0f, 0.5f};
    float orderLimits[3] = {3.0f, 6.0f, 0.5f};
    orders.addDataArrayToSingleStatistic(at(kFirstSecond), orderValues, orderLimits, 3, 0);
    EXPECT_EQ(orders.getBetweenLimits(), 3);
    EXPECT_EQ(orders.getLimitViolation(), 0);

    // A histogram whose only values lie in the class of the lower limit and in the class of the
    // upper limit: all between. Classes on the scale of 2650 over 45 to 55 Hz: 265 a hertz.
    DataHistogram<2650> record{};
    record.lowerLimit = 45.0f;
    record.upperLimit = 55.0f;
    record.maxValues = 600;
    record.percent[1060] = 40.0f; // 49.0 Hz
    record.percent[1590] = 60.0f; // 51.0 Hz
    StatisticCalculator histogram(1);
    setLimits(histogram, 49.0, 51.0);
    histogram.getHistogramDataFrequency(record);
    EXPECT_EQ(histogram.getBetweenLimits(), 600);
    EXPECT_EQ(histogram.getLimitViolation(), 0);

    DataStatisticBase<long> stored{};
    StatisticAggregator aggregator;
    float arrayValues[2] = {1.0f, 2.0f};
    float arrayLimits[2] = {1.0f, 2.0f};
    aggregator.addArray(stored, at(kFirstSecond), arrayValues, arrayLimits, 2, at(kFirstSecond + 1), 0);
    EXPECT_EQ(stored.betweenLimits, 2);
    EXPECT_EQ(stored.limitViolation, 0);
}

TEST(StatisticCalculatorTest, WithoutAnyItemMaxValuesIsZeroAndEveryShareIsZero)
{
    StatisticCalculator calculator(1);
    setLimits(calculator, 0.0, 1.0);
    EXPECT_EQ(calculator.getMaxValues(), 0);
    const DataStatisticBase<float> none = calculator.getDataStatistic();
    EXPECT_EQ(none.betweenLimits, 0.0f);
    EXPECT_EQ(none.missing, 0.0f);
    EXPECT_EQ(none.limitViolation, 0.0f);
    EXPECT_EQ(none.quality, 0u);
    EXPECT_EQ(none.utc.tv_sec, 0);
    EXPECT_EQ(none.utcStart.tv_sec, 0);

    // And so after a clear of a calculator that had counted.
    calculator.addDataItem(at(kFirstSecond), 0.5f, 0x4);
    calculator.addDataItem(at(kFirstSecond + 5), 5.0f, 0);
    EXPECT_GT(calculator.getMaxValues(), 0);
    calculator.clear();
    EXPECT_EQ(calculator.getMaxValues(), 0);
    EXPECT_EQ(calculator.getTotalValues(), 0);
    EXPECT_EQ(calculator.getBetweenLimits(), 0);
    EXPECT_EQ(calculator.getLimitViolation(), 0);
    EXPECT_EQ(calculator.getQuality(), 0);
    const DataStatisticBase<float> cleared = calculator.getDataStatistic();
    EXPECT_EQ(cleared.betweenLimits, 0.0f);
    EXPECT_EQ(cleared.missing, 0.0f);
    EXPECT_EQ(cleared.limitViolation, 0.0f);
}

TEST(StatisticCalculatorTest, AnExcludedItemIsExpectedAndMissingButNeitherBetweenNorViolating)
{
    StatisticCalculator calculator(1);
    setLimits(calculator, 0.0, 10.0);
    calculator.setInterval(at(1));
    calculator.addDataItem(at(kFirstSecond), 5.0f, 0);
    calculator.addDataItem(at(kFirstSecond + 1), 5.0f, kNotJudged);
    calculator.addDataItem(at(kFirstSecond + 2), 50.0f, kNotJudged); // would violate
    EXPECT_EQ(calculator.getTotalValues(), 3);
    EXPECT_EQ(calculator.getMaxValues(), 3);
    EXPECT_EQ(calculator.getMissingDataElements(), 2);
    EXPECT_EQ(calculator.getBetweenLimits(), 1);
    EXPECT_EQ(calculator.getLimitViolation(), 0);
    EXPECT_EQ(calculator.getQuality(), static_cast<long>(kNotJudged));
    const DataStatisticBase<float> result = calculator.getDataStatistic();
    EXPECT_SAME_FLOAT(result.betweenLimits, share(1, 3));
    EXPECT_SAME_FLOAT(result.missing, share(2, 3));
    EXPECT_EQ(result.limitViolation, 0.0f);

    // In the array form too.
    StatisticCalculator channels(2);
    const float values[2] = {1.0f, 100.0f};
    const float limits[2] = {2.0f, 2.0f};
    channels.addDataArray(at(kFirstSecond), values, limits, kNotJudged);
    EXPECT_EQ(channels.getMaxValues(), 1);
    EXPECT_EQ(channels.getMissingDataElements(), 1);
    EXPECT_EQ(channels.getBetweenLimits(), 0);
    EXPECT_EQ(channels.getLimitViolation(), 0);
}

TEST(StatisticCalculatorTest, AnExcludedRecordOfOrdersAddsItsCountToMaxButOnlyOneToMissing)
{
    StatisticCalculator calculator(1);
    float values[3] = {1.0f, 100.0f, 1.0f};
    float limits[3] = {2.0f, 2.0f, 2.0f};
    calculator.addDataArrayToSingleStatistic(at(kFirstSecond), values, limits, 3, kNotJudged);
    EXPECT_EQ(calculator.getTotalValues(), 3);
    EXPECT_EQ(calculator.getMaxValues(), 3);
    EXPECT_EQ(calculator.getMissingDataElements(), 1);
    EXPECT_EQ(calculator.getBetweenLimits(), 0);
    EXPECT_EQ(calculator.getLimitViolation(), 0);

    // A judged record counts each order; a gap of two intervals holds count values per interval.
    calculator.setInterval(at(600));
    calculator.addDataArrayToSingleStatistic(at(kFirstSecond + 1800), values, limits, 3, 0);
    EXPECT_EQ(calculator.getBetweenLimits(), 2);
    EXPECT_EQ(calculator.getLimitViolation(), 1);
    EXPECT_EQ(calculator.getMissingDataElements(), 1 + 3 * 2);
    EXPECT_EQ(calculator.getMaxValues(), 3 + 3 * 2 + 3);
    EXPECT_EQ(calculator.getTotalValues(), 6);
}

TEST(StatisticCalculatorTest, TheFirstItemGivesNoMissingValuesAndTheIntervalIsLearnedFromTheFirstGap)
{
    StatisticCalculator calculator(1);
    setLimits(calculator, 0.0, 10.0);
    calculator.addDataItem(at(kFirstSecond + 100), 5.0f, 0);
    EXPECT_EQ(calculator.getMissingDataElements(), 0);
    EXPECT_EQ(calculator.getMaxValues(), 1);
    // The first gap, 2 s, is the interval: it holds no missing value itself.
    calculator.addDataItem(at(kFirstSecond + 102), 5.0f, 0);
    EXPECT_EQ(calculator.getMissingDataElements(), 0);
    EXPECT_EQ(calculator.getMaxValues(), 2);
    // A gap of 6 s is three intervals: two values are missing.
    calculator.addDataItem(at(kFirstSecond + 108), 5.0f, 0);
    EXPECT_EQ(calculator.getMissingDataElements(), 2);
    EXPECT_EQ(calculator.getMaxValues(), 5);
    EXPECT_EQ(calculator.getTotalValues(), 3);
    // A gap of 7 s holds two whole intervals beyond its first: the part of one holds nothing.
    calculator.addDataItem(at(kFirstSecond + 115), 5.0f, 0);
    EXPECT_EQ(calculator.getMissingDataElements(), 4);
    const DataStatisticBase<float> result = calculator.getDataStatistic();
    EXPECT_EQ(result.utcStart.tv_sec, kFirstSecond + 100);
    EXPECT_EQ(result.utc.tv_sec, kFirstSecond + 115);
    EXPECT_SAME_FLOAT(result.betweenLimits, share(4, 8));
    EXPECT_SAME_FLOAT(result.missing, share(4, 8));

    // Equal time stamps at the start teach nothing: the interval stays to be learned.
    StatisticCalculator equal(1);
    setLimits(equal, 0.0, 10.0);
    equal.addDataItem(at(kFirstSecond), 1.0f, 0);
    equal.addDataItem(at(kFirstSecond), 1.0f, 0);
    equal.addDataItem(at(kFirstSecond + 3), 1.0f, 0);
    equal.addDataItem(at(kFirstSecond + 9), 1.0f, 0);
    EXPECT_EQ(equal.getMissingDataElements(), 1);
    EXPECT_EQ(equal.getMaxValues(), 5);

    // A set interval is kept: the first item still gives nothing.
    StatisticCalculator preset(1);
    setLimits(preset, 0.0, 10.0);
    preset.setStartTime(at(kFirstSecond - 50));
    preset.setInterval(at(1));
    preset.addDataItem(at(kFirstSecond), 1.0f, 0);
    EXPECT_EQ(preset.getMissingDataElements(), 0);
    preset.addDataItem(at(kFirstSecond + 3), 1.0f, 0);
    EXPECT_EQ(preset.getMissingDataElements(), 2);
    EXPECT_EQ(preset.getDataStatistic().utcStart.tv_sec, kFirstSecond - 50);
}

TEST(StatisticCalculatorTest, AClockChangeMovesTheTimeWithoutBookingTheJumpAsAGap)
{
    StatisticCalculator calculator(1);
    setLimits(calculator, 0.0, 10.0);
    calculator.setInterval(at(1));
    calculator.addDataItem(at(kFirstSecond), 1.0f, 0);
    // The clock jumps an hour ahead: no value is missing.
    calculator.addDataItem(at(kFirstSecond + 3600), 1.0f, kClockChanged);
    EXPECT_EQ(calculator.getMissingDataElements(), 0);
    calculator.addDataItem(at(kFirstSecond + 3601), 1.0f, 0);
    EXPECT_EQ(calculator.getMissingDataElements(), 0);
    // Then back an hour: no value is missing either, and the next gap counts from the new time.
    calculator.addDataItem(at(kFirstSecond + 2), 1.0f, kClockChanged);
    calculator.addDataItem(at(kFirstSecond + 5), 1.0f, 0);
    EXPECT_EQ(calculator.getMissingDataElements(), 2);
    EXPECT_EQ(calculator.getQuality(), static_cast<long>(kClockChanged));

    // setTimeChanged alone moves the latest time forward only.
    StatisticCalculator base(1);
    base.setCurrentTime(at(kFirstSecond + 10));
    base.setTimeChanged(at(kFirstSecond + 5));
    base.setInterval(at(1));
    base.setEndTime(at(kFirstSecond + 13), 1);
    EXPECT_EQ(base.getMissingDataElements(), 1 + 2);
    StatisticCalculator later(1);
    later.setCurrentTime(at(kFirstSecond + 10));
    later.setTimeChanged(at(kFirstSecond + 20));
    later.setInterval(at(1));
    later.setEndTime(at(kFirstSecond + 23), 1);
    EXPECT_EQ(later.getMissingDataElements(), 1 + 2);
}

TEST(StatisticCalculatorTest, AMomentWithoutAValueIsExpectedAndMissing)
{
    StatisticCalculator calculator(1);
    calculator.setCurrentTime(at(kFirstSecond));
    calculator.setCurrentTime(at(kFirstSecond + 1));
    EXPECT_EQ(calculator.getMaxValues(), 2);
    EXPECT_EQ(calculator.getMissingDataElements(), 2);
    EXPECT_EQ(calculator.getTotalValues(), 0);
    const DataStatisticBase<float> result = calculator.getDataStatistic();
    EXPECT_EQ(result.utcStart.tv_sec, kFirstSecond);
    EXPECT_EQ(result.utc.tv_sec, kFirstSecond + 1);
    EXPECT_EQ(result.missing, 100.0f);
}

TEST(StatisticCalculatorTest, TheEndOfThePeriodBooksTheSilenceBeforeItAsMissing)
{
    StatisticCalculator calculator(1);
    setLimits(calculator, 0.0, 10.0);
    calculator.setInterval(at(10));
    calculator.addDataItem(at(kFirstSecond), 1.0f, 0);
    calculator.setEndTime(at(kFirstSecond + 10), 1);
    EXPECT_EQ(calculator.getMissingDataElements(), 0);
    // 45 s are three whole intervals beyond the first: three times four values.
    calculator.setEndTime(at(kFirstSecond + 45), 4);
    EXPECT_EQ(calculator.getMissingDataElements(), 4 * 3);
    // The end does not move the latest value.
    EXPECT_EQ(calculator.getDataStatistic().utc.tv_sec, kFirstSecond);

    // Without an interval the span to the end becomes it, and nothing is missing.
    StatisticCalculator unset(1);
    unset.addDataItem(at(kFirstSecond), 1.0f, 0);
    unset.setEndTime(at(kFirstSecond + 500), 1);
    EXPECT_EQ(unset.getMissingDataElements(), 0);
    EXPECT_EQ(unset.getMaxValues(), 1);
}

TEST(StatisticCalculatorTest, ValuesThatAreNoNumberViolateAndInfinitiesAreJudgedAsNumbers)
{
    StatisticCalculator calculator(1);
    setLimits(calculator, -1.0, 1.0);
    calculator.addDataItem(at(kFirstSecond), kNaN, 0);
    calculator.addDataItem(at(kFirstSecond + 1), kInfinity, 0);
    calculator.addDataItem(at(kFirstSecond + 2), -kInfinity, 0);
    EXPECT_EQ(calculator.getLimitViolation(), 3);
    EXPECT_EQ(calculator.getBetweenLimits(), 0);
    StatisticCalculator open(1);
    setLimits(open, -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity());
    open.addDataItem(at(kFirstSecond), kInfinity, 0);
    open.addDataItem(at(kFirstSecond + 1), kNaN, 0);
    EXPECT_EQ(open.getBetweenLimits(), 1);
    EXPECT_EQ(open.getLimitViolation(), 1);
}

TEST(StatisticCalculatorTest, LimitsWithTheLowerAboveTheUpperLetNoValueBeBetween)
{
    StatisticCalculator calculator(1);
    setLimits(calculator, 10.0, 0.0);
    for (float value : {-1.0f, 0.0f, 5.0f, 10.0f, 11.0f})
        calculator.addDataItem(at(kFirstSecond + static_cast<int>(value) + 2), value, 0);
    EXPECT_EQ(calculator.getBetweenLimits(), 0);
    EXPECT_EQ(calculator.getLimitViolation(), 5);
}

TEST(StatisticCalculatorTest, HugeGapsAndTinyIntervalsHoldTheCountsToTheRangeOfInt)
{
    StatisticCalculator calculator(1);
    setLimits(calculator, 0.0, 1.0);
    calculator.setInterval(at(0, 1)); // one nanosecond
    calculator.addDataItem(at(1), 0.5f, 0);
    calculator.addDataItem(at(kFirstSecond), 0.5f, 0);
    EXPECT_EQ(calculator.getMaxValues(), INT_MAX);
    EXPECT_EQ(calculator.getMissingDataElements(), INT_MAX);
    calculator.addDataItem(at(kFirstSecond + 100), 0.5f, 0);
    EXPECT_EQ(calculator.getMaxValues(), INT_MAX);
    const DataStatisticBase<float> result = calculator.getDataStatistic();
    EXPECT_EQ(result.missing, 100.0f);
    EXPECT_LT(result.betweenLimits, 1e-6f);

    float values[2] = {0.5f, 0.5f};
    float limits[2] = {1.0f, 1.0f};
    StatisticCalculator orders(1);
    orders.setInterval(at(0, 1));
    orders.addDataArrayToSingleStatistic(at(1), values, limits, 2, 0);
    orders.addDataArrayToSingleStatistic(at(kFirstSecond), values, limits, 2, 0);
    EXPECT_EQ(orders.getMaxValues(), INT_MAX);
}

TEST(StatisticCalculatorTest, AnIntervalThatIsNotPositiveBooksNoMissingValues)
{
    // (An interval of 0 is no interval: the first gap becomes it.)
    for (const timespec interval : {at(-5), at(-1, 500000000)}) {
        StatisticCalculator calculator(1);
        setLimits(calculator, 0.0, 1.0);
        calculator.setInterval(interval);
        calculator.addDataItem(at(kFirstSecond), 0.5f, 0);
        calculator.addDataItem(at(kFirstSecond + 100), 0.5f, 0);
        calculator.setEndTime(at(kFirstSecond + 1000), 3);
        calculator.calculateMissingValues(at(86400 * 400), 7);
        EXPECT_EQ(calculator.getMissingDataElements(), 0) << interval.tv_sec;
        EXPECT_EQ(calculator.getMaxValues(), 2) << interval.tv_sec;
    }
    // A clock running backward before any interval was learned teaches a negative one.
    StatisticCalculator backward(1);
    backward.addDataItem(at(kFirstSecond), 0.5f, 0);
    backward.addDataItem(at(kFirstSecond - 10), 0.5f, 0);
    backward.addDataItem(at(kFirstSecond + 1000), 0.5f, 0);
    EXPECT_EQ(backward.getMissingDataElements(), 0);
    EXPECT_EQ(backward.getMaxValues(), 3);
}

TEST(StatisticCalculatorTest, NullArraysNegativeCountsAndNoChannelsCountNothingAndDoNotCrash)
{
    StatisticCalculator calculator(1);
    float values[1] = {1.0f};
    calculator.addDataArray(at(kFirstSecond), nullptr, values, 0);
    calculator.addDataArray(at(kFirstSecond), values, nullptr, 0);
    calculator.addDataArrayToSingleStatistic(at(kFirstSecond), nullptr, values, 1, 0);
    calculator.addDataArrayToSingleStatistic(at(kFirstSecond), values, values, -1, 0);
    EXPECT_EQ(calculator.getMaxValues(), 0);
    EXPECT_EQ(calculator.getTotalValues(), 0);
    // No orders at all: a moment without a value to judge.
    calculator.addDataArrayToSingleStatistic(at(kFirstSecond), nullptr, nullptr, 0, 0);
    EXPECT_EQ(calculator.getMaxValues(), 0);
    calculator.setLowerLimits(nullptr);
    calculator.setUpperLimits(nullptr);

    StatisticCalculator none(0);
    EXPECT_EQ(none.getChannels(), 0u);
    EXPECT_FALSE(none.isBetweenLimits(0.0f));
    none.addDataItem(at(kFirstSecond), 1.0f, 0);
    none.addDataArray(at(kFirstSecond + 1), values, values, 0);
    EXPECT_EQ(none.getBetweenLimits(), 0);
    EXPECT_EQ(none.getLimitViolation(), 0);
    EXPECT_EQ(none.getMaxValues(), 2);
    DataHistogram<2650> record{};
    record.upperLimit = 10.0f;
    record.maxValues = 10;
    record.percent[0] = 100.0f;
    none.getHistogramDataFrequency(record);
    EXPECT_EQ(none.getTotalValues(), 10);
}

// =================================================================================================
// Statistics from a histogram.

// A mains-signalling record of 0 to 10 % with the given per cent in the given classes.
DataHistogram<200> signallingRecord(int32_t maxValues, const std::vector<std::pair<int, float>>& classes)
{
    DataHistogram<200> record{};
    record.utcStart = stamp(kFirstSecond);
    record.utc = stamp(kFirstSecond + 599);
    record.quality = 0x40;
    record.lowerLimit = 0.0f;
    record.upperLimit = 10.0f;
    record.maxValues = maxValues;
    record.missingValues = 12;
    record.totalValues = maxValues - 12;
    for (const auto& entry : classes)
        record.percent[entry.first] = entry.second;
    return record;
}

TEST(StatisticHistogramTest, TheMainsSignallingUpperClassClampsTo199AndTheBetweenShareCanHoldASingleClass)
{
    // On the scale of 2650 classes over 0 to 10 % a class is 10 / 2650 % wide: 1 % lies in class
    // 265, beyond the 200 classes of the record, so everything from the lower limit up is between.
    const DataHistogram<200> record = signallingRecord(600, {{0, 20.0f}, {11, 10.0f}, {199, 70.0f}});
    StatisticCalculator wide(1);
    setLimits(wide, 0.0, 1.0);
    wide.getHistogramData<200>(record, 199);
    EXPECT_EQ(wide.getBetweenLimits(), 600);
    EXPECT_EQ(wide.getLimitViolation(), 0);
    EXPECT_EQ(wide.getTotalValues(), 600);
    // The lower limit moves the first class: class 0 lies below 0.01 % (class 3).
    StatisticCalculator above(1);
    setLimits(above, 0.01, 1.0);
    above.getHistogramData<200>(record, 199);
    EXPECT_EQ(above.getBetweenLimits(), 480);
    EXPECT_EQ(above.getLimitViolation(), 120);

    // Equal limits that fall between two classes: the first rounds up to class 11 and the last,
    // truncated to 10, is raised to it. Only class 11 is between.
    const double limit = 10.6 / 265.0;
    StatisticCalculator single(1);
    setLimits(single, limit, limit);
    single.getHistogramData<200>(record, 199);
    EXPECT_EQ(single.getBetweenLimits(), 60);
    EXPECT_EQ(single.getLimitViolation(), 540);
    const DataStatisticBase<float> result = single.getDataStatistic();
    EXPECT_SAME_FLOAT(result.betweenLimits, share(60, 600));
    EXPECT_SAME_FLOAT(result.limitViolation, share(540, 600));
    EXPECT_SAME_FLOAT(result.missing, share(12, 600));
    // The record's period, quality and expected values come along.
    EXPECT_EQ(single.getMaxValues(), 600);
    EXPECT_EQ(single.getMissingDataElements(), 12);
    EXPECT_EQ(single.getQuality(), 0x40);
    EXPECT_EQ(result.utcStart.tv_sec, kFirstSecond);
    EXPECT_EQ(result.utc.tv_sec, kFirstSecond + 599);

    // A lower limit above the upper one: both classes become the first one's.
    StatisticCalculator reversed(1);
    setLimits(reversed, 11.0 / 265.0, 0.0);
    reversed.getHistogramData<200>(record, 199);
    EXPECT_EQ(reversed.getBetweenLimits(), 60);
}

TEST(StatisticHistogramTest, TheFrequencyClassesSplitIntoBelowBetweenAndAboveAndRoundToCounts)
{
    DataHistogram<2650> record{};
    record.utcStart = stamp(kFirstSecond);
    record.utc = stamp(kFirstSecond + 599);
    record.lowerLimit = 45.0f;
    record.upperLimit = 55.0f;
    record.maxValues = 7;
    record.missingValues = 0;
    // 49.5 Hz is class 1192.5 and rounds up to 1193; 50.5 Hz is class 1457.5 and truncates to
    // 1457.
    record.percent[1192] = 10.0f;
    record.percent[1193] = 20.0f;
    record.percent[1457] = 30.0f;
    record.percent[1458] = 40.0f;
    StatisticCalculator calculator(1);
    setLimits(calculator, 49.5, 50.5);
    calculator.getHistogramDataFrequency(record);
    // Counts of 7 values: between 0.07 x 50 = 3.5, rounded 4; violation 0.07 x 50 also 4; the
    // total 0.07 x 100 = 7.
    EXPECT_EQ(calculator.getBetweenLimits(), 4);
    EXPECT_EQ(calculator.getLimitViolation(), 4);
    EXPECT_EQ(calculator.getTotalValues(), 7);
    EXPECT_EQ(calculator.getMaxValues(), 7);
    // Counts from earlier values are gone.
    calculator.addDataItem(at(kFirstSecond + 1000), 50.0f, 0);
    calculator.getHistogramDataFrequency(record);
    EXPECT_EQ(calculator.getBetweenLimits(), 4);
    EXPECT_EQ(calculator.getTotalValues(), 7);
}

TEST(StatisticHistogramTest, RecordsWithEqualLimitsOrGarbageSharesGiveCountsWithoutCrashing)
{
    DataHistogram<2650> record{};
    record.lowerLimit = 50.0f;
    record.upperLimit = 50.0f; // no width: the scale is infinite
    record.maxValues = 600;
    record.percent[0] = kNaN;
    record.percent[1] = kInfinity;
    record.percent[2] = -kInfinity;
    record.percent[3] = 1e38f;
    StatisticCalculator calculator(1);
    setLimits(calculator, 49.0, 51.0);
    calculator.getHistogramDataFrequency(record);
    EXPECT_EQ(calculator.getMaxValues(), 600);
    // Sums that are not numbers count 0; the rest is held to the range of int.
    EXPECT_GE(calculator.getTotalValues(), 0);

    record.lowerLimit = 55.0f;
    record.upperLimit = 45.0f;
    record.maxValues = INT32_MAX;
    for (int index = 0; index < 2650; ++index)
        record.percent[index] = 100.0f;
    StatisticCalculator reversed(1);
    setLimits(reversed, 49.0, 51.0);
    reversed.getHistogramDataFrequency(record);
    EXPECT_EQ(reversed.getTotalValues(), INT_MAX);
}

// =================================================================================================
// The aggregator of stored statistic records.

DataStatisticBase<long> statisticRecord(int32_t start, int32_t end, int32_t between, int32_t missing,
                                        int32_t violation, uint32_t quality = 0)
{
    DataStatisticBase<long> record{};
    record.utcStart = stamp(start);
    record.utc = stamp(end);
    record.betweenLimits = between;
    record.missing = missing;
    record.limitViolation = violation;
    record.quality = quality;
    return record;
}

TEST(StatisticAggregatorTest, AGapOfSeveralRecordsBooksTheLostRecordsValuesButAClockChangeDoesNot)
{
    StatisticAggregator aggregator;
    aggregator.clearAggregated();
    aggregator.setRecordInterval(at(600));
    aggregator.setValueInterval(at(10));
    std::vector<DataStatisticBase<long>> records = {
        statisticRecord(kFirstSecond, kFirstSecond + 600, 50, 5, 5),
        statisticRecord(kFirstSecond + 600, kFirstSecond + 1200, 60, 0, 0, 0x2),
        statisticRecord(kFirstSecond + 2400, kFirstSecond + 3000, 55, 0, 5), // two lost before
        statisticRecord(kFirstSecond + 4200, kFirstSecond + 4800, 60, 0, 0, kClockChanged),
    };
    for (auto& record : records)
        aggregator.add(record);
    const DataStatisticBase<long>& sum = aggregator.getAggregated();
    EXPECT_EQ(sum.betweenLimits, 225);
    EXPECT_EQ(sum.limitViolation, 10);
    EXPECT_EQ(sum.missing, 5 + 2 * 60);
    EXPECT_EQ(sum.quality, 0x2u | kClockChanged);
    EXPECT_EQ(sum.utcStart.tv_sec, kFirstSecond);
    EXPECT_EQ(sum.utc.tv_sec, kFirstSecond + 4800);

    // Half an interval before the range's start and after its end: 60 values each.
    EXPECT_EQ(aggregator.getMissingMeasValues(at(kFirstSecond - 600), at(kFirstSecond + 5400)), 120);
    const DataStatisticBase<float> result =
        aggregator.getDataStatistic(at(kFirstSecond - 600), at(kFirstSecond + 5400));
    EXPECT_SAME_FLOAT(result.betweenLimits, static_cast<float>(225.0 / 480.0 * 100.0));
    EXPECT_SAME_FLOAT(result.limitViolation, static_cast<float>(10.0 / 480.0 * 100.0));
    EXPECT_SAME_FLOAT(result.missing, static_cast<float>(245.0 / 480.0 * 100.0));
    EXPECT_EQ(result.utcStart.tv_sec, kFirstSecond);
    EXPECT_EQ(result.utc.tv_sec, kFirstSecond + 4800);
    EXPECT_EQ(result.quality, 0x2u | kClockChanged);
}

TEST(StatisticAggregatorTest, ARecordAfterAGapOfOneAndAHalfIntervalsRoundsToTwoAndLosesOne)
{
    StatisticAggregator aggregator;
    aggregator.clearAggregated();
    aggregator.setRecordInterval(at(600));
    aggregator.setValueInterval(at(3));
    DataStatisticBase<long> first = statisticRecord(kFirstSecond, kFirstSecond + 600, 200, 0, 0);
    DataStatisticBase<long> late = statisticRecord(kFirstSecond + 900, kFirstSecond + 1500, 200, 0, 0);
    aggregator.add(first);
    aggregator.add(late);
    EXPECT_EQ(aggregator.getAggregated().missing, 200);
    // A gap just short of one and a half intervals rounds to one and loses nothing.
    StatisticAggregator close;
    close.clearAggregated();
    close.setRecordInterval(at(600));
    close.setValueInterval(at(3));
    DataStatisticBase<long> near = statisticRecord(kFirstSecond + 899, kFirstSecond + 1499, 200, 0, 0);
    close.add(first);
    close.add(near);
    EXPECT_EQ(close.getAggregated().missing, 0);
    EXPECT_DOUBLE_EQ(close.getIntervals(at(kFirstSecond), at(kFirstSecond + 900), at(600)), 1.5);
}

TEST(StatisticAggregatorTest, NothingCountedGivesZerosAndARangeInsideTheRecordsAddsNothing)
{
    StatisticAggregator aggregator;
    aggregator.clearAggregated();
    aggregator.setRecordInterval(at(600));
    aggregator.setValueInterval(at(10));
    const DataStatisticBase<float> empty = aggregator.getDataStatistic(at(0), at(0));
    EXPECT_EQ(empty.betweenLimits, 0.0f);
    EXPECT_EQ(empty.missing, 0.0f);
    EXPECT_EQ(empty.limitViolation, 0.0f);

    DataStatisticBase<long> record = statisticRecord(kFirstSecond, kFirstSecond + 600, 30, 20, 10);
    aggregator.add(record);
    EXPECT_EQ(aggregator.getMissingMeasValues(at(kFirstSecond + 100), at(kFirstSecond + 200)), 0);
    const DataStatisticBase<float> inside =
        aggregator.getDataStatistic(at(kFirstSecond + 100), at(kFirstSecond + 200));
    EXPECT_SAME_FLOAT(inside.betweenLimits, 50.0f);
    EXPECT_SAME_FLOAT(inside.missing, static_cast<float>(20.0 / 60.0 * 100.0));

    // A clear forgets the record.
    aggregator.clearAggregated();
    EXPECT_EQ(aggregator.getAggregated().betweenLimits, 0);
    DataStatisticBase<long> later = statisticRecord(kFirstSecond + 6000, kFirstSecond + 6600, 1, 0, 0);
    aggregator.add(later);
    EXPECT_EQ(aggregator.getAggregated().missing, 0);
    EXPECT_EQ(aggregator.getAggregated().utcStart.tv_sec, kFirstSecond + 6000);

    DataStatisticBase<float> shares{};
    shares.betweenLimits = 3.0f;
    aggregator.clearDataStatistic(shares);
    EXPECT_EQ(shares.betweenLimits, 0.0f);
    DataStatisticBase<long> counts = statisticRecord(1, 2, 3, 4, 5, 6);
    aggregator.clearDataAbsolute(counts);
    EXPECT_EQ(counts.utc.tv_sec, 0);
    EXPECT_EQ(counts.limitViolation, 0);
}

TEST(StatisticAggregatorTest, ValueIntervalsOfZeroNegativeOrAboveADayNeverDivideByZero)
{
    for (const timespec interval : {at(0), at(-10), at(86400 * 2)}) {
        StatisticAggregator aggregator;
        aggregator.clearAggregated();
        aggregator.setRecordInterval(at(600));
        aggregator.setValueInterval(interval);
        DataStatisticBase<long> first = statisticRecord(kFirstSecond, kFirstSecond + 600, 30, 0, 10);
        DataStatisticBase<long> late = statisticRecord(kFirstSecond + 6000, kFirstSecond + 6600, 30, 0, 10);
        aggregator.add(first);
        aggregator.add(late);
        EXPECT_EQ(aggregator.getAggregated().missing, 0) << interval.tv_sec;
        // An hour before and ten minutes after: less than half a value interval of two days.
        EXPECT_EQ(aggregator.getMissingMeasValues(at(kFirstSecond - 3600), at(kFirstSecond + 7200)), 0)
            << interval.tv_sec;
        const DataStatisticBase<float> result =
            aggregator.getDataStatistic(at(kFirstSecond - 3600), at(kFirstSecond + 7200));
        EXPECT_EQ(result.betweenLimits, 75.0f) << interval.tv_sec;
        EXPECT_EQ(result.limitViolation, 25.0f) << interval.tv_sec;
    }
    // A record interval of zero: every gap is no gap.
    StatisticAggregator zero;
    zero.clearAggregated();
    zero.setValueInterval(at(1));
    DataStatisticBase<long> first = statisticRecord(kFirstSecond, kFirstSecond + 600, 1, 0, 0);
    DataStatisticBase<long> late = statisticRecord(kFirstSecond + 6000, kFirstSecond + 6600, 1, 0, 0);
    zero.add(first);
    zero.add(late);
    EXPECT_EQ(zero.getAggregated().missing, 0);
    EXPECT_EQ(zero.getIntervals(at(0), at(100), at(0)), 0.0);
}

TEST(StatisticAggregatorTest, CountsOfHugeGapsAndSumsStayWithinTheRangeOfTheRecord)
{
    StatisticAggregator aggregator;
    aggregator.clearAggregated();
    aggregator.setRecordInterval(at(1));
    aggregator.setValueInterval(at(0, 1));
    DataStatisticBase<long> first = statisticRecord(1, 2, INT32_MAX, 0, 0);
    DataStatisticBase<long> late = statisticRecord(kFirstSecond, kFirstSecond + 1, INT32_MAX, 0, 0);
    aggregator.add(first);
    aggregator.add(late);
    EXPECT_EQ(aggregator.getAggregated().betweenLimits, INT32_MAX);
    EXPECT_EQ(aggregator.getAggregated().missing, INT32_MAX);
    const DataStatisticBase<float> result = aggregator.getDataStatistic(at(0), at(kFirstSecond + 10));
    EXPECT_FALSE(std::isnan(result.betweenLimits));
    EXPECT_FALSE(std::isnan(result.missing));
}

TEST(StatisticAggregatorTest, TheHostFillsARecordWithArraysOfValuesAndLimits)
{
    StatisticAggregator aggregator;
    DataStatisticBase<long> record{};
    float values[3] = {1.0f, 5.0f, 2.0f};
    float limits[3] = {2.0f, 2.0f, 2.0f};
    aggregator.addArray(record, at(kFirstSecond), values, limits, 3, at(kFirstSecond + 10), 0x1);
    aggregator.addArray(record, at(kFirstSecond + 5), values, limits, 3, at(kFirstSecond + 20), kNotJudged);
    EXPECT_EQ(record.utcStart.tv_sec, kFirstSecond);
    EXPECT_EQ(record.utc.tv_sec, kFirstSecond + 20);
    EXPECT_EQ(record.betweenLimits, 2);
    EXPECT_EQ(record.limitViolation, 1);
    EXPECT_EQ(record.missing, 1);
    EXPECT_EQ(record.quality, 0x1u | kNotJudged);
    aggregator.addArray(record, at(0), nullptr, limits, 3, at(kFirstSecond + 30), 0);
    aggregator.addArray(record, at(0), values, limits, -3, at(kFirstSecond + 30), 0);
    EXPECT_EQ(record.utc.tv_sec, kFirstSecond + 20);
}

TEST(StatisticAggregatorTest, TheStatisticOfTheRangeIsWrittenToTheTrace)
{
    std::vector<std::string> lines;
    setLoggerMessageObserverForTesting([&lines](const std::string& text, LoggerMessageType) {
        if (text.rfind("Statistic: ", 0) == 0)
            lines.push_back(text);
    });
    StatisticAggregator aggregator;
    aggregator.clearAggregated();
    aggregator.setRecordInterval(at(600));
    aggregator.setValueInterval(at(10));
    DataStatisticBase<long> record = statisticRecord(kFirstSecond, kFirstSecond + 600, 50, 6, 4);
    aggregator.add(record);
    aggregator.getDataStatistic(at(kFirstSecond - 100), at(kFirstSecond + 600));
    setLoggerMessageObserverForTesting(nullptr);
    const std::vector<std::string> expected = {
        "Statistic: BetweenLimits:       50", "Statistic: LimitViolation:      4",
        "Statistic: MissingDataElements: 6", "Statistic: Outside time range: 10"};
    EXPECT_EQ(lines, expected);
}

// =================================================================================================
// The getters on a store.

class StatisticGetterTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mLogCaptured);
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        setReadPauseObserverForTesting(
            [this](unsigned long milliseconds) { mPauses.push_back(milliseconds); });
        setLoggerMessageObserverForTesting([this](const std::string& text, LoggerMessageType) {
            mTraces.push_back(QString::fromStdString(text));
        });
    }
    void TearDown() override
    {
        setReadPauseObserverForTesting(nullptr);
        setLoggerMessageObserverForTesting(nullptr);
        for (const auto& logger : mLoggers)
            logger->stopLogger();
    }

    // A started CYCLIC logger of items of T, interval seconds apart in the catalogue.
    template <typename T>
    TestLogger* startLogger(const QString& id, LoggerDataType dataType, double interval = 1.0,
                            float scale = 0.0f)
    {
        mLoggers.push_back(
            std::make_unique<TestLogger>(id, static_cast<int>(sizeof(T)), LoggerType::CYCLIC, dataType));
        TestLogger* logger = mLoggers.back().get();
        logger->setInterval(interval);
        logger->setHeaderParameters(scale, 0.25f);
        EXPECT_TRUE(logger->startLogger()) << LoggerDb::getInstance().getLastError().toStdString();
        logger->setHeaderParameters(scale, 0.25f);
        return logger;
    }

    // The items as one block through the writer, and the catalogue brought up to date.
    template <typename T> void write(TestLogger* logger, const std::vector<T>& items)
    {
        ASSERT_NE(logger->writeDatas(reinterpret_cast<const char*>(items.data()),
                                     static_cast<int>(items.size()), true, true),
                  nullptr);
        ASSERT_TRUE(logger->updateAccess());
    }

    // The pauses of lookups that failed; a read that succeeds pauses too, for less.
    long failedLookupPauses() const { return std::count(mPauses.begin(), mPauses.end(), 200ul); }

    bool traced(const QString& start) const
    {
        for (const QString& line : mTraces)
            if (line.startsWith(start))
                return true;
        return false;
    }

    // Before any member that logs: the store configures logging once per process.
    const bool mLogCaptured = LogCapture::install();
    WriterStore mStore;
    LoggerApi mApi;
    std::vector<std::unique_ptr<TestLogger>> mLoggers;
    std::vector<unsigned long> mPauses;
    std::vector<QString> mTraces;
};

DataMean meanItem(int32_t second, float mean, uint32_t quality = 0)
{
    DataMean item{};
    item.utc = stamp(second);
    item.quality = quality;
    item.min = -1000.0f; // never judged
    item.mean = mean;
    item.max = 1000.0f;
    return item;
}

TEST_F(StatisticGetterTest, TheMeanStatisticJudgesEachStoredMeanAndBooksGapsAndTheSilenceToTheEnd)
{
    const QString id = QStringLiteral("aggr.mean_1s.rms.u1");
    TestLogger* logger = startLogger<DataMean>(id, LoggerDataType::MEAN);
    ASSERT_FALSE(HasFailure());
    const int32_t t = kFirstSecond;
    // Limits 50 % and 200 % of 100: 50 and 200, both exact.
    write<DataMean>(logger, {meanItem(t, 5000.0f, kNotJudged), // the first is passed over
                             meanItem(t + 1, 150.0f), meanItem(t + 2, 200.0f), meanItem(t + 3, 50.0f),
                             meanItem(t + 4, 201.0f), meanItem(t + 8, 100.0f), // 3 missing before
                             meanItem(t + 9, 100.0f, kNotJudged), meanItem(t + 10, kNaN)});
    const std::shared_ptr<DataStatisticBase<float>> result =
        mApi.getMeanStatistic(id, at(t - 10), at(t + 20), 100.0f, 50.0f, 200.0f);
    ASSERT_NE(result, nullptr) << LoggerApiInterface::getLastError().toStdString();
    // Between: 150, 200, 50, 100; violating: 201, NaN; missing: 3 in the gap, 1 not judged, 9 up
    // to the end; expected: 7 values and 12 missing.
    EXPECT_SAME_FLOAT(result->betweenLimits, share(4, 19));
    EXPECT_SAME_FLOAT(result->limitViolation, share(2, 19));
    EXPECT_SAME_FLOAT(result->missing, share(13, 19));
    EXPECT_EQ(result->utcStart.tv_sec, t - 10);
    EXPECT_EQ(result->utc.tv_sec, t + 10);
    EXPECT_EQ(result->quality, kNotJudged);
    EXPECT_EQ(failedLookupPauses(), 0);
}

TEST_F(StatisticGetterTest, TheVtqAndTheFourteenValueStatisticsJudgeTheirValue)
{
    const QString vtqId = QStringLiteral("rms.freq.vtq");
    const QString arrayId = QStringLiteral("aggr.mean_10min.array14");
    TestLogger* vtq = startLogger<DataXtq<float>>(vtqId, LoggerDataType::VTQ);
    TestLogger* array = startLogger<DataMeanMinMaxArray<float, 14>>(arrayId, LoggerDataType::MEAN_14, 600.0);
    ASSERT_FALSE(HasFailure());
    const int32_t t = kFirstSecond;
    std::vector<DataXtq<float>> values;
    for (int index = 0; index < 10; ++index) {
        DataXtq<float> item{};
        item.utc = stamp(t + index);
        item.value = index < 7 ? 50.0f : 60.0f;
        values.push_back(item);
    }
    write(vtq, values);
    std::vector<DataMeanMinMaxArray<float, 14>> arrays;
    for (int index = 0; index < 4; ++index) {
        DataMeanMinMaxArray<float, 14> item{};
        item.utc = stamp(t + 600 * (index + 1));
        for (float& value : item.values)
            value = 1e6f;
        item.values[41] = index == 0 ? 1e6f : 150.0f; // the last word: maximum of quantity 14
        arrays.push_back(item);
    }
    write(array, arrays);

    const std::shared_ptr<DataStatisticBase<float>> frequency =
        mApi.getVtqStatistic(vtqId, at(t), at(t + 9), 100.0f, 50.0f, 50.0f);
    ASSERT_NE(frequency, nullptr);
    EXPECT_SAME_FLOAT(frequency->betweenLimits, share(7, 10));
    EXPECT_SAME_FLOAT(frequency->limitViolation, share(3, 10));
    EXPECT_EQ(frequency->missing, 0.0f);

    const std::shared_ptr<DataStatisticBase<float>> last =
        mApi.getMeanArray14Statistic(arrayId, 41, at(t), at(t + 2400), 100.0f, 100.0f, 200.0f);
    ASSERT_NE(last, nullptr);
    EXPECT_SAME_FLOAT(last->betweenLimits, share(3, 4));
    EXPECT_SAME_FLOAT(last->limitViolation, share(1, 4));
    const std::shared_ptr<DataStatisticBase<float>> first =
        mApi.getMeanArray14Statistic(arrayId, 0, at(t), at(t + 2400), 100.0f, 100.0f, 200.0f);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->betweenLimits, 0.0f);
    EXPECT_EQ(first->limitViolation, 100.0f);

    // Word 42 lies beyond the record: null at once, and the last error says which words there are.
    EXPECT_EQ(mApi.getMeanArray14Statistic(arrayId, 42, at(t), at(t + 2400), 100.0f, 100.0f, 200.0f),
              nullptr);
    const QString text = LoggerApiInterface::getLastError();
    EXPECT_TRUE(text.contains(QLatin1String("0 to 41"))) << text.toStdString();
    EXPECT_EQ(failedLookupPauses(), 0);
}

TEST_F(StatisticGetterTest, AnUnknownIdPausesAndAnswersNullAndARangeWithoutValuesIsAllMissing)
{
    const QString id = QStringLiteral("aggr.mean_1s.rms.u2");
    TestLogger* logger = startLogger<DataMean>(id, LoggerDataType::MEAN);
    ASSERT_FALSE(HasFailure());
    write<DataMean>(logger, {meanItem(kFirstSecond, 1.0f), meanItem(kFirstSecond + 1, 1.0f)});

    EXPECT_EQ(mApi.getMeanStatistic(QStringLiteral("no.such.mean"), at(kFirstSecond), at(kFirstSecond + 5),
                                    1.0f, 50.0f, 150.0f),
              nullptr);
    EXPECT_EQ(failedLookupPauses(), 1);
    EXPECT_TRUE(LoggerApiInterface::getLastError().contains(QLatin1String("'no.such.mean'")));
    EXPECT_EQ(mApi.getVtqStatistic(id, at(kFirstSecond), at(kFirstSecond + 5), 1.0f, 50.0f, 150.0f), nullptr);
    EXPECT_EQ(failedLookupPauses(), 2);

    // Start after end: nothing is read, nothing judged, and the last error says the range is reversed.
    const std::shared_ptr<DataStatisticBase<float>> reversed =
        mApi.getMeanStatistic(id, at(kFirstSecond + 5), at(kFirstSecond), 1.0f, 50.0f, 150.0f);
    ASSERT_NE(reversed, nullptr);
    EXPECT_EQ(reversed->betweenLimits, 0.0f);
    EXPECT_EQ(reversed->limitViolation, 0.0f);
    EXPECT_EQ(reversed->missing, 100.0f);

    // A range without values: every value it should have held is missing.
    const std::shared_ptr<DataStatisticBase<float>> empty =
        mApi.getMeanStatistic(id, at(kFirstSecond - 3600), at(kFirstSecond - 60), 1.0f, 50.0f, 150.0f);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(empty->betweenLimits, 0.0f);
    EXPECT_EQ(empty->limitViolation, 0.0f);
    EXPECT_EQ(empty->missing, 100.0f);
    EXPECT_EQ(empty->utcStart.tv_sec, kFirstSecond - 3600);
}

// Harmonics of 51 orders with the value of order 3, 5 and 7 given.
DataHarmonics harmonicsItem(int32_t second, float third, float fifth, float seventh, uint32_t quality = 0)
{
    DataHarmonics item{};
    item.utc = stamp(second);
    item.quality = quality;
    for (float& value : item.values)
        value = 1e9f; // never judged
    item.values[3] = third;
    item.values[5] = fifth;
    item.values[7] = seventh;
    return item;
}

TEST_F(StatisticGetterTest, TheHarmonicsStatisticJudgesEachChosenOrderOfTheStoredAmplitudes)
{
    const QString id = QStringLiteral("aggr.mean_10min.harm.u1");
    TestLogger* logger = startLogger<DataHarmonics>(id, LoggerDataType::HARMONICS, 600.0);
    ASSERT_FALSE(HasFailure());
    const int32_t t = kFirstSecond;
    write<DataHarmonics>(logger, {harmonicsItem(t, 5.0f, 7.0f, 1.0f),
                                  harmonicsItem(t + 600, 9.0f, 9.0f, 9.0f, kNotJudged),
                                  harmonicsItem(t + 1800, 1.0f, 1.0f, 1.0f)}); // one record lost before
    int orders[3] = {3, 5, 7};
    float limits[3] = {5.0f, 6.0f, 5.0f};
    const std::shared_ptr<DataStatisticBase<float>> result =
        mApi.getHarmonicsStatistic(id, at(t - 600), at(t + 2400), orders, limits, 3, false);
    ASSERT_NE(result, nullptr) << LoggerApiInterface::getLastError().toStdString();
    // 3 orders a record: 2 between and 1 violating, 1 missing for the record not judged, 3
    // missing for the lost record, 3 between. The first record starts the period.
    EXPECT_SAME_FLOAT(result->betweenLimits, share(5, 12));
    EXPECT_SAME_FLOAT(result->limitViolation, share(1, 12));
    EXPECT_SAME_FLOAT(result->missing, share(4, 12));
    EXPECT_EQ(result->utcStart.tv_sec, t);
    EXPECT_EQ(result->utc.tv_sec, t + 1800);
    EXPECT_TRUE(
        traced(QStringLiteral("getHarmonicsStatistic(") + id + QStringLiteral("), Complex=False  Start: ")));
    EXPECT_TRUE(traced(QStringLiteral("getHarmonicsStatistic(") + id + QStringLiteral("): numValues = 3")));

    // A range without records is null, and so is an unknown id, after the pause.
    EXPECT_EQ(mApi.getHarmonicsStatistic(id, at(t - 86400), at(t - 3600), orders, limits, 3, false), nullptr);
    EXPECT_TRUE(traced(QStringLiteral("getHarmonicsStatistic(") + id + QStringLiteral("): numValues = 0")));
    EXPECT_EQ(failedLookupPauses(), 0);
    EXPECT_EQ(
        mApi.getHarmonicsStatistic(QStringLiteral("no.harm"), at(t), at(t + 2400), orders, limits, 3, false),
        nullptr);
    EXPECT_TRUE(traced(QStringLiteral("getHarmonicsStatistic(no.harm) measuredTypeId < 0")));
    EXPECT_EQ(failedLookupPauses(), 1);
}

TEST_F(StatisticGetterTest, OrdersOutsideTheRecordOrWithoutArraysAreRefusedBeforeAnyRead)
{
    const QString id = QStringLiteral("aggr.mean_10min.harm.u2");
    TestLogger* logger = startLogger<DataHarmonics>(id, LoggerDataType::HARMONICS, 600.0);
    ASSERT_FALSE(HasFailure());
    write<DataHarmonics>(logger, {harmonicsItem(kFirstSecond, 1.0f, 1.0f, 1.0f)});
    float limits[2] = {5.0f, 5.0f};
    int outside[2] = {3, 51};
    int negative[2] = {-1, 3};
    const timespec start = at(kFirstSecond);
    const timespec end = at(kFirstSecond + 600);
    EXPECT_EQ(mApi.getHarmonicsStatistic(id, start, end, outside, limits, 2, false), nullptr);
    EXPECT_TRUE(LoggerApiInterface::getLastError().contains(QLatin1String("order 51")))
        << LoggerApiInterface::getLastError().toStdString();
    EXPECT_EQ(mApi.getHarmonicsStatistic(id, start, end, negative, limits, 2, true), nullptr);
    EXPECT_TRUE(LoggerApiInterface::getLastError().contains(QLatin1String("order -1")));
    EXPECT_EQ(mApi.getHarmonicsStatistic(id, start, end, nullptr, limits, 2, false), nullptr);
    EXPECT_EQ(mApi.getHarmonicsStatistic(id, start, end, outside, nullptr, 1, false), nullptr);
    EXPECT_EQ(mApi.getHarmonicsStatistic(id, start, end, outside, limits, -1, false), nullptr);
    EXPECT_FALSE(traced(QStringLiteral("getHarmonicsStatistic(")));
    EXPECT_EQ(failedLookupPauses(), 0);
    // No orders at all: a statistic of nothing but the period.
    const std::shared_ptr<DataStatisticBase<float>> none =
        mApi.getHarmonicsStatistic(id, start, end, nullptr, nullptr, 0, false);
    ASSERT_NE(none, nullptr);
    EXPECT_EQ(none->betweenLimits, 0.0f);
    EXPECT_EQ(none->limitViolation, 0.0f);
}

// A complex item whose voltage channel u1 has a fundamental of 100 and order 3 of third, order 5
// of fifth: in per cent of the fundamental, the same numbers.
DataComplexArray complexItem(int32_t second, float third, float fifth)
{
    DataComplexArray item{};
    item.utc = stamp(second);
    item.values[1] = std::complex<float>(60.0f, 80.0f);
    item.values[3] = std::complex<float>(third, 0.0f);
    item.values[5] = std::complex<float>(0.0f, fifth);
    return item;
}

TEST_F(StatisticGetterTest, TheHarmonicsStatisticFromComplexValuesJudgesTheAmplitudesOfTheChannel)
{
    const QString complexId = QStringLiteral("aggr.mean_10min.harm_complex.values_0");
    const QString id = QStringLiteral("aggr.mean_10min.harm_10min.u1");
    int orders[2] = {3, 5};
    float limits[2] = {5.0f, 6.0f};
    const int32_t t = kFirstSecond;
    // Without the complex logger: null at once, without the pause of the other way.
    EXPECT_EQ(mApi.getHarmonicsStatistic(id, at(t), at(t + 3000), orders, limits, 2, true), nullptr);
    EXPECT_TRUE(
        traced(QStringLiteral("getHarmonicsStatistic(") + id + QStringLiteral(") measuredTypeId < 0")));
    EXPECT_EQ(failedLookupPauses(), 0);

    TestLogger* logger = startLogger<DataComplexArray>(complexId, LoggerDataType::COMPLEX, 600.0, 40.0f);
    ASSERT_FALSE(HasFailure());
    write<DataComplexArray>(logger, {complexItem(t + 600, 2.0f, 10.0f), complexItem(t + 1200, 4.0f, 3.0f),
                                     complexItem(t + 1800, 6.0f, 6.0f)});
    const std::shared_ptr<DataStatisticBase<float>> result =
        mApi.getHarmonicsStatistic(id, at(t), at(t + 2400), orders, limits, 2, true);
    ASSERT_NE(result, nullptr) << LoggerApiInterface::getLastError().toStdString();
    // 2 %, 10 %; 4 %, 3 %; 6 %, 6 %: between 2, 4, 3 and 6, violating 10 and 6 (above 5).
    EXPECT_SAME_FLOAT(result->betweenLimits, share(4, 6));
    EXPECT_SAME_FLOAT(result->limitViolation, share(2, 6));
    EXPECT_EQ(result->missing, 0.0f);
    EXPECT_TRUE(
        traced(QStringLiteral("getHarmonicsStatistic(") + id + QStringLiteral(") from Complex values...")));
    EXPECT_TRUE(
        traced(QStringLiteral("getHarmonicsStatistic(") + id + QStringLiteral("), Complex=True  Start: ")));
}

// A record of ten minutes of 600 expected values.
template <int N>
DataHistogram<N> histogramRecord(int32_t start, float lower, float upper,
                                 const std::vector<std::pair<int, float>>& classes)
{
    DataHistogram<N> record{};
    record.utcStart = stamp(start);
    record.utc = stamp(start + 599);
    record.lowerLimit = lower;
    record.upperLimit = upper;
    record.maxValues = 600;
    record.totalValues = 600;
    for (const auto& entry : classes)
        record.percent[entry.first] = entry.second;
    return record;
}

TEST_F(StatisticGetterTest, FrequencyAndMainsSignallingStatisticsJudgeTheMergedHistogram)
{
    const QString frequencyId = QStringLiteral("histogramloggerfrequency");
    const QString signallingId = QStringLiteral("histogramloggermainssign");
    TestLogger* frequency = startLogger<DataHistogram<2650>>(frequencyId, LoggerDataType::HISTOGRAM);
    TestLogger* signalling = startLogger<DataHistogram<200>>(signallingId, LoggerDataType::HISTOGRAM);
    ASSERT_FALSE(HasFailure());
    const int32_t t = kFirstSecond;
    write<DataHistogram<2650>>(
        frequency, {histogramRecord<2650>(t, 45.0f, 55.0f, {{1000, 20.0f}, {1325, 50.0f}, {1700, 30.0f}})});
    write<DataHistogram<200>>(signalling,
                              {histogramRecord<200>(t, 0.0f, 10.0f, {{0, 85.0f}, {11, 10.0f}, {199, 5.0f}})});

    // 49.5 to 50.5 Hz: classes 1193 to 1457.
    const std::shared_ptr<DataStatisticBase<float>> grid =
        mApi.getFrequencyStatistic(frequencyId, at(t), at(t + 599), 50.0f, 99.0f, 101.0f);
    ASSERT_NE(grid, nullptr) << LoggerApiInterface::getLastError().toStdString();
    EXPECT_SAME_FLOAT(grid->betweenLimits, share(300, 600));
    EXPECT_SAME_FLOAT(grid->limitViolation, share(300, 600));
    EXPECT_EQ(grid->missing, 0.0f);
    EXPECT_EQ(grid->utcStart.tv_sec, t);
    EXPECT_EQ(grid->utc.tv_sec, t + 599);
    EXPECT_TRUE(traced(QStringLiteral("getStatistic()...")));
    EXPECT_TRUE(traced(QStringLiteral("getStatistic Hist,    Start: ")));
    EXPECT_TRUE(traced(QStringLiteral("getStatistic Result,  Start: ")));

    // 0 to 100 % of 1 % on the frequency scale: the last class 199 takes all above, and all is
    // between.
    const std::shared_ptr<DataStatisticBase<float>> all =
        mApi.getMainsSignallingStatistic(signallingId, at(t), at(t + 599), 1.0f, 0.0f, 100.0f);
    ASSERT_NE(all, nullptr);
    EXPECT_EQ(all->betweenLimits, 100.0f);
    EXPECT_EQ(all->limitViolation, 0.0f);
    // 4 % of 1 % on both sides: the single class 11.
    const std::shared_ptr<DataStatisticBase<float>> single =
        mApi.getMainsSignallingStatistic(signallingId, at(t), at(t + 599), 1.0f, 4.0f, 4.0f);
    ASSERT_NE(single, nullptr);
    EXPECT_SAME_FLOAT(single->betweenLimits, share(60, 600));
    EXPECT_SAME_FLOAT(single->limitViolation, share(540, 600));

    // An hour around the record: the merge books the time without records as missing.
    const std::shared_ptr<DataStatisticBase<float>> hour =
        mApi.getFrequencyStatistic(frequencyId, at(t - 1800), at(t + 1799), 50.0f, 99.0f, 101.0f);
    ASSERT_NE(hour, nullptr);
    EXPECT_GT(hour->missing, 60.0f);
    EXPECT_LT(hour->betweenLimits, 20.0f);

    // An unknown id: null at once, with the id in the last error.
    EXPECT_EQ(
        mApi.getFrequencyStatistic(QStringLiteral("no.histogram"), at(t), at(t + 599), 50.0f, 99.0f, 101.0f),
        nullptr);
    EXPECT_TRUE(LoggerApiInterface::getLastError().contains(QLatin1String("'no.histogram'")));
    EXPECT_EQ(mApi.getMainsSignallingStatistic(QStringLiteral("no.histogram"), at(t), at(t + 599), 1.0f, 0.0f,
                                               3.0f),
              nullptr);
    EXPECT_EQ(failedLookupPauses(), 0);
}

TEST_F(StatisticGetterTest, StoredStatisticRecordsReadBackAndAddUpOverTheRange)
{
    const QString id = QStringLiteral("statisticloggerfrequency");
    TestLogger* logger = startLogger<DataStatisticBase<long>>(id, LoggerDataType::STATISTIC, 600.0);
    ASSERT_FALSE(HasFailure());
    const int32_t t = kFirstSecond;
    const std::vector<DataStatisticBase<long>> records = {
        statisticRecord(t, t + 600, 50, 5, 5), statisticRecord(t + 600, t + 1200, 60, 0, 0),
        statisticRecord(t + 2400, t + 3000, 55, 0, 5), // two records lost before
        statisticRecord(t + 4200, t + 4800, 60, 0, 0, kClockChanged)};
    write(logger, records);

    const PtrLoggerResultStatistic stored = mApi.getStatisticValues(id, at(t - 600), at(t + 5400));
    ASSERT_NE(stored, nullptr) << LoggerApiInterface::getLastError().toStdString();
    ASSERT_EQ(stored->mNumItems, 4);
    EXPECT_EQ(stored->mInterval, 600.0);
    for (int index = 0; index < 4; ++index)
        EXPECT_EQ(
            std::memcmp(&stored->mItems[index], &records[static_cast<size_t>(index)], sizeof(records[0])), 0);
    EXPECT_TRUE(traced(QStringLiteral("getStatisticValues()...")));
    EXPECT_TRUE(traced(QStringLiteral("...getStatistic()")));

    // Values every 10 s: 60 a record, 120 in the two lost records, 60 before the first record's
    // start and 60 after the last one's end.
    const std::shared_ptr<DataStatisticBase<float>> result =
        mApi.calculateStatistic(id, at(t - 600), at(t + 5400), 10);
    ASSERT_NE(result, nullptr);
    EXPECT_SAME_FLOAT(result->betweenLimits, static_cast<float>(225.0 / 480.0 * 100.0));
    EXPECT_SAME_FLOAT(result->limitViolation, static_cast<float>(10.0 / 480.0 * 100.0));
    EXPECT_SAME_FLOAT(result->missing, static_cast<float>(245.0 / 480.0 * 100.0));
    EXPECT_EQ(result->utcStart.tv_sec, t);
    EXPECT_EQ(result->utc.tv_sec, t + 4800);
    EXPECT_TRUE(traced(QStringLiteral("Statistic: Outside time range: 120")));
}

TEST_F(StatisticGetterTest, CalculateStatisticOfAnEmptyRangeOrUnknownIdReturnsZerosNotNull)
{
    const QString id = QStringLiteral("statisticloggermainssign");
    TestLogger* logger = startLogger<DataStatisticBase<long>>(id, LoggerDataType::STATISTIC, 600.0);
    ASSERT_FALSE(HasFailure());
    write(logger,
          std::vector<DataStatisticBase<long>>{statisticRecord(kFirstSecond, kFirstSecond + 600, 50, 5, 5)});
    const DataStatisticBase<float> zero{};
    const std::shared_ptr<DataStatisticBase<float>> empty =
        mApi.calculateStatistic(id, at(kFirstSecond - 86400), at(kFirstSecond - 3600), 10);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(std::memcmp(empty.get(), &zero, sizeof(zero)), 0);
    const PtrLoggerResultStatistic none =
        mApi.getStatisticValues(id, at(kFirstSecond - 86400), at(kFirstSecond - 3600));
    ASSERT_NE(none, nullptr);
    EXPECT_EQ(none->mNumItems, 0);
    EXPECT_EQ(failedLookupPauses(), 0);

    const std::shared_ptr<DataStatisticBase<float>> unknown =
        mApi.calculateStatistic(QStringLiteral("no.statistic"), at(kFirstSecond), at(kFirstSecond + 600), 10);
    ASSERT_NE(unknown, nullptr);
    EXPECT_EQ(std::memcmp(unknown.get(), &zero, sizeof(zero)), 0);
    EXPECT_EQ(failedLookupPauses(), 1);
    EXPECT_TRUE(LoggerApiInterface::getLastError().contains(QLatin1String("'no.statistic'")));
    EXPECT_EQ(
        mApi.getStatisticValues(QStringLiteral("no.statistic"), at(kFirstSecond), at(kFirstSecond + 600)),
        nullptr);
}

TEST_F(StatisticGetterTest, ValueIntervalsOfZeroNegativeOrAboveADayBookNoMissingValuesFromTime)
{
    const QString id = QStringLiteral("statistic.intervals");
    TestLogger* logger = startLogger<DataStatisticBase<long>>(id, LoggerDataType::STATISTIC, 600.0);
    ASSERT_FALSE(HasFailure());
    write(logger, std::vector<DataStatisticBase<long>>{
                      statisticRecord(kFirstSecond, kFirstSecond + 600, 30, 0, 10),
                      statisticRecord(kFirstSecond + 6000, kFirstSecond + 6600, 30, 0, 10)});
    for (int interval : {0, -10, 86400 * 2, INT_MIN, INT_MAX}) {
        const std::shared_ptr<DataStatisticBase<float>> result =
            mApi.calculateStatistic(id, at(kFirstSecond - 3600), at(kFirstSecond + 7200), interval);
        ASSERT_NE(result, nullptr) << interval;
        EXPECT_EQ(result->betweenLimits, 75.0f) << interval;
        EXPECT_EQ(result->limitViolation, 25.0f) << interval;
        EXPECT_EQ(result->missing, 0.0f) << interval;
    }
}

TEST(StatisticGetterWithoutStoreTest, EveryGetterAnswersNullWhileTheStoreIsNotValidAndTheSumZeros)
{
    LoggerApi api;
    const QString id = QStringLiteral("statisticloggerfrequency");
    const timespec start = at(kFirstSecond);
    const timespec end = at(kFirstSecond + 600);
    int orders[1] = {3};
    float limits[1] = {5.0f};
    EXPECT_EQ(api.getStatisticValues(id, start, end), nullptr);
    EXPECT_EQ(api.getFrequencyStatistic(id, start, end, 50.0f, 99.0f, 101.0f), nullptr);
    EXPECT_EQ(api.getMainsSignallingStatistic(id, start, end, 1.0f, 0.0f, 3.0f), nullptr);
    EXPECT_EQ(api.getMeanStatistic(id, start, end, 230.0f, 90.0f, 110.0f), nullptr);
    EXPECT_EQ(api.getVtqStatistic(id, start, end, 230.0f, 90.0f, 110.0f), nullptr);
    EXPECT_EQ(api.getMeanArray14Statistic(id, 3, start, end, 230.0f, 90.0f, 110.0f), nullptr);
    EXPECT_EQ(api.getHarmonicsStatistic(id, start, end, orders, limits, 1, false), nullptr);
    const std::shared_ptr<DataStatisticBase<float>> sum = api.calculateStatistic(id, start, end, 10);
    ASSERT_NE(sum, nullptr);
    EXPECT_EQ(sum->betweenLimits, 0.0f);
    EXPECT_EQ(sum->missing, 0.0f);
}

} // namespace

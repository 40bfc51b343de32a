// Histograms: qzlogger::HistogramCalculator as the host fills a record with it, the merge of the
// records of a range (LoggerApiBase::sumHistograms), both at their edges and against references
// written here from the rules alone over thousands of random inputs, and the four getters of
// LoggerApi end to end on a real catalogue of a simulated card (WriterStore), the records written
// through the writer's path (a CYCLIC/HISTOGRAM logger's writeDatas). Each test runs in a process
// of its own.

#include "HistogramCalculator.h"
#include "HistogramReference.h"
#include "LogCapture.h"
#include "LoggerApi.h"
#include "LoggerApiBase.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerResult.h"
#include "LoggerState.h"
#include "LoggerTestSeams.h"
#include "TestLogger.h"
#include "WriterStore.h"

#include <gtest/gtest.h>

#include <QString>
#include <QStringList>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using qzlogger::HistogramCalculator;

constexpr int32_t kFirstSecond = 1763802000; // 2025-11-22, mid-day in any zone

timespec at(int64_t seconds, int64_t nanoseconds = 0)
{
    timespec time{};
    time.tv_sec = static_cast<time_t>(seconds);
    time.tv_nsec = static_cast<long>(nanoseconds);
    return time;
}

DataTimespec stamp(int32_t seconds, int32_t nanoseconds = 0)
{
    return DataTimespec{seconds, nanoseconds};
}

template <int N> bool isZeroRecord(const DataHistogram<N>& record)
{
    const DataHistogram<N> zero{};
    return std::memcmp(&record, &zero, sizeof(record)) == 0;
}

template <int N>
std::shared_ptr<LoggerResult<DataHistogram<N>>> recordsOf(const std::vector<DataHistogram<N>>& list)
{
    auto result = LoggerResult<DataHistogram<N>>::create(static_cast<int>(list.size()));
    for (size_t index = 0; index < list.size(); ++index)
        result->mItems[index] = list[index];
    return result;
}

// A record of the period from start to end seconds with maxValues expected values and the per
// cent given for the first classes, the rest 0.
template <int N>
DataHistogram<N> periodRecord(int32_t start, int32_t end, int32_t maxValues,
                              const std::vector<float>& percent, int32_t missing = 0)
{
    DataHistogram<N> record{};
    record.utcStart = stamp(start);
    record.utc = stamp(end);
    record.lowerLimit = 0.0f;
    record.upperLimit = 10.0f;
    record.maxValues = maxValues;
    record.missingValues = missing;
    record.totalValues = maxValues - missing;
    for (size_t index = 0; index < percent.size() && index < static_cast<size_t>(N); ++index)
        record.percent[index] = percent[index];
    return record;
}

std::string bitsOf(float value)
{
    uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof(bits));
    char text[64];
    std::snprintf(text, sizeof(text), "%.9g (0x%08x)", static_cast<double>(value), bits);
    return text;
}

bool sameBits(float a, float b)
{
    return std::memcmp(&a, &b, sizeof(a)) == 0;
}

// Within a relative tolerance, for the steps whose precision is not fixed.
bool near(float actual, double expected, double relative)
{
    if (std::isnan(actual) || std::isnan(expected))
        return std::isnan(actual) && std::isnan(expected);
    return std::fabs(static_cast<double>(actual) - expected) <= relative * std::fabs(expected) + 1e-30;
}

// The seed of a property test: QZLOGGER_TEST_SEED where it is set, so that a failure can be
// repeated, else a fresh one; printed with every failure.
unsigned int propertySeed()
{
    const char* given = std::getenv("QZLOGGER_TEST_SEED");
    if (given != nullptr && *given != '\0')
        return static_cast<unsigned int>(std::strtoul(given, nullptr, 10));
    return std::random_device{}();
}

// The references of the class, the missing values and the merge, the rules written once more,
// are shared with the end-to-end test of the computed values (HistogramReference.h).

// The engine's merge without a store: sumHistograms needs none.
class HistogramMergeTest : public ::testing::Test {
protected:
    template <int N>
    std::shared_ptr<DataHistogram<N>> merge(const std::vector<DataHistogram<N>>& records, timespec start,
                                            timespec end, double interval, bool cumulative = false)
    {
        return mEngine.sumHistograms<N>(*recordsOf<N>(records), start, end, interval, cumulative);
    }

    LoggerApiBase mEngine;
};

// =================================================================================================
// The calculator at its edges.

TEST(HistogramCalculatorTest, AValueBelowTheLowerLimitFallsIntoTheFirstClassAndOneAboveTheUpperIntoTheLast)
{
    int classes[200];
    HistogramCalculator calculator(classes, 200);
    calculator.setParameters(45.0f, 55.0f, at(1));
    calculator.add(-1000.0f, at(kFirstSecond), false);
    calculator.add(44.999f, at(kFirstSecond + 1), false);
    calculator.add(55.001f, at(kFirstSecond + 2), false);
    calculator.add(1e30f, at(kFirstSecond + 3), false);
    calculator.add(std::numeric_limits<float>::infinity(), at(kFirstSecond + 4), false);
    calculator.add(-std::numeric_limits<float>::infinity(), at(kFirstSecond + 5), false);
    EXPECT_EQ(classes[0], 3);
    EXPECT_EQ(classes[199], 3);
    EXPECT_EQ(calculator.getTotalValues(), 6);
    EXPECT_EQ(calculator.calcTotalValues(), 6);
}

TEST(HistogramCalculatorTest, TheClassWidthDividesByNMinusOneSoThatTheUpperLimitLandsInTheLastClass)
{
    // Limits for which the single-precision width is a little too wide: the plain quotient of the
    // upper limit comes out just below N - 1.
    struct Case {
        float lower;
        float upper;
        int count;
    };
    for (const Case& c : {Case{0.0f, 10.0f, 200}, Case{45.0f, 55.0f, 200}, Case{49.5f, 50.5f, 2650},
                          Case{42.5f, 57.5f, 2650}, Case{45.0f, 55.0f, 2650}, Case{0.0f, 1.0f, 2}}) {
        std::vector<int> classes(static_cast<size_t>(c.count), 0);
        HistogramCalculator calculator(classes.data(), c.count);
        calculator.setParameters(c.lower, c.upper, at(1));
        EXPECT_TRUE(sameBits(calculator.getInterval(), (c.upper - c.lower) / static_cast<float>(c.count - 1)))
            << bitsOf(calculator.getInterval());
        EXPECT_EQ(calculator.getLowerLimit(), c.lower);
        EXPECT_EQ(calculator.getUpperLimit(), c.upper);
        calculator.add(c.upper, at(kFirstSecond), false);
        calculator.add(c.lower, at(kFirstSecond + 1), false);
        EXPECT_EQ(classes[static_cast<size_t>(c.count - 1)], 1)
            << c.lower << ".." << c.upper << " in " << c.count;
        EXPECT_EQ(classes[0], 1) << c.lower << ".." << c.upper << " in " << c.count;
        // One width below the upper limit is the class before the last.
        calculator.add(c.upper - calculator.getInterval() * 0.5f, at(kFirstSecond + 2), false);
        EXPECT_EQ(classes[static_cast<size_t>(c.count - 2)], c.count == 2 ? 2 : 1);
    }
}

TEST(HistogramCalculatorTest, ASecondOfTimeWithASingleValueYieldsAMaxOfOne)
{
    int classes[200];
    HistogramCalculator calculator(classes, 200);
    calculator.setParameters(0.0f, 10.0f, at(1));
    EXPECT_EQ(calculator.calculateMaxDataElements(), 0);
    calculator.add(5.0f, at(kFirstSecond), false);
    EXPECT_EQ(calculator.calculateMaxDataElements(), 1);
    float percent[200];
    calculator.calculatePercent(percent);
    EXPECT_EQ(percent[99], 100.0f); // 5.0 / (10 / 199) = 99.5
    EXPECT_EQ(percent[0], 0.0f);
    // A second value one interval later: two expected.
    calculator.add(5.0f, at(kFirstSecond + 1), false);
    EXPECT_EQ(calculator.calculateMaxDataElements(), 2);
}

TEST(HistogramCalculatorTest, WithLenientFalseAGapThatDiffersByTwentyPerCentOrMoreIsNotAveraged)
{
    // Gaps of 1.2 s at an interval of 1 s: strictly they are not averaged, so 12 s hold 12
    // intervals; leniently they are, and 12 s hold 10 of 1.2 s.
    const auto intervalsIn12Seconds = [](int64_t gapNanoseconds, bool lenient) {
        HistogramCalculator calculator(nullptr, 200);
        calculator.setParameters(0.0f, 10.0f, at(1));
        for (int index = 0; index < 4; ++index) {
            const int64_t time = index * gapNanoseconds;
            calculator.add(1.0f, at(kFirstSecond + time / 1000000000, time % 1000000000), lenient);
        }
        return calculator.getIntervalCount(at(12));
    };
    EXPECT_EQ(intervalsIn12Seconds(1200000000, false), 12);
    EXPECT_EQ(intervalsIn12Seconds(800000000, false), 12);
    EXPECT_EQ(intervalsIn12Seconds(1200000000, true), 10);
    EXPECT_EQ(intervalsIn12Seconds(800000000, true), 15);
    // Just inside 20 %: averaged.
    EXPECT_EQ(intervalsIn12Seconds(1199999999, false), 10);
    EXPECT_EQ(intervalsIn12Seconds(800000001, false), 15);
    // Leniently up to, not including, twice the interval.
    EXPECT_EQ(intervalsIn12Seconds(2000000000, true), 12);
    EXPECT_EQ(intervalsIn12Seconds(1999999999, true), 6);
}

TEST(HistogramCalculatorTest, AClockChangeCostsNoMissingValues)
{
    int classes[200];
    HistogramCalculator calculator(classes, 200);
    calculator.setParameters(0.0f, 10.0f, at(1));
    for (int second = 0; second < 10; ++second)
        calculator.add(1.0f, at(kFirstSecond + second), false);
    // The clock jumps an hour ahead at the eleventh value; the host books the jump at its time
    // and counts it and nine more.
    calculator.setTimeChanged(at(kFirstSecond + 3609));
    EXPECT_EQ(calculator.getTimeChangedValues(), 3599);
    for (int second = 0; second < 10; ++second)
        calculator.add(1.0f, at(kFirstSecond + 3609 + second), false);
    EXPECT_EQ(calculator.calculateMaxDataElements(), 20);
    // A jump before the first value costs nothing.
    HistogramCalculator fresh(nullptr, 200);
    fresh.setParameters(0.0f, 10.0f, at(1));
    fresh.setTimeChanged(at(kFirstSecond));
    EXPECT_EQ(fresh.getTimeChangedValues(), 0);
}

TEST(HistogramCalculatorTest, ClearZeroesTheClassesAndTheCountsButKeepsTheLimits)
{
    int classes[3] = {7, 8, 9};
    HistogramCalculator calculator(classes, 3);
    EXPECT_EQ(classes[0] + classes[1] + classes[2], 0);
    calculator.setParameters(0.0f, 2.0f, at(0, 500000000));
    calculator.add(1.0f, at(kFirstSecond), true);
    calculator.add(1.0f, at(kFirstSecond, 500000000), true);
    calculator.setTotalValues(42);
    EXPECT_EQ(calculator.getTotalValues(), 42);
    calculator.clear();
    EXPECT_EQ(classes[1], 0);
    EXPECT_EQ(calculator.getTotalValues(), 0);
    EXPECT_EQ(calculator.calculateMaxDataElements(), 0);
    EXPECT_EQ(calculator.getUpperLimit(), 2.0f);
    EXPECT_EQ(calculator.getInterval(), 1.0f);
}

TEST(HistogramCalculatorTest, CumulativePercentIsARunningSumInDoublePrecisionAlsoInPlace)
{
    HistogramCalculator calculator(nullptr, 4);
    float percent[4] = {0.1f, 0.2f, 0.3f, 99.4f};
    float out[4];
    calculator.calculateCumulativePercent(percent, out);
    double running = 0.0;
    for (int index = 0; index < 4; ++index) {
        running += percent[index];
        EXPECT_TRUE(sameBits(out[index], static_cast<float>(running))) << bitsOf(out[index]);
    }
    calculator.calculateCumulativePercent(percent, percent);
    EXPECT_TRUE(sameBits(percent[3], out[3]));
    calculator.calculateCumulativePercent(nullptr, out); // nothing to sum
}

TEST(HistogramCalculatorTest, AGapNoLargerThanOneIntervalAddsNoMissingValues)
{
    HistogramCalculator calculator(nullptr, 200);
    calculator.setInterval(1.0);
    DataHistogram<200> record = periodRecord<200>(0, 600, 600, {40.0f, 60.0f});
    const DataHistogram<200> before = record;
    calculator.calculateMissingValues(at(1), &record);
    calculator.calculateMissingValues(at(0, 999999999), &record);
    calculator.calculateMissingValues(at(0), &record);
    calculator.calculateMissingValues(at(-5), &record);
    EXPECT_EQ(std::memcmp(&record, &before, sizeof(record)), 0);
    // Two intervals: one value between them is missing.
    calculator.calculateMissingValues(at(2), &record);
    EXPECT_EQ(record.maxValues, 601);
    EXPECT_EQ(record.missingValues, 1);
    EXPECT_FLOAT_EQ(record.percent[0], 40.0f * 600.0f / 601.0f);
    // Without an interval nothing is missing.
    HistogramCalculator noInterval(nullptr, 200);
    noInterval.calculateMissingValues(at(1000), &record);
    EXPECT_EQ(record.maxValues, 601);
}

TEST(HistogramCalculatorTest, BadParametersNeitherCrashNorDivideByZero)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    // Equal limits: below or at the limit is the first class, above it the last.
    {
        int classes[5] = {};
        HistogramCalculator calculator(classes, 5);
        calculator.setParameters(3.0f, 3.0f, at(0));
        for (float value : {1.0f, 3.0f, 4.0f, nan})
            calculator.add(value, at(kFirstSecond), false);
        EXPECT_EQ(classes[0], 3);
        EXPECT_EQ(classes[4], 1);
        EXPECT_EQ(calculator.getIntervalCount(at(10)), 0); // no interval to divide by
        EXPECT_EQ(calculator.calculateMaxDataElements(), 1);
    }
    // Lower above upper: a negative width; everything still lands in a class.
    {
        int classes[5] = {};
        HistogramCalculator calculator(classes, 5);
        calculator.setParameters(10.0f, 0.0f, at(1));
        for (float value : {-1.0f, 0.0f, 5.0f, 10.0f, 11.0f, nan})
            calculator.add(value, at(kFirstSecond), false);
        EXPECT_EQ(calculator.calcTotalValues(), 6);
        EXPECT_EQ(classes[0], 3); // 10, 11 and the value that is not a number
        EXPECT_EQ(classes[2], 1);
        EXPECT_EQ(classes[4], 2);
    }
    // A single class, no classes at all, no counters.
    {
        int one[1] = {};
        HistogramCalculator single(one, 1);
        single.setParameters(0.0f, 10.0f, at(1));
        single.add(5.0f, at(kFirstSecond), false);
        single.add(50.0f, at(kFirstSecond + 1), false);
        EXPECT_EQ(one[0], 2);
        HistogramCalculator none(nullptr, 0);
        none.setParameters(0.0f, 10.0f, at(1));
        none.add(5.0f, at(kFirstSecond), false);
        EXPECT_EQ(none.getTotalValues(), 1);
        EXPECT_EQ(none.calcTotalValues(), 0);
        float out[1] = {7.0f};
        none.calculatePercent(out);
        EXPECT_EQ(out[0], 7.0f);
    }
    // No value yet: no per cent.
    {
        int classes[3] = {};
        HistogramCalculator calculator(classes, 3);
        float out[3] = {1.0f, 1.0f, 1.0f};
        calculator.calculatePercent(out);
        EXPECT_EQ(out[0] + out[1] + out[2], 0.0f);
    }
    // Spans and intervals far beyond what a count holds.
    {
        HistogramCalculator calculator(nullptr, 200);
        calculator.setInterval(1e-12);
        EXPECT_EQ(calculator.getIntervalCount(at(2000000000)), INT_MAX);
        EXPECT_EQ(calculator.getIntervalCount(at(-2000000000)), INT_MIN);
        calculator.setInterval(std::numeric_limits<double>::quiet_NaN());
        EXPECT_EQ(calculator.getIntervalCount(at(10)), 0);
        DataHistogram<200> record = periodRecord<200>(0, 600, INT32_MAX, {100.0f});
        calculator.setInterval(1e-9);
        calculator.calculateMissingValues(at(2000000000), &record);
        EXPECT_EQ(record.maxValues, INT32_MAX);
        EXPECT_FALSE(std::isnan(record.percent[0]));
    }
}

// =================================================================================================
// The merge at its edges.

TEST_F(HistogramMergeTest,
       AFirstRecordOutOfRangeLeavesTheSumZeroAndTheFirstInRangeRecordReplacesThePercentages)
{
    const int32_t start = kFirstSecond;
    DataHistogram<200> outOfRange = periodRecord<200>(start + 10, start + 5000, 600, {10.0f, 90.0f});
    outOfRange.quality = 0x8;
    const std::shared_ptr<DataHistogram<200>> alone =
        merge<200>({outOfRange}, at(start), at(start + 600), 1.0);
    ASSERT_NE(alone, nullptr);
    EXPECT_TRUE(isZeroRecord(*alone));

    const DataHistogram<200> inRange = periodRecord<200>(start, start + 600, 600, {25.0f, 0.0f, 75.0f});
    const std::shared_ptr<DataHistogram<200>> sum =
        merge<200>({outOfRange, inRange}, at(start), at(start + 600), 1.0);
    ASSERT_NE(sum, nullptr);
    EXPECT_EQ(std::memcmp(sum.get(), &inRange, sizeof(inRange)), 0)
        << "max " << sum->maxValues << " total " << sum->totalValues << " percent " << sum->percent[0] << ", "
        << sum->percent[1] << ", " << sum->percent[2];
}

TEST_F(HistogramMergeTest, ARangeBeyondBothEndsLowersAllPercentagesByTheShareOfMissingValues)
{
    const int32_t first = kFirstSecond + 100;
    const DataHistogram<200> record = periodRecord<200>(first, first + 600, 600, {30.0f, 0.0f, 70.0f}, 0);
    const timespec start = at(kFirstSecond);
    const timespec end = at(first + 900);
    const std::shared_ptr<DataHistogram<200>> sum = merge<200>({record}, start, end, 1.0);
    ASSERT_NE(sum, nullptr);
    // 100 s before: 99 values missing beyond the first interval; 300 s after: 299.
    EXPECT_EQ(sum->missingValues, 99 + 299);
    EXPECT_EQ(sum->maxValues, 600 + 99 + 299);
    EXPECT_EQ(sum->totalValues, 600);
    EXPECT_NEAR(sum->percent[0], 30.0 * 600.0 / 998.0, 1e-4);
    EXPECT_NEAR(sum->percent[2], 70.0 * 600.0 / 998.0, 1e-4);
    EXPECT_EQ(sum->percent[1], 0.0f);
    EXPECT_EQ(sum->utcStart.tv_sec, start.tv_sec);
    EXPECT_EQ(sum->utcStart.tv_nsec, 0);
    EXPECT_EQ(sum->utc.tv_sec, end.tv_sec);
    EXPECT_EQ(sum->utc.tv_nsec, 0);
}

TEST_F(HistogramMergeTest, NoDataInTheRangeYieldsAZeroRecordNeitherNullNorExtendedToTheRange)
{
    const std::shared_ptr<DataHistogram<2650>> sum =
        merge<2650>({}, at(kFirstSecond), at(kFirstSecond + 86400), 1.0, true);
    ASSERT_NE(sum, nullptr);
    EXPECT_TRUE(isZeroRecord(*sum));
}

TEST_F(HistogramMergeTest, AGapNoLargerThanOneIntervalAddsNoMissingValues)
{
    const int32_t start = kFirstSecond;
    const DataHistogram<200> a = periodRecord<200>(start, start + 599, 600, {50.0f, 50.0f}, 2);
    const DataHistogram<200> b = periodRecord<200>(start + 600, start + 1199, 600, {100.0f}, 3);
    const std::shared_ptr<DataHistogram<200>> sum = merge<200>({a, b}, at(start), at(start + 1199), 1.0);
    ASSERT_NE(sum, nullptr);
    EXPECT_EQ(sum->missingValues, 5);
    EXPECT_EQ(sum->maxValues, 1200);
    EXPECT_EQ(sum->percent[0], 75.0f);
    EXPECT_EQ(sum->percent[1], 25.0f);
    // Three seconds between them: the time beyond the gap's first interval is missing time, and
    // of that the interval of its first value again, as at the ends of the range: one value.
    const DataHistogram<200> c = periodRecord<200>(start + 602, start + 1201, 600, {100.0f}, 3);
    const std::shared_ptr<DataHistogram<200>> gap = merge<200>({a, c}, at(start), at(start + 1201), 1.0);
    EXPECT_EQ(gap->missingValues, 6);
    EXPECT_EQ(gap->maxValues, 1201);
    EXPECT_NEAR(gap->percent[0], 75.0 * 1200.0 / 1201.0, 1e-4);
}

TEST_F(HistogramMergeTest, RecordsWithGarbageCountsAndPercentagesMergeWithoutOverflowOrCrash)
{
    const int32_t start = kFirstSecond;
    DataHistogram<200> a = periodRecord<200>(start, start + 10, INT32_MAX, {100.0f});
    DataHistogram<200> b = periodRecord<200>(start + 11, start + 20, INT32_MAX, {100.0f});
    b.totalValues = INT32_MIN;
    b.missingValues = INT32_MAX;
    DataHistogram<200> c = periodRecord<200>(start + 21, start + 30, -5, {std::nanf("")});
    c.lowerLimit = std::nanf("");
    DataHistogram<200> d = periodRecord<200>(start + 31, start + 40, 0, {});
    const std::shared_ptr<DataHistogram<200>> pair = merge<200>({a, b}, at(start), at(start + 20), 1.0);
    ASSERT_NE(pair, nullptr);
    EXPECT_EQ(pair->maxValues, INT32_MAX);
    EXPECT_EQ(pair->totalValues, -1);
    EXPECT_EQ(pair->missingValues, INT32_MAX);
    EXPECT_EQ(pair->percent[0], 100.0f);
    const std::shared_ptr<DataHistogram<200>> sum =
        merge<200>({a, b, c, d}, at(start - 1000000), at(start + 100000000), 1e-9, true);
    ASSERT_NE(sum, nullptr);
    EXPECT_EQ(sum->maxValues, INT32_MAX);
    EXPECT_EQ(sum->missingValues, INT32_MAX);
    EXPECT_EQ(sum->utcStart.tv_sec, start - 1000000);
    // Every interval, also none and one that is not a number.
    for (double interval : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN(), 1e300})
        EXPECT_NE(merge<200>({a, b, c, d}, at(start), at(start + 100), interval), nullptr);
}

// =================================================================================================
// Against the references, over random inputs.

TEST(HistogramPropertyTest, ClassCountingAgreesWithTheReferenceForRandomValuesAndLimits)
{
    const unsigned int seed = propertySeed();
    SCOPED_TRACE("QZLOGGER_TEST_SEED=" + std::to_string(seed));
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> limit(-100.0f, 100.0f);
    const int counts[] = {1, 2, 3, 7, 200, 2650};
    int cases = 0;
    for (int round = 0; round < 400; ++round) {
        const int n = round % 5 == 0 ? 1 + static_cast<int>(random() % 3000) : counts[random() % 6];
        float lower = limit(random);
        float upper = round % 7 == 0 ? lower : lower + std::fabs(limit(random));
        if (round % 11 == 0)
            std::swap(lower, upper);
        std::vector<int> classes(static_cast<size_t>(n), 0);
        std::vector<int> expected(static_cast<size_t>(n), 0);
        HistogramCalculator calculator(classes.data(), n);
        calculator.setParameters(lower, upper, at(1));
        const float width = calculator.getInterval();
        std::uniform_real_distribution<float> inside(std::min(lower, upper) - 5.0f,
                                                     std::max(lower, upper) + 5.0f);
        for (int value = 0; value < 50; ++value) {
            float v = inside(random);
            switch (random() % 6) {
            case 0:
                v = lower + width * static_cast<float>(random() % static_cast<unsigned>(n));
                break; // on a boundary
            case 1: v = random() % 2 ? lower : upper; break;
            case 2: v = std::nextafter(random() % 2 ? upper : lower, random() % 2 ? 1e9f : -1e9f); break;
            default: break;
            }
            calculator.add(v, at(kFirstSecond + value), random() % 2 == 0);
            const int index = referenceClass(v, lower, upper, n);
            ASSERT_GE(index, 0);
            ++expected[static_cast<size_t>(index)];
            ++cases;
        }
        for (int index = 0; index < n; ++index)
            ASSERT_EQ(classes[static_cast<size_t>(index)], expected[static_cast<size_t>(index)])
                << "class " << index << " of " << n << ", limits " << lower << ".." << upper;
        ASSERT_EQ(calculator.calcTotalValues(), 50);
        ASSERT_EQ(calculator.getTotalValues(), 50);
    }
    EXPECT_EQ(cases, 400 * 50);
}

// The expected values of a series of values at random gaps against the rules of the average gap,
// the rounded count of intervals and the per cent.
TEST(HistogramPropertyTest, ExpectedValuesAndPercentAgreeWithTheReferenceForRandomGaps)
{
    const unsigned int seed = propertySeed();
    SCOPED_TRACE("QZLOGGER_TEST_SEED=" + std::to_string(seed));
    std::mt19937 random(seed);
    const double intervals[] = {0.2, 0.25, 0.5, 1.0, 3.0};
    for (int round = 0; round < 2000; ++round) {
        const double interval = intervals[random() % 5];
        const int64_t intervalNs = std::llround(interval * 1e9);
        const bool lenient = random() % 2 == 0;
        int classes[7] = {};
        HistogramCalculator calculator(classes, 7);
        calculator.setParameters(0.0f, 6.0f, at(intervalNs / 1000000000, intervalNs % 1000000000));
        const int values = 1 + static_cast<int>(random() % 40);
        int64_t time = static_cast<int64_t>(kFirstSecond) * 1000000000;
        const int64_t first = time;
        int takenGaps = 0;
        double gapSum = 0.0;
        int64_t previous = 0;
        for (int value = 0; value < values; ++value) {
            if (value > 0) {
                // Mostly regular with jitter, sometimes far off, sometimes a hole.
                const double factor = random() % 5 == 0
                                          ? 0.1 + (random() % 300) / 100.0
                                          : 1.0 + (static_cast<int>(random() % 61) - 30) / 100.0;
                time += std::llround(static_cast<double>(intervalNs) * factor);
                const int64_t gap = time - previous;
                // "|interval minus d| / interval below the tolerance": away from the boundary the
                // double form decides; on it the time is whole nanoseconds and exact.
                const double share = std::fabs(interval - static_cast<double>(gap) / 1e9) / interval;
                const double tolerance = lenient ? 1.0 : 0.2;
                if (std::fabs(share - tolerance) < 1e-9)
                    continue; // on the boundary: left to the whole-nanosecond edge test
                if (share < tolerance) {
                    ++takenGaps;
                    gapSum += static_cast<double>(gap) / 1e9;
                }
            }
            previous = time;
            calculator.add(static_cast<float>(random() % 7), at(time / 1000000000, time % 1000000000),
                           lenient);
        }
        const double average = takenGaps > 1 ? gapSum / takenGaps : interval;
        // Seconds of a time as the store takes them: nanoseconds / 1e9 + seconds.
        const int64_t spanNs = previous - first;
        const double span =
            static_cast<double>(spanNs % 1000000000) / 1e9 + static_cast<double>(spanNs / 1000000000);
        long long expected = previous == first ? 1 : std::llround(span / average) + 1;
        if (expected < calculator.getTotalValues())
            expected = calculator.getTotalValues();
        ASSERT_EQ(calculator.calculateMaxDataElements(), expected)
            << "round " << round << ", interval " << interval << ", lenient " << lenient << ", span " << span
            << ", average " << average << ", gaps " << takenGaps;
        float percent[7];
        calculator.calculatePercent(percent);
        for (int index = 0; index < 7; ++index) {
            // "f = 100 / expected; out = classes x f": the precision of f is not fixed, so one
            // unit in the last place either way.
            const double reference = classes[index] * (100.0 / static_cast<double>(expected));
            ASSERT_TRUE(near(percent[index], reference, 2.4e-7))
                << bitsOf(percent[index]) << " vs " << reference;
        }
    }
}

TEST(HistogramPropertyTest, MissingValuesAgreeWithTheReferenceForRandomSpansAndIntervals)
{
    const unsigned int seed = propertySeed();
    SCOPED_TRACE("QZLOGGER_TEST_SEED=" + std::to_string(seed));
    std::mt19937 random(seed);
    const double intervals[] = {0.2, 0.25, 0.5, 1.0, 3.0, 600.0};
    for (int round = 0; round < 5000; ++round) {
        const double interval = intervals[random() % 6];
        HistogramCalculator calculator(nullptr, 200);
        calculator.setInterval(interval);
        DataHistogram<200> record{};
        record.maxValues = static_cast<int32_t>(random() % 100000);
        record.missingValues = static_cast<int32_t>(random() % 100);
        RefHistogram<200> reference;
        reference.maxValues = record.maxValues;
        reference.missingValues = record.missingValues;
        for (int index = 0; index < 200; ++index) {
            record.percent[index] = static_cast<float>(random() % 100000) / 997.0f;
            reference.percent[static_cast<size_t>(index)] = record.percent[index];
        }
        const int64_t spanNs =
            static_cast<int64_t>(random() % 4000) * (random() % 2 ? 1000000000 : 50000000) +
            (random() % 3 == 0 ? static_cast<int64_t>(random() % 1000000000) : 0);
        const timespec span = at(spanNs / 1000000000, spanNs % 1000000000);
        calculator.calculateMissingValues(span, &record);
        refMissingValues(refNormalised(span.tv_sec, span.tv_nsec), interval, reference);
        ASSERT_EQ(record.maxValues, reference.maxValues) << "span " << spanNs << " ns, interval " << interval;
        ASSERT_EQ(record.missingValues, reference.missingValues);
        // The scaling's precision is not fixed: within one unit in the last place.
        for (int index = 0; index < 200; ++index)
            ASSERT_TRUE(near(record.percent[index], reference.percent[static_cast<size_t>(index)], 2.4e-7))
                << index << ": " << bitsOf(record.percent[index]) << " vs "
                << bitsOf(reference.percent[static_cast<size_t>(index)]);
    }
}

TEST(HistogramPropertyTest, CumulativePercentAgreesWithTheReferenceToTheBit)
{
    const unsigned int seed = propertySeed();
    SCOPED_TRACE("QZLOGGER_TEST_SEED=" + std::to_string(seed));
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> share(0.0f, 3.0f);
    HistogramCalculator calculator(nullptr, 2650);
    std::vector<float> in(2650);
    std::vector<float> out(2650);
    for (int round = 0; round < 2000; ++round) {
        for (float& value : in)
            value = random() % 4 == 0 ? share(random) : 0.0f;
        calculator.calculateCumulativePercent(in.data(), out.data());
        double running = 0.0;
        for (size_t index = 0; index < in.size(); ++index) {
            running += in[index];
            ASSERT_TRUE(sameBits(out[index], static_cast<float>(running)))
                << index << ": " << bitsOf(out[index]) << " vs " << bitsOf(static_cast<float>(running));
        }
    }
}

TEST_F(HistogramMergeTest, MergingRandomRecordsAgreesWithTheReference)
{
    const unsigned int seed = propertySeed();
    SCOPED_TRACE("QZLOGGER_TEST_SEED=" + std::to_string(seed));
    std::mt19937 random(seed);
    const double intervals[] = {0.0, 0.2, 0.25, 1.0, 3.0};
    int withoutMissing = 0;
    for (int round = 0; round < 3000; ++round) {
        const double interval = intervals[random() % 5];
        const int count = static_cast<int>(random() % 9);
        std::vector<DataHistogram<200>> records;
        int32_t time = kFirstSecond;
        for (int index = 0; index < count; ++index) {
            const int32_t period = 1 + static_cast<int32_t>(random() % 600);
            // Adjacent, one interval apart, or with a hole; now and then overlapping.
            const int32_t gap = random() % 3 == 0 ? static_cast<int32_t>(random() % 900) - 5 : 0;
            const int32_t begin = time + gap;
            DataHistogram<200> record =
                periodRecord<200>(begin, begin + period, static_cast<int32_t>(random() % 5000), {});
            record.utcStart.tv_nsec = random() % 4 == 0 ? static_cast<int32_t>(random() % 1000000000) : 0;
            record.missingValues = static_cast<int32_t>(random() % 50);
            record.totalValues = static_cast<int32_t>(random() % 5000);
            record.quality = static_cast<uint32_t>(random());
            if (random() % 6 == 0)
                record.lowerLimit = record.upperLimit = 0.0f;
            for (float& percent : record.percent)
                percent = random() % 3 == 0 ? static_cast<float>(random() % 10000) / 100.0f : 0.0f;
            // A damaged record whose end lies far outside any range.
            if (random() % 8 == 0)
                record.utc = stamp(random() % 2 ? begin + 100000 : 1000);
            records.push_back(record);
            time = begin + period;
        }
        const int32_t span = time - kFirstSecond;
        int32_t startSecond =
            kFirstSecond + static_cast<int32_t>(random() % 3) * -300 +
            (span > 0 && random() % 2 ? static_cast<int32_t>(random() % static_cast<unsigned>(span)) : 0);
        int32_t endSecond =
            time + static_cast<int32_t>(random() % 3) * 300 -
            (span > 0 && random() % 2 ? static_cast<int32_t>(random() % static_cast<unsigned>(span)) : 0);
        if (endSecond < startSecond)
            std::swap(endSecond, startSecond);
        const timespec start = at(startSecond);
        const timespec end = at(endSecond);
        const bool cumulative = random() % 2 == 0;

        const std::shared_ptr<DataHistogram<200>> sum = merge<200>(records, start, end, interval, cumulative);
        const RefHistogram<200> reference = refMerge<200>(records, refNormalised(startSecond, 0),
                                                          refNormalised(endSecond, 0), interval, cumulative);
        ASSERT_NE(sum, nullptr);
        const std::string where = "round " + std::to_string(round) + ", " + std::to_string(count) +
                                  " records, interval " + std::to_string(interval);
        ASSERT_EQ(sum->utc.tv_sec, reference.utc.sec) << where;
        ASSERT_EQ(sum->utc.tv_nsec, reference.utc.nsec) << where;
        ASSERT_EQ(sum->utcStart.tv_sec, reference.utcStart.sec) << where;
        ASSERT_EQ(sum->utcStart.tv_nsec, reference.utcStart.nsec) << where;
        ASSERT_EQ(sum->quality, reference.quality) << where;
        ASSERT_TRUE(sameBits(sum->lowerLimit, reference.lowerLimit)) << where;
        ASSERT_TRUE(sameBits(sum->upperLimit, reference.upperLimit)) << where;
        ASSERT_EQ(sum->totalValues, reference.totalValues) << where;
        ASSERT_EQ(sum->maxValues, reference.maxValues) << where;
        ASSERT_EQ(sum->missingValues, reference.missingValues) << where;
        // The merge's precision is fixed (double, stored as float after each record); the
        // scaling by missing values is not, so there the per cent agree within a few units in the
        // last place, which a cumulative sum carries on.
        if (!reference.missingBooked)
            ++withoutMissing;
        for (int index = 0; index < 200; ++index) {
            const float expected = reference.percent[static_cast<size_t>(index)];
            if (reference.missingBooked)
                ASSERT_TRUE(near(sum->percent[index], expected, cumulative ? 1e-6 : 4.8e-7))
                    << where << ", class " << index << ": " << bitsOf(sum->percent[index]) << " vs "
                    << bitsOf(expected);
            else
                ASSERT_TRUE(sameBits(sum->percent[index], expected))
                    << where << ", class " << index << ": " << bitsOf(sum->percent[index]) << " vs "
                    << bitsOf(expected);
        }
    }
    // Both kinds were drawn often enough to matter.
    EXPECT_GT(withoutMissing, 100);
    EXPECT_LT(withoutMissing, 2900);
}

// =================================================================================================
// The getters end to end: records written through the writer's path, read back by a reader's
// LoggerApi on the same catalogue.

constexpr int32_t kPeriod = 600; // seconds of one record, one value a second

// The host's side: one record of the period from first on, filled by the calculator from one value
// a second; value(second) gives the value.
template <int N, typename Value> DataHistogram<N> hostRecord(int32_t first, Value value)
{
    std::vector<int> classes(static_cast<size_t>(N), 0);
    HistogramCalculator calculator(classes.data(), N);
    calculator.setParameters(N == 200 ? 0.0f : 45.0f, N == 200 ? 10.0f : 55.0f, at(1));
    for (int32_t second = first; second < first + kPeriod; ++second)
        calculator.add(value(second), at(second), false);
    DataHistogram<N> record{};
    record.utcStart = stamp(first);
    record.utc = stamp(first + kPeriod - 1);
    record.lowerLimit = calculator.getLowerLimit();
    record.upperLimit = calculator.getUpperLimit();
    record.totalValues = static_cast<int32_t>(calculator.getTotalValues());
    record.maxValues = calculator.calculateMaxDataElements();
    record.missingValues = record.maxValues - record.totalValues;
    calculator.calculatePercent(record.percent);
    return record;
}

// A mains-signalling value of second: a slow sweep over the classes, some of it beyond the limits.
float signallingValue(int32_t second)
{
    return static_cast<float>((static_cast<int64_t>(second) * 7919) % 1300) / 100.0f - 1.0f;
}

// A frequency around 50 Hz.
float frequencyValue(int32_t second)
{
    return 50.0f + static_cast<float>((static_cast<int64_t>(second) * 104729) % 2001 - 1000) / 1000.0f;
}

class HistogramGetterTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mLogCaptured);
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        setReadPauseObserverForTesting(
            [this](unsigned long milliseconds) { mPauses.push_back(milliseconds); });
        setLoggerMessageObserverForTesting([this](const std::string& text, LoggerMessageType type) {
            if (type == LOGGER_MESSAGE_ROUTINE)
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

    // A started CYCLIC/HISTOGRAM logger of records of blockSize bytes.
    TestLogger* startLogger(const QString& id, int blockSize)
    {
        mLoggers.push_back(
            std::make_unique<TestLogger>(id, blockSize, LoggerType::CYCLIC, LoggerDataType::HISTOGRAM));
        TestLogger* logger = mLoggers.back().get();
        EXPECT_TRUE(logger->startLogger()) << LoggerDb::getInstance().getLastError().toStdString();
        EXPECT_EQ(logger->getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED)
            << LogCapture::text().toStdString();
        return logger;
    }

    // The records as one block through the writer, and the catalogue brought up to date.
    template <int N> void write(TestLogger* logger, const std::vector<DataHistogram<N>>& records)
    {
        ASSERT_NE(logger->writeDatas(reinterpret_cast<const char*>(records.data()),
                                     static_cast<int>(records.size()), true, true),
                  nullptr)
            << LogCapture::text().toStdString();
        ASSERT_TRUE(logger->updateAccess());
    }

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
    QStringList mTraces;
};

TEST_F(HistogramGetterTest, MainsSignallingHistogramsWrittenByTheWriterReadBackMergedAndCumulative)
{
    const QString id = QStringLiteral("signalling.u1.histogram");
    TestLogger* logger = startLogger(id, static_cast<int>(sizeof(DataHistogram<200>)));
    ASSERT_FALSE(HasFailure());
    // Six periods of ten minutes, the fourth lost: its ten minutes are a hole between the third
    // and the fifth record.
    std::vector<DataHistogram<200>> records;
    std::vector<long long> counts(200, 0);
    for (int period = 0; period < 6; ++period) {
        const int32_t first = kFirstSecond + period * kPeriod;
        if (period == 3)
            continue;
        records.push_back(hostRecord<200>(first, signallingValue));
        for (int32_t second = first; second < first + kPeriod; ++second)
            ++counts[static_cast<size_t>(referenceClass(signallingValue(second), 0.0f, 10.0f, 200))];
    }
    write<200>(logger, records);
    const timespec start = at(kFirstSecond);
    const timespec end = at(kFirstSecond + 6 * kPeriod - 1);

    double interval = 0.0;
    const PtrLoggerResultHistogram200 stored = mApi.getMainsSignallingDatas(id, start, end, interval);
    ASSERT_NE(stored, nullptr) << LoggerApiInterface::getLastError().toStdString();
    ASSERT_EQ(stored->mNumItems, 5);
    EXPECT_EQ(interval, 1.0);
    EXPECT_EQ(stored->mInterval, 1.0);
    for (int index = 0; index < 5; ++index)
        EXPECT_EQ(
            std::memcmp(&stored->mItems[index], &records[static_cast<size_t>(index)], sizeof(records[0])), 0)
            << index;

    // The hole: 601 s from the third record's end to the fifth's start, less the interval of the
    // gap and that of the first value, 599 values missing.
    const int32_t expectedMax = 5 * kPeriod + 599;
    const std::shared_ptr<DataHistogram<200>> sum = mApi.getMainsSignallingHistogram(id, start, end, false);
    ASSERT_NE(sum, nullptr);
    EXPECT_EQ(sum->totalValues, 5 * kPeriod);
    EXPECT_EQ(sum->maxValues, expectedMax);
    EXPECT_EQ(sum->missingValues, 599);
    EXPECT_EQ(sum->utcStart.tv_sec, start.tv_sec);
    EXPECT_EQ(sum->utc.tv_sec, end.tv_sec);
    EXPECT_EQ(sum->lowerLimit, 0.0f);
    EXPECT_EQ(sum->upperLimit, 10.0f);
    // The merged per cent are each class's share of all values expected.
    double total = 0.0;
    for (int index = 0; index < 200; ++index) {
        const double share = static_cast<double>(counts[static_cast<size_t>(index)]) * 100.0 / expectedMax;
        EXPECT_NEAR(sum->percent[index], share, 1e-4) << index;
        total += share;
    }
    EXPECT_TRUE(traced(QStringLiteral("getHistogram, loggerInterval:  1")));
    EXPECT_TRUE(traced(QStringLiteral("getHistogram[0]       Start: ")));
    EXPECT_TRUE(traced(QStringLiteral("getHistogram, deltadata:  600")));

    const std::shared_ptr<DataHistogram<200>> cumulative =
        mApi.getMainsSignallingHistogram(id, start, end, true);
    ASSERT_NE(cumulative, nullptr);
    double running = 0.0;
    for (int index = 0; index < 200; ++index) {
        running += sum->percent[index];
        EXPECT_TRUE(sameBits(cumulative->percent[index], static_cast<float>(running))) << index;
    }
    EXPECT_NEAR(cumulative->percent[199], total, 1e-3);
    EXPECT_NEAR(cumulative->percent[199], 100.0 * 5 * kPeriod / expectedMax, 1e-3);

    // A day around the records: the time before and after is missing too, and the sum spans the day.
    const timespec dayStart = at(kFirstSecond - 3600);
    const timespec dayEnd = at(kFirstSecond + 86400);
    const std::shared_ptr<DataHistogram<200>> day =
        mApi.getMainsSignallingHistogram(id, dayStart, dayEnd, false);
    ASSERT_NE(day, nullptr);
    EXPECT_EQ(day->missingValues, 599 + 3599 + (86400 - (6 * kPeriod - 1)) - 1);
    EXPECT_EQ(day->utcStart.tv_sec, dayStart.tv_sec);
    EXPECT_EQ(day->utc.tv_sec, dayEnd.tv_sec);
    EXPECT_NEAR(day->percent[5], sum->percent[5] * expectedMax / day->maxValues, 1e-4);

    // A range without records: a zero record, not extended.
    const std::shared_ptr<DataHistogram<200>> none =
        mApi.getMainsSignallingHistogram(id, at(kFirstSecond - 86400), at(kFirstSecond - 3600), true);
    ASSERT_NE(none, nullptr);
    EXPECT_TRUE(isZeroRecord(*none));
    EXPECT_EQ(LoggerApiInterface::getLastError(), QString());
}

TEST_F(HistogramGetterTest, FrequencyHistogramsWrittenByTheWriterReadBackWithTheirPeriodsInOrder)
{
    const QString id = QStringLiteral("frequency.histogram");
    TestLogger* logger = startLogger(id, static_cast<int>(sizeof(DataHistogram<2650>)));
    ASSERT_FALSE(HasFailure());
    std::vector<DataHistogram<2650>> records;
    for (int period = 0; period < 3; ++period)
        records.push_back(hostRecord<2650>(kFirstSecond + period * kPeriod, frequencyValue));
    // A record whose start and end were written the wrong way round.
    DataHistogram<2650> inverted = hostRecord<2650>(kFirstSecond + 3 * kPeriod, frequencyValue);
    std::swap(inverted.utc, inverted.utcStart);
    records.push_back(inverted);
    write<2650>(logger, records);

    const timespec start = at(kFirstSecond);
    const timespec end = at(kFirstSecond + 4 * kPeriod);
    double interval = 0.0;
    const PtrLoggerResultHistogram2650 stored = mApi.getFrequencyDatas(id, start, end, interval);
    ASSERT_NE(stored, nullptr) << LoggerApiInterface::getLastError().toStdString();
    ASSERT_EQ(stored->mNumItems, 4);
    EXPECT_EQ(interval, 1.0);
    EXPECT_EQ(stored->mItems[3].utcStart.tv_sec, kFirstSecond + 3 * kPeriod);
    EXPECT_EQ(stored->mItems[3].utc.tv_sec, kFirstSecond + 4 * kPeriod - 1);
    EXPECT_EQ(std::memcmp(stored->mItems[3].percent, inverted.percent, sizeof(inverted.percent)), 0);

    const std::shared_ptr<DataHistogram<2650>> sum = mApi.getFrequencyHistogram(id, start, end, true);
    ASSERT_NE(sum, nullptr);
    EXPECT_EQ(sum->totalValues, 4 * kPeriod);
    EXPECT_EQ(sum->maxValues, 4 * kPeriod);
    EXPECT_EQ(sum->missingValues, 0);
    EXPECT_EQ(sum->lowerLimit, 45.0f);
    EXPECT_EQ(sum->upperLimit, 55.0f);
    EXPECT_NEAR(sum->percent[2649], 100.0, 1e-3);
    // The values lie from 49 Hz (class 1059 of 10/2649 Hz) to 51 Hz (class 1589): none below, none
    // above, and about half of them below 50 Hz (class 1324).
    EXPECT_EQ(sum->percent[1058], 0.0f);
    EXPECT_GT(sum->percent[1059], 0.0f);
    EXPECT_NEAR(sum->percent[1589], 100.0, 1e-3);
    EXPECT_NEAR(sum->percent[1324], 50.0, 2.0);
}

TEST_F(HistogramGetterTest, AnUnknownIdAnswersNullAtOnceAndNamesTheIdInTheLastError)
{
    const QString id = QStringLiteral("no.such.histogram");
    double interval = -1.0;
    EXPECT_EQ(mApi.getFrequencyDatas(id, at(kFirstSecond), at(kFirstSecond + 60), interval), nullptr);
    EXPECT_EQ(interval, -1.0);
    QString text = LoggerApiInterface::getLastError();
    EXPECT_TRUE(text.contains(QLatin1String("'no.such.histogram'"))) << text.toStdString();
    EXPECT_TRUE(text.contains(QLatin1String("HISTOGRAM"))) << text.toStdString();
    EXPECT_EQ(mApi.getMainsSignallingDatas(id, at(kFirstSecond), at(kFirstSecond + 60), interval), nullptr);
    EXPECT_EQ(mApi.getFrequencyHistogram(id, at(kFirstSecond), at(kFirstSecond + 60), true), nullptr);
    EXPECT_EQ(mApi.getMainsSignallingHistogram(id, at(kFirstSecond), at(kFirstSecond + 60), false), nullptr);
    text = LoggerApiInterface::getLastError();
    EXPECT_TRUE(text.contains(QLatin1String("'no.such.histogram'"))) << text.toStdString();
    EXPECT_TRUE(mPauses.empty());

    // An id of another data type: the text says which getter to take.
    std::unique_ptr<TestLogger> meanLogger =
        std::make_unique<TestLogger>(QStringLiteral("mean.u1"), 24, LoggerType::CYCLIC, LoggerDataType::MEAN);
    ASSERT_TRUE(meanLogger->startLogger());
    EXPECT_EQ(
        mApi.getFrequencyHistogram(QStringLiteral("mean.u1"), at(kFirstSecond), at(kFirstSecond + 60), false),
        nullptr);
    text = LoggerApiInterface::getLastError();
    EXPECT_TRUE(text.contains(QLatin1String("MEAN"))) << text.toStdString();
    meanLogger->stopLogger();
}

TEST_F(HistogramGetterTest, RecordsOfTheOtherClassCountAreReadWithoutCrashing)
{
    TestLogger* signalling =
        startLogger(QStringLiteral("signalling.h"), static_cast<int>(sizeof(DataHistogram<200>)));
    TestLogger* frequency =
        startLogger(QStringLiteral("frequency.h"), static_cast<int>(sizeof(DataHistogram<2650>)));
    ASSERT_FALSE(HasFailure());
    std::vector<DataHistogram<200>> small;
    std::vector<DataHistogram<2650>> large;
    for (int period = 0; period < 20; ++period) {
        small.push_back(hostRecord<200>(kFirstSecond + period * kPeriod, signallingValue));
        large.push_back(hostRecord<2650>(kFirstSecond + period * kPeriod, frequencyValue));
    }
    write<200>(signalling, small);
    write<2650>(frequency, large);
    const timespec start = at(kFirstSecond - 600);
    const timespec end = at(kFirstSecond + 20 * kPeriod + 600);
    // The bytes land as they lie in the files; the merge of what they make must merely not fail.
    EXPECT_NE(mApi.getFrequencyHistogram(QStringLiteral("signalling.h"), start, end, true), nullptr);
    EXPECT_NE(mApi.getMainsSignallingHistogram(QStringLiteral("frequency.h"), start, end, true), nullptr);
    double interval = 0.0;
    const PtrLoggerResultHistogram200 wide =
        mApi.getMainsSignallingDatas(QStringLiteral("frequency.h"), start, end, interval);
    ASSERT_NE(wide, nullptr);
    EXPECT_GE(wide->mNumItems, 20);
}

TEST(HistogramGetterWithoutStoreTest, EveryGetterAnswersNullWhileTheStoreIsNotValid)
{
    LoggerApi api;
    double interval = 0.0;
    const QString id = QStringLiteral("frequency.histogram");
    EXPECT_EQ(api.getFrequencyDatas(id, at(kFirstSecond), at(kFirstSecond + 60), interval), nullptr);
    EXPECT_EQ(api.getMainsSignallingDatas(id, at(kFirstSecond), at(kFirstSecond + 60), interval), nullptr);
    EXPECT_EQ(api.getFrequencyHistogram(id, at(kFirstSecond), at(kFirstSecond + 60), true), nullptr);
    EXPECT_EQ(api.getMainsSignallingHistogram(id, at(kFirstSecond), at(kFirstSecond + 60), false), nullptr);
}

} // namespace

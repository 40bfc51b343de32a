#include "LoggerTimeStamp.h"
#include "LoggerTypes.h"
#include "TimeStampBase.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <ostream>
#include <vector>

// Comparison and printing of the host's timespec, found by argument-dependent lookup.
bool operator==(const timespec& a, const timespec& b)
{
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

void PrintTo(const timespec& t, std::ostream* os)
{
    *os << "{" << t.tv_sec << ", " << t.tv_nsec << "}";
}

namespace {

timespec makeTime(int64_t seconds, int64_t nanoSeconds)
{
    timespec t{};
    t.tv_sec = static_cast<time_t>(seconds);
    t.tv_nsec = static_cast<long>(nanoSeconds);
    return t;
}

// The word a conversion from double gives for an infinite, NaN or too large value.
constexpr int64_t kInvalidTimeWord = std::numeric_limits<int32_t>::min();

TEST(LoggerTimeStampTest, DefaultConstructedHoldsZero)
{
    const LoggerTimeStamp stamp;
    EXPECT_EQ(stamp.getSeconds(), 0.0);
    EXPECT_EQ(stamp.getMicroSeconds(), 0u);
    EXPECT_EQ(stamp.add(makeTime(0, 0)), makeTime(0, 0));
}

TEST(LoggerTimeStampTest, GetSecondsAddsFractionToSecondsInBothForms)
{
    const timespec t = makeTime(1, 250000000);
    EXPECT_DOUBLE_EQ(LoggerTimeStamp::getSeconds(t), 1.25);
    EXPECT_DOUBLE_EQ(LoggerTimeStamp::getSeconds(&t), 1.25);
    EXPECT_DOUBLE_EQ(LoggerTimeStamp::getSeconds(makeTime(-2, 500000000)), -1.5);
}

TEST(LoggerTimeStampTest, GetMicroSecondsTruncatesNanosecondsInBothForms)
{
    const timespec t = makeTime(1, 999);
    EXPECT_EQ(LoggerTimeStamp::getMicroSeconds(t), 1000000u);
    EXPECT_EQ(LoggerTimeStamp::getMicroSeconds(&t), 1000000u);
    EXPECT_EQ(LoggerTimeStamp::getMicroSeconds(makeTime(1700000000, 123456789)), 1700000000123456ull);
}

TEST(LoggerTimeStampTest, GetMicroSecondsBefore1970WrapsAsUnsigned)
{
    EXPECT_EQ(LoggerTimeStamp::getMicroSeconds(makeTime(-1, 0)),
              std::numeric_limits<uint64_t>::max() - 999999u);
}

TEST(LoggerTimeStampTest, AddLeavesExactlyOneSecondOfNanosecondsUnnormalised)
{
    EXPECT_EQ(LoggerTimeStamp::add(makeTime(0, 600000000), makeTime(0, 400000000)), makeTime(0, 1000000000));
}

TEST(LoggerTimeStampTest, AddCarriesNanosecondsAboveOneSecond)
{
    EXPECT_EQ(LoggerTimeStamp::add(makeTime(0, 600000000), makeTime(0, 400000001)), makeTime(1, 1));
    EXPECT_EQ(LoggerTimeStamp::add(makeTime(10, 999999999), makeTime(5, 999999999)), makeTime(16, 999999998));
}

TEST(LoggerTimeStampTest, AddLeavesNegativeNanosecondsAlone)
{
    EXPECT_EQ(LoggerTimeStamp::add(makeTime(3, -200), makeTime(1, 100)), makeTime(4, -100));
}

TEST(LoggerTimeStampTest, SubtractBorrowsASecondForSmallerNanoseconds)
{
    EXPECT_EQ(LoggerTimeStamp::subtract(makeTime(5, 0), makeTime(3, 1)), makeTime(1, 999999999));
}

TEST(LoggerTimeStampTest, SubtractOfLaterTimeGivesNegativeSeconds)
{
    EXPECT_EQ(LoggerTimeStamp::subtract(makeTime(3, 0), makeTime(5, 0)), makeTime(-2, 0));
}

TEST(LoggerTimeStampTest, SubtractOfLaterTimeKeepsNanosecondsNonNegative)
{
    EXPECT_EQ(LoggerTimeStamp::subtract(makeTime(3, 0), makeTime(5, 1)), makeTime(-3, 999999999));
}

TEST(LoggerTimeStampTest, SubtractCarriesNanosecondDifferenceAboveOneSecond)
{
    EXPECT_EQ(LoggerTimeStamp::subtract(makeTime(0, 2000000001), makeTime(0, 0)), makeTime(2, 1));
}

TEST(LoggerTimeStampTest, SubtractLeavesExactlyOneSecondOfNanosecondsUnnormalised)
{
    EXPECT_EQ(LoggerTimeStamp::subtract(makeTime(0, 1000000000), makeTime(0, 0)), makeTime(0, 1000000000));
}

TEST(LoggerTimeStampTest, SubtractBorrowsSeveralSecondsForUnnormalisedSubtrahend)
{
    // b carries 2.5 s of nanoseconds: three seconds are borrowed.
    EXPECT_EQ(LoggerTimeStamp::subtract(makeTime(10, 0), makeTime(1, 2500000000)), makeTime(6, 500000000));
}

TEST(LoggerTimeStampTest, MultiplyOfWholeSecondsGivesProduct)
{
    EXPECT_EQ(LoggerTimeStamp::multiply(makeTime(2, 0), makeTime(3, 0)), makeTime(6, 0));
}

TEST(LoggerTimeStampTest, MultiplyCarriesWholeSecondsOfCrossTermsIntoSeconds)
{
    EXPECT_EQ(LoggerTimeStamp::multiply(makeTime(1, 500000000), makeTime(3, 0)), makeTime(4, 500000000));
    EXPECT_EQ(LoggerTimeStamp::multiply(makeTime(0, 500000000), makeTime(0, 500000000)),
              makeTime(0, 250000000));
}

TEST(LoggerTimeStampTest, MultiplyTruncatesTowardZero)
{
    EXPECT_EQ(LoggerTimeStamp::multiply(makeTime(-1, -500000000), makeTime(3, 0)), makeTime(-4, -500000000));
}

TEST(LoggerTimeStampTest, MultiplyBeyondTimeWordGivesInvalidWord)
{
    const timespec product = LoggerTimeStamp::multiply(makeTime(100000, 0), makeTime(100000, 0));
    EXPECT_EQ(product.tv_sec, kInvalidTimeWord);
    EXPECT_EQ(product.tv_nsec, 0);
}

TEST(LoggerTimeStampTest, DivideOfWholeSecondsGivesQuotient)
{
    EXPECT_EQ(LoggerTimeStamp::divide(makeTime(6, 0), makeTime(3, 0)), makeTime(2, 0));
}

TEST(LoggerTimeStampTest, DivideSplitsQuotientIntoSecondsAndNanoseconds)
{
    EXPECT_EQ(LoggerTimeStamp::divide(makeTime(7, 500000000), makeTime(2, 0)), makeTime(3, 750000000));
    EXPECT_EQ(LoggerTimeStamp::divide(makeTime(1, 0), makeTime(0, 250000000)), makeTime(4, 0));
}

TEST(LoggerTimeStampTest, DivideByZeroGivesInvalidWordsWithoutCrashing)
{
    EXPECT_EQ(LoggerTimeStamp::divide(makeTime(6, 0), makeTime(0, 0)),
              makeTime(kInvalidTimeWord, kInvalidTimeWord));
    EXPECT_EQ(LoggerTimeStamp::divide(makeTime(-6, 0), makeTime(0, 0)),
              makeTime(kInvalidTimeWord, kInvalidTimeWord));
    // Zero by zero is not a number.
    EXPECT_EQ(LoggerTimeStamp::divide(makeTime(0, 0), makeTime(0, 0)),
              makeTime(kInvalidTimeWord, kInvalidTimeWord));
}

TEST(LoggerTimeStampTest, TruncRoundsDownToMultipleOfInterval)
{
    EXPECT_EQ(LoggerTimeStamp::trunc(makeTime(3599, 7), 60), makeTime(3540, 0));
}

TEST(LoggerTimeStampTest, TruncByZeroReturnsTimeUnchanged)
{
    EXPECT_EQ(LoggerTimeStamp::trunc(makeTime(3599, 7), 0), makeTime(3599, 7));
}

TEST(LoggerTimeStampTest, TruncByMinusOneKeepsSecondsAndDropsNanoseconds)
{
    EXPECT_EQ(LoggerTimeStamp::trunc(makeTime(3599, 7), -1), makeTime(3599, 0));
    EXPECT_EQ(LoggerTimeStamp::trunc(makeTime(-3599, 7), -1), makeTime(-3599, 0));
}

TEST(LoggerTimeStampTest, TruncOfNegativeSecondsRoundsTowardZero)
{
    EXPECT_EQ(LoggerTimeStamp::trunc(makeTime(-3599, 7), 60), makeTime(-3540, 0));
    EXPECT_EQ(LoggerTimeStamp::trunc(makeTime(-59, 999999999), 60), makeTime(0, 0));
}

TEST(LoggerTimeStampTest, DaysCountsWholeUtcDays)
{
    EXPECT_EQ(LoggerTimeStamp::days(makeTime(86399, 0)), 0);
    EXPECT_EQ(LoggerTimeStamp::days(makeTime(86400, 0)), 1);
    EXPECT_EQ(LoggerTimeStamp::days(makeTime(1700000000, 999999999)), 19675);
}

TEST(LoggerTimeStampTest, DaysBefore1970TruncateTowardZero)
{
    EXPECT_EQ(LoggerTimeStamp::days(makeTime(-1, 0)), 0);
    EXPECT_EQ(LoggerTimeStamp::days(makeTime(-86400, 0)), -1);
    EXPECT_EQ(LoggerTimeStamp::days(makeTime(-86401, 0)), -1);
}

TEST(LoggerTimeStampTest, GetTimeSpecSplitsWholeSecondsAndNanoseconds)
{
    EXPECT_EQ(LoggerTimeStamp::getTimeSpec(1.5), makeTime(1, 500000000));
    EXPECT_EQ(LoggerTimeStamp::getTimeSpec(0.0), makeTime(0, 0));
    EXPECT_EQ(LoggerTimeStamp::getTimeSpec(3600.0), makeTime(3600, 0));
}

TEST(LoggerTimeStampTest, GetTimeSpecOfNegativeValueGivesNegativeNanoseconds)
{
    EXPECT_EQ(LoggerTimeStamp::getTimeSpec(-1.5), makeTime(-1, -500000000));
    EXPECT_EQ(LoggerTimeStamp::getTimeSpec(-0.25), makeTime(0, -250000000));
}

TEST(LoggerTimeStampTest, GetTimeSpecOfPresentDayTimeIsExactToTheMicrosecond)
{
    const timespec t = LoggerTimeStamp::getTimeSpec(1700000000.5);
    EXPECT_EQ(t.tv_sec, 1700000000);
    EXPECT_NEAR(static_cast<double>(t.tv_nsec), 500000000.0, 1000.0);
}

TEST(LoggerTimeStampTest, GetTimeSpecBeyondTimeWordGivesInvalidWord)
{
    EXPECT_EQ(LoggerTimeStamp::getTimeSpec(3.0e9).tv_sec, kInvalidTimeWord);
    EXPECT_EQ(LoggerTimeStamp::getTimeSpec(std::numeric_limits<double>::quiet_NaN()),
              makeTime(kInvalidTimeWord, kInvalidTimeWord));
    EXPECT_EQ(LoggerTimeStamp::getTimeSpec(std::numeric_limits<double>::infinity()),
              makeTime(kInvalidTimeWord, kInvalidTimeWord));
}

TEST(LoggerTimeStampTest, MemberOperationsWorkOnHeldValue)
{
    const LoggerTimeStamp stamp(makeTime(10, 500000000));
    EXPECT_DOUBLE_EQ(stamp.getSeconds(), 10.5);
    EXPECT_EQ(stamp.getMicroSeconds(), 10500000u);
    EXPECT_EQ(stamp.add(makeTime(1, 600000000)), makeTime(12, 100000000));
    EXPECT_EQ(stamp.subtract(makeTime(0, 600000000)), makeTime(9, 900000000));
    EXPECT_EQ(stamp.subtract(makeTime(12, 0)), makeTime(-2, 500000000));
}

TEST(LoggerTimeStampTest, MemberOperationsLeaveHeldValueAlone)
{
    LoggerTimeStamp stamp(makeTime(10, 500000000));
    const timespec sum = stamp.add(makeTime(5, 0));
    const timespec difference = stamp.subtract(makeTime(5, 0));
    EXPECT_EQ(sum, makeTime(15, 500000000));
    EXPECT_EQ(difference, makeTime(5, 500000000));
    EXPECT_EQ(stamp.getMicroSeconds(), 10500000u);
    EXPECT_EQ(stamp.add(makeTime(5, 0)), sum);
    EXPECT_EQ(stamp.subtract(makeTime(5, 0)), difference);
}

TEST(LoggerTimeStampTest, OnDiskTimeStampsTakePartInTheArithmetic)
{
    const DataTimespec a = {5, 0};
    const DataTimespec b = {3, 1};
    EXPECT_EQ(LoggerTimeStamp::subtract(a, b), makeTime(1, 999999999));
    EXPECT_EQ(LoggerTimeStamp::getMicroSeconds(a), 5000000u);
}

// Pairs that cover borrow, carry, the one-second boundary and negative differences.
std::vector<std::pair<timespec, timespec>> subtractionCases()
{
    return {
        {makeTime(5, 0), makeTime(3, 1)},
        {makeTime(3, 0), makeTime(5, 0)},
        {makeTime(3, 0), makeTime(5, 1)},
        {makeTime(0, 2000000001), makeTime(0, 0)},
        {makeTime(0, 1000000000), makeTime(0, 0)},
        {makeTime(10, 0), makeTime(1, 2500000000)},
        {makeTime(1700000000, 123), makeTime(1699999999, 999999999)},
        {makeTime(-10, 5), makeTime(-20, 7)},
    };
}

TEST(LoggerTimeStampTest, TimeStampBaseSubtractAgreesWithLoggerTimeStamp)
{
    for (const auto& operands : subtractionCases()) {
        const timespec expected = LoggerTimeStamp::subtract(operands.first, operands.second);
        EXPECT_EQ(TimeStampBase<timespec>::subtract(operands.first, operands.second), expected);
    }
    EXPECT_EQ(TimeStampBase<timespec>::subtract(makeTime(5, 0), makeTime(3, 1)), makeTime(1, 999999999));
}

TEST(LoggerTimeStampTest, TimeStampBaseSubtractsOnDiskTimeStamps)
{
    const DataTimespec difference = TimeStampBase<DataTimespec>::subtract({3, 0}, {5, 1});
    EXPECT_EQ(difference.tv_sec, -3);
    EXPECT_EQ(difference.tv_nsec, 999999999);
}

} // namespace

// The times of the qzlogger tool: printed as ISO 8601 in UTC with nanoseconds, and taken back in
// that form, as a date, as seconds since 1970, as "now" and as a time back from now.

#include "TimeText.h"

#include <gtest/gtest.h>

#include <optional>

namespace {

timespec at(long long seconds, long nanoseconds = 0)
{
    timespec time{};
    time.tv_sec = static_cast<time_t>(seconds);
    time.tv_nsec = nanoseconds;
    return time;
}

// 2024-05-01T10:00:00Z
constexpr long long kMayFirst = 1714557600;
const timespec kNow = at(kMayFirst, 250000000);

void expectTime(const std::optional<timespec>& parsed, long long seconds, long nanoseconds)
{
    ASSERT_TRUE(parsed.has_value());
    EXPECT_EQ(static_cast<long long>(parsed->tv_sec), seconds);
    EXPECT_EQ(parsed->tv_nsec, nanoseconds);
}

} // namespace

TEST(QzloggerTimeTextTest, ATimePrintsInUtcWithNineDigitsOfFraction)
{
    EXPECT_EQ(qzcli::formatTime(at(kMayFirst)), QStringLiteral("2024-05-01T10:00:00.000000000Z"));
    EXPECT_EQ(qzcli::formatTime(at(kMayFirst, 1)), QStringLiteral("2024-05-01T10:00:00.000000001Z"));
    EXPECT_EQ(qzcli::formatTime(at(0)), QStringLiteral("1970-01-01T00:00:00.000000000Z"));
}

TEST(QzloggerTimeTextTest, NanosecondsBeyondASecondAreCarriedIntoTheSeconds)
{
    EXPECT_EQ(qzcli::formatTime(at(kMayFirst, 1500000000)), QStringLiteral("2024-05-01T10:00:01.500000000Z"));
    EXPECT_EQ(qzcli::formatTime(at(kMayFirst, -1)), QStringLiteral("2024-05-01T09:59:59.999999999Z"));
}

TEST(QzloggerTimeTextTest, ATimeOfZeroIsNoTimeAndPrintsAsADash)
{
    EXPECT_EQ(qzcli::formatTimeOrNone(at(0)), QStringLiteral("-"));
    EXPECT_EQ(qzcli::formatTimeOrNone(at(0, 1)), QStringLiteral("1970-01-01T00:00:00.000000001Z"));
    EXPECT_EQ(qzcli::formatTimeOrNone(at(kMayFirst)), qzcli::formatTime(at(kMayFirst)));
}

TEST(QzloggerTimeTextTest, APrintedTimeIsTakenBackAsItStands)
{
    for (const timespec& time : {at(kMayFirst), at(kMayFirst, 1), at(kMayFirst, 999999999), at(86399, 5)}) {
        expectTime(qzcli::parseTime(qzcli::formatTime(time), kNow), time.tv_sec, time.tv_nsec);
    }
}

TEST(QzloggerTimeTextTest, IsoTimesWithAndWithoutZoneFractionAndSeconds)
{
    expectTime(qzcli::parseTime(QStringLiteral("2024-05-01T10:00:00Z"), kNow), kMayFirst, 0);
    expectTime(qzcli::parseTime(QStringLiteral("2024-05-01T10:00:00"), kNow), kMayFirst, 0);
    expectTime(qzcli::parseTime(QStringLiteral("2024-05-01 10:00"), kNow), kMayFirst, 0);
    expectTime(qzcli::parseTime(QStringLiteral("2024-05-01T10:00:00.5Z"), kNow), kMayFirst, 500000000);
    expectTime(qzcli::parseTime(QStringLiteral("2024-05-01T10:00:00,000001"), kNow), kMayFirst, 1000);
    expectTime(qzcli::parseTime(QStringLiteral("2024-05-01T12:00:00+02:00"), kNow), kMayFirst, 0);
    expectTime(qzcli::parseTime(QStringLiteral("2024-05-01T07:30:00-0230"), kNow), kMayFirst, 0);
}

TEST(QzloggerTimeTextTest, ADateAloneIsTheStartOfThatDayInUtc)
{
    expectTime(qzcli::parseTime(QStringLiteral("2024-05-01"), kNow), kMayFirst - 10 * 3600, 0);
}

TEST(QzloggerTimeTextTest, SecondsSince1970)
{
    expectTime(qzcli::parseTime(QStringLiteral("1714557600"), kNow), kMayFirst, 0);
    expectTime(qzcli::parseTime(QStringLiteral("0"), kNow), 0, 0);
}

TEST(QzloggerTimeTextTest, NowAndTimesBackFromNow)
{
    expectTime(qzcli::parseTime(QStringLiteral("now"), kNow), kMayFirst, 250000000);
    expectTime(qzcli::parseTime(QStringLiteral("-90s"), kNow), kMayFirst - 90, 250000000);
    expectTime(qzcli::parseTime(QStringLiteral("-15m"), kNow), kMayFirst - 900, 250000000);
    expectTime(qzcli::parseTime(QStringLiteral("-1h"), kNow), kMayFirst - 3600, 250000000);
    expectTime(qzcli::parseTime(QStringLiteral("-7d"), kNow), kMayFirst - 7 * 86400, 250000000);
    expectTime(qzcli::parseTime(QStringLiteral(" -1h "), kNow), kMayFirst - 3600, 250000000);
}

TEST(QzloggerTimeTextTest, TextsThatAreNoTimeGiveNothing)
{
    for (const char* text :
         {"", "yesterday", "2024-13-01", "2024-02-30T00:00:00", "2024-05-01T24:00:00", "2024-05-01T10:60:00",
          "2024-05-01T10:00:61", "2024-05-01T10:00:00.1234567890", "2024-05-01Z", "2024-05-01T10:00:00+25:00",
          "-1y", "-h", "1h", "+1h", "--1h", "2024-5-1", "1714557600.5", "now!", "NOW"}) {
        EXPECT_FALSE(qzcli::parseTime(QString::fromLatin1(text), kNow).has_value()) << text;
    }
}

TEST(QzloggerTimeTextTest, EarlierComparesSecondsThenNanoseconds)
{
    EXPECT_TRUE(qzcli::isEarlier(at(1, 999999999), at(2, 0)));
    EXPECT_TRUE(qzcli::isEarlier(at(2, 0), at(2, 1)));
    EXPECT_FALSE(qzcli::isEarlier(at(2, 1), at(2, 1)));
    EXPECT_FALSE(qzcli::isEarlier(at(3, 0), at(2, 5)));
}

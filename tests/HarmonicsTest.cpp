// Harmonics and the array getters of LoggerApi: the predicates that tell from an identification
// which store is meant, the channel index, the amplitudes computed from complex values (case by
// case and over random values against a reference written here), and every getter on a real
// catalogue of a simulated card (WriterStore), with the items written through the writer's path,
// for harmonics stored as amplitudes and as complex values. Each test runs in a process of its own.

#include "AmplitudeReference.h"
#include "FaultInjection.h"
#include "LogCapture.h"
#include "LoggerApi.h"
#include "LoggerApiInterface.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerDebug.h"
#include "LoggerResult.h"
#include "LoggerTestSeams.h"
#include "TestLogger.h"
#include "WriterStore.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>

#include <log4cxx/level.h>
#include <log4cxx/logger.h>
#include <sqlite3.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using Complex = std::complex<float>;
using Array41 = DataXtqArray<float, 41>;
using Percentile41 = DataPercentileBase<3, 41>;
using Percentile51 = DataPercentileBase<3, 51>;
using Prevailing = DataXtqArrayExtended<float, 357>;
using Contribution = DataXtqArrayExtended<float, 123>;

constexpr int32_t kMidnight = 1767225600;   // 2026-01-01 00:00:00 UTC
constexpr unsigned long kLookupPause = 200; // ms before a failed identification answers null
constexpr unsigned long kReadPause = 50;    // ms after a read by time that found files
constexpr int kOrders = 51;
constexpr int kChannels = 7;
const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInfinity = std::numeric_limits<float>::infinity();
const QString kComplexId = QStringLiteral("aggr.mean_10min.harm_complex.values_0");

timespec at(int64_t seconds)
{
    timespec time{};
    time.tv_sec = static_cast<time_t>(seconds);
    return time;
}

template <typename T> bool sameBits(T a, T b)
{
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

// Equal to the bit, or both not a number: the payload of a NaN that arithmetic made is not ours.
bool sameValue(float actual, float expected)
{
    if (std::isnan(expected))
        return std::isnan(actual);
    return sameBits(actual, expected);
}

// The reference of the amplitudes, and the distance in units in the last place that its
// magnitudes are compared by, are shared with the end-to-end test of the computed values
// (AmplitudeReference.h).

DataComplexArray complexItem(int32_t seconds, uint32_t quality)
{
    DataComplexArray item{};
    item.utc = DataTimespec{seconds, 0};
    item.quality = quality;
    return item;
}

// A complex item whose values tell channel and order apart: channel c, order k holds
// (c + 1 + k, -(k + 1) / 2), with the fundamental of channel 2 zero.
DataComplexArray patternItem(int32_t seconds, int index)
{
    DataComplexArray item = complexItem(seconds, static_cast<uint32_t>(index));
    for (int channel = 0; channel < kChannels; ++channel) {
        for (int order = 0; order < kOrders; ++order) {
            item.values[channel * kOrders + order] = Complex(static_cast<float>(channel + 1 + order + index),
                                                             -0.5f * static_cast<float>(order + 1));
        }
    }
    item.values[2 * kOrders + 1] = Complex(0.0f, 0.0f);
    return item;
}

DataHarmonics harmonicsItem(int32_t seconds, float base)
{
    DataHarmonics item{};
    item.utc = DataTimespec{seconds, 0};
    item.quality = 3;
    for (int order = 0; order < kOrders; ++order)
        item.values[order] = base + 0.25f * static_cast<float>(order);
    return item;
}

template <typename T> T filledItem(int32_t seconds, float base)
{
    T item{};
    item.utc = DataTimespec{seconds, 0};
    item.quality = 1;
    const size_t count = sizeof(item.values) / sizeof(item.values[0]);
    for (size_t index = 0; index < count; ++index)
        item.values[index] = base + static_cast<float>(index);
    return item;
}

template <typename T>
bool sameItems(const std::shared_ptr<LoggerResult<T>>& result, const std::vector<T>& items)
{
    return result != nullptr && result->mNumItems == static_cast<int>(items.size()) &&
           std::memcmp(result->mItems, items.data(), sizeof(T) * items.size()) == 0;
}

// The fixture of the tests without a store: the log lines of this process are captured.
class AmplitudeTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { LogCapture::instance(); }

    static QString apiLine(const char* level, const QString& text)
    {
        return QStringLiteral("Logger.Api|") + QLatin1String(level) + QLatin1Char('|') + text;
    }
};

} // namespace

// --- the predicates ------------------------------------------------------------------------------

TEST(HarmonicsPredicateTest, EachPredicateFindsItsSubstringAnywhereAndCaseSensitively)
{
    const std::pair<const char*, std::function<bool(const QString&)>> predicates[] = {
        {"_inter_", LoggerApi::isInterharmonic},
        {"select_magn_", LoggerApi::isMagnitude_10min},
        {"select_diff_", LoggerApi::isDifference_10min},
        {"select_diffutil_", LoggerApi::isDifferenceUtil_10min},
    };
    for (const auto& predicate : predicates) {
        const QString part = QLatin1String(predicate.first);
        SCOPED_TRACE(predicate.first);
        EXPECT_TRUE(predicate.second(part));
        EXPECT_TRUE(predicate.second(part + QStringLiteral("10min.u1")));
        EXPECT_TRUE(predicate.second(QStringLiteral("aggr.mean") + part + QStringLiteral("u1")));
        EXPECT_TRUE(predicate.second(QStringLiteral("aggr.mean.harm") + part));
        EXPECT_FALSE(predicate.second(part.toUpper()));
        EXPECT_FALSE(predicate.second(part.mid(1)));
        EXPECT_FALSE(predicate.second(part.left(part.size() - 1)));
        EXPECT_FALSE(predicate.second(QString()));
    }
    // "select_diffutil_" does not hold "select_diff_", nor the other way round.
    EXPECT_FALSE(LoggerApi::isDifference_10min(QStringLiteral("h.select_diffutil_u1")));
    EXPECT_FALSE(LoggerApi::isDifferenceUtil_10min(QStringLiteral("h.select_diff_u1")));
}

TEST(HarmonicsPredicateTest, AnArrayOf51OrdersIsAnyOfItsFiveSubstringsAndNothingElse)
{
    for (const char* part :
         {"select_magn_", "select_diff_", "select_diffutil_", "_amp_10min", "_calc_10min"}) {
        SCOPED_TRACE(part);
        EXPECT_TRUE(LoggerApi::isArray51_10min(QStringLiteral("aggr.mean") + QLatin1String(part) + "u1"));
        EXPECT_TRUE(LoggerApi::isArray51_10min(QLatin1String(part)));
        EXPECT_FALSE(LoggerApi::isArray51_10min(QString(QLatin1String(part)).toUpper()));
    }
    for (const char* id : {"", "aggr.mean_10min.harm_10min.u1", "aggr.mean_10min.harm_inter_10min.u1",
                           "_amp_1min", "calc_10min", "select_mag_", "select_dif_"}) {
        SCOPED_TRACE(id);
        EXPECT_FALSE(LoggerApi::isArray51_10min(QLatin1String(id)));
    }
}

TEST(HarmonicsPredicateTest, IsPhasePhaseIsAPlainSubstringSearchAlsoWhereTheDigitsMeanSomethingElse)
{
    for (const char* id : {"aggr.mean_10min.harm_10min.u12", "aggr.mean_10min.harm_10min.u23",
                           "aggr.mean_10min.harm_10min.u31", "12", "aggr.mean_12min.harm.u1",
                           "aggr.values_123", "aggr.u1.v231"}) {
        SCOPED_TRACE(id);
        EXPECT_TRUE(LoggerApi::isPhasePhase(QLatin1String(id)));
    }
    for (const char* id : {"", "aggr.mean_10min.harm_10min.u1", "u13", "u21", "u32", "1 2", "u1_u2"}) {
        SCOPED_TRACE(id);
        EXPECT_FALSE(LoggerApi::isPhasePhase(QLatin1String(id)));
    }
}

TEST(HarmonicsPredicateTest, AnIdentificationThatMatchesSeveralOrNoPredicatesIsAnsweredByEach)
{
    const QString several =
        QStringLiteral("select_magn_select_diff_select_diffutil__amp_10min_inter_harm_10min.31.i3");
    EXPECT_TRUE(LoggerApi::isInterharmonic(several));
    EXPECT_TRUE(LoggerApi::isMagnitude_10min(several));
    EXPECT_TRUE(LoggerApi::isDifference_10min(several));
    EXPECT_TRUE(LoggerApi::isDifferenceUtil_10min(several));
    EXPECT_TRUE(LoggerApi::isArray51_10min(several));
    EXPECT_TRUE(LoggerApi::isPhasePhase(several));
    EXPECT_EQ(LoggerApi::getChannelIndex(several), 5u);

    for (const QString& none : {QString(), QStringLiteral("x"), QString(1000, QLatin1Char('_')),
                                QStringLiteral("\u00e4\u00f6\u00fc\u20ac")}) {
        EXPECT_FALSE(LoggerApi::isInterharmonic(none));
        EXPECT_FALSE(LoggerApi::isMagnitude_10min(none));
        EXPECT_FALSE(LoggerApi::isDifference_10min(none));
        EXPECT_FALSE(LoggerApi::isDifferenceUtil_10min(none));
        EXPECT_FALSE(LoggerApi::isArray51_10min(none));
        EXPECT_FALSE(LoggerApi::isPhasePhase(none));
        EXPECT_FALSE(LoggerApi::isComplexAmplitude(none));
        EXPECT_EQ(LoggerApi::getChannelIndex(none), 0u);
    }
}

TEST(HarmonicsPredicateTest, TheChannelIsThePositionOfTheFirstOfTheSixNamesInTheirOrder)
{
    const char* const names[] = {"u1", "u2", "u3", "i1", "i2", "i3"};
    for (unsigned int index = 0; index < 6; ++index) {
        SCOPED_TRACE(names[index]);
        EXPECT_EQ(LoggerApi::getChannelIndex(QStringLiteral("aggr.mean_10min.harm_10min.") +
                                             QLatin1String(names[index])),
                  index);
        EXPECT_EQ(LoggerApi::getChannelIndex(QLatin1String(names[index])), index);
        EXPECT_EQ(LoggerApi::getChannelIndex(QString(QLatin1String(names[index])).toUpper()), 0u);
    }
    // The order of the test decides, not the position in the string.
    EXPECT_EQ(LoggerApi::getChannelIndex(QStringLiteral("harm.i3.u2")), 1u);
    EXPECT_EQ(LoggerApi::getChannelIndex(QStringLiteral("harm.i2.i1")), 3u);
    EXPECT_EQ(LoggerApi::getChannelIndex(QStringLiteral("harm.u3i2")), 2u);
}

TEST(HarmonicsPredicateTest, AnIdWithU1AndI3IsChannel0AndOneWithNeitherOfTheSixIs0Too)
{
    EXPECT_EQ(LoggerApi::getChannelIndex(QStringLiteral("aggr.mean_10min.harm_10min.u1.i3")), 0u);
    EXPECT_EQ(LoggerApi::getChannelIndex(QStringLiteral("aggr.mean_10min.harm_10min.i3.u1")), 0u);
    EXPECT_EQ(LoggerApi::getChannelIndex(QStringLiteral("aggr.mean_10min.harm_10min.u12")), 0u);
    EXPECT_EQ(LoggerApi::getChannelIndex(QStringLiteral("aggr.mean_10min.harm_10min.n")), 0u);
    EXPECT_EQ(LoggerApi::getChannelIndex(QStringLiteral("aggr.mean_10min.harm_10min.i4")), 0u);
}

TEST(HarmonicsPredicateTest, IsComplexAmplitudeIsFalseForEveryIdWhileTheStoreHasNoComplexHarmonics)
{
    ASSERT_FALSE(LoggerDb::getInstance().hasComplexHarmonics());
    for (const char* id : {"aggr.mean_10min.harm_10min.u1", "aggr.mean_10min.harm_inter_10min.i2",
                           "harm_10min", "inter_10min", "aggr.mean_10min.harm_complex.values_0", ""}) {
        SCOPED_TRACE(id);
        EXPECT_FALSE(LoggerApi::isComplexAmplitude(QLatin1String(id)));
    }
}

// --- the amplitudes -----------------------------------------------------------------------------

TEST_F(AmplitudeTest, AbsoluteAmplitudesAreTheMagnitudesOfFiftyOrdersOfTheChannelAndOrder50StaysAsItWas)
{
    LoggerApi api;
    DataComplexArray source = patternItem(kMidnight + 600, 9);
    source.values[4 * kOrders + 2] = Complex(3.0f, -4.0f);
    for (unsigned int channel = 0; channel < static_cast<unsigned int>(kChannels); ++channel) {
        SCOPED_TRACE(channel);
        DataHarmonics target{};
        target.values[50] = -7.5f;
        api.calculateAmplitude(source, target, channel, 50.0f, false);
        EXPECT_EQ(target.utc.tv_sec, kMidnight + 600);
        EXPECT_EQ(target.quality, 9u);
        for (unsigned int order = 0; order < 50; ++order) {
            const Complex value = source.values[channel * kOrders + order];
            ASSERT_LE(ulpDistance(target.values[order], referenceMagnitude(value)), 1) << order;
        }
        EXPECT_EQ(target.values[50], -7.5f);
    }
    DataHarmonics target{};
    api.calculateAmplitude(source, target, 4, 0.0f, false);
    EXPECT_EQ(target.values[2], 5.0f);
}

TEST_F(AmplitudeTest, AVoltageChannelWithAZeroFundamentalGivesPerCentAgainstAReferenceOf1)
{
    LoggerApi api;
    DataComplexArray source = complexItem(kMidnight, 0);
    source.values[1 * kOrders + 0] = Complex(2.0f, 0.0f);
    source.values[1 * kOrders + 1] = Complex(0.0f, 0.0f);
    source.values[1 * kOrders + 2] = Complex(0.0f, 0.5f);
    source.values[1 * kOrders + 3] = Complex(-3.0f, 4.0f);
    DataHarmonics target{};
    api.calculateAmplitude(source, target, 1, 80.0f, true);
    EXPECT_EQ(target.values[0], 200.0f);
    EXPECT_EQ(target.values[1], 0.0f);
    EXPECT_EQ(target.values[2], 50.0f);
    EXPECT_EQ(target.values[3], 500.0f);

    // With a fundamental, order 0 is still divided by 1.0 and order 1 becomes 100.
    source.values[1 * kOrders + 1] = Complex(0.0f, -4.0f);
    api.calculateAmplitude(source, target, 1, 80.0f, true);
    EXPECT_EQ(target.values[0], 200.0f);
    EXPECT_EQ(target.values[1], 100.0f);
    EXPECT_EQ(target.values[2], 12.5f);
    EXPECT_EQ(target.values[3], 125.0f);
}

TEST_F(AmplitudeTest,
       ACurrentChannelIsInPerCentOfTheMaximumLoadOrOfItsFundamentalWithAnErrorWhereTheLoadIsZero)
{
    LoggerApi api;
    DataComplexArray source = complexItem(kMidnight, 0);
    source.values[5 * kOrders + 0] = Complex(1.0f, 0.0f);
    source.values[5 * kOrders + 1] = Complex(8.0f, 0.0f);
    source.values[5 * kOrders + 2] = Complex(0.0f, 2.0f);
    DataHarmonics target{};
    api.calculateAmplitude(source, target, 5, 16.0f, true);
    EXPECT_EQ(target.values[0], 6.25f);
    EXPECT_EQ(target.values[1], 50.0f);
    EXPECT_EQ(target.values[2], 12.5f);
    const QString error = apiLine("ERROR", QStringLiteral("Maximum Load Current nicht im Header definiert"));
    EXPECT_EQ(LogCapture::count(error), 0);

    api.calculateAmplitude(source, target, 5, 0.0f, true);
    EXPECT_EQ(target.values[0], 100.0f);
    EXPECT_EQ(target.values[1], 100.0f);
    EXPECT_EQ(target.values[2], 25.0f);
    EXPECT_EQ(LogCapture::count(error), 1);

    // The missing load is reported for every current channel, also for absolute values, and never
    // for a voltage channel.
    api.calculateAmplitude(source, target, 3, 0.0f, false);
    api.calculateAmplitude(source, target, 2, 0.0f, true);
    EXPECT_EQ(LogCapture::count(error), 2);
}

TEST_F(AmplitudeTest, NotANumberInfiniteZeroAndHugePartsGiveTheirMagnitudesWithoutFault)
{
    LoggerApi api;
    DataComplexArray source = complexItem(kMidnight, 0);
    const Complex values[] = {{kNaN, 1.0f},       {1.0f, kNaN},     {kInfinity, kNaN}, {kNaN, -kInfinity},
                              {-kInfinity, 0.0f}, {0.0f, 0.0f},     {-0.0f, -0.0f},    {3e38f, 3e38f},
                              {-3e38f, 1.0f},     {1e-45f, 1e-45f}, {kNaN, kNaN},      {1e19f, -1e19f},
                              {0.0f, -2.0f}};
    const size_t count = sizeof(values) / sizeof(values[0]);
    for (size_t order = 0; order < count; ++order)
        source.values[order] = values[order];
    DataHarmonics target{};
    api.calculateAmplitude(source, target, 0, 0.0f, false);
    for (size_t order = 0; order < count; ++order) {
        SCOPED_TRACE(order);
        const float expected = referenceMagnitude(values[order]);
        if (std::isnan(expected)) {
            EXPECT_TRUE(std::isnan(target.values[order]));
        } else {
            EXPECT_LE(ulpDistance(target.values[order], expected), 1)
                << target.values[order] << " against " << expected;
        }
    }
    EXPECT_EQ(target.values[4], kInfinity);
    EXPECT_EQ(target.values[5], 0.0f);
    EXPECT_FALSE(std::signbit(target.values[6]));
    EXPECT_EQ(target.values[7], kInfinity); // beyond the largest float
    EXPECT_EQ(target.values[12], 2.0f);

    // A NaN or infinite fundamental carries into the per cent of a voltage channel.
    api.calculateAmplitude(source, target, 0, 0.0f, true);
    EXPECT_TRUE(std::isnan(target.values[2]));
    EXPECT_TRUE(std::isnan(target.values[4]));
}

TEST_F(AmplitudeTest, AChannelBeyondTheSevenOfTheItemCopiesOnlyTimeAndQualityAndReportsIt)
{
    LoggerApi api;
    DataComplexArray source = patternItem(kMidnight + 1, 4);
    DataHarmonics target = harmonicsItem(kMidnight - 5, 1.0f);
    const DataHarmonics before = target;
    api.calculateAmplitude(source, target, 7, 50.0f, true);
    EXPECT_EQ(target.utc.tv_sec, kMidnight + 1);
    EXPECT_EQ(target.quality, 4u);
    EXPECT_EQ(std::memcmp(target.values, before.values, sizeof(target.values)), 0);
    api.calculateAmplitude(source, target, 0xffffffffu, 50.0f, false);
    EXPECT_EQ(std::memcmp(target.values, before.values, sizeof(target.values)), 0);
    EXPECT_EQ(LogCapture::count(apiLine("ERROR", QStringLiteral("Channel 7 not in the complex values"))), 1);
}

// Random items of every channel, absolute and in per cent, with loads of every kind: the
// magnitudes within one unit in the last place of the double-precision reference (the library
// takes the hypotenuse of the C library, not a correctly rounded one); the per cent to the bit,
// from the absolute values of the same item by the scaling rules.
TEST_F(AmplitudeTest, RandomComplexValuesGiveTheMagnitudesAndPerCentOfTheReference)
{
    std::mt19937 random(20260101u);
    std::uniform_real_distribution<float> mantissa(-1.0f, 1.0f);
    std::uniform_int_distribution<int> exponent(-140, 127);
    std::uniform_int_distribution<int> kind(0, 19);
    auto part = [&]() -> float {
        switch (kind(random)) {
        case 0: return kNaN;
        case 1: return kInfinity;
        case 2: return -kInfinity;
        case 3: return 0.0f;
        case 4: return -0.0f;
        case 5: return std::numeric_limits<float>::max() * mantissa(random);
        case 6: return std::numeric_limits<float>::denorm_min() * static_cast<float>(kind(random));
        default: return std::ldexp(mantissa(random), exponent(random) / 4);
        }
    };
    const float loads[] = {0.0f, 1.0f, 16.5f, 1e-30f, 3e38f, kNaN, -5.0f};
    LoggerApi api;
    int items = 0;
    int nonFinite = 0;
    int zeroFundamentals = 0;
    for (int round = 0; round < 4000; ++round) {
        DataComplexArray source = complexItem(kMidnight + round, static_cast<uint32_t>(round));
        for (Complex& value : source.values)
            value = Complex(part(), part());
        const unsigned int channel = static_cast<unsigned int>(round % kChannels);
        if (round % 5 == 0)
            source.values[channel * kOrders + 1] = Complex(0.0f, round % 10 == 0 ? -0.0f : 0.0f);
        const float maxLoad = loads[static_cast<size_t>(round) % (sizeof(loads) / sizeof(loads[0]))];

        DataHarmonics absolute{};
        absolute.values[50] = 1234.5f;
        api.calculateAmplitude(source, absolute, channel, maxLoad, false);
        DataHarmonics percent{};
        api.calculateAmplitude(source, percent, channel, maxLoad, true);

        std::vector<float> magnitudes;
        for (int order = 0; order < 50; ++order) {
            const Complex value = source.values[channel * kOrders + static_cast<unsigned int>(order)];
            const float expected = referenceMagnitude(value);
            const float actual = absolute.values[order];
            if (std::isnan(expected)) {
                ASSERT_TRUE(std::isnan(actual)) << "item " << round << " order " << order;
            } else {
                ASSERT_LE(ulpDistance(actual, expected), 1)
                    << "item " << round << " order " << order << ": " << actual << " against " << expected;
            }
            nonFinite += std::isfinite(expected) ? 0 : 1;
            magnitudes.push_back(actual);
        }
        zeroFundamentals += magnitudes[1] == 0.0f ? 1 : 0;
        ASSERT_EQ(absolute.values[50], 1234.5f) << "item " << round;
        ASSERT_EQ(percent.values[50], 0.0f) << "item " << round;
        ASSERT_EQ(absolute.quality, static_cast<uint32_t>(round));
        ASSERT_EQ(percent.utc.tv_sec, kMidnight + round);

        const std::vector<float> expected = referencePercent(magnitudes, channel, maxLoad);
        for (int order = 0; order < 50; ++order) {
            ASSERT_TRUE(sameValue(percent.values[order], expected[static_cast<size_t>(order)]))
                << "item " << round << " channel " << channel << " load " << maxLoad << " order " << order
                << ": " << percent.values[order] << " against " << expected[static_cast<size_t>(order)];
        }
        ++items;
    }
    // The random inputs reach what they are meant to reach.
    EXPECT_EQ(items, 4000);
    EXPECT_GT(nonFinite, 10000);
    EXPECT_GE(zeroFundamentals, 800);
}

// --- the getters on a real store ----------------------------------------------------------------

namespace {

const QString kHarmonicsU1 = QStringLiteral("aggr.mean_10min.harm_10min.u1");
const QString kHarmonicsU12 = QStringLiteral("aggr.mean_10min.harm_10min.u12");
const QString kInterharmonicsU1 = QStringLiteral("aggr.mean_10min.harm_inter_10min.u1");
const QString kMagnitudeU1 = QStringLiteral("aggr.mean_10min.harm.select_magn_u1");
constexpr int kTenMinutes = 600;
constexpr int kDayOfTenMinutes = 144;

class HarmonicsGettersTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { LogCapture::instance(); }

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

    // A started measured logger; null where it did not start. The scales go into the headers
    // of its files: the first is the maximum load current of a complex logger.
    TestLogger* startLogger(const QString& id, LoggerDataType dataType, int blockSize,
                            float scaleVoltage = 0.0f, float scaleCurrent = 0.0f)
    {
        mLoggers.push_back(std::make_unique<TestLogger>(id, blockSize, LoggerType::CYCLIC, dataType));
        TestLogger* logger = mLoggers.back().get();
        logger->setHeaderParameters(scaleVoltage, scaleCurrent);
        if (!logger->startLogger()) {
            ADD_FAILURE() << LoggerDb::getInstance().getLastError().toStdString();
            return nullptr;
        }
        logger->setHeaderParameters(scaleVoltage, scaleCurrent);
        return logger;
    }

    // The items through the writer's path, and the catalogue brought up to date.
    template <typename T> void write(TestLogger* logger, const std::vector<T>& items)
    {
        ASSERT_NE(logger, nullptr);
        ASSERT_NE(logger->writeDatas(reinterpret_cast<const char*>(items.data()),
                                     static_cast<int>(items.size()), true, true),
                  nullptr);
        ASSERT_TRUE(logger->updateAccess());
    }

    // Items every ten minutes of the first day, as the complex logger writes them.
    std::vector<DataComplexArray> writeComplexDay(float maxLoad)
    {
        std::vector<DataComplexArray> items;
        for (int index = 0; index < kDayOfTenMinutes; ++index)
            items.push_back(patternItem(kMidnight + kTenMinutes * (index + 1), index));
        write(startLogger(kComplexId, LoggerDataType::COMPLEX, sizeof(DataComplexArray), maxLoad, 0.25f),
              items);
        return items;
    }

    std::vector<DataHarmonics> writeHarmonics(const QString& id, float base, int count = 6)
    {
        std::vector<DataHarmonics> items;
        for (int index = 0; index < count; ++index)
            items.push_back(
                harmonicsItem(kMidnight + kTenMinutes * (index + 1), base + static_cast<float>(index)));
        write(startLogger(id, LoggerDataType::HARMONICS, sizeof(DataHarmonics)), items);
        return items;
    }

    // The store as a restarted writer brings it up: the catalogue is read anew, and with it
    // whether the device has complex harmonics.
    void restartStore()
    {
        for (const auto& logger : mLoggers)
            logger->stopLogger();
        LoggerDb::getInstance().close();
        ASSERT_TRUE(mStore.initializeWriter()) << mStore.errorString().toStdString();
    }

    // The amplitudes of one channel as calculateAmplitude gives them for each written item.
    std::vector<DataHarmonics> amplitudes(std::vector<DataComplexArray> items, unsigned int channel,
                                          float maxLoad, bool percent)
    {
        std::vector<DataHarmonics> result(items.size());
        for (size_t index = 0; index < items.size(); ++index) {
            result[index] = DataHarmonics{};
            mApi.calculateAmplitude(items[index], result[index], channel, maxLoad, percent);
        }
        return result;
    }

    int countMessages(const std::string& text, LoggerMessageType type) const
    {
        return static_cast<int>(std::count(mMessages.begin(), mMessages.end(), std::make_pair(text, type)));
    }

    static QString apiLine(const char* level, const QString& text)
    {
        return QStringLiteral("Logger.Api|") + QLatin1String(level) + QLatin1Char('|') + text;
    }

    WriterStore mStore;
    LoggerApi mApi;
    std::vector<std::unique_ptr<TestLogger>> mLoggers;
    std::vector<unsigned long> mPauses;
    std::vector<std::pair<std::string, LoggerMessageType>> mMessages;
};

const timespec kDayStart = at(kMidnight);
const timespec kDayEnd = at(kMidnight + 86400);

} // namespace

TEST_F(HarmonicsGettersTest, HarmonicsStoredAsAmplitudesComeBackAsStoredWithTheLoggersInterval)
{
    const std::vector<DataHarmonics> items = writeHarmonics(kHarmonicsU1, 230.0f);
    ASSERT_FALSE(HasFatalFailure());
    ASSERT_FALSE(LoggerApi::isComplexAmplitude(kHarmonicsU1));

    mPauses.clear();
    const PtrLoggerResultHarmonics result =
        mApi.getHarmonics(kHarmonicsU1, kDayStart, kDayEnd, LoggerApi::isComplexAmplitude(kHarmonicsU1),
                          LoggerApiInterface::CONNECTION_ANY);
    ASSERT_NE(result, nullptr) << LoggerApiInterface::getLastError().toStdString();
    EXPECT_TRUE(sameItems(result, items));
    EXPECT_EQ(result->mInterval, 1.0);
    EXPECT_EQ(mPauses, std::vector<unsigned long>{kReadPause});

    const PtrLoggerResultHarmonics direct = mApi.readHarmmonics51(kHarmonicsU1, kDayStart, kDayEnd);
    EXPECT_TRUE(sameItems(direct, items));

    // A part of the range, both ends included.
    const PtrLoggerResultHarmonics part = mApi.getHarmonics(
        kHarmonicsU1, at(kMidnight + 1200), at(kMidnight + 2400), false, LoggerApiInterface::CONNECTION_ANY);
    EXPECT_TRUE(sameItems(part, std::vector<DataHarmonics>(items.begin() + 1, items.begin() + 4)));
}

TEST_F(HarmonicsGettersTest, ComplexHarmonicsGivePerCentAmplitudesOfTheChannelTheIdNames)
{
    const std::vector<DataComplexArray> items = writeComplexDay(40.0f);
    ASSERT_FALSE(HasFatalFailure());
    // The device has complex harmonics from the catalogue on: a writer that starts again reads it.
    EXPECT_FALSE(LoggerDb::getInstance().hasComplexHarmonics());
    restartStore();
    ASSERT_FALSE(HasFatalFailure());
    ASSERT_TRUE(LoggerDb::getInstance().hasComplexHarmonics());

    const std::pair<QString, unsigned int> channels[] = {
        {kHarmonicsU1, 0},
        {QStringLiteral("aggr.mean_10min.harm_10min.u3"), 2},
        {QStringLiteral("aggr.mean_10min.harm_10min.i2"), 4}};
    for (const auto& channel : channels) {
        SCOPED_TRACE(channel.first.toStdString());
        ASSERT_TRUE(LoggerApi::isComplexAmplitude(channel.first));
        mPauses.clear();
        const PtrLoggerResultHarmonics result =
            mApi.getHarmonics(channel.first, kDayStart, kDayEnd, LoggerApi::isComplexAmplitude(channel.first),
                              LoggerApiInterface::CONNECTION_ANY);
        ASSERT_NE(result, nullptr) << LoggerApiInterface::getLastError().toStdString();
        EXPECT_TRUE(sameItems(result, amplitudes(items, channel.second, 40.0f, true)));
        EXPECT_EQ(result->mInterval, 0.0);
        EXPECT_EQ(mPauses, std::vector<unsigned long>{kReadPause});
        for (int index = 0; index < result->mNumItems; ++index) {
            const DataHarmonics& item = result->mItems[index];
            ASSERT_EQ(item.utc.tv_sec, kMidnight + kTenMinutes * (index + 1));
            ASSERT_EQ(item.quality, static_cast<uint32_t>(index));
            ASSERT_EQ(item.values[50], 0.0f) << index;
            if (channel.second == 0) {
                ASSERT_EQ(item.values[1], 100.0f) << index; // the fundamental of a voltage
            } else if (channel.second == 2) {
                // A zero fundamental: per cent of 1.0, order 2 of (3 + 2 + index, -1.5).
                const float magnitude = referenceMagnitude(Complex(5.0f + static_cast<float>(index), -1.5f));
                ASSERT_LE(
                    ulpDistance(item.values[2], static_cast<float>(static_cast<double>(magnitude) * 100.0)),
                    1);
            } else {
                // A current in per cent of the maximum load of the file header, 40.
                const float magnitude = referenceMagnitude(Complex(6.0f + static_cast<float>(index), -1.0f));
                ASSERT_LE(ulpDistance(item.values[1], static_cast<float>(magnitude / 40.0f * 100.0)), 1);
            }
        }
    }
    EXPECT_GE(countMessages("getComplexArray(" + kComplexId.toStdString() + ")...", LOGGER_MESSAGE_ROUTINE),
              3);
    EXPECT_GE(countMessages("...getComplexArray()", LOGGER_MESSAGE_ROUTINE), 3);
    EXPECT_EQ(LogCapture::count(apiLine("ERROR", QStringLiteral("Maximum Load current not in Header"))), 0);
}

TEST_F(HarmonicsGettersTest, WithComplexAmplitudeAnInterharmonicIdIsReadFromTheHarmonicsLogger)
{
    writeComplexDay(40.0f);
    const std::vector<DataHarmonics> items = writeHarmonics(kInterharmonicsU1, 3.0f);
    ASSERT_FALSE(HasFatalFailure());
    mMessages.clear();
    const PtrLoggerResultHarmonics result =
        mApi.getHarmonics(kInterharmonicsU1, kDayStart, kDayEnd, true, LoggerApiInterface::CONNECTION_ANY);
    ASSERT_NE(result, nullptr) << LoggerApiInterface::getLastError().toStdString();
    EXPECT_TRUE(sameItems(result, items));
    EXPECT_EQ(result->mInterval, 1.0);
    EXPECT_EQ(countMessages("...getComplexArray()", LOGGER_MESSAGE_ROUTINE), 0);

    // Another id with complexAmplitude goes to the complex logger, whatever HARMONICS loggers hold.
    writeHarmonics(kHarmonicsU1, 7.0f);
    const PtrLoggerResultHarmonics complex =
        mApi.getHarmonics(kHarmonicsU1, kDayStart, kDayEnd, true, LoggerApiInterface::CONNECTION_ANY);
    ASSERT_NE(complex, nullptr);
    EXPECT_EQ(complex->mNumItems, kDayOfTenMinutes);
    EXPECT_EQ(countMessages("...getComplexArray()", LOGGER_MESSAGE_ROUTINE), 1);
}

TEST_F(HarmonicsGettersTest,
       TheConnectionTypeLetsOnlyFittingIdentificationsThroughAndAnswersOthersEmptyAtOnce)
{
    const std::vector<DataHarmonics> neutral = writeHarmonics(kHarmonicsU1, 1.0f);
    const std::vector<DataHarmonics> phase = writeHarmonics(kHarmonicsU12, 400.0f);
    ASSERT_FALSE(HasFatalFailure());
    // Any other value the type can hold: its values reach 3.
    const auto other = static_cast<LoggerApiInterface::HarmonicConnectionType>(3);
    const struct {
        const QString& id;
        LoggerApiInterface::HarmonicConnectionType connection;
        const std::vector<DataHarmonics>* expected; // null: an empty result
    } cases[] = {
        {kHarmonicsU1, LoggerApiInterface::CONNECTION_PHASE_PHASE, nullptr},
        {kHarmonicsU12, LoggerApiInterface::CONNECTION_PHASE_PHASE, &phase},
        {kHarmonicsU1, LoggerApiInterface::CONNECTION_PHASE_NEUTRAL, &neutral},
        {kHarmonicsU12, LoggerApiInterface::CONNECTION_PHASE_NEUTRAL, nullptr},
        {kHarmonicsU1, LoggerApiInterface::CONNECTION_ANY, &neutral},
        {kHarmonicsU12, LoggerApiInterface::CONNECTION_ANY, &phase},
        {kHarmonicsU1, other, &neutral},
        {kHarmonicsU12, other, &phase},
    };
    for (const auto& query : cases) {
        SCOPED_TRACE(query.id.toStdString() + " connection " + std::to_string(query.connection));
        mPauses.clear();
        // Also with complexAmplitude: the wiring is tested first.
        const PtrLoggerResultHarmonics result =
            mApi.getHarmonics(query.id, kDayStart, kDayEnd, query.expected == nullptr, query.connection);
        ASSERT_NE(result, nullptr) << LoggerApiInterface::getLastError().toStdString();
        if (query.expected == nullptr) {
            EXPECT_EQ(result->mNumItems, 0);
            EXPECT_TRUE(mPauses.empty());
        } else {
            EXPECT_TRUE(sameItems(result, *query.expected));
            EXPECT_EQ(mPauses, std::vector<unsigned long>{kReadPause});
        }
    }
}

TEST_F(HarmonicsGettersTest,
       AbsoluteHarmonicsComeAsStoredForArraysOf51AndAsMagnitudesOtherwiseWithOrder50Zero)
{
    const std::vector<DataComplexArray> complexItems = writeComplexDay(40.0f);
    const std::vector<DataHarmonics> stored = writeHarmonics(kMagnitudeU1, 12.0f);
    ASSERT_FALSE(HasFatalFailure());

    const PtrLoggerResultHarmonics magnitudes = mApi.getHarmonicsAbsolute(kMagnitudeU1, kDayStart, kDayEnd);
    EXPECT_TRUE(sameItems(magnitudes, stored));

    const QString current = QStringLiteral("aggr.mean_10min.harm_10min.i3");
    const PtrLoggerResultHarmonics absolute = mApi.getHarmonicsAbsolute(current, kDayStart, kDayEnd);
    ASSERT_NE(absolute, nullptr) << LoggerApiInterface::getLastError().toStdString();
    EXPECT_TRUE(sameItems(absolute, amplitudes(complexItems, 5, 40.0f, false)));
    EXPECT_EQ(absolute->mInterval, 0.0);
    for (int index = 0; index < absolute->mNumItems; ++index) {
        const DataHarmonics& item = absolute->mItems[index];
        ASSERT_EQ(item.values[50], 0.0f) << index;
        const float expected = referenceMagnitude(Complex(6.0f + 49.0f + static_cast<float>(index), -25.0f));
        ASSERT_LE(ulpDistance(item.values[49], expected), 1) << index;
    }

    // getComplexAmplitudeArray itself, with the items of a part of the day.
    const PtrLoggerResultHarmonics part = mApi.getComplexAmplitudeArray(
        current, at(kMidnight + kTenMinutes), at(kMidnight + 3 * kTenMinutes), false);
    EXPECT_TRUE(sameItems(part, std::vector<DataHarmonics>(absolute->mItems, absolute->mItems + 3)));
}

TEST_F(HarmonicsGettersTest, TheArrayGettersReadTheirLoggersAndTraceAsTheyDo)
{
    std::vector<Array41> arrays;
    std::vector<Percentile41> percentiles41;
    std::vector<Percentile51> percentiles51;
    std::vector<DataComplexArray> complexItems;
    std::vector<Prevailing> prevailing;
    std::vector<Contribution> contributions;
    for (int index = 0; index < 4; ++index) {
        const int32_t seconds = kMidnight + kTenMinutes * (index + 1);
        arrays.push_back(filledItem<Array41>(seconds, 1.0f * static_cast<float>(index)));
        percentiles41.push_back(filledItem<Percentile41>(seconds, 2.0f * static_cast<float>(index)));
        percentiles51.push_back(filledItem<Percentile51>(seconds, 3.0f * static_cast<float>(index)));
        complexItems.push_back(patternItem(seconds, index));
        prevailing.push_back(filledItem<Prevailing>(seconds, 4.0f * static_cast<float>(index)));
        contributions.push_back(filledItem<Contribution>(seconds, -5.0f * static_cast<float>(index)));
    }
    const QString arrayId = QStringLiteral("aggr.mean_10min.harm41.u1");
    const QString percentile41Id = QStringLiteral("aggr.percentile_10min.harm41.u1");
    const QString percentile51Id = QStringLiteral("aggr.percentile_10min.harm.u1");
    const QString prevailingId = QStringLiteral("aggr.prevailing_10min.values");
    const QString contributionId = QStringLiteral("aggr.contribution_10min.values");
    write(startLogger(arrayId, LoggerDataType::HARMONICS, sizeof(Array41)), arrays);
    write(startLogger(percentile41Id, LoggerDataType::PERCENTILE, sizeof(Percentile41)), percentiles41);
    write(startLogger(percentile51Id, LoggerDataType::PERCENTILE, sizeof(Percentile51)), percentiles51);
    write(startLogger(kComplexId, LoggerDataType::COMPLEX, sizeof(DataComplexArray), 40.0f, 0.25f),
          complexItems);
    write(startLogger(prevailingId, LoggerDataType::PREVAILING, sizeof(Prevailing)), prevailing);
    write(startLogger(contributionId, LoggerDataType::CONTRIBUTION, sizeof(Contribution)), contributions);
    ASSERT_FALSE(HasFatalFailure());

    const auto traced = [this](const std::string& before, const std::string& after) {
        const bool beforeOk = before.empty() || countMessages(before, LOGGER_MESSAGE_ROUTINE) == 1;
        return beforeOk && countMessages(after, LOGGER_MESSAGE_ROUTINE) == 1;
    };
    const auto check = [&](const char* name, auto read, const auto& items, const std::string& before,
                           const std::string& after) {
        SCOPED_TRACE(name);
        mMessages.clear();
        mPauses.clear();
        const auto result = read();
        ASSERT_NE(result, nullptr) << LoggerApiInterface::getLastError().toStdString();
        EXPECT_TRUE(sameItems(result, items));
        EXPECT_EQ(result->mInterval, 1.0);
        EXPECT_EQ(mPauses, std::vector<unsigned long>{kReadPause});
        EXPECT_TRUE(traced(before, after));
    };
    check(
        "getArray41", [&] { return mApi.getArray41(arrayId, kDayStart, kDayEnd); }, arrays, "",
        "...getArray41()");
    check(
        "getPercentile3_41", [&] { return mApi.getPercentile3_41(percentile41Id, kDayStart, kDayEnd); },
        percentiles41, "getPercentile3_41(" + percentile41Id.toStdString() + ")...",
        "...getPercentile3_41()");
    check(
        "getPercentile3_51", [&] { return mApi.getPercentile3_51(percentile51Id, kDayStart, kDayEnd); },
        percentiles51, "getPercentile3_51(" + percentile51Id.toStdString() + ")...",
        "...getPercentile3_51()");
    check(
        "getComplexArray", [&] { return mApi.getComplexArray(kComplexId, kDayStart, kDayEnd); }, complexItems,
        "getComplexArray(" + kComplexId.toStdString() + ")...", "...getComplexArray()");
    check(
        "getPrevailingArray", [&] { return mApi.getPrevailingArray(prevailingId, kDayStart, kDayEnd); },
        prevailing, "getPrevailingArray(" + prevailingId.toStdString() + ")...", "...getPrevailingArray()");
    check(
        "getContributionArray", [&] { return mApi.getContributionArray(contributionId, kDayStart, kDayEnd); },
        contributions, "getContribution(" + contributionId.toStdString() + ")...", "...getContribution()");

    // The header of the complex read: the file's scales.
    LoggerHeader header{};
    const PtrLoggerResultComplexArray withHeader =
        mApi.getComplexArrayWithHeader(kComplexId, kDayStart, kDayEnd, header);
    EXPECT_TRUE(sameItems(withHeader, complexItems));
    EXPECT_EQ(header.Parameter1, 40.0f);
    EXPECT_EQ(header.Parameter2, 0.25f);

    // A range without files: zero items, no pause.
    mPauses.clear();
    const PtrLoggerResultArray41 none =
        mApi.getArray41(arrayId, at(kMidnight + 86401), at(kMidnight + 2 * 86400));
    ASSERT_NE(none, nullptr);
    EXPECT_EQ(none->mNumItems, 0);
    EXPECT_TRUE(mPauses.empty());
}

TEST_F(HarmonicsGettersTest,
       AmplitudesOfARangeWithoutComplexFilesTakeAMaximumLoadOf100AndReportTheMissingHeader)
{
    writeComplexDay(40.0f);
    ASSERT_FALSE(HasFatalFailure());
    const QString error = apiLine("ERROR", QStringLiteral("Maximum Load current not in Header"));
    const PtrLoggerResultHarmonics none =
        mApi.getComplexAmplitudeArray(QStringLiteral("aggr.mean_10min.harm_10min.i1"), at(kMidnight + 86401),
                                      at(kMidnight + 2 * 86400), true);
    ASSERT_NE(none, nullptr);
    EXPECT_EQ(none->mNumItems, 0);
    EXPECT_EQ(LogCapture::count(error), 1);
}

TEST_F(HarmonicsGettersTest, UnknownIdsAnswerNullAfterTheLookupPauseAndNameTheId)
{
    writeHarmonics(kHarmonicsU1, 1.0f);
    ASSERT_FALSE(HasFatalFailure());
    const QString unknown = QStringLiteral("aggr.no_such_logger_10min.u1");
    const std::pair<const char*, std::function<bool()>> queries[] = {
        {"getHarmonics",
         [&] {
             return !mApi.getHarmonics(unknown, kDayStart, kDayEnd, false,
                                       LoggerApiInterface::CONNECTION_ANY);
         }},
        {"getHarmonicsAbsolute of an array of 51",
         [&] { return !mApi.getHarmonicsAbsolute(QStringLiteral("h.select_diff_u2"), kDayStart, kDayEnd); }},
        {"readHarmmonics51", [&] { return !mApi.readHarmmonics51(unknown, kDayStart, kDayEnd); }},
        {"getArray41", [&] { return !mApi.getArray41(unknown, kDayStart, kDayEnd); }},
        {"getPercentile3_41", [&] { return !mApi.getPercentile3_41(unknown, kDayStart, kDayEnd); }},
        {"getPercentile3_51", [&] { return !mApi.getPercentile3_51(unknown, kDayStart, kDayEnd); }},
        {"getComplexArray", [&] { return !mApi.getComplexArray(unknown, kDayStart, kDayEnd); }},
        {"getPrevailingArray", [&] { return !mApi.getPrevailingArray(unknown, kDayStart, kDayEnd); }},
        {"getContributionArray", [&] { return !mApi.getContributionArray(unknown, kDayStart, kDayEnd); }},
        // A known id of another data type.
        {"getComplexArray of a HARMONICS logger",
         [&] { return !mApi.getComplexArray(kHarmonicsU1, kDayStart, kDayEnd); }},
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
        EXPECT_FALSE(error.isEmpty());
    }
    EXPECT_EQ(
        LogCapture::count(apiLine("WARN", QStringLiteral("getPrevailingArray, measuredType == nullptr"))), 0);
}

TEST_F(HarmonicsGettersTest, AmplitudesWithoutAComplexLoggerAnswerNullWithAWarning)
{
    writeHarmonics(kHarmonicsU1, 1.0f);
    ASSERT_FALSE(HasFatalFailure());
    mPauses.clear();
    EXPECT_EQ(mApi.getComplexAmplitudeArray(kHarmonicsU1, kDayStart, kDayEnd, true), nullptr);
    EXPECT_EQ(mApi.getHarmonics(kHarmonicsU1, kDayStart, kDayEnd, true, LoggerApiInterface::CONNECTION_ANY),
              nullptr);
    EXPECT_EQ(mApi.getHarmonicsAbsolute(kHarmonicsU1, kDayStart, kDayEnd), nullptr);
    EXPECT_EQ(mPauses, std::vector<unsigned long>(3, kLookupPause));
    EXPECT_EQ(LogCapture::count(
                  apiLine("WARN", QStringLiteral("getComplexAmplitudeArray(): complexValues == nullptr"))),
              3);
    EXPECT_EQ(LogCapture::count(apiLine("ERROR", QStringLiteral("Maximum Load current not in Header"))), 3);
}

// The catalogue fails at one call of a read, call after call: where the identification was found
// and the load of the measured type failed after it, the prevailing and contribution reads warn
// that the type is missing, and every read answers null after the pause or the items as stored.
TEST_F(HarmonicsGettersTest, AMeasuredTypeThatCannotBeLoadedIsReportedByThePrevailingAndContributionReads)
{
    const QString prevailingId = QStringLiteral("aggr.prevailing_10min.values");
    const QString contributionId = QStringLiteral("aggr.contribution_10min.values");
    const std::vector<Prevailing> prevailing = {filledItem<Prevailing>(kMidnight + kTenMinutes, 1.0f)};
    const std::vector<Contribution> contributions = {filledItem<Contribution>(kMidnight + kTenMinutes, 2.0f)};
    write(startLogger(prevailingId, LoggerDataType::PREVAILING, sizeof(Prevailing)), prevailing);
    write(startLogger(contributionId, LoggerDataType::CONTRIBUTION, sizeof(Contribution)), contributions);
    ASSERT_FALSE(HasFatalFailure());

    const struct {
        const char* name;
        std::function<bool(bool& stored)> read; // false: null
    } reads[] = {
        {"getPrevailingArray",
         [&](bool& stored) {
             const PtrLoggerResultPrevailingArray result =
                 mApi.getPrevailingArray(prevailingId, kDayStart, kDayEnd);
             stored = sameItems(result, prevailing);
             return result != nullptr;
         }},
        {"getContributionArray",
         [&](bool& stored) {
             const PtrLoggerResultContributionArray result =
                 mApi.getContributionArray(contributionId, kDayStart, kDayEnd);
             stored = sameItems(result, contributions);
             return result != nullptr;
         }},
    };
    for (const auto& read : reads) {
        SCOPED_TRACE(read.name);
        const QString warning =
            apiLine("WARN", QLatin1String(read.name) + QStringLiteral(", measuredType == nullptr"));
        bool stored = false;
        qzdb::FaultInjection::startCounting();
        ASSERT_TRUE(read.read(stored));
        ASSERT_TRUE(stored);
        const long calls = qzdb::FaultInjection::callCount();
        qzdb::FaultInjection::stop();
        ASSERT_GT(calls, 2);
        EXPECT_EQ(LogCapture::count(warning), 0);

        int warned = 0;
        for (long call = 1; call <= calls; ++call) {
            SCOPED_TRACE("call " + std::to_string(call) + " of " + std::to_string(calls) + " fails");
            const int before = LogCapture::count(warning);
            mPauses.clear();
            qzdb::FaultInjection::failCalls(call, SQLITE_IOERR);
            const bool answered = read.read(stored);
            qzdb::FaultInjection::stop();
            const bool warnedNow = LogCapture::count(warning) > before;
            warned += warnedNow ? 1 : 0;
            if (warnedNow) {
                EXPECT_FALSE(answered);
                EXPECT_EQ(mPauses, std::vector<unsigned long>{kLookupPause});
            }
            if (answered) {
                EXPECT_TRUE(stored || mPauses.empty());
            }
        }
        EXPECT_GE(warned, 1);
        // The store answers again once the catalogue does.
        ASSERT_TRUE(read.read(stored));
        EXPECT_TRUE(stored);
    }
}

// The range lines are routine texts, made only where the store's own log lets debug lines through.
TEST_F(HarmonicsGettersTest, EachReadLogsTheIdAndTimeRangeOfItsLoggerOnceBeforeItReads)
{
    writeComplexDay(40.0f);
    writeHarmonics(kHarmonicsU1, 1.0f);
    ASSERT_FALSE(HasFatalFailure());
    log4cxx::Logger::getLogger("Logger.Db")->setLevel(log4cxx::Level::getDebug());
    ASSERT_TRUE(LoggerDebug::isLogEnabled());

    const auto rangeLine = [this](LoggerDataType dataType, const QString& id) {
        const int baseTypeId = mApi.getBaseTypeId(LoggerType::CYCLIC, dataType, id);
        const std::shared_ptr<DefnBaseType> type = mApi.readMeasuredType(baseTypeId);
        if (type == nullptr)
            return std::string("no type");
        return (QStringLiteral("Id[") + QString::number(baseTypeId) + QStringLiteral("], Time Range:  S:") +
                LoggerDebug::getUtcStr(type->UtcStart) + QStringLiteral(" E:") +
                LoggerDebug::getUtcStr(type->UtcEnd) + QStringLiteral(" ok"))
            .toStdString();
    };
    const auto rangeLines = [this] {
        int lines = 0;
        for (const auto& message : mMessages)
            lines += message.first.rfind("Id[", 0) == 0 ? 1 : 0;
        return lines;
    };
    const std::string harmonicsLine = rangeLine(LoggerDataType::HARMONICS, kHarmonicsU1);
    const std::string complexLine = rangeLine(LoggerDataType::COMPLEX, kComplexId);

    mMessages.clear();
    ASSERT_NE(mApi.getHarmonics(kHarmonicsU1, kDayStart, kDayEnd, false, LoggerApiInterface::CONNECTION_ANY),
              nullptr);
    EXPECT_EQ(countMessages(harmonicsLine, LOGGER_MESSAGE_ROUTINE), 1) << harmonicsLine;
    EXPECT_EQ(rangeLines(), 1);

    // The amplitudes log the line of the complex read only.
    mMessages.clear();
    ASSERT_NE(mApi.getHarmonics(kHarmonicsU1, kDayStart, kDayEnd, true, LoggerApiInterface::CONNECTION_ANY),
              nullptr);
    EXPECT_EQ(countMessages(complexLine, LOGGER_MESSAGE_ROUTINE), 1) << complexLine;
    EXPECT_EQ(rangeLines(), 1);

    // Before the read: an unknown id logs none.
    mMessages.clear();
    EXPECT_EQ(mApi.getArray41(QStringLiteral("no.such.u1"), kDayStart, kDayEnd), nullptr);
    EXPECT_EQ(rangeLines(), 0);
}

TEST(HarmonicsGettersWithoutStoreTest, WithoutAValidStoreTheGettersAnswerNullAndOnlyTheUncheckedReadPauses)
{
    std::vector<unsigned long> pauses;
    setReadPauseObserverForTesting([&pauses](unsigned long milliseconds) { pauses.push_back(milliseconds); });
    LoggerApi api;
    const timespec start = at(kMidnight);
    const timespec end = at(kMidnight + 86400);
    EXPECT_EQ(api.getHarmonics(kHarmonicsU1, start, end, false, LoggerApiInterface::CONNECTION_ANY), nullptr);
    EXPECT_EQ(api.getHarmonics(kHarmonicsU1, start, end, true, LoggerApiInterface::CONNECTION_PHASE_PHASE),
              nullptr);
    EXPECT_EQ(api.getHarmonicsAbsolute(kMagnitudeU1, start, end), nullptr);
    EXPECT_EQ(api.getArray41(kHarmonicsU1, start, end), nullptr);
    EXPECT_EQ(api.getPercentile3_41(kHarmonicsU1, start, end), nullptr);
    EXPECT_EQ(api.getPercentile3_51(kHarmonicsU1, start, end), nullptr);
    EXPECT_EQ(api.getComplexArray(kComplexId, start, end), nullptr);
    EXPECT_EQ(api.getPrevailingArray(kHarmonicsU1, start, end), nullptr);
    EXPECT_EQ(api.getContributionArray(kHarmonicsU1, start, end), nullptr);
    EXPECT_EQ(api.getComplexAmplitudeArray(kHarmonicsU1, start, end, true), nullptr);
    EXPECT_TRUE(pauses.empty());
    // The read without the checks fails at the type load, after its pause.
    EXPECT_EQ(api.readHarmmonics51(kHarmonicsU1, start, end), nullptr);
    EXPECT_EQ(pauses, std::vector<unsigned long>{kLookupPause});
    setReadPauseObserverForTesting(nullptr);
}

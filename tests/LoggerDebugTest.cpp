#include "LoggerDebug.h"
#include "LoggerDataItems.h"
#include "LoggerPerformanceCounter.h"
#include "LoggerState.h"
#include "LoggerTypes.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QString>

#include <cstdint>
#include <limits>
#include <ostream>
#include <type_traits>

// Readable failures for QString comparisons.
QT_BEGIN_NAMESPACE
void PrintTo(const QString& text, std::ostream* os)
{
    *os << "\"" << text.toStdString() << "\"";
}
QT_END_NAMESPACE

namespace {

timespec makeTime(int64_t seconds, int64_t nanoSeconds)
{
    timespec t{};
    t.tv_sec = static_cast<time_t>(seconds);
    t.tv_nsec = static_cast<long>(nanoSeconds);
    return t;
}

TEST(LoggerDebugTest, IsAnEmptyClassWithVirtualDestructor)
{
    EXPECT_TRUE(std::has_virtual_destructor<LoggerDebug>::value);
}

// --- time texts

TEST(LoggerDebugTest, UtcStrShowsSecondsAndNanosecondsAsPlainDecimals)
{
    EXPECT_EQ(LoggerDebug::getUtcStr(makeTime(1700000000, 5)), QStringLiteral("(1700000000,5)"));
    EXPECT_EQ(LoggerDebug::getUtcStr(makeTime(0, 0)), QStringLiteral("(0,0)"));
    EXPECT_EQ(LoggerDebug::getUtcStr(makeTime(12, 999999999)), QStringLiteral("(12,999999999)"));
    EXPECT_EQ(LoggerDebug::getUtcStr(makeTime(1, 50000000)), QStringLiteral("(1,50000000)"));
    EXPECT_EQ(LoggerDebug::getUtcStr(makeTime(-3, 7)), QStringLiteral("(-3,7)"));
}

TEST(LoggerDebugTest, MilliSecondsStrIsFormatGPrecisionSixWidthThree)
{
    EXPECT_EQ(LoggerDebug::getMilliSecondsStr(makeTime(0, 0)), QStringLiteral("  0"));
    EXPECT_EQ(LoggerDebug::getMilliSecondsStr(makeTime(0, 20000000)), QStringLiteral(" 20"));
    EXPECT_EQ(LoggerDebug::getMilliSecondsStr(makeTime(0, 1500000)), QStringLiteral("1.5"));
    EXPECT_EQ(LoggerDebug::getMilliSecondsStr(makeTime(1, 500000000)), QStringLiteral("1500"));
    EXPECT_EQ(LoggerDebug::getMilliSecondsStr(makeTime(0, 123456789)), QStringLiteral("123.457"));
    EXPECT_EQ(LoggerDebug::getMilliSecondsStr(makeTime(1700000000, 250000000)), QStringLiteral("1.7e+12"));
    EXPECT_EQ(LoggerDebug::getMilliSecondsStr(makeTime(-1, 0)), QStringLiteral("-1000"));
}

// --- the tables of the vocabulary

TEST(LoggerDebugTest, LoggerTypeStrings)
{
    EXPECT_EQ(LoggerDebug::getLoggerTypeString(LoggerType::NONE), QStringLiteral("NONE"));
    EXPECT_EQ(LoggerDebug::getLoggerTypeString(LoggerType::CYCLIC), QStringLiteral("CYCLIC"));
    EXPECT_EQ(LoggerDebug::getLoggerTypeString(LoggerType::EVENT), QStringLiteral("EVENT"));
    EXPECT_EQ(LoggerDebug::getLoggerTypeString(LoggerType::PQEVENT), QStringLiteral("PQEVENT"));
    EXPECT_EQ(LoggerDebug::getLoggerTypeString(LoggerType::DISTURB), QStringLiteral("DISTURB"));
    EXPECT_EQ(LoggerDebug::getLoggerTypeString(LoggerType::OPERATOR), QStringLiteral("OPERATOR"));
    EXPECT_EQ(LoggerDebug::getLoggerTypeString(static_cast<LoggerType>(6)), QStringLiteral("UNKNOWN"));
    EXPECT_EQ(LoggerDebug::getLoggerTypeString(static_cast<LoggerType>(-1)), QStringLiteral("UNKNOWN"));
}

TEST(LoggerDebugTest, LoggerDataTypeStringsAreTheEnumeratorNames)
{
    const char* const names[] = {
        "NONE",       "VTQ",       "DTQ",     "MEAN",       "EVENT",        "PQEVENT",   "OPERATOR",
        "DISTURB",    "RMS",       "SAMPLES", "SIGNALS",    "SIGNALEVENT",  "HISTOGRAM", "HARMONICS",
        "STATISTIC",  "SAMPLES16", "COMPLEX", "PREVAILING", "CONTRIBUTION", "ITQ",       "DIGITAL",
        "PERCENTILE", "MEAN_7",    "MEAN_12", "MEAN_14",    "MEAN_16",      "MEAN_20",   "MEAN_23",
        "QMETER",     "MEAN_24",   "SMETER",
    };
    ASSERT_EQ(sizeof(names) / sizeof(names[0]), 31u);
    for (int value = 0; value <= 30; ++value) {
        EXPECT_EQ(LoggerDebug::getLoggerDataTypeString(static_cast<LoggerDataType>(value)),
                  QString::fromLatin1(names[value]))
            << "value " << value;
    }
    EXPECT_EQ(LoggerDebug::getLoggerDataTypeString(LoggerDataType::MEAN_24), QStringLiteral("MEAN_24"));
    EXPECT_EQ(LoggerDebug::getLoggerDataTypeString(static_cast<LoggerDataType>(31)),
              QStringLiteral("UNKNOWN"));
    EXPECT_EQ(LoggerDebug::getLoggerDataTypeString(static_cast<LoggerDataType>(-1)),
              QStringLiteral("UNKNOWN"));
    EXPECT_EQ(LoggerDebug::getLoggerDataTypeString(static_cast<LoggerDataType>(1000)),
              QStringLiteral("UNKNOWN"));
}

TEST(LoggerDebugTest, TriggerTypeStringsKeepTheirBlanks)
{
    const char* const texts[] = {
        "None   ", "Swell  ", "Dip    ", "Intr   ",  "RVC    ", "ISWEL  ", "Unknw", "Signl  ",
        "Ipos   ", "Ineg   ", "Shot   ", "True Dip", "falsDip", "unknDip", "Trans", "Freq",
        "DON",     "DOFF",    "Imb",     "Pst",      "Plt",     "Thd",     "Anom",  "Flags",
    };
    for (int value = 0; value <= 23; ++value) {
        EXPECT_EQ(LoggerDebug::getTriggerTypeString(static_cast<EnumTriggerType>(value)),
                  QString::fromLatin1(texts[value]))
            << "value " << value;
    }
    // The first eleven keep a width of seven, blanks included.
    for (int value = 0; value <= 10; ++value) {
        if (value != 6) {
            EXPECT_EQ(LoggerDebug::getTriggerTypeString(static_cast<EnumTriggerType>(value)).size(), 7);
        }
    }
}

TEST(LoggerDebugTest, TriggerTypeSixAndUnknownValuesAreUnknw)
{
    EXPECT_EQ(LoggerDebug::getTriggerTypeString(static_cast<EnumTriggerType>(6)), QStringLiteral("Unknw"));
    EXPECT_EQ(LoggerDebug::getTriggerTypeString(static_cast<EnumTriggerType>(24)), QStringLiteral("Unknw"));
    EXPECT_EQ(LoggerDebug::getTriggerTypeString(static_cast<EnumTriggerType>(100)), QStringLiteral("Unknw"));
    EXPECT_EQ(LoggerDebug::getTriggerTypeString(static_cast<EnumTriggerType>(-1)), QStringLiteral("Unknw"));
}

TEST(LoggerDebugTest, TriggerSourceStringMarksVoltagesThenCurrents)
{
    auto text = [](int bits) {
        return LoggerDebug::getTriggerSourceString(static_cast<EnumPqEventSource>(bits));
    };
    EXPECT_EQ(text(0), QStringLiteral("U---I---"));
    EXPECT_EQ(text(SOURCE_U1 | SOURCE_U3), QStringLiteral("U1-3I---"));
    EXPECT_EQ(text(SOURCE_U2), QStringLiteral("U-2-I---"));
    EXPECT_EQ(text(SOURCE_I1), QStringLiteral("U---I1--"));
    EXPECT_EQ(text(SOURCE_I2 | SOURCE_I3), QStringLiteral("U---I-23"));
    EXPECT_EQ(text(SOURCE_U1 | SOURCE_U2 | SOURCE_U3 | SOURCE_I1 | SOURCE_I2 | SOURCE_I3),
              QStringLiteral("U123I123"));
    // Bits between and above the channel bits are not channels.
    EXPECT_EQ(text(0x8 | 0x10 | 0x20 | 0x40 | 0x400 | 0x10000), QStringLiteral("U---I---"));
}

TEST(LoggerDebugTest, SystemTypeStrings)
{
    const char* const texts[] = {"1P",   "2P", "3P",  "3PL1",  "3PL2", "3PL3", "3PU",
                                 "3PUA", "4P", "4PU", "4PUOY", "4PS",  "2PB"};
    for (int value = 1; value <= 13; ++value) {
        EXPECT_EQ(LoggerDebug::getSystemTypeString(static_cast<EnumSystemType>(value)),
                  QString::fromLatin1(texts[value - 1]))
            << "value " << value;
    }
    EXPECT_EQ(LoggerDebug::getSystemTypeString(static_cast<EnumSystemType>(0)), QStringLiteral("-"));
    EXPECT_EQ(LoggerDebug::getSystemTypeString(static_cast<EnumSystemType>(14)), QStringLiteral("-"));
    EXPECT_EQ(LoggerDebug::getSystemTypeString(static_cast<EnumSystemType>(-1)), QStringLiteral("-"));
}

// --- composed texts

TEST(LoggerDebugTest, TripleFloatStringJoinsThreeNumbersWithDots)
{
    EXPECT_EQ(LoggerDebug::getTripleFloatString(1.0f, 2.0f, 3.0f), QStringLiteral("(  1.  2.  3)"));
    EXPECT_EQ(LoggerDebug::getTripleFloatString(230.0f, 115.5f, 0.0f), QStringLiteral("(230.115.5.  0)"));
    EXPECT_EQ(LoggerDebug::getTripleFloatString(0.1f, -4.0f, 1234567.0f),
              QStringLiteral("(0.1. -4.1.23457e+06)"));
}

TEST(LoggerDebugTest, MemorySizeStringAlignsItsColumns)
{
    EXPECT_EQ(LoggerDebug::getMemorySizeString(LoggerType::CYCLIC, LoggerDataType::MEAN, 123456.7, 12.9),
              QStringLiteral("memory size [CYCLIC    , MEAN           ]=     123456, 12 %"));
    EXPECT_EQ(LoggerDebug::getMemorySizeString(LoggerType::OPERATOR, LoggerDataType::CONTRIBUTION, 0.0, 0.0),
              QStringLiteral("memory size [OPERATOR  , CONTRIBUTION   ]=          0, 0 %"));
    EXPECT_EQ(LoggerDebug::getMemorySizeString(static_cast<LoggerType>(9), static_cast<LoggerDataType>(99),
                                               12345678901.0, 100.0),
              QStringLiteral("memory size [UNKNOWN   , UNKNOWN        ]= 12345678901, 100 %"));
}

TEST(LoggerDebugTest, MemorySizeStringShowsAShareOfNothingAsNotANumber)
{
    const double notANumber = std::numeric_limits<double>::quiet_NaN();
    const double infinite = std::numeric_limits<double>::infinity();
    EXPECT_EQ(LoggerDebug::getMemorySizeString(LoggerType::EVENT, LoggerDataType::EVENT, 0.0, notANumber),
              QStringLiteral("memory size [EVENT     , EVENT          ]=          0, nan %"));
    EXPECT_EQ(LoggerDebug::getMemorySizeString(LoggerType::EVENT, LoggerDataType::EVENT, infinite, -2.5),
              QStringLiteral("memory size [EVENT     , EVENT          ]=        inf, -2 %"));
}

TEST(LoggerDebugTest, LoggerStateStringOfZeroIsStartup)
{
    EXPECT_EQ(LoggerDebug::getLoggerStateString(LOGGER_STATE_STARTUP), QStringLiteral("startup"));
}

TEST(LoggerDebugTest, LoggerStateStringNamesEachValueOfEachGroup)
{
    struct Case {
        LoggerState state;
        const char* text;
    };
    const Case cases[] = {
        {1, "disabled"},
        {2, "db failed"},
        {3, "db initialized"},
        {4, "logger failed"},
        {5, "logger initialized"},
        {32, ", sd mounted"},
        {64, ", sd eject"},
        {96, ", sd corrupt"},
        {8, ", loggers started"},
        {16, ", loggers stopped"},
        {1024, ", loggers starting"},
        {2048, ", loggers stopping"},
        {256, ", loggers readable"},
        {512, ", loggers not readable"},
        {4096, ", resetting"},
        {8192, ", resetted"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(LoggerDebug::getLoggerStateString(c.state), QString::fromLatin1(c.text))
            << "state " << c.state;
}

TEST(LoggerDebugTest, LoggerStateStringSeparatesPartsAfterAnEmptyBase)
{
    EXPECT_EQ(LoggerDebug::getLoggerStateString(32), QStringLiteral(", sd mounted"));
    EXPECT_EQ(LoggerDebug::getLoggerStateString(32 | 8 | 256),
              QStringLiteral(", sd mounted, loggers started, loggers readable"));
    EXPECT_EQ(LoggerDebug::getLoggerStateString(6 | 32), QStringLiteral(", sd mounted"));
    EXPECT_EQ(LoggerDebug::getLoggerStateString(7 | 4096), QStringLiteral(", resetting"));
}

TEST(LoggerDebugTest, LoggerStateStringListsGroupsInOrder)
{
    EXPECT_EQ(LoggerDebug::getLoggerStateString(5 | 32 | 8 | 256),
              QStringLiteral("logger initialized, sd mounted, loggers started, loggers readable"));
    EXPECT_EQ(LoggerDebug::getLoggerStateString(4 | 96 | 2048 | 512 | 8192),
              QStringLiteral("logger failed, sd corrupt, loggers stopping, loggers not readable, resetted"));
    EXPECT_EQ(LoggerDebug::getLoggerStateString(1 | 4096), QStringLiteral("disabled, resetting"));
}

TEST(LoggerDebugTest, LoggerStateStringLeavesOutUnnamedPatterns)
{
    EXPECT_EQ(LoggerDebug::getLoggerStateString(6), QString());
    EXPECT_EQ(LoggerDebug::getLoggerStateString(7), QString());
    EXPECT_EQ(LoggerDebug::getLoggerStateString(8 | 16), QString());
    EXPECT_EQ(LoggerDebug::getLoggerStateString(5 | 8 | 1024), QStringLiteral("logger initialized"));
    EXPECT_EQ(LoggerDebug::getLoggerStateString(256 | 512), QString());
    EXPECT_EQ(LoggerDebug::getLoggerStateString(4096 | 8192), QString());
    EXPECT_EQ(LoggerDebug::getLoggerStateString(3 | 0x80 | 0x4000), QStringLiteral("db initialized"));
}

TEST(LoggerDebugTest, NewFileReasonNamesEachSetFlag)
{
    EXPECT_EQ(LoggerDebug::getNewFileReason(false, false, false, 0, QString()),
              QStringLiteral("Reason for new file: "));
    EXPECT_EQ(LoggerDebug::getNewFileReason(true, false, false, 0, QString()),
              QStringLiteral("Reason for new file:  day changed,"));
    EXPECT_EQ(LoggerDebug::getNewFileReason(false, true, false, 0, QString()),
              QStringLiteral("Reason for new file:  Header changed,"));
    EXPECT_EQ(LoggerDebug::getNewFileReason(false, false, true, 1048576, QString()),
              QStringLiteral("Reason for new file:  file size: 1048576"));
    EXPECT_EQ(LoggerDebug::getNewFileReason(true, true, true, 2048, QString()),
              QStringLiteral("Reason for new file:  day changed, Header changed, file size: 2048"));
}

TEST(LoggerDebugTest, NewFileReasonShowsTheSizeOnlyWithItsFlag)
{
    EXPECT_EQ(LoggerDebug::getNewFileReason(true, false, false, 999, QString()),
              QStringLiteral("Reason for new file:  day changed,"));
}

TEST(LoggerDebugTest, NewFileReasonAppendsANonEmptyDetail)
{
    EXPECT_EQ(LoggerDebug::getNewFileReason(true, false, false, 0, QStringLiteral("mean_3s.out")),
              QStringLiteral("Reason for new file:  day changed, mean_3s.out"));
    EXPECT_EQ(LoggerDebug::getNewFileReason(false, false, true, 10, QStringLiteral("x")),
              QStringLiteral("Reason for new file:  file size: 10 x"));
    EXPECT_EQ(LoggerDebug::getNewFileReason(false, false, false, 0, QStringLiteral("x")),
              QStringLiteral("Reason for new file:  x"));
}

TEST(LoggerDebugTest, PqEventStringShowsTimeDurationSourceAndValues)
{
    DataPqEvent event{};
    event.utc.tv_sec = 1700000000;
    event.utc.tv_nsec = 250000000;
    event.duration.tv_sec = 0;
    event.duration.tv_nsec = 20000000;
    event.triggerType = TRIGGER_DIP;
    event.triggerSource = SOURCE_U1 | SOURCE_U3;
    event.systemType = SYSTEM_3P;
    event.referenceValue = 230.0f;
    event.eventValue = 115.5f;
    event.thirdValue = 0.0f;
    EXPECT_EQ(
        LoggerDebug::getDataPqEventString(event),
        QStringLiteral("PqEvent t=(1700000000,250000000) d= 20ms s=Dip     U1-3I--- 3P v=(230.115.5.  0)"));
}

TEST(LoggerDebugTest, PqEventStringOfUnknownCodes)
{
    DataPqEvent event{};
    event.utc.tv_sec = 5;
    event.duration.tv_sec = 2;
    event.duration.tv_nsec = 500000000;
    event.triggerType = 6;
    event.triggerSource = SOURCE_I2;
    event.systemType = 0;
    EXPECT_EQ(LoggerDebug::getDataPqEventString(event),
              QStringLiteral("PqEvent t=(5,0) d=2500ms s=Unknw U---I-2- - v=(  0.  0.  0)"));
}

// --- performance counter

// Runs one measure whose duration is surely above zero, without sleeping.
void measureOnce(LoggerPerformanceCounter& counter)
{
    counter.startTimer();
    QElapsedTimer elapsed;
    elapsed.start();
    while (elapsed.nsecsElapsed() < 100000) {
    }
    counter.stopTimer();
}

TEST(LoggerDebugTest, SecondTotalDurationInARowIsZero)
{
    LoggerPerformanceCounter counter;
    measureOnce(counter);
    measureOnce(counter);
    const double total = counter.getTotalDuration();
    EXPECT_GT(total, 0.0);
    EXPECT_GE(total, counter.getDuration());
    EXPECT_EQ(counter.getTotalDuration(), 0.0);
}

TEST(LoggerDebugTest, TotalCountKeepsGrowingAcrossTotalDuration)
{
    LoggerPerformanceCounter counter;
    EXPECT_EQ(counter.getTotalCount(), 0);
    measureOnce(counter);
    measureOnce(counter);
    EXPECT_EQ(counter.getTotalCount(), 2);
    counter.getTotalDuration();
    EXPECT_EQ(counter.getTotalCount(), 2);
    measureOnce(counter);
    counter.getTotalDuration();
    EXPECT_EQ(counter.getTotalCount(), 3);
}

TEST(LoggerDebugTest, CurrentDurationDoesNotReset)
{
    LoggerPerformanceCounter counter;
    measureOnce(counter);
    const double current = counter.getCurrentDuration();
    EXPECT_GT(current, 0.0);
    EXPECT_EQ(counter.getCurrentDuration(), current);
    EXPECT_EQ(counter.getTotalDuration(), current);
    EXPECT_EQ(counter.getCurrentDuration(), 0.0);
}

} // namespace

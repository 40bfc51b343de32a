// The analysis of power-quality events after a read: the repair of damaged recording ranges
// (checkPqEvents), the 5 x 7 table of duration and depth classes (getPqEventClasses), the count
// of a range (getNumPqEvents), the reader's view DataRseEvent (copyPqEvent and the conversion of
// getRseEvents) and the read limit of getPqEvents. Real catalogue on a simulated card
// (WriterStore); the events go through the writer's path (a PQEVENT logger's writeDatas) into real
// data files. Each test runs in a process of its own.

#include "LogCapture.h"
#include "LoggerApi.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerDebug.h"
#include "LoggerHeader.h"
#include "LoggerResult.h"
#include "LoggerState.h"
#include "LoggerTestSeams.h"
#include "TestLogger.h"
#include "TrackObject.h"
#include "WriterStore.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QMap>
#include <QStringList>

#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr int kEventSize = static_cast<int>(sizeof(DataPqEvent));
static_assert(kEventSize == 232, "a DataPqEvent is 232 bytes on the card");
static_assert(sizeof(DataRseEvent) == 256, "the reader's view adds the index and five words");
static_assert(offsetof(DataPqEvent, pqExtension) == 168 && offsetof(DataPqEvent, pqTail) == 216,
              "pqExtension and pqTail lie where the card has them");
static_assert(offsetof(DataRseEvent, pqExtension) == 168 && offsetof(DataRseEvent, pqTail) == 216 &&
                  offsetof(DataRseEvent, index) == 232,
              "the reader's view keeps the event's layout");

constexpr int32_t kFirstSecond = 1763802000; // 2025-11-22, mid-day in any zone
constexpr int32_t kQuarter = 250000000;      // nanoseconds of the events' time stamps where they have some
constexpr unsigned long kReadPause = 50;     // ms after a read by time that found files
constexpr unsigned long kFailedLookupPause = 200; // ms before a read by time answers an unknown id
const QString kPqId = QStringLiteral("pq.events");
const QString kApiError = QStringLiteral("Logger.Api|ERROR|");

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

// A time plus whole seconds; nanoseconds stay.
DataTimespec later(const DataTimespec& time, int32_t seconds)
{
    return DataTimespec{time.tv_sec + seconds, time.tv_nsec};
}

// utc + duration for the events of these tests, whose nanoseconds never add up to a second.
DataTimespec endOf(const DataPqEvent& event)
{
    return DataTimespec{event.utc.tv_sec + event.duration.tv_sec, event.utc.tv_nsec + event.duration.tv_nsec};
}

DataUtcRange range(const DataTimespec& start, const DataTimespec& end)
{
    return DataUtcRange{start, end};
}

// A sound event: every recording range starts a second before the event and ends three seconds
// after its start, the sample range runs from the event to four seconds after it; the
// passed-through words carry a pattern, so that what is copied shows.
DataPqEvent soundEvent(const DataTimespec& utc, const DataTimespec& duration,
                       int32_t triggerType = TRIGGER_DIP)
{
    DataPqEvent event{};
    event.utc = utc;
    event.duration = duration;
    event.triggerType = triggerType;
    event.triggerSource = SOURCE_U1 | SOURCE_U2;
    event.systemType = 3;
    event.referenceValue = 230.0f;
    event.eventValue = 115.0f;
    event.thirdValue = 1.5f;
    for (int index = 0; index < 7; ++index)
        event.rms[index] = range(later(utc, -1), later(utc, 3));
    event.sample = range(utc, later(utc, 4));
    unsigned char* extension = reinterpret_cast<unsigned char*>(&event.pqExtension);
    for (size_t byte = 0; byte < sizeof(event.pqExtension); ++byte)
        extension[byte] = static_cast<unsigned char>(0x40 + byte);
    unsigned char* tail = reinterpret_cast<unsigned char*>(&event.pqTail);
    for (size_t byte = 0; byte < sizeof(event.pqTail); ++byte)
        tail[byte] = static_cast<unsigned char>(0xA0 + byte);
    return event;
}

// An event of the given duration and depth, one second after the first: reference 100, so that
// the event value is the depth in per cent.
DataPqEvent classEvent(int index, const DataTimespec& duration, float referenceValue, float eventValue)
{
    DataPqEvent event = soundEvent(stamp(kFirstSecond + index), duration);
    event.referenceValue = referenceValue;
    event.eventValue = eventValue;
    return event;
}

std::string timeText(const DataTimespec& time)
{
    return "(" + std::to_string(time.tv_sec) + "," + std::to_string(time.tv_nsec) + ")";
}

std::string rangeText(const DataUtcRange& r)
{
    return timeText(r.utcStart) + ".." + timeText(r.utcEnd);
}

// Field by field, so that a failure names the field.
void expectSameEvent(const DataPqEvent& actual, const DataPqEvent& expected, const std::string& where)
{
    EXPECT_EQ(timeText(actual.utc), timeText(expected.utc)) << where;
    EXPECT_EQ(timeText(actual.duration), timeText(expected.duration)) << where;
    EXPECT_EQ(actual.triggerType, expected.triggerType) << where;
    EXPECT_EQ(actual.triggerSource, expected.triggerSource) << where;
    EXPECT_EQ(actual.systemType, expected.systemType) << where;
    EXPECT_EQ(0, std::memcmp(&actual.referenceValue, &expected.referenceValue, 12))
        << where << ": the floats";
    for (int index = 0; index < 7; ++index)
        EXPECT_EQ(rangeText(actual.rms[index]), rangeText(expected.rms[index]))
            << where << ": rms[" << index << "]";
    EXPECT_EQ(rangeText(actual.sample), rangeText(expected.sample)) << where << ": sample";
    EXPECT_EQ(0, std::memcmp(&actual.pqExtension, &expected.pqExtension, sizeof(actual.pqExtension)))
        << where << ": pqExtension";
    EXPECT_EQ(0, std::memcmp(&actual.pqTail, &expected.pqTail, sizeof(actual.pqTail))) << where << ": pqTail";
}

// The store's log lines from line mark on, of the read API at error level, without their prefix.
QStringList apiErrorsSince(int mark)
{
    QStringList errors;
    const QStringList lines = LogCapture::lines();
    for (int index = mark; index < lines.size(); ++index) {
        if (lines[index].startsWith(kApiError))
            errors.append(lines[index].mid(kApiError.size()));
    }
    return errors;
}

int logMark()
{
    return LogCapture::lines().size();
}

bool isZeroTable(const DataEventClass35& table)
{
    const DataEventClass35 zero{};
    return std::memcmp(&table, &zero, sizeof(table)) == 0;
}

std::string tableText(const DataEventClass35& table)
{
    std::ostringstream text;
    text << "utc " << timeText(table.utc) << " zero " << table.zero << "\n";
    for (int duration = 0; duration < 5; ++duration) {
        for (int depth = 0; depth < 7; ++depth)
            text << ' ' << table.counters[duration][depth];
        text << '\n';
    }
    return text.str();
}

int tableSum(const DataEventClass35& table)
{
    int sum = 0;
    for (const auto& row : table.counters)
        for (int counter : row)
            sum += counter;
    return sum;
}

// --- the classes as the grid operators' tables define them, for the property test ----------------

// The duration class by the upper limits, inclusive, in single precision; -1 for an event shorter
// than 0.02 s or longer than 60 s.
int referenceDurationClass(const DataTimespec& duration)
{
    const double exact = static_cast<double>(duration.tv_nsec) / 1e9 + static_cast<double>(duration.tv_sec);
    const float seconds = static_cast<float>(exact);
    if (!(seconds >= 0.02f))
        return -1;
    if (seconds <= 0.2f)
        return 0;
    if (seconds <= 0.5f)
        return 1;
    if (seconds <= 1.0f)
        return 2;
    if (seconds <= 5.0f)
        return 3;
    if (seconds <= 60.0f)
        return 4;
    return -1;
}

// The depth class of the residual value in per cent: lower limit inclusive, upper exclusive;
// whatever lies in none of the bands (also 90 to 110, negative values and NaN) is class 6.
int referenceDepthClass(float referenceValue, float eventValue)
{
    const float scaled = eventValue * 100.0f;
    const float depth = scaled / referenceValue;
    if (depth >= 0.0f && depth < 5.0f)
        return 0;
    if (depth >= 5.0f && depth < 40.0f)
        return 1;
    if (depth >= 40.0f && depth < 70.0f)
        return 2;
    if (depth >= 70.0f && depth < 80.0f)
        return 3;
    if (depth >= 80.0f && depth < 90.0f)
        return 4;
    if (depth >= 110.0f && depth < 120.0f)
        return 5;
    return 6;
}

// --- the fixture --------------------------------------------------------------------------------

class PqEventAnalysisTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mLogCaptured);
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        setReadPauseObserverForTesting(
            [this](unsigned long milliseconds) { mPauses.push_back(milliseconds); });
        setLoggerMessageObserverForTesting([this](const std::string& text, LoggerMessageType type) {
            if (type == LOGGER_MESSAGE_ERROR)
                mErrorMessages.push_back(QString::fromStdString(text));
        });
    }
    void TearDown() override
    {
        setReadPauseObserverForTesting(nullptr);
        setLoggerMessageObserverForTesting(nullptr);
        if (mLogger)
            mLogger->stopLogger();
    }

    // A started PQEVENT logger whose files begin anew once they are larger than maximumFileSize.
    void startLogger(int maximumFileSize = 1000000)
    {
        mLogger =
            std::make_unique<TestLogger>(kPqId, kEventSize, LoggerType::PQEVENT, LoggerDataType::PQEVENT);
        mLogger->setMaximumFileSize(maximumFileSize);
        ASSERT_TRUE(mLogger->startLogger()) << LoggerDb::getInstance().getLastError().toStdString();
        ASSERT_EQ(mLogger->getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED)
            << LogCapture::text().toStdString();
    }

    // The events as one block through the writer, and the catalogue brought up to date.
    void write(const std::vector<DataPqEvent>& events)
    {
        ASSERT_NE(mLogger, nullptr);
        ASSERT_NE(mLogger->writeDatas(reinterpret_cast<const char*>(events.data()),
                                      static_cast<int>(events.size()), true, true),
                  nullptr)
            << LogCapture::text().toStdString();
        ASSERT_TRUE(mLogger->updateAccess());
    }

    // Every data file on the card with its bytes.
    QMap<QString, QByteArray> dataFiles() const
    {
        QMap<QString, QByteArray> files;
        QDirIterator iterator(mStore.dataFolderPath(), QDir::Files, QDirIterator::Subdirectories);
        while (iterator.hasNext()) {
            const QString name = iterator.next();
            QFile file(name);
            EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << name.toStdString();
            files.insert(name, file.readAll());
        }
        return files;
    }

    // The events of the one data file as the card holds them, each in a result of its own.
    std::vector<PtrLoggerResultPqEvent> rawEvents() const
    {
        std::vector<PtrLoggerResultPqEvent> events;
        const QMap<QString, QByteArray> files = dataFiles();
        EXPECT_EQ(files.size(), 1);
        if (files.size() != 1)
            return events;
        const QByteArray bytes = files.first();
        const int count = (bytes.size() - kLoggerHeaderSize) / kEventSize;
        for (int index = 0; index < count; ++index) {
            PtrLoggerResultPqEvent one = LoggerResult<DataPqEvent>::create(1);
            std::memcpy(static_cast<void*>(one->mItems),
                        bytes.constData() + kLoggerHeaderSize + index * kEventSize, kEventSize);
            events.push_back(one);
        }
        return events;
    }

    // Before any member that logs: the store configures logging once per process.
    const bool mLogCaptured = LogCapture::install();
    WriterStore mStore;
    LoggerApi mApi;
    std::unique_ptr<TestLogger> mLogger;
    std::vector<unsigned long> mPauses;
    QStringList mErrorMessages;
};

} // namespace

// --- the duration and depth classes -------------------------------------------------------------

TEST_F(PqEventAnalysisTest, DurationClassesIncludeTheirUpperLimitAndLeaveOutTooShortAndTooLongEvents)
{
    startLogger();
    // Depth 50 per cent: depth class 2 throughout.
    write({classEvent(0, stamp(0, 200000000), 100.0f, 50.0f),
           classEvent(1, stamp(0, 210000000), 100.0f, 50.0f), classEvent(2, stamp(60, 0), 100.0f, 50.0f),
           classEvent(3, stamp(60, 100000000), 100.0f, 50.0f),
           classEvent(4, stamp(0, 19000000), 100.0f, 50.0f)});
    const DataEventClass35 table = mApi.getPqEventClasses(kPqId, at(kFirstSecond), at(kFirstSecond + 10), -1);
    EXPECT_EQ(table.counters[0][2], 1) << "0.2 s lies in the first class\n" << tableText(table);
    EXPECT_EQ(table.counters[1][2], 1) << "0.21 s lies in the second class\n" << tableText(table);
    EXPECT_EQ(table.counters[4][2], 1) << "60 s lies in the last class\n" << tableText(table);
    EXPECT_EQ(tableSum(table), 3) << "60.1 s and 0.019 s lie in no class\n" << tableText(table);
    EXPECT_EQ(timeText(table.utc), timeText(stamp(kFirstSecond)));
    EXPECT_EQ(table.zero, 0);
}

TEST_F(PqEventAnalysisTest, DepthClassesIncludeTheirLowerLimitAndEverythingOutsideTheBandsIsClassSix)
{
    startLogger();
    // Duration 1 s: duration class 2 throughout; reference 100, so the event value is the depth.
    const DataTimespec second = stamp(1, 0);
    write({classEvent(0, second, 100.0f, 100.0f), classEvent(1, second, 100.0f, 110.0f),
           classEvent(2, second, 100.0f, 120.0f), classEvent(3, second, 100.0f, 90.0f),
           classEvent(4, second, 100.0f, 5.0f), classEvent(5, second, 100.0f, -10.0f),
           // A zero reference: infinite and NaN depths.
           classEvent(6, second, 0.0f, 50.0f), classEvent(7, second, 0.0f, 0.0f)});
    const DataEventClass35 table = mApi.getPqEventClasses(kPqId, at(kFirstSecond), at(kFirstSecond + 10), -1);
    EXPECT_EQ(table.counters[2][5], 1) << "110 per cent lies in class 5\n" << tableText(table);
    EXPECT_EQ(table.counters[2][1], 1) << "5 per cent lies in class 1\n" << tableText(table);
    EXPECT_EQ(table.counters[2][6], 6) << "100, 120, 90, negative, infinite and NaN lie in class 6\n"
                                       << tableText(table);
    EXPECT_EQ(tableSum(table), 8) << tableText(table);
}

TEST_F(PqEventAnalysisTest, ATableWithoutAClassifiedEventKeepsItsTimeZero)
{
    startLogger();
    write({classEvent(0, stamp(0, 19000000), 100.0f, 50.0f),
           classEvent(1, stamp(60, 100000000), 100.0f, 50.0f), classEvent(2, stamp(-1, 0), 100.0f, 50.0f)});
    mPauses.clear();
    const DataEventClass35 table = mApi.getPqEventClasses(kPqId, at(kFirstSecond), at(kFirstSecond + 10), -1);
    EXPECT_TRUE(isZeroTable(table)) << tableText(table);
    EXPECT_EQ(mPauses, std::vector<unsigned long>{kReadPause}) << "the three events were read";
}

TEST_F(PqEventAnalysisTest, TheTableTimeIsThatOfTheFirstClassifiedEventNotOfTheFirstRead)
{
    startLogger();
    write({classEvent(0, stamp(0, 10000000), 100.0f, 50.0f), classEvent(1, stamp(70, 0), 100.0f, 50.0f),
           classEvent(2, stamp(2, 0), 100.0f, 50.0f), classEvent(3, stamp(0, 300000000), 100.0f, 50.0f)});
    const DataEventClass35 table = mApi.getPqEventClasses(kPqId, at(kFirstSecond), at(kFirstSecond + 10), -1);
    EXPECT_EQ(timeText(table.utc), timeText(stamp(kFirstSecond + 2))) << tableText(table);
    EXPECT_EQ(table.counters[3][2], 1) << tableText(table);
    EXPECT_EQ(table.counters[1][2], 1) << tableText(table);
    EXPECT_EQ(tableSum(table), 2) << tableText(table);
}

TEST_F(PqEventAnalysisTest, AnUnknownIdGivesTheZeroTableAndNoEventData)
{
    startLogger();
    write({classEvent(0, stamp(1, 0), 100.0f, 50.0f)});
    const int mark = logMark();
    const int errorsBefore = TrackObject::getErrorCounter();
    mPauses.clear();
    const DataEventClass35 table =
        mApi.getPqEventClasses(QStringLiteral("no.such.events"), at(kFirstSecond), at(kFirstSecond + 10), -1);
    EXPECT_TRUE(isZeroTable(table)) << tableText(table);
    EXPECT_EQ(apiErrorsSince(mark), QStringList{QStringLiteral("no Event Data")})
        << LogCapture::text().toStdString();
    EXPECT_EQ(TrackObject::getErrorCounter(), errorsBefore + 1);
    EXPECT_EQ(mPauses, std::vector<unsigned long>{kFailedLookupPause});
}

// --- the count ----------------------------------------------------------------------------------

TEST_F(PqEventAnalysisTest, TheCountOfARangeSpansTheFilesAndAnUnknownIdAnswersMinusOneAfterThePause)
{
    // Each block of ten events finds its file full and begins a new one.
    startLogger(kLoggerHeaderSize + 10 * kEventSize - 1);
    for (int block = 0; block < 3; ++block) {
        std::vector<DataPqEvent> events;
        for (int index = 0; index < 10; ++index)
            events.push_back(classEvent(block * 10 + index, stamp(1, 0), 100.0f, 50.0f));
        write(events);
    }
    ASSERT_EQ(dataFiles().size(), 3);
    EXPECT_EQ(mApi.getNumPqEvents(kPqId, at(kFirstSecond + 5), at(kFirstSecond + 24)), 20);
    EXPECT_EQ(mApi.getNumPqEvents(kPqId, at(kFirstSecond - 100), at(kFirstSecond + 100)), 30);
    mPauses.clear();
    EXPECT_EQ(mApi.getNumPqEvents(QStringLiteral("no.such.events"), at(kFirstSecond), at(kFirstSecond + 100)),
              -1);
    EXPECT_EQ(mPauses, std::vector<unsigned long>{kFailedLookupPause});
}

// --- the read limit and the reader's view -------------------------------------------------------

TEST_F(PqEventAnalysisTest, PqEventsStopAt9000WhileRseEventsAreNotLimited)
{
    constexpr int kCount = 9100;
    // One file: the running index of a read counts from the first event of its last file.
    startLogger(4000000);
    std::vector<DataPqEvent> events;
    for (int index = 0; index < kCount; ++index)
        events.push_back(soundEvent(stamp(kFirstSecond + index), stamp(0, 500000000), TRIGGER_SWELL));
    write(events);
    ASSERT_EQ(dataFiles().size(), 1);
    const timespec start = at(kFirstSecond);
    const timespec end = at(kFirstSecond + kCount);

    const PtrLoggerResultPqEvent limited = mApi.getPqEvents(kPqId, start, end, -1);
    ASSERT_NE(limited, nullptr);
    ASSERT_EQ(limited->mNumItems, 9000);
    EXPECT_EQ(limited->mItems[0].utc.tv_sec, kFirstSecond);
    EXPECT_EQ(limited->mItems[8999].utc.tv_sec, kFirstSecond + 8999);

    const PtrLoggerResultRseEvent all = mApi.getRseEvents(kPqId, start, end, -1);
    ASSERT_NE(all, nullptr);
    ASSERT_EQ(all->mNumItems, kCount);
    EXPECT_EQ(all->mInterval, 0.0);
    for (int index = 0; index < kCount; ++index) {
        const DataRseEvent& view = all->mItems[index];
        ASSERT_EQ(view.index, index) << "the running index of the event";
        ASSERT_EQ(0, std::memcmp(&view, &events[index], offsetof(DataPqEvent, pqExtension)))
            << "event " << index;
        ASSERT_EQ(0, std::memcmp(&view.pqTail, &events[index].pqTail, sizeof(view.pqTail)))
            << "event " << index;
        const DataRseEvent zero{};
        ASSERT_EQ(0, std::memcmp(&view.pqExtension, &zero.pqExtension, sizeof(view.pqExtension)))
            << "pqExtension is not copied, event " << index;
        ASSERT_EQ(0, std::memcmp(view.reserved, zero.reserved, sizeof(view.reserved))) << "event " << index;
    }

    // A range that starts later: the index is the running number of the first event read.
    const PtrLoggerResultRseEvent part =
        mApi.getRseEvents(kPqId, at(kFirstSecond + 100), at(kFirstSecond + 104), -1);
    ASSERT_NE(part, nullptr);
    ASSERT_EQ(part->mNumItems, 5);
    for (int index = 0; index < 5; ++index) {
        EXPECT_EQ(part->mItems[index].index, 100 + index);
        EXPECT_EQ(part->mItems[index].utc.tv_sec, kFirstSecond + 100 + index);
    }
}

TEST(PqEventCopyTest, CopyPqEventCopiesEveryFieldButPqExtensionAndLeavesTheRestOfTheTarget)
{
    DataPqEvent source;
    unsigned char* sourceBytes = reinterpret_cast<unsigned char*>(&source);
    for (int byte = 0; byte < kEventSize; ++byte)
        sourceBytes[byte] = static_cast<unsigned char>(byte * 7 + 3);
    DataRseEvent target;
    std::memset(static_cast<void*>(&target), 0xC5, sizeof(target));
    DataRseEvent before;
    std::memcpy(static_cast<void*>(&before), &target, sizeof(target));

    LoggerApi::copyPqEvent(source, target);

    const unsigned char* targetBytes = reinterpret_cast<const unsigned char*>(&target);
    const unsigned char* beforeBytes = reinterpret_cast<const unsigned char*>(&before);
    constexpr size_t kExtension = offsetof(DataPqEvent, pqExtension);
    constexpr size_t kTail = offsetof(DataPqEvent, pqTail);
    for (size_t byte = 0; byte < sizeof(DataRseEvent); ++byte) {
        const bool copied = byte < kExtension || (byte >= kTail && byte < sizeof(DataPqEvent));
        const unsigned expected = copied ? sourceBytes[byte] : beforeBytes[byte];
        EXPECT_EQ(static_cast<unsigned>(targetBytes[byte]), expected)
            << "byte " << byte << (copied ? ", a field of the event" : ", left as it was");
    }
}

// --- the repair of damaged ranges ---------------------------------------------------------------

TEST(PqEventRepairTest, NullAndEmptyResultsNeedNoRepair)
{
    ASSERT_TRUE(LogCapture::install());
    LoggerApi api;
    const int mark = logMark();
    EXPECT_TRUE(api.checkPqEvents(nullptr));
    EXPECT_TRUE(api.checkPqEvents(LoggerResult<DataPqEvent>::create(0)));
    const PtrLoggerResultPqEvent emptied = LoggerResult<DataPqEvent>::create(3);
    emptied->mNumItems = 0; // a getter lowers the count after the read; the zero items are not looked at
    EXPECT_TRUE(api.checkPqEvents(emptied));
    EXPECT_EQ(logMark(), mark) << LogCapture::text().toStdString();
}

TEST_F(PqEventAnalysisTest, SoundEventsNeedNoRepairAndLogNothing)
{
    startLogger();
    std::vector<DataPqEvent> events;
    for (int index = 0; index < 5; ++index)
        events.push_back(
            soundEvent(stamp(kFirstSecond + index, kQuarter), stamp(index, 1000), TRIGGER_DIP + index));
    // Ranges of a single instant are sound too.
    events[4].rms[6] = range(events[4].utc, events[4].utc);
    events[4].sample = range(events[4].utc, events[4].utc);
    write(events);
    const int mark = logMark();
    const int errorsBefore = TrackObject::getErrorCounter();

    const PtrLoggerResultPqEvent result =
        mApi.getPqEvents(kPqId, at(kFirstSecond), at(kFirstSecond + 10), -1);
    ASSERT_NE(result, nullptr);
    ASSERT_EQ(result->mNumItems, 5);
    for (int index = 0; index < 5; ++index)
        expectSameEvent(result->mItems[index], events[static_cast<size_t>(index)],
                        "event " + std::to_string(index));
    for (const PtrLoggerResultPqEvent& raw : rawEvents())
        EXPECT_TRUE(mApi.checkPqEvents(raw));
    EXPECT_TRUE(apiErrorsSince(mark).isEmpty()) << LogCapture::text().toStdString();
    EXPECT_TRUE(mErrorMessages.isEmpty()) << mErrorMessages.join('\n').toStdString();
    EXPECT_EQ(TrackObject::getErrorCounter(), errorsBefore);
}

namespace {

enum class Damage { ZeroStart, ZeroEnd, BothZero, Inverted, StartFiveEndZero };

struct DamageCase {
    Damage damage;
    const char* name;
};

std::ostream& operator<<(std::ostream& out, const DamageCase& damageCase)
{
    return out << damageCase.name;
}

// The trigger types of the damaged events, one per range, with their texts.
const std::pair<int32_t, const char*> kTriggers[8] = {{TRIGGER_DIP, "Dip    "},
                                                      {TRIGGER_SWELL, "Swell  "},
                                                      {TRIGGER_INTERRUPTION, "Intr   "},
                                                      {TRIGGER_TRUE_DIP, "True Dip"},
                                                      {6, "Unknw"},
                                                      {TRIGGER_FREQUENCY, "Freq"},
                                                      {99, "Unknw"},
                                                      {TRIGGER_FLAGS, "Flags"}};

// The whole seconds of end - start rounded down, as the inverted range's line reports them.
int64_t deltaSeconds(const DataTimespec& end, const DataTimespec& start)
{
    const int64_t nanoseconds = (static_cast<int64_t>(end.tv_sec) - start.tv_sec) * 1000000000 +
                                (static_cast<int64_t>(end.tv_nsec) - start.tv_nsec);
    return nanoseconds >= 0 ? nanoseconds / 1000000000 : -((-nanoseconds + 999999999) / 1000000000);
}

// A damaged range as written, what the repair makes of it, and the endings of its lines.
struct DamagedRange {
    DataUtcRange written;
    DataUtcRange repaired;
    std::vector<std::string> lines; // after "... has Rms[i]" and after "... has Sample"
};

DamagedRange damage(Damage kind, const DataPqEvent& event, const DataUtcRange& sound, bool sample)
{
    const DataTimespec zero{0, 0};
    const DataTimespec utc = event.utc;
    const DataTimespec utcEnd = endOf(event);
    const auto inverted = [&](const DataTimespec& start, const DataTimespec& end) {
        return sample ? std::string(" utcEnd < utcStart")
                      : "] utcEnd < utcStart, delta=" + std::to_string(deltaSeconds(end, start));
    };
    const std::string open = sample ? " " : "] ";
    switch (kind) {
    case Damage::ZeroStart:
        return {range(zero, sound.utcEnd), range(utc, sound.utcEnd), {open + "utcStart = 0"}};
    case Damage::ZeroEnd:
        // The end is earlier than the start as read: the inverted range's repair follows.
        return {range(sound.utcStart, zero),
                range(utc, utcEnd),
                {open + "utcEnd = 0", inverted(sound.utcStart, zero)}};
    case Damage::BothZero:
        return {range(zero, zero), range(utc, utcEnd), {open + "utcStart = 0", open + "utcEnd = 0"}};
    case Damage::Inverted:
        return {range(sound.utcEnd, sound.utcStart),
                range(utc, utcEnd),
                {inverted(sound.utcEnd, sound.utcStart)}};
    case Damage::StartFiveEndZero:
        return {range(stamp(5), zero), range(utc, utcEnd), {open + "utcEnd = 0", inverted(stamp(5), zero)}};
    }
    return {};
}

class PqEventDamageTest : public PqEventAnalysisTest, public ::testing::WithParamInterface<DamageCase> {};

} // namespace

// Eight events, each damaged in one range (rms[0] to rms[6], then the sample range), and a sound
// one behind them; one read repairs them all and logs each repair, the card keeps them as they
// were, and a repair of the card's events by hand answers false for each damaged one.
TEST_P(PqEventDamageTest, EachDamagedRangeIsRepairedAndLoggedWhileTheCardKeepsIt)
{
    startLogger();
    std::vector<DataPqEvent> written;
    std::vector<DataPqEvent> repaired;
    QStringList expectedRms;
    QStringList expectedSample;
    std::vector<QStringList> linesOfEvent;
    for (int target = 0; target < 8; ++target) {
        DataPqEvent event = soundEvent(stamp(kFirstSecond + 10 * target, kQuarter), stamp(1, 500000000),
                                       kTriggers[target].first);
        DataPqEvent expected = event;
        const bool sample = target == 7;
        const DamagedRange damaged =
            damage(GetParam().damage, event, sample ? event.sample : event.rms[target], sample);
        QStringList lines;
        if (sample) {
            event.sample = damaged.written;
            expected.sample = damaged.repaired;
            for (const std::string& ending : damaged.lines)
                lines.append(QStringLiteral("event ") + LoggerDebug::getUtcStr(event.utc) +
                             QStringLiteral(" has Sample") + QString::fromStdString(ending));
            expectedSample += lines;
        } else {
            event.rms[target] = damaged.written;
            expected.rms[target] = damaged.repaired;
            for (const std::string& ending : damaged.lines)
                lines.append(QStringLiteral("event ") + QString::fromLatin1(kTriggers[target].second) +
                             QStringLiteral(", ") + LoggerDebug::getUtcStr(event.utc) +
                             QStringLiteral(" has Rms[") + QString::number(target) +
                             QString::fromStdString(ending));
            expectedRms += lines;
        }
        written.push_back(event);
        repaired.push_back(expected);
        linesOfEvent.push_back(lines);
    }
    const DataPqEvent sound = soundEvent(stamp(kFirstSecond + 100, kQuarter), stamp(0, 300000000));
    written.push_back(sound);
    repaired.push_back(sound);
    write(written);
    ASSERT_TRUE(mLogger->stopLogger());
    const QMap<QString, QByteArray> filesBefore = dataFiles();
    ASSERT_EQ(filesBefore.size(), 1);

    int mark = logMark();
    int errorsBefore = TrackObject::getErrorCounter();
    mErrorMessages.clear();
    const PtrLoggerResultPqEvent result =
        mApi.getPqEvents(kPqId, at(kFirstSecond), at(kFirstSecond + 200), -1);
    ASSERT_NE(result, nullptr);
    ASSERT_EQ(result->mNumItems, 9);
    for (int index = 0; index < 9; ++index)
        expectSameEvent(result->mItems[index], repaired[static_cast<size_t>(index)],
                        "event " + std::to_string(index));
    EXPECT_EQ(apiErrorsSince(mark), expectedRms) << LogCapture::text().toStdString();
    EXPECT_EQ(mErrorMessages, expectedSample);
    EXPECT_EQ(TrackObject::getErrorCounter(), errorsBefore + expectedRms.size() + expectedSample.size());
    EXPECT_EQ(dataFiles(), filesBefore) << "the repair is the read's own: nothing goes back to the card";
    // A repaired event is sound.
    EXPECT_TRUE(mApi.checkPqEvents(result));

    // The card's events by hand: false for each damaged one, with its own lines; true for the sound one.
    const std::vector<PtrLoggerResultPqEvent> raw = rawEvents();
    ASSERT_EQ(raw.size(), 9u);
    for (size_t index = 0; index < raw.size(); ++index) {
        expectSameEvent(raw[index]->mItems[0], written[index], "on the card, event " + std::to_string(index));
        mark = logMark();
        errorsBefore = TrackObject::getErrorCounter();
        mErrorMessages.clear();
        const bool damaged = index < 8;
        EXPECT_EQ(mApi.checkPqEvents(raw[index]), !damaged) << "event " << index;
        expectSameEvent(raw[index]->mItems[0], repaired[index],
                        "repaired by hand, event " + std::to_string(index));
        const QStringList lines = damaged ? linesOfEvent[index] : QStringList();
        EXPECT_EQ(apiErrorsSince(mark) + mErrorMessages, lines) << "event " << index;
        EXPECT_EQ(TrackObject::getErrorCounter(), errorsBefore + lines.size()) << "event " << index;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Damages, PqEventDamageTest,
    ::testing::Values(DamageCase{Damage::ZeroStart, "ZeroStart"}, DamageCase{Damage::ZeroEnd, "ZeroEnd"},
                      DamageCase{Damage::BothZero, "BothZero"}, DamageCase{Damage::Inverted, "Inverted"},
                      DamageCase{Damage::StartFiveEndZero, "StartFiveEndZero"}),
    [](const ::testing::TestParamInfo<DamageCase>& info) { return std::string(info.param.name); });

TEST_F(PqEventAnalysisTest, ARangeFromFiveToZeroEndsAsTheEventsOwnSpanWithTwoLines)
{
    startLogger();
    DataPqEvent event = soundEvent(stamp(kFirstSecond, kQuarter), stamp(2, 100000000), TRIGGER_INTERRUPTION);
    event.rms[4] = range(stamp(5), stamp(0));
    event.sample = range(stamp(5), stamp(0));
    write({event});
    const int mark = logMark();

    const PtrLoggerResultPqEvent result = mApi.getPqEvents(kPqId, at(kFirstSecond), at(kFirstSecond + 1), -1);
    ASSERT_NE(result, nullptr);
    ASSERT_EQ(result->mNumItems, 1);
    const DataUtcRange own =
        range(stamp(kFirstSecond, kQuarter), stamp(kFirstSecond + 2, kQuarter + 100000000));
    EXPECT_EQ(rangeText(result->mItems[0].rms[4]), rangeText(own));
    EXPECT_EQ(rangeText(result->mItems[0].sample), rangeText(own));
    const QString utc = LoggerDebug::getUtcStr(at(kFirstSecond, kQuarter));
    EXPECT_EQ(apiErrorsSince(mark),
              (QStringList{QStringLiteral("event Intr   , ") + utc + QStringLiteral(" has Rms[4] utcEnd = 0"),
                           QStringLiteral("event Intr   , ") + utc +
                               QStringLiteral(" has Rms[4] utcEnd < utcStart, delta=-5")}))
        << LogCapture::text().toStdString();
    EXPECT_EQ(
        mErrorMessages,
        (QStringList{QStringLiteral("event ") + utc + QStringLiteral(" has Sample utcEnd = 0"),
                     QStringLiteral("event ") + utc + QStringLiteral(" has Sample utcEnd < utcStart")}));
}

TEST_F(PqEventAnalysisTest, TheSecondReadOfADamagedEventLogsTheSameLinesAgain)
{
    startLogger();
    DataPqEvent event = soundEvent(stamp(kFirstSecond, kQuarter), stamp(1, 0), TRIGGER_TRUE_DIP);
    event.rms[2].utcStart = stamp(0);
    event.rms[5] = range(later(event.utc, 3), later(event.utc, 1));
    // Inverted within one second: the difference of -200 ns has -1 in its seconds word.
    event.rms[6] = range(stamp(kFirstSecond + 1, 600), stamp(kFirstSecond + 1, 400));
    event.sample.utcEnd = stamp(0);
    write({event});

    std::vector<QStringList> apiLines;
    std::vector<QStringList> messages;
    std::vector<DataPqEvent> results;
    for (int read = 0; read < 2; ++read) {
        const int mark = logMark();
        mErrorMessages.clear();
        const PtrLoggerResultPqEvent result =
            mApi.getPqEvents(kPqId, at(kFirstSecond), at(kFirstSecond + 1), -1);
        ASSERT_NE(result, nullptr);
        ASSERT_EQ(result->mNumItems, 1);
        results.push_back(result->mItems[0]);
        apiLines.push_back(apiErrorsSince(mark));
        messages.push_back(mErrorMessages);
    }
    const QString utc = LoggerDebug::getUtcStr(at(kFirstSecond, kQuarter));
    const QStringList expectedApi{
        QStringLiteral("event True Dip, ") + utc + QStringLiteral(" has Rms[2] utcStart = 0"),
        QStringLiteral("event True Dip, ") + utc + QStringLiteral(" has Rms[5] utcEnd < utcStart, delta=-2"),
        QStringLiteral("event True Dip, ") + utc + QStringLiteral(" has Rms[6] utcEnd < utcStart, delta=-1")};
    const QStringList expectedMessages{
        QStringLiteral("event ") + utc + QStringLiteral(" has Sample utcEnd = 0"),
        QStringLiteral("event ") + utc + QStringLiteral(" has Sample utcEnd < utcStart")};
    EXPECT_EQ(apiLines[0], expectedApi) << LogCapture::text().toStdString();
    EXPECT_EQ(apiLines[1], expectedApi) << LogCapture::text().toStdString();
    EXPECT_EQ(messages[0], expectedMessages);
    EXPECT_EQ(messages[1], expectedMessages);
    expectSameEvent(results[1], results[0], "the second read");
    EXPECT_EQ(rangeText(results[0].rms[2]), rangeText(range(event.utc, event.rms[2].utcEnd)));
    EXPECT_EQ(rangeText(results[0].rms[6]), rangeText(range(event.utc, endOf(event))));
}

// --- the classification against the tables ------------------------------------------------------

namespace {

// Durations drawn around every limit of the duration classes, exactly on it and a few
// nanoseconds to a few milliseconds beside it, and zero, negative and very long ones.
DataTimespec drawDuration(std::mt19937& random)
{
    static const int64_t kLimits[] = {20000000, 200000000, 500000000, 1000000000, 5000000000, 60000000000};
    static const int64_t kOffsets[] = {0, 1, -1, 2, -2, 7, -7, 100, -100, 1000, -1000, 1000000, -1000000};
    const int kind = std::uniform_int_distribution<int>(0, 23)(random);
    int64_t nanoseconds = 0;
    if (kind >= 18) {
        // A few nanoseconds beside the point where the seconds start to round to the float next
        // to a limit, above or below it.
        static const float kFloatLimits[] = {0.02f, 0.2f, 0.5f, 1.0f, 5.0f, 60.0f};
        const float limit = kFloatLimits[std::uniform_int_distribution<int>(0, 5)(random)];
        const float neighbour = std::nextafter(limit, std::uniform_int_distribution<int>(0, 1)(random)
                                                          ? std::numeric_limits<float>::infinity()
                                                          : 0.0f);
        const double midpoint = (static_cast<double>(limit) + static_cast<double>(neighbour)) / 2.0;
        nanoseconds = std::llround(midpoint * 1e9) + std::uniform_int_distribution<int64_t>(-3, 3)(random);
    } else if (kind < 14) {
        const int64_t limit = kLimits[std::uniform_int_distribution<int>(0, 5)(random)];
        int64_t offset = kOffsets[std::uniform_int_distribution<int>(0, 12)(random)];
        if (kind >= 11)
            offset = std::uniform_int_distribution<int64_t>(-50000000, 50000000)(random);
        nanoseconds = limit + offset;
    } else if (kind == 14) {
        // Zero, or nanoseconds that hold whole seconds.
        if (std::uniform_int_distribution<int>(0, 1)(random))
            return stamp(0, 0);
        return stamp(0, std::uniform_int_distribution<int32_t>(1000000000, INT32_MAX)(random));
    } else if (kind == 15) {
        return stamp(-std::uniform_int_distribution<int32_t>(1, 100)(random),
                     std::uniform_int_distribution<int32_t>(0, 999999999)(random));
    } else if (kind == 16) {
        return stamp(std::uniform_int_distribution<int32_t>(61, 2000000000)(random),
                     std::uniform_int_distribution<int32_t>(0, 999999999)(random));
    } else {
        nanoseconds = std::uniform_int_distribution<int64_t>(0, 70000000000)(random);
    }
    const int64_t seconds =
        nanoseconds >= 0 ? nanoseconds / 1000000000 : -((-nanoseconds + 999999999) / 1000000000);
    return stamp(static_cast<int32_t>(seconds), static_cast<int32_t>(nanoseconds - seconds * 1000000000));
}

// Reference and event value drawn so that the depth lies on, or a few steps of single precision
// beside, every limit of the depth classes; and zero, negative, huge, infinite and NaN values.
void drawDepth(std::mt19937& random, float& referenceValue, float& eventValue)
{
    static const float kReferences[] = {230.0f, 100.0f, 1.0f,    57.735f, 400.0f,
                                        0.0f,   -0.0f,  -230.0f, 1e-30f,  3e38f};
    static const float kPercents[] = {0.0f, 5.0f, 40.0f, 70.0f, 80.0f, 90.0f, 100.0f, 110.0f, 120.0f};
    const float infinity = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const int referenceKind = std::uniform_int_distribution<int>(0, 11)(random);
    referenceValue = referenceKind < 10 ? kReferences[referenceKind]
                                        : std::uniform_real_distribution<float>(1.0f, 1000.0f)(random);
    const int kind = std::uniform_int_distribution<int>(0, 19)(random);
    if (kind < 14) {
        const float percent = kPercents[std::uniform_int_distribution<int>(0, 8)(random)];
        eventValue = referenceValue * percent / 100.0f;
        const int steps = std::uniform_int_distribution<int>(-3, 3)(random);
        for (int step = 0; step < std::abs(steps); ++step)
            eventValue = std::nextafter(eventValue, steps > 0 ? infinity : -infinity);
    } else if (kind == 14) {
        eventValue = nan;
    } else if (kind == 15) {
        eventValue = std::uniform_int_distribution<int>(0, 1)(random) ? infinity : -infinity;
    } else if (kind == 16) {
        eventValue = std::uniform_int_distribution<int>(0, 1)(random) ? 0.0f : -0.0f;
    } else {
        eventValue = referenceValue * std::uniform_real_distribution<float>(-0.3f, 1.5f)(random);
    }
}

uint32_t propertySeed()
{
    bool ok = false;
    const int chosen = qEnvironmentVariableIntValue("QZLOGGER_TEST_SEED", &ok);
    return ok ? static_cast<uint32_t>(chosen) : 20261124u;
}

} // namespace

TEST_F(PqEventAnalysisTest, TheClassesOfRandomEventsAreThoseOfTheTables)
{
    constexpr int kBlocks = 3;
    constexpr int kPerBlock = 3500;
    const uint32_t seed = propertySeed();
    SCOPED_TRACE("seed " + std::to_string(seed) + " (QZLOGGER_TEST_SEED repeats a run)");
    std::mt19937 random(seed);
    startLogger();

    DataEventClass35 expected{};
    int unclassified = 0;
    int classifiedNanSeconds = 0;
    int event = 0;
    for (int block = 0; block < kBlocks; ++block) {
        std::vector<DataPqEvent> events;
        for (int index = 0; index < kPerBlock; ++index, ++event) {
            DataPqEvent item = soundEvent(
                stamp(kFirstSecond + event, std::uniform_int_distribution<int32_t>(0, 999999999)(random)),
                drawDuration(random));
            // Sound ranges whatever the duration: the classification alone is looked at.
            for (DataUtcRange& r : item.rms)
                r = range(item.utc, item.utc);
            item.sample = range(item.utc, item.utc);
            drawDepth(random, item.referenceValue, item.eventValue);
            const int duration = referenceDurationClass(item.duration);
            if (duration < 0) {
                ++unclassified;
            } else {
                if (expected.utc.tv_sec == 0)
                    expected.utc = item.utc;
                if (item.duration.tv_nsec != 0)
                    ++classifiedNanSeconds;
                ++expected.counters[duration][referenceDepthClass(item.referenceValue, item.eventValue)];
            }
            events.push_back(item);
        }
        write(events);
    }
    // The draw reaches every class and leaves events outside them.
    for (int duration = 0; duration < 5; ++duration)
        for (int depth = 0; depth < 7; ++depth)
            ASSERT_GT(expected.counters[duration][depth], 0)
                << "class " << duration << "/" << depth << " not drawn";
    ASSERT_GT(unclassified, 0);
    ASSERT_GT(classifiedNanSeconds, 0);

    mPauses.clear();
    const DataEventClass35 table =
        mApi.getPqEventClasses(kPqId, at(kFirstSecond), at(kFirstSecond + event), 2 * kBlocks * kPerBlock);
    EXPECT_EQ(tableText(table), tableText(expected)) << "seed " << seed;
    EXPECT_EQ(tableSum(table), kBlocks * kPerBlock - unclassified) << "seed " << seed;
    EXPECT_EQ(mPauses, std::vector<unsigned long>{kReadPause}) << "one read";
}

// --- a store that is not up ---------------------------------------------------------------------

namespace {

WriterStore::Options withoutInitialize()
{
    WriterStore::Options options;
    options.initialize = false;
    return options;
}

class PqEventClassesWithoutStoreTest : public ::testing::Test {
protected:
    const bool mLogCaptured = LogCapture::install();
    WriterStore mStore{withoutInitialize()};
};

} // namespace

TEST_F(PqEventClassesWithoutStoreTest, AStoreThatIsNotUpGivesTheZeroTableAndNoEventData)
{
    ASSERT_TRUE(mLogCaptured);
    ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
    std::vector<unsigned long> pauses;
    setReadPauseObserverForTesting([&pauses](unsigned long milliseconds) { pauses.push_back(milliseconds); });
    LoggerApi api;
    const int mark = logMark();
    const int errorsBefore = TrackObject::getErrorCounter();
    const DataEventClass35 table = api.getPqEventClasses(kPqId, at(kFirstSecond), at(kFirstSecond + 10), -1);
    setReadPauseObserverForTesting(nullptr);
    EXPECT_TRUE(isZeroTable(table)) << tableText(table);
    EXPECT_EQ(apiErrorsSince(mark), QStringList{QStringLiteral("no Event Data")})
        << LogCapture::text().toStdString();
    EXPECT_EQ(TrackObject::getErrorCounter(), errorsBefore + 1);
    EXPECT_TRUE(pauses.empty()) << "a store that is not up answers at once";
}

// Reads by position: pages counted back from a time (getSelected...) and the last items up to a
// time (getEvents, getPqEvents, getRseEvents, getSignalEvents, getOperatorEvents), with the
// event texts, the reader's view of power-quality events and the interval of measured loggers.
// Real catalogue on a simulated card (WriterStore); the files are written by the writer's own
// loggers, and where a test needs bytes that no writer writes, the writer's file is overwritten
// in place. Each test runs in a process of its own.

#include "DataMeasType.h"
#include "LogCapture.h"
#include "LoggerApi.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerEventAlarm.h"
#include "LoggerOperatorInterface.h"
#include "LoggerTestSeams.h"
#include "TestLogger.h"
#include "TestTemplateLogger.h"
#include "WriterStore.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QFile>

#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

timespec at(int64_t seconds, long nanoseconds = 0)
{
    timespec time{};
    time.tv_sec = static_cast<time_t>(seconds);
    time.tv_nsec = nanoseconds;
    return time;
}

// A logger of any family and record with an interval of its own, so that a result's interval
// can only have come from its own logger.
class PagedLogger : public TestLogger {
public:
    PagedLogger(const QString& id, int blockSize, LoggerType type, LoggerDataType dataType, double interval)
        : TestLogger(id, blockSize, type, dataType)
    {
        setInterval(interval);
    }
};

template <typename T> QByteArray bytesOf(const std::vector<T>& items)
{
    return QByteArray(reinterpret_cast<const char*>(items.data()),
                      static_cast<int>(items.size() * sizeof(T)));
}

// A power-quality event whose recording ranges are sound, so that a read repairs nothing; the
// number goes into the event value and the tail, pqExtension is marked so that the reader's view
// shows that it is left out.
DataPqEvent pqEvent(int32_t second, int32_t number)
{
    DataPqEvent event{};
    event.utc = DataTimespec{second, 0};
    event.duration = DataTimespec{0, 500000000};
    event.triggerType = TRIGGER_DIP;
    event.referenceValue = 230.0f;
    event.eventValue = static_cast<float>(number);
    for (DataUtcRange& range : event.rms) {
        range.utcStart = DataTimespec{second, 0};
        range.utcEnd = DataTimespec{second + 1, 0};
    }
    event.sample.utcStart = DataTimespec{second, 0};
    event.sample.utcEnd = DataTimespec{second + 1, 0};
    event.pqExtension.words[0] = 0xABCDu;
    event.pqTail.words[0] = static_cast<uint32_t>(number);
    return event;
}

std::vector<DataPqEvent> pqEvents(const std::vector<int32_t>& seconds, int32_t firstNumber = 0)
{
    std::vector<DataPqEvent> events;
    for (int32_t second : seconds)
        events.push_back(pqEvent(second, firstNumber + static_cast<int32_t>(events.size())));
    return events;
}

DataOperator operatorItem(int32_t second, int32_t operation)
{
    DataOperator item{};
    item.utc = DataTimespec{second, 0};
    item.operation = operation;
    return item;
}

// The seconds of the items of a result, oldest first as the result holds them.
template <typename Result> std::vector<int32_t> secondsOf(const Result& result)
{
    std::vector<int32_t> seconds;
    for (int index = 0; result != nullptr && index < result->mNumItems; ++index)
        seconds.push_back(result->mItems[index].utc.tv_sec);
    return seconds;
}

std::vector<int32_t> span(int32_t first, int32_t last)
{
    std::vector<int32_t> seconds;
    for (int32_t second = first; second <= last; ++second)
        seconds.push_back(second);
    return seconds;
}

std::vector<int32_t> joined(std::vector<int32_t> first, const std::vector<int32_t>& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

class PagedSelectionTest : public ::testing::Test {
protected:
    static constexpr int kHeaderSize = LoggerBase::kHeaderSize;

    static void SetUpTestSuite() { LogCapture::instance(); }

    void SetUp() override
    {
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        mBase = testStartSecond();
        setReadPauseObserverForTesting(
            [this](unsigned long milliseconds) { mPauses.push_back(milliseconds); });
        setLoggerMessageObserverForTesting(
            [this](const std::string& text, LoggerMessageType type) { mMessages.emplace_back(text, type); });
        LoggerDb::getInstance().getAndResetLastError();
    }

    void TearDown() override
    {
        setReadPauseObserverForTesting(nullptr);
        setLoggerMessageObserverForTesting(nullptr);
    }

    // A started logger; with itemsPerFile, each file takes one block of that many items.
    std::unique_ptr<PagedLogger> startedLogger(const QString& id, int blockSize, LoggerType type,
                                               LoggerDataType dataType, double interval = 1.0,
                                               int itemsPerFile = 0)
    {
        auto logger = std::make_unique<PagedLogger>(id, blockSize, type, dataType, interval);
        if (itemsPerFile > 0) {
            // A file that has reached its size limit takes no further block.
            logger->setMaximumFileSize(kHeaderSize + itemsPerFile * blockSize - 1);
        }
        EXPECT_TRUE(logger->startLogger()) << id.toStdString();
        return logger;
    }

    static bool write(PagedLogger& logger, const QByteArray& block)
    {
        const int count = block.size() / logger.getDataBlockSize();
        return logger.writeDatas(block.constData(), count, true, true) != nullptr;
    }

    // A mean logger with 25 items up to mTime, one a second, and five more after it.
    std::unique_ptr<PagedLogger> twentyFiveMeansUpToTime()
    {
        auto logger = startedLogger(QStringLiteral("paged.mean"), sizeof(DataMean), LoggerType::CYCLIC,
                                    LoggerDataType::MEAN);
        EXPECT_TRUE(write(*logger, testItems(span(mBase, mBase + 29), sizeof(DataMean))));
        mTime = at(mBase + 24);
        return logger;
    }

    int messageCount(const std::string& text, LoggerMessageType type) const
    {
        int found = 0;
        for (const auto& message : mMessages)
            found += message.first == text && message.second == type ? 1 : 0;
        return found;
    }

    static QString lastError() { return LoggerDb::getInstance().getAndResetLastError(); }

    WriterStore mStore;
    LoggerApi mApi;
    int32_t mBase = 0;
    timespec mTime{};
    std::vector<unsigned long> mPauses;
    std::vector<std::pair<std::string, LoggerMessageType>> mMessages;
};

} // namespace

// --- pages counted back from a time

TEST_F(PagedSelectionTest, OffsetZeroGivesTheNewestItemsUpToTimeOldestFirst)
{
    auto logger = twentyFiveMeansUpToTime();
    const PtrLoggerResultMean page = mApi.getSelectedMeanValues(QStringLiteral("paged.mean"), mTime, 0, 10);
    ASSERT_NE(page, nullptr);
    EXPECT_EQ(secondsOf(page), span(mBase + 15, mBase + 24));
    EXPECT_TRUE(mPauses.empty()) << "a page is read without a pause";
}

TEST_F(PagedSelectionTest, APageReachingPastTheOldestItemComesShort)
{
    auto logger = twentyFiveMeansUpToTime();
    const PtrLoggerResultMean page = mApi.getSelectedMeanValues(QStringLiteral("paged.mean"), mTime, 20, 10);
    ASSERT_NE(page, nullptr);
    EXPECT_EQ(secondsOf(page), span(mBase, mBase + 4));
}

TEST_F(PagedSelectionTest, APageRightBeforeTheOldestItemIsEmptyAndNotNull)
{
    auto logger = twentyFiveMeansUpToTime();
    const PtrLoggerResultMean page = mApi.getSelectedMeanValues(QStringLiteral("paged.mean"), mTime, 25, 10);
    ASSERT_NE(page, nullptr);
    EXPECT_EQ(page->mNumItems, 0);
    EXPECT_TRUE(lastError().isEmpty());
}

TEST_F(PagedSelectionTest, APageWhollyBeforeTheOldestItemIsEmpty)
{
    auto logger = twentyFiveMeansUpToTime();
    const PtrLoggerResultMean page = mApi.getSelectedMeanValues(QStringLiteral("paged.mean"), mTime, 30, 10);
    ASSERT_NE(page, nullptr);
    EXPECT_EQ(page->mNumItems, 0);
    EXPECT_TRUE(lastError().isEmpty());
}

TEST_F(PagedSelectionTest, APageAcrossTwoFilesReadsTheEndOfTheOlderAndTheStartOfTheNewer)
{
    auto logger = startedLogger(QStringLiteral("paged.files"), sizeof(DataMean), LoggerType::CYCLIC,
                                LoggerDataType::MEAN, 1.0, 10);
    const int firstUniqueId = logger->getFirstUniqueId();
    ASSERT_TRUE(write(*logger, testItems(span(mBase, mBase + 9), sizeof(DataMean))));
    ASSERT_TRUE(write(*logger, testItems(span(mBase + 60, mBase + 69), sizeof(DataMean))));
    ASSERT_EQ(logger->getFileListSize(), 2);
    const std::vector<int32_t> expected = joined(span(mBase + 5, mBase + 9), span(mBase + 60, mBase + 64));
    int firstItemId = -1;
    const auto direct = mApi.getSelectedItems<DataMean, void*>(QStringLiteral("paged.files"),
                                                               LoggerType::CYCLIC, LoggerDataType::MEAN,
                                                               at(mBase + 100), 15, 10, -1, firstItemId);
    ASSERT_NE(direct, nullptr);
    EXPECT_EQ(secondsOf(direct), expected);
    EXPECT_EQ(firstItemId, firstUniqueId + 5) << "the sixth item of the older file";

    EXPECT_EQ(secondsOf(mApi.getSelectedMeanValues(QStringLiteral("paged.files"), at(mBase + 100), 5, 10)),
              expected);
}

TEST_F(PagedSelectionTest, APageOfRseEventsAcrossTwoFilesIsNumberedFromTheFirstItemOfTheOlderFile)
{
    auto logger = startedLogger(QStringLiteral("paged.pq"), sizeof(DataPqEvent), LoggerType::PQEVENT,
                                LoggerDataType::PQEVENT, 1.0, 10);
    const int firstUniqueId = logger->getFirstUniqueId();
    ASSERT_TRUE(write(*logger, bytesOf(pqEvents(span(mBase, mBase + 9), 0))));
    ASSERT_TRUE(write(*logger, bytesOf(pqEvents(span(mBase + 60, mBase + 69), 10))));
    ASSERT_EQ(logger->getFileListSize(), 2);

    const PtrLoggerResultRseEvent page =
        mApi.getSelectedRseEvents(QStringLiteral("paged.pq"), at(mBase + 100), 5, 10);
    ASSERT_NE(page, nullptr);
    EXPECT_EQ(secondsOf(page), joined(span(mBase + 5, mBase + 9), span(mBase + 60, mBase + 64)));
    for (int index = 0; index < page->mNumItems; ++index) {
        SCOPED_TRACE(index);
        const DataRseEvent& event = page->mItems[index];
        EXPECT_EQ(event.index, firstUniqueId + 5 + index);
        EXPECT_EQ(event.eventValue, static_cast<float>(5 + index));
        EXPECT_EQ(event.pqTail.words[0], static_cast<uint32_t>(5 + index));
        EXPECT_EQ(event.pqExtension.words[0], 0u) << "pqExtension is not part of the reader's view";
        EXPECT_EQ(event.rms[3].utcEnd.tv_sec, event.utc.tv_sec + 1);
    }
    EXPECT_EQ(messageCount("Wrong Logger Items Order ", LOGGER_MESSAGE_ERROR), 0);
}

// The catalogue dates the file that the writer is appending to only when the writer leaves it;
// until then its start is 0, which must not make it the oldest file of a read.
TEST_F(PagedSelectionTest, TheFileTheWriterIsStillAppendingToIsReadAsTheNewest)
{
    auto logger = startedLogger(QStringLiteral("paged.current"), sizeof(DataEvent), LoggerType::EVENT,
                                LoggerDataType::EVENT, 1.0, 10);
    ASSERT_TRUE(write(*logger, testItems(span(mBase, mBase + 9), sizeof(DataEvent))));
    ASSERT_TRUE(write(*logger, testItems(span(mBase + 60, mBase + 69), sizeof(DataEvent))));
    ASSERT_EQ(logger->getFileListSize(), 2);
    const std::vector<int32_t> expected = joined(span(mBase + 8, mBase + 9), span(mBase + 60, mBase + 69));
    EXPECT_EQ(secondsOf(mApi.getEvents(QStringLiteral("paged.current"), at(mBase + 100), 12)), expected);
    EXPECT_EQ(secondsOf(mApi.getSelectedEvents(QStringLiteral("paged.current"), at(mBase + 100), 0, 12)),
              expected);
}

// --- event texts

TEST_F(PagedSelectionTest, EventsGetThePositionOfTheirTextAndTheWholeTextListOfTheLogger)
{
    LoggerEventAlarm logger;
    logger.setLoggerName("paged.alarm");
    ASSERT_TRUE(logger.initialize());
    ASSERT_TRUE(logger.updateEventStrings({"Overvoltage", "Undervoltage", "Flicker", "Unused"}));
    const std::vector<std::pair<int32_t, QString>> logged = {{mBase, QStringLiteral("Flicker")},
                                                             {mBase + 1, QStringLiteral("Not registered")},
                                                             {mBase + 2, QStringLiteral("Undervoltage")},
                                                             {mBase + 3, QStringLiteral("Overvoltage")}};
    for (const auto& entry : logged) {
        DataEvent event{};
        event.utc = DataTimespec{entry.first, 0};
        event.stringIndex = 77; // the writer's value means nothing to a reader
        ASSERT_TRUE(logger.logEventItem(event, entry.second));
    }
    ASSERT_TRUE(logger.flush());
    const std::vector<std::string> texts = {"Overvoltage", "Undervoltage", "Flicker", "Unused"};
    // Flicker, then the unregistered text (stringId 0, no row), Undervoltage, Overvoltage.
    const std::vector<int32_t> positions = {2, 0, 1, 0};

    const PtrLoggerResultEvent last = mApi.getEvents(QStringLiteral("paged.alarm"), at(mBase + 100), 10);
    const PtrLoggerResultEvent page =
        mApi.getSelectedEvents(QStringLiteral("paged.alarm"), at(mBase + 100), 0, 10);
    for (const PtrLoggerResultEvent& result : {last, page}) {
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(secondsOf(result), span(mBase, mBase + 3));
        std::vector<int32_t> found;
        for (int index = 0; index < result->mNumItems; ++index)
            found.push_back(result->mItems[index].stringIndex);
        EXPECT_EQ(found, positions);
        EXPECT_EQ(result->mItems[1].stringId, 0);
        EXPECT_EQ(result->mInfo, texts);
        EXPECT_EQ(result->mInterval, 0.0);
    }
    EXPECT_EQ(messageCount("Event Strings: 4", LOGGER_MESSAGE_ROUTINE), 2);
}

// --- the reader's view of one power-quality event

TEST_F(PagedSelectionTest, ASingleRseEventIsTheEventAtOrRightBeforeTheTimeOfTheId)
{
    auto logger = startedLogger(QStringLiteral("paged.single"), sizeof(DataPqEvent), LoggerType::PQEVENT,
                                LoggerDataType::PQEVENT);
    const int firstUniqueId = logger->getFirstUniqueId();
    ASSERT_TRUE(write(*logger, bytesOf(pqEvents({mBase, mBase + 10, mBase + 20}))));
    const QString id = QStringLiteral("paged.single");

    const PtrLoggerResultRseEvent exact = mApi.getSingleRseEvent(id, mApi.getTimeId(at(mBase + 10)));
    ASSERT_NE(exact, nullptr);
    EXPECT_EQ(secondsOf(exact), std::vector<int32_t>{mBase + 10});
    EXPECT_EQ(exact->mItems[0].index, firstUniqueId + 1);

    const PtrLoggerResultRseEvent between =
        mApi.getSingleRseEvent(id, mApi.getTimeId(at(mBase + 19, 999999999)));
    ASSERT_NE(between, nullptr);
    EXPECT_EQ(secondsOf(between), std::vector<int32_t>{mBase + 10});
    EXPECT_EQ(between->mItems[0].index, firstUniqueId + 1);

    const PtrLoggerResultRseEvent newest = mApi.getSingleRseEvent(id, mApi.getTimeId(at(mBase + 5000)));
    ASSERT_NE(newest, nullptr);
    EXPECT_EQ(secondsOf(newest), std::vector<int32_t>{mBase + 20});
    EXPECT_EQ(newest->mItems[0].index, firstUniqueId + 2);
    EXPECT_TRUE(mPauses.empty());
}

// --- the interval of measured loggers

TEST_F(PagedSelectionTest, EveryCyclicPageCarriesTheIntervalOfItsOwnLogger)
{
    struct Cyclic {
        const char* id;
        LoggerDataType dataType;
        int blockSize;
        double interval;
    };
    const std::vector<Cyclic> loggers = {
        {"paged.mean", LoggerDataType::MEAN, sizeof(DataMean), 0.2},
        {"paged.vtq", LoggerDataType::VTQ, sizeof(DataXtq<float>), 0.5},
        {"paged.dtq", LoggerDataType::DTQ, sizeof(DataXtq<double>), 3.0},
        {"paged.mean7", LoggerDataType::MEAN_7, sizeof(DataMeanMinMaxArray<float, 7>), 7.0},
        {"paged.mean12", LoggerDataType::MEAN_12, sizeof(DataMeanMinMaxArray<float, 12>), 12.0},
        {"paged.mean14", LoggerDataType::MEAN_14, sizeof(DataMeanMinMaxArray<float, 14>), 14.0},
        {"paged.mean16", LoggerDataType::MEAN_16, sizeof(DataMeanMinMaxArray<float, 16>), 16.0},
        {"paged.mean20", LoggerDataType::MEAN_20, sizeof(DataMeanMinMaxArray<float, 20>), 20.0},
        {"paged.mean23", LoggerDataType::MEAN_23, sizeof(DataMeanMinMaxArray<float, 23>), 23.0},
        {"paged.mean24", LoggerDataType::MEAN_24, sizeof(DataMeanMinMaxArray<float, 24>), 24.0},
        {"paged.qmeter", LoggerDataType::QMETER, sizeof(DataQuadMeter), 600.0},
        {"paged.smeter", LoggerDataType::SMETER, sizeof(DataSystemMeter), 900.0},
    };
    std::vector<std::unique_ptr<PagedLogger>> started;
    for (const Cyclic& entry : loggers) {
        started.push_back(startedLogger(QString::fromLatin1(entry.id), entry.blockSize, LoggerType::CYCLIC,
                                        entry.dataType, entry.interval));
        ASSERT_TRUE(write(*started.back(), testItems(span(mBase, mBase + 2), entry.blockSize))) << entry.id;
    }
    const timespec time = at(mBase + 100);
    const auto expectPage = [&](const auto& page, const Cyclic& entry) {
        SCOPED_TRACE(entry.id);
        ASSERT_NE(page, nullptr);
        EXPECT_EQ(secondsOf(page), span(mBase + 1, mBase + 2));
        EXPECT_EQ(page->mInterval, entry.interval);
    };
    const auto id = [&](int index) { return QString::fromLatin1(loggers[static_cast<size_t>(index)].id); };
    expectPage(mApi.getSelectedMeanValues(id(0), time, 0, 2), loggers[0]);
    expectPage(mApi.getSelectedVtqValues(id(1), time, 0, 2), loggers[1]);
    expectPage(mApi.getSelectedDtqValues(id(2), time, 0, 2), loggers[2]);
    expectPage(mApi.getSelectedMeanMinMaxArray7(id(3), time, 0, 2), loggers[3]);
    expectPage(mApi.getSelectedMeanMinMaxArray12(id(4), time, 0, 2), loggers[4]);
    expectPage(mApi.getSelectedMeanMinMaxArray14(id(5), time, 0, 2), loggers[5]);
    expectPage(mApi.getSelectedMeanMinMaxArray16(id(6), time, 0, 2), loggers[6]);
    expectPage(mApi.getSelectedMeanMinMaxArray20(id(7), time, 0, 2), loggers[7]);
    expectPage(mApi.getSelectedMeanMinMaxArray23(id(8), time, 0, 2), loggers[8]);
    expectPage(mApi.getSelectedMeanMinMaxArray24(id(9), time, 0, 2), loggers[9]);
    expectPage(mApi.getSelectedQuadMeter(id(10), time, 0, 2), loggers[10]);
    expectPage(mApi.getSelectedSystemMeter(id(11), time, 0, 2), loggers[11]);
    // A page that holds no item still tells the interval.
    const PtrLoggerResultMean empty = mApi.getSelectedMeanValues(id(0), time, 10, 2);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(empty->mNumItems, 0);
    EXPECT_EQ(empty->mInterval, 0.2);
    EXPECT_TRUE(mPauses.empty());
}

TEST_F(PagedSelectionTest, EventReadsLeaveTheIntervalAtZero)
{
    auto events = startedLogger(QStringLiteral("paged.event"), sizeof(DataEvent), LoggerType::EVENT,
                                LoggerDataType::EVENT, 5.0);
    auto pq = startedLogger(QStringLiteral("paged.pq"), sizeof(DataPqEvent), LoggerType::PQEVENT,
                            LoggerDataType::PQEVENT, 5.0);
    auto signal = startedLogger(QStringLiteral("paged.signal"), sizeof(DataSignalEvent), LoggerType::PQEVENT,
                                LoggerDataType::SIGNALEVENT, 5.0);
    ASSERT_TRUE(write(*events, testItems(span(mBase, mBase + 2), sizeof(DataEvent))));
    ASSERT_TRUE(write(*pq, bytesOf(pqEvents(span(mBase, mBase + 2)))));
    ASSERT_TRUE(write(*signal, testItems(span(mBase, mBase + 2), sizeof(DataSignalEvent))));
    const timespec time = at(mBase + 100);

    const auto expectNoInterval = [&](const auto& result, const char* getter) {
        SCOPED_TRACE(getter);
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(result->mNumItems, 2);
        EXPECT_EQ(result->mInterval, 0.0);
    };
    expectNoInterval(mApi.getEvents(QStringLiteral("paged.event"), time, 2), "getEvents");
    expectNoInterval(mApi.getSelectedEvents(QStringLiteral("paged.event"), time, 0, 2), "getSelectedEvents");
    expectNoInterval(mApi.getPqEvents(QStringLiteral("paged.pq"), time, 2), "getPqEvents");
    expectNoInterval(mApi.getSelectedPqEvents(QStringLiteral("paged.pq"), time, 0, 2), "getSelectedPqEvents");
    expectNoInterval(mApi.getRseEvents(QStringLiteral("paged.pq"), time, 2), "getRseEvents");
    expectNoInterval(mApi.getSelectedRseEvents(QStringLiteral("paged.pq"), time, 0, 2),
                     "getSelectedRseEvents");
    expectNoInterval(mApi.getSignalEvents(QStringLiteral("paged.signal"), time, 2), "getSignalEvents");
    expectNoInterval(mApi.getSelectedSignalEvents(QStringLiteral("paged.signal"), time, 0, 2),
                     "getSelectedSignalEvents");
}

// --- the last items up to a time

TEST_F(PagedSelectionTest, GetEventsGivesTheLastMaxItemsUpToTimeOldestFirst)
{
    auto logger = startedLogger(QStringLiteral("paged.event"), sizeof(DataEvent), LoggerType::EVENT,
                                LoggerDataType::EVENT);
    ASSERT_TRUE(write(*logger, testItems(span(mBase, mBase + 19), sizeof(DataEvent))));
    const PtrLoggerResultEvent result = mApi.getEvents(QStringLiteral("paged.event"), at(mBase + 14), 5);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(secondsOf(result), span(mBase + 10, mBase + 14));
    EXPECT_TRUE(mPauses.empty());
}

TEST_F(PagedSelectionTest, GetPqEventsGivesTheLastMaxItemsUpToTimeAcrossFiles)
{
    auto logger = startedLogger(QStringLiteral("paged.pq"), sizeof(DataPqEvent), LoggerType::PQEVENT,
                                LoggerDataType::PQEVENT, 1.0, 10);
    ASSERT_TRUE(write(*logger, bytesOf(pqEvents(span(mBase, mBase + 9), 0))));
    ASSERT_TRUE(write(*logger, bytesOf(pqEvents(span(mBase + 60, mBase + 69), 10))));
    ASSERT_EQ(logger->getFileListSize(), 2);
    const PtrLoggerResultPqEvent result =
        mApi.getPqEvents(QStringLiteral("paged.pq"), at(mBase + 63, 500), 8);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(secondsOf(result), joined(span(mBase + 6, mBase + 9), span(mBase + 60, mBase + 63)));
    EXPECT_EQ(result->mItems[0].pqExtension.words[0], 0xABCDu) << "the record as the file holds it";
    EXPECT_TRUE(mPauses.empty());
}

TEST_F(PagedSelectionTest, GetRseEventsGivesTheLastMaxItemsUpToTimeWithTheirRunningIndex)
{
    auto logger = startedLogger(QStringLiteral("paged.pq"), sizeof(DataPqEvent), LoggerType::PQEVENT,
                                LoggerDataType::PQEVENT, 1.0, 10);
    const int firstUniqueId = logger->getFirstUniqueId();
    ASSERT_TRUE(write(*logger, bytesOf(pqEvents(span(mBase, mBase + 9), 0))));
    ASSERT_TRUE(write(*logger, bytesOf(pqEvents(span(mBase + 60, mBase + 69), 10))));
    const PtrLoggerResultRseEvent result = mApi.getRseEvents(QStringLiteral("paged.pq"), at(mBase + 61), 4);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(secondsOf(result), joined(span(mBase + 8, mBase + 9), span(mBase + 60, mBase + 61)));
    std::vector<int32_t> indexes;
    for (int index = 0; index < result->mNumItems; ++index)
        indexes.push_back(result->mItems[index].index);
    EXPECT_EQ(indexes, (std::vector<int32_t>{firstUniqueId + 8, firstUniqueId + 9, firstUniqueId + 10,
                                             firstUniqueId + 11}));
}

TEST_F(PagedSelectionTest, GetSignalEventsGivesTheLastMaxItemsUpToTime)
{
    auto logger = startedLogger(QStringLiteral("paged.signal"), sizeof(DataSignalEvent), LoggerType::PQEVENT,
                                LoggerDataType::SIGNALEVENT);
    ASSERT_TRUE(write(*logger, testItems(span(mBase, mBase + 19), sizeof(DataSignalEvent))));
    const PtrLoggerResultSignalEvent result =
        mApi.getSignalEvents(QStringLiteral("paged.signal"), at(mBase + 7, 999999999), 3);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(secondsOf(result), span(mBase + 5, mBase + 7));
    // The counter of testItems sits behind the time stamp: the items are whole.
    EXPECT_EQ(result->mItems[0].payload.words[0], 6u);
}

// --- the operator log

TEST_F(PagedSelectionTest, GetOperatorEventsByTimeGivesTheLastMaxItemsUpToTime)
{
    ASSERT_TRUE(LoggerOperatorInterface::startLogger());
    for (int32_t index = 0; index < 10; ++index)
        ASSERT_TRUE(LoggerOperatorInterface::logEvent(operatorItem(mBase + index, index)));
    const PtrLoggerResultOperator result = mApi.getOperatorEvents(at(mBase + 6), 4, -1);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(secondsOf(result), span(mBase + 3, mBase + 6));
    EXPECT_EQ(result->mItems[0].operation, 3);
    EXPECT_EQ(messageCount("Wrong Logger Items Order ", LOGGER_MESSAGE_ERROR), 0);
    EXPECT_TRUE(mPauses.empty());
}

TEST_F(PagedSelectionTest, GetOperatorEventsByRangeGivesTheItemsOfTheRange)
{
    ASSERT_TRUE(LoggerOperatorInterface::startLogger());
    for (int32_t index = 0; index < 10; ++index)
        ASSERT_TRUE(LoggerOperatorInterface::logEvent(operatorItem(mBase + index, index)));
    LoggerApiInterface& api = mApi;
    EXPECT_EQ(secondsOf(api.getOperatorEvents(at(mBase + 2), at(mBase + 7), -1)), span(mBase + 2, mBase + 7));
    EXPECT_EQ(secondsOf(api.getOperatorEvents(at(mBase + 2), at(mBase + 7), 3, -1)),
              span(mBase + 2, mBase + 4));
    EXPECT_EQ(messageCount("Wrong Logger Items Order ", LOGGER_MESSAGE_ERROR), 0);
}

TEST_F(PagedSelectionTest, GetSelectedOperatorEventsGivesAPageOfTheOperatorLog)
{
    ASSERT_TRUE(LoggerOperatorInterface::startLogger());
    for (int32_t index = 0; index < 10; ++index)
        ASSERT_TRUE(LoggerOperatorInterface::logEvent(operatorItem(mBase + index, index)));
    const PtrLoggerResultOperator page = mApi.getSelectedOperatorEvents(at(mBase + 8), 2, 3);
    ASSERT_NE(page, nullptr);
    EXPECT_EQ(secondsOf(page), span(mBase + 4, mBase + 6));
    EXPECT_TRUE(mPauses.empty());
}

TEST_F(PagedSelectionTest, OperatorItemsOutOfOrderAreAnsweredAsReadWithAWarning)
{
    // The block goes in without the writer's order check, as a clock that was set back leaves it.
    auto logger = startedLogger(QStringLiteral("operator"), sizeof(DataOperator), LoggerType::OPERATOR,
                                LoggerDataType::OPERATOR);
    const std::vector<DataOperator> items = {operatorItem(mBase + 5, 0), operatorItem(mBase + 1, 1),
                                             operatorItem(mBase + 2, 2), operatorItem(mBase + 3, 3)};
    const QByteArray block = bytesOf(items);
    ASSERT_NE(logger->writeDatas(block.constData(), 4, false, false), nullptr);
    const std::vector<int32_t> asWritten = {mBase + 5, mBase + 1, mBase + 2, mBase + 3};

    EXPECT_EQ(secondsOf(mApi.getOperatorEvents(at(INT32_MAX), 10, -1)), asWritten);
    EXPECT_EQ(messageCount("Wrong Logger Items Order ", LOGGER_MESSAGE_ERROR), 1);
    EXPECT_EQ(secondsOf(mApi.getOperatorEvents(at(mBase), at(mBase + 10), 10, -1)), asWritten);
    EXPECT_EQ(messageCount("Wrong Logger Items Order ", LOGGER_MESSAGE_ERROR), 2);
}

// --- unknown identifications

TEST_F(PagedSelectionTest, AnUnknownIdentificationAnswersAPagedReadWithNullAtOnce)
{
    const timespec time = at(mBase + 100);
    EXPECT_EQ(mApi.getSelectedMeanValues(QStringLiteral("no.such.mean"), time, 0, 10), nullptr);
    EXPECT_EQ(lastError(),
              QStringLiteral("no logger with the identification 'no.such.mean' of type CYCLIC/MEAN "
                             "in the catalogue: check the id with the writer's configuration"));
    EXPECT_EQ(mApi.getEvents(QStringLiteral("no.such.event"), time, 10), nullptr);
    EXPECT_EQ(lastError(),
              QStringLiteral("no logger with the identification 'no.such.event' of type EVENT/EVENT "
                             "in the catalogue: check the id with the writer's configuration"));
    EXPECT_EQ(mApi.getSelectedEvents(QStringLiteral("no.such.event"), time, 0, 10), nullptr);
    EXPECT_TRUE(lastError().contains(QStringLiteral("'no.such.event'")));
    EXPECT_EQ(mApi.getPqEvents(QStringLiteral("no.such.pq"), time, 10), nullptr);
    EXPECT_EQ(mApi.getRseEvents(QStringLiteral("no.such.pq"), time, 10), nullptr);
    EXPECT_EQ(mApi.getSelectedPqEvents(QStringLiteral("no.such.pq"), time, 0, 10), nullptr);
    EXPECT_EQ(mApi.getSelectedRseEvents(QStringLiteral("no.such.pq"), time, 0, 10), nullptr);
    EXPECT_EQ(mApi.getSingleRseEvent(QStringLiteral("no.such.pq"), mApi.getTimeId(time)), nullptr);
    EXPECT_EQ(lastError(),
              QStringLiteral("no logger with the identification 'no.such.pq' of type PQEVENT/PQEVENT "
                             "in the catalogue: check the id with the writer's configuration"));
    EXPECT_EQ(mApi.getSignalEvents(QStringLiteral("no.such.signal"), time, 10), nullptr);
    EXPECT_EQ(mApi.getSelectedSignalEvents(QStringLiteral("no.such.signal"), time, 0, 10), nullptr);
    EXPECT_EQ(lastError(),
              QStringLiteral("no logger with the identification 'no.such.signal' of type "
                             "PQEVENT/SIGNALEVENT in the catalogue: check the id with the writer's "
                             "configuration"));
    EXPECT_EQ(mApi.getSelectedOperatorEvents(time, 0, 10), nullptr);
    EXPECT_EQ(lastError(),
              QStringLiteral("no logger with the identification 'operator' of type OPERATOR/OPERATOR "
                             "in the catalogue: check the id with the writer's configuration"));
    EXPECT_EQ(mApi.getOperatorEvents(time, 10, -1), nullptr);
    EXPECT_EQ(lastError(),
              QStringLiteral("the catalogue holds no operator log: a writer creates it when it starts "
                             "its loggers"));
    EXPECT_TRUE(mPauses.empty()) << "a paged read does not pause";
}

TEST_F(PagedSelectionTest, AnIdentificationOfAnotherDataTypeNamesTheRecordsItHolds)
{
    auto logger = startedLogger(QStringLiteral("paged.vtq"), sizeof(DataXtq<float>), LoggerType::CYCLIC,
                                LoggerDataType::VTQ);
    EXPECT_EQ(mApi.getSelectedMeanValues(QStringLiteral("paged.vtq"), at(mBase + 100), 0, 10), nullptr);
    EXPECT_EQ(lastError(),
              QStringLiteral("the logger 'paged.vtq' of type CYCLIC holds VTQ records, not MEAN: read it "
                             "with the getter of its data type"));
    EXPECT_TRUE(mPauses.empty());
}

TEST_F(PagedSelectionTest, AnUnknownIdentificationInATimeRangeReadPausesFirst)
{
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(mApi.getPqEvents(QStringLiteral("no.such.pq"), at(mBase), at(mBase + 100), 10), nullptr);
    EXPECT_GE(clock.elapsed(), 200);
    EXPECT_EQ(mPauses, std::vector<unsigned long>{200});
    EXPECT_EQ(lastError(),
              QStringLiteral("no logger with the identification 'no.such.pq' of type PQEVENT/PQEVENT "
                             "in the catalogue: check the id with the writer's configuration"));
}

// --- bad input

TEST_F(PagedSelectionTest, ANegativeCountAnswersNullWithALastError)
{
    auto logger = twentyFiveMeansUpToTime();
    const QString id = QStringLiteral("paged.mean");
    EXPECT_EQ(mApi.getSelectedMeanValues(id, mTime, 0, -1), nullptr);
    EXPECT_EQ(lastError(),
              QStringLiteral("a page of -1 items of 'paged.mean' cannot be read: give a count of 0 "
                             "or more"));
    EXPECT_EQ(mApi.getSelectedMeanValues(id, mTime, 5, INT_MIN), nullptr);
    EXPECT_EQ(lastError(),
              QStringLiteral("a page of -2147483648 items of 'paged.mean' cannot be read: give a "
                             "count of 0 or more"));
    EXPECT_EQ(mApi.getSelectedMeanValues(id, mTime, -5, -5), nullptr);
    EXPECT_FALSE(lastError().isEmpty());
    EXPECT_TRUE(mPauses.empty());
}

TEST_F(PagedSelectionTest, ACountOfZeroGivesAnEmptyPage)
{
    auto logger = twentyFiveMeansUpToTime();
    const QString id = QStringLiteral("paged.mean");
    for (int offset : {0, 10, 30}) {
        const PtrLoggerResultMean page = mApi.getSelectedMeanValues(id, mTime, offset, 0);
        ASSERT_NE(page, nullptr) << offset;
        EXPECT_EQ(page->mNumItems, 0) << offset;
    }
    EXPECT_TRUE(lastError().isEmpty());
}

TEST_F(PagedSelectionTest, ANegativeOffsetReachesNoFurtherThanTheNewestItem)
{
    auto logger = twentyFiveMeansUpToTime();
    const QString id = QStringLiteral("paged.mean");
    // The page of -5 and 10 ends five items before the newest one would have to be: of its ten
    // items only the newest five exist.
    EXPECT_EQ(secondsOf(mApi.getSelectedMeanValues(id, mTime, -5, 10)), span(mBase + 20, mBase + 24));
    // Where offset and count add up to 0 or less, the count back from time is no bound at all:
    // the page is some ten items up to time, oldest first.
    for (int offset : {-10, -11, INT_MIN}) {
        SCOPED_TRACE(offset);
        const PtrLoggerResultMean page = mApi.getSelectedMeanValues(id, mTime, offset, 10);
        ASSERT_NE(page, nullptr);
        EXPECT_LE(page->mNumItems, 10);
        const std::vector<int32_t> seconds = secondsOf(page);
        for (size_t index = 0; index < seconds.size(); ++index) {
            EXPECT_GE(seconds[index], mBase);
            EXPECT_LE(seconds[index], mBase + 24);
            if (index > 0) {
                EXPECT_GT(seconds[index], seconds[index - 1]);
            }
        }
    }
    EXPECT_TRUE(lastError().isEmpty());
}

TEST_F(PagedSelectionTest, HugeCountsAndOffsetsGiveWhatExists)
{
    auto logger = twentyFiveMeansUpToTime();
    const QString id = QStringLiteral("paged.mean");
    EXPECT_EQ(secondsOf(mApi.getSelectedMeanValues(id, mTime, 0, INT_MAX)), span(mBase, mBase + 24));
    EXPECT_EQ(secondsOf(mApi.getSelectedMeanValues(id, mTime, 10, INT_MAX)), span(mBase, mBase + 14));
    for (const auto& page : {std::make_pair(INT_MAX, INT_MAX), std::make_pair(INT_MAX, 10)}) {
        const PtrLoggerResultMean result = mApi.getSelectedMeanValues(id, mTime, page.first, page.second);
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(result->mNumItems, 0);
    }
    EXPECT_TRUE(lastError().isEmpty());
}

TEST_F(PagedSelectionTest, HugeCountsOfTheLastItemsGiveAllItemsUpToTime)
{
    auto events = startedLogger(QStringLiteral("paged.event"), sizeof(DataEvent), LoggerType::EVENT,
                                LoggerDataType::EVENT);
    ASSERT_TRUE(write(*events, testItems(span(mBase, mBase + 19), sizeof(DataEvent))));
    ASSERT_TRUE(LoggerOperatorInterface::startLogger());
    for (int32_t index = 0; index < 5; ++index)
        ASSERT_TRUE(LoggerOperatorInterface::logEvent(operatorItem(mBase + index, index)));
    EXPECT_EQ(secondsOf(mApi.getEvents(QStringLiteral("paged.event"), at(mBase + 14), INT_MAX)),
              span(mBase, mBase + 14));
    EXPECT_EQ(secondsOf(mApi.getEvents(QStringLiteral("paged.event"), at(mBase + 14), 0)),
              span(mBase, mBase + 14));
    EXPECT_EQ(secondsOf(mApi.getEvents(QStringLiteral("paged.event"), at(mBase + 14), INT_MIN)),
              span(mBase, mBase + 14));
    EXPECT_EQ(secondsOf(mApi.getOperatorEvents(at(INT32_MAX), INT_MAX, -1)), span(mBase, mBase + 4));
    EXPECT_EQ(secondsOf(mApi.getSelectedOperatorEvents(at(INT32_MAX), INT_MAX, INT_MAX)),
              std::vector<int32_t>{});
}

TEST_F(PagedSelectionTest, ATimeFarInTheFutureReadsUpToTheNewestItem)
{
    auto logger = twentyFiveMeansUpToTime();
    auto pq = startedLogger(QStringLiteral("paged.pq"), sizeof(DataPqEvent), LoggerType::PQEVENT,
                            LoggerDataType::PQEVENT);
    ASSERT_TRUE(write(*pq, bytesOf(pqEvents(span(mBase, mBase + 4)))));
    for (const timespec future : {at(INT32_MAX), at(INT32_MAX, 999999999), at(INT64_MAX / 2)}) {
        EXPECT_EQ(secondsOf(mApi.getSelectedMeanValues(QStringLiteral("paged.mean"), future, 0, 3)),
                  span(mBase + 27, mBase + 29));
        EXPECT_EQ(secondsOf(mApi.getPqEvents(QStringLiteral("paged.pq"), future, 2)),
                  span(mBase + 3, mBase + 4));
    }
}

TEST_F(PagedSelectionTest, ATimeBeforeAllDataGivesNoPage)
{
    auto logger = twentyFiveMeansUpToTime();
    const QString id = QStringLiteral("paged.mean");
    for (const timespec early : {at(mBase - 1), at(0), at(-1, -1), at(INT32_MIN)}) {
        const PtrLoggerResultMean page = mApi.getSelectedMeanValues(id, early, 0, 10);
        ASSERT_NE(page, nullptr);
        EXPECT_EQ(page->mNumItems, 0);
    }
}

TEST_F(PagedSelectionTest, TheLastItemsBeforeAllDataAreNone)
{
    // A time before the first item of a file finds the file's first position; the file holds
    // nothing up to that time and adds nothing, so no item later than time is answered.
    auto logger = startedLogger(QStringLiteral("paged.event"), sizeof(DataEvent), LoggerType::EVENT,
                                LoggerDataType::EVENT);
    ASSERT_TRUE(write(*logger, testItems(span(mBase, mBase + 9), sizeof(DataEvent))));
    for (const timespec early : {at(mBase - 1), at(0), at(INT32_MIN)}) {
        const PtrLoggerResultEvent events = mApi.getEvents(QStringLiteral("paged.event"), early, 5);
        ASSERT_NE(events, nullptr);
        EXPECT_EQ(events->mNumItems, 0);
    }
    EXPECT_EQ(secondsOf(mApi.getEvents(QStringLiteral("paged.event"), at(mBase), 5)), std::vector<int32_t>{mBase});
}

TEST_F(PagedSelectionTest, AnUnknownBaseTypeIdOfTheOperatorLogGivesNothing)
{
    ASSERT_TRUE(LoggerOperatorInterface::startLogger());
    ASSERT_TRUE(LoggerOperatorInterface::logEvent(operatorItem(mBase, 1)));
    LoggerApiInterface& api = mApi;
    // By time the logger is looked up by the id, which no logger has: nothing to read.
    const PtrLoggerResultOperator byTime = mApi.getOperatorEvents(at(INT32_MAX), 10, 4711);
    ASSERT_NE(byTime, nullptr);
    EXPECT_EQ(byTime->mNumItems, 0);
    EXPECT_TRUE(mPauses.empty());

    EXPECT_EQ(api.getOperatorEvents(at(0), at(INT32_MAX), 4711), nullptr);
    EXPECT_EQ(lastError(),
              QStringLiteral("no logger with the catalogue id 4711 of type OPERATOR in the catalogue: "
                             "take the id from the catalogue or read by identification"));
    EXPECT_EQ(mPauses, std::vector<unsigned long>{200});
}

TEST_F(PagedSelectionTest, TimeIdsThatDoNotDecodeToATimeOfTheEventsAnswerWithoutAFault)
{
    auto logger = startedLogger(QStringLiteral("paged.single"), sizeof(DataPqEvent), LoggerType::PQEVENT,
                                LoggerDataType::PQEVENT);
    ASSERT_TRUE(write(*logger, bytesOf(pqEvents({mBase, mBase + 10, mBase + 20}))));
    const QString id = QStringLiteral("paged.single");
    // -1 is -1 s and -1 ns, LLONG_MIN the earliest second: both lie before every event, so
    // there is no event at or before them.
    for (const long long timeId : {-1LL, LLONG_MIN}) {
        const PtrLoggerResultRseEvent event = mApi.getSingleRseEvent(id, timeId);
        ASSERT_NE(event, nullptr) << timeId;
        EXPECT_EQ(event->mNumItems, 0) << timeId;
    }
    // LLONG_MAX is the latest second with -1 ns: after every event.
    EXPECT_EQ(secondsOf(mApi.getSingleRseEvent(id, LLONG_MAX)), std::vector<int32_t>{mBase + 20});
    // Nanoseconds of a second and a half still lie before the next second.
    const long long overfull = (static_cast<long long>(mBase + 10) << 32) + 1500000000LL;
    EXPECT_EQ(secondsOf(mApi.getSingleRseEvent(id, overfull)), std::vector<int32_t>{mBase + 10});
    EXPECT_TRUE(mPauses.empty());
}

// --- damaged event records

namespace {

enum class Stamps { Ascending, Descending, Garbage };

// Overwrites every record of the file with random bytes; the time stamps ascend, descend or stay
// as random as the rest.
bool scramble(const QString& fileName, int blockSize, Stamps stamps, int32_t base, std::mt19937& random)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadWrite))
        return false;
    const qint64 count = (file.size() - LoggerBase::kHeaderSize) / blockSize;
    for (qint64 index = 0; index < count; ++index) {
        QByteArray record(blockSize, '\0');
        for (char& byte : record)
            byte = static_cast<char>(random() & 0xff);
        if (stamps != Stamps::Garbage) {
            const int32_t step = static_cast<int32_t>(index);
            const DataTimespec stamp{stamps == Stamps::Ascending ? base + step : base + 1000 - step,
                                     static_cast<int32_t>(random() % 1000000000u)};
            std::memcpy(record.data(), &stamp, sizeof(stamp));
        }
        if (!file.seek(LoggerBase::kHeaderSize + index * blockSize) || file.write(record) != blockSize)
            return false;
    }
    return true;
}

} // namespace

class DamagedEventRecordsTest : public PagedSelectionTest {
protected:
    // An event, a power-quality, a signal and an operator log of 40 items each, whose records
    // are then overwritten with random bytes.
    void writeAndScramble(Stamps stamps)
    {
        std::mt19937 random(20260703u + static_cast<unsigned>(stamps));
        const std::vector<std::tuple<QString, int, LoggerType, LoggerDataType>> kinds = {
            {QStringLiteral("paged.event"), sizeof(DataEvent), LoggerType::EVENT, LoggerDataType::EVENT},
            {QStringLiteral("paged.pq"), sizeof(DataPqEvent), LoggerType::PQEVENT, LoggerDataType::PQEVENT},
            {QStringLiteral("paged.signal"), sizeof(DataSignalEvent), LoggerType::PQEVENT,
             LoggerDataType::SIGNALEVENT},
            {QStringLiteral("operator"), sizeof(DataOperator), LoggerType::OPERATOR,
             LoggerDataType::OPERATOR},
        };
        for (const auto& kind : kinds) {
            const int blockSize = std::get<1>(kind);
            // Two files of 20 items, so that the reads cross from one to the next.
            mLoggers.push_back(
                startedLogger(std::get<0>(kind), blockSize, std::get<2>(kind), std::get<3>(kind), 1.0, 20));
            PagedLogger& logger = *mLoggers.back();
            ASSERT_TRUE(write(logger, testItems(span(mBase, mBase + 19), blockSize)));
            const QString older = currentDataFile(logger);
            ASSERT_TRUE(write(logger, testItems(span(mBase + 20, mBase + 39), blockSize)));
            ASSERT_EQ(logger.getFileListSize(), 2);
            ASSERT_TRUE(scramble(older, blockSize, stamps, mBase, random));
            ASSERT_TRUE(scramble(currentDataFile(logger), blockSize, stamps, mBase + 20, random));
        }
    }

    // Every read of the four logs at a few times. The by-position reads must answer with at most
    // the items asked for; what the damaged records hold is not looked at.
    void readEverything()
    {
        LoggerApiInterface& api = mApi;
        const QString event = QStringLiteral("paged.event");
        const QString pq = QStringLiteral("paged.pq");
        const QString signal = QStringLiteral("paged.signal");
        for (const timespec time : {at(mBase + 25), at(INT32_MAX), at(0), at(mBase + 1000)}) {
            SCOPED_TRACE(time.tv_sec);
            expectAtMost(mApi.getEvents(event, time, 15), 15);
            expectAtMost(mApi.getSelectedEvents(event, time, 5, 10), 10);
            expectAtMost(mApi.getPqEvents(pq, time, 15), 15);
            expectAtMost(mApi.getSelectedPqEvents(pq, time, 5, 10), 10);
            expectAtMost(mApi.getRseEvents(pq, time, 15), 15);
            expectAtMost(mApi.getSelectedRseEvents(pq, time, 5, 10), 10);
            expectAtMost(mApi.getSingleRseEvent(pq, mApi.getTimeId(time)), 1);
            expectAtMost(mApi.getSignalEvents(signal, time, 15), 15);
            expectAtMost(mApi.getSelectedSignalEvents(signal, time, 5, 10), 10);
            expectAtMost(mApi.getOperatorEvents(time, 15, -1), 15);
            expectAtMost(mApi.getSelectedOperatorEvents(time, 5, 10), 10);
        }
        // The reads by time range may refuse a range that the damaged stamps turn around; they
        // must not fault.
        const timespec start = at(mBase);
        const timespec end = at(mBase + 1000);
        mApi.getPqEvents(pq, start, end, -1);
        mApi.getRseEvents(pq, start, end, -1);
        mApi.getSignalEvents(signal, start, end, -1);
        api.getOperatorEvents(start, end, -1);
        mApi.getPqEventClasses(pq, start, end, -1);
    }

    template <typename Result> static void expectAtMost(const Result& result, int count)
    {
        ASSERT_NE(result, nullptr);
        EXPECT_GE(result->mNumItems, 0);
        EXPECT_LE(result->mNumItems, count);
    }

    std::vector<std::unique_ptr<PagedLogger>> mLoggers;
};

TEST_F(DamagedEventRecordsTest, RandomRecordsWithAscendingStampsAreReadWithoutAFault)
{
    writeAndScramble(Stamps::Ascending);
    readEverything();
}

TEST_F(DamagedEventRecordsTest, RandomRecordsWithDescendingStampsAreReadWithoutAFault)
{
    writeAndScramble(Stamps::Descending);
    readEverything();
}

TEST_F(DamagedEventRecordsTest, WhollyRandomRecordsAreReadWithoutAFault)
{
    writeAndScramble(Stamps::Garbage);
    readEverything();
}

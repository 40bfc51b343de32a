// Paging through an alarm log from another process: a writer process logs 10,000 alarms through
// a LoggerEventAlarm over several files, and a reader process pages back from a time after the
// last of them with getSelectedEvents, in pages of 1, 7 and 100, until a page comes back empty.
// Read newest page first, each page oldest first, the pages put together must give every alarm
// once and in order, each with the text it was logged with; getEvents gives the last alarms up
// to the same time. Then the same while the writer goes on logging alarms after the reader's
// time: the pages must not move.
//
// Alarm number n carries the time stamp n milliseconds after the first second, n in the first
// word of its data and a check word in the second, and a text from the registered list; every
// kUnregisteredEvery-th alarm carries a text that was never registered, which the log writes
// with stringId 0 and a read shows as the logger's first text.
//
// The writer and the reader are both child processes of the test, which holds the store
// (WriterStore) and hands the writer's part over.
//
// Pages of 1 cover all 10,000 alarms: a paged read has no pause, and the 10,001 reads take 2 to
// 5 s in an optimized build, so no part of the sequence is left to the larger pages alone.

#include "ChildTestProcess.h"
#include "LogCapture.h"
#include "LoggerApi.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerEventAlarm.h"
#include "LoggerResult.h"
#include "MeanItemFiles.h"
#include "ProgressFile.h"
#include "TestTemplateLogger.h"
#include "WaitUntil.h"
#include "WriterStore.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QList>
#include <QString>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

const QString kLoggerName = QStringLiteral("alarm.paging");
constexpr int kAlarms = 10000;
// About 1300 alarms a file, written in blocks of the log's cache: 8 files for 10,000 alarms.
constexpr int kMaximumFileSize = 30000;
constexpr int kLeastFiles = 5;
constexpr int kMostFiles = 10;
constexpr int64_t kNanosecondsPerAlarm = 1000000;
constexpr int64_t kNanosecondsPerSecond = 1000000000;
constexpr uint32_t kCheckPattern = 0xA5C3F00Fu;

// The texts the writer registers, in this order; a read gives them as the logger's list.
const std::vector<std::string> kRegisteredTexts = {
    "Overvoltage L1",          "Undervoltage L2",   "Frequency deviation",
    "Flicker Pst above limit", "Überspannung L3",   "Neutral current high",
    "Phase sequence wrong",    "Voltage unbalance", "Card almost full"};
constexpr int kUnregisteredEvery = 97;

constexpr const char* kFirstSecondVariable = "QZLOGGER_ALARM_PAGING_FIRST_SECOND";
constexpr const char* kProgressVariable = "QZLOGGER_ALARM_PAGING_PROGRESS";
constexpr const char* kAppendVariable = "QZLOGGER_ALARM_PAGING_APPEND";

// The writer that goes on after the first 10,000 alarms: a block of these sizes in turn every
// period. Every block has at least two alarms: a file that holds a single item counts for a time
// before it, since its position cannot tell, and a lone alarm at the start of a new file would
// move the pages by one.
constexpr int kAppendBlockSizes[] = {100, 37, 2, 61, 100, 13};
constexpr int kAppendPeriodMs = 50;
constexpr size_t kBlocksPerCatalogueUpdate = 4;
// A writer that is never told to stop ends by itself, and fails.
constexpr int kWriterLifetimeMs = 60000;
// The reader waits for this many alarms beyond what was written when it began a pass.
constexpr int kAppendedWhilePaging = 200;

constexpr int kPageSizes[] = {100, 7, 1};

int32_t firstSecond()
{
    return static_cast<int32_t>(intVariable(kFirstSecondVariable, 0));
}

bool isRegistered(int64_t number)
{
    return number % kUnregisteredEvery != kUnregisteredEvery - 1;
}

std::string textOf(int64_t number)
{
    if (!isRegistered(number))
        return "Unregistered alarm " + std::to_string(number % 5);
    return kRegisteredTexts[static_cast<size_t>(number % static_cast<int64_t>(kRegisteredTexts.size()))];
}

// The time of alarm number plus offset nanoseconds.
timespec stampOf(int64_t number, int64_t offsetNanoseconds = 0)
{
    const int64_t total = number * kNanosecondsPerAlarm + offsetNanoseconds;
    timespec stamp{};
    stamp.tv_sec = static_cast<time_t>(firstSecond() + total / kNanosecondsPerSecond);
    stamp.tv_nsec = static_cast<long>(total % kNanosecondsPerSecond);
    return stamp;
}

DataEvent alarmNumber(int64_t number)
{
    const timespec stamp = stampOf(number);
    DataEvent alarm{};
    alarm.utc = DataTimespec{static_cast<int32_t>(stamp.tv_sec), static_cast<int32_t>(stamp.tv_nsec)};
    alarm.eventData.words[0] = static_cast<uint32_t>(number);
    alarm.eventData.words[1] = static_cast<uint32_t>(number) ^ kCheckPattern;
    return alarm;
}

// Empty where the item read is alarm number with its text; otherwise what differs.
std::string checkAlarm(const DataEvent& item, const std::vector<std::string>& texts, int64_t number)
{
    const DataEvent expected = alarmNumber(number);
    const std::string which = "alarm " + std::to_string(number) + ": ";
    if (item.eventData.words[0] != expected.eventData.words[0])
        return which + "read alarm " + std::to_string(item.eventData.words[0]) + " in its place";
    if (item.eventData.words[1] != expected.eventData.words[1])
        return which + "check word " + std::to_string(item.eventData.words[1]);
    if (item.utc.tv_sec != expected.utc.tv_sec || item.utc.tv_nsec != expected.utc.tv_nsec)
        return which + "time " + std::to_string(item.utc.tv_sec) + "." + std::to_string(item.utc.tv_nsec);
    if ((item.stringId == 0) == isRegistered(number))
        return which + "stringId " + std::to_string(item.stringId);
    if (item.stringIndex < 0 || static_cast<size_t>(item.stringIndex) >= texts.size())
        return which + "stringIndex " + std::to_string(item.stringIndex) + " outside the list";
    // A text the writer never registered reads as the logger's first text.
    const std::string text = isRegistered(number) ? textOf(number) : kRegisteredTexts.front();
    if (texts[static_cast<size_t>(item.stringIndex)] != text)
        return which + "text '" + texts[static_cast<size_t>(item.stringIndex)] + "' instead of '" + text +
               "'";
    return std::string();
}

// Logs alarms first up to last through the log's cache and flushes it.
bool logAlarms(LoggerEventAlarm& logger, int64_t first, int64_t last)
{
    for (int64_t number = first; number <= last; ++number) {
        if (!logger.logEventItem(alarmNumber(number), QString::fromStdString(textOf(number)))) {
            ADD_FAILURE() << "alarm " << number
                          << " refused: " << LoggerDb::getInstance().getLastError().toStdString();
            return false;
        }
    }
    if (!logger.flush()) {
        ADD_FAILURE() << "the flush after alarm " << last << " failed";
        return false;
    }
    return true;
}

// What paging back with one page size gave, put together oldest first.
struct PagedAlarms {
    std::vector<DataEvent> alarms;
    int pages = 0; // pages read, the empty one included
    bool endedEmpty = false;
    std::string problem; // empty where every page was as it must be
};

// Pages back from time with pages of pageSize, offset = pages so far times pageSize, until a
// page comes back empty or pageLimit pages were read. total is the number of alarms not later
// than time; every page is checked against what it must hold: page k holds alarms
// total - (k + 1) * pageSize up to total - k * pageSize - 1, cut at alarm 0. afterPage, where
// given, is called after each page with its number.
template <typename AfterPage>
PagedAlarms pageBack(LoggerApi& api, timespec time, int pageSize, int64_t total, int pageLimit,
                     AfterPage afterPage)
{
    PagedAlarms paged;
    std::vector<std::vector<DataEvent>> pages;
    for (int page = 0; page < pageLimit; ++page) {
        const int offset = page * pageSize;
        const PtrLoggerResultEvent result = api.getSelectedEvents(kLoggerName, time, offset, pageSize);
        ++paged.pages;
        const std::string where = "page " + std::to_string(page) + " of " + std::to_string(pageSize) +
                                  " at offset " + std::to_string(offset) + ": ";
        if (result == nullptr) {
            paged.problem = where + "null: " + LoggerDb::getInstance().getLastError().toStdString();
            return paged;
        }
        const int64_t newest = total - 1 - offset;
        const int64_t oldest = std::max<int64_t>(0, newest - pageSize + 1);
        const int64_t expected = newest < 0 ? 0 : newest - oldest + 1;
        if (result->mNumItems != expected) {
            paged.problem =
                where + std::to_string(result->mNumItems) + " alarms instead of " + std::to_string(expected);
            if (result->mNumItems > 0) {
                paged.problem += ", from alarm " + std::to_string(result->mItems[0].eventData.words[0]) +
                                 " to " +
                                 std::to_string(result->mItems[result->mNumItems - 1].eventData.words[0]);
            }
            return paged;
        }
        if (expected == 0) {
            paged.endedEmpty = true;
            break;
        }
        if (result->mInfo != kRegisteredTexts) {
            paged.problem = where + "the texts are not the logger's list of " +
                            std::to_string(kRegisteredTexts.size()) + " but " +
                            std::to_string(result->mInfo.size()) + " texts";
            return paged;
        }
        for (int index = 0; index < result->mNumItems; ++index) {
            const std::string problem = checkAlarm(result->mItems[index], result->mInfo, oldest + index);
            if (!problem.empty()) {
                paged.problem = where + "item " + std::to_string(index) + ": " + problem;
                return paged;
            }
        }
        pages.emplace_back(result->mItems, result->mItems + result->mNumItems);
        afterPage(page);
    }
    // Newest page first, each page oldest first.
    for (auto page = pages.rbegin(); page != pages.rend(); ++page)
        paged.alarms.insert(paged.alarms.end(), page->begin(), page->end());
    return paged;
}

// Empty where alarms are the alarms first up to last, once each and in order.
std::string checkSequence(const std::vector<DataEvent>& alarms, int64_t first, int64_t last)
{
    if (static_cast<int64_t>(alarms.size()) != last - first + 1) {
        return std::to_string(alarms.size()) + " alarms instead of " + std::to_string(last - first + 1);
    }
    for (size_t index = 0; index < alarms.size(); ++index) {
        const int64_t number = first + static_cast<int64_t>(index);
        if (alarms[index].eventData.words[0] != static_cast<uint32_t>(number))
            return "position " + std::to_string(index) + " holds alarm " +
                   std::to_string(alarms[index].eventData.words[0]) + " instead of " + std::to_string(number);
    }
    return std::string();
}

// The last line of output that begins with prefix.
QByteArray lastLine(const QByteArray& output, const QByteArray& prefix)
{
    const QList<QByteArray> lines = output.split('\n');
    for (int index = lines.size() - 1; index >= 0; --index) {
        if (lines[index].startsWith(prefix))
            return lines[index];
    }
    return QByteArray();
}

} // namespace

// --- The children ------------------------------------------------------------------------------

// Brings the writer up on the parent's store, registers the texts, logs alarms 0 to 9,999 over
// several files and prints "written alarms=<n> files=<f>". With QZLOGGER_ALARM_PAGING_APPEND it
// then goes on logging blocks of later alarms, publishing the alarms whose file range the
// catalogue holds, until the parent closes its standard input; "final alarms=<n> files=<f>" at
// the end.
TEST(AlarmPagingChild, LogsAlarmsOverSeveralFiles)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of AlarmPagingProcessTest";
    ASSERT_TRUE(LogCapture::install());
    ASSERT_GT(firstSecond(), 0);
    const QString progress = qEnvironmentVariable(kProgressVariable);
    ASSERT_FALSE(progress.isEmpty());
    const bool append = intVariable(kAppendVariable, 0) != 0;
    ReaderStore store;
    ASSERT_TRUE(store.startAsWriter()) << LoggerDb::getInstance().getLastError().toStdString();
    LoggerEventAlarm logger;
    logger.setLoggerName(kLoggerName.toStdString());
    logger.setMaximumFileSize(kMaximumFileSize);
    ASSERT_TRUE(logger.initialize()) << LogCapture::text().toStdString();
    ASSERT_EQ(logger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED) << LogCapture::text().toStdString();
    ASSERT_TRUE(logger.updateEventStrings(kRegisteredTexts))
        << LoggerDb::getInstance().getLastError().toStdString();
    ChildTestProcess::watchForStop();

    // The writer tells the catalogue the range of its current file, as a writer process does:
    // readers order the files by the start that the catalogue holds.
    ASSERT_TRUE(logAlarms(logger, 0, kAlarms - 1));
    ASSERT_TRUE(logger.updateAccess());
    ASSERT_TRUE(publishProgress(progress, kAlarms));
    std::cout << "written alarms=" << kAlarms << " files=" << logger.getFileListSize() << std::endl;

    int64_t next = kAlarms;
    if (append) {
        // The pace of an instrument that raises alarms in bursts; behind its schedule the writer
        // goes on without pause.
        const auto period = std::chrono::milliseconds(kAppendPeriodMs);
        auto due = std::chrono::steady_clock::now();
        const QDeadlineTimer lifetime(kWriterLifetimeMs);
        for (size_t block = 0; !ChildTestProcess::stopRequested() && !lifetime.hasExpired(); ++block) {
            const int size = kAppendBlockSizes[block % std::size(kAppendBlockSizes)];
            ASSERT_TRUE(logAlarms(logger, next, next + size - 1));
            next += size;
            // Every few blocks, so that the reader also meets a new file whose range the
            // catalogue does not know yet; what is published is what the catalogue knows.
            if (block % kBlocksPerCatalogueUpdate == kBlocksPerCatalogueUpdate - 1) {
                ASSERT_TRUE(logger.updateAccess());
                ASSERT_TRUE(publishProgress(progress, next));
            }
            due += period;
            const auto now = std::chrono::steady_clock::now();
            if (due < now)
                due = now;
            else
                std::this_thread::sleep_until(due);
        }
    }
    EXPECT_TRUE(waitUntil([] { return ChildTestProcess::stopRequested(); }, kWriterLifetimeMs))
        << "not stopped within " << kWriterLifetimeMs << " ms";
    std::cout << "final alarms=" << next << " files=" << logger.getFileListSize() << std::endl;
}

// Pages back through the alarm log from a time after alarm 9,999 with pages of 100, 7 and 1 and
// checks every page and what they give together; then the last alarms by getEvents. With
// QZLOGGER_ALARM_PAGING_APPEND the writer logs later alarms meanwhile: the time is that of alarm
// 9,999 itself, and in each pass the reader waits, half-way through, until the writer has logged
// more alarms since the pass began. Prints "paged size=<s> pages=<p> ms=<t>" for each size.
TEST(AlarmPagingChild, PagesBackThroughTheAlarms)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of AlarmPagingProcessTest";
    ASSERT_TRUE(LogCapture::install());
    ASSERT_GT(firstSecond(), 0);
    const QString progress = qEnvironmentVariable(kProgressVariable);
    ASSERT_FALSE(progress.isEmpty());
    const bool append = intVariable(kAppendVariable, 0) != 0;
    ReaderStore store;
    ASSERT_TRUE(store.start()) << LoggerDb::getInstance().getLastError().toStdString();
    ASSERT_TRUE(LoggerDb::getInstance().checkValidity())
        << LoggerDb::getInstance().getLastError().toStdString();
    ASSERT_GE(readProgress(progress), kAlarms);
    LoggerApi api;

    // The alarm at time itself belongs to the pages; the writer's later alarms lie after it.
    const timespec time = append ? stampOf(kAlarms - 1) : stampOf(kAlarms - 1, kNanosecondsPerAlarm / 2);
    for (const int pageSize : kPageSizes) {
        SCOPED_TRACE("pages of " + std::to_string(pageSize));
        const int pagesToEnd = (kAlarms + pageSize - 1) / pageSize + 1; // the empty one included
        const int64_t writtenBefore = readProgress(progress);
        bool appendedMeanwhile = false;
        const auto waitForTheWriter = [&](int page) {
            if (!append || page != pagesToEnd / 2)
                return;
            appendedMeanwhile = waitUntil(
                [&] { return readProgress(progress) >= writtenBefore + kAppendedWhilePaging; }, 10000);
        };
        QElapsedTimer clock;
        clock.start();
        const PagedAlarms paged = pageBack(api, time, pageSize, kAlarms, pagesToEnd + 1, waitForTheWriter);
        std::cout << "paged size=" << pageSize << " pages=" << paged.pages << " ms=" << clock.elapsed()
                  << std::endl;
        ASSERT_EQ(paged.problem, "");
        EXPECT_TRUE(paged.endedEmpty);
        EXPECT_EQ(paged.pages, pagesToEnd);
        EXPECT_EQ(checkSequence(paged.alarms, 0, kAlarms - 1), "");
        if (append) {
            EXPECT_TRUE(appendedMeanwhile) << "the writer logged no " << kAppendedWhilePaging
                                           << " alarms while the reader paged; progress "
                                           << readProgress(progress) << " from " << writtenBefore;
        }
    }

    // The last alarms up to the same time, oldest first.
    for (const int maxItems : {1, 250, 1337, kAlarms, kAlarms + 500}) {
        SCOPED_TRACE("getEvents of " + std::to_string(maxItems));
        const PtrLoggerResultEvent last = api.getEvents(kLoggerName, time, maxItems);
        ASSERT_NE(last, nullptr) << LoggerDb::getInstance().getLastError().toStdString();
        const int64_t expected = std::min(maxItems, kAlarms);
        ASSERT_EQ(last->mNumItems, expected);
        ASSERT_EQ(last->mInfo, kRegisteredTexts);
        for (int index = 0; index < last->mNumItems; ++index) {
            ASSERT_EQ(checkAlarm(last->mItems[index], last->mInfo, kAlarms - expected + index), "")
                << "item " << index;
        }
    }

    if (append) {
        // The later alarms are there for a time that takes them in.
        const int64_t written = readProgress(progress);
        ASSERT_GT(written, kAlarms + kAppendedWhilePaging);
        const PtrLoggerResultEvent newest = api.getSelectedEvents(kLoggerName, stampOf(written - 1), 0, 1);
        ASSERT_NE(newest, nullptr);
        ASSERT_EQ(newest->mNumItems, 1);
        EXPECT_EQ(checkAlarm(newest->mItems[0], newest->mInfo, written - 1), "");
    }
}

// --- The store ---------------------------------------------------------------------------------

class AlarmPagingProcessTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(LogCapture::install());
        ASSERT_TRUE(mProgressDirectory.isValid());
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        // Both writer and reader are children; this process holds no writer's lock.
        LoggerDb::getInstance().close();
        mStore.handOver();
        mFirstSecond = testStartSecond();
    }

    std::unique_ptr<ChildTestProcess> child(const QString& test, bool append)
    {
        auto process = std::make_unique<ChildTestProcess>(test);
        mStore.exportTo(*process);
        process->setVariable(QString::fromLatin1(kProgressVariable),
                             mProgressDirectory.filePath(QStringLiteral("progress")));
        process->setVariable(QString::fromLatin1(kFirstSecondVariable), QString::number(mFirstSecond));
        process->setVariable(QString::fromLatin1(kAppendVariable),
                             append ? QStringLiteral("1") : QStringLiteral("0"));
        return process;
    }

    struct WriterLines {
        QByteArray written; // after the first 10,000 alarms
        QByteArray final;   // when it was stopped
    };

    // Starts the writer, waits until it has logged the 10,000 alarms over several files, runs the
    // reader to its end and stops the writer.
    WriterLines writeAndPage(bool append)
    {
        WriterLines lines;
        auto writer = child(QStringLiteral("AlarmPagingChild.LogsAlarmsOverSeveralFiles"), append);
        // The writer's log lines go to a file: nobody reads its pipe while the reader runs.
        writer->sendStandardErrorToFile();
        EXPECT_TRUE(writer->start());
        const QByteArray written = writer->waitForLine("written ", 30000);
        EXPECT_FALSE(written.isEmpty()) << writer->report().toStdString();
        if (written.isEmpty())
            return lines;
        lines.written = written;
        std::cout << "writer: " << written.toStdString() << std::endl;
        EXPECT_EQ(field(written, "alarms").toInt(), kAlarms);
        const int files = field(written, "files").toInt();
        EXPECT_GE(files, kLeastFiles) << written.toStdString();
        EXPECT_LE(files, kMostFiles) << written.toStdString();

        auto reader = child(QStringLiteral("AlarmPagingChild.PagesBackThroughTheAlarms"), append);
        EXPECT_TRUE(reader->run(120000)) << reader->report().toStdString();
        EXPECT_TRUE(reader->passed()) << reader->report().toStdString();
        for (const QByteArray& line : reader->standardOutput().split('\n')) {
            if (line.startsWith("paged "))
                std::cout << "reader: " << line.toStdString() << std::endl;
        }

        EXPECT_TRUE(writer->waitForFinished(30000)) << writer->report().toStdString();
        EXPECT_TRUE(writer->passed()) << writer->report().toStdString();
        lines.final = lastLine(writer->standardOutput(), "final ");
        std::cout << "writer: " << lines.final.toStdString() << std::endl;
        return lines;
    }

    QTemporaryDir mProgressDirectory;
    WriterStore mStore;
    int32_t mFirstSecond = 0;
};

TEST_F(AlarmPagingProcessTest, PagesBackFromAfterTheLastAlarmGiveEveryAlarmOnceInOrderWithItsText)
{
    const WriterLines lines = writeAndPage(false);
    EXPECT_EQ(field(lines.final, "alarms").toInt(), kAlarms) << lines.final.toStdString();
}

TEST_F(AlarmPagingProcessTest, PagesFromAFixedTimeStayTheSameWhileTheWriterLogsLaterAlarms)
{
    const WriterLines lines = writeAndPage(true);
    EXPECT_GT(field(lines.final, "alarms").toInt(), kAlarms + kAppendedWhilePaging)
        << lines.final.toStdString();
    // The writer began new files while the reader paged, so the reader met files that begin
    // after its time, among them ones whose range the catalogue did not know yet.
    EXPECT_GT(field(lines.final, "files").toInt(), field(lines.written, "files").toInt())
        << lines.written.toStdString() << "; " << lines.final.toStdString();
}

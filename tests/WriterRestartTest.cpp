// A writer that restarts after a power cut takes the truth from its data files. Two moments of
// the cut are reproduced here with real processes: the writer is cut after its blocks reached
// the card but before the catalogue learned the logger's range, or after a new file's row was
// stored but before that file's first block. A second writer then starts on the same card and
// writes on across midnight, or is offered again the last items before the cut, as a host does
// after a restart. A reader in a process of its own must then find every item that reached the
// card whole, once, oldest first; every data file must have its catalogue row with the range of
// its items; and no data file may lie in a day folder of 1970.
//
// The cut writers run with one day per file, so that the first block after midnight begins a
// new file, and all processes run in UTC, so that midnight and the day folders are fixed.
//
// Two further tests, in one process, look at the other ways to a new file without a time of the
// logger's own: the first block of a logger that must begin a new file, and a restart with a new
// item size when no item is on the card. Neither may make a file in a day folder of 1970.

#include "ChildTestProcess.h"
#include "DefnBaseType.h"
#include "DefnTypePersistance.h"
#include "LogCapture.h"
#include "LoggerAccess.h"
#include "LoggerApiInterface.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerFileInfo.h"
#include "LoggerFileSystem.h"
#include "LoggerResult.h"
#include "LoggerRetriedTransaction.h"
#include "MeanItemFiles.h"
#include "PowerCutPoints.h"
#include "ScopedTimeZone.h"
#include "TestLogger.h"
#include "WriterStore.h"

#include <QByteArray>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QList>
#include <QSet>
#include <QString>
#include <gtest/gtest.h>

#include <cstdint>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int kItemSize = static_cast<int>(sizeof(DataMean)); // utc, quality, min, mean, max
const QString kMeasureId = QStringLiteral("mean_100ms.writer_restart.mean_out");
constexpr const char* kTimeZone = "UTC";

// Item number n lies n tenths of a second after kFirstSecond, so that items 0 to 299 fill the
// last half minute before midnight and item 300 is the first of the new day. Each item carries
// n as its quality and, as first handed over, n as its mean.
constexpr int32_t kMidnight = 1763856000; // 2025-11-23 00:00:00 UTC
constexpr int kItemsPerSecond = 10;
constexpr int kItemsBeforeMidnight = 300;
constexpr int32_t kFirstSecond = kMidnight - kItemsBeforeMidnight / kItemsPerSecond;
constexpr int kItemsAfterMidnight = 900;
constexpr int kAllItems = kItemsBeforeMidnight + kItemsAfterMidnight;
constexpr int kBlockItems = 10;
// What a host offers again after a restart: the last items it handed over before the cut.
constexpr int kItemsOfferedAgain = 100;
// The mean of an item offered again: a new value under the old time stamp.
constexpr float kNewValueShift = 0.5f;

constexpr const char* kStoreRangeAfterVariable = "QZLOGGER_RESTART_STORE_RANGE_AFTER";
constexpr const char* kRangesVariable = "QZLOGGER_RESTART_RANGES";

timespec stampOf(int64_t number)
{
    timespec stamp{};
    stamp.tv_sec = static_cast<time_t>(kFirstSecond + number / kItemsPerSecond);
    stamp.tv_nsec = static_cast<long>((number % kItemsPerSecond) * (1000000000 / kItemsPerSecond));
    return stamp;
}

int64_t numberOf(const DataTimespec& stamp)
{
    return (static_cast<int64_t>(stamp.tv_sec) - kFirstSecond) * kItemsPerSecond +
           stamp.tv_nsec / (1000000000 / kItemsPerSecond);
}

DataMean itemNumber(int64_t number, float shift = 0.0f)
{
    const timespec stamp = stampOf(number);
    DataMean item{};
    item.utc = DataTimespec{static_cast<int32_t>(stamp.tv_sec), static_cast<int32_t>(stamp.tv_nsec)};
    item.quality = static_cast<uint32_t>(number);
    item.mean = static_cast<float>(number) + shift;
    return item;
}

std::string runOf(int64_t first, int64_t last)
{
    return std::to_string(first) + '-' + std::to_string(last);
}

// The logger of every writer here: items of DataMean, a new file at each new day.
class RestartLogger : public TestLogger {
public:
    RestartLogger() : TestLogger(kMeasureId, kItemSize) { setDaysPerFile(1); }

    // The number of the next item behind the newest item the logger accepted.
    int64_t nextNumber()
    {
        const timespec current = getCurrentUtc();
        return numberOf(DataTimespec{static_cast<int32_t>(current.tv_sec),
                                     static_cast<int32_t>(current.tv_nsec)}) +
               1;
    }

    PtrLoggerFileInfo writeNumbers(int64_t first, int count, float shift = 0.0f)
    {
        std::vector<DataMean> block;
        block.reserve(static_cast<size_t>(count));
        for (int index = 0; index < count; ++index)
            block.push_back(itemNumber(first + index, shift));
        return writeDatas(reinterpret_cast<const char*>(block.data()), count, true, true);
    }
};

using CutAfterNewFileRowLogger = CutAfterNewFileRow<RestartLogger>;

// Brings a writer up as a restarted writer process does.
void startWriterChild(ReaderStore& store)
{
    ASSERT_TRUE(LogCapture::install());
    ASSERT_TRUE(store.startAsWriter()) << LoggerDb::getInstance().getLastError().toStdString();
}

} // namespace

// --- The processes of the writer that is cut and of the reader ---------------------------------

// A fresh logger writes the items before midnight in blocks and is cut right behind its last
// block, before the catalogue learned its range. With QZLOGGER_RESTART_STORE_RANGE_AFTER set to
// a number of items, the catalogue learns the range once, after that many items, so that the
// range it holds at the cut is old rather than empty.
TEST(WriterRestartChild, WritesUntilMidnightAndIsCutBeforeTheCatalogueLearnsTheRange)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of WriterRestartTest";
    ReaderStore store;
    startWriterChild(store);
    const int storeRangeAfter = intVariable(kStoreRangeAfterVariable, 0);
    RestartLogger logger;
    ASSERT_TRUE(logger.startLogger());
    ASSERT_EQ(logger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED) << LogCapture::text().toStdString();
    ASSERT_TRUE(logger.isFirstCurrentFileInfoItem()) << "the store is not fresh";
    for (int64_t next = 0; next < kItemsBeforeMidnight; next += kBlockItems) {
        ASSERT_NE(logger.writeNumbers(next, kBlockItems), nullptr) << "block at item " << next;
        if (next + kBlockItems == storeRangeAfter) {
            ASSERT_TRUE(logger.updateAccess());
        }
    }
    ASSERT_EQ(logger.getFileListSize(), 1);
    std::cout << "done " << kItemsBeforeMidnight - 1 << std::endl;
    cutPowerNow("after-block-before-catalogue-update");
}

// A fresh logger writes the items before midnight, storing its state as the writer does now and
// then; the first block of the new day begins a new file, and the power is cut when that file's
// row is stored, before the block reaches it.
TEST(WriterRestartChild, WritesUntilMidnightAndIsCutAfterTheNewFileRow)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of WriterRestartTest";
    ReaderStore store;
    startWriterChild(store);
    CutAfterNewFileRowLogger logger;
    ASSERT_TRUE(logger.startLogger());
    ASSERT_EQ(logger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED) << LogCapture::text().toStdString();
    ASSERT_TRUE(logger.isFirstCurrentFileInfoItem()) << "the store is not fresh";
    for (int64_t next = 0; next < kItemsBeforeMidnight; next += kBlockItems) {
        ASSERT_NE(logger.writeNumbers(next, kBlockItems), nullptr) << "block at item " << next;
        if ((next / kBlockItems) % 8 == 7) {
            ASSERT_TRUE(logger.updateAccess());
        }
    }
    ASSERT_EQ(logger.getFileListSize(), 1);
    std::cout << "done " << kItemsBeforeMidnight - 1 << std::endl;
    logger.cutAfterNextNewFile();
    logger.writeNumbers(kItemsBeforeMidnight, kBlockItems);
    FAIL() << "the block of the new day began no new file";
}

// Reads each range of QZLOGGER_RESTART_RANGES ("0-1199,250-299") through the read API and
// prints "range=<first>-<last> count=<n> numbers=<runs> foreign=<k>": the numbers of the items
// read as runs, and how many carry a value other than the one first handed over.
TEST(WriterRestartChild, ReadsTheRanges)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of WriterRestartTest";
    ASSERT_TRUE(LogCapture::install());
    ReaderStore store;
    ASSERT_TRUE(store.start()) << LoggerDb::getInstance().getLastError().toStdString();
    std::unique_ptr<LoggerApiInterface> api(LoggerApiInterface::getApi());
    const QList<QByteArray> ranges = qgetenv(kRangesVariable).split(',');
    ASSERT_FALSE(ranges.isEmpty());
    for (const QByteArray& range : ranges) {
        const QList<QByteArray> ends = range.split('-');
        ASSERT_EQ(ends.size(), 2) << range.toStdString();
        const int64_t first = ends[0].toLongLong();
        const int64_t last = ends[1].toLongLong();
        const PtrLoggerResultMean result = api->getMeanValues(kMeasureId, stampOf(first), stampOf(last));
        ASSERT_NE(result, nullptr) << range.toStdString() << ": "
                                   << LoggerApiInterface::getLastError().toStdString();
        std::vector<int64_t> numbers;
        int foreign = 0;
        for (int index = 0; index < result->mNumItems; ++index) {
            const DataMean& item = result->mItems[index];
            const int64_t number = numberOf(item.utc);
            numbers.push_back(number);
            if (static_cast<int64_t>(item.quality) != number || item.mean != static_cast<float>(number))
                ++foreign;
        }
        std::cout << "range=" << runOf(first, last) << " count=" << result->mNumItems
                  << " numbers=" << numberRuns(numbers) << " foreign=" << foreign << std::endl;
    }
}

// --- The restarts ------------------------------------------------------------------------------

class WriterRestartTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(LogCapture::install());
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        // The cut writer is a child; this process is the writer that starts after it.
        LoggerDb::getInstance().close();
    }

    std::unique_ptr<ChildTestProcess> child(const QString& test)
    {
        auto process = std::make_unique<ChildTestProcess>(test);
        // The writer is a child: this process holds no writer's lock.
        mStore.handOver();
        mStore.exportTo(*process);
        process->setVariable(QStringLiteral("TZ"), QString::fromLatin1(kTimeZone));
        return process;
    }

    // Runs the writer that is cut and waits for the cut at its named point.
    void runCutWriter(const QString& test, const char* cut, int storeRangeAfter = 0)
    {
        auto writer = child(test);
        if (storeRangeAfter > 0)
            writer->setVariable(QString::fromLatin1(kStoreRangeAfterVariable),
                                QString::number(storeRangeAfter));
        ASSERT_TRUE(writer->run(60000)) << writer->report().toStdString();
        ASSERT_TRUE(writer->crashed()) << writer->report().toStdString();
        ASSERT_TRUE(writer->standardOutput().contains("done " + QByteArray::number(kItemsBeforeMidnight - 1) +
                                                      "\ncut " + cut + "\n"))
            << writer->report().toStdString();
    }

    // The writer that starts after the cut, in this process.
    void restartWriter()
    {
        ASSERT_TRUE(mStore.initializeWriter()) << LoggerDb::getInstance().getLastError().toStdString();
        mLogger = std::make_unique<RestartLogger>();
        ASSERT_TRUE(mLogger->startLogger());
        ASSERT_EQ(mLogger->getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED)
            << LogCapture::text().toStdString();
    }

    // Writes items first..last in blocks; gives how many blocks the logger refused.
    int writeItems(int64_t first, int64_t last, float shift = 0.0f)
    {
        int refused = 0;
        for (int64_t next = first; next <= last; next += kBlockItems) {
            if (mLogger->writeNumbers(next, kBlockItems, shift) == nullptr)
                ++refused;
        }
        return refused;
    }

    // What a reader process finds in each of the ranges, one line per range.
    QList<QByteArray> readInAnotherProcess(const QByteArray& ranges)
    {
        auto reader = child(QStringLiteral("WriterRestartChild.ReadsTheRanges"));
        reader->setVariable(QString::fromLatin1(kRangesVariable), QString::fromLatin1(ranges));
        EXPECT_TRUE(reader->run(60000)) << reader->report().toStdString();
        EXPECT_TRUE(reader->passed()) << reader->report().toStdString();
        QList<QByteArray> lines;
        for (const QByteArray& line : reader->standardOutput().split('\n')) {
            if (line.startsWith("range="))
                lines << line;
        }
        EXPECT_EQ(lines.size(), ranges.count(',') + 1) << reader->report().toStdString();
        return lines;
    }

    // The card and the catalogue agree: every data file has its row, every row its file, the
    // range of each row is that of its file's items (where they are items of this test's size
    // and checkRanges is set), and no day folder of 1970 exists. Gives the number of data files.
    int expectEveryFileCatalogued(bool checkRanges = true)
    {
        EXPECT_FALSE(QFileInfo::exists(mStore.dataFolderPath() + QStringLiteral("/1970")))
            << "a data file was made in a day folder of 1970";
        QSet<QString> onCard;
        QDirIterator files(mStore.dataFolderPath(), {QStringLiteral("*.bin")}, QDir::Files,
                           QDirIterator::Subdirectories);
        while (files.hasNext())
            onCard << QFileInfo(files.next()).canonicalFilePath();

        std::shared_ptr<DefnBaseType> type;
        EXPECT_TRUE(retriedTransaction("WriterRestartTest", [&] {
            type = DefnTypePersistance().readBaseType(LoggerType::CYCLIC, mLogger->getId());
            return true;
        }));
        EXPECT_NE(type, nullptr);
        if (!type)
            return -1;
        QSet<QString> catalogued;
        for (int index = 0; index < type->getFileListSize(); ++index) {
            const auto file = type->getFileInfo(index);
            const QString name = QFileInfo(LoggerFileSystem::getFullFileName(file.get())).canonicalFilePath();
            SCOPED_TRACE(LoggerFileSystem::getFullFileName(file.get()).toStdString());
            EXPECT_FALSE(name.isEmpty()) << "a row names a file that does not exist";
            catalogued << name;
            const FileContent content = readDataFile(name);
            if (!checkRanges || file->DataBlockSize != kItemSize || content.items.empty())
                continue;
            EXPECT_EQ(numberOf(file->UtcStart), numberOf(content.items.front().utc)) << "start of the row";
            EXPECT_EQ(numberOf(file->UtcEnd), numberOf(content.items.back().utc)) << "end of the row";
        }
        for (const QString& name : onCard)
            EXPECT_TRUE(catalogued.contains(name)) << name.toStdString() << " has no catalogue row";
        return onCard.size();
    }

    ScopedTimeZone mZone{kTimeZone};
    WriterStore mStore;
    std::unique_ptr<RestartLogger> mLogger;
};

// Cut before the catalogue learned anything of the range: it still says 0 to 0. The first block
// after the restart is the first of the new day and begins a new file.
TEST_F(WriterRestartTest, AWriterCutBeforeTheCatalogueLearnedItsRangeLosesNothingAcrossMidnight)
{
    runCutWriter(
        QStringLiteral("WriterRestartChild.WritesUntilMidnightAndIsCutBeforeTheCatalogueLearnsTheRange"),
        "after-block-before-catalogue-update");
    restartWriter();
    EXPECT_EQ(mLogger->nextNumber(), kItemsBeforeMidnight);
    EXPECT_EQ(writeItems(kItemsBeforeMidnight, kAllItems - 1), 0) << "blocks refused after the restart";
    EXPECT_EQ(mLogger->getFileListSize(), 2);
    ASSERT_TRUE(mLogger->updateAccess());

    const QList<QByteArray> read = readInAnotherProcess(runOf(0, kAllItems - 1).c_str());
    ASSERT_EQ(read.size(), 1);
    EXPECT_EQ(field(read[0], "numbers").toStdString(), runOf(0, kAllItems - 1)) << read[0].toStdString();
    EXPECT_EQ(field(read[0], "foreign").toStdString(), "0");
    EXPECT_EQ(expectEveryFileCatalogued(), 2);
}

// Cut when the catalogue held an old range, that of the first half of the items: the file the
// first block after the restart leaves must end at its true last item, and a reader must find
// the items behind the old end.
TEST_F(WriterRestartTest, AWriterCutBeforeTheCatalogueLearnedItsNewestItemsEndsTheOldFileAtItsLastItem)
{
    runCutWriter(
        QStringLiteral("WriterRestartChild.WritesUntilMidnightAndIsCutBeforeTheCatalogueLearnsTheRange"),
        "after-block-before-catalogue-update", kItemsBeforeMidnight / 2);
    restartWriter();
    EXPECT_EQ(mLogger->nextNumber(), kItemsBeforeMidnight);
    EXPECT_EQ(writeItems(kItemsBeforeMidnight, kAllItems - 1), 0) << "blocks refused after the restart";
    ASSERT_TRUE(mLogger->updateAccess());

    const QByteArray tail = runOf(kItemsBeforeMidnight / 2, kItemsBeforeMidnight - 1).c_str();
    const QList<QByteArray> read =
        readInAnotherProcess(QByteArray(runOf(0, kAllItems - 1).c_str()) + ',' + tail);
    ASSERT_EQ(read.size(), 2);
    EXPECT_EQ(field(read[0], "numbers").toStdString(), runOf(0, kAllItems - 1)) << read[0].toStdString();
    EXPECT_EQ(field(read[1], "numbers"), tail) << read[1].toStdString();
    EXPECT_EQ(expectEveryFileCatalogued(), 2);
}

// Cut when the new day's file was in the catalogue but held no item. After the restart the host
// offers the last items before the cut again, with new values under their old time stamps: the
// logger must refuse them as out of order, and take the items of the new day behind them.
TEST_F(WriterRestartTest, AWriterCutAfterANewFileRowRefusesTheItemsOfferedAgain)
{
    runCutWriter(QStringLiteral("WriterRestartChild.WritesUntilMidnightAndIsCutAfterTheNewFileRow"),
                 "after-new-file-row");
    restartWriter();
    EXPECT_TRUE(mLogger->isFirstCurrentFileInfoItem()) << "the writer did not go on in the empty new file";
    EXPECT_EQ(mLogger->nextNumber(), kItemsBeforeMidnight);
    const int offeredAgain = kItemsOfferedAgain / kBlockItems;
    EXPECT_EQ(writeItems(kItemsBeforeMidnight - kItemsOfferedAgain, kItemsBeforeMidnight - 1, kNewValueShift),
              offeredAgain)
        << "blocks offered again were taken";
    EXPECT_EQ(writeItems(kItemsBeforeMidnight, kAllItems - 1), 0) << "blocks of the new day refused";
    ASSERT_TRUE(mLogger->updateAccess());

    const QList<QByteArray> read = readInAnotherProcess(runOf(0, kAllItems - 1).c_str());
    ASSERT_EQ(read.size(), 1);
    EXPECT_EQ(field(read[0], "numbers").toStdString(), runOf(0, kAllItems - 1)) << read[0].toStdString();
    EXPECT_EQ(field(read[0], "foreign").toStdString(), "0") << "items stored again with their new values";
    EXPECT_EQ(expectEveryFileCatalogued(), 2);
}

// --- New files dated by their items or the clock, never 1970 -------------------------------------

// A logger's first block that must begin a new file, here for a changed header, finds no end of
// the type to name the file by: the file lies in the day folder of the block's first item.
TEST_F(WriterRestartTest, AFirstBlockThatBeginsANewFileLiesInTheDayFolderOfItsFirstItem)
{
    restartWriter();
    ASSERT_TRUE(mLogger->isFirstCurrentFileInfoItem());
    mLogger->setHeaderChanged(true);
    const PtrLoggerFileInfo file = mLogger->writeNumbers(0, kBlockItems);
    ASSERT_NE(file, nullptr) << LogCapture::text().toStdString();
    // The empty file that the block left goes: the new one is the only file.
    EXPECT_EQ(mLogger->getFileListSize(), 1);
    EXPECT_EQ(file->UtcCreated.tv_sec, stampOf(0).tv_sec);
    EXPECT_TRUE(LoggerFileSystem::getFullFileName(file.get()).contains(QStringLiteral("/data/2025/11/22/")))
        << LoggerFileSystem::getFullFileName(file.get()).toStdString();
    const FileContent content = readDataFile(LoggerFileSystem::getFullFileName(file.get()));
    ASSERT_EQ(content.items.size(), static_cast<size_t>(kBlockItems));
    EXPECT_EQ(content.items.front().quality, 0u);
    EXPECT_EQ(expectEveryFileCatalogued(), 1);
}

// A restart after the item size changed begins a new file named by the time of the newest item;
// with no item on the card at all, the clock of the start names it.
TEST_F(WriterRestartTest, ARestartWithANewItemSizeAndNoItemOnTheCardDatesItsNewFileByTheClock)
{
    ASSERT_TRUE(mStore.initializeWriter()) << LoggerDb::getInstance().getLastError().toStdString();
    {
        TestLogger smaller(kMeasureId, kItemSize - 8);
        ASSERT_TRUE(smaller.startLogger());
        ASSERT_TRUE(smaller.isFirstCurrentFileInfoItem());
    }
    const timespec before = LoggerBase::getSystemTime();
    mLogger = std::make_unique<RestartLogger>();
    ASSERT_TRUE(mLogger->startLogger());
    const timespec after = LoggerBase::getSystemTime();
    ASSERT_EQ(mLogger->getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED) << LogCapture::text().toStdString();
    EXPECT_EQ(mLogger->getFileListSize(), 2);
    const auto created = mLogger->getLoggerAccess()->getCurrentFileInfo();
    ASSERT_NE(created, nullptr);
    EXPECT_GE(created->UtcCreated.tv_sec, before.tv_sec);
    EXPECT_LE(created->UtcCreated.tv_sec, after.tv_sec);

    const PtrLoggerFileInfo file = mLogger->writeNumbers(0, kBlockItems);
    ASSERT_NE(file, nullptr) << LogCapture::text().toStdString();
    EXPECT_EQ(file, created);
    ASSERT_TRUE(mLogger->updateAccess());
    EXPECT_EQ(expectEveryFileCatalogued(), 2);
}

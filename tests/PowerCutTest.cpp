// A writer process killed with SIGKILL at random moments while it writes, as a power cut ends
// the instrument's writer. Each run brings a writer up on the same simulated card and catalogue,
// lets it write blocks of items with rising time stamps and report every block it finished, and
// kills it after a random delay. Afterwards the data file must hold every reported item, in
// order, without duplicates, and at most the block that was being written may be missing; the
// next writer must continue in the same file behind the last whole item; the catalogue must pass
// its integrity check. The parent is the last writer and checks files and catalogue together.
// A second set of runs gives the writer a small file size, so that cuts also land while it
// begins new files; there the items of all files together must run on.
//
// QZLOGGER_STRESS_RUNS sets the number of runs (default 50, 25 across new files);
// QZLOGGER_POWERCUT_SEED the seed.

#include "ChildTestProcess.h"
#include "Database.h"
#include "DefnBaseType.h"
#include "DefnTypePersistance.h"
#include "LogCapture.h"
#include "LoggerAccess.h"
#include "LoggerBase.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerFileInfo.h"
#include "LoggerFileSystem.h"
#include "LoggerRetriedTransaction.h"
#include "MeanItemFiles.h"
#include "TemporaryCatalogue.h"
#include "TestLogger.h"
#include "WriterStore.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QList>
#include <QStringList>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <iostream>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr int kHeaderSize = 44;
constexpr int kItemSize = static_cast<int>(sizeof(DataMean)); // utc, quality, min, mean, max
constexpr int32_t kFirstSecond = 1763802000;                  // 2025-11-22, mid-day in any zone
const QString kMeasureId = QStringLiteral("mean_200ms.power_cut.mean_out");

constexpr const char* kBlockItemsVariable = "QZLOGGER_POWERCUT_BLOCK_ITEMS";
constexpr const char* kFileSizeVariable = "QZLOGGER_POWERCUT_FILE_SIZE";
constexpr int kDefaultRuns = 50;
constexpr unsigned kDefaultSeed = 20251122;
constexpr int kMaximumKillDelayMs = 50;
// Blocks of these sizes, one size per run; the size bounds what a run may lose.
constexpr int kBlockSizes[] = {1, 7, 10, 100};
// Large enough that a whole test stays in one file: the runs are about picking up in it.
constexpr int kMaximumFileSize = 512 * 1024 * 1024;
// The writer stores the state of its file in the catalogue every this many blocks, so that cuts
// also land inside catalogue transactions.
constexpr int kBlocksPerCatalogueUpdate = 8;
// For the runs across file changes: a file takes about 1500 items, so a cut often lands near a
// new file, and the items of a file span more than one second, so that no two files begin in the
// same second (a writer that starts again picks its file by the second of its first item).
constexpr int kRolloverFileSize = kHeaderSize + 1500 * kItemSize;
constexpr int kDefaultRolloverRuns = 25;
// A child that is never killed stops by itself.
constexpr int kChildLifetimeMs = 20000;

// Item number n carries the time stamp n milliseconds after kFirstSecond and n as its quality,
// so that every item in a file says which one it is.
DataMean itemNumber(int64_t number)
{
    DataMean item{};
    item.utc = DataTimespec{static_cast<int32_t>(kFirstSecond + number / 1000),
                            static_cast<int32_t>((number % 1000) * 1000000)};
    item.quality = static_cast<uint32_t>(number);
    item.mean = static_cast<float>(number);
    return item;
}

int64_t numberOfStamp(int64_t seconds, int64_t nanoseconds)
{
    return (seconds - kFirstSecond) * 1000 + nanoseconds / 1000000;
}

// Every item is the next number from 0, its stamp and quality agreeing: nothing out of order,
// nothing twice, no hole. Gives the number of items, or -1 with a message.
int64_t checkItemsRunOn(const FileContent& content, std::string& problem)
{
    for (size_t index = 0; index < content.items.size(); ++index) {
        const DataMean& item = content.items[index];
        const DataMean expected = itemNumber(static_cast<int64_t>(index));
        if (item.utc.tv_sec != expected.utc.tv_sec || item.utc.tv_nsec != expected.utc.tv_nsec ||
            item.quality != expected.quality) {
            problem = "item " + std::to_string(index) + " carries number " + std::to_string(item.quality) +
                      " at " + std::to_string(item.utc.tv_sec) + "." + std::to_string(item.utc.tv_nsec);
            return -1;
        }
    }
    return static_cast<int64_t>(content.items.size());
}

// The whole items of every data file below the data folder, the files in the order of their
// first items; files without a whole item (one begun by a cut writer and never written) are left
// out. Gives the files' names in that order in `names`.
FileContent readAllDataFiles(const QString& dataFolder, QStringList& names)
{
    std::vector<std::pair<QString, FileContent>> files;
    QDirIterator iterator(dataFolder, {QStringLiteral("*.bin")}, QDir::Files, QDirIterator::Subdirectories);
    while (iterator.hasNext()) {
        const QString name = iterator.next();
        FileContent content = readDataFile(name);
        if (content.readable && !content.items.empty())
            files.emplace_back(name, std::move(content));
    }
    std::sort(files.begin(), files.end(), [](const auto& a, const auto& b) {
        return a.second.items.front().quality < b.second.items.front().quality;
    });
    FileContent all;
    all.readable = true;
    names.clear();
    for (const auto& file : files) {
        names << file.first;
        all.items.insert(all.items.end(), file.second.items.begin(), file.second.items.end());
    }
    return all;
}

std::string integrityCheck(const QString& databaseFile)
{
    // Read and write, as the next writer opens it: a journal left by the cut is rolled back.
    qzdb::Database database(databaseFile.toStdString(), qzdb::Database::kOpenReadWriteCreate);
    return queryText(database, "PRAGMA integrity_check");
}

// The logger that both the children and the parent bring up: items of DataMean, one file.
class PowerCutLogger : public TestLogger {
public:
    explicit PowerCutLogger(int maximumFileSize = kMaximumFileSize) : TestLogger(kMeasureId, kItemSize)
    {
        setMaximumFileSize(maximumFileSize);
    }

    // The number of the next item: behind the last one in the file, or 0 in an empty file.
    int64_t nextNumber()
    {
        if (isFirstCurrentFileInfoItem())
            return 0;
        const timespec last = getCurrentUtc();
        return numberOfStamp(last.tv_sec, last.tv_nsec) + 1;
    }

    // Across files, as a source of items that goes on in its own time: behind the last item on
    // the card and behind the end of the logger's range, whichever is later. The range may end
    // at a block that a cut kept from the card; its numbers are not handed over again.
    int64_t nextNumberAcrossFiles()
    {
        int64_t next = isFirstCurrentFileInfoItem() ? 0 : nextNumber();
        const auto access = getLoggerAccess();
        const timespec end = access ? access->getCurrentBaseTypeUtcEnd() : timespec{};
        if (end.tv_sec != 0 || end.tv_nsec != 0)
            next = std::max(next, numberOfStamp(end.tv_sec, end.tv_nsec) + 1);
        QStringList names;
        const FileContent onCard = readAllDataFiles(LoggerFileSystem::getPath(), names);
        if (!onCard.items.empty())
            next = std::max(next, static_cast<int64_t>(onCard.items.back().quality) + 1);
        return next;
    }

    QString currentFileName()
    {
        const auto access = getLoggerAccess();
        const auto info = access ? access->getCurrentFileInfo() : nullptr;
        return info ? LoggerFileSystem::getFullFileName(info.get()) : QString();
    }

    PtrLoggerFileInfo writeNumbers(int64_t first, int count)
    {
        std::vector<DataMean> block;
        block.reserve(static_cast<size_t>(count));
        for (int index = 0; index < count; ++index)
            block.push_back(itemNumber(first + index));
        return writeDatas(reinterpret_cast<const char*>(block.data()), count, true, true);
    }
};

} // namespace

// --- The writer that is cut ------------------------------------------------------------------

// Brings the writer up on the parent's store, prints "ready" with where it picks up, then writes
// blocks of rising items and prints "done <last item>" behind each block the logger has taken,
// until it is killed.
TEST(PowerCutChild, WritesUntilKilled)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of PowerCutTest";
    ASSERT_TRUE(LogCapture::install());
    ReaderStore store;
    ASSERT_TRUE(store.startAsWriter()) << LoggerDb::getInstance().getLastError().toStdString();
    const int blockItems = intVariable(kBlockItemsVariable, 10);
    ASSERT_GT(blockItems, 0);

    PowerCutLogger logger(intVariable(kFileSizeVariable, kMaximumFileSize));
    ASSERT_TRUE(logger.startLogger());
    ASSERT_EQ(logger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED) << LogCapture::text().toStdString();
    int64_t next = logger.nextNumber();
    if (qEnvironmentVariableIsSet(kFileSizeVariable))
        next = logger.nextNumberAcrossFiles();
    std::cout << "ready next=" << next << " position=" << logger.getFilePosition()
              << " files=" << logger.getFileListSize() << " file=" << logger.currentFileName().toStdString()
              << std::endl;

    const QDeadlineTimer lifetime(kChildLifetimeMs);
    for (int block = 1; !lifetime.hasExpired(); ++block) {
        ASSERT_NE(logger.writeNumbers(next, blockItems), nullptr) << "block at item " << next;
        next += blockItems;
        std::cout << "done " << next - 1 << std::endl;
        if (block % kBlocksPerCatalogueUpdate == 0) {
            ASSERT_TRUE(logger.updateAccess());
        }
    }
    FAIL() << "not killed within " << kChildLifetimeMs << " ms";
}

// --- The power cuts ---------------------------------------------------------------------------

class PowerCutTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(LogCapture::install());
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        // The writers are the children; this process takes the catalogue up again at the end.
        LoggerDb::getInstance().close();
    }

    WriterStore mStore;
};

TEST_F(PowerCutTest, AKilledWriterLosesAtMostTheBlockItWasWritingAndTheNextOneContinuesInItsFile)
{
    const int runs = intVariable("QZLOGGER_STRESS_RUNS", kDefaultRuns);
    const unsigned seed =
        static_cast<unsigned>(intVariable("QZLOGGER_POWERCUT_SEED", static_cast<int>(kDefaultSeed)));
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> killDelay(0, kMaximumKillDelayMs);
    std::uniform_int_distribution<size_t> blockSize(0, std::size(kBlockSizes) - 1);

    QString fileName;
    int64_t itemsInFile = 0; // whole items in the file after the last cut
    int64_t itemsReported = 0;
    int64_t itemsUnreportedButKept = 0;
    int64_t mostLostInARun = 0;
    int runsWithTornItem = 0;
    int runsWithoutFinishedBlock = 0;

    for (int run = 0; run < runs; ++run) {
        SCOPED_TRACE("run " + std::to_string(run) + " of seed " + std::to_string(seed));
        const int blockItems = kBlockSizes[blockSize(random)];
        const int delayMs = killDelay(random);

        ChildTestProcess child(QStringLiteral("PowerCutChild.WritesUntilKilled"));
        mStore.exportTo(child);
        child.setVariable(QString::fromLatin1(kBlockItemsVariable), QString::number(blockItems));
        ASSERT_TRUE(child.start());
        const QByteArray ready = child.waitForLine("ready ", 15000);
        ASSERT_FALSE(ready.isEmpty()) << child.report().toStdString();

        // The new writer picks up behind the last whole item of the file the cut writer left.
        EXPECT_EQ(field(ready, "next").toLongLong(), itemsInFile) << ready.toStdString();
        EXPECT_EQ(field(ready, "position").toLongLong(), kHeaderSize + itemsInFile * kItemSize)
            << ready.toStdString();
        EXPECT_EQ(field(ready, "files").toInt(), 1) << ready.toStdString();
        const QString readyFile = QString::fromLocal8Bit(field(ready, "file"));
        if (run > 0) {
            EXPECT_EQ(readyFile, fileName) << "the writer began a new file";
        }
        fileName = readyFile;

        // The moment of the cut: a random time into the writing.
        std::this_thread::sleep_for(std::chrono::milliseconds(delayMs));
        ASSERT_TRUE(child.killNow()) << child.report().toStdString();

        // The last block the writer reported as finished; lines cut off by the kill do not count.
        int64_t lastDone = itemsInFile - 1;
        const QList<QByteArray> lines = child.standardOutput().split('\n');
        for (int index = 0; index + 1 < lines.size(); ++index) {
            if (lines[index].startsWith("done "))
                lastDone = lines[index].mid(5).toLongLong();
        }
        if (lastDone == itemsInFile - 1)
            ++runsWithoutFinishedBlock;

        const FileContent content = readDataFile(fileName);
        ASSERT_TRUE(content.readable) << fileName.toStdString();
        std::string problem;
        const int64_t items = checkItemsRunOn(content, problem);
        ASSERT_GE(items, 0) << problem;
        // Every reported item is kept, and nothing beyond the block that was being written.
        ASSERT_GE(items, lastDone + 1) << "reported items are missing";
        ASSERT_LE(items, lastDone + 1 + blockItems) << "more items than were ever handed over";
        const int64_t lost = lastDone + 1 + blockItems - items;
        mostLostInARun = std::max(mostLostInARun, lost);
        itemsUnreportedButKept += items - (lastDone + 1);
        itemsReported += lastDone + 1 - itemsInFile;
        if (content.tornBytes != 0)
            ++runsWithTornItem;
        itemsInFile = items;

        ASSERT_EQ(integrityCheck(mStore.databaseFile()), "ok");
    }

    // The last writer is this process: it picks up where the last cut left the file, and its
    // first write lands right behind the last whole item and leaves only whole items.
    ASSERT_TRUE(mStore.initializeWriter()) << LoggerDb::getInstance().getLastError().toStdString();
    PowerCutLogger logger;
    ASSERT_TRUE(logger.startLogger());
    ASSERT_EQ(logger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
    EXPECT_EQ(logger.getFileListSize(), 1);
    EXPECT_EQ(logger.currentFileName(), fileName);
    EXPECT_EQ(logger.nextNumber(), itemsInFile);
    EXPECT_EQ(logger.getFilePosition(), kHeaderSize + itemsInFile * kItemSize);
    ASSERT_NE(logger.writeNumbers(itemsInFile, 3), nullptr);
    itemsInFile += 3;
    const FileContent content = readDataFile(fileName);
    std::string problem;
    EXPECT_EQ(checkItemsRunOn(content, problem), itemsInFile) << problem;
    EXPECT_EQ(content.tornBytes, 0);

    // The catalogue agrees with the file once the writer has stored its state.
    ASSERT_TRUE(logger.updateAccess());
    std::shared_ptr<DefnBaseType> type;
    ASSERT_TRUE(retriedTransaction("PowerCutTest", [&] {
        type = DefnTypePersistance().readBaseType(LoggerType::CYCLIC, logger.getId());
        return true;
    }));
    ASSERT_NE(type, nullptr);
    ASSERT_EQ(type->getFileListSize(), 1);
    const auto file = type->getFileInfo(0);
    const DataMean first = itemNumber(0);
    const DataMean last = itemNumber(itemsInFile - 1);
    EXPECT_EQ(file->UtcStart.tv_sec, first.utc.tv_sec);
    EXPECT_EQ(file->UtcStart.tv_nsec, first.utc.tv_nsec);
    EXPECT_EQ(file->UtcEnd.tv_sec, last.utc.tv_sec);
    EXPECT_EQ(file->UtcEnd.tv_nsec, last.utc.tv_nsec);
    EXPECT_EQ(queryText(*LoggerDb::getInstance().getDb(), "PRAGMA integrity_check"), "ok");

    RecordProperty("runs", runs);
    RecordProperty("seed", static_cast<int>(seed));
    RecordProperty("items_in_file", static_cast<int>(itemsInFile));
    RecordProperty("items_reported", static_cast<int>(itemsReported));
    RecordProperty("reported_items_lost", 0);
    RecordProperty("most_items_lost_in_a_run", static_cast<int>(mostLostInARun));
    std::cout << "power cuts: " << runs << " runs (seed " << seed << "), " << itemsInFile
              << " items in the file, " << itemsReported << " reported as written, 0 of them lost; "
              << itemsUnreportedButKept
              << " kept of blocks cut before their report; at most one block in flight lost per run (largest "
              << mostLostInARun << " items, blocks of 1 to " << kBlockSizes[std::size(kBlockSizes) - 1]
              << "); " << runsWithTornItem << " runs left a torn item; " << runsWithoutFinishedBlock
              << " runs cut before their first block" << std::endl;
}

namespace {

// The items of all files against what the writers handed over: numbers strictly rising, each
// with its own stamp; every number of `handedOver` that a writer reported as finished present;
// numbers outside it at most those of the block in flight. Gives the last number, or -1 with
// a message.
int64_t checkItemsAcrossFiles(const FileContent& content,
                              const std::vector<std::pair<int64_t, int64_t>>& reported, std::string& problem)
{
    int64_t previous = -1;
    for (const DataMean& item : content.items) {
        const int64_t number = item.quality;
        const DataMean expected = itemNumber(number);
        if (number <= previous || item.utc.tv_sec != expected.utc.tv_sec ||
            item.utc.tv_nsec != expected.utc.tv_nsec) {
            problem = "number " + std::to_string(number) + " after " + std::to_string(previous) + " at " +
                      std::to_string(item.utc.tv_sec) + "." + std::to_string(item.utc.tv_nsec);
            return -1;
        }
        previous = number;
    }
    for (const auto& range : reported) {
        const auto first = std::lower_bound(
            content.items.begin(), content.items.end(), range.first,
            [](const DataMean& item, int64_t number) { return static_cast<int64_t>(item.quality) < number; });
        const int64_t present = std::count_if(first, content.items.end(), [&](const DataMean& item) {
            return static_cast<int64_t>(item.quality) <= range.second;
        });
        if (present != range.second - range.first + 1) {
            problem = "of the reported items " + std::to_string(range.first) + " to " +
                      std::to_string(range.second) + " only " + std::to_string(present) + " are kept";
            return -1;
        }
    }
    return previous;
}

} // namespace

// The same cuts while the writer begins a new file every 1500 items or so: a cut may land while
// a file is made, in its catalogue transaction, or in the first block of the new file. Each
// writer goes on behind the last item on the card and the end of the logger's range, as a
// source of items goes on in its own time, so a block lost in a cut leaves a gap. Over all files
// together every reported item must be kept, in order and once, and of each run at most the
// block in flight lost; in the end every file with items is in the catalogue, every row names a
// file that exists, and the rows' ranges hold their files' items without reaching into the next.
TEST_F(PowerCutTest, AKilledWriterThatBeginsNewFilesLosesAtMostTheBlockItWasWritingAndTheFilesStayInStep)
{
    const int runs = intVariable("QZLOGGER_STRESS_RUNS", kDefaultRolloverRuns);
    const unsigned seed =
        static_cast<unsigned>(intVariable("QZLOGGER_POWERCUT_SEED", static_cast<int>(kDefaultSeed)));
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> killDelay(0, kMaximumKillDelayMs);
    std::uniform_int_distribution<size_t> blockSize(0, std::size(kBlockSizes) - 1);

    std::vector<std::pair<int64_t, int64_t>> reported;
    int64_t lastOnCard = -1;
    int64_t lastHandedOver = -1; // the highest number a writer may have handed to the logger
    int blocksLost = 0;
    QStringList names;
    for (int run = 0; run < runs; ++run) {
        SCOPED_TRACE("run " + std::to_string(run) + " of seed " + std::to_string(seed));
        const int blockItems = kBlockSizes[blockSize(random)];
        const int delayMs = killDelay(random);

        ChildTestProcess child(QStringLiteral("PowerCutChild.WritesUntilKilled"));
        mStore.exportTo(child);
        child.setVariable(QString::fromLatin1(kBlockItemsVariable), QString::number(blockItems));
        child.setVariable(QString::fromLatin1(kFileSizeVariable), QString::number(kRolloverFileSize));
        ASSERT_TRUE(child.start());
        const QByteArray ready = child.waitForLine("ready ", 15000);
        ASSERT_FALSE(ready.isEmpty()) << child.report().toStdString();
        // Behind the last item on the card, and at most behind what the last writer handed over.
        const int64_t next = field(ready, "next").toLongLong();
        EXPECT_GT(next, lastOnCard) << ready.toStdString();
        EXPECT_LE(next, lastHandedOver + 1) << ready.toStdString();
        if (next != lastOnCard + 1)
            ++blocksLost;

        std::this_thread::sleep_for(std::chrono::milliseconds(delayMs));
        ASSERT_TRUE(child.killNow()) << child.report().toStdString();

        int64_t lastDone = next - 1;
        const QList<QByteArray> lines = child.standardOutput().split('\n');
        for (int index = 0; index + 1 < lines.size(); ++index) {
            if (lines[index].startsWith("done "))
                lastDone = lines[index].mid(5).toLongLong();
        }
        if (lastDone >= next)
            reported.emplace_back(next, lastDone);
        lastHandedOver = std::max(lastDone, next - 1) + blockItems;

        const FileContent content = readAllDataFiles(mStore.dataFolderPath(), names);
        std::string problem;
        lastOnCard = checkItemsAcrossFiles(content, reported, problem);
        ASSERT_TRUE(problem.empty()) << problem;
        ASSERT_LE(lastOnCard, lastHandedOver) << "more items than were ever handed over";
        ASSERT_EQ(integrityCheck(mStore.databaseFile()), "ok");
    }
    ASSERT_GT(names.size(), 1) << "the runs never began a second file";

    // The last writer goes on in the same way and stores its state.
    ASSERT_TRUE(mStore.initializeWriter()) << LoggerDb::getInstance().getLastError().toStdString();
    PowerCutLogger logger(kRolloverFileSize);
    ASSERT_TRUE(logger.startLogger());
    ASSERT_EQ(logger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
    const int64_t next = logger.nextNumberAcrossFiles();
    EXPECT_GT(next, lastOnCard);
    ASSERT_NE(logger.writeNumbers(next, 3), nullptr);
    reported.emplace_back(next, next + 2);
    ASSERT_TRUE(logger.updateAccess());
    std::string problem;
    const FileContent all = readAllDataFiles(mStore.dataFolderPath(), names);
    EXPECT_EQ(checkItemsAcrossFiles(all, reported, problem), next + 2) << problem;

    std::shared_ptr<DefnBaseType> type;
    ASSERT_TRUE(retriedTransaction("PowerCutTest", [&] {
        type = DefnTypePersistance().readBaseType(LoggerType::CYCLIC, logger.getId());
        return true;
    }));
    ASSERT_NE(type, nullptr);
    // The rows with items, by their first item, against the files in the same order.
    std::vector<std::pair<int64_t, std::shared_ptr<LoggerFileInfo>>> rows;
    QStringList catalogued;
    for (int index = 0; index < type->getFileListSize(); ++index) {
        const auto file = type->getFileInfo(index);
        ASSERT_NE(file, nullptr);
        const QString name = LoggerFileSystem::getFullFileName(file.get());
        const FileContent content = readDataFile(name);
        ASSERT_TRUE(content.readable) << name.toStdString() << ": a row names a file that does not exist";
        catalogued << name;
        if (!content.items.empty())
            rows.emplace_back(content.items.front().quality, file);
    }
    std::sort(rows.begin(), rows.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    ASSERT_EQ(rows.size(), static_cast<size_t>(names.size())) << "files with items and rows differ";
    // The logger's range in the catalogue can lag behind its files: after a cut it ends where
    // the last stored state of the logger ended, which may lie several short-lived writers back,
    // or at a block that a cut during a new file kept from the card. A writer that starts again
    // takes that range from the catalogue, and if its first block begins a new file, the range's
    // end goes to the row of the file it leaves. So a row's end may fall short of its file's last
    // item, or stand in the gap of a lost block; it stays within the file's own items or that gap
    // and never reaches the next file's first item.
    int rowsWithAnotherEnd = 0;
    for (size_t index = 0; index < rows.size(); ++index) {
        const QString& name = names[static_cast<int>(index)];
        SCOPED_TRACE(name.toStdString());
        EXPECT_TRUE(catalogued.contains(name)) << "a file with items has no row";
        const FileContent content = readDataFile(name);
        const auto& file = rows[index].second;
        EXPECT_EQ(numberOfStamp(file->UtcStart.tv_sec, file->UtcStart.tv_nsec),
                  content.items.front().quality);
        const int64_t rowEnd = numberOfStamp(file->UtcEnd.tv_sec, file->UtcEnd.tv_nsec);
        EXPECT_GE(rowEnd, static_cast<int64_t>(content.items.front().quality));
        if (index + 1 < rows.size()) {
            EXPECT_LT(rowEnd, rows[index + 1].first);
        }
        if (rowEnd != static_cast<int64_t>(content.items.back().quality))
            ++rowsWithAnotherEnd;
    }
    EXPECT_EQ(queryText(*LoggerDb::getInstance().getDb(), "PRAGMA integrity_check"), "ok");

    RecordProperty("runs", runs);
    RecordProperty("seed", static_cast<int>(seed));
    RecordProperty("files", static_cast<int>(names.size()));
    std::cout << "power cuts across new files: " << runs << " runs (seed " << seed << "), "
              << all.items.size() << " items in " << names.size() << " files, " << type->getFileListSize()
              << " files in the catalogue; " << blocksLost << " blocks lost in flight, " << rowsWithAnotherEnd
              << " rows whose end is not their file's last item" << std::endl;
}

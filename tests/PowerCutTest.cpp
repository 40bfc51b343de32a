// A writer process killed with SIGKILL at random moments while it writes, as a power cut ends
// the instrument's writer. Each run brings a writer up on the same simulated card and catalogue,
// lets it write blocks of items with rising time stamps and report every block it finished, and
// kills it after a random delay. Afterwards the data file must hold every reported item, in
// order, without duplicates, and at most the block that was being written may be missing; the
// next writer must continue in the same file behind the last whole item; the catalogue must pass
// its integrity check. The parent is the last writer and checks files and catalogue together.
//
// QZLOGGER_STRESS_RUNS sets the number of runs (default 50); QZLOGGER_POWERCUT_SEED the seed.

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
#include "TemporaryCatalogue.h"
#include "TestLogger.h"
#include "WriterStore.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QFile>
#include <QList>
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
#include <vector>

namespace {

constexpr int kHeaderSize = 44;
constexpr int kItemSize = static_cast<int>(sizeof(DataMean)); // utc, quality, min, mean, max
constexpr int32_t kFirstSecond = 1763802000;                  // 2025-11-22, mid-day in any zone
const QString kMeasureId = QStringLiteral("mean_200ms.power_cut.mean_out");

constexpr const char* kBlockItemsVariable = "QZLOGGER_POWERCUT_BLOCK_ITEMS";
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

int intVariable(const char* name, int fallback)
{
    bool ok = false;
    const int value = qEnvironmentVariableIntValue(name, &ok);
    return ok ? value : fallback;
}

// "key=value" out of a line of words.
QByteArray field(const QByteArray& line, const QByteArray& key)
{
    for (const QByteArray& word : line.split(' ')) {
        if (word.startsWith(key + '='))
            return word.mid(key.size() + 1);
    }
    return QByteArray();
}

// The items of a data file as a writer left it: its whole items, and the bytes of a torn last
// item behind them.
struct FileContent {
    bool readable = false;
    std::vector<DataMean> items;
    int tornBytes = 0;
};

FileContent readDataFile(const QString& name)
{
    FileContent content;
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly))
        return content;
    const QByteArray bytes = file.readAll();
    if (bytes.size() < kHeaderSize)
        return content;
    content.readable = true;
    const int whole = (bytes.size() - kHeaderSize) / kItemSize;
    content.items.resize(static_cast<size_t>(whole));
    if (whole > 0)
        std::memcpy(content.items.data(), bytes.constData() + kHeaderSize,
                    static_cast<size_t>(whole) * kItemSize);
    content.tornBytes = (bytes.size() - kHeaderSize) % kItemSize;
    return content;
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

std::string integrityCheck(const QString& databaseFile)
{
    // Read and write, as the next writer opens it: a journal left by the cut is rolled back.
    qzdb::Database database(databaseFile.toStdString(), qzdb::Database::kOpenReadWriteCreate);
    return queryText(database, "PRAGMA integrity_check");
}

// The logger that both the children and the parent bring up: items of DataMean, one file.
class PowerCutLogger : public TestLogger {
public:
    PowerCutLogger() : TestLogger(kMeasureId, kItemSize) { setMaximumFileSize(kMaximumFileSize); }

    // The number of the next item: behind the last one in the file, or 0 in an empty file.
    int64_t nextNumber()
    {
        if (isFirstCurrentFileInfoItem())
            return 0;
        const timespec last = getCurrentUtc();
        return numberOfStamp(last.tv_sec, last.tv_nsec) + 1;
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

    PowerCutLogger logger;
    ASSERT_TRUE(logger.startLogger());
    ASSERT_EQ(logger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED) << LogCapture::text().toStdString();
    int64_t next = logger.nextNumber();
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

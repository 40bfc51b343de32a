// A writer process killed with SIGKILL at random moments while it writes, as a power cut ends
// the instrument's writer. Each run brings a writer up on the same simulated card and catalogue,
// lets it write blocks of items with rising time stamps and report every block it finished, and
// cuts it. Afterwards the data file must hold every reported item, in order, without duplicates,
// and at most the block that was being written may be missing; the next writer must continue in
// the same file behind the last whole item; the catalogue must pass its integrity check. The
// parent is the last writer and checks files and catalogue together, and a reader process must
// then find every item on the card. A second set of runs gives the writer a small file size, so
// that cuts also land while it begins new files; there the items of all files together must run
// on, and every file must have its catalogue row with the range of its items.
//
// Each run chooses where the power goes: at a random time (the parent kills the writer), right
// after a block and before the catalogue learns of it (the writer cuts itself after a chosen
// block), or, in the runs across new files, right after a new file's row was stored and before
// the file's first block (the writer cuts itself in createNewFile). Every writer that starts is
// first offered again up to the last 300 items before the cut, with new values under their old
// time stamps, as a host does after a restart: it must take none of them.
//
// QZLOGGER_STRESS_RUNS sets the number of runs (default 50, 25 across new files);
// QZLOGGER_POWERCUT_SEED the seed.

#include "ChildTestProcess.h"
#include "Database.h"
#include "DefnBaseType.h"
#include "DefnTypePersistance.h"
#include "LogCapture.h"
#include "LoggerAccess.h"
#include "LoggerApiInterface.h"
#include "LoggerBase.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerFileInfo.h"
#include "LoggerFileSystem.h"
#include "LoggerResult.h"
#include "LoggerRetriedTransaction.h"
#include "MeanItemFiles.h"
#include "PowerCutPoints.h"
#include "TemporaryCatalogue.h"
#include "TestLogger.h"
#include "WriterStore.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
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
constexpr const char* kCutVariable = "QZLOGGER_POWERCUT_CUT";
constexpr const char* kCutAfterBlockVariable = "QZLOGGER_POWERCUT_CUT_AFTER_BLOCK";
constexpr const char* kOfferAgainVariable = "QZLOGGER_POWERCUT_OFFER_AGAIN";
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
// A writer that starts is offered again up to this many of the last items before the cut.
constexpr int kMostItemsOfferedAgain = 300;
// The mean of an item offered again: a new value under the old time stamp.
constexpr float kNewValueShift = 0.5f;

// Where the power goes in a run. The names are those that the writer prints with its cut.
enum class Cut { AtRandomTime, AfterBlockBeforeCatalogueUpdate, AfterNewFileRowBeforeFirstBlock };
constexpr int kCutKinds = 3;

const char* cutName(Cut cut)
{
    switch (cut) {
    case Cut::AtRandomTime: return "random-time";
    case Cut::AfterBlockBeforeCatalogueUpdate: return "after-block-before-catalogue-update";
    case Cut::AfterNewFileRowBeforeFirstBlock: return "after-new-file-row";
    }
    return "";
}

// Item number n carries the time stamp n milliseconds after kFirstSecond and n as its quality.
DataMean itemNumber(int64_t number, float shift = 0.0f)
{
    return numberedMeanItem(kFirstSecond, number, shift);
}

timespec stampOf(int64_t number)
{
    const DataMean item = itemNumber(number);
    timespec stamp{};
    stamp.tv_sec = item.utc.tv_sec;
    stamp.tv_nsec = item.utc.tv_nsec;
    return stamp;
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
            item.quality != expected.quality || item.mean != expected.mean) {
            problem = "item " + std::to_string(index) + " carries number " + std::to_string(item.quality) +
                      " at " + std::to_string(item.utc.tv_sec) + "." + std::to_string(item.utc.tv_nsec);
            return -1;
        }
    }
    return static_cast<int64_t>(content.items.size());
}

// What the power cuts cost in the end: how many of the reported items (ranges of numbers, first
// to last) are missing, and how many items repeat a number at or below one before them.
void countLostAndRepeated(const FileContent& content,
                          const std::vector<std::pair<int64_t, int64_t>>& reported, int64_t& lost,
                          int64_t& repeated)
{
    std::vector<int64_t> numbers;
    repeated = 0;
    int64_t highest = -1;
    for (const DataMean& item : content.items) {
        const int64_t number = item.quality;
        if (number <= highest)
            ++repeated;
        highest = std::max(highest, number);
        numbers.push_back(number);
    }
    std::sort(numbers.begin(), numbers.end());
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    lost = 0;
    for (const auto& range : reported) {
        const auto first = std::lower_bound(numbers.begin(), numbers.end(), range.first);
        const auto last = std::upper_bound(numbers.begin(), numbers.end(), range.second);
        lost += range.second - range.first + 1 - (last - first);
    }
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
class PowerCutLogger : public CutAfterNewFileRow<TestLogger> {
public:
    explicit PowerCutLogger(int maximumFileSize = kMaximumFileSize)
        : CutAfterNewFileRow<TestLogger>(kMeasureId, kItemSize)
    {
        setMaximumFileSize(maximumFileSize);
    }

    // The number of the newest item the logger takes as accepted, -1 with none.
    int64_t currentNumber()
    {
        const timespec current = getCurrentUtc();
        if (current.tv_sec == 0 && current.tv_nsec == 0)
            return -1;
        return numberOfStamp(current.tv_sec, current.tv_nsec);
    }

    // The number of the next item: behind the last one in the file, or 0 in an empty file.
    int64_t nextNumber()
    {
        if (isFirstCurrentFileInfoItem())
            return 0;
        const timespec last = getCurrentUtc();
        return numberOfStamp(last.tv_sec, last.tv_nsec) + 1;
    }

    // Across files: behind the last item on the card. The items of a block that a cut kept from
    // the card are handed over again, as a source does that offers its last items again.
    int64_t nextNumberAcrossFiles()
    {
        QStringList names;
        const FileContent onCard = readAllDataFiles(LoggerFileSystem::getPath(), names);
        return onCard.items.empty() ? 0 : static_cast<int64_t>(onCard.items.back().quality) + 1;
    }

    QString currentFileName()
    {
        const auto access = getLoggerAccess();
        const auto info = access ? access->getCurrentFileInfo() : nullptr;
        return info ? LoggerFileSystem::getFullFileName(info.get()) : QString();
    }

    PtrLoggerFileInfo writeNumbers(int64_t first, int count, float shift = 0.0f)
    {
        return writeNumberedMeans(*this, kFirstSecond, first, count, shift);
    }

    // Offers the items from first up to next again, in blocks, with new values: gives how many
    // of them the logger took.
    int64_t offerAgain(int64_t first, int64_t next, int blockItems)
    {
        int64_t taken = 0;
        for (int64_t number = first; number < next; number += blockItems) {
            const int count = static_cast<int>(std::min<int64_t>(blockItems, next - number));
            if (writeNumbers(number, count, kNewValueShift) != nullptr)
                taken += count;
        }
        return taken;
    }
};

// What a reader process finds of all items: the line "read count=<n> numbers=<runs>
// foreign=<k>" of PowerCutChild.ReadsEverything, or an empty array where it failed.
QByteArray readEverythingInAnotherProcess(const WriterStore& store, int64_t lastNumber)
{
    ChildTestProcess reader(QStringLiteral("PowerCutChild.ReadsEverything"));
    store.exportTo(reader);
    reader.setVariable(QStringLiteral("QZLOGGER_POWERCUT_LAST_NUMBER"), QString::number(lastNumber));
    EXPECT_TRUE(reader.run()) << reader.report().toStdString();
    EXPECT_TRUE(reader.passed()) << reader.report().toStdString();
    for (const QByteArray& line : reader.standardOutput().split('\n')) {
        if (line.startsWith("read "))
            return line;
    }
    return QByteArray();
}

// The item numbers of a content, in file order.
std::vector<int64_t> numbersOf(const FileContent& content)
{
    std::vector<int64_t> numbers;
    numbers.reserve(content.items.size());
    for (const DataMean& item : content.items)
        numbers.push_back(item.quality);
    return numbers;
}

} // namespace

// --- The writer that is cut ------------------------------------------------------------------

// Brings the writer up on the parent's store, is offered again the last items before the cut,
// prints "ready" with where it picks up, then writes blocks of rising items and prints
// "done <last item>" behind each block the logger has taken, until it is killed or cuts itself
// at the point that QZLOGGER_POWERCUT_CUT names.
TEST(PowerCutChild, WritesUntilKilled)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of PowerCutTest";
    ASSERT_TRUE(LogCapture::install());
    ReaderStore store;
    ASSERT_TRUE(store.startAsWriter()) << LoggerDb::getInstance().getLastError().toStdString();
    const int blockItems = intVariable(kBlockItemsVariable, 10);
    ASSERT_GT(blockItems, 0);
    const QByteArray cut = qgetenv(kCutVariable);
    const int cutAfterBlock =
        cut == cutName(Cut::AfterBlockBeforeCatalogueUpdate) ? intVariable(kCutAfterBlockVariable, 1) : -1;

    PowerCutLogger logger(intVariable(kFileSizeVariable, kMaximumFileSize));
    ASSERT_TRUE(logger.startLogger());
    ASSERT_EQ(logger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED) << LogCapture::text().toStdString();
    int64_t next = logger.nextNumber();
    if (qEnvironmentVariableIsSet(kFileSizeVariable))
        next = logger.nextNumberAcrossFiles();
    // The newest item the logger takes as accepted, before anything is offered.
    const int64_t current = logger.currentNumber();
    const int64_t offered = std::min<int64_t>(intVariable(kOfferAgainVariable, 0), next);
    const int64_t taken = logger.offerAgain(next - offered, next, blockItems);
    std::cout << "ready next=" << next << " current=" << current << " offered=" << offered
              << " taken=" << taken << " position=" << logger.getFilePosition()
              << " files=" << logger.getFileListSize() << " file=" << logger.currentFileName().toStdString()
              << " log=" << LogCapture::file().toStdString() << std::endl;
    logger.cutAfterNextNewFile(cut == cutName(Cut::AfterNewFileRowBeforeFirstBlock));

    const QDeadlineTimer lifetime(kChildLifetimeMs);
    for (int block = 1; !lifetime.hasExpired(); ++block) {
        ASSERT_NE(logger.writeNumbers(next, blockItems), nullptr) << "block at item " << next;
        next += blockItems;
        std::cout << "done " << next - 1 << std::endl;
        if (block == cutAfterBlock)
            cutPowerNow(cutName(Cut::AfterBlockBeforeCatalogueUpdate));
        if (block % kBlocksPerCatalogueUpdate == 0) {
            ASSERT_TRUE(logger.updateAccess());
        }
    }
    FAIL() << "not killed within " << kChildLifetimeMs << " ms";
}

// Reads every item from number -1000 to QZLOGGER_POWERCUT_LAST_NUMBER + 1000 through the read
// API and prints "read count=<n> numbers=<runs> foreign=<k>": the numbers as runs, and how many
// items carry a value other than the one first handed over.
TEST(PowerCutChild, ReadsEverything)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of PowerCutTest";
    ASSERT_TRUE(LogCapture::install());
    ReaderStore store;
    ASSERT_TRUE(store.start()) << LoggerDb::getInstance().getLastError().toStdString();
    const int lastNumber = intVariable("QZLOGGER_POWERCUT_LAST_NUMBER", -1);
    ASSERT_GE(lastNumber, 0);
    std::unique_ptr<LoggerApiInterface> api(LoggerApiInterface::getApi());
    const PtrLoggerResultMean result =
        api->getMeanValues(kMeasureId, stampOf(-1000), stampOf(lastNumber + 1000));
    ASSERT_NE(result, nullptr) << LoggerApiInterface::getLastError().toStdString();
    std::vector<int64_t> numbers;
    int foreign = 0;
    for (int index = 0; index < result->mNumItems; ++index) {
        const DataMean& item = result->mItems[index];
        const int64_t number = numberOfStamp(item.utc.tv_sec, item.utc.tv_nsec);
        numbers.push_back(number);
        if (static_cast<int64_t>(item.quality) != number || item.mean != static_cast<float>(number))
            ++foreign;
    }
    std::cout << "read count=" << result->mNumItems << " numbers=" << numberRuns(numbers)
              << " foreign=" << foreign << std::endl;
}

// --- The power cuts ---------------------------------------------------------------------------

class PowerCutTest : public ::testing::Test {
protected:
    // One run: the block size of the writer, where its power goes, and how many of the last
    // items it is offered again when it starts.
    struct Plan {
        int blockItems = 10;
        Cut cut = Cut::AtRandomTime;
        int delayMs = 0;       // at a random time: this long after the writer is ready
        int cutAfterBlock = 1; // after a block: the number of the block, from 1
        int offerAgain = 0;
    };

    void SetUp() override
    {
        ASSERT_TRUE(LogCapture::install());
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        // The writers are the children; this process takes the catalogue up again at the end.
        LoggerDb::getInstance().close();
    }

    static Plan planRun(std::mt19937& random, int cutKinds)
    {
        Plan plan;
        plan.cut = static_cast<Cut>(std::uniform_int_distribution<int>(0, cutKinds - 1)(random));
        // A writer that runs up to a new file in blocks of one item stores its state some two
        // hundred times on the way: the cut after a new file's row takes the larger blocks.
        const size_t smallest = plan.cut == Cut::AfterNewFileRowBeforeFirstBlock ? 1 : 0;
        plan.blockItems =
            kBlockSizes[std::uniform_int_distribution<size_t>(smallest, std::size(kBlockSizes) - 1)(random)];
        plan.delayMs = std::uniform_int_distribution<int>(0, kMaximumKillDelayMs)(random);
        // Before the writer's first store of its state, or after it.
        plan.cutAfterBlock = std::uniform_int_distribution<int>(1, 2 * kBlocksPerCatalogueUpdate)(random);
        plan.offerAgain = std::uniform_int_distribution<int>(0, kMostItemsOfferedAgain)(random);
        return plan;
    }

    // Brings the writer of a run up and cuts its power as planned. Gives its ready line, or an
    // empty array with a failure recorded.
    QByteArray runWriter(ChildTestProcess& child, const Plan& plan, bool acrossFiles)
    {
        // The writer is a child: this process holds no writer's lock.
        mStore.handOver();
        mStore.exportTo(child);
        child.setVariable(QString::fromLatin1(kBlockItemsVariable), QString::number(plan.blockItems));
        child.setVariable(QString::fromLatin1(kCutVariable), QString::fromLatin1(cutName(plan.cut)));
        child.setVariable(QString::fromLatin1(kCutAfterBlockVariable), QString::number(plan.cutAfterBlock));
        child.setVariable(QString::fromLatin1(kOfferAgainVariable), QString::number(plan.offerAgain));
        if (acrossFiles)
            child.setVariable(QString::fromLatin1(kFileSizeVariable), QString::number(kRolloverFileSize));
        if (!child.start()) {
            ADD_FAILURE() << "the writer did not start";
            return QByteArray();
        }
        const QByteArray ready = child.waitForLine("ready ", 15000);
        if (ready.isEmpty()) {
            ADD_FAILURE() << child.report().toStdString();
            return QByteArray();
        }
        if (plan.cut == Cut::AtRandomTime) {
            // The moment of the cut: a random time into the writing.
            std::this_thread::sleep_for(std::chrono::milliseconds(plan.delayMs));
            if (!child.killNow()) {
                ADD_FAILURE() << "the writer ended before the cut\n" << child.report().toStdString();
                return QByteArray();
            }
        } else {
            // The writer cuts itself at the named point.
            const QByteArray line = QByteArray("\ncut ") + cutName(plan.cut) + '\n';
            if (!child.waitForFinished(kChildLifetimeMs + 10000) || !child.crashed() ||
                !child.standardOutput().contains(line)) {
                ADD_FAILURE() << "no cut " << cutName(plan.cut) << "\n" << child.report().toStdString();
                return QByteArray();
            }
        }
        ++mCuts[static_cast<int>(plan.cut)];
        return ready;
    }

    // The last block the writer reported as finished; lines cut off by the kill do not count.
    static int64_t lastReported(const ChildTestProcess& child, int64_t none)
    {
        int64_t lastDone = none;
        const QList<QByteArray> lines = child.standardOutput().split('\n');
        for (int index = 0; index + 1 < lines.size(); ++index) {
            if (lines[index].startsWith("done "))
                lastDone = lines[index].mid(5).toLongLong();
        }
        return lastDone;
    }

    std::string cutCounts() const
    {
        return std::to_string(mCuts[0]) + " at a random time, " + std::to_string(mCuts[1]) +
               " after a block before the catalogue update, " + std::to_string(mCuts[2]) +
               " after a new file's row before its first block";
    }

    WriterStore mStore;
    int mCuts[kCutKinds] = {};
};

TEST_F(PowerCutTest, AKilledWriterLosesAtMostTheBlockItWasWritingAndTheNextOneContinuesInItsFile)
{
    const int runs = intVariable("QZLOGGER_STRESS_RUNS", kDefaultRuns);
    const unsigned seed =
        static_cast<unsigned>(intVariable("QZLOGGER_POWERCUT_SEED", static_cast<int>(kDefaultSeed)));
    std::mt19937 random(seed);

    QString fileName;
    QString firstChildFolder;
    int64_t itemsInFile = 0; // whole items in the file after the last cut
    int64_t itemsReported = 0;
    int64_t highestReported = -1;
    int64_t itemsUnreportedButKept = 0;
    int64_t itemsOfferedAgain = 0;
    int64_t itemsTakenAgain = 0;
    int64_t mostLostInARun = 0;
    int runsWithTornItem = 0;
    int runsWithoutFinishedBlock = 0;

    for (int run = 0; run < runs; ++run) {
        SCOPED_TRACE("run " + std::to_string(run) + " of seed " + std::to_string(seed));
        // A single file never begins a new one: the power goes at a random time or after a block.
        const Plan plan = planRun(random, 2);
        SCOPED_TRACE(std::string("cut ") + cutName(plan.cut));

        ChildTestProcess child(QStringLiteral("PowerCutChild.WritesUntilKilled"));
        const QByteArray ready = runWriter(child, plan, false);
        ASSERT_FALSE(ready.isEmpty());

        // The new writer picks up behind the last whole item of the file the cut writer left,
        // and takes none of the items offered again.
        EXPECT_EQ(field(ready, "next").toLongLong(), itemsInFile) << ready.toStdString();
        EXPECT_EQ(field(ready, "taken").toLongLong(), 0) << ready.toStdString();
        itemsOfferedAgain += field(ready, "offered").toLongLong();
        itemsTakenAgain += field(ready, "taken").toLongLong();
        EXPECT_EQ(field(ready, "position").toLongLong(), kHeaderSize + itemsInFile * kItemSize)
            << ready.toStdString();
        EXPECT_EQ(field(ready, "files").toInt(), 1) << ready.toStdString();
        const QString readyFile = QString::fromLocal8Bit(field(ready, "file"));
        if (run > 0) {
            EXPECT_EQ(readyFile, fileName) << "the writer began a new file";
        }
        fileName = readyFile;
        if (run == 0) {
            // What a killed writer makes in its temporary folder belongs to this process.
            firstChildFolder = child.temporaryDirectory();
            EXPECT_TRUE(QString::fromLocal8Bit(field(ready, "log")).startsWith(firstChildFolder + '/'))
                << ready.toStdString();
        }

        const int64_t lastDone = lastReported(child, itemsInFile - 1);
        highestReported = std::max(highestReported, lastDone);
        if (lastDone == itemsInFile - 1)
            ++runsWithoutFinishedBlock;

        const FileContent content = readDataFile(fileName);
        ASSERT_TRUE(content.readable) << fileName.toStdString();
        std::string problem;
        const int64_t items = checkItemsRunOn(content, problem);
        ASSERT_GE(items, 0) << problem;
        // Every reported item is kept, and nothing beyond the block that was being written.
        ASSERT_GE(items, lastDone + 1) << "reported items are missing";
        ASSERT_LE(items, lastDone + 1 + plan.blockItems) << "more items than were ever handed over";
        const int64_t lost = lastDone + 1 + plan.blockItems - items;
        mostLostInARun = std::max(mostLostInARun, lost);
        itemsUnreportedButKept += items - (lastDone + 1);
        itemsReported += lastDone + 1 - itemsInFile;
        if (content.tornBytes != 0)
            ++runsWithTornItem;
        itemsInFile = items;

        ASSERT_EQ(integrityCheck(mStore.databaseFile()), "ok");
    }
    EXPECT_FALSE(firstChildFolder.isEmpty() || QFileInfo::exists(firstChildFolder))
        << "the temporary folder of a killed writer is left behind: " << firstChildFolder.toStdString();

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
    highestReported = itemsInFile - 1;
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

    // A reader in another process finds every item on the card, once and oldest first.
    const QByteArray read = readEverythingInAnotherProcess(mStore, itemsInFile - 1);
    EXPECT_EQ(field(read, "numbers").toStdString(), "0-" + std::to_string(itemsInFile - 1))
        << read.toStdString();
    EXPECT_EQ(field(read, "foreign").toStdString(), "0") << read.toStdString();
    int64_t lost = 0;
    int64_t repeated = 0;
    countLostAndRepeated(content, {{0, highestReported}}, lost, repeated);
    EXPECT_EQ(lost, 0);
    EXPECT_EQ(repeated, 0);

    RecordProperty("runs", runs);
    RecordProperty("seed", static_cast<int>(seed));
    RecordProperty("items_in_file", static_cast<int>(itemsInFile));
    RecordProperty("items_reported", static_cast<int>(itemsReported));
    RecordProperty("reported_items_lost", static_cast<int>(lost));
    RecordProperty("items_repeated", static_cast<int>(repeated));
    RecordProperty("most_items_lost_in_a_run", static_cast<int>(mostLostInARun));
    std::cout << "power cuts: " << runs << " runs (seed " << seed << "; " << cutCounts() << "), "
              << itemsInFile << " items in the file, " << itemsReported << " reported as written, " << lost
              << " of them lost; " << itemsOfferedAgain << " offered again after a restart, "
              << itemsTakenAgain << " of them taken, " << repeated << " items repeated; "
              << itemsUnreportedButKept
              << " kept of blocks cut before their report; at most one block in flight lost per run (largest "
              << mostLostInARun << " items, blocks of 1 to " << kBlockSizes[std::size(kBlockSizes) - 1]
              << "); " << runsWithTornItem << " runs left a torn item; " << runsWithoutFinishedBlock
              << " runs cut before their first block" << std::endl;
}

namespace {

// The items of all files against what the writers handed over: numbers strictly rising, each
// with its own stamp and its first value; every number of `reported` that a writer reported as
// finished present. Gives the last number, or -1 with a message.
int64_t checkItemsAcrossFiles(const FileContent& content,
                              const std::vector<std::pair<int64_t, int64_t>>& reported, std::string& problem)
{
    int64_t previous = -1;
    for (const DataMean& item : content.items) {
        const int64_t number = item.quality;
        const DataMean expected = itemNumber(number);
        if (number <= previous || item.utc.tv_sec != expected.utc.tv_sec ||
            item.utc.tv_nsec != expected.utc.tv_nsec || item.mean != expected.mean) {
            problem = "number " + std::to_string(number) + " after " + std::to_string(previous) + " at " +
                      std::to_string(item.utc.tv_sec) + "." + std::to_string(item.utc.tv_nsec) +
                      " with mean " + std::to_string(item.mean);
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
// a file is made, in its catalogue transaction, right after its row is stored, or in the first
// block of the new file. Each writer takes as its newest item the last item on the card and goes
// on behind it. Over all files together every reported item must be kept, in order and once,
// nothing that was on the card may go, and of each run at most the block in flight is lost; in
// the end every file with items is in the catalogue with the range of its items, every row names
// a file that exists, and a reader process finds every item on the card.
TEST_F(PowerCutTest, AKilledWriterThatBeginsNewFilesLosesAtMostTheBlockItWasWritingAndTheFilesStayInStep)
{
    const int runs = intVariable("QZLOGGER_STRESS_RUNS", kDefaultRolloverRuns);
    const unsigned seed =
        static_cast<unsigned>(intVariable("QZLOGGER_POWERCUT_SEED", static_cast<int>(kDefaultSeed)));
    std::mt19937 random(seed);

    std::vector<std::pair<int64_t, int64_t>> reported;
    int64_t lastOnCard = -1;
    size_t itemsOnCard = 0;
    int64_t lastHandedOver = -1; // the highest number a writer may have handed to the logger
    int64_t itemsOfferedAgain = 0;
    int64_t itemsTakenAgain = 0;
    QStringList names;
    for (int run = 0; run < runs; ++run) {
        SCOPED_TRACE("run " + std::to_string(run) + " of seed " + std::to_string(seed));
        const Plan plan = planRun(random, kCutKinds);
        SCOPED_TRACE(std::string("cut ") + cutName(plan.cut));

        ChildTestProcess child(QStringLiteral("PowerCutChild.WritesUntilKilled"));
        const QByteArray ready = runWriter(child, plan, true);
        ASSERT_FALSE(ready.isEmpty());
        // The newest item the writer takes as accepted is the last one on the card, whatever
        // the catalogue held and whether its current file holds an item; it goes on behind it
        // and takes none of the items offered again.
        const int64_t next = field(ready, "next").toLongLong();
        EXPECT_EQ(field(ready, "current").toLongLong(), lastOnCard) << ready.toStdString();
        EXPECT_EQ(next, lastOnCard + 1) << ready.toStdString();
        EXPECT_EQ(field(ready, "taken").toLongLong(), 0) << ready.toStdString();
        itemsOfferedAgain += field(ready, "offered").toLongLong();
        itemsTakenAgain += field(ready, "taken").toLongLong();

        const int64_t lastDone = lastReported(child, next - 1);
        if (lastDone >= next)
            reported.emplace_back(next, lastDone);
        lastHandedOver = std::max(lastDone, next - 1) + plan.blockItems;

        const FileContent content = readAllDataFiles(mStore.dataFolderPath(), names);
        std::string problem;
        const int64_t last = checkItemsAcrossFiles(content, reported, problem);
        ASSERT_TRUE(problem.empty()) << problem;
        ASSERT_LE(last, lastHandedOver) << "more items than were ever handed over";
        // Nothing that was on the card before the run has gone.
        const size_t kept = static_cast<size_t>(
            std::count_if(content.items.begin(), content.items.end(), [&](const DataMean& item) {
                return static_cast<int64_t>(item.quality) <= lastOnCard;
            }));
        ASSERT_EQ(kept, itemsOnCard) << "items that were on the card are gone";
        lastOnCard = last;
        itemsOnCard = content.items.size();
        ASSERT_EQ(integrityCheck(mStore.databaseFile()), "ok");
    }
    ASSERT_GT(names.size(), 1) << "the runs never began a second file";
    EXPECT_GT(mCuts[static_cast<int>(Cut::AfterNewFileRowBeforeFirstBlock)], 0);

    // The last writer goes on in the same way and stores its state.
    ASSERT_TRUE(mStore.initializeWriter()) << LoggerDb::getInstance().getLastError().toStdString();
    PowerCutLogger logger(kRolloverFileSize);
    ASSERT_TRUE(logger.startLogger());
    ASSERT_EQ(logger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
    EXPECT_EQ(logger.currentNumber(), lastOnCard);
    const int64_t next = logger.nextNumberAcrossFiles();
    EXPECT_EQ(next, lastOnCard + 1);
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
    // A writer that starts takes the range of every file from the file itself, so each row holds
    // exactly the range of its file's items.
    for (size_t index = 0; index < rows.size(); ++index) {
        const QString& name = names[static_cast<int>(index)];
        SCOPED_TRACE(name.toStdString());
        EXPECT_TRUE(catalogued.contains(name)) << "a file with items has no row";
        const FileContent content = readDataFile(name);
        const auto& file = rows[index].second;
        EXPECT_EQ(numberOfStamp(file->UtcStart.tv_sec, file->UtcStart.tv_nsec),
                  content.items.front().quality);
        EXPECT_EQ(numberOfStamp(file->UtcEnd.tv_sec, file->UtcEnd.tv_nsec), content.items.back().quality);
    }
    EXPECT_FALSE(QFileInfo::exists(mStore.dataFolderPath() + QStringLiteral("/1970")));
    EXPECT_EQ(queryText(*LoggerDb::getInstance().getDb(), "PRAGMA integrity_check"), "ok");

    // A reader in another process finds every item on the card, once and oldest first.
    const QByteArray read = readEverythingInAnotherProcess(mStore, next + 2);
    EXPECT_EQ(field(read, "numbers").toStdString(), numberRuns(numbersOf(all))) << read.toStdString();
    EXPECT_EQ(field(read, "foreign").toStdString(), "0") << read.toStdString();
    int64_t lost = 0;
    int64_t repeated = 0;
    countLostAndRepeated(all, reported, lost, repeated);
    EXPECT_EQ(lost, 0);
    EXPECT_EQ(repeated, 0);

    RecordProperty("runs", runs);
    RecordProperty("seed", static_cast<int>(seed));
    RecordProperty("files", static_cast<int>(names.size()));
    RecordProperty("reported_items_lost", static_cast<int>(lost));
    RecordProperty("items_repeated", static_cast<int>(repeated));
    std::cout << "power cuts across new files: " << runs << " runs (seed " << seed << "; " << cutCounts()
              << "), " << all.items.size() << " items in " << names.size() << " files, "
              << type->getFileListSize() << " files in the catalogue; " << lost << " reported items lost; "
              << itemsOfferedAgain << " items offered again after a restart, " << itemsTakenAgain
              << " of them taken, " << repeated << " items repeated" << std::endl;
}

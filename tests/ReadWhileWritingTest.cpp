// Readers in their own processes while a writer process appends: a writer writes items with
// rising time stamps without pause, rolling its files over on a small size limit, while three
// reader processes read random, overlapping ranges by time through the read frame. Every answer
// must hold exactly the items of its range that exist, oldest first, none twice, none missing,
// none torn and none that was never written; and a reader must see the file the writer is still
// appending to up to its true end, not only up to the end the catalogue last stored.
//
// Item number n carries the time stamp n milliseconds after kFirstSecond, n as its quality and
// n as its mean, so that every item says which one it is. The writer publishes how many items it
// has finished in a progress file that the readers read before and after each query: what was
// finished before a query must be in its answer, and nothing beyond the block being written
// after it may be.
//
// QZLOGGER_READ_WHILE_WRITING_SEED sets the seed of the readers' ranges.

#include "ChildTestProcess.h"
#include "DefnBaseType.h"
#include "LogCapture.h"
#include "LoggerApiBase.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerFileInfo.h"
#include "LoggerFileSystem.h"
#include "LoggerResult.h"
#include "MeanItemFiles.h"
#include "ProgressFile.h"
#include "TestLogger.h"
#include "WriterStore.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QFile>
#include <QList>
#include <QString>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

using MeanResult = LoggerResult<DataMean, void*>;

constexpr int kHeaderSize = 44;
constexpr int kItemSize = static_cast<int>(sizeof(DataMean)); // utc, quality, min, mean, max
constexpr int32_t kFirstSecond = 1763802000;                  // 2025-11-22, mid-day in any zone
constexpr int64_t kNanosecondsPerItem = 1000000;              // one item a millisecond
constexpr int64_t kNanosecondsPerSecond = 1000000000;
const QString kMeasureId = QStringLiteral("mean_200ms.read_while_writing.mean_out");

constexpr const char* kProgressVariable = "QZLOGGER_READ_WHILE_WRITING_PROGRESS";
constexpr const char* kSeedVariable = "QZLOGGER_READ_WHILE_WRITING_SEED";
constexpr const char* kReaderVariable = "QZLOGGER_READ_WHILE_WRITING_READER";
constexpr const char* kTotalVariable = "QZLOGGER_READ_WHILE_WRITING_TOTAL";
constexpr unsigned kDefaultSeed = 20251122;

// The continuous writer: a block every period, of these sizes in turn, about 4000 items a
// second; the large block spans pages of the file, so that a reader may meet the file's end
// inside an item. A new file about every 0.75 s, the catalogue told the file's range every
// quarter of a second.
constexpr int kBlockSizes[] = {20, 7, 140, 13, 20};
constexpr int kLargestBlockItems = 140;
constexpr int kBlockPeriodMs = 10;
constexpr int kMaximumFileSize = kHeaderSize + 3000 * kItemSize;
constexpr int kBlocksPerCatalogueUpdate = 25;
// A writer that is never told to stop ends by itself, and fails.
constexpr int kWriterLifetimeMs = 90000;

// Each reader reads for this long; a read by time pauses 50 ms, so a reader makes about two
// hundred reads.
constexpr int kReaders = 3;
constexpr int kReadWindowMs = 12000;
constexpr int kLeastReadsPerReader = 10;
// How far a range may reach beyond the items finished when it is chosen.
constexpr int64_t kOvershootItems = 1000;
// The largest bound of items a read is sometimes given.
constexpr int kLargestBound = 3000;

// The writer of the true-end test: a first block whose range the catalogue stores, then blocks
// it never stores.
constexpr int kCataloguedItems = 10;
constexpr int kUncataloguedBlocks = 39;

DataMean itemNumber(int64_t number)
{
    DataMean item{};
    item.utc = DataTimespec{static_cast<int32_t>(kFirstSecond + number / 1000),
                            static_cast<int32_t>((number % 1000) * kNanosecondsPerItem)};
    item.quality = static_cast<uint32_t>(number);
    item.min = static_cast<float>(number) - 1.0f;
    item.mean = static_cast<float>(number);
    item.max = static_cast<float>(number) + 1.0f;
    return item;
}

// The time of item number plus offset nanoseconds; the offset may be negative.
timespec stampOf(int64_t number, int64_t offsetNanoseconds = 0)
{
    const int64_t total = number * kNanosecondsPerItem + offsetNanoseconds;
    int64_t seconds = total / kNanosecondsPerSecond;
    int64_t nanoseconds = total % kNanosecondsPerSecond;
    if (nanoseconds < 0) {
        nanoseconds += kNanosecondsPerSecond;
        --seconds;
    }
    timespec t{};
    t.tv_sec = static_cast<time_t>(kFirstSecond + seconds);
    t.tv_nsec = static_cast<long>(nanoseconds);
    return t;
}

bool sameItem(const DataMean& a, const DataMean& b)
{
    return a.utc.tv_sec == b.utc.tv_sec && a.utc.tv_nsec == b.utc.tv_nsec && a.quality == b.quality &&
           a.min == b.min && a.mean == b.mean && a.max == b.max;
}

std::string describe(const DataMean& item)
{
    return "quality " + std::to_string(item.quality) + " at " + std::to_string(item.utc.tv_sec) + "." +
           std::to_string(item.utc.tv_nsec) + " mean " + std::to_string(item.mean);
}

// The last whole line that begins with prefix.
QByteArray lastLine(const QByteArray& output, const QByteArray& prefix)
{
    const QList<QByteArray> lines = output.split('\n');
    for (int index = lines.size() - 2; index >= 0; --index) {
        if (lines[index].startsWith(prefix))
            return lines[index];
    }
    return QByteArray();
}

// The logger of the writer processes: items of DataMean in small files.
class ReadWhileWritingLogger : public TestLogger {
public:
    ReadWhileWritingLogger() : TestLogger(kMeasureId, kItemSize) { setMaximumFileSize(kMaximumFileSize); }

    PtrLoggerFileInfo writeNumbers(int64_t first, int count)
    {
        std::vector<DataMean> block;
        block.reserve(static_cast<size_t>(count));
        for (int index = 0; index < count; ++index)
            block.push_back(itemNumber(first + index));
        return writeDatas(reinterpret_cast<const char*>(block.data()), count, true, true);
    }
};


// One read of items lo..hi by time: what the frame was asked and what was finished around it.
struct ReadCase {
    int64_t lo = 0;
    int64_t hi = 0;
    int bound = -1;             // maxItems as given; below 1 no bound
    int64_t finishedBefore = 0; // items finished before the query
    int64_t finishedAfter = 0;  // items finished after the answer
};

// Empty where the answer holds exactly what it must; otherwise what is wrong with it.
std::string checkAnswer(const MeanResult& result, const ReadCase& read)
{
    const int count = result.mNumItems;
    const std::string range = "range " + std::to_string(read.lo) + ".." + std::to_string(read.hi) +
                              " bound " + std::to_string(read.bound) + " finished " +
                              std::to_string(read.finishedBefore) + ".." +
                              std::to_string(read.finishedAfter) + ": ";
    if (count < 0)
        return range + "negative count " + std::to_string(count);
    if (count > 0 && result.mItems == nullptr)
        return range + std::to_string(count) + " items without an array";
    if (read.bound > 0 && count > read.bound)
        return range + std::to_string(count) + " items beyond the bound";
    // Every item finished before the query that lies in the range is in the answer.
    int64_t mustHave = std::max<int64_t>(0, std::min(read.hi, read.finishedBefore - 1) - read.lo + 1);
    if (read.bound > 0)
        mustHave = std::min<int64_t>(mustHave, read.bound);
    if (count < mustHave)
        return range + "only " + std::to_string(count) + " items of at least " + std::to_string(mustHave);
    for (int index = 0; index < count; ++index) {
        const DataMean& item = result.mItems[index];
        const int64_t number = read.lo + index;
        if (number > read.hi)
            return range + "item " + std::to_string(index) + " lies beyond the range: " + describe(item);
        if (number >= read.finishedAfter + kLargestBlockItems)
            return range + "item " + std::to_string(index) + " was never written: " + describe(item);
        if (!sameItem(item, itemNumber(number))) {
            return range + "item " + std::to_string(index) + " should be number " + std::to_string(number) +
                   " but is " + describe(item);
        }
    }
    return std::string();
}

} // namespace

// --- The children ------------------------------------------------------------------------------

// Brings the writer up on the parent's store and writes blocks of rising items, one every
// period, until the parent closes its standard input; publishes the items it has finished after
// every block and prints "written <n>" now and then, and "final written=<n> files=<f> id=<type>"
// at the end.
TEST(ReadWhileWritingChild, WritesUntilStopped)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of ReadWhileWritingTest";
    ASSERT_TRUE(LogCapture::install());
    const QString progress = qEnvironmentVariable(kProgressVariable);
    ASSERT_FALSE(progress.isEmpty());
    ReaderStore store;
    ASSERT_TRUE(store.startAsWriter()) << LoggerDb::getInstance().getLastError().toStdString();
    ReadWhileWritingLogger logger;
    ASSERT_TRUE(logger.startLogger());
    ASSERT_EQ(logger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED) << LogCapture::text().toStdString();
    ASSERT_TRUE(logger.isFirstCurrentFileInfoItem()) << "the store is not fresh";
    ChildTestProcess::watchForStop();

    // The writer keeps the pace of an instrument that hands over a block every period; behind
    // its schedule it writes on without pause.
    const auto period = std::chrono::milliseconds(kBlockPeriodMs);
    auto due = std::chrono::steady_clock::now();
    const QDeadlineTimer lifetime(kWriterLifetimeMs);
    int64_t next = 0;
    for (int block = 1; !ChildTestProcess::stopRequested() && !lifetime.hasExpired(); ++block) {
        const int blockItems = kBlockSizes[static_cast<size_t>(block) % std::size(kBlockSizes)];
        if (logger.writeNumbers(next, blockItems) == nullptr) {
            ADD_FAILURE() << "block at item " << next << " refused\n" << LogCapture::text().toStdString();
            break;
        }
        next += blockItems;
        if (block % kBlocksPerCatalogueUpdate == 0) {
            if (!logger.updateAccess()) {
                ADD_FAILURE() << "updateAccess failed at item " << next;
                break;
            }
            std::cout << "written " << next << std::endl;
        }
        if (!publishProgress(progress, next)) {
            ADD_FAILURE() << "cannot publish the progress in " << progress.toStdString();
            break;
        }
        due += period;
        const auto now = std::chrono::steady_clock::now();
        if (due < now)
            due = now;
        else
            std::this_thread::sleep_until(due);
    }
    EXPECT_TRUE(ChildTestProcess::stopRequested()) << "not stopped within " << kWriterLifetimeMs << " ms";
    EXPECT_TRUE(logger.updateAccess());
    std::cout << "final written=" << next << " files=" << logger.getFileListSize() << " id=" << logger.getId()
              << std::endl;
}

// Reads random ranges by time until its window closes and checks every answer; prints
// "reads <r> items <i> nulls <n>" at the end.
TEST(ReadWhileWritingChild, ReadsRandomRangesUntilItsWindowCloses)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of ReadWhileWritingTest";
    ASSERT_TRUE(LogCapture::install());
    const QString progress = qEnvironmentVariable(kProgressVariable);
    ASSERT_FALSE(progress.isEmpty());
    const int reader = intVariable(kReaderVariable, 0);
    const unsigned seed = static_cast<unsigned>(intVariable(kSeedVariable, static_cast<int>(kDefaultSeed)));
    std::mt19937_64 random(seed + static_cast<unsigned>(reader));
    ReaderStore store;
    ASSERT_TRUE(store.start()) << LoggerDb::getInstance().getLastError().toStdString();
    LoggerDb& db = LoggerDb::getInstance();
    ASSERT_TRUE(db.checkValidity()) << db.getLastError().toStdString();
    LoggerApiBase frame;
    const int typeId = frame.getBaseTypeId(LoggerType::CYCLIC, LoggerDataType::MEAN, kMeasureId);
    ASSERT_GT(typeId, 0);

    std::uniform_int_distribution<int> style(0, 3);
    std::uniform_int_distribution<int> bounded(0, 3);
    std::uniform_int_distribution<int> bound(1, kLargestBound);
    std::uniform_int_distribution<int64_t> offset(0, kNanosecondsPerItem - 1);
    int reads = 0;
    int64_t items = 0;
    int nulls = 0;
    int64_t largestFinished = 0;
    const QDeadlineTimer window(kReadWindowMs);
    while (!window.hasExpired()) {
        ReadCase read;
        read.finishedBefore = readProgress(progress);
        ASSERT_GT(read.finishedBefore, 0) << "no progress in " << progress.toStdString();
        ASSERT_GE(read.finishedBefore, largestFinished) << "the progress went back";
        largestFinished = read.finishedBefore;
        const int64_t last = read.finishedBefore - 1;
        // Ranges anywhere, ranges over the end the writer is at, ranges from the first item, and
        // ranges of a single item.
        switch (style(random)) {
        case 0:
            read.lo = std::uniform_int_distribution<int64_t>(0, last)(random);
            read.hi = std::uniform_int_distribution<int64_t>(read.lo, last + kOvershootItems)(random);
            break;
        case 1:
            read.lo = std::uniform_int_distribution<int64_t>(std::max<int64_t>(0, last - 2000), last)(random);
            read.hi = last + std::uniform_int_distribution<int64_t>(0, kOvershootItems)(random);
            break;
        case 2:
            read.lo = 0;
            read.hi = std::uniform_int_distribution<int64_t>(0, last + kOvershootItems)(random);
            break;
        default:
            read.lo = std::uniform_int_distribution<int64_t>(0, last)(random);
            read.hi = read.lo;
            break;
        }
        read.bound = bounded(random) == 0 ? bound(random) : -1;
        // Both ends lie anywhere from their item up to just before its neighbour outside the
        // range, so that the items in the range are exactly lo..hi.
        const timespec start = stampOf(read.lo, -offset(random));
        const timespec end = stampOf(read.hi, offset(random));

        ASSERT_TRUE(db.checkValidity()) << db.getLastError().toStdString();
        int firstItemId = 0;
        LoggerHeader header{};
        const std::shared_ptr<MeanResult> result = frame.getValues<DataMean, void*>(
            LoggerType::CYCLIC, typeId, start, end, read.bound, firstItemId, header);
        read.finishedAfter = readProgress(progress);
        ASSERT_GE(read.finishedAfter, read.finishedBefore);
        ++reads;
        if (result == nullptr) {
            // The frame answers null when a file grows between its sizing and its reading pass:
            // only a range reaching past the items finished before the query may see that.
            ASSERT_GE(read.hi, read.finishedBefore) << "null for range " << read.lo << ".." << read.hi
                                                    << " of finished items, bound " << read.bound << "\n"
                                                    << LogCapture::text().toStdString();
            ++nulls;
            continue;
        }
        const std::string problem = checkAnswer(*result, read);
        ASSERT_TRUE(problem.empty()) << "read " << reads << " of reader " << reader << " (seed " << seed
                                     << "): " << problem;
        items += result->mNumItems;
    }
    std::cout << "reads " << reads << " items " << items << " nulls " << nulls << " finished "
              << largestFinished << std::endl;
    EXPECT_GE(reads, kLeastReadsPerReader);
    EXPECT_LE(nulls * 2, reads) << "most reads must succeed";
    EXPECT_GT(items, 0);
}

// Writes one block and lets the catalogue store the file's range, then writes further blocks
// without storing it again; prints "written catalogued=<c> total=<n>" and stays until the parent
// closes its standard input.
TEST(ReadWhileWritingChild, WritesPastTheCataloguedEnd)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of ReadWhileWritingTest";
    ASSERT_TRUE(LogCapture::install());
    ReaderStore store;
    ASSERT_TRUE(store.startAsWriter()) << LoggerDb::getInstance().getLastError().toStdString();
    ReadWhileWritingLogger logger;
    logger.setMaximumFileSize(1000000); // one file
    ASSERT_TRUE(logger.startLogger());
    ASSERT_EQ(logger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED) << LogCapture::text().toStdString();
    ASSERT_NE(logger.writeNumbers(0, kCataloguedItems), nullptr);
    ASSERT_TRUE(logger.updateAccess());
    int64_t next = kCataloguedItems;
    for (int block = 0; block < kUncataloguedBlocks; ++block) {
        ASSERT_NE(logger.writeNumbers(next, kCataloguedItems), nullptr) << "block at item " << next;
        next += kCataloguedItems;
    }
    ASSERT_EQ(logger.getFileListSize(), 1);
    std::cout << "written catalogued=" << kCataloguedItems << " total=" << next << std::endl;
    std::string line;
    while (std::getline(std::cin, line)) {
    }
}

// Checks that the catalogue still holds the end of the first block only, then reads past it.
TEST(ReadWhileWritingChild, ReadsPastTheCataloguedEnd)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of ReadWhileWritingTest";
    ASSERT_TRUE(LogCapture::install());
    const int64_t total = intVariable(kTotalVariable, -1);
    ASSERT_GT(total, kCataloguedItems);
    ReaderStore store;
    ASSERT_TRUE(store.start()) << LoggerDb::getInstance().getLastError().toStdString();
    LoggerDb& db = LoggerDb::getInstance();
    ASSERT_TRUE(db.checkValidity()) << db.getLastError().toStdString();
    LoggerApiBase frame;
    const int typeId = frame.getBaseTypeId(LoggerType::CYCLIC, LoggerDataType::MEAN, kMeasureId);
    ASSERT_GT(typeId, 0);

    // The catalogue knows the file, but ends it at the last item of the first block.
    const std::shared_ptr<DefnBaseType> type = frame.readBaseType(LoggerType::CYCLIC, typeId);
    ASSERT_NE(type, nullptr);
    ASSERT_EQ(type->getFileListSize(), 1);
    const auto file = type->getFileInfo(0);
    ASSERT_NE(file, nullptr);
    const DataMean cataloguedEnd = itemNumber(kCataloguedItems - 1);
    ASSERT_EQ(file->UtcEnd.tv_sec, cataloguedEnd.utc.tv_sec);
    ASSERT_EQ(file->UtcEnd.tv_nsec, cataloguedEnd.utc.tv_nsec);

    // A range that begins behind the catalogued end finds the items the writer appended since.
    int firstItemId = 0;
    LoggerHeader header{};
    ASSERT_TRUE(db.checkValidity());
    auto beyond =
        frame.getValues<DataMean, void*>(LoggerType::CYCLIC, typeId, stampOf(kCataloguedItems),
                                         stampOf(total - 1 + kOvershootItems), -1, firstItemId, header);
    ASSERT_NE(beyond, nullptr);
    ReadCase read;
    read.lo = kCataloguedItems;
    read.hi = total - 1 + kOvershootItems;
    read.finishedBefore = total;
    read.finishedAfter = total - kLargestBlockItems; // nothing is in flight: nothing beyond total
    EXPECT_EQ(beyond->mNumItems, total - kCataloguedItems);
    EXPECT_EQ(checkAnswer(*beyond, read), "");
    EXPECT_EQ(firstItemId, kCataloguedItems) << "the unique id of the first item read";

    // The whole file, up to its true end.
    ASSERT_TRUE(db.checkValidity());
    auto whole = frame.getValues<DataMean, void*>(LoggerType::CYCLIC, typeId, stampOf(-1000),
                                                  stampOf(total + 1000000), -1, firstItemId, header);
    ASSERT_NE(whole, nullptr);
    read.lo = 0;
    read.hi = total + 1000;
    EXPECT_EQ(whole->mNumItems, total);
    EXPECT_EQ(checkAnswer(*whole, read), "");
    EXPECT_EQ((frame.getNumItems<DataMean, void*>(LoggerType::CYCLIC, typeId, stampOf(0),
                                                  stampOf(total + 1000), -1)),
              total);
}

// --- The writer's store ------------------------------------------------------------------------

class ReadWhileWritingTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(LogCapture::install());
        ASSERT_TRUE(mProgressDirectory.isValid());
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        // The writer is a child; this process takes the catalogue up again to check the files.
        LoggerDb::getInstance().close();
    }

    QString progressFile() const { return mProgressDirectory.filePath(QStringLiteral("progress")); }

    std::unique_ptr<ChildTestProcess> child(const QString& test)
    {
        auto process = std::make_unique<ChildTestProcess>(test);
        // The writer is a child: this process holds no writer's lock.
        mStore.handOver();
        mStore.exportTo(*process);
        process->setVariable(QString::fromLatin1(kProgressVariable), progressFile());
        return process;
    }

    QTemporaryDir mProgressDirectory;
    WriterStore mStore;
};

TEST_F(ReadWhileWritingTest, ThreeReadersOfOverlappingRangesSeeEveryWrittenItemOnceAndInOrder)
{
    const unsigned seed = static_cast<unsigned>(intVariable(kSeedVariable, static_cast<int>(kDefaultSeed)));
    SCOPED_TRACE("seed " + std::to_string(seed));
    auto writer = child(QStringLiteral("ReadWhileWritingChild.WritesUntilStopped"));
    ASSERT_TRUE(writer->start());
    ASSERT_FALSE(writer->waitForLine("written ", 30000).isEmpty()) << writer->report().toStdString();

    std::vector<std::unique_ptr<ChildTestProcess>> readers;
    for (int reader = 0; reader < kReaders; ++reader) {
        readers.push_back(
            child(QStringLiteral("ReadWhileWritingChild.ReadsRandomRangesUntilItsWindowCloses")));
        readers.back()->setVariable(QString::fromLatin1(kReaderVariable), QString::number(reader));
        readers.back()->setVariable(QString::fromLatin1(kSeedVariable), QString::number(seed));
        ASSERT_TRUE(readers.back()->start());
    }
    int64_t totalReads = 0;
    int64_t totalNulls = 0;
    for (int reader = 0; reader < kReaders; ++reader) {
        ChildTestProcess& process = *readers[static_cast<size_t>(reader)];
        EXPECT_TRUE(process.waitForFinished(kReadWindowMs + 60000)) << "reader " << reader << " hangs";
        EXPECT_TRUE(process.passed()) << process.report().toStdString();
        const QByteArray summary = lastLine(process.standardOutput(), "reads ");
        std::cout << "reader " << reader << ": " << summary.toStdString() << std::endl;
        const QList<QByteArray> words = summary.split(' ');
        if (words.size() >= 6) {
            totalReads += words[1].toLongLong();
            totalNulls += words[5].toLongLong();
        }
    }

    // Closing its input stops the writer.
    ASSERT_TRUE(writer->waitForFinished(30000)) << writer->report().toStdString();
    ASSERT_TRUE(writer->passed()) << writer->report().toStdString();
    const QByteArray finalLine = lastLine(writer->standardOutput(), "final ");
    const int64_t written = field(finalLine, "written").toLongLong();
    const int files = field(finalLine, "files").toInt();
    const int typeId = field(finalLine, "id").toInt();
    std::cout << "writer: " << finalLine.toStdString() << "; readers: " << totalReads << " reads, "
              << totalNulls << " nulls" << std::endl;
    ASSERT_GT(written, 0) << finalLine.toStdString();
    EXPECT_GE(files, 3) << "the files did not roll over while the readers read";

    // The files hold every written item once, in order, across all of them, and no torn item.
    ASSERT_TRUE(mStore.initializeWriter()) << LoggerDb::getInstance().getLastError().toStdString();
    LoggerApiBase frame;
    const std::shared_ptr<DefnBaseType> type = frame.readBaseType(LoggerType::CYCLIC, typeId);
    ASSERT_NE(type, nullptr);
    ASSERT_EQ(type->getFileListSize(), files);
    int64_t next = 0;
    for (int index = 0; index < type->getFileListSize(); ++index) {
        const auto info = type->getFileInfo(index);
        ASSERT_NE(info, nullptr);
        const FileContent content = readDataFile(LoggerFileSystem::getFullFileName(info.get()));
        ASSERT_TRUE(content.readable) << "file " << index;
        EXPECT_EQ(content.tornBytes, 0) << "file " << index;
        ASSERT_FALSE(content.items.empty()) << "file " << index;
        for (const DataMean& item : content.items) {
            ASSERT_TRUE(sameItem(item, itemNumber(next)))
                << "file " << index << " holds " << describe(item) << " where item " << next << " belongs";
            ++next;
        }
    }
    EXPECT_EQ(next, written);
}

TEST_F(ReadWhileWritingTest, AFileStillBeingWrittenIsSeenByAReaderWithItsTrueEnd)
{
    auto writer = child(QStringLiteral("ReadWhileWritingChild.WritesPastTheCataloguedEnd"));
    ASSERT_TRUE(writer->start());
    const QByteArray written = writer->waitForLine("written ", 30000);
    ASSERT_FALSE(written.isEmpty()) << writer->report().toStdString();
    const QByteArray total = field(written, "total");
    ASSERT_EQ(total.toLongLong(), kCataloguedItems * (1 + kUncataloguedBlocks));

    // The writer is still up with its file open when the reader reads.
    auto reader = child(QStringLiteral("ReadWhileWritingChild.ReadsPastTheCataloguedEnd"));
    reader->setVariable(QString::fromLatin1(kTotalVariable), QString::fromLatin1(total));
    ASSERT_TRUE(reader->run());
    EXPECT_TRUE(reader->passed()) << reader->report().toStdString();

    ASSERT_TRUE(writer->waitForFinished(30000)) << writer->report().toStdString();
    EXPECT_TRUE(writer->passed()) << writer->report().toStdString();
}

// The write path under the faults a device meets every year, in the manner of LevelDB's
// fault-injection tests: in one run three loggers of different record types write a few hundred
// blocks in turn, rolling their files over, and the nth write of the run fails with ENOSPC,
// EFBIG, EIO or goes out only in part, for every n of the run; once through the write cache and
// once block by block. After each run every data file must hold its header and, ascending,
// exactly the items of the writes that reached it whole, each one behind the one before: a
// failed block is absent and was never written over another, and nothing was written over the
// header. A reader in another process must read exactly those items.
//
// The same with a real full card: a small tmpfs, filled up while a logger writes, and freed
// again.

#include "ChildTestProcess.h"
#include "DefnBaseType.h"
#include "DefnTypePersistance.h"
#include "FaultInjectingFileIo.h"
#include "LogCapture.h"
#include "LoggerAccess.h"
#include "LoggerApiInterface.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerFileInfo.h"
#include "LoggerFileSystem.h"
#include "LoggerHeader.h"
#include "LoggerResult.h"
#include "LoggerSqlite.h"
#include "LoggerTemplate.h"
#include "TmpfsMount.h"
#include "TrackObject.h"
#include "WriterStore.h"

#include <QByteArray>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QHash>
#include <QString>
#include <QStringList>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace {

using Operation = FaultInjectingFileIo::Operation;
using Fault = FaultInjectingFileIo::Fault;

constexpr int kHeaderSize = kLoggerHeaderSize;
constexpr int32_t kFirstSecond = 1763802000; // 2025-11-22, mid-day in any zone
// Blocks of each logger in a run, and the items of its blocks in turn.
constexpr int kBlocksPerLogger = 60;
constexpr int kBlockItems[] = {1, 4, 7, 2, 5, 3, 6};
constexpr int kLargestBlock = 7;
constexpr int kCacheItems = 5;
// A file takes this many items, so that each logger of a run fills three or four files.
constexpr int kItemsPerFile = 70;
// The runs whose loggers a reader process reads back.
constexpr int kReaderSampleEvery = 23;
constexpr const char* kReadIdsVariable = "QZLOGGER_WRITE_FAULT_READ_IDS";
// The full card: 1 MiB, of which a filler takes all but a few blocks of the logger.
constexpr qint64 kCardBytes = 1024 * 1024;
constexpr qint64 kRoomLeft = 48 * 1024;
constexpr int kFullCardBlockItems = 10;
constexpr int kFullCardItemsPerFile = 400;
constexpr int kFullCardMaximumBlocks = 2000;
constexpr int kRefusedBlocks = 20;
constexpr int kBlocksAfterFreeing = 100;

// Item number k of a logger: its time stamp k seconds after kFirstSecond, k in its quality
// word, and a byte pattern of k in the rest, so that every byte says which item it belongs to.
template <typename T> T itemNumber(int k)
{
    T item;
    std::memset(&item, 0, sizeof(item));
    unsigned char* bytes = reinterpret_cast<unsigned char*>(&item);
    for (size_t index = 12; index < sizeof(T); ++index) {
        bytes[index] = static_cast<unsigned char>((k * 31 + static_cast<int>(index)) & 0xff);
    }
    const DataTimespec stamp{kFirstSecond + k, 0};
    std::memcpy(bytes, &stamp, sizeof(stamp));
    const uint32_t quality = static_cast<uint32_t>(k);
    std::memcpy(bytes + sizeof(stamp), &quality, sizeof(quality));
    return item;
}

// A measure logger of one record type, writing through its cache or block by block.
template <typename T> class FaultLogger : public LoggerTemplate<T> {
public:
    FaultLogger(const QString& id, LoggerDataType dataType, bool cached)
        : LoggerTemplate<T>(LoggerType::CYCLIC, dataType), mId(id)
    {
        if (cached) {
            this->setCacheCapacity(kCacheItems);
        }
        this->setMaximumFileSize(kHeaderSize + kItemsPerFile * static_cast<int>(sizeof(T)));
    }

    QString getLoggerName() override { return QStringLiteral("FaultLogger ") + mId; }
    QString getConfiguratedMeasuredTypeId() override { return mId; }
    double getInterval() override { return 1.0; }
    DataMeasType getDataMeasType(const QString& id) override
    {
        DataMeasType measType;
        measType.configId = id;
        measType.interval = 1.0;
        return measType;
    }

private:
    QString mId;
};

// One logger of a run, whatever its record type.
struct RunLogger {
    QString id;
    LoggerDataType dataType = LoggerDataType::NONE;
    int itemSize = 0;
    std::unique_ptr<LoggerBase> logger;
    // Writes items [first, first + count) as one block, or one by one through the cache.
    std::function<void(int first, int count)> write;
    int offered = 0;
};

template <typename T> RunLogger makeLogger(const QString& id, LoggerDataType dataType, bool cached)
{
    RunLogger run;
    run.id = id;
    run.dataType = dataType;
    run.itemSize = static_cast<int>(sizeof(T));
    auto logger = std::make_unique<FaultLogger<T>>(id, dataType, cached);
    FaultLogger<T>* typed = logger.get();
    run.write = [typed, cached](int first, int count) {
        std::vector<T> items;
        for (int k = first; k < first + count; ++k) {
            items.push_back(itemNumber<T>(k));
        }
        if (cached) {
            for (const T& item : items) {
                typed->writeLoggerItem(&item);
            }
        } else {
            typed->writeDatas(reinterpret_cast<const char*>(items.data()), count, true, true);
        }
    };
    run.logger = std::move(logger);
    return run;
}

std::vector<RunLogger> makeRunLoggers(const QString& prefix, bool cached)
{
    std::vector<RunLogger> loggers;
    loggers.push_back(makeLogger<DataMean>(prefix + QStringLiteral(".mean"), LoggerDataType::MEAN, cached));
    loggers.push_back(
        makeLogger<DataXtq<float>>(prefix + QStringLiteral(".vtq"), LoggerDataType::VTQ, cached));
    loggers.push_back(makeLogger<DataMeanMinMaxArray<float, 7>>(prefix + QStringLiteral(".mean7"),
                                                                LoggerDataType::MEAN_7, cached));
    return loggers;
}

QByteArray fileBytes(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return QByteArray();
    }
    return file.readAll();
}

// The data files that the writes of a run touched and whose header names this owner, oldest
// first by their first item. Every file the store makes gets its header by a write, so none of
// a run's files is missing here.
QStringList filesOfOwner(const std::vector<FaultInjectingFileIo::WriteAttempt>& attempts, int baseTypeId)
{
    std::vector<std::pair<int32_t, QString>> files;
    QStringList seen;
    for (const auto& attempt : attempts) {
        if (seen.contains(attempt.path)) {
            continue;
        }
        seen.append(attempt.path);
        const QByteArray bytes = fileBytes(attempt.path);
        if (bytes.size() < kHeaderSize) {
            continue;
        }
        LoggerHeader header{};
        std::memcpy(&header, bytes.constData(), sizeof(header));
        if (header.baseTypeId != baseTypeId) {
            continue;
        }
        int32_t firstSecond = INT32_MAX;
        if (bytes.size() >= kHeaderSize + static_cast<int>(sizeof(firstSecond))) {
            std::memcpy(&firstSecond, bytes.constData() + kHeaderSize, sizeof(firstSecond));
        }
        files.emplace_back(firstSecond, attempt.path);
    }
    std::stable_sort(files.begin(), files.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    QStringList paths;
    for (const auto& file : files) {
        paths.append(file.second);
    }
    return paths;
}

QStringList cataloguedFiles(int baseTypeId)
{
    QStringList files;
    const auto type = DefnTypePersistance().readBaseType(LoggerType::CYCLIC, baseTypeId);
    if (!type) {
        return files;
    }
    for (int index = 0; index < type->getFileListSize(); ++index) {
        const auto file = type->getFileInfo(index);
        if (file) {
            files.append(LoggerFileSystem::getFullFileName(file.get()));
        }
    }
    return files;
}

int itemSizeOf(LoggerDataType dataType)
{
    switch (dataType) {
    case LoggerDataType::MEAN: return static_cast<int>(sizeof(DataMean));
    case LoggerDataType::VTQ: return static_cast<int>(sizeof(DataXtq<float>));
    default: return static_cast<int>(sizeof(DataMeanMinMaxArray<float, 7>));
    }
}

uint64_t fnv1a(const QByteArray& bytes)
{
    uint64_t hash = 1469598103934665603ull;
    for (const char byte : bytes) {
        hash ^= static_cast<unsigned char>(byte);
        hash *= 1099511628211ull;
    }
    return hash;
}

// What one logger left on the card, checked against the writes the file layer saw.
struct LoggerOutcome {
    QByteArray items; // all its items, in the order of its files
    int count = 0;
};

// Checks the files of one logger; failures name the run. The items of all its files come back.
LoggerOutcome checkLogger(const RunLogger& run,
                          const std::vector<FaultInjectingFileIo::WriteAttempt>& attempts,
                          const std::string& label)
{
    LoggerOutcome outcome;
    const int baseTypeId = run.logger->getId();
    const QStringList files = filesOfOwner(attempts, baseTypeId);
    const QStringList catalogued = cataloguedFiles(baseTypeId);
    EXPECT_FALSE(files.isEmpty()) << label;
    for (const QString& path : catalogued) {
        EXPECT_TRUE(files.contains(path) || !QFile::exists(path))
            << label << " " << path.toStdString() << ": a catalogued file that the run did not write";
    }
    int32_t previousSecond = INT32_MIN;
    for (const QString& path : files) {
        const std::string where = label + " " + path.toStdString();
        const QByteArray bytes = fileBytes(path);
        if (bytes.size() < kHeaderSize) {
            ADD_FAILURE() << where << ": no whole header";
            continue;
        }
        EXPECT_EQ((bytes.size() - kHeaderSize) % run.itemSize, 0) << where << ": a torn item";
        if (bytes.size() > kHeaderSize) {
            EXPECT_TRUE(catalogued.contains(path)) << where << ": a file with items and no row";
        }
        // What the writes that reached this file whole laid down, each behind the one before.
        QByteArray header;
        QByteArray expected;
        for (const auto& attempt : attempts) {
            if (attempt.path != path || !attempt.whole) {
                continue;
            }
            if (attempt.position == 0 && attempt.bytes.size() == kHeaderSize) {
                header = attempt.bytes;
                continue;
            }
            EXPECT_EQ(attempt.position, kHeaderSize + expected.size())
                << where << ": a block written over another or away from the end";
            expected.append(attempt.bytes);
        }
        EXPECT_EQ(bytes.left(kHeaderSize), header) << where << ": the header is not the one written";
        EXPECT_TRUE(bytes.mid(kHeaderSize) == expected)
            << where << ": the items are not those of the whole writes ("
            << (bytes.size() - kHeaderSize) / run.itemSize << " items on the card, "
            << expected.size() / run.itemSize << " written whole)";
        for (int offset = kHeaderSize; offset + run.itemSize <= bytes.size(); offset += run.itemSize) {
            DataTimespec stamp{0, 0};
            std::memcpy(&stamp, bytes.constData() + offset, sizeof(stamp));
            EXPECT_GT(stamp.tv_sec, previousSecond) << where << ": items out of order";
            previousSecond = stamp.tv_sec;
        }
        outcome.items.append(bytes.mid(kHeaderSize));
    }
    outcome.count = outcome.items.size() / run.itemSize;
    return outcome;
}

// Reads back what a reader process reads of the loggers in `reads` (type:id), by count and hash.
void expectReaderReads(WriterStore& store, const QStringList& reads,
                       const QHash<QString, QByteArray>& expected);

// --- The sweep --------------------------------------------------------------------------------

struct SweepCase {
    Fault fault;
    bool cached;
    Operation operation = Operation::Write;
};

std::string caseName(const ::testing::TestParamInfo<SweepCase>& info)
{
    std::string name;
    switch (info.param.operation) {
    case Operation::Open: name = "OpenFails"; break;
    case Operation::Read: name = "ReadFails"; break;
    case Operation::Truncate: name = "TruncateFails"; break;
    case Operation::Sync: name = "SyncFails"; break;
    case Operation::Write:
        switch (info.param.fault) {
        case Fault::NoSpace: name = "CardFull"; break;
        case Fault::FileTooLarge: name = "FileTooLarge"; break;
        case Fault::IoError: name = "IoError"; break;
        case Fault::ShortWrite: name = "ShortWrite"; break;
        }
        break;
    }
    return name + (info.param.cached ? "ThroughTheCache" : "BlockByBlock");
}

class WriteFaultSweepTest : public ::testing::TestWithParam<SweepCase> {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(LogCapture::install());
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        // The catalogue's durability is not what these runs are about, and a few thousand
        // commits each waiting for the disk would make the sweep slow.
        LoggerSqlite().execute("PRAGMA synchronous=OFF;");
    }

    // One run: three loggers come up, then the fault is armed for the nth write (0: none), and
    // they write their blocks in turn. The loggers are stopped but stay, for the checks.
    std::vector<RunLogger> run(int n, const QString& prefix)
    {
        mIo.clearAttempts();
        std::vector<RunLogger> loggers = makeRunLoggers(prefix, GetParam().cached);
        for (auto& logger : loggers) {
            EXPECT_TRUE(logger.logger->startLogger());
            EXPECT_EQ(logger.logger->getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED)
                << prefix.toStdString();
        }
        mIo.failNth(GetParam().operation, n, GetParam().fault);
        for (int block = 0; block < kBlocksPerLogger; ++block) {
            const int items = kBlockItems[static_cast<size_t>(block) % std::size(kBlockItems)];
            for (auto& logger : loggers) {
                logger.write(logger.offered, items);
                logger.offered += items;
            }
        }
        for (auto& logger : loggers) {
            logger.logger->flush();
            logger.logger->updateAccess();
            logger.logger->stopLogger();
        }
        mIo.disarm();
        return loggers;
    }

    WriterStore mStore;
    FaultInjectingFileIo mIo;
    ScopedFileIo mInstalled{&mIo};
};

TEST_P(WriteFaultSweepTest, TheNthOperationFailingLeavesEveryFileWithItsHeaderAndExactlyTheWholeBlocks)
{
    // A clean run counts the operations that a run makes.
    run(0, QStringLiteral("fault.clean"));
    const int writes = mIo.count(GetParam().operation);
    ASSERT_GT(writes, 3 * kBlocksPerLogger / kCacheItems);
    std::cout << "operations per run: " << writes << std::endl;

    QStringList readIds;
    QHash<QString, QByteArray> expectedByRead;
    int fired = 0;
    for (int n = 1; n <= writes + 1; ++n) {
        const QString prefix = QStringLiteral("fault.%1").arg(n);
        const std::string label = "operation " + std::to_string(n) + " of " + std::to_string(writes) + ", " +
                                  FaultInjectingFileIo::nameOf(GetParam().fault);
        std::vector<RunLogger> loggers = run(n, prefix);
        fired += mIo.fired() ? 1 : 0;
        const auto attempts = mIo.attempts();
        int lost = 0;
        for (const auto& logger : loggers) {
            const LoggerOutcome outcome =
                checkLogger(logger, attempts, label + " " + logger.id.toStdString());
            lost += logger.offered - outcome.count;
            if (n % kReaderSampleEvery == 0 || n == writes) {
                const QString read =
                    QString::number(static_cast<int>(logger.dataType)) + QLatin1Char(':') + logger.id;
                readIds.append(read);
                expectedByRead.insert(read, outcome.items);
            }
        }
        if (HasFailure()) {
            FAIL() << label << "\n" << LogCapture::text().toStdString();
        }
        // One failed write costs one block at most: the block of the write, or the block whose
        // new file could not be begun.
        EXPECT_LE(lost, GetParam().cached ? kCacheItems : kLargestBlock) << label;
        if (n > writes) {
            EXPECT_EQ(lost, 0) << label << ": nothing failed, nothing may be missing";
        }
    }
    EXPECT_EQ(fired, writes) << "every operation of the run was made to fail once";

    // A reader in another process reads exactly what the files hold.
    expectReaderReads(mStore, readIds, expectedByRead);
}

INSTANTIATE_TEST_SUITE_P(EveryWrite, WriteFaultSweepTest,
                         ::testing::Values(SweepCase{Fault::NoSpace, false}, SweepCase{Fault::NoSpace, true},
                                           SweepCase{Fault::FileTooLarge, false},
                                           SweepCase{Fault::FileTooLarge, true},
                                           SweepCase{Fault::IoError, false}, SweepCase{Fault::IoError, true},
                                           SweepCase{Fault::ShortWrite, false},
                                           SweepCase{Fault::ShortWrite, true},
                                           SweepCase{Fault::IoError, false, Operation::Open},
                                           SweepCase{Fault::IoError, true, Operation::Open}),
                         caseName);

// --- Single faults ------------------------------------------------------------------------------

class WriteFaultTest : public ::testing::Test {
protected:
    // Before the members: the logger's construction sets logging up.
    static void SetUpTestSuite() { ASSERT_TRUE(LogCapture::install()); }

    void SetUp() override
    {
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        ASSERT_TRUE(mLogger.startLogger());
        ASSERT_EQ(mLogger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED)
            << LogCapture::text().toStdString();
    }

    QString currentFile() const
    {
        const auto file = mLogger.getLoggerAccess()->getCurrentFileInfo();
        return file ? LoggerFileSystem::getFullFileName(file.get()) : QString();
    }

    // Items [first, first + count) as one block.
    PtrLoggerFileInfo writeItems(int first, int count)
    {
        std::vector<DataMean> items;
        for (int k = first; k < first + count; ++k) {
            items.push_back(itemNumber<DataMean>(k));
        }
        return mLogger.writeDatas(reinterpret_cast<const char*>(items.data()), count, true, true);
    }

    // The quality words, that is the item numbers, of the items in a file.
    static std::vector<int> numbersIn(const QString& path)
    {
        std::vector<int> numbers;
        const QByteArray bytes = fileBytes(path);
        for (int offset = kHeaderSize; offset + static_cast<int>(sizeof(DataMean)) <= bytes.size();
             offset += static_cast<int>(sizeof(DataMean))) {
            DataMean item{};
            std::memcpy(&item, bytes.constData() + offset, sizeof(item));
            numbers.push_back(static_cast<int>(item.quality));
        }
        return numbers;
    }

    WriterStore mStore;
    FaultInjectingFileIo mIo;
    ScopedFileIo mInstalled{&mIo};
    FaultLogger<DataMean> mLogger{QStringLiteral("single.fault.mean"), LoggerDataType::MEAN, false};
};

TEST_F(WriteFaultTest, ABlockThatCannotBeTakenBackKeepsItsWholeItemsAndTheNextBlockGoesBehindThem)
{
    const QString file = currentFile();
    ASSERT_NE(writeItems(0, 3), nullptr);
    // Half of the next block goes out, then the card is full, and the cut back fails as well.
    mIo.failNth(Operation::Write, 1, Fault::ShortWrite);
    mIo.alsoFailNth(Operation::Truncate, 1, Fault::IoError);
    const int errors = TrackObject::getErrorCounter();
    writeItems(3, 4);
    EXPECT_TRUE(mIo.fired());
    EXPECT_EQ(TrackObject::getErrorCounter(), errors + 2);
    EXPECT_TRUE(LogCapture::contains(
        QStringLiteral("Logger.Access|ERROR|Cannot write logger type 1 datas to file '") + file +
        QStringLiteral("' (") + LoggerFileIo::errorText(ENOSPC) + QStringLiteral(")")))
        << LogCapture::text().toStdString();
    EXPECT_TRUE(LogCapture::contains(QStringLiteral("Logger.Access|ERROR|Cannot truncate '") + file +
                                     QStringLiteral("' to ") + QString::number(kHeaderSize + 3 * 24) +
                                     QStringLiteral(" (") + LoggerFileIo::errorText(EIO) +
                                     QStringLiteral(")")))
        << LogCapture::text().toStdString();
    // The two whole items of the half block stay and are counted; the next block follows them.
    EXPECT_EQ(mLogger.getFirstUniqueId(), 5);
    mIo.disarm();
    ASSERT_NE(writeItems(7, 2), nullptr);
    EXPECT_EQ(numbersIn(file), (std::vector<int>{0, 1, 2, 3, 4, 7, 8}));
    EXPECT_EQ(mLogger.getFirstUniqueId(), 7);
}

TEST_F(WriteFaultTest, AFailedBlockIsCutBackAndItsUniqueIdsAreNotCounted)
{
    const QString file = currentFile();
    ASSERT_NE(writeItems(0, 3), nullptr);
    mIo.failNth(Operation::Write, 1, Fault::ShortWrite);
    writeItems(3, 4);
    EXPECT_TRUE(mIo.fired());
    EXPECT_EQ(fileBytes(file).size(), kHeaderSize + 3 * 24);
    EXPECT_FALSE(mLogger.getLoggerAccess()->getFile().isOpen());
    EXPECT_EQ(mLogger.getFirstUniqueId(), 3);
    EXPECT_EQ(mLogger.getFilePosition(), kHeaderSize + 3 * 24);
    ASSERT_NE(writeItems(7, 2), nullptr);
    EXPECT_EQ(numbersIn(file), (std::vector<int>{0, 1, 2, 7, 8}));
    EXPECT_EQ(mLogger.getFirstUniqueId(), 5);
}

TEST_F(WriteFaultTest, ACutBackIsSyncedAndOneThatCannotBeSyncedIsLogged)
{
    const QString file = currentFile();
    ASSERT_NE(writeItems(0, 3), nullptr);
    mIo.failNth(Operation::Write, 1, Fault::IoError);
    writeItems(3, 4);
    EXPECT_EQ(mIo.count(Operation::Sync), 1) << "the cut back was not synced";

    mIo.failNth(Operation::Write, 1, Fault::ShortWrite);
    mIo.alsoFailNth(Operation::Sync, 1, Fault::IoError);
    const int errors = TrackObject::getErrorCounter();
    writeItems(7, 4);
    EXPECT_EQ(TrackObject::getErrorCounter(), errors + 2);
    EXPECT_TRUE(LogCapture::contains(QStringLiteral("Logger.Access|ERROR|Cannot sync '") + file +
                                     QStringLiteral("' (") + LoggerFileIo::errorText(EIO) +
                                     QStringLiteral(")")))
        << LogCapture::text().toStdString();
    // The cut itself stands: the file holds what it held before the failed blocks.
    EXPECT_EQ(fileBytes(file).size(), kHeaderSize + 3 * 24);
    mIo.disarm();
    ASSERT_NE(writeItems(11, 1), nullptr);
    EXPECT_EQ(numbersIn(file), (std::vector<int>{0, 1, 2, 11}));
}

TEST_F(WriteFaultTest, AFileWhoseHeaderWasCutIsMadeAnewAndTakesTheWaitingBlock)
{
    const QString file = currentFile();
    ASSERT_NE(writeItems(0, 3), nullptr);
    ASSERT_TRUE(QFile::resize(file, 20));
    // The reopen finds no whole header: the file is made anew, and the block goes into it.
    ASSERT_NE(writeItems(3, 2), nullptr);
    EXPECT_EQ(numbersIn(file), (std::vector<int>{3, 4}));
    const QByteArray bytes = fileBytes(file);
    ASSERT_GE(bytes.size(), kHeaderSize);
    LoggerHeader header{};
    std::memcpy(&header, bytes.constData(), sizeof(header));
    EXPECT_EQ(header.version, kLoggerHeaderVersion);
    EXPECT_EQ(header.baseTypeId, mLogger.getId());
}

TEST_F(WriteFaultTest, ANewFileWhoseHeaderCannotBeWrittenLeavesTheLoggerInItsFileAndIsAskedForAgain)
{
    const QString first = currentFile();
    ASSERT_NE(writeItems(0, 3), nullptr);
    mLogger.setMaximumFileSize(kHeaderSize + 2 * 24);
    // The next block asks for a new file; its header is the first write, and it fails.
    mIo.clearAttempts();
    mIo.failNth(Operation::Write, 1, Fault::IoError);
    EXPECT_EQ(writeItems(3, 2), nullptr);
    EXPECT_TRUE(mIo.fired());
    EXPECT_EQ(currentFile(), first);
    EXPECT_EQ(numbersIn(first), (std::vector<int>{0, 1, 2}));
    const auto attempts = mIo.attempts();
    ASSERT_FALSE(attempts.empty());
    EXPECT_FALSE(QFile::exists(attempts.front().path)) << "a file without its header stays on the card";
    // The next block begins the new file, with its row.
    mIo.disarm();
    ASSERT_NE(writeItems(5, 2), nullptr);
    const QString second = currentFile();
    EXPECT_NE(second, first);
    EXPECT_EQ(numbersIn(second), (std::vector<int>{5, 6}));
    EXPECT_TRUE(cataloguedFiles(mLogger.getId()).contains(second));
}

// --- A real full card --------------------------------------------------------------------------

TEST(FullCardTest, AFullCardAndItsFreedSpaceLoseNoHeaderAndOverwriteNoItem)
{
    ASSERT_TRUE(LogCapture::install());
    WriterStore::Options options;
    options.initialize = false;
    WriterStore store(options);
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    TmpfsMount card(store.mountPoint(), kCardBytes);
    if (!card.mounted()) {
        GTEST_SKIP() << "a full card needs a tmpfs, and mounting one needs root: "
                     << card.error().toStdString();
    }
    ASSERT_TRUE(QDir().mkpath(store.loggerPath()));
    ASSERT_TRUE(store.initializeWriter()) << LoggerDb::getInstance().getLastError().toStdString();

    FaultLogger<DataMean> logger(QStringLiteral("fullcard.mean"), LoggerDataType::MEAN, false);
    logger.setMaximumFileSize(kHeaderSize + kFullCardItemsPerFile * static_cast<int>(sizeof(DataMean)));
    ASSERT_TRUE(logger.startLogger());
    ASSERT_EQ(logger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED) << LogCapture::text().toStdString();

    // Most of the card goes to a file of someone else's, so that the logger meets the end soon.
    const QString filler = store.mountPoint() + QStringLiteral("/filler");
    {
        QFile file(filler);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        const QByteArray chunk(64 * 1024, 'f');
        while (card.freeBytes() > kRoomLeft + chunk.size() && file.write(chunk) == chunk.size()) {
            file.flush();
        }
        file.close();
    }

    int offered = 0;
    auto writeBlock = [&]() {
        std::vector<DataMean> items;
        for (int k = offered; k < offered + kFullCardBlockItems; ++k) {
            items.push_back(itemNumber<DataMean>(k));
        }
        logger.writeDatas(reinterpret_cast<const char*>(items.data()), kFullCardBlockItems, true, true);
        offered += kFullCardBlockItems;
    };
    // Until the card has refused a good number of blocks.
    int refused = 0;
    for (int block = 0; block < kFullCardMaximumBlocks && refused < kRefusedBlocks; ++block) {
        const int errors = TrackObject::getErrorCounter();
        writeBlock();
        refused += TrackObject::getErrorCounter() > errors ? 1 : 0;
    }
    ASSERT_EQ(refused, kRefusedBlocks) << "the card never filled up";
    const int offeredWhileFull = offered;

    // Room again: every later block reaches the card.
    ASSERT_TRUE(QFile::remove(filler));
    for (int block = 0; block < kBlocksAfterFreeing; ++block) {
        writeBlock();
    }
    logger.updateAccess();
    logger.stopLogger();

    // Every file holds its header, whole items only, each an item that was offered, in order.
    QStringList files;
    QDirIterator it(store.dataFolderPath(), QStringList{QStringLiteral("*.bin")}, QDir::Files,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        files.append(it.next());
    }
    std::vector<std::pair<int32_t, QByteArray>> contents;
    for (const QString& path : files) {
        const QByteArray bytes = fileBytes(path);
        ASSERT_GE(bytes.size(), kHeaderSize) << path.toStdString() << ": the header is gone";
        LoggerHeader header{};
        std::memcpy(&header, bytes.constData(), sizeof(header));
        EXPECT_EQ(header.version, kLoggerHeaderVersion) << path.toStdString();
        EXPECT_EQ(header.baseTypeId, logger.getId()) << path.toStdString();
        EXPECT_EQ(header.dataType, static_cast<int32_t>(LoggerDataType::MEAN)) << path.toStdString();
        EXPECT_EQ((bytes.size() - kHeaderSize) % static_cast<int>(sizeof(DataMean)), 0) << path.toStdString();
        int32_t first = INT32_MAX;
        if (bytes.size() > kHeaderSize) {
            std::memcpy(&first, bytes.constData() + kHeaderSize, sizeof(first));
        }
        contents.emplace_back(first, bytes.mid(kHeaderSize));
    }
    std::sort(contents.begin(), contents.end(),
              [](const auto& a, const auto& b) { return a.first < b.first; });
    QByteArray all;
    for (const auto& content : contents) {
        all.append(content.second);
    }
    const int count = all.size() / static_cast<int>(sizeof(DataMean));
    int previous = -1;
    std::vector<bool> present(static_cast<size_t>(offered), false);
    for (int index = 0; index < count; ++index) {
        DataMean item{};
        std::memcpy(&item, all.constData() + static_cast<size_t>(index) * sizeof(DataMean), sizeof(item));
        const int k = static_cast<int>(item.quality);
        ASSERT_TRUE(k > previous && k < offered)
            << "item " << index << " is number " << k << " after " << previous;
        const DataMean expected = itemNumber<DataMean>(k);
        ASSERT_EQ(std::memcmp(&item, &expected, sizeof(item)), 0)
            << "item number " << k << " was overwritten";
        present[static_cast<size_t>(k)] = true;
        previous = k;
    }
    for (int k = offeredWhileFull; k < offered; ++k) {
        EXPECT_TRUE(present[static_cast<size_t>(k)])
            << "item " << k << " written after the card had room is missing";
    }
    std::cout << "offered " << offered << ", on the card " << count << ", refused blocks " << refused
              << ", files " << files.size() << std::endl;

    QStringList reads{QString::number(static_cast<int>(LoggerDataType::MEAN)) +
                      QStringLiteral(":fullcard.mean")};
    QHash<QString, QByteArray> expected;
    expected.insert(reads.front(), all);
    expectReaderReads(store, reads, expected);
    LoggerDb::getInstance().close();
}

void expectReaderReads(WriterStore& store, const QStringList& reads,
                       const QHash<QString, QByteArray>& expected)
{
    ChildTestProcess reader(QStringLiteral("WriteFaultReaderChild.ReadsEveryLoggerWhole"));
    store.exportTo(reader);
    reader.setVariable(QString::fromLatin1(kReadIdsVariable), reads.join(QLatin1Char(',')));
    ASSERT_TRUE(reader.run(60000));
    ASSERT_TRUE(reader.passed()) << reader.report().toStdString();
    const QByteArray output = reader.standardOutput();
    for (const QString& read : reads) {
        const QByteArray bytes = expected.value(read);
        const QByteArray line = QByteArray("read ") + read.toUtf8() + " count=";
        const int at = output.indexOf(line);
        ASSERT_GE(at, 0) << read.toStdString() << " not read\n" << output.toStdString();
        const int lineEnd = output.indexOf('\n', at);
        const QList<QByteArray> words = output.mid(at + line.size(), lineEnd - at - line.size()).split(' ');
        ASSERT_EQ(words.size(), 2) << output.toStdString();
        const int colon = read.indexOf(QLatin1Char(':'));
        const int itemSize = itemSizeOf(static_cast<LoggerDataType>(read.left(colon).toInt()));
        EXPECT_EQ(words[0].toInt(), bytes.size() / itemSize) << read.toStdString();
        EXPECT_EQ(words[1], QByteArray("hash=") + QByteArray::number(static_cast<qulonglong>(fnv1a(bytes))))
            << read.toStdString();
    }
}

// Reads every logger named in its variable over all time and prints "read <type>:<id> count=<n>
// hash=<h>" for each, h over the bytes of its items.
TEST(WriteFaultReaderChild, ReadsEveryLoggerWhole)
{
    if (!ChildTestProcess::isChild()) {
        GTEST_SKIP() << "runs only as the child of WriteFaultTest";
    }
    ASSERT_TRUE(LogCapture::install());
    ReaderStore store;
    ASSERT_TRUE(store.start()) << LoggerDb::getInstance().getLastError().toStdString();
    std::unique_ptr<LoggerApiInterface> api(LoggerApiInterface::getApi());
    ASSERT_NE(api, nullptr);
    const timespec start{kFirstSecond - 1, 0};
    const timespec end{kFirstSecond + 1000000, 0};
    for (const QString& read :
         qEnvironmentVariable(kReadIdsVariable).split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        const int colon = read.indexOf(QLatin1Char(':'));
        const auto dataType = static_cast<LoggerDataType>(read.left(colon).toInt());
        const QString id = read.mid(colon + 1);
        QByteArray bytes;
        int count = -1;
        if (dataType == LoggerDataType::MEAN) {
            const auto result = api->getMeanValues(id, start, end);
            ASSERT_NE(result, nullptr) << id.toStdString();
            count = static_cast<int>(result->mNumItems);
            bytes = QByteArray(reinterpret_cast<const char*>(result->mItems),
                               count * static_cast<int>(sizeof(DataMean)));
        } else if (dataType == LoggerDataType::VTQ) {
            const auto result = api->getVtqValues(id, start, end);
            ASSERT_NE(result, nullptr) << id.toStdString();
            count = static_cast<int>(result->mNumItems);
            bytes = QByteArray(reinterpret_cast<const char*>(result->mItems),
                               count * static_cast<int>(sizeof(DataXtq<float>)));
        } else {
            const auto result = api->getMeanMinMaxArray7Values(id, start, end);
            ASSERT_NE(result, nullptr) << id.toStdString();
            count = static_cast<int>(result->mNumItems);
            bytes = QByteArray(reinterpret_cast<const char*>(result->mItems),
                               count * static_cast<int>(sizeof(DataMeanMinMaxArray<float, 7>)));
        }
        std::cout << "read " << read.toStdString() << " count=" << count << " hash=" << fnv1a(bytes)
                  << std::endl;
    }
}

} // namespace

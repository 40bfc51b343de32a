// What the quota accounts cost, in one run on a store brought up on the card simulator (a private
// bus with the simulator and a real catalogue, WriterStore). Two figures:
//
// 1. The write path with the quota on and off. Every block that LoggerBase::writeDatas writes is
//    charged to its family and checked against the family's quota: LoggerBase::addDataSize,
//    through LoggerAccess, to LoggerMemoryManager. The store has no switch that turns the quota
//    off, and none is made for this program: "off" is the same write path without that one
//    call. The call's cost is measured in two ways, and each gives a ratio on/off:
//    - alone: LoggerBase::addDataSize of a block of 100 mean items, checked, and unchecked (the
//      unchecked call only charges the account, as the header of a new file is charged). Off is
//      writeDatas minus the checked call; "charged only" is writeDatas minus the check's share.
//    - in place: writeDatas of a block of 100 items, and the same followed by a second checked
//      call for zero bytes, which does the whole call again without changing the account. The
//      difference is the call's cost among the write path's own caches and system calls.
//    Both timings of writeDatas include making the block's stamps; that is timed on its own and
//    taken out. The card is 8 GB and the quotas are the configured ones, so no block evicts a
//    file; each run checks that the family kept its files. Only while the call alone is timed,
//    and millions of blocks are charged without being written, the family's quota is set out of
//    reach (the check takes the same branch) and the bytes are given back afterwards.
//
// 2. The eviction of one file: LoggerAccessList::removeOldestFile on a logger of 100 and of
//    1000 files of 24044 bytes, next to what it is made of, measured in the same run: one
//    retried transaction and one unlink of a file of the same size in the same folder. The
//    transaction writes either the same rows as the eviction does after it deleted the file's
//    row (the logger's type with all its file links, and its current file) or one row only (the
//    current file), which shows what the links cost. The files are written back to the disk
//    before each timed run. Before the timed runs, one eviction through the quota check and one
//    direct one are counted: the statements that the catalogue's connection ran, and the files
//    created and deleted in the folders of the logger's files and of the catalogue (inotify).
//    The store logs each eviction at info level; this program keeps warnings only (see
//    keepWarningsOnly), so the log's cost is not in the figures.
//
// The eviction runs take the logger to the size they need; with --benchmark_enable_random_
// interleaving that means many untimed evictions and new files between runs, so it is slow.
//
// QZLOGGER_SDCARD_SIMULATOR names the simulator; without it the one built alongside is used.

#include "BenchSupport.h"
#include "Database.h"
#include "DefnBaseType.h"
#include "DefnTypePersistance.h"
#include "FileInfoPersistance.h"
#include "LoggerAccess.h"
#include "LoggerAccessList.h"
#include "LoggerBase.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerFileSystem.h"
#include "LoggerMemoryManager.h"
#include "LoggerRetriedTransaction.h"
#include "SqliteHooks.h"
#include "TestLogger.h"
#include "WriterStore.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <benchmark/benchmark.h>
#include <log4cxx/consoleappender.h>
#include <log4cxx/logger.h>
#include <log4cxx/logmanager.h>
#include <log4cxx/patternlayout.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <sys/inotify.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kHeaderSize = 44; // version, reserved, created, type, owner, word, id, scales
constexpr int kItemSize = static_cast<int>(sizeof(DataMean)); // utc, quality, min, mean, max
constexpr int kBlockItems = 100;
constexpr int kBlockBytes = kBlockItems * kItemSize;
constexpr long kBlockNanoseconds = 100000000; // 100 items, one millisecond apart
constexpr LoggerType kType = LoggerType::CYCLIC;
constexpr LoggerDataType kDataType = LoggerDataType::MEAN;

// The write path's logger keeps one file for the whole run: the block is measured, not the
// change of files, and a logger with one file is never chosen for eviction.
constexpr int kWriterMaximumFileSize = 2000000000;
// Blocks per timed run of writeDatas: bounded, so that all runs of the program together stay far
// below the family's quota and within one day of stamps.
constexpr int kWriteBlocksPerRun = 10000;
// The family's quota while the call is timed alone: no account reaches it.
constexpr double kUnreachableQuotaPercent = 1e6;

// The files of the logger whose files are evicted: ten blocks each.
constexpr int kEvictedFileBlocks = 10;
constexpr int kEvictedFileBytes = kHeaderSize + kEvictedFileBlocks * kBlockBytes;
constexpr int kEvictionsPerRun = 20;
const int kEvictionListSizes[] = {100, 1000};

// The family's quota in percent for as long as the object lives.
class QuotaOverride {
public:
    explicit QuotaOverride(double percent)
        : mEarlier(LoggerMemoryManager::getInstance().getMaximalLoggerSize(kType, kDataType))
    {
        LoggerMemoryManager::getInstance().setMaximalLoggerSize(kType, kDataType, percent);
    }
    ~QuotaOverride() { LoggerMemoryManager::getInstance().setMaximalLoggerSize(kType, kDataType, mEarlier); }
    QuotaOverride(const QuotaOverride&) = delete;
    QuotaOverride& operator=(const QuotaOverride&) = delete;

private:
    double mEarlier;
};

// Takes bytes that were charged without being written off the family's account again.
void giveBack(int64_t bytes)
{
    constexpr int64_t kChunk = 1000000000;
    while (bytes > 0) {
        const int64_t part = std::min(bytes, kChunk);
        LoggerMemoryManager::getInstance().subtractDataSize(LoggerTypeStruct(kType, kDataType),
                                                            static_cast<int>(part));
        bytes -= part;
    }
}

timespec nextBlockStamp(timespec stamp)
{
    stamp.tv_nsec += kBlockNanoseconds;
    if (stamp.tv_nsec >= 1000000000) {
        stamp.tv_nsec -= 1000000000;
        ++stamp.tv_sec;
    }
    return stamp;
}

// Writes the dirty pages of the file system that holds path back to the disk, so that the files
// an eviction and its baseline remove are alike.
void writeBack(const QString& path)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY);
    if (fd >= 0) {
        ::syncfs(fd);
        ::close(fd);
    }
}

double elapsedNs(std::chrono::steady_clock::time_point from, std::chrono::steady_clock::time_point to)
{
    return static_cast<double>(std::chrono::duration_cast<std::chrono::nanoseconds>(to - from).count());
}

// The store with the write path's logger and the logger whose files are evicted, both of the
// family CYCLIC/MEAN, brought up once for the whole run.
struct QuotaStore {
    WriterStore store;
    bool started = false;
    std::unique_ptr<TestLogger> writer;
    std::unique_ptr<TestLogger> evicted;
    // The blocks live as long as the store: each run goes on behind the stamps of the one before.
    RisingBlock writerBlock{kBlockItems};
    RisingBlock evictedBlock{kBlockItems};
    RisingBlock spareBlock{kBlockItems};
    int unlinkedFiles = 0;
    QString error;

    QuotaStore() { started = store.start(); }

    TestLogger* startedLogger(std::unique_ptr<TestLogger>& logger, const QString& idString,
                              int maximumFileSize)
    {
        if (!logger) {
            logger = std::make_unique<TestLogger>(idString, kItemSize, kType, kDataType);
            logger->setMaximumFileSize(maximumFileSize);
            if (!logger->startLogger() || logger->getLoggerState() != LOGGER_STATE_LOGGER_INITIALIZED) {
                error = QStringLiteral("the logger %1 did not start").arg(idString);
                logger.reset();
            }
        }
        return logger.get();
    }

    TestLogger* writerLogger()
    {
        return startedLogger(writer, QStringLiteral("mean_3s.bench_quota_writer.mean_out"),
                             kWriterMaximumFileSize);
    }

    // A file is left for a new one at the block after the file passed the maximum: ten blocks a file.
    TestLogger* evictedLogger()
    {
        return startedLogger(evicted, QStringLiteral("mean_3s.bench_quota_evicted.mean_out"),
                             kHeaderSize + (kEvictedFileBlocks - 1) * kBlockBytes);
    }

    // Takes the evicted logger to `files` files: new ones by writing blocks, fewer by untimed
    // evictions.
    bool bringEvictedTo(int files)
    {
        TestLogger* logger = evictedLogger();
        if (logger == nullptr)
            return false;
        while (logger->getFileListSize() < files) {
            if (logger->writeDatas(evictedBlock.next(), kBlockItems, true, true) == nullptr) {
                error = QStringLiteral("writeDatas of the evicted logger failed");
                return false;
            }
        }
        while (logger->getFileListSize() > files) {
            if (LoggerAccessList::getInstance()->removeOldestFile(kType, kDataType) == nullptr) {
                error = QStringLiteral("an untimed eviction failed");
                return false;
            }
        }
        return true;
    }

    QString evictedFolder()
    {
        const auto access = evicted ? evicted->getLoggerAccess() : nullptr;
        const auto current = access ? access->getCurrentFileInfo() : nullptr;
        return current ? QFileInfo(LoggerFileSystem::getFullFileName(current.get())).path() : QString();
    }

    // Files of the evicted files' size in their folder, for the baseline's unlinks.
    std::vector<std::string> makeUnlinkFiles(int count)
    {
        const QString folder = evictedFolder();
        const std::vector<char> bytes(static_cast<size_t>(kEvictedFileBytes), '\0');
        std::vector<std::string> paths;
        for (int index = 0; index < count; ++index) {
            const std::string path =
                QDir(folder).filePath(QStringLiteral("unlink_%1.dat").arg(unlinkedFiles++)).toStdString();
            const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            const bool written = fd >= 0 && ::write(fd, bytes.data(), bytes.size()) == kEvictedFileBytes;
            if (fd >= 0)
                ::close(fd);
            if (!written)
                return {};
            paths.push_back(path);
        }
        return paths;
    }
};

// Made in main, after the application object and before the runs; gone before the application.
QuotaStore* gStore = nullptr;

// ---------------------------------------------------------------------------------------------
// The write path

// The share of both writeDatas timings that is not the store's: moving the block's stamps on.
void BM_NextBlock(benchmark::State& state)
{
    RisingBlock& block = gStore->spareBlock;
    for (auto _ : state)
        benchmark::DoNotOptimize(block.next());
}

// The call of every block, alone: checked as writeDatas makes it, or only charged.
void BM_QuotaCharge(benchmark::State& state, bool check)
{
    TestLogger* logger = gStore->started ? gStore->writerLogger() : nullptr;
    if (logger == nullptr) {
        state.SkipWithError("the store or the logger did not come up");
        return;
    }
    const QuotaOverride unreachable(kUnreachableQuotaPercent);
    timespec stamp = gStore->writerBlock.lastStamp();
    if (stamp.tv_sec == 0)
        stamp.tv_sec = RisingBlock::kFirstSecond;
    for (auto _ : state) {
        stamp = nextBlockStamp(stamp);
        if (logger->addDataSize(kBlockBytes, check, stamp)) {
            state.SkipWithError("a charge evicted a file");
            break;
        }
    }
    giveBack(static_cast<int64_t>(state.iterations()) * kBlockBytes);
}

// writeDatas of a block of 100 items with the configured quota; with a second check, the call
// once more for zero bytes.
void BM_WriteDatasQuota(benchmark::State& state, bool secondCheck)
{
    TestLogger* logger = gStore->started ? gStore->writerLogger() : nullptr;
    if (logger == nullptr) {
        state.SkipWithError("the store or the logger did not come up");
        return;
    }
    RisingBlock& block = gStore->writerBlock;
    LoggerAccessList* accessList = LoggerAccessList::getInstance();
    const int filesBefore = accessList->getFileListSize(kType);
    for (auto _ : state) {
        if (logger->writeDatas(block.next(), kBlockItems, true, true) == nullptr) {
            state.SkipWithError("writeDatas failed");
            break;
        }
        if (secondCheck && logger->addDataSize(0, true, block.lastStamp())) {
            state.SkipWithError("the second check evicted a file");
            break;
        }
    }
    if (accessList->getFileListSize(kType) != filesBefore)
        state.SkipWithError("the family's files changed during the run: a file was begun or evicted");
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kBlockBytes);
}

// ---------------------------------------------------------------------------------------------
// Eviction

void BM_EvictOldestFile(benchmark::State& state)
{
    const int files = static_cast<int>(state.range(0));
    if (!gStore->started || !gStore->bringEvictedTo(files + static_cast<int>(state.max_iterations))) {
        state.SkipWithError(gStore->error.toStdString().c_str());
        return;
    }
    writeBack(gStore->evictedFolder());
    for (auto _ : state) {
        if (LoggerAccessList::getInstance()->removeOldestFile(kType, kDataType) == nullptr) {
            state.SkipWithError("removeOldestFile removed nothing");
            break;
        }
    }
}

// What an eviction is made of: one retried transaction, then a file of the same size goes. With
// links, the transaction writes what the eviction writes after it deleted the file's row: the
// logger's type with all its file links, and its current file; without, the current file only.
void BM_TransactionAndUnlink(benchmark::State& state, bool links)
{
    const int files = static_cast<int>(state.range(0));
    if (!gStore->started || !gStore->bringEvictedTo(files + static_cast<int>(state.max_iterations) / 2)) {
        state.SkipWithError(gStore->error.toStdString().c_str());
        return;
    }
    const std::vector<std::string> paths = gStore->makeUnlinkFiles(static_cast<int>(state.max_iterations));
    if (paths.empty()) {
        state.SkipWithError("the files to unlink could not be made");
        return;
    }
    writeBack(gStore->evictedFolder());
    const auto access = gStore->evicted->getLoggerAccess();
    std::shared_ptr<DefnBaseType> baseType = access->getCurrentBaseType();
    const std::shared_ptr<LoggerFileInfo> current = access->getCurrentFileInfo();
    double transactionNs = 0;
    double unlinkNs = 0;
    size_t next = 0;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        const bool written = retriedTransaction("benchUpdate", [&] {
            return (!links || DefnTypePersistance().update(baseType)) &&
                   FileInfoPersistance().update(current);
        });
        const auto committed = std::chrono::steady_clock::now();
        const bool unlinked = next < paths.size() && ::unlink(paths[next++].c_str()) == 0;
        const auto end = std::chrono::steady_clock::now();
        transactionNs += elapsedNs(start, committed);
        unlinkNs += elapsedNs(committed, end);
        if (!written || !unlinked) {
            state.SkipWithError(written ? "unlink failed" : "the transaction failed");
            break;
        }
    }
    const double iterations = static_cast<double>(std::max<int64_t>(state.iterations(), 1));
    state.counters["transaction_ns"] = transactionNs / iterations;
    state.counters["unlink_ns"] = unlinkNs / iterations;
}

// ---------------------------------------------------------------------------------------------
// Counting one eviction

// Entries created and deleted in a set of folders while an action runs, from inotify.
class FolderEvents {
public:
    explicit FolderEvents(const QStringList& folders) : mFd(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
    {
        for (const QString& folder : folders) {
            if (mFd < 0 || ::inotify_add_watch(mFd, QFile::encodeName(folder).constData(),
                                               IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO) < 0)
                mWatching = false;
        }
    }
    ~FolderEvents()
    {
        if (mFd >= 0)
            ::close(mFd);
    }
    FolderEvents(const FolderEvents&) = delete;
    FolderEvents& operator=(const FolderEvents&) = delete;

    bool watching() const { return mFd >= 0 && mWatching; }

    // Reads what happened since the watch began or the last read.
    void read()
    {
        alignas(inotify_event) char buffer[16384];
        ssize_t length = 0;
        while ((length = ::read(mFd, buffer, sizeof(buffer))) > 0) {
            for (ssize_t offset = 0; offset < length;) {
                const auto* event = reinterpret_cast<const inotify_event*>(buffer + offset);
                const std::string name = event->len > 0 ? event->name : "?";
                if (event->mask & (IN_CREATE | IN_MOVED_TO))
                    mCreated.push_back(name);
                if (event->mask & (IN_DELETE | IN_MOVED_FROM))
                    mDeleted.push_back(name);
                offset += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            }
        }
    }

    const std::vector<std::string>& created() const { return mCreated; }
    const std::vector<std::string>& deleted() const { return mDeleted; }

private:
    int mFd;
    bool mWatching = true;
    std::vector<std::string> mCreated;
    std::vector<std::string> mDeleted;
};

std::string joined(const std::vector<std::string>& names)
{
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

// The files of the type's list that exist on the card.
int existingFiles(const std::vector<PtrLoggerFileInfo>& files)
{
    return static_cast<int>(std::count_if(files.begin(), files.end(), [](const PtrLoggerFileInfo& file) {
        return LoggerFileSystem::fileExists(file.get());
    }));
}

// One eviction, counted: the statements that the catalogue's connection ran, the entries made
// and removed in the folders of the evicted logger's files and in the catalogue's folder, and
// the logger's list of files and its files on the card before and after.
std::string countEviction(const char* what, const std::function<bool()>& evict)
{
    const auto access = gStore->evicted->getLoggerAccess();
    const auto baseType = access->getCurrentBaseType();
    std::vector<PtrLoggerFileInfo> listed;
    QStringList dataFolders;
    for (int index = 0; baseType && index < baseType->getFileListSize(); ++index) {
        const auto file = baseType->getFileInfo(index);
        if (!file)
            continue;
        listed.push_back(file);
        const QString folder = QFileInfo(LoggerFileSystem::getFullFileName(file.get())).path();
        if (!dataFolders.contains(folder))
            dataFolders << folder;
    }
    const int listBefore = gStore->evicted->getFileListSize();
    const int filesBefore = existingFiles(listed);
    FolderEvents dataEvents(dataFolders);
    FolderEvents catalogueEvents({QFileInfo(LoggerDb::getInstance().getFullDbName()).path()});
    if (!dataEvents.watching() || !catalogueEvents.watching())
        return std::string(what) + ": not counted, the folders could not be watched\n";
    bool evicted = false;
    const std::vector<std::string> statements =
        SqliteHooks::traceStatements(LoggerDb::getInstance().getDb()->handle(), [&] { evicted = evict(); });
    dataEvents.read();
    catalogueEvents.read();
    const auto countOf = [&statements](const char* statement) {
        return static_cast<int>(std::count(statements.begin(), statements.end(), statement));
    };

    std::string text = std::string(what) + (evicted ? "" : ": NOTHING WENT") + "\n";
    char line[512];
    std::snprintf(line, sizeof(line),
                  "  catalogue: %d BEGIN, %d COMMIT, %d ROLLBACK, %zu statements; its folder: created [%s],"
                  " deleted [%s]\n",
                  countOf("BEGIN"), countOf("COMMIT"), countOf("ROLLBACK"), statements.size(),
                  joined(catalogueEvents.created()).c_str(), joined(catalogueEvents.deleted()).c_str());
    text += line;
    std::snprintf(line, sizeof(line),
                  "  data files: created [%s], deleted [%s]; the logger's list %d -> %d, of its files before"
                  " on the card %d -> %d\n",
                  joined(dataEvents.created()).c_str(), joined(dataEvents.deleted()).c_str(), listBefore,
                  gStore->evicted->getFileListSize(), filesBefore, existingFiles(listed));
    text += line;
    // Each statement once, in the order of its first run, with how often it ran.
    std::vector<std::string> distinct;
    for (const std::string& statement : statements) {
        if (std::find(distinct.begin(), distinct.end(), statement) == distinct.end())
            distinct.push_back(statement);
    }
    for (const std::string& statement : distinct)
        text += "    " + std::to_string(countOf(statement.c_str())) + " x " + statement + "\n";
    return text;
}

// One eviction as the write path makes it, where the family has reached its quota: the writer's
// checked call for a block, with the quota at 0 for that call; and one direct removeOldestFile.
std::string countEvictions()
{
    if (gStore->writerLogger() == nullptr || !gStore->bringEvictedTo(4))
        return "eviction not counted: " + gStore->error.toStdString() + "\n";
    std::string text;
    {
        const QuotaOverride atQuota(0);
        const timespec stamp = gStore->writerBlock.lastStamp();
        text += countEviction("one eviction through the quota check (LoggerBase::addDataSize, quota 0)",
                              [&] { return gStore->writer->addDataSize(0, true, stamp); });
    }
    text += countEviction("one eviction by LoggerAccessList::removeOldestFile", [] {
        return LoggerAccessList::getInstance()->removeOldestFile(kType, kDataType) != nullptr;
    });
    return text;
}

// ---------------------------------------------------------------------------------------------
// Report

// Keeps the time of each run, and the counters of the baseline, for the figures at the end.
class QuotaReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            std::string name;
            if (run.error_occurred || !runNameForRatio(run, name))
                continue;
            mNs[name] = run.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(run.time_unit) * 1e9;
            for (const auto& counter : run.counters)
                mNs[name + "#" + counter.first] = counter.second.value;
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void printFigures(const std::string& counted) const
    {
        std::printf("\nThe quota on the write path, blocks of %d mean items (%d bytes):\n", kBlockItems,
                    kBlockBytes);
        double checked = 0, unchecked = 0, once = 0, twice = 0, stamps = 0;
        if (find("BM_QuotaCharge/checked", checked) && find("BM_QuotaCharge/unchecked", unchecked))
            std::printf("  addDataSize alone: checked %.0f ns, charged only %.0f ns; the check %.0f ns\n",
                        checked, unchecked, checked - unchecked);
        const std::string iterations = "/iterations:" + std::to_string(kWriteBlocksPerRun);
        if (find("BM_WriteDatasQuota/once" + iterations, once) &&
            find("BM_WriteDatasQuota/twice" + iterations, twice) && find("BM_NextBlock", stamps)) {
            const double write = once - stamps;
            const double inPlace = twice - once;
            std::printf(
                "  writeDatas %.0f ns (stamps %.0f ns taken out: %.0f ns); with a second check %.0f ns;"
                " the call in place %.0f ns\n",
                once, stamps, write, twice, inPlace);
            if (checked > 0) {
                std::printf("  quota on / off (off: no call), the call alone:    %.0f / %.0f ns = %.3f\n",
                            write, write - checked, write / (write - checked));
                std::printf("  quota on / charged only, the check alone:         %.0f / %.0f ns = %.3f\n",
                            write, write - (checked - unchecked), write / (write - (checked - unchecked)));
            }
            std::printf("  quota on / off (off: no call), the call in place: %.0f / %.0f ns = %.3f\n", write,
                        write - inPlace, write / (write - inPlace));
            std::printf("  target: quota on at most 1.05 x off\n");
        }
        std::printf("\nThe eviction of one file of %d bytes:\n", kEvictedFileBytes);
        for (const int files : kEvictionListSizes) {
            const std::string suffix =
                "/" + std::to_string(files) + "/iterations:" + std::to_string(kEvictionsPerRun);
            double eviction = 0;
            if (!find("BM_EvictOldestFile" + suffix, eviction))
                continue;
            std::printf("  %4d files: removeOldestFile %.0f us\n", files, eviction / 1000);
            for (const char* kind : {"links", "row"}) {
                const std::string name = std::string("BM_TransactionAndUnlink/") + kind + suffix;
                double baseline = 0, transaction = 0, unlink = 0;
                if (!find(name, baseline) || !find(name + "#transaction_ns", transaction) ||
                    !find(name + "#unlink_ns", unlink))
                    continue;
                std::printf(
                    "    one transaction (%s) %.0f us + one unlink %.0f us = %.0f us; eviction / that %.3f\n",
                    std::string(kind) == "links" ? "the same rows: type, all its links, current file"
                                                 : "one row: the current file",
                    transaction / 1000, unlink / 1000, baseline / 1000, eviction / baseline);
            }
        }
        std::printf("\nCounted:\n%s", counted.c_str());
    }

private:
    bool find(const std::string& name, double& value) const
    {
        const auto entry = mNs.find(name);
        if (entry == mNs.end())
            return false;
        value = entry->second;
        return true;
    }

    std::map<std::string, double> mNs;
};

// The store logs each eviction at info level, on the console where nobody configured log4cxx.
// Unless a log configuration is named, this program configures log4cxx before the store does:
// warnings and errors only, so that the runs do not time the console.
void keepWarningsOnly()
{
    if (qEnvironmentVariableIsSet("QZLOGGER_LOG_CONFIG") ||
        qEnvironmentVariableIsSet("LOG4CXX_CONFIGURATION"))
        return;
    const log4cxx::spi::LoggerRepositoryPtr repository = log4cxx::LogManager::getLoggerRepository();
    // Inside the claim, the root logger comes from the repository: Logger::getRootLogger would
    // wait for the claim itself.
    repository->ensureIsConfigured([&repository] {
        auto layout = std::make_shared<log4cxx::PatternLayout>(LOG4CXX_STR("%d %-5p [%c] %m%n"));
        auto appender =
            std::make_shared<log4cxx::ConsoleAppender>(layout, log4cxx::ConsoleAppender::getSystemErr());
        const log4cxx::LoggerPtr root = repository->getRootLogger();
        root->addAppender(appender);
        root->setLevel(log4cxx::Level::getWarn());
    });
}

void registerBenchmarks()
{
    benchmark::RegisterBenchmark("BM_NextBlock", BM_NextBlock);
    benchmark::RegisterBenchmark("BM_QuotaCharge/checked", BM_QuotaCharge, true);
    benchmark::RegisterBenchmark("BM_QuotaCharge/unchecked", BM_QuotaCharge, false);
    benchmark::RegisterBenchmark("BM_WriteDatasQuota/once", BM_WriteDatasQuota, false)
        ->Iterations(kWriteBlocksPerRun);
    benchmark::RegisterBenchmark("BM_WriteDatasQuota/twice", BM_WriteDatasQuota, true)
        ->Iterations(kWriteBlocksPerRun);
    // Each size's eviction next to its baseline, the smaller size first: the logger only grows.
    for (const int files : kEvictionListSizes) {
        benchmark::RegisterBenchmark("BM_EvictOldestFile", BM_EvictOldestFile)
            ->Arg(files)
            ->Iterations(kEvictionsPerRun)
            ->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark("BM_TransactionAndUnlink/links", BM_TransactionAndUnlink, true)
            ->Arg(files)
            ->Iterations(kEvictionsPerRun)
            ->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark("BM_TransactionAndUnlink/row", BM_TransactionAndUnlink, false)
            ->Arg(files)
            ->Iterations(kEvictionsPerRun)
            ->Unit(benchmark::kMicrosecond);
    }
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    keepWarningsOnly();
    if (!initializeStoreBench(&argc, argv))
        return 1;
    const auto store = std::make_unique<QuotaStore>();
    if (!store->started) {
        std::fprintf(stderr, "store did not start: %s\n",
                     store->store.errorString().toLocal8Bit().constData());
        return 1;
    }
    gStore = store.get();
    const std::string counted = countEvictions();
    registerBenchmarks();
    QuotaReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printFigures(counted);
    std::printf("peak resident memory: %ld kB\n", peakResidentKb());
    benchmark::Shutdown();
    gStore = nullptr;
    return 0;
}

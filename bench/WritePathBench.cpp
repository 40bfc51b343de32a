// The write path against plain POSIX I/O of the same bytes, in one run on the same card:
// LoggerBase::writeDatas with blocks of 1, 10 and 100 items of DataMean, and
// LoggerTemplate<DataMean>::writeLoggerItem through a cache of 100 items, each against a loop
// that opens a data file, appends the same block and closes it again. The loggers run on a
// real store: a private bus with the card simulator and a real catalogue (WriterStore).
// Beside each rate go the read and write system calls and the context switches of the whole
// process per operation (ProcessKernelCounts); a wake-up of another thread per item shows in
// the latter. Ratios use the items per second of CPU time, the median where runs repeat.
//
// QZLOGGER_SDCARD_SIMULATOR names the simulator; without it the one built alongside is used.

#include "BenchSupport.h"
#include "LoggerAccess.h"
#include "LoggerBase.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerFileSystem.h"
#include "LoggerTemplate.h"
#include "TestLogger.h"
#include "WriterStore.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <benchmark/benchmark.h>

#include <QMutex>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kHeaderSize = 44;
constexpr int kItemSize = static_cast<int>(sizeof(DataMean)); // utc, quality, min, mean, max
// One file for the whole run: the benchmark measures the block path, not the change of files.
constexpr int kMaximumFileSize = 1024 * 1024 * 1024;
const int kBlockItems[] = {1, 10, 100};

constexpr int kCacheItems = 100;
// Long enough that the quiet period never ends during a run: the cache writes when it is full.
constexpr int kCacheTimeoutMs = 10000;

// A typed logger of means as the writer has them: items wait in a cache of 100 and reach the
// engine as one block.
class CachedMeanLogger : public LoggerTemplate<DataMean> {
public:
    CachedMeanLogger() : LoggerTemplate<DataMean>(LoggerType::CYCLIC, LoggerDataType::MEAN)
    {
        setCacheCapacity(kCacheItems);
        setCacheTimeout(kCacheTimeoutMs);
        setMaximumFileSize(kMaximumFileSize);
    }

    QString getLoggerName() override { return QStringLiteral("CachedMeanLogger ") + mIdString; }
    QString getConfiguratedMeasuredTypeId() override { return mIdString; }
    DataMeasType getDataMeasType(const QString& idString) override
    {
        DataMeasType measType;
        measType.configId = idString;
        measType.interval = 1.0;
        return measType;
    }

private:
    const QString mIdString = QStringLiteral("mean_3s.bench_cached.mean_out");
};

// The store and one logger per block size, brought up once for the whole run.
struct BenchStore {
    WriterStore store;
    bool started = false;
    std::map<int, std::unique_ptr<TestLogger>> loggers;
    std::unique_ptr<CachedMeanLogger> cachedLogger;
    // The blocks live as long as the store: a benchmark function runs more than once, and each
    // run must go on behind the stamps of the one before.
    std::map<std::string, std::unique_ptr<RisingBlock>> blocks;

    RisingBlock& block(const std::string& name, int items)
    {
        auto& block = blocks[name];
        if (!block)
            block = std::make_unique<RisingBlock>(items);
        return *block;
    }

    BenchStore() { started = store.start(); }

    TestLogger* logger(int blockItems)
    {
        auto& logger = loggers[blockItems];
        if (!logger) {
            logger = std::make_unique<TestLogger>(
                QStringLiteral("mean_3s.bench_block_%1.mean_out").arg(blockItems), kItemSize);
            logger->setMaximumFileSize(kMaximumFileSize);
            if (!logger->startLogger() || logger->getLoggerState() != LOGGER_STATE_LOGGER_INITIALIZED)
                return nullptr;
        }
        return logger.get();
    }

    CachedMeanLogger* cached()
    {
        if (!cachedLogger) {
            cachedLogger = std::make_unique<CachedMeanLogger>();
            if (!cachedLogger->startLogger() ||
                cachedLogger->getLoggerState() != LOGGER_STATE_LOGGER_INITIALIZED)
                return nullptr;
        }
        return cachedLogger.get();
    }

    // A data file of its own in the day folder of the logger's current file, so that its path
    // is as deep as the logger's, begun with a header of zeros.
    std::string plainFile(int blockItems, const QString& prefix = QStringLiteral("plain"))
    {
        TestLogger* owner = logger(blockItems);
        const PtrLoggerFileInfo current = owner ? owner->getLoggerAccess()->getCurrentFileInfo() : nullptr;
        if (current == nullptr)
            return std::string();
        const QString folder = QFileInfo(LoggerFileSystem::getFullFileName(current.get())).path();
        const std::string path =
            QDir(folder).filePath(QStringLiteral("%1_%2.dat").arg(prefix).arg(blockItems)).toStdString();
        const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (fd < 0)
            return std::string();
        const char header[kHeaderSize] = {};
        const bool written = ::write(fd, header, sizeof(header)) == static_cast<ssize_t>(sizeof(header));
        ::close(fd);
        return written ? path : std::string();
    }
};

// A logger whose every block begins a new file: its maximum is the header alone, so the file of
// one item is exceeded and the next block leaves it. Its items are a second apart, as files of a
// logger begin at different seconds: the newest file is told by its first second.
struct ChangingLogger {
    std::unique_ptr<TestLogger> logger;
    DataMean item{DataTimespec{RisingBlock::kFirstSecond, 0}, 0, 229.5f, 230.0f, 230.5f};

    const char* nextItem()
    {
        ++item.utc.tv_sec;
        return reinterpret_cast<const char*>(&item);
    }
};

// Made in main, after the application object and before the runs; gone before the application.
BenchStore* gBenchStore = nullptr;
std::map<int, ChangingLogger>* gChangingLoggers = nullptr;

// The logger of the file-change runs at `files` files, brought there by writing; null where it
// did not start or a block failed.
ChangingLogger* changingLogger(int files)
{
    ChangingLogger& changing = (*gChangingLoggers)[files];
    if (!changing.logger) {
        // A family of its own (values with date, time and quality), which the block runs do not
        // fill: the quota of the means is full after them, and every new file there would evict.
        changing.logger =
            std::make_unique<TestLogger>(QStringLiteral("dtq_3s.bench_change_%1.out").arg(files), kItemSize,
                                         LoggerType::CYCLIC, LoggerDataType::DTQ);
        changing.logger->setMaximumFileSize(kHeaderSize);
        if (!changing.logger->startLogger() ||
            changing.logger->getLoggerState() != LOGGER_STATE_LOGGER_INITIALIZED)
            return nullptr;
    }
    // Every block but the first begins a file; a logger that does not grow so lost files to an
    // eviction, and the run cannot measure what it is meant to.
    for (int blocks = 0; changing.logger->getFileListSize() < files; ++blocks) {
        if (blocks > files + 1 || changing.logger->writeDatas(changing.nextItem(), 1, true, true) == nullptr)
            return nullptr;
    }
    return &changing;
}

BenchStore& benchStore()
{
    return *gBenchStore;
}

// One block as the design writes it, with plain calls; see BM_BlockFloor.
bool floorBlock(const std::string& path, const char* data, size_t bytes)
{
    const int fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    if (fd < 0)
        return false;
    const off_t end = ::lseek(fd, 0, SEEK_END);
    benchmark::DoNotOptimize(std::chrono::steady_clock::now());
    const ssize_t written = end < 0 ? -1 : ::pwrite(fd, data, bytes, end);
    benchmark::DoNotOptimize(std::chrono::steady_clock::now());
    ::close(fd);
    return written == static_cast<ssize_t>(bytes);
}

void BM_WriteDatas(benchmark::State& state)
{
    BenchStore& bench = benchStore();
    const int blockItems = static_cast<int>(state.range(0));
    TestLogger* logger = bench.started ? bench.logger(blockItems) : nullptr;
    if (logger == nullptr) {
        state.SkipWithError("the store or the logger did not come up");
        return;
    }
    RisingBlock& block = bench.block("writeDatas/" + std::to_string(blockItems), blockItems);
    const ProcessKernelCounts before = ProcessKernelCounts::now();
    for (auto _ : state) {
        if (logger->writeDatas(block.next(), blockItems, true, true) == nullptr) {
            state.SkipWithError("writeDatas failed");
            break;
        }
    }
    setKernelCountsPerIteration(state, before);
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * blockItems);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(block.bytes()));
}

// One item per call through the typed logger; every hundredth call writes the cache's block.
void BM_WriteLoggerItemCached(benchmark::State& state)
{
    BenchStore& bench = benchStore();
    CachedMeanLogger* logger = bench.started ? bench.cached() : nullptr;
    if (logger == nullptr) {
        state.SkipWithError("the store or the logger did not come up");
        return;
    }
    RisingBlock& item = bench.block("cached", 1);
    const ProcessKernelCounts before = ProcessKernelCounts::now();
    for (auto _ : state) {
        if (!logger->writeLoggerItem(reinterpret_cast<const DataMean*>(item.next()))) {
            state.SkipWithError("writeLoggerItem failed");
            break;
        }
    }
    setKernelCountsPerIteration(state, before);
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kItemSize);
}

// One change of file: a block of one item that leaves the full file for a new one, with the
// catalogue's work for both (the old file's range, the new file's row and link, the type's row).
// After each change the logger's oldest file is removed, untimed, so that the logger stays at
// its number of files.
void BM_FileChange(benchmark::State& state)
{
    const int files = static_cast<int>(state.range(0));
    ChangingLogger* changing = benchStore().started ? changingLogger(files) : nullptr;
    if (changing == nullptr) {
        state.SkipWithError("the store or the changing logger did not come up");
        return;
    }
    TestLogger& logger = *changing->logger;
    LoggerAccess& access = *logger.getLoggerAccess();
    const ProcessKernelCounts before = ProcessKernelCounts::now();
    // The thread's user and system time of the changes alone; the removal is left out.
    ThreadCpuTime spent;
    for (auto _ : state) {
        const int filesBefore = logger.getFileListSize();
        const ThreadCpuTime start = ThreadCpuTime::now();
        const bool written = logger.writeDatas(changing->nextItem(), 1, true, true) != nullptr;
        const ThreadCpuTime end = ThreadCpuTime::now();
        spent.userMicros += end.userMicros - start.userMicros;
        spent.systemMicros += end.systemMicros - start.systemMicros;
        if (!written || logger.getFileListSize() != filesBefore + 1) {
            state.SkipWithError("the block did not begin a new file");
            break;
        }
        state.PauseTiming();
        const bool removed = access.removeFileAndUpdate(access.getOldestFileIndex());
        state.ResumeTiming();
        if (!removed) {
            state.SkipWithError("the oldest file could not be removed");
            break;
        }
    }
    setKernelCountsPerIteration(state, before);
    state.counters["user_us"] = benchmark::Counter(spent.userMicros, benchmark::Counter::kAvgIterations);
    state.counters["sys_us"] = benchmark::Counter(spent.systemMicros, benchmark::Counter::kAvgIterations);
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

// What writeDatas does to the file, with plain calls: open, append the block, close.
void BM_PlainAppend(benchmark::State& state)
{
    BenchStore& bench = benchStore();
    const int blockItems = static_cast<int>(state.range(0));
    const std::string path = bench.started ? bench.plainFile(blockItems) : std::string();
    if (path.empty()) {
        state.SkipWithError("the plain file could not be made");
        return;
    }
    RisingBlock& block = bench.block("plain/" + std::to_string(blockItems), blockItems);
    const ProcessKernelCounts before = ProcessKernelCounts::now();
    for (auto _ : state) {
        const char* data = block.next();
        const int fd = ::open(path.c_str(), O_WRONLY | O_APPEND);
        const ssize_t written = ::write(fd, data, block.bytes());
        ::close(fd);
        if (written != static_cast<ssize_t>(block.bytes())) {
            state.SkipWithError("write returned a wrong size");
            break;
        }
    }
    setKernelCountsPerIteration(state, before);
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * blockItems);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(block.bytes()));
}

// The least a block must cost by the store's design, with plain calls: every block opens the
// file, asks for its end (the open of each block is where a file cut or extended from outside is
// noticed), writes the block there with one positioned write between the two clock reads of the
// write counter, and closes the file. Beside the plain append it shows how much of the gap to
// plain I/O is the design's and how much the store's own.
void BM_BlockFloor(benchmark::State& state)
{
    BenchStore& bench = benchStore();
    const int blockItems = static_cast<int>(state.range(0));
    const std::string path =
        bench.started ? bench.plainFile(blockItems, QStringLiteral("floor")) : std::string();
    if (path.empty()) {
        state.SkipWithError("the floor's file could not be made");
        return;
    }
    RisingBlock& block = bench.block("floor/" + std::to_string(blockItems), blockItems);
    const ProcessKernelCounts before = ProcessKernelCounts::now();
    for (auto _ : state) {
        if (!floorBlock(path, block.next(), block.bytes())) {
            state.SkipWithError("the floor's write failed");
            break;
        }
    }
    setKernelCountsPerIteration(state, before);
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * blockItems);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(block.bytes()));
}

// The host's side of an item as the typed logger asks it: the measurement type by the id, through
// a virtual call the compiler cannot see through.
class MeasTypeSource {
public:
    virtual ~MeasTypeSource() = default;
    virtual DataMeasType getDataMeasType(const QString& idString)
    {
        DataMeasType measType;
        measType.configId = idString;
        measType.interval = 1.0;
        return measType;
    }
};

// The least an item through a cache of 100 must cost by the store's design, with plain code: the
// id asked for and the measurement type asked of the host and kept, the order of the stamp
// checked, the cache's recursive mutex taken and given back, and the item copied behind the
// waiting ones; every hundredth item writes the block as BM_BlockFloor does.
void BM_CachedItemFloor(benchmark::State& state)
{
    BenchStore& bench = benchStore();
    const std::string path =
        bench.started ? bench.plainFile(kCacheItems, QStringLiteral("cached_floor")) : std::string();
    if (path.empty()) {
        state.SkipWithError("the floor's file could not be made");
        return;
    }
    RisingBlock& item = bench.block("floor/cached", 1);
    std::vector<DataMean> cache(kCacheItems);
    QMutex mutex(QMutex::Recursive);
    const QString idString = QStringLiteral("mean_3s.bench_floor.mean_out");
    MeasTypeSource hostSource;
    MeasTypeSource* host = &hostSource;
    benchmark::DoNotOptimize(host);
    DataMeasType kept;
    DataTimespec lastStamp{0, 0};
    int count = 0;
    const ProcessKernelCounts before = ProcessKernelCounts::now();
    for (auto _ : state) {
        const DataMean* next = reinterpret_cast<const DataMean*>(item.next());
        const QString id = idString;
        kept = host->getDataMeasType(id);
        if (!kept.enabled || next->utc.tv_sec < lastStamp.tv_sec) {
            state.SkipWithError("the floor's item was refused");
            break;
        }
        lastStamp = next->utc;
        mutex.lock();
        std::memcpy(&cache[static_cast<size_t>(count)], next, sizeof(DataMean));
        const bool full = ++count == kCacheItems;
        if (full) {
            count = 0;
        }
        mutex.unlock();
        if (full &&
            !floorBlock(path, reinterpret_cast<const char*>(cache.data()), cache.size() * sizeof(DataMean))) {
            state.SkipWithError("the floor's write failed");
            break;
        }
    }
    setKernelCountsPerIteration(state, before);
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kItemSize);
}

// A million items (24 MB) per run, for the plain append and the store alike: unbounded runs write
// gigabytes, and the file system's write-back then throttles whichever runs later.
constexpr int64_t kItemsPerRun = 1000000;

BENCHMARK(BM_PlainAppend)->Arg(1)->Iterations(kItemsPerRun);
BENCHMARK(BM_PlainAppend)->Arg(10)->Iterations(kItemsPerRun / 10);
BENCHMARK(BM_PlainAppend)->Arg(100)->Iterations(kItemsPerRun / 100);
BENCHMARK(BM_WriteDatas)->Arg(1)->Iterations(kItemsPerRun);
BENCHMARK(BM_WriteDatas)->Arg(10)->Iterations(kItemsPerRun / 10);
BENCHMARK(BM_WriteDatas)->Arg(100)->Iterations(kItemsPerRun / 100);
BENCHMARK(BM_WriteLoggerItemCached)->Iterations(kItemsPerRun);
BENCHMARK(BM_BlockFloor)->Arg(1)->Iterations(kItemsPerRun);
BENCHMARK(BM_BlockFloor)->Arg(10)->Iterations(kItemsPerRun / 10);
BENCHMARK(BM_BlockFloor)->Arg(100)->Iterations(kItemsPerRun / 100);
BENCHMARK(BM_CachedItemFloor)->Iterations(kItemsPerRun);

// The name under which a block run of `items` per block is reported.
std::string blockRun(const char* benchmark, int items)
{
    return std::string(benchmark) + "/" + std::to_string(items) +
           "/iterations:" + std::to_string(kItemsPerRun / items);
}
BENCHMARK(BM_FileChange)->Arg(10)->Arg(1000)->Unit(benchmark::kMicrosecond);

// Keeps the items per second and the kernel counts per operation of each run, so that the
// ratios can be printed at the end with the counts beside them.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            const auto rate = run.counters.find("items_per_second");
            std::string name;
            if (rate != run.counters.end() && runNameForRatio(run, name)) {
                Figures& figures = mFigures[name];
                figures.itemsPerSecond = rate->second.value;
                figures.readWriteCalls = counter(run, "rw_calls");
                figures.contextSwitches = counter(run, "ctx_switches");
                figures.userMicros = counter(run, "user_us");
                figures.systemMicros = counter(run, "sys_us");
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void printRatios() const
    {
        std::printf("per call: rw = read and write system calls, cs = context switches, whole process\n");
        for (const int blockItems : kBlockItems)
            printRatio(blockRun("BM_WriteDatas", blockItems), blockRun("BM_PlainAppend", blockItems));
        printRatio("BM_WriteLoggerItemCached/iterations:" + std::to_string(kItemsPerRun),
                   blockRun("BM_PlainAppend", kCacheItems));
        printRatio("BM_FileChange/1000", "BM_FileChange/10");
        printCpuSplit("BM_FileChange/1000", "BM_FileChange/10");
        std::printf("the least the design allows, with plain calls, against the plain append; and the "
                    "store against that least\n");
        for (const int blockItems : kBlockItems) {
            printRatio(blockRun("BM_BlockFloor", blockItems), blockRun("BM_PlainAppend", blockItems));
            printRatio(blockRun("BM_WriteDatas", blockItems), blockRun("BM_BlockFloor", blockItems));
        }
        const std::string cachedFloor = "BM_CachedItemFloor/iterations:" + std::to_string(kItemsPerRun);
        printRatio(cachedFloor, blockRun("BM_PlainAppend", kCacheItems));
        printRatio("BM_WriteLoggerItemCached/iterations:" + std::to_string(kItemsPerRun), cachedFloor);
        std::printf("target: writeDatas at blocks of 100 at least 0.9 of the plain append, "
                    "writeLoggerItem through the cache at least 0.5, a change of file at 1000 files "
                    "at least 0.5 of one at 10 (changes per second)\n");
    }

private:
    struct Figures {
        double itemsPerSecond = 0.0;
        double readWriteCalls = 0.0;
        double contextSwitches = 0.0;
        double userMicros = 0.0;   // per operation, where the run counts it
        double systemMicros = 0.0; // per operation, where the run counts it
    };

    static double counter(const Run& run, const char* name)
    {
        const auto found = run.counters.find(name);
        return found == run.counters.end() ? 0.0 : found->second.value;
    }

    void printRatio(const std::string& ours, const std::string& baseline) const
    {
        const auto a = mFigures.find(ours);
        const auto b = mFigures.find(baseline);
        if (a == mFigures.end() || b == mFigures.end() || b->second.itemsPerSecond <= 0.0)
            return;
        std::printf("%-24s %11.0f items/s (rw %.3f, cs %.3f)  %-18s %11.0f items/s (rw %.3f, cs %.3f)  "
                    "ratio %.3f\n",
                    ours.c_str(), a->second.itemsPerSecond, a->second.readWriteCalls,
                    a->second.contextSwitches, baseline.c_str(), b->second.itemsPerSecond,
                    b->second.readWriteCalls, b->second.contextSwitches,
                    a->second.itemsPerSecond / b->second.itemsPerSecond);
    }

    // The user and the system time of one operation of each run, and the ratio of each: the user
    // time is the store's own work, the system time mostly the file system's and the commit's.
    void printCpuSplit(const std::string& ours, const std::string& baseline) const
    {
        const auto a = mFigures.find(ours);
        const auto b = mFigures.find(baseline);
        if (a == mFigures.end() || b == mFigures.end() || b->second.userMicros <= 0.0 ||
            b->second.systemMicros <= 0.0)
            return;
        std::printf("%-24s user %.0f us, system %.0f us  %-18s user %.0f us, system %.0f us  "
                    "ratio of user time %.2f, of system time %.2f\n",
                    ours.c_str(), a->second.userMicros, a->second.systemMicros, baseline.c_str(),
                    b->second.userMicros, b->second.systemMicros, a->second.userMicros / b->second.userMicros,
                    a->second.systemMicros / b->second.systemMicros);
    }

    std::map<std::string, Figures> mFigures;
};

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (!initializeStoreBench(&argc, argv))
        return 1;
    const auto store = std::make_unique<BenchStore>();
    if (!store->started) {
        std::fprintf(stderr, "store did not start: %s\n",
                     store->store.errorString().toLocal8Bit().constData());
        return 1;
    }
    gBenchStore = store.get();
    std::map<int, ChangingLogger> changingLoggers;
    gChangingLoggers = &changingLoggers;
    const long peakBeforeKb = peakResidentKb();
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatios();
    std::printf("peak resident memory: %ld kB with the store up, %ld kB after the runs\n", peakBeforeKb,
                peakResidentKb());
    benchmark::Shutdown();
    gChangingLoggers = nullptr;
    changingLoggers.clear();
    gBenchStore = nullptr;
    return 0;
}

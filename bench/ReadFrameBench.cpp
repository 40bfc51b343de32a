// The read by time against a plain read of the same bytes, in one run on the same card:
// LoggerApiBase::getValues of 1,000,000 DataXtq<float> items spread over five data files of a
// catalogued logger, against a loop that opens each file, reads its items with pread into one
// array and closes it again. The read frame pauses 50 ms after every read by time on purpose;
// that pause is timed apart and left out of the comparison.
//
// Beside it, a read of 100 items from a logger of 10 files and from one of 1000, a file a day as a
// device keeps them: the 100 newest items, and 100 items inside a file in the middle of the
// logger. What the files a read does not need cost shows as the ratio of the two loggers. Each
// read is run once untimed with the data-file opens and positioned reads of the store counted
// (through the store's file layer) and the read system calls of the process (from
// /proc/self/io, the catalogue's included), and the counts are printed beside the times.
//
// QZLOGGER_SDCARD_SIMULATOR names the simulator; without it the one built alongside is used.

#include "BenchSupport.h"
#include "CataloguedFiles.h"
#include "DataFileBuilder.h"
#include "DefnTypePersistance.h"
#include "FileFaults.h"
#include "FileInfoPersistance.h"
#include "LoggerApiBase.h"
#include "LoggerDataItems.h"
#include "LoggerFileIo.h"
#include "LoggerFileSystem.h"
#include "LoggerResult.h"
#include "LoggerRetriedTransaction.h"
#include "LoggerTestSeams.h"
#include "WriterStore.h"

#include <QByteArray>
#include <QFile>

#include <QCoreApplication>
#include <QThread>
#include <benchmark/benchmark.h>

#include <atomic>
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

using Vtq = DataXtq<float>;
constexpr int kItemSize = static_cast<int>(sizeof(Vtq));
constexpr int kFiles = 5;
constexpr int kItemsPerFile = 200000;
constexpr int kTotalItems = kFiles * kItemsPerFile;
constexpr int32_t kFirstSecond = 1763802000; // 2025-11-22, mid-day in any zone
constexpr unsigned long kReadPauseMs = 50;   // the read frame's pause after a read by time
const QString kVtqId = QStringLiteral("vtq_10min.bench_read.out");

using Clock = std::chrono::steady_clock;

// The store with one logger of five files of 200,000 items each, one a second, the files one
// after the other in time.
struct BenchStore {
    WriterStore store;
    std::shared_ptr<DefnBaseType> type;
    std::vector<std::string> paths;
    bool started = false;

    BenchStore()
    {
        if (!store.start())
            return;
        type = CataloguedFiles::measureType(kVtqId, LoggerDataType::VTQ);
        if (type == nullptr)
            return;
        for (int file = 0; file < kFiles; ++file) {
            DataFileBuilder builder(LoggerDataType::VTQ, kItemSize);
            const int32_t first = kFirstSecond + file * kItemsPerFile;
            builder.created(first).uniqueId(file * kItemsPerFile).itemsEvery(kItemsPerFile, first, 1);
            const auto info = CataloguedFiles::addFile(type, builder, 0x300 + static_cast<uint32_t>(file));
            if (info == nullptr)
                return;
            paths.push_back(LoggerFileSystem::getFullFileName(info.get()).toStdString());
        }
        started = true;
    }
};

// A logger of `files` files, a file a day of 144 items ten minutes apart, laid down byte by byte
// where the store looks for them and catalogued with their ranges in one transaction.
struct DailyLogger {
    static constexpr int kItemsPerDay = 144;
    static constexpr int32_t kItemStep = 600;

    std::shared_ptr<DefnBaseType> type;
    int files = 0;

    static DataTimespec stampOf(int item) { return DataTimespec{kFirstSecond + item * kItemStep, 0}; }
    int totalItems() const { return files * kItemsPerDay; }

    bool create(const QString& configId, int fileCount, uint32_t guidBase)
    {
        files = fileCount;
        type = CataloguedFiles::measureType(configId, LoggerDataType::VTQ);
        if (type == nullptr)
            return false;
        std::vector<std::shared_ptr<LoggerFileInfo>> infos;
        QByteArray bytes(DataFileBuilder::kHeaderSize + kItemsPerDay * kItemSize, '\0');
        for (int file = 0; file < files; ++file) {
            const int first = file * kItemsPerDay;
            const QByteArray header = DataFileBuilder::headerBytes(stampOf(first).tv_sec, 0,
                                                                   static_cast<int32_t>(LoggerDataType::VTQ),
                                                                   type->Id, 0, first, 1.0f, 1.0f);
            std::memcpy(bytes.data(), header.constData(), DataFileBuilder::kHeaderSize);
            for (int item = 0; item < kItemsPerDay; ++item) {
                Vtq vtq{};
                vtq.utc = stampOf(first + item);
                vtq.value = static_cast<float>(first + item);
                std::memcpy(bytes.data() + DataFileBuilder::kHeaderSize + item * kItemSize, &vtq, kItemSize);
            }
            const auto info = FileInfoPersistance().createInstance(LoggerType::CYCLIC);
            info->DataType = LoggerDataType::VTQ;
            info->UtcCreated = stampOf(first);
            info->GuidLow = guidBase + static_cast<uint32_t>(file);
            info->HeaderSize = DataFileBuilder::kHeaderSize;
            info->DataBlockSize = kItemSize;
            info->UtcStart = stampOf(first);
            info->UtcEnd = stampOf(first + kItemsPerDay - 1);
            if (!FileFaults::writeAll(LoggerFileSystem::getFullFileName(info.get()), bytes))
                return false;
            infos.push_back(info);
        }
        return retriedTransaction("DailyLogger", [&] {
            for (const auto& info : infos) {
                if (!FileInfoPersistance().persist(info))
                    return false;
                type->AppendFileInfo(info);
            }
            return DefnTypePersistance().update(type);
        });
    }

    // The range of the 100 newest items, or of 100 items inside the file in the middle.
    void range(bool newest, timespec& start, timespec& end) const
    {
        const int first = newest ? totalItems() - 100 : (files / 2) * kItemsPerDay + 20;
        start = stampOf(first);
        end = stampOf(first + 99);
    }
};

struct DailyStore {
    DailyLogger tenFiles;
    DailyLogger thousandFiles;
    bool started = false;

    DailyStore()
    {
        started = tenFiles.create(QStringLiteral("vtq_10min.daily10"), 10, 0x10000) &&
                  thousandFiles.create(QStringLiteral("vtq_10min.daily1000"), 1000, 0x20000);
    }

    const DailyLogger& logger(int files) const { return files == 10 ? tenFiles : thousandFiles; }
};

BenchStore* gBenchStore = nullptr;
DailyStore* gDailyStore = nullptr;

timespec at(int64_t seconds)
{
    timespec t{};
    t.tv_sec = static_cast<time_t>(seconds);
    return t;
}

// Seen through the read frame's pause seam: when the last pause began, and how long it was.
Clock::time_point gPauseBegan;
unsigned long gPauseMs = 0;

void BM_GetValues(benchmark::State& state)
{
    if (gBenchStore == nullptr || !gBenchStore->started) {
        state.SkipWithError("the store did not come up");
        return;
    }
    LoggerApiBase api;
    const int typeId = gBenchStore->type->Id;
    double pauseSeconds = 0.0;
    for (auto _ : state) {
        int firstItemId = 0;
        LoggerHeader header{};
        const Clock::time_point began = Clock::now();
        const auto result =
            api.getValues<Vtq, void*>(LoggerType::CYCLIC, typeId, at(kFirstSecond),
                                      at(kFirstSecond + kTotalItems), -1, firstItemId, header);
        const Clock::time_point ended = Clock::now();
        if (result == nullptr || result->mNumItems != kTotalItems) {
            state.SkipWithError("getValues did not give every item");
            break;
        }
        // The time up to the pause is the read; the pause follows it at the very end.
        state.SetIterationTime(std::chrono::duration<double>(gPauseBegan - began).count());
        pauseSeconds += std::chrono::duration<double>(ended - gPauseBegan).count();
        benchmark::DoNotOptimize(result->mItems);
    }
    state.counters["pause_ms"] =
        benchmark::Counter(1000.0 * pauseSeconds / static_cast<double>(state.iterations()));
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kTotalItems);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kTotalItems * kItemSize);
}

// The same bytes with plain calls: one array, each file opened, read past its header with pread
// and closed. Argument 1 rests as the read frame does, 0 runs back to back.
void BM_PlainRead(benchmark::State& state)
{
    if (gBenchStore == nullptr || !gBenchStore->started) {
        state.SkipWithError("the store did not come up");
        return;
    }
    constexpr size_t kFileBytes = static_cast<size_t>(kItemsPerFile) * kItemSize;
    for (auto _ : state) {
        const Clock::time_point began = Clock::now();
        std::unique_ptr<char[]> items(new char[kFileBytes * kFiles]);
        size_t offset = 0;
        for (const std::string& path : gBenchStore->paths) {
            const int fd = ::open(path.c_str(), O_RDONLY);
            const ssize_t read = ::pread(fd, items.get() + offset, kFileBytes, DataFileBuilder::kHeaderSize);
            ::close(fd);
            if (read != static_cast<ssize_t>(kFileBytes)) {
                state.SkipWithError("pread returned a wrong size");
                break;
            }
            offset += kFileBytes;
        }
        benchmark::DoNotOptimize(items.get());
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - began).count());
        // With rest, the same untimed 50 ms as the read frame's pause: after it, caches and clock
        // rate are as cold for this loop as for getValues. Without, the loop runs hot.
        if (state.range(0) != 0)
            QThread::msleep(kReadPauseMs);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kTotalItems);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kTotalItems * kItemSize);
}

// The real file system, with the opens and positioned reads of the data-file layer counted.
class CountingFileIo : public LoggerFileIo {
public:
    bool open(QFile& file, QIODevice::OpenMode mode) override
    {
        ++opens;
        return LoggerFileIo::open(file, mode);
    }
    ssize_t pread(int descriptor, void* buffer, size_t length, off_t position) override
    {
        ++reads;
        return LoggerFileIo::pread(descriptor, buffer, length, position);
    }

    std::atomic<int> opens{0};
    std::atomic<int> reads{0};
};

// The read system calls of this process so far (syscr of /proc/self/io); -1 where it can't be read.
long long readSystemCalls()
{
    QFile io(QStringLiteral("/proc/self/io"));
    if (!io.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : io.readAll().split('\n')) {
        if (line.startsWith("syscr:"))
            return line.mid(6).trimmed().toLongLong();
    }
    return -1;
}

void BM_HundredItems(benchmark::State& state)
{
    if (gDailyStore == nullptr || !gDailyStore->started) {
        state.SkipWithError("the store did not come up");
        return;
    }
    const DailyLogger& logger = gDailyStore->logger(static_cast<int>(state.range(0)));
    timespec start{};
    timespec end{};
    logger.range(state.range(1) != 0, start, end);
    LoggerApiBase api;
    const auto read = [&] {
        int firstItemId = 0;
        LoggerHeader header{};
        return api.getValues<Vtq, void*>(LoggerType::CYCLIC, logger.type->Id, start, end, -1, firstItemId,
                                         header);
    };
    // One untimed read with its system calls counted. The opening of /proc/self/io is one read
    // of its own, taken off.
    CountingFileIo io;
    LoggerFileIo* const previous = LoggerFileIo::install(&io);
    const long long readsBefore = readSystemCalls();
    const auto check = read();
    const long long readsAfter = readSystemCalls();
    LoggerFileIo::install(previous);
    if (check == nullptr || check->mNumItems != 100) {
        state.SkipWithError("getValues did not give the 100 items");
        return;
    }
    state.counters["opens"] = benchmark::Counter(io.opens.load());
    state.counters["preads"] = benchmark::Counter(io.reads.load());
    state.counters["syscr"] = benchmark::Counter(static_cast<double>(readsAfter - readsBefore - 1));
    for (auto _ : state) {
        const Clock::time_point began = Clock::now();
        const auto result = read();
        // The time up to the pause is the read.
        state.SetIterationTime(std::chrono::duration<double>(gPauseBegan - began).count());
        benchmark::DoNotOptimize(result->mItems);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * 100);
}

void hundredItemsArguments(benchmark::internal::Benchmark* benchmark)
{
    benchmark->ArgNames({"files", "newest"});
    for (const int newest : {1, 0})
        for (const int files : {10, 1000})
            benchmark->Args({files, newest});
    benchmark->UseManualTime()->Unit(benchmark::kMicrosecond);
}

BENCHMARK(BM_PlainRead)->Arg(1)->Arg(0)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GetValues)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_HundredItems)->Apply(hundredItemsArguments);

class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            std::string name;
            if (run.iterations > 0 && runNameForRatio(run, name)) {
                mSeconds[name] = run.GetAdjustedRealTime();
                mCounters[name] = run.counters;
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void printFileRatios() const
    {
        for (const int newest : {1, 0}) {
            std::printf("100 items %s:\n", newest != 0 ? "the newest" : "inside a file in the middle");
            double micros[2] = {};
            int index = 0;
            for (const int files : {10, 1000}) {
                const std::string name = "BM_HundredItems/files:" + std::to_string(files) +
                                         "/newest:" + std::to_string(newest) + "/manual_time";
                const auto time = mSeconds.find(name);
                const auto counters = mCounters.find(name);
                if (time == mSeconds.end() || counters == mCounters.end())
                    return;
                micros[index++] = time->second;
                std::printf("  %4d files: %8.1f us; per read %4.0f opens, %5.0f preads of data files, %5.0f "
                            "read system calls\n",
                            files, time->second, counters->second.at("opens").value,
                            counters->second.at("preads").value, counters->second.at("syscr").value);
            }
            if (micros[0] > 0.0)
                std::printf("  ratio 1000 files to 10 files: %.2f\n", micros[1] / micros[0]);
        }
        std::printf("target: a 100-item read at 1000 files at most 2 times the same read at 10 files\n");
    }

    void printRatio() const
    {
        const auto ours = mSeconds.find("BM_GetValues/manual_time");
        if (ours == mSeconds.end())
            return;
        const char* const baselines[][2] = {{"BM_PlainRead/1/manual_time", "rested as the frame"},
                                            {"BM_PlainRead/0/manual_time", "back to back, hot"}};
        for (const auto& baseline : baselines) {
            const auto plain = mSeconds.find(baseline[0]);
            if (plain == mSeconds.end() || plain->second <= 0.0)
                continue;
            std::printf("getValues of %d items over %d files: %.2f ms without the pause; plain read %s "
                        "%.2f ms; ratio %.3f\n",
                        kTotalItems, kFiles, ours->second, baseline[1], plain->second,
                        ours->second / plain->second);
        }
        std::printf("target: at least 0.85 of the plain read's speed under the same conditions (rested), "
                    "that is a time ratio of at most 1.18\n");
    }

private:
    std::map<std::string, double> mSeconds;
    std::map<std::string, benchmark::UserCounters> mCounters;
};

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (!initializeStoreBench(&argc, argv))
        return 1;
    setReadPauseObserverForTesting([](unsigned long milliseconds) {
        gPauseBegan = Clock::now();
        gPauseMs = milliseconds;
    });
    const auto store = std::make_unique<BenchStore>();
    if (!store->started) {
        std::fprintf(stderr, "store did not start: %s\n",
                     store->store.errorString().toLocal8Bit().constData());
        return 1;
    }
    gBenchStore = store.get();
    const auto daily = std::make_unique<DailyStore>();
    if (!daily->started) {
        std::fprintf(stderr, "the loggers of daily files were not made\n");
        return 1;
    }
    gDailyStore = daily.get();
    const long peakBeforeKb = peakResidentKb();
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatio();
    reporter.printFileRatios();
    std::printf("read pause: %lu ms after each read by time, timed apart\n", gPauseMs);
    std::printf("peak resident memory: %ld kB with the store and files up, %ld kB after the runs "
                "(one result is %d kB)\n",
                peakBeforeKb, peakResidentKb(), kTotalItems * kItemSize / 1024);
    benchmark::Shutdown();
    gDailyStore = nullptr;
    gBenchStore = nullptr;
    setReadPauseObserverForTesting(nullptr);
    return 0;
}

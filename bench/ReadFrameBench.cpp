// The read by time against a plain read of the same bytes, in one run on the same card:
// LoggerApiBase::getValues of 1,000,000 DataXtq<float> items spread over five data files of a
// catalogued logger, against a loop that opens each file, reads its items with pread into one
// array and closes it again. The read frame pauses 50 ms after every read by time on purpose;
// that pause is timed apart and left out of the comparison.
//
// QZLOGGER_SDCARD_SIMULATOR names the simulator; without it the one built alongside is used.

#include "LoggerTestSeams.h"
#include "BenchSupport.h"
#include "CataloguedFiles.h"
#include "DataFileBuilder.h"
#include "LoggerApiBase.h"
#include "LoggerDataItems.h"
#include "LoggerFileSystem.h"
#include "LoggerResult.h"
#include "WriterStore.h"

#include <QCoreApplication>
#include <QThread>
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
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

BenchStore* gBenchStore = nullptr;

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

BENCHMARK(BM_PlainRead)->Arg(1)->Arg(0)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GetValues)->UseManualTime()->Unit(benchmark::kMillisecond);

class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            std::string name;
            if (run.iterations > 0 && runNameForRatio(run, name))
                mSeconds[name] = run.GetAdjustedRealTime();
        }
        ConsoleReporter::ReportRuns(runs);
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
        std::printf("target: at most 1.25 of the plain read under the same conditions (rested)\n");
    }

private:
    std::map<std::string, double> mSeconds;
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
    const long peakBeforeKb = peakResidentKb();
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatio();
    std::printf("read pause: %lu ms after each read by time, timed apart\n", gPauseMs);
    std::printf("peak resident memory: %ld kB with the store and files up, %ld kB after the runs "
                "(one result is %d kB)\n",
                peakBeforeKb, peakResidentKb(), kTotalItems * kItemSize / 1024);
    benchmark::Shutdown();
    gBenchStore = nullptr;
    setReadPauseObserverForTesting(nullptr);
    return 0;
}

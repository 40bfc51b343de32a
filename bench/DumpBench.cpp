// qzlogger dump of 10,000,000 mean items (24 bytes each, 240 MB in 20 files of a catalogued
// logger) against cat of the same files, in one run on the same card. Each run starts the
// program as a user does and reads its peak resident memory from the kernel when it ends
// (wait4), so that the memory of the dump is measured, not that of this program:
//   - BM_Cat: cat of the 20 files into /dev/null, the baseline;
//   - BM_DumpRaw: qzlogger --card <card> dump ID --format raw --out /dev/null;
//   - BM_DumpCsv and BM_DumpJson: the same as text.
// The targets: raw within 3 times cat's wall-clock time, and every dump below 64 MiB of peak
// memory however many items it writes.
//
// QZLOGGER_SDCARD_SIMULATOR names the simulator; without it the one built alongside is used.

#include "BenchSupport.h"
#include "CataloguedFiles.h"
#include "DataFileBuilder.h"
#include "FileFaults.h"
#include "FileInfoPersistance.h"
#include "LoggerDataItems.h"
#include "LoggerFileSystem.h"
#include "WriterStore.h"

#include <QByteArray>
#include <QCoreApplication>
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kItemSize = static_cast<int>(sizeof(DataMean));
constexpr int kHeaderSize = DataFileBuilder::kHeaderSize;
constexpr int kTotalItems = 10000000;
constexpr int kFiles = 20;
constexpr int32_t kFirstSecond = 1763802000; // 2025-11-22, mid-day in any zone
const char* const kId = "mean_1s.bench_voltage.out.mean_out";

// Ten items a second.
DataMean itemAt(int index)
{
    DataMean item{};
    item.utc = DataTimespec{kFirstSecond + index / 10, (index % 10) * 100000000};
    item.quality = 0;
    item.min = 229.0f + static_cast<float>(index % 97) / 97.0f;
    item.mean = 230.0f + static_cast<float>(index % 89) / 89.0f;
    item.max = 231.0f + static_cast<float>(index % 83) / 83.0f;
    return item;
}

struct BenchStore {
    WriterStore store;
    std::vector<std::string> paths;
    bool started = false;

    BenchStore() { started = store.start() && create(); }

    bool create()
    {
        std::shared_ptr<DefnBaseType> type =
            CataloguedFiles::measureType(QString::fromLatin1(kId), LoggerDataType::MEAN);
        if (type == nullptr)
            return false;
        const int perFile = kTotalItems / kFiles;
        QByteArray bytes(kHeaderSize + perFile * kItemSize, '\0');
        for (int file = 0; file < kFiles; ++file) {
            const int first = file * perFile;
            const QByteArray header = DataFileBuilder::headerBytes(kFirstSecond + first / 10, 0,
                                                                   static_cast<int32_t>(LoggerDataType::MEAN),
                                                                   type->Id, 0, first, 1.0f, 1.0f);
            std::memcpy(bytes.data(), header.constData(), kHeaderSize);
            for (int item = 0; item < perFile; ++item) {
                const DataMean mean = itemAt(first + item);
                std::memcpy(bytes.data() + kHeaderSize + static_cast<qint64>(item) * kItemSize, &mean,
                            kItemSize);
            }
            const auto info = FileInfoPersistance().createInstance(LoggerType::CYCLIC);
            info->DataType = LoggerDataType::MEAN;
            info->UtcCreated = DataTimespec{kFirstSecond + first / 10, 0};
            info->GuidLow = 0x30000u + static_cast<uint32_t>(file);
            info->GuidHigh = 0;
            info->HeaderSize = kHeaderSize;
            info->DataBlockSize = kItemSize;
            info->UtcStart = itemAt(first).utc;
            info->UtcEnd = itemAt(first + perFile - 1).utc;
            const QString path = LoggerFileSystem::getFullFileName(info.get());
            if (!FileFaults::writeAll(path, bytes) || !CataloguedFiles::catalogueFile(type, info))
                return false;
            paths.push_back(path.toStdString());
        }
        return true;
    }
};

BenchStore* gStore = nullptr;

// Runs a program with its standard output into /dev/null and answers its peak resident memory
// in kilobytes, or -1 where it did not run or did not end with status 0.
long runProgram(const std::vector<std::string>& arguments)
{
    const pid_t child = fork();
    if (child == 0) {
        std::vector<char*> argv;
        for (const std::string& argument : arguments)
            argv.push_back(const_cast<char*>(argument.c_str()));
        argv.push_back(nullptr);
        if (std::freopen("/dev/null", "w", stdout) == nullptr)
            _exit(126);
        execv(argv[0], argv.data());
        _exit(127);
    }
    if (child < 0)
        return -1;
    int status = 0;
    rusage usage{};
    if (wait4(child, &status, 0, &usage) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return -1;
    return usage.ru_maxrss;
}

void runTimed(benchmark::State& state, const std::vector<std::string>& arguments)
{
    long peak = 0;
    for (auto _ : state) {
        const long kilobytes = runProgram(arguments);
        if (kilobytes < 0) {
            state.SkipWithError("the program failed");
            return;
        }
        peak = std::max(peak, kilobytes);
    }
    state.counters["peak_MiB"] = static_cast<double>(peak) / 1024.0;
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kTotalItems);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kTotalItems * kItemSize);
}

std::vector<std::string> dumpArguments(const char* format)
{
    return {QZLOGGER_BENCH_TOOL,
            "--card",
            gStore->store.mountPoint().toStdString(),
            "dump",
            kId,
            "--format",
            format,
            "--out",
            "/dev/null"};
}

void BM_Cat(benchmark::State& state)
{
    std::vector<std::string> arguments{"/bin/cat"};
    arguments.insert(arguments.end(), gStore->paths.begin(), gStore->paths.end());
    runTimed(state, arguments);
}

void BM_DumpRaw(benchmark::State& state)
{
    runTimed(state, dumpArguments("raw"));
}

void BM_DumpCsv(benchmark::State& state)
{
    runTimed(state, dumpArguments("csv"));
}

void BM_DumpJson(benchmark::State& state)
{
    runTimed(state, dumpArguments("json"));
}

BENCHMARK(BM_Cat)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);
BENCHMARK(BM_DumpRaw)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);
BENCHMARK(BM_DumpCsv)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);
BENCHMARK(BM_DumpJson)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);

// Prints raw against cat and the peak memory of each dump against its bound.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            std::string name;
            if (run.iterations > 0 && !run.error_occurred && runNameForRatio(run, name)) {
                const auto peak = run.counters.find("peak_MiB");
                mRuns[name] = {run.GetAdjustedRealTime(),
                               peak != run.counters.end() ? peak->second.value : 0.0};
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void printRatios() const
    {
        const Figures cat = find("BM_Cat");
        const Figures raw = find("BM_DumpRaw");
        if (cat.milliseconds > 0.0 && raw.milliseconds > 0.0)
            std::printf("dump --format raw of %d items: %.0f ms, cat of the same files %.0f ms: ratio %.2f "
                        "(target: at most 3)\n",
                        kTotalItems, raw.milliseconds, cat.milliseconds, raw.milliseconds / cat.milliseconds);
        for (const char* name : {"BM_DumpRaw", "BM_DumpCsv", "BM_DumpJson"}) {
            const Figures figures = find(name);
            if (figures.milliseconds > 0.0)
                std::printf("%s: peak memory %.1f MiB (target: below 64 MiB), cat %.1f MiB\n", name,
                            figures.peakMiB, cat.peakMiB);
        }
    }

private:
    struct Figures {
        double milliseconds = 0.0;
        double peakMiB = 0.0;
    };

    Figures find(const std::string& name) const
    {
        const auto found = mRuns.find(
            name + "/iterations:" + (name == "BM_Cat" || name == "BM_DumpRaw" ? "5" : "1") + "/real_time");
        return found == mRuns.end() ? Figures{} : found->second;
    }

    std::map<std::string, Figures> mRuns;
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
    gStore = store.get();
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatios();
    benchmark::Shutdown();
    gStore = nullptr;
    return 0;
}

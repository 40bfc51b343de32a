// The data file's two hot operations against plain POSIX I/O of the same bytes, in one run on
// the same file: the binary search by time (with the number of 8-byte reads it makes) and the
// read of a 100,000-item range.

#include "BenchSupport.h"
#include <LoggerDataItems.h>
#include <LoggerFileInfo.h>
#include <LoggerFileSystem.h>

#include <QFile>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fcntl.h>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using Item = DataXtq<float>;
constexpr int kFileItems = 1000000;
constexpr int kRangeItems = 100000;
constexpr int kBlockSize = static_cast<int>(sizeof(Item));

struct BenchFile {
    QTemporaryDir root;
    LoggerFileInfo info;
    std::string path;
    std::vector<timespec> queries;

    BenchFile()
    {
        LoggerFileSystem::setPath(root.path());
        timespec created{};
        created.tv_sec = 1782864000;
        LoggerFileSystem::initFileInfo(created, LoggerType::CYCLIC, LoggerDataType::VTQ, kBlockSize, &info);
        QFile file;
        LoggerFileSystem::createFile(&info, file, 1, 0, 0, 1.0f, 1.0f);
        std::vector<Item> items(kFileItems);
        for (int i = 0; i < kFileItems; ++i) {
            items[i] = Item{};
            items[i].utc = DataTimespec{static_cast<int32_t>(created.tv_sec + i), 0};
            items[i].value = static_cast<float>(i);
        }
        file.open(QIODevice::Append);
        file.write(reinterpret_cast<const char*>(items.data()),
                   static_cast<qint64>(items.size()) * kBlockSize);
        file.close();
        path = LoggerFileSystem::getFullFileName(&info).toStdString();

        std::mt19937 random(42);
        std::uniform_int_distribution<int> second(0, kFileItems - 1);
        std::uniform_int_distribution<int> nanosecond(0, 999999999);
        for (int i = 0; i < 1024; ++i) {
            timespec t{};
            t.tv_sec = created.tv_sec + second(random);
            t.tv_nsec = (i % 2) ? nanosecond(random) : 0;
            queries.push_back(t);
        }
    }
};

BenchFile& benchFile()
{
    static BenchFile file;
    return file;
}

// Read system calls of this process so far, from the kernel's I/O accounting.
long readSyscalls()
{
    FILE* io = std::fopen("/proc/self/io", "r");
    if (io == nullptr)
        return -1;
    char key[64];
    long value = 0;
    long result = -1;
    while (std::fscanf(io, "%63s %ld", key, &value) == 2) {
        if (std::string(key) == "syscr:") {
            result = value;
            break;
        }
    }
    std::fclose(io);
    return result;
}

void BM_GetUtcPosition(benchmark::State& state)
{
    BenchFile& file = benchFile();
    size_t next = 0;
    long calls = 0;
    const long readsBefore = readSyscalls();
    for (auto _ : state) {
        const timespec& utc = file.queries[next++ % file.queries.size()];
        benchmark::DoNotOptimize(LoggerFileSystem::getUtcPosition(&file.info, utc, kBlockSize, true));
        ++calls;
    }
    const double readsPerSearch =
        static_cast<double>(readSyscalls() - readsBefore) / static_cast<double>(calls);
    state.counters["reads"] = readsPerSearch;
    state.counters["bound"] = std::log2(static_cast<double>(kFileItems)) + 3.0;
}

// The same search written directly on a file descriptor, as a floor for the cost of the
// probes: lo and hi close in until they are neighbours.
long plainSearch(int fd, off_t size, const timespec& utc)
{
    long lo = 0;
    long hi = (size - kLoggerHeaderSize) / kBlockSize - 1;
    DataTimespec probe{};
    while (hi - lo > 1) {
        const long mid = (lo + hi) / 2;
        ::pread(fd, &probe, sizeof(probe), kLoggerHeaderSize + mid * kBlockSize);
        if (probe.tv_sec < utc.tv_sec || (probe.tv_sec == utc.tv_sec && probe.tv_nsec < utc.tv_nsec))
            lo = mid;
        else
            hi = mid;
    }
    return hi;
}

void BM_PlainBinarySearch(benchmark::State& state)
{
    BenchFile& file = benchFile();
    size_t next = 0;
    for (auto _ : state) {
        const timespec& utc = file.queries[next++ % file.queries.size()];
        const int fd = ::open(file.path.c_str(), O_RDONLY);
        const off_t size = ::lseek(fd, 0, SEEK_END);
        benchmark::DoNotOptimize(plainSearch(fd, size, utc));
        ::close(fd);
    }
}

void BM_ReadData(benchmark::State& state)
{
    BenchFile& file = benchFile();
    std::vector<char> buffer(static_cast<size_t>(kRangeItems) * kBlockSize);
    timespec start{};
    start.tv_sec = file.info.UtcCreated.tv_sec + 400000;
    timespec end = start;
    end.tv_sec += kRangeItems - 1;
    int firstItemIndex = 0;
    for (auto _ : state) {
        const int bytes =
            LoggerFileSystem::readData(&file.info, start, end, -1, kBlockSize, buffer.data(), firstItemIndex);
        if (bytes != static_cast<int>(buffer.size()))
            state.SkipWithError("readData returned a wrong size");
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(buffer.size()));
}

void BM_PlainRead(benchmark::State& state)
{
    BenchFile& file = benchFile();
    std::vector<char> buffer(static_cast<size_t>(kRangeItems) * kBlockSize);
    const off_t offset = kLoggerHeaderSize + static_cast<off_t>(400000) * kBlockSize;
    for (auto _ : state) {
        const int fd = ::open(file.path.c_str(), O_RDONLY);
        ::lseek(fd, offset, SEEK_SET);
        const ssize_t bytes = ::read(fd, buffer.data(), buffer.size());
        ::close(fd);
        if (bytes != static_cast<ssize_t>(buffer.size()))
            state.SkipWithError("read returned a wrong size");
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(buffer.size()));
}

// What readData does, written with plain calls: both ends searched, then one read.
void BM_PlainSearchAndRead(benchmark::State& state)
{
    BenchFile& file = benchFile();
    std::vector<char> buffer(static_cast<size_t>(kRangeItems) * kBlockSize);
    timespec start{};
    start.tv_sec = file.info.UtcCreated.tv_sec + 400000;
    timespec end = start;
    end.tv_sec += kRangeItems - 1;
    for (auto _ : state) {
        const int fd = ::open(file.path.c_str(), O_RDONLY);
        const off_t size = ::lseek(fd, 0, SEEK_END);
        const long first = plainSearch(fd, size, start);
        const long last = plainSearch(fd, size, end);
        const size_t bytes = static_cast<size_t>(last - first + 1) * kBlockSize;
        const ssize_t read = ::pread(fd, buffer.data(), std::min(bytes, buffer.size()),
                                     kLoggerHeaderSize + first * kBlockSize);
        ::close(fd);
        if (read != static_cast<ssize_t>(buffer.size()))
            state.SkipWithError("read returned a wrong size");
        benchmark::ClobberMemory();
    }
}

BENCHMARK(BM_GetUtcPosition);
BENCHMARK(BM_PlainBinarySearch);
BENCHMARK(BM_ReadData);
BENCHMARK(BM_PlainRead);
BENCHMARK(BM_PlainSearchAndRead);

// Keeps the time per iteration of each run so that the ratios can be printed at the end.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            std::string name;
            if (!runNameForRatio(run, name))
                continue;
            mTimes[name] = run.GetAdjustedRealTime();
            auto reads = run.counters.find("reads");
            if (reads != run.counters.end())
                mReads = reads->second.value;
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void printRatios() const
    {
        auto ratio = [this](const char* ours, const char* baseline) {
            auto a = mTimes.find(ours);
            auto b = mTimes.find(baseline);
            if (a == mTimes.end() || b == mTimes.end() || b->second <= 0.0)
                return;
            std::printf("%-22s %12.1f ns  %-22s %12.1f ns  ratio %.3f\n", ours, a->second, baseline,
                        b->second, a->second / b->second);
        };
        ratio("BM_GetUtcPosition", "BM_PlainBinarySearch");
        ratio("BM_ReadData", "BM_PlainRead");
        ratio("BM_ReadData", "BM_PlainSearchAndRead");
        const double bound = std::log2(static_cast<double>(kFileItems)) + 3.0;
        std::printf("getUtcPosition: %.2f reads of 8 bytes per search on %d items (bound %.2f): %s\n", mReads,
                    kFileItems, bound, mReads <= bound ? "within" : "EXCEEDED");
        std::printf("readData of %d items: target within 1.2x of the plain read\n", kRangeItems);
    }

private:
    std::map<std::string, double> mTimes;
    double mReads = 0.0;
};

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatios();
    benchmark::Shutdown();
    return 0;
}

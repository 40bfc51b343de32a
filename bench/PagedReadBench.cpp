// One page of power-quality events read by position against a hand-written reader of the same
// bytes, in one run on the same card: 100 events at offset 500, counted back from a time, out of
// 1,000,000 DataPqEvent records (232 bytes each) of a catalogued logger, once spread over 10
// files and once over 100. The store is timed through LoggerApi::getSelectedPqEvents (the
// getter a display pages with: identification, the type loaded, the page, the check of the
// events) and through getSelectedItems with the logger's catalogue id (the page alone); the
// plain reader opens the files from the newest backward, finds the time with a binary search of
// pread'ed stamps and preads the page. The older files lie outside the page: what they cost the
// store is the difference between the two loggers, printed per file.
//
// Before each timed run of the store one page is read untimed with its file operations and the
// catalogue's statements counted, and the load of the type with its file list from the catalogue
// is timed alone, so that a reader of the output sees where the time goes.
//
// QZLOGGER_SDCARD_SIMULATOR names the simulator; without it the one built alongside is used.

#include "BenchSupport.h"
#include "CataloguedFiles.h"
#include "DataFileBuilder.h"
#include "Database.h"
#include "FileFaults.h"
#include "FileInfoPersistance.h"
#include "LoggerApi.h"
#include "LoggerApiBase.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerFileIo.h"
#include "LoggerFileSystem.h"
#include "LoggerResult.h"
#include "SqliteHooks.h"
#include "WriterStore.h"

#include <QByteArray>
#include <QCoreApplication>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kItemSize = static_cast<int>(sizeof(DataPqEvent));
constexpr int kHeaderSize = DataFileBuilder::kHeaderSize;
constexpr int kTotalEvents = 1000000;
constexpr int32_t kFirstSecond = 1763802000; // 2025-11-22, mid-day in any zone; one event a second
constexpr int kPageOffset = 500;
constexpr int kPageCount = 100;
// The two time points of a page: just after the newest event, and inside the newest file of
// either logger, half a second after event 995,000, so that the search has to narrow down.
constexpr int kTimeAfterLast = 0;
constexpr int kTimeInsideNewest = 1;
constexpr int kInsideEvent = 995000;

static_assert(kItemSize == 232, "a power-quality event is 232 bytes on the card");

timespec timeOf(int where)
{
    timespec time{};
    if (where == kTimeAfterLast) {
        time.tv_sec = kFirstSecond + kTotalEvents;
    } else {
        time.tv_sec = kFirstSecond + kInsideEvent;
        time.tv_nsec = 500000000;
    }
    return time;
}

// The index of the oldest event of the page at that time point.
int firstEventOfPage(int where)
{
    const int newest = where == kTimeAfterLast ? kTotalEvents - 1 : kInsideEvent;
    return newest - kPageOffset - kPageCount + 1;
}

// Event number `index`: one a second, 20 to 69 ms long, with every range of its rms records and
// its sample set to the event's own span, so that the getter's check of the ranges finds nothing
// to repair.
DataPqEvent eventAt(int index)
{
    DataPqEvent event{};
    event.utc = DataTimespec{kFirstSecond + index, 0};
    event.duration = DataTimespec{0, (20 + index % 50) * 1000000};
    const DataTimespec end{event.utc.tv_sec, event.duration.tv_nsec};
    event.triggerType = index % 2;
    event.triggerSource = 0;
    event.systemType = 0;
    event.referenceValue = 230.0f;
    event.eventValue = 150.0f + static_cast<float>(index % 60);
    event.thirdValue = 0.0f;
    for (DataUtcRange& range : event.rms)
        range = DataUtcRange{event.utc, end};
    event.sample = DataUtcRange{event.utc, end};
    return event;
}

// One power-quality event logger of kTotalEvents events in `files` equal files, laid down byte
// by byte where the store looks for them and catalogued as the writer catalogues them.
struct PagedLogger {
    QString id;
    int files = 0;
    std::shared_ptr<DefnBaseType> type;
    std::vector<std::string> paths; // oldest first

    bool create(const QString& configId, int fileCount, uint32_t guidBase)
    {
        id = configId;
        files = fileCount;
        type = CataloguedFiles::pqEventType(configId);
        if (type == nullptr)
            return false;
        const int perFile = kTotalEvents / files;
        QByteArray bytes(kHeaderSize + perFile * kItemSize, '\0');
        for (int file = 0; file < files; ++file) {
            const int first = file * perFile;
            const QByteArray header = DataFileBuilder::headerBytes(
                kFirstSecond + first, 0, static_cast<int32_t>(LoggerDataType::PQEVENT), type->Id, 0, first,
                1.0f, 1.0f);
            std::memcpy(bytes.data(), header.constData(), kHeaderSize);
            for (int item = 0; item < perFile; ++item) {
                const DataPqEvent event = eventAt(first + item);
                std::memcpy(bytes.data() + kHeaderSize + static_cast<qint64>(item) * kItemSize, &event,
                            kItemSize);
            }
            const auto info = FileInfoPersistance().createInstance(LoggerType::PQEVENT);
            info->DataType = LoggerDataType::PQEVENT;
            info->UtcCreated = DataTimespec{kFirstSecond + first, 0};
            info->GuidLow = guidBase + static_cast<uint32_t>(file);
            info->GuidHigh = 0;
            info->HeaderSize = kHeaderSize;
            info->DataBlockSize = kItemSize;
            info->UtcStart = eventAt(first).utc;
            info->UtcEnd = eventAt(first + perFile - 1).utc;
            const QString path = LoggerFileSystem::getFullFileName(info.get());
            if (!FileFaults::writeAll(path, bytes) || !CataloguedFiles::catalogueFile(type, info))
                return false;
            paths.push_back(path.toStdString());
        }
        return true;
    }
};

struct BenchStore {
    WriterStore store;
    PagedLogger tenFiles;
    PagedLogger hundredFiles;
    bool started = false;

    BenchStore()
    {
        started = store.start() && tenFiles.create(QStringLiteral("pq_page.files10"), 10, 0x10000) &&
                  hundredFiles.create(QStringLiteral("pq_page.files100"), 100, 0x20000);
    }

    const PagedLogger& logger(int files) const { return files == 10 ? tenFiles : hundredFiles; }
};

BenchStore* gBenchStore = nullptr;

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

// Runs one page untimed and puts its data-file opens and reads and the catalogue's statements
// into the run's counters.
template <typename Page> void countOnePage(benchmark::State& state, const Page& page)
{
    CountingFileIo io;
    LoggerFileIo* const previous = LoggerFileIo::install(&io);
    const std::vector<std::string> statements =
        SqliteHooks::traceStatements(LoggerDb::getInstance().getDb()->handle(), page);
    LoggerFileIo::install(previous);
    state.counters["opens"] = benchmark::Counter(io.opens.load());
    state.counters["preads"] = benchmark::Counter(io.reads.load());
    state.counters["sql"] = benchmark::Counter(static_cast<double>(statements.size()));
}

// The page as a hand-written reader finds it: from the newest file backward, each file opened,
// its size taken and the number of its items not later than time found by a binary search of
// pread'ed stamps, until the files seen hold offset + count items; then each file's share of
// the page is read with one pread, oldest first into `page`. The number of events read.
int plainPage(const std::vector<std::string>& paths, timespec time, int offset, int count, DataPqEvent* page)
{
    struct Seen {
        int descriptor;
        int64_t items;  // items not later than time
        int64_t before; // items of the newer files seen
    };
    std::vector<Seen> seen;
    int64_t total = 0;
    const int64_t wanted = static_cast<int64_t>(offset) + count;
    for (auto path = paths.rbegin(); path != paths.rend() && total < wanted; ++path) {
        const int descriptor = ::open(path->c_str(), O_RDONLY);
        if (descriptor < 0)
            continue;
        struct stat status {};
        ::fstat(descriptor, &status);
        const int64_t items = (status.st_size - kHeaderSize) / kItemSize;
        int64_t lo = 0; // items below lo are not later than time, items from hi on are
        int64_t hi = items;
        while (lo < hi) {
            const int64_t mid = (lo + hi) / 2;
            DataTimespec stamp{};
            if (::pread(descriptor, &stamp, sizeof(stamp), kHeaderSize + mid * kItemSize) != sizeof(stamp))
                break;
            const bool later =
                stamp.tv_sec > time.tv_sec || (stamp.tv_sec == time.tv_sec && stamp.tv_nsec > time.tv_nsec);
            if (later)
                hi = mid;
            else
                lo = mid + 1;
        }
        seen.push_back(Seen{descriptor, lo, total});
        total += lo;
    }
    // Counted back from the newest item not later than time, the page holds the numbers
    // offset + 1 up to pageTop; number pageTop, the oldest, goes first.
    const int64_t pageTop = std::min(wanted, total);
    int done = 0;
    for (const Seen& file : seen) {
        const int64_t newest = std::max<int64_t>(file.before + 1, offset + 1);
        const int64_t oldest = std::min(file.before + file.items, pageTop);
        if (newest <= oldest) {
            const int64_t firstItem = file.items - (oldest - file.before);
            const int64_t items = oldest - newest + 1;
            const ssize_t bytes = ::pread(file.descriptor, page + (pageTop - oldest), items * kItemSize,
                                          kHeaderSize + firstItem * kItemSize);
            if (bytes == items * kItemSize)
                done += static_cast<int>(items);
        }
        ::close(file.descriptor);
    }
    return done;
}

bool storeIsUp(benchmark::State& state)
{
    if (gBenchStore == nullptr || !gBenchStore->started) {
        state.SkipWithError("the store did not come up");
        return false;
    }
    return true;
}

// Whether `events` are the page's events, oldest first.
bool isThePage(const DataPqEvent* events, int count, int where)
{
    if (count != kPageCount)
        return false;
    const int first = firstEventOfPage(where);
    for (int index = 0; index < count; ++index) {
        const DataPqEvent expected = eventAt(first + index);
        if (std::memcmp(&events[index], &expected, sizeof(DataPqEvent)) != 0)
            return false;
    }
    return true;
}

void BM_GetSelectedPqEvents(benchmark::State& state)
{
    if (!storeIsUp(state))
        return;
    const PagedLogger& logger = gBenchStore->logger(static_cast<int>(state.range(0)));
    const timespec time = timeOf(static_cast<int>(state.range(1)));
    LoggerApi api;
    const PtrLoggerResultPqEvent check = api.getSelectedPqEvents(logger.id, time, kPageOffset, kPageCount);
    if (check == nullptr || !isThePage(check->mItems, check->mNumItems, static_cast<int>(state.range(1)))) {
        state.SkipWithError("getSelectedPqEvents did not give the page");
        return;
    }
    countOnePage(state, [&] { api.getSelectedPqEvents(logger.id, time, kPageOffset, kPageCount); });
    for (auto _ : state) {
        const PtrLoggerResultPqEvent result =
            api.getSelectedPqEvents(logger.id, time, kPageOffset, kPageCount);
        benchmark::DoNotOptimize(result->mItems);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kPageCount);
}

void BM_GetSelectedItems(benchmark::State& state)
{
    if (!storeIsUp(state))
        return;
    const PagedLogger& logger = gBenchStore->logger(static_cast<int>(state.range(0)));
    const timespec time = timeOf(static_cast<int>(state.range(1)));
    const int typeId = logger.type->Id;
    LoggerApiBase api;
    const auto page = [&] {
        int firstItemId = 0;
        return api.getSelectedItems<DataPqEvent, void*>(
            logger.id, LoggerType::PQEVENT, LoggerDataType::PQEVENT, time, kPageOffset + kPageCount,
            kPageCount, typeId, firstItemId);
    };
    const auto check = page();
    if (check == nullptr || !isThePage(check->mItems, check->mNumItems, static_cast<int>(state.range(1)))) {
        state.SkipWithError("getSelectedItems did not give the page");
        return;
    }
    countOnePage(state, [&] { page(); });
    for (auto _ : state) {
        const auto result = page();
        benchmark::DoNotOptimize(result->mItems);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kPageCount);
}

// The part of a page that grows with the logger's files: the type loaded from the catalogue by
// its id, with the rows of all its files. getSelectedItems does it once, the getter four times
// (the identification, the getter's own load, and the template's lookup by id and load).
void BM_ReadBaseType(benchmark::State& state)
{
    if (!storeIsUp(state))
        return;
    const PagedLogger& logger = gBenchStore->logger(static_cast<int>(state.range(0)));
    LoggerApiBase api;
    const auto check = api.readBaseType(LoggerType::PQEVENT, logger.type->Id);
    if (check == nullptr || check->getFileListSize() != logger.files) {
        state.SkipWithError("readBaseType did not give the logger with its files");
        return;
    }
    countOnePage(state, [&] { api.readBaseType(LoggerType::PQEVENT, logger.type->Id); });
    for (auto _ : state) {
        const auto type = api.readBaseType(LoggerType::PQEVENT, logger.type->Id);
        benchmark::DoNotOptimize(type.get());
    }
}

void BM_PlainPage(benchmark::State& state)
{
    if (!storeIsUp(state))
        return;
    const PagedLogger& logger = gBenchStore->logger(static_cast<int>(state.range(0)));
    const timespec time = timeOf(static_cast<int>(state.range(1)));
    std::vector<DataPqEvent> page(kPageCount);
    if (!isThePage(page.data(), plainPage(logger.paths, time, kPageOffset, kPageCount, page.data()),
                   static_cast<int>(state.range(1)))) {
        state.SkipWithError("the plain reader did not give the page");
        return;
    }
    for (auto _ : state) {
        // A new array per page, as the store allocates its result.
        std::unique_ptr<DataPqEvent[]> events(new DataPqEvent[kPageCount]);
        benchmark::DoNotOptimize(plainPage(logger.paths, time, kPageOffset, kPageCount, events.get()));
        benchmark::DoNotOptimize(events.get());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * kPageCount);
}

void pageArguments(benchmark::internal::Benchmark* benchmark)
{
    benchmark->ArgNames({"files", "time"});
    for (const int where : {kTimeAfterLast, kTimeInsideNewest})
        for (const int files : {10, 100})
            benchmark->Args({files, where});
    benchmark->UseRealTime()->Unit(benchmark::kMicrosecond);
}

BENCHMARK(BM_PlainPage)->Apply(pageArguments);
BENCHMARK(BM_GetSelectedItems)->Apply(pageArguments);
BENCHMARK(BM_GetSelectedPqEvents)->Apply(pageArguments);
BENCHMARK(BM_ReadBaseType)->ArgName("files")->Arg(10)->Arg(100)->UseRealTime()->Unit(benchmark::kMicrosecond);

// Prints the figures of each page twice: in wall-clock time, which the target is about, and in
// the CPU time of the reading thread, which stays steady where other processes share the cores.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            std::string name;
            if (run.iterations > 0 && runNameForRatio(run, name))
                mMicroseconds[name] = Times{run.GetAdjustedRealTime(), run.GetAdjustedCPUTime()};
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void printRatios() const
    {
        for (const bool cpu : {false, true}) {
            std::printf("%s:\n", cpu ? "CPU time of the reading thread" : "wall-clock time");
            for (const int where : {kTimeAfterLast, kTimeInsideNewest})
                printPage(where, cpu);
            const double load10 = find("BM_ReadBaseType/files:10/real_time", cpu);
            const double load100 = find("BM_ReadBaseType/files:100/real_time", cpu);
            if (load10 > 0.0 && load100 > 0.0)
                std::printf(
                    "  the type with its file list loaded from the catalogue: %.1f us with 10 files, %.1f us "
                    "with 100, %.2f us for each further file\n",
                    load10, load100, (load100 - load10) / 90.0);
        }
        std::printf("target: at most 1.5 of the plain reader, the older files no more than one probe each\n");
    }

private:
    struct Times {
        double real = 0.0;
        double cpu = 0.0;
    };

    void printPage(int where, bool cpu) const
    {
        std::printf("  page of %d events at offset %d, time %s:\n", kPageCount, kPageOffset,
                    where == kTimeAfterLast ? "after the newest event" : "inside the newest file");
        double perFile[3] = {};
        for (const int files : {10, 100}) {
            const double plain = find("BM_PlainPage", files, where, cpu);
            const double items = find("BM_GetSelectedItems", files, where, cpu);
            const double getter = find("BM_GetSelectedPqEvents", files, where, cpu);
            if (plain <= 0.0 || items <= 0.0 || getter <= 0.0)
                return;
            std::printf(
                "    %3d files: getSelectedPqEvents %7.1f us, getSelectedItems %7.1f us, plain %5.1f us; "
                "ratio %.2f and %.2f\n",
                files, getter, items, plain, getter / plain, items / plain);
            const double sign = files == 10 ? -1.0 : 1.0;
            perFile[0] += sign * getter / 90.0;
            perFile[1] += sign * items / 90.0;
            perFile[2] += sign * plain / 90.0;
        }
        std::printf(
            "    each of the 90 older files adds: getSelectedPqEvents %.2f us, getSelectedItems %.2f us, "
            "plain %.2f us\n",
            perFile[0], perFile[1], perFile[2]);
    }

    double find(const char* benchmark, int files, int where, bool cpu) const
    {
        return find(std::string(benchmark) + "/files:" + std::to_string(files) +
                        "/time:" + std::to_string(where) + "/real_time",
                    cpu);
    }

    double find(const std::string& name, bool cpu) const
    {
        const auto found = mMicroseconds.find(name);
        if (found == mMicroseconds.end())
            return 0.0;
        return cpu ? found->second.cpu : found->second.real;
    }

    std::map<std::string, Times> mMicroseconds;
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
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatios();
    benchmark::Shutdown();
    gBenchStore = nullptr;
    return 0;
}

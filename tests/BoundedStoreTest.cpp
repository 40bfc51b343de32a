// The store stays inside a card of a set size however long it writes. A writer process writes
// simulated days of an instrument's measurements as fast as it can, more than the card holds, in
// three families of loggers: 3-second means through a cache (CYCLIC/MEAN), 10-minute values of
// eight quantities (CYCLIC/VTQ) and entries of the operator log (OPERATOR). Every item must be
// taken, and no write or file may fail.
//
// The parent holds the writer still (SIGSTOP) every 20 ms and takes the measure of the card: the
// bytes of each family's files, told apart by the tag that begins a file's name, the free space,
// and which files have gone. Every measure must find
//   - each family within its quota, a percentage of the loggers' space (the card's size minus its
//     reserve of 5% minus the catalogue), plus one file: its largest;
//   - the free space at or above the reserve (where the reserve is what evicts, below it for a
//     moment at most by what the writer allocated since it last read the free space);
//   - every file that went older than every file of its family still there: a family's files are
//     always the newest run of what it wrote.
// After the run, each logger's files hold its items without a gap up to the last one written, and
// a writer started anew on the card sets its accounts to the bytes of each family's files, rounded
// up to whole blocks where the store measures the card with statvfs.
//
// Three cards: a tmpfs measured with statvfs, where the quotas keep the card above its reserve
// (two reader processes read the whole range of the means meanwhile, and every answer must hold
// the means without a gap from the oldest still there to the newest written); the same with
// quotas beyond the card, where the reserve keeps it from filling; and a logger partition of a set
// size that the card service reports on a file system with much more room.

#include "ChildTestProcess.h"
#include "LogCapture.h"
#include "LoggerApiInterface.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerHeader.h"
#include "LoggerMemoryInterface.h"
#include "LoggerOperatorInterface.h"
#include "LoggerResult.h"
#include "LoggerTemplate.h"
#include "MeanItemFiles.h"
#include "ProgressFile.h"
#include "TmpfsMount.h"
#include "TypedTestLogger.h"
#include "WriterStore.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QList>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QThread>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iostream>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <sys/statvfs.h>
#include <unistd.h>

namespace {

constexpr int kSecondsPerDay = 86400;
constexpr int kMeanInterval = 3;     // seconds
constexpr int kVtqInterval = 600;    // seconds
constexpr int kMeanCacheItems = 100; // the cache hands the engine blocks of this many means
constexpr int kCacheQuietMs = 5000;  // or what it holds after this quiet period
constexpr int kProgressEveryItems = 1000;
const char* const kMeanId = "mean_3s.voltage_l1.out.mean_out";
const char* const kVtqIds[] = {"aggr.mean_10min.frequency.out",  "aggr.mean_10min.voltage_l1.out",
                               "aggr.mean_10min.voltage_l2.out", "aggr.mean_10min.voltage_l3.out",
                               "aggr.mean_10min.current_l1.out", "aggr.mean_10min.current_l2.out",
                               "aggr.mean_10min.current_l3.out", "aggr.mean_10min.current_n.out"};
constexpr int kVtqLoggers = static_cast<int>(std::size(kVtqIds));

constexpr const char* kFirstSecondVariable = "QZLOGGER_BOUNDED_FIRST_SECOND";
constexpr const char* kDaysVariable = "QZLOGGER_BOUNDED_DAYS";
constexpr const char* kQuotasVariable = "QZLOGGER_BOUNDED_QUOTAS";
constexpr const char* kOperatorSecondsVariable = "QZLOGGER_BOUNDED_OPERATOR_SECONDS";
constexpr const char* kProgressVariable = "QZLOGGER_BOUNDED_PROGRESS";

// The reserve below which the store evicts whatever a family's share; the card stays below the
// 64 GB above which it would be 1%.
constexpr double kReserveShare = 0.05;

// How often the parent takes the measure of the card, and how long the writer may take.
constexpr int kMeasurePeriodMs = 20;
constexpr int kWriterDeadlineMs = 240000;
// Readers read until the parent closes their input once the writer is done; one that is still
// reading after this long has lost its parent. A read that finds files pauses 50 ms, so a reader
// that ran beside the writer has made a good number of reads.
constexpr int kReaders = 2;
constexpr int kReaderLifetimeMs = 300000;
constexpr int kLeastReadsPerReader = 3;
// The tmpfs of the card, and the logger partition that the card service reports in the partition
// test. A writer writes about 740 kB a simulated day, and 45 to 50 days are two cards' worth.
constexpr qint64 kCardBytes = 16 * 1024 * 1024;
constexpr qint64 kPartitionBytes = 16 * 1024 * 1024;
// How far below its reserve a card may go for a moment on the reserve route: eviction follows a
// read of the free space that found the card below it, so the card goes below it by what the
// writer allocated since the read before: a block or two of means, one item of each other logger,
// a page opened in each of their files, a new file's header and the catalogue's journal.
constexpr qint64 kReserveOvershoot = 256 * 1024;

// The three families of the writer, in the order of the quotas in kQuotasVariable.
enum Family { kMean, kVtq, kOperator, kFamilyCount };

struct FamilyInfo {
    const char* name;
    LoggerType type;
    LoggerDataType dataType;
    const char* tag; // what a data file's name begins with
    int itemSize;
};

const FamilyInfo kFamilies[kFamilyCount] = {
    {"mean", LoggerType::CYCLIC, LoggerDataType::MEAN, "Mn", static_cast<int>(sizeof(DataMean))},
    {"vtq", LoggerType::CYCLIC, LoggerDataType::VTQ, "Vt", static_cast<int>(sizeof(DataXtq<float>))},
    {"operator", LoggerType::OPERATOR, LoggerDataType::OPERATOR, "Op",
     static_cast<int>(sizeof(DataOperator))},
};

// -1 for a file of none of the three.
int familyOfFile(const QString& fileName)
{
    for (int family = 0; family < kFamilyCount; ++family) {
        if (fileName.startsWith(QLatin1String(kFamilies[family].tag)))
            return family;
    }
    return -1;
}

// What the writer writes: the span, the quotas and how often the operator logs.
struct Scenario {
    double quotas[kFamilyCount] = {0, 0, 0}; // percent of the loggers' space
    int days = 0;
    int operatorSeconds = 0; // a multiple of kMeanInterval
};

// --- The items ---------------------------------------------------------------------------------

// Mean number k at k * 3 s after first, k as its quality, a voltage that wanders over the day.
DataMean meanItem(int32_t first, int64_t k)
{
    DataMean item{};
    item.utc = DataTimespec{static_cast<int32_t>(first + k * kMeanInterval), 0};
    item.quality = static_cast<uint32_t>(k);
    const double phase =
        2.0 * M_PI * static_cast<double>((k * kMeanInterval) % kSecondsPerDay) / kSecondsPerDay;
    item.mean = static_cast<float>(230.0 + 3.0 * std::sin(phase));
    item.min = item.mean - 0.4f;
    item.max = item.mean + 0.4f;
    return item;
}

DataXtq<float> vtqItem(int quantity, int64_t second)
{
    DataXtq<float> item{};
    item.utc = DataTimespec{static_cast<int32_t>(second), 0};
    item.quality = static_cast<uint32_t>(quantity);
    item.value = static_cast<float>(quantity) + static_cast<float>(second % kSecondsPerDay) / kSecondsPerDay;
    return item;
}

DataOperator operatorItem(int64_t second, int number)
{
    DataOperator item{};
    LoggerOperatorInterface::createDefault(item);
    item.utc = DataTimespec{static_cast<int32_t>(second), 0};
    item.operation = number;
    LoggerOperatorInterface::setUser(QStringLiteral("bounded"), item);
    LoggerOperatorInterface::setIp(QStringLiteral("192.168.1.20"), item);
    return item;
}

// A typed logger of the writer with its identification built in, as the instrument's own.
template <typename T> class SimulatedLogger : public TypedTestLogger<T> {
public:
    SimulatedLogger(LoggerDataType dataType, const QString& id, double interval, int cacheItems)
        : TypedTestLogger<T>(LoggerType::CYCLIC, dataType, id, interval)
    {
        if (cacheItems > 1) {
            this->setCacheCapacity(cacheItems);
            this->setCacheTimeout(kCacheQuietMs);
        }
    }
};

// --- Talk between the processes ----------------------------------------------------------------

std::vector<double> quotasFromVariable()
{
    std::vector<double> quotas;
    for (const QString& word : qEnvironmentVariable(kQuotasVariable).split(QLatin1Char(','))) {
        bool ok = false;
        const double quota = word.toDouble(&ok);
        if (ok)
            quotas.push_back(quota);
    }
    return quotas;
}


// The errors of the log and any line that tells of a full card, but for two errors that say
// nothing failed: a writer's first initialize resets the logger state before its card client
// exists, and a family at its quota whose loggers have no file but the one they write to keeps
// that file. None may be left.
QStringList failureLines()
{
    const QStringList expected{QStringLiteral("Logger.Db|ERROR|mLoggerSDCard==nullptr"),
                               QStringLiteral("Logger.AccessList|ERROR|removeOldestFile: only one file")};
    const QString noSpace = QString::fromLocal8Bit(std::strerror(ENOSPC));
    QStringList failures;
    for (const QString& line : LogCapture::lines()) {
        const bool error = line.contains(QLatin1String("|ERROR|")) ||
                           line.contains(QLatin1String("|FATAL|")) || line.contains(noSpace);
        if (error && !expected.contains(line))
            failures.append(line);
    }
    return failures;
}

// Reads the means from before the first one up to mean number `upTo` and describes the answer
// as "first=<k> last=<k> count=<c> problem=<text>": the numbers k of its first and last mean (-1
// for none), its count (-1 for null) and what is wrong with it, "none" where the answer holds
// written means only, each one after the one before.
std::string readMeans(LoggerApiInterface& api, int32_t first, int64_t upTo)
{
    timespec start{};
    start.tv_sec = first - 1;
    timespec end{};
    end.tv_sec = static_cast<time_t>(first + upTo * kMeanInterval);
    const auto result = api.getMeanValues(QString::fromLatin1(kMeanId), start, end);
    std::string problem = "none";
    int64_t firstNumber = -1;
    int64_t lastNumber = -1;
    int count = -1;
    if (result == nullptr) {
        problem = "null";
    } else {
        count = result->mNumItems;
        for (int index = 0; index < count && problem == "none"; ++index) {
            const DataMean& item = result->mItems[index];
            const int64_t number = static_cast<int64_t>(item.quality);
            const DataMean expected = meanItem(first, number);
            if (std::memcmp(&item, &expected, sizeof(item)) != 0)
                problem = "item" + std::to_string(index) + "-is-no-written-mean";
            else if (index > 0 && number != lastNumber + 1)
                problem = "mean" + std::to_string(number) + "-follows-mean" + std::to_string(lastNumber);
            if (index == 0)
                firstNumber = number;
            lastNumber = number;
        }
    }
    return "first=" + std::to_string(firstNumber) + " last=" + std::to_string(lastNumber) +
           " count=" + std::to_string(count) + " problem=" + problem;
}

} // namespace

// --- The children ------------------------------------------------------------------------------

// Brings the writer up on the parent's card, sets the quotas and writes the scenario's days from
// its first second on, as fast as it can. Every item must be taken, and the log may tell of no
// failure. Publishes the number of means on the card now and then. Prints at the end the first
// line "SD-Card limit reached" of its log after "limit-line ", where there is one, and "final
// means=<n> vtqs=<n> operations=<n> limit=<lines> evicted=<mean>,<vtq>,<operator> ms=<n>", the
// files evicted as the memory manager counts them.
TEST(BoundedStoreChild, WritesSimulatedDaysAsFastAsItCan)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of BoundedStoreTest";
    ASSERT_TRUE(LogCapture::install());
    const int32_t first = intVariable(kFirstSecondVariable, 0);
    const int days = intVariable(kDaysVariable, 0);
    const int operatorSeconds = intVariable(kOperatorSecondsVariable, 0);
    const QString progress = qEnvironmentVariable(kProgressVariable);
    const std::vector<double> quotas = quotasFromVariable();
    ASSERT_GT(first, 0);
    ASSERT_GT(days, 0);
    ASSERT_GT(operatorSeconds, 0);
    ASSERT_EQ(operatorSeconds % kMeanInterval, 0);
    ASSERT_FALSE(progress.isEmpty());
    ASSERT_EQ(quotas.size(), static_cast<size_t>(kFamilyCount));

    ReaderStore store;
    ASSERT_TRUE(store.startAsWriter()) << LoggerDb::getInstance().getLastError().toStdString();
    LoggerMemoryInterface memory;
    for (int family = 0; family < kFamilyCount; ++family) {
        memory.setMaximalLoggerSize(kFamilies[family].type, kFamilies[family].dataType,
                                    quotas[static_cast<size_t>(family)]);
    }

    SimulatedLogger<DataMean> means(LoggerDataType::MEAN, QString::fromLatin1(kMeanId), kMeanInterval,
                                    kMeanCacheItems);
    std::vector<std::unique_ptr<SimulatedLogger<DataXtq<float>>>> vtqs;
    for (const char* id : kVtqIds) {
        vtqs.push_back(std::make_unique<SimulatedLogger<DataXtq<float>>>(
            LoggerDataType::VTQ, QString::fromLatin1(id), kVtqInterval, 1));
    }
    ASSERT_TRUE(LoggerOperatorInterface::initialize());
    ASSERT_TRUE(LoggerOperatorInterface::startLogger());
    ASSERT_TRUE(means.startLogger());
    ASSERT_EQ(means.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED) << LogCapture::text().toStdString();
    for (auto& vtq : vtqs) {
        ASSERT_TRUE(vtq->startLogger());
        ASSERT_EQ(vtq->getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
    }

    QElapsedTimer clock;
    clock.start();
    int64_t meanCount = 0;
    int64_t vtqCount = 0;
    int operations = 0;
    const int64_t span = static_cast<int64_t>(days) * kSecondsPerDay;
    for (int64_t offset = 0; offset < span; offset += kMeanInterval) {
        const int64_t second = first + offset;
        const DataMean mean = meanItem(first, meanCount);
        ASSERT_TRUE(means.writeLoggerItem(&mean)) << "mean " << meanCount << " refused\n"
                                                  << failureLines().join(QLatin1Char('\n')).toStdString();
        ++meanCount;
        // What waits in the cache is not on the card yet. The cache hands over a block when it is
        // full, but also after a quiet period, so its blocks need not begin at multiples of its
        // capacity.
        if (meanCount % kProgressEveryItems == 0) {
            ASSERT_TRUE(publishProgress(progress, meanCount - means.waitingItems()));
        }
        if (offset % kVtqInterval == 0) {
            for (int quantity = 0; quantity < kVtqLoggers; ++quantity) {
                const DataXtq<float> item = vtqItem(quantity, second);
                ASSERT_TRUE(vtqs[static_cast<size_t>(quantity)]->writeLoggerItem(&item))
                    << "10-minute value " << quantity << " at " << second << " refused";
                ++vtqCount;
            }
        }
        if (offset % operatorSeconds == 0) {
            ASSERT_TRUE(LoggerOperatorInterface::logEvent(operatorItem(second, operations + 1)))
                << "operator entry at " << second << " refused";
            ++operations;
        }
    }
    ASSERT_TRUE(means.flush());
    ASSERT_TRUE(LoggerOperatorInterface::flush());
    ASSERT_TRUE(publishProgress(progress, meanCount));
    EXPECT_TRUE(means.updateAccess());
    for (auto& vtq : vtqs)
        EXPECT_TRUE(vtq->updateAccess());
    const qint64 elapsed = clock.elapsed();

    const QStringList failures = failureLines();
    EXPECT_TRUE(failures.isEmpty()) << failures.join(QLatin1Char('\n')).toStdString();
    int limitLines = 0;
    for (const QString& line : LogCapture::lines()) {
        if (line.startsWith(QLatin1String("Logger.Db|INFO|SD-Card limit reached, available = "))) {
            if (limitLines == 0)
                std::cout << "limit-line " << line.toStdString() << std::endl;
            ++limitLines;
        }
    }
    means.stopLogger();
    for (auto& vtq : vtqs)
        vtq->stopLogger();
    std::cout << "final means=" << meanCount << " vtqs=" << vtqCount << " operations=" << operations
              << " limit=" << limitLines
              << " evicted=" << memory.deletedFileCount(LoggerType::CYCLIC, LoggerDataType::MEAN) << ","
              << memory.deletedFileCount(LoggerType::CYCLIC, LoggerDataType::VTQ) << ","
              << memory.deletedFileCount(LoggerType::OPERATOR, LoggerDataType::OPERATOR) << " ms=" << elapsed
              << std::endl;
}

// Reads the whole range of the means, from before the first one to the last one the writer has
// published, again and again until the parent closes its standard input. Prints a line for each
// read, "read finished=<n> " and the answer as readMeans describes it, and at the end
// "reads <n>".
TEST(BoundedStoreChild, ReadsTheMeansWholeWhileTheyAreWritten)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of BoundedStoreTest";
    ASSERT_TRUE(LogCapture::install());
    const int32_t first = intVariable(kFirstSecondVariable, 0);
    const QString progress = qEnvironmentVariable(kProgressVariable);
    ASSERT_GT(first, 0);
    ReaderStore store;
    ASSERT_TRUE(store.start()) << LoggerDb::getInstance().getLastError().toStdString();
    std::unique_ptr<LoggerApiInterface> api(LoggerApiInterface::getApi());
    ASSERT_NE(api, nullptr);
    ChildTestProcess::watchForStop();

    const QDeadlineTimer lifetime(kReaderLifetimeMs);
    int reads = 0;
    while (!ChildTestProcess::stopRequested() && !lifetime.hasExpired()) {
        const int64_t finished = readProgress(progress);
        if (finished < 1) {
            QThread::msleep(5);
            continue;
        }
        const std::string answer = readMeans(*api, first, finished - 1);
        ++reads;
        std::cout << "read finished=" << finished << " " << answer << std::endl;
    }
    std::cout << "reads " << reads << std::endl;
}

// A writer started anew on the card: LoggerDb::initialize sets up the accounts from the catalogue
// and the files. Prints "accounts mean=<bytes> vtq=<bytes> operator=<bytes> block=<bytes>", then
// reads all the means that were written and prints "whole " and the answer as readMeans describes
// it.
TEST(BoundedStoreChild, ReportsTheAccountsOfARestartedWriter)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of BoundedStoreTest";
    ASSERT_TRUE(LogCapture::install());
    ReaderStore store;
    ASSERT_TRUE(store.startAsWriter()) << LoggerDb::getInstance().getLastError().toStdString();
    LoggerMemoryInterface memory;
    std::cout << "accounts";
    for (const FamilyInfo& family : kFamilies)
        std::cout << " " << family.name << "=" << memory.getUsedBytes(family.type, family.dataType);
    std::cout << " block=" << memory.getBlockSize() << std::endl;

    const int32_t first = intVariable(kFirstSecondVariable, 0);
    const int days = intVariable(kDaysVariable, 0);
    std::unique_ptr<LoggerApiInterface> api(LoggerApiInterface::getApi());
    ASSERT_NE(api, nullptr);
    const int64_t lastMean = static_cast<int64_t>(days) * kSecondsPerDay / kMeanInterval - 1;
    std::cout << "whole " << readMeans(*api, first, lastMean) << std::endl;
}

// --- The parent --------------------------------------------------------------------------------

namespace {

// Holds a process still with SIGSTOP for the life of the object and lets it go on with SIGCONT,
// so that one measure of the card sees one state of it and not a mix of states taken while the
// writer went on. The kernel stops the threads one after another: held() waits until all are.
class HeldProcess {
public:
    explicit HeldProcess(qint64 pid) : mPid(pid)
    {
        if (mPid <= 0 || ::kill(static_cast<pid_t>(mPid), SIGSTOP) != 0)
            return;
        mSignalled = true;
        const QDeadlineTimer deadline(2000);
        for (;;) {
            const Threads threads = threadsOf();
            if (threads != Threads::Running) {
                mHeld = threads == Threads::Stopped;
                return;
            }
            if (deadline.hasExpired())
                return;
            QThread::usleep(100);
        }
    }
    ~HeldProcess()
    {
        if (mSignalled)
            ::kill(static_cast<pid_t>(mPid), SIGCONT);
    }
    HeldProcess(const HeldProcess&) = delete;
    HeldProcess& operator=(const HeldProcess&) = delete;

    // False where the process ended before all its threads had stopped.
    bool held() const { return mHeld; }

private:
    enum class Threads { Stopped, Running, Ended };

    Threads threadsOf() const
    {
        const QDir tasks(QStringLiteral("/proc/%1/task").arg(mPid));
        const QStringList ids = tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
        if (ids.isEmpty())
            return Threads::Ended;
        for (const QString& id : ids) {
            QFile stat(tasks.filePath(id + QStringLiteral("/stat")));
            if (!stat.open(QIODevice::ReadOnly))
                return Threads::Ended;
            const QByteArray text = stat.readAll();
            // The state follows the command name, which stands in parentheses.
            const int close = text.lastIndexOf(')');
            if (close < 0 || close + 2 >= text.size())
                return Threads::Ended;
            const char state = text.at(close + 2);
            if (state == 'Z' || state == 'X')
                return Threads::Ended;
            if (state != 'T' && state != 't')
                return Threads::Running;
        }
        return Threads::Stopped;
    }

    qint64 mPid;
    bool mSignalled = false;
    bool mHeld = false;
};

// The card as the store measures it: statvfs of the tmpfs, or the partition that the card
// service reports, whose sizes are not rounded to blocks.
struct CardRoute {
    bool statvfs = true;
    qint64 partitionBytes = 0; // the card service's partition; statvfs route: 0
    // How far below the reserve the card may go for a moment: the reserve is checked against
    // the free space as last read, and eviction only follows a read that found the card below
    // the reserve. 0 where the quotas alone keep the card above it.
    qint64 reserveOvershoot = 0;
};

struct SeenFile {
    int family = -1;
    bool identified = false; // the header was there to read
    int32_t typeId = 0;
    int64_t created = 0; // seconds * 10^9 + nanoseconds of the header's creation time
    int32_t uniqueId = 0;
    bool present = true;
};

struct FamilyMeasure {
    qint64 bytes = 0;
    qint64 largestFile = 0;
    int files = 0;
};

// The allocation block of the file system at path, as statvfs gives it; -1 where it fails.
qint64 fragmentSize(const QString& path)
{
    struct statvfs disk {};
    if (statvfs(QFile::encodeName(path).constData(), &disk) != 0)
        return -1;
    return static_cast<qint64>(disk.f_frsize);
}

qint64 roundedUp(qint64 bytes, qint64 block)
{
    return block > 0 ? (bytes + block - 1) / block * block : bytes;
}

// The parent's measure of the card, taken again and again while the writer is held, and the
// problems it found; each kind of problem is kept once, with the first measure that showed it.
class CardWatch {
public:
    CardWatch(const WriterStore& store, const Scenario& scenario, const CardRoute& route)
        : mMountPoint(store.mountPoint()), mDataFolder(store.dataFolderPath()),
          mDatabaseFile(store.databaseFile()), mScenario(scenario), mRoute(route)
    {
        for (int family = 0; family < kFamilyCount; ++family) {
            mNewestGone[family] = std::numeric_limits<int64_t>::min();
            mLargestShare[family] = 0;
            mGone[family] = 0;
        }
    }

    void measure()
    {
        ++mMeasures;
        struct statvfs disk {};
        if (statvfs(QFile::encodeName(mMountPoint).constData(), &disk) != 0) {
            problem("statvfs", "statvfs of " + mMountPoint.toStdString() + " failed");
            return;
        }
        const qint64 fragment = static_cast<qint64>(disk.f_frsize);
        const qint64 free = static_cast<qint64>(disk.f_bfree) * fragment;
        const double total = mRoute.statvfs ? static_cast<double>(disk.f_blocks) * fragment
                                            : static_cast<double>(mRoute.partitionBytes);
        mReserve = total * kReserveShare;
        const qint64 catalogue = roundedUp(QFileInfo(mDatabaseFile).size(), mRoute.statvfs ? fragment : 0);
        const double loggerSpace = total - mReserve - static_cast<double>(catalogue);
        mLoggerSpace = loggerSpace;
        mLeastFree = std::min(mLeastFree, free);

        FamilyMeasure families[kFamilyCount];
        int64_t oldestPresent[kFamilyCount];
        std::fill(std::begin(oldestPresent), std::end(oldestPresent), std::numeric_limits<int64_t>::max());
        for (auto& entry : mSeen)
            entry.second.present = false;
        QDirIterator it(mDataFolder, QStringList{QStringLiteral("*.bin")}, QDir::Files,
                        QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString path = it.next();
            const QFileInfo info(path);
            const int family = familyOfFile(info.fileName());
            if (family < 0) {
                problem("family", "a data file of no family: " + path.toStdString());
                continue;
            }
            SeenFile& seen = mSeen[path];
            seen.family = family;
            seen.present = true;
            if (!seen.identified)
                identify(path, seen);
            FamilyMeasure& measure = families[family];
            measure.bytes += info.size();
            measure.largestFile = std::max(measure.largestFile, info.size());
            ++measure.files;
            if (seen.identified)
                oldestPresent[family] = std::min(oldestPresent[family], seen.created);
        }
        for (auto entry = mSeen.begin(); entry != mSeen.end();) {
            if (entry->second.present) {
                ++entry;
                continue;
            }
            const SeenFile& gone = entry->second;
            ++mGone[gone.family];
            if (gone.identified)
                mNewestGone[gone.family] = std::max(mNewestGone[gone.family], gone.created);
            entry = mSeen.erase(entry);
        }

        qint64 dataBytes = 0;
        for (int family = 0; family < kFamilyCount; ++family) {
            const FamilyMeasure& measure = families[family];
            dataBytes += measure.bytes;
            const double quota = mScenario.quotas[family] / 100.0 * loggerSpace;
            mLargestShare[family] =
                std::max(mLargestShare[family], static_cast<double>(measure.bytes) / loggerSpace * 100.0);
            if (static_cast<double>(measure.bytes) > quota + static_cast<double>(measure.largestFile)) {
                problem(std::string("quota ") + kFamilies[family].name,
                        std::string(kFamilies[family].name) + " holds " + std::to_string(measure.bytes) +
                            " bytes in " + std::to_string(measure.files) + " files, above its quota of " +
                            std::to_string(static_cast<qint64>(quota)) + " plus its largest file of " +
                            std::to_string(measure.largestFile));
            }
            if (mNewestGone[family] > oldestPresent[family]) {
                problem(std::string("order ") + kFamilies[family].name,
                        std::string(kFamilies[family].name) + ": a file created at " +
                            std::to_string(mNewestGone[family]) + " went while one created at " +
                            std::to_string(oldestPresent[family]) + " stays");
            }
        }
        if (mRoute.statvfs) {
            if (static_cast<double>(free) < mReserve - static_cast<double>(mRoute.reserveOvershoot)) {
                problem("reserve", "free " + std::to_string(free) + " bytes, below the reserve of " +
                                       std::to_string(static_cast<qint64>(mReserve)) + " by more than " +
                                       std::to_string(mRoute.reserveOvershoot));
            }
        } else if (dataBytes + catalogue > mRoute.partitionBytes) {
            problem("partition", "the loggers hold " + std::to_string(dataBytes + catalogue) +
                                     " bytes, more than their partition of " +
                                     std::to_string(mRoute.partitionBytes));
        }
    }

    const std::vector<std::string>& problems() const { return mProblems; }
    int measures() const { return mMeasures; }
    int gone(int family) const { return mGone[family]; }
    double largestShare(int family) const { return mLargestShare[family]; }
    qint64 leastFree() const { return mLeastFree; }
    double reserve() const { return mReserve; }
    double loggerSpace() const { return mLoggerSpace; }

private:
    void identify(const QString& path, SeenFile& seen)
    {
        QFile file(path);
        LoggerHeader header{};
        if (!file.open(QIODevice::ReadOnly) || file.read(reinterpret_cast<char*>(&header), sizeof(header)) !=
                                                   static_cast<qint64>(sizeof(header)))
            return;
        seen.identified = true;
        seen.typeId = header.baseTypeId;
        seen.created = static_cast<int64_t>(header.utcCreatedSec) * 1000000000 + header.utcCreatedNsec;
        seen.uniqueId = header.uniqueId;
    }

    void problem(const std::string& kind, const std::string& text)
    {
        for (const std::string& known : mKinds) {
            if (known == kind)
                return;
        }
        mKinds.push_back(kind);
        mProblems.push_back("measure " + std::to_string(mMeasures) + ": " + text);
    }

    QString mMountPoint;
    QString mDataFolder;
    QString mDatabaseFile;
    Scenario mScenario;
    CardRoute mRoute;
    std::map<QString, SeenFile> mSeen;
    int64_t mNewestGone[kFamilyCount];
    double mLargestShare[kFamilyCount];
    int mGone[kFamilyCount];
    qint64 mLeastFree = std::numeric_limits<qint64>::max();
    double mReserve = 0;
    double mLoggerSpace = 0;
    int mMeasures = 0;
    std::vector<std::string> mKinds;
    std::vector<std::string> mProblems;
};

// The time stamps (seconds) of the whole items of a data file, after its header.
std::vector<int32_t> itemSeconds(const QString& path, int itemSize, LoggerHeader& header)
{
    std::vector<int32_t> seconds;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return seconds;
    const QByteArray bytes = file.readAll();
    if (bytes.size() < static_cast<int>(sizeof(header)))
        return seconds;
    std::memcpy(&header, bytes.constData(), sizeof(header));
    for (int offset = static_cast<int>(sizeof(header)); offset + itemSize <= bytes.size();
         offset += itemSize) {
        int32_t second = 0;
        std::memcpy(&second, bytes.constData() + offset, sizeof(second));
        seconds.push_back(second);
    }
    return seconds;
}

// The lines of a child's output that begin with prefix.
QList<QByteArray> linesOf(const QByteArray& output, const QByteArray& prefix)
{
    QList<QByteArray> lines;
    for (const QByteArray& line : output.split('\n')) {
        if (line.startsWith(prefix))
            lines.append(line);
    }
    return lines;
}

} // namespace

class BoundedStoreTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(LogCapture::install());
        ASSERT_TRUE(mProgressDirectory.isValid());
        // The writer's clock starts now: its items begin at the next midnight but one (UTC), so
        // that every one is later than the time the loggers start at.
        mFirstSecond = static_cast<int32_t>((std::time(nullptr) / kSecondsPerDay + 2) * kSecondsPerDay);
    }

    // A store on a tmpfs of `bytes`, measured with statvfs: the card service reports no logger
    // partition. Skips where the tmpfs cannot be mounted.
    void startOnTmpfs(qint64 bytes)
    {
        if (geteuid() != 0)
            GTEST_SKIP() << "a card of a set size is a tmpfs, and mounting one needs root";
        WriterStore::Options options;
        options.initialize = false;
        options.loggerSize = 0;
        mStore = std::make_unique<WriterStore>(options);
        ASSERT_TRUE(mStore->start()) << mStore->errorString().toStdString();
        mCard = std::make_unique<TmpfsMount>(mStore->mountPoint(), bytes);
        if (!mCard->mounted())
            GTEST_SKIP() << "a card of a set size is a tmpfs, and this one did not mount: "
                         << mCard->error().toStdString();
        ASSERT_TRUE(QDir().mkpath(mStore->loggerPath()));
        ASSERT_TRUE(mStore->initializeWriter()) << LoggerDb::getInstance().getLastError().toStdString();
        // The writer is a child.
        LoggerDb::getInstance().close();
    }

    // A store whose card service reports a logger partition of `bytes` on the file system below
    // /var/log, which has more room.
    void startOnPartition(qint64 bytes)
    {
        WriterStore::Options options;
        options.loggerSize = bytes;
        mStore = std::make_unique<WriterStore>(options);
        ASSERT_TRUE(mStore->start()) << mStore->errorString().toStdString();
        LoggerDb::getInstance().close();
    }

    QString progressFile() const { return mProgressDirectory.filePath(QStringLiteral("progress")); }

    std::unique_ptr<ChildTestProcess> child(const QString& test, const Scenario& scenario)
    {
        auto process = std::make_unique<ChildTestProcess>(test);
        mStore->exportTo(*process);
        process->setVariable(QString::fromLatin1(kFirstSecondVariable), QString::number(mFirstSecond));
        process->setVariable(QString::fromLatin1(kDaysVariable), QString::number(scenario.days));
        process->setVariable(QString::fromLatin1(kOperatorSecondsVariable),
                             QString::number(scenario.operatorSeconds));
        QStringList quotas;
        for (double quota : scenario.quotas)
            quotas.append(QString::number(quota));
        process->setVariable(QString::fromLatin1(kQuotasVariable), quotas.join(QLatin1Char(',')));
        process->setVariable(QString::fromLatin1(kProgressVariable), progressFile());
        return process;
    }

    // Runs the writer with `readers` reader processes beside it, measuring the card while it
    // writes, and checks what each side saw. The writer's final line goes to finalLine.
    void runWriter(const Scenario& scenario, int readers, CardWatch& watch, QByteArray& finalLine);

    // The items on the card: per logger of each family, its files' items follow one another
    // without a gap and end with the last item the writer wrote. Counts the bytes of each family,
    // each file rounded up to `block`, and gives the time of the oldest mean on the card.
    void expectEveryFamilyWholeToItsLastItem(const Scenario& scenario, qint64 block,
                                             qint64 (&bytes)[kFamilyCount], int32_t& oldestMean);

    // A writer started anew on the card reports accounts equal to the bytes of each family's files,
    // each rounded up to `block`.
    void expectRestartedAccounts(const Scenario& scenario, qint64 block);

    QTemporaryDir mProgressDirectory;
    // Declared before the card: the tmpfs goes before the store removes its mount point.
    std::unique_ptr<WriterStore> mStore;
    std::unique_ptr<TmpfsMount> mCard;
    int32_t mFirstSecond = 0;
    // The writer's first line "SD-Card limit reached", empty where it wrote none.
    QString mLimitLine;
};

void BoundedStoreTest::runWriter(const Scenario& scenario, int readers, CardWatch& watch,
                                 QByteArray& finalLine)
{
    QElapsedTimer clock;
    clock.start();
    mStore->handOver();
    auto writer = child(QStringLiteral("BoundedStoreChild.WritesSimulatedDaysAsFastAsItCan"), scenario);
    ASSERT_TRUE(writer->start());
    std::vector<std::unique_ptr<ChildTestProcess>> readerProcesses;
    for (int reader = 0; reader < readers; ++reader) {
        readerProcesses.push_back(
            child(QStringLiteral("BoundedStoreChild.ReadsTheMeansWholeWhileTheyAreWritten"), scenario));
        ASSERT_TRUE(readerProcesses.back()->start());
    }

    const QDeadlineTimer deadline(kWriterDeadlineMs);
    while (finalLine.isEmpty() && writer->isRunning() && !deadline.hasExpired()) {
        {
            const HeldProcess held(writer->processId());
            if (held.held())
                watch.measure();
        }
        finalLine = writer->waitForLine("final ", kMeasurePeriodMs);
    }
    ASSERT_TRUE(writer->waitForFinished(30000)) << writer->report().toStdString();
    ASSERT_TRUE(writer->passed()) << writer->report().toStdString();
    ASSERT_FALSE(finalLine.isEmpty()) << writer->report().toStdString();
    const QList<QByteArray> limitLines = linesOf(writer->standardOutput(), "limit-line ");
    mLimitLine = limitLines.isEmpty() ? QString() : QString::fromUtf8(limitLines.front().mid(11));
    watch.measure();
    const qint64 writerMs = clock.elapsed();

    // Closing their input stops the readers.
    for (int reader = 0; reader < readers; ++reader) {
        ChildTestProcess& process = *readerProcesses[static_cast<size_t>(reader)];
        ASSERT_TRUE(process.waitForFinished(60000)) << "reader " << reader << " hangs";
        ASSERT_TRUE(process.passed()) << process.report().toStdString();
        const QList<QByteArray> reads = linesOf(process.standardOutput(), "read ");
        EXPECT_GE(reads.size(), kLeastReadsPerReader) << process.report().toStdString();
        int64_t oldestFirst = -1;
        int64_t newestFirst = -1;
        int complete = 0;
        int cut = 0;
        for (const QByteArray& read : reads) {
            const std::string text = "reader " + std::to_string(reader) + ": " + read.toStdString();
            const int64_t finished = field(read, "finished").toLongLong();
            const int64_t first = field(read, "first").toLongLong();
            const int64_t last = field(read, "last").toLongLong();
            const int count = field(read, "count").toInt();
            EXPECT_EQ(field(read, "problem"), "none") << text;
            if (count > 0) {
                EXPECT_EQ(last - first + 1, count) << text;
                EXPECT_GE(first, newestFirst) << "the oldest mean went back: " << text;
                if (oldestFirst < 0)
                    oldestFirst = first;
                newestFirst = std::max(newestFirst, first);
            }
            // An eviction of the oldest file between a read's sizing and reading passes ends the
            // read with what it has read so far, which is nothing where the file that went came
            // first. Every other answer holds every mean from the oldest on to the newest.
            if (count >= 0 && last != finished - 1) {
                EXPECT_LT(last, finished - 1) << text;
                ++cut;
            } else if (count >= 0) {
                ++complete;
            }
        }
        std::cout << "reader " << reader << ": " << reads.size() << " reads, " << complete
                  << " up to the newest mean, " << cut << " cut short by an eviction; the oldest mean from "
                  << oldestFirst << " to " << newestFirst << std::endl;
        EXPECT_GT(complete, cut) << "reader " << reader << ": most answers must reach the newest mean";
        EXPECT_GT(newestFirst, oldestFirst) << "reader " << reader << " never saw the oldest mean move on";
    }
    std::cout << "writer: " << finalLine.toStdString() << "; " << watch.measures() << " measures in "
              << writerMs << " ms" << std::endl;
}

void BoundedStoreTest::expectEveryFamilyWholeToItsLastItem(const Scenario& scenario, qint64 block,
                                                           qint64 (&bytes)[kFamilyCount], int32_t& oldestMean)
{
    oldestMean = 0;
    const int64_t span = static_cast<int64_t>(scenario.days) * kSecondsPerDay;
    const int32_t steps[kFamilyCount] = {kMeanInterval, kVtqInterval, scenario.operatorSeconds};
    // Per family and logger (the header's type id): the files by their first item's number.
    std::map<int32_t, std::map<int32_t, std::vector<int32_t>>> loggers[kFamilyCount];
    std::fill(std::begin(bytes), std::end(bytes), 0);
    QDirIterator it(mStore->dataFolderPath(), QStringList{QStringLiteral("*.bin")}, QDir::Files,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const int family = familyOfFile(QFileInfo(path).fileName());
        ASSERT_GE(family, 0) << path.toStdString();
        bytes[family] += roundedUp(QFileInfo(path).size(), block);
        LoggerHeader header{};
        const std::vector<int32_t> seconds = itemSeconds(path, kFamilies[family].itemSize, header);
        ASSERT_EQ(header.dataType, static_cast<int32_t>(kFamilies[family].dataType)) << path.toStdString();
        loggers[family][header.baseTypeId][header.uniqueId] = seconds;
    }
    const int expectedLoggers[kFamilyCount] = {1, kVtqLoggers, 1};
    for (int family = 0; family < kFamilyCount; ++family) {
        const int32_t step = steps[family];
        const int32_t last = static_cast<int32_t>(mFirstSecond + (span - 1) / step * step);
        EXPECT_EQ(static_cast<int>(loggers[family].size()), expectedLoggers[family])
            << kFamilies[family].name;
        for (const auto& logger : loggers[family]) {
            std::vector<int32_t> seconds;
            for (const auto& file : logger.second)
                seconds.insert(seconds.end(), file.second.begin(), file.second.end());
            ASSERT_FALSE(seconds.empty()) << kFamilies[family].name << " logger " << logger.first;
            for (size_t index = 1; index < seconds.size(); ++index) {
                ASSERT_EQ(seconds[index], seconds[index - 1] + step)
                    << kFamilies[family].name << " logger " << logger.first << ": item " << index
                    << " of the card does not follow the one before";
            }
            EXPECT_EQ(seconds.back(), last) << kFamilies[family].name << " logger " << logger.first
                                            << ": the last item written is not on the card";
            if (family == kMean)
                oldestMean = seconds.front();
        }
    }
}

void BoundedStoreTest::expectRestartedAccounts(const Scenario& scenario, qint64 block)
{
    qint64 bytes[kFamilyCount];
    int32_t oldestMean = 0;
    expectEveryFamilyWholeToItsLastItem(scenario, block, bytes, oldestMean);
    if (HasFatalFailure())
        return;
    auto restarted =
        child(QStringLiteral("BoundedStoreChild.ReportsTheAccountsOfARestartedWriter"), scenario);
    ASSERT_TRUE(restarted->run());
    ASSERT_TRUE(restarted->passed()) << restarted->report().toStdString();
    const QList<QByteArray> lines = linesOf(restarted->standardOutput(), "accounts ");
    ASSERT_EQ(lines.size(), 1) << restarted->report().toStdString();
    std::cout << "restarted writer: " << lines.front().toStdString() << std::endl;
    EXPECT_EQ(field(lines.front(), "block").toLongLong(), block);
    for (int family = 0; family < kFamilyCount; ++family) {
        EXPECT_EQ(field(lines.front(), kFamilies[family].name).toLongLong(), bytes[family])
            << kFamilies[family].name
            << ": the account of the restarted writer is not the bytes of its files";
    }
    // The newest means are there to read, from the oldest one that the card still holds.
    const QList<QByteArray> whole = linesOf(restarted->standardOutput(), "whole ");
    ASSERT_EQ(whole.size(), 1) << restarted->report().toStdString();
    const int64_t firstMean = (oldestMean - mFirstSecond) / kMeanInterval;
    const int64_t lastMean = static_cast<int64_t>(scenario.days) * kSecondsPerDay / kMeanInterval - 1;
    EXPECT_EQ(field(whole.front(), "problem"), "none") << whole.front().toStdString();
    EXPECT_EQ(field(whole.front(), "first").toLongLong(), firstMean) << whole.front().toStdString();
    EXPECT_EQ(field(whole.front(), "last").toLongLong(), lastMean) << whole.front().toStdString();
    EXPECT_EQ(field(whole.front(), "count").toLongLong(), lastMean - firstMean + 1)
        << whole.front().toStdString();
}

// The quotas add up to less than the loggers' space with room for one file of each family and
// the rounding of files to blocks, so that the quotas alone keep the card above its reserve.
TEST_F(BoundedStoreTest, OnASmallCardEveryFamilyGivesUpItsOldestFilesAtItsQuotaAndTheReserveStaysFree)
{
    startOnTmpfs(kCardBytes);
    if (IsSkipped() || HasFatalFailure())
        return;
    Scenario scenario;
    scenario.quotas[kMean] = 75;
    scenario.quotas[kVtq] = 3;
    scenario.quotas[kOperator] = 5;
    scenario.days = 45;
    scenario.operatorSeconds = 120;
    CardRoute route;
    CardWatch watch(*mStore, scenario, route);
    QByteArray finalLine;
    runWriter(scenario, kReaders, watch, finalLine);
    if (HasFatalFailure())
        return;
    for (const std::string& problem : watch.problems())
        ADD_FAILURE() << problem;
    for (int family = 0; family < kFamilyCount; ++family) {
        std::cout << kFamilies[family].name << ": " << watch.gone(family) << " files evicted, largest share "
                  << watch.largestShare(family) << "% of quota " << scenario.quotas[family] << "%"
                  << std::endl;
        EXPECT_GT(watch.gone(family), 0) << kFamilies[family].name << " never reached its quota";
    }
    std::cout << "least free " << watch.leastFree() << " bytes, reserve "
              << static_cast<qint64>(watch.reserve()) << ", loggers' space "
              << static_cast<qint64>(watch.loggerSpace()) << std::endl;
    EXPECT_EQ(field(finalLine, "limit").toInt(), 0)
        << "the quotas alone should keep the card above its reserve";
    expectRestartedAccounts(scenario, fragmentSize(mStore->mountPoint()));
}

// The quotas add up to more than the card: the reserve is what keeps the card from filling. Once
// the free space the writer last read is below the reserve, every checked block takes the oldest
// file of the family it belongs to, whatever that family's share. The free space is read when a
// block comes more than 200 s of logger time after the one before, whatever its family; the
// operator logs every 4 hours, as the demonstration writer does, and the means and 10-minute
// values leave such gaps between them.
TEST_F(BoundedStoreTest, WithQuotasBeyondTheCardTheReserveKeepsItFromFilling)
{
    startOnTmpfs(kCardBytes);
    if (IsSkipped() || HasFatalFailure())
        return;
    Scenario scenario;
    scenario.quotas[kMean] = 110;
    scenario.quotas[kVtq] = 10;
    scenario.quotas[kOperator] = 10;
    scenario.days = 45;
    scenario.operatorSeconds = 4 * 3600;
    CardRoute route;
    route.reserveOvershoot = kReserveOvershoot;
    CardWatch watch(*mStore, scenario, route);
    QByteArray finalLine;
    runWriter(scenario, 0, watch, finalLine);
    if (HasFatalFailure())
        return;
    for (const std::string& problem : watch.problems())
        ADD_FAILURE() << problem;
    for (int family = 0; family < kFamilyCount; ++family) {
        std::cout << kFamilies[family].name << ": " << watch.gone(family) << " files evicted, largest share "
                  << watch.largestShare(family) << "% of quota " << scenario.quotas[family] << "%"
                  << std::endl;
    }
    std::cout << "least free " << watch.leastFree() << " bytes, reserve "
              << static_cast<qint64>(watch.reserve()) << ", loggers' space "
              << static_cast<qint64>(watch.loggerSpace()) << std::endl;
    EXPECT_GT(watch.gone(kMean), 0) << "the means never gave up a file";
    EXPECT_LT(watch.largestShare(kMean), scenario.quotas[kMean]) << "the means reached their quota";
    EXPECT_GT(field(finalLine, "limit").toInt(), 0) << "the card never went below its reserve";
    EXPECT_TRUE(mLimitLine.startsWith(QStringLiteral("Logger.Db|INFO|SD-Card limit reached, available = ")))
        << mLimitLine.toStdString();
    EXPECT_TRUE(
        mLimitLine.endsWith(QStringLiteral(", reserve = ") + QString::number(watch.reserve(), 'g', 6)))
        << mLimitLine.toStdString();
    expectRestartedAccounts(scenario, fragmentSize(mStore->mountPoint()));
}

// The card service gives the loggers a partition of a set size: the accounts refer to it, not to
// the file system, which has more room, and sizes are not rounded to blocks.
TEST_F(BoundedStoreTest, OnTheCardServicesPartitionEveryFamilyStaysWithinItsShareOfThePartition)
{
    startOnPartition(kPartitionBytes);
    if (HasFatalFailure())
        return;
    Scenario scenario;
    scenario.quotas[kMean] = 75;
    scenario.quotas[kVtq] = 3;
    scenario.quotas[kOperator] = 5;
    scenario.days = 45;
    scenario.operatorSeconds = 120;
    CardRoute route;
    route.statvfs = false;
    route.partitionBytes = kPartitionBytes;
    CardWatch watch(*mStore, scenario, route);
    QByteArray finalLine;
    runWriter(scenario, 0, watch, finalLine);
    if (HasFatalFailure())
        return;
    for (const std::string& problem : watch.problems())
        ADD_FAILURE() << problem;
    for (int family = 0; family < kFamilyCount; ++family) {
        std::cout << kFamilies[family].name << ": " << watch.gone(family) << " files evicted, largest share "
                  << watch.largestShare(family) << "% of quota " << scenario.quotas[family] << "%"
                  << std::endl;
        EXPECT_GT(watch.gone(family), 0) << kFamilies[family].name << " never reached its quota";
    }
    std::cout << "partition " << kPartitionBytes << " bytes, loggers' space "
              << static_cast<qint64>(watch.loggerSpace()) << ", free on the file system " << watch.leastFree()
              << " bytes at least" << std::endl;
    EXPECT_GT(watch.leastFree(), kPartitionBytes) << "the file system must have more room than the partition";
    EXPECT_EQ(field(finalLine, "limit").toInt(), 0);
    expectRestartedAccounts(scenario, 0);
}

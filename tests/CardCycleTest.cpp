// The store follows its card under load. A writer process runs four loggers through the service
// facade (3-second means through a cache, 10-minute values, alarms of the event alarm log, entries
// of the operator log) and writes at a steady pace; three reader processes query random ranges of
// the means all the time; meanwhile the card service, played by the simulator, ejects and mounts
// the card, reports it corrupt, and disappears and comes back, in a seeded random order.
//
// What must hold:
//   - nothing crashes or hangs, and each change of the card leaves the writer's state word where
//     it must be (stopped, not readable and the card's state after an eject or a corrupt card;
//     started, readable, mounted and the loggers initialized after a mount), reached through the
//     posted states in their order;
//   - every item that the writer was told was written is in the store at the end: the means and
//     10-minute values through the read API of a reader process, alarms and operator entries in
//     their data files. The only items excepted are those the write cache gives up by design:
//     the item in hand when a cache that filled while the card was away goes out;
//   - writing goes on in the same files: a logger begins a further file only where its days or
//     its size say so, never because the card went and came back;
//   - readers answer null or an empty result while their catalogue is closed for an ejected
//     card, and correct, ascending answers again after it returns;
//   - the catalogue passes "PRAGMA integrity_check" at the end.
//
// QZLOGGER_CARD_CYCLES sets the number of card cycles (20 by default; 200 for a stress run) and
// QZLOGGER_CARD_SEED the seed of their order.

#include "ChildTestProcess.h"
#include "ConfigurationText.h"
#include "DatabaseInterface.h"
#include "LoggerApi.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerEventAlarm.h"
#include "LoggerHeader.h"
#include "LoggerOperatorInterface.h"
#include "LoggerSDCard.h"
#include "LoggerState.h"
#include "LoggerTemplate.h"
#include "ProgressFile.h"
#include "TypedTestLogger.h"
#include "WriterStore.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>
#include <QThread>
#include <gtest/gtest.h>

#include <sqlite3.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iostream>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr const char* kCyclesVariable = "QZLOGGER_CARD_CYCLES";
constexpr const char* kSeedVariable = "QZLOGGER_CARD_SEED";
constexpr const char* kRunVariable = "QZLOGGER_CARD_RUN";
constexpr int kDefaultCycles = 20;
constexpr unsigned kDefaultSeed = 20261123;

const char* const kMeanId = "mean_3s.voltage_l1.out.mean_out";
const char* const kVtqId = "aggr.mean_10min.frequency.out";
const char* const kAlarmName = "alarms.card_cycle";
const char* const kAlarmTexts[] = {"overvoltage L1", "undervoltage L1", "frequency out of range",
                                   "flicker above limit", "unbalance above limit"};

// The writer's pace: one step every kStepMs of real time, kMeanInterval simulated seconds apart.
// The simulated time begins at yesterday's midnight, so that a run of the suite stays in one day.
constexpr int kStepMs = 2;
constexpr int kMeanInterval = 3;     // seconds
constexpr int kVtqInterval = 600;    // seconds
constexpr int kAlarmEverySteps = 40; // an alarm every 80 ms of real time
constexpr int kOperatorEverySteps = 500;
constexpr int kMeanCacheItems = 100;
constexpr int kMeanCacheQuietMs = 1000;
constexpr int kProgressEverySteps = 50;
// The writer's rules for a further file: the days a file spans and the size it may reach.
constexpr int kDaysPerFile = 7;
constexpr int kMaximumFileSize = 1000000;
constexpr int kOperatorMaximumFileSize = 500000;
constexpr int kOnCardBehindSeconds = 2 * kMeanCacheItems * kMeanInterval;

constexpr int kReaders = 3;
constexpr int kStateDeadlineMs = 20000;
// How long the card stays away or the service absent in a cycle; the readers read meanwhile.
constexpr int kAwayMs = 400;
// Steps the writer must take between two cycles, so that every cycle meets a writer at work.
constexpr int kStepsBetweenCycles = 150;
constexpr int kChildDeadlineMs = 60000;

int32_t firstSecond()
{
    const int32_t now = static_cast<int32_t>(std::time(nullptr));
    return (now / 86400 - 1) * 86400;
}

float meanOf(int32_t second)
{
    return 230.0f + static_cast<float>(second % 1000) / 100.0f;
}

DataMean meanAt(int32_t second)
{
    DataMean item{};
    item.utc = DataTimespec{second, 0};
    item.mean = meanOf(second);
    item.min = item.mean - 1.0f;
    item.max = item.mean + 1.0f;
    return item;
}

// A logger of the writer with its identification built in; it can tell whether its cache is
// full, which decides the fate of the item in hand.
template <typename T> class CycleLogger : public TypedTestLogger<T> {
public:
    CycleLogger(LoggerDataType dataType, const char* id, double interval, int cacheItems, int quietMs)
        : TypedTestLogger<T>(LoggerType::CYCLIC, dataType, QString::fromLatin1(id), interval)
    {
        if (cacheItems > 0) {
            this->setCacheCapacity(cacheItems);
            this->setCacheTimeout(quietMs);
        }
    }
};

class CycleAlarms : public LoggerEventAlarm {
public:
    bool cacheFull() { return mCache.getCount() >= mCache.getCapacity(); }
};

// What the writer was told was written, by logger, and what the cache gave up by design.
struct Acks {
    std::vector<int32_t> means;
    std::vector<int32_t> vtqs;
    std::vector<int32_t> alarms;
    std::vector<int32_t> operations;
    int refused = 0;
    int givenUp = 0;
};

bool saveSeconds(const QString& file, const std::vector<int32_t>& seconds)
{
    QFile out(file);
    if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    const auto bytes = static_cast<qint64>(seconds.size() * sizeof(int32_t));
    return out.write(reinterpret_cast<const char*>(seconds.data()), bytes) == bytes;
}

std::vector<int32_t> loadSeconds(const QString& file)
{
    QFile in(file);
    std::vector<int32_t> seconds;
    if (!in.open(QIODevice::ReadOnly))
        return seconds;
    const QByteArray bytes = in.readAll();
    seconds.resize(static_cast<size_t>(bytes.size()) / sizeof(int32_t));
    std::memcpy(seconds.data(), bytes.constData(), seconds.size() * sizeof(int32_t));
    return seconds;
}

QString runFile(const QString& name)
{
    return QDir(qEnvironmentVariable(kRunVariable)).filePath(name);
}

// The groups of the state word.
struct StateGroups {
    LoggerState base;
    LoggerState card;
    LoggerState run;
    LoggerState access;
};

StateGroups groupsOf(LoggerState word)
{
    return {word & LOGGER_STATE_BASE_MASK, word & LOGGER_STATE_CARD_MASK, word & LOGGER_STATE_RUN_MASK,
            word & LOGGER_STATE_ACCESS_MASK};
}

// The data files of a family, told by the tag that begins a file's name, in the order of their
// first items.
struct FamilyFile {
    int32_t firstSecond = 0;
    qint64 size = 0;
    std::vector<int32_t> seconds;
};

std::vector<FamilyFile> filesOf(const QString& dataFolder, const char* tag, int itemSize)
{
    std::vector<FamilyFile> files;
    QDirIterator it(dataFolder, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        if (!it.fileName().startsWith(QLatin1String(tag)))
            continue;
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            continue;
        const QByteArray bytes = file.readAll();
        FamilyFile entry;
        entry.size = bytes.size();
        for (int offset = kLoggerHeaderSize; offset + itemSize <= bytes.size(); offset += itemSize) {
            int32_t second = 0;
            std::memcpy(&second, bytes.constData() + offset, sizeof(second));
            entry.seconds.push_back(second);
        }
        entry.firstSecond = entry.seconds.empty() ? 0 : entry.seconds.front();
        files.push_back(entry);
    }
    std::sort(files.begin(), files.end(),
              [](const FamilyFile& a, const FamilyFile& b) { return a.firstSecond < b.firstSecond; });
    return files;
}

std::vector<int32_t> secondsIn(const std::vector<FamilyFile>& files)
{
    std::vector<int32_t> seconds;
    for (const FamilyFile& file : files)
        seconds.insert(seconds.end(), file.seconds.begin(), file.seconds.end());
    return seconds;
}

// Each further file of a family must have been begun by a rule of the writer, a file's days or
// its size, and none by the card's coming and going: writing goes on in the file it had.
std::string filesBegunWithoutRule(const std::vector<FamilyFile>& files, int maximumFileSize)
{
    std::string unexplained;
    for (size_t index = 1; index < files.size(); ++index) {
        const FamilyFile& before = files[index - 1];
        const FamilyFile& after = files[index];
        const bool dayRule = after.firstSecond / 86400 - before.firstSecond / 86400 >= kDaysPerFile;
        const bool sizeRule = before.size >= maximumFileSize;
        if (!dayRule && !sizeRule)
            unexplained += "a file begun at " + std::to_string(after.firstSecond) + " after one of " +
                           std::to_string(before.size) + " bytes begun at " +
                           std::to_string(before.firstSecond) + "; ";
    }
    return unexplained;
}

// The acked seconds that are missing from what was found.
std::vector<int32_t> missing(const std::vector<int32_t>& acked, std::vector<int32_t> found)
{
    std::sort(found.begin(), found.end());
    std::vector<int32_t> absent;
    for (int32_t second : acked) {
        if (!std::binary_search(found.begin(), found.end(), second))
            absent.push_back(second);
    }
    return absent;
}

QString integrityCheck(const QString& database)
{
    sqlite3* db = nullptr;
    QString result;
    if (sqlite3_open_v2(database.toUtf8().constData(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(db, "PRAGMA integrity_check;", -1, &statement, nullptr) == SQLITE_OK) {
            while (sqlite3_step(statement) == SQLITE_ROW)
                result += QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(statement, 0)));
        }
        sqlite3_finalize(statement);
    }
    sqlite3_close(db);
    return result;
}

} // namespace

// --- the writer

TEST(CardCycleChild, WritesThroughTheFacadesUntilStopped)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of CardCycleTest";
    DatabaseInterface database;
    database.setWriterMode(true);
    ASSERT_TRUE(database.initialize()) << database.getLastError().toStdString();

    CycleLogger<DataMean> means(LoggerDataType::MEAN, kMeanId, kMeanInterval, kMeanCacheItems,
                                kMeanCacheQuietMs);
    CycleLogger<DataXtq<float>> vtqs(LoggerDataType::VTQ, kVtqId, kVtqInterval, 0, 0);
    CycleAlarms alarms;
    alarms.setLoggerName(kAlarmName);
    LoggerOperatorInterface::setEnabled(true);

    ASSERT_TRUE(database.initializeLoggers());
    ASSERT_TRUE(alarms.initialize());
    std::vector<std::string> texts(std::begin(kAlarmTexts), std::end(kAlarmTexts));
    ASSERT_TRUE(alarms.updateEventStrings(texts));
    database.setShouldStartLoggers(true);
    ASSERT_TRUE(database.startStopLoggers(true));
    ChildTestProcess::watchForStop();
    std::cout << "ready" << std::endl;

    Acks acks;
    const int32_t first = firstSecond();
    const auto start = std::chrono::steady_clock::now();
    for (int64_t step = 0; !ChildTestProcess::stopRequested(); ++step) {
        const int32_t second = first + static_cast<int32_t>(step) * kMeanInterval;
        const DataMean mean = meanAt(second);
        const bool meanGivenUp = means.cacheFull();
        if (means.writeLoggerItem(&mean)) {
            if (meanGivenUp)
                ++acks.givenUp;
            else
                acks.means.push_back(second);
        } else {
            ++acks.refused;
        }
        if (second % kVtqInterval == 0) {
            DataXtq<float> vtq{};
            vtq.utc = DataTimespec{second, 0};
            vtq.value = 50.0f;
            vtqs.writeLoggerItem(&vtq) ? acks.vtqs.push_back(second) : void(++acks.refused);
        }
        if (step % kAlarmEverySteps == 0) {
            DataEvent event{};
            event.utc = DataTimespec{second, 0};
            const bool alarmGivenUp = alarms.cacheFull();
            const QString text =
                QString::fromLatin1(kAlarmTexts[(step / kAlarmEverySteps) % std::size(kAlarmTexts)]);
            if (alarms.logEventItem(event, text)) {
                if (alarmGivenUp)
                    ++acks.givenUp;
                else
                    acks.alarms.push_back(second);
            } else {
                ++acks.refused;
            }
        }
        if (step % kOperatorEverySteps == 0) {
            DataOperator entry{};
            LoggerOperatorInterface::createDefault(entry);
            entry.utc = DataTimespec{second, 0};
            entry.operation = static_cast<int32_t>(step);
            LoggerOperatorInterface::setUser(QStringLiteral("cycle"), entry);
            LoggerOperatorInterface::logEvent(entry) ? acks.operations.push_back(second)
                                                     : void(++acks.refused);
        }
        if (step % kProgressEverySteps == 0) {
            publishProgress(runFile(QStringLiteral("progress")), step);
            publishProgress(runFile(QStringLiteral("last-second")), second);
        }
        std::this_thread::sleep_until(start + std::chrono::milliseconds(kStepMs * (step + 1)));
    }

    // Stopping flushes the caches and closes the files and the catalogue.
    EXPECT_TRUE(database.startStopLoggers(false));
    EXPECT_TRUE(saveSeconds(runFile(QStringLiteral("means")), acks.means));
    EXPECT_TRUE(saveSeconds(runFile(QStringLiteral("vtqs")), acks.vtqs));
    EXPECT_TRUE(saveSeconds(runFile(QStringLiteral("alarms")), acks.alarms));
    EXPECT_TRUE(saveSeconds(runFile(QStringLiteral("operations")), acks.operations));
    std::cout << "written means=" << acks.means.size() << " vtqs=" << acks.vtqs.size()
              << " alarms=" << acks.alarms.size() << " operations=" << acks.operations.size()
              << " refused=" << acks.refused << " givenup=" << acks.givenUp << std::endl;
    alarms.closeTimer();
}

// --- a reader

TEST(CardCycleChild, ReadsRandomRangesUntilStopped)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of CardCycleTest";
    ReaderStore store;
    ASSERT_TRUE(store.start()) << LoggerDb::getInstance().getLastError().toStdString();
    LoggerDb& db = LoggerDb::getInstance();
    LoggerSDCard* card = db.getLoggerSDCard();
    ASSERT_NE(card, nullptr);
    ChildTestProcess::watchForStop();
    std::cout << "reading" << std::endl;

    std::mt19937 random(static_cast<unsigned>(qEnvironmentVariableIntValue(kSeedVariable)) + ::getpid());
    const int32_t first = firstSecond();
    LoggerApi api;
    int reads = 0, data = 0, away = 0, returns = 0, bad = 0, nulls = 0;
    bool lastWasAway = false;
    const QDeadlineTimer lifetime(600000);
    while (!ChildTestProcess::stopRequested() && !lifetime.hasExpired()) {
        // Items older than two blocks of the cache are on the card, unless it is away.
        const int64_t last = readProgress(runFile(QStringLiteral("last-second"))) - kOnCardBehindSeconds;
        if (last < first) {
            QThread::msleep(10);
            continue;
        }
        std::uniform_int_distribution<int64_t> pick(first, last);
        int64_t from = pick(random);
        int64_t to = pick(random);
        if (from > to)
            std::swap(from, to);
        const bool awayBefore = card->isEjectSeen() && !card->isCorruptSeen() && !db.isInitialized();
        const auto result =
            api.getMeanValues(QString::fromLatin1(kMeanId), timespec{from, 0}, timespec{to, 0});
        const bool awayAfter = card->isEjectSeen() && !card->isCorruptSeen() && !db.isInitialized();
        ++reads;
        const int count = result ? static_cast<int>(result->mNumItems) : 0;
        if (awayBefore && awayAfter) {
            ++away;
            lastWasAway = true;
            if (count != 0) {
                ++bad;
                std::cout << "bad: " << count << " items while the card was away" << std::endl;
            }
            continue;
        }
        if (!result)
            ++nulls;
        if (count == 0)
            continue;
        ++data;
        if (lastWasAway)
            ++returns;
        lastWasAway = false;
        int32_t previous = 0;
        for (int index = 0; index < count; ++index) {
            const DataMean& item = result->mItems[index];
            const bool inOrder = index == 0 || item.utc.tv_sec > previous;
            const bool inRange = item.utc.tv_sec >= from && item.utc.tv_sec <= to;
            if (!inOrder || !inRange || item.mean != meanOf(item.utc.tv_sec)) {
                ++bad;
                std::cout << "bad: item " << index << " at " << item.utc.tv_sec << " of [" << from << ", "
                          << to << "]" << std::endl;
                break;
            }
            previous = item.utc.tv_sec;
        }
    }
    std::cout << "reads=" << reads << " data=" << data << " away=" << away << " returns=" << returns
              << " bad=" << bad << " nulls=" << nulls << std::endl;
    EXPECT_EQ(bad, 0);
}

// --- the verifier: what the read API gives after the run

TEST(CardCycleChild, ReadsEveryAckedValueBack)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of CardCycleTest";
    ReaderStore store;
    ASSERT_TRUE(store.start()) << LoggerDb::getInstance().getLastError().toStdString();
    LoggerApi api;
    const std::vector<int32_t> means = loadSeconds(runFile(QStringLiteral("means")));
    const std::vector<int32_t> vtqs = loadSeconds(runFile(QStringLiteral("vtqs")));
    ASSERT_FALSE(means.empty());
    const timespec from{firstSecond(), 0};
    const timespec to{means.back() + 1, 0};

    const auto meanResult = api.getMeanValues(QString::fromLatin1(kMeanId), from, to);
    ASSERT_NE(meanResult, nullptr);
    std::vector<int32_t> found;
    for (int index = 0; index < static_cast<int>(meanResult->mNumItems); ++index) {
        const DataMean& item = meanResult->mItems[index];
        ASSERT_TRUE(found.empty() || item.utc.tv_sec > found.back()) << "out of order at " << index;
        EXPECT_EQ(item.mean, meanOf(item.utc.tv_sec));
        found.push_back(item.utc.tv_sec);
    }
    const std::vector<int32_t> absentMeans = missing(means, found);
    EXPECT_TRUE(absentMeans.empty()) << absentMeans.size() << " acked means missing, the first at "
                                     << absentMeans.front();

    const auto vtqResult = api.getVtqValues(QString::fromLatin1(kVtqId), from, to);
    ASSERT_NE(vtqResult, nullptr);
    found.clear();
    for (int index = 0; index < static_cast<int>(vtqResult->mNumItems); ++index)
        found.push_back(vtqResult->mItems[index].utc.tv_sec);
    const std::vector<int32_t> absentVtqs = missing(vtqs, found);
    EXPECT_TRUE(absentVtqs.empty()) << absentVtqs.size() << " acked 10-minute values missing";
    std::cout << "verified means=" << meanResult->mNumItems << " vtqs=" << vtqResult->mNumItems << std::endl;
}

// --- the parent

namespace {

enum class CardEvent { EjectAndMount, CorruptAndMount, ServiceGoneAndBack };

class CardCycleTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mRun.isValid());
        ASSERT_TRUE(mConfig.isValid());
        ASSERT_TRUE(ConfigurationText()
                        .without("targetPath")
                        .set("fileDir", WriterStore::kDataFolder)
                        .set("dbName", WriterStore::kDbName)
                        .writeTo(QDir(mConfig.path()).filePath(QStringLiteral("database.xml"))));
        WriterStore::Options options;
        options.initialize = false;
        mStore = std::make_unique<WriterStore>(options);
        ASSERT_TRUE(mStore->start()) << mStore->errorString().toStdString();
    }

    std::unique_ptr<ChildTestProcess> child(const char* test)
    {
        auto process =
            std::make_unique<ChildTestProcess>(QStringLiteral("CardCycleChild.") + QLatin1String(test));
        mStore->exportTo(*process);
        // The children log every step of every cycle while the parent drives the card.
        process->sendStandardErrorToFile();
        process->setVariable(QStringLiteral("XDG_CONFIG_HOME"), mConfig.path());
        process->setVariable(QString::fromLatin1(kRunVariable), mRun.path());
        process->setVariable(QString::fromLatin1(kSeedVariable), QString::number(mSeed));
        return process;
    }

    LoggerState stateWord() const { return mStore->readLoggerStateFile(); }

    // Waits until the state word shows the groups, recording every word seen on the way.
    bool waitForState(const StateGroups& wanted, std::vector<LoggerState>& seen)
    {
        const QDeadlineTimer deadline(kStateDeadlineMs);
        while (!deadline.hasExpired()) {
            const LoggerState word = stateWord();
            if (seen.empty() || seen.back() != word)
                seen.push_back(word);
            const StateGroups groups = groupsOf(word);
            if (groups.base == wanted.base && groups.card == wanted.card && groups.run == wanted.run &&
                groups.access == wanted.access)
                return true;
            QThread::usleep(500);
        }
        return false;
    }

    bool waitForSteps(int64_t steps)
    {
        const int64_t target = readProgress(QDir(mRun.path()).filePath(QStringLiteral("progress"))) + steps;
        const QDeadlineTimer deadline(kStateDeadlineMs);
        while (!deadline.hasExpired()) {
            if (readProgress(QDir(mRun.path()).filePath(QStringLiteral("progress"))) >= target)
                return true;
            QThread::msleep(5);
        }
        return false;
    }

    QTemporaryDir mRun;
    QTemporaryDir mConfig;
    std::unique_ptr<WriterStore> mStore;
    unsigned mSeed = static_cast<unsigned>(qEnvironmentVariableIsSet(kSeedVariable)
                                               ? qEnvironmentVariableIntValue(kSeedVariable)
                                               : kDefaultSeed);
};

// What every thread of a stuck process is doing, for the report of a failure.
std::string threadsOf(qint64 processId)
{
    QProcess gdb;
    gdb.start(QStringLiteral("gdb"),
              {QStringLiteral("-p"), QString::number(processId), QStringLiteral("-batch"),
               QStringLiteral("-ex"), QStringLiteral("thread apply all bt")});
    if (!gdb.waitForFinished(60000))
        gdb.kill();
    return gdb.readAllStandardOutput().right(12000).toStdString();
}

// The run group's values seen during a change must come in the order the change posts them.
bool inOrder(const std::vector<LoggerState>& seen, const std::vector<LoggerState>& order)
{
    size_t next = 0;
    for (LoggerState word : seen) {
        const LoggerState run = word & LOGGER_STATE_RUN_MASK;
        const auto at = std::find(order.begin() + static_cast<long>(next), order.end(), run);
        if (at == order.end()) {
            if (std::find(order.begin(), order.end(), run) != order.end())
                return false; // a value of the sequence came back after a later one
            continue;
        }
        next = static_cast<size_t>(at - order.begin());
    }
    return true;
}

} // namespace

TEST_F(CardCycleTest, WriterAndReadersFollowTheCardThroughItsCyclesAndLoseNothingPromised)
{
    const int cycles = qEnvironmentVariableIsSet(kCyclesVariable)
                           ? qEnvironmentVariableIntValue(kCyclesVariable)
                           : kDefaultCycles;
    auto writer = child("WritesThroughTheFacadesUntilStopped");
    ASSERT_TRUE(writer->start());
    ASSERT_FALSE(writer->waitForLine("ready", kChildDeadlineMs).isEmpty()) << writer->report().toStdString();
    const StateGroups running{LOGGER_STATE_LOGGER_INITIALIZED, LOGGER_STATE_SD_MOUNTED,
                              LOGGER_STATE_LOGGERS_STARTED, LOGGER_STATE_LOGGERS_READABLE};
    std::vector<LoggerState> seen;
    ASSERT_TRUE(waitForState(running, seen)) << "state word " << stateWord();

    std::vector<std::unique_ptr<ChildTestProcess>> readers;
    for (int reader = 0; reader < kReaders; ++reader) {
        readers.push_back(child("ReadsRandomRangesUntilStopped"));
        ASSERT_TRUE(readers.back()->start());
        ASSERT_FALSE(readers.back()->waitForLine("reading", kChildDeadlineMs).isEmpty())
            << readers.back()->report().toStdString();
    }

    std::mt19937 random(mSeed);
    std::uniform_int_distribution<int> pick(0, 2);
    CardSimulatorProcess& card = mStore->card();
    std::map<CardEvent, int> counts;
    for (int cycle = 0; cycle < cycles; ++cycle) {
        ASSERT_TRUE(waitForSteps(kStepsBetweenCycles)) << "the writer stalled before cycle " << cycle;
        const auto event = static_cast<CardEvent>(pick(random));
        ++counts[event];
        seen.clear();
        switch (event) {
        case CardEvent::EjectAndMount:
        case CardEvent::CorruptAndMount: {
            const bool corrupt = event == CardEvent::CorruptAndMount;
            ASSERT_TRUE(corrupt ? card.corrupt() : card.eject()) << card.errorString().toStdString();
            const StateGroups out{LOGGER_STATE_DISABLED,
                                  corrupt ? LOGGER_STATE_SD_CORRUPT : LOGGER_STATE_SD_EJECT,
                                  LOGGER_STATE_LOGGERS_STOPPED, LOGGER_STATE_LOGGERS_NOT_READABLE};
            ASSERT_TRUE(waitForState(out, seen))
                << "cycle " << cycle << ": state word " << stateWord() << "\n"
                << threadsOf(writer->processId()) << writer->report().right(4000).toStdString();
            EXPECT_TRUE(inOrder(seen, {LOGGER_STATE_LOGGERS_STARTED, LOGGER_STATE_LOGGERS_STOPPING,
                                       LOGGER_STATE_LOGGERS_STOPPED}))
                << "cycle " << cycle;
            // The card stays out a while; the writer writes on and the readers read meanwhile.
            QThread::msleep(kAwayMs);
            seen.clear();
            ASSERT_TRUE(card.mount()) << card.errorString().toStdString();
            ASSERT_TRUE(waitForState(running, seen))
                << "cycle " << cycle << ": state word " << stateWord() << "\n"
                << threadsOf(writer->processId()) << writer->report().right(4000).toStdString();
            EXPECT_TRUE(inOrder(seen, {LOGGER_STATE_LOGGERS_STOPPED, LOGGER_STATE_LOGGERS_STARTING,
                                       LOGGER_STATE_LOGGERS_STARTED}))
                << "cycle " << cycle;
            break;
        }
        case CardEvent::ServiceGoneAndBack:
            ASSERT_TRUE(card.disappear()) << card.errorString().toStdString();
            ASSERT_TRUE(CardSimulatorProcess::waitForService(false));
            QThread::msleep(kAwayMs);
            ASSERT_TRUE(card.reappear()) << card.errorString().toStdString();
            ASSERT_TRUE(CardSimulatorProcess::waitForService(true));
            // The loggers ran on throughout.
            ASSERT_TRUE(waitForState(running, seen))
                << "cycle " << cycle << ": state word " << stateWord() << "\n"
                << threadsOf(writer->processId()) << writer->report().right(4000).toStdString();
            break;
        }
    }
    ASSERT_TRUE(waitForSteps(kStepsBetweenCycles));

    int awayReads = 0;
    int returns = 0;
    for (auto& reader : readers) {
        EXPECT_TRUE(reader->waitForFinished(kChildDeadlineMs)) << "a reader hangs";
        EXPECT_TRUE(reader->passed()) << reader->report().toStdString();
        const QByteArray line = reader->waitForLine("reads=", 1000);
        std::cout << "reader: " << line.constData() << std::endl;
        awayReads += line.split(' ').value(2).mid(5).toInt();
        returns += line.split(' ').value(3).mid(8).toInt();
    }
    EXPECT_TRUE(writer->waitForFinished(kChildDeadlineMs)) << "the writer hangs";
    EXPECT_TRUE(writer->passed()) << writer->report().toStdString();
    const QByteArray written = writer->waitForLine("written ", 1000);
    std::cout << "writer: " << written.constData() << std::endl;
    std::cout << "cycles: eject " << counts[CardEvent::EjectAndMount] << ", corrupt "
              << counts[CardEvent::CorruptAndMount] << ", service gone "
              << counts[CardEvent::ServiceGoneAndBack] << std::endl;
    if (counts[CardEvent::EjectAndMount] > 0) {
        EXPECT_GT(awayReads, 0) << "no reader read while the card was out";
        EXPECT_GT(returns, 0) << "no reader read data again after the card returned";
    }

    // What the writer was told was written is there: alarms and operator entries in their files,
    // each logger in one file a day.
    const QString dataFolder = mStore->dataFolderPath();
    const std::vector<int32_t> means = loadSeconds(QDir(mRun.path()).filePath(QStringLiteral("means")));
    const std::vector<int32_t> alarms = loadSeconds(QDir(mRun.path()).filePath(QStringLiteral("alarms")));
    const std::vector<int32_t> operations =
        loadSeconds(QDir(mRun.path()).filePath(QStringLiteral("operations")));
    ASSERT_FALSE(means.empty());
    ASSERT_FALSE(alarms.empty());
    ASSERT_FALSE(operations.empty());
    const std::vector<FamilyFile> meanFiles = filesOf(dataFolder, "Mn", sizeof(DataMean));
    const std::vector<FamilyFile> alarmFiles = filesOf(dataFolder, "Ev", sizeof(DataEvent));
    const std::vector<FamilyFile> operationFiles = filesOf(dataFolder, "Op", sizeof(DataOperator));
    EXPECT_TRUE(missing(means, secondsIn(meanFiles)).empty());
    EXPECT_TRUE(missing(alarms, secondsIn(alarmFiles)).empty());
    EXPECT_TRUE(missing(operations, secondsIn(operationFiles)).empty());
    EXPECT_EQ(filesBegunWithoutRule(meanFiles, kMaximumFileSize), "");
    EXPECT_EQ(filesBegunWithoutRule(alarmFiles, kMaximumFileSize), "");
    EXPECT_EQ(filesBegunWithoutRule(operationFiles, kOperatorMaximumFileSize), "");
    std::cout << "files: means " << meanFiles.size() << ", alarms " << alarmFiles.size()
              << ", operator entries " << operationFiles.size() << std::endl;

    // ... and the means and 10-minute values come back through the read API.
    auto verifier = child("ReadsEveryAckedValueBack");
    EXPECT_TRUE(verifier->run(kChildDeadlineMs));
    EXPECT_TRUE(verifier->passed()) << verifier->report().toStdString();

    EXPECT_EQ(integrityCheck(mStore->databaseFile()), QStringLiteral("ok"));
}

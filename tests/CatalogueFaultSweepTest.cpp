// The catalogue fails under a writer, one call at a time. A writer's run in a child process
// brings the store up, starts a logger, writes 300 items in four blocks of 75, one file taking
// 100, stores the logger's state and stops. A clean run tells how many calls of the catalogue
// core it makes; then, for every N up to that number, a run in which the Nth call fails: with an
// I/O error, with a full card, or busy for as long as the retried transaction tries. No run may
// crash or let an exception out, each failure must surface in a text of the system, and a run
// gives the results that belong to where it failed. After each run a writer starts again on
// what the run left (this process) and must come up, find the catalogue healthy, and find a row
// for every data file that holds items.
//
// The runs begin on a new card (a catalogue with the schema and nothing else, no data files),
// or on a card on which a clean run has written already, so that the logger picks up its type
// and files. QZLOGGER_SWEEP_STRIDE runs only every so many N (for a quick look; default 1, all).

#include "LoggerTestSeams.h"
#include "ChildTestProcess.h"
#include "Database.h"
#include "DatabaseExceptions.h"
#include "DefnBaseType.h"
#include "DefnTypePersistance.h"
#include "FaultInjection.h"
#include "FileFaults.h"
#include "LogCapture.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerFileInfo.h"
#include "LoggerFileSystem.h"
#include "MeanItemFiles.h"
#include "TemporaryCatalogue.h"
#include "TestLogger.h"
#include "WriterStore.h"

#include <QByteArray>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QSet>
#include <QStringList>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int kItemSize = static_cast<int>(sizeof(DataMean));
constexpr int32_t kFirstSecond = 1763802000; // 2025-11-22, mid-day in any zone
const QString kMeasureId = QStringLiteral("mean_200ms.catalogue_fault_sweep.mean_out");
// Four blocks of 75 items; a file takes 100, and the third block begins the second file.
constexpr int kBlocks = 4;
constexpr int kBlockItems = 75;
constexpr int kMaximumFileSize = 44 + 100 * kItemSize;
// A busy catalogue that outlasts a retried transaction: as many busy calls as it has tries.
constexpr long kFrameTries = 501;

constexpr const char* kFailCallVariable = "QZLOGGER_SWEEP_FAIL_CALL";
constexpr const char* kCodeVariable = "QZLOGGER_SWEEP_CODE";
constexpr const char* kCountVariable = "QZLOGGER_SWEEP_FAIL_COUNT";
constexpr const char* kStrideVariable = "QZLOGGER_SWEEP_STRIDE";

// SQLite's text of a result code, as sqlite3_errstr gives it.
QString messageOf(int code)
{
    switch (code) {
    case SQLITE_IOERR: return QStringLiteral("disk I/O error");
    case SQLITE_FULL: return QStringLiteral("database or disk is full");
    case SQLITE_BUSY: return QStringLiteral("database is locked");
    }
    return QStringLiteral("unknown error");
}

class SweepLogger : public TestLogger {
public:
    SweepLogger() : TestLogger(kMeasureId, kItemSize) { setMaximumFileSize(kMaximumFileSize); }

    // The number of the next item: 0 in a new file, else behind the last one of the file.
    int64_t nextNumber()
    {
        if (isFirstCurrentFileInfoItem())
            return 0;
        const timespec last = getCurrentUtc();
        return (static_cast<int64_t>(last.tv_sec) - kFirstSecond) * 1000 + last.tv_nsec / 1000000 + 1;
    }

    bool writeNumbers(int64_t first, int count)
    {
        return writeNumberedMeans(*this, kFirstSecond, first, count) != nullptr;
    }
};

// --- The writer's run ------------------------------------------------------------------------

// One run of the writer with the calls that the environment names failing (none where
// QZLOGGER_SWEEP_FAIL_CALL is 0 or unset). Whatever fails, the run goes on as a writer would.
// It prints "block <b> after call <c>" before each block, then "run init=<0|1> state=<logger
// state> blocks=<written> update=<0|1> calls=<c> failed=<f>", then every line of its log that
// carries the injected failure's text, as "log <line>".
TEST(CatalogueFaultSweepChild, RunsTheWriter)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of CatalogueFaultSweepTest";
    ASSERT_TRUE(LogCapture::install());
    // The frame's waits between busy tries are not slept.
    setRetrySleepForTesting([](unsigned long) {});
    const long failCall = intVariable(kFailCallVariable, 0);
    const int code = intVariable(kCodeVariable, SQLITE_IOERR);
    const long count = intVariable(kCountVariable, 1);
    if (failCall > 0)
        qzdb::FaultInjection::failCalls(failCall, code, count);
    else
        qzdb::FaultInjection::startCounting();

    ReaderStore store;
    const bool initialized = store.startAsWriter();
    LoggerState state = 0;
    int blocks = 0;
    bool updated = false;
    if (initialized) {
        SweepLogger logger;
        logger.startLogger();
        state = logger.getLoggerState();
        const int64_t first = logger.nextNumber();
        for (int block = 0; block < kBlocks; ++block) {
            std::cout << "block " << block + 1 << " after call " << qzdb::FaultInjection::callCount()
                      << std::endl;
            if (logger.writeNumbers(first + block * kBlockItems, kBlockItems))
                ++blocks;
        }
        updated = logger.updateAccess();
        logger.stopLogger();
    }
    LoggerDb::getInstance().close();
    qzdb::FaultInjection::stop();
    std::cout << "run init=" << initialized << " state=" << state << " blocks=" << blocks
              << " update=" << updated << " calls=" << qzdb::FaultInjection::callCount()
              << " failed=" << qzdb::FaultInjection::failedCount() << std::endl;
    const QString text = messageOf(code);
    for (const QString& line : LogCapture::lines()) {
        if (line.contains(text) || line.contains(QStringLiteral("initialize exception")))
            std::cout << "log " << line.toStdString() << std::endl;
    }
}

// --- The sweep ---------------------------------------------------------------------------------

struct SweepCode {
    int code;
    long count;   // calls that fail in a row, from the Nth
    bool history; // the runs begin on a card on which a clean run has written, not on a new one
    const char* name;
};

std::ostream& operator<<(std::ostream& out, const SweepCode& sweepCode)
{
    return out << sweepCode.name;
}

// Copies the folder with all below it; the target must not exist.
bool copyFolder(const QString& from, const QString& to)
{
    if (!QDir().mkpath(to))
        return false;
    QDirIterator entries(from, QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString name = entries.next();
        const QString target = to + name.mid(from.size());
        const bool copied = entries.fileInfo().isDir() ? QDir().mkpath(target) : QFile::copy(name, target);
        if (!copied)
            return false;
    }
    return true;
}

// Whether one line of a run's log is a text by which the system reports the injected failure:
// a retried transaction that ends on it ("<error>: <description> Logger Exception", fatal), one
// that gave up retrying ("<description> Logger Retry: 500: <error>", info), or the start of the
// store that it ended ("odb::exception=<error>", error).
// Gives in `where` the description of the transaction, or "start" for the start of the store.
bool reportsTheFailure(const QByteArray& line, const SweepCode& sweepCode, QByteArray& where)
{
    const QByteArray message = messageOf(sweepCode.code).toLatin1();
    const QByteArray error =
        sweepCode.code == SQLITE_BUSY ? message : QByteArray::number(sweepCode.code) + ": " + message;
    const QByteArray retry = " Logger Retry: 500: " + message;
    const QByteArray info = "log Logger.Db|INFO|";
    if (sweepCode.code == SQLITE_BUSY && line.startsWith(info) && line.endsWith(retry)) {
        where = line.mid(info.size(), line.size() - info.size() - retry.size());
        return true;
    }
    const QByteArray fatal = "log Logger.Db|FATAL|" + error + ": ";
    const QByteArray exception = " Logger Exception";
    if (line.startsWith(fatal) && line.endsWith(exception)) {
        where = line.mid(fatal.size(), line.size() - fatal.size() - exception.size());
        return true;
    }
    where = "start";
    return line == "log Logger.Db|ERROR|odb::exception=" + error;
}

// "1-3 start, 4-7 integrity_check, ...": where the calls of a run lie.
std::string describeCalls(const std::vector<QByteArray>& where, int stride)
{
    std::string text;
    size_t first = 0;
    for (size_t index = 1; index <= where.size(); ++index) {
        if (index < where.size() && where[index] == where[first])
            continue;
        const long from = 1 + static_cast<long>(first) * stride;
        const long to = 1 + static_cast<long>(index - 1) * stride;
        text += (text.empty() ? "" : ", ") + std::to_string(from) +
                (to > from ? "-" + std::to_string(to) : "") + " " + where[first].toStdString();
        first = index;
    }
    return text;
}

// A store whose card every run finds alike, a writer's run in a child process, and the restart
// that checks what a run left.
class CatalogueFaultTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(LogCapture::install());
        ASSERT_TRUE(mChildTemp.isValid());
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        LoggerDb::getInstance().close();
        mStartCatalogue = FileFaults::readAll(mStore.databaseFile());
        ASSERT_FALSE(mStartCatalogue.isEmpty());
    }

    // The card as every run finds it: the catalogue and data files as they were kept last.
    bool resetCard()
    {
        QFile::remove(mStore.databaseFile() + QStringLiteral("-journal"));
        if (!QDir(mStore.dataFolderPath()).removeRecursively() ||
            !FileFaults::writeAll(mStore.databaseFile(), mStartCatalogue))
            return false;
        return mStartData.isEmpty() || copyFolder(mStartData, mStore.dataFolderPath());
    }

    // Keeps the card as it is now for every further run.
    bool keepCard()
    {
        mStartCatalogue = FileFaults::readAll(mStore.databaseFile());
        mStartData = mChildTemp.filePath(QStringLiteral("start-data"));
        return !mStartCatalogue.isEmpty() && copyFolder(mStore.dataFolderPath(), mStartData);
    }

    // Runs the writer in a child; its "run ..." line, empty where the child did not pass.
    QByteArray runWriter(long failCall, const SweepCode& sweepCode, QByteArray& output, std::string& report)
    {
        mStore.handOver();
        ChildTestProcess child(QStringLiteral("CatalogueFaultSweepChild.RunsTheWriter"));
        mStore.exportTo(child);
        // Whatever a child leaves in its temporary folder goes with this one.
        child.setVariable(QStringLiteral("TMPDIR"), mChildTemp.path());
        child.setVariable(QString::fromLatin1(kFailCallVariable), QString::number(failCall));
        child.setVariable(QString::fromLatin1(kCodeVariable), QString::number(sweepCode.code));
        child.setVariable(QString::fromLatin1(kCountVariable), QString::number(sweepCode.count));
        if (!child.run() || !child.passed()) {
            report = child.report().toStdString();
            return QByteArray();
        }
        output = child.standardOutput();
        report = child.report().toStdString();
        return child.waitForLine("run ", 0);
    }

    // The data files below the data folder that hold more than their header.
    QStringList filesWithItems() const
    {
        QStringList names;
        QDirIterator files(mStore.dataFolderPath(), {QStringLiteral("*.bin")}, QDir::Files,
                           QDirIterator::Subdirectories);
        while (files.hasNext()) {
            const QString name = files.next();
            if (QFileInfo(name).size() > 44)
                names << name;
        }
        return names;
    }

    // A writer starts on the card the run left: it must come up with a healthy catalogue in which
    // every file with items has its row, linked to the logger. Empty where it does, else what
    // is wrong.
    std::string restartAndCheck()
    {
        LoggerDb& db = LoggerDb::getInstance();
        if (!mStore.initializeWriter())
            return "the writer does not come up: " + db.getLastError().toStdString();
        std::string problem;
        const std::string integrity = queryText(*db.getDb(), "PRAGMA integrity_check");
        if (integrity != "ok")
            problem = "integrity check: " + integrity;
        {
            SweepLogger logger;
            logger.startLogger();
            if (problem.empty() && logger.getLoggerState() != LOGGER_STATE_LOGGER_INITIALIZED)
                problem = "the logger does not come up: state " + std::to_string(logger.getLoggerState());
            QSet<QString> rows;
            DefnTypePersistance persistance;
            for (const DefnBaseType& row :
                 persistance.readBaseTypes(LoggerType::CYCLIC, LoggerDataType::MEAN, kMeasureId, true)) {
                const std::shared_ptr<DefnBaseType> type =
                    persistance.readBaseType(LoggerType::CYCLIC, row.Id);
                for (int index = 0; type != nullptr && index < type->getFileListSize(); ++index) {
                    const std::shared_ptr<LoggerFileInfo> file = type->getFileInfo(index);
                    if (file != nullptr)
                        rows.insert(LoggerFileSystem::getFullFileName(file.get()));
                }
            }
            for (const QString& name : filesWithItems()) {
                if (problem.empty() && !rows.contains(name))
                    problem = "no row for " + name.toStdString() + " (" +
                              std::to_string(readDataFile(name).items.size()) + " items)";
            }
            logger.stopLogger();
        }
        db.close();
        return problem;
    }

    QTemporaryDir mChildTemp;
    WriterStore mStore;
    QByteArray mStartCatalogue;
    QString mStartData; // empty: no data files
};

class CatalogueFaultSweepTest : public CatalogueFaultTest, public ::testing::WithParamInterface<SweepCode> {};

TEST_P(CatalogueFaultSweepTest, NoFailingCallCrashesTheWriterAndARestartFindsEveryFileCatalogued)
{
    const SweepCode& sweepCode = GetParam();
    QElapsedTimer clock;
    clock.start();

    // The clean run: everything written, two files, and the number of calls to sweep. On a card
    // with history a first clean run writes it, and the runs go on behind its items.
    ASSERT_TRUE(resetCard());
    QByteArray output;
    std::string report;
    int filesBefore = 0;
    if (sweepCode.history) {
        ASSERT_FALSE(runWriter(0, sweepCode, output, report).isEmpty()) << report;
        ASSERT_TRUE(keepCard());
        filesBefore = filesWithItems().size();
    }
    const QByteArray clean = runWriter(0, sweepCode, output, report);
    ASSERT_FALSE(clean.isEmpty()) << report;
    ASSERT_EQ(field(clean, "init"), "1") << report;
    ASSERT_EQ(field(clean, "state"), QByteArray::number(LOGGER_STATE_LOGGER_INITIALIZED)) << report;
    ASSERT_EQ(field(clean, "blocks"), QByteArray::number(kBlocks)) << report;
    ASSERT_EQ(field(clean, "update"), "1") << report;
    ASSERT_EQ(filesWithItems().size(), filesBefore + 2);
    const long calls = field(clean, "calls").toLong();
    ASSERT_GT(calls, 0);
    const std::string cleanProblem = restartAndCheck();
    ASSERT_TRUE(cleanProblem.empty()) << cleanProblem;

    const int stride = std::max(1, intVariable(kStrideVariable, 1));
    int runs = 0;
    int initFailed = 0;
    int blocksRefused = 0;
    std::vector<QByteArray> places;
    for (long failCall = 1; failCall <= calls; failCall += stride) {
        SCOPED_TRACE("call " + std::to_string(failCall) + " of " + std::to_string(calls) + " failing with " +
                     sweepCode.name);
        ASSERT_TRUE(resetCard());
        const QByteArray run = runWriter(failCall, sweepCode, output, report);
        ASSERT_FALSE(run.isEmpty()) << "the run did not end well\n" << report;
        ++runs;
        // A busy call outside a retried transaction is not tried again: it ends the start.
        const bool started = field(run, "init") == "1";
        if (!started)
            ++initFailed;
        EXPECT_EQ(field(run, "failed"),
                  QByteArray::number(static_cast<qlonglong>(started ? sweepCode.count : 1)))
            << report;
        blocksRefused += kBlocks - field(run, "blocks").toInt();
        // The failure surfaces in one of the system's texts.
        bool reported = false;
        QByteArray where = "?";
        for (const QByteArray& line : output.split('\n')) {
            if (!reported)
                reported = reportsTheFailure(line, sweepCode, where);
        }
        EXPECT_TRUE(reported) << "no text reports the failure\n" << report;
        places.push_back(reported ? where : QByteArray("?"));
        // Where it failed decides what the run gives: a start without a catalogue, a logger
        // that is failed and takes no block, a new file refused together with its block.
        if (!started) {
            EXPECT_EQ(where, "start") << report;
        }
        if (field(run, "state") == QByteArray::number(LOGGER_STATE_LOGGER_FAILED)) {
            EXPECT_EQ(field(run, "blocks"), "0") << report;
        }
        if (where == "createFile") {
            EXPECT_EQ(field(run, "blocks"), QByteArray::number(kBlocks - 1)) << report;
        }

        const std::string problem = restartAndCheck();
        EXPECT_TRUE(problem.empty()) << problem << "\n" << report;
    }
    std::cout << sweepCode.name << ": " << runs << " runs over " << calls << " calls, " << initFailed
              << " with a failed start, " << blocksRefused << " blocks refused, " << clock.elapsed() << " ms"
              << std::endl
              << "failing calls and where they failed: " << describeCalls(places, stride) << std::endl;
    RecordProperty("calls", static_cast<int>(calls));
    RecordProperty("runs", runs);
}

// The block that begins the second file on a new card makes its last call in the transaction
// that stores the new file's row, its COMMIT. When that fails, the block is refused, and the file
// that was made for it must not take the next block without a row: a restarted writer and every
// reader find a file only through its row.
TEST_F(CatalogueFaultTest, ANewFileWhoseRowIsNotStoredTakesNoItemsWithoutARow)
{
    const SweepCode ioError{SQLITE_IOERR, 1, false, "IoError"};
    ASSERT_TRUE(resetCard());
    QByteArray output;
    std::string report;
    ASSERT_FALSE(runWriter(0, ioError, output, report).isEmpty()) << report;
    const QByteArray lastBefore = [&output] {
        for (const QByteArray& line : output.split('\n')) {
            if (line.startsWith("block 4 after call "))
                return line.mid(static_cast<int>(std::strlen("block 4 after call ")));
        }
        return QByteArray();
    }();
    const long commitOfTheNewFile = lastBefore.toLong();
    ASSERT_GT(commitOfTheNewFile, 0) << report;

    ASSERT_TRUE(resetCard());
    const QByteArray run = runWriter(commitOfTheNewFile, ioError, output, report);
    ASSERT_FALSE(run.isEmpty()) << report;
    EXPECT_EQ(field(run, "blocks"), QByteArray::number(kBlocks - 1)) << report;
    EXPECT_TRUE(output.contains("log Logger.Db|FATAL|10: disk I/O error: createFile Logger Exception\n"))
        << report;
    const std::string problem = restartAndCheck();
    EXPECT_TRUE(problem.empty()) << problem << "\n" << report;
}

const SweepCode kSweepCodes[] = {
    {SQLITE_IOERR, 1, false, "IoErrorOnANewCard"},
    {SQLITE_FULL, 1, false, "FullOnANewCard"},
    {SQLITE_BUSY, kFrameTries, false, "BusyPastTheRetriesOnANewCard"},
    // A full card fails the same calls in the same way as an I/O error; behind an earlier run
    // the sweep takes the two kinds of failure that the retried transaction tells apart.
    {SQLITE_IOERR, 1, true, "IoErrorBehindAnEarlierRun"},
    {SQLITE_BUSY, kFrameTries, true, "BusyPastTheRetriesBehindAnEarlierRun"},
};

INSTANTIATE_TEST_SUITE_P(Catalogue, CatalogueFaultSweepTest, ::testing::ValuesIn(kSweepCodes),
                         [](const ::testing::TestParamInfo<SweepCode>& info) {
                             return std::string(info.param.name);
                         });

} // namespace

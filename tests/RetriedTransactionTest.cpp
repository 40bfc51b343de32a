// The retried transaction: its retries while SQLite is busy, with the falling back-off, its
// texts and message types, the order of the catalogue exceptions and the mutex it holds. The
// busy catalogue is real where it matters: a second process holds the write lock.

#include "LoggerRetriedTransaction.h"

#include "LoggerTestSeams.h"
#include "CatalogueMapping.h"
#include "ChildTestProcess.h"
#include "Database.h"
#include "DatabaseExceptions.h"
#include "LogCapture.h"
#include "LoggerDb.h"
#include "TemporaryCatalogue.h"

#include <QElapsedTimer>
#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr const char* kCatalogueVariable = "QZLOGGER_TEST_CATALOGUE";
constexpr const char* kHoldVariable = "QZLOGGER_TEST_HOLD_MS";

QString dbLine(const char* level, const std::string& text)
{
    return QStringLiteral("Logger.Db|") + QLatin1String(level) + QLatin1Char('|') +
           QString::fromStdString(text);
}

struct FrameMessage {
    std::string text;
    LoggerMessageType type;
    bool operator==(const FrameMessage& other) const { return text == other.text && type == other.type; }
};

std::ostream& operator<<(std::ostream& out, const FrameMessage& message)
{
    return out << "(" << message.text << ", " << static_cast<int>(message.type) << ")";
}

// A catalogue handed to LoggerDb, the frame's texts recorded, and its waits recorded instead of
// slept where a test asks so.
class RetriedTransactionTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(LogCapture::install());
        ASSERT_TRUE(mCatalogue.isValid());
        LoggerDb::getInstance().setDb(mCatalogue.sharedDatabase());
        setRetryMessageObserverForTesting([this](const std::string& text, LoggerMessageType type) {
            mMessages.push_back({text, type});
        });
    }

    void TearDown() override
    {
        setRetryMessageObserverForTesting(nullptr);
        setRetrySleepForTesting(nullptr);
        LoggerDb::getInstance().setDb(nullptr);
    }

    void recordWaits()
    {
        setRetrySleepForTesting([this](unsigned long milliseconds) { mWaits.push_back(milliseconds); });
    }

    TemporaryCatalogue mCatalogue;
    std::vector<FrameMessage> mMessages;
    std::vector<unsigned long> mWaits;
};

TEST_F(RetriedTransactionTest, ABodyThatSucceedsRunsOnceAndCommits)
{
    int runs = 0;
    const int started = LoggerDb::getInstance().getPerformanceCounter().getTotalCount();
    EXPECT_TRUE(retriedTransaction("persist", [&runs] {
        ++runs;
        DefnEventString text("committed");
        qzdb::persist(text);
        return true;
    }));
    EXPECT_EQ(runs, 1);
    EXPECT_TRUE(mMessages.empty());
    EXPECT_EQ(LoggerDb::getInstance().getPerformanceCounter().getTotalCount(), started + 1);
    EXPECT_EQ(queryNumber(mCatalogue.database(), "SELECT count(*) FROM \"DefnEventString\""), 1);
}

TEST_F(RetriedTransactionTest, TheResultIsTheFrameFlagAndTheBodysResult)
{
    EXPECT_FALSE(retriedTransaction("persist", [] {
        DefnEventString text("committed all the same");
        qzdb::persist(text);
        return false;
    }));
    EXPECT_EQ(queryNumber(mCatalogue.database(), "SELECT count(*) FROM \"DefnEventString\""), 1);
    EXPECT_TRUE(retriedTransaction("", [] { return true; }));
}

TEST_F(RetriedTransactionTest, WithoutADatabaseTheBodyDoesNotRunAndAFatalIsLogged)
{
    LoggerDb::getInstance().setDb(nullptr);
    bool ran = false;
    const int fatals = TrackObject::getFatalCounter();
    EXPECT_FALSE(retriedTransaction("persist", [&ran] { return ran = true; }));
    EXPECT_FALSE(ran);
    EXPECT_EQ(TrackObject::getFatalCounter(), fatals + 1);
    EXPECT_TRUE(LogCapture::contains(dbLine("FATAL", "Logger Interface == nullptr")))
        << LogCapture::text().toStdString();
}

// The one test that really waits: 501 ms, then 500 ms.
TEST_F(RetriedTransactionTest, TwoBusyTriesThenSuccessWait501And500MillisecondsAndLogTheLastRetry)
{
    std::vector<qint64> tryTimes;
    QElapsedTimer clock;
    clock.start();
    const int started = LoggerDb::getInstance().getPerformanceCounter().getTotalCount();
    const bool result = retriedTransaction("update", [&] {
        tryTimes.push_back(clock.elapsed());
        if (tryTimes.size() <= 2)
            throw qzdb::Recoverable("database is locked");
        return true;
    });
    EXPECT_TRUE(result);
    ASSERT_EQ(tryTimes.size(), 3u);
    EXPECT_GE(tryTimes[1] - tryTimes[0], 501);
    EXPECT_LT(tryTimes[1] - tryTimes[0], 501 + 250);
    EXPECT_GE(tryTimes[2] - tryTimes[1], 500);
    EXPECT_LT(tryTimes[2] - tryTimes[1], 500 + 250);
    EXPECT_EQ(LoggerDb::getInstance().getPerformanceCounter().getTotalCount(), started + 3);

    const std::vector<FrameMessage> expected{
        {"update Logger Retry: 0: database is locked", LOGGER_MESSAGE_ROUTINE},
        {"update Logger Retry: 1: database is locked", LOGGER_MESSAGE_ROUTINE},
        {"update Logger Retry: 1: database is locked", LOGGER_MESSAGE_INFO},
    };
    EXPECT_EQ(mMessages, expected);
    // Routine texts reach no log; the last retry stands there once, at info level.
    const QStringList expectedLog{dbLine("INFO", "update Logger Retry: 1: database is locked")};
    EXPECT_EQ(LogCapture::lines(), expectedLog);
}

TEST_F(RetriedTransactionTest, ABodyThatStaysBusyRuns501TimesWithFallingWaitsAndReportsFalse)
{
    recordWaits();
    int runs = 0;
    bool result = true;
    EXPECT_NO_THROW(result = retriedTransaction("insert", [&runs]() -> bool {
                        ++runs;
                        throw qzdb::Recoverable("database is locked");
                    }));
    EXPECT_FALSE(result);
    EXPECT_EQ(runs, 501);
    ASSERT_EQ(mWaits.size(), 501u);
    for (size_t i = 0; i < mWaits.size(); ++i)
        ASSERT_EQ(mWaits[i], 501 - i) << "wait " << i;
    EXPECT_EQ(std::accumulate(mWaits.begin(), mWaits.end(), 0ul), 125751ul);

    ASSERT_EQ(mMessages.size(), 502u);
    for (size_t i = 0; i < 501; ++i) {
        ASSERT_EQ(mMessages[i],
                  (FrameMessage{"insert Logger Retry: " + std::to_string(i) + ": database is locked",
                                LOGGER_MESSAGE_ROUTINE}));
    }
    EXPECT_EQ(mMessages.back(),
              (FrameMessage{"insert Logger Retry: 500: database is locked", LOGGER_MESSAGE_INFO}));
    EXPECT_EQ(LoggerDb::getInstance().getExceptionCounter(), 0);
}

TEST_F(RetriedTransactionTest, ObjectNotPersistentEndsTheFrameAtOnce)
{
    recordWaits();
    int runs = 0;
    EXPECT_FALSE(retriedTransaction("readBaseType", [&runs]() -> bool {
        ++runs;
        throw qzdb::ObjectNotPersistent();
    }));
    EXPECT_EQ(runs, 1);
    EXPECT_TRUE(mWaits.empty());
    EXPECT_TRUE(mMessages.empty());
    EXPECT_EQ(LoggerDb::getInstance().getExceptionCounter(), 1);
    const std::string text = "object not persistent: readBaseType object not persistent";
    EXPECT_EQ(LoggerDb::getInstance().getLastError().toStdString(), text);
    EXPECT_TRUE(LogCapture::contains(dbLine("FATAL", text))) << LogCapture::text().toStdString();
}

TEST_F(RetriedTransactionTest, EachCatalogueExceptionHasItsText)
{
    using Thrower = std::function<void()>;
    const std::vector<std::pair<Thrower, std::string>> cases{
        {[] { throw qzdb::ObjectNotPersistent(); }, " object not persistent"},
        {[] { throw qzdb::ObjectAlreadyPersistent(); }, " object already persistent"},
        {[] { throw qzdb::ObjectChanged(); }, " object changed"},
        {[] { throw qzdb::ResultNotCached(); }, " object not cached"},
        {[] { throw qzdb::AbstractClass(); }, " abstract class"},
        {[] { throw qzdb::NoTypeInfo(); }, " no type info"},
        {[] { throw qzdb::PreparedAlreadyCached("q"); }, " prepared already cached"},
        {[] { throw qzdb::PreparedTypeMismatch("q"); }, " prepared type mismatch"},
        {[] { throw qzdb::UnknownSchema("s"); }, " unknown schema"},
        {[] { throw qzdb::UnknownSchemaVersion(2); }, " unknown schema version"},
        {[] { throw qzdb::SectionNotLoaded(); }, " section not loaded"},
        {[] { throw qzdb::SectionNotInObject(); }, " section not in object"},
        {[] { throw qzdb::MultipleExceptions(); }, " multiple exceptions"},
        {[] { throw qzdb::DatabaseException(1, 1, "SQL logic error"); }, " Logger Exception"},
        {[] { throw qzdb::Exception("plain"); }, " Logger Exception"},
    };
    recordWaits();
    int counted = LoggerDb::getInstance().getExceptionCounter();
    for (const auto& entry : cases) {
        std::string what;
        try {
            entry.first();
        } catch (const qzdb::Exception& e) {
            what = e.what();
        }
        EXPECT_FALSE(retriedTransaction("op", [&entry]() -> bool {
            entry.first();
            return true;
        }));
        EXPECT_EQ(LoggerDb::getInstance().getAndResetLastError().toStdString(), what + ": op" + entry.second);
        EXPECT_EQ(LoggerDb::getInstance().getExceptionCounter(), ++counted);
    }
    EXPECT_TRUE(mWaits.empty());
}

TEST_F(RetriedTransactionTest, AFailureAfterRetriesStillLeavesTheLastRetryAtInfoLevel)
{
    recordWaits();
    int runs = 0;
    EXPECT_FALSE(retriedTransaction("erase", [&runs]() -> bool {
        if (++runs == 1)
            throw qzdb::Recoverable("database table is locked");
        throw qzdb::ObjectNotPersistent();
    }));
    const std::vector<FrameMessage> expected{
        {"erase Logger Retry: 0: database table is locked", LOGGER_MESSAGE_ROUTINE},
        {"erase Logger Retry: 0: database table is locked", LOGGER_MESSAGE_INFO},
    };
    EXPECT_EQ(mMessages, expected);
    EXPECT_EQ(mWaits, std::vector<unsigned long>{501});
}

TEST_F(RetriedTransactionTest, OtherExceptionsPassThroughAfterTheMutexIsUnlocked)
{
    recordWaits();
    int runs = 0;
    EXPECT_THROW(retriedTransaction("read",
                                    [&runs]() -> bool {
                                        if (++runs == 1)
                                            throw qzdb::Recoverable("database is locked");
                                        throw std::runtime_error("not a catalogue error");
                                    }),
                 std::runtime_error);
    EXPECT_EQ(LoggerDb::getInstance().getExceptionCounter(), 0);
    EXPECT_EQ(mMessages.back(),
              (FrameMessage{"read Logger Retry: 0: database is locked", LOGGER_MESSAGE_INFO}));
    bool lockedElsewhere = false;
    std::thread other([&lockedElsewhere] {
        QMutex* mutex = LoggerDb::getInstance().getDbMutex();
        lockedElsewhere = mutex->tryLock();
        if (lockedElsewhere)
            mutex->unlock();
    });
    other.join();
    EXPECT_TRUE(lockedElsewhere);
    // The transaction of the failed try is gone: the connection is free for the next one.
    EXPECT_TRUE(retriedTransaction("after", [] { return true; }));
}

TEST_F(RetriedTransactionTest, TheMutexIsHeldAcrossTheWaits)
{
    std::vector<bool> lockedElsewhere;
    setRetrySleepForTesting([&lockedElsewhere](unsigned long) {
        bool locked = false;
        std::thread other([&locked] {
            QMutex* mutex = LoggerDb::getInstance().getDbMutex();
            locked = mutex->tryLock();
            if (locked)
                mutex->unlock();
        });
        other.join();
        lockedElsewhere.push_back(locked);
    });
    int runs = 0;
    EXPECT_TRUE(retriedTransaction("wait", [&runs] {
        if (++runs < 3)
            throw qzdb::Recoverable("database is locked");
        return true;
    }));
    EXPECT_EQ(lockedElsewhere, (std::vector<bool>{false, false}));
}

// --- A real busy catalogue: another process holds the write lock ---------------------------

// The child: takes the write lock on the catalogue, says so, and holds it for the time the
// parent names, or, without one, until its standard input ends.
TEST(RetriedTransactionLockHolderChild, HoldsTheWriteLock)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP();
    const std::string path = qEnvironmentVariable(kCatalogueVariable).toStdString();
    ASSERT_FALSE(path.empty());
    qzdb::Database db(path, qzdb::Database::kOpenReadWriteCreate);
    db.executeRaw("BEGIN IMMEDIATE");
    std::cout << "locked" << std::endl;
    const int holdMs = qEnvironmentVariableIntValue(kHoldVariable);
    if (holdMs > 0) {
        QElapsedTimer held;
        held.start();
        while (held.elapsed() < holdMs)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    } else {
        std::string line;
        std::getline(std::cin, line);
    }
    db.executeRaw("COMMIT");
    std::cout << "released" << std::endl;
}

TEST_F(RetriedTransactionTest, ALockHeldByAnotherProcessForAWhileIsWaitedOut)
{
    ChildTestProcess holder(QStringLiteral("RetriedTransactionLockHolderChild.HoldsTheWriteLock"));
    holder.setVariable(QString::fromLatin1(kCatalogueVariable), QString::fromStdString(mCatalogue.path()));
    holder.setVariable(QString::fromLatin1(kHoldVariable), QStringLiteral("300"));
    ASSERT_TRUE(holder.start());
    ASSERT_EQ(holder.waitForLine("locked", 10000), QByteArray("locked")) << holder.report().toStdString();

    // No busy time-out: each try fails at once while the other process holds the lock.
    LoggerDb::getInstance().setDatabaseTimeout(0);
    QElapsedTimer clock;
    clock.start();
    EXPECT_TRUE(retriedTransaction("insert", [] {
        DefnEventString text("after the lock");
        qzdb::persist(text);
        return true;
    }));
    const qint64 elapsed = clock.elapsed();
    ASSERT_TRUE(holder.waitForFinished());
    EXPECT_TRUE(holder.passed()) << holder.report().toStdString();

    ASSERT_GE(mMessages.size(), 2u);
    EXPECT_EQ(mMessages.front(),
              (FrameMessage{"insert Logger Retry: 0: database is locked", LOGGER_MESSAGE_ROUTINE}));
    const FrameMessage& last = mMessages.back();
    EXPECT_EQ(last.type, LOGGER_MESSAGE_INFO);
    EXPECT_EQ(last.text, mMessages[mMessages.size() - 2].text);
    for (size_t i = 0; i + 1 < mMessages.size(); ++i)
        EXPECT_EQ(mMessages[i].text, "insert Logger Retry: " + std::to_string(i) + ": database is locked");
    // The first wait alone is 501 ms, longer than the lock is held.
    EXPECT_GE(elapsed, 501);
    EXPECT_TRUE(LogCapture::contains(dbLine("INFO", last.text))) << LogCapture::text().toStdString();
    EXPECT_EQ(queryNumber(mCatalogue.database(), "SELECT count(*) FROM \"DefnEventString\""), 1);
}

TEST_F(RetriedTransactionTest, ALockHeldPastAllRetriesReportsFalseAndRaisesNothing)
{
    ChildTestProcess holder(QStringLiteral("RetriedTransactionLockHolderChild.HoldsTheWriteLock"));
    holder.setVariable(QString::fromLatin1(kCatalogueVariable), QString::fromStdString(mCatalogue.path()));
    ASSERT_TRUE(holder.start());
    ASSERT_EQ(holder.waitForLine("locked", 10000), QByteArray("locked")) << holder.report().toStdString();

    LoggerDb::getInstance().setDatabaseTimeout(1);
    recordWaits();
    int runs = 0;
    bool result = true;
    EXPECT_NO_THROW(result = retriedTransaction("insert", [&runs] {
                        ++runs;
                        DefnEventString text("never stored");
                        qzdb::persist(text);
                        return true;
                    }));
    EXPECT_FALSE(result);
    EXPECT_EQ(runs, 501);
    EXPECT_EQ(mWaits.size(), 501u);
    EXPECT_EQ(mMessages.back(),
              (FrameMessage{"insert Logger Retry: 500: database is locked", LOGGER_MESSAGE_INFO}));
    EXPECT_EQ(LoggerDb::getInstance().getExceptionCounter(), 0);

    ASSERT_TRUE(holder.waitForFinished());
    EXPECT_TRUE(holder.passed()) << holder.report().toStdString();
    EXPECT_EQ(queryNumber(mCatalogue.database(), "SELECT count(*) FROM \"DefnEventString\""), 0);
}

} // namespace

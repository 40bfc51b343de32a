// The fault injection of the catalogue core: which calls it numbers, how a chosen call fails
// (as SQLite's own failure of that call would, in the exception the retried transaction sorts
// it by), and that a busy catalogue outlasting the frame's tries is as many failing calls.

#include "FaultInjection.h"

#include "LoggerTestSeams.h"
#include "CatalogueMapping.h"
#include "Database.h"
#include "DatabaseExceptions.h"
#include "LogCapture.h"
#include "LoggerDb.h"
#include "LoggerRetriedTransaction.h"
#include "Statement.h"
#include "TemporaryCatalogue.h"
#include "Transaction.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>
#include <vector>

namespace {

// The tries of one retried transaction.
constexpr long kFrameTries = 501;

QString dbLine(const char* level, const std::string& text)
{
    return QStringLiteral("Logger.Db|") + QLatin1String(level) + QLatin1Char('|') +
           QString::fromStdString(text);
}

class FaultInjectionTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(LogCapture::install());
        ASSERT_TRUE(mCatalogue.isValid());
    }

    void TearDown() override
    {
        qzdb::FaultInjection::stop();
        setRetrySleepForTesting(nullptr);
        LoggerDb::getInstance().setDb(nullptr);
    }

    long eventStrings()
    {
        return queryNumber(mCatalogue.database(), "SELECT count(*) FROM \"DefnEventString\"");
    }

    TemporaryCatalogue mCatalogue;
};

TEST_F(FaultInjectionTest, OffItNumbersNothing)
{
    qzdb::Database& db = mCatalogue.database();
    db.executeRaw("CREATE TABLE \"Numbers\"(\"Value\" INTEGER)");
    qzdb::Statement select(db, "SELECT 1");
    EXPECT_TRUE(select.step());
    EXPECT_EQ(qzdb::FaultInjection::callCount(), 0);
    EXPECT_EQ(qzdb::FaultInjection::injectedResult(), 0);
}

TEST_F(FaultInjectionTest, PreparesStepsAndRawStatementsAreNumberedFromOne)
{
    qzdb::Database& db = mCatalogue.database();
    qzdb::FaultInjection::startCounting();
    db.executeRaw("CREATE TABLE \"Numbers\"(\"Value\" INTEGER)");    // 1
    qzdb::Statement insert(db, "INSERT INTO \"Numbers\" VALUES(7)"); // 2
    EXPECT_FALSE(insert.step());                                     // 3
    qzdb::Statement select(db, "SELECT \"Value\" FROM \"Numbers\""); // 4
    EXPECT_TRUE(select.step());                                      // 5
    EXPECT_FALSE(select.step());                                     // 6
    EXPECT_EQ(qzdb::FaultInjection::callCount(), 6);
    EXPECT_EQ(qzdb::FaultInjection::failedCount(), 0);

    // A transaction is its BEGIN and its COMMIT; a statement that the connection keeps is
    // prepared once.
    qzdb::FaultInjection::startCounting();
    {
        qzdb::Transaction transaction(db, false);
        db.statement("SELECT 2").step();
        db.statement("SELECT 2").step();
        transaction.commit();
    }
    EXPECT_EQ(qzdb::FaultInjection::callCount(), 5);

    qzdb::FaultInjection::stop();
    db.executeRaw("SELECT 3");
    EXPECT_EQ(qzdb::FaultInjection::callCount(), 5);
}

TEST_F(FaultInjectionTest, AFailingPrepareThrowsTheErrorOfItsCodeAndTheNextCallGoesThrough)
{
    qzdb::Database& db = mCatalogue.database();
    qzdb::FaultInjection::failCalls(2, SQLITE_IOERR);
    db.executeRaw("SELECT 1");
    try {
        qzdb::Statement select(db, "SELECT 1");
        FAIL() << "the prepare did not fail";
    } catch (const qzdb::DatabaseException& e) {
        EXPECT_EQ(e.code(), SQLITE_IOERR);
        EXPECT_EQ(e.extendedCode(), SQLITE_IOERR);
        EXPECT_EQ(std::string(e.what()), "10: disk I/O error");
        EXPECT_FALSE(e.reportsDamagedFile());
    }
    qzdb::Statement select(db, "SELECT 1");
    EXPECT_TRUE(select.step());
    EXPECT_EQ(qzdb::FaultInjection::callCount(), 4);
    EXPECT_EQ(qzdb::FaultInjection::failedCount(), 1);
}

TEST_F(FaultInjectionTest, AFailingStepDoesNotRunTheStatement)
{
    qzdb::Database& db = mCatalogue.database();
    qzdb::Statement insert(db, "INSERT INTO \"DefnEventString\"(\"Utc_sec\", \"Utc_nsec\", \"Description\") "
                               "VALUES(1, 0, 'full')");
    qzdb::FaultInjection::failCalls(1, SQLITE_FULL);
    EXPECT_THROW(
        {
            try {
                insert.step();
            } catch (const qzdb::DatabaseException& e) {
                EXPECT_EQ(std::string(e.what()), "13: database or disk is full");
                throw;
            }
        },
        qzdb::DatabaseException);
    EXPECT_EQ(eventStrings(), 0);
    // The statement stays usable.
    EXPECT_FALSE(insert.step());
    EXPECT_EQ(eventStrings(), 1);
}

TEST_F(FaultInjectionTest, AnExtendedCodeAnswersAsItsPrimaryCodeWithTheExtendedOne)
{
    qzdb::FaultInjection::failCalls(1, SQLITE_IOERR_WRITE);
    try {
        mCatalogue.database().executeRaw("SELECT 1");
        FAIL() << "the statement did not fail";
    } catch (const qzdb::DatabaseException& e) {
        EXPECT_EQ(e.code(), SQLITE_IOERR);
        EXPECT_EQ(e.extendedCode(), SQLITE_IOERR_WRITE);
        EXPECT_EQ(std::string(e.what()), "10 (778): disk I/O error");
    }
}

TEST_F(FaultInjectionTest, BusyAndLockedAreRecoverable)
{
    qzdb::Database& db = mCatalogue.database();
    qzdb::FaultInjection::failCalls(1, SQLITE_BUSY, 2);
    try {
        db.executeRaw("BEGIN");
        FAIL() << "BEGIN did not fail";
    } catch (const qzdb::Recoverable& e) {
        EXPECT_EQ(std::string(e.what()), "database is locked");
    }
    EXPECT_THROW(qzdb::Statement(db, "SELECT 1"), qzdb::Recoverable);
    qzdb::FaultInjection::failCalls(1, SQLITE_LOCKED);
    try {
        qzdb::Statement(db, "SELECT 1");
        FAIL() << "the prepare did not fail";
    } catch (const qzdb::Recoverable& e) {
        EXPECT_EQ(std::string(e.what()), "database table is locked");
    }
}

TEST_F(FaultInjectionTest, CorruptAndNotADatabaseReportADamagedFile)
{
    for (const int code : {SQLITE_CORRUPT, SQLITE_NOTADB, SQLITE_CORRUPT_INDEX}) {
        qzdb::FaultInjection::failCalls(1, code);
        try {
            mCatalogue.database().executeRaw("SELECT 1");
            ADD_FAILURE() << "code " << code << " did not fail";
        } catch (const qzdb::DatabaseException& e) {
            EXPECT_TRUE(e.reportsDamagedFile()) << e.what();
        }
    }
    for (const int code : {SQLITE_IOERR, SQLITE_FULL, SQLITE_READONLY, SQLITE_CANTOPEN}) {
        qzdb::FaultInjection::failCalls(1, code);
        try {
            mCatalogue.database().executeRaw("SELECT 1");
            ADD_FAILURE() << "code " << code << " did not fail";
        } catch (const qzdb::DatabaseException& e) {
            EXPECT_FALSE(e.reportsDamagedFile()) << e.what();
        }
    }
}

// In the frame: an I/O error ends the transaction at once and rolls it back; busy calls are
// retried, and as many as the frame has tries make it give up.
TEST_F(FaultInjectionTest, InTheRetriedTransactionAnIoErrorRollsBackAndEndsTheFrame)
{
    LoggerDb::getInstance().setDb(mCatalogue.sharedDatabase());
    // BEGIN, the prepare of the insert, its step: the step fails.
    qzdb::FaultInjection::failCalls(3, SQLITE_IOERR);
    int runs = 0;
    EXPECT_FALSE(retriedTransaction("insert", [&runs] {
        ++runs;
        DefnEventString first("first");
        qzdb::persist(first);
        return true;
    }));
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(eventStrings(), 0);
    EXPECT_EQ(LoggerDb::getInstance().getLastError(),
              QStringLiteral("10: disk I/O error: insert Logger Exception"));
    EXPECT_TRUE(LogCapture::contains(dbLine("FATAL", "10: disk I/O error: insert Logger Exception")))
        << LogCapture::text().toStdString();
    EXPECT_EQ(qzdb::FaultInjection::failedCount(), 1);
}

TEST_F(FaultInjectionTest, InTheRetriedTransactionBusyForAllTriesFailsTheFrameAndOneTryLessDoesNot)
{
    LoggerDb::getInstance().setDb(mCatalogue.sharedDatabase());
    std::vector<unsigned long> waits;
    setRetrySleepForTesting([&waits](unsigned long milliseconds) { waits.push_back(milliseconds); });
    const auto persistOne = [] {
        DefnEventString text("busy");
        qzdb::persist(text);
        return true;
    };

    // The first try fails in the body's step; every further try at its BEGIN.
    qzdb::FaultInjection::failCalls(3, SQLITE_BUSY, kFrameTries);
    EXPECT_FALSE(retriedTransaction("insert", persistOne));
    EXPECT_EQ(waits.size(), static_cast<size_t>(kFrameTries));
    EXPECT_EQ(qzdb::FaultInjection::failedCount(), kFrameTries);
    EXPECT_EQ(eventStrings(), 0);
    EXPECT_TRUE(LogCapture::contains(dbLine("INFO", "insert Logger Retry: 500: database is locked")));
    EXPECT_EQ(LoggerDb::getInstance().getExceptionCounter(), 0);

    waits.clear();
    qzdb::FaultInjection::failCalls(3, SQLITE_BUSY, kFrameTries - 1);
    EXPECT_TRUE(retriedTransaction("insert", persistOne));
    EXPECT_EQ(waits.size(), static_cast<size_t>(kFrameTries - 1));
    EXPECT_EQ(eventStrings(), 1);
}

} // namespace

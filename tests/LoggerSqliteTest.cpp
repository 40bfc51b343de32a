#include "LoggerSqlite.h"

#include "Database.h"
#include "LoggerDb.h"
#include "SqliteHooks.h"
#include "TemporaryCatalogue.h"

#include <gtest/gtest.h>

#include <QMutex>

#include <algorithm>
#include <string>
#include <vector>

namespace {

class LoggerSqliteTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mCatalogue.isValid());
        LoggerDb::getInstance().setDb(mCatalogue.sharedDatabase());
    }
    void TearDown() override { LoggerDb::getInstance().setDb(nullptr); }

    qzdb::Database& db() { return mCatalogue.database(); }

    // A link of a measure type to a file that does not exist, written with foreign keys off.
    void insertDanglingLink()
    {
        db().executeRaw("PRAGMA foreign_keys=OFF");
        db().executeRaw(
            "INSERT INTO \"DefnMeasureType_FileInfos\" (\"measure_id\", \"file_info_id\") VALUES (7, 8)");
        db().executeRaw("PRAGMA foreign_keys=ON");
    }

    TemporaryCatalogue mCatalogue;
    LoggerSqlite mSqlite;
};

sqlite_version preparedVersion()
{
    return sqlite_version{-1, -2, -3, -4};
}

void expectVersion(const sqlite_version& version, int32_t major, int32_t minor, int32_t patch, int32_t build)
{
    EXPECT_EQ(version.major, major);
    EXPECT_EQ(version.minor, minor);
    EXPECT_EQ(version.patch, patch);
    EXPECT_EQ(version.build, build);
}

TEST_F(LoggerSqliteTest, TheHandleIsTheConnectionOfLoggerDb)
{
    EXPECT_EQ(mSqlite.getSqliteHandle(), db().handle());
    EXPECT_NE(mSqlite.getSqliteHandle(), nullptr);
}

TEST_F(LoggerSqliteTest, AQueryWithoutRowsLeavesHasRowsFalse)
{
    QueryCallbackData data;
    data.hasRows = true;
    data.columnCount = 9;
    data.rowCount = 9;
    data.lastValue = "stale";
    mSqlite.query("SELECT \"Id\" FROM \"DefnMeasureType\";", data);
    EXPECT_FALSE(data.hasRows);
    EXPECT_EQ(data.columnCount, 0);
    EXPECT_EQ(data.rowCount, 0);
    EXPECT_TRUE(data.lastValue.isNull());
    EXPECT_EQ(data.sql, nullptr);
}

TEST_F(LoggerSqliteTest, AQueryCountsRowsAndKeepsTheLastColumnOfTheLastRow)
{
    QueryCallbackData data;
    mSqlite.query("SELECT 'a', 'b', 'c' UNION ALL SELECT 'd', 'e', 'f';", data);
    EXPECT_TRUE(data.hasRows);
    EXPECT_EQ(data.rowCount, 2);
    EXPECT_EQ(data.columnCount, 3);
    EXPECT_EQ(data.lastValue, "f");
    // The text that was run does not outlive the call.
    EXPECT_EQ(data.sql, nullptr);

    // Several statements in one text: the rows of all count, the columns of the last.
    mSqlite.query("SELECT 1, 2, 3; SELECT 'z';", data);
    EXPECT_EQ(data.rowCount, 2);
    EXPECT_EQ(data.columnCount, 1);
    EXPECT_EQ(data.lastValue, "z");
}

TEST_F(LoggerSqliteTest, ValuesComeFromTheLocalEncodingAndNullIsANullString)
{
    QueryCallbackData data;
    mSqlite.query("SELECT 'x', NULL;", data);
    EXPECT_TRUE(data.hasRows);
    EXPECT_TRUE(data.lastValue.isNull());

    mSqlite.query("SELECT '\xc3\x84rger';", data);
    EXPECT_EQ(data.lastValue, QString::fromLocal8Bit("\xc3\x84rger"));
}

TEST_F(LoggerSqliteTest, AFailingStatementLooksLikeOneWithoutRows)
{
    QueryCallbackData data;
    EXPECT_NO_THROW(mSqlite.query("SELECT * FROM \"nowhere\";", data));
    EXPECT_FALSE(data.hasRows);
    EXPECT_EQ(data.rowCount, 0);
    EXPECT_NO_THROW(mSqlite.execute("NOT SQL"));
}

TEST_F(LoggerSqliteTest, ExecuteRunsTheStatement)
{
    mSqlite.execute("CREATE TABLE \"scratch\" (\"v\" INTEGER); INSERT INTO \"scratch\" VALUES (5);");
    EXPECT_EQ(queryNumber(db(), "SELECT \"v\" FROM \"scratch\""), 5);
}

TEST_F(LoggerSqliteTest, ForeignKeysAreOkOnACleanCatalogue)
{
    db().executeRaw(
        "INSERT INTO \"DefnMeasureType\" VALUES (NULL, 0, 0, 0, 0, 1, 3, 'u', 0, 0, 0, 0, 0, 0, NULL, 0)");
    db().executeRaw(
        "INSERT INTO \"LoggerFileInfoMeasure\" VALUES (NULL, 0, 0, 0, 0, 0, 0, 3, 0, 0, 44, 24, 1)");
    db().executeRaw("INSERT INTO \"DefnMeasureType_FileInfos\" VALUES (1, 1)");
    EXPECT_TRUE(mSqlite.isForeinKeyOk());
}

TEST_F(LoggerSqliteTest, ADanglingReferenceIsNotOk)
{
    insertDanglingLink();
    EXPECT_FALSE(mSqlite.isForeinKeyOk());
}

// A check that fails has no rows, which reads as "ok": a key to a column that is no key of its
// table makes the pragma fail.
TEST_F(LoggerSqliteTest, AForeignKeyCheckThatFailsReadsAsOk)
{
    insertDanglingLink();
    db().executeRaw("CREATE TABLE \"parent\" (\"v\" INTEGER)");
    db().executeRaw("CREATE TABLE \"child\" (\"v\" INTEGER REFERENCES \"parent\" (\"v\"))");
    EXPECT_TRUE(mSqlite.isForeinKeyOk());
}

TEST_F(LoggerSqliteTest, SetForeignKeySwitchesThePragma)
{
    QueryCallbackData data;
    mSqlite.query("PRAGMA foreign_keys;", data);
    EXPECT_EQ(data.lastValue, "1");

    mSqlite.SetForeignKey(false);
    mSqlite.query("PRAGMA foreign_keys;", data);
    EXPECT_EQ(data.lastValue, "0");
    // Nothing stops a dangling link now.
    EXPECT_NO_THROW(db().executeRaw("INSERT INTO \"DefnMeasureType_FileInfos\" VALUES (7, 8)"));

    mSqlite.SetForeignKey(true);
    mSqlite.query("PRAGMA foreign_keys;", data);
    EXPECT_EQ(data.lastValue, "1");
    EXPECT_FALSE(mSqlite.isForeinKeyOk());
}

TEST_F(LoggerSqliteTest, ReIndexRunsReindex)
{
    const std::vector<std::string> statements =
        SqliteHooks::traceStatements(db().handle(), [this] { mSqlite.reIndex(); });
    EXPECT_EQ(statements, std::vector<std::string>{"reindex;"});
    EXPECT_EQ(queryText(db(), "PRAGMA integrity_check"), "ok");
}

TEST_F(LoggerSqliteTest, EachOperationRunsItsOwnText)
{
    sqlite_version version = preparedVersion();
    const std::vector<std::string> statements = SqliteHooks::traceStatements(db().handle(), [&] {
        mSqlite.isForeinKeyOk();
        mSqlite.SetForeignKey(false);
        mSqlite.SetForeignKey(true);
        mSqlite.getVersion(version);
    });
    EXPECT_EQ(statements, (std::vector<std::string>{"PRAGMA foreign_key_check;", "PRAGMA foreign_keys=OFF",
                                                    "PRAGMA foreign_keys=ON", "SELECT sqlite_version();"}));
}

// SQLite's own version text has three parts, so the version stays as the caller prepared it.
TEST_F(LoggerSqliteTest, AVersionOfThreePartsLeavesTheVersionAsPrepared)
{
    QueryCallbackData data;
    mSqlite.query("SELECT sqlite_version();", data);
    ASSERT_EQ(data.lastValue.split('.').size(), 3) << data.lastValue.toStdString();

    sqlite_version version = preparedVersion();
    EXPECT_FALSE(mSqlite.getVersion(version));
    expectVersion(version, -1, -2, -3, -4);
}

TEST_F(LoggerSqliteTest, AVersionOfFourPartsIsTakenOver)
{
    ASSERT_TRUE(SqliteHooks::overrideFunction(db().handle(), "sqlite_version", "3.45.012.7"));
    sqlite_version version = preparedVersion();
    EXPECT_TRUE(mSqlite.getVersion(version));
    expectVersion(version, 3, 45, 12, 7);
}

TEST_F(LoggerSqliteTest, AVersionOfFivePartsLeavesTheVersionAsPrepared)
{
    ASSERT_TRUE(SqliteHooks::overrideFunction(db().handle(), "sqlite_version", "3.45.1.7.2"));
    sqlite_version version = preparedVersion();
    EXPECT_FALSE(mSqlite.getVersion(version));
    expectVersion(version, -1, -2, -3, -4);
}

TEST(LoggerSqliteWithoutDatabaseTest, NothingRunsAndNothingBreaks)
{
    LoggerDb::getInstance().setDb(nullptr);
    LoggerSqlite sqlite;
    EXPECT_EQ(sqlite.getSqliteHandle(), nullptr);

    QueryCallbackData data;
    data.hasRows = true;
    data.rowCount = 3;
    data.lastValue = "stale";
    sqlite.query("SELECT 1;", data);
    EXPECT_FALSE(data.hasRows);
    EXPECT_EQ(data.rowCount, 0);
    EXPECT_TRUE(data.lastValue.isNull());

    sqlite.execute("SELECT 1;");
    sqlite.SetForeignKey(true);
    sqlite.reIndex();
    EXPECT_TRUE(sqlite.isForeinKeyOk());
    sqlite_version version = preparedVersion();
    EXPECT_FALSE(sqlite.getVersion(version));
    expectVersion(version, -1, -2, -3, -4);
}

TEST(LoggerDbConnectionTest, TheConnectionIsHandedInAndTheMutexIsRecursive)
{
    LoggerDb& db = LoggerDb::getInstance();
    EXPECT_EQ(&db, &LoggerDb::getInstance());
    EXPECT_EQ(db.getDbMutex(), LoggerDb::getInstance().getDbMutex());

    TemporaryCatalogue catalogue;
    db.setDb(catalogue.sharedDatabase());
    EXPECT_EQ(db.getDb(), catalogue.sharedDatabase());
    db.setDb(nullptr);
    EXPECT_EQ(db.getDb(), nullptr);

    QMutex* mutex = db.getDbMutex();
    ASSERT_TRUE(mutex->tryLock());
    EXPECT_TRUE(mutex->tryLock());
    mutex->unlock();
    mutex->unlock();
}

} // namespace

// Writer and readers as separate processes on one catalogue and one simulated card: the reader
// opens read-only, follows a restarted writer through the process-id file, fails without it,
// and reports a damaged catalogue that only the writer repairs. The writer is this test
// process (WriterStore); readers and a restarted writer are child processes (ReaderStore).

#include "CatalogueMapping.h"
#include "ChildTestProcess.h"
#include "Database.h"
#include "DatabaseExceptions.h"
#include "LogCapture.h"
#include "LoggerDb.h"
#include "LoggerFileInfoTypes.h"
#include "LoggerRetriedTransaction.h"
#include "Statement.h"
#include "TemporaryCatalogue.h"
#include "WriterStore.h"

#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <gtest/gtest.h>

#include <iostream>
#include <memory>
#include <string>

#include <unistd.h>

namespace {

QString dbLine(const char* level, const QString& text)
{
    return QStringLiteral("Logger.Db|") + QLatin1String(level) + QLatin1Char('|') + text;
}

long long integrityRows(const std::string& path)
{
    try {
        qzdb::Database db(path, qzdb::Database::kOpenReadOnly);
        qzdb::Statement check(db, "PRAGMA integrity_check;");
        long long rows = 0;
        while (check.step())
            ++rows;
        return rows;
    } catch (const qzdb::Exception&) {
        return -1;
    }
}

QByteArray fileHash(const QString& name)
{
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    return QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256);
}

std::string readLine()
{
    std::string line;
    std::getline(std::cin, line);
    return line;
}

// --- The children ------------------------------------------------------------------------

TEST(ReaderChild, OpensReadOnly)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP();
    ASSERT_TRUE(LogCapture::install());
    ReaderStore reader;
    ASSERT_TRUE(reader.start()) << LoggerDb::getInstance().getLastError().toStdString();
    LoggerDb& db = LoggerDb::getInstance();
    EXPECT_FALSE(db.isWriter());
    EXPECT_TRUE(db.isInitialized());
    EXPECT_FALSE(db.getLastIntegrityViolated());
    EXPECT_EQ(db.getFullDbName(), reader.databaseFile());
    // The writer's id, read from the file.
    EXPECT_EQ(db.readProcessId(), getppid());
    EXPECT_TRUE(db.checkValidity());
    EXPECT_EQ(queryNumber(*db.getDb(), "SELECT count(*) FROM \"DefnEventString\""), 1);

    EXPECT_FALSE(retriedTransaction("insert", [] {
        DefnEventString text("from a reader");
        qzdb::persist(text);
        return true;
    }));
    EXPECT_TRUE(db.getLastError().contains(QStringLiteral("readonly"))) << db.getLastError().toStdString();
}

TEST(ReaderChild, FollowsARestartedWriter)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP();
    ASSERT_TRUE(LogCapture::install());
    ReaderStore reader;
    ASSERT_TRUE(reader.start());
    LoggerDb& db = LoggerDb::getInstance();
    ASSERT_TRUE(db.checkValidity());
    const int firstWriter = db.readProcessId();
    EXPECT_EQ(LogCapture::count(dbLine("INFO", QStringLiteral("Database successfully initialized"))), 1);
    std::cout << "valid" << std::endl;

    // The parent has restarted the writer when it answers.
    ASSERT_EQ(readLine(), "restarted");
    EXPECT_TRUE(db.hasProcessIdChanged());
    EXPECT_NE(db.readProcessId(), firstWriter);
    EXPECT_TRUE(db.checkValidity());
    EXPECT_FALSE(db.hasProcessIdChanged());
    EXPECT_TRUE(db.isInitialized());
    EXPECT_EQ(LogCapture::count(dbLine("INFO", QStringLiteral("Database successfully initialized"))), 2)
        << LogCapture::text().toStdString();
    // The new writer's catalogue, opened anew.
    EXPECT_EQ(queryNumber(*db.getDb(), "SELECT count(*) FROM \"DefnEventString\""), 2);
    EXPECT_TRUE(db.checkValidity());
    EXPECT_EQ(LogCapture::count(dbLine("INFO", QStringLiteral("Database successfully initialized"))), 2);
}

TEST(ReaderChild, FailsWithoutTheProcessIdFile)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP();
    ASSERT_TRUE(LogCapture::install());
    ReaderStore reader;
    ASSERT_TRUE(reader.start());
    LoggerDb& db = LoggerDb::getInstance();
    ASSERT_TRUE(db.checkValidity());
    ASSERT_TRUE(QFile::remove(LoggerDb::getProcessIdFile()));
    EXPECT_EQ(db.readProcessId(), -1);
    EXPECT_FALSE(db.checkValidity());
    EXPECT_FALSE(db.checkValidity());
}

TEST(ReaderChild, ReportsADamagedCatalogueAndLeavesIt)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP();
    ASSERT_TRUE(LogCapture::install());
    ReaderStore reader;
    ASSERT_TRUE(reader.start()) << LoggerDb::getInstance().getLastError().toStdString();
    EXPECT_TRUE(LoggerDb::getInstance().getLastIntegrityViolated());
    EXPECT_TRUE(LogCapture::contains(dbLine("FATAL", QStringLiteral("Database integrity violated"))))
        << LogCapture::text().toStdString();
    EXPECT_FALSE(LogCapture::contains(dbLine("INFO", QStringLiteral("Repair Violated Database..."))));
}

TEST(WriterChild, RestartsTheWriter)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP();
    ASSERT_TRUE(LogCapture::install());
    ReaderStore store;
    ASSERT_TRUE(store.startAsWriter()) << LoggerDb::getInstance().getLastError().toStdString();
    EXPECT_EQ(LoggerDb::getInstance().readProcessId(), ::getpid());
    ASSERT_TRUE(retriedTransaction("insert", [] {
        DefnEventString text("from the restarted writer");
        qzdb::persist(text);
        return true;
    }));
}

// --- The writer ----------------------------------------------------------------------------

class WriterReaderProcessTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(LogCapture::install());
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        ASSERT_TRUE(retriedTransaction("insert", [] {
            DefnEventString text("from the writer");
            qzdb::persist(text);
            return true;
        }));
    }

    WriterStore mStore;
};

TEST_F(WriterReaderProcessTest, TheReaderOpensTheCatalogueReadOnly)
{
    ChildTestProcess reader(QStringLiteral("ReaderChild.OpensReadOnly"));
    mStore.exportTo(reader);
    ASSERT_TRUE(reader.run());
    EXPECT_TRUE(reader.passed()) << reader.report().toStdString();
    // The reader posted nothing.
    EXPECT_EQ(mStore.readLoggerStateFile(),
              LOGGER_STATE_DB_INITIALIZED | LOGGER_STATE_SD_MOUNTED | LOGGER_STATE_LOGGERS_READABLE);
}

TEST_F(WriterReaderProcessTest, ARestartedWriterMakesTheReaderOpenEverythingAnew)
{
    ChildTestProcess reader(QStringLiteral("ReaderChild.FollowsARestartedWriter"));
    mStore.exportTo(reader);
    ASSERT_TRUE(reader.start());
    ASSERT_EQ(reader.waitForLine("valid", 10000), QByteArray("valid")) << reader.report().toStdString();

    // This process gives the catalogue up; another writer process takes over.
    LoggerDb::getInstance().close();
    ChildTestProcess writer(QStringLiteral("WriterChild.RestartsTheWriter"));
    // The writer is a child: this process holds no writer's lock.
    mStore.handOver();
    mStore.exportTo(writer);
    ASSERT_TRUE(writer.run());
    ASSERT_TRUE(writer.passed()) << writer.report().toStdString();

    reader.write("restarted\n");
    ASSERT_TRUE(reader.waitForFinished());
    EXPECT_TRUE(reader.passed()) << reader.report().toStdString();
}

TEST_F(WriterReaderProcessTest, ADeletedProcessIdFileMakesTheReaderFail)
{
    ChildTestProcess reader(QStringLiteral("ReaderChild.FailsWithoutTheProcessIdFile"));
    mStore.exportTo(reader);
    ASSERT_TRUE(reader.run());
    EXPECT_TRUE(reader.passed()) << reader.report().toStdString();
    EXPECT_FALSE(QFileInfo::exists(mStore.pidFile()));
}

// Overwrites bytes inside one page of the catalogue, trying pages from the end (where the filler
// rows and their index lie) until SQLite's own check reports more than one problem.
bool damageCatalogue(const QString& file)
{
    constexpr int kPageSize = 4096;
    constexpr int kOffsetInPage = 4000;
    QFile catalogue(file);
    if (!catalogue.open(QIODevice::ReadOnly))
        return false;
    const QByteArray healthy = catalogue.readAll();
    catalogue.close();
    const int pages = healthy.size() / kPageSize;
    for (int page = pages - 1; page > 1; --page) {
        QByteArray damaged = healthy;
        damaged.replace(page * kPageSize + kOffsetInPage, 16, QByteArray(16, 'Z'));
        if (!catalogue.open(QIODevice::WriteOnly | QIODevice::Truncate))
            return false;
        catalogue.write(damaged);
        catalogue.close();
        if (integrityRows(file.toStdString()) > 1)
            return true;
    }
    return false;
}

TEST_F(WriterReaderProcessTest, ADamagedCatalogueIsReportedByTheReaderAndRepairedByTheWriterOnly)
{
    LoggerDb& db = LoggerDb::getInstance();
    ASSERT_TRUE(retriedTransaction("fill", [&db] {
        db.getDb()->executeRaw("CREATE TABLE \"Filler\"(\"Text\" TEXT NOT NULL)");
        db.getDb()->executeRaw("CREATE INDEX \"Filler_i\" ON \"Filler\"(\"Text\")");
        qzdb::Statement& insert = db.getDb()->statement("INSERT INTO \"Filler\"(\"Text\") VALUES(?)");
        for (int i = 0; i < 2000; ++i) {
            insert.reset();
            insert.bind(1, QStringLiteral("filler text %1").arg(i, 5, 10, QLatin1Char('0')));
            insert.step();
        }
        return true;
    }));
    db.close();
    ASSERT_TRUE(damageCatalogue(mStore.databaseFile()));
    const QByteArray damaged = fileHash(mStore.databaseFile());

    ChildTestProcess reader(QStringLiteral("ReaderChild.ReportsADamagedCatalogueAndLeavesIt"));
    mStore.exportTo(reader);
    ASSERT_TRUE(reader.run());
    EXPECT_TRUE(reader.passed()) << reader.report().toStdString();
    EXPECT_EQ(fileHash(mStore.databaseFile()), damaged);

    ASSERT_TRUE(mStore.initializeWriter()) << db.getLastError().toStdString();
    EXPECT_TRUE(db.getLastIntegrityViolated());
    EXPECT_TRUE(LogCapture::contains(dbLine("FATAL", QStringLiteral("Database integrity violated"))));
    EXPECT_TRUE(LogCapture::contains(dbLine("INFO", QStringLiteral("Repair Violated Database..."))));
    EXPECT_EQ(integrityRows(mStore.databaseFile().toStdString()), 1);
    EXPECT_FALSE(db.getDb()->tableExists("Filler"));
    EXPECT_TRUE(db.getDb()->tableExists("DefnEventString"));
    EXPECT_EQ(queryNumber(*db.getDb(), "SELECT count(*) FROM \"DefnEventString\""), 0);

    // A fresh start finds the repaired catalogue healthy.
    ASSERT_TRUE(mStore.initializeWriter());
    EXPECT_FALSE(db.getLastIntegrityViolated());
}

} // namespace

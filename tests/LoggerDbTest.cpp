// LoggerDb: bringing the catalogue up and down with the simulated card, the logger state it
// posts, the process-id file, its messages and errors. Each test runs in a process of its own;
// the store's log lines of the process go to a file of the test (LogCapture).

#include "LoggerDb.h"

#include "CatalogueMapping.h"
#include "Database.h"
#include "DatabaseExceptions.h"
#include "FaultInjection.h"
#include "LogCapture.h"
#include "LoggerFileSystem.h"
#include "LoggerGlobalStates.h"
#include "LoggerRetriedTransaction.h"
#include "LoggerSqlite.h"
#include "LoggerTestSeams.h"
#include "SchemaCatalog.h"
#include "TemporaryCatalogue.h"
#include "TemporaryStoreRoot.h"
#include "TestLogger.h"
#include "TrackObject.h"
#include "Transaction.h"
#include "WriterStore.h"

#include <QDate>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <chrono>
#include <thread>

#include <unistd.h>

namespace {

constexpr LoggerState kWriterUp =
    LOGGER_STATE_DB_INITIALIZED | LOGGER_STATE_SD_MOUNTED | LOGGER_STATE_LOGGERS_READABLE;

QString dbLine(const char* level, const QString& text)
{
    return QStringLiteral("Logger.Db|") + QLatin1String(level) + QLatin1Char('|') + text;
}

QByteArray readWholeFile(const QString& name)
{
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    return file.readAll();
}

bool writeWholeFile(const QString& name, const QByteArray& content)
{
    QFile file(name);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    return file.write(content) == content.size();
}

// A catalogue file with the whole schema, made as the writer makes it, and nothing in it.
bool makeCatalogue(const QString& name)
{
    try {
        qzdb::Database db(name.toStdString(), qzdb::Database::kOpenReadWriteCreate);
        db.executeRaw("PRAGMA foreign_keys=OFF");
        qzdb::Transaction transaction(db, false);
        qzdb::SchemaCatalog::createSchema(db, "", true);
        transaction.commit();
        return true;
    } catch (const qzdb::Exception& e) {
        ADD_FAILURE() << e.what();
        return false;
    }
}

// The first 16 bytes of a SQLite file, "SQLite format 3" and its terminator, with the first one
// changed: SQLite no longer takes the file for a database.
bool flipMagic(const QString& name)
{
    QByteArray content = readWholeFile(name);
    if (content.size() < 16 || !content.startsWith("SQLite format 3"))
        return false;
    content[0] = 'X';
    return writeWholeFile(name, content);
}

long long eventStrings()
{
    return queryNumber(*LoggerDb::getInstance().getDb(), "SELECT count(*) FROM \"DefnEventString\"");
}

bool addEventString(const char* description)
{
    return retriedTransaction("add", [description] {
        DefnEventString text;
        text.Description = description;
        qzdb::persist(text);
        return true;
    });
}

// The shared state files in a directory of the test, for tests without a WriterStore.
class StateDirectory {
public:
    StateDirectory() { qputenv(LoggerGlobalStates::kStateDirectoryVariable, QFile::encodeName(mDir.path())); }
    ~StateDirectory() { qunsetenv(LoggerGlobalStates::kStateDirectoryVariable); }
    QByteArray loggerStateFile() const { return readWholeFile(mDir.filePath(QStringLiteral("loggerstate"))); }

private:
    QTemporaryDir mDir;
};

class LoggerDbTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(LogCapture::install()); }
    void TearDown() override
    {
        setCurrentDateForTesting(nullptr);
        qunsetenv("QZLOGGER_PID_FILE");
    }
};

// --- Start-up with the card ----------------------------------------------------------------

TEST_F(LoggerDbTest, WriterComesUpOnAMountedCard)
{
    WriterStore store;
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    LoggerDb& db = LoggerDb::getInstance();

    EXPECT_TRUE(db.isWriter());
    EXPECT_TRUE(db.isInitialized());
    EXPECT_NE(db.getDb(), nullptr);
    EXPECT_FALSE(db.getLastIntegrityViolated());
    EXPECT_FALSE(db.hasComplexHarmonics());
    EXPECT_EQ(db.getNumberOfOpenedFiles(), 1);
    EXPECT_EQ(db.getDiskName(), store.mountPoint());
    EXPECT_EQ(db.getPath(), store.loggerPath());
    EXPECT_EQ(db.getFullDbName(), store.databaseFile());
    EXPECT_EQ(db.getDataFolder(), store.dataFolderPath());
    EXPECT_EQ(LoggerFileSystem::getPath(), store.dataFolderPath());
    EXPECT_TRUE(QFileInfo(store.databaseFile()).isFile());
    EXPECT_GT(db.getDataBaseSize(), 0.0);
    EXPECT_TRUE(db.getDb()->tableExists("schema_version"));
    EXPECT_TRUE(db.getDb()->tableExists("DefnMeasureType_FileInfos"));

    // Mounted (32), catalogue up (3), readable (256); and the readable file says so.
    EXPECT_EQ(store.readLoggerStateFile(), kWriterUp);
    EXPECT_EQ(db.getLoggerState(), kWriterUp);
    EXPECT_TRUE(LoggerGlobalStates::getInstance().isReadable());
    EXPECT_EQ(readWholeFile(store.pidFile()), QByteArray::number(::getpid()));
    EXPECT_EQ(db.readProcessId(), ::getpid());
    EXPECT_FALSE(db.hasProcessIdChanged());
    EXPECT_TRUE(db.checkValidity());

    EXPECT_TRUE(LogCapture::contains(
        dbLine("INFO", QStringLiteral("LoggerDb::initialize(loggerFolder=") + store.loggerPath() +
                           QStringLiteral(", database=logger.db, dropSchema=0"))))
        << LogCapture::text().toStdString();
    EXPECT_TRUE(LogCapture::contains(dbLine("INFO", QStringLiteral("Initialize: reset Logger State"))));
    EXPECT_TRUE(
        LogCapture::contains(dbLine("INFO", QStringLiteral("Given mount point: ") + store.mountPoint())));
    EXPECT_TRUE(LogCapture::contains(dbLine("INFO", QStringLiteral("Given path: ") + store.loggerPath())));
    EXPECT_TRUE(LogCapture::contains(dbLine("INFO", QStringLiteral("Database: logger.db doesn't exist"))));
    EXPECT_TRUE(LogCapture::contains(dbLine("INFO", QStringLiteral("integrity result : 1"))));
    EXPECT_TRUE(LogCapture::contains(dbLine("INFO", QStringLiteral("Database successfully initialized"))));
    EXPECT_TRUE(
        LogCapture::contains(dbLine("INFO", QStringLiteral("Geraet hat keine komplexe Harmonische"))));
}

TEST_F(LoggerDbTest, SecondStartFindsTheCatalogueAndKeepsIt)
{
    WriterStore store;
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    LoggerDb& db = LoggerDb::getInstance();
    ASSERT_TRUE(retriedTransaction("add", [] {
        DefnEventString text;
        text.Description = "kept";
        qzdb::persist(text);
        return true;
    }));
    db.close();
    // Closing counts nothing: the figure only ever counts openings.
    EXPECT_EQ(db.getNumberOfOpenedFiles(), 1);

    ASSERT_TRUE(store.initializeWriter());
    EXPECT_EQ(db.getNumberOfOpenedFiles(), 2);
    EXPECT_TRUE(LogCapture::contains(dbLine("INFO", QStringLiteral("Database: logger.db exists"))));
    EXPECT_TRUE(LogCapture::contains(dbLine("INFO", QStringLiteral("integrity result : 1"))));
    EXPECT_EQ(queryNumber(*db.getDb(), "SELECT count(*) FROM \"DefnEventString\""), 1);
}

TEST_F(LoggerDbTest, AStartWhileAnotherProcessHoldsTheCatalogueWaitsForItInsteadOfFailing)
{
    WriterStore store;
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    LoggerDb& db = LoggerDb::getInstance();
    db.close();

    // Another connection holds the catalogue locked while the writer starts, and lets it go
    // a little later, as the commit of another process does.
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(store.databaseFile().toUtf8().constData(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN EXCLUSIVE;", nullptr, nullptr, nullptr), SQLITE_OK);
    std::thread release([other] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        sqlite3_exec(other, "COMMIT;", nullptr, nullptr, nullptr);
    });
    // The retried transaction's own waits are taken out of the way: the start must wait on the
    // lock itself.
    setRetrySleepForTesting([](unsigned long) {});
    const bool started = store.initializeWriter();
    setRetrySleepForTesting({});
    release.join();
    sqlite3_close(other);
    EXPECT_TRUE(started) << db.getLastError().toStdString() << "\n" << LogCapture::text().toStdString();
    EXPECT_TRUE(db.isInitialized());
}

TEST_F(LoggerDbTest, AnUnmountedCardLeavesTheCatalogueClosed)
{
    WriterStore::Options options;
    options.cardState = 4;
    WriterStore store(options);
    EXPECT_FALSE(store.start());
    LoggerDb& db = LoggerDb::getInstance();
    EXPECT_FALSE(db.isInitialized());
    EXPECT_EQ(db.getDb(), nullptr);
    EXPECT_TRUE(LogCapture::contains(
        dbLine("INFO", QStringLiteral("cannot initialize database because sdcard is not mounted"))))
        << LogCapture::text().toStdString();
    // The writer reset the word at the start; since then only the card client, coming up,
    // posted what the service reports: the card is out.
    EXPECT_EQ(store.readLoggerStateFile(), LOGGER_STATE_SD_EJECT);
    EXPECT_FALSE(QFileInfo::exists(store.databaseFile()));
    EXPECT_FALSE(QFileInfo::exists(store.pidFile()));
}

TEST_F(LoggerDbTest, WithoutTheCardServiceTheWriterPostsDbFailedAndNotReadable)
{
    WriterStore::Options options;
    options.startCard = false;
    WriterStore store(options);
    EXPECT_FALSE(store.start());
    LoggerDb& db = LoggerDb::getInstance();
    EXPECT_FALSE(db.isInitialized());
    EXPECT_TRUE(LogCapture::contains(dbLine("INFO", QStringLiteral("LoggerSDCard is not initialized"))))
        << LogCapture::text().toStdString();
    EXPECT_EQ(store.readLoggerStateFile(), LOGGER_STATE_DB_FAILED | LOGGER_STATE_LOGGERS_NOT_READABLE);
    EXPECT_FALSE(LoggerGlobalStates::getInstance().isReadable());
    EXPECT_FALSE(QFileInfo::exists(store.databaseFile()));
}

TEST_F(LoggerDbTest, ADiskThatIsNotMountedEndsInDbFailed)
{
    WriterStore::Options options;
    options.initialize = false;
    WriterStore store(options);
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();

    // A folder outside /var/log that no line of the mount table names.
    QTemporaryDir unmounted(QDir::tempPath() + QStringLiteral("/qzlogger-unmounted-XXXXXX"));
    ASSERT_TRUE(unmounted.isValid());
    const QString path = unmounted.path() + QStringLiteral("/logger");
    LoggerDb& db = LoggerDb::getInstance();
    EXPECT_FALSE(
        db.initialize(unmounted.path(), path, QStringLiteral("data"), QStringLiteral("logger.db"), false));
    EXPECT_FALSE(db.isInitialized());
    EXPECT_TRUE(LogCapture::contains(dbLine("INFO", QStringLiteral("mDatabasePath = ") + path)))
        << LogCapture::text().toStdString();
    EXPECT_TRUE(LogCapture::contains(dbLine("INFO", QStringLiteral("database path does not exist"))));
    EXPECT_EQ(store.readLoggerStateFile(), LOGGER_STATE_SD_MOUNTED | LOGGER_STATE_DB_FAILED);
    EXPECT_FALSE(QFileInfo::exists(path + QStringLiteral("/logger.db")));
}

TEST_F(LoggerDbTest, ADiskThatDoesNotExistEndsInDbFailed)
{
    WriterStore::Options options;
    options.initialize = false;
    WriterStore store(options);
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    const QString missing = store.mountPoint() + QStringLiteral("/missing");
    LoggerDb& db = LoggerDb::getInstance();
    EXPECT_FALSE(db.initialize(missing, missing + QStringLiteral("/logger"), QStringLiteral("data"),
                               QStringLiteral("logger.db"), false));
    EXPECT_TRUE(LogCapture::contains(dbLine("INFO", QStringLiteral("database path does not exist"))));
    EXPECT_EQ(store.readLoggerStateFile(), LOGGER_STATE_SD_MOUNTED | LOGGER_STATE_DB_FAILED);
}

TEST_F(LoggerDbTest, ACatalogueFileNameLongerThanItsBufferIsCut)
{
    WriterStore::Options options;
    options.initialize = false;
    WriterStore store(options);
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    const QString longName = QString(120, QLatin1Char('n')) + QStringLiteral(".db");
    const QString fullName = store.loggerPath() + QLatin1Char('/') + longName;
    ASSERT_GT(QFile::encodeName(fullName).size(), 100);

    LoggerDb& db = LoggerDb::getInstance();
    ASSERT_TRUE(
        db.initialize(store.mountPoint(), store.loggerPath(), QStringLiteral("data"), longName, false))
        << db.getLastError().toStdString();
    EXPECT_EQ(db.getFullDbName(), fullName);
    // The buffer keeps 99 bytes and its terminator.
    const QString cutName = fullName.left(99);
    EXPECT_TRUE(QFileInfo(cutName).isFile());
    EXPECT_FALSE(QFileInfo::exists(fullName));
    EXPECT_EQ(QString::fromStdString(db.getDb()->path()), cutName);
}

TEST_F(LoggerDbTest, OnA1970ClockTheCatalogueStillComesUpWithTheErrorLogged)
{
    setCurrentDateForTesting([] { return QDate(1970, 1, 1); });
    WriterStore store;
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    EXPECT_TRUE(LoggerDb::getInstance().isInitialized());
    EXPECT_EQ(LoggerDb::getInstance().getLastError(), QStringLiteral("Current Utc is 1970"));
    EXPECT_TRUE(LogCapture::contains(dbLine("ERROR", QStringLiteral("Current Utc is 1970"))));
}

TEST_F(LoggerDbTest, CheckUtcSaysNothingOnAnyOtherDay)
{
    for (const QDate& day : {QDate(1970, 1, 2), QDate(1969, 12, 31), QDate(2024, 2, 29)}) {
        setCurrentDateForTesting([day] { return day; });
        LoggerDb::getInstance().checkUtc();
    }
    EXPECT_TRUE(LoggerDb::getInstance().getLastError().isEmpty());
    EXPECT_FALSE(LogCapture::contains(dbLine("ERROR", QStringLiteral("Current Utc is 1970"))));
}

TEST_F(LoggerDbTest, AComplexMeasureTypeMarksTheDeviceAsHavingComplexHarmonics)
{
    WriterStore store;
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    ASSERT_TRUE(retriedTransaction("add", [] {
        DefnMeasureType type;
        type.mType = LoggerType::CYCLIC;
        type.mDataType = LoggerDataType::COMPLEX;
        type.MeasType.configId = QStringLiteral("harmonics.complex");
        qzdb::persist(type);
        return true;
    }));
    LoggerDb::getInstance().checkComplexHarmonics();
    EXPECT_TRUE(LoggerDb::getInstance().hasComplexHarmonics());
    EXPECT_TRUE(LogCapture::contains(dbLine("INFO", QStringLiteral("Geraet hat komplexe Harmonische"))));
}

TEST_F(LoggerDbTest, CloseDisablesTheStoreAndDropsTheConnection)
{
    WriterStore store;
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    LoggerDb::closeInstance();
    EXPECT_FALSE(LoggerDb::getInstance().isInitialized());
    EXPECT_EQ(LoggerDb::getInstance().getDb(), nullptr);
    EXPECT_EQ(store.readLoggerStateFile(),
              LOGGER_STATE_DISABLED | LOGGER_STATE_SD_MOUNTED | LOGGER_STATE_LOGGERS_READABLE);
    EXPECT_TRUE(LogCapture::contains(dbLine("INFO", QStringLiteral("Database closed"))));
}

TEST_F(LoggerDbTest, InitializeCompletedPostsLoggerInitialized)
{
    WriterStore store;
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    LoggerDb::getInstance().initializeCompleted();
    EXPECT_EQ(store.readLoggerStateFile() & LOGGER_STATE_BASE_MASK, LOGGER_STATE_LOGGER_INITIALIZED);
}

TEST_F(LoggerDbTest, DropSchemaMakesTheCatalogueAnew)
{
    WriterStore store;
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    LoggerDb& db = LoggerDb::getInstance();
    ASSERT_TRUE(retriedTransaction("add", [] {
        DefnEventString text;
        text.Description = "dropped";
        qzdb::persist(text);
        return true;
    }));
    ASSERT_TRUE(db.initialize(store.mountPoint(), store.loggerPath(), QStringLiteral("data"),
                              QStringLiteral("logger.db"), true));
    EXPECT_TRUE(db.isDropSchema());
    EXPECT_TRUE(LogCapture::contains(dbLine("INFO", QStringLiteral("Database already initialized"))));
    EXPECT_EQ(queryNumber(*db.getDb(), "SELECT count(*) FROM \"DefnEventString\""), 0);
}

TEST_F(LoggerDbTest, MmapSizeAndBusyTimeoutReachTheConnection)
{
    WriterStore store;
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    LoggerDb& db = LoggerDb::getInstance();
    db.setMmapSize(1 << 20);
    QueryCallbackData data;
    LoggerSqlite().query("PRAGMA mmap_size;", data);
    ASSERT_TRUE(data.hasRows);
    EXPECT_EQ(data.lastValue, QStringLiteral("1048576"));

    db.setDatabaseTimeout(0);
    auto other = std::make_shared<qzdb::Database>(store.databaseFile().toStdString(),
                                                  qzdb::Database::kOpenReadWriteCreate);
    other->executeRaw("BEGIN IMMEDIATE");
    EXPECT_THROW(db.getDb()->executeRaw("BEGIN IMMEDIATE"), qzdb::Recoverable);
    other->executeRaw("ROLLBACK");
}

TEST_F(LoggerDbTest, DeleteLoggerFolderRemovesCatalogueAndDataFolder)
{
    WriterStore store;
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    ASSERT_TRUE(QDir().mkpath(store.dataFolderPath() + QStringLiteral("/2024/01/02")));
    LoggerDb::getInstance().close();
    LoggerDb::getInstance().deleteLoggerFolder();
    EXPECT_FALSE(QFileInfo::exists(store.databaseFile()));
    EXPECT_FALSE(QFileInfo::exists(store.dataFolderPath()));
    EXPECT_TRUE(QFileInfo(store.loggerPath()).isDir());
}

// --- Integrity of the catalogue --------------------------------------------------------------

TEST_F(LoggerDbTest, ASingleRowOtherThanOkIsAViolatedIntegrityThatTheWriterRepairs)
{
    WriterStore store;
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    LoggerDb& db = LoggerDb::getInstance();
    ASSERT_TRUE(addEventString("lost in the repair"));
    db.close();
    {
        // A NULL in a column that the schema, changed behind SQLite's back, declares NOT NULL:
        // the check answers with the one row that names it.
        qzdb::Database damaged(store.databaseFile().toStdString(), qzdb::Database::kOpenReadWriteCreate);
        damaged.executeRaw("CREATE TABLE \"Filler\"(\"Text\" TEXT); INSERT INTO \"Filler\" VALUES(NULL);");
        damaged.executeRaw("PRAGMA writable_schema=ON; UPDATE \"sqlite_master\" SET \"sql\"="
                           "'CREATE TABLE \"Filler\"(\"Text\" TEXT NOT NULL)' WHERE \"name\"='Filler'; "
                           "PRAGMA writable_schema=OFF;");
    }
    {
        qzdb::Database check(store.databaseFile().toStdString(), qzdb::Database::kOpenReadOnly);
        ASSERT_EQ(queryText(check, "PRAGMA integrity_check"), "NULL value in Filler.Text");
    }

    ASSERT_TRUE(store.initializeWriter()) << db.getLastError().toStdString();
    EXPECT_TRUE(db.getLastIntegrityViolated());
    EXPECT_TRUE(LogCapture::contains(dbLine("INFO", QStringLiteral("integrity result : 1"))));
    EXPECT_TRUE(LogCapture::contains(dbLine("FATAL", QStringLiteral("Database integrity violated"))))
        << LogCapture::text().toStdString();
    EXPECT_TRUE(LogCapture::contains(dbLine("INFO", QStringLiteral("Repair Violated Database..."))));
    EXPECT_FALSE(db.getDb()->tableExists("Filler"));
    EXPECT_EQ(eventStrings(), 0);
    EXPECT_EQ(queryText(*db.getDb(), "PRAGMA integrity_check"), "ok");
    EXPECT_EQ(store.readLoggerStateFile(), kWriterUp);
}

TEST_F(LoggerDbTest, ACatalogueThatIsNoDatabaseCountsAsViolatedAndTheWriterComesUpOnANewOne)
{
    WriterStore store;
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    LoggerDb& db = LoggerDb::getInstance();
    ASSERT_TRUE(addEventString("lost in the repair"));
    db.close();
    ASSERT_TRUE(flipMagic(store.databaseFile()));
    const int exceptions = db.getExceptionCounter();

    ASSERT_TRUE(store.initializeWriter()) << db.getLastError().toStdString();
    EXPECT_TRUE(db.isInitialized());
    EXPECT_TRUE(db.getLastIntegrityViolated());
    const QStringList expected{
        dbLine("FATAL", QStringLiteral("26: file is not a database: integrity_check Logger Exception")),
        dbLine("ERROR", QStringLiteral("integrity check could not run: 26: file is not a database")),
        dbLine("FATAL", QStringLiteral("Database integrity violated")),
        dbLine("INFO", QStringLiteral("Repair Violated Database..."))};
    QStringList seen;
    for (const QString& line : LogCapture::lines()) {
        if (expected.contains(line))
            seen << line;
    }
    EXPECT_EQ(seen, expected) << LogCapture::text().toStdString();
    // The check did not run, so it counted no rows.
    for (const QString& line : LogCapture::lines())
        EXPECT_FALSE(line.contains(QStringLiteral("integrity result : 0"))) << line.toStdString();
    EXPECT_EQ(db.getExceptionCounter(), exceptions + 1);
    EXPECT_EQ(eventStrings(), 0);
    EXPECT_TRUE(db.getDb()->tableExists("DefnMeasureType_FileInfos"));
    EXPECT_EQ(queryText(*db.getDb(), "PRAGMA integrity_check"), "ok");
    EXPECT_EQ(store.readLoggerStateFile(), kWriterUp);

    // The next start finds it healthy.
    ASSERT_TRUE(store.initializeWriter());
    EXPECT_FALSE(db.getLastIntegrityViolated());
}

TEST_F(LoggerDbTest, ACheckKeptFromRunningByAnIoErrorLeavesTheCatalogueAsItIs)
{
    WriterStore store;
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    LoggerDb& db = LoggerDb::getInstance();
    ASSERT_TRUE(addEventString("kept"));
    db.close();

    // Opening: its foreign-key pragma (1); the check's frame: BEGIN (2), the check's prepare (3).
    qzdb::FaultInjection::failCalls(3, SQLITE_IOERR);
    const bool initialized = store.initializeWriter();
    qzdb::FaultInjection::stop();
    ASSERT_EQ(qzdb::FaultInjection::failedCount(), 1);
    ASSERT_TRUE(initialized) << db.getLastError().toStdString();
    EXPECT_FALSE(db.getLastIntegrityViolated());
    EXPECT_TRUE(LogCapture::contains(
        dbLine("ERROR", QStringLiteral("integrity check could not run: 10: disk I/O error"))))
        << LogCapture::text().toStdString();
    EXPECT_FALSE(LogCapture::contains(dbLine("FATAL", QStringLiteral("Database integrity violated"))));
    EXPECT_FALSE(LogCapture::contains(dbLine("INFO", QStringLiteral("Repair Violated Database..."))));
    EXPECT_EQ(eventStrings(), 1);
}

TEST_F(LoggerDbTest, DamageThatShowsOnlyWhenTheSchemaIsLookedUpIsRepairedByTheWriter)
{
    WriterStore store;
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    LoggerDb& db = LoggerDb::getInstance();
    db.close();
    ASSERT_TRUE(flipMagic(store.databaseFile()));

    // The check fails for another reason, so that the damage meets the look-up of the schema.
    qzdb::FaultInjection::failCalls(3, SQLITE_IOERR);
    const bool initialized = store.initializeWriter();
    qzdb::FaultInjection::stop();
    ASSERT_TRUE(initialized) << db.getLastError().toStdString();
    EXPECT_TRUE(db.getLastIntegrityViolated());
    EXPECT_TRUE(LogCapture::contains(
        dbLine("ERROR", QStringLiteral("integrity check could not run: 10: disk I/O error"))));
    EXPECT_TRUE(
        LogCapture::contains(dbLine("FATAL", QStringLiteral("Database damaged: 26: file is not a database"))))
        << LogCapture::text().toStdString();
    EXPECT_TRUE(LogCapture::contains(dbLine("INFO", QStringLiteral("Repair Violated Database..."))));
    EXPECT_EQ(queryText(*db.getDb(), "PRAGMA integrity_check"), "ok");
    EXPECT_TRUE(db.getDb()->tableExists("DefnMeasureType_FileInfos"));
    EXPECT_EQ(store.readLoggerStateFile(), kWriterUp);
}

TEST_F(LoggerDbTest, AReaderReportsACatalogueThatIsNoDatabaseAndLeavesItsBytesAlone)
{
    WriterStore store;
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    LoggerDb& db = LoggerDb::getInstance();
    db.close();
    ASSERT_TRUE(flipMagic(store.databaseFile()));
    const QByteArray damaged = readWholeFile(store.databaseFile());

    db.setWriterMode(false);
    EXPECT_FALSE(store.initializeWriter());
    EXPECT_FALSE(db.isInitialized());
    EXPECT_TRUE(db.getLastIntegrityViolated());
    EXPECT_TRUE(LogCapture::contains(
        dbLine("ERROR", QStringLiteral("integrity check could not run: 26: file is not a database"))))
        << LogCapture::text().toStdString();
    EXPECT_TRUE(LogCapture::contains(dbLine("FATAL", QStringLiteral("Database integrity violated"))));
    EXPECT_TRUE(
        LogCapture::contains(dbLine("ERROR", QStringLiteral("odb::exception=26: file is not a database"))));
    EXPECT_TRUE(LogCapture::contains(dbLine("ERROR", QStringLiteral("initialize exception"))));
    EXPECT_FALSE(LogCapture::contains(dbLine("INFO", QStringLiteral("Repair Violated Database..."))));
    EXPECT_FALSE(LogCapture::contains(
        dbLine("FATAL", QStringLiteral("Database damaged: 26: file is not a database"))));
    EXPECT_EQ(readWholeFile(store.databaseFile()), damaged);
    // The writer's word stands as the writer left it.
    EXPECT_EQ(store.readLoggerStateFile(),
              LOGGER_STATE_DISABLED | LOGGER_STATE_SD_MOUNTED | LOGGER_STATE_LOGGERS_READABLE);
}

// --- A reader's opening and closing ------------------------------------------------------------

// A reader on a store whose card service is not on the bus; the process-id file names a writer.
class ReaderWithoutCardService {
public:
    ReaderWithoutCardService() : mStore(options()) {}

    bool start()
    {
        if (!mStore.start() || !makeCatalogue(mStore.databaseFile()) ||
            !writeWholeFile(mStore.pidFile(), "4711"))
            return false;
        LoggerDb::getInstance().setWriterMode(false);
        return mStore.initializeWriter();
    }

    WriterStore& store() { return mStore; }

private:
    static WriterStore::Options options()
    {
        WriterStore::Options options;
        options.startCard = false;
        options.initialize = false;
        return options;
    }

    WriterStore mStore;
};

TEST_F(LoggerDbTest, AReaderThatOpensAnewDoesNotAskTheBusForTheCardServiceAgain)
{
    ReaderWithoutCardService reader;
    ASSERT_TRUE(reader.start()) << LoggerDb::getInstance().getLastError().toStdString();
    LoggerDb& db = LoggerDb::getInstance();
    EXPECT_TRUE(db.isInitialized());
    const QString notRegistered = QStringLiteral("Logger.Sdcard|WARN|qz.SDCard1 is not registered");
    EXPECT_EQ(LogCapture::count(notRegistered), 1) << LogCapture::text().toStdString();
    EXPECT_EQ(LogCapture::count(dbLine("WARN", QStringLiteral("LoggerSDCard is not initialized"))), 1);

    // A restarted writer: the reader opens everything anew, and once more on the next restart.
    ASSERT_TRUE(writeWholeFile(reader.store().pidFile(), "4712"));
    EXPECT_TRUE(db.checkValidity());
    ASSERT_TRUE(writeWholeFile(reader.store().pidFile(), "4713"));
    EXPECT_TRUE(db.checkValidity());
    EXPECT_EQ(LogCapture::count(dbLine("INFO", QStringLiteral("Database successfully initialized"))), 3);
    EXPECT_EQ(LogCapture::count(dbLine("WARN", QStringLiteral("LoggerSDCard is not initialized"))), 3);
    EXPECT_EQ(LogCapture::count(notRegistered), 1);
}

TEST_F(LoggerDbTest, AReaderThatClosesLogsAndCountsItsRefusalToSetTheState)
{
    ReaderWithoutCardService reader;
    ASSERT_TRUE(reader.start()) << LoggerDb::getInstance().getLastError().toStdString();
    LoggerDb& db = LoggerDb::getInstance();
    const int errors = TrackObject::getErrorCounter();
    const LoggerState posted = reader.store().readLoggerStateFile();

    db.close();
    EXPECT_FALSE(db.isInitialized());
    EXPECT_EQ(db.getDb(), nullptr);
    const QStringList tail = LogCapture::lines().mid(LogCapture::lines().size() - 3);
    const QStringList expected{
        dbLine("INFO", QStringLiteral("Versucht Logger State zu setzen : 1")),
        dbLine("ERROR",
               QStringLiteral("Nur der Writer darf den Logger State vorgeben! Der Reader muss ihn vom "
                              "GloablState beziehen!")),
        dbLine("INFO", QStringLiteral("Database closed"))};
    EXPECT_EQ(tail, expected) << LogCapture::text().toStdString();
    EXPECT_EQ(TrackObject::getErrorCounter(), errors + 1);
    EXPECT_EQ(reader.store().readLoggerStateFile(), posted);
}

// --- Without a card: messages, errors, process id -----------------------------------------

TEST_F(LoggerDbTest, RoutineAndTraceTextsReachNoLogAndTheOthersKeepTheirLevels)
{
    LoggerDb& db = LoggerDb::getInstance();
    const int errors = TrackObject::getErrorCounter();
    const int fatals = TrackObject::getFatalCounter();
    db.loggerMessage("routine", LOGGER_MESSAGE_ROUTINE);
    db.loggerMessage("trace", LOGGER_MESSAGE_TRACE);
    db.loggerMessage("info", LOGGER_MESSAGE_INFO);
    db.loggerMessage("warn", LOGGER_MESSAGE_WARN);
    db.loggerMessage("error", LOGGER_MESSAGE_ERROR);
    db.loggerMessage("fatal", LOGGER_MESSAGE_FATAL);
    const QStringList expected{dbLine("INFO", QStringLiteral("info")), dbLine("WARN", QStringLiteral("warn")),
                               dbLine("ERROR", QStringLiteral("error")),
                               dbLine("FATAL", QStringLiteral("fatal"))};
    EXPECT_EQ(LogCapture::lines(), expected);
    EXPECT_EQ(TrackObject::getErrorCounter(), errors + 1);
    EXPECT_EQ(TrackObject::getFatalCounter(), fatals + 1);
    EXPECT_EQ(db.getTrackCategory(), QStringLiteral("Logger.Db"));
}

TEST_F(LoggerDbTest, LastErrorIsKeptUntilFetchedAndReset)
{
    LoggerDb& db = LoggerDb::getInstance();
    db.setError(QStringLiteral("first"));
    db.setError(QStringLiteral("second"));
    EXPECT_EQ(db.getLastError(), QStringLiteral("second"));
    EXPECT_EQ(db.getAndResetLastError(), QStringLiteral("second"));
    EXPECT_TRUE(db.getLastError().isEmpty());
    EXPECT_TRUE(db.getAndResetLastError().isEmpty());
}

TEST_F(LoggerDbTest, HandleOdbExceptionCountsKeepsAndLogsTheTextAsFatal)
{
    LoggerDb& db = LoggerDb::getInstance();
    const int fatals = TrackObject::getFatalCounter();
    db.handleOdbException(qzdb::ObjectNotPersistent(), "readBaseType object not persistent");
    EXPECT_EQ(db.getExceptionCounter(), 1);
    EXPECT_EQ(TrackObject::getFatalCounter(), fatals + 1);
    const QString text = QStringLiteral("object not persistent: readBaseType object not persistent");
    EXPECT_EQ(db.getLastError(), text);
    EXPECT_TRUE(LogCapture::contains(dbLine("FATAL", text)));
    db.incrementExceptionCounter();
    EXPECT_EQ(db.getExceptionCounter(), 2);
}

// The figure counts openings of the catalogue and of data files. Closing the catalogue counts
// nothing, and neither does the close behind every block, so that it only grows while a logger
// writes; closing a logger whose file is open takes one off.
TEST_F(LoggerDbTest, TheOpenedFilesCountFollowsOpeningsAndNotTheCloseBehindEachBlock)
{
    WriterStore store;
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    LoggerDb& db = LoggerDb::getInstance();
    EXPECT_EQ(db.getNumberOfOpenedFiles(), 1);

    constexpr int kItem = 16;
    constexpr int32_t kDay = 1763802000; // 2025-11-22, in the middle of a day in any zone
    TestLogger logger(QStringLiteral("mean_3s.opened_files.mean_out"), kItem);
    // Room for four items: the fourth block begins a new file.
    logger.setMaximumFileSize(44 + 4 * kItem);
    const auto write = [&logger](int32_t first) {
        const QByteArray block = testItems({first, first + 1}, kItem);
        return logger.writeDatas(block.constData(), 2, true, true) != nullptr;
    };

    // Starting opens the logger's first file and leaves it open for the first block.
    ASSERT_TRUE(logger.startLogger());
    EXPECT_EQ(db.getNumberOfOpenedFiles(), 2);
    ASSERT_TRUE(write(kDay));
    EXPECT_EQ(db.getNumberOfOpenedFiles(), 2);
    // Each further block opens the file again.
    ASSERT_TRUE(write(kDay + 10));
    EXPECT_EQ(db.getNumberOfOpenedFiles(), 3);
    ASSERT_TRUE(write(kDay + 20));
    EXPECT_EQ(db.getNumberOfOpenedFiles(), 4);
    // Over the size: a new file, opened for the block.
    ASSERT_TRUE(write(kDay + 30));
    EXPECT_EQ(logger.getFileListSize(), 2);
    EXPECT_EQ(db.getNumberOfOpenedFiles(), 5);
    // A rewrite of the last block opens the file once more.
    const QByteArray again = testItems({kDay + 31}, kItem);
    ASSERT_TRUE(logger.updateDatas(again.constData(), 1));
    EXPECT_EQ(db.getNumberOfOpenedFiles(), 6);

    // The file is closed already: stopping takes nothing off.
    ASSERT_TRUE(logger.stopLogger());
    EXPECT_EQ(db.getNumberOfOpenedFiles(), 6);
    // Reopening counts nothing, and the first block after it finds the file open.
    ASSERT_TRUE(logger.startLogger());
    EXPECT_EQ(db.getNumberOfOpenedFiles(), 6);
    ASSERT_TRUE(write(kDay + 40));
    EXPECT_EQ(db.getNumberOfOpenedFiles(), 6);
    ASSERT_TRUE(write(kDay + 50));
    EXPECT_EQ(db.getNumberOfOpenedFiles(), 7);
    // Reopened and stopped with its file open: one off.
    ASSERT_TRUE(logger.stopLogger());
    ASSERT_TRUE(logger.startLogger());
    ASSERT_TRUE(logger.stopLogger());
    EXPECT_EQ(db.getNumberOfOpenedFiles(), 6);

    // The catalogue closed and opened again: one more opening, nothing for the close.
    db.close();
    EXPECT_EQ(db.getNumberOfOpenedFiles(), 6);
    ASSERT_TRUE(store.initializeWriter());
    EXPECT_EQ(db.getNumberOfOpenedFiles(), 7);
}

TEST_F(LoggerDbTest, OpenedFilesAreCounted)
{
    LoggerDb& db = LoggerDb::getInstance();
    db.incrementOpenedFiles();
    db.incrementOpenedFiles();
    db.decrementOpenedFiles();
    EXPECT_EQ(db.getNumberOfOpenedFiles(), 1);
}

TEST_F(LoggerDbTest, ProcessIdFileIsTakenFromTheEnvironment)
{
    qunsetenv("QZLOGGER_PID_FILE");
    EXPECT_EQ(LoggerDb::getProcessIdFile(), QStringLiteral("/var/run/qzlogger.writer.pid"));
    qputenv("QZLOGGER_PID_FILE", "");
    EXPECT_EQ(LoggerDb::getProcessIdFile(), QStringLiteral("/var/run/qzlogger.writer.pid"));
    qputenv("QZLOGGER_PID_FILE", "/tmp/elsewhere.pid");
    EXPECT_EQ(LoggerDb::getProcessIdFile(), QStringLiteral("/tmp/elsewhere.pid"));
}

TEST_F(LoggerDbTest, ProcessIdFileIsWrittenForOwnerAndGroupAndReadToItsLastLine)
{
    TemporaryStoreRoot root;
    const QString pidFile = root.filePath(QStringLiteral("writer.pid"));
    qputenv("QZLOGGER_PID_FILE", QFile::encodeName(pidFile));
    LoggerDb& db = LoggerDb::getInstance();

    EXPECT_EQ(db.readProcessId(), -1);
    ASSERT_TRUE(db.writeProcessId(4711));
    EXPECT_EQ(readWholeFile(pidFile), QByteArray("4711"));
    EXPECT_EQ(QFileInfo(pidFile).permissions() & (QFileDevice::ReadOther | QFileDevice::WriteOther),
              QFileDevice::Permissions());
    EXPECT_EQ(QFileInfo(pidFile).permissions() & (QFileDevice::ReadGroup | QFileDevice::WriteGroup),
              QFileDevice::ReadGroup | QFileDevice::WriteGroup);
    EXPECT_EQ(db.readProcessId(), 4711);

    ASSERT_TRUE(writeWholeFile(pidFile, "12\n345\n678\n"));
    EXPECT_EQ(db.readProcessId(), 678);
    ASSERT_TRUE(writeWholeFile(pidFile, ""));
    EXPECT_EQ(db.readProcessId(), -1);

    // A writer stores its own id; a reader takes what the file says.
    db.setWriterMode(true);
    ASSERT_TRUE(db.getProcessId());
    EXPECT_EQ(db.readProcessId(), ::getpid());
    EXPECT_FALSE(db.hasProcessIdChanged());
    db.setWriterMode(false);
    ASSERT_TRUE(writeWholeFile(pidFile, "99"));
    EXPECT_TRUE(db.hasProcessIdChanged());
    ASSERT_TRUE(db.getProcessId());
    EXPECT_FALSE(db.hasProcessIdChanged());
}

TEST_F(LoggerDbTest, AProcessIdFileThatCannotBeWrittenFailsTheWriter)
{
    WriterStore::Options options;
    options.initialize = false;
    WriterStore store(options);
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    qputenv("QZLOGGER_PID_FILE",
            QFile::encodeName(store.stateDirectory() + QStringLiteral("/missing/writer.pid")));
    EXPECT_FALSE(store.initializeWriter());
    EXPECT_TRUE(LogCapture::contains(dbLine("FATAL", QStringLiteral("cannot write Process ID to File"))));
    EXPECT_FALSE(LoggerDb::getInstance().isInitialized());
}

TEST_F(LoggerDbTest, OnlyTheWriterMaySetTheLoggerState)
{
    StateDirectory states;
    LoggerDb& db = LoggerDb::getInstance();
    db.setWriterMode(false);
    ASSERT_TRUE(LoggerGlobalStates::getInstance().setLoggerState(kWriterUp));
    db.setLoggerState(LOGGER_STATE_DB_FAILED);
    db.setReadable(false);
    EXPECT_EQ(states.loggerStateFile(), QByteArray::number(kWriterUp));
    EXPECT_EQ(db.getLoggerState(), kWriterUp);
    EXPECT_TRUE(LogCapture::contains(dbLine("INFO", QStringLiteral("Versucht Logger State zu setzen : 2"))));
    EXPECT_TRUE(
        LogCapture::contains(dbLine("INFO", QStringLiteral("Versucht Logger State zu setzen : 512"))));
    EXPECT_EQ(
        LogCapture::count(dbLine("ERROR", QStringLiteral("Nur der Writer darf den Logger State vorgeben! "
                                                         "Der Reader muss ihn vom GloablState beziehen!"))),
        2);
}

TEST_F(LoggerDbTest, TheWriterPostsTheStateGroupByGroup)
{
    StateDirectory states;
    LoggerDb& db = LoggerDb::getInstance();
    db.setWriterMode(true);
    db.resetLoggerState();
    EXPECT_EQ(states.loggerStateFile(), QByteArray("0"));
    db.setLoggerState(LOGGER_STATE_SD_MOUNTED);
    db.setLoggerState(LOGGER_STATE_DB_INITIALIZED);
    db.setReadable(true);
    EXPECT_EQ(db.getLoggerState(), kWriterUp);
    EXPECT_TRUE(LoggerGlobalStates::getInstance().isReadable());
    db.setReadable(false);
    EXPECT_EQ(db.getLoggerState(),
              LOGGER_STATE_DB_INITIALIZED | LOGGER_STATE_SD_MOUNTED | LOGGER_STATE_LOGGERS_NOT_READABLE);
    EXPECT_FALSE(LoggerGlobalStates::getInstance().isReadable());
    // Without a card client the word is not published on the bus, and that is an error.
    EXPECT_TRUE(LogCapture::contains(dbLine("ERROR", QStringLiteral("mLoggerSDCard==nullptr"))));
    EXPECT_TRUE(LogCapture::contains(
        dbLine("INFO", QStringLiteral("setLoggerState: 0x%1 db initialized, sd mounted, loggers readable")
                           .arg(kWriterUp, 0, 16))))
        << LogCapture::text().toStdString();
    // The routine text of the state file reaches no log.
    for (const QString& line : LogCapture::lines())
        EXPECT_FALSE(line.contains(QStringLiteral("Write Logger State"))) << line.toStdString();

    db.setInitialLoggerState(LOGGER_STATE_LOGGER_INITIALIZED | LOGGER_STATE_LOGGERS_STARTED);
    EXPECT_EQ(db.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED | LOGGER_STATE_LOGGERS_STARTED);
}

TEST_F(LoggerDbTest, AReadableFlagThatCannotBeWrittenIsReported)
{
    qputenv(LoggerGlobalStates::kStateDirectoryVariable, "/nonexistent/qzlogger-states");
    LoggerDb& db = LoggerDb::getInstance();
    db.setWriterMode(true);
    db.setReadable(true);
    qunsetenv(LoggerGlobalStates::kStateDirectoryVariable);
    EXPECT_TRUE(LogCapture::contains(dbLine("ERROR", QStringLiteral("Cannot set readable flag"))));
}

TEST_F(LoggerDbTest, ClearDiskRunsRemoveThroughTheShell)
{
    TemporaryStoreRoot root;
    const QString folder = root.filePath(QStringLiteral("card/logger"));
    ASSERT_TRUE(QDir().mkpath(folder + QStringLiteral("/data/2024")));
    ASSERT_TRUE(writeWholeFile(folder + QStringLiteral("/logger.db"), "x"));
    LoggerDb::getInstance().clearDisk(folder);
    EXPECT_FALSE(QFileInfo::exists(folder));
    EXPECT_TRUE(QFileInfo(root.filePath(QStringLiteral("card"))).isDir());
}

TEST_F(LoggerDbTest, ClearDiskRefusesAnEmptyPathAndTheRoot)
{
    LoggerDb& db = LoggerDb::getInstance();
    db.clearDisk(QString());
    EXPECT_EQ(db.getAndResetLastError(), QStringLiteral("clearDisk: refused to remove \"\""));
    db.clearDisk(QStringLiteral("/"));
    EXPECT_EQ(db.getAndResetLastError(), QStringLiteral("clearDisk: refused to remove \"/\""));
    db.clearDisk(QStringLiteral("/*"));
    EXPECT_EQ(db.getAndResetLastError(), QStringLiteral("clearDisk: refused to remove \"/*\""));
}

TEST_F(LoggerDbTest, WithoutAConnectionTheCatalogueCountsAsMissing)
{
    LoggerDb& db = LoggerDb::getInstance();
    EXPECT_FALSE(db.exists());
    EXPECT_FALSE(db.exists_pgsql());
    EXPECT_FALSE(db.isIntegrityViolated());
    EXPECT_TRUE(db.getFullDbName().isEmpty());
    EXPECT_TRUE(LogCapture::contains(dbLine("INFO", QStringLiteral("Database File doesn't exist"))));
}

TEST_F(LoggerDbTest, DatabaseStatesHaveTheirTexts)
{
    LoggerDb& db = LoggerDb::getInstance();
    db.logDatabaseState(DATABASE_INITIALIZATION_STARTED);
    db.logDatabaseState(DATABASE_INITIALIZED);
    db.logDatabaseState(DATABASE_NOT_INITIALIZED);
    db.logDatabaseState(DATABASE_PATH_DOES_NOT_EXIST);
    const QStringList expected{dbLine("INFO", QStringLiteral("Initialization started")),
                               dbLine("INFO", QStringLiteral("Database successfully initialized")),
                               dbLine("INFO", QStringLiteral("Database not initialized")),
                               dbLine("INFO", QStringLiteral("database path does not exist"))};
    EXPECT_EQ(LogCapture::lines(), expected);
}

} // namespace

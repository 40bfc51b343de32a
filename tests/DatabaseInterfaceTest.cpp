// DatabaseInterface: the host's facade forwards to LoggerDb, the card client and LoggerList;
// readability comes from the shared state file; the quota facade gives the catalogue's share of
// the card; deleting every logger and the factory reset run on a writer while a reader process
// reads. The tests run on a simulated card with a real catalogue (WriterStore); readers are child
// processes of the same program (ReaderStore). Each test runs in a process of its own.

#include "DatabaseInterface.h"

#include "ChildTestProcess.h"
#include "ConfigurationText.h"
#include "LogCapture.h"
#include "LoggerApiInterface.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerFileSystem.h"
#include "LoggerGlobalStates.h"
#include "LoggerList.h"
#include "LoggerMemoryInterface.h"
#include "LoggerRetriedTransaction.h"
#include "LoggerSDCard.h"
#include "QStringPrinter.h"
#include "TemporaryCatalogue.h"
#include "TestLogger.h"
#include "TestTemplateLogger.h"
#include "WriterStore.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <cstdint>
#include <iostream>
#include <memory>
#include <string>

namespace {

constexpr int kBlockSize = static_cast<int>(sizeof(DataMean));
constexpr int kWaitMs = 10000;
constexpr const char* kMeasureId = "mean_10s.signal_1.out.mean";
// The second of the first item that the writer wrote, as its reader process learns it.
constexpr const char* kFirstSecondVariable = "QZLOGGER_TEST_FIRST_SECOND";

QString listLine(const char* level, const QString& text)
{
    return QStringLiteral("Logger.List|") + QLatin1String(level) + QLatin1Char('|') + text;
}

LoggerState runGroup(LoggerState word)
{
    return word & LOGGER_STATE_RUN_MASK;
}

LoggerState baseGroup(LoggerState word)
{
    return word & LOGGER_STATE_BASE_MASK;
}

LoggerState accessGroup(LoggerState word)
{
    return word & LOGGER_STATE_ACCESS_MASK;
}

LoggerState resetGroup(LoggerState word)
{
    return word & LOGGER_STATE_RESET_MASK;
}

// A measure logger of mean values that notes, each time its file is flushed before closing,
// what a process of the store would see at that moment: the run group of the shared state word,
// the shared readable flag, and whether the catalogue file is there.
class ProbeLogger : public TestLogger {
public:
    explicit ProbeLogger(const QString& idString = QString::fromLatin1(kMeasureId))
        : TestLogger(idString, kBlockSize)
    {
    }

    bool flush() override
    {
        ++mFlushes;
        mRunGroupAtFlush = runGroup(LoggerGlobalStates::getInstance().getLoggerState());
        mReadableAtFlush = LoggerGlobalStates::getInstance().isReadable();
        mCatalogueAtFlush = QFileInfo::exists(LoggerDb::getInstance().getFullDbName());
        return TestLogger::flush();
    }

    int mFlushes = 0;
    LoggerState mRunGroupAtFlush = 0;
    bool mReadableAtFlush = false;
    bool mCatalogueAtFlush = false;
};

// `count` mean values one second apart from `first`: the counter from 1 on is the quality.
PtrLoggerFileInfo writeItems(LoggerBase& logger, int32_t first, int count)
{
    const QByteArray block = testItems(testSeconds(first, count), kBlockSize);
    return logger.writeDatas(block.constData(), count, true, true);
}

int filesBelow(const QString& folder)
{
    int count = 0;
    QDirIterator files(folder, QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        files.next();
        ++count;
    }
    return count;
}

// Rows of every type table and of the file table, through the store's own connection.
long long typeRows()
{
    long long rows = 0;
    for (const char* table : {"DefnBaseType", "DefnMeasureType", "DefnOperatorType", "DefnEventType",
                              "DefnPqEventType", "DefnDisturbType"})
        rows += queryNumber(*LoggerDb::getInstance().getDb(),
                            std::string("SELECT count(*) FROM \"") + table + "\"");
    return rows;
}

long long fileRows()
{
    return queryNumber(*LoggerDb::getInstance().getDb(), "SELECT count(*) FROM \"LoggerFileInfo\"");
}

// The mean values of the test's identification from the second before `first` to 100 seconds
// after it: the number of items, or -1 for a null answer.
int readMeans(LoggerApiInterface& api, int32_t first)
{
    timespec start{};
    start.tv_sec = first - 1;
    timespec end{};
    end.tv_sec = first + 100;
    const PtrLoggerResultMean result = api.getMeanValues(QString::fromLatin1(kMeasureId), start, end);
    return result ? result->mNumItems : -1;
}

std::string readLine()
{
    std::string line;
    std::getline(std::cin, line);
    return line;
}

// Sets an environment variable for the object's life and gives it back its earlier value after.
class ScopedVariable {
public:
    ScopedVariable(const char* name, const QString& value)
        : mName(name), mHad(qEnvironmentVariableIsSet(name)), mEarlier(qgetenv(name))
    {
        qputenv(name, QFile::encodeName(value));
    }
    ~ScopedVariable()
    {
        if (mHad)
            qputenv(mName, mEarlier);
        else
            qunsetenv(mName);
    }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

private:
    const char* mName;
    bool mHad;
    QByteArray mEarlier;
};

// Qt's configuration folders (XDG_CONFIG_HOME, XDG_CONFIG_DIRS) in folders of the test, with a
// "database.xml" for the store of a WriterStore in the first: no target path (the card names the
// mount point), the store's data folder and catalogue name.
class StoreConfiguration {
public:
    StoreConfiguration()
        : mHomeVariable("XDG_CONFIG_HOME", mHome.path()), mDirsVariable("XDG_CONFIG_DIRS", mDirs.path())
    {
        mValid = mHome.isValid() && mDirs.isValid() &&
                 ConfigurationText()
                     .without("targetPath")
                     .set("fileDir", WriterStore::kDataFolder)
                     .set("dbName", WriterStore::kDbName)
                     .writeTo(file());
    }
    bool isValid() const { return mValid; }
    QString file() const { return mHome.filePath(QStringLiteral("database.xml")); }

private:
    QTemporaryDir mHome;
    QTemporaryDir mDirs;
    ScopedVariable mHomeVariable;
    ScopedVariable mDirsVariable;
    bool mValid = false;
};

class DatabaseInterfaceTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(mLogCaptured); }

    // Brings the writer up on a simulated card; each test that needs a card calls it first.
    void startStore(const WriterStore::Options& options = WriterStore::Options())
    {
        mStore = std::make_unique<WriterStore>(options);
        ASSERT_TRUE(mStore->start()) << mStore->errorString().toStdString();
    }

    static LoggerDb& db() { return LoggerDb::getInstance(); }
    static LoggerList& list() { return *LoggerList::getInstance(); }

    // Before any member that logs: the store configures logging once per process.
    const bool mLogCaptured = LogCapture::install();
    std::unique_ptr<WriterStore> mStore;
    DatabaseInterface mFacade;
};

} // namespace

// --- The card client ---------------------------------------------------------------------------

TEST_F(DatabaseInterfaceTest, WithoutACardClientTheCardCallsAnswerNoCardAndDoNothing)
{
    EXPECT_EQ(mFacade.getLoggerSDCard(), nullptr);
    EXPECT_FALSE(mFacade.isSdcardMounted());
    mFacade.setSDcardMounted();
    EXPECT_EQ(mFacade.getLoggerSDCard(), nullptr);
    EXPECT_FALSE(mFacade.isSdcardMounted());
}

TEST_F(DatabaseInterfaceTest, TheCardClientIsNullBeforeInitializeAndInitializeSDCardMakesItOnce)
{
    WriterStore::Options options;
    options.initialize = false;
    ASSERT_NO_FATAL_FAILURE(startStore(options));
    EXPECT_EQ(mFacade.getLoggerSDCard(), nullptr);

    EXPECT_TRUE(mFacade.initializeSDCard());
    LoggerSDCard* card = mFacade.getLoggerSDCard();
    ASSERT_NE(card, nullptr);
    EXPECT_TRUE(card->isStarted());
    EXPECT_TRUE(card->hasDBusThread());
    EXPECT_EQ(card, db().getLoggerSDCard());
    EXPECT_TRUE(mFacade.initializeSDCard());
    EXPECT_EQ(mFacade.getLoggerSDCard(), card);
    // The client knows the card once it has asked the service.
    EXPECT_EQ(card->readState(), SDC_MOUNTED);
    EXPECT_TRUE(mFacade.isSdcardMounted());
}

TEST_F(DatabaseInterfaceTest,
       IsSdcardMountedFollowsTheClientAndSetSDcardMountedMarksItWithoutAskingTheService)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    LoggerSDCard* card = mFacade.getLoggerSDCard();
    ASSERT_NE(card, nullptr);
    EXPECT_TRUE(mFacade.isSdcardMounted());

    ASSERT_TRUE(mStore->card().control(QStringLiteral("SetState"), {int(SDC_UNMOUNTED)}))
        << mStore->card().errorString().toStdString();
    // Nothing changes until the client asks.
    EXPECT_TRUE(mFacade.isSdcardMounted());
    EXPECT_EQ(card->readState(), SDC_UNMOUNTED);
    EXPECT_FALSE(mFacade.isSdcardMounted());

    mFacade.setSDcardMounted();
    EXPECT_TRUE(mFacade.isSdcardMounted());
    EXPECT_EQ(card->getSdState(), SDC_MOUNTED);
    // The service was not told: it still reports the card unmounted.
    EXPECT_EQ(card->readState(), SDC_UNMOUNTED);
    EXPECT_FALSE(mFacade.isSdcardMounted());
}

// --- Forwarding to LoggerDb ------------------------------------------------------------------------

TEST_F(DatabaseInterfaceTest, TheCatalogueCallsForwardToLoggerDb)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    EXPECT_TRUE(mFacade.isInitialized());
    EXPECT_EQ(mFacade.getDatabaseFolder(), mStore->loggerPath());
    EXPECT_EQ(mFacade.getDataFolder(), mStore->dataFolderPath());
    EXPECT_FALSE(mFacade.isDropSchema());
    EXPECT_TRUE(mFacade.checkValidity());
    EXPECT_EQ(mFacade.getLoggerState(), db().getLoggerState());
    EXPECT_EQ(mFacade.getLoggerState(), mStore->readLoggerStateFile());

    mFacade.setWriterMode(false);
    EXPECT_FALSE(db().isWriter());
    mFacade.setWriterMode(true);
    EXPECT_TRUE(db().isWriter());

    mFacade.initializeCompleted();
    EXPECT_EQ(baseGroup(mStore->readLoggerStateFile()), LOGGER_STATE_LOGGER_INITIALIZED);

    // The kept error stays for the next caller.
    db().setError(QStringLiteral("kept for the host"));
    EXPECT_EQ(mFacade.getLastError(), QStringLiteral("kept for the host"));
    EXPECT_EQ(mFacade.getLastError(), QStringLiteral("kept for the host"));

    const int transactions = mFacade.getTotalTransactionCount();
    mFacade.getTotalTransactionTime();
    ASSERT_TRUE(retriedTransaction("count", [] { return true; }));
    EXPECT_EQ(mFacade.getTotalTransactionCount(), transactions + 1);
    EXPECT_GT(mFacade.getTotalTransactionTime(), 0.0);
    EXPECT_EQ(mFacade.getTotalTransactionTime(), 0.0);
    EXPECT_EQ(mFacade.getTotalTransactionCount(), transactions + 1);

    TestLogger logger(QString::fromLatin1(kMeasureId), kBlockSize);
    ASSERT_TRUE(logger.initializeLogger());
    mFacade.getTotalWriteFileTime();
    ASSERT_NE(writeItems(logger, testStartSecond(), 4), nullptr);
    EXPECT_GT(mFacade.getTotalWriteFileTime(), 0.0);
    EXPECT_EQ(mFacade.getTotalWriteFileTime(), 0.0);

    logger.closeFile();
    mFacade.close();
    EXPECT_FALSE(mFacade.isInitialized());
    EXPECT_FALSE(db().isInitialized());
    EXPECT_TRUE(mFacade.reinitialize());
    EXPECT_TRUE(mFacade.isInitialized());
}

TEST_F(DatabaseInterfaceTest, TheStoreComesUpFromItsConfigurationThroughEitherInitialize)
{
    WriterStore::Options options;
    options.initialize = false;
    ASSERT_NO_FATAL_FAILURE(startStore(options));
    StoreConfiguration configuration;
    ASSERT_TRUE(configuration.isValid());
    mFacade.setWriterMode(true);

    ASSERT_TRUE(mFacade.initialize()) << LogCapture::text().toStdString();
    EXPECT_TRUE(mFacade.isInitialized());
    EXPECT_NE(mFacade.getLoggerSDCard(), nullptr);
    EXPECT_EQ(mFacade.getDataFolder(), mStore->dataFolderPath());
    EXPECT_TRUE(QFileInfo::exists(mStore->databaseFile()));
    mFacade.close();

    ASSERT_TRUE(mFacade.initialize(configuration.file())) << LogCapture::text().toStdString();
    EXPECT_TRUE(mFacade.isInitialized());
    EXPECT_EQ(mFacade.getDatabaseFolder(), mStore->loggerPath());

    // readParameters takes the file's names and switches without opening anything.
    const QString dropping = configuration.file() + QStringLiteral(".dropping");
    ASSERT_TRUE(ConfigurationText()
                    .set("targetPath", mStore->mountPoint().toUtf8())
                    .set("dropSchema", "true")
                    .set("dbName", "other.db")
                    .writeTo(dropping));
    EXPECT_TRUE(mFacade.readParameters(dropping));
    EXPECT_TRUE(mFacade.isDropSchema());
    EXPECT_EQ(mFacade.getDatabaseFolder(), mStore->loggerPath());
    EXPECT_EQ(mFacade.getDataFolder(), mStore->loggerPath() + QStringLiteral("/files"));
    EXPECT_FALSE(QFileInfo::exists(mStore->loggerPath() + QStringLiteral("/other.db")));
    EXPECT_FALSE(mFacade.readParameters(QString()));
}

TEST_F(DatabaseInterfaceTest, IsReadableComesFromTheSharedStateFileNotFromLoggerDb)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    EXPECT_TRUE(mFacade.isReadable());
    const QString flag =
        QDir(mStore->stateDirectory()).filePath(QString::fromLatin1(LoggerGlobalStates::kReadableFileName));

    // Another hand writes the flag: the answer follows the file while LoggerDb still says
    // readable.
    QFile file(flag);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write("0");
    file.close();
    EXPECT_FALSE(mFacade.isReadable());
    EXPECT_TRUE(db().isInitialized());
    EXPECT_EQ(accessGroup(db().getLoggerState()), LOGGER_STATE_LOGGERS_READABLE);

    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write("1");
    file.close();
    EXPECT_TRUE(mFacade.isReadable());

    ASSERT_TRUE(QFile::remove(flag));
    EXPECT_FALSE(mFacade.isReadable());
}

// --- The catalogue's share of the card -----------------------------------------------------------

TEST_F(DatabaseInterfaceTest, GetDatabaseSizeIsAPercentageOfTheCardNotBytes)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    TestLogger logger(QString::fromLatin1(kMeasureId), kBlockSize);
    ASSERT_TRUE(logger.initializeLogger());
    ASSERT_NE(writeItems(logger, testStartSecond(), 10), nullptr);

    LoggerMemoryInterface memory;
    memory.readDiskInfo();
    const double total = memory.getDiskInfo().total;
    const double bytes = static_cast<double>(QFileInfo(mStore->databaseFile()).size());
    const double block = memory.getBlockSize();
    ASSERT_GT(total, 0.0);
    ASSERT_GT(bytes, 0.0);

    const double percent = memory.getDatabaseSize();
    // The file's bytes, rounded up to the card's allocation block, in percent of the card.
    EXPECT_GE(percent, bytes / total * 100.0);
    EXPECT_LE(percent, (bytes + block) / total * 100.0);
    EXPECT_GT(percent, 0.0);
    EXPECT_LT(percent, 100.0);
    EXPECT_LT(percent, bytes);
}

// --- Group operations ------------------------------------------------------------------------------

TEST_F(DatabaseInterfaceTest, TheGroupCallsForwardToTheRegistry)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ProbeLogger logger;

    EXPECT_TRUE(mFacade.initializeLoggers());
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Initialize Loggers"))), 1);
    EXPECT_EQ(logger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);

    mFacade.setShouldStartLoggers(true);
    EXPECT_TRUE(LoggerList::shouldStartLoggers());
    EXPECT_EQ(
        LogCapture::count(listLine("INFO", QStringLiteral("LoggerList: Save Flag for starting Loggers : 1"))),
        1);

    EXPECT_TRUE(mFacade.startStopLoggers(true));
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("LoggerList: Start Loggers..."))), 1);
    EXPECT_TRUE(list().loggersStarted());
    EXPECT_TRUE(logger.isStarted());
    EXPECT_EQ(runGroup(mStore->readLoggerStateFile()), LOGGER_STATE_LOGGERS_STARTED);

    EXPECT_TRUE(mFacade.startStopLoggers(false));
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Stop Loggers"))), 1);
    EXPECT_FALSE(list().loggersStarted());
    EXPECT_FALSE(logger.isStarted());
    EXPECT_FALSE(mFacade.isInitialized());
    EXPECT_EQ(runGroup(mStore->readLoggerStateFile()), LOGGER_STATE_LOGGERS_STOPPED);
    EXPECT_TRUE(LoggerList::shouldStartLoggers());
}

TEST_F(DatabaseInterfaceTest, StoppingTwiceWarnsThatTheLoggersAreAlreadyStopped)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ProbeLogger logger;
    ASSERT_TRUE(mFacade.startStopLoggers(true));

    EXPECT_TRUE(mFacade.startStopLoggers(false));
    EXPECT_FALSE(LogCapture::contains(listLine("WARN", QStringLiteral("Loggers already stopped"))));
    EXPECT_TRUE(mFacade.startStopLoggers(false));
    EXPECT_EQ(LogCapture::count(listLine("WARN", QStringLiteral("Loggers already stopped"))), 1);
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Stop Loggers"))), 2);
    // The catalogue was closed by the first stop only.
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Stop Loggers: close database"))), 1);
    EXPECT_FALSE(logger.isStarted());
    EXPECT_EQ(runGroup(mStore->readLoggerStateFile()), LOGGER_STATE_LOGGERS_STOPPED);
}

// --- Readers ---------------------------------------------------------------------------------------

// Sees the writer's readable flag go to false and back to true by polling isReadable, with no
// other word from the writer. Prints "ready", "seen 0" and "seen 1" as it goes.
TEST(DatabaseInterfaceReaderChild, SeesTheReadableFlagChange)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of DatabaseInterfaceTest";
    ASSERT_TRUE(LogCapture::install());
    ReaderStore store;
    ASSERT_TRUE(store.start()) << LoggerDb::getInstance().getLastError().toStdString();
    DatabaseInterface facade;
    ASSERT_TRUE(facade.isReadable());
    std::cout << "ready" << std::endl;

    ASSERT_TRUE(waitFor([&facade] { return !facade.isReadable(); }, kWaitMs));
    // The reader's own catalogue was not touched: the flag alone told it.
    EXPECT_TRUE(facade.isInitialized());
    EXPECT_TRUE(facade.checkValidity());
    std::cout << "seen 0" << std::endl;

    ASSERT_TRUE(waitFor([&facade] { return facade.isReadable(); }, kWaitMs));
    EXPECT_TRUE(facade.isInitialized());
    std::cout << "seen 1" << std::endl;
}

// Reads the writer's means, prints "ready <items>", and after the line "reset" on its standard
// input answers as a store that is gone: not readable, not valid, no data. Prints "after".
TEST(DatabaseInterfaceReaderChild, OutlivesAFactoryReset)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of DatabaseInterfaceTest";
    ASSERT_TRUE(LogCapture::install());
    const int32_t first = qEnvironmentVariableIntValue(kFirstSecondVariable);
    ASSERT_GT(first, 0);
    ReaderStore store;
    ASSERT_TRUE(store.start()) << LoggerDb::getInstance().getLastError().toStdString();
    DatabaseInterface facade;
    std::unique_ptr<LoggerApiInterface> api(LoggerApiInterface::getApi());
    ASSERT_NE(api, nullptr);
    std::cout << "ready " << readMeans(*api, first) << std::endl;

    ASSERT_EQ(readLine(), "reset");
    EXPECT_FALSE(facade.isReadable());
    EXPECT_FALSE(facade.checkValidity());
    EXPECT_EQ(readMeans(*api, first), -1);
    timespec start{};
    timespec end{};
    EXPECT_FALSE(api->getTimeRange(LoggerType::CYCLIC, LoggerDataType::MEAN, QString::fromLatin1(kMeasureId),
                                   start, end));
    EXPECT_EQ(start.tv_sec, 0);
    std::cout << "after" << std::endl;
}

// Reads the writer's means and prints "before <items>"; after the line "deleted" prints
// "deleted <items>", after the line "rewritten" prints "rewritten <items>" (-1 for a null
// answer).
TEST(DatabaseInterfaceReaderChild, ReadsAcrossTheDeletionOfAllLoggers)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of DatabaseInterfaceTest";
    ASSERT_TRUE(LogCapture::install());
    const int32_t first = qEnvironmentVariableIntValue(kFirstSecondVariable);
    ASSERT_GT(first, 0);
    ReaderStore store;
    ASSERT_TRUE(store.start()) << LoggerDb::getInstance().getLastError().toStdString();
    std::unique_ptr<LoggerApiInterface> api(LoggerApiInterface::getApi());
    ASSERT_NE(api, nullptr);
    std::cout << "before " << readMeans(*api, first) << std::endl;

    ASSERT_EQ(readLine(), "deleted");
    EXPECT_TRUE(DatabaseInterface().isReadable());
    std::cout << "deleted " << readMeans(*api, first) << std::endl;

    ASSERT_EQ(readLine(), "rewritten");
    std::cout << "rewritten " << readMeans(*api, first) << std::endl;
}

TEST_F(DatabaseInterfaceTest, AReaderProcessSeesIsReadableChangeThroughTheStateFileAlone)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ChildTestProcess reader(QStringLiteral("DatabaseInterfaceReaderChild.SeesTheReadableFlagChange"));
    mStore->exportTo(reader);
    ASSERT_TRUE(reader.start());
    ASSERT_EQ(reader.waitForLine("ready", kWaitMs), QByteArray("ready")) << reader.report().toStdString();

    db().setReadable(false);
    EXPECT_EQ(reader.waitForLine("seen", kWaitMs), QByteArray("seen 0")) << reader.report().toStdString();
    db().setReadable(true);
    EXPECT_EQ(reader.waitForLine("seen", kWaitMs), QByteArray("seen 1")) << reader.report().toStdString();

    ASSERT_TRUE(reader.waitForFinished());
    EXPECT_TRUE(reader.passed()) << reader.report().toStdString();
}

TEST_F(DatabaseInterfaceTest, FactoryResetLeavesTheStoreStoppedNotReadableAndGoneWhileAReaderRunsOn)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ProbeLogger logger;
    ASSERT_TRUE(mFacade.initializeLoggers());
    mFacade.setShouldStartLoggers(true);
    ASSERT_TRUE(mFacade.startStopLoggers(true));
    const int32_t first = testStartSecond();
    ASSERT_NE(writeItems(logger, first, 5), nullptr);
    ASSERT_GT(filesBelow(mStore->dataFolderPath()), 0);

    ChildTestProcess reader(QStringLiteral("DatabaseInterfaceReaderChild.OutlivesAFactoryReset"));
    mStore->exportTo(reader);
    reader.setVariable(QString::fromLatin1(kFirstSecondVariable), QString::number(first));
    ASSERT_TRUE(reader.start());
    ASSERT_EQ(reader.waitForLine("ready", kWaitMs), QByteArray("ready 5")) << reader.report().toStdString();

    mFacade.factoryReset();
    reader.write("reset\n");

    // The loggers stopped first, while the store was still readable and the catalogue there.
    EXPECT_EQ(logger.mFlushes, 1);
    EXPECT_EQ(logger.mRunGroupAtFlush, LOGGER_STATE_LOGGERS_STOPPING);
    EXPECT_TRUE(logger.mReadableAtFlush);
    EXPECT_TRUE(logger.mCatalogueAtFlush);

    EXPECT_FALSE(logger.isStarted());
    EXPECT_FALSE(list().loggersStarted());
    EXPECT_FALSE(mFacade.isReadable());
    EXPECT_FALSE(LoggerGlobalStates::getInstance().isReadable());
    EXPECT_FALSE(QFileInfo::exists(mStore->databaseFile()));
    EXPECT_FALSE(QFileInfo::exists(mStore->dataFolderPath()));
    const LoggerState word = mStore->readLoggerStateFile();
    EXPECT_EQ(runGroup(word), LOGGER_STATE_LOGGERS_STOPPED);
    EXPECT_EQ(accessGroup(word), LOGGER_STATE_LOGGERS_NOT_READABLE);
    EXPECT_EQ(baseGroup(word), LOGGER_STATE_DISABLED);

    // Nothing of the facade brings the store back.
    EXPECT_FALSE(mFacade.checkValidity());
    EXPECT_FALSE(mFacade.isReadable());
    EXPECT_TRUE(mFacade.isSdcardMounted());
    EXPECT_EQ(mFacade.getLoggerState(), word);
    EXPECT_FALSE(mFacade.isInitialized());
    EXPECT_EQ(writeItems(logger, first + 10, 1), nullptr);
    EXPECT_FALSE(QFileInfo::exists(mStore->databaseFile()));
    EXPECT_FALSE(QFileInfo::exists(mStore->dataFolderPath()));

    EXPECT_EQ(reader.waitForLine("after", kWaitMs), QByteArray("after")) << reader.report().toStdString();
    ASSERT_TRUE(reader.waitForFinished());
    EXPECT_FALSE(reader.crashed());
    EXPECT_TRUE(reader.passed()) << reader.report().toStdString();
}

TEST_F(DatabaseInterfaceTest, DeleteAllLoggersEmptiesCatalogueAndCardAndTheLoggersStartAnewWhileAReaderRunsOn)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    StoreConfiguration configuration;
    ASSERT_TRUE(configuration.isValid());
    ProbeLogger logger;
    ProbeLogger other(QStringLiteral("mean_10s.signal_2.out.mean"));
    ASSERT_TRUE(mFacade.initializeLoggers());
    ASSERT_TRUE(mFacade.startStopLoggers(true));
    const int32_t first = testStartSecond();
    ASSERT_NE(writeItems(logger, first, 5), nullptr);
    ASSERT_NE(writeItems(other, first, 2), nullptr);
    const QString oldFile = currentDataFile(logger);
    ASSERT_GT(typeRows(), 0);
    ASSERT_GT(filesBelow(mStore->dataFolderPath()), 0);

    ChildTestProcess reader(
        QStringLiteral("DatabaseInterfaceReaderChild.ReadsAcrossTheDeletionOfAllLoggers"));
    mStore->exportTo(reader);
    reader.setVariable(QString::fromLatin1(kFirstSecondVariable), QString::number(first));
    ASSERT_TRUE(reader.start());
    ASSERT_EQ(reader.waitForLine("before", kWaitMs), QByteArray("before 5")) << reader.report().toStdString();

    EXPECT_TRUE(mFacade.deleteAllLoggers());
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Delete all Loggers"))), 1);
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Logger Pfad: ") + mStore->dataFolderPath())),
              1);
    EXPECT_TRUE(mFacade.isInitialized());
    EXPECT_EQ(typeRows(), 0);
    EXPECT_EQ(fileRows(), 0);
    EXPECT_EQ(filesBelow(mStore->dataFolderPath()), 0);
    EXPECT_EQ(resetGroup(mStore->readLoggerStateFile()), LOGGER_STATE_RESETTED);
    EXPECT_TRUE(list().contains(&logger));
    EXPECT_TRUE(list().contains(&other));
    EXPECT_FALSE(logger.isInitialized());
    EXPECT_EQ(writeItems(logger, first + 10, 1), nullptr);

    reader.write("deleted\n");
    EXPECT_EQ(reader.waitForLine("deleted", kWaitMs), QByteArray("deleted -1"))
        << reader.report().toStdString();

    // Initialized and started again, the loggers begin new files.
    ASSERT_TRUE(mFacade.initializeLoggers());
    ASSERT_TRUE(mFacade.startStopLoggers(true));
    EXPECT_EQ(logger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
    ASSERT_NE(writeItems(logger, first + 20, 3), nullptr);
    ASSERT_NE(writeItems(other, first + 20, 1), nullptr);
    const QString newFile = currentDataFile(logger);
    EXPECT_NE(newFile, oldFile);
    EXPECT_FALSE(QFileInfo::exists(oldFile));
    EXPECT_EQ(itemsInFile(newFile, kBlockSize), 3);
    EXPECT_EQ(itemsInCurrentFile(other), 1);

    reader.write("rewritten\n");
    EXPECT_EQ(reader.waitForLine("rewritten", kWaitMs), QByteArray("rewritten 3"))
        << reader.report().toStdString();
    ASSERT_TRUE(reader.waitForFinished());
    EXPECT_TRUE(reader.passed()) << reader.report().toStdString();
}

// LoggerList: the registry drives the writer's loggers as a group (open and close the catalogue,
// initialize, start, stop, close and reopen the files, delete) and posts the group's progress in
// the shared state word. The tests run on a simulated card with a real catalogue (WriterStore);
// readers are child processes of the same program (ReaderStore). Each test runs in a process of
// its own; the store's log lines of the process go to a file of the test (LogCapture).

#include "LoggerList.h"

#include "ChildTestProcess.h"
#include "ConfigurationText.h"
#include "Database.h"
#include "DatabaseInterface.h"
#include "FaultInjectingFileIo.h"
#include "FileHashes.h"
#include "LogCapture.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerFileSystem.h"
#include "LoggerGlobalStates.h"
#include "LoggerOperatorInterface.h"
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
#include <QMutex>
#include <QMutexLocker>
#include <QSemaphore>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int kBlockSize = static_cast<int>(sizeof(DataMean));
constexpr int kWaitMs = 10000;

QString listLine(const char* level, const QString& text)
{
    return QStringLiteral("Logger.List|") + QLatin1String(level) + QLatin1Char('|') + text;
}

QString dbLine(const char* level, const QString& text)
{
    return QStringLiteral("Logger.Db|") + QLatin1String(level) + QLatin1Char('|') + text;
}

// The refusal that LoggerDb logs for every state a reader tries to post.
const QString kReaderStateRefusal = dbLine(
    "ERROR",
    QStringLiteral(
        "Nur der Writer darf den Logger State vorgeben! Der Reader muss ihn vom GloablState beziehen!"));

// The state word as the shared state file holds it at this moment.
LoggerState sharedWord()
{
    return LoggerGlobalStates::getInstance().getLoggerState();
}

LoggerState runGroup(LoggerState word)
{
    return word & LOGGER_STATE_RUN_MASK;
}

LoggerState baseGroup(LoggerState word)
{
    return word & LOGGER_STATE_BASE_MASK;
}

LoggerState resetGroup(LoggerState word)
{
    return word & LOGGER_STATE_RESET_MASK;
}

// A measure logger that notes, each time the group reaches it, the state word that the shared
// file holds at that moment: when it is initialized (also from startLogger), when its file is
// flushed before closing (stopLogger, closeFile) and when its types are deleted. It counts its
// initializations and clock ticks, and may act right after initializing, as a card pulled or a
// catalogue lost in the middle of a group run.
class ProbeLogger : public TestLogger {
public:
    explicit ProbeLogger(const QString& idString, QStringList* order = nullptr)
        : TestLogger(idString, kBlockSize), mOrder(order)
    {
    }

    bool initializeLogger() override
    {
        if (mOrder != nullptr)
            mOrder->append(getConfiguratedMeasuredTypeId());
        ++mInitializations;
        mWordsAtInitialize.push_back(sharedWord());
        // Asking builds the operator log where it does not exist yet, and registers it.
        if (mNoteOperator)
            mOperatorRunningAtInitialize = LoggerOperatorInterface::isEnabled();
        const bool result = TestLogger::initializeLogger();
        if (mAfterInitialize)
            mAfterInitialize();
        return result;
    }
    bool flush() override
    {
        mWordsAtFlush.push_back(sharedWord());
        return TestLogger::flush();
    }
    bool deleteActualLogger(bool reinitialize) override
    {
        mWordsAtDelete.push_back(sharedWord());
        return TestLogger::deleteActualLogger(reinitialize);
    }
    void timerTick(timespec time) override
    {
        ++mTicks;
        mLastTick = time;
    }

    void setAfterInitialize(std::function<void()> action) { mAfterInitialize = std::move(action); }
    void noteOperator() { mNoteOperator = true; }

    int mInitializations = 0;
    int mTicks = 0;
    timespec mLastTick{};
    bool mOperatorRunningAtInitialize = false;
    std::vector<LoggerState> mWordsAtInitialize;
    std::vector<LoggerState> mWordsAtFlush;
    std::vector<LoggerState> mWordsAtDelete;

private:
    QStringList* mOrder;
    bool mNoteOperator = false;
    std::function<void()> mAfterInitialize;
};

// Every word that this process posts, in order, as the card client hands it on to the receivers
// of the process; from construction to destruction.
class PostedWords {
public:
    explicit PostedWords(LoggerSDCard* card)
        : mConnection(QObject::connect(card, &LoggerSDCard::loggerStateChanged, [this](LoggerState word) {
              QMutexLocker locker(&mMutex);
              mWords.push_back(word);
          }))
    {
    }
    ~PostedWords() { QObject::disconnect(mConnection); }
    PostedWords(const PostedWords&) = delete;
    PostedWords& operator=(const PostedWords&) = delete;

    std::vector<LoggerState> words() const
    {
        QMutexLocker locker(&mMutex);
        return mWords;
    }
    void clear()
    {
        QMutexLocker locker(&mMutex);
        mWords.clear();
    }
    // The values that the run group went through, a value that stays counted once.
    std::vector<LoggerState> runGroups() const
    {
        std::vector<LoggerState> runs;
        for (LoggerState word : words()) {
            if (runs.empty() || runs.back() != runGroup(word))
                runs.push_back(runGroup(word));
        }
        return runs;
    }

private:
    mutable QMutex mMutex;
    std::vector<LoggerState> mWords;
    QMetaObject::Connection mConnection;
};

// `count` items one second apart from `first`, appended to the logger's file.
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

// Type rows of the catalogue file, read through a connection of the test's own, so that the
// count works also while the store has the catalogue closed.
long long typeRowsInFile(const QString& catalogue)
{
    qzdb::Database database(catalogue.toStdString(), qzdb::Database::kOpenReadOnly);
    long long rows = 0;
    for (const char* table : {"DefnBaseType", "DefnMeasureType", "DefnOperatorType", "DefnEventType",
                              "DefnPqEventType", "DefnDisturbType"})
        rows += queryNumber(database, std::string("SELECT count(*) FROM \"") + table + "\"");
    return rows;
}

// The card as it is when its directories take no new entry: the files that exist open as
// before, and a file that would be made is refused as a full card refuses it (ENOSPC). A logger
// that must begin its first file meanwhile ends "logger failed". Refuses only while armed.
class NoNewFilesIo : public LoggerFileIo {
public:
    bool open(QFile& file, QIODevice::OpenMode mode) override
    {
        if (mRefusing && !QFileInfo::exists(file.fileName())) {
            errno = ENOSPC;
            return false;
        }
        return LoggerFileIo::open(file, mode);
    }
    void setRefusing(bool refusing) { mRefusing = refusing; }

private:
    std::atomic<bool> mRefusing{false};
};

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

// Qt's configuration folders (XDG_CONFIG_HOME, XDG_CONFIG_DIRS) in empty folders of the test:
// LoggerDb::initialize() finds no "database.xml" there, or the one that writeConfiguration puts.
class ConfigurationFolders {
public:
    ConfigurationFolders()
        : mHomeVariable("XDG_CONFIG_HOME", mHome.path()), mDirsVariable("XDG_CONFIG_DIRS", mDirs.path())
    {
    }
    bool isValid() const { return mHome.isValid() && mDirs.isValid(); }

private:
    QTemporaryDir mHome;
    QTemporaryDir mDirs;
    ScopedVariable mHomeVariable;
    ScopedVariable mDirsVariable;
};

class LoggerListTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(mLogCaptured); }

    // Brings the writer up on a simulated card; each test that needs a card calls it first.
    void startStore(const WriterStore::Options& options = WriterStore::Options())
    {
        mStore = std::make_unique<WriterStore>(options);
        ASSERT_TRUE(mStore->start()) << mStore->errorString().toStdString();
    }

    static LoggerList& list() { return *LoggerList::getInstance(); }
    static LoggerDb& db() { return LoggerDb::getInstance(); }

    // Before any member that logs: the store configures logging once per process.
    const bool mLogCaptured = LogCapture::install();
    std::unique_ptr<WriterStore> mStore;
};

} // namespace

// --- Opening and closing the catalogue ---------------------------------------------------------

TEST_F(LoggerListTest, OpenDatabaseWithoutACardClientLogsTheErrorAndRefuses)
{
    ASSERT_EQ(db().getLoggerSDCard(), nullptr);
    EXPECT_FALSE(LoggerList::openDatabase());
    EXPECT_EQ(LogCapture::count(listLine("ERROR", QStringLiteral("sdCard==nullptr"))), 1);
    EXPECT_FALSE(db().isInitialized());
    EXPECT_FALSE(LogCapture::contains(listLine("INFO", QStringLiteral("Initializes database"))));
}

TEST_F(LoggerListTest, OpenDatabaseOnAnUnmountedCardWarnsAndLeavesTheCatalogueClosed)
{
    WriterStore::Options options;
    options.cardState = SDC_UNMOUNTED;
    options.initialize = false;
    ASSERT_NO_FATAL_FAILURE(startStore(options));
    ASSERT_TRUE(DatabaseInterface().initializeSDCard());
    ASSERT_NE(db().getLoggerSDCard(), nullptr);

    EXPECT_FALSE(LoggerList::openDatabase());
    EXPECT_EQ(LogCapture::count(
                  listLine("WARN", QStringLiteral("SD-Card nicht gemountet, Logger werden nicht gestartet"))),
              1);
    EXPECT_FALSE(db().isInitialized());
    EXPECT_FALSE(QFileInfo::exists(mStore->databaseFile()));
}

TEST_F(LoggerListTest, OpenDatabaseOnAMountedCardOpensAClosedCatalogueOnce)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    db().close();
    ASSERT_FALSE(db().isInitialized());

    EXPECT_TRUE(LoggerList::openDatabase());
    EXPECT_TRUE(db().isInitialized());
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Initializes database"))), 1);

    // Open already: nothing to do, and still true.
    EXPECT_TRUE(LoggerList::openDatabase());
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Initializes database"))), 1);
}

TEST_F(LoggerListTest, CloseDatabaseClosesAnOpenCatalogueAndTellsWhetherItWasOpen)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    EXPECT_TRUE(LoggerList::closeDatabase());
    EXPECT_FALSE(db().isInitialized());
    EXPECT_EQ(baseGroup(mStore->readLoggerStateFile()), LOGGER_STATE_DISABLED);
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Close Database"))), 1);

    EXPECT_FALSE(LoggerList::closeDatabase());
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Close Database"))), 1);
}

// --- Initializing ----------------------------------------------------------------------------

TEST_F(LoggerListTest, InitializeLoggersOpensTheCatalogueInitializesEachInOrderAndPostsStartedAndInitialized)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    QStringList order;
    ProbeLogger first(QStringLiteral("first"), &order);
    ProbeLogger second(QStringLiteral("second"), &order);
    ProbeLogger third(QStringLiteral("third"), &order);
    db().close();

    EXPECT_TRUE(LoggerList::initializeLoggers());
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Initialize Loggers"))), 1);
    EXPECT_TRUE(db().isInitialized());
    EXPECT_EQ(order,
              (QStringList{QStringLiteral("first"), QStringLiteral("second"), QStringLiteral("third")}));
    for (ProbeLogger* logger : {&first, &second, &third}) {
        EXPECT_EQ(logger->getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED)
            << logger->getLoggerName().toStdString();
        EXPECT_TRUE(logger->isInitialized());
        EXPECT_TRUE(QFileInfo::exists(currentDataFile(*logger)));
        // Initializing is no start.
        EXPECT_FALSE(logger->isStarted());
    }
    EXPECT_EQ(list().getFailedLoggers(), 0);
    EXPECT_FALSE(list().loggersStarted());
    const LoggerState word = mStore->readLoggerStateFile();
    EXPECT_EQ(runGroup(word), LOGGER_STATE_LOGGERS_STARTED);
    EXPECT_EQ(baseGroup(word), LOGGER_STATE_LOGGER_INITIALIZED);
    EXPECT_FALSE(LogCapture::contains(dbLine("ERROR", QStringLiteral("failed loggers: 0"))));
}

TEST_F(LoggerListTest, InitializeLoggersWithAFailedLoggerPostsLoggerFailedAndCountsIt)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    NoNewFilesIo card;
    ScopedFileIo installed(&card);
    ProbeLogger good(QStringLiteral("good"));
    ASSERT_TRUE(good.initializeLogger());
    ProbeLogger blocked(QStringLiteral("blocked"));
    card.setRefusing(true);

    // Initializing answers by the loggers' states: each one's initializeLogger says true.
    EXPECT_TRUE(LoggerList::initializeLoggers());
    EXPECT_EQ(good.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
    EXPECT_EQ(blocked.getLoggerState(), LOGGER_STATE_LOGGER_FAILED);
    EXPECT_FALSE(blocked.isEnabled());
    EXPECT_EQ(list().getFailedLoggers(), 1);
    EXPECT_EQ(LogCapture::count(dbLine("ERROR", QStringLiteral("failed loggers: 1"))), 1)
        << LogCapture::text().toStdString();
    const LoggerState word = mStore->readLoggerStateFile();
    EXPECT_EQ(baseGroup(word), LOGGER_STATE_LOGGER_FAILED);
    EXPECT_EQ(runGroup(word), LOGGER_STATE_LOGGERS_STARTED);
}

TEST_F(LoggerListTest, GetFailedLoggersCountsTheLoggersInStateFailedAndNoOthers)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    NoNewFilesIo card;
    ScopedFileIo installed(&card);
    ProbeLogger good(QStringLiteral("good"));
    ProbeLogger firstBlocked(QStringLiteral("first blocked"));
    ProbeLogger secondBlocked(QStringLiteral("second blocked"));
    ProbeLogger disabled{QString()}; // no identification: disabled, not failed
    EXPECT_EQ(list().getFailedLoggers(), 0);

    ASSERT_TRUE(good.initializeLogger());
    ASSERT_TRUE(disabled.initializeLogger());
    card.setRefusing(true);
    EXPECT_EQ(disabled.getLoggerState(), LOGGER_STATE_DISABLED);
    EXPECT_EQ(list().getFailedLoggers(), 0);
    ASSERT_TRUE(firstBlocked.initializeLogger());
    EXPECT_EQ(list().getFailedLoggers(), 1);
    ASSERT_TRUE(secondBlocked.initializeLogger());
    EXPECT_EQ(list().getFailedLoggers(), 2);
}

// --- Starting ----------------------------------------------------------------------------------

TEST_F(LoggerListTest, StartLoggersStartsTheOperatorLogFirstThenEachLoggerAndPostsStartingThenStarted)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    QStringList order;
    ProbeLogger first(QStringLiteral("first"), &order);
    ProbeLogger second(QStringLiteral("second"), &order);
    first.noteOperator();
    second.noteOperator();
    db().close();

    EXPECT_TRUE(LoggerList::startLoggers());
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("LoggerList: Start Loggers..."))), 1);
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Initializes database"))), 1);
    EXPECT_FALSE(LogCapture::contains(listLine("ERROR", QStringLiteral("loggers already started"))));
    EXPECT_TRUE(db().isInitialized());
    EXPECT_TRUE(list().loggersStarted());
    EXPECT_TRUE(LoggerOperatorInterface::isEnabled());
    EXPECT_EQ(order, (QStringList{QStringLiteral("first"), QStringLiteral("second")}));
    for (ProbeLogger* logger : {&first, &second}) {
        EXPECT_TRUE(logger->isStarted());
        EXPECT_EQ(logger->getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
        // The operator log ran before the first logger, and the group was starting meanwhile.
        EXPECT_TRUE(logger->mOperatorRunningAtInitialize);
        ASSERT_EQ(logger->mWordsAtInitialize.size(), 1u);
        EXPECT_EQ(runGroup(logger->mWordsAtInitialize[0]), LOGGER_STATE_LOGGERS_STARTING);
    }
    const LoggerState word = mStore->readLoggerStateFile();
    EXPECT_EQ(runGroup(word), LOGGER_STATE_LOGGERS_STARTED);
    EXPECT_EQ(baseGroup(word), LOGGER_STATE_LOGGER_INITIALIZED);
    EXPECT_NE(writeItems(first, testStartSecond(), 3), nullptr);
    EXPECT_EQ(itemsInCurrentFile(first), 3);
}

TEST_F(LoggerListTest,
       StartLoggersTwiceLogsTheErrorAndRunsTheWholeStartAgainWhileEachStartedLoggerAnswersTrueAtOnce)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ProbeLogger first(QStringLiteral("first"));
    ProbeLogger second(QStringLiteral("second"));
    PostedWords posted(db().getLoggerSDCard());

    ASSERT_TRUE(LoggerList::startLoggers());
    ASSERT_NE(writeItems(first, testStartSecond(), 2), nullptr);
    const QString firstFile = currentDataFile(first);
    const QString secondFile = currentDataFile(second);
    const std::vector<LoggerState> firstRun = posted.words();
    posted.clear();

    EXPECT_TRUE(LoggerList::startLoggers());
    EXPECT_EQ(LogCapture::count(listLine("ERROR", QStringLiteral("loggers already started"))), 1);
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("LoggerList: Start Loggers..."))), 2);
    // The whole run again: starting, then the outcome of initializing and started.
    EXPECT_EQ(posted.words().size(), firstRun.size());
    EXPECT_EQ(posted.runGroups(),
              (std::vector<LoggerState>{LOGGER_STATE_LOGGERS_STARTING, LOGGER_STATE_LOGGERS_STARTED}));
    EXPECT_TRUE(list().loggersStarted());
    // A started logger answered true and nothing else happened: no new initialization, the
    // same open file, the items still there.
    for (ProbeLogger* logger : {&first, &second}) {
        EXPECT_EQ(logger->mInitializations, 1);
        EXPECT_TRUE(logger->isStarted());
        EXPECT_EQ(logger->getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
        EXPECT_FALSE(
            LogCapture::contains(listLine("WARN", logger->getLoggerName() + QStringLiteral(" not started"))));
    }
    EXPECT_EQ(currentDataFile(first), firstFile);
    EXPECT_EQ(currentDataFile(second), secondFile);
    EXPECT_EQ(itemsInCurrentFile(first), 2);

    EXPECT_TRUE(first.startLogger());
    EXPECT_EQ(first.mInitializations, 1);
    EXPECT_EQ(currentDataFile(first), firstFile);
    EXPECT_NE(writeItems(first, testStartSecond() + 10, 1), nullptr);
    EXPECT_EQ(itemsInCurrentFile(first), 3);
}

TEST_F(LoggerListTest, PullingTheCardDuringTheStartEndsTheRunAtTheNextLoggerAndTheGroupDoesNotCountAsStarted)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ProbeLogger pulling(QStringLiteral("pulling"));
    ProbeLogger next(QStringLiteral("next"));
    ProbeLogger last(QStringLiteral("last"));
    LoggerSDCard* card = DatabaseInterface().getLoggerSDCard();
    ASSERT_NE(card, nullptr);
    // The card goes while the first logger starts: the client's stored state says so at once.
    pulling.setAfterInitialize([card] { card->SetSdState(SDC_UNMOUNTED); });

    EXPECT_FALSE(LoggerList::startLoggers());
    EXPECT_EQ(LogCapture::count(listLine("ERROR", QStringLiteral("SD-Card not mounted"))), 1)
        << LogCapture::text().toStdString();
    EXPECT_FALSE(list().loggersStarted());
    EXPECT_EQ(runGroup(mStore->readLoggerStateFile()), LOGGER_STATE_LOGGERS_STARTING);
    // The logger started before the card went stays started; the run reached no other.
    EXPECT_TRUE(pulling.isStarted());
    EXPECT_EQ(pulling.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
    for (ProbeLogger* logger : {&next, &last}) {
        EXPECT_FALSE(logger->isStarted());
        EXPECT_EQ(logger->mInitializations, 0);
        EXPECT_EQ(logger->getLoggerState(), 0);
    }
    EXPECT_FALSE(
        LogCapture::contains(listLine("WARN", next.getLoggerName() + QStringLiteral(" not started"))));

    // The card service still reports the card mounted, so the next start reads it so and runs
    // to its end; it is no second start.
    pulling.setAfterInitialize(nullptr);
    EXPECT_TRUE(LoggerList::startLoggers());
    EXPECT_FALSE(LogCapture::contains(listLine("ERROR", QStringLiteral("loggers already started"))));
    EXPECT_TRUE(list().loggersStarted());
    EXPECT_EQ(runGroup(mStore->readLoggerStateFile()), LOGGER_STATE_LOGGERS_STARTED);
    EXPECT_EQ(pulling.mInitializations, 1);
    for (ProbeLogger* logger : {&next, &last}) {
        EXPECT_TRUE(logger->isStarted());
        EXPECT_EQ(logger->getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
    }
}

TEST_F(LoggerListTest, StartLoggersWithoutACardClientStartsNothing)
{
    LoggerDb::getInstance().setWriterMode(true);
    ProbeLogger logger(QStringLiteral("logger"));
    EXPECT_FALSE(LoggerList::startLoggers());
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("LoggerList: Start Loggers..."))), 1);
    EXPECT_EQ(LogCapture::count(listLine("ERROR", QStringLiteral("sdCard==nullptr"))), 1);
    EXPECT_FALSE(logger.isStarted());
    EXPECT_EQ(logger.mInitializations, 0);
    EXPECT_FALSE(list().loggersStarted());
}

TEST_F(LoggerListTest, StartLoggersOnAnUnmountedCardWarnsAndStartsNothing)
{
    WriterStore::Options options;
    options.cardState = SDC_NO_SDCARD;
    options.initialize = false;
    ASSERT_NO_FATAL_FAILURE(startStore(options));
    ASSERT_TRUE(DatabaseInterface().initializeSDCard());
    ProbeLogger logger(QStringLiteral("logger"));

    EXPECT_FALSE(LoggerList::startLoggers());
    EXPECT_EQ(LogCapture::count(
                  listLine("WARN", QStringLiteral("SD-Card nicht gemountet, Logger werden nicht gestartet"))),
              1);
    EXPECT_FALSE(logger.isStarted());
    EXPECT_FALSE(list().loggersStarted());
    EXPECT_FALSE(db().isInitialized());
    EXPECT_NE(runGroup(mStore->readLoggerStateFile()), LOGGER_STATE_LOGGERS_STARTING);
}

TEST_F(LoggerListTest, ALoggerThatDoesNotStartIsNamedInAWarningAndTheGroupStillCountsAsStarted)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ProbeLogger closing(QStringLiteral("closing"));
    ProbeLogger stranded(QStringLiteral("stranded"));
    // The catalogue goes down while the first logger starts: the next one cannot start.
    closing.setAfterInitialize([] { LoggerDb::getInstance().close(); });

    EXPECT_FALSE(LoggerList::startLoggers());
    EXPECT_EQ(LogCapture::count(listLine("WARN", QStringLiteral("TestLogger stranded not started"))), 1)
        << LogCapture::text().toStdString();
    EXPECT_FALSE(LogCapture::contains(listLine("WARN", QStringLiteral("TestLogger closing not started"))));
    EXPECT_FALSE(LogCapture::contains(listLine("WARN", QStringLiteral("Operator Logger not started"))));
    EXPECT_TRUE(closing.isStarted());
    EXPECT_FALSE(stranded.isStarted());
    EXPECT_TRUE(list().loggersStarted());
    EXPECT_EQ(runGroup(mStore->readLoggerStateFile()), LOGGER_STATE_LOGGERS_STARTED);
}

// --- Stopping ----------------------------------------------------------------------------------

TEST_F(LoggerListTest, StopLoggersStopsEachLoggerClosesTheCatalogueAndPostsStoppingThenStopped)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ProbeLogger first(QStringLiteral("first"));
    ProbeLogger second(QStringLiteral("second"));
    ASSERT_TRUE(LoggerList::startLoggers());
    ASSERT_NE(writeItems(first, testStartSecond(), 2), nullptr);

    EXPECT_TRUE(LoggerList::stopLoggers());
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Stop Loggers"))), 1);
    EXPECT_FALSE(LogCapture::contains(listLine("WARN", QStringLiteral("Loggers already stopped"))));
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Stop Loggers: close database"))), 1);
    EXPECT_EQ(LogCapture::count(listLine(
                  "INFO", QStringLiteral("LoggerList, Stop Loggers: Flag for starting Loggers = 0"))),
              1);
    for (ProbeLogger* logger : {&first, &second}) {
        EXPECT_FALSE(logger->isStarted());
        EXPECT_FALSE(logger->isEnabled());
        EXPECT_EQ(logger->getLoggerState(), LOGGER_STATE_DISABLED);
        ASSERT_FALSE(logger->mWordsAtFlush.empty());
        EXPECT_EQ(runGroup(logger->mWordsAtFlush.back()), LOGGER_STATE_LOGGERS_STOPPING);
    }
    EXPECT_FALSE(LoggerOperatorInterface::isEnabled());
    EXPECT_FALSE(db().isInitialized());
    EXPECT_FALSE(list().loggersStarted());
    EXPECT_EQ(runGroup(mStore->readLoggerStateFile()), LOGGER_STATE_LOGGERS_STOPPED);
    // A stopped logger takes nothing.
    EXPECT_EQ(writeItems(first, testStartSecond() + 10, 1), nullptr);
    EXPECT_EQ(itemsInCurrentFile(first), 2);
}

TEST_F(LoggerListTest, StopLoggersKeepsTheWishToStartAndNamesItsFlag)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    list().setShouldStartLoggers(true);
    ASSERT_TRUE(LoggerList::startLoggers());

    EXPECT_TRUE(LoggerList::stopLoggers());
    EXPECT_EQ(LogCapture::count(listLine(
                  "INFO", QStringLiteral("LoggerList, Stop Loggers: Flag for starting Loggers = 1"))),
              1);
    EXPECT_TRUE(LoggerList::shouldStartLoggers());
}

TEST_F(LoggerListTest, StopLoggersWhenNotStartedWarnsAndStopsAllTheSame)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ProbeLogger logger(QStringLiteral("logger"));
    ASSERT_TRUE(logger.startLogger());

    EXPECT_TRUE(LoggerList::stopLoggers());
    EXPECT_EQ(LogCapture::count(listLine("WARN", QStringLiteral("Loggers already stopped"))), 1);
    EXPECT_FALSE(logger.isStarted());
    EXPECT_FALSE(db().isInitialized());
    EXPECT_EQ(runGroup(mStore->readLoggerStateFile()), LOGGER_STATE_LOGGERS_STOPPED);
}

TEST_F(LoggerListTest, SetShouldStartLoggersLogsTheFlagAndShouldStartLoggersReadsIt)
{
    EXPECT_FALSE(LoggerList::shouldStartLoggers());
    list().setShouldStartLoggers(true);
    EXPECT_TRUE(LoggerList::shouldStartLoggers());
    EXPECT_EQ(
        LogCapture::count(listLine("INFO", QStringLiteral("LoggerList: Save Flag for starting Loggers : 1"))),
        1);
    list().setShouldStartLoggers(false);
    EXPECT_FALSE(LoggerList::shouldStartLoggers());
    EXPECT_EQ(
        LogCapture::count(listLine("INFO", QStringLiteral("LoggerList: Save Flag for starting Loggers : 0"))),
        1);
}

// --- Closing and reopening the files -----------------------------------------------------------

TEST_F(LoggerListTest, CloseFilesThenReOpenFilesResumesWritingIntoTheSameFile)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ProbeLogger first(QStringLiteral("first"));
    ProbeLogger second(QStringLiteral("second"));
    ASSERT_TRUE(LoggerList::initializeLoggers());
    const int32_t start = testStartSecond();
    ASSERT_NE(writeItems(first, start, 3), nullptr);
    ASSERT_NE(writeItems(second, start, 2), nullptr);
    const QString firstFile = currentDataFile(first);
    const QString secondFile = currentDataFile(second);

    list().closeFiles();
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Close logger files and DB"))), 1);
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Close files: close database"))), 1);
    EXPECT_FALSE(db().isInitialized());
    EXPECT_EQ(first.getLoggerState(), LOGGER_STATE_DISABLED);
    EXPECT_EQ(writeItems(first, start + 10, 1), nullptr);
    EXPECT_EQ(itemsInFile(firstFile, kBlockSize), 3);

    EXPECT_TRUE(list().reOpenFiles(false));
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Open DB and logger files"))), 1);
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("reopen Files succeeded"))), 1);
    EXPECT_TRUE(db().isInitialized());
    const LoggerState word = mStore->readLoggerStateFile();
    EXPECT_EQ(baseGroup(word), LOGGER_STATE_LOGGER_INITIALIZED);
    // Opening the catalogue began the word anew, and without the announcement nothing posts
    // the run group.
    EXPECT_EQ(runGroup(word), 0);
    for (ProbeLogger* logger : {&first, &second}) {
        EXPECT_EQ(logger->getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
        EXPECT_EQ(logger->mInitializations, 1);
    }

    ASSERT_NE(writeItems(first, start + 10, 2), nullptr);
    ASSERT_NE(writeItems(second, start + 10, 1), nullptr);
    EXPECT_EQ(currentDataFile(first), firstFile);
    EXPECT_EQ(currentDataFile(second), secondFile);
    EXPECT_EQ(itemsInFile(firstFile, kBlockSize), 5);
    EXPECT_EQ(itemsInFile(secondFile, kBlockSize), 3);
}

TEST_F(LoggerListTest, ReOpenFilesWithTheAnnouncementPostsStoppedOnTheWay)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ProbeLogger logger(QStringLiteral("logger"));
    ASSERT_TRUE(LoggerList::startLoggers());
    list().closeFiles();
    PostedWords posted(db().getLoggerSDCard());

    EXPECT_TRUE(list().reOpenFiles(true));
    const std::vector<LoggerState> words = posted.words();
    ASSERT_GE(words.size(), 2u);
    EXPECT_EQ(runGroup(words[words.size() - 2]), LOGGER_STATE_LOGGERS_STOPPED);
    const LoggerState word = mStore->readLoggerStateFile();
    EXPECT_EQ(words.back(), word);
    EXPECT_EQ(runGroup(word), LOGGER_STATE_LOGGERS_STOPPED);
    EXPECT_EQ(baseGroup(word), LOGGER_STATE_LOGGER_INITIALIZED);
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("reopen Files succeeded"))), 1);
}

TEST_F(LoggerListTest, ReOpenFilesFailsWhileALoggerIsFailedAndSucceedsOnceItCanMakeItsFile)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    NoNewFilesIo card;
    ScopedFileIo installed(&card);
    ProbeLogger good(QStringLiteral("good"));
    ASSERT_TRUE(good.initializeLogger());
    ProbeLogger blocked(QStringLiteral("blocked"));
    card.setRefusing(true);
    ASSERT_TRUE(LoggerList::initializeLoggers());
    ASSERT_EQ(list().getFailedLoggers(), 1);
    list().closeFiles();

    EXPECT_FALSE(list().reOpenFiles(false));
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("reopen Files failed"))), 1);
    EXPECT_FALSE(LogCapture::contains(listLine("INFO", QStringLiteral("reopen Files succeeded"))));
    EXPECT_EQ(baseGroup(mStore->readLoggerStateFile()), LOGGER_STATE_LOGGER_FAILED);
    EXPECT_EQ(good.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
    EXPECT_EQ(blocked.getLoggerState(), LOGGER_STATE_LOGGER_FAILED);

    // The card takes new files again: the failed logger makes its file, and the group reopens.
    card.setRefusing(false);
    list().closeFiles();
    EXPECT_TRUE(list().reOpenFiles(false));
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("reopen Files succeeded"))), 1);
    EXPECT_EQ(list().getFailedLoggers(), 0);
    EXPECT_EQ(blocked.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
    EXPECT_EQ(baseGroup(mStore->readLoggerStateFile()), LOGGER_STATE_LOGGER_INITIALIZED);
}

TEST_F(LoggerListTest, ReOpenFilesWhileTheFilesAreOpenFails)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ProbeLogger logger(QStringLiteral("logger"));
    ASSERT_TRUE(LoggerList::initializeLoggers());

    EXPECT_FALSE(list().reOpenFiles(false));
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("reopen Files failed"))), 1);
    EXPECT_EQ(baseGroup(mStore->readLoggerStateFile()), LOGGER_STATE_LOGGER_FAILED);
    // The logger itself is untouched and goes on writing.
    EXPECT_EQ(logger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
    EXPECT_NE(writeItems(logger, testStartSecond(), 1), nullptr);
}

// --- The clock tick ----------------------------------------------------------------------------

TEST_F(LoggerListTest, TimerTickReachesEveryLoggerAlsoWhileAGroupOperationRuns)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ProbeLogger first(QStringLiteral("first"));
    ProbeLogger holding(QStringLiteral("holding"));
    ProbeLogger third(QStringLiteral("third"));
    QSemaphore entered;
    QSemaphore release;
    // Initializing the group stops in the middle, with the registry's lock held, until the
    // test lets it go on.
    holding.setAfterInitialize([&entered, &release] {
        entered.release();
        release.tryAcquire(1, kWaitMs);
    });
    bool initialized = false;
    std::thread group([&initialized] { initialized = LoggerList::initializeLoggers(); });
    const bool inTheMiddle = entered.tryAcquire(1, kWaitMs);

    const timespec tick{1763802000, 250000000};
    list().timerTick(tick);
    release.release();
    group.join();
    ASSERT_TRUE(inTheMiddle);
    EXPECT_TRUE(initialized);
    for (ProbeLogger* logger : {&first, &holding, &third}) {
        EXPECT_EQ(logger->mTicks, 1) << logger->getLoggerName().toStdString();
        EXPECT_EQ(logger->mLastTick.tv_sec, tick.tv_sec);
        EXPECT_EQ(logger->mLastTick.tv_nsec, tick.tv_nsec);
    }
    // The tick came while the third logger had not been initialized yet.
    EXPECT_EQ(third.mInitializations, 1);

    list().timerTick(tick);
    for (ProbeLogger* logger : {&first, &holding, &third})
        EXPECT_EQ(logger->mTicks, 2);
}

// --- Deleting ------------------------------------------------------------------------------------

TEST_F(LoggerListTest, DeleteAllLoggersWithoutReinitializingClearsTypesAndFilesAndLeavesTheCatalogueClosed)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ProbeLogger first(QStringLiteral("first"));
    ProbeLogger second(QStringLiteral("second"));
    ASSERT_TRUE(LoggerList::initializeLoggers());
    ASSERT_NE(writeItems(first, testStartSecond(), 3), nullptr);
    ASSERT_EQ(typeRowsInFile(mStore->databaseFile()), 2);
    ASSERT_EQ(filesBelow(mStore->dataFolderPath()), 2);

    EXPECT_TRUE(list().deleteAllLoggers(false));
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Delete all Loggers"))), 1);
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Logger Pfad: ") + mStore->dataFolderPath())),
              1);
    EXPECT_FALSE(
        LogCapture::contains(listLine("INFO", QStringLiteral("Logger DB wird zuerst initialisiert"))));
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Delete Loggers: close database"))), 1);
    for (ProbeLogger* logger : {&first, &second}) {
        ASSERT_EQ(logger->mWordsAtDelete.size(), 1u);
        EXPECT_EQ(resetGroup(logger->mWordsAtDelete[0]), LOGGER_STATE_RESETTING);
        EXPECT_FALSE(logger->isInitialized());
        EXPECT_TRUE(list().contains(logger));
    }
    EXPECT_FALSE(db().isInitialized());
    EXPECT_EQ(typeRowsInFile(mStore->databaseFile()), 0);
    EXPECT_EQ(filesBelow(mStore->dataFolderPath()), 0);
    EXPECT_EQ(resetGroup(mStore->readLoggerStateFile()), LOGGER_STATE_RESETTED);
}

TEST_F(LoggerListTest, DeleteAllLoggersOpensAClosedCatalogueFromTheConfigurationFirst)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ConfigurationFolders folders;
    ASSERT_TRUE(folders.isValid());
    ASSERT_TRUE(ConfigurationText()
                    .without("targetPath")
                    .set("fileDir", WriterStore::kDataFolder)
                    .set("dbName", WriterStore::kDbName)
                    .writeTo(qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/database.xml")));
    ProbeLogger logger(QStringLiteral("logger"));
    ASSERT_TRUE(LoggerList::initializeLoggers());
    ASSERT_TRUE(LoggerList::closeDatabase());

    EXPECT_TRUE(list().deleteAllLoggers(true));
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Logger DB wird zuerst initialisiert"))), 1);
    EXPECT_FALSE(
        LogCapture::contains(listLine("WARN", QStringLiteral("Logger DB kann nicht initialisiert werden"))));
    ASSERT_EQ(logger.mWordsAtDelete.size(), 1u);
    EXPECT_EQ(resetGroup(logger.mWordsAtDelete[0]), LOGGER_STATE_RESETTING);
    EXPECT_TRUE(db().isInitialized());
    EXPECT_EQ(typeRowsInFile(mStore->databaseFile()), 0);
    EXPECT_EQ(filesBelow(mStore->dataFolderPath()), 0);
    EXPECT_EQ(resetGroup(mStore->readLoggerStateFile()), LOGGER_STATE_RESETTED);
}

TEST_F(LoggerListTest, DeleteAllLoggersWithoutACatalogueWarnsKeepsTheTypesAndStillRemovesTheFiles)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ConfigurationFolders folders; // and no "database.xml" in them
    ASSERT_TRUE(folders.isValid());
    ProbeLogger logger(QStringLiteral("logger"));
    ASSERT_TRUE(LoggerList::initializeLoggers());
    ASSERT_TRUE(LoggerList::closeDatabase());
    ASSERT_EQ(filesBelow(mStore->dataFolderPath()), 1);

    EXPECT_FALSE(list().deleteAllLoggers(true));
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Logger DB wird zuerst initialisiert"))), 1);
    EXPECT_EQ(
        LogCapture::count(listLine("WARN", QStringLiteral("Logger DB kann nicht initialisiert werden"))), 1);
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Delete Loggers: close database"))), 1);
    // No logger was asked to delete its types: they are still in the catalogue.
    EXPECT_TRUE(logger.mWordsAtDelete.empty());
    EXPECT_TRUE(logger.isInitialized());
    EXPECT_EQ(typeRowsInFile(mStore->databaseFile()), 1);
    EXPECT_EQ(filesBelow(mStore->dataFolderPath()), 0);
    EXPECT_FALSE(db().isInitialized());
    EXPECT_EQ(resetGroup(mStore->readLoggerStateFile()), LOGGER_STATE_RESETTED);
}

// --- Readers -------------------------------------------------------------------------------------

// A reader process: reOpenFiles is refused, nothing is opened.
TEST(LoggerListReaderChild, IsRefusedToReopenTheLoggerFiles)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of LoggerListTest";
    ASSERT_TRUE(LogCapture::install());
    ReaderStore store;
    ASSERT_TRUE(store.start()) << LoggerDb::getInstance().getLastError().toStdString();
    LoggerDb::getInstance().close();
    ProbeLogger logger(QStringLiteral("written by the parent"));

    EXPECT_FALSE(LoggerList::getInstance()->reOpenFiles(true));
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Open DB and logger files"))), 1);
    EXPECT_EQ(LogCapture::count(
                  listLine("ERROR", QStringLiteral("Nur der Writer darf die Loggerdateien direkt oeffnen"))),
              1)
        << LogCapture::text().toStdString();
    EXPECT_FALSE(LoggerDb::getInstance().isInitialized());
    EXPECT_EQ(logger.mInitializations, 0);
    EXPECT_FALSE(logger.isEnabled());
    EXPECT_FALSE(LogCapture::contains(listLine("INFO", QStringLiteral("reopen Files succeeded"))));
    EXPECT_FALSE(LogCapture::contains(listLine("INFO", QStringLiteral("reopen Files failed"))));
}

// A reader process runs each group operation of the writer: each gives its answer and its texts,
// those that would open, write or remove the data files are refused, the states that it would
// post are refused, and nothing crashes.
TEST(LoggerListReaderChild, RunsTheGroupOperationsAsAReader)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of LoggerListTest";
    ASSERT_TRUE(LogCapture::install());
    ReaderStore store;
    ASSERT_TRUE(store.start()) << LoggerDb::getInstance().getLastError().toStdString();
    LoggerDb& db = LoggerDb::getInstance();
    LoggerList& list = *LoggerList::getInstance();
    const LoggerState writersWord = LoggerGlobalStates::getInstance().getLoggerState();

    EXPECT_TRUE(LoggerList::openDatabase());
    EXPECT_FALSE(LogCapture::contains(listLine("INFO", QStringLiteral("Initializes database"))));

    EXPECT_TRUE(LoggerList::closeDatabase());
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Close Database"))), 1);
    EXPECT_FALSE(db.isInitialized());
    EXPECT_FALSE(LoggerList::closeDatabase());

    EXPECT_TRUE(LoggerList::openDatabase());
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Initializes database"))), 1);
    EXPECT_TRUE(db.isInitialized());

    list.setShouldStartLoggers(true);
    EXPECT_TRUE(LoggerList::shouldStartLoggers());

    // Only the writer opens, writes and removes the data files: a reader is refused to initialize,
    // start or delete the loggers, each with the same text.
    const QString refusal =
        listLine("ERROR", QStringLiteral("Nur der Writer darf die Loggerdateien direkt oeffnen"));
    EXPECT_FALSE(LoggerList::initializeLoggers());
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Initialize Loggers"))), 1);
    EXPECT_EQ(LogCapture::count(refusal), 1);
    EXPECT_FALSE(LoggerList::startLoggers());
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("LoggerList: Start Loggers..."))), 1);
    EXPECT_EQ(LogCapture::count(refusal), 2);
    EXPECT_FALSE(list.loggersStarted());
    EXPECT_FALSE(list.deleteAllLoggers(true));
    EXPECT_EQ(LogCapture::count(refusal), 3);
    EXPECT_FALSE(LogCapture::contains(listLine("INFO", QStringLiteral("Delete all Loggers"))));
    EXPECT_TRUE(db.isInitialized());

    list.closeFiles();
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Close logger files and DB"))), 1);
    EXPECT_FALSE(db.isInitialized());

    EXPECT_FALSE(list.reOpenFiles(false));
    EXPECT_EQ(LogCapture::count(refusal), 4);

    EXPECT_TRUE(LoggerList::openDatabase());
    EXPECT_TRUE(LoggerList::stopLoggers());
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Stop Loggers"))), 1);
    EXPECT_EQ(LogCapture::count(listLine("WARN", QStringLiteral("Loggers already stopped"))), 1);
    EXPECT_EQ(LogCapture::count(listLine("INFO", QStringLiteral("Stop Loggers: close database"))), 1);
    EXPECT_FALSE(db.isInitialized());
    EXPECT_FALSE(list.loggersStarted());
    EXPECT_TRUE(LoggerList::stopLoggers());
    EXPECT_EQ(LogCapture::count(listLine("WARN", QStringLiteral("Loggers already stopped"))), 2);

    // Every state the reader would have posted was refused, the group's steps among them; the
    // writer's word stands.
    int attempts = 0;
    for (const QString& line : LogCapture::lines()) {
        if (line.startsWith(dbLine("INFO", QStringLiteral("Versucht Logger State zu setzen : "))))
            ++attempts;
    }
    EXPECT_GT(attempts, 0);
    EXPECT_EQ(LogCapture::count(kReaderStateRefusal), attempts);
    for (LoggerState step : {LOGGER_STATE_LOGGERS_STOPPING, LOGGER_STATE_LOGGERS_STOPPED})
        EXPECT_TRUE(LogCapture::contains(
            dbLine("INFO", QStringLiteral("Versucht Logger State zu setzen : ") + QString::number(step))))
            << step;
    EXPECT_EQ(LoggerGlobalStates::getInstance().getLoggerState(), writersWord);
}

class LoggerListReaderTest : public LoggerListTest {
protected:
    void SetUp() override
    {
        LoggerListTest::SetUp();
        ASSERT_NO_FATAL_FAILURE(startStore());
    }
};

TEST_F(LoggerListReaderTest, ReOpenFilesInAReaderProcessLogsTheRefusalAndReturnsFalse)
{
    ProbeLogger logger(QStringLiteral("written by the parent"));
    ASSERT_TRUE(LoggerList::initializeLoggers());
    ASSERT_NE(writeItems(logger, testStartSecond(), 2), nullptr);
    list().closeFiles();
    const std::map<QString, QByteArray> before = fileHashesBelow(mStore->dataFolderPath());
    const LoggerState word = mStore->readLoggerStateFile();

    ChildTestProcess reader(QStringLiteral("LoggerListReaderChild.IsRefusedToReopenTheLoggerFiles"));
    mStore->exportTo(reader);
    ASSERT_TRUE(reader.run());
    EXPECT_TRUE(reader.passed()) << reader.report().toStdString();
    EXPECT_EQ(fileHashesBelow(mStore->dataFolderPath()), before);
    EXPECT_EQ(mStore->readLoggerStateFile(), word);
}

TEST_F(LoggerListReaderTest, TheGroupOperationsInAReaderProcessGiveTheirAnswersAndLeaveTheWritersStoreAlone)
{
    ProbeLogger logger(QStringLiteral("written by the parent"));
    ASSERT_TRUE(LoggerList::startLoggers());
    ASSERT_NE(writeItems(logger, testStartSecond(), 2), nullptr);
    const std::map<QString, QByteArray> before = fileHashesBelow(mStore->dataFolderPath());
    ASSERT_EQ(before.size(), 2u); // the logger's file and the operator log's
    const QByteArray catalogue = fileHash(mStore->databaseFile());
    const LoggerState word = mStore->readLoggerStateFile();

    ChildTestProcess reader(QStringLiteral("LoggerListReaderChild.RunsTheGroupOperationsAsAReader"));
    mStore->exportTo(reader);
    ASSERT_TRUE(reader.run());
    EXPECT_TRUE(reader.passed()) << reader.report().toStdString();

    EXPECT_EQ(fileHashesBelow(mStore->dataFolderPath()), before);
    EXPECT_EQ(fileHash(mStore->databaseFile()), catalogue);
    EXPECT_EQ(mStore->readLoggerStateFile(), word);
    // The writer goes on.
    EXPECT_NE(writeItems(logger, testStartSecond() + 10, 1), nullptr);
    EXPECT_EQ(itemsInCurrentFile(logger), 3);
}

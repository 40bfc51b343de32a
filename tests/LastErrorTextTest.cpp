// Every failure of the public surface leaves a last error that names its object (a path, an
// identification, a range, a data type) and says what to do. Each case clears the kept error
// first, so that a text left by an earlier step cannot pass for the answer of this one.

#include "DatabaseInterface.h"
#include "LogCapture.h"
#include "LoggerApi.h"
#include "LoggerApiInterface.h"
#include "LoggerDb.h"
#include "LoggerEventAlarm.h"
#include "LoggerOperatorInterface.h"
#include "TestLogger.h"
#include "WriterStore.h"

#include <QDir>
#include <QFileInfo>
#include <QString>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace {

timespec makeTime(int64_t seconds, int64_t nanoSeconds)
{
    timespec time{};
    time.tv_sec = static_cast<time_t>(seconds);
    time.tv_nsec = static_cast<long>(nanoSeconds);
    return time;
}

// 2026-01-01T00:00:00Z and one day later.
const timespec kStart = makeTime(1767225600, 0);
const timespec kEnd = makeTime(1767312000, 0);

void clearLastError()
{
    LoggerDb::getInstance().getAndResetLastError();
}

// The text a host reads after the failure: LoggerApiInterface::getLastError, which clears it.
::testing::AssertionResult namesObject(const QString& text, const QString& object)
{
    if (text.isEmpty())
        return ::testing::AssertionFailure()
               << "the last error is empty; expected it to name " << qPrintable(object);
    if (!text.contains(object))
        return ::testing::AssertionFailure()
               << "the last error \"" << qPrintable(text) << "\" does not name " << qPrintable(object);
    return ::testing::AssertionSuccess();
}

} // namespace

class LastErrorTextTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(LogCapture::install());
        clearLastError();
    }
};

// --- the read API ------------------------------------------------------------------------------

TEST_F(LastErrorTextTest, AReadBeforeAnyWriterNamesTheProcessIdFile)
{
    QTemporaryDir state;
    ASSERT_TRUE(state.isValid());
    const QString pidFile = state.filePath(QStringLiteral("writer.pid"));
    qputenv("QZLOGGER_PID_FILE", pidFile.toUtf8());
    LoggerDb::getInstance().setWriterMode(false);

    LoggerApi api;
    EXPECT_EQ(api.getMeanValues(QStringLiteral("rms.u1"), kStart, kEnd), nullptr);
    EXPECT_TRUE(namesObject(LoggerApiInterface::getLastError(), pidFile));
    EXPECT_EQ(api.getNumberOfOpenedFiles(), -1);
    const QString text = LoggerApiInterface::getLastError();
    EXPECT_TRUE(namesObject(text, pidFile));
    EXPECT_TRUE(text.contains(QStringLiteral("start the writer first"))) << text.toStdString();
    qunsetenv("QZLOGGER_PID_FILE");
}

TEST_F(LastErrorTextTest, EveryFailedReadOnAStoreNamesItsObject)
{
    WriterStore store;
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    TestLogger logger(QStringLiteral("err.mean"), static_cast<int>(sizeof(DataMean)));
    ASSERT_TRUE(logger.initializeLogger()) << LoggerDb::getInstance().getLastError().toStdString();
    LoggerApi api;

    // An unknown identification.
    clearLastError();
    EXPECT_EQ(api.getMeanValues(QStringLiteral("no.such.logger"), kStart, kEnd), nullptr);
    QString text = LoggerApiInterface::getLastError();
    EXPECT_TRUE(namesObject(text, QStringLiteral("'no.such.logger'")));
    EXPECT_TRUE(namesObject(text, QStringLiteral("CYCLIC/MEAN")));

    // A catalogue id that the catalogue does not hold.
    clearLastError();
    EXPECT_EQ(api.getVtqValues(987654, kStart, kEnd), nullptr);
    EXPECT_TRUE(namesObject(LoggerApiInterface::getLastError(), QStringLiteral("987654")));

    // The getter of another data type than the logger's.
    clearLastError();
    EXPECT_EQ(api.getVtqValues(QStringLiteral("err.mean"), kStart, kEnd), nullptr);
    text = LoggerApiInterface::getLastError();
    EXPECT_TRUE(namesObject(text, QStringLiteral("'err.mean'")));
    EXPECT_TRUE(namesObject(text, QStringLiteral("MEAN records, not VTQ")));

    // A reversed range: the answer is the read's as before, the text names both ends.
    clearLastError();
    api.getMeanValues(QStringLiteral("err.mean"), kEnd, kStart);
    text = LoggerApiInterface::getLastError();
    EXPECT_TRUE(namesObject(text, QStringLiteral("2026-01-02T00:00:00Z to 2026-01-01T00:00:00Z")));
    EXPECT_TRUE(namesObject(text, QStringLiteral("reversed")));

    // A range without data is no failure: an empty result, and no text.
    clearLastError();
    const PtrLoggerResultMean empty = api.getMeanValues(QStringLiteral("err.mean"), kStart, kEnd);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(empty->mNumItems, 0);
    EXPECT_EQ(LoggerApiInterface::getLastError(), QString());
}

TEST_F(LastErrorTextTest, CatalogueQueriesAndExportsNameTheirObject)
{
    WriterStore store;
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    TestLogger logger(QStringLiteral("err.export"), static_cast<int>(sizeof(DataMean)));
    ASSERT_TRUE(logger.startLogger()) << LoggerDb::getInstance().getLastError().toStdString();
    std::vector<DataMean> means(3);
    for (size_t index = 0; index < means.size(); ++index)
        means[index].utc =
            DataTimespec{static_cast<int32_t>(kStart.tv_sec + 60 * static_cast<long>(index)), 0};
    ASSERT_NE(logger.writeDatas(reinterpret_cast<const char*>(means.data()), 3, true, true), nullptr);
    ASSERT_TRUE(logger.updateAccess());
    LoggerApi api;

    // A time range of an unknown identification: the arguments stay, the text names the id.
    clearLastError();
    timespec start = kStart;
    timespec end = kEnd;
    EXPECT_FALSE(api.getTimeRange(LoggerType::CYCLIC, LoggerDataType::MEAN, QStringLiteral("no.such.logger"),
                                  start, end));
    EXPECT_TRUE(namesObject(LoggerApiInterface::getLastError(), QStringLiteral("'no.such.logger'")));

    // Descriptions of an unknown identification.
    clearLastError();
    EXPECT_TRUE(api.getMeanMeasTypes(QStringLiteral("no.such.logger")).empty());
    EXPECT_TRUE(namesObject(LoggerApiInterface::getLastError(),
                            QStringLiteral("Data item (no.such.logger) doesn't exist")));

    // Half-cycle values of an identification that has none.
    clearLastError();
    EXPECT_EQ(api.getRms_1_2_Values(QStringLiteral("err.export"), kStart, kEnd), nullptr);
    EXPECT_TRUE(namesObject(LoggerApiInterface::getLastError(), QStringLiteral("'err.export'")));

    // An export into a folder that does not exist: the text names the file and what to check.
    clearLastError();
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    const QString target = folder.filePath(QStringLiteral("missing/means.raw"));
    api.writeMeasuredValuesToFile(QStringLiteral("err.export"), kStart, kEnd, target);
    const QString text = LoggerApiInterface::getLastError();
    EXPECT_TRUE(namesObject(text, target));
    EXPECT_TRUE(text.contains(QStringLiteral("check that its folder exists"))) << text.toStdString();
    EXPECT_FALSE(QFileInfo::exists(target));
    logger.stopLogger();
}

// --- bringing the store up ---------------------------------------------------------------------

TEST_F(LastErrorTextTest, AMountPointThatIsNotAcceptedIsNamed)
{
    WriterStore::Options options;
    options.initialize = false;
    WriterStore store(options);
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    // A folder that exists, is no mount point and does not lie below /var/log.
    QTemporaryDir elsewhere(QDir::homePath() + QStringLiteral("/qz-not-mounted-XXXXXX"));
    ASSERT_TRUE(elsewhere.isValid());
    LoggerDb& db = LoggerDb::getInstance();

    clearLastError();
    EXPECT_FALSE(db.initialize(elsewhere.path(), elsewhere.path() + QStringLiteral("/logger"),
                               QStringLiteral("data"), QStringLiteral("logger.db"), false));
    const QString text = LoggerApiInterface::getLastError();
    EXPECT_TRUE(namesObject(text, QStringLiteral("the card path ") + elsewhere.path() +
                                      QStringLiteral(" is neither a mount point nor below /var/log")));

    clearLastError();
    const QString missing = store.mountPoint() + QStringLiteral("/missing");
    EXPECT_FALSE(db.initialize(missing, missing + QStringLiteral("/logger"), QStringLiteral("data"),
                               QStringLiteral("logger.db"), false));
    EXPECT_TRUE(namesObject(LoggerApiInterface::getLastError(), missing + QStringLiteral(" does not exist")));
}

TEST_F(LastErrorTextTest, AMissingLoggerFolderIsNamed)
{
    WriterStore::Options options;
    options.initialize = false;
    WriterStore store(options);
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    const QString folder = store.mountPoint() + QStringLiteral("/no-such-folder");
    LoggerDb& db = LoggerDb::getInstance();

    clearLastError();
    EXPECT_FALSE(db.initialize(store.mountPoint(), folder, QStringLiteral("data"),
                               QStringLiteral("logger.db"), false));
    const QString text = LoggerApiInterface::getLastError();
    EXPECT_TRUE(namesObject(text, QStringLiteral("cannot open the catalogue ") + folder +
                                      QStringLiteral("/logger.db")));
    EXPECT_TRUE(
        namesObject(text, QStringLiteral("the folder ") + folder + QStringLiteral(" does not exist")));
    // SQLite's own text stays in it.
    EXPECT_TRUE(namesObject(text, QStringLiteral("unable to open database file")));
}

TEST_F(LastErrorTextTest, AReaderStartedBeforeAnyWriterIsToldToStartTheWriter)
{
    WriterStore::Options options;
    options.initialize = false;
    WriterStore store(options);
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    LoggerDb& db = LoggerDb::getInstance();
    db.setWriterMode(false);

    clearLastError();
    EXPECT_FALSE(db.initialize(store.mountPoint(), store.loggerPath(), QStringLiteral("data"),
                               QStringLiteral("logger.db"), false));
    QString text = LoggerApiInterface::getLastError();
    EXPECT_TRUE(namesObject(text, store.databaseFile()));
    EXPECT_TRUE(namesObject(text, QStringLiteral("start the writer first")));

    clearLastError();
    EXPECT_FALSE(db.checkValidity());
    text = LoggerApiInterface::getLastError();
    EXPECT_TRUE(namesObject(text, store.pidFile()));
    EXPECT_TRUE(namesObject(text, QStringLiteral("no writer has started on this store")));

    // A reader may not delete the writer's loggers.
    clearLastError();
    EXPECT_FALSE(DatabaseInterface().deleteAllLoggers());
    const QString refusal = LoggerApiInterface::getLastError();
    EXPECT_TRUE(namesObject(refusal, QStringLiteral("this process is not the writer of the store")));
    EXPECT_TRUE(namesObject(refusal, QStringLiteral("deleting the loggers and their files is refused")));
}

TEST_F(LastErrorTextTest, AConfigurationFileThatDoesNotExistKeepsItsText)
{
    clearLastError();
    EXPECT_FALSE(DatabaseInterface().initialize(QDir::tempPath() + QStringLiteral("/no-such-database.xml")));
    EXPECT_EQ(DatabaseInterface().getLastError(), QStringLiteral("invalid file content"));
}

TEST_F(LastErrorTextTest, LoggersCannotStartWithoutACardClient)
{
    LoggerDb::getInstance().setWriterMode(true);
    clearLastError();
    EXPECT_FALSE(DatabaseInterface().startStopLoggers(true));
    EXPECT_TRUE(namesObject(LoggerApiInterface::getLastError(), QStringLiteral("card client")));
}

TEST_F(LastErrorTextTest, AGroupStartOnACardThatIsNotMountedSaysSoWithTheCardsState)
{
    WriterStore store;
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    ASSERT_TRUE(store.card().control(QStringLiteral("SetState"), {4}))
        << store.card().errorString().toStdString();
    clearLastError();
    EXPECT_FALSE(DatabaseInterface().startStopLoggers(true));
    const QString text = LoggerApiInterface::getLastError();
    EXPECT_TRUE(namesObject(text, QStringLiteral("no mounted card (state 4)")));
    EXPECT_TRUE(namesObject(text, QStringLiteral("they start when the card is mounted")));
}

// --- the operator log ---------------------------------------------------------------------------

TEST_F(LastErrorTextTest, AnOperatorEntryWhileTheStoreIsClosedSaysToInitializeIt)
{
    WriterStore store;
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    ASSERT_TRUE(LoggerOperatorInterface::startLogger());
    LoggerDb::getInstance().close();
    DataOperator entry{};
    LoggerOperatorInterface::createDefault(entry);
    entry.utc = DataTimespec{static_cast<int32_t>(kStart.tv_sec), 0};
    clearLastError();
    EXPECT_FALSE(LoggerOperatorInterface::logEvent(entry));
    const QString text = LoggerApiInterface::getLastError();
    EXPECT_TRUE(namesObject(text, QStringLiteral("the operator entry was not written")));
    EXPECT_TRUE(namesObject(text, QStringLiteral("the store is not initialized; initialize it first")));
}

// --- the event log ------------------------------------------------------------------------------

TEST_F(LastErrorTextTest, EventTextsOfALogThatIsNotInitializedNameTheLog)
{
    LoggerEventAlarm alarm;
    alarm.setLoggerName("alarm.events");
    clearLastError();
    EXPECT_FALSE(alarm.updateEventStrings({"overvoltage"}));
    const QString text = LoggerApiInterface::getLastError();
    EXPECT_TRUE(namesObject(text, QStringLiteral("'alarm.events'")));
    EXPECT_TRUE(namesObject(text, QStringLiteral("initialize")));
    alarm.closeTimer();
}

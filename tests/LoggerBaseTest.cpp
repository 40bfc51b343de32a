// LoggerBase: the lifecycle of one logger, from construction through initializing, starting,
// closing, reopening, resetting and deleting. The tests run on a simulated card with a real
// catalogue (WriterStore); each test runs in a process of its own.

#include "LoggerBase.h"
#include "Database.h"
#include "DefnBaseType.h"
#include "DefnTypePersistance.h"
#include "LogCapture.h"
#include "LoggerAccessList.h"
#include "LoggerDb.h"
#include "LoggerFileSystem.h"
#include "LoggerList.h"
#include "LoggerRetriedTransaction.h"
#include "NonVolatileInterface.h"
#include "TemporaryCatalogue.h"
#include "TestLogger.h"
#include "WriterStore.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <memory>
#include <string>

namespace {

constexpr int kBlockSize = 16;       // time stamp and two counters
constexpr int32_t kDay = 1763802000; // 2025-11-22, in the middle of a day in any zone
const QString kMeasureId = QStringLiteral("mean_3s.signal_3s.out.mean_out");

qint64 sizeOnDisk(const PtrLoggerFileInfo& info)
{
    const QFileInfo file(LoggerFileSystem::getFullFileName(info.get()));
    return file.exists() ? file.size() : -1;
}

// Remembers the last id it was given and answers a fixed first id.
class CountingNonVolatile : public NonVolatileInterface {
public:
    explicit CountingNonVolatile(int first) : mFirst(first) {}
    int readUniqueId() override { return mFirst; }
    void writeUniqueId(int uniqueId) override
    {
        mLast = uniqueId;
        ++mWrites;
    }
    int mFirst;
    int mLast = -1;
    int mWrites = 0;
};

class LoggerBaseTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mLogCaptured);
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        ASSERT_TRUE(LoggerDb::getInstance().isInitialized());
        LoggerDb::getInstance().getAndResetLastError();
    }

    static long long number(const std::string& sql)
    {
        return queryNumber(*LoggerDb::getInstance().getDb(), sql);
    }
    static long long measureTypes() { return number("SELECT count(*) FROM \"DefnMeasureType\""); }
    static long long measureLinks(int typeId)
    {
        return number("SELECT count(*) FROM \"DefnMeasureType_FileInfos\" WHERE \"measure_id\"=" +
                      std::to_string(typeId));
    }
    int filesOnCard() const
    {
        int count = 0;
        QDirIterator files(mStore.dataFolderPath(), QDir::Files, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            files.next();
            ++count;
        }
        return count;
    }

    static PtrLoggerFileInfo write(TestLogger& logger, const std::vector<int32_t>& seconds,
                                   int blockSize = kBlockSize)
    {
        const QByteArray block = testItems(seconds, blockSize);
        return logger.writeDatas(block.constData(), static_cast<int>(seconds.size()), true, true);
    }

    // Before any member that logs: the store configures logging once per process.
    const bool mLogCaptured = LogCapture::install();
    WriterStore mStore;
};

} // namespace

// --- construction and registration

TEST_F(LoggerBaseTest, ConstructionRegistersTheLoggerAndItsAccessAndDestructionTakesThemOut)
{
    const int loggersBefore = LoggerList::size();
    const int accessesBefore = LoggerAccessList::getInstance()->getListSize(LoggerType::CYCLIC);
    {
        TestLogger logger(kMeasureId, kBlockSize);
        EXPECT_EQ(LoggerList::size(), loggersBefore + 1);
        EXPECT_TRUE(LoggerList::getInstance()->contains(&logger));
        EXPECT_EQ(LoggerAccessList::getInstance()->getListSize(LoggerType::CYCLIC), accessesBefore + 1);
        EXPECT_EQ(logger.getLoggerState(), 0);
        EXPECT_FALSE(logger.isInitialized());
        EXPECT_FALSE(logger.isEnabled());
        EXPECT_FALSE(logger.isStarted());
        EXPECT_EQ(logger.getDaysPerFile(), 7);
        EXPECT_EQ(logger.getMaximumFileSize(), 1000000);
        EXPECT_EQ(logger.getFirstUniqueId(), 0);
        // Nothing is read from the catalogue during construction.
        EXPECT_EQ(logger.getId(), -1);
        EXPECT_EQ(measureTypes(), 0);
    }
    EXPECT_EQ(LoggerList::size(), loggersBefore);
    EXPECT_EQ(LoggerAccessList::getInstance()->getListSize(LoggerType::CYCLIC), accessesBefore);
}

TEST_F(LoggerBaseTest, TheCopyIsAFreshLoggerOfTheSameKind)
{
    TestLogger logger(kMeasureId, kBlockSize);
    ASSERT_TRUE(logger.startLogger());
    const LoggerBase copy(logger);
    EXPECT_EQ(copy.getLoggerType(), LoggerType::CYCLIC);
    EXPECT_EQ(copy.getLoggerDataType(), LoggerDataType::MEAN);
    EXPECT_EQ(copy.getLoggerAccess()->getDataBlockSize(), kBlockSize);
    EXPECT_EQ(copy.getLoggerState(), 0);
    EXPECT_TRUE(copy.getLoggerAccess()->isCurrentBaseTypeNull());
    EXPECT_TRUE(LoggerList::getInstance()->contains(&copy));
}

TEST_F(LoggerBaseTest, TheBaseClassAnswers)
{
    LoggerBase logger(LoggerType::EVENT, LoggerDataType::EVENT, 24);
    EXPECT_EQ(logger.getLoggerName(), QStringLiteral("LoggerBase"));
    EXPECT_EQ(logger.getInterval(), 1.0);
    EXPECT_TRUE(logger.flush());
    EXPECT_EQ(logger.getTimeout(), 0.0);
    EXPECT_EQ(logger.getConfiguratedMeasuredTypeId(), QStringLiteral("undefined"));
    EXPECT_EQ(logger.getDataBlockSize(), 1);
    EXPECT_TRUE(logger.readDataToUpdate());
    const DataMeasType measType = logger.getNewMeasType();
    EXPECT_TRUE(measType.configId.isEmpty());
    EXPECT_EQ(measType.unit, 1);
    EXPECT_TRUE(measType.enabled);
    EXPECT_EQ(logger.getNumFiles(), -1);
    EXPECT_FALSE(logger.isFirstDataItem(0));
    EXPECT_FALSE(logger.isFirstCurrentFileInfoItem());
}

// --- initializing

TEST_F(LoggerBaseTest, InitializeWithAnEmptyIdStringLeavesStateOneAndCreatesNothing)
{
    TestLogger logger(QString(), kBlockSize);
    EXPECT_TRUE(logger.initializeLogger());
    EXPECT_EQ(logger.getLoggerState(), LOGGER_STATE_DISABLED);
    EXPECT_FALSE(logger.isEnabled());
    EXPECT_FALSE(logger.isInitialized());
    EXPECT_EQ(measureTypes(), 0);
    EXPECT_EQ(filesOnCard(), 0);
    const QByteArray block = testItems({kDay});
    EXPECT_EQ(logger.writeDatas(block.constData(), 1, true, true), nullptr);
    EXPECT_EQ(filesOnCard(), 0);
}

TEST_F(LoggerBaseTest, InitializeWithTheDatabaseDownLeavesStateOne)
{
    LoggerDb::getInstance().close();
    TestLogger logger(kMeasureId, kBlockSize);
    EXPECT_TRUE(logger.initializeLogger());
    EXPECT_EQ(logger.getLoggerState(), LOGGER_STATE_DISABLED);
    EXPECT_FALSE(logger.isInitialized());
    EXPECT_FALSE(logger.startLogger());
    EXPECT_FALSE(logger.isStarted());
    EXPECT_FALSE(logger.reOpenFile());
    EXPECT_FALSE(logger.deleteActualLogger(false));
    EXPECT_FALSE(logger.readDatabaseChanges(true));
}

TEST_F(LoggerBaseTest, AFirstStartOnAnEmptyCatalogueCreatesOneTypeRowAndOneFileWithItsHeader)
{
    TestLogger logger(kMeasureId, kBlockSize);
    EXPECT_TRUE(logger.startLogger());
    EXPECT_TRUE(logger.isStarted());
    EXPECT_TRUE(logger.isInitialized());
    EXPECT_TRUE(logger.isEnabled());
    EXPECT_TRUE(logger.isFirstWriteAfterStart());
    EXPECT_EQ(logger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
    EXPECT_EQ(measureTypes(), 1);
    EXPECT_EQ(measureLinks(logger.getId()), 1);
    EXPECT_EQ(logger.getFileListSize(), 1);
    EXPECT_EQ(filesOnCard(), 1);
    const auto file = logger.getLoggerAccess()->getCurrentFileInfo();
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->HeaderSize, 44);
    EXPECT_EQ(file->DataBlockSize, kBlockSize);
    EXPECT_EQ(sizeOnDisk(file), 44);
    EXPECT_TRUE(logger.getLoggerAccess()->isNewBaseTypeRange());
    EXPECT_EQ(logger.getMeasuredTypeId(), logger.getId());
}

TEST_F(LoggerBaseTest, ARestartAfterAPowerCycleContinuesInTheSameFileAtItsEnd)
{
    int fileId = -1;
    {
        TestLogger logger(kMeasureId, kBlockSize);
        ASSERT_TRUE(logger.startLogger());
        ASSERT_NE(write(logger, testSeconds(kDay, 5)), nullptr);
        fileId = logger.getLoggerAccess()->getCurrentFileInfoId();
        // No updateAccess: the catalogue does not know the range, the file does.
    }
    TestLogger logger(kMeasureId, kBlockSize);
    ASSERT_TRUE(logger.startLogger());
    EXPECT_EQ(logger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
    EXPECT_EQ(logger.getFileListSize(), 1);
    EXPECT_EQ(logger.getLoggerAccess()->getCurrentFileInfoId(), fileId);
    EXPECT_EQ(logger.getCurrentUtc().tv_sec, kDay + 4);
    EXPECT_FALSE(logger.getLoggerAccess()->isNewBaseTypeRange());
    EXPECT_EQ(logger.getLoggerAccess()->getCurrentBaseTypeUtcStart().tv_sec, kDay);
    EXPECT_EQ(logger.getLoggerAccess()->getCurrentBaseTypeUtcEnd().tv_sec, kDay + 4);

    // The same stamp again is refused, a later one continues the file.
    EXPECT_EQ(write(logger, {kDay + 4}), nullptr);
    const auto file = write(logger, {kDay + 5});
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->Id, fileId);
    EXPECT_EQ(sizeOnDisk(file), 44 + 6 * kBlockSize);
    EXPECT_EQ(filesOnCard(), 1);
}

TEST_F(LoggerBaseTest, ARestartAfterTheBlockSizeChangedBeginsANewFile)
{
    {
        TestLogger logger(kMeasureId, kBlockSize);
        ASSERT_TRUE(logger.startLogger());
        ASSERT_NE(write(logger, testSeconds(kDay, 3)), nullptr);
    }
    TestLogger logger(kMeasureId, 24);
    ASSERT_TRUE(logger.startLogger());
    EXPECT_EQ(logger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
    EXPECT_EQ(logger.getFileListSize(), 2);
    EXPECT_EQ(measureLinks(logger.getId()), 2);
    const auto file = logger.getLoggerAccess()->getCurrentFileInfo();
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->DataBlockSize, 24);
    EXPECT_EQ(sizeOnDisk(file), 44);
    const auto written = write(logger, {kDay + 10}, 24);
    ASSERT_NE(written, nullptr);
    EXPECT_EQ(sizeOnDisk(written), 44 + 24);
}

TEST_F(LoggerBaseTest, ATypeWhoseFilesAreAllUnknownGetsAFileAnew)
{
    int typeId = -1;
    {
        TestLogger logger(kMeasureId, kBlockSize);
        ASSERT_TRUE(logger.startLogger());
        typeId = logger.getId();
    }
    // The catalogue keeps the type and loses every file link.
    LoggerDb::getInstance().getDb()->executeRaw("DELETE FROM \"DefnMeasureType_FileInfos\"");
    ASSERT_EQ(measureLinks(typeId), 0);

    TestLogger logger(kMeasureId, kBlockSize);
    ASSERT_TRUE(logger.startLogger());
    EXPECT_EQ(logger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
    EXPECT_EQ(LoggerDb::getInstance().getLastError(), QStringLiteral("logger file recreated"));
    EXPECT_EQ(logger.getFileListSize(), 1);
    EXPECT_EQ(measureLinks(logger.getId()), 1);
}

TEST_F(LoggerBaseTest, AMissingCurrentFileIsCreatedAnewAtStart)
{
    PtrLoggerFileInfo file;
    {
        TestLogger logger(kMeasureId, kBlockSize);
        ASSERT_TRUE(logger.startLogger());
        ASSERT_NE(write(logger, testSeconds(kDay, 2)), nullptr);
        ASSERT_TRUE(logger.updateAccess());
        file = logger.getLoggerAccess()->getCurrentFileInfo();
    }
    ASSERT_TRUE(QFile::remove(LoggerFileSystem::getFullFileName(file.get())));
    TestLogger logger(kMeasureId, kBlockSize);
    ASSERT_TRUE(logger.startLogger());
    EXPECT_EQ(logger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
    EXPECT_EQ(logger.getFileListSize(), 1);
    const auto current = logger.getLoggerAccess()->getCurrentFileInfo();
    ASSERT_NE(current, nullptr);
    EXPECT_EQ(sizeOnDisk(current), 44);
}

TEST_F(LoggerBaseTest, TheUniqueIdOfTheNonVolatileStoreWinsAndIsWrittenWithEveryBlock)
{
    CountingNonVolatile store(1000);
    TestLogger logger(kMeasureId, kBlockSize);
    logger.setFirstUniqueId(5);
    EXPECT_EQ(logger.getFirstUniqueId(), 5);
    logger.setNonVolatile(&store);
    ASSERT_TRUE(logger.startLogger());
    EXPECT_EQ(logger.getFirstUniqueId(), 1000);
    ASSERT_NE(write(logger, testSeconds(kDay, 3)), nullptr);
    EXPECT_EQ(store.mWrites, 1);
    EXPECT_EQ(store.mLast, 1003);
}

TEST_F(LoggerBaseTest, TheDevelopmentListGetsTheLoggerLineOnceWhereTheFileExists)
{
    QTemporaryDir directory;
    ASSERT_TRUE(directory.isValid());
    const QString path = directory.filePath(QStringLiteral("logger_debug"));
    qputenv("QZLOGGER_DEBUG_FILE", path.toLocal8Bit());
    {
        // Without the file nothing is made.
        TestLogger logger(kMeasureId, kBlockSize);
        ASSERT_TRUE(logger.initializeLogger());
        EXPECT_FALSE(QFile::exists(path));
    }
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("first line\n");
    file.close();
    for (int round = 0; round < 2; ++round) {
        TestLogger logger(kMeasureId, kBlockSize);
        ASSERT_TRUE(logger.initializeLogger());
    }
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(QString::fromLatin1(file.readAll()), QStringLiteral("first line\nName: TestLogger ") +
                                                       kMeasureId +
                                                       QStringLiteral(", Type: CYCLIC, Data: MEAN\n"));
    qunsetenv("QZLOGGER_DEBUG_FILE");
}

// --- starting and stopping

TEST_F(LoggerBaseTest, StartLoggerTwiceReturnsTrueTheSecondTimeAndDoesNothingElse)
{
    TestLogger logger(kMeasureId, kBlockSize);
    ASSERT_TRUE(logger.startLogger());
    ASSERT_NE(write(logger, {kDay}), nullptr);
    EXPECT_FALSE(logger.isFirstWriteAfterStart());
    const int opened = LoggerDb::getInstance().getNumberOfOpenedFiles();
    const timespec current = logger.getCurrentUtc();

    EXPECT_TRUE(logger.startLogger());
    EXPECT_FALSE(logger.isFirstWriteAfterStart());
    EXPECT_EQ(LoggerDb::getInstance().getNumberOfOpenedFiles(), opened);
    EXPECT_EQ(logger.getFileListSize(), 1);
    EXPECT_EQ(logger.getCurrentUtc().tv_sec, current.tv_sec);
    EXPECT_EQ(measureTypes(), 1);
}

TEST_F(LoggerBaseTest, StopLoggerClosesTheFileAndAStartReopensIt)
{
    TestLogger logger(kMeasureId, kBlockSize);
    ASSERT_TRUE(logger.startLogger());
    EXPECT_TRUE(logger.stopLogger());
    EXPECT_FALSE(logger.isStarted());
    EXPECT_FALSE(logger.isEnabled());
    EXPECT_TRUE(logger.isInitialized());
    EXPECT_EQ(logger.getLoggerState(), LOGGER_STATE_DISABLED);
    EXPECT_EQ(write(logger, {kDay}), nullptr);

    EXPECT_TRUE(logger.startLogger());
    EXPECT_TRUE(logger.isEnabled());
    EXPECT_EQ(logger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
    EXPECT_NE(write(logger, {kDay}), nullptr);
}

TEST_F(LoggerBaseTest, AMobileLoggerStaysClosedAfterInitializingUntilItIsStarted)
{
    TestLogger logger(kMeasureId, kBlockSize);
    logger.setMobile(true);
    EXPECT_TRUE(logger.isMobile());
    ASSERT_TRUE(logger.initializeLogger());
    EXPECT_TRUE(logger.isInitialized());
    EXPECT_FALSE(logger.isEnabled());
    EXPECT_FALSE(logger.getLoggerAccess()->getFile().isOpen());
    EXPECT_EQ(logger.getLoggerState(), LOGGER_STATE_DISABLED);
    ASSERT_TRUE(logger.startLogger());
    EXPECT_TRUE(logger.isEnabled());
    EXPECT_NE(write(logger, {kDay}), nullptr);
}

// --- closing and reopening

TEST_F(LoggerBaseTest, CloseFileOnALoggerWhoseFileIsClosedStillDisablesItAndRoundsNothing)
{
    TestLogger logger(kMeasureId, kBlockSize);
    ASSERT_TRUE(logger.startLogger());
    logger.closeFile();
    ASSERT_FALSE(logger.getLoggerAccess()->getFile().isOpen());
    const int opened = LoggerDb::getInstance().getNumberOfOpenedFiles();
    logger.setEnabled(true);

    logger.closeFile();
    EXPECT_EQ(logger.getLoggerState(), LOGGER_STATE_DISABLED);
    EXPECT_FALSE(logger.isEnabled());
    EXPECT_EQ(LoggerDb::getInstance().getNumberOfOpenedFiles(), opened);
    EXPECT_EQ(write(logger, {kDay}), nullptr);
}

TEST_F(LoggerBaseTest, ReOpenFileEnablesAClosedLoggerAndRefusesAnOpenOne)
{
    TestLogger logger(kMeasureId, kBlockSize);
    ASSERT_TRUE(logger.startLogger());
    ASSERT_TRUE(logger.getLoggerAccess()->getFile().isOpen());
    EXPECT_FALSE(logger.reOpenFile());

    logger.closeFile();
    EXPECT_TRUE(logger.reOpenFile());
    EXPECT_TRUE(logger.isEnabled());
    EXPECT_EQ(logger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
    EXPECT_NE(write(logger, {kDay}), nullptr);
}

TEST_F(LoggerBaseTest, ReOpenFileRecreatesAVanishedFile)
{
    TestLogger logger(kMeasureId, kBlockSize);
    ASSERT_TRUE(logger.startLogger());
    logger.closeFile();
    const auto file = logger.getLoggerAccess()->getCurrentFileInfo();
    ASSERT_TRUE(QFile::remove(LoggerFileSystem::getFullFileName(file.get())));
    EXPECT_TRUE(logger.reOpenFile());
    EXPECT_EQ(sizeOnDisk(logger.getLoggerAccess()->getCurrentFileInfo()), 44);
    EXPECT_EQ(logger.getFileListSize(), 1);
}

TEST_F(LoggerBaseTest, ReOpenFileOfALoggerNeverInitializedInitializesIt)
{
    TestLogger logger(kMeasureId, kBlockSize);
    EXPECT_TRUE(logger.reOpenFile());
    EXPECT_TRUE(logger.isInitialized());
    EXPECT_EQ(logger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
}

// --- resetting and deleting

TEST_F(LoggerBaseTest, ResetLoggerForgetsTypeAndFile)
{
    TestLogger logger(kMeasureId, kBlockSize);
    ASSERT_TRUE(logger.startLogger());
    ASSERT_NE(write(logger, {kDay}), nullptr);
    logger.setHeaderChanged(true);
    logger.resetLogger();
    EXPECT_FALSE(logger.isInitialized());
    EXPECT_FALSE(logger.isHeaderChanged());
    EXPECT_EQ(logger.getCurrentUtc().tv_sec, 0);
    EXPECT_EQ(logger.getLoggerState(), LOGGER_STATE_DISABLED);
    EXPECT_TRUE(logger.getLoggerAccess()->isCurrentBaseTypeNull());
    EXPECT_TRUE(logger.getLoggerAccess()->isCurrentFileInfoNull());
}

TEST_F(LoggerBaseTest, DeleteActualLoggerWithReinitializeOnATypeWithoutFileRowsDeletesItAndBeginsAnew)
{
    // A type row as a logger seen once leaves it when its file never reached the catalogue.
    int oldTypeId = -1;
    {
        LoggerAccess access(LoggerType::CYCLIC, LoggerDataType::MEAN, kBlockSize);
        QString id = kMeasureId;
        DataMeasType measType;
        measType.configId = id;
        access.createCurrentBaseType(id, measType);
        ASSERT_TRUE(retriedTransaction("LoggerBaseTest", [&] {
            oldTypeId = DefnTypePersistance().persist(access.getCurrentBaseType());
            return oldTypeId >= 0;
        }));
    }
    ASSERT_EQ(measureTypes(), 1);
    ASSERT_EQ(measureLinks(oldTypeId), 0);

    TestLogger logger(kMeasureId, kBlockSize);
    EXPECT_TRUE(logger.deleteActualLogger(true));
    EXPECT_EQ(number("SELECT count(*) FROM \"DefnMeasureType\" WHERE \"Id\"=" + std::to_string(oldTypeId)),
              0);
    EXPECT_EQ(measureTypes(), 1);
    EXPECT_TRUE(logger.isInitialized());
    EXPECT_EQ(logger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
    EXPECT_NE(logger.getId(), oldTypeId);
    EXPECT_EQ(logger.getFileListSize(), 1);
    EXPECT_EQ(measureLinks(logger.getId()), 1);
}

TEST_F(LoggerBaseTest, DeleteActualLoggerWithoutReinitializeLeavesTheLoggerReset)
{
    TestLogger logger(kMeasureId, kBlockSize);
    ASSERT_TRUE(logger.startLogger());
    const auto file = logger.getLoggerAccess()->getCurrentFileInfo();
    EXPECT_TRUE(logger.deleteActualLogger(false));
    EXPECT_EQ(measureTypes(), 0);
    EXPECT_FALSE(logger.isInitialized());
    EXPECT_EQ(logger.getLoggerState(), LOGGER_STATE_DISABLED);
    // The files stay on the card.
    EXPECT_EQ(sizeOnDisk(file), 44);
}

TEST_F(LoggerBaseTest, ChangeMeasuredStringRestartsTheLoggerOnlyAfterAChangedId)
{
    TestLogger logger(kMeasureId, kBlockSize);
    ASSERT_TRUE(logger.startLogger());
    const int firstType = logger.getId();
    EXPECT_FALSE(logger.checkIdStringChanged(kMeasureId));
    logger.changeMeasuredString();
    EXPECT_EQ(logger.getId(), firstType);

    const QString other = QStringLiteral("mean_3s.signal_3s.out.other");
    EXPECT_TRUE(logger.checkIdStringChanged(other));
    logger.setIdString(other);
    logger.changeMeasuredString();
    EXPECT_NE(logger.getId(), firstType);
    EXPECT_EQ(logger.getLoggerAccess()->getConfigId(), other);
    EXPECT_EQ(measureTypes(), 2);
    EXPECT_EQ(logger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
}

TEST_F(LoggerBaseTest, TheMessageHelpersGoThroughTheCatalogueLog)
{
    TestLogger logger(kMeasureId, kBlockSize);
    logger.logInfoMessage(QStringLiteral("info from the logger"));
    logger.logWarnMessage(QStringLiteral("warning from the logger"));
    logger.logErrorMessage(QStringLiteral("error from the logger"));
    logger.logTraceMessage(QStringLiteral("trace from the logger"));
    logger.logDebugMessage(QStringLiteral("debug from the logger"));
    const QString text = LogCapture::text();
    EXPECT_TRUE(text.contains(QStringLiteral("info from the logger"))) << text.toStdString();
    EXPECT_TRUE(text.contains(QStringLiteral("warning from the logger")));
    EXPECT_TRUE(text.contains(QStringLiteral("error from the logger")));
    EXPECT_FALSE(text.contains(QStringLiteral("trace from the logger")));
    EXPECT_FALSE(text.contains(QStringLiteral("debug from the logger")));
}

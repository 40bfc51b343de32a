// LoggerAccess: one logger's bridge between the write engine, its data file and the catalogue.
// The tests bring the writer's store up on a simulated card (WriterStore) with a real catalogue;
// each test runs in a process of its own.

#include "LoggerAccess.h"
#include "DataMeasType.h"
#include "Database.h"
#include "DefnEventType.h"
#include "DefnMeasureType.h"
#include "DefnTypePersistance.h"
#include "FileInfoPersistance.h"
#include "LogCapture.h"
#include "LoggerDb.h"
#include "LoggerEntityChanged.h"
#include "LoggerFileIo.h"
#include "LoggerFileSystem.h"
#include "LoggerHeader.h"
#include "LoggerRetriedTransaction.h"
#include "NonVolatileInterface.h"
#include "ProcessInfo.h"
#include "ScopedTimeZone.h"
#include "TemporaryCatalogue.h"
#include "WriterStore.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QMutex>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kBlockSize = 16;       // time stamp and one 8-byte value
constexpr int32_t kDay = 1763802000; // 2025-11-22, in the middle of a day in any zone
const char* const kMeasureId = "mean_3s.signal_3s.out.mean_out";

uint32_t bitsOf(float value)
{
    uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof(bits));
    return bits;
}

timespec utc(int32_t seconds, int32_t nanoseconds = 0)
{
    timespec time{};
    time.tv_sec = seconds;
    time.tv_nsec = nanoseconds;
    return time;
}

// A block of items of kBlockSize bytes, each beginning with its time stamp.
QByteArray itemsAt(const std::vector<int32_t>& seconds)
{
    QByteArray block;
    for (int32_t second : seconds) {
        DataTimespec stamp{second, 0};
        block.append(reinterpret_cast<const char*>(&stamp), sizeof(stamp));
        const double value = second * 0.5;
        block.append(reinterpret_cast<const char*>(&value), sizeof(value));
    }
    return block;
}

qint64 sizeOnDisk(const std::shared_ptr<LoggerFileInfo>& info)
{
    const QFileInfo file(LoggerFileSystem::getFullFileName(info.get()));
    return file.exists() ? file.size() : -1;
}

class LoggerAccessTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mLogCaptured);
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        ASSERT_TRUE(LoggerDb::getInstance().isInitialized());
        LoggerDb::getInstance().getAndResetLastError();
        mLogMark = LogCapture::lines().size();
    }

    static long long number(const std::string& sql)
    {
        return queryNumber(*LoggerDb::getInstance().getDb(), sql);
    }
    static long long measureFileRows() { return number("SELECT count(*) FROM \"LoggerFileInfoMeasure\""); }
    static long long measureLinks(int typeId)
    {
        return number("SELECT count(*) FROM \"DefnMeasureType_FileInfos\" WHERE \"measure_id\"=" +
                      std::to_string(typeId));
    }
    static long long measureLinkTo(int typeId, int fileId)
    {
        return number("SELECT count(*) FROM \"DefnMeasureType_FileInfos\" WHERE \"measure_id\"=" +
                      std::to_string(typeId) + " AND \"file_info_id\"=" + std::to_string(fileId));
    }

    // A measure logger with its first file, as a logger seen for the first time gets it.
    std::unique_ptr<LoggerAccess> firstMeasureLogger(int blockSize = kBlockSize)
    {
        auto access = std::make_unique<LoggerAccess>(LoggerType::CYCLIC, LoggerDataType::MEAN, blockSize);
        QString id = QString::fromUtf8(kMeasureId);
        DataMeasType measType;
        measType.configId = id;
        measType.interval = 3.0;
        access->createCurrentBaseType(id, measType);
        EXPECT_TRUE(access->persistBaseType(false, blockSize, kMeasureId, false));
        return access;
    }

    // Begins a further file created at `created`, as the write engine does.
    static bool newFile(LoggerAccess& access, int32_t created)
    {
        const int currentIndex = access.getCurrentFileIndex();
        access.setCurrentFileInfo(FileInfoPersistance().createInstance(access.getLoggerType()));
        access.initCurrentFileInfo(utc(created));
        return access.createNewFile(utc(created), currentIndex);
    }

    static bool writeItems(LoggerAccess& access, const std::vector<int32_t>& seconds)
    {
        if (!access.openCurrentFile(true)) {
            return false;
        }
        const QByteArray block = itemsAt(seconds);
        return access.writeDatas(block.constData(), static_cast<int>(seconds.size()), block.size());
    }

    std::shared_ptr<DefnBaseType> reload(LoggerType type, int id)
    {
        std::shared_ptr<DefnBaseType> read;
        EXPECT_TRUE(retriedTransaction("LoggerAccessTest", [&] {
            read = DefnTypePersistance().readBaseType(type, id);
            return true;
        }));
        return read;
    }

    QStringList linesOfTest() const { return LogCapture::lines().mid(mLogMark); }
    bool loggedLine(const QString& line) const { return linesOfTest().contains(line); }
    std::string logText() const { return linesOfTest().join(QLatin1Char('\n')).toStdString(); }

    // Before any member that logs: the store configures logging once per process.
    const bool mLogCaptured = LogCapture::install();
    WriterStore mStore;
    int mLogMark = 0;
};

// A measure type held in memory only, with files on the card whose infos carry the given
// starts; a start of 0 makes a file without items.
class LoggerAccessListTest : public LoggerAccessTest {
protected:
    std::shared_ptr<LoggerFileInfo> fileOnCard(int32_t created, int32_t startSeconds,
                                               int32_t startNanoseconds)
    {
        auto info = FileInfoPersistance().createInstance(LoggerType::CYCLIC);
        LoggerFileSystem::initFileInfo(utc(created), LoggerType::CYCLIC, LoggerDataType::MEAN, kBlockSize,
                                       info.get());
        info->Id = ++mLastId;
        QFile file;
        EXPECT_TRUE(LoggerFileSystem::createFile(info.get(), file, 1, 0, 0, 1.0f, 1.0f));
        if (startSeconds != 0) {
            EXPECT_TRUE(file.open(QIODevice::Append));
            const QByteArray block = itemsAt({startSeconds, startSeconds + 3});
            EXPECT_EQ(file.write(block), block.size());
            file.close();
            info->UtcStart = DataTimespec{startSeconds, startNanoseconds};
            info->UtcEnd = DataTimespec{startSeconds + 3, 0};
        }
        return info;
    }

    void SetUp() override
    {
        LoggerAccessTest::SetUp();
        QString id = QString::fromUtf8(kMeasureId);
        DataMeasType measType;
        measType.configId = id;
        mAccess.createCurrentBaseType(id, measType);
        ASSERT_FALSE(mAccess.isCurrentBaseTypeNull());
    }

    LoggerAccess mAccess{LoggerType::CYCLIC, LoggerDataType::MEAN, kBlockSize};
    int mLastId = 0;
};

} // namespace

// --- the object itself

TEST_F(LoggerAccessTest, ConstructionGivesTheScalesOfNewFilesAndResetSetsThemToOne)
{
    LoggerAccess access(LoggerType::CYCLIC, LoggerDataType::MEAN, kBlockSize);
    EXPECT_EQ(bitsOf(access.getScaleVoltage()), 0x3C792E72u);
    EXPECT_EQ(bitsOf(access.getScaleCurrent()), 0x39754CD7u);
    EXPECT_EQ(access.getTrackCategory(), QStringLiteral("Logger.Access"));
    EXPECT_EQ(access.getDataBlockSize(), kBlockSize);
    EXPECT_EQ(access.getProcessName(), ProcessInfo::getProcessName(getpid()));
    EXPECT_FALSE(access.getProcessName().isEmpty());

    access.setSubType(3);
    access.setUniqueId(77);
    access.setLastWritePosition(60);
    access.setOnlyOneFileLogged(true);
    access.reset();
    EXPECT_EQ(access.getScaleVoltage(), 1.0f);
    EXPECT_EQ(access.getScaleCurrent(), 1.0f);
    EXPECT_EQ(access.getSubType(), 0);
    EXPECT_EQ(access.getUniqueId(), 0);
    EXPECT_EQ(access.getLastWritePosition(), 0);
    EXPECT_EQ(access.getBaseTypeId(), 0);
    EXPECT_EQ(access.getLoggerInterval(), 0.0);
    EXPECT_EQ(access.getCurrentFileSize(), 0);
    EXPECT_FALSE(access.isOnlyOneFileLogged());
    EXPECT_EQ(access.getDataBlockSize(), kBlockSize);
    EXPECT_TRUE(access.isCurrentBaseTypeNull());
    EXPECT_TRUE(access.isCurrentFileInfoNull());
}

TEST_F(LoggerAccessTest, TheSaveMutexIsRecursive)
{
    LoggerAccess access(LoggerType::CYCLIC, LoggerDataType::MEAN, kBlockSize);
    QMutex* mutex = access.getSaveAccess();
    ASSERT_NE(mutex, nullptr);
    EXPECT_EQ(mutex, access.getSaveAccess());
    mutex->lock();
    EXPECT_TRUE(mutex->tryLock());
    mutex->unlock();
    mutex->unlock();
}

TEST_F(LoggerAccessTest, WithoutTypeOrFileTheReadersAnswerTheirSentinels)
{
    LoggerAccess access(LoggerType::CYCLIC, LoggerDataType::MEAN, kBlockSize);
    EXPECT_EQ(access.getId(), -1);
    EXPECT_EQ(access.getFileTime(), -1);
    EXPECT_EQ(access.getFilePosition(), -1);
    EXPECT_EQ(access.getFileListSize(), 0);
    EXPECT_TRUE(access.getConfigId().isEmpty());
    EXPECT_EQ(access.getCurrentFileInfoId(), -1);
    EXPECT_EQ(access.getCurrentFileIndex(), -1);
    EXPECT_EQ(access.getOldestFileIndex(), -1);
    EXPECT_FALSE(access.isValid());
    EXPECT_FALSE(access.checkCurrentDataBlockSize());
    EXPECT_EQ(access.getOldestFileInfo(), nullptr);
    EXPECT_TRUE(loggedLine("Logger.Db|ERROR|getOldestFileInfo: mCurrentBaseType == nullptr")) << logText();
}

TEST_F(LoggerAccessTest, CurrentTimeCountsTheLocalCalendarTimeAsSeconds)
{
    ScopedTimeZone zone("UTC-3"); // three hours east of UTC, without summer time
    const time_t before = time(nullptr);
    const timespec current = LoggerAccess::getCurrentTime();
    const time_t after = time(nullptr);
    EXPECT_EQ(current.tv_nsec, 0);
    EXPECT_GE(current.tv_sec, before + 3 * 3600);
    EXPECT_LE(current.tv_sec, after + 3 * 3600);
}

TEST_F(LoggerAccessTest, TheBaseTypeOfAMeasureLoggerTakesTheWholeDescription)
{
    LoggerAccess access(LoggerType::CYCLIC, LoggerDataType::MEAN, kBlockSize);
    QString id = QString::fromUtf8(kMeasureId);
    DataMeasType measType;
    measType.configId = id;
    measType.unit = 7;
    measType.interval = 3.0;
    access.createCurrentBaseType(id, measType);
    const auto type = access.getCurrentBaseType();
    ASSERT_NE(type, nullptr);
    EXPECT_EQ(type->Id, -1);
    EXPECT_EQ(type->mType, LoggerType::CYCLIC);
    EXPECT_EQ(type->mDataType, LoggerDataType::MEAN);
    EXPECT_TRUE(access.isCurrentBaseTypeZeroRange());
    const auto measure = DefnTypePersistance().getMeasuredType(type);
    ASSERT_NE(measure, nullptr);
    EXPECT_EQ(measure->MeasType.unit, 7);
    EXPECT_EQ(access.getConfigId(), id);

    access.setLoggerInterval(10.0);
    EXPECT_EQ(measure->MeasType.interval, 10.0);
    EXPECT_EQ(access.getLoggerInterval(), 10.0);
}

TEST_F(LoggerAccessTest, SetLoggerIntervalWithoutATypeIsAFatalError)
{
    LoggerAccess access(LoggerType::CYCLIC, LoggerDataType::MEAN, kBlockSize);
    const int fatals = TrackObject::getFatalCounter();
    access.setLoggerInterval(3.0);
    EXPECT_EQ(access.getLoggerInterval(), 3.0);
    EXPECT_EQ(TrackObject::getFatalCounter(), fatals + 1);
    EXPECT_TRUE(loggedLine("Logger.Access|FATAL|setLoggerInterval: Nullpointer Error: ")) << logText();
}

// --- the first file

TEST_F(LoggerAccessTest, PersistBaseTypeStoresTypeFileAndLinkAndCreatesTheFile)
{
    auto access = firstMeasureLogger();
    const auto type = access->getCurrentBaseType();
    const auto file = access->getCurrentFileInfo();
    ASSERT_NE(type, nullptr);
    ASSERT_NE(file, nullptr);
    EXPECT_GT(type->Id, 0);
    EXPECT_EQ(access->getBaseTypeId(), type->Id);
    EXPECT_TRUE(access->isNewBaseTypeRange());
    EXPECT_EQ(access->getLoggerInterval(), 3.0);
    EXPECT_TRUE(file->mFirstDataItem);
    EXPECT_EQ(file->HeaderSize, 44);
    EXPECT_EQ(file->DataBlockSize, kBlockSize);
    EXPECT_LE(file->UtcCreated.tv_sec, static_cast<int32_t>(LoggerAccess::getCurrentTime().tv_sec));
    EXPECT_GT(file->UtcCreated.tv_sec, static_cast<int32_t>(LoggerAccess::getCurrentTime().tv_sec) - 600);
    EXPECT_EQ(file->UtcCreated.tv_nsec, 0);
    EXPECT_NE(file->GuidLow | file->GuidHigh, 0u);
    EXPECT_EQ(sizeOnDisk(file), 44);
    EXPECT_EQ(access->getCurrentFileSize(), 44);
    EXPECT_TRUE(access->isValid());
    EXPECT_EQ(measureLinkTo(type->Id, file->Id), 1);

    LoggerHeader header{};
    ASSERT_TRUE(LoggerFileSystem::readHeader(file.get(), header));
    EXPECT_EQ(header.baseTypeId, type->Id);
    EXPECT_EQ(bitsOf(header.Parameter1), 0x3C792E72u);
    EXPECT_EQ(bitsOf(header.Parameter2), 0x39754CD7u);
}

TEST_F(LoggerAccessTest, PersistBaseTypeWithZeroCreatedGivesACreationTimeOfZero)
{
    LoggerAccess access(LoggerType::CYCLIC, LoggerDataType::MEAN, kBlockSize);
    QString id = QString::fromUtf8(kMeasureId);
    DataMeasType measType;
    measType.configId = id;
    access.createCurrentBaseType(id, measType);
    ASSERT_TRUE(access.persistBaseType(false, kBlockSize, kMeasureId, true));
    EXPECT_EQ(access.getCurrentFileInfo()->UtcCreated.tv_sec, 0);
    EXPECT_EQ(sizeOnDisk(access.getCurrentFileInfo()), 44);
}

TEST_F(LoggerAccessTest, PersistBaseTypeWithoutATypeOrADatabaseFails)
{
    LoggerAccess access(LoggerType::CYCLIC, LoggerDataType::MEAN, kBlockSize);
    EXPECT_FALSE(access.persistBaseType(false, kBlockSize, kMeasureId, false));
    EXPECT_TRUE(access.isCurrentFileInfoNull());

    QString id = QString::fromUtf8(kMeasureId);
    DataMeasType measType;
    access.createCurrentBaseType(id, measType);
    LoggerDb::getInstance().close();
    EXPECT_FALSE(access.persistBaseType(false, kBlockSize, kMeasureId, false));
    EXPECT_TRUE(access.isCurrentFileInfoNull());
}

// --- writing

TEST_F(LoggerAccessTest, WriteDatasLeavesTheFileClosedAndASecondWriteWithoutOpeningFails)
{
    auto access = firstMeasureLogger();
    const auto file = access->getCurrentFileInfo();
    ASSERT_TRUE(access->openCurrentFile(true));
    EXPECT_TRUE(access->getFile().isOpen());
    EXPECT_EQ(access->getLastWritePosition(), 44);

    const QByteArray block = itemsAt({kDay, kDay + 3});
    ASSERT_TRUE(access->writeDatas(block.constData(), 2, block.size()));
    EXPECT_FALSE(access->getFile().isOpen());
    EXPECT_EQ(access->getLastWritePosition(), 44);
    EXPECT_EQ(access->getUniqueId(), 2);
    EXPECT_EQ(access->getBytesWritten(), 32);
    EXPECT_EQ(access->getCurrentFileSize(), 44 + 32);
    EXPECT_EQ(access->getFilePosition(), 44 + 32);
    EXPECT_EQ(sizeOnDisk(file), 44 + 32);

    const int errors = TrackObject::getErrorCounter();
    EXPECT_FALSE(access->writeDatas(block.constData(), 2, block.size()));
    EXPECT_EQ(TrackObject::getErrorCounter(), errors + 1);
    EXPECT_EQ(access->getUniqueId(), 2);
    EXPECT_EQ(access->getBytesWritten(), 32);
    EXPECT_EQ(access->getCurrentFileSize(), 44 + 32);
    EXPECT_EQ(access->getFilePosition(), 44 + 32);
    EXPECT_EQ(sizeOnDisk(file), 44 + 32);
    EXPECT_TRUE(loggedLine(QStringLiteral("Logger.Access|ERROR|Cannot write logger type 1 datas to file '") +
                           access->getFile().fileName() + QStringLiteral("' (") +
                           LoggerFileIo::errorText(EBADF) + QStringLiteral(")")))
        << logText();

    // Opened again, the next block goes behind the first.
    ASSERT_TRUE(access->openCurrentFile(true));
    EXPECT_EQ(access->getLastWritePosition(), 44 + 32);
    ASSERT_TRUE(access->writeDatas(block.constData(), 2, block.size()));
    EXPECT_EQ(sizeOnDisk(file), 44 + 64);
    EXPECT_EQ(access->getUniqueId(), 4);
}

TEST_F(LoggerAccessTest, UpdateDatasRewritesTheLastBlockInPlace)
{
    auto access = firstMeasureLogger();
    const auto file = access->getCurrentFileInfo();
    ASSERT_TRUE(writeItems(*access, {kDay, kDay + 3}));
    ASSERT_TRUE(access->openCurrentFile(true));
    const QByteArray replacement = itemsAt({kDay + 3});
    ASSERT_TRUE(access->updateDatas(replacement.constData(), replacement.size(), 44 + kBlockSize));
    EXPECT_FALSE(access->getFile().isOpen());
    EXPECT_EQ(sizeOnDisk(file), 44 + 32);
    EXPECT_EQ(access->getFilePosition(), 44 + 32);
    EXPECT_EQ(access->getLastWritePosition(), 44 + kBlockSize);

    QFile data(LoggerFileSystem::getFullFileName(file.get()));
    ASSERT_TRUE(data.open(QIODevice::ReadOnly));
    const QByteArray content = data.readAll();
    EXPECT_EQ(content.mid(44 + kBlockSize), replacement);
}

TEST_F(LoggerAccessTest, ReadHeaderParametersGivesTheScalesOfTheCurrentFile)
{
    auto access = firstMeasureLogger();
    float voltage = 0.0f;
    float current = 0.0f;
    ASSERT_TRUE(access->readHeaderParameters(voltage, current));
    EXPECT_EQ(bitsOf(voltage), 0x3C792E72u);
    EXPECT_EQ(bitsOf(current), 0x39754CD7u);

    QFile::remove(LoggerFileSystem::getFullFileName(access->getCurrentFileInfo().get()));
    EXPECT_FALSE(access->readHeaderParameters(voltage, current));
}

// --- further files

TEST_F(LoggerAccessTest, CreateNewFileAppendsTheFileAndEndsThePreviousOne)
{
    auto access = firstMeasureLogger();
    const auto first = access->getCurrentFileInfo();
    ASSERT_TRUE(writeItems(*access, {kDay, kDay + 3}));
    const int32_t created = static_cast<int32_t>(LoggerAccess::getCurrentTime().tv_sec) + 86400;
    ASSERT_TRUE(newFile(*access, created));
    const auto second = access->getCurrentFileInfo();
    ASSERT_NE(second, first);
    EXPECT_EQ(access->getFileListSize(), 2);
    EXPECT_EQ(access->getCurrentFileIndex(), 1);
    EXPECT_TRUE(access->isCurrentNewestFileInfo());
    EXPECT_EQ(sizeOnDisk(second), 44);
    EXPECT_EQ(access->getCurrentFileSize(), 44);
    EXPECT_EQ(access->getCurrentBaseType()->getFileInfo(0)->UtcEnd.tv_sec, created);
    EXPECT_EQ(measureLinks(access->getId()), 2);

    LoggerHeader header{};
    ASSERT_TRUE(LoggerFileSystem::readHeader(second.get(), header));
    EXPECT_EQ(header.uniqueId, 2);
}

TEST_F(LoggerAccessTest, CreateNewFileWithATimeOfZeroSecondsFailsAndLeavesTheListAlone)
{
    auto access = firstMeasureLogger();
    const auto type = access->getCurrentBaseType();
    const int rows = static_cast<int>(measureFileRows());
    access->setCurrentFileInfo(FileInfoPersistance().createInstance(LoggerType::CYCLIC));
    access->initCurrentFileInfo(utc(0, 500));
    const int errors = TrackObject::getErrorCounter();

    EXPECT_FALSE(access->createNewFile(utc(0, 500), 0));
    EXPECT_EQ(TrackObject::getErrorCounter(), errors + 1);
    EXPECT_TRUE(loggedLine(QStringLiteral("Logger.Access|ERROR|createNewFile, ") +
                           QString::fromUtf8(kMeasureId) + QStringLiteral(": timeStamp == 0")))
        << logText();
    EXPECT_EQ(access->getCurrentBaseType(), type);
    EXPECT_EQ(access->getFileListSize(), 1);
    EXPECT_EQ(measureFileRows(), rows);
    EXPECT_EQ(measureLinks(type->Id), 1);
    EXPECT_EQ(sizeOnDisk(access->getCurrentFileInfo()), -1);
}

TEST_F(LoggerAccessTest, CreateNewFileWithoutTypeOrFileFails)
{
    LoggerAccess access(LoggerType::CYCLIC, LoggerDataType::MEAN, kBlockSize);
    EXPECT_FALSE(access.createNewFile(utc(kDay), -1));
    EXPECT_TRUE(loggedLine("Logger.Access|ERROR|createNewFile: mCurrentBaseType == nullptr")) << logText();
    QString id = QString::fromUtf8(kMeasureId);
    DataMeasType measType;
    access.createCurrentBaseType(id, measType);
    EXPECT_FALSE(access.createNewFile(utc(kDay), -1));
    EXPECT_TRUE(loggedLine("Logger.Access|ERROR|createNewFile: mCurrentFileInfo == nullptr")) << logText();
}

// --- selecting files

TEST_F(LoggerAccessListTest, GetNewestFileInfoTakesANewEmptyFileAsSoonAsTheScanReachesIt)
{
    const auto withItems = fileOnCard(kDay, kDay + 7200, 0);
    const auto empty = fileOnCard(kDay + 100, 0, 0);
    const auto later = fileOnCard(kDay + 200, kDay + 90000, 0);
    const auto type = mAccess.getCurrentBaseType();
    type->AppendFileInfo(withItems);
    type->AppendFileInfo(empty);
    type->AppendFileInfo(later);

    mAccess.getNewestFileInfo();
    EXPECT_EQ(mAccess.getCurrentFileInfo(), empty);
    EXPECT_EQ(mAccess.getCurrentFileIndex(), 1);
}

TEST_F(LoggerAccessListTest, GetNewestFileInfoReadsTheStartOfAFileWhoseListEntryHasNone)
{
    const auto first = fileOnCard(kDay, kDay + 60, 0);
    const auto unread = fileOnCard(kDay + 100, kDay + 7200, 0);
    unread->UtcStart = DataTimespec{0, 0};
    unread->UtcEnd = DataTimespec{0, 0};
    const auto type = mAccess.getCurrentBaseType();
    type->AppendFileInfo(first);
    type->AppendFileInfo(unread);

    mAccess.getNewestFileInfo();
    EXPECT_EQ(mAccess.getCurrentFileInfo(), unread);
    EXPECT_EQ(unread->UtcStart.tv_sec, kDay + 7200);
    EXPECT_EQ(unread->UtcEnd.tv_sec, kDay + 7203);
}

TEST_F(LoggerAccessListTest, OfTwoFilesWithTheSameStartSecondsTheEarlierInTheListStaysCurrent)
{
    const auto earlier = fileOnCard(kDay, kDay + 600, 5);
    const auto second = fileOnCard(kDay + 100, kDay + 600, 900000);
    const auto type = mAccess.getCurrentBaseType();
    type->AppendFileInfo(earlier);
    type->AppendFileInfo(second);

    mAccess.getNewestFileInfo();
    EXPECT_EQ(mAccess.getCurrentFileInfo(), earlier);
}

TEST_F(LoggerAccessListTest, WithoutFilesThereIsNoCurrentFile)
{
    mAccess.setCurrentFileInfo(fileOnCard(kDay, kDay + 60, 0));
    mAccess.getNewestFileInfo();
    EXPECT_TRUE(mAccess.isCurrentFileInfoNull());
}

TEST_F(LoggerAccessListTest, OldestFileAndFilesTimeRange)
{
    const auto middle = fileOnCard(kDay, kDay + 600, 0);
    const auto oldest = fileOnCard(kDay + 100, kDay + 60, 0);
    const auto empty = fileOnCard(kDay + 200, 0, 0);
    const auto newest = fileOnCard(kDay + 300, kDay + 9000, 0);
    const auto type = mAccess.getCurrentBaseType();
    type->AppendFileInfo(middle);
    type->AppendFileInfo(oldest);
    type->AppendFileInfo(empty);
    type->AppendFileInfo(newest);

    EXPECT_EQ(mAccess.getOldestFileInfo(), empty); // a file without items starts at 0
    EXPECT_EQ(mAccess.getOldestFileIndex(), 2);
    EXPECT_EQ(mAccess.getFileInfo(oldest->Id), oldest);
    EXPECT_EQ(mAccess.getFileInfo(mLastId + 1), nullptr);
    EXPECT_EQ(mAccess.getNumExistingFiles(), 4);

    mAccess.getFilesTimeRange();
    EXPECT_EQ(mAccess.getCurrentBaseTypeUtcStart().tv_sec, kDay + 60);
    EXPECT_EQ(mAccess.getCurrentBaseTypeUtcEnd().tv_sec, kDay + 9003);
}

// --- keeping the catalogue in step

TEST_F(LoggerAccessTest, RemoveMissingFileEntriesNeverRemovesTheCurrentFile)
{
    auto access = firstMeasureLogger();
    const auto first = access->getCurrentFileInfo();
    ASSERT_TRUE(writeItems(*access, {kDay, kDay + 3}));
    first->UtcStart = DataTimespec{kDay, 0};
    ASSERT_TRUE(newFile(*access, kDay + 86400));
    const auto current = access->getCurrentFileInfo();
    // The previous file was stored anew by the new file: its entry in the list is a new object.
    const auto previous = access->getCurrentBaseType()->getFileInfo(0);
    ASSERT_NE(previous, current);
    const int typeId = access->getId();
    ASSERT_EQ(measureLinks(typeId), 2);

    ASSERT_TRUE(QFile::remove(LoggerFileSystem::getFullFileName(first.get())));
    ASSERT_TRUE(QFile::remove(LoggerFileSystem::getFullFileName(current.get())));

    ASSERT_TRUE(access->removeMissingFileEntries());
    EXPECT_EQ(access->getFileListSize(), 1);
    EXPECT_EQ(access->getCurrentFileInfo(), current);
    EXPECT_EQ(access->getCurrentFileIndex(), 0);
    EXPECT_EQ(measureLinks(typeId), 1);
    EXPECT_EQ(measureLinkTo(typeId, current->Id), 1);
    EXPECT_EQ(
        number("SELECT count(*) FROM \"LoggerFileInfoMeasure\" WHERE \"Id\"=" + std::to_string(previous->Id)),
        0);

    const auto stored = reload(LoggerType::CYCLIC, typeId);
    ASSERT_NE(stored, nullptr);
    ASSERT_EQ(stored->getFileListSize(), 1);
    EXPECT_EQ(stored->getFileInfo(0)->Id, current->Id);
}

TEST_F(LoggerAccessTest, RemoveMissingFileEntriesWithoutTypeOrFileFails)
{
    LoggerAccess access(LoggerType::CYCLIC, LoggerDataType::MEAN, kBlockSize);
    EXPECT_FALSE(access.removeMissingFileEntries());
}

TEST_F(LoggerAccessTest, UpdateCurrentDatasStoresTheRangesOfFileAndType)
{
    auto access = firstMeasureLogger();
    ASSERT_TRUE(writeItems(*access, {kDay, kDay + 3}));
    // A logger never asked about counts as changed: the first call reloads what is stored.
    ASSERT_TRUE(access->updateCurrentDatas(kMeasureId));
    access->setCurrentFileInfoUtcStart(utc(kDay));
    access->setCurrentFileInfoUtcEnd(utc(kDay + 3));
    access->setCurrentBaseTypeUtcStart(utc(kDay));
    access->setCurrentBaseTypeUtcEnd(utc(kDay + 3));
    ASSERT_TRUE(access->updateCurrentDatas(kMeasureId));

    const auto stored = reload(LoggerType::CYCLIC, access->getId());
    ASSERT_NE(stored, nullptr);
    EXPECT_EQ(stored->UtcStart.tv_sec, kDay);
    EXPECT_EQ(stored->UtcEnd.tv_sec, kDay + 3);
    ASSERT_EQ(stored->getFileListSize(), 1);
    EXPECT_EQ(stored->getFileInfo(0)->UtcStart.tv_sec, kDay);
    EXPECT_EQ(stored->getFileInfo(0)->UtcEnd.tv_sec, kDay + 3);
    EXPECT_TRUE(access->readCurrentBaseType("LoggerAccessTest"));
    EXPECT_TRUE(access->isValid());
}

TEST_F(LoggerAccessTest, UpdateCurrentDatasReloadsFirstWhereAnotherObjectChangedTheType)
{
    auto access = firstMeasureLogger();
    ASSERT_TRUE(access->updateCurrentDatas(kMeasureId));
    const auto file = access->getCurrentFileInfo();
    access->setCurrentBaseTypeUtcEnd(utc(kDay + 3));
    LoggerEntityChanged::setLoggerChanged(LoggerType::CYCLIC, LoggerDataType::MEAN, access->getId(), true);

    ASSERT_TRUE(access->updateCurrentDatas(kMeasureId));
    EXPECT_EQ(access->getCurrentBaseTypeUtcEnd().tv_sec, 0);
    EXPECT_NE(access->getCurrentFileInfo(), file);
    EXPECT_EQ(access->getCurrentFileInfoId(), file->Id);
    EXPECT_EQ(access->getFilePosition(), 44);
    EXPECT_FALSE(
        LoggerEntityChanged::getLoggerChanged(LoggerType::CYCLIC, LoggerDataType::MEAN, access->getId()));
}

TEST_F(LoggerAccessTest, ReadCurrentBaseTypeWithoutADatabaseSetsTheError)
{
    auto access = firstMeasureLogger();
    LoggerDb::getInstance().close();
    LoggerDb::getInstance().getAndResetLastError();
    EXPECT_FALSE(access->readCurrentBaseType("LoggerAccessTest"));
    EXPECT_EQ(LoggerDb::getInstance().getLastError(), QStringLiteral("Database is not initialized"));
    EXPECT_TRUE(loggedLine("Logger.Db|FATAL|Logger Interface == nullptr")) << logText();
    EXPECT_EQ(access->readBaseType(1, "LoggerAccessTest"), nullptr);
    EXPECT_EQ(access->readFileInfo(1, "LoggerAccessTest"), nullptr);
}

TEST_F(LoggerAccessTest, ReadDatabaseChangesFollowsAFileRemovedBehindItsBack)
{
    auto access = firstMeasureLogger();
    const auto first = access->getCurrentFileInfo();
    ASSERT_TRUE(writeItems(*access, {kDay, kDay + 3}));
    first->UtcStart = DataTimespec{kDay, 0};
    ASSERT_TRUE(newFile(*access, kDay + 86400));
    const auto current = access->getCurrentFileInfo();
    current->mFilePosition = 44;

    // Another object takes the current file out of the catalogue.
    auto other = reload(LoggerType::CYCLIC, access->getId());
    ASSERT_NE(other, nullptr);
    ASSERT_TRUE(DefnTypePersistance().removeFile(other, 1, nullptr));

    EXPECT_FALSE(access->readDatabaseChanges(false));
    EXPECT_EQ(access->getFileListSize(), 1);
    EXPECT_EQ(access->getCurrentFileInfoId(), access->getCurrentBaseType()->getFileInfo(0)->Id);
    EXPECT_TRUE(loggedLine("Logger.Db|FATAL|Info: getNewestFileInfo() ...")) << logText();
}

TEST_F(LoggerAccessTest, ReadDatabaseChangesBeginsAFileWhereNoneRemains)
{
    auto access = firstMeasureLogger();
    auto other = reload(LoggerType::CYCLIC, access->getId());
    ASSERT_NE(other, nullptr);
    ASSERT_TRUE(DefnTypePersistance().removeFile(other, 0, nullptr));

    EXPECT_TRUE(access->readDatabaseChanges(true));
    EXPECT_TRUE(loggedLine("Logger.Db|INFO|read database changes: create logger file")) << logText();
    ASSERT_FALSE(access->isCurrentFileInfoNull());
    EXPECT_EQ(sizeOnDisk(access->getCurrentFileInfo()), 44);
    EXPECT_TRUE(access->isValid());
}

TEST_F(LoggerAccessTest, DeleteDatasRemovesTheTypeAndLeavesItsFiles)
{
    auto access = firstMeasureLogger();
    const int typeId = access->getId();
    const auto file = access->getCurrentFileInfo();
    ASSERT_TRUE(access->openCurrentFile(true));
    ASSERT_TRUE(access->deleteDatas(kMeasureId));
    EXPECT_FALSE(access->getFile().isOpen());
    EXPECT_EQ(reload(LoggerType::CYCLIC, typeId), nullptr);
    EXPECT_EQ(measureLinks(typeId), 0);
    EXPECT_EQ(sizeOnDisk(file), 44);

    EXPECT_FALSE(access->deleteDatas(kMeasureId, nullptr));
    EXPECT_TRUE(loggedLine("Logger.Db|INFO|baseType == nullptr")) << logText();
}

TEST_F(LoggerAccessTest, DeleteAllDatasRemovesEveryTypeOfTheIdentification)
{
    auto first = firstMeasureLogger();
    auto second = firstMeasureLogger();
    const int firstId = first->getId();
    const int secondId = second->getId();
    ASSERT_NE(firstId, secondId);
    ASSERT_TRUE(first->deleteAllDatas(QString::fromUtf8(kMeasureId), kMeasureId));
    EXPECT_EQ(reload(LoggerType::CYCLIC, firstId), nullptr);
    EXPECT_EQ(reload(LoggerType::CYCLIC, secondId), nullptr);

    LoggerDb::getInstance().close();
    EXPECT_FALSE(first->deleteAllDatas(QString::fromUtf8(kMeasureId), kMeasureId));
    EXPECT_TRUE(loggedLine("Logger.Db|INFO|not initialized")) << logText();
}

TEST_F(LoggerAccessTest, ClearStatesForgetsTypeAndFile)
{
    auto access = firstMeasureLogger();
    const auto type = access->getCurrentBaseType();
    const auto file = access->getCurrentFileInfo();
    file->mFirstDataItem = false;
    access->setNewBaseTypeRange(false);
    access->clearStates();
    EXPECT_TRUE(access->isCurrentBaseTypeNull());
    EXPECT_TRUE(access->isCurrentFileInfoNull());
    EXPECT_TRUE(access->isNewBaseTypeRange());
    EXPECT_EQ(type->Id, -1);
    EXPECT_EQ(type->getFileListSize(), 0);
    EXPECT_EQ(file->Id, -1);
    EXPECT_TRUE(file->mFirstDataItem);
}

// --- bad input

TEST_F(LoggerAccessTest, AZeroBlockSizeGivesAFileThatIsNeverOpenForWriting)
{
    auto access = firstMeasureLogger(0);
    const auto file = access->getCurrentFileInfo();
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->DataBlockSize, 0);

    // Opening recreates a file without item size and leaves it closed.
    EXPECT_TRUE(access->openCurrentFile(true));
    EXPECT_FALSE(access->getFile().isOpen());
    EXPECT_EQ(LoggerFileSystem::getLastError(),
              LoggerFileSystem::getFullFileName(file.get()) + QStringLiteral(" logger file size"));

    const QByteArray block = itemsAt({kDay});
    EXPECT_FALSE(access->writeDatas(block.constData(), 1, block.size()));
    EXPECT_EQ(access->getUniqueId(), 0);
    EXPECT_EQ(sizeOnDisk(file), 44);
    EXPECT_EQ(measureLinkTo(access->getId(), file->Id), 1);
    EXPECT_EQ(number("SELECT \"DataBlockSize\" FROM \"LoggerFileInfoMeasure\" WHERE \"Id\"=" +
                     std::to_string(file->Id)),
              0);
    EXPECT_FALSE(access->checkCurrentDataBlockSize() && access->getDataBlockSize() != 0);
}

TEST_F(LoggerAccessTest, ABlockWithoutDataIsRefusedAndWritesNothing)
{
    auto access = firstMeasureLogger();
    ASSERT_TRUE(access->openCurrentFile(true));
    EXPECT_FALSE(access->writeDatas(nullptr, 1, kBlockSize));
    EXPECT_EQ(access->getUniqueId(), 0);
    EXPECT_EQ(sizeOnDisk(access->getCurrentFileInfo()), 44);

    ASSERT_TRUE(access->openCurrentFile(true));
    EXPECT_TRUE(access->writeDatas(nullptr, 0, 0));
    EXPECT_EQ(sizeOnDisk(access->getCurrentFileInfo()), 44);
}

TEST_F(LoggerAccessTest, ALoggerWithoutIdStringIsStoredWithAnEmptyIdentification)
{
    LoggerAccess access(LoggerType::EVENT, LoggerDataType::EVENT, 24);
    QString id;
    DataMeasType measType;
    access.createCurrentBaseType(id, measType);
    ASSERT_FALSE(access.isCurrentBaseTypeNull());
    EXPECT_TRUE(access.getConfigId().isEmpty());
    ASSERT_TRUE(access.persistBaseType(false, 24, "", false));

    const auto stored = reload(LoggerType::EVENT, access.getId());
    ASSERT_NE(stored, nullptr);
    EXPECT_TRUE(stored->getConfigId().isEmpty());
    EXPECT_EQ(stored->getFileListSize(), 1);
    EXPECT_EQ(sizeOnDisk(access.getCurrentFileInfo()), 44);
}

TEST_F(LoggerAccessTest, AVanishedDataFileIsCreatedAnewAndStaysInTheListOnce)
{
    auto access = firstMeasureLogger();
    const auto file = access->getCurrentFileInfo();
    ASSERT_TRUE(writeItems(*access, {kDay, kDay + 3}));
    ASSERT_TRUE(QFile::remove(LoggerFileSystem::getFullFileName(file.get())));

    EXPECT_FALSE(access->openCurrentFile(false));
    EXPECT_TRUE(LoggerFileSystem::getLastError().startsWith(QStringLiteral("open file: ")));

    ASSERT_TRUE(access->createCurrentFileIfNotExists());
    EXPECT_EQ(sizeOnDisk(file), 44);
    EXPECT_EQ(access->getFileListSize(), 1);
    LoggerHeader header{};
    ASSERT_TRUE(LoggerFileSystem::readHeader(file.get(), header));
    EXPECT_EQ(header.baseTypeId, access->getId());
    EXPECT_EQ(header.uniqueId, 2);

    // A file that exists is left as it is.
    ASSERT_TRUE(writeItems(*access, {kDay + 6}));
    ASSERT_TRUE(access->createCurrentFileIfNotExists());
    EXPECT_EQ(sizeOnDisk(file), 44 + kBlockSize);

    ASSERT_TRUE(access->updateCurrentDatas(kMeasureId));
    EXPECT_EQ(measureLinks(access->getId()), 1);
    EXPECT_EQ(measureLinkTo(access->getId(), file->Id), 1);
}

TEST_F(LoggerAccessTest, ANonVolatileStoreOfTheBaseClassKeepsNothing)
{
    NonVolatileInterface store;
    store.writeUniqueId(42);
    EXPECT_EQ(store.readUniqueId(), 0);
}

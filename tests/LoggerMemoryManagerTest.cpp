// LoggerMemoryManager: the quota accounts per family of loggers and the eviction decision at
// each block. The tests bring the writer's store up on a simulated card (WriterStore) with a real
// catalogue and real data files; the card service reports a logger partition of a set size, or,
// where a test needs a card that really fills, a small tmpfs is mounted and the service reports
// none. Each test runs in a process of its own.

#include "LoggerMemoryManager.h"
#include "Database.h"
#include "DefnBaseType.h"
#include "LogCapture.h"
#include "LoggerAccess.h"
#include "LoggerDb.h"
#include "LoggerFileSystem.h"
#include "LoggerMemoryInterface.h"
#include "LoggerRetriedTransaction.h"
#include "LoggerTestSeams.h"
#include "LoggerWithFiles.h"
#include "TmpfsMount.h"
#include "WriterStore.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include <sys/statvfs.h>

namespace {

constexpr int kItemSize = LoggerWithFiles::kItemSize;
constexpr int kItemsPerFile = LoggerWithFiles::kItemsPerFile;
constexpr int kFileBytes = LoggerWithFiles::kFileBytes;
constexpr int32_t kDay = 1763802000;          // 2025-11-22, mid-day in any zone
constexpr qint64 kPartitionBytes = 100000000; // what the card service reports

const LoggerTypeStruct kMean(LoggerType::CYCLIC, LoggerDataType::MEAN);
const LoggerTypeStruct kItq(LoggerType::CYCLIC, LoggerDataType::ITQ);

timespec at(int32_t seconds)
{
    timespec time{};
    time.tv_sec = seconds;
    return time;
}

LoggerMemoryManager& manager()
{
    return LoggerMemoryManager::getInstance();
}

// Files of the data folder, by full name.
QStringList filesOnCard(const QString& folder)
{
    QStringList files;
    QDirIterator entries(folder, QDir::Files, QDirIterator::Subdirectories);
    while (entries.hasNext())
        files << entries.next();
    files.sort();
    return files;
}

class LoggerMemoryManagerTest : public ::testing::Test {
protected:
    static WriterStore::Options notInitialized()
    {
        WriterStore::Options options;
        options.initialize = false;
        return options;
    }

    void SetUp() override { ASSERT_TRUE(mLogCaptured); }

    // The store on a card whose service reports a logger partition of `partition` bytes (0: none,
    // so that the card's file system is asked).
    void startStore(qint64 partition = kPartitionBytes)
    {
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        ASSERT_TRUE(mStore.card().control(QStringLiteral("SetLoggerSize"),
                                          {QVariant::fromValue<qlonglong>(partition)}))
            << mStore.card().errorString().toStdString();
        ASSERT_TRUE(QDir().mkpath(mStore.loggerPath()));
        ASSERT_TRUE(mStore.initializeWriter()) << LoggerDb::getInstance().getLastError().toStdString();
    }

    static std::unique_ptr<TestLogger> loggerWithFiles(const QString& id, int files, int32_t start = kDay)
    {
        return LoggerWithFiles::make(id, files, start);
    }

    static int fileNotRemovedLines()
    {
        int count = 0;
        for (const QString& line : LogCapture::lines())
            count += line.startsWith(QStringLiteral("Logger.Memory|INFO|file not removed ")) ? 1 : 0;
        return count;
    }

    const bool mLogCaptured = LogCapture::install();
    WriterStore mStore{notInitialized()};
    QFile mFile{QStringLiteral("/dev/null")};
};

} // namespace

// --- the accounts without a card

TEST(LoggerMemoryManagerDefaultsTest, TheDefaultQuotasAreSetForTwentyNineFamiliesInTheirOrder)
{
    const std::vector<LoggerTypeStruct>& classes = LoggerMemoryManager::storageClasses();
    ASSERT_EQ(classes.size(), 29u);
    EXPECT_EQ(classes.front(), LoggerTypeStruct(LoggerType::CYCLIC, LoggerDataType::VTQ));
    EXPECT_EQ(classes[3], LoggerTypeStruct(LoggerType::EVENT, LoggerDataType::EVENT));
    EXPECT_EQ(classes.back(), LoggerTypeStruct(LoggerType::CYCLIC, LoggerDataType::MEAN_24));
    LoggerMemoryInterface memory;
    EXPECT_EQ(memory.getMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::VTQ), 2);
    EXPECT_EQ(memory.getMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::DTQ), 15);
    EXPECT_EQ(memory.getMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::MEAN), 20);
    EXPECT_EQ(memory.getMaximalLoggerSize(LoggerType::EVENT, LoggerDataType::EVENT), 20);
    EXPECT_EQ(memory.getMaximalLoggerSize(LoggerType::OPERATOR, LoggerDataType::OPERATOR), 10);
    EXPECT_EQ(memory.getMaximalLoggerSize(LoggerType::DISTURB, LoggerDataType::DIGITAL), 0);
    EXPECT_EQ(memory.getMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::SMETER), 5);
    EXPECT_DOUBLE_EQ(memory.getMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::MEAN_24), 0.1);
    double sum = 0;
    for (const LoggerTypeStruct& storageClass : classes)
        sum += memory.getMaximalLoggerSize(storageClass.type, storageClass.dataType);
    EXPECT_GT(sum, 100.0) << "the shares overlap on purpose";
    // CYCLIC/ITQ has no quota at all, and asking does not give it one.
    EXPECT_EQ(memory.getMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::ITQ), 0);
    EXPECT_EQ(memory.getUsedBytes(LoggerType::CYCLIC, LoggerDataType::ITQ), 0);
}

TEST(LoggerMemoryManagerDefaultsTest, BeforeInitializeThereIsNoDiskAndNothingIsEvicted)
{
    ASSERT_TRUE(LogCapture::install());
    QFile file(QStringLiteral("/dev/null"));
    bool removed = false;
    LoggerMemoryManager& memory = manager();
    EXPECT_EQ(
        memory.addDataSize(LoggerType::CYCLIC, LoggerDataType::MEAN, 100, &file, true, removed, at(kDay)),
        nullptr);
    EXPECT_TRUE(removed);
    EXPECT_EQ(
        memory.addDataSize(LoggerType::CYCLIC, LoggerDataType::MEAN, 100, &file, true, removed, at(kDay)),
        nullptr);
    EXPECT_EQ(memory.getUsedBytes(LoggerType::CYCLIC, LoggerDataType::MEAN), 200);
    EXPECT_EQ(memory.getLoggerDiskSize(), 0);
    const DiskInfo disk = LoggerMemoryInterface().getDiskInfo();
    EXPECT_EQ(disk.total, 0);
    EXPECT_EQ(disk.free, 0);
    EXPECT_EQ(disk.used, 0);
    EXPECT_FALSE(LogCapture::text().contains(QStringLiteral("file not removed")));
}

TEST(LoggerMemoryManagerDefaultsTest, SubtractDeletedSizeOnAFamilyNeverSeenOpensItAtZeroAndCountsNothing)
{
    ASSERT_TRUE(LogCapture::install());
    LoggerMemoryManager::subtractDeletedSize(LoggerType::CYCLIC, LoggerDataType::ITQ, 500);
    EXPECT_EQ(manager().getUsedBytes(LoggerType::CYCLIC, LoggerDataType::ITQ), 0);
    EXPECT_EQ(manager().deletedFileCount(LoggerType::CYCLIC, LoggerDataType::ITQ), 0);
    // The family is known now: a second file is taken off its account and counted.
    EXPECT_EQ(manager().getUsedMemoryPercent(LoggerType::CYCLIC, LoggerDataType::ITQ), 0);
    EXPECT_FALSE(LogCapture::text().contains(QStringLiteral("No Memory key")));
    LoggerMemoryManager::subtractDeletedSize(LoggerType::CYCLIC, LoggerDataType::ITQ, 500);
    EXPECT_EQ(manager().getUsedBytes(LoggerType::CYCLIC, LoggerDataType::ITQ), -500);
    EXPECT_EQ(manager().deletedFileCount(LoggerType::CYCLIC, LoggerDataType::ITQ), 1);
    LoggerMemoryInterface().clearDeletedFileCount(LoggerType::CYCLIC, LoggerDataType::ITQ);
    EXPECT_EQ(LoggerMemoryInterface().deletedFileCount(LoggerType::CYCLIC, LoggerDataType::ITQ), 0);
}

TEST(LoggerMemoryManagerDefaultsTest, SubtractDataSizeEntersAnUnknownFamilyWithZeroNotBelow)
{
    manager().subtractDataSize(kItq, 700);
    EXPECT_EQ(manager().getUsedBytes(LoggerType::CYCLIC, LoggerDataType::ITQ), 0);
    manager().subtractDataSize(kItq, 700);
    EXPECT_EQ(manager().getUsedBytes(LoggerType::CYCLIC, LoggerDataType::ITQ), -700);
}

TEST(LoggerMemoryManagerDefaultsTest, UsedPercentOfAFamilyWithoutAnAccountLogsNoMemoryKeyAndIsZero)
{
    ASSERT_TRUE(LogCapture::install());
    EXPECT_EQ(manager().getUsedMemoryPercent(LoggerType::CYCLIC, LoggerDataType::ITQ), 0);
    EXPECT_TRUE(LogCapture::contains(QStringLiteral("Logger.Memory|INFO|No Memory key 1, 19")))
        << LogCapture::text().toStdString();
    // Known, but with no disk: 0 and nothing logged.
    bool removed = false;
    manager().addDataSize(LoggerType::CYCLIC, LoggerDataType::VTQ, 10, nullptr, false, removed, at(0));
    EXPECT_EQ(manager().getUsedMemoryPercent(LoggerType::CYCLIC, LoggerDataType::VTQ), 0);
    EXPECT_EQ(LogCapture::count(QStringLiteral("Logger.Memory|INFO|No Memory key 1, 19")), 1);
    EXPECT_FALSE(LogCapture::contains(QStringLiteral("Logger.Memory|INFO|No Memory key 1, 1")));
    EXPECT_EQ(manager().getFreeMemoryPercent(LoggerType::CYCLIC, LoggerDataType::VTQ), 0);
    EXPECT_EQ(manager().getUsedSize(LoggerType::CYCLIC, LoggerDataType::ITQ), 0);
}

// --- the accounts on a card

TEST_F(LoggerMemoryManagerTest, TheFirstChargeOfAFamilyOnlyOpensItsAccountWhateverTheNumbers)
{
    startStore();
    // CYCLIC/ITQ is the one family that initialize does not open, and it has no quota: every
    // checked charge after the first asks for an eviction.
    bool removed = false;
    EXPECT_EQ(manager().addDataSize(LoggerType::CYCLIC, LoggerDataType::ITQ, 2000000000, &mFile, true,
                                    removed, at(kDay)),
              nullptr);
    EXPECT_TRUE(removed);
    EXPECT_EQ(manager().getUsedBytes(LoggerType::CYCLIC, LoggerDataType::ITQ), 2000000000);
    EXPECT_EQ(fileNotRemovedLines(), 0) << LogCapture::text().toStdString();

    EXPECT_EQ(manager().addDataSize(LoggerType::CYCLIC, LoggerDataType::ITQ, 1, &mFile, true, removed,
                                    at(kDay + 1)),
              nullptr);
    EXPECT_EQ(fileNotRemovedLines(), 1) << "the second charge is checked, and there is no file to take";
    EXPECT_TRUE(LogCapture::contains(QStringLiteral("Logger.Memory|INFO|file not removed /dev/null")));
}

TEST_F(LoggerMemoryManagerTest, AChargeExactlyAtTheQuotaEvictsTheOldestFileAndJustBelowItNothingHappens)
{
    startStore();
    LoggerMemoryInterface memory;
    memory.setMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::MEAN, 100);
    auto logger = loggerWithFiles(QStringLiteral("quota.exact"), 3);
    const QString oldest = LoggerFileSystem::getFullFileName(
        logger->getLoggerAccess()->getCurrentBaseType()->getFileInfo(0).get());
    ASSERT_TRUE(QFile::exists(oldest));
    const QStringList before = filesOnCard(mStore.dataFolderPath());

    // The share the next charge makes, worked as the decision works it.
    constexpr int kCharge = 1000;
    const float used =
        static_cast<float>(memory.getUsedBytes(LoggerType::CYCLIC, LoggerDataType::MEAN) + kCharge);
    const float diskSize = static_cast<float>(manager().getLoggerDiskSize());
    ASSERT_GT(diskSize, 0.0f);
    const float percent = used / diskSize * 100.0f;

    bool removed = false;
    memory.setMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::MEAN, std::nextafter(percent, 1000.0f));
    EXPECT_EQ(manager().addDataSize(LoggerType::CYCLIC, LoggerDataType::MEAN, kCharge, &mFile, true, removed,
                                    at(kDay + 3600)),
              nullptr);
    EXPECT_TRUE(removed);
    EXPECT_EQ(fileNotRemovedLines(), 0);
    EXPECT_EQ(filesOnCard(mStore.dataFolderPath()), before);

    manager().subtractDataSize(kMean, kCharge);
    memory.setMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::MEAN, percent);
    const PtrLoggerFileInfo gone = manager().addDataSize(LoggerType::CYCLIC, LoggerDataType::MEAN, kCharge,
                                                         &mFile, true, removed, at(kDay + 3601));
    ASSERT_NE(gone, nullptr) << LogCapture::text().toStdString();
    EXPECT_TRUE(removed);
    EXPECT_EQ(LoggerFileSystem::getFullFileName(gone.get()), oldest);
    EXPECT_FALSE(QFile::exists(oldest));
    EXPECT_EQ(logger->getFileListSize(), 2);
    EXPECT_EQ(filesOnCard(mStore.dataFolderPath()).size(), before.size() - 1);
    EXPECT_TRUE(LogCapture::contains(QStringLiteral("Logger.AccessList|INFO|file removed: ") + oldest));
    // The evicted file's bytes left the account, and it was counted.
    EXPECT_EQ(memory.getUsedBytes(LoggerType::CYCLIC, LoggerDataType::MEAN),
              static_cast<int>(used) - kFileBytes);
    EXPECT_EQ(memory.deletedFileCount(LoggerType::CYCLIC, LoggerDataType::MEAN), 0)
        << "the first deleted file of a family starts its count";
}

TEST_F(LoggerMemoryManagerTest, ANegativeChargeWithCheckIsBookedAndNeverEvicts)
{
    startStore();
    LoggerMemoryInterface memory;
    auto logger = loggerWithFiles(QStringLiteral("quota.negative"), 3);
    memory.setMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::MEAN, 0);
    const int usedBefore = memory.getUsedBytes(LoggerType::CYCLIC, LoggerDataType::MEAN);
    ASSERT_GT(usedBefore, 0);
    bool removed = false;
    EXPECT_EQ(manager().addDataSize(LoggerType::CYCLIC, LoggerDataType::MEAN, -500, &mFile, true, removed,
                                    at(kDay + 3600)),
              nullptr);
    EXPECT_TRUE(removed);
    EXPECT_EQ(memory.getUsedBytes(LoggerType::CYCLIC, LoggerDataType::MEAN), usedBefore - 500);
    EXPECT_EQ(logger->getFileListSize(), 3);
    EXPECT_EQ(fileNotRemovedLines(), 0);
    // The same family over its quota with a positive charge does lose a file.
    EXPECT_NE(manager().addDataSize(LoggerType::CYCLIC, LoggerDataType::MEAN, 1, &mFile, true, removed,
                                    at(kDay + 3601)),
              nullptr);
    EXPECT_EQ(logger->getFileListSize(), 2);
}

TEST_F(LoggerMemoryManagerTest, AFamilyOverItsQuotaLosesOneFileAtEachCheckedBlockButNeverItsCurrentFile)
{
    startStore();
    LoggerMemoryInterface memory;
    memory.setMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::MEAN, 100);
    auto logger = loggerWithFiles(QStringLiteral("quota.writer"), 4);
    memory.setMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::MEAN, 0);
    // Each block now begins a file of its own and takes an old one: the logger keeps writing,
    // with the number of its files steady.
    for (int block = 0; block < 3; ++block) {
        ASSERT_TRUE(LoggerWithFiles::write(*logger, kDay + 3600 + block * 60)) << block;
        EXPECT_EQ(logger->getFileListSize(), 4) << block;
        const QString current =
            LoggerFileSystem::getFullFileName(logger->getLoggerAccess()->getCurrentFileInfo().get());
        EXPECT_TRUE(QFile::exists(current)) << block;
    }
    // Three files went; the first of a family starts its count at 0.
    EXPECT_EQ(memory.deletedFileCount(LoggerType::CYCLIC, LoggerDataType::MEAN), 2);
    // The files left are the newest: every one of them starts after every removed one.
    const auto type = logger->getLoggerAccess()->getCurrentBaseType();
    for (int index = 0; index < type->getFileListSize(); ++index)
        EXPECT_GE(type->getFileInfo(index)->UtcStart.tv_sec, kDay + 60) << index;
}

TEST_F(LoggerMemoryManagerTest, TheReserveIsFivePercentOfACardOfExactlySixtyFourGigabytes)
{
    startStore(64000000000LL);
    EXPECT_EQ(manager().getReserve(), 64000000000.0 * 0.05);
    EXPECT_EQ(LoggerMemoryInterface().getDiskInfo().total, 64000000000.0);
    EXPECT_EQ(LoggerMemoryInterface().getBlockSize(), 0);
}

TEST_F(LoggerMemoryManagerTest, TheReserveIsOnePercentOfACardOneByteAboveSixtyFourGigabytes)
{
    startStore(64000000001LL);
    EXPECT_EQ(manager().getReserve(), 64000000001.0 * 0.01);
}

TEST_F(LoggerMemoryManagerTest, WithTheCardServiceASecondReadReportsTheSameUsedValue)
{
    startStore();
    const DiskInfo first = LoggerMemoryInterface().getDiskInfo();
    EXPECT_EQ(first.total, static_cast<double>(kPartitionBytes));
    EXPECT_EQ(first.free, first.total - first.used);
    QFile big(mStore.loggerPath() + QStringLiteral("/big"));
    ASSERT_TRUE(big.open(QIODevice::WriteOnly));
    ASSERT_EQ(big.write(QByteArray(1 << 20, 'x')), 1 << 20);
    big.close();
    LoggerMemoryInterface().readDiskInfo();
    const DiskInfo second = LoggerMemoryInterface().getDiskInfo();
    EXPECT_EQ(second.used, first.used);
    EXPECT_EQ(second.free, first.free);
    EXPECT_EQ(manager().getUsedPercent(), std::ceil(first.used / first.total * 100.0));
}

// A real card that fills: a small tmpfs, and no logger partition from the service, so that the
// card's file system is asked.
class LoggerMemoryTmpfsTest : public LoggerMemoryManagerTest {
protected:
    static constexpr qint64 kCardBytes = 16 * 1024 * 1024;

    void mountCard()
    {
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        mCard = std::make_unique<TmpfsMount>(mStore.mountPoint(), kCardBytes);
        if (!mCard->mounted())
            GTEST_SKIP() << "a card that really fills needs a tmpfs, and mounting one needs root: "
                         << mCard->error().toStdString();
        ASSERT_TRUE(
            mStore.card().control(QStringLiteral("SetLoggerSize"), {QVariant::fromValue<qlonglong>(0)}));
        ASSERT_TRUE(QDir().mkpath(mStore.loggerPath()));
        ASSERT_TRUE(mStore.initializeWriter()) << LoggerDb::getInstance().getLastError().toStdString();
    }

    // A checked charge of ten bytes to the mean family at that time stamp.
    void chargeMean(timespec time)
    {
        bool removed = false;
        manager().addDataSize(LoggerType::CYCLIC, LoggerDataType::MEAN, 10, &mFile, true, removed, time);
    }

    void fill(const QString& name, qint64 bytes)
    {
        QFile file(mStore.mountPoint() + QLatin1Char('/') + name);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_EQ(file.write(QByteArray(static_cast<int>(bytes), 'f')), bytes);
    }

    std::unique_ptr<TmpfsMount> mCard;
};

TEST_F(LoggerMemoryTmpfsTest, TheCardsFileSystemGivesTotalFreeAndBlockSize)
{
    mountCard();
    if (IsSkipped())
        return;
    struct statvfs info {};
    ASSERT_EQ(statvfs(mStore.mountPoint().toLocal8Bit().constData(), &info), 0);
    const DiskInfo disk = LoggerMemoryInterface().getDiskInfo();
    EXPECT_EQ(disk.total, static_cast<double>(info.f_blocks * info.f_frsize));
    EXPECT_EQ(LoggerMemoryInterface().getBlockSize(), static_cast<double>(info.f_frsize));
    EXPECT_EQ(manager().getReserve(), disk.total * 0.05);
    EXPECT_EQ(disk.used, disk.total - disk.free);
    // The catalogue's bytes come off the loggers' space in whole blocks.
    const double block = info.f_frsize;
    EXPECT_EQ(manager().getDatabaseSize(),
              block * std::ceil(LoggerDb::getInstance().getDataBaseSize() / block));
    EXPECT_EQ(manager().getLoggerDiskSize(),
              disk.total - manager().getReserve() - manager().getDatabaseSize());
    EXPECT_DOUBLE_EQ(LoggerMemoryInterface().getDatabaseSize(),
                     manager().getDatabaseSize() / disk.total * 100.0);
}

TEST_F(LoggerMemoryTmpfsTest, AZeroTimeStampForcesTheCardToBeAskedAgain)
{
    mountCard();
    if (IsSkipped())
        return;
    LoggerMemoryInterface memory;
    memory.setMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::MEAN, 100);
    // A first time stamp, then one ten seconds later: the second does not ask the card.
    chargeMean(at(kDay));
    const double freeBefore = memory.getDiskInfo().free;
    fill(QStringLiteral("filler"), 1 << 20);
    chargeMean(at(kDay + 10));
    EXPECT_EQ(memory.getDiskInfo().free, freeBefore) << "asked again within 200 s";
    // Time stamp 0 stands for "long ago": the card is asked.
    chargeMean(at(0));
    EXPECT_LE(memory.getDiskInfo().free, freeBefore - (1 << 20));
    EXPECT_EQ(manager().getTimeOfLastAdd().tv_sec, 0);
}

TEST_F(LoggerMemoryTmpfsTest, MoreThanTwoHundredSecondsAfterTheLastChargeTheCardIsAskedAgain)
{
    mountCard();
    if (IsSkipped())
        return;
    LoggerMemoryInterface memory;
    memory.setMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::MEAN, 100);
    chargeMean(at(kDay));
    const double freeBefore = memory.getDiskInfo().free;
    fill(QStringLiteral("filler"), 1 << 20);
    chargeMean(at(kDay + 200));
    EXPECT_EQ(memory.getDiskInfo().free, freeBefore);
    chargeMean(at(kDay + 401));
    EXPECT_LE(memory.getDiskInfo().free, freeBefore - (1 << 20));
}

TEST_F(LoggerMemoryTmpfsTest, BelowTheReserveTheFamilyBeingWrittenLosesItsOldestFileWhateverItsShare)
{
    mountCard();
    if (IsSkipped())
        return;
    LoggerMemoryInterface memory;
    memory.setMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::MEAN, 100);
    auto logger = loggerWithFiles(QStringLiteral("reserve.mean"), 3);
    const QString oldest = LoggerFileSystem::getFullFileName(
        logger->getLoggerAccess()->getCurrentBaseType()->getFileInfo(0).get());
    std::vector<std::pair<std::string, LoggerMessageType>> messages;
    setLoggerMessageObserverForTesting(
        [&messages](const std::string& text, LoggerMessageType type) { messages.emplace_back(text, type); });
    // Someone else's file takes the card down to less than its reserve.
    const double reserve = manager().getReserve();
    fill(QStringLiteral("filler"), mCard->freeBytes() - static_cast<qint64>(reserve / 2));
    const QByteArray items = testItems(testSeconds(kDay + 3600, kItemsPerFile), kItemSize);
    ASSERT_NE(logger->writeDatas(items.constData(), kItemsPerFile, true, true), nullptr);
    setLoggerMessageObserverForTesting(nullptr);
    bool limitLogged = false;
    bool removeLogged = false;
    for (const auto& message : messages) {
        if (message.first.rfind("SD-Card limit reached, available = ", 0) == 0) {
            limitLogged = true;
            EXPECT_EQ(message.second, LOGGER_MESSAGE_INFO);
            EXPECT_NE(message.first.find(", reserve = "), std::string::npos) << message.first;
        }
        if (message.first.rfind("remove, used= ", 0) == 0) {
            removeLogged = true;
            EXPECT_EQ(message.second, LOGGER_MESSAGE_ROUTINE);
            EXPECT_NE(message.first.find(" max= 100 percent= "), std::string::npos) << message.first;
            EXPECT_NE(message.first.find(" fileName= "), std::string::npos) << message.first;
        }
    }
    EXPECT_TRUE(limitLogged);
    EXPECT_TRUE(removeLogged);
    EXPECT_EQ(logger->getFileListSize(), 3) << "the block's new file came, and an old one went";
    EXPECT_FALSE(QFile::exists(oldest));
}

TEST_F(LoggerMemoryTmpfsTest, InitializeRebuildsTheAccountsFromTheCatalogueAndTheFilesInWholeBlocks)
{
    mountCard();
    if (IsSkipped())
        return;
    auto first = loggerWithFiles(QStringLiteral("rebuild.one"), 3);
    auto second = loggerWithFiles(QStringLiteral("rebuild.two"), 2);
    const double block = LoggerMemoryInterface().getBlockSize();
    ASSERT_GT(block, 0);
    double expected = 0;
    for (const QString& file : filesOnCard(mStore.dataFolderPath()))
        expected += block * std::ceil(QFileInfo(file).size() / block);
    LoggerMemoryInterface().initialize(LoggerDb::getInstance().getDiskName());
    EXPECT_EQ(LoggerMemoryInterface().getUsedBytes(LoggerType::CYCLIC, LoggerDataType::MEAN), expected);
    EXPECT_EQ(LoggerMemoryInterface().readUsedMemorySize(LoggerType::CYCLIC, LoggerDataType::MEAN), expected);
    EXPECT_EQ(manager().getTimeOfLastAdd().tv_sec, 0);
    EXPECT_EQ(manager().getDiskFileSize(first->getLoggerAccess()->getCurrentFileInfo().get()),
              block * std::ceil(kFileBytes / block));
    EXPECT_TRUE(manager().debugUsedMemories().contains(QStringLiteral("memory size [")));
}

// --- file lists and clearing

TEST_F(LoggerMemoryManagerTest, TheFileListOfAFamilyHoldsEveryLoggersFilesOldestStartFirst)
{
    startStore();
    auto later = loggerWithFiles(QStringLiteral("list.later"), 2, kDay + 30);
    auto earlier = loggerWithFiles(QStringLiteral("list.earlier"), 2, kDay);
    const auto files = LoggerMemoryManager::getFileList(LoggerType::CYCLIC, LoggerDataType::MEAN, QString());
    ASSERT_EQ(files.size(), 4u);
    std::vector<int32_t> starts;
    for (const auto& file : files) {
        starts.push_back(static_cast<int32_t>(file->UtcStart.tv_sec));
        EXPECT_EQ(file->mType, LoggerType::CYCLIC);
    }
    // The catalogue learns the range of a file being written only when the logger leaves it or
    // updates it: the two current files start at 0 there, and come first.
    EXPECT_EQ(starts, (std::vector<int32_t>{0, 0, kDay, kDay + 30}));
    EXPECT_EQ(LoggerMemoryManager::getFileList(LoggerType::CYCLIC, LoggerDataType::MEAN,
                                               QStringLiteral("list.earlier"))
                  .size(),
              2u);
    EXPECT_TRUE(LoggerMemoryManager::getFileList(LoggerType::CYCLIC, LoggerDataType::VTQ, QString()).empty());
    LoggerDb::getInstance().close();
    EXPECT_TRUE(
        LoggerMemoryManager::getFileList(LoggerType::CYCLIC, LoggerDataType::MEAN, QString()).empty());
}

TEST_F(LoggerMemoryManagerTest, ClearMeasuredTypesRemovesTheFilesOfEveryLoggerOfTheFamily)
{
    startStore();
    auto first = loggerWithFiles(QStringLiteral("clear.one"), 2);
    auto second = loggerWithFiles(QStringLiteral("clear.two"), 1);
    ASSERT_EQ(filesOnCard(mStore.dataFolderPath()).size(), 3);
    std::vector<std::string> texts;
    setLoggerMessageObserverForTesting(
        [&texts](const std::string& text, LoggerMessageType) { texts.push_back(text); });
    LoggerMemoryManager::clearMeasuredTypes(LoggerType::CYCLIC, LoggerDataType::MEAN);
    setLoggerMessageObserverForTesting(nullptr);
    EXPECT_TRUE(filesOnCard(mStore.dataFolderPath()).isEmpty());
    EXPECT_EQ(std::count(texts.begin(), texts.end(), std::string("cannot clear Measured Types")), 0);
    // A second time the files are gone already, and that fails.
    setLoggerMessageObserverForTesting(
        [&texts](const std::string& text, LoggerMessageType) { texts.push_back(text); });
    LoggerMemoryManager::clearMeasuredTypes(LoggerType::CYCLIC, LoggerDataType::MEAN);
    setLoggerMessageObserverForTesting(nullptr);
    EXPECT_EQ(std::count(texts.begin(), texts.end(), std::string("cannot clear Measured Types")), 1);
}

TEST_F(LoggerMemoryManagerTest, WithoutTheCatalogueNothingIsRemovedAndTheAnswerSaysSo)
{
    startStore();
    LoggerDb::getInstance().close();
    bool removed = false;
    EXPECT_EQ(LoggerMemoryManager::removeOldestLoggerFileInfo(LoggerType::CYCLIC, LoggerDataType::MEAN,
                                                              &mFile, removed),
              nullptr);
    EXPECT_TRUE(removed);
    int index = 5;
    EXPECT_EQ(manager().getOldestLoggerFileInfo(LoggerType::CYCLIC, LoggerDataType::MEAN, index), nullptr);
    EXPECT_EQ(index, -1);
}

TEST_F(LoggerMemoryManagerTest, TheCatalogueSizeTheQuotaSubtractsFollowsEveryTransactionOfTheWriter)
{
    startStore();
    LoggerDb& db = LoggerDb::getInstance();
    const auto fileSize = [&db] { return static_cast<double>(QFileInfo(db.getFullDbName()).size()); };
    const double before = db.getDataBaseSize();
    EXPECT_EQ(before, fileSize());
    // A transaction that grows the file by far more than a page.
    ASSERT_TRUE(retriedTransaction("grow", [&db] {
        db.getDb()->executeRaw("CREATE TABLE filler(x BLOB)");
        db.getDb()->executeRaw("INSERT INTO filler VALUES(zeroblob(1000000))");
        return true;
    }));
    EXPECT_GT(fileSize(), before + 900000);
    EXPECT_EQ(db.getDataBaseSize(), fileSize());
    EXPECT_EQ(manager().getLoggerDiskSize(),
              manager().getDiskInfo().total - manager().getReserve() - fileSize());
}

// LoggerAccessList: the registry of the process's loggers by type, its change flags, and the
// choice and removal of a family's oldest file when its quota is reached. The eviction tests
// run on a simulated card with a real catalogue and real data files (WriterStore); each test
// runs in a process of its own.

#include "LoggerAccessList.h"
#include "DefnBaseType.h"
#include "LogCapture.h"
#include "LoggerAccess.h"
#include "LoggerDb.h"
#include "LoggerFileSystem.h"
#include "LoggerMemoryInterface.h"
#include "LoggerMemoryManager.h"
#include "LoggerWithFiles.h"
#include "WriterStore.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QMutex>

#include <atomic>
#include <memory>
#include <thread>

namespace {

constexpr int32_t kDay = 1763802000; // 2025-11-22, mid-day in any zone

LoggerAccessList& registry()
{
    return *LoggerAccessList::getInstance();
}

QString fileName(const std::shared_ptr<LoggerFileInfo>& file)
{
    return LoggerFileSystem::getFullFileName(file.get());
}

std::shared_ptr<LoggerFileInfo> fileAt(TestLogger& logger, int index)
{
    return logger.getLoggerAccess()->getCurrentBaseType()->getFileInfo(index);
}

// The creation time that the eviction compares: that of the logger's oldest file.
DataTimespec oldestCreated(TestLogger& logger)
{
    return logger.getLoggerAccess()->getOldestFileInfo()->UtcCreated;
}

class LoggerAccessListStoreTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mLogCaptured);
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        // No quota is reached while the files are written; the tests evict on their own.
        LoggerMemoryInterface().setMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::MEAN, 100);
    }

    const bool mLogCaptured = LogCapture::install();
    WriterStore mStore;
    QFile mFile{QStringLiteral("/dev/null")};
};

} // namespace

// --- the registry without a card

TEST(LoggerAccessListTest, AnAccessOfTypeNoneIsGivenBackAndNotListed)
{
    auto access = std::make_shared<LoggerAccess>(LoggerType::NONE, LoggerDataType::NONE, 16);
    const int before = registry().getListSize(LoggerType::NONE);
    const auto copy = registry().addLoggerAccess(access);
    EXPECT_EQ(copy, access);
    EXPECT_EQ(registry().getListSize(LoggerType::NONE), before);
    EXPECT_EQ(registry().indexOf(access), -1);
}

TEST(LoggerAccessListTest, NoneGivesNoOldestFileAndAnIndexOfMinusOne)
{
    int index = 7;
    EXPECT_EQ(registry().getOldestFileInfo(LoggerType::NONE, LoggerDataType::MEAN, index), nullptr);
    EXPECT_EQ(index, -1);
    index = 7;
    EXPECT_EQ(registry().getOldestFileInfo(LoggerType::EVENT, LoggerDataType::EVENT, index), nullptr);
    EXPECT_EQ(index, -1) << "an empty list";
}

TEST(LoggerAccessListTest, TheChangeFlagsArePerTypeAndATypeOutsideTheEnumReadsFalse)
{
    registry().clearAll();
    EXPECT_FALSE(registry().hasChanged(LoggerType::CYCLIC));
    registry().setChanged(LoggerType::CYCLIC, true);
    registry().setChanged(LoggerType::NONE, true);
    EXPECT_TRUE(registry().hasChanged(LoggerType::CYCLIC));
    EXPECT_TRUE(registry().hasChanged(LoggerType::NONE));
    EXPECT_FALSE(registry().hasChanged(LoggerType::EVENT));
    const auto outside = static_cast<LoggerType>(42);
    registry().setChanged(outside, true);
    EXPECT_FALSE(registry().hasChanged(outside));
    registry().getChangedVariable(LoggerType::OPERATOR) = true;
    EXPECT_TRUE(registry().hasChanged(LoggerType::OPERATOR));
    registry().clearAll();
    for (LoggerType type : {LoggerType::NONE, LoggerType::CYCLIC, LoggerType::EVENT, LoggerType::PQEVENT,
                            LoggerType::DISTURB, LoggerType::OPERATOR})
        EXPECT_FALSE(registry().hasChanged(type)) << static_cast<int>(type);
}

TEST(LoggerAccessListTest, ClearAllEmptiesEveryList)
{
    auto cyclic = std::make_shared<LoggerAccess>(LoggerType::CYCLIC, LoggerDataType::MEAN, 16);
    auto event = std::make_shared<LoggerAccess>(LoggerType::EVENT, LoggerDataType::EVENT, 16);
    registry().addLoggerAccess(cyclic);
    registry().addLoggerAccess(event);
    EXPECT_GE(registry().getListSize(LoggerType::CYCLIC), 1);
    EXPECT_GE(registry().getListSize(LoggerType::EVENT), 1);
    registry().clearAll();
    EXPECT_EQ(registry().getListSize(LoggerType::CYCLIC), 0);
    EXPECT_EQ(registry().getListSize(LoggerType::EVENT), 0);
    EXPECT_EQ(registry().getFileListSize(LoggerType::CYCLIC), 0);
    EXPECT_EQ(registry().updateList(LoggerType::CYCLIC), 0);
}

// --- the registry of started loggers

TEST_F(LoggerAccessListStoreTest, IndexOfFindsTheLoggerByDataTypeAndIdentification)
{
    auto first = LoggerWithFiles::make(QStringLiteral("list.first"), 1, kDay);
    auto second = LoggerWithFiles::make(QStringLiteral("list.second"), 2, kDay);
    const int position = registry().indexOf(second->getLoggerAccess());
    ASSERT_GE(position, 0);
    EXPECT_EQ(registry().getAccessList(LoggerType::CYCLIC).at(position), second->getLoggerAccess());
    EXPECT_LT(registry().indexOf(first->getLoggerAccess()), position);
    auto stranger = std::make_shared<LoggerAccess>(LoggerType::CYCLIC, LoggerDataType::VTQ, 16);
    EXPECT_EQ(registry().indexOf(stranger), -1);
    EXPECT_EQ(registry().getFileListSize(LoggerType::CYCLIC), 3);
    EXPECT_EQ(registry().updateList(LoggerType::CYCLIC), registry().getListSize(LoggerType::CYCLIC));
}

// --- the eviction choice

TEST_F(LoggerAccessListStoreTest, ALoggerWithASingleFileIsNeverChosenHoweverOldItsFile)
{
    // The logger made first has the oldest file of all.
    auto single = LoggerWithFiles::make(QStringLiteral("evict.single"), 1, kDay - 86400);
    int index = 5;
    EXPECT_EQ(registry().getOldestFileInfo(LoggerType::CYCLIC, LoggerDataType::MEAN, index), nullptr);
    EXPECT_EQ(index, -1);

    // The family is over its quota: the caller asks, nothing goes, and it says so.
    LoggerMemoryInterface memory;
    memory.setMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::MEAN, 0);
    bool removed = false;
    EXPECT_EQ(memory.addDataSize(LoggerType::CYCLIC, LoggerDataType::MEAN, 100, &mFile, true, removed,
                                 timespec{kDay, 0}),
              nullptr);
    EXPECT_TRUE(LogCapture::contains(QStringLiteral("Logger.Memory|INFO|file not removed /dev/null")))
        << LogCapture::text().toStdString();
    EXPECT_TRUE(QFile::exists(fileName(fileAt(*single, 0))));

    // A younger logger with two files loses its older file; the single old one stays.
    auto pair = LoggerWithFiles::make(QStringLiteral("evict.pair"), 2, kDay);
    ASSERT_LE(oldestCreated(*single).tv_sec, oldestCreated(*pair).tv_sec);
    const QString pairOldest = fileName(fileAt(*pair, 0));
    const auto gone = registry().removeOldestFile(LoggerType::CYCLIC, LoggerDataType::MEAN);
    ASSERT_NE(gone, nullptr);
    EXPECT_EQ(fileName(gone), pairOldest);
    EXPECT_FALSE(QFile::exists(pairOldest));
    EXPECT_EQ(single->getFileListSize(), 1);
    EXPECT_EQ(pair->getFileListSize(), 1);
}

TEST_F(LoggerAccessListStoreTest, OnEqualCreationTimesTheLoggerEarlierInTheListLosesItsFile)
{
    auto earlier = LoggerWithFiles::make(QStringLiteral("tie.earlier"), 2, kDay + 600);
    auto later = LoggerWithFiles::make(QStringLiteral("tie.later"), 2, kDay);
    // The two were made within moments of each other: the same second, the same name on the
    // card. In memory their oldest files now share the creation time to the nanosecond.
    later->getLoggerAccess()->getOldestFileInfo()->UtcCreated = oldestCreated(*earlier);
    int index = -1;
    EXPECT_EQ(registry().getOldestFileInfo(LoggerType::CYCLIC, LoggerDataType::MEAN, index),
              earlier->getLoggerAccess());
    EXPECT_EQ(index, 0);
    const QString expected = fileName(fileAt(*earlier, 0));
    const auto gone = registry().removeOldestFile(LoggerType::CYCLIC, LoggerDataType::MEAN);
    ASSERT_NE(gone, nullptr);
    EXPECT_EQ(fileName(gone), expected);
    EXPECT_EQ(earlier->getFileListSize(), 1);
    EXPECT_EQ(later->getFileListSize(), 2);
    EXPECT_TRUE(LogCapture::contains(QStringLiteral("Logger.AccessList|INFO|file removed: ") + expected));

    // A strictly earlier creation wins over the list's order.
    auto third = LoggerWithFiles::make(QStringLiteral("tie.third"), 2, kDay + 1200);
    DataTimespec before = oldestCreated(*later);
    before.tv_sec -= 1;
    third->getLoggerAccess()->getOldestFileInfo()->UtcCreated = before;
    EXPECT_EQ(registry().getOldestFileInfo(LoggerType::CYCLIC, LoggerDataType::MEAN, index),
              third->getLoggerAccess());
}

TEST_F(LoggerAccessListStoreTest, ALoggerOfAnotherDataTypeIsNotChosen)
{
    auto vtq = LoggerWithFiles::make(QStringLiteral("other.vtq"), 3, kDay, LoggerDataType::VTQ);
    int index = 3;
    EXPECT_EQ(registry().getOldestFileInfo(LoggerType::CYCLIC, LoggerDataType::MEAN, index), nullptr);
    EXPECT_EQ(index, -1);
    EXPECT_EQ(registry().removeOldestFile(LoggerType::CYCLIC, LoggerDataType::MEAN), nullptr);
    EXPECT_EQ(vtq->getFileListSize(), 3);
}

TEST_F(LoggerAccessListStoreTest, TheFileALoggerWritesToIsKeptWhereverItStandsInTheList)
{
    auto logger = LoggerWithFiles::make(QStringLiteral("keep.current"), 2, kDay);
    const auto access = logger->getLoggerAccess();
    const auto first = fileAt(*logger, 0);
    const auto current = access->getCurrentFileInfo();
    access->setCurrentFileInfo(first);
    EXPECT_EQ(registry().removeOldestFile(LoggerType::CYCLIC, LoggerDataType::MEAN), nullptr);
    EXPECT_TRUE(QFile::exists(fileName(first)));
    EXPECT_EQ(logger->getFileListSize(), 2);
    EXPECT_TRUE(LogCapture::contains(
        QStringLiteral("Logger.AccessList|INFO|removeOldestFile: current file kept, ") + fileName(first)));
    access->setCurrentFileInfo(current);
    EXPECT_NE(registry().removeOldestFile(LoggerType::CYCLIC, LoggerDataType::MEAN), nullptr);
    EXPECT_FALSE(QFile::exists(fileName(first)));
}

TEST_F(LoggerAccessListStoreTest, ALoggerBusyInAnotherThreadKeepsItsFileUntilItIsFree)
{
    auto logger = LoggerWithFiles::make(QStringLiteral("busy.logger"), 2, kDay);
    const QString oldest = fileName(fileAt(*logger, 0));
    QMutex* saveAccess = logger->getLoggerAccess()->getSaveAccess();
    std::atomic<bool> holding{false};
    std::atomic<bool> release{false};
    std::thread writer([&] {
        saveAccess->lock();
        holding = true;
        while (!release)
            std::this_thread::yield();
        saveAccess->unlock();
    });
    while (!holding)
        std::this_thread::yield();
    EXPECT_EQ(registry().removeOldestFile(LoggerType::CYCLIC, LoggerDataType::MEAN), nullptr);
    EXPECT_TRUE(QFile::exists(oldest));
    release = true;
    writer.join();
    const auto gone = registry().removeOldestFile(LoggerType::CYCLIC, LoggerDataType::MEAN);
    ASSERT_NE(gone, nullptr);
    EXPECT_EQ(fileName(gone), oldest);
}

TEST_F(LoggerAccessListStoreTest, TheRemovalTakesFileAndRowAndCreditsTheFamily)
{
    auto logger = LoggerWithFiles::make(QStringLiteral("credit.logger"), 3, kDay);
    LoggerMemoryInterface memory;
    const int usedBefore = memory.getUsedBytes(LoggerType::CYCLIC, LoggerDataType::MEAN);
    const auto gone = registry().removeOldestFile(LoggerType::CYCLIC, LoggerDataType::MEAN);
    ASSERT_NE(gone, nullptr);
    EXPECT_EQ(memory.getUsedBytes(LoggerType::CYCLIC, LoggerDataType::MEAN),
              usedBefore - LoggerWithFiles::kFileBytes);
    // The catalogue no longer names the file: a fresh read of the logger's type has two.
    const auto stored = logger->getLoggerAccess()->readBaseType(logger->getId(), "test");
    ASSERT_NE(stored, nullptr);
    EXPECT_EQ(stored->getFileListSize(), 2);
    for (int index = 0; index < stored->getFileListSize(); ++index)
        EXPECT_NE(fileName(stored->getFileInfo(index)), fileName(gone));
    // Without the catalogue nothing is removed.
    LoggerDb::getInstance().close();
    EXPECT_EQ(registry().removeOldestFile(LoggerType::CYCLIC, LoggerDataType::MEAN), nullptr);
}

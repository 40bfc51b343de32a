// The write engine of LoggerBase: blocks of items on their way into data files. Splitting,
// order, time ranges, new files on day count, size and changed header, and the agreement of
// files and catalogue afterwards. Simulated card, real catalogue (WriterStore); each test runs in
// a process of its own.

#include "Database.h"
#include "DefnBaseType.h"
#include "DefnTypePersistance.h"
#include "FaultInjectingFileIo.h"
#include "LogCapture.h"
#include "LoggerAccess.h"
#include "LoggerBase.h"
#include "LoggerDb.h"
#include "LoggerFileIo.h"
#include "LoggerFileSystem.h"
#include "LoggerHeader.h"
#include "LoggerRetriedTransaction.h"
#include "TemporaryCatalogue.h"
#include "TestLogger.h"
#include "WriterStore.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QFileInfo>

#include <atomic>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int kBlockSize = 16;
constexpr int32_t kDay = 1763802000; // 2025-11-22, in the middle of a day in any zone
constexpr int32_t kSecondsPerDay = 86400;
const QString kMeasureId = QStringLiteral("mean_3s.signal_3s.out.mean_out");

// A file limit that holds ten items: itemsPerFile 10, limit 12.
constexpr int kTenItems = 44 + 10 * kBlockSize;
constexpr int kLimit = 12;

qint64 sizeOnDisk(const PtrLoggerFileInfo& info)
{
    const QFileInfo file(LoggerFileSystem::getFullFileName(info.get()));
    return file.exists() ? file.size() : -1;
}

// The time stamps of the items in a data file.
std::vector<int32_t> stampsInFile(const PtrLoggerFileInfo& info, int blockSize = kBlockSize)
{
    std::vector<int32_t> stamps;
    QFile file(LoggerFileSystem::getFullFileName(info.get()));
    if (!file.open(QIODevice::ReadOnly)) {
        return stamps;
    }
    const QByteArray content = file.readAll();
    for (int offset = 44; offset + blockSize <= content.size(); offset += blockSize) {
        DataTimespec stamp{0, 0};
        std::memcpy(&stamp, content.constData() + offset, sizeof(stamp));
        stamps.push_back(stamp.tv_sec);
    }
    return stamps;
}

LoggerHeader headerOf(const PtrLoggerFileInfo& info)
{
    LoggerHeader header{};
    LoggerFileSystem::readHeader(info.get(), header);
    return header;
}

class WriteEngineTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mLogCaptured);
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        ASSERT_TRUE(mLogger.startLogger());
        ASSERT_EQ(mLogger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
    }

    PtrLoggerFileInfo write(const std::vector<int32_t>& seconds, bool allowNewFile = true,
                            bool checkOrder = true)
    {
        const QByteArray block = testItems(seconds, kBlockSize);
        return mLogger.writeDatas(block.constData(), static_cast<int>(seconds.size()), allowNewFile,
                                  checkOrder);
    }

    PtrLoggerFileInfo current() { return mLogger.getLoggerAccess()->getCurrentFileInfo(); }

    // The type as the catalogue holds it, with its file list in link order.
    std::shared_ptr<DefnBaseType> storedType()
    {
        std::shared_ptr<DefnBaseType> type;
        EXPECT_TRUE(retriedTransaction("WriteEngineTest", [&] {
            type = DefnTypePersistance().readBaseType(LoggerType::CYCLIC, mLogger.getId());
            return true;
        }));
        return type;
    }

    // Every file of the catalogue: its header names the type and continues the unique ids of
    // the file before, its size is the header and whole items, its range is that of its items.
    // Gives the number of items over all files.
    int expectCatalogueAgreesWithFiles()
    {
        EXPECT_TRUE(mLogger.updateAccess());
        const auto type = storedType();
        EXPECT_NE(type, nullptr);
        if (!type) {
            return -1;
        }
        int items = 0;
        int nextUniqueId = -1;
        for (int index = 0; index < type->getFileListSize(); ++index) {
            const auto file = type->getFileInfo(index);
            SCOPED_TRACE("file " + std::to_string(index));
            const LoggerHeader header = headerOf(file);
            EXPECT_EQ(header.baseTypeId, mLogger.getId());
            EXPECT_EQ(header.dataType, static_cast<int32_t>(LoggerDataType::MEAN));
            EXPECT_EQ(file->HeaderSize, 44);
            EXPECT_EQ(file->DataBlockSize, kBlockSize);
            const std::vector<int32_t> stamps = stampsInFile(file);
            EXPECT_EQ(sizeOnDisk(file), 44 + static_cast<qint64>(stamps.size()) * kBlockSize);
            if (!stamps.empty()) {
                EXPECT_EQ(file->UtcStart.tv_sec, stamps.front());
                EXPECT_EQ(file->UtcEnd.tv_sec, stamps.back());
            }
            if (nextUniqueId >= 0) {
                EXPECT_EQ(header.uniqueId, nextUniqueId);
            }
            nextUniqueId = header.uniqueId + static_cast<int>(stamps.size());
            items += static_cast<int>(stamps.size());
        }
        EXPECT_EQ(nextUniqueId, mLogger.getFirstUniqueId());
        return items;
    }

    const bool mLogCaptured = LogCapture::install();
    WriterStore mStore;
    TestLogger mLogger{kMeasureId, kBlockSize};
};

} // namespace

// --- splitting

TEST_F(WriteEngineTest, ABlockOfLimitItemsIsWrittenInOnePiece)
{
    mLogger.setMaximumFileSize(kTenItems);
    ASSERT_NE(write(testSeconds(kDay, kLimit)), nullptr);
    EXPECT_EQ(mLogger.getFileListSize(), 1);
    EXPECT_EQ(sizeOnDisk(current()), 44 + kLimit * kBlockSize);
}

TEST_F(WriteEngineTest, LimitPlusOneIsSplitAndOnlyThePartOfOneBeginsANewFile)
{
    mLogger.setMaximumFileSize(kTenItems);
    ASSERT_NE(write(testSeconds(kDay, kLimit)), nullptr);
    const auto first = current();
    // The old file is already over its limit: the part of twelve still goes there.
    ASSERT_NE(write(testSeconds(kDay + 100, kLimit + 1)), nullptr);
    EXPECT_EQ(mLogger.getFileListSize(), 2);
    EXPECT_EQ(stampsInFile(first).size(), static_cast<size_t>(2 * kLimit));
    EXPECT_EQ(stampsInFile(current()), std::vector<int32_t>{kDay + 100 + kLimit});
    EXPECT_EQ(expectCatalogueAgreesWithFiles(), 2 * kLimit + 1);
}

// --- refused blocks

TEST_F(WriteEngineTest, AnEmptyBlockReturnsNullAndChangesNothing)
{
    ASSERT_NE(write({kDay}), nullptr);
    const QByteArray block = testItems({kDay + 1});
    EXPECT_EQ(mLogger.writeDatas(block.constData(), 0, true, true), nullptr);
    EXPECT_EQ(mLogger.writeDatas(block.constData(), -1, true, true), nullptr);
    EXPECT_EQ(mLogger.getCurrentUtc().tv_sec, kDay);
    EXPECT_EQ(sizeOnDisk(current()), 44 + kBlockSize);
    EXPECT_EQ(mLogger.getFirstUniqueId(), 1);
    EXPECT_FALSE(mLogger.updateDatas(block.constData(), 0));
}

TEST_F(WriteEngineTest, ABlockWithTwoEqualTimeStampsIsRefusedWithTheCurrentTimeAtTheFirstOfThem)
{
    ASSERT_NE(write({kDay}), nullptr);
    EXPECT_EQ(write({kDay + 1, kDay + 2, kDay + 2, kDay + 3}), nullptr);
    EXPECT_EQ(mLogger.getCurrentUtc().tv_sec, kDay + 2);
    EXPECT_EQ(sizeOnDisk(current()), 44 + kBlockSize);
    EXPECT_EQ(mLogger.getFirstUniqueId(), 1);
    // Not rolled back: the next block must lie after the refused one's good part.
    EXPECT_EQ(write({kDay + 2}), nullptr);
    EXPECT_NE(write({kDay + 3}), nullptr);
    EXPECT_EQ(expectCatalogueAgreesWithFiles(), 2);
}

TEST_F(WriteEngineTest, ItemsOutOfOrderAreRefusedUnderCheckOrderAndTakenWithout)
{
    ASSERT_NE(write({kDay + 10}), nullptr);
    EXPECT_EQ(write({kDay + 5}), nullptr);
    EXPECT_EQ(write({kDay + 11, kDay + 9}), nullptr);
    EXPECT_EQ(stampsInFile(current()), std::vector<int32_t>{kDay + 10});
    // The typed path has checked its item on entry and passes no order check.
    EXPECT_NE(write({kDay + 20}, true, false), nullptr);
    EXPECT_EQ(expectCatalogueAgreesWithFiles(), 2);
}

TEST_F(WriteEngineTest, WithANewBaseTypeRangeTheOrderCheckIsSkipped)
{
    ASSERT_NE(write({kDay + 100}), nullptr);
    mLogger.getLoggerAccess()->setNewBaseTypeRange(true);
    ASSERT_NE(write({kDay + 50}), nullptr);
    EXPECT_EQ(mLogger.getCurrentUtc().tv_sec, kDay + 50);
    EXPECT_EQ(mLogger.getLoggerAccess()->getCurrentBaseTypeUtcStart().tv_sec, kDay + 50);
    EXPECT_EQ(mLogger.getLoggerAccess()->getCurrentBaseTypeUtcEnd().tv_sec, kDay + 50);
    EXPECT_FALSE(mLogger.getLoggerAccess()->isNewBaseTypeRange());
}

TEST_F(WriteEngineTest, AClosedLoggerRefusesWritesAndLeavesFileAndCatalogueAlone)
{
    ASSERT_NE(write({kDay}), nullptr);
    mLogger.closeFile();
    EXPECT_EQ(write({kDay + 1}), nullptr);
    const QByteArray block = testItems({kDay + 1});
    EXPECT_FALSE(mLogger.updateDatas(block.constData(), 1));
    EXPECT_EQ(sizeOnDisk(current()), 44 + kBlockSize);
    ASSERT_TRUE(mLogger.reOpenFile());
    EXPECT_EQ(expectCatalogueAgreesWithFiles(), 1);
}

TEST_F(WriteEngineTest, ADataFileThatVanishedIsCreatedAnewByTheNextWrite)
{
    ASSERT_NE(write({kDay, kDay + 1}), nullptr);
    const auto file = current();
    ASSERT_TRUE(QFile::remove(LoggerFileSystem::getFullFileName(file.get())));
    const auto written = write({kDay + 2});
    ASSERT_NE(written, nullptr);
    EXPECT_EQ(written->Id, file->Id);
    EXPECT_EQ(stampsInFile(written), std::vector<int32_t>{kDay + 2});
    EXPECT_EQ(mLogger.getFileListSize(), 1);
    // The range of the info still covers the lost items; the file holds what survived.
    EXPECT_TRUE(mLogger.updateAccess());
    EXPECT_EQ(headerOf(written).baseTypeId, mLogger.getId());
}

// Between two blocks of one writer the file may change behind its back: a torn item appended,
// or the file cut inside an item. The next block goes behind the last whole item all the same.
TEST_F(WriteEngineTest, ATornItemAppendedBetweenBlocksIsOverwrittenByTheNextBlock)
{
    ASSERT_NE(write({kDay, kDay + 1}), nullptr);
    const QString name = LoggerFileSystem::getFullFileName(current().get());
    QFile file(name);
    ASSERT_TRUE(file.open(QIODevice::Append));
    ASSERT_EQ(file.write("torn!", 5), 5);
    file.close();
    ASSERT_NE(write({kDay + 2, kDay + 3}), nullptr);
    EXPECT_EQ(stampsInFile(current()), (std::vector<int32_t>{kDay, kDay + 1, kDay + 2, kDay + 3}));
    EXPECT_EQ(QFileInfo(name).size(), 44 + 4 * kBlockSize);
    EXPECT_EQ(current()->mFilePosition, 44 + 4 * kBlockSize);
}

TEST_F(WriteEngineTest, AFileCutInsideAnItemBetweenBlocksContinuesBehindItsLastWholeItem)
{
    ASSERT_NE(write({kDay, kDay + 1, kDay + 2}), nullptr);
    const QString name = LoggerFileSystem::getFullFileName(current().get());
    ASSERT_TRUE(QFile::resize(name, 44 + 2 * kBlockSize - 3));
    ASSERT_NE(write({kDay + 3}), nullptr);
    EXPECT_EQ(stampsInFile(current()), (std::vector<int32_t>{kDay, kDay + 3}));
    EXPECT_EQ(QFileInfo(name).size(), 44 + 2 * kBlockSize);
}

// The file system as it is, counting the opens of data files by their kind: through a file
// object, or on a plain descriptor.
class OpenKinds : public LoggerFileIo {
public:
    bool open(QFile& file, QIODevice::OpenMode mode) override
    {
        ++fileObjects;
        return LoggerFileIo::open(file, mode);
    }
    int openDescriptor(const QByteArray& path, int flags) override
    {
        ++descriptors;
        return LoggerFileIo::openDescriptor(path, flags);
    }

    std::atomic<int> fileObjects{0};
    std::atomic<int> descriptors{0};
};

// The file that the logger opened last takes each further block on a plain descriptor, opened
// for the block and closed after it; no file object is opened for it.
TEST_F(WriteEngineTest, AFurtherBlockOfTheSameFileGoesThroughAPlainDescriptorAndNoFileObject)
{
    // The first block goes to the file that the start opened, the second opens it in full.
    ASSERT_NE(write({kDay}), nullptr);
    ASSERT_NE(write({kDay + 1}), nullptr);
    OpenKinds io;
    const ScopedFileIo installed(&io);
    for (int32_t second = kDay + 2; second <= kDay + 4; ++second) {
        ASSERT_NE(write({second}), nullptr);
        EXPECT_FALSE(mLogger.getLoggerAccess()->isFileOpen());
    }
    EXPECT_EQ(io.descriptors.load(), 3);
    EXPECT_EQ(io.fileObjects.load(), 0);
    EXPECT_EQ(stampsInFile(current()), (std::vector<int32_t>{kDay, kDay + 1, kDay + 2, kDay + 3, kDay + 4}));
}

// A reopen on the descriptor that fails is no lost block: the full open follows, as for a file
// the logger does not know, and the block goes behind the last item.
TEST_F(WriteEngineTest, ABlockWhoseReopenOnADescriptorFailsTakesTheFullOpenAndIsWritten)
{
    // The second block opens the file in full, so that the third can take the descriptor.
    ASSERT_NE(write({kDay}), nullptr);
    ASSERT_NE(write({kDay + 1}), nullptr);
    FaultInjectingFileIo io;
    const ScopedFileIo installed(&io);
    io.failNth(FaultInjectingFileIo::Operation::Open, 1, FaultInjectingFileIo::Fault::IoError);
    ASSERT_NE(write({kDay + 2}), nullptr);
    EXPECT_TRUE(io.fired());
    EXPECT_EQ(io.count(FaultInjectingFileIo::Operation::Open), 2);
    EXPECT_FALSE(mLogger.getLoggerAccess()->isFileOpen());
    EXPECT_EQ(stampsInFile(current()), (std::vector<int32_t>{kDay, kDay + 1, kDay + 2}));
}

TEST_F(WriteEngineTest, AZeroBlockSizeWritesNothing)
{
    TestLogger logger(QStringLiteral("mean_3s.zero"), 0);
    ASSERT_TRUE(logger.startLogger());
    const QByteArray block = testItems({kDay});
    EXPECT_EQ(logger.writeDatas(block.constData(), 1, true, true), nullptr);
    EXPECT_FALSE(logger.updateDatas(block.constData(), 1));
    EXPECT_EQ(sizeOnDisk(logger.getLoggerAccess()->getCurrentFileInfo()), 44);
    EXPECT_EQ(logger.getFirstUniqueId(), 0);
}

// --- new files

TEST_F(WriteEngineTest, AFileOfExactlyTheMaximumSizeIsNotYetExceeded)
{
    mLogger.setMaximumFileSize(kTenItems);
    ASSERT_NE(write(testSeconds(kDay, 10)), nullptr);
    ASSERT_EQ(sizeOnDisk(current()), kTenItems);
    ASSERT_NE(write({kDay + 10}), nullptr);
    EXPECT_EQ(mLogger.getFileListSize(), 1);
    ASSERT_NE(write({kDay + 11}), nullptr);
    EXPECT_EQ(mLogger.getFileListSize(), 2);
    EXPECT_EQ(stampsInFile(current()), std::vector<int32_t>{kDay + 11});
    EXPECT_EQ(expectCatalogueAgreesWithFiles(), 12);
}

TEST_F(WriteEngineTest, ADayChangeWithoutAllowNewFileGoesToTheOldFileAndTheNextBlockBeginsTheNewOne)
{
    mLogger.setDaysPerFile(1);
    ASSERT_NE(write({kDay}), nullptr);
    const auto first = current();
    ASSERT_NE(write({kDay + kSecondsPerDay}, false), nullptr);
    EXPECT_TRUE(mLogger.isDayChanged());
    EXPECT_EQ(mLogger.getFileListSize(), 1);
    ASSERT_NE(write({kDay + kSecondsPerDay + 1}), nullptr);
    EXPECT_FALSE(mLogger.isDayChanged());
    EXPECT_EQ(mLogger.getFileListSize(), 2);
    EXPECT_EQ(stampsInFile(first), (std::vector<int32_t>{kDay, kDay + kSecondsPerDay}));
    EXPECT_EQ(stampsInFile(current()), std::vector<int32_t>{kDay + kSecondsPerDay + 1});
    // The new file is created at the old end of the type.
    EXPECT_EQ(current()->UtcCreated.tv_sec, kDay + kSecondsPerDay);
    EXPECT_EQ(expectCatalogueAgreesWithFiles(), 3);
}

TEST_F(WriteEngineTest, FilesRollOverOnTheDayCountOfAWeekAndADay)
{
    // One item an hour for eight days in blocks of six hours.
    constexpr int kHour = 3600;
    for (int block = 0; block < 8 * 4; ++block) {
        ASSERT_NE(write(testSeconds(kDay + block * 6 * kHour, 6, kHour)), nullptr) << block;
    }
    EXPECT_EQ(mLogger.getFileListSize(), 2);
    const auto type = storedType();
    ASSERT_NE(type, nullptr);
    const auto firstFile = type->getFileInfo(0);
    const std::vector<int32_t> stamps = stampsInFile(firstFile);
    ASSERT_FALSE(stamps.empty());
    // The first file spans seven calendar days counted from its first item; the block whose
    // last item reaches the seventh day begins the second file, all of it.
    EXPECT_LT(stamps.back() / kSecondsPerDay - stamps.front() / kSecondsPerDay, 7);
    const std::vector<int32_t> second = stampsInFile(current());
    ASSERT_GE(second.size(), 6u);
    EXPECT_EQ(second[5] / kSecondsPerDay - stamps.front() / kSecondsPerDay, 7);
    EXPECT_EQ(second.front(), stamps.back() + kHour);
    EXPECT_EQ(expectCatalogueAgreesWithFiles(), 8 * 24);
    EXPECT_EQ(mLogger.getFirstUniqueId(), 8 * 24);
}

TEST_F(WriteEngineTest, FilesRollOverOnTheSizeLimitAndUniqueIdsRunOn)
{
    mLogger.setMaximumFileSize(kTenItems);
    for (int block = 0; block < 20; ++block) {
        ASSERT_NE(write(testSeconds(kDay + block * 3, 3)), nullptr) << block;
    }
    EXPECT_GE(mLogger.getFileListSize(), 5);
    EXPECT_EQ(expectCatalogueAgreesWithFiles(), 60);
}

TEST_F(WriteEngineTest, AChangedHeaderScaleBeginsANewFileWithTheNewScales)
{
    ASSERT_NE(write({kDay, kDay + 1}), nullptr);
    const auto first = current();
    EXPECT_TRUE(mLogger.setHeaderParameters(2.0f, 3.0f));
    mLogger.setHeaderChanged(true);
    ASSERT_NE(write({kDay + 2}), nullptr);
    EXPECT_FALSE(mLogger.isHeaderChanged());
    EXPECT_EQ(mLogger.getFileListSize(), 2);
    EXPECT_NE(current()->Id, first->Id);
    const LoggerHeader header = headerOf(current());
    EXPECT_EQ(header.Parameter1, 2.0f);
    EXPECT_EQ(header.Parameter2, 3.0f);
    float voltage = 0.0f;
    float current = 0.0f;
    EXPECT_FALSE(mLogger.readHeaderParameters(voltage, current));
    EXPECT_EQ(voltage, 2.0f);
    EXPECT_EQ(expectCatalogueAgreesWithFiles(), 3);
}

TEST_F(WriteEngineTest, TwoHeaderValuesDifferingByExactlyOnePartInTenThousandAreNotChanged)
{
    mLogger.setHeaderParameters(9999.0f, 9999.0f);
    EXPECT_FALSE(mLogger.checkHeaderParameterChanged(10000.0f, 10000.0f));
    EXPECT_FALSE(mLogger.checkHeaderParameterChanged(9999.0f, 9999.0f));
    EXPECT_TRUE(mLogger.checkHeaderParameterChanged(10001.0f, 10000.0f));
    EXPECT_TRUE(mLogger.checkHeaderParameterChanged(10000.0f, 10001.0f));
}

// --- rewriting the last item

TEST_F(WriteEngineTest, UpdateDatasRewritesTheLastItemAndStoresTheRange)
{
    ASSERT_NE(write({kDay, kDay + 1}), nullptr);
    const int reads = mLogger.readsToUpdate();
    // The same stamp passes here: the rewrite replaces the item of that stamp.
    const QByteArray block = testItems({kDay + 1, kDay + 1}, kBlockSize);
    EXPECT_FALSE(mLogger.updateDatas(testItems({kDay}).constData(), 1));
    ASSERT_TRUE(mLogger.updateDatas(block.constData(), 1));
    EXPECT_EQ(mLogger.readsToUpdate(), reads + 1);
    EXPECT_EQ(stampsInFile(current()), (std::vector<int32_t>{kDay, kDay + 1}));
    const auto type = storedType();
    ASSERT_NE(type, nullptr);
    EXPECT_EQ(type->getFileInfo(0)->UtcEnd.tv_sec, kDay + 1);
    EXPECT_EQ(type->UtcStart.tv_sec, kDay);
    EXPECT_EQ(type->UtcEnd.tv_sec, kDay + 1);
}

TEST_F(WriteEngineTest, CheckUtcOrderTakesOnlyLaterStamps)
{
    ASSERT_NE(write({kDay}), nullptr);
    timespec stamp{};
    stamp.tv_sec = kDay;
    EXPECT_FALSE(mLogger.checkUtcOrder(stamp));
    stamp.tv_nsec = 1;
    EXPECT_TRUE(mLogger.checkUtcOrder(stamp));
    stamp.tv_sec = kDay - 1;
    stamp.tv_nsec = 999999999;
    EXPECT_FALSE(mLogger.checkUtcOrder(stamp));
}

// --- a new file while the current one is still empty

TEST_F(WriteEngineTest, ANewFileBegunOnTheFirstBlockLeavesNoEmptyFileThatLaterBlocksFallBackTo)
{
    const auto empty = current();
    const QString emptyName = LoggerFileSystem::getFullFileName(empty.get());
    ASSERT_EQ(sizeOnDisk(empty), 44);
    // The scales change before the first item: the first block begins a file of its own.
    mLogger.setHeaderChanged(true);
    ASSERT_NE(write({kDay, kDay + 1}), nullptr);
    const auto second = current();
    ASSERT_NE(second, empty);
    EXPECT_FALSE(QFile::exists(emptyName)) << "an empty file was left behind";
    ASSERT_TRUE(mLogger.updateAccess());
    // Later blocks follow the new file, not the empty one before it.
    ASSERT_NE(write({kDay + 2, kDay + 3}), nullptr);
    EXPECT_EQ(current(), second);
    EXPECT_EQ(stampsInFile(second), (std::vector<int32_t>{kDay, kDay + 1, kDay + 2, kDay + 3}));
    EXPECT_EQ(mLogger.getFileListSize(), 1);
    EXPECT_EQ(expectCatalogueAgreesWithFiles(), 4);
    const auto type = storedType();
    ASSERT_NE(type, nullptr);
    ASSERT_EQ(type->getFileListSize(), 1);
    EXPECT_EQ(type->getFileInfo(0)->UtcStart.tv_sec, kDay);
    EXPECT_EQ(type->getFileInfo(0)->UtcEnd.tv_sec, kDay + 3);
}

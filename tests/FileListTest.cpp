// The file-list builders of the read API: which data files a time range or a count of items
// read backward from a moment touches, in which order, and how many bytes they give. Real data
// files under a fresh root; the logger's type is held in memory, as a reader holds it after
// loading it from the catalogue.

#include "DataFileBuilder.h"
#include "DataItemsCalculator.h"
#include "DefnBaseType.h"
#include "FileListInfo.h"
#include "LoggerApiBase.h"
#include "LoggerFileIo.h"
#include "LoggerFileSystem.h"
#include "LoggerTestSeams.h"
#include "ScopedTimeZone.h"
#include "TemporaryStoreRoot.h"

#include <gtest/gtest.h>

#include <QFile>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr int kBlock = 16; // a DataXtq<float>
constexpr uint32_t kFirstGuid = 0x100;

timespec at(int32_t seconds, int32_t nanoseconds = 0)
{
    timespec t{};
    t.tv_sec = seconds;
    t.tv_nsec = nanoseconds;
    return t;
}

// A logger type as a reader holds it, with any file list, null entries included, which the
// catalogue's own classes would not take.
class ListedType : public DefnBaseType {
public:
    ListedType()
    {
        mType = LoggerType::CYCLIC;
        mDataType = LoggerDataType::VTQ;
    }
    int getFileListSize() const override { return static_cast<int>(mFiles.size()); }
    void AppendFileInfo(std::shared_ptr<LoggerFileInfo> fileInfo) override
    {
        mFiles.push_back(std::move(fileInfo));
    }
    std::shared_ptr<LoggerFileInfo> getFileInfo(int index) const override
    {
        return index >= 0 && index < getFileListSize() ? mFiles[static_cast<std::size_t>(index)] : nullptr;
    }
    QString getConfigId() const override { return QStringLiteral("u.rms"); }

private:
    std::vector<std::shared_ptr<LoggerFileInfo>> mFiles;
};

class FileListTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mRoot.isValid());
        LoggerFileSystem::setPath(mRoot.filePath("data"));
        mType = std::make_shared<ListedType>();
        setLoggerMessageObserverForTesting(
            [this](const std::string& text, LoggerMessageType type) { mMessages.emplace_back(text, type); });
    }
    void TearDown() override { setLoggerMessageObserverForTesting(nullptr); }

    // A data file of count items, step seconds apart from first on, appended to the type's
    // list with the catalogue's range set to that of its items.
    PtrLoggerFileInfo addFile(int count, int32_t first, int32_t step = 1)
    {
        DataFileBuilder builder(LoggerDataType::VTQ, kBlock);
        builder.guid(kFirstGuid + mFiles, 0).created(first).itemsEvery(count, first, step);
        ++mFiles;
        EXPECT_FALSE(builder.write().isEmpty());
        PtrLoggerFileInfo info = builder.fileInfo();
        if (count > 0) {
            info->UtcStart = builder.stamp(0);
            info->UtcEnd = builder.stamp(count - 1);
        }
        mType->AppendFileInfo(info);
        return info;
    }

    FileListInfo freshInfo() const
    {
        FileListInfo info;
        info.itemSize = kBlock;
        return info;
    }

    bool messageSeen(const std::string& text, LoggerMessageType type) const
    {
        for (const auto& message : mMessages) {
            if (message.first == text && message.second == type)
                return true;
        }
        return false;
    }

    ScopedTimeZone mZone{"UTC"};
    TemporaryStoreRoot mRoot;
    std::shared_ptr<DefnBaseType> mType;
    LoggerApiBase mApi;
    int mFiles = 0;
    std::vector<std::pair<std::string, LoggerMessageType>> mMessages;
};

using Files = std::vector<PtrLoggerFileInfo>;

// The real file system, counting the opens of each data file while it is installed.
class OpenCounter : public LoggerFileIo {
public:
    OpenCounter() { mPrevious = LoggerFileIo::install(this); }
    ~OpenCounter() override { LoggerFileIo::install(mPrevious); }

    bool open(QFile& file, QIODevice::OpenMode mode) override
    {
        ++mOpens[file.fileName()];
        return LoggerFileIo::open(file, mode);
    }
    int opensOf(const PtrLoggerFileInfo& file) const
    {
        const auto found = mOpens.find(LoggerFileSystem::getFullFileName(file.get()));
        return found == mOpens.end() ? 0 : found->second;
    }

private:
    LoggerFileIo* mPrevious = nullptr;
    std::map<QString, int> mOpens;
};

} // namespace

// --- the calculator

TEST(DataItemsCalculatorTest, StartsEmptyAndCountsWithoutABound)
{
    DataItemsCalculator calculator;
    EXPECT_EQ(calculator.mMaxItems, 0);
    EXPECT_EQ(calculator.mTotalItems, 0);
    calculator.calcNext(7, 16);
    calculator.calcNext(5, 24);
    EXPECT_EQ(calculator.mTotalItems, 12);
    EXPECT_EQ(calculator.mCurrentItems, 5);
    EXPECT_EQ(calculator.getTotalSize(), 12 * 24) << "the size of the file counted last";
}

TEST(DataItemsCalculatorTest, ABoundBelowOneNeverSetsAFlag)
{
    for (int bound : {0, -1, -1000}) {
        DataItemsCalculator calculator;
        calculator.start(bound, 16);
        for (int file = 0; file < 100; ++file) {
            calculator.calcNext(1000, 16);
            EXPECT_FALSE(calculator.mLimitReached);
            EXPECT_FALSE(calculator.mLimitPassed);
        }
        EXPECT_EQ(calculator.mTotalItems, 100000) << "bound " << bound;
    }
}

TEST(DataItemsCalculatorTest, AFileThatExactlyFillsTheBoundReachesItAndTheNextPassesIt)
{
    DataItemsCalculator calculator;
    calculator.start(10, 16);
    calculator.calcNext(10, 16);
    EXPECT_TRUE(calculator.mLimitReached);
    EXPECT_FALSE(calculator.mLimitPassed);
    EXPECT_EQ(calculator.mCurrentItems, 10);
    calculator.calcNext(10, 16);
    EXPECT_TRUE(calculator.mLimitPassed);
    EXPECT_EQ(calculator.mCurrentItems, 0);
    EXPECT_EQ(calculator.mTotalItems, 10);
}

TEST(DataItemsCalculatorTest, AFileBeyondTheBoundIsCutToTheRest)
{
    DataItemsCalculator calculator;
    calculator.start(25, 16);
    calculator.calcNext(10, 16);
    EXPECT_FALSE(calculator.mLimitReached);
    calculator.calcNext(20, 16);
    EXPECT_TRUE(calculator.mLimitReached);
    EXPECT_FALSE(calculator.mLimitPassed);
    EXPECT_EQ(calculator.mCurrentItems, 15);
    EXPECT_EQ(calculator.mTotalItems, 25);
    EXPECT_EQ(calculator.getTotalSize(), 25 * 16);
    calculator.start(0, 0);
    EXPECT_EQ(calculator.mTotalItems, 0);
    EXPECT_FALSE(calculator.mLimitReached);
}

// --- ranges

TEST(FileListRangeTest, BothEndsBelongToTheRange)
{
    LoggerApiBase api;
    EXPECT_TRUE(api.IsInRange(at(10), at(10), at(20)));
    EXPECT_TRUE(api.IsInRange(at(20), at(10), at(20)));
    EXPECT_TRUE(api.IsInRange(at(15, 5), at(15, 5), at(15, 5)));
    EXPECT_FALSE(api.IsInRange(at(9, 999999999), at(10), at(20)));
    EXPECT_FALSE(api.IsInRange(at(20, 1), at(10), at(20)));
    EXPECT_FALSE(api.IsInRange(at(15), at(20), at(10))) << "an inverted range holds nothing";
}

TEST(FileListRangeTest, ARangeOverlapsAFileWhenItLiesInsideOrHoldsAnEnd)
{
    LoggerApiBase api;
    EXPECT_TRUE(api.checkRange(at(12), at(13), at(10), at(20))) << "inside";
    EXPECT_TRUE(api.checkRange(at(5), at(10), at(10), at(20))) << "touches the start";
    EXPECT_TRUE(api.checkRange(at(20), at(30), at(10), at(20))) << "touches the end";
    EXPECT_TRUE(api.checkRange(at(0), at(30), at(10), at(20))) << "holds the file";
    EXPECT_FALSE(api.checkRange(at(0), at(9), at(10), at(20)));
    EXPECT_FALSE(api.checkRange(at(20, 1), at(30), at(10), at(20)));
}

// --- getTimeFileList

TEST_F(FileListTest, ARangeThatTouchesAFileOnlyAtItsEndSelectsIt)
{
    const auto file = addFile(10, 1000);
    addFile(10, 2000);
    FileListInfo info = freshInfo();
    const Files list = mApi.getTimeFileList(mType, at(1009), at(1500), -1, info);
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0], file);
    EXPECT_EQ(info.totalSize, kBlock) << "the one item at the shared instant";
}

TEST_F(FileListTest, ARangeInsideOneFileSelectsThatFileAlone)
{
    addFile(10, 1000);
    const auto middle = addFile(10, 2000);
    addFile(10, 3000);
    FileListInfo info = freshInfo();
    const Files list = mApi.getTimeFileList(mType, at(2003), at(2005), -1, info);
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0], middle);
    EXPECT_EQ(info.totalSize, 3 * kBlock);
    EXPECT_EQ(info.startItem, 0);
}

TEST_F(FileListTest, ABoundEqualToTheFirstFileKeepsItAndLeavesTheNextOut)
{
    const auto first = addFile(10, 1000);
    addFile(10, 2000);
    FileListInfo info = freshInfo();
    const Files list = mApi.getTimeFileList(mType, at(0), at(5000), 10, info);
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0], first);
    EXPECT_EQ(info.totalSize, 10 * kBlock);
}

TEST_F(FileListTest, WithoutABoundEveryOverlappingFileIsListedInCatalogueOrder)
{
    // The catalogue's order is kept, even where it is not by time.
    const auto late = addFile(5, 3000);
    const auto early = addFile(5, 1000);
    addFile(5, 9000);
    for (int bound : {0, -1}) {
        FileListInfo info = freshInfo();
        const Files list = mApi.getTimeFileList(mType, at(0), at(5000), bound, info);
        ASSERT_EQ(list.size(), 2u);
        EXPECT_EQ(list[0], late);
        EXPECT_EQ(list[1], early);
        EXPECT_EQ(info.totalSize, 10 * kBlock);
    }
}

TEST_F(FileListTest, TheTrueEndOfAFileStillBeingWrittenReplacesTheCataloguedOne)
{
    const auto file = addFile(10, 1000);
    file->UtcEnd = DataTimespec{1004, 0}; // the catalogue lags behind the writer
    FileListInfo info = freshInfo();
    const Files list = mApi.getTimeFileList(mType, at(1008), at(1100), -1, info);
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(file->UtcEnd.tv_sec, 1009) << "the reader's copy now has the last item's time";
    EXPECT_EQ(info.totalSize, 2 * kBlock);
}

TEST_F(FileListTest, FilesThatTheCatalogueDatesOutsideTheRangeAreNotOpened)
{
    const auto oldest = addFile(10, 1000);
    const auto middle = addFile(10, 2000);
    const auto later = addFile(10, 3000);
    const auto newest = addFile(10, 4000);
    oldest->UtcEnd = DataTimespec{1012, 0}; // wider than its items: a block came out of order
    OpenCounter counter;
    FileListInfo info = freshInfo();
    const Files list = mApi.getTimeFileList(mType, at(2003), at(2005), -1, info);
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0], middle);
    EXPECT_EQ(info.totalSize, 3 * kBlock);
    EXPECT_EQ(counter.opensOf(oldest), 0);
    EXPECT_EQ(counter.opensOf(later), 0);
    EXPECT_GT(counter.opensOf(middle), 0);
    EXPECT_GT(counter.opensOf(newest), 0) << "the newest file is always read for its true end";
    EXPECT_EQ(oldest->UtcEnd.tv_sec, 1012) << "a file passed over keeps the catalogue's range";
}

TEST_F(FileListTest, TheWalkThatOpensEveryFileGivesTheSameList)
{
    const auto oldest = addFile(10, 1000);
    const auto middle = addFile(10, 2000);
    addFile(10, 3000);
    OpenCounter counter;
    setFullTimeFileWalkForTesting(true);
    FileListInfo info = freshInfo();
    const Files list = mApi.getTimeFileList(mType, at(2003), at(2005), -1, info);
    setFullTimeFileWalkForTesting(false);
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0], middle);
    EXPECT_EQ(info.totalSize, 3 * kBlock);
    EXPECT_GT(counter.opensOf(oldest), 0);
}

TEST_F(FileListTest, TheNewestFileIsReadForItsTrueEndThoughItsCataloguedEndLiesBeforeTheRange)
{
    addFile(10, 1000);
    const auto newest = addFile(10, 2000);
    newest->UtcEnd = DataTimespec{2004, 0}; // the writer went on after the catalogue was told
    FileListInfo info = freshInfo();
    const Files list = mApi.getTimeFileList(mType, at(2008), at(2100), -1, info);
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0], newest);
    EXPECT_EQ(info.totalSize, 2 * kBlock);
}

TEST_F(FileListTest, AFileWhoseFirstItemWasNeverCataloguedIsOpened)
{
    const auto first = addFile(10, 1000);
    first->UtcStart = DataTimespec{0, 0};
    const auto second = addFile(10, 2000);
    addFile(10, 3000);
    OpenCounter counter;
    FileListInfo info = freshInfo();
    const Files list = mApi.getTimeFileList(mType, at(1500), at(1600), -1, info);
    EXPECT_TRUE(list.empty());
    EXPECT_GT(counter.opensOf(first), 0) << "a catalogued range with a start of 0 proves nothing";
    EXPECT_EQ(first->UtcStart.tv_sec, 1000) << "its true first item replaces the 0";
    EXPECT_EQ(counter.opensOf(second), 0);
}

TEST_F(FileListTest, AFileTheWriterMayStillBeWritingIsOpenedWhereverItStandsInTheList)
{
    // The latest first second names the writer's file, wherever the catalogue lists it.
    const auto writing = addFile(10, 3000);
    writing->UtcEnd = DataTimespec{3004, 0};
    addFile(10, 1000);
    FileListInfo info = freshInfo();
    const Files list = mApi.getTimeFileList(mType, at(3008), at(3100), -1, info);
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0], writing);
    EXPECT_EQ(info.totalSize, 2 * kBlock);
}

TEST_F(FileListTest, AFileThatCannotBeOpenedKeepsTheCataloguedTimes)
{
    const auto file = addFile(10, 1000);
    ASSERT_TRUE(QFile::remove(LoggerFileSystem::getFullFileName(file.get())));
    FileListInfo info = freshInfo();
    const Files list = mApi.getTimeFileList(mType, at(1000), at(1100), -1, info);
    EXPECT_EQ(file->UtcStart.tv_sec, 1000);
    EXPECT_EQ(file->UtcEnd.tv_sec, 1009);
    ASSERT_EQ(list.size(), 1u) << "selected by its catalogued range";
    EXPECT_EQ(info.totalSize, 0) << "but it gives no items";
}

TEST_F(FileListTest, ANullTypeGivesAnEmptyListAndClearsTheSizes)
{
    FileListInfo info = freshInfo();
    info.totalSize = 77;
    info.startItem = 5;
    EXPECT_TRUE(mApi.getTimeFileList(nullptr, at(0), at(10), -1, info).empty());
    EXPECT_EQ(info.totalSize, 0);
    EXPECT_EQ(info.startItem, 0);
    EXPECT_EQ(info.itemSize, kBlock) << "the caller's item size stays";

    info.totalSize = 77;
    info.startItem = 5;
    EXPECT_TRUE(mApi.getEventFileList(nullptr, at(0), 3, info).empty());
    EXPECT_EQ(info.totalSize, 0);
    EXPECT_EQ(info.startItem, 0);
    EXPECT_TRUE(mApi.getItemFileList(nullptr, at(0), 3, info).empty());
}

TEST_F(FileListTest, ANullEntryIsPassedOverSilentlyByTheTimeList)
{
    const auto file = addFile(5, 1000);
    mType->AppendFileInfo(nullptr);
    FileListInfo info = freshInfo();
    const Files list = mApi.getTimeFileList(mType, at(0), at(5000), -1, info);
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0], file);
    for (const auto& message : mMessages)
        EXPECT_NE(message.second, LOGGER_MESSAGE_FATAL) << message.first;
}

// --- getEventFileList

TEST_F(FileListTest, ACountSmallerThanTheNewestFileGivesThatFileWithAStartItem)
{
    addFile(10, 1000);
    const auto newest = addFile(10, 2000);
    FileListInfo info = freshInfo();
    // Items 2000..2007 lie at or before the time: eight, of which the last three are wanted.
    const Files list = mApi.getEventFileList(mType, at(2007), 3, info);
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0], newest);
    EXPECT_EQ(info.startItem, 5);
    EXPECT_EQ(info.totalSize, 3 * kBlock);
    EXPECT_TRUE(messageSeen("Event (1)Total Buffer Size = 48, utc = 2007, 0", LOGGER_MESSAGE_ROUTINE));
}

TEST_F(FileListTest, ACountOverSeveralFilesListsThemOldestFirstFromTheStartItem)
{
    const auto oldest = addFile(10, 1000);
    const auto middle = addFile(10, 2000);
    const auto newest = addFile(10, 3000);
    FileListInfo info = freshInfo();
    // 5 items of the newest, all 10 of the middle, the last 3 of the oldest.
    const Files list = mApi.getEventFileList(mType, at(3004), 18, info);
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(list[0], oldest);
    EXPECT_EQ(list[1], middle);
    EXPECT_EQ(list[2], newest);
    EXPECT_EQ(info.startItem, 7);
    EXPECT_EQ(info.totalSize, 18 * kBlock);
}

TEST_F(FileListTest, TheEventListSortsByStartTimeWhateverTheCatalogueOrder)
{
    const auto newest = addFile(10, 3000);
    const auto oldest = addFile(10, 1000);
    FileListInfo info = freshInfo();
    const Files list = mApi.getEventFileList(mType, at(5000), -1, info);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0], oldest);
    EXPECT_EQ(list[1], newest);
    EXPECT_EQ(info.totalSize, 20 * kBlock);
    EXPECT_EQ(info.startItem, 0);
}

TEST_F(FileListTest, ACountThatEndsExactlyAtAFileBoundaryLeavesTheOlderFilesOut)
{
    addFile(10, 1000);
    const auto newest = addFile(10, 2000);
    FileListInfo info = freshInfo();
    const Files list = mApi.getEventFileList(mType, at(2009), 10, info);
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0], newest);
    EXPECT_EQ(info.startItem, 0);
}

TEST_F(FileListTest, ANullEntryOfTheEventListIsReportedAndPassedOver)
{
    const auto file = addFile(5, 1000);
    mType->AppendFileInfo(nullptr);
    FileListInfo info = freshInfo();
    const Files list = mApi.getEventFileList(mType, at(5000), -1, info);
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0], file);
    EXPECT_TRUE(messageSeen("getEventFileList: fileInfo = nullptr", LOGGER_MESSAGE_FATAL));

    mMessages.clear();
    mApi.getItemFileList(mType, at(5000), -1, info);
    EXPECT_TRUE(messageSeen("getItemFileList: fileInfo = nullptr", LOGGER_MESSAGE_FATAL));
}

TEST_F(FileListTest, AVanishedFileAddsNothingToTheEventListButStaysInIt)
{
    const auto gone = addFile(10, 1000);
    const auto kept = addFile(10, 2000);
    ASSERT_TRUE(QFile::remove(LoggerFileSystem::getFullFileName(gone.get())));
    FileListInfo info = freshInfo();
    const Files list = mApi.getEventFileList(mType, at(5000), -1, info);
    EXPECT_EQ(list.size(), 2u);
    EXPECT_EQ(info.totalSize, 10 * kBlock);
    (void)kept;

    FileListInfo itemInfo = freshInfo();
    const Files items = mApi.getItemFileList(mType, at(5000), -1, itemInfo);
    ASSERT_EQ(items.size(), 1u) << "the item list passes over a file it cannot search";
    EXPECT_EQ(items[0], kept);
    EXPECT_EQ(itemInfo.selectedSize, 10 * kBlock);
}

TEST_F(FileListTest, AFileBegunAfterTheTimeAddsNoItemToTheEventList)
{
    // The writer went on after the time: the newest file begins later. Its search for the time
    // ends on its first item, which must not count as one of the items up to the time.
    const auto older = addFile(10, 1000);
    addFile(10, 2000);
    FileListInfo info = freshInfo();
    const Files list = mApi.getEventFileList(mType, at(1009), 1, info);
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0], older);
    EXPECT_EQ(info.startItem, 9);
    EXPECT_EQ(info.totalSize, kBlock);

    info = freshInfo();
    EXPECT_TRUE(mApi.getEventFileList(mType, at(500), 5, info).empty()) << "a time before every item";
    EXPECT_EQ(info.totalSize, 0);

    // A time on the first item of the newest file, or between its first two, still counts that item.
    for (const timespec time : {at(2000), at(2000, 500000000)}) {
        info = freshInfo();
        const Files both = mApi.getEventFileList(mType, time, 3, info);
        ASSERT_EQ(both.size(), 2u);
        EXPECT_EQ(both[0], older);
        EXPECT_EQ(info.startItem, 8);
        EXPECT_EQ(info.totalSize, 3 * kBlock);
    }
}

// --- getItemFileList

TEST_F(FileListTest, ATimeBeforeAllItemsGivesAnEmptyItemList)
{
    addFile(10, 1000);
    addFile(10, 2000);
    FileListInfo info = freshInfo();
    EXPECT_TRUE(mApi.getItemFileList(mType, at(500), 5, info).empty());
    EXPECT_EQ(info.selectedSize, 0);
    EXPECT_EQ(info.totalSize, 0);
}

TEST_F(FileListTest, AOneItemFileYieldsItsItemForATimeAtAfterOrBeforeIt)
{
    const auto file = addFile(1, 1000);
    for (int32_t time : {1000, 1500, 10}) {
        FileListInfo info = freshInfo();
        const Files list = mApi.getItemFileList(mType, at(time), 5, info);
        ASSERT_EQ(list.size(), 1u) << "time " << time;
        EXPECT_EQ(list[0], file);
        EXPECT_EQ(info.selectedSize, kBlock);
        EXPECT_EQ(info.startItem, 0);
    }
}

TEST_F(FileListTest, TheItemListSkipsAFileWhoseFirstItemLiesAtOrAfterTheTime)
{
    const auto older = addFile(10, 1000);
    addFile(10, 2000);
    FileListInfo info = freshInfo();
    const Files list = mApi.getItemFileList(mType, at(2000), 4, info);
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0], older);
    EXPECT_EQ(info.startItem, 6);
    EXPECT_EQ(info.selectedSize, 4 * kBlock);
    EXPECT_EQ(info.selectedSize, info.totalSize);
}

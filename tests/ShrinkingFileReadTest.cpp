// A data file that becomes shorter under a reader: eviction or the writer's repair cuts it
// between the sizing of a read and the read itself, or between the positioned reads of one
// operation. No answer may then contain a byte that was not read from the file: what the file
// no longer gave is zeros in the caller's buffer, and a result of the read API is trimmed to
// what was read. The cuts are made by a file layer of the test that truncates the file right
// before a chosen read, and at the read API's own moment between its two passes.

#include "LoggerTestSeams.h"
#include "CataloguedFiles.h"
#include "DataFileBuilder.h"
#include "DefnBaseType.h"
#include "FileFaults.h"
#include "LoggerApiBase.h"
#include "LoggerDataItems.h"
#include "LoggerFileInfo.h"
#include "LoggerFileIo.h"
#include "LoggerFileSystem.h"
#include "ScopedTimeZone.h"
#include "TemporaryStoreRoot.h"
#include "WriterStore.h"

#include <QByteArray>
#include <QFile>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int32_t kFirstItemSec = 1783036800 + 3600; // 2026-07-03 01:00:00 UTC
constexpr int kHeader = 44;
constexpr int kBlock = 24;
constexpr int kItems = 10;
constexpr char kUntouched = static_cast<char>(0xAB);

timespec at(int32_t sec)
{
    timespec t{};
    t.tv_sec = sec;
    return t;
}

std::string hex(const QByteArray& bytes)
{
    return bytes.toHex().toStdString();
}

// Truncates a file to a given length right before the read of an operation that `when`
// chooses, then reads on as the real file system does. Counts the reads.
class CuttingFileIo : public LoggerFileIo {
public:
    using When = std::function<bool(int read, size_t length)>;

    CuttingFileIo(const QString& path, qint64 length, When when)
        : mPath(path), mLength(length), mWhen(std::move(when))
    {
        mPrevious = LoggerFileIo::install(this);
    }
    ~CuttingFileIo() override { LoggerFileIo::install(mPrevious); }

    ssize_t pread(int descriptor, void* buffer, size_t length, off_t position) override
    {
        ++mReads;
        if (!mCut && mWhen(mReads, length)) {
            mCut = QFile::resize(mPath, mLength);
            EXPECT_TRUE(mCut) << "cut " << mPath.toStdString();
        }
        return LoggerFileIo::pread(descriptor, buffer, length, position);
    }

    bool hasCut() const { return mCut; }
    int reads() const { return mReads; }

private:
    QString mPath;
    qint64 mLength;
    When mWhen;
    LoggerFileIo* mPrevious = nullptr;
    int mReads = 0;
    bool mCut = false;
};

// The searches read time stamps (8 bytes) and the unique id (4); the header is 44 bytes. A read
// longer than that is the read of the items.
bool isTheItemsRead(int, size_t length)
{
    return length > static_cast<size_t>(kHeader);
}

class ShrinkingFileReadTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mStore.isValid());
        LoggerFileSystem::setPath(mStore.filePath("data"));
        mBuilder.uniqueId(300).itemsEvery(kItems, kFirstItemSec, 10);
        mPath = mBuilder.write();
        ASSERT_FALSE(mPath.isEmpty());
        mInfo = mBuilder.fileInfo();
        mBytes = mBuilder.bytes();
    }

    static timespec t(int index) { return at(kFirstItemSec + 10 * index); }

    // Every byte of buffer[0, size) is the file's byte at from + i as it was written, or zero
    // where the cut took it: nothing of what the buffer held before.
    void expectFileBytesOrZerosFrom(const std::vector<char>& buffer, int size, qint64 from, qint64 cut) const
    {
        for (int i = 0; i < size; ++i) {
            SCOPED_TRACE(i);
            const qint64 offset = from + i;
            const char expected =
                offset < cut && offset < mBytes.size() ? mBytes[static_cast<int>(offset)] : '\0';
            ASSERT_EQ(buffer[static_cast<size_t>(i)], expected);
        }
    }

    ScopedTimeZone mZone{"UTC"};
    TemporaryStoreRoot mStore;
    DataFileBuilder mBuilder{LoggerDataType::MEAN, kBlock};
    QString mPath;
    PtrLoggerFileInfo mInfo;
    QByteArray mBytes;
};

} // namespace

TEST_F(ShrinkingFileReadTest, ReadDataOfAFileCutBeforeItsItemsAreReadGivesZerosWhereTheBytesWent)
{
    // Inside item 4: its first five bytes stay.
    const qint64 cut = kHeader + 4 * kBlock + 5;
    const int size = LoggerFileSystem::getBufferSize(mInfo.get(), t(0), t(9), -1, kBlock);
    ASSERT_EQ(size, kItems * kBlock);
    std::vector<char> buffer(static_cast<size_t>(size), kUntouched);
    int firstItemIndex = 0;
    CuttingFileIo io(mPath, cut, isTheItemsRead);

    EXPECT_EQ(LoggerFileSystem::readData(mInfo.get(), t(0), t(9), -1, kBlock, buffer.data(), firstItemIndex),
              size);

    ASSERT_TRUE(io.hasCut());
    EXPECT_EQ(firstItemIndex, 300);
    expectFileBytesOrZerosFrom(buffer, size, kHeader, cut);
}

TEST_F(ShrinkingFileReadTest, ReadDataOfAFileCutToNothingGivesOnlyZeros)
{
    const int size = 6 * kBlock;
    std::vector<char> buffer(static_cast<size_t>(size), kUntouched);
    int firstItemIndex = 0;
    CuttingFileIo io(mPath, 0, isTheItemsRead);

    EXPECT_EQ(LoggerFileSystem::readData(mInfo.get(), t(2), t(7), -1, kBlock, buffer.data(), firstItemIndex),
              size);

    ASSERT_TRUE(io.hasCut());
    EXPECT_EQ(buffer, std::vector<char>(static_cast<size_t>(size), '\0'));
}

TEST_F(ShrinkingFileReadTest, ReadDataOfAFileCutDuringItsSearchReadsNothing)
{
    // The cut comes before the search reads the last item's time: no item is found, nothing is
    // read, and the buffer keeps what it held.
    std::vector<char> buffer(static_cast<size_t>(kItems * kBlock), kUntouched);
    int firstItemIndex = 77;
    CuttingFileIo io(mPath, kHeader + kBlock, [](int read, size_t) { return read == 2; });

    EXPECT_EQ(LoggerFileSystem::readData(mInfo.get(), t(0), t(9), -1, kBlock, buffer.data(), firstItemIndex),
              0);

    ASSERT_TRUE(io.hasCut());
    EXPECT_EQ(firstItemIndex, 77);
    EXPECT_EQ(buffer, std::vector<char>(buffer.size(), kUntouched));
}

TEST_F(ShrinkingFileReadTest, SingleElementsOfAFileCutAfterTheThirdElementAreZerosFromThere)
{
    // Words of 4 bytes at offset 12 (1000 + index) from item 1 on. A first run counts the reads,
    // the last of which are the elements'.
    const int size = LoggerFileSystem::getBufferSize(mInfo.get(), t(1), t(9), -1, kBlock);
    ASSERT_EQ(size, 9 * kBlock);
    const int elements = size / 4;
    int reads = 0;
    {
        CuttingFileIo counting(mPath, 0, [](int, size_t) { return false; });
        std::vector<char> buffer(static_cast<size_t>(size), kUntouched);
        int firstItemIndex = 0;
        ASSERT_EQ(LoggerFileSystem::readSingleDataElements(mInfo.get(), t(1), t(9), -1, kBlock, 12, 4,
                                                           buffer.data(), firstItemIndex),
                  size);
        reads = counting.reads();
    }
    const int firstElementRead = reads - elements + 1;
    std::vector<char> buffer(static_cast<size_t>(size), kUntouched);
    int firstItemIndex = 0;
    // Right before the fourth element is read, the file loses everything from item 3 on.
    CuttingFileIo io(mPath, kHeader + 3 * kBlock,
                     [firstElementRead](int read, size_t) { return read == firstElementRead + 3; });

    EXPECT_EQ(LoggerFileSystem::readSingleDataElements(mInfo.get(), t(1), t(9), -1, kBlock, 12, 4,
                                                       buffer.data(), firstItemIndex),
              size);

    ASSERT_TRUE(io.hasCut());
    EXPECT_EQ(firstItemIndex, 301);
    for (int k = 0; k < elements; ++k) {
        SCOPED_TRACE(k);
        int32_t element = 0;
        std::memcpy(&element, buffer.data() + 4 * k, sizeof(element));
        EXPECT_EQ(element, k < 3 ? 1000 + 1 + k : 0);
    }
}

TEST_F(ShrinkingFileReadTest, EventDataOfAFileCutBeforeItsItemsAreReadGivesZerosWhereTheBytesWent)
{
    const qint64 cut = kHeader + 5 * kBlock;
    const int size = 7 * kBlock;
    std::vector<char> buffer(static_cast<size_t>(size), kUntouched);
    int firstItemIndex = 0;
    CuttingFileIo io(mPath, cut, isTheItemsRead);

    EXPECT_EQ(
        LoggerFileSystem::readEventData(mInfo.get(), 2, t(8), kBlock, -1, buffer.data(), firstItemIndex),
        size);

    ASSERT_TRUE(io.hasCut());
    EXPECT_EQ(firstItemIndex, 302);
    expectFileBytesOrZerosFrom(buffer, size, kHeader + 2 * kBlock, cut);
}

// ---------------------------------------------------------------------------------------------
// Through the read API, whose result array is not zeroed where every kept item is read

namespace {

using Vtq = DataXtq<float>;
using VtqResult = LoggerResult<Vtq, void*>;
constexpr int kVtqBlock = sizeof(Vtq);

class ReadFrame : public LoggerApiBase {};

class ShrinkingFileFrameTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        setReadPauseObserverForTesting([](unsigned long) {});
        setLoggerMessageObserverForTesting([this](const std::string& text, LoggerMessageType) {
            if (mBetweenThePasses && text.rfind("total items:", 0) == 0)
                mBetweenThePasses();
        });
        mType = CataloguedFiles::measureType(QStringLiteral("u.vtq"), LoggerDataType::VTQ);
        ASSERT_NE(mType, nullptr);
    }
    void TearDown() override
    {
        setReadPauseObserverForTesting(nullptr);
        setLoggerMessageObserverForTesting(nullptr);
    }

    // count items, one a second from first on, in a new file of the type.
    std::shared_ptr<LoggerFileInfo> addFile(DataFileBuilder& builder, int count, int32_t first)
    {
        builder.created(first).itemsEvery(count, first, 1);
        auto info = CataloguedFiles::addFile(mType, builder, 0x300 + mFiles++);
        EXPECT_NE(info, nullptr);
        return info;
    }

    std::shared_ptr<VtqResult> read(int32_t start, int32_t end)
    {
        int firstItemId = 0;
        LoggerHeader header{};
        return mFrame.getValues<Vtq, void*>(LoggerType::CYCLIC, mType->Id, at(start), at(end), -1,
                                            firstItemId, header);
    }

    static QByteArray itemBytes(const std::shared_ptr<VtqResult>& result, int index)
    {
        return QByteArray(reinterpret_cast<const char*>(&result->mItems[index]), kVtqBlock);
    }

    WriterStore mStore;
    ReadFrame mFrame;
    std::shared_ptr<DefnBaseType> mType;
    std::function<void()> mBetweenThePasses;
    int mFiles = 0;
};

} // namespace

TEST_F(ShrinkingFileFrameTest, AFileCutBetweenTheSizingAndTheReadPassIsTrimmedToItsWholeItems)
{
    DataFileBuilder builder(LoggerDataType::VTQ, kVtqBlock);
    const auto info = addFile(builder, 10, 1000);
    const QString path = LoggerFileSystem::getFullFileName(info.get());
    // Six whole items and the torn start of the seventh stay.
    mBetweenThePasses = [&] { ASSERT_TRUE(FileFaults::truncateTo(path, kHeader + 6 * kVtqBlock + 5)); };

    const auto result = read(1000, 1009);

    ASSERT_NE(result, nullptr);
    ASSERT_EQ(result->mNumItems, 6);
    for (int index = 0; index < result->mNumItems; ++index)
        EXPECT_EQ(hex(itemBytes(result, index)), hex(builder.itemBytes(index))) << index;
}

TEST_F(ShrinkingFileFrameTest, AfterAFileCutBetweenThePassesTheNextFileFollowsWithoutAGap)
{
    DataFileBuilder older(LoggerDataType::VTQ, kVtqBlock);
    const auto cut = addFile(older, 10, 1000);
    DataFileBuilder newer(LoggerDataType::VTQ, kVtqBlock);
    addFile(newer, 5, 2000);
    mBetweenThePasses = [&] {
        ASSERT_TRUE(
            FileFaults::truncateTo(LoggerFileSystem::getFullFileName(cut.get()), kHeader + 3 * kVtqBlock));
    };

    const auto result = read(1000, 2004);

    ASSERT_NE(result, nullptr);
    ASSERT_EQ(result->mNumItems, 3 + 5);
    for (int index = 0; index < 3; ++index)
        EXPECT_EQ(hex(itemBytes(result, index)), hex(older.itemBytes(index))) << index;
    for (int index = 0; index < 5; ++index)
        EXPECT_EQ(hex(itemBytes(result, 3 + index)), hex(newer.itemBytes(index))) << index;
}

TEST_F(ShrinkingFileFrameTest, AFileCutWhileItsItemsAreReadGivesZeroItemsWhereTheItemsWent)
{
    DataFileBuilder builder(LoggerDataType::VTQ, kVtqBlock);
    const auto info = addFile(builder, 10, 1000);
    // The read pass sizes the file anew and searches it; the cut comes with the read of its
    // items and leaves four of them.
    CuttingFileIo io(LoggerFileSystem::getFullFileName(info.get()), kHeader + 4 * kVtqBlock, isTheItemsRead);

    const auto result = read(1000, 1009);

    ASSERT_TRUE(io.hasCut());
    ASSERT_NE(result, nullptr);
    ASSERT_EQ(result->mNumItems, 10);
    for (int index = 0; index < result->mNumItems; ++index) {
        SCOPED_TRACE(index);
        EXPECT_EQ(hex(itemBytes(result, index)),
                  hex(index < 4 ? builder.itemBytes(index) : QByteArray(kVtqBlock, '\0')));
    }
}

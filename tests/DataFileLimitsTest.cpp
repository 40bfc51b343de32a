// The data-file layer at the limits of its integers: unique ids near the ends of an int, whose
// item numbers wrap in two's complement; first items, counts and block sizes at both ends and
// below zero; header and item sizes of a malformed catalogue row. Every answer is exact, and
// every refusal is the operation's own (-1, 0 or false). The sanitizer build runs these with
// every report fatal, so any overflow on the way fails the test.

#include "DataFileBuilder.h"
#include "FileFaults.h"
#include "LoggerFileInfo.h"
#include "LoggerFileSystem.h"
#include "LoggerHeader.h"
#include "ScopedTimeZone.h"
#include "TemporaryStoreRoot.h"

#include <QByteArray>
#include <QFile>
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
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

// Item i lies at time t(i), ten seconds apart.
timespec t(int index)
{
    return at(kFirstItemSec + 10 * index);
}

std::string hex(const QByteArray& bytes)
{
    return bytes.toHex().toStdString();
}

class DataFileLimitsTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mStore.isValid());
        LoggerFileSystem::setPath(mStore.filePath("data"));
        LoggerFileSystem::setLastError("");
    }

    // Ten items of kBlock bytes whose file begins at the given unique id.
    PtrLoggerFileInfo writeTenItems(int32_t uniqueId)
    {
        mBuilder = DataFileBuilder(LoggerDataType::MEAN, kBlock);
        mBuilder.uniqueId(uniqueId).itemsEvery(kItems, kFirstItemSec, 10);
        EXPECT_FALSE(mBuilder.write().isEmpty());
        return mBuilder.fileInfo();
    }

    // A buffer that shows every byte an operation writes.
    static std::vector<char> untouchedBuffer(int size) { return std::vector<char>(size, kUntouched); }
    static bool isUntouched(const std::vector<char>& buffer, size_t from = 0)
    {
        for (size_t index = from; index < buffer.size(); ++index) {
            if (buffer[index] != kUntouched)
                return false;
        }
        return true;
    }
    static std::string bufferHex(const std::vector<char>& buffer, int size)
    {
        return ::hex(QByteArray(buffer.data(), size));
    }

    std::string itemsHex(int first, int count) const
    {
        return ::hex(mBuilder.bytes().mid(mBuilder.offsetOf(first), count * kBlock));
    }

    QByteArray fileBytes(const PtrLoggerFileInfo& info) const
    {
        return FileFaults::readAll(LoggerFileSystem::getFullFileName(info.get()));
    }

    ScopedTimeZone mZone{"UTC"};
    TemporaryStoreRoot mStore;
    DataFileBuilder mBuilder{LoggerDataType::MEAN, kBlock};
};

// The item number of item `index` of a file whose first id is `uniqueId`, as the item numbers
// of readers come out: in two's complement, modulo 2^32.
struct WrappedNumber {
    int32_t uniqueId;
    int index;
    int32_t number;
};

const WrappedNumber kWrappedNumbers[] = {
    {INT32_MAX - 1, 0, INT32_MAX - 1},
    {INT32_MAX - 1, 1, INT32_MAX},
    {INT32_MAX - 1, 2, INT32_MIN},
    {INT32_MAX - 1, 9, INT32_MIN + 7},
    {INT32_MAX, 0, INT32_MAX},
    {INT32_MAX, 1, INT32_MIN},
    {INT32_MAX, 5, INT32_MIN + 4},
    {INT32_MIN, 0, INT32_MIN},
    {INT32_MIN, 3, INT32_MIN + 3},
    {-1, 0, -1},
    {-1, 1, 0},
    {-3, 9, 6},
};

} // namespace

// ---------------------------------------------------------------------------------------------
// Unique ids at the ends of an int

TEST_F(DataFileLimitsTest, UniqueIdsAtTheLimitsAreReadAsWritten)
{
    for (int32_t uniqueId : {INT32_MAX - 1, INT32_MAX, INT32_MIN, -1}) {
        SCOPED_TRACE(uniqueId);
        const PtrLoggerFileInfo info = writeTenItems(uniqueId);
        EXPECT_EQ(LoggerFileSystem::getUniqueId(info.get()), uniqueId);
        LoggerHeader header{};
        ASSERT_TRUE(LoggerFileSystem::readHeader(info.get(), header));
        EXPECT_EQ(header.uniqueId, uniqueId);
    }
}

TEST_F(DataFileLimitsTest, ReadDataItemNumbersWrapInTwosComplement)
{
    for (const WrappedNumber& expected : kWrappedNumbers) {
        SCOPED_TRACE(std::to_string(expected.uniqueId) + " + " + std::to_string(expected.index));
        const PtrLoggerFileInfo info = writeTenItems(expected.uniqueId);
        std::vector<char> buffer = untouchedBuffer(kItems * kBlock);
        int firstItemIndex = 0;
        const int size = (kItems - expected.index) * kBlock;

        EXPECT_EQ(LoggerFileSystem::readData(info.get(), t(expected.index), t(kItems - 1), -1, kBlock,
                                             buffer.data(), firstItemIndex),
                  size);

        EXPECT_EQ(firstItemIndex, expected.number);
        EXPECT_EQ(bufferHex(buffer, size), itemsHex(expected.index, kItems - expected.index));
    }
}

TEST_F(DataFileLimitsTest, SingleElementItemNumbersWrapInTwosComplement)
{
    for (const WrappedNumber& expected : kWrappedNumbers) {
        SCOPED_TRACE(std::to_string(expected.uniqueId) + " + " + std::to_string(expected.index));
        const PtrLoggerFileInfo info = writeTenItems(expected.uniqueId);
        const int size = kBlock;
        std::vector<char> buffer = untouchedBuffer(size);
        int firstItemIndex = 0;

        // One item's range in bytes, gathered as 4-byte words at offset 12: 1000 + index of
        // this item and the following ones.
        EXPECT_EQ(LoggerFileSystem::readSingleDataElements(info.get(), t(expected.index), t(expected.index),
                                                           -1, kBlock, 12, 4, buffer.data(), firstItemIndex),
                  size);

        EXPECT_EQ(firstItemIndex, expected.number);
        int32_t element = 0;
        std::memcpy(&element, buffer.data(), sizeof(element));
        EXPECT_EQ(element, 1000 + expected.index);
    }
}

TEST_F(DataFileLimitsTest, EventDataItemNumbersWrapInTwosComplement)
{
    for (const WrappedNumber& expected : kWrappedNumbers) {
        SCOPED_TRACE(std::to_string(expected.uniqueId) + " + " + std::to_string(expected.index));
        const PtrLoggerFileInfo info = writeTenItems(expected.uniqueId);
        std::vector<char> buffer = untouchedBuffer(kItems * kBlock);
        int firstItemIndex = 0;
        const int size = (kItems - expected.index) * kBlock;

        EXPECT_EQ(LoggerFileSystem::readEventData(info.get(), expected.index, t(kItems - 1), kBlock, -1,
                                                  buffer.data(), firstItemIndex),
                  size);

        EXPECT_EQ(firstItemIndex, expected.number);
        EXPECT_EQ(bufferHex(buffer, size), itemsHex(expected.index, kItems - expected.index));
    }
}

TEST_F(DataFileLimitsTest, AFileTooShortForItsUniqueIdNumbersItsEventsFromMinusOne)
{
    // 36 bytes hold the unique id; 35 do not, and a reader takes -1 for it.
    const PtrLoggerFileInfo info = writeTenItems(INT32_MAX);
    ASSERT_TRUE(FileFaults::truncateTo(LoggerFileSystem::getFullFileName(info.get()), 35));
    int firstItemIndex = 0;
    EXPECT_EQ(LoggerFileSystem::getUniqueId(info.get()), -1);
    EXPECT_EQ(
        LoggerFileSystem::readEventData(info.get(), INT32_MAX, t(3), kBlock, -1, nullptr, firstItemIndex), 0);
    EXPECT_EQ(firstItemIndex, INT32_MAX - 1);
}

// ---------------------------------------------------------------------------------------------
// First items of readEventData

TEST_F(DataFileLimitsTest, EventDataFromItemZeroReadsFromTheFirstItem)
{
    const PtrLoggerFileInfo info = writeTenItems(INT32_MIN);
    std::vector<char> buffer = untouchedBuffer(kItems * kBlock);
    int firstItemIndex = 0;
    EXPECT_EQ(LoggerFileSystem::readEventData(info.get(), 0, t(3), kBlock, -1, buffer.data(), firstItemIndex),
              4 * kBlock);
    EXPECT_EQ(firstItemIndex, INT32_MIN);
    EXPECT_EQ(bufferHex(buffer, 4 * kBlock), itemsHex(0, 4));
}

TEST_F(DataFileLimitsTest, EventDataFromTheLastPossibleItemReadsNothingAndNumbersItWrapped)
{
    const PtrLoggerFileInfo info = writeTenItems(INT32_MAX);
    std::vector<char> buffer = untouchedBuffer(kItems * kBlock);
    int firstItemIndex = 0;
    // The item lies far behind the time: the range from it to the time's item is negative, more
    // than an int can hold, and is answered as the lowest int without reading.
    EXPECT_EQ(LoggerFileSystem::readEventData(info.get(), INT32_MAX, t(9), kBlock, -1, buffer.data(),
                                              firstItemIndex),
              INT32_MIN);
    EXPECT_EQ(firstItemIndex, -2); // INT32_MAX + INT32_MAX, modulo 2^32
    EXPECT_TRUE(isUntouched(buffer));

    // With a positive bound, which only lowers a size, the answer is the same.
    EXPECT_EQ(LoggerFileSystem::readEventData(info.get(), INT32_MAX, t(9), kBlock, INT32_MAX, buffer.data(),
                                              firstItemIndex),
              INT32_MIN);
    EXPECT_TRUE(isUntouched(buffer));
}

TEST_F(DataFileLimitsTest, EventDataFromANegativeItemIsRefused)
{
    const PtrLoggerFileInfo info = writeTenItems(0);
    for (int firstItem : {-1, INT32_MIN}) {
        SCOPED_TRACE(firstItem);
        std::vector<char> buffer = untouchedBuffer(kItems * kBlock);
        int firstItemIndex = 12345;
        EXPECT_EQ(LoggerFileSystem::readEventData(info.get(), firstItem, t(9), kBlock, -1, buffer.data(),
                                                  firstItemIndex),
                  -1);
        EXPECT_EQ(firstItemIndex, 12345);
        EXPECT_TRUE(isUntouched(buffer));
    }
}

// ---------------------------------------------------------------------------------------------
// Counts: maxItems of the range reads and the count of getEventBufferSize

TEST_F(DataFileLimitsTest, MaxItemsAtTheLimitsBoundOnlyWhenNotNegative)
{
    const PtrLoggerFileInfo info = writeTenItems(0);
    struct Case {
        int maxItems;
        int size;
    };
    // Negative counts mean no bound; the largest count bounds nothing in a file of ten items.
    const Case cases[] = {
        {INT32_MAX, 10 * kBlock}, {INT32_MIN, 10 * kBlock}, {-1, 10 * kBlock}, {0, 0}, {3, 3 * kBlock}};
    for (const Case& expected : cases) {
        SCOPED_TRACE(expected.maxItems);
        EXPECT_EQ(LoggerFileSystem::getBufferSize(info.get(), t(0), t(9), expected.maxItems, kBlock),
                  expected.size);
        EXPECT_EQ(LoggerFileSystem::getNumItems(info.get(), t(0), t(9), expected.maxItems, kBlock),
                  expected.size / kBlock);
        std::vector<char> buffer = untouchedBuffer(kItems * kBlock);
        int firstItemIndex = -1;
        EXPECT_EQ(LoggerFileSystem::readData(info.get(), t(0), t(9), expected.maxItems, kBlock, buffer.data(),
                                             firstItemIndex),
                  expected.size);
        EXPECT_EQ(bufferHex(buffer, expected.size), itemsHex(0, expected.size / kBlock));
        EXPECT_TRUE(isUntouched(buffer, static_cast<size_t>(expected.size)));
        EXPECT_EQ(LoggerFileSystem::readSingleDataElements(info.get(), t(0), t(9), expected.maxItems, kBlock,
                                                           12, 4, buffer.data(), firstItemIndex),
                  expected.size);
    }
}

TEST_F(DataFileLimitsTest, EventDataBoundsOnlyByAPositiveMaxItems)
{
    const PtrLoggerFileInfo info = writeTenItems(0);
    struct Case {
        int maxItems;
        int size;
    };
    const Case cases[] = {
        {INT32_MAX, 8 * kBlock}, {INT32_MIN, 8 * kBlock}, {-1, 8 * kBlock}, {0, 8 * kBlock}, {2, 2 * kBlock}};
    for (const Case& expected : cases) {
        SCOPED_TRACE(expected.maxItems);
        std::vector<char> buffer = untouchedBuffer(kItems * kBlock);
        int firstItemIndex = -1;
        EXPECT_EQ(LoggerFileSystem::readEventData(info.get(), 1, t(8), kBlock, expected.maxItems,
                                                  buffer.data(), firstItemIndex),
                  expected.size);
        EXPECT_EQ(bufferHex(buffer, expected.size), itemsHex(1, expected.size / kBlock));
    }
}

TEST_F(DataFileLimitsTest, EventBufferSizeCountsAtTheLimits)
{
    const PtrLoggerFileInfo info = writeTenItems(0);
    // Up to item 5: six items exist. A count below 0 asks for nothing.
    EXPECT_EQ(LoggerFileSystem::getEventBufferSize(info.get(), INT32_MAX, t(5), kBlock), 6 * kBlock);
    EXPECT_EQ(LoggerFileSystem::getEventBufferSize(info.get(), 6, t(5), kBlock), 6 * kBlock);
    EXPECT_EQ(LoggerFileSystem::getEventBufferSize(info.get(), 2, t(5), kBlock), 2 * kBlock);
    EXPECT_EQ(LoggerFileSystem::getEventBufferSize(info.get(), 0, t(5), kBlock), 0);
    EXPECT_EQ(LoggerFileSystem::getEventBufferSize(info.get(), -1, t(5), kBlock), 0);
    EXPECT_EQ(LoggerFileSystem::getEventBufferSize(info.get(), INT32_MIN, t(5), kBlock), 0);
}

// ---------------------------------------------------------------------------------------------
// Block sizes that the caller passes

TEST_F(DataFileLimitsTest, ABlockSizeShorterThanATimeStampFindsNoItemAndAsksForNoBuffer)
{
    // A block size of 1 makes 240 items of the file's bytes; the last of them cannot hold the
    // 8 bytes of a time stamp, so the search fails, and so must the sizes built on it.
    const PtrLoggerFileInfo info = writeTenItems(0);
    EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), t(3), 1, true), -1);
    EXPECT_EQ(LoggerFileSystem::getBufferSize(info.get(), t(0), t(9), -1, 1), 0);
    EXPECT_EQ(LoggerFileSystem::getNumItems(info.get(), t(0), t(9), -1, 1), 0);
    EXPECT_EQ(LoggerFileSystem::getEventBufferSize(info.get(), 5, t(9), 1), 0);
    std::vector<char> buffer = untouchedBuffer(kItems * kBlock);
    int firstItemIndex = 77;
    EXPECT_EQ(LoggerFileSystem::readData(info.get(), t(0), t(9), -1, 1, buffer.data(), firstItemIndex), 0);
    EXPECT_EQ(LoggerFileSystem::readSingleDataElements(info.get(), t(0), t(9), -1, 1, 0, 1, buffer.data(),
                                                       firstItemIndex),
              0);
    EXPECT_EQ(firstItemIndex, 77);
    EXPECT_TRUE(isUntouched(buffer));
}

TEST_F(DataFileLimitsTest, AHugeBlockSizeFindsNoItem)
{
    const PtrLoggerFileInfo info = writeTenItems(0);
    std::vector<char> buffer = untouchedBuffer(kItems * kBlock);
    int firstItemIndex = 77;
    for (int blockSize : {kItems * kBlock + 1, INT32_MAX}) {
        SCOPED_TRACE(blockSize);
        EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), t(3), blockSize, false), -1);
        EXPECT_EQ(LoggerFileSystem::getBufferSize(info.get(), t(0), t(9), -1, blockSize), 0);
        EXPECT_EQ(LoggerFileSystem::getNumItems(info.get(), t(0), t(9), INT32_MAX, blockSize), 0);
        EXPECT_EQ(LoggerFileSystem::getEventBufferSize(info.get(), INT32_MAX, t(9), blockSize), 0);
        EXPECT_EQ(
            LoggerFileSystem::readData(info.get(), t(0), t(9), -1, blockSize, buffer.data(), firstItemIndex),
            0);
        EXPECT_EQ(LoggerFileSystem::readSingleDataElements(info.get(), t(0), t(9), -1, blockSize, 0, 4,
                                                           buffer.data(), firstItemIndex),
                  0);
        EXPECT_EQ(LoggerFileSystem::readEventData(info.get(), 0, t(9), blockSize, -1, buffer.data(),
                                                  firstItemIndex),
                  0);
    }
    EXPECT_TRUE(isUntouched(buffer));
}

TEST_F(DataFileLimitsTest, ANegativeBlockSizeIsRefused)
{
    const PtrLoggerFileInfo info = writeTenItems(0);
    std::vector<char> buffer = untouchedBuffer(kItems * kBlock);
    int firstItemIndex = 77;
    for (int blockSize : {-1, -kBlock, INT32_MIN}) {
        SCOPED_TRACE(blockSize);
        EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), t(3), blockSize, true), -1);
        EXPECT_EQ(LoggerFileSystem::getBufferSize(info.get(), t(0), t(9), -1, blockSize), 0);
        EXPECT_EQ(LoggerFileSystem::getNumItems(info.get(), t(0), t(9), -1, blockSize), 0);
        EXPECT_EQ(LoggerFileSystem::getEventBufferSize(info.get(), 3, t(9), blockSize), 0);
        EXPECT_EQ(
            LoggerFileSystem::readData(info.get(), t(0), t(9), -1, blockSize, buffer.data(), firstItemIndex),
            -1);
        EXPECT_EQ(LoggerFileSystem::readSingleDataElements(info.get(), t(0), t(9), -1, blockSize, 0, 4,
                                                           buffer.data(), firstItemIndex),
                  -1);
        EXPECT_EQ(LoggerFileSystem::readEventData(info.get(), 0, t(9), blockSize, -1, buffer.data(),
                                                  firstItemIndex),
                  -1);
    }
    EXPECT_EQ(firstItemIndex, 77);
    EXPECT_TRUE(isUntouched(buffer));
}

// ---------------------------------------------------------------------------------------------
// Elements of readSingleDataElements

TEST_F(DataFileLimitsTest, AnElementOffsetBeforeTheFileIsRefusedAndOnePastItReadsZeros)
{
    const PtrLoggerFileInfo info = writeTenItems(0);
    std::vector<char> buffer = untouchedBuffer(2 * kBlock);
    int firstItemIndex = 0;
    EXPECT_EQ(LoggerFileSystem::readSingleDataElements(info.get(), t(0), t(1), -1, kBlock, INT32_MIN, 4,
                                                       buffer.data(), firstItemIndex),
              -1);
    EXPECT_TRUE(isUntouched(buffer));

    EXPECT_EQ(LoggerFileSystem::readSingleDataElements(info.get(), t(0), t(1), -1, kBlock, INT32_MAX, 4,
                                                       buffer.data(), firstItemIndex),
              2 * kBlock);
    EXPECT_EQ(bufferHex(buffer, 2 * kBlock), std::string(4 * kBlock, '0'));
}

TEST_F(DataFileLimitsTest, ANonPositiveElementSizeIsRefused)
{
    const PtrLoggerFileInfo info = writeTenItems(0);
    std::vector<char> buffer = untouchedBuffer(2 * kBlock);
    int firstItemIndex = 0;
    for (int elementSize : {0, -1, INT32_MIN}) {
        SCOPED_TRACE(elementSize);
        EXPECT_EQ(LoggerFileSystem::readSingleDataElements(info.get(), t(0), t(1), -1, kBlock, 0, elementSize,
                                                           buffer.data(), firstItemIndex),
                  -1);
    }
    EXPECT_TRUE(isUntouched(buffer));
}

// ---------------------------------------------------------------------------------------------
// Header and item sizes of a malformed catalogue row

TEST_F(DataFileLimitsTest, ANegativeHeaderSizeFindsNoItemAndAsksForNoBuffer)
{
    const PtrLoggerFileInfo info = writeTenItems(0);
    for (int headerSize : {-kHeader, INT32_MIN}) {
        SCOPED_TRACE(headerSize);
        info->HeaderSize = headerSize;
        EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), t(3), kBlock, true), -1);
        EXPECT_EQ(LoggerFileSystem::getBufferSize(info.get(), t(0), t(9), -1, kBlock), 0);
        EXPECT_EQ(LoggerFileSystem::getNumItems(info.get(), t(0), t(9), -1, kBlock), 0);
        EXPECT_EQ(LoggerFileSystem::getEventBufferSize(info.get(), 3, t(9), kBlock), 0);
        EXPECT_EQ(LoggerFileSystem::getNumDataItems(info.get()), 0);
        EXPECT_FALSE(LoggerFileSystem::hasDataItems(info.get()));
        timespec first = at(-7);
        timespec last = at(-7);
        EXPECT_FALSE(LoggerFileSystem::readUtcRange(info.get(), first, last));
        EXPECT_EQ(first.tv_sec, -7);
        EXPECT_EQ(last.tv_sec, -7);
        std::vector<char> buffer = untouchedBuffer(kItems * kBlock);
        int firstItemIndex = 77;
        EXPECT_EQ(
            LoggerFileSystem::readData(info.get(), t(0), t(9), -1, kBlock, buffer.data(), firstItemIndex), 0);
        EXPECT_EQ(firstItemIndex, 77);
        EXPECT_TRUE(isUntouched(buffer));
    }
}

TEST_F(DataFileLimitsTest, OpenFileRefusesAHeaderSizeThatDoesNotFitTheFileAndLeavesTheFileAsItIs)
{
    const PtrLoggerFileInfo info = writeTenItems(0);
    const QByteArray before = fileBytes(info);
    // Below the 44 bytes that every file's header has, the writer would put items over it; above
    // the file's size, with a whole header in the file, the row is wrong and not the file: the
    // file is neither written over nor made anew.
    for (int headerSize : {-kHeader, INT32_MIN, 0, kHeader - 1, kHeader + 10 * kBlock + 1, INT32_MAX}) {
        SCOPED_TRACE(headerSize);
        info->HeaderSize = headerSize;
        info->mFilePosition = 1234;
        QFile file;
        float parameter1 = 1.0f;
        float parameter2 = 1.0f;
        LoggerFileSystem::setLastError("");
        EXPECT_FALSE(LoggerFileSystem::openFile(info.get(), file, -1, 7, true, 0, 0, parameter1, parameter2));
        EXPECT_FALSE(file.isOpen());
        EXPECT_EQ(LoggerFileSystem::getLastError(),
                  LoggerFileSystem::getFullFileName(info.get()) + QStringLiteral(" logger file size"));
        EXPECT_EQ(info->mFilePosition, 1234);
        EXPECT_EQ(hex(fileBytes(info)), hex(before));
    }
}

TEST_F(DataFileLimitsTest, OpenFileRefusesANegativeItemSizeAndLeavesTheFileAsItIs)
{
    const PtrLoggerFileInfo info = writeTenItems(0);
    const QByteArray before = fileBytes(info);
    for (int blockSize : {-1, -kBlock, INT32_MIN}) {
        SCOPED_TRACE(blockSize);
        info->DataBlockSize = blockSize;
        info->mFilePosition = 1234;
        QFile file;
        float parameter1 = 1.0f;
        float parameter2 = 1.0f;
        EXPECT_FALSE(LoggerFileSystem::openFile(info.get(), file, -1, 7, true, 0, 0, parameter1, parameter2));
        EXPECT_FALSE(file.isOpen());
        EXPECT_EQ(LoggerFileSystem::getLastError(),
                  LoggerFileSystem::getFullFileName(info.get()) + QStringLiteral(" logger file size"));
        EXPECT_EQ(info->mFilePosition, 1234);
        EXPECT_EQ(hex(fileBytes(info)), hex(before));
        // Nor does an already open file stay open.
        QFile open(LoggerFileSystem::getFullFileName(info.get()));
        ASSERT_TRUE(open.open(QIODevice::ReadWrite));
        EXPECT_FALSE(LoggerFileSystem::openFile(info.get(), open, 0, 7, false, 0, 0, parameter1, parameter2));
        EXPECT_FALSE(open.isOpen());
    }
}

TEST_F(DataFileLimitsTest, ReopenFileRefusesNegativeSizes)
{
    const PtrLoggerFileInfo info = writeTenItems(0);
    const struct {
        int headerSize;
        int blockSize;
    } rows[] = {{-kHeader, kBlock}, {INT32_MIN, kBlock}, {kHeader, -kBlock}, {kHeader, INT32_MIN}};
    for (const auto& row : rows) {
        SCOPED_TRACE(std::to_string(row.headerSize) + ", " + std::to_string(row.blockSize));
        info->HeaderSize = row.headerSize;
        info->DataBlockSize = row.blockSize;
        info->mFilePosition = 1234;
        QFile file(LoggerFileSystem::getFullFileName(info.get()));
        qint64 size = -1;
        EXPECT_FALSE(LoggerFileSystem::reopenFile(info.get(), file, size));
        EXPECT_FALSE(file.isOpen());
        EXPECT_EQ(info->mFilePosition, 1234);
    }
}

TEST_F(DataFileLimitsTest, ANegativeItemSizeGivesNoItemsAndNoTimeRange)
{
    const PtrLoggerFileInfo info = writeTenItems(0);
    info->DataBlockSize = INT32_MIN;
    EXPECT_EQ(LoggerFileSystem::getNumDataItems(info.get()), 0);
    timespec first = at(-7);
    timespec last = at(-7);
    EXPECT_FALSE(LoggerFileSystem::readUtcRange(info.get(), first, last));
    EXPECT_EQ(first.tv_sec, -7);
}

TEST_F(DataFileLimitsTest, AHugeItemSizeGivesNoItemsAndOpensBehindTheHeader)
{
    const PtrLoggerFileInfo info = writeTenItems(0);
    info->DataBlockSize = INT32_MAX;
    EXPECT_EQ(LoggerFileSystem::getNumDataItems(info.get()), 0);
    timespec first{};
    timespec last{};
    EXPECT_FALSE(LoggerFileSystem::readUtcRange(info.get(), first, last));
    QFile file;
    float parameter1 = 1.0f;
    float parameter2 = 1.0f;
    info->mFirstDataItem = false;
    ASSERT_TRUE(LoggerFileSystem::openFile(info.get(), file, -1, 7, false, 0, 0, parameter1, parameter2));
    EXPECT_TRUE(file.isOpen());
    EXPECT_EQ(info->mFilePosition, kHeader);
    EXPECT_TRUE(info->mFirstDataItem);
}

TEST_F(DataFileLimitsTest, AHugeHeaderSizeFindsNoItemAndAsksForNoBuffer)
{
    const PtrLoggerFileInfo info = writeTenItems(0);
    info->HeaderSize = INT32_MAX;
    EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), t(3), kBlock, true), -1);
    EXPECT_EQ(LoggerFileSystem::getBufferSize(info.get(), t(0), t(9), -1, kBlock), 0);
    EXPECT_EQ(LoggerFileSystem::getNumItems(info.get(), t(0), t(9), -1, kBlock), 0);
    EXPECT_EQ(LoggerFileSystem::getEventBufferSize(info.get(), INT32_MAX, t(9), kBlock), 0);
    EXPECT_EQ(LoggerFileSystem::getNumDataItems(info.get()), 0);
    EXPECT_FALSE(LoggerFileSystem::hasDataItems(info.get()));
    std::vector<char> buffer = untouchedBuffer(kItems * kBlock);
    int firstItemIndex = 77;
    EXPECT_EQ(LoggerFileSystem::readData(info.get(), t(0), t(9), -1, kBlock, buffer.data(), firstItemIndex),
              0);
    EXPECT_EQ(LoggerFileSystem::readEventData(info.get(), 0, t(9), kBlock, -1, buffer.data(), firstItemIndex),
              0);
    EXPECT_TRUE(isUntouched(buffer));
}

// ---------------------------------------------------------------------------------------------
// Positions of the writer

TEST_F(DataFileLimitsTest, OpenFileAtAnItemBeyondWhatAnIntReachesIsRefused)
{
    const PtrLoggerFileInfo info = writeTenItems(0);
    const QByteArray before = fileBytes(info);
    // 44 + 24 x INT32_MAX, and with items of one byte 44 + INT32_MAX: both past an int.
    for (int blockSize : {kBlock, 1}) {
        SCOPED_TRACE(blockSize);
        info->DataBlockSize = blockSize;
        info->mFilePosition = 1234;
        QFile file;
        float parameter1 = 1.0f;
        float parameter2 = 1.0f;
        EXPECT_FALSE(
            LoggerFileSystem::openFile(info.get(), file, INT32_MAX, 7, false, 0, 0, parameter1, parameter2));
        EXPECT_FALSE(file.isOpen());
        EXPECT_EQ(LoggerFileSystem::getLastError(),
                  LoggerFileSystem::getFullFileName(info.get()) + QStringLiteral(" logger file size"));
        EXPECT_EQ(info->mFilePosition, 1234);
    }
    EXPECT_EQ(hex(fileBytes(info)), hex(before));
}

TEST_F(DataFileLimitsTest, OpenFileAtTheLastItemAnIntReachesIsPlacedThere)
{
    const PtrLoggerFileInfo info = writeTenItems(0);
    const int itemIndex = (INT32_MAX - kHeader) / kBlock;
    QFile file;
    float parameter1 = 1.0f;
    float parameter2 = 1.0f;
    ASSERT_TRUE(
        LoggerFileSystem::openFile(info.get(), file, itemIndex, 7, false, 0, 0, parameter1, parameter2));
    EXPECT_EQ(info->mFilePosition, kHeader + itemIndex * kBlock);
    EXPECT_EQ(file.pos(), qint64(kHeader) + qint64(itemIndex) * kBlock);
    file.close();
    // Nothing was written: the file keeps its size.
    EXPECT_EQ(FileFaults::sizeOf(LoggerFileSystem::getFullFileName(info.get())), kHeader + kItems * kBlock);
}

TEST_F(DataFileLimitsTest, OpenFileAtANegativeItemIndexIsPlacedBehindTheLastItem)
{
    const PtrLoggerFileInfo info = writeTenItems(0);
    QFile file;
    float parameter1 = 1.0f;
    float parameter2 = 1.0f;
    ASSERT_TRUE(
        LoggerFileSystem::openFile(info.get(), file, INT32_MIN, 7, false, 0, 0, parameter1, parameter2));
    EXPECT_EQ(info->mFilePosition, kHeader + kItems * kBlock);
}

TEST_F(DataFileLimitsTest, UpdateDataAtANegativePositionWritesNothing)
{
    const PtrLoggerFileInfo info = writeTenItems(0);
    const QByteArray before = fileBytes(info);
    QFile file;
    float parameter1 = 1.0f;
    float parameter2 = 1.0f;
    ASSERT_TRUE(LoggerFileSystem::openFile(info.get(), file, -1, 7, false, 0, 0, parameter1, parameter2));
    char patch[kBlock];
    std::memset(patch, 0x5A, sizeof(patch));
    for (int position : {-1, INT32_MIN}) {
        SCOPED_TRACE(position);
        EXPECT_TRUE(LoggerFileSystem::updateData(file, info.get(), patch, kBlock, position));
        EXPECT_EQ(file.pos(), info->mFilePosition);
    }
    EXPECT_TRUE(LoggerFileSystem::updateData(file, info.get(), patch, INT32_MIN, kHeader));
    file.close();
    EXPECT_EQ(hex(fileBytes(info)), hex(before));
}

// ---------------------------------------------------------------------------------------------
// Export files

TEST_F(DataFileLimitsTest, WriteDataOfANegativeCountOfNegativeSizedItemsWritesNothing)
{
    // -1 items of -1 bytes made one byte to write, read from a buffer that holds none.
    const QString path = mStore.filePath("export.raw");
    std::vector<char> data = untouchedBuffer(64);
    for (const auto& items :
         {std::make_pair(-1, -1), std::make_pair(-16, -4), std::make_pair(INT32_MIN, INT32_MIN),
          std::make_pair(INT32_MIN, -1), std::make_pair(0, 5), std::make_pair(5, 0)}) {
        SCOPED_TRACE(std::to_string(items.first) + " x " + std::to_string(items.second));
        EXPECT_EQ(LoggerFileSystem::writeData(path, items.first, items.second, data.data()), 0);
        EXPECT_EQ(FileFaults::sizeOf(path), 0);
    }
    EXPECT_EQ(LoggerFileSystem::writeData(path, 16, 4, data.data()), 64);
    EXPECT_EQ(hex(FileFaults::readAll(path)), bufferHex(data, 64));
}

// Reopening a file that a writer left behind at any moment: written item by item through the
// store's own createFile, then cut at every byte offset, into the header as well as through the
// last item. Reopening must find the position behind the last whole item, keep every byte
// before it, and replace a file too short for its header with a fresh one.

#include "DataFileBuilder.h"
#include "FileFaults.h"
#include "LoggerFileInfo.h"
#include "LoggerFileSystem.h"
#include "ScopedTimeZone.h"
#include "TemporaryStoreRoot.h"

#include <QByteArray>
#include <QFile>
#include <QString>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

namespace {

constexpr int kHeader = 44;
constexpr int32_t kCreatedSec = 1783054800; // 2026-07-03 05:00:00 UTC
constexpr int32_t kCreatedNsec = 250000000;
constexpr int32_t kFirstItemSec = kCreatedSec + 1;
constexpr int kBaseTypeId = 23;
constexpr int kHeaderWord = 1;
constexpr int kUniqueId = 9001;
// The file is written with a writer's start scales; a reopening writer comes with its reset
// scales, which the file's own values must replace.
constexpr uint32_t kFileParameter1Bits = 0x3C792E72;
constexpr uint32_t kFileParameter2Bits = 0x39754CD7;
constexpr float kCallerParameter = 1.0f;

float floatFromBits(uint32_t bits)
{
    float value = 0.0f;
    std::memcpy(&value, &bits, sizeof(value));
    return value;
}

std::string hex(const QByteArray& bytes)
{
    return bytes.toHex().toStdString();
}

class OpenFileRecoveryTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mStore.isValid());
        LoggerFileSystem::setPath(mStore.filePath("data"));
    }

    static PtrLoggerFileInfo newFileInfo(int blockSize)
    {
        auto info = std::make_shared<LoggerFileInfo>(LoggerDataType::VTQ);
        info->UtcCreated = DataTimespec{kCreatedSec, kCreatedNsec};
        info->GuidLow = 0x89ABCDEF;
        info->GuidHigh = 0x1234;
        info->HeaderSize = kHeader;
        info->DataBlockSize = blockSize;
        info->mType = LoggerType::CYCLIC;
        return info;
    }

    static QByteArray item(int blockSize, int index)
    {
        return DataFileBuilder::itemBytes(blockSize, DataTimespec{kFirstItemSec + index, index}, index);
    }

    // Creates the file through the store and appends `count` items one at a time, each with
    // an open, a write and a close, as the writer does. Returns the bytes of the whole file.
    static QByteArray writeItemByItem(int blockSize, int count)
    {
        PtrLoggerFileInfo info = newFileInfo(blockSize);
        QFile::remove(LoggerFileSystem::getFullFileName(info.get()));
        QFile file;
        EXPECT_TRUE(LoggerFileSystem::createFile(info.get(), file, kBaseTypeId, kHeaderWord,
                                                 kUniqueId, floatFromBits(kFileParameter1Bits),
                                                 floatFromBits(kFileParameter2Bits)));
        const QString path = LoggerFileSystem::getFullFileName(info.get());
        for (int i = 0; i < count; ++i) {
            QFile append(path);
            EXPECT_TRUE(append.open(QIODevice::WriteOnly | QIODevice::Append));
            EXPECT_EQ(append.write(item(blockSize, i)), qint64(blockSize));
            append.close();
        }
        return FileFaults::readAll(path);
    }

    static QByteArray freshHeader()
    {
        return DataFileBuilder::headerBytes(kCreatedSec, kCreatedNsec,
                                            static_cast<int32_t>(LoggerDataType::VTQ), kBaseTypeId,
                                            kHeaderWord, kUniqueId, kCallerParameter,
                                            kCallerParameter);
    }

    // Cuts the written file to `size` bytes, reopens it as a restarting writer does, and
    // checks everything that must hold afterwards.
    void reopenCutAt(const QByteArray& original, int blockSize, int size, bool create)
    {
        SCOPED_TRACE("cut at " + std::to_string(size) + " of " + std::to_string(original.size())
                     + ", block " + std::to_string(blockSize));
        PtrLoggerFileInfo info = newFileInfo(blockSize);
        const QString path = LoggerFileSystem::getFullFileName(info.get());
        ASSERT_TRUE(FileFaults::writeAll(path, original));
        ASSERT_TRUE(FileFaults::truncateTo(path, size));
        info->mFirstDataItem = false;
        info->mFilePosition = -7;
        LoggerFileSystem::setLastError("");
        QFile file;
        float parameter1 = kCallerParameter;
        float parameter2 = kCallerParameter;

        const bool opened = LoggerFileSystem::openFile(info.get(), file, -1, kBaseTypeId, create,
                                                       kHeaderWord, kUniqueId, parameter1,
                                                       parameter2);

        EXPECT_TRUE(opened);
        if (size < kHeader) {
            // No valid header: the file is made anew and left closed.
            EXPECT_FALSE(file.isOpen());
            EXPECT_EQ(LoggerFileSystem::getLastError(), path + " logger file size");
            EXPECT_EQ(info->mFilePosition, kHeader);
            EXPECT_EQ(parameter1, kCallerParameter);
            EXPECT_EQ(parameter2, kCallerParameter);
            EXPECT_EQ(hex(FileFaults::readAll(path)), hex(freshHeader()));
            return;
        }
        const int wholeItems = (size - kHeader) / blockSize;
        const int position = kHeader + wholeItems * blockSize;
        EXPECT_TRUE(file.isOpen());
        EXPECT_EQ(file.pos(), qint64(position));
        EXPECT_EQ(info->mFilePosition, position);
        EXPECT_EQ(info->mFirstDataItem, wholeItems == 0);
        EXPECT_EQ(parameter1, floatFromBits(kFileParameter1Bits));
        EXPECT_EQ(parameter2, floatFromBits(kFileParameter2Bits));
        EXPECT_EQ(LoggerFileSystem::getLastError(), QString(""));
        EXPECT_EQ(LoggerFileSystem::getNumDataItems(info.get()), wholeItems);
        file.close();
        // The torn part is passed over, not removed; nothing before it changes.
        EXPECT_EQ(hex(FileFaults::readAll(path)), hex(original.left(size)));
    }

    ScopedTimeZone mZone{"UTC"};
    TemporaryStoreRoot mStore;
};

TEST_F(OpenFileRecoveryTest, ItemByItemFileHasTheExpectedBytes)
{
    const QByteArray original = writeItemByItem(24, 5);
    ASSERT_EQ(original.size(), kHeader + 5 * 24);
    QByteArray expected = DataFileBuilder::headerBytes(
        kCreatedSec, kCreatedNsec, static_cast<int32_t>(LoggerDataType::VTQ), kBaseTypeId,
        kHeaderWord, kUniqueId, floatFromBits(kFileParameter1Bits),
        floatFromBits(kFileParameter2Bits));
    for (int i = 0; i < 5; ++i)
        expected.append(item(24, i));
    EXPECT_EQ(hex(original), hex(expected));
}

TEST_F(OpenFileRecoveryTest, CutAtEveryOffsetReopensBehindTheLastWholeItem)
{
    const int block = 24;
    const QByteArray original = writeItemByItem(block, 5);
    ASSERT_EQ(original.size(), kHeader + 5 * block);
    for (int size = 0; size <= original.size(); ++size) {
        reopenCutAt(original, block, size, false);
        if (HasFatalFailure())
            return;
    }
}

TEST_F(OpenFileRecoveryTest, CutThroughTheLastItemForVariousBlockSizes)
{
    for (int block : {12, 16, 44, 56, 232, 2876}) {
        for (int count : {1, 3}) {
            const QByteArray original = writeItemByItem(block, count);
            ASSERT_EQ(original.size(), kHeader + count * block);
            // Every offset of the last item; for the largest records its edges and a stride
            // through the middle.
            const int lastItem = kHeader + (count - 1) * block;
            for (int size = lastItem; size <= original.size(); ++size) {
                const int into = size - lastItem;
                if (block > 300 && into > 64 && block - into > 64 && into % 97 != 0)
                    continue;
                reopenCutAt(original, block, size, false);
                if (HasFatalFailure())
                    return;
            }
        }
    }
}

TEST_F(OpenFileRecoveryTest, CutIntoTheHeaderRecreatesTheFileAlsoWhenCreationIsAllowed)
{
    const QByteArray original = writeItemByItem(16, 2);
    for (int size : {0, 1, 8, 20, 32, 43}) {
        reopenCutAt(original, 16, size, true);
        if (HasFatalFailure())
            return;
    }
}

TEST_F(OpenFileRecoveryTest, RecreatedFileOpensAgainAsAnEmptyFile)
{
    const QByteArray original = writeItemByItem(16, 2);
    PtrLoggerFileInfo info = newFileInfo(16);
    const QString path = LoggerFileSystem::getFullFileName(info.get());
    ASSERT_TRUE(FileFaults::truncateTo(path, 30));
    QFile file;
    float parameter1 = kCallerParameter;
    float parameter2 = kCallerParameter;
    ASSERT_TRUE(LoggerFileSystem::openFile(info.get(), file, -1, kBaseTypeId, false, kHeaderWord,
                                           kUniqueId, parameter1, parameter2));
    ASSERT_FALSE(file.isOpen());

    info->mFirstDataItem = false;
    ASSERT_TRUE(LoggerFileSystem::openFile(info.get(), file, -1, kBaseTypeId, false, kHeaderWord,
                                           kUniqueId, parameter1, parameter2));
    EXPECT_TRUE(file.isOpen());
    EXPECT_EQ(file.pos(), qint64(kHeader));
    EXPECT_EQ(info->mFilePosition, kHeader);
    EXPECT_TRUE(info->mFirstDataItem);
    EXPECT_EQ(FileFaults::sizeOf(path), qint64(kHeader));
}

TEST_F(OpenFileRecoveryTest, NextWriteAfterReopeningOverwritesTheTornItem)
{
    const int block = 24;
    const QByteArray original = writeItemByItem(block, 4);
    for (int torn = 1; torn < block; ++torn) {
        SCOPED_TRACE(torn);
        PtrLoggerFileInfo info = newFileInfo(block);
        const QString path = LoggerFileSystem::getFullFileName(info.get());
        ASSERT_TRUE(FileFaults::writeAll(path, original));
        ASSERT_TRUE(FileFaults::truncateTo(path, kHeader + 3 * block + torn));
        QFile file;
        float parameter1 = kCallerParameter;
        float parameter2 = kCallerParameter;
        ASSERT_TRUE(LoggerFileSystem::openFile(info.get(), file, -1, kBaseTypeId, false,
                                               kHeaderWord, kUniqueId, parameter1, parameter2));
        ASSERT_TRUE(file.isOpen());

        const QByteArray replacement = DataFileBuilder::itemBytes(
            block, DataTimespec{kFirstItemSec + 100, 0}, 77);
        ASSERT_EQ(file.write(replacement), qint64(block));
        file.close();

        EXPECT_EQ(hex(FileFaults::readAll(path)),
                  hex(original.left(kHeader + 3 * block) + replacement));
    }
}

TEST_F(OpenFileRecoveryTest, ReadersSeeOnlyTheWholeItemsOfACutFile)
{
    const int block = 16;
    const QByteArray original = writeItemByItem(block, 6);
    PtrLoggerFileInfo info = newFileInfo(block);
    const QString path = LoggerFileSystem::getFullFileName(info.get());
    for (int torn = 0; torn < block; ++torn) {
        SCOPED_TRACE(torn);
        ASSERT_TRUE(FileFaults::writeAll(path, original.left(kHeader + 5 * block + torn)));
        timespec first{};
        timespec last{};
        ASSERT_TRUE(LoggerFileSystem::readUtcRange(info.get(), first, last));
        EXPECT_EQ(last.tv_sec, kFirstItemSec + 4);
        EXPECT_EQ(LoggerFileSystem::getNumDataItems(info.get()), 5);
        timespec late{};
        late.tv_sec = kFirstItemSec + 100;
        EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), late, block, true),
                  kHeader + 4 * block);
    }
}

} // namespace

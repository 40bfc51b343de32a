// Inside a data file: the 44-byte header, creating and reopening a file, sizes and counts,
// the binary search by time, and the reads of ranges, single elements and events. Files are
// laid down byte by byte by DataFileBuilder, so every expected byte is known independently of
// the store.

#include "DataFileBuilder.h"
#include "FileFaults.h"
#include "LoggerDataItems.h"
#include "LoggerFileInfo.h"
#include "LoggerFileSystem.h"
#include "LoggerHeader.h"
#include "ScopedTimeZone.h"
#include "TemporaryStoreRoot.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileDevice>
#include <QFileInfo>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <sys/stat.h>

namespace {

constexpr int32_t kJuly3rd2026 = 1783036800; // 2026-07-03 00:00:00 UTC
constexpr int32_t kFirstItemSec = kJuly3rd2026 + 3600;
constexpr int kHeader = 44;
constexpr int kMeanBlock = 24;
// The scale values a writer starts with.
constexpr uint32_t kDefaultParameter1Bits = 0x3C792E72;
constexpr uint32_t kDefaultParameter2Bits = 0x39754CD7;

timespec at(int32_t sec, int32_t nsec = 0)
{
    timespec t{};
    t.tv_sec = sec;
    t.tv_nsec = nsec;
    return t;
}

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

std::string hex(const std::vector<char>& buffer, int offset, int size)
{
    return hex(QByteArray(buffer.data() + offset, size));
}

bool allZero(const std::vector<char>& buffer, int from = 0)
{
    for (size_t i = static_cast<size_t>(from); i < buffer.size(); ++i) {
        if (buffer[i] != 0)
            return false;
    }
    return true;
}

class LoggerDataFileTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mStore.isValid());
        mRoot = mStore.filePath("data");
        LoggerFileSystem::setPath(mRoot);
        LoggerFileSystem::setLastError("");
    }

    // Ten MEAN items ten seconds apart, the first at kFirstItemSec; item i at time t(i).
    static DataFileBuilder tenItems()
    {
        DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
        builder.uniqueId(500).baseTypeId(17).itemsEvery(10, kFirstItemSec, 10);
        return builder;
    }
    static timespec t(int index, int32_t offset = 0)
    {
        return at(kFirstItemSec + 10 * index + offset);
    }

    // A root below a plain file: nothing can be created under it, not even by root.
    QString unmakeableRoot() const
    {
        const QString blocker = mStore.filePath("plain-file");
        EXPECT_TRUE(FileFaults::writeAll(blocker, QByteArray("not a folder")));
        return blocker + "/data";
    }

    ScopedTimeZone mZone{"UTC"};
    TemporaryStoreRoot mStore;
    QString mRoot;
};

// ---------------------------------------------------------------------------------------------
// createFile

TEST_F(LoggerDataFileTest, CreateFileWritesTheExactHeaderBytes)
{
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    builder.created(1783054800, 123456789);
    PtrLoggerFileInfo info = builder.fileInfo();
    QFile file;

    ASSERT_TRUE(LoggerFileSystem::createFile(info.get(), file, 17, 1, 4711,
                                             floatFromBits(kDefaultParameter1Bits),
                                             floatFromBits(kDefaultParameter2Bits)));

    // version 1, two reserved words, created seconds and nanoseconds, MEAN, owner 17, header
    // word 1, unique id 4711, and the two scales, all little-endian.
    const QByteArray expected = QByteArray::fromHex(
        "01000000" "00000000" "00000000" "d041476a" "15cd5b07" "03000000"
        "11000000" "01000000" "67120000" "722e793c" "d74c7539");
    ASSERT_EQ(expected.size(), kHeader);
    EXPECT_EQ(hex(FileFaults::readAll(LoggerFileSystem::getFullFileName(info.get()))),
              hex(expected));
}

TEST_F(LoggerDataFileTest, CreateFileLeavesTheFileClosedNamedAndPositionedBehindTheHeader)
{
    DataFileBuilder builder(LoggerDataType::VTQ, 16);
    PtrLoggerFileInfo info = builder.fileInfo();
    QFile file;

    ASSERT_TRUE(LoggerFileSystem::createFile(info.get(), file, 3, 0, 0, 1.0f, 1.0f));

    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(file.fileName(), LoggerFileSystem::getFullFileName(info.get()));
    EXPECT_EQ(info->mFilePosition, kHeader);
    EXPECT_EQ(FileFaults::sizeOf(file.fileName()), qint64(kHeader));
    EXPECT_TRUE(QDir(mRoot + "/2026/7/3").exists());
}

TEST_F(LoggerDataFileTest, CreateFileHeaderMatchesTheFileInfoAndArguments)
{
    DataFileBuilder builder(LoggerDataType::SAMPLES16, 32);
    builder.created(kJuly3rd2026 + 77, 999).baseTypeId(42).headerWord(3).uniqueId(123456)
        .parameters(0.5f, 0.25f);
    PtrLoggerFileInfo info = builder.fileInfo();
    QFile file;

    ASSERT_TRUE(LoggerFileSystem::createFile(info.get(), file, 42, 3, 123456, 0.5f, 0.25f));

    EXPECT_EQ(hex(FileFaults::readAll(file.fileName())), hex(builder.headerBytes()));
}

TEST_F(LoggerDataFileTest, CreateFileClosesAFileThatIsStillOpen)
{
    DataFileBuilder builder(LoggerDataType::VTQ, 16);
    builder.itemsEvery(2, kFirstItemSec, 1);
    const QString path = builder.write();
    ASSERT_FALSE(path.isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));

    EXPECT_TRUE(LoggerFileSystem::createFile(info.get(), file, 7, 0, 0, 1.0f, 1.0f));
    EXPECT_FALSE(file.isOpen());
}

TEST_F(LoggerDataFileTest, CreateFileOnAnExistingFileRewritesOnlyTheHeader)
{
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    builder.itemsEvery(3, kFirstItemSec, 1);
    const QString path = builder.write();
    ASSERT_FALSE(path.isEmpty());
    const QByteArray before = builder.bytes();
    PtrLoggerFileInfo info = builder.fileInfo();
    QFile file;

    ASSERT_TRUE(LoggerFileSystem::createFile(info.get(), file, 99, 1, 2, 3.0f, 4.0f));

    const QByteArray after = FileFaults::readAll(path);
    ASSERT_EQ(after.size(), before.size());
    EXPECT_EQ(hex(after.left(kHeader)),
              hex(DataFileBuilder::headerBytes(kJuly3rd2026, 0,
                                               static_cast<int32_t>(LoggerDataType::MEAN), 99, 1,
                                               2, 3.0f, 4.0f)));
    EXPECT_EQ(hex(after.mid(kHeader)), hex(before.mid(kHeader)));
}

TEST_F(LoggerDataFileTest, CreateFileReportsAFileNameChangeAndGoesOn)
{
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    PtrLoggerFileInfo info = builder.fileInfo();
    const QString oldName = mStore.filePath("previous.bin");
    const QString newName = LoggerFileSystem::getFullFileName(info.get());
    QFile file(oldName);

    EXPECT_TRUE(LoggerFileSystem::createFile(info.get(), file, 1, 0, 0, 1.0f, 1.0f));

    EXPECT_EQ(LoggerFileSystem::getLastError(),
              "ATTENSION: Filename change from '" + oldName + "' to '" + newName + "'");
    EXPECT_EQ(file.fileName(), newName);
    EXPECT_EQ(FileFaults::sizeOf(newName), qint64(kHeader));
    EXPECT_FALSE(QFile::exists(oldName));
}

TEST_F(LoggerDataFileTest, CreateFileWithAnUnnamedFileReportsNothing)
{
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    PtrLoggerFileInfo info = builder.fileInfo();
    QFile file;
    ASSERT_TRUE(LoggerFileSystem::createFile(info.get(), file, 1, 0, 0, 1.0f, 1.0f));
    EXPECT_EQ(LoggerFileSystem::getLastError(), QString(""));

    // The same name again is no change either.
    ASSERT_TRUE(LoggerFileSystem::createFile(info.get(), file, 1, 0, 0, 1.0f, 1.0f));
    EXPECT_EQ(LoggerFileSystem::getLastError(), QString(""));
}

TEST_F(LoggerDataFileTest, CreateFileIntoAFolderThatCannotBeMadeFails)
{
    LoggerFileSystem::setPath(unmakeableRoot());
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    PtrLoggerFileInfo info = builder.fileInfo();
    QFile file;

    EXPECT_FALSE(LoggerFileSystem::createFile(info.get(), file, 1, 0, 0, 1.0f, 1.0f));
    EXPECT_EQ(LoggerFileSystem::getLastError(), QString("could not create folder"));
    EXPECT_FALSE(file.isOpen());
}

TEST_F(LoggerDataFileTest, CreateFileWhereTheOpenFailsReportsTheDevicesError)
{
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    PtrLoggerFileInfo info = builder.fileInfo();
    const QString path = LoggerFileSystem::getFullFileName(info.get());
    // A folder where the file should be: the folder exists, the open fails.
    ASSERT_TRUE(QDir().mkpath(path));
    QFile probe(path);
    ASSERT_FALSE(probe.open(QIODevice::ReadWrite | QIODevice::Unbuffered));
    QFile file;

    EXPECT_FALSE(LoggerFileSystem::createFile(info.get(), file, 1, 0, 0, 1.0f, 1.0f));

    EXPECT_EQ(LoggerFileSystem::getLastError(), probe.errorString());
    EXPECT_FALSE(LoggerFileSystem::getLastError().isEmpty());
    EXPECT_FALSE(file.isOpen());
}

TEST_F(LoggerDataFileTest, CreateFileOnAFileOfAnotherNameGivesItReadWriteForOwnerAndGroup)
{
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    const QString path = builder.write();
    ASSERT_FALSE(path.isEmpty());
    ASSERT_TRUE(QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner
                                                | QFileDevice::ReadOther));
    PtrLoggerFileInfo info = builder.fileInfo();
    QFile file(mStore.filePath("previous.bin"));

    ASSERT_TRUE(LoggerFileSystem::createFile(info.get(), file, 1, 0, 0, 1.0f, 1.0f));

    struct stat status {};
    ASSERT_EQ(::stat(QFile::encodeName(path).constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0660u);
}

TEST_F(LoggerDataFileTest, RecordsKeepTheirDiskLayoutThroughAFile)
{
    DataFileBuilder builder(LoggerDataType::STATISTIC, int(sizeof(DataStatisticBase<long>)));
    PtrLoggerFileInfo info = builder.fileInfo();
    QFile file;
    ASSERT_TRUE(LoggerFileSystem::createFile(info.get(), file, 1, 0, 0, 1.0f, 1.0f));
    DataStatisticBase<long> written[2] = {};
    for (int i = 0; i < 2; ++i) {
        written[i].utc = DataTimespec{kFirstItemSec + i, 5};
        written[i].utcStart = DataTimespec{kFirstItemSec - 600 + i, 6};
        written[i].quality = 0x20000u + uint32_t(i);
        written[i].betweenLimits = 590 + i;
        written[i].missing = 7;
        written[i].limitViolation = 3 - i;
    }
    QFile append(file.fileName());
    ASSERT_TRUE(append.open(QIODevice::WriteOnly | QIODevice::Append));
    ASSERT_EQ(append.write(reinterpret_cast<const char*>(written), sizeof(written)),
              qint64(2 * 32));
    append.close();
    // The words lie where the format puts them, whatever the host's long.
    const QByteArray bytes = FileFaults::readAll(file.fileName());
    ASSERT_EQ(bytes.size(), kHeader + 64);
    int32_t betweenLimits = 0;
    std::memcpy(&betweenLimits, bytes.constData() + kHeader + 20, 4);
    EXPECT_EQ(betweenLimits, 590);

    DataStatisticBase<long> read[2] = {};
    int firstItemIndex = -1;
    EXPECT_EQ(LoggerFileSystem::readData(info.get(), at(0), at(2100000000), -1, 32,
                                         reinterpret_cast<char*>(read), firstItemIndex),
              64);
    EXPECT_EQ(firstItemIndex, 0);
    EXPECT_EQ(std::memcmp(read, written, sizeof(read)), 0);
    EXPECT_EQ(read[1].utc.tv_sec, kFirstItemSec + 1);
    EXPECT_EQ(read[1].limitViolation, 2);
}

// ---------------------------------------------------------------------------------------------
// openFile

TEST_F(LoggerDataFileTest, OpenFileReturnsTheFileParametersAndPositionsBehindTheLastItem)
{
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    builder.parameters(2.5f, 0.125f).itemsEvery(3, kFirstItemSec, 1);
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    QFile file;
    float parameter1 = 9.0f;
    float parameter2 = 9.0f;

    ASSERT_TRUE(LoggerFileSystem::openFile(info.get(), file, -1, 7, false, 0, 0, parameter1,
                                           parameter2));

    EXPECT_EQ(parameter1, 2.5f);
    EXPECT_EQ(parameter2, 0.125f);
    EXPECT_TRUE(file.isOpen());
    EXPECT_EQ(file.pos(), qint64(kHeader + 3 * kMeanBlock));
    EXPECT_EQ(info->mFilePosition, kHeader + 3 * kMeanBlock);
    EXPECT_EQ(LoggerFileSystem::getLastError(), QString(""));
    file.close();
    EXPECT_EQ(hex(FileFaults::readAll(file.fileName())), hex(builder.bytes()));
}

TEST_F(LoggerDataFileTest, OpenFileWithAnItemIndexPositionsAtThatItem)
{
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    builder.itemsEvery(3, kFirstItemSec, 1);
    ASSERT_FALSE(builder.write().isEmpty());

    for (int index = 0; index < 3; ++index) {
        SCOPED_TRACE(index);
        PtrLoggerFileInfo info = builder.fileInfo();
        QFile file;
        float parameter1 = 1.0f;
        float parameter2 = 1.0f;
        ASSERT_TRUE(LoggerFileSystem::openFile(info.get(), file, index, 7, false, 0, 0,
                                               parameter1, parameter2));
        EXPECT_EQ(file.pos(), qint64(kHeader + index * kMeanBlock));
        EXPECT_EQ(info->mFilePosition, kHeader + index * kMeanBlock);
    }
}

TEST_F(LoggerDataFileTest, OpenFileOfExactlyTheHeaderSetsTheFirstDataItemFlag)
{
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    info->mFirstDataItem = false;
    QFile file;
    float parameter1 = 1.0f;
    float parameter2 = 1.0f;

    ASSERT_TRUE(LoggerFileSystem::openFile(info.get(), file, -1, 7, false, 0, 0, parameter1,
                                           parameter2));

    EXPECT_TRUE(info->mFirstDataItem);
    EXPECT_TRUE(file.isOpen());
    EXPECT_EQ(file.pos(), qint64(kHeader));
    EXPECT_EQ(info->mFilePosition, kHeader);
}

TEST_F(LoggerDataFileTest, OpenFileOf43BytesRecreatesTheFileAndLeavesItClosed)
{
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    const QString path = LoggerFileSystem::getFullFileName(builder.fileInfo().get());
    ASSERT_TRUE(FileFaults::writeAll(path, QByteArray(43, '\x5A')));
    PtrLoggerFileInfo info = builder.fileInfo();
    QFile file;
    float parameter1 = 0.75f;
    float parameter2 = 0.5f;

    EXPECT_TRUE(LoggerFileSystem::openFile(info.get(), file, -1, 17, false, 2, 321, parameter1,
                                           parameter2));

    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(LoggerFileSystem::getLastError(), path + " logger file size");
    EXPECT_EQ(info->mFilePosition, kHeader);
    EXPECT_EQ(hex(FileFaults::readAll(path)),
              hex(DataFileBuilder::headerBytes(kJuly3rd2026, 0,
                                               static_cast<int32_t>(LoggerDataType::MEAN), 17, 2,
                                               321, 0.75f, 0.5f)));
}

TEST_F(LoggerDataFileTest, OpenFileWithZeroBlockSizeRecreatesTheFile)
{
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    builder.itemsEvery(4, kFirstItemSec, 1);
    const QString path = builder.write();
    ASSERT_FALSE(path.isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    info->DataBlockSize = 0;
    QFile file;
    float parameter1 = 1.0f;
    float parameter2 = 1.0f;

    EXPECT_TRUE(LoggerFileSystem::openFile(info.get(), file, -1, 7, false, 0, 0, parameter1,
                                           parameter2));

    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(LoggerFileSystem::getLastError(), path + " logger file size");
    EXPECT_EQ(FileFaults::sizeOf(path), qint64(kHeader));
}

TEST_F(LoggerDataFileTest, OpenFileCreatesAMissingFileWhenAsked)
{
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    builder.baseTypeId(5).headerWord(1).uniqueId(77).parameters(0.5f, 0.25f);
    PtrLoggerFileInfo info = builder.fileInfo();
    info->mFirstDataItem = false;
    QFile file;
    float parameter1 = 0.5f;
    float parameter2 = 0.25f;

    ASSERT_TRUE(LoggerFileSystem::openFile(info.get(), file, -1, 5, true, 1, 77, parameter1,
                                           parameter2));

    EXPECT_TRUE(file.isOpen());
    EXPECT_EQ(file.pos(), qint64(kHeader));
    EXPECT_EQ(info->mFilePosition, kHeader);
    EXPECT_TRUE(info->mFirstDataItem);
    EXPECT_EQ(parameter1, 0.5f);
    EXPECT_EQ(parameter2, 0.25f);
    file.close();
    EXPECT_EQ(hex(FileFaults::readAll(file.fileName())), hex(builder.headerBytes()));
}

TEST_F(LoggerDataFileTest, OpenFileWithoutCreateFailsAtTheOpenOnAMissingFile)
{
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    PtrLoggerFileInfo info = builder.fileInfo();
    QFile file;
    float parameter1 = 1.0f;
    float parameter2 = 1.0f;

    EXPECT_FALSE(LoggerFileSystem::openFile(info.get(), file, -1, 7, false, 0, 0, parameter1,
                                            parameter2));

    EXPECT_TRUE(LoggerFileSystem::getLastError().startsWith("open file: "))
        << LoggerFileSystem::getLastError().toStdString();
    // The device's own error code for a failed open.
    EXPECT_EQ(LoggerFileSystem::getLastError(),
              "open file: " + QString::number(QFileDevice::OpenError));
    EXPECT_FALSE(file.isOpen());
    EXPECT_FALSE(LoggerFileSystem::fileExists(info.get()));
}

TEST_F(LoggerDataFileTest, OpenFileWhereCreationFailsReportsCannotCreateFile)
{
    LoggerFileSystem::setPath(unmakeableRoot());
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    PtrLoggerFileInfo info = builder.fileInfo();
    QFile file;
    float parameter1 = 1.0f;
    float parameter2 = 1.0f;

    EXPECT_FALSE(LoggerFileSystem::openFile(info.get(), file, -1, 7, true, 0, 0, parameter1,
                                            parameter2));
    EXPECT_EQ(LoggerFileSystem::getLastError(), QString("cannot create file"));
    EXPECT_FALSE(file.isOpen());
}

TEST_F(LoggerDataFileTest, OpenFileReportsAFileNameChangeAndGoesOn)
{
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    builder.itemsEvery(2, kFirstItemSec, 1);
    const QString newName = builder.write();
    ASSERT_FALSE(newName.isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    const QString oldName = mStore.filePath("previous.bin");
    QFile file(oldName);
    float parameter1 = 1.0f;
    float parameter2 = 1.0f;

    EXPECT_TRUE(LoggerFileSystem::openFile(info.get(), file, -1, 7, false, 0, 0, parameter1,
                                           parameter2));

    EXPECT_EQ(LoggerFileSystem::getLastError(),
              "ATTENSION: Filename change from '" + oldName + "' to '" + newName + "'");
    EXPECT_EQ(file.fileName(), newName);
    EXPECT_TRUE(file.isOpen());
    EXPECT_EQ(file.pos(), qint64(kHeader + 2 * kMeanBlock));
}

TEST_F(LoggerDataFileTest, TrailingTenBytesOfATornItemAreIgnoredAndOverwrittenByTheNextWrite)
{
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    builder.itemsEvery(3, kFirstItemSec, 1).tornItem(10);
    const QString path = builder.write();
    ASSERT_FALSE(path.isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();

    EXPECT_EQ(LoggerFileSystem::getFileSize(info.get()), kHeader + 3 * kMeanBlock + 10);
    EXPECT_EQ(LoggerFileSystem::getNumDataItems(info.get()), 3);

    QFile file;
    float parameter1 = 1.0f;
    float parameter2 = 1.0f;
    ASSERT_TRUE(LoggerFileSystem::openFile(info.get(), file, -1, 7, false, 0, 0, parameter1,
                                           parameter2));
    EXPECT_EQ(file.pos(), qint64(kHeader + 3 * kMeanBlock));
    EXPECT_EQ(info->mFilePosition, kHeader + 3 * kMeanBlock);

    const QByteArray next = DataFileBuilder::itemBytes(kMeanBlock, DataTimespec{kFirstItemSec + 3, 0}, 3);
    ASSERT_EQ(file.write(next), qint64(kMeanBlock));
    file.close();

    DataFileBuilder expected(LoggerDataType::MEAN, kMeanBlock);
    expected.itemsEvery(4, kFirstItemSec, 1);
    EXPECT_EQ(hex(FileFaults::readAll(path)), hex(expected.bytes()));
}

// ---------------------------------------------------------------------------------------------
// readHeader

TEST_F(LoggerDataFileTest, ReadHeaderFromAnOpenFile)
{
    DataFileBuilder builder(LoggerDataType::HARMONICS, 176);
    builder.created(kJuly3rd2026 + 5, 6).baseTypeId(31).headerWord(1).uniqueId(9000)
        .parameters(1.5f, -2.0f).itemsEvery(2, kFirstItemSec, 1);
    const QString path = builder.write();
    ASSERT_FALSE(path.isEmpty());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    LoggerHeader header{};

    ASSERT_TRUE(LoggerFileSystem::readHeader(file, header));

    EXPECT_EQ(header.version, 1);
    EXPECT_EQ(header.reserved[0], 0);
    EXPECT_EQ(header.reserved[1], 0);
    EXPECT_EQ(header.utcCreatedSec, kJuly3rd2026 + 5);
    EXPECT_EQ(header.utcCreatedNsec, 6);
    EXPECT_EQ(header.dataType, static_cast<int32_t>(LoggerDataType::HARMONICS));
    EXPECT_EQ(header.baseTypeId, 31);
    EXPECT_EQ(header.headerWord, 1);
    EXPECT_EQ(header.uniqueId, 9000);
    EXPECT_EQ(header.Parameter1, 1.5f);
    EXPECT_EQ(header.Parameter2, -2.0f);
}

TEST_F(LoggerDataFileTest, ReadHeaderFromAnOpenFileReadsAtItsCurrentPosition)
{
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    builder.created(kJuly3rd2026 + 5, 6).itemsEvery(1, kFirstItemSec, 1);
    const QString path = builder.write();
    ASSERT_FALSE(path.isEmpty());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    ASSERT_TRUE(file.seek(4));
    LoggerHeader header{};

    ASSERT_TRUE(LoggerFileSystem::readHeader(file, header));

    EXPECT_EQ(header.reserved[1], kJuly3rd2026 + 5);
    EXPECT_EQ(header.utcCreatedSec, 6);
}

TEST_F(LoggerDataFileTest, ReadHeaderFromAShortOpenFileFails)
{
    const QString path = mStore.filePath("short.bin");
    ASSERT_TRUE(FileFaults::writeAll(path, DataFileBuilder(LoggerDataType::MEAN, 24)
                                               .headerBytes().left(43)));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    LoggerHeader header{};
    EXPECT_FALSE(LoggerFileSystem::readHeader(file, header));
}

TEST_F(LoggerDataFileTest, ReadHeaderFromAFileThatIsNotOpenFails)
{
    const QString path = mStore.filePath("closed.bin");
    ASSERT_TRUE(FileFaults::writeAll(path, DataFileBuilder(LoggerDataType::MEAN, 24).bytes()));
    QFile file(path);
    LoggerHeader header{};
    EXPECT_FALSE(LoggerFileSystem::readHeader(file, header));
}

TEST_F(LoggerDataFileTest, ReadHeaderOfAFileInfo)
{
    DataFileBuilder builder(LoggerDataType::COMPLEX, 2876);
    builder.baseTypeId(12).uniqueId(34).parameters(400.0f, 0.0f).itemsEvery(1, kFirstItemSec, 1);
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    LoggerHeader header{};

    ASSERT_TRUE(LoggerFileSystem::readHeader(info.get(), header));

    EXPECT_EQ(header.version, 1);
    EXPECT_EQ(header.utcCreatedSec, kJuly3rd2026);
    EXPECT_EQ(header.dataType, static_cast<int32_t>(LoggerDataType::COMPLEX));
    EXPECT_EQ(header.baseTypeId, 12);
    EXPECT_EQ(header.uniqueId, 34);
    EXPECT_EQ(header.Parameter1, 400.0f);
    EXPECT_EQ(header.Parameter2, 0.0f);
}

TEST_F(LoggerDataFileTest, ReadHeaderOfAMissingFileFails)
{
    PtrLoggerFileInfo info = DataFileBuilder(LoggerDataType::MEAN, kMeanBlock).fileInfo();
    LoggerHeader header{};
    EXPECT_FALSE(LoggerFileSystem::readHeader(info.get(), header));
}

TEST_F(LoggerDataFileTest, ReadHeaderOfAShortFileLeavesTheCallersHeader)
{
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    const QString path = LoggerFileSystem::getFullFileName(builder.fileInfo().get());
    ASSERT_TRUE(FileFaults::writeAll(path, builder.headerBytes().left(20)));
    PtrLoggerFileInfo info = builder.fileInfo();
    LoggerHeader header{};
    std::memset(&header, 0x5A, sizeof(header));
    LoggerHeader prepared = header;

    // The file opens, so the result tells nothing about the header's completeness.
    EXPECT_TRUE(LoggerFileSystem::readHeader(info.get(), header));
    EXPECT_EQ(std::memcmp(&header, &prepared, sizeof(header)), 0);
}

// ---------------------------------------------------------------------------------------------
// updateData

TEST_F(LoggerDataFileTest, UpdateDataOverwritesBytesAndReturnsToTheRecordedPosition)
{
    DataFileBuilder builder(LoggerDataType::VTQ, 16);
    builder.itemsEvery(3, kFirstItemSec, 1);
    const QString path = builder.write();
    ASSERT_FALSE(path.isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    QFile file;
    float parameter1 = 1.0f;
    float parameter2 = 1.0f;
    ASSERT_TRUE(LoggerFileSystem::openFile(info.get(), file, -1, 7, false, 0, 0, parameter1,
                                           parameter2));
    ASSERT_EQ(info->mFilePosition, kHeader + 48);

    char patch[8] = {'A', 'B', 'C', 'D', 'E', 'F', 'G', 'H'};
    EXPECT_TRUE(LoggerFileSystem::updateData(file, info.get(), patch, 8, kHeader + 16 + 8));
    EXPECT_EQ(file.pos(), qint64(kHeader + 48));

    // The position recorded in the file info, not the one before the call, is where it ends.
    info->mFilePosition = kHeader + 16;
    EXPECT_TRUE(LoggerFileSystem::updateData(file, info.get(), patch, 2, kHeader + 40));
    EXPECT_EQ(file.pos(), qint64(kHeader + 16));
    file.close();

    QByteArray expected = builder.bytes();
    expected.replace(kHeader + 24, 8, QByteArray(patch, 8));
    expected.replace(kHeader + 40, 2, QByteArray(patch, 2));
    EXPECT_EQ(hex(FileFaults::readAll(path)), hex(expected));
}

TEST_F(LoggerDataFileTest, UpdateDataOnAMissingFileFails)
{
    PtrLoggerFileInfo info = DataFileBuilder(LoggerDataType::VTQ, 16).fileInfo();
    info->mFilePosition = kHeader;
    QFile file(LoggerFileSystem::getFullFileName(info.get()));
    char patch[4] = {1, 2, 3, 4};
    EXPECT_FALSE(LoggerFileSystem::updateData(file, info.get(), patch, 4, kHeader));
    EXPECT_FALSE(QFile::exists(file.fileName()));
}

// ---------------------------------------------------------------------------------------------
// writeData

TEST_F(LoggerDataFileTest, WriteDataWritesAnExportFileWithoutHeader)
{
    const QString path = mStore.filePath("export.raw");
    QByteArray data;
    for (int i = 0; i < 3; ++i)
        data.append(DataFileBuilder::itemBytes(16, DataTimespec{kFirstItemSec + i, 0}, i));

    EXPECT_EQ(LoggerFileSystem::writeData(path, 16, 3, data.data()), 48);
    EXPECT_EQ(hex(FileFaults::readAll(path)), hex(data));
}

TEST_F(LoggerDataFileTest, WriteDataReplacesAnExistingFile)
{
    const QString path = mStore.filePath("export.raw");
    ASSERT_TRUE(FileFaults::writeAll(path, QByteArray(1000, 'x')));
    QByteArray data(24 * 2, '\x11');

    EXPECT_EQ(LoggerFileSystem::writeData(path, 24, 2, data.data()), 48);
    EXPECT_EQ(hex(FileFaults::readAll(path)), hex(data));
}

TEST_F(LoggerDataFileTest, WriteDataWithNothingToWriteGivesAnEmptyFile)
{
    const QString path = mStore.filePath("empty.raw");
    char data[16] = {};
    EXPECT_EQ(LoggerFileSystem::writeData(path, 16, 0, data), 0);
    EXPECT_EQ(FileFaults::sizeOf(path), qint64(0));
}

TEST_F(LoggerDataFileTest, WriteDataToANameThatCannotBeOpenedFails)
{
    char data[16] = {};
    EXPECT_EQ(LoggerFileSystem::writeData(mStore.filePath("missing/folder/export.raw"), 16, 1,
                                          data),
              -1);
    EXPECT_EQ(LoggerFileSystem::writeData(mStore.path(), 16, 1, data), -1);
}

// ---------------------------------------------------------------------------------------------
// Sizes and counts

TEST_F(LoggerDataFileTest, FileSizeOfNullMissingAndPresentFiles)
{
    EXPECT_EQ(LoggerFileSystem::getFileSize(nullptr), -1);
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    builder.itemsEvery(2, kFirstItemSec, 1).tornItem(5);
    PtrLoggerFileInfo info = builder.fileInfo();
    EXPECT_EQ(LoggerFileSystem::getFileSize(info.get()), 0);
    ASSERT_FALSE(builder.write().isEmpty());
    EXPECT_EQ(LoggerFileSystem::getFileSize(info.get()), kHeader + 2 * kMeanBlock + 5);
}

TEST_F(LoggerDataFileTest, HasDataItemsOnlyBeyondTheHeader)
{
    EXPECT_FALSE(LoggerFileSystem::hasDataItems(nullptr));
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    PtrLoggerFileInfo info = builder.fileInfo();
    EXPECT_FALSE(LoggerFileSystem::hasDataItems(info.get()));

    const QString path = builder.write();
    ASSERT_FALSE(path.isEmpty());
    EXPECT_FALSE(LoggerFileSystem::hasDataItems(info.get()));

    ASSERT_TRUE(FileFaults::truncateTo(path, kHeader + 1));
    EXPECT_TRUE(LoggerFileSystem::hasDataItems(info.get()));

    builder.itemsEvery(3, kFirstItemSec, 1);
    ASSERT_FALSE(builder.write().isEmpty());
    EXPECT_TRUE(LoggerFileSystem::hasDataItems(info.get()));
}

TEST_F(LoggerDataFileTest, NumDataItemsRoundsDownAndIgnoresItsSecondArgument)
{
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    PtrLoggerFileInfo info = builder.fileInfo();
    ASSERT_FALSE(builder.write().isEmpty());
    EXPECT_EQ(LoggerFileSystem::getNumDataItems(info.get()), 0);

    builder.itemsEvery(7, kFirstItemSec, 1).tornItem(kMeanBlock - 1);
    ASSERT_FALSE(builder.write().isEmpty());
    EXPECT_EQ(LoggerFileSystem::getNumDataItems(info.get()), 7);
    EXPECT_EQ(LoggerFileSystem::getNumDataItems(info.get(), 0), 7);
    EXPECT_EQ(LoggerFileSystem::getNumDataItems(info.get(), 3), 7);
    EXPECT_EQ(LoggerFileSystem::getNumDataItems(info.get(), -12345), 7);
}

TEST_F(LoggerDataFileTest, NumDataItemsCountsByTheBlockSizeOfTheFileInfo)
{
    // A HARMONICS file of 41 orders has 176-byte items, not the 216 of the data type.
    DataFileBuilder builder(LoggerDataType::HARMONICS, 176);
    builder.itemsEvery(5, kFirstItemSec, 1);
    ASSERT_FALSE(builder.write().isEmpty());
    EXPECT_EQ(LoggerFileSystem::getNumDataItems(builder.fileInfo().get()), 5);
}

TEST_F(LoggerDataFileTest, UniqueIdIsReadFromTheHeader)
{
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    builder.uniqueId(4711).itemsEvery(2, kFirstItemSec, 1);
    PtrLoggerFileInfo info = builder.fileInfo();
    EXPECT_EQ(LoggerFileSystem::getUniqueId(info.get()), -1);
    ASSERT_FALSE(builder.write().isEmpty());
    EXPECT_EQ(LoggerFileSystem::getUniqueId(info.get()), 4711);
}

// ---------------------------------------------------------------------------------------------
// getUtcPosition

TEST_F(LoggerDataFileTest, FileOfExactlyTheHeaderHasNoItems)
{
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();

    for (bool upper : {true, false}) {
        EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), t(0), kMeanBlock, upper), -1);
        EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), at(0), kMeanBlock, upper), -1);
    }
    EXPECT_EQ(LoggerFileSystem::getBufferSize(info.get(), t(0), t(9), -1, kMeanBlock), 0);
    EXPECT_EQ(LoggerFileSystem::getNumItems(info.get(), t(0), t(9), -1, kMeanBlock), 0);
    timespec first = at(1, 1);
    timespec last = at(2, 2);
    EXPECT_FALSE(LoggerFileSystem::readUtcRange(info.get(), first, last));
}

TEST_F(LoggerDataFileTest, FileWithOnlyATornItemHasNoItems)
{
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    builder.tornItem(10);
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();

    EXPECT_TRUE(LoggerFileSystem::hasDataItems(info.get()));
    EXPECT_EQ(LoggerFileSystem::getNumDataItems(info.get()), 0);
    EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), t(0), kMeanBlock, true), -1);
    EXPECT_EQ(LoggerFileSystem::getBufferSize(info.get(), t(0), t(9), -1, kMeanBlock), 0);
    EXPECT_EQ(LoggerFileSystem::getNumItems(info.get(), t(0), t(9), -1, kMeanBlock), 0);

    info->mFirstDataItem = false;
    QFile file;
    float parameter1 = 1.0f;
    float parameter2 = 1.0f;
    ASSERT_TRUE(LoggerFileSystem::openFile(info.get(), file, -1, 7, false, 0, 0, parameter1,
                                           parameter2));
    EXPECT_TRUE(info->mFirstDataItem);
    EXPECT_EQ(file.pos(), qint64(kHeader));
}

TEST_F(LoggerDataFileTest, SearchOnAMissingFileGivesMinusOne)
{
    PtrLoggerFileInfo info = tenItems().fileInfo();
    EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), t(3), kMeanBlock, true), -1);
    EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), t(3), kMeanBlock, false), -1);
    EXPECT_EQ(LoggerFileSystem::getBufferSize(info.get(), t(0), t(9), -1, kMeanBlock), 0);
    EXPECT_EQ(LoggerFileSystem::getNumItems(info.get(), t(0), t(9), -1, kMeanBlock), 0);
}

TEST_F(LoggerDataFileTest, TwoItemsTimeBetweenThemGivesItemOneUpperAndItemZeroLower)
{
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    builder.itemsEvery(2, kFirstItemSec, 10);
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();

    EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), t(0, 5), kMeanBlock, true),
              builder.offsetOf(1));
    EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), t(0, 5), kMeanBlock, false),
              builder.offsetOf(0));
    EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), at(kFirstItemSec, 1), kMeanBlock, true),
              builder.offsetOf(1));
    EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), at(kFirstItemSec + 9, 999999999),
                                               kMeanBlock, false),
              builder.offsetOf(0));
}

TEST_F(LoggerDataFileTest, TimeEqualToTheFirstItemGivesTheHeaderSizeForEitherBound)
{
    for (int count : {1, 2, 3, 5, 10, 17}) {
        SCOPED_TRACE(count);
        DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
        builder.itemsEvery(count, kFirstItemSec, 10);
        ASSERT_FALSE(builder.write().isEmpty());
        PtrLoggerFileInfo info = builder.fileInfo();
        for (bool upper : {true, false})
            EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), t(0), kMeanBlock, upper), kHeader);
    }
}

TEST_F(LoggerDataFileTest, TimeEqualToTheLastItemGivesTheLastItemForEitherBound)
{
    for (int count : {1, 2, 3, 5, 10, 17}) {
        SCOPED_TRACE(count);
        DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
        builder.itemsEvery(count, kFirstItemSec, 10);
        ASSERT_FALSE(builder.write().isEmpty());
        PtrLoggerFileInfo info = builder.fileInfo();
        for (bool upper : {true, false}) {
            EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), t(count - 1), kMeanBlock, upper),
                      builder.offsetOf(count - 1));
        }
    }
}

TEST_F(LoggerDataFileTest, TimesOutsideTheItemsIgnoreTheBound)
{
    DataFileBuilder builder = tenItems();
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    for (bool upper : {true, false}) {
        SCOPED_TRACE(upper);
        // A start later than all items yields the last item, an end earlier than all the first.
        EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), t(9, 1), kMeanBlock, upper),
                  builder.offsetOf(9));
        EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), at(2100000000), kMeanBlock, upper),
                  builder.offsetOf(9));
        EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), t(0, -1), kMeanBlock, upper),
                  kHeader);
        EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), at(0), kMeanBlock, upper), kHeader);
        EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), at(kFirstItemSec - 1, 999999999),
                                                   kMeanBlock, upper),
                  kHeader);
    }
}

TEST_F(LoggerDataFileTest, TimeBetweenItemsGivesTheNextForUpperAndThePreviousForLower)
{
    DataFileBuilder builder = tenItems();
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    for (int i = 0; i < 9; ++i) {
        SCOPED_TRACE(i);
        for (int32_t offset : {1, 5, 9}) {
            EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), t(i, offset), kMeanBlock, true),
                      builder.offsetOf(i + 1));
            EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), t(i, offset), kMeanBlock, false),
                      builder.offsetOf(i));
        }
    }
}

TEST_F(LoggerDataFileTest, ExactTimeGivesThatItemForEitherBound)
{
    DataFileBuilder builder = tenItems();
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    for (int i = 0; i < 10; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), t(i), kMeanBlock, true),
                  builder.offsetOf(i));
        EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), t(i), kMeanBlock, false),
                  builder.offsetOf(i));
    }
}

TEST_F(LoggerDataFileTest, ExactHitOnARunOfEqualStampsGivesTheFirstOfTheRun)
{
    DataFileBuilder builder(LoggerDataType::VTQ, 16);
    builder.items({{100, 0}, {200, 0}, {200, 0}, {200, 0}, {300, 0}, {400, 0}, {400, 0},
                   {500, 0}});
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    for (bool upper : {true, false}) {
        EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), at(200), 16, upper), builder.offsetOf(1));
        EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), at(400), 16, upper), builder.offsetOf(5));
    }
    EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), at(250), 16, true), builder.offsetOf(4));
    EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), at(250), 16, false), builder.offsetOf(3));
}

TEST_F(LoggerDataFileTest, RunOfEqualStampsAtTheStartGivesTheFirstItem)
{
    DataFileBuilder builder(LoggerDataType::VTQ, 16);
    builder.items({{100, 0}, {100, 0}, {100, 0}, {200, 0}, {300, 0}});
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    for (bool upper : {true, false})
        EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), at(100), 16, upper), kHeader);
}

TEST_F(LoggerDataFileTest, RunOfEqualStampsReachingTheLastItemGivesTheLastItem)
{
    DataFileBuilder builder(LoggerDataType::VTQ, 16);
    builder.items({{100, 0}, {200, 0}, {300, 0}, {300, 0}, {300, 0}});
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    for (bool upper : {true, false})
        EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), at(300), 16, upper), builder.offsetOf(4));
}

TEST_F(LoggerDataFileTest, NanosecondsDecideBetweenItemsOfTheSameSecond)
{
    DataFileBuilder builder(LoggerDataType::VTQ, 16);
    builder.items({{100, 0}, {100, 500}, {100, 1000}, {101, 0}});
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), at(100, 500), 16, true), builder.offsetOf(1));
    EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), at(100, 500), 16, false), builder.offsetOf(1));
    EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), at(100, 700), 16, true), builder.offsetOf(2));
    EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), at(100, 700), 16, false), builder.offsetOf(1));
    EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), at(100, 999999999), 16, true),
              builder.offsetOf(3));
    EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), at(100, 999999999), 16, false),
              builder.offsetOf(2));
}

TEST_F(LoggerDataFileTest, TornLastItemIsNotSearched)
{
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    builder.itemsEvery(5, kFirstItemSec, 10).tornItem(kMeanBlock - 1);
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    // The torn item carries a later stamp; the search must end at the last whole item.
    for (bool upper : {true, false}) {
        EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), t(4, 1), kMeanBlock, upper),
                  builder.offsetOf(4));
        EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), t(10), kMeanBlock, upper),
                  builder.offsetOf(4));
    }
    EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), t(3, 5), kMeanBlock, true),
              builder.offsetOf(4));
}

// Every operation takes the header size from the file info rather than assuming 44 bytes.
TEST_F(LoggerDataFileTest, OperationsTakeTheHeaderSizeFromTheFileInfo)
{
    DataFileBuilder builder = tenItems();
    const int headerSize = kHeader + 8;
    QByteArray bytes = builder.bytes();
    bytes.insert(kHeader, QByteArray(8, '\0'));
    PtrLoggerFileInfo info = builder.fileInfo();
    info->HeaderSize = headerSize;
    ASSERT_TRUE(FileFaults::writeAll(LoggerFileSystem::getFullFileName(info.get()), bytes));

    EXPECT_EQ(LoggerFileSystem::getNumDataItems(info.get()), 10);
    EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), t(3), kMeanBlock, true),
              headerSize + 3 * kMeanBlock);
    EXPECT_EQ(LoggerFileSystem::getUtcPosition(info.get(), t(0, -1), kMeanBlock, true), headerSize);
    timespec first{};
    timespec last{};
    ASSERT_TRUE(LoggerFileSystem::readUtcRange(info.get(), first, last));
    EXPECT_EQ(first.tv_sec, t(0).tv_sec);
    EXPECT_EQ(last.tv_sec, t(9).tv_sec);

    std::vector<char> buffer(10 * kMeanBlock, 0);
    int firstItemIndex = -1;
    EXPECT_EQ(LoggerFileSystem::readData(info.get(), t(2), t(4), -1, kMeanBlock, buffer.data(),
                                         firstItemIndex),
              3 * kMeanBlock);
    EXPECT_EQ(firstItemIndex, 2 + 500);
    EXPECT_EQ(hex(buffer, 0, 3 * kMeanBlock),
              hex(builder.itemBytes(2) + builder.itemBytes(3) + builder.itemBytes(4)));

    QFile file;
    float parameter1 = 1.0f;
    float parameter2 = 1.0f;
    ASSERT_TRUE(LoggerFileSystem::openFile(info.get(), file, -1, 7, false, 0, 0, parameter1,
                                           parameter2));
    EXPECT_EQ(file.pos(), qint64(headerSize + 10 * kMeanBlock));
}

// ---------------------------------------------------------------------------------------------
// Range sizes

TEST_F(LoggerDataFileTest, RangeSizeCoversTheWholeItemsInsideTheTimes)
{
    DataFileBuilder builder = tenItems();
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();

    EXPECT_EQ(LoggerFileSystem::getBufferSize(info.get(), t(2), t(5), -1, kMeanBlock), 4 * kMeanBlock);
    EXPECT_EQ(LoggerFileSystem::getNumItems(info.get(), t(2), t(5), -1, kMeanBlock), 4);
    EXPECT_EQ(LoggerFileSystem::getBufferSize(info.get(), t(1, 5), t(5, 5), -1, kMeanBlock),
              4 * kMeanBlock);
    EXPECT_EQ(LoggerFileSystem::getNumItems(info.get(), t(1, 5), t(5, 5), -1, kMeanBlock), 4);
    EXPECT_EQ(LoggerFileSystem::getNumItems(info.get(), t(0), t(9), -1, kMeanBlock), 10);
    EXPECT_EQ(LoggerFileSystem::getNumItems(info.get(), at(0), at(2100000000), -1, kMeanBlock), 10);
    EXPECT_EQ(LoggerFileSystem::getNumItems(info.get(), t(4), t(4), -1, kMeanBlock), 1);
}

TEST_F(LoggerDataFileTest, BufferSizeWithMaxItemsZeroIsZeroAndWithMinusOneTheWholeRange)
{
    DataFileBuilder builder = tenItems();
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    EXPECT_EQ(LoggerFileSystem::getBufferSize(info.get(), t(2), t(5), 0, kMeanBlock), 0);
    EXPECT_EQ(LoggerFileSystem::getNumItems(info.get(), t(2), t(5), 0, kMeanBlock), 0);
    EXPECT_EQ(LoggerFileSystem::getBufferSize(info.get(), t(2), t(5), -1, kMeanBlock), 4 * kMeanBlock);
    EXPECT_EQ(LoggerFileSystem::getBufferSize(info.get(), t(0), t(9), -1, kMeanBlock), 10 * kMeanBlock);
}

TEST_F(LoggerDataFileTest, MaxItemsLimitsTheRange)
{
    DataFileBuilder builder = tenItems();
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    EXPECT_EQ(LoggerFileSystem::getBufferSize(info.get(), t(2), t(5), 3, kMeanBlock), 3 * kMeanBlock);
    EXPECT_EQ(LoggerFileSystem::getNumItems(info.get(), t(2), t(5), 3, kMeanBlock), 3);
    EXPECT_EQ(LoggerFileSystem::getBufferSize(info.get(), t(2), t(5), 4, kMeanBlock), 4 * kMeanBlock);
    EXPECT_EQ(LoggerFileSystem::getNumItems(info.get(), t(2), t(5), 100, kMeanBlock), 4);
    EXPECT_EQ(LoggerFileSystem::getNumItems(info.get(), t(2), t(5), 1, kMeanBlock), 1);
    // Any negative count means no limit.
    EXPECT_EQ(LoggerFileSystem::getNumItems(info.get(), t(2), t(5), -7, kMeanBlock), 4);
    EXPECT_EQ(LoggerFileSystem::getBufferSize(info.get(), t(2), t(5), -1000, kMeanBlock),
              4 * kMeanBlock);
}

TEST_F(LoggerDataFileTest, RangeOutsideTheItemsStillYieldsTheNearestEndItem)
{
    DataFileBuilder builder = tenItems();
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    // Before all items both ends find the first item, after all items both the last.
    EXPECT_EQ(LoggerFileSystem::getNumItems(info.get(), at(100), at(200), -1, kMeanBlock), 1);
    EXPECT_EQ(LoggerFileSystem::getBufferSize(info.get(), at(100), at(200), -1, kMeanBlock),
              kMeanBlock);
    EXPECT_EQ(LoggerFileSystem::getNumItems(info.get(), t(20), t(30), -1, kMeanBlock), 1);
    EXPECT_EQ(LoggerFileSystem::getBufferSize(info.get(), t(20), t(30), -1, kMeanBlock), kMeanBlock);
}

TEST_F(LoggerDataFileTest, RangeBetweenTwoNeighboursIsEmpty)
{
    DataFileBuilder builder = tenItems();
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    EXPECT_EQ(LoggerFileSystem::getNumItems(info.get(), t(3, 1), t(3, 9), -1, kMeanBlock), 0);
    EXPECT_EQ(LoggerFileSystem::getBufferSize(info.get(), t(3, 1), t(3, 9), -1, kMeanBlock), 0);
}

TEST_F(LoggerDataFileTest, RangeCountIgnoresATornItem)
{
    DataFileBuilder builder = tenItems();
    builder.tornItem(10);
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    EXPECT_EQ(LoggerFileSystem::getNumItems(info.get(), t(0), t(12), -1, kMeanBlock), 10);
    EXPECT_EQ(LoggerFileSystem::getBufferSize(info.get(), t(5), t(12), -1, kMeanBlock),
              5 * kMeanBlock);
}

// ---------------------------------------------------------------------------------------------
// getEventBufferSize

TEST_F(LoggerDataFileTest, EventBufferSizeCoversCountItemsEndingAtTheTime)
{
    DataFileBuilder builder = tenItems();
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    EXPECT_EQ(LoggerFileSystem::getEventBufferSize(info.get(), 3, t(4), kMeanBlock), 3 * kMeanBlock);
    EXPECT_EQ(LoggerFileSystem::getEventBufferSize(info.get(), 1, t(4), kMeanBlock), kMeanBlock);
    // A time between items ends at the item before it.
    EXPECT_EQ(LoggerFileSystem::getEventBufferSize(info.get(), 3, t(4, 5), kMeanBlock),
              3 * kMeanBlock);
    EXPECT_EQ(LoggerFileSystem::getEventBufferSize(info.get(), 0, t(4), kMeanBlock), 0);
}

TEST_F(LoggerDataFileTest, EventBufferSizeStopsAtTheFirstItem)
{
    DataFileBuilder builder = tenItems();
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    EXPECT_EQ(LoggerFileSystem::getEventBufferSize(info.get(), 10, t(4), kMeanBlock), 5 * kMeanBlock);
    EXPECT_EQ(LoggerFileSystem::getEventBufferSize(info.get(), 5, t(4), kMeanBlock), 5 * kMeanBlock);
    EXPECT_EQ(LoggerFileSystem::getEventBufferSize(info.get(), 1000, t(9), kMeanBlock),
              10 * kMeanBlock);
}

TEST_F(LoggerDataFileTest, EventBufferSizeForTimesOutsideTheItems)
{
    DataFileBuilder builder = tenItems();
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    EXPECT_EQ(LoggerFileSystem::getEventBufferSize(info.get(), 3, at(100), kMeanBlock), kMeanBlock);
    EXPECT_EQ(LoggerFileSystem::getEventBufferSize(info.get(), 3, t(50), kMeanBlock), 3 * kMeanBlock);
}

// ---------------------------------------------------------------------------------------------
// readUtcRange

TEST_F(LoggerDataFileTest, UtcRangeIsTheFirstAndTheLastWholeItem)
{
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    builder.items({{kFirstItemSec, 250}, {kFirstItemSec + 1, 0}, {kFirstItemSec + 7, 999}})
        .tornItem(9);
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    timespec first{};
    timespec last{};

    ASSERT_TRUE(LoggerFileSystem::readUtcRange(info.get(), first, last, 12345));

    EXPECT_EQ(first.tv_sec, kFirstItemSec);
    EXPECT_EQ(first.tv_nsec, 250);
    EXPECT_EQ(last.tv_sec, kFirstItemSec + 7);
    EXPECT_EQ(last.tv_nsec, 999);
}

TEST_F(LoggerDataFileTest, UtcRangeOfASingleItemIsThatItem)
{
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    builder.item(kFirstItemSec, 17);
    ASSERT_FALSE(builder.write().isEmpty());
    timespec first{};
    timespec last{};
    ASSERT_TRUE(LoggerFileSystem::readUtcRange(builder.fileInfo().get(), first, last));
    EXPECT_EQ(first.tv_sec, kFirstItemSec);
    EXPECT_EQ(last.tv_sec, kFirstItemSec);
    EXPECT_EQ(last.tv_nsec, 17);
}

TEST_F(LoggerDataFileTest, UtcRangeOfAnEmptyOrMissingFileIsFalse)
{
    DataFileBuilder builder(LoggerDataType::MEAN, kMeanBlock);
    PtrLoggerFileInfo info = builder.fileInfo();
    timespec first{};
    timespec last{};
    EXPECT_FALSE(LoggerFileSystem::readUtcRange(info.get(), first, last));
    builder.tornItem(kMeanBlock - 1);
    ASSERT_FALSE(builder.write().isEmpty());
    EXPECT_FALSE(LoggerFileSystem::readUtcRange(info.get(), first, last));
}

// ---------------------------------------------------------------------------------------------
// readData

TEST_F(LoggerDataFileTest, ReadDataCopiesTheWholeItemsInsideTheRange)
{
    DataFileBuilder builder = tenItems();
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    std::vector<char> buffer(10 * kMeanBlock, 0);
    int firstItemIndex = -1;

    EXPECT_EQ(LoggerFileSystem::readData(info.get(), t(1, 5), t(5, 5), -1, kMeanBlock,
                                         buffer.data(), firstItemIndex),
              4 * kMeanBlock);

    // The running number of the first item read: the header's unique id plus its position.
    EXPECT_EQ(firstItemIndex, 500 + 2);
    EXPECT_EQ(hex(buffer, 0, 4 * kMeanBlock), hex(builder.bytes().mid(builder.offsetOf(2),
                                                                      4 * kMeanBlock)));
    EXPECT_TRUE(allZero(buffer, 4 * kMeanBlock));
}

TEST_F(LoggerDataFileTest, ReadDataOfTheWholeFile)
{
    DataFileBuilder builder = tenItems();
    builder.uniqueId(0).tornItem(3);
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    std::vector<char> buffer(11 * kMeanBlock, 0);
    int firstItemIndex = -1;

    EXPECT_EQ(LoggerFileSystem::readData(info.get(), at(0), at(2100000000), -1, kMeanBlock,
                                         buffer.data(), firstItemIndex),
              10 * kMeanBlock);
    EXPECT_EQ(firstItemIndex, 0);
    EXPECT_EQ(hex(buffer, 0, 10 * kMeanBlock), hex(builder.bytes().mid(kHeader, 10 * kMeanBlock)));
    EXPECT_TRUE(allZero(buffer, 10 * kMeanBlock));
}

TEST_F(LoggerDataFileTest, ReadDataHonoursMaxItems)
{
    DataFileBuilder builder = tenItems();
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    std::vector<char> buffer(10 * kMeanBlock, 0);
    int firstItemIndex = -1;

    EXPECT_EQ(LoggerFileSystem::readData(info.get(), t(2), t(8), 2, kMeanBlock, buffer.data(),
                                         firstItemIndex),
              2 * kMeanBlock);
    EXPECT_EQ(firstItemIndex, 502);
    EXPECT_EQ(hex(buffer, 0, 2 * kMeanBlock), hex(builder.itemBytes(2) + builder.itemBytes(3)));
    EXPECT_TRUE(allZero(buffer, 2 * kMeanBlock));
}

TEST_F(LoggerDataFileTest, ReadDataWithMaxItemsZeroReadsNothing)
{
    DataFileBuilder builder = tenItems();
    ASSERT_FALSE(builder.write().isEmpty());
    std::vector<char> buffer(10 * kMeanBlock, 0);
    int firstItemIndex = -1;
    EXPECT_EQ(LoggerFileSystem::readData(builder.fileInfo().get(), t(2), t(8), 0, kMeanBlock,
                                         buffer.data(), firstItemIndex),
              0);
    EXPECT_TRUE(allZero(buffer));
}

TEST_F(LoggerDataFileTest, ReadDataOnAFileThatVanishedReturnsMinusOne)
{
    DataFileBuilder builder = tenItems();
    const QString path = builder.write();
    ASSERT_FALSE(path.isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    ASSERT_EQ(LoggerFileSystem::getNumItems(info.get(), t(2), t(5), -1, kMeanBlock), 4);
    ASSERT_TRUE(QFile::remove(path));
    std::vector<char> buffer(10 * kMeanBlock, 0);
    int firstItemIndex = -1;

    EXPECT_EQ(LoggerFileSystem::readData(info.get(), t(2), t(5), -1, kMeanBlock, buffer.data(),
                                         firstItemIndex),
              -1);
    EXPECT_TRUE(allZero(buffer));
}

// ---------------------------------------------------------------------------------------------
// readSingleDataElements

TEST_F(LoggerDataFileTest, SingleElementOfTheKthItemStandsAtKTimesTheElementSize)
{
    // Sixteen-byte items hold the word 1000 + index at offset 12.
    DataFileBuilder builder(LoggerDataType::VTQ, 16);
    builder.uniqueId(70).itemsEvery(10, kFirstItemSec, 10);
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    const int size = 4 * 16;
    std::vector<char> buffer(size, 0);
    int firstItemIndex = -1;

    EXPECT_EQ(LoggerFileSystem::readSingleDataElements(info.get(), t(2), t(5), -1, 16, 12, 4,
                                                       buffer.data(), firstItemIndex),
              size);

    EXPECT_EQ(firstItemIndex, 70 + 2);
    std::vector<int32_t> elements(size / 4);
    std::memcpy(elements.data(), buffer.data(), static_cast<size_t>(size));
    // The loop runs size / elementSize times and reads on past the range into later items;
    // past the end of the file its reads bring nothing.
    for (int k = 0; k < size / 4; ++k) {
        SCOPED_TRACE(k);
        const int item = 2 + k;
        EXPECT_EQ(elements[static_cast<size_t>(k)], item < 10 ? 1000 + item : 0);
    }
}

TEST_F(LoggerDataFileTest, SingleElementsOfTwoByteFields)
{
    DataFileBuilder builder = tenItems();
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    const int size = 2 * kMeanBlock;
    std::vector<char> buffer(size, 0);
    int firstItemIndex = -1;

    EXPECT_EQ(LoggerFileSystem::readSingleDataElements(info.get(), t(0), t(1), -1, kMeanBlock, 8,
                                                       2, buffer.data(), firstItemIndex),
              size);

    EXPECT_EQ(firstItemIndex, 500);
    // Twenty-four steps of two bytes: the low half of the word 0x100 + index of items 0..9,
    // then nothing.
    for (int k = 0; k < size / 2; ++k) {
        SCOPED_TRACE(k);
        int16_t element = 0;
        std::memcpy(&element, buffer.data() + 2 * k, 2);
        EXPECT_EQ(element, k < 10 ? 0x100 + k : 0);
    }
}

TEST_F(LoggerDataFileTest, SingleElementsWithANonPositiveSizeReturnThatSize)
{
    DataFileBuilder builder = tenItems();
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    std::vector<char> buffer(10 * kMeanBlock, 0);
    int firstItemIndex = -1;

    EXPECT_EQ(LoggerFileSystem::readSingleDataElements(info.get(), t(2), t(5), 0, kMeanBlock, 12,
                                                       4, buffer.data(), firstItemIndex),
              0);
    EXPECT_EQ(LoggerFileSystem::readSingleDataElements(info.get(), t(3, 1), t(3, 9), -1,
                                                       kMeanBlock, 12, 4, buffer.data(),
                                                       firstItemIndex),
              0);
    // A range whose end lies before its start: positions 5 and 2 give -2 items' worth.
    EXPECT_EQ(LoggerFileSystem::readSingleDataElements(info.get(), t(5), t(2), -1, kMeanBlock, 12,
                                                       4, buffer.data(), firstItemIndex),
              -2 * kMeanBlock);
    EXPECT_TRUE(allZero(buffer));
}

TEST_F(LoggerDataFileTest, SingleElementsOfAMissingFileFail)
{
    PtrLoggerFileInfo info = tenItems().fileInfo();
    std::vector<char> buffer(10 * kMeanBlock, 0);
    int firstItemIndex = -1;
    EXPECT_EQ(LoggerFileSystem::readSingleDataElements(info.get(), t(2), t(5), -1, kMeanBlock, 12,
                                                       4, buffer.data(), firstItemIndex),
              -1);
    EXPECT_TRUE(allZero(buffer));
}

// ---------------------------------------------------------------------------------------------
// readEventData

TEST_F(LoggerDataFileTest, EventDataReadsForwardFromAnItemToATime)
{
    DataFileBuilder builder = tenItems();
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    std::vector<char> buffer(10 * kMeanBlock, 0);
    int firstItemIndex = -1;

    EXPECT_EQ(LoggerFileSystem::readEventData(info.get(), 2, t(6), kMeanBlock, -1, buffer.data(),
                                              firstItemIndex),
              5 * kMeanBlock);

    EXPECT_EQ(firstItemIndex, 500 + 2);
    EXPECT_EQ(hex(buffer, 0, 5 * kMeanBlock),
              hex(builder.bytes().mid(builder.offsetOf(2), 5 * kMeanBlock)));
    EXPECT_TRUE(allZero(buffer, 5 * kMeanBlock));
}

TEST_F(LoggerDataFileTest, EventDataEndsAtTheItemBeforeATimeBetweenItems)
{
    DataFileBuilder builder = tenItems();
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    std::vector<char> buffer(10 * kMeanBlock, 0);
    int firstItemIndex = -1;
    EXPECT_EQ(LoggerFileSystem::readEventData(info.get(), 0, t(3, 5), kMeanBlock, -1,
                                              buffer.data(), firstItemIndex),
              4 * kMeanBlock);
    EXPECT_EQ(firstItemIndex, 500);
    EXPECT_EQ(LoggerFileSystem::readEventData(info.get(), 7, t(40), kMeanBlock, -1,
                                              buffer.data(), firstItemIndex),
              3 * kMeanBlock);
    EXPECT_EQ(firstItemIndex, 507);
    EXPECT_EQ(hex(buffer, 0, 3 * kMeanBlock),
              hex(builder.bytes().mid(builder.offsetOf(7), 3 * kMeanBlock)));
}

TEST_F(LoggerDataFileTest, EventDataHonoursOnlyAPositiveMaxItems)
{
    DataFileBuilder builder = tenItems();
    ASSERT_FALSE(builder.write().isEmpty());
    PtrLoggerFileInfo info = builder.fileInfo();
    std::vector<char> buffer(10 * kMeanBlock, 0);
    int firstItemIndex = -1;

    EXPECT_EQ(LoggerFileSystem::readEventData(info.get(), 1, t(8), kMeanBlock, 3, buffer.data(),
                                              firstItemIndex),
              3 * kMeanBlock);
    EXPECT_EQ(hex(buffer, 0, 3 * kMeanBlock),
              hex(builder.bytes().mid(builder.offsetOf(1), 3 * kMeanBlock)));
    EXPECT_TRUE(allZero(buffer, 3 * kMeanBlock));

    EXPECT_EQ(LoggerFileSystem::readEventData(info.get(), 1, t(8), kMeanBlock, 0, buffer.data(),
                                              firstItemIndex),
              8 * kMeanBlock);
    EXPECT_EQ(LoggerFileSystem::readEventData(info.get(), 1, t(8), kMeanBlock, -1, buffer.data(),
                                              firstItemIndex),
              8 * kMeanBlock);
    EXPECT_EQ(LoggerFileSystem::readEventData(info.get(), 1, t(8), kMeanBlock, 100,
                                              buffer.data(), firstItemIndex),
              8 * kMeanBlock);
}

TEST_F(LoggerDataFileTest, EventDataOfAMissingFileFails)
{
    PtrLoggerFileInfo info = tenItems().fileInfo();
    std::vector<char> buffer(10 * kMeanBlock, 0);
    int firstItemIndex = -1;
    EXPECT_EQ(LoggerFileSystem::readEventData(info.get(), 0, t(5), kMeanBlock, -1, buffer.data(),
                                              firstItemIndex),
              -1);
    EXPECT_TRUE(allZero(buffer));
}

// ---------------------------------------------------------------------------------------------
// Bad input: null file infos, zero block sizes, negative counts. Every call answers with a
// failure value and none of them may bring the process down.

class LoggerDataFileBadInputTest : public LoggerDataFileTest {
protected:
    void SetUp() override
    {
        LoggerDataFileTest::SetUp();
        mBuilder = tenItems();
        ASSERT_FALSE(mBuilder.write().isEmpty());
        mInfo = mBuilder.fileInfo();
        mBuffer.assign(64 * 1024, 0);
    }

    DataFileBuilder mBuilder{LoggerDataType::MEAN, kMeanBlock};
    PtrLoggerFileInfo mInfo;
    std::vector<char> mBuffer;
    int mFirstItemIndex = 0;
};

TEST_F(LoggerDataFileBadInputTest, NullInfoInGetUtcPosition)
{
    EXPECT_EQ(LoggerFileSystem::getUtcPosition(nullptr, t(3), kMeanBlock, true), -1);
    EXPECT_EQ(LoggerFileSystem::getUtcPosition(nullptr, t(3), kMeanBlock, false), -1);
}

TEST_F(LoggerDataFileBadInputTest, NullInfoInRangeSizes)
{
    EXPECT_LE(LoggerFileSystem::getBufferSize(nullptr, t(0), t(9), -1, kMeanBlock), 0);
    EXPECT_LE(LoggerFileSystem::getNumItems(nullptr, t(0), t(9), -1, kMeanBlock), 0);
    EXPECT_LE(LoggerFileSystem::getEventBufferSize(nullptr, 3, t(5), kMeanBlock), 0);
}

TEST_F(LoggerDataFileBadInputTest, NullInfoInCountsAndHeaders)
{
    EXPECT_LE(LoggerFileSystem::getNumDataItems(nullptr), 0);
    EXPECT_EQ(LoggerFileSystem::getUniqueId(nullptr), -1);
    LoggerHeader header{};
    EXPECT_FALSE(LoggerFileSystem::readHeader(static_cast<LoggerFileInfo*>(nullptr), header));
    timespec first{};
    timespec last{};
    EXPECT_FALSE(LoggerFileSystem::readUtcRange(nullptr, first, last));
}

TEST_F(LoggerDataFileBadInputTest, NullInfoInReadData)
{
    EXPECT_LE(LoggerFileSystem::readData(nullptr, t(0), t(9), -1, kMeanBlock, mBuffer.data(),
                                         mFirstItemIndex),
              0);
    EXPECT_TRUE(allZero(mBuffer));
}

TEST_F(LoggerDataFileBadInputTest, NullInfoInReadSingleDataElements)
{
    EXPECT_LE(LoggerFileSystem::readSingleDataElements(nullptr, t(0), t(9), -1, kMeanBlock, 12, 4,
                                                       mBuffer.data(), mFirstItemIndex),
              0);
    EXPECT_TRUE(allZero(mBuffer));
}

TEST_F(LoggerDataFileBadInputTest, NullInfoInReadEventData)
{
    EXPECT_LE(LoggerFileSystem::readEventData(nullptr, 0, t(9), kMeanBlock, -1, mBuffer.data(),
                                              mFirstItemIndex),
              0);
    EXPECT_TRUE(allZero(mBuffer));
}

TEST_F(LoggerDataFileBadInputTest, NullInfoInCreateAndOpenFile)
{
    QFile file;
    EXPECT_FALSE(LoggerFileSystem::createFile(nullptr, file, 1, 0, 0, 1.0f, 1.0f));
    EXPECT_FALSE(file.isOpen());
    float parameter1 = 1.0f;
    float parameter2 = 1.0f;
    EXPECT_FALSE(LoggerFileSystem::openFile(nullptr, file, -1, 1, true, 0, 0, parameter1,
                                            parameter2));
    EXPECT_FALSE(file.isOpen());
}

TEST_F(LoggerDataFileBadInputTest, NullInfoInUpdateData)
{
    QFile file(LoggerFileSystem::getFullFileName(mInfo.get()));
    char patch[4] = {1, 2, 3, 4};
    EXPECT_FALSE(LoggerFileSystem::updateData(file, nullptr, patch, 4, kHeader));
    EXPECT_EQ(hex(FileFaults::readAll(file.fileName())), hex(mBuilder.bytes()));
}

TEST_F(LoggerDataFileBadInputTest, ZeroBlockSizeInGetUtcPosition)
{
    EXPECT_EQ(LoggerFileSystem::getUtcPosition(mInfo.get(), t(3), 0, true), -1);
    EXPECT_EQ(LoggerFileSystem::getUtcPosition(mInfo.get(), t(3), 0, false), -1);
}

TEST_F(LoggerDataFileBadInputTest, ZeroBlockSizeInRangeSizes)
{
    EXPECT_LE(LoggerFileSystem::getBufferSize(mInfo.get(), t(0), t(9), -1, 0), 0);
    EXPECT_LE(LoggerFileSystem::getNumItems(mInfo.get(), t(0), t(9), -1, 0), 0);
    EXPECT_LE(LoggerFileSystem::getEventBufferSize(mInfo.get(), 3, t(5), 0), 0);
}

TEST_F(LoggerDataFileBadInputTest, ZeroBlockSizeInReadData)
{
    EXPECT_LE(LoggerFileSystem::readData(mInfo.get(), t(0), t(9), -1, 0, mBuffer.data(),
                                         mFirstItemIndex),
              0);
    EXPECT_TRUE(allZero(mBuffer));
}

TEST_F(LoggerDataFileBadInputTest, ZeroBlockSizeInReadSingleDataElements)
{
    EXPECT_LE(LoggerFileSystem::readSingleDataElements(mInfo.get(), t(0), t(9), -1, 0, 12, 4,
                                                       mBuffer.data(), mFirstItemIndex),
              0);
    EXPECT_TRUE(allZero(mBuffer));
}

TEST_F(LoggerDataFileBadInputTest, ZeroBlockSizeInReadEventData)
{
    EXPECT_LE(LoggerFileSystem::readEventData(mInfo.get(), 0, t(9), 0, -1, mBuffer.data(),
                                              mFirstItemIndex),
              0);
}

TEST_F(LoggerDataFileBadInputTest, ZeroBlockSizeInTheFileInfo)
{
    mInfo->DataBlockSize = 0;
    EXPECT_LE(LoggerFileSystem::getNumDataItems(mInfo.get()), 0);
    timespec first{};
    timespec last{};
    EXPECT_FALSE(LoggerFileSystem::readUtcRange(mInfo.get(), first, last));
    // The file itself is still there and answers by its size.
    EXPECT_TRUE(LoggerFileSystem::hasDataItems(mInfo.get()));
    EXPECT_EQ(LoggerFileSystem::getFileSize(mInfo.get()), kHeader + 10 * kMeanBlock);
}

TEST_F(LoggerDataFileBadInputTest, NegativeMaxItemsMeansNoLimit)
{
    EXPECT_EQ(LoggerFileSystem::readData(mInfo.get(), t(0), t(9), -5, kMeanBlock, mBuffer.data(),
                                         mFirstItemIndex),
              10 * kMeanBlock);
    EXPECT_EQ(LoggerFileSystem::readEventData(mInfo.get(), 0, t(9), kMeanBlock, -5,
                                              mBuffer.data(), mFirstItemIndex),
              10 * kMeanBlock);
}

TEST_F(LoggerDataFileBadInputTest, NegativeCountGivesNoEventBytes)
{
    EXPECT_LE(LoggerFileSystem::getEventBufferSize(mInfo.get(), -1, t(5), kMeanBlock), 0);
    EXPECT_LE(LoggerFileSystem::getEventBufferSize(mInfo.get(), -100, t(5), kMeanBlock), 0);
}

TEST_F(LoggerDataFileBadInputTest, NegativeCountWritesAnEmptyExportFile)
{
    const QString path = mStore.filePath("negative.raw");
    EXPECT_EQ(LoggerFileSystem::writeData(path, 16, -1, mBuffer.data()), 0);
    EXPECT_EQ(LoggerFileSystem::writeData(path, -16, 3, mBuffer.data()), 0);
}

TEST_F(LoggerDataFileBadInputTest, MissingFileGivesFailureValuesEverywhere)
{
    ASSERT_TRUE(LoggerFileSystem::removeFile(mInfo.get()));
    EXPECT_EQ(LoggerFileSystem::getFileSize(mInfo.get()), 0);
    EXPECT_FALSE(LoggerFileSystem::hasDataItems(mInfo.get()));
    EXPECT_EQ(LoggerFileSystem::getUniqueId(mInfo.get()), -1);
    EXPECT_EQ(LoggerFileSystem::getUtcPosition(mInfo.get(), t(3), kMeanBlock, true), -1);
    EXPECT_EQ(LoggerFileSystem::getBufferSize(mInfo.get(), t(0), t(9), -1, kMeanBlock), 0);
    EXPECT_EQ(LoggerFileSystem::getNumItems(mInfo.get(), t(0), t(9), -1, kMeanBlock), 0);
    timespec first{};
    timespec last{};
    EXPECT_FALSE(LoggerFileSystem::readUtcRange(mInfo.get(), first, last));
    LoggerHeader header{};
    EXPECT_FALSE(LoggerFileSystem::readHeader(mInfo.get(), header));
    EXPECT_EQ(LoggerFileSystem::readData(mInfo.get(), t(0), t(9), -1, kMeanBlock, mBuffer.data(),
                                         mFirstItemIndex),
              -1);
    EXPECT_EQ(LoggerFileSystem::readEventData(mInfo.get(), 0, t(9), kMeanBlock, -1,
                                              mBuffer.data(), mFirstItemIndex),
              -1);
    EXPECT_TRUE(allZero(mBuffer));
}

} // namespace

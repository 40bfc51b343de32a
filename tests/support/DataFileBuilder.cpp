#include "DataFileBuilder.h"

#include "FileFaults.h"
#include "LoggerFileSystem.h"

#include <cstring>
#include <vector>

namespace {

// Little-endian, byte by byte, whatever the host.
void putWord(std::vector<char>& bytes, int offset, uint32_t word)
{
    if (offset < 0 || offset + 4 > static_cast<int>(bytes.size()))
        return;
    for (int i = 0; i < 4; ++i)
        bytes[static_cast<size_t>(offset + i)] = static_cast<char>((word >> (8 * i)) & 0xFF);
}

void putInt32(std::vector<char>& bytes, int offset, int32_t value)
{
    putWord(bytes, offset, static_cast<uint32_t>(value));
}

void putFloat(std::vector<char>& bytes, int offset, float value)
{
    uint32_t word = 0;
    std::memcpy(&word, &value, sizeof(word));
    putWord(bytes, offset, word);
}

QByteArray toByteArray(const std::vector<char>& bytes)
{
    return QByteArray(bytes.data(), static_cast<int>(bytes.size()));
}

} // namespace

DataFileBuilder::DataFileBuilder(LoggerDataType dataType, int blockSize)
    : mDataType(dataType), mBlockSize(blockSize)
{
}

DataFileBuilder& DataFileBuilder::created(int32_t sec, int32_t nsec)
{
    mCreatedSec = sec;
    mCreatedNsec = nsec;
    return *this;
}

DataFileBuilder& DataFileBuilder::guid(uint32_t low, uint32_t high)
{
    mGuidLow = low;
    mGuidHigh = high;
    return *this;
}

DataFileBuilder& DataFileBuilder::loggerType(LoggerType type)
{
    mLoggerType = type;
    return *this;
}

DataFileBuilder& DataFileBuilder::baseTypeId(int32_t id)
{
    mBaseTypeId = id;
    return *this;
}

DataFileBuilder& DataFileBuilder::headerWord(int32_t word)
{
    mHeaderWord = word;
    return *this;
}

DataFileBuilder& DataFileBuilder::uniqueId(int32_t id)
{
    mUniqueId = id;
    return *this;
}

DataFileBuilder& DataFileBuilder::parameters(float parameter1, float parameter2)
{
    mParameter1 = parameter1;
    mParameter2 = parameter2;
    return *this;
}

DataFileBuilder& DataFileBuilder::item(int32_t sec, int32_t nsec)
{
    mStamps.push_back(DataTimespec{sec, nsec});
    return *this;
}

DataFileBuilder& DataFileBuilder::items(const std::vector<DataTimespec>& stamps)
{
    mStamps.insert(mStamps.end(), stamps.begin(), stamps.end());
    return *this;
}

DataFileBuilder& DataFileBuilder::itemsEvery(int count, int32_t sec, int32_t step)
{
    for (int i = 0; i < count; ++i)
        item(sec + i * step);
    return *this;
}

DataFileBuilder& DataFileBuilder::tornItem(int count)
{
    const DataTimespec next = mStamps.empty()
        ? DataTimespec{mCreatedSec, 0}
        : DataTimespec{mStamps.back().tv_sec + 1, mStamps.back().tv_nsec};
    mTrailing = itemBytes(mBlockSize, next, itemCount()).left(count);
    return *this;
}

DataFileBuilder& DataFileBuilder::trailingBytes(const QByteArray& bytes)
{
    mTrailing = bytes;
    return *this;
}

PtrLoggerFileInfo DataFileBuilder::fileInfo() const
{
    auto info = std::make_shared<LoggerFileInfo>(mDataType);
    info->UtcCreated = DataTimespec{mCreatedSec, mCreatedNsec};
    info->GuidLow = mGuidLow;
    info->GuidHigh = mGuidHigh;
    info->HeaderSize = kHeaderSize;
    info->DataBlockSize = mBlockSize;
    info->mType = mLoggerType;
    return info;
}

QByteArray DataFileBuilder::headerBytes(int32_t createdSec, int32_t createdNsec,
                                        int32_t dataType, int32_t baseTypeId,
                                        int32_t headerWord, int32_t uniqueId, float parameter1,
                                        float parameter2)
{
    std::vector<char> bytes(kHeaderSize, '\0');
    putInt32(bytes, 0, 1);
    putInt32(bytes, 12, createdSec);
    putInt32(bytes, 16, createdNsec);
    putInt32(bytes, 20, dataType);
    putInt32(bytes, 24, baseTypeId);
    putInt32(bytes, 28, headerWord);
    putInt32(bytes, 32, uniqueId);
    putFloat(bytes, 36, parameter1);
    putFloat(bytes, 40, parameter2);
    return toByteArray(bytes);
}

QByteArray DataFileBuilder::headerBytes() const
{
    return headerBytes(mCreatedSec, mCreatedNsec, static_cast<int32_t>(mDataType), mBaseTypeId,
                       mHeaderWord, mUniqueId, mParameter1, mParameter2);
}

QByteArray DataFileBuilder::itemBytes(int blockSize, DataTimespec stamp, int index)
{
    std::vector<char> bytes(static_cast<size_t>(blockSize > 0 ? blockSize : 0), '\0');
    for (int offset = 16; offset < blockSize; ++offset)
        bytes[static_cast<size_t>(offset)] = static_cast<char>((index * 31 + offset * 7 + 1) & 0xFF);
    putInt32(bytes, 0, stamp.tv_sec);
    putInt32(bytes, 4, stamp.tv_nsec);
    putInt32(bytes, 8, 0x100 + index);
    putInt32(bytes, 12, 1000 + index);
    return toByteArray(bytes);
}

QByteArray DataFileBuilder::itemBytes(int index) const
{
    return itemBytes(mBlockSize, stamp(index), index);
}

QByteArray DataFileBuilder::bytes() const
{
    QByteArray all = headerBytes();
    all.reserve(kHeaderSize + itemCount() * mBlockSize + mTrailing.size());
    for (int i = 0; i < itemCount(); ++i)
        all.append(itemBytes(i));
    all.append(mTrailing);
    return all;
}

QString DataFileBuilder::write() const
{
    const PtrLoggerFileInfo info = fileInfo();
    const QString path = LoggerFileSystem::getFullFileName(info.get());
    return writeTo(path) ? path : QString();
}

bool DataFileBuilder::writeTo(const QString& path) const
{
    return FileFaults::writeAll(path, bytes());
}

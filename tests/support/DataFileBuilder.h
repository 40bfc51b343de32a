#pragma once

#include "LoggerFileInfo.h"
#include "LoggerTypes.h"

#include <QByteArray>
#include <QString>
#include <cstdint>
#include <vector>

// Lays down a data file byte by byte, as the format defines it, without going through the
// store: a 44-byte header and items of one block size with chosen time stamps, optionally
// followed by the torn start of one more item. Every byte of such a file is known, so reads,
// searches and recovery can be checked against it.
//
// An item record is its time stamp, then the word 0x100 + index at offset 8, the word
// 1000 + index at offset 12, and a pattern that depends on index and offset up to the block
// size, so that any misplaced byte shows.
class DataFileBuilder {
public:
    static constexpr int kHeaderSize = 44; // version, reserved, created, type, owner, word, id, scales

    DataFileBuilder(LoggerDataType dataType, int blockSize);

    DataFileBuilder& created(int32_t sec, int32_t nsec = 0);
    DataFileBuilder& guid(uint32_t low, uint32_t high);
    DataFileBuilder& loggerType(LoggerType type);
    DataFileBuilder& baseTypeId(int32_t id);
    DataFileBuilder& headerWord(int32_t word);
    DataFileBuilder& uniqueId(int32_t id);
    DataFileBuilder& parameters(float parameter1, float parameter2);
    DataFileBuilder& item(int32_t sec, int32_t nsec = 0);
    DataFileBuilder& items(const std::vector<DataTimespec>& stamps);
    // Evenly spaced items: count items from sec on, step seconds apart.
    DataFileBuilder& itemsEvery(int count, int32_t sec, int32_t step);
    // The first `count` bytes of the record that would follow the last item.
    DataFileBuilder& tornItem(int count);
    // Arbitrary trailing bytes behind the last whole item.
    DataFileBuilder& trailingBytes(const QByteArray& bytes);

    int blockSize() const { return mBlockSize; }
    int itemCount() const { return static_cast<int>(mStamps.size()); }
    DataTimespec stamp(int index) const { return mStamps.at(static_cast<size_t>(index)); }
    timespec timeOf(int index) const { return mStamps.at(static_cast<size_t>(index)); }
    int32_t uniqueIdValue() const { return mUniqueId; }
    // Byte offset of the index-th item.
    int offsetOf(int index) const { return kHeaderSize + index * mBlockSize; }

    // A file info that names this file: HeaderSize 44, DataBlockSize the block size.
    PtrLoggerFileInfo fileInfo() const;

    static QByteArray headerBytes(int32_t createdSec, int32_t createdNsec, int32_t dataType,
                                  int32_t baseTypeId, int32_t headerWord, int32_t uniqueId,
                                  float parameter1, float parameter2);
    QByteArray headerBytes() const;
    QByteArray itemBytes(int index) const;
    static QByteArray itemBytes(int blockSize, DataTimespec stamp, int index);
    // The whole file as it is written.
    QByteArray bytes() const;

    // Writes the file where the store looks for it (LoggerFileSystem::getFullFileName of
    // fileInfo()), making its day folder; returns the path, or an empty string on failure.
    QString write() const;
    bool writeTo(const QString& path) const;

private:
    LoggerDataType mDataType;
    int mBlockSize;
    LoggerType mLoggerType = LoggerType::CYCLIC;
    int32_t mCreatedSec = 1783036800; // 2026-07-03 00:00:00 UTC
    int32_t mCreatedNsec = 0;
    uint32_t mGuidLow = 0x1234ABCD;
    uint32_t mGuidHigh = 0x0BADF00D;
    int32_t mBaseTypeId = 7;
    int32_t mHeaderWord = 0;
    int32_t mUniqueId = 0;
    float mParameter1 = 1.0f;
    float mParameter2 = 1.0f;
    std::vector<DataTimespec> mStamps;
    QByteArray mTrailing;
};

// The data files of a logger's access object: the first file and every further one, the reopen
// for each block, the write of a block with the taking back of a failed one, the rewrite of the
// last items, and the quota charge. The state, the file list and the catalogue are in
// LoggerAccess.cpp.

#include "LoggerAccess.h"

#include "DefnTypePersistance.h"
#include "FileInfoPersistance.h"
#include "LoggerDb.h"
#include "LoggerFileIo.h"
#include "LoggerFileSystem.h"
#include "LoggerHeader.h"
#include "LoggerRetriedTransaction.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <unistd.h>

namespace {

void message(const std::string& text, LoggerMessageType type)
{
    LoggerDb::getInstance().loggerMessage(text, type);
}

bool isDatabaseInitialized()
{
    return LoggerDb::getInstance().isInitialized();
}

timespec zeroTime()
{
    timespec time{};
    return time;
}

} // namespace

// --- files

bool LoggerAccess::persistBaseType(bool alreadyPersisted, int dataBlockSize, const std::string& description,
                                   bool zeroCreated)
{
    if (!isDatabaseInitialized() || !mCurrentBaseType) {
        return false;
    }
    const timespec now = getCurrentTime();
    mCurrentFileInfo = FileInfoPersistance().createInstance(mLoggerType);
    const auto file = mCurrentFileInfo;
    if (!file) {
        return false;
    }
    file->mFirstDataItem = true;
    file->UtcCreated.tv_sec = zeroCreated ? 0 : static_cast<int32_t>(now.tv_sec);
    file->UtcCreated.tv_nsec = 0;
    file->UtcStart = zeroTime();
    file->UtcEnd = zeroTime();
    file->DataType = mLoggerDataType;
    file->HeaderSize = kHeaderSize;
    file->DataBlockSize = dataBlockSize;
    file->GuidLow = 0;
    file->GuidHigh = 0;
    LoggerFileSystem::createFileUuid(*file);

    const auto type = mCurrentBaseType;
    mLoggerInterval = type->getInterval();

    bool typeStored = true;
    if (!alreadyPersisted) {
        typeStored = retriedTransaction(description, [&] {
            mBaseTypeId = DefnTypePersistance().persist(type);
            return mBaseTypeId >= 0;
        });
        if (!typeStored) {
            message("cannot persist to database " + description, LOGGER_MESSAGE_FATAL);
        }
    }
    if (mFile.isOpen()) {
        mFile.close();
    }
    if (!typeStored) {
        return false;
    }
    forgetOpenedFile();

    const bool created = LoggerFileSystem::createFile(file.get(), mFile, mBaseTypeId, mSubType, mUniqueId,
                                                      mScaleVoltage, mScaleCurrent);
    mCurrentFileSize = file->mFilePosition;
    if (!created) {
        message("Cannot create Logger File", LOGGER_MESSAGE_FATAL);
        return false;
    }
    message("file created: scaleVoltage=" + QString::number(mScaleVoltage, 'g', 6).toStdString() +
                " scaleCurrent=" + QString::number(mScaleCurrent, 'g', 6).toStdString(),
            LOGGER_MESSAGE_ROUTINE);

    type->AppendFileInfo(file);
    if (!retriedTransaction(description, [&] {
            const bool fileStored = FileInfoPersistance().persist(file);
            const bool typeUpdated = DefnTypePersistance().update(type);
            mBaseTypeId = type->Id;
            return fileStored && typeUpdated;
        })) {
        message("cannot persist to Database " + description, LOGGER_MESSAGE_FATAL);
        removeUncataloguedFile(file);
        return false;
    }

    bool removed = true;
    mMemory.addDataSize(mLoggerType, mLoggerDataType, kHeaderSize, &mFile, false, removed, zeroTime());
    if (!removed) {
        return false;
    }
    type->Id = mBaseTypeId;
    mNewBaseTypeRange = true;
    return true;
}

bool LoggerAccess::createNewFile(timespec time, int currentIndex, const std::function<bool()>& storeFirst)
{
    DefnTypePersistance defn;
    if (mFile.isOpen()) {
        mFile.close();
    }
    if (!mCurrentBaseType) {
        TRACK_ERROR(*this, QStringLiteral("createNewFile: mCurrentBaseType == nullptr"));
        return false;
    }
    const auto file = mCurrentFileInfo;
    if (!file) {
        TRACK_ERROR(*this, QStringLiteral("createNewFile: mCurrentFileInfo == nullptr"));
        return false;
    }
    if (time.tv_sec == 0) {
        TRACK_ERROR(*this,
                    QStringLiteral("createNewFile, ") + getConfigId() + QStringLiteral(": timeStamp == 0"));
        return false;
    }
    forgetOpenedFile();
    const auto typeBefore = mCurrentBaseType;
    const bool created = defn.createNewFile(time, mCurrentBaseType, file, mFile, mSubType, mUniqueId,
                                            currentIndex, mScaleVoltage, mScaleCurrent, storeFirst);
    mCurrentFileSize = file->mFilePosition;
    if (!created) {
        // The type as it was before: a try that did not commit may have read it anew and put the
        // new file into its list.
        mCurrentBaseType = typeBefore;
        removeUncataloguedFile(file);
    }
    return created;
}

void LoggerAccess::removeUncataloguedFile(const std::shared_ptr<LoggerFileInfo>& file)
{
    if (!file) {
        return;
    }
    if (mFile.isOpen()) {
        mFile.close();
    }
    // Only a file that holds no item goes: nothing of what was written is ever removed here.
    const int size = LoggerFileSystem::getFileSize(file.get());
    if (size > 0 && size <= file->HeaderSize) {
        LoggerFileSystem::removeFile(file.get());
    }
}

bool LoggerAccess::createCurrentFileIfNotExists()
{
    const auto file = mCurrentFileInfo;
    const auto type = mCurrentBaseType;
    if (!file || !type) {
        return false;
    }
    if (mFile.fileName().isEmpty()) {
        mFile.setFileName(LoggerFileSystem::getFullFileName(file.get()));
    }
    if (mFile.exists()) {
        return true;
    }
    forgetOpenedFile();
    if (!LoggerFileSystem::createFile(file.get(), mFile, type->Id, mSubType, mUniqueId, mScaleVoltage,
                                      mScaleCurrent)) {
        return false;
    }
    mCurrentFileSize = file->mFilePosition;
    if (!getFileInfo(file->Id)) {
        type->AppendFileInfo(file);
    }
    return true;
}

bool LoggerAccess::openCurrentFile(bool write)
{
    const auto file = mCurrentFileInfo;
    if (!file) {
        message("openCurrentFile: filInfo = nullptr", LOGGER_MESSAGE_FATAL);
        return false;
    }
    mSizeAtOpen = -1;
    // The reopen for a further block of the file opened before: its name and header are known.
    qint64 size = 0;
    if (isKnownFile(*file) && LoggerFileSystem::reopenFile(file.get(), mFile, size)) {
        mScaleVoltage = mKnownFile.scaleVoltage;
        mScaleCurrent = mKnownFile.scaleCurrent;
        mSizeAtOpen = size;
        mFilePosition = file->mFilePosition;
        return true;
    }
    const auto type = mCurrentBaseType;
    const int baseTypeId = type ? type->Id : mBaseTypeId;
    bool opened = LoggerFileSystem::openFile(file.get(), mFile, -1, baseTypeId, write, mSubType, mUniqueId,
                                             mScaleVoltage, mScaleCurrent);
    if (opened && !mFile.isOpen() && file->DataBlockSize > 0) {
        // A recovered file is made anew with its header and left closed; it is opened once more
        // for the block that is waiting for it.
        opened = LoggerFileSystem::openFile(file.get(), mFile, -1, baseTypeId, write, mSubType, mUniqueId,
                                            mScaleVoltage, mScaleCurrent);
    }
    if (opened) {
        mFilePosition = file->mFilePosition;
        // The scales now are those of the file's header, read or, on a recovery, just written.
        rememberOpenedFile(*file);
    } else {
        forgetOpenedFile();
    }
    return opened;
}

bool LoggerAccess::openCurrentFileForBlock()
{
    const auto file = mCurrentFileInfo;
    if (file && mBlockDescriptor < 0 && !mFile.isOpen() && isKnownFile(*file)) {
        qint64 size = 0;
        if (LoggerFileSystem::reopenDescriptor(file.get(), mKnownFile.path, mBlockDescriptor, size)) {
            mScaleVoltage = mKnownFile.scaleVoltage;
            mScaleCurrent = mKnownFile.scaleCurrent;
            mSizeAtOpen = size;
            mFilePosition = file->mFilePosition;
            return true;
        }
    }
    return openCurrentFile(true);
}

bool LoggerAccess::isFileOpen() const
{
    return mBlockDescriptor >= 0 || mFile.isOpen();
}

int LoggerAccess::writeDescriptor() const
{
    return mBlockDescriptor >= 0 ? mBlockDescriptor : mFile.handle();
}

void LoggerAccess::closeBlockDescriptor()
{
    if (mBlockDescriptor >= 0) {
        ::close(mBlockDescriptor);
        mBlockDescriptor = -1;
    }
}

bool LoggerAccess::isKnownFile(const LoggerFileInfo& info) const
{
    if (mKnownFile.info != &info || mKnownFile.created.tv_sec != info.UtcCreated.tv_sec ||
        mKnownFile.created.tv_nsec != info.UtcCreated.tv_nsec || mKnownFile.dataType != info.DataType ||
        mKnownFile.guidLow != info.GuidLow || mKnownFile.guidHigh != info.GuidHigh ||
        mKnownFile.headerSize != info.HeaderSize || mKnownFile.dataBlockSize != info.DataBlockSize) {
        return false;
    }
    // The day folder of a name is worked out in local time.
    const char* timeZone = std::getenv("TZ");
    if (timeZone != nullptr ? mKnownFile.timeZone != timeZone : !mKnownFile.timeZone.isNull()) {
        return false;
    }
    return mKnownFile.root == LoggerFileSystem::getPath() && mFile.fileName() == mKnownFile.name;
}

void LoggerAccess::rememberOpenedFile(const LoggerFileInfo& info)
{
    const char* timeZone = std::getenv("TZ");
    mKnownFile.info = &info;
    mKnownFile.created = info.UtcCreated;
    mKnownFile.dataType = info.DataType;
    mKnownFile.guidLow = info.GuidLow;
    mKnownFile.guidHigh = info.GuidHigh;
    mKnownFile.headerSize = info.HeaderSize;
    mKnownFile.dataBlockSize = info.DataBlockSize;
    mKnownFile.root = LoggerFileSystem::getPath();
    mKnownFile.timeZone = timeZone != nullptr ? QByteArray(timeZone) : QByteArray();
    mKnownFile.name = mFile.fileName();
    mKnownFile.path = QFile::encodeName(mKnownFile.name);
    mKnownFile.scaleVoltage = mScaleVoltage;
    mKnownFile.scaleCurrent = mScaleCurrent;
}

void LoggerAccess::forgetOpenedFile()
{
    mKnownFile = KnownFile();
}

bool LoggerAccess::readHeaderParameters(float& scaleVoltage, float& scaleCurrent)
{
    const auto file = mCurrentFileInfo;
    if (!file || LoggerFileSystem::getFileSize(file.get()) < kHeaderSize) {
        return false;
    }
    LoggerHeader header{};
    if (!LoggerFileSystem::readHeader(file.get(), header)) {
        return false;
    }
    scaleVoltage = header.Parameter1;
    scaleCurrent = header.Parameter2;
    return true;
}

// The block goes to the position behind the last whole item, which the open of the file found,
// by a positioned write: the file object's own offset plays no part, so that no path of opening
// can leave the writer pointing anywhere else. A block that does not reach the file whole is
// taken back out of it, and the file is closed, so that the next block is placed as after a
// power cut: behind the last whole item on the card.
bool LoggerAccess::writeDatas(const char* data, int numItems, int numBytes)
{
    mFilePosition = getFilePosition();
    const qint64 sizeAtOpen = mSizeAtOpen;
    mSizeAtOpen = -1;
    const qint64 start = mFilePosition;
    qint64 written = 0;
    const int error = writeBlockAt(start, data, numItems, numBytes, written);
    if (error != 0) {
        abandonFailedBlock(start, written, numItems, numBytes, error);
        return false;
    }
    // This process is the file's only writer: where the size at the open is known, the size now
    // is the larger of it and the end of this write.
    const qint64 size = sizeAtOpen >= 0 ? std::max(sizeAtOpen, start + written) : mFile.size();
    closeAfterWrite();
    advanceBy(written, numItems, size);
    return true;
}

int LoggerAccess::writeBlockAt(qint64 start, const char* data, int numItems, int numBytes, qint64& written)
{
    int error = 0;
    if (numItems < 0 || numBytes < 0 || (data == nullptr && numBytes > 0) || start < kHeaderSize) {
        // A block without bytes behind it, or a file without a place to write, is refused like a
        // failed write.
        error = start < kHeaderSize ? EBADF : EINVAL;
    } else if (numBytes > 0) {
        written = LoggerFileIo::writeFully(writeDescriptor(), data, numBytes, start, error);
    }
    return error;
}

void LoggerAccess::abandonFailedBlock(qint64 start, qint64 written, int numItems, int numBytes, int error)
{
    const qint64 kept = takeBackFailedBlock(start, written, numItems > 0 ? numBytes / numItems : 0);
    trackWriteError(error);
    closeAfterWrite();
    if (kept > 0) {
        advanceBy(kept, static_cast<int>(kept / (numBytes / numItems)), start + kept);
    }
}

void LoggerAccess::trackWriteError(int error)
{
    TRACK_ERROR(*this, QStringLiteral("Cannot write logger type ") +
                           QString::number(static_cast<int>(mLoggerType)) +
                           QStringLiteral(" datas to file '") + mFile.fileName() + QStringLiteral("' (") +
                           LoggerFileIo::errorText(error) + QStringLiteral(")"));
}

qint64 LoggerAccess::takeBackFailedBlock(qint64 start, qint64 written, int itemSize)
{
    if (!isFileOpen()) {
        return 0;
    }
    LoggerFileIo& io = LoggerFileIo::current();
    const int descriptor = writeDescriptor();
    if (io.truncate(descriptor, static_cast<off_t>(start)) == 0) {
        // The cut goes to the card at once, so that a power cut right after it cannot leave items
        // of the failed block on the card for the next start to find. Blocks are otherwise not
        // synced: this happens only after a failure.
        if (io.sync(descriptor) != 0) {
            const int syncError = errno;
            TRACK_ERROR(*this, QStringLiteral("Cannot sync '") + mFile.fileName() + QStringLiteral("' (") +
                                   LoggerFileIo::errorText(syncError) + QStringLiteral(")"));
        }
        return 0;
    }
    // The block could not be taken back: the whole items of it that reached the file stay
    // there, and the next block goes behind them.
    const int truncateError = errno;
    TRACK_ERROR(*this, QStringLiteral("Cannot truncate '") + mFile.fileName() + QStringLiteral("' to ") +
                           QString::number(start) + QStringLiteral(" (") +
                           LoggerFileIo::errorText(truncateError) + QStringLiteral(")"));
    if (itemSize <= 0) {
        return 0;
    }
    return written / itemSize * itemSize;
}

void LoggerAccess::closeAfterWrite()
{
    // Closed after every block, so that a power failure finds the file closed.
    closeBlockDescriptor();
    if (mFile.isOpen()) {
        mFile.close();
    }
}

void LoggerAccess::advanceBy(qint64 bytes, int numItems, qint64 fileSize)
{
    mBytesWritten += bytes;
    if (auto* file = mCurrentFileInfo.get()) {
        file->mFilePosition = static_cast<int32_t>(std::min<qint64>(file->mFilePosition + bytes, INT32_MAX));
    }
    mCurrentFileSize = static_cast<int>(std::min<qint64>(fileSize, INT32_MAX));
    // Unique ids are 32-bit running numbers that wrap in two's complement.
    mUniqueId = static_cast<int32_t>(static_cast<uint32_t>(mUniqueId) + static_cast<uint32_t>(numItems));
}

// A rewrite replaces what the last write laid down, so there is nothing to take back where it
// fails; it is logged, and the result stays true as for every rewrite.
bool LoggerAccess::updateDatas(const char* data, int numBytes)
{
    mSizeAtOpen = -1;
    qint64 written = 0;
    int error = 0;
    if (numBytes > 0 && data != nullptr && mFilePosition >= 0) {
        written = LoggerFileIo::writeFully(mFile.handle(), data, numBytes, mFilePosition, error);
    }
    if (error != 0) {
        trackWriteError(error);
    }
    if (const auto file = mCurrentFileInfo) {
        file->mFilePosition = static_cast<int32_t>(std::min<qint64>(mFilePosition + written, INT32_MAX));
    }
    mCurrentFileSize = static_cast<int>(std::min<qint64>(mFile.isOpen() ? mFile.size() : 0, INT32_MAX));
    closeAfterWrite();
    return true;
}

bool LoggerAccess::updateDatas(const char* data, int numBytes, int position)
{
    mFilePosition = position;
    return updateDatas(data, numBytes);
}

std::shared_ptr<LoggerFileInfo> LoggerAccess::addDataSize(int size, bool check, bool& removed, timespec time)
{
    const int currentId = getCurrentFileInfoId();
    auto removedFile = mMemory.addDataSize(mLoggerType, mLoggerDataType, size, &mFile, check, removed, time);
    if (removedFile && (removedFile->Id == currentId || !mCurrentBaseType)) {
        removed = false;
    }
    if (!removed) {
        message(getConfigId().toStdString() + ", read DB changes...", LOGGER_MESSAGE_FATAL);
        readDatabaseChanges(false);
        if (!mCurrentBaseType) {
            message("Cannot read DB Changes", LOGGER_MESSAGE_FATAL);
        }
    }
    return removedFile;
}

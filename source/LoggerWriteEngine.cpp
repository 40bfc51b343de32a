// The write engine of a logger: the blocks of items that go into its current file, the order
// of their time stamps, the rules by which a block begins a new file (day count, file size,
// changed scales), the rewrite of the last items, and the making of a new file. The logger's
// lifecycle, from initializing to closing, is in LoggerBase.cpp.

#include "LoggerBase.h"

#include "DefnBaseType.h"
#include "FileInfoPersistance.h"
#include "LoggerAccess.h"
#include "LoggerDb.h"
#include "LoggerDebug.h"
#include "LoggerFileIo.h"
#include "LoggerFileSystem.h"
#include "LoggerMemoryManager.h"
#include "LoggerPerformanceCounter.h"
#include "LoggerTimeStamp.h"
#include "NonVolatileInterface.h"

#include <QFile>
#include <QMutexLocker>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

// Two scales differing by more than this fraction of the new value ask for a new file.
constexpr float kHeaderParameterTolerance = 0.0001f;

void message(const std::string& text, LoggerMessageType type)
{
    LoggerDb::getInstance().loggerMessage(text, type);
}

bool isZero(timespec time)
{
    return time.tv_sec == 0 && time.tv_nsec == 0;
}

// Seconds first, then nanoseconds.
bool isLater(timespec a, timespec b)
{
    return a.tv_sec > b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_nsec > b.tv_nsec);
}

timespec stampOfItem(const char* data, int index, int blockSize)
{
    DataTimespec stamp{0, 0};
    std::memcpy(&stamp, data + static_cast<size_t>(index) * static_cast<size_t>(blockSize), sizeof(stamp));
    return stamp;
}

// The most items that one write takes at once: two items more than fit in a file. A split part
// may carry a file slightly over the limit, since only the last part may begin a new file. The
// split bounds a single write; it does not fill files exactly. The part's bytes are an int: a
// part never holds more items than an int of bytes takes.
int partLimit(int maximumFileSize, int block)
{
    const int itemsPerFile =
        (std::max(maximumFileSize, LoggerBase::kHeaderSize) - LoggerBase::kHeaderSize) / block;
    return std::min(itemsPerFile, INT32_MAX / block - 2) + 2;
}

} // namespace

// The first block of a file starts its range; the type's range widens to take in the block, and
// the file's range with it.
void LoggerBase::updateTimeRanges(const timespec& first, const timespec& last, const timespec& typeStart,
                                  const timespec& typeEnd)
{
    if (mAccess->getCurrentFileInfoFirstDataItem()) {
        mAccess->setCurrentFileInfoUtcStart(first);
        mAccess->setCurrentFileInfoUtcEnd(last);
        mAccess->setCurrentFileInfoFirstDataItem(false);
    }
    if (mAccess->isNewBaseTypeRange()) {
        mAccess->setCurrentBaseTypeUtcStart(first);
        mAccess->setCurrentBaseTypeUtcEnd(last);
        mAccess->setNewBaseTypeRange(false);
    } else if (isLater(typeStart, first)) {
        mAccess->setCurrentBaseTypeUtcStart(first);
        mAccess->setCurrentFileInfoUtcStart(first);
    }
    if (isLater(last, typeEnd)) {
        mAccess->setCurrentBaseTypeUtcEnd(last);
        mAccess->setCurrentFileInfoUtcEnd(last);
    }
}

bool LoggerBase::canAccessLogger()
{
    if (!isDatabaseInitialized() || !mInitialized || !mEnabled) {
        return false;
    }
    if (mAccess->isCurrentBaseTypeNull()) {
        mAccess->readCurrentBaseType(nameString());
        setLoggerInterval();
    }
    return !mAccess->isCurrentBaseTypeNull() && !mAccess->isCurrentFileInfoNull();
}

PtrLoggerFileInfo LoggerBase::writeDatas(const char* data, int numItems, bool allowNewFile, bool checkOrder)
{
    if (refuseNonWriter("writing to")) {
        return nullptr;
    }
    QMutexLocker locker(mAccess->getSaveAccess());
    if (!canAccessLogger()) {
        return nullptr;
    }
    const int block = getDataBlockSize();
    if (block < static_cast<int>(sizeof(DataTimespec))) {
        // An item too small to hold its time stamp can't be ordered or dated.
        return nullptr;
    }
    const int limit = partLimit(mMaximumFileSize, block);
    mFirstWriteAfterStart = false;

    if (numItems > limit) {
        return writeInParts(data, numItems, limit, block, checkOrder);
    }
    if (numItems < 1 || data == nullptr) {
        return nullptr;
    }

    const timespec first = stampOfItem(data, 0, block);
    const timespec last = stampOfItem(data, numItems - 1, block);
    const timespec typeStart = mAccess->getCurrentBaseTypeUtcStart();
    const timespec typeEnd = mAccess->getCurrentBaseTypeUtcEnd();

    // Accumulates until a new file has been begun.
    mDayChanged = hasDayChanged(last) || mDayChanged;
    const bool sizeExceeded = mAccess->getFilePosition() > mMaximumFileSize;

    // A type whose range was not yet set from real data takes any first block.
    if (checkOrder && !mAccess->isNewBaseTypeRange() && !acceptInOrder(data, numItems, block)) {
        return nullptr;
    }
    mCurrentUtc = last;

    // Charged before the bytes are written and before a possible file change.
    addDataSize(numItems * block, true, mCurrentUtc);

    const auto fileBefore = mAccess->getCurrentFileInfo();
    const bool fileBeforeEmpty = mAccess->getCurrentFileInfoFirstDataItem();
    updateTimeRanges(first, last, typeStart, typeEnd);

    if ((mDayChanged || sizeExceeded || mHeaderChanged) && allowNewFile &&
        !leaveForNewFile(first, last, typeEnd, sizeExceeded, fileBefore, fileBeforeEmpty)) {
        return nullptr;
    }

    if (!openFileForBlock(false)) {
        return nullptr;
    }
    writeBlock(data, numItems, numItems * block);

    mAccess->setCurrentFileInfoFirstDataItem(false);
    debugTransactionTime("writeDatas");
    return mAccess->getCurrentFileInfo();
}

PtrLoggerFileInfo LoggerBase::writeInParts(const char* data, int numItems, int limit, int block,
                                           bool checkOrder)
{
    int offset = 0;
    int remaining = numItems;
    while (remaining > limit) {
        if (!writeDatas(data + static_cast<size_t>(offset) * static_cast<size_t>(block), limit, false,
                        checkOrder)) {
            return nullptr;
        }
        offset += limit;
        remaining -= limit;
    }
    return writeDatas(data + static_cast<size_t>(offset) * static_cast<size_t>(block), remaining, true,
                      checkOrder);
}

bool LoggerBase::acceptInOrder(const char* data, int numItems, int block)
{
    // The stamps are compared in a loop of their own: checkUtcOrder, which logs the refusal, is
    // asked only for the item that breaks the order.
    timespec previous = mCurrentUtc;
    bool checkPrevious = !isZero(previous);
    for (int index = 0; index < numItems; ++index) {
        const timespec stamp = stampOfItem(data, index, block);
        if (checkPrevious && !isLater(stamp, previous)) {
            mCurrentUtc = previous;
            return checkUtcOrder(stamp);
        }
        previous = stamp;
        // A stamp of zero is no reference: the item behind it passes, as after a start.
        checkPrevious = !isZero(stamp);
    }
    mCurrentUtc = previous;
    return true;
}

bool LoggerBase::leaveForNewFile(const timespec& first, const timespec& last, const timespec& typeEnd,
                                 bool sizeExceeded, const PtrLoggerFileInfo& fileBefore, bool fileBeforeEmpty)
{
    const QString reason = LoggerDebug::getNewFileReason(mDayChanged, mHeaderChanged, sizeExceeded,
                                                         mAccess->getFilePosition(), getLoggerName());
    debugMessage(reason);
    const bool dayChanged = mDayChanged;
    const bool headerChanged = mHeaderChanged;
    mDayChanged = false;
    mHeaderChanged = false;
    // The old end of the type names the day folder and creation stamp of the new file. A type
    // without an item has no end yet; its first block then dates the file by its own first item,
    // rather than asking for a file of 1970 that would be refused.
    if (!createNewFile(isZero(typeEnd) ? first : typeEnd, getLoggerDataType())) {
        // Nothing of the block was written, and the logger stays in its file: the next block
        // asks for the new file again.
        mDayChanged = dayChanged;
        mHeaderChanged = headerChanged;
        return false;
    }
    mAccess->setCurrentFileInfoUtcStart(first);
    mAccess->setCurrentFileInfoUtcEnd(last);
    // The change read the type anew, where an eviction had changed it even before the change:
    // the end that the block gave it in memory is taken up again, or the next change would date
    // the file it leaves by an end before that file's first item.
    if (isLater(last, mAccess->getCurrentBaseTypeUtcEnd())) {
        mAccess->setCurrentBaseTypeUtcEnd(last);
    }
    if (fileBeforeEmpty) {
        // The file being left never took an item (its scales changed before the first one). Left
        // behind, it would look like the newest file, being empty, and draw the following blocks
        // back to itself: it goes.
        mAccess->removeEmptyFile(fileBefore);
    }
    return true;
}

bool LoggerBase::openFileForBlock(bool readUpdate)
{
    if (!mAccess->isFileOpen()) {
        // A rewrite reads the last item through the file object; a block is only written.
        if (readUpdate) {
            if (!openCurrentFile(true, false, true)) {
                return false;
            }
        } else {
            mAccess->openCurrentFileForBlock();
            stepBackLastWritePosition(false, false);
        }
        LoggerDb::getInstance().incrementOpenedFiles();
    }
    return true;
}

void LoggerBase::writeBlock(const char* data, int numItems, int numBytes)
{
    LoggerFileSystem::mWritePerformance.startTimer();
    mAccess->writeDatas(data, numItems, numBytes);
    if (mNonVolatile) {
        mNonVolatile->writeUniqueId(mAccess->getUniqueId());
    }
    LoggerFileSystem::mWritePerformance.stopTimer();
}

bool LoggerBase::updateDatas(const char* data, int numItems)
{
    QMutexLocker locker(mAccess->getSaveAccess());
    if (!isDatabaseInitialized() || !mInitialized || !mEnabled ||
        refuseNonWriter("rewriting the last item of")) {
        return false;
    }
    if (mAccess->isCurrentBaseTypeNull()) {
        mAccess->readCurrentBaseType(nameString());
        setLoggerInterval();
    }
    if (mAccess->isCurrentBaseTypeNull() || mAccess->isCurrentFileInfoNull()) {
        return false;
    }
    const int block = getDataBlockSize();
    if (numItems < 1 || data == nullptr || block < static_cast<int>(sizeof(DataTimespec)) ||
        numItems > INT32_MAX / block) {
        return false;
    }

    const timespec first = stampOfItem(data, 0, block);
    const timespec last = stampOfItem(data, numItems - 1, block);
    const timespec typeStart = mAccess->getCurrentBaseTypeUtcStart();
    const timespec typeEnd = mAccess->getCurrentBaseTypeUtcEnd();
    mFirstWriteAfterStart = false;
    mDayChanged = hasDayChanged(last) || mDayChanged;

    // Equal stamps pass: a rewrite repeats the stamp of the item it replaces.
    if (!mAccess->isNewBaseTypeRange() && isLater(mCurrentUtc, first)) {
        return false;
    }
    for (int index = 0; index < numItems; ++index) {
        const timespec stamp = stampOfItem(data, index, block);
        if (isLater(mCurrentUtc, stamp)) {
            return false;
        }
        mCurrentUtc = stamp;
    }
    mCurrentUtc = last;
    mFileRemoved = false;

    updateTimeRanges(first, last, typeStart, typeEnd);

    if (!openFileForBlock(true)) {
        return false;
    }

    LoggerFileSystem::mWritePerformance.startTimer();
    mAccess->updateDatas(data, numItems * block);
    LoggerFileSystem::mWritePerformance.stopTimer();

    // Unlike writeDatas, a rewrite stores the state in the catalogue every time.
    const bool stored = mAccess->updateCurrentDatas(nameString());
    debugTransactionTime("writeDatas");
    if (!stored) {
        mAccess->getFile().close();
        LoggerDb::getInstance().isIntegrityViolated();
        readDatabaseChanges(true);
        return false;
    }
    mAccess->setCurrentFileInfoFirstDataItem(false);
    return true;
}

bool LoggerBase::openCurrentFile(bool write, bool keepPosition, bool readUpdate)
{
    mAccess->openCurrentFile(write);
    stepBackLastWritePosition(keepPosition, readUpdate);
    return true;
}

void LoggerBase::stepBackLastWritePosition(bool keepPosition, bool readUpdate)
{
    const int block = getDataBlockSize();
    // Only where the file holds at least one whole item behind its header.
    if (!keepPosition && mAccess->getLastWritePosition() > block + kHeaderSize - 1) {
        mAccess->setLastWritePosition(mAccess->getLastWritePosition() - block);
        if (readUpdate) {
            readDataToUpdate();
        }
    }
}

bool LoggerBase::readLastData(char* data)
{
    QFile& file = mAccess->getFile();
    const int block = getDataBlockSize();
    if (!file.isOpen() || data == nullptr || block <= 0) {
        return false;
    }
    return LoggerFileIo::readFully(file.handle(), data, block, mAccess->getLastWritePosition()) == block;
}

bool LoggerBase::hasDayChanged(timespec time)
{
    // An empty file can't be out of date.
    if (mAccess->isNewBaseTypeRange() || mAccess->getCurrentFileInfoFirstDataItem()) {
        return false;
    }
    const int difference =
        LoggerTimeStamp::days(time) - LoggerTimeStamp::days(mAccess->getCurrentFileInfoUtcStart());
    return difference >= mDaysPerFile;
}

bool LoggerBase::checkUtcOrder(timespec time)
{
    if (isZero(mCurrentUtc)) {
        return true;
    }
    if (isLater(time, mCurrentUtc)) {
        return true;
    }
    // Equal time stamps are out of order: a repeat from the source is not a new value.
    debugMessage(getLoggerName() + QStringLiteral(" utcCurrent <= mCurrentUtc") +
                 QStringLiteral(" utcCurrent =") + QString::number(static_cast<qint64>(time.tv_sec)) +
                 QStringLiteral(" mCurrentUtc=") + QString::number(static_cast<qint64>(mCurrentUtc.tv_sec)));
    return false;
}

bool LoggerBase::checkHeaderParameterChanged(float scaleVoltage, float scaleCurrent)
{
    if (!mAccess) {
        return false;
    }
    // A value of 0 divides to infinity or not-a-number and then decides as such a value does.
    const float voltageChange = std::fabs((scaleVoltage - mAccess->getScaleVoltage()) / scaleVoltage);
    const float currentChange = std::fabs((scaleCurrent - mAccess->getScaleCurrent()) / scaleCurrent);
    return voltageChange > kHeaderParameterTolerance || currentChange > kHeaderParameterTolerance;
}

bool LoggerBase::setHeaderParameters(float scaleVoltage, float scaleCurrent)
{
    const bool changed = checkHeaderParameterChanged(scaleVoltage, scaleCurrent);
    if (mAccess) {
        mAccess->setScales(scaleVoltage, scaleCurrent);
    }
    return changed;
}

bool LoggerBase::readHeaderParameters(float& scaleVoltage, float& scaleCurrent)
{
    if (!mAccess || !mAccess->readHeaderParameters(scaleVoltage, scaleCurrent)) {
        return true;
    }
    return checkHeaderParameterChanged(scaleVoltage, scaleCurrent);
}

bool LoggerBase::addDataSize(int size, bool check, timespec time)
{
    bool removed = true;
    const PtrLoggerFileInfo file = mAccess->addDataSize(size, check, removed, time);
    if (!removed) {
        return false;
    }
    mFileRemoved = file != nullptr;
    return mFileRemoved;
}

void LoggerBase::setSubType(int subType)
{
    mAccess->setSubType(subType);
}

bool LoggerBase::createNewFile(timespec time, LoggerDataType)
{
    if (!isDatabaseInitialized() || !mEnabled || refuseNonWriter("beginning a file of")) {
        return false;
    }
    // The old file's range is stored before it is left, in the transaction that begins the new
    // file: a change of file is one commit.
    const std::function<bool()> storeLeftFile = mAccess->storeOnLeaving(nameString());
    mAccess->getFilesTimeRange();
    QFile& file = mAccess->getFile();
    if (file.isOpen()) {
        file.close();
    }
    const int currentIndex = mAccess->getCurrentFileIndex();
    const auto leftFile = mAccess->getCurrentFileInfo();
    if (leftFile) {
        LoggerMemoryManager::roundToBlockSize(leftFile);
    }
    mAccess->setCurrentFileInfo(FileInfoPersistance().createInstance(getLoggerType()));
    mAccess->initCurrentFileInfo(time);
    // The header is charged without a quota check.
    addDataSize(kHeaderSize, false, time);
    const bool created = mAccess->createNewFile(time, currentIndex, storeLeftFile);
    if (!created && !mAccess->isCurrentFileInfoNull() && mAccess->getCurrentFileInfo() != leftFile) {
        // A file that the catalogue does not name must never take items: the logger stays in the
        // file it was to leave, which keeps its row.
        mAccess->setCurrentFileInfo(leftFile);
    }
    if (!created && storeLeftFile) {
        // Nothing of the change was committed: the file the logger stays in is stored alone.
        mAccess->updateCurrentDatas(nameString());
    }
    debugTransactionTime("createFile");
    const auto info = mAccess->getCurrentFileInfo();
    const std::string fileName =
        info ? LoggerFileSystem::getFullFileName(info.get()).toStdString() : std::string();
    if (created) {
        message("file created:" + fileName, LOGGER_MESSAGE_ROUTINE);
    } else {
        message("cannot create file:" + fileName, LOGGER_MESSAGE_ERROR);
    }
    return created;
}

bool LoggerBase::updateAccess()
{
    return mAccess->updateCurrentDatas(nameString());
}

bool LoggerBase::isFirstDataItem(int index)
{
    const auto type = mAccess->getCurrentBaseType();
    if (!type) {
        return false;
    }
    const auto file = type->getFileInfo(index);
    return file ? file->mFirstDataItem : false;
}

bool LoggerBase::isFirstCurrentFileInfoItem()
{
    return mAccess->getCurrentFileInfoFirstDataItem();
}

int LoggerBase::getNumFiles()
{
    const auto type = mAccess->getCurrentBaseType();
    return type ? type->getFileListSize() : -1;
}

timespec LoggerBase::getCurrentUtc()
{
    return mCurrentUtc;
}

#include "LoggerBase.h"

#include "DefnBaseType.h"
#include "DefnTypePersistance.h"
#include "FileInfoPersistance.h"
#include "LoggerAccessList.h"
#include "LoggerDb.h"
#include "LoggerDebug.h"
#include "LoggerFileIo.h"
#include "LoggerFileSystem.h"
#include "LoggerList.h"
#include "LoggerMemoryInterface.h"
#include "LoggerMemoryManager.h"
#include "LoggerPerformanceCounter.h"
#include "LoggerTimeStamp.h"
#include "NonVolatileInterface.h"

#include <QFile>
#include <QMutexLocker>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

// The development list of loggers: touched only where it already exists.
constexpr const char* kDebugFile = "/etc/logger_debug";
constexpr const char* kDebugFileVariable = "QZLOGGER_DEBUG_FILE";

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

// A logger without any item on the card has no time of its own to name the day folder of a
// new file at its start: the clock names it then, never 1970.
timespec timeOrClock(timespec time)
{
    return isZero(time) ? LoggerBase::getSystemTime() : time;
}

timespec stampOfItem(const char* data, int index, int blockSize)
{
    DataTimespec stamp{0, 0};
    std::memcpy(&stamp, data + static_cast<size_t>(index) * static_cast<size_t>(blockSize), sizeof(stamp));
    return stamp;
}

QString debugFilePath()
{
    const QByteArray path = qgetenv(kDebugFileVariable);
    return path.isEmpty() ? QString::fromLatin1(kDebugFile) : QString::fromLocal8Bit(path);
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

LoggerBase::LoggerBase(LoggerType loggerType, LoggerDataType loggerDataType, int dataBlockSize)
{
    construct(loggerType, loggerDataType, dataBlockSize);
}

LoggerBase::LoggerBase(const LoggerBase& other)
{
    construct(other.getLoggerType(), other.getLoggerDataType(), other.mAccess->getDataBlockSize());
}

void LoggerBase::construct(LoggerType loggerType, LoggerDataType loggerDataType, int dataBlockSize)
{
    mAccess = std::make_shared<LoggerAccess>(loggerType, loggerDataType, dataBlockSize);
    mAccess->reset();
    LoggerList::getInstance()->addLogger(this);
    registerLoggerAccess();
}

LoggerBase::~LoggerBase()
{
    if (mAccess) {
        QFile& file = mAccess->getFile();
        if (file.isOpen()) {
            file.close();
        }
        mAccess->reset();
    }
    LoggerList::getInstance()->removeLogger(this);
    LoggerAccessList::getInstance()->removeLoggerAccess(mAccess);
}

// --- virtual operations with a base-class answer

QString LoggerBase::getLoggerName()
{
    return QStringLiteral("LoggerBase");
}

double LoggerBase::getInterval()
{
    return 1.0;
}

DataMeasType LoggerBase::getDataMeasType(const QString&)
{
    return DataMeasType();
}

bool LoggerBase::flush()
{
    return true;
}

void LoggerBase::timerElapsed()
{
}

double LoggerBase::getTimeout() const
{
    return 0.0;
}

void LoggerBase::timerTick(timespec)
{
}

QString LoggerBase::getConfiguratedMeasuredTypeId()
{
    return QStringLiteral("undefined");
}

int LoggerBase::getDataBlockSize() const
{
    return 1;
}

bool LoggerBase::readDataToUpdate()
{
    return true;
}

void LoggerBase::debugMessage(const QString&)
{
}

void LoggerBase::debugTransactionTime(const char*)
{
}

std::string LoggerBase::nameString()
{
    return getLoggerName().toStdString();
}

// --- lifecycle

void LoggerBase::failInitialization(const std::string& text)
{
    message(text, LOGGER_MESSAGE_FATAL);
    mLoggerState = LOGGER_STATE_LOGGER_FAILED;
    mEnabled = false;
}

bool LoggerBase::initializeLogger()
{
    QString id = getConfiguratedMeasuredTypeId();
    const QString name = getLoggerName();
    const std::string description = name.toStdString();
    if (!isDatabaseInitialized()) {
        message("database not initialized: " + description, LOGGER_MESSAGE_ROUTINE);
        mLoggerState = LOGGER_STATE_DISABLED;
        return true;
    }
    message("initialize Logger: " + description, LOGGER_MESSAGE_TRACE);
    mCurrentUtc = getSystemTime();
    // A logger without a configured identification stays disabled.
    if (id.isEmpty()) {
        mLoggerState = LOGGER_STATE_DISABLED;
        return true;
    }
    mIdStringChanged = false;
    if (mNonVolatile) {
        mAccess->setUniqueId(mNonVolatile->readUniqueId());
    }

    DataMeasType measType = getDataMeasType(id);
    mAccess->createCurrentBaseType(id, measType);
    if (mAccess->isCurrentBaseTypeNull()) {
        mLoggerState = LOGGER_STATE_LOGGER_FAILED;
        message("Basetype==nullptr", LOGGER_MESSAGE_FATAL);
        mEnabled = false;
        return true;
    }

    std::vector<DefnBaseType> types =
        DefnTypePersistance().readBaseTypes(getLoggerType(), getLoggerDataType(), id, true);
    // How many files of the catalogue were taken up; none for a logger seen the first time or a
    // file just made.
    int filesWalked = 0;
    if (types.empty()) {
        if (!mAccess->persistBaseType(false, getDataBlockSize(), description, mZeroCreated)) {
            failInitialization("Cannot persist BaseType");
            return true;
        }
    } else {
        mAccess->getNewestBaseType(types, description);
        setLoggerInterval();
        if (mAccess->isCurrentBaseTypeNull()) {
            failInitialization("Base Type is nullptr");
            return true;
        }
        setLoggerInterval();
        const int numFiles = mAccess->getFileListSize();
        if (numFiles == 0) {
            // The catalogue knows the type but none of its files.
            LoggerDb::getInstance().setError(QStringLiteral("logger file recreated"));
            message("initializeLogger: logger file recreated", LOGGER_MESSAGE_FATAL);
            if (!mAccess->persistBaseType(false, getDataBlockSize(), description, false)) {
                failInitialization("Cannot persist BaseType");
                return true;
            }
        } else {
            mAccess->removeNonExistingFileInfos();
            const int remaining = mAccess->getFileListSize();
            if (remaining <= 0) {
                mEnabled = true;
                createNewFile(mCurrentUtc, getLoggerDataType());
            } else {
                const auto type = mAccess->getCurrentBaseType();
                for (int index = 0; index < remaining; ++index) {
                    const auto entry = type->getFileInfo(index);
                    mAccess->readFileInfo(entry);
                    LoggerDebug::logFileInfo(entry, index, LOGGER_MESSAGE_ROUTINE);
                }
                filesWalked = remaining;
                mAccess->getNewestFileInfo();
                // The files are the truth after a power cut: the range they hold goes to the
                // catalogue with their rows. The first question about a logger's change flag in
                // a process says "changed", so the store of the state further down reloads the
                // type from the catalogue, and would otherwise bring back the range the
                // catalogue had before the cut.
                mAccess->getFilesTimeRange();
                mAccess->updateAllDatabaseEntities();
            }
        }
    }

    if (mAccess->isCurrentFileInfoNull()) {
        failInitialization("CurrentFileInfo=nullptr");
        return true;
    }

    mAccess->readCurrentFileInfo();
    const bool opened = openCurrentFile(true, true, false);
    mCurrentUtc = mAccess->getCurrentFileInfoUtcEnd();
    if (LoggerFileSystem::getNumDataItems(mAccess->getCurrentFileInfo().get()) == 0) {
        // A file begun just before a power cut holds no item and has no end. The order check
        // must still refuse what the source offers again after the restart, so the newest item
        // accepted is the newest one of the logger's files.
        mAccess->getFilesTimeRange();
        mCurrentUtc = mAccess->getCurrentBaseTypeUtcEnd();
    }
    if (!mAccess->checkCurrentDataBlockSize()) {
        // The item size changed since the file was made: its items can't be continued. A new
        // file is only begun by an enabled logger, which this one is about to become.
        mEnabled = true;
        createNewFile(timeOrClock(mCurrentUtc), getLoggerDataType());
        filesWalked = 0;
    }
    mAccess->getFilesTimeRange();

    if (!opened) {
        createNewFile(timeOrClock(mCurrentUtc), getLoggerDataType());
    } else {
        const bool updated = mAccess->updateCurrentDatas(description);
        setLoggerInterval();
        if (!updated) {
            const auto file = mAccess->getCurrentFileInfo();
            message("cannot open file " +
                        (file ? LoggerFileSystem::getFullFileName(file.get()).toStdString() : std::string()),
                    LOGGER_MESSAGE_ERROR);
        }
        if (filesWalked == 0) {
            mAccess->setNewBaseTypeRange(true);
        } else if (filesWalked == 1) {
            mAccess->setNewBaseTypeRange(mAccess->getCurrentFileInfoFirstDataItem());
        } else {
            mAccess->setNewBaseTypeRange(mAccess->isCurrentBaseTypeZeroRange());
        }
        LoggerDb::getInstance().incrementOpenedFiles();
    }

    const bool ok = mAccess->removeMissingFileEntries();
    if (ok) {
        mEnabled = true;
        mInitialized = true;
        addToDebugFile(name);
        mLoggerState = LOGGER_STATE_LOGGER_INITIALIZED;
    } else {
        mLoggerState = LOGGER_STATE_LOGGER_FAILED;
    }
    if (mMobile && !mStarted) {
        closeFile();
    }
    return true;
}

void LoggerBase::addToDebugFile(const QString& name)
{
    QFile file(debugFilePath());
    if (!file.exists() || !file.open(QIODevice::ReadWrite)) {
        return;
    }
    const QByteArray content = file.readAll();
    if (!content.contains(name.toLatin1())) {
        const QString line = QStringLiteral("Name: ") + name + QStringLiteral(", Type: ") +
                             LoggerDebug::getLoggerTypeString(getLoggerType()) + QStringLiteral(", Data: ") +
                             LoggerDebug::getLoggerDataTypeString(getLoggerDataType()) + QLatin1Char('\n');
        file.write(line.toLatin1());
    }
    file.close();
}

bool LoggerBase::startLogger()
{
    const QString name = getLoggerName();
    if (mStarted) {
        debugMessage(name + QStringLiteral(" ist bereits gestartet"));
        return true;
    }
    if (!isDatabaseInitialized()) {
        debugMessage(name + QStringLiteral(" kann nicht gestartet werden (Datenbank nicht initialisiert)"));
        return false;
    }
    bool result = true;
    if (!mInitialized) {
        debugMessage(name + QStringLiteral(" wird vor dem Starten initialisiert"));
        result = initializeLogger();
    } else if (!mAccess->getFile().isOpen()) {
        result = reOpenFile();
    }
    // Started whatever the outcome: a failed logger is retried by reopening, not by starting.
    mStarted = true;
    mFirstWriteAfterStart = true;
    debugMessage(name + QStringLiteral(" gestartet"));
    return result;
}

bool LoggerBase::stopLogger()
{
    closeFile();
    if (mStarted) {
        mStarted = false;
        debugMessage(getLoggerName() + QStringLiteral(" gestoppt"));
    } else {
        debugMessage(getLoggerName() + QStringLiteral(" ist bereits gestoppt"));
    }
    return true;
}

void LoggerBase::closeFile()
{
    if (!mAccess) {
        return;
    }
    flush();
    QFile& file = mAccess->getFile();
    if (file.isOpen()) {
        file.close();
        LoggerDb::getInstance().decrementOpenedFiles();
        LoggerMemoryManager::roundToBlockSize(mAccess->getCurrentFileInfo());
    }
    // A closed logger refuses writes until it is opened again.
    mLoggerState = LOGGER_STATE_DISABLED;
    mEnabled = false;
}

bool LoggerBase::reOpenFile()
{
    if (!isDatabaseInitialized()) {
        return false;
    }
    if (!mAccess->isCurrentBaseTypeNull()) {
        mAccess->setCurrentBaseType(mAccess->readBaseType(mAccess->getId(), nameString()));
    }
    if (mAccess->isCurrentBaseTypeNull()) {
        mInitialized = false;
        return initializeLogger();
    }
    if (!mInitialized) {
        return initializeLogger();
    }
    if (mAccess->isCurrentFileInfoNull() || mAccess->getFile().isOpen()) {
        return false;
    }
    mAccess->createCurrentFileIfNotExists();
    const bool opened = openCurrentFile(false, true, false);
    mEnabled = opened;
    mLoggerState = opened ? LOGGER_STATE_LOGGER_INITIALIZED : LOGGER_STATE_LOGGER_FAILED;
    return opened;
}

void LoggerBase::resetLogger()
{
    mAccess->clearStates();
    mInitialized = false;
    LoggerMemoryInterface().initUsedMemory(getLoggerType(), getLoggerDataType());
    mHeaderChanged = false;
    mCurrentUtc = timespec{};
    mLoggerState = LOGGER_STATE_DISABLED;
}

bool LoggerBase::deleteActualLogger(bool reinitialize)
{
    const QString id = getConfiguratedMeasuredTypeId();
    const std::string description = nameString();
    if (!isDatabaseInitialized()) {
        return false;
    }
    QMutexLocker locker(mAccess->getSaveAccess());
    if (mAccess->isCurrentBaseTypeNull()) {
        getLoggerAccessDatas();
    }
    const bool ok = mAccess->deleteAllDatas(id, description);
    if (ok) {
        resetLogger();
        if (reinitialize) {
            initializeLogger();
        }
    }
    return ok;
}

void LoggerBase::getLoggerAccessDatas()
{
    std::vector<DefnBaseType> types = DefnTypePersistance().readBaseTypes(
        getLoggerType(), getLoggerDataType(), getConfiguratedMeasuredTypeId(), true);
    mAccess->getNewestBaseType(types, nameString());
}

void LoggerBase::setLoggerInterval()
{
    const double value = getInterval();
    mAccess->setLoggerInterval(value);
    message("Set Logger Interval " + nameString() +
                ": Interval = " + QString::number(value, 'g', 6).toStdString(),
            LOGGER_MESSAGE_TRACE);
}

void LoggerBase::registerLoggerAccess()
{
    LoggerAccessList::getInstance()->addLoggerAccess(mAccess);
}

bool LoggerBase::readDatabaseChanges(bool createIfEmpty)
{
    if (!isDatabaseInitialized()) {
        return false;
    }
    return mAccess->readDatabaseChanges(createIfEmpty);
}

// --- plain state

void LoggerBase::setEnabled(bool enabled)
{
    mEnabled = enabled;
}

void LoggerBase::setMobile(bool mobile)
{
    mMobile = mobile;
}

void LoggerBase::setStarted(bool started)
{
    mStarted = started;
}

bool LoggerBase::isEnabled()
{
    return mEnabled;
}

bool LoggerBase::isMobile()
{
    return mMobile;
}

bool LoggerBase::isStarted()
{
    return mStarted;
}

bool LoggerBase::isInitialized()
{
    return mInitialized;
}

bool LoggerBase::isFileRemoved()
{
    return mFileRemoved;
}

bool LoggerBase::isDatabaseInitialized()
{
    return LoggerDb::getInstance().isInitialized();
}

bool LoggerBase::isLoggingEnabled() const
{
    return LoggerDb::getInstance().isLoggingEnabled();
}

LoggerState LoggerBase::getLoggerState() const
{
    return mLoggerState;
}

LoggerType LoggerBase::getLoggerType() const
{
    return mAccess->getLoggerType();
}

LoggerDataType LoggerBase::getLoggerDataType() const
{
    return mAccess->getLoggerDataType();
}

int LoggerBase::getDaysPerFile()
{
    return mDaysPerFile;
}

void LoggerBase::setDaysPerFile(int days)
{
    mDaysPerFile = days;
}

int LoggerBase::getMaximumFileSize() const
{
    return mMaximumFileSize;
}

void LoggerBase::setMaximumFileSize(int bytes)
{
    mMaximumFileSize = bytes;
}

int LoggerBase::getFileListSize()
{
    return mAccess->getFileListSize();
}

int LoggerBase::getFileTime()
{
    return mAccess->getFileTime();
}

int LoggerBase::getFilePosition()
{
    return mAccess->getFilePosition();
}

int LoggerBase::getId()
{
    return mAccess->getId();
}

int LoggerBase::getMeasuredTypeId() const
{
    return mAccess->getBaseTypeId();
}

int LoggerBase::getCurrentFileSize()
{
    return mAccess->getCurrentFileSize();
}

double LoggerBase::getUsedLoggerSize()
{
    return LoggerMemoryInterface().getUsedLoggerSize(getLoggerType(), getLoggerDataType());
}

void LoggerBase::setFirstUniqueId(int uniqueId)
{
    mAccess->setUniqueId(uniqueId);
}

int LoggerBase::getFirstUniqueId()
{
    return mAccess ? mAccess->getUniqueId() : -1;
}

void LoggerBase::setNonVolatile(NonVolatileInterface* nonVolatile)
{
    mNonVolatile = nonVolatile;
}

void LoggerBase::setZeroCreated(bool zeroCreated)
{
    mZeroCreated = zeroCreated;
}

void LoggerBase::setHeaderChanged(bool headerChanged)
{
    mHeaderChanged = headerChanged;
}

bool LoggerBase::isHeaderChanged() const
{
    return mHeaderChanged;
}

bool LoggerBase::isDayChanged() const
{
    return mDayChanged;
}

bool LoggerBase::isFirstWriteAfterStart() const
{
    return mFirstWriteAfterStart;
}

PtrLoggerAccess LoggerBase::getLoggerAccess() const
{
    return mAccess;
}

void LoggerBase::logTraceMessage(const QString& text)
{
    message(text.toStdString(), LOGGER_MESSAGE_TRACE);
}

void LoggerBase::logDebugMessage(const QString& text)
{
    message(text.toStdString(), LOGGER_MESSAGE_ROUTINE);
}

void LoggerBase::logInfoMessage(const QString& text)
{
    message(text.toStdString(), LOGGER_MESSAGE_INFO);
}

void LoggerBase::logWarnMessage(const QString& text)
{
    message(text.toStdString(), LOGGER_MESSAGE_WARN);
}

void LoggerBase::logErrorMessage(const QString& text)
{
    message(text.toStdString(), LOGGER_MESSAGE_ERROR);
}

// --- writing

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
    QMutexLocker locker(mAccess->getSaveAccess());
    if (!canAccessLogger()) {
        return nullptr;
    }
    const int block = getDataBlockSize();
    if (block < static_cast<int>(sizeof(DataTimespec))) {
        // An item too small to hold its time stamp can't be ordered or dated.
        return nullptr;
    }
    // Two items more than fit in a file: a split part may carry a file slightly over the limit,
    // since only the last part may begin a new file. The split bounds a single write; it does
    // not fill files exactly.
    // The part's bytes are an int: a part never holds more items than an int of bytes takes.
    const int itemsPerFile = (std::max(mMaximumFileSize, kHeaderSize) - kHeaderSize) / block;
    const int limit = std::min(itemsPerFile, INT32_MAX / block - 2) + 2;
    mFirstWriteAfterStart = false;

    if (numItems > limit) {
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
    if (checkOrder && !mAccess->isNewBaseTypeRange()) {
        if (!checkUtcOrder(first)) {
            return nullptr;
        }
        for (int index = 0; index < numItems; ++index) {
            const timespec stamp = stampOfItem(data, index, block);
            if (!checkUtcOrder(stamp)) {
                return nullptr;
            }
            mCurrentUtc = stamp;
        }
    }
    mCurrentUtc = last;

    // Charged before the bytes are written and before a possible file change.
    addDataSize(numItems * block, true, mCurrentUtc);

    const auto fileBefore = mAccess->getCurrentFileInfo();
    const bool fileBeforeEmpty = mAccess->getCurrentFileInfoFirstDataItem();
    updateTimeRanges(first, last, typeStart, typeEnd);

    if ((mDayChanged || sizeExceeded || mHeaderChanged) && allowNewFile) {
        const QString reason = LoggerDebug::getNewFileReason(mDayChanged, mHeaderChanged, sizeExceeded,
                                                             mAccess->getFilePosition(), getLoggerName());
        debugMessage(reason);
        const bool dayChanged = mDayChanged;
        const bool headerChanged = mHeaderChanged;
        mDayChanged = false;
        mHeaderChanged = false;
        // The old end of the type names the day folder and creation stamp of the new file. A
        // type without an item has no end yet; its first block then dates the file by its own
        // first item, rather than asking for a file of 1970 that would be refused.
        if (!createNewFile(isZero(typeEnd) ? first : typeEnd, getLoggerDataType())) {
            // Nothing of the block was written, and the logger stays in its file: the next
            // block asks for the new file again.
            mDayChanged = dayChanged;
            mHeaderChanged = headerChanged;
            return nullptr;
        }
        mAccess->setCurrentFileInfoUtcStart(first);
        mAccess->setCurrentFileInfoUtcEnd(last);
        if (fileBeforeEmpty) {
            // The file being left never took an item (its scales changed before the first
            // one). Left behind, it would look like the newest file, being empty, and draw
            // the following blocks back to itself: it goes.
            mAccess->removeEmptyFile(fileBefore);
        }
    }

    if (!mAccess->getFile().isOpen()) {
        if (!openCurrentFile(true, false, false)) {
            return nullptr;
        }
        LoggerDb::getInstance().incrementOpenedFiles();
    }

    LoggerFileSystem::mWritePerformance.startTimer();
    mAccess->writeDatas(data, numItems, numItems * block);
    if (mNonVolatile) {
        mNonVolatile->writeUniqueId(mAccess->getUniqueId());
    }
    LoggerFileSystem::mWritePerformance.stopTimer();

    mAccess->setCurrentFileInfoFirstDataItem(false);
    debugTransactionTime("writeDatas");
    return mAccess->getCurrentFileInfo();
}

bool LoggerBase::updateDatas(const char* data, int numItems)
{
    QMutexLocker locker(mAccess->getSaveAccess());
    if (!isDatabaseInitialized() || !mInitialized || !mEnabled) {
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

    if (!mAccess->getFile().isOpen()) {
        if (!openCurrentFile(true, false, true)) {
            return false;
        }
        LoggerDb::getInstance().incrementOpenedFiles();
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
    const int block = getDataBlockSize();
    // Only where the file holds at least one whole item behind its header.
    if (!keepPosition && mAccess->getLastWritePosition() > block + kHeaderSize - 1) {
        mAccess->setLastWritePosition(mAccess->getLastWritePosition() - block);
        if (readUpdate) {
            readDataToUpdate();
        }
    }
    return true;
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
    if (!isDatabaseInitialized() || !mEnabled) {
        return false;
    }
    // The old file's range is stored before it is left.
    mAccess->updateCurrentDatas(nameString());
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
    const bool created = mAccess->createNewFile(time, currentIndex);
    if (!created && !mAccess->isCurrentFileInfoNull() && mAccess->getCurrentFileInfo() != leftFile) {
        // A file that the catalogue does not name must never take items: the logger stays in the
        // file it was to leave, which keeps its row.
        mAccess->setCurrentFileInfo(leftFile);
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

DataMeasType LoggerBase::getNewMeasType()
{
    if (getLoggerType() == LoggerType::CYCLIC) {
        return getDataMeasType(getConfiguratedMeasuredTypeId());
    }
    return DataMeasType();
}

bool LoggerBase::checkIdStringChanged(const QString& idString)
{
    mIdStringChanged = idString != getConfiguratedMeasuredTypeId();
    return mIdStringChanged;
}

void LoggerBase::changeMeasuredString()
{
    if (!isDatabaseInitialized() || !mIdStringChanged) {
        return;
    }
    flush();
    closeFile();
    resetLogger();
    initializeLogger();
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

timespec LoggerBase::getSystemTime()
{
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    return time;
}

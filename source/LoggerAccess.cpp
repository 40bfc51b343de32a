// The in-memory state of a logger's access object, its type and file list, and the keeping of
// them in step with the catalogue. The making, opening and writing of the logger's data files
// are in LoggerAccessFiles.cpp.

#include "LoggerAccess.h"

#include "DataMeasType.h"
#include "DefnDisturbType.h"
#include "DefnEventType.h"
#include "DefnFileInfoWalk.h"
#include "DefnMeasureType.h"
#include "DefnPqEventType.h"
#include "DefnTypePersistance.h"
#include "FileInfoPersistance.h"
#include "LoggerDb.h"
#include "LoggerEntityChanged.h"
#include "LoggerFileSystem.h"
#include "LoggerMemoryManager.h"
#include "LoggerRetriedTransaction.h"
#include "ProcessInfo.h"
#include "TimeOrder.h"

#include <QDate>
#include <QDateTime>
#include <QScopeGuard>
#include <QTime>

#include <algorithm>
#include <cstring>
#include <unistd.h>

namespace {

// The scales that a new access object writes into new files, given by their bit patterns so that
// every build writes the same bytes.
constexpr uint32_t kScaleVoltageBits = 0x3C792E72; // 0.0152088273
constexpr uint32_t kScaleCurrentBits = 0x39754CD7; // 0.000233936458

float floatFromBits(uint32_t bits)
{
    float value = 0.0f;
    static_assert(sizeof(value) == sizeof(bits), "a float is 32 bits wide");
    std::memcpy(&value, &bits, sizeof(value));
    return value;
}

void message(const std::string& text, LoggerMessageType type)
{
    LoggerDb::getInstance().loggerMessage(text, type);
}

bool isDatabaseInitialized()
{
    return LoggerDb::getInstance().isInitialized();
}

bool isZero(const DataTimespec& time)
{
    return time.tv_sec == 0 && time.tv_nsec == 0;
}

timespec zeroTime()
{
    timespec time{};
    return time;
}

} // namespace

LoggerAccess::LoggerAccess(LoggerType loggerType, LoggerDataType loggerDataType, int dataBlockSize)
    : mLoggerType(loggerType), mLoggerDataType(loggerDataType), mDataBlockSize(dataBlockSize)
{
    mScaleVoltage = floatFromBits(kScaleVoltageBits);
    mScaleCurrent = floatFromBits(kScaleCurrentBits);
    mProcessName = ProcessInfo::getProcessName(getpid());
    initTrack(kCategoryAccess);
}

LoggerAccess::~LoggerAccess()
{
    closeBlockDescriptor();
}

// --- plain state

// The accessors below run for every block under the logger's lock and read through the pointer
// without taking a share of it: a copy of the shared pointer costs two atomic operations.

timespec LoggerAccess::getCurrentBaseTypeUtcStart()
{
    const auto* type = mCurrentBaseType.get();
    return type ? static_cast<timespec>(type->UtcStart) : zeroTime();
}

timespec LoggerAccess::getCurrentBaseTypeUtcEnd()
{
    const auto* type = mCurrentBaseType.get();
    return type ? static_cast<timespec>(type->UtcEnd) : zeroTime();
}

void LoggerAccess::setCurrentBaseTypeUtcStart(timespec utc)
{
    if (auto* type = mCurrentBaseType.get()) {
        type->UtcStart = utc;
    }
}

void LoggerAccess::setCurrentBaseTypeUtcEnd(timespec utc)
{
    if (auto* type = mCurrentBaseType.get()) {
        type->UtcEnd = utc;
    }
}

timespec LoggerAccess::getCurrentFileInfoUtcStart()
{
    const auto* file = mCurrentFileInfo.get();
    return file ? static_cast<timespec>(file->UtcStart) : zeroTime();
}

timespec LoggerAccess::getCurrentFileInfoUtcEnd()
{
    const auto* file = mCurrentFileInfo.get();
    return file ? static_cast<timespec>(file->UtcEnd) : zeroTime();
}

void LoggerAccess::setFileInfoUtcStart(timespec utc, std::shared_ptr<LoggerFileInfo> fileInfo)
{
    if (fileInfo) {
        fileInfo->UtcStart = utc;
    }
}

void LoggerAccess::setFileInfoUtcEnd(timespec utc, std::shared_ptr<LoggerFileInfo> fileInfo)
{
    if (fileInfo) {
        fileInfo->UtcEnd = utc;
    }
}

int LoggerAccess::getCurrentFileInfoId()
{
    const auto* file = mCurrentFileInfo.get();
    return file ? file->Id : -1;
}

bool LoggerAccess::getCurrentFileInfoFirstDataItem()
{
    const auto* file = mCurrentFileInfo.get();
    return file ? file->mFirstDataItem : false;
}

void LoggerAccess::setCurrentFileInfoFirstDataItem(bool firstDataItem)
{
    if (auto* file = mCurrentFileInfo.get()) {
        file->mFirstDataItem = firstDataItem;
    }
}

int LoggerAccess::getId()
{
    const auto* type = mCurrentBaseType.get();
    return type ? type->Id : -1;
}

int LoggerAccess::getFileTime()
{
    const auto* file = mCurrentFileInfo.get();
    return file ? file->UtcStart.tv_sec : -1;
}

int LoggerAccess::getFilePosition()
{
    const auto* file = mCurrentFileInfo.get();
    return file ? file->mFilePosition : -1;
}

int LoggerAccess::getFileListSize()
{
    const auto* type = mCurrentBaseType.get();
    return type ? type->getFileListSize() : 0;
}

QString LoggerAccess::getConfigId()
{
    const auto* type = mCurrentBaseType.get();
    return type ? type->getConfigId() : QString();
}

bool LoggerAccess::isCurrentBaseTypeZeroRange()
{
    const auto* type = mCurrentBaseType.get();
    return !type || (isZero(type->UtcStart) && isZero(type->UtcEnd));
}

bool LoggerAccess::checkCurrentDataBlockSize()
{
    const auto* file = mCurrentFileInfo.get();
    return file && file->DataBlockSize == mDataBlockSize;
}

timespec LoggerAccess::getCurrentTime()
{
    const QDateTime now = QDateTime::currentDateTime();
    const QTime time = now.time();
    const qint64 days = QDate(1970, 1, 1).daysTo(now.date());
    timespec current{};
    current.tv_sec =
        static_cast<time_t>(days * 86400 + time.hour() * 3600 + time.minute() * 60 + time.second());
    current.tv_nsec = 0;
    return current;
}

// --- lifecycle

void LoggerAccess::reset()
{
    clearStates();
    mSubType = 0;
    mBaseTypeId = 0;
    mLoggerInterval = 0.0;
    mNewBaseTypeRange = false;
    mCurrentFileSize = 0;
    mUniqueId = 0;
    mFilePosition = 0;
    mOnlyOneFileLogged = false;
    mBytesWritten = 0;
    mScaleVoltage = 1.0f;
    mScaleCurrent = 1.0f;
}

void LoggerAccess::clearStates()
{
    if (mCurrentBaseType) {
        mCurrentBaseType->clearFileList();
        mCurrentBaseType->Id = -1;
        mCurrentBaseType.reset();
    }
    if (mCurrentFileInfo) {
        mCurrentFileInfo->Id = -1;
        mCurrentFileInfo->mFirstDataItem = true;
        mCurrentFileInfo.reset();
    }
    forgetOpenedFile();
    forgetFilesWithItems();
    mNewBaseTypeRange = true;
}

// --- base type and files

void LoggerAccess::createCurrentBaseType(QString& idString, DataMeasType& measType)
{
    DefnTypePersistance defn;
    std::shared_ptr<DefnBaseType> type = defn.createInstance(mLoggerType);
    if (!type) {
        mCurrentBaseType.reset();
        return;
    }
    switch (mLoggerType) {
    case LoggerType::CYCLIC:
        if (const auto measure = defn.getMeasuredType(type)) {
            measure->MeasType = measType;
        }
        break;
    case LoggerType::EVENT:
        if (const auto event = defn.getEventType(type)) {
            event->ConfigId = idString;
        }
        break;
    case LoggerType::PQEVENT:
        if (const auto pqEvent = defn.getPqEventType(type)) {
            pqEvent->ConfigId = idString;
        }
        break;
    case LoggerType::DISTURB:
        if (const auto disturb = defn.getDisturbType(type)) {
            disturb->ConfigId = idString;
        }
        break;
    case LoggerType::NONE:
    case LoggerType::OPERATOR: break;
    }
    type->mType = mLoggerType;
    type->mDataType = mLoggerDataType;
    type->Id = -1;
    type->UtcStart = zeroTime();
    type->UtcEnd = zeroTime();
    mCurrentBaseType = type;
}

bool LoggerAccess::readCurrentBaseType(const std::string& description)
{
    // Without a database the frame itself reports the failure.
    if (!isDatabaseInitialized()) {
        LoggerDb::getInstance().setError(QStringLiteral("Database is not initialized"));
    }
    return retriedTransaction(description, [this] { return readCurrentDatas(); });
}

bool LoggerAccess::readCurrentDatas()
{
    std::shared_ptr<DefnBaseType> type = mCurrentBaseType;
    std::shared_ptr<LoggerFileInfo> file = mCurrentFileInfo;
    if (!DefnTypePersistance().readCurrentDatas(type, file)) {
        return false;
    }
    mCurrentBaseType = type;
    mCurrentFileInfo = file;
    return true;
}

std::shared_ptr<DefnBaseType> LoggerAccess::readBaseType(int id, const std::string& description)
{
    std::shared_ptr<DefnBaseType> type;
    if (!isDatabaseInitialized()) {
        return type;
    }
    if (!retriedTransaction(description, [&] {
            type = DefnTypePersistance().readBaseType(mLoggerType, id);
            return true;
        })) {
        message("cannot Read base type " + description, LOGGER_MESSAGE_FATAL);
        type.reset();
    }
    return type;
}

std::shared_ptr<LoggerFileInfo> LoggerAccess::readFileInfo(int id, const std::string& description)
{
    std::shared_ptr<LoggerFileInfo> file;
    if (!isDatabaseInitialized()) {
        return file;
    }
    if (!retriedTransaction(description, [&] {
            file = FileInfoPersistance().readFileInfo(mLoggerType, id);
            return true;
        })) {
        TRACK_FATAL(*this, QStringLiteral("cannot read File Info ") + QString::fromStdString(description));
        file.reset();
    }
    return file;
}

void LoggerAccess::readFileInfo(std::shared_ptr<LoggerFileInfo> fileInfo)
{
    if (!fileInfo) {
        return;
    }
    timespec first{};
    timespec last{};
    if (LoggerFileSystem::readUtcRange(fileInfo.get(), first, last, fileInfo->mFilePosition)) {
        fileInfo->UtcStart = first;
        fileInfo->UtcEnd = last;
    }
}

void LoggerAccess::readCurrentFileInfo()
{
    const auto file = mCurrentFileInfo;
    if (!file) {
        return;
    }
    timespec first{};
    timespec last{};
    if (LoggerFileSystem::readUtcRange(file.get(), first, last, mCurrentFileSize)) {
        file->UtcStart = first;
        file->UtcEnd = last;
    }
}

void LoggerAccess::getNewestBaseType(std::vector<DefnBaseType>& baseTypes, const std::string& description)
{
    if (!baseTypes.empty()) {
        // 0 counts as unset; only a strictly later start replaces, so the earlier one wins a tie.
        size_t newest = 0;
        for (size_t index = 1; index < baseTypes.size(); ++index) {
            const int32_t best = baseTypes[newest].UtcStart.tv_sec;
            if (best == 0 || best < baseTypes[index].UtcStart.tv_sec) {
                if (baseTypes[index].UtcStart.tv_sec != 0) {
                    newest = index;
                }
            }
        }
        const int id = baseTypes[newest].Id;
        mCurrentBaseType = id >= 0 ? readBaseType(id, description) : nullptr;
    }
    getNewestFileInfo();
}

void LoggerAccess::getNewestFileInfo()
{
    const auto type = mCurrentBaseType;
    if (!type) {
        mCurrentFileInfo = nullptr;
        return;
    }
    const LoggerFileInfo* newest = nullptr;
    int newestIndex = -1;
    DefnFileInfoWalk::forEach(*type, [&](int index, LoggerFileInfo* file) {
        if (file == nullptr) {
            return true;
        }
        if (isZero(file->UtcStart)) {
            readFileInfo(type->getFileInfo(index));
            if (isZero(file->UtcStart)) {
                // A file without items is one just begun: the logger goes on in it.
                newestIndex = index;
                return false;
            }
        }
        if (newest == nullptr || newest->UtcStart.tv_sec == 0 ||
            newest->UtcStart.tv_sec < file->UtcStart.tv_sec) {
            newest = file;
            newestIndex = index;
        }
        return true;
    });
    mCurrentFileInfo = newestIndex >= 0 ? type->getFileInfo(newestIndex) : nullptr;
}

std::shared_ptr<LoggerFileInfo> LoggerAccess::getOldestFileInfo()
{
    const auto type = mCurrentBaseType;
    if (!type) {
        message("getOldestFileInfo: mCurrentBaseType == nullptr", LOGGER_MESSAGE_ERROR);
        return nullptr;
    }
    int oldestIndex = -1;
    int64_t oldestSeconds = -1; // nothing chosen yet
    DefnFileInfoWalk::forEach(*type, [&](int index, const LoggerFileInfo* file) {
        if (file == nullptr) {
            message("getOldestFileInfo: fileInfo == nullptr", LOGGER_MESSAGE_ERROR);
            return false;
        }
        if (oldestSeconds == -1 || file->UtcStart.tv_sec < oldestSeconds) {
            oldestSeconds = file->UtcStart.tv_sec;
            oldestIndex = index;
        }
        return true;
    });
    return oldestIndex >= 0 ? type->getFileInfo(oldestIndex) : nullptr;
}

int LoggerAccess::getOldestFileIndex()
{
    const auto type = mCurrentBaseType;
    int oldestIndex = -1;
    DataTimespec oldest{0, 0};
    if (type) {
        DefnFileInfoWalk::forEach(*type, [&](int index, const LoggerFileInfo* file) {
            if (file != nullptr && (oldestIndex < 0 || isEarlier(file->UtcStart, oldest))) {
                oldest = file->UtcStart;
                oldestIndex = index;
            }
            return true;
        });
    }
    return oldestIndex;
}

std::shared_ptr<LoggerFileInfo> LoggerAccess::getFileInfo(int id)
{
    const auto type = mCurrentBaseType;
    int found = -1;
    if (type) {
        DefnFileInfoWalk::forEach(*type, [&](int index, const LoggerFileInfo* file) {
            if (file != nullptr && file->Id == id) {
                found = index;
                return false;
            }
            return true;
        });
    }
    return found >= 0 ? type->getFileInfo(found) : nullptr;
}

int LoggerAccess::getCurrentFileIndex()
{
    const auto type = mCurrentBaseType;
    const auto current = mCurrentFileInfo;
    if (!type || !current) {
        return -1;
    }
    int found = -1;
    DefnFileInfoWalk::forEach(*type, [&](int index, const LoggerFileInfo* file) {
        if (file != nullptr && (file == current.get() || file->Id == current->Id)) {
            found = index;
            return false;
        }
        return true;
    });
    return found;
}

bool LoggerAccess::isCurrentNewestFileInfo()
{
    const auto type = mCurrentBaseType;
    const auto current = mCurrentFileInfo;
    if (!current) {
        return false;
    }
    bool newest = true;
    if (type) {
        DefnFileInfoWalk::forEach(*type, [&](int, const LoggerFileInfo* file) {
            if (file != nullptr && file->UtcCreated.tv_sec > current->UtcCreated.tv_sec) {
                newest = false;
            }
            return newest;
        });
    }
    return newest;
}

bool LoggerAccess::isValid()
{
    return mCurrentBaseType && mCurrentFileInfo && getCurrentFileIndex() >= 0;
}

int LoggerAccess::getNumExistingFiles()
{
    const auto type = mCurrentBaseType;
    int count = 0;
    const int size = type ? type->getFileListSize() : 0;
    for (int index = 0; index < size; ++index) {
        const auto file = type->getFileInfo(index);
        if (LoggerFileSystem::fileExists(file.get())) {
            ++count;
        }
    }
    return count;
}

void LoggerAccess::getFilesTimeRange()
{
    const auto type = mCurrentBaseType;
    const int size = type ? type->getFileListSize() : 0;
    if (size == 0) {
        return;
    }
    DataTimespec start{0, 0};
    DataTimespec end{0, 0};
    // What is known of files holding items holds for the card it was learnt on.
    const QString root = LoggerFileSystem::getPath();
    if (root != mFilesWithItemsRoot) {
        mFilesWithItems.clear();
        mFilesWithItemsRoot = root;
    }
    if (const auto first = type->getFileInfo(0)) {
        start = first->UtcStart;
        end = first->UtcEnd;
    }
    DefnFileInfoWalk::forEach(*type, [&](int, LoggerFileInfo* file) {
        if (file == nullptr) {
            message("getFilesTimeRange: fileInfo = nullptr", LOGGER_MESSAGE_FATAL);
            return true;
        }
        if (!hasDataItems(file)) {
            return true;
        }
        if (isZero(start)) {
            start = file->UtcStart;
        } else if (isEarlier(file->UtcStart, start) && !isZero(file->UtcStart)) {
            start = file->UtcStart;
        }
        if (isEarlier(end, file->UtcEnd)) {
            end = file->UtcEnd;
        }
        return true;
    });
    type->UtcStart = start;
    type->UtcEnd = end;
}

bool LoggerAccess::hasDataItems(LoggerFileInfo* file)
{
    if (file == nullptr) {
        return false;
    }
    const FileKey key{file->UtcCreated, file->mType, file->DataType, file->GuidLow, file->GuidHigh};
    if (mFilesWithItems.count(key) != 0) {
        return true;
    }
    if (!LoggerFileSystem::hasDataItems(file)) {
        return false;
    }
    mFilesWithItems.insert(key);
    return true;
}

void LoggerAccess::forgetFilesWithItems()
{
    mFilesWithItems.clear();
}

void LoggerAccess::getUtcRange(timespec& start, timespec& end)
{
    const auto type = mCurrentBaseType;
    DefnTypePersistance defn;
    start = defn.getStartTime(type);
    end = defn.getEndTime(type);
}

bool LoggerAccess::appendCurrentFileInfo(std::shared_ptr<LoggerFileInfo> fileInfo)
{
    const auto type = mCurrentBaseType;
    if (!type || !fileInfo) {
        return false;
    }
    mCurrentFileInfo = fileInfo;
    type->AppendFileInfo(fileInfo);
    return true;
}

void LoggerAccess::setLoggerInterval(double interval)
{
    mLoggerInterval = interval;
    const auto type = mCurrentBaseType;
    if (!type) {
        TRACK_FATAL(*this, QStringLiteral("setLoggerInterval") + QStringLiteral(": Nullpointer Error: "));
        return;
    }
    if (type->mType == LoggerType::CYCLIC) {
        if (const auto measure = DefnTypePersistance().getMeasuredType(type)) {
            measure->MeasType.interval = interval;
        }
    }
}

void LoggerAccess::initCurrentFileInfo(timespec time)
{
    const auto file = mCurrentFileInfo;
    if (!file) {
        return;
    }
    file->mFirstDataItem = true;
    file->UtcCreated = time;
    file->UtcStart = zeroTime();
    file->UtcEnd = zeroTime();
    file->mType = getLoggerType();
    file->DataType = mLoggerDataType;
    file->DataBlockSize = mDataBlockSize;
    file->GuidLow = 0;
    file->GuidHigh = 0;
    file->HeaderSize = kHeaderSize;
    LoggerFileSystem::createFileUuid(*file);
}

// --- catalogue

bool LoggerAccess::updateCurrentDatas(const std::string& description)
{
    const auto heldType = mCurrentBaseType;
    const auto heldFile = mCurrentFileInfo;
    const bool initialized = isDatabaseInitialized();
    if (!initialized || !heldType) {
        return false;
    }
    getNewestFileInfo();
    bool result = true;
    const bool stored = retriedTransaction(description, [&] {
        result = true;
        auto type = mCurrentBaseType;
        if (type && LoggerEntityChanged::getLoggerChanged(type->mType, type->mDataType, type->Id)) {
            LoggerEntityChanged::setLoggerChanged(type->mType, type->mDataType, type->Id, false);
            result = readCurrentDatas();
            setLoggerInterval(mLoggerInterval);
        }
        if (result) {
            type = mCurrentBaseType;
            if (type->getFileListSize() >= 1) {
                FileInfoPersistance().update(mCurrentFileInfo);
            }
            DefnTypePersistance().update(type);
        }
        return result;
    });
    return initialized && stored;
}

std::function<bool()> LoggerAccess::storeOnLeaving(const std::string& description)
{
    if (!isDatabaseInitialized() || !mCurrentBaseType) {
        return {};
    }
    getNewestFileInfo();
    const auto changed = mCurrentBaseType;
    if (LoggerEntityChanged::getLoggerChanged(changed->mType, changed->mDataType, changed->Id)) {
        // Another access changed the type (an eviction): both are read anew first, as
        // updateCurrentDatas does, in a transaction of its own that only reads and so commits
        // without writing to the card.
        const bool read = retriedTransaction(description, [&] {
            LoggerEntityChanged::setLoggerChanged(changed->mType, changed->mDataType, changed->Id, false);
            const bool result = readCurrentDatas();
            setLoggerInterval(mLoggerInterval);
            return result;
        });
        if (!read) {
            // Nothing is stored of the left file, and the new file is begun all the same.
            return [] { return true; };
        }
    }
    const auto type = mCurrentBaseType;
    const auto file = mCurrentFileInfo;
    // The type's range as it stands now; the writer works its range out anew from the files
    // before the transaction, and that result is not what the left file's store writes.
    const DataTimespec start = type->UtcStart;
    const DataTimespec end = type->UtcEnd;
    return [type, file, start, end] {
        if (type->getFileListSize() >= 1) {
            FileInfoPersistance().update(file);
        }
        const DataTimespec nowStart = type->UtcStart;
        const DataTimespec nowEnd = type->UtcEnd;
        type->UtcStart = start;
        type->UtcEnd = end;
        // Back to what the writer worked out, also where the store throws.
        const auto restore = qScopeGuard([&] {
            type->UtcStart = nowStart;
            type->UtcEnd = nowEnd;
        });
        DefnTypePersistance().update(type);
        return true;
    };
}

bool LoggerAccess::updateDatabaseEntities()
{
    const auto type = mCurrentBaseType;
    const auto file = mCurrentFileInfo;
    if (!type) {
        return false;
    }
    return retriedTransaction("updateDatabaseEntities", [&] {
        const bool fileStored = FileInfoPersistance().update(file);
        const bool typeStored = DefnTypePersistance().update(type);
        return fileStored && typeStored;
    });
}

bool LoggerAccess::updateAllDatabaseEntities()
{
    const auto type = mCurrentBaseType;
    if (!type) {
        return false;
    }
    return retriedTransaction("updateAllDatabaseEntities", [&] {
        FileInfoPersistance fileInfoPersistance;
        bool stored = true;
        const int size = type->getFileListSize();
        for (int index = 0; index < size; ++index) {
            stored = fileInfoPersistance.update(type->getFileInfo(index)) && stored;
        }
        return DefnTypePersistance().update(type) && stored;
    });
}

bool LoggerAccess::readDatabaseChanges(bool createIfEmpty)
{
    if (!isDatabaseInitialized() || !mCurrentBaseType) {
        return false;
    }
    const auto heldFile = mCurrentFileInfo;
    const int fileId = heldFile ? heldFile->Id : -1;
    const bool firstDataItem = heldFile ? heldFile->mFirstDataItem : true;
    const int fileSize = heldFile ? heldFile->mFilePosition : 0;
    const std::string configId = getConfigId().toStdString();

    LoggerDb::getInstance().reIndex();
    mCurrentBaseType = readBaseType(mCurrentBaseType->Id, configId);
    const int size = getFileListSize();
    mCurrentFileInfo = getFileInfo(fileId);
    if (mCurrentFileInfo) {
        mCurrentFileInfo->mFirstDataItem = firstDataItem;
        mCurrentFileInfo->mFilePosition = fileSize;
    } else {
        message("Info: getNewestFileInfo() ...", LOGGER_MESSAGE_FATAL);
        getNewestFileInfo();
        if (!mCurrentFileInfo) {
            message("getNewestFileInfo() failed", LOGGER_MESSAGE_FATAL);
        }
    }
    if ((size == 0 || !mCurrentFileInfo) && createIfEmpty) {
        message("read database changes: create logger file", LOGGER_MESSAGE_INFO);
        persistBaseType(false, mDataBlockSize, configId, false);
        return true;
    }
    return false;
}

bool LoggerAccess::removeFileInfo(int id)
{
    const int size = getFileListSize();
    for (int index = 0; index < size; ++index) {
        const auto file = mCurrentBaseType->getFileInfo(index);
        if (file && file->Id == id) {
            return DefnTypePersistance().removeFile(mCurrentBaseType, index, mCurrentFileInfo);
        }
    }
    return false;
}

bool LoggerAccess::removeEmptyFile(const std::shared_ptr<LoggerFileInfo>& file)
{
    const auto type = mCurrentBaseType;
    if (!file || !type || file == mCurrentFileInfo) {
        return false;
    }
    // Nothing that holds an item is ever removed here.
    const int size = LoggerFileSystem::getFileSize(file.get());
    if (size > file->HeaderSize) {
        return false;
    }
    // By its name: a new file gives the file before it a new row, and with it a new Id.
    const QString name = LoggerFileSystem::getFullFileName(file.get());
    int index = -1;
    for (int entry = 0; entry < type->getFileListSize() && index < 0; ++entry) {
        const auto listed = type->getFileInfo(entry);
        if (listed && listed != mCurrentFileInfo && LoggerFileSystem::getFullFileName(listed.get()) == name) {
            index = entry;
        }
    }
    if (index < 0) {
        return false;
    }
    message("delete: " + name.toStdString(), LOGGER_MESSAGE_ROUTINE);
    if (!DefnTypePersistance().removeFile(mCurrentBaseType, index, mCurrentFileInfo)) {
        return false;
    }
    // This logger changed its own rows and holds them in memory as they now are: nothing to
    // read back at its next update.
    LoggerEntityChanged::setLoggerChanged(type->mType, type->mDataType, type->Id, false);
    LoggerMemoryManager::subtractDeletedSize(mLoggerType, mLoggerDataType, std::max(size, 0));
    return true;
}

bool LoggerAccess::removeFileAndUpdate(int index)
{
    const auto type = mCurrentBaseType;
    const auto file = type ? type->getFileInfo(index) : nullptr;
    if (!file) {
        message("removeFileAndUpdate: fileInfo = nullptr", LOGGER_MESSAGE_FATAL);
        return false;
    }
    message("delete: " + LoggerFileSystem::getFullFileName(file.get()).toStdString(), LOGGER_MESSAGE_ROUTINE);
    const int size = LoggerFileSystem::getFileSize(file.get());
    const bool removed = DefnTypePersistance().removeFile(mCurrentBaseType, index, mCurrentFileInfo);
    LoggerMemoryManager::subtractDeletedSize(mLoggerType, mLoggerDataType, size);
    return removed;
}

bool LoggerAccess::removeNonExistingFileInfos()
{
    if (getNumExistingFiles() < 1) {
        return true;
    }
    const bool removed = DefnTypePersistance().removeNonExistingFileInfos(mCurrentBaseType);
    if (getNumExistingFiles() > 0) {
        getNewestFileInfo();
    }
    return removed;
}

bool LoggerAccess::removeMissingFileEntries()
{
    const auto type = mCurrentBaseType;
    const auto current = mCurrentFileInfo;
    if (!type || !current) {
        return false;
    }
    // Looked for on the card once, from the last entry down; the transaction may run more than
    // once and must then take out the same rows.
    std::vector<std::shared_ptr<LoggerFileInfo>> missing;
    for (int index = type->getFileListSize() - 1; index >= 0; --index) {
        auto file = type->getFileInfo(index);
        if (!file || file == current || file->Id == current->Id) {
            continue;
        }
        if (!LoggerFileSystem::fileExists(file.get())) {
            missing.push_back(std::move(file));
        }
    }
    return retriedTransaction("removeMissingFileEntries", [&] {
        FileInfoPersistance fileInfoPersistance;
        DefnTypePersistance defn;
        for (const auto& file : missing) {
            for (int index = type->getFileListSize() - 1; index >= 0; --index) {
                if (type->getFileInfo(index) == file) {
                    type->removeFileInfo(index);
                    break;
                }
            }
            fileInfoPersistance.remove(file);
        }
        if (!missing.empty()) {
            type->UtcStart = defn.getStartTime(type);
            defn.update(type);
        }
        return true;
    });
}

bool LoggerAccess::deleteDatas(const std::string& description)
{
    return deleteDatas(description, mCurrentBaseType);
}

bool LoggerAccess::deleteDatas(const std::string& description, std::shared_ptr<DefnBaseType> baseType)
{
    if (!isDatabaseInitialized()) {
        message("not initialized", LOGGER_MESSAGE_INFO);
        return false;
    }
    if (!baseType) {
        message("baseType == nullptr", LOGGER_MESSAGE_INFO);
        return false;
    }
    closeFileIfOpen();
    const bool removed =
        retriedTransaction(description, [&] { return DefnTypePersistance().remove(baseType); });
    if (removed) {
        LoggerEntityChanged::remove(baseType->mType, baseType->mDataType, baseType->Id);
    }
    return removed;
}

bool LoggerAccess::deleteAllDatas(const QString& idString, const std::string& description)
{
    if (!isDatabaseInitialized()) {
        message("not initialized", LOGGER_MESSAGE_INFO);
        return false;
    }
    closeFileIfOpen();
    std::vector<DefnBaseType> types =
        DefnTypePersistance().readBaseTypes(mLoggerType, mLoggerDataType, idString, true);
    bool deleted = true;
    for (const DefnBaseType& row : types) {
        const auto type = readBaseType(row.Id, description);
        if (!type) {
            message("Delete: baseType == nullptr", LOGGER_MESSAGE_ERROR);
            continue;
        }
        deleted = deleteDatas(description, type) && deleted;
    }
    return deleted;
}

void LoggerAccess::closeFileIfOpen()
{
    if (mBlockDescriptor >= 0) {
        closeBlockDescriptor();
        LoggerDb::getInstance().decrementOpenedFiles();
    }
    if (mFile.isOpen()) {
        mFile.close();
        LoggerDb::getInstance().decrementOpenedFiles();
    }
}

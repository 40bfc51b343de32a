#include "LoggerAccess.h"

#include "DataMeasType.h"
#include "DefnDisturbType.h"
#include "DefnEventType.h"
#include "DefnMeasureType.h"
#include "DefnPqEventType.h"
#include "DefnTypePersistance.h"
#include "FileInfoPersistance.h"
#include "LoggerDb.h"
#include "LoggerEntityChanged.h"
#include "LoggerFileIo.h"
#include "LoggerFileSystem.h"
#include "LoggerHeader.h"
#include "LoggerMemoryManager.h"
#include "LoggerRetriedTransaction.h"
#include "ProcessInfo.h"

#include <QDate>
#include <QDateTime>
#include <QTime>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
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

// Seconds first, then nanoseconds.
bool isEarlier(const DataTimespec& a, const DataTimespec& b)
{
    return a.tv_sec < b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_nsec < b.tv_nsec);
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

LoggerAccess::~LoggerAccess() = default;

// --- plain state

timespec LoggerAccess::getCurrentBaseTypeUtcStart()
{
    const auto type = mCurrentBaseType;
    return type ? static_cast<timespec>(type->UtcStart) : zeroTime();
}

timespec LoggerAccess::getCurrentBaseTypeUtcEnd()
{
    const auto type = mCurrentBaseType;
    return type ? static_cast<timespec>(type->UtcEnd) : zeroTime();
}

void LoggerAccess::setCurrentBaseTypeUtcStart(timespec utc)
{
    if (const auto type = mCurrentBaseType) {
        type->UtcStart = utc;
    }
}

void LoggerAccess::setCurrentBaseTypeUtcEnd(timespec utc)
{
    if (const auto type = mCurrentBaseType) {
        type->UtcEnd = utc;
    }
}

timespec LoggerAccess::getCurrentFileInfoUtcStart()
{
    const auto file = mCurrentFileInfo;
    return file ? static_cast<timespec>(file->UtcStart) : zeroTime();
}

timespec LoggerAccess::getCurrentFileInfoUtcEnd()
{
    const auto file = mCurrentFileInfo;
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
    const auto file = mCurrentFileInfo;
    return file ? file->Id : -1;
}

bool LoggerAccess::getCurrentFileInfoFirstDataItem()
{
    const auto file = mCurrentFileInfo;
    return file ? file->mFirstDataItem : false;
}

void LoggerAccess::setCurrentFileInfoFirstDataItem(bool firstDataItem)
{
    if (const auto file = mCurrentFileInfo) {
        file->mFirstDataItem = firstDataItem;
    }
}

int LoggerAccess::getId()
{
    const auto type = mCurrentBaseType;
    return type ? type->Id : -1;
}

int LoggerAccess::getFileTime()
{
    const auto file = mCurrentFileInfo;
    return file ? file->UtcStart.tv_sec : -1;
}

int LoggerAccess::getFilePosition()
{
    const auto file = mCurrentFileInfo;
    return file ? file->mFilePosition : -1;
}

int LoggerAccess::getFileListSize()
{
    const auto type = mCurrentBaseType;
    return type ? type->getFileListSize() : 0;
}

QString LoggerAccess::getConfigId()
{
    const auto type = mCurrentBaseType;
    return type ? type->getConfigId() : QString();
}

bool LoggerAccess::isCurrentBaseTypeZeroRange()
{
    const auto type = mCurrentBaseType;
    return !type || (isZero(type->UtcStart) && isZero(type->UtcEnd));
}

bool LoggerAccess::checkCurrentDataBlockSize()
{
    const auto file = mCurrentFileInfo;
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
    std::shared_ptr<LoggerFileInfo> newest;
    const int size = type ? type->getFileListSize() : 0;
    for (int index = 0; index < size; ++index) {
        const auto file = type->getFileInfo(index);
        if (!file) {
            continue;
        }
        if (isZero(file->UtcStart)) {
            readFileInfo(file);
            if (isZero(file->UtcStart)) {
                // A file without items is one just begun: the logger goes on in it.
                newest = file;
                break;
            }
        }
        if (!newest || newest->UtcStart.tv_sec == 0 || newest->UtcStart.tv_sec < file->UtcStart.tv_sec) {
            newest = file;
        }
    }
    mCurrentFileInfo = newest;
}

std::shared_ptr<LoggerFileInfo> LoggerAccess::getOldestFileInfo()
{
    const auto type = mCurrentBaseType;
    if (!type) {
        message("getOldestFileInfo: mCurrentBaseType == nullptr", LOGGER_MESSAGE_ERROR);
        return nullptr;
    }
    std::shared_ptr<LoggerFileInfo> oldest;
    int64_t oldestSeconds = -1; // nothing chosen yet
    const int size = type->getFileListSize();
    for (int index = 0; index < size; ++index) {
        const auto file = type->getFileInfo(index);
        if (!file) {
            message("getOldestFileInfo: fileInfo == nullptr", LOGGER_MESSAGE_ERROR);
            break;
        }
        if (oldestSeconds == -1 || file->UtcStart.tv_sec < oldestSeconds) {
            oldestSeconds = file->UtcStart.tv_sec;
            oldest = file;
        }
    }
    return oldest;
}

int LoggerAccess::getOldestFileIndex()
{
    const auto type = mCurrentBaseType;
    int oldestIndex = -1;
    DataTimespec oldest{0, 0};
    const int size = type ? type->getFileListSize() : 0;
    for (int index = 0; index < size; ++index) {
        const auto file = type->getFileInfo(index);
        if (file && (oldestIndex < 0 || isEarlier(file->UtcStart, oldest))) {
            oldest = file->UtcStart;
            oldestIndex = index;
        }
    }
    return oldestIndex;
}

std::shared_ptr<LoggerFileInfo> LoggerAccess::getFileInfo(int id)
{
    const auto type = mCurrentBaseType;
    const int size = type ? type->getFileListSize() : 0;
    for (int index = 0; index < size; ++index) {
        auto file = type->getFileInfo(index);
        if (file && file->Id == id) {
            return file;
        }
    }
    return nullptr;
}

int LoggerAccess::getCurrentFileIndex()
{
    const auto type = mCurrentBaseType;
    const auto current = mCurrentFileInfo;
    if (!type || !current) {
        return -1;
    }
    const int size = type->getFileListSize();
    for (int index = 0; index < size; ++index) {
        const auto file = type->getFileInfo(index);
        if (file && (file == current || file->Id == current->Id)) {
            return index;
        }
    }
    return -1;
}

bool LoggerAccess::isCurrentNewestFileInfo()
{
    const auto type = mCurrentBaseType;
    const auto current = mCurrentFileInfo;
    if (!current) {
        return false;
    }
    const int size = type ? type->getFileListSize() : 0;
    for (int index = 0; index < size; ++index) {
        const auto file = type->getFileInfo(index);
        if (file && file->UtcCreated.tv_sec > current->UtcCreated.tv_sec) {
            return false;
        }
    }
    return true;
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
    if (const auto first = type->getFileInfo(0)) {
        start = first->UtcStart;
        end = first->UtcEnd;
    }
    for (int index = 0; index < size; ++index) {
        const auto file = type->getFileInfo(index);
        if (!file) {
            message("getFilesTimeRange: fileInfo = nullptr", LOGGER_MESSAGE_FATAL);
            continue;
        }
        if (!LoggerFileSystem::hasDataItems(file.get())) {
            continue;
        }
        if (isZero(start)) {
            start = file->UtcStart;
        } else if (isEarlier(file->UtcStart, start) && !isZero(file->UtcStart)) {
            start = file->UtcStart;
        }
        if (isEarlier(end, file->UtcEnd)) {
            end = file->UtcEnd;
        }
    }
    type->UtcStart = start;
    type->UtcEnd = end;
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

bool LoggerAccess::createNewFile(timespec time, int currentIndex)
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
                                            currentIndex, mScaleVoltage, mScaleCurrent);
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
        written = LoggerFileIo::writeFully(mFile.handle(), data, numBytes, start, error);
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
    if (!mFile.isOpen()) {
        return 0;
    }
    LoggerFileIo& io = LoggerFileIo::current();
    if (io.truncate(mFile.handle(), static_cast<off_t>(start)) == 0) {
        // The cut goes to the card at once, so that a power cut right after it cannot leave items
        // of the failed block on the card for the next start to find. Blocks are otherwise not
        // synced: this happens only after a failure.
        if (io.sync(mFile.handle()) != 0) {
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
    if (mFile.isOpen()) {
        mFile.close();
    }
}

void LoggerAccess::advanceBy(qint64 bytes, int numItems, qint64 fileSize)
{
    mBytesWritten += bytes;
    if (const auto file = mCurrentFileInfo) {
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
    if (mFile.isOpen()) {
        mFile.close();
        LoggerDb::getInstance().decrementOpenedFiles();
    }
}

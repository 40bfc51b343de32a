#include "LoggerApiBase.h"

#include "DefnTypePersistance.h"
#include "LoggerAssert.h"
#include "LoggerHooks.h"
#include "LoggerRetriedTransaction.h"
#include "TimeOrder.h"

#include <QDateTime>
#include <QThread>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace {

QString number(LoggerType type)
{
    return QString::number(static_cast<int>(type));
}

QString number(LoggerDataType dataType)
{
    return QString::number(static_cast<int>(dataType));
}

// Oldest first by the start of the first item; files without an object sort first, where the
// walk from the newest file reaches them last.
void sortByStart(std::vector<std::shared_ptr<LoggerFileInfo>>& files)
{
    std::stable_sort(files.begin(), files.end(),
                     [](const std::shared_ptr<LoggerFileInfo>& a, const std::shared_ptr<LoggerFileInfo>& b) {
                         if (a == nullptr || b == nullptr) {
                             return a == nullptr && b != nullptr;
                         }
                         return isEarlier(a->UtcStart, b->UtcStart);
                     });
}

// Whether the file's first item is later than time; false where the file cannot be read.
bool beginsAfter(LoggerFileInfo* file, timespec time)
{
    timespec first{};
    timespec last{};
    return LoggerFileSystem::readUtcRange(file, first, last) && isEarlier(time, first);
}

// A type loaded by id in a retried transaction of its own.
std::shared_ptr<DefnBaseType> loadType(LoggerType type, int id, const char* description, bool reportFailure)
{
    if (!LoggerDb::getInstance().isInitialized()) {
        return nullptr;
    }
    std::shared_ptr<DefnBaseType> baseType;
    const bool ok = retriedTransaction(description, [&] {
        baseType = DefnTypePersistance().readBaseType(type, id);
        return true;
    });
    if (!ok && reportFailure) {
        LoggerDb::getInstance().loggerMessage(
            ("cannot read Base Type, Loggertype: " + number(type)).toStdString(), LOGGER_MESSAGE_FATAL);
    }
    return baseType;
}

void message(const QString& text, LoggerMessageType type)
{
    LoggerDb::getInstance().loggerMessage(text.toStdString(), type);
}

bool isZeroTime(const timespec& time)
{
    return time.tv_sec == 0 && time.tv_nsec == 0;
}

// The files of the list that the writer may still be appending to, told from the catalogue
// alone: the last one of the list, which is in the order in which the files were begun, and
// every file with the latest creation time or the latest first second, by which a writer that
// starts again picks the file it goes on in. Only such a file can hold items beyond its
// catalogued range: a file that the writer leaves is catalogued with the time of its last item,
// and a writer that starts again after a power cut stores the true range of every file before
// it writes.
std::vector<bool> filesBeingWritten(const std::vector<std::shared_ptr<LoggerFileInfo>>& files)
{
    std::vector<bool> written(files.size(), false);
    const LoggerFileInfo* lastListed = nullptr;
    timespec latestCreated{};
    int32_t latestStartSecond = 0;
    bool first = true;
    for (const auto& file : files) {
        if (file == nullptr) {
            continue;
        }
        lastListed = file.get();
        if (first || isEarlier(latestCreated, file->UtcCreated)) {
            latestCreated = file->UtcCreated;
        }
        if (first || latestStartSecond < file->UtcStart.tv_sec) {
            latestStartSecond = file->UtcStart.tv_sec;
        }
        first = false;
    }
    for (std::size_t index = 0; index < files.size(); ++index) {
        const LoggerFileInfo* file = files[index].get();
        if (file == nullptr) {
            continue;
        }
        const timespec created = file->UtcCreated;
        written[index] = file == lastListed || !isEarlier(created, latestCreated) ||
                         file->UtcStart.tv_sec >= latestStartSecond;
    }
    return written;
}

// Whether the catalogued range of a file that the writer has left lies wholly outside start..end,
// so that the file's true range does too and the file cannot add an item. The items of such a
// file lie within its catalogued range. A range of which the catalogue holds a 0 (a file whose
// first item was never catalogued) proves nothing, nor does one that runs backward, nor a range
// asked for whose end lies before its start, where the overlap of the spans does not decide.
bool cataloguedOutside(const LoggerFileInfo& file, timespec start, timespec end)
{
    const timespec fileStart = file.UtcStart;
    const timespec fileEnd = file.UtcEnd;
    if (isZeroTime(fileStart) || isZeroTime(fileEnd) || isEarlier(fileEnd, fileStart) ||
        isEarlier(end, start)) {
        return false;
    }
    return isEarlier(fileEnd, start) || isEarlier(end, fileStart);
}

} // namespace

LoggerApiBase::LoggerApiBase() = default;

LoggerApiBase::~LoggerApiBase() = default;

void LoggerApiBase::readPause(unsigned long milliseconds)
{
    const auto& observer = LoggerHooks::readPause();
    if (observer) {
        observer(milliseconds);
    }
    QThread::msleep(milliseconds);
}

QString LoggerApiBase::rangeText(timespec start, timespec end)
{
    const auto iso = [](timespec time) {
        const QDateTime utc = QDateTime::fromMSecsSinceEpoch(
            static_cast<qint64>(time.tv_sec) * 1000 + time.tv_nsec / 1000000, Qt::UTC);
        return utc.toString(time.tv_nsec / 1000000 != 0 ? Qt::ISODateWithMs : Qt::ISODate);
    };
    return iso(start) + QStringLiteral(" to ") + iso(end);
}

void LoggerApiBase::reportUnknownBaseType(LoggerType type, int baseTypeId)
{
    LoggerDb& db = LoggerDb::getInstance();
    if (!db.isInitialized()) {
        db.setError(QStringLiteral("the store is not initialized, so the logger with the catalogue id %1 "
                                   "cannot be read: initialize the store first")
                        .arg(baseTypeId));
        return;
    }
    db.setError(QStringLiteral("no logger with the catalogue id %1 of type %2 in the catalogue: take the id "
                               "from the catalogue or read by identification")
                    .arg(QString::number(baseTypeId), LoggerDebug::getLoggerTypeString(type)));
}

void LoggerApiBase::reportFailedRead(int baseTypeId, timespec start, timespec end)
{
    LoggerDb::getInstance().setError(
        QStringLiteral("the read of the logger with the catalogue id %1 from %2 failed: its files changed "
                       "during the read or the memory did not suffice; read again or read a shorter range")
            .arg(QString::number(baseTypeId), rangeText(start, end)));
}

int LoggerApiBase::getBaseTypeId(LoggerType type, LoggerDataType dataType, const QString& id)
{
    const std::vector<DefnBaseType> types = readBaseTypes(type, dataType, id);
    if (types.empty()) {
        return -1;
    }
    LoggerDb& db = LoggerDb::getInstance();
    if (db.isLoggingEnabled()) {
        message(QStringLiteral("Ids:") + QString::number(types.size()) + QStringLiteral(" Type:") +
                    number(type) + QStringLiteral(" Data:") + number(dataType),
                LOGGER_MESSAGE_TRACE);
    }
    if (types.size() == 1) {
        return types.front().Id;
    }
    // One id catalogued under several configurations: the first that has files is the one
    // that was written. The lookup goes through the measured-type table whatever the family;
    // an event logger thus never counts as having files and the first entry answers.
    for (const DefnBaseType& entry : types) {
        const std::shared_ptr<DefnBaseType> measured = readMeasuredType(entry.Id);
        if (measured == nullptr) {
            message(QStringLiteral("measuredType == nullptr, Id= ") + QString::number(entry.Id),
                    LOGGER_MESSAGE_ERROR);
            continue;
        }
        const int count = measured->getFileListSize();
        if (db.isLoggingEnabled()) {
            message(QStringLiteral("Id: ") + QString::number(entry.Id) + QStringLiteral(" Size: ") +
                        QString::number(count),
                    LOGGER_MESSAGE_ROUTINE);
        }
        if (count > 0) {
            return entry.Id;
        }
    }
    return types.front().Id;
}

int LoggerApiBase::getDefnBaseTypeId(DefnBaseType& baseType)
{
    return baseType.Id;
}

std::vector<DefnBaseType> LoggerApiBase::readBaseTypes(LoggerType type, LoggerDataType dataType, QString id)
{
    return DefnTypePersistance().readBaseTypes(type, dataType, id, false);
}

std::shared_ptr<DefnBaseType> LoggerApiBase::pagedBaseType(LoggerType type, LoggerDataType dataType,
                                                           const QString& id, int baseTypeId, bool& noType)
{
    noType = false;
    if (baseTypeId >= 0) {
        return readBaseType(type, baseTypeId);
    }
    std::vector<DefnBaseType> types = readBaseTypes(type, dataType, id);
    if (types.empty()) {
        noType = true;
        return nullptr;
    }
    return readBaseType(type, getDefnBaseTypeId(types.front()));
}

void LoggerApiBase::memoryCalculationFailed(long long allocatedSize, long long actualSize)
{
    std::printf("allocatedSize:%lld\nactualSize:%lld\n", allocatedSize, actualSize);
    std::fflush(stdout);
    LOGGER_ASSERT(false && "Error in memory calculation");
    std::abort(); // not reached: the assertion stops the process
}

std::shared_ptr<DefnBaseType> LoggerApiBase::readBaseType(LoggerType type, int id)
{
    return loadType(type, id, "readBaseType", true);
}

std::shared_ptr<DefnBaseType> LoggerApiBase::readMeasuredType(int id)
{
    return id < 0 ? nullptr : loadType(LoggerType::CYCLIC, id, "readMeasuredType", false);
}

std::shared_ptr<DefnBaseType> LoggerApiBase::readEventType(int id)
{
    return id < 0 ? nullptr : loadType(LoggerType::EVENT, id, "readEventType", false);
}

std::shared_ptr<DefnBaseType> LoggerApiBase::readPqEventType(int id)
{
    return id < 0 ? nullptr : loadType(LoggerType::PQEVENT, id, "readPqEventType", false);
}

std::shared_ptr<DefnBaseType> LoggerApiBase::readDisturbType(int id)
{
    return id < 0 ? nullptr : loadType(LoggerType::DISTURB, id, "readDisturbType", false);
}

std::shared_ptr<DefnBaseType> LoggerApiBase::readOperatorType(int id)
{
    return id < 0 ? nullptr : loadType(LoggerType::OPERATOR, id, "readOperatorType", false);
}

DataMeasType LoggerApiBase::getDataMeasType(const QString& id, LoggerType type, LoggerDataType dataType)
{
    const std::vector<DataMeasType> types = getDataMeasTypes(type, dataType, id);
    return types.empty() ? DataMeasType() : types.front();
}

std::vector<DataMeasType> LoggerApiBase::getDataMeasTypes(LoggerType type, LoggerDataType dataType,
                                                          QString id)
{
    DefnTypePersistance persistance;
    std::vector<DataMeasType> result;
    for (const auto& baseType : persistance.readPtrBaseTypes(type, dataType, id)) {
        result.push_back(persistance.getDataMeasType(baseType));
    }
    return result;
}

bool LoggerApiBase::IsInRange(timespec t, timespec start, timespec end)
{
    return !isEarlier(t, start) && !isEarlier(end, t);
}

bool LoggerApiBase::checkRange(timespec start, timespec end, timespec fileStart, timespec fileEnd)
{
    if (!isEarlier(start, fileStart) && !isEarlier(fileEnd, end)) {
        return true; // the range lies inside the file
    }
    return IsInRange(fileStart, start, end) || IsInRange(fileEnd, start, end);
}

std::vector<std::shared_ptr<LoggerFileInfo>>
LoggerApiBase::getTimeFileList(std::shared_ptr<DefnBaseType> baseType, timespec start, timespec end,
                               int maxItems, FileListInfo& info)
{
    info.totalSize = 0;
    info.startItem = 0;
    std::vector<std::shared_ptr<LoggerFileInfo>> list;
    if (baseType == nullptr) {
        return list;
    }
    // Range and size of a file through one open, and the same open for the read that follows
    // where the caller runs a session of its own.
    LoggerReadSession session;
    const bool logging = LoggerDebug::isLogEnabled();
    const int numFiles = baseType->getFileListSize();
    if (logging) {
        LoggerDebug::logMessage(baseType->getConfigId() + QStringLiteral(" File list size: ") +
                                QString::number(numFiles));
    }
    DataItemsCalculator calculator;
    calculator.start(maxItems, info.itemSize);
    if (logging) {
        LoggerDebug::logUtcRange(QStringLiteral("Filelist utcStart, utcEnd:"), start, end, true);
    }
    std::vector<std::shared_ptr<LoggerFileInfo>> files;
    files.reserve(static_cast<std::size_t>(std::max(numFiles, 0)));
    for (int index = 0; index < numFiles; ++index) {
        files.push_back(baseType->getFileInfo(index));
    }
    // A file that the catalogue places wholly outside the range is passed over unopened, unless
    // the writer may still be appending to it: a logger that keeps a file a day for years would
    // otherwise open thousands of files for a few items.
    const bool openEveryFile = LoggerHooks::fullTimeFileWalk();
    const std::vector<bool> beingWritten = openEveryFile ? std::vector<bool>() : filesBeingWritten(files);
    for (int index = 0; index < numFiles; ++index) {
        const std::shared_ptr<LoggerFileInfo>& file = files[static_cast<std::size_t>(index)];
        if (file == nullptr) {
            continue;
        }
        if (!openEveryFile && !beingWritten[static_cast<std::size_t>(index)] &&
            cataloguedOutside(*file, start, end)) {
            if (logging) {
                LoggerDebug::logUtcRange(QStringLiteral("Filelist current File [") + QString::number(index) +
                                             QStringLiteral("]:"),
                                         file->UtcStart, file->UtcEnd, true);
            }
            continue;
        }
        // The catalogue's range of the file the writer is appending to lags behind: the true
        // first and last item replace it, in this reader's copy only.
        timespec fileStart = file->UtcStart;
        timespec fileEnd = file->UtcEnd;
        if (LoggerFileSystem::readUtcRange(file.get(), fileStart, fileEnd, file->DataBlockSize)) {
            file->UtcStart = fileStart;
            file->UtcEnd = fileEnd;
        } else {
            fileStart = file->UtcStart;
            fileEnd = file->UtcEnd;
        }
        if (logging) {
            LoggerDebug::logUtcRange(QStringLiteral("Filelist current File [") + QString::number(index) +
                                         QStringLiteral("]:"),
                                     fileStart, fileEnd, true);
        }
        const bool push = checkRange(start, end, fileStart, fileEnd);
        if (!push || file->DataBlockSize <= 0) {
            continue;
        }
        const int bytes =
            LoggerFileSystem::getBufferSize(file.get(), start, end, fileBound(maxItems), file->DataBlockSize);
        calculator.calcNext(bytes / file->DataBlockSize, file->DataBlockSize);
        info.totalSize = calculator.getTotalSize();
        if (logging) {
            message(QStringLiteral("files: total=") + QString::number(calculator.mTotalItems) +
                        QStringLiteral(" max=") + QString::number(calculator.mMaxItems) +
                        QStringLiteral(" current=") + QString::number(calculator.mCurrentItems) +
                        QStringLiteral(" end=") + QString::number(calculator.mLimitPassed) +
                        QStringLiteral(" push= ") + QString::number(push),
                    LOGGER_MESSAGE_TRACE);
        }
        if (!calculator.mLimitPassed) {
            list.push_back(file);
        }
    }
    if (logging) {
        LoggerDebug::logMessage(QStringLiteral("FileList size: =") + QString::number(list.size()));
    }
    return list;
}

std::vector<std::shared_ptr<LoggerFileInfo>>
LoggerApiBase::getEventFileList(std::shared_ptr<DefnBaseType> baseType, timespec time, int maxItems,
                                FileListInfo& info)
{
    return walkBackward(std::move(baseType), time, maxItems, info, false);
}

std::vector<std::shared_ptr<LoggerFileInfo>>
LoggerApiBase::getItemFileList(std::shared_ptr<DefnBaseType> baseType, timespec time, int maxItems,
                               FileListInfo& info)
{
    return walkBackward(std::move(baseType), time, maxItems, info, true);
}

// From the newest file backward, each file gives the items up to time, until the count is
// used up; the oldest file of the list is then read from startItem on. The item list passes
// over files whose first item already lies at or after time (their position says nothing
// about what came before), and files that cannot be searched.
std::vector<std::shared_ptr<LoggerFileInfo>>
LoggerApiBase::walkBackward(std::shared_ptr<DefnBaseType> baseType, timespec time, int maxItems,
                            FileListInfo& info, bool itemList)
{
    std::vector<std::shared_ptr<LoggerFileInfo>> list;
    if (baseType == nullptr || info.itemSize <= 0) {
        info.totalSize = 0;
        info.startItem = 0;
        return list;
    }
    std::vector<std::shared_ptr<LoggerFileInfo>> files;
    const int numFiles = baseType->getFileListSize();
    for (int index = 0; index < numFiles; ++index) {
        const std::shared_ptr<LoggerFileInfo> file = baseType->getFileInfo(index);
        // The catalogue dates the file the writer is appending to only when the writer leaves
        // it (its start stays 0 until then): the true first item orders it, in this reader's
        // copy only. Files with a catalogued start are not opened for it.
        timespec fileStart = {};
        timespec fileEnd = {};
        if (file != nullptr && file->UtcStart.tv_sec == 0 && file->UtcStart.tv_nsec == 0 &&
            LoggerFileSystem::readUtcRange(file.get(), fileStart, fileEnd, file->DataBlockSize)) {
            file->UtcStart = fileStart;
            file->UtcEnd = fileEnd;
        }
        files.push_back(file);
    }
    sortByStart(files);
    DataItemsCalculator calculator;
    calculator.start(maxItems, info.itemSize);
    info.totalSize = 0;
    info.startItem = 0;

    std::shared_ptr<LoggerFileInfo> lastFile;
    int index = 0;
    for (auto it = files.rbegin(); it != files.rend(); ++it) {
        const std::shared_ptr<LoggerFileInfo>& file = *it;
        if (file == nullptr) {
            message(itemList ? QStringLiteral("getItemFileList: fileInfo = nullptr")
                             : QStringLiteral("getEventFileList: fileInfo = nullptr"),
                    LOGGER_MESSAGE_FATAL);
            continue;
        }
        const int itemsInFile =
            (LoggerFileSystem::getFileSize(file.get()) - file->HeaderSize) / info.itemSize;
        const int position = LoggerFileSystem::getUtcPosition(file.get(), time, info.itemSize, false);
        if (itemList && position < 0) {
            continue;
        }
        index = (position - file->HeaderSize) / info.itemSize;
        if (itemList && itemsInFile >= 2 && index == 0) {
            continue;
        }
        // The search also ends on the first item where time lies before it. Such a file, begun
        // after time while the writer went on, holds nothing of the count; counted, its first
        // item would be read although it is later than time.
        if (!itemList && index == 0 && beginsAfter(file.get(), time)) {
            continue;
        }
        // A file that cannot be searched gives a negative count; it adds nothing.
        calculator.calcNext(std::max(0, std::min(index + 1, itemsInFile)), file->DataBlockSize);
        info.totalSize = calculator.getTotalSize();
        if (calculator.mLimitReached) {
            lastFile = file;
            break;
        }
        list.push_back(file);
    }
    if (lastFile != nullptr && !calculator.mLimitPassed) {
        info.startItem = index - calculator.mCurrentItems + 1;
        list.push_back(lastFile);
    }
    sortByStart(list);
    if (itemList) {
        info.selectedSize = info.totalSize;
    } else {
        message(QStringLiteral("Event (") + number(baseType->mDataType) + QStringLiteral(")") +
                    QStringLiteral("Total Buffer Size = ") + QString::number(info.totalSize) +
                    QStringLiteral(", ") + QStringLiteral("utc = ") + QString::number(time.tv_sec) +
                    QStringLiteral(", ") + QString::number(time.tv_nsec),
                LOGGER_MESSAGE_ROUTINE);
    }
    return list;
}

bool LoggerApiBase::readHeader(std::shared_ptr<DefnBaseType> baseType, LoggerHeader& header)
{
    if (baseType == nullptr) {
        return false;
    }
    const std::shared_ptr<LoggerFileInfo> file = baseType->getFileInfo(0);
    if (file == nullptr) {
        return false;
    }
    return LoggerFileSystem::readHeader(file.get(), header);
}

void LoggerApiBase::TraceValue(QString name, double value)
{
    message(name + QStringLiteral(" ") + QString::number(value, 'g', 6), LOGGER_MESSAGE_ROUTINE);
}

void LoggerApiBase::TraceString(QString text)
{
    message(text, LOGGER_MESSAGE_ROUTINE);
}

#include "DefnTypePersistance.h"

#include "CatalogueMapping.h"
#include "DefnDisturbType.h"
#include "DefnEventType.h"
#include "DefnFileInfoWalk.h"
#include "DefnMeasureType.h"
#include "DefnOperatorType.h"
#include "DefnPqEventType.h"
#include "DefnTypeQueries.h"
#include "FileInfoPersistance.h"
#include "LoggerAssert.h"
#include "LoggerDb.h"
#include "LoggerEntityChanged.h"
#include "LoggerFileSystem.h"
#include "LoggerRetriedTransaction.h"
#include "Transaction.h"

#include <QFile>

#include <functional>

namespace {

// Runs the body in the transaction that the calling thread holds, where it holds one, so that a
// failure reaches that transaction's frame; otherwise in a retried transaction of its own.
bool inTransaction(const std::string& description, const std::function<bool()>& body)
{
    if (qzdb::Transaction::hasCurrent()) {
        return body();
    }
    return retriedTransaction(description, body);
}

// Negative when a is earlier than b, 0 when equal, positive when later.
int compareTime(const DataTimespec& a, const DataTimespec& b)
{
    if (a.tv_sec != b.tv_sec) {
        return a.tv_sec < b.tv_sec ? -1 : 1;
    }
    if (a.tv_nsec != b.tv_nsec) {
        return a.tv_nsec < b.tv_nsec ? -1 : 1;
    }
    return 0;
}

template <class Type>
std::vector<std::shared_ptr<DefnBaseType>> asBaseTypes(std::vector<std::shared_ptr<Type>> types)
{
    return std::vector<std::shared_ptr<DefnBaseType>>(types.begin(), types.end());
}

// The rows of a kind of logger, in the caller's transaction; with links, the types are whole,
// without them they carry their own columns only.
std::vector<std::shared_ptr<DefnBaseType>> queryBaseTypes(LoggerType type, LoggerDataType dataType,
                                                          const QString& configId,
                                                          qzdb::Links links = qzdb::Links::Read)
{
    using namespace DefnTypeQueries;
    const bool anyId = configId.isEmpty();
    switch (type) {
    case LoggerType::NONE:
        return byDataType<DefnBaseType>(dataType, links);
    case LoggerType::CYCLIC:
        return asBaseTypes(anyId ? byDataType<DefnMeasureType>(dataType, links)
                                 : byDataTypeAndConfigId<DefnMeasureType>(dataType, configId, links));
    case LoggerType::EVENT:
        return asBaseTypes(anyId ? byDataType<DefnEventType>(dataType, links)
                                 : byDataTypeAndConfigId<DefnEventType>(dataType, configId, links));
    case LoggerType::PQEVENT:
        return asBaseTypes(anyId ? byDataType<DefnPqEventType>(dataType, links)
                                 : byDataTypeAndConfigId<DefnPqEventType>(dataType, configId, links));
    case LoggerType::DISTURB:
        return asBaseTypes(anyId ? byDataType<DefnDisturbType>(dataType, links)
                                 : byDataTypeAndConfigId<DefnDisturbType>(dataType, configId, links));
    case LoggerType::OPERATOR:
        return asBaseTypes(byDataType<DefnOperatorType>(dataType, links));
    }
    return {};
}

// The type of that Id with its links, in the caller's transaction; empty where there is none.
std::shared_ptr<DefnBaseType> findBaseType(LoggerType type, int id)
{
    switch (type) {
    case LoggerType::NONE:
        return qzdb::find<DefnBaseType>(id);
    case LoggerType::CYCLIC:
        return qzdb::find<DefnMeasureType>(id);
    case LoggerType::EVENT:
        return qzdb::find<DefnEventType>(id);
    case LoggerType::PQEVENT:
        return qzdb::find<DefnPqEventType>(id);
    case LoggerType::DISTURB:
        return qzdb::find<DefnDisturbType>(id);
    case LoggerType::OPERATOR:
        return qzdb::find<DefnOperatorType>(id);
    }
    return nullptr;
}

// The texts of an event type get their rows before the type's links point to them. A text
// without a row (Id 0: the catalogue begins counting at 1) gets one; the others are written
// again.
void storeEventStrings(DefnEventType& eventType)
{
    for (const auto& eventString : eventType.EventStrings) {
        if (!eventString) {
            continue;
        }
        if (eventString->Id == 0) {
            qzdb::persist(*eventString);
        } else {
            qzdb::update(*eventString);
        }
    }
}

// Runs `action` on the type as the class that its mType names; false, without running it, where
// the object is not of that class or mType is outside LoggerType.
template <class Action> bool applyByType(DefnBaseType& baseType, Action action)
{
    switch (baseType.mType) {
    case LoggerType::NONE:
        action(baseType);
        return true;
    case LoggerType::CYCLIC:
        if (auto* measure = dynamic_cast<DefnMeasureType*>(&baseType)) {
            action(*measure);
            return true;
        }
        return false;
    case LoggerType::EVENT:
        if (auto* event = dynamic_cast<DefnEventType*>(&baseType)) {
            storeEventStrings(*event);
            action(*event);
            return true;
        }
        return false;
    case LoggerType::PQEVENT:
        if (auto* pqEvent = dynamic_cast<DefnPqEventType*>(&baseType)) {
            action(*pqEvent);
            return true;
        }
        return false;
    case LoggerType::DISTURB:
        if (auto* disturb = dynamic_cast<DefnDisturbType*>(&baseType)) {
            action(*disturb);
            return true;
        }
        return false;
    case LoggerType::OPERATOR:
        if (auto* operatorType = dynamic_cast<DefnOperatorType*>(&baseType)) {
            action(*operatorType);
            return true;
        }
        return false;
    }
    return false;
}

// The type's file list as it stands, to put it back where a transaction that changed it in
// memory did not commit.
std::vector<std::shared_ptr<LoggerFileInfo>> fileList(const DefnBaseType& baseType)
{
    std::vector<std::shared_ptr<LoggerFileInfo>> files;
    const int size = baseType.getFileListSize();
    files.reserve(static_cast<std::size_t>(size));
    for (int index = 0; index < size; ++index) {
        files.push_back(baseType.getFileInfo(index));
    }
    return files;
}

void restoreFileList(DefnBaseType& baseType, const std::vector<std::shared_ptr<LoggerFileInfo>>& files)
{
    baseType.clearFileList();
    for (const auto& file : files) {
        baseType.AppendFileInfo(file);
    }
}

// The same file info: the same object, or the same row of the same table.
bool isSameFile(const std::shared_ptr<LoggerFileInfo>& a, const std::shared_ptr<LoggerFileInfo>& b)
{
    if (!a || !b) {
        return false;
    }
    return a == b || (a->Id == b->Id && a->mType == b->mType);
}

void loggerMessage(const std::string& text, LoggerMessageType type)
{
    LoggerDb::getInstance().loggerMessage(text, type);
}

constexpr LoggerMessageType kError = LOGGER_MESSAGE_ERROR;
constexpr LoggerMessageType kFatal = LOGGER_MESSAGE_FATAL;

} // namespace

DefnTypePersistance::DefnTypePersistance()
{
    initTrack(kCategoryPersist);
}

DefnTypePersistance::~DefnTypePersistance() = default;

std::shared_ptr<DefnBaseType> DefnTypePersistance::createMeasuredType()
{
    return std::make_shared<DefnMeasureType>();
}

std::shared_ptr<DefnBaseType> DefnTypePersistance::createEventType()
{
    return std::make_shared<DefnEventType>();
}

std::shared_ptr<DefnBaseType> DefnTypePersistance::createPqEventType()
{
    return std::make_shared<DefnPqEventType>();
}

std::shared_ptr<DefnBaseType> DefnTypePersistance::createDisturbType()
{
    return std::make_shared<DefnDisturbType>();
}

std::shared_ptr<DefnBaseType> DefnTypePersistance::createOperatorType()
{
    return std::make_shared<DefnOperatorType>();
}

std::shared_ptr<DefnBaseType> DefnTypePersistance::createInstance(LoggerType type)
{
    switch (type) {
    case LoggerType::NONE:
        return std::make_shared<DefnBaseType>();
    case LoggerType::CYCLIC:
        return createMeasuredType();
    case LoggerType::EVENT:
        return createEventType();
    case LoggerType::PQEVENT:
        return createPqEventType();
    case LoggerType::DISTURB:
        return createDisturbType();
    case LoggerType::OPERATOR:
        return createOperatorType();
    }
    return nullptr;
}

std::shared_ptr<DefnMeasureType>
DefnTypePersistance::getMeasuredType(const std::shared_ptr<DefnBaseType>& baseType)
{
    return std::dynamic_pointer_cast<DefnMeasureType>(baseType);
}

std::shared_ptr<DefnEventType>
DefnTypePersistance::getEventType(const std::shared_ptr<DefnBaseType>& baseType)
{
    return std::dynamic_pointer_cast<DefnEventType>(baseType);
}

std::shared_ptr<DefnPqEventType>
DefnTypePersistance::getPqEventType(const std::shared_ptr<DefnBaseType>& baseType)
{
    return std::dynamic_pointer_cast<DefnPqEventType>(baseType);
}

std::shared_ptr<DefnDisturbType>
DefnTypePersistance::getDisturbType(const std::shared_ptr<DefnBaseType>& baseType)
{
    return std::dynamic_pointer_cast<DefnDisturbType>(baseType);
}

std::shared_ptr<DefnOperatorType>
DefnTypePersistance::getOperatorType(const std::shared_ptr<DefnBaseType>& baseType)
{
    return std::dynamic_pointer_cast<DefnOperatorType>(baseType);
}

DataMeasType DefnTypePersistance::getDataMeasType(const std::shared_ptr<DefnBaseType>& baseType)
{
    DataMeasType measType;
    if (!baseType) {
        return measType;
    }
    switch (baseType->mType) {
    case LoggerType::CYCLIC:
        if (auto measure = getMeasuredType(baseType)) {
            return measure->MeasType;
        }
        break;
    case LoggerType::EVENT:
    case LoggerType::PQEVENT:
    case LoggerType::DISTURB:
        measType.configId = baseType->getConfigId();
        break;
    case LoggerType::OPERATOR:
        measType.configId = QString::fromLatin1(DefnOperatorType::kConfigId);
        break;
    case LoggerType::NONE:
        break;
    }
    return measType;
}

timespec DefnTypePersistance::getStartTime(const std::shared_ptr<DefnBaseType>& baseType)
{
    DataTimespec start{0, 0};
    bool found = false;
    const int size = baseType ? baseType->getFileListSize() : 0;
    for (int index = 0; index < size; ++index) {
        const auto file = baseType->getFileInfo(index);
        if (file && (!found || compareTime(file->UtcStart, start) < 0)) {
            start = file->UtcStart;
            found = true;
        }
    }
    return start;
}

timespec DefnTypePersistance::getEndTime(const std::shared_ptr<DefnBaseType>& baseType)
{
    DataTimespec end{0, 0};
    bool found = false;
    const int size = baseType ? baseType->getFileListSize() : 0;
    for (int index = 0; index < size; ++index) {
        const auto file = baseType->getFileInfo(index);
        if (file && (!found || compareTime(file->UtcEnd, end) > 0)) {
            end = file->UtcEnd;
            found = true;
        }
    }
    return end;
}

std::vector<DefnBaseType> DefnTypePersistance::readBaseTypes(LoggerType type, LoggerDataType dataType,
                                                             const QString& configId, bool ownTransaction)
{
    std::vector<DefnBaseType> result;
    if (!LoggerDb::getInstance().isInitialized()) {
        return result;
    }
    const std::function<bool()> body = [&] {
        result.clear();
        // The row's own columns only: callers load the whole type by its Id when they need it,
        // so the links of its files are not read here.
        for (const auto& baseType : queryBaseTypes(type, dataType, configId, qzdb::Links::Skip)) {
            DefnBaseType row;
            row.Id = baseType->Id;
            row.UtcStart = baseType->UtcStart;
            row.UtcEnd = baseType->UtcEnd;
            row.mType = baseType->mType;
            row.mDataType = baseType->mDataType;
            result.push_back(row);
        }
        return true;
    };
    const bool ok =
        ownTransaction ? retriedTransaction("readBaseTypes", body) : inTransaction("readBaseTypes", body);
    if (!ok) {
        result.clear();
    }
    return result;
}

std::vector<std::shared_ptr<DefnBaseType>>
DefnTypePersistance::readPtrBaseTypes(LoggerType type, LoggerDataType dataType, const QString& configId)
{
    std::vector<std::shared_ptr<DefnBaseType>> result;
    if (!LoggerDb::getInstance().isInitialized()) {
        return result;
    }
    if (!inTransaction("readPtrBaseTypes", [&] {
            result = queryBaseTypes(type, dataType, configId);
            return true;
        })) {
        result.clear();
    }
    return result;
}

std::vector<QString> DefnTypePersistance::readIds(LoggerType type, LoggerDataType dataType)
{
    std::vector<QString> ids;
    if (!LoggerDb::getInstance().isInitialized()) {
        return ids;
    }
    const bool ok = inTransaction("readIds", [&] {
        switch (type) {
        case LoggerType::CYCLIC:
            ids = DefnMeasureType::readIds(dataType);
            break;
        case LoggerType::EVENT:
            ids = DefnEventType::readIds(dataType);
            break;
        case LoggerType::PQEVENT:
            ids = DefnPqEventType::readIds(dataType);
            break;
        case LoggerType::DISTURB:
            ids = DefnDisturbType::readIds(dataType);
            break;
        case LoggerType::OPERATOR:
            ids = DefnOperatorType::readIds();
            break;
        case LoggerType::NONE:
            // Loggers of type NONE have no identification.
            break;
        }
        return true;
    });
    if (!ok) {
        ids.clear();
    }
    return ids;
}

std::shared_ptr<DefnBaseType> DefnTypePersistance::readBaseType(LoggerType type, int id, const char* description)
{
    std::shared_ptr<DefnBaseType> baseType;
    if (!LoggerDb::getInstance().isInitialized()) {
        return baseType;
    }
    if (!inTransaction(description, [&] {
            baseType = findBaseType(type, id);
            return true;
        })) {
        baseType.reset();
    }
    return baseType;
}

bool DefnTypePersistance::readCurrentBaseType(std::shared_ptr<DefnBaseType>& baseType)
{
    if (!baseType) {
        return false;
    }
    auto current = readBaseType(baseType->mType, baseType->Id);
    if (!current) {
        return false;
    }
    baseType = std::move(current);
    return true;
}

std::shared_ptr<LoggerFileInfo>
DefnTypePersistance::getFileInfo(const std::shared_ptr<DefnBaseType>& baseType, int index)
{
    return baseType ? baseType->getFileInfo(index) : nullptr;
}

std::shared_ptr<LoggerFileInfo>
DefnTypePersistance::getNewestFileInfo(const std::shared_ptr<DefnBaseType>& baseType,
                                       const std::shared_ptr<LoggerFileInfo>& fileInfo)
{
    std::shared_ptr<LoggerFileInfo> newest = fileInfo;
    const int size = baseType ? baseType->getFileListSize() : 0;
    for (int index = 0; index < size; ++index) {
        auto file = baseType->getFileInfo(index);
        if (file && (!newest || compareTime(file->UtcCreated, newest->UtcCreated) > 0)) {
            newest = std::move(file);
        }
    }
    return newest;
}

bool DefnTypePersistance::readCurrentDatas(std::shared_ptr<DefnBaseType>& baseType,
                                           std::shared_ptr<LoggerFileInfo>& fileInfo)
{
    if (!baseType || !LoggerDb::getInstance().isInitialized()) {
        return false;
    }
    std::shared_ptr<DefnBaseType> currentType;
    std::shared_ptr<LoggerFileInfo> currentFile;
    const bool ok = inTransaction("readCurrentDatas", [&] {
        currentType = findBaseType(baseType->mType, baseType->Id);
        if (!currentType) {
            return false;
        }
        currentFile.reset();
        if (!fileInfo) {
            return true;
        }
        int found = -1;
        DefnFileInfoWalk::forEach(*currentType, [&](int index, const LoggerFileInfo* file) {
            if (file != nullptr && file->Id == fileInfo->Id) {
                found = index;
                return false;
            }
            return true;
        });
        if (found >= 0) {
            currentFile = currentType->getFileInfo(found);
        } else {
            currentFile = qzdb::findFileInfo(fileInfo->mType, fileInfo->Id);
        }
        return currentFile != nullptr;
    });
    if (!ok) {
        return false;
    }
    if (fileInfo) {
        // The writer's working state lives in memory only.
        currentFile->mFirstDataItem = fileInfo->mFirstDataItem;
        currentFile->mFilePosition = fileInfo->mFilePosition;
        fileInfo = std::move(currentFile);
    }
    baseType = std::move(currentType);
    return true;
}

int DefnTypePersistance::persist(const std::shared_ptr<DefnBaseType>& baseType)
{
    if (!baseType) {
        LOGGER_ASSERT(false && "Logger persist nullptr");
    }
    int id = -1;
    const bool ok = inTransaction("persist", [&] {
        if (!applyByType(*baseType, [](auto& typed) { qzdb::persist(typed); })) {
            return false;
        }
        id = baseType->Id;
        return true;
    });
    return ok ? id : -1;
}

bool DefnTypePersistance::update(const std::shared_ptr<DefnBaseType>& baseType)
{
    if (!baseType) {
        LOGGER_ASSERT(false && "Logger update nullptr");
    }
    return inTransaction(
        "update", [&] { return applyByType(*baseType, [](const auto& typed) { qzdb::update(typed); }); });
}

bool DefnTypePersistance::remove(const std::shared_ptr<DefnBaseType>& baseType)
{
    if (!baseType) {
        LOGGER_ASSERT(false && "Logger remove nullptr");
    }
    const int id = baseType->Id;
    return inTransaction("remove", [&] {
        switch (baseType->mType) {
        case LoggerType::NONE:
            qzdb::erase<DefnBaseType>(id);
            return true;
        case LoggerType::CYCLIC:
            qzdb::erase<DefnMeasureType>(id);
            return true;
        case LoggerType::EVENT:
            qzdb::erase<DefnEventType>(id);
            return true;
        case LoggerType::PQEVENT:
            qzdb::erase<DefnPqEventType>(id);
            return true;
        case LoggerType::DISTURB:
            qzdb::erase<DefnDisturbType>(id);
            return true;
        case LoggerType::OPERATOR:
            qzdb::erase<DefnOperatorType>(id);
            return true;
        }
        return false;
    });
}

bool DefnTypePersistance::createNewFile(timespec utc, std::shared_ptr<DefnBaseType>& baseType,
                                        std::shared_ptr<LoggerFileInfo> fileInfo, QFile& file, int headerWord,
                                        int uniqueId, int previousFileIndex, float parameter1,
                                        float parameter2, const std::function<bool()>& storeFirst)
{
    if (!baseType) {
        loggerMessage("createNewFile: baseType = nullptr", kError);
        return false;
    }
    if (!fileInfo) {
        loggerMessage("createNewFile: fileInfo = nullptr", kError);
        return false;
    }

    // The card first: a row must never name a file that was not made.
    if (!LoggerFileSystem::createFile(fileInfo.get(), file, baseType->Id, headerWord, uniqueId, parameter1,
                                      parameter2)) {
        loggerMessage("createNewFile: cannot create file " +
                          LoggerFileSystem::getFullFileName(fileInfo.get()).toStdString() + ": " +
                          LoggerFileSystem::getLastError().toStdString(),
                      kError);
        return false;
    }

    FileInfoPersistance fileInfoPersistance;
    return retriedTransaction("createFile", [&] {
        if (storeFirst && !storeFirst()) {
            return false;
        }
        // Read anew on every try: a try that did not commit leaves its changes in the old object.
        if (!readCurrentBaseType(baseType)) {
            loggerMessage("createNewFile: cannot read actual base type", kError);
            LoggerDb::getInstance().setError(QStringLiteral("createNewFile: cannot read actual base type"));
            return false;
        }
        if (previousFileIndex >= 0) {
            const auto previous = baseType->getFileInfo(previousFileIndex);
            if (previous) {
                previous->UtcEnd = utc;
                fileInfoPersistance.persist(previous);
            }
        }
        baseType->AppendFileInfo(fileInfo);
        fileInfoPersistance.persist(fileInfo);
        update(baseType);
        return true;
    });
}

bool DefnTypePersistance::removeFile(std::shared_ptr<DefnBaseType>& baseType, int index,
                                     std::shared_ptr<LoggerFileInfo> currentFileInfo)
{
    return removeFileEntry(baseType, index, currentFileInfo, "removeFile", true);
}

bool DefnTypePersistance::removeFileInfo(std::shared_ptr<DefnBaseType>& baseType, int index,
                                         std::shared_ptr<LoggerFileInfo> currentFileInfo)
{
    return removeFileEntry(baseType, index, currentFileInfo, "removeFileInfo", false);
}

bool DefnTypePersistance::removeFileEntry(std::shared_ptr<DefnBaseType>& baseType, int index,
                                          const std::shared_ptr<LoggerFileInfo>& currentFileInfo,
                                          const char* description, bool removeFromDisk)
{
    // An index equal to the size passes here and finds no file below.
    if (baseType && index > baseType->getFileListSize()) {
        loggerMessage("removeFile: Wrong file Index", kError);
        return false;
    }
    LoggerDb& db = LoggerDb::getInstance();
    if (!db.isInitialized()) {
        return false;
    }
    if (!baseType) {
        loggerMessage("removeFile: baseType = nullptr", kError);
        return false;
    }
    if (!baseType->getFileInfo(index)) {
        loggerMessage("removeFile: filInfo = nullptr", kError);
        return false;
    }

    FileInfoPersistance fileInfoPersistance;
    const auto filesBefore = fileList(*baseType);
    std::shared_ptr<LoggerFileInfo> removed;
    bool listChanged = false;
    const bool ok = retriedTransaction(description, [&] {
        // A try that did not commit has taken the file out of the list already.
        if (listChanged) {
            restoreFileList(*baseType, filesBefore);
            listChanged = false;
        }
        removed = baseType->getFileInfo(index);
        if (!removed) {
            return false;
        }
        const bool removingCurrent = isSameFile(removed, currentFileInfo);
        if (removingCurrent) {
            TRACK_INFO(*this, QStringLiteral("Es wird versucht, die aktuelle Datei zu loeschen"));
        }
        const timespec start = getStartTime(baseType);
        TRACK_DEBUG(*this, QStringLiteral("%1: index %2, type %3 starts at %4")
                               .arg(QString::fromLatin1(description))
                               .arg(index)
                               .arg(baseType->Id)
                               .arg(static_cast<qint64>(start.tv_sec)));

        fileInfoPersistance.remove(removed);
        listChanged = true;
        baseType->removeFileInfo(index);
        update(baseType);

        // The file being removed has no row left to write to.
        if (currentFileInfo && !removingCurrent) {
            TRACK_INFO(*this, QStringLiteral("update(currentFileInfo)..."));
            fileInfoPersistance.update(currentFileInfo);
            TRACK_INFO(*this, QStringLiteral("currentFileInfo updated"));
        }
        LoggerEntityChanged::setLoggerChanged(baseType->mType, baseType->mDataType, baseType->Id, true);
        return true;
    });

    if (!ok) {
        if (listChanged) {
            restoreFileList(*baseType, filesBefore);
        }
        loggerMessage("cannot remove file from database", kFatal);
        db.isIntegrityViolated();
        return false;
    }
    if (removeFromDisk && !LoggerFileSystem::removeFile(removed.get())) {
        loggerMessage("cannot remove file from disk", kFatal);
        return false;
    }
    return true;
}

bool DefnTypePersistance::removeNonExistingFileInfos(std::shared_ptr<DefnBaseType>& baseType)
{
    LoggerDb& db = LoggerDb::getInstance();
    if (!baseType) {
        loggerMessage("removeFile: baseType = nullptr", kError);
        return false;
    }
    if (!db.isInitialized()) {
        return false;
    }

    FileInfoPersistance fileInfoPersistance;
    const auto filesBefore = fileList(*baseType);
    bool listChanged = false;
    const bool ok = retriedTransaction("removeNonExistingFileInfos", [&] {
        if (listChanged) {
            restoreFileList(*baseType, filesBefore);
            listChanged = false;
        }
        // From the end, so that a removal does not move the places still to be visited.
        for (int index = baseType->getFileListSize() - 1; index >= 0; --index) {
            const auto file = baseType->getFileInfo(index);
            if (!file) {
                loggerMessage("removeFile [" + std::to_string(index) + "]: filInfo = nullptr", kError);
                continue;
            }
            if (LoggerFileSystem::fileExists(file.get())) {
                continue;
            }
            TRACK_INFO(*this, QStringLiteral("removeNonExistingFileInfos: ") +
                                  LoggerFileSystem::getFullFileName(file.get()));
            fileInfoPersistance.remove(file);
            listChanged = true;
            baseType->removeFileInfo(index);
        }
        if (listChanged) {
            update(baseType);
            LoggerEntityChanged::setLoggerChanged(baseType->mType, baseType->mDataType, baseType->Id, true);
        }
        return true;
    });

    if (!ok) {
        if (listChanged) {
            restoreFileList(*baseType, filesBefore);
        }
        loggerMessage("cannot remove file from database", kFatal);
        db.isIntegrityViolated();
        return false;
    }
    return true;
}

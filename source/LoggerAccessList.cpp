#include "LoggerAccessList.h"

#include "DefnBaseType.h"
#include "LoggerDb.h"
#include "LoggerFileSystem.h"
#include "TimeOrder.h"

#include <QMutex>
#include <QMutexLocker>

LoggerAccessList* LoggerAccessList::getInstance()
{
    static LoggerAccessList instance;
    return &instance;
}

LoggerAccessList::LoggerAccessList()
{
    initTrack(kCategoryAccessList);
}

LoggerAccessList::~LoggerAccessList() = default;

int LoggerAccessList::listIndex(LoggerType type)
{
    switch (type) {
    case LoggerType::CYCLIC: return 0;
    case LoggerType::EVENT: return 1;
    case LoggerType::PQEVENT: return 2;
    case LoggerType::DISTURB: return 3;
    case LoggerType::OPERATOR: return 4;
    default: return 5;
    }
}

std::shared_ptr<LoggerAccess> LoggerAccessList::addLoggerAccess(std::shared_ptr<LoggerAccess>& access)
{
    if (access && access->getLoggerType() != LoggerType::NONE) {
        mLists[listIndex(access->getLoggerType())].append(access);
    }
    return access;
}

void LoggerAccessList::removeLoggerAccess(std::shared_ptr<LoggerAccess>& access)
{
    if (!access || access->getLoggerType() == LoggerType::NONE) {
        return;
    }
    auto& list = mLists[listIndex(access->getLoggerType())];
    // The object itself first: a logger leaves after its access was reset, when its Id is -1
    // like that of every other logger not yet initialized.
    const int own = list.indexOf(access);
    if (own >= 0) {
        list.removeAt(own);
        return;
    }
    for (int index = 0; index < list.size(); ++index) {
        const auto& entry = list.at(index);
        if (entry->getLoggerDataType() == access->getLoggerDataType() && entry->getId() == access->getId()) {
            list.removeAt(index);
            return;
        }
    }
}

QList<std::shared_ptr<LoggerAccess>> LoggerAccessList::getAccessList(LoggerType type)
{
    return mLists[listIndex(type)];
}

int LoggerAccessList::getListSize(LoggerType type)
{
    return mLists[listIndex(type)].size();
}

int LoggerAccessList::indexOf(std::shared_ptr<LoggerAccess> access)
{
    if (!access) {
        return -1;
    }
    const auto& list = mLists[listIndex(access->getLoggerType())];
    for (int index = 0; index < list.size(); ++index) {
        const auto& entry = list.at(index);
        if (entry->getLoggerDataType() == access->getLoggerDataType() &&
            entry->getConfigId() == access->getConfigId()) {
            return index;
        }
    }
    return -1;
}

int LoggerAccessList::getFileListSize(LoggerType type)
{
    int size = 0;
    for (const auto& access : mLists[listIndex(type)]) {
        size += access->getFileListSize();
    }
    return size;
}

int LoggerAccessList::updateList(LoggerType type)
{
    const auto list = mLists[listIndex(type)];
    for (const auto& access : list) {
        access->updateDatabaseEntities();
    }
    return list.size();
}

bool& LoggerAccessList::getChangedVariable(LoggerType type)
{
    const int value = static_cast<int>(type);
    if (value < static_cast<int>(LoggerType::NONE) || value > static_cast<int>(LoggerType::OPERATOR)) {
        mDummyChanged = false;
        return mDummyChanged;
    }
    return mChanged[listIndex(type)];
}

void LoggerAccessList::setChanged(LoggerType type, bool changed)
{
    getChangedVariable(type) = changed;
}

bool LoggerAccessList::hasChanged(LoggerType type)
{
    return getChangedVariable(type);
}

void LoggerAccessList::clearAll()
{
    for (int index = 0; index < kNumLists; ++index) {
        mChanged[index] = false;
        mLists[index].clear();
    }
}

// The eviction choice: among the family's loggers with more than one file, the one whose oldest
// file was created first. Creation time, not the time range of the data, decides, and on equal
// times the logger that comes first in the list loses its file. The file that goes is the first
// of the chosen logger's list (index 0), the one its files were appended after.
std::shared_ptr<LoggerAccess> LoggerAccessList::getOldestFileInfo(LoggerType type, LoggerDataType dataType,
                                                                  int& index)
{
    index = -1;
    if (type == LoggerType::NONE) {
        return nullptr;
    }
    const auto list = mLists[listIndex(type)];
    std::shared_ptr<LoggerAccess> best;
    DataTimespec bestCreated{0, 0};
    for (const auto& access : list) {
        const int files = access->getFileListSize();
        if (files < 2 || access->getLoggerDataType() != dataType) {
            continue;
        }
        const auto oldest = access->getOldestFileInfo();
        if (!oldest) {
            return nullptr;
        }
        // Only a strictly earlier file replaces the best: on a tie the earlier entry keeps it.
        if (!best || isEarlier(oldest->UtcCreated, bestCreated)) {
            best = access;
            bestCreated = oldest->UtcCreated;
            index = 0;
        }
    }
    return best;
}

PtrLoggerFileInfo LoggerAccessList::removeOldestFile(LoggerType type, LoggerDataType dataType)
{
    if (!LoggerDb::getInstance().isInitialized()) {
        return nullptr;
    }
    int index = -1;
    const auto access = getOldestFileInfo(type, dataType, index);
    if (index == -1) {
        if (access && !access->isOnlyOneFileLogged()) {
            TRACK_ERROR(*this, QStringLiteral("removeOldestFile: only one file"));
            access->setOnlyOneFileLogged(true);
        }
        return nullptr;
    }
    if (!access) {
        return nullptr;
    }
    // Every removal in the process goes through here, one at a time.
    static QMutex removeMutex;
    QMutexLocker removing(&removeMutex);
    // The chosen logger may be writing in its own thread right now. Its work is serialised by
    // its own mutex, which is taken here only where it is free: a thread that waited for it
    // while holding the removal lock could wait for ever for a writer that waits for the removal
    // lock. A busy logger keeps its file, and the next checked block chooses again.
    QMutex* saveAccess = access->getSaveAccess();
    if (!saveAccess->tryLock()) {
        TRACK_INFO(*this, QStringLiteral("removeOldestFile: logger busy, ") + access->getConfigId());
        return nullptr;
    }
    struct Release {
        QMutex* mutex;
        ~Release() { mutex->unlock(); }
    } release{saveAccess};
    access->setOnlyOneFileLogged(false);
    const auto baseType = access->getCurrentBaseType();
    const auto file = baseType ? baseType->getFileInfo(index) : nullptr;
    if (!file) {
        return nullptr;
    }
    // The file a logger writes to never goes, wherever it stands in its list.
    if (file == access->getCurrentFileInfo() || file->Id == access->getCurrentFileInfoId()) {
        TRACK_INFO(*this, QStringLiteral("removeOldestFile: current file kept, ") +
                              LoggerFileSystem::getFullFileName(file.get()));
        return nullptr;
    }
    const QString fullName = LoggerFileSystem::getFullFileName(file.get());
    if (!access->removeFileAndUpdate(index)) {
        return nullptr;
    }
    TRACK_INFO(*this, QStringLiteral("file removed: ") + fullName);
    return file;
}

#include "LoggerAccessList.h"

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

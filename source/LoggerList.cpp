#include "LoggerList.h"

LoggerList* LoggerList::getInstance()
{
    static LoggerList instance;
    return &instance;
}

LoggerList::LoggerList()
{
    initTrack(kCategoryList);
}

LoggerList::~LoggerList() = default;

void LoggerList::addLogger(LoggerBase* logger)
{
    mLoggers.append(logger);
}

void LoggerList::removeLogger(LoggerBase* logger)
{
    mLoggers.removeAll(logger);
}

int LoggerList::size()
{
    return getInstance()->getNumLoggers();
}

int LoggerList::getNumLoggers() const
{
    return mLoggers.size();
}

bool LoggerList::contains(const LoggerBase* logger) const
{
    return mLoggers.contains(const_cast<LoggerBase*>(logger));
}

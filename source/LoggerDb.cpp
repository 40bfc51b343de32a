#include "LoggerDb.h"

#include "Database.h"

#include <QMutexLocker>

LoggerDb::LoggerDb() = default;

LoggerDb::~LoggerDb() = default;

LoggerDb& LoggerDb::getInstance()
{
    static LoggerDb instance;
    return instance;
}

std::shared_ptr<qzdb::Database> LoggerDb::getDb()
{
    QMutexLocker locker(&mConnectionMutex);
    return mDb;
}

void LoggerDb::setDb(std::shared_ptr<qzdb::Database> db)
{
    QMutexLocker locker(&mConnectionMutex);
    mDb = std::move(db);
}

QMutex* LoggerDb::getDbMutex()
{
    return &mDbMutex;
}

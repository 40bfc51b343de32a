#pragma once

#include <QMutex>

#include <memory>

namespace qzdb {
class Database;
}

// The process-wide owner of the connection to the catalogue.
class LoggerDb {
public:
    static LoggerDb& getInstance();

    LoggerDb(const LoggerDb&) = delete;
    LoggerDb& operator=(const LoggerDb&) = delete;

    // The connection to the catalogue; empty while none is open.
    std::shared_ptr<qzdb::Database> getDb();
    // The connection that initialize() opens; tests and, until the lifecycle lands, host code
    // hand it in. An empty pointer gives it up.
    void setDb(std::shared_ptr<qzdb::Database> db);

    // The mutex that every retried transaction holds for its whole run, so that the catalogue
    // work of the process is serial. Recursive: catalogue work that the body of a transaction
    // calls into locks it again in the same thread.
    QMutex* getDbMutex();

private:
    LoggerDb();
    ~LoggerDb();

    QMutex mDbMutex{QMutex::Recursive};
    QMutex mConnectionMutex; // guards mDb, which getDb and setDb may see from any thread
    std::shared_ptr<qzdb::Database> mDb;
};

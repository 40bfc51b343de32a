#pragma once

#include "qzlogger_export.h"

#include "LoggerState.h"

#include <QString>

// The narrow surface through which host programs and the read API reach the database
// singleton LoggerDb. It has no data: construct it on the stack or as a member wherever it is
// needed; every operation forwards at once and adds no locking of its own.
//
// It offers no operations on the registry of loggers or on the card client.
class QZLOGGER_EXPORT DatabaseInterface {

public:
    DatabaseInterface() = default;
    virtual ~DatabaseInterface();

    void setWriterMode(bool writer);
    void initializeCompleted();
    LoggerState getLoggerState();
    QString getDatabaseFolder() const;
    QString getDataFolder() const;
    bool isDropSchema();
    // Each initialize sends its own call as a routine message first.
    bool initialize();
    bool initialize(const QString& fileName);
    bool reinitialize();
    bool isInitialized();
    // From the shared state file, not from LoggerDb: a reader sees the writer's change at once.
    bool isReadable();
    // Also rebinds a reader whose writer has restarted.
    bool checkValidity();
    void close();
    QString getLastError();
    double getTotalTransactionTime();
    int getTotalTransactionCount();
    double getTotalWriteFileTime();
};

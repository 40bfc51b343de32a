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

    // Before initialize: the writer opens the catalogue read-write and alone posts the state.
    void setWriterMode(bool writer);
    void initializeCompleted();
    LoggerState getLoggerState();
    // LoggerDb::getPath, the folder of the catalogue file.
    QString getDatabaseFolder() const;
    QString getDataFolder() const;
    bool isDropSchema();
    // LoggerDb::readParameters: quotas, disk and names from a storage configuration.
    bool readParameters(const QString& fileName);
    // Each initialize sends its own call as a routine message first; the contracts are those of
    // LoggerDb::initialize.
    bool initialize();
    bool initialize(const QString& fileName);
    bool reinitialize();
    bool isInitialized();
    // From the shared state file, not from LoggerDb: a reader sees the writer's change at once.
    bool isReadable();
    // LoggerDb::checkValidity: also rebinds a reader whose writer has restarted.
    bool checkValidity();
    // LoggerDb::close: the connection goes once a running transaction is done.
    void close();
    // The kept last error, which this call does not clear (LoggerApiInterface::getLastError does).
    QString getLastError();
    // Seconds of the committed tries of retried transactions since the last call, which resets
    // the sum.
    double getTotalTransactionTime();
    // Tries of retried transactions begun in this process, retries included; never reset.
    int getTotalTransactionCount();
    // Seconds of the writer's block writes and rewrites since the last call, which resets the sum.
    double getTotalWriteFileTime();
};

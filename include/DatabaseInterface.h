#pragma once

#include "qzlogger_export.h"

#include "LoggerState.h"

#include <QString>

class LoggerSDCard;

// The narrow surface through which host programs and the read API reach the database
// singleton LoggerDb, the registry of loggers LoggerList and the card client. It has no data:
// construct it on the stack or as a member wherever it is needed; every operation forwards at
// once and adds no locking of its own.
//
// A writer runs the whole life of the store through it: setWriterMode(true), initialize(),
// initializeLoggers(), setShouldStartLoggers(true), startStopLoggers(true); from then on the card
// client stops and starts the loggers with the card, and startStopLoggers(false) ends the run.
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
    // Creates the card client where there is none and starts it once.
    bool initializeSDCard();
    bool reinitialize();
    bool isInitialized();
    // From the shared state file, not from LoggerDb: a reader sees the writer's change at once.
    bool isReadable();
    // LoggerDb::checkValidity: also rebinds a reader whose writer has restarted.
    bool checkValidity();
    // LoggerDb::close: the connection goes once a running transaction is done.
    void close();
    // The kept last error, which this call does not clear (LoggerApiInterface::getLastError does).
    // Every false answer of this class keeps a text that names its object (the card path, the
    // catalogue file, the process-id file, the logger) and says what to do; where a deeper layer
    // kept a text of its own ("invalid file content", "Database is not initialized"), that text
    // stands.
    QString getLastError();
    // Seconds of the committed tries of retried transactions since the last call, which resets
    // the sum.
    double getTotalTransactionTime();
    // Tries of retried transactions begun in this process, retries included; never reset.
    int getTotalTransactionCount();
    // Seconds of the writer's block writes and rewrites since the last call, which resets the sum.
    double getTotalWriteFileTime();

    // The card client; null before initialize or initializeSDCard.
    LoggerSDCard* getLoggerSDCard();
    // The state the card client read last is "mounted"; false without a client.
    bool isSdcardMounted();
    // Marks the card mounted in the card client without asking the service; nothing without a
    // client.
    void setSDcardMounted();

    // Group operations of LoggerList, for the writer. initializeLoggers opens the catalogue where
    // needed and initializes every logger; a logger that failed shows in the state word
    // ("logger failed"), not in the answer.
    bool initializeLoggers();
    // The wish to run the loggers, which decides whether they start again when the card returns.
    void setShouldStartLoggers(bool start);
    // LoggerList::startLoggers with true (false where the card is not mounted or a logger did
    // not start), LoggerList::stopLoggers with false (always true; closes the catalogue).
    bool startStopLoggers(bool start);
    // Deletes every logger's types and every data file and opens a new empty catalogue.
    bool deleteAllLoggers();
    // Stops the loggers, makes the store not readable and removes the catalogue and the data
    // folder. Nothing here brings the store back: the host initializes it anew.
    void factoryReset();
};

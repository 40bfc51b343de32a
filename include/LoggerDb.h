#pragma once

#include "qzlogger_export.h"

#include "LoggerPerformanceCounter.h"
#include "LoggerState.h"
#include "LoggerStateMachine.h"
#include "LoggerTypes.h"
#include "TrackObject.h"

#include <QMutex>
#include <QString>
#include <QStringList>

#include <atomic>
#include <memory>
#include <string>

namespace qzdb {
class Database;
class Exception;
} // namespace qzdb

class LoggerSDCard;

// What logDatabaseState reports.
enum DatabaseState : int32_t {
    DATABASE_INITIALIZATION_STARTED = 0,
    DATABASE_INITIALIZED = 1,
    DATABASE_NOT_INITIALIZED = 2,
    DATABASE_PATH_DOES_NOT_EXIST = 3,
};

// The process-wide owner of the connection to the catalogue. It decides whether this process
// is the writer, brings the catalogue up and down together with the card, checks and repairs
// it, follows a restarted writer through the process-id file, and carries the logger state.
// Only the writer opens the catalogue read-write, repairs it, writes the process-id file and
// posts the logger state; a reader opens it read-only and calls checkValidity before each
// query.
class QZLOGGER_EXPORT LoggerDb : public TrackObject {
public:
    static LoggerDb& getInstance();
    // Closes the catalogue of the process's instance; the instance itself stays.
    static void closeInstance();

    LoggerDb(const LoggerDb&) = delete;
    LoggerDb& operator=(const LoggerDb&) = delete;

    // The connection to the catalogue; empty while none is open. The connection's type is the
    // library's own, so these operations are not exported.
    QZLOGGER_NO_EXPORT std::shared_ptr<qzdb::Database> getDb();
    // Hands in an open connection, as initialize does after opening; an empty pointer gives it
    // up. Does not change the initialised flag.
    QZLOGGER_NO_EXPORT void setDb(std::shared_ptr<qzdb::Database> db);

    // The mutex that every retried transaction holds for its whole run, waits included, so
    // that the catalogue work of the process is serial. Recursive: catalogue work that the
    // body of a transaction calls into locks it again in the same thread.
    QMutex* getDbMutex();
    // Started and stopped around each try of a retried transaction.
    LoggerPerformanceCounter& getPerformanceCounter();

    void setWriterMode(bool writer);
    bool isWriter() const;
    bool isDropSchema() const;

    bool initialize();
    bool initialize(const QString& configFile);
    bool initialize(const QString& disk, const QString& path, const QString& dataFolder,
                    const QString& dbName, bool dropSchema);
    bool reinitialize();
    void initializeCompleted();
    void close();

    bool isInitialized() const;
    bool checkValidity();
    bool exists();
    bool exists_sqlite();
    bool exists_pgsql();

    // Runs SQLite's integrity check. Violated is every answer but the one row "ok", and a check
    // that cannot run because SQLite reports the file damaged; then it logs "Database integrity
    // violated" and reindexes. A check kept from running by anything else says nothing about
    // the catalogue and counts as healthy. False where no catalogue file exists.
    bool isIntegrityViolated();
    bool getLastIntegrityViolated() const;
    bool repairViolatedDatabase(int& argc, char** argv);
    bool reIndex();
    QZLOGGER_NO_EXPORT bool sqlite_createSchema(std::shared_ptr<qzdb::Database> db, bool dropSchema);

    // The process-id file: QZLOGGER_PID_FILE where set and not empty, else
    // /var/run/qzlogger.writer.pid. Taken anew on each access.
    static QString getProcessIdFile();
    int readProcessId();
    bool writeProcessId(int processId);
    bool getProcessId();
    bool hasProcessIdChanged();

    void checkUtc();
    void checkComplexHarmonics();
    bool hasComplexHarmonics() const;

    void setLoggerState(LoggerState state);
    LoggerState getLoggerState();
    void resetLoggerState();
    void setInitialLoggerState(LoggerState state);
    bool isLoggingEnabled() const;
    void setReadable(bool readable);

    void clearDisk(const QString& path);
    void deleteLoggerFolder();

    // Paths: the disk (mount point), path = disk + "/logger", the catalogue file and the data
    // folder below the path.
    QString getPath() const;
    QString getDiskName() const;
    QString getFullDbName() const;
    QString getDataFolder() const;
    double getDataBaseSize() const;

    // Log texts of the store. Routine (0) and trace (1) texts produce no output at all; 2 is
    // info, 3 warn, 4 error, 5 fatal, and errors and fatals count in TrackObject even where the
    // level filters them.
    void loggerMessage(const std::string& text, LoggerMessageType type);
    void setError(const QString& error);
    QString getLastError() const;
    QString getAndResetLastError();
    // Counts a catalogue exception, keeps what() + ": " + description as the last error and
    // logs it as fatal.
    QZLOGGER_NO_EXPORT void handleOdbException(const qzdb::Exception& exception, const std::string& description);
    void incrementExceptionCounter();
    int getExceptionCounter() const;

    void setDatabaseTimeout(int milliseconds);
    void setMmapSize(int size);
    // A diagnostic figure, not a balance: each opening of the catalogue adds one and its close
    // takes nothing off; the write engine adds one for each reopening of a data file, nothing for
    // the close behind every block, and takes one off where it closes a file that is open. No
    // decision may rest on it.
    void incrementOpenedFiles();
    void decrementOpenedFiles();
    int getNumberOfOpenedFiles() const;

    void logDatabaseState(DatabaseState state);

private:
    LoggerDb();
    ~LoggerDb() override;

    // Where initialize() looks for "database.xml", in order.
    static QStringList getConfigSearchDirectories();
    bool readParameters(const QString& configFile);
    // Creates the card client where there is none and brings up its interface to the service.
    bool initializeSDCard();
    // The steps of initialize(disk, path, dataFolder, dbName, dropSchema), in this order. Each
    // false ends the start. readCardLocation takes mount point and logger folder from the card;
    // a reader goes on without the card, the writer does not.
    bool readCardLocation();
    // Disk, path, data folder and catalogue name that the caller gives replace those of the
    // card; empty ones leave them.
    void takeGivenLocation(const QString& disk, const QString& path, const QString& dataFolder,
                           const QString& dbName, bool dropSchema);
    // False, with the state of a missing path, where the disk is no mounted card.
    bool checkMountedDisk();
    // Opens the catalogue file getFullDbName() through openCatalogue.
    void openCatalogueAtFullDbName();
    // Sets the initialised flag, the logger state and the readability from the outcome of the
    // open; false where no connection came of it.
    bool completeOpening();
    // Opens the catalogue of argv, checks its integrity, has the writer repair it where it is
    // violated or SQLite finds it damaged, and makes sure it holds the schema. Throws what the
    // catalogue raises otherwise.
    void openCatalogue(int& argc, char** argv);
    // SQLite's open flags of this process's role.
    int openFlags() const;
    void databaseExistsMessage(bool exists);
    int getFailedLoggerCount() const;
    void debugLoggerState(const char* label, LoggerState state);

    QMutex mDbMutex{QMutex::Recursive};
    mutable QMutex mConnectionMutex; // guards mDb, which getDb and setDb may see from any thread
    std::shared_ptr<qzdb::Database> mDb;
    LoggerPerformanceCounter mPerformanceCounter;

    mutable QMutex mErrorMutex; // guards mLastError
    QString mLastError;
    std::atomic<int> mExceptionCounter{0};
    std::atomic<int> mOpenedFiles{0};

    QString mDiskName;
    QString mPath;
    QString mDbName;
    QString mFileDir;
    bool mDropSchema = false;

    bool mWriter = false;
    std::atomic<bool> mInitialized{false};
    bool mLastIntegrityViolated = false;
    int mProcessId = -1;
    bool mHasComplexHarmonics = false;

    LoggerStateMachine mStateMachine;
    LoggerSDCard* mLoggerSDCard = nullptr;
};

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

    // The connection to the catalogue; empty while none is open. Any thread; both take the
    // connection mutex. The connection's type is the library's own, so these are not exported.
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

    // The role, chosen before initialize: it decides how the catalogue is opened and whether
    // this process may post the logger state and start and write loggers. Only one writer runs
    // on a store: the writer's initialize takes an advisory lock on "<process-id file>.lock",
    // which it holds until the process ends (a killed writer's lock goes with it) or it gives up
    // the role with setWriterMode(false).
    void setWriterMode(bool writer);
    bool isWriter() const;
    // Where this process is not the writer: sets the last error "this process is not the
    // writer of the store: <what> is refused; ..." and answers true. False in the writer.
    bool refuseNonWriter(const QString& what);
    bool isDropSchema() const;

    // Looks for "database.xml" in the configuration directories (the first that holds it wins),
    // reads it with readParameters, brings up the card client and goes on as the five-argument
    // form with what the file and the card say. False where no directory holds the file, which
    // is then named on standard error with the directories and in the last error ("no
    // configuration file database.xml in <directories>: ..."); a later step that fails is logged
    // as an error and keeps its own last error.
    bool initialize();
    // readParameters of the file, then as the five-argument form. A file that cannot be read gives
    // false and, where no error is kept yet (an empty name), the last error "Error reading
    // Parameter file".
    bool initialize(const QString& configFile);
    // Reads a storage configuration: hands its quotas to the memory manager and takes catalogue
    // name, data folder and dropSchema, and a target path where the file names one as the disk,
    // with path = disk + "/logger"; without one the disk stays as it was. False at once for an
    // empty name; false with the last error "invalid file content" where the file is not a
    // complete configuration, and then quotas, disk and names stay as they were.
    bool readParameters(const QString& configFile);
    // Brings the catalogue up. A process without a card client starts one here. The card
    // service must report the card mounted (a reader goes on without the service); non-empty arguments
    // override the disk and path it reports, and the disk must exist and be mounted. The writer writes the
    // process-id file, a reader reads it. path/dbName (cut to 99 bytes) is opened read-write by the writer,
    // read-only by a reader, checked, repaired by the writer where damaged and given the schema (anew with
    // dropSchema); the data folder becomes LoggerFileSystem's root. The writer posts each outcome in the
    // logger state. Every failure but the writer's process-id file leaves a last error that names the
    // object: no card client ("the card client could not start: ..."), no mounted card ("the card
    // service reports no mounted card (state <n>): ..."), a disk refused by the mount check ("the card
    // path <disk> does not exist: ..." or "... is neither a mount point nor below /var/log: ..."), and a
    // catalogue that cannot be opened ("cannot open the catalogue <file> (<SQLite's text>): <what to
    // do>", naming a missing folder), or "database = nullptr" where no connection came of the open.
    bool initialize(const QString& disk, const QString& path, const QString& dataFolder,
                    const QString& dbName, bool dropSchema);
    // initialize with the places of the last start and without dropping the schema; before any
    // start, initialize().
    bool reinitialize();
    // Posts "logger initialized", or "logger failed" where loggers failed to initialize.
    void initializeCompleted();
    // Drops the connection once a running transaction is done (it takes the database mutex),
    // clears the initialised flag and posts "disabled", a post that a reader is refused.
    void close();

    bool isInitialized() const;
    // A reader's check before each query: true while the process-id file names the writer that
    // this process last saw and the catalogue file exists. Another id (a restarted writer, which
    // may have rebuilt the catalogue) reopens everything through reinitialize and answers its
    // result; without an id in the file the answer is false and nothing changes. A false answer
    // leaves a last error: "no writer has started on this store (no process id in the file
    // <file>): start the writer first", "the catalogue <file> does not exist: ...", "the store is
    // not initialized (no catalogue name): ...", or the text of the failed reinitialize.
    bool checkValidity();
    // Whether the catalogue file exists; a missing one, or no name, is logged at info level.
    bool exists();
    bool exists_sqlite();
    // False: SQLite is the store's one back end.
    bool exists_pgsql();

    // Runs SQLite's integrity check. Violated is every answer but the one row "ok", and a check
    // that cannot run because SQLite reports the file damaged; then it logs "Database integrity
    // violated" and reindexes. A check kept from running by anything else says nothing about
    // the catalogue and counts as healthy. False where no catalogue file exists.
    bool isIntegrityViolated();
    // The answer of the check when the catalogue was last opened.
    bool getLastIntegrityViolated() const;
    // The writer's repair, under the database mutex: drops the connection, removes the catalogue
    // named after "--database" in argv with its journal, WAL and shared-memory files, and opens it
    // anew with an empty schema; every row of the old one is lost. False, with no connection left
    // and the failure kept as by handleOdbException, where the new catalogue cannot be made.
    bool repairViolatedDatabase(int& argc, char** argv);
    // REINDEX in a retried transaction; false where that failed.
    bool reIndex();
    // Makes the schema on db unless the catalogue exists and holds it already; dropSchema makes it
    // anew over the old tables. Takes the database mutex to make it. False for a null db.
    QZLOGGER_NO_EXPORT bool sqlite_createSchema(std::shared_ptr<qzdb::Database> db, bool dropSchema);

    // The process-id file: QZLOGGER_PID_FILE where set and not empty, else
    // /var/run/qzlogger.writer.pid. Taken anew on each access.
    static QString getProcessIdFile();
    // The number on the file's last line; -1 where the file is missing, unreadable or empty.
    int readProcessId();
    // Replaces the file's content with the decimal id, read-write for owner, user and group;
    // false where it cannot be written.
    bool writeProcessId(int processId);
    // The id that checkValidity compares with: the writer writes its own (false where it cannot),
    // a reader takes the one in the file (always true).
    bool getProcessId();
    // Whether the file now names another id than the one this process holds.
    bool hasProcessIdChanged();
    // The writer's lock on "<process-id file>.lock": true where this process holds it or takes
    // it now, and where the file cannot be opened at all (writing the id then fails and says so).
    // False where another process holds it: the last error names that process, the same text
    // is logged as an error, and this process is a reader from then on (setWriterMode(true) and
    // initialize again to try once more).
    bool acquireWriterLock();
    void releaseWriterLock();

    // On a clock that says 1970-01-01 (never set), keeps and logs "Current Utc is 1970" as an
    // error; the store runs all the same.
    void checkUtc();
    // Counts the catalogued measured types of data type COMPLEX for hasComplexHarmonics.
    void checkComplexHarmonics();
    bool hasComplexHarmonics() const;

    // The writer changes one group of the word (LoggerStateMachine::setState). In a reader the
    // call is refused: it is logged as an error and counted, and the word stays.
    void setLoggerState(LoggerState state);
    LoggerState getLoggerState();
    // Posts startup, the whole word 0.
    void resetLoggerState();
    // The writer posts the whole word at once; a reader's call is refused as setLoggerState's.
    void setInitialLoggerState(LoggerState state);
    // Whether the category "Logger.Db" lets debug lines through.
    bool isLoggingEnabled() const;
    // The writer posts readable or not readable and writes the shared readable flag, logging an
    // error where it cannot; a reader's call is refused as setLoggerState's.
    void setReadable(bool readable);

    // Runs "rm -r <path>" through /bin/sh, wildcards included; a non-zero exit is logged as a
    // warning. An empty path, "/" and paths that begin with "/*" or "/ " are refused, and the
    // last error then names the path: clearDisk: refused to remove "<path>".
    void clearDisk(const QString& path);
    // Removes the catalogue file and the data folder with its files. The connection is not closed
    // here: close first.
    void deleteLoggerFolder();

    // Paths: the disk (mount point), path = disk + "/logger", the catalogue file and the data
    // folder below the path.
    QString getPath() const;
    QString getDiskName() const;
    // The size of the logger partition as the card service reported it at the last initialize;
    // 0 where the service reports none.
    qint64 getSize() const;
    // Creates the card client where there is none and starts it once (LoggerSDCard::initialize):
    // from then on it follows the card service by itself. True where it runs.
    bool initializeSDCard();
    // The card service's client; null until initialize or initializeSDCard made one.
    QZLOGGER_NO_EXPORT LoggerSDCard* getLoggerSDCard() const;
    // Empty while no catalogue name is set.
    QString getFullDbName() const;
    QString getDataFolder() const;
    // Bytes of the catalogue file; 0 where there is none.
    //
    // The writer is the only process that changes the catalogue, and it does so only in
    // transactions: there the size is read once after each transaction (and after the catalogue
    // was opened) and kept, since the quota asks for it at every block a logger writes. A reader
    // reads it from the file each time.
    double getDataBaseSize() const;
    // Called at the end of every catalogue transaction of the process: the file may have grown.
    QZLOGGER_NO_EXPORT void catalogueChanged();

    // Log texts of the store. Routine (0) and trace (1) texts produce no output at all; 2 is
    // info, 3 warn, 4 error, 5 fatal, and errors and fatals count in TrackObject even where the
    // level filters them.
    void loggerMessage(const std::string& text, LoggerMessageType type);
    // The last error of the process's catalogue and read API, kept until replaced or fetched by
    // getAndResetLastError, which clears it. Any thread: the three take the error mutex.
    void setError(const QString& error);
    QString getLastError() const;
    QString getAndResetLastError();
    // Counts a catalogue exception, keeps what() + ": " + description as the last error and
    // logs it as fatal.
    QZLOGGER_NO_EXPORT void handleOdbException(const qzdb::Exception& exception,
                                               const std::string& description);
    void incrementExceptionCounter();
    int getExceptionCounter() const;

    // SQLite's busy time-out of the open connection. Without a connection a build with
    // assertions stops; otherwise nothing happens.
    void setDatabaseTimeout(int milliseconds);
    // PRAGMA mmap_size on the connection, under the database mutex. Without a connection an error
    // is logged; a failure is kept and counted as by handleOdbException.
    void setMmapSize(int size);
    // A diagnostic figure, not a balance: each opening of the catalogue adds one and its close
    // takes nothing off; the write engine adds one for each reopening of a data file, nothing for
    // the close behind every block, and takes one off where it closes a file that is open. No
    // decision may rest on it.
    void incrementOpenedFiles();
    void decrementOpenedFiles();
    int getNumberOfOpenedFiles() const;

    // The state's text at info level.
    void logDatabaseState(DatabaseState state);

private:
    LoggerDb();
    ~LoggerDb() override;

    // Where initialize() looks for "database.xml", in order and each once: /etc/qz,
    // /opt/qz/share/qz-core/defaults, the running program's folder, then Qt's configuration
    // locations (XDG_CONFIG_HOME, then XDG_CONFIG_DIRS).
    static QStringList getConfigSearchDirectories();
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
    void debugLoggerState(const char* label, LoggerState state);

    QMutex mDbMutex{QMutex::Recursive};
    mutable QMutex mConnectionMutex; // guards mDb, which getDb and setDb may see from any thread
    // The writer's catalogue size in bytes as last read; below 0 where it must be read anew.
    mutable std::atomic<double> mDataBaseSize{-1.0};
    std::shared_ptr<qzdb::Database> mDb;
    LoggerPerformanceCounter mPerformanceCounter;

    mutable QMutex mErrorMutex; // guards mLastError
    QMutex mStateMutex;         // serialises the writer's changes of the state word
    int mWriterLockFd = -1;     // the process-id file, locked, while this process is the writer
    QString mWriterLockPath;
    QString mLastError;
    std::atomic<int> mExceptionCounter{0};
    std::atomic<int> mOpenedFiles{0};

    QString mDiskName;
    QString mPath;
    qint64 mSize = 0;
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

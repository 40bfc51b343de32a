#include "LoggerDb.h"

#include "CatalogueMapping.h"
#include "CheckMountPath.h"
#include "Database.h"
#include "DatabaseExceptions.h"
#include "LoggerDebug.h"
#include "LoggerFileSystem.h"
#include "LoggerGlobalStates.h"
#include "LoggerRetriedTransaction.h"
#include "LoggerSDCard.h"
#include "LoggerSqlite.h"
#include "LoggerTestSeams.h"
#include "SchemaCatalog.h"
#include "Statement.h"
#include "Transaction.h"

#include <QDate>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutexLocker>
#include <QProcess>
#include <QStringList>
#include <QTextStream>

#include <cassert>
#include <cstdio>
#include <cstring>
#include <iostream>

#include <unistd.h>

namespace {

// Test seam: sees every message before it is filtered by type.
std::function<void(const std::string&, LoggerMessageType)> sLoggerMessageObserver;

constexpr const char* kConfigFileName = "database.xml";
constexpr const char* kDefaultProcessIdFile = "/var/run/qzlogger.writer.pid";
constexpr const char* kProcessIdFileVariable = "QZLOGGER_PID_FILE";

// The arguments that open the catalogue: argv[0] (empty), "--database", the file. Each lives in
// a buffer of this size; a longer file name is cut.
constexpr int kArgumentSize = 100;
constexpr int kArgumentCount = 3;
constexpr const char* kDefaultDatabaseArgument = "/var/log/odb_logger.db";

// SQLite's busy time-out of an opened catalogue.
constexpr int kBusyTimeoutMs = 10000;

std::function<QDate()>& todaySeam()
{
    static std::function<QDate()> today;
    return today;
}

QDate currentDate()
{
    const std::function<QDate()>& seam = todaySeam();
    return seam ? seam() : QDateTime::currentDateTimeUtc().date();
}

// Copies the text into a buffer of `size` bytes. A text that does not fit is cut: the last byte
// stays for the terminator.
void getArgument(const QString& text, char* buffer, int size)
{
    const QByteArray encoded = QFile::encodeName(text);
    std::strncpy(buffer, encoded.constData(), static_cast<size_t>(size));
    buffer[size - 1] = '\0';
}

// The file name that follows "--database"; empty where there is none.
std::string databaseArgument(int argc, char** argv)
{
    for (int i = 0; i + 1 < argc; ++i) {
        if (argv[i] != nullptr && std::strcmp(argv[i], "--database") == 0 && argv[i + 1] != nullptr)
            return argv[i + 1];
    }
    return std::string();
}

QString databaseStateText(DatabaseState state)
{
    switch (state) {
    case DATABASE_INITIALIZATION_STARTED: return QStringLiteral("Initialization started");
    case DATABASE_INITIALIZED: return QStringLiteral("Database successfully initialized");
    case DATABASE_NOT_INITIALIZED: return QStringLiteral("Database not initialized");
    case DATABASE_PATH_DOES_NOT_EXIST: return QStringLiteral("database path does not exist");
    }
    return QString();
}

// Creates the schema of the empty name on the connection, with a drop in front, in one
// transaction and with foreign keys off, so that dropping a table does not run into the keys of
// another.
void createSchemaNow(qzdb::Database& db)
{
    db.executeRaw("PRAGMA foreign_keys=OFF");
    {
        qzdb::Transaction transaction(db, false);
        qzdb::SchemaCatalog::createSchema(db, "", true);
        transaction.commit();
    }
    db.executeRaw("PRAGMA foreign_keys=ON");
}

} // namespace

void setCurrentDateForTesting(std::function<QDate()> today)
{
    todaySeam() = std::move(today);
}

LoggerDb::LoggerDb()
{
    initTrack(kCategoryDb);
}

LoggerDb::~LoggerDb() = default;

LoggerDb& LoggerDb::getInstance()
{
    static LoggerDb instance;
    return instance;
}

void LoggerDb::closeInstance()
{
    getInstance().close();
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

LoggerPerformanceCounter& LoggerDb::getPerformanceCounter()
{
    return mPerformanceCounter;
}

void LoggerDb::setWriterMode(bool writer)
{
    mWriter = writer;
}

bool LoggerDb::isWriter() const
{
    return mWriter;
}

bool LoggerDb::isDropSchema() const
{
    return mDropSchema;
}

// ---------------------------------------------------------------------------------------------
// Start-up

QStringList LoggerDb::getConfigSearchDirectories()
{
    // No directory is searched: initialize() without a file name finds no configuration and says
    // so on standard error.
    return QStringList();
}

bool LoggerDb::initialize()
{
    const QString name = QString::fromLatin1(kConfigFileName);
    QString configFile;
    const QStringList directories = getConfigSearchDirectories();
    for (const QString& directory : directories) {
        const QString candidate = QDir(directory).filePath(name);
        if (QFileInfo(candidate).isFile()) {
            configFile = candidate;
            break;
        }
    }
    if (configFile.isEmpty()) {
        std::cerr << "Configuration file not found: " << name.toStdString() << '\n'
                  << "Add it to one of these directories:" << '\n';
        for (const QString& directory : directories)
            std::cerr << "  " << directory.toStdString() << '\n';
        std::cerr.flush();
        return false;
    }
    if (!readParameters(configFile)) {
        loggerMessage("LoggerDb: Method readParameters() failed", LOGGER_MESSAGE_ERROR);
        return false;
    }
    if (!initializeSDCard()) {
        loggerMessage("LoggerDb: Method mLoggerSDCard.initialize() failed", LOGGER_MESSAGE_ERROR);
        return false;
    }
    if (!initialize(mDiskName, mPath, mFileDir, mDbName, mDropSchema)) {
        loggerMessage("LoggerDb: Method initialize() failed", LOGGER_MESSAGE_ERROR);
        return false;
    }
    return true;
}

bool LoggerDb::initialize(const QString& configFile)
{
    if (!readParameters(configFile)) {
        if (getLastError().isEmpty())
            setError(QStringLiteral("Error reading Parameter file"));
        return false;
    }
    return initialize(mDiskName, mPath, mFileDir, mDbName, mDropSchema);
}

bool LoggerDb::readParameters(const QString& configFile)
{
    if (configFile.isEmpty())
        return false;
    // No configuration file is read: every name gives false, and disk, path, data folder,
    // catalogue name and quotas keep their values.
    return false;
}

bool LoggerDb::initializeSDCard()
{
    if (mLoggerSDCard == nullptr)
        mLoggerSDCard = LoggerSDCard::createInstance();
    if (mLoggerSDCard == nullptr)
        return false;
    if (!mLoggerSDCard->isInitialized())
        mLoggerSDCard->initializeInterface();
    return mLoggerSDCard->isInitialized();
}

bool LoggerDb::initialize(const QString& disk, const QString& path, const QString& dataFolder,
                          const QString& dbName, bool dropSchema)
{
    try {
        if (mInitialized)
            loggerMessage("Database already initialized", LOGGER_MESSAGE_INFO);
        loggerMessage("LoggerDb::initialize(loggerFolder=" + path.toStdString() +
                          ", database=" + dbName.toStdString() + ", dropSchema=" + (dropSchema ? "1" : "0"),
                      LOGGER_MESSAGE_INFO);
        if (mWriter) {
            loggerMessage("Initialize: reset Logger State", LOGGER_MESSAGE_INFO);
            resetLoggerState();
        }
        checkUtc();

        if (!readCardLocation())
            return false;

        if (!getProcessId()) {
            loggerMessage("cannot write Process ID to File", LOGGER_MESSAGE_FATAL);
            return false;
        }

        takeGivenLocation(disk, path, dataFolder, dbName, dropSchema);
        if (!checkMountedDisk())
            return false;

        LoggerFileSystem::setPath(getDataFolder());
        openCatalogueAtFullDbName();
        return completeOpening();
    } catch (const qzdb::Exception& e) {
        loggerMessage(std::string("odb::exception=") + e.what(), LOGGER_MESSAGE_ERROR);
        logDatabaseState(DATABASE_NOT_INITIALIZED);
        setError(QString::fromStdString(e.what()));
        loggerMessage("initialize exception", LOGGER_MESSAGE_ERROR);
        mInitialized = false;
        setLoggerState(LOGGER_STATE_DB_FAILED);
        return false;
    }
}

// The card: its service reports whether it is mounted, where, and the logger's folder. A client
// made here has no one else to connect it to the service; one that exists keeps the connection
// its maker gave it, so that a reader that opens anew after each restart of the writer does not
// ask the bus again every time.
bool LoggerDb::readCardLocation()
{
    if (mLoggerSDCard == nullptr) {
        mLoggerSDCard = LoggerSDCard::createInstance();
        if (mLoggerSDCard != nullptr)
            mLoggerSDCard->initializeInterface();
    }
    if (mLoggerSDCard == nullptr || !mLoggerSDCard->isInitialized()) {
        if (mWriter) {
            loggerMessage("LoggerSDCard is not initialized", LOGGER_MESSAGE_INFO);
            setLoggerState(LOGGER_STATE_DB_FAILED);
            setReadable(false);
            return false;
        }
        loggerMessage("LoggerSDCard is not initialized", LOGGER_MESSAGE_WARN);
        return true;
    }
    if (mLoggerSDCard->readState() != SDC_MOUNTED) {
        loggerMessage("cannot initialize database because sdcard is not mounted", LOGGER_MESSAGE_INFO);
        return false;
    }
    if (mWriter)
        setLoggerState(LOGGER_STATE_SD_MOUNTED);
    mDiskName = mLoggerSDCard->readMountPoint();
    mPath = mLoggerSDCard->readLoggerPath();
    mLoggerSDCard->readLoggerSize();
    return true;
}

// What the caller names wins over what the card reported.
void LoggerDb::takeGivenLocation(const QString& disk, const QString& path, const QString& dataFolder,
                                 const QString& dbName, bool dropSchema)
{
    mDropSchema = dropSchema;
    if (!disk.isEmpty()) {
        mDiskName = disk;
        loggerMessage("Given mount point: " + disk.toStdString(), LOGGER_MESSAGE_INFO);
    }
    if (!path.isEmpty()) {
        mPath = path;
        loggerMessage("Given path: " + path.toStdString(), LOGGER_MESSAGE_INFO);
    }
    if (!dataFolder.isEmpty())
        mFileDir = dataFolder;
    if (!dbName.isEmpty())
        mDbName = dbName;
}

// Never write into the empty mount point of a card that is gone.
bool LoggerDb::checkMountedDisk()
{
    const CheckMountPath mountPath(mDiskName);
    if (QDir(mDiskName).exists() && mountPath.isMounted())
        return true;
    loggerMessage("mDatabasePath = " + mPath.toStdString(), LOGGER_MESSAGE_INFO);
    logDatabaseState(DATABASE_PATH_DOES_NOT_EXIST);
    if (mWriter)
        setLoggerState(LOGGER_STATE_DB_FAILED);
    return false;
}

void LoggerDb::openCatalogueAtFullDbName()
{
    char arguments[kArgumentCount][kArgumentSize] = {};
    char* argv[kArgumentCount] = {arguments[0], arguments[1], arguments[2]};
    int argc = kArgumentCount;
    getArgument(QStringLiteral("--database"), arguments[1], kArgumentSize);
    getArgument(QString::fromLatin1(kDefaultDatabaseArgument), arguments[2], kArgumentSize);
    getArgument(getFullDbName(), arguments[2], kArgumentSize);

    const bool existed = exists();
    databaseExistsMessage(existed);

    openCatalogue(argc, argv);

    // Counted at every opening, a reader's re-opening included; closing counts nothing.
    if (getDb() != nullptr) {
        setDatabaseTimeout(kBusyTimeoutMs);
        incrementOpenedFiles();
    }
}

bool LoggerDb::completeOpening()
{
    if (getDb() == nullptr) {
        setError(QStringLiteral("database = nullptr"));
        logDatabaseState(DATABASE_NOT_INITIALIZED);
        mInitialized = false;
        if (mWriter) {
            setLoggerState(LOGGER_STATE_DB_FAILED);
            setReadable(false);
        }
        return false;
    }

    mInitialized = true;
    logDatabaseState(DATABASE_INITIALIZED);
    if (mWriter) {
        setLoggerState(LOGGER_STATE_DB_INITIALIZED);
        setReadable(true);
    }
    checkComplexHarmonics();
    return true;
}

void LoggerDb::openCatalogue(int& argc, char** argv)
{
    try {
        auto db = std::make_shared<qzdb::Database>(databaseArgument(argc, argv), openFlags(), true);
        // From the first statement on: the check and the schema come before the timeout is set
        // again below, and another process's commit must not end a start for being busy.
        db->setBusyTimeout(kBusyTimeoutMs);
        setDb(std::move(db));
        mLastIntegrityViolated = isIntegrityViolated();
        if (mLastIntegrityViolated && mWriter)
            repairViolatedDatabase(argc, argv);
        // A repair that failed has left no connection: there is nothing to make the schema in.
        if (getDb() != nullptr)
            sqlite_createSchema(getDb(), mDropSchema);
    } catch (const qzdb::DatabaseException& e) {
        // SQLite reads the file only when it must: damage that the check did not reach (or that
        // kept it from running for another reason) may show first while the schema is looked
        // up or made. The writer repairs it then as after a failed check; anything else, and
        // every failure in a reader, ends the start.
        if (!mWriter || !e.reportsDamagedFile())
            throw;
        loggerMessage(std::string("Database damaged: ") + e.what(), LOGGER_MESSAGE_FATAL);
        mLastIntegrityViolated = true;
        if (repairViolatedDatabase(argc, argv))
            sqlite_createSchema(getDb(), mDropSchema);
    }
}

int LoggerDb::openFlags() const
{
    return mWriter ? qzdb::Database::kOpenReadWriteCreate : qzdb::Database::kOpenReadOnly;
}

void LoggerDb::databaseExistsMessage(bool exists)
{
    loggerMessage("Database: " + mDbName.toStdString() + (exists ? " exists" : " doesn't exist"),
                  LOGGER_MESSAGE_INFO);
}

bool LoggerDb::reinitialize()
{
    if (!mPath.isEmpty())
        return initialize(mDiskName, mPath, mFileDir, mDbName, false);
    loggerMessage("reinitializeing database, initialize all", LOGGER_MESSAGE_INFO);
    return initialize();
}

int LoggerDb::getFailedLoggerCount() const
{
    // Failed loggers are not counted here: initializeCompleted always posts the initialized
    // state.
    return 0;
}

void LoggerDb::initializeCompleted()
{
    const int failed = getFailedLoggerCount();
    if (failed == 0) {
        setLoggerState(LOGGER_STATE_LOGGER_INITIALIZED);
        return;
    }
    loggerMessage("failed loggers: " + std::to_string(failed), LOGGER_MESSAGE_ERROR);
    setLoggerState(LOGGER_STATE_LOGGER_FAILED);
}

void LoggerDb::close()
{
    // A running transaction keeps the connection until it is done.
    QMutexLocker locker(&mDbMutex);
    mInitialized = false;
    setDb(nullptr);
    // In a reader this is refused, logged and counted as an error like every attempt of a
    // reader to set the state.
    setLoggerState(LOGGER_STATE_DISABLED);
    loggerMessage("Database closed", LOGGER_MESSAGE_INFO);
}

bool LoggerDb::isInitialized() const
{
    return mInitialized;
}

// ---------------------------------------------------------------------------------------------
// Existence, validity, integrity

bool LoggerDb::checkValidity()
{
    exists();
    const int processId = readProcessId();
    if (processId == mProcessId)
        return exists();
    // The writer restarted, and may have rebuilt the catalogue; without an id in the file there
    // is no writer whose catalogue could be trusted.
    if (processId < 0)
        return false;
    if (!reinitialize())
        return false;
    mProcessId = processId;
    return true;
}

bool LoggerDb::exists()
{
    return exists_sqlite();
}

bool LoggerDb::exists_sqlite()
{
    const QString name = getFullDbName();
    if (name.isEmpty() || !QFileInfo::exists(name)) {
        loggerMessage("Database File doesn't exist", LOGGER_MESSAGE_INFO);
        return false;
    }
    return true;
}

bool LoggerDb::exists_pgsql()
{
    // The store has one back end, SQLite.
    return false;
}

bool LoggerDb::isIntegrityViolated()
{
    if (!exists())
        return false;
    unsigned long long rows = 0;
    bool onlyOk = false;
    bool finished = false;
    std::string failure;
    bool damaged = false;
    retriedTransaction("integrity_check", [&]() {
        rows = 0;
        onlyOk = true;
        finished = false;
        failure.clear();
        damaged = false;
        const std::shared_ptr<qzdb::Database> db = getDb();
        if (db == nullptr) {
            loggerMessage("connection_ptr is null", LOGGER_MESSAGE_ERROR);
            return false;
        }
        try {
            qzdb::Statement check(*db, "PRAGMA integrity_check;");
            while (check.step()) {
                ++rows;
                onlyOk = onlyOk && check.columnString(0) == "ok";
            }
            finished = true;
        } catch (const qzdb::Exception& e) {
            // The frame reports and counts it as any other failure; the check keeps the reason.
            failure = e.what();
            const auto* sqliteError = dynamic_cast<const qzdb::DatabaseException*>(&e);
            damaged = sqliteError != nullptr && sqliteError->reportsDamagedFile();
            throw;
        }
        return true;
    });
    if (finished) {
        char text[32];
        std::snprintf(text, sizeof text, "%llu", rows);
        loggerMessage(std::string("integrity result : ") + text, LOGGER_MESSAGE_INFO);
        // A healthy catalogue answers with exactly the one row "ok"; every other row names a
        // problem, even when it is the only one.
        if (rows == 1 && onlyOk)
            return false;
    } else {
        loggerMessage("integrity check could not run: " +
                          (failure.empty() ? std::string("no answer") : failure),
                      LOGGER_MESSAGE_ERROR);
        // A catalogue that SQLite calls damaged is violated all the more for the check failing
        // on it. A check kept from running by anything else (a full card, an I/O error, a busy
        // file) says nothing about the catalogue, which then stays as it is.
        if (!damaged)
            return false;
    }
    loggerMessage("Database integrity violated", LOGGER_MESSAGE_FATAL);
    reIndex();
    return true;
}

bool LoggerDb::getLastIntegrityViolated() const
{
    return mLastIntegrityViolated;
}

bool LoggerDb::repairViolatedDatabase(int& argc, char** argv)
{
    loggerMessage("Repair Violated Database...", LOGGER_MESSAGE_INFO);
    const std::string file = databaseArgument(argc, argv);
    QMutexLocker locker(&mDbMutex);
    try {
        setDb(nullptr);
        // The journal of the old file must not be played back into the new one.
        for (const char* suffix : {"", "-journal", "-wal", "-shm"}) {
            const QString name = QFile::decodeName(QByteArray::fromStdString(file + suffix));
            if (QFile::exists(name) && !QFile::remove(name))
                loggerMessage("Repair: cannot remove " + file + suffix, LOGGER_MESSAGE_ERROR);
        }
        auto db = std::make_shared<qzdb::Database>(file, openFlags(), true);
        db->setBusyTimeout(kBusyTimeoutMs);
        createSchemaNow(*db);
        setDb(db);
        return true;
    } catch (const qzdb::Exception& e) {
        handleOdbException(e, "repairViolatedDatabase");
        return false;
    }
}

bool LoggerDb::reIndex()
{
    return retriedTransaction("reIndex", []() {
        LoggerSqlite().reIndex();
        return true;
    });
}

bool LoggerDb::sqlite_createSchema(std::shared_ptr<qzdb::Database> db, bool dropSchema)
{
    // A catalogue that holds the schema keeps it, unless the caller wants it anew. A file that
    // SQLite has just made, or one left empty, gets the schema.
    if (exists() && !dropSchema && db != nullptr && db->tableExists("schema_version"))
        return true;
    assert(db != nullptr && "c != nullptr");
    if (db == nullptr)
        return false;
    QMutexLocker locker(&mDbMutex);
    createSchemaNow(*db);
    return true;
}

// ---------------------------------------------------------------------------------------------
// Process-id file

QString LoggerDb::getProcessIdFile()
{
    const QString file = qEnvironmentVariable(kProcessIdFileVariable);
    return file.isEmpty() ? QString::fromLatin1(kDefaultProcessIdFile) : file;
}

int LoggerDb::readProcessId()
{
    QFile file(getProcessIdFile());
    if (!file.exists() || !file.open(QIODevice::ReadOnly | QIODevice::Text))
        return -1;
    int processId = -1;
    QTextStream stream(&file);
    while (!stream.atEnd()) {
        const QString line = stream.readLine();
        processId = line.trimmed().toInt(nullptr, 10);
    }
    return processId;
}

bool LoggerDb::writeProcessId(int processId)
{
    const QFileDevice::Permissions permissions = QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                                 QFileDevice::ReadUser | QFileDevice::WriteUser |
                                                 QFileDevice::ReadGroup | QFileDevice::WriteGroup;
    QFile file(getProcessIdFile());
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text))
        return false;
    file.setPermissions(permissions);
    const QByteArray text = QByteArray::number(processId);
    const bool written = file.write(text) == text.size();
    file.close();
    return written;
}

bool LoggerDb::getProcessId()
{
    if (mWriter) {
        mProcessId = static_cast<int>(::getpid());
        return writeProcessId(mProcessId);
    }
    mProcessId = readProcessId();
    return true;
}

bool LoggerDb::hasProcessIdChanged()
{
    return readProcessId() != mProcessId;
}

// ---------------------------------------------------------------------------------------------
// Clock and catalogue content

void LoggerDb::checkUtc()
{
    // A device without a battery-backed clock comes up in 1970 until the time is set; the store
    // runs all the same, but its time stamps are worthless.
    if (QDate(1970, 1, 1).daysTo(currentDate()) == 0) {
        setError(QStringLiteral("Current Utc is 1970"));
        loggerMessage("Current Utc is 1970", LOGGER_MESSAGE_ERROR);
    }
}

void LoggerDb::checkComplexHarmonics()
{
    int count = 0;
    retriedTransaction("countMeasuredTypes", [&count]() {
        count = qzdb::countByDataType<DefnMeasureType>(LoggerDataType::COMPLEX);
        return true;
    });
    mHasComplexHarmonics = count > 0;
    loggerMessage(mHasComplexHarmonics ? "Geraet hat komplexe Harmonische"
                                       : "Geraet hat keine komplexe Harmonische",
                  LOGGER_MESSAGE_INFO);
}

bool LoggerDb::hasComplexHarmonics() const
{
    return mHasComplexHarmonics;
}

// ---------------------------------------------------------------------------------------------
// Logger state

void LoggerDb::setLoggerState(LoggerState state)
{
    if (!mWriter) {
        loggerMessage("Versucht Logger State zu setzen : " + std::to_string(state), LOGGER_MESSAGE_INFO);
        loggerMessage(
            "Nur der Writer darf den Logger State vorgeben! Der Reader muss ihn vom GloablState beziehen!",
            LOGGER_MESSAGE_ERROR);
        return;
    }
    mStateMachine.setState(state);
    const LoggerState current = mStateMachine.getState();
    // The word reaches other processes through the shared state file alone; the card client does
    // not publish it on the bus.
    if (mLoggerSDCard == nullptr)
        loggerMessage("mLoggerSDCard==nullptr", LOGGER_MESSAGE_ERROR);
    debugLoggerState("setLoggerState", current);
}

void LoggerDb::debugLoggerState(const char* label, LoggerState state)
{
    if (!isInfoEnabled())
        return;
    trackInfo(QString::fromLatin1(label) + QStringLiteral(": 0x") + QString::number(state, 16) +
              QStringLiteral(" ") + LoggerDebug::getLoggerStateString(state));
}

LoggerState LoggerDb::getLoggerState()
{
    if (mWriter)
        return mStateMachine.getState();
    return LoggerGlobalStates::getInstance().getLoggerState();
}

void LoggerDb::resetLoggerState()
{
    setLoggerState(LOGGER_STATE_STARTUP);
}

void LoggerDb::setInitialLoggerState(LoggerState state)
{
    // The whole word at once, not group by group: the state a writer starts from.
    if (!mWriter) {
        setLoggerState(state);
        return;
    }
    LoggerGlobalStates::getInstance().setLoggerState(state);
    debugLoggerState("setInitialLoggerState", mStateMachine.getState());
}

bool LoggerDb::isLoggingEnabled() const
{
    return isDebugEnabled();
}

void LoggerDb::setReadable(bool readable)
{
    if (!mWriter) {
        setLoggerState(readable ? LOGGER_STATE_LOGGERS_READABLE : LOGGER_STATE_LOGGERS_NOT_READABLE);
        return;
    }
    setLoggerState(readable ? LOGGER_STATE_LOGGERS_READABLE : LOGGER_STATE_LOGGERS_NOT_READABLE);
    if (!LoggerGlobalStates::getInstance().setReadable(readable))
        loggerMessage("Cannot set readable flag", LOGGER_MESSAGE_ERROR);
}

// ---------------------------------------------------------------------------------------------
// Files

void LoggerDb::clearDisk(const QString& path)
{
    // The text goes to the shell as it is, wildcards included. An empty path or the root would
    // make the command remove the wrong things, so those are refused.
    const QString trimmed = path.trimmed();
    if (trimmed.isEmpty() || trimmed == QLatin1String("/") || trimmed.startsWith(QLatin1String("/*")) ||
        trimmed.startsWith(QLatin1String("/ "))) {
        setError(QStringLiteral("clearDisk: refused to remove \"%1\"").arg(path));
        loggerMessage("clearDisk: refused to remove \"" + path.toStdString() + "\"", LOGGER_MESSAGE_ERROR);
        return;
    }
    const QString command = QStringLiteral("rm -r  ") + path;
    const int exitCode = QProcess::execute(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), command});
    if (exitCode != 0)
        loggerMessage("clearDisk: \"" + command.toStdString() + "\" ended with " + std::to_string(exitCode),
                      LOGGER_MESSAGE_WARN);
}

void LoggerDb::deleteLoggerFolder()
{
    const QString database = getFullDbName();
    if (!database.isEmpty())
        QFile::remove(database);
    if (!mPath.isEmpty() && !mFileDir.isEmpty())
        QDir(mPath + QLatin1Char('/') + mFileDir).removeRecursively();
}

QString LoggerDb::getPath() const
{
    return mPath;
}

QString LoggerDb::getDiskName() const
{
    return mDiskName;
}

QString LoggerDb::getFullDbName() const
{
    if (mDbName.isEmpty())
        return QString();
    return mPath + QLatin1Char('/') + mDbName;
}

QString LoggerDb::getDataFolder() const
{
    return mPath + QLatin1Char('/') + mFileDir;
}

double LoggerDb::getDataBaseSize() const
{
    return static_cast<double>(QFileInfo(getFullDbName()).size());
}

// ---------------------------------------------------------------------------------------------
// Messages and errors

void setLoggerMessageObserverForTesting(std::function<void(const std::string&, LoggerMessageType)> observer)
{
    sLoggerMessageObserver = std::move(observer);
}

void LoggerDb::loggerMessage(const std::string& text, LoggerMessageType type)
{
    if (sLoggerMessageObserver) {
        sLoggerMessageObserver(text, type);
    }
    switch (type) {
    case LOGGER_MESSAGE_ROUTINE:
    case LOGGER_MESSAGE_TRACE: break;
    case LOGGER_MESSAGE_INFO: TRACK_INFO(*this, QString::fromStdString(text)); break;
    case LOGGER_MESSAGE_WARN: TRACK_WARN(*this, QString::fromStdString(text)); break;
    case LOGGER_MESSAGE_ERROR: TRACK_ERROR(*this, QString::fromStdString(text)); break;
    case LOGGER_MESSAGE_FATAL: TRACK_FATAL(*this, QString::fromStdString(text)); break;
    }
}

void LoggerDb::setError(const QString& error)
{
    QMutexLocker locker(&mErrorMutex);
    mLastError = error;
}

QString LoggerDb::getLastError() const
{
    QMutexLocker locker(&mErrorMutex);
    return mLastError;
}

QString LoggerDb::getAndResetLastError()
{
    QMutexLocker locker(&mErrorMutex);
    QString error;
    error.swap(mLastError);
    return error;
}

void LoggerDb::handleOdbException(const qzdb::Exception& exception, const std::string& description)
{
    const std::string text = std::string(exception.what()) + ": " + description;
    incrementExceptionCounter();
    setError(QString::fromStdString(text));
    loggerMessage(text, LOGGER_MESSAGE_FATAL);
}

void LoggerDb::incrementExceptionCounter()
{
    ++mExceptionCounter;
}

int LoggerDb::getExceptionCounter() const
{
    return mExceptionCounter.load();
}

void LoggerDb::logDatabaseState(DatabaseState state)
{
    loggerMessage(databaseStateText(state).toStdString(), LOGGER_MESSAGE_INFO);
}

// ---------------------------------------------------------------------------------------------
// Connection settings and counters

void LoggerDb::setDatabaseTimeout(int milliseconds)
{
    const std::shared_ptr<qzdb::Database> conn = getDb();
    assert(conn != nullptr && "conn != nullptr");
    if (conn == nullptr)
        return;
    conn->setBusyTimeout(milliseconds);
}

void LoggerDb::setMmapSize(int size)
{
    QMutexLocker locker(&mDbMutex);
    const std::shared_ptr<qzdb::Database> conn = getDb();
    if (conn == nullptr) {
        loggerMessage("connection_ptr is null", LOGGER_MESSAGE_ERROR);
        return;
    }
    try {
        // A pragma takes no bound value; the size goes in as a formatted integer.
        conn->executeRaw("PRAGMA mmap_size=" + std::to_string(size));
    } catch (const qzdb::Exception& e) {
        handleOdbException(e, "setMmapSize");
    }
}

void LoggerDb::incrementOpenedFiles()
{
    ++mOpenedFiles;
}

void LoggerDb::decrementOpenedFiles()
{
    --mOpenedFiles;
}

int LoggerDb::getNumberOfOpenedFiles() const
{
    return mOpenedFiles.load();
}

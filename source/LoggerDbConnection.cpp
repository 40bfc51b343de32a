// Bringing the catalogue up and down: the start from a configuration or from the card, the
// checks of the mount point, the opening of the catalogue file with its integrity check, the
// writer's repair and the schema, the reader's check of validity, and the close. The rest of
// LoggerDb is in LoggerDb.cpp.

#include "LoggerDb.h"

#include "CheckMountPath.h"
#include "Database.h"
#include "DatabaseExceptions.h"
#include "LoggerDatabaseInfos.h"
#include "LoggerFileSystem.h"
#include "LoggerList.h"
#include "LoggerMemoryInterface.h"
#include "LoggerParser.h"
#include "LoggerRetriedTransaction.h"
#include "LoggerSDCard.h"
#include "LoggerSqlite.h"
#include "SchemaCatalog.h"
#include "Statement.h"
#include "Transaction.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutexLocker>
#include <QStandardPaths>
#include <QStringList>

#include <cassert>
#include <cstdio>
#include <cstring>
#include <iostream>

namespace {

constexpr const char* kConfigFileName = "database.xml";

// The arguments that open the catalogue: argv[0] (empty), "--database", the file. Each lives in
// a buffer of this size; a longer file name is cut.
constexpr int kArgumentSize = 100;
constexpr int kArgumentCount = 3;
constexpr const char* kDefaultDatabaseArgument = "/var/log/odb_logger.db";

// SQLite's busy time-out of an opened catalogue.
constexpr int kBusyTimeoutMs = 10000;

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

// Texts of the last error: each names the object and says what to do.

QString cardClientNotStartedText()
{
    return QStringLiteral("the card client could not start: the card service does not answer on the "
                          "system bus; start the card service, then initialize again");
}

QString noWriterText()
{
    return QStringLiteral("no writer has started on this store (no process id in the file %1): start "
                          "the writer first")
        .arg(LoggerDb::getProcessIdFile());
}

QString missingCatalogueText(const QString& catalogue)
{
    if (catalogue.isEmpty())
        return QStringLiteral("the store is not initialized (no catalogue name): initialize it with a "
                              "configuration first");
    return QStringLiteral("the catalogue %1 does not exist: start the writer, which makes it, or check "
                          "the card service's logger path")
        .arg(catalogue);
}

QString catalogueOpenFailedText(const QString& catalogue, bool writer, const QString& reason)
{
    const QString folder = QFileInfo(catalogue).absolutePath();
    QString advice;
    if (catalogue.isEmpty())
        advice = QStringLiteral("no catalogue name is set; give dbName in the configuration");
    else if (!QFileInfo(folder).isDir())
        advice = QStringLiteral("the folder %1 does not exist; create it or check the card service's "
                                "logger path")
                     .arg(folder);
    else if (!writer && !QFileInfo::exists(catalogue))
        advice = QStringLiteral("the file does not exist; start the writer first, which makes it (a process "
                                "meant to be the writer calls setWriterMode(true) before initialize())");
    else
        advice = QStringLiteral("check the file's permissions and the card");
    return QStringLiteral("cannot open the catalogue %1 (%2): %3").arg(catalogue, reason, advice);
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Start-up

QStringList LoggerDb::getConfigSearchDirectories()
{
    // The system's own file first, then the device's defaults, then one beside the program, then
    // the user's and the desktop's configuration folders (XDG_CONFIG_HOME, XDG_CONFIG_DIRS).
    QStringList candidates{QStringLiteral("/etc/qz"), QStringLiteral("/opt/qz/share/qz-core/defaults")};
    const QString program = QFile::symLinkTarget(QStringLiteral("/proc/self/exe"));
    if (!program.isEmpty())
        candidates.append(QFileInfo(program).absolutePath());
    candidates.append(QStandardPaths::standardLocations(QStandardPaths::ConfigLocation));

    QStringList directories;
    for (const QString& candidate : candidates) {
        if (!candidate.isEmpty())
            directories.append(QDir::cleanPath(candidate));
    }
    directories.removeDuplicates();
    return directories;
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
        setError(QStringLiteral("no configuration file %1 in %2: add it to one of these directories")
                     .arg(name, directories.join(QStringLiteral(", "))));
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
    LoggerParser parser;
    LoggerDatabaseInfos infos;
    if (!parser.loadFile(configFile, infos)) {
        setError(QStringLiteral("invalid file content"));
        return false;
    }
    parser.setMemoryManager(infos);
    // Without a target path the card service names the mount point at the start.
    if (!infos.targetPath.isEmpty()) {
        mDiskName = infos.targetPath;
        mPath = mDiskName + QStringLiteral("/logger");
    }
    mDbName = infos.dbName;
    mFileDir = infos.fileDir;
    mDropSchema = infos.dropSchema;
    return true;
}

bool LoggerDb::initializeSDCard()
{
    if (mLoggerSDCard == nullptr)
        mLoggerSDCard = LoggerSDCard::createInstance();
    if (mLoggerSDCard == nullptr) {
        setError(cardClientNotStartedText());
        return false;
    }
    // The client is started once; it follows the service from then on by itself.
    if (mLoggerSDCard->isStarted())
        return true;
    if (!mLoggerSDCard->initialize()) {
        setError(cardClientNotStartedText());
        return false;
    }
    return true;
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
        // A second writer stops here, before it posts anything into the first one's state.
        if (mWriter && !acquireWriterLock())
            return false;
        if (mWriter) {
            loggerMessage("Initialize: reset Logger State", LOGGER_MESSAGE_INFO);
            resetLoggerState();
        }
        checkUtc();

        // initialize() and reinitialize() hand in this object's own members, which
        // readCardLocation overwrites with what the card reports: what the caller gave is kept
        // aside first, so that it still wins over the card.
        const QString givenDisk = disk;
        const QString givenPath = path;
        const QString givenDataFolder = dataFolder;
        const QString givenDbName = dbName;
        if (!readCardLocation())
            return false;

        if (!getProcessId()) {
            loggerMessage("cannot write Process ID to File", LOGGER_MESSAGE_FATAL);
            return false;
        }

        takeGivenLocation(givenDisk, givenPath, givenDataFolder, givenDbName, dropSchema);
        if (!checkMountedDisk())
            return false;

        LoggerFileSystem::setPath(getDataFolder());
        openCatalogueAtFullDbName();
        return completeOpening();
    } catch (const qzdb::Exception& e) {
        loggerMessage(std::string("odb::exception=") + e.what(), LOGGER_MESSAGE_ERROR);
        logDatabaseState(DATABASE_NOT_INITIALIZED);
        setError(catalogueOpenFailedText(getFullDbName(), mWriter, QString::fromStdString(e.what())));
        loggerMessage("initialize exception", LOGGER_MESSAGE_ERROR);
        mInitialized = false;
        setLoggerState(LOGGER_STATE_DB_FAILED);
        return false;
    }
}

// The card: its service reports whether it is mounted, where, and the logger's folder. A client
// made here has no one else to start it, so it is started here and follows the card from then
// on; one that exists keeps the connection its maker gave it, so that a reader that opens anew
// after each restart of the writer does not ask the bus again every time.
bool LoggerDb::readCardLocation()
{
    if (mLoggerSDCard == nullptr) {
        mLoggerSDCard = LoggerSDCard::createInstance();
        if (mLoggerSDCard != nullptr)
            mLoggerSDCard->initialize();
    }
    if (mLoggerSDCard == nullptr || !mLoggerSDCard->isInitialized()) {
        if (mWriter) {
            setError(cardClientNotStartedText());
            loggerMessage("LoggerSDCard is not initialized", LOGGER_MESSAGE_INFO);
            setLoggerState(LOGGER_STATE_DB_FAILED);
            setReadable(false);
            return false;
        }
        loggerMessage("LoggerSDCard is not initialized", LOGGER_MESSAGE_WARN);
        return true;
    }
    if (mLoggerSDCard->readState() != SDC_MOUNTED) {
        setError(QStringLiteral("the card service reports no mounted card (state %1): insert the card "
                                "and wait until the service reports it mounted, then initialize again")
                     .arg(static_cast<int>(mLoggerSDCard->getSdState())));
        loggerMessage("cannot initialize database because sdcard is not mounted", LOGGER_MESSAGE_INFO);
        return false;
    }
    if (mWriter)
        setLoggerState(LOGGER_STATE_SD_MOUNTED);
    mDiskName = mLoggerSDCard->readMountPoint();
    mPath = mLoggerSDCard->readLoggerPath();
    mSize = mLoggerSDCard->readLoggerSize();
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
    const bool folderExists = QDir(mDiskName).exists();
    if (folderExists && mountPath.isMounted())
        return true;
    if (mDiskName.isEmpty())
        setError(QStringLiteral("no card path is known: give one in the configuration's targetPath or "
                                "start the card service, which reports its mount point"));
    else if (!folderExists)
        setError(QStringLiteral("the card path %1 does not exist: mount the card there or give a path "
                                "below /var/log")
                     .arg(mDiskName));
    else
        setError(QStringLiteral("the card path %1 is neither a mount point nor below /var/log: mount the "
                                "card there or give a path below /var/log")
                     .arg(mDiskName));
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
    // The schema may have been made or repaired since the connection was set.
    catalogueChanged();
    // The accounts of the quota come from the catalogue just opened and the files it names.
    LoggerMemoryInterface().initialize(getDiskName());
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

void LoggerDb::initializeCompleted()
{
    const int failed = LoggerList::getInstance()->getFailedLoggers();
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
    if (processId == mProcessId) {
        const bool present = exists();
        if (!present)
            setError(processId < 0 ? noWriterText() : missingCatalogueText(getFullDbName()));
        return present;
    }
    // The writer restarted, and may have rebuilt the catalogue; without an id in the file there
    // is no writer whose catalogue could be trusted.
    if (processId < 0) {
        setError(noWriterText());
        return false;
    }
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

// The process-wide LoggerDb apart from bringing the catalogue up and down (which is in
// LoggerDbConnection.cpp): the connection and its mutexes, the process-id file, the clock check,
// the logger state, the folders, the log texts and errors, and the connection's settings.

#include "LoggerDb.h"

#include "CatalogueMapping.h"
#include "Database.h"
#include "DatabaseExceptions.h"
#include "LoggerDebug.h"
#include "LoggerGlobalStates.h"
#include "LoggerHooks.h"
#include "LoggerRetriedTransaction.h"
#include "LoggerSDCard.h"

#include <QDate>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutexLocker>
#include <QProcess>
#include <QTextStream>

#include <cassert>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace {

constexpr const char* kDefaultProcessIdFile = "/var/run/qzlogger.writer.pid";
constexpr const char* kProcessIdFileVariable = "QZLOGGER_PID_FILE";

QDate currentDate()
{
    const std::function<QDate()>& seam = LoggerHooks::today();
    return seam ? seam() : QDateTime::currentDateTimeUtc().date();
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

} // namespace

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
    catalogueChanged();
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
    if (!writer)
        releaseWriterLock();
}

bool LoggerDb::refuseNonWriter(const QString& what)
{
    if (mWriter)
        return false;
    setError(
        QStringLiteral("this process is not the writer of the store: %1 is refused; the one process that "
                       "writes calls DatabaseInterface::setWriterMode(true) before initialize()")
            .arg(what));
    return true;
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

// The lock lies in a file of its own beside the process-id file, "<process-id file>.lock", so
// that the process-id file keeps its meaning (none before a writer wrote its id). flock rather
// than a lock of fcntl: it belongs to this open file and goes with the process however it ends.
// The holder writes its id into the lock file, so that a refused writer can name it. The
// descriptor is not handed to child programs.
bool LoggerDb::acquireWriterLock()
{
    const QString file = getProcessIdFile() + QStringLiteral(".lock");
    if (mWriterLockFd >= 0 && mWriterLockPath == file)
        return true;
    releaseWriterLock();
    const int fd = ::open(QFile::encodeName(file).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0660);
    if (fd < 0)
        return true;
    int locked;
    do {
        locked = ::flock(fd, LOCK_EX | LOCK_NB);
    } while (locked != 0 && errno == EINTR);
    if (locked != 0 && errno == EWOULDBLOCK) {
        char holder[32] = {};
        const ssize_t got = ::pread(fd, holder, sizeof(holder) - 1, 0);
        ::close(fd);
        const QString holderId = got > 0 ? QString::fromLatin1(holder).trimmed() : QStringLiteral("?");
        const QString text =
            QStringLiteral("the store is held by the writer process %1 (it holds the lock on %2): only one "
                           "writer runs on a store; stop that process first, or start this one as a reader")
                .arg(holderId, file);
        setError(text);
        loggerMessage(text.toStdString(), LOGGER_MESSAGE_ERROR);
        // The refused process goes on as a reader: nothing it does later may post into the
        // first writer's state or write beside it.
        mWriter = false;
        return false;
    }
    const QByteArray id = QByteArray::number(static_cast<qint64>(::getpid())) + '\n';
    if (::ftruncate(fd, 0) != 0 ||
        ::pwrite(fd, id.constData(), static_cast<size_t>(id.size()), 0) != id.size())
        loggerMessage("cannot write the writer's id into " + file.toStdString(), LOGGER_MESSAGE_WARN);
    mWriterLockFd = fd;
    mWriterLockPath = file;
    return true;
}

void LoggerDb::releaseWriterLock()
{
    if (mWriterLockFd < 0)
        return;
    ::close(mWriterLockFd);
    mWriterLockFd = -1;
    mWriterLockPath.clear();
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
    LoggerState current;
    {
        // The card's thread and the writer's own threads post side by side; each change of a
        // group reads the word and writes it back whole.
        QMutexLocker locker(&mStateMutex);
        mStateMachine.setState(state);
        current = mStateMachine.getState();
    }
    // The card client hands the word on to the receivers registered in this process; other
    // processes read it from the shared state file.
    if (mLoggerSDCard == nullptr)
        loggerMessage("mLoggerSDCard==nullptr", LOGGER_MESSAGE_ERROR);
    else
        mLoggerSDCard->emitState(current);
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
    {
        QMutexLocker locker(&mStateMutex);
        LoggerGlobalStates::getInstance().setLoggerState(state);
    }
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

qint64 LoggerDb::getSize() const
{
    return mSize;
}

LoggerSDCard* LoggerDb::getLoggerSDCard() const
{
    return mLoggerSDCard;
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
    if (!mWriter)
        return static_cast<double>(QFileInfo(getFullDbName()).size());
    double size = mDataBaseSize.load();
    if (size < 0) {
        size = static_cast<double>(QFileInfo(getFullDbName()).size());
        mDataBaseSize.store(size);
    }
    return size;
}

void LoggerDb::catalogueChanged()
{
    mDataBaseSize.store(-1.0);
}

// ---------------------------------------------------------------------------------------------
// Messages and errors

void LoggerDb::loggerMessage(const std::string& text, LoggerMessageType type)
{
    const auto& observer = LoggerHooks::loggerMessage();
    if (observer) {
        observer(text, type);
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

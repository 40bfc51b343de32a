#include "LoggerList.h"

#include "LoggerBase.h"
#include "LoggerDb.h"
#include "LoggerFileSystem.h"
#include "LoggerOperatorInterface.h"
#include "LoggerSDCard.h"

#include <QMutexLocker>
#include <QStringList>
#include <QThread>

namespace {

// A text built from a flag shows it as the number.
QString flagText(bool value)
{
    return value ? QStringLiteral("1") : QStringLiteral("0");
}

} // namespace

LoggerList* LoggerList::getInstance()
{
    static LoggerList instance;
    return &instance;
}

LoggerList::LoggerList()
{
    initTrack(kCategoryList);
}

LoggerList::~LoggerList() = default;

bool LoggerList::openDatabase()
{
    return getInstance()->instanceOpenDatabase();
}

bool LoggerList::closeDatabase()
{
    return getInstance()->instanceCloseDatabase();
}

bool LoggerList::initializeLoggers()
{
    return getInstance()->instanceInitializeLoggers();
}

bool LoggerList::startLoggers()
{
    return getInstance()->instanceStartLoggers();
}

bool LoggerList::stopLoggers()
{
    return getInstance()->instanceStopLoggers();
}

bool LoggerList::isCardMountedForStart()
{
    LoggerSDCard* sdCard = LoggerDb::getInstance().getLoggerSDCard();
    if (sdCard == nullptr) {
        LoggerDb::getInstance().setError(QStringLiteral("the loggers cannot start without a card client: "
                                                        "initialize the store first"));
        TRACK_ERROR(*this, QStringLiteral("sdCard==nullptr"));
        return false;
    }
    if (sdCard->readState() != SDC_MOUNTED) {
        LoggerDb::getInstance().setError(
            QStringLiteral("the loggers did not start: the card service reports no mounted card (state %1); "
                           "they start when the card is mounted")
                .arg(static_cast<int>(sdCard->getSdState())));
        TRACK_WARN(*this, QStringLiteral("SD-Card nicht gemountet, Logger werden nicht gestartet"));
        return false;
    }
    return true;
}

bool LoggerList::refuseReader(const char* what)
{
    // The same refusal, and the same last error, as a single logger's.
    if (!LoggerDb::getInstance().refuseNonWriter(QLatin1String(what)))
        return false;
    TRACK_ERROR(*this, QStringLiteral("Nur der Writer darf die Loggerdateien direkt oeffnen"));
    return true;
}

void LoggerList::initializeDatabaseIfClosed()
{
    LoggerDb& db = LoggerDb::getInstance();
    if (!db.isInitialized()) {
        TRACK_INFO(*this, QStringLiteral("Initializes database"));
        db.reinitialize();
    }
}

bool LoggerList::instanceOpenDatabase()
{
    QMutexLocker locker(&mMutex);
    if (!isCardMountedForStart())
        return false;
    initializeDatabaseIfClosed();
    return true;
}

bool LoggerList::instanceCloseDatabase()
{
    QMutexLocker locker(&mMutex);
    LoggerDb& db = LoggerDb::getInstance();
    const bool wasInitialized = db.isInitialized();
    if (wasInitialized) {
        TRACK_INFO(*this, QStringLiteral("Close Database"));
        db.close();
    }
    return wasInitialized;
}

bool LoggerList::instanceInitializeLoggers()
{
    QMutexLocker locker(&mMutex);
    TRACK_INFO(*this, QStringLiteral("Initialize Loggers"));
    if (refuseReader("initializing the loggers"))
        return false;
    LoggerDb& db = LoggerDb::getInstance();
    if (!db.isInitialized())
        db.reinitialize();
    bool result = true;
    QStringList failed;
    for (LoggerBase* logger : qAsConst(mLoggers)) {
        if (!logger->initializeLogger()) {
            failed.append(logger->getLoggerName() + QStringLiteral(" '") +
                          logger->getConfiguratedMeasuredTypeId() + QStringLiteral("'"));
            result = false;
        }
        QThread::msleep(0);
    }
    if (!failed.isEmpty())
        db.setError(QStringLiteral("these loggers did not initialize: %1; check the catalogue %2 and the "
                                   "data folder %3")
                        .arg(failed.join(QStringLiteral(", ")), db.getFullDbName(), db.getDataFolder()));
    db.setLoggerState(LOGGER_STATE_LOGGERS_STARTED);
    db.initializeCompleted();
    return result;
}

bool LoggerList::instanceStartLoggers()
{
    QMutexLocker locker(&mMutex);
    TRACK_INFO(*this, QStringLiteral("LoggerList: Start Loggers..."));
    if (refuseReader("starting the loggers"))
        return false;
    if (mLoggersStarted)
        TRACK_ERROR(*this, QStringLiteral("loggers already started"));
    if (!isCardMountedForStart())
        return false;
    initializeDatabaseIfClosed();
    LoggerDb& db = LoggerDb::getInstance();
    db.setLoggerState(LOGGER_STATE_LOGGERS_STARTING);

    // The operator log records what the operator does to the running loggers, so it runs first.
    if (!LoggerOperatorInterface::startLogger())
        TRACK_WARN(*this, QStringLiteral("Operator Logger not started"));

    bool result = true;
    for (LoggerBase* logger : qAsConst(mLoggers)) {
        // A card pulled during the run ends it here: the group does not count as started.
        LoggerSDCard* sdCard = db.getLoggerSDCard();
        if (sdCard == nullptr || sdCard->getSdState() != SDC_MOUNTED) {
            db.setError(QStringLiteral("the card went away while the loggers started: they start again "
                                       "when the card is mounted"));
            TRACK_ERROR(*this, QStringLiteral("SD-Card not mounted"));
            return false;
        }
        const bool started = logger->startLogger();
        if (!started) {
            db.setError(QStringLiteral("the logger %1 '%2' did not start: check the data folder %3 and the "
                                       "card's free space")
                            .arg(logger->getLoggerName(), logger->getConfiguratedMeasuredTypeId(),
                                 db.getDataFolder()));
            TRACK_WARN(*this, logger->getLoggerName() + QStringLiteral(" not started"));
        }
        result = started && result;
        QThread::msleep(0);
    }
    // A failed logger does not stop the others: the group counts as started, and
    // getFailedLoggers tells which did not.
    db.initializeCompleted();
    db.setLoggerState(LOGGER_STATE_LOGGERS_STARTED);
    mLoggersStarted = true;
    return result;
}

bool LoggerList::instanceStopLoggers()
{
    QMutexLocker locker(&mMutex);
    TRACK_INFO(*this, QStringLiteral("Stop Loggers"));
    if (!mLoggersStarted)
        TRACK_WARN(*this, QStringLiteral("Loggers already stopped"));
    LoggerDb& db = LoggerDb::getInstance();
    db.setLoggerState(LOGGER_STATE_LOGGERS_STOPPING);
    for (LoggerBase* logger : qAsConst(mLoggers))
        logger->stopLogger();
    if (db.isInitialized()) {
        TRACK_INFO(*this, QStringLiteral("Stop Loggers: close database"));
        db.close();
    }
    db.setLoggerState(LOGGER_STATE_LOGGERS_STOPPED);
    mLoggersStarted = false;
    TRACK_INFO(*this, QStringLiteral("LoggerList, Stop Loggers: Flag for starting Loggers = ") +
                          flagText(mShouldStartLoggers));
    return true;
}

void LoggerList::addLogger(LoggerBase* logger)
{
    mLoggers.append(logger);
}

void LoggerList::removeLogger(LoggerBase* logger)
{
    mLoggers.removeAll(logger);
}

int LoggerList::size()
{
    return getInstance()->getNumLoggers();
}

int LoggerList::getNumLoggers() const
{
    return mLoggers.size();
}

bool LoggerList::contains(const LoggerBase* logger) const
{
    return mLoggers.contains(const_cast<LoggerBase*>(logger));
}

int LoggerList::getFailedLoggers() const
{
    int failed = 0;
    for (const LoggerBase* logger : mLoggers) {
        if (logger->getLoggerState() == LOGGER_STATE_LOGGER_FAILED)
            ++failed;
    }
    return failed;
}

bool LoggerList::loggersStarted() const
{
    return mLoggersStarted;
}

bool LoggerList::shouldStartLoggers()
{
    return getInstance()->mShouldStartLoggers;
}

void LoggerList::setShouldStartLoggers(bool start)
{
    TRACK_INFO(*this, QStringLiteral("LoggerList: Save Flag for starting Loggers : ") + flagText(start));
    QMutexLocker locker(&mMutex);
    mShouldStartLoggers = start;
}

void LoggerList::timerTick(timespec time)
{
    for (LoggerBase* logger : qAsConst(mLoggers))
        logger->timerTick(time);
}

void LoggerList::closeFiles()
{
    QMutexLocker locker(&mMutex);
    TRACK_INFO(*this, QStringLiteral("Close logger files and DB"));
    for (LoggerBase* logger : qAsConst(mLoggers))
        logger->closeFile();
    TRACK_INFO(*this, QStringLiteral("Close files: close database"));
    LoggerDb::getInstance().close();
}

bool LoggerList::reOpenFiles(bool announce)
{
    QMutexLocker locker(&mMutex);
    TRACK_INFO(*this, QStringLiteral("Open DB and logger files"));
    if (refuseReader("reopening the loggers' files"))
        return false;
    LoggerDb& db = LoggerDb::getInstance();
    if (!db.isInitialized())
        db.reinitialize();
    bool result = true;
    for (LoggerBase* logger : qAsConst(mLoggers))
        result = logger->reOpenFile() && result;
    if (announce)
        db.setLoggerState(LOGGER_STATE_LOGGERS_STOPPED);
    if (getFailedLoggers() != 0)
        result = false;
    if (result) {
        TRACK_INFO(*this, QStringLiteral("reopen Files succeeded"));
        db.setLoggerState(LOGGER_STATE_LOGGER_INITIALIZED);
    } else {
        TRACK_INFO(*this, QStringLiteral("reopen Files failed"));
        db.setLoggerState(LOGGER_STATE_LOGGER_FAILED);
    }
    return result;
}

bool LoggerList::deleteAllLoggers(bool reinitialize)
{
    QMutexLocker locker(&mMutex);
    // A reader would remove the writer's files under its running loggers.
    if (refuseReader("deleting the loggers and their files"))
        return false;
    LoggerDb& db = LoggerDb::getInstance();
    db.resetLoggerState();
    const QString folder = db.getDataFolder();
    TRACK_INFO(*this, QStringLiteral("Delete all Loggers"));
    TRACK_INFO(*this, QStringLiteral("Logger Pfad: ") + folder);
    db.setLoggerState(LOGGER_STATE_RESETTING);

    bool databaseUp = db.isInitialized();
    if (!databaseUp) {
        TRACK_INFO(*this, QStringLiteral("Logger DB wird zuerst initialisiert"));
        databaseUp = db.initialize();
        db.setLoggerState(LOGGER_STATE_RESETTING);
        if (!databaseUp)
            TRACK_WARN(*this, QStringLiteral("Logger DB kann nicht initialisiert werden"));
    }
    // Without a catalogue no type can be deleted: the files still go, and the answer says that
    // the catalogue was not cleared.
    bool result = databaseUp;
    if (databaseUp) {
        for (LoggerBase* logger : qAsConst(mLoggers))
            result = logger->deleteActualLogger(false) && result;
    }
    TRACK_INFO(*this, QStringLiteral("Delete Loggers: close database"));
    db.close();
    db.setLoggerState(LOGGER_STATE_RESETTING);
    LoggerFileSystem::removeAllFiles(folder);
    if (reinitialize)
        db.initialize();
    db.setLoggerState(LOGGER_STATE_RESETTED);
    return result;
}

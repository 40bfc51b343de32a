// The lifecycle of a logger: construction and registration, initializing against the catalogue
// and the card, starting, stopping, closing and reopening, and the plain state it keeps. The
// write engine, which puts blocks of items into the files, is in LoggerWriteEngine.cpp.

#include "LoggerBase.h"

#include "DefnBaseType.h"
#include "DefnTypePersistance.h"
#include "LoggerAccessList.h"
#include "LoggerDb.h"
#include "LoggerDebug.h"
#include "LoggerFileSystem.h"
#include "LoggerList.h"
#include "LoggerMemoryInterface.h"
#include "LoggerMemoryManager.h"
#include "NonVolatileInterface.h"

#include <QFile>
#include <QMutexLocker>

#include <cstdlib>
#include <vector>

namespace {

// The development list of loggers: touched only where it already exists.
constexpr const char* kDebugFile = "/etc/logger_debug";
constexpr const char* kDebugFileVariable = "QZLOGGER_DEBUG_FILE";

void message(const std::string& text, LoggerMessageType type)
{
    LoggerDb::getInstance().loggerMessage(text, type);
}

bool isZero(timespec time)
{
    return time.tv_sec == 0 && time.tv_nsec == 0;
}

// A logger without any item on the card has no time of its own to name the day folder of a
// new file at its start: the clock names it then, never 1970.
timespec timeOrClock(timespec time)
{
    return isZero(time) ? LoggerBase::getSystemTime() : time;
}

QString debugFilePath()
{
    const QByteArray path = qgetenv(kDebugFileVariable);
    return path.isEmpty() ? QString::fromLatin1(kDebugFile) : QString::fromLocal8Bit(path);
}

} // namespace

LoggerBase::LoggerBase(LoggerType loggerType, LoggerDataType loggerDataType, int dataBlockSize)
{
    construct(loggerType, loggerDataType, dataBlockSize);
}

LoggerBase::LoggerBase(const LoggerBase& other)
{
    construct(other.getLoggerType(), other.getLoggerDataType(), other.mAccess->getDataBlockSize());
}

void LoggerBase::construct(LoggerType loggerType, LoggerDataType loggerDataType, int dataBlockSize)
{
    mAccess = std::make_shared<LoggerAccess>(loggerType, loggerDataType, dataBlockSize);
    mAccess->reset();
    LoggerList::getInstance()->addLogger(this);
    registerLoggerAccess();
}

LoggerBase::~LoggerBase()
{
    if (mAccess) {
        QFile& file = mAccess->getFile();
        if (file.isOpen()) {
            file.close();
        }
        mAccess->reset();
    }
    LoggerList::getInstance()->removeLogger(this);
    LoggerAccessList::getInstance()->removeLoggerAccess(mAccess);
}

// --- virtual operations with a base-class answer

QString LoggerBase::getLoggerName()
{
    return QStringLiteral("LoggerBase");
}

double LoggerBase::getInterval()
{
    return 1.0;
}

DataMeasType LoggerBase::getDataMeasType(const QString&)
{
    return DataMeasType();
}

bool LoggerBase::flush()
{
    return true;
}

void LoggerBase::timerElapsed()
{
}

double LoggerBase::getTimeout() const
{
    return 0.0;
}

void LoggerBase::timerTick(timespec)
{
}

QString LoggerBase::getConfiguratedMeasuredTypeId()
{
    return QStringLiteral("undefined");
}

int LoggerBase::getDataBlockSize() const
{
    return 1;
}

bool LoggerBase::readDataToUpdate()
{
    return true;
}

void LoggerBase::debugMessage(const QString&)
{
}

void LoggerBase::debugTransactionTime(const char*)
{
}

std::string LoggerBase::nameString()
{
    return getLoggerName().toStdString();
}

// --- lifecycle

void LoggerBase::failInitialization(const std::string& text)
{
    message(text, LOGGER_MESSAGE_FATAL);
    mLoggerState = LOGGER_STATE_LOGGER_FAILED;
    mEnabled = false;
}

bool LoggerBase::refuseNonWriter(const char* what)
{
    // Asked for every item: the text is only built where it is needed.
    LoggerDb& db = LoggerDb::getInstance();
    if (db.isWriter()) {
        return false;
    }
    return db.refuseNonWriter(QLatin1String(what) + QStringLiteral(" the logger '") +
                              getConfiguratedMeasuredTypeId() + QStringLiteral("'"));
}

bool LoggerBase::initializeLogger()
{
    QString id = getConfiguratedMeasuredTypeId();
    const QString name = getLoggerName();
    const std::string description = name.toStdString();
    // A reader that made a file here would leave it beside a catalogue it cannot write.
    if (refuseNonWriter("initializing")) {
        mLoggerState = LOGGER_STATE_DISABLED;
        return true;
    }
    if (!isDatabaseInitialized()) {
        message("database not initialized: " + description, LOGGER_MESSAGE_ROUTINE);
        mLoggerState = LOGGER_STATE_DISABLED;
        return true;
    }
    message("initialize Logger: " + description, LOGGER_MESSAGE_TRACE);
    mCurrentUtc = getSystemTime();
    // A logger without a configured identification stays disabled.
    if (id.isEmpty()) {
        mLoggerState = LOGGER_STATE_DISABLED;
        return true;
    }
    mIdStringChanged = false;
    if (mNonVolatile) {
        mAccess->setUniqueId(mNonVolatile->readUniqueId());
    }

    // How many files of the catalogue were taken up; none for a logger seen the first time or a
    // file just made.
    int filesWalked = 0;
    if (!buildCurrentBaseType(id) || !loadOrPersistBaseType(id, description, filesWalked)) {
        return true;
    }
    if (mAccess->isCurrentFileInfoNull()) {
        failInitialization("CurrentFileInfo=nullptr");
        return true;
    }

    const bool opened = openNewestFile(filesWalked);
    mAccess->getFilesTimeRange();
    if (!opened) {
        createNewFile(timeOrClock(mCurrentUtc), getLoggerDataType());
    } else {
        resumeNewestFile(description, filesWalked);
    }
    completeInitialization(name);
    return true;
}

bool LoggerBase::buildCurrentBaseType(QString& id)
{
    DataMeasType measType = getDataMeasType(id);
    mAccess->createCurrentBaseType(id, measType);
    if (mAccess->isCurrentBaseTypeNull()) {
        mLoggerState = LOGGER_STATE_LOGGER_FAILED;
        message("Basetype==nullptr", LOGGER_MESSAGE_FATAL);
        mEnabled = false;
        return false;
    }
    return true;
}

bool LoggerBase::loadOrPersistBaseType(const QString& id, const std::string& description, int& filesWalked)
{
    std::vector<DefnBaseType> types =
        DefnTypePersistance().readBaseTypes(getLoggerType(), getLoggerDataType(), id, true);
    if (types.empty()) {
        if (!mAccess->persistBaseType(false, getDataBlockSize(), description, mZeroCreated)) {
            failInitialization("Cannot persist BaseType");
            return false;
        }
        return true;
    }
    mAccess->getNewestBaseType(types, description);
    setLoggerInterval();
    if (mAccess->isCurrentBaseTypeNull()) {
        failInitialization("Base Type is nullptr");
        return false;
    }
    setLoggerInterval();
    const int numFiles = mAccess->getFileListSize();
    if (numFiles == 0) {
        // The catalogue knows the type but none of its files.
        LoggerDb::getInstance().setError(QStringLiteral("logger file recreated"));
        message("initializeLogger: logger file recreated", LOGGER_MESSAGE_FATAL);
        if (!mAccess->persistBaseType(false, getDataBlockSize(), description, false)) {
            failInitialization("Cannot persist BaseType");
            return false;
        }
        return true;
    }
    filesWalked = readCataloguedFiles();
    return true;
}

int LoggerBase::readCataloguedFiles()
{
    mAccess->removeNonExistingFileInfos();
    const int remaining = mAccess->getFileListSize();
    if (remaining <= 0) {
        mEnabled = true;
        createNewFile(mCurrentUtc, getLoggerDataType());
        return 0;
    }
    const auto type = mAccess->getCurrentBaseType();
    for (int index = 0; index < remaining; ++index) {
        const auto entry = type->getFileInfo(index);
        mAccess->readFileInfo(entry);
        LoggerDebug::logFileInfo(entry, index, LOGGER_MESSAGE_ROUTINE);
    }
    mAccess->getNewestFileInfo();
    // The files are the truth after a power cut: the range they hold goes to the catalogue with
    // their rows. The first question about a logger's change flag in a process says "changed",
    // so the store of the state further down reloads the type from the catalogue, and would
    // otherwise bring back the range the catalogue had before the cut.
    mAccess->getFilesTimeRange();
    mAccess->updateAllDatabaseEntities();
    return remaining;
}

bool LoggerBase::openNewestFile(int& filesWalked)
{
    mAccess->readCurrentFileInfo();
    const bool opened = openCurrentFile(true, true, false);
    mCurrentUtc = mAccess->getCurrentFileInfoUtcEnd();
    if (LoggerFileSystem::getNumDataItems(mAccess->getCurrentFileInfo().get()) == 0) {
        // A file begun just before a power cut holds no item and has no end. The order check
        // must still refuse what the source offers again after the restart, so the newest item
        // accepted is the newest one of the logger's files.
        mAccess->getFilesTimeRange();
        mCurrentUtc = mAccess->getCurrentBaseTypeUtcEnd();
    }
    if (!mAccess->checkCurrentDataBlockSize()) {
        // The item size changed since the file was made: its items can't be continued. A new
        // file is only begun by an enabled logger, which this one is about to become.
        mEnabled = true;
        createNewFile(timeOrClock(mCurrentUtc), getLoggerDataType());
        filesWalked = 0;
    }
    return opened;
}

void LoggerBase::resumeNewestFile(const std::string& description, int filesWalked)
{
    const bool updated = mAccess->updateCurrentDatas(description);
    setLoggerInterval();
    if (!updated) {
        const auto file = mAccess->getCurrentFileInfo();
        message("cannot open file " +
                    (file ? LoggerFileSystem::getFullFileName(file.get()).toStdString() : std::string()),
                LOGGER_MESSAGE_ERROR);
    }
    if (filesWalked == 0) {
        mAccess->setNewBaseTypeRange(true);
    } else if (filesWalked == 1) {
        mAccess->setNewBaseTypeRange(mAccess->getCurrentFileInfoFirstDataItem());
    } else {
        mAccess->setNewBaseTypeRange(mAccess->isCurrentBaseTypeZeroRange());
    }
    LoggerDb::getInstance().incrementOpenedFiles();
}

void LoggerBase::completeInitialization(const QString& name)
{
    const bool ok = mAccess->removeMissingFileEntries();
    if (ok) {
        mEnabled = true;
        mInitialized = true;
        addToDebugFile(name);
        mLoggerState = LOGGER_STATE_LOGGER_INITIALIZED;
    } else {
        mLoggerState = LOGGER_STATE_LOGGER_FAILED;
    }
    if (mMobile && !mStarted) {
        closeFile();
    }
}

void LoggerBase::addToDebugFile(const QString& name)
{
    QFile file(debugFilePath());
    if (!file.exists() || !file.open(QIODevice::ReadWrite)) {
        return;
    }
    const QByteArray content = file.readAll();
    if (!content.contains(name.toLatin1())) {
        const QString line = QStringLiteral("Name: ") + name + QStringLiteral(", Type: ") +
                             LoggerDebug::getLoggerTypeString(getLoggerType()) + QStringLiteral(", Data: ") +
                             LoggerDebug::getLoggerDataTypeString(getLoggerDataType()) + QLatin1Char('\n');
        file.write(line.toLatin1());
    }
    file.close();
}

bool LoggerBase::startLogger()
{
    // The card's thread starts the loggers while the writer's thread may write to them.
    QMutexLocker locker(mAccess ? mAccess->getSaveAccess() : nullptr);
    const QString name = getLoggerName();
    if (mStarted) {
        debugMessage(name + QStringLiteral(" ist bereits gestartet"));
        return true;
    }
    if (refuseNonWriter("starting")) {
        return false;
    }
    if (!isDatabaseInitialized()) {
        debugMessage(name + QStringLiteral(" kann nicht gestartet werden (Datenbank nicht initialisiert)"));
        return false;
    }
    bool result = true;
    if (!mInitialized) {
        debugMessage(name + QStringLiteral(" wird vor dem Starten initialisiert"));
        result = initializeLogger();
    } else if (!mAccess->getFile().isOpen()) {
        result = reOpenFile();
    }
    // Started whatever the outcome: a failed logger is retried by reopening, not by starting.
    mStarted = true;
    mFirstWriteAfterStart = true;
    debugMessage(name + QStringLiteral(" gestartet"));
    return result;
}

bool LoggerBase::stopLogger()
{
    closeFile();
    if (mStarted) {
        mStarted = false;
        debugMessage(getLoggerName() + QStringLiteral(" gestoppt"));
    } else {
        debugMessage(getLoggerName() + QStringLiteral(" ist bereits gestoppt"));
    }
    return true;
}

void LoggerBase::closeFile()
{
    if (!mAccess) {
        return;
    }
    // What waits in the cache goes out first; the cache's lock comes before the logger's.
    flush();
    QMutexLocker locker(mAccess->getSaveAccess());
    QFile& file = mAccess->getFile();
    if (file.isOpen()) {
        file.close();
        LoggerDb::getInstance().decrementOpenedFiles();
        LoggerMemoryManager::roundToBlockSize(mAccess->getCurrentFileInfo());
    }
    // The card may change before the files are opened again.
    mAccess->forgetFilesWithItems();
    // A closed logger refuses writes until it is opened again.
    mLoggerState = LOGGER_STATE_DISABLED;
    mEnabled = false;
}

bool LoggerBase::reOpenFile()
{
    QMutexLocker locker(mAccess->getSaveAccess());
    if (!isDatabaseInitialized() || refuseNonWriter("reopening the file")) {
        return false;
    }
    if (!mAccess->isCurrentBaseTypeNull()) {
        mAccess->setCurrentBaseType(mAccess->readBaseType(mAccess->getId(), nameString()));
    }
    if (mAccess->isCurrentBaseTypeNull()) {
        mInitialized = false;
        return initializeLogger();
    }
    if (!mInitialized) {
        return initializeLogger();
    }
    if (mAccess->isCurrentFileInfoNull() || mAccess->getFile().isOpen()) {
        return false;
    }
    mAccess->createCurrentFileIfNotExists();
    const bool opened = openCurrentFile(false, true, false);
    mEnabled = opened;
    mLoggerState = opened ? LOGGER_STATE_LOGGER_INITIALIZED : LOGGER_STATE_LOGGER_FAILED;
    return opened;
}

void LoggerBase::resetLogger()
{
    mAccess->clearStates();
    mInitialized = false;
    LoggerMemoryInterface().initUsedMemory(getLoggerType(), getLoggerDataType());
    mHeaderChanged = false;
    mCurrentUtc = timespec{};
    mLoggerState = LOGGER_STATE_DISABLED;
}

bool LoggerBase::deleteActualLogger(bool reinitialize)
{
    const QString id = getConfiguratedMeasuredTypeId();
    const std::string description = nameString();
    if (!isDatabaseInitialized() || refuseNonWriter("deleting")) {
        return false;
    }
    QMutexLocker locker(mAccess->getSaveAccess());
    if (mAccess->isCurrentBaseTypeNull()) {
        getLoggerAccessDatas();
    }
    const bool ok = mAccess->deleteAllDatas(id, description);
    if (ok) {
        resetLogger();
        if (reinitialize) {
            initializeLogger();
        }
    }
    return ok;
}

void LoggerBase::getLoggerAccessDatas()
{
    std::vector<DefnBaseType> types = DefnTypePersistance().readBaseTypes(
        getLoggerType(), getLoggerDataType(), getConfiguratedMeasuredTypeId(), true);
    mAccess->getNewestBaseType(types, nameString());
}

void LoggerBase::setLoggerInterval()
{
    const double value = getInterval();
    mAccess->setLoggerInterval(value);
    message("Set Logger Interval " + nameString() +
                ": Interval = " + QString::number(value, 'g', 6).toStdString(),
            LOGGER_MESSAGE_TRACE);
}

void LoggerBase::registerLoggerAccess()
{
    LoggerAccessList::getInstance()->addLoggerAccess(mAccess);
}

bool LoggerBase::readDatabaseChanges(bool createIfEmpty)
{
    if (!isDatabaseInitialized()) {
        return false;
    }
    return mAccess->readDatabaseChanges(createIfEmpty);
}

// --- plain state

void LoggerBase::setEnabled(bool enabled)
{
    mEnabled = enabled;
}

void LoggerBase::setMobile(bool mobile)
{
    mMobile = mobile;
}

void LoggerBase::setStarted(bool started)
{
    mStarted = started;
}

bool LoggerBase::isEnabled()
{
    return mEnabled;
}

bool LoggerBase::isMobile()
{
    return mMobile;
}

bool LoggerBase::isStarted()
{
    return mStarted;
}

bool LoggerBase::isInitialized()
{
    return mInitialized;
}

bool LoggerBase::isFileRemoved()
{
    return mFileRemoved;
}

bool LoggerBase::isDatabaseInitialized()
{
    return LoggerDb::getInstance().isInitialized();
}

bool LoggerBase::isLoggingEnabled() const
{
    return LoggerDb::getInstance().isLoggingEnabled();
}

LoggerState LoggerBase::getLoggerState() const
{
    return mLoggerState;
}

LoggerType LoggerBase::getLoggerType() const
{
    return mAccess->getLoggerType();
}

LoggerDataType LoggerBase::getLoggerDataType() const
{
    return mAccess->getLoggerDataType();
}

int LoggerBase::getDaysPerFile()
{
    return mDaysPerFile;
}

void LoggerBase::setDaysPerFile(int days)
{
    mDaysPerFile = days;
}

int LoggerBase::getMaximumFileSize() const
{
    return mMaximumFileSize;
}

void LoggerBase::setMaximumFileSize(int bytes)
{
    mMaximumFileSize = bytes;
}

int LoggerBase::getFileListSize()
{
    return mAccess->getFileListSize();
}

int LoggerBase::getFileTime()
{
    return mAccess->getFileTime();
}

int LoggerBase::getFilePosition()
{
    return mAccess->getFilePosition();
}

int LoggerBase::getId()
{
    return mAccess->getId();
}

int LoggerBase::getMeasuredTypeId() const
{
    return mAccess->getBaseTypeId();
}

int LoggerBase::getCurrentFileSize()
{
    return mAccess->getCurrentFileSize();
}

double LoggerBase::getUsedLoggerSize()
{
    return LoggerMemoryInterface().getUsedLoggerSize(getLoggerType(), getLoggerDataType());
}

void LoggerBase::setFirstUniqueId(int uniqueId)
{
    mAccess->setUniqueId(uniqueId);
}

int LoggerBase::getFirstUniqueId()
{
    return mAccess ? mAccess->getUniqueId() : -1;
}

void LoggerBase::setNonVolatile(NonVolatileInterface* nonVolatile)
{
    mNonVolatile = nonVolatile;
}

void LoggerBase::setZeroCreated(bool zeroCreated)
{
    mZeroCreated = zeroCreated;
}

void LoggerBase::setHeaderChanged(bool headerChanged)
{
    mHeaderChanged = headerChanged;
}

bool LoggerBase::isHeaderChanged() const
{
    return mHeaderChanged;
}

bool LoggerBase::isDayChanged() const
{
    return mDayChanged;
}

bool LoggerBase::isFirstWriteAfterStart() const
{
    return mFirstWriteAfterStart;
}

PtrLoggerAccess LoggerBase::getLoggerAccess() const
{
    return mAccess;
}

void LoggerBase::logTraceMessage(const QString& text)
{
    message(text.toStdString(), LOGGER_MESSAGE_TRACE);
}

void LoggerBase::logDebugMessage(const QString& text)
{
    message(text.toStdString(), LOGGER_MESSAGE_ROUTINE);
}

void LoggerBase::logInfoMessage(const QString& text)
{
    message(text.toStdString(), LOGGER_MESSAGE_INFO);
}

void LoggerBase::logWarnMessage(const QString& text)
{
    message(text.toStdString(), LOGGER_MESSAGE_WARN);
}

void LoggerBase::logErrorMessage(const QString& text)
{
    message(text.toStdString(), LOGGER_MESSAGE_ERROR);
}

// --- a changed identification

DataMeasType LoggerBase::getNewMeasType()
{
    if (getLoggerType() == LoggerType::CYCLIC) {
        return getDataMeasType(getConfiguratedMeasuredTypeId());
    }
    return DataMeasType();
}

bool LoggerBase::checkIdStringChanged(const QString& idString)
{
    mIdStringChanged = idString != getConfiguratedMeasuredTypeId();
    return mIdStringChanged;
}

void LoggerBase::changeMeasuredString()
{
    if (!isDatabaseInitialized() || !mIdStringChanged) {
        return;
    }
    flush();
    closeFile();
    resetLogger();
    initializeLogger();
}

// --- the clock

timespec LoggerBase::getSystemTime()
{
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    return time;
}

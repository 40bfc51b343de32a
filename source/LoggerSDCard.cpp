#include "LoggerSDCard.h"

#include "DBusSDCard1Interface.h"
#include "LoggerDb.h"
#include "LoggerList.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <QMetaType>
#include <QMutexLocker>
#include <QVariant>

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <new>
#include <set>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr const char* kServiceName = "qz.SDCard1";
constexpr const char* kObjectPath = "/qz/sdcard";
constexpr const char* kCardInterface = "qz.SDCard1";
constexpr const char* kPropertiesInterface = "org.freedesktop.DBus.Properties";
// The id under which the service keeps the logger's partition.
constexpr const char* kLoggerDirId = "logger";
// A program whose name holds this works as a command service, on the caller's thread.
constexpr const char* kCommandServiceMark = "generator";
// After an eject or a corrupt card the service needs this long before the card is really gone.
constexpr unsigned long kCardSettleMs = 1500;

// Daemons whose D-Bus thread still runs. At the end of the application their threads are ended
// while Qt's D-Bus is still there: a thread left running into the destruction of the process's
// statics would meet a bus that is already gone.
QMutex sDaemonsMutex;
std::set<LoggerSDCard*> sDaemons;
std::once_flag sPostRoutineOnce;

void stopDaemonsAtApplicationEnd()
{
    QMutexLocker locker(&sDaemonsMutex);
    for (LoggerSDCard* card : sDaemons)
        card->stopDBusThread();
}

// The first argument of a reply, also where a value of a type that the reply could not map
// arrived still marshalled as a QDBusArgument.
template <typename T> T firstArgument(const QDBusMessage& reply)
{
    const QVariant first = reply.arguments().value(0);
    if (first.userType() == qMetaTypeId<QDBusArgument>())
        return qdbus_cast<T>(first.value<QDBusArgument>());
    return first.value<T>();
}

QString failedCallText(const QString& what, const QDBusMessage& reply)
{
    return QStringLiteral("LoggerSDCard, %1 failed: %2: %3")
        .arg(what, reply.errorName(), reply.errorMessage());
}

QString flagText(bool value)
{
    return value ? QStringLiteral("1") : QStringLiteral("0");
}

} // namespace

LoggerSDCard* LoggerSDCard::createInstance()
{
    return new (std::nothrow) LoggerSDCard();
}

LoggerSDCard::LoggerSDCard()
    : mServiceName(QString::fromLatin1(kServiceName)), mObjectPath(QString::fromLatin1(kObjectPath))
{
    initTrack(kCategorySdcard);
    // Receivers on other threads get loggerStateChanged queued, which needs the type by this
    // name, in the command service as much as in the daemon.
    qRegisterMetaType<LoggerState>("LoggerState");
}

LoggerSDCard::~LoggerSDCard()
{
    {
        QMutexLocker locker(&sDaemonsMutex);
        sDaemons.erase(this);
    }
    if (mDBusThread != nullptr) {
        stopDBusThread();
        delete mDBusThread.data();
    } else {
        releaseInterface();
    }
}

QString LoggerSDCard::threadText()
{
    return QString::number(static_cast<long>(::syscall(SYS_gettid)));
}

QString LoggerSDCard::programName()
{
    return QString::fromLocal8Bit(program_invocation_short_name);
}

bool LoggerSDCard::initialize()
{
    const QString program = programName();
    const bool started = program.contains(QLatin1String(kCommandServiceMark))
                             ? initializeCommandService(program)
                             : initializeDaemon(program);
    mStarted = started;
    return started;
}

bool LoggerSDCard::isStarted() const
{
    return mStarted;
}

bool LoggerSDCard::initializeDaemon(const QString& program)
{
    TRACK_INFO(*this, QStringLiteral("Initialize interface for background daemon (program:") + program +
                          QStringLiteral(",tid:") + threadText() + QStringLiteral(")"));
    auto* thread = new (std::nothrow) QThread();
    if (thread == nullptr) {
        TRACK_ERROR(*this, QStringLiteral("Cannot create DBus thread"));
        return false;
    }
    mDBusThread = thread;
    moveToThread(thread);
    const bool connected = connect(thread, &QThread::started, this, &LoggerSDCard::setupDBusConnection) &&
                           connect(thread, &QThread::finished, this, &LoggerSDCard::cleanupDBusConnection,
                                   Qt::DirectConnection) &&
                           connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    if (!connected) {
        TRACK_ERROR(*this, QStringLiteral("Cannot connect signals to DBus thread"));
        return false;
    }
    {
        QMutexLocker locker(&sDaemonsMutex);
        sDaemons.insert(this);
    }
    if (QCoreApplication::instance() != nullptr)
        std::call_once(sPostRoutineOnce, [] { qAddPostRoutine(stopDaemonsAtApplicationEnd); });

    thread->start(QThread::InheritPriority);
    TRACK_INFO(*this, QStringLiteral("Wait for initialization done..."));
    {
        QMutexLocker locker(&mMutex);
        while (!mSetupDone)
            mInitDone.wait(&mMutex);
    }
    TRACK_INFO(*this, QStringLiteral("Successfully initialized sdcard"));
    return true;
}

bool LoggerSDCard::initializeCommandService(const QString& program)
{
    TRACK_INFO(*this, QStringLiteral("Initialize interface for command service (program:") + program +
                          QStringLiteral(",tid:") + threadText() + QStringLiteral(")"));
    QDBusConnection bus = getBus();
    if (!bus.isConnected()) {
        TRACK_ERROR(*this, QStringLiteral("Systembus (DBUS) is not available"));
        return false;
    }
    const QDBusReply<bool> registered = bus.interface()->isServiceRegistered(mServiceName);
    if (!registered.isValid() || !registered.value()) {
        TRACK_ERROR(*this, mServiceName + QStringLiteral(" is not registered"));
        return false;
    }
    if (!initializeInterface()) {
        TRACK_ERROR(*this, QStringLiteral("could not initialize dbus interface"));
        return false;
    }
    TRACK_INFO(*this, getInfoString());
    TRACK_INFO(*this, QStringLiteral("Successfully initialized sdcard"));
    return true;
}

void LoggerSDCard::stopDBusThread()
{
    QThread* thread = mDBusThread.data();
    if (thread == nullptr || thread == QThread::currentThread())
        return;
    thread->quit();
    thread->wait();
}

bool LoggerSDCard::hasDBusThread() const
{
    return mDBusThread != nullptr;
}

bool LoggerSDCard::isWriter()
{
    return LoggerDb::getInstance().isWriter();
}

QDBusConnection LoggerSDCard::getBus()
{
    return QDBusConnection::systemBus();
}

void LoggerSDCard::setLoggerState(LoggerState state)
{
    if (isWriter())
        LoggerDb::getInstance().setLoggerState(state);
}

void LoggerSDCard::sendCurrentState(LoggerSdcState state)
{
    TRACK_INFO(*this, QStringLiteral("LoggerSDCard, send State from state = ") + getSdcardStateString(state) +
                          QStringLiteral(", tid = ") + threadText());
    switch (state) {
    case SDC_NO_SDCARD:
    case SDC_NOT_MOUNTABLE: setLoggerState(LOGGER_STATE_SD_CORRUPT); break;
    case SDC_MOUNTED: setLoggerState(LOGGER_STATE_SD_MOUNTED); break;
    case SDC_UNMOUNTED: setLoggerState(LOGGER_STATE_SD_EJECT); break;
    default: break;
    }
}

void LoggerSDCard::emitState(LoggerState state)
{
    emit loggerStateChanged(state);
}

void LoggerSDCard::stopSDCard()
{
    // The proxy belongs to the D-Bus thread while that runs: it is dropped there.
    QThread* thread = mDBusThread.data();
    if (thread != nullptr && thread->isRunning() && thread != QThread::currentThread()) {
        QMetaObject::invokeMethod(
            this, [this] { releaseInterface(); }, Qt::BlockingQueuedConnection);
        return;
    }
    releaseInterface();
}

QString LoggerSDCard::getInfoString() const
{
    QMutexLocker locker(&mValuesMutex);
    return QStringLiteral("SDcard state=") + QString::number(static_cast<int>(mState)) +
           QStringLiteral(", ") + QStringLiteral("mountpoint='") + mMountPoint + QStringLiteral("', ") +
           QStringLiteral("loggerpath='") + mLoggerPath + QStringLiteral("', ") +
           QStringLiteral("loggersize=") + QString::asprintf("%lld", static_cast<long long>(mLoggerSize)) +
           QStringLiteral(" (") + QString::asprintf("%f", static_cast<double>(mLoggerSize) / 1000000000.0) +
           QStringLiteral(" GB)");
}

QString LoggerSDCard::getSdcardStateString(LoggerSdcState state)
{
    switch (state) {
    case SDC_NOT_INITIALIZED: return QStringLiteral("not initialized");
    case SDC_NO_SDCARD: return QStringLiteral("no SD-Card");
    case SDC_NOT_MOUNTABLE: return QStringLiteral("not mountable");
    case SDC_MOUNTED: return QStringLiteral("mounted");
    case SDC_UNMOUNTED: return QStringLiteral("unmounted");
    case SDC_CLOSING_FILES: return QStringLiteral("closing files");
    case SDC_MOUNTING: return QStringLiteral("moubting");
    }
    return QStringLiteral("unknown");
}

bool LoggerSDCard::connectReceiver(QObject* receiver)
{
    if (receiver == nullptr)
        return false;
    const std::string name = receiver->metaObject()->className();
    const QString nameText = QString::fromStdString(name);
    if (contains(name)) {
        TRACK_WARN(*this, QStringLiteral("Receiver already connected: ") + nameText);
        return false;
    }
    {
        QMutexLocker locker(&mValuesMutex);
        mReceivers.push_back(name);
    }
    const bool connected = connect(this, SIGNAL(loggerStateChanged(LoggerState)), receiver,
                                   SLOT(loggerStateChanged(LoggerState)));
    if (connected)
        TRACK_INFO(*this, QStringLiteral("Receiver connected: ") + nameText);
    else
        TRACK_WARN(*this, QStringLiteral("Receiver not connected: ") + nameText);
    return connected;
}

bool LoggerSDCard::disconnectReceiver(QObject* receiver)
{
    if (receiver == nullptr)
        return false;
    const std::string name = receiver->metaObject()->className();
    {
        QMutexLocker locker(&mValuesMutex);
        const auto end = std::remove(mReceivers.begin(), mReceivers.end(), name);
        if (end == mReceivers.end()) {
            locker.unlock();
            TRACK_INFO(*this, QStringLiteral("receiver already disconnected"));
            return false;
        }
        mReceivers.erase(end, mReceivers.end());
    }
    const bool disconnected = disconnect(this, SIGNAL(loggerStateChanged(LoggerState)), receiver,
                                         SLOT(loggerStateChanged(LoggerState)));
    if (disconnected)
        TRACK_INFO(*this, QStringLiteral("Receiver disconnected"));
    else
        TRACK_WARN(*this, QStringLiteral("Receiver not disconnected"));
    return disconnected;
}

bool LoggerSDCard::contains(const std::string& className) const
{
    QMutexLocker locker(&mValuesMutex);
    return std::find(mReceivers.begin(), mReceivers.end(), className) != mReceivers.end();
}

void LoggerSDCard::setupDBusConnection()
{
    const QString tid = threadText();
    TRACK_INFO(*this, QStringLiteral("The DBus thread is started, tid = ") + tid);
    QThread::currentThread()->setObjectName(QStringLiteral("LoggerSDCard") + tid);

    QDBusConnection bus = getBus();
    if (bus.isConnected()) {
        const QDBusReply<bool> registered = bus.interface()->isServiceRegistered(mServiceName);
        if (registered.isValid() && registered.value()) {
            if (createWatcher(bus)) {
                if (initializeInterface())
                    TRACK_INFO(*this, getInfoString());
                else
                    TRACK_ERROR(*this, QStringLiteral("could not initialize dbus interface"));
            }
        } else {
            // The watcher brings the interface up when the service arrives.
            TRACK_WARN(*this, mServiceName + QStringLiteral(" is not registered"));
            createWatcher(bus);
        }
    } else {
        TRACK_ERROR(*this, QStringLiteral("Systembus (DBUS) is not available"));
    }
    QMutexLocker locker(&mMutex);
    mSetupDone = true;
    mInitDone.wakeAll();
}

void LoggerSDCard::cleanupDBusConnection()
{
    releaseInterface();
    delete mWatcher;
    mWatcher = nullptr;
    QDBusConnection bus = getBus();
    if (bus.isConnected() && bus.interface() != nullptr) {
        const QDBusReply<bool> registered = bus.interface()->isServiceRegistered(mServiceName);
        if (registered.isValid() && registered.value())
            bus.interface()->unregisterService(mServiceName);
    }
    QDBusConnection::disconnectFromBus(mObjectPath);
}

bool LoggerSDCard::createWatcher(QDBusConnection& bus)
{
    mWatcher = new (std::nothrow) QDBusServiceWatcher(mServiceName, bus,
                                                      QDBusServiceWatcher::WatchForRegistration |
                                                          QDBusServiceWatcher::WatchForUnregistration);
    if (mWatcher == nullptr) {
        TRACK_ERROR(*this, QStringLiteral("Could not initialize dbus watcher"));
        return false;
    }
    TRACK_INFO(*this, QStringLiteral("Successfully initialized dbus watcher"));
    if (!connect(mWatcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
                 &LoggerSDCard::serviceOwnerChanged)) {
        TRACK_WARN(*this, QStringLiteral("could not connect to dbus signal"));
        return false;
    }
    return true;
}

void LoggerSDCard::serviceOwnerChanged(const QString& service, const QString& oldOwner,
                                       const QString& newOwner)
{
    Q_UNUSED(service)
    TRACK_INFO(*this, QStringLiteral("serviceOwnerChanged"));
    if (!oldOwner.isEmpty() && newOwner.isEmpty()) {
        releaseInterface();
        return;
    }
    initializeInterface();
}

bool LoggerSDCard::initializeInterface()
{
    auto* proxy = new (std::nothrow) DBusSDCard1Interface(mServiceName, mObjectPath, getBus());
    if (proxy == nullptr || !proxy->isValid()) {
        delete proxy;
        return false;
    }
    proxy->setTimeout(kServiceCallTimeoutMs);
    releaseInterface();
    {
        QMutexLocker locker(&mValuesMutex);
        mInterface = proxy;
    }
    const bool connected =
        connect(proxy, &DBusSDCard1Interface::EjectPressed, this, &LoggerSDCard::EjectPressed) &&
        connect(proxy, &DBusSDCard1Interface::CardMounted, this, &LoggerSDCard::CardMounted) &&
        connect(proxy, &DBusSDCard1Interface::CardCorrupt, this, &LoggerSDCard::CardCorrupt) &&
        connect(proxy, &DBusSDCard1Interface::MemStateChanged, this, &LoggerSDCard::MemStateChanged);
    if (!connected) {
        TRACK_ERROR(*this, QStringLiteral("LoggerSDCard, DBUS not connected"));
        return false;
    }
    TRACK_INFO(*this, QStringLiteral("LoggerSDCard, DBUS successfully connected"));
    mInitialized = true;

    const LoggerSdcState state = readState();
    readMountPoint();
    readLoggerPath();
    readLoggerSize();
    sendCurrentState(state);
    return true;
}

void LoggerSDCard::releaseInterface()
{
    DBusSDCard1Interface* proxy = nullptr;
    {
        QMutexLocker locker(&mValuesMutex);
        proxy = mInterface;
        mInterface = nullptr;
    }
    if (proxy == nullptr)
        return;
    if (!disconnect(proxy, &DBusSDCard1Interface::EjectPressed, this, &LoggerSDCard::EjectPressed))
        TRACK_ERROR(*this, QStringLiteral("LoggerSDCard, Cannot disconnect eject signal."));
    if (!disconnect(proxy, &DBusSDCard1Interface::CardMounted, this, &LoggerSDCard::CardMounted))
        TRACK_ERROR(*this, QStringLiteral("LoggerSDCard, Cannot disconnect mounted signal."));
    if (!disconnect(proxy, &DBusSDCard1Interface::CardCorrupt, this, &LoggerSDCard::CardCorrupt))
        TRACK_ERROR(*this, QStringLiteral("LoggerSDCard, Cannot disconnect corrupt signal."));
    if (!disconnect(proxy, &DBusSDCard1Interface::MemStateChanged, this, &LoggerSDCard::MemStateChanged))
        TRACK_ERROR(*this, QStringLiteral("LoggerSDCard, Cannot disconnect mem state signal."));
    delete proxy;
}

void LoggerSDCard::EjectPressed()
{
    mEjectSeen = true;
    mMountedSeen = false;
    mCorruptSeen = false;
    TRACK_INFO(*this, QStringLiteral("LoggerSDCard, EjectPressed, tid = ") + threadText());
    readState();
    emit signalDatabaseClosed();
    LoggerDb::getInstance().setReadable(false);
    if (isWriter())
        LoggerList::stopLoggers();
    else
        LoggerList::closeDatabase();
    QThread::msleep(kCardSettleMs);
    setLoggerState(LOGGER_STATE_SD_EJECT);
    TRACK_INFO(*this, QStringLiteral("LoggerSDCard, shouldStartLoggers: ") +
                          flagText(LoggerList::shouldStartLoggers()));
}

void LoggerSDCard::CardMounted()
{
    mEjectSeen = false;
    mMountedSeen = true;
    mCorruptSeen = false;
    TRACK_INFO(*this, QStringLiteral("LoggerSDCard, CardMounted, tid=") + threadText());
    setLoggerState(LOGGER_STATE_SD_MOUNTED);
    const bool shouldStart = LoggerList::shouldStartLoggers();
    TRACK_INFO(*this, QStringLiteral("LoggerSDCard, shouldStartLoggers: ") + flagText(shouldStart));
    const bool writer = isWriter();
    if (!writer)
        LoggerList::openDatabase();
    LoggerDb& db = LoggerDb::getInstance();
    db.setReadable(true);
    emit signalDatabaseInitialized();
    if (shouldStart && writer) {
        TRACK_INFO(*this, QStringLiteral("LoggerSDCard, Start Loggers"));
        if (LoggerList::startLoggers())
            TRACK_INFO(*this, QStringLiteral("Loggers started"));
        else
            TRACK_WARN(*this, QStringLiteral("not all Loggers started"));
    } else if (!db.isInitialized()) {
        db.reinitialize();
        db.setReadable(true);
    }
}

void LoggerSDCard::CardCorrupt()
{
    mEjectSeen = true;
    mMountedSeen = false;
    mCorruptSeen = true;
    readState();
    TRACK_INFO(*this, QStringLiteral("LoggerSDCard, CardCorrupt, tid=") + threadText());
    emit signalDatabaseClosed();
    LoggerDb::getInstance().setReadable(false);
    // A reader keeps its catalogue open here: it learns from the readable flag.
    if (isWriter())
        LoggerList::stopLoggers();
    QThread::msleep(kCardSettleMs);
    setLoggerState(LOGGER_STATE_SD_CORRUPT);
}

void LoggerSDCard::MemStateChanged(int state)
{
    mMemState = state;
}

bool LoggerSDCard::hasInterface() const
{
    QMutexLocker locker(&mValuesMutex);
    return mInterface != nullptr;
}

LoggerSdcState LoggerSDCard::getSdState() const
{
    QMutexLocker locker(&mValuesMutex);
    return mState;
}

void LoggerSDCard::SetSdState(LoggerSdcState state)
{
    QMutexLocker locker(&mValuesMutex);
    mState = state;
}

bool LoggerSDCard::isSDCardMounted() const
{
    return getSdState() == SDC_MOUNTED;
}

QString LoggerSDCard::getMountPoint() const
{
    QMutexLocker locker(&mValuesMutex);
    return mMountPoint;
}

QString LoggerSDCard::getLoggerPath() const
{
    QMutexLocker locker(&mValuesMutex);
    return mLoggerPath;
}

qint64 LoggerSDCard::getLoggerSize() const
{
    QMutexLocker locker(&mValuesMutex);
    return mLoggerSize;
}

bool LoggerSDCard::isInitialized() const
{
    return mInitialized;
}

bool LoggerSDCard::isEjectSeen() const
{
    return mEjectSeen;
}

bool LoggerSDCard::isMountedSeen() const
{
    return mMountedSeen;
}

bool LoggerSDCard::isCorruptSeen() const
{
    return mCorruptSeen;
}

int LoggerSDCard::getMemState() const
{
    return mMemState;
}

LoggerSdcState LoggerSDCard::readState()
{
    if (!hasInterface())
        return getSdState();
    bool isNumber = false;
    const int state = readProperty(QStringLiteral("State")).toInt(&isNumber);
    QMutexLocker locker(&mValuesMutex);
    mState = isNumber ? static_cast<LoggerSdcState>(state) : SDC_NOT_INITIALIZED;
    return mState;
}

QString LoggerSDCard::readMountPoint()
{
    if (!hasInterface())
        return QString();
    const QString mountPoint = readProperty(QStringLiteral("MountPoint")).toString();
    QMutexLocker locker(&mValuesMutex);
    mMountPoint = mountPoint;
    return mMountPoint;
}

QString LoggerSDCard::readLoggerPath()
{
    if (!hasInterface())
        return QString();
    QDBusMessage call = QDBusMessage::createMethodCall(
        mServiceName, mObjectPath, QString::fromLatin1(kCardInterface), QStringLiteral("GetDirPath"));
    call << QString::fromLatin1(kLoggerDirId);
    const QDBusMessage reply = getBus().call(call, QDBus::Block, kServiceCallTimeoutMs);
    QString path;
    if (reply.type() == QDBusMessage::ReplyMessage)
        path = firstArgument<QString>(reply);
    else
        TRACK_ERROR(*this, failedCallText(QStringLiteral("GetDirPath"), reply));
    QMutexLocker locker(&mValuesMutex);
    mLoggerPath = path;
    return mLoggerPath;
}

qint64 LoggerSDCard::readLoggerSize()
{
    if (!hasInterface())
        return 0;
    QDBusMessage call = QDBusMessage::createMethodCall(
        mServiceName, mObjectPath, QString::fromLatin1(kCardInterface), QStringLiteral("GetDirSize"));
    call << QString::fromLatin1(kLoggerDirId);
    const QDBusMessage reply = getBus().call(call, QDBus::Block, kServiceCallTimeoutMs);
    qint64 size = 0;
    if (reply.type() == QDBusMessage::ReplyMessage)
        size = firstArgument<qlonglong>(reply);
    else
        TRACK_ERROR(*this, failedCallText(QStringLiteral("GetDirSize"), reply));
    QMutexLocker locker(&mValuesMutex);
    mLoggerSize = size;
    return mLoggerSize;
}

// Properties are read by an explicit Get, so that the value arrives as the service sent it and
// the caller decides how to convert it: a State sent as a string would otherwise be refused by
// a typed property without a trace of what came.
QVariant LoggerSDCard::readProperty(const QString& name)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        mServiceName, mObjectPath, QString::fromLatin1(kPropertiesInterface), QStringLiteral("Get"));
    call << QString::fromLatin1(kCardInterface) << name;
    const QDBusMessage reply = getBus().call(call, QDBus::Block, kServiceCallTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        TRACK_ERROR(*this, failedCallText(QStringLiteral("Get ") + name, reply));
        return QVariant();
    }
    return firstArgument<QDBusVariant>(reply).variant();
}

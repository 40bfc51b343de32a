#include "LoggerSDCard.h"

#include "DBusSDCard1Interface.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingReply>
#include <QDBusReply>
#include <QDBusVariant>
#include <QVariant>

#include <new>

namespace {

constexpr const char* kServiceName = "qz.SDCard1";
constexpr const char* kObjectPath = "/qz/sdcard";
constexpr const char* kPropertiesInterface = "org.freedesktop.DBus.Properties";
// The id under which the service keeps the logger's partition.
constexpr const char* kLoggerDirId = "logger";

// The first argument of a finished reply. A value of a type that the reply could not map
// arrives still marshalled as a QDBusArgument and is taken out of it here.
template <typename T> T firstArgument(const QDBusPendingCall& call)
{
    const QVariant first = call.reply().arguments().value(0);
    if (first.userType() == qMetaTypeId<QDBusArgument>())
        return qdbus_cast<T>(first.value<QDBusArgument>());
    return first.value<T>();
}

QString failedCallText(const QString& what, const QDBusError& error)
{
    return QStringLiteral("LoggerSDCard, %1 failed: %2: %3").arg(what, error.name(), error.message());
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
}

LoggerSDCard::~LoggerSDCard()
{
    releaseInterface();
}

QDBusConnection LoggerSDCard::getBus()
{
    return QDBusConnection::systemBus();
}

bool LoggerSDCard::initializeInterface()
{
    QDBusConnection bus = getBus();
    if (!bus.isConnected()) {
        TRACK_ERROR(*this, QStringLiteral("Systembus (DBUS) is not available"));
        return false;
    }
    const QDBusReply<bool> registered = bus.interface()->isServiceRegistered(mServiceName);
    if (!registered.isValid() || !registered.value()) {
        TRACK_WARN(*this, mServiceName + QStringLiteral(" is not registered"));
        return false;
    }

    auto* proxy = new (std::nothrow) DBusSDCard1Interface(mServiceName, mObjectPath, bus);
    if (proxy == nullptr || !proxy->isValid()) {
        TRACK_ERROR(*this, QStringLiteral("could not initialize dbus interface"));
        delete proxy;
        return false;
    }
    releaseInterface();
    mInterface = proxy;
    mInitialized = true;
    TRACK_INFO(*this, QStringLiteral("LoggerSDCard, DBUS successfully connected"));

    readState();
    readMountPoint();
    readLoggerPath();
    readLoggerSize();
    return true;
}

void LoggerSDCard::releaseInterface()
{
    delete mInterface;
    mInterface = nullptr;
}

LoggerSdcState LoggerSDCard::getSdState() const
{
    return mState;
}

void LoggerSDCard::SetSdState(LoggerSdcState state)
{
    mState = state;
}

bool LoggerSDCard::isSDCardMounted() const
{
    return mState == SDC_MOUNTED;
}

QString LoggerSDCard::getMountPoint() const
{
    return mMountPoint;
}

QString LoggerSDCard::getLoggerPath() const
{
    return mLoggerPath;
}

qint64 LoggerSDCard::getLoggerSize() const
{
    return mLoggerSize;
}

bool LoggerSDCard::isInitialized() const
{
    return mInitialized;
}

LoggerSdcState LoggerSDCard::readState()
{
    if (mInterface == nullptr)
        return mState;
    bool isNumber = false;
    const int state = readProperty(QStringLiteral("State")).toInt(&isNumber);
    mState = isNumber ? static_cast<LoggerSdcState>(state) : SDC_NOT_INITIALIZED;
    return mState;
}

QString LoggerSDCard::readMountPoint()
{
    if (mInterface == nullptr)
        return QString();
    mMountPoint = readProperty(QStringLiteral("MountPoint")).toString();
    return mMountPoint;
}

QString LoggerSDCard::readLoggerPath()
{
    if (mInterface == nullptr)
        return QString();
    QDBusPendingReply<QString> reply = mInterface->GetDirPath(QString::fromLatin1(kLoggerDirId));
    reply.waitForFinished();
    if (reply.isValid()) {
        mLoggerPath = firstArgument<QString>(reply);
    } else {
        TRACK_ERROR(*this, failedCallText(QStringLiteral("GetDirPath"), reply.error()));
        mLoggerPath.clear();
    }
    return mLoggerPath;
}

qint64 LoggerSDCard::readLoggerSize()
{
    if (mInterface == nullptr)
        return 0;
    QDBusPendingReply<qlonglong> reply = mInterface->GetDirSize(QString::fromLatin1(kLoggerDirId));
    reply.waitForFinished();
    if (reply.isValid()) {
        mLoggerSize = firstArgument<qlonglong>(reply);
    } else {
        TRACK_ERROR(*this, failedCallText(QStringLiteral("GetDirSize"), reply.error()));
        mLoggerSize = 0;
    }
    return mLoggerSize;
}

QString LoggerSDCard::getSdcardStateString(LoggerSdcState state)
{
    switch (state) {
    case SDC_NOT_INITIALIZED:
        return QStringLiteral("not initialized");
    case SDC_NO_SDCARD:
        return QStringLiteral("no SD-Card");
    case SDC_NOT_MOUNTABLE:
        return QStringLiteral("not mountable");
    case SDC_MOUNTED:
        return QStringLiteral("mounted");
    case SDC_UNMOUNTED:
        return QStringLiteral("unmounted");
    case SDC_CLOSING_FILES:
        return QStringLiteral("closing files");
    case SDC_MOUNTING:
        return QStringLiteral("moubting");
    }
    return QStringLiteral("unknown");
}

// Properties are read by an explicit Get, so that the value arrives as the service sent it and
// the caller decides how to convert it: a State sent as a string would otherwise be refused by
// the typed property of the proxy without a trace of what came.
QVariant LoggerSDCard::readProperty(const QString& name) const
{
    QDBusMessage request =
        QDBusMessage::createMethodCall(mInterface->service(), mInterface->path(),
                                       QString::fromLatin1(kPropertiesInterface), QStringLiteral("Get"));
    request << mInterface->interface() << name;
    QDBusPendingReply<QDBusVariant> reply =
        mInterface->connection().asyncCall(request, mInterface->timeout());
    reply.waitForFinished();
    if (!reply.isValid()) {
        TRACK_ERROR(*this, failedCallText(QStringLiteral("Get ") + name, reply.error()));
        return QVariant();
    }
    return firstArgument<QDBusVariant>(reply).variant();
}

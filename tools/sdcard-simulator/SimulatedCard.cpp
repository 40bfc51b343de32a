#include "SimulatedCard.h"

#include "CardInterfaceXml.h"

#include <QDBusMessage>
#include <QDBusVariant>
#include <QMutexLocker>

namespace {

constexpr const char* kPropertiesInterface = "org.freedesktop.DBus.Properties";
constexpr int kMounted = 3;

QDBusMessage invalidArguments(const QDBusMessage& message)
{
    return message.createErrorReply(QDBusError::InvalidArgs,
                                    QStringLiteral("Invalid arguments '%1' for %2.%3")
                                        .arg(message.signature(), message.interface(), message.member()));
}

} // namespace

QStringList SimulatedCard::replyModeNames()
{
    return {QStringLiteral("normal"), QStringLiteral("error"), QStringLiteral("silent")};
}

bool SimulatedCard::replyModeFromName(const QString& name, ReplyMode* mode)
{
    const int index = replyModeNames().indexOf(name);
    if (index < 0)
        return false;
    *mode = static_cast<ReplyMode>(index);
    return true;
}

SimulatedCard::SimulatedCard(const QDBusConnection& bus, QObject* parent)
    : QDBusVirtualObject(parent), mBus(bus), mState(0)
{
}

void SimulatedCard::setState(int state)
{
    QMutexLocker lock(&mMutex);
    mState = state;
}

void SimulatedCard::setStateRaw(const QString& state)
{
    QMutexLocker lock(&mMutex);
    mState = state;
}

void SimulatedCard::setMountPoint(const QString& mountPoint)
{
    QMutexLocker lock(&mMutex);
    mMountPoint = mountPoint;
}

void SimulatedCard::setLoggerPath(const QString& loggerPath)
{
    QMutexLocker lock(&mMutex);
    mLoggerPath = loggerPath;
}

void SimulatedCard::setLoggerSize(qint64 bytes)
{
    QMutexLocker lock(&mMutex);
    mLoggerSize = bytes;
}

void SimulatedCard::setMemState(int memState)
{
    QMutexLocker lock(&mMutex);
    mMemState = memState;
}

void SimulatedCard::setReplyMode(ReplyMode mode)
{
    QMutexLocker lock(&mMutex);
    mReplyMode = mode;
}

bool SimulatedCard::emitSignal(const QString& name, const QVariantList& arguments)
{
    QDBusMessage signal = QDBusMessage::createSignal(QString::fromLatin1(kObjectPath),
                                                     QString::fromLatin1(kInterfaceName), name);
    signal.setArguments(arguments);
    return mBus.send(signal);
}

QString SimulatedCard::introspect(const QString& path) const
{
    if (path != QLatin1String(kObjectPath))
        return QString();
    return QString::fromUtf8(kCardInterfaceXml) + QLatin1Char('\n');
}

// Introspection and Peer are left to Qt and libdbus; everything else on the object is answered
// here.
bool SimulatedCard::handleMessage(const QDBusMessage& message, const QDBusConnection& connection)
{
    if (message.type() != QDBusMessage::MethodCallMessage || message.path() != QLatin1String(kObjectPath))
        return false;
    const bool isPropertiesCall = message.interface() == QLatin1String(kPropertiesInterface);
    if (!isPropertiesCall && !message.interface().isEmpty() &&
        message.interface() != QLatin1String(kInterfaceName))
        return false;

    ReplyMode mode;
    {
        QMutexLocker lock(&mMutex);
        mode = mReplyMode;
    }
    // A silent call counts as handled, so that Qt sends no error in its place either.
    if (mode == ReplyMode::Silent)
        return true;
    if (mode == ReplyMode::Error) {
        return connection.send(message.createErrorReply(
            QString::fromLatin1(kFailedError),
            QStringLiteral("The simulated card service fails every call (reply mode error)")));
    }
    return connection.send(isPropertiesCall ? propertiesCall(message) : cardCall(message));
}

QVariant SimulatedCard::propertyValue(const QString& name) const
{
    QMutexLocker lock(&mMutex);
    if (name == QLatin1String("IsMounted"))
        return mState.userType() == QMetaType::Int && mState.toInt() == kMounted;
    if (name == QLatin1String("MemLevel"))
        return mMemLevel;
    if (name == QLatin1String("MemState"))
        return mMemState;
    if (name == QLatin1String("MountPoint"))
        return mMountPoint;
    if (name == QLatin1String("State"))
        return mState;
    if (name == QLatin1String("Transition"))
        return mTransition;
    return QVariant();
}

QVariantMap SimulatedCard::allProperties() const
{
    QVariantMap properties;
    for (const char* name : {"IsMounted", "MemLevel", "MemState", "MountPoint", "State", "Transition"})
        properties.insert(QString::fromLatin1(name), propertyValue(QString::fromLatin1(name)));
    return properties;
}

QDBusMessage SimulatedCard::propertiesCall(const QDBusMessage& message) const
{
    const QVariantList arguments = message.arguments();
    const QString interface = arguments.value(0).toString();
    if (!interface.isEmpty() && interface != QLatin1String(kInterfaceName)) {
        return message.createErrorReply(QDBusError::UnknownInterface,
                                        QStringLiteral("No such interface '%1'").arg(interface));
    }
    const QString member = message.member();
    if (member == QLatin1String("Get") && message.signature() == QLatin1String("ss")) {
        const QString name = arguments.value(1).toString();
        const QVariant value = propertyValue(name);
        if (!value.isValid()) {
            return message.createErrorReply(QDBusError::UnknownProperty,
                                            QStringLiteral("No such property '%1'").arg(name));
        }
        return message.createReply(QVariant::fromValue(QDBusVariant(value)));
    }
    if (member == QLatin1String("GetAll") && message.signature() == QLatin1String("s"))
        return message.createReply(allProperties());
    if (member == QLatin1String("Set") && message.signature() == QLatin1String("ssv")) {
        return message.createErrorReply(
            QDBusError::PropertyReadOnly,
            QStringLiteral("Property '%1' is read-only").arg(arguments.value(1).toString()));
    }
    if (member == QLatin1String("Get") || member == QLatin1String("GetAll") || member == QLatin1String("Set"))
        return invalidArguments(message);
    return message.createErrorReply(QDBusError::UnknownMethod,
                                    QStringLiteral("No such method '%1'").arg(member));
}

// GetDirPath answers the logger path for the id "logger" and a folder below the mount point for
// any other id; GetDirSize the logger size for "logger" and 0 otherwise. EnsureDirSize does
// nothing, RefreshMemState answers MemState, getDirUsed answers 0.
QDBusMessage SimulatedCard::cardCall(const QDBusMessage& message) const
{
    const QString member = message.member();
    const QString signature = message.signature();
    const QString id = message.arguments().value(0).toString();
    const bool isLogger = id == QLatin1String(kLoggerDirId);
    QMutexLocker lock(&mMutex);

    if (member == QLatin1String("EnsureDirSize"))
        return signature == QLatin1String("s") ? message.createReply() : invalidArguments(message);
    if (member == QLatin1String("GetDirPath")) {
        if (signature != QLatin1String("s"))
            return invalidArguments(message);
        return message.createReply(isLogger ? mLoggerPath : mMountPoint + QLatin1Char('/') + id);
    }
    if (member == QLatin1String("GetDirSize")) {
        if (signature != QLatin1String("s"))
            return invalidArguments(message);
        return message.createReply(static_cast<qlonglong>(isLogger ? mLoggerSize : 0));
    }
    if (member == QLatin1String("RefreshMemState"))
        return signature.isEmpty() ? message.createReply(mMemState) : invalidArguments(message);
    if (member == QLatin1String("getDirUsed")) {
        if (signature != QLatin1String("s"))
            return invalidArguments(message);
        return message.createReply(static_cast<qlonglong>(0));
    }
    return message.createErrorReply(
        QDBusError::UnknownMethod,
        QStringLiteral("No such method '%1' in interface '%2'").arg(member, QLatin1String(kInterfaceName)));
}

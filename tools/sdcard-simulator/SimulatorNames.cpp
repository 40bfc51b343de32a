#include "SimulatorNames.h"

#include <QDBusConnectionInterface>
#include <QDBusReply>

namespace {

constexpr const char* kBusService = "org.freedesktop.DBus";
constexpr const char* kBusPath = "/org/freedesktop/DBus";
constexpr const char* kBusInterface = "org.freedesktop.DBus";

} // namespace

SimulatorNames::SimulatorNames(const QDBusConnection& bus, bool replaceExisting, QObject* parent)
    : QObject(parent), mBus(bus), mReplaceExisting(replaceExisting)
{
    mBus.connect(QString::fromLatin1(kBusService), QString::fromLatin1(kBusPath),
                 QString::fromLatin1(kBusInterface), QStringLiteral("NameLost"), this,
                 SLOT(nameLost(QString)));
}

bool SimulatorNames::acquire()
{
    if (!request(QString::fromLatin1(kCardServiceName), mReplaceExisting))
        return false;
    mOwnsCard = true;
    if (!request(QString::fromLatin1(kControlServiceName), mReplaceExisting))
        return false;
    mOwnsControl = true;
    return true;
}

bool SimulatorNames::releaseCard()
{
    if (!mOwnsCard)
        return true;
    // Cleared first: the NameLost that the release brings is no loss to another owner.
    mOwnsCard = false;
    return release(QString::fromLatin1(kCardServiceName));
}

bool SimulatorNames::acquireCard()
{
    if (mOwnsCard)
        return true;
    if (!request(QString::fromLatin1(kCardServiceName), false))
        return false;
    mOwnsCard = true;
    return true;
}

void SimulatorNames::releaseAll()
{
    releaseCard();
    if (mOwnsControl) {
        mOwnsControl = false;
        release(QString::fromLatin1(kControlServiceName));
    }
}

bool SimulatorNames::request(const QString& name, bool replaceExisting)
{
    const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> reply =
        mBus.interface()->registerService(name,
                                          replaceExisting ? QDBusConnectionInterface::ReplaceExistingService
                                                          : QDBusConnectionInterface::DontQueueService,
                                          QDBusConnectionInterface::AllowReplacement);
    if (!reply.isValid()) {
        mError = QStringLiteral("cannot own %1: %2").arg(name, reply.error().message());
        return false;
    }
    if (reply.value() != QDBusConnectionInterface::ServiceRegistered) {
        mError = QStringLiteral("cannot own %1: another connection owns it").arg(name);
        return false;
    }
    return true;
}

bool SimulatorNames::release(const QString& name)
{
    const QDBusReply<bool> reply = mBus.interface()->unregisterService(name);
    if (!reply.isValid() || !reply.value()) {
        mError = QStringLiteral("cannot give up %1: %2")
                     .arg(name, reply.isValid() ? QStringLiteral("not owned") : reply.error().message());
        return false;
    }
    return true;
}

// NameLost also comes for a name that this simulator gave up itself, and it may come late: after
// a Disappear and a Reappear the loss of the first ownership can arrive while the name is owned
// again. A name counts as taken only where the simulator means to own it and the bus gives it to
// someone else.
void SimulatorNames::nameLost(const QString& name)
{
    const bool isCard = name == QLatin1String(kCardServiceName);
    const bool isControl = name == QLatin1String(kControlServiceName);
    if (mReplaced || (isCard && !mOwnsCard) || (isControl && !mOwnsControl) || (!isCard && !isControl))
        return;
    const QDBusReply<QString> owner = mBus.interface()->serviceOwner(name);
    const QString newOwner = owner.isValid() ? owner.value() : QString();
    if (newOwner == mBus.baseService())
        return;
    mReplaced = true;
    if (isCard)
        mOwnsCard = false;
    else
        mOwnsControl = false;
    emit replaced(name, newOwner);
}

#include "CardSignalRecorder.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <QDeadlineTimer>
#include <QMutexLocker>
#include <QObject>

#include <array>

namespace {

constexpr const char* kServiceName = "qz.SDCard1";
constexpr const char* kObjectPath = "/qz/sdcard";
constexpr const char* kInterfaceName = "qz.SDCard1";
constexpr const char* kPropertiesInterface = "org.freedesktop.DBus.Properties";

// The signals of /qz/sdcard that the recorder follows, with the receiver's slots.
struct CardSignal {
    const char* name;
    const char* slot;
};
// Made at each use rather than at static initialisation: SLOT() may call into Qt.
std::array<CardSignal, 4> cardSignals()
{
    return {{{"EjectPressed", SLOT(ejectPressed())},
             {"CardMounted", SLOT(cardMounted())},
             {"CardCorrupt", SLOT(cardCorrupt())},
             {"MemStateChanged", SLOT(memStateChanged(int))}}};
}

} // namespace

// The part of the recorder that lives on its thread: the connection's slots and the watcher.
class CardSignalReceiver : public QObject {
    Q_OBJECT
public:
    explicit CardSignalReceiver(CardSignalRecorder* recorder) : mRecorder(recorder) {}

    // Runs on the receiver's thread; the bus is opened here.
    bool connectToCard(QString* error)
    {
        QDBusConnection bus = QDBusConnection::systemBus();
        if (!bus.isConnected()) {
            *error = QStringLiteral("no system bus: %1").arg(bus.lastError().message());
            return false;
        }
        mWatcher = new QDBusServiceWatcher(QString::fromLatin1(kServiceName), bus,
                                           QDBusServiceWatcher::WatchForOwnerChange, this);
        connect(mWatcher, &QDBusServiceWatcher::serviceOwnerChanged, this, &CardSignalReceiver::ownerChanged);
        for (const CardSignal& signal : cardSignals()) {
            if (!bus.connect(QString::fromLatin1(kServiceName), QString::fromLatin1(kObjectPath),
                             QString::fromLatin1(kInterfaceName), QString::fromLatin1(signal.name), this,
                             signal.slot)) {
                *error =
                    QStringLiteral("cannot connect to %1: %2").arg(signal.name, bus.lastError().message());
                return false;
            }
        }
        // The bus handles a connection's messages in order: once it has answered this call, it
        // has taken every subscription sent before.
        const QDBusMessage ping = bus.call(QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
            QStringLiteral("org.freedesktop.DBus.Peer"), QStringLiteral("Ping")));
        if (ping.type() != QDBusMessage::ReplyMessage) {
            *error = QStringLiteral("the bus does not answer: %1").arg(ping.errorMessage());
            return false;
        }
        return true;
    }

    void disconnectFromCard()
    {
        QDBusConnection bus = QDBusConnection::systemBus();
        for (const CardSignal& signal : cardSignals()) {
            bus.disconnect(QString::fromLatin1(kServiceName), QString::fromLatin1(kObjectPath),
                           QString::fromLatin1(kInterfaceName), QString::fromLatin1(signal.name), this,
                           signal.slot);
        }
        delete mWatcher;
        mWatcher = nullptr;
    }

private slots:
    void ejectPressed()
    {
        mRecorder->record(QStringLiteral("EjectPressed State=%1").arg(readProperty("State")));
    }
    void cardMounted()
    {
        mRecorder->record(QStringLiteral("CardMounted State=%1").arg(readProperty("State")));
    }
    void cardCorrupt()
    {
        mRecorder->record(QStringLiteral("CardCorrupt State=%1").arg(readProperty("State")));
    }
    void memStateChanged(int state)
    {
        mRecorder->record(
            QStringLiteral("MemStateChanged %1 MemState=%2").arg(state).arg(readProperty("MemState")));
    }
    void ownerChanged(const QString&, const QString& oldOwner, const QString& newOwner)
    {
        mRecorder->record(QStringLiteral("NameOwnerChanged '%1' '%2'").arg(oldOwner, newOwner));
    }

private:
    // What a client reads on the signal: a Get to the card service, on this thread.
    QString readProperty(const char* name) const
    {
        QDBusMessage get = QDBusMessage::createMethodCall(
            QString::fromLatin1(kServiceName), QString::fromLatin1(kObjectPath),
            QString::fromLatin1(kPropertiesInterface), QStringLiteral("Get"));
        get << QString::fromLatin1(kInterfaceName) << QString::fromLatin1(name);
        const QDBusMessage reply = QDBusConnection::systemBus().call(get);
        if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
            return QStringLiteral("?");
        return reply.arguments().first().value<QDBusVariant>().variant().toString();
    }

    CardSignalRecorder* mRecorder;
    QDBusServiceWatcher* mWatcher = nullptr;
};

CardSignalRecorder::~CardSignalRecorder()
{
    stop();
}

bool CardSignalRecorder::start()
{
    stop();
    mError.clear();
    mReceiver = new CardSignalReceiver(this);
    mReceiver->moveToThread(&mThread);
    mThread.start();
    bool connected = false;
    QString error;
    QMetaObject::invokeMethod(
        mReceiver, [&] { connected = mReceiver->connectToCard(&error); }, Qt::BlockingQueuedConnection);
    if (!connected) {
        mError = error;
        stop();
        return false;
    }
    return true;
}

void CardSignalRecorder::stop()
{
    if (mReceiver == nullptr)
        return;
    CardSignalReceiver* receiver = mReceiver;
    QMetaObject::invokeMethod(
        receiver,
        [receiver] {
            receiver->disconnectFromCard();
            receiver->deleteLater();
        },
        Qt::BlockingQueuedConnection);
    mReceiver = nullptr;
    // The thread deletes the receiver as it finishes.
    mThread.quit();
    mThread.wait();
}

void CardSignalRecorder::record(const QString& event)
{
    QMutexLocker lock(&mMutex);
    mEvents.append(event);
    mEventAdded.wakeAll();
}

bool CardSignalRecorder::waitForEvent(const QString& event, int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    QMutexLocker lock(&mMutex);
    while (!mEvents.contains(event)) {
        if (!mEventAdded.wait(&mMutex, deadline))
            return mEvents.contains(event);
    }
    return true;
}

bool CardSignalRecorder::waitForEventCount(int count, int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    QMutexLocker lock(&mMutex);
    while (mEvents.size() < count) {
        if (!mEventAdded.wait(&mMutex, deadline))
            return mEvents.size() >= count;
    }
    return true;
}

QStringList CardSignalRecorder::events() const
{
    QMutexLocker lock(&mMutex);
    return mEvents;
}

void CardSignalRecorder::clear()
{
    QMutexLocker lock(&mMutex);
    mEvents.clear();
}

#include "CardSignalRecorder.moc"

#pragma once

#include <QDBusConnection>
#include <QDBusVirtualObject>
#include <QMutex>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantList>

class QDBusMessage;

// Plays the object /qz/sdcard of the card service: interface qz.SDCard1 with its properties,
// methods and signals, and the standard Properties interface over it. The object answers the
// messages itself rather than through an adaptor, because a misbehaving service must be
// playable: the property State is served as whatever value it was given, a string included.
//
// The reply mode covers every call on /qz/sdcard, property reads included, apart from
// introspection and Peer, which the object leaves to Qt and libdbus: a client must still be
// able to build its proxy of a failing service.
//
// Qt may call handleMessage on its own bus thread, while the setters run on the main thread;
// mMutex guards every member below it.
class SimulatedCard : public QDBusVirtualObject {
    Q_OBJECT
public:
    static constexpr const char* kServiceName = "qz.SDCard1";
    static constexpr const char* kObjectPath = "/qz/sdcard";
    static constexpr const char* kInterfaceName = "qz.SDCard1";
    static constexpr const char* kLoggerDirId = "logger";
    static constexpr const char* kFailedError = "qz.SDCard1.Error.Failed";

    // How the object answers the calls of clients: as a working service, with an error to
    // every call, or not at all, so that a client's call runs into its timeout.
    enum class ReplyMode { Normal, Error, Silent };
    // The names that SetReplyMode and --reply-mode take, in the order of the enum.
    static QStringList replyModeNames();
    // False, leaving mode as it is, where name is none of replyModeNames().
    static bool replyModeFromName(const QString& name, ReplyMode* mode);

    explicit SimulatedCard(const QDBusConnection& bus, QObject* parent = nullptr);

    // State as a number; IsMounted follows it (true in 3, mounted).
    void setState(int state);
    // State as a string, which a well-behaved service never sends.
    void setStateRaw(const QString& state);
    void setMountPoint(const QString& mountPoint);
    void setLoggerPath(const QString& loggerPath);
    void setLoggerSize(qint64 bytes);
    void setMemState(int memState);
    void setReplyMode(ReplyMode mode);

    // Sends a signal of qz.SDCard1 from /qz/sdcard.
    bool emitSignal(const QString& name, const QVariantList& arguments = QVariantList());

    QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

private:
    QVariant propertyValue(const QString& name) const;
    QVariantMap allProperties() const;
    QDBusMessage propertiesCall(const QDBusMessage& message) const;
    QDBusMessage cardCall(const QDBusMessage& message) const;

    QDBusConnection mBus;
    mutable QMutex mMutex;
    QVariant mState;
    QString mMountPoint;
    QString mLoggerPath;
    qint64 mLoggerSize = 0;
    int mMemState = 0;
    int mMemLevel = 0;
    int mTransition = 0;
    ReplyMode mReplyMode = ReplyMode::Normal;
};

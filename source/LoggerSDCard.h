#pragma once

#include "LoggerSdcState.h"
#include "LoggerState.h"
#include "TrackObject.h"

#include <QMutex>
#include <QPointer>
#include <QString>
#include <QThread>
#include <QWaitCondition>
#include <QtGlobal>

#include <atomic>
#include <string>
#include <vector>

class DBusSDCard1Interface;
class QDBusConnection;
class QDBusServiceWatcher;
class QVariant;

// The store's client of the SD-card service "qz.SDCard1" on the system bus. It learns from the
// service the card's state, its mount point, and the folder and size of the logger's partition,
// and it follows eject, mount and corruption of the card: on each it stops, closes, opens and
// starts the loggers and the catalogue, and posts the states, in step with the card.
//
// Two ways of running, chosen by the program's name at initialize():
//   - the background daemon (every program whose name does not contain "generator"): the
//     client moves to a D-Bus thread of its own with its own event loop, which opens the system
//     bus first (a bus first opened on a thread without an event loop delivers no signals to
//     the process), watches the service come and go, and handles every card event; the host's
//     threads need no event loop;
//   - the command service (names containing "generator"): it works on the caller's thread, and
//     card events reach it only where that thread runs an event loop.
//
// Card events in the writer: EjectPressed and CardCorrupt stop the loggers (which closes the
// catalogue) and make the store not readable; CardMounted makes it readable and starts the
// loggers again where the writer wished so (LoggerList::shouldStartLoggers), or opens the
// catalogue. In a reader: EjectPressed closes the reader's catalogue, CardMounted opens it.
//
// The read operations ask the service and store the answer; the get operations return what was
// stored last. A proxy of the service exists while the service is there. Reads may come from
// any thread: they address the service by name and never touch the proxy, which lives on the
// D-Bus thread and only carries the signals; mValuesMutex guards the stored answers. Log lines
// go to the category "Logger.Sdcard"; errors count into TrackObject's error counter.
class LoggerSDCard : public QThread, public TrackObject {
    Q_OBJECT
public:
    // Calls to the service wait this long for an answer: a service that does not answer must
    // not hold the card's thread for Qt's default of 25 seconds per call.
    static constexpr int kServiceCallTimeoutMs = 2500;

    // A new client, or null where memory is short. The caller owns it.
    static LoggerSDCard* createInstance();

    // Where a D-Bus thread exists, ends it and waits for it; otherwise drops the proxy.
    ~LoggerSDCard() override;
    LoggerSDCard(const LoggerSDCard&) = delete;
    LoggerSDCard& operator=(const LoggerSDCard&) = delete;

    // Starts the client; call it once. The daemon returns true once its D-Bus thread has set
    // up, whatever it found: without a bus or a service it keeps waiting for the service, and
    // isInitialized() stays false until it comes. The command service answers false without a
    // bus ("Systembus (DBUS) is not available"), without the service ("qz.SDCard1 is not
    // registered") or where the proxy does not come up.
    bool initialize();
    // Whether this process is the writer (LoggerDb::isWriter).
    static bool isWriter();
    // The connection that the proxy is made on: the system bus.
    static QDBusConnection getBus();
    // Posts the state through LoggerDb in the writer; does nothing in a reader.
    void setLoggerState(LoggerState state);
    // Posts the LoggerState of a card state: 1 and 2 give "sd corrupt" (96), 3 "sd mounted"
    // (32), 4 "sd eject" (64); other values post nothing.
    void sendCurrentState(LoggerSdcState state);
    // Sends loggerStateChanged(state) to the connected receivers.
    void emitState(LoggerState state);
    // Drops the proxy; the watcher stays and brings a new one when the service returns.
    void stopSDCard();
    // "SDcard state=3, mountpoint='...', loggerpath='...', loggersize=N (x.xxxxxx GB)".
    QString getInfoString() const;
    static QString getSdcardStateString(LoggerSdcState state);

    // Connects loggerStateChanged(LoggerState) to the receiver's slot of the same signature.
    // One object per class: a second object of a class already registered is refused with a
    // warning and gets no signal. The class name is registered also where the receiver has no
    // such slot; the answer is then false.
    bool connectReceiver(QObject* receiver);
    // Removes every registration of the receiver's class and disconnects it.
    bool disconnectReceiver(QObject* receiver);
    // Whether a receiver of this class name is registered.
    bool contains(const std::string& className) const;

    // Brings up the proxy of the service on the system bus, drops an earlier one, connects the
    // four card signals, marks the client initialized, reads state, mount point, logger path
    // and logger size, and posts the state. False, with the earlier proxy kept, where the proxy
    // cannot be made (no bus, no service); false, with the new proxy kept but not initialized,
    // where a signal does not connect ("LoggerSDCard, DBUS not connected"). Signals are
    // delivered on the thread that calls it, through that thread's event loop.
    bool initializeInterface();
    // Disconnects the signals and deletes the proxy; the stored values stay.
    void releaseInterface();

    LoggerSdcState getSdState() const;
    void SetSdState(LoggerSdcState state);
    // True only in SDC_MOUNTED.
    bool isSDCardMounted() const;
    QString getMountPoint() const;
    QString getLoggerPath() const;
    qint64 getLoggerSize() const;
    // Set once a proxy has come up; it stays set when the service goes.
    bool isInitialized() const;
    // The last card event: after one exactly one of eject, mounted and corrupt is set, and a
    // corrupt card counts as ejected too.
    bool isEjectSeen() const;
    bool isMountedSeen() const;
    bool isCorruptSeen() const;
    // The last value of MemStateChanged, 0 at start.
    int getMemState() const;
    // Whether the client runs a D-Bus thread of its own (the background daemon).
    bool hasDBusThread() const;
    // Whether initialize() succeeded; it is not to be called again then.
    bool isStarted() const;
    // Ends the D-Bus thread and waits for it; its cleanup runs on it as it ends. Nothing where
    // there is none or when called on it.
    void stopDBusThread();

    // Ask the service and store the answer. readState reads the property State, and a value that
    // is no integer stores SDC_NOT_INITIALIZED; readMountPoint reads the property MountPoint;
    // readLoggerPath and readLoggerSize call GetDirPath("logger") and GetDirSize("logger"). A
    // failed call stores and returns what a missing answer converts to: 0 or an empty text.
    // Without a proxy nothing is asked and nothing stored: readState returns the stored state,
    // the others an empty text or 0.
    LoggerSdcState readState();
    QString readMountPoint();
    QString readLoggerPath();
    qint64 readLoggerSize();

signals:
    void startDBusThread();
    void signalDatabaseInitialized();
    void signalDatabaseClosed();
    void loggerStateChanged(LoggerState state);

public slots:
    // On the D-Bus thread, as it starts: opens the bus, watches the service and brings the
    // proxy up where the service is there; wakes initialize() on every path.
    void setupDBusConnection();
    // On the D-Bus thread, as it ends.
    void cleanupDBusConnection();
    void serviceOwnerChanged(const QString& service, const QString& oldOwner, const QString& newOwner);
    void EjectPressed();
    void CardMounted();
    void CardCorrupt();
    void MemStateChanged(int state);

private:
    LoggerSDCard();

    bool initializeDaemon(const QString& program);
    bool initializeCommandService(const QString& program);
    bool createWatcher(QDBusConnection& bus);
    bool hasInterface() const;
    // The value of one property of the service; invalid where the call failed.
    QVariant readProperty(const QString& name);
    // The thread id for log lines.
    static QString threadText();
    // The program's name, which chooses daemon or command service.
    static QString programName();

    QMutex mMutex;            // guards the wait of initialize() only
    QWaitCondition mInitDone; // wakes the thread that runs initialize()
    bool mSetupDone = false;  // under mMutex: the D-Bus thread finished its setup
    // Written on the thread of the card events, read anywhere.
    std::atomic<bool> mEjectSeen{false};
    std::atomic<bool> mMountedSeen{false};
    std::atomic<bool> mCorruptSeen{false};
    mutable QMutex mValuesMutex; // guards the stored answers and the proxy pointer below
    LoggerSdcState mState = SDC_NOT_INITIALIZED;
    QString mMountPoint;
    QString mLoggerPath;
    qint64 mLoggerSize = 0;                     // bytes
    DBusSDCard1Interface* mInterface = nullptr; // owned; null while the service is absent
    std::atomic<bool> mInitialized{false};
    std::atomic<bool> mStarted{false};
    QPointer<QThread> mDBusThread; // only in the background daemon
    std::vector<std::string> mReceivers;
    const QString mServiceName;
    const QString mObjectPath;
    std::atomic<int> mMemState{0};
    QDBusServiceWatcher* mWatcher = nullptr; // owned, on the D-Bus thread
};

#pragma once

#include "ReadyLineProcess.h"

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

// A dbus-daemon of the test's own that stands in for the system bus: its configuration and
// socket live in a fresh temporary directory, and start() points DBUS_SYSTEM_BUS_ADDRESS of the
// test process at it, so that QDBusConnection::systemBus() and every helper program started
// afterwards use it. The daemon is stopped by its process id and reaped when the object goes.
//
// Qt connects to the system bus once per process, on first use; so start() must come before
// anything touches QDBusConnection::systemBus(), and one process can use one such bus only.
// That is why every test of the card service runs in a process of its own.
class PrivateSystemBus {
public:
    static constexpr int kStartTimeoutMs = 10000;

    PrivateSystemBus() = default;
    ~PrivateSystemBus();
    PrivateSystemBus(const PrivateSystemBus&) = delete;
    PrivateSystemBus& operator=(const PrivateSystemBus&) = delete;

    // Starts the daemon, waits until it listens and sets DBUS_SYSTEM_BUS_ADDRESS.
    bool start(int timeoutMs = kStartTimeoutMs);
    // Stops the daemon and gives DBUS_SYSTEM_BUS_ADDRESS back its earlier value.
    void stop();

    bool isRunning() const { return mDaemon.isRunning(); }
    QString address() const { return mAddress; }
    pid_t processId() const { return mDaemon.processId(); }
    QString errorString() const { return mError; }

private:
    QTemporaryDir mDirectory;
    ReadyLineProcess mDaemon;
    QString mAddress;
    QString mError;
    bool mEnvironmentSet = false;
    bool mHadAddress = false;
    QByteArray mEarlierAddress;
};

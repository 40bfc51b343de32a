#pragma once

#include "ReadyLineProcess.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariantList>

class QDBusConnection;

// The card simulator qz-sdcard-simulator, run on the private system bus of the test. The path
// of the program comes from the environment variable QZLOGGER_SDCARD_SIMULATOR, which the build
// sets for the tests. start() returns once the simulator owns the names qz.SDCard1 and
// qz.SDCard1.Simulator; the object stops it by its process id and reaps it when it goes.
//
// Control calls go to qz.SDCard1.Simulator, which the simulator keeps while the card's name is
// away. They and the waits for names use a connection of their own, "qzlogger-test-control",
// never QDBusConnection::systemBus(): where the main thread of a test, which runs no event loop,
// opens the default system bus first, Qt holds back every D-Bus signal of the process, also
// those for a card client on a thread with its own loop. A named connection leaves the default
// bus alone: signals reach a client thread that opens systemBus() after it, as they do where
// nothing was opened before.
class CardSimulatorProcess {
public:
    static constexpr const char* kProgramVariable = "QZLOGGER_SDCARD_SIMULATOR";
    static constexpr const char* kReadyLine = "qz-sdcard-simulator: ready";
    static constexpr const char* kCardServiceName = "qz.SDCard1";
    static constexpr const char* kControlServiceName = "qz.SDCard1.Simulator";
    static constexpr const char* kControlConnectionName = "qzlogger-test-control";
    static constexpr int kTimeoutMs = 10000;

    CardSimulatorProcess() = default;
    ~CardSimulatorProcess();
    CardSimulatorProcess(const CardSimulatorProcess&) = delete;
    CardSimulatorProcess& operator=(const CardSimulatorProcess&) = delete;

    // options are the simulator's command line options, e.g. {"--state", "4"}.
    bool start(const QStringList& options = QStringList(), int timeoutMs = kTimeoutMs);
    // Stops the simulator and waits until its connection has left the bus, with its names.
    bool stop(int timeoutMs = kTimeoutMs);

    // Calls method of qz.SDCard1.Control on /qz/sdcard/control and waits for the answer.
    bool control(const QString& method, const QVariantList& arguments = QVariantList());
    // The card events and the behaviour of the service, one control call each.
    bool eject();
    bool mount();
    bool corrupt();
    bool setMemState(int state);
    bool disappear();
    bool reappear();
    // "normal", "error" or "silent".
    bool setReplyMode(const QString& mode);
    // Quit through the control interface; waits for the end of the program, which must exit
    // with 0, and of its connection.
    bool quit(int timeoutMs = kTimeoutMs);
    // Waits until the simulator ends by itself, as it does when another has replaced it; it
    // must exit with 0.
    bool waitForExit(int timeoutMs = kTimeoutMs);

    bool isRunning() const { return mProcess.isRunning(); }
    pid_t processId() const { return mProcess.processId(); }
    // The simulator's unique name on the bus, e.g. ":1.4"; empty before start().
    QString uniqueName() const { return mUniqueName; }
    QString errorString() const { return mError; }

    static QString program();
    // The connection of the control calls, opened on first use.
    static QDBusConnection controlBus();
    // Waits until qz.SDCard1 is, or is no longer, registered on the system bus.
    static bool waitForService(bool registered, int timeoutMs = kTimeoutMs);
    // Waits until name (a well-known or a unique one) is, or is no longer, on the bus.
    static bool waitForName(const QString& name, bool registered, int timeoutMs = kTimeoutMs);

    // Runs the program in client mode with options (e.g. {"--eject"}) as a child process and
    // waits for its end; true where it exited with 0. Its standard error goes to the test's.
    static bool runClient(const QStringList& options, int timeoutMs = kTimeoutMs);
    // The same, for the tests of client mode itself: the exit code, or -1 where the program did
    // not end by itself within timeoutMs (it is then killed and reaped), with what it wrote to
    // standard error.
    static int clientExitCode(const QStringList& options, QByteArray* standardError,
                              int timeoutMs = kTimeoutMs);

private:
    // how the end came, for the error text: "after Quit", "by itself".
    bool waitForExitStatusZero(int timeoutMs, const QString& how);

    ReadyLineProcess mProcess;
    QString mUniqueName;
    QString mError;
};

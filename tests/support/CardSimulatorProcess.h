#pragma once

#include "ReadyLineProcess.h"

#include <QString>
#include <QStringList>
#include <QVariantList>

// The card simulator qz-sdcard-simulator, run on the private system bus of the test. The path
// of the program comes from the environment variable QZLOGGER_SDCARD_SIMULATOR, which the build
// sets for the tests. start() returns once the simulator owns the name qz.SDCard1; the object
// stops it by its process id and reaps it when it goes.
class CardSimulatorProcess {
public:
    static constexpr const char* kProgramVariable = "QZLOGGER_SDCARD_SIMULATOR";
    static constexpr const char* kReadyLine = "qz-sdcard-simulator: ready";
    static constexpr int kTimeoutMs = 10000;

    CardSimulatorProcess() = default;
    ~CardSimulatorProcess();
    CardSimulatorProcess(const CardSimulatorProcess&) = delete;
    CardSimulatorProcess& operator=(const CardSimulatorProcess&) = delete;

    // options are the simulator's command line options, e.g. {"--state", "4"}.
    bool start(const QStringList& options = QStringList(), int timeoutMs = kTimeoutMs);
    // Stops the simulator and waits until the bus no longer knows the name.
    bool stop(int timeoutMs = kTimeoutMs);

    // Calls method of qz.SDCard1.Control on /qz/sdcard/control and waits for the answer.
    bool control(const QString& method, const QVariantList& arguments = QVariantList());
    // Quit through the control interface; waits for the end of the program, which must exit
    // with 0, and of the name.
    bool quit(int timeoutMs = kTimeoutMs);

    bool isRunning() const { return mProcess.isRunning(); }
    pid_t processId() const { return mProcess.processId(); }
    QString errorString() const { return mError; }

    static QString program();
    // Waits until qz.SDCard1 is, or is no longer, registered on the system bus.
    static bool waitForService(bool registered, int timeoutMs = kTimeoutMs);

private:
    ReadyLineProcess mProcess;
    QString mError;
};

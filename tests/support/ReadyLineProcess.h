#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <sys/types.h>

// A helper program run as a direct child of the test: a bus daemon, the card simulator. Its
// standard output comes through a pipe, so that the test can wait for the line by which the
// program says that it is ready; its standard error goes where the test's goes. The child is
// stopped by its process id and reaped in stop() or at the latest in the destructor, and it is
// killed by the kernel should the test process die first, so that no helper outlives a test.
class ReadyLineProcess {
public:
    ReadyLineProcess() = default;
    ~ReadyLineProcess();
    ReadyLineProcess(const ReadyLineProcess&) = delete;
    ReadyLineProcess& operator=(const ReadyLineProcess&) = delete;

    // Starts program with arguments; the child inherits the environment of the test process.
    bool start(const QString& program, const QStringList& arguments);
    // Waits until the child has written a whole line and returns it without its line end. An
    // empty array, with errorString() set, where the deadline passed or the child ended first.
    QByteArray readLine(int timeoutMs);
    // Waits until the child has ended by itself; false where it still runs at the deadline.
    bool waitForExit(int timeoutMs);
    // SIGTERM, then SIGKILL where the child is still there after the grace time; reaps it.
    void stop(int graceMs = 5000);

    bool isRunning() const { return mPid > 0; }
    pid_t processId() const { return mPid; }
    // Exit status as waitpid reported it, once reaped; -1 before.
    int waitStatus() const { return mWaitStatus; }
    QString errorString() const { return mError; }

private:
    bool reap(int timeoutMs);
    void closeOutput();

    pid_t mPid = -1;
    int mOutputFd = -1;
    int mWaitStatus = -1;
    QByteArray mBuffered;
    QString mProgram;
    QString mError;
};

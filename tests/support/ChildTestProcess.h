#pragma once

#include <QByteArray>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QTemporaryDir>

// Runs one test of the running test program in a process of its own: for behaviour between
// processes, and for behaviour fixed at process start (environment, working directory). The
// child test begins with `if (!ChildTestProcess::isChild()) GTEST_SKIP()`, so that it does
// nothing in a normal run. Every wait has a deadline; a child that outlives it is killed.
//
// The child's temporary files belong to the parent: each child gets a fresh folder of this
// object as its TMPDIR, so that whatever it makes there (the log of LogCapture, a temporary
// store) goes when this object goes, also where the child was killed and could not clean up.
class ChildTestProcess {
public:
    static constexpr const char* kChildVariable = "QZLOGGER_TEST_CHILD";
    static constexpr int kDefaultTimeoutMs = 30000;

    // True in a process started by ChildTestProcess.
    static bool isChild();
    // In the child: watches the standard input on a thread of its own; once the parent closes
    // it (waitForFinished), stopRequested() answers true. A child that runs until its parent says
    // so loops on it.
    static void watchForStop();
    static bool stopRequested();

    // testName is the full name, "Suite.Test".
    explicit ChildTestProcess(const QString& testName);
    ~ChildTestProcess();
    ChildTestProcess(const ChildTestProcess&) = delete;
    ChildTestProcess& operator=(const ChildTestProcess&) = delete;

    // The child inherits this process's environment, changed by these calls.
    void setVariable(const QString& name, const QString& value);
    void unsetVariable(const QString& name);
    void setWorkingDirectory(const QString& directory);
    // Runs this program in place of the running test program: a copy of it placed elsewhere, for
    // behaviour that depends on where the program lies.
    void setProgram(const QString& program);

    // Before start: the child's standard error goes to a file in its temporary folder instead of
    // a pipe, for a child that logs much while the parent is busy elsewhere: a full pipe would
    // stop the child at its next log line. standardError() and report() read the file.
    void sendStandardErrorToFile();

    // Starts the child with its standard input open.
    bool start(int timeoutMs = kDefaultTimeoutMs);
    // Waits until the child has printed a whole line that begins with prefix and returns it
    // without its line end; an empty array where none came before the deadline or the end.
    QByteArray waitForLine(const QByteArray& prefix, int timeoutMs = kDefaultTimeoutMs);
    void write(const QByteArray& data);
    // Closes the child's standard input and waits for its end; kills it at the deadline.
    bool waitForFinished(int timeoutMs = kDefaultTimeoutMs);
    // start() with the standard input closed at once, then waitForFinished().
    bool run(int timeoutMs = kDefaultTimeoutMs);
    // Ends the child at once with SIGKILL, as a power cut ends a writer: no handler, no flush,
    // no destructor runs. Waits for its end and keeps what it printed until then. False where
    // the child had already ended.
    bool killNow();

    // Whether the child still runs, as far as the last wait or read of its output has seen.
    bool isRunning() const { return mProcess.state() != QProcess::NotRunning; }
    // The child's process id, 0 where it does not run.
    qint64 processId() const { return mProcess.processId(); }

    // The child ended normally with 0, and the test ran and passed rather than being skipped.
    bool passed() const;
    // The child ended by a signal (a kill, a cut of its own, a crash) rather than by exiting.
    bool crashed() const;
    // The folder that the child has as its TMPDIR; removed with everything in it when this
    // object goes, after the child has ended.
    QString temporaryDirectory() const { return mTemporaryDirectory.path(); }
    QByteArray standardOutput() const { return mOutput; }
    QByteArray standardError() const { return mError; }
    // What to print where the child failed.
    QString report() const;

private:
    void collectOutput();

    QString mTestName;
    QString mProgram;
    // Declared before mProcess, so that it is removed only after the child has been reaped.
    QTemporaryDir mTemporaryDirectory;
    QProcessEnvironment mEnvironment;
    QProcess mProcess;
    QByteArray mOutput;
    QByteArray mError;
    QString mErrorFile; // empty: standard error comes through a pipe
    int mSearchFrom = 0;
    bool mFinished = false;
};

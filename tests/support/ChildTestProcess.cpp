#include "ChildTestProcess.h"

#include <atomic>
#include <iostream>
#include <string>
#include <thread>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QStringList>

#include <csignal>
#include <sys/types.h>

bool ChildTestProcess::isChild()
{
    return qEnvironmentVariable(kChildVariable) == QLatin1String("1");
}

ChildTestProcess::ChildTestProcess(const QString& testName)
    : mTestName(testName), mProgram(QCoreApplication::applicationFilePath()),
      mTemporaryDirectory(QDir::tempPath() + QStringLiteral("/qzlogger-child-XXXXXX")),
      mEnvironment(QProcessEnvironment::systemEnvironment())
{
    mEnvironment.insert(QString::fromLatin1(kChildVariable), QStringLiteral("1"));
    if (mTemporaryDirectory.isValid())
        mEnvironment.insert(QStringLiteral("TMPDIR"), mTemporaryDirectory.path());
}

ChildTestProcess::~ChildTestProcess()
{
    if (mProcess.state() != QProcess::NotRunning) {
        mProcess.kill();
        mProcess.waitForFinished(kDefaultTimeoutMs);
    }
    // The child is gone: nothing writes into its temporary folder any more, and the member's
    // destructor removes it with whatever the child left there.
}

void ChildTestProcess::setVariable(const QString& name, const QString& value)
{
    mEnvironment.insert(name, value);
}

void ChildTestProcess::unsetVariable(const QString& name)
{
    mEnvironment.remove(name);
}

void ChildTestProcess::setWorkingDirectory(const QString& directory)
{
    mProcess.setWorkingDirectory(directory);
}

void ChildTestProcess::setProgram(const QString& program)
{
    mProgram = program;
}

bool ChildTestProcess::start(int timeoutMs)
{
    if (!mTemporaryDirectory.isValid())
        return false;
    mProcess.setProcessEnvironment(mEnvironment);
    if (!mErrorFile.isEmpty())
        mProcess.setStandardErrorFile(mErrorFile);
    mProcess.setProgram(mProgram);
    mProcess.setArguments({QStringLiteral("--gtest_filter=") + mTestName});
    mProcess.start();
    return mProcess.waitForStarted(timeoutMs);
}

void ChildTestProcess::sendStandardErrorToFile()
{
    mErrorFile = QDir(mTemporaryDirectory.path()).filePath(QStringLiteral("standard-error.log"));
}

void ChildTestProcess::collectOutput()
{
    mOutput += mProcess.readAllStandardOutput();
    if (mErrorFile.isEmpty()) {
        mError += mProcess.readAllStandardError();
        return;
    }
    QFile file(mErrorFile);
    if (file.open(QIODevice::ReadOnly))
        mError = file.readAll();
}

QByteArray ChildTestProcess::waitForLine(const QByteArray& prefix, int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    for (;;) {
        collectOutput();
        int lineEnd;
        while ((lineEnd = mOutput.indexOf('\n', mSearchFrom)) >= 0) {
            const QByteArray line = mOutput.mid(mSearchFrom, lineEnd - mSearchFrom);
            mSearchFrom = lineEnd + 1;
            if (line.startsWith(prefix))
                return line;
        }
        if (mProcess.state() == QProcess::NotRunning || deadline.hasExpired())
            return QByteArray();
        mProcess.waitForReadyRead(static_cast<int>(deadline.remainingTime()));
    }
}

void ChildTestProcess::write(const QByteArray& data)
{
    mProcess.write(data);
    mProcess.waitForBytesWritten(kDefaultTimeoutMs);
}

bool ChildTestProcess::waitForFinished(int timeoutMs)
{
    mProcess.closeWriteChannel();
    mFinished = mProcess.waitForFinished(timeoutMs);
    if (!mFinished) {
        mProcess.kill();
        mProcess.waitForFinished(kDefaultTimeoutMs);
    }
    collectOutput();
    return mFinished;
}

bool ChildTestProcess::run(int timeoutMs)
{
    if (!start(timeoutMs))
        return false;
    return waitForFinished(timeoutMs);
}

bool ChildTestProcess::killNow()
{
    const qint64 pid = mProcess.processId();
    const bool running = mProcess.state() != QProcess::NotRunning && pid > 0;
    if (running)
        ::kill(static_cast<pid_t>(pid), SIGKILL);
    mProcess.waitForFinished(kDefaultTimeoutMs);
    collectOutput();
    return running;
}

bool ChildTestProcess::crashed() const
{
    return mProcess.state() == QProcess::NotRunning && mProcess.exitStatus() == QProcess::CrashExit;
}

bool ChildTestProcess::passed() const
{
    return mFinished && mProcess.exitStatus() == QProcess::NormalExit && mProcess.exitCode() == 0 &&
           mOutput.contains("[  PASSED  ] 1 test.") && !mOutput.contains("[  SKIPPED ]");
}

QString ChildTestProcess::report() const
{
    QByteArray error = mError;
    QFile file(mErrorFile);
    if (!mErrorFile.isEmpty() && file.open(QIODevice::ReadOnly))
        error = file.readAll();
    return QStringLiteral("child %1: finished %2, exit code %3\n--- stdout\n%4\n--- stderr\n%5")
        .arg(mTestName)
        .arg(mFinished)
        .arg(mProcess.exitCode())
        .arg(QString::fromLocal8Bit(mOutput), QString::fromLocal8Bit(error));
}

namespace {

std::atomic<bool> sStopRequested{false};

} // namespace

void ChildTestProcess::watchForStop()
{
    std::thread([] {
        std::string line;
        while (std::getline(std::cin, line)) {
        }
        sStopRequested = true;
    }).detach();
}

bool ChildTestProcess::stopRequested()
{
    return sStopRequested;
}

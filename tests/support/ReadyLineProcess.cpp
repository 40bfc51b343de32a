#include "ReadyLineProcess.h"

#include <QDeadlineTimer>
#include <QThread>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kReapPollMs = 5;

QString describeStatus(int status)
{
    if (WIFEXITED(status))
        return QStringLiteral("exited with %1").arg(WEXITSTATUS(status));
    if (WIFSIGNALED(status))
        return QStringLiteral("killed by signal %1").arg(WTERMSIG(status));
    return QStringLiteral("ended with status %1").arg(status);
}

} // namespace

ReadyLineProcess::~ReadyLineProcess()
{
    stop();
}

bool ReadyLineProcess::start(const QString& program, const QStringList& arguments)
{
    stop();
    mProgram = program;
    mError.clear();
    mBuffered.clear();
    mWaitStatus = -1;

    // Everything the child needs is made before the fork: between fork and exec a child of a
    // threaded process may only make async-signal-safe calls.
    std::vector<QByteArray> storage;
    storage.push_back(program.toLocal8Bit());
    for (const QString& argument : arguments)
        storage.push_back(argument.toLocal8Bit());
    std::vector<char*> argv;
    for (QByteArray& item : storage)
        argv.push_back(item.data());
    argv.push_back(nullptr);

    int pipeFds[2];
    if (pipe2(pipeFds, O_CLOEXEC) != 0) {
        mError = QStringLiteral("pipe: %1").arg(QString::fromLocal8Bit(std::strerror(errno)));
        return false;
    }
    const pid_t parent = getpid();
    const pid_t pid = fork();
    if (pid < 0) {
        mError = QStringLiteral("fork: %1").arg(QString::fromLocal8Bit(std::strerror(errno)));
        ::close(pipeFds[0]);
        ::close(pipeFds[1]);
        return false;
    }
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent)
            _exit(127);
        if (dup2(pipeFds[1], STDOUT_FILENO) < 0)
            _exit(127);
        execvp(argv[0], argv.data());
        _exit(127);
    }
    ::close(pipeFds[1]);
    mOutputFd = pipeFds[0];
    mPid = pid;
    return true;
}

QByteArray ReadyLineProcess::readLine(int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    for (;;) {
        const int end = mBuffered.indexOf('\n');
        if (end >= 0) {
            QByteArray line = mBuffered.left(end);
            mBuffered.remove(0, end + 1);
            return line;
        }
        if (mOutputFd < 0) {
            mError = QStringLiteral("%1 has closed its output").arg(mProgram);
            return QByteArray();
        }
        pollfd output{mOutputFd, POLLIN, 0};
        const int ready = poll(&output, 1, static_cast<int>(deadline.remainingTime()));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready == 0) {
            mError = QStringLiteral("%1 wrote no line within %2 ms").arg(mProgram).arg(timeoutMs);
            return QByteArray();
        }
        char chunk[512];
        const ssize_t count = ready > 0 ? ::read(mOutputFd, chunk, sizeof chunk) : -1;
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0) {
            closeOutput();
            // The child ended or closed its output before the line came: say why.
            if (reap(1000))
                mError =
                    QStringLiteral("%1 %2 before it was ready").arg(mProgram, describeStatus(mWaitStatus));
            else
                mError = QStringLiteral("%1 closed its output before it was ready").arg(mProgram);
            return QByteArray();
        }
        mBuffered.append(chunk, static_cast<int>(count));
    }
}

bool ReadyLineProcess::waitForExit(int timeoutMs)
{
    if (mPid <= 0)
        return true;
    if (!reap(timeoutMs)) {
        mError = QStringLiteral("%1 still runs after %2 ms").arg(mProgram).arg(timeoutMs);
        return false;
    }
    closeOutput();
    return true;
}

void ReadyLineProcess::stop(int graceMs)
{
    if (mPid > 0) {
        ::kill(mPid, SIGTERM);
        if (!reap(graceMs)) {
            ::kill(mPid, SIGKILL);
            reap(-1);
        }
    }
    closeOutput();
}

// waitpid with a deadline; -1 waits for good. Only this child is waited for, never others of
// the test process.
bool ReadyLineProcess::reap(int timeoutMs)
{
    if (mPid <= 0)
        return true;
    const QDeadlineTimer deadline(timeoutMs < 0 ? QDeadlineTimer::Forever : QDeadlineTimer(timeoutMs));
    for (;;) {
        int status = 0;
        const pid_t done = waitpid(mPid, &status, timeoutMs < 0 ? 0 : WNOHANG);
        if (done == mPid) {
            mWaitStatus = status;
            mPid = -1;
            return true;
        }
        if (done < 0 && errno != EINTR) {
            mPid = -1; // not our child any more: nothing left to reap
            return true;
        }
        if (done == 0 && deadline.hasExpired())
            return false;
        if (done == 0)
            QThread::msleep(kReapPollMs);
    }
}

void ReadyLineProcess::closeOutput()
{
    if (mOutputFd >= 0) {
        ::close(mOutputFd);
        mOutputFd = -1;
    }
}

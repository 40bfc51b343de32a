#include "CardSimulatorProcess.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDeadlineTimer>
#include <QProcess>
#include <QThread>

#include <sys/wait.h>

namespace {

constexpr const char* kControlPath = "/qz/sdcard/control";
constexpr const char* kControlInterface = "qz.SDCard1.Control";
constexpr int kBusPollMs = 10;

} // namespace

CardSimulatorProcess::~CardSimulatorProcess()
{
    mProcess.stop();
}

QString CardSimulatorProcess::program()
{
    return qEnvironmentVariable(kProgramVariable);
}

QDBusConnection CardSimulatorProcess::controlBus()
{
    return QDBusConnection::connectToBus(QDBusConnection::SystemBus,
                                         QString::fromLatin1(kControlConnectionName));
}

bool CardSimulatorProcess::start(const QStringList& options, int timeoutMs)
{
    mError.clear();
    mUniqueName.clear();
    const QString path = program();
    if (path.isEmpty()) {
        mError = QStringLiteral("%1 is not set").arg(QLatin1String(kProgramVariable));
        return false;
    }
    if (!mProcess.start(path, options)) {
        mError = mProcess.errorString();
        return false;
    }
    const QByteArray line = mProcess.readLine(timeoutMs);
    if (line != kReadyLine) {
        mError =
            line.isEmpty()
                ? mProcess.errorString()
                : QStringLiteral("unexpected line from the simulator: %1").arg(QString::fromLocal8Bit(line));
        mProcess.stop();
        return false;
    }
    // The simulator is ready once it owns both names, so the control name's owner is this one.
    QDBusConnectionInterface* bus = controlBus().interface();
    const QDBusReply<QString> owner =
        bus != nullptr ? bus->serviceOwner(QString::fromLatin1(kControlServiceName)) : QDBusReply<QString>();
    if (!owner.isValid()) {
        mError = QStringLiteral("no owner of %1 after the simulator was ready: %2")
                     .arg(QLatin1String(kControlServiceName), owner.error().message());
        mProcess.stop();
        return false;
    }
    mUniqueName = owner.value();
    return true;
}

bool CardSimulatorProcess::stop(int timeoutMs)
{
    if (!mProcess.isRunning())
        return true;
    mProcess.stop();
    if (!mUniqueName.isEmpty() && !waitForName(mUniqueName, false, timeoutMs)) {
        mError = QStringLiteral("%1 is still on the bus after the simulator ended").arg(mUniqueName);
        return false;
    }
    return true;
}

bool CardSimulatorProcess::control(const QString& method, const QVariantList& arguments)
{
    QDBusMessage call = QDBusMessage::createMethodCall(QString::fromLatin1(kControlServiceName),
                                                       QString::fromLatin1(kControlPath),
                                                       QString::fromLatin1(kControlInterface), method);
    call.setArguments(arguments);
    const QDBusMessage reply = controlBus().call(call, QDBus::Block, kTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        mError = QStringLiteral("%1: %2: %3").arg(method, reply.errorName(), reply.errorMessage());
        return false;
    }
    return true;
}

bool CardSimulatorProcess::eject()
{
    return control(QStringLiteral("Eject"));
}

bool CardSimulatorProcess::mount()
{
    return control(QStringLiteral("Mount"));
}

bool CardSimulatorProcess::corrupt()
{
    return control(QStringLiteral("Corrupt"));
}

bool CardSimulatorProcess::setMemState(int state)
{
    return control(QStringLiteral("SetMemState"), {state});
}

bool CardSimulatorProcess::disappear()
{
    return control(QStringLiteral("Disappear"));
}

bool CardSimulatorProcess::reappear()
{
    return control(QStringLiteral("Reappear"));
}

bool CardSimulatorProcess::setReplyMode(const QString& mode)
{
    return control(QStringLiteral("SetReplyMode"), {mode});
}

bool CardSimulatorProcess::quit(int timeoutMs)
{
    if (!control(QStringLiteral("Quit")))
        return false;
    return waitForExitStatusZero(timeoutMs, QStringLiteral("after Quit"));
}

bool CardSimulatorProcess::waitForExit(int timeoutMs)
{
    return waitForExitStatusZero(timeoutMs, QStringLiteral("by itself"));
}

bool CardSimulatorProcess::waitForExitStatusZero(int timeoutMs, const QString& how)
{
    if (!mProcess.waitForExit(timeoutMs)) {
        mError = mProcess.errorString();
        return false;
    }
    const int status = mProcess.waitStatus();
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        mError = QStringLiteral("the simulator did not end cleanly %1 (wait status %2)").arg(how).arg(status);
        return false;
    }
    if (!mUniqueName.isEmpty() && !waitForName(mUniqueName, false, timeoutMs)) {
        mError = QStringLiteral("%1 is still on the bus after the simulator ended %2").arg(mUniqueName, how);
        return false;
    }
    return true;
}

bool CardSimulatorProcess::waitForService(bool registered, int timeoutMs)
{
    return waitForName(QString::fromLatin1(kCardServiceName), registered, timeoutMs);
}

bool CardSimulatorProcess::waitForName(const QString& name, bool registered, int timeoutMs)
{
    QDBusConnectionInterface* bus = controlBus().interface();
    if (bus == nullptr)
        return false;
    const QDeadlineTimer deadline(timeoutMs);
    for (;;) {
        const QDBusReply<bool> reply = bus->isServiceRegistered(name);
        if (reply.isValid() && reply.value() == registered)
            return true;
        if (deadline.hasExpired())
            return false;
        QThread::msleep(kBusPollMs);
    }
}

bool CardSimulatorProcess::runClient(const QStringList& options, int timeoutMs)
{
    return clientExitCode(options, nullptr, timeoutMs) == 0;
}

int CardSimulatorProcess::clientExitCode(const QStringList& options, QByteArray* standardError, int timeoutMs)
{
    const QString path = program();
    if (path.isEmpty())
        return -1;
    QProcess client;
    client.setProcessChannelMode(standardError != nullptr ? QProcess::ForwardedOutputChannel
                                                          : QProcess::ForwardedChannels);
    client.setStandardInputFile(QProcess::nullDevice());
    client.start(path, options);
    if (!client.waitForStarted(timeoutMs))
        return -1;
    const bool finished = client.waitForFinished(timeoutMs);
    if (!finished) {
        client.kill();
        client.waitForFinished(-1);
    }
    if (standardError != nullptr)
        *standardError = client.readAllStandardError();
    if (!finished || client.exitStatus() != QProcess::NormalExit)
        return -1;
    return client.exitCode();
}

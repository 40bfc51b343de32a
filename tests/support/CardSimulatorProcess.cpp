#include "CardSimulatorProcess.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDeadlineTimer>
#include <QThread>

#include <sys/wait.h>

namespace {

constexpr const char* kServiceName = "qz.SDCard1";
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

bool CardSimulatorProcess::start(const QStringList& options, int timeoutMs)
{
    mError.clear();
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
    return true;
}

bool CardSimulatorProcess::stop(int timeoutMs)
{
    if (!mProcess.isRunning())
        return true;
    mProcess.stop();
    if (!waitForService(false, timeoutMs)) {
        mError = QStringLiteral("%1 is still registered after the simulator ended")
                     .arg(QLatin1String(kServiceName));
        return false;
    }
    return true;
}

bool CardSimulatorProcess::control(const QString& method, const QVariantList& arguments)
{
    QDBusMessage call =
        QDBusMessage::createMethodCall(QString::fromLatin1(kServiceName), QString::fromLatin1(kControlPath),
                                       QString::fromLatin1(kControlInterface), method);
    call.setArguments(arguments);
    const QDBusMessage reply = QDBusConnection::systemBus().call(call, QDBus::Block, kTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        mError = QStringLiteral("%1: %2: %3").arg(method, reply.errorName(), reply.errorMessage());
        return false;
    }
    return true;
}

bool CardSimulatorProcess::quit(int timeoutMs)
{
    if (!control(QStringLiteral("Quit")))
        return false;
    if (!mProcess.waitForExit(timeoutMs)) {
        mError = mProcess.errorString();
        return false;
    }
    const int status = mProcess.waitStatus();
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        mError = QStringLiteral("the simulator did not end cleanly after Quit (wait status %1)").arg(status);
        return false;
    }
    if (!waitForService(false, timeoutMs)) {
        mError = QStringLiteral("%1 is still registered after Quit").arg(QLatin1String(kServiceName));
        return false;
    }
    return true;
}

bool CardSimulatorProcess::waitForService(bool registered, int timeoutMs)
{
    QDBusConnectionInterface* bus = QDBusConnection::systemBus().interface();
    if (bus == nullptr)
        return false;
    const QDeadlineTimer deadline(timeoutMs);
    for (;;) {
        const QDBusReply<bool> reply = bus->isServiceRegistered(QString::fromLatin1(kServiceName));
        if (reply.isValid() && reply.value() == registered)
            return true;
        if (deadline.hasExpired())
            return false;
        QThread::msleep(kBusPollMs);
    }
}

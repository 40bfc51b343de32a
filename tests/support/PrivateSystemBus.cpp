#include "PrivateSystemBus.h"

#include <QFile>

namespace {

constexpr const char* kAddressVariable = "DBUS_SYSTEM_BUS_ADDRESS";

// Lets every peer own any name and talk to any other, as a test bus needs and the policy of a
// real system bus forbids: `own` lets the simulator take its name, `send_destination` lets the
// calls through, `receive_sender` the replies and signals (without it even the daemon's own
// answers are held back), and `user` admits processes of any uid, not only the daemon's.
QByteArray configuration(const QString& socketDirectory)
{
    return QStringLiteral(
               "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
               " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
               "<busconfig>\n"
               "  <type>system</type>\n"
               "  <listen>unix:dir=%1</listen>\n"
               "  <auth>EXTERNAL</auth>\n"
               "  <policy context=\"default\">\n"
               "    <allow user=\"*\"/>\n"
               "    <allow own=\"*\"/>\n"
               "    <allow send_destination=\"*\"/>\n"
               "    <allow receive_sender=\"*\"/>\n"
               "  </policy>\n"
               "</busconfig>\n")
        .arg(socketDirectory)
        .toUtf8();
}

// The address of the first private bus that this process has used; Qt stays connected to it.
QString& addressInUse()
{
    static QString address;
    return address;
}

} // namespace

PrivateSystemBus::~PrivateSystemBus()
{
    stop();
}

bool PrivateSystemBus::start(int timeoutMs)
{
    if (!addressInUse().isEmpty()) {
        mError = QStringLiteral("this process has used the private bus %1 already; the system bus "
                                "connection of Qt stays bound to it, so run one test per process "
                                "(as ctest does, or with --gtest_filter)")
                     .arg(addressInUse());
        return false;
    }
    if (!mDirectory.isValid()) {
        mError = QStringLiteral("no temporary directory: %1").arg(mDirectory.errorString());
        return false;
    }
    const QString configFile = mDirectory.filePath(QStringLiteral("system-bus.conf"));
    QFile config(configFile);
    if (!config.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        config.write(configuration(mDirectory.path())) < 0) {
        mError = QStringLiteral("cannot write %1: %2").arg(configFile, config.errorString());
        return false;
    }
    config.close();

    // --nofork keeps the daemon a child of the test, which reaps it; the address is printed
    // once the daemon listens.
    if (!mDaemon.start(QStringLiteral("dbus-daemon"),
                       {QStringLiteral("--config-file=%1").arg(configFile), QStringLiteral("--nofork"),
                        QStringLiteral("--print-address=1")})) {
        mError = mDaemon.errorString();
        return false;
    }
    const QByteArray address = mDaemon.readLine(timeoutMs).trimmed();
    if (address.isEmpty()) {
        mError = QStringLiteral("dbus-daemon: %1").arg(mDaemon.errorString());
        mDaemon.stop();
        return false;
    }
    mAddress = QString::fromUtf8(address);

    mHadAddress = qEnvironmentVariableIsSet(kAddressVariable);
    mEarlierAddress = qgetenv(kAddressVariable);
    qputenv(kAddressVariable, address);
    mEnvironmentSet = true;
    addressInUse() = mAddress;
    return true;
}

void PrivateSystemBus::stop()
{
    mDaemon.stop();
    if (mEnvironmentSet) {
        if (mHadAddress)
            qputenv(kAddressVariable, mEarlierAddress);
        else
            qunsetenv(kAddressVariable);
        mEnvironmentSet = false;
    }
}

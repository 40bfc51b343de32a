// qz-sdcard-simulator: plays the SD-card service "qz.SDCard1" on the D-Bus system bus (the bus
// that DBUS_SYSTEM_BUS_ADDRESS names, where set), for development machines and the tests.

#include "CardControl.h"
#include "SimulatedCard.h"

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusError>

#include <cstdio>

namespace {

constexpr int kMounted = 3;
constexpr qint64 kDefaultLoggerSize = 8000000000; // an 8 GB partition
constexpr const char* kReadyLine = "qz-sdcard-simulator: ready";

constexpr const char* kDescription =
    "Plays the SD-card service \"qz.SDCard1\" on the D-Bus system bus, or on the bus that\n"
    "DBUS_SYSTEM_BUS_ADDRESS names. It owns the name qz.SDCard1 and serves the object\n"
    "/qz/sdcard with the interface qz.SDCard1:\n"
    "  properties IsMounted (true in state 3), MemLevel, MemState, MountPoint, State,\n"
    "             Transition, all read-only\n"
    "  methods    GetDirPath(id): the logger path for \"logger\", <mount point>/<id> otherwise\n"
    "             GetDirSize(id): the logger size for \"logger\", 0 otherwise\n"
    "             EnsureDirSize(id): does nothing; RefreshMemState(): MemState;\n"
    "             getDirUsed(id): 0\n"
    "  signals    CardCorrupt, CardInserted, CardMounted, CardNotMountable, CardRemoved,\n"
    "             CardUnmounted, EjectPressed, MemLevelChanged(i), MemStateChanged(i)\n"
    "\n"
    "At run time it is controlled through the object /qz/sdcard/control, interface\n"
    "qz.SDCard1.Control. Setters change what the next read sees and send no signal:\n"
    "  SetState(i)            State as an integer\n"
    "  SetStateRaw(s)         State as a string, as a misbehaving service would send it\n"
    "  SetMountPoint(s), SetLoggerPath(s), SetLoggerSize(x)\n"
    "  EmitEjectPressed(), EmitCardMounted(), EmitCardCorrupt()   send that signal\n"
    "  EmitMemStateChanged(i) stores MemState and sends MemStateChanged\n"
    "  Quit()                 answers, leaves the bus and ends the program\n"
    "for example:\n"
    "  dbus-send --system --print-reply --dest=qz.SDCard1 /qz/sdcard/control \\\n"
    "    qz.SDCard1.Control.SetState int32:4\n"
    "\n"
    "Once the name is owned it prints the line \"qz-sdcard-simulator: ready\" to standard output.\n"
    "It exits with 1 when the bus cannot be reached or the name cannot be owned, and with 2 on\n"
    "a bad command line.";

int usageError(const QString& text)
{
    std::fprintf(stderr, "qz-sdcard-simulator: %s\n", qPrintable(text));
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("qz-sdcard-simulator"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QString::fromLatin1(kDescription));
    parser.addHelpOption();
    const QCommandLineOption stateOption(QStringLiteral("state"),
                                         QStringLiteral("State at start (default 3, mounted)."),
                                         QStringLiteral("N"), QString::number(kMounted));
    const QCommandLineOption stateAsStringOption(
        QStringLiteral("state-as-string"),
        QStringLiteral("Serve State as this string instead of an integer; wins over --state."),
        QStringLiteral("TEXT"));
    const QCommandLineOption mountPointOption(QStringLiteral("mount-point"),
                                              QStringLiteral("MountPoint (default /media/sdcard)."),
                                              QStringLiteral("PATH"), QStringLiteral("/media/sdcard"));
    const QCommandLineOption loggerPathOption(
        QStringLiteral("logger-path"),
        QStringLiteral("What GetDirPath(\"logger\") answers (default /media/sdcard/logger)."),
        QStringLiteral("PATH"), QStringLiteral("/media/sdcard/logger"));
    const QCommandLineOption loggerSizeOption(
        QStringLiteral("logger-size"),
        QStringLiteral("What GetDirSize(\"logger\") answers, in bytes (default %1).").arg(kDefaultLoggerSize),
        QStringLiteral("BYTES"), QString::number(kDefaultLoggerSize));
    parser.addOptions(
        {stateOption, stateAsStringOption, mountPointOption, loggerPathOption, loggerSizeOption});
    if (!parser.parse(app.arguments()))
        return usageError(parser.errorText());
    if (parser.isSet(QStringLiteral("help")) || parser.isSet(QStringLiteral("help-all")))
        parser.showHelp(0);
    if (!parser.positionalArguments().isEmpty())
        return usageError(
            QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().first()));

    bool isNumber = false;
    const int state = parser.value(stateOption).toInt(&isNumber);
    if (!isNumber)
        return usageError(
            QStringLiteral("--state wants an integer, not '%1'").arg(parser.value(stateOption)));
    const qint64 loggerSize = parser.value(loggerSizeOption).toLongLong(&isNumber);
    if (!isNumber) {
        return usageError(
            QStringLiteral("--logger-size wants an integer, not '%1'").arg(parser.value(loggerSizeOption)));
    }

    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected()) {
        std::fprintf(stderr, "qz-sdcard-simulator: no system bus: %s\n",
                     qPrintable(bus.lastError().message()));
        return 1;
    }

    SimulatedCard card(bus);
    if (parser.isSet(stateAsStringOption))
        card.setStateRaw(parser.value(stateAsStringOption));
    else
        card.setState(state);
    card.setMountPoint(parser.value(mountPointOption));
    card.setLoggerPath(parser.value(loggerPathOption));
    card.setLoggerSize(loggerSize);
    CardControl control(&card);

    if (!bus.registerVirtualObject(QString::fromLatin1(SimulatedCard::kObjectPath), &card)) {
        std::fprintf(stderr, "qz-sdcard-simulator: cannot register %s\n", SimulatedCard::kObjectPath);
        return 1;
    }
    if (!bus.registerObject(QString::fromLatin1(CardControl::kObjectPath), &control,
                            QDBusConnection::ExportScriptableSlots)) {
        std::fprintf(stderr, "qz-sdcard-simulator: cannot register %s\n", CardControl::kObjectPath);
        return 1;
    }
    if (!bus.registerService(QString::fromLatin1(SimulatedCard::kServiceName))) {
        std::fprintf(stderr, "qz-sdcard-simulator: cannot own %s: %s\n", SimulatedCard::kServiceName,
                     qPrintable(bus.lastError().message()));
        return 1;
    }
    std::printf("%s\n", kReadyLine);
    std::fflush(stdout);

    const int result = app.exec();
    // A call that waits for the bus, so that the answer to Quit has gone out before the end.
    bus.unregisterService(QString::fromLatin1(SimulatedCard::kServiceName));
    bus.unregisterObject(QString::fromLatin1(CardControl::kObjectPath));
    bus.unregisterObject(QString::fromLatin1(SimulatedCard::kObjectPath));
    return result;
}

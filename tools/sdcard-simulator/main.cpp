// qz-sdcard-simulator: plays the SD-card service "qz.SDCard1" on the D-Bus system bus (the bus
// that DBUS_SYSTEM_BUS_ADDRESS names, where set), for development machines and the tests; or,
// as a client, drives a running simulator from a shell or another process.

#include "CardControl.h"
#include "SimulatedCard.h"
#include "SimulatorNames.h"

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>

#include <cstdio>
#include <vector>

namespace {

constexpr int kMounted = 3;
constexpr qint64 kDefaultLoggerSize = 8000000000; // an 8 GB partition
constexpr const char* kReadyLine = "qz-sdcard-simulator: ready";
constexpr const char* kControlInterface = "qz.SDCard1.Control";
// Control calls answer at once; this only bounds the wait for a simulator that hangs.
constexpr int kClientCallTimeoutMs = 10000;

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
    "States: 0 not initialized, 1 no card, 2 not mountable, 3 mounted, 4 unmounted,\n"
    "5 closing files, 6 mounting.\n"
    "\n"
    "It also owns the name qz.SDCard1.Simulator for its whole life and serves there the object\n"
    "/qz/sdcard/control, interface qz.SDCard1.Control, which controls it at run time. Setters\n"
    "change what the next read sees and send no signal:\n"
    "  SetState(i)            State as an integer\n"
    "  SetStateRaw(s)         State as a string, as a misbehaving service would send it\n"
    "  SetMountPoint(s), SetLoggerPath(s), SetLoggerSize(x)\n"
    "  EmitEjectPressed(), EmitCardMounted(), EmitCardCorrupt()   send that signal\n"
    "Card events set State first and then send their signal:\n"
    "  Eject()                State 4, then EjectPressed\n"
    "  Mount()                State 3, then CardMounted\n"
    "  Corrupt()              State 2, then CardCorrupt\n"
    "  SetMemState(i)         stores MemState and sends MemStateChanged(i);\n"
    "                         EmitMemStateChanged(i) is the same call\n"
    "The service itself:\n"
    "  Disappear()            gives up the name qz.SDCard1 and keeps running; calls to\n"
    "                         qz.SDCard1 fail meanwhile\n"
    "  Reappear()             owns qz.SDCard1 again, with the state unchanged\n"
    "  SetReplyMode(s)        how calls on /qz/sdcard, property reads included, are answered:\n"
    "                         \"normal\"; \"error\", with the error qz.SDCard1.Error.Failed;\n"
    "                         \"silent\", not at all, so that the caller times out. Other\n"
    "                         names are refused with InvalidArgs. Control calls always answer.\n"
    "  Quit()                 answers, leaves the bus and ends the program\n"
    "for example:\n"
    "  dbus-send --system --print-reply --dest=qz.SDCard1.Simulator /qz/sdcard/control \\\n"
    "    qz.SDCard1.Control.SetState int32:4\n"
    "\n"
    "Both names are owned allowing replacement: a second simulator started with --replace\n"
    "takes them over, and the simulator that loses them says so on standard error, leaves the\n"
    "bus and exits with 0.\n"
    "\n"
    "Once both names are owned it prints the line \"qz-sdcard-simulator: ready\" to standard\n"
    "output. It exits with 1 when the bus cannot be reached or a name cannot be owned.\n"
    "\n"
    "Client mode: with any of --eject, --mount, --corrupt, --mem-state, --disappear,\n"
    "--reappear, --reply-mode, --set-state and --quit it serves nothing, but sends these calls\n"
    "to the running simulator (name qz.SDCard1.Simulator) in this order, whatever the order\n"
    "on the command line, each once at most, and waits for each answer. It exits with 0 when\n"
    "all were answered, and with 1 and a message on standard error when the bus or the\n"
    "simulator cannot be reached or a call fails; the calls after a failed one are not sent.\n"
    "Client options do not go together with the options that serve a card.\n"
    "\n"
    "In either mode it exits with 2 on a bad command line.";

int usageError(const QString& text)
{
    std::fprintf(stderr, "qz-sdcard-simulator: %s\n", qPrintable(text));
    return 2;
}

// One call of client mode: the option that asks for it and the control call it makes.
struct ClientCall {
    QString option;
    QString method;
    QVariantList arguments;
};

int runClient(const std::vector<ClientCall>& calls)
{
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected()) {
        std::fprintf(stderr, "qz-sdcard-simulator: no system bus: %s\n",
                     qPrintable(bus.lastError().message()));
        return 1;
    }
    for (const ClientCall& call : calls) {
        QDBusMessage message =
            QDBusMessage::createMethodCall(QString::fromLatin1(SimulatorNames::kControlServiceName),
                                           QString::fromLatin1(CardControl::kObjectPath),
                                           QString::fromLatin1(kControlInterface), call.method);
        message.setArguments(call.arguments);
        const QDBusMessage reply = bus.call(message, QDBus::Block, kClientCallTimeoutMs);
        if (reply.type() != QDBusMessage::ReplyMessage) {
            std::fprintf(stderr, "qz-sdcard-simulator: %s failed: %s: %s\n", qPrintable(call.method),
                         qPrintable(reply.errorName()), qPrintable(reply.errorMessage()));
            return 1;
        }
    }
    return 0;
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
    const QCommandLineOption replaceOption(
        QStringLiteral("replace"),
        QStringLiteral("Take qz.SDCard1 and qz.SDCard1.Simulator over from a running simulator."));
    const QList<QCommandLineOption> servingOptions = {stateOption,      stateAsStringOption, mountPointOption,
                                                      loggerPathOption, loggerSizeOption,    replaceOption};

    const QCommandLineOption ejectOption(QStringLiteral("eject"),
                                         QStringLiteral("Client: Eject() the running simulator's card."));
    const QCommandLineOption mountOption(QStringLiteral("mount"),
                                         QStringLiteral("Client: Mount() the running simulator's card."));
    const QCommandLineOption corruptOption(QStringLiteral("corrupt"),
                                           QStringLiteral("Client: Corrupt() the running simulator's card."));
    const QCommandLineOption memStateOption(QStringLiteral("mem-state"),
                                            QStringLiteral("Client: SetMemState(N)."), QStringLiteral("N"));
    const QCommandLineOption disappearOption(
        QStringLiteral("disappear"), QStringLiteral("Client: Disappear(), give up the name qz.SDCard1."));
    const QCommandLineOption reappearOption(QStringLiteral("reappear"),
                                            QStringLiteral("Client: Reappear(), own qz.SDCard1 again."));
    const QCommandLineOption replyModeOption(
        QStringLiteral("reply-mode"),
        QStringLiteral("Client: SetReplyMode(MODE), MODE one of %1.")
            .arg(SimulatedCard::replyModeNames().join(QStringLiteral(", "))),
        QStringLiteral("MODE"));
    const QCommandLineOption setStateOption(QStringLiteral("set-state"),
                                            QStringLiteral("Client: SetState(N)."), QStringLiteral("N"));
    const QCommandLineOption quitOption(QStringLiteral("quit"),
                                        QStringLiteral("Client: Quit(), end the running simulator."));
    // In the order in which client mode sends the calls.
    const QList<QCommandLineOption> clientOptions = {ejectOption,     mountOption,     corruptOption,
                                                     memStateOption,  disappearOption, reappearOption,
                                                     replyModeOption, setStateOption,  quitOption};

    parser.addOptions(servingOptions);
    parser.addOptions(clientOptions);
    if (!parser.parse(app.arguments()))
        return usageError(parser.errorText());
    if (parser.isSet(QStringLiteral("help")) || parser.isSet(QStringLiteral("help-all")))
        parser.showHelp(0);
    if (!parser.positionalArguments().isEmpty())
        return usageError(
            QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().first()));

    bool isNumber = false;
    QString servingOptionSet;
    for (const QCommandLineOption& option : servingOptions) {
        if (parser.isSet(option)) {
            servingOptionSet = option.names().first();
            break;
        }
    }
    std::vector<ClientCall> calls;
    for (const QCommandLineOption& option : clientOptions) {
        const QString name = option.names().first();
        if (!parser.isSet(option))
            continue;
        if (parser.optionNames().count(name) > 1)
            return usageError(QStringLiteral("--%1 given more than once").arg(name));
        if (!servingOptionSet.isEmpty()) {
            return usageError(
                QStringLiteral("--%1 serves a card and --%2 drives a running simulator; they do "
                               "not go together")
                    .arg(servingOptionSet, name));
        }
        ClientCall call{name, QString(), {}};
        if (option.names() == ejectOption.names()) {
            call.method = QStringLiteral("Eject");
        } else if (option.names() == mountOption.names()) {
            call.method = QStringLiteral("Mount");
        } else if (option.names() == corruptOption.names()) {
            call.method = QStringLiteral("Corrupt");
        } else if (option.names() == disappearOption.names()) {
            call.method = QStringLiteral("Disappear");
        } else if (option.names() == reappearOption.names()) {
            call.method = QStringLiteral("Reappear");
        } else if (option.names() == quitOption.names()) {
            call.method = QStringLiteral("Quit");
        } else if (option.names() == replyModeOption.names()) {
            const QString mode = parser.value(option);
            SimulatedCard::ReplyMode replyMode;
            if (!SimulatedCard::replyModeFromName(mode, &replyMode)) {
                return usageError(QStringLiteral("--reply-mode wants one of %1, not '%2'")
                                      .arg(SimulatedCard::replyModeNames().join(QStringLiteral(", ")), mode));
            }
            call.method = QStringLiteral("SetReplyMode");
            call.arguments = {mode};
        } else {
            const int value = parser.value(option).toInt(&isNumber);
            if (!isNumber) {
                return usageError(
                    QStringLiteral("--%1 wants an integer, not '%2'").arg(name, parser.value(option)));
            }
            call.method = option.names() == memStateOption.names() ? QStringLiteral("SetMemState")
                                                                   : QStringLiteral("SetState");
            call.arguments = {value};
        }
        calls.push_back(call);
    }
    if (!calls.empty())
        return runClient(calls);

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
    SimulatorNames names(bus, parser.isSet(replaceOption));
    CardControl control(&card, &names);

    if (!bus.registerVirtualObject(QString::fromLatin1(SimulatedCard::kObjectPath), &card)) {
        std::fprintf(stderr, "qz-sdcard-simulator: cannot register %s\n", SimulatedCard::kObjectPath);
        return 1;
    }
    if (!bus.registerObject(QString::fromLatin1(CardControl::kObjectPath), &control,
                            QDBusConnection::ExportScriptableSlots)) {
        std::fprintf(stderr, "qz-sdcard-simulator: cannot register %s\n", CardControl::kObjectPath);
        return 1;
    }
    if (!names.acquire()) {
        std::fprintf(stderr, "qz-sdcard-simulator: %s\n", qPrintable(names.errorString()));
        names.releaseAll();
        return 1;
    }
    // A simulator that another has replaced has no card to play any more: it goes, and ends
    // with 0, since being replaced is how it is meant to end then.
    QObject::connect(
        &names, &SimulatorNames::replaced, &app, [](const QString& name, const QString& newOwner) {
            std::fprintf(stderr, "qz-sdcard-simulator: replaced: %s now belongs to %s; leaving the bus\n",
                         qPrintable(name), newOwner.isEmpty() ? "another connection" : qPrintable(newOwner));
            QCoreApplication::quit();
        });
    std::printf("%s\n", kReadyLine);
    std::fflush(stdout);

    const int result = app.exec();
    names.releaseAll();
    bus.unregisterObject(QString::fromLatin1(CardControl::kObjectPath));
    bus.unregisterObject(QString::fromLatin1(SimulatedCard::kObjectPath));
    return result;
}

// qz-sdcard-simulator as its clients see it: the card events, the name qz.SDCard1 going, coming
// back and changing owner, the reply modes, and the client mode that drives a running
// simulator from another process. Every test runs on a private system bus in a process of its
// own and watches the card from a client thread with its own event loop, as the store's card
// client does.

#include "CardSignalRecorder.h"
#include "CardSimulatorProcess.h"
#include "PrivateSystemBus.h"
#include "QStringPrinter.h"
#include "TemporaryStoreRoot.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDBusVariant>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QProcess>
#include <QRegularExpression>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <gtest/gtest.h>

namespace {

constexpr const char* kCardService = "qz.SDCard1";
constexpr const char* kControlService = "qz.SDCard1.Simulator";
constexpr const char* kFailedError = "qz.SDCard1.Error.Failed";
constexpr const char* kFailedMessage = "The simulated card service fails every call (reply mode error)";
constexpr int kSilentCallTimeoutMs = 500;
constexpr int kProcessTimeoutMs = 10000;

// The test's own client connection for calls on the card; named, so that the main thread never
// opens the default system bus (see CardSignalRecorder).
QDBusConnection clientBus()
{
    return QDBusConnection::connectToBus(QDBusConnection::SystemBus,
                                         QStringLiteral("card-simulator-test-client"));
}

QDBusMessage callCard(const QString& interface, const QString& member, const QVariantList& arguments,
                      int timeoutMs = CardSimulatorProcess::kTimeoutMs)
{
    QDBusMessage call = QDBusMessage::createMethodCall(QString::fromLatin1(kCardService),
                                                       QStringLiteral("/qz/sdcard"), interface, member);
    call.setArguments(arguments);
    return clientBus().call(call, QDBus::Block, timeoutMs);
}

QDBusMessage getProperty(const QString& name, int timeoutMs = CardSimulatorProcess::kTimeoutMs)
{
    return callCard(QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"),
                    {QString::fromLatin1(kCardService), name}, timeoutMs);
}

QDBusMessage getDirPath(int timeoutMs = CardSimulatorProcess::kTimeoutMs)
{
    return callCard(QString::fromLatin1(kCardService), QStringLiteral("GetDirPath"),
                    {QStringLiteral("logger")}, timeoutMs);
}

QDBusMessage getDirSize(int timeoutMs = CardSimulatorProcess::kTimeoutMs)
{
    return callCard(QString::fromLatin1(kCardService), QStringLiteral("GetDirSize"),
                    {QStringLiteral("logger")}, timeoutMs);
}

// The value of a property as a client reads it; invalid where the read failed.
QVariant property(const QString& name)
{
    const QDBusMessage reply = getProperty(name);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return QVariant();
    return reply.arguments().first().value<QDBusVariant>().variant();
}

QVariant firstArgument(const QDBusMessage& reply)
{
    return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0) : QVariant();
}

QString owner(const QString& name)
{
    const QDBusReply<QString> reply = clientBus().interface()->serviceOwner(name);
    return reply.isValid() ? reply.value() : QString();
}

QString ownerChange(const QString& oldOwner, const QString& newOwner)
{
    return QStringLiteral("NameOwnerChanged '%1' '%2'").arg(oldOwner, newOwner);
}

std::string eventsText(const CardSignalRecorder& recorder)
{
    return recorder.events().join(QStringLiteral(" | ")).toStdString();
}

// A private bus, a client thread watching the card, and the simulator where the test starts it.
class CardSimulatorTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mBus.start()) << mBus.errorString().toStdString();
        ASSERT_TRUE(mRecorder.start()) << mRecorder.errorString().toStdString();
    }

    void TearDown() override
    {
        mRecorder.stop();
        mSimulator.stop();
        mBus.stop();
    }

    // Starts the simulator and waits until the client has seen it take qz.SDCard1; the events
    // recorded from then on are the test's.
    void startSimulator(const QStringList& options = QStringList())
    {
        ASSERT_TRUE(mSimulator.start(options)) << mSimulator.errorString().toStdString();
        ASSERT_TRUE(mRecorder.waitForEvent(ownerChange(QString(), mSimulator.uniqueName())))
            << eventsText(mRecorder);
        mRecorder.clear();
    }

    void expectEvent(const QString& event)
    {
        EXPECT_TRUE(mRecorder.waitForEvent(event))
            << "waited for " << event.toStdString() << "; seen " << eventsText(mRecorder);
    }

    PrivateSystemBus mBus;
    CardSignalRecorder mRecorder;
    CardSimulatorProcess mSimulator;
};

TEST_F(CardSimulatorTest, EjectSetsStateUnmountedBeforeItSendsEjectPressed)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator({"--state", "3"}));
    ASSERT_TRUE(mSimulator.eject()) << mSimulator.errorString().toStdString();
    expectEvent(QStringLiteral("EjectPressed State=4"));
    EXPECT_EQ(mRecorder.events(), QStringList{QStringLiteral("EjectPressed State=4")});
    EXPECT_EQ(property(QStringLiteral("State")), QVariant(4));
    EXPECT_EQ(property(QStringLiteral("IsMounted")), QVariant(false));
}

TEST_F(CardSimulatorTest, MountSetsStateMountedBeforeItSendsCardMounted)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator({"--state", "4"}));
    ASSERT_TRUE(mSimulator.mount()) << mSimulator.errorString().toStdString();
    expectEvent(QStringLiteral("CardMounted State=3"));
    EXPECT_EQ(mRecorder.events(), QStringList{QStringLiteral("CardMounted State=3")});
    EXPECT_EQ(property(QStringLiteral("State")), QVariant(3));
    EXPECT_EQ(property(QStringLiteral("IsMounted")), QVariant(true));
}

TEST_F(CardSimulatorTest, CorruptSetsStateNotMountableBeforeItSendsCardCorrupt)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator({"--state", "3"}));
    ASSERT_TRUE(mSimulator.corrupt()) << mSimulator.errorString().toStdString();
    expectEvent(QStringLiteral("CardCorrupt State=2"));
    EXPECT_EQ(mRecorder.events(), QStringList{QStringLiteral("CardCorrupt State=2")});
    EXPECT_EQ(property(QStringLiteral("State")), QVariant(2));
    EXPECT_EQ(property(QStringLiteral("IsMounted")), QVariant(false));
}

TEST_F(CardSimulatorTest, SetMemStateStoresMemStateAndSendsMemStateChanged)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator());
    ASSERT_TRUE(mSimulator.setMemState(2)) << mSimulator.errorString().toStdString();
    expectEvent(QStringLiteral("MemStateChanged 2 MemState=2"));
    EXPECT_EQ(property(QStringLiteral("MemState")), QVariant(2));
    EXPECT_EQ(
        firstArgument(callCard(QString::fromLatin1(kCardService), QStringLiteral("RefreshMemState"), {})),
        QVariant(2));

    // The older name of the call does the same.
    ASSERT_TRUE(mSimulator.control(QStringLiteral("EmitMemStateChanged"), {1}))
        << mSimulator.errorString().toStdString();
    expectEvent(QStringLiteral("MemStateChanged 1 MemState=1"));
    EXPECT_EQ(mRecorder.events(), (QStringList{QStringLiteral("MemStateChanged 2 MemState=2"),
                                               QStringLiteral("MemStateChanged 1 MemState=1")}));
    // The card's state stays.
    EXPECT_EQ(property(QStringLiteral("State")), QVariant(3));
}

TEST_F(CardSimulatorTest, DisappearGivesUpTheCardNameAndReappearOwnsItAgainWithTheSameState)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator({"--state", "4", "--mount-point", "/mnt/card-a", "--logger-path",
                                            "/mnt/card-a/logger", "--logger-size", "4096"}));
    const QString simulator = mSimulator.uniqueName();

    ASSERT_TRUE(mSimulator.disappear()) << mSimulator.errorString().toStdString();
    expectEvent(ownerChange(simulator, QString()));
    EXPECT_FALSE(clientBus().interface()->isServiceRegistered(QString::fromLatin1(kCardService)).value());
    // The control name stays with the simulator, and calls on the card fail.
    EXPECT_EQ(owner(QString::fromLatin1(kControlService)), simulator);
    EXPECT_EQ(getProperty(QStringLiteral("State")).errorName(),
              QStringLiteral("org.freedesktop.DBus.Error.ServiceUnknown"));
    EXPECT_EQ(getDirPath().errorName(), QStringLiteral("org.freedesktop.DBus.Error.ServiceUnknown"));

    ASSERT_TRUE(mSimulator.reappear()) << mSimulator.errorString().toStdString();
    expectEvent(ownerChange(QString(), simulator));
    EXPECT_EQ(mRecorder.events(),
              (QStringList{ownerChange(simulator, QString()), ownerChange(QString(), simulator)}));
    EXPECT_EQ(property(QStringLiteral("State")), QVariant(4));
    EXPECT_EQ(property(QStringLiteral("MountPoint")), QVariant(QStringLiteral("/mnt/card-a")));
    EXPECT_EQ(firstArgument(getDirPath()), QVariant(QStringLiteral("/mnt/card-a/logger")));
    EXPECT_EQ(firstArgument(getDirSize()), QVariant(qlonglong(4096)));
}

TEST_F(CardSimulatorTest, ControlCallsReachTheSimulatorWhileTheCardIsAway)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator({"--state", "3"}));
    ASSERT_TRUE(mSimulator.disappear()) << mSimulator.errorString().toStdString();
    expectEvent(ownerChange(mSimulator.uniqueName(), QString()));
    ASSERT_TRUE(mSimulator.control(QStringLiteral("SetState"), {6}))
        << mSimulator.errorString().toStdString();
    ASSERT_TRUE(mSimulator.control(QStringLiteral("SetLoggerPath"), {QStringLiteral("/mnt/later/logger")}))
        << mSimulator.errorString().toStdString();
    ASSERT_TRUE(mSimulator.reappear()) << mSimulator.errorString().toStdString();
    expectEvent(ownerChange(QString(), mSimulator.uniqueName()));
    EXPECT_EQ(property(QStringLiteral("State")), QVariant(6));
    EXPECT_EQ(firstArgument(getDirPath()), QVariant(QStringLiteral("/mnt/later/logger")));
}

TEST_F(CardSimulatorTest, DisappearAndReappearAgainChangeNothingMore)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator());
    const QString simulator = mSimulator.uniqueName();
    ASSERT_TRUE(mSimulator.disappear()) << mSimulator.errorString().toStdString();
    ASSERT_TRUE(mSimulator.disappear()) << mSimulator.errorString().toStdString();
    ASSERT_TRUE(mSimulator.reappear()) << mSimulator.errorString().toStdString();
    ASSERT_TRUE(mSimulator.reappear()) << mSimulator.errorString().toStdString();
    expectEvent(ownerChange(QString(), simulator));
    // An Eject after the second Reappear: its signal comes after every change of owner.
    ASSERT_TRUE(mSimulator.eject()) << mSimulator.errorString().toStdString();
    expectEvent(QStringLiteral("EjectPressed State=4"));
    EXPECT_EQ(mRecorder.events(),
              (QStringList{ownerChange(simulator, QString()), ownerChange(QString(), simulator),
                           QStringLiteral("EjectPressed State=4")}));
    EXPECT_TRUE(mSimulator.isRunning());
}

TEST_F(CardSimulatorTest, ReappearFailsWhileAnotherConnectionOwnsTheCardName)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator());
    ASSERT_TRUE(mSimulator.disappear()) << mSimulator.errorString().toStdString();
    QDBusConnectionInterface* client = clientBus().interface();
    ASSERT_EQ(client->registerService(QString::fromLatin1(kCardService)).value(),
              QDBusConnectionInterface::ServiceRegistered);

    EXPECT_FALSE(mSimulator.reappear());
    EXPECT_EQ(mSimulator.errorString(),
              QStringLiteral("Reappear: org.freedesktop.DBus.Error.Failed: cannot own "
                             "qz.SDCard1: another connection owns it"));
    EXPECT_EQ(owner(QString::fromLatin1(kCardService)), clientBus().baseService());

    ASSERT_TRUE(client->unregisterService(QString::fromLatin1(kCardService)).value());
    EXPECT_TRUE(mSimulator.reappear()) << mSimulator.errorString().toStdString();
    EXPECT_EQ(owner(QString::fromLatin1(kCardService)), mSimulator.uniqueName());
}

TEST_F(CardSimulatorTest, ReplaceTakesBothNamesAndTheReplacedSimulatorExitsWithZero)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator({"--state", "3"}));
    const QString first = mSimulator.uniqueName();

    CardSimulatorProcess second;
    ASSERT_TRUE(second.start({"--replace", "--state", "6"})) << second.errorString().toStdString();
    expectEvent(ownerChange(first, second.uniqueName()));
    EXPECT_TRUE(mSimulator.waitForExit()) << mSimulator.errorString().toStdString();

    EXPECT_EQ(owner(QString::fromLatin1(kCardService)), second.uniqueName());
    EXPECT_EQ(owner(QString::fromLatin1(kControlService)), second.uniqueName());
    EXPECT_EQ(property(QStringLiteral("State")), QVariant(6));
    // The client's subscriptions follow the name to its new owner.
    ASSERT_TRUE(second.eject()) << second.errorString().toStdString();
    expectEvent(QStringLiteral("EjectPressed State=4"));
    EXPECT_EQ(mRecorder.events(),
              (QStringList{ownerChange(first, second.uniqueName()), QStringLiteral("EjectPressed State=4")}));
    EXPECT_TRUE(second.quit()) << second.errorString().toStdString();
}

TEST_F(CardSimulatorTest, ReplacedSimulatorSaysSoOnStandardError)
{
    QProcess first;
    first.setProgram(CardSimulatorProcess::program());
    first.setStandardInputFile(QProcess::nullDevice());
    first.start();
    ASSERT_TRUE(first.waitForStarted(kProcessTimeoutMs)) << first.errorString().toStdString();
    const QDeadlineTimer deadline(kProcessTimeoutMs);
    while (!first.canReadLine() && first.waitForReadyRead(static_cast<int>(deadline.remainingTime()))) {
    }
    ASSERT_EQ(first.readLine(), QByteArray("qz-sdcard-simulator: ready\n"));
    const QString firstName = owner(QString::fromLatin1(kCardService));
    ASSERT_FALSE(firstName.isEmpty());

    CardSimulatorProcess second;
    ASSERT_TRUE(second.start({"--replace"})) << second.errorString().toStdString();
    ASSERT_TRUE(first.waitForFinished(kProcessTimeoutMs));
    EXPECT_EQ(first.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(first.exitCode(), 0);
    EXPECT_EQ(QString::fromLocal8Bit(first.readAllStandardError()),
              QStringLiteral("qz-sdcard-simulator: replaced: qz.SDCard1 now belongs to %1; leaving the bus\n")
                  .arg(second.uniqueName()));
    EXPECT_TRUE(second.quit()) << second.errorString().toStdString();
}

TEST_F(CardSimulatorTest, ReplaceTakesTheControlNameOfASimulatorWhoseCardIsAway)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator());
    const QString first = mSimulator.uniqueName();
    ASSERT_TRUE(mSimulator.disappear()) << mSimulator.errorString().toStdString();
    expectEvent(ownerChange(first, QString()));

    CardSimulatorProcess second;
    ASSERT_TRUE(second.start({"--replace"})) << second.errorString().toStdString();
    expectEvent(ownerChange(QString(), second.uniqueName()));
    EXPECT_TRUE(mSimulator.waitForExit()) << mSimulator.errorString().toStdString();
    EXPECT_EQ(owner(QString::fromLatin1(kControlService)), second.uniqueName());
    EXPECT_TRUE(second.quit()) << second.errorString().toStdString();
}

TEST_F(CardSimulatorTest, WithoutReplaceASecondSimulatorDoesNotStart)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator());
    CardSimulatorProcess second;
    EXPECT_FALSE(second.start());
    EXPECT_TRUE(second.errorString().endsWith(QStringLiteral(" exited with 1 before it was ready")))
        << second.errorString().toStdString();
    EXPECT_EQ(owner(QString::fromLatin1(kCardService)), mSimulator.uniqueName());
    EXPECT_EQ(owner(QString::fromLatin1(kControlService)), mSimulator.uniqueName());
    EXPECT_TRUE(mRecorder.events().isEmpty()) << eventsText(mRecorder);
}

TEST_F(CardSimulatorTest, ErrorModeAnswersEveryCallOnTheCardWithFailed)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator({"--state", "3"}));
    ASSERT_TRUE(mSimulator.setReplyMode(QStringLiteral("error"))) << mSimulator.errorString().toStdString();

    const QDBusMessage replies[] = {
        getProperty(QStringLiteral("State")),
        getProperty(QStringLiteral("MountPoint")),
        callCard(QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("GetAll"),
                 {QString::fromLatin1(kCardService)}),
        getDirPath(),
        getDirSize(),
        callCard(QString::fromLatin1(kCardService), QStringLiteral("RefreshMemState"), {}),
    };
    for (const QDBusMessage& reply : replies) {
        EXPECT_EQ(reply.type(), QDBusMessage::ErrorMessage);
        EXPECT_EQ(reply.errorName(), QString::fromLatin1(kFailedError));
        EXPECT_EQ(reply.errorMessage(), QString::fromLatin1(kFailedMessage));
    }

    // Control calls still answer, and the card answers again in the normal mode.
    ASSERT_TRUE(mSimulator.setReplyMode(QStringLiteral("normal"))) << mSimulator.errorString().toStdString();
    EXPECT_EQ(property(QStringLiteral("State")), QVariant(3));
    EXPECT_EQ(firstArgument(getDirPath()), QVariant(QStringLiteral("/media/sdcard/logger")));
}

TEST_F(CardSimulatorTest, SilentModeLeavesCallsOnTheCardUnanswered)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator({"--state", "3"}));
    ASSERT_TRUE(mSimulator.setReplyMode(QStringLiteral("silent"))) << mSimulator.errorString().toStdString();

    QElapsedTimer waited;
    waited.start();
    const QDBusMessage state = getProperty(QStringLiteral("State"), kSilentCallTimeoutMs);
    EXPECT_GE(waited.elapsed(), kSilentCallTimeoutMs - 50);
    EXPECT_EQ(state.errorName(), QStringLiteral("org.freedesktop.DBus.Error.NoReply"));
    EXPECT_EQ(getDirPath(kSilentCallTimeoutMs).errorName(),
              QStringLiteral("org.freedesktop.DBus.Error.NoReply"));

    ASSERT_TRUE(mSimulator.control(QStringLiteral("SetState"), {5}))
        << mSimulator.errorString().toStdString();
    ASSERT_TRUE(mSimulator.setReplyMode(QStringLiteral("normal"))) << mSimulator.errorString().toStdString();
    EXPECT_EQ(property(QStringLiteral("State")), QVariant(5));
}

TEST_F(CardSimulatorTest, UnknownReplyModeIsRefusedAndChangesNothing)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator({"--state", "3"}));
    EXPECT_FALSE(mSimulator.setReplyMode(QStringLiteral("loud")));
    EXPECT_EQ(mSimulator.errorString(),
              QStringLiteral("SetReplyMode: org.freedesktop.DBus.Error.InvalidArgs: "
                             "unknown reply mode 'loud' (known: normal, error, silent)"));
    EXPECT_EQ(property(QStringLiteral("State")), QVariant(3));

    ASSERT_TRUE(mSimulator.setReplyMode(QStringLiteral("error"))) << mSimulator.errorString().toStdString();
    EXPECT_FALSE(mSimulator.setReplyMode(QStringLiteral("Normal")));
    EXPECT_EQ(mSimulator.errorString(),
              QStringLiteral("SetReplyMode: org.freedesktop.DBus.Error.InvalidArgs: "
                             "unknown reply mode 'Normal' (known: normal, error, silent)"));
    EXPECT_FALSE(mSimulator.setReplyMode(QString()));
    EXPECT_EQ(getProperty(QStringLiteral("State")).errorName(), QString::fromLatin1(kFailedError));
}

TEST_F(CardSimulatorTest, SignalsOfTheCardStillComeInErrorMode)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator({"--state", "3"}));
    ASSERT_TRUE(mSimulator.setReplyMode(QStringLiteral("error"))) << mSimulator.errorString().toStdString();
    ASSERT_TRUE(mSimulator.eject()) << mSimulator.errorString().toStdString();
    // The client's read of State on the signal fails.
    expectEvent(QStringLiteral("EjectPressed State=?"));
}

TEST_F(CardSimulatorTest, ClientModeEjectsFromAnotherProcess)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator({"--state", "3"}));
    EXPECT_TRUE(CardSimulatorProcess::runClient({"--eject"}));
    expectEvent(QStringLiteral("EjectPressed State=4"));
    EXPECT_EQ(property(QStringLiteral("State")), QVariant(4));
}

TEST_F(CardSimulatorTest, ClientModeSendsItsCallsInItsOwnOrder)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator({"--state", "3"}));
    // Eject comes before SetMemState, whatever the command line's order.
    EXPECT_TRUE(CardSimulatorProcess::runClient({"--mem-state", "2", "--eject"}));
    ASSERT_TRUE(mRecorder.waitForEventCount(2)) << eventsText(mRecorder);
    EXPECT_EQ(mRecorder.events(), (QStringList{QStringLiteral("EjectPressed State=4"),
                                               QStringLiteral("MemStateChanged 2 MemState=2")}));
}

TEST_F(CardSimulatorTest, ClientModeMakesEveryCall)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator({"--state", "4"}));
    const QString simulator = mSimulator.uniqueName();

    EXPECT_TRUE(CardSimulatorProcess::runClient({"--mount"}));
    expectEvent(QStringLiteral("CardMounted State=3"));
    EXPECT_TRUE(CardSimulatorProcess::runClient({"--corrupt"}));
    expectEvent(QStringLiteral("CardCorrupt State=2"));
    EXPECT_TRUE(CardSimulatorProcess::runClient({"--set-state", "6"}));
    EXPECT_EQ(property(QStringLiteral("State")), QVariant(6));
    EXPECT_TRUE(CardSimulatorProcess::runClient({"--reply-mode", "error"}));
    EXPECT_EQ(getProperty(QStringLiteral("State")).errorName(), QString::fromLatin1(kFailedError));
    EXPECT_TRUE(CardSimulatorProcess::runClient({"--reply-mode", "silent"}));
    EXPECT_EQ(getProperty(QStringLiteral("State"), kSilentCallTimeoutMs).errorName(),
              QStringLiteral("org.freedesktop.DBus.Error.NoReply"));
    EXPECT_TRUE(CardSimulatorProcess::runClient({"--reply-mode", "normal"}));
    EXPECT_EQ(property(QStringLiteral("State")), QVariant(6));
    EXPECT_TRUE(CardSimulatorProcess::runClient({"--disappear"}));
    expectEvent(ownerChange(simulator, QString()));
    EXPECT_TRUE(CardSimulatorProcess::runClient({"--reappear"}));
    expectEvent(ownerChange(QString(), simulator));
    EXPECT_TRUE(CardSimulatorProcess::runClient({"--quit"}));
    EXPECT_TRUE(mSimulator.waitForExit()) << mSimulator.errorString().toStdString();
    expectEvent(ownerChange(simulator, QString()));
}

TEST_F(CardSimulatorTest, ClientModeExitsWithOneWithoutASimulator)
{
    QByteArray standardError;
    EXPECT_EQ(CardSimulatorProcess::clientExitCode({"--eject"}, &standardError), 1);
    const QString text = QString::fromLocal8Bit(standardError);
    EXPECT_TRUE(text.startsWith(
        QStringLiteral("qz-sdcard-simulator: Eject failed: org.freedesktop.DBus.Error.ServiceUnknown: ")))
        << text.toStdString();
    EXPECT_EQ(text.count(QLatin1Char('\n')), 1) << text.toStdString();
    EXPECT_TRUE(text.endsWith(QLatin1Char('\n'))) << text.toStdString();
}

TEST_F(CardSimulatorTest, ClientModeExitsWithOneWhenACallFailsAndSendsNoLaterCall)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator());
    ASSERT_TRUE(mSimulator.disappear()) << mSimulator.errorString().toStdString();
    QDBusConnectionInterface* client = clientBus().interface();
    ASSERT_EQ(client->registerService(QString::fromLatin1(kCardService)).value(),
              QDBusConnectionInterface::ServiceRegistered);

    QByteArray standardError;
    EXPECT_EQ(CardSimulatorProcess::clientExitCode({"--quit", "--reappear"}, &standardError), 1);
    EXPECT_EQ(
        QString::fromLocal8Bit(standardError),
        QStringLiteral("qz-sdcard-simulator: Reappear failed: org.freedesktop.DBus.Error.Failed: cannot own "
                       "qz.SDCard1: another connection owns it\n"));
    // Quit comes after Reappear and was not sent.
    EXPECT_TRUE(mSimulator.control(QStringLiteral("SetState"), {3}))
        << mSimulator.errorString().toStdString();
    EXPECT_EQ(owner(QString::fromLatin1(kControlService)), mSimulator.uniqueName());
}

TEST_F(CardSimulatorTest, ClientModeExitsWithTwoOnABadCommandLineAndSendsNothing)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator({"--state", "3"}));
    const struct {
        QStringList options;
        QString error;
    } cases[] = {
        {{"--eject", "--state", "3"},
         "--state serves a card and --eject drives a running simulator; they do not go "
         "together"},
        {{"--quit", "--replace"},
         "--replace serves a card and --quit drives a running simulator; they do not go "
         "together"},
        {{"--logger-size", "10", "--disappear"},
         "--logger-size serves a card and --disappear drives a running "
         "simulator; they do not go together"},
        {{"--mem-state", "x"}, "--mem-state wants an integer, not 'x'"},
        {{"--set-state", "3.5"}, "--set-state wants an integer, not '3.5'"},
        {{"--reply-mode", "loud"}, "--reply-mode wants one of normal, error, silent, not 'loud'"},
        {{"--eject", "--eject"}, "--eject given more than once"},
        {{"--set-state", "1", "--set-state", "2"}, "--set-state given more than once"},
        {{"--eject", "extra"}, "unexpected argument 'extra'"},
        {{"--mem-state"}, "Missing value after '--mem-state'."},
        {{"--bogus"}, "Unknown option 'bogus'."},
    };
    for (const auto& bad : cases) {
        QByteArray standardError;
        EXPECT_EQ(CardSimulatorProcess::clientExitCode(bad.options, &standardError), 2)
            << bad.options.join(' ').toStdString();
        EXPECT_EQ(QString::fromLocal8Bit(standardError),
                  QStringLiteral("qz-sdcard-simulator: %1\n").arg(bad.error));
    }
    EXPECT_EQ(property(QStringLiteral("State")), QVariant(3));
    EXPECT_EQ(owner(QString::fromLatin1(kCardService)), mSimulator.uniqueName());
    EXPECT_TRUE(mRecorder.events().isEmpty()) << eventsText(mRecorder);
}

TEST_F(CardSimulatorTest, HelpListsEveryOptionAndControlCall)
{
    QProcess help;
    help.setProgram(CardSimulatorProcess::program());
    help.setArguments({QStringLiteral("--help")});
    help.setStandardInputFile(QProcess::nullDevice());
    help.start();
    ASSERT_TRUE(help.waitForFinished(kProcessTimeoutMs));
    EXPECT_EQ(help.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(help.exitCode(), 0);
    const QString text = QString::fromLocal8Bit(help.readAllStandardOutput());

    for (const char* option :
         {"--state <N>", "--state-as-string <TEXT>", "--mount-point <PATH>", "--logger-path <PATH>",
          "--logger-size <BYTES>", "--replace", "--eject", "--mount", "--corrupt", "--mem-state <N>",
          "--disappear", "--reappear", "--reply-mode <MODE>", "--set-state <N>", "--quit"}) {
        const QRegularExpression line(
            QStringLiteral("^ +%1(?![-\\w])").arg(QRegularExpression::escape(option)),
            QRegularExpression::MultilineOption);
        EXPECT_TRUE(line.match(text).hasMatch()) << option;
    }
    for (const char* call : {"Eject()", "Mount()", "Corrupt()", "SetMemState(i)", "Disappear()", "Reappear()",
                             "SetReplyMode(s)", "Quit()", "qz.SDCard1.Simulator", "qz.SDCard1.Error.Failed",
                             "\"normal\"", "\"error\"", "\"silent\""}) {
        EXPECT_TRUE(text.contains(QLatin1String(call))) << call;
    }
}

// The control connection is named so that opening it on the main thread, which runs no event
// loop, leaves signal delivery to a client thread alone; here it is opened before the client.
class CardSimulatorControlFirstTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(mBus.start()) << mBus.errorString().toStdString(); }
    void TearDown() override
    {
        mRecorder.stop();
        mSimulator.stop();
        mBus.stop();
    }

    PrivateSystemBus mBus;
    CardSimulatorProcess mSimulator;
    CardSignalRecorder mRecorder;
};

TEST_F(CardSimulatorControlFirstTest, SignalsReachAClientThreadThatOpensTheBusAfterTheControlConnection)
{
    ASSERT_TRUE(mSimulator.start({"--state", "3"})) << mSimulator.errorString().toStdString();
    ASSERT_TRUE(mSimulator.control(QStringLiteral("SetState"), {3}))
        << mSimulator.errorString().toStdString();
    ASSERT_TRUE(mRecorder.start()) << mRecorder.errorString().toStdString();
    ASSERT_TRUE(mSimulator.eject()) << mSimulator.errorString().toStdString();
    EXPECT_TRUE(mRecorder.waitForEvent(QStringLiteral("EjectPressed State=4"))) << eventsText(mRecorder);
}

// A system bus with nobody behind its address.
TEST(CardSimulatorNoBusTest, ClientModeExitsWithOneWithoutABus)
{
    TemporaryStoreRoot root;
    ASSERT_TRUE(root.isValid());
    const QByteArray earlier = qgetenv("DBUS_SYSTEM_BUS_ADDRESS");
    const bool hadAddress = qEnvironmentVariableIsSet("DBUS_SYSTEM_BUS_ADDRESS");
    const QString socket = root.filePath(QStringLiteral("no-bus"));
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", QStringLiteral("unix:path=%1").arg(socket).toLocal8Bit());

    QByteArray standardError;
    EXPECT_EQ(CardSimulatorProcess::clientExitCode({"--eject"}, &standardError), 1);
    const QString text = QString::fromLocal8Bit(standardError);
    EXPECT_TRUE(text.startsWith(QStringLiteral("qz-sdcard-simulator: no system bus: ")))
        << text.toStdString();
    EXPECT_TRUE(text.contains(socket)) << text.toStdString();

    if (hadAddress)
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", earlier);
    else
        qunsetenv("DBUS_SYSTEM_BUS_ADDRESS");
}

} // namespace

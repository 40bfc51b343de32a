// LoggerSDCard on its own: what the client learns from the card service, played by
// qz-sdcard-simulator on a private system bus of the test, and the background daemon that
// follows the service from a D-Bus thread of its own: its start with and without the service
// and the bus, the service coming, going and changing owner, the card's memory state, the
// receivers of the state word, and the end of its thread. Each test runs in a process of its
// own (Qt binds the system bus once per process) and stops its simulator and its bus.

#include "LoggerSDCard.h"
#include "CardSimulatorProcess.h"
#include "ChildTestProcess.h"
#include "LogCapture.h"
#include "LoggerDb.h"
#include "LoggerGlobalStates.h"
#include "LoggerStateReceiver.h"
#include "PrivateSystemBus.h"
#include "QStringPrinter.h"
#include "TemporaryStoreRoot.h"
#include "TrackObject.h"
#include "WaitUntil.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QMetaObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QThread>
#include <QVariant>
#include <gtest/gtest.h>

#include <iostream>
#include <memory>

#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr qint64 kLargeCard = 31914983424; // a 32 GB card: more than 32 bits of bytes
constexpr int kEventTimeoutMs = 20000;
constexpr int kTimeoutSlackMs = 250;
constexpr const char* kFailedReply =
    "qz.SDCard1.Error.Failed: The simulated card service fails every call (reply mode error)";

QString sdcardLine(const char* level, const QString& text)
{
    return QStringLiteral("Logger.Sdcard|") + QLatin1String(level) + QLatin1Char('|') + text;
}

QString currentThreadId()
{
    return QString::number(static_cast<long>(::syscall(SYS_gettid)));
}

// The id of the card client's D-Bus thread, from the line it logs as it starts.
QString dbusThreadId()
{
    const QString prefix = sdcardLine("INFO", QStringLiteral("The DBus thread is started, tid = "));
    for (const QString& line : LogCapture::lines()) {
        if (line.startsWith(prefix))
            return line.mid(prefix.size());
    }
    return QString();
}

// The card client's lines from line number `from` of the capture on.
QStringList sdcardLinesFrom(int from)
{
    QStringList result;
    const QStringList lines = LogCapture::lines();
    for (int index = from; index < lines.size(); ++index) {
        if (lines.at(index).startsWith(QLatin1String("Logger.Sdcard|")))
            result.append(lines.at(index));
    }
    return result;
}

bool waitForLine(const QString& line, int count = 1)
{
    return waitUntil([&] { return LogCapture::count(line) >= count; }, kEventTimeoutMs);
}

std::string logText()
{
    return LogCapture::text().toStdString();
}

// Returns once the daemon's thread has handled everything that reached it before the call.
void drainCardThread(LoggerSDCard& card)
{
    QMetaObject::invokeMethod(
        &card, [] {}, Qt::BlockingQueuedConnection);
}

// Ends a thread that runs an event loop, also where a test ends early; declared after the
// objects that live on the thread, it goes first.
class EventLoopThread {
public:
    explicit EventLoopThread(QThread& thread) : mThread(thread) { mThread.start(); }
    ~EventLoopThread()
    {
        mThread.quit();
        mThread.wait();
    }
    EventLoopThread(const EventLoopThread&) = delete;
    EventLoopThread& operator=(const EventLoopThread&) = delete;

private:
    QThread& mThread;
};

std::unique_ptr<LoggerSDCard> newCard()
{
    return std::unique_ptr<LoggerSDCard>(LoggerSDCard::createInstance());
}

// What the simulator sends for a property, as it comes off the bus.
QVariant rawProperty(const QString& name)
{
    QDBusMessage get = QDBusMessage::createMethodCall(
        QStringLiteral("qz.SDCard1"), QStringLiteral("/qz/sdcard"),
        QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    get << QStringLiteral("qz.SDCard1") << name;
    const QDBusMessage reply = CardSimulatorProcess::controlBus().call(get);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return QVariant();
    return reply.arguments().first().value<QDBusVariant>().variant();
}

// Values of a new client, before anything was read.
TEST(LoggerSDCardValuesTest, NewClientHoldsTheStartValues)
{
    auto card = newCard();
    ASSERT_NE(card, nullptr);
    EXPECT_EQ(card->getSdState(), SDC_NOT_INITIALIZED);
    EXPECT_FALSE(card->isSDCardMounted());
    EXPECT_TRUE(card->getMountPoint().isEmpty());
    EXPECT_TRUE(card->getLoggerPath().isEmpty());
    EXPECT_EQ(card->getLoggerSize(), 0);
    EXPECT_FALSE(card->isInitialized());
    EXPECT_EQ(card->getTrackCategory(), QStringLiteral("Logger.Sdcard"));
}

TEST(LoggerSDCardValuesTest, OnlyMountedCountsAsMounted)
{
    auto card = newCard();
    ASSERT_NE(card, nullptr);
    for (int value = -1; value <= 7; ++value) {
        const auto state = static_cast<LoggerSdcState>(value);
        card->SetSdState(state);
        EXPECT_EQ(card->getSdState(), state);
        EXPECT_EQ(card->isSDCardMounted(), value == 3) << "state " << value;
    }
}

TEST(LoggerSDCardValuesTest, EveryStateHasItsText)
{
    EXPECT_EQ(LoggerSDCard::getSdcardStateString(SDC_NOT_INITIALIZED), QStringLiteral("not initialized"));
    EXPECT_EQ(LoggerSDCard::getSdcardStateString(SDC_NO_SDCARD), QStringLiteral("no SD-Card"));
    EXPECT_EQ(LoggerSDCard::getSdcardStateString(SDC_NOT_MOUNTABLE), QStringLiteral("not mountable"));
    EXPECT_EQ(LoggerSDCard::getSdcardStateString(SDC_MOUNTED), QStringLiteral("mounted"));
    EXPECT_EQ(LoggerSDCard::getSdcardStateString(SDC_UNMOUNTED), QStringLiteral("unmounted"));
    EXPECT_EQ(LoggerSDCard::getSdcardStateString(SDC_CLOSING_FILES), QStringLiteral("closing files"));
    EXPECT_EQ(LoggerSDCard::getSdcardStateString(SDC_MOUNTING), QStringLiteral("moubting"));
    EXPECT_EQ(LoggerSDCard::getSdcardStateString(static_cast<LoggerSdcState>(0)),
              QStringLiteral("not initialized"));
    EXPECT_EQ(LoggerSDCard::getSdcardStateString(static_cast<LoggerSdcState>(6)), QStringLiteral("moubting"));
}

TEST(LoggerSDCardValuesTest, StatesOutsideTheTableAreUnknown)
{
    for (int value : {7, 8, 42, -1, 255})
        EXPECT_EQ(LoggerSDCard::getSdcardStateString(static_cast<LoggerSdcState>(value)),
                  QStringLiteral("unknown"))
            << "state " << value;
}

// A system bus with nobody behind its address.
TEST(LoggerSDCardNoBusTest, WithoutASystemBusTheInterfaceDoesNotComeUp)
{
    TemporaryStoreRoot root;
    ASSERT_TRUE(root.isValid());
    qputenv("DBUS_SYSTEM_BUS_ADDRESS",
            QStringLiteral("unix:path=%1").arg(root.filePath(QStringLiteral("no-bus"))).toLocal8Bit());
    auto card = newCard();
    ASSERT_NE(card, nullptr);
    EXPECT_FALSE(LoggerSDCard::getBus().isConnected());
    EXPECT_FALSE(card->initializeInterface());
    EXPECT_FALSE(card->isInitialized());
    EXPECT_EQ(card->readState(), SDC_NOT_INITIALIZED);
    EXPECT_TRUE(card->readMountPoint().isEmpty());
    EXPECT_EQ(card->readLoggerSize(), 0);
    qunsetenv("DBUS_SYSTEM_BUS_ADDRESS");
}

// A private system bus per test; the simulator where the test starts it.
class LoggerSDCardTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(LogCapture::install());
        ASSERT_TRUE(mBus.start()) << mBus.errorString().toStdString();
    }

    void TearDown() override
    {
        mCard.reset();
        mSimulator.stop();
        mBus.stop();
    }

    void startSimulator(const QStringList& options)
    {
        ASSERT_TRUE(mSimulator.start(options)) << mSimulator.errorString().toStdString();
    }

    void control(const QString& method, const QVariantList& arguments = QVariantList())
    {
        ASSERT_TRUE(mSimulator.control(method, arguments)) << mSimulator.errorString().toStdString();
    }

    // A client whose proxy is up, on a simulator started with options.
    void startCard(const QStringList& options)
    {
        ASSERT_NO_FATAL_FAILURE(startSimulator(options));
        mCard = newCard();
        ASSERT_NE(mCard, nullptr);
        ASSERT_TRUE(mCard->initializeInterface());
    }

    // The background daemon, on whatever the bus holds.
    void startDaemon()
    {
        mCard = newCard();
        ASSERT_NE(mCard, nullptr);
        ASSERT_TRUE(mCard->initialize());
        mThreadId = dbusThreadId();
        ASSERT_FALSE(mThreadId.isEmpty()) << logText();
    }

    void setMemStateAndWait(int state)
    {
        ASSERT_NO_FATAL_FAILURE(control("SetMemState", {state}));
        ASSERT_TRUE(waitUntil([&] { return mCard->getMemState() == state; }, kEventTimeoutMs));
    }

    QString sendStateLine(const QString& stateText) const
    {
        return sdcardLine("INFO", QStringLiteral("LoggerSDCard, send State from state = ") + stateText +
                                      QStringLiteral(", tid = ") + mThreadId);
    }

    PrivateSystemBus mBus;
    CardSimulatorProcess mSimulator;
    std::unique_ptr<LoggerSDCard> mCard;
    QString mThreadId; // the daemon's D-Bus thread
};

TEST_F(LoggerSDCardTest, InitializeInterfaceReadsWhatTheServiceReports)
{
    ASSERT_NO_FATAL_FAILURE(
        startCard({"--state", "3", "--mount-point", "/media/sdcard", "--logger-path", "/media/sdcard/logger",
                   "--logger-size", QString::number(kLargeCard)}));
    EXPECT_TRUE(mCard->isInitialized());
    EXPECT_EQ(mCard->getSdState(), SDC_MOUNTED);
    EXPECT_TRUE(mCard->isSDCardMounted());
    EXPECT_EQ(mCard->getMountPoint(), QStringLiteral("/media/sdcard"));
    EXPECT_EQ(mCard->getLoggerPath(), QStringLiteral("/media/sdcard/logger"));
    EXPECT_EQ(mCard->getLoggerSize(), kLargeCard);
}

TEST_F(LoggerSDCardTest, ReadStateStoresThePropertyState)
{
    ASSERT_NO_FATAL_FAILURE(startCard({"--state", "4"}));
    mCard->SetSdState(SDC_MOUNTED);
    EXPECT_EQ(mCard->readState(), SDC_UNMOUNTED);
    EXPECT_EQ(mCard->getSdState(), SDC_UNMOUNTED);
    EXPECT_FALSE(mCard->isSDCardMounted());
}

TEST_F(LoggerSDCardTest, ReadMountPointStoresThePropertyMountPoint)
{
    ASSERT_NO_FATAL_FAILURE(startCard({"--mount-point", "/mnt/card one"}));
    EXPECT_EQ(mCard->readMountPoint(), QStringLiteral("/mnt/card one"));
    EXPECT_EQ(mCard->getMountPoint(), QStringLiteral("/mnt/card one"));
}

TEST_F(LoggerSDCardTest, ReadLoggerPathStoresTheAnswerOfGetDirPath)
{
    ASSERT_NO_FATAL_FAILURE(startCard({"--logger-path", "/mnt/card/qz/logger"}));
    EXPECT_EQ(mCard->readLoggerPath(), QStringLiteral("/mnt/card/qz/logger"));
    EXPECT_EQ(mCard->getLoggerPath(), QStringLiteral("/mnt/card/qz/logger"));
}

TEST_F(LoggerSDCardTest, ReadLoggerSizeStoresTheAnswerOfGetDirSizeInSixtyFourBits)
{
    ASSERT_NO_FATAL_FAILURE(startCard({"--logger-size", QString::number(kLargeCard)}));
    EXPECT_EQ(mCard->readLoggerSize(), kLargeCard);
    EXPECT_EQ(mCard->getLoggerSize(), kLargeCard);
}

TEST_F(LoggerSDCardTest, ChangesOfTheServiceAreSeenByTheNextRead)
{
    ASSERT_NO_FATAL_FAILURE(startCard({"--state", "3", "--mount-point", "/media/sdcard", "--logger-path",
                                       "/media/sdcard/logger", "--logger-size", "1000"}));
    ASSERT_NO_FATAL_FAILURE(control("SetState", {1}));
    ASSERT_NO_FATAL_FAILURE(control("SetMountPoint", {QStringLiteral("/media/other")}));
    ASSERT_NO_FATAL_FAILURE(control("SetLoggerPath", {QStringLiteral("/media/other/logger")}));
    ASSERT_NO_FATAL_FAILURE(control("SetLoggerSize", {qlonglong(2000)}));

    // Nothing changes until it is read.
    EXPECT_EQ(mCard->getSdState(), SDC_MOUNTED);
    EXPECT_EQ(mCard->getMountPoint(), QStringLiteral("/media/sdcard"));
    EXPECT_EQ(mCard->getLoggerPath(), QStringLiteral("/media/sdcard/logger"));
    EXPECT_EQ(mCard->getLoggerSize(), 1000);

    EXPECT_EQ(mCard->readState(), SDC_NO_SDCARD);
    EXPECT_EQ(mCard->readMountPoint(), QStringLiteral("/media/other"));
    EXPECT_EQ(mCard->readLoggerPath(), QStringLiteral("/media/other/logger"));
    EXPECT_EQ(mCard->readLoggerSize(), 2000);
    EXPECT_FALSE(mCard->isSDCardMounted());
}

TEST_F(LoggerSDCardTest, EveryStateIsStoredAsTheServiceSendsIt)
{
    ASSERT_NO_FATAL_FAILURE(startCard({}));
    for (int value : {0, 1, 2, 3, 4, 5, 6, 42, -7}) {
        ASSERT_NO_FATAL_FAILURE(control("SetState", {value}));
        EXPECT_EQ(mCard->readState(), static_cast<LoggerSdcState>(value));
        EXPECT_EQ(mCard->isSDCardMounted(), value == 3) << "state " << value;
    }
}

TEST_F(LoggerSDCardTest, StateThatIsNoIntegerStoresNotInitialized)
{
    ASSERT_NO_FATAL_FAILURE(startCard({"--state", "3"}));
    ASSERT_EQ(mCard->getSdState(), SDC_MOUNTED);
    ASSERT_NO_FATAL_FAILURE(control("SetStateRaw", {QStringLiteral("mounted")}));
    // The service really sends a string now.
    ASSERT_EQ(rawProperty(QStringLiteral("State")), QVariant(QStringLiteral("mounted")));

    EXPECT_EQ(mCard->readState(), SDC_NOT_INITIALIZED);
    EXPECT_EQ(mCard->getSdState(), SDC_NOT_INITIALIZED);
    EXPECT_FALSE(mCard->isSDCardMounted());
}

TEST_F(LoggerSDCardTest, StateThatIsNoIntegerFromTheStartStoresNotInitialized)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator({"--state-as-string", "unknown state"}));
    ASSERT_EQ(rawProperty(QStringLiteral("State")), QVariant(QStringLiteral("unknown state")));
    mCard = newCard();
    ASSERT_NE(mCard, nullptr);
    mCard->SetSdState(SDC_MOUNTED);
    ASSERT_TRUE(mCard->initializeInterface());
    EXPECT_EQ(mCard->getSdState(), SDC_NOT_INITIALIZED);
    EXPECT_EQ(mCard->readState(), SDC_NOT_INITIALIZED);
}

TEST_F(LoggerSDCardTest, WithoutTheServiceTheInterfaceDoesNotComeUpAndReadsAnswerNothing)
{
    mCard = newCard();
    ASSERT_NE(mCard, nullptr);
    mCard->SetSdState(SDC_UNMOUNTED);
    EXPECT_FALSE(mCard->initializeInterface());
    EXPECT_FALSE(mCard->isInitialized());

    EXPECT_EQ(mCard->readState(), SDC_UNMOUNTED);
    EXPECT_EQ(mCard->getSdState(), SDC_UNMOUNTED);
    EXPECT_TRUE(mCard->readMountPoint().isEmpty());
    EXPECT_TRUE(mCard->readLoggerPath().isEmpty());
    EXPECT_EQ(mCard->readLoggerSize(), 0);
    EXPECT_TRUE(mCard->getMountPoint().isEmpty());
    EXPECT_TRUE(mCard->getLoggerPath().isEmpty());
    EXPECT_EQ(mCard->getLoggerSize(), 0);
}

TEST_F(LoggerSDCardTest, WithoutAnInterfaceReadsLeaveTheStoredValues)
{
    ASSERT_NO_FATAL_FAILURE(startCard({"--state", "3", "--mount-point", "/media/sdcard", "--logger-path",
                                       "/media/sdcard/logger", "--logger-size", "4096"}));
    mCard->releaseInterface();
    ASSERT_NO_FATAL_FAILURE(control("SetState", {4}));

    EXPECT_EQ(mCard->readState(), SDC_MOUNTED);
    EXPECT_TRUE(mCard->readMountPoint().isEmpty());
    EXPECT_TRUE(mCard->readLoggerPath().isEmpty());
    EXPECT_EQ(mCard->readLoggerSize(), 0);

    EXPECT_EQ(mCard->getSdState(), SDC_MOUNTED);
    EXPECT_EQ(mCard->getMountPoint(), QStringLiteral("/media/sdcard"));
    EXPECT_EQ(mCard->getLoggerPath(), QStringLiteral("/media/sdcard/logger"));
    EXPECT_EQ(mCard->getLoggerSize(), 4096);
}

// The proxy stays while the service is gone; its calls fail, and the client then holds what a
// missing answer converts to rather than values of a card that may have been pulled.
TEST_F(LoggerSDCardTest, ReadsFromAVanishedServiceStoreNothingKnown)
{
    ASSERT_NO_FATAL_FAILURE(startCard({"--state", "3", "--logger-size", "4096"}));
    ASSERT_TRUE(mSimulator.quit()) << mSimulator.errorString().toStdString();
    const int errorsBefore = TrackObject::getErrorCounter();

    EXPECT_EQ(mCard->readState(), SDC_NOT_INITIALIZED);
    EXPECT_TRUE(mCard->readMountPoint().isEmpty());
    EXPECT_TRUE(mCard->readLoggerPath().isEmpty());
    EXPECT_EQ(mCard->readLoggerSize(), 0);
    EXPECT_EQ(mCard->getSdState(), SDC_NOT_INITIALIZED);
    EXPECT_TRUE(mCard->getMountPoint().isEmpty());
    EXPECT_TRUE(mCard->getLoggerPath().isEmpty());
    EXPECT_EQ(mCard->getLoggerSize(), 0);
    EXPECT_TRUE(mCard->isInitialized());
    // Each failed call is logged as an error and counted.
    EXPECT_EQ(TrackObject::getErrorCounter() - errorsBefore, 4);
}

TEST_F(LoggerSDCardTest, ServiceThatArrivesLaterComesUpOnTheNextTry)
{
    mCard = newCard();
    ASSERT_NE(mCard, nullptr);
    ASSERT_FALSE(mCard->initializeInterface());
    ASSERT_NO_FATAL_FAILURE(startSimulator({"--state", "3", "--logger-path", "/media/sdcard/logger"}));
    EXPECT_TRUE(mCard->initializeInterface());
    EXPECT_TRUE(mCard->isInitialized());
    EXPECT_EQ(mCard->getSdState(), SDC_MOUNTED);
    EXPECT_EQ(mCard->getLoggerPath(), QStringLiteral("/media/sdcard/logger"));
}

TEST_F(LoggerSDCardTest, NewOwnerOfTheServiceIsReadThroughANewProxy)
{
    ASSERT_NO_FATAL_FAILURE(startCard({"--state", "3", "--logger-path", "/media/sdcard/logger"}));
    ASSERT_TRUE(mSimulator.stop()) << mSimulator.errorString().toStdString();
    ASSERT_NO_FATAL_FAILURE(startSimulator({"--state", "6", "--logger-path", "/media/new/logger"}));
    EXPECT_TRUE(mCard->initializeInterface());
    EXPECT_EQ(mCard->getSdState(), SDC_MOUNTING);
    EXPECT_EQ(mCard->getLoggerPath(), QStringLiteral("/media/new/logger"));
}

// --- Reads from a service that fails or does not answer ------------------------------------------

TEST_F(LoggerSDCardTest, ReadsFromAServiceThatRepliesWithErrorsStoreNothingKnownAndLogEachFailure)
{
    ASSERT_NO_FATAL_FAILURE(startCard({"--state", "3", "--mount-point", "/media/sdcard", "--logger-path",
                                       "/media/sdcard/logger", "--logger-size", "4096"}));
    ASSERT_TRUE(mSimulator.setReplyMode(QStringLiteral("error"))) << mSimulator.errorString().toStdString();
    const int errorsBefore = TrackObject::getErrorCounter();
    const int from = LogCapture::lines().size();

    EXPECT_EQ(mCard->readState(), SDC_NOT_INITIALIZED);
    EXPECT_TRUE(mCard->readMountPoint().isEmpty());
    EXPECT_TRUE(mCard->readLoggerPath().isEmpty());
    EXPECT_EQ(mCard->readLoggerSize(), 0);
    EXPECT_EQ(mCard->getSdState(), SDC_NOT_INITIALIZED);
    EXPECT_TRUE(mCard->getMountPoint().isEmpty());
    EXPECT_TRUE(mCard->getLoggerPath().isEmpty());
    EXPECT_EQ(mCard->getLoggerSize(), 0);
    const QString reply = QLatin1String(kFailedReply);
    EXPECT_EQ(
        sdcardLinesFrom(from),
        (QStringList{sdcardLine("ERROR", QStringLiteral("LoggerSDCard, Get State failed: ") + reply),
                     sdcardLine("ERROR", QStringLiteral("LoggerSDCard, Get MountPoint failed: ") + reply),
                     sdcardLine("ERROR", QStringLiteral("LoggerSDCard, GetDirPath failed: ") + reply),
                     sdcardLine("ERROR", QStringLiteral("LoggerSDCard, GetDirSize failed: ") + reply)}));
    EXPECT_EQ(TrackObject::getErrorCounter() - errorsBefore, 4);

    // The service answers again, and so do the reads.
    ASSERT_TRUE(mSimulator.setReplyMode(QStringLiteral("normal"))) << mSimulator.errorString().toStdString();
    EXPECT_EQ(mCard->readState(), SDC_MOUNTED);
    EXPECT_EQ(mCard->readMountPoint(), QStringLiteral("/media/sdcard"));
    EXPECT_EQ(mCard->readLoggerPath(), QStringLiteral("/media/sdcard/logger"));
    EXPECT_EQ(mCard->readLoggerSize(), 4096);
}

TEST_F(LoggerSDCardTest, ReadsFromASilentServiceTimeOutAndTheClientReadsAgainOnceItAnswers)
{
    ASSERT_NO_FATAL_FAILURE(
        startCard({"--state", "3", "--logger-path", "/media/sdcard/logger", "--logger-size", "4096"}));
    ASSERT_TRUE(mSimulator.setReplyMode(QStringLiteral("silent"))) << mSimulator.errorString().toStdString();
    const int from = LogCapture::lines().size();

    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(mCard->readState(), SDC_NOT_INITIALIZED);
    const qint64 stateElapsed = clock.restart();
    EXPECT_TRUE(mCard->readLoggerPath().isEmpty());
    const qint64 pathElapsed = clock.elapsed();
    // Each call waits for the client's own timeout, far below Qt's default of 25 seconds.
    // libdbus measures the timeout on a clock of its own, which may end it a little early.
    const qint64 atLeast = LoggerSDCard::kServiceCallTimeoutMs - kTimeoutSlackMs;
    const qint64 below = 2 * LoggerSDCard::kServiceCallTimeoutMs;
    EXPECT_GE(stateElapsed, atLeast);
    EXPECT_LT(stateElapsed, below);
    EXPECT_GE(pathElapsed, atLeast);
    EXPECT_LT(pathElapsed, below);
    const QStringList lines = sdcardLinesFrom(from);
    ASSERT_EQ(lines.size(), 2) << logText();
    EXPECT_TRUE(lines.at(0).startsWith(sdcardLine(
        "ERROR", QStringLiteral("LoggerSDCard, Get State failed: org.freedesktop.DBus.Error.NoReply: "))))
        << lines.at(0).toStdString();
    EXPECT_TRUE(lines.at(1).startsWith(sdcardLine(
        "ERROR", QStringLiteral("LoggerSDCard, GetDirPath failed: org.freedesktop.DBus.Error.NoReply: "))))
        << lines.at(1).toStdString();

    ASSERT_TRUE(mSimulator.setReplyMode(QStringLiteral("normal"))) << mSimulator.errorString().toStdString();
    EXPECT_EQ(mCard->readState(), SDC_MOUNTED);
    EXPECT_EQ(mCard->readLoggerPath(), QStringLiteral("/media/sdcard/logger"));
    EXPECT_EQ(mCard->readLoggerSize(), 4096);
}

// --- The text of the stored values --------------------------------------------------------------

TEST_F(LoggerSDCardTest, InfoStringShowsTheStoredValuesWithTheSizeInGigabytes)
{
    ASSERT_NO_FATAL_FAILURE(
        startCard({"--state", "3", "--mount-point", "/media/sdcard", "--logger-path", "/media/sdcard/logger",
                   "--logger-size", QString::number(kLargeCard)}));
    EXPECT_EQ(mCard->getInfoString(),
              QStringLiteral("SDcard state=3, mountpoint='/media/sdcard', "
                             "loggerpath='/media/sdcard/logger', loggersize=31914983424 "
                             "(31.914983 GB)"));
    mCard->SetSdState(static_cast<LoggerSdcState>(42));
    EXPECT_EQ(mCard->getInfoString(),
              QStringLiteral("SDcard state=42, mountpoint='/media/sdcard', "
                             "loggerpath='/media/sdcard/logger', loggersize=31914983424 "
                             "(31.914983 GB)"));
}

TEST(LoggerSDCardValuesTest, InfoStringOfANewClientShowsItsStartValues)
{
    auto card = newCard();
    ASSERT_NE(card, nullptr);
    EXPECT_EQ(card->getInfoString(),
              QStringLiteral("SDcard state=0, mountpoint='', loggerpath='', loggersize=0 (0.000000 GB)"));
}

// --- The background daemon -----------------------------------------------------------------------

TEST_F(LoggerSDCardTest, TheDaemonSetsUpOnAThreadOfItsOwnAndReadsTheCard)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator({"--state", "3", "--mount-point", "/media/sdcard", "--logger-path",
                                            "/media/sdcard/logger", "--logger-size", "4096"}));
    ASSERT_NO_FATAL_FAILURE(startDaemon());
    EXPECT_TRUE(mCard->isStarted());
    EXPECT_TRUE(mCard->hasDBusThread());
    EXPECT_TRUE(mCard->isInitialized());
    QThread* thread = mCard->thread();
    ASSERT_NE(thread, nullptr);
    EXPECT_NE(thread, QThread::currentThread());
    EXPECT_TRUE(thread->isRunning());
    EXPECT_NE(mThreadId, currentThreadId());
    EXPECT_EQ(thread->objectName(), QStringLiteral("LoggerSDCard") + mThreadId);
    EXPECT_EQ(mCard->getSdState(), SDC_MOUNTED);
    EXPECT_EQ(mCard->getMountPoint(), QStringLiteral("/media/sdcard"));
    EXPECT_EQ(mCard->getLoggerPath(), QStringLiteral("/media/sdcard/logger"));
    EXPECT_EQ(mCard->getLoggerSize(), 4096);

    // The caller's lines and those of the D-Bus thread; the caller's wait may come anywhere
    // among the latter.
    const QString wait = sdcardLine("INFO", QStringLiteral("Wait for initialization done..."));
    EXPECT_EQ(LogCapture::count(wait), 1);
    QStringList lines = sdcardLinesFrom(0);
    lines.removeAll(wait);
    EXPECT_EQ(
        lines,
        (QStringList{sdcardLine("INFO", QStringLiteral("Initialize interface for background daemon "
                                                       "(program:LoggerSDCardTest,tid:") +
                                            currentThreadId() + QStringLiteral(")")),
                     sdcardLine("INFO", QStringLiteral("The DBus thread is started, tid = ") + mThreadId),
                     sdcardLine("INFO", QStringLiteral("Successfully initialized dbus watcher")),
                     sdcardLine("INFO", QStringLiteral("LoggerSDCard, DBUS successfully connected")),
                     sendStateLine(QStringLiteral("mounted")),
                     sdcardLine("INFO", QStringLiteral("SDcard state=3, mountpoint='/media/sdcard', "
                                                       "loggerpath='/media/sdcard/logger', loggersize=4096 "
                                                       "(0.000004 GB)")),
                     sdcardLine("INFO", QStringLiteral("Successfully initialized sdcard"))}));
}

TEST_F(LoggerSDCardTest, TheDaemonStartsWithoutTheServiceAndComesUpWhenItArrives)
{
    ASSERT_NO_FATAL_FAILURE(startDaemon());
    EXPECT_TRUE(mCard->isStarted());
    EXPECT_TRUE(mCard->hasDBusThread());
    EXPECT_FALSE(mCard->isInitialized());
    EXPECT_EQ(mCard->getSdState(), SDC_NOT_INITIALIZED);
    EXPECT_TRUE(LogCapture::contains(sdcardLine("WARN", QStringLiteral("qz.SDCard1 is not registered"))));
    EXPECT_TRUE(
        LogCapture::contains(sdcardLine("INFO", QStringLiteral("Successfully initialized dbus watcher"))));
    EXPECT_TRUE(LogCapture::contains(sdcardLine("INFO", QStringLiteral("Successfully initialized sdcard"))));
    EXPECT_FALSE(LogCapture::contains(
        sdcardLine("INFO", QStringLiteral("LoggerSDCard, DBUS successfully connected"))));
    const int from = LogCapture::lines().size();

    ASSERT_NO_FATAL_FAILURE(startSimulator({"--state", "4", "--mount-point", "/media/late", "--logger-path",
                                            "/media/late/logger", "--logger-size", "2048"}));
    EXPECT_TRUE(waitUntil([&] { return mCard->isInitialized(); }, kEventTimeoutMs));
    ASSERT_TRUE(waitForLine(sendStateLine(QStringLiteral("unmounted")))) << logText();
    EXPECT_EQ(sdcardLinesFrom(from),
              (QStringList{sdcardLine("INFO", QStringLiteral("serviceOwnerChanged")),
                           sdcardLine("INFO", QStringLiteral("LoggerSDCard, DBUS successfully connected")),
                           sendStateLine(QStringLiteral("unmounted"))}));
    EXPECT_EQ(mCard->getSdState(), SDC_UNMOUNTED);
    EXPECT_EQ(mCard->getMountPoint(), QStringLiteral("/media/late"));
    EXPECT_EQ(mCard->getLoggerPath(), QStringLiteral("/media/late/logger"));
    EXPECT_EQ(mCard->getLoggerSize(), 2048);
}

TEST_F(LoggerSDCardTest, ANewOwnerOfTheServiceIsReadThroughANewProxyThatReplacesTheEarlierOne)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator({"--state", "3", "--mount-point", "/media/first", "--logger-path",
                                            "/media/first/logger", "--logger-size", "1000"}));
    ASSERT_NO_FATAL_FAILURE(startDaemon());
    ASSERT_TRUE(mCard->isInitialized());
    const int from = LogCapture::lines().size();

    CardSimulatorProcess replacement;
    ASSERT_TRUE(replacement.start({"--replace", "--state", "4", "--mount-point", "/media/second",
                                   "--logger-path", "/media/second/logger", "--logger-size", "2000"}))
        << replacement.errorString().toStdString();
    EXPECT_TRUE(mSimulator.waitForExit()) << mSimulator.errorString().toStdString();
    ASSERT_TRUE(waitForLine(sendStateLine(QStringLiteral("unmounted")))) << logText();
    EXPECT_EQ(sdcardLinesFrom(from),
              (QStringList{sdcardLine("INFO", QStringLiteral("serviceOwnerChanged")),
                           sdcardLine("INFO", QStringLiteral("LoggerSDCard, DBUS successfully connected")),
                           sendStateLine(QStringLiteral("unmounted"))}));
    EXPECT_EQ(
        LogCapture::count(sdcardLine("INFO", QStringLiteral("LoggerSDCard, DBUS successfully connected"))),
        2);
    EXPECT_EQ(mCard->getSdState(), SDC_UNMOUNTED);
    EXPECT_EQ(mCard->getMountPoint(), QStringLiteral("/media/second"));
    EXPECT_EQ(mCard->getLoggerPath(), QStringLiteral("/media/second/logger"));
    EXPECT_EQ(mCard->getLoggerSize(), 2000);

    // The earlier proxy is gone: an event of the new owner is handled once, not once per proxy.
    // MemStateChanged comes after EjectPressed on the same thread, and so after every delivery
    // of it.
    ASSERT_TRUE(replacement.eject()) << replacement.errorString().toStdString();
    ASSERT_TRUE(replacement.setMemState(7)) << replacement.errorString().toStdString();
    ASSERT_TRUE(waitUntil([&] { return mCard->getMemState() == 7; }, kEventTimeoutMs)) << logText();
    EXPECT_EQ(LogCapture::count(
                  sdcardLine("INFO", QStringLiteral("LoggerSDCard, EjectPressed, tid = ") + mThreadId)),
              1)
        << logText();
    EXPECT_EQ(mCard->getSdState(), SDC_UNMOUNTED);
    mCard.reset();
    EXPECT_TRUE(replacement.stop()) << replacement.errorString().toStdString();
}

TEST_F(LoggerSDCardTest, AServiceThatLeavesDropsTheProxyAndOneThatReturnsBringsANewOne)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator({"--state", "3", "--mount-point", "/media/sdcard", "--logger-path",
                                            "/media/sdcard/logger", "--logger-size", "4096"}));
    ASSERT_NO_FATAL_FAILURE(startDaemon());
    ASSERT_NO_FATAL_FAILURE(control("Disappear"));
    ASSERT_TRUE(waitForLine(sdcardLine("INFO", QStringLiteral("serviceOwnerChanged")))) << logText();
    drainCardThread(*mCard);

    // Without a proxy nothing is asked: no error, and the stored values stay.
    const int errorsBefore = TrackObject::getErrorCounter();
    EXPECT_EQ(mCard->readState(), SDC_MOUNTED);
    EXPECT_TRUE(mCard->readMountPoint().isEmpty());
    EXPECT_TRUE(mCard->readLoggerPath().isEmpty());
    EXPECT_EQ(mCard->readLoggerSize(), 0);
    EXPECT_EQ(TrackObject::getErrorCounter(), errorsBefore);
    EXPECT_EQ(mCard->getMountPoint(), QStringLiteral("/media/sdcard"));
    EXPECT_EQ(mCard->getLoggerSize(), 4096);
    EXPECT_TRUE(mCard->isInitialized());

    ASSERT_NO_FATAL_FAILURE(control("SetState", {4}));
    ASSERT_NO_FATAL_FAILURE(control("Reappear"));
    ASSERT_TRUE(waitForLine(sendStateLine(QStringLiteral("unmounted")))) << logText();
    EXPECT_EQ(LogCapture::count(sdcardLine("INFO", QStringLiteral("serviceOwnerChanged"))), 2);
    EXPECT_EQ(
        LogCapture::count(sdcardLine("INFO", QStringLiteral("LoggerSDCard, DBUS successfully connected"))),
        2);
    EXPECT_EQ(mCard->getSdState(), SDC_UNMOUNTED);
    EXPECT_EQ(mCard->readMountPoint(), QStringLiteral("/media/sdcard"));
}

TEST_F(LoggerSDCardTest, TheDaemonStoresTheLastMemState)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator({}));
    ASSERT_NO_FATAL_FAILURE(startDaemon());
    EXPECT_EQ(mCard->getMemState(), 0);
    ASSERT_NO_FATAL_FAILURE(setMemStateAndWait(2));
    ASSERT_NO_FATAL_FAILURE(setMemStateAndWait(1));
    ASSERT_NO_FATAL_FAILURE(setMemStateAndWait(-5));
    ASSERT_NO_FATAL_FAILURE(setMemStateAndWait(0));
    // The memory state is no card event.
    EXPECT_FALSE(mCard->isEjectSeen());
    EXPECT_FALSE(mCard->isMountedSeen());
    EXPECT_FALSE(mCard->isCorruptSeen());
    EXPECT_EQ(mCard->getSdState(), SDC_MOUNTED);
}

TEST_F(LoggerSDCardTest, DestroyingTheDaemonEndsItsThreadAndWaitsForIt)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator({}));
    ASSERT_NO_FATAL_FAILURE(startDaemon());
    const QPointer<QThread> thread = mCard->thread();
    ASSERT_FALSE(thread.isNull());
    ASSERT_TRUE(thread->isRunning());
    const QString task = QStringLiteral("/proc/self/task/") + mThreadId;
    ASSERT_TRUE(QFileInfo::exists(task));

    mCard.reset();
    // The thread has ended and is deleted with the client.
    EXPECT_TRUE(thread.isNull());
    EXPECT_TRUE(waitUntil([&] { return !QFileInfo::exists(task); }, kEventTimeoutMs));
}

TEST_F(LoggerSDCardTest, DestroyingTheDaemonDuringACardEventWaitsForTheEventToEnd)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator({}));
    ASSERT_NO_FATAL_FAILURE(startDaemon());
    ASSERT_TRUE(mSimulator.eject()) << mSimulator.errorString().toStdString();
    ASSERT_TRUE(
        waitForLine(sdcardLine("INFO", QStringLiteral("LoggerSDCard, EjectPressed, tid = ") + mThreadId)))
        << logText();

    // The eject waits for the card to settle; the end of the thread waits for the eject.
    mCard.reset();
    EXPECT_TRUE(
        LogCapture::contains(sdcardLine("INFO", QStringLiteral("LoggerSDCard, shouldStartLoggers: 0"))))
        << logText();
}

// The child of ADaemonLeftRunningEndsWithTheProgram: a writer whose LoggerDb starts the card
// client, which it never deletes. The program ends while the client handles an eject.
TEST(LoggerSDCardChild, EndsDuringAnEject)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP();
    ASSERT_TRUE(LogCapture::install());
    LoggerDb& db = LoggerDb::getInstance();
    db.setWriterMode(true);
    ASSERT_TRUE(db.initializeSDCard());
    LoggerSDCard* card = db.getLoggerSDCard();
    ASSERT_NE(card, nullptr);
    ASSERT_TRUE(card->hasDBusThread());
    ASSERT_TRUE(waitUntil([card] { return card->isInitialized(); }, kEventTimeoutMs));
    std::cout << "daemon running" << std::endl;
    // The eject has begun: it still waits for the card to settle, and posts its state after.
    ASSERT_TRUE(waitUntil([card] { return card->isEjectSeen(); }, kEventTimeoutMs));
}

TEST_F(LoggerSDCardTest, ADaemonLeftRunningEndsWithTheProgramAfterTheEventItHandles)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator({}));
    QTemporaryDir stateDirectory;
    ASSERT_TRUE(stateDirectory.isValid());
    ChildTestProcess child(QStringLiteral("LoggerSDCardChild.EndsDuringAnEject"));
    child.setVariable(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), mBus.address());
    child.setVariable(QString::fromLatin1(LoggerGlobalStates::kStateDirectoryVariable),
                      stateDirectory.path());
    ASSERT_TRUE(child.start()) << child.report().toStdString();
    ASSERT_EQ(child.waitForLine("daemon "), QByteArray("daemon running")) << child.report().toStdString();

    ASSERT_TRUE(mSimulator.eject()) << mSimulator.errorString().toStdString();
    EXPECT_TRUE(child.waitForFinished(kEventTimeoutMs)) << child.report().toStdString();
    EXPECT_TRUE(child.passed()) << child.report().toStdString();
    // The end of the program waited for the eject to post its state.
    QFile stateFile(stateDirectory.filePath(QString::fromLatin1(LoggerGlobalStates::kLoggerStateFileName)));
    ASSERT_TRUE(stateFile.open(QIODevice::ReadOnly));
    EXPECT_EQ(stateFile.readAll().toInt() & LOGGER_STATE_CARD_MASK, LOGGER_STATE_SD_EJECT);
}

// --- Receivers of the state word -----------------------------------------------------------------

TEST_F(LoggerSDCardTest, AReceiverWithoutTheSlotIsRegisteredButNotConnected)
{
    ASSERT_NO_FATAL_FAILURE(startDaemon());
    QObject plain;
    EXPECT_FALSE(mCard->connectReceiver(&plain));
    EXPECT_TRUE(LogCapture::contains(sdcardLine("WARN", QStringLiteral("Receiver not connected: QObject"))));
    EXPECT_TRUE(mCard->contains("QObject"));
    QObject another;
    EXPECT_FALSE(mCard->connectReceiver(&another));
    EXPECT_TRUE(
        LogCapture::contains(sdcardLine("WARN", QStringLiteral("Receiver already connected: QObject"))));

    EXPECT_FALSE(mCard->disconnectReceiver(&plain));
    EXPECT_TRUE(LogCapture::contains(sdcardLine("WARN", QStringLiteral("Receiver not disconnected"))));
    EXPECT_FALSE(mCard->contains("QObject"));
    EXPECT_FALSE(mCard->connectReceiver(nullptr));
    EXPECT_FALSE(mCard->disconnectReceiver(nullptr));
}

TEST_F(LoggerSDCardTest, EmittedStatesReachAConnectedReceiverOnItsOwnThreadUntilItIsDisconnected)
{
    ASSERT_NO_FATAL_FAILURE(startDaemon());
    QThread hostThread;
    LoggerStateReceiver receiver;
    receiver.moveToThread(&hostThread);
    const EventLoopThread running(hostThread);
    ASSERT_TRUE(mCard->connectReceiver(&receiver));

    mCard->emitState(LOGGER_STATE_SD_MOUNTED);
    mCard->emitState(LOGGER_STATE_SD_EJECT | LOGGER_STATE_LOGGERS_STOPPED);
    EXPECT_TRUE(receiver.waitForState(LOGGER_STATE_SD_EJECT | LOGGER_STATE_LOGGERS_STOPPED));
    EXPECT_EQ(receiver.states(), (QList<LoggerState>{LOGGER_STATE_SD_MOUNTED,
                                                     LOGGER_STATE_SD_EJECT | LOGGER_STATE_LOGGERS_STOPPED}));

    EXPECT_TRUE(mCard->disconnectReceiver(&receiver));
    EXPECT_TRUE(LogCapture::contains(sdcardLine("INFO", QStringLiteral("Receiver disconnected"))));
    mCard->emitState(LOGGER_STATE_SD_CORRUPT);
    receiver.drainEvents();
    EXPECT_EQ(receiver.states().size(), 2);
    EXPECT_FALSE(mCard->disconnectReceiver(&receiver));
    EXPECT_TRUE(LogCapture::contains(sdcardLine("INFO", QStringLiteral("receiver already disconnected"))));

    // Registered anew, it receives again.
    EXPECT_TRUE(mCard->connectReceiver(&receiver));
    mCard->emitState(LOGGER_STATE_SD_CORRUPT);
    EXPECT_TRUE(receiver.waitForState(LOGGER_STATE_SD_CORRUPT));
}

// A system bus with nobody behind its address, for the daemon.
TEST(LoggerSDCardNoBusTest, TheDaemonStartsWithoutABusAndIsNotInitialized)
{
    ASSERT_TRUE(LogCapture::install());
    TemporaryStoreRoot root;
    ASSERT_TRUE(root.isValid());
    qputenv("DBUS_SYSTEM_BUS_ADDRESS",
            QStringLiteral("unix:path=%1").arg(root.filePath(QStringLiteral("no-bus"))).toLocal8Bit());
    auto card = newCard();
    ASSERT_NE(card, nullptr);
    EXPECT_TRUE(card->initialize());
    EXPECT_TRUE(card->isStarted());
    EXPECT_TRUE(card->hasDBusThread());
    EXPECT_FALSE(card->isInitialized());
    EXPECT_EQ(card->getSdState(), SDC_NOT_INITIALIZED);
    EXPECT_TRUE(
        LogCapture::contains(sdcardLine("ERROR", QStringLiteral("Systembus (DBUS) is not available"))))
        << logText();
    EXPECT_TRUE(LogCapture::contains(sdcardLine("INFO", QStringLiteral("Successfully initialized sdcard"))));
    EXPECT_FALSE(
        LogCapture::contains(sdcardLine("INFO", QStringLiteral("Successfully initialized dbus watcher"))));
    card.reset();
    qunsetenv("DBUS_SYSTEM_BUS_ADDRESS");
}

} // namespace

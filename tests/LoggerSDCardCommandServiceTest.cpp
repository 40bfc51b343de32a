// LoggerSDCard as a command service: a program whose name contains "generator" runs the card
// client on the caller's thread, without a D-Bus thread of its own. This file is built as the
// program sdcard_generator_test (tests/CMakeLists.txt), since the program's name chooses the
// way of running. Each test runs in a process of its own on a private system bus.

#include "CardSimulatorProcess.h"
#include "LogCapture.h"
#include "LoggerSDCard.h"
#include "LoggerStateReceiver.h"
#include "PrivateSystemBus.h"
#include "QStringPrinter.h"
#include "TemporaryStoreRoot.h"
#include "WaitUntil.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QString>
#include <QStringList>
#include <QThread>
#include <gtest/gtest.h>

#include <memory>

#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr int kEventTimeoutMs = 20000;

QString sdcardLine(const char* level, const QString& text)
{
    return QStringLiteral("Logger.Sdcard|") + QLatin1String(level) + QLatin1Char('|') + text;
}

QString currentThreadId()
{
    return QString::number(static_cast<long>(::syscall(SYS_gettid)));
}

QString initializeLine()
{
    return sdcardLine("INFO", QStringLiteral("Initialize interface for command service (program:") +
                                  QCoreApplication::applicationName() + QStringLiteral(",tid:") +
                                  currentThreadId() + QStringLiteral(")"));
}

QStringList sdcardLines()
{
    QStringList result;
    for (const QString& line : LogCapture::lines()) {
        if (line.startsWith(QLatin1String("Logger.Sdcard|")))
            result.append(line);
    }
    return result;
}

std::string logText()
{
    return LogCapture::text().toStdString();
}

std::unique_ptr<LoggerSDCard> newCard()
{
    return std::unique_ptr<LoggerSDCard>(LoggerSDCard::createInstance());
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

class LoggerSDCardCommandServiceTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(LogCapture::install());
        ASSERT_TRUE(QCoreApplication::applicationName().contains(QLatin1String("generator")))
            << QCoreApplication::applicationName().toStdString();
        ASSERT_TRUE(mBus.start()) << mBus.errorString().toStdString();
        mCard = newCard();
        ASSERT_NE(mCard, nullptr);
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

    PrivateSystemBus mBus;
    CardSimulatorProcess mSimulator;
    std::unique_ptr<LoggerSDCard> mCard;
};

TEST_F(LoggerSDCardCommandServiceTest, WithoutTheServiceItHasNoThreadOfItsOwnAndFails)
{
    EXPECT_FALSE(mCard->initialize());
    EXPECT_FALSE(mCard->isStarted());
    EXPECT_FALSE(mCard->hasDBusThread());
    EXPECT_FALSE(mCard->isInitialized());
    EXPECT_EQ(mCard->thread(), QThread::currentThread());
    EXPECT_EQ(
        sdcardLines(),
        (QStringList{initializeLine(), sdcardLine("ERROR", QStringLiteral("qz.SDCard1 is not registered"))}));
}

TEST_F(LoggerSDCardCommandServiceTest, WithTheServiceItComesUpOnTheCallersThread)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator({"--state", "3", "--mount-point", "/media/sdcard", "--logger-path",
                                            "/media/sdcard/logger", "--logger-size", "4096"}));
    EXPECT_TRUE(mCard->initialize());
    EXPECT_TRUE(mCard->isStarted());
    EXPECT_FALSE(mCard->hasDBusThread());
    EXPECT_TRUE(mCard->isInitialized());
    EXPECT_EQ(mCard->thread(), QThread::currentThread());
    EXPECT_EQ(mCard->getSdState(), SDC_MOUNTED);
    EXPECT_EQ(mCard->getLoggerPath(), QStringLiteral("/media/sdcard/logger"));
    EXPECT_EQ(
        sdcardLines(),
        (QStringList{
            initializeLine(), sdcardLine("INFO", QStringLiteral("LoggerSDCard, DBUS successfully connected")),
            sdcardLine("INFO", QStringLiteral("LoggerSDCard, send State from state = mounted, tid = ") +
                                   currentThreadId()),
            sdcardLine("INFO", QStringLiteral("SDcard state=3, mountpoint='/media/sdcard', "
                                              "loggerpath='/media/sdcard/logger', loggersize=4096 "
                                              "(0.000004 GB)")),
            sdcardLine("INFO", QStringLiteral("Successfully initialized sdcard"))}))
        << logText();
    // Destroyed without a thread to end: the proxy goes on the caller's thread.
    mCard.reset();
}

TEST_F(LoggerSDCardCommandServiceTest, WithoutABusItFails)
{
    TemporaryStoreRoot root;
    ASSERT_TRUE(root.isValid());
    mBus.stop();
    qputenv("DBUS_SYSTEM_BUS_ADDRESS",
            QStringLiteral("unix:path=%1").arg(root.filePath(QStringLiteral("no-bus"))).toLocal8Bit());
    EXPECT_FALSE(mCard->initialize());
    EXPECT_FALSE(mCard->isStarted());
    EXPECT_FALSE(mCard->hasDBusThread());
    EXPECT_FALSE(mCard->isInitialized());
    EXPECT_EQ(sdcardLines(),
              (QStringList{initializeLine(),
                           sdcardLine("ERROR", QStringLiteral("Systembus (DBUS) is not available"))}));
    qunsetenv("DBUS_SYSTEM_BUS_ADDRESS");
}

// Card events reach a command service through the event loop of its thread.
TEST_F(LoggerSDCardCommandServiceTest, ItHearsCardEventsWhileItsThreadRunsAnEventLoop)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator({}));
    ASSERT_TRUE(mCard->initialize());
    ASSERT_TRUE(mSimulator.setMemState(3)) << mSimulator.errorString().toStdString();
    const QDeadlineTimer deadline(kEventTimeoutMs);
    while (mCard->getMemState() != 3 && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    EXPECT_EQ(mCard->getMemState(), 3);
}

// A receiver on another thread gets the word queued, which needs its type registered; a
// command service has no D-Bus thread setting up, and the word must reach the receiver all the
// same.
TEST_F(LoggerSDCardCommandServiceTest, StatesReachAReceiverOnAnotherThreadWithoutADBusThread)
{
    ASSERT_NO_FATAL_FAILURE(startSimulator({}));
    ASSERT_TRUE(mCard->initialize());
    QThread hostThread;
    LoggerStateReceiver receiver;
    receiver.moveToThread(&hostThread);
    const EventLoopThread running(hostThread);
    ASSERT_TRUE(mCard->connectReceiver(&receiver));

    mCard->emitState(LOGGER_STATE_SD_MOUNTED);
    EXPECT_TRUE(receiver.waitForState(LOGGER_STATE_SD_MOUNTED)) << logText();
    mCard->disconnectReceiver(&receiver);
}

} // namespace

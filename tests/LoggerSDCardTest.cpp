// LoggerSDCard, the reading half: what the client learns from the card service, played by
// qz-sdcard-simulator on a private system bus of the test. Each test runs in a process of its
// own (Qt binds the system bus once per process) and stops its simulator and its bus.

#include "LoggerSDCard.h"
#include "CardSimulatorProcess.h"
#include "PrivateSystemBus.h"
#include "TemporaryStoreRoot.h"
#include "TrackObject.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QString>
#include <QVariant>
#include <gtest/gtest.h>

#include <memory>

namespace {

constexpr qint64 kLargeCard = 31914983424; // a 32 GB card: more than 32 bits of bytes

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
    void SetUp() override { ASSERT_TRUE(mBus.start()) << mBus.errorString().toStdString(); }

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

    PrivateSystemBus mBus;
    CardSimulatorProcess mSimulator;
    std::unique_ptr<LoggerSDCard> mCard;
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

} // namespace

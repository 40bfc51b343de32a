// LoggerSDCard as the writer and a reader run it: the card client on its own D-Bus thread,
// started by LoggerDb::initialize, follows eject, mount and corruption of the simulated card,
// stops and starts the loggers, closes and opens the catalogue and posts the state word. The
// writer is this test process (WriterStore); a reader is a child process (ReaderStore).
//
// Every card event is followed by SetMemState(marker): the simulator sends MemStateChanged after
// the event's signal, and the client handles its signals one after another on its thread, so
// that once the marker is stored, the event before it has been handled to its end.

#include "ChildTestProcess.h"
#include "LogCapture.h"
#include "LoggerDb.h"
#include "LoggerGlobalStates.h"
#include "LoggerList.h"
#include "LoggerSDCard.h"
#include "LoggerStateReceiver.h"
#include "QStringPrinter.h"
#include "TestTemplateLogger.h"
#include "WaitUntil.h"
#include "WriterStore.h"

#include <QElapsedTimer>
#include <QString>
#include <QStringList>
#include <QThread>
#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <string>

#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr int kEventTimeoutMs = 20000;
constexpr int kNeverMs = 600000; // a quiet period that never ends within a test
constexpr const char* kFailedReply =
    "qz.SDCard1.Error.Failed: The simulated card service fails every call (reply mode error)";
constexpr const char* kNoReplyError = "org.freedesktop.DBus.Error.NoReply";

QString sdcardLine(const char* level, const QString& text)
{
    return QStringLiteral("Logger.Sdcard|") + QLatin1String(level) + QLatin1Char('|') + text;
}

QString listLine(const char* level, const QString& text)
{
    return QStringLiteral("Logger.List|") + QLatin1String(level) + QLatin1Char('|') + text;
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

std::string logText()
{
    return LogCapture::text().toStdString();
}

// One group of the state word.
LoggerState group(LoggerState word, LoggerState mask)
{
    return word & mask;
}

// Marker values of SetMemState, above every MemState a card has.
int nextMarker()
{
    static int marker = 1000;
    return ++marker;
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

// A writer on a simulated card, with its card client up, and a logger of mean values.
class LoggerSDCardWriterTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(LogCapture::install()); }

    void TearDown() override
    {
        mLogger.reset();
        mStore.reset();
    }

    void startStore(const WriterStore::Options& options = WriterStore::Options())
    {
        mStore = std::make_unique<WriterStore>(options);
        ASSERT_TRUE(mStore->start()) << mStore->errorString().toStdString();
        if (options.initialize) {
            ASSERT_NO_FATAL_FAILURE(takeCard());
        }
    }

    // The card client that LoggerDb::initialize started.
    void takeCard()
    {
        mCard = LoggerDb::getInstance().getLoggerSDCard();
        ASSERT_NE(mCard, nullptr);
        ASSERT_TRUE(mCard->hasDBusThread());
        mThreadId = dbusThreadId();
        ASSERT_FALSE(mThreadId.isEmpty()) << logText();
    }

    // The writer's wish to run the loggers, and the group started with one logger that writes
    // each item at once.
    void startLoggers()
    {
        mLogger = std::make_unique<TestTemplateLogger>(1, kNeverMs);
        LoggerList::getInstance()->setShouldStartLoggers(true);
        ASSERT_TRUE(LoggerList::startLoggers()) << logText();
        ASSERT_TRUE(mLogger->isStarted());
        ASSERT_TRUE(writeItem());
        ASSERT_EQ(itemsInCurrentFile(*mLogger), 1);
    }

    bool writeItem()
    {
        if (mNextSecond == 0)
            mNextSecond = testStartSecond();
        const DataMean item = testMean(mNextSecond, mNextSecond);
        ++mNextSecond;
        return mLogger->writeLoggerItem(&item);
    }

    // Sends the card event and waits until the writer's client has handled it to its end.
    void cardEvent(bool (CardSimulatorProcess::*event)())
    {
        ASSERT_TRUE((mStore->card().*event)()) << mStore->card().errorString().toStdString();
        ASSERT_NO_FATAL_FAILURE(syncWithCard());
    }

    void syncWithCard()
    {
        const int marker = nextMarker();
        ASSERT_TRUE(mStore->card().setMemState(marker)) << mStore->card().errorString().toStdString();
        ASSERT_TRUE(waitUntil([&] { return mCard->getMemState() == marker; }, kEventTimeoutMs)) << logText();
    }

    void setReplyMode(const QString& mode)
    {
        ASSERT_TRUE(mStore->card().setReplyMode(mode)) << mStore->card().errorString().toStdString();
    }

    LoggerState stateWord() const { return mStore->readLoggerStateFile(); }

    // Stopped by a card event: no logger runs, the catalogue is closed and not readable.
    void expectStopped(LoggerState card)
    {
        LoggerDb& db = LoggerDb::getInstance();
        EXPECT_FALSE(LoggerList::getInstance()->loggersStarted());
        EXPECT_FALSE(mLogger->isStarted());
        EXPECT_FALSE(db.isInitialized());
        EXPECT_FALSE(LoggerGlobalStates::getInstance().isReadable());
        const LoggerState word = stateWord();
        EXPECT_EQ(group(word, LOGGER_STATE_CARD_MASK), card) << word;
        EXPECT_EQ(group(word, LOGGER_STATE_RUN_MASK), LOGGER_STATE_LOGGERS_STOPPED) << word;
        EXPECT_EQ(group(word, LOGGER_STATE_ACCESS_MASK), LOGGER_STATE_LOGGERS_NOT_READABLE) << word;
    }

    // Running on a mounted card: the loggers started, the catalogue open and readable.
    void expectRunning()
    {
        LoggerDb& db = LoggerDb::getInstance();
        EXPECT_TRUE(LoggerList::getInstance()->loggersStarted());
        EXPECT_TRUE(mLogger->isStarted());
        EXPECT_TRUE(db.isInitialized());
        EXPECT_TRUE(LoggerGlobalStates::getInstance().isReadable());
        const LoggerState word = stateWord();
        EXPECT_EQ(group(word, LOGGER_STATE_CARD_MASK), LOGGER_STATE_SD_MOUNTED) << word;
        EXPECT_EQ(group(word, LOGGER_STATE_RUN_MASK), LOGGER_STATE_LOGGERS_STARTED) << word;
        EXPECT_EQ(group(word, LOGGER_STATE_ACCESS_MASK), LOGGER_STATE_LOGGERS_READABLE) << word;
    }

    QString line(const char* level, const QString& text) const { return sdcardLine(level, text); }
    QString ejectLine() const
    {
        return line("INFO", QStringLiteral("LoggerSDCard, EjectPressed, tid = ") + mThreadId);
    }
    QString mountLine() const
    {
        return line("INFO", QStringLiteral("LoggerSDCard, CardMounted, tid=") + mThreadId);
    }
    QString corruptLine() const
    {
        return line("INFO", QStringLiteral("LoggerSDCard, CardCorrupt, tid=") + mThreadId);
    }
    QString shouldStartLine(bool start) const
    {
        return line("INFO", QStringLiteral("LoggerSDCard, shouldStartLoggers: ") +
                                (start ? QStringLiteral("1") : QStringLiteral("0")));
    }
    QStringList mountAndStartLines() const
    {
        return {mountLine(), shouldStartLine(true),
                line("INFO", QStringLiteral("LoggerSDCard, Start Loggers")),
                line("INFO", QStringLiteral("Loggers started"))};
    }

    std::unique_ptr<WriterStore> mStore;
    LoggerSDCard* mCard = nullptr; // owned by LoggerDb
    QString mThreadId;
    std::unique_ptr<TestTemplateLogger> mLogger;
    int32_t mNextSecond = 0;
};

// --- The card events in the writer -------------------------------------------------------------

TEST_F(LoggerSDCardWriterTest, EjectStopsTheLoggersClosesTheCatalogueAndPostsEject)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ASSERT_NO_FATAL_FAILURE(startLoggers());
    ASSERT_NO_FATAL_FAILURE(expectRunning());
    const int from = LogCapture::lines().size();

    ASSERT_NO_FATAL_FAILURE(cardEvent(&CardSimulatorProcess::eject));
    expectStopped(LOGGER_STATE_SD_EJECT);
    EXPECT_EQ(sdcardLinesFrom(from), (QStringList{ejectLine(), shouldStartLine(true)})) << logText();
    EXPECT_TRUE(mCard->isEjectSeen());
    EXPECT_FALSE(mCard->isMountedSeen());
    EXPECT_FALSE(mCard->isCorruptSeen());
    EXPECT_EQ(mCard->getSdState(), SDC_UNMOUNTED);
    // The wish to run the loggers outlives the eject.
    EXPECT_TRUE(LoggerList::shouldStartLoggers());
}

TEST_F(LoggerSDCardWriterTest, MountAfterAnEjectStartsTheLoggersAgainAndTheyWriteOnInTheSameFile)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ASSERT_NO_FATAL_FAILURE(startLoggers());
    const QString file = currentDataFile(*mLogger);
    ASSERT_FALSE(file.isEmpty());
    ASSERT_NO_FATAL_FAILURE(cardEvent(&CardSimulatorProcess::eject));
    const int from = LogCapture::lines().size();

    ASSERT_NO_FATAL_FAILURE(cardEvent(&CardSimulatorProcess::mount));
    expectRunning();
    EXPECT_EQ(sdcardLinesFrom(from), mountAndStartLines()) << logText();
    EXPECT_TRUE(mCard->isMountedSeen());
    EXPECT_FALSE(mCard->isEjectSeen());
    EXPECT_FALSE(mCard->isCorruptSeen());
    EXPECT_EQ(mCard->getSdState(), SDC_MOUNTED);

    // The same day: the logger goes on in the file it had before the eject.
    ASSERT_TRUE(writeItem());
    EXPECT_EQ(currentDataFile(*mLogger), file);
    EXPECT_EQ(itemsInCurrentFile(*mLogger), 2);
}

TEST_F(LoggerSDCardWriterTest, CorruptStopsTheLoggersAndPostsCorrupt)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ASSERT_NO_FATAL_FAILURE(startLoggers());
    const int from = LogCapture::lines().size();

    ASSERT_NO_FATAL_FAILURE(cardEvent(&CardSimulatorProcess::corrupt));
    expectStopped(LOGGER_STATE_SD_CORRUPT);
    EXPECT_EQ(sdcardLinesFrom(from), QStringList{corruptLine()}) << logText();
    // A corrupt card counts as ejected too.
    EXPECT_TRUE(mCard->isCorruptSeen());
    EXPECT_TRUE(mCard->isEjectSeen());
    EXPECT_FALSE(mCard->isMountedSeen());
    EXPECT_EQ(mCard->getSdState(), SDC_NOT_MOUNTABLE);
}

TEST_F(LoggerSDCardWriterTest, MountAfterACorruptCardStartsTheLoggersAgain)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ASSERT_NO_FATAL_FAILURE(startLoggers());
    ASSERT_NO_FATAL_FAILURE(cardEvent(&CardSimulatorProcess::corrupt));
    const int from = LogCapture::lines().size();

    ASSERT_NO_FATAL_FAILURE(cardEvent(&CardSimulatorProcess::mount));
    expectRunning();
    EXPECT_EQ(sdcardLinesFrom(from), mountAndStartLines()) << logText();
    EXPECT_FALSE(mCard->isCorruptSeen());
}

TEST_F(LoggerSDCardWriterTest, MountWithoutTheWishToRunTheLoggersOnlyOpensTheCatalogue)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ASSERT_NO_FATAL_FAILURE(startLoggers());
    LoggerList::getInstance()->setShouldStartLoggers(false);
    int from = LogCapture::lines().size();
    ASSERT_NO_FATAL_FAILURE(cardEvent(&CardSimulatorProcess::eject));
    EXPECT_EQ(sdcardLinesFrom(from), (QStringList{ejectLine(), shouldStartLine(false)})) << logText();
    expectStopped(LOGGER_STATE_SD_EJECT);

    from = LogCapture::lines().size();
    ASSERT_NO_FATAL_FAILURE(cardEvent(&CardSimulatorProcess::mount));
    EXPECT_EQ(sdcardLinesFrom(from), (QStringList{mountLine(), shouldStartLine(false)})) << logText();
    LoggerDb& db = LoggerDb::getInstance();
    EXPECT_TRUE(db.isInitialized());
    EXPECT_TRUE(LoggerGlobalStates::getInstance().isReadable());
    EXPECT_FALSE(LoggerList::getInstance()->loggersStarted());
    EXPECT_FALSE(mLogger->isStarted());
    const LoggerState word = stateWord();
    EXPECT_EQ(group(word, LOGGER_STATE_CARD_MASK), LOGGER_STATE_SD_MOUNTED) << word;
    EXPECT_EQ(group(word, LOGGER_STATE_ACCESS_MASK), LOGGER_STATE_LOGGERS_READABLE) << word;
    EXPECT_EQ(group(word, LOGGER_STATE_BASE_MASK), LOGGER_STATE_DB_INITIALIZED) << word;
    EXPECT_NE(group(word, LOGGER_STATE_RUN_MASK), LOGGER_STATE_LOGGERS_STARTED) << word;
}

// --- Events in any order and repeated ----------------------------------------------------------

TEST_F(LoggerSDCardWriterTest, ASecondEjectInARowStopsNothingMoreAndPostsEjectAgain)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ASSERT_NO_FATAL_FAILURE(startLoggers());
    ASSERT_NO_FATAL_FAILURE(cardEvent(&CardSimulatorProcess::eject));
    const int from = LogCapture::lines().size();

    ASSERT_NO_FATAL_FAILURE(cardEvent(&CardSimulatorProcess::eject));
    expectStopped(LOGGER_STATE_SD_EJECT);
    EXPECT_EQ(sdcardLinesFrom(from), (QStringList{ejectLine(), shouldStartLine(true)})) << logText();
    EXPECT_EQ(LogCapture::count(listLine("WARN", QStringLiteral("Loggers already stopped"))), 1) << logText();

    // The card returns as after one eject.
    ASSERT_NO_FATAL_FAILURE(cardEvent(&CardSimulatorProcess::mount));
    expectRunning();
}

TEST_F(LoggerSDCardWriterTest, MountWithoutAnEjectLeavesTheRunningLoggersInTheirFile)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ASSERT_NO_FATAL_FAILURE(startLoggers());
    const QString file = currentDataFile(*mLogger);
    const QString opened = QStringLiteral("Logger.Db|INFO|Database successfully initialized");
    const int openings = LogCapture::count(opened);
    const int from = LogCapture::lines().size();

    ASSERT_NO_FATAL_FAILURE(cardEvent(&CardSimulatorProcess::mount));
    expectRunning();
    EXPECT_EQ(sdcardLinesFrom(from), mountAndStartLines()) << logText();
    EXPECT_EQ(LogCapture::count(listLine("ERROR", QStringLiteral("loggers already started"))), 1)
        << logText();
    // Neither the catalogue nor the file was opened anew.
    EXPECT_EQ(LogCapture::count(opened), openings);
    ASSERT_TRUE(writeItem());
    EXPECT_EQ(currentDataFile(*mLogger), file);
    EXPECT_EQ(itemsInCurrentFile(*mLogger), 2);
}

TEST_F(LoggerSDCardWriterTest, CorruptWhileStoppedPostsCorrupt)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ASSERT_NO_FATAL_FAILURE(startLoggers());
    ASSERT_NO_FATAL_FAILURE(cardEvent(&CardSimulatorProcess::eject));
    const int from = LogCapture::lines().size();

    ASSERT_NO_FATAL_FAILURE(cardEvent(&CardSimulatorProcess::corrupt));
    expectStopped(LOGGER_STATE_SD_CORRUPT);
    EXPECT_EQ(sdcardLinesFrom(from), QStringList{corruptLine()}) << logText();
    EXPECT_EQ(LogCapture::count(listLine("WARN", QStringLiteral("Loggers already stopped"))), 1) << logText();
    EXPECT_TRUE(mCard->isCorruptSeen());
}

TEST_F(LoggerSDCardWriterTest, MountTwiceStartsTheLoggersOnceAndTheSecondFindsThemRunning)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ASSERT_NO_FATAL_FAILURE(startLoggers());
    const QString file = currentDataFile(*mLogger);
    ASSERT_NO_FATAL_FAILURE(cardEvent(&CardSimulatorProcess::eject));
    const int from = LogCapture::lines().size();

    ASSERT_NO_FATAL_FAILURE(cardEvent(&CardSimulatorProcess::mount));
    ASSERT_NO_FATAL_FAILURE(cardEvent(&CardSimulatorProcess::mount));
    expectRunning();
    EXPECT_EQ(sdcardLinesFrom(from), mountAndStartLines() + mountAndStartLines()) << logText();
    EXPECT_EQ(LogCapture::count(listLine("ERROR", QStringLiteral("loggers already started"))), 1)
        << logText();
    ASSERT_TRUE(writeItem());
    EXPECT_EQ(currentDataFile(*mLogger), file);
    EXPECT_EQ(itemsInCurrentFile(*mLogger), 2);
}

// --- A service that fails or does not answer -----------------------------------------------------

TEST_F(LoggerSDCardWriterTest, MountWhileTheServiceFailsEveryCallLeavesTheLoggersStoppedUntilItAnswers)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ASSERT_NO_FATAL_FAILURE(startLoggers());
    ASSERT_NO_FATAL_FAILURE(cardEvent(&CardSimulatorProcess::eject));
    ASSERT_NO_FATAL_FAILURE(setReplyMode(QStringLiteral("error")));
    const int from = LogCapture::lines().size();

    // The card cannot be asked whether it is mounted: nothing is started.
    ASSERT_NO_FATAL_FAILURE(cardEvent(&CardSimulatorProcess::mount));
    EXPECT_EQ(
        sdcardLinesFrom(from),
        (QStringList{
            mountLine(), shouldStartLine(true), line("INFO", QStringLiteral("LoggerSDCard, Start Loggers")),
            line("ERROR", QStringLiteral("LoggerSDCard, Get State failed: ") + QLatin1String(kFailedReply)),
            line("WARN", QStringLiteral("not all Loggers started"))}))
        << logText();
    EXPECT_TRUE(LogCapture::contains(
        listLine("WARN", QStringLiteral("SD-Card nicht gemountet, Logger werden nicht gestartet"))));
    EXPECT_EQ(mCard->getSdState(), SDC_NOT_INITIALIZED);
    EXPECT_FALSE(LoggerList::getInstance()->loggersStarted());
    EXPECT_FALSE(mLogger->isStarted());
    EXPECT_FALSE(LoggerDb::getInstance().isInitialized());
    EXPECT_EQ(group(stateWord(), LOGGER_STATE_RUN_MASK), LOGGER_STATE_LOGGERS_STOPPED);

    // The service answers again: the next mount starts the loggers.
    ASSERT_NO_FATAL_FAILURE(setReplyMode(QStringLiteral("normal")));
    ASSERT_NO_FATAL_FAILURE(cardEvent(&CardSimulatorProcess::mount));
    expectRunning();
    EXPECT_EQ(mCard->getSdState(), SDC_MOUNTED);
}

TEST_F(LoggerSDCardWriterTest, EjectWhileTheServiceIsSilentStopsTheLoggersAfterTheCallTimesOut)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ASSERT_NO_FATAL_FAILURE(startLoggers());
    ASSERT_NO_FATAL_FAILURE(setReplyMode(QStringLiteral("silent")));
    const int from = LogCapture::lines().size();
    QElapsedTimer clock;
    clock.start();

    ASSERT_NO_FATAL_FAILURE(cardEvent(&CardSimulatorProcess::eject));
    // The read of the state waits for its timeout, then the card's settling time passes.
    EXPECT_GE(clock.elapsed(), LoggerSDCard::kServiceCallTimeoutMs);
    expectStopped(LOGGER_STATE_SD_EJECT);
    EXPECT_EQ(mCard->getSdState(), SDC_NOT_INITIALIZED);
    const QStringList lines = sdcardLinesFrom(from);
    ASSERT_EQ(lines.size(), 3) << logText();
    EXPECT_EQ(lines.at(0), ejectLine());
    EXPECT_TRUE(
        lines.at(1).startsWith(line("ERROR", QStringLiteral("LoggerSDCard, Get State failed: ") +
                                                 QLatin1String(kNoReplyError) + QStringLiteral(": "))))
        << lines.at(1).toStdString();
    EXPECT_EQ(lines.at(2), shouldStartLine(true));

    // The client comes back once the service answers again.
    ASSERT_NO_FATAL_FAILURE(setReplyMode(QStringLiteral("normal")));
    ASSERT_NO_FATAL_FAILURE(cardEvent(&CardSimulatorProcess::mount));
    expectRunning();
    EXPECT_EQ(mCard->getSdState(), SDC_MOUNTED);
}

// --- The state posted from the card's state ---------------------------------------------------

TEST_F(LoggerSDCardWriterTest, EachCardStatePostsItsLoggerStateAndTheOthersPostNothing)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    const LoggerState before = stateWord();
    ASSERT_EQ(group(before, LOGGER_STATE_CARD_MASK), LOGGER_STATE_SD_MOUNTED);
    const QString tid = currentThreadId();

    for (int value : {0, 5, 6, 7, 42, -1}) {
        const auto state = static_cast<LoggerSdcState>(value);
        mCard->sendCurrentState(state);
        EXPECT_EQ(stateWord(), before) << "card state " << value;
        EXPECT_EQ(LoggerDb::getInstance().getLoggerState(), before) << "card state " << value;
        EXPECT_TRUE(LogCapture::contains(
            line("INFO", QStringLiteral("LoggerSDCard, send State from state = ") +
                             LoggerSDCard::getSdcardStateString(state) + QStringLiteral(", tid = ") + tid)))
            << "card state " << value;
    }

    const struct {
        LoggerSdcState card;
        LoggerState posted;
    } table[] = {{SDC_NO_SDCARD, LOGGER_STATE_SD_CORRUPT},
                 {SDC_MOUNTED, LOGGER_STATE_SD_MOUNTED},
                 {SDC_NOT_MOUNTABLE, LOGGER_STATE_SD_CORRUPT},
                 {SDC_UNMOUNTED, LOGGER_STATE_SD_EJECT},
                 {SDC_MOUNTED, LOGGER_STATE_SD_MOUNTED}};
    for (const auto& entry : table) {
        mCard->sendCurrentState(entry.card);
        const LoggerState word = stateWord();
        EXPECT_EQ(group(word, LOGGER_STATE_CARD_MASK), entry.posted) << "card state " << entry.card;
        // Only the card's group changes.
        EXPECT_EQ(word & ~LOGGER_STATE_CARD_MASK, before & ~LOGGER_STATE_CARD_MASK)
            << "card state " << entry.card;
    }
}

TEST_F(LoggerSDCardWriterTest, AServiceThatArrivesAfterTheStartBringsTheClientUpAndPostsTheMountedCard)
{
    WriterStore::Options options;
    options.startCard = false;
    options.initialize = false;
    ASSERT_NO_FATAL_FAILURE(startStore(options));
    // Without the service the writer's catalogue does not open, but the client starts.
    EXPECT_FALSE(mStore->initializeWriter());
    ASSERT_NO_FATAL_FAILURE(takeCard());
    EXPECT_TRUE(mCard->isStarted());
    EXPECT_FALSE(mCard->isInitialized());
    EXPECT_TRUE(LogCapture::contains(line("WARN", QStringLiteral("qz.SDCard1 is not registered"))));
    EXPECT_EQ(group(stateWord(), LOGGER_STATE_CARD_MASK), 0);
    const int from = LogCapture::lines().size();

    ASSERT_TRUE(
        mStore->card().start({QStringLiteral("--state"), QStringLiteral("3"), QStringLiteral("--mount-point"),
                              mStore->mountPoint(), QStringLiteral("--logger-path"), mStore->loggerPath()}))
        << mStore->card().errorString().toStdString();
    EXPECT_TRUE(waitUntil([&] { return mCard->isInitialized(); }, kEventTimeoutMs));
    EXPECT_TRUE(
        waitUntil([&] { return group(stateWord(), LOGGER_STATE_CARD_MASK) == LOGGER_STATE_SD_MOUNTED; },
                  kEventTimeoutMs))
        << stateWord();
    EXPECT_EQ(
        sdcardLinesFrom(from),
        (QStringList{line("INFO", QStringLiteral("serviceOwnerChanged")),
                     line("INFO", QStringLiteral("LoggerSDCard, DBUS successfully connected")),
                     line("INFO", QStringLiteral("LoggerSDCard, send State from state = mounted, tid = ") +
                                      mThreadId)}))
        << logText();
    EXPECT_EQ(mCard->getSdState(), SDC_MOUNTED);
    EXPECT_EQ(mCard->getMountPoint(), mStore->mountPoint());
    EXPECT_EQ(mCard->getLoggerPath(), mStore->loggerPath());

    // The card is there now: the catalogue opens.
    EXPECT_TRUE(mStore->initializeWriter()) << LoggerDb::getInstance().getLastError().toStdString();
}

// --- Receivers of the posted state ---------------------------------------------------------------

TEST_F(LoggerSDCardWriterTest, OnlyTheFirstReceiverOfAClassGetsThePostedStates)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    LoggerDb& db = LoggerDb::getInstance();
    QThread hostThread;
    LoggerStateReceiver first;
    LoggerStateReceiver second;
    first.moveToThread(&hostThread);
    second.moveToThread(&hostThread);
    const EventLoopThread running(hostThread);

    EXPECT_TRUE(mCard->connectReceiver(&first));
    EXPECT_FALSE(mCard->connectReceiver(&second));
    // The same object twice is refused as well.
    EXPECT_FALSE(mCard->connectReceiver(&first));
    EXPECT_TRUE(mCard->contains("LoggerStateReceiver"));
    EXPECT_EQ(LogCapture::count(line("INFO", QStringLiteral("Receiver connected: LoggerStateReceiver"))), 1);
    EXPECT_EQ(
        LogCapture::count(line("WARN", QStringLiteral("Receiver already connected: LoggerStateReceiver"))),
        2);

    db.setLoggerState(LOGGER_STATE_SD_EJECT);
    const LoggerState ejected = db.getLoggerState();
    db.setLoggerState(LOGGER_STATE_LOGGERS_NOT_READABLE);
    const LoggerState notReadable = db.getLoggerState();
    EXPECT_TRUE(first.waitForState(notReadable));
    first.drainEvents();
    // Each posted word once, in order.
    EXPECT_EQ(first.states(), (QList<LoggerState>{ejected, notReadable}));
    EXPECT_TRUE(second.states().isEmpty());

    EXPECT_TRUE(mCard->disconnectReceiver(&first));
    EXPECT_TRUE(LogCapture::contains(line("INFO", QStringLiteral("Receiver disconnected"))));
    db.setLoggerState(LOGGER_STATE_SD_MOUNTED);
    first.drainEvents();
    EXPECT_EQ(first.states().size(), 2);
    EXPECT_FALSE(mCard->disconnectReceiver(&first));
    EXPECT_TRUE(LogCapture::contains(line("INFO", QStringLiteral("receiver already disconnected"))));
    EXPECT_FALSE(mCard->contains("LoggerStateReceiver"));
}

TEST_F(LoggerSDCardWriterTest, AReceiverGetsTheStatesOfACardEvent)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ASSERT_NO_FATAL_FAILURE(startLoggers());
    QThread hostThread;
    LoggerStateReceiver receiver;
    receiver.moveToThread(&hostThread);
    const EventLoopThread running(hostThread);
    ASSERT_TRUE(mCard->connectReceiver(&receiver));

    ASSERT_NO_FATAL_FAILURE(cardEvent(&CardSimulatorProcess::eject));
    receiver.drainEvents();
    const QList<LoggerState> states = receiver.states();
    ASSERT_FALSE(states.isEmpty());
    // The last word is the one the writer posts after the eject.
    EXPECT_EQ(states.last(), stateWord());
    EXPECT_EQ(group(states.last(), LOGGER_STATE_CARD_MASK), LOGGER_STATE_SD_EJECT);
    EXPECT_TRUE(std::any_of(states.begin(), states.end(), [](LoggerState word) {
        return group(word, LOGGER_STATE_RUN_MASK) == LOGGER_STATE_LOGGERS_STOPPING;
    }));
    mCard->disconnectReceiver(&receiver);
}

// --- A reader ------------------------------------------------------------------------------------

// The reader of the tests below: a reader store whose own card client follows the writer's
// simulated card. It prints "reader open=<0|1>" at the start and, for each line "sync <marker>"
// from the parent, once its client has stored the marker as MemState, "reader open=<0|1>
// marker=<marker>".
TEST(LoggerSDCardReaderChild, FollowsTheCard)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP();
    ASSERT_TRUE(LogCapture::install());
    ReaderStore reader;
    ASSERT_TRUE(reader.start()) << LoggerDb::getInstance().getLastError().toStdString();
    LoggerDb& db = LoggerDb::getInstance();
    LoggerSDCard* card = db.getLoggerSDCard();
    ASSERT_NE(card, nullptr);
    ASSERT_TRUE(card->hasDBusThread());
    ASSERT_TRUE(card->isInitialized());
    std::cout << "reader open=" << db.isInitialized() << std::endl;

    std::string command;
    while (std::getline(std::cin, command)) {
        ASSERT_EQ(command.rfind("sync ", 0), 0u) << command;
        const int marker = std::stoi(command.substr(5));
        ASSERT_TRUE(waitUntil([&] { return card->getMemState() == marker; }, kEventTimeoutMs)) << logText();
        std::cout << "reader open=" << db.isInitialized() << " marker=" << marker << std::endl;
    }
}

class LoggerSDCardReaderTest : public LoggerSDCardWriterTest {
protected:
    void startReader()
    {
        mReader =
            std::make_unique<ChildTestProcess>(QStringLiteral("LoggerSDCardReaderChild.FollowsTheCard"));
        mStore->exportTo(*mReader);
        ASSERT_TRUE(mReader->start()) << mReader->report().toStdString();
        ASSERT_EQ(mReader->waitForLine("reader "), QByteArray("reader open=1"))
            << mReader->report().toStdString();
    }

    // Sends the card event, waits until the writer has handled it and returns what the reader
    // says once it has handled it too.
    QByteArray readerAfter(bool (CardSimulatorProcess::*event)())
    {
        if (!(mStore->card().*event)())
            return "event failed: " + mStore->card().errorString().toUtf8();
        const int marker = nextMarker();
        if (!mStore->card().setMemState(marker))
            return "marker failed";
        if (!waitUntil([&] { return mCard->getMemState() == marker; }, kEventTimeoutMs))
            return "the writer did not handle the event";
        mReader->write("sync " + QByteArray::number(marker) + "\n");
        const QByteArray answer = mReader->waitForLine("reader ");
        const QByteArray suffix = " marker=" + QByteArray::number(marker);
        return answer.endsWith(suffix) ? answer.left(answer.size() - suffix.size()) : answer;
    }

    void finishReader()
    {
        ASSERT_TRUE(mReader->waitForFinished()) << mReader->report().toStdString();
        EXPECT_TRUE(mReader->passed()) << mReader->report().toStdString();
    }

    void TearDown() override
    {
        mReader.reset();
        LoggerSDCardWriterTest::TearDown();
    }

    std::unique_ptr<ChildTestProcess> mReader;
};

TEST_F(LoggerSDCardReaderTest, EjectClosesTheReadersCatalogueAndMountOpensItAgain)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ASSERT_NO_FATAL_FAILURE(startReader());

    EXPECT_EQ(readerAfter(&CardSimulatorProcess::eject), QByteArray("reader open=0"))
        << mReader->report().toStdString();
    EXPECT_EQ(readerAfter(&CardSimulatorProcess::mount), QByteArray("reader open=1"))
        << mReader->report().toStdString();
    ASSERT_NO_FATAL_FAILURE(finishReader());
}

TEST_F(LoggerSDCardReaderTest, CorruptLeavesTheReadersCatalogueOpen)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ASSERT_NO_FATAL_FAILURE(startReader());

    EXPECT_EQ(readerAfter(&CardSimulatorProcess::corrupt), QByteArray("reader open=1"))
        << mReader->report().toStdString();
    // The writer's catalogue is closed meanwhile.
    EXPECT_FALSE(LoggerDb::getInstance().isInitialized());
    ASSERT_NO_FATAL_FAILURE(finishReader());
}

TEST_F(LoggerSDCardReaderTest, TheReaderFollowsEventsInAnyOrder)
{
    ASSERT_NO_FATAL_FAILURE(startStore());
    ASSERT_NO_FATAL_FAILURE(startReader());

    EXPECT_EQ(readerAfter(&CardSimulatorProcess::mount), QByteArray("reader open=1"));
    EXPECT_EQ(readerAfter(&CardSimulatorProcess::eject), QByteArray("reader open=0"));
    EXPECT_EQ(readerAfter(&CardSimulatorProcess::eject), QByteArray("reader open=0"));
    EXPECT_EQ(readerAfter(&CardSimulatorProcess::corrupt), QByteArray("reader open=0"));
    EXPECT_EQ(readerAfter(&CardSimulatorProcess::mount), QByteArray("reader open=1"));
    EXPECT_EQ(readerAfter(&CardSimulatorProcess::mount), QByteArray("reader open=1"));
    ASSERT_NO_FATAL_FAILURE(finishReader());
}

} // namespace

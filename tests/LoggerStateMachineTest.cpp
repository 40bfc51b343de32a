#include "LoggerStateMachine.h"
#include "LoggerDebug.h"
#include "LoggerGlobalStates.h"
#include "LoggerState.h"
#include "TemporaryStoreRoot.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QFile>

#include <type_traits>

namespace {

// Every machine of a test posts into a fresh temporary state directory.
class LoggerStateMachineTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mRoot.isValid());
        mHadDirectory = qEnvironmentVariableIsSet(LoggerGlobalStates::kStateDirectoryVariable);
        mPreviousDirectory = qgetenv(LoggerGlobalStates::kStateDirectoryVariable);
        useDirectory(mRoot.path());
    }

    void TearDown() override
    {
        if (mHadDirectory)
            qputenv(LoggerGlobalStates::kStateDirectoryVariable, mPreviousDirectory);
        else
            qunsetenv(LoggerGlobalStates::kStateDirectoryVariable);
    }

    static void useDirectory(const QString& directory)
    {
        qputenv(LoggerGlobalStates::kStateDirectoryVariable, QFile::encodeName(directory));
    }

    // The word as it stands in the state file, or -1 where there is no file.
    LoggerState postedWord() const
    {
        QFile file(mRoot.filePath(QString::fromLatin1(LoggerGlobalStates::kLoggerStateFileName)));
        if (!file.open(QIODevice::ReadOnly))
            return -1;
        bool ok = false;
        const int value = file.readAll().toInt(&ok, 10);
        return ok ? value : -1;
    }

    static LoggerState runningWord()
    {
        return LOGGER_STATE_LOGGER_INITIALIZED | LOGGER_STATE_SD_MOUNTED | LOGGER_STATE_LOGGERS_STARTED |
               LOGGER_STATE_LOGGERS_READABLE;
    }

    // Sets the typical word of a running store, one group per call.
    static void setRunning(LoggerStateMachine& machine)
    {
        machine.setState(LOGGER_STATE_LOGGER_INITIALIZED);
        machine.setState(LOGGER_STATE_SD_MOUNTED);
        machine.setState(LOGGER_STATE_LOGGERS_STARTED);
        machine.setState(LOGGER_STATE_LOGGERS_READABLE);
    }

    TemporaryStoreRoot mRoot;
    bool mHadDirectory = false;
    QByteArray mPreviousDirectory;
};

TEST_F(LoggerStateMachineTest, NewMachineStartsFromZero)
{
    LoggerGlobalStates::getInstance().setLoggerState(runningWord());
    LoggerStateMachine machine;
    machine.setState(LOGGER_STATE_RESETTING);
    // The word of the file was not read: only the reset group stands.
    EXPECT_EQ(postedWord(), LOGGER_STATE_RESETTING);
}

TEST_F(LoggerStateMachineTest, EachSetPostsTheWholeWord)
{
    LoggerStateMachine machine;
    machine.setState(LOGGER_STATE_LOGGER_INITIALIZED);
    EXPECT_EQ(postedWord(), 5);
    machine.setState(LOGGER_STATE_SD_MOUNTED);
    EXPECT_EQ(postedWord(), 37);
    machine.setState(LOGGER_STATE_LOGGERS_STARTED);
    EXPECT_EQ(postedWord(), 45);
    machine.setState(LOGGER_STATE_LOGGERS_READABLE);
    EXPECT_EQ(postedWord(), 301);
    EXPECT_EQ(LoggerDebug::getLoggerStateString(postedWord()),
              QStringLiteral("logger initialized, sd mounted, loggers started, loggers readable"));
}

TEST_F(LoggerStateMachineTest, ZeroClearsEveryGroup)
{
    LoggerStateMachine machine;
    setRunning(machine);
    machine.setState(LOGGER_STATE_RESETTED);
    ASSERT_EQ(postedWord(), runningWord() | LOGGER_STATE_RESETTED);
    machine.setState(LOGGER_STATE_STARTUP);
    EXPECT_EQ(postedWord(), 0);
    EXPECT_EQ(LoggerDebug::getLoggerStateString(postedWord()), QStringLiteral("startup"));
}

TEST_F(LoggerStateMachineTest, RunAndAccessBitsTogetherSetOnlyTheRunGroup)
{
    LoggerStateMachine machine;
    machine.setState(LOGGER_STATE_LOGGER_INITIALIZED);
    machine.setState(LOGGER_STATE_SD_MOUNTED);
    machine.setState(LOGGER_STATE_LOGGERS_STARTED | LOGGER_STATE_LOGGERS_READABLE);
    EXPECT_EQ(postedWord(), 5 | 32 | 8);
    EXPECT_EQ(postedWord() & LOGGER_STATE_ACCESS_MASK, 0);
}

TEST_F(LoggerStateMachineTest, SevenStandsInTheBaseGroupWithoutText)
{
    LoggerStateMachine machine;
    machine.setState(LOGGER_STATE_SD_MOUNTED);
    machine.setState(7);
    EXPECT_EQ(postedWord(), 7 | 32);
    EXPECT_EQ(postedWord() & LOGGER_STATE_BASE_MASK, 7);
    EXPECT_EQ(LoggerDebug::getLoggerStateString(7), QString());
    EXPECT_EQ(LoggerDebug::getLoggerStateString(postedWord()), QStringLiteral(", sd mounted"));
}

TEST_F(LoggerStateMachineTest, AValueReplacesItsGroupInsteadOfAddingToIt)
{
    LoggerStateMachine machine;
    setRunning(machine);
    machine.setState(LOGGER_STATE_SD_EJECT);
    EXPECT_EQ(postedWord(), (runningWord() & ~LOGGER_STATE_CARD_MASK) | LOGGER_STATE_SD_EJECT);
    machine.setState(LOGGER_STATE_SD_MOUNTED);
    EXPECT_EQ(postedWord(), runningWord());

    machine.setState(LOGGER_STATE_LOGGERS_STOPPING);
    EXPECT_EQ(postedWord() & LOGGER_STATE_RUN_MASK, LOGGER_STATE_LOGGERS_STOPPING);
    machine.setState(LOGGER_STATE_LOGGERS_STOPPED);
    EXPECT_EQ(postedWord() & LOGGER_STATE_RUN_MASK, LOGGER_STATE_LOGGERS_STOPPED);
    machine.setState(LOGGER_STATE_LOGGERS_STARTING);
    EXPECT_EQ(postedWord() & LOGGER_STATE_RUN_MASK, LOGGER_STATE_LOGGERS_STARTING);

    machine.setState(LOGGER_STATE_LOGGERS_NOT_READABLE);
    EXPECT_EQ(postedWord() & LOGGER_STATE_ACCESS_MASK, LOGGER_STATE_LOGGERS_NOT_READABLE);

    machine.setState(LOGGER_STATE_RESETTING);
    machine.setState(LOGGER_STATE_RESETTED);
    EXPECT_EQ(postedWord() & LOGGER_STATE_RESET_MASK, LOGGER_STATE_RESETTED);

    machine.setState(LOGGER_STATE_LOGGER_FAILED);
    EXPECT_EQ(postedWord() & LOGGER_STATE_BASE_MASK, LOGGER_STATE_LOGGER_FAILED);

    EXPECT_EQ(postedWord(), LOGGER_STATE_LOGGER_FAILED | LOGGER_STATE_SD_MOUNTED |
                                LOGGER_STATE_LOGGERS_STARTING | LOGGER_STATE_LOGGERS_NOT_READABLE |
                                LOGGER_STATE_RESETTED);
}

TEST_F(LoggerStateMachineTest, TheFirstGroupInOrderWinsAndLaterBitsAreDropped)
{
    LoggerStateMachine machine;
    machine.setState(LOGGER_STATE_DB_INITIALIZED | LOGGER_STATE_SD_MOUNTED | LOGGER_STATE_LOGGERS_STARTED |
                     LOGGER_STATE_LOGGERS_READABLE | LOGGER_STATE_RESETTING);
    EXPECT_EQ(postedWord(), LOGGER_STATE_SD_MOUNTED) << "card before run, access, reset and base";

    machine.setState(LOGGER_STATE_DB_INITIALIZED | LOGGER_STATE_LOGGERS_STOPPED |
                     LOGGER_STATE_LOGGERS_READABLE | LOGGER_STATE_RESETTING);
    EXPECT_EQ(postedWord(), LOGGER_STATE_SD_MOUNTED | LOGGER_STATE_LOGGERS_STOPPED) << "run before access";

    machine.setState(LOGGER_STATE_DB_INITIALIZED | LOGGER_STATE_LOGGERS_NOT_READABLE |
                     LOGGER_STATE_RESETTING);
    EXPECT_EQ(postedWord(),
              LOGGER_STATE_SD_MOUNTED | LOGGER_STATE_LOGGERS_STOPPED | LOGGER_STATE_LOGGERS_NOT_READABLE)
        << "access before reset";

    machine.setState(LOGGER_STATE_DB_INITIALIZED | LOGGER_STATE_RESETTING);
    EXPECT_EQ(postedWord(), LOGGER_STATE_SD_MOUNTED | LOGGER_STATE_LOGGERS_STOPPED |
                                LOGGER_STATE_LOGGERS_NOT_READABLE | LOGGER_STATE_RESETTING)
        << "reset before base";

    machine.setState(LOGGER_STATE_DB_INITIALIZED);
    EXPECT_EQ(postedWord() & LOGGER_STATE_BASE_MASK, LOGGER_STATE_DB_INITIALIZED);
}

TEST_F(LoggerStateMachineTest, BitsOfNoGroupFallToTheBaseGroup)
{
    LoggerStateMachine machine;
    machine.setState(LOGGER_STATE_LOGGER_INITIALIZED);
    machine.setState(LOGGER_STATE_SD_MOUNTED);
    // 0x80 and 0x4000 belong to no group: the base group takes the low three bits, here none.
    machine.setState(0x80 | 0x4000);
    EXPECT_EQ(postedWord(), LOGGER_STATE_SD_MOUNTED);
    machine.setState(0x80 | LOGGER_STATE_DB_FAILED);
    EXPECT_EQ(postedWord(), LOGGER_STATE_SD_MOUNTED | LOGGER_STATE_DB_FAILED);
}

TEST_F(LoggerStateMachineTest, EjectLeavesCardEjectNotReadableAndStopped)
{
    LoggerStateMachine machine;
    setRunning(machine);
    machine.setState(LOGGER_STATE_SD_EJECT);
    machine.setState(LOGGER_STATE_LOGGERS_NOT_READABLE);
    machine.setState(LOGGER_STATE_LOGGERS_STOPPING);
    machine.setState(LOGGER_STATE_LOGGERS_STOPPED);
    EXPECT_EQ(postedWord(), 5 | 64 | 16 | 512);
    EXPECT_EQ(LoggerDebug::getLoggerStateString(postedWord()),
              QStringLiteral("logger initialized, sd eject, loggers stopped, loggers not readable"));
}

TEST_F(LoggerStateMachineTest, GetStateReadsTheFileAndKeepsIt)
{
    LoggerStateMachine machine;
    machine.setState(LOGGER_STATE_LOGGER_INITIALIZED);

    // Another party posts a word. Until getState, changes build on the local copy.
    LoggerGlobalStates::getInstance().setLoggerState(LOGGER_STATE_DB_INITIALIZED | LOGGER_STATE_SD_MOUNTED);
    machine.setState(LOGGER_STATE_LOGGERS_STARTED);
    EXPECT_EQ(postedWord(), LOGGER_STATE_LOGGER_INITIALIZED | LOGGER_STATE_LOGGERS_STARTED);

    LoggerGlobalStates::getInstance().setLoggerState(LOGGER_STATE_DB_INITIALIZED | LOGGER_STATE_SD_MOUNTED);
    EXPECT_EQ(machine.getState(), LOGGER_STATE_DB_INITIALIZED | LOGGER_STATE_SD_MOUNTED);
    machine.setState(LOGGER_STATE_LOGGERS_READABLE);
    EXPECT_EQ(postedWord(),
              LOGGER_STATE_DB_INITIALIZED | LOGGER_STATE_SD_MOUNTED | LOGGER_STATE_LOGGERS_READABLE);
    EXPECT_EQ(machine.getState(), postedWord());
}

TEST_F(LoggerStateMachineTest, GetStateWithoutStateFileKeepsLoggerFailed)
{
    LoggerStateMachine machine;
    useDirectory(mRoot.filePath(QStringLiteral("no-such-directory")));
    EXPECT_EQ(machine.getState(), LOGGER_STATE_LOGGER_FAILED);
    machine.setState(LOGGER_STATE_SD_MOUNTED); // posts nowhere, silently

    useDirectory(mRoot.path());
    machine.setState(LOGGER_STATE_LOGGERS_STARTED);
    EXPECT_EQ(postedWord(),
              LOGGER_STATE_LOGGER_FAILED | LOGGER_STATE_SD_MOUNTED | LOGGER_STATE_LOGGERS_STARTED);
}

TEST(LoggerStateMachineTypeTest, BothStateClassesHaveVirtualDestructors)
{
    EXPECT_TRUE(std::has_virtual_destructor<LoggerStateMachine>::value);
    EXPECT_TRUE(std::has_virtual_destructor<LoggerGlobalStates>::value);
}

} // namespace

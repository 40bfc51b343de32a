#include "LoggerGlobalStates.h"
#include "ChildTestProcess.h"
#include "LoggerState.h"
#include "LoggerStateMachine.h"
#include "TemporaryStoreRoot.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QDir>
#include <QFile>

#include <iostream>
#include <string>
#include <unistd.h>

namespace {

// Points the store's state directory at a fresh temporary directory for one test and restores
// the process's setting afterwards.
class LoggerGlobalStatesTest : public ::testing::Test {
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

    QString statePath(const char* fileName) const { return mRoot.filePath(QString::fromLatin1(fileName)); }

    // Writes the file as the kernel module or another process would.
    void writeFile(const char* fileName, const QByteArray& content) const
    {
        QFile file(statePath(fileName));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        ASSERT_EQ(file.write(content), content.size());
    }

    QByteArray readFile(const char* fileName) const
    {
        QFile file(statePath(fileName));
        if (!file.open(QIODevice::ReadOnly))
            return QByteArray("<missing>");
        return file.readAll();
    }

    static LoggerGlobalStates* states() { return &LoggerGlobalStates::getInstance(); }

    TemporaryStoreRoot mRoot;
    bool mHadDirectory = false;
    QByteArray mPreviousDirectory;
};

TEST_F(LoggerGlobalStatesTest, InstanceIsOnePerProcess)
{
    EXPECT_EQ(&LoggerGlobalStates::getInstance(), &LoggerGlobalStates::getInstance());
}

TEST_F(LoggerGlobalStatesTest, DirectoryIsTheKernelDirectoryWithoutTheVariable)
{
    qunsetenv(LoggerGlobalStates::kStateDirectoryVariable);
    EXPECT_EQ(LoggerGlobalStates::getStateDirectory(), QStringLiteral("/proc/qz-logger"));
    qputenv(LoggerGlobalStates::kStateDirectoryVariable, QByteArray());
    EXPECT_EQ(LoggerGlobalStates::getStateDirectory(), QStringLiteral("/proc/qz-logger"));
}

TEST_F(LoggerGlobalStatesTest, DirectoryComesFromTheVariable)
{
    EXPECT_EQ(LoggerGlobalStates::getStateDirectory(), mRoot.path());
}

TEST_F(LoggerGlobalStatesTest, WithoutTheProcFilesNotReadableAndLoggerFailed)
{
    qunsetenv(LoggerGlobalStates::kStateDirectoryVariable);
    if (QDir(QStringLiteral("/proc/qz-logger")).exists())
        GTEST_SKIP() << "this machine has the kernel module's files";
    EXPECT_FALSE(states()->isAvailable());
    EXPECT_FALSE(states()->isReadable());
    EXPECT_EQ(states()->getLoggerState(), LOGGER_STATE_LOGGER_FAILED);
    EXPECT_EQ(states()->getLoggerState(), 4);
}

TEST_F(LoggerGlobalStatesTest, MissingDirectoryGivesFalseAndLoggerFailed)
{
    const QString missing = mRoot.filePath(QStringLiteral("no-such-directory"));
    useDirectory(missing);
    EXPECT_FALSE(states()->isAvailable());
    EXPECT_FALSE(states()->isReadable());
    EXPECT_EQ(states()->getLoggerState(), LOGGER_STATE_LOGGER_FAILED);
}

TEST_F(LoggerGlobalStatesTest, WritesIntoMissingDirectoryAreSilentAndCreateNothing)
{
    const QString missing = mRoot.filePath(QStringLiteral("no-such-directory"));
    useDirectory(missing);
    EXPECT_FALSE(states()->setReadable(true));
    EXPECT_FALSE(states()->setLoggerState(LOGGER_STATE_LOGGER_INITIALIZED));
    EXPECT_FALSE(QDir(missing).exists());
    EXPECT_EQ(states()->getLoggerState(), LOGGER_STATE_LOGGER_FAILED);
}

TEST_F(LoggerGlobalStatesTest, MissingFilesInTheDirectoryGiveFalseAndLoggerFailed)
{
    EXPECT_FALSE(states()->isAvailable());
    EXPECT_FALSE(states()->isReadable());
    EXPECT_EQ(states()->getLoggerState(), LOGGER_STATE_LOGGER_FAILED);
}

TEST_F(LoggerGlobalStatesTest, UnreadableFileCountsAsMissing)
{
    if (geteuid() == 0)
        GTEST_SKIP() << "permissions do not stop the superuser";
    writeFile(LoggerGlobalStates::kLoggerStateFileName, "301");
    writeFile(LoggerGlobalStates::kReadableFileName, "1");
    QFile::setPermissions(statePath(LoggerGlobalStates::kLoggerStateFileName), QFileDevice::WriteOwner);
    QFile::setPermissions(statePath(LoggerGlobalStates::kReadableFileName), QFileDevice::WriteOwner);
    EXPECT_EQ(states()->getLoggerState(), LOGGER_STATE_LOGGER_FAILED);
    EXPECT_FALSE(states()->isReadable());
}

TEST_F(LoggerGlobalStatesTest, SetReadableWritesOneOrZeroWithoutLineEnd)
{
    ASSERT_TRUE(states()->setReadable(true));
    EXPECT_EQ(readFile(LoggerGlobalStates::kReadableFileName), QByteArray("1"));
    EXPECT_TRUE(states()->isReadable());

    ASSERT_TRUE(states()->setReadable(false));
    EXPECT_EQ(readFile(LoggerGlobalStates::kReadableFileName), QByteArray("0"));
    EXPECT_FALSE(states()->isReadable());
}

TEST_F(LoggerGlobalStatesTest, SetReadableReplacesALongerContent)
{
    writeFile(LoggerGlobalStates::kReadableFileName, "123456\n");
    ASSERT_TRUE(states()->setReadable(false));
    EXPECT_EQ(readFile(LoggerGlobalStates::kReadableFileName), QByteArray("0"));
}

TEST_F(LoggerGlobalStatesTest, SetLoggerStateWritesDecimalWithoutLineEnd)
{
    const LoggerState running = LOGGER_STATE_LOGGER_INITIALIZED | LOGGER_STATE_SD_MOUNTED |
                                LOGGER_STATE_LOGGERS_STARTED | LOGGER_STATE_LOGGERS_READABLE;
    ASSERT_TRUE(states()->setLoggerState(running));
    EXPECT_EQ(readFile(LoggerGlobalStates::kLoggerStateFileName), QByteArray("301"));
    EXPECT_EQ(states()->getLoggerState(), 301);

    writeFile(LoggerGlobalStates::kLoggerStateFileName, "123456789");
    ASSERT_TRUE(states()->setLoggerState(LOGGER_STATE_STARTUP));
    EXPECT_EQ(readFile(LoggerGlobalStates::kLoggerStateFileName), QByteArray("0"));
    EXPECT_EQ(states()->getLoggerState(), 0);

    ASSERT_TRUE(states()->setLoggerState(LOGGER_STATE_RESETTED | LOGGER_STATE_SD_CORRUPT));
    EXPECT_EQ(readFile(LoggerGlobalStates::kLoggerStateFileName), QByteArray("8288"));
}

TEST_F(LoggerGlobalStatesTest, AvailableIsTrueForAnyNonZeroInteger)
{
    struct Case {
        QByteArray content;
        bool available;
    };
    const Case cases[] = {
        {"1", true},     {"0", false},   {"2", true},   {"-1", true},   {"1\n", true},
        {" 7 \n", true}, {"0\n", false}, {"", false},   {"abc", false}, {"0x1", false},
        {"1a", false},   {"00", false},  {"010", true},
    };
    for (const Case& c : cases) {
        writeFile(LoggerGlobalStates::kAvailableFileName, c.content);
        EXPECT_EQ(states()->isAvailable(), c.available) << "content \"" << c.content.toStdString() << "\"";
    }
}

TEST_F(LoggerGlobalStatesTest, ReadableIsTrueForAnyNonZeroInteger)
{
    struct Case {
        QByteArray content;
        bool readable;
    };
    const Case cases[] = {{"1", true}, {"0", false}, {"5\n", true}, {"", false}, {"yes", false}};
    for (const Case& c : cases) {
        writeFile(LoggerGlobalStates::kReadableFileName, c.content);
        EXPECT_EQ(states()->isReadable(), c.readable) << "content \"" << c.content.toStdString() << "\"";
    }
}

TEST_F(LoggerGlobalStatesTest, LoggerStateIsReadBaseTen)
{
    struct Case {
        QByteArray content;
        LoggerState state;
    };
    const Case cases[] = {
        {"301", 301}, {"301\n", 301}, {"010", 10}, {"0x20", 0}, {"", 0}, {"garbage", 0}, {"-1", -1},
    };
    for (const Case& c : cases) {
        writeFile(LoggerGlobalStates::kLoggerStateFileName, c.content);
        EXPECT_EQ(states()->getLoggerState(), c.state) << "content \"" << c.content.toStdString() << "\"";
    }
}

TEST_F(LoggerGlobalStatesTest, EachReadSeesTheFileAsItIsNow)
{
    writeFile(LoggerGlobalStates::kAvailableFileName, "1");
    writeFile(LoggerGlobalStates::kReadableFileName, "1");
    writeFile(LoggerGlobalStates::kLoggerStateFileName, "5");
    EXPECT_TRUE(states()->isAvailable());
    EXPECT_TRUE(states()->isReadable());
    EXPECT_EQ(states()->getLoggerState(), 5);

    writeFile(LoggerGlobalStates::kAvailableFileName, "0");
    writeFile(LoggerGlobalStates::kReadableFileName, "0");
    writeFile(LoggerGlobalStates::kLoggerStateFileName, "37");
    EXPECT_FALSE(states()->isAvailable());
    EXPECT_FALSE(states()->isReadable());
    EXPECT_EQ(states()->getLoggerState(), 37);

    QFile::remove(statePath(LoggerGlobalStates::kLoggerStateFileName));
    EXPECT_EQ(states()->getLoggerState(), LOGGER_STATE_LOGGER_FAILED);
}

TEST_F(LoggerGlobalStatesTest, WritesDoNotTouchTheAvailableFile)
{
    writeFile(LoggerGlobalStates::kAvailableFileName, "1");
    states()->setReadable(false);
    states()->setLoggerState(LOGGER_STATE_DISABLED);
    EXPECT_EQ(readFile(LoggerGlobalStates::kAvailableFileName), QByteArray("1"));
}

// The other process of ProcessesSeeEachOthersChanges: prints what it reads, waits for the
// parent's go, reads again, then changes the word and the readable flag.
TEST(LoggerGlobalStatesChild, ReadsWaitsReadsAndWrites)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of ProcessesSeeEachOthersChanges";
    LoggerGlobalStates* states = &LoggerGlobalStates::getInstance();
    LoggerStateMachine machine;
    std::cout << "first state=" << machine.getState() << " readable=" << states->isReadable() << std::endl;

    std::string go;
    ASSERT_TRUE(std::getline(std::cin, go)) << "no go from the parent";

    std::cout << "second state=" << machine.getState() << " readable=" << states->isReadable() << std::endl;
    machine.setState(LOGGER_STATE_LOGGERS_STOPPED);
    ASSERT_TRUE(states->setReadable(false));
}

TEST_F(LoggerGlobalStatesTest, ProcessesSeeEachOthersChanges)
{
    ASSERT_TRUE(states()->setLoggerState(LOGGER_STATE_LOGGER_INITIALIZED | LOGGER_STATE_SD_MOUNTED |
                                         LOGGER_STATE_LOGGERS_STARTED));
    ASSERT_TRUE(states()->setReadable(false));

    ChildTestProcess child(QStringLiteral("LoggerGlobalStatesChild.ReadsWaitsReadsAndWrites"));
    child.setVariable(QString::fromLatin1(LoggerGlobalStates::kStateDirectoryVariable), mRoot.path());
    ASSERT_TRUE(child.start()) << child.report().toStdString();
    EXPECT_EQ(child.waitForLine("first "), QByteArray("first state=45 readable=0"))
        << child.report().toStdString();

    // The child is still running: what it reads next must be the parent's change.
    ASSERT_TRUE(states()->setLoggerState(LOGGER_STATE_LOGGER_INITIALIZED | LOGGER_STATE_SD_MOUNTED |
                                         LOGGER_STATE_LOGGERS_STARTED | LOGGER_STATE_LOGGERS_READABLE));
    ASSERT_TRUE(states()->setReadable(true));
    child.write("go\n");
    EXPECT_EQ(child.waitForLine("second "), QByteArray("second state=301 readable=1"))
        << child.report().toStdString();

    ASSERT_TRUE(child.waitForFinished()) << child.report().toStdString();
    EXPECT_TRUE(child.passed()) << child.report().toStdString();
    EXPECT_EQ(states()->getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED | LOGGER_STATE_SD_MOUNTED |
                                              LOGGER_STATE_LOGGERS_STOPPED | LOGGER_STATE_LOGGERS_READABLE);
    EXPECT_FALSE(states()->isReadable());
}

} // namespace

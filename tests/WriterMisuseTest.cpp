// The two mistakes that lose data while every call says yes are refused loudly: a process that is
// not the writer cannot make, start or write a logger, and a second writer on a store is refused
// while the first one lives. In each case nothing on the card changes, and the last error says
// why and what to do. Writers and readers are processes of their own, as on the instrument.

#include "ChildTestProcess.h"
#include "FileHashes.h"
#include "LoggerDb.h"
#include "LoggerOperatorInterface.h"
#include "TestTemplateLogger.h"
#include "WriterStore.h"

#include <QDir>
#include <QFile>
#include <QString>
#include <QThread>
#include <gtest/gtest.h>

#include <iostream>
#include <map>
#include <memory>

namespace {

constexpr const char* kHolderVariable = "QZLOGGER_MISUSE_HOLDER";
constexpr int32_t kFirstSecond = 1700000000;
const QString kNotTheWriter = QStringLiteral("this process is not the writer of the store");
const QString kHowToWrite = QStringLiteral("setWriterMode(true) before initialize()");

QString lastError()
{
    return LoggerDb::getInstance().getLastError();
}

// In a process that is not the writer: none of the ways to make, start or write a logger gets
// through, and each says why.
void expectEveryWriteRefused()
{
    TestTemplateLogger logger(0, 0);
    LoggerDb::getInstance().getAndResetLastError();
    EXPECT_TRUE(logger.initializeLogger());
    EXPECT_EQ(logger.getLoggerState(), LOGGER_STATE_DISABLED);
    EXPECT_TRUE(lastError().contains(kNotTheWriter)) << lastError().toStdString();
    EXPECT_TRUE(lastError().contains(QLatin1String(TestTemplateLogger::kMeasureId)))
        << lastError().toStdString();

    LoggerDb::getInstance().getAndResetLastError();
    EXPECT_FALSE(logger.startLogger());
    EXPECT_FALSE(logger.isStarted());
    EXPECT_TRUE(lastError().contains(QStringLiteral("starting the logger"))) << lastError().toStdString();
    EXPECT_TRUE(lastError().contains(kHowToWrite)) << lastError().toStdString();

    LoggerDb::getInstance().getAndResetLastError();
    const DataMean item = testMean(kFirstSecond + 100);
    EXPECT_FALSE(logger.writeLoggerItem(&item));
    EXPECT_TRUE(lastError().contains(QStringLiteral("writing to the logger"))) << lastError().toStdString();

    LoggerDb::getInstance().getAndResetLastError();
    EXPECT_EQ(logger.writeDatas(reinterpret_cast<const char*>(&item), 1, true, true), nullptr);
    EXPECT_TRUE(lastError().contains(kNotTheWriter)) << lastError().toStdString();

    // The cache of a reader takes nothing either.
    TestTemplateLogger cached(100, 1000);
    LoggerDb::getInstance().getAndResetLastError();
    EXPECT_FALSE(cached.writeLoggerItem(&item));
    EXPECT_EQ(cached.cache().getCount(), 0u);
    EXPECT_TRUE(lastError().contains(kNotTheWriter)) << lastError().toStdString();

    DataOperator entry{};
    LoggerOperatorInterface::createDefault(entry);
    entry.utc = DataTimespec{kFirstSecond + 200, 0};
    EXPECT_FALSE(LoggerOperatorInterface::logEvent(entry));
}

} // namespace

TEST(WriterMisuseChild, WritesAsAReader)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of WriterMisuseTest";
    ReaderStore store;
    ASSERT_TRUE(store.start()) << lastError().toStdString();
    expectEveryWriteRefused();
}

TEST(WriterMisuseChild, ForgetsTheWriterMode)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of WriterMisuseTest";
    // No setWriterMode(true): the process is a reader, and there is no catalogue to read yet.
    ReaderStore store;
    LoggerDb& db = LoggerDb::getInstance();
    EXPECT_FALSE(db.initialize(store.mountPoint(), store.loggerPath(),
                               QString::fromLatin1(WriterStore::kDataFolder),
                               QString::fromLatin1(WriterStore::kDbName), false));
    EXPECT_TRUE(lastError().contains(kHowToWrite)) << lastError().toStdString();
    expectEveryWriteRefused();
}

TEST(WriterMisuseChild, WritesUntilKilled)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of WriterMisuseTest";
    ReaderStore store;
    ASSERT_TRUE(store.startAsWriter()) << lastError().toStdString();
    TestTemplateLogger logger(0, 0);
    ASSERT_TRUE(logger.startLogger());
    for (int32_t second = 0; second < 5; ++second) {
        const DataMean item = testMean(kFirstSecond + second, second);
        ASSERT_TRUE(logger.writeLoggerItem(&item));
    }
    std::cout << "writing" << std::endl;
    ChildTestProcess::watchForStop();
    while (!ChildTestProcess::stopRequested())
        QThread::msleep(20);
}

TEST(WriterMisuseChild, StartsAsASecondWriter)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of WriterMisuseTest";
    const QString holder = qEnvironmentVariable(kHolderVariable);
    ReaderStore store;
    EXPECT_FALSE(store.startAsWriter());
    const QString text = lastError();
    EXPECT_TRUE(text.contains(QStringLiteral("the store is held by the writer process ") + holder))
        << text.toStdString();
    EXPECT_TRUE(text.contains(QStringLiteral("stop that process first"))) << text.toStdString();
    EXPECT_TRUE(text.contains(LoggerDb::getProcessIdFile() + QStringLiteral(".lock"))) << text.toStdString();
    // The first writer's id stands.
    EXPECT_EQ(QString::number(LoggerDb::getInstance().readProcessId()), holder);
    // Without its catalogue nothing of it starts or writes.
    TestTemplateLogger logger(0, 0);
    EXPECT_FALSE(logger.startLogger());
    const DataMean item = testMean(kFirstSecond + 100);
    EXPECT_FALSE(logger.writeLoggerItem(&item));
}

// --- the parents

class WriterMisuseTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        WriterStore::Options options;
        options.initialize = false;
        mStore = std::make_unique<WriterStore>(options);
        ASSERT_TRUE(mStore->start()) << mStore->errorString().toStdString();
    }

    std::unique_ptr<ChildTestProcess> child(const char* test)
    {
        auto process =
            std::make_unique<ChildTestProcess>(QStringLiteral("WriterMisuseChild.") + QLatin1String(test));
        mStore->exportTo(*process);
        return process;
    }

    std::map<QString, QByteArray> card() const { return fileHashesBelow(mStore->mountPoint()); }

    std::unique_ptr<WriterStore> mStore;
};

TEST_F(WriterMisuseTest, AReaderProcessThatWritesIsRefusedAndTheCardStaysAsItWas)
{
    auto writer = child("WritesUntilKilled");
    ASSERT_TRUE(writer->start());
    ASSERT_FALSE(writer->waitForLine("writing").isEmpty()) << writer->report().toStdString();
    const auto before = card();
    ASSERT_FALSE(before.empty());

    auto reader = child("WritesAsAReader");
    ASSERT_TRUE(reader->run());
    EXPECT_TRUE(reader->passed()) << reader->report().toStdString();
    EXPECT_EQ(card(), before);
    EXPECT_TRUE(writer->waitForFinished());
}

TEST_F(WriterMisuseTest, AWriterThatForgotTheWriterModeIsToldAndTheCardStaysEmpty)
{
    const auto before = card();
    auto forgetful = child("ForgetsTheWriterMode");
    ASSERT_TRUE(forgetful->run());
    EXPECT_TRUE(forgetful->passed()) << forgetful->report().toStdString();
    EXPECT_EQ(card(), before);
    EXPECT_FALSE(QFile::exists(mStore->databaseFile()));
}

TEST_F(WriterMisuseTest, ASecondWriterIsRefusedWhileTheFirstLivesAndAcceptedAfterItWasKilled)
{
    auto first = child("WritesUntilKilled");
    ASSERT_TRUE(first->start());
    ASSERT_FALSE(first->waitForLine("writing").isEmpty()) << first->report().toStdString();
    const auto before = card();
    const LoggerState word = mStore->readLoggerStateFile();

    auto second = child("StartsAsASecondWriter");
    second->setVariable(QString::fromLatin1(kHolderVariable), QString::number(first->processId()));
    ASSERT_TRUE(second->run());
    EXPECT_TRUE(second->passed()) << second->report().toStdString();
    EXPECT_EQ(card(), before) << "the refused writer changed the card";
    EXPECT_EQ(mStore->readLoggerStateFile(), word) << "the refused writer posted into the first one's state";

    // A killed writer's lock goes with its process.
    ASSERT_TRUE(first->killNow());
    auto third = child("WritesUntilKilled");
    ASSERT_TRUE(third->start());
    EXPECT_FALSE(third->waitForLine("writing").isEmpty()) << third->report().toStdString();
    EXPECT_TRUE(third->waitForFinished());
    EXPECT_TRUE(third->passed()) << third->report().toStdString();
}

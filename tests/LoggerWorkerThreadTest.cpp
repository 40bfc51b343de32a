// LoggerWorkerThread: one function run on a thread of Qt's global pool while the caller waits,
// its flags and its result, and the messages it hands to LoggerDb.

#include "LoggerWorkerThread.h"

#include "LogCapture.h"
#include "QStringPrinter.h"

#include <QString>
#include <QStringList>
#include <QThread>
#include <gtest/gtest.h>

#include <atomic>

namespace {

QString dbLine(const QString& text)
{
    return QStringLiteral("Logger.Db|INFO|") + text;
}

const QString kFinished = QStringLiteral("LoggerWorkerThread process finished");

// What the function of the worker saw; the function is a plain pointer, so it reports here.
std::atomic<LoggerWorkerThread*> sWorker{nullptr};
std::atomic<QThread*> sRanOn{nullptr};
std::atomic<bool> sBusyWhileRunning{false};
std::atomic<bool> sStartedWhileRunning{false};
std::atomic<bool> sDone{false};
std::atomic<bool> sAnswer{true};
std::atomic<int> sRuns{0};

bool recordingFunction()
{
    sRanOn = QThread::currentThread();
    LoggerWorkerThread* worker = sWorker;
    sBusyWhileRunning = worker != nullptr && worker->isBusy();
    sStartedWhileRunning = worker != nullptr && worker->isStarted();
    // Long enough that a caller that did not wait would see the run unfinished.
    QThread::msleep(50);
    ++sRuns;
    sDone = true;
    return sAnswer;
}

class LoggerWorkerThreadTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(LogCapture::install());
        sWorker = nullptr;
        sRanOn = nullptr;
        sBusyWhileRunning = false;
        sStartedWhileRunning = false;
        sDone = false;
        sAnswer = true;
        sRuns = 0;
    }
};

TEST_F(LoggerWorkerThreadTest, ANewWorkerIsIdleAndItsResultIsTrue)
{
    LoggerWorkerThread worker(&recordingFunction);
    EXPECT_FALSE(worker.isBusy());
    EXPECT_FALSE(worker.isStarted());
    EXPECT_TRUE(worker.getResult());
    EXPECT_EQ(sRuns, 0);
}

TEST_F(LoggerWorkerThreadTest, StartRunsTheFunctionOnAPoolThreadAndReturnsWhenItIsDone)
{
    LoggerWorkerThread worker(&recordingFunction);
    sWorker = &worker;
    worker.start();

    EXPECT_TRUE(sDone);
    EXPECT_EQ(sRuns, 1);
    EXPECT_NE(sRanOn.load(), nullptr);
    EXPECT_NE(sRanOn.load(), QThread::currentThread());
    EXPECT_TRUE(sBusyWhileRunning);
    EXPECT_TRUE(sStartedWhileRunning);
    EXPECT_FALSE(worker.isBusy());
    EXPECT_TRUE(worker.isStarted());
    EXPECT_TRUE(worker.getResult());
    EXPECT_EQ(LogCapture::lines(), QStringList{dbLine(kFinished)});
}

TEST_F(LoggerWorkerThreadTest, TheResultIsTheFunctionsLastAnswer)
{
    LoggerWorkerThread worker(&recordingFunction);
    sAnswer = false;
    worker.start();
    EXPECT_FALSE(worker.getResult());
    sAnswer = true;
    worker.start();
    EXPECT_TRUE(worker.getResult());
    sAnswer = false;
    worker.start();
    EXPECT_FALSE(worker.getResult());
    EXPECT_EQ(sRuns, 3);
    EXPECT_EQ(LogCapture::count(dbLine(kFinished)), 3);
}

TEST_F(LoggerWorkerThreadTest, ResetClearsBusyAndStartedAndMakesTheResultTrue)
{
    LoggerWorkerThread worker(&recordingFunction);
    sAnswer = false;
    worker.start();
    ASSERT_TRUE(worker.isStarted());
    ASSERT_FALSE(worker.getResult());

    worker.reset();
    EXPECT_FALSE(worker.isBusy());
    EXPECT_FALSE(worker.isStarted());
    EXPECT_TRUE(worker.getResult());
    // Reset runs nothing.
    EXPECT_EQ(sRuns, 1);
}

TEST_F(LoggerWorkerThreadTest, AWorkerWithoutAFunctionAnswersFalse)
{
    LoggerWorkerThread worker(nullptr);
    worker.start();
    EXPECT_FALSE(worker.getResult());
    EXPECT_TRUE(worker.isStarted());
    EXPECT_FALSE(worker.isBusy());
    EXPECT_EQ(LogCapture::count(dbLine(kFinished)), 1);
}

TEST_F(LoggerWorkerThreadTest, ProcessThreadRunsTheFunctionOnTheCallingThreadAndSaysWhenItIsDone)
{
    LoggerWorkerThread worker(&recordingFunction);
    int finished = 0;
    QObject::connect(&worker, &LoggerWorkerThread::threadFinished, [&finished] { ++finished; });
    sAnswer = false;

    worker.processThread();
    EXPECT_EQ(sRanOn.load(), QThread::currentThread());
    EXPECT_EQ(finished, 1);
    EXPECT_TRUE(worker.isStarted());
    EXPECT_FALSE(worker.isBusy());
    EXPECT_FALSE(worker.getResult());
    EXPECT_EQ(LogCapture::lines(),
              (QStringList{dbLine(QStringLiteral("LoggerWorkerThread process...")), dbLine(kFinished)}));
}

TEST_F(LoggerWorkerThreadTest, ProcessWorkerRunsTheWorkersFunctionOnTheCallingThread)
{
    LoggerWorkerThread worker(&recordingFunction);
    LoggerWorkerThread::processWorker(&worker);
    EXPECT_EQ(sRanOn.load(), QThread::currentThread());
    EXPECT_EQ(sRuns, 1);
    EXPECT_TRUE(worker.isStarted());

    // Without a worker there is nothing to run.
    LoggerWorkerThread::processWorker(nullptr);
    EXPECT_EQ(sRuns, 1);
}

TEST_F(LoggerWorkerThreadTest, DestroyingAWorkerSaysSo)
{
    {
        LoggerWorkerThread worker(&recordingFunction);
        worker.start();
    }
    EXPECT_EQ(
        LogCapture::lines(),
        (QStringList{dbLine(kFinished), dbLine(QStringLiteral("LoggerWorkerThread Destructor finished"))}));
}

} // namespace

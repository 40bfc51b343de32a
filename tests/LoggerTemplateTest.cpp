// The typed logger: items of one record type on their way into the cache and the engine. Items
// that are not newer than the last one are dropped with success, a disabled quantity refuses
// items. Simulated card, real catalogue (WriterStore); each test runs in a process of its own.

#include "LoggerTemplate.h"
#include "LogCapture.h"
#include "LoggerDb.h"
#include "TestTemplateLogger.h"
#include "WriterStore.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

class LoggerTemplateTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { LogCapture::instance(); }

    void SetUp() override
    {
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        mLogger = std::make_unique<TestTemplateLogger>(0, 0);
        ASSERT_TRUE(mLogger->startLogger());
        ASSERT_EQ(mLogger->getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
        mStart = testStartSecond();
    }

    bool write(int32_t seconds, int32_t counter = 0, int32_t nanoseconds = 0)
    {
        const DataMean item = testMean(seconds, counter, nanoseconds);
        return mLogger->writeLoggerItem(&item);
    }

    WriterStore mStore;
    std::unique_ptr<TestTemplateLogger> mLogger;
    int32_t mStart = 0;
};

} // namespace

TEST_F(LoggerTemplateTest, BlockSizeIsTheSizeOfTheItem)
{
    EXPECT_EQ(mLogger->getDataBlockSize(), static_cast<int>(sizeof(DataMean)));
}

TEST_F(LoggerTemplateTest, WithoutCacheEachItemIsWrittenAtOnce)
{
    EXPECT_TRUE(write(mStart, 1));
    EXPECT_EQ(itemsInCurrentFile(*mLogger), 1);
    EXPECT_TRUE(write(mStart + 1, 2));
    EXPECT_EQ(itemsInCurrentFile(*mLogger), 2);
    EXPECT_EQ(mLogger->cache().getCapacity(), 0u);
    EXPECT_EQ(mLogger->cache().getTimer().getTimeout(), 0);
}

TEST_F(LoggerTemplateTest, AWrittenItemBecomesTheCurrentTime)
{
    ASSERT_TRUE(write(mStart, 1, 500));
    EXPECT_EQ(mLogger->getCurrentUtc().tv_sec, mStart);
    EXPECT_EQ(mLogger->getCurrentUtc().tv_nsec, 500);
}

TEST_F(LoggerTemplateTest, AnItemWithTheTimeStampOfThePreviousOneReturnsTrueAndIsNotWritten)
{
    ASSERT_TRUE(write(mStart, 1));
    EXPECT_TRUE(write(mStart, 2));
    EXPECT_EQ(itemsInCurrentFile(*mLogger), 1);
}

TEST_F(LoggerTemplateTest, AnOlderItemReturnsTrueAndIsNotWritten)
{
    ASSERT_TRUE(write(mStart + 5, 1));
    EXPECT_TRUE(write(mStart + 4, 2));
    EXPECT_EQ(itemsInCurrentFile(*mLogger), 1);
    EXPECT_EQ(mLogger->getCurrentUtc().tv_sec, mStart + 5);
}

TEST_F(LoggerTemplateTest, AnItemOfADisabledQuantityIsRefused)
{
    mLogger->setQuantityEnabled(false);
    EXPECT_FALSE(write(mStart, 1));
    EXPECT_EQ(itemsInCurrentFile(*mLogger), 0);
    EXPECT_LT(mLogger->getCurrentUtc().tv_sec, mStart);

    mLogger->setQuantityEnabled(true);
    EXPECT_TRUE(write(mStart, 1));
    EXPECT_EQ(itemsInCurrentFile(*mLogger), 1);
}

TEST_F(LoggerTemplateTest, ARefusedItemLeavesTheCurrentTime)
{
    ASSERT_TRUE(write(mStart, 1));
    LoggerDb::getInstance().close();
    EXPECT_FALSE(write(mStart + 1, 2));
    EXPECT_EQ(mLogger->getCurrentUtc().tv_sec, mStart);
}

TEST_F(LoggerTemplateTest, FlushAndCreateNewFileReachTheEngine)
{
    ASSERT_TRUE(write(mStart, 1));
    const int filesBefore = mLogger->getNumFiles();
    EXPECT_TRUE(mLogger->flush());
    timespec time{};
    time.tv_sec = mStart + 1;
    EXPECT_TRUE(mLogger->createNewFile(time, LoggerDataType::MEAN));
    EXPECT_EQ(mLogger->getNumFiles(), filesBefore + 1);
    EXPECT_TRUE(write(mStart + 2, 2));
    EXPECT_EQ(itemsInCurrentFile(*mLogger), 1);
}

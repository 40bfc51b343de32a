// The write cache in front of a typed logger and the two timers that serve loggers and caches:
// items wait in memory until the quiet period or a full cache, wait for a database that is
// down, and are lost when the logger goes. Simulated card, real catalogue (WriterStore); each
// test runs in a process of its own.

#include "LoggerCache.h"
#include "LogCapture.h"
#include "LoggerBaseTimer.h"
#include "LoggerCacheBase.h"
#include "LoggerCacheTimer.h"
#include "LoggerDb.h"
#include "TestLogger.h"
#include "TestTemplateLogger.h"
#include "WriterStore.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>

#include <log4cxx/helpers/properties.h>
#include <log4cxx/logger.h>
#include <log4cxx/propertyconfigurator.h>

#include <algorithm>
#include <atomic>
#include <memory>

namespace {

constexpr int kCapacity = 100;
constexpr int kQuietPeriodMilliseconds = 300;
constexpr int kLongQuietPeriodMilliseconds = 60000; // never ends within a test
constexpr int kDeadlineMilliseconds = 5000;
const int kBlockSize = static_cast<int>(sizeof(DataMean));

// A logger that counts the calls of its timer.
class CountingLogger : public TestLogger {
public:
    CountingLogger() : TestLogger(QStringLiteral("counting"), 16) {}
    void timerElapsed() override { ++mElapsed; }
    std::atomic<int> mElapsed{0};
};

// A cache that counts its flushes and remembers the argument of the last one.
class CountingCache : public LoggerCacheBase {
public:
    bool flush(bool fromTimer) override
    {
        mLastArgument = fromTimer;
        ++mFlushes;
        return true;
    }
    std::atomic<int> mFlushes{0};
    std::atomic<bool> mLastArgument{false};
};

// Starts the timer again and again, each time well inside its time-out, for about `total` ms.
template <typename Timer> void retrigger(Timer& timer, int total)
{
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < total) {
        timer.startTimer();
        QThread::msleep(static_cast<unsigned long>(timer.getTimeout() / 5));
    }
}

// Closes a timer whose thread never ran and measures how long that took, in milliseconds.
template <typename Timer> qint64 closeNeverStarted(Timer& timer)
{
    QElapsedTimer clock;
    clock.start();
    timer.closeTimer();
    return clock.elapsed();
}

} // namespace

// --- LoggerBaseTimer

TEST(LoggerBaseTimerTest, ObjectNameIsQzloggerBaseTimer)
{
    LoggerBaseTimer timer;
    EXPECT_EQ(timer.objectName(), QStringLiteral("qzlogger:BaseTimer"));
}

TEST(LoggerBaseTimerTest, InitTimerBindsTheLoggerAndKeepsTheTimeout)
{
    CountingLogger logger;
    LoggerBaseTimer timer;
    timer.setTimeout(250);
    timer.initTimer(&logger);
    EXPECT_EQ(timer.getLogger(), &logger);
    EXPECT_EQ(timer.getTimeout(), 250);
}

TEST(LoggerBaseTimerTest, FiringCallsTimerElapsedOfTheLogger)
{
    CountingLogger logger;
    LoggerBaseTimer timer;
    timer.initTimer(&logger);
    timer.setTimeout(20);
    timer.startTimer();
    // Two time-outs of a fresh thread; the deadline is generous for a loaded machine.
    EXPECT_TRUE(waitFor([&] { return logger.mElapsed.load() >= 2; }, kDeadlineMilliseconds));
    timer.closeTimer();
}

TEST(LoggerBaseTimerTest, ATimerWithoutALoggerRunsAndCloses)
{
    LoggerBaseTimer timer;
    timer.setTimeout(10);
    timer.startTimer();
    EXPECT_TRUE(waitFor([&] { return timer.getEnabled(); }, kDeadlineMilliseconds));
    timer.closeTimer();
    EXPECT_FALSE(timer.isRunning());
}

TEST(LoggerBaseTimerTest, StartTimerWithTimeoutZeroDoesNothing)
{
    CountingLogger logger;
    LoggerBaseTimer timer;
    timer.initTimer(&logger);
    timer.startTimer();
    EXPECT_FALSE(timer.getRunning());
    EXPECT_FALSE(timer.isRunning());
}

TEST(LoggerBaseTimerTest, RepeatedStartTimerShorterThanTimeoutNeverFires)
{
    CountingLogger logger;
    LoggerBaseTimer timer;
    timer.initTimer(&logger);
    timer.setTimeout(200);
    retrigger(timer, 1000);
    timer.stopTimer();
    EXPECT_EQ(logger.mElapsed.load(), 0);
    timer.closeTimer();
}

TEST(LoggerBaseTimerTest, CloseTimerOnATimerWhoseThreadNeverRanReturnsAfterAMillisecond)
{
    LoggerBaseTimer timer;
    const qint64 elapsed = closeNeverStarted(timer);
    EXPECT_GE(elapsed, 1);
    EXPECT_LT(elapsed, 100);
}

// --- LoggerCacheTimer

TEST(LoggerCacheTimerTest, ObjectNameIsQzloggerCacheTimer)
{
    LoggerCacheTimer timer;
    EXPECT_EQ(timer.objectName(), QStringLiteral("qzlogger:CacheTimer"));
}

TEST(LoggerCacheTimerTest, InitTimerBindsTheCacheAndSetsTheTimeoutToZero)
{
    CountingCache cache;
    LoggerCacheTimer timer;
    timer.setTimeout(250);
    timer.initTimer(&cache);
    EXPECT_EQ(timer.getCache(), &cache);
    EXPECT_EQ(timer.getTimeout(), 0);
}

TEST(LoggerCacheTimerTest, FiringFlushesTheCacheFromTheTimer)
{
    CountingCache cache;
    LoggerCacheTimer timer;
    timer.initTimer(&cache);
    timer.setTimeout(20);
    timer.startTimer();
    EXPECT_TRUE(waitFor([&] { return cache.mFlushes.load() >= 1; }, kDeadlineMilliseconds));
    timer.closeTimer();
    EXPECT_TRUE(cache.mLastArgument.load());
}

TEST(LoggerCacheTimerTest, StartTimerWithTimeoutZeroDoesNothing)
{
    CountingCache cache;
    LoggerCacheTimer timer;
    timer.initTimer(&cache);
    timer.startTimer();
    EXPECT_FALSE(timer.getRunning());
    EXPECT_FALSE(timer.isRunning());
}

TEST(LoggerCacheTimerTest, RepeatedStartTimerShorterThanTimeoutNeverFires)
{
    CountingCache cache;
    LoggerCacheTimer timer;
    timer.initTimer(&cache);
    timer.setTimeout(200);
    retrigger(timer, 1000);
    timer.stopTimer();
    EXPECT_EQ(cache.mFlushes.load(), 0);
    timer.closeTimer();
}

// The cache starts its timer once per item: a million items back to back, each far inside the
// quiet period, flush nothing from the timer.
TEST(LoggerCacheTimerTest, AMillionStartsFasterThanTheQuietPeriodNeverFlushFromTheTimer)
{
    constexpr int kQuietPeriod = 2000;
    constexpr int kItems = 1000000;
    CountingCache cache;
    LoggerCacheTimer timer;
    timer.initTimer(&cache);
    timer.setTimeout(kQuietPeriod);

    QElapsedTimer clock;
    clock.start();
    qint64 lastStart = 0;
    qint64 longestGap = 0;
    for (int item = 0; item < kItems; ++item) {
        timer.startTimer();
        const qint64 now = clock.nsecsElapsed();
        longestGap = std::max(longestGap, now - lastStart);
        lastStart = now;
    }
    timer.stopTimer();
    longestGap = std::max(longestGap, clock.nsecsElapsed() - lastStart);
    timer.closeTimer();

    ASSERT_LT(longestGap, qint64(kQuietPeriod) * 1000000) << "the machine was too busy to start in time";
    EXPECT_EQ(cache.mFlushes.load(), 0);
}

TEST(LoggerCacheTimerTest, CloseTimerOnATimerWhoseThreadNeverRanReturnsAfterAMillisecond)
{
    LoggerCacheTimer timer;
    const qint64 elapsed = closeNeverStarted(timer);
    EXPECT_GE(elapsed, 1);
    EXPECT_LT(elapsed, 100);
}

// --- LoggerCache

class LoggerCacheTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { LogCapture::instance(); }

    // A started logger of the given cache on a mounted card with the catalogue up.
    std::unique_ptr<TestTemplateLogger> startedLogger(int capacity, int timeout)
    {
        auto logger = std::make_unique<TestTemplateLogger>(capacity, timeout);
        EXPECT_TRUE(logger->startLogger());
        EXPECT_EQ(logger->getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
        return logger;
    }

    // Writes `count` items one second apart from `start`; true when every one was accepted.
    static bool writeItems(TestTemplateLogger& logger, int32_t start, int count)
    {
        bool accepted = true;
        for (int index = 0; index < count; ++index) {
            const DataMean item = testMean(start + index, index + 1);
            accepted = logger.writeLoggerItem(&item) && accepted;
        }
        return accepted;
    }

    void startStore(const WriterStore::Options& options = WriterStore::Options())
    {
        mStore = std::make_unique<WriterStore>(options);
        ASSERT_TRUE(mStore->start()) << mStore->errorString().toStdString();
    }

    std::unique_ptr<WriterStore> mStore;
};

TEST_F(LoggerCacheTest, NinetyNineItemsStayInMemoryUntilTheQuietPeriodEnds)
{
    startStore();
    auto logger = startedLogger(kCapacity, kQuietPeriodMilliseconds);
    const int32_t start = testStartSecond();
    ASSERT_TRUE(writeItems(*logger, start, kCapacity - 1));

    EXPECT_EQ(logger->cache().getCount(), static_cast<unsigned int>(kCapacity - 1));
    EXPECT_EQ(itemsInCurrentFile(*logger), 0);
    EXPECT_TRUE(logger->cache().getTimer().getRunning());

    EXPECT_TRUE(waitFor([&] { return itemsInCurrentFile(*logger) == kCapacity - 1; }, kDeadlineMilliseconds))
        << itemsInCurrentFile(*logger) << " items on the card";
    EXPECT_EQ(logger->cache().getCount(), 0u);
    // The quiet-period flush stops its timer.
    EXPECT_FALSE(logger->cache().getTimer().getRunning());
}

// The cache decides its per-item debug messages by a flag of its own. A level set by hand counts
// from the next block; a configurator that adds an appender counts from the next item.
TEST_F(LoggerCacheTest, AChangeOfTheLogLevelReachesTheCachesDebugFlag)
{
    startStore();
    const log4cxx::LoggerPtr db = log4cxx::Logger::getLogger("Logger.Db");
    db->setLevel(log4cxx::Level::getInfo());
    auto logger = startedLogger(kCapacity, kLongQuietPeriodMilliseconds);
    const int32_t start = testStartSecond();
    ASSERT_TRUE(writeItems(*logger, start, 1));
    EXPECT_FALSE(logger->cache().getLogEnabled());

    db->setLevel(log4cxx::Level::getDebug());
    ASSERT_TRUE(logger->flush());
    ASSERT_TRUE(writeItems(*logger, start + 1, 1));
    EXPECT_TRUE(logger->cache().getLogEnabled());

    // In the middle of a block: the appender that the configurator adds tells the cache.
    log4cxx::helpers::Properties properties;
    properties.setProperty(LOG4CXX_STR("log4j.logger.Logger.Db"), LOG4CXX_STR("INFO, quiet"));
    // An appender that lets nothing through, so that the test's own output stays as it is.
    properties.setProperty(LOG4CXX_STR("log4j.appender.quiet"),
                           LOG4CXX_STR("org.apache.log4j.ConsoleAppender"));
    properties.setProperty(LOG4CXX_STR("log4j.appender.quiet.layout"),
                           LOG4CXX_STR("org.apache.log4j.SimpleLayout"));
    properties.setProperty(LOG4CXX_STR("log4j.appender.quiet.Threshold"), LOG4CXX_STR("OFF"));
    log4cxx::PropertyConfigurator::configure(properties);
    ASSERT_FALSE(db->isDebugEnabled());
    ASSERT_TRUE(writeItems(*logger, start + 2, 1));
    EXPECT_EQ(logger->cache().getCount(), 2u);
    EXPECT_FALSE(logger->cache().getLogEnabled());
}

TEST_F(LoggerCacheTest, TheHundredthItemWritesAllHundredAtOnce)
{
    startStore();
    auto logger = startedLogger(kCapacity, kLongQuietPeriodMilliseconds);
    const int32_t start = testStartSecond();
    ASSERT_TRUE(writeItems(*logger, start, kCapacity - 1));
    EXPECT_EQ(itemsInCurrentFile(*logger), 0);

    const DataMean last = testMean(start + kCapacity - 1, kCapacity);
    EXPECT_TRUE(logger->writeLoggerItem(&last));
    EXPECT_EQ(itemsInCurrentFile(*logger), kCapacity);
    EXPECT_EQ(logger->cache().getCount(), 0u);
}

TEST_F(LoggerCacheTest, AStreamOfItemsFasterThanTheQuietPeriodIsWrittenByFullCaches)
{
    startStore();
    auto logger = startedLogger(kCapacity, kLongQuietPeriodMilliseconds);
    ASSERT_TRUE(writeItems(*logger, testStartSecond(), 2 * kCapacity + 5));
    EXPECT_EQ(itemsInCurrentFile(*logger), 2 * kCapacity);
    EXPECT_EQ(logger->cache().getCount(), 5u);
}

TEST_F(LoggerCacheTest, WhileTheDatabaseIsDownAHundredItemsAreHeldAndTheNextIsRefused)
{
    WriterStore::Options options;
    options.initialize = false;
    startStore(options);
    ASSERT_FALSE(LoggerDb::getInstance().isInitialized());
    TestTemplateLogger logger(kCapacity, kQuietPeriodMilliseconds);
    const int32_t start = testStartSecond();

    EXPECT_TRUE(writeItems(logger, start, kCapacity));
    EXPECT_EQ(logger.cache().getCount(), static_cast<unsigned int>(kCapacity));
    const DataMean refused = testMean(start + kCapacity, kCapacity + 1);
    EXPECT_FALSE(logger.writeLoggerItem(&refused));
    EXPECT_EQ(logger.cache().getCount(), static_cast<unsigned int>(kCapacity));

    // Items that wait for the database start no timer.
    EXPECT_FALSE(logger.cache().getTimer().getRunning());
    EXPECT_FALSE(logger.cache().getTimer().isRunning());
}

TEST_F(LoggerCacheTest, ItemsHeldWhileTheDatabaseWasDownAreWrittenByAFlushOnceItIsUp)
{
    WriterStore::Options options;
    options.initialize = false;
    startStore(options);
    TestTemplateLogger logger(kCapacity, kLongQuietPeriodMilliseconds);
    ASSERT_TRUE(writeItems(logger, testStartSecond() + 100, 10));
    ASSERT_EQ(logger.cache().getCount(), 10u);

    ASSERT_TRUE(mStore->initializeWriter());
    ASSERT_TRUE(logger.startLogger());
    EXPECT_TRUE(logger.flush());
    EXPECT_EQ(itemsInCurrentFile(logger), 10);
    EXPECT_EQ(logger.cache().getCount(), 0u);
}

TEST_F(LoggerCacheTest, WithCapacityZeroEveryItemIsRefusedWhileTheDatabaseIsDown)
{
    WriterStore::Options options;
    options.initialize = false;
    startStore(options);
    TestTemplateLogger logger(0, 0);
    const DataMean item = testMean(testStartSecond());
    EXPECT_FALSE(logger.writeLoggerItem(&item));
    EXPECT_EQ(logger.cache().getCount(), 0u);
}

TEST_F(LoggerCacheTest, FlushWithAnEmptyCacheDoesNotTouchTheTimer)
{
    startStore();
    auto logger = startedLogger(kCapacity, kLongQuietPeriodMilliseconds);

    // A cache that never held an item: no timer, and flush starts none.
    EXPECT_TRUE(logger->flush());
    EXPECT_FALSE(logger->cache().getTimer().getRunning());
    EXPECT_FALSE(logger->cache().getTimer().isRunning());

    // The hundredth item empties the cache by filling it and leaves the timer running.
    ASSERT_TRUE(writeItems(*logger, testStartSecond(), kCapacity));
    ASSERT_EQ(logger->cache().getCount(), 0u);
    ASSERT_TRUE(logger->cache().getTimer().getRunning());
    EXPECT_TRUE(logger->flush());
    EXPECT_TRUE(logger->cache().getTimer().getRunning());
}

TEST_F(LoggerCacheTest, FlushWithWaitingItemsWritesThemAndStopsTheTimer)
{
    startStore();
    auto logger = startedLogger(kCapacity, kLongQuietPeriodMilliseconds);
    ASSERT_TRUE(writeItems(*logger, testStartSecond(), 7));
    ASSERT_TRUE(logger->cache().getTimer().getRunning());
    EXPECT_TRUE(logger->flush());
    EXPECT_EQ(itemsInCurrentFile(*logger), 7);
    EXPECT_FALSE(logger->cache().getTimer().getRunning());
}

TEST_F(LoggerCacheTest, DestroyingALoggerWithWaitingItemsLosesThem)
{
    startStore();
    auto logger = startedLogger(kCapacity, kLongQuietPeriodMilliseconds);
    const int32_t start = testStartSecond();
    ASSERT_TRUE(writeItems(*logger, start, kCapacity + 5));
    const QString file = currentDataFile(*logger);
    ASSERT_EQ(itemsInFile(file, kBlockSize), kCapacity);
    ASSERT_EQ(logger->cache().getCount(), 5u);

    logger.reset();
    EXPECT_EQ(itemsInFile(file, kBlockSize), kCapacity);
}

TEST_F(LoggerCacheTest, WithTimeoutZeroTheCacheNeverGetsAThread)
{
    startStore();
    auto logger = startedLogger(kCapacity, 0);
    ASSERT_TRUE(writeItems(*logger, testStartSecond(), 10));
    EXPECT_EQ(logger->cache().getCount(), 10u);
    EXPECT_FALSE(logger->cache().getTimer().getRunning());
    EXPECT_FALSE(logger->cache().getTimer().isRunning());
}

TEST_F(LoggerCacheTest, AMobileLoggerThatIsNotRunningDropsItemsAndReportsSuccess)
{
    startStore();
    auto logger = startedLogger(kCapacity, kLongQuietPeriodMilliseconds);
    logger->setMobile(true);
    logger->setEnabled(false);
    const DataMean item = testMean(testStartSecond());
    EXPECT_TRUE(logger->cache().writeLoggerItem(&item));
    EXPECT_EQ(logger->cache().getCount(), 0u);
}

TEST_F(LoggerCacheTest, ItemsOfADisabledLoggerStayInTheCache)
{
    startStore();
    auto logger = startedLogger(kCapacity, kLongQuietPeriodMilliseconds);
    ASSERT_TRUE(writeItems(*logger, testStartSecond(), 3));
    logger->setEnabled(false);
    EXPECT_FALSE(logger->cache().writeDatas());
    EXPECT_EQ(logger->cache().getCount(), 3u);
    logger->setEnabled(true);
    EXPECT_TRUE(logger->cache().writeDatas());
    EXPECT_EQ(itemsInCurrentFile(*logger), 3);
}

// LoggerEntityChanged: the read-and-clear change flags per logger that the catalogue side sets
// when it changed a logger's rows.

#include "LoggerEntityChanged.h"
#include "LoggerKey.h"

#include <gtest/gtest.h>

#include <QThread>

#include <atomic>
#include <thread>
#include <vector>

namespace {

// Every test uses keys of its own: the table lives as long as the process.
constexpr int kBaseId = 1000;

TEST(LoggerEntityChangedTest, GetInstanceIsOnePerProcess)
{
    EXPECT_EQ(&LoggerEntityChanged::getInstance(), &LoggerEntityChanged::getInstance());
}

TEST(LoggerEntityChangedTest, FirstReadOfAnyKeyIsChangedThenFalseUntilSetAgain)
{
    const int id = kBaseId + 1;
    EXPECT_TRUE(LoggerEntityChanged::getLoggerChanged(LoggerType::CYCLIC, LoggerDataType::MEAN, id));
    EXPECT_FALSE(LoggerEntityChanged::getLoggerChanged(LoggerType::CYCLIC, LoggerDataType::MEAN, id));
    EXPECT_FALSE(LoggerEntityChanged::getLoggerChanged(LoggerType::CYCLIC, LoggerDataType::MEAN, id));

    LoggerEntityChanged::setLoggerChanged(LoggerType::CYCLIC, LoggerDataType::MEAN, id, true);
    EXPECT_TRUE(LoggerEntityChanged::getLoggerChanged(LoggerType::CYCLIC, LoggerDataType::MEAN, id));
    EXPECT_FALSE(LoggerEntityChanged::getLoggerChanged(LoggerType::CYCLIC, LoggerDataType::MEAN, id));
}

TEST(LoggerEntityChangedTest, SetFalseOnANewKeyReadsFalse)
{
    const int id = kBaseId + 2;
    LoggerEntityChanged::setLoggerChanged(LoggerType::EVENT, LoggerDataType::EVENT, id, false);
    EXPECT_FALSE(LoggerEntityChanged::getLoggerChanged(LoggerType::EVENT, LoggerDataType::EVENT, id));
}

TEST(LoggerEntityChangedTest, SettingTwiceIsReportedOnce)
{
    const int id = kBaseId + 3;
    LoggerEntityChanged::setLoggerChanged(LoggerType::DISTURB, LoggerDataType::DISTURB, id, true);
    LoggerEntityChanged::setLoggerChanged(LoggerType::DISTURB, LoggerDataType::DISTURB, id, true);
    EXPECT_TRUE(LoggerEntityChanged::getLoggerChanged(LoggerType::DISTURB, LoggerDataType::DISTURB, id));
    EXPECT_FALSE(LoggerEntityChanged::getLoggerChanged(LoggerType::DISTURB, LoggerDataType::DISTURB, id));
}

TEST(LoggerEntityChangedTest, EachPartOfTheKeyCounts)
{
    const int id = kBaseId + 4;
    // Settle the key and its three neighbours, each differing in one part.
    LoggerEntityChanged::setLoggerChanged(LoggerType::CYCLIC, LoggerDataType::MEAN, id, false);
    LoggerEntityChanged::setLoggerChanged(LoggerType::EVENT, LoggerDataType::MEAN, id, false);
    LoggerEntityChanged::setLoggerChanged(LoggerType::CYCLIC, LoggerDataType::HARMONICS, id, false);
    LoggerEntityChanged::setLoggerChanged(LoggerType::CYCLIC, LoggerDataType::MEAN, id + 1, false);

    LoggerEntityChanged::setLoggerChanged(LoggerType::CYCLIC, LoggerDataType::MEAN, id, true);
    EXPECT_FALSE(LoggerEntityChanged::getLoggerChanged(LoggerType::EVENT, LoggerDataType::MEAN, id));
    EXPECT_FALSE(LoggerEntityChanged::getLoggerChanged(LoggerType::CYCLIC, LoggerDataType::HARMONICS, id));
    EXPECT_FALSE(LoggerEntityChanged::getLoggerChanged(LoggerType::CYCLIC, LoggerDataType::MEAN, id + 1));
    EXPECT_TRUE(LoggerEntityChanged::getLoggerChanged(LoggerType::CYCLIC, LoggerDataType::MEAN, id));
}

TEST(LoggerEntityChangedTest, InstanceFormsAndStaticFormsShareTheTable)
{
    const int id = kBaseId + 5;
    const LoggerKey key(LoggerType::PQEVENT, LoggerDataType::PQEVENT, id);
    LoggerEntityChanged::getInstance().setChanged(key, true);
    EXPECT_TRUE(LoggerEntityChanged::getLoggerChanged(LoggerType::PQEVENT, LoggerDataType::PQEVENT, id));
    LoggerEntityChanged::setLoggerChanged(LoggerType::PQEVENT, LoggerDataType::PQEVENT, id, true);
    EXPECT_TRUE(LoggerEntityChanged::getInstance().getChanged(key));
    EXPECT_FALSE(LoggerEntityChanged::getInstance().getChanged(key));
}

TEST(LoggerEntityChangedTest, RemovedKeyReadsAsNewAgain)
{
    const int id = kBaseId + 6;
    LoggerEntityChanged::setLoggerChanged(LoggerType::OPERATOR, LoggerDataType::OPERATOR, id, false);
    LoggerEntityChanged::remove(LoggerType::OPERATOR, LoggerDataType::OPERATOR, id);
    EXPECT_TRUE(LoggerEntityChanged::getLoggerChanged(LoggerType::OPERATOR, LoggerDataType::OPERATOR, id));
    // An unknown key is no error.
    LoggerEntityChanged::remove(LoggerType::OPERATOR, LoggerDataType::OPERATOR, id + 100);
    LoggerEntityChanged::getInstance().remove(LoggerKey(LoggerType::NONE, LoggerDataType::NONE, id + 100));
}

// Read and clear is one step: of many threads that read one new key at the same moment, exactly
// one sees it as changed; and a mark set while others read is reported exactly once.
TEST(LoggerEntityChangedTest, ReadAndClearIsAtomicAcrossThreads)
{
    constexpr int kThreads = 8;
    constexpr int kKeys = 300;
    const int firstId = kBaseId + 1000;
    std::atomic<int> changedSeen{0};
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            ++ready;
            while (ready.load() < kThreads)
                QThread::yieldCurrentThread();
            for (int k = 0; k < kKeys; ++k) {
                if (LoggerEntityChanged::getLoggerChanged(LoggerType::CYCLIC, LoggerDataType::MEAN,
                                                          firstId + k))
                    ++changedSeen;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(changedSeen.load(), kKeys);

    // One writer marks each key once; readers poll until all marks are seen. Every mark is read
    // exactly once, however the threads interleave.
    std::atomic<int> marksSeen{0};
    std::atomic<bool> writerDone{false};
    std::vector<std::thread> readers;
    for (int t = 0; t < kThreads; ++t) {
        readers.emplace_back([&] {
            for (;;) {
                const bool done = writerDone.load();
                for (int k = 0; k < kKeys; ++k) {
                    if (LoggerEntityChanged::getLoggerChanged(LoggerType::CYCLIC, LoggerDataType::MEAN,
                                                              firstId + k))
                        ++marksSeen;
                }
                if (done)
                    return;
            }
        });
    }
    for (int k = 0; k < kKeys; ++k)
        LoggerEntityChanged::setLoggerChanged(LoggerType::CYCLIC, LoggerDataType::MEAN, firstId + k, true);
    writerDone = true;
    for (std::thread& reader : readers)
        reader.join();
    EXPECT_EQ(marksSeen.load(), kKeys);
}

} // namespace

// The operator log and its facade: the record helpers, the operator switch beside the
// logger's own enabled flag, unset time and user, and files of at most 500000 bytes. Simulated
// card, real catalogue (WriterStore); each test runs in a process of its own.

#include "LoggerOperator.h"
#include "LogCapture.h"
#include "LoggerDataItems.h"
#include "LoggerOperatorInterface.h"
#include "TestTemplateLogger.h"
#include "WriterStore.h"

#include <gtest/gtest.h>

#include <QFile>

#include <cstring>

namespace {

constexpr int kOperatorBlockSize = 44; // utc, operation, user, ip, operation data

DataOperator defaultItem()
{
    DataOperator item;
    LoggerOperator::createDefault(item);
    return item;
}

// The last record of the operator's current data file.
bool lastOperatorItem(DataOperator& item)
{
    QFile file(currentDataFile(*LoggerOperator::getInstance()));
    if (!file.open(QIODevice::ReadOnly) || file.size() < LoggerBase::kHeaderSize + kOperatorBlockSize) {
        return false;
    }
    file.seek(file.size() - kOperatorBlockSize);
    return file.read(reinterpret_cast<char*>(&item), kOperatorBlockSize) == kOperatorBlockSize;
}

int operatorItems()
{
    return itemsInCurrentFile(*LoggerOperator::getInstance());
}

} // namespace

// --- the record helpers, without a store

TEST(LoggerOperatorRecordTest, CreateDefaultZeroesAllFortyFourBytes)
{
    DataOperator item;
    std::memset(static_cast<void*>(&item), 0x5a, sizeof(item));
    LoggerOperator::createDefault(item);
    const auto* bytes = reinterpret_cast<const unsigned char*>(&item);
    for (size_t index = 0; index < sizeof(item); ++index) {
        EXPECT_EQ(bytes[index], 0u) << "byte " << index;
    }
    EXPECT_EQ(sizeof(item), static_cast<size_t>(kOperatorBlockSize));
}

TEST(LoggerOperatorRecordTest, SetUserWithATwentyFiveCharacterNameKeepsTheFirstNineteen)
{
    DataOperator item = defaultItem();
    LoggerOperator::setUser(QStringLiteral("abcdefghijklmnopqrstuvwxy"), item);
    EXPECT_EQ(std::string(item.user), "abcdefghijklmnopqrs");
    EXPECT_EQ(item.user[19], '\0');
}

TEST(LoggerOperatorRecordTest, SetUserWritesLatinOneWithoutATerminator)
{
    DataOperator item;
    std::memset(static_cast<void*>(&item), 'x', sizeof(item));
    LoggerOperator::setUser(QString::fromUtf8("J\xc3\xbcrg"), item);
    EXPECT_EQ(static_cast<unsigned char>(item.user[1]), 0xfcu);
    EXPECT_EQ(std::string(item.user, 6), std::string("J\xfcrgxx"));
}

TEST(LoggerOperatorRecordTest, SetIpStoresTheFourPartsAsBytes)
{
    DataOperator item = defaultItem();
    LoggerOperatorInterface::setIp(QStringLiteral("192.168.1.20"), item);
    EXPECT_EQ(item.ip[0], 192u);
    EXPECT_EQ(item.ip[1], 168u);
    EXPECT_EQ(item.ip[2], 1u);
    EXPECT_EQ(item.ip[3], 20u);
}

TEST(LoggerOperatorRecordTest, UserNameIsDevice)
{
    char user[kOperatorUserSize];
    std::memset(user, 'x', sizeof(user));
    EXPECT_TRUE(LoggerOperator::getUserName(user));
    EXPECT_STREQ(user, "device");
    EXPECT_EQ(LoggerOperator::getQUserName(), QStringLiteral("device"));
}

TEST(LoggerOperatorRecordTest, TheOperatorLoggerIsNamedAndSizedAsTheOperatorLog)
{
    LogCapture::instance();
    LoggerOperator* logger = LoggerOperator::getInstance();
    ASSERT_NE(logger, nullptr);
    EXPECT_EQ(logger, LoggerOperator::getInstance());
    EXPECT_EQ(logger->getLoggerName(), QStringLiteral("LoggerOperator"));
    EXPECT_EQ(logger->getConfiguratedMeasuredTypeId(), QStringLiteral("operator"));
    EXPECT_EQ(logger->getLoggerType(), LoggerType::OPERATOR);
    EXPECT_EQ(logger->getLoggerDataType(), LoggerDataType::OPERATOR);
    EXPECT_EQ(logger->getDataBlockSize(), kOperatorBlockSize);
    EXPECT_EQ(logger->getMaximumFileSize(), 500000);
    EXPECT_TRUE(logger->isOperatorEnabled());
    EXPECT_EQ(LoggerOperator::getDaysPerFileInterval(), logger->getDaysPerFile());
}

// --- the operator log on a store

class LoggerOperatorTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { LogCapture::instance(); }

    void SetUp() override
    {
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        ASSERT_TRUE(LoggerOperatorInterface::startLogger());
        ASSERT_EQ(LoggerOperator::getInstance()->getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
        ASSERT_TRUE(LoggerOperator::getEnabled());
    }

    void TearDown() override { LoggerOperatorInterface::setEnabled(true); }

    WriterStore mStore;
};

TEST_F(LoggerOperatorTest, LogEventWithTheOperatorSwitchOffReturnsTrueAndWritesNothing)
{
    LoggerOperatorInterface::setEnabled(false);
    DataOperator item = defaultItem();
    item.operation = 7;
    EXPECT_TRUE(LoggerOperatorInterface::logEvent(item));
    EXPECT_EQ(operatorItems(), 0);
}

TEST_F(LoggerOperatorTest, AnItemWithZeroTimeAndNoUserIsStoredWithTheCurrentTimeAndTheUserDevice)
{
    DataOperator item = defaultItem();
    item.operation = 3;
    LoggerOperator::setIp(QStringLiteral("10.0.0.7"), item);
    const timespec before = LoggerOperator::getTime();
    ASSERT_TRUE(LoggerOperatorInterface::logEvent(item));
    const timespec after = LoggerOperator::getTime();

    DataOperator stored{};
    ASSERT_TRUE(lastOperatorItem(stored));
    EXPECT_EQ(operatorItems(), 1);
    EXPECT_GE(stored.utc.tv_sec, static_cast<int32_t>(before.tv_sec));
    EXPECT_LE(stored.utc.tv_sec, static_cast<int32_t>(after.tv_sec));
    EXPECT_STREQ(stored.user, "device");
    EXPECT_EQ(stored.operation, 3);
    EXPECT_EQ(stored.ip[3], 7u);
}

TEST_F(LoggerOperatorTest, AnItemWithANamedUserKeepsTheName)
{
    DataOperator item = defaultItem();
    LoggerOperatorInterface::setUser(QStringLiteral("service"), item);
    ASSERT_TRUE(LoggerOperatorInterface::logEvent(item));
    DataOperator stored{};
    ASSERT_TRUE(lastOperatorItem(stored));
    EXPECT_STREQ(stored.user, "service");
}

TEST_F(LoggerOperatorTest, AnItemWithNanosecondsButZeroSecondsKeepsItsTime)
{
    // Only both words at 0 count as unset: a time of a few nanoseconds is stored as it is.
    DataOperator item = defaultItem();
    item.utc.tv_nsec = 5;
    ASSERT_TRUE(LoggerOperatorInterface::logEvent(item));
    DataOperator stored{};
    ASSERT_TRUE(lastOperatorItem(stored));
    EXPECT_EQ(stored.utc.tv_sec, 0);
    EXPECT_EQ(stored.utc.tv_nsec, 5);
}

TEST_F(LoggerOperatorTest, SetEnabledOnTheInterfaceLeavesGetEnabledUnchanged)
{
    LoggerOperatorInterface::setEnabled(false);
    EXPECT_TRUE(LoggerOperator::getEnabled());
    EXPECT_TRUE(LoggerOperatorInterface::isEnabled());
    EXPECT_FALSE(LoggerOperator::getInstance()->isOperatorEnabled());
}

TEST_F(LoggerOperatorTest, RemoveWithTheOperatorSwitchOffDoesNothing)
{
    ASSERT_TRUE(LoggerOperatorInterface::logEvent(defaultItem()));
    LoggerOperatorInterface::setEnabled(false);
    EXPECT_TRUE(LoggerOperatorInterface::removeLogger(false));
    EXPECT_EQ(operatorItems(), 1);
    EXPECT_TRUE(LoggerOperator::getEnabled());
}

TEST_F(LoggerOperatorTest, OperatorFilesRollOverAtFiveHundredThousandBytes)
{
    LoggerOperator* logger = LoggerOperator::getInstance();
    const int32_t start = testStartSecond();
    ASSERT_TRUE(LoggerOperatorInterface::logEvent(defaultItem()));
    const QString firstFile = currentDataFile(*logger);
    const int filesBefore = logger->getNumFiles();
    // A file takes items while it is not beyond 500000 bytes, so the last one may end past it
    // by less than an item; well before twice that many items a second file must begin.
    const int itemsPerFile =
        (LoggerOperator::kMaximumFileSize - LoggerBase::kHeaderSize) / kOperatorBlockSize;
    int written = 0;
    while (logger->getNumFiles() == filesBefore && written < 2 * itemsPerFile) {
        DataOperator item = defaultItem();
        item.utc.tv_sec = start + written;
        item.operation = written;
        ASSERT_TRUE(LoggerOperatorInterface::logEvent(item)) << "item " << written;
        ++written;
    }
    EXPECT_EQ(logger->getNumFiles(), filesBefore + 1);
    EXPECT_NE(currentDataFile(*logger), firstFile);
    const qint64 firstSize = QFileInfo(firstFile).size();
    EXPECT_GT(firstSize, LoggerOperator::kMaximumFileSize - kOperatorBlockSize);
    EXPECT_LT(firstSize, LoggerOperator::kMaximumFileSize + kOperatorBlockSize);
    EXPECT_EQ(operatorItems(), 1);
}

TEST_F(LoggerOperatorTest, CreateNewFileWithTheOperatorSwitchOffDoesNothing)
{
    const int filesBefore = LoggerOperator::getInstance()->getNumFiles();
    LoggerOperatorInterface::setEnabled(false);
    timespec time = LoggerOperator::getTime();
    LoggerOperatorInterface::createNewFile(time);
    EXPECT_EQ(LoggerOperator::getInstance()->getNumFiles(), filesBefore);

    LoggerOperatorInterface::setEnabled(true);
    time.tv_sec += 1;
    EXPECT_TRUE(LoggerOperatorInterface::createNewFile(time));
    EXPECT_EQ(LoggerOperator::getInstance()->getNumFiles(), filesBefore + 1);
}

TEST_F(LoggerOperatorTest, FlushOfTheUncachedOperatorLogReportsTheDatabase)
{
    EXPECT_TRUE(LoggerOperatorInterface::flush());
}

// Right after the start of a fresh operator log its newest time is 0, so an item of 0 seconds
// and 5 nanoseconds is taken and begins the file's range. The next item at the current time
// lies some twenty thousand days after the file's first item: the day limit asks for a new file, whose
// creation stamp is the old end of the range, 0 seconds. A file is never begun at 0 seconds, so
// that item is refused, and the catalogue keeps its one file.
TEST_F(LoggerOperatorTest, AnItemAtZeroSecondsRightAfterTheStartIsKeptAndTheDayChangeAfterItRefusesTheNext)
{
    LoggerOperator* logger = LoggerOperator::getInstance();
    EXPECT_EQ(logger->getCurrentUtc().tv_sec, 0);
    EXPECT_EQ(logger->getCurrentUtc().tv_nsec, 0);
    const QString firstFile = currentDataFile(*logger);

    DataOperator early = defaultItem();
    early.utc.tv_nsec = 5;
    ASSERT_TRUE(LoggerOperatorInterface::logEvent(early));
    DataOperator stored{};
    ASSERT_TRUE(lastOperatorItem(stored));
    EXPECT_EQ(stored.utc.tv_sec, 0);
    EXPECT_EQ(stored.utc.tv_nsec, 5);

    DataOperator now = defaultItem();
    now.utc = LoggerOperator::getTime();
    EXPECT_FALSE(LoggerOperatorInterface::logEvent(now));
    EXPECT_TRUE(LogCapture::text().contains(QStringLiteral("createNewFile, : timeStamp == 0")))
        << LogCapture::text().toStdString();
    EXPECT_EQ(logger->getNumFiles(), 1);
    EXPECT_EQ(QFileInfo(firstFile).size(), LoggerBase::kHeaderSize + kOperatorBlockSize);
}

// FileInfoPersistance: the file-info rows of the catalogue, one table per kind of logger. The
// tests on the catalogue bring the writer's store up on a simulated card (WriterStore); each test
// runs in a process of its own.

#include "FileInfoPersistance.h"
#include "CatalogueMapping.h"
#include "Database.h"
#include "DatabaseExceptions.h"
#include "LogCapture.h"
#include "LoggerDb.h"
#include "LoggerFileInfoTypes.h"
#include "LoggerRetriedTransaction.h"
#include "TemporaryCatalogue.h"
#include "Transaction.h"
#include "WriterStore.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <typeinfo>

namespace {

const LoggerType kAllTypes[] = {LoggerType::NONE,    LoggerType::CYCLIC,  LoggerType::EVENT,
                                LoggerType::PQEVENT, LoggerType::DISTURB, LoggerType::OPERATOR};

// A file info with every column set to something that can be told apart.
void fillColumns(LoggerFileInfo& info, int seed)
{
    info.UtcCreated = DataTimespec{1763800000 + seed, 100 + seed};
    info.UtcStart = DataTimespec{1763800010 + seed, 200 + seed};
    info.UtcEnd = DataTimespec{1763800020 + seed, 300 + seed};
    info.DataType = LoggerDataType::MEAN;
    info.GuidLow = 0xF0000000u + static_cast<uint32_t>(seed);
    info.GuidHigh = 0x12345678u + static_cast<uint32_t>(seed);
    info.HeaderSize = 44;
    info.DataBlockSize = 16 + seed;
}

void expectSameColumns(const LoggerFileInfo& actual, const LoggerFileInfo& expected)
{
    EXPECT_EQ(actual.Id, expected.Id);
    EXPECT_EQ(actual.UtcCreated.tv_sec, expected.UtcCreated.tv_sec);
    EXPECT_EQ(actual.UtcCreated.tv_nsec, expected.UtcCreated.tv_nsec);
    EXPECT_EQ(actual.UtcStart.tv_sec, expected.UtcStart.tv_sec);
    EXPECT_EQ(actual.UtcStart.tv_nsec, expected.UtcStart.tv_nsec);
    EXPECT_EQ(actual.UtcEnd.tv_sec, expected.UtcEnd.tv_sec);
    EXPECT_EQ(actual.UtcEnd.tv_nsec, expected.UtcEnd.tv_nsec);
    EXPECT_EQ(actual.DataType, expected.DataType);
    EXPECT_EQ(actual.GuidLow, expected.GuidLow);
    EXPECT_EQ(actual.GuidHigh, expected.GuidHigh);
    EXPECT_EQ(actual.HeaderSize, expected.HeaderSize);
    EXPECT_EQ(actual.DataBlockSize, expected.DataBlockSize);
    EXPECT_EQ(actual.mType, expected.mType);
}

// --- without a catalogue

class FileInfoPersistanceObjectTest : public ::testing::Test {
protected:
    const bool mLogCaptured = LogCapture::install();
    FileInfoPersistance mPersistance;
};

TEST_F(FileInfoPersistanceObjectTest, CreateInstanceGivesTheClassOfEachType)
{
    EXPECT_EQ(typeid(*mPersistance.createInstance(LoggerType::NONE)), typeid(LoggerFileInfo));
    EXPECT_EQ(typeid(*mPersistance.createInstance(LoggerType::CYCLIC)), typeid(LoggerFileInfoMeasure));
    EXPECT_EQ(typeid(*mPersistance.createInstance(LoggerType::EVENT)), typeid(LoggerFileInfoEvent));
    EXPECT_EQ(typeid(*mPersistance.createInstance(LoggerType::PQEVENT)), typeid(LoggerFileInfoPqEvent));
    EXPECT_EQ(typeid(*mPersistance.createInstance(LoggerType::DISTURB)), typeid(LoggerFileInfoDisturb));
    EXPECT_EQ(typeid(*mPersistance.createInstance(LoggerType::OPERATOR)), typeid(LoggerFileInfoOperator));
    for (LoggerType type : kAllTypes)
        EXPECT_EQ(mPersistance.createInstance(type)->mType, type);
    EXPECT_EQ(mPersistance.createInstance(static_cast<LoggerType>(6)), nullptr);
}

TEST_F(FileInfoPersistanceObjectTest, NewInstanceSetsDataTypeAndType)
{
    for (LoggerType type : kAllTypes) {
        std::unique_ptr<LoggerFileInfo> info(mPersistance.newInstance(type, LoggerDataType::HARMONICS));
        ASSERT_NE(info, nullptr);
        EXPECT_EQ(info->mType, type);
        EXPECT_EQ(info->DataType, LoggerDataType::HARMONICS);
        EXPECT_EQ(info->Id, 0);
    }
    std::unique_ptr<LoggerFileInfo> event(mPersistance.newInstance(LoggerType::EVENT, LoggerDataType::EVENT));
    EXPECT_NE(dynamic_cast<LoggerFileInfoEvent*>(event.get()), nullptr);
}

// The child of a death test captures no log: it ends by abort, which would leave the capture's
// files behind.
TEST(FileInfoPersistanceDeathTest, NewInstanceOfATypeAboveOperatorStopsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    FileInfoPersistance persistance;
    EXPECT_DEATH(persistance.newInstance(static_cast<LoggerType>(6), LoggerDataType::MEAN),
                 "Assertion `false && \"Logger newInstance wrong type\"' failed");
}

TEST_F(FileInfoPersistanceObjectTest, CreateWrappersOwnTheGivenObject)
{
    auto* measure = new LoggerFileInfoMeasure();
    std::weak_ptr<LoggerFileInfo> watch;
    {
        auto owner = mPersistance.createMeasuredType(measure);
        EXPECT_EQ(owner.get(), measure);
        watch = owner;
    }
    EXPECT_TRUE(watch.expired());

    auto* event = new LoggerFileInfoEvent();
    EXPECT_EQ(mPersistance.createEventType(event).get(), event);
    auto* pqEvent = new LoggerFileInfoPqEvent();
    EXPECT_EQ(mPersistance.createPqEventType(pqEvent).get(), pqEvent);
    auto* disturb = new LoggerFileInfoDisturb();
    EXPECT_EQ(mPersistance.createDisturbType(disturb).get(), disturb);
    auto* operatorInfo = new LoggerFileInfoOperator();
    EXPECT_EQ(mPersistance.createOperatorType(operatorInfo).get(), operatorInfo);
    EXPECT_EQ(mPersistance.createMeasuredType(nullptr), nullptr);
}

TEST_F(FileInfoPersistanceObjectTest, GetEventTypeOfAMeasureFileIsEmpty)
{
    const auto measure = mPersistance.createInstance(LoggerType::CYCLIC);
    EXPECT_EQ(mPersistance.getEventType(measure), nullptr);
    EXPECT_EQ(mPersistance.getPqEventType(measure), nullptr);
    EXPECT_EQ(mPersistance.getDisturbType(measure), nullptr);
    EXPECT_EQ(mPersistance.getOperatorType(measure), nullptr);
    EXPECT_EQ(mPersistance.getMeasuredType(measure).get(), measure.get());
}

TEST_F(FileInfoPersistanceObjectTest, DowncastsOfEachClassAndOfNothing)
{
    EXPECT_NE(mPersistance.getEventType(mPersistance.createInstance(LoggerType::EVENT)), nullptr);
    EXPECT_NE(mPersistance.getPqEventType(mPersistance.createInstance(LoggerType::PQEVENT)), nullptr);
    EXPECT_NE(mPersistance.getDisturbType(mPersistance.createInstance(LoggerType::DISTURB)), nullptr);
    EXPECT_NE(mPersistance.getOperatorType(mPersistance.createInstance(LoggerType::OPERATOR)), nullptr);
    // The plain class is none of the five.
    EXPECT_EQ(mPersistance.getMeasuredType(mPersistance.createInstance(LoggerType::NONE)), nullptr);

    const std::shared_ptr<LoggerFileInfo> empty;
    EXPECT_EQ(mPersistance.getMeasuredType(empty), nullptr);
    EXPECT_EQ(mPersistance.getEventType(empty), nullptr);
    EXPECT_EQ(mPersistance.getPqEventType(empty), nullptr);
    EXPECT_EQ(mPersistance.getDisturbType(empty), nullptr);
    EXPECT_EQ(mPersistance.getOperatorType(empty), nullptr);
}

TEST_F(FileInfoPersistanceObjectTest, WithoutAnInitialisedDatabaseNothingIsReadOrWritten)
{
    LoggerDb& db = LoggerDb::getInstance();
    ASSERT_FALSE(db.isInitialized());
    db.getAndResetLastError();

    EXPECT_EQ(mPersistance.readFileInfo(LoggerType::CYCLIC, 1), nullptr);
    EXPECT_EQ(db.getAndResetLastError(), QStringLiteral("Database is not initialized"));

    const auto info = mPersistance.createInstance(LoggerType::CYCLIC);
    EXPECT_FALSE(mPersistance.persist(info));
    EXPECT_EQ(info->Id, 0);
    EXPECT_FALSE(mPersistance.update(info));
    EXPECT_FALSE(mPersistance.remove(info));
}

// --- on the writer's catalogue

class FileInfoPersistanceStoreTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        ASSERT_TRUE(LoggerDb::getInstance().isInitialized());
        LoggerDb::getInstance().getAndResetLastError();
    }

    // Rows of a table, counted on the store's own connection outside of any transaction.
    static long long rowCount(const char* table)
    {
        return queryNumber(*LoggerDb::getInstance().getDb(),
                           std::string("SELECT count(*) FROM \"") + table + "\"");
    }

    // Runs body in a retried transaction and gives its result.
    static bool inTransaction(const std::function<bool()>& body)
    {
        return retriedTransaction("FileInfoPersistanceTest", body);
    }

    // Before the store: logging is configured once per process, on first use.
    const bool mLogCaptured = LogCapture::install();
    WriterStore mStore;
    FileInfoPersistance mPersistance;
};

TEST_F(FileInfoPersistanceStoreTest, PersistTwiceOnOneObjectGivesTwoRowsAndTheSecondId)
{
    const auto info = mPersistance.createInstance(LoggerType::CYCLIC);
    fillColumns(*info, 1);
    int firstId = 0;
    ASSERT_TRUE(inTransaction([&] {
        const bool ok = mPersistance.persist(info);
        firstId = info->Id;
        return ok && mPersistance.persist(info);
    }));
    EXPECT_GT(firstId, 0);
    EXPECT_GT(info->Id, firstId);
    EXPECT_EQ(rowCount("LoggerFileInfoMeasure"), 2);

    std::shared_ptr<LoggerFileInfo> first;
    std::shared_ptr<LoggerFileInfo> second;
    ASSERT_TRUE(inTransaction([&] {
        first = mPersistance.readFileInfo(LoggerType::CYCLIC, firstId);
        second = mPersistance.readFileInfo(LoggerType::CYCLIC, info->Id);
        return true;
    }));
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(first->Id, firstId);
    LoggerFileInfoMeasure expected;
    fillColumns(expected, 1);
    expected.Id = info->Id;
    expectSameColumns(*second, expected);
}

TEST_F(FileInfoPersistanceStoreTest, EachTypeGoesToTheTableOfItsMType)
{
    const char* tables[] = {"LoggerFileInfo",        "LoggerFileInfoMeasure", "LoggerFileInfoEvent",
                            "LoggerFileInfoPqEvent", "LoggerFileInfoDisturb", "LoggerFileInfoOperator"};
    int seed = 0;
    for (LoggerType type : kAllTypes) {
        const auto info = mPersistance.createInstance(type);
        fillColumns(*info, ++seed);
        ASSERT_TRUE(inTransaction([&] { return mPersistance.persist(info); }));
        for (int t = 0; t < 6; ++t)
            EXPECT_EQ(rowCount(tables[t]), t <= static_cast<int>(type) ? 1 : 0) << tables[t];

        std::shared_ptr<LoggerFileInfo> read;
        ASSERT_TRUE(inTransaction([&] {
            read = mPersistance.readFileInfo(type, info->Id);
            return true;
        }));
        ASSERT_NE(read, nullptr);
        EXPECT_EQ(typeid(*read), typeid(*info));
        expectSameColumns(*read, *info);
    }
}

TEST_F(FileInfoPersistanceStoreTest, AnObjectOfAnotherClassThanItsMTypeLeavesTheCatalogueAlone)
{
    auto info = std::make_shared<LoggerFileInfoEvent>();
    fillColumns(*info, 3);
    info->mType = LoggerType::CYCLIC;
    ASSERT_FALSE(inTransaction([&] { return mPersistance.persist(info); }));
    EXPECT_EQ(info->Id, 0);
    EXPECT_EQ(rowCount("LoggerFileInfoMeasure"), 0);
    EXPECT_EQ(rowCount("LoggerFileInfoEvent"), 0);
    EXPECT_TRUE(LoggerDb::getInstance().getLastError().isEmpty()) << "no exception, no error";
}

TEST_F(FileInfoPersistanceStoreTest, ReadFileInfoOfAnIdWithoutRowIsEmpty)
{
    std::shared_ptr<LoggerFileInfo> read = mPersistance.createInstance(LoggerType::NONE);
    ASSERT_TRUE(inTransaction([&] {
        read = mPersistance.readFileInfo(LoggerType::DISTURB, 4711);
        return true;
    }));
    EXPECT_EQ(read, nullptr);
}

TEST_F(FileInfoPersistanceStoreTest, UpdateWritesEveryColumnOfTheRow)
{
    const auto info = mPersistance.createInstance(LoggerType::PQEVENT);
    fillColumns(*info, 5);
    ASSERT_TRUE(inTransaction([&] { return mPersistance.persist(info); }));
    const int id = info->Id;
    fillColumns(*info, 9);
    info->DataType = LoggerDataType::PQEVENT;
    ASSERT_TRUE(inTransaction([&] { return mPersistance.update(info); }));
    EXPECT_EQ(info->Id, id);
    EXPECT_EQ(rowCount("LoggerFileInfoPqEvent"), 1);

    std::shared_ptr<LoggerFileInfo> read;
    ASSERT_TRUE(inTransaction([&] {
        read = mPersistance.readFileInfo(LoggerType::PQEVENT, id);
        return true;
    }));
    ASSERT_NE(read, nullptr);
    expectSameColumns(*read, *info);
}

TEST_F(FileInfoPersistanceStoreTest, UpdateOfAnIdThatNoRowHasFailsAsNotPersistent)
{
    const auto info = mPersistance.createInstance(LoggerType::CYCLIC);
    fillColumns(*info, 2);
    info->Id = 4711;
    EXPECT_FALSE(retriedTransaction("updateMissing", [&] { return mPersistance.update(info); }));
    const QString error = LoggerDb::getInstance().getLastError();
    EXPECT_TRUE(error.endsWith(QStringLiteral("updateMissing object not persistent"))) << error.toStdString();
    EXPECT_EQ(rowCount("LoggerFileInfoMeasure"), 0);
}

TEST_F(FileInfoPersistanceStoreTest, ExceptionsOfTheCataloguePassToTheCaller)
{
    const auto info = mPersistance.createInstance(LoggerType::OPERATOR);
    info->Id = 4711;
    auto database = LoggerDb::getInstance().getDb();
    ASSERT_NE(database, nullptr);
    qzdb::Transaction transaction(*database);
    EXPECT_THROW(mPersistance.update(info), qzdb::ObjectNotPersistent);
    EXPECT_THROW(mPersistance.remove(info), qzdb::ObjectNotPersistent);
    transaction.rollback();
}

TEST_F(FileInfoPersistanceStoreTest, RemoveDeletesTheRowOfTheId)
{
    const auto kept = mPersistance.createInstance(LoggerType::EVENT);
    const auto removed = mPersistance.createInstance(LoggerType::EVENT);
    fillColumns(*kept, 1);
    fillColumns(*removed, 2);
    ASSERT_TRUE(inTransaction([&] { return mPersistance.persist(kept) && mPersistance.persist(removed); }));
    ASSERT_EQ(rowCount("LoggerFileInfoEvent"), 2);

    ASSERT_TRUE(inTransaction([&] { return mPersistance.remove(removed); }));
    EXPECT_EQ(rowCount("LoggerFileInfoEvent"), 1);
    std::shared_ptr<LoggerFileInfo> readKept;
    std::shared_ptr<LoggerFileInfo> readRemoved;
    ASSERT_TRUE(inTransaction([&] {
        readKept = mPersistance.readFileInfo(LoggerType::EVENT, kept->Id);
        readRemoved = mPersistance.readFileInfo(LoggerType::EVENT, removed->Id);
        return true;
    }));
    EXPECT_NE(readKept, nullptr);
    EXPECT_EQ(readRemoved, nullptr);

    // A second removal finds no row.
    EXPECT_FALSE(retriedTransaction("removeAgain", [&] { return mPersistance.remove(removed); }));
    EXPECT_TRUE(
        LoggerDb::getInstance().getLastError().endsWith(QStringLiteral("removeAgain object not persistent")));
}

} // namespace

// DefnTypePersistance: the type rows of the catalogue, and the files on the card kept in step
// with them. The tests on the catalogue bring the writer's store up on a simulated card
// (WriterStore); each test runs in a process of its own.

#include "DefnTypePersistance.h"
#include "Database.h"
#include "DefnDisturbType.h"
#include "DefnEventType.h"
#include "DefnMeasureType.h"
#include "DefnOperatorType.h"
#include "DefnPqEventType.h"
#include "FileFaults.h"
#include "FileInfoPersistance.h"
#include "LogCapture.h"
#include "LoggerDb.h"
#include "LoggerEntityChanged.h"
#include "LoggerFileInfoTypes.h"
#include "LoggerFileSystem.h"
#include "LoggerRetriedTransaction.h"
#include "TemporaryCatalogue.h"
#include "WriterStore.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

namespace {

constexpr int kBlockSize = 16;
constexpr int32_t kFirstCreated = 1763802000; // 2025-11-22, in the middle of a day in any zone

DataTimespec at(int32_t seconds, int32_t nanoseconds = 0)
{
    return DataTimespec{seconds, nanoseconds};
}

timespec utc(int32_t seconds)
{
    return at(seconds);
}

std::shared_ptr<LoggerFileInfo> fileWith(LoggerType type, DataTimespec created, DataTimespec start,
                                         DataTimespec end)
{
    auto info = FileInfoPersistance().createInstance(type);
    info->UtcCreated = created;
    info->UtcStart = start;
    info->UtcEnd = end;
    return info;
}

// --- without a catalogue

// The programming errors that stop the process, in every build. The child of a death test
// captures no log: it ends by abort, which would leave the capture's files behind.
TEST(DefnTypePersistanceDeathTest, PersistOfNullStopsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    DefnTypePersistance defn;
    EXPECT_DEATH(defn.persist(nullptr), "Assertion `false && \"Logger persist nullptr\"' failed");
}

TEST(DefnTypePersistanceDeathTest, UpdateOfNullStopsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    DefnTypePersistance defn;
    EXPECT_DEATH(defn.update(nullptr), "Assertion `false && \"Logger update nullptr\"' failed");
}

TEST(DefnTypePersistanceDeathTest, RemoveOfNullStopsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    DefnTypePersistance defn;
    EXPECT_DEATH(defn.remove(nullptr), "Assertion `false && \"Logger remove nullptr\"' failed");
}

class DefnTypePersistanceObjectTest : public ::testing::Test {
protected:
    const bool mLogCaptured = LogCapture::install();
    DefnTypePersistance mDefn;
};

TEST_F(DefnTypePersistanceObjectTest, LogsInItsOwnCategory)
{
    EXPECT_EQ(mDefn.getTrackCategory(), QStringLiteral("Logger.Persist"));
}

TEST_F(DefnTypePersistanceObjectTest, CreateGivesTheClassOfEachType)
{
    EXPECT_EQ(typeid(*mDefn.createMeasuredType()), typeid(DefnMeasureType));
    EXPECT_EQ(typeid(*mDefn.createEventType()), typeid(DefnEventType));
    EXPECT_EQ(typeid(*mDefn.createPqEventType()), typeid(DefnPqEventType));
    EXPECT_EQ(typeid(*mDefn.createDisturbType()), typeid(DefnDisturbType));
    EXPECT_EQ(typeid(*mDefn.createOperatorType()), typeid(DefnOperatorType));
    EXPECT_EQ(typeid(*mDefn.createInstance(LoggerType::NONE)), typeid(DefnBaseType));
    EXPECT_EQ(typeid(*mDefn.createInstance(LoggerType::CYCLIC)), typeid(DefnMeasureType));
    EXPECT_EQ(typeid(*mDefn.createInstance(LoggerType::EVENT)), typeid(DefnEventType));
    EXPECT_EQ(typeid(*mDefn.createInstance(LoggerType::PQEVENT)), typeid(DefnPqEventType));
    EXPECT_EQ(typeid(*mDefn.createInstance(LoggerType::DISTURB)), typeid(DefnDisturbType));
    EXPECT_EQ(typeid(*mDefn.createInstance(LoggerType::OPERATOR)), typeid(DefnOperatorType));
    EXPECT_EQ(mDefn.createInstance(LoggerType::OPERATOR)->mType, LoggerType::OPERATOR);
    EXPECT_EQ(mDefn.createInstance(static_cast<LoggerType>(6)), nullptr);
}

TEST_F(DefnTypePersistanceObjectTest, DowncastsAnswerOnlyTheirOwnClass)
{
    const auto measure = mDefn.createMeasuredType();
    EXPECT_EQ(mDefn.getMeasuredType(measure).get(), measure.get());
    EXPECT_EQ(mDefn.getEventType(measure), nullptr);
    EXPECT_EQ(mDefn.getPqEventType(measure), nullptr);
    EXPECT_EQ(mDefn.getDisturbType(measure), nullptr);
    EXPECT_EQ(mDefn.getOperatorType(measure), nullptr);
    EXPECT_NE(mDefn.getEventType(mDefn.createEventType()), nullptr);
    EXPECT_NE(mDefn.getPqEventType(mDefn.createPqEventType()), nullptr);
    EXPECT_NE(mDefn.getDisturbType(mDefn.createDisturbType()), nullptr);
    EXPECT_NE(mDefn.getOperatorType(mDefn.createOperatorType()), nullptr);
    EXPECT_EQ(mDefn.getMeasuredType(nullptr), nullptr);
    EXPECT_EQ(mDefn.getEventType(nullptr), nullptr);
}

TEST_F(DefnTypePersistanceObjectTest, DataMeasTypeFollowsTheClass)
{
    auto measure = mDefn.getMeasuredType(mDefn.createMeasuredType());
    measure->MeasType.configId = QStringLiteral("mean_3s.signal_3s.out.mean_out");
    measure->MeasType.unit = 7;
    measure->MeasType.interval = 3.0;
    const DataMeasType measured = mDefn.getDataMeasType(measure);
    EXPECT_EQ(measured.configId, QStringLiteral("mean_3s.signal_3s.out.mean_out"));
    EXPECT_EQ(measured.unit, 7);
    EXPECT_EQ(measured.interval, 3.0);

    auto event = mDefn.getEventType(mDefn.createEventType());
    event->ConfigId = QStringLiteral("alarms");
    const DataMeasType forEvent = mDefn.getDataMeasType(event);
    EXPECT_EQ(forEvent.configId, QStringLiteral("alarms"));
    EXPECT_EQ(forEvent.unit, DataMeasType().unit);
    EXPECT_EQ(forEvent.interval, 0.0);

    auto pqEvent = mDefn.getPqEventType(mDefn.createPqEventType());
    pqEvent->ConfigId = QStringLiteral("pq");
    EXPECT_EQ(mDefn.getDataMeasType(pqEvent).configId, QStringLiteral("pq"));
    auto disturb = mDefn.getDisturbType(mDefn.createDisturbType());
    disturb->ConfigId = QStringLiteral("fault");
    EXPECT_EQ(mDefn.getDataMeasType(disturb).configId, QStringLiteral("fault"));
    EXPECT_EQ(mDefn.getDataMeasType(mDefn.createOperatorType()).configId, QStringLiteral("operator"));

    EXPECT_TRUE(mDefn.getDataMeasType(mDefn.createInstance(LoggerType::NONE)).configId.isEmpty());
    EXPECT_TRUE(mDefn.getDataMeasType(nullptr).configId.isEmpty());
    // A type outside 1 to 5 gives the default, even for a class that has an identification.
    event->mType = static_cast<LoggerType>(9);
    EXPECT_TRUE(mDefn.getDataMeasType(event).configId.isEmpty());
}

TEST_F(DefnTypePersistanceObjectTest, StartAndEndTimeSpanTheFiles)
{
    auto type = mDefn.createMeasuredType();
    EXPECT_EQ(mDefn.getStartTime(type).tv_sec, 0);
    EXPECT_EQ(mDefn.getEndTime(type).tv_sec, 0);
    EXPECT_EQ(mDefn.getStartTime(nullptr).tv_sec, 0);

    type->AppendFileInfo(fileWith(LoggerType::CYCLIC, at(100), at(200, 5), at(300, 1)));
    type->AppendFileInfo(fileWith(LoggerType::CYCLIC, at(50), at(200, 4), at(300, 2)));
    type->AppendFileInfo(fileWith(LoggerType::CYCLIC, at(400), at(250), at(290)));
    const timespec start = mDefn.getStartTime(type);
    const timespec end = mDefn.getEndTime(type);
    EXPECT_EQ(start.tv_sec, 200);
    EXPECT_EQ(start.tv_nsec, 4);
    EXPECT_EQ(end.tv_sec, 300);
    EXPECT_EQ(end.tv_nsec, 2);
}

TEST_F(DefnTypePersistanceObjectTest, FileInfoAndNewestFileInfo)
{
    auto type = mDefn.createEventType();
    const auto first = fileWith(LoggerType::EVENT, at(100), at(0), at(0));
    const auto newest = fileWith(LoggerType::EVENT, at(300, 2), at(0), at(0));
    const auto older = fileWith(LoggerType::EVENT, at(300, 1), at(0), at(0));
    type->AppendFileInfo(first);
    type->AppendFileInfo(newest);
    type->AppendFileInfo(older);
    EXPECT_EQ(mDefn.getFileInfo(type, 0), first);
    EXPECT_EQ(mDefn.getFileInfo(type, 2), older);
    EXPECT_EQ(mDefn.getFileInfo(type, 3), nullptr);
    EXPECT_EQ(mDefn.getFileInfo(type, -1), nullptr);
    EXPECT_EQ(mDefn.getFileInfo(nullptr, 0), nullptr);

    EXPECT_EQ(mDefn.getNewestFileInfo(type, nullptr), newest);
    EXPECT_EQ(mDefn.getNewestFileInfo(type, first), newest);
    const auto later = fileWith(LoggerType::EVENT, at(500), at(0), at(0));
    EXPECT_EQ(mDefn.getNewestFileInfo(type, later), later);
    EXPECT_EQ(mDefn.getNewestFileInfo(nullptr, later), later);
    EXPECT_EQ(mDefn.getNewestFileInfo(mDefn.createEventType(), nullptr), nullptr);
}

TEST_F(DefnTypePersistanceObjectTest, AddEventStringWithATextThatExistsAppendsNothing)
{
    auto event = mDefn.getEventType(mDefn.createEventType());
    event->addEventString("Spannung zu hoch");
    event->addEventString("Spannung zu niedrig");
    event->addEventString("Spannung zu hoch");
    EXPECT_EQ(event->EventStrings.size(), 2u);
    EXPECT_EQ(event->getEventStrings(),
              (std::vector<std::string>{"Spannung zu hoch", "Spannung zu niedrig"}));

    // Length and bytes count: a text with a trailing NUL, or a prefix, is another text.
    event->addEventString(std::string("Spannung zu hoch\0", 17));
    event->addEventString("Spannung");
    event->addEventString("");
    event->addEventString("");
    ASSERT_EQ(event->EventStrings.size(), 5u);
    EXPECT_EQ(event->getEventStrings()[2].size(), 17u);
    EXPECT_EQ(event->getEventStrings()[4], "");
    for (const auto& text : event->EventStrings)
        EXPECT_EQ(text->Id, 0) << "a new text has no row yet";
}

TEST_F(DefnTypePersistanceObjectTest, WithoutAnInitialisedDatabaseNothingIsReadOrRemoved)
{
    ASSERT_FALSE(LoggerDb::getInstance().isInitialized());
    EXPECT_EQ(mDefn.readBaseType(LoggerType::CYCLIC, 1), nullptr);
    EXPECT_TRUE(mDefn.readBaseTypes(LoggerType::CYCLIC, LoggerDataType::MEAN, QString(), true).empty());
    EXPECT_TRUE(mDefn.readPtrBaseTypes(LoggerType::CYCLIC, LoggerDataType::MEAN, QString()).empty());
    EXPECT_TRUE(mDefn.readIds(LoggerType::CYCLIC, LoggerDataType::MEAN).empty());

    auto type = mDefn.createMeasuredType();
    type->AppendFileInfo(fileWith(LoggerType::CYCLIC, at(100), at(0), at(0)));
    EXPECT_FALSE(mDefn.readCurrentBaseType(type));
    EXPECT_FALSE(mDefn.removeFile(type, 0, nullptr));
    EXPECT_FALSE(mDefn.removeFileInfo(type, 0, nullptr));
    EXPECT_FALSE(mDefn.removeNonExistingFileInfos(type));
    EXPECT_EQ(type->getFileListSize(), 1);
}

// --- on the writer's catalogue

class DefnTypePersistanceStoreTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mLogCaptured);
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        ASSERT_TRUE(LoggerDb::getInstance().isInitialized());
        LoggerDb::getInstance().getAndResetLastError();
        mLogMark = LogCapture::lines().size();
    }

    static long long number(const std::string& sql)
    {
        return queryNumber(*LoggerDb::getInstance().getDb(), sql);
    }
    static long long rowCount(const std::string& table)
    {
        return number("SELECT count(*) FROM \"" + table + "\"");
    }
    static long long measureLinks(int typeId)
    {
        return number("SELECT count(*) FROM \"DefnMeasureType_FileInfos\" WHERE \"measure_id\"=" +
                      std::to_string(typeId));
    }
    static long long measureLinkTo(int typeId, int fileId)
    {
        return number("SELECT count(*) FROM \"DefnMeasureType_FileInfos\" WHERE \"measure_id\"=" +
                      std::to_string(typeId) + " AND \"file_info_id\"=" + std::to_string(fileId));
    }

    static bool inTransaction(const std::function<bool()>& body)
    {
        return retriedTransaction("DefnTypePersistanceTest", body);
    }

    // A measure type stored in the catalogue, without files.
    std::shared_ptr<DefnBaseType> storedMeasureType(const QString& configId,
                                                    LoggerDataType dataType = LoggerDataType::MEAN)
    {
        auto type = mDefn.createMeasuredType();
        type->mDataType = dataType;
        type->UtcStart = at(kFirstCreated);
        mDefn.getMeasuredType(type)->MeasType.configId = configId;
        mDefn.getMeasuredType(type)->MeasType.interval = 3.0;
        int id = -1;
        EXPECT_TRUE(inTransaction([&] {
            id = mDefn.persist(type);
            return id > 0;
        }));
        EXPECT_EQ(id, type->Id);
        return type;
    }

    static std::shared_ptr<LoggerFileInfo> newFileInfo(LoggerType type, LoggerDataType dataType,
                                                       int32_t created)
    {
        auto info = FileInfoPersistance().createInstance(type);
        LoggerFileSystem::initFileInfo(utc(created), type, dataType, kBlockSize, info.get());
        return info;
    }

    // A new file of the type, created and catalogued by createNewFile.
    std::shared_ptr<LoggerFileInfo> addFile(std::shared_ptr<DefnBaseType>& type, int32_t created,
                                            int previousFileIndex = -1)
    {
        auto info = newFileInfo(type->mType, type->mDataType, created);
        QFile file;
        if (!mDefn.createNewFile(utc(created), type, info, file, 0x1234, 0, previousFileIndex, 1.5f, 2.5f))
            return nullptr;
        return info;
    }

    std::shared_ptr<DefnBaseType> reload(const std::shared_ptr<DefnBaseType>& type)
    {
        std::shared_ptr<DefnBaseType> read;
        EXPECT_TRUE(inTransaction([&] {
            read = mDefn.readBaseType(type->mType, type->Id);
            return true;
        }));
        return read;
    }

    std::shared_ptr<LoggerFileInfo> fileRow(LoggerType type, int id)
    {
        std::shared_ptr<LoggerFileInfo> read;
        EXPECT_TRUE(inTransaction([&] {
            read = FileInfoPersistance().readFileInfo(type, id);
            return true;
        }));
        return read;
    }

    static bool onDisk(const std::shared_ptr<LoggerFileInfo>& info)
    {
        return QFileInfo::exists(LoggerFileSystem::getFullFileName(info.get()));
    }

    // The log lines of this test, after the store came up.
    QStringList linesOfTest() const { return LogCapture::lines().mid(mLogMark); }
    // Lines with this message, whatever category and level.
    int countMessage(const QString& message) const
    {
        int count = 0;
        for (const QString& line : linesOfTest()) {
            if (line.section(QLatin1Char('|'), 2) == message)
                ++count;
        }
        return count;
    }
    bool logged(const char* message) const { return countMessage(QString::fromUtf8(message)) > 0; }
    bool loggedLine(const char* category, const char* level, const char* message) const
    {
        return linesOfTest().contains(QString::fromUtf8(category) + QLatin1Char('|') +
                                      QString::fromUtf8(level) + QLatin1Char('|') +
                                      QString::fromUtf8(message));
    }
    bool loggedFatal(const char* message) const { return loggedLine("Logger.Db", "FATAL", message); }
    std::string logText() const { return linesOfTest().join(QLatin1Char('\n')).toStdString(); }

    // Before any member that logs: the store configures logging once per process.
    const bool mLogCaptured = LogCapture::install();
    WriterStore mStore;
    DefnTypePersistance mDefn;
    int mLogMark = 0;
};

TEST_F(DefnTypePersistanceStoreTest, EachTypeIsStoredInItsTableAndReadBackAsItsClass)
{
    const char* tables[] = {"DefnBaseType",    "DefnMeasureType", "DefnEventType",
                            "DefnPqEventType", "DefnDisturbType", "DefnOperatorType"};
    for (int value = 0; value <= 5; ++value) {
        const auto loggerType = static_cast<LoggerType>(value);
        auto type = mDefn.createInstance(loggerType);
        type->mDataType = LoggerDataType::MEAN;
        type->UtcStart = at(kFirstCreated + value, value);
        int id = -1;
        ASSERT_TRUE(inTransaction([&] {
            id = mDefn.persist(type);
            return true;
        }));
        EXPECT_GT(id, 0);
        EXPECT_EQ(rowCount(tables[value]), 1) << tables[value];

        const auto read = reload(type);
        ASSERT_NE(read, nullptr);
        EXPECT_EQ(typeid(*read), typeid(*type));
        EXPECT_EQ(read->Id, id);
        EXPECT_EQ(read->mType, loggerType);
        EXPECT_EQ(read->UtcStart.tv_sec, kFirstCreated + value);
        EXPECT_EQ(read->UtcStart.tv_nsec, value);
    }
    EXPECT_EQ(mDefn.readBaseType(LoggerType::CYCLIC, 4711), nullptr);
}

TEST_F(DefnTypePersistanceStoreTest, PersistAndUpdateOutsideATransactionRunInOneOfTheirOwn)
{
    auto type = mDefn.createDisturbType();
    mDefn.getDisturbType(type)->ConfigId = QStringLiteral("fault");
    type->mDataType = LoggerDataType::DISTURB;
    const int id = mDefn.persist(type);
    EXPECT_GT(id, 0);
    mDefn.getDisturbType(type)->ConfigId = QStringLiteral("fault.renamed");
    EXPECT_TRUE(mDefn.update(type));
    const auto read = mDefn.getDisturbType(mDefn.readBaseType(LoggerType::DISTURB, id));
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read->ConfigId, QStringLiteral("fault.renamed"));
    EXPECT_TRUE(mDefn.remove(type));
    EXPECT_EQ(mDefn.readBaseType(LoggerType::DISTURB, id), nullptr);
    // Nothing left to remove: the catalogue's failure ends in the frame.
    EXPECT_FALSE(mDefn.remove(type));
}

TEST_F(DefnTypePersistanceStoreTest, EventStringsAreStoredBeforeTheirEventType)
{
    auto type = mDefn.createEventType();
    auto event = mDefn.getEventType(type);
    event->ConfigId = QStringLiteral("alarms");
    event->mDataType = LoggerDataType::EVENT;
    event->addEventString("Spannung zu hoch");
    event->addEventString("Frequenz");
    ASSERT_TRUE(inTransaction([&] { return mDefn.persist(type) > 0; }));
    EXPECT_EQ(rowCount("DefnEventString"), 2);
    EXPECT_GT(event->EventStrings[0]->Id, 0);
    EXPECT_GT(event->EventStrings[1]->Id, event->EventStrings[0]->Id);

    const auto read = mDefn.getEventType(reload(type));
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read->getEventStrings(), (std::vector<std::string>{"Spannung zu hoch", "Frequenz"}));
    EXPECT_EQ(read->EventStrings[1]->Id, event->EventStrings[1]->Id);

    // A text that exists appends nothing; a new one gets its row at the update.
    read->addEventString("Frequenz");
    read->addEventString("Oberschwingung");
    const std::shared_ptr<DefnBaseType> readType = read;
    ASSERT_TRUE(inTransaction([&] { return mDefn.update(readType); }));
    EXPECT_EQ(rowCount("DefnEventString"), 3);
    EXPECT_GT(read->EventStrings[2]->Id, 0);
    const auto again = mDefn.getEventType(reload(type));
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(again->getEventStrings(),
              (std::vector<std::string>{"Spannung zu hoch", "Frequenz", "Oberschwingung"}));
}

TEST_F(DefnTypePersistanceStoreTest, UpdateAfterAppendOrRemoveIsWhatChangesTheLinks)
{
    auto type = storedMeasureType(QStringLiteral("u.rms"));
    FileInfoPersistance files;
    const auto first = newFileInfo(LoggerType::CYCLIC, LoggerDataType::MEAN, kFirstCreated);
    const auto second = newFileInfo(LoggerType::CYCLIC, LoggerDataType::MEAN, kFirstCreated + 60);
    ASSERT_TRUE(inTransaction([&] { return files.persist(first) && files.persist(second); }));

    type->AppendFileInfo(first);
    type->AppendFileInfo(second);
    EXPECT_EQ(measureLinks(type->Id), 0) << "no link before the update";
    ASSERT_TRUE(inTransaction([&] { return mDefn.update(type); }));
    EXPECT_EQ(measureLinks(type->Id), 2);

    type->removeFileInfo(0);
    EXPECT_EQ(measureLinks(type->Id), 2);
    ASSERT_TRUE(inTransaction([&] { return mDefn.update(type); }));
    EXPECT_EQ(measureLinks(type->Id), 1);
    EXPECT_EQ(measureLinkTo(type->Id, second->Id), 1);
    EXPECT_EQ(rowCount("LoggerFileInfoMeasure"), 2) << "the file row itself stays";
}

TEST_F(DefnTypePersistanceStoreTest, RemoveTakesTheTypeAndItsLinksAndLeavesItsFiles)
{
    auto type = storedMeasureType(QStringLiteral("u.rms"));
    ASSERT_NE(addFile(type, kFirstCreated), nullptr);
    ASSERT_EQ(measureLinks(type->Id), 1);
    ASSERT_TRUE(inTransaction([&] { return mDefn.remove(type); }));
    EXPECT_EQ(rowCount("DefnMeasureType"), 0);
    EXPECT_EQ(measureLinks(type->Id), 0);
    EXPECT_EQ(rowCount("LoggerFileInfoMeasure"), 1);
}

TEST_F(DefnTypePersistanceStoreTest, TypedReadsFilterByDataTypeAndIdentification)
{
    const auto meanA = storedMeasureType(QStringLiteral("a"));
    const auto meanB = storedMeasureType(QStringLiteral("b"));
    const auto harmonicsA = storedMeasureType(QStringLiteral("a"), LoggerDataType::HARMONICS);
    const auto meanAAgain = storedMeasureType(QStringLiteral("a"));

    auto ids = [](const std::vector<DefnBaseType>& types) {
        std::vector<int> result;
        for (const auto& type : types)
            result.push_back(type.Id);
        return result;
    };
    const auto both =
        mDefn.readBaseTypes(LoggerType::CYCLIC, LoggerDataType::MEAN, QStringLiteral("a"), true);
    EXPECT_EQ(ids(both), (std::vector<int>{meanA->Id, meanAAgain->Id}));
    ASSERT_EQ(both.size(), 2u);
    EXPECT_EQ(both[0].mType, LoggerType::CYCLIC);
    EXPECT_EQ(both[0].mDataType, LoggerDataType::MEAN);
    EXPECT_EQ(both[0].UtcStart.tv_sec, kFirstCreated);

    EXPECT_EQ(ids(mDefn.readBaseTypes(LoggerType::CYCLIC, LoggerDataType::NONE, QStringLiteral("a"), false)),
              (std::vector<int>{meanA->Id, harmonicsA->Id, meanAAgain->Id}));
    EXPECT_EQ(ids(mDefn.readBaseTypes(LoggerType::CYCLIC, LoggerDataType::MEAN, QString(), true)),
              (std::vector<int>{meanA->Id, meanB->Id, meanAAgain->Id}));
    EXPECT_TRUE(
        mDefn.readBaseTypes(LoggerType::CYCLIC, LoggerDataType::MEAN, QStringLiteral("c"), true).empty());
    EXPECT_TRUE(
        mDefn.readBaseTypes(LoggerType::EVENT, LoggerDataType::MEAN, QStringLiteral("a"), true).empty());

    const auto pointers = mDefn.readPtrBaseTypes(LoggerType::CYCLIC, LoggerDataType::HARMONICS, QString());
    ASSERT_EQ(pointers.size(), 1u);
    ASSERT_NE(mDefn.getMeasuredType(pointers[0]), nullptr);
    EXPECT_EQ(pointers[0]->getConfigId(), QStringLiteral("a"));
    EXPECT_EQ(pointers[0]->getInterval(), 3.0);

    EXPECT_EQ(mDefn.readIds(LoggerType::CYCLIC, LoggerDataType::MEAN),
              (std::vector<QString>{QStringLiteral("a"), QStringLiteral("b")}));
    EXPECT_TRUE(mDefn.readIds(LoggerType::NONE, LoggerDataType::MEAN).empty());

    int complexCount = -1;
    int meanCount = -1;
    std::vector<DefnMeasureType> byValue;
    ASSERT_TRUE(inTransaction([&] {
        complexCount = DefnMeasureType::countMeasuredTypes(LoggerDataType::COMPLEX);
        meanCount = DefnMeasureType::countMeasuredTypes(LoggerDataType::MEAN);
        byValue = DefnMeasureType::readMeasuredTypes(LoggerDataType::MEAN, QStringLiteral("b"));
        // Joins the transaction that this thread holds.
        return mDefn.readBaseTypes(LoggerType::CYCLIC, LoggerDataType::MEAN, QString(), false).size() == 3;
    }));
    EXPECT_EQ(complexCount, 0);
    EXPECT_EQ(meanCount, 3);
    ASSERT_EQ(byValue.size(), 1u);
    EXPECT_EQ(byValue[0].MeasType.configId, QStringLiteral("b"));
}

TEST_F(DefnTypePersistanceStoreTest, TypedReadsOfTheOtherClasses)
{
    auto store = [&](std::shared_ptr<DefnBaseType> type, LoggerDataType dataType) {
        type->mDataType = dataType;
        EXPECT_TRUE(inTransaction([&] { return mDefn.persist(type) > 0; }));
        return type;
    };
    auto event = mDefn.createEventType();
    mDefn.getEventType(event)->ConfigId = QStringLiteral("alarms");
    store(event, LoggerDataType::EVENT);
    auto pqEvent = mDefn.createPqEventType();
    mDefn.getPqEventType(pqEvent)->ConfigId = QStringLiteral("pq");
    store(pqEvent, LoggerDataType::PQEVENT);
    auto disturb = mDefn.createDisturbType();
    mDefn.getDisturbType(disturb)->ConfigId = QStringLiteral("fault");
    store(disturb, LoggerDataType::DISTURB);
    auto operatorType = store(mDefn.createOperatorType(), LoggerDataType::OPERATOR);

    EXPECT_EQ(mDefn.readIds(LoggerType::EVENT, LoggerDataType::EVENT),
              (std::vector<QString>{QStringLiteral("alarms")}));
    EXPECT_EQ(mDefn.readIds(LoggerType::PQEVENT, LoggerDataType::PQEVENT),
              (std::vector<QString>{QStringLiteral("pq")}));
    EXPECT_EQ(mDefn.readIds(LoggerType::DISTURB, LoggerDataType::DISTURB),
              (std::vector<QString>{QStringLiteral("fault")}));
    EXPECT_EQ(mDefn.readIds(LoggerType::OPERATOR, LoggerDataType::OPERATOR),
              (std::vector<QString>{QStringLiteral("operator")}));

    // The operator log is found by the identification its loggers use, or by none.
    const auto operators =
        mDefn.readPtrBaseTypes(LoggerType::OPERATOR, LoggerDataType::OPERATOR, QStringLiteral("operator"));
    ASSERT_EQ(operators.size(), 1u);
    EXPECT_EQ(operators[0]->Id, operatorType->Id);
    EXPECT_EQ(mDefn.readPtrBaseTypes(LoggerType::OPERATOR, LoggerDataType::NONE, QString()).size(), 1u);

    ASSERT_TRUE(inTransaction([&] {
        EXPECT_EQ(DefnEventType::readPtrEventTypes(LoggerDataType::EVENT, QStringLiteral("alarms")).size(),
                  1u);
        EXPECT_EQ(DefnEventType::readEventTypes(LoggerDataType::PQEVENT).size(), 0u);
        EXPECT_EQ(DefnPqEventType::readPqEventTypes(LoggerDataType::PQEVENT, QStringLiteral("pq")).size(),
                  1u);
        EXPECT_EQ(DefnPqEventType::readPtrPqEventTypes(LoggerDataType::PQEVENT).size(), 1u);
        EXPECT_EQ(DefnDisturbType::readDisturbTypes(LoggerDataType::DISTURB).size(), 1u);
        EXPECT_EQ(DefnDisturbType::readPtrDisturbTypes(LoggerDataType::DISTURB, QStringLiteral("x")).size(),
                  0u);
        EXPECT_EQ(DefnOperatorType::readOperatorTypes(LoggerDataType::OPERATOR).size(), 1u);
        EXPECT_EQ(DefnOperatorType::readPtrOperatorTypes(LoggerDataType::MEAN).size(), 0u);
        EXPECT_EQ(DefnOperatorType::readIds(), (std::vector<QString>{QStringLiteral("operator")}));
        return true;
    }));
}

TEST_F(DefnTypePersistanceStoreTest, ReadCurrentBaseTypeReplacesTheCallersPointer)
{
    auto type = storedMeasureType(QStringLiteral("u.rms"));
    ASSERT_NE(addFile(type, kFirstCreated), nullptr);
    auto held = type;
    held->clearFileList();
    mDefn.getMeasuredType(held)->MeasType.configId = QStringLiteral("changed in memory only");
    const DefnBaseType* before = held.get();

    ASSERT_TRUE(mDefn.readCurrentBaseType(held));
    EXPECT_NE(held.get(), before);
    EXPECT_EQ(held->getFileListSize(), 1);
    EXPECT_EQ(held->getConfigId(), QStringLiteral("u.rms"));

    auto missing = mDefn.createMeasuredType();
    missing->Id = 4711;
    const auto kept = missing;
    EXPECT_FALSE(mDefn.readCurrentBaseType(missing));
    EXPECT_EQ(missing, kept);
    std::shared_ptr<DefnBaseType> none;
    EXPECT_FALSE(mDefn.readCurrentBaseType(none));
}

TEST_F(DefnTypePersistanceStoreTest, ReadCurrentDatasRefreshesTypeAndFileAndKeepsTheWorkingState)
{
    auto type = storedMeasureType(QStringLiteral("u.rms"));
    auto file = addFile(type, kFirstCreated);
    ASSERT_NE(file, nullptr);
    ASSERT_TRUE(inTransaction([&] {
        auto other = mDefn.readBaseType(LoggerType::CYCLIC, type->Id);
        auto row = other->getFileInfo(0);
        row->UtcEnd = at(kFirstCreated + 99);
        return FileInfoPersistance().update(row);
    }));
    file->mFilePosition = 44 + 3 * kBlockSize;
    file->mFirstDataItem = false;
    const auto oldType = type;
    const auto oldFile = file;

    ASSERT_TRUE(mDefn.readCurrentDatas(type, file));
    EXPECT_NE(type, oldType);
    EXPECT_NE(file, oldFile);
    EXPECT_EQ(file, type->getFileInfo(0)) << "the current file is the entry of the new list";
    EXPECT_EQ(file->UtcEnd.tv_sec, kFirstCreated + 99);
    EXPECT_EQ(file->mFilePosition, 44 + 3 * kBlockSize);
    EXPECT_FALSE(file->mFirstDataItem);

    std::shared_ptr<LoggerFileInfo> noFile;
    EXPECT_TRUE(mDefn.readCurrentDatas(type, noFile));
    EXPECT_EQ(noFile, nullptr);

    auto missing = mDefn.createMeasuredType();
    missing->Id = 4711;
    EXPECT_FALSE(mDefn.readCurrentDatas(missing, file));
    EXPECT_EQ(file->UtcEnd.tv_sec, kFirstCreated + 99);
}

// --- createNewFile

TEST_F(DefnTypePersistanceStoreTest, CreateNewFileMakesTheFileAndLinksItsRow)
{
    auto type = storedMeasureType(QStringLiteral("u.rms"));
    const auto held = type;
    const auto file = addFile(type, kFirstCreated);
    ASSERT_NE(file, nullptr) << logText();
    EXPECT_NE(type, held) << "the type was read anew";
    ASSERT_EQ(type->getFileListSize(), 1);
    EXPECT_EQ(type->getFileInfo(0), file);
    EXPECT_GT(file->Id, 0);
    EXPECT_EQ(FileFaults::sizeOf(LoggerFileSystem::getFullFileName(file.get())), 44);
    EXPECT_TRUE(LoggerFileSystem::getFullFileName(file.get()).startsWith(mStore.dataFolderPath()));
    EXPECT_EQ(measureLinkTo(type->Id, file->Id), 1);
    const auto read = reload(type);
    ASSERT_EQ(read->getFileListSize(), 1);
    EXPECT_EQ(read->getFileInfo(0)->GuidLow, file->GuidLow);
}

TEST_F(DefnTypePersistanceStoreTest, CreateNewFileWithPreviousIndexMinusOneChangesNoEarlierFile)
{
    auto type = storedMeasureType(QStringLiteral("u.rms"));
    const auto first = addFile(type, kFirstCreated);
    ASSERT_NE(first, nullptr);
    const int firstId = first->Id;
    const auto second = addFile(type, kFirstCreated + 3600, -1);
    ASSERT_NE(second, nullptr);

    EXPECT_EQ(rowCount("LoggerFileInfoMeasure"), 2);
    EXPECT_EQ(measureLinks(type->Id), 2);
    ASSERT_EQ(type->getFileListSize(), 2);
    EXPECT_EQ(type->getFileInfo(0)->Id, firstId);
    EXPECT_EQ(type->getFileInfo(0)->UtcEnd.tv_sec, 0);
    const auto row = fileRow(LoggerType::CYCLIC, firstId);
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(row->UtcEnd.tv_sec, 0);
}

// The previous file is stored with persist: it gets a new row and a new Id, the new row is
// linked, and the old row stays behind without a link.
TEST_F(DefnTypePersistanceStoreTest, CreateNewFileGivesThePreviousFileANewRow)
{
    auto type = storedMeasureType(QStringLiteral("u.rms"));
    const auto first = addFile(type, kFirstCreated);
    ASSERT_NE(first, nullptr);
    const int oldId = first->Id;
    const auto second = addFile(type, kFirstCreated + 3600, 0);
    ASSERT_NE(second, nullptr);

    ASSERT_EQ(type->getFileListSize(), 2);
    const auto previous = type->getFileInfo(0);
    EXPECT_NE(previous->Id, oldId);
    EXPECT_EQ(previous->UtcEnd.tv_sec, kFirstCreated + 3600);
    EXPECT_EQ(rowCount("LoggerFileInfoMeasure"), 3);
    EXPECT_EQ(measureLinks(type->Id), 2);
    EXPECT_EQ(measureLinkTo(type->Id, previous->Id), 1);
    EXPECT_EQ(measureLinkTo(type->Id, oldId), 0);
    const auto oldRow = fileRow(LoggerType::CYCLIC, oldId);
    ASSERT_NE(oldRow, nullptr);
    EXPECT_EQ(oldRow->UtcEnd.tv_sec, 0);
    const auto newRow = fileRow(LoggerType::CYCLIC, previous->Id);
    ASSERT_NE(newRow, nullptr);
    EXPECT_EQ(newRow->UtcEnd.tv_sec, kFirstCreated + 3600);
}

TEST_F(DefnTypePersistanceStoreTest, AFailedCreateFileLeavesTheCatalogueAndTheListAsTheyWere)
{
    auto type = storedMeasureType(QStringLiteral("u.rms"));
    ASSERT_NE(addFile(type, kFirstCreated), nullptr);
    const auto held = type;

    // A plain file where the day folder of the new file would go.
    auto info = newFileInfo(LoggerType::CYCLIC, LoggerDataType::MEAN, kFirstCreated + 86400 * 3);
    const QString folder = QFileInfo(LoggerFileSystem::getFullFileName(info.get())).path();
    ASSERT_TRUE(FileFaults::writeAll(folder, QByteArray("in the way")));

    QFile file;
    EXPECT_FALSE(mDefn.createNewFile(utc(kFirstCreated + 86400 * 3), type, info, file, 0, 0, 0, 1.0f, 1.0f));
    EXPECT_EQ(LoggerFileSystem::getLastError(), QStringLiteral("could not create folder"));
    EXPECT_EQ(type, held) << "the catalogue was not even read";
    EXPECT_EQ(type->getFileListSize(), 1);
    EXPECT_EQ(info->Id, 0);
    EXPECT_EQ(rowCount("LoggerFileInfoMeasure"), 1);
    EXPECT_EQ(measureLinks(type->Id), 1);
    EXPECT_EQ(reload(type)->getFileInfo(0)->UtcEnd.tv_sec, 0) << "the previous file was not touched";
}

// The file is made before the catalogue is read: a type that the catalogue no longer knows
// leaves the new file on the card and no row.
TEST_F(DefnTypePersistanceStoreTest, CreateNewFileWritesTheFileBeforeTheCatalogue)
{
    auto type = storedMeasureType(QStringLiteral("u.rms"));
    ASSERT_TRUE(inTransaction([&] { return mDefn.remove(type); }));
    const auto info = newFileInfo(LoggerType::CYCLIC, LoggerDataType::MEAN, kFirstCreated);
    QFile file;
    EXPECT_FALSE(mDefn.createNewFile(utc(kFirstCreated), type, info, file, 0, 0, -1, 1.0f, 1.0f));
    EXPECT_TRUE(onDisk(info));
    EXPECT_EQ(rowCount("LoggerFileInfoMeasure"), 0);
    EXPECT_TRUE(logged("createNewFile: cannot read actual base type")) << logText();
}

// --- removeFile

TEST_F(DefnTypePersistanceStoreTest, RemoveFileTakesRowLinkAndFileAndStoresTheCurrentFile)
{
    auto type = storedMeasureType(QStringLiteral("u.rms"));
    const auto first = addFile(type, kFirstCreated);
    const auto current = addFile(type, kFirstCreated + 3600);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(current, nullptr);
    const auto removed = type->getFileInfo(0);
    current->UtcEnd = at(kFirstCreated + 4000);

    EXPECT_TRUE(mDefn.removeFile(type, 0, current)) << logText();
    ASSERT_EQ(type->getFileListSize(), 1);
    EXPECT_EQ(type->getFileInfo(0), current);
    EXPECT_FALSE(onDisk(removed));
    EXPECT_TRUE(onDisk(current));
    EXPECT_EQ(fileRow(LoggerType::CYCLIC, removed->Id), nullptr);
    EXPECT_EQ(measureLinks(type->Id), 1);
    EXPECT_EQ(fileRow(LoggerType::CYCLIC, current->Id)->UtcEnd.tv_sec, kFirstCreated + 4000);
    EXPECT_TRUE(loggedLine("Logger.Persist", "INFO", "update(currentFileInfo)..."));
    EXPECT_TRUE(loggedLine("Logger.Persist", "INFO", "currentFileInfo updated"));
    EXPECT_FALSE(logged("Es wird versucht, die aktuelle Datei zu loeschen"));
}

TEST_F(DefnTypePersistanceStoreTest, RemoveFileOfTheFileBeingWrittenIsCarriedOutAndOnlyLogged)
{
    auto type = storedMeasureType(QStringLiteral("u.rms"));
    ASSERT_NE(addFile(type, kFirstCreated), nullptr);
    ASSERT_NE(addFile(type, kFirstCreated + 3600), nullptr);
    const auto current = type->getFileInfo(1);

    EXPECT_TRUE(mDefn.removeFile(type, 1, current)) << logText();
    EXPECT_TRUE(loggedLine("Logger.Persist", "INFO", "Es wird versucht, die aktuelle Datei zu loeschen"))
        << logText();
    EXPECT_EQ(type->getFileListSize(), 1);
    EXPECT_FALSE(onDisk(current));
    EXPECT_EQ(fileRow(LoggerType::CYCLIC, current->Id), nullptr);
    EXPECT_EQ(measureLinks(type->Id), 1);
    EXPECT_FALSE(logged("cannot remove file from database"));
}

TEST_F(DefnTypePersistanceStoreTest, RemoveFileWithAnIndexEqualToTheSizeFindsNoFile)
{
    auto type = storedMeasureType(QStringLiteral("u.rms"));
    ASSERT_NE(addFile(type, kFirstCreated), nullptr);
    EXPECT_FALSE(mDefn.removeFile(type, 1, nullptr));
    EXPECT_TRUE(logged("removeFile: filInfo = nullptr")) << logText();
    EXPECT_FALSE(logged("removeFile: Wrong file Index"));
    EXPECT_EQ(type->getFileListSize(), 1);
    EXPECT_EQ(measureLinks(type->Id), 1);
}

TEST_F(DefnTypePersistanceStoreTest, RemoveFileWithAnIndexAboveTheSizeIsAWrongIndex)
{
    auto type = storedMeasureType(QStringLiteral("u.rms"));
    ASSERT_NE(addFile(type, kFirstCreated), nullptr);
    EXPECT_FALSE(mDefn.removeFile(type, 2, nullptr));
    EXPECT_TRUE(logged("removeFile: Wrong file Index")) << logText();
    EXPECT_FALSE(mDefn.removeFileInfo(type, 5, nullptr));
    EXPECT_EQ(countMessage(QStringLiteral("removeFile: Wrong file Index")), 2);
    EXPECT_EQ(type->getFileListSize(), 1);
}

TEST_F(DefnTypePersistanceStoreTest, RemoveFileOfNoTypeIsReported)
{
    std::shared_ptr<DefnBaseType> none;
    EXPECT_FALSE(mDefn.removeFile(none, 0, nullptr));
    EXPECT_FALSE(mDefn.removeFileInfo(none, 0, nullptr));
    EXPECT_FALSE(mDefn.removeNonExistingFileInfos(none));
    EXPECT_EQ(countMessage(QStringLiteral("removeFile: baseType = nullptr")), 3) << logText();
}

// The catalogue goes first: when the file then can't be removed, its row is already gone.
TEST_F(DefnTypePersistanceStoreTest, RemoveFileRemovesTheRowBeforeTheFile)
{
    auto type = storedMeasureType(QStringLiteral("u.rms"));
    ASSERT_NE(addFile(type, kFirstCreated), nullptr);
    ASSERT_NE(addFile(type, kFirstCreated + 3600), nullptr);
    const auto stuck = type->getFileInfo(0);
    // A folder that holds a file, where the data file was: it can't be removed as a file.
    const QString name = LoggerFileSystem::getFullFileName(stuck.get());
    ASSERT_TRUE(QFile::remove(name));
    ASSERT_TRUE(FileFaults::writeAll(name + QStringLiteral("/inside"), QByteArray("x")));

    EXPECT_FALSE(mDefn.removeFile(type, 0, nullptr));
    EXPECT_TRUE(loggedFatal("cannot remove file from disk")) << logText();
    EXPECT_FALSE(logged("cannot remove file from database"));
    EXPECT_FALSE(logged("integrity result : 1")) << "only a failure of the catalogue calls for a check";
    EXPECT_EQ(fileRow(LoggerType::CYCLIC, stuck->Id), nullptr);
    EXPECT_EQ(measureLinkTo(type->Id, stuck->Id), 0);
    EXPECT_EQ(measureLinks(type->Id), 1);
    EXPECT_EQ(type->getFileListSize(), 1);
    EXPECT_TRUE(QFileInfo::exists(name));
}

TEST_F(DefnTypePersistanceStoreTest, RemoveFileThatTheCatalogueRefusesKeepsFileRowAndList)
{
    auto type = storedMeasureType(QStringLiteral("u.rms"));
    ASSERT_NE(addFile(type, kFirstCreated), nullptr);
    ASSERT_NE(addFile(type, kFirstCreated + 3600), nullptr);
    const auto first = type->getFileInfo(0);
    // The type's row vanishes behind the object's back: its update fails, and all rolls back.
    ASSERT_EQ(number("SELECT count(*) FROM \"DefnMeasureType\""), 1);
    LoggerDb::getInstance().getDb()->executeRaw("DELETE FROM \"DefnMeasureType\"");

    EXPECT_FALSE(mDefn.removeFile(type, 0, nullptr));
    EXPECT_TRUE(loggedFatal("cannot remove file from database")) << logText();
    EXPECT_TRUE(logged("integrity result : 1")) << "the integrity of the catalogue is checked";
    EXPECT_FALSE(logged("cannot remove file from disk"));
    EXPECT_TRUE(onDisk(first));
    EXPECT_NE(fileRow(LoggerType::CYCLIC, first->Id), nullptr);
    ASSERT_EQ(type->getFileListSize(), 2) << "the list is as the catalogue has it";
    EXPECT_EQ(type->getFileInfo(0), first);
}

TEST_F(DefnTypePersistanceStoreTest, RemoveFileMarksTheLoggerAsChanged)
{
    auto type = storedMeasureType(QStringLiteral("u.rms"));
    ASSERT_NE(addFile(type, kFirstCreated), nullptr);
    ASSERT_NE(addFile(type, kFirstCreated + 3600), nullptr);
    LoggerEntityChanged::getLoggerChanged(LoggerType::CYCLIC, LoggerDataType::MEAN, type->Id);
    ASSERT_FALSE(LoggerEntityChanged::getLoggerChanged(LoggerType::CYCLIC, LoggerDataType::MEAN, type->Id));

    ASSERT_TRUE(mDefn.removeFile(type, 0, nullptr));
    EXPECT_TRUE(LoggerEntityChanged::getLoggerChanged(LoggerType::CYCLIC, LoggerDataType::MEAN, type->Id));
    ASSERT_TRUE(mDefn.removeFileInfo(type, 0, nullptr));
    EXPECT_TRUE(LoggerEntityChanged::getLoggerChanged(LoggerType::CYCLIC, LoggerDataType::MEAN, type->Id));
    EXPECT_FALSE(LoggerEntityChanged::getLoggerChanged(LoggerType::CYCLIC, LoggerDataType::MEAN, type->Id));
}

// --- removeFileInfo and removeNonExistingFileInfos

TEST_F(DefnTypePersistanceStoreTest, RemoveFileInfoLeavesTheFileOnTheCard)
{
    auto type = storedMeasureType(QStringLiteral("u.rms"));
    ASSERT_NE(addFile(type, kFirstCreated), nullptr);
    ASSERT_NE(addFile(type, kFirstCreated + 3600), nullptr);
    const auto removed = type->getFileInfo(1);
    EXPECT_TRUE(mDefn.removeFileInfo(type, 1, type->getFileInfo(0)));
    EXPECT_TRUE(onDisk(removed));
    EXPECT_EQ(fileRow(LoggerType::CYCLIC, removed->Id), nullptr);
    EXPECT_EQ(measureLinks(type->Id), 1);
    EXPECT_EQ(type->getFileListSize(), 1);

    EXPECT_FALSE(mDefn.removeFileInfo(type, 1, nullptr));
    EXPECT_TRUE(logged("removeFile: filInfo = nullptr"));
}

TEST_F(DefnTypePersistanceStoreTest, RemoveNonExistingFileInfosTakesOutWhatIsMissingOnTheCard)
{
    auto type = storedMeasureType(QStringLiteral("u.rms"));
    for (int i = 0; i < 4; ++i)
        ASSERT_NE(addFile(type, kFirstCreated + 3600 * i), nullptr);
    const auto keptFirst = type->getFileInfo(0);
    const auto keptThird = type->getFileInfo(2);
    ASSERT_TRUE(QFile::remove(LoggerFileSystem::getFullFileName(type->getFileInfo(1).get())));
    ASSERT_TRUE(QFile::remove(LoggerFileSystem::getFullFileName(type->getFileInfo(3).get())));
    LoggerEntityChanged::getLoggerChanged(LoggerType::CYCLIC, LoggerDataType::MEAN, type->Id);

    EXPECT_TRUE(mDefn.removeNonExistingFileInfos(type)) << logText();
    ASSERT_EQ(type->getFileListSize(), 2);
    EXPECT_EQ(type->getFileInfo(0), keptFirst);
    EXPECT_EQ(type->getFileInfo(1), keptThird);
    EXPECT_EQ(rowCount("LoggerFileInfoMeasure"), 2);
    EXPECT_EQ(measureLinks(type->Id), 2);
    EXPECT_EQ(reload(type)->getFileListSize(), 2);
    EXPECT_TRUE(LoggerEntityChanged::getLoggerChanged(LoggerType::CYCLIC, LoggerDataType::MEAN, type->Id));

    // Nothing missing: nothing changes.
    EXPECT_TRUE(mDefn.removeNonExistingFileInfos(type));
    EXPECT_EQ(type->getFileListSize(), 2);
    EXPECT_FALSE(LoggerEntityChanged::getLoggerChanged(LoggerType::CYCLIC, LoggerDataType::MEAN, type->Id));
}

TEST_F(DefnTypePersistanceStoreTest, RemoveNonExistingFileInfosReportsAnEmptyEntry)
{
    auto type = storedMeasureType(QStringLiteral("u.rms"));
    ASSERT_NE(addFile(type, kFirstCreated), nullptr);
    mDefn.getMeasuredType(type)->FileInfos.push_back(nullptr);
    EXPECT_TRUE(mDefn.removeNonExistingFileInfos(type));
    EXPECT_TRUE(logged("removeFile [1]: filInfo = nullptr")) << logText();
    EXPECT_EQ(type->getFileListSize(), 2);
}

} // namespace

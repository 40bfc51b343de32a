// The event alarm log: texts registered as DefnEventString rows, events that carry the Id of
// their text, the write cache of 100 items and 10 s, the table across a restart of the logger
// and of the writer process, and the failure paths with their exact texts. Simulated card, real
// catalogue (WriterStore); each test runs in a process of its own. The catalogue is read back
// through a connection of its own, not through the mapping that wrote it.

#include "LoggerEventAlarm.h"

#include "ChildTestProcess.h"
#include "DefnBaseType.h"
#include "DefnEventType.h"
#include "FaultInjection.h"
#include "LogCapture.h"
#include "LoggerAccess.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerTestSeams.h"
#include "TestTemplateLogger.h"
#include "WriterStore.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <cstdint>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr int kEventBlockSize = 24; // utc, event data, string id, string index
constexpr const char* kFirstSecondVariable = "QZLOGGER_EVENT_ALARM_FIRST_SECOND";

// --- the catalogue, read through a read-only connection of its own

class CatalogueReader {
public:
    explicit CatalogueReader(const QString& file)
    {
        if (sqlite3_open_v2(QFile::encodeName(file).constData(), &mDb, SQLITE_OPEN_READONLY, nullptr) !=
            SQLITE_OK) {
            sqlite3_close(mDb);
            mDb = nullptr;
            return;
        }
        sqlite3_busy_timeout(mDb, 5000);
    }
    ~CatalogueReader() { sqlite3_close(mDb); }
    CatalogueReader(const CatalogueReader&) = delete;
    CatalogueReader& operator=(const CatalogueReader&) = delete;

    bool isOpen() const { return mDb != nullptr; }

    // Every DefnEventString row: Id to description.
    std::map<int, std::string> eventStrings()
    {
        std::map<int, std::string> rows;
        query("SELECT \"Id\", \"Description\" FROM \"DefnEventString\"", -1,
              [&](sqlite3_stmt* row) { rows[sqlite3_column_int(row, 0)] = columnText(row, 1); });
        return rows;
    }

    // The Ids that the type's list links to, in the order of the list.
    std::vector<int> linkedStringIds(int typeId)
    {
        std::vector<int> ids;
        query(
            "SELECT \"value\" FROM \"DefnEventType_EventStrings\" WHERE \"object_id\" = ? ORDER BY \"index\"",
            typeId, [&](sqlite3_stmt* row) { ids.push_back(sqlite3_column_int(row, 0)); });
        return ids;
    }

    // The identification of each event type row: Id to ConfigId.
    std::map<int, std::string> eventTypes()
    {
        std::map<int, std::string> rows;
        query("SELECT \"Id\", \"ConfigId\" FROM \"DefnEventType\"", -1,
              [&](sqlite3_stmt* row) { rows[sqlite3_column_int(row, 0)] = columnText(row, 1); });
        return rows;
    }

private:
    static std::string columnText(sqlite3_stmt* row, int column)
    {
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(row, column));
        return text ? std::string(text, static_cast<size_t>(sqlite3_column_bytes(row, column)))
                    : std::string();
    }

    template <class Row> void query(const char* sql, int parameter, Row row)
    {
        sqlite3_stmt* statement = nullptr;
        ASSERT_EQ(sqlite3_prepare_v2(mDb, sql, -1, &statement, nullptr), SQLITE_OK) << sqlite3_errmsg(mDb);
        if (parameter >= 0)
            sqlite3_bind_int(statement, 1, parameter);
        int result = SQLITE_ROW;
        while ((result = sqlite3_step(statement)) == SQLITE_ROW)
            row(statement);
        EXPECT_EQ(result, SQLITE_DONE) << sqlite3_errmsg(mDb);
        sqlite3_finalize(statement);
    }

    sqlite3* mDb = nullptr;
};

// --- the data file

std::vector<DataEvent> eventsInFile(const QString& fileName)
{
    std::vector<DataEvent> events;
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly) || !file.seek(LoggerBase::kHeaderSize))
        return events;
    DataEvent event{};
    while (file.read(reinterpret_cast<char*>(&event), kEventBlockSize) == kEventBlockSize)
        events.push_back(event);
    return events;
}

qint64 fileSize(const QString& fileName)
{
    return QFileInfo(fileName).size();
}

DataEvent eventAt(int32_t second, int32_t data = 0)
{
    DataEvent event{};
    event.utc.tv_sec = second;
    event.eventData.words[0] = static_cast<uint32_t>(data);
    event.stringIndex = 0;
    return event;
}

// The texts of the type that is the logger's current one, in the order of its list.
std::vector<std::string> listOf(LoggerEventAlarm& logger)
{
    const auto type =
        std::dynamic_pointer_cast<DefnEventType>(logger.getLoggerAccess()->getCurrentBaseType());
    return type ? type->getEventStrings() : std::vector<std::string>();
}

QHash<QString, int> tableOf(std::initializer_list<std::pair<const char*, int>> entries)
{
    QHash<QString, int> table;
    for (const auto& entry : entries)
        table.insert(QString::fromUtf8(entry.first), entry.second);
    return table;
}

// The texts handed to LoggerDb::loggerMessage, with their type; routine texts reach no log.
class LoggerMessages {
public:
    LoggerMessages()
    {
        setLoggerMessageObserverForTesting(
            [this](const std::string& text, LoggerMessageType type) { mSeen.emplace_back(text, type); });
    }
    ~LoggerMessages() { setLoggerMessageObserverForTesting(nullptr); }
    LoggerMessages(const LoggerMessages&) = delete;
    LoggerMessages& operator=(const LoggerMessages&) = delete;

    int count(const std::string& text, LoggerMessageType type) const
    {
        int found = 0;
        for (const auto& seen : mSeen)
            found += seen.first == text && seen.second == type ? 1 : 0;
        return found;
    }

private:
    std::vector<std::pair<std::string, LoggerMessageType>> mSeen;
};

// The alarm log with its cache in view.
class InspectedEventAlarm : public LoggerEventAlarm {
public:
    LoggerCache<DataEvent>& cache() { return mCache; }
};

// An alarm log whose current type is not an event type, as a foreign row would make it.
class EventAlarmWithForeignType : public LoggerEventAlarm {
public:
    bool initializeLogger() override
    {
        mAccess->setCurrentBaseType(std::make_shared<DefnBaseType>());
        return true;
    }
};

} // namespace

// --- without a store

TEST(LoggerEventAlarmConstructionTest, EveryInstanceIsNamedLoggerEventAlarmAndIdentifiedByItsOwnName)
{
    LogCapture::instance();
    LoggerEventAlarm first;
    LoggerEventAlarm second;
    EXPECT_EQ(first.getConfiguratedMeasuredTypeId(), QString());
    first.setLoggerName("alarm.first");
    second.setLoggerName("alarm.second");
    EXPECT_EQ(first.getLoggerName(), QStringLiteral("LoggerEventAlarm"));
    EXPECT_EQ(second.getLoggerName(), QStringLiteral("LoggerEventAlarm"));
    EXPECT_EQ(first.getConfiguratedMeasuredTypeId(), QStringLiteral("alarm.first"));
    EXPECT_EQ(second.getConfiguratedMeasuredTypeId(), QStringLiteral("alarm.second"));
    EXPECT_EQ(first.getTrackCategory(), QStringLiteral("Logger.EventAlarm"));
    EXPECT_EQ(first.getLoggerType(), LoggerType::EVENT);
    EXPECT_EQ(first.getLoggerDataType(), LoggerDataType::EVENT);
    EXPECT_EQ(first.getDataBlockSize(), kEventBlockSize);
    EXPECT_TRUE(first.getEventStringIds().isEmpty());
}

TEST(LoggerEventAlarmConstructionTest, ConstructionGivesACacheOfAHundredItemsAndAQuietPeriodOfTenSeconds)
{
    LogCapture::instance();
    InspectedEventAlarm logger;
    EXPECT_EQ(logger.cache().getCapacity(), 100u);
    EXPECT_EQ(logger.cache().getTimer().getTimeout(), 10000);
    EXPECT_EQ(logger.cache().getCapacity() * sizeof(DataEvent), 2400u);
}

TEST(LoggerEventAlarmConstructionTest, SetMaximumFileSizeSetsTheLimitOfTheLogsFiles)
{
    LogCapture::instance();
    LoggerEventAlarm logger;
    logger.setMaximumFileSize(4800);
    EXPECT_EQ(logger.getMaximumFileSize(), 4800);
}

// --- on a store

class LoggerEventAlarmTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { LogCapture::instance(); }

    void SetUp() override { ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString(); }

    void TearDown() override
    {
        qzdb::FaultInjection::stop();
        setRetrySleepForTesting(nullptr);
    }

    // A log of that name, initialized on the store.
    std::unique_ptr<LoggerEventAlarm> startedLogger(const std::string& name)
    {
        auto logger = std::make_unique<LoggerEventAlarm>();
        logger->setLoggerName(name);
        EXPECT_TRUE(logger->initialize());
        EXPECT_EQ(logger->getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED)
            << LogCapture::text().toStdString();
        return logger;
    }

    // Each text of the table has a row of that Id with that description, the table holds every
    // text of the type's list, and the list links exactly those rows.
    void expectTableMatchesCatalogue(LoggerEventAlarm& logger)
    {
        CatalogueReader catalogue(mStore.databaseFile());
        ASSERT_TRUE(catalogue.isOpen());
        const std::map<int, std::string> rows = catalogue.eventStrings();
        const QHash<QString, int>& table = logger.getEventStringIds();
        for (auto entry = table.cbegin(); entry != table.cend(); ++entry) {
            SCOPED_TRACE(entry.key().toStdString());
            ASSERT_EQ(rows.count(entry.value()), 1u) << "no row of Id " << entry.value();
            EXPECT_EQ(rows.at(entry.value()), entry.key().toStdString());
        }
        const std::vector<int> linked = catalogue.linkedStringIds(logger.getId());
        EXPECT_EQ(linked.size(), static_cast<size_t>(table.size()));
        for (const int id : linked) {
            const auto row = rows.find(id);
            ASSERT_NE(row, rows.end()) << "the list links a missing row " << id;
            EXPECT_EQ(table.value(QString::fromStdString(row->second), -1), id) << row->second;
        }
    }

    WriterStore mStore;
};

TEST_F(LoggerEventAlarmTest, ARegisteredTextGivesTheItemTheIdOfItsRow)
{
    auto logger = startedLogger("alarm.main");
    ASSERT_TRUE(logger->updateEventStrings({"Overvoltage", "Undervoltage"}));
    const int overvoltage = logger->getEventStringIds().value(QStringLiteral("Overvoltage"));
    const int undervoltage = logger->getEventStringIds().value(QStringLiteral("Undervoltage"));
    EXPECT_GT(overvoltage, 0);
    EXPECT_GT(undervoltage, 0);
    EXPECT_NE(overvoltage, undervoltage);

    const int32_t second = testStartSecond();
    ASSERT_TRUE(logger->logEventItem(eventAt(second, 230), QStringLiteral("Undervoltage")));
    ASSERT_TRUE(logger->flush());

    const std::vector<DataEvent> events = eventsInFile(currentDataFile(*logger));
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].utc.tv_sec, second);
    EXPECT_EQ(events[0].eventData.words[0], 230u);
    EXPECT_EQ(events[0].stringId, undervoltage);

    CatalogueReader catalogue(mStore.databaseFile());
    ASSERT_TRUE(catalogue.isOpen());
    const std::map<int, std::string> rows = catalogue.eventStrings();
    ASSERT_EQ(rows.count(undervoltage), 1u);
    EXPECT_EQ(rows.at(undervoltage), "Undervoltage");
    EXPECT_EQ(rows.at(overvoltage), "Overvoltage");
    EXPECT_EQ(catalogue.linkedStringIds(logger->getId()), (std::vector<int>{overvoltage, undervoltage}));
    // The text composed for development output reaches no log.
    EXPECT_FALSE(LogCapture::text().contains(QStringLiteral("Event String")))
        << LogCapture::text().toStdString();
}

TEST_F(LoggerEventAlarmTest, AnUnknownTextWritesStringIdZeroAndEntersTheTableWithZero)
{
    auto logger = startedLogger("alarm.main");
    ASSERT_TRUE(logger->updateEventStrings({"Known"}));
    const int known = logger->getEventStringIds().value(QStringLiteral("Known"));

    ASSERT_TRUE(logger->logEventItem(eventAt(testStartSecond()), QStringLiteral("Never registered")));
    EXPECT_EQ(logger->getEventStringIds(), tableOf({{"Known", known}, {"Never registered", 0}}));
    ASSERT_TRUE(logger->flush());
    const std::vector<DataEvent> events = eventsInFile(currentDataFile(*logger));
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].stringId, 0);

    CatalogueReader catalogue(mStore.databaseFile());
    const std::map<int, std::string> rows = catalogue.eventStrings();
    EXPECT_EQ(rows, (std::map<int, std::string>{{known, "Known"}}));
    EXPECT_EQ(listOf(*logger), std::vector<std::string>{"Known"});

    // The entry of the unknown text goes with the next registration.
    ASSERT_TRUE(logger->updateEventStrings({}));
    EXPECT_EQ(logger->getEventStringIds(), tableOf({{"Known", known}}));
}

TEST_F(LoggerEventAlarmTest, AnEmptyListStillStoresTheTypeAndRebuildsTheTableFromItsRows)
{
    int first = 0;
    int second = 0;
    {
        auto logger = startedLogger("alarm.main");
        ASSERT_TRUE(logger->updateEventStrings({"First", "Second"}));
        first = logger->getEventStringIds().value(QStringLiteral("First"));
        second = logger->getEventStringIds().value(QStringLiteral("Second"));
    }
    auto logger = startedLogger("alarm.main");
    EXPECT_TRUE(logger->getEventStringIds().isEmpty());

    qzdb::FaultInjection::startCounting();
    ASSERT_TRUE(logger->updateEventStrings({}));
    const long calls = qzdb::FaultInjection::callCount();
    qzdb::FaultInjection::stop();
    // Transaction, type row, its links and the two texts: the type was stored.
    EXPECT_GE(calls, 5);
    EXPECT_EQ(logger->getEventStringIds(), tableOf({{"First", first}, {"Second", second}}));
    expectTableMatchesCatalogue(*logger);
    EXPECT_EQ(CatalogueReader(mStore.databaseFile()).eventStrings().size(), 2u);
}

TEST_F(LoggerEventAlarmTest, AHundredEventsReachTheFileAsOneBlockOfTwentyFourHundredBytes)
{
    auto logger = startedLogger("alarm.main");
    ASSERT_TRUE(logger->updateEventStrings({"Flicker"}));
    const QString file = currentDataFile(*logger);
    const qint64 before = fileSize(file);
    ASSERT_EQ(before, LoggerBase::kHeaderSize);

    const int32_t start = testStartSecond();
    for (int index = 0; index < 99; ++index) {
        ASSERT_TRUE(logger->logEventItem(eventAt(start + index, index), QStringLiteral("Flicker")));
        ASSERT_EQ(fileSize(file), before) << "after event " << index + 1;
    }
    ASSERT_TRUE(logger->logEventItem(eventAt(start + 99, 99), QStringLiteral("Flicker")));
    EXPECT_EQ(fileSize(file), before + 2400);

    const std::vector<DataEvent> events = eventsInFile(file);
    ASSERT_EQ(events.size(), 100u);
    const int flicker = logger->getEventStringIds().value(QStringLiteral("Flicker"));
    for (int index = 0; index < 100; ++index) {
        EXPECT_EQ(events[index].utc.tv_sec, start + index);
        EXPECT_EQ(events[index].eventData.words[0], static_cast<uint32_t>(index));
        EXPECT_EQ(events[index].stringId, flicker);
    }
}

// The cache timer's first delay from rest is one full quiet period (LoggerTimer), so a lone event
// reaches the card once it has ended, never before.
TEST_F(LoggerEventAlarmTest, ASingleEventReachesTheFileOnlyAfterTheQuietPeriodOfTenSeconds)
{
    constexpr int kQuietPeriod = 10000;
    constexpr int kDeadline = 2 * kQuietPeriod + 5000;
    auto logger = startedLogger("alarm.main");
    ASSERT_TRUE(logger->updateEventStrings({"Dip"}));
    const QString file = currentDataFile(*logger);
    const qint64 before = fileSize(file);

    QElapsedTimer clock;
    clock.start();
    ASSERT_TRUE(logger->logEventItem(eventAt(testStartSecond()), QStringLiteral("Dip")));
    ASSERT_TRUE(waitFor([&] { return fileSize(file) > before; }, kDeadline))
        << "not on the card after " << kDeadline << " ms";
    EXPECT_GE(clock.elapsed(), kQuietPeriod - 100) << "written before the quiet period ended";
    EXPECT_EQ(fileSize(file), before + kEventBlockSize);
    const std::vector<DataEvent> events = eventsInFile(file);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].stringId, logger->getEventStringIds().value(QStringLiteral("Dip")));
}

TEST_F(LoggerEventAlarmTest, TextsRegisteredBeforeAndAfterANewLoggerObjectKeepTheirRowIds)
{
    const int32_t start = testStartSecond();
    QHash<QString, int> before;
    {
        auto logger = startedLogger("alarm.main");
        ASSERT_TRUE(logger->updateEventStrings({"Alpha", "Beta"}));
        before = logger->getEventStringIds();
        ASSERT_TRUE(logger->logEventItem(eventAt(start), QStringLiteral("Beta")));
        ASSERT_TRUE(logger->flush());
    }
    auto logger = startedLogger("alarm.main");
    ASSERT_TRUE(logger->updateEventStrings({"Gamma", "Alpha"}));
    const QHash<QString, int>& after = logger->getEventStringIds();
    EXPECT_EQ(after.value(QStringLiteral("Alpha")), before.value(QStringLiteral("Alpha")));
    EXPECT_EQ(after.value(QStringLiteral("Beta")), before.value(QStringLiteral("Beta")));
    const int gamma = after.value(QStringLiteral("Gamma"));
    EXPECT_GT(gamma, 0);
    EXPECT_NE(gamma, after.value(QStringLiteral("Alpha")));
    EXPECT_NE(gamma, after.value(QStringLiteral("Beta")));
    EXPECT_EQ(listOf(*logger), (std::vector<std::string>{"Alpha", "Beta", "Gamma"}));
    ASSERT_TRUE(logger->logEventItem(eventAt(start + 1), QStringLiteral("Gamma")));
    ASSERT_TRUE(logger->flush());

    expectTableMatchesCatalogue(*logger);
    EXPECT_EQ(CatalogueReader(mStore.databaseFile()).eventStrings().size(), 3u);
    const std::vector<DataEvent> events = eventsInFile(currentDataFile(*logger));
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].stringId, before.value(QStringLiteral("Beta")));
    EXPECT_EQ(events[1].stringId, gamma);
}

// The writer of a new process on the store: registers its texts, prints their Ids as
// "id <text>=<Id>", and logs one event of "Gamma" at the second that the parent names.
TEST(LoggerEventAlarmChild, RegistersTextsAndLogsAnEventAsANewWriter)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of LoggerEventAlarmTest";
    ASSERT_TRUE(LogCapture::install());
    ReaderStore store;
    ASSERT_TRUE(store.startAsWriter()) << LoggerDb::getInstance().getLastError().toStdString();
    LoggerEventAlarm logger;
    logger.setLoggerName("alarm.main");
    ASSERT_TRUE(logger.initialize());
    ASSERT_EQ(logger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED) << LogCapture::text().toStdString();
    ASSERT_TRUE(logger.updateEventStrings({"Gamma", "Beta", "Alpha"}));
    for (const char* text : {"Alpha", "Beta", "Gamma"})
        std::cout << "id " << text << "=" << logger.getEventStringIds().value(QString::fromLatin1(text))
                  << std::endl;
    const int32_t second = qEnvironmentVariableIntValue(kFirstSecondVariable) + 1;
    ASSERT_TRUE(logger.logEventItem(eventAt(second), QStringLiteral("Gamma")));
    ASSERT_TRUE(logger.flush());
    LoggerDb::getInstance().close();
}

TEST_F(LoggerEventAlarmTest, TextsRegisteredBeforeAndAfterANewWriterProcessKeepTheirRowIds)
{
    const int32_t start = testStartSecond();
    QHash<QString, int> before;
    int typeId = -1;
    {
        auto logger = startedLogger("alarm.main");
        ASSERT_TRUE(logger->updateEventStrings({"Alpha", "Beta"}));
        before = logger->getEventStringIds();
        typeId = logger->getId();
        ASSERT_TRUE(logger->logEventItem(eventAt(start), QStringLiteral("Beta")));
        ASSERT_TRUE(logger->flush());
    }
    // One writer at a time: this process gives the store up to the new writer.
    LoggerDb::getInstance().close();
    mStore.handOver();

    ChildTestProcess writer(QStringLiteral("LoggerEventAlarmChild.RegistersTextsAndLogsAnEventAsANewWriter"));
    mStore.exportTo(writer);
    writer.setVariable(QString::fromLatin1(kFirstSecondVariable), QString::number(start));
    ASSERT_TRUE(writer.run(60000)) << writer.report().toStdString();
    ASSERT_TRUE(writer.passed()) << writer.report().toStdString();
    std::map<std::string, int> childIds;
    for (const QByteArray& line : writer.standardOutput().split('\n')) {
        if (!line.startsWith("id "))
            continue;
        const QList<QByteArray> parts = line.mid(3).split('=');
        ASSERT_EQ(parts.size(), 2) << line.toStdString();
        childIds[parts[0].toStdString()] = parts[1].toInt();
    }
    ASSERT_EQ(childIds.size(), 3u) << writer.report().toStdString();
    EXPECT_EQ(childIds["Alpha"], before.value(QStringLiteral("Alpha")));
    EXPECT_EQ(childIds["Beta"], before.value(QStringLiteral("Beta")));
    EXPECT_GT(childIds["Gamma"], 0);

    CatalogueReader catalogue(mStore.databaseFile());
    ASSERT_TRUE(catalogue.isOpen());
    const std::map<int, std::string> rows = catalogue.eventStrings();
    EXPECT_EQ(rows,
              (std::map<int, std::string>{
                  {childIds["Alpha"], "Alpha"}, {childIds["Beta"], "Beta"}, {childIds["Gamma"], "Gamma"}}));
    EXPECT_EQ(catalogue.linkedStringIds(typeId),
              (std::vector<int>{childIds["Alpha"], childIds["Beta"], childIds["Gamma"]}));

    // This process writes again: its new logger finds the child's event behind its own.
    ASSERT_TRUE(mStore.initializeWriter()) << LoggerDb::getInstance().getLastError().toStdString();
    auto logger = startedLogger("alarm.main");
    EXPECT_EQ(logger->getId(), typeId);
    ASSERT_TRUE(logger->updateEventStrings({}));
    EXPECT_EQ(
        logger->getEventStringIds(),
        tableOf({{"Alpha", childIds["Alpha"]}, {"Beta", childIds["Beta"]}, {"Gamma", childIds["Gamma"]}}));
    const std::vector<DataEvent> events = eventsInFile(currentDataFile(*logger));
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].utc.tv_sec, start);
    EXPECT_EQ(events[0].stringId, childIds["Beta"]);
    EXPECT_EQ(events[1].utc.tv_sec, start + 1);
    EXPECT_EQ(events[1].stringId, childIds["Gamma"]);
}

TEST_F(LoggerEventAlarmTest, TwoLoggersWithDifferentNamesGetTheirOwnTypeRowsAndTexts)
{
    auto one = startedLogger("alarm.one");
    auto two = startedLogger("alarm.two");
    EXPECT_NE(one->getId(), two->getId());
    ASSERT_TRUE(one->updateEventStrings({"Shared", "One only"}));
    ASSERT_TRUE(two->updateEventStrings({"Shared", "Two only"}));

    CatalogueReader catalogue(mStore.databaseFile());
    ASSERT_TRUE(catalogue.isOpen());
    const std::map<int, std::string> types = catalogue.eventTypes();
    ASSERT_EQ(types.size(), 2u);
    EXPECT_EQ(types.at(one->getId()), "alarm.one");
    EXPECT_EQ(types.at(two->getId()), "alarm.two");
    EXPECT_EQ(one->getEventStringIds().size(), 2);
    EXPECT_EQ(two->getEventStringIds().size(), 2);
    EXPECT_FALSE(one->getEventStringIds().contains(QStringLiteral("Two only")));
    EXPECT_FALSE(two->getEventStringIds().contains(QStringLiteral("One only")));
    // Each list has rows of its own, the same text included.
    EXPECT_NE(one->getEventStringIds().value(QStringLiteral("Shared")),
              two->getEventStringIds().value(QStringLiteral("Shared")));
    expectTableMatchesCatalogue(*one);
    expectTableMatchesCatalogue(*two);
}

TEST_F(LoggerEventAlarmTest, UpdateEventStringsWithTheDatabaseClosedFailsAndKeepsTheTable)
{
    auto logger = startedLogger("alarm.main");
    ASSERT_TRUE(logger->updateEventStrings({"Alpha"}));
    const QHash<QString, int> before = logger->getEventStringIds();

    LoggerDb::getInstance().close();
    LoggerMessages messages;
    EXPECT_FALSE(logger->updateEventStrings({"Beta"}));
    EXPECT_EQ(logger->getEventStringIds(), before);
    EXPECT_EQ(listOf(*logger), std::vector<std::string>{"Alpha"});
    EXPECT_EQ(
        messages.count("Database is not initialized or mCurrentBaseType == nullptr", LOGGER_MESSAGE_ROUTINE),
        1);
}

TEST_F(LoggerEventAlarmTest, UpdateEventStringsBeforeInitializeFailsForWantOfAType)
{
    LoggerEventAlarm logger;
    logger.setLoggerName("alarm.main");
    LoggerMessages messages;
    EXPECT_FALSE(logger.updateEventStrings({"Alpha"}));
    EXPECT_TRUE(logger.getEventStringIds().isEmpty());
    EXPECT_EQ(
        messages.count("Database is not initialized or mCurrentBaseType == nullptr", LOGGER_MESSAGE_ROUTINE),
        1);
}

TEST_F(LoggerEventAlarmTest, InitializeWithoutANameGivesTheAnswerOfTheLoggerAndNoType)
{
    LoggerEventAlarm logger;
    EXPECT_TRUE(logger.initialize());
    EXPECT_EQ(logger.getLoggerState(), LOGGER_STATE_DISABLED);
    EXPECT_EQ(logger.getId(), -1);
    EXPECT_FALSE(LogCapture::text().contains(QStringLiteral("eventType == nullptr")));
    EXPECT_FALSE(logger.updateEventStrings({"Alpha"}));
}

TEST_F(LoggerEventAlarmTest, ACurrentTypeThatIsNoEventTypeIsReportedByInitializeAndUpdateEventStrings)
{
    EventAlarmWithForeignType logger;
    logger.setLoggerName("alarm.main");
    EXPECT_TRUE(logger.initialize());
    EXPECT_EQ(LogCapture::count(QStringLiteral("Logger.Db|FATAL|eventType == nullptr")), 1)
        << LogCapture::text().toStdString();

    LoggerMessages messages;
    EXPECT_FALSE(logger.updateEventStrings({"Alpha"}));
    EXPECT_EQ(messages.count("eventInfo == nullptr", LOGGER_MESSAGE_ROUTINE), 1);
    EXPECT_TRUE(logger.getEventStringIds().isEmpty());
}

TEST_F(LoggerEventAlarmTest, AFailedTransactionLeavesTypeAndTableAsTheyWereAndTheTextsCanBeRegisteredAgain)
{
    auto logger = startedLogger("alarm.main");
    ASSERT_TRUE(logger->updateEventStrings({"Alpha"}));
    const QHash<QString, int> before = logger->getEventStringIds();

    // Every call into SQLite fails with an I/O error: no try of the frame gets through.
    qzdb::FaultInjection::failCalls(1, SQLITE_IOERR, 1000000);
    EXPECT_FALSE(logger->updateEventStrings({"Beta", "Gamma"}));
    qzdb::FaultInjection::stop();
    EXPECT_EQ(logger->getEventStringIds(), before);
    EXPECT_EQ(listOf(*logger), std::vector<std::string>{"Alpha"});
    EXPECT_EQ(LogCapture::count(QStringLiteral("Logger.Db|FATAL|cannot update Event strings")), 1)
        << LogCapture::text().toStdString();

    ASSERT_TRUE(logger->updateEventStrings({"Gamma"}));
    EXPECT_EQ(listOf(*logger), (std::vector<std::string>{"Alpha", "Gamma"}));
    const std::map<int, std::string> rows = CatalogueReader(mStore.databaseFile()).eventStrings();
    ASSERT_EQ(rows.size(), 2u);
    for (const auto& row : rows)
        EXPECT_NE(row.second, "Beta");
    expectTableMatchesCatalogue(*logger);
}

// A busy catalogue turns back one try of the frame at each of the calls into SQLite that a
// registration makes, in turn; the frame's next try must still give each new text one row of
// its own. Each round registers on a fresh log, so that every round makes the same calls.
TEST_F(LoggerEventAlarmTest, ABusyCatalogueAtAnyCallOfTheRegistrationStillGivesEachNewTextOneRow)
{
    setRetrySleepForTesting([](unsigned long) {});
    // The first registration prepares the statements; the second shows the calls of a round.
    ASSERT_TRUE(startedLogger("alarm.prepare")->updateEventStrings({"prepare a", "prepare b"}));
    auto counted = startedLogger("alarm.count");
    qzdb::FaultInjection::startCounting();
    ASSERT_TRUE(counted->updateEventStrings({"count a", "count b"}));
    const long calls = qzdb::FaultInjection::callCount();
    qzdb::FaultInjection::stop();
    ASSERT_GE(calls, 6) << "transaction, two texts, the type and its links";

    for (long failing = 1; failing <= calls; ++failing) {
        SCOPED_TRACE("busy at call " + std::to_string(failing));
        const std::string name = "alarm.round." + std::to_string(failing);
        auto logger = startedLogger(name);
        qzdb::FaultInjection::failCalls(failing, SQLITE_BUSY);
        const bool registered = logger->updateEventStrings({name + " a", name + " b"});
        const long failed = qzdb::FaultInjection::failedCount();
        qzdb::FaultInjection::stop();
        ASSERT_TRUE(registered) << LogCapture::text().toStdString();
        EXPECT_EQ(failed, 1);
        EXPECT_GT(logger->getEventStringIds().value(QString::fromStdString(name + " a")), 0);
        EXPECT_GT(logger->getEventStringIds().value(QString::fromStdString(name + " b")), 0);
        expectTableMatchesCatalogue(*logger);
        // A later store of the type, as every block of the logger makes, still succeeds.
        EXPECT_TRUE(logger->updateEventStrings({}));
    }
    // Each text of every round has exactly one row.
    std::map<std::string, int> rowsPerText;
    for (const auto& row : CatalogueReader(mStore.databaseFile()).eventStrings())
        ++rowsPerText[row.second];
    EXPECT_EQ(rowsPerText.size(), static_cast<size_t>(2 * (calls + 2)));
    for (const auto& text : rowsPerText)
        EXPECT_EQ(text.second, 1) << text.first;
}

TEST_F(LoggerEventAlarmTest, AnEventThatTheCacheCannotTakeIsAnsweredFalseAndReportedAsNotWritten)
{
    auto logger = startedLogger("alarm.main");
    ASSERT_TRUE(logger->updateEventStrings({"Alpha"}));
    // While the database is down the cache keeps its hundred items; the next one is lost.
    LoggerDb::getInstance().close();
    LoggerMessages messages;
    const int32_t start = testStartSecond();
    for (int index = 0; index < 100; ++index)
        ASSERT_TRUE(logger->logEventItem(eventAt(start + index), QStringLiteral("Alpha"))) << index;
    EXPECT_EQ(messages.count("Event not written", LOGGER_MESSAGE_ROUTINE), 0);
    EXPECT_FALSE(logger->logEventItem(eventAt(start + 100), QStringLiteral("Alpha")));
    EXPECT_EQ(messages.count("Event not written", LOGGER_MESSAGE_ROUTINE), 1);
    EXPECT_FALSE(LogCapture::text().contains(QStringLiteral("Event not written")));
}

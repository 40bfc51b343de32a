#include "Database.h"
#include "DatabaseExceptions.h"
#include "SchemaCatalog.h"
#include "SqliteHooks.h"
#include "Statement.h"
#include "TemporaryCatalogue.h"
#include "TemporaryStoreRoot.h"
#include "Transaction.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

// The catalogue as other versions of the store read it: every table with its columns, keys and
// indexes, written down here independently of the texts that create it.

struct ExpectedColumn {
    std::string name;
    std::string type;
    bool notNull;
    int primaryKey;
};

struct ExpectedForeignKey {
    std::string constraint;
    std::string column;
    std::string referencedTable;
    bool cascade; // ON DELETE CASCADE; otherwise DEFERRABLE INITIALLY DEFERRED
};

struct ExpectedIndex {
    std::string name;
    std::string column;
};

struct ExpectedTable {
    std::string name;
    std::vector<ExpectedColumn> columns;
    std::vector<ExpectedForeignKey> foreignKeys;
    std::vector<ExpectedIndex> indexes;
};

ExpectedColumn integer(const std::string& name)
{
    return {name, "INTEGER", true, 0};
}

ExpectedColumn idColumn()
{
    return {"Id", "INTEGER", true, 1};
}

ExpectedTable fileInfoTable(const std::string& name)
{
    return {name,
            {idColumn(), integer("UtcCreated_sec"), integer("UtcCreated_nsec"), integer("UtcStart_sec"),
             integer("UtcStart_nsec"), integer("UtcEnd_sec"), integer("UtcEnd_nsec"), integer("DataType"),
             integer("GuidLow"), integer("GuidHigh"), integer("HeaderSize"), integer("DataBlockSize"),
             integer("mType")},
            {},
            {}};
}

ExpectedTable typeTable(const std::string& name, const std::vector<ExpectedColumn>& added)
{
    ExpectedTable table{name,
                        {idColumn(), integer("UtcStart_sec"), integer("UtcStart_nsec"), integer("UtcEnd_sec"),
                         integer("UtcEnd_nsec"), integer("mType"), integer("mDataType")},
                        {},
                        {}};
    table.columns.insert(table.columns.end(), added.begin(), added.end());
    return table;
}

ExpectedTable linkTable(const std::string& name, const std::string& owner, const std::string& typeTableName,
                        const std::string& fileTable)
{
    return {
        name,
        {integer(owner), integer("file_info_id")},
        {{owner + "_fk", owner, typeTableName, true}, {"file_info_id_fk", "file_info_id", fileTable, false}},
        {{name + "_" + owner + "_i", owner}}};
}

const std::vector<ExpectedColumn> kConfigId = {{"ConfigId", "TEXT", true, 0}};

std::vector<ExpectedTable> expectedTables()
{
    return {
        fileInfoTable("LoggerFileInfo"),
        {"DefnEventString",
         {idColumn(), integer("Utc_sec"), integer("Utc_nsec"), {"Description", "TEXT", true, 0}},
         {},
         {}},
        typeTable("DefnBaseType", {}),
        fileInfoTable("LoggerFileInfoMeasure"),
        typeTable("DefnMeasureType", {{"MeasType_ConfigId", "TEXT", true, 0},
                                      integer("MeasType_Phase"),
                                      integer("MeasType_Unit"),
                                      integer("MeasType_Prefix"),
                                      integer("MeasType_UnitFactor"),
                                      integer("MeasType_QuantityType"),
                                      integer("MeasType_MeasValueType"),
                                      {"MeasType_Interval", "REAL", false, 0},
                                      integer("MeasType_Index")}),
        linkTable("DefnMeasureType_FileInfos", "measure_id", "DefnMeasureType", "LoggerFileInfoMeasure"),
        fileInfoTable("LoggerFileInfoEvent"),
        typeTable("DefnEventType", kConfigId),
        linkTable("DefnEventType_FileInfos", "measure_id", "DefnEventType", "LoggerFileInfoEvent"),
        {"DefnEventType_EventStrings",
         {integer("object_id"), integer("index"), {"value", "INTEGER", false, 0}},
         {{"object_id_fk", "object_id", "DefnEventType", true},
          {"value_fk", "value", "DefnEventString", false}},
         {{"DefnEventType_EventStrings_object_id_i", "object_id"},
          {"DefnEventType_EventStrings_index_i", "index"}}},
        fileInfoTable("LoggerFileInfoPqEvent"),
        typeTable("DefnPqEventType", kConfigId),
        linkTable("DefnPqEventType_FileInfos", "pq_event_id", "DefnPqEventType", "LoggerFileInfoPqEvent"),
        fileInfoTable("LoggerFileInfoDisturb"),
        typeTable("DefnDisturbType", kConfigId),
        linkTable("DefnDisturbType_FileInfos", "measure_id", "DefnDisturbType", "LoggerFileInfoDisturb"),
        fileInfoTable("LoggerFileInfoOperator"),
        typeTable("DefnOperatorType", {}),
        linkTable("DefnOperatorType_FileInfos", "operator_id", "DefnOperatorType", "LoggerFileInfoOperator"),
        {"schema_version",
         {{"name", "TEXT", true, 1}, integer("version"), integer("migration")},
         {},
         {{"sqlite_autoindex_schema_version_1", "name"}}},
    };
}

// The tables whose Id the catalogue gives out.
std::vector<std::string> autoincrementTables()
{
    std::vector<std::string> names;
    for (const ExpectedTable& table : expectedTables()) {
        if (!table.columns.empty() && table.columns.front().name == "Id") {
            names.push_back(table.name);
        }
    }
    return names;
}

// Schema texts compared with runs of white space as one blank.
std::string normalized(const std::string& sql)
{
    std::string result;
    bool blank = false;
    for (char c : sql) {
        if (c == ' ' || c == '\n' || c == '\t' || c == '\r') {
            blank = true;
            continue;
        }
        if (blank && !result.empty()) {
            result += ' ';
        }
        blank = false;
        result += c;
    }
    return result;
}

std::string firstLine(const std::string& sql)
{
    return sql.substr(0, sql.find('\n'));
}

std::string quoted(const std::string& identifier)
{
    return "\"" + identifier + "\"";
}

std::vector<std::pair<std::string, std::string>> masterEntries(qzdb::Database& database)
{
    std::vector<std::pair<std::string, std::string>> entries;
    qzdb::Statement select(database, "SELECT \"type\", \"name\" FROM \"sqlite_master\" ORDER BY rowid");
    while (select.step()) {
        entries.emplace_back(select.columnString(0), select.columnString(1));
    }
    return entries;
}

std::string masterSql(qzdb::Database& database, const std::string& name)
{
    qzdb::Statement select(database, "SELECT \"sql\" FROM \"sqlite_master\" WHERE \"name\"=?");
    select.bind(1, name);
    return select.step() ? select.columnString(0) : std::string();
}

int64_t countRows(qzdb::Database& database, const std::string& table)
{
    return queryNumber(database, "SELECT count(*) FROM " + quoted(table));
}

// Inserts a row with every column 0 or empty but those given, and returns its rowid.
int64_t insertRow(qzdb::Database& database, const std::string& table,
                  const std::map<std::string, int64_t>& values = {})
{
    std::vector<std::pair<std::string, std::string>> columns;
    qzdb::Statement info(database, "SELECT \"name\", \"type\" FROM pragma_table_info(?)");
    info.bind(1, table);
    while (info.step()) {
        columns.emplace_back(info.columnString(0), info.columnString(1));
    }
    std::string names;
    std::string parameters;
    for (const auto& column : columns) {
        names += (names.empty() ? "" : ", ") + quoted(column.first);
        parameters += parameters.empty() ? "?" : ", ?";
    }
    qzdb::Statement insert(database,
                           "INSERT INTO " + quoted(table) + " (" + names + ") VALUES (" + parameters + ")");
    int index = 1;
    for (const auto& column : columns) {
        const auto given = values.find(column.first);
        if (given != values.end()) {
            insert.bind(index++, given->second);
        } else if (column.first == "Id") {
            insert.bind(index++, nullptr);
        } else if (column.second == "TEXT") {
            insert.bind(index++, std::string());
        } else {
            insert.bind(index++, int64_t{0});
        }
    }
    insert.step();
    return database.lastInsertRowId();
}

std::unique_ptr<qzdb::Database> openFresh(const TemporaryStoreRoot& root)
{
    auto database = std::make_unique<qzdb::Database>(root.filePath("catalogue.db").toStdString(),
                                                     qzdb::Database::kOpenReadWriteCreate);
    database->setBusyTimeout(0);
    return database;
}

// The schema made as the writer makes it: foreign keys off, one transaction.
void createInTransaction(qzdb::Database& database, bool dropFirst)
{
    database.executeRaw("PRAGMA foreign_keys=OFF");
    qzdb::Transaction transaction(database, false);
    qzdb::SchemaCatalog::createSchema(database, "", dropFirst);
    transaction.commit();
    database.executeRaw("PRAGMA foreign_keys=ON");
}

class CatalogueSchemaTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(mCatalogue.isValid()); }

    qzdb::Database& db() { return mCatalogue.database(); }

    TemporaryCatalogue mCatalogue;
};

TEST_F(CatalogueSchemaTest, EveryTableHasItsColumnsInOrder)
{
    for (const ExpectedTable& table : expectedTables()) {
        SCOPED_TRACE(table.name);
        qzdb::Statement info(db(), "SELECT \"name\", \"type\", \"notnull\", \"pk\", \"dflt_value\" "
                                   "FROM pragma_table_info(?) ORDER BY \"cid\"");
        info.bind(1, table.name);
        std::size_t i = 0;
        while (info.step()) {
            ASSERT_LT(i, table.columns.size()) << "unexpected column " << info.columnString(0);
            const ExpectedColumn& expected = table.columns[i];
            EXPECT_EQ(info.columnString(0), expected.name);
            EXPECT_EQ(info.columnString(1), expected.type) << expected.name;
            EXPECT_EQ(info.columnInt(2) != 0, expected.notNull) << expected.name;
            EXPECT_EQ(info.columnInt(3), expected.primaryKey) << expected.name;
            EXPECT_TRUE(info.isNull(4)) << expected.name << " has a default";
            ++i;
        }
        EXPECT_EQ(i, table.columns.size());
    }
}

TEST_F(CatalogueSchemaTest, IdsAreAutoincrementKeys)
{
    for (const std::string& table : autoincrementTables()) {
        SCOPED_TRACE(table);
        EXPECT_NE(
            normalized(masterSql(db(), table)).find("\"Id\" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,"),
            std::string::npos);
    }
    EXPECT_EQ(autoincrementTables().size(), 13u); // six file-info tables, six type tables, the texts
}

TEST_F(CatalogueSchemaTest, ForeignKeysReferenceTheOwnerWithCascadeAndTheTargetDeferred)
{
    for (const ExpectedTable& table : expectedTables()) {
        SCOPED_TRACE(table.name);
        std::map<std::string, std::vector<std::string>> found; // by column
        qzdb::Statement list(db(),
                             "SELECT \"from\", \"table\", \"to\", \"on_update\", \"on_delete\", \"match\", "
                             "\"seq\" FROM pragma_foreign_key_list(?)");
        list.bind(1, table.name);
        while (list.step()) {
            EXPECT_EQ(list.columnInt(6), 0) << "a key of more than one column";
            found[list.columnString(0)] = {list.columnString(1), list.columnString(2), list.columnString(3),
                                           list.columnString(4), list.columnString(5)};
        }
        EXPECT_EQ(found.size(), table.foreignKeys.size());

        const std::string sql = normalized(masterSql(db(), table.name));
        int deferred = 0;
        int cascades = 0;
        for (const ExpectedForeignKey& key : table.foreignKeys) {
            SCOPED_TRACE(key.constraint);
            const std::vector<std::string> expected = {key.referencedTable, "Id", "NO ACTION",
                                                       key.cascade ? "CASCADE" : "NO ACTION", "NONE"};
            EXPECT_EQ(found[key.column], expected);

            // Constraint names and deferral are not in the pragma; the stored text has them.
            const std::string clause = "CONSTRAINT " + quoted(key.constraint) + " FOREIGN KEY (" +
                                       quoted(key.column) + ") REFERENCES " + quoted(key.referencedTable) +
                                       " (\"Id\") " +
                                       (key.cascade ? "ON DELETE CASCADE" : "DEFERRABLE INITIALLY DEFERRED");
            const std::size_t at = sql.find(clause);
            ASSERT_NE(at, std::string::npos) << sql;
            const char next = sql[at + clause.size()];
            EXPECT_TRUE(next == ',' || next == ')') << "the clause goes on: " << sql.substr(at);
            (key.cascade ? cascades : deferred) += 1;
        }
        auto occurrences = [&sql](const std::string& word) {
            int count = 0;
            for (std::size_t at = sql.find(word); at != std::string::npos; at = sql.find(word, at + 1)) {
                ++count;
            }
            return count;
        };
        EXPECT_EQ(occurrences("DEFERRABLE INITIALLY DEFERRED"), deferred);
        EXPECT_EQ(occurrences("DEFERRABLE"), deferred);
        EXPECT_EQ(occurrences("ON DELETE CASCADE"), cascades);
        EXPECT_EQ(occurrences("CONSTRAINT"), static_cast<int>(table.foreignKeys.size()));
    }
}

TEST_F(CatalogueSchemaTest, IndexesLieOnTheOwnerAndIndexColumns)
{
    for (const ExpectedTable& table : expectedTables()) {
        SCOPED_TRACE(table.name);
        std::set<std::string> names;
        qzdb::Statement list(
            db(), "SELECT \"name\", \"unique\", \"origin\", \"partial\" FROM pragma_index_list(?)");
        list.bind(1, table.name);
        while (list.step()) {
            names.insert(list.columnString(0));
            const bool automatic = list.columnString(2) == "pk";
            EXPECT_EQ(list.columnInt(1), automatic ? 1 : 0) << list.columnString(0);
            EXPECT_EQ(list.columnInt(3), 0) << list.columnString(0);
        }
        std::set<std::string> expectedNames;
        for (const ExpectedIndex& index : table.indexes) {
            expectedNames.insert(index.name);
            qzdb::Statement info(db(), "SELECT \"name\" FROM pragma_index_info(?) ORDER BY \"seqno\"");
            info.bind(1, index.name);
            std::vector<std::string> columns;
            while (info.step()) {
                columns.push_back(info.columnString(0));
            }
            EXPECT_EQ(columns, std::vector<std::string>{index.column}) << index.name;
            if (index.name.compare(0, 7, "sqlite_") != 0) {
                EXPECT_EQ(normalized(masterSql(db(), index.name)), "CREATE INDEX " + quoted(index.name) +
                                                                       " ON " + quoted(table.name) + " (" +
                                                                       quoted(index.column) + ")");
            }
        }
        EXPECT_EQ(names, expectedNames);
    }
}

TEST_F(CatalogueSchemaTest, VersionRowNamesTheEmptySchemaAtVersionOne)
{
    qzdb::Statement select(db(), "SELECT \"name\", \"version\", \"migration\" FROM \"schema_version\"");
    ASSERT_TRUE(select.step());
    EXPECT_EQ(select.columnString(0), "");
    EXPECT_EQ(select.columnInt(1), 1);
    EXPECT_EQ(select.columnInt(2), 0);
    EXPECT_FALSE(select.step());
}

// The creation order, as sqlite_master keeps it: two passes over the eight entries, tables
// and indexes first, the version table last. SQLite adds sqlite_sequence with the first
// AUTOINCREMENT table.
TEST(CatalogueSchemaOrderTest, CreationFollowsTheEntriesAndPutsTheVersionLast)
{
    TemporaryStoreRoot root;
    auto database = openFresh(root);
    createInTransaction(*database, false);

    const std::vector<std::pair<std::string, std::string>> expected = {
        {"table", "LoggerFileInfo"},
        {"table", "sqlite_sequence"},
        {"table", "DefnEventString"},
        {"table", "DefnBaseType"},
        {"table", "LoggerFileInfoMeasure"},
        {"table", "DefnMeasureType"},
        {"table", "DefnMeasureType_FileInfos"},
        {"index", "DefnMeasureType_FileInfos_measure_id_i"},
        {"table", "LoggerFileInfoEvent"},
        {"table", "DefnEventType"},
        {"table", "DefnEventType_FileInfos"},
        {"index", "DefnEventType_FileInfos_measure_id_i"},
        {"table", "DefnEventType_EventStrings"},
        {"index", "DefnEventType_EventStrings_object_id_i"},
        {"index", "DefnEventType_EventStrings_index_i"},
        {"table", "LoggerFileInfoPqEvent"},
        {"table", "DefnPqEventType"},
        {"table", "DefnPqEventType_FileInfos"},
        {"index", "DefnPqEventType_FileInfos_pq_event_id_i"},
        {"table", "LoggerFileInfoDisturb"},
        {"table", "DefnDisturbType"},
        {"table", "DefnDisturbType_FileInfos"},
        {"index", "DefnDisturbType_FileInfos_measure_id_i"},
        {"table", "LoggerFileInfoOperator"},
        {"table", "DefnOperatorType"},
        {"table", "DefnOperatorType_FileInfos"},
        {"index", "DefnOperatorType_FileInfos_operator_id_i"},
        {"table", "schema_version"},
        {"index", "sqlite_autoindex_schema_version_1"},
    };
    EXPECT_EQ(masterEntries(*database), expected);
}

// The statements of a create with a drop in front, by their first lines: each entry drops its
// tables in the order opposite to their creation, the entries from the last to the first, and
// all but the first remove the version row; then the two passes of creation.
TEST(CatalogueSchemaOrderTest, DropThenCreateRunsItsStatementsInOrder)
{
    TemporaryStoreRoot root;
    auto database = openFresh(root);
    createInTransaction(*database, false);

    database->executeRaw("PRAGMA foreign_keys=OFF");
    const std::vector<std::string> statements = SqliteHooks::traceStatements(
        database->handle(), [&database] { qzdb::SchemaCatalog::createSchema(*database, "", true); });

    const std::string versionTable = "CREATE TABLE IF NOT EXISTS \"schema_version\" (";
    const std::string versionDelete = "DELETE FROM \"schema_version\"";
    const std::string versionInsert = "INSERT OR IGNORE INTO \"schema_version\" (";
    auto drop = [](const std::string& table) { return "DROP TABLE IF EXISTS \"" + table + "\""; };
    auto create = [](const std::string& table) { return "CREATE TABLE \"" + table + "\" ("; };
    auto index = [](const std::string& name) { return "CREATE INDEX \"" + name + "\""; };

    // clang-format off
    std::vector<std::string> expected = {
        drop("DefnOperatorType_FileInfos"), drop("DefnOperatorType"), drop("LoggerFileInfoOperator"),
        versionTable, versionDelete,
        drop("DefnDisturbType_FileInfos"), drop("DefnDisturbType"), drop("LoggerFileInfoDisturb"),
        versionTable, versionDelete,
        drop("DefnPqEventType_FileInfos"), drop("DefnPqEventType"), drop("LoggerFileInfoPqEvent"),
        versionTable, versionDelete,
        drop("DefnEventType_EventStrings"), drop("DefnEventType_FileInfos"), drop("DefnEventType"),
        drop("LoggerFileInfoEvent"), versionTable, versionDelete,
        drop("DefnMeasureType_FileInfos"), drop("DefnMeasureType"), drop("LoggerFileInfoMeasure"),
        versionTable, versionDelete,
        drop("DefnBaseType"), versionTable, versionDelete,
        drop("DefnEventString"), versionTable, versionDelete,
        drop("LoggerFileInfo"),
        create("LoggerFileInfo"),
        create("DefnEventString"),
        create("DefnBaseType"),
        create("LoggerFileInfoMeasure"), create("DefnMeasureType"), create("DefnMeasureType_FileInfos"),
        index("DefnMeasureType_FileInfos_measure_id_i"),
        create("LoggerFileInfoEvent"), create("DefnEventType"), create("DefnEventType_FileInfos"),
        index("DefnEventType_FileInfos_measure_id_i"), create("DefnEventType_EventStrings"),
        index("DefnEventType_EventStrings_object_id_i"), index("DefnEventType_EventStrings_index_i"),
        create("LoggerFileInfoPqEvent"), create("DefnPqEventType"), create("DefnPqEventType_FileInfos"),
        index("DefnPqEventType_FileInfos_pq_event_id_i"),
        create("LoggerFileInfoDisturb"), create("DefnDisturbType"), create("DefnDisturbType_FileInfos"),
        index("DefnDisturbType_FileInfos_measure_id_i"),
        create("LoggerFileInfoOperator"), create("DefnOperatorType"), create("DefnOperatorType_FileInfos"),
        index("DefnOperatorType_FileInfos_operator_id_i"),
    };
    // clang-format on
    for (int entry = 0; entry < 7; ++entry) {
        expected.push_back(versionTable);
        expected.push_back(versionInsert);
    }

    std::vector<std::string> firstLines;
    for (const std::string& statement : statements) {
        firstLines.push_back(firstLine(statement));
    }
    EXPECT_EQ(firstLines, expected);
    EXPECT_EQ(statements.back(), "INSERT OR IGNORE INTO \"schema_version\" (\n"
                                 "  \"name\", \"version\", \"migration\")\n"
                                 "  VALUES ('', 1, 0)");
    EXPECT_EQ(statements[4], "DELETE FROM \"schema_version\"\n"
                             "  WHERE \"name\" = ''");
}

TEST(CatalogueSchemaOrderTest, DropOnAnEmptyFileLeavesOnlyTheVersionTable)
{
    TemporaryStoreRoot root;
    auto database = openFresh(root);
    qzdb::SchemaCatalog::dropSchema(*database);
    const std::vector<std::pair<std::string, std::string>> expected = {
        {"table", "schema_version"}, {"index", "sqlite_autoindex_schema_version_1"}};
    EXPECT_EQ(masterEntries(*database), expected);
    EXPECT_EQ(countRows(*database, "schema_version"), 0);
}

TEST_F(CatalogueSchemaTest, DropThenCreateEmptiesEveryTable)
{
    const int64_t type = insertRow(db(), "DefnMeasureType");
    const int64_t file = insertRow(db(), "LoggerFileInfoMeasure");
    insertRow(db(), "DefnMeasureType_FileInfos", {{"measure_id", type}, {"file_info_id", file}});
    insertRow(db(), "DefnEventString");
    ASSERT_EQ(countRows(db(), "DefnMeasureType_FileInfos"), 1);

    createInTransaction(db(), true);

    for (const ExpectedTable& table : expectedTables()) {
        if (table.name != "schema_version") {
            EXPECT_EQ(countRows(db(), table.name), 0) << table.name;
        }
    }
    EXPECT_EQ(queryText(db(), "SELECT \"version\" || '/' || \"migration\" FROM \"schema_version\" "
                              "WHERE \"name\"=''"),
              "1/0");
    EXPECT_EQ(masterEntries(db()).size(), 29u);
}

// A filled catalogue can be dropped with its foreign keys enforced: every table that refers to
// another goes as well, so no deferred key finds a row to object to at the commit.
TEST_F(CatalogueSchemaTest, DropOfAFilledCatalogueCommitsWithForeignKeysOn)
{
    const int64_t text = insertRow(db(), "DefnEventString");
    const int64_t eventType = insertRow(db(), "DefnEventType");
    const int64_t eventFile = insertRow(db(), "LoggerFileInfoEvent");
    insertRow(db(), "DefnEventType_FileInfos", {{"measure_id", eventType}, {"file_info_id", eventFile}});
    insertRow(db(), "DefnEventType_EventStrings", {{"object_id", eventType}, {"value", text}});
    const int64_t measureType = insertRow(db(), "DefnMeasureType");
    const int64_t measureFile = insertRow(db(), "LoggerFileInfoMeasure");
    insertRow(db(), "DefnMeasureType_FileInfos",
              {{"measure_id", measureType}, {"file_info_id", measureFile}});
    ASSERT_EQ(queryText(db(), "PRAGMA foreign_keys"), "1");

    qzdb::Transaction transaction(db(), false);
    qzdb::SchemaCatalog::dropSchema(db());
    EXPECT_NO_THROW(transaction.commit());
    EXPECT_FALSE(db().tableExists("DefnEventString"));
    EXPECT_FALSE(db().tableExists("LoggerFileInfo"));
    EXPECT_TRUE(db().tableExists("schema_version"));
}

TEST_F(CatalogueSchemaTest, DropSchemaRemovesTablesAndOnlyItsVersionRow)
{
    db().executeRaw("INSERT INTO \"schema_version\" VALUES ('other', 4, 0)");
    qzdb::SchemaCatalog::dropSchema(db());

    const std::vector<std::pair<std::string, std::string>> expected = {
        {"table", "sqlite_sequence"},
        {"table", "schema_version"},
        {"index", "sqlite_autoindex_schema_version_1"}};
    std::vector<std::pair<std::string, std::string>> entries = masterEntries(db());
    std::sort(entries.begin(), entries.end());
    std::vector<std::pair<std::string, std::string>> sortedExpected = expected;
    std::sort(sortedExpected.begin(), sortedExpected.end());
    EXPECT_EQ(entries, sortedExpected);
    EXPECT_EQ(queryText(db(), "SELECT group_concat(\"name\") FROM \"schema_version\""), "other");
}

// A version row from an earlier run stays as it is: the insert is "OR IGNORE".
TEST(CatalogueSchemaOrderTest, CreateWithoutDropKeepsAnEarlierVersionRow)
{
    TemporaryStoreRoot root;
    auto database = openFresh(root);
    database->executeRaw("CREATE TABLE \"schema_version\" (\n"
                         "  \"name\" TEXT NOT NULL PRIMARY KEY,\n"
                         "  \"version\" INTEGER NOT NULL,\n"
                         "  \"migration\" INTEGER NOT NULL)");
    database->executeRaw("INSERT INTO \"schema_version\" VALUES ('', 1, 1)");

    createInTransaction(*database, false);

    EXPECT_EQ(queryText(*database,
                        "SELECT group_concat(\"name\" || ':' || \"version\" || ':' || \"migration\") "
                        "FROM \"schema_version\""),
              ":1:1");
    EXPECT_TRUE(database->tableExists("DefnOperatorType_FileInfos"));
}

TEST_F(CatalogueSchemaTest, CreateWithoutDropOverAnExistingSchemaFails)
{
    qzdb::Transaction transaction(db(), false);
    try {
        qzdb::SchemaCatalog::createSchema(db(), "", false);
        FAIL() << "the tables exist already";
    } catch (const qzdb::DatabaseException& e) {
        EXPECT_EQ(e.message(), "table \"LoggerFileInfo\" already exists");
    }
}

TEST(CatalogueSchemaOrderTest, UnknownSchemaNameThrowsAndTouchesNothing)
{
    TemporaryStoreRoot root;
    auto database = openFresh(root);
    EXPECT_TRUE(qzdb::SchemaCatalog::exists(""));
    EXPECT_FALSE(qzdb::SchemaCatalog::exists("logger"));
    try {
        qzdb::SchemaCatalog::createSchema(*database, "logger");
        FAIL() << "no schema of that name";
    } catch (const qzdb::UnknownSchema& e) {
        EXPECT_STREQ(e.what(), "unknown database schema 'logger'");
    }
    EXPECT_THROW(qzdb::SchemaCatalog::dropSchema(*database, "logger"), qzdb::UnknownSchema);
    EXPECT_TRUE(masterEntries(*database).empty());
}

// An Id names what it named for good: deleting the newest row does not give its Id out again,
// which a plain INTEGER PRIMARY KEY would.
TEST_F(CatalogueSchemaTest, IdsAreNotReusedAfterTheLastRowIsDeleted)
{
    for (const std::string& table : autoincrementTables()) {
        SCOPED_TRACE(table);
        const int64_t first = insertRow(db(), table);
        const int64_t second = insertRow(db(), table);
        EXPECT_EQ(second, first + 1);

        qzdb::Statement erase(db(), "DELETE FROM " + quoted(table) + " WHERE \"Id\"=?");
        erase.bind(1, second);
        erase.step();
        ASSERT_EQ(db().changes(), 1);

        const int64_t third = insertRow(db(), table);
        EXPECT_EQ(third, second + 1);

        qzdb::Statement sequence(db(), "SELECT \"seq\" FROM \"sqlite_sequence\" WHERE \"name\"=?");
        sequence.bind(1, table);
        ASSERT_TRUE(sequence.step());
        EXPECT_EQ(sequence.columnInt64(0), third);
    }
}

// The link tables at the level of rows: deleting a type takes its links with it at once, and
// leaves the files; a file may go before its links within a transaction.
TEST_F(CatalogueSchemaTest, DeletingATypeCascadesToItsLinksAndLeavesItsFiles)
{
    struct Link {
        std::string table, owner, typeTable, fileTable;
    };
    const std::vector<Link> links = {
        {"DefnMeasureType_FileInfos", "measure_id", "DefnMeasureType", "LoggerFileInfoMeasure"},
        {"DefnEventType_FileInfos", "measure_id", "DefnEventType", "LoggerFileInfoEvent"},
        {"DefnPqEventType_FileInfos", "pq_event_id", "DefnPqEventType", "LoggerFileInfoPqEvent"},
        {"DefnDisturbType_FileInfos", "measure_id", "DefnDisturbType", "LoggerFileInfoDisturb"},
        {"DefnOperatorType_FileInfos", "operator_id", "DefnOperatorType", "LoggerFileInfoOperator"},
        {"DefnEventType_EventStrings", "object_id", "DefnEventType", "DefnEventString"},
    };
    for (const Link& link : links) {
        SCOPED_TRACE(link.table);
        const std::string valueColumn = link.fileTable == "DefnEventString" ? "value" : "file_info_id";
        const int64_t type = insertRow(db(), link.typeTable);
        const int64_t target = insertRow(db(), link.fileTable);
        insertRow(db(), link.table, {{link.owner, type}, {valueColumn, target}});
        const int64_t targets = countRows(db(), link.fileTable);

        qzdb::Statement erase(db(), "DELETE FROM " + quoted(link.typeTable) + " WHERE \"Id\"=?");
        erase.bind(1, type);
        erase.step();
        EXPECT_EQ(countRows(db(), link.table), 0);
        EXPECT_EQ(countRows(db(), link.fileTable), targets);
    }
}

TEST_F(CatalogueSchemaTest, TargetsMayGoBeforeTheirLinksWithinATransaction)
{
    const int64_t type = insertRow(db(), "DefnMeasureType");
    const int64_t file = insertRow(db(), "LoggerFileInfoMeasure");
    insertRow(db(), "DefnMeasureType_FileInfos", {{"measure_id", type}, {"file_info_id", file}});

    {
        qzdb::Transaction transaction(db(), false);
        db().executeRaw("DELETE FROM \"LoggerFileInfoMeasure\"");
        db().executeRaw("DELETE FROM \"DefnMeasureType_FileInfos\"");
        EXPECT_NO_THROW(transaction.commit());
    }

    // A link left pointing nowhere is refused at the commit, and the transaction is undone.
    const int64_t second = insertRow(db(), "LoggerFileInfoMeasure");
    insertRow(db(), "DefnMeasureType_FileInfos", {{"measure_id", type}, {"file_info_id", second}});
    qzdb::Transaction transaction(db(), false);
    db().executeRaw("DELETE FROM \"LoggerFileInfoMeasure\"");
    try {
        transaction.commit();
        FAIL() << "the deferred key does not hold";
    } catch (const qzdb::DatabaseException& e) {
        EXPECT_EQ(e.message(), "FOREIGN KEY constraint failed");
        EXPECT_EQ(e.extendedCode(), 787); // SQLITE_CONSTRAINT_FOREIGNKEY
    }
    EXPECT_EQ(countRows(db(), "LoggerFileInfoMeasure"), 1);
}

} // namespace

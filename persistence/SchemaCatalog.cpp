#include "SchemaCatalog.h"

#include "Database.h"
#include "DatabaseExceptions.h"

#include <iterator>

namespace qzdb {

namespace {

// The catalogue is made of eight entries, each a group of tables that belong together. Their
// texts are fixed: table, column, constraint and index names are part of the format that
// readers of other versions open.

const char* const kLoggerFileInfoCreate[] = {
    "CREATE TABLE \"LoggerFileInfo\" (\n"
    "  \"Id\" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,\n"
    "  \"UtcCreated_sec\" INTEGER NOT NULL,\n"
    "  \"UtcCreated_nsec\" INTEGER NOT NULL,\n"
    "  \"UtcStart_sec\" INTEGER NOT NULL,\n"
    "  \"UtcStart_nsec\" INTEGER NOT NULL,\n"
    "  \"UtcEnd_sec\" INTEGER NOT NULL,\n"
    "  \"UtcEnd_nsec\" INTEGER NOT NULL,\n"
    "  \"DataType\" INTEGER NOT NULL,\n"
    "  \"GuidLow\" INTEGER NOT NULL,\n"
    "  \"GuidHigh\" INTEGER NOT NULL,\n"
    "  \"HeaderSize\" INTEGER NOT NULL,\n"
    "  \"DataBlockSize\" INTEGER NOT NULL,\n"
    "  \"mType\" INTEGER NOT NULL)",
};

const char* const kDefnEventStringCreate[] = {
    "CREATE TABLE \"DefnEventString\" (\n"
    "  \"Id\" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,\n"
    "  \"Utc_sec\" INTEGER NOT NULL,\n"
    "  \"Utc_nsec\" INTEGER NOT NULL,\n"
    "  \"Description\" TEXT NOT NULL)",
};

const char* const kDefnBaseTypeCreate[] = {
    "CREATE TABLE \"DefnBaseType\" (\n"
    "  \"Id\" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,\n"
    "  \"UtcStart_sec\" INTEGER NOT NULL,\n"
    "  \"UtcStart_nsec\" INTEGER NOT NULL,\n"
    "  \"UtcEnd_sec\" INTEGER NOT NULL,\n"
    "  \"UtcEnd_nsec\" INTEGER NOT NULL,\n"
    "  \"mType\" INTEGER NOT NULL,\n"
    "  \"mDataType\" INTEGER NOT NULL)",
};

const char* const kMeasureCreate[] = {
    "CREATE TABLE \"LoggerFileInfoMeasure\" (\n"
    "  \"Id\" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,\n"
    "  \"UtcCreated_sec\" INTEGER NOT NULL,\n"
    "  \"UtcCreated_nsec\" INTEGER NOT NULL,\n"
    "  \"UtcStart_sec\" INTEGER NOT NULL,\n"
    "  \"UtcStart_nsec\" INTEGER NOT NULL,\n"
    "  \"UtcEnd_sec\" INTEGER NOT NULL,\n"
    "  \"UtcEnd_nsec\" INTEGER NOT NULL,\n"
    "  \"DataType\" INTEGER NOT NULL,\n"
    "  \"GuidLow\" INTEGER NOT NULL,\n"
    "  \"GuidHigh\" INTEGER NOT NULL,\n"
    "  \"HeaderSize\" INTEGER NOT NULL,\n"
    "  \"DataBlockSize\" INTEGER NOT NULL,\n"
    "  \"mType\" INTEGER NOT NULL)",
    "CREATE TABLE \"DefnMeasureType\" (\n"
    "  \"Id\" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,\n"
    "  \"UtcStart_sec\" INTEGER NOT NULL,\n"
    "  \"UtcStart_nsec\" INTEGER NOT NULL,\n"
    "  \"UtcEnd_sec\" INTEGER NOT NULL,\n"
    "  \"UtcEnd_nsec\" INTEGER NOT NULL,\n"
    "  \"mType\" INTEGER NOT NULL,\n"
    "  \"mDataType\" INTEGER NOT NULL,\n"
    "  \"MeasType_ConfigId\" TEXT NOT NULL,\n"
    "  \"MeasType_Phase\" INTEGER NOT NULL,\n"
    "  \"MeasType_Unit\" INTEGER NOT NULL,\n"
    "  \"MeasType_Prefix\" INTEGER NOT NULL,\n"
    "  \"MeasType_UnitFactor\" INTEGER NOT NULL,\n"
    "  \"MeasType_QuantityType\" INTEGER NOT NULL,\n"
    "  \"MeasType_MeasValueType\" INTEGER NOT NULL,\n"
    "  \"MeasType_Interval\" REAL NULL,\n"
    "  \"MeasType_Index\" INTEGER NOT NULL)",
    "CREATE TABLE \"DefnMeasureType_FileInfos\" (\n"
    "  \"measure_id\" INTEGER NOT NULL,\n"
    "  \"file_info_id\" INTEGER NOT NULL,\n"
    "  CONSTRAINT \"measure_id_fk\"\n"
    "    FOREIGN KEY (\"measure_id\")\n"
    "    REFERENCES \"DefnMeasureType\" (\"Id\")\n"
    "    ON DELETE CASCADE,\n"
    "  CONSTRAINT \"file_info_id_fk\"\n"
    "    FOREIGN KEY (\"file_info_id\")\n"
    "    REFERENCES \"LoggerFileInfoMeasure\" (\"Id\")\n"
    "    DEFERRABLE INITIALLY DEFERRED)",
    "CREATE INDEX \"DefnMeasureType_FileInfos_measure_id_i\"\n"
    "  ON \"DefnMeasureType_FileInfos\" (\"measure_id\")",
};

const char* const kEventCreate[] = {
    "CREATE TABLE \"LoggerFileInfoEvent\" (\n"
    "  \"Id\" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,\n"
    "  \"UtcCreated_sec\" INTEGER NOT NULL,\n"
    "  \"UtcCreated_nsec\" INTEGER NOT NULL,\n"
    "  \"UtcStart_sec\" INTEGER NOT NULL,\n"
    "  \"UtcStart_nsec\" INTEGER NOT NULL,\n"
    "  \"UtcEnd_sec\" INTEGER NOT NULL,\n"
    "  \"UtcEnd_nsec\" INTEGER NOT NULL,\n"
    "  \"DataType\" INTEGER NOT NULL,\n"
    "  \"GuidLow\" INTEGER NOT NULL,\n"
    "  \"GuidHigh\" INTEGER NOT NULL,\n"
    "  \"HeaderSize\" INTEGER NOT NULL,\n"
    "  \"DataBlockSize\" INTEGER NOT NULL,\n"
    "  \"mType\" INTEGER NOT NULL)",
    "CREATE TABLE \"DefnEventType\" (\n"
    "  \"Id\" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,\n"
    "  \"UtcStart_sec\" INTEGER NOT NULL,\n"
    "  \"UtcStart_nsec\" INTEGER NOT NULL,\n"
    "  \"UtcEnd_sec\" INTEGER NOT NULL,\n"
    "  \"UtcEnd_nsec\" INTEGER NOT NULL,\n"
    "  \"mType\" INTEGER NOT NULL,\n"
    "  \"mDataType\" INTEGER NOT NULL,\n"
    "  \"ConfigId\" TEXT NOT NULL)",
    "CREATE TABLE \"DefnEventType_FileInfos\" (\n"
    "  \"measure_id\" INTEGER NOT NULL,\n"
    "  \"file_info_id\" INTEGER NOT NULL,\n"
    "  CONSTRAINT \"measure_id_fk\"\n"
    "    FOREIGN KEY (\"measure_id\")\n"
    "    REFERENCES \"DefnEventType\" (\"Id\")\n"
    "    ON DELETE CASCADE,\n"
    "  CONSTRAINT \"file_info_id_fk\"\n"
    "    FOREIGN KEY (\"file_info_id\")\n"
    "    REFERENCES \"LoggerFileInfoEvent\" (\"Id\")\n"
    "    DEFERRABLE INITIALLY DEFERRED)",
    "CREATE INDEX \"DefnEventType_FileInfos_measure_id_i\"\n"
    "  ON \"DefnEventType_FileInfos\" (\"measure_id\")",
    "CREATE TABLE \"DefnEventType_EventStrings\" (\n"
    "  \"object_id\" INTEGER NOT NULL,\n"
    "  \"index\" INTEGER NOT NULL,\n"
    "  \"value\" INTEGER NULL,\n"
    "  CONSTRAINT \"object_id_fk\"\n"
    "    FOREIGN KEY (\"object_id\")\n"
    "    REFERENCES \"DefnEventType\" (\"Id\")\n"
    "    ON DELETE CASCADE,\n"
    "  CONSTRAINT \"value_fk\"\n"
    "    FOREIGN KEY (\"value\")\n"
    "    REFERENCES \"DefnEventString\" (\"Id\")\n"
    "    DEFERRABLE INITIALLY DEFERRED)",
    "CREATE INDEX \"DefnEventType_EventStrings_object_id_i\"\n"
    "  ON \"DefnEventType_EventStrings\" (\"object_id\")",
    "CREATE INDEX \"DefnEventType_EventStrings_index_i\"\n"
    "  ON \"DefnEventType_EventStrings\" (\"index\")",
};

const char* const kPqEventCreate[] = {
    "CREATE TABLE \"LoggerFileInfoPqEvent\" (\n"
    "  \"Id\" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,\n"
    "  \"UtcCreated_sec\" INTEGER NOT NULL,\n"
    "  \"UtcCreated_nsec\" INTEGER NOT NULL,\n"
    "  \"UtcStart_sec\" INTEGER NOT NULL,\n"
    "  \"UtcStart_nsec\" INTEGER NOT NULL,\n"
    "  \"UtcEnd_sec\" INTEGER NOT NULL,\n"
    "  \"UtcEnd_nsec\" INTEGER NOT NULL,\n"
    "  \"DataType\" INTEGER NOT NULL,\n"
    "  \"GuidLow\" INTEGER NOT NULL,\n"
    "  \"GuidHigh\" INTEGER NOT NULL,\n"
    "  \"HeaderSize\" INTEGER NOT NULL,\n"
    "  \"DataBlockSize\" INTEGER NOT NULL,\n"
    "  \"mType\" INTEGER NOT NULL)",
    "CREATE TABLE \"DefnPqEventType\" (\n"
    "  \"Id\" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,\n"
    "  \"UtcStart_sec\" INTEGER NOT NULL,\n"
    "  \"UtcStart_nsec\" INTEGER NOT NULL,\n"
    "  \"UtcEnd_sec\" INTEGER NOT NULL,\n"
    "  \"UtcEnd_nsec\" INTEGER NOT NULL,\n"
    "  \"mType\" INTEGER NOT NULL,\n"
    "  \"mDataType\" INTEGER NOT NULL,\n"
    "  \"ConfigId\" TEXT NOT NULL)",
    "CREATE TABLE \"DefnPqEventType_FileInfos\" (\n"
    "  \"pq_event_id\" INTEGER NOT NULL,\n"
    "  \"file_info_id\" INTEGER NOT NULL,\n"
    "  CONSTRAINT \"pq_event_id_fk\"\n"
    "    FOREIGN KEY (\"pq_event_id\")\n"
    "    REFERENCES \"DefnPqEventType\" (\"Id\")\n"
    "    ON DELETE CASCADE,\n"
    "  CONSTRAINT \"file_info_id_fk\"\n"
    "    FOREIGN KEY (\"file_info_id\")\n"
    "    REFERENCES \"LoggerFileInfoPqEvent\" (\"Id\")\n"
    "    DEFERRABLE INITIALLY DEFERRED)",
    "CREATE INDEX \"DefnPqEventType_FileInfos_pq_event_id_i\"\n"
    "  ON \"DefnPqEventType_FileInfos\" (\"pq_event_id\")",
};

const char* const kDisturbCreate[] = {
    "CREATE TABLE \"LoggerFileInfoDisturb\" (\n"
    "  \"Id\" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,\n"
    "  \"UtcCreated_sec\" INTEGER NOT NULL,\n"
    "  \"UtcCreated_nsec\" INTEGER NOT NULL,\n"
    "  \"UtcStart_sec\" INTEGER NOT NULL,\n"
    "  \"UtcStart_nsec\" INTEGER NOT NULL,\n"
    "  \"UtcEnd_sec\" INTEGER NOT NULL,\n"
    "  \"UtcEnd_nsec\" INTEGER NOT NULL,\n"
    "  \"DataType\" INTEGER NOT NULL,\n"
    "  \"GuidLow\" INTEGER NOT NULL,\n"
    "  \"GuidHigh\" INTEGER NOT NULL,\n"
    "  \"HeaderSize\" INTEGER NOT NULL,\n"
    "  \"DataBlockSize\" INTEGER NOT NULL,\n"
    "  \"mType\" INTEGER NOT NULL)",
    "CREATE TABLE \"DefnDisturbType\" (\n"
    "  \"Id\" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,\n"
    "  \"UtcStart_sec\" INTEGER NOT NULL,\n"
    "  \"UtcStart_nsec\" INTEGER NOT NULL,\n"
    "  \"UtcEnd_sec\" INTEGER NOT NULL,\n"
    "  \"UtcEnd_nsec\" INTEGER NOT NULL,\n"
    "  \"mType\" INTEGER NOT NULL,\n"
    "  \"mDataType\" INTEGER NOT NULL,\n"
    "  \"ConfigId\" TEXT NOT NULL)",
    "CREATE TABLE \"DefnDisturbType_FileInfos\" (\n"
    "  \"measure_id\" INTEGER NOT NULL,\n"
    "  \"file_info_id\" INTEGER NOT NULL,\n"
    "  CONSTRAINT \"measure_id_fk\"\n"
    "    FOREIGN KEY (\"measure_id\")\n"
    "    REFERENCES \"DefnDisturbType\" (\"Id\")\n"
    "    ON DELETE CASCADE,\n"
    "  CONSTRAINT \"file_info_id_fk\"\n"
    "    FOREIGN KEY (\"file_info_id\")\n"
    "    REFERENCES \"LoggerFileInfoDisturb\" (\"Id\")\n"
    "    DEFERRABLE INITIALLY DEFERRED)",
    "CREATE INDEX \"DefnDisturbType_FileInfos_measure_id_i\"\n"
    "  ON \"DefnDisturbType_FileInfos\" (\"measure_id\")",
};

const char* const kOperatorCreate[] = {
    "CREATE TABLE \"LoggerFileInfoOperator\" (\n"
    "  \"Id\" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,\n"
    "  \"UtcCreated_sec\" INTEGER NOT NULL,\n"
    "  \"UtcCreated_nsec\" INTEGER NOT NULL,\n"
    "  \"UtcStart_sec\" INTEGER NOT NULL,\n"
    "  \"UtcStart_nsec\" INTEGER NOT NULL,\n"
    "  \"UtcEnd_sec\" INTEGER NOT NULL,\n"
    "  \"UtcEnd_nsec\" INTEGER NOT NULL,\n"
    "  \"DataType\" INTEGER NOT NULL,\n"
    "  \"GuidLow\" INTEGER NOT NULL,\n"
    "  \"GuidHigh\" INTEGER NOT NULL,\n"
    "  \"HeaderSize\" INTEGER NOT NULL,\n"
    "  \"DataBlockSize\" INTEGER NOT NULL,\n"
    "  \"mType\" INTEGER NOT NULL)",
    "CREATE TABLE \"DefnOperatorType\" (\n"
    "  \"Id\" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,\n"
    "  \"UtcStart_sec\" INTEGER NOT NULL,\n"
    "  \"UtcStart_nsec\" INTEGER NOT NULL,\n"
    "  \"UtcEnd_sec\" INTEGER NOT NULL,\n"
    "  \"UtcEnd_nsec\" INTEGER NOT NULL,\n"
    "  \"mType\" INTEGER NOT NULL,\n"
    "  \"mDataType\" INTEGER NOT NULL)",
    "CREATE TABLE \"DefnOperatorType_FileInfos\" (\n"
    "  \"operator_id\" INTEGER NOT NULL,\n"
    "  \"file_info_id\" INTEGER NOT NULL,\n"
    "  CONSTRAINT \"operator_id_fk\"\n"
    "    FOREIGN KEY (\"operator_id\")\n"
    "    REFERENCES \"DefnOperatorType\" (\"Id\")\n"
    "    ON DELETE CASCADE,\n"
    "  CONSTRAINT \"file_info_id_fk\"\n"
    "    FOREIGN KEY (\"file_info_id\")\n"
    "    REFERENCES \"LoggerFileInfoOperator\" (\"Id\")\n"
    "    DEFERRABLE INITIALLY DEFERRED)",
    "CREATE INDEX \"DefnOperatorType_FileInfos_operator_id_i\"\n"
    "  ON \"DefnOperatorType_FileInfos\" (\"operator_id\")",
};

const char* const kLoggerFileInfoDrop[] = {
    "DROP TABLE IF EXISTS \"LoggerFileInfo\"",
};

const char* const kDefnEventStringDrop[] = {
    "DROP TABLE IF EXISTS \"DefnEventString\"",
};

const char* const kDefnBaseTypeDrop[] = {
    "DROP TABLE IF EXISTS \"DefnBaseType\"",
};

const char* const kMeasureDrop[] = {
    "DROP TABLE IF EXISTS \"DefnMeasureType_FileInfos\"",
    "DROP TABLE IF EXISTS \"DefnMeasureType\"",
    "DROP TABLE IF EXISTS \"LoggerFileInfoMeasure\"",
};

const char* const kEventDrop[] = {
    "DROP TABLE IF EXISTS \"DefnEventType_EventStrings\"",
    "DROP TABLE IF EXISTS \"DefnEventType_FileInfos\"",
    "DROP TABLE IF EXISTS \"DefnEventType\"",
    "DROP TABLE IF EXISTS \"LoggerFileInfoEvent\"",
};

const char* const kPqEventDrop[] = {
    "DROP TABLE IF EXISTS \"DefnPqEventType_FileInfos\"",
    "DROP TABLE IF EXISTS \"DefnPqEventType\"",
    "DROP TABLE IF EXISTS \"LoggerFileInfoPqEvent\"",
};

const char* const kDisturbDrop[] = {
    "DROP TABLE IF EXISTS \"DefnDisturbType_FileInfos\"",
    "DROP TABLE IF EXISTS \"DefnDisturbType\"",
    "DROP TABLE IF EXISTS \"LoggerFileInfoDisturb\"",
};

const char* const kOperatorDrop[] = {
    "DROP TABLE IF EXISTS \"DefnOperatorType_FileInfos\"",
    "DROP TABLE IF EXISTS \"DefnOperatorType\"",
    "DROP TABLE IF EXISTS \"LoggerFileInfoOperator\"",
};

// The bookkeeping of schema versions. Every entry but the first keeps it; the table is made
// where it is missing before its row is touched, so that a drop works on an empty file too.
const char kVersionTableCreate[] = "CREATE TABLE IF NOT EXISTS \"schema_version\" (\n"
                                   "  \"name\" TEXT NOT NULL PRIMARY KEY,\n"
                                   "  \"version\" INTEGER NOT NULL,\n"
                                   "  \"migration\" INTEGER NOT NULL)";
const char kVersionRowInsert[] = "INSERT OR IGNORE INTO \"schema_version\" (\n"
                                 "  \"name\", \"version\", \"migration\")\n"
                                 "  VALUES ('', 1, 0)";
const char kVersionRowDelete[] = "DELETE FROM \"schema_version\"\n"
                                 "  WHERE \"name\" = ''";

struct SchemaEntry {
    const char* const* create;
    std::size_t createCount;
    const char* const* drop;
    std::size_t dropCount;
    bool keepsVersion;
};

template <std::size_t CreateCount, std::size_t DropCount>
constexpr SchemaEntry makeEntry(const char* const (&create)[CreateCount],
                                const char* const (&drop)[DropCount], bool keepsVersion)
{
    return SchemaEntry{create, CreateCount, drop, DropCount, keepsVersion};
}

// In the order of creation; the drop walks it backwards.
const SchemaEntry kEntries[] = {
    makeEntry(kLoggerFileInfoCreate, kLoggerFileInfoDrop, false),
    makeEntry(kDefnEventStringCreate, kDefnEventStringDrop, true),
    makeEntry(kDefnBaseTypeCreate, kDefnBaseTypeDrop, true),
    makeEntry(kMeasureCreate, kMeasureDrop, true),
    makeEntry(kEventCreate, kEventDrop, true),
    makeEntry(kPqEventCreate, kPqEventDrop, true),
    makeEntry(kDisturbCreate, kDisturbDrop, true),
    makeEntry(kOperatorCreate, kOperatorDrop, true),
};

void checkName(const std::string& name)
{
    if (!SchemaCatalog::exists(name)) {
        throw UnknownSchema(name);
    }
}

void drop(Database& database)
{
    for (auto entry = std::rbegin(kEntries); entry != std::rend(kEntries); ++entry) {
        for (std::size_t i = 0; i < entry->dropCount; ++i) {
            database.executeRaw(entry->drop[i]);
        }
        if (entry->keepsVersion) {
            database.executeRaw(kVersionTableCreate);
            database.executeRaw(kVersionRowDelete);
        }
    }
}

} // namespace

bool SchemaCatalog::exists(const std::string& name)
{
    return name.empty();
}

void SchemaCatalog::createSchema(Database& database, const std::string& name, bool dropFirst)
{
    checkName(name);
    if (dropFirst) {
        drop(database);
    }
    // First pass: the tables and their indexes. Foreign keys are written into the tables
    // themselves, since SQLite cannot add them later.
    for (const SchemaEntry& entry : kEntries) {
        for (std::size_t i = 0; i < entry.createCount; ++i) {
            database.executeRaw(entry.create[i]);
        }
    }
    // Second pass: the version row.
    for (const SchemaEntry& entry : kEntries) {
        if (entry.keepsVersion) {
            database.executeRaw(kVersionTableCreate);
            database.executeRaw(kVersionRowInsert);
        }
    }
}

void SchemaCatalog::dropSchema(Database& database, const std::string& name)
{
    checkName(name);
    drop(database);
}

} // namespace qzdb

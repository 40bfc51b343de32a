#pragma once

#include <QString>

#include <cstdint>
#include <string>

struct sqlite3;

// What a query of LoggerSqlite hands back: of the rows only their number and the last value.
struct QueryCallbackData {
    const char* sql = nullptr; // the text being run while the query runs; nullptr afterwards
    bool hasRows = false;      // set when a row came back
    int columnCount = 0;       // the columns of the last row
    int rowCount = 0;
    QString lastValue; // the last column of the last row, from the local 8-bit encoding
};

// The parts of SQLite's version text "a.b.c.d", in order.
struct sqlite_version {
    int32_t major;
    int32_t minor;
    int32_t patch;
    int32_t build;
};

// Access to the catalogue's SQLite connection past the mapping, for pragmas, the engine's
// version and reindexing. Return codes of SQLite are not looked at and nothing is thrown: a
// statement that fails looks like one without rows. Without a connection nothing runs.
class LoggerSqlite {
public:
    LoggerSqlite() = default;
    virtual ~LoggerSqlite();

    // The handle of LoggerDb's connection, nullptr while there is none.
    sqlite3* getSqliteHandle();

    void query(std::string sql, QueryCallbackData& data);
    void execute(std::string sql);

    // True if "PRAGMA foreign_key_check;" gives no row, and also when the pragma fails.
    bool isForeinKeyOk();
    void SetForeignKey(bool on);
    void reIndex();
    // True if the version text has exactly four parts, which are then in `version`; otherwise
    // `version` stays as the caller prepared it.
    bool getVersion(sqlite_version& version);
};

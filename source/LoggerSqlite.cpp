#include "LoggerSqlite.h"

#include "Database.h"
#include "LoggerDb.h"

#include <QStringList>

#include <sqlite3.h>

namespace {

// Called once per row. Every value passes through the last value, so the last column stays;
// returning 0 lets the query run to its end.
int queryCallback(void* data, int columns, char** values, char** /*names*/)
{
    auto* result = static_cast<QueryCallbackData*>(data);
    for (int i = 0; i < columns; ++i) {
        result->lastValue = QString::fromLocal8Bit(values[i]);
    }
    result->columnCount = columns;
    result->hasRows = true;
    result->rowCount += 1;
    return 0;
}

} // namespace

LoggerSqlite::~LoggerSqlite() = default;

sqlite3* LoggerSqlite::getSqliteHandle()
{
    const std::shared_ptr<qzdb::Database> db = LoggerDb::getInstance().getDb();
    return db ? db->handle() : nullptr;
}

namespace {

// Raw SQL may change the schema, which no hook reports: what the connection's cache mirrors is
// given up before it runs. Rows that raw SQL changes drop the cache by themselves.
void forgetCachedCatalogue()
{
    if (const std::shared_ptr<qzdb::Database> db = LoggerDb::getInstance().getDb()) {
        db->cache().clear();
    }
}

} // namespace

void LoggerSqlite::query(std::string sql, QueryCallbackData& data)
{
    data = QueryCallbackData();
    sqlite3* handle = getSqliteHandle();
    if (handle == nullptr) {
        return;
    }
    data.sql = sql.c_str();
    forgetCachedCatalogue();
    char* error = nullptr;
    sqlite3_exec(handle, sql.c_str(), queryCallback, &data, &error);
    sqlite3_free(error);
    // The text dies with this call; no pointer to it may stay behind.
    data.sql = nullptr;
}

void LoggerSqlite::execute(std::string sql)
{
    sqlite3* handle = getSqliteHandle();
    if (handle == nullptr) {
        return;
    }
    forgetCachedCatalogue();
    char* error = nullptr;
    sqlite3_exec(handle, sql.c_str(), nullptr, nullptr, &error);
    sqlite3_free(error);
}

bool LoggerSqlite::isForeinKeyOk()
{
    QueryCallbackData data;
    query("PRAGMA foreign_key_check;", data);
    return !data.hasRows;
}

void LoggerSqlite::SetForeignKey(bool on)
{
    execute(on ? "PRAGMA foreign_keys=ON" : "PRAGMA foreign_keys=OFF");
}

void LoggerSqlite::reIndex()
{
    execute("reindex;");
}

bool LoggerSqlite::getVersion(sqlite_version& version)
{
    QueryCallbackData data;
    query("SELECT sqlite_version();", data);
    const QStringList parts = data.lastValue.split('.');
    if (parts.size() != 4) {
        return false;
    }
    version.major = parts[0].toInt(nullptr, 10);
    version.minor = parts[1].toInt(nullptr, 10);
    version.patch = parts[2].toInt(nullptr, 10);
    version.build = parts[3].toInt(nullptr, 10);
    return true;
}

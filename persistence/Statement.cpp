#include "Statement.h"

#include "Database.h"
#include "DatabaseExceptions.h"
#include "FaultInjection.h"

#include <sqlite3.h>

#include <cctype>

namespace qzdb {

namespace {

bool startsWithInsert(const std::string& sql)
{
    std::size_t i = 0;
    while (i < sql.size() && std::isspace(static_cast<unsigned char>(sql[i])) != 0) {
        ++i;
    }
    static const char kInsert[] = "INSERT";
    for (std::size_t k = 0; k + 1 < sizeof(kInsert); ++k, ++i) {
        if (i >= sql.size() || std::toupper(static_cast<unsigned char>(sql[i])) != kInsert[k]) {
            return false;
        }
    }
    return true;
}

} // namespace

Statement::Statement(Database& database, const std::string& sql)
    : mDatabase(database), mConnection(database.handle()), mSql(sql), mInserting(startsWithInsert(sql))
{
    if (const int injected = FaultInjection::injectedResult()) {
        throwSqliteError(injected, injected, sqlite3_errstr(injected));
    }
    const int rc =
        sqlite3_prepare_v2(mConnection, sql.c_str(), static_cast<int>(sql.size() + 1), &mStatement, nullptr);
    if (rc != SQLITE_OK) {
        sqlite3_finalize(mStatement);
        mStatement = nullptr;
        throwSqliteError(mConnection, rc);
    }
}

Statement::~Statement()
{
    sqlite3_finalize(mStatement);
}

void Statement::check(int resultCode) const
{
    if (resultCode != SQLITE_OK) {
        throwSqliteError(mConnection, resultCode, mInserting);
    }
}

void Statement::bind(int index, int value)
{
    check(sqlite3_bind_int(mStatement, index, value));
}

void Statement::bind(int index, int64_t value)
{
    check(sqlite3_bind_int64(mStatement, index, static_cast<sqlite3_int64>(value)));
}

void Statement::bind(int index, double value)
{
    check(sqlite3_bind_double(mStatement, index, value));
}

void Statement::bind(int index, const QString& value)
{
    const QByteArray utf8 = value.toUtf8();
    check(sqlite3_bind_text64(mStatement, index, utf8.constData(), static_cast<sqlite3_uint64>(utf8.size()),
                              SQLITE_TRANSIENT, SQLITE_UTF8));
}

void Statement::bind(int index, const std::string& value)
{
    check(sqlite3_bind_text64(mStatement, index, value.data(), static_cast<sqlite3_uint64>(value.size()),
                              SQLITE_TRANSIENT, SQLITE_UTF8));
}

void Statement::bind(int index, const char* value)
{
    if (value == nullptr) {
        bind(index, nullptr);
        return;
    }
    check(sqlite3_bind_text(mStatement, index, value, -1, SQLITE_TRANSIENT));
}

void Statement::bind(int index, std::nullptr_t)
{
    check(sqlite3_bind_null(mStatement, index));
}

bool Statement::step()
{
    if (const int injected = FaultInjection::injectedResult()) {
        sqlite3_reset(mStatement);
        throwSqliteError(injected, injected, sqlite3_errstr(injected), mInserting);
    }
    mDatabase.setTrackedStatementRunning(mTracked);
    const int rc = sqlite3_step(mStatement);
    mDatabase.setTrackedStatementRunning(false);
    if (rc == SQLITE_ROW) {
        return true;
    }
    if (rc == SQLITE_DONE) {
        return false;
    }
    // Read the error before the reset, which makes the statement usable again.
    const int extended = sqlite3_extended_errcode(mConnection);
    const std::string message = sqlite3_errmsg(mConnection);
    sqlite3_reset(mStatement);
    throwSqliteError(rc, extended, message, mInserting);
}

int Statement::columnCount() const
{
    return sqlite3_column_count(mStatement);
}

bool Statement::isNull(int column) const
{
    return sqlite3_column_type(mStatement, column) == SQLITE_NULL;
}

int32_t Statement::columnInt(int column) const
{
    return static_cast<int32_t>(sqlite3_column_int(mStatement, column));
}

int64_t Statement::columnInt64(int column) const
{
    return static_cast<int64_t>(sqlite3_column_int64(mStatement, column));
}

double Statement::columnDouble(int column) const
{
    return sqlite3_column_double(mStatement, column);
}

QString Statement::columnText(int column) const
{
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(mStatement, column));
    if (text == nullptr) {
        return QString();
    }
    return QString::fromUtf8(text, sqlite3_column_bytes(mStatement, column));
}

std::string Statement::columnString(int column) const
{
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(mStatement, column));
    if (text == nullptr) {
        return std::string();
    }
    return std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(mStatement, column)));
}

void Statement::reset()
{
    sqlite3_reset(mStatement);
    sqlite3_clear_bindings(mStatement);
}

} // namespace qzdb

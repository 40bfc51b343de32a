#pragma once

#include <QString>

#include <cstddef>
#include <cstdint>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace qzdb {

class Database;

// One prepared SQLite statement. Values reach SQLite only through bind(); the SQL text itself
// is a constant of the mapping. Every failure throws the exception that throwSqliteError
// chooses; in tests, FaultInjection can make the preparation or a step fail that way. Indexes of bind() count
// from 1, those of the column getters from 0, as in SQLite.
//
// A statement belongs to its Database and lives no longer than it; it is used by one thread at
// a time, the one that holds the catalogue.
class Statement {
public:
    Statement(Database& database, const std::string& sql);
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    void bind(int index, int value);
    void bind(int index, int64_t value);
    void bind(int index, double value);
    void bind(int index, const QString& value);     // as UTF-8
    void bind(int index, const std::string& value); // its bytes as they are, zeros included
    void bind(int index, const char* value);        // a NUL-terminated text; nullptr binds NULL
    void bind(int index, std::nullptr_t);

    // Runs the statement one step: true when a row is there to read, false when it is done.
    bool step();

    int columnCount() const;
    bool isNull(int column) const;
    int32_t columnInt(int column) const;
    int64_t columnInt64(int column) const;
    double columnDouble(int column) const;
    QString columnText(int column) const;       // from UTF-8; NULL reads as a null QString
    std::string columnString(int column) const; // the stored bytes; NULL reads as empty

    // Makes the statement ready to run again and clears its bindings. Cheap, never throws.
    void reset();

    const std::string& sql() const { return mSql; }
    sqlite3_stmt* handle() const { return mStatement; }

    // Marks a statement of the mapping whose changes the mapping mirrors into the connection's
    // cache itself: the rows it changes do not drop the cache (see CatalogueCache).
    Statement& track()
    {
        mTracked = true;
        return *this;
    }

private:
    void check(int resultCode) const;

    Database& mDatabase;
    sqlite3* mConnection;
    sqlite3_stmt* mStatement = nullptr;
    std::string mSql;
    bool mInserting;       // an INSERT: a key collision means "already persistent"
    bool mTracked = false; // see track()
};

// Resets a statement when the scope that uses it ends, so that no half-read SELECT keeps its
// read lock on the file after the transaction.
class StatementReset {
public:
    explicit StatementReset(Statement& statement) : mStatement(statement) {}
    ~StatementReset() { mStatement.reset(); }
    StatementReset(const StatementReset&) = delete;
    StatementReset& operator=(const StatementReset&) = delete;

private:
    Statement& mStatement;
};

} // namespace qzdb

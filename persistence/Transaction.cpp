#include "Transaction.h"

#include "Database.h"
#include "DatabaseExceptions.h"

#include <sqlite3.h>

namespace qzdb {

namespace {

thread_local Transaction* tCurrentTransaction = nullptr;

// Rolls back whatever the connection still has open. SQLite may have ended the transaction by
// itself already (after some I/O and busy errors), and then there is nothing to do.
void rollbackQuietly(Database& database) noexcept
{
    database.resetStatements();
    if (sqlite3_get_autocommit(database.handle()) == 0) {
        sqlite3_exec(database.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
    }
}

} // namespace

Transaction::Transaction(Database& database, bool makeCurrent) : mDatabase(database)
{
    if (makeCurrent && tCurrentTransaction != nullptr) {
        throw Exception("a transaction is already current in this thread");
    }
    mDatabase.executeRaw("BEGIN");
    if (makeCurrent) {
        tCurrentTransaction = this;
    }
}

Transaction::~Transaction()
{
    if (!mFinished) {
        finish();
        rollbackQuietly(mDatabase);
    }
}

void Transaction::finish()
{
    mFinished = true;
    if (tCurrentTransaction == this) {
        tCurrentTransaction = nullptr;
    }
}

void Transaction::commit()
{
    if (mFinished) {
        throw Exception("transaction already committed or rolled back");
    }
    finish();
    mDatabase.resetStatements();
    try {
        mDatabase.executeRaw("COMMIT");
    } catch (...) {
        // A deferred foreign key that does not hold, or a busy file, leaves the transaction
        // open; it is given up here so that the connection is free for the next one.
        rollbackQuietly(mDatabase);
        throw;
    }
}

void Transaction::rollback()
{
    if (mFinished) {
        throw Exception("transaction already committed or rolled back");
    }
    finish();
    mDatabase.resetStatements();
    if (sqlite3_get_autocommit(mDatabase.handle()) == 0) {
        mDatabase.executeRaw("ROLLBACK");
    }
}

bool Transaction::hasCurrent()
{
    return tCurrentTransaction != nullptr;
}

Transaction& Transaction::current()
{
    if (tCurrentTransaction == nullptr) {
        throw Exception("no transaction is current in this thread");
    }
    return *tCurrentTransaction;
}

} // namespace qzdb

#pragma once

namespace qzdb {

class Database;

// One SQLite transaction on a Database, begun by the constructor ("BEGIN") and ended by
// commit() or rollback(); a transaction that the scope leaves without either is rolled back.
// The mapping runs its statements in the transaction that is current in the calling thread.
//
// A commit that fails rolls back what the transaction did and rethrows: the transaction is over
// either way, and the retried transaction begins a new one.
class Transaction {
public:
    // Throws qzdb::Exception when `makeCurrent` is set and another transaction is already current
    // in this thread, and what SQLite raises when BEGIN fails.
    explicit Transaction(Database& database, bool makeCurrent = true);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void commit();
    void rollback();
    bool isFinished() const { return mFinished; }

    Database& database() { return mDatabase; }

    // The transaction current in the calling thread; current() throws qzdb::Exception if none.
    static bool hasCurrent();
    static Transaction& current();

private:
    void finish();

    Database& mDatabase;
    bool mFinished = false;
};

} // namespace qzdb

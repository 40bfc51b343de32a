#pragma once

#include "TemporaryStoreRoot.h"

#include <memory>
#include <string>

namespace qzdb {
class Database;
}

// A catalogue file with the whole schema in a fresh temporary root, opened as the writer opens
// it: read and write, foreign keys on. The schema is made as the writer makes it at start-up,
// with foreign keys off and in one transaction.
class TemporaryCatalogue {
public:
    TemporaryCatalogue();
    ~TemporaryCatalogue();
    TemporaryCatalogue(const TemporaryCatalogue&) = delete;
    TemporaryCatalogue& operator=(const TemporaryCatalogue&) = delete;

    bool isValid() const { return mDatabase != nullptr; }
    std::string path() const;
    qzdb::Database& database() { return *mDatabase; }
    std::shared_ptr<qzdb::Database> sharedDatabase() { return mDatabase; }

    // Another connection to the same file, with a busy time-out of 0.
    std::shared_ptr<qzdb::Database> openConnection(bool foreignKeys = true) const;

private:
    TemporaryStoreRoot mRoot;
    std::shared_ptr<qzdb::Database> mDatabase;
};

// The first column of the first row of a SELECT without parameters, as text; an empty string
// for no row. Runs outside of any transaction of the mapping.
std::string queryText(qzdb::Database& database, const std::string& sql);
long long queryNumber(qzdb::Database& database, const std::string& sql);

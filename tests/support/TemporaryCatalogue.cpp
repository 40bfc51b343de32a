#include "TemporaryCatalogue.h"

#include "Database.h"
#include "SchemaCatalog.h"
#include "Statement.h"
#include "Transaction.h"

TemporaryCatalogue::TemporaryCatalogue()
{
    if (!mRoot.isValid()) {
        return;
    }
    mDatabase = std::make_shared<qzdb::Database>(path(), qzdb::Database::kOpenReadWriteCreate, true);
    mDatabase->setBusyTimeout(0);
    mDatabase->executeRaw("PRAGMA foreign_keys=OFF");
    {
        qzdb::Transaction transaction(*mDatabase, false);
        qzdb::SchemaCatalog::createSchema(*mDatabase, "", true);
        transaction.commit();
    }
    mDatabase->executeRaw("PRAGMA foreign_keys=ON");
}

TemporaryCatalogue::~TemporaryCatalogue() = default;

std::string TemporaryCatalogue::path() const
{
    return mRoot.filePath("catalogue.db").toStdString();
}

std::shared_ptr<qzdb::Database> TemporaryCatalogue::openConnection(bool foreignKeys) const
{
    auto connection =
        std::make_shared<qzdb::Database>(path(), qzdb::Database::kOpenReadWriteCreate, foreignKeys);
    connection->setBusyTimeout(0);
    return connection;
}

std::string queryText(qzdb::Database& database, const std::string& sql)
{
    qzdb::Statement statement(database, sql);
    return statement.step() ? statement.columnString(0) : std::string();
}

long long queryNumber(qzdb::Database& database, const std::string& sql)
{
    qzdb::Statement statement(database, sql);
    return statement.step() ? static_cast<long long>(statement.columnInt64(0)) : 0;
}

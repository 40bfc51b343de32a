#pragma once

#include <string>

namespace qzdb {

class Database;

// The schema of the catalogue: the tables of the loggers' types, of their files and of the
// links between them, and the bookkeeping table "schema_version". Only the schema of the empty
// name (version 1) exists; any other name throws UnknownSchema.
//
// The statements run on the given connection as they are. Callers run them inside a
// transaction, so that a schema is made or dropped as a whole, and with foreign keys off, so
// that dropping a table does not run into the keys of another.
class SchemaCatalog {
public:
    static constexpr int kSchemaVersion = 1;

    static bool exists(const std::string& name);

    // Makes the schema in two passes over its entries: all tables and indexes first, then the
    // version row. With `dropFirst` the existing tables go before; without it the tables must
    // not exist yet, while the version row of an earlier run is kept ("INSERT OR IGNORE").
    static void createSchema(Database& database, const std::string& name = "", bool dropFirst = true);

    // Drops every table of the schema that exists, in the order opposite to their creation, and
    // removes its version row.
    static void dropSchema(Database& database, const std::string& name = "");
};

} // namespace qzdb

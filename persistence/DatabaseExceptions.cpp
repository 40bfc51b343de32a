#include "DatabaseExceptions.h"

#include <sqlite3.h>

namespace qzdb {

namespace {

std::string describe(int code, int extendedCode, const std::string& message)
{
    std::string text = std::to_string(code);
    if (extendedCode != code) {
        text += " (" + std::to_string(extendedCode) + ")";
    }
    return text + ": " + message;
}

} // namespace

// Out of line, so that each class has one home for its type information: the retried
// transaction catches them by class in another library.
Exception::~Exception() = default;
Recoverable::~Recoverable() = default;
ObjectNotPersistent::~ObjectNotPersistent() = default;
ObjectAlreadyPersistent::~ObjectAlreadyPersistent() = default;
ObjectChanged::~ObjectChanged() = default;
ResultNotCached::~ResultNotCached() = default;
AbstractClass::~AbstractClass() = default;
NoTypeInfo::~NoTypeInfo() = default;
PreparedAlreadyCached::~PreparedAlreadyCached() = default;
PreparedTypeMismatch::~PreparedTypeMismatch() = default;
UnknownSchema::~UnknownSchema() = default;
UnknownSchemaVersion::~UnknownSchemaVersion() = default;
SectionNotLoaded::~SectionNotLoaded() = default;
SectionNotInObject::~SectionNotInObject() = default;
MultipleExceptions::~MultipleExceptions() = default;
DatabaseException::~DatabaseException() = default;

DatabaseException::DatabaseException(int code, int extendedCode, const std::string& message)
    : Exception(describe(code, extendedCode, message)), mCode(code), mExtendedCode(extendedCode),
      mText(message)
{
}

bool DatabaseException::reportsDamagedFile() const
{
    return mCode == SQLITE_CORRUPT || mCode == SQLITE_NOTADB;
}

void throwSqliteError(int resultCode, int extendedCode, const std::string& message, bool inserting)
{
    // Whether or not the connection reports extended codes, the primary code is the low byte.
    const int primaryCode = resultCode & 0xff;
    if (primaryCode == SQLITE_BUSY || primaryCode == SQLITE_LOCKED) {
        throw Recoverable(message);
    }
    if (inserting &&
        (extendedCode == SQLITE_CONSTRAINT_PRIMARYKEY || extendedCode == SQLITE_CONSTRAINT_UNIQUE)) {
        throw ObjectAlreadyPersistent();
    }
    throw DatabaseException(primaryCode, extendedCode, message);
}

void throwSqliteError(sqlite3* handle, int resultCode, bool inserting)
{
    if (handle == nullptr) {
        throwSqliteError(resultCode, resultCode, sqlite3_errstr(resultCode), inserting);
    }
    throwSqliteError(resultCode, sqlite3_extended_errcode(handle), sqlite3_errmsg(handle), inserting);
}

} // namespace qzdb

#pragma once

#include <exception>
#include <string>
#include <utility>

struct sqlite3;

// The exceptions of the catalogue mapping. None of them leaves the retried transaction, which
// catches them one class after the other: Recoverable first (retried), Exception last. The
// classes are therefore siblings below Exception, and none derives from another.
namespace qzdb {

class Exception : public std::exception {
public:
    explicit Exception(std::string message) : mMessage(std::move(message)) {}
    ~Exception() override;

    const char* what() const noexcept override { return mMessage.c_str(); }

private:
    std::string mMessage;
};

// The database was busy or locked by another connection; running the transaction again may
// succeed. The transaction that saw it is gone.
class Recoverable : public Exception {
public:
    explicit Recoverable(std::string message) : Exception(std::move(message)) {}
    ~Recoverable() override;
};

// No row has the object's id: a load, update or erase of something that is not stored.
class ObjectNotPersistent : public Exception {
public:
    ObjectNotPersistent() : Exception("object not persistent") {}
    ~ObjectNotPersistent() override;
};

// An insert collided with a row that has the same primary or unique key.
class ObjectAlreadyPersistent : public Exception {
public:
    ObjectAlreadyPersistent() : Exception("object already persistent") {}
    ~ObjectAlreadyPersistent() override;
};

class ObjectChanged : public Exception {
public:
    ObjectChanged() : Exception("object changed since it was last loaded") {}
    ~ObjectChanged() override;
};

class ResultNotCached : public Exception {
public:
    ResultNotCached() : Exception("query result is not cached") {}
    ~ResultNotCached() override;
};

class AbstractClass : public Exception {
public:
    AbstractClass() : Exception("database operation on instance of abstract class") {}
    ~AbstractClass() override;
};

class NoTypeInfo : public Exception {
public:
    NoTypeInfo() : Exception("no type information") {}
    ~NoTypeInfo() override;
};

class PreparedAlreadyCached : public Exception {
public:
    explicit PreparedAlreadyCached(const std::string& name)
        : Exception("prepared query '" + name + "' is already cached")
    {
    }
    ~PreparedAlreadyCached() override;
};

class PreparedTypeMismatch : public Exception {
public:
    explicit PreparedTypeMismatch(const std::string& name)
        : Exception("type mismatch while looking up prepared query '" + name + "'")
    {
    }
    ~PreparedTypeMismatch() override;
};

// A schema of that name is not known to SchemaCatalog.
class UnknownSchema : public Exception {
public:
    explicit UnknownSchema(const std::string& name) : Exception("unknown database schema '" + name + "'") {}
    ~UnknownSchema() override;
};

class UnknownSchemaVersion : public Exception {
public:
    explicit UnknownSchemaVersion(unsigned long long version)
        : Exception("unknown database schema version " + std::to_string(version))
    {
    }
    ~UnknownSchemaVersion() override;
};

class SectionNotLoaded : public Exception {
public:
    SectionNotLoaded() : Exception("section is not loaded") {}
    ~SectionNotLoaded() override;
};

class SectionNotInObject : public Exception {
public:
    SectionNotInObject() : Exception("section instance is not part of an object") {}
    ~SectionNotInObject() override;
};

class MultipleExceptions : public Exception {
public:
    MultipleExceptions() : Exception("multiple exceptions") {}
    ~MultipleExceptions() override;
};

// Any other failure of SQLite: the result code, the extended result code and the text of
// sqlite3_errmsg. what() reads "<code>: <message>", or "<code> (<extended>): <message>" when
// the extended code says more.
class DatabaseException : public Exception {
public:
    DatabaseException(int code, int extendedCode, const std::string& message);
    ~DatabaseException() override;

    int code() const { return mCode; }
    int extendedCode() const { return mExtendedCode; }
    const std::string& message() const { return mText; }
    // SQLite found the file itself damaged: its pages do not hold together (SQLITE_CORRUPT), or
    // it is no database at all (SQLITE_NOTADB). Running the statement again cannot help.
    bool reportsDamagedFile() const;

private:
    int mCode;
    int mExtendedCode;
    std::string mText;
};

// Throws the exception that a failed SQLite call stands for: busy and locked (with their
// extended codes) as Recoverable; a primary-key or unique violation of an INSERT as
// ObjectAlreadyPersistent; everything else as DatabaseException. `resultCode` is what the call
// returned, `inserting` says whether the statement was an INSERT.
[[noreturn]] void throwSqliteError(int resultCode, int extendedCode, const std::string& message,
                                   bool inserting = false);
// The same with the extended code and sqlite3_errmsg taken from the connection, which must not
// have run another call since the one that failed.
[[noreturn]] void throwSqliteError(sqlite3* handle, int resultCode, bool inserting = false);

} // namespace qzdb

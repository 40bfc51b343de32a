#include "CatalogueMapping.h"

#include "Database.h"
#include "DatabaseExceptions.h"
#include "Statement.h"
#include "Transaction.h"

#include <cmath>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

namespace qzdb {

namespace {

// The SQL texts are put together once from the constant table and column names below; values
// always go through bound parameters.

using Columns = std::vector<const char*>;

// The columns after "Id", in the order of the tables.
const Columns kFileInfoColumns = {"UtcCreated_sec", "UtcCreated_nsec", "UtcStart_sec",  "UtcStart_nsec",
                                  "UtcEnd_sec",     "UtcEnd_nsec",     "DataType",      "GuidLow",
                                  "GuidHigh",       "HeaderSize",      "DataBlockSize", "mType"};
const Columns kTypeColumns = {"UtcStart_sec", "UtcStart_nsec", "UtcEnd_sec",
                              "UtcEnd_nsec",  "mType",         "mDataType"};
const Columns kMeasureColumns = {"MeasType_ConfigId",      "MeasType_Phase",      "MeasType_Unit",
                                 "MeasType_Prefix",        "MeasType_UnitFactor", "MeasType_QuantityType",
                                 "MeasType_MeasValueType", "MeasType_Interval",   "MeasType_Index"};
const Columns kConfigIdColumns = {"ConfigId"};
const Columns kEventStringColumns = {"Utc_sec", "Utc_nsec", "Description"};

std::string quote(const std::string& identifier)
{
    return "\"" + identifier + "\"";
}

std::string qualified(const std::string& table, const std::string& column)
{
    return quote(table) + "." + quote(column);
}

Columns concat(Columns first, const Columns& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// The column list "T"."Id", "T"."a", ... of a SELECT over the table, on its own or in a join.
std::string selectColumns(const std::string& table, const Columns& columns)
{
    std::string sql = qualified(table, "Id");
    for (const char* column : columns) {
        sql += ", " + qualified(table, column);
    }
    return sql;
}

struct TableSql {
    std::string select;     // every row
    std::string selectById; // the row of one Id
    std::string insert;     // Id first, bound NULL so that the catalogue chooses it
    std::string update;     // every column but Id, then the Id
    std::string erase;
};

TableSql makeTableSql(const std::string& table, const Columns& columns)
{
    TableSql sql;
    sql.select = "SELECT " + selectColumns(table, columns) + " FROM " + quote(table);
    sql.selectById = sql.select + " WHERE " + qualified(table, "Id") + "=?";

    std::string names = quote("Id");
    std::string values = "?";
    std::string assignments;
    for (const char* column : columns) {
        names += ", " + quote(column);
        values += ", ?";
        assignments += (assignments.empty() ? "" : ", ") + quote(column) + "=?";
    }
    sql.insert = "INSERT INTO " + quote(table) + " (" + names + ") VALUES (" + values + ")";
    sql.update = "UPDATE " + quote(table) + " SET " + assignments + " WHERE " + quote("Id") + "=?";
    sql.erase = "DELETE FROM " + quote(table) + " WHERE " + quote("Id") + "=?";
    return sql;
}

// A link table from the rows of a type to the rows of its file infos or texts.
struct LinkSql {
    std::string eraseAll; // the links of one owner
    std::string insert;
    std::string select;    // the targets of one owner's links, joined to their table
    std::string selectIds; // rowid and target of each of one owner's links
    std::string eraseOne;  // one link by its rowid
};

// The file links: no order of their own; they come back as SQLite returns them.
LinkSql makeFileLinkSql(const std::string& linkTable, const std::string& ownerColumn,
                        const std::string& fileTable)
{
    LinkSql sql;
    sql.eraseAll = "DELETE FROM " + quote(linkTable) + " WHERE " + quote(ownerColumn) + "=?";
    sql.insert = "INSERT INTO " + quote(linkTable) + " (" + quote(ownerColumn) + ", " +
                 quote("file_info_id") + ") VALUES (?, ?)";
    sql.select = "SELECT " + qualified(linkTable, "file_info_id") + ", " +
                 selectColumns(fileTable, kFileInfoColumns) + ", " + quote(linkTable) + ".rowid" + " FROM " +
                 quote(linkTable) + " LEFT JOIN " + quote(fileTable) + " ON " + qualified(fileTable, "Id") +
                 "=" + qualified(linkTable, "file_info_id") + " WHERE " + qualified(linkTable, ownerColumn) +
                 "=?";
    sql.selectIds = "SELECT rowid, " + quote("file_info_id") + " FROM " + quote(linkTable) + " WHERE " +
                    quote(ownerColumn) + "=?";
    sql.eraseOne = "DELETE FROM " + quote(linkTable) + " WHERE rowid=?";
    return sql;
}

// The texts of an event type: an ordered list by its "index" column.
const LinkSql& eventStringLinkSql()
{
    static const LinkSql sql = [] {
        const std::string link = "DefnEventType_EventStrings";
        const std::string strings = "DefnEventString";
        LinkSql s;
        s.eraseAll = "DELETE FROM " + quote(link) + " WHERE " + quote("object_id") + "=?";
        s.insert = "INSERT INTO " + quote(link) + " (" + quote("object_id") + ", " + quote("index") + ", " +
                   quote("value") + ") VALUES (?, ?, ?)";
        s.select = "SELECT " + qualified(link, "value") + ", " + selectColumns(strings, kEventStringColumns) +
                   " FROM " + quote(link) + " LEFT JOIN " + quote(strings) + " ON " +
                   qualified(strings, "Id") + "=" + qualified(link, "value") + " WHERE " +
                   qualified(link, "object_id") + "=? ORDER BY " + qualified(link, "index");
        return s;
    }();
    return sql;
}

Database& currentDatabase()
{
    return Transaction::current().database();
}

// Binding and reading of the columns, in table order. `index` counts bind positions from 1,
// `column` result columns from 0; both move on past what they handled.

void bindTime(Statement& statement, int& index, const DataTimespec& time)
{
    statement.bind(index++, time.tv_sec);
    statement.bind(index++, time.tv_nsec);
}

DataTimespec readTime(Statement& statement, int& column)
{
    DataTimespec time{};
    time.tv_sec = statement.columnInt(column++);
    time.tv_nsec = statement.columnInt(column++);
    return time;
}

void bindFileInfo(Statement& statement, int& index, const LoggerFileInfo& fileInfo)
{
    bindTime(statement, index, fileInfo.UtcCreated);
    bindTime(statement, index, fileInfo.UtcStart);
    bindTime(statement, index, fileInfo.UtcEnd);
    statement.bind(index++, static_cast<int>(fileInfo.DataType));
    // The file-name words are unsigned 32-bit: stored as non-negative integers.
    statement.bind(index++, static_cast<int64_t>(fileInfo.GuidLow));
    statement.bind(index++, static_cast<int64_t>(fileInfo.GuidHigh));
    statement.bind(index++, fileInfo.HeaderSize);
    statement.bind(index++, fileInfo.DataBlockSize);
    statement.bind(index++, static_cast<int>(fileInfo.mType));
}

void readFileInfo(Statement& statement, int& column, LoggerFileInfo& fileInfo)
{
    fileInfo.UtcCreated = readTime(statement, column);
    fileInfo.UtcStart = readTime(statement, column);
    fileInfo.UtcEnd = readTime(statement, column);
    fileInfo.DataType = static_cast<LoggerDataType>(statement.columnInt(column++));
    fileInfo.GuidLow = static_cast<uint32_t>(statement.columnInt64(column++));
    fileInfo.GuidHigh = static_cast<uint32_t>(statement.columnInt64(column++));
    fileInfo.HeaderSize = statement.columnInt(column++);
    fileInfo.DataBlockSize = statement.columnInt(column++);
    fileInfo.mType = static_cast<LoggerType>(statement.columnInt(column++));
}

void bindType(Statement& statement, int& index, const DefnBaseType& type)
{
    bindTime(statement, index, type.UtcStart);
    bindTime(statement, index, type.UtcEnd);
    statement.bind(index++, static_cast<int>(type.mType));
    statement.bind(index++, static_cast<int>(type.mDataType));
}

void readType(Statement& statement, int& column, DefnBaseType& type)
{
    type.UtcStart = readTime(statement, column);
    type.UtcEnd = readTime(statement, column);
    type.mType = static_cast<LoggerType>(statement.columnInt(column++));
    type.mDataType = static_cast<LoggerDataType>(statement.columnInt(column++));
}

// The key of a file table in the connection's cache: one per file-info class.
template <class FileInfo> CatalogueCache::Table rowKey()
{
    static const char key = 0;
    return &key;
}

// The links of a type to its files, made to hold exactly the list in memory. Only the difference
// is written: a link whose file left the list is deleted, and a file that joined it gets a new
// link, so that a new file costs one row however many files the type has. The owner's links are
// then the same as if all were deleted and written anew from the list; the ones that stay keep
// their place among them, and new ones come behind. Links have no order of their own.
template <class FileInfo>
void writeFileLinks(Database& database, const LinkSql& sql, int32_t ownerId,
                    const std::vector<std::shared_ptr<FileInfo>>& files)
{
    CatalogueCache& cache = database.cache();
    cache.synchronize(database);
    // The owner's links as they are: from the cache where it knows them, else from the catalogue.
    std::vector<CatalogueCache::Link> read;
    const std::vector<CatalogueCache::Link>* stored = cache.links(&sql, ownerId);
    if (stored == nullptr) {
        Statement& select = database.statement(sql.selectIds);
        StatementReset reset(select);
        select.bind(1, ownerId);
        while (select.step()) {
            read.push_back(CatalogueCache::Link{select.columnInt64(0), select.columnInt(1)});
        }
        stored = &read;
    }
    // One walk over both in step: a link that names the list's next file stays, any other is
    // deleted, and the files of the list that no link matched are linked anew behind. A file that
    // joined the end or one that left the list thus costs one row, as does each file of a list
    // whose order changed, and the links afterwards name the list's files, each as often as the
    // list does, whatever the change.
    std::vector<int64_t> surplus;
    // The owner's links afterwards, in the catalogue's order: those that stay, then the new.
    std::vector<CatalogueCache::Link> linked;
    linked.reserve(files.size());
    size_t next = 0;
    for (const CatalogueCache::Link& link : *stored) {
        if (next < files.size() && files[next] && files[next]->Id == link.id) {
            linked.push_back(link);
            ++next;
        } else {
            surplus.push_back(link.rowId);
        }
    }
    // Until the owner's links are mirrored again below, the old entry must not be used.
    cache.eraseLinks(&sql, ownerId);
    for (const int64_t rowId : surplus) {
        Statement& erase = database.statement(sql.eraseOne).track();
        StatementReset reset(erase);
        erase.bind(1, rowId);
        erase.step();
    }
    for (; next < files.size(); ++next) {
        // An empty entry has no row to point to; the NOT NULL column refuses it.
        const auto& file = files[next];
        Statement& insert = database.statement(sql.insert).track();
        StatementReset insertReset(insert);
        insert.bind(1, ownerId);
        if (file) {
            insert.bind(2, file->Id);
        } else {
            insert.bind(2, nullptr);
        }
        insert.step();
        if (file) {
            linked.push_back(CatalogueCache::Link{database.lastInsertRowId(), file->Id});
        }
    }
    cache.putLinks(&sql, ownerId, std::move(linked));
}

// The files of a type, as fresh objects. A link whose file row is missing (possible only within
// a transaction that removes the file, or with foreign keys off) is an object that is not
// stored, as a load of that file by its Id would find.
//
// The connection's cache answers where it knows the owner's links and every row they point to;
// otherwise the catalogue does, and what it gives is kept.
template <class FileInfo>
void readFileLinks(Database& database, const LinkSql& sql, int32_t ownerId,
                   std::vector<std::shared_ptr<FileInfo>>& files)
{
    files.clear();
    CatalogueCache& cache = database.cache();
    cache.synchronize(database);
    const CatalogueCache::Table rows = rowKey<FileInfo>();
    if (const std::vector<CatalogueCache::Link>* links = cache.links(&sql, ownerId)) {
        // The objects of one load live in one allocation, each handed out as a pointer that
        // shares it: a type of thousands of files is loaded without an allocation per file.
        auto block = std::make_shared<std::vector<FileInfo>>(links->size());
        files.reserve(links->size());
        for (std::size_t index = 0; index < links->size(); ++index) {
            const CatalogueCache::Link& link = (*links)[index];
            const CatalogueCache::FileRow* row = cache.row(rows, link.id);
            if (row == nullptr) {
                break;
            }
            FileInfo& file = (*block)[index];
            file.Id = link.id;
            row->copyTo(file);
            files.push_back(std::shared_ptr<FileInfo>(block, &file));
        }
        if (files.size() == links->size()) {
            return;
        }
        files.clear();
    }
    std::vector<CatalogueCache::Link> linked;
    Statement& select = database.statement(sql.select);
    StatementReset reset(select);
    select.bind(1, ownerId);
    while (select.step()) {
        if (select.isNull(1)) {
            throw ObjectNotPersistent();
        }
        auto file = std::make_shared<FileInfo>();
        int column = 1;
        file->Id = select.columnInt(column++);
        readFileInfo(select, column, *file);
        cache.putRow(rows, file->Id, *file);
        linked.push_back(CatalogueCache::Link{select.columnInt64(column), file->Id});
        files.push_back(std::move(file));
    }
    cache.putLinks(&sql, ownerId, std::move(linked));
}

void eraseOwnerLinks(Database& database, const LinkSql& sql, int32_t ownerId)
{
    Statement& eraseAll = database.statement(sql.eraseAll).track();
    StatementReset reset(eraseAll);
    eraseAll.bind(1, ownerId);
    eraseAll.step();
    database.cache().eraseLinks(&sql, ownerId);
}

// What each class adds to the generic operations: its table and columns, how its columns are
// bound and read, and its links. A class without links inherits the empty link operations.
struct WithoutLinks {
    template <class T> static void writeLinks(Database&, const T&) {}
    template <class T> static void readLinks(Database&, T&) {}
    static void eraseLinks(Database&, int32_t) {}
};

template <class T> struct Mapping;

struct FileInfoMapping : WithoutLinks {
    static const Columns& columns() { return kFileInfoColumns; }
    static void bind(Statement& statement, int& index, const LoggerFileInfo& object)
    {
        bindFileInfo(statement, index, object);
    }
    static void read(Statement& statement, int& column, LoggerFileInfo& object)
    {
        readFileInfo(statement, column, object);
    }
};

template <> struct Mapping<LoggerFileInfo> : FileInfoMapping {
    static constexpr const char* kTable = "LoggerFileInfo";
};
template <> struct Mapping<LoggerFileInfoMeasure> : FileInfoMapping {
    static constexpr const char* kTable = "LoggerFileInfoMeasure";
};
template <> struct Mapping<LoggerFileInfoEvent> : FileInfoMapping {
    static constexpr const char* kTable = "LoggerFileInfoEvent";
};
template <> struct Mapping<LoggerFileInfoPqEvent> : FileInfoMapping {
    static constexpr const char* kTable = "LoggerFileInfoPqEvent";
};
template <> struct Mapping<LoggerFileInfoDisturb> : FileInfoMapping {
    static constexpr const char* kTable = "LoggerFileInfoDisturb";
};
template <> struct Mapping<LoggerFileInfoOperator> : FileInfoMapping {
    static constexpr const char* kTable = "LoggerFileInfoOperator";
};

template <> struct Mapping<DefnEventString> : WithoutLinks {
    static constexpr const char* kTable = "DefnEventString";
    static const Columns& columns() { return kEventStringColumns; }
    static void bind(Statement& statement, int& index, const DefnEventString& object)
    {
        bindTime(statement, index, object.Utc);
        statement.bind(index++, object.Description);
    }
    static void read(Statement& statement, int& column, DefnEventString& object)
    {
        object.Utc = readTime(statement, column);
        object.Description = statement.columnString(column++);
    }
};

template <> struct Mapping<DefnBaseType> : WithoutLinks {
    static constexpr const char* kTable = "DefnBaseType";
    static const Columns& columns() { return kTypeColumns; }
    static void bind(Statement& statement, int& index, const DefnBaseType& object)
    {
        bindType(statement, index, object);
    }
    static void read(Statement& statement, int& column, DefnBaseType& object)
    {
        readType(statement, column, object);
    }
};

// The type classes with a file list. `Derived` names the link table and the owner column.
template <class Type, class Derived> struct TypeWithFilesMapping {
    static const LinkSql& fileLinkSql()
    {
        static const LinkSql sql = makeFileLinkSql(std::string(Derived::kTable) + "_FileInfos",
                                                   Derived::kOwnerColumn, Derived::kFileTable);
        return sql;
    }
    static void writeLinks(Database& database, const Type& object)
    {
        writeFileLinks(database, fileLinkSql(), object.Id, object.FileInfos);
    }
    static void readLinks(Database& database, Type& object)
    {
        readFileLinks(database, fileLinkSql(), object.Id, object.FileInfos);
    }
    static void eraseLinks(Database& database, int32_t id)
    {
        // The cascade of the owner's key removes them already where foreign keys are on.
        eraseOwnerLinks(database, fileLinkSql(), id);
    }
};

// The identification string of event, PQ-event and disturbance loggers: one TEXT column.
template <class Type> struct ConfigIdColumns {
    static constexpr const char* kConfigIdColumn = "ConfigId";
    static const Columns& columns()
    {
        static const Columns all = concat(kTypeColumns, kConfigIdColumns);
        return all;
    }
    static void bind(Statement& statement, int& index, const Type& object)
    {
        bindType(statement, index, object);
        statement.bind(index++, object.ConfigId);
    }
    static void read(Statement& statement, int& column, Type& object)
    {
        readType(statement, column, object);
        object.ConfigId = statement.columnText(column++);
    }
};

template <>
struct Mapping<DefnMeasureType> : TypeWithFilesMapping<DefnMeasureType, Mapping<DefnMeasureType>> {
    static constexpr const char* kTable = "DefnMeasureType";
    static constexpr const char* kOwnerColumn = "measure_id";
    static constexpr const char* kFileTable = "LoggerFileInfoMeasure";
    static constexpr const char* kConfigIdColumn = "MeasType_ConfigId";
    static const Columns& columns()
    {
        static const Columns all = concat(kTypeColumns, kMeasureColumns);
        return all;
    }
    static void bind(Statement& statement, int& index, const DefnMeasureType& object)
    {
        bindType(statement, index, object);
        const DataMeasType& meas = object.MeasType;
        statement.bind(index++, meas.configId);
        statement.bind(index++, meas.phase);
        statement.bind(index++, meas.unit);
        statement.bind(index++, meas.prefix);
        statement.bind(index++, meas.unitFactor);
        statement.bind(index++, meas.quantityType);
        statement.bind(index++, meas.measValueType);
        // An interval that is not a number is "none": NULL in the catalogue.
        if (std::isnan(meas.interval)) {
            statement.bind(index++, nullptr);
        } else {
            statement.bind(index++, meas.interval);
        }
        statement.bind(index++, meas.index);
    }
    static void read(Statement& statement, int& column, DefnMeasureType& object)
    {
        readType(statement, column, object);
        DataMeasType& meas = object.MeasType;
        meas.configId = statement.columnText(column++);
        meas.phase = statement.columnInt(column++);
        meas.unit = statement.columnInt(column++);
        meas.prefix = statement.columnInt(column++);
        meas.unitFactor = statement.columnInt(column++);
        meas.quantityType = statement.columnInt(column++);
        meas.measValueType = statement.columnInt(column++);
        meas.interval = statement.isNull(column) ? std::numeric_limits<double>::quiet_NaN()
                                                 : statement.columnDouble(column);
        ++column;
        meas.index = statement.columnInt(column++);
    }
};

template <>
struct Mapping<DefnEventType> : TypeWithFilesMapping<DefnEventType, Mapping<DefnEventType>>,
                                ConfigIdColumns<DefnEventType> {
    static constexpr const char* kTable = "DefnEventType";
    static constexpr const char* kOwnerColumn = "measure_id";
    static constexpr const char* kFileTable = "LoggerFileInfoEvent";

    using Files = TypeWithFilesMapping<DefnEventType, Mapping<DefnEventType>>;

    // The texts are written with their position in the list as "index", and read back in that
    // order. An empty entry is stored as NULL and comes back empty.
    static void writeLinks(Database& database, const DefnEventType& object)
    {
        Files::writeLinks(database, object);
        const LinkSql& sql = eventStringLinkSql();
        eraseOwnerLinks(database, sql, object.Id);
        int position = 0;
        for (const auto& text : object.EventStrings) {
            Statement& insert = database.statement(sql.insert).track();
            StatementReset reset(insert);
            insert.bind(1, object.Id);
            insert.bind(2, position++);
            if (text) {
                insert.bind(3, text->Id);
            } else {
                insert.bind(3, nullptr);
            }
            insert.step();
        }
    }
    static void readLinks(Database& database, DefnEventType& object)
    {
        Files::readLinks(database, object);
        object.EventStrings.clear();
        Statement& select = database.statement(eventStringLinkSql().select);
        StatementReset reset(select);
        select.bind(1, object.Id);
        while (select.step()) {
            if (select.isNull(0)) {
                object.EventStrings.push_back(nullptr);
                continue;
            }
            if (select.isNull(1)) {
                throw ObjectNotPersistent();
            }
            auto text = std::make_shared<DefnEventString>();
            int column = 1;
            text->Id = select.columnInt(column++);
            Mapping<DefnEventString>::read(select, column, *text);
            object.EventStrings.push_back(std::move(text));
        }
    }
    static void eraseLinks(Database& database, int32_t id)
    {
        Files::eraseLinks(database, id);
        eraseOwnerLinks(database, eventStringLinkSql(), id);
    }
};

template <>
struct Mapping<DefnPqEventType> : TypeWithFilesMapping<DefnPqEventType, Mapping<DefnPqEventType>>,
                                  ConfigIdColumns<DefnPqEventType> {
    static constexpr const char* kTable = "DefnPqEventType";
    static constexpr const char* kOwnerColumn = "pq_event_id";
    static constexpr const char* kFileTable = "LoggerFileInfoPqEvent";
};

template <>
struct Mapping<DefnDisturbType> : TypeWithFilesMapping<DefnDisturbType, Mapping<DefnDisturbType>>,
                                  ConfigIdColumns<DefnDisturbType> {
    static constexpr const char* kTable = "DefnDisturbType";
    static constexpr const char* kOwnerColumn = "measure_id";
    static constexpr const char* kFileTable = "LoggerFileInfoDisturb";
};

template <>
struct Mapping<DefnOperatorType> : TypeWithFilesMapping<DefnOperatorType, Mapping<DefnOperatorType>> {
    static constexpr const char* kTable = "DefnOperatorType";
    static constexpr const char* kOwnerColumn = "operator_id";
    static constexpr const char* kFileTable = "LoggerFileInfoOperator";
    static const Columns& columns() { return kTypeColumns; }
    static void bind(Statement& statement, int& index, const DefnOperatorType& object)
    {
        bindType(statement, index, object);
    }
    static void read(Statement& statement, int& column, DefnOperatorType& object)
    {
        readType(statement, column, object);
    }
};

template <class T> const TableSql& tableSql()
{
    static const TableSql sql = makeTableSql(Mapping<T>::kTable, Mapping<T>::columns());
    return sql;
}

template <class T> std::shared_ptr<T> readRow(Statement& statement)
{
    auto object = std::make_shared<T>();
    int column = 0;
    object->Id = statement.columnInt(column++);
    Mapping<T>::read(statement, column, *object);
    return object;
}

// Runs a SELECT of whole rows, with `bindValues` filling its parameters. The links are read
// after the rows, when the SELECT is done, unless the caller skips them.
template <class T, class Binder>
std::vector<std::shared_ptr<T>> selectRows(const std::string& sql, Binder bindValues, Links links = Links::Read)
{
    Database& database = currentDatabase();
    std::vector<std::shared_ptr<T>> objects;
    {
        Statement& select = database.statement(sql);
        StatementReset reset(select);
        bindValues(select);
        while (select.step()) {
            objects.push_back(readRow<T>(select));
        }
    }
    if (links == Links::Read) {
        for (const auto& object : objects) {
            Mapping<T>::readLinks(database, *object);
        }
    }
    return objects;
}

std::string whereDataType(const std::string& table)
{
    return " WHERE " + qualified(table, "mDataType") + "=?";
}

// Runs `action` on the file info as an object of the class that its mType names.
template <class FileInfo, class Action> bool applyAs(LoggerFileInfo& fileInfo, Action& action)
{
    auto* typed = dynamic_cast<FileInfo*>(&fileInfo);
    if (typed == nullptr) {
        return false;
    }
    action(*typed);
    return true;
}

template <class Action> bool applyByType(LoggerFileInfo& fileInfo, Action action)
{
    switch (fileInfo.mType) {
    case LoggerType::NONE:
        action(fileInfo);
        return true;
    case LoggerType::CYCLIC:
        return applyAs<LoggerFileInfoMeasure>(fileInfo, action);
    case LoggerType::EVENT:
        return applyAs<LoggerFileInfoEvent>(fileInfo, action);
    case LoggerType::PQEVENT:
        return applyAs<LoggerFileInfoPqEvent>(fileInfo, action);
    case LoggerType::DISTURB:
        return applyAs<LoggerFileInfoDisturb>(fileInfo, action);
    case LoggerType::OPERATOR:
        return applyAs<LoggerFileInfoOperator>(fileInfo, action);
    }
    return false;
}

// What a file row now holds, after the mapping wrote it; other classes have no rows in the cache.
template <class T> void mirrorRow(Database& database, const T& object)
{
    if constexpr (std::is_base_of<LoggerFileInfo, T>::value) {
        database.cache().putRow(rowKey<T>(), object.Id, object);
    } else {
        (void)database;
        (void)object;
    }
}

} // namespace

template <class T> void persist(T& object)
{
    Database& database = currentDatabase();
    {
        Statement& insert = database.statement(tableSql<T>().insert).track();
        StatementReset reset(insert);
        int index = 1;
        insert.bind(index++, nullptr);
        Mapping<T>::bind(insert, index, object);
        insert.step();
        object.Id = static_cast<int32_t>(database.lastInsertRowId());
        mirrorRow(database, object);
    }
    Mapping<T>::writeLinks(database, object);
}

template <class T> std::shared_ptr<T> find(int32_t id)
{
    Database& database = currentDatabase();
    std::shared_ptr<T> object;
    {
        Statement& select = database.statement(tableSql<T>().selectById);
        StatementReset reset(select);
        select.bind(1, id);
        if (!select.step()) {
            return nullptr;
        }
        object = readRow<T>(select);
    }
    Mapping<T>::readLinks(database, *object);
    return object;
}

template <class T> std::shared_ptr<T> load(int32_t id)
{
    auto object = find<T>(id);
    if (!object) {
        throw ObjectNotPersistent();
    }
    return object;
}

template <class T> void update(const T& object)
{
    Database& database = currentDatabase();
    {
        Statement& statement = database.statement(tableSql<T>().update).track();
        StatementReset reset(statement);
        int index = 1;
        Mapping<T>::bind(statement, index, object);
        statement.bind(index, object.Id);
        statement.step();
        if (database.changes() == 0) {
            throw ObjectNotPersistent();
        }
        mirrorRow(database, object);
    }
    Mapping<T>::writeLinks(database, object);
}

template <class T> void erase(int32_t id)
{
    Database& database = currentDatabase();
    {
        // A type's row takes its links along by cascade; eraseLinks below mirrors that.
        Statement& statement = database.statement(tableSql<T>().erase).track();
        StatementReset reset(statement);
        statement.bind(1, id);
        statement.step();
        if (database.changes() == 0) {
            throw ObjectNotPersistent();
        }
        if constexpr (std::is_base_of<LoggerFileInfo, T>::value) {
            database.cache().eraseRow(rowKey<T>(), id);
        }
    }
    Mapping<T>::eraseLinks(database, id);
}

template <class T> std::vector<std::shared_ptr<T>> queryAll(Links links)
{
    return selectRows<T>(tableSql<T>().select, [](Statement&) {}, links);
}

template <class T> std::vector<std::shared_ptr<T>> queryByDataType(LoggerDataType dataType, Links links)
{
    static const std::string sql = tableSql<T>().select + whereDataType(Mapping<T>::kTable);
    return selectRows<T>(
        sql, [dataType](Statement& select) { select.bind(1, static_cast<int>(dataType)); }, links);
}

template <class T> int countByDataType(LoggerDataType dataType)
{
    static const std::string sql =
        "SELECT count(*) FROM " + quote(Mapping<T>::kTable) + whereDataType(Mapping<T>::kTable);
    Statement& count = currentDatabase().statement(sql);
    StatementReset reset(count);
    count.bind(1, static_cast<int>(dataType));
    return count.step() ? count.columnInt(0) : 0;
}

template <class T> std::vector<std::shared_ptr<T>> queryByConfigId(const QString& configId, Links links)
{
    static const std::string sql =
        tableSql<T>().select + " WHERE " + qualified(Mapping<T>::kTable, Mapping<T>::kConfigIdColumn) + "=?";
    return selectRows<T>(
        sql, [&configId](Statement& select) { select.bind(1, configId); }, links);
}

template <class T>
std::vector<std::shared_ptr<T>> queryByDataTypeAndConfigId(LoggerDataType dataType, const QString& configId,
                                                           Links links)
{
    static const std::string sql = tableSql<T>().select + whereDataType(Mapping<T>::kTable) + " AND " +
                                   qualified(Mapping<T>::kTable, Mapping<T>::kConfigIdColumn) + "=?";
    return selectRows<T>(
        sql,
        [dataType, &configId](Statement& select) {
            select.bind(1, static_cast<int>(dataType));
            select.bind(2, configId);
        },
        links);
}

namespace {

// The minimum and maximum that one statistics SELECT yields; an empty table gives NULL, which
// reads as 0.
template <class Stat> Stat queryMinMax(const char* sql)
{
    Statement& select = currentDatabase().statement(sql);
    StatementReset reset(select);
    Stat stat;
    if (select.step()) {
        stat.min = select.columnInt(0);
        stat.max = select.columnInt(1);
    }
    return stat;
}

} // namespace

template <> LoggerFileInfo_stat queryStatistics<LoggerFileInfo_stat>()
{
    return queryMinMax<LoggerFileInfo_stat>(
        "SELECT min(\"LoggerFileInfo\".\"UtcStart_sec\"), max(\"LoggerFileInfo\".\"UtcEnd_sec\") "
        "FROM \"LoggerFileInfo\"");
}

// The maximum too is taken over the start column.
template <> DefnMeasureType_stat queryStatistics<DefnMeasureType_stat>()
{
    return queryMinMax<DefnMeasureType_stat>(
        "SELECT min(\"DefnMeasureType\".\"UtcStart_sec\"), max(\"DefnMeasureType\".\"UtcStart_sec\") "
        "FROM \"DefnMeasureType\"");
}

const char* fileInfoTable(LoggerType type)
{
    switch (type) {
    case LoggerType::NONE:
        return Mapping<LoggerFileInfo>::kTable;
    case LoggerType::CYCLIC:
        return Mapping<LoggerFileInfoMeasure>::kTable;
    case LoggerType::EVENT:
        return Mapping<LoggerFileInfoEvent>::kTable;
    case LoggerType::PQEVENT:
        return Mapping<LoggerFileInfoPqEvent>::kTable;
    case LoggerType::DISTURB:
        return Mapping<LoggerFileInfoDisturb>::kTable;
    case LoggerType::OPERATOR:
        return Mapping<LoggerFileInfoOperator>::kTable;
    }
    return nullptr;
}

bool persistFileInfo(const std::shared_ptr<LoggerFileInfo>& fileInfo)
{
    return fileInfo && applyByType(*fileInfo, [](auto& typed) { persist(typed); });
}

bool updateFileInfo(const std::shared_ptr<LoggerFileInfo>& fileInfo)
{
    return fileInfo && applyByType(*fileInfo, [](auto& typed) { update(typed); });
}

bool eraseFileInfo(const std::shared_ptr<LoggerFileInfo>& fileInfo)
{
    return fileInfo && applyByType(*fileInfo, [](auto& typed) { erase(typed); });
}

std::shared_ptr<LoggerFileInfo> findFileInfo(LoggerType type, int32_t id)
{
    switch (type) {
    case LoggerType::NONE:
        return find<LoggerFileInfo>(id);
    case LoggerType::CYCLIC:
        return find<LoggerFileInfoMeasure>(id);
    case LoggerType::EVENT:
        return find<LoggerFileInfoEvent>(id);
    case LoggerType::PQEVENT:
        return find<LoggerFileInfoPqEvent>(id);
    case LoggerType::DISTURB:
        return find<LoggerFileInfoDisturb>(id);
    case LoggerType::OPERATOR:
        return find<LoggerFileInfoOperator>(id);
    }
    return nullptr;
}

// The classes the operations are defined for.
#define QZDB_MAPPED_CLASS(T)                                                                                 \
    template void persist<T>(T&);                                                                            \
    template std::shared_ptr<T> find<T>(int32_t);                                                            \
    template std::shared_ptr<T> load<T>(int32_t);                                                            \
    template void update<T>(const T&);                                                                       \
    template void erase<T>(int32_t);                                                                         \
    template std::vector<std::shared_ptr<T>> queryAll<T>(Links);

#define QZDB_TYPE_CLASS(T)                                                                                   \
    QZDB_MAPPED_CLASS(T)                                                                                     \
    template std::vector<std::shared_ptr<T>> queryByDataType<T>(LoggerDataType, Links);                      \
    template int countByDataType<T>(LoggerDataType);

#define QZDB_CONFIG_ID_CLASS(T)                                                                              \
    QZDB_TYPE_CLASS(T)                                                                                       \
    template std::vector<std::shared_ptr<T>> queryByConfigId<T>(const QString&, Links);                      \
    template std::vector<std::shared_ptr<T>> queryByDataTypeAndConfigId<T>(LoggerDataType, const QString&,    \
                                                                           Links);

QZDB_MAPPED_CLASS(LoggerFileInfo)
QZDB_MAPPED_CLASS(LoggerFileInfoMeasure)
QZDB_MAPPED_CLASS(LoggerFileInfoEvent)
QZDB_MAPPED_CLASS(LoggerFileInfoPqEvent)
QZDB_MAPPED_CLASS(LoggerFileInfoDisturb)
QZDB_MAPPED_CLASS(LoggerFileInfoOperator)
QZDB_MAPPED_CLASS(DefnEventString)
QZDB_TYPE_CLASS(DefnBaseType)
QZDB_TYPE_CLASS(DefnOperatorType)
QZDB_CONFIG_ID_CLASS(DefnMeasureType)
QZDB_CONFIG_ID_CLASS(DefnEventType)
QZDB_CONFIG_ID_CLASS(DefnPqEventType)
QZDB_CONFIG_ID_CLASS(DefnDisturbType)

#undef QZDB_CONFIG_ID_CLASS
#undef QZDB_TYPE_CLASS
#undef QZDB_MAPPED_CLASS

} // namespace qzdb

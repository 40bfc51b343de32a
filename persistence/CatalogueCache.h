#pragma once

#include "LoggerFileInfo.h"
#include "LoggerTypes.h"

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

namespace qzdb {

class Database;

// What one connection knows of the file rows and of the types' links to them, so that a type
// with many files is not read row by row at every load: a writer reads its type anew at every
// change of file, and a reader at every read.
//
// It holds only what the catalogue holds, never an object's state in memory: rows as they were
// read or as the mapping's own statements wrote them, and each owner's links in the order in
// which the catalogue gives them back. It is dropped whole
// - when another connection committed since the last look (PRAGMA data_version, asked at every
//   load, inside the caller's transaction),
// - when a transaction of this connection is rolled back (SQLite's rollback hook, and a rollback
//   to a savepoint as it is prepared), since it may have mirrored changes that are now undone,
// - when any statement that the mapping does not mirror changes a row on this connection (an
//   update hook of SQLite sees every changed row; raw SQL and a host's own statements are such
//   statements), and when SQL is run raw (schema texts, pragmas),
// - when it grows beyond kMaximumRows.
// The mapping's statements that write file rows or links run as tracked statements
// (Statement::track), and the mapping mirrors their effect here after each succeeded.
//
// Like the Database it belongs to, it is not synchronised: the catalogue's work runs serially.
class CatalogueCache {
public:
    // Identifies a file table or a link table: the address of something that exists once per
    // table, such as the table's SQL texts.
    using Table = const void*;

    // The columns of a file row.
    struct FileRow {
        DataTimespec created{0, 0};
        DataTimespec start{0, 0};
        DataTimespec end{0, 0};
        LoggerDataType dataType = LoggerDataType::NONE;
        uint32_t guidLow = 0;
        uint32_t guidHigh = 0;
        int32_t headerSize = 0;
        int32_t dataBlockSize = 0;
        LoggerType type = LoggerType::NONE;

        static FileRow of(const LoggerFileInfo& info);
        // Writes the columns into info; its Id and its state in memory stay as they are.
        void copyTo(LoggerFileInfo& info) const;
    };

    // Rows kept at most; a cache that would grow beyond is dropped and begins anew.
    static constexpr std::size_t kMaximumRows = 65536;

    // Drops everything where another connection committed since the last call.
    void synchronize(Database& database);
    void clear();

    // Null where the row is not known.
    const FileRow* row(Table table, int32_t id) const;
    void putRow(Table table, int32_t id, const LoggerFileInfo& info);
    void eraseRow(Table table, int32_t id);

    // One link: its rowid in the link table and the Id of the row it points to.
    struct Link {
        int64_t rowId;
        int32_t id;
    };
    // An owner's links in the catalogue's order; null where not known.
    const std::vector<Link>* links(Table linkTable, int32_t owner) const;
    void putLinks(Table linkTable, int32_t owner, std::vector<Link> links);
    void eraseLinks(Table linkTable, int32_t owner);

    // Every cache of the process on or off; off, each load reads the catalogue, as a test
    // compares the two. On by default.
    static void setEnabled(bool enabled);
    static bool isEnabled();

private:
    struct Key {
        Table table;
        int32_t id;
        bool operator==(const Key& other) const { return table == other.table && id == other.id; }
    };
    struct KeyHash {
        std::size_t operator()(const Key& key) const
        {
            return std::hash<const void*>()(key.table) ^
                   (std::hash<int32_t>()(key.id) * 0x9e3779b97f4a7c15ULL);
        }
    };

    void makeRoom(std::size_t rows);

    std::unordered_map<Key, FileRow, KeyHash> mRows;
    std::unordered_map<Key, std::vector<Link>, KeyHash> mLinks;
    std::size_t mLinkedIds = 0; // links held by all of mLinks
    int64_t mDataVersion = -1;  // -1 before the first look
};

} // namespace qzdb

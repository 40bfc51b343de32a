// The connection's cache of file rows and links against the catalogue itself. A load of a type
// with the cache on must answer exactly what the same load answers with every cache of the process
// off: the same files in the same order, every column equal, and the same exception where the
// catalogue's answer is one. Random sequences of the mapping's own writes, rolled back
// transactions, writes of a second connection, raw SQL on the connection's handle and raw SQL
// through Database::executeRaw run on measure and event types, and after every operation each
// type is loaded both ways. Targeted tests below pin single behaviours: what each kind of change
// makes the next load see, and which statements a type's update runs on its links.

#include "CatalogueCache.h"
#include "CatalogueMapping.h"
#include "Database.h"
#include "DatabaseExceptions.h"
#include "SqliteHooks.h"
#include "Statement.h"
#include "TemporaryCatalogue.h"
#include "Transaction.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

// Operations of one random sequence; each is followed by loads of every type both ways.
constexpr int kOperations = 3000;
// What a sequence starts with, per class of type.
constexpr int kInitialOwners = 3;
constexpr int kInitialFiles = 8;
// Types of a class kept at most: a new one is stored only while there are fewer.
constexpr std::size_t kMostOwners = 5;
// A list grows no longer than this, so that the loads after each operation stay quick.
constexpr int kLongestList = 24;
// Operations named in a failure's message, the last ones before it.
constexpr std::size_t kRememberedOperations = 12;
// Checks of which one also compares the query of every type.
constexpr long kQueryAllEvery = 5;
// SQLite's extended code of a NOT NULL column that refused a NULL.
constexpr int kNotNullRefused = 1299; // SQLITE_CONSTRAINT_NOTNULL

// The tables of a class of type with files.
template <class Type> struct TypeTables;
template <> struct TypeTables<DefnMeasureType> {
    using File = LoggerFileInfoMeasure;
    static constexpr LoggerType kLoggerType = LoggerType::CYCLIC;
    static constexpr const char* kName = "measure type";
    static constexpr const char* kTypeTable = "DefnMeasureType";
    static constexpr const char* kFileTable = "LoggerFileInfoMeasure";
    static constexpr const char* kLinkTable = "DefnMeasureType_FileInfos";
    static constexpr const char* kOwnerColumn = "measure_id";
};
template <> struct TypeTables<DefnEventType> {
    using File = LoggerFileInfoEvent;
    static constexpr LoggerType kLoggerType = LoggerType::EVENT;
    static constexpr const char* kName = "event type";
    static constexpr const char* kTypeTable = "DefnEventType";
    static constexpr const char* kFileTable = "LoggerFileInfoEvent";
    static constexpr const char* kLinkTable = "DefnEventType_FileInfos";
    static constexpr const char* kOwnerColumn = "measure_id";
};

std::string quoted(const std::string& identifier)
{
    return "\"" + identifier + "\"";
}

// Every column of a file as text, so that two answers compare as strings and a difference shows.
void describeFile(std::ostream& out, const LoggerFileInfo* file)
{
    if (file == nullptr) {
        out << "(empty)";
        return;
    }
    out << file->Id << "{" << file->UtcCreated.tv_sec << "." << file->UtcCreated.tv_nsec << " "
        << file->UtcStart.tv_sec << "." << file->UtcStart.tv_nsec << " " << file->UtcEnd.tv_sec << "."
        << file->UtcEnd.tv_nsec << " d" << static_cast<int>(file->DataType) << " g" << file->GuidLow << ":"
        << file->GuidHigh << " h" << file->HeaderSize << " b" << file->DataBlockSize << " t"
        << static_cast<int>(file->mType) << "}";
}

void describeTexts(std::ostream&, const DefnMeasureType&)
{
}

void describeTexts(std::ostream& out, const DefnEventType& type)
{
    out << " texts";
    for (const auto& text : type.EventStrings) {
        out << " " << (text ? std::to_string(text->Id) + "=" + text->Description : std::string("(empty)"));
    }
}

template <class Type> std::string describeType(const Type& type)
{
    std::ostringstream out;
    out << "type " << type.Id << " [" << type.UtcStart.tv_sec << "." << type.UtcStart.tv_nsec << " "
        << type.UtcEnd.tv_sec << "." << type.UtcEnd.tv_nsec << " t" << static_cast<int>(type.mType) << " d"
        << static_cast<int>(type.mDataType) << "] files";
    for (const auto& file : type.FileInfos) {
        out << " ";
        describeFile(out, file.get());
    }
    describeTexts(out, type);
    return out.str();
}

// What a read answered, or which exception it threw.
template <class Read> std::string answerOf(Read read)
{
    try {
        return read();
    } catch (const qzdb::ObjectNotPersistent& e) {
        return std::string("throws ObjectNotPersistent: ") + e.what();
    } catch (const qzdb::DatabaseException& e) {
        return "throws DatabaseException " + std::to_string(e.extendedCode()) + ": " + e.what();
    } catch (const qzdb::Exception& e) {
        return std::string("throws Exception: ") + e.what();
    }
}

template <class Type> std::string loadAnswer(int32_t id)
{
    return answerOf([id] {
        const std::shared_ptr<Type> type = qzdb::find<Type>(id);
        return type ? describeType(*type) : std::string("no row");
    });
}

template <class Type> std::string queryAllAnswer()
{
    return answerOf([] {
        std::string text;
        for (const auto& type : qzdb::queryAll<Type>()) {
            text += describeType(*type) + "\n";
        }
        return text;
    });
}

// The Ids of a table's rows, ascending.
std::vector<int32_t> rowIds(qzdb::Database& database, const std::string& table)
{
    qzdb::Statement& select = database.statement("SELECT \"Id\" FROM " + quoted(table) + " ORDER BY \"Id\"");
    qzdb::StatementReset reset(select);
    std::vector<int32_t> ids;
    while (select.step()) {
        ids.push_back(select.columnInt(0));
    }
    return ids;
}

// The rowid of each link of a table, ascending, with its owner and its file.
struct LinkRow {
    int64_t rowId;
    int32_t owner;
    int32_t file;
};

std::vector<LinkRow> linkRows(qzdb::Database& database, const std::string& linkTable,
                              const std::string& ownerColumn)
{
    qzdb::Statement& select =
        database.statement("SELECT rowid, " + quoted(ownerColumn) + ", \"file_info_id\" FROM " +
                           quoted(linkTable) + " ORDER BY rowid");
    qzdb::StatementReset reset(select);
    std::vector<LinkRow> links;
    while (select.step()) {
        links.push_back(LinkRow{select.columnInt64(0), select.columnInt(1), select.columnInt(2)});
    }
    return links;
}

// The file Ids that one owner's links point to, in no order.
std::multiset<int32_t> linkedIds(qzdb::Database& database, const std::string& linkTable,
                                 const std::string& ownerColumn, int32_t owner)
{
    std::multiset<int32_t> ids;
    for (const LinkRow& link : linkRows(database, linkTable, ownerColumn)) {
        if (link.owner == owner) {
            ids.insert(link.file);
        }
    }
    return ids;
}

template <class File> std::multiset<int32_t> idsOf(const std::vector<std::shared_ptr<File>>& files)
{
    std::multiset<int32_t> ids;
    for (const auto& file : files) {
        if (file) {
            ids.insert(file->Id);
        }
    }
    return ids;
}

// What the test holds in memory of one class of type: the types as this connection last wrote or
// read them (their lists may differ from the catalogue's links where another writer changed
// those), and an object for every file row that the catalogue holds.
template <class Type> struct Family {
    using Tables = TypeTables<Type>;
    using File = typename Tables::File;

    std::vector<std::shared_ptr<Type>> owners;
    std::vector<std::shared_ptr<File>> files;
};

class CatalogueCacheTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mCatalogue.isValid());
        // Durability is not what these tests are about, and thousands of commits that each wait
        // for the disk would make a sequence slow.
        db().executeRaw("PRAGMA synchronous=OFF");
        mOther = mCatalogue.openConnection();
        mOther->executeRaw("PRAGMA synchronous=OFF");
    }

    void TearDown() override { qzdb::CatalogueCache::setEnabled(true); }

    qzdb::Database& db() { return mCatalogue.database(); }

    template <class Body> void committed(Body body)
    {
        qzdb::Transaction transaction(db());
        body();
        transaction.commit();
    }

    // The same read with every cache of the process off: what the catalogue itself answers. A
    // read with the caches off drops what this connection knows; that is kept aside and put back,
    // so that the connection goes on with the cache that the operations before built, as if the
    // reference read had not happened.
    template <class Read> auto fromCatalogue(Read read) -> decltype(read())
    {
        struct CacheKeptAside {
            qzdb::Database& database;
            qzdb::CatalogueCache kept;
            ~CacheKeptAside()
            {
                qzdb::CatalogueCache::setEnabled(true);
                database.cache() = kept;
            }
        } keptAside{db(), db().cache()};
        qzdb::CatalogueCache::setEnabled(false);
        return read();
    }

    // Loads every type of the class with the cache on, once more, and with the caches off, all in
    // the transaction that is current, and expects the same answers. Counts the first loads that
    // the cache answered without asking the catalogue for the links.
    template <class Type> void expectLoadsAgree(const std::string& when)
    {
        using Tables = TypeTables<Type>;
        const std::vector<int32_t> ids = rowIds(db(), Tables::kTypeTable);
        std::vector<std::string> cached(ids.size());
        std::vector<bool> linksRead(ids.size());
        for (std::size_t index = 0; index < ids.size(); ++index) {
            linksRead[index] = loadReadsLinks<Type>(ids[index], cached[index]);
            ++mLoads;
            mLoadsFromCache += linksRead[index] ? 0 : 1;
        }
        const std::vector<std::string> reference = fromCatalogue([&ids] {
            std::vector<std::string> answers;
            for (const int32_t id : ids) {
                answers.push_back(loadAnswer<Type>(id));
            }
            return answers;
        });
        for (std::size_t index = 0; index < ids.size(); ++index) {
            EXPECT_EQ(cached[index], reference[index])
                << when << ": " << Tables::kName << " " << ids[index]
                << (linksRead[index] ? " (links read)" : " (from the cache)");
            EXPECT_EQ(loadAnswer<Type>(ids[index]), reference[index])
                << when << ": " << Tables::kName << " " << ids[index] << ", loaded again";
        }
        // The query of every type reads the same links again; one check in a few runs it.
        if (++mChecks % kQueryAllEvery == 0) {
            EXPECT_EQ(queryAllAnswer<Type>(), fromCatalogue([] { return queryAllAnswer<Type>(); }))
                << when << ": every " << Tables::kName;
        }
    }

    // Loads the type in the current transaction; true where the load asked the catalogue for its
    // links rather than taking them from the cache.
    template <class Type> bool loadReadsLinks(int32_t id, std::string& answer)
    {
        const std::string linkQuery = "FROM " + quoted(TypeTables<Type>::kLinkTable) + " LEFT JOIN";
        const std::vector<std::string> statements =
            SqliteHooks::traceStatements(db().handle(), [&] { answer = loadAnswer<Type>(id); });
        return std::any_of(statements.begin(), statements.end(),
                           [&](const std::string& sql) { return sql.find(linkQuery) != std::string::npos; });
    }

    void expectLoadsAgreeInTransaction(const std::string& when)
    {
        expectLoadsAgree<DefnMeasureType>(when);
        expectLoadsAgree<DefnEventType>(when);
    }

    void expectLoadsAgreeNow(const std::string& when)
    {
        committed([&] { expectLoadsAgreeInTransaction(when); });
    }

    template <class Type> std::multiset<int32_t> links(int32_t owner)
    {
        return linkedIds(db(), TypeTables<Type>::kLinkTable, TypeTables<Type>::kOwnerColumn, owner);
    }

    TemporaryCatalogue mCatalogue;
    std::shared_ptr<qzdb::Database> mOther;
    long mLoads = 0;
    long mLoadsFromCache = 0;
    long mChecks = 0;
};

// ---- The random sequences -----------------------------------------------------------------------

class CatalogueCachePropertyTest : public CatalogueCacheTest {
protected:
    int pick(int count) { return std::uniform_int_distribution<int>(0, count - 1)(mRandom); }
    bool chance(int percent) { return pick(100) < percent; }
    int32_t anyInt() { return static_cast<int32_t>(mRandom()); }

    Family<DefnMeasureType>& familyOf(const DefnMeasureType*) { return mMeasures; }
    Family<DefnEventType>& familyOf(const DefnEventType*) { return mEvents; }
    template <class Type> Family<Type>& family() { return familyOf(static_cast<const Type*>(nullptr)); }

    template <class File> void randomColumns(File& file)
    {
        file.UtcCreated = DataTimespec{1700000000 + pick(100000), pick(1000000000)};
        file.UtcStart = DataTimespec{1700000000 + pick(100000), pick(1000000000)};
        file.UtcEnd = chance(10) ? DataTimespec{anyInt(), anyInt()}
                                 : DataTimespec{file.UtcStart.tv_sec + pick(86400), pick(1000000000)};
        file.DataType = static_cast<LoggerDataType>(pick(30));
        file.GuidLow = static_cast<uint32_t>(mRandom());
        file.GuidHigh = static_cast<uint32_t>(mRandom());
        file.HeaderSize = chance(90) ? 44 : anyInt();
        file.DataBlockSize = 8 + pick(200);
    }

    template <class Type> std::shared_ptr<typename Family<Type>::File> newFile()
    {
        auto file = std::make_shared<typename Family<Type>::File>();
        randomColumns(*file);
        return file;
    }

    template <class Type> std::shared_ptr<typename Family<Type>::File> anyFile()
    {
        Family<Type>& files = family<Type>();
        return files.files.empty()
                   ? nullptr
                   : files.files[static_cast<std::size_t>(pick(static_cast<int>(files.files.size())))];
    }

    template <class Type> std::shared_ptr<Type> anyOwner()
    {
        Family<Type>& owners = family<Type>();
        return owners.owners.empty()
                   ? nullptr
                   : owners.owners[static_cast<std::size_t>(pick(static_cast<int>(owners.owners.size())))];
    }

    // A change of the list in memory, as the writer and the eviction make them and some more.
    template <class Type> std::string changeList(Type& owner)
    {
        auto& list = owner.FileInfos;
        const int size = static_cast<int>(list.size());
        switch (pick(size >= kLongestList ? 7 : 9)) {
        case 0:
            if (size > 0) {
                list.erase(list.begin() + pick(size));
                return "removed one";
            }
            return "removed none";
        case 1:
            if (size > 1) {
                std::shuffle(list.begin(), list.end(), mRandom);
                return "shuffled";
            }
            return "shuffled none";
        case 2:
            if (size > 1) {
                std::swap(list[static_cast<std::size_t>(pick(size))],
                          list[static_cast<std::size_t>(pick(size))]);
                return "swapped two";
            }
            return "swapped none";
        case 3: list.clear(); return "cleared";
        case 4: {
            list.clear();
            const int count = pick(8);
            for (int index = 0; index < count; ++index) {
                if (const auto file = anyFile<Type>()) {
                    list.push_back(file);
                }
            }
            return "replaced by " + std::to_string(list.size());
        }
        case 5:
            if (size > 2) {
                list.erase(list.begin(), list.begin() + 1 + pick(size - 1));
                return "removed the first ones";
            }
            return "removed no first ones";
        case 6:
            if (size > 0) {
                list.pop_back();
                return "removed the last";
            }
            return "removed no last";
        case 7:
            if (size > 0) {
                list.push_back(list[static_cast<std::size_t>(pick(size))]);
                return "duplicated one";
            }
            return "duplicated none";
        default:
            if (const auto file = anyFile<Type>()) {
                list.insert(list.begin() + pick(size + 1), file);
                return "added " + std::to_string(file->Id);
            }
            return "added none";
        }
    }

    // After a committed update of the type: its links are its list in memory, as a multiset.
    template <class Type> void expectLinksAreTheList(const Type& owner, const std::string& when)
    {
        EXPECT_EQ(links<Type>(owner.Id), idsOf(owner.FileInfos))
            << when << ": the links of " << TypeTables<Type>::kName << " " << owner.Id;
    }

    // The writes of the mapping, inside the current transaction. Each tells what it did.
    template <class Type> std::string persistFiles()
    {
        const int count = 1 + pick(3);
        const auto owner = chance(60) ? anyOwner<Type>() : nullptr;
        for (int index = 0; index < count; ++index) {
            const auto file = newFile<Type>();
            qzdb::persist(*file);
            family<Type>().files.push_back(file);
            if (owner && static_cast<int>(owner->FileInfos.size()) < kLongestList) {
                owner->FileInfos.push_back(file);
            }
        }
        if (owner) {
            qzdb::update(*owner);
            return "persisted " + std::to_string(count) + " files for " + std::to_string(owner->Id);
        }
        return "persisted " + std::to_string(count) + " files";
    }

    template <class Type> std::string updateFile()
    {
        const auto file = anyFile<Type>();
        if (!file) {
            return "updated no file";
        }
        if (chance(50)) {
            // As the writer stores a file's range.
            file->UtcEnd = DataTimespec{file->UtcEnd.tv_sec + 1 + pick(1000), pick(1000000000)};
        } else {
            randomColumns(*file);
        }
        qzdb::update(*file);
        return "updated file " + std::to_string(file->Id);
    }

    // Erases a file row; with `unlink`, every type that links it or lists it is updated without it
    // in the same transaction, as an eviction does. Tells whether links to it remain.
    template <class Type> std::string eraseFile(bool unlink, bool& linksRemain)
    {
        using Tables = TypeTables<Type>;
        Family<Type>& files = family<Type>();
        linksRemain = false;
        if (files.files.empty()) {
            return "erased no file";
        }
        const std::size_t index = static_cast<std::size_t>(pick(static_cast<int>(files.files.size())));
        const int32_t id = files.files[index]->Id;
        qzdb::erase<typename Tables::File>(id);
        files.files.erase(files.files.begin() + static_cast<std::ptrdiff_t>(index));
        std::set<int32_t> linking;
        for (const LinkRow& link : linkRows(db(), Tables::kLinkTable, Tables::kOwnerColumn)) {
            if (link.file == id) {
                linking.insert(link.owner);
            }
        }
        for (const auto& owner : files.owners) {
            auto& list = owner->FileInfos;
            const auto before = list.size();
            list.erase(
                std::remove_if(list.begin(), list.end(), [id](const auto& file) { return file->Id == id; }),
                list.end());
            if (unlink && (list.size() != before || linking.count(owner->Id) != 0)) {
                qzdb::update(*owner);
            }
        }
        for (const LinkRow& link : linkRows(db(), Tables::kLinkTable, Tables::kOwnerColumn)) {
            linksRemain = linksRemain || link.file == id;
        }
        return std::string(unlink ? "erased and unlinked file " : "erased file ") + std::to_string(id);
    }

    template <class Type> std::string updateList()
    {
        const auto owner = anyOwner<Type>();
        if (!owner) {
            return "changed no list";
        }
        const std::string change = changeList(*owner);
        qzdb::update(*owner);
        return "list of " + std::to_string(owner->Id) + " " + change;
    }

    template <class Type> std::string eraseOwner()
    {
        Family<Type>& owners = family<Type>();
        if (owners.owners.size() < 2) {
            return "erased no type";
        }
        const std::size_t index = static_cast<std::size_t>(pick(static_cast<int>(owners.owners.size())));
        const int32_t id = owners.owners[index]->Id;
        qzdb::erase<Type>(id);
        owners.owners.erase(owners.owners.begin() + static_cast<std::ptrdiff_t>(index));
        return "erased type " + std::to_string(id);
    }

    template <class Type> std::string persistOwner()
    {
        auto owner = std::make_shared<Type>();
        owner->UtcStart = DataTimespec{1700000000 + pick(1000), 0};
        owner->mDataType = static_cast<LoggerDataType>(pick(30));
        const int count = pick(6);
        for (int index = 0; index < count; ++index) {
            if (const auto file = anyFile<Type>()) {
                owner->FileInfos.push_back(file);
            }
        }
        qzdb::persist(*owner);
        family<Type>().owners.push_back(owner);
        return "persisted type " + std::to_string(owner->Id) + " with " + std::to_string(count) + " files";
    }

    std::string addEventText()
    {
        const auto owner = anyOwner<DefnEventType>();
        if (!owner) {
            return "added no text";
        }
        auto text = std::make_shared<DefnEventString>("event " + std::to_string(pick(1000)));
        qzdb::persist(*text);
        owner->EventStrings.push_back(text);
        qzdb::update(*owner);
        return "added text " + std::to_string(text->Id) + " to " + std::to_string(owner->Id);
    }

    // One write of the mapping of any kind that commits, inside the current transaction.
    template <class Type> std::string anyMappingWrite()
    {
        switch (pick(6)) {
        case 0: return persistFiles<Type>();
        case 1: return updateFile<Type>();
        case 2: {
            bool linksRemain = false;
            return eraseFile<Type>(true, linksRemain);
        }
        case 3: return eraseOwner<Type>();
        case 4: return family<Type>().owners.size() < kMostOwners ? persistOwner<Type>() : eraseOwner<Type>();
        default: return updateList<Type>();
        }
    }

    // Brings the memory in line with the catalogue after another writer changed rows: an object
    // for each file row, no owner that lost its row, and no entry of a list whose file is gone.
    // The lists keep their other differences to the links: the next update must write them away.
    template <class Type> void syncWithRows()
    {
        using Tables = TypeTables<Type>;
        Family<Type>& state = family<Type>();
        committed([&] {
            const std::vector<int32_t> fileIds = rowIds(db(), Tables::kFileTable);
            std::map<int32_t, std::shared_ptr<typename Tables::File>> known;
            for (const auto& file : state.files) {
                known[file->Id] = file;
            }
            state.files.clear();
            for (const int32_t id : fileIds) {
                const auto found = known.find(id);
                state.files.push_back(found != known.end() ? found->second
                                                           : qzdb::load<typename Tables::File>(id));
            }
            const std::vector<int32_t> typeIds = rowIds(db(), Tables::kTypeTable);
            const std::set<int32_t> types(typeIds.begin(), typeIds.end());
            const std::set<int32_t> rows(fileIds.begin(), fileIds.end());
            state.owners.erase(std::remove_if(state.owners.begin(), state.owners.end(),
                                              [&](const auto& owner) { return types.count(owner->Id) == 0; }),
                               state.owners.end());
            for (const auto& owner : state.owners) {
                auto& list = owner->FileInfos;
                list.erase(std::remove_if(list.begin(), list.end(),
                                          [&](const auto& file) { return rows.count(file->Id) == 0; }),
                           list.end());
            }
        });
    }

    // Everything as the catalogue holds it, after a transaction that was rolled back.
    template <class Type> void reloadFromCatalogue()
    {
        using Tables = TypeTables<Type>;
        Family<Type>& state = family<Type>();
        committed([&] {
            state.owners.clear();
            for (const int32_t id : rowIds(db(), Tables::kTypeTable)) {
                state.owners.push_back(fromCatalogue([id] { return qzdb::load<Type>(id); }));
            }
            state.files.clear();
            for (const int32_t id : rowIds(db(), Tables::kFileTable)) {
                state.files.push_back(qzdb::load<typename Tables::File>(id));
            }
        });
    }

    void reloadEverything()
    {
        reloadFromCatalogue<DefnMeasureType>();
        reloadFromCatalogue<DefnEventType>();
    }

    void syncEverything()
    {
        syncWithRows<DefnMeasureType>();
        syncWithRows<DefnEventType>();
    }

    // ---- The operations; each runs in transactions of its own and tells what it did.

    template <class Type> std::string committedWrite()
    {
        std::string what;
        qzdb::Transaction transaction(db());
        what = anyMappingWrite<Type>();
        if (chance(25)) {
            expectLoadsAgreeInTransaction(what + ", before its commit");
        }
        transaction.commit();
        return what;
    }

    template <class Type> std::string committedListUpdate()
    {
        const auto owner = anyOwner<Type>();
        if (!owner) {
            return "no type to update";
        }
        std::string what;
        committed([&] {
            what = "list of " + std::to_string(owner->Id) + " " + changeList(*owner);
            qzdb::update(*owner);
        });
        expectLinksAreTheList(*owner, what);
        return what;
    }

    template <class Type> std::string committedFileErase()
    {
        bool linksRemain = false;
        const bool unlink = chance(75);
        std::string what;
        qzdb::Transaction transaction(db());
        what = eraseFile<Type>(unlink, linksRemain);
        // A link whose file is gone makes the load fail, with the cache as without it.
        expectLoadsAgreeInTransaction(what + ", before its commit");
        if (!linksRemain) {
            transaction.commit();
            return what;
        }
        // The key of the link to the file is checked at the commit, which refuses it.
        EXPECT_THROW(transaction.commit(), qzdb::DatabaseException) << what;
        reloadEverything();
        return what + ", refused at the commit";
    }

    // An empty entry in the list: the update throws on the NOT NULL column. The transaction is
    // then rolled back, or, more rarely, committed with what the statements before did.
    template <class Type> std::string emptyEntryUpdate()
    {
        const auto owner = anyOwner<Type>();
        if (!owner) {
            return "no type for an empty entry";
        }
        const std::multiset<int32_t> before = [&] {
            std::multiset<int32_t> ids;
            committed([&] { ids = links<Type>(owner->Id); });
            return ids;
        }();
        auto& list = owner->FileInfos;
        const std::size_t at = static_cast<std::size_t>(pick(static_cast<int>(list.size()) + 1));
        list.insert(list.begin() + static_cast<std::ptrdiff_t>(at), nullptr);
        const bool commitAnyway = chance(20);
        const std::string what = "empty entry at " + std::to_string(at) + " of " + std::to_string(owner->Id) +
                                 (commitAnyway ? ", committed all the same" : ", rolled back");
        {
            qzdb::Transaction transaction(db());
            try {
                qzdb::update(*owner);
                ADD_FAILURE() << what << ": the update took an empty entry";
            } catch (const qzdb::DatabaseException& e) {
                EXPECT_EQ(e.extendedCode(), kNotNullRefused) << what;
            }
            expectLoadsAgreeInTransaction(what + ", after the refused update");
            if (commitAnyway) {
                transaction.commit();
            }
        }
        list.erase(list.begin() + static_cast<std::ptrdiff_t>(at));
        if (!commitAnyway) {
            committed([&] { EXPECT_EQ(links<Type>(owner->Id), before) << what; });
        }
        return what;
    }

    // A few writes of both classes, checked inside, then given up by an explicit rollback or by
    // an exception that leaves the transaction's scope.
    std::string rolledBackWrites()
    {
        const bool byException = chance(50);
        std::string what = byException ? "given up by an exception:" : "rolled back:";
        try {
            qzdb::Transaction transaction(db());
            const int writes = 1 + pick(4);
            for (int write = 0; write < writes; ++write) {
                what += " " +
                        (chance(50) ? anyMappingWrite<DefnMeasureType>() : anyMappingWrite<DefnEventType>());
                expectLoadsAgreeInTransaction(what);
            }
            if (byException) {
                throw std::runtime_error("given up");
            }
            transaction.rollback();
        } catch (const std::runtime_error&) {
        }
        reloadEverything();
        return what;
    }

    // Another connection writes rows and links by plain SQL and commits.
    template <class Type> std::string otherConnectionWrites()
    {
        using Tables = TypeTables<Type>;
        qzdb::Database& other = *mOther;
        std::string what = std::string("other connection on ") + Tables::kName + ":";
        qzdb::Transaction transaction(other, false);
        const int writes = 1 + pick(3);
        for (int write = 0; write < writes; ++write) {
            const std::vector<int32_t> files = rowIds(other, Tables::kFileTable);
            const std::vector<int32_t> owners = rowIds(other, Tables::kTypeTable);
            const std::vector<LinkRow> linked = linkRows(other, Tables::kLinkTable, Tables::kOwnerColumn);
            const auto anyOf = [&](const auto& values) {
                return values[static_cast<std::size_t>(pick(static_cast<int>(values.size())))];
            };
            switch (pick(6)) {
            case 0: {
                qzdb::Statement insert(
                    other,
                    "INSERT INTO " + quoted(Tables::kFileTable) +
                        " (\"UtcCreated_sec\", \"UtcCreated_nsec\", \"UtcStart_sec\", \"UtcStart_nsec\", "
                        "\"UtcEnd_sec\", \"UtcEnd_nsec\", \"DataType\", \"GuidLow\", \"GuidHigh\", "
                        "\"HeaderSize\", \"DataBlockSize\", \"mType\") VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, "
                        "?, ?)");
                typename Tables::File file;
                randomColumns(file);
                insert.bind(1, file.UtcCreated.tv_sec);
                insert.bind(2, file.UtcCreated.tv_nsec);
                insert.bind(3, file.UtcStart.tv_sec);
                insert.bind(4, file.UtcStart.tv_nsec);
                insert.bind(5, file.UtcEnd.tv_sec);
                insert.bind(6, file.UtcEnd.tv_nsec);
                insert.bind(7, static_cast<int>(file.DataType));
                insert.bind(8, static_cast<int64_t>(file.GuidLow));
                insert.bind(9, static_cast<int64_t>(file.GuidHigh));
                insert.bind(10, file.HeaderSize);
                insert.bind(11, file.DataBlockSize);
                insert.bind(12, static_cast<int>(Tables::kLoggerType));
                insert.step();
                what += " inserted file " + std::to_string(other.lastInsertRowId());
                break;
            }
            case 1:
                if (!files.empty()) {
                    const int32_t id = anyOf(files);
                    qzdb::Statement update(
                        other, "UPDATE " + quoted(Tables::kFileTable) +
                                   " SET \"UtcEnd_sec\"=\"UtcEnd_sec\"+?, \"GuidLow\"=? WHERE \"Id\"=?");
                    update.bind(1, 1 + pick(1000));
                    update.bind(2, static_cast<int64_t>(static_cast<uint32_t>(mRandom())));
                    update.bind(3, id);
                    update.step();
                    what += " updated file " + std::to_string(id);
                }
                break;
            case 2:
                if (!files.empty()) {
                    const int32_t id = anyOf(files);
                    qzdb::Statement unlink(other, "DELETE FROM " + quoted(Tables::kLinkTable) +
                                                      " WHERE \"file_info_id\"=?");
                    unlink.bind(1, id);
                    unlink.step();
                    qzdb::Statement erase(other,
                                          "DELETE FROM " + quoted(Tables::kFileTable) + " WHERE \"Id\"=?");
                    erase.bind(1, id);
                    erase.step();
                    what += " deleted file " + std::to_string(id) + " and its links";
                }
                break;
            case 3:
                if (!files.empty() && !owners.empty()) {
                    const int32_t owner = anyOf(owners);
                    const int32_t file = anyOf(files);
                    qzdb::Statement insert(other, "INSERT INTO " + quoted(Tables::kLinkTable) + " (" +
                                                      quoted(Tables::kOwnerColumn) +
                                                      ", \"file_info_id\") VALUES (?, ?)");
                    insert.bind(1, owner);
                    insert.bind(2, file);
                    insert.step();
                    what += " linked " + std::to_string(owner) + " to " + std::to_string(file);
                }
                break;
            case 4:
                if (!linked.empty()) {
                    const LinkRow link = anyOf(linked);
                    qzdb::Statement erase(other,
                                          "DELETE FROM " + quoted(Tables::kLinkTable) + " WHERE rowid=?");
                    erase.bind(1, link.rowId);
                    erase.step();
                    what += " deleted link " + std::to_string(link.owner) + "->" + std::to_string(link.file);
                }
                break;
            default:
                if (!linked.empty() && !files.empty()) {
                    const LinkRow link = anyOf(linked);
                    const int32_t file = anyOf(files);
                    qzdb::Statement repoint(other, "UPDATE " + quoted(Tables::kLinkTable) +
                                                       " SET \"file_info_id\"=? WHERE rowid=?");
                    repoint.bind(1, file);
                    repoint.bind(2, link.rowId);
                    repoint.step();
                    what += " pointed link " + std::to_string(link.owner) + "->" + std::to_string(link.file) +
                            " to " + std::to_string(file);
                }
                break;
            }
        }
        transaction.commit();
        syncEverything();
        return what;
    }

    // Raw SQL on this connection's handle, which the mapping does not mirror: on its own, or inside
    // a transaction of the mapping that loads after it and commits.
    template <class Type> std::string rawWrites()
    {
        using Tables = TypeTables<Type>;
        const bool inTransaction = chance(50);
        std::string what = std::string("raw SQL on the handle for ") + Tables::kName +
                           (inTransaction ? " in a transaction:" : ":");
        std::vector<int32_t> files;
        std::vector<int32_t> owners;
        std::vector<LinkRow> linked;
        committed([&] {
            files = rowIds(db(), Tables::kFileTable);
            owners = rowIds(db(), Tables::kTypeTable);
            linked = linkRows(db(), Tables::kLinkTable, Tables::kOwnerColumn);
        });
        std::string sql;
        switch (pick(3)) {
        case 0:
            if (!files.empty()) {
                const int32_t id = files[static_cast<std::size_t>(pick(static_cast<int>(files.size())))];
                sql = "UPDATE " + quoted(Tables::kFileTable) + " SET \"UtcEnd_sec\"=\"UtcEnd_sec\"+" +
                      std::to_string(1 + pick(1000)) + ", \"HeaderSize\"=" + std::to_string(pick(100)) +
                      " WHERE \"Id\"=" + std::to_string(id);
            }
            break;
        case 1:
            if (!linked.empty()) {
                const LinkRow link = linked[static_cast<std::size_t>(pick(static_cast<int>(linked.size())))];
                sql = "DELETE FROM " + quoted(Tables::kLinkTable) +
                      " WHERE rowid=" + std::to_string(link.rowId);
            }
            break;
        default:
            if (!files.empty() && !owners.empty()) {
                sql =
                    "INSERT INTO " + quoted(Tables::kLinkTable) + " (" + quoted(Tables::kOwnerColumn) +
                    ", \"file_info_id\") VALUES (" +
                    std::to_string(owners[static_cast<std::size_t>(pick(static_cast<int>(owners.size())))]) +
                    ", " +
                    std::to_string(files[static_cast<std::size_t>(pick(static_cast<int>(files.size())))]) +
                    ")";
            }
            break;
        }
        if (sql.empty()) {
            return what + " nothing";
        }
        what += " " + sql;
        if (inTransaction) {
            qzdb::Transaction transaction(db());
            // A load first, so that the cache knows the rows that the raw statement changes.
            expectLoadsAgree<Type>(what + ", before it");
            EXPECT_EQ(sqlite3_exec(db().handle(), sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << what;
            expectLoadsAgreeInTransaction(what + ", before the commit");
            transaction.commit();
        } else {
            EXPECT_EQ(sqlite3_exec(db().handle(), sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << what;
        }
        syncEverything();
        return what;
    }

    // Raw SQL through Database::executeRaw that changes no row the cache knows.
    std::string executeRawStatement()
    {
        static const char* const kStatements[] = {"PRAGMA cache_size=-4000",
                                                  "SELECT count(*) FROM \"DefnMeasureType\"",
                                                  "PRAGMA user_version=7", "PRAGMA optimize"};
        const std::string sql = kStatements[pick(static_cast<int>(std::size(kStatements)))];
        if (chance(50)) {
            db().executeRaw(sql);
            return "executeRaw " + sql;
        }
        committed([&] {
            expectLoadsAgreeInTransaction("before executeRaw " + sql);
            db().executeRaw(sql);
        });
        return "executeRaw " + sql + " in a transaction";
    }

    template <class Type> std::string anyOperationOn()
    {
        const int kind = pick(100);
        if (kind < 25) {
            return committedWrite<Type>();
        }
        if (kind < 45) {
            return committedListUpdate<Type>();
        }
        if (kind < 52) {
            return committedFileErase<Type>();
        }
        if (kind < 57) {
            return emptyEntryUpdate<Type>();
        }
        if (kind < 72) {
            return otherConnectionWrites<Type>();
        }
        if (kind < 84) {
            return rawWrites<Type>();
        }
        return committedWrite<Type>();
    }

    std::string anyOperation()
    {
        const int kind = pick(100);
        if (kind < 8) {
            return rolledBackWrites();
        }
        if (kind < 13) {
            return executeRawStatement();
        }
        if (kind < 16) {
            std::string what;
            committed([&] { what = addEventText(); });
            return what;
        }
        return chance(50) ? anyOperationOn<DefnMeasureType>() : anyOperationOn<DefnEventType>();
    }

    template <class Type> void seedFamily()
    {
        committed([&] {
            for (int index = 0; index < kInitialFiles; ++index) {
                const auto file = newFile<Type>();
                qzdb::persist(*file);
                family<Type>().files.push_back(file);
            }
            for (int index = 0; index < kInitialOwners; ++index) {
                persistOwner<Type>();
            }
        });
    }

    // One sequence: the operations in turn, each followed by the loads of every type both ways.
    // Stops at the first difference and names the operations that led to it.
    void runSequence(unsigned seed)
    {
        mRandom.seed(seed);
        seedFamily<DefnMeasureType>();
        seedFamily<DefnEventType>();
        std::deque<std::string> recent;
        for (int step = 1; step <= kOperations; ++step) {
            const std::string what = anyOperation();
            recent.push_back(std::to_string(step) + ": " + what);
            if (recent.size() > kRememberedOperations) {
                recent.pop_front();
            }
            expectLoadsAgreeNow("after " + recent.back());
            if (HasFailure()) {
                std::string history;
                for (const std::string& line : recent) {
                    history += "  " + line + "\n";
                }
                FAIL() << "seed " << seed << ", operation " << step << "; the operations before:\n"
                       << history;
            }
        }
        // The cache must have answered a good part of the loads, or the sequence compared the
        // catalogue with itself.
        EXPECT_GT(mLoadsFromCache * 4, mLoads)
            << mLoadsFromCache << " of " << mLoads << " loads from the cache";
        RecordProperty("loads", static_cast<int>(mLoads));
        RecordProperty("loadsFromCache", static_cast<int>(mLoadsFromCache));
    }

    std::mt19937 mRandom;
    Family<DefnMeasureType> mMeasures;
    Family<DefnEventType> mEvents;
};

TEST_F(CatalogueCachePropertyTest, CachedLoadsAnswerAsTheCatalogueAfterEveryRandomOperation)
{
    runSequence(0);
}

TEST_F(CatalogueCachePropertyTest, CachedLoadsAnswerAsTheCatalogueAfterEveryRandomOperationSeed7919)
{
    runSequence(7919);
}

TEST_F(CatalogueCachePropertyTest, CachedLoadsAnswerAsTheCatalogueAfterEveryRandomOperationSeed104729)
{
    runSequence(104729);
}

// ---- Single behaviours ------------------------------------------------------------------------------

class CatalogueCacheBehaviourTest : public CatalogueCacheTest {
protected:
    using File = LoggerFileInfoMeasure;
    static constexpr const char* kLinkTable = "DefnMeasureType_FileInfos";

    static std::shared_ptr<File> fileAt(int32_t second)
    {
        auto file = std::make_shared<File>(LoggerDataType::MEAN);
        file->UtcCreated = DataTimespec{second, 0};
        file->UtcStart = DataTimespec{second, 0};
        file->UtcEnd = DataTimespec{second + 59, 0};
        file->GuidLow = static_cast<uint32_t>(second);
        file->HeaderSize = 44;
        file->DataBlockSize = 24;
        return file;
    }

    // A measure type with `count` files, stored with them in one transaction.
    DefnMeasureType storedType(int count)
    {
        DefnMeasureType type;
        committed([&] {
            for (int index = 0; index < count; ++index) {
                const auto file = fileAt(1763802000 + index * 60);
                qzdb::persist(*file);
                type.FileInfos.push_back(file);
            }
            qzdb::persist(type);
        });
        return type;
    }

    // A load with the cache, in a transaction of its own.
    std::string cachedLoad(int32_t id)
    {
        std::string answer;
        committed([&] { answer = loadAnswer<DefnMeasureType>(id); });
        return answer;
    }

    // The same load with every cache off, leaving this connection's cache as it was.
    std::string catalogueLoad(int32_t id)
    {
        std::string answer;
        committed([&] { answer = fromCatalogue([id] { return loadAnswer<DefnMeasureType>(id); }); });
        return answer;
    }

    bool nextLoadReadsLinks(int32_t id)
    {
        bool read = false;
        std::string answer;
        committed([&] { read = loadReadsLinks<DefnMeasureType>(id, answer); });
        return read;
    }

    // The statements that `body` runs in a transaction of its own which commits.
    std::vector<std::string> statementsOf(const std::function<void()>& body)
    {
        std::vector<std::string> statements;
        committed([&] { statements = SqliteHooks::traceStatements(db().handle(), body); });
        return statements;
    }

    static int countStarting(const std::vector<std::string>& statements, const std::string& start)
    {
        return static_cast<int>(
            std::count_if(statements.begin(), statements.end(),
                          [&](const std::string& sql) { return sql.compare(0, start.size(), start) == 0; }));
    }

    static std::string insertOfLinks() { return "INSERT INTO " + quoted(kLinkTable); }
    static std::string deleteOfLinks() { return "DELETE FROM " + quoted(kLinkTable); }

    bool runOnHandle(const std::string& sql)
    {
        char* error = nullptr;
        const int rc = sqlite3_exec(db().handle(), sql.c_str(), nullptr, nullptr, &error);
        if (error != nullptr) {
            ADD_FAILURE() << sql << ": " << error;
            sqlite3_free(error);
        }
        return rc == SQLITE_OK;
    }
};

TEST_F(CatalogueCacheBehaviourTest, ALoadThatTheCacheKnowsAsksTheCatalogueForNoLink)
{
    const DefnMeasureType type = storedType(3);
    EXPECT_TRUE(nextLoadReadsLinks(type.Id));
    // Neither a commit nor a new transaction of this connection drops what it knows.
    EXPECT_FALSE(nextLoadReadsLinks(type.Id));
    EXPECT_FALSE(nextLoadReadsLinks(type.Id));
    EXPECT_EQ(cachedLoad(type.Id), catalogueLoad(type.Id));
}

TEST_F(CatalogueCacheBehaviourTest, WithTheCacheSwitchedOffEveryLoadAsksTheCatalogue)
{
    const DefnMeasureType type = storedType(3);
    qzdb::CatalogueCache::setEnabled(false);
    EXPECT_FALSE(qzdb::CatalogueCache::isEnabled());
    EXPECT_TRUE(nextLoadReadsLinks(type.Id));
    EXPECT_TRUE(nextLoadReadsLinks(type.Id));
    qzdb::CatalogueCache::setEnabled(true);
    EXPECT_TRUE(nextLoadReadsLinks(type.Id));
    EXPECT_FALSE(nextLoadReadsLinks(type.Id));
}

TEST_F(CatalogueCacheBehaviourTest, ALoadAfterAnotherConnectionCommittedAChangedFileRowSeesTheChange)
{
    DefnMeasureType type = storedType(2);
    const std::string before = cachedLoad(type.Id);
    ASSERT_FALSE(nextLoadReadsLinks(type.Id));

    qzdb::Transaction other(*mOther, false);
    qzdb::Statement update(*mOther,
                           "UPDATE \"LoggerFileInfoMeasure\" SET \"UtcEnd_sec\"=4711 WHERE \"Id\"=?");
    update.bind(1, type.FileInfos[1]->Id);
    update.step();
    other.commit();

    const std::string after = cachedLoad(type.Id);
    EXPECT_NE(after, before);
    EXPECT_NE(after.find(" 4711.0 "), std::string::npos) << after;
    EXPECT_EQ(after, catalogueLoad(type.Id));
}

TEST_F(CatalogueCacheBehaviourTest, LinksThatAnotherConnectionCommittedAreSeenAndTheNextUpdateWritesThemAway)
{
    DefnMeasureType type = storedType(2);
    const auto extra = fileAt(1763900000);
    committed([&] { qzdb::persist(*extra); });
    ASSERT_EQ(cachedLoad(type.Id), catalogueLoad(type.Id));

    qzdb::Transaction other(*mOther, false);
    qzdb::Statement insert(*mOther,
                           "INSERT INTO \"DefnMeasureType_FileInfos\" (\"measure_id\", \"file_info_id\") "
                           "VALUES (?, ?)");
    insert.bind(1, type.Id);
    insert.bind(2, extra->Id);
    insert.step();
    qzdb::Statement erase(*mOther, "DELETE FROM \"DefnMeasureType_FileInfos\" WHERE \"file_info_id\"=?");
    erase.bind(1, type.FileInfos[0]->Id);
    erase.step();
    other.commit();

    std::shared_ptr<DefnMeasureType> loaded;
    committed([&] { loaded = qzdb::load<DefnMeasureType>(type.Id); });
    EXPECT_EQ(idsOf(loaded->FileInfos), (std::multiset<int32_t>{type.FileInfos[1]->Id, extra->Id}));
    EXPECT_EQ(cachedLoad(type.Id), catalogueLoad(type.Id));

    // The list in memory still names the first two files: the update makes the links that list.
    committed([&] { qzdb::update(type); });
    EXPECT_EQ(links<DefnMeasureType>(type.Id), idsOf(type.FileInfos));
    EXPECT_EQ(cachedLoad(type.Id), catalogueLoad(type.Id));
}

TEST_F(CatalogueCacheBehaviourTest, ALoadInATransactionThatIsRolledBackLeavesTheNextLoadTheCataloguesState)
{
    DefnMeasureType type = storedType(2);
    const std::string stored = cachedLoad(type.Id);
    {
        qzdb::Transaction transaction(db());
        type.FileInfos[0]->UtcEnd = DataTimespec{4711, 1};
        qzdb::update(*type.FileInfos[0]);
        const auto added = fileAt(1763900000);
        qzdb::persist(*added);
        type.FileInfos.push_back(added);
        qzdb::update(type);
        const std::string inside = loadAnswer<DefnMeasureType>(type.Id);
        EXPECT_NE(inside.find(" 4711.1 "), std::string::npos) << inside;
        EXPECT_EQ(qzdb::load<DefnMeasureType>(type.Id)->FileInfos.size(), 3u);
        transaction.rollback();
    }
    EXPECT_EQ(cachedLoad(type.Id), stored);
    EXPECT_EQ(catalogueLoad(type.Id), stored);

    // The same, given up by an exception that leaves the transaction's scope.
    type.FileInfos.pop_back();
    try {
        qzdb::Transaction transaction(db());
        type.FileInfos.erase(type.FileInfos.begin());
        qzdb::update(type);
        EXPECT_EQ(qzdb::load<DefnMeasureType>(type.Id)->FileInfos.size(), 1u);
        throw std::runtime_error("given up");
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(cachedLoad(type.Id), stored);
}

TEST_F(CatalogueCacheBehaviourTest, ARawUpdateThroughTheConnectionsHandleIsSeenByTheNextLoad)
{
    const DefnMeasureType type = storedType(2);
    ASSERT_EQ(cachedLoad(type.Id), catalogueLoad(type.Id));
    ASSERT_TRUE(runOnHandle("UPDATE \"LoggerFileInfoMeasure\" SET \"UtcEnd_sec\"=4711 WHERE \"Id\"=" +
                            std::to_string(type.FileInfos[0]->Id)));
    const std::string after = cachedLoad(type.Id);
    EXPECT_NE(after.find(" 4711.0 "), std::string::npos) << after;
    EXPECT_EQ(after, catalogueLoad(type.Id));

    // Inside a transaction of the mapping, after a load that filled the cache.
    committed([&] {
        loadAnswer<DefnMeasureType>(type.Id);
        ASSERT_TRUE(runOnHandle("UPDATE \"LoggerFileInfoMeasure\" SET \"GuidHigh\"=815 WHERE \"Id\"=" +
                                std::to_string(type.FileInfos[1]->Id)));
        const std::string inside = loadAnswer<DefnMeasureType>(type.Id);
        EXPECT_NE(inside.find(":815 "), std::string::npos) << inside;
    });
    EXPECT_EQ(cachedLoad(type.Id), catalogueLoad(type.Id));
}

TEST_F(CatalogueCacheBehaviourTest, ARawDeleteOfALinkThroughTheConnectionsHandleIsSeenByTheNextLoad)
{
    const DefnMeasureType type = storedType(3);
    ASSERT_EQ(cachedLoad(type.Id), catalogueLoad(type.Id));
    ASSERT_TRUE(runOnHandle("DELETE FROM \"DefnMeasureType_FileInfos\" WHERE \"file_info_id\"=" +
                            std::to_string(type.FileInfos[1]->Id)));
    std::shared_ptr<DefnMeasureType> loaded;
    committed([&] { loaded = qzdb::load<DefnMeasureType>(type.Id); });
    EXPECT_EQ(idsOf(loaded->FileInfos),
              (std::multiset<int32_t>{type.FileInfos[0]->Id, type.FileInfos[2]->Id}));
    EXPECT_EQ(cachedLoad(type.Id), catalogueLoad(type.Id));
}

TEST_F(CatalogueCacheBehaviourTest, AStatementOfTheConnectionThatTheMappingDoesNotMirrorDropsTheCache)
{
    const DefnMeasureType type = storedType(2);
    ASSERT_EQ(cachedLoad(type.Id), catalogueLoad(type.Id));
    committed([&] {
        qzdb::Statement update(db(), "UPDATE \"LoggerFileInfoMeasure\" SET \"DataBlockSize\"=99");
        update.step();
    });
    EXPECT_TRUE(nextLoadReadsLinks(type.Id));
    EXPECT_EQ(cachedLoad(type.Id), catalogueLoad(type.Id));
    EXPECT_NE(cachedLoad(type.Id).find(" b99 "), std::string::npos);
}

TEST_F(CatalogueCacheBehaviourTest, ExecuteRawDropsTheCacheAndATransactionsBeginAndCommitDoNot)
{
    const DefnMeasureType type = storedType(2);
    ASSERT_TRUE(nextLoadReadsLinks(type.Id));
    ASSERT_FALSE(nextLoadReadsLinks(type.Id));
    db().executeRaw("PRAGMA cache_size=-4000");
    EXPECT_TRUE(nextLoadReadsLinks(type.Id));
    EXPECT_FALSE(nextLoadReadsLinks(type.Id));
    EXPECT_EQ(cachedLoad(type.Id), catalogueLoad(type.Id));
}

TEST_F(CatalogueCacheBehaviourTest, AppendingOneFileToATypeOfFiftyInsertsOneLinkAndDeletesNone)
{
    DefnMeasureType type = storedType(50);
    ASSERT_EQ(cachedLoad(type.Id), catalogueLoad(type.Id));
    const auto added = fileAt(1763900000);
    committed([&] { qzdb::persist(*added); });
    type.FileInfos.push_back(added);
    const std::vector<std::string> statements = statementsOf([&] { qzdb::update(type); });
    EXPECT_EQ(countStarting(statements, insertOfLinks()), 1);
    EXPECT_EQ(countStarting(statements, deleteOfLinks()), 0);
    EXPECT_EQ(links<DefnMeasureType>(type.Id), idsOf(type.FileInfos));
    EXPECT_EQ(cachedLoad(type.Id), catalogueLoad(type.Id));

    // The same where the cache does not know the links: they are read, not written anew.
    db().executeRaw("PRAGMA cache_size=-4000");
    const auto another = fileAt(1763960000);
    committed([&] { qzdb::persist(*another); });
    type.FileInfos.push_back(another);
    const std::vector<std::string> uncached = statementsOf([&] { qzdb::update(type); });
    EXPECT_EQ(countStarting(uncached, insertOfLinks()), 1);
    EXPECT_EQ(countStarting(uncached, deleteOfLinks()), 0);
    EXPECT_EQ(links<DefnMeasureType>(type.Id), idsOf(type.FileInfos));
    EXPECT_EQ(cachedLoad(type.Id), catalogueLoad(type.Id));
}

TEST_F(CatalogueCacheBehaviourTest, RemovingOneFileFromATypeDeletesExactlyOneLinkRow)
{
    DefnMeasureType type = storedType(50);
    ASSERT_EQ(cachedLoad(type.Id), catalogueLoad(type.Id));
    const int64_t linksBefore = queryNumber(db(), "SELECT count(*) FROM \"DefnMeasureType_FileInfos\"");
    type.FileInfos.erase(type.FileInfos.begin() + 17);
    const std::vector<std::string> statements = statementsOf([&] { qzdb::update(type); });
    EXPECT_EQ(countStarting(statements, deleteOfLinks()), 1);
    EXPECT_EQ(countStarting(statements, insertOfLinks()), 0);
    EXPECT_EQ(queryNumber(db(), "SELECT count(*) FROM \"DefnMeasureType_FileInfos\""), linksBefore - 1);
    EXPECT_EQ(links<DefnMeasureType>(type.Id), idsOf(type.FileInfos));
    EXPECT_EQ(cachedLoad(type.Id), catalogueLoad(type.Id));
}

// A logger at its quota loses its oldest file as it begins a new one: one link row goes, one
// comes, however many files stay between them.
TEST_F(CatalogueCacheBehaviourTest, DroppingTheOldestFileAndAppendingANewOneDeletesOneLinkAndInsertsOne)
{
    DefnMeasureType type = storedType(50);
    ASSERT_EQ(cachedLoad(type.Id), catalogueLoad(type.Id));
    const auto added = fileAt(1763900000);
    committed([&] { qzdb::persist(*added); });
    type.FileInfos.erase(type.FileInfos.begin());
    type.FileInfos.push_back(added);
    const std::vector<std::string> statements = statementsOf([&] { qzdb::update(type); });
    EXPECT_EQ(countStarting(statements, deleteOfLinks()), 1);
    EXPECT_EQ(countStarting(statements, insertOfLinks()), 1);
    EXPECT_EQ(links<DefnMeasureType>(type.Id), idsOf(type.FileInfos));
    EXPECT_EQ(cachedLoad(type.Id), catalogueLoad(type.Id));
}

// A list whose order changed still ends with links to exactly its files, each as often as the
// list names it.
TEST_F(CatalogueCacheBehaviourTest, AReversedListWithAFileNamedTwiceLinksExactlyItsFiles)
{
    DefnMeasureType type = storedType(6);
    std::reverse(type.FileInfos.begin(), type.FileInfos.end());
    type.FileInfos.push_back(type.FileInfos[2]);
    committed([&] { qzdb::update(type); });
    EXPECT_EQ(links<DefnMeasureType>(type.Id), idsOf(type.FileInfos));
    EXPECT_EQ(cachedLoad(type.Id), catalogueLoad(type.Id));
    EXPECT_EQ(queryNumber(db(), "SELECT count(*) FROM \"DefnMeasureType_FileInfos\""), 7);
}

TEST_F(CatalogueCacheBehaviourTest, AFileNamedTwiceHasTwoLinksAndLosesOneWhenNamedOnce)
{
    DefnMeasureType type = storedType(3);
    type.FileInfos.push_back(type.FileInfos[1]);
    const std::vector<std::string> twice = statementsOf([&] { qzdb::update(type); });
    EXPECT_EQ(countStarting(twice, insertOfLinks()), 1);
    EXPECT_EQ(countStarting(twice, deleteOfLinks()), 0);
    EXPECT_EQ(links<DefnMeasureType>(type.Id), idsOf(type.FileInfos));
    EXPECT_EQ(cachedLoad(type.Id), catalogueLoad(type.Id));

    type.FileInfos.pop_back();
    const std::vector<std::string> once = statementsOf([&] { qzdb::update(type); });
    EXPECT_EQ(countStarting(once, deleteOfLinks()), 1);
    EXPECT_EQ(countStarting(once, insertOfLinks()), 0);
    EXPECT_EQ(links<DefnMeasureType>(type.Id), idsOf(type.FileInfos));
    EXPECT_EQ(cachedLoad(type.Id), catalogueLoad(type.Id));
}

TEST_F(CatalogueCacheBehaviourTest,
       AnEmptyEntryInTheListMakesTheUpdateThrowAndLeavesTheLinksAsTheyWereAfterRollback)
{
    DefnMeasureType type = storedType(3);
    const std::string stored = cachedLoad(type.Id);
    const std::multiset<int32_t> linksBefore = links<DefnMeasureType>(type.Id);
    const auto added = fileAt(1763900000);
    committed([&] { qzdb::persist(*added); });
    // One file gone, one new, and an empty entry between them.
    type.FileInfos = {type.FileInfos[1], nullptr, added};
    {
        qzdb::Transaction transaction(db());
        try {
            qzdb::update(type);
            ADD_FAILURE() << "the update took an empty entry";
        } catch (const qzdb::DatabaseException& e) {
            EXPECT_EQ(e.extendedCode(), kNotNullRefused);
        }
    }
    EXPECT_EQ(links<DefnMeasureType>(type.Id), linksBefore);
    EXPECT_EQ(cachedLoad(type.Id), stored);
    EXPECT_EQ(catalogueLoad(type.Id), stored);
}

// A type with more files than half of what the cache holds: its rows and its links together
// exceed the bound, so that the cache is dropped and begun anew while the type is read. Every load
// still answers as the catalogue, also for a second type read in between.
TEST_F(CatalogueCacheBehaviourTest, ATypeWithMoreFilesThanTheCacheHoldsWithItsLinksLoadsAsTheCatalogue)
{
    constexpr int kFiles = static_cast<int>(qzdb::CatalogueCache::kMaximumRows / 2) + 500;
    DefnMeasureType large = storedType(kFiles);
    DefnMeasureType small = storedType(20);
    for (int round = 0; round < 3; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        EXPECT_EQ(cachedLoad(large.Id), catalogueLoad(large.Id));
        EXPECT_EQ(cachedLoad(small.Id), catalogueLoad(small.Id));
    }
    // A changed row and a new link of the large type, each loaded both ways.
    committed([&] {
        large.FileInfos[kFiles / 2]->UtcEnd = DataTimespec{4711, 2};
        qzdb::update(*large.FileInfos[kFiles / 2]);
    });
    EXPECT_EQ(cachedLoad(large.Id), catalogueLoad(large.Id));
    large.FileInfos.push_back(small.FileInfos[0]);
    committed([&] { qzdb::update(large); });
    EXPECT_EQ(links<DefnMeasureType>(large.Id), idsOf(large.FileInfos));
    const std::string answer = cachedLoad(large.Id);
    EXPECT_EQ(answer, catalogueLoad(large.Id));
    EXPECT_NE(answer.find(" 4711.2 "), std::string::npos);
    EXPECT_EQ(cachedLoad(small.Id), catalogueLoad(small.Id));
}

// A rollback that the connection's handle runs itself, past the Transaction object: the rows
// that the mapping wrote before it are undone in the catalogue.
TEST_F(CatalogueCacheBehaviourTest, ASavepointRolledBackOnTheHandleIsNotSeenByTheNextLoad)
{
    DefnMeasureType type = storedType(2);
    const std::string stored = cachedLoad(type.Id);
    committed([&] {
        ASSERT_EQ(loadAnswer<DefnMeasureType>(type.Id), stored);
        ASSERT_TRUE(runOnHandle("SAVEPOINT \"before\""));
        type.FileInfos[0]->UtcEnd = DataTimespec{4711, 3};
        qzdb::update(*type.FileInfos[0]);
        ASSERT_TRUE(runOnHandle("ROLLBACK TO \"before\"; RELEASE \"before\""));
        EXPECT_EQ(loadAnswer<DefnMeasureType>(type.Id), stored) << "inside the transaction";
    });
    EXPECT_EQ(catalogueLoad(type.Id), stored);
    EXPECT_EQ(cachedLoad(type.Id), stored) << "after the commit";
}

TEST_F(CatalogueCacheBehaviourTest, ATransactionRolledBackOnTheHandleIsNotSeenByTheNextLoad)
{
    DefnMeasureType type = storedType(2);
    const std::string stored = cachedLoad(type.Id);
    {
        qzdb::Transaction transaction(db());
        ASSERT_EQ(loadAnswer<DefnMeasureType>(type.Id), stored);
        type.FileInfos[0]->UtcEnd = DataTimespec{4711, 4};
        qzdb::update(*type.FileInfos[0]);
        ASSERT_TRUE(runOnHandle("ROLLBACK"));
        // The transaction is over in SQLite already: its rollback has nothing left to do.
        transaction.rollback();
    }
    EXPECT_EQ(catalogueLoad(type.Id), stored);
    EXPECT_EQ(cachedLoad(type.Id), stored);
}

} // namespace

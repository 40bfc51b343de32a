// A change of file is one commit: the block that leaves a full file stores the left file's range
// and its type in the transaction that begins the new file. The statements of a change are traced
// on the writer's connection and split into its transactions; the catalogue is then compared with
// the files on the card. Also a change right after an eviction of the logger's oldest file, a new
// file that cannot be made, and a catalogue transaction of the change that fails at each of its
// calls in turn. Simulated card, real catalogue (WriterStore); each test runs in a process of its
// own.

#include "Database.h"
#include "DefnBaseType.h"
#include "DefnTypePersistance.h"
#include "FaultInjectingFileIo.h"
#include "FaultInjection.h"
#include "LogCapture.h"
#include "LoggerAccess.h"
#include "LoggerBase.h"
#include "LoggerDb.h"
#include "LoggerFileSystem.h"
#include "LoggerHeader.h"
#include "LoggerRetriedTransaction.h"
#include "LoggerTestSeams.h"
#include "SqliteHooks.h"
#include "TestLogger.h"
#include "WriterStore.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QStringList>

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int kBlockSize = 16;
constexpr int kHeaderSize = 44;
constexpr int32_t kDay = 1763802000; // 2025-11-22, in the middle of a day in any zone
const QString kMeasureId = QStringLiteral("mean_3s.change_3s.out.mean_out");
// A file limit of ten items: a block of eleven fills a file past it, so that the next block
// begins a new file.
constexpr int kFileLimit = kHeaderSize + 10 * kBlockSize;
constexpr int kItemsPerFile = 11;
// More failing calls than a change's transaction makes: the sweep ends before.
constexpr int kMostCallsOfAChange = 200;

// The time stamps of the items in a data file.
std::vector<int32_t> stampsInFile(const LoggerFileInfo& info)
{
    std::vector<int32_t> stamps;
    QFile file(LoggerFileSystem::getFullFileName(&info));
    if (!file.open(QIODevice::ReadOnly)) {
        return stamps;
    }
    const QByteArray content = file.readAll();
    for (int offset = kHeaderSize; offset + kBlockSize <= content.size(); offset += kBlockSize) {
        DataTimespec stamp{0, 0};
        std::memcpy(&stamp, content.constData() + offset, sizeof(stamp));
        stamps.push_back(stamp.tv_sec);
    }
    return stamps;
}

qint64 sizeOnDisk(const LoggerFileInfo& info)
{
    const QFileInfo file(LoggerFileSystem::getFullFileName(&info));
    return file.exists() ? file.size() : -1;
}

LoggerHeader headerOf(LoggerFileInfo& info)
{
    LoggerHeader header{};
    LoggerFileSystem::readHeader(&info, header);
    return header;
}

// One transaction of the connection as a trace saw it: its statements between BEGIN and its end.
struct TracedTransaction {
    std::vector<std::string> statements;
    std::string end; // "COMMIT" or "ROLLBACK"; empty where the trace ended inside it

    static bool isWrite(const std::string& sql)
    {
        for (const char* start : {"INSERT", "UPDATE", "DELETE", "REPLACE"}) {
            if (sql.compare(0, std::strlen(start), start) == 0) {
                return true;
            }
        }
        return false;
    }
    bool writes() const
    {
        for (const std::string& sql : statements) {
            if (isWrite(sql)) {
                return true;
            }
        }
        return false;
    }
    bool has(const std::string& start) const
    {
        for (const std::string& sql : statements) {
            if (sql.compare(0, start.size(), start) == 0) {
                return true;
            }
        }
        return false;
    }
    std::string firstWrite() const
    {
        for (const std::string& sql : statements) {
            if (isWrite(sql)) {
                return sql;
            }
        }
        return std::string();
    }
};

std::vector<TracedTransaction> transactionsOf(const std::vector<std::string>& statements)
{
    std::vector<TracedTransaction> transactions;
    bool open = false;
    for (const std::string& sql : statements) {
        if (sql == "BEGIN") {
            transactions.emplace_back();
            open = true;
        } else if (sql == "COMMIT" || sql == "ROLLBACK") {
            if (open) {
                transactions.back().end = sql;
            }
            open = false;
        } else if (open) {
            transactions.back().statements.push_back(sql);
        } else {
            // A statement outside of any transaction: one of its own.
            transactions.push_back(TracedTransaction{{sql}, "COMMIT"});
        }
    }
    return transactions;
}

std::string describe(const std::vector<std::string>& statements)
{
    std::string text;
    for (const std::string& sql : statements) {
        text += "  " + sql.substr(0, 100) + "\n";
    }
    return text;
}

int countOf(const std::vector<std::string>& statements, const std::string& sql)
{
    return static_cast<int>(std::count(statements.begin(), statements.end(), sql));
}

// The store's file io with FaultInjectingFileIo's faults that runs a function once, just before
// the next header is written at the start of a file. In a block that changes the file, that is the
// new file's header, which is written right before the catalogue's transaction of the change.
class HeaderWatchingFileIo : public FaultInjectingFileIo {
public:
    void beforeNextHeader(std::function<void()> action) { mBeforeHeader = std::move(action); }

    ssize_t pwrite(int descriptor, const void* data, size_t length, off_t position) override
    {
        if (position == 0 && mBeforeHeader) {
            const std::function<void()> action = std::move(mBeforeHeader);
            mBeforeHeader = nullptr;
            action();
        }
        return FaultInjectingFileIo::pwrite(descriptor, data, length, position);
    }

private:
    std::function<void()> mBeforeHeader;
};

// What a file row of the catalogue says, to compare a row before and after.
struct RowRange {
    QString name;
    int32_t start;
    int32_t end;
};

class FileChangeCommitTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mLogCaptured);
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        ASSERT_TRUE(mLogger.startLogger());
        ASSERT_EQ(mLogger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
        mLogger.setMaximumFileSize(kFileLimit);
        setLoggerMessageObserverForTesting(
            [this](const std::string& text, LoggerMessageType) { mMessages.push_back(text); });
    }

    void TearDown() override
    {
        setLoggerMessageObserverForTesting(nullptr);
        qzdb::FaultInjection::stop();
        mIo.disarm();
    }

    sqlite3* handle() { return LoggerDb::getInstance().getDb()->handle(); }
    LoggerAccess& access() { return *mLogger.getLoggerAccess(); }
    PtrLoggerFileInfo current() { return access().getCurrentFileInfo(); }

    // The next block of `count` items, one second apart and after every block before, also after
    // one that was refused.
    PtrLoggerFileInfo writeNext(int count)
    {
        const QByteArray block = testItems(testSeconds(mNextSecond, count), kBlockSize);
        mNextSecond += count;
        return mLogger.writeDatas(block.constData(), count, true, true);
    }

    // The statements of the next block on the writer's connection.
    std::vector<std::string> traceNext(int count, PtrLoggerFileInfo& written)
    {
        return SqliteHooks::traceStatements(handle(), [&] { written = writeNext(count); });
    }

    // The type as the catalogue holds it, with its file list in link order, read without storing
    // anything first.
    std::shared_ptr<DefnBaseType> storedType()
    {
        std::shared_ptr<DefnBaseType> type;
        EXPECT_TRUE(retriedTransaction("FileChangeCommitTest", [&] {
            type = DefnTypePersistance().readBaseType(LoggerType::CYCLIC, mLogger.getId());
            return true;
        }));
        return type;
    }

    std::vector<RowRange> storedRows()
    {
        std::vector<RowRange> rows;
        const auto type = storedType();
        for (int index = 0; type && index < type->getFileListSize(); ++index) {
            const auto file = type->getFileInfo(index);
            rows.push_back(RowRange{LoggerFileSystem::getFullFileName(file.get()), file->UtcStart.tv_sec,
                                    file->UtcEnd.tv_sec});
        }
        return rows;
    }

    QStringList cataloguedNames()
    {
        QStringList names;
        for (const RowRange& row : storedRows()) {
            names.append(row.name);
        }
        names.sort();
        return names;
    }

    // Every data file on the card, whatever the catalogue says.
    QStringList filesOnCard() const
    {
        QStringList files;
        QDirIterator walk(mStore.dataFolderPath(), QDir::Files, QDirIterator::Subdirectories);
        while (walk.hasNext()) {
            files.append(walk.next());
        }
        files.sort();
        return files;
    }

    enum class Range { Exact, Covering };

    // Every file of the catalogue: its header names the type and continues the unique ids of the
    // file before, its size is the header and whole items, and its row's range is that of its
    // items (Exact) or takes them in (Covering). Every file on the card has a row. Gives the number
    // of items over all files. `store` first stores the logger's state, as a writer's update does.
    int expectCatalogueAgreesWithFiles(Range range = Range::Exact, bool store = true)
    {
        if (store) {
            EXPECT_TRUE(mLogger.updateAccess());
        }
        const auto type = storedType();
        EXPECT_NE(type, nullptr);
        if (!type) {
            return -1;
        }
        int items = 0;
        int nextUniqueId = -1;
        QStringList names;
        for (int index = 0; index < type->getFileListSize(); ++index) {
            const auto file = type->getFileInfo(index);
            SCOPED_TRACE("file " + std::to_string(index));
            names.append(LoggerFileSystem::getFullFileName(file.get()));
            const LoggerHeader header = headerOf(*file);
            EXPECT_EQ(header.baseTypeId, mLogger.getId());
            EXPECT_EQ(file->HeaderSize, kHeaderSize);
            EXPECT_EQ(file->DataBlockSize, kBlockSize);
            const std::vector<int32_t> stamps = stampsInFile(*file);
            EXPECT_EQ(sizeOnDisk(*file), kHeaderSize + static_cast<qint64>(stamps.size()) * kBlockSize);
            if (!stamps.empty() && range == Range::Exact) {
                EXPECT_EQ(file->UtcStart.tv_sec, stamps.front());
                EXPECT_EQ(file->UtcEnd.tv_sec, stamps.back());
            } else if (!stamps.empty()) {
                EXPECT_LE(file->UtcStart.tv_sec, stamps.front());
                EXPECT_GE(file->UtcEnd.tv_sec, stamps.back());
            }
            if (nextUniqueId >= 0) {
                EXPECT_EQ(header.uniqueId, nextUniqueId);
            }
            nextUniqueId = header.uniqueId + static_cast<int>(stamps.size());
            items += static_cast<int>(stamps.size());
        }
        EXPECT_EQ(nextUniqueId, mLogger.getFirstUniqueId());
        names.sort();
        EXPECT_EQ(filesOnCard(), names) << "every file on the card has a row, and every row a file";
        return items;
    }

    bool messageSeen(const std::string& part) const
    {
        for (const std::string& text : mMessages) {
            if (text.find(part) != std::string::npos) {
                return true;
            }
        }
        return false;
    }

    const bool mLogCaptured = LogCapture::install();
    WriterStore mStore;
    HeaderWatchingFileIo mIo;
    ScopedFileIo mInstalled{&mIo};
    TestLogger mLogger{kMeasureId, kBlockSize};
    int32_t mNextSecond = kDay;
    std::vector<std::string> mMessages;
};

TEST_F(FileChangeCommitTest, AChangeOfFileRunsOneCommitAndItStoresTheLeftFileFirst)
{
    ASSERT_NE(writeNext(kItemsPerFile), nullptr);
    const auto left = current();
    PtrLoggerFileInfo written;
    const std::vector<std::string> statements = traceNext(2, written);
    ASSERT_NE(written, nullptr);
    ASSERT_NE(current(), left) << "the block began no new file";
    EXPECT_EQ(mLogger.getFileListSize(), 2);

    EXPECT_EQ(countOf(statements, "COMMIT"), 1) << describe(statements);
    EXPECT_EQ(countOf(statements, "ROLLBACK"), 0) << describe(statements);
    const std::vector<TracedTransaction> transactions = transactionsOf(statements);
    ASSERT_EQ(transactions.size(), 1u) << describe(statements);
    const TracedTransaction& change = transactions.front();
    EXPECT_EQ(change.end, "COMMIT");
    // The left file's row and the type first, then the rows of both files and the type's links.
    EXPECT_EQ(change.firstWrite().compare(0, 30, "UPDATE \"LoggerFileInfoMeasure\""), 0)
        << describe(statements);
    EXPECT_TRUE(change.has("UPDATE \"DefnMeasureType\"")) << describe(statements);
    EXPECT_TRUE(change.has("INSERT INTO \"LoggerFileInfoMeasure\"")) << describe(statements);
    EXPECT_TRUE(change.has("INSERT INTO \"DefnMeasureType_FileInfos\"")) << describe(statements);
}

TEST_F(FileChangeCommitTest, AfterTheChangeTheLeftFilesRowCarriesItsRangeAndTheNewFileIsLinked)
{
    ASSERT_NE(writeNext(kItemsPerFile), nullptr);
    const auto left = current();
    const uint32_t leftName = left->GuidLow;
    ASSERT_NE(writeNext(2), nullptr);
    const auto added = current();
    ASSERT_NE(added, left);

    // Read as the catalogue holds it, before anything else stores the logger's state.
    const auto type = storedType();
    ASSERT_NE(type, nullptr);
    ASSERT_EQ(type->getFileListSize(), 2);
    const auto leftRow = type->getFileInfo(0);
    const auto newRow = type->getFileInfo(1);
    EXPECT_EQ(leftRow->GuidLow, leftName);
    EXPECT_EQ(leftRow->UtcStart.tv_sec, kDay);
    // The change gives the left file the end of the type before the block: its last item.
    EXPECT_EQ(leftRow->UtcEnd.tv_sec, kDay + kItemsPerFile - 1);
    EXPECT_EQ(newRow->GuidLow, added->GuidLow);
    EXPECT_EQ(newRow->UtcCreated.tv_sec, kDay + kItemsPerFile - 1);
    EXPECT_EQ(stampsInFile(*newRow), (std::vector<int32_t>{kDay + kItemsPerFile, kDay + kItemsPerFile + 1}));
    EXPECT_EQ(expectCatalogueAgreesWithFiles(), kItemsPerFile + 2);
}

TEST_F(FileChangeCommitTest, EveryChangeOfARollingLoggerIsOneCommitAndTheCatalogueAgreesWithItsFiles)
{
    ASSERT_NE(writeNext(kItemsPerFile), nullptr);
    for (int change = 1; change <= 8; ++change) {
        SCOPED_TRACE("change " + std::to_string(change));
        PtrLoggerFileInfo written;
        const std::vector<std::string> statements = traceNext(kItemsPerFile, written);
        ASSERT_NE(written, nullptr);
        EXPECT_EQ(mLogger.getFileListSize(), change + 1);
        EXPECT_EQ(countOf(statements, "COMMIT"), 1) << describe(statements);
        int writing = 0;
        for (const TracedTransaction& transaction : transactionsOf(statements)) {
            writing += transaction.writes() ? 1 : 0;
        }
        EXPECT_EQ(writing, 1) << describe(statements);
        const auto type = storedType();
        ASSERT_NE(type, nullptr);
        const auto leftRow = type->getFileInfo(change - 1);
        ASSERT_NE(leftRow, nullptr);
        const std::vector<int32_t> stamps = stampsInFile(*leftRow);
        ASSERT_FALSE(stamps.empty());
        EXPECT_EQ(leftRow->UtcStart.tv_sec, stamps.front());
        EXPECT_EQ(leftRow->UtcEnd.tv_sec, stamps.back());
    }
    EXPECT_EQ(expectCatalogueAgreesWithFiles(), 9 * kItemsPerFile);
}

// The writer's eviction: the oldest file goes, from the card, the list and the catalogue, and the
// type is flagged as changed. The change of file that follows reads the type anew first, in a
// transaction that only reads, and then stores the left file in the one that begins the new file.
TEST_F(FileChangeCommitTest,
       AChangeRightAfterAnEvictionOfTheOldestFileStoresTheLeftFileAndListsTheRemainingFiles)
{
    constexpr int kFilesKept = 4;
    ASSERT_NE(writeNext(kItemsPerFile), nullptr);
    while (mLogger.getFileListSize() < kFilesKept) {
        ASSERT_NE(writeNext(kItemsPerFile), nullptr);
    }
    for (int round = 0; round < 5; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        const int oldestIndex = access().getOldestFileIndex();
        ASSERT_GE(oldestIndex, 0);
        const QString evicted =
            LoggerFileSystem::getFullFileName(access().getCurrentBaseType()->getFileInfo(oldestIndex).get());
        QStringList remaining = cataloguedNames();
        ASSERT_TRUE(remaining.removeOne(evicted));
        const QString left = LoggerFileSystem::getFullFileName(current().get());
        const std::vector<int32_t> leftStamps = stampsInFile(*current());
        ASSERT_TRUE(access().removeFileAndUpdate(oldestIndex));
        EXPECT_FALSE(QFile::exists(evicted));

        PtrLoggerFileInfo written;
        const std::vector<std::string> statements = traceNext(kItemsPerFile, written);
        ASSERT_NE(written, nullptr);
        ASSERT_NE(LoggerFileSystem::getFullFileName(current().get()), left) << "the block began no new file";

        // One transaction that only reads, then the one that writes.
        const std::vector<TracedTransaction> transactions = transactionsOf(statements);
        ASSERT_EQ(transactions.size(), 2u) << describe(statements);
        EXPECT_FALSE(transactions[0].writes()) << describe(statements);
        EXPECT_EQ(transactions[0].end, "COMMIT");
        EXPECT_TRUE(transactions[1].writes()) << describe(statements);
        EXPECT_EQ(transactions[1].end, "COMMIT");

        // The type lists exactly the files that stayed and the new one; the left file's row
        // carries its range, read before anything else stores the logger's state.
        remaining.append(LoggerFileSystem::getFullFileName(current().get()));
        remaining.sort();
        EXPECT_EQ(cataloguedNames(), remaining);
        bool leftFound = false;
        for (const RowRange& row : storedRows()) {
            if (row.name == left) {
                leftFound = true;
                EXPECT_EQ(row.start, leftStamps.front());
                EXPECT_EQ(row.end, leftStamps.back());
            }
        }
        EXPECT_TRUE(leftFound) << left.toStdString();
        EXPECT_EQ(filesOnCard(), remaining);
    }
    EXPECT_EQ(expectCatalogueAgreesWithFiles(), kFilesKept * kItemsPerFile);
}

// The block that begins a new file right after an eviction takes the type's end along: the next
// change, with no eviction before it, gives the file it leaves the end of that file's items.
TEST_F(FileChangeCommitTest, AChangeAfterAnEvictionKeepsTheEndOfTheBlockThatBeganTheNewFile)
{
    for (int file = 0; file < 3; ++file) {
        ASSERT_NE(writeNext(kItemsPerFile), nullptr);
    }
    ASSERT_EQ(mLogger.getFileListSize(), 3);
    ASSERT_TRUE(access().removeFileAndUpdate(access().getOldestFileIndex()));
    const auto left = current();
    ASSERT_NE(writeNext(kItemsPerFile), nullptr);
    const auto begun = current();
    ASSERT_NE(begun, left) << "the block began no new file";
    const int32_t lastItem = mNextSecond - 1;
    EXPECT_EQ(access().getCurrentBaseType()->UtcEnd.tv_sec, lastItem) << "the type's end in memory";
    EXPECT_EQ(begun->UtcEnd.tv_sec, lastItem);

    const QString begunName = LoggerFileSystem::getFullFileName(begun.get());
    ASSERT_NE(writeNext(kItemsPerFile), nullptr);
    ASSERT_NE(LoggerFileSystem::getFullFileName(current().get()), begunName) << "the block began no new file";
    bool found = false;
    for (const RowRange& row : storedRows()) {
        if (row.name == begunName) {
            found = true;
            EXPECT_EQ(row.start, lastItem - kItemsPerFile + 1);
            EXPECT_EQ(row.end, lastItem) << "the left file's row ends before its last item";
        }
    }
    EXPECT_TRUE(found);
    EXPECT_EQ(expectCatalogueAgreesWithFiles(), 4 * kItemsPerFile);
}

TEST_F(FileChangeCommitTest, ANewFileWhoseHeaderCannotBeWrittenLeavesTheLoggerInItsFileWithItsRowStored)
{
    ASSERT_NE(writeNext(kItemsPerFile), nullptr);
    const auto left = current();
    const QString leftName = LoggerFileSystem::getFullFileName(left.get());
    // The new file's header is the block's first write, and it fails.
    mIo.clearAttempts();
    mIo.failNth(FaultInjectingFileIo::Operation::Write, 1, FaultInjectingFileIo::Fault::IoError);
    EXPECT_EQ(writeNext(2), nullptr);
    EXPECT_TRUE(mIo.fired());
    mIo.disarm();
    EXPECT_EQ(current(), left);
    EXPECT_EQ(LoggerFileSystem::getFullFileName(current().get()), leftName);
    EXPECT_EQ(stampsInFile(*left), testSeconds(kDay, kItemsPerFile));
    const auto attempts = mIo.attempts();
    ASSERT_FALSE(attempts.empty());
    EXPECT_FALSE(QFile::exists(attempts.front().path)) << "a file without its header stays on the card";

    // The left file's row is stored by itself: read as the catalogue holds it, with nothing
    // stored before, it takes in the items written.
    const std::vector<RowRange> rows = storedRows();
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].name, leftName);
    EXPECT_EQ(rows[0].start, kDay);
    EXPECT_GE(rows[0].end, kDay + kItemsPerFile - 1);
    EXPECT_EQ(filesOnCard(), QStringList{leftName});

    // The next block begins the new file, with its row.
    ASSERT_NE(writeNext(2), nullptr);
    EXPECT_NE(current(), left);
    EXPECT_EQ(mLogger.getFileListSize(), 2);
    EXPECT_EQ(stampsInFile(*current()), testSeconds(kDay + kItemsPerFile + 2, 2));
    EXPECT_TRUE(cataloguedNames().contains(LoggerFileSystem::getFullFileName(current().get())));
    EXPECT_EQ(expectCatalogueAgreesWithFiles(Range::Covering), kItemsPerFile + 2);
}

// The catalogue's transaction of the change fails at each of its calls in turn, from its BEGIN to
// its COMMIT: the failing call is armed when the new file's header is written, right before the
// transaction. Nothing of the change may be committed, the left file's state is stored alone by
// the store that follows, the file made for the change goes, and the next block begins the new
// file. The sweep ends with the first call past the transaction, whose change commits.
TEST_F(FileChangeCommitTest, AFailingCatalogueTransactionOfTheChangeCommitsNothingAndTheLeftFileIsStoredAlone)
{
    ASSERT_NE(writeNext(kItemsPerFile), nullptr);
    // One change, so that every statement of a change is prepared before the sweep.
    ASSERT_NE(writeNext(kItemsPerFile), nullptr);
    int failedChanges = 0;
    // The statements of each transaction of a change that was rolled back.
    std::vector<std::vector<std::string>> rolledBack;
    bool committedAtLast = false;
    for (int call = 1; call <= kMostCallsOfAChange; ++call) {
        SCOPED_TRACE("call " + std::to_string(call) + " of the change fails");
        const auto left = current();
        const QString leftName = LoggerFileSystem::getFullFileName(left.get());
        const QStringList rowsBefore = cataloguedNames();
        const int32_t leftFirst = stampsInFile(*left).front();
        mMessages.clear();
        mIo.beforeNextHeader([call] { qzdb::FaultInjection::failCalls(call, SQLITE_IOERR); });
        PtrLoggerFileInfo written;
        const std::vector<std::string> statements = traceNext(kItemsPerFile, written);
        const long failed = qzdb::FaultInjection::failedCount();
        qzdb::FaultInjection::stop();
        if (!messageSeen("createFile Logger Exception")) {
            // Past the transaction: the change went through, and nothing failed in it.
            ASSERT_NE(written, nullptr) << describe(statements);
            EXPECT_NE(current(), left);
            const std::vector<TracedTransaction> transactions = transactionsOf(statements);
            ASSERT_EQ(transactions.size(), 1u) << describe(statements);
            // One try of the sweep failed at the COMMIT: every statement of the change had run, the
            // same as those of this change, and was rolled back.
            EXPECT_NE(std::find(rolledBack.begin(), rolledBack.end(), transactions.front().statements),
                      rolledBack.end())
                << describe(transactions.front().statements);
            committedAtLast = true;
            break;
        }
        ++failedChanges;
        EXPECT_EQ(failed, 1);
        EXPECT_EQ(written, nullptr);
        EXPECT_EQ(current(), left) << "the logger left its file for one without a row";

        // Nothing of the change committed: every transaction that wrote a new row was rolled
        // back, and the one that committed a write stored the left file alone.
        int committedWrites = 0;
        for (const TracedTransaction& transaction : transactionsOf(statements)) {
            if (transaction.has("INSERT")) {
                EXPECT_EQ(transaction.end, "ROLLBACK") << describe(statements);
            }
            if (transaction.end == "ROLLBACK") {
                rolledBack.push_back(transaction.statements);
            }
            if (transaction.writes() && transaction.end == "COMMIT") {
                ++committedWrites;
                EXPECT_TRUE(transaction.has("UPDATE \"LoggerFileInfoMeasure\"")) << describe(statements);
            }
        }
        EXPECT_EQ(committedWrites, 1) << describe(statements);
        EXPECT_EQ(cataloguedNames(), rowsBefore);
        for (const RowRange& row : storedRows()) {
            if (row.name == leftName) {
                EXPECT_EQ(row.start, leftFirst);
                EXPECT_GE(row.end, stampsInFile(*left).back());
            }
        }
        EXPECT_EQ(filesOnCard(), rowsBefore) << "a file without a row stays on the card";

        // The next block begins the new file, and fills it for the next change.
        const int filesBefore = mLogger.getFileListSize();
        ASSERT_NE(writeNext(kItemsPerFile), nullptr);
        EXPECT_NE(current(), left);
        EXPECT_EQ(mLogger.getFileListSize(), filesBefore + 1);
        if (HasFailure()) {
            break;
        }
    }
    EXPECT_TRUE(committedAtLast) << "the sweep did not reach the end of the change's transaction";
    EXPECT_GT(failedChanges, 5);
    RecordProperty("failedChanges", failedChanges);
    expectCatalogueAgreesWithFiles(Range::Covering);
}

} // namespace

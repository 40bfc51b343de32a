// A catalogue damaged on the card while no writer runs: cut to a few sizes, its first bytes no
// longer those of a database, a b-tree page header flipped, a page zeroed, random bytes flipped.
// In every case a writer that starts on it comes up, writes, and leaves a catalogue whose
// integrity check says "ok"; a reader that was up before the damage and one that starts on the
// damaged file answer their queries (empty or null where nothing can be read) and never crash,
// and neither changes a byte of the file; after the writer's restart both read what it wrote.
//
// The parent is the first writer and damages the file; the readers and the restarted writer are
// child processes on the parent's simulated card (WriterStore, ReaderStore).

#include "ChildTestProcess.h"
#include "Database.h"
#include "DatabaseExceptions.h"
#include "FileFaults.h"
#include "LogCapture.h"
#include "LoggerApi.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerResult.h"
#include "MeanItemFiles.h"
#include "Statement.h"
#include "TemporaryCatalogue.h"
#include "TestLogger.h"
#include "WriterStore.h"

#include <QByteArray>
#include <QCryptographicHash>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <cstdint>
#include <iostream>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int kItemSize = static_cast<int>(sizeof(DataMean));
constexpr int32_t kFirstSecond = 1763802000; // 2025-11-22, mid-day in any zone
const QString kMeasureId = QStringLiteral("mean_200ms.damaged_catalogue.mean_out");
// The first writer: three blocks, the third in a second file.
constexpr int kBlockItems = 20;
constexpr int kOldItems = 3 * kBlockItems;
constexpr int kMaximumFileSize = 44 + 30 * kItemSize;
// The restarted writer numbers its items from here, 100 s after the first ones.
constexpr int64_t kNewFirst = 100000;
constexpr int kNewItems = 2 * kBlockItems;

constexpr const char* kChildTempVariable = "TMPDIR";

// Item number n carries the time stamp n milliseconds after kFirstSecond and n as its quality.
DataMean itemNumber(int64_t number)
{
    return numberedMeanItem(kFirstSecond, number);
}

timespec stampOf(int64_t number)
{
    const DataTimespec utc = itemNumber(number).utc;
    timespec time{};
    time.tv_sec = utc.tv_sec;
    time.tv_nsec = utc.tv_nsec;
    return time;
}

class DamagedCatalogueLogger : public TestLogger {
public:
    DamagedCatalogueLogger() : TestLogger(kMeasureId, kItemSize) { setMaximumFileSize(kMaximumFileSize); }

    bool writeNumbers(int64_t first, int count)
    {
        return writeNumberedMeans(*this, kFirstSecond, first, count) != nullptr;
    }
};

// Items first .. first + count - 1 through the read API: "null" where the answer is null,
// otherwise the number of items, after checking that each is one that was written, in order.
std::string readNumbers(LoggerApi& api, int64_t first, int count)
{
    const PtrLoggerResultMean result =
        api.getMeanValues(kMeasureId, stampOf(first), stampOf(first + count - 1));
    if (result == nullptr)
        return "null";
    EXPECT_GE(result->mNumItems, 0);
    EXPECT_LE(result->mNumItems, count);
    if (result->mNumItems > 0) {
        EXPECT_NE(result->mItems, nullptr);
    }
    int64_t previous = first - 1;
    for (int index = 0; index < result->mNumItems && result->mItems != nullptr; ++index) {
        const DataMean& item = result->mItems[index];
        const int64_t number = item.quality;
        EXPECT_GT(number, previous) << "item " << index;
        EXPECT_LT(number, first + count) << "item " << index;
        EXPECT_EQ(item.utc.tv_sec, itemNumber(number).utc.tv_sec) << "item " << index;
        EXPECT_EQ(item.utc.tv_nsec, itemNumber(number).utc.tv_nsec) << "item " << index;
        previous = number;
    }
    return std::to_string(result->mNumItems);
}

QByteArray fileHash(const QString& name)
{
    return QCryptographicHash::hash(FileFaults::readAll(name), QCryptographicHash::Sha256);
}

// "ok" where SQLite's check passes the file, otherwise its first row or the error it raised.
std::string integrityCheck(const QString& name)
{
    try {
        qzdb::Database database(name.toStdString(), qzdb::Database::kOpenReadOnly);
        return queryText(database, "PRAGMA integrity_check");
    } catch (const qzdb::Exception& e) {
        return e.what();
    }
}

// --- The children --------------------------------------------------------------------------

// A reader on the parent's card. Prints "up initialized=<0|1>", then answers each line of its
// standard input: "old" with "old=<answer>" for the first writer's items, "new" with
// "new=<answer>" for the restarted writer's; it ends when the input closes.
TEST(DamagedCatalogueChild, Reads)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of DamagedCatalogueTest";
    ASSERT_TRUE(LogCapture::install());
    ReaderStore reader;
    // On a damaged file the start may fail; the reader goes on and answers all the same.
    const bool initialized = reader.start();
    std::cout << "up initialized=" << initialized << std::endl;
    LoggerApi api;
    std::string line;
    while (std::getline(std::cin, line)) {
        if (line == "old")
            std::cout << "old=" << readNumbers(api, 0, kOldItems) << std::endl;
        else if (line == "new")
            std::cout << "new=" << readNumbers(api, kNewFirst, kNewItems) << std::endl;
    }
    // Whatever it met, the reader posted no state and repaired nothing.
    EXPECT_FALSE(LogCapture::contains(QStringLiteral("Logger.Db|INFO|Repair Violated Database...")));
}

// The writer started again on the damaged card: it must come up, write and store its files.
// Prints the lines of its start that say what it found, as "log <line>".
TEST(DamagedCatalogueChild, RestartsTheWriter)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of DamagedCatalogueTest";
    ASSERT_TRUE(LogCapture::install());
    ReaderStore store;
    ASSERT_TRUE(store.startAsWriter()) << LogCapture::text().toStdString();
    for (const QString& line : LogCapture::lines()) {
        if (line.contains(QStringLiteral("integrity")) || line.contains(QStringLiteral("Repair")) ||
            line.contains(QStringLiteral("damaged")))
            std::cout << "log " << line.toStdString() << std::endl;
    }
    DamagedCatalogueLogger logger;
    ASSERT_TRUE(logger.startLogger());
    ASSERT_EQ(logger.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED) << LogCapture::text().toStdString();
    ASSERT_TRUE(logger.writeNumbers(kNewFirst, kBlockItems));
    ASSERT_TRUE(logger.writeNumbers(kNewFirst + kBlockItems, kBlockItems));
    ASSERT_TRUE(logger.updateAccess());
    ASSERT_TRUE(logger.stopLogger());
    EXPECT_EQ(queryText(*LoggerDb::getInstance().getDb(), "PRAGMA integrity_check"), "ok");
    std::cout << "written violated=" << LoggerDb::getInstance().getLastIntegrityViolated() << std::endl;
}

// --- The damage ----------------------------------------------------------------------------

enum class Damage {
    TruncatedTo0,
    TruncatedTo50,
    TruncatedTo100,
    TruncatedTo4096,
    TruncatedToHalf,
    MagicFlipped,
    BTreePageHeaderFlipped,
    PageZeroed,
    RandomBytesFlipped,
};

struct DamageCase {
    Damage damage;
    const char* name;
    // What the restarted writer's start says about the file: the line of the failed check
    // (empty where the check ran), and whether it found the integrity violated.
    const char* checkFailure;
    bool violated;
};

std::ostream& operator<<(std::ostream& out, const DamageCase& damageCase)
{
    return out << damageCase.name;
}

// The page of a table's b-tree root, and the page size, read from the healthy file.
bool rootPage(const QString& file, const char* table, qint64& page, qint64& pageSize)
{
    try {
        qzdb::Database database(file.toStdString(), qzdb::Database::kOpenReadOnly);
        page =
            queryNumber(database, std::string("SELECT \"rootpage\" FROM \"sqlite_master\" WHERE \"name\"='") +
                                      table + "'");
        pageSize = queryNumber(database, "PRAGMA page_size");
        return page > 1 && pageSize > 0;
    } catch (const qzdb::Exception& e) {
        ADD_FAILURE() << e.what();
        return false;
    }
}

bool damage(const QString& file, Damage damage)
{
    const qint64 size = FileFaults::sizeOf(file);
    qint64 page = 0;
    qint64 pageSize = 0;
    switch (damage) {
    case Damage::TruncatedTo0: return FileFaults::truncateTo(file, 0);
    case Damage::TruncatedTo50: return FileFaults::truncateTo(file, 50);
    case Damage::TruncatedTo100: return FileFaults::truncateTo(file, 100);
    case Damage::TruncatedTo4096: return FileFaults::truncateTo(file, 4096);
    case Damage::TruncatedToHalf: return FileFaults::truncateTo(file, size / 2);
    case Damage::MagicFlipped: {
        // "SQLite format 3" and its terminator; SQLite tells a database by them.
        QByteArray magic = FileFaults::readAll(file).left(16);
        for (char& byte : magic)
            byte = static_cast<char>(~byte);
        return FileFaults::overwriteAt(file, 0, magic);
    }
    case Damage::BTreePageHeaderFlipped: {
        // The type byte that opens the header of the b-tree page that holds the file rows.
        if (!rootPage(file, "LoggerFileInfoMeasure", page, pageSize))
            return false;
        const qint64 offset = (page - 1) * pageSize;
        const QByteArray header = FileFaults::readAll(file).mid(static_cast<int>(offset), 1);
        return header.size() == 1 &&
               FileFaults::overwriteAt(file, offset, QByteArray(1, static_cast<char>(~header[0])));
    }
    case Damage::PageZeroed:
        // The page of the loggers' types.
        if (!rootPage(file, "DefnMeasureType", page, pageSize))
            return false;
        return FileFaults::overwriteAt(file, (page - 1) * pageSize,
                                       QByteArray(static_cast<int>(pageSize), '\0'));
    case Damage::RandomBytesFlipped: {
        // Behind the first page, whose schema text would otherwise make SQLite's error carry
        // the flipped bytes.
        if (!rootPage(file, "DefnMeasureType", page, pageSize))
            return false;
        std::mt19937 random(20251123);
        std::uniform_int_distribution<qint64> offset(pageSize, size - 1);
        std::uniform_int_distribution<int> bits(1, 255);
        for (int flip = 0; flip < 64; ++flip) {
            const qint64 at = offset(random);
            const QByteArray byte = FileFaults::readAll(file).mid(static_cast<int>(at), 1);
            if (byte.size() != 1 ||
                !FileFaults::overwriteAt(file, at, QByteArray(1, static_cast<char>(byte[0] ^ bits(random)))))
                return false;
        }
        return true;
    }
    }
    return false;
}

class DamagedCatalogueTest : public ::testing::TestWithParam<DamageCase> {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(LogCapture::install());
        ASSERT_TRUE(mChildTemp.isValid());
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
    }

    // The first writer: this process, with the parent's logger, then gone.
    void writeOldItems()
    {
        DamagedCatalogueLogger logger;
        ASSERT_TRUE(logger.startLogger());
        for (int block = 0; block < 3; ++block)
            ASSERT_TRUE(logger.writeNumbers(block * kBlockItems, kBlockItems));
        ASSERT_EQ(logger.getFileListSize(), 2);
        ASSERT_TRUE(logger.updateAccess());
        ASSERT_TRUE(logger.stopLogger());
    }

    void prepare(ChildTestProcess& child)
    {
        mStore.exportTo(child);
        // Whatever a child leaves in its temporary folder goes with this one.
        child.setVariable(QString::fromLatin1(kChildTempVariable), mChildTemp.path());
    }

    QByteArray ask(ChildTestProcess& reader, const QByteArray& question)
    {
        reader.write(question + '\n');
        return reader.waitForLine(question + '=', 15000);
    }

    QTemporaryDir mChildTemp;
    WriterStore mStore;
};

TEST_P(DamagedCatalogueTest, AWriterComesUpAndWritesAndReadersNeverCrashNorChangeTheFile)
{
    const DamageCase& damageCase = GetParam();
    writeOldItems();
    if (HasFatalFailure())
        return;
    LoggerDb::getInstance().close();
    const QString catalogue = mStore.databaseFile();

    ChildTestProcess before(QStringLiteral("DamagedCatalogueChild.Reads"));
    prepare(before);
    ASSERT_TRUE(before.start());
    ASSERT_EQ(before.waitForLine("up ", 15000), QByteArray("up initialized=1"))
        << before.report().toStdString();
    ASSERT_EQ(ask(before, "old"), QByteArray("old=60")) << before.report().toStdString();

    ASSERT_TRUE(damage(catalogue, damageCase.damage));
    const QByteArray damaged = fileHash(catalogue);
    if (damageCase.violated) {
        EXPECT_NE(integrityCheck(catalogue), "ok") << "not damaged where SQLite's check looks";
    }

    // The reader that was up, and one that starts on the damaged file.
    const QByteArray oldBefore = ask(before, "old");
    EXPECT_FALSE(oldBefore.isEmpty()) << before.report().toStdString();
    ChildTestProcess after(QStringLiteral("DamagedCatalogueChild.Reads"));
    prepare(after);
    ASSERT_TRUE(after.start());
    const QByteArray up = after.waitForLine("up ", 15000);
    EXPECT_FALSE(up.isEmpty()) << after.report().toStdString();
    const QByteArray old = ask(after, "old");
    EXPECT_FALSE(old.isEmpty()) << after.report().toStdString();
    EXPECT_EQ(fileHash(catalogue), damaged) << "a reader changed the file";

    mStore.handOver();
    ChildTestProcess writer(QStringLiteral("DamagedCatalogueChild.RestartsTheWriter"));
    prepare(writer);
    ASSERT_TRUE(writer.run());
    ASSERT_TRUE(writer.passed()) << writer.report().toStdString();
    const QByteArray written = writer.waitForLine("written ", 0);
    EXPECT_EQ(written,
              damageCase.violated ? QByteArray("written violated=1") : QByteArray("written violated=0"))
        << writer.report().toStdString();
    const std::string failure = damageCase.checkFailure;
    const QByteArray failureLine =
        failure.empty() ? QByteArray()
                        : QByteArray("log Logger.Db|ERROR|integrity check could not run: ") + failure.c_str();
    if (!failure.empty()) {
        EXPECT_TRUE(writer.standardOutput().contains(failureLine + '\n')) << writer.report().toStdString();
    } else {
        EXPECT_FALSE(writer.standardOutput().contains("integrity check could not run"))
            << writer.report().toStdString();
    }
    EXPECT_EQ(writer.standardOutput().contains("log Logger.Db|INFO|Repair Violated Database...\n"),
              damageCase.violated)
        << writer.report().toStdString();
    EXPECT_EQ(integrityCheck(catalogue), "ok");

    // Both readers follow the restarted writer and read what it wrote.
    EXPECT_EQ(ask(before, "new"), QByteArray("new=40")) << before.report().toStdString();
    EXPECT_EQ(ask(after, "new"), QByteArray("new=40")) << after.report().toStdString();
    ASSERT_TRUE(before.waitForFinished());
    EXPECT_TRUE(before.passed()) << before.report().toStdString();
    ASSERT_TRUE(after.waitForFinished());
    EXPECT_TRUE(after.passed()) << after.report().toStdString();
    std::cout << damageCase.name << " on the damaged file: the reader up before answered "
              << oldBefore.toStdString() << ", the one started on it " << up.toStdString() << " "
              << old.toStdString() << std::endl;
}

const DamageCase kDamageCases[] = {
    {Damage::TruncatedTo0, "TruncatedTo0", "", false},
    {Damage::TruncatedTo50, "TruncatedTo50", "11: database disk image is malformed", true},
    {Damage::TruncatedTo100, "TruncatedTo100", "11: database disk image is malformed", true},
    {Damage::TruncatedTo4096, "TruncatedTo4096", "11: database disk image is malformed", true},
    {Damage::TruncatedToHalf, "TruncatedToHalf", "11: database disk image is malformed", true},
    {Damage::MagicFlipped, "MagicFlipped", "26: file is not a database", true},
    {Damage::BTreePageHeaderFlipped, "BTreePageHeaderFlipped", "11: database disk image is malformed", true},
    {Damage::PageZeroed, "PageZeroed", "11: database disk image is malformed", true},
    {Damage::RandomBytesFlipped, "RandomBytesFlipped", "11: malformed database schema (LoggerFileInfo)",
     true},
};

INSTANTIATE_TEST_SUITE_P(Catalogue, DamagedCatalogueTest, ::testing::ValuesIn(kDamageCases),
                         [](const ::testing::TestParamInfo<DamageCase>& info) {
                             return std::string(info.param.name);
                         });

} // namespace

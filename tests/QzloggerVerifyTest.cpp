// qzlogger verify, run as a user runs it: on a sound store beside its writer and as a card
// folder, and on copies of the card with one fault planted in each.

#include "ConfigurationText.h"
#include "FileHashes.h"
#include "QStringPrinter.h"
#include "QzloggerRun.h"
#include "TestLogger.h"
#include "TimeText.h"
#include "WriterStore.h"

#include "LoggerAccess.h"
#include "LoggerFileSystem.h"

#include <gtest/gtest.h>

#include <QDeadlineTimer>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <sqlite3.h>

#include <cstring>
#include <map>
#include <memory>
#include <vector>

namespace {

constexpr int kBlockSize = 24;
constexpr int kHeaderSize = 44;      // version, reserved, created, type, owner, word, id, scales
constexpr int32_t kDay = 1763802000; // 2025-11-22, in the middle of a day in any zone
const QString kRollingId = QStringLiteral("mean_3s.verify_voltage.out.mean_out");
const QString kEventId = QStringLiteral("alarms.verify");

// What a sound store of the fixture gives: two loggers, three files.
const QString kSoundSummary = QStringLiteral("verify: 2 loggers, 3 files, 0 findings");

class QzloggerVerifyTest : public ::testing::Test {};

// A store made by a writer in this process: mean values of one logger in two files, the first
// closed, and events of another in one, with the catalogue open beside the tool as on a device.
class QzloggerVerifyStoreTest : public ::testing::Test {
protected:
    explicit QzloggerVerifyStoreTest(const WriterStore::Options& options = WriterStore::Options())
        : mStore(options)
    {
    }

    void SetUp() override
    {
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        // A file above its maximum size is left by the next block: ten items a block, a file each.
        mRolling.setMaximumFileSize(kHeaderSize + 9 * kBlockSize);
        ASSERT_TRUE(mRolling.startLogger());
        ASSERT_TRUE(mEvents.startLogger());
        for (int32_t block = 0; block < 2; ++block) {
            const QByteArray items = testItems(testSeconds(kDay + 100 + block * 10, 10), kBlockSize);
            ASSERT_NE(mRolling.writeDatas(items.constData(), 10, true, true), nullptr);
        }
        const QByteArray events = testItems({kDay + 5, kDay + 9}, kBlockSize);
        ASSERT_NE(mEvents.writeDatas(events.constData(), 2, true, true), nullptr);
        ASSERT_TRUE(mRolling.updateAccess());
        ASSERT_TRUE(mEvents.updateAccess());
        ASSERT_EQ(mRolling.getFileListSize(), 2);
    }

    std::shared_ptr<LoggerFileInfo> rowOf(TestLogger& logger, int index)
    {
        return logger.getLoggerAccess()->getCurrentBaseType()->getFileInfo(index);
    }

    QString fileOf(TestLogger& logger, int index)
    {
        return LoggerFileSystem::getFullFileName(rowOf(logger, index).get());
    }

    // A copy of the card below /var/log, where the library takes a card folder that is no mount
    // point; it goes with the test.
    QString copyCard()
    {
        mCopy = ::copyCard(mStore.mountPoint());
        return mCopy ? mCopy->path() : QString();
    }

    // The place in the copy of a path in the store.
    QString inCopy(const QString& path) const
    {
        return mCopy->filePath(QDir(mStore.mountPoint()).relativeFilePath(path));
    }

    QString catalogueCopy() const { return inCopy(mStore.databaseFile()); }

    ToolRun verifyCopy()
    {
        return runTool({QStringLiteral("--card"), mCopy->path(), QStringLiteral("verify")});
    }

    WriterStore mStore;
    TestLogger mRolling{kRollingId, kBlockSize};
    TestLogger mEvents{kEventId, kBlockSize, LoggerType::EVENT, LoggerDataType::EVENT};
    std::unique_ptr<QTemporaryDir> mCopy;
};

// Runs one statement on a catalogue; the rows it changed, -1 where it failed.
int execute(const QString& catalogue, const QByteArray& statement)
{
    sqlite3* handle = nullptr;
    if (sqlite3_open(QFile::encodeName(catalogue).constData(), &handle) != SQLITE_OK) {
        sqlite3_close(handle);
        return -1;
    }
    const int changes = sqlite3_exec(handle, statement.constData(), nullptr, nullptr, nullptr) == SQLITE_OK
                            ? sqlite3_changes(handle)
                            : -1;
    sqlite3_close(handle);
    return changes;
}

// The first column of the first row of a query on a catalogue, -1 where there is none.
qint64 queryNumber(const QString& catalogue, const QByteArray& query)
{
    sqlite3* handle = nullptr;
    qint64 number = -1;
    if (sqlite3_open_v2(QFile::encodeName(catalogue).constData(), &handle, SQLITE_OPEN_READONLY, nullptr) ==
        SQLITE_OK) {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(handle, query.constData(), -1, &statement, nullptr) == SQLITE_OK &&
            sqlite3_step(statement) == SQLITE_ROW)
            number = sqlite3_column_int64(statement, 0);
        sqlite3_finalize(statement);
    }
    sqlite3_close(handle);
    return number;
}

// Writes bytes into a file at an offset, in place.
bool overwrite(const QString& path, qint64 offset, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::ReadWrite) && file.seek(offset) && file.write(bytes) == bytes.size();
}

bool append(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::Append) && file.write(bytes) == bytes.size();
}

// The configuration of the live store as runToolLive writes it, for runs that change a setting
// or that go on beside the test.
ConfigurationText liveConfiguration()
{
    return ConfigurationText()
        .without("targetPath")
        .set("fileDir", QByteArrayLiteral("data"))
        .set("dbName", QByteArrayLiteral("logger.db"));
}

// A configuration folder named by XDG_CONFIG_HOME while the object lives, so that the tool
// started meanwhile finds the live store through it.
class LiveConfiguration {
public:
    explicit LiveConfiguration(const ConfigurationText& text)
        : mHad(qEnvironmentVariableIsSet("XDG_CONFIG_HOME")), mEarlier(qgetenv("XDG_CONFIG_HOME"))
    {
        mValid = mFolder.isValid() && text.writeTo(mFolder.filePath(QStringLiteral("database.xml")));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(mFolder.path()));
    }
    ~LiveConfiguration()
    {
        if (mHad)
            qputenv("XDG_CONFIG_HOME", mEarlier);
        else
            qunsetenv("XDG_CONFIG_HOME");
    }
    LiveConfiguration(const LiveConfiguration&) = delete;
    LiveConfiguration& operator=(const LiveConfiguration&) = delete;

    bool isValid() const { return mValid; }

private:
    QTemporaryDir mFolder;
    bool mHad;
    QByteArray mEarlier;
    bool mValid = false;
};

QStringList linesOf(const ToolRun& run)
{
    return run.output.split(QLatin1Char('\n'));
}

} // namespace

TEST_F(QzloggerVerifyStoreTest, ASoundStoreBesideItsWriterHasNoFindings)
{
    const ToolRun run = runToolLive({QStringLiteral("verify")});
    EXPECT_EQ(run.status, 0) << run.output.toStdString();
    EXPECT_EQ(run.output, kSoundSummary);
}

TEST_F(QzloggerVerifyStoreTest, ASoundCopyOfTheCardHasNoFindings)
{
    ASSERT_FALSE(copyCard().isEmpty());
    const ToolRun run = verifyCopy();
    EXPECT_EQ(run.status, 0) << run.output.toStdString();
    EXPECT_EQ(run.output, kSoundSummary);
}

TEST_F(QzloggerVerifyStoreTest, VerifyChangesNoByteOfTheStore)
{
    const std::map<QString, QByteArray> before = fileHashesBelow(mStore.mountPoint());
    ASSERT_EQ(before.size(), 4u); // the catalogue and three data files
    EXPECT_EQ(runToolLive({QStringLiteral("verify")}).status, 0);
    EXPECT_EQ(fileHashesBelow(mStore.mountPoint()), before);
    EXPECT_EQ(runTool({QStringLiteral("--card"), mStore.mountPoint(), QStringLiteral("verify")}).status, 0);
    EXPECT_EQ(fileHashesBelow(mStore.mountPoint()), before);
}

TEST_F(QzloggerVerifyStoreTest, VerifyChangesNoByteOfACardWithFindings)
{
    ASSERT_FALSE(copyCard().isEmpty());
    ASSERT_TRUE(append(inCopy(fileOf(mRolling, 0)), QByteArrayLiteral("torn!")));
    const std::map<QString, QByteArray> before = fileHashesBelow(mCopy->path());
    EXPECT_EQ(verifyCopy().status, 1);
    EXPECT_EQ(fileHashesBelow(mCopy->path()), before);
}

TEST_F(QzloggerVerifyStoreTest, ADeletedDataFileIsAFindingThatNamesIt)
{
    ASSERT_FALSE(copyCard().isEmpty());
    const QString gone = inCopy(fileOf(mRolling, 0));
    ASSERT_TRUE(QFile::remove(gone));
    const ToolRun run = verifyCopy();
    EXPECT_EQ(run.status, 1) << run.output.toStdString();
    EXPECT_EQ(linesOf(run), (QStringList{QStringLiteral("%1: no such file on the card (row %2 of %3)")
                                             .arg(gone)
                                             .arg(rowOf(mRolling, 0)->Id)
                                             .arg(kRollingId),
                                         QStringLiteral("verify: 2 loggers, 3 files, 1 finding")}));
}

TEST_F(QzloggerVerifyStoreTest, ADataFileThatNoRowNamesIsAFinding)
{
    ASSERT_FALSE(copyCard().isEmpty());
    const QString source = inCopy(fileOf(mEvents, 0));
    const QString orphan = QFileInfo(source).dir().filePath(QStringLiteral("M0123456789ABCDEF.bin"));
    ASSERT_TRUE(QFile::copy(source, orphan));
    const ToolRun run = verifyCopy();
    EXPECT_EQ(run.status, 1) << run.output.toStdString();
    EXPECT_EQ(linesOf(run),
              (QStringList{QStringLiteral("%1: a data file that no row of the catalogue names").arg(orphan),
                           QStringLiteral("verify: 2 loggers, 3 files, 1 finding")}));
}

TEST_F(QzloggerVerifyStoreTest, ARowWhoseRangeDisagreesWithItsFileIsAFinding)
{
    ASSERT_FALSE(copyCard().isEmpty());
    EXPECT_EQ(
        execute(catalogueCopy(),
                QByteArrayLiteral("UPDATE \"LoggerFileInfoMeasure\" SET \"UtcEnd_sec\" = \"UtcEnd_sec\" + 7 "
                                  "WHERE \"Id\" = ") +
                    QByteArray::number(rowOf(mRolling, 0)->Id)),
        1);
    const ToolRun run = verifyCopy();
    EXPECT_EQ(run.status, 1) << run.output.toStdString();
    EXPECT_EQ(linesOf(run),
              (QStringList{QStringLiteral("%1: the row ends %2, the last item is at %3")
                               .arg(inCopy(fileOf(mRolling, 0)), qzcli::formatTime(timespec{kDay + 116, 0}),
                                    qzcli::formatTime(timespec{kDay + 109, 0})),
                           QStringLiteral("verify: 2 loggers, 3 files, 1 finding")}));
}

TEST_F(QzloggerVerifyStoreTest, AClosedFileWithAnItemCutShortIsAFinding)
{
    ASSERT_FALSE(copyCard().isEmpty());
    const QString torn = inCopy(fileOf(mRolling, 0));
    ASSERT_TRUE(append(torn, QByteArrayLiteral("torn!")));
    const ToolRun run = verifyCopy();
    EXPECT_EQ(run.status, 1) << run.output.toStdString();
    EXPECT_EQ(linesOf(run),
              (QStringList{QStringLiteral("%1: 5 bytes of an item cut short at the end").arg(torn),
                           QStringLiteral("verify: 2 loggers, 3 files, 1 finding")}));
}

// The writer overwrites a half-written last item of the file it writes to with its next item.
TEST_F(QzloggerVerifyStoreTest, AHalfWrittenItemAtTheEndOfTheNewestFileIsNoFinding)
{
    ASSERT_FALSE(copyCard().isEmpty());
    ASSERT_TRUE(append(inCopy(fileOf(mRolling, 1)), QByteArrayLiteral("half")));
    const ToolRun run = verifyCopy();
    EXPECT_EQ(run.status, 0) << run.output.toStdString();
    EXPECT_EQ(run.output, kSoundSummary);
}

TEST_F(QzloggerVerifyStoreTest, AnItemOutOfOrderInAFileIsAFinding)
{
    ASSERT_FALSE(copyCard().isEmpty());
    const QString file = inCopy(fileOf(mRolling, 0));
    // Item 4 (at +104) takes the time of item 2: it is then not after item 3 (at +103).
    const DataTimespec earlier{kDay + 102, 0};
    ASSERT_TRUE(overwrite(file, kHeaderSize + 4 * kBlockSize,
                          QByteArray(reinterpret_cast<const char*>(&earlier), sizeof(earlier))));
    const ToolRun run = verifyCopy();
    EXPECT_EQ(run.status, 1) << run.output.toStdString();
    EXPECT_EQ(
        linesOf(run),
        (QStringList{QStringLiteral("%1: item 4 at %2 is not after the one before it at %3 (1 item out of "
                                    "order)")
                         .arg(file, qzcli::formatTime(timespec{kDay + 102, 0}),
                              qzcli::formatTime(timespec{kDay + 103, 0})),
                     QStringLiteral("verify: 2 loggers, 3 files, 1 finding")}));
}

TEST_F(QzloggerVerifyStoreTest, AFileThatBeginsBeforeTheFileBeforeItEndsIsAFinding)
{
    ASSERT_FALSE(copyCard().isEmpty());
    // The first file's last item moves past the second file's first item; its row moves with it.
    const QString first = inCopy(fileOf(mRolling, 0));
    const DataTimespec later{kDay + 115, 0};
    ASSERT_TRUE(overwrite(first, kHeaderSize + 9 * kBlockSize,
                          QByteArray(reinterpret_cast<const char*>(&later), sizeof(later))));
    EXPECT_EQ(
        execute(catalogueCopy(), QByteArrayLiteral("UPDATE \"LoggerFileInfoMeasure\" SET \"UtcEnd_sec\" = ") +
                                     QByteArray::number(kDay + 115) + QByteArrayLiteral(" WHERE \"Id\" = ") +
                                     QByteArray::number(rowOf(mRolling, 0)->Id)),
        1);
    const ToolRun run = verifyCopy();
    EXPECT_EQ(run.status, 1) << run.output.toStdString();
    EXPECT_EQ(linesOf(run),
              (QStringList{QStringLiteral("%1: the first item at %2 is not after the last item of %3 at %4")
                               .arg(inCopy(fileOf(mRolling, 1)), qzcli::formatTime(timespec{kDay + 110, 0}),
                                    first, qzcli::formatTime(timespec{kDay + 115, 0})),
                           QStringLiteral("verify: 2 loggers, 3 files, 1 finding")}));
}

TEST_F(QzloggerVerifyStoreTest, ACorruptedPageOfTheCatalogueIsAFindingOfItsIntegrityCheck)
{
    ASSERT_FALSE(copyCard().isEmpty());
    const QString catalogue = catalogueCopy();
    const qint64 pageSize = queryNumber(catalogue, "PRAGMA page_size");
    // An index that the tool's reads of this store do not use: the store still opens, and only
    // the catalogue's own check reads the page.
    const qint64 page = queryNumber(catalogue, "SELECT rootpage FROM sqlite_master WHERE name = "
                                               "'DefnEventType_EventStrings_index_i'");
    ASSERT_GT(pageSize, 0);
    ASSERT_GT(page, 1);
    ASSERT_TRUE(overwrite(catalogue, (page - 1) * pageSize, QByteArray(static_cast<int>(pageSize), '\x5a')));
    const ToolRun run = verifyCopy();
    EXPECT_EQ(run.status, 1) << run.output.toStdString();
    EXPECT_TRUE(run.output.startsWith(catalogue + QStringLiteral(": integrity_check: ")))
        << run.output.toStdString();
    EXPECT_TRUE(run.output.contains(QStringLiteral("Page %1").arg(page))) << run.output.toStdString();
    EXPECT_FALSE(run.output.contains(QStringLiteral(", 0 findings"))) << run.output.toStdString();
}

TEST_F(QzloggerVerifyStoreTest, ARowThatRefersToNoRowIsAFindingOfTheForeignKeyCheck)
{
    ASSERT_FALSE(copyCard().isEmpty());
    // Without foreign keys on, the file's row goes and the logger's list still names it.
    EXPECT_EQ(
        execute(catalogueCopy(), QByteArrayLiteral("DELETE FROM \"LoggerFileInfoMeasure\" WHERE \"Id\" = ") +
                                     QByteArray::number(rowOf(mRolling, 0)->Id)),
        1);
    const ToolRun run = verifyCopy();
    EXPECT_EQ(run.status, 1) << run.output.toStdString();
    EXPECT_TRUE(run.output.startsWith(catalogueCopy() + QStringLiteral(": foreign_key_check: row ")))
        << run.output.toStdString();
    EXPECT_TRUE(run.output.contains(
        QStringLiteral(" of DefnMeasureType_FileInfos refers to no row of LoggerFileInfoMeasure\n")))
        << run.output.toStdString();
}

TEST_F(QzloggerVerifyStoreTest, ACatalogueThatIsNoDatabaseIsExitTwoInOneLine)
{
    ASSERT_FALSE(copyCard().isEmpty());
    ASSERT_TRUE(overwrite(catalogueCopy(), 0, QByteArray(100, '\x5a')));
    const ToolRun run = verifyCopy();
    EXPECT_EQ(run.status, 2) << run.output.toStdString();
    EXPECT_TRUE(run.output.startsWith(
        QStringLiteral("qzlogger verify: the store at %1 did not open: ").arg(mCopy->path())))
        << run.output.toStdString();
    EXPECT_FALSE(run.output.contains(QLatin1Char('\n'))) << run.output.toStdString();
}

// A card service that reports a logger partition of 2,000,000 bytes, so that a family's share
// is a known fraction of it.
class QzloggerVerifyQuotaTest : public QzloggerVerifyStoreTest {
protected:
    static WriterStore::Options smallCard()
    {
        WriterStore::Options options;
        options.loggerSize = 2000000;
        return options;
    }
    QzloggerVerifyQuotaTest() : QzloggerVerifyStoreTest(smallCard()) {}
};

// The tool on the live store, with a configuration whose EVENT/EVENT quota is given.
ToolRun verifyLiveWithEventQuota(const QByteArray& quota)
{
    LiveConfiguration live(liveConfiguration().set("eventAlarm", quota));
    return live.isValid() ? runTool({QStringLiteral("verify")}) : ToolRun();
}

TEST_F(QzloggerVerifyQuotaTest, AFamilyAboveItsQuotaIsAFinding)
{
    // The events file of 92 bytes is about 0.005% of the loggers' space; the quota 0.001%.
    const ToolRun run = verifyLiveWithEventQuota(QByteArrayLiteral("0.001"));
    EXPECT_EQ(run.status, 1) << run.output.toStdString();
    const QStringList lines = linesOf(run);
    ASSERT_EQ(lines.size(), 2) << run.output.toStdString();
    EXPECT_TRUE(lines.at(0).startsWith(QStringLiteral("EVENT/EVENT: 0.00"))) << lines.at(0).toStdString();
    EXPECT_TRUE(lines.at(0).endsWith(QStringLiteral("% in use, above its quota of 0.0010%")))
        << lines.at(0).toStdString();
    EXPECT_EQ(lines.at(1), QStringLiteral("verify: 2 loggers, 3 files, 1 finding"));
}

TEST_F(QzloggerVerifyQuotaTest, AFamilyWithinItsQuotaIsNoFinding)
{
    const ToolRun run = verifyLiveWithEventQuota(QByteArrayLiteral("1.0"));
    EXPECT_EQ(run.status, 0) << run.output.toStdString();
    EXPECT_EQ(run.output, kSoundSummary);
}

TEST_F(QzloggerVerifyTest, HelpShowsTheSynopsis)
{
    const ToolRun run = runTool({QStringLiteral("verify"), QStringLiteral("--help")});
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(run.output.startsWith(QStringLiteral("usage: qzlogger [--card PATH] verify\n\n")))
        << run.output.toStdString();
    EXPECT_EQ(runTool({QStringLiteral("help"), QStringLiteral("verify")}).output, run.output);
}

TEST_F(QzloggerVerifyTest, AnArgumentIsAUsageErrorInOneLine)
{
    const ToolRun run = runTool({QStringLiteral("verify"), QStringLiteral("extra-argument")});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output,
              QStringLiteral("qzlogger verify: takes no arguments: qzlogger [--card PATH] verify"));
}

// On a terminal the standard error stream tells how far the run is, on one line that is
// overwritten in place and cleared before the summary.
TEST_F(QzloggerVerifyStoreTest, OnATerminalProgressIsShownAndCleared)
{
    ASSERT_FALSE(copyCard().isEmpty());
    const TerminalRun run =
        runToolOnTerminal({QStringLiteral("--card"), mCopy->path(), QStringLiteral("verify")});
    EXPECT_EQ(run.status, 0);
    const QByteArray& terminal = run.shown;
    const QByteArray progress = QByteArrayLiteral("verify: the catalogue");
    EXPECT_TRUE(terminal.startsWith('\r' + progress + '\r')) << terminal.toStdString();
    EXPECT_TRUE(terminal.contains('\r' + QByteArray(progress.size(), ' ') + '\r')) << terminal.toStdString();
    EXPECT_TRUE(terminal.endsWith('\r' + kSoundSummary.toLatin1() + QByteArrayLiteral("\r\n")))
        << terminal.toStdString();
}

// The writer goes on writing while verify runs, a file to each block: the newest file grows
// and files are begun beside the reads.
TEST_F(QzloggerVerifyStoreTest, AStoreThatItsWriterWritesMeanwhileHasNoFindings)
{
    LiveConfiguration live(liveConfiguration());
    ASSERT_TRUE(live.isValid());
    QProcess process;
    process.start(qzloggerProgram(), {QStringLiteral("verify")});
    ASSERT_TRUE(process.waitForStarted(10000));
    const QDeadlineTimer deadline(60000);
    int32_t next = kDay + 120;
    int blocks = 0;
    while (!process.waitForFinished(2) && !deadline.hasExpired()) {
        const QByteArray items = testItems(testSeconds(next, 10), kBlockSize);
        ASSERT_NE(mRolling.writeDatas(items.constData(), 10, true, true), nullptr);
        next += 10;
        ++blocks;
    }
    ASSERT_EQ(process.state(), QProcess::NotRunning) << "verify did not end within 60 s";
    const QString output =
        QString::fromLocal8Bit(process.readAllStandardOutput() + process.readAllStandardError()).trimmed();
    EXPECT_EQ(process.exitCode(), 0) << output.toStdString();
    EXPECT_GT(blocks, 0);
    EXPECT_TRUE(QRegularExpression(QStringLiteral("^verify: 2 loggers, \\d+ files, 0 findings$"))
                    .match(output)
                    .hasMatch())
        << output.toStdString();
}

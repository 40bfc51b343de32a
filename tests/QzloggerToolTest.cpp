// The qzlogger tool, run as a user runs it: the real program on a real store that a writer made,
// beside that writer, and on bad command lines.

#include "FileHashes.h"
#include "QStringPrinter.h"
#include "QzloggerRun.h"
#include "TestLogger.h"
#include "TimeText.h"
#include "WriterStore.h"

#include "LoggerAccess.h"
#include "LoggerFileSystem.h"
#include "LoggerOperatorInterface.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <sqlite3.h>

#include <map>
#include <vector>

namespace {

constexpr int kBlockSize = 24;
constexpr int32_t kDay = 1763802000; // 2025-11-22, in the middle of a day in any zone
const QString kMeanId = QStringLiteral("mean_3s.tool_voltage.out.mean_out");
const QString kEventId = QStringLiteral("alarms.tool");
const QString kRollingId = QStringLiteral("mean_3s.tool_current.out.mean_out");

class QzloggerToolTest : public ::testing::Test {};

// A store made by a writer in this process: mean values of one logger in one file, and events
// of another, with the catalogue open beside the tool as on a device.
class QzloggerToolStoreTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        ASSERT_TRUE(mMeans.startLogger());
        ASSERT_TRUE(mEvents.startLogger());
        ASSERT_EQ(mMeans.getLoggerState(), LOGGER_STATE_LOGGER_INITIALIZED);
        std::vector<int32_t> seconds;
        for (int32_t second = 0; second < 30; ++second)
            seconds.push_back(kDay + second);
        const QByteArray means = testItems(seconds, kBlockSize);
        ASSERT_NE(mMeans.writeDatas(means.constData(), static_cast<int>(seconds.size()), true, true),
                  nullptr);
        const QByteArray events = testItems({kDay + 5, kDay + 9}, kBlockSize);
        ASSERT_NE(mEvents.writeDatas(events.constData(), 2, true, true), nullptr);
        ASSERT_TRUE(mMeans.updateAccess());
        ASSERT_TRUE(mEvents.updateAccess());
    }

    // A logger of two files, the first closed: ten items each, a block each. A file above its
    // maximum size is left by the next block.
    void writeTwoFiles()
    {
        mRolling.setMaximumFileSize(44 + 9 * kBlockSize);
        ASSERT_TRUE(mRolling.startLogger());
        for (int32_t block = 0; block < 2; ++block) {
            std::vector<int32_t> seconds;
            for (int32_t item = 0; item < 10; ++item)
                seconds.push_back(kDay + 100 + block * 10 + item);
            const QByteArray items = testItems(seconds, kBlockSize);
            ASSERT_NE(mRolling.writeDatas(items.constData(), 10, true, true), nullptr);
        }
        ASSERT_TRUE(mRolling.updateAccess());
        ASSERT_EQ(mRolling.getFileListSize(), 2);
    }

    QString fileOf(TestLogger& logger, int index)
    {
        return LoggerFileSystem::getFullFileName(
            logger.getLoggerAccess()->getCurrentBaseType()->getFileInfo(index).get());
    }

    WriterStore mStore;
    TestLogger mMeans{kMeanId, kBlockSize};
    TestLogger mEvents{kEventId, kBlockSize, LoggerType::EVENT, LoggerDataType::EVENT};
    TestLogger mRolling{kRollingId, kBlockSize};
};

} // namespace

TEST_F(QzloggerToolTest, HelpListsTheCommandsAndTheExitStatuses)
{
    const ToolRun run = runTool({QStringLiteral("--help")});
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(run.output.startsWith(QStringLiteral("usage: qzlogger [--card PATH] <command>")))
        << run.output.toStdString();
    EXPECT_TRUE(run.output.contains(QStringLiteral("\n  ls        every identification")))
        << run.output.toStdString();
    EXPECT_TRUE(run.output.contains(QStringLiteral("Exit status: 0 done, 1 findings, 2 ")))
        << run.output.toStdString();
    EXPECT_EQ(runTool({QStringLiteral("help")}).output, run.output);
}

TEST_F(QzloggerToolTest, EachCommandTellsOfItselfWithHelp)
{
    const ToolRun run = runTool({QStringLiteral("ls"), QStringLiteral("--help")});
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(run.output.startsWith(QStringLiteral("usage: qzlogger [--card PATH] ls [TYPE]\n\n")))
        << run.output.toStdString();
    EXPECT_TRUE(run.output.contains(QStringLiteral("cyclic, event, pqevent, disturb or operator")));
    EXPECT_EQ(runTool({QStringLiteral("help"), QStringLiteral("ls")}).output, run.output);
    EXPECT_EQ(runTool({QStringLiteral("ls"), QStringLiteral("-h")}).output, run.output);
}

TEST_F(QzloggerToolTest, AnUnknownCommandIsOneLineThatNamesTheCommandsAndExitTwo)
{
    const ToolRun run = runTool({QStringLiteral("bogus")});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output,
              QStringLiteral(
                  "qzlogger: unknown command bogus: give one of info, ls, files, dump, stats, plot, verify"));
    const ToolRun help = runTool({QStringLiteral("help"), QStringLiteral("bogus")});
    EXPECT_EQ(help.status, 2);
    EXPECT_EQ(help.output,
              QStringLiteral(
                  "qzlogger: unknown command bogus: give one of info, ls, files, dump, stats, plot, verify"));
}

TEST_F(QzloggerToolTest, NoCommandIsAUsageError)
{
    const ToolRun run = runTool({});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output, QStringLiteral("qzlogger: no command given: give one of info, ls, files, dump, "
                                         "stats, plot, verify, or see qzlogger --help"));
}

TEST_F(QzloggerToolTest, AnUnknownOptionIsAUsageError)
{
    const ToolRun run = runTool({QStringLiteral("--frobnicate"), QStringLiteral("ls")});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output, QStringLiteral("qzlogger: unknown option --frobnicate: see qzlogger --help"));
}

TEST_F(QzloggerToolTest, CardWithoutItsFolderIsAUsageError)
{
    for (const QStringList& arguments :
         {QStringList{QStringLiteral("--card")}, QStringList{QStringLiteral("--card=")}}) {
        const ToolRun run = runTool(arguments);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.output,
                  QStringLiteral("qzlogger: --card wants the card's folder: qzlogger --card PATH <command>"));
    }
}

TEST_F(QzloggerToolTest, ACardFolderThatDoesNotExistIsExitTwo)
{
    QTemporaryDir root;
    ASSERT_TRUE(root.isValid());
    const QString missing = root.filePath(QStringLiteral("no-card"));
    const ToolRun run = runTool({QStringLiteral("--card"), missing, QStringLiteral("ls")});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output,
              QStringLiteral("qzlogger ls: the card folder %1 does not exist: give the folder that holds "
                             "logger/logger.db")
                  .arg(missing));
}

TEST_F(QzloggerToolTest, AFolderThatIsNoStoreIsExitTwo)
{
    QTemporaryDir root;
    ASSERT_TRUE(root.isValid());
    const ToolRun run = runTool({QStringLiteral("--card=") + root.path(), QStringLiteral("ls")});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output,
              QStringLiteral("qzlogger ls: %1 is not a store: it has no catalogue %1/logger/logger.db; give "
                             "the folder that holds logger/logger.db")
                  .arg(root.path()));
}

TEST_F(QzloggerToolTest, AnUnknownTypeIsExitTwo)
{
    const ToolRun run = runTool({QStringLiteral("ls"), QStringLiteral("weekly")});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output,
              QStringLiteral(
                  "qzlogger ls: unknown type weekly: give one of cyclic, event, pqevent, disturb, operator"));
    const ToolRun two = runTool({QStringLiteral("ls"), QStringLiteral("cyclic"), QStringLiteral("event")});
    EXPECT_EQ(two.status, 2);
    EXPECT_EQ(two.output,
              QStringLiteral("qzlogger ls: takes one TYPE at most: qzlogger ls [cyclic, event, pqevent, "
                             "disturb, operator]"));
}

TEST_F(QzloggerToolStoreTest, LsListsEveryLoggerWithItsFilesItemsAndBytes)
{
    const ToolRun run = runTool({QStringLiteral("--card"), mStore.mountPoint(), QStringLiteral("ls")});
    ASSERT_EQ(run.status, 0) << run.output.toStdString();
    EXPECT_TRUE(run.output.startsWith(QStringLiteral("ID "))) << run.output.toStdString();

    const QStringList means = rowOf(run.output, kMeanId);
    ASSERT_EQ(means.size(), 9) << run.output.toStdString();
    EXPECT_EQ(means.at(1), QStringLiteral("CYCLIC"));
    EXPECT_EQ(means.at(2), QStringLiteral("MEAN"));
    EXPECT_EQ(means.at(4), qzcli::formatTime(timespec{kDay, 0}));
    EXPECT_EQ(means.at(5), qzcli::formatTime(timespec{kDay + 29, 0}));
    EXPECT_EQ(means.at(6), QStringLiteral("1"));
    EXPECT_EQ(means.at(7), QStringLiteral("30"));
    EXPECT_EQ(means.at(8), QString::number(44 + 30 * kBlockSize));

    const QStringList events = rowOf(run.output, kEventId);
    ASSERT_EQ(events.size(), 9) << run.output.toStdString();
    EXPECT_EQ(events.at(1), QStringLiteral("EVENT"));
    EXPECT_EQ(events.at(3), QStringLiteral("-"));
    EXPECT_EQ(events.at(7), QStringLiteral("2"));
    EXPECT_EQ(events.at(8), QString::number(44 + 2 * kBlockSize));
}

TEST_F(QzloggerToolStoreTest, LsOfOneTypeListsThatFamilyAlone)
{
    const ToolRun run = runTool(
        {QStringLiteral("--card"), mStore.mountPoint(), QStringLiteral("ls"), QStringLiteral("EVENT")});
    ASSERT_EQ(run.status, 0) << run.output.toStdString();
    EXPECT_FALSE(rowOf(run.output, kEventId).isEmpty()) << run.output.toStdString();
    EXPECT_TRUE(rowOf(run.output, kMeanId).isEmpty()) << run.output.toStdString();
}

TEST_F(QzloggerToolStoreTest, LsBesideTheWriterFindsTheStoreThroughTheConfigurationAndTheCardService)
{
    const ToolRun run = runToolLive({QStringLiteral("ls"), QStringLiteral("cyclic")});
    ASSERT_EQ(run.status, 0) << run.output.toStdString();
    const QStringList means = rowOf(run.output, kMeanId);
    ASSERT_EQ(means.size(), 9) << run.output.toStdString();
    EXPECT_EQ(means.at(7), QStringLiteral("30"));
}

TEST_F(QzloggerToolStoreTest, FilesShowsEachFileAsCataloguedAndOnTheCardAndThatTheyAgree)
{
    const ToolRun run =
        runTool({QStringLiteral("--card"), mStore.mountPoint(), QStringLiteral("files"), kMeanId});
    ASSERT_EQ(run.status, 0) << run.output.toStdString();
    const QStringList lines = run.output.split(QLatin1Char('\n'));
    ASSERT_EQ(lines.size(), 6) << run.output.toStdString();
    EXPECT_EQ(lines.at(0), kMeanId + QStringLiteral("  CYCLIC MEAN, 1 file"));
    EXPECT_EQ(lines.at(1), QStringLiteral("file 1: ") + fileOf(mMeans, 0));
    EXPECT_TRUE(lines.at(2).startsWith(QStringLiteral("  row     id "))) << lines.at(2).toStdString();
    EXPECT_TRUE(lines.at(2).endsWith(
        QStringLiteral(", range %1 to %2, header 44 bytes, items of 24 bytes")
            .arg(qzcli::formatTime(timespec{kDay, 0}), qzcli::formatTime(timespec{kDay + 29, 0}))))
        << lines.at(2).toStdString();
    EXPECT_EQ(lines.at(3),
              QStringLiteral("  file    %1 bytes, 30 items from %2 to %3")
                  .arg(44 + 30 * kBlockSize)
                  .arg(qzcli::formatTime(timespec{kDay, 0}), qzcli::formatTime(timespec{kDay + 29, 0})));
    EXPECT_TRUE(lines.at(4).startsWith(QStringLiteral("  header  version 1, data type MEAN, logger ")))
        << lines.at(4).toStdString();
    EXPECT_EQ(lines.at(5), QStringLiteral("  agrees  yes"));
}

TEST_F(QzloggerToolStoreTest, FilesOfALoggerOfTwoFilesListsThemInTheCataloguesOrder)
{
    writeTwoFiles();
    const ToolRun run =
        runTool({QStringLiteral("--card"), mStore.mountPoint(), QStringLiteral("files"), kRollingId});
    ASSERT_EQ(run.status, 0) << run.output.toStdString();
    EXPECT_TRUE(run.output.startsWith(kRollingId + QStringLiteral("  CYCLIC MEAN, 2 files\n")));
    EXPECT_TRUE(run.output.contains(QStringLiteral("file 1: ") + fileOf(mRolling, 0) + QLatin1Char('\n')));
    EXPECT_TRUE(run.output.contains(QStringLiteral("file 2: ") + fileOf(mRolling, 1) + QLatin1Char('\n')));
    EXPECT_EQ(run.output.count(QStringLiteral("  agrees  yes")), 2) << run.output.toStdString();
}

TEST_F(QzloggerToolStoreTest, AFileWithAnItemCutShortIsAFindingWithExitOne)
{
    QFile file(fileOf(mMeans, 0));
    ASSERT_TRUE(file.open(QIODevice::Append));
    ASSERT_EQ(file.write("torn!", 5), 5);
    file.close();
    const ToolRun run =
        runTool({QStringLiteral("--card"), mStore.mountPoint(), QStringLiteral("files"), kMeanId});
    EXPECT_EQ(run.status, 1) << run.output.toStdString();
    EXPECT_TRUE(run.output.endsWith(QStringLiteral("  agrees  no: 5 bytes of an item cut short at the end")))
        << run.output.toStdString();
}

TEST_F(QzloggerToolStoreTest, ARowWhoseFileIsGoneIsAFinding)
{
    writeTwoFiles();
    ASSERT_TRUE(QFile::remove(fileOf(mRolling, 0)));
    const ToolRun run =
        runTool({QStringLiteral("--card"), mStore.mountPoint(), QStringLiteral("files"), kRollingId});
    EXPECT_EQ(run.status, 1) << run.output.toStdString();
    EXPECT_TRUE(run.output.contains(QStringLiteral("file 1: ") + fileOf(mRolling, 0) +
                                    QStringLiteral("\n  row     id ")))
        << run.output.toStdString();
    EXPECT_TRUE(run.output.contains(QStringLiteral("  agrees  no: no such file on the card\nfile 2: ")))
        << run.output.toStdString();
}

TEST_F(QzloggerToolStoreTest, AClosedFileWhoseRowEndsElsewhereIsAFinding)
{
    writeTwoFiles();
    sqlite3* handle = nullptr;
    ASSERT_EQ(sqlite3_open(mStore.databaseFile().toUtf8().constData(), &handle), SQLITE_OK);
    const QByteArray update =
        QByteArrayLiteral("UPDATE \"LoggerFileInfoMeasure\" SET \"UtcEnd_sec\" = \"UtcEnd_sec\" + 7 "
                          "WHERE \"Id\" = ") +
        QByteArray::number(mRolling.getLoggerAccess()->getCurrentBaseType()->getFileInfo(0)->Id);
    EXPECT_EQ(sqlite3_exec(handle, update.constData(), nullptr, nullptr, nullptr), SQLITE_OK);
    EXPECT_EQ(sqlite3_changes(handle), 1);
    sqlite3_close(handle);
    const ToolRun run =
        runTool({QStringLiteral("--card"), mStore.mountPoint(), QStringLiteral("files"), kRollingId});
    EXPECT_EQ(run.status, 1) << run.output.toStdString();
    EXPECT_TRUE(run.output.contains(
        QStringLiteral("  agrees  no: the row ends %1, the last item is at %2\n")
            .arg(qzcli::formatTime(timespec{kDay + 109 + 7, 0}), qzcli::formatTime(timespec{kDay + 109, 0}))))
        << run.output.toStdString();
}

// The operator log has no identification: ls shows it as -, and files takes - for it.
TEST_F(QzloggerToolStoreTest, TheOperatorLogIsNamedByADash)
{
    ASSERT_TRUE(LoggerOperatorInterface::initialize());
    ASSERT_TRUE(LoggerOperatorInterface::startLogger());
    for (int number = 0; number < 3; ++number) {
        DataOperator item{};
        LoggerOperatorInterface::createDefault(item);
        item.utc = DataTimespec{kDay + 60 * number, 0};
        item.operation = number;
        LoggerOperatorInterface::setUser(QStringLiteral("tool"), item);
        LoggerOperatorInterface::setIp(QStringLiteral("192.168.1.20"), item);
        ASSERT_TRUE(LoggerOperatorInterface::logEvent(item));
    }
    const ToolRun listing = runTool(
        {QStringLiteral("--card"), mStore.mountPoint(), QStringLiteral("ls"), QStringLiteral("operator")});
    ASSERT_EQ(listing.status, 0) << listing.output.toStdString();
    const QStringList row = rowOf(listing.output, QStringLiteral("-"));
    ASSERT_EQ(row.size(), 9) << listing.output.toStdString();
    EXPECT_EQ(row.at(1), QStringLiteral("OPERATOR"));
    EXPECT_EQ(row.at(7), QStringLiteral("3"));

    const ToolRun files = runTool(
        {QStringLiteral("--card"), mStore.mountPoint(), QStringLiteral("files"), QStringLiteral("-")});
    ASSERT_EQ(files.status, 0) << files.output.toStdString();
    EXPECT_TRUE(files.output.startsWith(QStringLiteral("-  OPERATOR OPERATOR, 1 file\nfile 1: ")))
        << files.output.toStdString();
    EXPECT_TRUE(files.output.contains(
        QStringLiteral(", 3 items from %1 to %2\n")
            .arg(qzcli::formatTime(timespec{kDay, 0}), qzcli::formatTime(timespec{kDay + 120, 0}))))
        << files.output.toStdString();
    EXPECT_TRUE(files.output.endsWith(QStringLiteral("  agrees  yes"))) << files.output.toStdString();
}

TEST_F(QzloggerToolStoreTest, FilesOfAnUnknownIdentificationIsExitTwo)
{
    const ToolRun run = runTool(
        {QStringLiteral("--card"), mStore.mountPoint(), QStringLiteral("files"), QStringLiteral("nope")});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output,
              QStringLiteral("qzlogger files: unknown identification nope: qzlogger ls lists the store's "
                             "identifications"));
}

TEST_F(QzloggerToolTest, FilesWantsOneIdentification)
{
    for (const QStringList& words :
         {QStringList{QStringLiteral("files")},
          QStringList{QStringLiteral("files"), QStringLiteral("a"), QStringLiteral("b")},
          QStringList{QStringLiteral("files"), QStringLiteral("--all")}}) {
        const ToolRun run = runTool(words);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(
            run.output,
            QStringLiteral(
                "qzlogger files: wants one identification: qzlogger files ID (qzlogger ls lists them)"));
    }
}

// The line of the output that begins with start; empty where none does.
QString lineOf(const QString& output, const QString& start)
{
    for (const QString& line : output.split(QLatin1Char('\n'))) {
        if (line.startsWith(start))
            return line;
    }
    return QString();
}

TEST_F(QzloggerToolStoreTest, InfoOfACardFolderShowsItsPlacesSizesAndFamilies)
{
    const ToolRun run = runTool({QStringLiteral("--card"), mStore.mountPoint(), QStringLiteral("info")});
    ASSERT_EQ(run.status, 0) << run.output.toStdString();
    EXPECT_EQ(lineOf(run.output, QStringLiteral("store ")),
              QStringLiteral("store      %1 (a card folder)").arg(mStore.mountPoint()));
    EXPECT_EQ(lineOf(run.output, QStringLiteral("catalogue ")),
              QStringLiteral("catalogue  %1, %2 bytes")
                  .arg(mStore.databaseFile())
                  .arg(QFileInfo(mStore.databaseFile()).size()));
    EXPECT_EQ(lineOf(run.output, QStringLiteral("data ")),
              QStringLiteral("data       %1, 2 files, %2 bytes")
                  .arg(mStore.dataFolderPath())
                  .arg(44 + 30 * kBlockSize + 44 + 2 * kBlockSize));
    EXPECT_TRUE(lineOf(run.output, QStringLiteral("card ")).endsWith(QStringLiteral(" free")))
        << run.output.toStdString();
    EXPECT_EQ(lineOf(run.output, QStringLiteral("writer ")),
              QStringLiteral("writer     - (a card folder is read without its writer)"));

    const QStringList means = rowOf(run.output, QStringLiteral("CYCLIC/MEAN"));
    ASSERT_EQ(means.size(), 7) << run.output.toStdString();
    EXPECT_TRUE(means.at(1).endsWith(QLatin1Char('%')));
    EXPECT_EQ(means.at(3), QStringLiteral("1"));
    EXPECT_EQ(means.at(4), QStringLiteral("1"));
    EXPECT_EQ(means.at(5), qzcli::formatTime(timespec{kDay, 0}));
    EXPECT_EQ(means.at(6), qzcli::formatTime(timespec{kDay + 29, 0}));
    const QStringList events = rowOf(run.output, QStringLiteral("EVENT/EVENT"));
    ASSERT_EQ(events.size(), 7) << run.output.toStdString();
    EXPECT_EQ(events.at(5), qzcli::formatTime(timespec{kDay + 5, 0}));
    EXPECT_EQ(events.at(6), qzcli::formatTime(timespec{kDay + 9, 0}));
}

TEST_F(QzloggerToolStoreTest, InfoOfTheLiveStoreNamesItsWriterAndTheStateItPosts)
{
    const ToolRun run = runToolLive({QStringLiteral("info")});
    ASSERT_EQ(run.status, 0) << run.output.toStdString();
    EXPECT_EQ(lineOf(run.output, QStringLiteral("store ")),
              QStringLiteral("store      %1 (the live store)").arg(mStore.mountPoint()));
    EXPECT_EQ(lineOf(run.output, QStringLiteral("writer ")),
              QStringLiteral("writer     process %1, running").arg(QCoreApplication::applicationPid()));
    EXPECT_TRUE(lineOf(run.output, QStringLiteral("state ")).endsWith(QStringLiteral(", readable")))
        << run.output.toStdString();
    EXPECT_EQ(rowOf(run.output, QStringLiteral("CYCLIC/MEAN")).size(), 7) << run.output.toStdString();
}

TEST_F(QzloggerToolTest, InfoTakesNoArguments)
{
    const ToolRun run = runTool({QStringLiteral("info"), QStringLiteral("all")});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output, QStringLiteral("qzlogger info: takes no arguments: qzlogger info"));
}

TEST_F(QzloggerToolStoreTest, TheToolChangesNoByteOfTheStore)
{
    writeTwoFiles();
    const std::map<QString, QByteArray> before = fileHashesBelow(mStore.mountPoint());
    ASSERT_FALSE(before.empty());
    EXPECT_EQ(runTool({QStringLiteral("--card"), mStore.mountPoint(), QStringLiteral("ls")}).status, 0);
    EXPECT_EQ(runTool({QStringLiteral("--card"), mStore.mountPoint(), QStringLiteral("info")}).status, 0);
    EXPECT_EQ(runToolLive({QStringLiteral("info")}).status, 0);
    EXPECT_EQ(
        runTool({QStringLiteral("--card"), mStore.mountPoint(), QStringLiteral("files"), kMeanId}).status, 0);
    EXPECT_EQ(
        runTool({QStringLiteral("--card"), mStore.mountPoint(), QStringLiteral("files"), kRollingId}).status,
        0);
    EXPECT_EQ(runTool({QStringLiteral("--card"), mStore.mountPoint(), QStringLiteral("ls"),
                       QStringLiteral("bogus")})
                  .status,
              2);
    EXPECT_EQ(fileHashesBelow(mStore.mountPoint()), before);
}

// A card taken out of a device is read where there is no system bus, no card service and no
// writer: every command runs on a copy of the card with the bus's address naming no socket, an
// empty folder of state files and no process-id file, and changes none of its bytes.
TEST_F(QzloggerToolStoreTest, EveryCommandReadsACopiedCardWithoutBusCardServiceOrWriter)
{
    writeTwoFiles();
    const std::unique_ptr<QTemporaryDir> copy = copyCard(mStore.mountPoint());
    ASSERT_NE(copy, nullptr);
    QTemporaryDir elsewhere;
    ASSERT_TRUE(elsewhere.isValid());
    ASSERT_TRUE(QDir(elsewhere.path()).mkdir(QStringLiteral("state")));
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"),
                       QStringLiteral("unix:path=") + elsewhere.filePath(QStringLiteral("no-bus")));
    environment.insert(QStringLiteral("QZLOGGER_STATE_DIR"), elsewhere.filePath(QStringLiteral("state")));
    environment.insert(QStringLiteral("QZLOGGER_PID_FILE"),
                       elsewhere.filePath(QStringLiteral("no-writer.pid")));
    const std::map<QString, QByteArray> before = fileHashesBelow(copy->path());
    ASSERT_EQ(before.size(), 5u); // the catalogue and four data files

    const QString from = qzcli::formatTime(timespec{kDay, 0});
    const QString to = qzcli::formatTime(timespec{kDay + 200, 0});
    const QString chart = elsewhere.filePath(QStringLiteral("chart.svg"));
    const QStringList commands[] = {
        {QStringLiteral("info")},
        {QStringLiteral("ls")},
        {QStringLiteral("files"), kRollingId},
        {QStringLiteral("dump"), kRollingId, QStringLiteral("--format"), QStringLiteral("json")},
        {QStringLiteral("stats"), kRollingId, QStringLiteral("--from"), from, QStringLiteral("--to"), to},
        {QStringLiteral("plot"), kRollingId, QStringLiteral("--from"), from, QStringLiteral("--to"), to,
         QStringLiteral("--out"), chart},
        {QStringLiteral("verify")},
    };
    for (const QStringList& command : commands) {
        const ToolRun run =
            runTool(QStringList{QStringLiteral("--card"), copy->path()} + command, environment);
        EXPECT_EQ(run.status, 0) << command.join(QLatin1Char(' ')).toStdString() << ": "
                                 << run.output.toStdString();
        EXPECT_FALSE(run.standardOutput.isEmpty()) << command.join(QLatin1Char(' ')).toStdString();
    }
    EXPECT_GT(QFileInfo(chart).size(), 0);
    EXPECT_FALSE(QFileInfo::exists(elsewhere.filePath(QStringLiteral("no-writer.pid"))));
    EXPECT_EQ(fileHashesBelow(copy->path()), before);
}

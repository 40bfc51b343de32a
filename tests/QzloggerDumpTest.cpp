// qzlogger dump, run as a user runs it on a store that a writer made in this process: the CSV
// read back and compared item by item with the read API, JSON lines parsed, raw output against
// the library's own export, the choice of items, and every bad command line.

#include "FileHashes.h"
#include "QStringPrinter.h"
#include "QzloggerRun.h"
#include "TimeText.h"
#include "TypedTestLogger.h"
#include "WriterStore.h"

#include "LoggerApi.h"
#include "LoggerApiInterface.h"
#include "LoggerDataItems.h"
#include "LoggerEventAlarm.h"
#include "LoggerResult.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <cmath>
#include <memory>
#include <vector>

namespace {

constexpr int32_t kDay = 1763802000; // 2025-11-22, in the middle of a day in any zone
constexpr int kMeans = 40;
const QString kMeanId = QStringLiteral("mean_3s.dump_voltage.out.mean_out");
const QString kArrayId = QStringLiteral("mean_3s.dump_harmonics.out.mean_out");
const QString kAlarmId = QStringLiteral("alarms.dump");
const QString kPqId = QStringLiteral("pqevents.dump");
const std::vector<std::string> kTexts = {"breaker open", "limit, \"high\" voltage", "Überspannung"};

timespec at(int32_t seconds, int32_t nanoseconds = 0)
{
    timespec time{};
    time.tv_sec = seconds;
    time.tv_nsec = nanoseconds;
    return time;
}

QString iso(int32_t seconds, int32_t nanoseconds = 0)
{
    return qzcli::formatTime(at(seconds, nanoseconds));
}

// A CSV text as rows of values: quoted values may hold commas and doubled quotes.
std::vector<QStringList> parseCsv(const QByteArray& text)
{
    std::vector<QStringList> rows;
    for (const QByteArray& line : text.split('\n')) {
        if (line.isEmpty())
            continue;
        const QString row = QString::fromUtf8(line);
        QStringList values;
        QString value;
        bool quoted = false;
        for (int index = 0; index < row.size(); ++index) {
            const QChar c = row.at(index);
            if (quoted) {
                if (c == QLatin1Char('"') && index + 1 < row.size() &&
                    row.at(index + 1) == QLatin1Char('"')) {
                    value += c;
                    ++index;
                } else if (c == QLatin1Char('"')) {
                    quoted = false;
                } else {
                    value += c;
                }
            } else if (c == QLatin1Char('"')) {
                quoted = true;
            } else if (c == QLatin1Char(',')) {
                values << value;
                value.clear();
            } else {
                value += c;
            }
        }
        values << value;
        rows.push_back(values);
    }
    return rows;
}

DataMean meanItem(int index)
{
    DataMean item{};
    item.utc = DataTimespec{kDay + index, 125000000 * (index % 8)};
    item.quality = static_cast<uint32_t>(index % 3);
    item.min = 229.0f + static_cast<float>(index) / 7.0f;
    item.mean = 230.1f + static_cast<float>(index) / 3.0f;
    item.max = 231.3f + static_cast<float>(index) / 9.0f;
    return item;
}

DataPqEvent pqEvent(int32_t second, int32_t durationNs, float residual)
{
    DataPqEvent event{};
    event.utc = DataTimespec{second, 0};
    event.duration = DataTimespec{0, durationNs};
    event.referenceValue = 230.0f;
    event.eventValue = 230.0f * residual / 100.0f;
    for (DataUtcRange& range : event.rms)
        range = {{second, 0}, {second + 1, 0}};
    event.sample = {{second, 0}, {second + 1, 0}};
    return event;
}

class QzloggerDumpTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        mApi.reset(LoggerApiInterface::getApi());
    }

    // Means in three files: a file above 400 bytes is left by the next block of ten.
    void writeMeans()
    {
        mMeans.setMaximumFileSize(400);
        ASSERT_TRUE(mMeans.startLogger());
        for (int block = 0; block < kMeans / 10; ++block) {
            std::vector<DataMean> items;
            for (int index = block * 10; index < block * 10 + 10; ++index)
                items.push_back(meanItem(index));
            ASSERT_NE(mMeans.writeDatas(reinterpret_cast<const char*>(items.data()), 10, true, true),
                      nullptr);
        }
        ASSERT_TRUE(mMeans.updateAccess());
        ASSERT_GE(mMeans.getFileListSize(), 2);
    }

    void writeAlarms()
    {
        mAlarms.setLoggerName(kAlarmId.toStdString());
        ASSERT_TRUE(mAlarms.initialize());
        ASSERT_TRUE(mAlarms.updateEventStrings(kTexts));
        for (int index = 0; index < 6; ++index) {
            DataEvent item{};
            item.utc = DataTimespec{kDay + 100 + index, 0};
            item.eventData.words[0] = static_cast<uint32_t>(index);
            ASSERT_TRUE(mAlarms.logEventItem(item, QString::fromStdString(kTexts[index % kTexts.size()])));
        }
        ASSERT_TRUE(mAlarms.flush());
    }

    void writePqEvents()
    {
        ASSERT_TRUE(mPqEvents.startLogger());
        // Depth 50 % for 0.1 s (row 0, column 2), 85 % for 0.3 s (row 1, column 4), and one of
        // 10 ms, too short to be classified.
        const std::vector<DataPqEvent> events = {pqEvent(kDay + 200, 100000000, 50.0f),
                                                 pqEvent(kDay + 210, 300000000, 85.0f),
                                                 pqEvent(kDay + 220, 10000000, 50.0f)};
        ASSERT_NE(mPqEvents.writeDatas(reinterpret_cast<const char*>(events.data()), 3, true, true), nullptr);
        ASSERT_TRUE(mPqEvents.updateAccess());
    }

    QString card() const { return mStore.mountPoint(); }

    ToolRun dump(const QStringList& arguments)
    {
        return runTool(QStringList{QStringLiteral("--card"), card(), QStringLiteral("dump")} + arguments);
    }

    WriterStore mStore;
    std::unique_ptr<LoggerApiInterface> mApi;
    TypedTestLogger<DataMean> mMeans{LoggerType::CYCLIC, LoggerDataType::MEAN, kMeanId, 3.0};
    TypedTestLogger<DataPqEvent> mPqEvents{LoggerType::PQEVENT, LoggerDataType::PQEVENT, kPqId, 0.0};
    LoggerEventAlarm mAlarms;
};

} // namespace

TEST_F(QzloggerDumpTest, CsvOfMeansReadsBackItemByItemAsTheReadApiGivesThem)
{
    writeMeans();
    const ToolRun run = dump({kMeanId});
    ASSERT_EQ(run.status, 0) << run.output.toStdString();
    const std::vector<QStringList> rows = parseCsv(run.standardOutput);
    ASSERT_FALSE(rows.empty());
    EXPECT_EQ(rows.front(),
              (QStringList{QStringLiteral("utc"), QStringLiteral("quality"), QStringLiteral("min"),
                           QStringLiteral("mean"), QStringLiteral("max")}));
    const PtrLoggerResultMean read = mApi->getMeanValues(kMeanId, at(kDay - 1), at(kDay + kMeans + 1));
    ASSERT_NE(read, nullptr);
    ASSERT_EQ(read->mNumItems, kMeans);
    ASSERT_EQ(rows.size(), static_cast<size_t>(kMeans + 1));
    for (int index = 0; index < kMeans; ++index) {
        const QStringList& row = rows[static_cast<size_t>(index) + 1];
        const DataMean& item = read->mItems[index];
        ASSERT_EQ(row.size(), 5);
        const std::optional<timespec> time = qzcli::parseTime(row[0]);
        ASSERT_TRUE(time.has_value()) << row[0].toStdString();
        EXPECT_EQ(time->tv_sec, item.utc.tv_sec) << index;
        EXPECT_EQ(time->tv_nsec, item.utc.tv_nsec) << index;
        EXPECT_EQ(row[1].toUInt(), item.quality) << index;
        // Nine digits read back to the very float.
        EXPECT_EQ(row[2].toFloat(), item.min) << index;
        EXPECT_EQ(row[3].toFloat(), item.mean) << index;
        EXPECT_EQ(row[4].toFloat(), item.max) << index;
    }
}

TEST_F(QzloggerDumpTest, JsonLinesParseWithEveryFieldOfEveryItem)
{
    writeMeans();
    const ToolRun run = dump({kMeanId, QStringLiteral("--format"), QStringLiteral("json")});
    ASSERT_EQ(run.status, 0) << run.output.toStdString();
    const QList<QByteArray> lines = run.standardOutput.trimmed().split('\n');
    ASSERT_EQ(lines.size(), kMeans);
    for (int index = 0; index < kMeans; ++index) {
        QJsonParseError error{};
        const QJsonDocument document = QJsonDocument::fromJson(lines[index], &error);
        ASSERT_EQ(error.error, QJsonParseError::NoError) << lines[index].toStdString();
        const QJsonObject object = document.object();
        const DataMean item = meanItem(index);
        EXPECT_EQ(object.value(QStringLiteral("utc")).toString(), iso(item.utc.tv_sec, item.utc.tv_nsec));
        EXPECT_EQ(object.value(QStringLiteral("quality")).toInt(), static_cast<int>(item.quality));
        EXPECT_EQ(static_cast<float>(object.value(QStringLiteral("mean")).toDouble()), item.mean);
        EXPECT_EQ(object.keys().size(), 5);
    }
}

TEST_F(QzloggerDumpTest, RawIsTheLibrarysExportByteForByte)
{
    writeMeans();
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    const QString raw = folder.filePath(QStringLiteral("dump.raw"));
    const QString exported = folder.filePath(QStringLiteral("export.raw"));
    const ToolRun run =
        dump({kMeanId, QStringLiteral("--format=raw"), QStringLiteral("--out"), raw, QStringLiteral("--from"),
              iso(kDay + 5), QStringLiteral("--to"), iso(kDay + 33)});
    ASSERT_EQ(run.status, 0) << run.output.toStdString();
    EXPECT_TRUE(run.output.isEmpty()) << run.output.toStdString();
    mApi->writeMeasuredValuesToFile(kMeanId, at(kDay + 5), at(kDay + 33), exported);
    const QByteArray library = fileHash(exported);
    ASSERT_FALSE(library.isEmpty());
    EXPECT_EQ(fileHash(raw), library);
    EXPECT_EQ(QFileInfo(raw).size(), 28 * static_cast<qint64>(sizeof(DataMean)));
}

TEST_F(QzloggerDumpTest, FromToAndLastChooseTheItems)
{
    writeMeans();
    // Both ends are included, to the nanosecond.
    const ToolRun range = dump({kMeanId, QStringLiteral("--from"), iso(kDay + 9, 125000000),
                                QStringLiteral("--to"), iso(kDay + 20, 500000000)});
    ASSERT_EQ(range.status, 0) << range.output.toStdString();
    const std::vector<QStringList> rows = parseCsv(range.standardOutput);
    ASSERT_EQ(rows.size(), 13u);
    EXPECT_EQ(rows[1][0], iso(kDay + 9, 125000000));
    EXPECT_EQ(rows.back()[0], iso(kDay + 20, 500000000));

    const ToolRun last = dump(
        {kMeanId, QStringLiteral("--last"), QStringLiteral("5"), QStringLiteral("--to"), iso(kDay + 30)});
    ASSERT_EQ(last.status, 0) << last.output.toStdString();
    const std::vector<QStringList> lastRows = parseCsv(last.standardOutput);
    ASSERT_EQ(lastRows.size(), 6u);
    EXPECT_EQ(lastRows[1][0], iso(kDay + 25, 125000000));
    EXPECT_EQ(lastRows.back()[0], iso(kDay + 29, 625000000));
}

TEST_F(QzloggerDumpTest, ARangeWithoutItemsIsTheHeaderAlone)
{
    writeMeans();
    const ToolRun run = dump(
        {kMeanId, QStringLiteral("--from"), iso(kDay + 1000), QStringLiteral("--to"), QStringLiteral("now")});
    EXPECT_EQ(run.status, 0) << run.output.toStdString();
    EXPECT_EQ(run.standardOutput, QByteArray("utc,quality,min,mean,max\n"));
}

TEST_F(QzloggerDumpTest, ArraysBecomeNumberedColumns)
{
    TypedTestLogger<DataMeanMinMaxArray<float, 7>> arrays{LoggerType::CYCLIC, LoggerDataType::MEAN_7,
                                                          kArrayId, 600.0};
    ASSERT_TRUE(arrays.startLogger());
    DataMeanMinMaxArray<float, 7> item{};
    item.utc = DataTimespec{kDay, 0};
    for (int index = 0; index < 21; ++index)
        item.values[index] = static_cast<float>(index) + 0.5f;
    ASSERT_NE(arrays.writeDatas(reinterpret_cast<const char*>(&item), 1, true, true), nullptr);
    ASSERT_TRUE(arrays.updateAccess());
    const ToolRun run = dump({kArrayId});
    ASSERT_EQ(run.status, 0) << run.output.toStdString();
    const std::vector<QStringList> rows = parseCsv(run.standardOutput);
    ASSERT_EQ(rows.size(), 2u);
    ASSERT_EQ(rows[0].size(), 23);
    EXPECT_EQ(rows[0][2], QStringLiteral("values_0"));
    EXPECT_EQ(rows[0][22], QStringLiteral("values_20"));
    EXPECT_EQ(rows[1][22].toFloat(), 20.5f);

    const ToolRun json = dump({kArrayId, QStringLiteral("--format"), QStringLiteral("json")});
    ASSERT_EQ(json.status, 0) << json.output.toStdString();
    const QJsonArray values =
        QJsonDocument::fromJson(json.standardOutput).object().value(QStringLiteral("values")).toArray();
    ASSERT_EQ(values.size(), 21);
    EXPECT_EQ(values.at(3).toDouble(), 3.5);
}

TEST_F(QzloggerDumpTest, EventsComeWithTheirTexts)
{
    writeAlarms();
    const PtrLoggerResultEvent read = mApi->getEvents(kAlarmId, at(kDay + 200), 100);
    ASSERT_NE(read, nullptr);
    ASSERT_EQ(read->mNumItems, 6);
    const ToolRun run = dump({kAlarmId});
    ASSERT_EQ(run.status, 0) << run.output.toStdString();
    const std::vector<QStringList> rows = parseCsv(run.standardOutput);
    ASSERT_EQ(rows.size(), 7u);
    EXPECT_EQ(rows[0].last(), QStringLiteral("text"));
    for (int index = 0; index < 6; ++index) {
        const DataEvent& item = read->mItems[index];
        EXPECT_EQ(rows[static_cast<size_t>(index) + 1].last(),
                  QString::fromStdString(read->mInfo[static_cast<size_t>(item.stringIndex)]))
            << index;
        EXPECT_EQ(rows[static_cast<size_t>(index) + 1].last(),
                  QString::fromStdString(kTexts[index % kTexts.size()]));
    }
    const ToolRun json = dump({kAlarmId, QStringLiteral("--format"), QStringLiteral("json"),
                               QStringLiteral("--last"), QStringLiteral("1")});
    ASSERT_EQ(json.status, 0) << json.output.toStdString();
    const QJsonObject last = QJsonDocument::fromJson(json.standardOutput).object();
    EXPECT_EQ(last.value(QStringLiteral("text")).toString(),
              QString::fromStdString(kTexts[5 % kTexts.size()]));
    EXPECT_EQ(last.value(QStringLiteral("eventData")).toArray().at(0).toInt(), 5);
}

TEST_F(QzloggerDumpTest, PqEventsComeWithTheirClassAsTheClassTableCountsThem)
{
    writePqEvents();
    const ToolRun run = dump({kPqId});
    ASSERT_EQ(run.status, 0) << run.output.toStdString();
    const std::vector<QStringList> rows = parseCsv(run.standardOutput);
    ASSERT_EQ(rows.size(), 4u);
    const int durationColumn = static_cast<int>(rows[0].indexOf(QStringLiteral("durationClass")));
    const int depthColumn = static_cast<int>(rows[0].indexOf(QStringLiteral("depthClass")));
    ASSERT_GE(durationColumn, 0);
    ASSERT_EQ(depthColumn, durationColumn + 1);
    EXPECT_EQ(rows[1][durationColumn] + QLatin1Char('/') + rows[1][depthColumn], QStringLiteral("0/2"));
    EXPECT_EQ(rows[2][durationColumn] + QLatin1Char('/') + rows[2][depthColumn], QStringLiteral("1/4"));
    EXPECT_EQ(rows[3][durationColumn] + QLatin1Char('/') + rows[3][depthColumn], QStringLiteral("/"));
    const DataEventClass35 table = mApi->getPqEventClasses(kPqId, at(kDay), at(kDay + 300), -1);
    EXPECT_EQ(table.counters[0][2], 1);
    EXPECT_EQ(table.counters[1][4], 1);
}

TEST_F(QzloggerDumpTest, TheLiveStoreDumpsBesideItsWriterAndNoByteOfTheStoreChanges)
{
    writeMeans();
    writeAlarms();
    const std::map<QString, QByteArray> before = fileHashesBelow(card());
    ASSERT_FALSE(before.empty());
    const ToolRun live =
        runToolLive({QStringLiteral("dump"), kMeanId, QStringLiteral("--last"), QStringLiteral("3")});
    ASSERT_EQ(live.status, 0) << live.output.toStdString();
    EXPECT_EQ(parseCsv(live.standardOutput).size(), 4u);
    for (const char* format : {"csv", "json", "raw"}) {
        const ToolRun run = dump({kAlarmId, QStringLiteral("--format"), QString::fromLatin1(format)});
        EXPECT_EQ(run.status, 0) << run.output.toStdString();
    }
    EXPECT_EQ(fileHashesBelow(card()), before);
}

TEST_F(QzloggerDumpTest, BadCommandLinesAreOneLineAndExitTwo)
{
    writeMeans();
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    const QString missingFolder = folder.filePath(QStringLiteral("no-such-folder/out.csv"));
    const struct {
        QStringList arguments;
        QString message;
    } cases[] = {
        {{kMeanId, QStringLiteral("--format"), QStringLiteral("xml")},
         QStringLiteral("qzlogger dump: unknown format xml: give csv, json or raw")},
        {{kMeanId, QStringLiteral("--from"), QStringLiteral("yesterday")},
         QStringLiteral(
             "qzlogger dump: --from yesterday is no time: give ISO 8601 such as 2024-05-01T10:00:00Z, "
             "seconds since 1970, now, or -90s, -15m, -1h, -7d")},
        {{kMeanId, QStringLiteral("--from"), iso(kDay + 10), QStringLiteral("--to"), iso(kDay + 5)},
         QStringLiteral("qzlogger dump: --from %1 lies after --to %2: give the earlier time with --from")
             .arg(iso(kDay + 10), iso(kDay + 5))},
        {{kMeanId, QStringLiteral("--last"), QStringLiteral("0")},
         QStringLiteral("qzlogger dump: --last 0 is no count: give a whole number of 1 or more")},
        {{QStringLiteral("no.such.id")},
         QStringLiteral("qzlogger dump: unknown identification no.such.id: qzlogger ls lists the store's "
                        "identifications")},
        {{},
         QStringLiteral(
             "qzlogger dump: wants one identification: qzlogger dump ID [--from T] [--to T] [--last N] "
             "[--format csv|json|raw] [--out FILE] (qzlogger ls lists them)")},
        {{kMeanId, QStringLiteral("--colour")},
         QStringLiteral("qzlogger dump: unknown option --colour: see qzlogger dump --help")},
        {{kMeanId, QStringLiteral("--format")},
         QStringLiteral("qzlogger dump: --format wants a value: see qzlogger "
                        "dump --help")},
        {{kMeanId, QStringLiteral("--out"), missingFolder},
         QStringLiteral(
             "qzlogger dump: cannot write %1: No such file or directory: give a file in a folder that can "
             "be written")
             .arg(missingFolder)},
        {{kMeanId, QStringLiteral("--out"), folder.path()},
         QStringLiteral(
             "qzlogger dump: cannot write %1: Is a directory: give a file in a folder that can be written")
             .arg(folder.path())},
    };
    for (const auto& bad : cases) {
        const ToolRun run = dump(bad.arguments);
        EXPECT_EQ(run.status, 2) << bad.arguments.join(QLatin1Char(' ')).toStdString();
        EXPECT_EQ(run.output, bad.message);
        EXPECT_TRUE(run.standardOutput.isEmpty()) << run.standardOutput.toStdString();
    }
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries), QStringList());
}

TEST_F(QzloggerDumpTest, DumpTellsOfItselfWithHelp)
{
    const ToolRun run = runTool({QStringLiteral("dump"), QStringLiteral("--help")});
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(run.output.startsWith(QStringLiteral("usage: qzlogger [--card PATH] dump ID [--from T] [--to "
                                                     "T] [--last N] [--format csv|json|raw] [--out FILE]")))
        << run.output.toStdString();
}

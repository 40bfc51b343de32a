// qzlogger dump and stats, run as a user runs them on a store that a writer made in this
// process: the CSV read back and compared item by item with the read API, JSON lines parsed, raw
// output against the library's own export, the choice of items; the rows of stats against the
// read API's aggregation and its class table; and every bad command line.

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
#include <QRegularExpression>
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
const QString kValueId = QStringLiteral("rms.dump.frequency");
const QString kTimeForms =
    QStringLiteral("give ISO 8601 (2025-11-22T10:00:00Z), a date, seconds since 1970, now, "
                   "or a time back from now (-90s, -15m, -1h, -7d)");
const QString kDumpUsage =
    QStringLiteral("qzlogger dump ID [--from T] [--to T] [--last N] [--format csv|json|raw] [--out FILE]");
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

    // Values of a VTQ logger, one a second, with a fraction.
    void writeValues()
    {
        ASSERT_TRUE(mValues.startLogger());
        std::vector<DataXtq<float>> items;
        for (int index = 0; index < 30; ++index) {
            DataXtq<float> item{};
            item.utc = DataTimespec{kDay + 300 + index, 0};
            item.value = 49.9f + static_cast<float>(index % 7) / 50.0f;
            items.push_back(item);
        }
        ASSERT_NE(mValues.writeDatas(reinterpret_cast<const char*>(items.data()), 30, true, true), nullptr);
        ASSERT_TRUE(mValues.updateAccess());
    }

    WriterStore mStore;
    std::unique_ptr<LoggerApiInterface> mApi;
    TypedTestLogger<DataXtq<float>> mValues{LoggerType::CYCLIC, LoggerDataType::VTQ, kValueId, 1.0};
    TypedTestLogger<DataMean> mMeans{LoggerType::CYCLIC, LoggerDataType::MEAN, kMeanId, 3.0};
    TypedTestLogger<DataPqEvent> mPqEvents{LoggerType::PQEVENT, LoggerDataType::PQEVENT, kPqId, 0.0};
    LoggerEventAlarm mAlarms;
};

class QzloggerStatsTest : public QzloggerDumpTest {
protected:
    ToolRun stats(const QStringList& arguments)
    {
        return runTool(QStringList{QStringLiteral("--card"), card(), QStringLiteral("stats")} + arguments);
    }
};

// The rows of a stats listing below its two heading lines, split at blanks.
std::vector<QStringList> statsRows(const QString& output)
{
    std::vector<QStringList> rows;
    const QStringList lines = output.split(QLatin1Char('\n'));
    for (int index = 2; index < lines.size(); ++index)
        rows.push_back(lines[index].split(QLatin1Char(' '), Qt::SkipEmptyParts));
    return rows;
}

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
    // A duration is a span in seconds, not a time.
    EXPECT_EQ(rows[1][rows[0].indexOf(QStringLiteral("duration"))], QStringLiteral("0.100000000"));
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
         QStringLiteral("qzlogger dump: unknown time yesterday for --from: ") + kTimeForms},
        {{kMeanId, QStringLiteral("--from"), iso(kDay + 10), QStringLiteral("--to"), iso(kDay + 5)},
         QStringLiteral("qzlogger dump: --from %1 is after --to %2: give the earlier time to --from")
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
         QStringLiteral("qzlogger dump: unknown option --colour: ") + kDumpUsage},
        {{kMeanId, QStringLiteral("--format")},
         QStringLiteral("qzlogger dump: --format wants a value: ") + kDumpUsage},
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

TEST_F(QzloggerDumpTest, ProgressShowsOnATerminalAndNowhereElse)
{
    writeMeans();
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    const TerminalRun run =
        runToolOnTerminal({QStringLiteral("--card"), card(), QStringLiteral("dump"), kMeanId,
                           QStringLiteral("--out"), folder.filePath(QStringLiteral("means.csv"))});
    EXPECT_EQ(run.status, 0) << run.shown.toStdString();
    // A chunk at a time, with how far it is, written over in place.
    QRegularExpressionMatchIterator lines =
        QRegularExpression(QStringLiteral("\r(qzlogger dump: \\d+ of 40 items \\(\\d+ %\\)) *\r"))
            .globalMatch(QString::fromLatin1(run.shown));
    ASSERT_TRUE(lines.hasNext()) << run.shown.toStdString();
    QString last;
    while (lines.hasNext())
        last = lines.next().captured(1);
    // The line is blanked out at the end, so that the prompt comes back on an empty line.
    EXPECT_TRUE(run.shown.endsWith('\r' + QByteArray(last.size(), ' ') + '\r')) << run.shown.toStdString();

    const ToolRun piped = dump({kMeanId});
    EXPECT_EQ(piped.status, 0);
    EXPECT_EQ(piped.output.toUtf8(), piped.standardOutput.trimmed());
}

TEST_F(QzloggerDumpTest, DumpTellsOfItselfWithHelp)
{
    const ToolRun run = runTool({QStringLiteral("dump"), QStringLiteral("--help")});
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(run.output.startsWith(QStringLiteral("usage: qzlogger [--card PATH] dump ID [--from T] [--to "
                                                     "T] [--last N] [--format csv|json|raw] [--out FILE]")))
        << run.output.toStdString();
}

TEST_F(QzloggerStatsTest, MeansPerIntervalAreTheReadApisAggregation)
{
    writeMeans();
    const ToolRun run = stats({kMeanId, QStringLiteral("--from"), iso(kDay), QStringLiteral("--to"),
                               iso(kDay + 39), QStringLiteral("--interval"), QStringLiteral("10")});
    ASSERT_EQ(run.status, 0) << run.output.toStdString();
    EXPECT_TRUE(run.output.startsWith(
        QStringLiteral("%1  MEAN, %2 to %3, interval 10 s\nend ").arg(kMeanId, iso(kDay), iso(kDay + 39))))
        << run.output.toStdString();
    const PtrLoggerResultMean aggregated =
        mApi->getAggregatedMeanValues(kMeanId, at(kDay), at(kDay + 39), 10, -1);
    ASSERT_NE(aggregated, nullptr);
    ASSERT_GT(aggregated->mNumItems, 3);
    const std::vector<QStringList> rows = statsRows(run.output);
    ASSERT_EQ(rows.size(), static_cast<size_t>(aggregated->mNumItems));
    for (int index = 0; index < aggregated->mNumItems; ++index) {
        const QStringList& row = rows[static_cast<size_t>(index)];
        const DataMean& item = aggregated->mItems[index];
        ASSERT_EQ(row.size(), 5) << row.join(QLatin1Char(' ')).toStdString();
        EXPECT_EQ(row[0], iso(item.utc.tv_sec, item.utc.tv_nsec));
        EXPECT_EQ(row[1].toFloat(), item.min);
        EXPECT_EQ(row[2].toFloat(), item.mean);
        EXPECT_EQ(row[3].toFloat(), item.max);
        EXPECT_EQ(row[4], QStringLiteral("0x%1").arg(item.quality, 8, 16, QLatin1Char('0')));
    }
}

TEST_F(QzloggerStatsTest, ValuesWithoutAnIntervalTakeAStepOfAtMostAHundredRows)
{
    writeValues();
    const ToolRun run =
        stats({kValueId, QStringLiteral("--from"), iso(kDay + 300), QStringLiteral("--to"), iso(kDay + 329)});
    ASSERT_EQ(run.status, 0) << run.output.toStdString();
    EXPECT_TRUE(run.output.startsWith(
        QStringLiteral("%1  VTQ, %2 to %3, interval 1 s\n").arg(kValueId, iso(kDay + 300), iso(kDay + 329))))
        << run.output.toStdString();
    const PtrLoggerResultAggregatedFloat aggregated =
        mApi->getAggregatedVtqValues(kValueId, at(kDay + 300), at(kDay + 329), 1, -1);
    ASSERT_NE(aggregated, nullptr);
    const std::vector<QStringList> rows = statsRows(run.output);
    ASSERT_EQ(rows.size(), static_cast<size_t>(aggregated->mNumItems));
    ASSERT_FALSE(rows.empty());
    EXPECT_EQ(rows.back()[2].toFloat(), aggregated->mItems[aggregated->mNumItems - 1].mean);

    const ToolRun days =
        stats({kValueId, QStringLiteral("--from"), iso(kDay), QStringLiteral("--to"), iso(kDay + 2 * 86400)});
    ASSERT_EQ(days.status, 0) << days.output.toStdString();
    EXPECT_TRUE(days.output.contains(QStringLiteral(", interval 3600 s\n"))) << days.output.toStdString();
}

TEST_F(QzloggerStatsTest, PqEventsGiveTheClassTableOfTheReadApi)
{
    writePqEvents();
    const ToolRun run =
        stats({kPqId, QStringLiteral("--from"), iso(kDay), QStringLiteral("--to"), iso(kDay + 300)});
    ASSERT_EQ(run.status, 0) << run.output.toStdString();
    const DataEventClass35 table = mApi->getPqEventClasses(kPqId, at(kDay), at(kDay + 300), -1);
    const std::vector<QStringList> rows = statsRows(run.output);
    ASSERT_EQ(rows.size(), 6u) << run.output.toStdString();
    for (int row = 0; row < 5; ++row) {
        ASSERT_EQ(rows[static_cast<size_t>(row)].size(), 8) << run.output.toStdString();
        for (int column = 0; column < 7; ++column)
            EXPECT_EQ(rows[static_cast<size_t>(row)][column + 1].toInt(), table.counters[row][column])
                << row << " " << column;
    }
    EXPECT_EQ(rows[0][3], QStringLiteral("1"));
    EXPECT_EQ(rows[1][5], QStringLiteral("1"));
    EXPECT_EQ(rows[5].join(QLatin1Char(' ')),
              QStringLiteral("3 events, 1 of them not classified (shorter than 20 ms or longer than 60 s)"));
}

TEST_F(QzloggerStatsTest, StatsChangeNoByteOfTheStoreLiveOrOnACard)
{
    writeMeans();
    const std::map<QString, QByteArray> before = fileHashesBelow(card());
    ASSERT_FALSE(before.empty());
    const ToolRun live = runToolLive({QStringLiteral("stats"), kMeanId, QStringLiteral("--from"), iso(kDay),
                                      QStringLiteral("--to"), QStringLiteral("now")});
    EXPECT_EQ(live.status, 0) << live.output.toStdString();
    EXPECT_GE(statsRows(live.output).size(), 1u) << live.output.toStdString();
    const ToolRun onCard =
        stats({kMeanId, QStringLiteral("--from=") + iso(kDay), QStringLiteral("--to=now")});
    EXPECT_EQ(onCard.status, 0) << onCard.output.toStdString();
    EXPECT_EQ(fileHashesBelow(card()), before);
}

TEST_F(QzloggerStatsTest, BadCommandLinesAreOneLineAndExitTwo)
{
    writeMeans();
    writeAlarms();
    writePqEvents();
    const QStringList range{QStringLiteral("--from"), iso(kDay), QStringLiteral("--to"), iso(kDay + 60)};
    const struct {
        QStringList arguments;
        QString message;
    } cases[] = {
        {{kMeanId, QStringLiteral("--to"), iso(kDay)},
         QStringLiteral(
             "qzlogger stats: --from is missing: qzlogger stats ID --from T --to T [--interval S]")},
        {{kMeanId, QStringLiteral("--from"), iso(kDay)},
         QStringLiteral("qzlogger stats: --to is missing: qzlogger stats ID --from T --to T [--interval S]")},
        {QStringList{kMeanId, QStringLiteral("--interval"), QStringLiteral("0")} + range,
         QStringLiteral("qzlogger stats: --interval 0 is no count: give a whole number of 1 or more")},
        {QStringList{kPqId, QStringLiteral("--interval"), QStringLiteral("60")} + range,
         QStringLiteral(
             "qzlogger stats: %1 holds PQ events, which give one class table for the range: leave out "
             "--interval")
             .arg(kPqId)},
        {QStringList{kAlarmId} + range,
         QStringLiteral(
             "qzlogger stats: %1 holds EVENT items; stats takes MEAN, VTQ and DTQ values and PQ events: "
             "qzlogger dump %1 gives the items")
             .arg(kAlarmId)},
        {QStringList{QStringLiteral("no.such.id")} + range,
         QStringLiteral("qzlogger stats: unknown identification no.such.id: qzlogger ls lists the store's "
                        "identifications")},
        {QStringList{kMeanId, QStringLiteral("--from"), QStringLiteral("-1y"), QStringLiteral("--to"),
                     QStringLiteral("now")},
         QStringLiteral("qzlogger stats: unknown time -1y for --from: ") + kTimeForms},
        {QStringList{kMeanId, QStringLiteral("--from"), QStringLiteral("now"), QStringLiteral("--to"),
                     QStringLiteral("-1h")},
         QString()},
    };
    for (const auto& bad : cases) {
        const ToolRun run = stats(bad.arguments);
        EXPECT_EQ(run.status, 2) << bad.arguments.join(QLatin1Char(' ')).toStdString();
        if (!bad.message.isEmpty())
            EXPECT_EQ(run.output, bad.message);
        else
            EXPECT_TRUE(run.output.startsWith(QStringLiteral("qzlogger stats: --from ")) &&
                        run.output.endsWith(QStringLiteral(": give the earlier time to --from")))
                << run.output.toStdString();
        EXPECT_EQ(run.output.count(QLatin1Char('\n')), 0) << run.output.toStdString();
    }
}

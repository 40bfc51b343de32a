// qzlogger plot, run as a user runs it: charts of a real store that a writer in this process made,
// read back as images and as SVG documents, beside the writer and from the card folder, and the
// command lines it refuses.

#include "FileHashes.h"
#include "QStringPrinter.h"
#include "QzloggerRun.h"
#include "TestLogger.h"
#include "TimeText.h"
#include "WriterStore.h"

#include "LoggerDataItems.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QTemporaryDir>
#include <QXmlStreamReader>

#include <cmath>
#include <map>
#include <vector>

namespace {

constexpr int32_t kDay = 1763802000; // 2025-11-22T09:00:00Z
constexpr int kMeanItems = 600;      // one a second
const QString kMeanId = QStringLiteral("mean_3s.plot_voltage.out.mean_out");
const QString kVtqId = QStringLiteral("rms.plot.u1");
const QString kHistogramId = QStringLiteral("histogramloggermainssign.plot");
const QString kPqId = QStringLiteral("pqevents.plot");
const QString kEventId = QStringLiteral("alarms.plot");
const QString kUsage =
    QStringLiteral("qzlogger plot ID --from T --to T --out FILE.png|FILE.svg [--size WxH]");

QString at(int32_t second)
{
    return qzcli::formatTime(timespec{second, 0});
}

// What an SVG file says of itself: the attributes of its root element and the texts it draws.
struct SvgDocument {
    bool valid = false;
    QString root;
    QString width;
    QString height;
    QString viewBox;
    QStringList texts;
    QString error;
};

SvgDocument readSvg(const QString& path)
{
    SvgDocument document;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        document.error = file.errorString();
        return document;
    }
    QXmlStreamReader reader(&file);
    bool inText = false;
    QString text;
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.isStartElement()) {
            if (document.root.isEmpty()) {
                document.root = reader.name().toString();
                document.width = reader.attributes().value(QStringLiteral("width")).toString();
                document.height = reader.attributes().value(QStringLiteral("height")).toString();
                document.viewBox = reader.attributes().value(QStringLiteral("viewBox")).toString();
            }
            if (reader.name() == QLatin1String("text")) {
                inText = true;
                text.clear();
            }
        } else if (reader.isCharacters() && inText) {
            text += reader.text();
        } else if (reader.isEndElement() && reader.name() == QLatin1String("text")) {
            inText = false;
            document.texts << text.trimmed();
        }
    }
    document.valid = !reader.hasError() && !document.root.isEmpty();
    if (reader.hasError())
        document.error = reader.errorString();
    return document;
}

// Pixels whose colour lies within tolerance of colour in each channel.
int pixelsNear(const QImage& image, QRgb colour, int tolerance)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        const QRgb* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            if (std::abs(qRed(line[x]) - qRed(colour)) <= tolerance &&
                std::abs(qGreen(line[x]) - qGreen(colour)) <= tolerance &&
                std::abs(qBlue(line[x]) - qBlue(colour)) <= tolerance)
                ++count;
        }
    }
    return count;
}

bool oneColour(const QImage& image)
{
    return pixelsNear(image, image.pixel(0, 0), 0) == image.width() * image.height();
}

// A PNG file as an image of 32-bit pixels; null where it is not a PNG.
QImage readPng(const QString& path)
{
    QImage image;
    if (!image.load(path, "PNG"))
        return QImage();
    return image.convertToFormat(QImage::Format_RGB32);
}

// The colours the charts draw with: the band (its colour at its opacity over white), the mean
// line and the points, the bars.
constexpr QRgb kBandOverWhite = 0xffbed3e4;
constexpr QRgb kLineColour = 0xff14468c;
constexpr QRgb kBarColour = 0xff4682b4;

class QzloggerPlotTest : public ::testing::Test {
protected:
    QStringList plotWords(const QString& id, const QString& from, const QString& to, const QString& out)
    {
        return {QStringLiteral("plot"), id, QStringLiteral("--from"), from,
                QStringLiteral("--to"), to, QStringLiteral("--out"),  out};
    }

    // The files the test's output folder holds, by name.
    QStringList outputs() const
    {
        return QDir(mOutput.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden);
    }

    QTemporaryDir mOutput;
};

// A store made by a writer in this process, with a logger of each kind that plot draws and an
// event logger, which it does not, and its catalogue open beside the tool as on a device.
class QzloggerPlotStoreTest : public QzloggerPlotTest {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mOutput.isValid());
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        for (TestLogger* logger : {&mMeans, &mValues, &mHistograms, &mPqEvents, &mEvents})
            ASSERT_TRUE(logger->startLogger()) << logger->getLoggerName().toStdString();

        // Mean values of a slow swing around 230 V, a volt either side for minimum and maximum.
        std::vector<DataMean> means;
        for (int item = 0; item < kMeanItems; ++item) {
            const float mean = 230.0f + 5.0f * static_cast<float>(std::sin(item / 60.0));
            means.push_back(DataMean{
                {kDay + item, 0}, 0, mean - 1.0f - (item % 7) * 0.1f, mean, mean + 1.0f + (item % 5) * 0.1f});
        }
        write(mMeans, means);

        std::vector<DataXtq<float>> values;
        for (int item = 0; item < 100; ++item)
            values.push_back(
                DataXtq<float>{{kDay + 3 * item, 0}, 0, 49.9f + 0.002f * static_cast<float>(item % 11)});
        write(mValues, values);

        // Two periods of ten minutes of mains-signalling values, most of them in three classes.
        std::vector<DataHistogram<200>> histograms;
        for (int period = 0; period < 2; ++period) {
            DataHistogram<200> record{};
            record.utcStart = DataTimespec{kDay + period * 600, 0};
            record.utc = DataTimespec{kDay + period * 600 + 599, 0};
            record.lowerLimit = 0.0f;
            record.upperLimit = 10.0f;
            record.totalValues = 600;
            record.maxValues = 600;
            record.percent[20] = 50.0f;
            record.percent[21] = 30.0f;
            record.percent[22] = 20.0f;
            histograms.push_back(record);
        }
        write(mHistograms, histograms);

        // Three short deep dips, one of two seconds to 85 %, and one too long for any class.
        std::vector<DataPqEvent> events;
        auto event = [](int32_t second, DataTimespec duration, float residual) {
            DataPqEvent item{};
            item.utc = DataTimespec{second, 0};
            item.duration = duration;
            item.triggerType = TRIGGER_DIP;
            item.referenceValue = 230.0f;
            item.eventValue = 230.0f * residual / 100.0f;
            for (DataUtcRange& range : item.rms)
                range = DataUtcRange{item.utc, item.utc};
            item.sample = DataUtcRange{item.utc, item.utc};
            return item;
        };
        events.push_back(event(kDay + 10, DataTimespec{0, 100000000}, 50.0f));
        events.push_back(event(kDay + 20, DataTimespec{0, 150000000}, 55.0f));
        events.push_back(event(kDay + 30, DataTimespec{0, 120000000}, 60.0f));
        events.push_back(event(kDay + 40, DataTimespec{2, 0}, 85.0f));
        events.push_back(event(kDay + 50, DataTimespec{100, 0}, 50.0f));
        write(mPqEvents, events);

        const QByteArray alarms = testItems({kDay + 5, kDay + 9}, 24);
        ASSERT_NE(mEvents.writeDatas(alarms.constData(), 2, true, true), nullptr);
        ASSERT_TRUE(mEvents.updateAccess());
    }

    template <typename Item> void write(TestLogger& logger, const std::vector<Item>& items)
    {
        ASSERT_NE(logger.writeDatas(reinterpret_cast<const char*>(items.data()),
                                    static_cast<int>(items.size()), true, true),
                  nullptr);
        ASSERT_TRUE(logger.updateAccess());
    }

    // The tool on the card folder of the store.
    ToolRun plot(const QString& id, const QString& from, const QString& to, const QString& out,
                 const QStringList& more = {})
    {
        return runTool(QStringList{QStringLiteral("--card"), mStore.mountPoint()} +
                       plotWords(id, from, to, out) + more);
    }

    QString outputFile(const QString& name) const { return mOutput.filePath(name); }

    WriterStore mStore;
    TestLogger mMeans{kMeanId, static_cast<int>(sizeof(DataMean))};
    TestLogger mValues{kVtqId, static_cast<int>(sizeof(DataXtq<float>)), LoggerType::CYCLIC,
                       LoggerDataType::VTQ};
    TestLogger mHistograms{kHistogramId, static_cast<int>(sizeof(DataHistogram<200>)), LoggerType::CYCLIC,
                           LoggerDataType::HISTOGRAM};
    TestLogger mPqEvents{kPqId, static_cast<int>(sizeof(DataPqEvent)), LoggerType::PQEVENT,
                         LoggerDataType::PQEVENT};
    TestLogger mEvents{kEventId, 24, LoggerType::EVENT, LoggerDataType::EVENT};
};

} // namespace

TEST_F(QzloggerPlotStoreTest, MeanValuesAreABandWithTheMeanAsALineInAPngOfTheDefaultSize)
{
    const QString out = outputFile(QStringLiteral("means.png"));
    const ToolRun run = plot(kMeanId, at(kDay), at(kDay + kMeanItems - 1), out);
    ASSERT_EQ(run.status, 0) << run.output.toStdString();
    EXPECT_EQ(run.output,
              QStringLiteral("%1 written: CYCLIC MEAN, %2 to %3, 600 items")
                  .arg(out, QStringLiteral("2025-11-22T09:00:00Z"), QStringLiteral("2025-11-22T09:09:59Z")));
    const QImage image = readPng(out);
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.width(), 1200);
    EXPECT_EQ(image.height(), 600);
    EXPECT_FALSE(oneColour(image));
    EXPECT_GT(pixelsNear(image, kBandOverWhite, 3), 5000);
    EXPECT_GT(pixelsNear(image, kLineColour, 20), 300);
    EXPECT_EQ(outputs(), QStringList{QStringLiteral("means.png")});
}

TEST_F(QzloggerPlotStoreTest, AnSvgChartHasTheSizeAskedTheIdentificationAsTitleAndTimesInUtc)
{
    const QString out = outputFile(QStringLiteral("means.svg"));
    const ToolRun run = plot(kMeanId, at(kDay), at(kDay + kMeanItems - 1), out,
                             {QStringLiteral("--size"), QStringLiteral("800x400")});
    ASSERT_EQ(run.status, 0) << run.output.toStdString();
    const SvgDocument svg = readSvg(out);
    ASSERT_TRUE(svg.valid) << svg.error.toStdString();
    EXPECT_EQ(svg.root, QStringLiteral("svg"));
    EXPECT_EQ(svg.viewBox, QStringLiteral("0 0 800 400"));
    // 96 to the inch, as CSS pixels are: 800 px are 211.667 mm.
    ASSERT_TRUE(svg.width.endsWith(QStringLiteral("mm"))) << svg.width.toStdString();
    ASSERT_TRUE(svg.height.endsWith(QStringLiteral("mm"))) << svg.height.toStdString();
    EXPECT_NEAR(svg.width.chopped(2).toDouble() * 96 / 25.4, 800.0, 0.01);
    EXPECT_NEAR(svg.height.chopped(2).toDouble() * 96 / 25.4, 400.0, 0.01);
    EXPECT_TRUE(svg.texts.contains(kMeanId)) << svg.texts.join(QLatin1Char('|')).toStdString();
    // Ticks on whole five minutes of the ten, as many as their labels leave room for, in UTC.
    EXPECT_TRUE(svg.texts.contains(QStringLiteral("2025-11-22T09:05:00Z")))
        << svg.texts.join(QLatin1Char('|')).toStdString();
    EXPECT_TRUE(svg.texts.contains(QStringLiteral("mean")));
}

TEST_F(QzloggerPlotStoreTest, ALongRangeOfMeansIsFoldedOntoACoarserGrid)
{
    const QString out = outputFile(QStringLiteral("month.png"));
    const ToolRun run = plot(kMeanId, at(kDay - 30 * 86400), at(kDay + 86400), out);
    ASSERT_EQ(run.status, 0) << run.output.toStdString();
    // 31 days in at most 3000 intervals: 893 s each, and the 600 items in one or two of them.
    EXPECT_TRUE(run.output.contains(QStringLiteral(" (minimum, mean and maximum of each 893 s)")))
        << run.output.toStdString();
    const QImage image = readPng(out);
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.size(), QSize(1200, 600));
    EXPECT_FALSE(oneColour(image));
}

TEST_F(QzloggerPlotStoreTest, SingleValuesArePoints)
{
    const QString out = outputFile(QStringLiteral("values.png"));
    const ToolRun run = plot(kVtqId, at(kDay), at(kDay + 299), out, {QStringLiteral("--size=640x480")});
    ASSERT_EQ(run.status, 0) << run.output.toStdString();
    EXPECT_TRUE(run.output.endsWith(
        QStringLiteral("CYCLIC VTQ, 2025-11-22T09:00:00Z to 2025-11-22T09:04:59Z, 100 items")))
        << run.output.toStdString();
    const QImage image = readPng(out);
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.size(), QSize(640, 480));
    // Each point is four by four pixels of the points' colour, most of them apart.
    EXPECT_GE(pixelsNear(image, kLineColour, 0), 16 * 50);
    EXPECT_EQ(pixelsNear(image, kBandOverWhite, 3), 0);
}

TEST_F(QzloggerPlotStoreTest, DoubleAndIntegerValuesArePointsToo)
{
    TestLogger doubles{QStringLiteral("energy.plot"), static_cast<int>(sizeof(DataXtq<double>)),
                       LoggerType::CYCLIC, LoggerDataType::DTQ};
    TestLogger integers{QStringLiteral("counter.plot"), static_cast<int>(sizeof(DataXtq<int>)),
                        LoggerType::CYCLIC, LoggerDataType::ITQ};
    ASSERT_TRUE(doubles.startLogger());
    ASSERT_TRUE(integers.startLogger());
    std::vector<DataXtq<double>> energies;
    std::vector<DataXtq<int>> counts;
    for (int item = 0; item < 60; ++item) {
        energies.push_back(DataXtq<double>{{kDay + 10 * item, 0}, 0, 1.0e9 + 1.0e5 * item});
        counts.push_back(DataXtq<int>{{kDay + 10 * item, 0}, 0, item % 4});
    }
    write(doubles, energies);
    write(integers, counts);
    for (const auto& [id, type] :
         {std::pair<QString, QString>{QStringLiteral("energy.plot"), QStringLiteral("DTQ")},
          std::pair<QString, QString>{QStringLiteral("counter.plot"), QStringLiteral("ITQ")}}) {
        const QString out = outputFile(id + QStringLiteral(".png"));
        const ToolRun run = plot(id, at(kDay), at(kDay + 599), out);
        ASSERT_EQ(run.status, 0) << run.output.toStdString();
        EXPECT_TRUE(run.output.endsWith(
            QStringLiteral("CYCLIC %1, 2025-11-22T09:00:00Z to 2025-11-22T09:09:59Z, 60 items").arg(type)))
            << run.output.toStdString();
        const QImage image = readPng(out);
        ASSERT_FALSE(image.isNull());
        EXPECT_EQ(image.size(), QSize(1200, 600));
        EXPECT_GE(pixelsNear(image, kLineColour, 0), 16 * 30) << id.toStdString();
    }
}

TEST_F(QzloggerPlotStoreTest, AHistogramIsBarsOfTheRecordsOfTheRangeMerged)
{
    const QString out = outputFile(QStringLiteral("histogram.png"));
    const ToolRun run = plot(kHistogramId, at(kDay), at(kDay + 1199), out);
    ASSERT_EQ(run.status, 0) << run.output.toStdString();
    EXPECT_TRUE(
        run.output.endsWith(QStringLiteral("2 records merged, per cent of the values the range should hold")))
        << run.output.toStdString();
    const QImage image = readPng(out);
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.size(), QSize(1200, 600));
    // Three classes of values among seven shown: three wide bars.
    EXPECT_GT(pixelsNear(image, kBarColour, 0), 3 * 50 * 50);

    const QString svgOut = outputFile(QStringLiteral("histogram.svg"));
    ASSERT_EQ(plot(kHistogramId, at(kDay), at(kDay + 1199), svgOut).status, 0);
    const SvgDocument svg = readSvg(svgOut);
    ASSERT_TRUE(svg.valid) << svg.error.toStdString();
    // The classes are 0.05 % of the nominal voltage wide: the class of 1 % holds values.
    EXPECT_TRUE(svg.texts.contains(QStringLiteral("1"))) << svg.texts.join(QLatin1Char('|')).toStdString();
    EXPECT_TRUE(svg.texts.contains(QStringLiteral("%")));
}

TEST_F(QzloggerPlotStoreTest, PowerQualityEventsAreTheTableOfTheirClassesWithTheirCounts)
{
    const QString out = outputFile(QStringLiteral("events.svg"));
    const ToolRun run = plot(kPqId, at(kDay), at(kDay + 59), out);
    ASSERT_EQ(run.status, 0) << run.output.toStdString();
    EXPECT_TRUE(run.output.endsWith(QStringLiteral(", 5 events, 4 in a class (0.02 s to 60 s)")))
        << run.output.toStdString();
    const SvgDocument svg = readSvg(out);
    ASSERT_TRUE(svg.valid) << svg.error.toStdString();
    EXPECT_EQ(svg.viewBox, QStringLiteral("0 0 1200 600"));
    // 35 cells: three dips below 0.2 s to 40 to 70 %, one of 2 s to 80 to 90 %, 33 empty.
    EXPECT_EQ(svg.texts.count(QStringLiteral("3")), 1) << svg.texts.join(QLatin1Char('|')).toStdString();
    EXPECT_EQ(svg.texts.count(QStringLiteral("1")), 1);
    EXPECT_EQ(svg.texts.count(QStringLiteral("0")), 33);
    EXPECT_TRUE(svg.texts.contains(QStringLiteral("40 to 70 %")));
    EXPECT_TRUE(svg.texts.contains(QStringLiteral("0.02 to 0.2 s")));

    const QString png = outputFile(QStringLiteral("events.png"));
    ASSERT_EQ(plot(kPqId, at(kDay), at(kDay + 59), png).status, 0);
    const QImage image = readPng(png);
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.size(), QSize(1200, 600));
    EXPECT_FALSE(oneColour(image));
}

TEST_F(QzloggerPlotStoreTest, ARangeWithoutItemsIsAChartThatSaysSo)
{
    for (const QString& id : {kMeanId, kVtqId, kHistogramId, kPqId}) {
        const QString out = outputFile(QStringLiteral("empty.png"));
        const ToolRun run = plot(id, at(kDay - 7200), at(kDay - 3600), out);
        ASSERT_EQ(run.status, 0) << run.output.toStdString();
        EXPECT_TRUE(run.output.endsWith(QStringLiteral("written: no items from 2025-11-22T07:00:00Z to "
                                                       "2025-11-22T08:00:00Z")))
            << run.output.toStdString();
        const QImage image = readPng(out);
        ASSERT_FALSE(image.isNull()) << id.toStdString();
        EXPECT_EQ(image.size(), QSize(1200, 600));
        EXPECT_FALSE(oneColour(image));
        EXPECT_EQ(pixelsNear(image, kBarColour, 0), 0);
    }
    const QString svgOut = outputFile(QStringLiteral("empty.svg"));
    ASSERT_EQ(plot(kMeanId, at(kDay - 7200), at(kDay - 3600), svgOut).status, 0);
    const SvgDocument svg = readSvg(svgOut);
    ASSERT_TRUE(svg.valid) << svg.error.toStdString();
    EXPECT_TRUE(
        svg.texts.contains(QStringLiteral("no items from 2025-11-22T07:00:00Z to 2025-11-22T08:00:00Z")))
        << svg.texts.join(QLatin1Char('|')).toStdString();
}

TEST_F(QzloggerPlotStoreTest, BesideTheWriterTheLiveStoreIsPlotted)
{
    const QString out = outputFile(QStringLiteral("live.png"));
    const ToolRun run = runToolLive(plotWords(kMeanId, at(kDay), at(kDay + kMeanItems - 1), out));
    ASSERT_EQ(run.status, 0) << run.output.toStdString();
    EXPECT_TRUE(run.output.endsWith(QStringLiteral(", 600 items"))) << run.output.toStdString();
    const QImage image = readPng(out);
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.size(), QSize(1200, 600));
    EXPECT_GT(pixelsNear(image, kBandOverWhite, 3), 5000);
}

TEST_F(QzloggerPlotStoreTest, PlotChangesNoByteOfTheStore)
{
    const std::map<QString, QByteArray> before = fileHashesBelow(mStore.mountPoint());
    ASSERT_FALSE(before.empty());
    for (const QString& id : {kMeanId, kVtqId, kHistogramId, kPqId}) {
        EXPECT_EQ(plot(id, at(kDay), at(kDay + 1199), outputFile(QStringLiteral("chart.png"))).status, 0);
        EXPECT_EQ(plot(id, at(kDay), at(kDay + 1199), outputFile(QStringLiteral("chart.svg"))).status, 0);
    }
    EXPECT_EQ(runToolLive(plotWords(kMeanId, QStringLiteral("-7d"), QStringLiteral("now"),
                                    outputFile(QStringLiteral("live.svg"))))
                  .status,
              0);
    EXPECT_EQ(plot(kEventId, at(kDay), at(kDay + 1199), outputFile(QStringLiteral("refused.png"))).status, 2);
    EXPECT_EQ(fileHashesBelow(mStore.mountPoint()), before);
}

TEST_F(QzloggerPlotStoreTest, AnUnknownIdentificationIsExitTwoAndNoFile)
{
    const ToolRun run =
        plot(QStringLiteral("nope"), at(kDay), at(kDay + 60), outputFile(QStringLiteral("x.png")));
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(
        run.output,
        QStringLiteral(
            "qzlogger plot: unknown identification nope: qzlogger ls lists the store's identifications"));
    EXPECT_TRUE(outputs().isEmpty());
}

TEST_F(QzloggerPlotStoreTest, ALoggerOfATypeThatIsNotDrawnIsExitTwoNamingTheTypesThatAre)
{
    const ToolRun run = plot(kEventId, at(kDay), at(kDay + 60), outputFile(QStringLiteral("x.png")));
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output,
              QStringLiteral("qzlogger plot: cannot plot %1 of type EVENT EVENT: plot draws MEAN, VTQ, "
                             "DTQ, ITQ, HISTOGRAM and PQEVENT loggers")
                  .arg(kEventId));
    EXPECT_TRUE(outputs().isEmpty());
}

TEST_F(QzloggerPlotStoreTest, AnOutputThatCannotBeWrittenIsExitTwo)
{
    const QString missing = outputFile(QStringLiteral("no-folder/chart.png"));
    const ToolRun noFolder = plot(kMeanId, at(kDay), at(kDay + 60), missing);
    EXPECT_EQ(noFolder.status, 2);
    EXPECT_EQ(noFolder.output,
              QStringLiteral("qzlogger plot: cannot write %1: the folder %2 does not exist; give "
                             "a file in an existing folder")
                  .arg(missing, outputFile(QStringLiteral("no-folder"))));
    EXPECT_TRUE(outputs().isEmpty());

    ASSERT_TRUE(QDir(mOutput.path()).mkdir(QStringLiteral("folder.png")));
    const QString folder = outputFile(QStringLiteral("folder.png"));
    const ToolRun isFolder = plot(kMeanId, at(kDay), at(kDay + 60), folder);
    EXPECT_EQ(isFolder.status, 2);
    EXPECT_EQ(isFolder.output,
              QStringLiteral(
                  "qzlogger plot: cannot write %1: it is a folder; give a file name ending in .png or .svg")
                  .arg(folder));
    EXPECT_EQ(outputs(), QStringList{QStringLiteral("folder.png")});
    EXPECT_TRUE(QDir(folder).isEmpty());
}

TEST_F(QzloggerPlotTest, EachBadCommandLineIsOneLineWithExitTwoAndNoFile)
{
    ASSERT_TRUE(mOutput.isValid());
    const QString out = mOutput.filePath(QStringLiteral("chart.png"));
    const QString from = QStringLiteral("2025-11-22T09:00:00Z");
    const QString to = QStringLiteral("2025-11-22T10:00:00Z");
    const QString times =
        QStringLiteral("give ISO 8601 (2025-11-22T10:00:00Z), a date, seconds since 1970, now, "
                       "or a time back from now (-90s, -15m, -1h, -7d)");
    const struct {
        QStringList words;
        QString message;
    } cases[] = {
        {{QStringLiteral("plot")},
         QStringLiteral("wants one identification: %1 (qzlogger ls lists them)").arg(kUsage)},
        {{QStringLiteral("plot"), QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("--from"), from,
          QStringLiteral("--to"), to, QStringLiteral("--out"), out},
         QStringLiteral("wants one identification: %1 (qzlogger ls lists them)").arg(kUsage)},
        {{QStringLiteral("plot"), kMeanId, QStringLiteral("--to"), to, QStringLiteral("--out"), out},
         QStringLiteral("--from is missing: %1").arg(kUsage)},
        {{QStringLiteral("plot"), kMeanId, QStringLiteral("--from"), from, QStringLiteral("--out"), out},
         QStringLiteral("--to is missing: %1").arg(kUsage)},
        {{QStringLiteral("plot"), kMeanId, QStringLiteral("--from"), from, QStringLiteral("--to"), to},
         QStringLiteral("--out is missing: %1").arg(kUsage)},
        {{QStringLiteral("plot"), kMeanId, QStringLiteral("--from"), from, QStringLiteral("--to"), to,
          QStringLiteral("--out")},
         QStringLiteral("--out wants a value: %1").arg(kUsage)},
        {{QStringLiteral("plot"), kMeanId, QStringLiteral("--from"), from, QStringLiteral("--from"), from,
          QStringLiteral("--to"), to, QStringLiteral("--out"), out},
         QStringLiteral("--from is given twice: give it once: %1").arg(kUsage)},
        {plotWords(kMeanId, QStringLiteral("yesterday"), to, out),
         QStringLiteral("unknown time yesterday for --from: %1").arg(times)},
        {plotWords(kMeanId, from, QStringLiteral("2025-13-01"), out),
         QStringLiteral("unknown time 2025-13-01 for --to: %1").arg(times)},
        {plotWords(kMeanId, to, from, out),
         QStringLiteral(
             "--from 2025-11-22T10:00:00.000000000Z is after --to 2025-11-22T09:00:00.000000000Z: give "
             "the earlier time to --from")},
        {plotWords(kMeanId, from, to, mOutput.filePath(QStringLiteral("chart.jpg"))),
         QStringLiteral("unknown chart format of %1: give a file name ending in .png or .svg")
             .arg(mOutput.filePath(QStringLiteral("chart.jpg")))},
        {plotWords(kMeanId, from, to, mOutput.filePath(QStringLiteral("chart"))),
         QStringLiteral("unknown chart format of %1: give a file name ending in .png or .svg")
             .arg(mOutput.filePath(QStringLiteral("chart")))},
        {plotWords(kMeanId, from, to, out) + QStringList{QStringLiteral("--size"), QStringLiteral("1200")},
         QStringLiteral("unknown size 1200: give --size WIDTHxHEIGHT in pixels, each from 300 to 10000, e.g. "
                        "--size 1200x600")},
        {plotWords(kMeanId, from, to, out) + QStringList{QStringLiteral("--size"), QStringLiteral("100x100")},
         QStringLiteral(
             "unknown size 100x100: give --size WIDTHxHEIGHT in pixels, each from 300 to 10000, e.g. "
             "--size 1200x600")},
        {plotWords(kMeanId, from, to, out) + QStringList{QStringLiteral("--colour")},
         QStringLiteral("unknown option --colour: %1").arg(kUsage)},
    };
    for (const auto& bad : cases) {
        const ToolRun run = runTool(bad.words);
        EXPECT_EQ(run.status, 2) << bad.words.join(QLatin1Char(' ')).toStdString();
        EXPECT_EQ(run.output, QStringLiteral("qzlogger plot: ") + bad.message);
        EXPECT_TRUE(outputs().isEmpty()) << outputs().join(QLatin1Char(' ')).toStdString();
    }
}

TEST_F(QzloggerPlotTest, HelpTellsOfPlotAndTheOverviewListsIt)
{
    const ToolRun help = runTool({QStringLiteral("plot"), QStringLiteral("--help")});
    EXPECT_EQ(help.status, 0);
    EXPECT_TRUE(
        help.output.startsWith(QStringLiteral("usage: qzlogger [--card PATH] plot ID --from T --to T --out "
                                              "FILE.png|FILE.svg [--size WxH]\n\n")))
        << help.output.toStdString();
    EXPECT_TRUE(help.output.contains(QStringLiteral("PQEVENT as the 5 x 7 table")));
    const ToolRun overview = runTool({QStringLiteral("--help")});
    EXPECT_TRUE(overview.output.contains(QStringLiteral("\n  plot      a chart of one logger")))
        << overview.output.toStdString();
}

// Qt's display lookup made /tmp/runtime-<user> for good and warned on the error stream where
// XDG_RUNTIME_DIR was not set, as under a service manager or in a cron job.
TEST_F(QzloggerPlotTest, WithoutARuntimeFolderPlotLeavesNoneBehindAndSaysOneLine)
{
    const QString shared = QDir::temp().filePath(QStringLiteral("runtime-") +
                                                 qEnvironmentVariable("USER", QStringLiteral("root")));
    const bool existed = QFileInfo::exists(shared);
    const bool had = qEnvironmentVariableIsSet("XDG_RUNTIME_DIR");
    const QByteArray earlier = qgetenv("XDG_RUNTIME_DIR");
    qunsetenv("XDG_RUNTIME_DIR");
    const ToolRun run = runTool({QStringLiteral("plot"), kMeanId, QStringLiteral("--from"),
                                 QStringLiteral("-1h"), QStringLiteral("--to"), QStringLiteral("now"),
                                 QStringLiteral("--out"), mOutput.filePath(QStringLiteral("chart.gif"))});
    if (had)
        qputenv("XDG_RUNTIME_DIR", earlier);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(
        run.output,
        QStringLiteral("qzlogger plot: unknown chart format of %1: give a file name ending in .png or .svg")
            .arg(mOutput.filePath(QStringLiteral("chart.gif"))));
    if (!existed) {
        EXPECT_FALSE(QFileInfo::exists(shared)) << shared.toStdString();
    }
}

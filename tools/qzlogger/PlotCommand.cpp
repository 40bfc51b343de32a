// qzlogger plot ID: a chart of one logger over a range of time, painted with Qt's painter into a
// PNG image or an SVG file. What it draws follows the logger's data type: mean values as a band
// from minimum to maximum with the mean as a line, single values as points, a histogram as bars,
// power-quality events as the 5 x 7 table of their classes.

#include "Commands.h"
#include "Loggers.h"
#include "Options.h"
#include "Store.h"
#include "TimeText.h"

#include <qzlogger.h>

#include <QColor>
#include <QDir>
#include <QFileInfo>
#include <QFont>
#include <QFontMetricsF>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QPolygonF>
#include <QRegularExpression>
#include <QSaveFile>
#include <QSvgGenerator>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

namespace qzcli {

namespace {

constexpr const char* kPlottableTypes = "MEAN, VTQ, DTQ, ITQ, HISTOGRAM and PQEVENT";
constexpr int kDefaultWidth = 1200;
constexpr int kDefaultHeight = 600;
constexpr int kSmallestSide = 300;
constexpr int kLargestSide = 10000;
// A band of more intervals than this is read folded onto a coarser grid, so that a long range
// costs a few thousand records and not every stored item.
constexpr int kMostBandPoints = 3000;
// SVG lengths are given at the resolution of CSS pixels, so that W x H user units are W x H px.
constexpr int kSvgDotsPerInch = 96;
// The duration classes (rows) and depth classes (columns) of the table of power-quality events,
// as the read API counts them.
constexpr int kDurationClasses = 5;
constexpr int kDepthClasses = 7;
const char* const kDurationTexts[kDurationClasses] = {"0.02 to 0.2 s", "0.2 to 0.5 s", "0.5 to 1 s",
                                                      "1 to 5 s", "5 to 60 s"};
const char* const kDepthTexts[kDepthClasses] = {"below 5 %",  "5 to 40 %",    "40 to 70 %", "70 to 80 %",
                                                "80 to 90 %", "110 to 120 %", "other"};

enum class ChartFormat { Png, Svg };

// The command line of one plot.
struct PlotRequest {
    QString id;
    timespec from{};
    timespec to{};
    QString out;
    ChartFormat format = ChartFormat::Png;
    QSize size{kDefaultWidth, kDefaultHeight};
};

enum class ChartKind { Band, Points, Bars, Matrix };

// What a chart shows, read from the store; drawing needs nothing else.
struct Chart {
    ChartKind kind = ChartKind::Band;
    QString title;
    QString subtitle;
    // Where the range holds nothing to draw, the text that says so in place of the chart.
    QString emptyText;
    // Band and points: seconds since 1970, and the values at them; points use means alone.
    std::vector<double> times;
    std::vector<double> mins;
    std::vector<double> means;
    std::vector<double> maxs;
    // Two items further apart than this are not joined; 0 joins every two.
    double gap = 0.0;
    // Where the range and the logger's catalogued time range overlap, the overlap:
    // the time axis spans it and the items.
    std::optional<std::pair<double, double>> loggerSpan;
    // Bars: the value of each class and its per cent.
    std::vector<double> classValues;
    std::vector<double> percents;
    // Matrix: counts by duration class and depth class.
    int counts[kDurationClasses][kDepthClasses] = {};
};

double secondsOf(const timespec& time)
{
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// A time of a title: as formatTime prints it, without a fraction that is all zeros.
QString titleTime(const timespec& time)
{
    QString text = formatTime(time);
    text.replace(QStringLiteral(".000000000Z"), QStringLiteral("Z"));
    return text;
}

// The label of a tick on a whole second: formatTime's text without its fraction.
QString tickTime(qint64 second)
{
    timespec time{};
    time.tv_sec = static_cast<time_t>(second);
    return titleTime(time);
}

std::optional<QSize> parseSize(const QString& text)
{
    static const QRegularExpression pattern(QStringLiteral("^(\\d{1,5})x(\\d{1,5})$"));
    const QRegularExpressionMatch match = pattern.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    const QSize size(match.captured(1).toInt(), match.captured(2).toInt());
    if (size.width() < kSmallestSide || size.height() < kSmallestSide || size.width() > kLargestSide ||
        size.height() > kLargestSide)
        return std::nullopt;
    return size;
}

// Reads the words of the invocation into request, or complains with one line and returns false.
bool parseRequest(const Invocation& invocation, PlotRequest& request)
{
    Options options;
    if (!parseOptions(
            invocation,
            {QStringLiteral("from"), QStringLiteral("to"), QStringLiteral("out"), QStringLiteral("size")},
            options))
        return false;
    if (options.operands.size() != 1) {
        complain(
            invocation,
            QStringLiteral("wants one identification: %1 (qzlogger ls lists them)").arg(usageOf(invocation)));
        return false;
    }
    // "-" names the operator log, as ls shows it; plot refuses it by its data type.
    request.id = options.operands.first() == QLatin1String("-") ? QString() : options.operands.first();
    if (!requireOptions(invocation, options,
                        {QStringLiteral("from"), QStringLiteral("to"), QStringLiteral("out")}) ||
        !parseRange(invocation, options, true, request.from, request.to))
        return false;
    request.out = options.values.value(QStringLiteral("out"));
    const bool hasSize = options.values.contains(QStringLiteral("size"));
    const QString size = options.values.value(QStringLiteral("size"));
    const QString suffix = QFileInfo(request.out).suffix().toLower();
    if (suffix == QLatin1String("png")) {
        request.format = ChartFormat::Png;
    } else if (suffix == QLatin1String("svg")) {
        request.format = ChartFormat::Svg;
    } else {
        complain(invocation,
                 QStringLiteral("unknown chart format of %1: give a file name ending in .png or .svg")
                     .arg(request.out));
        return false;
    }
    if (hasSize) {
        const std::optional<QSize> parsed = parseSize(size);
        if (!parsed) {
            complain(invocation,
                     QStringLiteral("unknown size %1: give --size WIDTHxHEIGHT in pixels, each from "
                                    "%2 to %3, e.g. --size %4x%5")
                         .arg(size, QString::number(kSmallestSide), QString::number(kLargestSide),
                              QString::number(kDefaultWidth), QString::number(kDefaultHeight)));
            return false;
        }
        request.size = *parsed;
    }
    return true;
}

// Whether the chart file can be made where --out says, before the store is read; the write
// itself may still fail, and says so then.
bool checkOutput(const Invocation& invocation, const QString& out)
{
    const QFileInfo file(out);
    if (file.isDir()) {
        complain(invocation,
                 QStringLiteral("cannot write %1: it is a folder; give a file name ending in .png or .svg")
                     .arg(out));
        return false;
    }
    const QFileInfo folder(file.absolutePath());
    if (!folder.isDir()) {
        complain(invocation,
                 QStringLiteral("cannot write %1: the folder %2 does not exist; give a file in an "
                                "existing folder")
                     .arg(out, QDir::toNativeSeparators(folder.filePath())));
        return false;
    }
    return true;
}

QString rangeText(const PlotRequest& request)
{
    return QStringLiteral("%1 to %2").arg(titleTime(request.from), titleTime(request.to));
}

QString itemsText(int count)
{
    return count == 1 ? QStringLiteral("1 item") : QStringLiteral("%1 items").arg(count);
}

QString noItemsText(const PlotRequest& request)
{
    return QStringLiteral("no items from %1").arg(rangeText(request));
}

// The read failed where the store gave no result at all.
QString readFailure(const QString& id)
{
    const QString error = LoggerApiInterface::getLastError();
    return QStringLiteral("the read of %1 failed: %2; try again")
        .arg(id, error.isEmpty() ? QStringLiteral("the store gave no result") : error);
}

// Mean values as a band: read as stored where the range holds few enough intervals of the logger,
// else folded onto a grid of whole seconds that gives at most about kMostBandPoints records.
bool readMeans(LoggerApiInterface& api, const FoundLogger& logger, const PlotRequest& request, Chart& chart,
               QString& error)
{
    const double span = secondsOf(request.to) - secondsOf(request.from);
    const double interval = logger.baseType->getInterval();
    // A logger without an interval is taken as one value a second.
    const double stored = std::isfinite(interval) && interval > 0.0 ? interval : 1.0;
    int folded = 0;
    if (span / stored > kMostBandPoints)
        folded = static_cast<int>(std::min(std::ceil(span / kMostBandPoints), 1e9));
    // No bound on the records: the grid already keeps them few.
    const PtrLoggerResultMean result =
        folded > 0 ? api.getAggregatedMeanValues(request.id, request.from, request.to, folded, 0)
                   : api.getMeanValues(request.id, request.from, request.to);
    if (!result) {
        error = readFailure(request.id);
        return false;
    }
    chart.kind = ChartKind::Band;
    // A folded record is stamped with the end of its interval and stands for the whole of it: it
    // is drawn at the interval's middle.
    const double shift = folded / 2.0;
    for (int index = 0; index < result->mNumItems; ++index) {
        const DataMean& item = result->mItems[index];
        chart.times.push_back(secondsOf(item.utc) - shift);
        chart.mins.push_back(static_cast<double>(item.min));
        chart.means.push_back(static_cast<double>(item.mean));
        chart.maxs.push_back(static_cast<double>(item.max));
    }
    const double step = folded > 0 ? static_cast<double>(folded) : (interval > 0.0 ? interval : 0.0);
    // A missing item or two leave no hole; a longer silence does.
    chart.gap = step > 0.0 ? 2.5 * step : 0.0;
    chart.subtitle += QStringLiteral(", %1").arg(itemsText(result->mNumItems));
    if (folded > 0)
        chart.subtitle += QStringLiteral(" (minimum, mean and maximum of each %1 s)").arg(folded);
    if (result->mNumItems == 0)
        chart.emptyText = noItemsText(request);
    return true;
}

// Takes the items of a read as points; false where the read gave no result at all.
template <typename Item> bool takePoints(const std::shared_ptr<LoggerResult<Item>>& result, Chart& chart)
{
    if (!result)
        return false;
    for (int index = 0; index < result->mNumItems; ++index) {
        chart.times.push_back(secondsOf(result->mItems[index].utc));
        chart.means.push_back(static_cast<double>(result->mItems[index].value));
    }
    return true;
}

// Single values with their times as points; every item of the range is read.
bool readValues(LoggerApiInterface& api, const FoundLogger& logger, const PlotRequest& request, Chart& chart,
                QString& error)
{
    chart.kind = ChartKind::Points;
    const LoggerDataType dataType = logger.baseType->mDataType;
    const bool answered = dataType == LoggerDataType::VTQ
                              ? takePoints(api.getVtqValues(request.id, request.from, request.to), chart)
                          : dataType == LoggerDataType::DTQ
                              ? takePoints(api.getDtqValues(request.id, request.from, request.to), chart)
                              : takePoints(api.getItqValues(request.id, request.from, request.to), chart);
    if (!answered) {
        error = readFailure(request.id);
        return false;
    }
    const int count = static_cast<int>(chart.times.size());
    chart.subtitle += QStringLiteral(", %1").arg(itemsText(count));
    if (count == 0)
        chart.emptyText = noItemsText(request);
    return true;
}

template <int N>
bool mergeHistogram(std::shared_ptr<LoggerResult<DataHistogram<N>>> records,
                    std::shared_ptr<DataHistogram<N>> merged, const PlotRequest& request, Chart& chart,
                    QString& error)
{
    if (!records || !merged) {
        error = readFailure(request.id);
        return false;
    }
    chart.kind = ChartKind::Bars;
    const int count = records->mNumItems;
    chart.subtitle +=
        QStringLiteral(", %1 merged, per cent of the values the range should hold")
            .arg(count == 1 ? QStringLiteral("1 record") : QStringLiteral("%1 records").arg(count));
    if (count == 0) {
        chart.emptyText = noItemsText(request);
        return true;
    }
    // Class i holds the values from the lower limit plus i widths; the last class is the upper limit.
    const double lower = static_cast<double>(merged->lowerLimit);
    const double width = (static_cast<double>(merged->upperLimit) - lower) / (N - 1);
    for (int index = 0; index < N; ++index) {
        chart.classValues.push_back(lower + index * width);
        chart.percents.push_back(static_cast<double>(merged->percent[index]));
    }
    if (std::none_of(chart.percents.begin(), chart.percents.end(), [](double value) { return value > 0.0; }))
        chart.emptyText = QStringLiteral("no values counted from %1").arg(rangeText(request));
    return true;
}

// A histogram logger's records of the range, merged into one: frequency records have 2650
// classes, mains-signalling records 200, as the items of the logger's files show.
bool readHistogram(LoggerApiInterface& api, const FoundLogger& logger, const PlotRequest& request,
                   Chart& chart, QString& error)
{
    bool frequency = request.id.contains(QLatin1String("frequency"), Qt::CaseInsensitive);
    if (logger.baseType->getFileListSize() > 0) {
        const std::shared_ptr<LoggerFileInfo> file = logger.baseType->getFileInfo(0);
        if (file)
            frequency = file->DataBlockSize == static_cast<int>(sizeof(DataHistogram<2650>));
    }
    double interval = 0.0;
    if (frequency)
        return mergeHistogram<2650>(api.getFrequencyDatas(request.id, request.from, request.to, interval),
                                    api.getFrequencyHistogram(request.id, request.from, request.to, false),
                                    request, chart, error);
    return mergeHistogram<200>(api.getMainsSignallingDatas(request.id, request.from, request.to, interval),
                               api.getMainsSignallingHistogram(request.id, request.from, request.to, false),
                               request, chart, error);
}

// The power-quality events of the range counted into their classes; every event is counted.
bool readEventClasses(LoggerApiInterface& api, const PlotRequest& request, Chart& chart, QString& error)
{
    DataEventClass35 table{};
    int events = 0;
    if (!readPqEventClasses(api, request.id, request.from, request.to, table, events)) {
        error = readFailure(request.id);
        return false;
    }
    chart.kind = ChartKind::Matrix;
    int classified = 0;
    for (int row = 0; row < kDurationClasses; ++row) {
        for (int column = 0; column < kDepthClasses; ++column) {
            chart.counts[row][column] = table.counters[row][column];
            classified += table.counters[row][column];
        }
    }
    chart.subtitle += QStringLiteral(", %1 event%2, %3 in a class (0.02 s to 60 s)")
                          .arg(events)
                          .arg(events == 1 ? QString() : QStringLiteral("s"))
                          .arg(classified);
    if (events == 0)
        chart.emptyText = noItemsText(request);
    return true;
}

// Drawing. Sizes are in pixels of the chart, for the image and the SVG alike.

const QColor kInk(30, 30, 30);
const QColor kFaintInk(110, 110, 110);
const QColor kGrid(228, 228, 228);
const QColor kBand(70, 130, 180, 90);
const QColor kLine(20, 70, 140);
const QColor kBar(70, 130, 180);
constexpr double kMargin = 14.0;
constexpr double kTickLength = 5.0;

QFont chartFont(int pixels, bool bold = false)
{
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(pixels);
    font.setBold(bold);
    return font;
}

// Steps of 1, 2, 2.5 and 5 times a power of ten, the smallest that gives at most `most` steps.
double niceStep(double span, int most)
{
    if (!(span > 0.0))
        return 1.0;
    const double rough = span / std::max(most, 1);
    const double power = std::pow(10.0, std::floor(std::log10(rough)));
    for (double factor : {1.0, 2.0, 2.5, 5.0, 10.0}) {
        if (factor * power >= rough)
            return factor * power;
    }
    return 10.0 * power;
}

// Ticks of a value axis: nice values from low to high.
std::vector<double> valueTicks(double low, double high, int most)
{
    const double step = niceStep(high - low, most);
    std::vector<double> ticks;
    for (double tick = std::ceil(low / step) * step; tick <= high + step * 1e-9; tick += step)
        ticks.push_back(std::abs(tick) < step * 1e-9 ? 0.0 : tick);
    return ticks;
}

QString valueText(double value)
{
    return QString::number(value, 'g', 6);
}

// The lowest and highest of values that are numbers, widened where they are one value.
std::pair<double, double> valueRange(const std::vector<const std::vector<double>*>& series)
{
    double low = std::numeric_limits<double>::infinity();
    double high = -std::numeric_limits<double>::infinity();
    for (const std::vector<double>* values : series) {
        for (double value : *values) {
            if (std::isfinite(value)) {
                low = std::min(low, value);
                high = std::max(high, value);
            }
        }
    }
    if (!(low <= high))
        return {0.0, 1.0};
    if (high - low < std::max(std::abs(high), 1.0) * 1e-9) {
        const double pad = std::max(std::abs(high) * 0.05, 1.0);
        return {low - pad, high + pad};
    }
    const double pad = (high - low) * 0.05;
    return {low - pad, high + pad};
}

// The title and the subtitle; gives back the top of the area below them.
double drawHeading(QPainter& painter, const QSize& size, const Chart& chart)
{
    double top = kMargin;
    painter.setPen(kInk);
    painter.setFont(chartFont(17, true));
    const double titleHeight = QFontMetricsF(painter.font()).height();
    painter.drawText(QRectF(kMargin, top, size.width() - 2 * kMargin, titleHeight),
                     Qt::AlignLeft | Qt::AlignVCenter, chart.title);
    top += titleHeight + 2;
    painter.setPen(kFaintInk);
    painter.setFont(chartFont(12));
    const double subtitleHeight = QFontMetricsF(painter.font()).height();
    painter.drawText(QRectF(kMargin, top, size.width() - 2 * kMargin, subtitleHeight),
                     Qt::AlignLeft | Qt::AlignVCenter, chart.subtitle);
    return top + subtitleHeight + 12;
}

void drawEmpty(QPainter& painter, const QRectF& area, const QString& text)
{
    painter.setPen(QPen(kGrid, 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(area);
    painter.setPen(kFaintInk);
    painter.setFont(chartFont(16));
    painter.drawText(area, Qt::AlignCenter | Qt::TextWordWrap, text);
}

// The plot area below the heading with room for the value labels at its left and one line of
// labels below it.
QRectF plotArea(const QSize& size, double top, double leftLabels)
{
    const double labelHeight = QFontMetricsF(chartFont(12)).height();
    const double left = kMargin + leftLabels + kTickLength + 4;
    const double bottom = size.height() - kMargin - labelHeight - kTickLength - 4;
    return QRectF(QPointF(left, top), QPointF(size.width() - kMargin - 10, std::max(bottom, top + 10)));
}

double widestLabel(const std::vector<double>& ticks)
{
    const QFontMetricsF metrics(chartFont(12));
    double widest = 0.0;
    for (double tick : ticks)
        widest = std::max(widest, metrics.horizontalAdvance(valueText(tick)));
    return widest;
}

// The value axis at the left with its grid lines across the area.
void drawValueAxis(QPainter& painter, const QRectF& area, const std::vector<double>& ticks, double low,
                   double high)
{
    painter.setFont(chartFont(12));
    const double labelHeight = QFontMetricsF(painter.font()).height();
    for (double tick : ticks) {
        const double y = area.bottom() - (tick - low) / (high - low) * area.height();
        painter.setPen(QPen(kGrid, 1));
        painter.drawLine(QPointF(area.left(), y), QPointF(area.right(), y));
        painter.setPen(QPen(kInk, 1));
        painter.drawLine(QPointF(area.left() - kTickLength, y), QPointF(area.left(), y));
        painter.drawText(
            QRectF(kMargin, y - labelHeight / 2, area.left() - kTickLength - 4 - kMargin, labelHeight),
            Qt::AlignRight | Qt::AlignVCenter, valueText(tick));
    }
}

// Tick labels along the bottom of the area, each centred on its position and kept inside the
// chart; a label that would touch the one before it is left out.
void drawBottomLabels(QPainter& painter, const QRectF& area, const QSize& size,
                      const std::vector<std::pair<double, QString>>& labels, bool grid)
{
    painter.setFont(chartFont(12));
    const QFontMetricsF metrics(painter.font());
    double lastRight = -std::numeric_limits<double>::infinity();
    for (const auto& [x, text] : labels) {
        if (grid) {
            painter.setPen(QPen(kGrid, 1));
            painter.drawLine(QPointF(x, area.top()), QPointF(x, area.bottom()));
        }
        painter.setPen(QPen(kInk, 1));
        painter.drawLine(QPointF(x, area.bottom()), QPointF(x, area.bottom() + kTickLength));
        const double width = metrics.horizontalAdvance(text);
        double left = std::clamp(x - width / 2, 2.0, size.width() - width - 2.0);
        if (left < lastRight + 8)
            continue;
        painter.drawText(QRectF(left, area.bottom() + kTickLength + 2, width + 1, metrics.height()),
                         Qt::AlignLeft | Qt::AlignTop, text);
        lastRight = left + width;
    }
}

// The time axis: ticks on whole seconds, minutes, hours or days in UTC, as many as their labels
// leave room for; a range too short for two of them is labelled at its ends to the nanosecond.
void drawTimeAxis(QPainter& painter, const QRectF& area, const QSize& size, double start, double end)
{
    static const qint64 kSteps[] = {
        1,    2,     5,     10,    15,    30,     60,     120,     300,     600,     900,      1800,    3600,
        7200, 10800, 21600, 43200, 86400, 172800, 604800, 1209600, 2592000, 7776000, 15552000, 31536000};
    const QFontMetricsF metrics(chartFont(12));
    const double labelWidth = metrics.horizontalAdvance(tickTime(static_cast<qint64>(end))) + 24;
    const int most = std::max(1, static_cast<int>(area.width() / labelWidth));
    const double span = end - start;
    auto xOf = [&](double time) { return area.left() + (time - start) / span * area.width(); };
    std::vector<std::pair<double, QString>> labels;
    for (qint64 step : kSteps) {
        if (span / static_cast<double>(step) > most)
            continue;
        for (qint64 tick = static_cast<qint64>(std::ceil(start / step)) * step; tick <= end; tick += step)
            labels.emplace_back(xOf(static_cast<double>(tick)), tickTime(tick));
        break;
    }
    if (labels.size() < 2) {
        labels.clear();
        const auto timeOf = [](double seconds) {
            timespec time{};
            const double whole = std::floor(seconds);
            time.tv_sec = static_cast<time_t>(whole);
            time.tv_nsec = std::min(999999999L, static_cast<long>(std::llround((seconds - whole) * 1e9)));
            return time;
        };
        labels.emplace_back(area.left(), titleTime(timeOf(start)));
        labels.emplace_back(area.right(), titleTime(timeOf(end)));
    }
    drawBottomLabels(painter, area, size, labels, true);
}

// The time span of the axis: the overlap of the range and the logger, widened to the items; a
// second either side where that is one time.
std::pair<double, double> timeSpan(const Chart& chart)
{
    const auto [first, last] = std::minmax_element(chart.times.begin(), chart.times.end());
    double start = *first;
    double end = *last;
    if (chart.loggerSpan) {
        start = std::min(start, chart.loggerSpan->first);
        end = std::max(end, chart.loggerSpan->second);
    }
    if (!(end > start)) {
        start -= 1.0;
        end += 1.0;
    }
    return {start, end};
}

void drawLegend(QPainter& painter, const QRectF& area)
{
    painter.setFont(chartFont(12));
    const QFontMetricsF metrics(painter.font());
    const QString band = QStringLiteral("minimum to maximum");
    const QString mean = QStringLiteral("mean");
    const double swatch = 22;
    const double width =
        swatch + 6 + std::max(metrics.horizontalAdvance(band), metrics.horizontalAdvance(mean)) + 12;
    const double line = metrics.height();
    const QRectF box(area.right() - width - 8, area.top() + 8, width, 2 * line + 12);
    painter.setPen(QPen(kGrid, 1));
    painter.setBrush(QColor(255, 255, 255, 220));
    painter.drawRect(box);
    const double x = box.left() + 6;
    double y = box.top() + 6;
    painter.setPen(Qt::NoPen);
    painter.setBrush(kBand);
    painter.drawRect(QRectF(x, y + 2, swatch, line - 4));
    painter.setPen(kInk);
    painter.drawText(QRectF(x + swatch + 6, y, width, line), Qt::AlignLeft | Qt::AlignVCenter, band);
    y += line + 2;
    painter.setPen(QPen(kLine, 2));
    painter.drawLine(QPointF(x, y + line / 2), QPointF(x + swatch, y + line / 2));
    painter.setPen(kInk);
    painter.drawText(QRectF(x + swatch + 6, y, width, line), Qt::AlignLeft | Qt::AlignVCenter, mean);
}

// The runs of items that a line joins: items whose values are numbers, no further apart than the
// chart's gap.
std::vector<std::pair<size_t, size_t>> runsOf(const Chart& chart)
{
    std::vector<std::pair<size_t, size_t>> runs;
    size_t begin = 0;
    bool open = false;
    for (size_t index = 0; index < chart.times.size(); ++index) {
        const bool number = std::isfinite(chart.mins[index]) && std::isfinite(chart.means[index]) &&
                            std::isfinite(chart.maxs[index]);
        const bool apart = open && chart.gap > 0.0 && chart.times[index] - chart.times[index - 1] > chart.gap;
        if (open && (!number || apart)) {
            runs.emplace_back(begin, index);
            open = false;
        }
        if (number && !open) {
            begin = index;
            open = true;
        }
    }
    if (open)
        runs.emplace_back(begin, chart.times.size());
    return runs;
}

void drawTimeChart(QPainter& painter, const QSize& size, double top, const Chart& chart)
{
    const auto [low, high] = chart.kind == ChartKind::Band
                                 ? valueRange({&chart.mins, &chart.means, &chart.maxs})
                                 : valueRange({&chart.means});
    const QRectF rough = plotArea(size, top, 0);
    const int most = std::max(2, static_cast<int>(rough.height() / 40));
    const std::vector<double> ticks = valueTicks(low, high, most);
    const QRectF area = plotArea(size, top, widestLabel(ticks));
    const auto [start, end] = timeSpan(chart);
    drawValueAxis(painter, area, ticks, low, high);
    drawTimeAxis(painter, area, size, start, end);
    auto pointOf = [&, start = start, end = end](double time, double value) {
        return QPointF(area.left() + (time - start) / (end - start) * area.width(),
                       area.bottom() - (value - low) / (high - low) * area.height());
    };
    painter.save();
    // A point on the edge of the area is drawn whole; a band ends there.
    if (chart.kind == ChartKind::Band)
        painter.setClipRect(area);
    if (chart.kind == ChartKind::Band) {
        for (const auto& [begin, finish] : runsOf(chart)) {
            QPolygonF band;
            QPolygonF line;
            for (size_t index = begin; index < finish; ++index) {
                band << pointOf(chart.times[index], chart.maxs[index]);
                line << pointOf(chart.times[index], chart.means[index]);
            }
            for (size_t index = finish; index-- > begin;)
                band << pointOf(chart.times[index], chart.mins[index]);
            if (finish - begin == 1) {
                // One item alone: its band is a stroke from minimum to maximum and its mean a dot.
                painter.setPen(QPen(kBand, 4));
                painter.drawLine(band.at(0), band.at(1));
                painter.setPen(Qt::NoPen);
                painter.setBrush(kLine);
                painter.drawEllipse(line.at(0), 2.5, 2.5);
                continue;
            }
            painter.setPen(Qt::NoPen);
            painter.setBrush(kBand);
            painter.drawPolygon(band);
            painter.setPen(QPen(kLine, 1.5));
            painter.setBrush(Qt::NoBrush);
            painter.drawPolyline(line);
        }
    } else {
        // Points that fall on one pixel are drawn once, so that a long range of many items
        // draws as fast, and writes as small an SVG, as the chart's pixels allow.
        std::vector<std::pair<int, int>> pixels;
        pixels.reserve(chart.times.size());
        for (size_t index = 0; index < chart.times.size(); ++index) {
            if (!std::isfinite(chart.means[index]))
                continue;
            const QPointF point = pointOf(chart.times[index], chart.means[index]);
            pixels.emplace_back(static_cast<int>(std::lround(point.x())),
                                static_cast<int>(std::lround(point.y())));
        }
        std::sort(pixels.begin(), pixels.end());
        pixels.erase(std::unique(pixels.begin(), pixels.end()), pixels.end());
        std::vector<QRectF> dots;
        dots.reserve(pixels.size());
        for (const auto& [x, y] : pixels)
            dots.emplace_back(x - 2.0, y - 2.0, 4.0, 4.0);
        painter.setPen(Qt::NoPen);
        painter.setBrush(kLine);
        painter.drawRects(dots.data(), static_cast<int>(dots.size()));
    }
    painter.restore();
    painter.setPen(QPen(kInk, 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(area);
    if (chart.kind == ChartKind::Band)
        drawLegend(painter, area);
}

// The bars of the classes that hold values, with a few empty classes at either side.
void drawBars(QPainter& painter, const QSize& size, double top, const Chart& chart)
{
    const size_t count = chart.percents.size();
    size_t first = 0;
    while (first < count && !(chart.percents[first] > 0.0))
        ++first;
    size_t last = count;
    while (last > first && !(chart.percents[last - 1] > 0.0))
        --last;
    first = first >= 2 ? first - 2 : 0;
    last = std::min(count, last + 2);
    const double classWidth = count > 1 ? chart.classValues[1] - chart.classValues[0] : 1.0;
    const double start = chart.classValues[first] - classWidth / 2;
    const double end = chart.classValues[last - 1] + classWidth / 2;
    double highest = 0.0;
    for (size_t index = first; index < last; ++index)
        highest = std::max(highest, chart.percents[index]);
    const QRectF rough = plotArea(size, top, 0);
    const std::vector<double> ticks =
        valueTicks(0.0, highest * 1.05, std::max(2, static_cast<int>(rough.height() / 40)));
    const double low = 0.0;
    const double high = std::max(highest * 1.05, ticks.back());
    const QRectF area = plotArea(size, top, widestLabel(ticks) + 14);
    drawValueAxis(painter, area, ticks, low, high);
    auto xOf = [&](double value) { return area.left() + (value - start) / (end - start) * area.width(); };
    const QFontMetricsF metrics(chartFont(12));
    double widest = 0.0;
    for (double value : {start, end})
        widest = std::max(widest, metrics.horizontalAdvance(valueText(value)));
    std::vector<std::pair<double, QString>> labels;
    for (double tick : valueTicks(start, end, std::max(2, static_cast<int>(area.width() / (widest + 30)))))
        labels.emplace_back(xOf(tick), valueText(tick));
    drawBottomLabels(painter, area, size, labels, false);
    // The unit of the value axis, turned along it.
    painter.save();
    painter.setPen(kFaintInk);
    painter.translate(kMargin - 2, area.center().y());
    painter.rotate(-90);
    painter.drawText(QRectF(-area.height() / 2, -2, area.height(), metrics.height()),
                     Qt::AlignHCenter | Qt::AlignTop, QStringLiteral("%"));
    painter.restore();
    const double barWidth = std::max(1.0, classWidth / (end - start) * area.width() * 0.8);
    std::vector<QRectF> bars;
    for (size_t index = first; index < last; ++index) {
        if (!(chart.percents[index] > 0.0))
            continue;
        const double height = chart.percents[index] / (high - low) * area.height();
        bars.emplace_back(xOf(chart.classValues[index]) - barWidth / 2, area.bottom() - height, barWidth,
                          height);
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(kBar);
    painter.drawRects(bars.data(), static_cast<int>(bars.size()));
    painter.setPen(QPen(kInk, 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(area);
}

// The 5 x 7 table: durations down, residual voltages across, each cell with its count and
// shaded by it.
void drawMatrix(QPainter& painter, const QSize& size, double top, const Chart& chart)
{
    painter.setFont(chartFont(12));
    const QFontMetricsF metrics(painter.font());
    const double line = metrics.height();
    double rowLabels = 0.0;
    for (const char* text : kDurationTexts)
        rowLabels = std::max(rowLabels, metrics.horizontalAdvance(QString::fromLatin1(text)));
    const double left = kMargin + rowLabels + 12;
    const double headTop = top + line + 4;
    const QRectF table(QPointF(left, headTop + line + 6),
                       QPointF(size.width() - kMargin, size.height() - kMargin));
    const double cellWidth = table.width() / kDepthClasses;
    const double cellHeight = table.height() / kDurationClasses;
    int highest = 0;
    for (const auto& row : chart.counts)
        for (int count : row)
            highest = std::max(highest, count);
    painter.setPen(kFaintInk);
    painter.drawText(QRectF(left, top, table.width(), line), Qt::AlignHCenter | Qt::AlignVCenter,
                     QStringLiteral("residual voltage, per cent of the reference"));
    painter.drawText(QRectF(kMargin, top + line + 4, rowLabels + 8, line), Qt::AlignLeft | Qt::AlignVCenter,
                     QStringLiteral("duration"));
    painter.setPen(kInk);
    for (int column = 0; column < kDepthClasses; ++column)
        painter.drawText(QRectF(left + column * cellWidth, headTop, cellWidth, line), Qt::AlignCenter,
                         QString::fromLatin1(kDepthTexts[column]));
    QFont countFont = chartFont(std::clamp(static_cast<int>(cellHeight / 3), 10, 28), true);
    for (int row = 0; row < kDurationClasses; ++row) {
        const double y = table.top() + row * cellHeight;
        painter.setFont(chartFont(12));
        painter.setPen(kInk);
        painter.drawText(QRectF(kMargin, y, rowLabels + 8, cellHeight), Qt::AlignLeft | Qt::AlignVCenter,
                         QString::fromLatin1(kDurationTexts[row]));
        for (int column = 0; column < kDepthClasses; ++column) {
            const int count = chart.counts[row][column];
            const QRectF cell(left + column * cellWidth, y, cellWidth, cellHeight);
            // The more events a cell holds, the darker it is; an empty cell stays white.
            const double share = highest > 0 ? static_cast<double>(count) / highest : 0.0;
            const QColor fill = count == 0 ? QColor(Qt::white)
                                           : QColor::fromRgbF(1.0 - 0.75 * share * (1.0 - kBar.redF()),
                                                              1.0 - 0.75 * share * (1.0 - kBar.greenF()),
                                                              1.0 - 0.75 * share * (1.0 - kBar.blueF()));
            painter.setPen(QPen(kGrid.darker(115), 1));
            painter.setBrush(fill);
            painter.drawRect(cell);
            painter.setFont(countFont);
            painter.setPen(count == 0 ? kFaintInk : (share > 0.6 ? QColor(Qt::white) : kInk));
            painter.drawText(cell, Qt::AlignCenter, QString::number(count));
        }
    }
}

void drawChart(QPainter& painter, const QSize& size, const Chart& chart)
{
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);
    painter.fillRect(QRect(QPoint(0, 0), size), Qt::white);
    const double top = drawHeading(painter, size, chart);
    if (!chart.emptyText.isEmpty()) {
        drawEmpty(painter,
                  QRectF(QPointF(kMargin, top), QPointF(size.width() - kMargin, size.height() - kMargin)),
                  chart.emptyText);
        return;
    }
    switch (chart.kind) {
    case ChartKind::Band:
    case ChartKind::Points: drawTimeChart(painter, size, top, chart); break;
    case ChartKind::Bars: drawBars(painter, size, top, chart); break;
    case ChartKind::Matrix: drawMatrix(painter, size, top, chart); break;
    }
}

// Paints the chart into the file: written beside it and renamed over it when whole, so that a
// failed write leaves no file behind and an earlier chart of that name stays as it was.
bool writeChart(const PlotRequest& request, const Chart& chart, QString& error)
{
    QSaveFile file(request.out);
    if (!file.open(QIODevice::WriteOnly)) {
        error = file.errorString();
        return false;
    }
    if (request.format == ChartFormat::Png) {
        QImage image(request.size, QImage::Format_RGB32);
        image.fill(Qt::white);
        {
            QPainter painter(&image);
            drawChart(painter, request.size, chart);
        }
        if (!image.save(&file, "PNG")) {
            error = file.error() != QFileDevice::NoError ? file.errorString()
                                                         : QStringLiteral("the PNG was not made");
            return false;
        }
    } else {
        QSvgGenerator generator;
        generator.setOutputDevice(&file);
        generator.setSize(request.size);
        generator.setViewBox(QRect(QPoint(0, 0), request.size));
        generator.setResolution(kSvgDotsPerInch);
        generator.setTitle(chart.title);
        generator.setDescription(chart.subtitle);
        QPainter painter;
        if (!painter.begin(&generator)) {
            error = QStringLiteral("the SVG was not begun");
            return false;
        }
        drawChart(painter, request.size, chart);
        painter.end();
    }
    if (!file.commit()) {
        error = file.errorString();
        return false;
    }
    return true;
}

} // namespace

int runPlot(const Invocation& invocation)
{
    PlotRequest request;
    if (!parseRequest(invocation, request) || !checkOutput(invocation, request.out))
        return kExitUsage;
    OpenedStore store(invocation);
    if (!store.isOpen())
        return kExitUsage;
    LoggerApiInterface& api = store.api();
    const QString shownId = request.id.isEmpty() ? QStringLiteral("-") : request.id;
    const std::unique_ptr<FoundLogger> logger = loggerOfWord(invocation, store, shownId);
    if (!logger)
        return kExitUsage;
    const LoggerDataType dataType = logger->baseType->mDataType;
    Chart chart;
    chart.title = shownId;
    chart.subtitle = QStringLiteral("%1 %2, %3")
                         .arg(LoggerDebug::getLoggerTypeString(logger->type),
                              LoggerDebug::getLoggerDataTypeString(dataType), rangeText(request));
    // The read API gives these data types of the CYCLIC family only.
    const bool cyclic = logger->type == LoggerType::CYCLIC;
    QString error;
    bool read = false;
    if (cyclic && dataType == LoggerDataType::MEAN) {
        read = readMeans(api, *logger, request, chart, error);
    } else if (cyclic && (dataType == LoggerDataType::VTQ || dataType == LoggerDataType::DTQ ||
                          dataType == LoggerDataType::ITQ)) {
        read = readValues(api, *logger, request, chart, error);
    } else if (cyclic && dataType == LoggerDataType::HISTOGRAM) {
        read = readHistogram(api, *logger, request, chart, error);
    } else if (logger->type == LoggerType::PQEVENT && dataType == LoggerDataType::PQEVENT) {
        read = readEventClasses(api, request, chart, error);
    } else {
        complain(invocation, QStringLiteral("cannot plot %1 of type %2 %3: plot draws %4 loggers")
                                 .arg(shownId, LoggerDebug::getLoggerTypeString(logger->type),
                                      LoggerDebug::getLoggerDataTypeString(dataType),
                                      QString::fromLatin1(kPlottableTypes)));
        return kExitUsage;
    }
    if (!read) {
        complain(invocation, error);
        return kExitUsage;
    }
    timespec first{};
    timespec last{};
    if (api.getTimeRange(logger->type, LoggerDataType::NONE, request.id, first, last) &&
        (first.tv_sec != 0 || last.tv_sec != 0)) {
        const double start = std::max(secondsOf(request.from), secondsOf(first));
        const double end = std::min(secondsOf(request.to), secondsOf(last));
        if (start <= end)
            chart.loggerSpan = std::make_pair(start, end);
    }
    if (!writeChart(request, chart, error)) {
        complain(invocation, QStringLiteral("cannot write %1: %2").arg(request.out, error));
        return kExitUsage;
    }
    printLine(QStringLiteral("%1 written: %2")
                  .arg(request.out, chart.emptyText.isEmpty() ? chart.subtitle : chart.emptyText));
    return kExitOk;
}

} // namespace qzcli

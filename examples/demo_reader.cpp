// The reader of the demonstration: a separate process that shares nothing with the writer but
// the card's files and the catalogue. It brings the store up as a reader, asks the read API for
// the demonstration's loggers by identification and time range, and prints a short summary of
// each; then the last day's means folded onto 10-minute intervals, the share of the last day's
// frequency within 50 Hz +- 1 % from its histograms, every identification of the store with its
// time range and file count, the day's means exported into a raw file whose size it checks, the
// last page of alarms with
// their texts, the operator entries of the span, and the dips and swells of the span's last day
// with their 5 x 7 table of duration and depth classes. The span is given by --from and --to,
// each either ISO 8601 (2024-05-01T10:00:00Z; a time without a zone is UTC) or seconds since
// 1970; by default the last day up to now. Every time it prints is ISO 8601 in UTC. Like the
// writer, it comes up from the "database.xml" beside the program.
//
// With --follow SECONDS it keeps reading for that long, every two seconds, from --from (or the
// start) up to the moment of the read, while a writer writes: it shows the store following the
// card. While the card is out the store is not readable and the reader's catalogue is closed, so
// its reads answer nothing; when the card is back they answer again.

#include <qzlogger.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDateTime>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <limits>
#include <memory>
#include <vector>

namespace {

const char* const kMeanId = "mean_3s.voltage_l1.out.mean_out";
const char* const kVtqId = "aggr.mean_10min.frequency.out";
const char* const kAlarmLogName = "alarms.demo";
const char* const kPqEventId = "pq.events.demo";
const char* const kFrequencyHistogramId = "histogramloggerfrequency";
constexpr int kAlarmPage = 10; // alarms on the last page

timespec at(long long seconds)
{
    timespec t{};
    t.tv_sec = static_cast<time_t>(seconds);
    return t;
}

QString timeText(long long seconds)
{
    return QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC).toString(Qt::ISODate);
}

QString timeText(const DataTimespec& time)
{
    return timeText(static_cast<long long>(time.tv_sec));
}

// A moment given on the command line: seconds since 1970, or ISO 8601, taken as UTC where it names
// no zone. False for anything else.
bool parseMoment(const QString& text, long long& seconds)
{
    bool isNumber = false;
    const long long number = text.toLongLong(&isNumber);
    if (isNumber) {
        seconds = number;
        return true;
    }
    QDateTime moment = QDateTime::fromString(text, Qt::ISODate);
    if (!moment.isValid())
        return false;
    if (moment.timeSpec() == Qt::LocalTime)
        moment.setTimeSpec(Qt::UTC);
    seconds = moment.toSecsSinceEpoch();
    return true;
}

// Count, first and last time stamp, and the smallest, average and largest of one value.
template <typename Result, typename Value>
void summarise(const char* what, const char* id, const Result& result, Value value)
{
    if (result == nullptr) {
        std::printf("%-13s %s: no answer (%s)\n", what, id, qPrintable(LoggerApiInterface::getLastError()));
        return;
    }
    if (result->mNumItems == 0) {
        std::printf("%-13s %s: no items in the span\n", what, id);
        return;
    }
    double smallest = std::numeric_limits<double>::max();
    double largest = -smallest;
    double sum = 0.0;
    for (int index = 0; index < result->mNumItems; ++index) {
        const double v = value(result->mItems[index]);
        smallest = std::min(smallest, v);
        largest = std::max(largest, v);
        sum += v;
    }
    std::printf("%-13s %s: %d items from %s to %s; min %.3f, average %.3f, max %.3f\n", what, id,
                result->mNumItems, qPrintable(timeText(result->mItems[0].utc)),
                qPrintable(timeText(result->mItems[result->mNumItems - 1].utc)), smallest,
                sum / result->mNumItems, largest);
}

QString timeText(const DataTimespec& time, bool withMilliseconds)
{
    const QDateTime moment =
        QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(time.tv_sec) * 1000 + time.tv_nsec / 1000000, Qt::UTC);
    return moment.toString(withMilliseconds ? Qt::ISODateWithMs : Qt::ISODate);
}

// The day's 3-second means folded onto 10-minute intervals: how many intervals, their range, and
// how many hold fewer values than a full interval (quality bit 0x10000).
bool printTenMinuteMeans(LoggerApiInterface& api, long long from, long long to)
{
    constexpr int kTenMinutes = 600;
    const long long dayStart = std::max(from, to - 86400);
    const PtrLoggerResultMean bins =
        api.getAggregatedMeanValues(QString::fromLatin1(kMeanId), at(dayStart), at(to), kTenMinutes, -1);
    if (bins == nullptr) {
        std::printf("10-min means  %s: no answer (%s)\n", kMeanId, qPrintable(LoggerApiInterface::getLastError()));
        return false;
    }
    if (bins->mNumItems == 0) {
        std::printf("10-min means  %s: no values in the last day\n", kMeanId);
        return true;
    }
    float lowest = bins->mItems[0].min;
    float highest = bins->mItems[0].max;
    int partial = 0;
    for (int index = 0; index < bins->mNumItems; ++index) {
        lowest = std::min(lowest, bins->mItems[index].min);
        highest = std::max(highest, bins->mItems[index].max);
        partial += (bins->mItems[index].quality & 0x10000u) != 0 ? 1 : 0;
    }
    std::printf("10-min means  %s: %d intervals ending %s to %s; lowest %.3f, highest %.3f; %d not full\n",
                kMeanId, bins->mNumItems, qPrintable(timeText(bins->mItems[0].utc)),
                qPrintable(timeText(bins->mItems[bins->mNumItems - 1].utc)), lowest, highest, partial);
    return true;
}

// The newest alarms up to the end of the span, as the instrument's display pages them: each
// with the text it was logged with.
bool printAlarmPage(LoggerApiInterface& api, long long to)
{
    const PtrLoggerResultEvent page = api.getSelectedEvents(QString::fromLatin1(kAlarmLogName), at(to), 0, kAlarmPage);
    if (page == nullptr) {
        std::printf("alarms        %s: no answer (%s)\n", kAlarmLogName, qPrintable(LoggerApiInterface::getLastError()));
        return false;
    }
    std::printf("alarms        %s: the last %d up to the end of the span\n", kAlarmLogName, page->mNumItems);
    for (int index = 0; index < page->mNumItems; ++index) {
        const DataEvent& alarm = page->mItems[index];
        const bool known = alarm.stringIndex >= 0 && static_cast<size_t>(alarm.stringIndex) < page->mInfo.size();
        std::printf("  %s  %s\n", qPrintable(timeText(alarm.utc)),
                    known ? page->mInfo[static_cast<size_t>(alarm.stringIndex)].c_str() : "(no text)");
    }
    return true;
}

bool printOperatorEntries(LoggerApiInterface& api, long long from, long long to)
{
    const PtrLoggerResultOperator entries = api.getOperatorEvents(at(from), at(to), -1);
    if (entries == nullptr) {
        std::printf("operator log: no answer (%s)\n", qPrintable(LoggerApiInterface::getLastError()));
        return false;
    }
    std::printf("operator log: %d entries in the span\n", entries->mNumItems);
    for (int index = 0; index < entries->mNumItems; ++index) {
        const DataOperator& entry = entries->mItems[index];
        std::printf("  %s  operation %d by %.19s from %u.%u.%u.%u\n", qPrintable(timeText(entry.utc)), entry.operation,
                    entry.user, entry.ip[0], entry.ip[1], entry.ip[2], entry.ip[3]);
    }
    return true;
}

// The dips and swells of the last day of the span, counted by duration (rows) and residual
// voltage (columns), as a grid operator's report tabulates them.
bool printPqEventTable(LoggerApiInterface& api, long long from, long long to)
{
    const QString id = QString::fromLatin1(kPqEventId);
    const long long dayStart = std::max(from, to - 86400);
    const int count = api.getNumPqEvents(id, at(dayStart), at(to));
    const PtrLoggerResultRseEvent events = api.getRseEvents(id, at(dayStart), at(to), -1);
    const DataEventClass35 table = api.getPqEventClasses(id, at(dayStart), at(to), -1);
    if (count < 0 || events == nullptr) {
        std::printf("dips/swells   %s: no answer (%s)\n", kPqEventId, qPrintable(LoggerApiInterface::getLastError()));
        return false;
    }
    std::printf("dips/swells   %s: %d events from %s to %s\n", kPqEventId, count,
                qPrintable(timeText(dayStart)), qPrintable(timeText(to)));
    for (int index = 0; index < events->mNumItems; ++index) {
        const DataRseEvent& event = events->mItems[index];
        const double seconds = event.duration.tv_sec + event.duration.tv_nsec / 1e9;
        const double percent = event.referenceValue != 0.0f ? event.eventValue * 100.0 / event.referenceValue : 0.0;
        std::printf("  #%d %s  %-8s %7.3f s  %6.1f %%\n", event.index, qPrintable(timeText(event.utc, true)),
                    qPrintable(LoggerDebug::getTriggerTypeString(static_cast<EnumTriggerType>(event.triggerType))
                                   .trimmed()),
                    seconds, percent);
    }
    static const char* const kDurations[5] = {"0.02-0.2 s", "0.2-0.5 s", "0.5-1 s", "1-5 s", "5-60 s"};
    std::printf("  %-11s %6s %6s %6s %6s %6s %8s %6s\n", "duration", "<5%", "5-40%", "40-70%", "70-80%",
                "80-90%", "110-120%", "other");
    for (int row = 0; row < 5; ++row) {
        std::printf("  %-11s", kDurations[row]);
        for (int column = 0; column < 7; ++column)
            std::printf(column == 5 ? " %8d" : " %6d", table.counters[row][column]);
        std::printf("\n");
    }
    return true;
}

// The last day's frequency against 49.5 to 50.5 Hz (50 Hz +- 1 %), from the 10-minute histograms
// merged over the day: the shares of the day's expected values within, outside and missing.
bool printFrequencyStatistic(LoggerApiInterface& api, long long from, long long to)
{
    const long long dayStart = std::max(from, to - 86400);
    const std::shared_ptr<DataStatisticBase<float>> day = api.getFrequencyStatistic(
        QString::fromLatin1(kFrequencyHistogramId), at(dayStart), at(to), 50.0f, 99.0f, 101.0f);
    if (day == nullptr) {
        std::printf("frequency     %s: no answer (%s)\n", kFrequencyHistogramId,
                    qPrintable(LoggerApiInterface::getLastError()));
        return false;
    }
    std::printf("frequency     %s: 49.5 to 50.5 Hz from %s to %s: %.2f %% within, %.2f %% outside, %.2f %% "
                "missing\n",
                kFrequencyHistogramId, qPrintable(timeText(day->utcStart)), qPrintable(timeText(day->utc)),
                static_cast<double>(day->betweenLimits), static_cast<double>(day->limitViolation),
                static_cast<double>(day->missing));
    return true;
}

// Every identification of the store, family by family, with its time range as catalogued and
// the number of its files.
bool printIdentifications(LoggerApiInterface& api)
{
    struct Family {
        LoggerType type;
        const char* name;
    };
    const Family families[] = {{LoggerType::CYCLIC, "CYCLIC"},
                               {LoggerType::EVENT, "EVENT"},
                               {LoggerType::PQEVENT, "PQEVENT"},
                               {LoggerType::DISTURB, "DISTURB"},
                               {LoggerType::OPERATOR, "OPERATOR"}};
    const std::vector<QString> all = api.getMeasIDs(LoggerType::NONE);
    std::printf("store         %zu identifications\n", all.size());
    bool complete = !all.empty();
    for (const Family& family : families) {
        for (const QString& id : api.getMeasIDs(family.type)) {
            timespec start{};
            timespec end{};
            const bool ranged = api.getTimeRange(family.type, LoggerDataType::NONE, id, start, end);
            const size_t files = api.getFileList(family.type, LoggerDataType::NONE, id).size();
            complete = complete && ranged;
            // The operator log has no identification; a range of zeros is not catalogued yet.
            const QString name = id.isEmpty() ? QStringLiteral("(the operator log)") : id;
            const QString range = start.tv_sec == 0 && end.tv_sec == 0
                                      ? QStringLiteral("no range catalogued")
                                      : timeText(static_cast<long long>(start.tv_sec)) +
                                            QStringLiteral(" to ") +
                                            timeText(static_cast<long long>(end.tv_sec));
            std::printf("  %-9s %-36s %s, %zu file%s\n", family.name, qPrintable(name), qPrintable(range),
                        files, files == 1 ? "" : "s");
        }
    }
    return complete;
}

// The last day's means exported into a raw file: its size must be that of the items a read of
// the same range gives, one DataMean record each.
bool exportDayOfMeans(LoggerApiInterface& api, long long from, long long to)
{
    const long long dayStart = std::max(from, to - 86400);
    const QString id = QString::fromLatin1(kMeanId);
    const PtrLoggerResultMean means = api.getMeanValues(id, at(dayStart), at(to));
    QTemporaryDir folder;
    if (means == nullptr || !folder.isValid()) {
        std::printf("export        %s: no answer (%s)\n", kMeanId,
                    qPrintable(LoggerApiInterface::getLastError()));
        return false;
    }
    const QString path = folder.filePath(QStringLiteral("means.raw"));
    api.writeMeasuredValuesToFile(id, at(dayStart), at(to), path);
    const long long expected =
        static_cast<long long>(means->mNumItems) * static_cast<long long>(sizeof(DataMean));
    const long long size = QFileInfo::exists(path) ? QFileInfo(path).size() : -1;
    const bool sound = means->mNumItems == 0 ? size == -1 : size == expected;
    std::printf("export        %s: %d items of the last day as %lld bytes of raw DataMean records (%lld "
                "expected): %s\n",
                kMeanId, means->mNumItems, size, expected, sound ? "size checks" : "SIZE DIFFERS");
    return sound;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("qzlogger-demo-reader"));
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Reads the demonstration's loggers and summarises them."));
    parser.addHelpOption();
    const QCommandLineOption fromOption(
        QStringLiteral("from"),
        QStringLiteral("Start of the span: ISO 8601 (UTC where no zone is given) "
                       "or seconds since 1970."),
        QStringLiteral("TIME"));
    const QCommandLineOption toOption(QStringLiteral("to"),
                                      QStringLiteral("End of the span: ISO 8601 (UTC where no zone is given) "
                                                     "or seconds since 1970."),
                                      QStringLiteral("TIME"));
    const QCommandLineOption followOption(QStringLiteral("follow"),
                                          QStringLiteral("Keep reading every two seconds for this long."),
                                          QStringLiteral("SECONDS"));
    parser.addOptions({fromOption, toOption, followOption});
    parser.process(app);
    const long long now = static_cast<long long>(std::time(nullptr));
    long long to = now;
    const bool toOk = !parser.isSet(toOption) || parseMoment(parser.value(toOption), to);
    long long from = to - 86400;
    const bool fromOk = !parser.isSet(fromOption) || parseMoment(parser.value(fromOption), from);
    bool followOk = true;
    const int followSeconds = parser.isSet(followOption) ? parser.value(followOption).toInt(&followOk) : 0;
    if (!fromOk || !toOk || !followOk || followSeconds < 0) {
        std::fprintf(stderr, "qzlogger-demo-reader: --from and --to want ISO 8601 (2024-05-01T10:00:00Z) or "
                             "seconds since 1970, --follow seconds\n");
        return 2;
    }

    DatabaseInterface database;
    database.setWriterMode(false);
    LoggerDb& db = LoggerDb::getInstance();
    if (!database.initialize()) {
        std::fprintf(stderr, "qzlogger-demo-reader: the store did not come up: %s\n", qPrintable(db.getLastError()));
        return 1;
    }

    const std::unique_ptr<LoggerApiInterface> api(LoggerApiInterface::getApi());
    if (followSeconds > 0) {
        // The card client of this process closes and opens the catalogue with the card.
        const long long end = now + followSeconds;
        for (long long moment = std::time(nullptr); moment < end; moment = std::time(nullptr)) {
            const auto means = api->getMeanValues(QString::fromLatin1(kMeanId), at(from), at(moment));
            std::printf("%s  readable=%d  ", qPrintable(timeText(moment)), database.isReadable() ? 1 : 0);
            summarise("mean values", kMeanId, means, [](const DataMean& item) { return item.mean; });
            std::fflush(stdout);
            QThread::sleep(2);
        }
        db.close();
        return 0;
    }
    std::printf("span: %s to %s\n", qPrintable(timeText(from)), qPrintable(timeText(to)));
    const auto means = api->getMeanValues(QString::fromLatin1(kMeanId), at(from), at(to));
    summarise("mean values", kMeanId, means, [](const DataMean& item) { return item.mean; });
    const auto vtqs = api->getVtqValues(QString::fromLatin1(kVtqId), at(from), at(to));
    summarise("10-min values", kVtqId, vtqs, [](const DataXtq<float>& item) { return item.value; });
    const bool aggregated = printTenMinuteMeans(*api, from, to);
    const bool frequencyRead = printFrequencyStatistic(*api, from, to);
    const bool listed = printIdentifications(*api);
    const bool exported = exportDayOfMeans(*api, from, to);
    const bool alarmsRead = printAlarmPage(*api, to);
    const bool operatorRead = printOperatorEntries(*api, from, to);
    const bool pqRead = printPqEventTable(*api, from, to);
    std::printf("files open in this reader: %d\n", api->getNumberOfOpenedFiles());
    db.close();
    return means != nullptr && vtqs != nullptr && aggregated && frequencyRead && listed && exported &&
                   alarmsRead && operatorRead && pqRead
               ? 0
               : 1;
}

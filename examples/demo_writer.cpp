// The writer of the demonstration: brings the store up as the instrument's writer on the card
// that the card service reports, and writes synthetic measurements of six loggers:
//   - 3-second mean values of a voltage (DataMean, "mean_3s.voltage_l1.out.mean_out"),
//   - 10-minute values of the frequency (DataXtq<float>, "aggr.mean_10min.frequency.out"),
//   - 10-minute histograms of the frequency of every second (DataHistogram<2650>,
//     "histogramloggerfrequency", 45 to 55 Hz), filled with qzlogger::HistogramCalculator; the
//     frequency leaves 49.5 to 50.5 Hz for ten minutes every day at 03:00 UTC,
//   - alarms of the event alarm log "alarms.demo" (a LoggerEventAlarm with its texts),
//   - voltage dips and swells of chosen depth and duration (DataPqEvent, "pq.events.demo"),
//     spread evenly over the span,
//   - entries of the operator log.
// By default it writes a span of simulated time that ends now, as fast as it can; with
// --realtime it writes at the pace of the clock for that many seconds. It prints the span it
// wrote, "span: <first> <last>" in ISO 8601 UTC (2024-05-01T10:00:00Z), so that a reader can ask
// for it; every time it prints is in that form.
//
// It drives the store only through the service facade, as a host program does:
// setWriterMode(true), initialize(), initializeLoggers(), setShouldStartLoggers(true) and
// startStopLoggers(true); from then on the store follows the card by itself: when the card is
// ejected the loggers stop and the items of that time are refused, and when it is mounted again
// they start again in the same files. startStopLoggers(false) ends the run.
//
// The store comes up from its configuration "database.xml", which it finds beside the program
// (the build copies config/database.xml there): the card service names the mount point and the
// logger folder, the catalogue is "<card>/logger/logger.db" with the data files in
// "<card>/logger/data/", and the quotas of the families are those of the file.

#include <qzlogger.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDateTime>
#include <QThread>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <memory>

namespace {

constexpr int kMeanInterval = 3;        // seconds
constexpr int kVtqInterval = 600;       // seconds
constexpr int kMeanCacheItems = 100;    // the cache writes a block of this many items
constexpr int kCacheQuietMs = 5000;     // or after this quiet period
constexpr int kOperatorEveryHours = 4;  // one operator entry this often in simulated time
constexpr int kAlarmEverySeconds = 10;  // at the clock's pace, a look at the voltage this often
constexpr int kHistogramPeriod = 600;   // seconds of frequency values in one histogram record
constexpr int kFrequencyClasses = 2650;
constexpr int kLowFrequencyStart = 3 * 3600; // seconds into the UTC day of the low frequency
const char* const kMeanId = "mean_3s.voltage_l1.out.mean_out";
const char* const kVtqId = "aggr.mean_10min.frequency.out";
const char* const kAlarmLogName = "alarms.demo";
const char* const kPqEventId = "pq.events.demo";
const char* const kFrequencyHistogramId = "histogramloggerfrequency";
const char* const kHighVoltageText = "voltage L1 above 232 V";
const char* const kLowVoltageText = "voltage L1 below 228 V";
const char* const kNormalVoltageText = "voltage L1 back to normal";

volatile std::sig_atomic_t gStop = 0;

void requestStop(int)
{
    gStop = 1;
}

// A typed logger of the writer with its identification built in.
template <typename T> class DemoLogger : public LoggerTemplate<T> {
public:
    DemoLogger(LoggerDataType dataType, const char* id, double interval, int cacheItems,
               LoggerType type = LoggerType::CYCLIC)
        : LoggerTemplate<T>(type, dataType), mId(QString::fromLatin1(id)), mInterval(interval)
    {
        if (cacheItems > 1) {
            this->setCacheCapacity(cacheItems);
            this->setCacheTimeout(kCacheQuietMs);
        }
    }

    QString getLoggerName() override { return QStringLiteral("DemoLogger ") + mId; }
    QString getConfiguratedMeasuredTypeId() override { return mId; }
    double getInterval() override { return mInterval; }
    DataMeasType getDataMeasType(const QString& idString) override
    {
        DataMeasType measType;
        measType.configId = idString;
        measType.interval = mInterval;
        return measType;
    }

private:
    const QString mId;
    const double mInterval;
};

// The time stamps the writer prints: ISO 8601 in UTC, to the second.
QByteArray isoText(time_t seconds)
{
    return QDateTime::fromSecsSinceEpoch(static_cast<qint64>(seconds), Qt::UTC)
        .toString(Qt::ISODate)
        .toLatin1();
}

timespec at(time_t seconds)
{
    timespec t{};
    t.tv_sec = seconds;
    return t;
}

// A mains voltage that wanders slowly around 230 V over the day.
DataMean meanAt(time_t second)
{
    DataMean item{};
    item.utc = at(second);
    const double phase = 2.0 * M_PI * static_cast<double>(second % 86400) / 86400.0;
    item.mean = static_cast<float>(230.0 + 3.0 * std::sin(phase));
    item.min = item.mean - 0.4f;
    item.max = item.mean + 0.4f;
    return item;
}

DataXtq<float> frequencyAt(time_t second)
{
    DataXtq<float> item{};
    item.utc = at(second);
    item.value = static_cast<float>(50.0 + 0.02 * std::sin(static_cast<double>(second) / 3600.0));
    return item;
}

// The frequency of one second: close to 50 Hz, but for ten minutes a day at 49.3 Hz.
float frequencyOfSecond(time_t second)
{
    const time_t ofDay = second % 86400;
    if (ofDay >= kLowFrequencyStart && ofDay < kLowFrequencyStart + kHistogramPeriod)
        return 49.3f;
    return static_cast<float>(50.0 + 0.02 * std::sin(static_cast<double>(second) / 3600.0) +
                              0.05 * std::sin(static_cast<double>(second) / 7.0));
}

// The dips and swells of the span: residual voltage in per cent of the reference 230 V and
// duration, chosen so that the day's 5 x 7 table of duration and depth classes has entries in
// several rows and columns, and one event (95 %) that lies in no dip or swell class.
struct PqEventShape {
    EnumTriggerType trigger;
    float percent;
    int milliseconds;
};
constexpr PqEventShape kPqEvents[] = {
    {TRIGGER_DIP, 85.0f, 100},           {TRIGGER_DIP, 62.0f, 350},   {TRIGGER_DIP, 30.0f, 800},
    {TRIGGER_DIP, 75.0f, 4000},          {TRIGGER_INTERRUPTION, 2.0f, 30000},
    {TRIGGER_SWELL, 115.0f, 60},         {TRIGGER_SWELL, 112.0f, 2500}, {TRIGGER_DIP, 95.0f, 150},
};
constexpr int kNumPqEvents = static_cast<int>(sizeof(kPqEvents) / sizeof(kPqEvents[0]));
constexpr float kReferenceVoltage = 230.0f;

DataPqEvent pqEventAt(time_t second, const PqEventShape& shape)
{
    DataPqEvent item{};
    item.utc = at(second);
    item.duration.tv_sec = shape.milliseconds / 1000;
    item.duration.tv_nsec = (shape.milliseconds % 1000) * 1000000;
    item.triggerType = shape.trigger;
    item.triggerSource = SOURCE_U1;
    item.referenceValue = kReferenceVoltage;
    item.eventValue = kReferenceVoltage * shape.percent / 100.0f;
    item.thirdValue = 0.0f;
    // The recordings of the event cover its span, so that a reader finds nothing to repair.
    const timespec end = LoggerTimeStamp::add(at(second), item.duration);
    for (DataUtcRange& range : item.rms) {
        range.utcStart = item.utc;
        range.utcEnd = end;
    }
    item.sample.utcStart = item.utc;
    item.sample.utcEnd = end;
    return item;
}

bool logOperator(time_t second, int number)
{
    DataOperator item{};
    LoggerOperatorInterface::createDefault(item);
    item.utc = at(second);
    item.operation = number;
    LoggerOperatorInterface::setUser(QStringLiteral("demo"), item);
    LoggerOperatorInterface::setIp(QStringLiteral("192.168.1.20"), item);
    return LoggerOperatorInterface::logEvent(item);
}

struct Counts {
    int means = 0;
    int vtqs = 0;
    int alarms = 0;
    int pqEvents = 0;
    int histograms = 0;
    int operations = 0;
    int refused = 0;
};

// The alarm log notes when the voltage leaves its band and when it comes back.
class VoltageAlarms {
public:
    explicit VoltageAlarms(LoggerEventAlarm& log) : mLog(log) {}

    void check(const DataMean& mean, Counts& counts)
    {
        const char* text = mean.mean > 232.0f ? kHighVoltageText
                           : mean.mean < 228.0f ? kLowVoltageText
                                                : kNormalVoltageText;
        if (text == mLastText)
            return;
        DataEvent event{};
        event.utc = mean.utc;
        mLog.logEventItem(event, QString::fromLatin1(text)) ? ++counts.alarms : ++counts.refused;
        mLastText = text;
    }

private:
    LoggerEventAlarm& mLog;
    const char* mLastText = kNormalVoltageText;
};

// The frequency of every second counted into a histogram of 45 to 55 Hz, one record every ten
// minutes, as the instrument's host fills them.
class FrequencyHistograms {
public:
    explicit FrequencyHistograms(LoggerTemplate<DataHistogram<kFrequencyClasses>>& log)
        : mLog(log), mCalculator(mClasses, kFrequencyClasses)
    {
        mCalculator.setParameters(45.0f, 55.0f, at(1));
    }

    void add(time_t second, Counts& counts)
    {
        if (mCalculator.getTotalValues() == 0)
            mPeriodStart = second;
        mCalculator.add(frequencyOfSecond(second), at(second), false);
        mPeriodEnd = second;
        if ((second + 1) % kHistogramPeriod == 0)
            write(counts);
    }

    // The period so far as a record; nothing where it holds no value.
    void write(Counts& counts)
    {
        if (mCalculator.getTotalValues() == 0)
            return;
        DataHistogram<kFrequencyClasses> record{};
        record.utcStart = at(mPeriodStart);
        record.utc = at(mPeriodEnd);
        record.lowerLimit = mCalculator.getLowerLimit();
        record.upperLimit = mCalculator.getUpperLimit();
        record.totalValues = static_cast<int32_t>(mCalculator.getTotalValues());
        record.maxValues = mCalculator.calculateMaxDataElements();
        record.missingValues = record.maxValues - record.totalValues;
        mCalculator.calculatePercent(record.percent);
        mLog.writeLoggerItem(&record) ? ++counts.histograms : ++counts.refused;
        mCalculator.clear();
    }

private:
    LoggerTemplate<DataHistogram<kFrequencyClasses>>& mLog;
    int mClasses[kFrequencyClasses] = {};
    qzlogger::HistogramCalculator mCalculator;
    time_t mPeriodStart = 0;
    time_t mPeriodEnd = 0;
};

// The dips and swells, one at each of kNumPqEvents seconds spread evenly over the span.
class PqEvents {
public:
    PqEvents(DemoLogger<DataPqEvent>& log, time_t first, time_t last) : mLog(log), mFirst(first), mLast(last) {}

    void check(time_t second, Counts& counts)
    {
        if (mNext >= kNumPqEvents || second < dueAt(mNext))
            return;
        const DataPqEvent item = pqEventAt(second, kPqEvents[mNext]);
        mLog.writeLoggerItem(&item) ? ++counts.pqEvents : ++counts.refused;
        ++mNext;
    }

private:
    time_t dueAt(int index) const { return mFirst + (mLast - mFirst) * (index + 1) / (kNumPqEvents + 1); }

    DemoLogger<DataPqEvent>& mLog;
    const time_t mFirst;
    const time_t mLast;
    int mNext = 0;
};

// Everything due at this second of the span.
void writeSecond(time_t second, DemoLogger<DataMean>& means, DemoLogger<DataXtq<float>>& vtqs,
                 VoltageAlarms& alarms, PqEvents& pqEvents, FrequencyHistograms& histograms, bool realtime,
                 Counts& counts)
{
    pqEvents.check(second, counts);
    histograms.add(second, counts);
    if (second % kMeanInterval == 0) {
        const DataMean item = meanAt(second);
        means.writeLoggerItem(&item) ? ++counts.means : ++counts.refused;
        if (!realtime || second % kAlarmEverySeconds == 0)
            alarms.check(item, counts);
    }
    if (second % kVtqInterval == 0) {
        const DataXtq<float> item = frequencyAt(second);
        vtqs.writeLoggerItem(&item) ? ++counts.vtqs : ++counts.refused;
    }
    if (second % (kOperatorEveryHours * 3600) == 0)
        logOperator(second, counts.operations + 1) ? ++counts.operations : ++counts.refused;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("qzlogger-demo-writer"));
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Writes synthetic measurements into the store."));
    parser.addHelpOption();
    const QCommandLineOption daysOption(QStringLiteral("days"),
                                        QStringLiteral("Simulated days that end now, written as fast as possible "
                                                       "(default 1)."),
                                        QStringLiteral("N"), QStringLiteral("1"));
    const QCommandLineOption realtimeOption(QStringLiteral("realtime"),
                                            QStringLiteral("Write at the pace of the clock for this many seconds "
                                                           "instead."),
                                            QStringLiteral("SECONDS"));
    parser.addOptions({daysOption, realtimeOption});
    parser.process(app);
    bool daysOk = false;
    const int days = parser.value(daysOption).toInt(&daysOk);
    bool realtimeOk = true;
    const int realtimeSeconds = parser.isSet(realtimeOption) ? parser.value(realtimeOption).toInt(&realtimeOk) : 0;
    if (!daysOk || days < 1 || days > 366 || !realtimeOk || realtimeSeconds < 0) {
        std::fprintf(stderr, "qzlogger-demo-writer: --days wants 1 to 366, --realtime a number of seconds\n");
        return 2;
    }
    std::signal(SIGINT, requestStop);
    std::signal(SIGTERM, requestStop);

    DatabaseInterface database;
    database.setWriterMode(true);
    if (!database.initialize()) {
        std::fprintf(stderr, "qzlogger-demo-writer: the store did not come up: %s\n",
                     qPrintable(database.getLastError()));
        return 1;
    }
    std::printf("store: %s/%s\n", qPrintable(database.getDatabaseFolder()), "logger.db");
    std::fflush(stdout);

    // Written as fast as possible, the means go through a cache of a hundred items; at the
    // clock's pace each goes to the card at once, so that the reader sees it.
    DemoLogger<DataMean> means(LoggerDataType::MEAN, kMeanId, kMeanInterval,
                               realtimeSeconds > 0 ? 1 : kMeanCacheItems);
    DemoLogger<DataXtq<float>> vtqs(LoggerDataType::VTQ, kVtqId, kVtqInterval, 1);
    DemoLogger<DataPqEvent> pqLog(LoggerDataType::PQEVENT, kPqEventId, 0.0, 1, LoggerType::PQEVENT);
    // The interval of a histogram logger is that of the values counted, one a second.
    DemoLogger<DataHistogram<kFrequencyClasses>> histogramLog(LoggerDataType::HISTOGRAM,
                                                              kFrequencyHistogramId, 1.0, 1);
    LoggerEventAlarm alarmLog;
    alarmLog.setLoggerName(kAlarmLogName);
    LoggerOperatorInterface::setEnabled(true);
    if (!database.initializeLoggers() || !alarmLog.initialize() ||
        !alarmLog.updateEventStrings({kHighVoltageText, kLowVoltageText, kNormalVoltageText})) {
        std::fprintf(stderr, "qzlogger-demo-writer: the loggers did not initialize\n");
        return 1;
    }
    database.setShouldStartLoggers(true);
    if (!database.startStopLoggers(true)) {
        std::fprintf(stderr, "qzlogger-demo-writer: the loggers did not start\n");
        return 1;
    }
    VoltageAlarms alarms(alarmLog);
    // Some 10 kB of classes: not on the stack.
    const std::unique_ptr<FrequencyHistograms> histograms =
        std::make_unique<FrequencyHistograms>(histogramLog);

    Counts counts;
    time_t first = 0;
    time_t last = 0;
    if (realtimeSeconds > 0) {
        first = std::time(nullptr);
        PqEvents pqEvents(pqLog, first, first + realtimeSeconds - 1);
        for (time_t second = first; second < first + realtimeSeconds && !gStop; ++second) {
            while (std::time(nullptr) < second && !gStop)
                QThread::msleep(20);
            writeSecond(second, means, vtqs, alarms, pqEvents, *histograms, true, counts);
            last = second;
            if (second % 10 == 0) {
                std::printf("written up to %s\n", isoText(second).constData());
                std::fflush(stdout);
            }
        }
    } else {
        last = std::time(nullptr) / kMeanInterval * kMeanInterval;
        first = last - static_cast<time_t>(days) * 86400 + kMeanInterval;
        // The events fall into the last day, which the reader classifies.
        PqEvents pqEvents(pqLog, std::max(first, last - 86400), last);
        for (time_t second = first; second <= last && !gStop; ++second)
            writeSecond(second, means, vtqs, alarms, pqEvents, *histograms, false, counts);
    }
    histograms->write(counts); // the period that the span ends in

    // What waits in the caches goes to the card, and the catalogue learns the files' ends;
    // stopping the loggers closes their files and the catalogue.
    const bool flushed = means.flush() && vtqs.flush() && pqLog.flush() && histogramLog.flush() &&
                         alarmLog.flush() && LoggerOperatorInterface::flush();
    const bool updated = means.updateAccess() && vtqs.updateAccess() && pqLog.updateAccess() &&
                         histogramLog.updateAccess() && alarmLog.updateAccess();
    database.startStopLoggers(false);
    alarmLog.closeTimer();
    std::printf("span: %s %s\n", isoText(first).constData(), isoText(last).constData());
    std::printf(
        "written: %d mean values (%s), %d 10-minute values (%s), %d frequency histograms (%s), %d alarms "
        "(%s), %d dips and swells (%s), %d operator entries; %d refused\n",
        counts.means, kMeanId, counts.vtqs, kVtqId, counts.histograms, kFrequencyHistogramId, counts.alarms,
        kAlarmLogName, counts.pqEvents, kPqEventId, counts.operations, counts.refused);
    // At the clock's pace the card may go out meanwhile, and its items are then refused; written
    // as fast as possible, every item must be taken.
    const bool complete = realtimeSeconds > 0 || counts.refused == 0;
    return flushed && updated && complete ? 0 : 1;
}

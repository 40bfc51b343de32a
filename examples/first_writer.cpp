// A first writer: the instrument's one writer process, with two quantities.
//   first_writer N
// writes N 3-second mean values of a voltage (DataMean, through a cache) and N 10-minute values
// of the frequency (DataXtq<float>, one by one), both ending now, and prints the span it wrote
// in ISO 8601 UTC, ready for first_reader.
//
// The store is brought up only through DatabaseInterface. It needs the card service on the
// system bus (on a development machine: qz-sdcard-simulator on a private bus, as in
// docs/getting-started.md) and the configuration "database.xml", which it finds beside this
// program (the build copies config/database.xml there) or in /etc/qz.

#include <qzlogger.h>

#include <QCoreApplication>
#include <QDateTime>

#include <cstdio>
#include <ctime>

namespace {

const char* const kMeanId = "mean_3s.voltage_l1.out.mean_out";
const char* const kVtqId = "aggr.mean_10min.frequency.out";

// A logger of one item type. The identification (getConfiguratedMeasuredTypeId) names the
// quantity in the catalogue; readers ask for it by this text.
template <typename T> class FirstLogger : public LoggerTemplate<T> {
public:
    FirstLogger(LoggerDataType dataType, const char* id, double interval, int cacheItems)
        : LoggerTemplate<T>(LoggerType::CYCLIC, dataType), mId(QString::fromLatin1(id)), mInterval(interval)
    {
        // With a cache, items go to the card in blocks of cacheItems, or after 5 s without one.
        if (cacheItems > 1) {
            this->setCacheCapacity(cacheItems);
            this->setCacheTimeout(5000);
        }
    }
    QString getLoggerName() override { return QStringLiteral("first ") + mId; }
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

QString iso(time_t seconds)
{
    return QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC).toString(Qt::ISODate);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    bool ok = false;
    const int count = argc == 2 ? QString::fromLocal8Bit(argv[1]).toInt(&ok) : 0;
    if (!ok || count < 1) {
        std::fprintf(stderr, "usage: first_writer N   (N items of each quantity)\n");
        return 2;
    }

    DatabaseInterface database;
    // Before initialize: this process is the writer (read-write catalogue, owner of the state).
    database.setWriterMode(true);
    // Finds database.xml, asks the card service for the mount point, writes the process-id file
    // and opens or creates <card>/logger/logger.db. False when the configuration is missing,
    // the service does not answer, the card is not mounted or the catalogue does not open;
    // getLastError() then holds a text where there is one, and the log says which step failed.
    if (!database.initialize()) {
        std::fprintf(stderr, "first_writer: the store did not come up: %s\n",
                     qPrintable(database.getLastError()));
        return 1;
    }

    // Loggers register themselves with the store when they are constructed.
    FirstLogger<DataMean> means(LoggerDataType::MEAN, kMeanId, 3, 100);
    FirstLogger<DataXtq<float>> vtqs(LoggerDataType::VTQ, kVtqId, 600, 1);
    // Finds or creates each logger's type row and its current data file. A logger that fails
    // shows in the state word (LoggerApiInterface::getLoggerState), not in this answer.
    if (!database.initializeLoggers()) {
        std::fprintf(stderr, "first_writer: the loggers did not initialize: %s\n",
                     qPrintable(database.getLastError()));
        return 1;
    }
    // The wish to run: the store starts the loggers again by itself when the card comes back.
    database.setShouldStartLoggers(true);
    // False where the card is not mounted or a logger did not start.
    if (!database.startStopLoggers(true)) {
        std::fprintf(stderr, "first_writer: the loggers did not start\n");
        return 1;
    }

    // Both series end at the last full 10 minutes; time stamps must rise, a repeat is ignored.
    const time_t last = std::time(nullptr) / 600 * 600;
    const time_t first = last - static_cast<time_t>(count - 1) * 600;
    int refused = 0;
    for (int i = 0; i < count; ++i) {
        DataMean mean{};
        mean.utc.tv_sec = static_cast<int32_t>(last - static_cast<time_t>(count - 1 - i) * 3);
        mean.mean = 230.0f + 0.1f * static_cast<float>(i % 10);
        mean.min = mean.mean - 0.5f;
        mean.max = mean.mean + 0.5f;
        // False when the item is refused (card gone, quantity disabled, quota exhausted).
        if (!means.writeLoggerItem(&mean))
            ++refused;
        DataXtq<float> vtq{};
        vtq.utc.tv_sec = static_cast<int32_t>(first + static_cast<time_t>(i) * 600);
        vtq.value = 50.0f;
        if (!vtqs.writeLoggerItem(&vtq))
            ++refused;
    }

    // What waits in the cache goes to the card and the catalogue learns each file's end; a
    // reader sees items only after this. Stopping the loggers closes the files and the catalogue.
    const bool flushed = means.flush() && vtqs.flush() && means.updateAccess() && vtqs.updateAccess();
    database.startStopLoggers(false);

    std::printf("from: %s\n", qPrintable(iso(first)));
    std::printf("to: %s\n", qPrintable(iso(last)));
    std::printf("written: %d of each, %d refused\n", count, refused);
    return flushed && refused == 0 ? 0 : 1;
}

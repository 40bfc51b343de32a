// The reader of the demonstration: a separate process that shares nothing with the writer but
// the card's files and the catalogue. It brings the store up as a reader, asks the read API for
// the demonstration's loggers by identification and time range, and prints a short summary of
// each. The span is given by --from and --to, each either ISO 8601 (2024-05-01T10:00:00Z; a time
// without a zone is UTC) or seconds since 1970; by default the last day up to now. Every time it
// prints is ISO 8601 in UTC. Like the writer, it comes up from the "database.xml" beside the program.
//
// With --follow SECONDS it keeps reading for that long, every two seconds, from --from (or the
// start) up to the moment of the read, while a writer writes: it shows the store following the
// card. While the card is out the store is not readable and the reader's catalogue is closed, so
// its reads answer nothing; when the card is back they answer again.

#include <qzlogger.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDateTime>
#include <QThread>

#include <cstdio>
#include <ctime>
#include <limits>
#include <memory>

namespace {

const char* const kMeanId = "mean_3s.voltage_l1.out.mean_out";
const char* const kVtqId = "aggr.mean_10min.frequency.out";

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
    std::printf("files open in this reader: %d\n", api->getNumberOfOpenedFiles());
    db.close();
    return means != nullptr && vtqs != nullptr ? 0 : 1;
}

// A first reader: a process of its own beside the writer, sharing with it only the card's files
// and the catalogue.
//   first_reader FROM TO
// reads the two quantities of first_writer between FROM and TO (ISO 8601 UTC, as first_writer
// prints them, e.g. 2024-05-01T10:00:00Z) and prints for each the count and the first and last
// time stamp.
//
// Like the writer it needs the card service on the system bus and finds "database.xml" beside
// the program. A reader never writes: the writer owns the catalogue and the files.

#include <qzlogger.h>

#include <QCoreApplication>
#include <QDateTime>

#include <cstdio>
#include <memory>

namespace {

const char* const kMeanId = "mean_3s.voltage_l1.out.mean_out";
const char* const kVtqId = "aggr.mean_10min.frequency.out";

QString iso(const DataTimespec& time)
{
    return QDateTime::fromSecsSinceEpoch(time.tv_sec, Qt::UTC).toString(Qt::ISODate);
}

// A read answers in three ways: null (store not valid, unknown identification, or the files
// changed under the read: ask again), zero items (the logger holds nothing in the range), or
// the items, oldest first.
template <typename Result> bool report(const char* id, const Result& result)
{
    if (result == nullptr) {
        // getLastError() hands over the kept text and clears it; an unknown id keeps none.
        std::printf("%s: no answer (%s)\n", id, qPrintable(LoggerApiInterface::getLastError()));
        return false;
    }
    std::printf("%s: %d items", id, result->mNumItems);
    if (result->mNumItems > 0)
        std::printf(" from %s to %s", qPrintable(iso(result->mItems[0].utc)),
                    qPrintable(iso(result->mItems[result->mNumItems - 1].utc)));
    std::printf("\n");
    return true;
}

bool parseTime(const char* text, timespec& time)
{
    const QDateTime parsed = QDateTime::fromString(QString::fromLocal8Bit(text), Qt::ISODate);
    if (!parsed.isValid())
        return false;
    time = timespec{};
    time.tv_sec = static_cast<time_t>(parsed.toSecsSinceEpoch());
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    timespec from{};
    timespec to{};
    if (argc != 3 || !parseTime(argv[1], from) || !parseTime(argv[2], to)) {
        std::fprintf(stderr, "usage: first_reader FROM TO   (ISO 8601 UTC, e.g. 2024-05-01T10:00:00Z)\n");
        return 2;
    }

    DatabaseInterface database;
    // Before initialize: a reader opens the catalogue read-only and never posts the state.
    database.setWriterMode(false);
    // Finds database.xml, asks the card service where the card is and opens the catalogue the
    // writer made. False when the card is not mounted, the service does not answer or there is
    // no catalogue yet (no writer has ever run on this card).
    if (!database.initialize()) {
        std::fprintf(stderr, "first_reader: the store did not come up: %s\n",
                     qPrintable(database.getLastError()));
        return 1;
    }

    // The caller owns the object; it must not outlive the store of this process.
    const std::unique_ptr<LoggerApiInterface> api(LoggerApiInterface::getApi());
    const bool meansOk = report(kMeanId, api->getMeanValues(QString::fromLatin1(kMeanId), from, to));
    const bool vtqsOk = report(kVtqId, api->getVtqValues(QString::fromLatin1(kVtqId), from, to));
    database.close();
    return meansOk && vtqsOk ? 0 : 1;
}

// qzlogger stats ID: minimum, mean and maximum of a logger's values per interval, or the class
// table of a power-quality event logger.

#include "Commands.h"
#include "Loggers.h"
#include "Options.h"
#include "Store.h"
#include "TimeText.h"

#include <qzlogger.h>

#include <climits>
#include <memory>

namespace qzcli {

namespace {

// The duration rows and the depth columns of the class table, as the store classifies events.
const char* const kDurationRows[5] = {"<=0.2s", "<=0.5s", "<=1s", "<=5s", "<=60s"};
const char* const kDepthColumns[7] = {"<5%", "5-40%", "40-70%", "70-80%", "80-90%", "110-120%", "other"};

// Without --interval: the first of these steps that gives at most a hundred rows over the range.
int defaultInterval(const timespec& start, const timespec& end)
{
    const long long seconds = static_cast<long long>(end.tv_sec) - start.tv_sec + 1;
    for (const int step : {1, 10, 60, 600, 3600, 86400})
        if (seconds / step <= 100)
            return step;
    return 604800;
}

QString number(double value)
{
    return QString::number(value, 'g', 9);
}

template <typename Result> void printRows(const Result& rows)
{
    const std::vector<int> widths = {30, 15, 15, 15};
    printColumns({QStringLiteral("end"), QStringLiteral("min"), QStringLiteral("mean"), QStringLiteral("max"),
                  QStringLiteral("quality")},
                 widths);
    for (int index = 0; index < rows.mNumItems; ++index) {
        const auto& row = rows.mItems[index];
        printColumns({formatTime(row.utc), number(static_cast<double>(row.min)),
                      number(static_cast<double>(row.mean)), number(static_cast<double>(row.max)),
                      QStringLiteral("0x%1").arg(row.quality, 8, 16, QLatin1Char('0'))},
                     widths);
    }
}

int printValueStats(const Invocation& invocation, LoggerApiInterface& api, const QString& id,
                    LoggerDataType dataType, timespec start, timespec end, int interval)
{
    bool read = false;
    if (dataType == LoggerDataType::MEAN) {
        if (const PtrLoggerResultMean rows = api.getAggregatedMeanValues(id, start, end, interval, -1)) {
            read = true;
            printRows(*rows);
        }
    } else if (dataType == LoggerDataType::VTQ) {
        if (const PtrLoggerResultAggregatedFloat rows =
                api.getAggregatedVtqValues(id, start, end, interval, -1)) {
            read = true;
            printRows(*rows);
        }
    } else if (const PtrLoggerResultAggregatedDouble rows =
                   api.getAggregatedDtqValues(id, start, end, interval, -1)) {
        read = true;
        printRows(*rows);
    }
    if (!read) {
        complain(invocation, QStringLiteral("the values of %1 cannot be read: %2")
                                 .arg(id, LoggerApiInterface::getLastError()));
        return kExitUsage;
    }
    return kExitOk;
}

// The read API's class table of the range, every event counted.
int printClassTable(const Invocation& invocation, const QString& id, LoggerApiInterface& api, timespec start,
                    timespec end)
{
    DataEventClass35 table{};
    int events = 0;
    if (!readPqEventClasses(api, id, start, end, table, events)) {
        complain(invocation, QStringLiteral("the events of %1 cannot be read: %2")
                                 .arg(id, LoggerApiInterface::getLastError()));
        return kExitUsage;
    }
    long long classified = 0;
    const std::vector<int> widths(8, 9);
    QStringList header{QStringLiteral("duration")};
    for (const char* column : kDepthColumns)
        header << QString::fromLatin1(column);
    printColumns(header, widths);
    for (int row = 0; row < 5; ++row) {
        QStringList columns{QString::fromLatin1(kDurationRows[row])};
        for (int column = 0; column < 7; ++column) {
            columns << QString::number(table.counters[row][column]);
            classified += table.counters[row][column];
        }
        printColumns(columns, widths);
    }
    printLine(QStringLiteral("%1 events, %2 of them not classified (shorter than 20 ms or longer than 60 s)")
                  .arg(events)
                  .arg(events - classified));
    return kExitOk;
}

} // namespace

int runStats(const Invocation& invocation)
{
    Options options;
    if (!parseOptions(invocation, {QStringLiteral("from"), QStringLiteral("to"), QStringLiteral("interval")},
                      options))
        return kExitUsage;
    if (options.operands.size() != 1) {
        complain(
            invocation,
            QStringLiteral("wants one identification: %1 (qzlogger ls lists them)").arg(usageOf(invocation)));
        return kExitUsage;
    }
    timespec start{};
    timespec end{};
    if (!parseRange(invocation, options, true, start, end))
        return kExitUsage;
    long long interval = 0;
    const bool hasInterval = options.values.contains(QStringLiteral("interval"));
    if (hasInterval) {
        if (!parseCount(invocation, QStringLiteral("interval"),
                        options.values.value(QStringLiteral("interval")), interval))
            return kExitUsage;
        if (interval > INT_MAX) {
            complain(invocation, QStringLiteral("--interval %1 is too long: give at most %2 seconds")
                                     .arg(interval)
                                     .arg(INT_MAX));
            return kExitUsage;
        }
    } else {
        interval = defaultInterval(start, end);
    }

    const QString id = options.operands.first();
    OpenedStore store(invocation);
    if (!store.isOpen())
        return kExitUsage;
    const std::unique_ptr<FoundLogger> logger = loggerOfWord(invocation, store, id);
    if (!logger)
        return kExitUsage;
    const LoggerDataType dataType = logger->baseType->mDataType;
    const QString typeText = LoggerDebug::getLoggerDataTypeString(dataType);
    if (dataType == LoggerDataType::PQEVENT) {
        if (hasInterval) {
            complain(invocation,
                     QStringLiteral("%1 holds PQ events, which give one class table for the range: "
                                    "leave out --interval")
                         .arg(id));
            return kExitUsage;
        }
        printLine(QStringLiteral("%1  %2, %3 to %4, events by duration (rows) and residual voltage (columns)")
                      .arg(id, typeText, formatTime(start), formatTime(end)));
        return printClassTable(invocation, id, store.api(), start, end);
    }
    if (dataType != LoggerDataType::MEAN && dataType != LoggerDataType::VTQ &&
        dataType != LoggerDataType::DTQ) {
        complain(invocation,
                 QStringLiteral("%1 holds %2 items; stats takes MEAN, VTQ and DTQ values and PQ events: "
                                "qzlogger dump %1 gives the items")
                     .arg(id, typeText));
        return kExitUsage;
    }
    printLine(QStringLiteral("%1  %2, %3 to %4, interval %5 s")
                  .arg(id, typeText, formatTime(start), formatTime(end))
                  .arg(interval));
    return printValueStats(invocation, store.api(), id, dataType, start, end, static_cast<int>(interval));
}

} // namespace qzcli

// qzlogger info: the store at a glance.

#include "Commands.h"
#include "Loggers.h"
#include "Store.h"
#include "TimeText.h"

#include <qzlogger.h>

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>

#include <map>
#include <memory>
#include <sys/statvfs.h>
#include <utility>

namespace qzcli {

namespace {

// The data files below folder and their bytes.
std::pair<int, qint64> filesBelow(const QString& folder)
{
    int files = 0;
    qint64 bytes = 0;
    QDirIterator iterator(folder, QDir::Files, QDirIterator::Subdirectories);
    while (iterator.hasNext()) {
        iterator.next();
        ++files;
        bytes += iterator.fileInfo().size();
    }
    return {files, bytes};
}

QString cardText(const QString& disk)
{
    struct statvfs card {};
    if (::statvfs(QFile::encodeName(disk).constData(), &card) != 0)
        return QStringLiteral("-");
    const qint64 total = static_cast<qint64>(card.f_blocks) * static_cast<qint64>(card.f_frsize);
    const qint64 available = static_cast<qint64>(card.f_bavail) * static_cast<qint64>(card.f_frsize);
    return QStringLiteral("%1 bytes, %2 free").arg(total).arg(available);
}

QString writerText(LoggerDb& db)
{
    const int processId = db.readProcessId();
    if (processId < 0)
        return QStringLiteral("none named in %1").arg(LoggerDb::getProcessIdFile());
    const bool running = QFileInfo::exists(QStringLiteral("/proc/%1").arg(processId));
    return QStringLiteral("process %1, %2")
        .arg(processId)
        .arg(running ? QStringLiteral("running") : QStringLiteral("not running"));
}

QString percentText(double value)
{
    return QString::number(value, 'f', 2) + QLatin1Char('%');
}

// One family of loggers as the store holds it.
struct FamilyFigures {
    int loggers = 0;
    int files = 0;
    bool ranged = false;
    timespec oldest{};
    timespec newest{};
};

// The widths of the columns but the last: a family, shares, counts, a time.
const std::vector<int> kColumnWidths = {22, 8, 8, 8, 6, 31};

} // namespace

int runInfo(const Invocation& invocation)
{
    if (!invocation.words.isEmpty()) {
        complain(invocation, QStringLiteral("takes no arguments: qzlogger info"));
        return kExitUsage;
    }
    OpenedStore store(invocation);
    if (!store.isOpen())
        return kExitUsage;
    LoggerDb& db = LoggerDb::getInstance();
    const bool live = invocation.cardPath.isEmpty();
    const std::pair<int, qint64> data = filesBelow(db.getDataFolder());
    printLine(QStringLiteral("store      %1 (%2)")
                  .arg(db.getDiskName(),
                       live ? QStringLiteral("the live store") : QStringLiteral("a card folder")));
    printLine(QStringLiteral("catalogue  %1, %2 bytes")
                  .arg(db.getFullDbName())
                  .arg(QFileInfo(db.getFullDbName()).size()));
    printLine(QStringLiteral("data       %1, %2 files, %3 bytes")
                  .arg(db.getDataFolder())
                  .arg(data.first)
                  .arg(data.second));
    printLine(QStringLiteral("card       %1").arg(cardText(db.getDiskName())));
    if (live) {
        printLine(QStringLiteral("writer     %1").arg(writerText(db)));
        printLine(QStringLiteral("state      %1, %2")
                      .arg(LoggerDebug::getLoggerStateString(db.getLoggerState()),
                           DatabaseInterface().isReadable() ? QStringLiteral("readable")
                                                            : QStringLiteral("not readable")));
    } else {
        printLine(QStringLiteral("writer     - (a card folder is read without its writer)"));
    }

    LoggerApiInterface& api = store.api();
    LoggerApiBase& catalogue = store.catalogue();
    std::map<std::pair<int, int>, FamilyFigures> figures;
    for (const Family& family : families()) {
        for (const QString& id : api.getMeasIDs(family.type)) {
            const std::shared_ptr<DefnBaseType> type = readType(catalogue, family.type, id);
            if (!type)
                continue;
            FamilyFigures& figure =
                figures[{static_cast<int>(family.type), static_cast<int>(type->mDataType)}];
            ++figure.loggers;
            figure.files += type->getFileListSize();
            timespec start{};
            timespec end{};
            if (!api.getTimeRange(family.type, type->mDataType, id, start, end) ||
                (start.tv_sec == 0 && start.tv_nsec == 0))
                continue;
            if (!figure.ranged || isEarlier(start, figure.oldest))
                figure.oldest = start;
            if (!figure.ranged || isEarlier(figure.newest, end))
                figure.newest = end;
            figure.ranged = true;
        }
    }
    printLine(QString());
    printColumns({QStringLiteral("FAMILY"), QStringLiteral("QUOTA"), QStringLiteral("USED"),
                  QStringLiteral("LOGGERS"), QStringLiteral("FILES"), QStringLiteral("OLDEST"),
                  QStringLiteral("NEWEST")},
                 kColumnWidths);
    for (const auto& [key, figure] : figures) {
        const auto type = static_cast<LoggerType>(key.first);
        const auto dataType = static_cast<LoggerDataType>(key.second);
        printColumns({LoggerDebug::getLoggerTypeString(type) + QLatin1Char('/') +
                          LoggerDebug::getLoggerDataTypeString(dataType),
                      percentText(api.getMaximalLoggerSize(type, dataType)),
                      percentText(api.getUsedLoggerSize(type, dataType)), QString::number(figure.loggers),
                      QString::number(figure.files),
                      figure.ranged ? formatTime(figure.oldest) : QStringLiteral("-"),
                      figure.ranged ? formatTime(figure.newest) : QStringLiteral("-")},
                     kColumnWidths);
    }
    return kExitOk;
}

} // namespace qzcli

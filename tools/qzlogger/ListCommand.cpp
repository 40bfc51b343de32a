// qzlogger ls: every identification of the store with its type, time range, files, items and
// bytes.

#include "Commands.h"
#include "Loggers.h"
#include "Store.h"
#include "TimeText.h"

#include <qzlogger.h>

#include <QFileInfo>

#include <cmath>
#include <memory>
#include <vector>

namespace qzcli {

namespace {

// What the catalogue and the card say of one logger's files.
struct FileTotals {
    int files = 0;
    qint64 items = 0;
    qint64 bytes = 0;
};

FileTotals totalsOf(const std::shared_ptr<DefnBaseType>& type)
{
    FileTotals totals;
    if (!type)
        return totals;
    for (int index = 0; index < type->getFileListSize(); ++index) {
        const std::shared_ptr<LoggerFileInfo> file = type->getFileInfo(index);
        if (!file)
            continue;
        ++totals.files;
        const qint64 size = QFileInfo(LoggerFileSystem::getFullFileName(file.get())).size();
        totals.bytes += size;
        if (file->DataBlockSize > 0 && size > file->HeaderSize)
            totals.items += (size - file->HeaderSize) / file->DataBlockSize;
    }
    return totals;
}

QString intervalText(const std::shared_ptr<DefnBaseType>& type)
{
    const double interval = type ? type->getInterval() : 0.0;
    if (!std::isfinite(interval) || interval <= 0.0)
        return QStringLiteral("-");
    return QString::number(interval, 'g', 6);
}

// The widths of the columns but the last: an identification, type names, times.
const std::vector<int> kColumnWidths = {40, 9, 12, 9, 31, 31, 6, 10};

} // namespace

int runList(const Invocation& invocation)
{
    std::vector<Family> chosen = families();
    if (invocation.words.size() > 1) {
        complain(invocation, QStringLiteral("takes one TYPE at most: qzlogger ls [%1]").arg(familyWords()));
        return kExitUsage;
    }
    if (invocation.words.size() == 1) {
        const QString word = invocation.words.first().toLower();
        chosen.clear();
        for (const Family& family : families()) {
            if (word == QLatin1String(family.word))
                chosen.push_back(family);
        }
        if (chosen.empty()) {
            complain(invocation, QStringLiteral("unknown type %1: give one of %2")
                                     .arg(invocation.words.first(), familyWords()));
            return kExitUsage;
        }
    }
    OpenedStore store(invocation);
    if (!store.isOpen())
        return kExitUsage;
    LoggerApiInterface& api = store.api();
    LoggerApiBase& catalogue = store.catalogue();
    printColumns({QStringLiteral("ID"), QStringLiteral("TYPE"), QStringLiteral("DATA"),
                  QStringLiteral("INTERVAL"), QStringLiteral("FIRST"), QStringLiteral("LAST"),
                  QStringLiteral("FILES"), QStringLiteral("ITEMS"), QStringLiteral("BYTES")},
                 kColumnWidths);
    for (const Family& family : chosen) {
        for (const QString& id : api.getMeasIDs(family.type)) {
            const std::shared_ptr<DefnBaseType> type = readType(catalogue, family.type, id);
            timespec start{};
            timespec end{};
            const bool ranged = api.getTimeRange(family.type, LoggerDataType::NONE, id, start, end);
            const FileTotals totals = totalsOf(type);
            printColumns({id.isEmpty() ? QStringLiteral("-") : id,
                          LoggerDebug::getLoggerTypeString(family.type),
                          type ? LoggerDebug::getLoggerDataTypeString(type->mDataType) : QStringLiteral("-"),
                          intervalText(type), ranged ? formatTimeOrNone(start) : QStringLiteral("-"),
                          ranged ? formatTimeOrNone(end) : QStringLiteral("-"), QString::number(totals.files),
                          QString::number(totals.items), QString::number(totals.bytes)},
                         kColumnWidths);
        }
    }
    return kExitOk;
}

} // namespace qzcli

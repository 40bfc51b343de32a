// qzlogger files ID: the data files of one logger, each as its catalogue row and as the card
// holds it, and whether the two agree.

#include "Commands.h"
#include "FileCheck.h"
#include "Loggers.h"
#include "Store.h"
#include "TimeText.h"

#include <qzlogger.h>

#include <memory>

namespace qzcli {

int runFiles(const Invocation& invocation)
{
    // "-" names the operator log, which has no identification, as ls shows it.
    const QString word = invocation.words.isEmpty() ? QString() : invocation.words.first();
    if (invocation.words.size() != 1 || (word.startsWith(QLatin1Char('-')) && word != QLatin1String("-"))) {
        complain(invocation,
                 QStringLiteral("wants one identification: qzlogger files ID (qzlogger ls lists them)"));
        return kExitUsage;
    }
    OpenedStore store(invocation);
    if (!store.isOpen())
        return kExitUsage;
    const std::unique_ptr<FoundLogger> logger = loggerOfWord(invocation, store, word);
    if (!logger)
        return kExitUsage;
    const QString id = logger->id;
    const DefnBaseType& type = *logger->baseType;
    const int count = type.getFileListSize();
    printLine(QStringLiteral("%1  %2 %3, %4 file%5")
                  .arg(id.isEmpty() ? QStringLiteral("-") : id,
                       LoggerDebug::getLoggerTypeString(logger->type),
                       LoggerDebug::getLoggerDataTypeString(type.mDataType))
                  .arg(count)
                  .arg(count == 1 ? QString() : QStringLiteral("s")));
    // The file a logger writes is its newest: the catalogue lists a logger's files in the order
    // they were begun.
    const int newestIndex = count - 1;
    int disagreeing = 0;
    for (int index = 0; index < count; ++index) {
        const std::shared_ptr<LoggerFileInfo> row = type.getFileInfo(index);
        if (!row)
            continue;
        const QString path = LoggerFileSystem::getFullFileName(row.get());
        const FileOnCard card = readFile(path, *row);
        printLine(QStringLiteral("file %1: %2").arg(index + 1).arg(path));
        printLine(
            QStringLiteral("  row     id %1, created %2, range %3 to %4, header %5 bytes, items of %6 bytes")
                .arg(row->Id)
                .arg(formatTimeOrNone(row->UtcCreated), formatTimeOrNone(row->UtcStart),
                     formatTimeOrNone(row->UtcEnd))
                .arg(row->HeaderSize)
                .arg(row->DataBlockSize));
        if (card.exists) {
            printLine(QStringLiteral("  file    %1 bytes, %2 items%3")
                          .arg(card.size)
                          .arg(card.items)
                          .arg(card.items > 0
                                   ? QStringLiteral(" from %1 to %2")
                                         .arg(formatTimeOrNone(card.first), formatTimeOrNone(card.last))
                                   : QString()));
        }
        if (card.hasHeader) {
            printLine(
                QStringLiteral(
                    "  header  version %1, data type %2, logger %3, word %4, unique id %5, scales %6 %7")
                    .arg(card.header.version)
                    .arg(LoggerDebug::getLoggerDataTypeString(
                        static_cast<LoggerDataType>(card.header.dataType)))
                    .arg(card.header.baseTypeId)
                    .arg(card.header.headerWord)
                    .arg(card.header.uniqueId)
                    .arg(static_cast<double>(card.header.Parameter1))
                    .arg(static_cast<double>(card.header.Parameter2)));
        }
        const QStringList found = disagreements(*row, type.Id, card, index == newestIndex);
        if (found.isEmpty()) {
            printLine(QStringLiteral("  agrees  yes"));
        } else {
            ++disagreeing;
            printLine(QStringLiteral("  agrees  no: ") + found.join(QStringLiteral("; ")));
        }
    }
    return disagreeing == 0 ? kExitOk : kExitFindings;
}

} // namespace qzcli

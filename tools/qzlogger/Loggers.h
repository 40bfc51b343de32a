#pragma once

#include "Cli.h"
#include "Store.h"

#include <qzlogger.h>

#include <QString>

#include <memory>
#include <vector>

// The loggers of a store as the commands find them: by family and by identification.
namespace qzcli {

struct Family {
    LoggerType type;
    const char* word; // as the command line names it
};

// The five families in the order the commands list them.
const std::vector<Family>& families();
// "cyclic, event, pqevent, disturb, operator", for messages.
QString familyWords();

// One logger of the store: its family, identification and catalogued type with its files.
struct FoundLogger {
    LoggerType type = LoggerType::NONE;
    QString id;
    std::shared_ptr<DefnBaseType> baseType; // null where the catalogue could not be read
};

// The logger of that identification, in the first family that lists it; nothing where no
// family does.
std::unique_ptr<FoundLogger> findLogger(LoggerApiInterface& api, LoggerApiBase& catalogue, const QString& id);
// The logger that a word of the command line names, "-" the operator log, in the open store;
// null after a one-line complaint where the store does not know it or its entry cannot be read.
std::unique_ptr<FoundLogger> loggerOfWord(const Invocation& invocation, OpenedStore& store,
                                          const QString& word);
// The 5 x 7 class table of the power-quality events of a range as the read API counts them, with
// every event of the range in it, and the number of those events; false where the read failed.
bool readPqEventClasses(LoggerApiInterface& api, const QString& id, timespec start, timespec end,
                        DataEventClass35& table, int& events);
// The catalogued type of a listed logger; null where it cannot be read.
std::shared_ptr<DefnBaseType> readType(LoggerApiBase& catalogue, LoggerType type, const QString& id);

} // namespace qzcli

#include "Loggers.h"

#include <QStringList>

namespace qzcli {

const std::vector<Family>& families()
{
    static const std::vector<Family> all = {{LoggerType::CYCLIC, "cyclic"},
                                            {LoggerType::EVENT, "event"},
                                            {LoggerType::PQEVENT, "pqevent"},
                                            {LoggerType::DISTURB, "disturb"},
                                            {LoggerType::OPERATOR, "operator"}};
    return all;
}

QString familyWords()
{
    QStringList words;
    for (const Family& family : families())
        words << QString::fromLatin1(family.word);
    return words.join(QStringLiteral(", "));
}

std::shared_ptr<DefnBaseType> readType(LoggerApiBase& catalogue, LoggerType type, const QString& id)
{
    const int typeId = catalogue.getBaseTypeId(type, LoggerDataType::NONE, id);
    return typeId >= 0 ? catalogue.readBaseType(type, typeId) : nullptr;
}

std::unique_ptr<FoundLogger> findLogger(LoggerApiInterface& api, LoggerApiBase& catalogue, const QString& id)
{
    for (const Family& family : families()) {
        for (const QString& listed : api.getMeasIDs(family.type)) {
            if (listed != id)
                continue;
            auto found = std::make_unique<FoundLogger>();
            found->type = family.type;
            found->id = id;
            found->baseType = readType(catalogue, family.type, id);
            return found;
        }
    }
    return nullptr;
}

bool readPqEventClasses(LoggerApiInterface& api, const QString& id, timespec start, timespec end,
                        DataEventClass35& table, int& events)
{
    table = DataEventClass35{};
    // The count bounds the read: without it the table would hold the first 9000 events alone.
    events = api.getNumPqEvents(id, start, end);
    if (events < 0)
        return false;
    if (events > 0)
        table = api.getPqEventClasses(id, start, end, events);
    return true;
}

std::unique_ptr<FoundLogger> loggerOfWord(const Invocation& invocation, OpenedStore& store,
                                          const QString& word)
{
    // "-" names the operator log, which has no identification, as ls shows it.
    const QString id = word == QLatin1String("-") ? QString() : word;
    std::unique_ptr<FoundLogger> logger = findLogger(store.api(), store.catalogue(), id);
    if (!logger) {
        complain(invocation,
                 QStringLiteral("unknown identification %1: qzlogger ls lists the store's identifications")
                     .arg(word));
        return nullptr;
    }
    if (!logger->baseType) {
        complain(invocation, QStringLiteral("the catalogue entry of %1 cannot be read").arg(word));
        return nullptr;
    }
    return logger;
}

} // namespace qzcli

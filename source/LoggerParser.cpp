#include "LoggerParser.h"

#include "IXMLDomParser.h"
#include "LoggerDatabaseInfos.h"
#include "LoggerMemoryManager.h"

#include <cmath>

namespace {

constexpr const char* kRootName = "dataBase";
constexpr const char* kMemoryName = "memory";
constexpr const char* kValueAttribute = "value";

// The quotas below "memory", in the order in which they are read and logged.
struct QuotaSetting {
    const char* name;
    double LoggerDatabaseInfos::*member;
};

const QuotaSetting kQuotaSettings[] = {
    {"cyclicMean", &LoggerDatabaseInfos::cyclicMean},
    {"cyclicVtq", &LoggerDatabaseInfos::cyclicVtq},
    {"cyclicDtq", &LoggerDatabaseInfos::cyclicDtq},
    {"eventAlarm", &LoggerDatabaseInfos::eventAlarm},
    {"eventOperator", &LoggerDatabaseInfos::eventOperator},
    {"eventQuality", &LoggerDatabaseInfos::eventQuality},
    {"eventSignal", &LoggerDatabaseInfos::eventSignal},
    {"disturbRms", &LoggerDatabaseInfos::disturbRms},
    {"disturbDigital", &LoggerDatabaseInfos::disturbDigital},
    {"disturbSamples", &LoggerDatabaseInfos::disturbSamples},
    {"disturbSignals", &LoggerDatabaseInfos::disturbSignals},
    {"cyclicHistogram", &LoggerDatabaseInfos::cyclicHistogram},
    {"cyclicHarmonics", &LoggerDatabaseInfos::cyclicHarmonics},
    {"cyclicStatistic", &LoggerDatabaseInfos::cyclicStatistic},
    {"cyclicComplexArray", &LoggerDatabaseInfos::cyclicComplexArray},
    {"cyclicPrevailingArray", &LoggerDatabaseInfos::cyclicPrevailingArray},
    {"cyclicContributionArray", &LoggerDatabaseInfos::cyclicContributionArray},
    {"cyclicMeanArray", &LoggerDatabaseInfos::cyclicMeanArray},
};

} // namespace

LoggerParser::LoggerParser()
{
    initTrack(kCategoryParser);
}

LoggerParser::~LoggerParser() = default;

bool LoggerParser::loadFile(const QString& file, LoggerDatabaseInfos& infos)
{
    TRACK_INFO(*this, QStringLiteral("Parsing database file: ") + file);
    TRACK_INFO(*this, QStringLiteral("reading file: ") + file);

    IXMLDomParser parser;
    ITCXMLNode root;
    if (!parser.parseFile(file, QLatin1String(kRootName), root)) {
        TRACK_ERROR(*this, QStringLiteral("could not parse file ") + file + QLatin1Char(' ') +
                               parser.getErrorMessage());
        return false;
    }
    if (root.isEmpty()) {
        TRACK_ERROR(*this, QLatin1String(kRootName) + QStringLiteral(" not found in xml"));
        return false;
    }
    const ITCXMLNode memory = findSubNode(root, QLatin1String(kMemoryName));
    if (memory.isEmpty()) {
        TRACK_ERROR(*this, QLatin1String(kMemoryName) + QStringLiteral(" not found in xml"));
        return false;
    }

    // Every setting is tried, so that the log names all that are missing at once.
    bool found = true;
    QString dropSchema;
    if (getNodeStringValue(root, QStringLiteral("dropSchema"), dropSchema))
        infos.dropSchema = dropSchema.toLower() == QLatin1String("true");
    else
        found = false;
    if (existsNodeStringValue(root, QStringLiteral("targetPath")))
        found = getNodeStringValue(root, QStringLiteral("targetPath"), infos.targetPath) && found;
    found = getNodeStringValue(root, QStringLiteral("desktopPath"), infos.desktopPath) && found;
    found = getNodeStringValue(root, QStringLiteral("fileDir"), infos.fileDir) && found;
    found = getNodeStringValue(root, QStringLiteral("dbName"), infos.dbName) && found;
    for (const QuotaSetting& quota : kQuotaSettings)
        found = getNodeDoubleValue(memory, QLatin1String(quota.name), infos.*quota.member) && found;

    logValues(infos);
    return found;
}

void LoggerParser::logValues(const LoggerDatabaseInfos& infos) const
{
    if (!isInfoEnabled())
        return;
    trackInfo(QStringLiteral("dropSchema = ") + (infos.dropSchema ? "true" : "false"));
    trackInfo(QStringLiteral("targetPath = ") + infos.targetPath);
    trackInfo(QStringLiteral("desktopPath = ") + infos.desktopPath);
    trackInfo(QStringLiteral("fileDir = ") + infos.fileDir);
    trackInfo(QStringLiteral("dbName = ") + infos.dbName);
    for (const QuotaSetting& quota : kQuotaSettings)
        trackInfo(QLatin1String(quota.name) + QStringLiteral(" = ") + QString::number(infos.*quota.member));
}

// The quotas reach the families in this order. DTQ, SMETER and QMETER each may fill the share
// of cyclicDtq on its own, and so may each of the seven arrays of means a quarter of
// cyclicMeanArray: together they may take more than the setting says, as every family's quota
// is a ceiling and the families rarely fill up together. The records of a disturbance (DISTURB)
// get a third of the share of its RMS values, the percentiles that of the harmonics. ITQ has no
// quota.
void LoggerParser::setMemoryManager(LoggerDatabaseInfos& infos)
{
    constexpr double kMeanArrayShare = 0.25;
    constexpr double kDisturbRecordParts = 3;
    LoggerMemoryManager& manager = LoggerMemoryManager::getInstance();
    manager.setMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::MEAN, infos.cyclicMean);
    manager.setMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::VTQ, infos.cyclicVtq);
    manager.setMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::DTQ, infos.cyclicDtq);
    manager.setMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::SMETER, infos.cyclicDtq);
    manager.setMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::QMETER, infos.cyclicDtq);
    manager.setMaximalLoggerSize(LoggerType::EVENT, LoggerDataType::EVENT, infos.eventAlarm);
    manager.setMaximalLoggerSize(LoggerType::OPERATOR, LoggerDataType::OPERATOR, infos.eventOperator);
    manager.setMaximalLoggerSize(LoggerType::PQEVENT, LoggerDataType::PQEVENT, infos.eventQuality);
    manager.setMaximalLoggerSize(LoggerType::PQEVENT, LoggerDataType::SIGNALEVENT, infos.eventSignal);
    manager.setMaximalLoggerSize(LoggerType::DISTURB, LoggerDataType::DISTURB,
                                 infos.disturbRms / kDisturbRecordParts);
    manager.setMaximalLoggerSize(LoggerType::DISTURB, LoggerDataType::RMS, infos.disturbRms);
    manager.setMaximalLoggerSize(LoggerType::DISTURB, LoggerDataType::DIGITAL, infos.disturbDigital);
    manager.setMaximalLoggerSize(LoggerType::DISTURB, LoggerDataType::SAMPLES, infos.disturbSamples);
    manager.setMaximalLoggerSize(LoggerType::DISTURB, LoggerDataType::SAMPLES16, infos.disturbSamples);
    manager.setMaximalLoggerSize(LoggerType::DISTURB, LoggerDataType::SIGNALS, infos.disturbSignals);
    manager.setMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::HISTOGRAM, infos.cyclicHistogram);
    manager.setMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::HARMONICS, infos.cyclicHarmonics);
    manager.setMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::STATISTIC, infos.cyclicStatistic);
    manager.setMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::COMPLEX, infos.cyclicComplexArray);
    manager.setMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::PREVAILING, infos.cyclicPrevailingArray);
    manager.setMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::CONTRIBUTION,
                                 infos.cyclicContributionArray);
    manager.setMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::PERCENTILE, infos.cyclicHarmonics);
    for (const LoggerDataType meanArray :
         {LoggerDataType::MEAN_7, LoggerDataType::MEAN_12, LoggerDataType::MEAN_14, LoggerDataType::MEAN_16,
          LoggerDataType::MEAN_20, LoggerDataType::MEAN_23, LoggerDataType::MEAN_24})
        manager.setMaximalLoggerSize(LoggerType::CYCLIC, meanArray, infos.cyclicMeanArray * kMeanArrayShare);
}

ITCXMLNode LoggerParser::findSubNode(const ITCXMLNode& node, const QString& name) const
{
    return node.getChildNode(name);
}

bool LoggerParser::existsNodeStringValue(const ITCXMLNode& node, const QString& name) const
{
    return !findSubNode(node, name).isEmpty();
}

bool LoggerParser::getNodeStringValue(const ITCXMLNode& node, const QString& name, QString& value) const
{
    const ITCXMLNode child = findSubNode(node, name);
    if (child.isEmpty()) {
        TRACK_ERROR(*this, QStringLiteral("LoggerParser: ") + name + QStringLiteral(" not found"));
        return false;
    }
    if (!child.hasAttribute(QLatin1String(kValueAttribute))) {
        TRACK_ERROR(*this, name + QStringLiteral(" no value"));
        return false;
    }
    value = child.getAttributeValue(QLatin1String(kValueAttribute));
    return true;
}

bool LoggerParser::getNodeDoubleValue(const ITCXMLNode& node, const QString& name, double& value) const
{
    QString text;
    if (!getNodeStringValue(node, name, text))
        return false;
    bool converted = false;
    const double number = text.toDouble(&converted);
    if (!converted || !std::isfinite(number)) {
        TRACK_ERROR(*this, name + QStringLiteral(" is not a number: ") + text);
        return false;
    }
    value = number;
    return true;
}

#include "LoggerDebug.h"

#include "DefnBaseType.h"
#include "LoggerBase.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerFileInfo.h"
#include "LoggerFileSystem.h"
#include "LoggerLogging.h"

#include <QDateTime>

#include <QStringList>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <utility>

namespace {

// A size or share as a whole number, cut toward zero. A share computed over an empty card is
// not a number; it prints as such instead of as a garbage integer.
QString wholeNumberText(double value)
{
    constexpr double kLimit = static_cast<double>(std::numeric_limits<int64_t>::max());
    if (!std::isfinite(value) || std::fabs(value) >= kLimit)
        return QString::number(value);
    return QString::number(static_cast<qint64>(value));
}

// The group's text where the word holds one of the group's named values, else empty.
QString stateGroupText(LoggerState state, LoggerState mask,
                       std::initializer_list<std::pair<LoggerState, const char*>> names)
{
    const LoggerState value = state & mask;
    for (const auto& name : names) {
        if (name.first == value)
            return QString::fromLatin1(name.second);
    }
    return QString();
}

} // namespace

LoggerDebug::~LoggerDebug() = default;

QString LoggerDebug::getUtcStr(timespec utc)
{
    return QStringLiteral("(") + QString::number(static_cast<qint64>(utc.tv_sec)) + QStringLiteral(",") +
           QString::number(static_cast<qint64>(utc.tv_nsec)) + QStringLiteral(")");
}

QString LoggerDebug::getMilliSecondsStr(timespec utc)
{
    const double milliseconds =
        static_cast<double>(utc.tv_sec) * 1000.0 + static_cast<double>(utc.tv_nsec) / 1e6;
    return QStringLiteral("%1").arg(milliseconds, 3, 'g', 6);
}

QString LoggerDebug::getLoggerTypeString(LoggerType type)
{
    switch (type) {
    case LoggerType::NONE: return QStringLiteral("NONE");
    case LoggerType::CYCLIC: return QStringLiteral("CYCLIC");
    case LoggerType::EVENT: return QStringLiteral("EVENT");
    case LoggerType::PQEVENT: return QStringLiteral("PQEVENT");
    case LoggerType::DISTURB: return QStringLiteral("DISTURB");
    case LoggerType::OPERATOR: return QStringLiteral("OPERATOR");
    }
    return QStringLiteral("UNKNOWN");
}

QString LoggerDebug::getLoggerDataTypeString(LoggerDataType dataType)
{
    static const char* const kNames[] = {
        "NONE",       "VTQ",       "DTQ",     "MEAN",       "EVENT",        "PQEVENT",   "OPERATOR",
        "DISTURB",    "RMS",       "SAMPLES", "SIGNALS",    "SIGNALEVENT",  "HISTOGRAM", "HARMONICS",
        "STATISTIC",  "SAMPLES16", "COMPLEX", "PREVAILING", "CONTRIBUTION", "ITQ",       "DIGITAL",
        "PERCENTILE", "MEAN_7",    "MEAN_12", "MEAN_14",    "MEAN_16",      "MEAN_20",   "MEAN_23",
        "QMETER",     "MEAN_24",   "SMETER",
    };
    const int value = static_cast<int>(dataType);
    if (value < 0 || value >= static_cast<int>(sizeof(kNames) / sizeof(kNames[0])))
        return QStringLiteral("UNKNOWN");
    return QString::fromLatin1(kNames[value]);
}

QString LoggerDebug::getTriggerTypeString(EnumTriggerType triggerType)
{
    // Fixed-width texts, blanks included; 6 has no text of its own.
    static const char* const kTexts[] = {
        "None   ", "Swell  ", "Dip    ", "Intr   ",  "RVC    ", "ISWEL  ", "Unknw", "Signl  ",
        "Ipos   ", "Ineg   ", "Shot   ", "True Dip", "falsDip", "unknDip", "Trans", "Freq",
        "DON",     "DOFF",    "Imb",     "Pst",      "Plt",     "Thd",     "Anom",  "Flags",
    };
    const int value = static_cast<int>(triggerType);
    if (value < 0 || value >= static_cast<int>(sizeof(kTexts) / sizeof(kTexts[0])))
        return QStringLiteral("Unknw");
    return QString::fromLatin1(kTexts[value]);
}

QString LoggerDebug::getTriggerSourceString(EnumPqEventSource source)
{
    const int bits = static_cast<int>(source);
    auto group = [bits](const char* marker, int firstBit) {
        QString text = QString::fromLatin1(marker);
        for (int channel = 0; channel < 3; ++channel)
            text += (bits & (firstBit << channel)) ? QString::number(channel + 1) : QStringLiteral("-");
        return text;
    };
    return group("U", SOURCE_U1) + group("I", SOURCE_I1);
}

QString LoggerDebug::getSystemTypeString(EnumSystemType systemType)
{
    static const char* const kTexts[] = {
        "1P", "2P", "3P", "3PL1", "3PL2", "3PL3", "3PU", "3PUA", "4P", "4PU", "4PUOY", "4PS", "2PB",
    };
    const int value = static_cast<int>(systemType);
    if (value < 1 || value > static_cast<int>(sizeof(kTexts) / sizeof(kTexts[0])))
        return QStringLiteral("-");
    return QString::fromLatin1(kTexts[value - 1]);
}

QString LoggerDebug::getTripleFloatString(float a, float b, float c)
{
    return QStringLiteral("(") + QStringLiteral("%1").arg(static_cast<double>(a), 3, 'g', 6) +
           QStringLiteral(".") + QStringLiteral("%1").arg(static_cast<double>(b), 3, 'g', 6) +
           QStringLiteral(".") + QStringLiteral("%1").arg(static_cast<double>(c), 3, 'g', 6) +
           QStringLiteral(")");
}

QString LoggerDebug::getMemorySizeString(LoggerType type, LoggerDataType dataType, double size,
                                         double percent)
{
    return QStringLiteral("memory size [") + getLoggerTypeString(type).leftJustified(10) +
           QStringLiteral(", ") + getLoggerDataTypeString(dataType).leftJustified(15) +
           QStringLiteral("]= ") + wholeNumberText(size).rightJustified(10) + QStringLiteral(", ") +
           wholeNumberText(percent) + QStringLiteral(" %");
}

QString LoggerDebug::getLoggerStateString(LoggerState state)
{
    if (state == LOGGER_STATE_STARTUP)
        return QStringLiteral("startup");
    QString text = stateGroupText(state, LOGGER_STATE_BASE_MASK,
                                  {{LOGGER_STATE_DISABLED, "disabled"},
                                   {LOGGER_STATE_DB_FAILED, "db failed"},
                                   {LOGGER_STATE_DB_INITIALIZED, "db initialized"},
                                   {LOGGER_STATE_LOGGER_FAILED, "logger failed"},
                                   {LOGGER_STATE_LOGGER_INITIALIZED, "logger initialized"}});
    const QString groups[] = {
        stateGroupText(state, LOGGER_STATE_CARD_MASK,
                       {{LOGGER_STATE_SD_MOUNTED, "sd mounted"},
                        {LOGGER_STATE_SD_EJECT, "sd eject"},
                        {LOGGER_STATE_SD_CORRUPT, "sd corrupt"}}),
        stateGroupText(state, LOGGER_STATE_RUN_MASK,
                       {{LOGGER_STATE_LOGGERS_STARTED, "loggers started"},
                        {LOGGER_STATE_LOGGERS_STOPPED, "loggers stopped"},
                        {LOGGER_STATE_LOGGERS_STARTING, "loggers starting"},
                        {LOGGER_STATE_LOGGERS_STOPPING, "loggers stopping"}}),
        stateGroupText(state, LOGGER_STATE_ACCESS_MASK,
                       {{LOGGER_STATE_LOGGERS_READABLE, "loggers readable"},
                        {LOGGER_STATE_LOGGERS_NOT_READABLE, "loggers not readable"}}),
        stateGroupText(state, LOGGER_STATE_RESET_MASK,
                       {{LOGGER_STATE_RESETTING, "resetting"}, {LOGGER_STATE_RESETTED, "resetted"}}),
    };
    // The separator stands before each later part even where the base part is empty, so that
    // a word without a base value reads ", sd mounted".
    for (const QString& group : groups) {
        if (!group.isEmpty())
            text += QStringLiteral(", ") + group;
    }
    return text;
}

QString LoggerDebug::getNewFileReason(bool dayChanged, bool headerChanged, bool fileSize, int size,
                                      QString detail)
{
    QString text = QStringLiteral("Reason for new file: ");
    if (dayChanged)
        text += QStringLiteral(" day changed,");
    if (headerChanged)
        text += QStringLiteral(" Header changed,");
    if (fileSize)
        text += QStringLiteral(" file size: ") + QString::number(size);
    if (!detail.isEmpty())
        text += QLatin1Char(' ') + detail;
    return text;
}

QString LoggerDebug::getDataPqEventString(const DataPqEvent& event)
{
    return QStringLiteral("PqEvent t=") + getUtcStr(event.utc) + QStringLiteral(" d=") +
           getMilliSecondsStr(event.duration) + QStringLiteral("ms s=") +
           getTriggerTypeString(static_cast<EnumTriggerType>(event.triggerType)) + QLatin1Char(' ') +
           getTriggerSourceString(static_cast<EnumPqEventSource>(event.triggerSource)) + QLatin1Char(' ') +
           getSystemTypeString(static_cast<EnumSystemType>(event.systemType)) + QStringLiteral(" v=") +
           getTripleFloatString(event.referenceValue, event.eventValue, event.thirdValue);
}

namespace {

QString fileTimeText(const DataTimespec& utc)
{
    return QDateTime::fromSecsSinceEpoch(utc.tv_sec, Qt::UTC)
               .toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")) +
           QStringLiteral("...");
}

} // namespace

bool LoggerDebug::isLogEnabled()
{
    return LoggerDb::getInstance().isLoggingEnabled();
}

unsigned int LoggerDebug::getLogGeneration()
{
    return LoggerLogging::getGeneration();
}

void LoggerDebug::logMessage(const QString& text)
{
    LoggerDb::getInstance().loggerMessage(text.toStdString(), LOGGER_MESSAGE_ROUTINE);
}

void LoggerDebug::logError(const QString& text)
{
    LoggerDb::getInstance().loggerMessage(text.toStdString(), LOGGER_MESSAGE_ERROR);
}

void LoggerDebug::logResultInfo(QString text, int count, timespec utc)
{
    if (!isLogEnabled())
        return;
    logMessage(text + QStringLiteral(" count=") + QString::number(count) + QStringLiteral(" utc=") +
               getUtcStr(utc));
}

void LoggerDebug::logUtcRange(QString text, timespec start, timespec end, bool ok)
{
    if (!isLogEnabled())
        return;
    logMessage(text + QStringLiteral(" S:") + getUtcStr(start) + QStringLiteral(" E:") + getUtcStr(end) +
               (ok ? QStringLiteral(" ok") : QStringLiteral(" failed")));
}

void LoggerDebug::logFileInfo(std::shared_ptr<LoggerFileInfo> info, int index, LoggerMessageType type)
{
    QString text;
    if (info == nullptr) {
        text = QStringLiteral("fileInfo[") + QString::number(index) + QStringLiteral("] = nullptr");
    } else {
        const bool exists = LoggerFileSystem::fileExists(info.get());
        text = QStringLiteral("File[") + QString::number(index) + QStringLiteral("](") +
               (exists ? QStringLiteral("X") : QStringLiteral("-")) + QStringLiteral(") ") +
               QStringLiteral(" E:") + fileTimeText(info->UtcEnd) + QStringLiteral(" S:") +
               fileTimeText(info->UtcStart);
    }
    LoggerDb::getInstance().loggerMessage(text.toStdString(), type);
}

void LoggerDebug::logBaseType(std::shared_ptr<DefnBaseType> baseType, LoggerMessageType type)
{
    if (baseType == nullptr || baseType->getFileListSize() == 0) {
        LoggerDb::getInstance().loggerMessage("count=0", type);
        return;
    }
    const int count = baseType->getFileListSize();
    for (int index = 0; index < count; ++index)
        logFileInfo(baseType->getFileInfo(index), index, type);
}

void LoggerDebug::logPqEventMessage(LoggerBase* logger, const QString& text)
{
    if (logger != nullptr && logger->getLoggerName() == QStringLiteral("pqeventlogger")) {
        logger->debugMessage(text);
    }
}

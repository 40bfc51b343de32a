#pragma once

#include "qzlogger_export.h"

#include "LoggerState.h"
#include "LoggerTypes.h"

#include <QString>
#include <ctime>
#include <memory>

struct DataPqEvent;
class LoggerBase;
class DefnBaseType;
class LoggerFileInfo;

// Turns the store's values into short readable texts for log lines. Holds no state; all
// operations are static.
class QZLOGGER_EXPORT LoggerDebug {
public:
    virtual ~LoggerDebug();

    // "(seconds,nanoseconds)", both in decimal.
    static QString getUtcStr(timespec utc);
    // The time in milliseconds, six significant digits, right-aligned to at least 3 characters.
    static QString getMilliSecondsStr(timespec utc);
    // The enumerator's name; "UNKNOWN" for a value outside the type.
    static QString getLoggerTypeString(LoggerType type);
    static QString getLoggerDataTypeString(LoggerDataType dataType);
    // The table's text, blanks included; "Unknw" for a value outside the table.
    static QString getTriggerTypeString(EnumTriggerType triggerType);
    // "U" and "I", each followed by a digit per channel that triggered and "-" per one that did
    // not: "U1-3I---".
    static QString getTriggerSourceString(EnumPqEventSource source);
    // "1P" to "2PB"; "-" for a value outside the table.
    static QString getSystemTypeString(EnumSystemType systemType);
    // "(a.b.c)", each with six significant digits, right-aligned to 3 characters: "(230.115.5.  0)".
    static QString getTripleFloatString(float a, float b, float c);
    // Size and share are cut to whole numbers; a share that is not a number, as over an empty
    // card, prints as "nan" rather than as a garbage integer.
    static QString getMemorySizeString(LoggerType type, LoggerDataType dataType, double size, double percent);

    // The texts of the groups in the order base, card, run, access, reset; each group's text
    // after the base is preceded by ", ", even where the base has none: 32 gives
    // ", sd mounted". A group holding a pattern without a name adds nothing; 0 is "startup".
    static QString getLoggerStateString(LoggerState state);

    // "Reason for new file: " followed by " day changed,", " Header changed," and
    // " file size: " + size, each only where its flag is set. A non-empty detail, such as the
    // logger's name, is appended after a blank.
    static QString getNewFileReason(bool dayChanged, bool headerChanged, bool fileSize, int size,
                                    QString detail);

    // One line for a power-quality event:
    //   "PqEvent t=(utc) d=<duration in ms>ms s=<trigger> <source> <system> v=(ref.event.third)"
    // for example "PqEvent t=(1700000000,250000000) d= 20ms s=Dip     U1-3I--- 3P v=(230.115.  0)".
    static QString getDataPqEventString(const DataPqEvent& event);

    // Log lines through LoggerDb::loggerMessage. Routine texts (logMessage, logResultInfo,
    // logUtcRange) reach no log; they are built only where isLogEnabled() holds.
    // True where the category "Logger.Db" lets debug lines through.
    static bool isLogEnabled();
    // A number that moves whenever the log configuration may have changed: whoever keeps an
    // answer of isLogEnabled() on a hot path asks again when it moves. A level set by hand
    // with log4cxx's setLevel does not move it.
    static unsigned int getLogGeneration();
    static void logMessage(const QString& text);
    static void logError(const QString& text);
    // text + " count=" + count + " utc=" + getUtcStr(utc).
    static void logResultInfo(QString text, int count, timespec utc);
    // text + " S:" + getUtcStr(start) + " E:" + getUtcStr(end) + " ok" or " failed".
    static void logUtcRange(QString text, timespec start, timespec end, bool ok);
    // "File[<index>](X) " + " E:" + end + " S:" + start, "X" where the file exists on disk and
    // "-" where not; each time as "yyyy-MM-dd hh:mm:ss" in UTC with "..." in place of the
    // sub-second tail. "fileInfo[<index>] = nullptr" for a missing info.
    static void logFileInfo(std::shared_ptr<LoggerFileInfo> info, int index, LoggerMessageType type);
    // The text as a development message of the logger, only for the power-quality event logger
    // (named "pqeventlogger"); nothing for other loggers or none.
    static void logPqEventMessage(LoggerBase* logger, const QString& text);
    // "count=0" for a missing or empty type, otherwise one logFileInfo line a file.
    static void logBaseType(std::shared_ptr<DefnBaseType> baseType, LoggerMessageType type);
};

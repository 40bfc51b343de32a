#pragma once

#include "LoggerState.h"
#include "LoggerTypes.h"

#include <QString>
#include <ctime>

struct DataPqEvent;

// Turns the store's values into short readable texts for log lines. Holds no state; all
// operations are static.
class LoggerDebug {
public:
    virtual ~LoggerDebug();

    static QString getUtcStr(timespec utc);
    static QString getMilliSecondsStr(timespec utc);
    static QString getLoggerTypeString(LoggerType type);
    static QString getLoggerDataTypeString(LoggerDataType dataType);
    static QString getTriggerTypeString(EnumTriggerType triggerType);
    static QString getTriggerSourceString(EnumPqEventSource source);
    static QString getSystemTypeString(EnumSystemType systemType);
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
};

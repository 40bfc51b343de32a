#pragma once

#include "qzlogger_export.h"

#include "LoggerFileInfo.h"
#include "LoggerTypes.h"

#include <ctime>

class QFile;

// The quota facade through which loggers charge the bytes they write to the account of their
// family (LoggerType, LoggerDataType). It has no data of its own; make one wherever it is
// needed. It has the operations that the write path calls, and keeps no accounts.
class QZLOGGER_EXPORT LoggerMemoryInterface {
public:
    LoggerMemoryInterface() = default;
    virtual ~LoggerMemoryInterface();

    // Charges size bytes to the family's account. With check, a family over its quota, or a card
    // below its reserve, loses its oldest file, at most one per call: the info of the removed
    // file comes back, otherwise a null pointer. `removed` is set to true on entry; false after
    // the call reports that a removal was asked for and failed. `file` is the writer's open
    // file, `time` the time stamp of the data charged (zero where there is none).
    //
    // No accounts are kept: this charges nothing, never evicts and returns null.
    PtrLoggerFileInfo addDataSize(LoggerType type, LoggerDataType dataType, int size, QFile* file, bool check,
                                  bool& removed, timespec time);
    // Starts the family's account anew, as a logger that was reset has used nothing yet. No
    // accounts are kept: nothing happens.
    void initUsedMemory(LoggerType type, LoggerDataType dataType);
    // The bytes charged to the family. No accounts are kept: always 0.
    double getUsedLoggerSize(LoggerType type, LoggerDataType dataType);
};

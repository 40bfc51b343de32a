#pragma once

#include "qzlogger_export.h"

#include "LoggerDataItems.h"

#include <QString>
#include <ctime>

// The narrow surface through which the writer and LoggerList reach the operator log. It holds
// no state; every operation goes to the one LoggerOperator of the process.
class QZLOGGER_EXPORT LoggerOperatorInterface {
public:
    LoggerOperatorInterface() = default;
    virtual ~LoggerOperatorInterface();

    static bool initialize();
    static bool startLogger();
    static bool logEvent(DataOperator item);
    static void createDefault(DataOperator& item);
    static void setUser(QString user, DataOperator& item);
    static void setIp(QString ip, DataOperator& item);
    // Whether the logger runs, not the operator switch that setEnabled sets.
    static bool isEnabled();
    static bool createNewFile(timespec time);
    static int getDaysPerFile();
    static bool removeLogger(bool reinitialize);
    static void closeTimer();
    static void closeFile();
    static bool reOpenFile();
    static bool readDatabaseChanges(bool createIfEmpty);
    // The operator switch: while off, entries are accepted and dropped.
    static void setEnabled(bool enabled);
    static bool flush();
};

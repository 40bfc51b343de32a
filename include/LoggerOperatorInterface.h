#pragma once

#include "qzlogger_export.h"

#include "LoggerDataItems.h"

#include <QString>
#include <ctime>

// The narrow surface through which the writer and LoggerList reach the operator log. It holds
// no state; every operation goes to the one LoggerOperator of the process, which the first call
// builds. No operation takes a lock of its own: the thread rules of LoggerBase apply. Every false
// answer keeps a last error (LoggerDb::getLastError) that names the operator log and says what to
// do, unless a deeper layer kept a text of its own during the call.
class QZLOGGER_EXPORT LoggerOperatorInterface {
public:
    LoggerOperatorInterface() = default;
    virtual ~LoggerOperatorInterface();

    // LoggerBase::initializeLogger and startLogger of the operator log.
    static bool initialize();
    static bool startLogger();
    // Writes one entry at once: an unset time (both words 0) becomes now, an empty user "device".
    // True without writing while the operator switch is off; otherwise writeLoggerItem's answer,
    // so an entry not newer than the last one is dropped with true.
    static bool logEvent(DataOperator item);
    // Zeroes the whole record; setUser relies on that for the name's terminator.
    static void createDefault(DataOperator& item);
    // The Latin-1 form of the name, at most 19 characters, without a terminator.
    static void setUser(QString user, DataOperator& item);
    // The first four parts of a dotted address, one byte each. A text of fewer than four parts is
    // not guarded against: it reads past the end of its parts.
    static void setIp(QString ip, DataOperator& item);
    // Whether the logger runs, not the operator switch that setEnabled sets.
    static bool isEnabled();
    // A new file created at time while the operator switch is on; false, doing nothing, while off.
    static bool createNewFile(timespec time);
    static int getDaysPerFile();
    // LoggerBase::deleteActualLogger of the operator log; true, doing nothing, while the operator
    // switch is off.
    static bool removeLogger(bool reinitialize);
    // Ends the thread of the operator log's cache timer; not to be called from that thread.
    static void closeTimer();
    // LoggerBase's closeFile, reOpenFile and readDatabaseChanges on the operator log.
    static void closeFile();
    static bool reOpenFile();
    static bool readDatabaseChanges(bool createIfEmpty);
    // The operator switch: while off, entries are accepted and dropped.
    static void setEnabled(bool enabled);
    // The operator log keeps no cache: true while the database is up, false while it is down.
    static bool flush();
};

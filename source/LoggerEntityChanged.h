#pragma once

#include "LoggerKey.h"
#include "LoggerTypes.h"

#include <QHash>
#include <QMutex>

// The process-wide table of change flags, one per logger. The catalogue side marks a logger as
// changed when it altered the logger's rows behind the back of the objects that hold a copy of
// them (a file removed by eviction, say); such an object asks its flag before it trusts its copy.
//
// A flag is read and cleared in one step: a key never asked about reads as changed, and each
// change is reported once. Every operation holds the table's mutex for its whole run, so any
// thread may call.
class LoggerEntityChanged {
public:
    static LoggerEntityChanged& getInstance();

    virtual ~LoggerEntityChanged();
    LoggerEntityChanged(const LoggerEntityChanged&) = delete;
    LoggerEntityChanged& operator=(const LoggerEntityChanged&) = delete;

    // Stores the flag, entering the key where it is new.
    void setChanged(const LoggerKey& key, bool changed);
    // The flag of the key, true for a key without an entry; the entry is false afterwards.
    bool getChanged(const LoggerKey& key);
    // Forgets the key; an unknown key is no error.
    void remove(const LoggerKey& key);

    // The same on the instance, with the key built from its parts.
    static void setLoggerChanged(LoggerType type, LoggerDataType dataType, int id, bool changed);
    static bool getLoggerChanged(LoggerType type, LoggerDataType dataType, int id);
    static void remove(LoggerType type, LoggerDataType dataType, int id);

private:
    LoggerEntityChanged() = default;

    QMutex mMutex; // guards mChanged
    QHash<LoggerKey, bool> mChanged;
};

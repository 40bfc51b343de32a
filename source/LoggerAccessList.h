#pragma once

#include "LoggerAccess.h"
#include "LoggerTypes.h"
#include "TrackObject.h"

#include <QList>

#include <memory>

// Every LoggerAccess of the process, grouped by LoggerType: one list for each of CYCLIC, EVENT,
// PQEVENT, DISTURB and OPERATOR, and one that serves every other value. An access of type NONE
// is not listed. The registry holds a second reference to each access object, so that the
// eviction of one logger can reach the files of another.
//
// The lists have no lock: they change only while loggers are constructed or destroyed.
class LoggerAccessList : public TrackObject {
public:
    static LoggerAccessList* getInstance();

    LoggerAccessList(const LoggerAccessList&) = delete;
    LoggerAccessList& operator=(const LoggerAccessList&) = delete;

    // Appends to the list of the access object's type and gives back a copy of the pointer.
    std::shared_ptr<LoggerAccess> addLoggerAccess(std::shared_ptr<LoggerAccess>& access);
    // Takes the access object out of its type list; where the list does not hold the object
    // itself, the first entry with equal data type and equal Id. Nothing happens where none
    // matches or the type is NONE.
    void removeLoggerAccess(std::shared_ptr<LoggerAccess>& access);
    // The position of the first entry with equal data type and equal identification string, or
    // -1.
    int indexOf(std::shared_ptr<LoggerAccess> access);
    QList<std::shared_ptr<LoggerAccess>> getAccessList(LoggerType type);
    int getListSize(LoggerType type);
    // The files of all loggers of the type, counted from their lists.
    int getFileListSize(LoggerType type);
    // Stores each logger's current file info and type, in list order; returns the list's length.
    int updateList(LoggerType type);

    // A change flag per type list. A type outside the enum writes to a shared dummy flag and
    // reads false.
    void setChanged(LoggerType type, bool changed);
    bool hasChanged(LoggerType type);
    bool& getChangedVariable(LoggerType type);
    // Clears the flags and empties the lists.
    void clearAll();

    // The logger of the family that holds the oldest file that may go, or null; index is where
    // that file stands in the logger's list, -1 where there is none. A logger's only file is the
    // one it writes to and never goes.
    std::shared_ptr<LoggerAccess> getOldestFileInfo(LoggerType type, LoggerDataType dataType, int& index);
    // Removes the family's oldest evictable file from the card and the catalogue and returns its
    // info; null where there is none or the catalogue is not open. One removal at a time in the
    // process.
    PtrLoggerFileInfo removeOldestFile(LoggerType type, LoggerDataType dataType);

private:
    static constexpr int kNumLists = 6;

    LoggerAccessList();
    ~LoggerAccessList() override;

    static int listIndex(LoggerType type);

    QList<std::shared_ptr<LoggerAccess>> mLists[kNumLists];
    bool mChanged[kNumLists] = {};
    bool mDummyChanged = false;
};

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
    QList<std::shared_ptr<LoggerAccess>> getAccessList(LoggerType type);
    int getListSize(LoggerType type);

private:
    static constexpr int kNumLists = 6;

    LoggerAccessList();
    ~LoggerAccessList() override;

    static int listIndex(LoggerType type);

    QList<std::shared_ptr<LoggerAccess>> mLists[kNumLists];
};

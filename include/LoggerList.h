#pragma once

#include "qzlogger_export.h"

#include "TrackObject.h"

#include <QList>

class LoggerBase;

// The process-wide registry of the writer's loggers, in the order they were constructed. The
// loggers are not owned: each one enters during its own construction and leaves in its
// destructor.
class QZLOGGER_EXPORT LoggerList : public TrackObject {
public:
    static LoggerList* getInstance();

    LoggerList(const LoggerList&) = delete;
    LoggerList& operator=(const LoggerList&) = delete;

    // No lock is taken: a logger registers during its own construction.
    void addLogger(LoggerBase* logger);
    // Removes every occurrence.
    void removeLogger(LoggerBase* logger);
    // The number of registered loggers.
    static int size();
    int getNumLoggers() const;
    bool contains(const LoggerBase* logger) const;

private:
    LoggerList();
    ~LoggerList() override;

    QList<LoggerBase*> mLoggers;
};

#pragma once

#include "LoggerFileInfo.h"
#include "LoggerTypes.h"

#include <memory>

class LoggerFileInfoMeasure;
class LoggerFileInfoEvent;
class LoggerFileInfoPqEvent;
class LoggerFileInfoDisturb;
class LoggerFileInfoOperator;

// Maps a LoggerFileInfo to the table of its kind of logger. The table follows from mType (or
// from the LoggerType given): NONE the plain "LoggerFileInfo", CYCLIC "LoggerFileInfoMeasure",
// EVENT "LoggerFileInfoEvent", PQEVENT "LoggerFileInfoPqEvent", DISTURB "LoggerFileInfoDisturb",
// OPERATOR "LoggerFileInfoOperator"; an object whose class does not belong to its mType is left
// out of the catalogue.
//
// The class keeps no state. readFileInfo, persist, update and remove run in the transaction that
// the caller holds, normally a retried transaction, and let the catalogue's exceptions pass to
// it; each of them does nothing while the database is not initialised.
class FileInfoPersistance {
public:
    FileInfoPersistance() = default;
    virtual ~FileInfoPersistance();

    // Take ownership of the object; a null pointer gives an empty one.
    std::shared_ptr<LoggerFileInfo> createMeasuredType(LoggerFileInfoMeasure* fileInfo);
    std::shared_ptr<LoggerFileInfo> createEventType(LoggerFileInfoEvent* fileInfo);
    std::shared_ptr<LoggerFileInfo> createPqEventType(LoggerFileInfoPqEvent* fileInfo);
    std::shared_ptr<LoggerFileInfo> createDisturbType(LoggerFileInfoDisturb* fileInfo);
    std::shared_ptr<LoggerFileInfo> createOperatorType(LoggerFileInfoOperator* fileInfo);

    // A new object of the type's class; empty for a value outside LoggerType.
    std::shared_ptr<LoggerFileInfo> createInstance(LoggerType type);
    // A new object of the type's class with DataType and mType set, owned by the caller; null
    // where memory is short. A type above OPERATOR is a programming error and stops the process.
    LoggerFileInfo* newInstance(LoggerType type, LoggerDataType dataType);

    // The object as its class; empty for another class or an empty argument.
    std::shared_ptr<LoggerFileInfoMeasure> getMeasuredType(const std::shared_ptr<LoggerFileInfo>& fileInfo);
    std::shared_ptr<LoggerFileInfoEvent> getEventType(const std::shared_ptr<LoggerFileInfo>& fileInfo);
    std::shared_ptr<LoggerFileInfoPqEvent> getPqEventType(const std::shared_ptr<LoggerFileInfo>& fileInfo);
    std::shared_ptr<LoggerFileInfoDisturb> getDisturbType(const std::shared_ptr<LoggerFileInfo>& fileInfo);
    std::shared_ptr<LoggerFileInfoOperator> getOperatorType(const std::shared_ptr<LoggerFileInfo>& fileInfo);

    // The row of that Id in the type's table; empty where there is none. While the database is
    // not initialised its last error is set and the result is empty.
    std::shared_ptr<LoggerFileInfo> readFileInfo(LoggerType type, int id);

    // persist, update and remove return false, and leave the catalogue alone, for an empty
    // pointer, an object whose class does not match its mType, or a database that is not
    // initialised.
    //
    // A new row, whatever Id the object had; the object takes the new Id. So persisting an object
    // twice gives two rows.
    bool persist(const std::shared_ptr<LoggerFileInfo>& fileInfo);
    // Writes every column to the row of the object's Id; a missing row throws
    // qzdb::ObjectNotPersistent.
    bool update(const std::shared_ptr<LoggerFileInfo>& fileInfo);
    // Deletes the row of the object's Id; a missing row throws qzdb::ObjectNotPersistent.
    bool remove(const std::shared_ptr<LoggerFileInfo>& fileInfo);
};

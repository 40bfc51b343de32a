#pragma once

#include "DefnBaseType.h"
#include "DefnDisturbType.h"
#include "DefnEventString.h"
#include "DefnEventType.h"
#include "DefnMeasureType.h"
#include "DefnMeasureType_stat.h"
#include "DefnOperatorType.h"
#include "DefnPqEventType.h"
#include "LoggerFileInfoTypes.h"
#include "LoggerFileInfo_stat.h"

#include <QString>

#include <cstdint>
#include <memory>
#include <vector>

// The mapping of the catalogue classes to their tables. Each class is stored in a table of its
// own, chosen by the static type that the operation is called with: persist(fileInfo) with a
// LoggerFileInfo& writes to the table "LoggerFileInfo" whatever the object's dynamic class. The
// *FileInfo functions at the end choose the table by mType instead.
//
// Every operation runs in the qzdb::Transaction that is current in the calling thread and throws
// qzdb::Exception when there is none. Failures of SQLite throw the exceptions of
// DatabaseExceptions.h; SQLITE_BUSY and SQLITE_LOCKED as Recoverable.
//
// The operations are defined for these classes: LoggerFileInfo and its five subclasses,
// DefnEventString, DefnBaseType and its five subclasses.
namespace qzdb {

// Stores the object as a new row, even if it has been stored before, and writes the Id that
// the catalogue gave the row back into it. The links of a type to its files (and, for
// DefnEventType, to its texts) are written from its vectors; the file infos and texts
// themselves are stored on their own, before the transaction commits.
template <class T> void persist(T& object);

// The object stored under that Id with its links, or an empty pointer when no row has it.
template <class T> std::shared_ptr<T> find(int32_t id);

// The same, throwing ObjectNotPersistent when no row has the Id.
template <class T> std::shared_ptr<T> load(int32_t id);

// Writes every column of the row with the object's Id, and the type's links anew from its
// vectors. Throws ObjectNotPersistent when no row has the Id.
template <class T> void update(const T& object);

// Deletes the row of that Id and a type's links; the file infos and texts they pointed to
// stay. Throws ObjectNotPersistent when no row has the Id.
template <class T> void erase(int32_t id);

template <class T> void erase(const T& object)
{
    erase<T>(object.Id);
}

// Whether a query reads a type's links (its files, and an event type's texts) with its rows.
// Rows alone serve a caller that wants the columns, such as an identification by its string:
// the links of a logger with many files are the greater part of its load.
enum class Links { Read, Skip };

// Every row of the class's table.
template <class T> std::vector<std::shared_ptr<T>> queryAll(Links links = Links::Read);

// The types of one data type; for DefnBaseType and its five subclasses.
template <class T>
std::vector<std::shared_ptr<T>> queryByDataType(LoggerDataType dataType, Links links = Links::Read);
template <class T> int countByDataType(LoggerDataType dataType);

// The types with this identification string, of any data type or of one; for DefnMeasureType
// (its MeasType.configId), DefnEventType, DefnPqEventType and DefnDisturbType.
template <class T>
std::vector<std::shared_ptr<T>> queryByConfigId(const QString& configId, Links links = Links::Read);
template <class T>
std::vector<std::shared_ptr<T>> queryByDataTypeAndConfigId(LoggerDataType dataType, const QString& configId,
                                                           Links links = Links::Read);

// The two statistics of the catalogue, and the type of a function that computes one.
template <class Stat> Stat queryStatistics();
template <> LoggerFileInfo_stat queryStatistics<LoggerFileInfo_stat>();
template <> DefnMeasureType_stat queryStatistics<DefnMeasureType_stat>();

template <class Stat> using StatisticsQuery = Stat (*)();

// The file-info table of a kind of logger: NONE the plain "LoggerFileInfo", CYCLIC
// "LoggerFileInfoMeasure", and so on; nullptr for a value outside LoggerType.
const char* fileInfoTable(LoggerType type);

// persist, update and erase of a file info in the table of its mType. An object whose class
// does not belong to its mType (a LoggerFileInfoEvent with mType CYCLIC), an mType outside
// LoggerType or an empty pointer leave the catalogue alone and return false. Type NONE takes
// any file info.
bool persistFileInfo(const std::shared_ptr<LoggerFileInfo>& fileInfo);
bool updateFileInfo(const std::shared_ptr<LoggerFileInfo>& fileInfo);
bool eraseFileInfo(const std::shared_ptr<LoggerFileInfo>& fileInfo);

// The file info of that Id in the table of that type, as an object of the type's class; empty
// when no row has it or the type is outside LoggerType.
std::shared_ptr<LoggerFileInfo> findFileInfo(LoggerType type, int32_t id);

} // namespace qzdb

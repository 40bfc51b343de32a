#pragma once

#include "DataMeasType.h"
#include "DefnBaseType.h"
#include "LoggerFileInfo.h"
#include "LoggerTypes.h"
#include "TrackObject.h"

#include <QString>

#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class QFile;
class DefnMeasureType;
class DefnEventType;
class DefnPqEventType;
class DefnDisturbType;
class DefnOperatorType;

// The one door to the type tables of the catalogue: it creates, finds, stores and removes the
// objects of the DefnBaseType family, and keeps a data file on the card and its row in the
// catalogue in step when a file is created or removed.
//
// Callers hold a std::shared_ptr<DefnBaseType>; its mType says which class and table it
// belongs to: NONE DefnBaseType, CYCLIC DefnMeasureType, EVENT DefnEventType, PQEVENT
// DefnPqEventType, DISTURB DefnDisturbType, OPERATOR DefnOperatorType.
//
// The object keeps no state beyond its log category "Logger.Persist": make one on the stack
// where needed.
//
// Transactions. persist, update, remove, readBaseType and readCurrentBaseType work in the
// transaction that is current in the calling thread, normally the caller's retried transaction,
// and let the catalogue's exceptions pass to it, so that it rolls back. Called outside any
// transaction, each runs in a retried transaction of its own instead. readCurrentDatas,
// readPtrBaseTypes and readIds do the same; createNewFile, removeFile, removeFileInfo and
// removeNonExistingFileInfos always open their own and must not be called inside one.
class DefnTypePersistance : public TrackObject {
public:
    DefnTypePersistance();
    ~DefnTypePersistance() override;
    DefnTypePersistance(const DefnTypePersistance&) = delete;
    DefnTypePersistance& operator=(const DefnTypePersistance&) = delete;

    // New objects, not yet stored.
    std::shared_ptr<DefnBaseType> createMeasuredType();
    std::shared_ptr<DefnBaseType> createEventType();
    std::shared_ptr<DefnBaseType> createPqEventType();
    std::shared_ptr<DefnBaseType> createDisturbType();
    std::shared_ptr<DefnBaseType> createOperatorType();
    // The same, chosen by type; empty for a value outside LoggerType.
    std::shared_ptr<DefnBaseType> createInstance(LoggerType type);

    // The object as its class; empty for another class or an empty argument.
    std::shared_ptr<DefnMeasureType> getMeasuredType(const std::shared_ptr<DefnBaseType>& baseType);
    std::shared_ptr<DefnEventType> getEventType(const std::shared_ptr<DefnBaseType>& baseType);
    std::shared_ptr<DefnPqEventType> getPqEventType(const std::shared_ptr<DefnBaseType>& baseType);
    std::shared_ptr<DefnDisturbType> getDisturbType(const std::shared_ptr<DefnBaseType>& baseType);
    std::shared_ptr<DefnOperatorType> getOperatorType(const std::shared_ptr<DefnBaseType>& baseType);

    // What the logger measures. A measure type gives its own description; an event, PQ-event or
    // disturbance type a default description with its identification as configId; the operator
    // log one with "operator". Anything else gives the default description.
    DataMeasType getDataMeasType(const std::shared_ptr<DefnBaseType>& baseType);

    // The earliest UtcStart and the latest UtcEnd over the type's files; zero without files.
    timespec getStartTime(const std::shared_ptr<DefnBaseType>& baseType);
    timespec getEndTime(const std::shared_ptr<DefnBaseType>& baseType);

    // The loggers of a kind and data type, with the identification string configId. A data type
    // of NONE stands for every data type and an empty configId for every identification; the
    // operator log and type NONE have no identification and are found whatever configId says.
    // readBaseTypes returns copies of the rows as plain DefnBaseType, without file lists. With
    // ownTransaction it runs in a retried transaction of its own and must not be called inside
    // one; without, it joins the caller's transaction where there is one. Empty while the
    // database is not initialised or the catalogue fails.
    std::vector<DefnBaseType> readBaseTypes(LoggerType type, LoggerDataType dataType, const QString& configId,
                                            bool ownTransaction);
    std::vector<std::shared_ptr<DefnBaseType>> readPtrBaseTypes(LoggerType type, LoggerDataType dataType,
                                                                const QString& configId);
    // The identification strings of the loggers of a kind and data type, each once.
    std::vector<QString> readIds(LoggerType type, LoggerDataType dataType);

    // The type of that Id, with its file list; empty if there is none, the database is not
    // initialised or the catalogue fails. Outside a transaction it runs in a retried transaction
    // of its own, which the retry texts name by `description`.
    std::shared_ptr<DefnBaseType> readBaseType(LoggerType type, int id,
                                               const char* description = "readBaseType");
    // Loads the object anew by its own mType and Id and puts the new object in the caller's
    // pointer. False, and the pointer unchanged, when it can't be read.
    bool readCurrentBaseType(std::shared_ptr<DefnBaseType>& baseType);

    // The file at that place of the type's list; empty outside the list.
    std::shared_ptr<LoggerFileInfo> getFileInfo(const std::shared_ptr<DefnBaseType>& baseType, int index);
    // The newest file by creation time: among the type's files and the given one, which may be
    // empty; on equal times the given file, then the earlier in the list, is kept.
    std::shared_ptr<LoggerFileInfo> getNewestFileInfo(const std::shared_ptr<DefnBaseType>& baseType,
                                                      const std::shared_ptr<LoggerFileInfo>& fileInfo);

    // Loads type and file info anew in one transaction. The new file info is the entry of the
    // new list with the same Id, or its own row where the list has none; it keeps the working
    // state of the old object (first-data-item flag and file position), which the catalogue
    // does not hold. An empty fileInfo stays empty. Both pointers change only on success.
    bool readCurrentDatas(std::shared_ptr<DefnBaseType>& baseType, std::shared_ptr<LoggerFileInfo>& fileInfo);

    // Stores the type as a new row and returns its Id, -1 where it could not be stored. An
    // event type stores its texts first: a text without a row gets one, the others are updated.
    // The link rows of the type are written anew from its vectors; the file infos themselves
    // must be stored already. A null argument stops the process.
    int persist(const std::shared_ptr<DefnBaseType>& baseType);
    // Writes the row of the type's Id and its links, texts first as persist does. So update
    // after AppendFileInfo or removeFileInfo is what adds or removes a link.
    bool update(const std::shared_ptr<DefnBaseType>& baseType);
    // Deletes the row of the type's Id. Its links go with it; its file infos and texts stay.
    bool remove(const std::shared_ptr<DefnBaseType>& baseType);

    // Begins a new data file of the type: first the file on the card, then, only if that
    // worked, in one retried transaction "createFile": the type is read anew into baseType; the
    // file at previousFileIndex (none where it is negative) gets UtcEnd = utc and is stored; the
    // new file is appended, stored and linked. True when the file was made and the type could
    // be read.
    //
    // The previous file is stored with persist, which gives it a new row and a new Id, and the
    // update of the type links that new row; its old row stays without a link. The read side
    // goes through the links only, so this is harmless, and it is kept as it is.
    //
    // storeFirst, where given, runs at the start of that transaction, before the type is read:
    // the writer stores the state of the file it leaves there, so that the whole change of file
    // is one commit. False from it fails the transaction.
    bool createNewFile(timespec utc, std::shared_ptr<DefnBaseType>& baseType,
                       std::shared_ptr<LoggerFileInfo> fileInfo, QFile& file, int headerWord, int uniqueId,
                       int previousFileIndex, float parameter1, float parameter2,
                       const std::function<bool()>& storeFirst = {});

    // Removes the file at index of the type's list: first, in one retried transaction
    // "removeFile", its row, its place in the list and its link (and currentFileInfo is
    // stored); then, after the commit, the file on the card. The catalogue goes first so that it
    // never names a file that is gone. The logger is marked as changed in LoggerEntityChanged.
    // Removing the file being written (currentFileInfo itself) is allowed and only logged.
    bool removeFile(std::shared_ptr<DefnBaseType>& baseType, int index,
                    std::shared_ptr<LoggerFileInfo> currentFileInfo);
    // The same without touching the card, in a retried transaction "removeFileInfo".
    bool removeFileInfo(std::shared_ptr<DefnBaseType>& baseType, int index,
                        std::shared_ptr<LoggerFileInfo> currentFileInfo);
    // Takes every file that is missing on the card out of the list and the catalogue, in one
    // retried transaction "removeNonExistingFileInfos".
    bool removeNonExistingFileInfos(std::shared_ptr<DefnBaseType>& baseType);

private:
    bool removeFileEntry(std::shared_ptr<DefnBaseType>& baseType, int index,
                         const std::shared_ptr<LoggerFileInfo>& currentFileInfo, const char* description,
                         bool removeFromDisk);
};

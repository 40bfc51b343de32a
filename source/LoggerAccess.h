#pragma once

#include "DefnBaseType.h"
#include "LoggerFileInfo.h"
#include "LoggerHeader.h"
#include "LoggerMemoryInterface.h"
#include "LoggerTypes.h"
#include "TrackObject.h"

#include <QByteArray>
#include <QFile>
#include <QMutex>
#include <QString>

#include <cstdint>
#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

struct DataMeasType;

// The bridge of one logger between the write engine and the two places where its data lives:
// the catalogue (through DefnTypePersistance and FileInfoPersistance) and the data file being
// written (through LoggerFileSystem and the one QFile held here). It holds what the logger writes
// to right now, the current base type with its file list and the current file info, and keeps
// that in-memory copy in step with the catalogue.
//
// A logger owns its access object in a shared pointer; other parts of the store may hold a
// second reference, so that the eviction of another logger's write can reach it.
//
// Threads and locks. mSaveAccess (getSaveAccess()) serialises all work on this logger; the write
// engine takes it for the whole of a write. The lock order is mSaveAccess first, the mutex of
// LoggerDb second; the catalogue is only reached through retried transactions, which take the
// latter. Operations that may be entered while the current objects change work on copies of the
// shared pointers.
//
// Failures are reported by results and the log; nothing here throws on a catalogue failure.
// The data file is open only between openCurrentFile (or openCurrentFileForBlock, which opens it
// on a plain descriptor) and the next writeDatas or updateDatas, both of which close it again, so
// that a power failure finds it closed.
class LoggerAccess : public TrackObject {
public:
    // Every data file begins with a header of this size.
    static constexpr int kHeaderSize = kLoggerHeaderSize;

    // dataBlockSize is the size of one item in bytes.
    LoggerAccess(LoggerType loggerType, LoggerDataType loggerDataType, int dataBlockSize);
    ~LoggerAccess() override;
    LoggerAccess(const LoggerAccess&) = delete;
    LoggerAccess& operator=(const LoggerAccess&) = delete;

    // --- plain state

    std::shared_ptr<LoggerFileInfo> getCurrentFileInfo() { return mCurrentFileInfo; }
    std::shared_ptr<DefnBaseType> getCurrentBaseType() { return mCurrentBaseType; }
    void setCurrentFileInfo(std::shared_ptr<LoggerFileInfo> fileInfo)
    {
        mCurrentFileInfo = std::move(fileInfo);
    }
    void setCurrentBaseType(std::shared_ptr<DefnBaseType> baseType)
    {
        mCurrentBaseType = std::move(baseType);
    }
    bool isCurrentFileInfoNull() { return mCurrentFileInfo == nullptr; }
    bool isCurrentBaseTypeNull() { return mCurrentBaseType == nullptr; }

    // Time ranges of the current file and the current type. The getters return zero, the
    // setters do nothing, where the object is missing. getCurrentUtcStart and getCurrentUtcEnd
    // are those of the current file.
    timespec getCurrentUtcStart() { return getCurrentFileInfoUtcStart(); }
    timespec getCurrentUtcEnd() { return getCurrentFileInfoUtcEnd(); }
    timespec getCurrentBaseTypeUtcStart();
    timespec getCurrentBaseTypeUtcEnd();
    void setCurrentBaseTypeUtcStart(timespec utc);
    void setCurrentBaseTypeUtcEnd(timespec utc);
    timespec getCurrentFileInfoUtcStart();
    timespec getCurrentFileInfoUtcEnd();
    void setCurrentFileInfoUtcStart(timespec utc) { setFileInfoUtcStart(utc, mCurrentFileInfo); }
    void setCurrentFileInfoUtcEnd(timespec utc) { setFileInfoUtcEnd(utc, mCurrentFileInfo); }
    void setFileInfoUtcStart(timespec utc, std::shared_ptr<LoggerFileInfo> fileInfo);
    void setFileInfoUtcEnd(timespec utc, std::shared_ptr<LoggerFileInfo> fileInfo);
    // -1 without a current file.
    int getCurrentFileInfoId();
    // False without a current file.
    bool getCurrentFileInfoFirstDataItem();
    void setCurrentFileInfoFirstDataItem(bool firstDataItem);

    LoggerType getLoggerType() { return mLoggerType; }
    LoggerDataType getLoggerDataType() { return mLoggerDataType; }
    int getDataBlockSize() const { return mDataBlockSize; }
    // The recursive mutex that serialises all work on this logger.
    QMutex* getSaveAccess() { return &mSaveAccess; }

    // The base type's Id, -1 without a type.
    int getId();
    // The seconds of the current file's UtcStart, -1 without a file.
    int getFileTime();
    // The current file's size as the writer knows it, -1 without a file.
    int getFilePosition();
    // The number of files of the type, 0 without a type.
    int getFileListSize();
    // The identification of the type, empty without a type.
    QString getConfigId();
    // True when both UtcStart and UtcEnd of the type are all zero (and without a type).
    bool isCurrentBaseTypeZeroRange();
    // Does the current file hold items of this logger's size? False without a file.
    bool checkCurrentDataBlockSize();
    // The local calendar date and time counted as seconds since 1970-01-01, nanoseconds 0: the
    // creation stamp of a logger's first file.
    static timespec getCurrentTime();

    // State that the write engine works with.
    QFile& getFile() { return mFile; }
    int getSubType() const { return mSubType; }
    void setSubType(int subType) { mSubType = subType; }
    int getBaseTypeId() const { return mBaseTypeId; }
    double getLoggerInterval() const { return mLoggerInterval; }
    bool isNewBaseTypeRange() const { return mNewBaseTypeRange; }
    void setNewBaseTypeRange(bool newBaseTypeRange) { mNewBaseTypeRange = newBaseTypeRange; }
    int getCurrentFileSize() const { return mCurrentFileSize; }
    int getUniqueId() const { return mUniqueId; }
    void setUniqueId(int uniqueId) { mUniqueId = uniqueId; }
    // The byte position at which the last write began, where updateDatas rewrites.
    int getLastWritePosition() const { return mFilePosition; }
    void setLastWritePosition(int position) { mFilePosition = position; }
    float getScaleVoltage() const { return mScaleVoltage; }
    float getScaleCurrent() const { return mScaleCurrent; }
    void setScales(float scaleVoltage, float scaleCurrent)
    {
        mScaleVoltage = scaleVoltage;
        mScaleCurrent = scaleCurrent;
    }
    int64_t getBytesWritten() const { return mBytesWritten; }
    QString getProcessName() const { return mProcessName; }
    // Whether the eviction has already logged that this logger holds only one file.
    bool isOnlyOneFileLogged() const { return mOnlyOneFileLogged; }
    void setOnlyOneFileLogged(bool logged) { mOnlyOneFileLogged = logged; }

    // --- lifecycle

    // clearStates, then every plain member to 0 or false and both scales to 1.0.
    void reset();
    // Forgets base type and file info: the type's file list is cleared and both get Id -1 (the
    // file info also its first-data-item flag) before they are let go, so that other holders of
    // them see them as gone. mNewBaseTypeRange becomes true.
    void clearStates();

    // --- base type and files

    // Builds the in-memory type of a new logger, not yet stored: the class follows the logger
    // type; a measure type takes the whole description, an event, PQ-event or disturbance type
    // the identification only. Id -1, zero range. A type that can't be made leaves none.
    void createCurrentBaseType(QString& idString, DataMeasType& measType);
    // Reads type and file anew from the catalogue, in a retried transaction of its own.
    bool readCurrentBaseType(const std::string& description);
    // The same inside the caller's transaction, which must exist.
    bool readCurrentDatas();
    // One type with its file list; null when it can't be read or the database is down.
    std::shared_ptr<DefnBaseType> readBaseType(int id, const std::string& description);
    // One file info by Id; null when it can't be read or the database is down.
    std::shared_ptr<LoggerFileInfo> readFileInfo(int id, const std::string& description);
    // Takes UtcStart and UtcEnd of the file info from the first and last item of its file; a file
    // without items leaves them as they are.
    void readFileInfo(std::shared_ptr<LoggerFileInfo> fileInfo);
    void readCurrentFileInfo();
    // Makes the newest of the types current, read anew with its file list, and selects its
    // newest file. The newest is the one with the latest UtcStart seconds; on a tie the earlier
    // one in the vector.
    void getNewestBaseType(std::vector<DefnBaseType>& baseTypes, const std::string& description);
    // Makes the newest file of the list current. A file without items (UtcStart zero in the list
    // and in the file) is taken at once: it is a file just begun. Otherwise the latest UtcStart
    // seconds win, the earlier one in the list on a tie. Without type or files there is none.
    void getNewestFileInfo();
    // The file with the earliest UtcStart seconds; null without a type.
    std::shared_ptr<LoggerFileInfo> getOldestFileInfo();
    // Its place in the list, by seconds and then nanoseconds; -1 for an empty list.
    int getOldestFileIndex();
    // The file of the list with this Id; null where the list has none.
    std::shared_ptr<LoggerFileInfo> getFileInfo(int id);
    // The place of the current file in the list, -1 where it is not in it.
    int getCurrentFileIndex();
    // True unless a file of the list was created (UtcCreated seconds) after the current one.
    bool isCurrentNewestFileInfo();
    // Type and file are set and the file is in the type's list.
    bool isValid();
    // How many files of the list exist on the card.
    int getNumExistingFiles();
    // Sets the type's range from those of its files that hold items.
    void getFilesTimeRange();
    // The earliest UtcStart and latest UtcEnd over the type's files.
    void getUtcRange(timespec& start, timespec& end);
    // Makes the file current and appends it to the type's list; false without either.
    bool appendCurrentFileInfo(std::shared_ptr<LoggerFileInfo> fileInfo);
    // Stores the interval, for a measure type also into its description.
    void setLoggerInterval(double interval);
    // Starts a file info for a further file created at time, with this logger's kind and size.
    void initCurrentFileInfo(timespec time);

    // --- files

    // The first file of a logger: makes the file info, stores the type (unless alreadyPersisted),
    // creates the file and stores file and link, and charges the header to the quota. With
    // zeroCreated the file's creation time is 0.
    bool persistBaseType(bool alreadyPersisted, int dataBlockSize, const std::string& description,
                         bool zeroCreated);
    // A further file: the current file info must have been started (initCurrentFileInfo). The
    // file at currentIndex gets its UtcEnd = time; a negative index leaves all earlier files.
    // A time of zero seconds creates nothing.
    // storeFirst joins the catalogue's transaction of the new file, before anything else in it
    // (see storeOnLeaving).
    bool createNewFile(timespec time, int currentIndex, const std::function<bool()>& storeFirst = {});
    // Creates the current file anew, with a fresh header, where it vanished from the card, and
    // puts it back into the list where the list lost it.
    bool createCurrentFileIfNotExists();
    // Opens the current file, positioned behind its last whole item.
    bool openCurrentFile(bool write);
    // The same for the next block of the writer: the file opened last is reopened on a plain
    // descriptor, without a file object, and the block goes there by writeDatas. Any other file,
    // or one that cannot be reopened so, takes openCurrentFile(true).
    bool openCurrentFileForBlock();
    // Whether the current file is open, as a file object or on the block's descriptor.
    bool isFileOpen() const;
    // Both scales from the header of the current file.
    bool readHeaderParameters(float& scaleVoltage, float& scaleCurrent);
    // Appends numBytes (numItems items) to the open file behind its last whole item, then
    // closes it. A block that fails, or goes out only in part, is cut back out of the file, so
    // the file holds exactly what it held before; the file is closed all the same, and the next
    // open places the next block behind the last whole item. Position, size and unique id
    // follow only bytes that stayed in the file. The unique id wraps in two's complement.
    bool writeDatas(const char* data, int numItems, int numBytes);
    // Rewrites at the position where the last write began, or at the given position (which
    // becomes that position), then closes the file. A failed write is logged; the result does
    // not depend on it.
    bool updateDatas(const char* data, int numBytes);
    bool updateDatas(const char* data, int numBytes, int position);
    // Charges the quota. removed comes back false when the charge cost this logger its current
    // file; the type and file are then read anew from the catalogue.
    std::shared_ptr<LoggerFileInfo> addDataSize(int size, bool check, bool& removed, timespec time);

    // --- catalogue

    // Stores current file and type; first reloads them where another logger changed the type.
    bool updateCurrentDatas(const std::string& description);
    // What updateCurrentDatas stores of the file a logger is leaving, as a step for the
    // transaction that begins the next file, so that a change of file is one commit: the current
    // file (the newest, as updateCurrentDatas selects it first) and the type as they stand now.
    // Where another access changed the type since it was read, both are read anew first, in a
    // transaction that only reads. Empty where the database is down or there is no type, as
    // updateCurrentDatas then stores nothing either.
    std::function<bool()> storeOnLeaving(const std::string& description);
    // Forgets which files were seen to hold items (see mFilesWithItems).
    void forgetFilesWithItems();
    // Stores the current file info and the type.
    bool updateDatabaseEntities();
    // Stores every file info of the list and the type.
    bool updateAllDatabaseEntities();
    // Reloads the type after the catalogue changed behind this object. True only when no file
    // remained and, with createIfEmpty, a first file was begun anew (whatever that gave): a
    // caller reads it as the news that a new file was started, not as success.
    bool readDatabaseChanges(bool createIfEmpty);
    // Removes the file of this Id from the list, the catalogue and the card; false where the
    // list has no such file.
    bool removeFileInfo(int id);
    // Removes the file at index from card, list and catalogue and credits its bytes.
    bool removeFileAndUpdate(int index);
    // Removes a file of the list that is not the current one and holds no item, from card,
    // list and catalogue; false where it holds items or is not in the list.
    bool removeEmptyFile(const std::shared_ptr<LoggerFileInfo>& file);
    // Removes the list entries whose files are gone; nothing while no file exists at all.
    bool removeNonExistingFileInfos();
    // The same for every file but the current one, in one retried transaction.
    bool removeMissingFileEntries();
    // Deletes the current type, or the given one, from the catalogue (its files stay).
    bool deleteDatas(const std::string& description);
    bool deleteDatas(const std::string& description, std::shared_ptr<DefnBaseType> baseType);
    // Deletes every type of this logger's kind with this identification. An empty identification
    // stands for every logger of the kind.
    bool deleteAllDatas(const QString& idString, const std::string& description);

private:
    void closeFileIfOpen();
    // The steps of writeDatas. writeBlockAt writes the block at start with a positioned write;
    // the error number of a refused or failed write, 0 otherwise. written receives the bytes that
    // reached the file.
    int writeBlockAt(qint64 start, const char* data, int numItems, int numBytes, qint64& written);
    // After a failed write: takes the block back out of the file, logs the failure, closes the
    // file, and counts the whole items that could not be taken back.
    void abandonFailedBlock(qint64 start, qint64 written, int numItems, int numBytes, int error);
    // Logs a write of this logger's data that failed with the error number.
    void trackWriteError(int error);
    // After a block that did not reach the file whole: cuts the file back to start, where the
    // block began. Where the cut fails, the count of bytes of whole items of the block that stay
    // in the file; 0 otherwise.
    qint64 takeBackFailedBlock(qint64 start, qint64 written, int itemSize);
    void closeAfterWrite();
    // The descriptor that a block or a rewrite goes to: the block's own, else the file object's.
    int writeDescriptor() const;
    void closeBlockDescriptor();
    // A new file whose catalogue row could not be stored: it goes from the card while it holds
    // no item, so that no file without a row is ever written to.
    void removeUncataloguedFile(const std::shared_ptr<LoggerFileInfo>& file);
    // Position, size, bytes written and unique id follow the bytes that reached the file.
    void advanceBy(qint64 bytes, int numItems, qint64 fileSize);
    // True where the current file is the one whose full open was remembered, under the same
    // root and time zone, so that mFile still bears its name and its header holds the scales
    // remembered with it.
    bool isKnownFile(const LoggerFileInfo& info) const;
    void rememberOpenedFile(const LoggerFileInfo& info);
    void forgetOpenedFile();

    // The current file as its last full open (LoggerFileSystem::openFile) found it: what its name
    // is made of, and the scales its header holds. A data file's header is written once, when the
    // file is created, so the writer's reopen for every further block neither builds the name
    // anew nor reads the header again. Forgotten wherever this object creates a file.
    struct KnownFile {
        const LoggerFileInfo* info = nullptr;
        DataTimespec created = {0, 0};
        LoggerDataType dataType = LoggerDataType::NONE;
        uint32_t guidLow = 0;
        uint32_t guidHigh = 0;
        int32_t headerSize = 0;
        int32_t dataBlockSize = 0;
        QString root;
        QByteArray timeZone;
        QString name;
        QByteArray path; // name in the file system's encoding
        float scaleVoltage = 0.0f;
        float scaleCurrent = 0.0f;
    };
    KnownFile mKnownFile;
    // LoggerFileSystem::hasDataItems, answered from memory for a file that was seen to hold
    // items before; getFilesTimeRange checks the card's root first.
    bool hasDataItems(LoggerFileInfo* file);
    // Files of this logger known to hold items, by what names them (creation stamp, type and
    // unique part) under the card's root. A file never loses its items but from outside, so the
    // answer is asked of the file system once per file rather than at every change of file.
    // Forgotten when the logger's state is cleared or its files are closed, as they are when the
    // card goes.
    struct FileKey {
        DataTimespec created;
        LoggerType type;
        LoggerDataType dataType;
        uint32_t guidLow;
        uint32_t guidHigh;
        bool operator==(const FileKey& other) const
        {
            return created.tv_sec == other.created.tv_sec && created.tv_nsec == other.created.tv_nsec &&
                   type == other.type && dataType == other.dataType && guidLow == other.guidLow &&
                   guidHigh == other.guidHigh;
        }
    };
    struct FileKeyHash {
        // The unique part of the name is random: it spreads the keys by itself.
        std::size_t operator()(const FileKey& key) const
        {
            return std::hash<uint64_t>()((static_cast<uint64_t>(key.guidHigh) << 32) | key.guidLow);
        }
    };
    std::unordered_set<FileKey, FileKeyHash> mFilesWithItems;
    QString mFilesWithItemsRoot;
    // The size of the open file when it was opened, -1 where unknown; with the one writer it
    // gives the size after a write without asking the file system again.
    qint64 mSizeAtOpen = -1;

    int mSubType = 0;
    int mBaseTypeId = 0;
    double mLoggerInterval = 0.0;
    QFile mFile;
    // The current file reopened for one block without a file object, -1 while it is not; open
    // only within writeDatas, from openCurrentFileForBlock to the close after the block.
    int mBlockDescriptor = -1;
    bool mNewBaseTypeRange = true;
    int mCurrentFileSize = 0;
    LoggerMemoryInterface mMemory;
    int mUniqueId = 0;
    int mFilePosition = 0;
    bool mOnlyOneFileLogged = false;
    float mScaleVoltage = 1.0f;
    float mScaleCurrent = 1.0f;
    std::shared_ptr<DefnBaseType> mCurrentBaseType;
    std::shared_ptr<LoggerFileInfo> mCurrentFileInfo;
    QString mProcessName;
    QMutex mSaveAccess{QMutex::Recursive};
    QMutex mUnusedMutex; // made with the object and never locked
    LoggerType mLoggerType;
    LoggerDataType mLoggerDataType;
    int mDataBlockSize;
    int64_t mBytesWritten = 0;
};

using PtrLoggerAccess = std::shared_ptr<LoggerAccess>;

#pragma once

#include "qzlogger_export.h"

#include "DataMeasType.h"
#include "LoggerFileInfo.h"
#include "LoggerHeader.h"
#include "LoggerState.h"
#include "LoggerTypes.h"

#include <QString>

#include <ctime>
#include <memory>
#include <string>

class LoggerAccess;
class NonVolatileInterface;

using PtrLoggerAccess = std::shared_ptr<LoggerAccess>;

// The abstract writer of one logger: one measured quantity, or one event or operator log, with
// its own type row in the catalogue and its own chain of data files. Derived classes name
// themselves (getLoggerName, getConfiguratedMeasuredTypeId) and fix the item size
// (getDataBlockSize); this class brings the logger from nothing to a state in which items can be
// written, writes blocks of items, and takes the logger down and up again.
//
// Registration. A logger enters LoggerList and its access object LoggerAccessList during its own
// construction, before any derived part exists, and leaves both in its destructor.
//
// Threads. LoggerList drives initializeLogger, startLogger, stopLogger, closeFile and reOpenFile,
// on the card client's thread when the card comes and goes, while the writer's thread may write.
// writeDatas, updateDatas, deleteActualLogger, startLogger and reOpenFile take the recursive
// mSaveAccess of the access object for their whole run, closeFile once the cache is flushed (a
// cache's lock is always taken before its logger's); the catalogue mutex of LoggerDb is only
// taken inside, through retried transactions. initializeLogger on its own takes no lock: it must
// not run while another thread writes to the same logger.
//
// Outcome of initializing: the result of initializeLogger is always true; what happened is
// getLoggerState() (1 disabled, 4 failed, 5 initialized), isEnabled() and isInitialized().
class QZLOGGER_EXPORT LoggerBase {
public:
    // Every data file begins with a header of this size.
    static constexpr int kHeaderSize = kLoggerHeaderSize;

    // dataBlockSize is the size of one item in bytes, as the access object takes it.
    LoggerBase(LoggerType loggerType, LoggerDataType loggerDataType, int dataBlockSize);
    // A fresh logger of the same type, data type and item size; no state is copied.
    LoggerBase(const LoggerBase& other);
    LoggerBase& operator=(const LoggerBase&) = delete;

    virtual ~LoggerBase();

    // Begins a further file, created at `time` (which also names its day folder): the old
    // file's range is stored first and its charge rounded, and the open file is closed. False
    // while the database is down or the logger is disabled, and where the new file or its row
    // cannot be made (a time of 0 seconds among them): the logger then stays in its old file.
    virtual bool createNewFile(timespec time, LoggerDataType dataType);
    virtual QString getLoggerName();
    virtual double getInterval();
    // The description of the quantity with this identification; the default description here.
    virtual DataMeasType getDataMeasType(const QString& idString);
    // Writes what waits in a cache; the base class has none and answers true.
    virtual bool flush();
    virtual void timerElapsed();
    // Forgets type and file, the current time and the per-logger quota figures, and leaves state
    // 1; the logger must be initialized anew before it writes again. The file is not closed
    // here: closeFile first.
    virtual void resetLogger();
    // Under the save mutex: closes the file, deletes every type of this logger's identification
    // from the catalogue (the files stay on the card), resets the logger and, with reinitialize,
    // initializes it anew. False while the database is down or where a type could not be
    // deleted; the logger is then not reset.
    virtual bool deleteActualLogger(bool reinitialize);
    virtual double getTimeout() const;
    virtual void timerTick(timespec time);
    // The logger's identification in the catalogue; an empty one keeps the logger disabled.
    virtual QString getConfiguratedMeasuredTypeId();
    // Finds or makes the logger's type row, takes up its files (after a power cut the files, not
    // the catalogue, give the ranges), and opens the newest behind its last whole item or begins
    // a file, also where the item size changed. The database down or no identification leave
    // state 1 and nothing else. A mobile logger that is not started is left closed.
    virtual bool initializeLogger();
    virtual int getDataBlockSize() const;
    // Called when the writer reopens the file to rewrite its last item (updateDatas).
    virtual bool readDataToUpdate();

    // --- lifecycle

    // Initializes where needed, else reopens a closed file. Marks the logger started whatever
    // the outcome, unless the database is down or the process is not the writer (false, nothing
    // changes; for a reader the last error says why). A started logger
    // answers true at once and nothing else happens.
    bool startLogger();
    // Closes the file, which leaves the logger disabled (state 1), and marks it stopped; true.
    bool stopLogger();
    // Flushes and closes the file; the logger is disabled (state 1) until it is opened again.
    void closeFile();
    // Reads the type row anew, makes a vanished file anew, reopens the file and enables the
    // logger (state 5). A logger that is not initialized, or whose type row is gone, is
    // initialized instead, with that answer. False while the database is down and where the file
    // is open already.
    bool reOpenFile();

    void setEnabled(bool enabled);
    // A mobile logger keeps its file open only while it is started.
    void setMobile(bool mobile);
    void setStarted(bool started);
    bool isEnabled();
    bool isMobile();
    bool isStarted();
    bool isInitialized();
    // Whether the last quota charge cost a file.
    bool isFileRemoved();
    bool isDatabaseInitialized();
    bool isLoggingEnabled() const;
    LoggerState getLoggerState() const;
    LoggerType getLoggerType() const;
    LoggerDataType getLoggerDataType() const;
    int getDaysPerFile();
    // A block whose last item lies this many UTC days or more after the first item of its file
    // begins a new file, where it may.
    void setDaysPerFile(int days);
    int getMaximumFileSize() const;
    // A block that finds its file larger than this begins a new file, where it may; a file of
    // exactly this size still takes it.
    void setMaximumFileSize(int bytes);
    int getFileListSize();
    int getFileTime();
    int getFilePosition();
    int getId();
    int getMeasuredTypeId() const;
    int getCurrentFileSize();
    double getUsedLoggerSize();
    // The running number that the next item gets; initializeLogger takes it from the
    // non-volatile store where there is one.
    void setFirstUniqueId(int uniqueId);
    // -1 without an access object.
    int getFirstUniqueId();
    // The store of the running item number; not owned, null for none. initializeLogger reads it
    // and every written block updates it, so it must stay alive while the logger writes.
    void setNonVolatile(NonVolatileInterface* nonVolatile);
    // The first file of a logger new to the catalogue is dated 0 seconds instead of now.
    void setZeroCreated(bool zeroCreated);
    void setHeaderChanged(bool headerChanged);
    bool isHeaderChanged() const;
    bool isDayChanged() const;
    bool isFirstWriteAfterStart() const;
    QZLOGGER_NO_EXPORT void registerLoggerAccess();
    // Reads this logger's type rows and makes the newest one current.
    void getLoggerAccessDatas();
    void setLoggerInterval();
    // False without an initialized database; otherwise the access object's answer: true when
    // a new first file was begun.
    bool readDatabaseChanges(bool createIfEmpty);
    // The access object is the library's own; it is not exported.
    QZLOGGER_NO_EXPORT PtrLoggerAccess getLoggerAccess() const;

    void logTraceMessage(const QString& text);
    void logDebugMessage(const QString& text);
    void logInfoMessage(const QString& text);
    void logWarnMessage(const QString& text);
    void logErrorMessage(const QString& text);

    // --- writing

    // Appends numItems items of getDataBlockSize() bytes, each beginning with its time stamp.
    // Gives the logger's own current file info, which it goes on changing; null where the block
    // was refused (logger not ready, empty block, order broken, new file failed). A block the card
    // does not take is cut back and logged, and still gives the file info. With checkOrder, unless
    // the type has no range yet, each stamp must be later than the one before and getCurrentUtc();
    // a breach drops the block whole, yet getCurrentUtc() moves to the last stamp before it. Only
    // with allowNewFile may a new file begin (day count, size, changed header), and of a block
    // split at a file's worth of items only the last part may.
    PtrLoggerFileInfo writeDatas(const char* data, int numItems, bool allowNewFile, bool checkOrder);
    // Rewrites the last item(s) of the current file in place and stores the state in the
    // catalogue. Equal time stamps pass here: a rewrite repeats the stamp it replaces. Takes the
    // save mutex. False where the logger is not ready, the block is empty or older than the
    // current time, or the catalogue store failed, which closes the file and reads the type anew.
    bool updateDatas(const char* data, int numItems);

    // Whether time is later than the current time, or no current time is set yet.
    bool checkUtcOrder(timespec time);
    // Whether time lies getDaysPerFile() UTC days or more after the current file's first item;
    // false for a file without an item.
    bool hasDayChanged(timespec time);
    // Whether a scale differs from the one held by more than 1/10000 of the new value.
    bool checkHeaderParameterChanged(float scaleVoltage, float scaleCurrent);
    // Holds the scales for the headers of new files and answers whether they changed; the new
    // file itself follows only after setHeaderChanged(true).
    bool setHeaderParameters(float scaleVoltage, float scaleCurrent);
    // The current file's scales into the arguments, and whether they differ from the ones held;
    // true, arguments untouched, where the file has no header to read.
    bool readHeaderParameters(float& scaleVoltage, float& scaleCurrent);
    // The item at the last write position of the open file; false where the file is not open or
    // the read comes short.
    bool readLastData(char* data);
    // Charges size bytes to the family's quota (LoggerMemoryInterface); true where that cost a
    // file, as isFileRemoved() then says.
    bool addDataSize(int size, bool check, timespec time);
    // The header word of files begun from now on.
    void setSubType(int subType);
    // Restarts the logger when checkIdStringChanged found a new identification.
    void changeMeasuredString();
    // Whether idString differs from the configured identification; changeMeasuredString acts on it.
    bool checkIdStringChanged(const QString& idString);
    // The description of the configured identification for a CYCLIC logger; the default
    // description for the other kinds.
    DataMeasType getNewMeasType();
    // Whether the logger may write: database up, initialized, enabled, a type (read anew where it
    // was dropped) and a current file.
    bool canAccessLogger();
    // Stores the ranges of the current file and type in the catalogue; false where that failed.
    bool updateAccess();
    // Opens the current file; without keepPosition the write position steps back one item where
    // the file holds one, and readUpdate then calls readDataToUpdate. Always true: whether the
    // open succeeded is not reported here.
    bool openCurrentFile(bool write, bool keepPosition, bool readUpdate);
    // Whether file index of the type's list holds no item yet; false without a type or that file.
    bool isFirstDataItem(int index);
    bool isFirstCurrentFileInfoItem();
    // Files of the type's list; -1 without a type.
    int getNumFiles();
    // The newest time accepted, against which checkUtcOrder compares.
    timespec getCurrentUtc();
    static timespec getSystemTime();

protected:
    // LoggerDebug routes development messages of the write cache through debugMessage.
    friend class LoggerDebug;

    // In a process that is not the writer: sets the last error, which names what was refused
    // ("<what> the logger '<id>'") and how to become the writer, and answers true. Only the
    // writer initializes, starts, reopens, deletes and writes loggers: a reader's file would lie
    // beside a catalogue it cannot write.
    bool refuseNonWriter(const char* what);

    // Hooks for development output; they print nothing in this build.
    void debugMessage(const QString& text);
    void debugTransactionTime(const char* text);

    PtrLoggerAccess mAccess;
    DataMeasType mMeasType;
    int mDaysPerFile = 7;
    bool mIdStringChanged = false;
    bool mFileRemoved = false;
    bool mDayChanged = false;
    int mMaximumFileSize = 1000000;
    NonVolatileInterface* mNonVolatile = nullptr; // not owned
    bool mMobile = false;
    bool mStarted = false;
    bool mZeroCreated = false;
    bool mFirstWriteAfterStart = false;
    bool mHeaderChanged = false;
    timespec mCurrentUtc{};
    bool mEnabled = false;
    bool mInitialized = false;
    LoggerState mLoggerState = 0;

private:
    void updateTimeRanges(const timespec& first, const timespec& last, const timespec& typeStart,
                          const timespec& typeEnd);
    // The steps of writeDatas. writeInParts writes a block of more than limit items in parts of
    // limit items; only the last part may begin a new file.
    PtrLoggerFileInfo writeInParts(const char* data, int numItems, int limit, int block, bool checkOrder);
    // Checks the block's stamps in turn against the newest accepted time, which moves along with
    // them; false at the first stamp out of order.
    bool acceptInOrder(const char* data, int numItems, int block);
    // Begins the new file that the day count, the size or changed scales ask for, and removes the
    // file being left where it never took an item. False, with the reasons kept, where the new
    // file could not be made.
    bool leaveForNewFile(const timespec& first, const timespec& last, const timespec& typeEnd,
                         bool sizeExceeded, const PtrLoggerFileInfo& fileBefore, bool fileBeforeEmpty);
    // Opens the current file where it is closed: for a rewrite (readUpdate) as openCurrentFile
    // does, for a block on a plain descriptor where the file is the one opened last.
    bool openFileForBlock(bool readUpdate);
    // After an open: unless keepPosition, steps the last write position back over the file's
    // last whole item, and readUpdate then calls readDataToUpdate.
    void stepBackLastWritePosition(bool keepPosition, bool readUpdate);
    // Appends the block and stores the running item number, timed as a file write.
    void writeBlock(const char* data, int numItems, int numBytes);
    void construct(LoggerType loggerType, LoggerDataType loggerDataType, int dataBlockSize);
    void failInitialization(const std::string& text);
    // The steps of initializeLogger. Each false has set the state of a failed logger.
    // buildCurrentBaseType makes the in-memory type of the identification.
    bool buildCurrentBaseType(QString& id);
    // Makes the newest catalogued type of the identification current, or stores a first one.
    bool loadOrPersistBaseType(const QString& id, const std::string& description, int& filesWalked);
    // Drops the catalogue rows of missing files, takes the range of each remaining file from the
    // file and makes the newest current; begins a new file where none remained. The number of
    // files taken up.
    int readCataloguedFiles();
    // Opens the current file and takes the newest accepted time from the files; begins a new file
    // where the item size changed.
    bool openNewestFile(int& filesWalked);
    // Stores the state of the opened file and decides whether the type's range starts anew.
    void resumeNewestFile(const std::string& description, int filesWalked);
    // Enables the logger where the catalogue keeps no rows of missing files.
    void completeInitialization(const QString& name);
    void addToDebugFile(const QString& name);
    std::string nameString();
};

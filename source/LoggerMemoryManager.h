#pragma once

#include "LoggerFileInfo.h"
#include "LoggerKey.h"
#include "LoggerMemoryInterface.h"
#include "LoggerTypes.h"
#include "TrackObject.h"

#include <QHash>
#include <QString>

#include <ctime>
#include <vector>

class DefnBaseType;
class QFile;

// The keeper of the quota accounts: one account of stored bytes per family of loggers, the pair
// (LoggerType, LoggerDataType). Quotas are percentages of the space the loggers may use on the
// card, that is the card's size minus a reserve that must stay free and minus the catalogue.
// At each block a logger writes, addDataSize charges the block and decides whether the oldest
// file of the family must go.
//
// One instance per process, a static object built at library start-up with the default quotas;
// initialize() gives the accounts their meaning once the card is known. The rest of the store
// reaches it through LoggerMemoryInterface, apart from the static operations below.
//
// No lock of its own: the hashes are touched by whichever thread writes, and the loggers'
// design serialises the writes that reach them. Eviction itself is serialised in
// LoggerAccessList::removeOldestFile.
class LoggerMemoryManager : public TrackObject {
public:
    // Above this size of card the reserve is 1%, at or below it 5%.
    static constexpr double kLargeCardBytes = 64000000000.0;
    // The card is asked for its free space at most once per this many seconds of logger time.
    static constexpr long kDiskInfoIntervalSeconds = 200;
    // The elapsed time that stands for "long ago": a time stamp of 0, or time running backwards.
    static constexpr long kElapsedUnknown = 1000000000;

    static LoggerMemoryManager& getInstance();

    LoggerMemoryManager(const LoggerMemoryManager&) = delete;
    LoggerMemoryManager& operator=(const LoggerMemoryManager&) = delete;

    // Stores the card's root, reads its sizes, sets the reserve and rebuilds every account from
    // the catalogue and the files. A full scan of the catalogue: start-up work.
    void initialize(const QString& path);
    // Refreshes total, free, used and block size: from the card service where it reports a
    // logger partition of a set size, else from statvfs of the stored path. Nothing happens
    // before LoggerDb has a card client.
    void readDiskInfo();
    // statvfs of the path, with no effect on any account.
    void readFileInfo(const QString& path);
    // Sets the family's account to readUsedMemorySize.
    void initUsedMemory(LoggerType type, LoggerDataType dataType);
    // The bytes of the family's files as the catalogue lists them, each rounded up to whole
    // blocks where a block size is known.
    double readUsedMemorySize(LoggerType type, LoggerDataType dataType);

    // The family's quota in percent of getLoggerDiskSize(); an unknown family reads as 0.
    void setMaximalLoggerSize(LoggerType type, LoggerDataType dataType, double percent);
    double getMaximalLoggerSize(LoggerType type, LoggerDataType dataType) const;

    // Charges size bytes to the family. The first charge of a family only opens its account.
    // Afterwards, with check and a positive size: where the card's free space is below the
    // reserve, or the family's share has reached its quota, the oldest file of the family goes,
    // one per call. Returns the removed file's info, else null. `removed` is true on return
    // unless a removal was chosen and failed.
    PtrLoggerFileInfo addDataSize(LoggerType type, LoggerDataType dataType, int size, QFile* file, bool check,
                                  bool& removed, timespec time);
    // Takes size bytes off the family; a family not yet known is entered with 0.
    void subtractDataSize(const LoggerTypeStruct& type, int size);

    // The family's bytes in percent of getLoggerDiskSize() (the name says size); 0 if unknown.
    double getUsedSize(LoggerType type, LoggerDataType dataType) const;
    // The family's bytes as a 32-bit number; 0 if unknown.
    int getUsedBytes(LoggerType type, LoggerDataType dataType) const;
    // The family's bytes in percent of getLoggerDiskSize(). An unknown family logs
    // "No Memory key <type>, <dataType>" and reads 0; a disk size of 0 reads 0.
    double getUsedMemoryPercent(LoggerType type, LoggerDataType dataType) const;
    // Quota minus share, in single precision; 0 if unknown or the disk size is 0.
    double getFreeMemoryPercent(LoggerType type, LoggerDataType dataType) const;

    // The catalogue's bytes, rounded up to whole blocks where a block size is known.
    double getDatabaseSize() const;
    double getDatabaseSizePercent() const;
    // Total minus reserve minus catalogue: the base of every percentage.
    double getLoggerDiskSize() const;
    // The file's bytes, rounded up to whole blocks where a block size is known.
    double getDiskFileSize(LoggerFileInfo* fileInfo) const;

    // The current type of the logger that holds the family's oldest evictable file, or null;
    // index is -1 where there is none.
    std::shared_ptr<DefnBaseType> getOldestLoggerFileInfo(LoggerType type, LoggerDataType dataType,
                                                          int& index);

    int deletedFileCount(LoggerType type, LoggerDataType dataType) const;
    void clearDeletedFiles(LoggerType type, LoggerDataType dataType);

    // Texts of the accounts, recomputed from the catalogue: as costly as a start-up scan.
    QString debugUsedMemorySize(LoggerType type, LoggerDataType dataType);
    QString debugUsedMemories();

    double getBlockSize() const { return mBlockSize; }
    double getReserve() const { return mReserve; }
    double getUsedPercent() const { return mUsedPercent; }
    QString getPath() const { return mPath; }
    timespec getTimeOfLastAdd() const { return mTimeOfLastAdd; }

    // The 29 families with a quota, in the order in which they are set up and walked.
    static const std::vector<LoggerTypeStruct>& storageClasses();

    static DiskInfo getDiskInfo();
    // Evicts the family's oldest file through LoggerAccessList; sets removed to true. Null while
    // the catalogue is not open. The file is not used.
    static PtrLoggerFileInfo removeOldestLoggerFileInfo(LoggerType type, LoggerDataType dataType, QFile* file,
                                                        bool& removed);
    // Credits the family with the bytes of a deleted file and counts the file. A family not yet
    // known is entered with 0, and its count starts at 0 with this file.
    static void subtractDeletedSize(LoggerType type, LoggerDataType dataType, int size);
    // The file's size where a block size is known; changes nothing.
    static void roundToBlockSize(const PtrLoggerFileInfo& fileInfo);
    // Every file of the family's loggers with identification filter (empty: all), oldest start
    // first; empty while the catalogue is not open.
    static std::vector<PtrLoggerFileInfo> getFileList(LoggerType type, LoggerDataType dataType,
                                                      const QString& filter);
    // Removes the files of every logger of the family from the card, rows untouched.
    static void clearMeasuredTypes(LoggerType type, LoggerDataType dataType);

private:
    LoggerMemoryManager();
    ~LoggerMemoryManager() override;

    static double dirSize(const QString& path);
    double roundUp(double bytes) const;

    static LoggerMemoryManager mInstance;

    QString mPath;
    double mTotal = 0;
    double mFree = 0;
    double mUsed = 0;
    double mUsedPercent = 0;
    double mBlockSize = 0;
    double mReserve = 0;
    timespec mTimeOfLastAdd{0, 0};
    QHash<LoggerTypeStruct, double> mUsedSizes;
    QHash<LoggerTypeStruct, double> mMaximalSizes;
    QHash<LoggerTypeStruct, int> mDeletedFileCounts;
    std::vector<LoggerType> mMeasuredTypes;
};

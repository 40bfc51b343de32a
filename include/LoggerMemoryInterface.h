#pragma once

#include "qzlogger_export.h"

#include "LoggerFileInfo.h"
#include "LoggerTypes.h"

#include <QString>

#include <ctime>
#include <vector>

class QFile;

// The card's sizes in bytes as the quota accounts last read them.
struct QZLOGGER_EXPORT DiskInfo {
    double total = 0;
    double free = 0;
    double used = 0;
};

// The quota facade through which loggers and the host reach the accounts of stored bytes, one
// per family of loggers (LoggerType, LoggerDataType). It has no data of its own; make one
// wherever it is needed. Each operation forwards to the process's one memory manager and adds
// no locking: the write path's callers are serialised by the loggers' design.
//
// Quotas are percentages of the space the loggers may use: the card's size minus a reserve
// that must stay free (5%, or 1% on a card above 64 GB) minus the catalogue file.
class QZLOGGER_EXPORT LoggerMemoryInterface {
public:
    LoggerMemoryInterface() = default;
    virtual ~LoggerMemoryInterface();

    // Reads the card at path (the disk name), sets the reserve and rebuilds every account from
    // the catalogue and the files, then logs the accounts at debug level. Start-up work: a scan
    // of the catalogue, and a second one for the text where debug logging is on. LoggerDb calls
    // it once the catalogue is open.
    void initialize(const QString& path);
    // Refreshes the card's sizes: from the card service where it reports a logger partition of
    // a set size (measured once per process), else from statvfs of the disk.
    void readDiskInfo();
    // statvfs of the path, with no effect on the accounts.
    void readFileInfo(const QString& path);
    DiskInfo getDiskInfo();

    // Sets the family's account to the bytes of its files as the catalogue lists them.
    void initUsedMemory(LoggerType type, LoggerDataType dataType);
    // The family's quota in percent; an unknown family reads 0.
    void setMaximalLoggerSize(LoggerType type, LoggerDataType dataType, double percent);
    double getMaximalLoggerSize(LoggerType type, LoggerDataType dataType);

    // Charges size bytes to the family's account. The first charge of a family only opens the
    // account. After that, with check and a positive size, a family that has reached its quota,
    // or a card whose free space is below the reserve, loses its oldest file that is not a
    // logger's only one, at most one per call: the info of the removed file comes back,
    // otherwise a null pointer. `removed` is true on return unless a removal was chosen and
    // failed. `file` is the writer's file, `time` the time stamp of the data charged (zero
    // where there is none): the card is asked for its sizes at most once per 200 s of it.
    PtrLoggerFileInfo addDataSize(LoggerType type, LoggerDataType dataType, int size, QFile* file, bool check,
                                  bool& removed, timespec time);
    // The bytes of the family's files from the catalogue and the card: a full scan.
    double readUsedMemorySize(LoggerType type, LoggerDataType dataType);
    // The family's bytes in percent of the loggers' space (the name says size).
    double getUsedLoggerSize(LoggerType type, LoggerDataType dataType);
    // The family's bytes; 0 for a family without an account.
    int getUsedBytes(LoggerType type, LoggerDataType dataType);
    // The allocation block of the card in bytes; 0 where sizes are not rounded.
    double getBlockSize();
    // The catalogue file in percent of the card (the name says size).
    double getDatabaseSize();
    // Files evicted from the family since the count was last cleared.
    int deletedFileCount(LoggerType type, LoggerDataType dataType);
    void clearDeletedFileCount(LoggerType type, LoggerDataType dataType);
    // The identification strings of the family's loggers in the catalogue, each once.
    std::vector<QString> readIds(LoggerType type, LoggerDataType dataType);
};

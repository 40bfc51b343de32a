#pragma once

#include "qzlogger_export.h"

#include "LoggerFileInfo.h"
#include "LoggerHeader.h"
#include "LoggerTypes.h"

#include <QDateTime>
#include <QString>
#include <ctime>

class QFile;
class LoggerPerformanceCounter;

// Owns the tree of data files below one root directory, and everything done inside a data
// file: the 44-byte header, recovery on opening, the binary search by time and the reads of
// ranges. All operations are static and work on one process-wide instance. Nothing is cached:
// every read opens, reads and closes a file of its own, so readers in other processes work
// beside the one writer without any lock. The class takes no lock itself; callers keep apart
// what must not overlap. setPath must come before any other call.
class QZLOGGER_EXPORT LoggerFileSystem {
public:
    virtual ~LoggerFileSystem();

    // Texts of the data types: the tag that starts a file name, and the item size in bytes
    // (0 where no file may be made from it). The flag only matters for HISTOGRAM: non-zero
    // selects the 200-class form.
    static int getDataItemSize(LoggerDataType dataType, int flag = 0);
    static QString loggerDataTypeString(LoggerDataType dataType);

    // The tree. Numbers are plain decimal: 2026/7/3.
    static void setPath(const QString& path);
    static QString getPath();
    static QString getFullDayFolderPath(int year, int month, int day);
    static QString getFullWeekFolderPath(int year, int week);
    static QString getFullFileName(const LoggerFileInfo* info);
    static QDateTime getDateTime(const LoggerFileInfo* info);
    static bool createFolder(int year, int month, int day);
    static bool createWeekFolder(int year, int week);
    static bool removeFolder(int year, int month, int day);
    static bool removeAllFiles(const QString& path);
    static bool RemoveLoggerFolder();
    static bool removeFile(const LoggerFileInfo* info);
    static bool fileExists(LoggerFileInfo* info);
    static void createFileUuid(LoggerFileInfo& info);
    static void initFileInfo(timespec created, LoggerType type, LoggerDataType dataType, int blockSize,
                             LoggerFileInfo* info);
    static time_t getTimeStamp(int year, int month, int day, int hour);
    static int getBiggestFolderNumber(const QString& path);
    static void getNewestDate(int& year, int& month, int& day);
    static QString toString(LoggerFileInfo* info);

    // The single last-error text of the process; every failure overwrites it.
    static void setLastError(const QString& error);
    static QString getLastError();

    // Inside a file. `file` is the writer's own open-file object.
    static bool createFile(LoggerFileInfo* info, QFile& file, int baseTypeId, int headerWord, int uniqueId,
                           float parameter1, float parameter2);
    static bool openFile(LoggerFileInfo* info, QFile& file, int itemIndex, int baseTypeId, bool create,
                         int headerWord, int uniqueId, float& parameter1, float& parameter2);
    // The writer's reopen for its next block of the file that `file` already names and that it
    // opened with openFile before, without building the name or reading the header, which the
    // caller knows from that open. The file info's position is set behind the last whole item,
    // as openFile sets it, but QFile's own position is left at 0: the caller writes at the file
    // info's position with a positioned write. `size` receives the file's size. False, with the
    // file closed, where the file is missing or holds no whole header; the caller then takes
    // openFile, which creates or recovers the file.
    static bool reopenFile(LoggerFileInfo* info, QFile& file, qint64& size);
    static bool readHeader(QFile& file, LoggerHeader& header);
    static bool readHeader(LoggerFileInfo* info, LoggerHeader& header);
    static bool updateData(QFile& file, LoggerFileInfo* info, char* data, int size, int position);
    static int writeData(const QString& fileName, int itemSize, int count, char* data);
    static int getFileSize(LoggerFileInfo* info);
    static bool hasDataItems(LoggerFileInfo* info);
    static int getNumDataItems(LoggerFileInfo* info, int unused = 0);
    static int getUniqueId(LoggerFileInfo* info);

    // Binary search by time: the byte offset of an item, or -1 for a file without items.
    static int getUtcPosition(LoggerFileInfo* info, timespec utc, int blockSize, bool upper);
    static int getBufferSize(LoggerFileInfo* info, timespec start, timespec end, int maxItems, int blockSize);
    static int getNumItems(LoggerFileInfo* info, timespec start, timespec end, int maxItems, int blockSize);
    static int getEventBufferSize(LoggerFileInfo* info, int count, timespec utc, int blockSize);
    static bool readUtcRange(LoggerFileInfo* info, timespec& first, timespec& last, int unused = 0);
    static int readData(LoggerFileInfo* info, timespec start, timespec end, int maxItems, int blockSize,
                        char* buffer, int& firstItemIndex);
    static int readSingleDataElements(LoggerFileInfo* info, timespec start, timespec end, int maxItems,
                                      int blockSize, int elementOffset, int elementSize, char* buffer,
                                      int& firstItemIndex);
    static int readEventData(LoggerFileInfo* info, int firstItem, timespec end, int blockSize, int maxItems,
                             char* buffer, int& firstItemIndex);

    // Time spent in the writer's file writes.
    static LoggerPerformanceCounter mWritePerformance;

private:
    LoggerFileSystem() = default;
    LoggerFileSystem(const LoggerFileSystem&) = delete;
    LoggerFileSystem& operator=(const LoggerFileSystem&) = delete;

    QString mLastError;
    QString mPath;

    static LoggerFileSystem mInstance;
};

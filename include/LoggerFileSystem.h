#pragma once

#include "qzlogger_export.h"

#include "LoggerFileInfo.h"
#include "LoggerHeader.h"
#include "LoggerTypes.h"

#include <QByteArray>
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
    // A negative month gives the year folder, a negative day the month folder.
    static QString getFullDayFolderPath(int year, int month, int day);
    // `<root>/<year>/KW<week>`.
    static QString getFullWeekFolderPath(int year, int week);
    // The day folder of getDateTime's date, the data type's tag, both guid halves in upper-case
    // hex without leading zeros, ".bin". For null the text "getFullFileName : nullptr", which
    // names no file.
    static QString getFullFileName(const LoggerFileInfo* info);
    // Local midnight of 1970-01-01 plus UtcCreated, in local time: the UTC date and time of the
    // creation where the process's zone has kept one offset since 1970, shifted by the change
    // where it has not; that midnight itself for null. The same time names the folder when a file
    // is made and when it is sought.
    static QDateTime getDateTime(const LoggerFileInfo* info);
    // Makes the day folder and its parents; true where it exists already. False with the last
    // error "Cannot create directory".
    static bool createFolder(int year, int month, int day);
    // True whether or not the folder could be made; a failure leaves no error text.
    static bool createWeekFolder(int year, int week);
    // Removes an empty folder, named as by getFullDayFolderPath; false where it is missing or
    // still holds anything. No file is ever removed here.
    static bool removeFolder(int year, int month, int day);
    // Removes path with everything below it; true also where it does not exist.
    static bool removeAllFiles(const QString& path);
    // Removes the whole root with its files; false without a root or where it does not exist.
    static bool RemoveLoggerFolder();
    // Removes the data file of info and nothing else; false for null or where it cannot be removed.
    static bool removeFile(const LoggerFileInfo* info);
    // False for null.
    static bool fileExists(LoggerFileInfo* info);
    // New random guid halves; the rest of info stays.
    static void createFileUuid(LoggerFileInfo& info);
    // Fills a new file info: creation time, kinds, the 44-byte header, the item size, no item
    // yet, a new guid. Nothing happens for null.
    static void initFileInfo(timespec created, LoggerType type, LoggerDataType dataType, int blockSize,
                             LoggerFileInfo* info);
    // UTC seconds of that hour of that date; no time zone is involved.
    static time_t getTimeStamp(int year, int month, int day, int hour);
    // The largest folder name below path read as a decimal number; names that are no number
    // count as 0, and an empty or missing folder gives 0.
    static int getBiggestFolderNumber(const QString& path);
    // Follows the biggest numbers down from the root; a level without a numbered folder leaves
    // itself and the levels below it 0.
    static void getNewestDate(int& year, int& month, int& day);
    // The logger type's prefix ("cycl ", "evnt ", ...) and the full name; empty for null.
    static QString toString(LoggerFileInfo* info);

    // The single last-error text of the process, without a lock. Only the operations that say so
    // set it, a success may leave a warning in it (openFile's recovery, a changed file name),
    // and nothing clears it.
    static void setLastError(const QString& error);
    static QString getLastError();

    // Inside a file. `file` is the writer's own open-file object. createFile and openFile point it
    // at info's file; where it named another one, the last error says "ATTENSION: Filename change".
    //
    // Makes the day folder and writes the header at the start of the file that info names; an
    // existing file keeps its items. `file` is left closed and mFilePosition is 44. False for
    // null, with "could not create folder", or with the text of the failed open or write; a file
    // this call made without its whole header is removed again.
    static bool createFile(LoggerFileInfo* info, QFile& file, int baseTypeId, int headerWord, int uniqueId,
                           float parameter1, float parameter2);
    // The writer's open: true with `file` open at item itemIndex or, for a negative index, behind
    // the last whole item (a torn one is overwritten by the next write); mFilePosition follows and
    // parameter1/2 get the file's scales. A missing file is created only with create, else false,
    // "open file: <code>" ("cannot create file" where creating fails). A file without a whole
    // 44-byte header, or any file under a row with item size 0, is made anew and left closed: true,
    // last error "<name> logger file size". A header size below 44 or beyond a whole header, a
    // negative item size or a place past an int: false with that text, the file closed and as it is.
    static bool openFile(LoggerFileInfo* info, QFile& file, int itemIndex, int baseTypeId, bool create,
                         int headerWord, int uniqueId, float& parameter1, float& parameter2);
    // The writer's reopen for its next block of the file that `file` already names and that it
    // opened with openFile before, without building the name or reading the header, which the
    // caller knows from that open. The file info's position is set behind the last whole item,
    // as openFile sets it, but QFile's own position is left at 0: the caller writes at the file
    // info's position with a positioned write. `size` receives the file's size. False, with the
    // file closed, where the file is missing or holds no whole header; the caller then takes
    // openFile, which creates or recovers the file. Also false, touching nothing, for a file
    // object that is open already or has no name, and for a row with negative sizes.
    static bool reopenFile(LoggerFileInfo* info, QFile& file, qint64& size);
    // The same reopen on a plain descriptor of the file at `path`, its name in the file system's
    // encoding: no file object is opened. `descriptor` receives it, or -1 where the reopen failed
    // as reopenFile fails, and the caller then takes openFile.
    static bool reopenDescriptor(LoggerFileInfo* info, const QByteArray& path, int& descriptor, qint64& size);
    // The 44 bytes at the file's current position, which moves past them; false where the file
    // is not open or shorter than a header.
    static bool readHeader(QFile& file, LoggerHeader& header);
    // The header of info's file, opened and closed for the read. False only for null or a file
    // that cannot be opened: a file too short for its header gives true and leaves header as it was.
    static bool readHeader(LoggerFileInfo* info, LoggerHeader& header);
    // Writes size bytes at position into the open `file`, then seeks back to mFilePosition; the
    // result is that of the seek, a failed write only leaves its text as last error. A negative
    // position or size writes nothing. False for null info, a missing file or one not open.
    static bool updateData(QFile& file, LoggerFileInfo* info, char* data, int size, int position);
    // An export: count items of itemSize bytes into fileName, replaced from its start, without a
    // header. The file's size afterwards, short where a write failed (logged); -1 where it cannot
    // be opened. A count or item size below 1 gives an empty file.
    static int writeData(const QString& fileName, int itemSize, int count, char* data);
    // -1 for null, 0 for a missing file; sizes beyond an int read as INT32_MAX.
    static int getFileSize(LoggerFileInfo* info);
    // Whether the file is longer than info's header, whatever the item size; false for null, a
    // missing file or a negative header size.
    static bool hasDataItems(LoggerFileInfo* info);
    // Whole items behind the header, by info's sizes: a torn last item does not count. 0 for
    // null, a missing file or a malformed row. The second argument is ignored.
    static int getNumDataItems(LoggerFileInfo* info, int unused = 0);
    // The header's uniqueId, the running number of the file's first item; -1 for null, a
    // missing file or one too short to hold it.
    static int getUniqueId(LoggerFileInfo* info);

    // The read side: the header size comes from info, the item size from blockSize. Only whole
    // items are searched and read: a torn last item, which the writer may be appending, is never
    // part of a range.
    //
    // Binary search by time: the byte offset of the item at utc, the first of a run of equal
    // stamps (a run that reaches the last item gives the last). Between two items: the later with
    // upper, the earlier without. Before the first item the first, at or after the last the last,
    // whatever upper says. -1 for null, a block size below 1, a missing file, a file without a
    // whole item, or an item that cannot be read as far as its time stamp.
    static int getUtcPosition(LoggerFileInfo* info, timespec utc, int blockSize, bool upper);
    // Bytes of the items from the first at or after start to the last at or before end, cut to
    // maxItems items (0 gives 0, a negative count is no bound). A range outside the items still
    // yields the nearest end item; one between two neighbours gives 0, an inverted one a negative
    // size. 0 where the search finds no item.
    static int getBufferSize(LoggerFileInfo* info, timespec start, timespec end, int maxItems, int blockSize);
    // The same range in items.
    static int getNumItems(LoggerFileInfo* info, timespec start, timespec end, int maxItems, int blockSize);
    // Bytes of up to count items that end with the last item at or before utc (the first item
    // for an earlier utc) and stop at the first item; 0 for a negative count or where the search
    // finds no item.
    static int getEventBufferSize(LoggerFileInfo* info, int count, timespec utc, int blockSize);
    // The stamps of the first and the last whole item, by info's sizes; false, with first and last
    // untouched, for null, a missing file, one without a whole item or a malformed row. The last
    // argument is ignored.
    static bool readUtcRange(LoggerFileInfo* info, timespec& first, timespec& last, int unused = 0);
    // Reads getBufferSize's range into buffer, which must hold that many bytes, and sets
    // firstItemIndex to the running number of the first item read. The result is the size as
    // computed, not as read: bytes that a file cut meanwhile no longer gives are zeros. 0, buffer
    // and firstItemIndex untouched, where the search finds no item; a null buffer, or a size of 0
    // or below, reads nothing. -1 for null, a block size below 1 or a file that cannot be opened.
    static int readData(LoggerFileInfo* info, timespec start, timespec end, int maxItems, int blockSize,
                        char* buffer, int& firstItemIndex);
    // Packs the elementSize bytes at elementOffset of each item of readData's range into buffer
    // and answers the range's size in whole-item bytes, which the loop fills: behind the range it
    // reads later items, behind the file zeros, so take only as many elements as there are items.
    // Otherwise as readData; also -1 for an element size below 1 or an element before the file.
    static int readSingleDataElements(LoggerFileInfo* info, timespec start, timespec end, int maxItems,
                                      int blockSize, int elementOffset, int elementSize, char* buffer,
                                      int& firstItemIndex);
    // From item number firstItem (0 is the file's first) to the last item at or before end, at
    // most maxItems where that is above 0; firstItemIndex gets firstItem's running number. Size
    // rule as readData; a firstItem behind end gives a negative size and reads nothing. -1 for a
    // negative firstItem (firstItemIndex untouched), null, a block size below 1 or a file that
    // cannot be opened; 0 where the search finds no item.
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

#pragma once

#include "qzlogger_export.h"

#include "DataItemsCalculator.h"
#include "DataMeasType.h"
#include "DefnBaseType.h"
#include "FileListInfo.h"
#include "HistogramCalculator.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerDebug.h"
#include "LoggerFileInfo.h"
#include "LoggerFileSystem.h"
#include "LoggerHeader.h"
#include "LoggerReadSession.h"
#include "LoggerResult.h"
#include "LoggerTimeStamp.h"
#include "LoggerTypes.h"
#include "StatisticCalculator.h"

#include <QString>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <memory>
#include <new>
#include <vector>

// The engine of the read API: it turns a logger's id into its catalogued type, works out which
// data files a range or a count of items touches, and reads their items straight into one
// result array. It holds no data; everything a call needs lives on its stack, so any thread of
// a reader may use it. The catalogue is the only index: the true time range of each file is
// read anew at every call, because the writer keeps appending while readers read.
//
// Reads by time pause on purpose: 200 ms before answering null after a failed lookup, 50 ms
// after a successful read that found files. The pauses keep readers that poll from starving
// the writer of the card and of the catalogue.
class QZLOGGER_EXPORT LoggerApiBase {
public:
    LoggerApiBase();
    virtual ~LoggerApiBase();
    LoggerApiBase(const LoggerApiBase&) = delete;
    LoggerApiBase& operator=(const LoggerApiBase&) = delete;

    // Identification. One id may be catalogued once per configuration: getBaseTypeId prefers
    // the first entry that has files, else the first entry; -1 for an unknown id, without a
    // pause. Files are counted through the measured-type table: of several entries of another
    // family the first answers.
    int getBaseTypeId(LoggerType type, LoggerDataType dataType, const QString& id);
    int getDefnBaseTypeId(DefnBaseType& baseType);
    // The rows of the id's types in catalogue order, their own columns only, without files; empty
    // while the store is not initialised or where the read failed.
    std::vector<DefnBaseType> readBaseTypes(LoggerType type, LoggerDataType dataType, QString id);

    // Type loading, each in a retried transaction; null when the store is not initialised or
    // the type cannot be read. readBaseType logs a failed transaction as fatal; the typed forms
    // answer null for a negative id and for an id that their family's table does not hold.
    std::shared_ptr<DefnBaseType> readBaseType(LoggerType type, int id);
    std::shared_ptr<DefnBaseType> readMeasuredType(int id);
    std::shared_ptr<DefnBaseType> readEventType(int id);
    std::shared_ptr<DefnBaseType> readPqEventType(int id);
    std::shared_ptr<DefnBaseType> readDisturbType(int id);
    std::shared_ptr<DefnBaseType> readOperatorType(int id);
    // The description of the first logger of that id; the default description where there is none.
    DataMeasType getDataMeasType(const QString& id, LoggerType type, LoggerDataType dataType);
    // One description per catalogued logger of that id, duplicates kept.
    std::vector<DataMeasType> getDataMeasTypes(LoggerType type, LoggerDataType dataType, QString id);

    // The items of the logger between start and end, both included, file after file in the
    // catalogue's order, oldest first; maxItems below 1 means no bound. Null when the type cannot
    // be read (after the pause of a failed lookup), for an end before the start within a file,
    // without memory, or where a file grew past the array between sizing and reading; a file gone
    // meanwhile ends the read with what was read. A result with zero items, without a pause, when
    // no file lies in the range; a read that found files pauses kReadPause. header receives the
    // header of the last file read, its scales defaulted where they are 0.0, and firstItemId the
    // unique id of the first item read from that file. Both stay as they are when no file is read.
    // Every null answer leaves a last error that names the catalogue id and the range: "no logger
    // with the catalogue id <n> of type <family> in the catalogue: ..." or "the read of the logger
    // with the catalogue id <n> from <start> to <end> failed: ...".
    template <typename T, typename I>
    std::shared_ptr<LoggerResult<T, I>> getValues(LoggerType type, int baseTypeId, timespec start,
                                                  timespec end, int maxItems, int& firstItemId,
                                                  LoggerHeader& header);

    // Export: the items of start to end of the logger baseTypeId (getValues with maxItems) into
    // fileName, exactly as they lie in memory, one after the other, without a header; the file is
    // opened write-only, so that an existing one holds the new items alone afterwards. A failed
    // read and a range without items write no file. What happened goes to the log: the size
    // written (-1 where the file cannot be opened) and each item's time; a file that did not get
    // every byte also leaves an error line and the last error.
    template <typename T, typename I>
    void writeValuesToFile(LoggerType type, int baseTypeId, timespec start, timespec end, int maxItems,
                           QString fileName);
    // The writing half of an export, for a result read or computed elsewhere; with itemLines the
    // time of each item is logged too.
    template <typename T, typename I>
    void writeResultToFile(const std::shared_ptr<LoggerResult<T, I>>& result, const QString& fileName,
                           bool itemLines);

    // Histograms of a CYCLIC/HISTOGRAM logger of N classes: 2650 for frequency, 200 for mains
    // signalling.
    //
    // The records between start and end, oldest first, with no bound; null for an id that is not
    // catalogued as such a logger, for a type that cannot be loaded and where the read fails.
    // interval receives the logger's interval between values in seconds, also for a read that
    // fails later, and so does the result's mInterval. A record whose end lies before its start
    // in whole seconds has the two swapped, so that utcStart is never the later one.
    template <int N>
    std::shared_ptr<LoggerResult<DataHistogram<N>, void*>> getDatas(const QString& id, timespec start,
                                                                    timespec end, double& interval);
    // The records of the range merged into one (sumHistograms); null where getDatas answers null,
    // a record of zeros where the range holds none.
    template <int N>
    std::shared_ptr<DataHistogram<N>> getHistogram(const QString& id, timespec start, timespec end,
                                                   bool cumulative);
    // The statistic of a histogram logger of N classes: the merged histogram of start to end
    // (getHistogram, not cumulative) judged against nominal x lowerPercent / 100 and nominal x
    // upperPercent / 100, in per cent of its expected values. The classes are located on the
    // frequency scale of 2650 classes over the record's limits whatever N is, the last class N - 1
    // taking all above it. Null where getHistogram answers null.
    template <int N>
    std::shared_ptr<DataStatisticBase<float>> getStatistic(const QString& id, timespec start, timespec end,
                                                           float nominal, float lowerPercent,
                                                           float upperPercent);
    // Merges records into one histogram of start to end. The records taken are those whose end
    // (utc) lies in the range; the first one is copied whole, each further one is weighted by its
    // maxValues against the sum so far, in double precision, and adds its counts. A record whose
    // end lies outside the range is passed over, as if it were not there: it neither counts nor
    // dates the sum, and its time is missing time. Where at least one record was taken, the gaps
    // between the records beyond one interval, the time from start to the first record and the
    // time from the last record to end are booked as missing values, which lower the per cent,
    // and the sum spans start to end. Without a record taken the answer is all zeros, not
    // extended to the range. With cumulative the per cent are summed up class by class.
    // interval is the seconds between values; 0 books no missing values.
    template <int N>
    std::shared_ptr<DataHistogram<N>> sumHistograms(const LoggerResult<DataHistogram<N>, void*>& records,
                                                    timespec start, timespec end, double interval,
                                                    bool cumulative);

    // File lists. Each returns the files in the order in which they are to be read, and fills
    // in the sizes of info, whose itemSize the caller sets. The listed infos are baseType's own.
    //
    // The files whose span overlaps start..end, in catalogue order, until the items counted pass
    // maxItems; files without an item size are left out. A file that the writer has left and
    // whose catalogued range lies wholly outside start..end is passed over without being opened;
    // every other file is opened, and UtcStart and UtcEnd of its info in baseType are set to its
    // true first and last items where it can be read. The infos passed over keep the catalogue's
    // range. Empty, with the sizes 0, for null.
    std::vector<std::shared_ptr<LoggerFileInfo>> getTimeFileList(std::shared_ptr<DefnBaseType> baseType,
                                                                 timespec start, timespec end, int maxItems,
                                                                 FileListInfo& info);
    // From the newest file backward by first item, the files that hold the maxItems items at or
    // before time, listed oldest first; info.startItem is the first item to read in the oldest.
    // A file that cannot be searched adds nothing but stays listed. Empty for null or an itemSize
    // below 1.
    std::vector<std::shared_ptr<LoggerFileInfo>>
    getEventFileList(std::shared_ptr<DefnBaseType> baseType, timespec time, int maxItems, FileListInfo& info);
    // The same walk, but it passes over a file that cannot be searched, and a file of two or more
    // items whose search for time ends on its first item; info.selectedSize gets the total size.
    std::vector<std::shared_ptr<LoggerFileInfo>>
    getItemFileList(std::shared_ptr<DefnBaseType> baseType, timespec time, int maxItems, FileListInfo& info);
    // Both ends belong to the range.
    bool IsInRange(timespec t, timespec start, timespec end);
    // Whether the range and the file's span overlap.
    bool checkRange(timespec start, timespec end, timespec fileStart, timespec fileEnd);
    // Reads by position, counted backward from time: the items after time do not exist for
    // them. Both look the logger up once more, by baseTypeId where it is 0 or more, else as the
    // first catalogued logger of id, type and dataType; both return the items oldest first and
    // set firstItemId to the unique id of the first item of the first file read.
    //
    // One page: the items numItems down to numItems - count + 1, counting 1 for the newest item
    // not later than time. A page that lies wholly before the oldest item, and a count of 0,
    // give a result without items; a page that reaches past the oldest item comes short. Null
    // for an unknown logger and for a negative count. Where the list of files and the read
    // disagree the process stops: that is a fault of this class, not of the files.
    template <typename T, typename I>
    std::shared_ptr<LoggerResult<T, I>> getSelectedItems(QString id, LoggerType type, LoggerDataType dataType,
                                                         timespec time, int numItems, int count,
                                                         int baseTypeId, int& firstItemId);
    // The last maxItems items up to time; maxItems below 1 means all of them. Null where id,
    // type and dataType name no logger; a result without items where a file could not be read.
    template <typename T, typename I>
    std::shared_ptr<LoggerResult<T, I>> getBaseEvents(QString id, LoggerType type, LoggerDataType dataType,
                                                      timespec time, int maxItems, int baseTypeId,
                                                      int& firstItemId);

    // Counts the items of a range without reading them; -1 if the type cannot be read, after
    // the pause of a failed lookup. Each file's count is cut at maxItems, the sum is not.
    template <typename T, typename I>
    int getNumItems(LoggerType type, int baseTypeId, timespec start, timespec end, int maxItems);
    // Writes the file list of a count read backward from time into the log.
    template <typename T, typename I>
    void logFileList(QString id, LoggerType type, LoggerDataType dataType, timespec time, int maxItems);

    // The header of the type's first file; false without one.
    bool readHeader(std::shared_ptr<DefnBaseType> baseType, LoggerHeader& header);

    // Whether every item after the first is later than the first; the neighbours are not
    // compared with each other. False for a null result.
    template <typename T, typename I> bool checkItemsOrder(std::shared_ptr<LoggerResult<T, I>> result);

    // In-place conversion of count samples between the 16-bit form (32 bytes an item) and the
    // float form (56 bytes). data must be large enough for the float form.
    template <typename T> void convertData(char* data, int count);

    // Routine texts through LoggerDb::loggerMessage.
    void TraceValue(QString name, double value);
    void TraceString(QString text);

protected:
    // The bound handed to the file functions: there 0 means no items at all, while for a
    // reader every bound below 1 means no bound.
    static int fileBound(int maxItems) { return maxItems < 1 ? -1 : maxItems; }
    // A pause of a read, through QThread::msleep.
    static void readPause(unsigned long milliseconds);
    // The last errors of a read by catalogue id: the id is not catalogued in the family, or the
    // read of its files failed.
    static void reportUnknownBaseType(LoggerType type, int baseTypeId);
    static void reportFailedRead(int baseTypeId, timespec start, timespec end);
    // Start and end as ISO 8601 UTC times, "<start> to <end>".
    static QString rangeText(timespec start, timespec end);

    static constexpr unsigned long kFailedLookupPause = 200; // ms before answering null
    static constexpr unsigned long kReadPause = 50;          // ms after a read by time
    static constexpr unsigned long kEntryPause = 20;         // ms on entering a half-cycle or sample read

private:
    // The logger of a read by position: by baseTypeId where it is 0 or more, else the first
    // catalogued logger of id, type and dataType. noType is set where the catalogue lists no
    // such logger at all; a listed logger that cannot be loaded gives null without it.
    std::shared_ptr<DefnBaseType> pagedBaseType(LoggerType type, LoggerDataType dataType, const QString& id,
                                                int baseTypeId, bool& noType);
    // Prints both sizes and stops the process: the list of files promised fewer items than
    // the read delivered.
    [[noreturn]] static void memoryCalculationFailed(long long allocatedSize, long long actualSize);
    // The event and item lists share their walk from the newest file backward.
    std::vector<std::shared_ptr<LoggerFileInfo>> walkBackward(std::shared_ptr<DefnBaseType> baseType,
                                                              timespec time, int maxItems, FileListInfo& info,
                                                              bool itemList);
    // The one allocation of the result of getValues, of capacity items; null where there is no
    // array to read into. A member, since only this class may have an array without zeroing it.
    template <typename T, typename I>
    static std::shared_ptr<LoggerResult<T, I>>
    allocateResult(const std::vector<std::shared_ptr<LoggerFileInfo>>& files, int itemSize,
                   long long capacity);
};

// The scales that a 16-bit sample file without its own scales is read with: volts and amperes
// per unit, the reciprocals of the units per volt and per ampere.
constexpr float kDefaultVoltageScale = 0.015208827f;
constexpr float kDefaultCurrentScale = 0.00023393646f;
constexpr float kUnitsPerVolt = 65.75129f;
constexpr float kUnitsPerAmpere = 4274.665f;

namespace loggerapi_detail {

// What a read by time asks of every file: the range, both ends included, and the bound handed to
// the file functions.
struct TimeRange {
    timespec start;
    timespec end;
    int fileBound;
};

// The items of the range in one file, and the size it was written with, which may differ from
// the result's item size. A file without an item size holds none.
inline int itemsInFile(const std::shared_ptr<LoggerFileInfo>& file, const TimeRange& range, int& fileItemSize)
{
    fileItemSize = file->DataBlockSize;
    if (fileItemSize <= 0) {
        return 0;
    }
    return LoggerFileSystem::getBufferSize(file.get(), range.start, range.end, range.fileBound,
                                           fileItemSize) /
           fileItemSize;
}

// The sizing pass of a read by time: counts the items of every file into the calculator and
// their bytes, in each file's own item size, into actualSize. False where the count is broken.
inline bool sizeFiles(const std::vector<std::shared_ptr<LoggerFileInfo>>& files, const TimeRange& range,
                      int maxItems, int itemSize, DataItemsCalculator& calculator, long long& actualSize)
{
    calculator.start(maxItems, itemSize);
    for (const auto& file : files) {
        int fileItemSize = 0;
        const int items = itemsInFile(file, range, fileItemSize);
        actualSize += static_cast<long long>(items) * fileItemSize;
        calculator.calcNext(items, fileItemSize);
    }
    if (calculator.mTotalItems < 0) {
        LoggerDebug::logMessage(QStringLiteral("mTotalItems < 0"));
        return false;
    }
    LoggerDebug::logMessage(QStringLiteral("total items:") + QString::number(calculator.mTotalItems));
    return true;
}

// The capacity of the result in items of T. Files with larger items than T need more room than
// totalItems records of T.
template <typename T> long long scaledCapacity(int totalItems, long long allocatedSize, long long actualSize)
{
    long long scaledMaxItems = totalItems;
    if (allocatedSize < actualSize) {
        scaledMaxItems =
            allocatedSize > 0 ? actualSize * totalItems / allocatedSize + 1 : actualSize / sizeof(T) + 1;
        LoggerDebug::logMessage(QStringLiteral("scaled Items=") + QString::number(scaledMaxItems));
    }
    return scaledMaxItems;
}

// A header whose scales are 0.0 is read with the default scales.
inline void defaultMissingScales(LoggerHeader& header)
{
    if (header.Parameter1 == 0.0f) {
        LoggerDebug::logMessage(QStringLiteral("header.Parameter1 = 0.0"));
        header.Parameter1 = kDefaultVoltageScale;
    }
    if (header.Parameter2 == 0.0f) {
        LoggerDebug::logMessage(QStringLiteral("header.Parameter2 = 0.0"));
        header.Parameter2 = kDefaultCurrentScale;
    }
}

// How far the read pass has come: the items read so far, and the bytes and items of the file
// read last.
struct ReadProgress {
    int numItems = 0;
    int bytes = 0;
    int blockItems = 0;
};

// The read pass of a read by time, file after file into the result. The files may have grown
// since the sizing pass, so each is sized again and the count checked against the array before
// its bytes go in; false where they no longer fit.
template <typename T, typename I>
bool readFiles(const std::vector<std::shared_ptr<LoggerFileInfo>>& files, const TimeRange& range,
               int itemSize, DataItemsCalculator& calculator, LoggerResult<T, I>& result,
               long long capacityBytes, LoggerHeader& header, int& firstItemId, ReadProgress& progress)
{
    for (const auto& file : files) {
        int fileItemSize = 0;
        const int items = itemsInFile(file, range, fileItemSize);
        calculator.calcNext(items, fileItemSize);
        const long long offset = static_cast<long long>(progress.numItems) * sizeof(T);
        if (static_cast<long long>(progress.numItems) + calculator.mCurrentItems > result.mNumItems ||
            offset + static_cast<long long>(calculator.mCurrentItems) * fileItemSize > capacityBytes) {
            return false;
        }
        if (!LoggerFileSystem::readHeader(file.get(), header)) {
            LoggerDebug::logMessage(QStringLiteral("Error reading Logger Header"));
        }
        defaultMissingScales(header);
        if (fileItemSize <= 0) {
            continue;
        }
        char* target = reinterpret_cast<char*>(result.mItems) + offset;
        progress.bytes = LoggerFileSystem::readData(
            file.get(), range.start, range.end, calculator.mCurrentItems, fileItemSize, target, firstItemId);
        if (progress.bytes < 0) {
            // The file went away meanwhile: what was read so far is the answer.
            break;
        }
        progress.blockItems = progress.bytes / fileItemSize;
        if (fileItemSize != itemSize) {
            LoggerDebug::logMessage(QStringLiteral("Convert Data Item"));
        }
        progress.numItems += progress.blockItems;
    }
    return true;
}

// Cuts the result to the items read, where fewer came than counted or its capacity was scaled.
template <typename T, typename I>
void trimResult(LoggerResult<T, I>& result, const ReadProgress& progress, bool capacityScaled)
{
    if (result.mNumItems > progress.numItems || capacityScaled) {
        LoggerDebug::logMessage(QStringLiteral("Resize result") + QString::number(result.mNumItems) +
                                QStringLiteral(" to ") + QString::number(progress.numItems));
        LoggerDebug::logMessage(QStringLiteral("dataBlockSize") + QString::number(progress.bytes));
        LoggerDebug::logMessage(QStringLiteral("dataBlockNumItems") + QString::number(progress.blockItems));
        result.resize(progress.numItems);
    }
}

} // namespace loggerapi_detail

// Where every file holds records of T, the read fills each item that the result keeps and the
// zeroing of the array would be paid for nothing; other layouts leave gaps, which stay zero.
template <typename T, typename I>
std::shared_ptr<LoggerResult<T, I>>
LoggerApiBase::allocateResult(const std::vector<std::shared_ptr<LoggerFileInfo>>& files, int itemSize,
                              long long capacity)
{
    using Result = LoggerResult<T, I>;
    bool sameLayout = true;
    for (const auto& file : files) {
        sameLayout = sameLayout && file->DataBlockSize == itemSize;
    }
    std::shared_ptr<Result> result;
    try {
        const int numItems = static_cast<int>(capacity);
        result = sameLayout ? Result::createForRead(numItems) : Result::create(numItems);
    } catch (const std::bad_array_new_length&) {
        return nullptr;
    }
    if (result->mItems == nullptr && capacity > 0) {
        // Out of memory: there is no array to read into.
        return nullptr;
    }
    return result;
}

template <typename T, typename I>
std::shared_ptr<LoggerResult<T, I>> LoggerApiBase::getValues(LoggerType type, int baseTypeId, timespec start,
                                                             timespec end, int maxItems, int& firstItemId,
                                                             LoggerHeader& header)
{
    using Result = LoggerResult<T, I>;
    const std::shared_ptr<DefnBaseType> baseType = readBaseType(type, baseTypeId);
    if (baseType == nullptr) {
        reportUnknownBaseType(type, baseTypeId);
        readPause(kFailedLookupPause);
        return nullptr;
    }

    // The list, the sizing and the read see each file through one open.
    LoggerReadSession session;
    FileListInfo info;
    info.itemSize = static_cast<int32_t>(sizeof(T));
    const std::vector<std::shared_ptr<LoggerFileInfo>> files =
        getTimeFileList(baseType, start, end, maxItems, info);
    if (files.empty()) {
        LoggerDebug::logMessage(QStringLiteral("Result File List is empty"));
        return Result::create(0);
    }
    const loggerapi_detail::TimeRange range{start, end, fileBound(maxItems)};

    // Sizing pass: the one allocation of the result follows from it.
    DataItemsCalculator calculator;
    long long actualSize = 0;
    if (!loggerapi_detail::sizeFiles(files, range, maxItems, info.itemSize, calculator, actualSize)) {
        reportFailedRead(baseTypeId, start, end);
        return nullptr;
    }
    const int totalItems = calculator.mTotalItems;
    const long long allocatedSize = static_cast<long long>(sizeof(T)) * totalItems;
    const long long scaledMaxItems =
        loggerapi_detail::scaledCapacity<T>(totalItems, allocatedSize, actualSize);
    if (scaledMaxItems > INT32_MAX) {
        reportFailedRead(baseTypeId, start, end);
        return nullptr;
    }
    const std::shared_ptr<Result> result = allocateResult<T, I>(files, info.itemSize, scaledMaxItems);
    if (result == nullptr) {
        reportFailedRead(baseTypeId, start, end);
        return nullptr;
    }
    const long long capacityBytes = scaledMaxItems * static_cast<long long>(sizeof(T));
    result->mNumItems = totalItems; // the array keeps its larger capacity until the trim
    calculator.start(maxItems, info.itemSize);

    loggerapi_detail::ReadProgress progress;
    if (!loggerapi_detail::readFiles(files, range, info.itemSize, calculator, *result, capacityBytes, header,
                                     firstItemId, progress)) {
        reportFailedRead(baseTypeId, start, end);
        return nullptr;
    }
    session.end();
    loggerapi_detail::trimResult(*result, progress, allocatedSize < actualSize);
    LoggerDebug::logMessage(QStringLiteral("readed items: ") + QString::number(result->mNumItems));
    readPause(kReadPause);
    return result;
}

namespace loggerapi_detail {

inline bool isLater(const timespec& a, const timespec& b)
{
    return a.tv_sec > b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_nsec > b.tv_nsec);
}

// A count of a histogram record plus another, held to the range of the 32-bit field: the
// records come from files and may hold anything.
inline int32_t addCounts(int32_t a, int32_t b)
{
    const long long sum = static_cast<long long>(a) + b;
    return sum > INT32_MAX ? INT32_MAX : (sum < INT32_MIN ? INT32_MIN : static_cast<int32_t>(sum));
}

// A time of a trace line in seconds since 1970, to the millisecond.
inline QString traceTime(timespec time)
{
    return QString::number(LoggerTimeStamp::getSeconds(time), 'f', 3);
}

// The trace line of a statistic: its period and its counts or shares.
inline QString statisticTraceLine(const QString& prefix, timespec start, timespec end, double total,
                                  double missing, double max, double between, double violate)
{
    return prefix + traceTime(start) + QStringLiteral(" End: ") + traceTime(end) +
           QStringLiteral(" Total: ") + QString::number(total) + QStringLiteral(" Missing: ") +
           QString::number(missing) + QStringLiteral(" Max: ") + QString::number(max) +
           QStringLiteral(" Between: ") + QString::number(between) + QStringLiteral(" Violate: ") +
           QString::number(violate);
}

// The trace line of a histogram record: its period, counts, the sum of its per cent and quality.
template <int N> QString histogramTraceLine(const QString& prefix, const DataHistogram<N>& record)
{
    double percent = 0.0;
    for (int index = 0; index < N; ++index) {
        percent += record.percent[index];
    }
    return prefix + traceTime(record.utcStart) + QStringLiteral(" End: ") + traceTime(record.utc) +
           QStringLiteral(" Total: ") + QString::number(record.totalValues) + QStringLiteral(" Missing: ") +
           QString::number(record.missingValues) + QStringLiteral(" Max: ") +
           QString::number(record.maxValues) + QStringLiteral(" Sum: ") + QString::number(percent, 'g', 6) +
           QStringLiteral(" Quality: ") + QString::number(record.quality);
}

} // namespace loggerapi_detail

template <int N>
std::shared_ptr<LoggerResult<DataHistogram<N>, void*>>
LoggerApiBase::getDatas(const QString& id, timespec start, timespec end, double& interval)
{
    using Record = DataHistogram<N>;
    const int baseTypeId = getBaseTypeId(LoggerType::CYCLIC, LoggerDataType::HISTOGRAM, id);
    if (baseTypeId < 0) {
        return nullptr;
    }
    const std::shared_ptr<DefnBaseType> measuredType = readMeasuredType(baseTypeId);
    if (measuredType == nullptr) {
        reportUnknownBaseType(LoggerType::CYCLIC, baseTypeId);
        return nullptr;
    }
    interval = measuredType->getInterval();
    int firstItemId = 0;
    LoggerHeader header{};
    std::shared_ptr<LoggerResult<Record, void*>> result =
        getValues<Record, void*>(LoggerType::CYCLIC, baseTypeId, start, end, -1, firstItemId, header);
    if (result == nullptr) {
        return nullptr;
    }
    result->mInterval = interval;
    for (int index = 0; index < result->mNumItems; ++index) {
        Record& record = result->mItems[index];
        if (record.utc.tv_sec < record.utcStart.tv_sec) {
            const DataTimespec utc = record.utc;
            record.utc = record.utcStart;
            record.utcStart = utc;
        }
    }
    return result;
}

template <int N>
std::shared_ptr<DataHistogram<N>> LoggerApiBase::getHistogram(const QString& id, timespec start, timespec end,
                                                              bool cumulative)
{
    double interval = 0.0;
    const std::shared_ptr<LoggerResult<DataHistogram<N>, void*>> records =
        getDatas<N>(id, start, end, interval);
    if (records == nullptr) {
        return nullptr;
    }
    return sumHistograms<N>(*records, start, end, interval, cumulative);
}

template <typename T, typename I>
void LoggerApiBase::writeValuesToFile(LoggerType type, int baseTypeId, timespec start, timespec end,
                                      int maxItems, QString fileName)
{
    int firstItemId = 0;
    LoggerHeader header{};
    writeResultToFile<T, I>(getValues<T, I>(type, baseTypeId, start, end, maxItems, firstItemId, header),
                            fileName, true);
}

template <typename T, typename I>
void LoggerApiBase::writeResultToFile(const std::shared_ptr<LoggerResult<T, I>>& result,
                                      const QString& fileName, bool itemLines)
{
    if (result == nullptr) {
        LoggerDebug::logMessage(fileName + QStringLiteral(": no data readed"));
        return;
    }
    const int count = result->mNumItems;
    if (count <= 0) {
        // Nothing to export: no file is made, and none is emptied.
        LoggerDebug::logMessage(QStringLiteral("No data written"));
        return;
    }
    const qint64 itemSize = static_cast<qint64>(sizeof(T));
    LoggerDebug::logMessage(QStringLiteral("File write, Data Item Size: ") + QString::number(itemSize) +
                            QStringLiteral(" Items: ") + QString::number(count) +
                            QStringLiteral(" data size: ") + QString::number(itemSize * count));
    const int size = LoggerFileSystem::writeData(fileName, static_cast<int>(itemSize), count,
                                                 reinterpret_cast<char*>(result->mItems));
    LoggerDebug::logMessage(fileName + QStringLiteral(": File Size= ") + QString::number(size));
    if (size != itemSize * count) {
        // The caller hears nothing from an export; the last error and an error line say it.
        const QString text =
            QStringLiteral("the export of %1 items to '%2' wrote %3 of %4 bytes: check that its "
                           "folder exists and that it can be written")
                .arg(QString::number(count), fileName, QString::number(size < 0 ? 0 : size),
                     QString::number(itemSize * count));
        LoggerDb::getInstance().setError(text);
        LoggerDebug::logError(text);
    }
    if (!itemLines) {
        return;
    }
    for (int index = 0; index < count; ++index) {
        LoggerDebug::logMessage(QStringLiteral("   [") + QString::number(index) + QStringLiteral("]: ") +
                                QString::number(result->mItems[index].utc.tv_sec));
    }
}

template <int N>
std::shared_ptr<DataStatisticBase<float>> LoggerApiBase::getStatistic(const QString& id, timespec start,
                                                                      timespec end, float nominal,
                                                                      float lowerPercent, float upperPercent)
{
    using loggerapi_detail::statisticTraceLine;
    TraceString(QStringLiteral("getStatistic()..."));
    const std::shared_ptr<DataHistogram<N>> histogram = getHistogram<N>(id, start, end, false);
    if (histogram == nullptr) {
        return nullptr;
    }
    qzlogger::StatisticCalculator calculator(1);
    const double lower = lowerPercent / 100.0 * nominal;
    const double upper = upperPercent / 100.0 * nominal;
    calculator.setLowerLimits(&lower);
    calculator.setUpperLimits(&upper);
    calculator.getHistogramData<N>(*histogram, N - 1);
    TraceString(statisticTraceLine(QStringLiteral("getStatistic Hist,    Start: "), histogram->utcStart,
                                   histogram->utc, calculator.getTotalValues(),
                                   calculator.getMissingDataElements(), calculator.getMaxValues(),
                                   calculator.getBetweenLimits(), calculator.getLimitViolation()));
    std::shared_ptr<DataStatisticBase<float>> result =
        std::make_shared<DataStatisticBase<float>>(calculator.getDataStatistic());
    TraceString(statisticTraceLine(QStringLiteral("getStatistic Result,  Start: "), result->utcStart,
                                   result->utc, calculator.getTotalValues(), result->missing,
                                   calculator.getMaxValues(), result->betweenLimits, result->limitViolation));
    return result;
}

template <int N>
std::shared_ptr<DataHistogram<N>>
LoggerApiBase::sumHistograms(const LoggerResult<DataHistogram<N>, void*>& records, timespec start,
                             timespec end, double interval, bool cumulative)
{
    using Record = DataHistogram<N>;
    using loggerapi_detail::addCounts;
    using loggerapi_detail::histogramTraceLine;
    std::shared_ptr<Record> sum = std::make_shared<Record>(); // value-initialised: all zero
    TraceValue(QStringLiteral("sumHistogram clear, Total: "), sum->totalValues);
    qzlogger::HistogramCalculator calculator(nullptr, N);
    calculator.setInterval(interval);
    TraceValue(QStringLiteral("getHistogram, loggerInterval: "), interval);

    // An interval that is no positive number books no missing values: there is nothing to count
    // the gaps in.
    const bool hasInterval = interval > 0.0;
    const timespec intervalTime = LoggerTimeStamp::getTimeSpec(hasInterval ? interval : 0.0);
    timespec missingTime{};
    bool taken = false;
    for (int index = 0; index < records.mNumItems; ++index) {
        const Record& record = records.mItems[index];
        // A record whose end lies outside the range comes only from a damaged period (the read
        // selects by the end); it is passed over and its time is missing.
        if (!IsInRange(record.utc, start, end)) {
            continue;
        }
        if (!taken) {
            *sum = record;
            taken = true;
            TraceString(histogramTraceLine(QStringLiteral("getHistogram[0]       Start: "), *sum));
            continue;
        }
        const timespec gap = LoggerTimeStamp::subtract(record.utcStart, sum->utc);
        if (hasInterval && LoggerTimeStamp::getSeconds(gap) > interval) {
            missingTime = LoggerTimeStamp::add(missingTime, LoggerTimeStamp::subtract(gap, intervalTime));
        }
        // Each record's per cent are shares of its own maxValues: weighted by them, the sum's per
        // cent are shares of the sum of both.
        const double weight = static_cast<double>(sum->maxValues) + static_cast<double>(record.maxValues);
        if (weight > 0.0) {
            for (int item = 0; item < N; ++item) {
                sum->percent[item] =
                    static_cast<float>((static_cast<double>(record.percent[item]) * record.maxValues +
                                        static_cast<double>(sum->percent[item]) * sum->maxValues) /
                                       weight);
            }
        }
        if (loggerapi_detail::isLater(record.utc, sum->utc)) {
            sum->utc = record.utc;
        }
        if (sum->lowerLimit == sum->upperLimit) {
            sum->lowerLimit = record.lowerLimit;
            sum->upperLimit = record.upperLimit;
        }
        sum->totalValues = addCounts(sum->totalValues, record.totalValues);
        sum->maxValues = addCounts(sum->maxValues, record.maxValues);
        sum->missingValues = addCounts(sum->missingValues, record.missingValues);
        TraceString(histogramTraceLine(QStringLiteral("getHistogram[") + QString::number(index) +
                                           QStringLiteral("]        Start: "),
                                       record));
    }

    if (taken) {
        if (loggerapi_detail::isLater(missingTime, timespec{})) {
            TraceValue(QStringLiteral("getHistogram, deltadata: "), LoggerTimeStamp::getSeconds(missingTime));
            calculator.calculateMissingValues(missingTime, sum.get());
        }
        const timespec first = sum->utcStart;
        if (loggerapi_detail::isLater(first, start)) {
            const timespec before = LoggerTimeStamp::subtract(first, start);
            TraceValue(QStringLiteral("getHistogram, delta1: "), LoggerTimeStamp::getSeconds(before));
            calculator.calculateMissingValues(before, sum.get());
            sum->utcStart = start;
        }
        const timespec last = sum->utc;
        if (loggerapi_detail::isLater(end, last)) {
            const timespec after = LoggerTimeStamp::subtract(end, last);
            TraceValue(QStringLiteral("getHistogram, delta2: "), LoggerTimeStamp::getSeconds(after));
            calculator.calculateMissingValues(after, sum.get());
            sum->utc = end;
        }
    }
    if (cumulative) {
        calculator.calculateCumulativePercent(sum->percent, sum->percent);
    }
    TraceString(histogramTraceLine(QStringLiteral("getHistogram,         Start: "), *sum));
    return sum;
}

template <typename T, typename I>
std::shared_ptr<LoggerResult<T, I>>
LoggerApiBase::getSelectedItems(QString id, LoggerType type, LoggerDataType dataType, timespec time, int numItems,
                                int count, int baseTypeId, int& firstItemId)
{
    using Result = LoggerResult<T, I>;
    bool noType = false;
    const std::shared_ptr<DefnBaseType> baseType = pagedBaseType(type, dataType, id, baseTypeId, noType);
    if (baseType == nullptr) {
        return nullptr;
    }
    FileListInfo info;
    info.itemSize = static_cast<int32_t>(sizeof(T));
    const std::vector<std::shared_ptr<LoggerFileInfo>> files = getItemFileList(baseType, time, numItems, info);
    const long long available = info.selectedSize / static_cast<int32_t>(sizeof(T));
    // The arithmetic of the page in 64 bits: the caller's values may be anything.
    long long pageCount = count;
    if (available < static_cast<long long>(numItems) - pageCount) {
        return Result::create(0); // the page lies wholly before the oldest item
    }
    const long long shortfall = static_cast<long long>(numItems) - available;
    if (shortfall > 0) {
        pageCount -= shortfall;
    }
    if (pageCount < 0) {
        return nullptr;
    }
    std::shared_ptr<Result> result = Result::create(static_cast<int>(pageCount));
    if (pageCount == 0 || result->mNumItems == 0) {
        return result;
    }
    // The read starts in the oldest listed file at startItem and runs forward; it stops when
    // the page is full, so the newest items skipped by the offset stay unread.
    long long done = 0;
    int startItem = info.startItem;
    bool firstFile = true;
    char* const items = reinterpret_cast<char*>(result->mItems);
    for (const auto& file : files) {
        if (pageCount <= 0) {
            break;
        }
        int fileFirstId = 0;
        const int bytes = LoggerFileSystem::readEventData(file.get(), startItem, time, sizeof(T),
                                                          static_cast<int>(pageCount),
                                                          items + done * static_cast<long long>(sizeof(T)),
                                                          fileFirstId);
        if (firstFile) {
            firstItemId = fileFirstId;
            firstFile = false;
        }
        if (bytes < 0) {
            return Result::create(0);
        }
        startItem = 0;
        const long long itemSize = static_cast<long long>(sizeof(T));
        const long long read = bytes / itemSize;
        done += read;
        pageCount -= read;
        if (result->mNumItems * itemSize < done * itemSize) {
            memoryCalculationFailed(result->mNumItems * itemSize, done * itemSize);
        }
    }
    if (done < result->mNumItems) {
        result->resize(static_cast<int>(done));
    }
    return result;
}

template <typename T, typename I>
std::shared_ptr<LoggerResult<T, I>>
LoggerApiBase::getBaseEvents(QString id, LoggerType type, LoggerDataType dataType, timespec time, int maxItems,
                             int baseTypeId, int& firstItemId)
{
    using Result = LoggerResult<T, I>;
    bool noType = false;
    const std::shared_ptr<DefnBaseType> baseType = pagedBaseType(type, dataType, id, baseTypeId, noType);
    if (noType) {
        return nullptr;
    }
    // A listed logger that could not be loaded lists no files: the answer is empty.
    FileListInfo info;
    info.itemSize = static_cast<int32_t>(sizeof(T));
    const std::vector<std::shared_ptr<LoggerFileInfo>> files = getEventFileList(baseType, time, maxItems, info);
    if (info.totalSize < 1) {
        return Result::create(0);
    }
    std::shared_ptr<Result> result = Result::create(info.totalSize / static_cast<int32_t>(sizeof(T)));
    const long long capacity = result->mNumItems;
    long long done = 0;
    int startItem = info.startItem;
    bool firstFile = true;
    char* const items = reinterpret_cast<char*>(result->mItems);
    for (const auto& file : files) {
        // Each read is bounded by the room left in the array: a file that grew since the list was
        // made (a time in the future while the writer appends) must not write past its end.
        const long long room = capacity - done;
        if (room <= 0) {
            break;
        }
        int fileFirstId = 0;
        const int bytes = LoggerFileSystem::readEventData(file.get(), startItem, time, sizeof(T),
                                                          static_cast<int>(room),
                                                          items + done * static_cast<long long>(sizeof(T)),
                                                          fileFirstId);
        if (bytes < 0) {
            return Result::create(0);
        }
        if (firstFile) {
            firstItemId = fileFirstId;
            firstFile = false;
        }
        startItem = 0;
        done += bytes / static_cast<int>(sizeof(T));
        if (done > capacity * static_cast<long long>(sizeof(T))) {
            return Result::create(0);
        }
    }
    if (done < result->mNumItems) {
        result->resize(static_cast<int>(done));
    }
    return result;
}

template <typename T, typename I>
int LoggerApiBase::getNumItems(LoggerType type, int baseTypeId, timespec start, timespec end, int maxItems)
{
    const std::shared_ptr<DefnBaseType> baseType = readBaseType(type, baseTypeId);
    if (baseType == nullptr) {
        reportUnknownBaseType(type, baseTypeId);
        readPause(kFailedLookupPause);
        return -1;
    }
    LoggerReadSession session;
    FileListInfo info;
    info.itemSize = static_cast<int32_t>(sizeof(T));
    int count = 0;
    for (const auto& file : getTimeFileList(baseType, start, end, maxItems, info)) {
        if (file->DataBlockSize > 0) {
            count += LoggerFileSystem::getNumItems(file.get(), start, end, fileBound(maxItems),
                                                   file->DataBlockSize);
        }
    }
    return count;
}

template <typename T, typename I>
void LoggerApiBase::logFileList(QString id, LoggerType type, LoggerDataType dataType, timespec time,
                                int maxItems)
{
    const std::vector<DefnBaseType> types = readBaseTypes(type, dataType, id);
    if (types.empty()) {
        return;
    }
    const std::shared_ptr<DefnBaseType> baseType = readBaseType(type, types.front().Id);
    FileListInfo info;
    info.itemSize = static_cast<int32_t>(sizeof(T));
    const std::vector<std::shared_ptr<LoggerFileInfo>> files =
        getEventFileList(baseType, time, maxItems, info);
    for (std::size_t index = 0; index < files.size(); ++index) {
        LoggerDebug::logFileInfo(files[index], static_cast<int>(index), LOGGER_MESSAGE_ROUTINE);
    }
}

template <typename T, typename I>
bool LoggerApiBase::checkItemsOrder(std::shared_ptr<LoggerResult<T, I>> result)
{
    if (result == nullptr) {
        return false;
    }
    if (result->mNumItems < 2) {
        return true;
    }
    // Every record begins with its time stamp.
    const auto timeOf = [&](int index) {
        DataTimespec time{};
        std::memcpy(&time, &result->mItems[index], sizeof(time));
        return time;
    };
    const DataTimespec first = timeOf(0);
    for (int index = 1; index < result->mNumItems; ++index) {
        const DataTimespec time = timeOf(index);
        const bool later =
            time.tv_sec > first.tv_sec || (time.tv_sec == first.tv_sec && time.tv_nsec > first.tv_nsec);
        if (!later) {
            return false;
        }
    }
    return true;
}

namespace loggerapi_detail {

// One sample channel in the 16-bit form: the physical value times factor, limited to
// +-32767 in floating point before it is truncated, so that -32768 never occurs.
inline short toSample16(float value, float factor)
{
    const float scaled = value * factor;
    // A value that is no number has no 16-bit form; it becomes 0.
    if (std::isnan(scaled)) {
        return 0;
    }
    if (scaled > 32767.0f) {
        return 32767;
    }
    if (scaled < -32767.0f) {
        return -32767;
    }
    return static_cast<short>(scaled);
}

} // namespace loggerapi_detail

namespace loggerapi_detail {

// Sample items in place from the 16-bit form to the float form: each channel times its scale,
// voltage channels 0 to 6, current channels 7 to 10; the quality sign-extended. The buffer must
// hold count items of the float form. Widening runs from the last item to the first, so that no
// wide item overwrites a narrow one still to be read.
inline void widenSamples(char* data, int count, float voltageScale, float currentScale)
{
    using Narrow = DataSamplesBase<short, short>;
    using Wide = DataSamplesBase<float, int>;
    if (data == nullptr || count <= 0) {
        return;
    }
    for (int index = count - 1; index >= 0; --index) {
        Narrow source;
        std::memcpy(static_cast<void*>(&source), data + sizeof(Narrow) * static_cast<std::size_t>(index),
                    sizeof(Narrow));
        Wide target;
        target.utc = source.utc;
        target.quality = source.quality;
        for (int channel = 0; channel < 11; ++channel) {
            target.values[channel] =
                static_cast<float>(source.values[channel]) * (channel < 7 ? voltageScale : currentScale);
        }
        std::memcpy(data + sizeof(Wide) * static_cast<std::size_t>(index), &target, sizeof(Wide));
    }
}

// Sample items in place from the float form to the 16-bit form: each channel times its factor,
// limited to +-32767 (toSample16); the quality narrowed to 16 bits. Narrowing runs from the first
// item to the last: each item is read whole before its narrow place, which overlaps it, is
// written.
inline void narrowSamples(char* data, int count, float voltageFactor, float currentFactor)
{
    using Narrow = DataSamplesBase<short, short>;
    using Wide = DataSamplesBase<float, int>;
    if (data == nullptr || count <= 0) {
        return;
    }
    for (int index = 0; index < count; ++index) {
        Wide source;
        std::memcpy(static_cast<void*>(&source), data + sizeof(Wide) * static_cast<std::size_t>(index),
                    sizeof(Wide));
        Narrow target;
        target.utc = source.utc;
        target.quality = static_cast<short>(source.quality);
        for (int channel = 0; channel < 11; ++channel) {
            target.values[channel] =
                toSample16(source.values[channel], channel < 7 ? voltageFactor : currentFactor);
        }
        std::memcpy(data + sizeof(Narrow) * static_cast<std::size_t>(index), &target, sizeof(Narrow));
    }
}

} // namespace loggerapi_detail

template <> inline void LoggerApiBase::convertData<DataSamplesBase<float, int>>(char* data, int count)
{
    loggerapi_detail::widenSamples(data, count, kDefaultVoltageScale, kDefaultCurrentScale);
}

template <> inline void LoggerApiBase::convertData<DataSamplesBase<short, short>>(char* data, int count)
{
    loggerapi_detail::narrowSamples(data, count, kUnitsPerVolt, kUnitsPerAmpere);
}

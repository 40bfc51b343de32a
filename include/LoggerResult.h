#pragma once

#include "LoggerDataItems.h"

#include <QMutex>
#include <QMutexLocker>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

// What a read hands to its caller: one flat array of item records, read from the data files
// straight into place, with the logger's interval and an optional list of side information.
// A result is always held by a std::shared_ptr (the PtrLoggerResult... aliases below) and
// passes to aggregation or statistics without a copy.
//
// Consumers read mNumItems, mItems, mInterval and mInfo directly and without a lock: a result
// is complete when it is returned, and after that nobody changes it unless a function works on
// it as its only owner. mMutex guards the allocation and release of mItems only.
//
// Allocation failure is not reported: the result is left with no items, as an empty range
// would be. The one exception that leaves this class is std::bad_array_new_length, for a count
// that is negative or too large for the array's size in bytes.
template <typename LoggerValueType, typename LoggerInfoType = void*> class LoggerResult {
public:
    // The items are read and written as raw bytes: zeroed whole, copied by resize, filled
    // straight from the data files.
    static_assert(std::is_trivially_copyable<LoggerValueType>::value, "result items must be plain records");

    // Allocates numItems items and sets every byte of them to zero, also where a record's
    // default constructor presets a field. mNumItems is 0 if the allocation fails.
    explicit LoggerResult(unsigned int numItems);
    LoggerResult(const LoggerResult&) = delete;
    LoggerResult& operator=(const LoggerResult&) = delete;
    virtual ~LoggerResult();

    // The object and its control block in one allocation; the array is zeroed once more.
    static std::shared_ptr<LoggerResult> create(int numItems);

    // Changes the number of items and keeps the first ones. It always reallocates, also to the
    // same size and when shrinking. New items are as the record's default constructor leaves
    // them, which for most records is undefined. A failed allocation loses all items: mItems
    // is then null and mNumItems 0. A negative count throws std::bad_array_new_length and keeps
    // the items.
    void resize(int numItems);

    // Releases the array: mItems null, mNumItems 0, mInfo empty.
    void clear();

    int mNumItems;                     // items in use; a getter may lower it after create
    LoggerValueType* mItems;           // may be null when mNumItems is 0
    double mInterval;                  // the logger's interval in seconds, 0.0 unless set
    std::vector<LoggerInfoType> mInfo; // side information, empty unless a getter fills it
    QMutex mMutex;                     // guards the allocation and release of mItems

private:
    friend class LoggerApiBase;
    struct Unzeroed {};
    LoggerResult(unsigned int numItems, Unzeroed);
    // For a read that overwrites every item it keeps: the array is not zeroed, since the
    // bytes of each kept item come from a data file and the rest is cut off before the result
    // is handed out. Null-safe like create; a separate allocation for object and control block.
    static std::shared_ptr<LoggerResult> createForRead(int numItems);

    // new[] in its non-throwing form: null when memory is short. A count that is negative or
    // whose size in bytes does not fit a size_t throws, before anything is allocated.
    static LoggerValueType* allocateItems(long long numItems);
    // Every byte of the first mNumItems items to zero. The caller holds mMutex.
    void zeroItems();
};

template <typename LoggerValueType, typename LoggerInfoType>
LoggerResult<LoggerValueType, LoggerInfoType>::LoggerResult(unsigned int numItems)
    : mNumItems(static_cast<int>(numItems)), mItems(allocateItems(numItems)), mInterval(0.0)
{
    QMutexLocker locker(&mMutex);
    if (mItems == nullptr) {
        mNumItems = 0;
    } else {
        zeroItems();
    }
}

template <typename LoggerValueType, typename LoggerInfoType>
LoggerResult<LoggerValueType, LoggerInfoType>::LoggerResult(unsigned int numItems, Unzeroed)
    : mNumItems(static_cast<int>(numItems)), mItems(allocateItems(numItems)), mInterval(0.0)
{
    QMutexLocker locker(&mMutex);
    if (mItems == nullptr) {
        mNumItems = 0;
    }
}

template <typename LoggerValueType, typename LoggerInfoType>
std::shared_ptr<LoggerResult<LoggerValueType, LoggerInfoType>>
LoggerResult<LoggerValueType, LoggerInfoType>::createForRead(int numItems)
{
    return std::shared_ptr<LoggerResult>(new LoggerResult(static_cast<unsigned int>(numItems), Unzeroed{}));
}

template <typename LoggerValueType, typename LoggerInfoType>
LoggerResult<LoggerValueType, LoggerInfoType>::~LoggerResult()
{
    clear();
}

template <typename LoggerValueType, typename LoggerInfoType>
std::shared_ptr<LoggerResult<LoggerValueType, LoggerInfoType>>
LoggerResult<LoggerValueType, LoggerInfoType>::create(int numItems)
{
    // A negative count becomes a huge unsigned one, which the constructor refuses.
    auto result = std::make_shared<LoggerResult>(static_cast<unsigned int>(numItems));
    QMutexLocker locker(&result->mMutex);
    if (result->mItems != nullptr) {
        result->zeroItems();
    }
    return result;
}

template <typename LoggerValueType, typename LoggerInfoType>
void LoggerResult<LoggerValueType, LoggerInfoType>::resize(int numItems)
{
    QMutexLocker locker(&mMutex);
    LoggerValueType* items = allocateItems(numItems);
    if (mNumItems == 0) {
        // A result without items: nothing to keep. An array left behind (create(0) makes one
        // of no items, a getter may lower the count by hand) is released unread.
        delete[] mItems;
        mItems = items;
        if (items != nullptr) {
            mNumItems = numItems;
        }
        return;
    }
    if (items == nullptr) {
        delete[] mItems;
        mItems = nullptr;
        mNumItems = 0;
        return;
    }
    std::copy_n(mItems, std::min(mNumItems, numItems), items);
    delete[] mItems;
    mItems = items;
    mNumItems = numItems;
}

template <typename LoggerValueType, typename LoggerInfoType>
void LoggerResult<LoggerValueType, LoggerInfoType>::clear()
{
    QMutexLocker locker(&mMutex);
    delete[] mItems;
    mItems = nullptr;
    mNumItems = 0;
    mInfo.clear();
}

template <typename LoggerValueType, typename LoggerInfoType>
LoggerValueType* LoggerResult<LoggerValueType, LoggerInfoType>::allocateItems(long long numItems)
{
    // The count must fit mNumItems, and its size in bytes a size_t: on a 32-bit target some
    // 400000 histogram records already do not.
    constexpr std::size_t kMaxItems = SIZE_MAX / sizeof(LoggerValueType);
    if (numItems < 0 || numItems > INT_MAX || static_cast<unsigned long long>(numItems) > kMaxItems) {
        throw std::bad_array_new_length();
    }
    return new (std::nothrow) LoggerValueType[static_cast<std::size_t>(numItems)];
}

template <typename LoggerValueType, typename LoggerInfoType>
void LoggerResult<LoggerValueType, LoggerInfoType>::zeroItems()
{
    // Records are trivially copyable, so their bytes may be set directly; the cast keeps the
    // compiler from objecting to records whose default constructor presets a field.
    std::memset(static_cast<void*>(mItems), 0, sizeof(LoggerValueType) * static_cast<std::size_t>(mNumItems));
}

// The results of the read API, one per item record.
using PtrLoggerResultVtq = std::shared_ptr<LoggerResult<DataXtq<float>>>;
using PtrLoggerResultItq = std::shared_ptr<LoggerResult<DataXtq<int>>>;
using PtrLoggerResultDtq = std::shared_ptr<LoggerResult<DataXtq<double>>>;
using PtrLoggerResultMean = std::shared_ptr<LoggerResult<DataMean>>;
// The texts of the events; each item's stringIndex is the position of its text in mInfo.
using PtrLoggerResultEvent = std::shared_ptr<LoggerResult<DataEvent, std::string>>;
using PtrLoggerResultPqEvent = std::shared_ptr<LoggerResult<DataPqEvent>>;
using PtrLoggerResultRseEvent = std::shared_ptr<LoggerResult<DataRseEvent>>;
using PtrLoggerResultSignalEvent = std::shared_ptr<LoggerResult<DataSignalEvent>>;
using PtrLoggerResultOperator = std::shared_ptr<LoggerResult<DataOperator>>;
using PtrLoggerResultDisturb = std::shared_ptr<LoggerResult<DataDisturb>>;
using PtrLoggerResultSignalVoltages = std::shared_ptr<LoggerResult<DataSignalVoltages>>;
using PtrLoggerResultSamples = std::shared_ptr<LoggerResult<DataSamplesBase<float, int>>>;
using PtrLoggerResultSamples16 = std::shared_ptr<LoggerResult<DataSamplesBase<short, short>>>;
using PtrLoggerResultHarmonics = std::shared_ptr<LoggerResult<DataHarmonics>>;
using PtrLoggerResultArray41 = std::shared_ptr<LoggerResult<DataXtqArray<float, 41>>>;
using PtrLoggerResultPercentile41 = std::shared_ptr<LoggerResult<DataPercentileBase<3, 41>>>;
using PtrLoggerResultPercentile51 = std::shared_ptr<LoggerResult<DataPercentileBase<3, 51>>>;
using PtrLoggerResultComplexArray = std::shared_ptr<LoggerResult<DataComplexArray>>;
using PtrLoggerResultPrevailingArray = std::shared_ptr<LoggerResult<DataXtqArrayExtended<float, 357>>>;
using PtrLoggerResultContributionArray = std::shared_ptr<LoggerResult<DataXtqArrayExtended<float, 123>>>;
using PtrLoggerResultStatistic = std::shared_ptr<LoggerResult<DataStatisticBase<long>>>;
using PtrLoggerResultHistogram2650 = std::shared_ptr<LoggerResult<DataHistogram<2650>>>;
using PtrLoggerResultHistogram200 = std::shared_ptr<LoggerResult<DataHistogram<200>>>;
using PtrLoggerResultMeanMinMax7 = std::shared_ptr<LoggerResult<DataMeanMinMaxArray<float, 7>>>;
using PtrLoggerResultMeanMinMax12 = std::shared_ptr<LoggerResult<DataMeanMinMaxArray<float, 12>>>;
using PtrLoggerResultMeanMinMax14 = std::shared_ptr<LoggerResult<DataMeanMinMaxArray<float, 14>>>;
using PtrLoggerResultMeanMinMax16 = std::shared_ptr<LoggerResult<DataMeanMinMaxArray<float, 16>>>;
using PtrLoggerResultMeanMinMax20 = std::shared_ptr<LoggerResult<DataMeanMinMaxArray<float, 20>>>;
using PtrLoggerResultMeanMinMax23 = std::shared_ptr<LoggerResult<DataMeanMinMaxArray<float, 23>>>;
using PtrLoggerResultMeanMinMax24 = std::shared_ptr<LoggerResult<DataMeanMinMaxArray<float, 24>>>;
using PtrLoggerResultQuadMeter = std::shared_ptr<LoggerResult<DataQuadMeter>>;
using PtrLoggerResultSystemMeter = std::shared_ptr<LoggerResult<DataSystemMeter>>;
using PtrLoggerResultAggregatedFloat = std::shared_ptr<LoggerResult<DataAggregated<float>>>;
using PtrLoggerResultAggregatedDouble = std::shared_ptr<LoggerResult<DataAggregated<double>>>;

// The results of several loggers of one family read over one span, and the configId of the
// logger of each: entry i of names belongs to entry i of results. A result may be null where
// its logger could not be read.
template <typename T> struct LoggerResultList {
    std::vector<std::shared_ptr<LoggerResult<T, void*>>> results;
    std::vector<std::string> names;
};

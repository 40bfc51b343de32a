// The histogram getters of LoggerApi: the records of a frequency (2650 classes) or
// mains-signalling (200 classes) logger of a range, as they are stored or merged into one.

#include "LoggerApi.h"

#include "LoggerDataItems.h"

namespace {

constexpr int kFrequencyClasses = 2650;
constexpr int kMainsSignallingClasses = 200;

} // namespace

// Each getter answers null at once where the store is not valid. Where the engine answers null
// for an id that the catalogue does not hold as a histogram logger, the last error names the id;
// the lookup is asked once more on that path only, so that a read that succeeds costs nothing.

PtrLoggerResultHistogram2650 LoggerApi::getFrequencyDatas(const QString& id, timespec start, timespec end,
                                                          double& interval)
{
    if (!mDatabase.checkValidity()) {
        return nullptr;
    }
    PtrLoggerResultHistogram2650 result = getDatas<kFrequencyClasses>(id, start, end, interval);
    if (result == nullptr && getBaseTypeId(LoggerType::CYCLIC, LoggerDataType::HISTOGRAM, id) < 0) {
        reportUnknownId(LoggerType::CYCLIC, LoggerDataType::HISTOGRAM, id);
    }
    reportReversedRange(start, end);
    return result;
}

PtrLoggerResultHistogram200 LoggerApi::getMainsSignallingDatas(const QString& id, timespec start,
                                                               timespec end, double& interval)
{
    if (!mDatabase.checkValidity()) {
        return nullptr;
    }
    PtrLoggerResultHistogram200 result = getDatas<kMainsSignallingClasses>(id, start, end, interval);
    if (result == nullptr && getBaseTypeId(LoggerType::CYCLIC, LoggerDataType::HISTOGRAM, id) < 0) {
        reportUnknownId(LoggerType::CYCLIC, LoggerDataType::HISTOGRAM, id);
    }
    reportReversedRange(start, end);
    return result;
}

std::shared_ptr<DataHistogram<2650>> LoggerApi::getFrequencyHistogram(const QString& id, timespec start,
                                                                      timespec end, bool cumulative)
{
    if (!mDatabase.checkValidity()) {
        return nullptr;
    }
    std::shared_ptr<DataHistogram<2650>> sum = getHistogram<kFrequencyClasses>(id, start, end, cumulative);
    if (sum == nullptr && getBaseTypeId(LoggerType::CYCLIC, LoggerDataType::HISTOGRAM, id) < 0) {
        reportUnknownId(LoggerType::CYCLIC, LoggerDataType::HISTOGRAM, id);
    }
    reportReversedRange(start, end);
    return sum;
}

std::shared_ptr<DataHistogram<200>> LoggerApi::getMainsSignallingHistogram(const QString& id, timespec start,
                                                                           timespec end, bool cumulative)
{
    if (!mDatabase.checkValidity()) {
        return nullptr;
    }
    std::shared_ptr<DataHistogram<200>> sum =
        getHistogram<kMainsSignallingClasses>(id, start, end, cumulative);
    if (sum == nullptr && getBaseTypeId(LoggerType::CYCLIC, LoggerDataType::HISTOGRAM, id) < 0) {
        reportUnknownId(LoggerType::CYCLIC, LoggerDataType::HISTOGRAM, id);
    }
    reportReversedRange(start, end);
    return sum;
}

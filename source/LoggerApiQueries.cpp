// The typed queries of LoggerApi beyond the reads by time: the catalogue's identifications,
// descriptions, time ranges and files, the half-cycle values and the frequency derived from them,
// the samples in both their forms, the quality filter of the means and the correction of a
// catalogue entry.

#include "LoggerApi.h"

#include "DefnDisturbType.h"
#include "DefnMeasureType.h"
#include "DefnTypePersistance.h"
#include "FileInfoPersistance.h"
#include "LoggerApiReads.h"
#include "LoggerDb.h"
#include "LoggerDebug.h"
#include "LoggerFileSystem.h"
#include "LoggerMemoryInterface.h"
#include "LoggerMemoryManager.h"
#include "LoggerRetriedTransaction.h"

#include <QByteArray>

#include <algorithm>
#include <cstring>

namespace {

void message(const QString& text, LoggerMessageType type)
{
    LoggerDb::getInstance().loggerMessage(text.toStdString(), type);
}

} // namespace

// ---------------------------------------------------------------------------------------------
// The catalogue.

double LoggerApi::getMaximalLoggerSize(LoggerType type, LoggerDataType dataType)
{
    LoggerMemoryInterface memory;
    return memory.getMaximalLoggerSize(type, dataType);
}

double LoggerApi::getUsedLoggerSize(LoggerType type, LoggerDataType dataType)
{
    LoggerMemoryInterface memory;
    return memory.getUsedLoggerSize(type, dataType);
}

bool LoggerApi::getTimeRange(LoggerType type, LoggerDataType dataType, const QString& id, timespec& start,
                             timespec& end)
{
    if (!mDatabase.checkValidity()) {
        return false;
    }
    const int baseTypeId = getBaseTypeId(type, dataType, id);
    if (baseTypeId < 0) {
        reportUnknownId(type, dataType, id);
        return false;
    }
    const std::shared_ptr<DefnBaseType> baseType = readBaseType(type, baseTypeId);
    if (baseType == nullptr) {
        reportUnknownBaseType(type, baseTypeId);
        return false;
    }
    // The range as catalogued: the files are not looked at.
    start = baseType->UtcStart;
    end = baseType->UtcEnd;
    return true;
}

std::vector<QString> LoggerApi::getMeasIDs(LoggerType type)
{
    std::vector<QString> ids;
    if (!mDatabase.checkValidity()) {
        return ids;
    }
    if (type == LoggerType::NONE) {
        // Family by family; an identification of two families stands twice.
        for (const LoggerType family : {LoggerType::CYCLIC, LoggerType::EVENT, LoggerType::PQEVENT,
                                        LoggerType::DISTURB, LoggerType::OPERATOR}) {
            const std::vector<QString> familyIds = getMeasIDs(family);
            ids.insert(ids.end(), familyIds.begin(), familyIds.end());
        }
        return ids;
    }
    DefnTypePersistance persistance;
    for (const auto& baseType : persistance.readPtrBaseTypes(type, LoggerDataType::NONE, QString())) {
        if (baseType == nullptr) {
            continue;
        }
        QString id = baseType->getConfigId();
        if (!existsId(ids, id)) {
            ids.push_back(id);
        }
    }
    return ids;
}

std::vector<DataMeasType> LoggerApi::getDataMeasTypes(const QString& id, LoggerType type,
                                                      LoggerDataType dataType)
{
    std::vector<DataMeasType> result;
    if (!mDatabase.checkValidity()) {
        return result;
    }
    DefnTypePersistance persistance;
    const std::vector<std::shared_ptr<DefnBaseType>> baseTypes =
        persistance.readPtrBaseTypes(type, dataType, id);
    if (baseTypes.empty()) {
        LoggerDb::getInstance().setError(QStringLiteral("Data item (") + id +
                                         QStringLiteral(") doesn't exist"));
        return result;
    }
    for (const auto& baseType : baseTypes) {
        const std::shared_ptr<DefnMeasureType> measuredType = persistance.getMeasuredType(baseType);
        if (measuredType == nullptr) {
            continue;
        }
        const DataMeasType& stored = measuredType->MeasType;
        DataMeasType description;
        description.configId = stored.configId;
        description.phase = stored.phase;
        description.unit = stored.unit;
        description.prefix = stored.prefix;
        description.unitFactor = stored.unitFactor;
        description.quantityType = stored.quantityType;
        description.measValueType = stored.measValueType;
        description.interval = stored.interval;
        description.index = stored.index;
        // One description per identification, however many configurations catalogued it.
        if (!existsDataMeasType(result, description.configId)) {
            result.push_back(description);
        }
    }
    return result;
}

std::vector<DataMeasType> LoggerApi::getMeanMeasTypes(const QString& id)
{
    return getDataMeasTypes(id, LoggerType::CYCLIC, LoggerDataType::MEAN);
}

std::vector<DataMeasType> LoggerApi::getMeterMeasTypes(const QString& id)
{
    return getDataMeasTypes(id, LoggerType::CYCLIC, LoggerDataType::DTQ);
}

std::vector<DataMeasType> LoggerApi::getHarmonicsMeasTypes(const QString& id)
{
    return getDataMeasTypes(id, LoggerType::CYCLIC, LoggerDataType::HARMONICS);
}

std::vector<DataMeasType> LoggerApi::getStatisticMeasTypes(const QString& id)
{
    return getDataMeasTypes(id, LoggerType::CYCLIC, LoggerDataType::STATISTIC);
}

std::vector<DataLoggerFile> LoggerApi::getFileList(LoggerType type, LoggerDataType dataType, QString filter)
{
    std::vector<DataLoggerFile> files;
    if (!mDatabase.checkValidity()) {
        return files;
    }
    for (const PtrLoggerFileInfo& fileInfo : LoggerMemoryManager::getFileList(type, dataType, filter)) {
        if (fileInfo == nullptr) {
            message(QStringLiteral("getFileList: filInfo = nullptr"), LOGGER_MESSAGE_FATAL);
            continue;
        }
        DataLoggerFile file;
        std::memset(&file, 0, sizeof(file));
        // The file's own family and layout: a list of every data type names each file's.
        file.type = static_cast<int32_t>(fileInfo->mType);
        file.dataType = static_cast<int32_t>(fileInfo->DataType);
        file.utcCreated = fileInfo->UtcCreated;
        file.utcStart = fileInfo->UtcStart;
        file.utcEnd = fileInfo->UtcEnd;
        file.guidLow = fileInfo->GuidLow;
        file.guidHigh = fileInfo->GuidHigh;
        const QByteArray name = LoggerFileSystem::getFullFileName(fileInfo.get()).toLatin1();
        const int length = std::min(name.size(), kLoggerFileNameSize - 1);
        std::memcpy(file.fileName, name.constData(), static_cast<std::size_t>(length));
        file.fileName[length] = '\0';
        files.push_back(file);
    }
    return files;
}

bool LoggerApi::correctDatabaseItem(QString id, DataLoggerFile& file)
{
    if (!mDatabase.checkValidity()) {
        return false;
    }
    DefnTypePersistance persistance;
    const std::vector<std::shared_ptr<DefnBaseType>> baseTypes = persistance.readPtrBaseTypes(
        static_cast<LoggerType>(file.type), static_cast<LoggerDataType>(file.dataType), id);
    if (baseTypes.empty() || baseTypes.front() == nullptr) {
        return false;
    }
    const std::shared_ptr<DefnBaseType> baseType = baseTypes.front();
    const int count = baseType->getFileListSize();
    if (count == 0) {
        return false;
    }
    bool stored = true;
    for (int index = 0; index < count; ++index) {
        const std::shared_ptr<LoggerFileInfo> fileInfo = baseType->getFileInfo(index);
        if (fileInfo == nullptr || fileInfo->GuidLow != file.guidLow || fileInfo->GuidHigh != file.guidHigh) {
            continue;
        }
        fileInfo->UtcStart = file.utcStart;
        fileInfo->UtcEnd = file.utcEnd;
        // The logger's range widens to take the file's corrected range in.
        if (loggerapi_detail::isLater(baseType->UtcStart, file.utcStart)) {
            baseType->UtcStart = file.utcStart;
        }
        if (loggerapi_detail::isLater(file.utcEnd, baseType->UtcEnd)) {
            baseType->UtcEnd = file.utcEnd;
        }
        stored = retriedTransaction("correctDatabaseItem", [&]() {
            FileInfoPersistance files;
            DefnTypePersistance types;
            return files.update(fileInfo) && types.update(baseType);
        });
    }
    return stored;
}

// ---------------------------------------------------------------------------------------------
// Half-cycle values.

template <typename T>
std::shared_ptr<LoggerResult<T>> LoggerApi::readHalfCycles(LoggerDataType dataType, const QString& id,
                                                           timespec start, timespec end)
{
    if (!mDatabase.checkValidity()) {
        return nullptr;
    }
    // The volume of these loggers is the highest of the store: a reader gives way on entry.
    readPause(kEntryPause);
    return readTimeRange<T>(LoggerType::DISTURB, dataType, id, start, end);
}

PtrLoggerResultVtq LoggerApi::getRms_1_2_Values(const QString& id, timespec start, timespec end)
{
    return readHalfCycles<DataXtq<float>>(LoggerDataType::RMS, id, start, end);
}

PtrLoggerResultItq LoggerApi::getDigital_1_2_Values(const QString& id, timespec start, timespec end)
{
    return readHalfCycles<DataXtq<int>>(LoggerDataType::DIGITAL, id, start, end);
}

PtrLoggerResultVtq LoggerApi::getFrequency_1_2_Values(const QString& id, timespec start, timespec end)
{
    PtrLoggerResultVtq values = getRms_1_2_Values(id, start, end);
    if (values == nullptr || values->mNumItems < 2) {
        return values;
    }
    // A half cycle lies between two half-cycle values: the frequency is half its reciprocal. Two
    // values of the same time give an infinite frequency.
    const int last = values->mNumItems - 1;
    for (int index = 0; index < last; ++index) {
        const double seconds = LoggerTimeStamp::getSeconds(
            LoggerTimeStamp::subtract(values->mItems[index + 1].utc, values->mItems[index].utc));
        values->mItems[index].value = static_cast<float>(0.5 / seconds);
    }
    // The last value has no successor: it repeats the one before, time stamp and all.
    values->mItems[last] = values->mItems[last - 1];
    return values;
}

template <typename T>
LoggerResultList<T> LoggerApi::readAllHalfCycles(LoggerDataType dataType, const QString& id, long long timeId)
{
    LoggerResultList<T> all;
    const PtrLoggerResultRseEvent event = getSingleRseEvent(id, timeId);
    if (event == nullptr || event->mNumItems == 0) {
        return all;
    }
    // The span of the event's half-cycle recording.
    const timespec start = event->mItems[0].rms[0].utcStart;
    const timespec end = event->mItems[0].rms[0].utcEnd;
    DefnTypePersistance persistance;
    for (const auto& entry : persistance.readPtrBaseTypes(LoggerType::DISTURB, dataType, QString())) {
        if (entry == nullptr) {
            continue;
        }
        const std::shared_ptr<DefnDisturbType> disturbType =
            persistance.getDisturbType(readDisturbType(entry->Id));
        if (disturbType == nullptr) {
            continue;
        }
        int firstItemId = 0;
        LoggerHeader header{};
        all.names.push_back(disturbType->getConfigId().toStdString());
        all.results.push_back(
            getValues<T, void*>(LoggerType::DISTURB, entry->Id, start, end, -1, firstItemId, header));
    }
    return all;
}

LoggerResultList<DataXtq<float>> LoggerApi::getAllRms_1_2_Values(const QString& id, long long timeId)
{
    return readAllHalfCycles<DataXtq<float>>(LoggerDataType::RMS, id, timeId);
}

LoggerResultList<DataXtq<int>> LoggerApi::getAllDigital_1_2_Values(const QString& id, long long timeId)
{
    return readAllHalfCycles<DataXtq<int>>(LoggerDataType::DIGITAL, id, timeId);
}

// ---------------------------------------------------------------------------------------------
// Samples.

PtrLoggerResultSamples16 LoggerApi::readSamples16(int baseTypeId, timespec start, timespec end,
                                                  LoggerHeader& header)
{
    int firstItemId = 0;
    return getValues<DataSamplesBase<short, short>, void*>(LoggerType::DISTURB, baseTypeId, start, end, -1,
                                                           firstItemId, header);
}

bool LoggerApi::findSamples(const QString& id, LoggerDataType asked, int& floatId, int& shortId)
{
    if (!mDatabase.checkValidity()) {
        return false;
    }
    readPause(kEntryPause);
    floatId = getBaseTypeId(LoggerType::DISTURB, LoggerDataType::SAMPLES, id);
    shortId = getBaseTypeId(LoggerType::DISTURB, LoggerDataType::SAMPLES16, id);
    if (floatId < 0 && shortId < 0) {
        reportUnknownId(LoggerType::DISTURB, asked, id);
        readPause(kFailedLookupPause);
        return false;
    }
    return true;
}

PtrLoggerResultSamples LoggerApi::getSamplesValues(const QString& id, timespec start, timespec end, bool)
{
    int floatId = -1;
    int shortId = -1;
    if (!findSamples(id, LoggerDataType::SAMPLES, floatId, shortId)) {
        return nullptr;
    }
    PtrLoggerResultSamples samples;
    LoggerHeader header{};
    if (floatId < 0) {
        // The scales are those of the file read last: the read must be done before they are taken.
        const PtrLoggerResultSamples16 stored = readSamples16(shortId, start, end, header);
        samples = convert16BitToFloatResult(stored, header.Parameter1, header.Parameter2);
    } else {
        int firstItemId = 0;
        samples = getValues<DataSamplesBase<float, int>, void*>(LoggerType::DISTURB, floatId, start, end, -1,
                                                                firstItemId, header);
        if (samples == nullptr) {
            return LoggerResult<DataSamplesBase<float, int>>::create(0);
        }
        if (samples->mNumItems == 0) {
            // The range may lie in the logger's 16-bit days: an older recording of the same id.
            LoggerHeader shortHeader{};
            const PtrLoggerResultSamples16 older = readSamples16(shortId, start, end, shortHeader);
            samples = older == nullptr
                          ? LoggerResult<DataSamplesBase<float, int>>::create(0)
                          : convert16BitToFloatResult(older, shortHeader.Parameter1, shortHeader.Parameter2);
        }
    }
    reportReversedRange(start, end);
    if (samples == nullptr) {
        LoggerDebug::logMessage(QStringLiteral("Samples: nullptr"));
        return nullptr;
    }
    LoggerDebug::logResultInfo(QStringLiteral("Samples"), samples->mNumItems, start);
    return samples;
}

PtrLoggerResultSamples16 LoggerApi::getSamples16Values(const QString& id, timespec start, timespec end, bool)
{
    int floatId = -1;
    int shortId = -1;
    if (!findSamples(id, LoggerDataType::SAMPLES16, floatId, shortId)) {
        return nullptr;
    }
    LoggerHeader header{};
    PtrLoggerResultSamples16 samples;
    if (floatId < 0) {
        samples = readSamples16(shortId, start, end, header);
    } else {
        int firstItemId = 0;
        samples =
            convertFloatTo16BitResult(getValues<DataSamplesBase<float, int>, void*>(
                                          LoggerType::DISTURB, floatId, start, end, -1, firstItemId, header),
                                      0.0f, 0.0f);
    }
    reportReversedRange(start, end);
    return samples;
}

DataSamplesBase<short, short>* LoggerApi::convertFloatTo16Bit(DataSamplesBase<float, int>* items, int count,
                                                              float scaleVoltage, float scaleCurrent)
{
    loggerapi_detail::narrowSamples(reinterpret_cast<char*>(items), count, 1.0f / scaleVoltage,
                                    1.0f / scaleCurrent);
    return reinterpret_cast<DataSamplesBase<short, short>*>(items);
}

DataSamplesBase<float, int>* LoggerApi::convert16BitToFloat(DataSamplesBase<short, short>* items, int count,
                                                            float scaleVoltage, float scaleCurrent)
{
    loggerapi_detail::widenSamples(reinterpret_cast<char*>(items), count, scaleVoltage, scaleCurrent);
    return reinterpret_cast<DataSamplesBase<float, int>*>(items);
}

PtrLoggerResultSamples16 LoggerApi::convertFloatTo16BitResult(PtrLoggerResultSamples samples, float, float)
{
    if (samples == nullptr) {
        return nullptr;
    }
    // The 16-bit form of the store has fixed units, whatever a caller passes.
    LoggerDebug::logMessage(QStringLiteral("samples scale kU=") + QString::number(kU, 'g', 6) +
                            QStringLiteral("kI=") + QString::number(kI, 'g', 6));
    PtrLoggerResultSamples16 result = LoggerResult<DataSamplesBase<short, short>>::create(samples->mNumItems);
    for (int index = 0; index < samples->mNumItems; ++index) {
        const DataSamplesBase<float, int>& source = samples->mItems[index];
        DataSamplesBase<short, short>& target = result->mItems[index];
        target.utc = source.utc;
        target.quality = static_cast<short>(source.quality);
        for (int channel = 0; channel < 11; ++channel) {
            target.values[channel] =
                loggerapi_detail::toSample16(source.values[channel], channel < 7 ? kU : kI);
        }
    }
    result->mInterval = samples->mInterval;
    return result;
}

PtrLoggerResultSamples LoggerApi::convert16BitToFloatResult(PtrLoggerResultSamples16 samples,
                                                            float scaleVoltage, float scaleCurrent)
{
    if (samples == nullptr) {
        return nullptr;
    }
    LoggerDebug::logMessage(QStringLiteral("samples scale scaleVoltage=") +
                            QString::number(scaleVoltage, 'g', 6) + QStringLiteral(" scaleCurrent=") +
                            QString::number(scaleCurrent, 'g', 6));
    PtrLoggerResultSamples result = LoggerResult<DataSamplesBase<float, int>>::create(samples->mNumItems);
    for (int index = 0; index < samples->mNumItems; ++index) {
        const DataSamplesBase<short, short>& source = samples->mItems[index];
        DataSamplesBase<float, int>& target = result->mItems[index];
        target.utc = source.utc;
        target.quality = source.quality;
        for (int channel = 0; channel < 11; ++channel) {
            target.values[channel] =
                static_cast<float>(source.values[channel]) * (channel < 7 ? scaleVoltage : scaleCurrent);
        }
    }
    result->mInterval = samples->mInterval;
    return result;
}

// ---------------------------------------------------------------------------------------------
// Means by quality.

PtrLoggerResultMean LoggerApi::getFilteredMeanValues(const QString& id, timespec start, timespec end,
                                                     unsigned int qualityMask)
{
    int baseTypeId = -1;
    if (identifyMeasured(LoggerDataType::MEAN, id, baseTypeId, kFailedLookupPause) == nullptr) {
        return nullptr;
    }
    PtrLoggerResultMean means = readItems<DataMean>(LoggerType::CYCLIC, baseTypeId, start, end, -1, nullptr);
    reportReversedRange(start, end);
    if (means == nullptr) {
        return nullptr;
    }
    if (means->mNumItems == 0) {
        return LoggerResult<DataMean>::create(0);
    }
    // The items kept move forward in place, in their order.
    int kept = 0;
    for (int index = 0; index < means->mNumItems; ++index) {
        if ((qualityMask & means->mItems[index].quality) != 0) {
            means->mItems[kept++] = means->mItems[index];
        }
    }
    means->resize(kept);
    message(QStringLiteral("...getFilteredMeanValues()"), LOGGER_MESSAGE_ROUTINE);
    return means;
}

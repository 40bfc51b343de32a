// The exports of LoggerApi: a time range of a logger into a file of the caller's, in the plain
// form of the records one after the other. What needs care is the record type, which the
// identification string alone, or the logger it finds, has to give.

#include "LoggerApi.h"

#include "DefnMeasureType.h"
#include "DefnTypePersistance.h"
#include "LoggerDb.h"
#include "LoggerDebug.h"

namespace {

constexpr int kAllItems = -1;

// The loggers of statistics and histograms are catalogued under their source quantity; an
// export names them by what they are. The first name that the id contains decides.
struct SourceOfExport {
    const char* part;
    LoggerDataType dataType;
    const char* sourceId;
};
constexpr SourceOfExport kSources[] = {
    {"statisticloggermainssign", LoggerDataType::STATISTIC, "mean_3s.signal_3s.out.mean_out"},
    {"statisticloggerfrequency", LoggerDataType::STATISTIC, "rms.rms.systemfrequency.f_sys"},
    {"histogramloggermainssign", LoggerDataType::HISTOGRAM, "mean_3s.signal_3s.out.mean_out"},
    {"histogramloggerfrequency", LoggerDataType::HISTOGRAM, "rms.rms.systemfrequency.f_sys"},
};

// The array length of a HARMONICS file's items, told by its header.
constexpr int kHarmonics51 = 0;
constexpr int kHarmonics41 = 1;

} // namespace

void LoggerApi::reportNoData(const QString& id)
{
    TRACK_ERROR(*this, QStringLiteral("no Data found ") + id);
}

void LoggerApi::reportNoType()
{
    TRACK_ERROR(*this, QStringLiteral("measuredType == nullptr"));
}

void LoggerApi::writeMeasuredValuesToFile(const QString& id, timespec start, timespec end,
                                          const QString& fileName)
{
    if (!mDatabase.checkValidity()) {
        return;
    }
    if (isComplexAmplitude(id)) {
        TRACK_INFO(*this, QStringLiteral("write Complex values as Amplitudes"));
        writeAmplitudesToFile(id, start, end, fileName);
        return;
    }
    int baseTypeId = -1;
    bool named = false;
    for (const SourceOfExport& source : kSources) {
        if (id.contains(QLatin1String(source.part))) {
            baseTypeId = getBaseTypeId(LoggerType::CYCLIC, source.dataType, QLatin1String(source.sourceId));
            named = true;
            break;
        }
    }
    if (!named) {
        baseTypeId = getBaseTypeId(LoggerType::CYCLIC, LoggerDataType::NONE, id);
    }
    if (baseTypeId < 0) {
        reportNoData(id);
        readPause(kFailedLookupPause);
        return;
    }
    const std::shared_ptr<DefnBaseType> baseType = readMeasuredType(baseTypeId);
    if (baseType == nullptr) {
        reportNoType();
        readPause(kFailedLookupPause);
        return;
    }
    DefnTypePersistance persistance;
    const std::shared_ptr<DefnMeasureType> measuredType = persistance.getMeasuredType(baseType);
    if (measuredType == nullptr) {
        reportNoType();
        return;
    }
    LoggerHeader header{};
    const int variant = readHeader(baseType, header) ? header.headerWord : 0;

    const LoggerType cyclic = LoggerType::CYCLIC;
    switch (measuredType->mDataType) {
    case LoggerDataType::VTQ:
        writeValuesToFile<DataXtq<float>, void*>(cyclic, baseTypeId, start, end, kAllItems, fileName);
        break;
    case LoggerDataType::DTQ:
        writeValuesToFile<DataXtq<double>, void*>(cyclic, baseTypeId, start, end, kAllItems, fileName);
        break;
    case LoggerDataType::MEAN:
        writeValuesToFile<DataMean, void*>(cyclic, baseTypeId, start, end, kAllItems, fileName);
        break;
    case LoggerDataType::HISTOGRAM:
        if (id.contains(QLatin1String("frequency")))
            writeValuesToFile<DataHistogram<2650>, void*>(cyclic, baseTypeId, start, end, kAllItems,
                                                          fileName);
        else
            writeValuesToFile<DataHistogram<200>, void*>(cyclic, baseTypeId, start, end, kAllItems, fileName);
        break;
    case LoggerDataType::HARMONICS:
        // Another array length is no layout of this store: nothing is written.
        if (variant == kHarmonics51)
            writeValuesToFile<DataXtqArray<float, 51>, void*>(cyclic, baseTypeId, start, end, kAllItems,
                                                              fileName);
        else if (variant == kHarmonics41)
            writeValuesToFile<DataXtqArray<float, 41>, void*>(cyclic, baseTypeId, start, end, kAllItems,
                                                              fileName);
        break;
    case LoggerDataType::STATISTIC:
        writeValuesToFile<DataStatisticBase<long>, void*>(cyclic, baseTypeId, start, end, kAllItems,
                                                          fileName);
        break;
    case LoggerDataType::COMPLEX:
        writeValuesToFile<DataComplexArray, void*>(cyclic, baseTypeId, start, end, kAllItems, fileName);
        break;
    case LoggerDataType::PREVAILING:
        writeValuesToFile<DataXtqArrayExtended<float, 357>, void*>(cyclic, baseTypeId, start, end, kAllItems,
                                                                   fileName);
        break;
    case LoggerDataType::CONTRIBUTION:
        writeValuesToFile<DataXtqArrayExtended<float, 123>, void*>(cyclic, baseTypeId, start, end, kAllItems,
                                                                   fileName);
        break;
    case LoggerDataType::ITQ:
        writeValuesToFile<DataXtq<int>, void*>(cyclic, baseTypeId, start, end, kAllItems, fileName);
        break;
    case LoggerDataType::DIGITAL:
        writeValuesToFile<DataXtq<int>, void*>(LoggerType::DISTURB, baseTypeId, start, end, kAllItems,
                                               fileName);
        break;
    case LoggerDataType::PERCENTILE:
        writeValuesToFile<DataPercentileBase<3, 51>, void*>(cyclic, baseTypeId, start, end, kAllItems,
                                                            fileName);
        break;
    case LoggerDataType::MEAN_7:
        writeValuesToFile<DataMeanMinMaxArray<float, 7>, void*>(cyclic, baseTypeId, start, end, kAllItems,
                                                                fileName);
        break;
    case LoggerDataType::MEAN_12:
        writeValuesToFile<DataMeanMinMaxArray<float, 12>, void*>(cyclic, baseTypeId, start, end, kAllItems,
                                                                 fileName);
        break;
    case LoggerDataType::MEAN_14:
        writeValuesToFile<DataMeanMinMaxArray<float, 14>, void*>(cyclic, baseTypeId, start, end, kAllItems,
                                                                 fileName);
        break;
    case LoggerDataType::MEAN_16:
        writeValuesToFile<DataMeanMinMaxArray<float, 16>, void*>(cyclic, baseTypeId, start, end, kAllItems,
                                                                 fileName);
        break;
    case LoggerDataType::MEAN_20:
        writeValuesToFile<DataMeanMinMaxArray<float, 20>, void*>(cyclic, baseTypeId, start, end, kAllItems,
                                                                 fileName);
        break;
    case LoggerDataType::MEAN_23:
        writeValuesToFile<DataMeanMinMaxArray<float, 23>, void*>(cyclic, baseTypeId, start, end, kAllItems,
                                                                 fileName);
        break;
    case LoggerDataType::MEAN_24:
        writeValuesToFile<DataMeanMinMaxArray<float, 24>, void*>(cyclic, baseTypeId, start, end, kAllItems,
                                                                 fileName);
        break;
    case LoggerDataType::QMETER:
        writeValuesToFile<DataQuadMeter, void*>(cyclic, baseTypeId, start, end, kAllItems, fileName);
        break;
    case LoggerDataType::SMETER:
        writeValuesToFile<DataSystemMeter, void*>(cyclic, baseTypeId, start, end, kAllItems, fileName);
        break;
    default:
        // No measured record of this store: nothing is written.
        break;
    }
}

void LoggerApi::writeDisturbValuesToFile(const QString& id, timespec start, timespec end,
                                         const QString& fileName)
{
    if (!mDatabase.checkValidity()) {
        return;
    }
    LoggerDataType dataType = LoggerDataType::NONE;
    if (id.contains(QLatin1String("sample")))
        dataType = LoggerDataType::SAMPLES;
    else if (id.contains(QLatin1String("rms")))
        dataType = LoggerDataType::RMS;
    else if (id.contains(QLatin1String("signals")))
        dataType = LoggerDataType::SIGNALS;
    const int baseTypeId = getBaseTypeId(LoggerType::DISTURB, dataType, id);
    if (baseTypeId < 0) {
        reportNoData(id);
        readPause(kFailedLookupPause);
        return;
    }
    const std::shared_ptr<DefnBaseType> baseType = readDisturbType(baseTypeId);
    if (baseType == nullptr) {
        reportNoType();
        readPause(kFailedLookupPause);
        return;
    }
    const LoggerType disturb = LoggerType::DISTURB;
    switch (baseType->mDataType) {
    case LoggerDataType::RMS:
        if (id == QLatin1String("frequency"))
            writeFrequency_1_2_ValuesToFile(id, start, end, fileName);
        else
            writeValuesToFile<DataXtq<float>, void*>(disturb, baseTypeId, start, end, kAllItems, fileName);
        break;
    case LoggerDataType::SAMPLES:
        writeValuesToFile<DataSamplesBase<float, int>, void*>(disturb, baseTypeId, start, end, kAllItems,
                                                              fileName);
        break;
    case LoggerDataType::SIGNALS:
        writeValuesToFile<DataSignalVoltages, void*>(disturb, baseTypeId, start, end, kAllItems, fileName);
        break;
    case LoggerDataType::SAMPLES16:
        writeValuesToFile<DataSamplesBase<short, short>, void*>(disturb, baseTypeId, start, end, kAllItems,
                                                                fileName);
        break;
    case LoggerDataType::ITQ:
        writeValuesToFile<DataXtq<int>, void*>(LoggerType::CYCLIC, baseTypeId, start, end, kAllItems,
                                               fileName);
        break;
    case LoggerDataType::DIGITAL:
        writeValuesToFile<DataXtq<int>, void*>(disturb, baseTypeId, start, end, kAllItems, fileName);
        break;
    default: break;
    }
}

void LoggerApi::writePqEventValuesToFile(const QString& id, timespec start, timespec end,
                                         const QString& fileName)
{
    if (!mDatabase.checkValidity()) {
        return;
    }
    const int baseTypeId = getBaseTypeId(LoggerType::PQEVENT, LoggerDataType::NONE, id);
    if (baseTypeId < 0) {
        reportNoData(id);
        readPause(kFailedLookupPause);
        return;
    }
    const std::shared_ptr<DefnBaseType> baseType = readPqEventType(baseTypeId);
    if (baseType == nullptr) {
        reportNoType();
        readPause(kFailedLookupPause);
        return;
    }
    // The events as stored: damaged ranges stay as they are in an export.
    if (baseType->mDataType == LoggerDataType::PQEVENT) {
        writeValuesToFile<DataPqEvent, void*>(LoggerType::PQEVENT, baseTypeId, start, end, kAllItems,
                                              fileName);
    } else if (baseType->mDataType == LoggerDataType::SIGNALEVENT) {
        writeValuesToFile<DataSignalEvent, void*>(LoggerType::PQEVENT, baseTypeId, start, end, kAllItems,
                                                  fileName);
    }
}

template <typename T>
void LoggerApi::writeArrayToFile(LoggerDataType dataType, const QString& id, timespec start, timespec end,
                                 const QString& fileName, bool reportFailures)
{
    if (!mDatabase.checkValidity()) {
        return;
    }
    const int baseTypeId = getBaseTypeId(LoggerType::CYCLIC, dataType, id);
    if (baseTypeId < 0) {
        if (reportFailures)
            reportNoData(id);
        reportUnknownId(LoggerType::CYCLIC, dataType, id);
        readPause(kFailedLookupPause);
        return;
    }
    if (readMeasuredType(baseTypeId) == nullptr) {
        if (reportFailures)
            reportNoType();
        reportUnknownBaseType(LoggerType::CYCLIC, baseTypeId);
        readPause(kFailedLookupPause);
        return;
    }
    writeValuesToFile<T, void*>(LoggerType::CYCLIC, baseTypeId, start, end, kAllItems, fileName);
}

void LoggerApi::writeComplexValuesToFile(const QString& id, timespec start, timespec end,
                                         const QString& fileName)
{
    writeArrayToFile<DataComplexArray>(LoggerDataType::COMPLEX, id, start, end, fileName, true);
}

void LoggerApi::writePrevailingValuesToFile(const QString& id, timespec start, timespec end,
                                            const QString& fileName)
{
    LoggerDb::getInstance().loggerMessage((QStringLiteral("Prevailing Id: ") + id).toStdString(),
                                          LOGGER_MESSAGE_ROUTINE);
    writeArrayToFile<DataXtqArrayExtended<float, 357>>(LoggerDataType::PREVAILING, id, start, end, fileName,
                                                       false);
}

void LoggerApi::writeContributionValuesToFile(const QString& id, timespec start, timespec end,
                                              const QString& fileName)
{
    writeArrayToFile<DataXtqArrayExtended<float, 123>>(LoggerDataType::CONTRIBUTION, id, start, end, fileName,
                                                       false);
}

void LoggerApi::writePercentileValuesToFile(const QString& id, timespec start, timespec end,
                                            const QString& fileName)
{
    writeArrayToFile<DataPercentileBase<3, 51>>(LoggerDataType::PERCENTILE, id, start, end, fileName, false);
}

void LoggerApi::writeAmplitudesToFile(const QString& id, timespec start, timespec end, QString fileName)
{
    // The amplitudes as computed from the complex values, not the complex values themselves.
    writeResultToFile<DataHarmonics, void*>(getHarmonicsAbsolute(id, start, end), fileName, true);
}

void LoggerApi::writeFrequency_1_2_ValuesToFile(const QString& id, timespec start, timespec end,
                                                const QString& fileName)
{
    if (!mDatabase.checkValidity()) {
        return;
    }
    const LoggerDataType dataType =
        id.contains(QLatin1String("sample")) ? LoggerDataType::SAMPLES : LoggerDataType::RMS;
    const int baseTypeId = getBaseTypeId(LoggerType::DISTURB, dataType, id);
    if (baseTypeId < 0) {
        reportNoData(id);
        readPause(kFailedLookupPause);
        return;
    }
    if (readDisturbType(baseTypeId) == nullptr) {
        reportNoType();
        readPause(kFailedLookupPause);
        return;
    }
    writeResultToFile<DataXtq<float>, void*>(getFrequency_1_2_Values(id, start, end), fileName, false);
}

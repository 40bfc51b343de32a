// The harmonics and the array getters of LoggerApi. Harmonics come from one of two stores: a
// HARMONICS logger of amplitudes per identification, or, on a device with complex harmonics, the
// one COMPLEX logger of 7 channels x 51 orders, whose amplitudes are computed here at read time
// for the one channel asked for. The identification string alone says which store is meant.

#include "LoggerApi.h"

#include "LoggerApiReads.h"
#include "LoggerDb.h"
#include "LoggerDebug.h"

#include <QLatin1String>

#include <cmath>
#include <complex>
#include <initializer_list>

namespace {

constexpr unsigned int kOrders = 51;         // orders per channel in a complex item
constexpr unsigned int kComputedOrders = 50; // order 50 is never computed from the complex values
constexpr unsigned int kChannels = 7;        // channels of a complex item (357 / 51)
constexpr unsigned int kFirstCurrentChannel = 3;
constexpr float kMissingMaxLoad = 100.0f; // maximum load where the file header has none

// The magnitude of a complex value as cabsf gives it. For finite parts the C library's hypotf
// rounds to float the square root of the sum of the squares taken in double, where a float's
// square is exact and cannot overflow. That is written out here, bit for bit the same, because a
// call per order costs more than the root itself. Infinite and NaN parts go to hypotf.
inline float magnitude(std::complex<float> value)
{
    const float re = value.real();
    const float im = value.imag();
    if (std::isfinite(re) && std::isfinite(im)) {
        const double real = re;
        const double imaginary = im;
        return static_cast<float>(std::sqrt(real * real + imaginary * imaginary));
    }
    return std::hypot(re, im);
}

bool containsAny(const QString& id, std::initializer_list<const char*> parts)
{
    for (const char* part : parts) {
        if (id.contains(QLatin1String(part)))
            return true;
    }
    return false;
}

} // namespace

bool LoggerApi::isInterharmonic(const QString& id)
{
    return containsAny(id, {"_inter_"});
}

bool LoggerApi::isMagnitude_10min(const QString& id)
{
    return containsAny(id, {"select_magn_"});
}

bool LoggerApi::isDifference_10min(const QString& id)
{
    return containsAny(id, {"select_diff_"});
}

bool LoggerApi::isDifferenceUtil_10min(const QString& id)
{
    return containsAny(id, {"select_diffutil_"});
}

bool LoggerApi::isArray51_10min(const QString& id)
{
    return isMagnitude_10min(id) || isDifference_10min(id) || isDifferenceUtil_10min(id) ||
           containsAny(id, {"_amp_10min", "_calc_10min"});
}

bool LoggerApi::isPhasePhase(const QString& id)
{
    return containsAny(id, {"12", "23", "31"});
}

bool LoggerApi::isComplexAmplitude(const QString& id)
{
    return LoggerDb::getInstance().hasComplexHarmonics() && containsAny(id, {"inter_10min", "harm_10min"});
}

unsigned int LoggerApi::getChannelIndex(const QString& id)
{
    // The order of the test decides for an id that names several channels.
    const char* const channels[] = {"u1", "u2", "u3", "i1", "i2", "i3"};
    for (unsigned int index = 0; index < sizeof(channels) / sizeof(channels[0]); ++index) {
        if (id.contains(QLatin1String(channels[index])))
            return index;
    }
    return 0;
}

void LoggerApi::calculateAmplitude(DataComplexArray& source, DataHarmonics& target, unsigned int channel,
                                   float maxLoad, bool percent)
{
    target.utc = source.utc;
    target.quality = source.quality;
    if (channel >= kChannels) {
        TRACK_ERROR(*this, QStringLiteral("Channel ") + QString::number(channel) +
                               QStringLiteral(" not in the complex values"));
        return;
    }

    // A voltage is in per cent of its fundamental; so is a current where the maximum load is
    // unknown. The fundamental is known only from order 1 on: order 0 is divided by 1.0.
    float reference = 1.0f;
    bool byReference = true;
    if (channel >= kFirstCurrentChannel) {
        if (maxLoad == 0.0f) {
            TRACK_ERROR(*this, QStringLiteral("Maximum Load Current nicht im Header definiert"));
        } else {
            byReference = false;
        }
    }

    const std::complex<float>* values = source.values + channel * kOrders;
    for (unsigned int order = 0; order < kComputedOrders; ++order) {
        target.values[order] = magnitude(values[order]);
        if (!percent)
            continue;
        if (order == 1) {
            reference = target.values[1];
            if (reference == 0.0f)
                reference = 1.0f;
        }
        const float divisor = byReference ? reference : maxLoad;
        // The quotient in single precision, the per cent in double, stored as a float.
        target.values[order] = static_cast<float>(target.values[order] / divisor * 100.0);
    }
}

template <typename T>
std::shared_ptr<LoggerResult<T>> LoggerApi::readArrayRange(LoggerDataType dataType, const QString& id,
                                                           timespec start, timespec end, LoggerHeader& header,
                                                           bool checkStore, const QString& before,
                                                           const QString& after, const char* warning)
{
    // Also follows a writer that has restarted since the last call.
    if (checkStore && !mDatabase.checkValidity()) {
        return nullptr;
    }
    if (!before.isEmpty())
        TraceString(before);
    const int baseTypeId = getBaseTypeId(LoggerType::CYCLIC, dataType, id);
    // Without the check of the store an unknown id goes on to the type load, which refuses it.
    if (baseTypeId < 0 && checkStore) {
        reportUnknownId(LoggerType::CYCLIC, dataType, id);
        readPause(kFailedLookupPause);
        return nullptr;
    }
    const std::shared_ptr<DefnBaseType> measuredType = readMeasuredType(baseTypeId);
    if (measuredType == nullptr) {
        if (warning != nullptr)
            TRACK_WARN(*this, QLatin1String(warning) + QStringLiteral(", measuredType == nullptr"));
        if (baseTypeId < 0)
            reportUnknownId(LoggerType::CYCLIC, dataType, id);
        else
            reportUnknownBaseType(LoggerType::CYCLIC, baseTypeId);
        readPause(kFailedLookupPause);
        return nullptr;
    }
    LoggerDebug::logUtcRange(QStringLiteral("Id[") + QString::number(baseTypeId) +
                                 QStringLiteral("], Time Range: "),
                             measuredType->UtcStart, measuredType->UtcEnd, true);
    int firstItemId = 0;
    std::shared_ptr<LoggerResult<T>> result =
        getValues<T, void*>(LoggerType::CYCLIC, baseTypeId, start, end, -1, firstItemId, header);
    reportReversedRange(start, end);
    // A failed read is null; its last error says why.
    if (result != nullptr)
        result->mInterval = measuredType->getInterval();
    if (!after.isEmpty())
        TraceString(after);
    return result;
}

PtrLoggerResultHarmonics LoggerApi::getHarmonics(const QString& id, timespec start, timespec end,
                                                 bool complexAmplitude,
                                                 LoggerApiInterface::HarmonicConnectionType connection)
{
    if (!mDatabase.checkValidity()) {
        return nullptr;
    }
    // The wiring asked for does not fit the identification: no data, and no pause either.
    const bool phasePhase = isPhasePhase(id);
    if ((connection == CONNECTION_PHASE_PHASE && !phasePhase) ||
        (connection == CONNECTION_PHASE_NEUTRAL && phasePhase)) {
        return LoggerResult<DataHarmonics>::create(0);
    }
    // Interharmonics are never part of the complex values.
    if (complexAmplitude && !isInterharmonic(id)) {
        return getComplexAmplitudeArray(id, start, end, true);
    }
    LoggerHeader header{};
    return readArrayRange<DataHarmonics>(LoggerDataType::HARMONICS, id, start, end, header, true, QString(),
                                         QString());
}

PtrLoggerResultHarmonics LoggerApi::getHarmonicsAbsolute(const QString& id, timespec start, timespec end)
{
    if (!mDatabase.checkValidity()) {
        return nullptr;
    }
    if (isArray51_10min(id)) {
        return readHarmmonics51(id, start, end);
    }
    return getComplexAmplitudeArray(id, start, end, false);
}

PtrLoggerResultHarmonics LoggerApi::readHarmmonics51(const QString& id, timespec start, timespec end)
{
    LoggerHeader header{};
    return readArrayRange<DataHarmonics>(LoggerDataType::HARMONICS, id, start, end, header, false, QString(),
                                         QString());
}

PtrLoggerResultArray41 LoggerApi::getArray41(const QString& id, timespec start, timespec end)
{
    LoggerHeader header{};
    return readArrayRange<DataXtqArray<float, 41>>(LoggerDataType::HARMONICS, id, start, end, header, true,
                                                   QString(), QStringLiteral("...getArray41()"));
}

PtrLoggerResultPercentile41 LoggerApi::getPercentile3_41(const QString& id, timespec start, timespec end)
{
    LoggerHeader header{};
    return readArrayRange<DataPercentileBase<3, 41>>(LoggerDataType::PERCENTILE, id, start, end, header, true,
                                                     QStringLiteral("getPercentile3_41(") + id +
                                                         QStringLiteral(")..."),
                                                     QStringLiteral("...getPercentile3_41()"));
}

PtrLoggerResultPercentile51 LoggerApi::getPercentile3_51(const QString& id, timespec start, timespec end)
{
    LoggerHeader header{};
    return readArrayRange<DataPercentileBase<3, 51>>(LoggerDataType::PERCENTILE, id, start, end, header, true,
                                                     QStringLiteral("getPercentile3_51(") + id +
                                                         QStringLiteral(")..."),
                                                     QStringLiteral("...getPercentile3_51()"));
}

PtrLoggerResultComplexArray LoggerApi::getComplexArrayWithHeader(const QString& id, timespec start,
                                                                 timespec end, LoggerHeader& header)
{
    return readArrayRange<DataComplexArray>(LoggerDataType::COMPLEX, id, start, end, header, true,
                                            QStringLiteral("getComplexArray(") + id + QStringLiteral(")..."),
                                            QStringLiteral("...getComplexArray()"));
}

PtrLoggerResultComplexArray LoggerApi::getComplexArray(const QString& id, timespec start, timespec end)
{
    LoggerHeader header{};
    return getComplexArrayWithHeader(id, start, end, header);
}

PtrLoggerResultPrevailingArray LoggerApi::getPrevailingArray(const QString& id, timespec start, timespec end)
{
    LoggerHeader header{};
    return readArrayRange<DataXtqArrayExtended<float, 357>>(
        LoggerDataType::PREVAILING, id, start, end, header, true,
        QStringLiteral("getPrevailingArray(") + id + QStringLiteral(")..."),
        QStringLiteral("...getPrevailingArray()"), "getPrevailingArray");
}

PtrLoggerResultContributionArray LoggerApi::getContributionArray(const QString& id, timespec start,
                                                                 timespec end)
{
    LoggerHeader header{};
    return readArrayRange<DataXtqArrayExtended<float, 123>>(
        LoggerDataType::CONTRIBUTION, id, start, end, header, true,
        QStringLiteral("getContribution(") + id + QStringLiteral(")..."),
        QStringLiteral("...getContribution()"), "getContributionArray");
}

PtrLoggerResultHarmonics LoggerApi::getComplexAmplitudeArray(const QString& id, timespec start, timespec end,
                                                             bool percent)
{
    LoggerHeader header{};
    PtrLoggerResultComplexArray complexValues =
        getComplexArrayWithHeader(QLatin1String(kComplexHarmonicsId), start, end, header);
    // A read that found a file has a Parameter1 already: the read defaults a 0.0 of the file.
    float maxLoad = header.Parameter1;
    if (maxLoad == 0.0f) {
        TRACK_ERROR(*this, QStringLiteral("Maximum Load current not in Header"));
        maxLoad = kMissingMaxLoad;
    }
    if (complexValues == nullptr) {
        TRACK_WARN(*this, QStringLiteral("getComplexAmplitudeArray(): complexValues == nullptr"));
        return nullptr;
    }
    const unsigned int channel = getChannelIndex(id);
    PtrLoggerResultHarmonics result = LoggerResult<DataHarmonics>::create(complexValues->mNumItems);
    for (int index = 0; index < result->mNumItems; ++index) {
        calculateAmplitude(complexValues->mItems[index], result->mItems[index], channel, maxLoad, percent);
    }
    return result;
}

#include "LoggerApi.h"

#include "LoggerApiReads.h"
#include "LoggerDb.h"
#include "LoggerHeader.h"
#include "LoggerList.h"
#include "LoggerSDCard.h"
#include "TimeOrder.h"

#include <QLatin1String>
#include <QStringList>

#include <cstdint>
#include <cstring>

LoggerApi::LoggerApi()
{
    initTrack(kCategoryApi);
}

LoggerApi::~LoggerApi() = default;

void LoggerApi::reportUnknownId(LoggerType type, LoggerDataType dataType, const QString& id)
{
    // The id may be catalogued with records of another data type: then the caller has taken the
    // wrong getter, which the text says.
    QStringList otherTypes;
    for (const DefnBaseType& entry : readBaseTypes(type, LoggerDataType::NONE, id)) {
        const QString name = LoggerDebug::getLoggerDataTypeString(entry.mDataType);
        if (entry.mDataType != dataType && !otherTypes.contains(name))
            otherTypes.append(name);
    }
    const QString family = LoggerDebug::getLoggerTypeString(type);
    const QString wanted = LoggerDebug::getLoggerDataTypeString(dataType);
    if (!otherTypes.isEmpty()) {
        LoggerDb::getInstance().setError(
            QStringLiteral("the logger '%1' of type %2 holds %3 records, not %4: read it with the getter of "
                           "its data type")
                .arg(id, family, otherTypes.join(QLatin1Char('/')), wanted));
        return;
    }
    LoggerDb::getInstance().setError(QStringLiteral("no logger with the identification '%1' of type %2/%3 in "
                                                    "the catalogue: check the id with the writer's "
                                                    "configuration")
                                         .arg(id, family, wanted));
}

void LoggerApi::reportReversedRange(timespec start, timespec end)
{
    if (!isEarlier(end, start))
        return;
    LoggerDb::getInstance().setError(
        QStringLiteral("the range %1 is reversed: give the start before the end").arg(rangeText(start, end)));
}

long long LoggerApi::getTimeId(timespec time)
{
    // Unsigned arithmetic: the bits of seconds * 2^32 + nanoseconds without signed overflow.
    const uint64_t seconds = static_cast<uint64_t>(static_cast<int64_t>(time.tv_sec));
    const uint64_t nanoSeconds = static_cast<uint64_t>(static_cast<int64_t>(time.tv_nsec));
    return static_cast<long long>((seconds << 32) + nanoSeconds);
}

timespec LoggerApi::getTimeFromId(long long timeId)
{
    const uint64_t bits = static_cast<uint64_t>(timeId);
    timespec time{};
    time.tv_sec = static_cast<time_t>(static_cast<int32_t>(static_cast<uint32_t>(bits >> 32)));
    time.tv_nsec = static_cast<long>(static_cast<int32_t>(static_cast<uint32_t>(bits & 0xffffffffu)));
    return time;
}

bool LoggerApi::existsId(std::vector<QString>& ids, QString& id)
{
    if (!mDatabase.checkValidity()) {
        return false;
    }
    for (const QString& known : ids) {
        if (known == id) {
            return true;
        }
    }
    return false;
}

bool LoggerApi::existsDataMeasType(std::vector<DataMeasType>& types, const QString& configId)
{
    const auto bytes = static_cast<std::size_t>(configId.size()) * sizeof(QChar);
    for (const DataMeasType& type : types) {
        if (type.configId.size() == configId.size() &&
            std::memcmp(type.configId.constData(), configId.constData(), bytes) == 0) {
            return true;
        }
    }
    return false;
}

// ---------------------------------------------------------------------------------------------
// The operations of LoggerApiInterface, in its order.

void LoggerApi::registerLoggerstate(QObject* receiver)
{
    LoggerSDCard* sdCard = LoggerDb::getInstance().getLoggerSDCard();
    if (sdCard != nullptr)
        sdCard->connectReceiver(receiver);
}

void LoggerApi::unregisterLoggerstate(QObject* receiver)
{
    LoggerSDCard* sdCard = LoggerDb::getInstance().getLoggerSDCard();
    if (sdCard != nullptr)
        sdCard->disconnectReceiver(receiver);
}

PtrLoggerResultItq LoggerApi::getItqValues(int baseTypeId, timespec start, timespec end)
{
    return readTimeRange<DataXtq<int>>(LoggerType::CYCLIC, baseTypeId, start, end);
}

PtrLoggerResultVtq LoggerApi::getVtqValues(int baseTypeId, timespec start, timespec end)
{
    return readTimeRange<DataXtq<float>>(LoggerType::CYCLIC, baseTypeId, start, end);
}

PtrLoggerResultDtq LoggerApi::getDtqValues(int baseTypeId, timespec start, timespec end)
{
    return readTimeRange<DataXtq<double>>(LoggerType::CYCLIC, baseTypeId, start, end);
}

PtrLoggerResultItq LoggerApi::getItqValues(const QString& id, timespec start, timespec end)
{
    return readTimeRange<DataXtq<int>>(LoggerType::CYCLIC, LoggerDataType::ITQ, id, start, end);
}

PtrLoggerResultVtq LoggerApi::getVtqValues(const QString& id, timespec start, timespec end)
{
    return readTimeRange<DataXtq<float>>(LoggerType::CYCLIC, LoggerDataType::VTQ, id, start, end);
}

PtrLoggerResultDtq LoggerApi::getDtqValues(const QString& id, timespec start, timespec end)
{
    return readTimeRange<DataXtq<double>>(LoggerType::CYCLIC, LoggerDataType::DTQ, id, start, end);
}

PtrLoggerResultMean LoggerApi::getMeanValues(const QString& id, timespec start, timespec end)
{
    return readTimeRange<DataMean>(LoggerType::CYCLIC, LoggerDataType::MEAN, id, start, end);
}

PtrLoggerResultSignalVoltages LoggerApi::getSignalVoltages(const QString& id, timespec start, timespec end)
{
    return readTimeRange<DataSignalVoltages>(LoggerType::DISTURB, LoggerDataType::SIGNALS, id, start, end);
}

PtrLoggerResultDisturb LoggerApi::getDisturbanceValues(const QString& id, timespec start, timespec end,
                                                       int maxItems)
{
    return readTimeRange<DataDisturb>(LoggerType::DISTURB, LoggerDataType::DISTURB, id, start, end, maxItems);
}

int LoggerApi::getNumberOfOpenedFiles()
{
    if (!mDatabase.checkValidity()) {
        return -1;
    }
    return LoggerDb::getInstance().getNumberOfOpenedFiles();
}

int LoggerApi::getNumLoggers()
{
    return LoggerList::getInstance()->getNumLoggers();
}

PtrLoggerResultMeanMinMax7 LoggerApi::getMeanMinMaxArray7Values(const QString& id, timespec start,
                                                                timespec end)
{
    return readTimeRange<DataMeanMinMaxArray<float, 7>>(LoggerType::CYCLIC, LoggerDataType::MEAN_7, id, start,
                                                        end);
}

PtrLoggerResultMeanMinMax12 LoggerApi::getMeanMinMaxArray12Values(const QString& id, timespec start,
                                                                  timespec end)
{
    return readTimeRange<DataMeanMinMaxArray<float, 12>>(LoggerType::CYCLIC, LoggerDataType::MEAN_12, id,
                                                         start, end);
}

PtrLoggerResultMeanMinMax14 LoggerApi::getMeanMinMaxArray14Values(const QString& id, timespec start,
                                                                  timespec end)
{
    return readTimeRange<DataMeanMinMaxArray<float, 14>>(LoggerType::CYCLIC, LoggerDataType::MEAN_14, id,
                                                         start, end);
}

PtrLoggerResultMeanMinMax16 LoggerApi::getMeanMinMaxArray16Values(const QString& id, timespec start,
                                                                  timespec end)
{
    return readTimeRange<DataMeanMinMaxArray<float, 16>>(LoggerType::CYCLIC, LoggerDataType::MEAN_16, id,
                                                         start, end);
}

PtrLoggerResultMeanMinMax20 LoggerApi::getMeanMinMaxArray20Values(const QString& id, timespec start,
                                                                  timespec end)
{
    return readTimeRange<DataMeanMinMaxArray<float, 20>>(LoggerType::CYCLIC, LoggerDataType::MEAN_20, id,
                                                         start, end);
}

PtrLoggerResultMeanMinMax23 LoggerApi::getMeanMinMaxArray23Values(const QString& id, timespec start,
                                                                  timespec end)
{
    return readTimeRange<DataMeanMinMaxArray<float, 23>>(LoggerType::CYCLIC, LoggerDataType::MEAN_23, id,
                                                         start, end);
}

PtrLoggerResultMeanMinMax24 LoggerApi::getMeanMinMaxArray24Values(const QString& id, timespec start,
                                                                  timespec end)
{
    return readTimeRange<DataMeanMinMaxArray<float, 24>>(LoggerType::CYCLIC, LoggerDataType::MEAN_24, id,
                                                         start, end);
}

PtrLoggerResultQuadMeter LoggerApi::getQuadMeterValues(const QString& id, timespec start, timespec end)
{
    return readTimeRange<DataQuadMeter>(LoggerType::CYCLIC, LoggerDataType::QMETER, id, start, end);
}

PtrLoggerResultSystemMeter LoggerApi::getSystemMeterValues(const QString& id, timespec start, timespec end)
{
    return readTimeRange<DataSystemMeter>(LoggerType::CYCLIC, LoggerDataType::SMETER, id, start, end);
}

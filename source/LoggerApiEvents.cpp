// The reads by position of LoggerApi, and what is done to power-quality events after a read:
// the repair of damaged recording ranges, the reader's view DataRseEvent and the 5 x 7
// classification by duration and depth.

#include "LoggerApi.h"

#include "DefnEventType.h"
#include "DefnTypePersistance.h"
#include "LoggerApiReads.h"
#include "LoggerDb.h"
#include "LoggerDebug.h"
#include "LoggerTimeStamp.h"
#include "TimeOrder.h"

#include <QHash>

#include <climits>
#include <cstdint>

namespace {

// A negative count of events reads 9000 of them: the most a classification looks at.
constexpr int kDefaultPqEventLimit = 9000;

// The upper limits of the duration classes in seconds, inclusive, and the shortest event
// classified. Single precision, as the classes are defined.
constexpr float kDurationLimits[5] = {0.2f, 0.5f, 1.0f, 5.0f, 60.0f};
constexpr float kShortestClassified = 0.02f;

// The depth classes 0 to 5 in per cent of the reference: lower limit inclusive, upper exclusive.
// Everything else, also 90 to 110, negative values and NaN, is class 6.
struct DepthClass {
    float lower;
    float upper;
};
constexpr DepthClass kDepthClasses[6] = {{0.0f, 5.0f},   {5.0f, 40.0f},  {40.0f, 70.0f},
                                         {70.0f, 80.0f}, {80.0f, 90.0f}, {110.0f, 120.0f}};
constexpr int kOtherDepth = 6;

bool isZero(const DataTimespec& time)
{
    return time.tv_sec == 0 && time.tv_nsec == 0;
}

void message(const QString& text, LoggerMessageType type)
{
    LoggerDb::getInstance().loggerMessage(text.toStdString(), type);
}

// The duration class of an event, -1 for none.
int durationClass(const DataTimespec& duration)
{
    const double exact = static_cast<double>(duration.tv_nsec) / 1e9 + static_cast<double>(duration.tv_sec);
    const float seconds = static_cast<float>(exact);
    if (!(seconds >= kShortestClassified)) {
        return -1;
    }
    for (int index = 0; index < 5; ++index) {
        if (kDurationLimits[index] >= seconds) {
            return index;
        }
    }
    return -1;
}

int depthClass(float depth)
{
    for (int index = 0; index < 6; ++index) {
        if (kDepthClasses[index].lower <= depth && depth < kDepthClasses[index].upper) {
            return index;
        }
    }
    return kOtherDepth;
}

// offset and count of a page as the count back from time that it reaches (numItems) and the
// count of the page. A page that would reach beyond the largest count is cut there, which
// changes nothing: no logger holds that many items.
void pageBounds(int offset, int& count, int& numItems)
{
    if (offset > 0 && count > INT_MAX - offset) {
        count = INT_MAX - offset;
    }
    const long long reach = static_cast<long long>(offset) + count;
    numItems = static_cast<int>(reach < INT_MIN ? INT_MIN : reach);
}

} // namespace

// ---------------------------------------------------------------------------------------------
// The frame of the reads by position.

bool LoggerApi::identify(LoggerType type, LoggerDataType dataType, const QString& id, int& baseTypeId,
                         unsigned long pauseOnUnknown)
{
    // Also follows a writer that has restarted since the last call.
    if (!mDatabase.checkValidity()) {
        return false;
    }
    baseTypeId = getBaseTypeId(type, dataType, id);
    if (baseTypeId < 0) {
        reportUnknownId(type, dataType, id);
        if (pauseOnUnknown > 0) {
            readPause(pauseOnUnknown);
        }
        return false;
    }
    return true;
}

std::shared_ptr<DefnBaseType> LoggerApi::loadMeasuredType(int baseTypeId)
{
    std::shared_ptr<DefnBaseType> measuredType = readMeasuredType(baseTypeId);
    if (measuredType == nullptr) {
        reportUnknownBaseType(LoggerType::CYCLIC, baseTypeId);
        readPause(kFailedLookupPause);
    }
    return measuredType;
}

std::shared_ptr<DefnBaseType> LoggerApi::identifyMeasured(LoggerDataType dataType, const QString& id,
                                                          int& baseTypeId, unsigned long pauseOnUnknown)
{
    if (!identify(LoggerType::CYCLIC, dataType, id, baseTypeId, pauseOnUnknown)) {
        return nullptr;
    }
    return loadMeasuredType(baseTypeId);
}

void LoggerApi::reportNegativeCount(const QString& id, int count)
{
    LoggerDb::getInstance().setError(
        QStringLiteral("a page of %1 items of '%2' cannot be read: give a count of 0 or more")
            .arg(QString::number(count), id));
}

template <typename T, typename I>
std::shared_ptr<LoggerResult<T, I>> LoggerApi::readPage(LoggerType type, LoggerDataType dataType,
                                                        const QString& id, timespec time, int offset, int count,
                                                        int& firstItemId)
{
    int numItems = 0;
    pageBounds(offset, count, numItems);
    std::shared_ptr<LoggerResult<T, I>> result =
        getSelectedItems<T, I>(id, type, dataType, time, numItems, count, -1, firstItemId);
    if (result == nullptr && count < 0) {
        reportNegativeCount(id, count);
    }
    return result;
}

template <typename T>
std::shared_ptr<LoggerResult<T>> LoggerApi::readMeasuredPage(LoggerDataType dataType, const QString& id,
                                                             timespec time, int offset, int count)
{
    int baseTypeId = -1;
    const std::shared_ptr<DefnBaseType> measuredType = identifyMeasured(dataType, id, baseTypeId, 0);
    if (measuredType == nullptr) {
        return nullptr;
    }
    int firstItemId = 0;
    std::shared_ptr<LoggerResult<T>> result =
        readPage<T, void*>(LoggerType::CYCLIC, dataType, id, time, offset, count, firstItemId);
    if (result != nullptr) {
        result->mInterval = measuredType->getInterval();
    }
    return result;
}

PtrLoggerResultRseEvent LoggerApi::toRseEvents(const PtrLoggerResultPqEvent& events, int firstItemId)
{
    PtrLoggerResultRseEvent view = LoggerResult<DataRseEvent>::create(events->mNumItems);
    for (int index = 0; index < view->mNumItems; ++index) {
        copyPqEvent(events->mItems[index], view->mItems[index]);
        // The running index wraps as the unique ids of the files do.
        view->mItems[index].index =
            static_cast<int32_t>(static_cast<uint32_t>(firstItemId) + static_cast<uint32_t>(index));
    }
    return view;
}

// ---------------------------------------------------------------------------------------------
// Pages of measured loggers.

PtrLoggerResultDtq LoggerApi::getSelectedDtqValues(const QString& id, timespec time, int offset, int count)
{
    return readMeasuredPage<DataXtq<double>>(LoggerDataType::DTQ, id, time, offset, count);
}

PtrLoggerResultVtq LoggerApi::getSelectedVtqValues(const QString& id, timespec time, int offset, int count)
{
    return readMeasuredPage<DataXtq<float>>(LoggerDataType::VTQ, id, time, offset, count);
}

PtrLoggerResultMean LoggerApi::getSelectedMeanValues(const QString& id, timespec time, int offset, int count)
{
    return readMeasuredPage<DataMean>(LoggerDataType::MEAN, id, time, offset, count);
}

PtrLoggerResultMeanMinMax7 LoggerApi::getSelectedMeanMinMaxArray7(const QString& id, timespec time, int offset,
                                                                  int count)
{
    return readMeasuredPage<DataMeanMinMaxArray<float, 7>>(LoggerDataType::MEAN_7, id, time, offset, count);
}

PtrLoggerResultMeanMinMax12 LoggerApi::getSelectedMeanMinMaxArray12(const QString& id, timespec time,
                                                                    int offset, int count)
{
    return readMeasuredPage<DataMeanMinMaxArray<float, 12>>(LoggerDataType::MEAN_12, id, time, offset, count);
}

PtrLoggerResultMeanMinMax14 LoggerApi::getSelectedMeanMinMaxArray14(const QString& id, timespec time,
                                                                    int offset, int count)
{
    return readMeasuredPage<DataMeanMinMaxArray<float, 14>>(LoggerDataType::MEAN_14, id, time, offset, count);
}

PtrLoggerResultMeanMinMax16 LoggerApi::getSelectedMeanMinMaxArray16(const QString& id, timespec time,
                                                                    int offset, int count)
{
    return readMeasuredPage<DataMeanMinMaxArray<float, 16>>(LoggerDataType::MEAN_16, id, time, offset, count);
}

PtrLoggerResultMeanMinMax20 LoggerApi::getSelectedMeanMinMaxArray20(const QString& id, timespec time,
                                                                    int offset, int count)
{
    return readMeasuredPage<DataMeanMinMaxArray<float, 20>>(LoggerDataType::MEAN_20, id, time, offset, count);
}

PtrLoggerResultMeanMinMax23 LoggerApi::getSelectedMeanMinMaxArray23(const QString& id, timespec time,
                                                                    int offset, int count)
{
    return readMeasuredPage<DataMeanMinMaxArray<float, 23>>(LoggerDataType::MEAN_23, id, time, offset, count);
}

PtrLoggerResultMeanMinMax24 LoggerApi::getSelectedMeanMinMaxArray24(const QString& id, timespec time,
                                                                    int offset, int count)
{
    return readMeasuredPage<DataMeanMinMaxArray<float, 24>>(LoggerDataType::MEAN_24, id, time, offset, count);
}

PtrLoggerResultSystemMeter LoggerApi::getSelectedSystemMeter(const QString& id, timespec time, int offset,
                                                             int count)
{
    return readMeasuredPage<DataSystemMeter>(LoggerDataType::SMETER, id, time, offset, count);
}

PtrLoggerResultQuadMeter LoggerApi::getSelectedQuadMeter(const QString& id, timespec time, int offset, int count)
{
    return readMeasuredPage<DataQuadMeter>(LoggerDataType::QMETER, id, time, offset, count);
}

// ---------------------------------------------------------------------------------------------
// The operator log.

PtrLoggerResultOperator LoggerApi::getOperatorEvents(timespec time, int maxItems, int baseTypeId)
{
    if (!mDatabase.checkValidity()) {
        return nullptr;
    }
    int firstItemId = 0;
    PtrLoggerResultOperator result = getBaseEvents<DataOperator, void*>(
        QString(), LoggerType::OPERATOR, LoggerDataType::OPERATOR, time, maxItems, baseTypeId, firstItemId);
    if (result == nullptr) {
        LoggerDb::getInstance().setError(QStringLiteral("the catalogue holds no operator log: a writer creates it "
                                                        "when it starts its loggers"));
        return nullptr;
    }
    LoggerDebug::logResultInfo(QStringLiteral("opEvents"), result->mNumItems, time);
    if (!checkItemsOrder(result)) {
        message(QStringLiteral("Wrong Logger Items Order "), LOGGER_MESSAGE_ERROR);
        logFileList<DataOperator, void*>(QString(), LoggerType::OPERATOR, LoggerDataType::OPERATOR, time,
                                         maxItems);
    }
    return result;
}

PtrLoggerResultOperator LoggerApi::getOperatorEvents(timespec start, timespec end, int baseTypeId)
{
    return static_cast<LoggerApiInterface*>(this)->getOperatorEvents(start, end, -1, baseTypeId);
}

PtrLoggerResultOperator LoggerApi::getOperatorEvents(timespec start, timespec end, int maxItems, int baseTypeId)
{
    if (!mDatabase.checkValidity()) {
        return nullptr;
    }
    const QString operatorId = QStringLiteral("operator");
    if (baseTypeId < 0) {
        baseTypeId = getBaseTypeId(LoggerType::OPERATOR, LoggerDataType::OPERATOR, operatorId);
        if (baseTypeId < 0) {
            reportUnknownId(LoggerType::OPERATOR, LoggerDataType::OPERATOR, operatorId);
            readPause(kFailedLookupPause);
            return nullptr;
        }
    }
    PtrLoggerResultOperator result = readItems<DataOperator>(LoggerType::OPERATOR, baseTypeId, start, end,
                                                             maxItems, nullptr);
    reportReversedRange(start, end);
    if (result == nullptr) {
        return nullptr;
    }
    LoggerDebug::logResultInfo(QStringLiteral("opEvents"), result->mNumItems, end);
    if (!checkItemsOrder(result)) {
        message(QStringLiteral("Wrong Logger Items Order "), LOGGER_MESSAGE_ERROR);
    }
    return result;
}

PtrLoggerResultOperator LoggerApi::getSelectedOperatorEvents(timespec time, int offset, int count)
{
    const QString operatorId = QStringLiteral("operator");
    int baseTypeId = -1;
    if (!identify(LoggerType::OPERATOR, LoggerDataType::OPERATOR, operatorId, baseTypeId, 0)) {
        return nullptr;
    }
    int firstItemId = 0;
    PtrLoggerResultOperator result = readPage<DataOperator, void*>(
        LoggerType::OPERATOR, LoggerDataType::OPERATOR, operatorId, time, offset, count, firstItemId);
    if (result != nullptr) {
        LoggerDebug::logResultInfo(QStringLiteral("opEvents"), result->mNumItems, time);
    }
    return result;
}

// ---------------------------------------------------------------------------------------------
// The event alarm logs, with their texts.

void LoggerApi::getEventStringIDs(std::shared_ptr<DefnBaseType> baseType, PtrLoggerResultEvent result)
{
    const std::shared_ptr<DefnEventType> eventType = DefnTypePersistance().getEventType(baseType);
    if (eventType == nullptr) {
        message(QStringLiteral("No Event Base Type"), LOGGER_MESSAGE_FATAL);
        return;
    }
    const int numStrings = static_cast<int>(eventType->EventStrings.size());
    message(QStringLiteral("Event Strings: ") + QString::number(numStrings), LOGGER_MESSAGE_ROUTINE);
    // The position of each text in the list by its Id; of equal Ids the later position stays.
    QHash<int32_t, int32_t> positions;
    positions.reserve(numStrings);
    for (int index = 0; index < numStrings; ++index) {
        const std::shared_ptr<DefnEventString>& text = eventType->EventStrings[static_cast<std::size_t>(index)];
        if (text != nullptr) {
            positions.insert(text->Id, index);
        }
    }
    if (result == nullptr) {
        return;
    }
    for (int index = 0; index < result->mNumItems; ++index) {
        DataEvent& item = result->mItems[index];
        item.stringIndex = positions.value(item.stringId, 0);
    }
    result->mInfo = eventType->getEventStrings();
}

PtrLoggerResultEvent LoggerApi::getEvents(const QString& id, timespec time, int maxItems)
{
    int baseTypeId = -1;
    if (!identify(LoggerType::EVENT, LoggerDataType::EVENT, id, baseTypeId, 0)) {
        return nullptr;
    }
    const std::shared_ptr<DefnBaseType> eventType = readEventType(baseTypeId);
    if (eventType == nullptr) {
        reportUnknownBaseType(LoggerType::EVENT, baseTypeId);
        return nullptr;
    }
    int firstItemId = 0;
    PtrLoggerResultEvent result = getBaseEvents<DataEvent, std::string>(
        id, LoggerType::EVENT, LoggerDataType::EVENT, time, maxItems, -1, firstItemId);
    if (result != nullptr) {
        getEventStringIDs(eventType, result);
    }
    return result;
}

PtrLoggerResultEvent LoggerApi::getSelectedEvents(const QString& id, timespec time, int offset, int count)
{
    int baseTypeId = -1;
    if (!identify(LoggerType::EVENT, LoggerDataType::EVENT, id, baseTypeId, 0)) {
        return nullptr;
    }
    const std::shared_ptr<DefnBaseType> eventType = readEventType(baseTypeId);
    int firstItemId = 0;
    PtrLoggerResultEvent result = readPage<DataEvent, std::string>(LoggerType::EVENT, LoggerDataType::EVENT, id,
                                                                   time, offset, count, firstItemId);
    if (result == nullptr) {
        return nullptr;
    }
    getEventStringIDs(eventType, result);
    if (eventType == nullptr) {
        // Items without their texts would be read wrongly: no answer.
        reportUnknownBaseType(LoggerType::EVENT, baseTypeId);
        return nullptr;
    }
    return result;
}

// ---------------------------------------------------------------------------------------------
// Power-quality events.

void LoggerApi::copyPqEvent(DataPqEvent& source, DataRseEvent& target)
{
    target.utc = source.utc;
    target.duration = source.duration;
    target.triggerType = source.triggerType;
    target.triggerSource = source.triggerSource;
    target.systemType = source.systemType;
    target.referenceValue = source.referenceValue;
    target.eventValue = source.eventValue;
    target.thirdValue = source.thirdValue;
    for (int index = 0; index < 7; ++index) {
        target.rms[index] = source.rms[index];
    }
    target.sample = source.sample;
    target.pqTail = source.pqTail;
}

bool LoggerApi::checkPqEvents(PtrLoggerResultPqEvent result)
{
    if (result == nullptr || result->mNumItems == 0 || result->mItems == nullptr) {
        return true;
    }
    bool ok = true;
    for (int item = 0; item < result->mNumItems; ++item) {
        DataPqEvent& event = result->mItems[item];
        const timespec utc = event.utc;
        const timespec utcEnd = LoggerTimeStamp::add(event.utc, event.duration);
        // The texts are built only where a range is damaged; sound events cost the comparisons.
        const auto rmsLine = [&](int index, const QString& what) {
            return QStringLiteral("event ") +
                   LoggerDebug::getTriggerTypeString(static_cast<EnumTriggerType>(event.triggerType)) +
                   QStringLiteral(", ") + LoggerDebug::getUtcStr(utc) + QStringLiteral(" has Rms[") +
                   QString::number(index) + what;
        };
        for (int index = 0; index < 7; ++index) {
            DataUtcRange& range = event.rms[index];
            // Both ends as they were read: a repair of one does not change the test of the other.
            const DataTimespec start = range.utcStart;
            const DataTimespec end = range.utcEnd;
            if (isZero(start)) {
                TRACK_ERROR(*this, rmsLine(index, QStringLiteral("] utcStart = 0")));
                range.utcStart = utc;
                ok = false;
            }
            if (isZero(end)) {
                TRACK_ERROR(*this, rmsLine(index, QStringLiteral("] utcEnd = 0")));
                range.utcEnd = utcEnd;
                ok = false;
            }
            if (isEarlier(end, start)) {
                TRACK_ERROR(*this, rmsLine(index, QStringLiteral("] utcEnd < utcStart, delta=") +
                                                      QString::number(static_cast<qint64>(
                                                          LoggerTimeStamp::subtract(end, start).tv_sec))));
                range.utcStart = utc;
                range.utcEnd = utcEnd;
                ok = false;
            }
        }
        const DataTimespec start = event.sample.utcStart;
        const DataTimespec end = event.sample.utcEnd;
        if (isZero(start)) {
            message(QStringLiteral("event ") + LoggerDebug::getUtcStr(utc) +
                        QStringLiteral(" has Sample utcStart = 0"),
                    LOGGER_MESSAGE_ERROR);
            event.sample.utcStart = utc;
            ok = false;
        }
        if (isZero(end)) {
            message(QStringLiteral("event ") + LoggerDebug::getUtcStr(utc) + QStringLiteral(" has Sample utcEnd = 0"),
                    LOGGER_MESSAGE_ERROR);
            event.sample.utcEnd = utcEnd;
            ok = false;
        }
        if (isEarlier(end, start)) {
            message(QStringLiteral("event ") + LoggerDebug::getUtcStr(utc) +
                        QStringLiteral(" has Sample utcEnd < utcStart"),
                    LOGGER_MESSAGE_ERROR);
            event.sample.utcStart = utc;
            event.sample.utcEnd = utcEnd;
            ok = false;
        }
    }
    return ok;
}

PtrLoggerResultPqEvent LoggerApi::getPqEvents(const QString& id, timespec time, int maxItems)
{
    int baseTypeId = -1;
    if (!identify(LoggerType::PQEVENT, LoggerDataType::PQEVENT, id, baseTypeId, 0)) {
        return nullptr;
    }
    if (readPqEventType(baseTypeId) == nullptr) {
        reportUnknownBaseType(LoggerType::PQEVENT, baseTypeId);
        return nullptr;
    }
    int firstItemId = 0;
    PtrLoggerResultPqEvent result = getBaseEvents<DataPqEvent, void*>(
        id, LoggerType::PQEVENT, LoggerDataType::PQEVENT, time, maxItems, -1, firstItemId);
    if (result == nullptr) {
        return nullptr;
    }
    checkPqEvents(result);
    LoggerDebug::logResultInfo(QStringLiteral("PqEvents"), result->mNumItems, time);
    return result;
}

PtrLoggerResultPqEvent LoggerApi::getPqEvents(const QString& id, timespec start, timespec end, int maxItems)
{
    PtrLoggerResultPqEvent result = readTimeRange<DataPqEvent>(
        LoggerType::PQEVENT, LoggerDataType::PQEVENT, id, start, end, maxItems < 0 ? kDefaultPqEventLimit : maxItems);
    if (result == nullptr) {
        return nullptr;
    }
    checkPqEvents(result);
    LoggerDebug::logResultInfo(QStringLiteral("PqEvents"), result->mNumItems, end);
    return result;
}

PtrLoggerResultPqEvent LoggerApi::getSelectedPqEvents(const QString& id, timespec time, int offset, int count)
{
    int baseTypeId = -1;
    if (!identify(LoggerType::PQEVENT, LoggerDataType::PQEVENT, id, baseTypeId, 0)) {
        return nullptr;
    }
    readPqEventType(baseTypeId); // loaded, not looked at: the page looks the logger up itself
    int firstItemId = 0;
    PtrLoggerResultPqEvent result = readPage<DataPqEvent, void*>(LoggerType::PQEVENT, LoggerDataType::PQEVENT,
                                                                 id, time, offset, count, firstItemId);
    if (result == nullptr) {
        return nullptr;
    }
    checkPqEvents(result);
    LoggerDebug::logResultInfo(QStringLiteral("PqEvents"), result->mNumItems, time);
    return result;
}

PtrLoggerResultRseEvent LoggerApi::getRseEvents(const QString& id, timespec time, int maxItems)
{
    int baseTypeId = -1;
    if (!identify(LoggerType::PQEVENT, LoggerDataType::PQEVENT, id, baseTypeId, 0)) {
        return nullptr;
    }
    if (readPqEventType(baseTypeId) == nullptr) {
        reportUnknownBaseType(LoggerType::PQEVENT, baseTypeId);
        return nullptr;
    }
    int firstItemId = 0;
    PtrLoggerResultPqEvent events = getBaseEvents<DataPqEvent, void*>(
        id, LoggerType::PQEVENT, LoggerDataType::PQEVENT, time, maxItems, -1, firstItemId);
    if (events == nullptr) {
        return nullptr;
    }
    checkPqEvents(events);
    return toRseEvents(events, firstItemId);
}

PtrLoggerResultRseEvent LoggerApi::getRseEvents(const QString& id, timespec start, timespec end, int maxItems)
{
    int firstItemId = 0;
    PtrLoggerResultPqEvent events = readTimeRange<DataPqEvent>(LoggerType::PQEVENT, LoggerDataType::PQEVENT, id,
                                                               start, end, maxItems, &firstItemId);
    // A read that answered nothing has nothing to convert: null, with the read's last error.
    if (events == nullptr) {
        return nullptr;
    }
    checkPqEvents(events);
    return toRseEvents(events, firstItemId);
}

PtrLoggerResultRseEvent LoggerApi::getSelectedRseEvents(const QString& id, timespec time, int offset, int count)
{
    int baseTypeId = -1;
    if (!identify(LoggerType::PQEVENT, LoggerDataType::PQEVENT, id, baseTypeId, 0)) {
        return nullptr;
    }
    readPqEventType(baseTypeId); // loaded, not looked at: the page looks the logger up itself
    int firstItemId = 0;
    PtrLoggerResultPqEvent events = readPage<DataPqEvent, void*>(LoggerType::PQEVENT, LoggerDataType::PQEVENT,
                                                                 id, time, offset, count, firstItemId);
    if (events == nullptr) {
        return nullptr;
    }
    checkPqEvents(events);
    return toRseEvents(events, firstItemId);
}

PtrLoggerResultRseEvent LoggerApi::getSingleRseEvent(const QString& id, long long timeId)
{
    return getRseEvents(id, getTimeFromId(timeId), 1);
}

int LoggerApi::getNumPqEvents(const QString& id, timespec start, timespec end)
{
    const int baseTypeId = getBaseTypeId(LoggerType::PQEVENT, LoggerDataType::PQEVENT, id);
    if (baseTypeId < 0) {
        reportUnknownId(LoggerType::PQEVENT, LoggerDataType::PQEVENT, id);
        readPause(kFailedLookupPause);
        return -1;
    }
    return getNumItems<DataPqEvent, void*>(LoggerType::PQEVENT, baseTypeId, start, end, -1);
}

bool LoggerApi::classifyPqEvent(const DataPqEvent& event, int& duration, int& depth)
{
    duration = durationClass(event.duration);
    if (duration < 0) {
        depth = -1;
        return false;
    }
    depth = depthClass(event.eventValue * 100.0f / event.referenceValue);
    return true;
}

DataEventClass35 LoggerApi::getPqEventClasses(const QString& id, timespec start, timespec end, int maxItems)
{
    DataEventClass35 table{};
    const PtrLoggerResultPqEvent events =
        static_cast<LoggerApiInterface*>(this)->getPqEvents(id, start, end, maxItems);
    if (events == nullptr) {
        TRACK_ERROR(*this, QStringLiteral("no Event Data"));
        return table;
    }
    for (int index = 0; index < events->mNumItems; ++index) {
        const DataPqEvent& event = events->mItems[index];
        int duration = -1;
        int depthIndex = -1;
        if (!classifyPqEvent(event, duration, depthIndex)) {
            continue;
        }
        // The table's time is that of the first event classified.
        if (table.utc.tv_sec == 0) {
            table.utc = event.utc;
        }
        ++table.counters[duration][depthIndex];
    }
    return table;
}

// ---------------------------------------------------------------------------------------------
// Signal events.

PtrLoggerResultSignalEvent LoggerApi::getSignalEvents(const QString& id, timespec time, int maxItems)
{
    int baseTypeId = -1;
    if (!identify(LoggerType::PQEVENT, LoggerDataType::SIGNALEVENT, id, baseTypeId, 0)) {
        return nullptr;
    }
    if (readPqEventType(baseTypeId) == nullptr) {
        reportUnknownBaseType(LoggerType::PQEVENT, baseTypeId);
        return nullptr;
    }
    int firstItemId = 0;
    return getBaseEvents<DataSignalEvent, void*>(id, LoggerType::PQEVENT, LoggerDataType::SIGNALEVENT, time,
                                                 maxItems, -1, firstItemId);
}

PtrLoggerResultSignalEvent LoggerApi::getSignalEvents(const QString& id, timespec start, timespec end,
                                                      int maxItems)
{
    return readTimeRange<DataSignalEvent>(LoggerType::PQEVENT, LoggerDataType::SIGNALEVENT, id, start, end,
                                          maxItems);
}

PtrLoggerResultSignalEvent LoggerApi::getSelectedSignalEvents(const QString& id, timespec time, int offset,
                                                              int count)
{
    int baseTypeId = -1;
    if (!identify(LoggerType::PQEVENT, LoggerDataType::SIGNALEVENT, id, baseTypeId, 0)) {
        return nullptr;
    }
    readPqEventType(baseTypeId); // loaded, not looked at: the page looks the logger up itself
    int firstItemId = 0;
    return readPage<DataSignalEvent, void*>(LoggerType::PQEVENT, LoggerDataType::SIGNALEVENT, id, time, offset,
                                            count, firstItemId);
}

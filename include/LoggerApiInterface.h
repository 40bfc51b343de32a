#pragma once

#include "qzlogger_export.h"

#include "DataMeasType.h"
#include "LoggerDataItems.h"
#include "LoggerResult.h"
#include "LoggerState.h"
#include "LoggerTypes.h"

#include <QString>

#include <ctime>
#include <memory>
#include <vector>

class QObject;

// The read API of the store as a reader process sees it. A reader gets its object from
// getApi() and names each measurement by its identification (the logger's configId) and a
// time range; every getter answers with a freshly allocated LoggerResult that holds a copy of
// the stored items, oldest first. Readers never write: they share the data files and the
// catalogue with the writer daemon, which keeps appending while they read.
//
// Three answers are told apart, and callers rely on the difference: a null pointer (the store
// is not valid, the identification is unknown, the type cannot be loaded, or the files changed
// under the read), a result with zero items (the logger exists but holds nothing in the
// range), and a result with items. Failures never throw. Every null answer keeps a text for
// getLastError() that names its object: a store without a writer (the process-id file), an
// unknown identification (id, family and data type), an id catalogued with another data type (the
// data types it holds), a range whose start lies after its end (both ends in ISO 8601 UTC), a
// failed catalogue. A result with zero items
// is no failure and keeps none.
//
// The object holds no state between calls and may be used from any thread of the reader. It
// may be made before the catalogue exists (calls then answer null until the store is valid),
// and must not outlive the LoggerDb of its process.
class QZLOGGER_EXPORT LoggerApiInterface {
public:
    // Whether an identification fits the wiring that the caller asks harmonics of. The values
    // are those that host programs pass.
    enum HarmonicConnectionType {
        CONNECTION_ANY = 0,           // no restriction; any value other than the two below
        CONNECTION_PHASE_PHASE = 1,   // only phase-to-phase identifications give data
        CONNECTION_PHASE_NEUTRAL = 2, // phase-to-phase identifications give an empty result
    };

    // A new LoggerApi, allocated with plain new, on every call. The caller owns it and deletes
    // it through this interface.
    static LoggerApiInterface* getApi();
    // The text of the last error of the process; the kept text is cleared, so a second call
    // returns an empty string.
    static QString getLastError();
    // The state word; a reader takes it from the shared state file.
    static LoggerState getLoggerState();
    // The writer posts the whole word at once; in a reader the call is refused and logged as an
    // error.
    static void setInitialLoggerState(LoggerState state);

    LoggerApiInterface(const LoggerApiInterface&) = delete;
    LoggerApiInterface& operator=(const LoggerApiInterface&) = delete;

    // Host programs are built against this class and call its operations through the table of
    // virtual functions, slot by slot. The order of the declarations below is therefore the
    // binary interface of the library: an operation is never moved, removed or inserted between
    // the others, and its parameters and result never change. The destructor comes first; a new
    // operation may only be appended after the last one.
    virtual ~LoggerApiInterface();

    // Connects or disconnects a receiver of the logger state signals of the card client: its
    // slot loggerStateChanged(LoggerState) gets every state this process posts, through a
    // queued connection where its thread differs. One object per class; nothing happens in a
    // process without a card client.
    virtual void registerLoggerstate(QObject* receiver) = 0;
    virtual void unregisterLoggerstate(QObject* receiver) = 0;
    // The quota of a family of loggers and the share of it in use, in per cent.
    virtual double getMaximalLoggerSize(LoggerType type, LoggerDataType dataType) = 0;
    virtual double getUsedLoggerSize(LoggerType type, LoggerDataType dataType) = 0;
    // The time range of the logger as catalogued; false, with start and end unchanged, where the
    // logger cannot be read.
    virtual bool getTimeRange(LoggerType type, LoggerDataType dataType, const QString& id, timespec& start,
                              timespec& end) = 0;
    // The identifications of a family; LoggerType::NONE lists all families one after another.
    virtual std::vector<QString> getMeasIDs(LoggerType type) = 0;
    virtual std::vector<DataMeasType> getMeanMeasTypes(const QString& id) = 0;
    virtual std::vector<DataMeasType> getMeterMeasTypes(const QString& id) = 0;
    virtual std::vector<DataMeasType> getHarmonicsMeasTypes(const QString& id) = 0;
    virtual std::vector<DataMeasType> getStatisticMeasTypes(const QString& id) = 0;

    // Reads by time range: both ends belong to the range. The forms with an int take the
    // catalogue id of the base type and skip the lookup of the identification. Where the store is
    // not valid the answer is null at once. An unknown identification, or an id the catalogue
    // does not hold, answers null after a pause of 200 ms; a read that found files pauses 50 ms
    // before it answers, so that readers that poll leave the card and the catalogue to the writer.
    virtual PtrLoggerResultItq getItqValues(int baseTypeId, timespec start, timespec end) = 0;
    virtual PtrLoggerResultVtq getVtqValues(int baseTypeId, timespec start, timespec end) = 0;
    virtual PtrLoggerResultDtq getDtqValues(int baseTypeId, timespec start, timespec end) = 0;
    virtual PtrLoggerResultItq getItqValues(const QString& id, timespec start, timespec end) = 0;
    virtual PtrLoggerResultVtq getVtqValues(const QString& id, timespec start, timespec end) = 0;
    virtual PtrLoggerResultDtq getDtqValues(const QString& id, timespec start, timespec end) = 0;
    virtual PtrLoggerResultMean getMeanValues(const QString& id, timespec start, timespec end) = 0;
    virtual PtrLoggerResultVtq getRms_1_2_Values(const QString& id, timespec start, timespec end) = 0;
    virtual PtrLoggerResultItq getDigital_1_2_Values(const QString& id, timespec start, timespec end) = 0;
    virtual PtrLoggerResultVtq getFrequency_1_2_Values(const QString& id, timespec start, timespec end) = 0;
    // The half-cycle values of all loggers of the family over the span of one power-quality
    // event; id names the event logger, timeId the event's time (see LoggerApi::getTimeId).
    virtual LoggerResultList<DataXtq<float>> getAllRms_1_2_Values(const QString& id, long long timeId) = 0;
    virtual LoggerResultList<DataXtq<int>> getAllDigital_1_2_Values(const QString& id, long long timeId) = 0;
    virtual PtrLoggerResultSignalVoltages getSignalVoltages(const QString& id, timespec start,
                                                            timespec end) = 0;
    // The flag of the two sample getters has no effect; host programs pass it all the same.
    virtual PtrLoggerResultSamples getSamplesValues(const QString& id, timespec start, timespec end,
                                                    bool unused) = 0;
    virtual PtrLoggerResultSamples16 getSamples16Values(const QString& id, timespec start, timespec end,
                                                        bool unused) = 0;
    virtual PtrLoggerResultAggregatedFloat
    getAggregatedVtqValues(const QString& id, timespec start, timespec end, int interval, int maxItems) = 0;
    virtual PtrLoggerResultAggregatedDouble
    getAggregatedDtqValues(const QString& id, timespec start, timespec end, int interval, int maxItems) = 0;
    // Reads by position: count items, offset items back from the last one at or before time.
    virtual PtrLoggerResultDtq getSelectedDtqValues(const QString& id, timespec time, int offset,
                                                    int count) = 0;
    virtual PtrLoggerResultVtq getSelectedVtqValues(const QString& id, timespec time, int offset,
                                                    int count) = 0;
    virtual PtrLoggerResultMean getSelectedMeanValues(const QString& id, timespec time, int offset,
                                                      int count) = 0;
    virtual PtrLoggerResultMean getAggregatedMeanValues(const QString& id, timespec start, timespec end,
                                                        int interval, int maxItems) = 0;
    // The mean values whose quality shares a bit with qualityMask.
    virtual PtrLoggerResultMean getFilteredMeanValues(const QString& id, timespec start, timespec end,
                                                      unsigned int qualityMask) = 0;

    // Events. Two ways of asking: by time range (start and end, both included), and by position
    // counted back from a time: "the last maxItems up to time" or a page, the count items that
    // follow the newest offset items up to time. Items after time do not exist for a read by
    // position, so pages do not move while the writer appends as long as time stays fixed; a
    // page comes oldest first, short where it reaches past the oldest item, empty where it lies
    // wholly before it, and null for a negative count. A baseTypeId below 0 means the operator
    // log found by itself. Event texts: each item's stringIndex is the position of its text in
    // the result's mInfo, the log's whole text list (0, the first text, where the item's text is
    // unknown). Power-quality events come with their recording ranges repaired where they were
    // missing or inverted (one log line each; the files stay as they are); a negative maxItems of
    // the range form of getPqEvents reads at most 9000, and getPqEventClasses counts the events
    // of a range into the 5 x 7 table of duration and residual-voltage classes.
    virtual PtrLoggerResultOperator getOperatorEvents(timespec time, int maxItems, int baseTypeId) = 0;
    virtual PtrLoggerResultOperator getOperatorEvents(timespec start, timespec end, int baseTypeId) = 0;
    virtual PtrLoggerResultOperator getOperatorEvents(timespec start, timespec end, int maxItems,
                                                      int baseTypeId) = 0;
    virtual PtrLoggerResultOperator getSelectedOperatorEvents(timespec time, int offset, int count) = 0;
    virtual PtrLoggerResultEvent getEvents(const QString& id, timespec time, int maxItems) = 0;
    virtual PtrLoggerResultEvent getSelectedEvents(const QString& id, timespec time, int offset,
                                                   int count) = 0;
    virtual PtrLoggerResultPqEvent getPqEvents(const QString& id, timespec time, int maxItems) = 0;
    virtual PtrLoggerResultRseEvent getRseEvents(const QString& id, timespec time, int maxItems) = 0;
    virtual int getNumPqEvents(const QString& id, timespec start, timespec end) = 0;
    virtual PtrLoggerResultPqEvent getPqEvents(const QString& id, timespec start, timespec end,
                                               int maxItems) = 0;
    virtual DataEventClass35 getPqEventClasses(const QString& id, timespec start, timespec end,
                                               int maxItems) = 0;
    virtual PtrLoggerResultRseEvent getRseEvents(const QString& id, timespec start, timespec end,
                                                 int maxItems) = 0;
    virtual PtrLoggerResultPqEvent getSelectedPqEvents(const QString& id, timespec time, int offset,
                                                       int count) = 0;
    virtual PtrLoggerResultRseEvent getSelectedRseEvents(const QString& id, timespec time, int offset,
                                                         int count) = 0;
    virtual PtrLoggerResultSignalEvent getSignalEvents(const QString& id, timespec time, int maxItems) = 0;
    virtual PtrLoggerResultSignalEvent getSignalEvents(const QString& id, timespec start, timespec end,
                                                       int maxItems) = 0;
    virtual PtrLoggerResultSignalEvent getSelectedSignalEvents(const QString& id, timespec time, int offset,
                                                               int count) = 0;
    virtual PtrLoggerResultDisturb getDisturbanceValues(const QString& id, timespec start, timespec end,
                                                        int maxItems) = 0;

    // LoggerDb's diagnostic count of openings (catalogue and data files), not of files open now;
    // -1 where the store is not valid.
    virtual int getNumberOfOpenedFiles() = 0;
    virtual std::vector<DataLoggerFile> getFileList(LoggerType type, LoggerDataType dataType,
                                                    QString filter) = 0;

    // Harmonics and their arrays.
    virtual PtrLoggerResultHarmonics getHarmonics(const QString& id, timespec start, timespec end,
                                                  bool complexAmplitude,
                                                  LoggerApiInterface::HarmonicConnectionType connection) = 0;
    virtual PtrLoggerResultHarmonics getHarmonicsAbsolute(const QString& id, timespec start,
                                                          timespec end) = 0;
    virtual PtrLoggerResultArray41 getArray41(const QString& id, timespec start, timespec end) = 0;
    virtual PtrLoggerResultPercentile41 getPercentile3_41(const QString& id, timespec start,
                                                          timespec end) = 0;
    virtual PtrLoggerResultPercentile51 getPercentile3_51(const QString& id, timespec start,
                                                          timespec end) = 0;
    virtual PtrLoggerResultComplexArray getComplexArray(const QString& id, timespec start, timespec end) = 0;
    virtual PtrLoggerResultPrevailingArray getPrevailingArray(const QString& id, timespec start,
                                                              timespec end) = 0;
    virtual PtrLoggerResultContributionArray getContributionArray(const QString& id, timespec start,
                                                                  timespec end) = 0;

    // Exports: the raw item array of the range into fileName, overwritten from its start.
    virtual void writeMeasuredValuesToFile(const QString& id, timespec start, timespec end,
                                           const QString& fileName) = 0;
    virtual void writeDisturbValuesToFile(const QString& id, timespec start, timespec end,
                                          const QString& fileName) = 0;
    virtual void writePqEventValuesToFile(const QString& id, timespec start, timespec end,
                                          const QString& fileName) = 0;
    virtual void writeComplexValuesToFile(const QString& id, timespec start, timespec end,
                                          const QString& fileName) = 0;
    virtual void writePrevailingValuesToFile(const QString& id, timespec start, timespec end,
                                             const QString& fileName) = 0;
    virtual void writeContributionValuesToFile(const QString& id, timespec start, timespec end,
                                               const QString& fileName) = 0;
    virtual void writePercentileValuesToFile(const QString& id, timespec start, timespec end,
                                             const QString& fileName) = 0;

    // Statistics and histograms. Statistics are shares in per cent.
    virtual PtrLoggerResultStatistic getStatisticValues(const QString& id, timespec start, timespec end) = 0;
    virtual std::shared_ptr<DataStatisticBase<float>> calculateStatistic(const QString& id, timespec start,
                                                                         timespec end, int interval) = 0;
    virtual PtrLoggerResultHistogram2650 getFrequencyDatas(const QString& id, timespec start, timespec end,
                                                           double& interval) = 0;
    virtual PtrLoggerResultHistogram200 getMainsSignallingDatas(const QString& id, timespec start,
                                                                timespec end, double& interval) = 0;
    virtual std::shared_ptr<DataHistogram<2650>> getFrequencyHistogram(const QString& id, timespec start,
                                                                       timespec end, bool cumulative) = 0;
    virtual std::shared_ptr<DataHistogram<200>>
    getMainsSignallingHistogram(const QString& id, timespec start, timespec end, bool cumulative) = 0;
    virtual std::shared_ptr<DataStatisticBase<float>> getFrequencyStatistic(const QString& id, timespec start,
                                                                            timespec end, float nominal,
                                                                            float lowerPercent,
                                                                            float upperPercent) = 0;
    virtual std::shared_ptr<DataStatisticBase<float>>
    getMainsSignallingStatistic(const QString& id, timespec start, timespec end, float nominal,
                                float lowerPercent, float upperPercent) = 0;
    virtual std::shared_ptr<DataStatisticBase<float>> getMeanStatistic(const QString& id, timespec start,
                                                                       timespec end, float nominal,
                                                                       float lowerPercent,
                                                                       float upperPercent) = 0;
    virtual std::shared_ptr<DataStatisticBase<float>> getHarmonicsStatistic(const QString& id, timespec start,
                                                                            timespec end, int* orders,
                                                                            float* limits, int count,
                                                                            bool fromComplex) = 0;
    virtual std::shared_ptr<DataStatisticBase<float>> getVtqStatistic(const QString& id, timespec start,
                                                                      timespec end, float nominal,
                                                                      float lowerPercent,
                                                                      float upperPercent) = 0;

    // In-place conversions of count samples between the float form and the 16-bit form. The
    // answer is the address of the converted items, in their new form.
    virtual DataSamplesBase<short, short>* convertFloatTo16Bit(DataSamplesBase<float, int>* items, int count,
                                                               float scaleVoltage, float scaleCurrent) = 0;
    virtual DataSamplesBase<float, int>* convert16BitToFloat(DataSamplesBase<short, short>* items, int count,
                                                             float scaleVoltage, float scaleCurrent) = 0;

    // The loggers registered in this process.
    virtual int getNumLoggers() = 0;

    virtual PtrLoggerResultMeanMinMax7 getSelectedMeanMinMaxArray7(const QString& id, timespec time,
                                                                   int offset, int count) = 0;
    virtual PtrLoggerResultMeanMinMax12 getSelectedMeanMinMaxArray12(const QString& id, timespec time,
                                                                     int offset, int count) = 0;
    virtual PtrLoggerResultMeanMinMax14 getSelectedMeanMinMaxArray14(const QString& id, timespec time,
                                                                     int offset, int count) = 0;
    virtual PtrLoggerResultMeanMinMax16 getSelectedMeanMinMaxArray16(const QString& id, timespec time,
                                                                     int offset, int count) = 0;
    virtual PtrLoggerResultMeanMinMax20 getSelectedMeanMinMaxArray20(const QString& id, timespec time,
                                                                     int offset, int count) = 0;
    virtual PtrLoggerResultMeanMinMax23 getSelectedMeanMinMaxArray23(const QString& id, timespec time,
                                                                     int offset, int count) = 0;
    virtual PtrLoggerResultMeanMinMax24 getSelectedMeanMinMaxArray24(const QString& id, timespec time,
                                                                     int offset, int count) = 0;
    virtual PtrLoggerResultSystemMeter getSelectedSystemMeter(const QString& id, timespec time, int offset,
                                                              int count) = 0;
    virtual PtrLoggerResultQuadMeter getSelectedQuadMeter(const QString& id, timespec time, int offset,
                                                          int count) = 0;
    virtual PtrLoggerResultMeanMinMax7 getMeanMinMaxArray7Values(const QString& id, timespec start,
                                                                 timespec end) = 0;
    virtual PtrLoggerResultMeanMinMax12 getMeanMinMaxArray12Values(const QString& id, timespec start,
                                                                   timespec end) = 0;
    virtual PtrLoggerResultMeanMinMax14 getMeanMinMaxArray14Values(const QString& id, timespec start,
                                                                   timespec end) = 0;
    virtual PtrLoggerResultMeanMinMax16 getMeanMinMaxArray16Values(const QString& id, timespec start,
                                                                   timespec end) = 0;
    virtual PtrLoggerResultMeanMinMax20 getMeanMinMaxArray20Values(const QString& id, timespec start,
                                                                   timespec end) = 0;
    virtual PtrLoggerResultMeanMinMax23 getMeanMinMaxArray23Values(const QString& id, timespec start,
                                                                   timespec end) = 0;
    virtual PtrLoggerResultMeanMinMax24 getMeanMinMaxArray24Values(const QString& id, timespec start,
                                                                   timespec end) = 0;
    virtual PtrLoggerResultQuadMeter getQuadMeterValues(const QString& id, timespec start, timespec end) = 0;
    virtual PtrLoggerResultSystemMeter getSystemMeterValues(const QString& id, timespec start,
                                                            timespec end) = 0;
    // The statistic of one value of the 14-value records, index counting the words of the
    // record's value area.
    virtual std::shared_ptr<DataStatisticBase<float>>
    getMeanArray14Statistic(const QString& id, unsigned int index, timespec start, timespec end,
                            float nominal, float lowerPercent, float upperPercent) = 0;

protected:
    LoggerApiInterface() = default;
};

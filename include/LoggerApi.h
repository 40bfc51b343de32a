#pragma once

#include "qzlogger_export.h"

#include "DatabaseInterface.h"
#include "LoggerApiBase.h"
#include "LoggerApiInterface.h"
#include "TrackObject.h"

#include <QString>

#include <ctime>
#include <memory>
#include <vector>

// The read API of the store: LoggerApiInterface over the engine LoggerApiBase. Each getter
// checks that the store is valid, turns the identification into the base type of the
// catalogue and reads the items of the range into one result; all a call needs lives on its
// stack, so one object serves any thread of a reader. Its log lines go to "Logger.Api".
//
// Every operation of the interface answers: the reads by time of every record of the store; the
// reads by position (the getSelected... pages, counted back from a time, and the last items up
// to a time) with the event texts, the repair of damaged event ranges and the reader's view of
// power-quality events; the values computed from items (aggregates, amplitudes, merged
// histograms, statistics, the 5 x 7 classification of power-quality events, the frequency of
// half-cycle values); the catalogue queries (identifications, descriptions, time ranges, files,
// quotas); the sample forms and their conversions; and the exports to files. A failure answers
// the operation's failure value (null, an empty list or record, false, -1, 0.0) with a last
// error; exports tell their outcome in the log and in the file alone.
//
// Reads by position have no pause: a page is small. Where the identification is unknown they
// answer null at once; reads by time pause first (LoggerApiBase).
class QZLOGGER_EXPORT LoggerApi : public LoggerApiInterface, public LoggerApiBase, public TrackObject {

public:
    LoggerApi();
    ~LoggerApi() override;
    LoggerApi(const LoggerApi&) = delete;
    LoggerApi& operator=(const LoggerApi&) = delete;

    // The 16-bit units of the sample form: per volt and per ampere.
    static constexpr float kU = kUnitsPerVolt;
    static constexpr float kI = kUnitsPerAmpere;

    // The operations of LoggerApiInterface, in its order.
    void registerLoggerstate(QObject* receiver) override;
    void unregisterLoggerstate(QObject* receiver) override;
    double getMaximalLoggerSize(LoggerType type, LoggerDataType dataType) override;
    double getUsedLoggerSize(LoggerType type, LoggerDataType dataType) override;
    bool getTimeRange(LoggerType type, LoggerDataType dataType, const QString& id, timespec& start,
                      timespec& end) override;
    std::vector<QString> getMeasIDs(LoggerType type) override;
    std::vector<DataMeasType> getMeanMeasTypes(const QString& id) override;
    std::vector<DataMeasType> getMeterMeasTypes(const QString& id) override;
    std::vector<DataMeasType> getHarmonicsMeasTypes(const QString& id) override;
    std::vector<DataMeasType> getStatisticMeasTypes(const QString& id) override;
    PtrLoggerResultItq getItqValues(int baseTypeId, timespec start, timespec end) override;
    PtrLoggerResultVtq getVtqValues(int baseTypeId, timespec start, timespec end) override;
    PtrLoggerResultDtq getDtqValues(int baseTypeId, timespec start, timespec end) override;
    PtrLoggerResultItq getItqValues(const QString& id, timespec start, timespec end) override;
    PtrLoggerResultVtq getVtqValues(const QString& id, timespec start, timespec end) override;
    PtrLoggerResultDtq getDtqValues(const QString& id, timespec start, timespec end) override;
    PtrLoggerResultMean getMeanValues(const QString& id, timespec start, timespec end) override;
    PtrLoggerResultVtq getRms_1_2_Values(const QString& id, timespec start, timespec end) override;
    PtrLoggerResultItq getDigital_1_2_Values(const QString& id, timespec start, timespec end) override;
    PtrLoggerResultVtq getFrequency_1_2_Values(const QString& id, timespec start, timespec end) override;
    LoggerResultList<DataXtq<float>> getAllRms_1_2_Values(const QString& id, long long timeId) override;
    LoggerResultList<DataXtq<int>> getAllDigital_1_2_Values(const QString& id, long long timeId) override;
    PtrLoggerResultSignalVoltages getSignalVoltages(const QString& id, timespec start, timespec end) override;
    PtrLoggerResultSamples getSamplesValues(const QString& id, timespec start, timespec end,
                                            bool unused) override;
    PtrLoggerResultSamples16 getSamples16Values(const QString& id, timespec start, timespec end,
                                                bool unused) override;
    PtrLoggerResultAggregatedFloat getAggregatedVtqValues(const QString& id, timespec start, timespec end,
                                                          int interval, int maxItems) override;
    PtrLoggerResultAggregatedDouble getAggregatedDtqValues(const QString& id, timespec start, timespec end,
                                                           int interval, int maxItems) override;
    PtrLoggerResultDtq getSelectedDtqValues(const QString& id, timespec time, int offset, int count) override;
    PtrLoggerResultVtq getSelectedVtqValues(const QString& id, timespec time, int offset, int count) override;
    PtrLoggerResultMean getSelectedMeanValues(const QString& id, timespec time, int offset,
                                              int count) override;
    PtrLoggerResultMean getAggregatedMeanValues(const QString& id, timespec start, timespec end, int interval,
                                                int maxItems) override;
    PtrLoggerResultMean getFilteredMeanValues(const QString& id, timespec start, timespec end,
                                              unsigned int qualityMask) override;
    PtrLoggerResultOperator getOperatorEvents(timespec time, int maxItems, int baseTypeId) override;
    PtrLoggerResultOperator getOperatorEvents(timespec start, timespec end, int baseTypeId) override;
    PtrLoggerResultOperator getOperatorEvents(timespec start, timespec end, int maxItems,
                                              int baseTypeId) override;
    PtrLoggerResultOperator getSelectedOperatorEvents(timespec time, int offset, int count) override;
    PtrLoggerResultEvent getEvents(const QString& id, timespec time, int maxItems) override;
    PtrLoggerResultEvent getSelectedEvents(const QString& id, timespec time, int offset, int count) override;
    PtrLoggerResultPqEvent getPqEvents(const QString& id, timespec time, int maxItems) override;
    PtrLoggerResultRseEvent getRseEvents(const QString& id, timespec time, int maxItems) override;
    int getNumPqEvents(const QString& id, timespec start, timespec end) override;
    PtrLoggerResultPqEvent getPqEvents(const QString& id, timespec start, timespec end,
                                       int maxItems) override;
    DataEventClass35 getPqEventClasses(const QString& id, timespec start, timespec end,
                                       int maxItems) override;
    PtrLoggerResultRseEvent getRseEvents(const QString& id, timespec start, timespec end,
                                         int maxItems) override;
    PtrLoggerResultPqEvent getSelectedPqEvents(const QString& id, timespec time, int offset,
                                               int count) override;
    PtrLoggerResultRseEvent getSelectedRseEvents(const QString& id, timespec time, int offset,
                                                 int count) override;
    PtrLoggerResultSignalEvent getSignalEvents(const QString& id, timespec time, int maxItems) override;
    PtrLoggerResultSignalEvent getSignalEvents(const QString& id, timespec start, timespec end,
                                               int maxItems) override;
    PtrLoggerResultSignalEvent getSelectedSignalEvents(const QString& id, timespec time, int offset,
                                                       int count) override;
    PtrLoggerResultDisturb getDisturbanceValues(const QString& id, timespec start, timespec end,
                                                int maxItems) override;
    int getNumberOfOpenedFiles() override;
    std::vector<DataLoggerFile> getFileList(LoggerType type, LoggerDataType dataType,
                                            QString filter) override;
    // Harmonics. getHarmonics answers zero items at once where the wiring asked for does not fit
    // the id (isPhasePhase); with complexAmplitude, for any id but an interharmonic, the per cent
    // amplitudes of getComplexAmplitudeArray; else the HARMONICS logger of the id as stored.
    // getHarmonicsAbsolute reads an array of 51 orders (isArray51_10min) as stored, any other id
    // as magnitudes from the complex logger. The array getters read their logger as stored, with
    // its interval in mInterval, and trace their call as routine messages.
    PtrLoggerResultHarmonics getHarmonics(const QString& id, timespec start, timespec end,
                                          bool complexAmplitude,
                                          LoggerApiInterface::HarmonicConnectionType connection) override;
    PtrLoggerResultHarmonics getHarmonicsAbsolute(const QString& id, timespec start, timespec end) override;
    PtrLoggerResultArray41 getArray41(const QString& id, timespec start, timespec end) override;
    PtrLoggerResultPercentile41 getPercentile3_41(const QString& id, timespec start, timespec end) override;
    PtrLoggerResultPercentile51 getPercentile3_51(const QString& id, timespec start, timespec end) override;
    PtrLoggerResultComplexArray getComplexArray(const QString& id, timespec start, timespec end) override;
    PtrLoggerResultPrevailingArray getPrevailingArray(const QString& id, timespec start,
                                                      timespec end) override;
    PtrLoggerResultContributionArray getContributionArray(const QString& id, timespec start,
                                                          timespec end) override;
    void writeMeasuredValuesToFile(const QString& id, timespec start, timespec end,
                                   const QString& fileName) override;
    void writeDisturbValuesToFile(const QString& id, timespec start, timespec end,
                                  const QString& fileName) override;
    void writePqEventValuesToFile(const QString& id, timespec start, timespec end,
                                  const QString& fileName) override;
    void writeComplexValuesToFile(const QString& id, timespec start, timespec end,
                                  const QString& fileName) override;
    void writePrevailingValuesToFile(const QString& id, timespec start, timespec end,
                                     const QString& fileName) override;
    void writeContributionValuesToFile(const QString& id, timespec start, timespec end,
                                       const QString& fileName) override;
    void writePercentileValuesToFile(const QString& id, timespec start, timespec end,
                                     const QString& fileName) override;
    PtrLoggerResultStatistic getStatisticValues(const QString& id, timespec start, timespec end) override;
    std::shared_ptr<DataStatisticBase<float>> calculateStatistic(const QString& id, timespec start,
                                                                 timespec end, int interval) override;
    PtrLoggerResultHistogram2650 getFrequencyDatas(const QString& id, timespec start, timespec end,
                                                   double& interval) override;
    PtrLoggerResultHistogram200 getMainsSignallingDatas(const QString& id, timespec start, timespec end,
                                                        double& interval) override;
    std::shared_ptr<DataHistogram<2650>> getFrequencyHistogram(const QString& id, timespec start,
                                                               timespec end, bool cumulative) override;
    std::shared_ptr<DataHistogram<200>> getMainsSignallingHistogram(const QString& id, timespec start,
                                                                    timespec end, bool cumulative) override;
    std::shared_ptr<DataStatisticBase<float>> getFrequencyStatistic(const QString& id, timespec start,
                                                                    timespec end, float nominal,
                                                                    float lowerPercent,
                                                                    float upperPercent) override;
    std::shared_ptr<DataStatisticBase<float>> getMainsSignallingStatistic(const QString& id, timespec start,
                                                                          timespec end, float nominal,
                                                                          float lowerPercent,
                                                                          float upperPercent) override;
    std::shared_ptr<DataStatisticBase<float>> getMeanStatistic(const QString& id, timespec start,
                                                               timespec end, float nominal,
                                                               float lowerPercent,
                                                               float upperPercent) override;
    std::shared_ptr<DataStatisticBase<float>> getHarmonicsStatistic(const QString& id, timespec start,
                                                                    timespec end, int* orders, float* limits,
                                                                    int count, bool fromComplex) override;
    std::shared_ptr<DataStatisticBase<float>> getVtqStatistic(const QString& id, timespec start, timespec end,
                                                              float nominal, float lowerPercent,
                                                              float upperPercent) override;
    DataSamplesBase<short, short>* convertFloatTo16Bit(DataSamplesBase<float, int>* items, int count,
                                                       float scaleVoltage, float scaleCurrent) override;
    DataSamplesBase<float, int>* convert16BitToFloat(DataSamplesBase<short, short>* items, int count,
                                                     float scaleVoltage, float scaleCurrent) override;
    int getNumLoggers() override;
    PtrLoggerResultMeanMinMax7 getSelectedMeanMinMaxArray7(const QString& id, timespec time, int offset,
                                                           int count) override;
    PtrLoggerResultMeanMinMax12 getSelectedMeanMinMaxArray12(const QString& id, timespec time, int offset,
                                                             int count) override;
    PtrLoggerResultMeanMinMax14 getSelectedMeanMinMaxArray14(const QString& id, timespec time, int offset,
                                                             int count) override;
    PtrLoggerResultMeanMinMax16 getSelectedMeanMinMaxArray16(const QString& id, timespec time, int offset,
                                                             int count) override;
    PtrLoggerResultMeanMinMax20 getSelectedMeanMinMaxArray20(const QString& id, timespec time, int offset,
                                                             int count) override;
    PtrLoggerResultMeanMinMax23 getSelectedMeanMinMaxArray23(const QString& id, timespec time, int offset,
                                                             int count) override;
    PtrLoggerResultMeanMinMax24 getSelectedMeanMinMaxArray24(const QString& id, timespec time, int offset,
                                                             int count) override;
    PtrLoggerResultSystemMeter getSelectedSystemMeter(const QString& id, timespec time, int offset,
                                                      int count) override;
    PtrLoggerResultQuadMeter getSelectedQuadMeter(const QString& id, timespec time, int offset,
                                                  int count) override;
    PtrLoggerResultMeanMinMax7 getMeanMinMaxArray7Values(const QString& id, timespec start,
                                                         timespec end) override;
    PtrLoggerResultMeanMinMax12 getMeanMinMaxArray12Values(const QString& id, timespec start,
                                                           timespec end) override;
    PtrLoggerResultMeanMinMax14 getMeanMinMaxArray14Values(const QString& id, timespec start,
                                                           timespec end) override;
    PtrLoggerResultMeanMinMax16 getMeanMinMaxArray16Values(const QString& id, timespec start,
                                                           timespec end) override;
    PtrLoggerResultMeanMinMax20 getMeanMinMaxArray20Values(const QString& id, timespec start,
                                                           timespec end) override;
    PtrLoggerResultMeanMinMax23 getMeanMinMaxArray23Values(const QString& id, timespec start,
                                                           timespec end) override;
    PtrLoggerResultMeanMinMax24 getMeanMinMaxArray24Values(const QString& id, timespec start,
                                                           timespec end) override;
    PtrLoggerResultQuadMeter getQuadMeterValues(const QString& id, timespec start, timespec end) override;
    PtrLoggerResultSystemMeter getSystemMeterValues(const QString& id, timespec start, timespec end) override;
    std::shared_ptr<DataStatisticBase<float>> getMeanArray14Statistic(const QString& id, unsigned int index,
                                                                      timespec start, timespec end,
                                                                      float nominal, float lowerPercent,
                                                                      float upperPercent) override;

    // Repairs in place each power-quality event whose recording ranges are missing (zero) or
    // inverted, and logs one line for each repair: an rms range is set to the event's own span
    // (utc to utc + duration), as far as it was missing or wholly where it was inverted, and so
    // is the sample range. Nothing is written back: a later read repairs and reports again. True
    // where no event needed a repair, also for a null or empty result.
    bool checkPqEvents(PtrLoggerResultPqEvent result);
    // The cell of the 5 x 7 table of getPqEventClasses that counts the event: duration the row
    // (up to 0.2, 0.5, 1, 5 and 60 s), depth the column (the residual value in per cent of the
    // reference: below 5, 40, 70, 80 and 90, then 110 to 120, and a seventh for the rest). False, with both
    // -1, for an event shorter than 20 ms or longer than 60 s, which the table leaves out.
    static bool classifyPqEvent(const DataPqEvent& event, int& duration, int& depth);
    // Every field of the event but pqExtension into the same field of the reader's view; the rest
    // of target, index included, stays as it is.
    static void copyPqEvent(DataPqEvent& source, DataRseEvent& target);
    // Joins the texts of the event log baseType into the result: mInfo becomes the log's whole
    // text list, and each item's stringIndex the position of its text there (0, the first text,
    // for an id that the log does not hold). Logs "No Event Base Type" and changes nothing where
    // baseType is not an event log.
    void getEventStringIDs(std::shared_ptr<DefnBaseType> baseType, PtrLoggerResultEvent result);
    // The event at, or else the last one before, the time that timeId holds (getTimeId).
    PtrLoggerResultRseEvent getSingleRseEvent(const QString& id, long long timeId);

    // A time in one integer, so that a client can hold an event's time in a single value: the
    // seconds times 2^32 plus the nanoseconds, both taken as signed 64-bit values.
    long long getTimeId(timespec time);
    // The inverse on the two signed 32-bit halves: seconds from the high word, nanoseconds from
    // the low word. It gives back every time with nanoseconds from 0 to 999999999; a negative
    // nanosecond part has borrowed from the seconds and comes back in the low word alone.
    timespec getTimeFromId(long long timeId);
    // Whether ids holds id; false where the store is not valid.
    bool existsId(std::vector<QString>& ids, QString& id);
    // Whether a description in types has this configId, compared byte for byte, length first.
    bool existsDataMeasType(std::vector<DataMeasType>& types, const QString& configId);
    // The descriptions of the loggers of type and dataType with identification id, one per
    // configId; empty where the store is not valid, and with the last error "Data item (<id>)
    // doesn't exist" where no logger has it. The base class's form lists every configuration.
    using LoggerApiBase::getDataMeasTypes;
    std::vector<DataMeasType> getDataMeasTypes(const QString& id, LoggerType type, LoggerDataType dataType);
    // Writes the corrected range of one file back to the catalogue: the file of the first logger
    // of file.type, file.dataType and id whose unique id is file's takes file's utcStart and
    // utcEnd, and the logger's range widens to hold them, in one retried transaction
    // "correctDatabaseItem". False where the store is not valid, the logger is unknown or has no
    // file, or the transaction failed; true where no file has that unique id.
    bool correctDatabaseItem(QString id, DataLoggerFile& file);

    // The amplitudes of id as getHarmonicsAbsolute computes them, exported as DataHarmonics.
    void writeAmplitudesToFile(const QString& id, timespec start, timespec end, QString fileName);
    // The frequency of id's half-cycle values (getFrequency_1_2_Values), exported as
    // DataXtq<float>; id names a DISTURB logger of RMS values, or of samples where it holds
    // "sample".
    void writeFrequency_1_2_ValuesToFile(const QString& id, timespec start, timespec end,
                                         const QString& fileName);

    // Sample results in the other form, as new results. To 16 bits every value goes in the
    // store's fixed units kU and kI, whatever the two scales say; to floats each channel is
    // multiplied by the scale of its kind, volts or amperes per unit. Null for null.
    PtrLoggerResultSamples16 convertFloatTo16BitResult(PtrLoggerResultSamples samples, float scaleVoltage,
                                                       float scaleCurrent);
    PtrLoggerResultSamples convert16BitToFloatResult(PtrLoggerResultSamples16 samples, float scaleVoltage,
                                                     float scaleCurrent);

    // Which store an identification of the harmonics means. Each predicate looks for a fixed
    // substring anywhere in id, case-sensitively, and nothing more: "12" is phase-to-phase also
    // where the digits stand for something else.
    // "_inter_".
    static bool isInterharmonic(const QString& id);
    // "select_magn_", "select_diff_" and "select_diffutil_".
    static bool isMagnitude_10min(const QString& id);
    static bool isDifference_10min(const QString& id);
    static bool isDifferenceUtil_10min(const QString& id);
    // An array of 51 orders stored as it is read: any of the three above, "_amp_10min" or
    // "_calc_10min".
    static bool isArray51_10min(const QString& id);
    // Any of "12", "23" and "31".
    static bool isPhasePhase(const QString& id);
    // Amplitudes that come from the complex logger: the store has complex harmonics
    // (LoggerDb::hasComplexHarmonics) and id holds "inter_10min" or "harm_10min".
    static bool isComplexAmplitude(const QString& id);
    // The channel of id in a complex item: the first of "u1", "u2", "u3", "i1", "i2", "i3", in
    // that order, that id holds, 0 to 5 (voltages 0 to 2, currents 3 to 5); 0 where none.
    static unsigned int getChannelIndex(const QString& id);

    // The amplitudes of one channel of a complex item into target: utc, quality and the
    // magnitudes of orders 0 to 49; order 50 keeps what target held. With percent, each order is
    // in per cent of a divisor: for a voltage channel (below 3) the fundamental (order 1, or 1.0
    // where it is 0.0; order 0 is divided by 1.0), for a current channel maxLoad, or the
    // fundamental where maxLoad is 0.0, which is logged as an error. A channel beyond the 7 of
    // the item copies utc and quality only, and logs an error.
    void calculateAmplitude(DataComplexArray& source, DataHarmonics& target, unsigned int channel,
                            float maxLoad, bool percent);

    // The arrays of 51 orders of a HARMONICS logger, without the check of the store and of the
    // identification: an unknown id answers null after the pause of a failed type load.
    PtrLoggerResultHarmonics readHarmmonics51(const QString& id, timespec start, timespec end);
    // The complex items of a COMPLEX logger; header receives the header of the last file read,
    // whose Parameter1 is the maximum load current of the current channels.
    PtrLoggerResultComplexArray getComplexArrayWithHeader(const QString& id, timespec start, timespec end,
                                                          LoggerHeader& header);
    // The amplitudes of the channel that id names (getChannelIndex), computed from the items of
    // the complex logger "aggr.mean_10min.harm_complex.values_0"; in per cent with percent
    // (calculateAmplitude), with the header's Parameter1 as the maximum load, 100.0 where it is
    // 0.0. Null where that logger gives no items; the result's mInterval stays 0.0.
    PtrLoggerResultHarmonics getComplexAmplitudeArray(const QString& id, timespec start, timespec end,
                                                      bool percent);

    // Aggregation of a result read by time onto a grid of interval seconds that starts on a whole
    // multiple of the interval in UTC seconds (of an hour for longer intervals), shortly before
    // the first item: one record per bin that holds items, stamped with the bin's end, with
    // minimum, maximum and mean; the quality bit 0x10000 marks a bin with fewer values than a
    // full one. Each call has an aggregator of its own. The mean values are aggregated in place
    // and take the grid interval; they stay as they are where interval is 0 or below or not above
    // their own. The DataXtq values come back as new records, one per item where they are not
    // aggregated; an empty result for null.
    void aggregateMeanValues(PtrLoggerResultMean result, timespec start, int interval);
    PtrLoggerResultAggregatedFloat aggregateVtqValues(PtrLoggerResultVtq result, timespec start,
                                                      int interval);
    PtrLoggerResultAggregatedDouble aggregateDtqValues(PtrLoggerResultDtq result, timespec start,
                                                       int interval);

private:
    // A read of half-cycle values: null at once where the store is not valid, else the entry
    // pause and the read by time of the DISTURB logger.
    template <typename T>
    std::shared_ptr<LoggerResult<T>> readHalfCycles(LoggerDataType dataType, const QString& id,
                                                    timespec start, timespec end);
    // The half-cycle values of every DISTURB logger of dataType over the span of the first
    // half-cycle recording of the power-quality event of id at timeId, with the loggers'
    // identifications; empty lists where there is no such event.
    template <typename T>
    LoggerResultList<T> readAllHalfCycles(LoggerDataType dataType, const QString& id, long long timeId);
    // The export of a CYCLIC logger of dataType as records T; with reportFailures an unknown id
    // and a type that cannot be loaded are logged as errors too.
    template <typename T>
    void writeArrayToFile(LoggerDataType dataType, const QString& id, timespec start, timespec end,
                          const QString& fileName, bool reportFailures);
    // The error lines of a failed export: the id is not found; its type cannot be loaded.
    void reportNoData(const QString& id);
    void reportNoType();
    // The first steps of both sample getters: the store must be valid (else false at once), the
    // entry pause, and the catalogue ids of id's loggers of samples in float and in 16-bit form,
    // -1 for a form it has not; false, with the last error naming the form asked and after the
    // lookup pause, where it has neither.
    bool findSamples(const QString& id, LoggerDataType asked, int& floatId, int& shortId);
    // The 16-bit samples of a DISTURB logger, with the header of its last file read.
    PtrLoggerResultSamples16 readSamples16(int baseTypeId, timespec start, timespec end,
                                           LoggerHeader& header);

    // The complex logger of the harmonics: one per device, every 10 minutes.
    static constexpr const char kComplexHarmonicsId[] = "aggr.mean_10min.harm_complex.values_0";

    // The statistic of one value of every item of a measured logger, which value gives: the
    // items of start to end judged against nominal x lowerPercent / 100 and nominal x
    // upperPercent / 100, the logger's interval expected between them. Null where the store is
    // not valid, the id is not catalogued with dataType (after the lookup pause) and where the
    // read fails.
    template <typename T, typename Value>
    std::shared_ptr<DataStatisticBase<float>>
    itemStatistic(LoggerDataType dataType, const QString& id, timespec start, timespec end, float nominal,
                  float lowerPercent, float upperPercent, Value value);
    // The statistic of a histogram logger of N classes (getStatistic): null at once where the
    // store is not valid, and with the last error for an id not catalogued as such a logger.
    template <int N>
    std::shared_ptr<DataStatisticBase<float>> histogramStatistic(const QString& id, timespec start,
                                                                 timespec end, float nominal,
                                                                 float lowerPercent, float upperPercent);
    // The harmonic orders that the statistic judges, before anything is read: orders in 0 to 50,
    // and arrays where count is above 0. False with the last error otherwise.
    static bool checkHarmonicOrders(const QString& id, const int* orders, const float* limits, int count);

    // The way of every read by time: the store must be valid (else null at once, without a
    // pause), the identification must be catalogued for the family (else null after the pause
    // of a failed lookup), and then the items of the range, at most maxItems where that is 1
    // or more.
    template <typename T>
    std::shared_ptr<LoggerResult<T>> readTimeRange(LoggerType type, LoggerDataType dataType,
                                                   const QString& id, timespec start, timespec end,
                                                   int maxItems = -1, int* firstItemId = nullptr);
    // The same for a caller that knows the base type already: no lookup.
    template <typename T>
    std::shared_ptr<LoggerResult<T>> readTimeRange(LoggerType type, int baseTypeId, timespec start,
                                                   timespec end);
    // getValues with a header of the call's own, which no getter hands on; the first item's id
    // goes to firstItemId where that is not null.
    template <typename T>
    std::shared_ptr<LoggerResult<T>> readItems(LoggerType type, int baseTypeId, timespec start, timespec end,
                                               int maxItems, int* firstItemId);

    // The read of the aggregated getters: the identification as in a read by time, then the
    // logger's measured type, whose interval the result takes. A bound of maxItems bins becomes
    // one of the items they hold where the logger's interval is shorter than interval.
    template <typename T>
    std::shared_ptr<LoggerResult<T>> readForAggregation(LoggerDataType dataType, const QString& id,
                                                        timespec start, timespec end, int interval,
                                                        int maxItems);

    // The read of the array getters: the store must be valid where checkStore (else null at
    // once), then before as a trace where it is not empty, the identification (null after the
    // pause of a failed lookup), the measured type (the same; warning names the getter whose
    // warning a missing type is), the items with the header of the last file, the logger's
    // interval and after as a trace where it is not empty.
    template <typename T>
    std::shared_ptr<LoggerResult<T>> readArrayRange(LoggerDataType dataType, const QString& id,
                                                    timespec start, timespec end, LoggerHeader& header,
                                                    bool checkStore, const QString& before,
                                                    const QString& after, const char* warning = nullptr);

    // The first steps of every read by identification: the store must be valid (else false at
    // once) and the identification catalogued for the family, else false with the last error,
    // after a pause of pauseOnUnknown ms (reads by time pause, reads by position do not).
    // baseTypeId gets the identification's catalogue id.
    bool identify(LoggerType type, LoggerDataType dataType, const QString& id, int& baseTypeId,
                  unsigned long pauseOnUnknown);
    // The measured type of a catalogue id; null, with the last error and after the lookup pause,
    // where it cannot be loaded.
    std::shared_ptr<DefnBaseType> loadMeasuredType(int baseTypeId);
    // Both for a CYCLIC logger: the measured type of id, catalogued with dataType, and its
    // catalogue id in baseTypeId; null where either step fails, as each says.
    std::shared_ptr<DefnBaseType> identifyMeasured(LoggerDataType dataType, const QString& id,
                                                   int& baseTypeId, unsigned long pauseOnUnknown);
    // A page of a logger: offset and count as the caller gave them, turned into the count back
    // from time that the page reaches, without overflow.
    template <typename T, typename I>
    std::shared_ptr<LoggerResult<T, I>> readPage(LoggerType type, LoggerDataType dataType, const QString& id,
                                                 timespec time, int offset, int count, int& firstItemId);
    // A page of a measured logger, with the logger's interval.
    template <typename T>
    std::shared_ptr<LoggerResult<T>> readMeasuredPage(LoggerDataType dataType, const QString& id,
                                                      timespec time, int offset, int count);
    // The reader's view of the events, with their running index from firstItemId on.
    static PtrLoggerResultRseEvent toRseEvents(const PtrLoggerResultPqEvent& events, int firstItemId);
    // The last error of a page with a negative count.
    static void reportNegativeCount(const QString& id, int count);

    // The last errors of the reads by identification: an id that the family does not hold with
    // that data type (naming the data types it holds where it holds others), and a range whose
    // start lies after its end, which the reads answer as before.
    void reportUnknownId(LoggerType type, LoggerDataType dataType, const QString& id);
    static void reportReversedRange(timespec start, timespec end);

    DatabaseInterface mDatabase;
};

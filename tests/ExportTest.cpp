// The exports of LoggerApi on a real catalogue of a simulated card (WriterStore), the items written
// through the writer's path (TestLogger). Every file an export writes is read back by
// read_export.py, a reader in Python that knows nothing but the byte layouts of the records, and
// compared item by item and field by field with what the matching getter answers. Beside that: the
// choice of record and logger by the identification, the array length of harmonics by the file
// header, damaged events as stored, and what becomes of an export that has nothing to write or
// cannot open its file. Each test runs in a process of its own.

#include "ImmutableFile.h"
#include "LogCapture.h"
#include "LoggerApi.h"
#include "LoggerApiInterface.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerHeader.h"
#include "LoggerResult.h"
#include "LoggerTestSeams.h"
#include "QStringPrinter.h"
#include "TestLogger.h"
#include "TrackObject.h"
#include "WriterStore.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using Samples = DataSamplesBase<float, int>;
using Samples16 = DataSamplesBase<short, short>;
using Prevailing = DataXtqArrayExtended<float, 357>;
using Contribution = DataXtqArrayExtended<float, 123>;
using Percentile51 = DataPercentileBase<3, 51>;
using Array41 = DataXtqArray<float, 41>;

constexpr int32_t kFirstSecond = 1763802000;      // 2025-11-22, mid-day in any zone
constexpr unsigned long kFailedLookupPause = 200; // ms before an export of an unknown id returns
constexpr int kTenMinutes = 600;
const QString kComplexId = QStringLiteral("aggr.mean_10min.harm_complex.values_0");
const QString kApiError = QStringLiteral("Logger.Api|ERROR|");

timespec at(int64_t seconds, int64_t nanoseconds = 0)
{
    timespec time{};
    time.tv_sec = static_cast<time_t>(seconds);
    time.tv_nsec = static_cast<long>(nanoseconds);
    return time;
}

// --- items ---------------------------------------------------------------------------------------

// An item whose every 32-bit word behind its time stamp holds a float that tells item and word
// apart, so that a field read from the wrong place shows.
template <typename T> T patternedItem(int32_t second, int index)
{
    static_assert(sizeof(T) % 4 == 0, "records are made of 32-bit words");
    T item;
    std::memset(static_cast<void*>(&item), 0, sizeof(T));
    const DataTimespec utc{second, 1000 * index};
    std::memcpy(static_cast<void*>(&item), &utc, sizeof(utc));
    unsigned char* bytes = reinterpret_cast<unsigned char*>(&item);
    for (size_t offset = sizeof(utc); offset < sizeof(T); offset += 4) {
        const float word = 0.25f * static_cast<float>(4096 * (index + 1) + static_cast<int>(offset / 4));
        std::memcpy(bytes + offset, &word, sizeof(word));
    }
    return item;
}

template <typename T> std::vector<T> patternedItems(int count, int32_t firstSecond, int32_t step = 1)
{
    std::vector<T> items;
    for (int index = 0; index < count; ++index)
        items.push_back(patternedItem<T>(firstSecond + step * index, index));
    return items;
}

template <int N> std::vector<DataHistogram<N>> histogramItems(int count, int32_t firstSecond)
{
    std::vector<DataHistogram<N>> items = patternedItems<DataHistogram<N>>(count, firstSecond, kTenMinutes);
    for (DataHistogram<N>& item : items) {
        // A period that ends where it is stamped: the histogram getters swap an end before a start.
        item.utcStart = DataTimespec{item.utc.tv_sec - kTenMinutes, 0};
        item.totalValues = 600;
        item.missingValues = 0;
        item.maxValues = 600;
    }
    return items;
}

std::vector<DataStatisticBase<long>> statisticItems(int count, int32_t firstSecond)
{
    std::vector<DataStatisticBase<long>> items;
    for (int index = 0; index < count; ++index) {
        DataStatisticBase<long> item{};
        item.utc = DataTimespec{firstSecond + kTenMinutes * (index + 1), 0};
        item.utcStart = DataTimespec{firstSecond + kTenMinutes * index, 0};
        item.quality = static_cast<uint32_t>(index);
        item.betweenLimits = 50 + index;
        item.missing = index;
        item.limitViolation = 10 - index;
        items.push_back(item);
    }
    return items;
}

std::vector<DataXtq<float>> halfCycleValues(int count, int32_t firstSecond)
{
    std::vector<DataXtq<float>> items;
    for (int index = 0; index < count; ++index) {
        DataXtq<float> item{};
        item.utc = DataTimespec{firstSecond + index / 50, (index % 50) * 20000000};
        item.quality = static_cast<uint32_t>(index);
        item.value = 230.0f + 0.5f * static_cast<float>(index);
        items.push_back(item);
    }
    return items;
}

// A sound power-quality event: every recording range begins a second before it and ends three
// seconds after it, the sample range runs over its first four seconds.
DataPqEvent pqEvent(int32_t second, int index)
{
    DataPqEvent event = patternedItem<DataPqEvent>(second, index);
    event.duration = DataTimespec{0, 100000000 * (index + 1)};
    event.triggerType = 2;
    event.triggerSource = 0x3;
    event.systemType = 9;
    for (DataUtcRange& range : event.rms)
        range = DataUtcRange{{second - 1, 0}, {second + 3, 0}};
    event.sample = DataUtcRange{{second, 0}, {second + 4, 0}};
    return event;
}

// --- the items as JSON, as read_export.py prints them ---------------------------------------------

QJsonValue number(double value)
{
    if (std::isnan(value))
        return QStringLiteral("nan");
    if (std::isinf(value))
        return value > 0 ? QStringLiteral("inf") : QStringLiteral("-inf");
    return value;
}

QJsonArray json(const DataTimespec& time)
{
    return QJsonArray{time.tv_sec, time.tv_nsec};
}

template <typename V, size_t N> QJsonArray json(const V (&values)[N])
{
    QJsonArray array;
    for (const V& value : values)
        array.append(number(static_cast<double>(value)));
    return array;
}

template <int Words> QJsonArray json(const DataPassThrough<Words>& words)
{
    return json(words.words);
}

QJsonArray json(const DataUtcRange& range)
{
    return QJsonArray{json(range.utcStart), json(range.utcEnd)};
}

template <typename T> QJsonObject toJson(const DataXtq<T>& item)
{
    return QJsonObject{
        {"utc", json(item.utc)}, {"quality", number(item.quality)}, {"value", number(item.value)}};
}

QJsonObject toJson(const DataMean& item)
{
    return QJsonObject{{"utc", json(item.utc)},
                       {"quality", number(item.quality)},
                       {"min", number(item.min)},
                       {"mean", number(item.mean)},
                       {"max", number(item.max)}};
}

template <int N> QJsonObject toJson(const DataMeanMinMaxArray<float, N>& item)
{
    return QJsonObject{
        {"utc", json(item.utc)}, {"quality", number(item.quality)}, {"values", json(item.values)}};
}

template <int N> QJsonObject toJson(const DataXtqArray<float, N>& item)
{
    return QJsonObject{
        {"utc", json(item.utc)}, {"quality", number(item.quality)}, {"values", json(item.values)}};
}

template <int N> QJsonObject toJson(const DataXtqArrayExtended<float, N>& item)
{
    return QJsonObject{{"utc", json(item.utc)},
                       {"quality", number(item.quality)},
                       {"extension", json(item.extension)},
                       {"values", json(item.values)}};
}

QJsonObject toJson(const DataComplexArray& item)
{
    QJsonArray values;
    for (const std::complex<float>& value : item.values)
        values.append(QJsonArray{number(value.real()), number(value.imag())});
    return QJsonObject{{"utc", json(item.utc)},
                       {"quality", number(item.quality)},
                       {"extension", json(item.extension)},
                       {"values", values}};
}

template <int N> QJsonObject toJson(const DataPercentileBase<3, N>& item)
{
    return QJsonObject{{"utc", json(item.utc)},
                       {"quality", number(item.quality)},
                       {"reserved", json(item.reserved)},
                       {"values", json(item.values)}};
}

template <typename V, typename Q> QJsonObject toJson(const DataSamplesBase<V, Q>& item)
{
    return QJsonObject{
        {"utc", json(item.utc)}, {"quality", number(item.quality)}, {"values", json(item.values)}};
}

QJsonObject toJson(const DataStatisticBase<long>& item)
{
    return QJsonObject{{"utc", json(item.utc)},           {"utcStart", json(item.utcStart)},
                       {"quality", number(item.quality)}, {"betweenLimits", number(item.betweenLimits)},
                       {"missing", number(item.missing)}, {"limitViolation", number(item.limitViolation)}};
}

template <int N> QJsonObject toJson(const DataHistogram<N>& item)
{
    return QJsonObject{{"utc", json(item.utc)},
                       {"utcStart", json(item.utcStart)},
                       {"quality", number(item.quality)},
                       {"lowerLimit", number(item.lowerLimit)},
                       {"upperLimit", number(item.upperLimit)},
                       {"totalValues", number(item.totalValues)},
                       {"missingValues", number(item.missingValues)},
                       {"maxValues", number(item.maxValues)},
                       {"percent", json(item.percent)}};
}

QJsonObject toJson(const DataPqEvent& item)
{
    QJsonArray rms;
    for (const DataUtcRange& range : item.rms)
        rms.append(json(range));
    return QJsonObject{{"utc", json(item.utc)},
                       {"duration", json(item.duration)},
                       {"triggerType", number(item.triggerType)},
                       {"triggerSource", number(item.triggerSource)},
                       {"systemType", number(item.systemType)},
                       {"referenceValue", number(item.referenceValue)},
                       {"eventValue", number(item.eventValue)},
                       {"thirdValue", number(item.thirdValue)},
                       {"rms", rms},
                       {"sample", json(item.sample)},
                       {"pqExtension", json(item.pqExtension)},
                       {"pqTail", json(item.pqTail)}};
}

// The records whose bytes behind the time stamp the store passes through unread.
template <typename T> auto toJson(const T& item) -> decltype(item.payload, QJsonObject())
{
    return QJsonObject{{"utc", json(item.utc)}, {"payload", json(item.payload)}};
}

// --- the independent reader -------------------------------------------------------------------

struct ExportFile {
    bool read = false; // the reader ran and understood the file
    QString error;
    int itemSize = 0;
    QJsonArray items;
};

ExportFile readExport(const QString& layout, const QString& path)
{
    ExportFile file;
    QProcess reader;
    reader.start(QStringLiteral(QZLOGGER_PYTHON), {QStringLiteral(QZLOGGER_EXPORT_READER), layout, path});
    if (!reader.waitForStarted(10000) || !reader.waitForFinished(30000)) {
        reader.kill();
        reader.waitForFinished(1000);
        file.error = QStringLiteral("the reader did not run: ") + reader.errorString();
        return file;
    }
    const QByteArray output = reader.readAllStandardOutput();
    if (reader.exitStatus() != QProcess::NormalExit || reader.exitCode() != 0) {
        file.error = QStringLiteral("the reader ended with %1: %2")
                         .arg(reader.exitCode())
                         .arg(QString::fromLocal8Bit(reader.readAllStandardError()));
        return file;
    }
    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(output, &parseError);
    if (document.isNull()) {
        file.error = QStringLiteral("the reader's output is no JSON: ") + parseError.errorString();
        return file;
    }
    const QJsonObject object = document.object();
    file.itemSize = object.value(QStringLiteral("itemSize")).toInt();
    file.items = object.value(QStringLiteral("items")).toArray();
    file.read = object.value(QStringLiteral("count")).toInt() == file.items.size();
    return file;
}

std::string text(const QJsonValue& value)
{
    const QJsonDocument document =
        value.isArray() ? QJsonDocument(value.toArray()) : QJsonDocument(value.toObject());
    return document.toJson(QJsonDocument::Compact).left(600).toStdString();
}

// The file at path, read with layout, holds the items of expected, field by field, and nothing
// else: its size is their count times the record's size.
template <typename T>
void expectExportOf(const QString& layout, const QString& path,
                    const std::shared_ptr<LoggerResult<T>>& expected)
{
    ASSERT_NE(expected, nullptr) << "the getter answered null: "
                                 << LoggerApiInterface::getLastError().toStdString();
    ASSERT_GT(expected->mNumItems, 0) << "the getter found no items";
    ASSERT_TRUE(QFileInfo(path).isFile()) << path.toStdString() << " was not written";
    EXPECT_EQ(QFileInfo(path).size(), static_cast<qint64>(sizeof(T)) * expected->mNumItems);
    const ExportFile file = readExport(layout, path);
    ASSERT_TRUE(file.read) << file.error.toStdString();
    EXPECT_EQ(file.itemSize, static_cast<int>(sizeof(T)));
    ASSERT_EQ(file.items.size(), expected->mNumItems);
    for (int index = 0; index < expected->mNumItems; ++index) {
        const QJsonObject item = toJson(expected->mItems[index]);
        ASSERT_TRUE(file.items.at(index).toObject() == item)
            << "item " << index << "\nin the file:  " << text(file.items.at(index))
            << "\nof the getter: " << text(item);
    }
}

QByteArray fileBytes(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    return file.readAll();
}

bool writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
}

// --- the fixture ---------------------------------------------------------------------------------

class ExportTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mLogCaptured);
        ASSERT_TRUE(mOutput.isValid());
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        setReadPauseObserverForTesting(
            [this](unsigned long milliseconds) { mPauses.push_back(milliseconds); });
        setLoggerMessageObserverForTesting(
            [this](const std::string& text, LoggerMessageType type) { mMessages.emplace_back(text, type); });
    }
    void TearDown() override
    {
        setReadPauseObserverForTesting(nullptr);
        setLoggerMessageObserverForTesting(nullptr);
        for (const auto& logger : mLoggers)
            logger->stopLogger();
    }

    // A started logger of items of T; null where it did not start. The scales go into the headers
    // of its files, subType into their header word.
    template <typename T>
    TestLogger* startLogger(const QString& id, LoggerType type, LoggerDataType dataType,
                            float scaleVoltage = 0.0f, float scaleCurrent = 0.0f, int subType = 0)
    {
        mLoggers.push_back(std::make_unique<TestLogger>(id, static_cast<int>(sizeof(T)), type, dataType));
        TestLogger* logger = mLoggers.back().get();
        logger->setHeaderParameters(scaleVoltage, scaleCurrent);
        logger->setSubType(subType);
        if (!logger->startLogger()) {
            ADD_FAILURE() << id.toStdString() << ": " << LoggerDb::getInstance().getLastError().toStdString();
            return nullptr;
        }
        logger->setHeaderParameters(scaleVoltage, scaleCurrent);
        return logger;
    }

    // The items as one block through the writer, and the catalogue brought up to date.
    template <typename T> void write(TestLogger* logger, const std::vector<T>& items)
    {
        ASSERT_NE(logger, nullptr);
        ASSERT_EQ(logger->getDataBlockSize(), static_cast<int>(sizeof(T)));
        ASSERT_NE(logger->writeDatas(reinterpret_cast<const char*>(items.data()),
                                     static_cast<int>(items.size()), true, true),
                  nullptr)
            << LogCapture::text().toStdString();
        ASSERT_TRUE(logger->updateAccess());
    }

    template <typename T>
    std::vector<T> startAndWrite(const QString& id, LoggerType type, LoggerDataType dataType,
                                 std::vector<T> items)
    {
        write(startLogger<T>(id, type, dataType), items);
        return items;
    }

    // The store as a restarted writer brings it up: the catalogue is read anew, and with it
    // whether the device has complex harmonics.
    void restartStore()
    {
        for (const auto& logger : mLoggers)
            logger->stopLogger();
        LoggerDb::getInstance().close();
        ASSERT_TRUE(mStore.initializeWriter()) << mStore.errorString().toStdString();
    }

    QString output(const QString& name) const { return mOutput.filePath(name); }

    bool logged(const QString& text) const
    {
        const std::string line = text.toStdString();
        return std::any_of(mMessages.begin(), mMessages.end(),
                           [&line](const auto& message) { return message.first == line; });
    }
    int countLogged(const QString& text) const
    {
        const std::string line = text.toStdString();
        return static_cast<int>(
            std::count_if(mMessages.begin(), mMessages.end(),
                          [&line](const auto& message) { return message.first == line; }));
    }

    // The data file of the store that holds the logger's items, read whole: its items behind the
    // 44-byte header.
    QByteArray storedItems(const QString& idPart) const
    {
        QByteArray items;
        int found = 0;
        QDirIterator iterator(mStore.dataFolderPath(), QDir::Files, QDirIterator::Subdirectories);
        while (iterator.hasNext()) {
            const QString name = iterator.next();
            if (!name.contains(idPart))
                continue;
            ++found;
            items = fileBytes(name).mid(kLoggerHeaderSize);
        }
        EXPECT_EQ(found, 1) << idPart.toStdString();
        return items;
    }

    QStringList apiErrors() const
    {
        QStringList errors;
        for (const QString& line : LogCapture::lines())
            if (line.startsWith(kApiError))
                errors << line.mid(kApiError.size());
        return errors;
    }

    // Before any member that logs: the store configures logging once per process.
    const bool mLogCaptured = LogCapture::install();
    QTemporaryDir mOutput;
    WriterStore mStore;
    LoggerApi mApi;
    std::vector<std::unique_ptr<TestLogger>> mLoggers;
    std::vector<unsigned long> mPauses;
    std::vector<std::pair<std::string, LoggerMessageType>> mMessages;
};

const timespec kAllDay = at(kFirstSecond - 86400);
const timespec kDayEnd = at(kFirstSecond + 86400);

} // namespace

// =================================================================================================
// The layout of an export.

TEST_F(ExportTest, AMeanExportIsTwentyFourBytesAnItemAndBeginsWithTheTimeOfTheFirstItem)
{
    const QString id = QStringLiteral("aggr.mean_1s.u1");
    const std::vector<DataMean> items = startAndWrite(id, LoggerType::CYCLIC, LoggerDataType::MEAN,
                                                      patternedItems<DataMean>(7, kFirstSecond));
    ASSERT_FALSE(HasFailure());
    const QString path = output(QStringLiteral("mean.bin"));

    mMessages.clear();
    // The second to the sixth item, both ends of the range included: the sixth lies 5000 ns after
    // its second.
    mApi.writeMeasuredValuesToFile(id, at(kFirstSecond + 1), at(kFirstSecond + 5, 5000), path);
    const QByteArray bytes = fileBytes(path);
    ASSERT_EQ(bytes.size(), 24 * 5);
    EXPECT_EQ(std::memcmp(bytes.constData(), &items[1].utc, 8), 0);
    EXPECT_EQ(std::memcmp(bytes.constData(), &items[1], sizeof(DataMean) * 5), 0);

    EXPECT_TRUE(logged(QStringLiteral("File write, Data Item Size: 24 Items: 5 data size: 120")));
    EXPECT_TRUE(logged(path + QStringLiteral(": File Size= 120")));
    for (int index = 0; index < 5; ++index)
        EXPECT_EQ(countLogged(QStringLiteral("   [%1]: %2").arg(index).arg(kFirstSecond + 1 + index)), 1)
            << index;
    EXPECT_TRUE(apiErrors().isEmpty()) << apiErrors().join(QLatin1Char('\n')).toStdString();
}

// =================================================================================================
// Every export, read back with the record layouts alone.

TEST_F(ExportTest, MeasuredValuesOfEveryPlainRecordReadBackAsTheirGetterAnswers)
{
    const QString vtq = QStringLiteral("meter.vtq.u1");
    const QString dtq = QStringLiteral("meter.dtq.energy");
    const QString itq = QStringLiteral("meter.itq.count");
    const QString mean = QStringLiteral("aggr.mean_1s.u1");
    const QString quad = QStringLiteral("meter.quad");
    const QString system = QStringLiteral("meter.system");
    const QString statistic = QStringLiteral("statistic.u1");
    const QString frequency = QStringLiteral("histogram.frequency.f");
    const QString signalling = QStringLiteral("histogram.signal_3s.u1");
    startAndWrite(vtq, LoggerType::CYCLIC, LoggerDataType::VTQ,
                  patternedItems<DataXtq<float>>(4, kFirstSecond));
    startAndWrite(dtq, LoggerType::CYCLIC, LoggerDataType::DTQ,
                  patternedItems<DataXtq<double>>(4, kFirstSecond));
    startAndWrite(itq, LoggerType::CYCLIC, LoggerDataType::ITQ,
                  patternedItems<DataXtq<int>>(4, kFirstSecond));
    startAndWrite(mean, LoggerType::CYCLIC, LoggerDataType::MEAN, patternedItems<DataMean>(4, kFirstSecond));
    startAndWrite(quad, LoggerType::CYCLIC, LoggerDataType::QMETER,
                  patternedItems<DataQuadMeter>(3, kFirstSecond));
    startAndWrite(system, LoggerType::CYCLIC, LoggerDataType::SMETER,
                  patternedItems<DataSystemMeter>(3, kFirstSecond));
    startAndWrite(statistic, LoggerType::CYCLIC, LoggerDataType::STATISTIC, statisticItems(3, kFirstSecond));
    startAndWrite(frequency, LoggerType::CYCLIC, LoggerDataType::HISTOGRAM,
                  histogramItems<2650>(2, kFirstSecond));
    startAndWrite(signalling, LoggerType::CYCLIC, LoggerDataType::HISTOGRAM,
                  histogramItems<200>(3, kFirstSecond));
    ASSERT_FALSE(HasFailure());

    const struct {
        const QString& id;
        std::function<void(const QString& path)> expect;
    } exports[] = {
        {vtq,
         [&](const QString& path) { expectExportOf("vtq", path, mApi.getVtqValues(vtq, kAllDay, kDayEnd)); }},
        {dtq,
         [&](const QString& path) { expectExportOf("dtq", path, mApi.getDtqValues(dtq, kAllDay, kDayEnd)); }},
        {itq,
         [&](const QString& path) { expectExportOf("itq", path, mApi.getItqValues(itq, kAllDay, kDayEnd)); }},
        {mean,
         [&](const QString& path) {
             expectExportOf("mean", path, mApi.getMeanValues(mean, kAllDay, kDayEnd));
         }},
        {quad,
         [&](const QString& path) {
             expectExportOf("qmeter", path, mApi.getQuadMeterValues(quad, kAllDay, kDayEnd));
         }},
        {system,
         [&](const QString& path) {
             expectExportOf("smeter", path, mApi.getSystemMeterValues(system, kAllDay, kDayEnd));
         }},
        {statistic,
         [&](const QString& path) {
             expectExportOf("statistic", path, mApi.getStatisticValues(statistic, kAllDay, kDayEnd));
         }},
        {frequency,
         [&](const QString& path) {
             double interval = 0.0;
             expectExportOf("histogram2650", path,
                            mApi.getFrequencyDatas(frequency, kAllDay, kDayEnd, interval));
         }},
        {signalling,
         [&](const QString& path) {
             double interval = 0.0;
             expectExportOf("histogram200", path,
                            mApi.getMainsSignallingDatas(signalling, kAllDay, kDayEnd, interval));
         }},
    };
    for (const auto& exported : exports) {
        SCOPED_TRACE(exported.id.toStdString());
        const QString path = output(exported.id + QStringLiteral(".bin"));
        mApi.writeMeasuredValuesToFile(exported.id, kAllDay, kDayEnd, path);
        exported.expect(path);
    }
    EXPECT_TRUE(apiErrors().isEmpty()) << apiErrors().join(QLatin1Char('\n')).toStdString();
}

TEST_F(ExportTest, MeasuredHarmonicArraysOfEveryRecordReadBackAsTheirGetterAnswers)
{
    const QString harmonics = QStringLiteral("aggr.harmonics.u1");
    const QString complex = QStringLiteral("aggr.complex.values");
    const QString prevailing = QStringLiteral("aggr.prevailing.values");
    const QString contribution = QStringLiteral("aggr.contribution.values");
    const QString percentile = QStringLiteral("aggr.percentile.values");
    startAndWrite(harmonics, LoggerType::CYCLIC, LoggerDataType::HARMONICS,
                  patternedItems<DataHarmonics>(3, kFirstSecond, kTenMinutes));
    startAndWrite(complex, LoggerType::CYCLIC, LoggerDataType::COMPLEX,
                  patternedItems<DataComplexArray>(2, kFirstSecond, kTenMinutes));
    startAndWrite(prevailing, LoggerType::CYCLIC, LoggerDataType::PREVAILING,
                  patternedItems<Prevailing>(2, kFirstSecond, kTenMinutes));
    startAndWrite(contribution, LoggerType::CYCLIC, LoggerDataType::CONTRIBUTION,
                  patternedItems<Contribution>(2, kFirstSecond, kTenMinutes));
    startAndWrite(percentile, LoggerType::CYCLIC, LoggerDataType::PERCENTILE,
                  patternedItems<Percentile51>(2, kFirstSecond, kTenMinutes));
    ASSERT_FALSE(HasFailure());

    const struct {
        const QString& id;
        std::function<void(const QString& path)> expect;
    } exports[] = {
        {harmonics,
         [&](const QString& path) {
             expectExportOf(
                 "harmonics51", path,
                 mApi.getHarmonics(harmonics, kAllDay, kDayEnd, false, LoggerApiInterface::CONNECTION_ANY));
         }},
        {complex,
         [&](const QString& path) {
             expectExportOf("complex", path, mApi.getComplexArray(complex, kAllDay, kDayEnd));
         }},
        {prevailing,
         [&](const QString& path) {
             expectExportOf("prevailing", path, mApi.getPrevailingArray(prevailing, kAllDay, kDayEnd));
         }},
        {contribution,
         [&](const QString& path) {
             expectExportOf("contribution", path, mApi.getContributionArray(contribution, kAllDay, kDayEnd));
         }},
        {percentile,
         [&](const QString& path) {
             expectExportOf("percentile51", path, mApi.getPercentile3_51(percentile, kAllDay, kDayEnd));
         }},
    };
    for (const auto& exported : exports) {
        SCOPED_TRACE(exported.id.toStdString());
        const QString path = output(exported.id + QStringLiteral(".bin"));
        mApi.writeMeasuredValuesToFile(exported.id, kAllDay, kDayEnd, path);
        exported.expect(path);
    }
    EXPECT_TRUE(apiErrors().isEmpty()) << apiErrors().join(QLatin1Char('\n')).toStdString();
}

TEST_F(ExportTest, MeasuredMeanArraysOfEveryWidthReadBackAsTheirGetterAnswers)
{
    const QString means[] = {QStringLiteral("aggr.m7"),  QStringLiteral("aggr.m12"),
                             QStringLiteral("aggr.m14"), QStringLiteral("aggr.m16"),
                             QStringLiteral("aggr.m20"), QStringLiteral("aggr.m23"),
                             QStringLiteral("aggr.m24")};
    startAndWrite(means[0], LoggerType::CYCLIC, LoggerDataType::MEAN_7,
                  patternedItems<DataMeanMinMaxArray<float, 7>>(2, kFirstSecond));
    startAndWrite(means[1], LoggerType::CYCLIC, LoggerDataType::MEAN_12,
                  patternedItems<DataMeanMinMaxArray<float, 12>>(2, kFirstSecond));
    startAndWrite(means[2], LoggerType::CYCLIC, LoggerDataType::MEAN_14,
                  patternedItems<DataMeanMinMaxArray<float, 14>>(2, kFirstSecond));
    startAndWrite(means[3], LoggerType::CYCLIC, LoggerDataType::MEAN_16,
                  patternedItems<DataMeanMinMaxArray<float, 16>>(2, kFirstSecond));
    startAndWrite(means[4], LoggerType::CYCLIC, LoggerDataType::MEAN_20,
                  patternedItems<DataMeanMinMaxArray<float, 20>>(2, kFirstSecond));
    startAndWrite(means[5], LoggerType::CYCLIC, LoggerDataType::MEAN_23,
                  patternedItems<DataMeanMinMaxArray<float, 23>>(2, kFirstSecond));
    startAndWrite(means[6], LoggerType::CYCLIC, LoggerDataType::MEAN_24,
                  patternedItems<DataMeanMinMaxArray<float, 24>>(2, kFirstSecond));
    ASSERT_FALSE(HasFailure());

    const struct {
        const QString& id;
        std::function<void(const QString& path)> expect;
    } exports[] = {
        {means[0],
         [&](const QString& path) {
             expectExportOf("mean7", path, mApi.getMeanMinMaxArray7Values(means[0], kAllDay, kDayEnd));
         }},
        {means[1],
         [&](const QString& path) {
             expectExportOf("mean12", path, mApi.getMeanMinMaxArray12Values(means[1], kAllDay, kDayEnd));
         }},
        {means[2],
         [&](const QString& path) {
             expectExportOf("mean14", path, mApi.getMeanMinMaxArray14Values(means[2], kAllDay, kDayEnd));
         }},
        {means[3],
         [&](const QString& path) {
             expectExportOf("mean16", path, mApi.getMeanMinMaxArray16Values(means[3], kAllDay, kDayEnd));
         }},
        {means[4],
         [&](const QString& path) {
             expectExportOf("mean20", path, mApi.getMeanMinMaxArray20Values(means[4], kAllDay, kDayEnd));
         }},
        {means[5],
         [&](const QString& path) {
             expectExportOf("mean23", path, mApi.getMeanMinMaxArray23Values(means[5], kAllDay, kDayEnd));
         }},
        {means[6],
         [&](const QString& path) {
             expectExportOf("mean24", path, mApi.getMeanMinMaxArray24Values(means[6], kAllDay, kDayEnd));
         }},
    };
    for (const auto& exported : exports) {
        SCOPED_TRACE(exported.id.toStdString());
        const QString path = output(exported.id + QStringLiteral(".bin"));
        mApi.writeMeasuredValuesToFile(exported.id, kAllDay, kDayEnd, path);
        exported.expect(path);
    }
    EXPECT_TRUE(apiErrors().isEmpty()) << apiErrors().join(QLatin1Char('\n')).toStdString();
}

TEST_F(ExportTest, TheComplexPrevailingContributionAndPercentileExportsReadBackAsTheirGetterAnswers)
{
    const QString complex = QStringLiteral("aggr.complex.values");
    const QString prevailing = QStringLiteral("aggr.prevailing.values");
    const QString contribution = QStringLiteral("aggr.contribution.values");
    const QString percentile = QStringLiteral("aggr.percentile.values");
    startAndWrite(complex, LoggerType::CYCLIC, LoggerDataType::COMPLEX,
                  patternedItems<DataComplexArray>(3, kFirstSecond, kTenMinutes));
    startAndWrite(prevailing, LoggerType::CYCLIC, LoggerDataType::PREVAILING,
                  patternedItems<Prevailing>(3, kFirstSecond, kTenMinutes));
    startAndWrite(contribution, LoggerType::CYCLIC, LoggerDataType::CONTRIBUTION,
                  patternedItems<Contribution>(3, kFirstSecond, kTenMinutes));
    startAndWrite(percentile, LoggerType::CYCLIC, LoggerDataType::PERCENTILE,
                  patternedItems<Percentile51>(3, kFirstSecond, kTenMinutes));
    ASSERT_FALSE(HasFailure());
    const timespec start = at(kFirstSecond + kTenMinutes);
    const timespec end = at(kFirstSecond + 2 * kTenMinutes);

    {
        SCOPED_TRACE("writeComplexValuesToFile");
        const QString path = output(QStringLiteral("complex.bin"));
        mApi.writeComplexValuesToFile(complex, start, end, path);
        expectExportOf("complex", path, mApi.getComplexArray(complex, start, end));
    }
    {
        SCOPED_TRACE("writePrevailingValuesToFile");
        const QString path = output(QStringLiteral("prevailing.bin"));
        mMessages.clear();
        mApi.writePrevailingValuesToFile(prevailing, start, end, path);
        ASSERT_FALSE(mMessages.empty());
        EXPECT_EQ(mMessages.front(), std::make_pair(std::string("Prevailing Id: aggr.prevailing.values"),
                                                    LOGGER_MESSAGE_ROUTINE));
        expectExportOf("prevailing", path, mApi.getPrevailingArray(prevailing, start, end));
    }
    {
        SCOPED_TRACE("writeContributionValuesToFile");
        const QString path = output(QStringLiteral("contribution.bin"));
        mApi.writeContributionValuesToFile(contribution, start, end, path);
        expectExportOf("contribution", path, mApi.getContributionArray(contribution, start, end));
    }
    {
        SCOPED_TRACE("writePercentileValuesToFile");
        const QString path = output(QStringLiteral("percentile.bin"));
        mApi.writePercentileValuesToFile(percentile, start, end, path);
        expectExportOf("percentile51", path, mApi.getPercentile3_51(percentile, start, end));
    }
    EXPECT_TRUE(apiErrors().isEmpty()) << apiErrors().join(QLatin1Char('\n')).toStdString();
}

TEST_F(ExportTest, DisturbExportsTakeTheirRecordFromTheIdAndReadBackAsTheirGetterAnswers)
{
    const QString rms = QStringLiteral("rms_1_2.u1");
    const QString samples = QStringLiteral("samples.u");
    const QString signalVoltages = QStringLiteral("signals.u1");
    const QString samples16 = QStringLiteral("waveform16.u");
    const QString digital = QStringLiteral("digital_1_2.in1");
    startAndWrite(rms, LoggerType::DISTURB, LoggerDataType::RMS, halfCycleValues(120, kFirstSecond));
    startAndWrite(samples, LoggerType::DISTURB, LoggerDataType::SAMPLES,
                  patternedItems<Samples>(4, kFirstSecond));
    startAndWrite(signalVoltages, LoggerType::DISTURB, LoggerDataType::SIGNALS,
                  patternedItems<DataSignalVoltages>(4, kFirstSecond));
    std::vector<Samples16> shortSamples(4);
    for (int index = 0; index < 4; ++index) {
        Samples16& item = shortSamples[static_cast<size_t>(index)];
        item = Samples16{};
        item.utc = DataTimespec{kFirstSecond + index, 0};
        item.quality = static_cast<short>(-index);
        for (int channel = 0; channel < 11; ++channel)
            item.values[channel] = static_cast<short>((channel % 2 == 0 ? 1 : -1) * (1000 * channel + index));
    }
    write(startLogger<Samples16>(samples16, LoggerType::DISTURB, LoggerDataType::SAMPLES16, 0.5f, 0.25f),
          shortSamples);
    startAndWrite(digital, LoggerType::DISTURB, LoggerDataType::DIGITAL,
                  patternedItems<DataXtq<int>>(4, kFirstSecond));
    ASSERT_FALSE(HasFailure());
    const timespec start = at(kFirstSecond);
    const timespec end = at(kFirstSecond + 10);

    const struct {
        const QString& id;
        std::function<void(const QString& path)> expect;
    } exports[] = {
        {rms,
         [&](const QString& path) { expectExportOf("vtq", path, mApi.getRms_1_2_Values(rms, start, end)); }},
        {samples,
         [&](const QString& path) {
             expectExportOf("samples", path, mApi.getSamplesValues(samples, start, end, false));
         }},
        {signalVoltages,
         [&](const QString& path) {
             expectExportOf("signals", path, mApi.getSignalVoltages(signalVoltages, start, end));
         }},
        // An id that names none of the three finds the logger of any data type: here the 16-bit form,
        // exported as stored.
        {samples16,
         [&](const QString& path) {
             expectExportOf("samples16", path, mApi.getSamples16Values(samples16, start, end, false));
         }},
        {digital,
         [&](const QString& path) {
             expectExportOf("itq", path, mApi.getDigital_1_2_Values(digital, start, end));
         }},
    };
    for (const auto& exported : exports) {
        SCOPED_TRACE(exported.id.toStdString());
        const QString path = output(exported.id + QStringLiteral(".bin"));
        mApi.writeDisturbValuesToFile(exported.id, start, end, path);
        exported.expect(path);
    }
    EXPECT_TRUE(apiErrors().isEmpty()) << apiErrors().join(QLatin1Char('\n')).toStdString();
}

TEST_F(ExportTest, TheFrequencyOfHalfCycleValuesIsExportedAsSixteenByteItemsWithoutItemLines)
{
    const QString frequency = QStringLiteral("frequency");
    const QString rms = QStringLiteral("rms_1_2.u2");
    startAndWrite(frequency, LoggerType::DISTURB, LoggerDataType::RMS, halfCycleValues(60, kFirstSecond));
    startAndWrite(rms, LoggerType::DISTURB, LoggerDataType::RMS, halfCycleValues(30, kFirstSecond));
    ASSERT_FALSE(HasFailure());
    const timespec start = at(kFirstSecond);
    const timespec end = at(kFirstSecond + 10);

    {
        SCOPED_TRACE("the disturb export of the id \"frequency\"");
        const QString path = output(QStringLiteral("frequency.bin"));
        mMessages.clear();
        mApi.writeDisturbValuesToFile(frequency, start, end, path);
        const PtrLoggerResultVtq expected = mApi.getFrequency_1_2_Values(frequency, start, end);
        expectExportOf("vtq", path, expected);
        ASSERT_NE(expected, nullptr);
        EXPECT_EQ(expected->mItems[0].value, 25.0f);
        EXPECT_TRUE(logged(path + QStringLiteral(": File Size= 960")));
        EXPECT_FALSE(logged(QStringLiteral("   [0]: %1").arg(kFirstSecond)));
    }
    {
        SCOPED_TRACE("writeFrequency_1_2_ValuesToFile");
        const QString path = output(QStringLiteral("rms-frequency.bin"));
        mApi.writeFrequency_1_2_ValuesToFile(rms, start, end, path);
        expectExportOf("vtq", path, mApi.getFrequency_1_2_Values(rms, start, end));
    }
    {
        SCOPED_TRACE("an id that differs from \"frequency\" exports the stored values");
        const QString path = output(QStringLiteral("rms.bin"));
        mApi.writeDisturbValuesToFile(rms, start, end, path);
        expectExportOf("vtq", path, mApi.getRms_1_2_Values(rms, start, end));
    }
}

TEST_F(ExportTest, PowerQualityAndSignalEventsReadBackAsTheirGetterAnswers)
{
    const QString pq = QStringLiteral("pq.events");
    const QString signalEvents = QStringLiteral("pq.signal_events");
    startAndWrite(pq, LoggerType::PQEVENT, LoggerDataType::PQEVENT,
                  std::vector<DataPqEvent>{pqEvent(kFirstSecond, 0), pqEvent(kFirstSecond + 10, 1),
                                           pqEvent(kFirstSecond + 20, 2)});
    startAndWrite(signalEvents, LoggerType::PQEVENT, LoggerDataType::SIGNALEVENT,
                  patternedItems<DataSignalEvent>(3, kFirstSecond, 10));
    ASSERT_FALSE(HasFailure());

    const QString pqPath = output(QStringLiteral("pq.bin"));
    mApi.writePqEventValuesToFile(pq, kAllDay, kDayEnd, pqPath);
    expectExportOf("pqevent", pqPath, mApi.getPqEvents(pq, kAllDay, kDayEnd, 100));

    const QString signalPath = output(QStringLiteral("signal.bin"));
    mApi.writePqEventValuesToFile(signalEvents, kAllDay, kDayEnd, signalPath);
    expectExportOf("signalevent", signalPath, mApi.getSignalEvents(signalEvents, kAllDay, kDayEnd, 100));
    EXPECT_TRUE(apiErrors().isEmpty()) << apiErrors().join(QLatin1Char('\n')).toStdString();
}

TEST_F(ExportTest, ADamagedEventIsExportedWithItsZeroRangesAsStored)
{
    const QString pq = QStringLiteral("pq.events");
    DataPqEvent damaged = pqEvent(kFirstSecond + 10, 1);
    damaged.rms[0] = DataUtcRange{};
    damaged.rms[3] = DataUtcRange{};
    damaged.sample = DataUtcRange{};
    const std::vector<DataPqEvent> events{pqEvent(kFirstSecond, 0), damaged};
    startAndWrite(pq, LoggerType::PQEVENT, LoggerDataType::PQEVENT, events);
    ASSERT_FALSE(HasFailure());

    const QString path = output(QStringLiteral("pq.bin"));
    mApi.writePqEventValuesToFile(pq, kAllDay, kDayEnd, path);
    const QByteArray bytes = fileBytes(path);
    ASSERT_EQ(bytes.size(), 2 * static_cast<int>(sizeof(DataPqEvent)));
    EXPECT_EQ(bytes, storedItems(QStringLiteral("Pq")));
    EXPECT_EQ(std::memcmp(bytes.constData(), events.data(), bytes.size()), 0);

    const ExportFile file = readExport(QStringLiteral("pqevent"), path);
    ASSERT_TRUE(file.read) << file.error.toStdString();
    ASSERT_EQ(file.items.size(), 2);
    const QJsonArray zeroRange{QJsonArray{0, 0}, QJsonArray{0, 0}};
    const QJsonObject second = file.items.at(1).toObject();
    EXPECT_EQ(second.value(QStringLiteral("rms")).toArray().at(0), zeroRange);
    EXPECT_EQ(second.value(QStringLiteral("rms")).toArray().at(3), zeroRange);
    EXPECT_EQ(second.value(QStringLiteral("sample")), zeroRange);
    EXPECT_EQ(second, toJson(damaged));

    // The reader's getter repairs the ranges; the export does not.
    const PtrLoggerResultPqEvent repaired = mApi.getPqEvents(pq, kAllDay, kDayEnd, 100);
    ASSERT_NE(repaired, nullptr);
    ASSERT_EQ(repaired->mNumItems, 2);
    EXPECT_NE(toJson(repaired->mItems[1]), second);
}

// =================================================================================================
// Which logger and which record.

TEST_F(ExportTest, TheStatisticAndHistogramLoggersAreExportedByTheNamesOfWhatTheyAre)
{
    const QString frequencySource = QStringLiteral("rms.rms.systemfrequency.f_sys");
    const QString signallingSource = QStringLiteral("mean_3s.signal_3s.out.mean_out");
    startAndWrite(frequencySource, LoggerType::CYCLIC, LoggerDataType::STATISTIC,
                  statisticItems(3, kFirstSecond));
    startAndWrite(signallingSource, LoggerType::CYCLIC, LoggerDataType::STATISTIC,
                  statisticItems(2, kFirstSecond));
    startAndWrite(frequencySource, LoggerType::CYCLIC, LoggerDataType::HISTOGRAM,
                  histogramItems<2650>(2, kFirstSecond));
    startAndWrite(signallingSource, LoggerType::CYCLIC, LoggerDataType::HISTOGRAM,
                  histogramItems<200>(4, kFirstSecond));
    ASSERT_FALSE(HasFailure());
    for (const char* name : {"statisticloggerfrequency", "statisticloggermainssign",
                             "histogramloggerfrequency", "histogramloggermainssign"})
        ASSERT_LT(mApi.getBaseTypeId(LoggerType::CYCLIC, LoggerDataType::NONE, QLatin1String(name)), 0)
            << name;

    {
        SCOPED_TRACE("statisticloggerfrequency");
        const QString path = output(QStringLiteral("statistic-frequency.bin"));
        mApi.writeMeasuredValuesToFile(QStringLiteral("statisticloggerfrequency"), kAllDay, kDayEnd, path);
        expectExportOf("statistic", path, mApi.getStatisticValues(frequencySource, kAllDay, kDayEnd));
    }
    {
        SCOPED_TRACE("statisticloggermainssign, within a longer id");
        const QString path = output(QStringLiteral("statistic-signalling.bin"));
        mApi.writeMeasuredValuesToFile(QStringLiteral("device.statisticloggermainssign.1"), kAllDay, kDayEnd,
                                       path);
        expectExportOf("statistic", path, mApi.getStatisticValues(signallingSource, kAllDay, kDayEnd));
    }
    {
        SCOPED_TRACE("histogramloggerfrequency");
        const QString path = output(QStringLiteral("histogram-frequency.bin"));
        mApi.writeMeasuredValuesToFile(QStringLiteral("histogramloggerfrequency"), kAllDay, kDayEnd, path);
        double interval = 0.0;
        expectExportOf("histogram2650", path,
                       mApi.getFrequencyDatas(frequencySource, kAllDay, kDayEnd, interval));
    }
    {
        SCOPED_TRACE("histogramloggermainssign");
        const QString path = output(QStringLiteral("histogram-signalling.bin"));
        mApi.writeMeasuredValuesToFile(QStringLiteral("histogramloggermainssign"), kAllDay, kDayEnd, path);
        double interval = 0.0;
        expectExportOf("histogram200", path,
                       mApi.getMainsSignallingDatas(signallingSource, kAllDay, kDayEnd, interval));
    }
    EXPECT_TRUE(apiErrors().isEmpty()) << apiErrors().join(QLatin1Char('\n')).toStdString();
}

TEST_F(ExportTest, WithComplexHarmonicsAHarmonicsIdExportsAmplitudesNotComplexValues)
{
    const QString id = QStringLiteral("aggr.mean_10min.harm_10min.u2");
    // The same id stored as amplitudes too: with complex harmonics it is not what is exported.
    const std::vector<DataHarmonics> stored =
        startAndWrite(id, LoggerType::CYCLIC, LoggerDataType::HARMONICS,
                      patternedItems<DataHarmonics>(3, kFirstSecond, kTenMinutes));
    std::vector<DataComplexArray> complex = patternedItems<DataComplexArray>(4, kFirstSecond, kTenMinutes);
    write(
        startLogger<DataComplexArray>(kComplexId, LoggerType::CYCLIC, LoggerDataType::COMPLEX, 40.0f, 0.25f),
        complex);
    ASSERT_FALSE(HasFailure());
    restartStore();
    ASSERT_FALSE(HasFailure());
    ASSERT_TRUE(LoggerDb::getInstance().hasComplexHarmonics());

    const int infoLines =
        LogCapture::count(QStringLiteral("Logger.Api|INFO|write Complex values as Amplitudes"));
    const QString path = output(QStringLiteral("amplitudes.bin"));
    mApi.writeMeasuredValuesToFile(id, kAllDay, kDayEnd, path);
    EXPECT_EQ(LogCapture::count(QStringLiteral("Logger.Api|INFO|write Complex values as Amplitudes")),
              infoLines + 1);
    const PtrLoggerResultHarmonics amplitudes = mApi.getHarmonicsAbsolute(id, kAllDay, kDayEnd);
    expectExportOf("harmonics51", path, amplitudes);
    EXPECT_EQ(QFileInfo(path).size(), 4 * 216);
    // Neither the complex items nor the stored amplitudes.
    EXPECT_NE(fileBytes(path).left(static_cast<int>(sizeof(DataHarmonics) * stored.size())),
              QByteArray(reinterpret_cast<const char*>(stored.data()),
                         static_cast<int>(sizeof(DataHarmonics) * stored.size())));

    // The export of amplitudes itself, over a part of the day.
    const QString partPath = output(QStringLiteral("amplitudes-part.bin"));
    const timespec start = at(kFirstSecond + kTenMinutes);
    const timespec end = at(kFirstSecond + 2 * kTenMinutes);
    mApi.writeAmplitudesToFile(id, start, end, partPath);
    expectExportOf("harmonics51", partPath, mApi.getHarmonicsAbsolute(id, start, end));
}

TEST_F(ExportTest, AHarmonicsLoggerWithHeaderWordOneExports176ByteItemsAndWithTwoNothing)
{
    const QString orders41 = QStringLiteral("aggr.harmonics41.u1");
    const QString unknownWord = QStringLiteral("aggr.harmonics_word2.u1");
    write(startLogger<Array41>(orders41, LoggerType::CYCLIC, LoggerDataType::HARMONICS, 0.0f, 0.0f, 1),
          patternedItems<Array41>(3, kFirstSecond, kTenMinutes));
    write(
        startLogger<DataHarmonics>(unknownWord, LoggerType::CYCLIC, LoggerDataType::HARMONICS, 0.0f, 0.0f, 2),
        patternedItems<DataHarmonics>(3, kFirstSecond, kTenMinutes));
    ASSERT_FALSE(HasFailure());
    // The header words as the two loggers' files hold them.
    std::vector<int32_t> words;
    QDirIterator files(mStore.dataFolderPath(), QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QByteArray bytes = fileBytes(files.next());
        ASSERT_GE(bytes.size(), kLoggerHeaderSize);
        int32_t word = -1;
        std::memcpy(&word, bytes.constData() + offsetof(LoggerHeader, headerWord), sizeof(word));
        words.push_back(word);
    }
    std::sort(words.begin(), words.end());
    ASSERT_EQ(words, (std::vector<int32_t>{1, 2}));

    const QString path41 = output(QStringLiteral("harmonics41.bin"));
    mApi.writeMeasuredValuesToFile(orders41, kAllDay, kDayEnd, path41);
    EXPECT_EQ(QFileInfo(path41).size(), 3 * 176);
    expectExportOf("harmonics41", path41, mApi.getArray41(orders41, kAllDay, kDayEnd));

    const QString path2 = output(QStringLiteral("harmonics-word2.bin"));
    mMessages.clear();
    const int lines = LogCapture::lines().size();
    mApi.writeMeasuredValuesToFile(unknownWord, kAllDay, kDayEnd, path2);
    EXPECT_FALSE(QFileInfo::exists(path2));
    // Nothing is reported: no line of an export, none in the log.
    for (const auto& message : mMessages) {
        const QString line = QString::fromStdString(message.first);
        EXPECT_FALSE(
            line.startsWith(QStringLiteral("File write")) || line.contains(QStringLiteral("File Size")) ||
            line == QStringLiteral("No data written") || line.contains(QStringLiteral("no data readed")))
            << message.first;
        EXPECT_LT(message.second, LOGGER_MESSAGE_INFO) << message.first;
    }
    EXPECT_EQ(LogCapture::lines().size(), lines)
        << LogCapture::lines().mid(lines).join(QLatin1Char('\n')).toStdString();
}

// =================================================================================================
// Nothing to write, and files that cannot be written.

TEST_F(ExportTest, AnExportOfARangeWithoutFilesLeavesNoFileAndLogsNoDataWritten)
{
    const QString mean = QStringLiteral("aggr.mean_1s.u1");
    const QString rms = QStringLiteral("rms_1_2.u1");
    const QString pq = QStringLiteral("pq.events");
    const QString complex = QStringLiteral("aggr.complex.values");
    startAndWrite(mean, LoggerType::CYCLIC, LoggerDataType::MEAN, patternedItems<DataMean>(3, kFirstSecond));
    startAndWrite(rms, LoggerType::DISTURB, LoggerDataType::RMS, halfCycleValues(3, kFirstSecond));
    startAndWrite(pq, LoggerType::PQEVENT, LoggerDataType::PQEVENT,
                  std::vector<DataPqEvent>{pqEvent(kFirstSecond, 0)});
    startAndWrite(complex, LoggerType::CYCLIC, LoggerDataType::COMPLEX,
                  patternedItems<DataComplexArray>(1, kFirstSecond));
    ASSERT_FALSE(HasFailure());
    const timespec start = at(kFirstSecond + 1000);
    const timespec end = at(kFirstSecond + 2000);

    const std::pair<const char*, std::function<void(const QString& path)>> exports[] = {
        {"measured", [&](const QString& path) { mApi.writeMeasuredValuesToFile(mean, start, end, path); }},
        {"disturb", [&](const QString& path) { mApi.writeDisturbValuesToFile(rms, start, end, path); }},
        {"pq events", [&](const QString& path) { mApi.writePqEventValuesToFile(pq, start, end, path); }},
        {"complex", [&](const QString& path) { mApi.writeComplexValuesToFile(complex, start, end, path); }},
    };
    for (const auto& exported : exports) {
        SCOPED_TRACE(exported.first);
        const QString path = output(QLatin1String(exported.first) + QStringLiteral(".bin"));
        mMessages.clear();
        mPauses.clear();
        exported.second(path);
        EXPECT_FALSE(QFileInfo::exists(path));
        EXPECT_EQ(countLogged(QStringLiteral("No data written")), 1);
        EXPECT_FALSE(logged(path + QStringLiteral(": File Size= 0")));
        EXPECT_TRUE(mPauses.empty());
    }

    // A file of the same name that exists already stays as it was: it is not emptied.
    const QString existing = output(QStringLiteral("existing.bin"));
    ASSERT_TRUE(writeFile(existing, QByteArray("earlier export")));
    mApi.writeMeasuredValuesToFile(mean, start, end, existing);
    EXPECT_EQ(fileBytes(existing), QByteArray("earlier export"));
    EXPECT_TRUE(apiErrors().isEmpty()) << apiErrors().join(QLatin1Char('\n')).toStdString();
}

TEST_F(ExportTest, AnExportWhoseReadFailsWritesNothingAndLogsThatNoDataWasRead)
{
    const QString mean = QStringLiteral("aggr.mean_1s.u1");
    startAndWrite(mean, LoggerType::CYCLIC, LoggerDataType::MEAN, patternedItems<DataMean>(3, kFirstSecond));
    ASSERT_FALSE(HasFailure());
    const QString path = output(QStringLiteral("reversed.bin"));
    ASSERT_TRUE(writeFile(path, QByteArray("earlier export")));

    // A range whose end lies before its start within a file: the read answers null.
    mApi.writeMeasuredValuesToFile(mean, at(kFirstSecond + 2), at(kFirstSecond + 1), path);
    EXPECT_EQ(fileBytes(path), QByteArray("earlier export"));
    EXPECT_TRUE(logged(path + QStringLiteral(": no data readed")));
    EXPECT_FALSE(logged(QStringLiteral("No data written")));
    EXPECT_FALSE(logged(path + QStringLiteral(": File Size= -1")));
}

TEST_F(ExportTest, AnExportOfAnUnknownIdWritesNothingAndReportsItsErrorAfterThePause)
{
    const QString unknown = QStringLiteral("no.such.logger");
    const struct {
        const char* name;
        std::function<void(const QString& path)> run;
        bool errorLines; // "no Data found <id>" at error level
    } exports[] = {
        {"writeMeasuredValuesToFile",
         [&](const QString& path) { mApi.writeMeasuredValuesToFile(unknown, kAllDay, kDayEnd, path); }, true},
        {"writeDisturbValuesToFile",
         [&](const QString& path) { mApi.writeDisturbValuesToFile(unknown, kAllDay, kDayEnd, path); }, true},
        {"writePqEventValuesToFile",
         [&](const QString& path) { mApi.writePqEventValuesToFile(unknown, kAllDay, kDayEnd, path); }, true},
        {"writeComplexValuesToFile",
         [&](const QString& path) { mApi.writeComplexValuesToFile(unknown, kAllDay, kDayEnd, path); }, true},
        {"writeFrequency_1_2_ValuesToFile",
         [&](const QString& path) { mApi.writeFrequency_1_2_ValuesToFile(unknown, kAllDay, kDayEnd, path); },
         true},
        {"writePrevailingValuesToFile",
         [&](const QString& path) { mApi.writePrevailingValuesToFile(unknown, kAllDay, kDayEnd, path); },
         false},
        {"writeContributionValuesToFile",
         [&](const QString& path) { mApi.writeContributionValuesToFile(unknown, kAllDay, kDayEnd, path); },
         false},
        {"writePercentileValuesToFile",
         [&](const QString& path) { mApi.writePercentileValuesToFile(unknown, kAllDay, kDayEnd, path); },
         false},
    };
    for (const auto& exported : exports) {
        SCOPED_TRACE(exported.name);
        const QString path = output(QLatin1String(exported.name) + QStringLiteral(".bin"));
        const int errorsBefore = apiErrors().size();
        const int counted = TrackObject::getErrorCounter();
        mPauses.clear();
        QElapsedTimer clock;
        clock.start();
        exported.run(path);
        EXPECT_GE(clock.elapsed(), static_cast<qint64>(kFailedLookupPause));
        EXPECT_EQ(mPauses, std::vector<unsigned long>{kFailedLookupPause});
        EXPECT_FALSE(QFileInfo::exists(path));
        const QStringList errors = apiErrors().mid(errorsBefore);
        if (exported.errorLines) {
            EXPECT_EQ(errors, QStringList{QStringLiteral("no Data found ") + unknown});
            EXPECT_EQ(TrackObject::getErrorCounter(), counted + 1);
        } else {
            EXPECT_TRUE(errors.isEmpty()) << errors.join(QLatin1Char('\n')).toStdString();
        }
    }
}

TEST_F(ExportTest, AnExportIntoAFolderThatDoesNotExistReportsTheSizeMinusOne)
{
    const QString id = QStringLiteral("aggr.mean_1s.u1");
    startAndWrite(id, LoggerType::CYCLIC, LoggerDataType::MEAN, patternedItems<DataMean>(3, kFirstSecond));
    ASSERT_FALSE(HasFailure());
    const QString path = output(QStringLiteral("missing/folder/mean.bin"));

    mMessages.clear();
    mApi.writeMeasuredValuesToFile(id, kAllDay, kDayEnd, path);
    EXPECT_TRUE(logged(path + QStringLiteral(": File Size= -1")));
    EXPECT_FALSE(QFileInfo::exists(output(QStringLiteral("missing"))));
    // The items are logged all the same.
    EXPECT_TRUE(logged(QStringLiteral("   [2]: %1").arg(kFirstSecond + 2)));
}

TEST_F(ExportTest, AnExportOntoAFileThatCannotBeOpenedForWritingReportsTheSizeMinusOneAndLeavesItAlone)
{
    const QString id = QStringLiteral("aggr.mean_1s.u1");
    startAndWrite(id, LoggerType::CYCLIC, LoggerDataType::MEAN, patternedItems<DataMean>(3, kFirstSecond));
    ASSERT_FALSE(HasFailure());
    const QString path = output(QStringLiteral("read-only.bin"));
    const QByteArray before("an earlier file that must stay");
    ASSERT_TRUE(writeFile(path, before));
    const ImmutableFile immutable(path);
    if (!immutable.isSet())
        GTEST_SKIP() << "cannot make " << path.toStdString()
                     << " immutable, so no file here refuses root: " << immutable.error().toStdString();

    mMessages.clear();
    mApi.writeMeasuredValuesToFile(id, kAllDay, kDayEnd, path);
    EXPECT_TRUE(logged(path + QStringLiteral(": File Size= -1")));
    EXPECT_EQ(fileBytes(path), before);
}

TEST_F(ExportTest, AnExportOntoAFolderReportsTheSizeMinusOne)
{
    const QString id = QStringLiteral("rms_1_2.u1");
    startAndWrite(id, LoggerType::DISTURB, LoggerDataType::RMS, halfCycleValues(3, kFirstSecond));
    ASSERT_FALSE(HasFailure());
    const QString path = output(QStringLiteral("a-folder"));
    ASSERT_TRUE(QDir().mkpath(path));

    mMessages.clear();
    mApi.writeDisturbValuesToFile(id, kAllDay, kDayEnd, path);
    EXPECT_TRUE(logged(path + QStringLiteral(": File Size= -1")));
    EXPECT_TRUE(QFileInfo(path).isDir());
    EXPECT_TRUE(QDir(path).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).isEmpty());
}

TEST_F(ExportTest, AnExportOverALargerFileLeavesOnlyTheNewItems)
{
    const QString id = QStringLiteral("aggr.mean_1s.u1");
    const std::vector<DataMean> items = startAndWrite(id, LoggerType::CYCLIC, LoggerDataType::MEAN,
                                                      patternedItems<DataMean>(3, kFirstSecond));
    ASSERT_FALSE(HasFailure());
    const QString path = output(QStringLiteral("larger.bin"));
    ASSERT_TRUE(writeFile(path, QByteArray(10000, '\x77')));

    mMessages.clear();
    mApi.writeMeasuredValuesToFile(id, kAllDay, kDayEnd, path);
    EXPECT_TRUE(logged(path + QStringLiteral(": File Size= 72")));
    const QByteArray bytes = fileBytes(path);
    ASSERT_EQ(bytes.size(), 72);
    EXPECT_EQ(std::memcmp(bytes.constData(), items.data(), 72), 0);
    expectExportOf("mean", path, mApi.getMeanValues(id, kAllDay, kDayEnd));
}

// =================================================================================================
// Without a store.

TEST(ExportWithoutStoreTest, EveryExportReturnsAtOnceAndWritesNothing)
{
    QTemporaryDir output;
    ASSERT_TRUE(output.isValid());
    std::vector<unsigned long> pauses;
    setReadPauseObserverForTesting([&pauses](unsigned long milliseconds) { pauses.push_back(milliseconds); });
    LoggerApi api;
    const QString id = QStringLiteral("aggr.mean_1s.u1");
    const QString path = output.filePath(QStringLiteral("export.bin"));
    api.writeMeasuredValuesToFile(id, kAllDay, kDayEnd, path);
    api.writeDisturbValuesToFile(id, kAllDay, kDayEnd, path);
    api.writePqEventValuesToFile(id, kAllDay, kDayEnd, path);
    api.writeComplexValuesToFile(id, kAllDay, kDayEnd, path);
    api.writePrevailingValuesToFile(id, kAllDay, kDayEnd, path);
    api.writeContributionValuesToFile(id, kAllDay, kDayEnd, path);
    api.writePercentileValuesToFile(id, kAllDay, kDayEnd, path);
    api.writeFrequency_1_2_ValuesToFile(id, kAllDay, kDayEnd, path);
    EXPECT_TRUE(pauses.empty());
    EXPECT_FALSE(QFileInfo::exists(path));
    setReadPauseObserverForTesting(nullptr);
}

// The typed queries of LoggerApi: the time id, the conversions between the two forms of samples
// (case by case at the 16-bit limits and in place over buffers of several items), and on a real
// catalogue of a simulated card (WriterStore) the catalogue queries, the half-cycle getters with
// the frequency derived from them, the samples in both forms, the quality filter of the means and
// the correction of a catalogue entry. Items go through the writer's path (TestLogger) into real
// data files; what the catalogue holds afterwards is read back with SQLite itself. Each test runs
// in a process of its own.

#include "DefnDisturbType.h"
#include "DefnMeasureType.h"
#include "DefnPqEventType.h"
#include "DefnTypePersistance.h"
#include "LogCapture.h"
#include "LoggerApi.h"
#include "LoggerApiInterface.h"
#include "LoggerDataItems.h"
#include "LoggerDb.h"
#include "LoggerFileSystem.h"
#include "LoggerList.h"
#include "LoggerMemoryInterface.h"
#include "LoggerResult.h"
#include "LoggerRetriedTransaction.h"
#include "LoggerStateReceiver.h"
#include "LoggerTestSeams.h"
#include "QStringPrinter.h"
#include "TestLogger.h"
#include "WriterStore.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QFileInfo>
#include <QStringList>
#include <QThread>

#include <sqlite3.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using Samples = DataSamplesBase<float, int>;
using Samples16 = DataSamplesBase<short, short>;

constexpr int32_t kFirstSecond = 1763802000;      // 2025-11-22, mid-day in any zone
constexpr unsigned long kEntryPause = 20;         // ms on entering a half-cycle or sample read
constexpr unsigned long kReadPause = 50;          // ms after a read by time that found files
constexpr unsigned long kFailedLookupPause = 200; // ms before an unknown id answers null
constexpr int32_t kTwentyMs = 20000000;           // ns between two half-cycle values at 25 Hz
const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInfinity = std::numeric_limits<float>::infinity();

timespec at(int64_t seconds, int64_t nanoseconds = 0)
{
    timespec time{};
    time.tv_sec = static_cast<time_t>(seconds);
    time.tv_nsec = static_cast<long>(nanoseconds);
    return time;
}

std::string timeText(const DataTimespec& time)
{
    return std::to_string(time.tv_sec) + "." + std::to_string(time.tv_nsec);
}

std::string timeText(const timespec& time)
{
    return std::to_string(static_cast<long long>(time.tv_sec)) + "." + std::to_string(time.tv_nsec);
}

template <typename T> bool sameBytes(const T& a, const T& b)
{
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

template <typename T>
bool sameItems(const std::shared_ptr<LoggerResult<T>>& result, const std::vector<T>& items)
{
    return result != nullptr && result->mNumItems == static_cast<int>(items.size()) &&
           (items.empty() || std::memcmp(result->mItems, items.data(), sizeof(T) * items.size()) == 0);
}

// --- the 16-bit form of a sample, as the store defines it ----------------------------------------

// The physical value times factor, compared with the limits in floating point, then truncated:
// -32768 never occurs, and a value that is no number has no 16-bit form.
short referenceSample16(float value, float factor)
{
    const float scaled = value * factor;
    if (std::isnan(scaled))
        return 0;
    if (scaled > 32767.0f)
        return 32767;
    if (scaled < -32767.0f)
        return -32767;
    return static_cast<short>(std::trunc(scaled));
}

Samples16 referenceNarrow(const Samples& item, float voltageFactor, float currentFactor)
{
    Samples16 narrow{};
    narrow.utc = item.utc;
    narrow.quality = static_cast<short>(static_cast<uint16_t>(static_cast<uint32_t>(item.quality) & 0xFFFFu));
    for (int channel = 0; channel < 11; ++channel)
        narrow.values[channel] =
            referenceSample16(item.values[channel], channel < 7 ? voltageFactor : currentFactor);
    return narrow;
}

Samples referenceWiden(const Samples16& item, float voltageScale, float currentScale)
{
    Samples wide{};
    wide.utc = item.utc;
    wide.quality = item.quality; // sign-extended
    for (int channel = 0; channel < 11; ++channel)
        wide.values[channel] =
            static_cast<float>(item.values[channel]) * (channel < 7 ? voltageScale : currentScale);
    return wide;
}

std::string samplesText(const Samples16& item)
{
    std::string text = timeText(item.utc) + " q" + std::to_string(item.quality) + ":";
    for (short value : item.values)
        text += " " + std::to_string(value);
    return text;
}

std::string samplesText(const Samples& item)
{
    std::string text = timeText(item.utc) + " q" + std::to_string(item.quality) + ":";
    for (float value : item.values)
        text += " " + std::to_string(value);
    return text;
}

// Sample sets whose channels differ by item and channel: values every few units, with a
// fraction, both signs, and quality words that use their upper half.
std::vector<Samples> floatSamples(int count, int32_t firstSecond, float spread = 37.25f)
{
    std::vector<Samples> items(static_cast<size_t>(count));
    for (int index = 0; index < count; ++index) {
        Samples& item = items[static_cast<size_t>(index)];
        item = Samples{};
        item.utc = DataTimespec{firstSecond + index, 0};
        item.quality = static_cast<int>(0x00017FF0u + static_cast<uint32_t>(index) * 0x4001u);
        for (int channel = 0; channel < 11; ++channel) {
            const float sign = (index + channel) % 2 == 0 ? 1.0f : -1.0f;
            item.values[channel] =
                sign * (spread * static_cast<float>(index + 1) + 0.375f * static_cast<float>(channel));
        }
    }
    return items;
}

// --- reading the catalogue back -----------------------------------------------------------------

// The rows of a query of the catalogue file, each as its columns joined by "|"; opened read-only
// beside the store, as another process would.
QStringList catalogueRows(const QString& databaseFile, const std::string& sql)
{
    QStringList rows;
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(QFile::encodeName(databaseFile).constData(), &db, SQLITE_OPEN_READONLY, nullptr) !=
        SQLITE_OK) {
        ADD_FAILURE() << "cannot open " << databaseFile.toStdString() << ": " << sqlite3_errmsg(db);
        sqlite3_close(db);
        return rows;
    }
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
        ADD_FAILURE() << sql << ": " << sqlite3_errmsg(db);
        sqlite3_close(db);
        return rows;
    }
    while (sqlite3_step(statement) == SQLITE_ROW) {
        QStringList columns;
        for (int column = 0; column < sqlite3_column_count(statement); ++column) {
            const unsigned char* text = sqlite3_column_text(statement, column);
            columns << (text == nullptr ? QStringLiteral("NULL")
                                        : QString::fromUtf8(reinterpret_cast<const char*>(text)));
        }
        rows << columns.join(QLatin1Char('|'));
    }
    sqlite3_finalize(statement);
    sqlite3_close(db);
    return rows;
}

// --- the fixture of the store ------------------------------------------------------------------

class TypedQueriesStoreTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mLogCaptured);
        ASSERT_TRUE(startStore()) << mStore.errorString().toStdString();
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

    virtual bool startStore() { return mStore.start(); }

    // A started logger of items of blockSize bytes; null where it did not start. The scales go
    // into the headers of its files.
    TestLogger* startLogger(const QString& id, LoggerType type, LoggerDataType dataType, int blockSize,
                            float scaleVoltage = 0.0f, float scaleCurrent = 0.0f)
    {
        mLoggers.push_back(std::make_unique<TestLogger>(id, blockSize, type, dataType));
        TestLogger* logger = mLoggers.back().get();
        logger->setHeaderParameters(scaleVoltage, scaleCurrent);
        if (!logger->startLogger()) {
            ADD_FAILURE() << id.toStdString() << ": " << LoggerDb::getInstance().getLastError().toStdString();
            return nullptr;
        }
        logger->setHeaderParameters(scaleVoltage, scaleCurrent);
        return logger;
    }

    // The items as one block through the writer, and the catalogue brought up to date; without
    // checkOrder equal time stamps pass.
    template <typename T>
    PtrLoggerFileInfo write(TestLogger* logger, const std::vector<T>& items, bool checkOrder = true)
    {
        if (logger == nullptr) {
            ADD_FAILURE() << "no logger";
            return nullptr;
        }
        EXPECT_EQ(logger->getDataBlockSize(), static_cast<int>(sizeof(T)));
        PtrLoggerFileInfo file = logger->writeDatas(reinterpret_cast<const char*>(items.data()),
                                                    static_cast<int>(items.size()), true, checkOrder);
        EXPECT_NE(file, nullptr) << LogCapture::text().toStdString();
        EXPECT_TRUE(logger->updateAccess());
        return file;
    }

    // A measured type in the catalogue without files, with every field of its description set
    // from seed, and the catalogued range given.
    std::shared_ptr<DefnBaseType> catalogueMeasuredType(const QString& configId, LoggerDataType dataType,
                                                        int seed, timespec start = at(0),
                                                        timespec end = at(0))
    {
        DefnTypePersistance defn;
        std::shared_ptr<DefnBaseType> type = defn.createMeasuredType();
        type->mDataType = dataType;
        type->UtcStart =
            DataTimespec{static_cast<int32_t>(start.tv_sec), static_cast<int32_t>(start.tv_nsec)};
        type->UtcEnd = DataTimespec{static_cast<int32_t>(end.tv_sec), static_cast<int32_t>(end.tv_nsec)};
        DataMeasType& description = defn.getMeasuredType(type)->MeasType;
        description.configId = configId;
        description.phase = seed + 1;
        description.unit = seed + 2;
        description.prefix = seed + 3;
        description.unitFactor = seed + 4;
        description.quantityType = seed + 5;
        description.measValueType = seed + 6;
        description.interval = 0.5 * (seed + 7);
        description.index = seed + 8;
        if (!retriedTransaction("TypedQueriesTest", [&] { return defn.persist(type) > 0; })) {
            ADD_FAILURE() << "the catalogue refused " << configId.toStdString();
            return nullptr;
        }
        return type;
    }

    std::shared_ptr<DefnBaseType> catalogueDisturbType(const QString& configId, LoggerDataType dataType)
    {
        DefnTypePersistance defn;
        std::shared_ptr<DefnBaseType> type = defn.createDisturbType();
        type->mDataType = dataType;
        defn.getDisturbType(type)->ConfigId = configId;
        if (!retriedTransaction("TypedQueriesTest", [&] { return defn.persist(type) > 0; })) {
            ADD_FAILURE() << "the catalogue refused " << configId.toStdString();
            return nullptr;
        }
        return type;
    }

    std::shared_ptr<DefnBaseType> cataloguePqEventType(const QString& configId)
    {
        DefnTypePersistance defn;
        std::shared_ptr<DefnBaseType> type = defn.createPqEventType();
        type->mDataType = LoggerDataType::PQEVENT;
        defn.getPqEventType(type)->ConfigId = configId;
        if (!retriedTransaction("TypedQueriesTest", [&] { return defn.persist(type) > 0; })) {
            ADD_FAILURE() << "the catalogue refused " << configId.toStdString();
            return nullptr;
        }
        return type;
    }

    int countMessages(const std::string& text, LoggerMessageType type) const
    {
        int count = 0;
        for (const auto& message : mMessages)
            count += message.first == text && message.second == type ? 1 : 0;
        return count;
    }

    // The rows of the files that the measured types link; a file's row of an earlier state stays
    // behind unlinked when the writer begins the next file, and no reader looks at it.
    QStringList measuredFileRows() const
    {
        return catalogueRows(
            mStore.databaseFile(),
            "SELECT f.Id, f.UtcStart_sec, f.UtcStart_nsec, f.UtcEnd_sec, f.UtcEnd_nsec, f.GuidLow, "
            "f.GuidHigh FROM LoggerFileInfoMeasure f JOIN DefnMeasureType_FileInfos l "
            "ON l.file_info_id = f.Id ORDER BY f.Id");
    }
    QStringList measuredTypeRows() const
    {
        return catalogueRows(
            mStore.databaseFile(),
            "SELECT Id, UtcStart_sec, UtcStart_nsec, UtcEnd_sec, UtcEnd_nsec, MeasType_ConfigId "
            "FROM DefnMeasureType ORDER BY Id");
    }

    // Before any member that logs: the store configures logging once per process.
    const bool mLogCaptured = LogCapture::install();
    WriterStore mStore;
    LoggerApi mApi;
    std::vector<std::unique_ptr<TestLogger>> mLoggers;
    std::vector<unsigned long> mPauses;
    std::vector<std::pair<std::string, LoggerMessageType>> mMessages;
};

// Half-cycle RMS values from firstSecond on, step nanoseconds apart, each with its index as value.
std::vector<DataXtq<float>> halfCycleValues(int count, int32_t firstSecond, int64_t step = kTwentyMs)
{
    std::vector<DataXtq<float>> items;
    for (int index = 0; index < count; ++index) {
        const int64_t nanoseconds = step * index;
        DataXtq<float> item{};
        item.utc = DataTimespec{firstSecond + static_cast<int32_t>(nanoseconds / 1000000000),
                                static_cast<int32_t>(nanoseconds % 1000000000)};
        item.quality = static_cast<uint32_t>(index);
        item.value = 230.0f + static_cast<float>(index);
        items.push_back(item);
    }
    return items;
}

std::vector<DataXtq<int>> digitalValues(int count, int32_t firstSecond, int64_t step = kTwentyMs)
{
    std::vector<DataXtq<int>> items;
    for (const DataXtq<float>& value : halfCycleValues(count, firstSecond, step)) {
        DataXtq<int> item{};
        item.utc = value.utc;
        item.quality = value.quality;
        item.value = static_cast<int>(value.quality) % 2;
        items.push_back(item);
    }
    return items;
}

DataMean meanItem(int32_t second, uint32_t quality)
{
    DataMean item{};
    item.utc = DataTimespec{second, 0};
    item.quality = quality;
    item.min = static_cast<float>(second % 1000) - 1.0f;
    item.mean = static_cast<float>(second % 1000);
    item.max = static_cast<float>(second % 1000) + 1.0f;
    return item;
}

} // namespace

// =================================================================================================
// The time id.

TEST(TimeIdTest, TheTimeFromTheIdOfEveryNonNegativeTimeIsThatTime)
{
    LoggerApi api;
    std::vector<timespec> times;
    for (int64_t seconds :
         {int64_t{0}, int64_t{1}, int64_t{kFirstSecond}, int64_t{0x7FFFFFFF}, int64_t{0x10000}})
        for (int64_t nanoseconds : {int64_t{0}, int64_t{1}, int64_t{500000000}, int64_t{999999999}})
            times.push_back(at(seconds, nanoseconds));
    std::mt19937 random(20251122);
    std::uniform_int_distribution<int64_t> anySecond(0, 0x7FFFFFFF);
    std::uniform_int_distribution<int64_t> anyNanosecond(0, 999999999);
    for (int draw = 0; draw < 10000; ++draw)
        times.push_back(at(anySecond(random), anyNanosecond(random)));

    for (const timespec& time : times) {
        const long long id = api.getTimeId(time);
        // The seconds times 2^32 plus the nanoseconds.
        ASSERT_EQ(id,
                  static_cast<long long>(time.tv_sec) * 4294967296LL + static_cast<long long>(time.tv_nsec))
            << timeText(time);
        const timespec back = api.getTimeFromId(id);
        ASSERT_EQ(back.tv_sec, time.tv_sec) << timeText(time);
        ASSERT_EQ(back.tv_nsec, time.tv_nsec) << timeText(time);
    }
    // Later times have larger ids: an event's id orders as its time.
    EXPECT_LT(api.getTimeId(at(kFirstSecond, 999999999)), api.getTimeId(at(kFirstSecond + 1)));
}

// =================================================================================================
// The sample conversions.

TEST(SampleConversionTest, AMillionVoltsAtScaleOneLimitTo32767AndMinusAMillionTo32767Negative)
{
    LoggerApi api;
    std::vector<Samples> buffer(1);
    buffer[0] = Samples{};
    for (int channel = 0; channel < 11; ++channel)
        buffer[0].values[channel] = channel % 2 == 0 ? 1e6f : -1e6f;
    const Samples16* narrow = api.convertFloatTo16Bit(buffer.data(), 1, 1.0f, 1.0f);
    ASSERT_EQ(static_cast<const void*>(narrow), static_cast<const void*>(buffer.data()));
    for (int channel = 0; channel < 11; ++channel)
        EXPECT_EQ(narrow->values[channel], channel % 2 == 0 ? 32767 : -32767) << "channel " << channel;
}

TEST(SampleConversionTest, ValuesAreLimitedInFloatingPointBeforeTheyAreTruncatedAndNaNBecomesZero)
{
    LoggerApi api;
    // Value at scale 1.0, and its 16-bit form.
    const std::pair<float, short> cases[] = {
        {32767.0f, 32767},    {32766.99f, 32766},  {32767.5f, 32767},
        {32768.0f, 32767},    {-32767.0f, -32767}, {-32766.99f, -32766},
        {-32767.5f, -32767},  {-32768.0f, -32767}, {-40000.0f, -32767},
        {1.99f, 1},           {-1.99f, -1},        {0.5f, 0},
        {-0.5f, 0},           {kNaN, 0},           {kInfinity, 32767},
        {-kInfinity, -32767},
    };
    for (const auto& sample : cases) {
        SCOPED_TRACE(std::to_string(sample.first));
        for (int channel = 0; channel < 11; ++channel) {
            std::vector<Samples> buffer(1);
            buffer[0] = Samples{};
            buffer[0].values[channel] = sample.first;
            const Samples16* narrow = api.convertFloatTo16Bit(buffer.data(), 1, 1.0f, 1.0f);
            ASSERT_EQ(narrow->values[channel], sample.second) << "channel " << channel;
        }
    }
    // The factor applies before the limits: 16383.75 V at 0.5 V a unit is 32767.5 units.
    std::vector<Samples> buffer(1);
    buffer[0] = Samples{};
    buffer[0].values[0] = 16383.75f;
    buffer[0].values[1] = 16383.0f;
    buffer[0].values[7] = -8191.9375f; // at 0.25 A a unit: -32767.75 units
    buffer[0].values[8] = -8191.5f;
    const Samples16* narrow = api.convertFloatTo16Bit(buffer.data(), 1, 0.5f, 0.25f);
    EXPECT_EQ(narrow->values[0], 32767);
    EXPECT_EQ(narrow->values[1], 32766);
    EXPECT_EQ(narrow->values[7], -32767);
    EXPECT_EQ(narrow->values[8], -32766);
}

TEST(SampleConversionTest, TheQualityIsNarrowedToItsLow16BitsAndSignExtendedBack)
{
    LoggerApi api;
    const std::pair<uint32_t, short> cases[] = {
        {0x00000000u, 0},  {0x00001234u, 0x1234}, {0x12345678u, 0x5678}, {0x00018000u, -32768},
        {0xFFFFFFFFu, -1}, {0x0000FFFEu, -2},     {0x7FFF0001u, 1},
    };
    for (const auto& quality : cases) {
        std::vector<Samples> buffer(1);
        buffer[0] = Samples{};
        buffer[0].quality = static_cast<int>(quality.first);
        Samples16* narrow = api.convertFloatTo16Bit(buffer.data(), 1, 1.0f, 1.0f);
        ASSERT_EQ(narrow->quality, quality.second) << std::hex << quality.first;
        const Samples* wide = api.convert16BitToFloat(narrow, 1, 1.0f, 1.0f);
        ASSERT_EQ(wide->quality, static_cast<int>(quality.second)) << std::hex << quality.first;
    }
}

// The two forms share one buffer: 56-byte items become 32-byte items from the first on, and back
// from the last on, so that no item is overwritten before it is read.
TEST(SampleConversionTest, SeveralItemsConvertInPlaceToSixteenBitsAndBackWithoutOverwritingEachOther)
{
    LoggerApi api;
    const float scaleVoltage = 0.5f;  // volts a unit
    const float scaleCurrent = 0.25f; // amperes a unit
    for (int count : {1, 2, 3, 4, 7, 16}) {
        SCOPED_TRACE("items " + std::to_string(count));
        std::vector<Samples> source = floatSamples(count, kFirstSecond, 1000.5f);
        // Values beyond the 16-bit range and without a number ride along.
        source[0].values[3] = 1e9f;
        source[static_cast<size_t>(count - 1)].values[9] = -1e9f;
        source[static_cast<size_t>(count / 2)].values[5] = kNaN;
        std::vector<Samples16> narrowExpected;
        std::vector<Samples> wideExpected;
        for (const Samples& item : source) {
            narrowExpected.push_back(referenceNarrow(item, 1.0f / scaleVoltage, 1.0f / scaleCurrent));
            wideExpected.push_back(referenceWiden(narrowExpected.back(), scaleVoltage, scaleCurrent));
        }

        std::vector<Samples> buffer = source;
        Samples16* narrow = api.convertFloatTo16Bit(buffer.data(), count, scaleVoltage, scaleCurrent);
        ASSERT_EQ(static_cast<void*>(narrow), static_cast<void*>(buffer.data()));
        for (int index = 0; index < count; ++index)
            ASSERT_EQ(samplesText(narrow[index]), samplesText(narrowExpected[static_cast<size_t>(index)]))
                << "item " << index;

        Samples* wide = api.convert16BitToFloat(narrow, count, scaleVoltage, scaleCurrent);
        ASSERT_EQ(static_cast<void*>(wide), static_cast<void*>(buffer.data()));
        for (int index = 0; index < count; ++index) {
            ASSERT_TRUE(sameBytes(wide[index], wideExpected[static_cast<size_t>(index)]))
                << "item " << index << ": " << samplesText(wide[index]) << " instead of "
                << samplesText(wideExpected[static_cast<size_t>(index)]);
        }
        // Values on the grid of the scales come back as they were, those beyond the limits limited.
        EXPECT_EQ(wide[count - 1].values[0], source[static_cast<size_t>(count - 1)].values[0]);
        EXPECT_EQ(wide[0].values[3], 32767.0f * scaleVoltage);
        EXPECT_EQ(wide[count - 1].values[9], -32767.0f * scaleCurrent);
        EXPECT_EQ(wide[count / 2].values[5], 0.0f);
    }
}

TEST(SampleConversionTest, TheResultToSixteenBitsIgnoresItsScaleArgumentsAndUsesTheStoresUnits)
{
    std::vector<std::pair<std::string, LoggerMessageType>> messages;
    setLoggerMessageObserverForTesting(
        [&messages](const std::string& text, LoggerMessageType type) { messages.emplace_back(text, type); });
    LoggerApi api;
    EXPECT_EQ(LoggerApi::kU, 65.75129f);
    EXPECT_EQ(LoggerApi::kI, 4274.665f);

    const std::vector<Samples> items = floatSamples(5, kFirstSecond, 3.125f);
    PtrLoggerResultSamples samples = LoggerResult<Samples>::create(static_cast<int>(items.size()));
    std::memcpy(static_cast<void*>(samples->mItems), items.data(), sizeof(Samples) * items.size());
    samples->mInterval = 0.25;
    std::vector<Samples16> expected;
    for (const Samples& item : items)
        expected.push_back(referenceNarrow(item, 65.75129f, 4274.665f));

    const std::pair<float, float> scales[] = {
        {1.0f, 1.0f}, {0.0f, 0.0f}, {kNaN, -5.0f}, {LoggerApi::kU, LoggerApi::kI}, {1e-9f, 1e9f}};
    for (const auto& scale : scales) {
        SCOPED_TRACE(std::to_string(scale.first) + ", " + std::to_string(scale.second));
        const PtrLoggerResultSamples16 result =
            api.convertFloatTo16BitResult(samples, scale.first, scale.second);
        ASSERT_NE(result, nullptr);
        EXPECT_TRUE(sameItems(result, expected));
        EXPECT_EQ(result->mInterval, 0.25);
    }
    // The source stays as it was.
    EXPECT_TRUE(sameItems(samples, items));
    EXPECT_EQ(
        std::count(messages.begin(), messages.end(),
                   std::make_pair(std::string("samples scale kU=65.7513kI=4274.67"), LOGGER_MESSAGE_ROUTINE)),
        5);
    EXPECT_EQ(api.convertFloatTo16BitResult(nullptr, 1.0f, 1.0f), nullptr);
    setLoggerMessageObserverForTesting(nullptr);
}

TEST(SampleConversionTest, TheResultToFloatsMultipliesEachChannelByTheScaleOfItsKind)
{
    std::vector<std::pair<std::string, LoggerMessageType>> messages;
    setLoggerMessageObserverForTesting(
        [&messages](const std::string& text, LoggerMessageType type) { messages.emplace_back(text, type); });
    LoggerApi api;
    PtrLoggerResultSamples16 samples = LoggerResult<Samples16>::create(3);
    std::vector<Samples> expected;
    for (int index = 0; index < 3; ++index) {
        Samples16& item = samples->mItems[index];
        item.utc = DataTimespec{kFirstSecond + index, 1000 * index};
        item.quality = static_cast<short>(index == 2 ? -3 : index);
        for (int channel = 0; channel < 11; ++channel)
            item.values[channel] =
                static_cast<short>((channel % 2 == 0 ? 1 : -1) * (32767 - 1000 * channel - index));
        expected.push_back(referenceWiden(item, 0.015208827f, 0.00023393646f));
    }
    samples->mInterval = 0.5;
    const PtrLoggerResultSamples result =
        api.convert16BitToFloatResult(samples, 0.015208827f, 0.00023393646f);
    EXPECT_TRUE(sameItems(result, expected));
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->mInterval, 0.5);
    EXPECT_EQ(result->mItems[2].quality, -3);
    EXPECT_EQ(std::count(
                  messages.begin(), messages.end(),
                  std::make_pair(std::string("samples scale scaleVoltage=0.0152088 scaleCurrent=0.000233936"),
                                 LOGGER_MESSAGE_ROUTINE)),
              1);
    EXPECT_EQ(api.convert16BitToFloatResult(nullptr, 1.0f, 1.0f), nullptr);
    setLoggerMessageObserverForTesting(nullptr);
}

// =================================================================================================
// Without a store.

TEST(TypedQueriesWithoutStoreTest, EveryQueryAnswersItsFailureValueWithoutAPause)
{
    std::vector<unsigned long> pauses;
    setReadPauseObserverForTesting([&pauses](unsigned long milliseconds) { pauses.push_back(milliseconds); });
    LoggerApi api;
    const QString id = QStringLiteral("any.id");
    EXPECT_TRUE(api.getMeasIDs(LoggerType::NONE).empty());
    EXPECT_TRUE(api.getMeasIDs(LoggerType::CYCLIC).empty());
    EXPECT_TRUE(api.getMeanMeasTypes(id).empty());
    EXPECT_TRUE(api.getMeterMeasTypes(id).empty());
    EXPECT_TRUE(api.getHarmonicsMeasTypes(id).empty());
    EXPECT_TRUE(api.getStatisticMeasTypes(id).empty());
    EXPECT_TRUE(api.getFileList(LoggerType::CYCLIC, LoggerDataType::MEAN, QString()).empty());
    timespec start = at(11, 12);
    timespec end = at(13, 14);
    EXPECT_FALSE(api.getTimeRange(LoggerType::CYCLIC, LoggerDataType::MEAN, id, start, end));
    EXPECT_EQ(timeText(start), timeText(at(11, 12)));
    EXPECT_EQ(timeText(end), timeText(at(13, 14)));
    EXPECT_EQ(api.getNumberOfOpenedFiles(), -1);
    EXPECT_EQ(api.getRms_1_2_Values(id, at(0), at(100)), nullptr);
    EXPECT_EQ(api.getDigital_1_2_Values(id, at(0), at(100)), nullptr);
    EXPECT_EQ(api.getFrequency_1_2_Values(id, at(0), at(100)), nullptr);
    EXPECT_EQ(api.getSamplesValues(id, at(0), at(100), true), nullptr);
    EXPECT_EQ(api.getSamples16Values(id, at(0), at(100), false), nullptr);
    EXPECT_EQ(api.getFilteredMeanValues(id, at(0), at(100), 0xFFFFFFFFu), nullptr);
    const LoggerResultList<DataXtq<float>> rms = api.getAllRms_1_2_Values(id, api.getTimeId(at(50)));
    EXPECT_TRUE(rms.results.empty());
    EXPECT_TRUE(rms.names.empty());
    DataLoggerFile file{};
    EXPECT_FALSE(api.correctDatabaseItem(id, file));
    // Not even a list that holds the id holds it while the store is not valid.
    std::vector<QString> ids{id};
    QString sought = id;
    EXPECT_FALSE(api.existsId(ids, sought));
    EXPECT_TRUE(pauses.empty());
    setReadPauseObserverForTesting(nullptr);
}

// =================================================================================================
// The catalogue queries.

TEST_F(TypedQueriesStoreTest,
       AllFamiliesListAnIdOfTwoFamiliesTwiceAndOneFamilyListsItOnceHoweverManyTypesCarryIt)
{
    const QString shared = QStringLiteral("shared.u1");
    ASSERT_NE(catalogueMeasuredType(shared, LoggerDataType::MEAN, 0), nullptr);
    ASSERT_NE(catalogueMeasuredType(QStringLiteral("cyclic.only"), LoggerDataType::MEAN, 0), nullptr);
    ASSERT_NE(catalogueMeasuredType(shared, LoggerDataType::VTQ, 0), nullptr);
    ASSERT_NE(catalogueMeasuredType(shared, LoggerDataType::MEAN, 10), nullptr);
    ASSERT_NE(catalogueDisturbType(shared, LoggerDataType::RMS), nullptr);
    ASSERT_NE(catalogueDisturbType(shared, LoggerDataType::SAMPLES), nullptr);
    ASSERT_NE(cataloguePqEventType(QStringLiteral("pq.events")), nullptr);

    const std::vector<QString> operatorIds = mApi.getMeasIDs(LoggerType::OPERATOR);
    const std::vector<QString> eventIds = mApi.getMeasIDs(LoggerType::EVENT);
    EXPECT_EQ(mApi.getMeasIDs(LoggerType::CYCLIC),
              (std::vector<QString>{shared, QStringLiteral("cyclic.only")}));
    EXPECT_EQ(mApi.getMeasIDs(LoggerType::DISTURB), std::vector<QString>{shared});
    EXPECT_EQ(mApi.getMeasIDs(LoggerType::PQEVENT), std::vector<QString>{QStringLiteral("pq.events")});

    // Family by family in the order CYCLIC, EVENT, PQEVENT, DISTURB, OPERATOR.
    std::vector<QString> all{shared, QStringLiteral("cyclic.only")};
    all.insert(all.end(), eventIds.begin(), eventIds.end());
    all.push_back(QStringLiteral("pq.events"));
    all.push_back(shared);
    all.insert(all.end(), operatorIds.begin(), operatorIds.end());
    std::vector<QString> none = mApi.getMeasIDs(LoggerType::NONE);
    EXPECT_EQ(none, all);
    EXPECT_EQ(std::count(none.begin(), none.end(), shared), 2);

    // The test of a list compares the whole text.
    QString sought = shared;
    EXPECT_TRUE(mApi.existsId(none, sought));
    sought = QStringLiteral("shared.u");
    EXPECT_FALSE(mApi.existsId(none, sought));
    sought = QStringLiteral("SHARED.U1");
    EXPECT_FALSE(mApi.existsId(none, sought));
}

TEST_F(TypedQueriesStoreTest, EachDescriptionQueryGivesOneDescriptionPerIdWithItsCataloguedFields)
{
    const QString id = QStringLiteral("aggr.mean_10min.u1");
    ASSERT_NE(catalogueMeasuredType(id, LoggerDataType::MEAN, 0), nullptr);
    // A second configuration of the same logger, and the same id with other data types.
    ASSERT_NE(catalogueMeasuredType(id, LoggerDataType::MEAN, 100), nullptr);
    ASSERT_NE(catalogueMeasuredType(id, LoggerDataType::DTQ, 20), nullptr);
    ASSERT_NE(catalogueMeasuredType(id, LoggerDataType::HARMONICS, 30), nullptr);
    ASSERT_NE(catalogueMeasuredType(id, LoggerDataType::STATISTIC, 40), nullptr);

    const auto expectDescription = [&id](const std::vector<DataMeasType>& types, int seed) {
        ASSERT_EQ(types.size(), 1u);
        const DataMeasType& type = types.front();
        EXPECT_EQ(type.configId, id);
        EXPECT_EQ(type.phase, seed + 1);
        EXPECT_EQ(type.unit, seed + 2);
        EXPECT_EQ(type.prefix, seed + 3);
        EXPECT_EQ(type.unitFactor, seed + 4);
        EXPECT_EQ(type.quantityType, seed + 5);
        EXPECT_EQ(type.measValueType, seed + 6);
        EXPECT_EQ(type.interval, 0.5 * (seed + 7));
        EXPECT_EQ(type.index, seed + 8);
        EXPECT_TRUE(type.enabled);
    };
    {
        SCOPED_TRACE("getMeanMeasTypes: the first configuration only");
        expectDescription(mApi.getMeanMeasTypes(id), 0);
    }
    {
        SCOPED_TRACE("getMeterMeasTypes");
        expectDescription(mApi.getMeterMeasTypes(id), 20);
    }
    {
        SCOPED_TRACE("getHarmonicsMeasTypes");
        expectDescription(mApi.getHarmonicsMeasTypes(id), 30);
    }
    {
        SCOPED_TRACE("getStatisticMeasTypes");
        expectDescription(mApi.getStatisticMeasTypes(id), 40);
    }
    // The unfiltered form lists every configuration.
    const std::vector<DataMeasType> every =
        mApi.getDataMeasTypes(LoggerType::CYCLIC, LoggerDataType::MEAN, id);
    ASSERT_EQ(every.size(), 2u);
    EXPECT_EQ(every[0].phase, 1);
    EXPECT_EQ(every[1].phase, 101);
    EXPECT_TRUE(LoggerApiInterface::getLastError().isEmpty());
}

TEST_F(TypedQueriesStoreTest, ADescriptionOfAnUnknownIdIsEmptyAndLeavesTheLastErrorThatTheItemDoesNotExist)
{
    const QString id = QStringLiteral("aggr.mean_10min.u1");
    ASSERT_NE(catalogueMeasuredType(id, LoggerDataType::MEAN, 0), nullptr);
    LoggerApiInterface::getLastError();
    mPauses.clear();
    EXPECT_TRUE(mApi.getMeanMeasTypes(QStringLiteral("no.such.id")).empty());
    EXPECT_EQ(LoggerApiInterface::getLastError(), QStringLiteral("Data item (no.such.id) doesn't exist"));
    // A known id that has no logger of the data type asked for.
    EXPECT_TRUE(mApi.getStatisticMeasTypes(id).empty());
    EXPECT_EQ(LoggerApiInterface::getLastError(),
              QStringLiteral("Data item (") + id + QStringLiteral(") doesn't exist"));
    EXPECT_TRUE(mApi.getMeterMeasTypes(QString()).empty());
    EXPECT_EQ(LoggerApiInterface::getLastError(), QStringLiteral("Data item () doesn't exist"));
    EXPECT_TRUE(mPauses.empty());
}

TEST_F(TypedQueriesStoreTest, TheTimeRangeIsTheCataloguedRangeOfTheLoggerNotThatOfItsFiles)
{
    const QString id = QStringLiteral("aggr.mean_1s.u1");
    TestLogger* logger = startLogger(id, LoggerType::CYCLIC, LoggerDataType::MEAN, sizeof(DataMean));
    std::vector<DataMean> items;
    for (int index = 0; index < 10; ++index)
        items.push_back(meanItem(kFirstSecond + index, 1));
    write(logger, items);
    ASSERT_FALSE(HasFailure());

    timespec start = at(1);
    timespec end = at(2);
    ASSERT_TRUE(mApi.getTimeRange(LoggerType::CYCLIC, LoggerDataType::MEAN, id, start, end));
    EXPECT_EQ(timeText(start), timeText(at(kFirstSecond)));
    EXPECT_EQ(timeText(end), timeText(at(kFirstSecond + 9)));

    // A range in the catalogue that no file has.
    const QString catalogued = QStringLiteral("aggr.vtq.catalogued");
    ASSERT_NE(catalogueMeasuredType(catalogued, LoggerDataType::VTQ, 0, at(kFirstSecond - 100, 7),
                                    at(kFirstSecond + 100, 9)),
              nullptr);
    ASSERT_TRUE(mApi.getTimeRange(LoggerType::CYCLIC, LoggerDataType::VTQ, catalogued, start, end));
    EXPECT_EQ(timeText(start), timeText(at(kFirstSecond - 100, 7)));
    EXPECT_EQ(timeText(end), timeText(at(kFirstSecond + 100, 9)));
}

TEST_F(TypedQueriesStoreTest, TheTimeRangeOfAnUnknownIdIsFalseAndLeavesItsArgumentsAlone)
{
    const QString id = QStringLiteral("aggr.mean_1s.u1");
    ASSERT_NE(catalogueMeasuredType(id, LoggerDataType::MEAN, 0, at(kFirstSecond), at(kFirstSecond + 60)),
              nullptr);
    const std::pair<LoggerDataType, QString> unknown[] = {
        {LoggerDataType::MEAN, QStringLiteral("no.such.id")},
        {LoggerDataType::VTQ, id}, // a known id of another data type
    };
    for (const auto& query : unknown) {
        SCOPED_TRACE(query.second.toStdString());
        timespec start = at(123, 456);
        timespec end = at(789, 12);
        EXPECT_FALSE(mApi.getTimeRange(LoggerType::CYCLIC, query.first, query.second, start, end));
        EXPECT_EQ(timeText(start), timeText(at(123, 456)));
        EXPECT_EQ(timeText(end), timeText(at(789, 12)));
    }
    timespec start = at(123, 456);
    timespec end = at(789, 12);
    EXPECT_FALSE(mApi.getTimeRange(LoggerType::DISTURB, LoggerDataType::MEAN, id, start, end));
    EXPECT_EQ(timeText(start), timeText(at(123, 456)));
    EXPECT_EQ(timeText(end), timeText(at(789, 12)));
}

TEST_F(TypedQueriesStoreTest, TheFileListDescribesEveryFileOfTheFamilyWithItsFullNameAndNoOtherFamily)
{
    const QString id = QStringLiteral("aggr.mean_1s.u1");
    TestLogger* logger = startLogger(id, LoggerType::CYCLIC, LoggerDataType::MEAN, sizeof(DataMean));
    ASSERT_NE(logger, nullptr);
    // A file of its own for each block.
    logger->setMaximumFileSize(44 + 3 * static_cast<int>(sizeof(DataMean)) - 1);
    std::vector<std::pair<uint32_t, uint32_t>> guids;
    std::vector<DataTimespec> created;
    for (int block = 0; block < 3; ++block) {
        const std::vector<DataMean> items = {meanItem(kFirstSecond + 60 * block, 1),
                                             meanItem(kFirstSecond + 60 * block + 1, 1),
                                             meanItem(kFirstSecond + 60 * block + 2, 1)};
        const PtrLoggerFileInfo file = write(logger, items);
        ASSERT_NE(file, nullptr);
        guids.emplace_back(file->GuidLow, file->GuidHigh);
        created.push_back(file->UtcCreated);
    }
    TestLogger* other = startLogger(QStringLiteral("aggr.vtq.u1"), LoggerType::CYCLIC, LoggerDataType::VTQ,
                                    sizeof(DataXtq<float>));
    write(other, halfCycleValues(3, kFirstSecond));
    ASSERT_FALSE(HasFailure());

    const std::vector<DataLoggerFile> files =
        mApi.getFileList(LoggerType::CYCLIC, LoggerDataType::MEAN, QString());
    ASSERT_EQ(files.size(), 3u);
    for (size_t index = 0; index < files.size(); ++index) {
        SCOPED_TRACE("file " + std::to_string(index));
        const DataLoggerFile& file = files[index];
        EXPECT_EQ(file.type, static_cast<int32_t>(LoggerType::CYCLIC));
        EXPECT_EQ(file.dataType, static_cast<int32_t>(LoggerDataType::MEAN));
        EXPECT_EQ(timeText(file.utcStart),
                  timeText(DataTimespec{kFirstSecond + 60 * static_cast<int32_t>(index), 0}));
        EXPECT_EQ(timeText(file.utcEnd),
                  timeText(DataTimespec{kFirstSecond + 60 * static_cast<int32_t>(index) + 2, 0}));
        EXPECT_EQ(timeText(file.utcCreated), timeText(created[index]));
        EXPECT_EQ(file.guidLow, guids[index].first);
        EXPECT_EQ(file.guidHigh, guids[index].second);
        const size_t length = ::strnlen(file.fileName, sizeof(file.fileName));
        ASSERT_LT(length, sizeof(file.fileName));
        const QString name = QString::fromLatin1(file.fileName);
        EXPECT_TRUE(name.startsWith(mStore.dataFolderPath() + QLatin1Char('/'))) << name.toStdString();
        EXPECT_TRUE(QFileInfo(name).isFile()) << name.toStdString();
        EXPECT_EQ(QFileInfo(name).size(), 44 + 3 * static_cast<qint64>(sizeof(DataMean)))
            << name.toStdString();
    }
    // The filter names the logger; an id of another logger lists none of these files.
    EXPECT_EQ(mApi.getFileList(LoggerType::CYCLIC, LoggerDataType::MEAN, id).size(), 3u);
    EXPECT_TRUE(
        mApi.getFileList(LoggerType::CYCLIC, LoggerDataType::MEAN, QStringLiteral("aggr.vtq.u1")).empty());
    const std::vector<DataLoggerFile> vtq =
        mApi.getFileList(LoggerType::CYCLIC, LoggerDataType::VTQ, QString());
    ASSERT_EQ(vtq.size(), 1u);
    EXPECT_EQ(vtq[0].dataType, static_cast<int32_t>(LoggerDataType::VTQ));
    EXPECT_TRUE(mApi.getFileList(LoggerType::DISTURB, LoggerDataType::RMS, QString()).empty());
}

// A store whose data folder has a name of 200 characters, so that the full names of its files are
// longer than a file list entry holds.
class LongFileNameStoreTest : public TypedQueriesStoreTest {
protected:
    static QString longFolder() { return QStringLiteral("data_") + QString(195, QLatin1Char('x')); }

    bool startStore() override
    {
        WriterStore::Options options;
        options.initialize = false;
        mLongStore = std::make_unique<WriterStore>(options);
        if (!mLongStore->start())
            return false;
        return LoggerDb::getInstance().initialize(mLongStore->mountPoint(), mLongStore->loggerPath(),
                                                  longFolder(), QString::fromLatin1(WriterStore::kDbName),
                                                  false);
    }

    std::unique_ptr<WriterStore> mLongStore;
};

TEST_F(LongFileNameStoreTest, AFileNameLongerThan259CharactersIsCutThereAndEndsWithNul)
{
    ASSERT_NE(mLongStore, nullptr);
    const QString id = QStringLiteral("aggr.mean_1s.u1");
    TestLogger* logger = startLogger(id, LoggerType::CYCLIC, LoggerDataType::MEAN, sizeof(DataMean));
    const PtrLoggerFileInfo written = write(logger, std::vector<DataMean>{meanItem(kFirstSecond, 1)});
    ASSERT_NE(written, nullptr);
    const QString fullName = LoggerFileSystem::getFullFileName(written.get());
    ASSERT_GT(fullName.size(), 259) << fullName.toStdString();
    ASSERT_TRUE(QFileInfo(fullName).isFile()) << fullName.toStdString();
    ASSERT_TRUE(fullName.startsWith(mLongStore->loggerPath() + QLatin1Char('/') + longFolder()));

    const std::vector<DataLoggerFile> files =
        mApi.getFileList(LoggerType::CYCLIC, LoggerDataType::MEAN, QString());
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0].fileName[259], '\0');
    EXPECT_EQ(std::string(files[0].fileName), fullName.left(259).toStdString());
    EXPECT_EQ(files[0].guidLow, written->GuidLow);
}

TEST_F(TypedQueriesStoreTest, TheSizesAndCountsComeFromTheMemoryAccountsTheCatalogueAndTheLoggerList)
{
    TestLogger* logger = startLogger(QStringLiteral("aggr.mean_1s.u1"), LoggerType::CYCLIC,
                                     LoggerDataType::MEAN, sizeof(DataMean));
    write(logger, std::vector<DataMean>{meanItem(kFirstSecond, 1), meanItem(kFirstSecond + 1, 1)});
    ASSERT_FALSE(HasFailure());

    LoggerMemoryInterface memory;
    for (const auto& family : {std::make_pair(LoggerType::CYCLIC, LoggerDataType::MEAN),
                               std::make_pair(LoggerType::DISTURB, LoggerDataType::RMS),
                               std::make_pair(LoggerType::NONE, LoggerDataType::NONE)}) {
        SCOPED_TRACE(std::to_string(static_cast<int>(family.first)) + "/" +
                     std::to_string(static_cast<int>(family.second)));
        EXPECT_EQ(mApi.getMaximalLoggerSize(family.first, family.second),
                  memory.getMaximalLoggerSize(family.first, family.second));
        EXPECT_EQ(mApi.getUsedLoggerSize(family.first, family.second),
                  memory.getUsedLoggerSize(family.first, family.second));
    }
    EXPECT_GT(mApi.getMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::MEAN), 0.0);
    EXPECT_GT(mApi.getUsedLoggerSize(LoggerType::CYCLIC, LoggerDataType::MEAN), 0.0);
    EXPECT_EQ(mApi.getNumberOfOpenedFiles(), LoggerDb::getInstance().getNumberOfOpenedFiles());
    EXPECT_GE(mApi.getNumberOfOpenedFiles(), 0);
    EXPECT_EQ(mApi.getNumLoggers(), LoggerList::getInstance()->getNumLoggers());
}

namespace {

// A thread with its own event loop for the time of a scope, as a host's receiver lives on one.
class EventLoopThread {
public:
    explicit EventLoopThread(QThread& thread) : mThread(thread) { mThread.start(); }
    ~EventLoopThread()
    {
        mThread.quit();
        mThread.wait();
    }
    EventLoopThread(const EventLoopThread&) = delete;
    EventLoopThread& operator=(const EventLoopThread&) = delete;

private:
    QThread& mThread;
};

} // namespace

TEST_F(TypedQueriesStoreTest, ARegisteredReceiverGetsTheStateWordsUntilItIsUnregistered)
{
    QThread hostThread;
    LoggerStateReceiver receiver;
    receiver.moveToThread(&hostThread);
    const EventLoopThread running(hostThread);

    LoggerDb& db = LoggerDb::getInstance();
    mApi.registerLoggerstate(&receiver);
    db.setLoggerState(LOGGER_STATE_SD_EJECT);
    const LoggerState ejected = db.getLoggerState();
    ASSERT_TRUE(receiver.waitForState(ejected));

    mApi.unregisterLoggerstate(&receiver);
    db.setLoggerState(LOGGER_STATE_SD_MOUNTED);
    receiver.drainEvents();
    EXPECT_EQ(receiver.states(), QList<LoggerState>{ejected});
}

// =================================================================================================
// Half-cycle values and the frequency.

TEST_F(TypedQueriesStoreTest, HalfCycleValuesComeAsStoredAfterTheEntryPause)
{
    const QString rmsId = QStringLiteral("rms_1_2.u1");
    const QString digitalId = QStringLiteral("digital_1_2.in1");
    const std::vector<DataXtq<float>> rms = halfCycleValues(50, kFirstSecond);
    const std::vector<DataXtq<int>> digital = digitalValues(50, kFirstSecond);
    write(startLogger(rmsId, LoggerType::DISTURB, LoggerDataType::RMS, sizeof(DataXtq<float>)), rms);
    write(startLogger(digitalId, LoggerType::DISTURB, LoggerDataType::DIGITAL, sizeof(DataXtq<int>)),
          digital);
    ASSERT_FALSE(HasFailure());

    mPauses.clear();
    const PtrLoggerResultVtq rmsRead = mApi.getRms_1_2_Values(rmsId, at(kFirstSecond), at(kFirstSecond + 1));
    ASSERT_NE(rmsRead, nullptr) << LoggerApiInterface::getLastError().toStdString();
    EXPECT_TRUE(sameItems(rmsRead, rms));
    EXPECT_EQ(mPauses, (std::vector<unsigned long>{kEntryPause, kReadPause}));

    mPauses.clear();
    // Both ends belong to the range: items 10 to 20.
    const PtrLoggerResultItq digitalRead = mApi.getDigital_1_2_Values(
        digitalId, at(kFirstSecond, 10 * kTwentyMs), at(kFirstSecond, 20 * kTwentyMs));
    EXPECT_TRUE(
        sameItems(digitalRead, std::vector<DataXtq<int>>(digital.begin() + 10, digital.begin() + 21)));
    EXPECT_EQ(mPauses, (std::vector<unsigned long>{kEntryPause, kReadPause}));

    // A range without files: an empty result after the entry pause alone.
    mPauses.clear();
    const PtrLoggerResultVtq none =
        mApi.getRms_1_2_Values(rmsId, at(kFirstSecond + 10), at(kFirstSecond + 20));
    ASSERT_NE(none, nullptr);
    EXPECT_EQ(none->mNumItems, 0);
    EXPECT_EQ(mPauses, std::vector<unsigned long>{kEntryPause});
}

TEST_F(TypedQueriesStoreTest, TheFourHalfCycleAndSampleGettersPauseOnEntryAndAgainBeforeAnsweringAnUnknownId)
{
    const QString rmsId = QStringLiteral("rms_1_2.u1");
    const QString samplesId = QStringLiteral("samples.u");
    write(startLogger(rmsId, LoggerType::DISTURB, LoggerDataType::RMS, sizeof(DataXtq<float>)),
          halfCycleValues(5, kFirstSecond));
    write(startLogger(QStringLiteral("digital_1_2.in1"), LoggerType::DISTURB, LoggerDataType::DIGITAL,
                      sizeof(DataXtq<int>)),
          digitalValues(5, kFirstSecond));
    write(startLogger(samplesId, LoggerType::DISTURB, LoggerDataType::SAMPLES, sizeof(Samples)),
          floatSamples(3, kFirstSecond));
    ASSERT_FALSE(HasFailure());
    const timespec start = at(kFirstSecond);
    const timespec end = at(kFirstSecond + 10);

    const struct {
        const char* name;
        std::function<bool(const QString& id)> read; // true: non-null
    } getters[] = {
        {"getRms_1_2_Values",
         [&](const QString& id) { return mApi.getRms_1_2_Values(id, start, end) != nullptr; }},
        {"getDigital_1_2_Values",
         [&](const QString& id) {
             return mApi.getDigital_1_2_Values(id == rmsId ? QStringLiteral("digital_1_2.in1") : id, start,
                                               end) != nullptr;
         }},
        {"getSamplesValues",
         [&](const QString& id) {
             return mApi.getSamplesValues(id == rmsId ? samplesId : id, start, end, false) != nullptr;
         }},
        {"getSamples16Values",
         [&](const QString& id) {
             return mApi.getSamples16Values(id == rmsId ? samplesId : id, start, end, true) != nullptr;
         }},
        {"getFrequency_1_2_Values",
         [&](const QString& id) { return mApi.getFrequency_1_2_Values(id, start, end) != nullptr; }},
    };
    for (const auto& getter : getters) {
        SCOPED_TRACE(getter.name);
        mPauses.clear();
        EXPECT_TRUE(getter.read(rmsId));
        EXPECT_EQ(mPauses, (std::vector<unsigned long>{kEntryPause, kReadPause}));

        mPauses.clear();
        QElapsedTimer clock;
        clock.start();
        EXPECT_FALSE(getter.read(QStringLiteral("no.such.id")));
        EXPECT_GE(clock.elapsed(), static_cast<qint64>(kEntryPause + kFailedLookupPause));
        EXPECT_EQ(mPauses, (std::vector<unsigned long>{kEntryPause, kFailedLookupPause}));
    }
}

TEST_F(TypedQueriesStoreTest,
       ValuesTwentyMillisecondsApartGiveTwentyFiveAndTheLastRepeatsTheOneBeforeWithItsTime)
{
    const QString id = QStringLiteral("rms_1_2.u1");
    const std::vector<DataXtq<float>> rms = halfCycleValues(100, kFirstSecond);
    write(startLogger(id, LoggerType::DISTURB, LoggerDataType::RMS, sizeof(DataXtq<float>)), rms);
    ASSERT_FALSE(HasFailure());

    mPauses.clear();
    const PtrLoggerResultVtq frequency =
        mApi.getFrequency_1_2_Values(id, at(kFirstSecond), at(kFirstSecond + 2));
    ASSERT_NE(frequency, nullptr) << LoggerApiInterface::getLastError().toStdString();
    ASSERT_EQ(frequency->mNumItems, 100);
    EXPECT_EQ(mPauses, (std::vector<unsigned long>{kEntryPause, kReadPause}));
    for (int index = 0; index < 99; ++index) {
        SCOPED_TRACE("item " + std::to_string(index));
        const DataXtq<float>& item = frequency->mItems[index];
        EXPECT_EQ(item.value, 25.0f);
        EXPECT_EQ(timeText(item.utc), timeText(rms[static_cast<size_t>(index)].utc));
        EXPECT_EQ(item.quality, rms[static_cast<size_t>(index)].quality);
    }
    EXPECT_TRUE(sameBytes(frequency->mItems[99], frequency->mItems[98]));
    EXPECT_EQ(timeText(frequency->mItems[99].utc), timeText(rms[98].utc));
    EXPECT_EQ(frequency->mItems[99].quality, 98u);
}

TEST_F(TypedQueriesStoreTest, TwoValuesOfTheSameTimeGiveAnInfiniteFrequency)
{
    const QString id = QStringLiteral("rms_1_2.u1");
    std::vector<DataXtq<float>> rms = halfCycleValues(4, kFirstSecond, 10000000);
    rms[2].utc = rms[1].utc; // the source repeated a time stamp
    write(startLogger(id, LoggerType::DISTURB, LoggerDataType::RMS, sizeof(DataXtq<float>)), rms, false);
    ASSERT_FALSE(HasFailure());

    const PtrLoggerResultVtq frequency =
        mApi.getFrequency_1_2_Values(id, at(kFirstSecond), at(kFirstSecond + 1));
    ASSERT_NE(frequency, nullptr) << LoggerApiInterface::getLastError().toStdString();
    ASSERT_EQ(frequency->mNumItems, 4);
    EXPECT_EQ(frequency->mItems[0].value, 50.0f);
    EXPECT_EQ(frequency->mItems[1].value, kInfinity);
    EXPECT_EQ(frequency->mItems[2].value, 25.0f);
    EXPECT_TRUE(sameBytes(frequency->mItems[3], frequency->mItems[2]));
}

TEST_F(TypedQueriesStoreTest, AFrequencyOfFewerThanTwoValuesIsTheValuesAsStored)
{
    const QString id = QStringLiteral("rms_1_2.u1");
    const std::vector<DataXtq<float>> rms = halfCycleValues(3, kFirstSecond, 1000000000);
    write(startLogger(id, LoggerType::DISTURB, LoggerDataType::RMS, sizeof(DataXtq<float>)), rms);
    ASSERT_FALSE(HasFailure());

    EXPECT_TRUE(sameItems(mApi.getFrequency_1_2_Values(id, at(kFirstSecond + 1), at(kFirstSecond + 1)),
                          std::vector<DataXtq<float>>{rms[1]}));
    const PtrLoggerResultVtq none =
        mApi.getFrequency_1_2_Values(id, at(kFirstSecond + 10), at(kFirstSecond + 11));
    ASSERT_NE(none, nullptr);
    EXPECT_EQ(none->mNumItems, 0);
}

// The values of every half-cycle logger over the span of the first rms range of one event.
TEST_F(TypedQueriesStoreTest, AllHalfCycleValuesOfAnEventSpanComeWithTheirLoggersNamesInCatalogueOrder)
{
    const QString pqId = QStringLiteral("pq.events");
    const int32_t eventSecond = kFirstSecond + 2;
    DataPqEvent event{};
    event.utc = DataTimespec{eventSecond, 0};
    event.duration = DataTimespec{0, 100000000};
    event.rms[0] = DataUtcRange{{eventSecond - 1, 0}, {eventSecond, 500000000}};
    event.rms[1] = DataUtcRange{{kFirstSecond, 0}, {kFirstSecond + 5, 0}};
    DataPqEvent later = event;
    later.utc = DataTimespec{eventSecond + 60, 0};
    later.rms[0] = DataUtcRange{{eventSecond + 59, 0}, {eventSecond + 61, 0}};
    write(startLogger(pqId, LoggerType::PQEVENT, LoggerDataType::PQEVENT, sizeof(DataPqEvent)),
          std::vector<DataPqEvent>{event, later});

    const QStringList rmsIds = {QStringLiteral("rms_1_2.u1"), QStringLiteral("rms_1_2.u2"),
                                QStringLiteral("rms_1_2.i1")};
    std::vector<std::vector<DataXtq<float>>> rms;
    for (int logger = 0; logger < rmsIds.size(); ++logger) {
        std::vector<DataXtq<float>> items = halfCycleValues(250, kFirstSecond);
        for (DataXtq<float>& item : items)
            item.value += 1000.0f * static_cast<float>(logger);
        write(startLogger(rmsIds[logger], LoggerType::DISTURB, LoggerDataType::RMS, sizeof(DataXtq<float>)),
              items);
        rms.push_back(items);
    }
    const std::vector<DataXtq<int>> digital = digitalValues(250, kFirstSecond);
    write(startLogger(QStringLiteral("digital_1_2.in1"), LoggerType::DISTURB, LoggerDataType::DIGITAL,
                      sizeof(DataXtq<int>)),
          digital);
    ASSERT_FALSE(HasFailure());

    // The items of the first rms range, both ends included: 1.0 s to 2.5 s after the first item.
    const auto inSpan = [](const auto& items) {
        using Items = typename std::decay<decltype(items)>::type;
        return Items(items.begin() + 50, items.begin() + 126);
    };
    // A time id between the two events finds the one before.
    const long long timeId = mApi.getTimeId(at(eventSecond + 30));
    const LoggerResultList<DataXtq<float>> all = mApi.getAllRms_1_2_Values(pqId, timeId);
    ASSERT_EQ(all.names.size(), 3u);
    ASSERT_EQ(all.results.size(), 3u);
    for (int logger = 0; logger < rmsIds.size(); ++logger) {
        SCOPED_TRACE(rmsIds[logger].toStdString());
        EXPECT_EQ(all.names[static_cast<size_t>(logger)], rmsIds[logger].toStdString());
        EXPECT_TRUE(
            sameItems(all.results[static_cast<size_t>(logger)], inSpan(rms[static_cast<size_t>(logger)])));
    }

    const LoggerResultList<DataXtq<int>> digitalAll = mApi.getAllDigital_1_2_Values(pqId, timeId);
    ASSERT_EQ(digitalAll.names, std::vector<std::string>{"digital_1_2.in1"});
    ASSERT_EQ(digitalAll.results.size(), 1u);
    EXPECT_TRUE(sameItems(digitalAll.results[0], inSpan(digital)));

    // The later event's span lies beyond every value: empty results, still one per logger.
    const LoggerResultList<DataXtq<float>> laterAll =
        mApi.getAllRms_1_2_Values(pqId, mApi.getTimeId(at(eventSecond + 60)));
    ASSERT_EQ(laterAll.results.size(), 3u);
    for (const auto& result : laterAll.results) {
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(result->mNumItems, 0);
    }
}

TEST_F(TypedQueriesStoreTest, AllHalfCycleValuesWithoutAnEventAreTwoEmptyLists)
{
    const QString pqId = QStringLiteral("pq.events");
    DataPqEvent event{};
    event.utc = DataTimespec{kFirstSecond + 10, 0};
    event.rms[0] = DataUtcRange{{kFirstSecond, 0}, {kFirstSecond + 20, 0}};
    write(startLogger(pqId, LoggerType::PQEVENT, LoggerDataType::PQEVENT, sizeof(DataPqEvent)),
          std::vector<DataPqEvent>{event});
    write(startLogger(QStringLiteral("rms_1_2.u1"), LoggerType::DISTURB, LoggerDataType::RMS,
                      sizeof(DataXtq<float>)),
          halfCycleValues(5, kFirstSecond));
    ASSERT_FALSE(HasFailure());

    // No event at or before the time, and an id that names no event logger.
    for (const auto& query :
         {std::make_pair(pqId, mApi.getTimeId(at(kFirstSecond))),
          std::make_pair(QStringLiteral("rms_1_2.u1"), mApi.getTimeId(at(kFirstSecond + 10))),
          std::make_pair(QStringLiteral("no.such.pq"), mApi.getTimeId(at(kFirstSecond + 10)))}) {
        SCOPED_TRACE(query.first.toStdString());
        const LoggerResultList<DataXtq<float>> rms = mApi.getAllRms_1_2_Values(query.first, query.second);
        EXPECT_TRUE(rms.results.empty());
        EXPECT_TRUE(rms.names.empty());
        const LoggerResultList<DataXtq<int>> digital =
            mApi.getAllDigital_1_2_Values(query.first, query.second);
        EXPECT_TRUE(digital.results.empty());
        EXPECT_TRUE(digital.names.empty());
    }
}

// =================================================================================================
// Samples.

TEST_F(TypedQueriesStoreTest, AnEmptyFloatLoggerWithoutASixteenBitLoggerGivesAResultWithoutItemsNotNull)
{
    const QString id = QStringLiteral("samples.u");
    ASSERT_NE(startLogger(id, LoggerType::DISTURB, LoggerDataType::SAMPLES, sizeof(Samples)), nullptr);
    ASSERT_GE(mApi.getBaseTypeId(LoggerType::DISTURB, LoggerDataType::SAMPLES, id), 0);
    ASSERT_LT(mApi.getBaseTypeId(LoggerType::DISTURB, LoggerDataType::SAMPLES16, id), 0);

    const PtrLoggerResultSamples samples =
        mApi.getSamplesValues(id, at(kFirstSecond), at(kFirstSecond + 10), true);
    ASSERT_NE(samples, nullptr);
    EXPECT_EQ(samples->mNumItems, 0);
}

TEST_F(TypedQueriesStoreTest, FloatSamplesComeAsStoredAndAsSixteenBitsInTheStoresUnits)
{
    const QString id = QStringLiteral("samples.u");
    const std::vector<Samples> items = floatSamples(6, kFirstSecond, 51.125f);
    write(startLogger(id, LoggerType::DISTURB, LoggerDataType::SAMPLES, sizeof(Samples)), items);
    ASSERT_FALSE(HasFailure());

    EXPECT_TRUE(sameItems(mApi.getSamplesValues(id, at(kFirstSecond), at(kFirstSecond + 5), false), items));
    std::vector<Samples16> narrow;
    for (const Samples& item : items)
        narrow.push_back(referenceNarrow(item, LoggerApi::kU, LoggerApi::kI));
    const PtrLoggerResultSamples16 samples16 =
        mApi.getSamples16Values(id, at(kFirstSecond + 1), at(kFirstSecond + 5), false);
    EXPECT_TRUE(sameItems(samples16, std::vector<Samples16>(narrow.begin() + 1, narrow.end())));
}

// The scales of the float form are those of the header that the read of the 16-bit items filled in,
// not the header as it was before the read.
TEST_F(TypedQueriesStoreTest, SixteenBitSamplesComeAsStoredAndAsFloatsWithTheScalesOfTheHeaderJustRead)
{
    const QString id = QStringLiteral("samples16.u");
    const float scaleVoltage = 0.5f;
    const float scaleCurrent = 0.125f;
    std::vector<Samples16> items;
    for (const Samples& item : floatSamples(5, kFirstSecond, 700.5f))
        items.push_back(referenceNarrow(item, 1.0f / scaleVoltage, 1.0f / scaleCurrent));
    write(startLogger(id, LoggerType::DISTURB, LoggerDataType::SAMPLES16, sizeof(Samples16), scaleVoltage,
                      scaleCurrent),
          items);
    ASSERT_FALSE(HasFailure());

    mPauses.clear();
    EXPECT_TRUE(sameItems(mApi.getSamples16Values(id, at(kFirstSecond), at(kFirstSecond + 4), true), items));
    EXPECT_EQ(mPauses, (std::vector<unsigned long>{kEntryPause, kReadPause}));
    std::vector<Samples> wide;
    for (const Samples16& item : items)
        wide.push_back(referenceWiden(item, scaleVoltage, scaleCurrent));
    mPauses.clear();
    mMessages.clear();
    const PtrLoggerResultSamples samples =
        mApi.getSamplesValues(id, at(kFirstSecond), at(kFirstSecond + 4), true);
    EXPECT_TRUE(sameItems(samples, wide));
    EXPECT_EQ(mPauses, (std::vector<unsigned long>{kEntryPause, kReadPause}));
    EXPECT_EQ(countMessages("samples scale scaleVoltage=0.5 scaleCurrent=0.125", LOGGER_MESSAGE_ROUTINE), 1);
}

TEST_F(TypedQueriesStoreTest, WhereTheFloatLoggerHasNoItemsInTheRangeTheSixteenBitLoggerOfTheSameIdIsRead)
{
    const QString id = QStringLiteral("samples.u");
    const float scaleVoltage = 0.25f;
    const float scaleCurrent = 0.0625f;
    std::vector<Samples16> older;
    for (const Samples& item : floatSamples(4, kFirstSecond, 300.25f))
        older.push_back(referenceNarrow(item, 1.0f / scaleVoltage, 1.0f / scaleCurrent));
    write(startLogger(id, LoggerType::DISTURB, LoggerDataType::SAMPLES16, sizeof(Samples16), scaleVoltage,
                      scaleCurrent),
          older);
    const std::vector<Samples> newer = floatSamples(4, kFirstSecond + 100, 9.5f);
    write(startLogger(id, LoggerType::DISTURB, LoggerDataType::SAMPLES, sizeof(Samples)), newer);
    ASSERT_FALSE(HasFailure());

    std::vector<Samples> olderWide;
    for (const Samples16& item : older)
        olderWide.push_back(referenceWiden(item, scaleVoltage, scaleCurrent));
    EXPECT_TRUE(
        sameItems(mApi.getSamplesValues(id, at(kFirstSecond), at(kFirstSecond + 10), false), olderWide));
    EXPECT_TRUE(
        sameItems(mApi.getSamplesValues(id, at(kFirstSecond + 100), at(kFirstSecond + 110), false), newer));
    // The 16-bit getter reads the float form where there is one, whatever the range holds.
    const PtrLoggerResultSamples16 samples16 =
        mApi.getSamples16Values(id, at(kFirstSecond), at(kFirstSecond + 10), false);
    ASSERT_NE(samples16, nullptr);
    EXPECT_EQ(samples16->mNumItems, 0);
    // Nothing in either form.
    const PtrLoggerResultSamples none =
        mApi.getSamplesValues(id, at(kFirstSecond + 50), at(kFirstSecond + 60), false);
    ASSERT_NE(none, nullptr);
    EXPECT_EQ(none->mNumItems, 0);
}

// =================================================================================================
// Means by quality.

TEST_F(TypedQueriesStoreTest, FilteredMeansKeepTheItemsWhoseQualitySharesABitWithTheMaskInTheirOrder)
{
    const QString id = QStringLiteral("aggr.mean_1s.u1");
    const uint32_t qualities[] = {0x1, 0x2, 0x3, 0x0, 0x10000, 0x20001, 0x8, 0x1};
    std::vector<DataMean> items;
    for (size_t index = 0; index < sizeof(qualities) / sizeof(qualities[0]); ++index)
        items.push_back(meanItem(kFirstSecond + static_cast<int32_t>(index), qualities[index]));
    write(startLogger(id, LoggerType::CYCLIC, LoggerDataType::MEAN, sizeof(DataMean)), items);
    ASSERT_FALSE(HasFailure());
    const timespec start = at(kFirstSecond);
    const timespec end = at(kFirstSecond + 100);

    const auto kept = [&items](uint32_t mask) {
        std::vector<DataMean> result;
        for (const DataMean& item : items)
            if ((item.quality & mask) != 0)
                result.push_back(item);
        return result;
    };
    for (const uint32_t mask : {0x1u, 0x20000u, 0x10002u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(std::to_string(mask));
        mPauses.clear();
        mMessages.clear();
        const PtrLoggerResultMean means = mApi.getFilteredMeanValues(id, start, end, mask);
        EXPECT_TRUE(sameItems(means, kept(mask)));
        EXPECT_EQ(mPauses, std::vector<unsigned long>{kReadPause});
        EXPECT_EQ(countMessages("...getFilteredMeanValues()", LOGGER_MESSAGE_ROUTINE), 1);
    }
    EXPECT_EQ(kept(0x1u).size(), 4u);
    EXPECT_EQ(kept(0xFFFFFFFFu).size(), items.size() - 1);
}

TEST_F(TypedQueriesStoreTest, AQualityMaskOfZeroGivesAnEmptyResultAndSoDoesARangeWithoutFiles)
{
    const QString id = QStringLiteral("aggr.mean_1s.u1");
    write(startLogger(id, LoggerType::CYCLIC, LoggerDataType::MEAN, sizeof(DataMean)),
          std::vector<DataMean>{meanItem(kFirstSecond, 0xFFFFFFFFu), meanItem(kFirstSecond + 1, 1)});
    ASSERT_FALSE(HasFailure());

    const PtrLoggerResultMean zeroMask =
        mApi.getFilteredMeanValues(id, at(kFirstSecond), at(kFirstSecond + 1), 0);
    ASSERT_NE(zeroMask, nullptr);
    EXPECT_EQ(zeroMask->mNumItems, 0);

    mPauses.clear();
    const PtrLoggerResultMean noFiles =
        mApi.getFilteredMeanValues(id, at(kFirstSecond + 10), at(kFirstSecond + 11), 0xFFFFFFFFu);
    ASSERT_NE(noFiles, nullptr);
    EXPECT_EQ(noFiles->mNumItems, 0);
    EXPECT_TRUE(mPauses.empty());

    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(
        mApi.getFilteredMeanValues(QStringLiteral("no.such.id"), at(kFirstSecond), at(kFirstSecond + 1), 1),
        nullptr);
    EXPECT_GE(clock.elapsed(), static_cast<qint64>(kFailedLookupPause));
    EXPECT_EQ(mPauses, std::vector<unsigned long>{kFailedLookupPause});
}

// =================================================================================================
// The correction of a catalogue entry.

TEST_F(TypedQueriesStoreTest, ACorrectedFileTakesItsNewRangeAndTheLoggersRangeWidensToHoldIt)
{
    const QString id = QStringLiteral("aggr.mean_1s.u1");
    TestLogger* logger = startLogger(id, LoggerType::CYCLIC, LoggerDataType::MEAN, sizeof(DataMean));
    ASSERT_NE(logger, nullptr);
    logger->setMaximumFileSize(44 + 2 * static_cast<int>(sizeof(DataMean)) - 1);
    for (int block = 0; block < 3; ++block)
        write(logger, std::vector<DataMean>{meanItem(kFirstSecond + 60 * block, 1),
                                            meanItem(kFirstSecond + 60 * block + 1, 1)});
    ASSERT_FALSE(HasFailure());
    const int baseTypeId = mApi.getBaseTypeId(LoggerType::CYCLIC, LoggerDataType::MEAN, id);
    ASSERT_GE(baseTypeId, 0);
    const std::string typeRow = std::to_string(baseTypeId) + "|";

    std::vector<DataLoggerFile> files = mApi.getFileList(LoggerType::CYCLIC, LoggerDataType::MEAN, id);
    ASSERT_EQ(files.size(), 3u);
    const QStringList fileRowsBefore = measuredFileRows();
    ASSERT_EQ(fileRowsBefore.size(), 3);
    ASSERT_EQ(measuredTypeRows(),
              QStringList{QString::fromStdString(typeRow) +
                          QStringLiteral("%1|0|%2|0|%3").arg(kFirstSecond).arg(kFirstSecond + 121).arg(id)});

    // Within the logger's range: the file alone changes.
    DataLoggerFile middle = files[1];
    middle.utcStart = DataTimespec{kFirstSecond + 30, 5};
    middle.utcEnd = DataTimespec{kFirstSecond + 90, 6};
    EXPECT_TRUE(mApi.correctDatabaseItem(id, middle));
    QStringList fileRows = measuredFileRows();
    ASSERT_EQ(fileRows.size(), 3);
    EXPECT_EQ(fileRows[0], fileRowsBefore[0]);
    EXPECT_EQ(fileRows[1].section(QLatin1Char('|'), 1, 6), QStringLiteral("%1|5|%2|6|%3|%4")
                                                               .arg(kFirstSecond + 30)
                                                               .arg(kFirstSecond + 90)
                                                               .arg(middle.guidLow)
                                                               .arg(middle.guidHigh));
    EXPECT_EQ(fileRows[2], fileRowsBefore[2]);
    EXPECT_EQ(measuredTypeRows(),
              QStringList{QString::fromStdString(typeRow) +
                          QStringLiteral("%1|0|%2|0|%3").arg(kFirstSecond).arg(kFirstSecond + 121).arg(id)});

    // Beyond it at both ends: the logger's range takes the file's in.
    DataLoggerFile last = files[2];
    last.utcStart = DataTimespec{kFirstSecond - 3600, 7};
    last.utcEnd = DataTimespec{kFirstSecond + 7200, 8};
    EXPECT_TRUE(mApi.correctDatabaseItem(id, last));
    fileRows = measuredFileRows();
    ASSERT_EQ(fileRows.size(), 3);
    EXPECT_EQ(fileRows[2].section(QLatin1Char('|'), 1, 6), QStringLiteral("%1|7|%2|8|%3|%4")
                                                               .arg(kFirstSecond - 3600)
                                                               .arg(kFirstSecond + 7200)
                                                               .arg(last.guidLow)
                                                               .arg(last.guidHigh));
    EXPECT_EQ(measuredTypeRows(),
              QStringList{
                  QString::fromStdString(typeRow) +
                  QStringLiteral("%1|7|%2|8|%3").arg(kFirstSecond - 3600).arg(kFirstSecond + 7200).arg(id)});

    // The read API sees the catalogue's new ranges.
    timespec start{};
    timespec end{};
    ASSERT_TRUE(mApi.getTimeRange(LoggerType::CYCLIC, LoggerDataType::MEAN, id, start, end));
    EXPECT_EQ(timeText(start), timeText(at(kFirstSecond - 3600, 7)));
    EXPECT_EQ(timeText(end), timeText(at(kFirstSecond + 7200, 8)));
    files = mApi.getFileList(LoggerType::CYCLIC, LoggerDataType::MEAN, id);
    ASSERT_EQ(files.size(), 3u);
    // The list is sorted by the first item: the corrected file comes first now.
    EXPECT_EQ(files[0].guidLow, last.guidLow);
    EXPECT_EQ(timeText(files[0].utcStart), timeText(last.utcStart));
    EXPECT_EQ(timeText(files[0].utcEnd), timeText(last.utcEnd));
}

TEST_F(TypedQueriesStoreTest, ACorrectionWithAnUnknownUniqueIdIsTrueAndChangesNothing)
{
    const QString id = QStringLiteral("aggr.mean_1s.u1");
    write(startLogger(id, LoggerType::CYCLIC, LoggerDataType::MEAN, sizeof(DataMean)),
          std::vector<DataMean>{meanItem(kFirstSecond, 1), meanItem(kFirstSecond + 1, 1)});
    ASSERT_FALSE(HasFailure());
    const std::vector<DataLoggerFile> files = mApi.getFileList(LoggerType::CYCLIC, LoggerDataType::MEAN, id);
    ASSERT_EQ(files.size(), 1u);
    const QStringList fileRows = measuredFileRows();
    const QStringList typeRows = measuredTypeRows();
    ASSERT_EQ(fileRows.size(), 1);

    DataLoggerFile unknown = files[0];
    unknown.guidLow ^= 0x5A5A5A5Au;
    unknown.utcStart = DataTimespec{kFirstSecond - 1000, 0};
    unknown.utcEnd = DataTimespec{kFirstSecond + 1000, 0};
    EXPECT_TRUE(mApi.correctDatabaseItem(id, unknown));
    EXPECT_EQ(measuredFileRows(), fileRows);
    EXPECT_EQ(measuredTypeRows(), typeRows);
    timespec start{};
    timespec end{};
    ASSERT_TRUE(mApi.getTimeRange(LoggerType::CYCLIC, LoggerDataType::MEAN, id, start, end));
    EXPECT_EQ(timeText(start), timeText(at(kFirstSecond)));
    EXPECT_EQ(timeText(end), timeText(at(kFirstSecond + 1)));
}

TEST_F(TypedQueriesStoreTest, ACorrectionOfAnUnknownLoggerOrOfALoggerWithoutFilesIsFalse)
{
    const QString id = QStringLiteral("aggr.mean_1s.u1");
    write(startLogger(id, LoggerType::CYCLIC, LoggerDataType::MEAN, sizeof(DataMean)),
          std::vector<DataMean>{meanItem(kFirstSecond, 1)});
    ASSERT_NE(catalogueMeasuredType(QStringLiteral("aggr.mean_1s.without_files"), LoggerDataType::MEAN, 0),
              nullptr);
    ASSERT_FALSE(HasFailure());
    const std::vector<DataLoggerFile> files = mApi.getFileList(LoggerType::CYCLIC, LoggerDataType::MEAN, id);
    ASSERT_EQ(files.size(), 1u);
    const QStringList fileRows = measuredFileRows();
    const QStringList typeRows = measuredTypeRows();

    DataLoggerFile file = files[0];
    file.utcStart = DataTimespec{kFirstSecond - 1000, 0};
    EXPECT_FALSE(mApi.correctDatabaseItem(QStringLiteral("no.such.id"), file));
    EXPECT_FALSE(mApi.correctDatabaseItem(QStringLiteral("aggr.mean_1s.without_files"), file));
    DataLoggerFile otherFamily = file;
    otherFamily.dataType = static_cast<int32_t>(LoggerDataType::VTQ);
    EXPECT_FALSE(mApi.correctDatabaseItem(id, otherFamily));
    EXPECT_EQ(measuredFileRows(), fileRows);
    EXPECT_EQ(measuredTypeRows(), typeRows);
}

#include "LoggerResult.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <new>
#include <string>
#include <type_traits>

namespace {

using PqEventResult = LoggerResult<DataPqEvent>;
using MeanResult = LoggerResult<DataMean>;

template <typename Result> bool allBytesZero(const Result& result)
{
    const auto* bytes = reinterpret_cast<const unsigned char*>(result.mItems);
    const std::size_t size = sizeof(*result.mItems) * static_cast<std::size_t>(result.mNumItems);
    for (std::size_t i = 0; i < size; ++i) {
        if (bytes[i] != 0) {
            return false;
        }
    }
    return true;
}

DataMean makeMean(int32_t seconds, float mean)
{
    DataMean item{};
    item.utc = DataTimespec{seconds, 0};
    item.quality = static_cast<uint32_t>(seconds);
    item.min = mean - 1.0f;
    item.mean = mean;
    item.max = mean + 1.0f;
    return item;
}

void fillMeans(MeanResult& result)
{
    for (int i = 0; i < result.mNumItems; ++i) {
        result.mItems[i] = makeMean(1000 + i, static_cast<float>(i));
    }
}

void expectMeansKept(const MeanResult& result, int count)
{
    for (int i = 0; i < count; ++i) {
        const DataMean expected = makeMean(1000 + i, static_cast<float>(i));
        EXPECT_EQ(std::memcmp(&result.mItems[i], &expected, sizeof(DataMean)), 0) << "item " << i;
    }
}

// The result's mutex is released again by every operation.
template <typename Result> bool mutexIsFree(Result& result)
{
    if (!result.mMutex.tryLock()) {
        return false;
    }
    result.mMutex.unlock();
    return true;
}

TEST(LoggerResultTest, CreateWithZeroItemsGivesValidEmptyResult)
{
    const auto result = MeanResult::create(0);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->mNumItems, 0);
    EXPECT_EQ(result->mInterval, 0.0);
    EXPECT_TRUE(result->mInfo.empty());
    EXPECT_TRUE(mutexIsFree(*result));
}

TEST(LoggerResultTest, CreateAllocatesTheCountAsked)
{
    const auto result = MeanResult::create(7);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->mNumItems, 7);
    ASSERT_NE(result->mItems, nullptr);
    EXPECT_EQ(result->mInterval, 0.0);
    EXPECT_TRUE(result->mInfo.empty());
    EXPECT_TRUE(mutexIsFree(*result));
}

TEST(LoggerResultTest, CreateZeroesMemoryLeftByAnEarlierResult)
{
    // The allocator hands the freed block of the same size out again, still dirty.
    constexpr int kCount = 32;
    {
        const auto dirty = MeanResult::create(kCount);
        ASSERT_EQ(dirty->mNumItems, kCount);
        std::memset(static_cast<void*>(dirty->mItems), 0xAB, sizeof(DataMean) * kCount);
    }
    const auto result = MeanResult::create(kCount);
    ASSERT_EQ(result->mNumItems, kCount);
    EXPECT_TRUE(allBytesZero(*result));
}

TEST(LoggerResultTest, NewPqEventResultReadsAllZeroDespiteDefaultPreset)
{
    // The record's default constructor marks the sample range as unfilled.
    DataPqEvent preset;
    ASSERT_EQ(preset.sample.utcStart.tv_sec, kPqEventNoSampleMark);

    const PqEventResult constructed(3);
    ASSERT_EQ(constructed.mNumItems, 3);
    EXPECT_TRUE(allBytesZero(constructed));
    EXPECT_EQ(constructed.mItems[2].sample.utcStart.tv_sec, 0);
    EXPECT_EQ(constructed.mItems[2].sample.utcStart.tv_nsec, 0);

    const PtrLoggerResultPqEvent created = PqEventResult::create(3);
    ASSERT_EQ(created->mNumItems, 3);
    EXPECT_TRUE(allBytesZero(*created));
}

TEST(LoggerResultTest, ResizeGrowingKeepsFirstItemsAndNewItemsCarryDefaultPreset)
{
    const auto result = PqEventResult::create(2);
    result->mItems[0].utc = DataTimespec{100, 1};
    result->mItems[0].triggerType = TRIGGER_DIP;
    result->mItems[1].utc = DataTimespec{200, 2};
    result->mItems[1].eventValue = 115.5f;

    result->resize(4);

    ASSERT_EQ(result->mNumItems, 4);
    EXPECT_EQ(result->mItems[0].utc.tv_sec, 100);
    EXPECT_EQ(result->mItems[0].utc.tv_nsec, 1);
    EXPECT_EQ(result->mItems[0].triggerType, TRIGGER_DIP);
    EXPECT_EQ(result->mItems[0].sample.utcStart.tv_sec, 0);
    EXPECT_EQ(result->mItems[1].utc.tv_sec, 200);
    EXPECT_EQ(result->mItems[1].eventValue, 115.5f);
    for (int i = 2; i < 4; ++i) {
        EXPECT_EQ(result->mItems[i].sample.utcStart.tv_sec, kPqEventNoSampleMark) << "item " << i;
        EXPECT_EQ(result->mItems[i].sample.utcStart.tv_nsec, 1) << "item " << i;
    }
    EXPECT_TRUE(mutexIsFree(*result));
}

TEST(LoggerResultTest, ResizeShrinkingKeepsFirstItems)
{
    const auto result = MeanResult::create(10);
    fillMeans(*result);

    result->resize(4);

    ASSERT_EQ(result->mNumItems, 4);
    ASSERT_NE(result->mItems, nullptr);
    expectMeansKept(*result, 4);
}

TEST(LoggerResultTest, ResizeToZeroGivesValidEmptyResult)
{
    const auto result = MeanResult::create(5);
    fillMeans(*result);

    result->resize(0);

    EXPECT_EQ(result->mNumItems, 0);
    EXPECT_TRUE(mutexIsFree(*result));
    // Back to a result with items.
    result->resize(3);
    EXPECT_EQ(result->mNumItems, 3);
    EXPECT_NE(result->mItems, nullptr);
}

TEST(LoggerResultTest, ResizeToSameSizeReallocates)
{
    const auto result = MeanResult::create(6);
    fillMeans(*result);
    const DataMean* before = result->mItems;

    result->resize(6);

    // The new array is taken while the old one still lives, so it cannot have the old address.
    EXPECT_NE(result->mItems, before);
    ASSERT_EQ(result->mNumItems, 6);
    expectMeansKept(*result, 6);
}

TEST(LoggerResultTest, ResizeOfResultWithoutItemsAllocates)
{
    const auto empty = MeanResult::create(0);
    empty->resize(5);
    EXPECT_EQ(empty->mNumItems, 5);
    EXPECT_NE(empty->mItems, nullptr);

    const auto cleared = MeanResult::create(2);
    cleared->clear();
    cleared->resize(3);
    EXPECT_EQ(cleared->mNumItems, 3);
    EXPECT_NE(cleared->mItems, nullptr);
}

TEST(LoggerResultTest, ResizeAfterCountLoweredByHandStartsAnew)
{
    // A getter that found nothing sets mNumItems to 0 over an allocated array.
    const auto result = MeanResult::create(4);
    result->mNumItems = 0;

    result->resize(2);

    EXPECT_EQ(result->mNumItems, 2);
    EXPECT_NE(result->mItems, nullptr);
}

TEST(LoggerResultTest, ClearReleasesItemsAndInfo)
{
    const PtrLoggerResultEvent result = LoggerResult<DataEvent, std::string>::create(2);
    result->mInfo = {"Netz aus", "Netz ein"};
    result->mItems[1].stringIndex = 1;

    result->clear();

    EXPECT_EQ(result->mItems, nullptr);
    EXPECT_EQ(result->mNumItems, 0);
    EXPECT_TRUE(result->mInfo.empty());
    EXPECT_TRUE(mutexIsFree(*result));
}

TEST(LoggerResultTest, ClearTwiceIsHarmless)
{
    const auto result = MeanResult::create(3);
    result->clear();
    result->clear();
    EXPECT_EQ(result->mItems, nullptr);
    EXPECT_EQ(result->mNumItems, 0);
    EXPECT_TRUE(mutexIsFree(*result));
}

TEST(LoggerResultTest, CreateWithNegativeCountThrowsBadArrayNewLength)
{
    EXPECT_THROW(MeanResult::create(-1), std::bad_array_new_length);
    EXPECT_THROW(MeanResult::create(INT_MIN), std::bad_array_new_length);
}

TEST(LoggerResultTest, ConstructionWithHugeCountThrowsBadArrayNewLength)
{
    EXPECT_THROW(LoggerResult<DataComplexArray> result(UINT_MAX), std::bad_array_new_length);
    EXPECT_THROW(LoggerResult<DataXtq<float>> result(static_cast<unsigned int>(INT_MAX) + 1u),
                 std::bad_array_new_length);
}

TEST(LoggerResultTest, ResizeWithNegativeCountThrowsAndKeepsItems)
{
    const auto result = MeanResult::create(3);
    fillMeans(*result);

    EXPECT_THROW(result->resize(-1), std::bad_array_new_length);

    ASSERT_EQ(result->mNumItems, 3);
    expectMeansKept(*result, 3);
    EXPECT_TRUE(mutexIsFree(*result));
}

TEST(LoggerResultTest, ComplexArrayResultIsZeroed)
{
    const PtrLoggerResultComplexArray result = LoggerResult<DataComplexArray>::create(2);
    ASSERT_EQ(result->mNumItems, 2);
    EXPECT_TRUE(allBytesZero(*result));
    EXPECT_EQ(result->mItems[1].values[356], std::complex<float>(0.0f, 0.0f));
}

TEST(LoggerResultTest, EventResultCarriesTextsAsInfo)
{
    using EventResult = PtrLoggerResultEvent::element_type;
    static_assert(std::is_same<decltype(EventResult::mInfo), std::vector<std::string>>::value,
                  "event results carry the texts of the events");
    static_assert(std::is_same<decltype(PtrLoggerResultMean::element_type::mInfo), std::vector<void*>>::value,
                  "other results carry no side information");

    const PtrLoggerResultEvent result = EventResult::create(1);
    result->mInfo.push_back("Spannungseinbruch");
    result->mItems[0].stringIndex = 0;
    EXPECT_EQ(result->mInfo[static_cast<std::size_t>(result->mItems[0].stringIndex)], "Spannungseinbruch");
}

template <typename Ptr> constexpr std::size_t itemSize()
{
    return sizeof(typename std::remove_pointer<decltype(Ptr::element_type::mItems)>::type);
}

TEST(LoggerResultTest, AliasesHoldRecordsOfTheirItemSize)
{
    EXPECT_EQ(itemSize<PtrLoggerResultVtq>(), 16u);
    EXPECT_EQ(itemSize<PtrLoggerResultItq>(), 16u);
    EXPECT_EQ(itemSize<PtrLoggerResultDtq>(), 24u);
    EXPECT_EQ(itemSize<PtrLoggerResultMean>(), 24u);
    EXPECT_EQ(itemSize<PtrLoggerResultEvent>(), 24u);
    EXPECT_EQ(itemSize<PtrLoggerResultPqEvent>(), 232u);
    EXPECT_EQ(itemSize<PtrLoggerResultRseEvent>(), 256u);
    EXPECT_EQ(itemSize<PtrLoggerResultSignalEvent>(), 48u);
    EXPECT_EQ(itemSize<PtrLoggerResultOperator>(), 44u);
    EXPECT_EQ(itemSize<PtrLoggerResultDisturb>(), 56u);
    EXPECT_EQ(itemSize<PtrLoggerResultSignalVoltages>(), 36u);
    EXPECT_EQ(itemSize<PtrLoggerResultSamples>(), 56u);
    EXPECT_EQ(itemSize<PtrLoggerResultSamples16>(), 32u);
    EXPECT_EQ(itemSize<PtrLoggerResultHarmonics>(), 216u);
    EXPECT_EQ(itemSize<PtrLoggerResultArray41>(), 176u);
    EXPECT_EQ(itemSize<PtrLoggerResultPercentile41>(), 516u);
    EXPECT_EQ(itemSize<PtrLoggerResultPercentile51>(), 636u);
    EXPECT_EQ(itemSize<PtrLoggerResultComplexArray>(), 2876u);
    EXPECT_EQ(itemSize<PtrLoggerResultPrevailingArray>(), 1448u);
    EXPECT_EQ(itemSize<PtrLoggerResultContributionArray>(), 512u);
    EXPECT_EQ(itemSize<PtrLoggerResultStatistic>(), 32u);
    EXPECT_EQ(itemSize<PtrLoggerResultHistogram2650>(), 10640u);
    EXPECT_EQ(itemSize<PtrLoggerResultHistogram200>(), 840u);
    EXPECT_EQ(itemSize<PtrLoggerResultMeanMinMax7>(), 96u);
    EXPECT_EQ(itemSize<PtrLoggerResultMeanMinMax12>(), 156u);
    EXPECT_EQ(itemSize<PtrLoggerResultMeanMinMax14>(), 180u);
    EXPECT_EQ(itemSize<PtrLoggerResultMeanMinMax16>(), 204u);
    EXPECT_EQ(itemSize<PtrLoggerResultMeanMinMax20>(), 252u);
    EXPECT_EQ(itemSize<PtrLoggerResultMeanMinMax23>(), 288u);
    EXPECT_EQ(itemSize<PtrLoggerResultMeanMinMax24>(), 300u);
    EXPECT_EQ(itemSize<PtrLoggerResultQuadMeter>(), 144u);
    EXPECT_EQ(itemSize<PtrLoggerResultSystemMeter>(), 48u);
    EXPECT_EQ(itemSize<PtrLoggerResultAggregatedFloat>(), 24u);
    EXPECT_EQ(itemSize<PtrLoggerResultAggregatedDouble>(), 40u);
}

} // namespace

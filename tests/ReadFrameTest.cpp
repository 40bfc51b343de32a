// The read frame of the read API: from a logger's catalogued type to a filled result. Real
// catalogue on a simulated card (WriterStore), data files laid down byte by byte
// (DataFileBuilder) and catalogued as the writer catalogues them; each test runs in a process
// of its own.

#include "CataloguedFiles.h"
#include "DataFileBuilder.h"
#include "DefnBaseType.h"
#include "FileInfoPersistance.h"
#include "LoggerApiBase.h"
#include "LoggerDb.h"
#include "LoggerFileSystem.h"
#include "LoggerRetriedTransaction.h"
#include "LoggerTestSeams.h"
#include "WriterStore.h"

#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QFile>

#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using Vtq = DataXtq<float>;
using VtqResult = LoggerResult<Vtq, void*>;
constexpr int kBlock = sizeof(Vtq);
static_assert(kBlock == 16, "a DataXtq<float> is 16 bytes");

timespec at(int32_t seconds, int32_t nanoseconds = 0)
{
    timespec t{};
    t.tv_sec = seconds;
    t.tv_nsec = nanoseconds;
    return t;
}

// The frame's own object; the pauses are seen through the test seam.
class ReadFrame : public LoggerApiBase {
public:
    using LoggerApiBase::kFailedLookupPause;
    using LoggerApiBase::kReadPause;
};

class ReadFrameTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        setReadPauseObserverForTesting(
            [this](unsigned long milliseconds) { mPauses.push_back(milliseconds); });
        setLoggerMessageObserverForTesting([this](const std::string& text, LoggerMessageType type) {
            mMessages.emplace_back(text, type);
            if (mOnMessage)
                mOnMessage(text);
        });
    }
    void TearDown() override
    {
        setReadPauseObserverForTesting(nullptr);
        setLoggerMessageObserverForTesting(nullptr);
    }

    std::shared_ptr<DefnBaseType> catalogueType(const QString& configId)
    {
        auto type = CataloguedFiles::measureType(configId, LoggerDataType::VTQ);
        EXPECT_NE(type, nullptr);
        return type;
    }

    std::shared_ptr<LoggerFileInfo> catalogueFile(std::shared_ptr<DefnBaseType>& type,
                                                  DataFileBuilder& builder)
    {
        auto info = CataloguedFiles::addFile(type, builder, 0x200 + mFiles++);
        EXPECT_NE(info, nullptr);
        return info;
    }

    // count items, one a second from first on, in a new file of the type.
    std::shared_ptr<LoggerFileInfo> addFile(std::shared_ptr<DefnBaseType>& type, int count, int32_t first,
                                            int32_t uniqueId = 0)
    {
        DataFileBuilder builder(LoggerDataType::VTQ, kBlock);
        builder.created(first).uniqueId(uniqueId).itemsEvery(count, first, 1);
        return catalogueFile(type, builder);
    }

    std::shared_ptr<VtqResult> read(int typeId, timespec start, timespec end, int maxItems = -1)
    {
        mFirstItemId = 0;
        return mFrame.getValues<Vtq, void*>(LoggerType::CYCLIC, typeId, start, end, maxItems, mFirstItemId,
                                            mHeader);
    }

    static std::vector<int32_t> seconds(const std::shared_ptr<VtqResult>& result)
    {
        std::vector<int32_t> stamps;
        for (int index = 0; result && index < result->mNumItems; ++index)
            stamps.push_back(result->mItems[index].utc.tv_sec);
        return stamps;
    }

    static std::vector<int32_t> span(int32_t first, int32_t last)
    {
        std::vector<int32_t> stamps;
        for (int32_t second = first; second <= last; ++second)
            stamps.push_back(second);
        return stamps;
    }

    bool messageSeen(const std::string& text) const
    {
        for (const auto& message : mMessages) {
            if (message.first == text)
                return true;
        }
        return false;
    }

    WriterStore mStore;
    ReadFrame mFrame;
    std::vector<unsigned long> mPauses;
    std::vector<std::pair<std::string, LoggerMessageType>> mMessages;
    std::function<void(const std::string&)> mOnMessage;
    int mFiles = 0;
    int mFirstItemId = 0;
    LoggerHeader mHeader{};
};

} // namespace

// --- answers

TEST_F(ReadFrameTest, ItemsOfSeveralFilesComeOldestFirstAndThenTheReadPause)
{
    auto type = catalogueType(QStringLiteral("u.vtq"));
    addFile(type, 10, 1000, 0);
    addFile(type, 10, 2000, 10);
    const auto result = read(type->Id, at(1005), at(2003));
    ASSERT_NE(result, nullptr);
    std::vector<int32_t> expected = span(1005, 1009);
    for (int32_t second : span(2000, 2003))
        expected.push_back(second);
    EXPECT_EQ(seconds(result), expected);
    EXPECT_EQ(mFirstItemId, 10) << "the unique id of the first item read from the last file";
    EXPECT_EQ(mPauses, std::vector<unsigned long>{ReadFrame::kReadPause});
    EXPECT_TRUE(messageSeen("readed items: 9"));
}

TEST_F(ReadFrameTest, ARangeWithoutAnyFileGivesAnEmptyResultWithoutThePause)
{
    auto type = catalogueType(QStringLiteral("u.vtq"));
    addFile(type, 10, 1000);
    for (const auto& range : {std::make_pair(at(0), at(999)), std::make_pair(at(1010), at(5000))}) {
        mPauses.clear();
        const auto result = read(type->Id, range.first, range.second);
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(result->mNumItems, 0);
        EXPECT_TRUE(mPauses.empty());
    }
    EXPECT_TRUE(messageSeen("Result File List is empty"));
}

TEST_F(ReadFrameTest, AnInvertedRangeWithinAFileCountsNegativeAndGivesNull)
{
    auto type = catalogueType(QStringLiteral("u.vtq"));
    addFile(type, 10, 1000);
    EXPECT_EQ(read(type->Id, at(1009), at(1000)), nullptr);
    EXPECT_TRUE(messageSeen("mTotalItems < 0"));
    EXPECT_TRUE(mPauses.empty());
}

TEST_F(ReadFrameTest, ALoggerWithoutFilesGivesAnEmptyResult)
{
    auto type = catalogueType(QStringLiteral("u.vtq"));
    const auto result = read(type->Id, at(0), at(5000));
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->mNumItems, 0);
    EXPECT_TRUE(mPauses.empty());
}

TEST_F(ReadFrameTest, AnUnknownTypeGivesNullAfterTheLookupPauseAndALastErrorNamingTheId)
{
    LoggerDb::getInstance().getAndResetLastError();
    EXPECT_EQ(mFrame.getBaseTypeId(LoggerType::CYCLIC, LoggerDataType::VTQ, QStringLiteral("no.such.id")),
              -1);
    EXPECT_TRUE(LoggerDb::getInstance().getLastError().isEmpty());
    EXPECT_EQ(read(4711, at(0), at(5000)), nullptr);
    EXPECT_EQ(mPauses, std::vector<unsigned long>{ReadFrame::kFailedLookupPause});
    EXPECT_EQ(
        LoggerDb::getInstance().getAndResetLastError(),
        QStringLiteral("no logger with the catalogue id 4711 of type CYCLIC in the catalogue: take the id "
                       "from the catalogue or read by identification"));
    mPauses.clear();
    EXPECT_EQ((mFrame.getNumItems<Vtq, void*>(LoggerType::CYCLIC, -1, at(0), at(5000), -1)), -1);
    EXPECT_EQ(mPauses, std::vector<unsigned long>{ReadFrame::kFailedLookupPause});
}

TEST_F(ReadFrameTest, TheLookupPauseIsReallySlept)
{
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(read(4711, at(0), at(5000)), nullptr);
    EXPECT_GE(clock.elapsed(), 200);
}

TEST_F(ReadFrameTest, WithoutAnInitialisedStoreNothingIsRead)
{
    auto type = catalogueType(QStringLiteral("u.vtq"));
    addFile(type, 10, 1000);
    LoggerDb::getInstance().close();
    EXPECT_EQ(mFrame.readBaseType(LoggerType::CYCLIC, type->Id), nullptr);
    EXPECT_EQ(mFrame.readMeasuredType(type->Id), nullptr);
    EXPECT_EQ(read(type->Id, at(0), at(5000)), nullptr);
}

// --- identification

TEST_F(ReadFrameTest, OfSeveralTypesOfOneIdTheFirstWithFilesIsRead)
{
    const QString id = QStringLiteral("u.shared");
    auto empty = catalogueType(id);
    auto older = catalogueType(id);
    auto newer = catalogueType(id);
    addFile(older, 5, 1000);
    addFile(newer, 5, 9000);
    const int chosen = mFrame.getBaseTypeId(LoggerType::CYCLIC, LoggerDataType::VTQ, id);
    EXPECT_EQ(chosen, older->Id) << "the first with files, although another has newer data";
    EXPECT_EQ(seconds(read(chosen, at(0), at(10000))), span(1000, 1004));
    (void)empty;
}

TEST_F(ReadFrameTest, OfSeveralTypesWithoutFilesTheFirstIsUsedAndGivesAnEmptyResult)
{
    const QString id = QStringLiteral("u.shared");
    auto first = catalogueType(id);
    catalogueType(id);
    const int chosen = mFrame.getBaseTypeId(LoggerType::CYCLIC, LoggerDataType::VTQ, id);
    EXPECT_EQ(chosen, first->Id);
    const auto result = read(chosen, at(0), at(10000));
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->mNumItems, 0);
}

TEST_F(ReadFrameTest, ASingleTypeIsFoundByItsIdAndTypesLoadThroughTheirTables)
{
    auto type = catalogueType(QStringLiteral("u.single"));
    EXPECT_EQ(mFrame.getBaseTypeId(LoggerType::CYCLIC, LoggerDataType::VTQ, QStringLiteral("u.single")),
              type->Id);
    EXPECT_EQ(mFrame.getBaseTypeId(LoggerType::CYCLIC, LoggerDataType::MEAN, QStringLiteral("u.single")), -1);
    EXPECT_EQ(mFrame.getDefnBaseTypeId(*type), type->Id);
    ASSERT_NE(mFrame.readMeasuredType(type->Id), nullptr);
    EXPECT_EQ(mFrame.readMeasuredType(-1), nullptr);
    EXPECT_EQ(mFrame.readEventType(type->Id), nullptr) << "not in the event table";
    EXPECT_EQ(mFrame.readEventType(-3), nullptr);
    EXPECT_EQ(mFrame.readPqEventType(-1), nullptr);
    EXPECT_EQ(mFrame.readDisturbType(-1), nullptr);
    EXPECT_EQ(mFrame.readOperatorType(-1), nullptr);
    const std::vector<DataMeasType> types =
        mFrame.getDataMeasTypes(LoggerType::CYCLIC, LoggerDataType::VTQ, QStringLiteral("u.single"));
    ASSERT_EQ(types.size(), 1u);
    EXPECT_EQ(types[0].configId, QStringLiteral("u.single"));
    EXPECT_EQ(
        mFrame.getDataMeasType(QStringLiteral("u.single"), LoggerType::CYCLIC, LoggerDataType::VTQ).configId,
        QStringLiteral("u.single"));
}

// --- bounds

TEST_F(ReadFrameTest, MaxItemsZeroAndMinusOneBothMeanNoBound)
{
    auto type = catalogueType(QStringLiteral("u.vtq"));
    addFile(type, 10, 1000);
    addFile(type, 10, 2000);
    const auto unbounded = seconds(read(type->Id, at(0), at(5000), -1));
    EXPECT_EQ(unbounded.size(), 20u);
    EXPECT_EQ(seconds(read(type->Id, at(0), at(5000), 0)), unbounded);
    EXPECT_EQ(seconds(read(type->Id, at(0), at(5000), -7)), unbounded);
}

TEST_F(ReadFrameTest, ABoundTakesTheOldestItemsAndLeavesLaterFilesUnread)
{
    auto type = catalogueType(QStringLiteral("u.vtq"));
    addFile(type, 10, 1000);
    addFile(type, 10, 2000);
    addFile(type, 10, 3000);
    EXPECT_EQ(seconds(read(type->Id, at(0), at(5000), 13)), [] {
        auto stamps = span(1000, 1009);
        for (int32_t second : span(2000, 2002))
            stamps.push_back(second);
        return stamps;
    }());
    EXPECT_EQ((mFrame.getNumItems<Vtq, void*>(LoggerType::CYCLIC, type->Id, at(0), at(5000), 12)), 20)
        << "each listed file is cut at the bound, the sum is not";
}

// --- headers

TEST_F(ReadFrameTest, AZeroScaleIsDefaultedInTheCallersHeaderFromTheLastFileRead)
{
    auto type = catalogueType(QStringLiteral("u.vtq"));
    DataFileBuilder first(LoggerDataType::VTQ, kBlock);
    first.created(1000).parameters(2.0f, 3.0f).itemsEvery(5, 1000, 1);
    catalogueFile(type, first);
    DataFileBuilder last(LoggerDataType::VTQ, kBlock);
    last.created(2000).parameters(0.0f, 5.0f).itemsEvery(5, 2000, 1);
    catalogueFile(type, last);

    ASSERT_NE(read(type->Id, at(0), at(5000)), nullptr);
    EXPECT_FLOAT_EQ(mHeader.Parameter1, 0.015208827f);
    EXPECT_FLOAT_EQ(mHeader.Parameter2, 5.0f);
    EXPECT_TRUE(messageSeen("header.Parameter1 = 0.0"));
    EXPECT_FALSE(messageSeen("header.Parameter2 = 0.0"));

    mHeader = LoggerHeader{};
    ASSERT_NE(read(type->Id, at(0), at(1500)), nullptr);
    EXPECT_FLOAT_EQ(mHeader.Parameter1, 2.0f) << "only the first file was read this time";
    EXPECT_FLOAT_EQ(mHeader.Parameter2, 3.0f);
}

TEST_F(ReadFrameTest, ReadHeaderTakesTheFirstFileAndFailsWithoutOne)
{
    auto type = catalogueType(QStringLiteral("u.vtq"));
    LoggerHeader header{};
    EXPECT_FALSE(mFrame.readHeader(type, header));
    EXPECT_FALSE(mFrame.readHeader(nullptr, header));
    DataFileBuilder first(LoggerDataType::VTQ, kBlock);
    first.created(1000).uniqueId(42).itemsEvery(2, 1000, 1);
    catalogueFile(type, first);
    addFile(type, 2, 2000, 99);
    ASSERT_TRUE(mFrame.readHeader(type, header));
    EXPECT_EQ(header.uniqueId, 42);
    EXPECT_EQ(header.baseTypeId, type->Id);
}

// --- other layouts

TEST_F(ReadFrameTest, AFileOfAnotherItemSizeGivesItsRawBytesAndAScaledAllocation)
{
    auto type = catalogueType(QStringLiteral("u.vtq"));
    DataFileBuilder wide(LoggerDataType::VTQ, 24);
    wide.created(1000).itemsEvery(4, 1000, 1);
    catalogueFile(type, wide);

    const auto result = read(type->Id, at(0), at(5000));
    ASSERT_NE(result, nullptr);
    EXPECT_TRUE(messageSeen("Convert Data Item"));
    // Four items of 24 bytes need 96 bytes: seven records of 16 are allocated, four counted
    // until the trim.
    EXPECT_TRUE(messageSeen("scaled Items=7"));
    EXPECT_TRUE(messageSeen("Resize result4 to 4"));
    ASSERT_EQ(result->mNumItems, 4);
    QByteArray expected;
    for (int index = 0; index < 4; ++index)
        expected += wide.itemBytes(index);
    EXPECT_EQ(QByteArray(reinterpret_cast<const char*>(result->mItems), 4 * kBlock),
              expected.left(4 * kBlock));
}

TEST_F(ReadFrameTest, AFileWithoutAnItemSizeIsPassedOver)
{
    auto type = catalogueType(QStringLiteral("u.vtq"));
    addFile(type, 3, 1000);
    auto broken = addFile(type, 3, 2000);
    broken->DataBlockSize = 0;
    ASSERT_TRUE(retriedTransaction("ReadFrameTest", [&] { return FileInfoPersistance().update(broken); }));
    EXPECT_EQ(seconds(read(type->Id, at(0), at(5000))), span(1000, 1002));
}

// --- files that change under the reader

TEST_F(ReadFrameTest, AFileStillBeingWrittenIsReadToItsTrueEnd)
{
    auto type = catalogueType(QStringLiteral("u.vtq"));
    DataFileBuilder growing(LoggerDataType::VTQ, kBlock);
    growing.created(1000).itemsEvery(5, 1000, 1);
    const auto info = catalogueFile(type, growing);
    // The writer appended five more items; the catalogue still says 1004.
    growing.itemsEvery(5, 1005, 1);
    ASSERT_TRUE(growing.writeTo(LoggerFileSystem::getFullFileName(info.get())));
    EXPECT_EQ(seconds(read(type->Id, at(1003), at(1100))), span(1003, 1009));
}

TEST_F(ReadFrameTest, AFileRemovedBetweenSizingAndReadingEndsTheReadWithWhatWasRead)
{
    auto type = catalogueType(QStringLiteral("u.vtq"));
    addFile(type, 5, 1000);
    const auto evicted = addFile(type, 5, 2000);
    addFile(type, 5, 3000);
    // The sizing pass ends with its count; the quota takes the middle file right then.
    mOnMessage = [&](const std::string& text) {
        if (text.rfind("total items:", 0) == 0)
            QFile::remove(LoggerFileSystem::getFullFileName(evicted.get()));
    };
    const auto result = read(type->Id, at(0), at(5000));
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(seconds(result), span(1000, 1004));
    EXPECT_TRUE(messageSeen("Resize result15 to 5"));
}

TEST_F(ReadFrameTest, AFileThatGrewPastTheAllocationBetweenThePassesGivesNull)
{
    auto type = catalogueType(QStringLiteral("u.vtq"));
    DataFileBuilder growing(LoggerDataType::VTQ, kBlock);
    growing.created(1000).itemsEvery(5, 1000, 1);
    const auto info = catalogueFile(type, growing);
    mOnMessage = [&](const std::string& text) {
        if (text.rfind("total items:", 0) == 0) {
            growing.itemsEvery(5, 1005, 1);
            growing.writeTo(LoggerFileSystem::getFullFileName(info.get()));
        }
    };
    EXPECT_EQ(read(type->Id, at(0), at(5000)), nullptr);
}

// --- order check, conversion, traces

TEST_F(ReadFrameTest, TheOrderCheckComparesEveryItemWithTheFirstOnly)
{
    const auto check = [&](const std::vector<int32_t>& stamps) {
        auto result = LoggerResult<DataOperator, void*>::create(static_cast<int>(stamps.size()));
        for (size_t index = 0; index < stamps.size(); ++index)
            result->mItems[index].utc = DataTimespec{stamps[index], 0};
        return mFrame.checkItemsOrder<DataOperator, void*>(result);
    };
    EXPECT_TRUE(check({1, 3, 2}));
    EXPECT_FALSE(check({2, 3, 1}));
    EXPECT_FALSE(check({2, 2}));
    EXPECT_TRUE(check({5}));
    EXPECT_TRUE(check({}));
    EXPECT_FALSE((mFrame.checkItemsOrder<DataOperator, void*>(nullptr)));
}

TEST_F(ReadFrameTest, SamplesWidenWithTheDefaultScalesAndNarrowWithSaturation)
{
    using Narrow = DataSamplesBase<short, short>;
    using Wide = DataSamplesBase<float, int>;
    constexpr int kCount = 5;
    std::vector<char> buffer(sizeof(Wide) * kCount);
    for (int index = 0; index < kCount; ++index) {
        Narrow item{};
        item.utc = DataTimespec{1000 + index, index};
        item.quality = static_cast<short>(-1 - index);
        for (int channel = 0; channel < 11; ++channel)
            item.values[channel] = static_cast<short>(100 * index + channel);
        std::memcpy(buffer.data() + sizeof(Narrow) * index, &item, sizeof(item));
    }
    mFrame.convertData<Wide>(buffer.data(), kCount);
    for (int index = 0; index < kCount; ++index) {
        Wide item{};
        std::memcpy(&item, buffer.data() + sizeof(Wide) * index, sizeof(item));
        EXPECT_EQ(item.utc.tv_sec, 1000 + index);
        EXPECT_EQ(item.utc.tv_nsec, index);
        EXPECT_EQ(item.quality, -1 - index) << "sign-extended";
        EXPECT_FLOAT_EQ(item.values[3], static_cast<float>(100 * index + 3) * 0.015208827f);
        EXPECT_FLOAT_EQ(item.values[9], static_cast<float>(100 * index + 9) * 0.00023393646f);
    }

    mFrame.convertData<Narrow>(buffer.data(), kCount);
    for (int index = 0; index < kCount; ++index) {
        Narrow item{};
        std::memcpy(&item, buffer.data() + sizeof(Narrow) * index, sizeof(item));
        EXPECT_EQ(item.utc.tv_sec, 1000 + index);
        EXPECT_EQ(item.quality, -1 - index);
        // Back through the reciprocal factors, truncated: within one unit of the original.
        EXPECT_NEAR(item.values[3], 100 * index + 3, 1);
        EXPECT_NEAR(item.values[9], 100 * index + 9, 1);
    }

    Wide loud{};
    loud.values[0] = 1000.0f;  // 65751 units: above the range
    loud.values[1] = -1000.0f; // below it
    loud.values[2] = 1.0f;
    loud.values[7] = 8.0f;  // 34197 units
    loud.values[8] = -0.5f; // -2137.3 units, truncated toward zero
    std::vector<char> one(sizeof(Wide));
    std::memcpy(one.data(), &loud, sizeof(loud));
    mFrame.convertData<Narrow>(one.data(), 1);
    Narrow narrow{};
    std::memcpy(&narrow, one.data(), sizeof(narrow));
    EXPECT_EQ(narrow.values[0], 32767);
    EXPECT_EQ(narrow.values[1], -32767) << "never -32768";
    EXPECT_EQ(narrow.values[2], 65);
    EXPECT_EQ(narrow.values[7], 32767);
    EXPECT_EQ(narrow.values[8], -2137);
}

TEST_F(ReadFrameTest, TracesAreRoutineTexts)
{
    mFrame.TraceString(QStringLiteral("getStatistic()..."));
    mFrame.TraceValue(QStringLiteral("nominal"), 230.123456789);
    ASSERT_GE(mMessages.size(), 2u);
    EXPECT_EQ(mMessages[mMessages.size() - 2],
              std::make_pair(std::string("getStatistic()..."), LOGGER_MESSAGE_ROUTINE));
    EXPECT_EQ(mMessages.back(), std::make_pair(std::string("nominal 230.123"), LOGGER_MESSAGE_ROUTINE));
}

TEST_F(ReadFrameTest, TheFileListOfACountIsWrittenToTheLog)
{
    auto type = catalogueType(QStringLiteral("u.vtq"));
    addFile(type, 5, 1000);
    addFile(type, 5, 2000);
    mMessages.clear();
    mFrame.logFileList<Vtq, void*>(QStringLiteral("u.vtq"), LoggerType::CYCLIC, LoggerDataType::VTQ, at(2002),
                                   6);
    EXPECT_TRUE(messageSeen("Event (1)Total Buffer Size = 96, utc = 2002, 0"));
    int fileLines = 0;
    for (const auto& message : mMessages) {
        if (message.first.rfind("File[", 0) == 0 && message.second == LOGGER_MESSAGE_ROUTINE)
            ++fileLines;
    }
    EXPECT_EQ(fileLines, 2) << "both files hold some of the six items";
    // An unknown identification logs nothing and does not fail.
    mMessages.clear();
    mFrame.logFileList<Vtq, void*>(QStringLiteral("no.such"), LoggerType::CYCLIC, LoggerDataType::VTQ, at(0),
                                   6);
    EXPECT_FALSE(messageSeen("Event (1)Total Buffer Size = 0, utc = 0, 0"));
}

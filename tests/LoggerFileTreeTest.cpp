// The tree of data files below the root: folder paths, file names, folder creation and
// removal, file infos and their guids, the newest date on the card, and the item sizes and
// tags of the data types that file names and block sizes come from.

#include "FileFaults.h"
#include "LoggerDataItems.h"
#include "LoggerFileInfo.h"
#include "LoggerFileSystem.h"
#include "ScopedTimeZone.h"
#include "TemporaryStoreRoot.h"

#include <QDate>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QTime>
#include <QTimeZone>
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace {

constexpr int32_t kJuly3rd2026 = 1783036800; // 2026-07-03 00:00:00 UTC
constexpr int32_t kHour = 3600;
constexpr int32_t kDay = 86400;

LoggerDataType dataTypeOf(int value)
{
    return static_cast<LoggerDataType>(value);
}

PtrLoggerFileInfo makeFileInfo(LoggerDataType dataType, uint32_t guidLow, uint32_t guidHigh,
                               int32_t createdSec, int32_t createdNsec = 0,
                               LoggerType type = LoggerType::CYCLIC)
{
    auto info = std::make_shared<LoggerFileInfo>(dataType);
    info->UtcCreated = DataTimespec{createdSec, createdNsec};
    info->GuidLow = guidLow;
    info->GuidHigh = guidHigh;
    info->HeaderSize = 44;
    info->DataBlockSize = LoggerFileSystem::getDataItemSize(dataType);
    info->mType = type;
    return info;
}

QString fileNameOf(const LoggerFileInfo* info)
{
    return QFileInfo(LoggerFileSystem::getFullFileName(info)).fileName();
}

// A root in a temporary directory with a fixed time zone, so that folder dates are known.
class LoggerFileTreeTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mStore.isValid());
        mRoot = mStore.filePath("data");
        LoggerFileSystem::setPath(mRoot);
    }

    void makeFolders(const QString& relative) const
    {
        ASSERT_TRUE(QDir().mkpath(mRoot + "/" + relative)) << relative.toStdString();
    }

    void makeFile(const QString& relative) const
    {
        ASSERT_TRUE(FileFaults::writeAll(mRoot + "/" + relative, QByteArray("x")))
            << relative.toStdString();
    }

    // A root below a plain file: nothing can be created under it, not even by root.
    QString unmakeableRoot() const
    {
        const QString blocker = mStore.filePath("plain-file");
        EXPECT_TRUE(FileFaults::writeAll(blocker, QByteArray("not a folder")));
        return blocker + "/data";
    }

    ScopedTimeZone mZone{"UTC"};
    TemporaryStoreRoot mStore;
    QString mRoot;
};

// ---------------------------------------------------------------------------------------------
// Item sizes and tags of the data types

struct DataTypeRow {
    int value;
    const char* tag;
    int bytes;
};

const std::vector<DataTypeRow>& dataTypeTable()
{
    static const std::vector<DataTypeRow> table = {
        {0, "Nn", 0},      {1, "Vt", 16},      {2, "Dt", 24},     {3, "Mn", 24},
        {4, "Ev", 24},     {5, "Pq", 232},     {6, "Op", 44},     {7, "Ds", 0},
        {8, "Rm", 16},     {9, "Sm", 56},      {10, "Si", 36},    {11, "Se", 48},
        {12, "Hi", 10640}, {13, "Ha", 216},    {14, "St", 32},    {15, "Sm", 32},
        {16, "Cx", 2876},  {17, "Pr", 1448},   {18, "Cb", 512},   {19, "It", 16},
        {20, "Di", 16},    {21, "Pe", 636},    {22, "m7", 96},    {23, "m12", 156},
        {24, "m14", 180},  {25, "m16", 204},   {26, "m20", 252},  {27, "m23", 288},
        {28, "qm", 144},   {29, "m24", 300},   {30, "sym", 48},
    };
    return table;
}

TEST(LoggerDataTypeTable, ItemSizeOfEveryDataType)
{
    ASSERT_EQ(dataTypeTable().size(), 31u);
    for (const DataTypeRow& row : dataTypeTable()) {
        SCOPED_TRACE(row.value);
        EXPECT_EQ(LoggerFileSystem::getDataItemSize(dataTypeOf(row.value)), row.bytes);
        EXPECT_EQ(LoggerFileSystem::getDataItemSize(dataTypeOf(row.value), 0), row.bytes);
    }
}

TEST(LoggerDataTypeTable, ItemSizesMatchTheRecordsWrittenToDisk)
{
    EXPECT_EQ(LoggerFileSystem::getDataItemSize(LoggerDataType::VTQ), int(sizeof(DataXtq<float>)));
    EXPECT_EQ(LoggerFileSystem::getDataItemSize(LoggerDataType::DTQ), int(sizeof(DataXtq<double>)));
    EXPECT_EQ(LoggerFileSystem::getDataItemSize(LoggerDataType::MEAN), int(sizeof(DataMean)));
    EXPECT_EQ(LoggerFileSystem::getDataItemSize(LoggerDataType::EVENT), int(sizeof(DataEvent)));
    EXPECT_EQ(LoggerFileSystem::getDataItemSize(LoggerDataType::PQEVENT), int(sizeof(DataPqEvent)));
    EXPECT_EQ(LoggerFileSystem::getDataItemSize(LoggerDataType::OPERATOR), int(sizeof(DataOperator)));
    EXPECT_EQ(LoggerFileSystem::getDataItemSize(LoggerDataType::SAMPLES), int(sizeof(DataSamplesFloat)));
    EXPECT_EQ(LoggerFileSystem::getDataItemSize(LoggerDataType::SAMPLES16), int(sizeof(DataSamplesShort)));
    EXPECT_EQ(LoggerFileSystem::getDataItemSize(LoggerDataType::STATISTIC),
              int(sizeof(DataStatisticBase<long>)));
    EXPECT_EQ(LoggerFileSystem::getDataItemSize(LoggerDataType::HARMONICS), int(sizeof(DataHarmonics)));
    EXPECT_EQ(LoggerFileSystem::getDataItemSize(LoggerDataType::COMPLEX), int(sizeof(DataComplexArray)));
    EXPECT_EQ(LoggerFileSystem::getDataItemSize(LoggerDataType::QMETER), int(sizeof(DataQuadMeter)));
    EXPECT_EQ(LoggerFileSystem::getDataItemSize(LoggerDataType::SMETER), int(sizeof(DataSystemMeter)));
}

TEST(LoggerDataTypeTable, NoneDisturbAndUnknownTypesHaveNoItemSize)
{
    EXPECT_EQ(LoggerFileSystem::getDataItemSize(LoggerDataType::NONE), 0);
    // A disturbance logger takes its block size from its typed class, not from this table.
    EXPECT_EQ(LoggerFileSystem::getDataItemSize(LoggerDataType::DISTURB), 0);
    for (int value : {-1, 31, 32, 100, 12345, INT_MIN, INT_MAX}) {
        SCOPED_TRACE(value);
        EXPECT_EQ(LoggerFileSystem::getDataItemSize(dataTypeOf(value)), 0);
        EXPECT_EQ(LoggerFileSystem::getDataItemSize(dataTypeOf(value), 1), 0);
    }
}

TEST(LoggerDataTypeTable, HistogramFlagSelectsTheMainsSignallingForm)
{
    EXPECT_EQ(LoggerFileSystem::getDataItemSize(LoggerDataType::HISTOGRAM, 0), 10640);
    EXPECT_EQ(LoggerFileSystem::getDataItemSize(LoggerDataType::HISTOGRAM, 1), 840);
    EXPECT_EQ(LoggerFileSystem::getDataItemSize(LoggerDataType::HISTOGRAM, 2), 840);
    EXPECT_EQ(LoggerFileSystem::getDataItemSize(LoggerDataType::HISTOGRAM, -1), 840);
    EXPECT_EQ(LoggerFileSystem::getDataItemSize(LoggerDataType::HISTOGRAM), 10640);
    EXPECT_EQ(int(sizeof(DataHistogram<2650>)), 10640);
    EXPECT_EQ(int(sizeof(DataHistogram<200>)), 840);
}

TEST(LoggerDataTypeTable, FlagMattersOnlyForHistograms)
{
    for (const DataTypeRow& row : dataTypeTable()) {
        if (row.value == static_cast<int>(LoggerDataType::HISTOGRAM))
            continue;
        SCOPED_TRACE(row.value);
        EXPECT_EQ(LoggerFileSystem::getDataItemSize(dataTypeOf(row.value), 1), row.bytes);
    }
}

TEST(LoggerDataTypeTable, TagOfEveryDataType)
{
    for (const DataTypeRow& row : dataTypeTable()) {
        SCOPED_TRACE(row.value);
        EXPECT_EQ(LoggerFileSystem::loggerDataTypeString(dataTypeOf(row.value)),
                  QString::fromLatin1(row.tag));
    }
}

TEST(LoggerDataTypeTable, UnknownDataTypeHasTagNd)
{
    for (int value : {-1, 31, 99, INT_MIN, INT_MAX}) {
        SCOPED_TRACE(value);
        EXPECT_EQ(LoggerFileSystem::loggerDataTypeString(dataTypeOf(value)), QString("Nd"));
    }
}

TEST(LoggerDataTypeTable, SamplesAndSamples16ShareTheirTag)
{
    EXPECT_EQ(LoggerFileSystem::loggerDataTypeString(LoggerDataType::SAMPLES), QString("Sm"));
    EXPECT_EQ(LoggerFileSystem::loggerDataTypeString(LoggerDataType::SAMPLES16), QString("Sm"));
}

// ---------------------------------------------------------------------------------------------
// Root and folder paths

TEST_F(LoggerFileTreeTest, PathIsTheRootThatWasSet)
{
    EXPECT_EQ(LoggerFileSystem::getPath(), mRoot);
    LoggerFileSystem::setPath("/media/card/data");
    EXPECT_EQ(LoggerFileSystem::getPath(), QString("/media/card/data"));
}

TEST_F(LoggerFileTreeTest, DayFolderPathHasNoLeadingZeros)
{
    EXPECT_EQ(LoggerFileSystem::getFullDayFolderPath(2026, 7, 3), mRoot + "/2026/7/3");
    EXPECT_EQ(LoggerFileSystem::getFullDayFolderPath(2026, 12, 31), mRoot + "/2026/12/31");
    EXPECT_EQ(LoggerFileSystem::getFullDayFolderPath(2026, 1, 10), mRoot + "/2026/1/10");
    EXPECT_EQ(LoggerFileSystem::getFullDayFolderPath(1999, 10, 1), mRoot + "/1999/10/1");
}

TEST_F(LoggerFileTreeTest, NegativeMonthGivesTheYearFolderAndIgnoresTheDay)
{
    EXPECT_EQ(LoggerFileSystem::getFullDayFolderPath(2026, -1, 5), mRoot + "/2026");
    EXPECT_EQ(LoggerFileSystem::getFullDayFolderPath(2026, -1, -1), mRoot + "/2026");
    EXPECT_EQ(LoggerFileSystem::getFullDayFolderPath(2026, -7, 0), mRoot + "/2026");
}

TEST_F(LoggerFileTreeTest, NegativeDayGivesTheMonthFolder)
{
    EXPECT_EQ(LoggerFileSystem::getFullDayFolderPath(2026, 3, -1), mRoot + "/2026/3");
    EXPECT_EQ(LoggerFileSystem::getFullDayFolderPath(2026, 0, -1), mRoot + "/2026/0");
}

TEST_F(LoggerFileTreeTest, ZeroMonthAndDayStillNameADayFolder)
{
    EXPECT_EQ(LoggerFileSystem::getFullDayFolderPath(2026, 0, 0), mRoot + "/2026/0/0");
}

TEST_F(LoggerFileTreeTest, WeekFolderPathIsKwAndTheWeekNumber)
{
    EXPECT_EQ(LoggerFileSystem::getFullWeekFolderPath(2026, 5), mRoot + "/2026/KW5");
    EXPECT_EQ(LoggerFileSystem::getFullWeekFolderPath(2026, 27), mRoot + "/2026/KW27");
    EXPECT_EQ(LoggerFileSystem::getFullWeekFolderPath(2027, 53), mRoot + "/2027/KW53");
}

// ---------------------------------------------------------------------------------------------
// File names

TEST_F(LoggerFileTreeTest, FullFileNameIsDayFolderTagAndBothGuidHalves)
{
    auto info = makeFileInfo(LoggerDataType::MEAN, 0x1A2B, 0xC, kJuly3rd2026 + 12 * kHour);
    EXPECT_EQ(LoggerFileSystem::getFullFileName(info.get()), mRoot + "/2026/7/3/Mn1A2BC.bin");
}

TEST_F(LoggerFileTreeTest, GuidHalvesAreUpperCaseHex)
{
    auto info = makeFileInfo(LoggerDataType::VTQ, 0xDEADBEEF, 0xABCDEF, kJuly3rd2026);
    EXPECT_EQ(fileNameOf(info.get()), QString("VtDEADBEEFABCDEF.bin"));
}

TEST_F(LoggerFileTreeTest, GuidWordWithLeadingZeroDigitsIsWrittenWithoutThem)
{
    auto info = makeFileInfo(LoggerDataType::EVENT, 0x00000ABC, 0x0000F00D, kJuly3rd2026,
                             0, LoggerType::EVENT);
    EXPECT_EQ(fileNameOf(info.get()), QString("EvABCF00D.bin"));

    auto small = makeFileInfo(LoggerDataType::EVENT, 0x1, 0x2, kJuly3rd2026);
    EXPECT_EQ(fileNameOf(small.get()), QString("Ev12.bin"));
}

TEST_F(LoggerFileTreeTest, ZeroGuidWordIsWrittenAsOneZeroDigit)
{
    auto info = makeFileInfo(LoggerDataType::VTQ, 0, 0, kJuly3rd2026);
    EXPECT_EQ(fileNameOf(info.get()), QString("Vt00.bin"));
}

TEST_F(LoggerFileTreeTest, GuidWordWithTopBitSetIsEightHexDigitsNeverNegative)
{
    auto info = makeFileInfo(LoggerDataType::STATISTIC, 0x80000000u, 0xFFFFFFFFu, kJuly3rd2026);
    EXPECT_EQ(fileNameOf(info.get()), QString("St80000000FFFFFFFF.bin"));

    auto both = makeFileInfo(LoggerDataType::RMS, 0xF0000001u, 0x8000000Au, kJuly3rd2026);
    EXPECT_EQ(fileNameOf(both.get()), QString("RmF00000018000000A.bin"));
    EXPECT_FALSE(fileNameOf(both.get()).contains('-'));
}

TEST_F(LoggerFileTreeTest, FileNameStartsWithTheTagOfItsDataType)
{
    for (const DataTypeRow& row : dataTypeTable()) {
        SCOPED_TRACE(row.value);
        auto info = makeFileInfo(dataTypeOf(row.value), 0xA, 0xB, kJuly3rd2026);
        EXPECT_EQ(fileNameOf(info.get()), QString::fromLatin1(row.tag) + "AB.bin");
    }
    auto unknown = makeFileInfo(dataTypeOf(77), 0xA, 0xB, kJuly3rd2026);
    EXPECT_EQ(fileNameOf(unknown.get()), QString("NdAB.bin"));
}

TEST_F(LoggerFileTreeTest, SamplesAndSamples16FilesAreToldApartOnlyByTheirGuid)
{
    auto samples = makeFileInfo(LoggerDataType::SAMPLES, 0x51, 0x7, kJuly3rd2026,
                                0, LoggerType::DISTURB);
    auto samples16 = makeFileInfo(LoggerDataType::SAMPLES16, 0x51, 0x7, kJuly3rd2026,
                                  0, LoggerType::DISTURB);
    EXPECT_EQ(LoggerFileSystem::getFullFileName(samples.get()),
              LoggerFileSystem::getFullFileName(samples16.get()));
    EXPECT_EQ(fileNameOf(samples.get()), QString("Sm517.bin"));

    samples16->GuidHigh = 0x8;
    EXPECT_NE(LoggerFileSystem::getFullFileName(samples.get()),
              LoggerFileSystem::getFullFileName(samples16.get()));
}

TEST_F(LoggerFileTreeTest, FileStaysInTheFolderOfItsCreationDay)
{
    auto info = makeFileInfo(LoggerDataType::MEAN, 0x1, 0x2, kJuly3rd2026 + 23 * kHour);
    const QString name = LoggerFileSystem::getFullFileName(info.get());
    EXPECT_EQ(name, mRoot + "/2026/7/3/Mn12.bin");

    // Items of later days do not move the file.
    info->UtcStart = DataTimespec{kJuly3rd2026 + 2 * kDay, 0};
    info->UtcEnd = DataTimespec{kJuly3rd2026 + 40 * kDay, 0};
    EXPECT_EQ(LoggerFileSystem::getFullFileName(info.get()), name);
}

TEST_F(LoggerFileTreeTest, DayFolderChangesExactlyAtMidnight)
{
    auto lastSecond = makeFileInfo(LoggerDataType::VTQ, 0x1, 0x2, kJuly3rd2026 - 1);
    auto firstSecond = makeFileInfo(LoggerDataType::VTQ, 0x1, 0x2, kJuly3rd2026);
    EXPECT_EQ(LoggerFileSystem::getFullFileName(lastSecond.get()), mRoot + "/2026/7/2/Vt12.bin");
    EXPECT_EQ(LoggerFileSystem::getFullFileName(firstSecond.get()), mRoot + "/2026/7/3/Vt12.bin");

    // Nanoseconds count as milliseconds and stay within the second.
    auto lateNanoseconds = makeFileInfo(LoggerDataType::VTQ, 0x1, 0x2, kJuly3rd2026 - 1, 999999999);
    EXPECT_EQ(LoggerFileSystem::getFullFileName(lateNanoseconds.get()),
              mRoot + "/2026/7/2/Vt12.bin");
}

TEST_F(LoggerFileTreeTest, FolderDatesAcrossMonthsYearsAndLeapDays)
{
    auto newYear = makeFileInfo(LoggerDataType::VTQ, 0x1, 0x2, 1767225600); // 2026-01-01
    EXPECT_EQ(LoggerFileSystem::getFullFileName(newYear.get()), mRoot + "/2026/1/1/Vt12.bin");
    auto leapDay = makeFileInfo(LoggerDataType::VTQ, 0x1, 0x2, 951782400 + 5); // 2000-02-29
    EXPECT_EQ(LoggerFileSystem::getFullFileName(leapDay.get()), mRoot + "/2000/2/29/Vt12.bin");
    auto epoch = makeFileInfo(LoggerDataType::VTQ, 0x1, 0x2, 0);
    EXPECT_EQ(LoggerFileSystem::getFullFileName(epoch.get()), mRoot + "/1970/1/1/Vt12.bin");
}

TEST_F(LoggerFileTreeTest, DateTimeOfAFileCountsSecondsAndMillisecondsFromLocalMidnight1970)
{
    auto info = makeFileInfo(LoggerDataType::VTQ, 0x1, 0x2,
                             kJuly3rd2026 + 12 * kHour + 34 * 60 + 56, 789654321);
    const QDateTime dateTime = LoggerFileSystem::getDateTime(info.get());
    EXPECT_EQ(dateTime.date(), QDate(2026, 7, 3));
    EXPECT_EQ(dateTime.time(), QTime(12, 34, 56, 789));
}

TEST_F(LoggerFileTreeTest, FullFileNameOfNullIsATextAndNoError)
{
    LoggerFileSystem::setLastError("earlier error");
    EXPECT_EQ(LoggerFileSystem::getFullFileName(nullptr), QString("getFullFileName : nullptr"));
    EXPECT_EQ(LoggerFileSystem::getLastError(), QString("earlier error"));
}

// ---------------------------------------------------------------------------------------------
// toString

TEST_F(LoggerFileTreeTest, ToStringIsTheLoggerTypePrefixAndTheFullName)
{
    auto info = makeFileInfo(LoggerDataType::MEAN, 0x1A2B, 0xC, kJuly3rd2026, 0,
                             LoggerType::CYCLIC);
    EXPECT_EQ(LoggerFileSystem::toString(info.get()), "cycl " + mRoot + "/2026/7/3/Mn1A2BC.bin");

    const std::vector<std::pair<int, QString>> prefixes = {
        {0, "---- "}, {1, "cycl "}, {2, "evnt "}, {3, "pqev "}, {4, "dist "},
        {5, "oper "}, {6, "---- "}, {-1, "---- "}, {99, "---- "},
    };
    for (const auto& prefix : prefixes) {
        SCOPED_TRACE(prefix.first);
        info->mType = static_cast<LoggerType>(prefix.first);
        EXPECT_EQ(LoggerFileSystem::toString(info.get()),
                  prefix.second + LoggerFileSystem::getFullFileName(info.get()));
    }
}

TEST_F(LoggerFileTreeTest, ToStringOfNullIsEmpty)
{
    EXPECT_EQ(LoggerFileSystem::toString(nullptr), QString());
    EXPECT_TRUE(LoggerFileSystem::toString(nullptr).isEmpty());
}

// ---------------------------------------------------------------------------------------------
// Last error

TEST_F(LoggerFileTreeTest, LastErrorKeepsTheLatestTextUntilOverwritten)
{
    LoggerFileSystem::setLastError("first");
    EXPECT_EQ(LoggerFileSystem::getLastError(), QString("first"));
    LoggerFileSystem::setLastError("second");
    EXPECT_EQ(LoggerFileSystem::getLastError(), QString("second"));
    // Successful operations do not clear it.
    EXPECT_TRUE(LoggerFileSystem::createFolder(2026, 7, 3));
    EXPECT_EQ(LoggerFileSystem::getLastError(), QString("second"));
}

// ---------------------------------------------------------------------------------------------
// Creating folders

TEST_F(LoggerFileTreeTest, CreateFolderMakesTheDayFolderWithAllParents)
{
    ASSERT_FALSE(QDir(mRoot).exists());
    EXPECT_TRUE(LoggerFileSystem::createFolder(2026, 7, 3));
    EXPECT_TRUE(QDir(mRoot + "/2026/7/3").exists());
}

TEST_F(LoggerFileTreeTest, CreateFolderOnAnExistingFolderSucceeds)
{
    makeFolders("2026/7/3");
    makeFile("2026/7/3/Vt12.bin");
    EXPECT_TRUE(LoggerFileSystem::createFolder(2026, 7, 3));
    EXPECT_TRUE(QFile::exists(mRoot + "/2026/7/3/Vt12.bin"));
    EXPECT_TRUE(LoggerFileSystem::createFolder(2026, 7, 3));
}

TEST_F(LoggerFileTreeTest, CreateFolderFailureReportsCannotCreateDirectory)
{
    LoggerFileSystem::setPath(unmakeableRoot());
    LoggerFileSystem::setLastError("");
    EXPECT_FALSE(LoggerFileSystem::createFolder(2026, 7, 3));
    EXPECT_EQ(LoggerFileSystem::getLastError(), QString("Cannot create directory"));
}

TEST_F(LoggerFileTreeTest, CreateFolderFailsWhereTheRootIsAPlainFile)
{
    const QString blocker = mStore.filePath("plain-file");
    ASSERT_TRUE(FileFaults::writeAll(blocker, QByteArray("x")));
    LoggerFileSystem::setPath(blocker);
    EXPECT_FALSE(LoggerFileSystem::createFolder(2026, 7, 3));
    EXPECT_EQ(LoggerFileSystem::getLastError(), QString("Cannot create directory"));
}

TEST_F(LoggerFileTreeTest, CreateWeekFolderMakesTheKwFolder)
{
    EXPECT_TRUE(LoggerFileSystem::createWeekFolder(2026, 27));
    EXPECT_TRUE(QDir(mRoot + "/2026/KW27").exists());
    EXPECT_TRUE(LoggerFileSystem::createWeekFolder(2026, 27));
}

TEST_F(LoggerFileTreeTest, CreateWeekFolderOnAReadOnlyMediumReturnsTrueAndRecordsNoError)
{
    LoggerFileSystem::setPath(unmakeableRoot());
    LoggerFileSystem::setLastError("untouched");
    EXPECT_TRUE(LoggerFileSystem::createWeekFolder(2026, 5));
    EXPECT_EQ(LoggerFileSystem::getLastError(), QString("untouched"));
    EXPECT_FALSE(QDir(LoggerFileSystem::getFullWeekFolderPath(2026, 5)).exists());

    // The kernel's own file system takes no new folders, whoever asks.
    LoggerFileSystem::setPath("/proc/qzlogger-no-such-root");
    EXPECT_TRUE(LoggerFileSystem::createWeekFolder(2026, 5));
    EXPECT_EQ(LoggerFileSystem::getLastError(), QString("untouched"));
}

// ---------------------------------------------------------------------------------------------
// Removing folders and files

TEST_F(LoggerFileTreeTest, RemoveFolderRemovesAnEmptyDayFolder)
{
    makeFolders("2026/7/3");
    EXPECT_TRUE(LoggerFileSystem::removeFolder(2026, 7, 3));
    EXPECT_FALSE(QDir(mRoot + "/2026/7/3").exists());
    EXPECT_TRUE(QDir(mRoot + "/2026/7").exists());
}

TEST_F(LoggerFileTreeTest, RemoveFolderReachesMonthAndYearFoldersThroughNegativeArguments)
{
    makeFolders("2026/7");
    EXPECT_FALSE(LoggerFileSystem::removeFolder(2026, -1, 0)); // still holds the month
    EXPECT_TRUE(QDir(mRoot + "/2026").exists());
    EXPECT_TRUE(LoggerFileSystem::removeFolder(2026, 7, -1));
    EXPECT_FALSE(QDir(mRoot + "/2026/7").exists());
    EXPECT_TRUE(LoggerFileSystem::removeFolder(2026, -1, 5));
    EXPECT_FALSE(QDir(mRoot + "/2026").exists());
    EXPECT_TRUE(QDir(mRoot).exists());
}

TEST_F(LoggerFileTreeTest, RemoveFolderLeavesAFolderThatStillHoldsAFile)
{
    makeFile("2026/7/3/Mn12.bin");
    EXPECT_FALSE(LoggerFileSystem::removeFolder(2026, 7, 3));
    EXPECT_TRUE(QFile::exists(mRoot + "/2026/7/3/Mn12.bin"));
    EXPECT_TRUE(QDir(mRoot + "/2026/7/3").exists());
}

TEST_F(LoggerFileTreeTest, RemoveFolderOnAMissingFolderReturnsFalse)
{
    EXPECT_FALSE(LoggerFileSystem::removeFolder(2026, 7, 3));
    makeFolders("2026/7");
    EXPECT_FALSE(LoggerFileSystem::removeFolder(2026, 7, 3));
    EXPECT_FALSE(LoggerFileSystem::removeFolder(2025, -1, -1));
}

TEST_F(LoggerFileTreeTest, RemoveAllFilesRemovesATreeWithItsFiles)
{
    makeFile("2026/7/3/Mn12.bin");
    makeFile("2026/7/4/Vt34.bin");
    makeFolders("2026/KW27");
    EXPECT_TRUE(LoggerFileSystem::removeAllFiles(mRoot + "/2026"));
    EXPECT_FALSE(QDir(mRoot + "/2026").exists());
    EXPECT_TRUE(QDir(mRoot).exists());
}

TEST_F(LoggerFileTreeTest, RemoveAllFilesOnAMissingPathReturnsTrue)
{
    EXPECT_TRUE(LoggerFileSystem::removeAllFiles(mRoot + "/2031"));
    EXPECT_TRUE(LoggerFileSystem::removeAllFiles(mStore.filePath("nothing/here")));
}

TEST_F(LoggerFileTreeTest, RemoveLoggerFolderRemovesTheWholeRoot)
{
    makeFile("2026/7/3/Mn12.bin");
    makeFile("2025/12/31/Ev1.bin");
    EXPECT_TRUE(LoggerFileSystem::RemoveLoggerFolder());
    EXPECT_FALSE(QDir(mRoot).exists());
    EXPECT_TRUE(QDir(mStore.path()).exists());
}

TEST_F(LoggerFileTreeTest, RemoveLoggerFolderWithoutARootReturnsFalse)
{
    ASSERT_FALSE(QDir(mRoot).exists());
    EXPECT_FALSE(LoggerFileSystem::RemoveLoggerFolder());
}

TEST_F(LoggerFileTreeTest, RemoveFileRemovesTheFileOfTheInfoOnly)
{
    auto info = makeFileInfo(LoggerDataType::MEAN, 0x1, 0x2, kJuly3rd2026);
    auto other = makeFileInfo(LoggerDataType::MEAN, 0x1, 0x3, kJuly3rd2026);
    ASSERT_TRUE(FileFaults::writeAll(LoggerFileSystem::getFullFileName(info.get()), "a"));
    ASSERT_TRUE(FileFaults::writeAll(LoggerFileSystem::getFullFileName(other.get()), "b"));

    EXPECT_TRUE(LoggerFileSystem::removeFile(info.get()));
    EXPECT_FALSE(QFile::exists(LoggerFileSystem::getFullFileName(info.get())));
    EXPECT_TRUE(QFile::exists(LoggerFileSystem::getFullFileName(other.get())));
    EXPECT_TRUE(QDir(mRoot + "/2026/7/3").exists());
}

TEST_F(LoggerFileTreeTest, RemoveFileOfAMissingFileReturnsFalse)
{
    auto info = makeFileInfo(LoggerDataType::MEAN, 0x1, 0x2, kJuly3rd2026);
    EXPECT_FALSE(LoggerFileSystem::removeFile(info.get()));
}

TEST_F(LoggerFileTreeTest, FilesUnderARootWithNonAsciiCharactersAreCreatedFoundAndRemoved)
{
    LoggerFileSystem::setPath(mStore.filePath("Messdaten ä/Größe µ"));
    auto info = makeFileInfo(LoggerDataType::MEAN, 0x1, 0x2, kJuly3rd2026);
    QFile file;
    ASSERT_TRUE(LoggerFileSystem::createFile(info.get(), file, 1, 0, 0, 1.0f, 1.0f));
    EXPECT_TRUE(LoggerFileSystem::fileExists(info.get()));
    EXPECT_TRUE(QFile::exists(mStore.filePath("Messdaten ä/Größe µ/2026/7/3/Mn12.bin")));
    EXPECT_TRUE(LoggerFileSystem::removeFile(info.get()));
    EXPECT_FALSE(LoggerFileSystem::fileExists(info.get()));
    EXPECT_TRUE(LoggerFileSystem::RemoveLoggerFolder());
}

TEST_F(LoggerFileTreeTest, FileExistsFollowsTheFileOnDisk)
{
    auto info = makeFileInfo(LoggerDataType::MEAN, 0x1, 0x2, kJuly3rd2026);
    EXPECT_FALSE(LoggerFileSystem::fileExists(info.get()));
    ASSERT_TRUE(FileFaults::writeAll(LoggerFileSystem::getFullFileName(info.get()), "a"));
    EXPECT_TRUE(LoggerFileSystem::fileExists(info.get()));
    ASSERT_TRUE(QFile::remove(LoggerFileSystem::getFullFileName(info.get())));
    EXPECT_FALSE(LoggerFileSystem::fileExists(info.get()));
}

// ---------------------------------------------------------------------------------------------
// Guids and new file infos

// A random uuid carries the variant bits 10 in the top of its ninth byte. Taken from the last
// eight bytes and read little-endian, that byte is the lowest of GuidLow.
TEST_F(LoggerFileTreeTest, FileUuidKeepsTheLastEightBytesOfARandomUuidLittleEndian)
{
    for (int i = 0; i < 64; ++i) {
        LoggerFileInfo info;
        LoggerFileSystem::createFileUuid(info);
        SCOPED_TRACE(i);
        EXPECT_EQ(info.GuidLow & 0xC0u, 0x80u) << std::hex << info.GuidLow;
    }
}

TEST_F(LoggerFileTreeTest, FileUuidsDiffer)
{
    QSet<quint64> seen;
    for (int i = 0; i < 200; ++i) {
        LoggerFileInfo info;
        LoggerFileSystem::createFileUuid(info);
        seen.insert((quint64(info.GuidHigh) << 32) | info.GuidLow);
    }
    EXPECT_EQ(seen.size(), 200);
}

TEST_F(LoggerFileTreeTest, FileUuidTouchesOnlyTheGuid)
{
    LoggerFileInfo info(LoggerDataType::MEAN);
    info.Id = 12;
    info.UtcCreated = DataTimespec{kJuly3rd2026, 5};
    info.HeaderSize = 44;
    info.DataBlockSize = 24;
    info.mType = LoggerType::CYCLIC;
    LoggerFileSystem::createFileUuid(info);
    EXPECT_EQ(info.Id, 12);
    EXPECT_EQ(info.UtcCreated.tv_sec, kJuly3rd2026);
    EXPECT_EQ(info.UtcCreated.tv_nsec, 5);
    EXPECT_EQ(info.DataType, LoggerDataType::MEAN);
    EXPECT_EQ(info.HeaderSize, 44);
    EXPECT_EQ(info.DataBlockSize, 24);
    EXPECT_EQ(info.mType, LoggerType::CYCLIC);
}

TEST_F(LoggerFileTreeTest, InitFileInfoFillsANewFileInfo)
{
    LoggerFileInfo info;
    info.UtcStart = DataTimespec{111, 222};
    info.UtcEnd = DataTimespec{333, 444};
    info.mFirstDataItem = false;
    timespec created{};
    created.tv_sec = kJuly3rd2026 + 5 * kHour;
    created.tv_nsec = 123456789;

    LoggerFileSystem::initFileInfo(created, LoggerType::PQEVENT, LoggerDataType::PQEVENT, 232,
                                   &info);

    EXPECT_EQ(info.UtcCreated.tv_sec, kJuly3rd2026 + 5 * kHour);
    EXPECT_EQ(info.UtcCreated.tv_nsec, 123456789);
    EXPECT_EQ(info.UtcStart.tv_sec, 0);
    EXPECT_EQ(info.UtcStart.tv_nsec, 0);
    EXPECT_EQ(info.UtcEnd.tv_sec, 0);
    EXPECT_EQ(info.UtcEnd.tv_nsec, 0);
    EXPECT_EQ(info.DataType, LoggerDataType::PQEVENT);
    EXPECT_EQ(info.mType, LoggerType::PQEVENT);
    EXPECT_EQ(info.HeaderSize, 44);
    EXPECT_EQ(info.DataBlockSize, 232);
    EXPECT_TRUE(info.mFirstDataItem);
    EXPECT_EQ(info.GuidLow & 0xC0u, 0x80u);
}

TEST_F(LoggerFileTreeTest, InitFileInfoGivesEachFileANewGuid)
{
    timespec created{};
    created.tv_sec = kJuly3rd2026;
    LoggerFileInfo first;
    LoggerFileInfo second;
    LoggerFileSystem::initFileInfo(created, LoggerType::CYCLIC, LoggerDataType::VTQ, 16, &first);
    LoggerFileSystem::initFileInfo(created, LoggerType::CYCLIC, LoggerDataType::VTQ, 16, &second);
    EXPECT_TRUE(first.GuidLow != second.GuidLow || first.GuidHigh != second.GuidHigh);
    EXPECT_NE(LoggerFileSystem::getFullFileName(&first), LoggerFileSystem::getFullFileName(&second));
    EXPECT_EQ(QFileInfo(LoggerFileSystem::getFullFileName(&first)).path(), mRoot + "/2026/7/3");
}

// ---------------------------------------------------------------------------------------------
// Time stamps of dates

TEST_F(LoggerFileTreeTest, TimeStampCountsWholeDaysAndHoursFrom1970)
{
    EXPECT_EQ(LoggerFileSystem::getTimeStamp(1970, 1, 1, 0), time_t(0));
    EXPECT_EQ(LoggerFileSystem::getTimeStamp(1970, 1, 1, 1), time_t(3600));
    EXPECT_EQ(LoggerFileSystem::getTimeStamp(1970, 1, 2, 0), time_t(86400));
    EXPECT_EQ(LoggerFileSystem::getTimeStamp(2026, 7, 3, 0), time_t(kJuly3rd2026));
    EXPECT_EQ(LoggerFileSystem::getTimeStamp(2026, 7, 3, 5), time_t(kJuly3rd2026 + 5 * kHour));
    EXPECT_EQ(LoggerFileSystem::getTimeStamp(2026, 7, 3, 23), time_t(kJuly3rd2026 + 23 * kHour));
    EXPECT_EQ(LoggerFileSystem::getTimeStamp(2000, 2, 29, 0), time_t(951782400));
    EXPECT_EQ(LoggerFileSystem::getTimeStamp(2000, 3, 1, 0), time_t(951868800));
    EXPECT_EQ(LoggerFileSystem::getTimeStamp(2038, 1, 19, 0), time_t(2147472000));
}

TEST_F(LoggerFileTreeTest, TimeStampDoesNotDependOnTheTimeZone)
{
    for (const char* zone : {"Pacific/Kiritimati", "Pacific/Pago_Pago", "Europe/Berlin"}) {
        SCOPED_TRACE(zone);
        ScopedTimeZone local(zone);
        EXPECT_EQ(LoggerFileSystem::getTimeStamp(2026, 7, 3, 5), time_t(kJuly3rd2026 + 5 * kHour));
        EXPECT_EQ(LoggerFileSystem::getTimeStamp(2026, 1, 15, 12), time_t(1768478400));
    }
}

// ---------------------------------------------------------------------------------------------
// Biggest folder number and newest date

TEST_F(LoggerFileTreeTest, BiggestFolderNumberIsTheLargestNumericFolderName)
{
    makeFolders("2026/3");
    makeFolders("2026/12");
    makeFolders("2026/7");
    makeFolders("2026/KW52");
    makeFolders("2026/abc");
    makeFile("2026/99"); // a file, not a folder
    EXPECT_EQ(LoggerFileSystem::getBiggestFolderNumber(mRoot + "/2026"), 12);
}

TEST_F(LoggerFileTreeTest, BiggestFolderNumberReadsNamesInBaseTen)
{
    makeFolders("2026/010");
    makeFolders("2026/9");
    EXPECT_EQ(LoggerFileSystem::getBiggestFolderNumber(mRoot + "/2026"), 10);
}

TEST_F(LoggerFileTreeTest, FolderUnderAMonthWhoseNameHasLettersCountsAsZero)
{
    makeFolders("2026/3/x12");
    makeFolders("2026/3/31a");
    makeFolders("2026/3/0x1F");
    makeFolders("2026/3/-5");
    EXPECT_EQ(LoggerFileSystem::getBiggestFolderNumber(mRoot + "/2026/3"), 0);
    makeFolders("2026/3/4");
    EXPECT_EQ(LoggerFileSystem::getBiggestFolderNumber(mRoot + "/2026/3"), 4);
}

TEST_F(LoggerFileTreeTest, BiggestFolderNumberOfAnEmptyOrMissingFolderIsZero)
{
    makeFolders("2026");
    EXPECT_EQ(LoggerFileSystem::getBiggestFolderNumber(mRoot + "/2026"), 0);
    EXPECT_EQ(LoggerFileSystem::getBiggestFolderNumber(mRoot + "/2027"), 0);
    EXPECT_EQ(LoggerFileSystem::getBiggestFolderNumber(mStore.filePath("nowhere")), 0);
}

TEST_F(LoggerFileTreeTest, NewestDateWithoutADayFolderGivesDayZero)
{
    makeFolders("2025");
    makeFolders("2026/3");
    int year = -5;
    int month = -5;
    int day = -5;
    LoggerFileSystem::getNewestDate(year, month, day);
    EXPECT_EQ(year, 2026);
    EXPECT_EQ(month, 3);
    EXPECT_EQ(day, 0);
}

TEST_F(LoggerFileTreeTest, NewestDateFollowsTheBiggestNumbersDownTheTree)
{
    makeFolders("2025/12/31");
    makeFolders("2026/1/5");
    makeFolders("2026/2/17");
    makeFolders("2026/2/3");
    makeFolders("2026/KW53");
    int year = 0;
    int month = 0;
    int day = 0;
    LoggerFileSystem::getNewestDate(year, month, day);
    EXPECT_EQ(year, 2026);
    EXPECT_EQ(month, 2);
    EXPECT_EQ(day, 17);
}

TEST_F(LoggerFileTreeTest, NewestDateCountsADayFolderWhoseFilesHaveGone)
{
    makeFile("2026/7/2/Mn12.bin");
    makeFolders("2026/7/3");
    int year = 0;
    int month = 0;
    int day = 0;
    LoggerFileSystem::getNewestDate(year, month, day);
    EXPECT_EQ(year, 2026);
    EXPECT_EQ(month, 7);
    EXPECT_EQ(day, 3);
}

TEST_F(LoggerFileTreeTest, NewestDateOfAnEmptyOrMissingRootIsAllZero)
{
    int year = 9;
    int month = 9;
    int day = 9;
    LoggerFileSystem::getNewestDate(year, month, day);
    EXPECT_EQ(year, 0);
    EXPECT_EQ(month, 0);
    EXPECT_EQ(day, 0);

    makeFolders("KW12");
    makeFolders("lost+found");
    year = month = day = 9;
    LoggerFileSystem::getNewestDate(year, month, day);
    EXPECT_EQ(year, 0);
    EXPECT_EQ(month, 0);
    EXPECT_EQ(day, 0);
}

TEST_F(LoggerFileTreeTest, NewestDateStopsAtAYearWithoutMonths)
{
    makeFolders("2026/KW1");
    int year = 9;
    int month = 9;
    int day = 9;
    LoggerFileSystem::getNewestDate(year, month, day);
    EXPECT_EQ(year, 2026);
    EXPECT_EQ(month, 0);
    EXPECT_EQ(day, 0);
}

// ---------------------------------------------------------------------------------------------
// Null file infos

TEST_F(LoggerFileTreeTest, NullFileInfoIsNeitherFoundNorRemoved)
{
    EXPECT_FALSE(LoggerFileSystem::fileExists(nullptr));
    EXPECT_FALSE(LoggerFileSystem::removeFile(nullptr));
}

// ---------------------------------------------------------------------------------------------
// Folders in local time
//
// The folder date is the calendar date of local midnight 1970-01-01 plus the seconds of
// UtcCreated. Where a zone has kept one offset since 1970 that is the UTC calendar date of
// the creation; where the offset has changed since, the date shifts by the change.
// Pago Pago has been UTC-11 throughout; Kiritimati was UTC-10:40 in 1970 and is UTC+14 today,
// so there the folder runs 24:40 ahead of UTC.

class LoggerFileTreeTimeZoneTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        for (const char* zone : {"Pacific/Kiritimati", "Pacific/Pago_Pago"}) {
            if (!QTimeZone::isTimeZoneIdAvailable(zone))
                GTEST_SKIP() << "the time zone database lacks " << zone;
        }
        ASSERT_TRUE(mStore.isValid());
        mRoot = mStore.filePath("data");
        LoggerFileSystem::setPath(mRoot);
    }

    TemporaryStoreRoot mStore;
    QString mRoot;
};

constexpr int32_t kJuly3rd2026At5Utc = kJuly3rd2026 + 5 * kHour;

TEST_F(LoggerFileTreeTimeZoneTest, FolderDateInAZoneFarWestOfUtc)
{
    ScopedTimeZone zone("Pacific/Pago_Pago");
    // Local time at creation is 2026-07-02 18:00; the folder follows the rule above.
    auto info = makeFileInfo(LoggerDataType::MEAN, 0x1, 0x2, kJuly3rd2026At5Utc);
    EXPECT_EQ(LoggerFileSystem::getFullFileName(info.get()), mRoot + "/2026/7/3/Mn12.bin");
    const QDateTime dateTime = LoggerFileSystem::getDateTime(info.get());
    EXPECT_EQ(dateTime.date(), QDate(2026, 7, 3));
    EXPECT_EQ(dateTime.time(), QTime(5, 0));
}

TEST_F(LoggerFileTreeTimeZoneTest, FolderDateInAZoneFarEastOfUtc)
{
    ScopedTimeZone zone("Pacific/Kiritimati");
    auto info = makeFileInfo(LoggerDataType::MEAN, 0x1, 0x2, kJuly3rd2026At5Utc);
    EXPECT_EQ(LoggerFileSystem::getFullFileName(info.get()), mRoot + "/2026/7/4/Mn12.bin");
    const QDateTime dateTime = LoggerFileSystem::getDateTime(info.get());
    EXPECT_EQ(dateTime.date(), QDate(2026, 7, 4));
    EXPECT_EQ(dateTime.time(), QTime(5, 40));
}

TEST_F(LoggerFileTreeTimeZoneTest, EpochLandsOnTheFirstOfJanuary1970InEveryZone)
{
    for (const char* zone : {"UTC", "Pacific/Pago_Pago", "Pacific/Kiritimati", "Asia/Tokyo"}) {
        SCOPED_TRACE(zone);
        ScopedTimeZone local(zone);
        auto info = makeFileInfo(LoggerDataType::VTQ, 0x1, 0x2, 0);
        EXPECT_EQ(LoggerFileSystem::getFullFileName(info.get()), mRoot + "/1970/1/1/Vt12.bin");
    }
}

TEST_F(LoggerFileTreeTimeZoneTest, CreatedFileIsFoundAgainInEachZone)
{
    for (const char* zone : {"Pacific/Kiritimati", "Pacific/Pago_Pago"}) {
        SCOPED_TRACE(zone);
        ScopedTimeZone local(zone);
        auto info = makeFileInfo(LoggerDataType::MEAN, 0xABC, 0xDEF, kJuly3rd2026At5Utc + 7);
        QFile file;
        ASSERT_TRUE(LoggerFileSystem::createFile(info.get(), file, 1, 0, 0, 1.0f, 1.0f));
        EXPECT_TRUE(LoggerFileSystem::fileExists(info.get()));
        const QString name = LoggerFileSystem::getFullFileName(info.get());
        EXPECT_TRUE(QFile::exists(name)) << name.toStdString();
        EXPECT_EQ(file.fileName(), name);
        const QDate date = LoggerFileSystem::getDateTime(info.get()).date();
        EXPECT_TRUE(QDir(LoggerFileSystem::getFullDayFolderPath(date.year(), date.month(),
                                                                date.day()))
                        .exists(QFileInfo(name).fileName()));
        EXPECT_TRUE(LoggerFileSystem::removeFile(info.get()));
        EXPECT_FALSE(LoggerFileSystem::fileExists(info.get()));
    }
}

TEST_F(LoggerFileTreeTimeZoneTest, OneFileLandsInDifferentFoldersInDifferentZones)
{
    auto info = makeFileInfo(LoggerDataType::MEAN, 0x1, 0x2, kJuly3rd2026At5Utc);
    QString east;
    QString west;
    {
        ScopedTimeZone zone("Pacific/Kiritimati");
        east = LoggerFileSystem::getFullFileName(info.get());
    }
    {
        ScopedTimeZone zone("Pacific/Pago_Pago");
        west = LoggerFileSystem::getFullFileName(info.get());
    }
    EXPECT_NE(east, west);
    EXPECT_EQ(QFileInfo(east).fileName(), QFileInfo(west).fileName());
}

} // namespace

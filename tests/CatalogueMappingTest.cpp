#include "CatalogueMapping.h"
#include "CatalogueCache.h"
#include "Database.h"
#include "DatabaseExceptions.h"
#include "SqliteHooks.h"
#include "Statement.h"
#include "TemporaryCatalogue.h"
#include "Transaction.h"

#include <gtest/gtest.h>

#include <QString>

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <memory>
#include <set>
#include <string>
#include <typeinfo>
#include <vector>

namespace {

const QString kHostileText = QStringLiteral("'; DROP TABLE \"x\"; --");

// Identification strings that must come back byte for byte: SQL quoting of both kinds,
// statement separators and comments, non-ASCII letters and signs, and one of 100000
// characters.
std::vector<QString> awkwardConfigIds()
{
    return {
        kHostileText,
        QStringLiteral("it's \"quoted\" ''twice'' \\ %_ ? ?1 :name @p $v"),
        QString::fromUtf8("Spannung L1\xe2\x80\x93N \xc2\xb5V \xc2\xb0"
                          "C \xe6\x97\xa5\xe6\x9c\xac "
                          "\xf0\x9f\x98\x80 \xc3\xa4\xc3\xb6\xc3\xbc\xc3\x9f"),
        QString(100000, QChar('m')) + QStringLiteral("."),
        QString(),
        QStringLiteral("mean_3s.signal_3s.out.mean_out"),
    };
}

class CatalogueMappingTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(mCatalogue.isValid()); }

    qzdb::Database& db() { return mCatalogue.database(); }

    // Runs the body in a transaction of its own and commits it.
    template <class Body> void committed(Body body)
    {
        qzdb::Transaction transaction(db());
        body();
        transaction.commit();
    }

    int64_t count(const std::string& sql) { return queryNumber(db(), sql); }

    // The file ids that the link table holds for one owner, in no order.
    std::multiset<int32_t> linkedIds(const std::string& linkTable, const std::string& ownerColumn,
                                     int32_t owner)
    {
        qzdb::Statement select(db(), "SELECT \"file_info_id\" FROM \"" + linkTable + "\" WHERE \"" +
                                         ownerColumn + "\"=?");
        select.bind(1, owner);
        std::multiset<int32_t> ids;
        while (select.step()) {
            ids.insert(select.columnInt(0));
        }
        return ids;
    }

    TemporaryCatalogue mCatalogue;
};

template <class FileInfo> std::shared_ptr<FileInfo> extremeFileInfo()
{
    auto fileInfo = std::make_shared<FileInfo>();
    fileInfo->UtcCreated = DataTimespec{INT32_MIN, INT32_MAX};
    fileInfo->UtcStart = DataTimespec{-1, 999999999};
    fileInfo->UtcEnd = DataTimespec{INT32_MAX, -7};
    fileInfo->DataType = static_cast<LoggerDataType>(INT32_MIN);
    fileInfo->GuidLow = UINT32_MAX;
    fileInfo->GuidHigh = 0x80000000u;
    fileInfo->HeaderSize = INT32_MIN;
    fileInfo->DataBlockSize = INT32_MAX;
    fileInfo->mFirstDataItem = true;
    fileInfo->mFilePosition = 4711;
    return fileInfo;
}

template <class FileInfo> std::shared_ptr<FileInfo> plainFileInfo(int32_t seconds)
{
    auto fileInfo = std::make_shared<FileInfo>(LoggerDataType::MEAN);
    fileInfo->UtcCreated = DataTimespec{seconds, 1};
    fileInfo->UtcStart = DataTimespec{seconds, 2};
    fileInfo->UtcEnd = DataTimespec{seconds + 10, 3};
    fileInfo->GuidLow = static_cast<uint32_t>(seconds) * 7u;
    fileInfo->GuidHigh = static_cast<uint32_t>(seconds) * 11u;
    fileInfo->HeaderSize = 44;
    fileInfo->DataBlockSize = 24;
    return fileInfo;
}

void expectSameColumns(const LoggerFileInfo& actual, const LoggerFileInfo& expected)
{
    EXPECT_EQ(actual.Id, expected.Id);
    EXPECT_EQ(actual.UtcCreated.tv_sec, expected.UtcCreated.tv_sec);
    EXPECT_EQ(actual.UtcCreated.tv_nsec, expected.UtcCreated.tv_nsec);
    EXPECT_EQ(actual.UtcStart.tv_sec, expected.UtcStart.tv_sec);
    EXPECT_EQ(actual.UtcStart.tv_nsec, expected.UtcStart.tv_nsec);
    EXPECT_EQ(actual.UtcEnd.tv_sec, expected.UtcEnd.tv_sec);
    EXPECT_EQ(actual.UtcEnd.tv_nsec, expected.UtcEnd.tv_nsec);
    EXPECT_EQ(actual.DataType, expected.DataType);
    EXPECT_EQ(actual.GuidLow, expected.GuidLow);
    EXPECT_EQ(actual.GuidHigh, expected.GuidHigh);
    EXPECT_EQ(actual.HeaderSize, expected.HeaderSize);
    EXPECT_EQ(actual.DataBlockSize, expected.DataBlockSize);
    EXPECT_EQ(actual.mType, expected.mType);
}

void expectSameColumns(const DefnBaseType& actual, const DefnBaseType& expected)
{
    EXPECT_EQ(actual.Id, expected.Id);
    EXPECT_EQ(actual.UtcStart.tv_sec, expected.UtcStart.tv_sec);
    EXPECT_EQ(actual.UtcStart.tv_nsec, expected.UtcStart.tv_nsec);
    EXPECT_EQ(actual.UtcEnd.tv_sec, expected.UtcEnd.tv_sec);
    EXPECT_EQ(actual.UtcEnd.tv_nsec, expected.UtcEnd.tv_nsec);
    EXPECT_EQ(actual.mType, expected.mType);
    EXPECT_EQ(actual.mDataType, expected.mDataType);
}

// ---- File infos: the same columns in six tables --------------------------------------------

template <class FileInfo> struct FileInfoTable;
template <> struct FileInfoTable<LoggerFileInfo> {
    static constexpr const char* kName = "LoggerFileInfo";
};
template <> struct FileInfoTable<LoggerFileInfoMeasure> {
    static constexpr const char* kName = "LoggerFileInfoMeasure";
};
template <> struct FileInfoTable<LoggerFileInfoEvent> {
    static constexpr const char* kName = "LoggerFileInfoEvent";
};
template <> struct FileInfoTable<LoggerFileInfoPqEvent> {
    static constexpr const char* kName = "LoggerFileInfoPqEvent";
};
template <> struct FileInfoTable<LoggerFileInfoDisturb> {
    static constexpr const char* kName = "LoggerFileInfoDisturb";
};
template <> struct FileInfoTable<LoggerFileInfoOperator> {
    static constexpr const char* kName = "LoggerFileInfoOperator";
};

template <class FileInfo> class FileInfoMappingTest : public CatalogueMappingTest {
protected:
    int64_t rows()
    {
        return count(std::string("SELECT count(*) FROM \"") + FileInfoTable<FileInfo>::kName + "\"");
    }
};

using FileInfoClasses =
    ::testing::Types<LoggerFileInfo, LoggerFileInfoMeasure, LoggerFileInfoEvent, LoggerFileInfoPqEvent,
                     LoggerFileInfoDisturb, LoggerFileInfoOperator>;
TYPED_TEST_SUITE(FileInfoMappingTest, FileInfoClasses);

TYPED_TEST(FileInfoMappingTest, EveryColumnRoundTripsAndTheWorkingStateStaysInMemory)
{
    auto stored = extremeFileInfo<TypeParam>();
    this->committed([&] { qzdb::persist(*stored); });
    ASSERT_GT(stored->Id, 0);
    EXPECT_EQ(this->rows(), 1);

    this->committed([&] {
        const std::shared_ptr<TypeParam> loaded = qzdb::find<TypeParam>(stored->Id);
        ASSERT_TRUE(loaded);
        expectSameColumns(*loaded, *stored);
        EXPECT_FALSE(loaded->mFirstDataItem);
        EXPECT_EQ(loaded->mFilePosition, 0);
    });
    // The unsigned words are kept as non-negative numbers.
    EXPECT_EQ(this->count(std::string("SELECT \"GuidLow\" FROM \"") + FileInfoTable<TypeParam>::kName + "\""),
              4294967295LL);
}

TYPED_TEST(FileInfoMappingTest, UpdateWritesEveryColumnOfItsRowOnly)
{
    auto first = plainFileInfo<TypeParam>(100);
    auto second = plainFileInfo<TypeParam>(200);
    this->committed([&] {
        qzdb::persist(*first);
        qzdb::persist(*second);
    });

    auto changed = extremeFileInfo<TypeParam>();
    changed->Id = first->Id;
    this->committed([&] { qzdb::update(*changed); });

    this->committed([&] {
        expectSameColumns(*qzdb::load<TypeParam>(first->Id), *changed);
        expectSameColumns(*qzdb::load<TypeParam>(second->Id), *second);
    });
}

TYPED_TEST(FileInfoMappingTest, EraseRemovesTheRowAndAMissingIdIsNotPersistent)
{
    auto fileInfo = plainFileInfo<TypeParam>(100);
    this->committed([&] { qzdb::persist(*fileInfo); });
    this->committed([&] { qzdb::erase(*fileInfo); });
    EXPECT_EQ(this->rows(), 0);

    qzdb::Transaction transaction(this->db());
    EXPECT_FALSE(qzdb::find<TypeParam>(fileInfo->Id));
    EXPECT_THROW(qzdb::load<TypeParam>(fileInfo->Id), qzdb::ObjectNotPersistent);
    EXPECT_THROW(qzdb::update(*fileInfo), qzdb::ObjectNotPersistent);
    EXPECT_THROW(qzdb::erase<TypeParam>(fileInfo->Id), qzdb::ObjectNotPersistent);
}

TYPED_TEST(FileInfoMappingTest, PersistTwiceGivesTwoRowsAndKeepsTheSecondId)
{
    auto fileInfo = plainFileInfo<TypeParam>(100);
    this->committed([&] {
        qzdb::persist(*fileInfo);
        const int32_t firstId = fileInfo->Id;
        qzdb::persist(*fileInfo);
        EXPECT_EQ(fileInfo->Id, firstId + 1);
    });
    EXPECT_EQ(this->rows(), 2);
    this->committed([&] { EXPECT_EQ(qzdb::queryAll<TypeParam>().size(), 2u); });
}

// The class of the static type chooses the table, whatever the object's own class.
TEST_F(CatalogueMappingTest, TheStaticTypeChoosesTheTable)
{
    auto measure = plainFileInfo<LoggerFileInfoMeasure>(100);
    committed([&] { qzdb::persist(static_cast<LoggerFileInfo&>(*measure)); });
    EXPECT_EQ(count("SELECT count(*) FROM \"LoggerFileInfo\""), 1);
    EXPECT_EQ(count("SELECT count(*) FROM \"LoggerFileInfoMeasure\""), 0);
}

// ---- Dispatch by mType -----------------------------------------------------------------------

TEST_F(CatalogueMappingTest, FileInfoTablesFollowTheLoggerType)
{
    EXPECT_STREQ(qzdb::fileInfoTable(LoggerType::NONE), "LoggerFileInfo");
    EXPECT_STREQ(qzdb::fileInfoTable(LoggerType::CYCLIC), "LoggerFileInfoMeasure");
    EXPECT_STREQ(qzdb::fileInfoTable(LoggerType::EVENT), "LoggerFileInfoEvent");
    EXPECT_STREQ(qzdb::fileInfoTable(LoggerType::PQEVENT), "LoggerFileInfoPqEvent");
    EXPECT_STREQ(qzdb::fileInfoTable(LoggerType::DISTURB), "LoggerFileInfoDisturb");
    EXPECT_STREQ(qzdb::fileInfoTable(LoggerType::OPERATOR), "LoggerFileInfoOperator");
    EXPECT_EQ(qzdb::fileInfoTable(static_cast<LoggerType>(6)), nullptr);
}

TEST_F(CatalogueMappingTest, DispatchWritesToTheTableOfTheTypeAndReadsItsClass)
{
    const std::vector<std::shared_ptr<LoggerFileInfo>> files = {
        plainFileInfo<LoggerFileInfo>(1),        plainFileInfo<LoggerFileInfoMeasure>(2),
        plainFileInfo<LoggerFileInfoEvent>(3),   plainFileInfo<LoggerFileInfoPqEvent>(4),
        plainFileInfo<LoggerFileInfoDisturb>(5), plainFileInfo<LoggerFileInfoOperator>(6)};
    committed([&] {
        for (const auto& file : files) {
            EXPECT_TRUE(qzdb::persistFileInfo(file));
        }
    });
    for (const auto& file : files) {
        SCOPED_TRACE(qzdb::fileInfoTable(file->mType));
        EXPECT_EQ(count(std::string("SELECT count(*) FROM \"") + qzdb::fileInfoTable(file->mType) + "\""), 1);
    }

    committed([&] {
        for (const auto& file : files) {
            file->UtcEnd = DataTimespec{999, 9};
            EXPECT_TRUE(qzdb::updateFileInfo(file));
        }
    });
    committed([&] {
        for (const auto& file : files) {
            const std::shared_ptr<LoggerFileInfo> loaded = qzdb::findFileInfo(file->mType, file->Id);
            ASSERT_TRUE(loaded);
            expectSameColumns(*loaded, *file);
            EXPECT_EQ(typeid(*loaded), typeid(*file));
        }
        EXPECT_FALSE(qzdb::findFileInfo(LoggerType::CYCLIC, 999));
        EXPECT_FALSE(qzdb::findFileInfo(static_cast<LoggerType>(17), files[0]->Id));
    });
    committed([&] {
        for (const auto& file : files) {
            EXPECT_TRUE(qzdb::eraseFileInfo(file));
        }
    });
    for (const auto& file : files) {
        EXPECT_EQ(count(std::string("SELECT count(*) FROM \"") + qzdb::fileInfoTable(file->mType) + "\""), 0);
    }
}

TEST_F(CatalogueMappingTest, TypeNoneTakesAnyFileInfoIntoThePlainTable)
{
    auto measure = plainFileInfo<LoggerFileInfoMeasure>(7);
    measure->mType = LoggerType::NONE;
    committed([&] { EXPECT_TRUE(qzdb::persistFileInfo(measure)); });
    EXPECT_EQ(count("SELECT count(*) FROM \"LoggerFileInfo\""), 1);
    EXPECT_EQ(count("SELECT count(*) FROM \"LoggerFileInfoMeasure\""), 0);
}

TEST_F(CatalogueMappingTest, AFileInfoOfTheWrongClassLeavesTheCatalogueAlone)
{
    auto event = plainFileInfo<LoggerFileInfoEvent>(7);
    event->mType = LoggerType::CYCLIC;
    auto outOfRange = plainFileInfo<LoggerFileInfo>(8);
    outOfRange->mType = static_cast<LoggerType>(6);
    committed([&] {
        EXPECT_FALSE(qzdb::persistFileInfo(event));
        EXPECT_FALSE(qzdb::persistFileInfo(outOfRange));
        EXPECT_FALSE(qzdb::persistFileInfo(nullptr));
        EXPECT_FALSE(qzdb::updateFileInfo(event));
        EXPECT_FALSE(qzdb::eraseFileInfo(event));
        EXPECT_FALSE(qzdb::updateFileInfo(nullptr));
        EXPECT_FALSE(qzdb::eraseFileInfo(nullptr));
    });
    EXPECT_EQ(event->Id, 0);
    EXPECT_EQ(count("SELECT (SELECT count(*) FROM \"LoggerFileInfo\") + (SELECT count(*) FROM "
                    "\"LoggerFileInfoMeasure\") + (SELECT count(*) FROM \"LoggerFileInfoEvent\")"),
              0);
}

// ---- Event texts -------------------------------------------------------------------------------

TEST_F(CatalogueMappingTest, EventStringsRoundTripTheirBytes)
{
    std::vector<std::string> descriptions = {kHostileText.toStdString(), std::string(100000, 'x'),
                                             "\xc3\x9c"
                                             "berspannung \xe2\x80\x9cL1\xe2\x80\x9d",
                                             "", std::string("with\0zero", 9)};
    std::vector<DefnEventString> texts;
    for (std::size_t i = 0; i < descriptions.size(); ++i) {
        texts.emplace_back(descriptions[i], DataTimespec{-static_cast<int32_t>(i) - 1, INT32_MAX});
    }
    committed([&] {
        for (auto& text : texts) {
            qzdb::persist(text);
        }
    });
    committed([&] {
        for (const auto& text : texts) {
            const std::shared_ptr<DefnEventString> loaded = qzdb::load<DefnEventString>(text.Id);
            EXPECT_EQ(loaded->Description, text.Description);
            EXPECT_EQ(loaded->Utc.tv_sec, text.Utc.tv_sec);
            EXPECT_EQ(loaded->Utc.tv_nsec, text.Utc.tv_nsec);
        }
    });

    texts[0].Description = "changed";
    committed([&] { qzdb::update(texts[0]); });
    committed([&] { EXPECT_EQ(qzdb::load<DefnEventString>(texts[0].Id)->Description, "changed"); });
    committed([&] { qzdb::erase(texts[0]); });
    EXPECT_EQ(count("SELECT count(*) FROM \"DefnEventString\""), static_cast<int64_t>(texts.size()) - 1);
}

// ---- Types ---------------------------------------------------------------------------------------

template <class Type> void fillTypeColumns(Type& type)
{
    type.UtcStart = DataTimespec{INT32_MIN, 0};
    type.UtcEnd = DataTimespec{-86400, 999999999};
    type.mDataType = static_cast<LoggerDataType>(INT32_MAX);
}

TEST_F(CatalogueMappingTest, BaseTypeRoundTripsItsColumnsAndHasNoFiles)
{
    DefnBaseType type;
    fillTypeColumns(type);
    type.mType = static_cast<LoggerType>(INT32_MIN);
    committed([&] { qzdb::persist(type); });
    committed([&] {
        const auto loaded = qzdb::load<DefnBaseType>(type.Id);
        expectSameColumns(*loaded, type);
        EXPECT_EQ(loaded->getFileListSize(), 0);
    });
    type.UtcEnd = DataTimespec{5, 5};
    committed([&] { qzdb::update(type); });
    committed([&] { expectSameColumns(*qzdb::load<DefnBaseType>(type.Id), type); });
    committed([&] { qzdb::erase<DefnBaseType>(type.Id); });
    EXPECT_EQ(count("SELECT count(*) FROM \"DefnBaseType\""), 0);
}

TEST_F(CatalogueMappingTest, MeasureTypeRoundTripsEveryFieldOfItsQuantity)
{
    DefnMeasureType type;
    fillTypeColumns(type);
    type.MeasType.phase = INT32_MIN;
    type.MeasType.unit = INT32_MAX;
    type.MeasType.prefix = -3;
    type.MeasType.unitFactor = 1000;
    type.MeasType.quantityType = -1;
    type.MeasType.measValueType = 42;
    type.MeasType.index = INT32_MAX;
    type.MeasType.enabled = false;

    const std::vector<double> intervals = {0.2, -1e300, std::numeric_limits<double>::denorm_min(), 0.0,
                                           std::numeric_limits<double>::infinity()};
    for (const QString& configId : awkwardConfigIds()) {
        for (double interval : intervals) {
            type.MeasType.configId = configId;
            type.MeasType.interval = interval;
            committed([&] { qzdb::persist(type); });
            committed([&] {
                const auto loaded = qzdb::load<DefnMeasureType>(type.Id);
                expectSameColumns(*loaded, type);
                const DataMeasType& meas = loaded->MeasType;
                EXPECT_EQ(meas.configId, configId);
                EXPECT_EQ(meas.configId.size(), configId.size());
                EXPECT_EQ(meas.phase, INT32_MIN);
                EXPECT_EQ(meas.unit, INT32_MAX);
                EXPECT_EQ(meas.prefix, -3);
                EXPECT_EQ(meas.unitFactor, 1000);
                EXPECT_EQ(meas.quantityType, -1);
                EXPECT_EQ(meas.measValueType, 42);
                EXPECT_EQ(meas.interval, interval);
                EXPECT_EQ(meas.index, INT32_MAX);
                EXPECT_TRUE(meas.enabled) << "enabled is no column";
                EXPECT_EQ(loaded->getConfigId(), configId);
                EXPECT_EQ(loaded->getInterval(), interval);
            });
        }
    }
}

TEST_F(CatalogueMappingTest, AnIntervalThatIsNotANumberIsStoredAsNullAndReadsAsNaN)
{
    DefnMeasureType type;
    type.MeasType.interval = std::numeric_limits<double>::quiet_NaN();
    committed([&] { qzdb::persist(type); });
    EXPECT_EQ(queryText(db(), "SELECT typeof(\"MeasType_Interval\") FROM \"DefnMeasureType\""), "null");
    committed([&] { EXPECT_TRUE(std::isnan(qzdb::load<DefnMeasureType>(type.Id)->MeasType.interval)); });

    // Written by hand, a NULL reads as NaN too; a number stays a number.
    db().executeRaw("UPDATE \"DefnMeasureType\" SET \"MeasType_Interval\"=0.5");
    committed([&] { EXPECT_EQ(qzdb::load<DefnMeasureType>(type.Id)->MeasType.interval, 0.5); });
    db().executeRaw("UPDATE \"DefnMeasureType\" SET \"MeasType_Interval\"=NULL");
    committed([&] { EXPECT_TRUE(std::isnan(qzdb::load<DefnMeasureType>(type.Id)->MeasType.interval)); });

    type.MeasType.interval = 3.0;
    committed([&] { qzdb::update(type); });
    EXPECT_EQ(queryText(db(), "SELECT typeof(\"MeasType_Interval\") FROM \"DefnMeasureType\""), "real");
    type.MeasType.interval = std::nan("");
    committed([&] { qzdb::update(type); });
    EXPECT_EQ(queryText(db(), "SELECT typeof(\"MeasType_Interval\") FROM \"DefnMeasureType\""), "null");
}

template <class Type> class ConfigIdTypeMappingTest : public CatalogueMappingTest {
};

using ConfigIdTypes = ::testing::Types<DefnEventType, DefnPqEventType, DefnDisturbType>;
TYPED_TEST_SUITE(ConfigIdTypeMappingTest, ConfigIdTypes);

TYPED_TEST(ConfigIdTypeMappingTest, ConfigIdsRoundTripUnchangedAndAreNeverSql)
{
    this->db().executeRaw("CREATE TABLE \"x\" (\"y\" INTEGER)");
    std::vector<TypeParam> types;
    for (const QString& configId : awkwardConfigIds()) {
        TypeParam type;
        fillTypeColumns(type);
        type.ConfigId = configId;
        types.push_back(type);
    }
    this->committed([&] {
        for (auto& type : types) {
            qzdb::persist(type);
        }
    });
    EXPECT_TRUE(this->db().tableExists("x"));
    this->committed([&] {
        for (const auto& type : types) {
            const auto loaded = qzdb::load<TypeParam>(type.Id);
            expectSameColumns(*loaded, type);
            EXPECT_EQ(loaded->ConfigId, type.ConfigId);
            EXPECT_EQ(loaded->getConfigId(), type.ConfigId);

            // The text is a value of the filter as well, never a part of the statement.
            const auto found = qzdb::queryByConfigId<TypeParam>(type.ConfigId);
            ASSERT_EQ(found.size(), 1u);
            EXPECT_EQ(found[0]->Id, type.Id);
        }
    });

    types[0].ConfigId = kHostileText + kHostileText;
    this->committed([&] { qzdb::update(types[0]); });
    this->committed(
        [&] { EXPECT_EQ(qzdb::load<TypeParam>(types[0].Id)->ConfigId, kHostileText + kHostileText); });
    EXPECT_TRUE(this->db().tableExists("x"));
}

// ---- File lists ---------------------------------------------------------------------------------

template <class Type> struct TypeLinks;
template <> struct TypeLinks<DefnMeasureType> {
    using File = LoggerFileInfoMeasure;
    static constexpr const char* kTable = "DefnMeasureType_FileInfos";
    static constexpr const char* kOwner = "measure_id";
    static constexpr const char* kTypeTable = "DefnMeasureType";
    static constexpr const char* kFileTable = "LoggerFileInfoMeasure";
};
template <> struct TypeLinks<DefnEventType> {
    using File = LoggerFileInfoEvent;
    static constexpr const char* kTable = "DefnEventType_FileInfos";
    static constexpr const char* kOwner = "measure_id";
    static constexpr const char* kTypeTable = "DefnEventType";
    static constexpr const char* kFileTable = "LoggerFileInfoEvent";
};
template <> struct TypeLinks<DefnPqEventType> {
    using File = LoggerFileInfoPqEvent;
    static constexpr const char* kTable = "DefnPqEventType_FileInfos";
    static constexpr const char* kOwner = "pq_event_id";
    static constexpr const char* kTypeTable = "DefnPqEventType";
    static constexpr const char* kFileTable = "LoggerFileInfoPqEvent";
};
template <> struct TypeLinks<DefnDisturbType> {
    using File = LoggerFileInfoDisturb;
    static constexpr const char* kTable = "DefnDisturbType_FileInfos";
    static constexpr const char* kOwner = "measure_id";
    static constexpr const char* kTypeTable = "DefnDisturbType";
    static constexpr const char* kFileTable = "LoggerFileInfoDisturb";
};
template <> struct TypeLinks<DefnOperatorType> {
    using File = LoggerFileInfoOperator;
    static constexpr const char* kTable = "DefnOperatorType_FileInfos";
    static constexpr const char* kOwner = "operator_id";
    static constexpr const char* kTypeTable = "DefnOperatorType";
    static constexpr const char* kFileTable = "LoggerFileInfoOperator";
};

template <class Type> class TypeMappingTest : public CatalogueMappingTest {
protected:
    using Links = TypeLinks<Type>;
    using File = typename Links::File;

    std::shared_ptr<File> storedFile(int32_t seconds)
    {
        auto file = plainFileInfo<File>(seconds);
        committed([&] { qzdb::persist(*file); });
        return file;
    }

    std::multiset<int32_t> links(int32_t owner) { return linkedIds(Links::kTable, Links::kOwner, owner); }

    static std::multiset<int32_t> ids(const std::vector<std::shared_ptr<File>>& files)
    {
        std::multiset<int32_t> result;
        for (const auto& file : files) {
            result.insert(file->Id);
        }
        return result;
    }
};

using TypesWithFiles =
    ::testing::Types<DefnMeasureType, DefnEventType, DefnPqEventType, DefnDisturbType, DefnOperatorType>;
TYPED_TEST_SUITE(TypeMappingTest, TypesWithFiles);

TYPED_TEST(TypeMappingTest, TheColumnsRoundTrip)
{
    TypeParam type;
    fillTypeColumns(type);
    this->committed([&] { qzdb::persist(type); });
    this->committed([&] { expectSameColumns(*qzdb::load<TypeParam>(type.Id), type); });
    type.UtcStart = DataTimespec{1, 2};
    type.mDataType = LoggerDataType::SMETER;
    this->committed([&] { qzdb::update(type); });
    this->committed([&] { expectSameColumns(*qzdb::load<TypeParam>(type.Id), type); });
}

TYPED_TEST(TypeMappingTest, AQueryOfRowsAloneLeavesTheFilesUnread)
{
    TypeParam type;
    type.mDataType = LoggerDataType::MEAN;
    type.AppendFileInfo(this->storedFile(10));
    type.AppendFileInfo(this->storedFile(20));
    this->committed([&] { qzdb::persist(type); });
    this->committed([&] {
        const auto whole = qzdb::queryByDataType<TypeParam>(LoggerDataType::MEAN);
        const auto rows = qzdb::queryByDataType<TypeParam>(LoggerDataType::MEAN, qzdb::Links::Skip);
        ASSERT_EQ(whole.size(), 1u);
        ASSERT_EQ(rows.size(), 1u);
        EXPECT_EQ(whole[0]->getFileListSize(), 2);
        EXPECT_EQ(rows[0]->getFileListSize(), 0);
        expectSameColumns(*rows[0], *whole[0]);
        EXPECT_EQ(qzdb::queryAll<TypeParam>(qzdb::Links::Skip).at(0)->getFileListSize(), 0);
    });
}

TYPED_TEST(TypeMappingTest, TheFilesComeBackWithTheirColumnsAsASet)
{
    using File = typename TestFixture::File;
    TypeParam type;
    // In the list against the order of their ids: the links keep no order.
    std::vector<std::shared_ptr<File>> files = {this->storedFile(30), this->storedFile(10),
                                                this->storedFile(20)};
    std::reverse(files.begin(), files.end());
    for (const auto& file : files) {
        type.AppendFileInfo(file);
    }
    this->committed([&] { qzdb::persist(type); });
    EXPECT_EQ(this->links(type.Id), TestFixture::ids(files));

    this->committed([&] {
        const auto loaded = qzdb::load<TypeParam>(type.Id);
        ASSERT_EQ(loaded->getFileListSize(), 3);
        EXPECT_EQ(TestFixture::ids(loaded->FileInfos), TestFixture::ids(files));
        for (const auto& file : files) {
            for (const auto& got : loaded->FileInfos) {
                if (got->Id == file->Id) {
                    expectSameColumns(*got, *file);
                }
            }
        }
    });
}

TYPED_TEST(TypeMappingTest, EveryUpdateWritesTheLinksAnewFromTheList)
{
    TypeParam type;
    const auto a = this->storedFile(1);
    const auto b = this->storedFile(2);
    const auto c = this->storedFile(3);
    type.AppendFileInfo(a);
    type.AppendFileInfo(b);
    this->committed([&] { qzdb::persist(type); });
    EXPECT_EQ(this->links(type.Id), (std::multiset<int32_t>{a->Id, b->Id}));

    type.removeFileInfo(0);
    type.AppendFileInfo(c);
    this->committed([&] { qzdb::update(type); });
    EXPECT_EQ(this->links(type.Id), (std::multiset<int32_t>{b->Id, c->Id}));

    type.AppendFileInfo(c);
    this->committed([&] { qzdb::update(type); });
    EXPECT_EQ(this->links(type.Id), (std::multiset<int32_t>{b->Id, c->Id, c->Id}));

    type.clearFileList();
    this->committed([&] { qzdb::update(type); });
    EXPECT_TRUE(this->links(type.Id).empty());
    EXPECT_EQ(this->count(std::string("SELECT count(*) FROM \"") + TestFixture::Links::kFileTable + "\""), 3);
}

TYPED_TEST(TypeMappingTest, LinksOfOtherTypesStayWhenOneIsWritten)
{
    TypeParam first;
    TypeParam second;
    const auto a = this->storedFile(1);
    const auto b = this->storedFile(2);
    first.AppendFileInfo(a);
    second.AppendFileInfo(b);
    this->committed([&] {
        qzdb::persist(first);
        qzdb::persist(second);
    });
    first.clearFileList();
    this->committed([&] { qzdb::update(first); });
    EXPECT_EQ(this->links(second.Id), (std::multiset<int32_t>{b->Id}));
}

TYPED_TEST(TypeMappingTest, ErasingATypeRemovesItsLinksAndLeavesItsFiles)
{
    TypeParam type;
    type.AppendFileInfo(this->storedFile(1));
    type.AppendFileInfo(this->storedFile(2));
    this->committed([&] { qzdb::persist(type); });
    this->committed([&] { qzdb::erase(type); });
    EXPECT_TRUE(this->links(type.Id).empty());
    EXPECT_EQ(this->count(std::string("SELECT count(*) FROM \"") + TestFixture::Links::kFileTable + "\""), 2);

    qzdb::Transaction transaction(this->db());
    EXPECT_THROW(qzdb::erase(type), qzdb::ObjectNotPersistent);
    EXPECT_THROW(qzdb::update(type), qzdb::ObjectNotPersistent);
    EXPECT_FALSE(qzdb::find<TypeParam>(type.Id));
}

// A row deleted in the table (not through the mapping) takes its links by the cascade.
TYPED_TEST(TypeMappingTest, DeletingTheRowCascadesToTheLinks)
{
    TypeParam type;
    type.AppendFileInfo(this->storedFile(1));
    this->committed([&] { qzdb::persist(type); });
    qzdb::Statement erase(this->db(), std::string("DELETE FROM \"") + TestFixture::Links::kTypeTable +
                                          "\" WHERE \"Id\"=?");
    erase.bind(1, type.Id);
    erase.step();
    EXPECT_TRUE(this->links(type.Id).empty());
    EXPECT_EQ(this->count(std::string("SELECT count(*) FROM \"") + TestFixture::Links::kFileTable + "\""), 1);
}

// How a file is taken out of a list: the file row may go first, since the key to the file is
// checked only at the commit, when the update has removed the link.
TYPED_TEST(TypeMappingTest, AFileRowMayGoBeforeItsLinkWithinTheTransaction)
{
    TypeParam type;
    const auto keep = this->storedFile(1);
    const auto drop = this->storedFile(2);
    type.AppendFileInfo(keep);
    type.AppendFileInfo(drop);
    this->committed([&] { qzdb::persist(type); });

    this->committed([&] {
        EXPECT_TRUE(qzdb::eraseFileInfo(type.getFileInfo(1)));
        type.removeFileInfo(1);
        qzdb::update(type);
    });
    EXPECT_EQ(this->links(type.Id), (std::multiset<int32_t>{keep->Id}));

    // Without the update the link would point nowhere, and the commit refuses it.
    {
        qzdb::Transaction transaction(this->db());
        EXPECT_TRUE(qzdb::eraseFileInfo(type.getFileInfo(0)));
        // Loading now finds a link without its file.
        EXPECT_THROW(qzdb::load<TypeParam>(type.Id), qzdb::ObjectNotPersistent);
        EXPECT_THROW(transaction.commit(), qzdb::DatabaseException);
    }
    EXPECT_EQ(this->count(std::string("SELECT count(*) FROM \"") + TestFixture::Links::kFileTable + "\""), 1);
}

TYPED_TEST(TypeMappingTest, AnEmptyEntryInTheListIsRefused)
{
    TypeParam type;
    type.FileInfos.push_back(nullptr);
    qzdb::Transaction transaction(this->db());
    try {
        qzdb::persist(type);
        FAIL() << "a link must point to a file";
    } catch (const qzdb::DatabaseException& e) {
        EXPECT_EQ(e.extendedCode(), 1299); // SQLITE_CONSTRAINT_NOTNULL
    }
}

TYPED_TEST(TypeMappingTest, QueriesByDataTypeAndCount)
{
    TypeParam mean;
    mean.mDataType = LoggerDataType::MEAN;
    mean.AppendFileInfo(this->storedFile(1));
    TypeParam complex;
    complex.mDataType = LoggerDataType::COMPLEX;
    TypeParam complex2 = complex;
    this->committed([&] {
        qzdb::persist(mean);
        qzdb::persist(complex);
        qzdb::persist(complex2);
    });
    this->committed([&] {
        EXPECT_EQ(qzdb::queryAll<TypeParam>().size(), 3u);
        const auto means = qzdb::queryByDataType<TypeParam>(LoggerDataType::MEAN);
        ASSERT_EQ(means.size(), 1u);
        EXPECT_EQ(means[0]->Id, mean.Id);
        EXPECT_EQ(means[0]->getFileListSize(), 1);
        EXPECT_EQ(qzdb::queryByDataType<TypeParam>(LoggerDataType::COMPLEX).size(), 2u);
        EXPECT_TRUE(qzdb::queryByDataType<TypeParam>(LoggerDataType::VTQ).empty());
        EXPECT_EQ(qzdb::countByDataType<TypeParam>(LoggerDataType::COMPLEX), 2);
        EXPECT_EQ(qzdb::countByDataType<TypeParam>(LoggerDataType::VTQ), 0);
    });
}

TEST_F(CatalogueMappingTest, QueriesByConfigIdWithAndWithoutDataType)
{
    DefnMeasureType a;
    a.mDataType = LoggerDataType::MEAN;
    a.MeasType.configId = "u1";
    DefnMeasureType b = a;
    b.mDataType = LoggerDataType::HARMONICS;
    DefnMeasureType c = a;
    c.MeasType.configId = "u2";
    committed([&] {
        qzdb::persist(a);
        qzdb::persist(b);
        qzdb::persist(c);
    });
    committed([&] {
        EXPECT_EQ(qzdb::queryByConfigId<DefnMeasureType>("u1").size(), 2u);
        const auto found = qzdb::queryByDataTypeAndConfigId<DefnMeasureType>(LoggerDataType::HARMONICS, "u1");
        ASSERT_EQ(found.size(), 1u);
        EXPECT_EQ(found[0]->Id, b.Id);
        EXPECT_TRUE(
            qzdb::queryByDataTypeAndConfigId<DefnMeasureType>(LoggerDataType::HARMONICS, "u2").empty());
        EXPECT_TRUE(qzdb::queryByConfigId<DefnMeasureType>("U1").empty());
    });
}

// ---- Event texts of an event type ----------------------------------------------------------------

TEST_F(CatalogueMappingTest, EventStringsOfATypeKeepTheirListOrder)
{
    std::vector<std::shared_ptr<DefnEventString>> texts;
    for (const char* description : {"first", "second", "third", "fourth"}) {
        texts.push_back(std::make_shared<DefnEventString>(description));
    }
    committed([&] {
        for (const auto& text : texts) {
            qzdb::persist(*text);
        }
    });

    DefnEventType type;
    type.EventStrings = {texts[2], texts[0], nullptr, texts[3], texts[1], texts[0]};
    committed([&] { qzdb::persist(type); });

    qzdb::Statement rows(db(), "SELECT \"index\", \"value\" FROM \"DefnEventType_EventStrings\" "
                               "WHERE \"object_id\"=? ORDER BY \"index\"");
    rows.bind(1, type.Id);
    for (std::size_t i = 0; i < type.EventStrings.size(); ++i) {
        ASSERT_TRUE(rows.step());
        EXPECT_EQ(rows.columnInt(0), static_cast<int32_t>(i));
        if (type.EventStrings[i]) {
            EXPECT_EQ(rows.columnInt(1), type.EventStrings[i]->Id);
        } else {
            EXPECT_TRUE(rows.isNull(1));
        }
    }
    EXPECT_FALSE(rows.step());
    rows.reset();

    auto descriptions = [](const DefnEventType& loaded) {
        std::vector<std::string> result;
        for (const auto& text : loaded.EventStrings) {
            result.push_back(text ? text->Description : "<none>");
        }
        return result;
    };
    committed([&] {
        EXPECT_EQ(descriptions(*qzdb::load<DefnEventType>(type.Id)),
                  (std::vector<std::string>{"third", "first", "<none>", "fourth", "second", "first"}));
    });

    // The list is written anew as well: shorter, in another order.
    type.EventStrings = {texts[1], texts[2]};
    committed([&] { qzdb::update(type); });
    committed([&] {
        EXPECT_EQ(descriptions(*qzdb::load<DefnEventType>(type.Id)),
                  (std::vector<std::string>{"second", "third"}));
    });
    EXPECT_EQ(count("SELECT count(*) FROM \"DefnEventType_EventStrings\""), 2);

    committed([&] { qzdb::erase(type); });
    EXPECT_EQ(count("SELECT count(*) FROM \"DefnEventType_EventStrings\""), 0);
    EXPECT_EQ(count("SELECT count(*) FROM \"DefnEventString\""), 4);
}

// Rows written in another order than their index still come back by their index.
TEST_F(CatalogueMappingTest, EventStringsAreReadByTheirIndexNotByTheirRows)
{
    DefnEventType type;
    std::vector<std::shared_ptr<DefnEventString>> texts;
    committed([&] {
        for (const char* description : {"zero", "one", "two"}) {
            texts.push_back(std::make_shared<DefnEventString>(description));
            qzdb::persist(*texts.back());
        }
        qzdb::persist(type);
    });
    for (int index : {2, 0, 1}) {
        qzdb::Statement insert(db(), "INSERT INTO \"DefnEventType_EventStrings\" VALUES (?, ?, ?)");
        insert.bind(1, type.Id);
        insert.bind(2, index);
        insert.bind(3, texts[static_cast<std::size_t>(index)]->Id);
        insert.step();
    }
    committed([&] {
        const auto loaded = qzdb::load<DefnEventType>(type.Id);
        ASSERT_EQ(loaded->EventStrings.size(), 3u);
        EXPECT_EQ(loaded->EventStrings[0]->Description, "zero");
        EXPECT_EQ(loaded->EventStrings[1]->Description, "one");
        EXPECT_EQ(loaded->EventStrings[2]->Description, "two");
    });
}

// The files of a type are read in the order that SQLite chooses; only the texts are sorted.
TEST_F(CatalogueMappingTest, FilesAreReadWithoutAnOrderAndTextsByIndex)
{
    DefnEventType type;
    committed([&] { qzdb::persist(type); });
    std::vector<std::string> statements;
    // What a load asks of the catalogue itself: the connection's cache would answer from memory.
    qzdb::CatalogueCache::setEnabled(false);
    committed([&] {
        statements = SqliteHooks::traceStatements(db().handle(), [&] { qzdb::load<DefnEventType>(type.Id); });
    });
    qzdb::CatalogueCache::setEnabled(true);
    std::vector<std::string> linkReads;
    for (const std::string& sql : statements) {
        if (sql.find("JOIN") != std::string::npos) {
            linkReads.push_back(sql);
        }
    }
    ASSERT_EQ(linkReads.size(), 2u);
    EXPECT_NE(linkReads[0].find("FROM \"DefnEventType_FileInfos\""), std::string::npos) << linkReads[0];
    EXPECT_EQ(linkReads[0].find("ORDER BY"), std::string::npos) << linkReads[0];
    EXPECT_NE(linkReads[1].find("FROM \"DefnEventType_EventStrings\""), std::string::npos) << linkReads[1];
    EXPECT_NE(linkReads[1].find("ORDER BY \"DefnEventType_EventStrings\".\"index\""), std::string::npos)
        << linkReads[1];
}

// ---- Statistics ------------------------------------------------------------------------------------

TEST_F(CatalogueMappingTest, StatisticsOfAnEmptyCatalogueAreZero)
{
    committed([&] {
        const LoggerFileInfo_stat files = qzdb::queryStatistics<LoggerFileInfo_stat>();
        EXPECT_EQ(files.min, 0);
        EXPECT_EQ(files.max, 0);
        const DefnMeasureType_stat types = qzdb::queryStatistics<DefnMeasureType_stat>();
        EXPECT_EQ(types.min, 0);
        EXPECT_EQ(types.max, 0);
    });
}

TEST_F(CatalogueMappingTest, StatisticsSpanTheStartsAndEnds)
{
    committed([&] {
        for (int32_t start : {500, -20, 300}) {
            LoggerFileInfo file;
            file.UtcStart = DataTimespec{start, 0};
            file.UtcEnd = DataTimespec{start + 1000, 0};
            qzdb::persist(file);

            DefnMeasureType type;
            type.UtcStart = DataTimespec{start, 0};
            type.UtcEnd = DataTimespec{start + 5000, 0};
            qzdb::persist(type);
        }
        // Files of the other tables do not count.
        LoggerFileInfoMeasure other;
        other.UtcStart = DataTimespec{-99999, 0};
        other.UtcEnd = DataTimespec{99999, 0};
        qzdb::persist(other);
    });
    committed([&] {
        const LoggerFileInfo_stat files = qzdb::queryStatistics<LoggerFileInfo_stat>();
        EXPECT_EQ(files.min, -20);
        EXPECT_EQ(files.max, 1500);
        // Both ends of the measure types come from their start column.
        const DefnMeasureType_stat types = qzdb::queryStatistics<DefnMeasureType_stat>();
        EXPECT_EQ(types.min, -20);
        EXPECT_EQ(types.max, 500);

        const qzdb::StatisticsQuery<LoggerFileInfo_stat> query = &qzdb::queryStatistics<LoggerFileInfo_stat>;
        EXPECT_EQ(query().max, 1500);
    });
}

// ---- Transactions and errors ---------------------------------------------------------------------------

TEST_F(CatalogueMappingTest, EveryOperationNeedsACurrentTransaction)
{
    LoggerFileInfo file;
    try {
        qzdb::persist(file);
        FAIL() << "persisted without a transaction";
    } catch (const qzdb::Exception& e) {
        EXPECT_STREQ(e.what(), "no transaction is current in this thread");
    }
    EXPECT_THROW(qzdb::find<LoggerFileInfo>(1), qzdb::Exception);
    EXPECT_THROW(qzdb::queryAll<DefnMeasureType>(), qzdb::Exception);
    EXPECT_THROW(qzdb::queryStatistics<LoggerFileInfo_stat>(), qzdb::Exception);
    EXPECT_EQ(count("SELECT count(*) FROM \"LoggerFileInfo\""), 0);

    // A transaction that is not made current serves no operation.
    qzdb::Transaction transaction(db(), false);
    EXPECT_FALSE(qzdb::Transaction::hasCurrent());
    EXPECT_THROW(qzdb::persist(file), qzdb::Exception);
}

TEST_F(CatalogueMappingTest, ATransactionLeftWithoutCommitIsRolledBack)
{
    LoggerFileInfo file;
    {
        qzdb::Transaction transaction(db());
        EXPECT_TRUE(qzdb::Transaction::hasCurrent());
        EXPECT_EQ(&qzdb::Transaction::current(), &transaction);
        EXPECT_EQ(&qzdb::Transaction::current().database(), &db());
        qzdb::persist(file);
    }
    EXPECT_FALSE(qzdb::Transaction::hasCurrent());
    EXPECT_EQ(count("SELECT count(*) FROM \"LoggerFileInfo\""), 0);

    {
        qzdb::Transaction transaction(db());
        qzdb::persist(file);
        transaction.rollback();
        EXPECT_FALSE(qzdb::Transaction::hasCurrent());
        EXPECT_THROW(transaction.commit(), qzdb::Exception);
    }
    EXPECT_EQ(count("SELECT count(*) FROM \"LoggerFileInfo\""), 0);

    {
        qzdb::Transaction transaction(db());
        EXPECT_THROW(qzdb::Transaction second(db()), qzdb::Exception);
        qzdb::persist(file);
        transaction.commit();
        EXPECT_THROW(transaction.rollback(), qzdb::Exception);
    }
    EXPECT_EQ(count("SELECT count(*) FROM \"LoggerFileInfo\""), 1);
}

// A second connection that holds the write lock makes a write busy, which is recoverable: the
// same work succeeds in a new transaction once the lock is gone.
TEST_F(CatalogueMappingTest, AWriteLockOfAnotherConnectionIsRecoverable)
{
    std::shared_ptr<qzdb::Database> other = mCatalogue.openConnection();
    other->executeRaw("BEGIN IMMEDIATE");

    DefnMeasureType type;
    {
        qzdb::Transaction transaction(db());
        EXPECT_FALSE(qzdb::find<DefnMeasureType>(1)); // reading is still allowed
        try {
            qzdb::persist(type);
            FAIL() << "wrote past the lock of another connection";
        } catch (const qzdb::Recoverable& e) {
            EXPECT_STREQ(e.what(), "database is locked");
        }
    }
    EXPECT_EQ(type.Id, 0);

    other->executeRaw("COMMIT");
    committed([&] { qzdb::persist(type); });
    EXPECT_EQ(count("SELECT count(*) FROM \"DefnMeasureType\""), 1);
}

TEST_F(CatalogueMappingTest, ACommitThatFindsTheFileLockedIsRecoverable)
{
    std::shared_ptr<qzdb::Database> other = mCatalogue.openConnection();
    LoggerFileInfo file;
    qzdb::Transaction transaction(db());
    qzdb::persist(file);
    // A reader holding its shared lock keeps the writer from committing.
    other->executeRaw("BEGIN");
    EXPECT_EQ(queryNumber(*other, "SELECT count(*) FROM \"LoggerFileInfo\""), 0);
    EXPECT_THROW(transaction.commit(), qzdb::Recoverable);
    other->executeRaw("COMMIT");
    EXPECT_EQ(count("SELECT count(*) FROM \"LoggerFileInfo\""), 0);
}

TEST_F(CatalogueMappingTest, AKeyCollisionOfAnInsertIsAlreadyPersistent)
{
    LoggerFileInfo file;
    committed([&] { qzdb::persist(file); });

    qzdb::Statement insert(db(), "INSERT INTO \"schema_version\" (\"name\", \"version\", \"migration\") "
                                 "VALUES (?, 1, 0)");
    insert.bind(1, "");
    EXPECT_THROW(insert.step(), qzdb::ObjectAlreadyPersistent);

    qzdb::Statement withId(db(), "INSERT INTO \"DefnEventString\" VALUES (?, 0, 0, 'x')");
    withId.bind(1, 1);
    withId.step();
    withId.reset();
    withId.bind(1, 1);
    EXPECT_THROW(withId.step(), qzdb::ObjectAlreadyPersistent);

    // The same collision from an UPDATE is an error of its own kind.
    db().executeRaw("INSERT INTO \"schema_version\" VALUES ('other', 1, 0)");
    qzdb::Statement update(db(), "UPDATE \"schema_version\" SET \"name\"=? WHERE \"name\"='other'");
    update.bind(1, "");
    try {
        update.step();
        FAIL() << "the name is taken";
    } catch (const qzdb::DatabaseException& e) {
        EXPECT_EQ(e.code(), 19);           // SQLITE_CONSTRAINT
        EXPECT_EQ(e.extendedCode(), 1555); // SQLITE_CONSTRAINT_PRIMARYKEY
        EXPECT_EQ(e.message(), "UNIQUE constraint failed: schema_version.name");
        EXPECT_STREQ(e.what(), "19 (1555): UNIQUE constraint failed: schema_version.name");
    }
}

TEST_F(CatalogueMappingTest, OtherErrorsCarryCodeAndMessage)
{
    try {
        qzdb::Statement statement(db(), "SELECT * FROM \"nowhere\"");
        FAIL() << "prepared a statement on a missing table";
    } catch (const qzdb::DatabaseException& e) {
        EXPECT_EQ(e.code(), 1); // SQLITE_ERROR
        EXPECT_EQ(e.message(), "no such table: nowhere");
        EXPECT_STREQ(e.what(), "1: no such table: nowhere");
    }
    EXPECT_THROW(db().executeRaw("NOT SQL"), qzdb::DatabaseException);

    TemporaryStoreRoot root;
    try {
        qzdb::Database missing(root.filePath("no/such/folder/catalogue.db").toStdString(),
                               qzdb::Database::kOpenReadOnly);
        FAIL() << "opened a file that does not exist";
    } catch (const qzdb::DatabaseException& e) {
        EXPECT_EQ(e.code(), 14); // SQLITE_CANTOPEN
        EXPECT_EQ(e.message(), "unable to open database file");
    }
}

TEST_F(CatalogueMappingTest, AReaderCannotWrite)
{
    qzdb::Database reader(mCatalogue.path(), qzdb::Database::kOpenReadOnly);
    LoggerFileInfo file;
    qzdb::Transaction transaction(reader);
    EXPECT_TRUE(qzdb::queryAll<LoggerFileInfo>().empty());
    try {
        qzdb::persist(file);
        FAIL() << "a read-only connection wrote";
    } catch (const qzdb::DatabaseException& e) {
        EXPECT_EQ(e.code(), 8); // SQLITE_READONLY
    }
}

TEST_F(CatalogueMappingTest, TheFileListOperationsOfTheClasses)
{
    DefnMeasureType measure;
    EXPECT_EQ(measure.mType, LoggerType::CYCLIC);
    measure.AppendFileInfo(std::make_shared<LoggerFileInfoEvent>());
    measure.AppendFileInfo(nullptr);
    EXPECT_EQ(measure.getFileListSize(), 0);
    auto first = std::make_shared<LoggerFileInfoMeasure>();
    auto second = std::make_shared<LoggerFileInfoMeasure>();
    measure.AppendFileInfo(first);
    measure.AppendFileInfo(second);
    EXPECT_EQ(measure.getFileInfo(1), second);
    EXPECT_EQ(measure.getFileInfo(2), nullptr);
    EXPECT_EQ(measure.getFileInfo(-1), nullptr);
    measure.removeFileInfo(5);
    measure.removeFileInfo(0);
    EXPECT_EQ(measure.getFileListSize(), 1);
    EXPECT_EQ(measure.getFileInfo(0), second);
    measure.clearFileList();
    EXPECT_EQ(measure.getFileListSize(), 0);

    DefnBaseType base;
    base.AppendFileInfo(first);
    EXPECT_EQ(base.getFileListSize(), 0);
    EXPECT_EQ(base.getFileInfo(0), nullptr);
    EXPECT_EQ(base.getInterval(), 0.0);
    EXPECT_TRUE(base.getConfigId().isEmpty());

    DefnOperatorType operatorType;
    EXPECT_EQ(operatorType.mType, LoggerType::OPERATOR);
    EXPECT_TRUE(operatorType.getConfigId().isEmpty());
    EXPECT_EQ(DefnEventType().mType, LoggerType::EVENT);
    EXPECT_EQ(DefnPqEventType().mType, LoggerType::PQEVENT);
    EXPECT_EQ(DefnDisturbType().mType, LoggerType::DISTURB);
    EXPECT_EQ(LoggerFileInfoDisturb(LoggerDataType::RMS).DataType, LoggerDataType::RMS);
    EXPECT_EQ(LoggerFileInfoDisturb(LoggerDataType::RMS).mType, LoggerType::DISTURB);
}

} // namespace

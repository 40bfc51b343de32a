#include "LoggerApiInterface.h"
#include "LogCapture.h"
#include "LoggerApi.h"
#include "LoggerDb.h"
#include "LoggerGlobalStates.h"
#include "LoggerList.h"
#include "LoggerTestSeams.h"
#include "TemporaryStoreRoot.h"
#include "WriterStore.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QFile>
#include <QFileInfo>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <cstdint>
#include <memory>
#include <ostream>
#include <type_traits>
#include <vector>

// Readable failures for QString comparisons.
QT_BEGIN_NAMESPACE
void PrintTo(const QString& text, std::ostream* os)
{
    *os << "\"" << text.toStdString() << "\"";
}
QT_END_NAMESPACE

namespace {

timespec makeTime(int64_t seconds, int64_t nanoSeconds)
{
    timespec t{};
    t.tv_sec = static_cast<time_t>(seconds);
    t.tv_nsec = static_cast<long>(nanoSeconds);
    return t;
}

// The captured lines after the first `mark` ones: a test program that runs all its tests in
// one process shares one capture file.
QStringList linesSince(int mark)
{
    return LogCapture::lines().mid(mark);
}

// A reader without a catalogue: the process-id file and the state directory point into a fresh
// temporary root, so that no file of a real store on this machine is seen. Every pause of the
// read API is recorded.
class LoggerApiInterfaceTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(LogCapture::install());
        ASSERT_TRUE(mRoot.isValid());
        qputenv("QZLOGGER_PID_FILE", QFile::encodeName(mRoot.filePath(QStringLiteral("writer.pid"))));
        qputenv(LoggerGlobalStates::kStateDirectoryVariable, QFile::encodeName(mRoot.path()));
        setReadPauseObserverForTesting(
            [this](unsigned long milliseconds) { mPauses.push_back(milliseconds); });
        mLogMark = LogCapture::lines().size();
    }

    void TearDown() override
    {
        setReadPauseObserverForTesting(nullptr);
        LoggerDb::getInstance().setWriterMode(false);
        qunsetenv("QZLOGGER_PID_FILE");
        qunsetenv(LoggerGlobalStates::kStateDirectoryVariable);
    }

    void writeStateFile(const QByteArray& content) const
    {
        QFile file(mRoot.filePath(QString::fromLatin1(LoggerGlobalStates::kLoggerStateFileName)));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        ASSERT_EQ(file.write(content), content.size());
    }

    QByteArray readStateFile() const
    {
        QFile file(mRoot.filePath(QString::fromLatin1(LoggerGlobalStates::kLoggerStateFileName)));
        if (!file.open(QIODevice::ReadOnly))
            return QByteArray("<missing>");
        return file.readAll();
    }

    TemporaryStoreRoot mRoot;
    std::vector<unsigned long> mPauses;
    int mLogMark = 0;
};

// --- static operations

TEST_F(LoggerApiInterfaceTest, GetApiGivesANewObjectOnEveryCall)
{
    EXPECT_TRUE(std::has_virtual_destructor<LoggerApiInterface>::value);
    EXPECT_TRUE(std::is_abstract<LoggerApiInterface>::value);

    std::unique_ptr<LoggerApiInterface> first(LoggerApiInterface::getApi());
    std::unique_ptr<LoggerApiInterface> second(LoggerApiInterface::getApi());
    ASSERT_NE(first.get(), nullptr);
    ASSERT_NE(second.get(), nullptr);
    EXPECT_NE(first.get(), second.get());
    EXPECT_NE(dynamic_cast<LoggerApi*>(first.get()), nullptr);
    // Both are released through the interface when the pointers go.
}

TEST_F(LoggerApiInterfaceTest, TheApiLogsToItsOwnCategory)
{
    std::unique_ptr<LoggerApiInterface> api(LoggerApiInterface::getApi());
    const auto* track = dynamic_cast<const TrackObject*>(api.get());
    ASSERT_NE(track, nullptr);
    EXPECT_EQ(track->getTrackCategory(), QStringLiteral("Logger.Api"));
}

TEST_F(LoggerApiInterfaceTest, LastErrorIsReturnedOnceThenEmpty)
{
    LoggerDb::getInstance().setError(QStringLiteral("Data item (rms.u1) doesn't exist"));
    EXPECT_EQ(LoggerApiInterface::getLastError(), QStringLiteral("Data item (rms.u1) doesn't exist"));
    EXPECT_EQ(LoggerApiInterface::getLastError(), QString());
    EXPECT_TRUE(LoggerDb::getInstance().getLastError().isEmpty());
}

TEST_F(LoggerApiInterfaceTest, AReaderGetsTheStateThatTheWriterPosted)
{
    const LoggerState posted = LOGGER_STATE_LOGGER_INITIALIZED | LOGGER_STATE_SD_MOUNTED |
                               LOGGER_STATE_LOGGERS_STARTED | LOGGER_STATE_LOGGERS_READABLE;
    writeStateFile(QByteArray::number(posted));
    EXPECT_EQ(LoggerApiInterface::getLoggerState(), posted);
    writeStateFile(QByteArray::number(LOGGER_STATE_DB_FAILED));
    EXPECT_EQ(LoggerApiInterface::getLoggerState(), LOGGER_STATE_DB_FAILED);
}

TEST_F(LoggerApiInterfaceTest, TheWriterSetsItsInitialStateAsAWholeWord)
{
    LoggerDb::getInstance().setWriterMode(true);
    const LoggerState initial = LOGGER_STATE_LOGGER_INITIALIZED | LOGGER_STATE_LOGGERS_STARTED;
    LoggerApiInterface::setInitialLoggerState(initial);
    EXPECT_EQ(readStateFile(), QByteArray::number(initial));
    EXPECT_EQ(LoggerApiInterface::getLoggerState(), initial);
}

// --- without a catalogue

TEST_F(LoggerApiInterfaceTest, TimeRangeGettersAnswerNullAtOnceWithoutAStore)
{
    ASSERT_FALSE(LoggerDb::getInstance().isInitialized());
    LoggerApi api;
    const QString id = QStringLiteral("aggr.mean_10min.rms.u1");
    const timespec start = makeTime(1700000000, 0);
    const timespec end = makeTime(1700086400, 0);

    EXPECT_EQ(api.getItqValues(3, start, end), nullptr);
    EXPECT_EQ(api.getVtqValues(3, start, end), nullptr);
    EXPECT_EQ(api.getDtqValues(3, start, end), nullptr);
    EXPECT_EQ(api.getItqValues(id, start, end), nullptr);
    EXPECT_EQ(api.getVtqValues(id, start, end), nullptr);
    EXPECT_EQ(api.getDtqValues(id, start, end), nullptr);
    EXPECT_EQ(api.getMeanValues(id, start, end), nullptr);
    EXPECT_EQ(api.getMeanMinMaxArray7Values(id, start, end), nullptr);
    EXPECT_EQ(api.getMeanMinMaxArray12Values(id, start, end), nullptr);
    EXPECT_EQ(api.getMeanMinMaxArray14Values(id, start, end), nullptr);
    EXPECT_EQ(api.getMeanMinMaxArray16Values(id, start, end), nullptr);
    EXPECT_EQ(api.getMeanMinMaxArray20Values(id, start, end), nullptr);
    EXPECT_EQ(api.getMeanMinMaxArray23Values(id, start, end), nullptr);
    EXPECT_EQ(api.getMeanMinMaxArray24Values(id, start, end), nullptr);
    EXPECT_EQ(api.getQuadMeterValues(id, start, end), nullptr);
    EXPECT_EQ(api.getSystemMeterValues(id, start, end), nullptr);
    EXPECT_EQ(api.getSignalVoltages(id, start, end), nullptr);
    EXPECT_EQ(api.getDisturbanceValues(id, start, end, 100), nullptr);
    EXPECT_EQ(api.getDisturbanceValues(id, start, end, -1), nullptr);

    // An invalid store is answered before any lookup, so without the pause of a failed one.
    EXPECT_TRUE(mPauses.empty()) << mPauses.size() << " pauses, the first of " << mPauses.front() << " ms";
    // None of them is a getter still to come.
    for (const QString& line : linesSince(mLogMark))
        EXPECT_FALSE(line.contains(QStringLiteral("not available yet"))) << line.toStdString();
}

TEST_F(LoggerApiInterfaceTest, NumberOfOpenedFilesIsMinusOneWithoutAStore)
{
    LoggerApi api;
    EXPECT_EQ(api.getNumberOfOpenedFiles(), -1);
}

TEST_F(LoggerApiInterfaceTest, NumLoggersCountsTheRegistryWithoutAStore)
{
    LoggerApi api;
    EXPECT_EQ(api.getNumLoggers(), LoggerList::getInstance()->getNumLoggers());
    EXPECT_EQ(api.getNumLoggers(), 0);
}

TEST_F(LoggerApiInterfaceTest, ExistsIdIsFalseWithoutAStore)
{
    LoggerApi api;
    std::vector<QString> ids{QStringLiteral("rms.u1"), QStringLiteral("rms.u2")};
    QString id = QStringLiteral("rms.u1");
    EXPECT_FALSE(api.existsId(ids, id));
}

// --- on a store

TEST_F(LoggerApiInterfaceTest, AnUnknownIdentificationAnswersNullAfterThePauseOfAFailedLookup)
{
    WriterStore store;
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    LoggerApi api;
    const timespec start = makeTime(1700000000, 0);
    const timespec end = makeTime(1700086400, 0);

    EXPECT_EQ(api.getMeanValues(QStringLiteral("no.such.logger"), start, end), nullptr);
    EXPECT_EQ(mPauses, std::vector<unsigned long>{200});
    EXPECT_EQ(LoggerApiInterface::getLastError(),
              QStringLiteral("no logger with the identification 'no.such.logger' of type CYCLIC/MEAN in the "
                             "catalogue: check the id with the writer's configuration"));

    // A base type id that the catalogue does not hold fails in the read itself, after the
    // same pause.
    mPauses.clear();
    EXPECT_EQ(api.getVtqValues(987654, start, end), nullptr);
    EXPECT_EQ(mPauses, std::vector<unsigned long>{200});

    EXPECT_EQ(api.getNumberOfOpenedFiles(), LoggerDb::getInstance().getNumberOfOpenedFiles());
    EXPECT_GE(api.getNumberOfOpenedFiles(), 0);
}

// --- the catalogue queries, half-cycle, sample and filter getters and the exports without a store

TEST_F(LoggerApiInterfaceTest, CatalogueSampleAndExportOperationsAnswerTheirFailureValueWithoutAStore)
{
    LoggerApi api;
    const QString id = QStringLiteral("aggr.mean_10min.rms.u1");
    const timespec start = makeTime(1700000000, 0);
    const timespec end = makeTime(1700086400, 0);

    timespec rangeStart = makeTime(11, 12);
    timespec rangeEnd = makeTime(13, 14);
    EXPECT_FALSE(api.getTimeRange(LoggerType::CYCLIC, LoggerDataType::MEAN, id, rangeStart, rangeEnd));
    EXPECT_EQ(rangeStart.tv_sec, 11);
    EXPECT_EQ(rangeStart.tv_nsec, 12);
    EXPECT_EQ(rangeEnd.tv_sec, 13);
    EXPECT_EQ(rangeEnd.tv_nsec, 14);

    EXPECT_TRUE(api.getMeasIDs(LoggerType::NONE).empty());
    EXPECT_TRUE(api.getMeanMeasTypes(id).empty());
    EXPECT_TRUE(api.getFileList(LoggerType::CYCLIC, LoggerDataType::MEAN, QString()).empty());
    EXPECT_EQ(api.getFilteredMeanValues(id, start, end, 1u), nullptr);
    EXPECT_EQ(api.getRms_1_2_Values(id, start, end), nullptr);
    EXPECT_EQ(api.getSamplesValues(id, start, end, false), nullptr);
    EXPECT_EQ(api.getSamples16Values(id, start, end, false), nullptr);
    EXPECT_EQ(api.getStatisticValues(id, start, end), nullptr);
    EXPECT_EQ(api.getMeanStatistic(id, start, end, 230.0f, 90.0f, 110.0f), nullptr);
    DataLoggerFile file{};
    EXPECT_FALSE(api.correctDatabaseItem(id, file));

    const LoggerResultList<DataXtq<float>> all = api.getAllRms_1_2_Values(id, api.getTimeId(end));
    EXPECT_TRUE(all.results.empty());
    EXPECT_TRUE(all.names.empty());

    // An export without a store writes no file.
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    const QString exported = folder.filePath(QStringLiteral("means.bin"));
    api.writeMeasuredValuesToFile(id, start, end, exported);
    api.writeDisturbValuesToFile(id, start, end, exported);
    api.writePqEventValuesToFile(id, start, end, exported);
    api.writeComplexValuesToFile(id, start, end, exported);
    EXPECT_FALSE(QFileInfo::exists(exported));

    // An invalid store is answered before any lookup: no pause, not even the entry pause.
    EXPECT_TRUE(mPauses.empty());
    for (const QString& line : linesSince(mLogMark))
        EXPECT_FALSE(line.contains(QStringLiteral("not available yet"))) << line.toStdString();
}

// --- time ids

TEST_F(LoggerApiInterfaceTest, TimeIdIsSecondsTimesTwoToTheThirtySecondPlusNanoseconds)
{
    LoggerApi api;
    EXPECT_EQ(api.getTimeId(makeTime(0, 0)), 0LL);
    EXPECT_EQ(api.getTimeId(makeTime(1, 5)), 4294967301LL);
    EXPECT_EQ(api.getTimeId(makeTime(1700000000, 999999999)), 1700000000LL * 4294967296LL + 999999999LL);
    EXPECT_EQ(api.getTimeId(makeTime(-1, 0)), -4294967296LL);
    EXPECT_EQ(api.getTimeId(makeTime(5, -1)), 5LL * 4294967296LL - 1LL);
}

TEST_F(LoggerApiInterfaceTest, TimeFromIdGivesBackEveryTimeWithNanosecondsInRange)
{
    LoggerApi api;
    const timespec times[] = {makeTime(0, 0),
                              makeTime(0, 999999999),
                              makeTime(1, 0),
                              makeTime(1700000000, 1),
                              makeTime(2147483647, 999999999),
                              makeTime(-3, 7),
                              makeTime(-2147483647 - 1, 0)};
    for (const timespec& time : times) {
        const timespec back = api.getTimeFromId(api.getTimeId(time));
        EXPECT_EQ(back.tv_sec, time.tv_sec) << time.tv_sec << "," << time.tv_nsec;
        EXPECT_EQ(back.tv_nsec, time.tv_nsec) << time.tv_sec << "," << time.tv_nsec;
    }
}

TEST_F(LoggerApiInterfaceTest, ANegativeNanosecondPartBorrowsFromTheSeconds)
{
    LoggerApi api;
    const timespec back = api.getTimeFromId(api.getTimeId(makeTime(5, -1)));
    EXPECT_EQ(back.tv_sec, 4);
    EXPECT_EQ(back.tv_nsec, -1);
    const timespec minusOne = api.getTimeFromId(-1LL);
    EXPECT_EQ(minusOne.tv_sec, -1);
    EXPECT_EQ(minusOne.tv_nsec, -1);
}

// --- descriptions

TEST_F(LoggerApiInterfaceTest, ExistsDataMeasTypeComparesTheWholeConfigId)
{
    LoggerApi api;
    std::vector<DataMeasType> types;
    EXPECT_FALSE(api.existsDataMeasType(types, QStringLiteral("rms.u1")));
    DataMeasType type;
    type.configId = QStringLiteral("rms.u1");
    types.push_back(type);
    EXPECT_TRUE(api.existsDataMeasType(types, QStringLiteral("rms.u1")));
    EXPECT_FALSE(api.existsDataMeasType(types, QStringLiteral("rms.u")));
    EXPECT_FALSE(api.existsDataMeasType(types, QStringLiteral("rms.u12")));
    EXPECT_FALSE(api.existsDataMeasType(types, QStringLiteral("RMS.U1")));
    EXPECT_FALSE(api.existsDataMeasType(types, QString()));
}

// --- dispatch

TEST_F(LoggerApiInterfaceTest, OperationsDispatchThroughTheInterface)
{
    std::unique_ptr<LoggerApiInterface> owner(LoggerApiInterface::getApi());
    LoggerApiInterface* api = owner.get();
    const QString id = QStringLiteral("rms.u1");
    const timespec start = makeTime(1700000000, 0);
    const timespec end = makeTime(1700000600, 0);

    EXPECT_EQ(api->getNumberOfOpenedFiles(), -1);
    EXPECT_EQ(api->getNumLoggers(), 0);
    EXPECT_EQ(api->getMeanValues(id, start, end), nullptr);
    EXPECT_EQ(api->getVtqValues(7, start, end), nullptr);
    EXPECT_EQ(api->getSystemMeterValues(id, start, end), nullptr);
    EXPECT_EQ(api->getFilteredMeanValues(id, start, end, 1u), nullptr);
    EXPECT_TRUE(api->getMeasIDs(LoggerType::CYCLIC).empty());
    timespec rangeStart{};
    timespec rangeEnd{};
    EXPECT_FALSE(api->getTimeRange(LoggerType::CYCLIC, LoggerDataType::VTQ, id, rangeStart, rangeEnd));
    EXPECT_EQ(api->getRms_1_2_Values(id, start, end), nullptr);
    EXPECT_TRUE(mPauses.empty());
}

} // namespace

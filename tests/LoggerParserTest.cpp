// LoggerParser: reading the storage configuration into LoggerDatabaseInfos, the texts it logs
// for what is missing or wrong, and the quotas that setMemoryManager gives each family.

#include "LoggerParser.h"

#include "ConfigurationText.h"
#include "IXMLDomParser.h"
#include "LogCapture.h"
#include "LoggerDatabaseInfos.h"
#include "QStringPrinter.h"
#include "QuotaSnapshot.h"
#include "TemporaryStoreRoot.h"

#include <QStringList>
#include <gtest/gtest.h>

#include <map>

namespace {

QString parserLine(const char* level, const QString& text)
{
    return QStringLiteral("Logger.Parser|") + QLatin1String(level) + QLatin1Char('|') + text;
}

QStringList parserLines()
{
    QStringList lines;
    for (const QString& line : LogCapture::lines()) {
        if (line.startsWith(QLatin1String("Logger.Parser|")))
            lines.append(line);
    }
    return lines;
}

QStringList parserErrors()
{
    QStringList errors;
    for (const QString& line : parserLines()) {
        if (line.startsWith(QLatin1String("Logger.Parser|ERROR|")))
            errors.append(line);
    }
    return errors;
}

// Values that no configuration of the tests holds, to see which fields a load leaves alone.
LoggerDatabaseInfos untouchedInfos()
{
    LoggerDatabaseInfos infos;
    infos.cyclicMean = infos.cyclicVtq = infos.cyclicDtq = infos.eventAlarm = infos.eventOperator = -1;
    infos.eventQuality = infos.eventSignal = infos.disturbRms = infos.disturbSamples = -1;
    infos.disturbSignals = infos.disturbDigital = infos.cyclicHistogram = infos.cyclicHarmonics = -1;
    infos.cyclicStatistic = infos.cyclicComplexArray = infos.cyclicPrevailingArray = -1;
    infos.cyclicContributionArray = infos.cyclicMeanArray = -1;
    infos.dropSchema = true;
    infos.targetPath = QStringLiteral("untouched target");
    infos.desktopPath = QStringLiteral("untouched desktop");
    infos.fileDir = QStringLiteral("untouched folder");
    infos.dbName = QStringLiteral("untouched name");
    return infos;
}

// The settings of ConfigurationText, field by field.
void expectCompleteValues(const LoggerDatabaseInfos& infos)
{
    EXPECT_FALSE(infos.dropSchema);
    EXPECT_EQ(infos.targetPath, QStringLiteral("/media/card"));
    EXPECT_EQ(infos.desktopPath, QStringLiteral("/home/qz/Desktop"));
    EXPECT_EQ(infos.fileDir, QStringLiteral("files"));
    EXPECT_EQ(infos.dbName, QStringLiteral("catalogue.db"));
    EXPECT_EQ(infos.cyclicMean, 21);
    EXPECT_EQ(infos.cyclicVtq, 2.5);
    EXPECT_EQ(infos.cyclicDtq, 12);
    EXPECT_EQ(infos.eventAlarm, 18);
    EXPECT_EQ(infos.eventOperator, 9);
    EXPECT_EQ(infos.eventQuality, 4);
    EXPECT_EQ(infos.eventSignal, 6);
    EXPECT_EQ(infos.disturbRms, 4.5);
    EXPECT_EQ(infos.disturbDigital, 1);
    EXPECT_EQ(infos.disturbSamples, 2);
    EXPECT_EQ(infos.disturbSignals, 3.5);
    EXPECT_EQ(infos.cyclicHistogram, 11);
    EXPECT_EQ(infos.cyclicHarmonics, 7);
    EXPECT_EQ(infos.cyclicStatistic, 0.2);
    EXPECT_EQ(infos.cyclicComplexArray, 0.3);
    EXPECT_EQ(infos.cyclicPrevailingArray, 0.4);
    EXPECT_EQ(infos.cyclicContributionArray, 0.6);
    EXPECT_EQ(infos.cyclicMeanArray, 0.8);
}

void expectUntouched(const LoggerDatabaseInfos& infos)
{
    const LoggerDatabaseInfos untouched = untouchedInfos();
    EXPECT_EQ(infos.dropSchema, untouched.dropSchema);
    EXPECT_EQ(infos.targetPath, untouched.targetPath);
    EXPECT_EQ(infos.desktopPath, untouched.desktopPath);
    EXPECT_EQ(infos.fileDir, untouched.fileDir);
    EXPECT_EQ(infos.dbName, untouched.dbName);
    EXPECT_EQ(infos.cyclicMean, -1);
    EXPECT_EQ(infos.cyclicMeanArray, -1);
}

class LoggerParserTest : public ::testing::Test {
protected:
    // The fixture's parser names its category, and so configures logging, before SetUp runs.
    static void SetUpTestSuite() { LogCapture::install(); }
    void SetUp() override
    {
        ASSERT_TRUE(LogCapture::install());
        ASSERT_TRUE(mRoot.isValid());
        mFile = mRoot.filePath(QStringLiteral("database.xml"));
    }

    // Writes the text as the test's database.xml and loads it into mInfos, which starts with
    // untouchedInfos().
    bool load(const QByteArray& content)
    {
        if (!ConfigurationText(content).writeTo(mFile)) {
            ADD_FAILURE() << "cannot write " << mFile.toStdString();
            return false;
        }
        return mParser.loadFile(mFile, mInfos);
    }
    bool load(const ConfigurationText& text) { return load(text.bytes()); }

    // The two lines that every load begins with.
    QStringList openingLines() const
    {
        return {parserLine("INFO", QStringLiteral("Parsing database file: ") + mFile),
                parserLine("INFO", QStringLiteral("reading file: ") + mFile)};
    }

    TemporaryStoreRoot mRoot;
    QString mFile;
    LoggerParser mParser;
    LoggerDatabaseInfos mInfos = untouchedInfos();
};

} // namespace

// --- What a complete file gives --------------------------------------------------------------

TEST_F(LoggerParserTest, ReadsEverySettingAndLogsTheValuesAtTheEnd)
{
    ASSERT_TRUE(load(ConfigurationText()));
    expectCompleteValues(mInfos);
    const QStringList expected =
        openingLines() + QStringList{parserLine("INFO", QStringLiteral("dropSchema = false")),
                                     parserLine("INFO", QStringLiteral("targetPath = /media/card")),
                                     parserLine("INFO", QStringLiteral("desktopPath = /home/qz/Desktop")),
                                     parserLine("INFO", QStringLiteral("fileDir = files")),
                                     parserLine("INFO", QStringLiteral("dbName = catalogue.db")),
                                     parserLine("INFO", QStringLiteral("cyclicMean = 21")),
                                     parserLine("INFO", QStringLiteral("cyclicVtq = 2.5")),
                                     parserLine("INFO", QStringLiteral("cyclicDtq = 12")),
                                     parserLine("INFO", QStringLiteral("eventAlarm = 18")),
                                     parserLine("INFO", QStringLiteral("eventOperator = 9")),
                                     parserLine("INFO", QStringLiteral("eventQuality = 4")),
                                     parserLine("INFO", QStringLiteral("eventSignal = 6")),
                                     parserLine("INFO", QStringLiteral("disturbRms = 4.5")),
                                     parserLine("INFO", QStringLiteral("disturbDigital = 1")),
                                     parserLine("INFO", QStringLiteral("disturbSamples = 2")),
                                     parserLine("INFO", QStringLiteral("disturbSignals = 3.5")),
                                     parserLine("INFO", QStringLiteral("cyclicHistogram = 11")),
                                     parserLine("INFO", QStringLiteral("cyclicHarmonics = 7")),
                                     parserLine("INFO", QStringLiteral("cyclicStatistic = 0.2")),
                                     parserLine("INFO", QStringLiteral("cyclicComplexArray = 0.3")),
                                     parserLine("INFO", QStringLiteral("cyclicPrevailingArray = 0.4")),
                                     parserLine("INFO", QStringLiteral("cyclicContributionArray = 0.6")),
                                     parserLine("INFO", QStringLiteral("cyclicMeanArray = 0.8"))};
    EXPECT_EQ(parserLines(), expected);
}

TEST_F(LoggerParserTest, ItsLogLinesGoToTheParsersCategory)
{
    EXPECT_EQ(mParser.getTrackCategory(), QStringLiteral("Logger.Parser"));
}

TEST_F(LoggerParserTest, WithoutTargetPathTheTargetStaysAsItWas)
{
    ASSERT_TRUE(load(ConfigurationText().without("targetPath")));
    EXPECT_EQ(mInfos.targetPath, QStringLiteral("untouched target"));
    EXPECT_EQ(mInfos.dbName, QStringLiteral("catalogue.db"));
    EXPECT_EQ(mInfos.cyclicMeanArray, 0.8);
    EXPECT_TRUE(parserErrors().isEmpty()) << LogCapture::text().toStdString();
}

TEST_F(LoggerParserTest, ATargetPathWithoutValueIsAMissingSetting)
{
    EXPECT_FALSE(load(ConfigurationText().replace("<targetPath value=\"/media/card\"/>", "<targetPath/>")));
    EXPECT_EQ(parserErrors(), QStringList{parserLine("ERROR", QStringLiteral("targetPath no value"))});
    EXPECT_EQ(mInfos.targetPath, QStringLiteral("untouched target"));
    EXPECT_EQ(mInfos.dbName, QStringLiteral("catalogue.db"));
}

TEST_F(LoggerParserTest, DropSchemaInCapitalsCountsAsTrue)
{
    for (const QByteArray& value : {QByteArray("TRUE"), QByteArray("True"), QByteArray("true")}) {
        mInfos.dropSchema = false;
        EXPECT_TRUE(load(ConfigurationText().set("dropSchema", value)));
        EXPECT_TRUE(mInfos.dropSchema) << value.constData();
    }
}

TEST_F(LoggerParserTest, DropSchemaIsTrueOnlyForTheWordTrue)
{
    for (const QByteArray& value :
         {QByteArray("yes"), QByteArray("1"), QByteArray(" true"), QByteArray("")}) {
        mInfos.dropSchema = true;
        EXPECT_TRUE(load(ConfigurationText().set("dropSchema", value)));
        EXPECT_FALSE(mInfos.dropSchema) << value.constData();
    }
}

TEST_F(LoggerParserTest, DecimalNumbersMayCarryAnExponentASignAndBlanks)
{
    ASSERT_TRUE(load(
        ConfigurationText().set("cyclicMean", " 2.5e1 ").set("cyclicVtq", "+3").set("disturbDigital", "-0")));
    EXPECT_EQ(mInfos.cyclicMean, 25);
    EXPECT_EQ(mInfos.cyclicVtq, 3);
    EXPECT_EQ(mInfos.disturbDigital, 0);
}

TEST_F(LoggerParserTest, ElementsThatAreNoSettingAndOtherAttributesArePassedOver)
{
    ASSERT_TRUE(
        load(ConfigurationText()
                 .replace("<dataBase>", "<dataBase version=\"3\">\n  <comment value=\"bench card\"/>")
                 .replace("<memory>", "<memory unit=\"percent\">\n    <cyclicVoltage value=\"many\"/>")
                 .set("dbName", "catalogue.db\" owner=\"qz")));
    expectCompleteValues(mInfos);
    EXPECT_TRUE(parserErrors().isEmpty()) << LogCapture::text().toStdString();
}

TEST_F(LoggerParserTest, OfTwoElementsOfOneNameTheFirstCounts)
{
    ASSERT_TRUE(
        load(ConfigurationText().replace("</dataBase>", "  <dbName value=\"second.db\"/>\n</dataBase>")));
    EXPECT_EQ(mInfos.dbName, QStringLiteral("catalogue.db"));
}

// --- Missing and wrong settings --------------------------------------------------------------

TEST_F(LoggerParserTest, AMissingQuotaGivesFalseWhileAllOtherValuesAreRead)
{
    EXPECT_FALSE(load(ConfigurationText().without("cyclicHistogram")));
    EXPECT_EQ(parserErrors(),
              QStringList{parserLine("ERROR", QStringLiteral("LoggerParser: cyclicHistogram not found"))});
    EXPECT_EQ(mInfos.cyclicHistogram, -1);
    mInfos.cyclicHistogram = 11;
    expectCompleteValues(mInfos);
    EXPECT_TRUE(parserLines().contains(parserLine("INFO", QStringLiteral("cyclicMeanArray = 0.8"))));
}

TEST_F(LoggerParserTest, AMissingStringSettingGivesFalseWhileAllOtherValuesAreRead)
{
    EXPECT_FALSE(load(ConfigurationText().without("dropSchema").without("fileDir")));
    EXPECT_EQ(parserErrors(),
              (QStringList{parserLine("ERROR", QStringLiteral("LoggerParser: dropSchema not found")),
                           parserLine("ERROR", QStringLiteral("LoggerParser: fileDir not found"))}));
    EXPECT_TRUE(mInfos.dropSchema);
    EXPECT_EQ(mInfos.fileDir, QStringLiteral("untouched folder"));
    mInfos.dropSchema = false;
    mInfos.fileDir = QStringLiteral("files");
    expectCompleteValues(mInfos);
}

TEST_F(LoggerParserTest, EveryMissingSettingIsNamedInTheOrderOfReading)
{
    EXPECT_FALSE(load("<dataBase><memory/></dataBase>"));
    QStringList expected;
    for (const char* name : {"dropSchema",
                             "desktopPath",
                             "fileDir",
                             "dbName",
                             "cyclicMean",
                             "cyclicVtq",
                             "cyclicDtq",
                             "eventAlarm",
                             "eventOperator",
                             "eventQuality",
                             "eventSignal",
                             "disturbRms",
                             "disturbDigital",
                             "disturbSamples",
                             "disturbSignals",
                             "cyclicHistogram",
                             "cyclicHarmonics",
                             "cyclicStatistic",
                             "cyclicComplexArray",
                             "cyclicPrevailingArray",
                             "cyclicContributionArray",
                             "cyclicMeanArray"})
        expected.append(
            parserLine("ERROR", QStringLiteral("LoggerParser: %1 not found").arg(QLatin1String(name))));
    EXPECT_EQ(parserErrors(), expected);
    expectUntouched(mInfos);
}

TEST_F(LoggerParserTest, AQuotaThatIsNoNumberGivesFalseWhileAllOtherValuesAreRead)
{
    EXPECT_FALSE(load(ConfigurationText().set("cyclicVtq", "two and a half")));
    EXPECT_EQ(parserErrors(),
              QStringList{parserLine("ERROR", QStringLiteral("cyclicVtq is not a number: two and a half"))});
    EXPECT_EQ(mInfos.cyclicVtq, -1);
    mInfos.cyclicVtq = 2.5;
    expectCompleteValues(mInfos);
}

TEST_F(LoggerParserTest, EmptyInfiniteAndNotANumberQuotasAreNoNumbers)
{
    for (const QByteArray& value : {QByteArray(""), QByteArray("nan"), QByteArray("inf"), QByteArray("1e999"),
                                    QByteArray("5%"), QByteArray("2,5")}) {
        const int before = parserErrors().size();
        mInfos.cyclicDtq = -1;
        EXPECT_FALSE(load(ConfigurationText().set("cyclicDtq", value))) << value.constData();
        EXPECT_EQ(parserErrors().mid(before),
                  QStringList{parserLine("ERROR", QStringLiteral("cyclicDtq is not a number: ") +
                                                      QString::fromLatin1(value))});
        EXPECT_EQ(mInfos.cyclicDtq, -1) << value.constData();
    }
}

TEST_F(LoggerParserTest, AQuotaWithoutValueAttributeHasNoValue)
{
    EXPECT_FALSE(
        load(ConfigurationText().replace("<eventSignal value=\"6\"/>", "<eventSignal percent=\"6\"/>")));
    EXPECT_EQ(parserErrors(), QStringList{parserLine("ERROR", QStringLiteral("eventSignal no value"))});
    EXPECT_EQ(mInfos.eventSignal, -1);
}

TEST_F(LoggerParserTest, AValueGivenAsTextOfTheElementIsNoValue)
{
    EXPECT_FALSE(load(
        ConfigurationText().replace("<dbName value=\"catalogue.db\"/>", "<dbName>catalogue.db</dbName>")));
    EXPECT_EQ(parserErrors(), QStringList{parserLine("ERROR", QStringLiteral("dbName no value"))});
    EXPECT_EQ(mInfos.dbName, QStringLiteral("untouched name"));
}

// --- Files that are no configuration ----------------------------------------------------------

TEST_F(LoggerParserTest, AnEmptyFileCannotBeParsed)
{
    EXPECT_FALSE(load(QByteArray()));
    EXPECT_EQ(parserLines(),
              openingLines() +
                  QStringList{parserLine("ERROR", QStringLiteral("could not parse file ") + mFile +
                                                      QStringLiteral(" at line 1, column 0: Premature "
                                                                     "end of document."))});
    expectUntouched(mInfos);
}

TEST_F(LoggerParserTest, AFileThatIsNoXmlCannotBeParsed)
{
    EXPECT_FALSE(load("dbName=logger.db\nfileDir=data\n"));
    EXPECT_EQ(parserErrors(),
              QStringList{parserLine("ERROR", QStringLiteral("could not parse file ") + mFile +
                                                  QStringLiteral(" at line 1, column 1: Start tag "
                                                                 "expected."))});
    expectUntouched(mInfos);
}

TEST_F(LoggerParserTest, ATruncatedFileCannotBeParsedAndNothingIsRead)
{
    const QByteArray complete = ConfigurationText().bytes();
    const QByteArray truncated = complete.left(complete.indexOf("    <cyclicHistogram"));
    EXPECT_FALSE(load(truncated));
    EXPECT_EQ(parserErrors(),
              QStringList{parserLine("ERROR",
                                     QStringLiteral("could not parse file %1 at line %2, column 0: Premature "
                                                    "end of document.")
                                         .arg(mFile)
                                         .arg(truncated.count('\n') + 1))});
    expectUntouched(mInfos);
}

TEST_F(LoggerParserTest, AMissingFileCannotBeParsed)
{
    LoggerDatabaseInfos infos = untouchedInfos();
    const QString missing = mRoot.filePath(QStringLiteral("missing.xml"));
    EXPECT_FALSE(mParser.loadFile(missing, infos));
    EXPECT_EQ(parserErrors(),
              QStringList{parserLine("ERROR", QStringLiteral("could not parse file ") + missing +
                                                  QStringLiteral(" at opening: No such file or "
                                                                 "directory"))});
    expectUntouched(infos);
}

TEST_F(LoggerParserTest, AnotherRootIsNotFound)
{
    EXPECT_FALSE(load(ConfigurationText().replace("dataBase>", "database>")));
    EXPECT_EQ(parserLines(),
              openingLines() + QStringList{parserLine("ERROR", QStringLiteral("dataBase not found in xml"))});
    expectUntouched(mInfos);
}

TEST_F(LoggerParserTest, WithoutMemoryNothingIsRead)
{
    EXPECT_FALSE(load("<dataBase>\n  <dbName value=\"catalogue.db\"/>\n</dataBase>\n"));
    EXPECT_EQ(parserLines(),
              openingLines() + QStringList{parserLine("ERROR", QStringLiteral("memory not found in xml"))});
    expectUntouched(mInfos);
}

TEST_F(LoggerParserTest, AByteOrderMarkIsRead)
{
    ASSERT_TRUE(load("\xEF\xBB\xBF" + ConfigurationText().bytes())) << LogCapture::text().toStdString();
    expectCompleteValues(mInfos);
}

TEST_F(LoggerParserTest, CarriageReturnLineEndsAreRead)
{
    ASSERT_TRUE(load(ConfigurationText().replace("\n", "\r\n"))) << LogCapture::text().toStdString();
    expectCompleteValues(mInfos);
}

// --- Nodes -----------------------------------------------------------------------------------

TEST_F(LoggerParserTest, NodesAreFoundByNameAndTheirValuesRead)
{
    ASSERT_TRUE(ConfigurationText().writeTo(mFile));
    IXMLDomParser parser;
    ITCXMLNode root;
    ASSERT_TRUE(parser.parseFile(mFile, QStringLiteral("dataBase"), root));

    EXPECT_EQ(mParser.findSubNode(root, QStringLiteral("fileDir")).getAttributeValue(QStringLiteral("value")),
              QStringLiteral("files"));
    EXPECT_TRUE(mParser.findSubNode(root, QStringLiteral("cyclicMean")).isEmpty());
    EXPECT_TRUE(mParser.existsNodeStringValue(root, QStringLiteral("targetPath")));
    EXPECT_FALSE(mParser.existsNodeStringValue(root, QStringLiteral("sourcePath")));

    QString text = QStringLiteral("kept");
    EXPECT_TRUE(mParser.getNodeStringValue(root, QStringLiteral("dbName"), text));
    EXPECT_EQ(text, QStringLiteral("catalogue.db"));
    text = QStringLiteral("kept");
    EXPECT_FALSE(mParser.getNodeStringValue(root, QStringLiteral("sourcePath"), text));
    EXPECT_EQ(text, QStringLiteral("kept"));

    const ITCXMLNode memory = mParser.findSubNode(root, QStringLiteral("memory"));
    double number = -1;
    EXPECT_TRUE(mParser.getNodeDoubleValue(memory, QStringLiteral("cyclicStatistic"), number));
    EXPECT_EQ(number, 0.2);
    number = -1;
    EXPECT_FALSE(mParser.getNodeDoubleValue(root, QStringLiteral("dbName"), number));
    EXPECT_EQ(number, -1);
    EXPECT_EQ(parserErrors(),
              (QStringList{parserLine("ERROR", QStringLiteral("LoggerParser: sourcePath not found")),
                           parserLine("ERROR", QStringLiteral("dbName is not a number: catalogue.db"))}));
}

// --- Quotas ----------------------------------------------------------------------------------

TEST_F(LoggerParserTest, SetMemoryManagerGivesEveryLoggerFamilyItsShare)
{
    ASSERT_TRUE(load(ConfigurationText()));
    mParser.setMemoryManager(mInfos);
    const std::map<LoggerFamily, double> expected{
        {{LoggerType::CYCLIC, LoggerDataType::MEAN}, 21},
        {{LoggerType::CYCLIC, LoggerDataType::VTQ}, 2.5},
        {{LoggerType::CYCLIC, LoggerDataType::DTQ}, 12},
        {{LoggerType::CYCLIC, LoggerDataType::SMETER}, 12},
        {{LoggerType::CYCLIC, LoggerDataType::QMETER}, 12},
        {{LoggerType::EVENT, LoggerDataType::EVENT}, 18},
        {{LoggerType::OPERATOR, LoggerDataType::OPERATOR}, 9},
        {{LoggerType::PQEVENT, LoggerDataType::PQEVENT}, 4},
        {{LoggerType::PQEVENT, LoggerDataType::SIGNALEVENT}, 6},
        {{LoggerType::DISTURB, LoggerDataType::DISTURB}, 1.5},
        {{LoggerType::DISTURB, LoggerDataType::RMS}, 4.5},
        {{LoggerType::DISTURB, LoggerDataType::DIGITAL}, 1},
        {{LoggerType::DISTURB, LoggerDataType::SAMPLES}, 2},
        {{LoggerType::DISTURB, LoggerDataType::SAMPLES16}, 2},
        {{LoggerType::DISTURB, LoggerDataType::SIGNALS}, 3.5},
        {{LoggerType::CYCLIC, LoggerDataType::HISTOGRAM}, 11},
        {{LoggerType::CYCLIC, LoggerDataType::HARMONICS}, 7},
        {{LoggerType::CYCLIC, LoggerDataType::STATISTIC}, 0.2},
        {{LoggerType::CYCLIC, LoggerDataType::COMPLEX}, 0.3},
        {{LoggerType::CYCLIC, LoggerDataType::PREVAILING}, 0.4},
        {{LoggerType::CYCLIC, LoggerDataType::CONTRIBUTION}, 0.6},
        {{LoggerType::CYCLIC, LoggerDataType::PERCENTILE}, 7},
        {{LoggerType::CYCLIC, LoggerDataType::MEAN_7}, 0.2},
        {{LoggerType::CYCLIC, LoggerDataType::MEAN_12}, 0.2},
        {{LoggerType::CYCLIC, LoggerDataType::MEAN_14}, 0.2},
        {{LoggerType::CYCLIC, LoggerDataType::MEAN_16}, 0.2},
        {{LoggerType::CYCLIC, LoggerDataType::MEAN_20}, 0.2},
        {{LoggerType::CYCLIC, LoggerDataType::MEAN_23}, 0.2},
        {{LoggerType::CYCLIC, LoggerDataType::MEAN_24}, 0.2},
        {{LoggerType::CYCLIC, LoggerDataType::ITQ}, 0},
    };
    const std::map<LoggerFamily, double> actual = currentQuotas();
    ASSERT_EQ(actual.size(), expected.size());
    for (const auto& [family, percent] : expected) {
        ASSERT_EQ(actual.count(family), 1u);
        EXPECT_DOUBLE_EQ(actual.at(family), percent)
            << "type " << static_cast<int>(family.first) << ", data type " << static_cast<int>(family.second);
    }
}

TEST_F(LoggerParserTest, TheShippedSampleGivesTheBuiltInQuotasWhereTheSharesAllowIt)
{
    std::map<LoggerFamily, double> expected = currentQuotas();
    // What the shares of the file cannot give as built in: the disturbances' records a third of
    // the RMS quota, the meters that of DTQ, the percentiles that of the harmonics.
    expected[{LoggerType::DISTURB, LoggerDataType::DISTURB}] = 1;
    expected[{LoggerType::CYCLIC, LoggerDataType::SMETER}] = 15;
    expected[{LoggerType::CYCLIC, LoggerDataType::QMETER}] = 15;
    expected[{LoggerType::CYCLIC, LoggerDataType::PERCENTILE}] = 5;

    LoggerDatabaseInfos infos;
    ASSERT_TRUE(mParser.loadFile(QStringLiteral(QZLOGGER_SAMPLE_CONFIGURATION), infos))
        << LogCapture::text().toStdString();
    EXPECT_FALSE(infos.dropSchema);
    EXPECT_TRUE(infos.targetPath.isEmpty());
    EXPECT_EQ(infos.fileDir, QStringLiteral("data"));
    EXPECT_EQ(infos.dbName, QStringLiteral("logger.db"));
    mParser.setMemoryManager(infos);
    const std::map<LoggerFamily, double> actual = currentQuotas();
    for (const auto& [family, percent] : expected)
        EXPECT_DOUBLE_EQ(actual.at(family), percent)
            << "type " << static_cast<int>(family.first) << ", data type " << static_cast<int>(family.second);
}

// The store started from its storage configuration: where LoggerDb looks for "database.xml",
// what readParameters takes from it, what initialize does with a file that is missing or no
// configuration, and how DatabaseInterface forwards. Each test runs in a process of its own,
// with the configuration folders of Qt (XDG_CONFIG_HOME, XDG_CONFIG_DIRS) in folders of the test.

#include "LoggerDb.h"

#include "ChildTestProcess.h"
#include "ConfigurationText.h"
#include "DatabaseInterface.h"
#include "LogCapture.h"
#include "LoggerTestSeams.h"
#include "QStringPrinter.h"
#include "QuotaSnapshot.h"
#include "WriterStore.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr const char* kConfigHomeVariable = "XDG_CONFIG_HOME";
constexpr const char* kConfigDirsVariable = "XDG_CONFIG_DIRS";
// In the child that starts from a copy of this program: the file it must find.
constexpr const char* kExpectedFileVariable = "QZLOGGER_TEST_EXPECTED_CONFIGURATION";

// The folders that come before the test's own and that a test cannot redirect.
const char* const kSystemDirectories[] = {"/etc/qz", "/opt/qz/share/qz-core/defaults"};

QString dbLine(const char* level, const QString& text)
{
    return QStringLiteral("Logger.Db|") + QLatin1String(level) + QLatin1Char('|') + text;
}

QString parserLine(const char* level, const QString& text)
{
    return QStringLiteral("Logger.Parser|") + QLatin1String(level) + QLatin1Char('|') + text;
}

QString programDirectory()
{
    return QCoreApplication::applicationDirPath();
}

// Sets an environment variable for the object's life and gives it back its earlier value after.
class ScopedVariable {
public:
    ScopedVariable(const char* name, const QString& value)
        : mName(name), mHad(qEnvironmentVariableIsSet(name)), mEarlier(qgetenv(name))
    {
        qputenv(name, QFile::encodeName(value));
    }
    ~ScopedVariable()
    {
        if (mHad)
            qputenv(mName, mEarlier);
        else
            qunsetenv(mName);
    }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

private:
    const char* mName;
    bool mHad;
    QByteArray mEarlier;
};

// What the store writes to the standard error stream while the object lives.
class CapturedStandardError {
public:
    CapturedStandardError() : mEarlier(std::cerr.rdbuf(mCaptured.rdbuf())) {}
    ~CapturedStandardError() { std::cerr.rdbuf(mEarlier); }
    CapturedStandardError(const CapturedStandardError&) = delete;
    CapturedStandardError& operator=(const CapturedStandardError&) = delete;

    std::string text() const { return mCaptured.str(); }

private:
    std::ostringstream mCaptured;
    std::streambuf* mEarlier;
};

// A folder that stands for a card's mount point without being the simulated card's: below
// /var/log, which the mount check counts as mounted, with its logger folder.
class SecondMountPoint {
public:
    SecondMountPoint() : mDir(QStringLiteral("/var/log/qzlogger-test-XXXXXX"))
    {
        mValid = mDir.isValid() && QDir().mkpath(loggerPath());
    }
    bool isValid() const { return mValid; }
    QString path() const { return mDir.path(); }
    QString loggerPath() const { return mDir.path() + QStringLiteral("/logger"); }

private:
    QTemporaryDir mDir;
    bool mValid = false;
};

// Where the store would find a file that no test put there, the tests of the search cannot say
// anything.
void expectNoSystemConfiguration()
{
    for (const char* directory : kSystemDirectories)
        ASSERT_FALSE(QFileInfo::exists(QString::fromLatin1(directory) + QStringLiteral("/database.xml")))
            << "a database.xml in " << directory << " hides the test's own";
    ASSERT_FALSE(QFileInfo::exists(programDirectory() + QStringLiteral("/database.xml")))
        << "a database.xml beside the test program hides the test's own";
}

class DatabaseConfigurationTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(LogCapture::install());
        ASSERT_TRUE(mConfigHome.isValid());
        ASSERT_TRUE(mConfigDirs.isValid());
        ASSERT_TRUE(mFiles.isValid());
        mConfigHomeVariable = std::make_unique<ScopedVariable>(kConfigHomeVariable, mConfigHome.path());
        mConfigDirsVariable = std::make_unique<ScopedVariable>(kConfigDirsVariable, mConfigDirs.path());
    }
    void TearDown() override { setLoggerMessageObserverForTesting(nullptr); }

    // Writes the text into a file of that name among the test's files and returns its path.
    QString write(const ConfigurationText& text, const QString& name = QStringLiteral("database.xml"))
    {
        const QString file = mFiles.filePath(name);
        EXPECT_TRUE(text.writeTo(file)) << file.toStdString();
        return file;
    }

    // The file that write() makes by default.
    QString configFile() const { return mFiles.filePath(QStringLiteral("database.xml")); }

    // readParameters of a file that is no complete configuration: false, the last error "invalid
    // file content", the parser's error line, and quotas, disk and names as they were.
    void expectRefused(const ConfigurationText& text, const QString& parserError)
    {
        const auto quotas = currentQuotas();
        LoggerDb& db = LoggerDb::getInstance();
        EXPECT_FALSE(db.readParameters(write(text)));
        EXPECT_EQ(db.getLastError(), QStringLiteral("invalid file content"));
        const QString error = parserLine("ERROR", parserError);
        EXPECT_TRUE(LogCapture::contains(error)) << error.toStdString() << "\n"
                                                 << LogCapture::text().toStdString();
        EXPECT_EQ(currentQuotas(), quotas);
        EXPECT_TRUE(db.getDiskName().isEmpty());
        EXPECT_TRUE(db.getPath().isEmpty());
        EXPECT_TRUE(db.getFullDbName().isEmpty());
        EXPECT_FALSE(db.isDropSchema());
    }

    QTemporaryDir mConfigHome;
    QTemporaryDir mConfigDirs;
    QTemporaryDir mFiles;
    std::unique_ptr<ScopedVariable> mConfigHomeVariable;
    std::unique_ptr<ScopedVariable> mConfigDirsVariable;
};

// The child of AFileBesideTheProgramWinsOverTheConfigurationFolder, in a copy of this program
// whose parent set the configuration folders; the fixture above would set them anew.
class DatabaseConfigurationChild : public ::testing::Test {};

} // namespace

// --- Where the file is looked for ------------------------------------------------------------

TEST_F(DatabaseConfigurationTest, InitializeWithoutAFileNamesItAndEveryDirectoryInOrder)
{
    expectNoSystemConfiguration();
    const auto quotas = currentQuotas();
    CapturedStandardError captured;
    EXPECT_FALSE(LoggerDb::getInstance().initialize());
    const std::string expected = "Configuration file not found: database.xml\n"
                                 "Add it to one of these directories:\n"
                                 "  /etc/qz\n"
                                 "  /opt/qz/share/qz-core/defaults\n"
                                 "  " +
                                 programDirectory().toStdString() + "\n  " +
                                 mConfigHome.path().toStdString() + "\n  " +
                                 mConfigDirs.path().toStdString() + "\n";
    EXPECT_EQ(captured.text(), expected);
    EXPECT_EQ(currentQuotas(), quotas);
    EXPECT_FALSE(LoggerDb::getInstance().isInitialized());
}

TEST_F(DatabaseConfigurationTest, EachDirectoryIsListedOnce)
{
    expectNoSystemConfiguration();
    const ScopedVariable home(kConfigHomeVariable, QStringLiteral("/etc/qz/"));
    const ScopedVariable dirs(kConfigDirsVariable,
                              programDirectory() + QStringLiteral(":/opt/qz/share/qz-core/defaults:/etc/qz"));
    CapturedStandardError captured;
    EXPECT_FALSE(LoggerDb::getInstance().initialize());
    EXPECT_EQ(captured.text(), "Configuration file not found: database.xml\n"
                               "Add it to one of these directories:\n"
                               "  /etc/qz\n"
                               "  /opt/qz/share/qz-core/defaults\n"
                               "  " +
                                   programDirectory().toStdString() + "\n");
}

TEST_F(DatabaseConfigurationTest, AFileInTheConfigurationFolderIsFound)
{
    expectNoSystemConfiguration();
    // Not a complete configuration: the start ends after the file was read.
    const QString file = mConfigHome.filePath(QStringLiteral("database.xml"));
    ASSERT_TRUE(ConfigurationText().without("memory").writeTo(file));
    CapturedStandardError captured;
    EXPECT_FALSE(LoggerDb::getInstance().initialize());
    EXPECT_EQ(captured.text(), "");
    EXPECT_TRUE(LogCapture::contains(parserLine("INFO", QStringLiteral("Parsing database file: ") + file)))
        << LogCapture::text().toStdString();
    EXPECT_TRUE(
        LogCapture::contains(dbLine("ERROR", QStringLiteral("LoggerDb: Method readParameters() failed"))));
    EXPECT_EQ(LoggerDb::getInstance().getLastError(), QStringLiteral("invalid file content"));
}

TEST_F(DatabaseConfigurationTest, TheUsersConfigurationFolderComesBeforeTheSystemsFolders)
{
    expectNoSystemConfiguration();
    const QString home = mConfigHome.filePath(QStringLiteral("database.xml"));
    const QString system = mConfigDirs.filePath(QStringLiteral("database.xml"));
    ASSERT_TRUE(ConfigurationText().without("memory").writeTo(home));
    ASSERT_TRUE(ConfigurationText().without("memory").writeTo(system));
    EXPECT_FALSE(LoggerDb::getInstance().initialize());
    EXPECT_TRUE(LogCapture::contains(parserLine("INFO", QStringLiteral("Parsing database file: ") + home)))
        << LogCapture::text().toStdString();
    EXPECT_FALSE(
        LogCapture::contains(parserLine("INFO", QStringLiteral("Parsing database file: ") + system)));
}

TEST_F(DatabaseConfigurationTest, AFileBesideTheProgramWinsOverTheConfigurationFolder)
{
    expectNoSystemConfiguration();
    // A copy of this program in a folder of the test, with a file beside it.
    QTemporaryDir programFolder;
    ASSERT_TRUE(programFolder.isValid());
    const QString folder = QFileInfo(programFolder.path()).canonicalFilePath();
    const QString program =
        folder + QLatin1Char('/') + QFileInfo(QCoreApplication::applicationFilePath()).fileName();
    ASSERT_TRUE(QFile::copy(QCoreApplication::applicationFilePath(), program));
    const QString beside = folder + QStringLiteral("/database.xml");
    ASSERT_TRUE(ConfigurationText().without("memory").writeTo(beside));
    ASSERT_TRUE(
        ConfigurationText().without("memory").writeTo(mConfigHome.filePath(QStringLiteral("database.xml"))));

    ChildTestProcess child(QStringLiteral("DatabaseConfigurationChild.StartsFromTheFirstFileFound"));
    child.setProgram(program);
    child.setVariable(QString::fromLatin1(kConfigHomeVariable), mConfigHome.path());
    child.setVariable(QString::fromLatin1(kConfigDirsVariable), mConfigDirs.path());
    child.setVariable(QString::fromLatin1(kExpectedFileVariable), beside);
    ASSERT_TRUE(child.run()) << child.report().toStdString();
    EXPECT_TRUE(child.passed()) << child.report().toStdString();
}

TEST_F(DatabaseConfigurationChild, StartsFromTheFirstFileFound)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP();
    ASSERT_TRUE(LogCapture::install());
    EXPECT_FALSE(LoggerDb::getInstance().initialize());
    QStringList parsed;
    for (const QString& line : LogCapture::lines()) {
        if (line.startsWith(QLatin1String("Logger.Parser|INFO|Parsing database file: ")))
            parsed.append(line);
    }
    EXPECT_EQ(parsed, QStringList{parserLine("INFO", QStringLiteral("Parsing database file: ") +
                                                         qEnvironmentVariable(kExpectedFileVariable))});
}

// --- What readParameters takes -----------------------------------------------------------------

TEST_F(DatabaseConfigurationTest, ReadParametersTakesTheQuotasTheTargetPathAndTheNames)
{
    LoggerDb& db = LoggerDb::getInstance();
    ASSERT_TRUE(db.readParameters(write(ConfigurationText().set("dropSchema", "true"))))
        << LogCapture::text().toStdString();
    EXPECT_EQ(db.getDiskName(), QStringLiteral("/media/card"));
    EXPECT_EQ(db.getPath(), QStringLiteral("/media/card/logger"));
    EXPECT_EQ(db.getFullDbName(), QStringLiteral("/media/card/logger/catalogue.db"));
    EXPECT_EQ(db.getDataFolder(), QStringLiteral("/media/card/logger/files"));
    EXPECT_TRUE(db.isDropSchema());
    const auto quotas = currentQuotas();
    EXPECT_EQ(quotas.at({LoggerType::CYCLIC, LoggerDataType::MEAN}), 21);
    EXPECT_EQ(quotas.at({LoggerType::CYCLIC, LoggerDataType::MEAN_24}), 0.2);
    EXPECT_EQ(db.getLastError(), QString());
}

TEST_F(DatabaseConfigurationTest, WithoutTargetPathTheDiskNameStaysAsItWas)
{
    LoggerDb& db = LoggerDb::getInstance();
    ASSERT_TRUE(db.readParameters(write(ConfigurationText())));
    ASSERT_TRUE(db.readParameters(write(ConfigurationText().without("targetPath").set("dbName", "second.db"),
                                        QStringLiteral("second.xml"))));
    EXPECT_EQ(db.getDiskName(), QStringLiteral("/media/card"));
    EXPECT_EQ(db.getFullDbName(), QStringLiteral("/media/card/logger/second.db"));
}

TEST_F(DatabaseConfigurationTest, DropSchemaInCapitalsCountsAsTrue)
{
    LoggerDb& db = LoggerDb::getInstance();
    ASSERT_TRUE(db.readParameters(write(ConfigurationText().set("dropSchema", "TRUE"))));
    EXPECT_TRUE(db.isDropSchema());
    ASSERT_TRUE(db.readParameters(write(ConfigurationText().set("dropSchema", "False"))));
    EXPECT_FALSE(db.isDropSchema());
}

TEST_F(DatabaseConfigurationTest, AnUnknownElementIsIgnored)
{
    LoggerDb& db = LoggerDb::getInstance();
    EXPECT_TRUE(db.readParameters(
        write(ConfigurationText().replace("<memory>", "<cardType value=\"sdhc\"/>\n  <memory>"))));
    EXPECT_EQ(db.getFullDbName(), QStringLiteral("/media/card/logger/catalogue.db"));
}

TEST_F(DatabaseConfigurationTest, AByteOrderMarkAndCarriageReturnLineEndsAreRead)
{
    LoggerDb& db = LoggerDb::getInstance();
    ASSERT_TRUE(db.readParameters(write(ConfigurationText(
        "\xEF\xBB\xBF" + ConfigurationText().set("dbName", "bom.db").replace("\n", "\r\n").bytes()))))
        << LogCapture::text().toStdString();
    EXPECT_EQ(db.getFullDbName(), QStringLiteral("/media/card/logger/bom.db"));
    EXPECT_EQ(currentQuotas().at({LoggerType::CYCLIC, LoggerDataType::MEAN}), 21);
}

TEST_F(DatabaseConfigurationTest, ReadParametersWithoutANameFailsAtOnce)
{
    const auto quotas = currentQuotas();
    LoggerDb& db = LoggerDb::getInstance();
    EXPECT_FALSE(db.readParameters(QString()));
    EXPECT_EQ(db.getLastError(), QString());
    EXPECT_EQ(currentQuotas(), quotas);
    EXPECT_TRUE(LogCapture::lines().isEmpty()) << LogCapture::text().toStdString();
}

// --- Files that are no configuration -----------------------------------------------------------

TEST_F(DatabaseConfigurationTest, AnEmptyFileIsRefused)
{
    expectRefused(ConfigurationText(QByteArray()),
                  QStringLiteral("could not parse file ") + configFile() +
                      QStringLiteral(" at line 1, column 0: Premature end of document."));
}

TEST_F(DatabaseConfigurationTest, AFileThatIsNoXmlIsRefused)
{
    expectRefused(ConfigurationText("[dataBase]\ndbName = logger.db\n"),
                  QStringLiteral("could not parse file ") + configFile() +
                      QStringLiteral(" at line 1, column 1: Start tag expected."));
}

TEST_F(DatabaseConfigurationTest, ATruncatedFileIsRefused)
{
    const QByteArray complete = ConfigurationText().bytes();
    const QByteArray truncated = complete.left(complete.indexOf("  </memory>"));
    expectRefused(ConfigurationText(truncated), QStringLiteral("could not parse file ") + configFile() +
                                                    QStringLiteral(" at line ") +
                                                    QString::number(truncated.count('\n') + 1) +
                                                    QStringLiteral(", column 0: Premature end of document."));
}

TEST_F(DatabaseConfigurationTest, AMissingQuotaIsRefused)
{
    expectRefused(ConfigurationText().without("disturbSignals"),
                  QStringLiteral("LoggerParser: disturbSignals not found"));
}

TEST_F(DatabaseConfigurationTest, AQuotaThatIsNoNumberIsRefused)
{
    expectRefused(ConfigurationText().set("eventAlarm", "20 percent"),
                  QStringLiteral("eventAlarm is not a number: 20 percent"));
}

TEST_F(DatabaseConfigurationTest, AMissingFileIsRefused)
{
    const auto quotas = currentQuotas();
    LoggerDb& db = LoggerDb::getInstance();
    const QString missing = mFiles.filePath(QStringLiteral("missing.xml"));
    EXPECT_FALSE(db.readParameters(missing));
    EXPECT_EQ(db.getLastError(), QStringLiteral("invalid file content"));
    EXPECT_TRUE(LogCapture::contains(
        parserLine("ERROR", QStringLiteral("could not parse file ") + missing +
                                QStringLiteral(" at opening: No such file or directory"))))
        << LogCapture::text().toStdString();
    EXPECT_EQ(currentQuotas(), quotas);
}

// --- initialize with a named file ----------------------------------------------------------------

TEST_F(DatabaseConfigurationTest, InitializeWithAFileThatIsNoConfigurationSaysInvalidFileContent)
{
    LoggerDb& db = LoggerDb::getInstance();
    db.setError(QStringLiteral("earlier"));
    EXPECT_FALSE(db.initialize(write(ConfigurationText("<dataBase/>"))));
    EXPECT_EQ(db.getLastError(), QStringLiteral("invalid file content"));
    EXPECT_TRUE(LogCapture::contains(parserLine("ERROR", QStringLiteral("memory not found in xml"))));
    // The start ends before the catalogue is looked at.
    for (const QString& line : LogCapture::lines())
        EXPECT_FALSE(line.startsWith(QLatin1String("Logger.Db|INFO|LoggerDb::initialize(")))
            << line.toStdString();
}

TEST_F(DatabaseConfigurationTest, InitializeWithoutAFileNameSaysErrorReadingParameterFileUnlessAnErrorIsKept)
{
    LoggerDb& db = LoggerDb::getInstance();
    EXPECT_FALSE(db.initialize(QString()));
    EXPECT_EQ(db.getAndResetLastError(), QStringLiteral("Error reading Parameter file"));
    db.setError(QStringLiteral("earlier"));
    EXPECT_FALSE(db.initialize(QString()));
    EXPECT_EQ(db.getLastError(), QStringLiteral("earlier"));
}

// --- Starts on the simulated card ------------------------------------------------------------------

TEST_F(DatabaseConfigurationTest, InitializeBringsTheStoreUpFromTheConfigurationItFinds)
{
    expectNoSystemConfiguration();
    WriterStore::Options options;
    options.initialize = false;
    WriterStore store(options);
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    ASSERT_TRUE(ConfigurationText()
                    .without("targetPath")
                    .set("fileDir", "configured-data")
                    .set("dbName", "configured.db")
                    .writeTo(mConfigHome.filePath(QStringLiteral("database.xml"))));

    LoggerDb& db = LoggerDb::getInstance();
    ASSERT_TRUE(DatabaseInterface().initialize()) << LogCapture::text().toStdString();
    EXPECT_TRUE(db.isInitialized());
    EXPECT_EQ(db.getDiskName(), store.mountPoint());
    EXPECT_EQ(db.getFullDbName(), store.loggerPath() + QStringLiteral("/configured.db"));
    EXPECT_TRUE(QFileInfo::exists(store.loggerPath() + QStringLiteral("/configured.db")));
    EXPECT_EQ(db.getDataFolder(), store.loggerPath() + QStringLiteral("/configured-data"));
    EXPECT_EQ(currentQuotas().at({LoggerType::EVENT, LoggerDataType::EVENT}), 18);
}

TEST_F(DatabaseConfigurationTest, ATargetPathWinsOverTheMountPointOfTheCard)
{
    WriterStore::Options options;
    options.initialize = false;
    WriterStore store(options);
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    SecondMountPoint target;
    ASSERT_TRUE(target.isValid());

    LoggerDb& db = LoggerDb::getInstance();
    ASSERT_TRUE(db.initialize(write(ConfigurationText().set("targetPath", target.path().toUtf8()))))
        << db.getLastError().toStdString() << "\n"
        << LogCapture::text().toStdString();
    EXPECT_EQ(db.getDiskName(), target.path());
    EXPECT_EQ(db.getFullDbName(), target.loggerPath() + QStringLiteral("/catalogue.db"));
    EXPECT_TRUE(QFileInfo::exists(target.loggerPath() + QStringLiteral("/catalogue.db")));
    EXPECT_FALSE(QFileInfo::exists(store.loggerPath() + QStringLiteral("/catalogue.db")));
    EXPECT_TRUE(LogCapture::contains(dbLine("INFO", QStringLiteral("Given mount point: ") + target.path())));
}

TEST_F(DatabaseConfigurationTest, ATargetPathThatDoesNotExistLoadsButTheStartFailsOnTheMountCheck)
{
    WriterStore::Options options;
    options.initialize = false;
    WriterStore store(options);
    ASSERT_TRUE(store.start()) << store.errorString().toStdString();
    const QString missing = store.mountPoint() + QStringLiteral("/missing");

    LoggerDb& db = LoggerDb::getInstance();
    const QString file = write(ConfigurationText().set("targetPath", missing.toUtf8()));
    ASSERT_TRUE(db.readParameters(file));
    EXPECT_EQ(db.getDiskName(), missing);
    EXPECT_FALSE(db.initialize(file));
    EXPECT_FALSE(db.isInitialized());
    EXPECT_TRUE(LogCapture::contains(
        dbLine("INFO", QStringLiteral("mDatabasePath = ") + missing + QStringLiteral("/logger"))))
        << LogCapture::text().toStdString();
    EXPECT_TRUE(LogCapture::contains(dbLine("INFO", QStringLiteral("database path does not exist"))));
    EXPECT_EQ(store.readLoggerStateFile(), LOGGER_STATE_SD_MOUNTED | LOGGER_STATE_DB_FAILED);
    EXPECT_EQ(db.getLastError(), QStringLiteral("the card path ") + missing +
                                     QStringLiteral(" does not exist: mount the card there or give a path "
                                                    "below /var/log"));
}

// --- DatabaseInterface -----------------------------------------------------------------------------

TEST_F(DatabaseConfigurationTest, DatabaseInterfaceSendsItsCallAndForwardsToLoggerDb)
{
    expectNoSystemConfiguration();
    std::vector<std::pair<std::string, LoggerMessageType>> messages;
    setLoggerMessageObserverForTesting(
        [&messages](const std::string& text, LoggerMessageType type) { messages.emplace_back(text, type); });
    DatabaseInterface facade;
    LoggerDb& db = LoggerDb::getInstance();

    const QString refused = write(ConfigurationText().without("cyclicMean"));
    EXPECT_FALSE(facade.initialize(refused));
    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(messages.front(),
              std::make_pair("DatabaseInterface::initialize(fileName=" + refused.toStdString() + ")",
                             LOGGER_MESSAGE_ROUTINE));
    EXPECT_EQ(db.getAndResetLastError(), QStringLiteral("invalid file content"));

    EXPECT_TRUE(facade.readParameters(write(ConfigurationText(), QStringLiteral("complete.xml"))));
    EXPECT_EQ(db.getFullDbName(), QStringLiteral("/media/card/logger/catalogue.db"));
    EXPECT_FALSE(facade.readParameters(refused));
    EXPECT_EQ(db.getLastError(), QStringLiteral("invalid file content"));

    messages.clear();
    CapturedStandardError captured;
    EXPECT_FALSE(facade.initialize());
    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(messages.front(),
              std::make_pair(std::string("DatabaseInterface::initialize()"), LOGGER_MESSAGE_ROUTINE));
    EXPECT_EQ(captured.text().rfind("Configuration file not found: database.xml\n", 0), 0u)
        << captured.text();
}

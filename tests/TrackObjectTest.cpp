#include "TrackObject.h"
#include "ChildTestProcess.h"
#include "LoggerLogging.h"
#include "TemporaryStoreRoot.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QFile>
#include <QRegularExpression>
#include <QString>

#include <iostream>
#include <thread>
#include <vector>

namespace {

class TrackedObject : public TrackObject {
public:
    explicit TrackedObject(const char* category) { initTrack(category); }
    // Counts through the protected counter itself, as the store's classes may.
    static void countErrorDirectly() { ++sErrorCounter; }
};

class UntrackedObject : public TrackObject {};

// A text whose building is counted: it stands for the costly text of a log line.
QString countedText(int& builds, const char* text)
{
    ++builds;
    return QString::fromLatin1(text);
}

const char* sourceName(LoggerLogging::Source source)
{
    switch (source) {
    case LoggerLogging::Source::NotConfigured:
        return "not-configured";
    case LoggerLogging::Source::File:
        return "file";
    case LoggerLogging::Source::ConsoleDefault:
        return "console";
    case LoggerLogging::Source::Host:
        return "host";
    }
    return "?";
}

void printSource()
{
    std::cout << "source=" << sourceName(LoggerLogging::getSource())
              << " file=" << LoggerLogging::getConfigurationFile().toStdString() << std::endl;
}

// --- in this process

TEST(TrackObjectTest, CategoriesAreTheStoresLoggerNames)
{
    EXPECT_STREQ(TrackObject::kCategoryAccess, "Logger.Access");
    EXPECT_STREQ(TrackObject::kCategoryAccessList, "Logger.AccessList");
    EXPECT_STREQ(TrackObject::kCategoryApi, "Logger.Api");
    EXPECT_STREQ(TrackObject::kCategoryDb, "Logger.Db");
    EXPECT_STREQ(TrackObject::kCategoryEventAlarm, "Logger.EventAlarm");
    EXPECT_STREQ(TrackObject::kCategoryList, "Logger.List");
    EXPECT_STREQ(TrackObject::kCategoryMemory, "Logger.Memory");
    EXPECT_STREQ(TrackObject::kCategoryParser, "Logger.Parser");
    EXPECT_STREQ(TrackObject::kCategoryPersist, "Logger.Persist");
    EXPECT_STREQ(TrackObject::kCategorySdcard, "Logger.Sdcard");
}

TEST(TrackObjectTest, InitTrackNamesTheCategory)
{
    const UntrackedObject untracked;
    EXPECT_TRUE(untracked.getTrackCategory().isEmpty());
    EXPECT_NE(untracked.getLogger(), nullptr);

    const TrackedObject tracked(TrackObject::kCategoryPersist);
    EXPECT_EQ(tracked.getTrackCategory(), QStringLiteral("Logger.Persist"));
    EXPECT_NE(tracked.getLogger(), nullptr);
    EXPECT_NE(tracked.getLogger(), untracked.getLogger());

    const TrackedObject other(TrackObject::kCategoryPersist);
    EXPECT_EQ(other.getLogger(), tracked.getLogger()) << "one logger per category";
}

TEST(TrackObjectTest, ErrorAndFatalCountersCountEachReport)
{
    const TrackedObject tracked(TrackObject::kCategoryList);
    const int errors = TrackObject::getErrorCounter();
    const int fatals = TrackObject::getFatalCounter();

    tracked.trackError(QStringLiteral("counted error"));
    TrackObject::incrementErrorCounter();
    TrackedObject::countErrorDirectly();
    EXPECT_EQ(TrackObject::getErrorCounter(), errors + 3);
    EXPECT_EQ(TrackObject::getFatalCounter(), fatals);

    tracked.trackFatal(QStringLiteral("counted fatal"));
    TrackObject::incrementFatalCounter();
    EXPECT_EQ(TrackObject::getFatalCounter(), fatals + 2);
    EXPECT_EQ(TrackObject::getErrorCounter(), errors + 3);

    tracked.trackWarn(QStringLiteral("a warning counts nowhere"));
    tracked.trackInfo(QStringLiteral("nor does information"));
    EXPECT_EQ(TrackObject::getErrorCounter(), errors + 3);
    EXPECT_EQ(TrackObject::getFatalCounter(), fatals + 2);
}

TEST(TrackObjectTest, CountersAreSharedByAllThreads)
{
    constexpr int kThreads = 4;
    constexpr int kCountsPerThread = 20000;
    const int errors = TrackObject::getErrorCounter();
    const int fatals = TrackObject::getFatalCounter();
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([] {
            for (int i = 0; i < kCountsPerThread; ++i) {
                TrackObject::incrementErrorCounter();
                TrackObject::incrementFatalCounter();
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(TrackObject::getErrorCounter(), errors + kThreads * kCountsPerThread);
    EXPECT_EQ(TrackObject::getFatalCounter(), fatals + kThreads * kCountsPerThread);
}

// --- logging set-up, in processes of their own since it is fixed at the first logger

// Logs a few lines through three objects, after printing where the configuration came from.
TEST(TrackObjectChild, LogsAFewLines)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of a logging set-up test";
    const TrackedObject db(TrackObject::kCategoryDb);
    const TrackedObject api(TrackObject::kCategoryApi);
    const UntrackedObject plain;
    printSource();
    db.trackInfo(QStringLiteral("info from db"));
    db.trackDebug(QStringLiteral("debug from db"));
    api.trackWarn(QStringLiteral("warn from api"));
    plain.trackInfo(QStringLiteral("info from root"));
}

// Builds texts through the TRACK_* macros; the configuration sets Logger.Db to DEBUG,
// Logger.Api to ERROR, Logger.Parser to OFF and the root to INFO.
TEST(TrackObjectChild, BuildsTextsOnlyForEnabledLevels)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of TextsAreBuiltOnlyForEnabledLevels";
    const TrackedObject db(TrackObject::kCategoryDb);
    const TrackedObject api(TrackObject::kCategoryApi);
    const TrackedObject parser(TrackObject::kCategoryParser);
    const UntrackedObject plain;
    ASSERT_EQ(LoggerLogging::getSource(), LoggerLogging::Source::File);

    EXPECT_TRUE(db.isDebugEnabled());
    EXPECT_FALSE(api.isWarnEnabled());
    EXPECT_TRUE(api.isErrorEnabled());
    EXPECT_FALSE(parser.isFatalEnabled());
    EXPECT_FALSE(plain.isDebugEnabled());
    EXPECT_TRUE(plain.isInfoEnabled());

    int builds = 0;
    TRACK_DEBUG(db, countedText(builds, "debug from db"));
    EXPECT_EQ(builds, 1);
    TRACK_DEBUG(api, countedText(builds, "debug from api"));
    TRACK_INFO(api, countedText(builds, "info from api"));
    TRACK_WARN(api, countedText(builds, "warn from api"));
    TRACK_DEBUG(plain, countedText(builds, "debug from root"));
    EXPECT_EQ(builds, 1) << "a text was built for a level that is off";
    TRACK_INFO(plain, countedText(builds, "info from root"));
    EXPECT_EQ(builds, 2);

    const int errors = TrackObject::getErrorCounter();
    const int fatals = TrackObject::getFatalCounter();
    TRACK_ERROR(api, countedText(builds, "error from api"));
    EXPECT_EQ(builds, 3);
    TRACK_ERROR(parser, countedText(builds, "error from parser"));
    TRACK_FATAL(parser, countedText(builds, "fatal from parser"));
    EXPECT_EQ(builds, 3) << "a text was built for a level that is off";
    EXPECT_EQ(TrackObject::getErrorCounter(), errors + 2) << "errors count even where filtered";
    EXPECT_EQ(TrackObject::getFatalCounter(), fatals + 1) << "fatal errors count even where filtered";
}

// Configures from many threads at once, then logs one line.
TEST(TrackObjectChild, ConfiguresFromManyThreads)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of ConfigureActsOnceWhateverTheThreads";
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([t] {
            if (t % 2 == 0) {
                LoggerLogging::configure();
            } else {
                const TrackedObject tracked(TrackObject::kCategoryMemory);
                EXPECT_NE(tracked.getLogger(), nullptr);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    LoggerLogging::configure();
    LoggerLogging::configure();
    printSource();
    const TrackedObject memory(TrackObject::kCategoryMemory);
    memory.trackInfo(QStringLiteral("configured once"));
}

class LoggingSetUpTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(mRoot.isValid()); }

    // A properties file whose root logger writes "category|level|message" lines into output.
    QString writeProperties(const QString& name, const QString& output,
                            const QString& extra = QString()) const
    {
        const QString path = mRoot.filePath(name);
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        const QString text = QStringLiteral("log4j.rootLogger=INFO, out\n"
                                            "log4j.appender.out=org.apache.log4j.FileAppender\n"
                                            "log4j.appender.out.File=%1\n"
                                            "log4j.appender.out.Append=false\n"
                                            "log4j.appender.out.layout=org.apache.log4j.PatternLayout\n"
                                            "log4j.appender.out.layout.ConversionPattern=%c|%p|%m%n\n")
                                 .arg(output) +
                             extra;
        file.write(text.toUtf8());
        return path;
    }

    // The same as an XML file for log4cxx's DOMConfigurator.
    QString writeXml(const QString& name, const QString& output) const
    {
        const QString path = mRoot.filePath(name);
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        const QString text =
            QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                           "<log4j:configuration xmlns:log4j=\"http://jakarta.apache.org/log4j/\">\n"
                           "  <appender name=\"out\" class=\"org.apache.log4j.FileAppender\">\n"
                           "    <param name=\"File\" value=\"%1\"/>\n"
                           "    <param name=\"Append\" value=\"false\"/>\n"
                           "    <layout class=\"org.apache.log4j.PatternLayout\">\n"
                           "      <param name=\"ConversionPattern\" value=\"%c|%p|%m%n\"/>\n"
                           "    </layout>\n"
                           "  </appender>\n"
                           "  <root>\n"
                           "    <priority value=\"info\"/>\n"
                           "    <appender-ref ref=\"out\"/>\n"
                           "  </root>\n"
                           "</log4j:configuration>\n")
                .arg(output);
        file.write(text.toUtf8());
        return path;
    }

    static QByteArray readFile(const QString& path)
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return QByteArray("<missing>");
        return file.readAll();
    }

    // A child with neither configuration variable, unless the test sets one.
    static void clearConfigurationVariables(ChildTestProcess& child)
    {
        child.unsetVariable(QString::fromLatin1(LoggerLogging::kConfigVariable));
        child.unsetVariable(QString::fromLatin1(LoggerLogging::kLog4cxxConfigVariable));
        child.unsetVariable(QStringLiteral("log4j.configuration"));
    }

    static QByteArray expectedLines()
    {
        return QByteArray("Logger.Db|INFO|info from db\n"
                          "Logger.Api|WARN|warn from api\n"
                          "root|INFO|info from root\n");
    }

    TemporaryStoreRoot mRoot;
};

TEST_F(LoggingSetUpTest, QzloggerLogConfigIsHonoured)
{
    const QString output = mRoot.filePath(QStringLiteral("out.log"));
    const QString config = writeProperties(QStringLiteral("qz.properties"), output);
    ChildTestProcess child(QStringLiteral("TrackObjectChild.LogsAFewLines"));
    clearConfigurationVariables(child);
    child.setVariable(QString::fromLatin1(LoggerLogging::kConfigVariable), config);
    ASSERT_TRUE(child.run()) << child.report().toStdString();
    ASSERT_TRUE(child.passed()) << child.report().toStdString();
    EXPECT_TRUE(child.standardOutput().contains(("source=file file=" + config).toUtf8()))
        << child.report().toStdString();
    EXPECT_EQ(readFile(output), expectedLines());
    EXPECT_FALSE(child.standardError().contains("info from db")) << "the console default was added as well";
}

TEST_F(LoggingSetUpTest, XmlConfigurationIsReadAsXml)
{
    const QString output = mRoot.filePath(QStringLiteral("out.log"));
    const QString config = writeXml(QStringLiteral("qz.xml"), output);
    ChildTestProcess child(QStringLiteral("TrackObjectChild.LogsAFewLines"));
    clearConfigurationVariables(child);
    child.setVariable(QString::fromLatin1(LoggerLogging::kConfigVariable), config);
    ASSERT_TRUE(child.run()) << child.report().toStdString();
    ASSERT_TRUE(child.passed()) << child.report().toStdString();
    EXPECT_TRUE(child.standardOutput().contains(("source=file file=" + config).toUtf8()))
        << child.report().toStdString();
    EXPECT_EQ(readFile(output), expectedLines());
}

TEST_F(LoggingSetUpTest, Log4cxxConfigurationIsHonouredWithoutQzloggerLogConfig)
{
    const QString output = mRoot.filePath(QStringLiteral("out.log"));
    const QString config = writeProperties(QStringLiteral("log4cxx-env.properties"), output);
    ChildTestProcess child(QStringLiteral("TrackObjectChild.LogsAFewLines"));
    clearConfigurationVariables(child);
    child.setVariable(QString::fromLatin1(LoggerLogging::kLog4cxxConfigVariable), config);
    ASSERT_TRUE(child.run()) << child.report().toStdString();
    ASSERT_TRUE(child.passed()) << child.report().toStdString();
    EXPECT_TRUE(child.standardOutput().contains(("source=file file=" + config).toUtf8()))
        << child.report().toStdString();
    EXPECT_EQ(readFile(output), expectedLines());
}

TEST_F(LoggingSetUpTest, QzloggerLogConfigWinsOverLog4cxxConfiguration)
{
    const QString qzOutput = mRoot.filePath(QStringLiteral("qz.log"));
    const QString log4cxxOutput = mRoot.filePath(QStringLiteral("log4cxx.log"));
    const QString qzConfig = writeProperties(QStringLiteral("qz.properties"), qzOutput);
    const QString log4cxxConfig = writeProperties(QStringLiteral("log4cxx-env.properties"), log4cxxOutput);
    ChildTestProcess child(QStringLiteral("TrackObjectChild.LogsAFewLines"));
    clearConfigurationVariables(child);
    child.setVariable(QString::fromLatin1(LoggerLogging::kConfigVariable), qzConfig);
    child.setVariable(QString::fromLatin1(LoggerLogging::kLog4cxxConfigVariable), log4cxxConfig);
    ASSERT_TRUE(child.run()) << child.report().toStdString();
    ASSERT_TRUE(child.passed()) << child.report().toStdString();
    EXPECT_EQ(readFile(qzOutput), expectedLines());
    EXPECT_FALSE(QFile::exists(log4cxxOutput));
}

TEST_F(LoggingSetUpTest, MissingNamedFileFallsBackWithAWarning)
{
    const QString missing = mRoot.filePath(QStringLiteral("missing.properties"));
    const QString output = mRoot.filePath(QStringLiteral("out.log"));
    const QString log4cxxConfig = writeProperties(QStringLiteral("log4cxx-env.properties"), output);
    ChildTestProcess child(QStringLiteral("TrackObjectChild.LogsAFewLines"));
    clearConfigurationVariables(child);
    child.setVariable(QString::fromLatin1(LoggerLogging::kConfigVariable), missing);
    child.setVariable(QString::fromLatin1(LoggerLogging::kLog4cxxConfigVariable), log4cxxConfig);
    ASSERT_TRUE(child.run()) << child.report().toStdString();
    ASSERT_TRUE(child.passed()) << child.report().toStdString();
    EXPECT_EQ(readFile(output), "root|WARN|log configuration " + missing.toUtf8() +
                                    " of QZLOGGER_LOG_CONFIG not found\n" + expectedLines());
}

TEST_F(LoggingSetUpTest, WithoutNamedFilesTheConsoleDefaultWritesInfoToStandardError)
{
    const QString missing = mRoot.filePath(QStringLiteral("missing.properties"));
    ChildTestProcess child(QStringLiteral("TrackObjectChild.LogsAFewLines"));
    clearConfigurationVariables(child);
    child.setVariable(QString::fromLatin1(LoggerLogging::kLog4cxxConfigVariable), missing);
    ASSERT_TRUE(child.run()) << child.report().toStdString();
    ASSERT_TRUE(child.passed()) << child.report().toStdString();
    EXPECT_TRUE(child.standardOutput().contains("source=console file=\n")) << child.report().toStdString();

    const QString errors = QString::fromUtf8(child.standardError());
    const QString stamp = QStringLiteral("\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} ");
    const QString expected[] = {
        stamp + QStringLiteral("WARN  \\[root\\] log configuration ") + QRegularExpression::escape(missing) +
            QStringLiteral(" of LOG4CXX_CONFIGURATION not found"),
        stamp + QStringLiteral("INFO  \\[Logger\\.Db\\] info from db"),
        stamp + QStringLiteral("WARN  \\[Logger\\.Api\\] warn from api"),
        stamp + QStringLiteral("INFO  \\[root\\] info from root"),
    };
    for (const QString& pattern : expected) {
        const QRegularExpression line(QStringLiteral("^") + pattern + QStringLiteral("$"),
                                      QRegularExpression::MultilineOption);
        EXPECT_TRUE(line.match(errors).hasMatch()) << "no line " << pattern.toStdString() << " in\n"
                                                   << errors.toStdString();
    }
    EXPECT_FALSE(errors.contains(QStringLiteral("debug from db")));
}

TEST_F(LoggingSetUpTest, StrayConfigurationInTheWorkingDirectoryIsNotPickedUp)
{
    const QString strayProperties = mRoot.filePath(QStringLiteral("stray-properties.log"));
    const QString strayLog4j = mRoot.filePath(QStringLiteral("stray-log4j.log"));
    const QString strayXml = mRoot.filePath(QStringLiteral("stray-xml.log"));
    writeProperties(QStringLiteral("log4cxx.properties"), strayProperties);
    writeProperties(QStringLiteral("log4j.properties"), strayLog4j);
    writeXml(QStringLiteral("log4cxx.xml"), strayXml);

    ChildTestProcess child(QStringLiteral("TrackObjectChild.LogsAFewLines"));
    clearConfigurationVariables(child);
    child.setWorkingDirectory(mRoot.path());
    ASSERT_TRUE(child.run()) << child.report().toStdString();
    ASSERT_TRUE(child.passed()) << child.report().toStdString();
    EXPECT_TRUE(child.standardOutput().contains("source=console file=\n")) << child.report().toStdString();
    EXPECT_FALSE(QFile::exists(strayProperties));
    EXPECT_FALSE(QFile::exists(strayLog4j));
    EXPECT_FALSE(QFile::exists(strayXml));
    EXPECT_TRUE(child.standardError().contains("INFO  [Logger.Db] info from db"))
        << child.report().toStdString();
}

TEST_F(LoggingSetUpTest, TextsAreBuiltOnlyForEnabledLevels)
{
    const QString output = mRoot.filePath(QStringLiteral("out.log"));
    const QString config = writeProperties(QStringLiteral("levels.properties"), output,
                                           QStringLiteral("log4j.logger.Logger.Db=DEBUG\n"
                                                          "log4j.logger.Logger.Api=ERROR\n"
                                                          "log4j.logger.Logger.Parser=OFF\n"));
    ChildTestProcess child(QStringLiteral("TrackObjectChild.BuildsTextsOnlyForEnabledLevels"));
    clearConfigurationVariables(child);
    child.setVariable(QString::fromLatin1(LoggerLogging::kConfigVariable), config);
    ASSERT_TRUE(child.run()) << child.report().toStdString();
    EXPECT_TRUE(child.passed()) << child.report().toStdString();
    EXPECT_EQ(readFile(output), QByteArray("Logger.Db|DEBUG|debug from db\n"
                                           "root|INFO|info from root\n"
                                           "Logger.Api|ERROR|error from api\n"));
}

TEST_F(LoggingSetUpTest, ConfigureActsOnceWhateverTheThreads)
{
    ChildTestProcess child(QStringLiteral("TrackObjectChild.ConfiguresFromManyThreads"));
    clearConfigurationVariables(child);
    ASSERT_TRUE(child.run()) << child.report().toStdString();
    ASSERT_TRUE(child.passed()) << child.report().toStdString();
    EXPECT_TRUE(child.standardOutput().contains("source=console file=\n")) << child.report().toStdString();
    EXPECT_EQ(child.standardError().count("configured once"), 1) << child.report().toStdString();
}

} // namespace

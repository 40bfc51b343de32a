// The sample log configuration docs/log4cxx.properties: loaded as a host program loads it, with
// log4cxx's PropertyConfigurator, and as the store loads it, named by QZLOGGER_LOG_CONFIG. Its
// rolling file goes to a fresh folder instead of /var/log/qzlogger.

#include "ChildTestProcess.h"
#include "LoggerLogging.h"
#include "TemporaryStoreRoot.h"
#include "TrackObject.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QFile>
#include <QString>

#include <log4cxx/consoleappender.h>
#include <log4cxx/logger.h>
#include <log4cxx/logmanager.h>
#include <log4cxx/propertyconfigurator.h>
#include <log4cxx/rolling/rollingfileappender.h>

#include <iostream>
#include <string>
#include <utility>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
// Debian's log4cxx 1.0 frees its FixedWindowRollingPolicy with the size of another class, which
// AddressSanitizer reports as a mismatch inside the library when the sample's rolling file
// appender goes. The check stays on for everything else; this program, and the child processes
// it starts from itself, take this default.
extern "C" const char* __asan_default_options()
{
    return "new_delete_type_mismatch=0";
}
#endif

namespace {

const char* const kSampleLogFolder = "/var/log/qzlogger/";

// The levels the sample gives the store's categories.
const std::vector<std::pair<const char*, const char*>>& expectedLevels()
{
    static const std::vector<std::pair<const char*, const char*>> levels = {
        {TrackObject::kCategoryDb, "INFO"},       {TrackObject::kCategoryList, "INFO"},
        {TrackObject::kCategorySdcard, "DEBUG"},  {TrackObject::kCategoryApi, "WARN"},
        {TrackObject::kCategoryAccess, "WARN"},   {TrackObject::kCategoryAccessList, "WARN"},
        {TrackObject::kCategoryMemory, "INFO"},   {TrackObject::kCategoryParser, "WARN"},
        {TrackObject::kCategoryPersist, "ERROR"}, {TrackObject::kCategoryEventAlarm, "INFO"},
    };
    return levels;
}

std::string text(const log4cxx::LogString& logText)
{
    LOG4CXX_ENCODE_CHAR(encoded, logText);
    return encoded;
}

std::string effectiveLevel(const char* category)
{
    return text(log4cxx::Logger::getLogger(category)->getEffectiveLevel()->toString());
}

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// A copy of the sample whose rolling file lies in the folder given.
QString copySample(const TemporaryStoreRoot& root)
{
    QByteArray sample = readFile(QStringLiteral(QZLOGGER_LOG_PROPERTIES_SAMPLE));
    if (sample.isEmpty() || !sample.contains(kSampleLogFolder))
        return QString();
    sample.replace(kSampleLogFolder, (root.path() + QLatin1Char('/')).toUtf8());
    const QString copy = root.filePath(QStringLiteral("log4cxx.properties"));
    QFile file(copy);
    if (!file.open(QIODevice::WriteOnly) || file.write(sample) != sample.size())
        return QString();
    return copy;
}

class TrackedObject : public TrackObject {
public:
    explicit TrackedObject(const char* category) { initTrack(category); }
};

} // namespace

TEST(LogPropertiesSampleTest, NamesEveryCategoryOfTheStore)
{
    const QByteArray sample = readFile(QStringLiteral(QZLOGGER_LOG_PROPERTIES_SAMPLE));
    ASSERT_FALSE(sample.isEmpty());
    for (const auto& level : expectedLevels()) {
        const QByteArray line = QByteArray("log4j.logger.") + level.first + '=' + level.second + '\n';
        EXPECT_TRUE(sample.contains(line)) << "missing: " << line.constData();
    }
    EXPECT_EQ(expectedLevels().size(), 10u);
}

// A host program configures log4cxx with the file before it first uses the store.
TEST(LogPropertiesSampleTest, PropertyConfiguratorGivesTheCategoriesTheirLevels)
{
    TemporaryStoreRoot root;
    const QString copy = copySample(root);
    ASSERT_FALSE(copy.isEmpty());
    const log4cxx::spi::ConfigurationStatus status =
        log4cxx::PropertyConfigurator::configure(log4cxx::File(copy.toStdString()));
    ASSERT_EQ(status, log4cxx::spi::ConfigurationStatus::Configured);

    for (const auto& level : expectedLevels())
        EXPECT_EQ(effectiveLevel(level.first), level.second) << level.first;
    EXPECT_EQ(effectiveLevel("Logger"), "INFO");
    EXPECT_EQ(text(log4cxx::Logger::getRootLogger()->getLevel()->toString()), "INFO");

    const log4cxx::LoggerPtr rootLogger = log4cxx::Logger::getRootLogger();
    const auto console =
        log4cxx::cast<log4cxx::ConsoleAppender>(rootLogger->getAppender(LOG4CXX_STR("stderr")));
    ASSERT_NE(console, nullptr);
    EXPECT_EQ(text(console->getTarget()), "System.err");
    EXPECT_EQ(text(console->getThreshold()->toString()), "WARN");
    const auto rolling =
        log4cxx::cast<log4cxx::rolling::RollingFileAppender>(rootLogger->getAppender(LOG4CXX_STR("file")));
    ASSERT_NE(rolling, nullptr);
    const QString logFile = root.filePath(QStringLiteral("qzlogger.log"));
    EXPECT_EQ(text(rolling->getFile()), logFile.toStdString());

    // What a category lets through reaches the file; what it filters does not.
    const TrackedObject card(TrackObject::kCategorySdcard);
    const TrackedObject api(TrackObject::kCategoryApi);
    card.trackDebug(QStringLiteral("debug from the card"));
    api.trackInfo(QStringLiteral("info from the read API"));
    api.trackWarn(QStringLiteral("warning from the read API"));
    const QByteArray written = readFile(logFile);
    EXPECT_TRUE(written.contains("DEBUG [Logger.Sdcard]")) << written.constData();
    EXPECT_TRUE(written.contains("debug from the card")) << written.constData();
    EXPECT_FALSE(written.contains("info from the read API")) << written.constData();
    EXPECT_TRUE(written.contains("WARN  [Logger.Api]")) << written.constData();
    log4cxx::LogManager::resetConfiguration();
}

// The child: its first tracked object configures logging by the store's rule; prints where the
// configuration came from and the level of each category.
TEST(LogPropertiesSampleChild, PrintsTheLevels)
{
    if (!ChildTestProcess::isChild())
        GTEST_SKIP() << "runs only as the child of LogPropertiesSampleTest";
    const TrackedObject db(TrackObject::kCategoryDb);
    std::cout << "source-is-file=" << (LoggerLogging::getSource() == LoggerLogging::Source::File ? 1 : 0)
              << " file=" << LoggerLogging::getConfigurationFile().toStdString() << '\n';
    for (const auto& level : expectedLevels())
        std::cout << "level " << level.first << '=' << effectiveLevel(level.first) << '\n';
    std::cout << std::flush;
}

// The store configures log4cxx with the file that QZLOGGER_LOG_CONFIG names.
TEST(LogPropertiesSampleTest, TheStoreLoadsItFromQzloggerLogConfig)
{
    TemporaryStoreRoot root;
    const QString copy = copySample(root);
    ASSERT_FALSE(copy.isEmpty());
    ChildTestProcess child(QStringLiteral("LogPropertiesSampleChild.PrintsTheLevels"));
    child.unsetVariable(QString::fromLatin1(LoggerLogging::kLog4cxxConfigVariable));
    child.setVariable(QString::fromLatin1(LoggerLogging::kConfigVariable), copy);
    ASSERT_TRUE(child.run()) << child.report().toStdString();
    ASSERT_TRUE(child.passed()) << child.report().toStdString();
    const QByteArray output = child.standardOutput();
    EXPECT_TRUE(output.contains(("source-is-file=1 file=" + copy).toUtf8())) << output.constData();
    for (const auto& level : expectedLevels()) {
        const QByteArray line = QByteArray("level ") + level.first + '=' + level.second + '\n';
        EXPECT_TRUE(output.contains(line)) << "missing: " << line.constData() << output.constData();
    }
}

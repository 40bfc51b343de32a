#include "LoggerLogging.h"

#include <QFileInfo>
#include <QStringList>

#include <log4cxx/consoleappender.h>
#include <log4cxx/helpers/transcoder.h>
#include <log4cxx/logger.h>
#include <log4cxx/logmanager.h>
#include <log4cxx/patternlayout.h>
#include <log4cxx/propertyconfigurator.h>
#include <log4cxx/spi/hierarchyeventlistener.h>
#include <log4cxx/xml/domconfigurator.h>

#include <atomic>
#include <exception>
#include <mutex>

namespace {

// Kept in a function-local static, since the first TrackObject may be built during the
// library's static start-up, before a namespace-scope object of this file would be.
struct LoggingState {
    std::once_flag once;
    std::mutex mutex; // guards source and file
    LoggerLogging::Source source = LoggerLogging::Source::NotConfigured;
    QString file;
};

LoggingState& loggingState()
{
    static LoggingState state;
    return state;
}

// A plain integer read without a lock on every hot-path check; relaxed, since a keeper of an
// answer only needs to see that it moved, and asks log4cxx itself for the new answer.
std::atomic<unsigned int> sGeneration{1};

// Tells of every appender that comes or goes in the repository: a configurator, ours or the
// host's, resets the repository and adds its appenders again.
class AppenderChangeListener : public log4cxx::spi::HierarchyEventListener {
public:
    void addAppenderEvent(const log4cxx::Logger*, const log4cxx::Appender*) override
    {
        LoggerLogging::configurationChanged();
    }
    void removeAppenderEvent(const log4cxx::Logger*, const log4cxx::Appender*) override
    {
        LoggerLogging::configurationChanged();
    }

    const log4cxx::helpers::Class& getClass() const override
    {
        return log4cxx::helpers::Object::getStaticClass();
    }
    bool instanceof (const log4cxx::helpers::Class& clazz) const override { return cast(clazz) != nullptr; }
    const void* cast(const log4cxx::helpers::Class& clazz) const override
    {
        return &clazz == &log4cxx::helpers::Object::getStaticClass()
                   ? static_cast<const log4cxx::helpers::Object*>(this)
                   : nullptr;
    }
};

log4cxx::LogString toLogString(const QString& text)
{
    LOG4CXX_DECODE_CHAR(logText, text.toStdString());
    return logText;
}

bool configureFromFile(const QString& fileName, QStringList& warnings)
{
    try {
        const log4cxx::spi::ConfigurationStatus status =
            fileName.endsWith(QLatin1String(".xml"), Qt::CaseInsensitive)
                ? log4cxx::xml::DOMConfigurator::configure(fileName.toStdString())
                : log4cxx::PropertyConfigurator::configure(log4cxx::File(toLogString(fileName)));
        if (status == log4cxx::spi::ConfigurationStatus::Configured)
            return true;
        warnings << QStringLiteral("log configuration %1 configures nothing").arg(fileName);
    } catch (const std::exception& e) {
        warnings << QStringLiteral("log configuration %1 failed: %2")
                        .arg(fileName, QString::fromLocal8Bit(e.what()));
    }
    return false;
}

void configureConsoleDefault(const log4cxx::spi::LoggerRepositoryPtr& repository)
{
    auto layout = std::make_shared<log4cxx::PatternLayout>(
        toLogString(QString::fromLatin1(LoggerLogging::kConsolePattern)));
    auto appender =
        std::make_shared<log4cxx::ConsoleAppender>(layout, log4cxx::ConsoleAppender::getSystemErr());
    appender->setName(LOG4CXX_STR("console"));
    const log4cxx::LoggerPtr root = repository->getRootLogger();
    root->addAppender(appender);
    root->setLevel(log4cxx::Level::getInfo());
}

void configureProcess(LoggingState& state)
{
    const log4cxx::spi::LoggerRepositoryPtr repository = log4cxx::LogManager::getLoggerRepository();
    repository->addHierarchyEventListener(std::make_shared<AppenderChangeListener>());

    // Claiming the repository's first configuration keeps log4cxx's own start-up, with its
    // search of the working directory, from ever running. Where the claim fails, someone in the
    // process configured log4cxx before, and that stays.
    bool claimed = false;
    repository->ensureIsConfigured([&claimed] { claimed = true; });
    if (!claimed) {
        std::lock_guard<std::mutex> lock(state.mutex);
        state.source = LoggerLogging::Source::Host;
        LoggerLogging::configurationChanged();
        return;
    }

    QStringList warnings;
    QString configuredFile;
    for (const char* variable : {LoggerLogging::kConfigVariable, LoggerLogging::kLog4cxxConfigVariable}) {
        const QString fileName = qEnvironmentVariable(variable);
        if (fileName.isEmpty())
            continue;
        if (!QFileInfo(fileName).isFile()) {
            warnings << QStringLiteral("log configuration %1 of %2 not found")
                            .arg(fileName, QString::fromLatin1(variable));
            continue;
        }
        if (configureFromFile(fileName, warnings)) {
            configuredFile = fileName;
            break;
        }
    }
    if (configuredFile.isEmpty())
        configureConsoleDefault(repository);
    repository->setConfigured(true);

    {
        std::lock_guard<std::mutex> lock(state.mutex);
        state.source =
            configuredFile.isEmpty() ? LoggerLogging::Source::ConsoleDefault : LoggerLogging::Source::File;
        state.file = configuredFile;
    }
    LoggerLogging::configurationChanged();

    const log4cxx::LoggerPtr root = repository->getRootLogger();
    for (const QString& warning : warnings)
        LOG4CXX_WARN(root, warning.toStdString());
    LOG4CXX_DEBUG(root,
                  "logging configured from " << (configuredFile.isEmpty() ? std::string("the console default")
                                                                          : configuredFile.toStdString()));
}

} // namespace

void LoggerLogging::configure()
{
    LoggingState& state = loggingState();
    std::call_once(state.once, [&state] { configureProcess(state); });
}

unsigned int LoggerLogging::getGeneration()
{
    return sGeneration.load(std::memory_order_relaxed);
}

void LoggerLogging::configurationChanged()
{
    sGeneration.fetch_add(1, std::memory_order_relaxed);
}

LoggerLogging::Source LoggerLogging::getSource()
{
    LoggingState& state = loggingState();
    std::lock_guard<std::mutex> lock(state.mutex);
    return state.source;
}

QString LoggerLogging::getConfigurationFile()
{
    LoggingState& state = loggingState();
    std::lock_guard<std::mutex> lock(state.mutex);
    return state.file;
}

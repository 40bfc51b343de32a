#pragma once

#include <QString>

// Sets up log4cxx for the process in a way that does not depend on the working directory.
//
// log4cxx, left to itself, configures on the first logger fetched: from LOG4CXX_CONFIGURATION,
// or else from a log4cxx.xml, log4cxx.properties, log4j.xml or log4j.properties that happens to
// lie in the working directory. The store's rule instead:
//   1. QZLOGGER_LOG_CONFIG names an existing file: it configures log4cxx;
//   2. else LOG4CXX_CONFIGURATION names an existing file: it configures log4cxx;
//   3. else a console default: a ConsoleAppender on stderr, level INFO.
// A file ending in ".xml" is read by log4cxx's DOMConfigurator, any other as a properties file.
// A named file that does not exist, or that configures nothing, is reported as a warning in the
// configuration that follows and passed over. No file of the working directory is ever read.
//
// configure() acts once per process and may be called from any thread; TrackObject::initTrack
// calls it before the first logger is fetched. Where log4cxx was already configured in the
// process before (a host program that set it up itself), that configuration stays untouched.
//
// getGeneration() changes whenever the configuration may have changed: when configure() ran,
// and when an appender was added to or removed from any logger of the repository, which every
// run of a log4cxx configurator does, the host's own included (a listener on the repository,
// installed by configure(), sees it). Whoever keeps an answer of isDebugEnabled() and its like
// for a hot path asks again when the number moves. A level set by hand with Logger::setLevel
// tells nobody; such a keeper also asks again at its own natural points (the write cache: with
// the first item of each block).
class LoggerLogging {
public:
    static constexpr const char* kConfigVariable = "QZLOGGER_LOG_CONFIG";
    static constexpr const char* kLog4cxxConfigVariable = "LOG4CXX_CONFIGURATION";
    static constexpr const char* kConsolePattern = "%d{yyyy-MM-dd HH:mm:ss.SSS} %-5p [%c] %m%n";

    enum class Source {
        NotConfigured, // configure() has not run yet
        File,          // from the file getConfigurationFile() names
        ConsoleDefault,
        Host, // log4cxx was configured before the store's first call
    };

    LoggerLogging() = delete;

    static void configure();

    static Source getSource();
    // Starts at 1; see above.
    static unsigned int getGeneration();
    // Moves the generation on.
    static void configurationChanged();
    // The file that configured log4cxx; empty unless the source is File.
    static QString getConfigurationFile();
};

#pragma once

#include "qzlogger_export.h"

#include <QString>
#include <atomic>
#include <memory>

namespace log4cxx {
class Logger;
}

// Base class of the store's long-lived classes. A subclass names its log4cxx category with
// initTrack in its constructor; its log lines then go to the logger of that name. Two
// process-wide counters keep how many errors and fatal errors were reported, even where the
// log level filters the lines.
//
// Inside the library, code logs with the LOG4CXX_* macros on getLogger(); they test the level
// before the text is built. Code that does not use log4cxx directly has the track* operations
// and the TRACK_* macros below, which do the same.
class QZLOGGER_EXPORT TrackObject {
public:
    static constexpr const char* kCategoryAccess = "Logger.Access";
    static constexpr const char* kCategoryAccessList = "Logger.AccessList";
    static constexpr const char* kCategoryApi = "Logger.Api";
    static constexpr const char* kCategoryDb = "Logger.Db";
    static constexpr const char* kCategoryEventAlarm = "Logger.EventAlarm";
    static constexpr const char* kCategoryList = "Logger.List";
    static constexpr const char* kCategoryMemory = "Logger.Memory";
    static constexpr const char* kCategoryParser = "Logger.Parser";
    static constexpr const char* kCategoryPersist = "Logger.Persist";
    static constexpr const char* kCategorySdcard = "Logger.Sdcard";

    virtual ~TrackObject();

    static int getErrorCounter();
    static int getFatalCounter();
    static void incrementErrorCounter();
    static void incrementFatalCounter();

    // The category given to initTrack; empty before.
    QString getTrackCategory() const;
    // The logger of the category; the root logger before initTrack.
    std::shared_ptr<log4cxx::Logger> getLogger() const;

    bool isDebugEnabled() const;
    bool isInfoEnabled() const;
    bool isWarnEnabled() const;
    bool isErrorEnabled() const;
    bool isFatalEnabled() const;

    // Log a finished text where the level lets it through. trackError and trackFatal also count,
    // whatever the level.
    void trackDebug(const QString& text) const;
    void trackInfo(const QString& text) const;
    void trackWarn(const QString& text) const;
    void trackError(const QString& text) const;
    void trackFatal(const QString& text) const;

protected:
    TrackObject();

    // Names the category of this object's logger. Configures log4cxx for the process first
    // (LoggerLogging::configure), so that no logger is fetched before the store's rule applied.
    void initTrack(const char* category);

    static std::atomic<int> sErrorCounter;
    static std::atomic<int> sFatalCounter;

private:
    QString mCategory;
    std::shared_ptr<log4cxx::Logger> mLogger;
};

// Build the text only where the level lets it through: TRACK_DEBUG(*this, "read " + name).
#define TRACK_DEBUG(track, text)                                                                             \
    do {                                                                                                     \
        if ((track).isDebugEnabled())                                                                        \
            (track).trackDebug(text);                                                                        \
    } while (false)
#define TRACK_INFO(track, text)                                                                              \
    do {                                                                                                     \
        if ((track).isInfoEnabled())                                                                         \
            (track).trackInfo(text);                                                                         \
    } while (false)
#define TRACK_WARN(track, text)                                                                              \
    do {                                                                                                     \
        if ((track).isWarnEnabled())                                                                         \
            (track).trackWarn(text);                                                                         \
    } while (false)
// Errors and fatal errors count even where the level filters the line, and the text is not built.
#define TRACK_ERROR(track, text)                                                                             \
    do {                                                                                                     \
        if ((track).isErrorEnabled())                                                                        \
            (track).trackError(text);                                                                        \
        else                                                                                                 \
            TrackObject::incrementErrorCounter();                                                            \
    } while (false)
#define TRACK_FATAL(track, text)                                                                             \
    do {                                                                                                     \
        if ((track).isFatalEnabled())                                                                        \
            (track).trackFatal(text);                                                                        \
        else                                                                                                 \
            TrackObject::incrementFatalCounter();                                                            \
    } while (false)

#include "TrackObject.h"

#include "LoggerLogging.h"

#include <log4cxx/logger.h>

std::atomic<int> TrackObject::sErrorCounter{0};
std::atomic<int> TrackObject::sFatalCounter{0};

TrackObject::TrackObject() = default;

TrackObject::~TrackObject() = default;

int TrackObject::getErrorCounter()
{
    return sErrorCounter.load();
}

int TrackObject::getFatalCounter()
{
    return sFatalCounter.load();
}

void TrackObject::incrementErrorCounter()
{
    ++sErrorCounter;
}

void TrackObject::incrementFatalCounter()
{
    ++sFatalCounter;
}

void TrackObject::initTrack(const char* category)
{
    LoggerLogging::configure();
    mCategory = QString::fromLatin1(category ? category : "");
    mLogger = mCategory.isEmpty() ? log4cxx::Logger::getRootLogger()
                                  : log4cxx::Logger::getLogger(std::string(category));
}

QString TrackObject::getTrackCategory() const
{
    return mCategory;
}

std::shared_ptr<log4cxx::Logger> TrackObject::getLogger() const
{
    if (mLogger)
        return mLogger;
    LoggerLogging::configure();
    return log4cxx::Logger::getRootLogger();
}

bool TrackObject::isDebugEnabled() const
{
    return getLogger()->isDebugEnabled();
}

bool TrackObject::isInfoEnabled() const
{
    return getLogger()->isInfoEnabled();
}

bool TrackObject::isWarnEnabled() const
{
    return getLogger()->isWarnEnabled();
}

bool TrackObject::isErrorEnabled() const
{
    return getLogger()->isErrorEnabled();
}

bool TrackObject::isFatalEnabled() const
{
    return getLogger()->isFatalEnabled();
}

void TrackObject::trackDebug(const QString& text) const
{
    const log4cxx::LoggerPtr logger = getLogger();
    LOG4CXX_DEBUG(logger, text.toStdString());
}

void TrackObject::trackInfo(const QString& text) const
{
    const log4cxx::LoggerPtr logger = getLogger();
    LOG4CXX_INFO(logger, text.toStdString());
}

void TrackObject::trackWarn(const QString& text) const
{
    const log4cxx::LoggerPtr logger = getLogger();
    LOG4CXX_WARN(logger, text.toStdString());
}

void TrackObject::trackError(const QString& text) const
{
    ++sErrorCounter;
    const log4cxx::LoggerPtr logger = getLogger();
    LOG4CXX_ERROR(logger, text.toStdString());
}

void TrackObject::trackFatal(const QString& text) const
{
    ++sFatalCounter;
    const log4cxx::LoggerPtr logger = getLogger();
    LOG4CXX_FATAL(logger, text.toStdString());
}

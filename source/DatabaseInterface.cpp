#include "DatabaseInterface.h"

#include "LoggerDb.h"
#include "LoggerFileSystem.h"
#include "LoggerGlobalStates.h"

DatabaseInterface::~DatabaseInterface() = default;

void DatabaseInterface::setWriterMode(bool writer)
{
    LoggerDb::getInstance().setWriterMode(writer);
}

void DatabaseInterface::initializeCompleted()
{
    LoggerDb::getInstance().initializeCompleted();
}

LoggerState DatabaseInterface::getLoggerState()
{
    return LoggerDb::getInstance().getLoggerState();
}

QString DatabaseInterface::getDatabaseFolder() const
{
    return LoggerDb::getInstance().getPath();
}

QString DatabaseInterface::getDataFolder() const
{
    return LoggerDb::getInstance().getDataFolder();
}

bool DatabaseInterface::isDropSchema()
{
    return LoggerDb::getInstance().isDropSchema();
}

bool DatabaseInterface::readParameters(const QString& fileName)
{
    return LoggerDb::getInstance().readParameters(fileName);
}

bool DatabaseInterface::initialize()
{
    LoggerDb& db = LoggerDb::getInstance();
    db.loggerMessage("DatabaseInterface::initialize()", LOGGER_MESSAGE_ROUTINE);
    return db.initialize();
}

bool DatabaseInterface::initialize(const QString& fileName)
{
    LoggerDb& db = LoggerDb::getInstance();
    db.loggerMessage(("DatabaseInterface::initialize(fileName=" + fileName + ")").toStdString(),
                     LOGGER_MESSAGE_ROUTINE);
    return db.initialize(fileName);
}

bool DatabaseInterface::reinitialize()
{
    return LoggerDb::getInstance().reinitialize();
}

bool DatabaseInterface::isInitialized()
{
    return LoggerDb::getInstance().isInitialized();
}

bool DatabaseInterface::isReadable()
{
    return LoggerGlobalStates::getInstance().isReadable();
}

bool DatabaseInterface::checkValidity()
{
    return LoggerDb::getInstance().checkValidity();
}

void DatabaseInterface::close()
{
    LoggerDb::getInstance().close();
}

QString DatabaseInterface::getLastError()
{
    return LoggerDb::getInstance().getLastError();
}

double DatabaseInterface::getTotalTransactionTime()
{
    return LoggerDb::getInstance().getPerformanceCounter().getTotalDuration();
}

int DatabaseInterface::getTotalTransactionCount()
{
    return LoggerDb::getInstance().getPerformanceCounter().getTotalCount();
}

double DatabaseInterface::getTotalWriteFileTime()
{
    return LoggerFileSystem::mWritePerformance.getTotalDuration();
}

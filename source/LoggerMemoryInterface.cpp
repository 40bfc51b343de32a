#include "LoggerMemoryInterface.h"

#include "DefnTypePersistance.h"
#include "LoggerMemoryManager.h"

LoggerMemoryInterface::~LoggerMemoryInterface() = default;

void LoggerMemoryInterface::initialize(const QString& path)
{
    LoggerMemoryManager& manager = LoggerMemoryManager::getInstance();
    manager.initialize(path);
    // The accounts' text scans the catalogue a second time: only where someone reads it.
    if (manager.isDebugEnabled())
        manager.trackDebug(manager.debugUsedMemories());
}

void LoggerMemoryInterface::readDiskInfo()
{
    LoggerMemoryManager::getInstance().readDiskInfo();
}

void LoggerMemoryInterface::readFileInfo(const QString& path)
{
    LoggerMemoryManager::getInstance().readFileInfo(path);
}

DiskInfo LoggerMemoryInterface::getDiskInfo()
{
    return LoggerMemoryManager::getDiskInfo();
}

void LoggerMemoryInterface::initUsedMemory(LoggerType type, LoggerDataType dataType)
{
    LoggerMemoryManager::getInstance().initUsedMemory(type, dataType);
}

void LoggerMemoryInterface::setMaximalLoggerSize(LoggerType type, LoggerDataType dataType, double percent)
{
    LoggerMemoryManager::getInstance().setMaximalLoggerSize(type, dataType, percent);
}

double LoggerMemoryInterface::getMaximalLoggerSize(LoggerType type, LoggerDataType dataType)
{
    return LoggerMemoryManager::getInstance().getMaximalLoggerSize(type, dataType);
}

PtrLoggerFileInfo LoggerMemoryInterface::addDataSize(LoggerType type, LoggerDataType dataType, int size,
                                                     QFile* file, bool check, bool& removed, timespec time)
{
    return LoggerMemoryManager::getInstance().addDataSize(type, dataType, size, file, check, removed, time);
}

double LoggerMemoryInterface::readUsedMemorySize(LoggerType type, LoggerDataType dataType)
{
    return LoggerMemoryManager::getInstance().readUsedMemorySize(type, dataType);
}

double LoggerMemoryInterface::getUsedLoggerSize(LoggerType type, LoggerDataType dataType)
{
    return LoggerMemoryManager::getInstance().getUsedSize(type, dataType);
}

int LoggerMemoryInterface::getUsedBytes(LoggerType type, LoggerDataType dataType)
{
    return LoggerMemoryManager::getInstance().getUsedBytes(type, dataType);
}

double LoggerMemoryInterface::getBlockSize()
{
    return LoggerMemoryManager::getInstance().getBlockSize();
}

double LoggerMemoryInterface::getDatabaseSize()
{
    return LoggerMemoryManager::getInstance().getDatabaseSizePercent();
}

int LoggerMemoryInterface::deletedFileCount(LoggerType type, LoggerDataType dataType)
{
    return LoggerMemoryManager::getInstance().deletedFileCount(type, dataType);
}

void LoggerMemoryInterface::clearDeletedFileCount(LoggerType type, LoggerDataType dataType)
{
    LoggerMemoryManager::getInstance().clearDeletedFiles(type, dataType);
}

std::vector<QString> LoggerMemoryInterface::readIds(LoggerType type, LoggerDataType dataType)
{
    return DefnTypePersistance().readIds(type, dataType);
}

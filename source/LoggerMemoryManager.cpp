#include "LoggerMemoryManager.h"

void LoggerMemoryManager::subtractDeletedSize(LoggerType, LoggerDataType, int)
{
}

void LoggerMemoryManager::roundToBlockSize(const PtrLoggerFileInfo&)
{
}

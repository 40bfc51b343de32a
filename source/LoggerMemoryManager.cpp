#include "LoggerMemoryManager.h"

void LoggerMemoryManager::subtractDeletedSize(LoggerType, LoggerDataType, int)
{
}

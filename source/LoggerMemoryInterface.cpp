#include "LoggerMemoryInterface.h"

LoggerMemoryInterface::~LoggerMemoryInterface() = default;

PtrLoggerFileInfo LoggerMemoryInterface::addDataSize(LoggerType, LoggerDataType, int, QFile*, bool,
                                                     bool& removed, timespec)
{
    removed = true;
    return nullptr;
}

void LoggerMemoryInterface::initUsedMemory(LoggerType, LoggerDataType)
{
}

double LoggerMemoryInterface::getUsedLoggerSize(LoggerType, LoggerDataType)
{
    return 0.0;
}

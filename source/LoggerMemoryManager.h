#pragma once

#include "LoggerFileInfo.h"
#include "LoggerTypes.h"

// The keeper of the quota accounts, one per family of loggers (LoggerType, LoggerDataType).
// Loggers reach it through LoggerMemoryInterface; the few operations that the file side calls
// directly are static here.
class LoggerMemoryManager {
public:
    LoggerMemoryManager() = delete;

    // Credits the family's account with the bytes of a file that was deleted and counts the
    // deleted file. No accounts are kept: this does nothing.
    static void subtractDeletedSize(LoggerType type, LoggerDataType dataType, int size);
    // Rounds the charge of a finished file up to whole allocation blocks of the card. No
    // accounts are kept: nothing happens.
    static void roundToBlockSize(const PtrLoggerFileInfo& fileInfo);
};

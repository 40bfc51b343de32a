#include "LoggerCacheBase.h"

LoggerCacheBase::~LoggerCacheBase() = default;

void LoggerCacheBase::timerElapsed()
{
    flush(true);
}

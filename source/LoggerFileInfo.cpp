#include "LoggerFileInfo.h"

LoggerFileInfo::~LoggerFileInfo() = default;

#include "LoggerFileInfoTypes.h"

LoggerFileInfoMeasure::~LoggerFileInfoMeasure() = default;
LoggerFileInfoEvent::~LoggerFileInfoEvent() = default;
LoggerFileInfoPqEvent::~LoggerFileInfoPqEvent() = default;
LoggerFileInfoDisturb::~LoggerFileInfoDisturb() = default;
LoggerFileInfoOperator::~LoggerFileInfoOperator() = default;

#include "LoggerFilter.h"

LoggerFilter::~LoggerFilter() = default;

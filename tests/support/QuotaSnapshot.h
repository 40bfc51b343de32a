#pragma once

#include "LoggerTypes.h"

#include <map>
#include <utility>

using LoggerFamily = std::pair<LoggerType, LoggerDataType>;

// The quota that the memory manager holds now for every family of loggers that has one, and
// for CYCLIC/ITQ, which has none and reads 0.
std::map<LoggerFamily, double> currentQuotas();

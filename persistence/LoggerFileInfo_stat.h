#pragma once

#include <cstdint>

// The time span of all files of type NONE: the earliest UtcStart and the latest UtcEnd, in
// seconds. A result, not a table; an empty table gives 0 for both.
struct LoggerFileInfo_stat {
    int32_t min = 0;
    int32_t max = 0;
};

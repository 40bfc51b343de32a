#pragma once

#include <cstdint>

// The earliest and the latest UtcStart of the measured-value loggers, in seconds: the maximum
// too is taken over the start column. A result, not a table; an empty table gives 0 for both.
struct DefnMeasureType_stat {
    int32_t min = 0;
    int32_t max = 0;
};

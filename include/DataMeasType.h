#pragma once

#include <QString>
#include <cstdint>

// The description of one measured quantity. It lives in the catalogue's DefnMeasureType rows
// and in memory, never in a data file. `enabled` is no column: a logger of a disabled quantity
// refuses its items.
struct DataMeasType {
    QString configId;
    int32_t phase = 0;
    int32_t unit = 1;
    int32_t prefix = 0;
    int32_t unitFactor = 0;
    int32_t quantityType = 0;
    int32_t measValueType = 0;
    double interval = 0.0; // seconds; a NULL in the catalogue reads as NaN
    int32_t index = 0;
    bool enabled = true;
};

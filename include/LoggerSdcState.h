#pragma once

#include <cstdint>

// The state of the data card as the card service reports it in its property State.
enum LoggerSdcState : int32_t {
    SDC_NOT_INITIALIZED = 0, // start value, and what a State that is no number reads as
    SDC_NO_SDCARD = 1,       // no card in the slot
    SDC_NOT_MOUNTABLE = 2,   // the card cannot be mounted
    SDC_MOUNTED = 3,         // usable; the only state in which the store works on the card
    SDC_UNMOUNTED = 4,       // the card is out of use
    SDC_CLOSING_FILES = 5,
    SDC_MOUNTING = 6,
};

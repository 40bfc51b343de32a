#pragma once

#include "LoggerTypes.h"

#include <ctime>

// The order of time stamps in the store: seconds first, then nanoseconds. DataTimespec, the
// stamp of the items and the catalogue, converts to timespec.
inline bool isEarlier(const timespec& a, const timespec& b)
{
    return a.tv_sec < b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_nsec < b.tv_nsec);
}

#pragma once

// The small arithmetic that the statistic calculators share: counts come from products and
// quotients in double of whatever times, limits and shares they are given, and must stay
// countable.

#include "LoggerTimeStamp.h"

#include <climits>
#include <cmath>
#include <ctime>

namespace qzlogger {
namespace statistic_detail {

// Whether a time has been set: the calculators keep 0 for "not yet".
inline bool isSet(const timespec& time)
{
    return time.tv_sec != 0 || time.tv_nsec != 0;
}

// The whole part of value, held to the range of int; 0 where it is not a number.
inline long long wholePart(double value)
{
    if (std::isnan(value)) {
        return 0;
    }
    if (value >= static_cast<double>(INT_MAX)) {
        return INT_MAX;
    }
    if (value <= static_cast<double>(INT_MIN)) {
        return INT_MIN;
    }
    return static_cast<long long>(std::trunc(value));
}

// The seconds of a / b as LoggerTimeStamp::divide gives them where the quotient fits a time word;
// beyond, where divide has no word for it, the quotient itself, so that the counts made of it
// saturate instead of turning negative.
inline double quotientSeconds(timespec a, timespec b)
{
    constexpr double kLargestTimeWord = 2147483647.0;
    const double quotient = LoggerTimeStamp::getSeconds(a) / LoggerTimeStamp::getSeconds(b);
    if (std::isfinite(quotient) && std::fabs(quotient) < kLargestTimeWord - 1.0) {
        return LoggerTimeStamp::getSeconds(LoggerTimeStamp::divide(a, b));
    }
    return quotient;
}

} // namespace statistic_detail
} // namespace qzlogger

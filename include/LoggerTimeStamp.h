#pragma once

#include "qzlogger_export.h"

#include <cstdint>
#include <ctime>

// Arithmetic on the system's time stamps: UTC seconds since 1970-01-01 and nanoseconds, two
// signed 32-bit words on the target and in the data files. The read and write paths take time
// differences, file ages and averages from here, and a reader must get the same result from
// the same operands as the writer did, so the rounding of every operation is deliberate and
// stays as it is, odd corners included.
//
// Nothing here normalises its operands. Results may carry nanoseconds of exactly one second
// (add, subtract) or negative nanoseconds (getTimeSpec of a negative value).
//
// Where a double becomes a time word and the value is not finite or does not fit the 32-bit
// word, the word is 0x80000000 (INT32_MIN): what the conversion instruction of an x86
// processor gives for any invalid operand. Integer steps wrap instead of overflowing.
class QZLOGGER_EXPORT LoggerTimeStamp {
public:
    LoggerTimeStamp();
    explicit LoggerTimeStamp(const timespec& time);
    virtual ~LoggerTimeStamp();

    // nanoseconds / 1e9 + seconds, both as double. The pointer must not be null.
    static double getSeconds(const timespec* time);
    static double getSeconds(timespec time);

    // seconds * 1000000 + nanoseconds / 1000, in integers, the division truncating. A time
    // before 1970 wraps around as unsigned arithmetic does.
    static uint64_t getMicroSeconds(const timespec* time);
    static uint64_t getMicroSeconds(timespec time);

    // Seconds and nanoseconds added apart. Only a nanosecond sum above one second carries into
    // the seconds; a sum of exactly 1000000000 stays as it is.
    static timespec add(timespec a, timespec b);

    // a minus b. A negative difference has negative seconds and non-negative nanoseconds, and
    // a nanosecond difference of exactly one second is not carried.
    static timespec subtract(timespec a, timespec b);

    // Product in double, truncated toward zero. A scale factor is passed as a time of that
    // many seconds.
    static timespec multiply(timespec a, timespec b);

    // Quotient in double, truncated toward zero. A zero divisor is not caught: the quotient is
    // infinite or not a number, and both words become 0x80000000.
    static timespec divide(timespec a, timespec b);

    // Rounds the seconds down to a whole multiple of n seconds, toward zero for times before
    // 1970, and drops the nanoseconds. With n = 0 the result is t, nanoseconds included.
    static timespec trunc(timespec t, int n);

    // Whole UTC days since 1970-01-01, truncating toward zero; no time zone is involved.
    static int days(timespec t);

    // Splits seconds into whole seconds and nanoseconds, both truncated toward zero, so a
    // negative value gives negative nanoseconds. The nanoseconds come from a product with 1e9
    // in double and carry its rounding: for present-day times the last digits are not exact.
    static timespec getTimeSpec(double seconds);

    // The same operations on the held value, which they leave alone.
    double getSeconds() const;
    uint64_t getMicroSeconds() const;
    timespec add(timespec other) const;      // held value plus other
    timespec subtract(timespec other) const; // held value minus other

private:
    timespec mTime;
};

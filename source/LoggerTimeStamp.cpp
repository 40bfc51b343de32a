#include "LoggerTimeStamp.h"

#include <cmath>
#include <limits>

namespace {

constexpr int64_t kNanoSecondsPerSecond = 1000000000;
constexpr uint64_t kMicroSecondsPerSecond = 1000000;
constexpr int64_t kNanoSecondsPerMicroSecond = 1000;
constexpr int64_t kSecondsPerDay = 86400;
constexpr double kNanoSecondsPerSecondAsDouble = 1e9;

// The word a conversion from double gives for a value that is not finite or does not fit:
// 0x80000000, as the x86 conversion instruction answers every invalid operand.
constexpr int64_t kInvalidTimeWord = std::numeric_limits<int32_t>::min();

// Integer steps wrap like machine words. The store's own time stamps are far from the limits,
// but the host's timespec is 64 bits wide and a caller may hand in anything; a signed
// overflow would be undefined behaviour.
int64_t wrappingAdd(int64_t a, int64_t b)
{
    return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}

int64_t wrappingSubtract(int64_t a, int64_t b)
{
    return static_cast<int64_t>(static_cast<uint64_t>(a) - static_cast<uint64_t>(b));
}

int64_t wrappingMultiply(int64_t a, int64_t b)
{
    return static_cast<int64_t>(static_cast<uint64_t>(a) * static_cast<uint64_t>(b));
}

// Truncation toward zero into a 32-bit time word. A plain cast of an infinite, NaN or too
// large value would be undefined behaviour; such a value gives kInvalidTimeWord instead, as
// the processor's conversion does. NaN fails both comparisons.
int64_t truncateToTimeWord(double value)
{
    constexpr double kBelowSmallest = static_cast<double>(std::numeric_limits<int32_t>::min()) - 1.0;
    constexpr double kAboveLargest = static_cast<double>(std::numeric_limits<int32_t>::max()) + 1.0;
    if (!(value > kBelowSmallest && value < kAboveLargest)) {
        return kInvalidTimeWord;
    }
    return static_cast<int64_t>(value);
}

timespec makeTimespec(int64_t seconds, int64_t nanoSeconds)
{
    timespec result{};
    result.tv_sec = static_cast<time_t>(seconds);
    result.tv_nsec = static_cast<long>(nanoSeconds);
    return result;
}

} // namespace

LoggerTimeStamp::LoggerTimeStamp() : mTime{}
{
}

LoggerTimeStamp::LoggerTimeStamp(const timespec& time) : mTime(time)
{
}

LoggerTimeStamp::~LoggerTimeStamp() = default;

double LoggerTimeStamp::getSeconds(const timespec* time)
{
    return getSeconds(*time);
}

double LoggerTimeStamp::getSeconds(timespec time)
{
    return static_cast<double>(time.tv_nsec) / kNanoSecondsPerSecondAsDouble +
           static_cast<double>(time.tv_sec);
}

uint64_t LoggerTimeStamp::getMicroSeconds(const timespec* time)
{
    return getMicroSeconds(*time);
}

uint64_t LoggerTimeStamp::getMicroSeconds(timespec time)
{
    const uint64_t seconds = static_cast<uint64_t>(static_cast<int64_t>(time.tv_sec));
    const int64_t fraction = static_cast<int64_t>(time.tv_nsec) / kNanoSecondsPerMicroSecond;
    return seconds * kMicroSecondsPerSecond + static_cast<uint64_t>(fraction);
}

timespec LoggerTimeStamp::add(timespec a, timespec b)
{
    int64_t seconds = wrappingAdd(a.tv_sec, b.tv_sec);
    int64_t nanoSeconds = wrappingAdd(a.tv_nsec, b.tv_nsec);
    // A sum of exactly one second of nanoseconds is left standing on purpose: a reader must
    // compute the same time stamps from the same operands as the writer did.
    if (nanoSeconds > kNanoSecondsPerSecond) {
        seconds = wrappingAdd(seconds, nanoSeconds / kNanoSecondsPerSecond);
        nanoSeconds = nanoSeconds % kNanoSecondsPerSecond;
    }
    return makeTimespec(seconds, nanoSeconds);
}

timespec LoggerTimeStamp::subtract(timespec a, timespec b)
{
    // Borrow and carry are applied to b, then the difference is taken field by field. The
    // nanosecond difference is taken before b is touched.
    const int64_t aNanoSeconds = a.tv_nsec;
    const int64_t bNanoSeconds = b.tv_nsec;
    const int64_t difference = wrappingSubtract(aNanoSeconds, bNanoSeconds);
    int64_t ySeconds = b.tv_sec;
    int64_t yNanoSeconds = bNanoSeconds;

    if (aNanoSeconds < bNanoSeconds) {
        const int64_t n = wrappingSubtract(bNanoSeconds, aNanoSeconds) / kNanoSecondsPerSecond + 1;
        ySeconds = wrappingAdd(ySeconds, n);
        yNanoSeconds = wrappingSubtract(yNanoSeconds, wrappingMultiply(kNanoSecondsPerSecond, n));
    }
    if (difference > kNanoSecondsPerSecond) {
        const int64_t n = difference / kNanoSecondsPerSecond;
        ySeconds = wrappingSubtract(ySeconds, n);
        yNanoSeconds = wrappingAdd(yNanoSeconds, wrappingMultiply(kNanoSecondsPerSecond, n));
    }
    return makeTimespec(wrappingSubtract(a.tv_sec, ySeconds), wrappingSubtract(aNanoSeconds, yNanoSeconds));
}

timespec LoggerTimeStamp::multiply(timespec a, timespec b)
{
    const double aSeconds = static_cast<double>(a.tv_sec);
    const double bSeconds = static_cast<double>(b.tv_sec);
    const double aFraction = static_cast<double>(a.tv_nsec) / kNanoSecondsPerSecondAsDouble;
    const double bFraction = static_cast<double>(b.tv_nsec) / kNanoSecondsPerSecondAsDouble;

    const double cross = aSeconds * bFraction + aFraction * bSeconds + aFraction * bFraction;
    const int64_t whole = truncateToTimeWord(cross);
    const int64_t seconds = wrappingAdd(truncateToTimeWord(aSeconds * bSeconds), whole);
    const int64_t nanoSeconds =
        truncateToTimeWord((cross - static_cast<double>(whole)) * kNanoSecondsPerSecondAsDouble);
    return makeTimespec(seconds, nanoSeconds);
}

timespec LoggerTimeStamp::divide(timespec a, timespec b)
{
    const double divisor = getSeconds(b);
    const double quotient = static_cast<double>(a.tv_sec) / divisor +
                            (static_cast<double>(a.tv_nsec) / kNanoSecondsPerSecondAsDouble) / divisor;
    const int64_t seconds = truncateToTimeWord(quotient);
    const int64_t nanoSeconds =
        truncateToTimeWord((quotient - static_cast<double>(seconds)) * kNanoSecondsPerSecondAsDouble);
    return makeTimespec(seconds, nanoSeconds);
}

timespec LoggerTimeStamp::trunc(timespec t, int n)
{
    if (n == 0) {
        return t;
    }
    const int64_t seconds = t.tv_sec;
    // The most negative seconds divided by -1 would overflow; the multiple of -1 is the value.
    const int64_t multiple = (n == -1) ? seconds : (seconds / n) * n;
    return makeTimespec(multiple, 0);
}

int LoggerTimeStamp::days(timespec t)
{
    return static_cast<int>(static_cast<int64_t>(t.tv_sec) / kSecondsPerDay);
}

timespec LoggerTimeStamp::getTimeSpec(double seconds)
{
    const double scaled = seconds * kNanoSecondsPerSecondAsDouble;
    const double whole = std::trunc(scaled / kNanoSecondsPerSecondAsDouble);
    const int64_t nanoSeconds = truncateToTimeWord(scaled - whole * kNanoSecondsPerSecondAsDouble);
    return makeTimespec(truncateToTimeWord(whole), nanoSeconds);
}

double LoggerTimeStamp::getSeconds() const
{
    return getSeconds(mTime);
}

uint64_t LoggerTimeStamp::getMicroSeconds() const
{
    return getMicroSeconds(mTime);
}

timespec LoggerTimeStamp::add(timespec other) const
{
    return add(mTime, other);
}

timespec LoggerTimeStamp::subtract(timespec other) const
{
    return subtract(mTime, other);
}

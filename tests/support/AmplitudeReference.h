#pragma once

#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

// Harmonic amplitudes from complex values by the rules of the amplitudes alone; it calls nothing
// of the library. The tests of the amplitudes and the end-to-end test of the computed values
// compare with it.

// The distance of two floats of one sign in units in the last place; infinity lies one unit
// beyond the largest finite value.
inline int64_t ulpDistance(float a, float b)
{
    int32_t ia = 0;
    int32_t ib = 0;
    std::memcpy(&ia, &a, sizeof(a));
    std::memcpy(&ib, &b, sizeof(b));
    if ((ia < 0) != (ib < 0))
        return a == b ? 0 : INT64_MAX;
    return std::llabs(static_cast<int64_t>(ia) - static_cast<int64_t>(ib));
}

// The magnitude of a complex value as the C library's complex absolute value defines it: an
// infinite part makes it infinite, also beside a NaN; otherwise a NaN part makes it NaN; else the
// square root of the sum of squares, here in double precision (the squares of floats are exact
// there) and rounded to float once. The library takes the hypotenuse of the C library, which is
// not always correctly rounded: it lies within one unit in the last place of this.
inline float referenceMagnitude(std::complex<float> value)
{
    const float re = value.real();
    const float im = value.imag();
    if (std::isinf(re) || std::isinf(im))
        return std::numeric_limits<float>::infinity();
    if (std::isnan(re) || std::isnan(im))
        return std::numeric_limits<float>::quiet_NaN();
    const double sum = static_cast<double>(re) * re + static_cast<double>(im) * im;
    return static_cast<float>(std::sqrt(sum));
}

// The scaling into per cent, given the magnitudes of orders 0 to 49: the divisor of a voltage
// channel (below 3), and of a current channel without a maximum load, is the reference, which is
// 1.0 up to order 1 and from there on the magnitude of order 1 (1.0 where that is 0.0); for a
// current channel with a maximum load it is that load. The quotient is a float, the per cent a
// double stored as a float.
inline std::vector<float> referencePercent(const std::vector<float>& magnitudes, unsigned int channel,
                                           float maxLoad)
{
    std::vector<float> percent(magnitudes.size());
    float reference = 1.0f;
    for (size_t order = 0; order < magnitudes.size(); ++order) {
        if (order == 1)
            reference = magnitudes[1] == 0.0f ? 1.0f : magnitudes[1];
        const bool ofLoad = channel >= 3 && maxLoad != 0.0f;
        const float divisor = ofLoad ? maxLoad : reference;
        const float quotient = magnitudes[order] / divisor;
        percent[order] = static_cast<float>(static_cast<double>(quotient) * 100.0);
    }
    return percent;
}

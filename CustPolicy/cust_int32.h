#pragma once

#include <cstdint>
#include <limits>

// Arithmetic that the device does in signed 32 bits: it wraps on overflow and a zero divisor
// gives 0. Done in unsigned arithmetic so that the host never meets undefined behaviour.

namespace custpolicy {

inline int32_t wrapMul(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

// Truncating division; 0 for a zero divisor, and the one overflowing quotient wraps.
inline int32_t divOrZero(int32_t numerator, int32_t denominator) {
    if (denominator == 0) return 0;
    if (numerator == std::numeric_limits<int32_t>::min() && denominator == -1) return numerator;
    return numerator / denominator;
}

// Thousandths of numerator / denominator as the device computes them: n * 1000 / d.
constexpr int32_t kPermille = 1000;
inline int32_t ratioPermille(int32_t numerator, int32_t denominator) {
    return divOrZero(wrapMul(numerator, kPermille), denominator);
}

}  // namespace custpolicy

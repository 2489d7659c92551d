#include "Mp4TimeScale.h"

namespace {

// Smallest k with x <= 2^k (0 for 0 and 1).
int CeilLog2(uint64_t x) {
    int k = 0;
    while (k < 64 && (uint64_t{1} << k) < x) ++k;
    return k;
}

constexpr double kTwoTo64 = 18446744073709551616.0;

}  // namespace

uint64_t Mp4Rescale(uint64_t value, uint32_t fromScale, uint32_t toScale) {
    if (fromScale == 0) return UINT64_MAX;
    if (fromScale == toScale) return value;
    // value <= 2^a and toScale <= 2^b with a + b <= 64 bound the product by 2^64. Only the bound
    // itself wraps (both exact powers of two), which no real time scale is; callers rely on the
    // integer path being exact for nanosecond inputs at audio rates.
    if (CeilLog2(value) + CeilLog2(toScale) <= 64) return value * toScale / fromScale;
    const double scaled = static_cast<double>(toScale) * static_cast<double>(value) / fromScale + 0.5;
    if (scaled >= kTwoTo64) return UINT64_MAX;  // not representable; the conversion cannot answer
    return static_cast<uint64_t>(scaled);
}

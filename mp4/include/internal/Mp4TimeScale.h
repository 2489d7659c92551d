// Rescaling of timestamps between time scales with the interface's rounding.
#pragma once

#include <cstdint>

// `value` in `fromScale` ticks as `toScale` ticks. Scale 0 as the source is an error (all ones);
// equal scales return the value unchanged. When the product value * toScale surely fits 64 bits
// (judged by bit lengths, see the definition) the result is floor(value * toScale / fromScale);
// otherwise it is computed in double precision and rounded half up.
uint64_t Mp4Rescale(uint64_t value, uint32_t fromScale, uint32_t toScale);

// Status codes returned by every lossless decoder operation. The decoder never throws and
// never prints; the job decides what a status means for the host.
#pragma once

#include <cstdint>

using AlacStatus = int32_t;

constexpr AlacStatus kAlacOk = 0;
// Anything malformed: cookie fields, element headers, a packet that ends too early.
constexpr AlacStatus kAlacParamError = -50;
// A failed allocation, and also a cookie channel count outside 1..8 (see InitAlacDecoder).
constexpr AlacStatus kAlacMemoryError = -108;

// Limits of the lossless decoder, each with what it guards against.
#pragma once

#include <cstdint>

// Largest frame length a cookie may declare; bounds the three work buffers (3 x 4 MiB).
constexpr uint32_t kAlacMaxFrameLength = 1048576;
// The cookie record proper, without any atom header in front of it.
constexpr uint32_t kAlacCookieBytes = 24;
// An atom header plus version word ("alac", "frma") that may precede the record.
constexpr uint32_t kAlacAtomHeaderBytes = 12;
// Channel counts a cookie may declare; the element syntax has no way to address more.
constexpr uint32_t kAlacMinChannels = 1;
constexpr uint32_t kAlacMaxChannels = 8;
// Bit depths a cookie may declare; only 16, 20, 24 and 32 produce output.
constexpr uint32_t kAlacMinBitDepth = 16;
constexpr uint32_t kAlacMaxBitDepth = 32;
// Widest entropy-coded sample: a 32-bit pair without shifted bytes needs one extra bit.
constexpr uint32_t kAlacMaxSampleWidth = 33;

// Adaptive Golomb-Rice residual decoder.
//
// Each code is decoded from look-ahead words taken at bit position p, counted from the
// reader's current byte. The 32-bit look-ahead word is the four bytes at p >> 3 shifted left
// by p & 7, so its low p & 7 bits are zero: a code whose k bits reach past them reads zeros
// there, and that is part of the bit-stream definition (it matters only for k limits above 16).
// Escaped values come from a 64-bit word, which holds at least 57 true bits after the shift,
// enough for the 9 prefix bits plus the widest value (33 bits).
#include "AdaptiveGolomb.h"

#include <algorithm>
#include <cstring>

#include "AlacLimits.h"

namespace {

constexpr uint32_t kMeanShift = 9;             // the mean is kept in units of 1/512
constexpr uint32_t kRunThreshold = 512;        // run mode when mean x 4 falls below this
constexpr uint32_t kMeanClamp = 65535;         // mean after a value above 65535
constexpr uint32_t kRunEscape = 65535;         // a run this long does not set the zero flag
constexpr uint32_t kEscapePrefix = 9;          // prefix length that announces an escape
constexpr uint32_t kEscapedRunBits = 16;
constexpr uint32_t kMaxRunK = 16;              // see RunParameter

// Number of leading one bits of the look-ahead word (32 for all ones).
inline uint32_t OnesPrefix(uint32_t word) {
    const uint32_t inverted = ~word;
    return inverted != 0 ? static_cast<uint32_t>(__builtin_clz(inverted)) : 32;
}

inline uint32_t FloorLog2(uint32_t value) { return 31u - static_cast<uint32_t>(__builtin_clz(value)); }

// k in run mode: leading zeros of the mean - 24 + ((mean + 16) >> 6). A mean of 0 (after a
// run of 65535 zeros followed by a zero value, or with a multiplier of 0) counts 32 leading
// zeros, giving k = 8. The formula only yields 1..8 for the means below 128 that select run
// mode; a mean that wrapped in its 32-bit update can pass the mean x 4 < 512 test with a huge
// value, and k is then capped at 16, the width of an escaped run, so a run code never needs
// more bits than the look-ahead word holds.
inline uint32_t RunParameter(uint32_t mean) {
    const uint32_t leadingZeros = mean != 0 ? static_cast<uint32_t>(__builtin_clz(mean)) : 32;
    const int64_t k = static_cast<int64_t>(leadingZeros) - 24 + ((static_cast<int64_t>(mean) + 16) >> 6);
    return static_cast<uint32_t>(std::clamp<int64_t>(k, 1, kMaxRunK));
}

inline uint32_t LowMask(uint32_t bitCount) { return bitCount >= 32 ? 0xFFFFFFFFu : (1u << bitCount) - 1u; }

// u = 0 -> 0, 1 -> -1, 2 -> +1, 3 -> -2, ... in wrapping 32-bit arithmetic.
inline int32_t ZigZagToSigned(uint32_t u) {
    const uint32_t magnitude = (u + 1) >> 1;  // u = 2^32 - 1 wraps to magnitude 0
    const uint32_t negate = 0u - (u & 1);
    return static_cast<int32_t>((magnitude ^ negate) + (u & 1));
}

}  // namespace

AdaptiveGolombParams MakeAdaptiveGolombParams(uint32_t initialHistory, uint32_t historyMultiplier,
                                              uint32_t pbFactor, uint32_t kModifier, uint32_t sampleCount,
                                              uint32_t maxRun) {
    AdaptiveGolombParams params{};
    params.mb = initialHistory;
    params.mb0 = initialHistory;
    params.pb = (historyMultiplier * pbFactor) / 4;
    params.kb = kModifier;
    params.wb = LowMask(kModifier);
    params.qb = 512u - params.pb;
    params.fw = sampleCount;
    params.sw = sampleCount;
    params.maxRun = maxRun;
    return params;
}

AlacStatus DecodeAdaptiveGolomb(const AdaptiveGolombParams* params, AlacBitReader* reader, int32_t* output,
                                uint32_t sampleCount, uint32_t maxWidth, uint32_t* bitsUsed) {
    if (params == nullptr || reader == nullptr || output == nullptr || bitsUsed == nullptr) {
        return kAlacParamError;
    }
    *bitsUsed = 0;
    // Widths above 33 cannot come from the packet syntax; clamp so the escape read stays
    // inside the 64-bit look-ahead word.
    const uint32_t escapeWidth = std::min(maxWidth, kAlacMaxSampleWidth);

    const uint8_t* base = reader->data + std::min<uint64_t>(reader->bytePos, reader->sizeBytes);
    const uint64_t available = AlacBytesAvailable(*reader);
    // The bound is counted from the current byte, not from the packet start, so a reader
    // that is already inside the packet may run on over zero bits for a while before it trips.
    const uint64_t limit = 8ull * reader->sizeBytes;
    const uint32_t pb = params->pb;
    const uint32_t kb = params->kb;
    const uint32_t wb = params->wb;

    uint64_t p = reader->bitIndex;
    uint32_t mean = params->mb0;
    uint32_t zeroFlag = 0;
    uint32_t c = 0;
    AlacStatus status = kAlacOk;

    while (c < sampleCount) {
        if (p >= limit) {
            status = kAlacParamError;
            break;
        }
        // k limit 0 is not rejected by the cookie check; k = 0 then decodes as a plain unary
        // code, the same as k = 1 (m = 0 would otherwise never consume a suffix bit).
        const uint32_t k = std::min(FloorLog2((mean >> kMeanShift) + 3), kb);
        const uint32_t shift = static_cast<uint32_t>(p & 7);
        const uint64_t wide = PeekAlacWord64(base, available, p >> 3) << shift;
        const uint32_t word = static_cast<uint32_t>(wide >> 32) & (0xFFFFFFFFu << shift);
        const uint32_t prefix = OnesPrefix(word);

        uint32_t n;
        bool clampMean;
        if (prefix >= kEscapePrefix) {
            // Escape: the raw value in maxWidth bits. A 33-bit value (32-bit pair without
            // shifted bytes) is consumed whole so the stream stays in step, and kept modulo
            // 2^32, which is what the wrapping reconstruction does with it anyway.
            const uint64_t raw = escapeWidth != 0 ? (wide << kEscapePrefix) >> (64 - escapeWidth) : 0;
            n = static_cast<uint32_t>(raw);
            clampMean = raw > kMeanClamp;
            p += kEscapePrefix + escapeWidth;
        } else {
            p += prefix + 1;
            if (k <= 1) {
                n = prefix;
            } else {
                const uint32_t m = (1u << k) - 1u;
                const uint32_t v = (word << (prefix + 1)) >> (32 - k);
                if (v >= 2) {
                    n = prefix * m + v - 1;
                    p += k;
                } else {
                    n = prefix * m;
                    p += k - 1;  // the last bit read belongs to the next code
                }
            }
            clampMean = n > kMeanClamp;
        }

        output[c++] = ZigZagToSigned(n + zeroFlag);
        if (clampMean) {
            mean = kMeanClamp;
        } else {
            mean = mean - ((pb * mean) >> kMeanShift) + (n + zeroFlag) * pb;
        }
        zeroFlag = 0;

        if ((mean << 2) < kRunThreshold && c < sampleCount) {
            const uint32_t runK = RunParameter(mean);
            const uint32_t mz = ((1u << runK) - 1u) & wb;
            const uint32_t runShift = static_cast<uint32_t>(p & 7);
            const uint32_t runWord =
                static_cast<uint32_t>((PeekAlacWord64(base, available, p >> 3) << runShift) >> 32) &
                (0xFFFFFFFFu << runShift);
            const uint32_t runPrefix = OnesPrefix(runWord);
            uint32_t run;
            if (runPrefix >= kEscapePrefix) {
                run = (runWord << kEscapePrefix) >> (32 - kEscapedRunBits);
                p += kEscapePrefix + kEscapedRunBits;
            } else {
                const uint32_t v = (runWord << (runPrefix + 1)) >> (32 - runK);
                p += runPrefix + 1 + runK;
                if (v >= 2) {
                    run = runPrefix * mz + v - 1;
                } else {
                    run = runPrefix * mz;
                    p -= 1;
                }
            }
            if (static_cast<uint64_t>(c) + run > sampleCount) {
                status = kAlacParamError;
                break;
            }
            std::memset(output + c, 0, static_cast<size_t>(run) * sizeof(int32_t));
            c += run;
            zeroFlag = run < kRunEscape ? 1u : 0u;
            mean = 0;
        }
    }

    const uint64_t used = p - reader->bitIndex;
    *bitsUsed = static_cast<uint32_t>(used);
    if (used == 0) {
        return AlacReaderPastEnd(*reader) ? kAlacParamError : status;
    }
    AdvanceAlacBits(*reader, used);
    return AlacReaderPastEnd(*reader) ? kAlacParamError : status;
}

// Out-of-line parts of the packet bit reader: set-up, the zero-padded tail read and block reads.
#include "AlacBitReader.h"

void InitAlacBitReader(AlacBitReader& reader, const uint8_t* data, uint32_t sizeBytes) {
    reader.data = data;
    reader.bytePos = 0;
    reader.bitIndex = 0;
    reader.sizeBytes = data != nullptr ? sizeBytes : 0;
}

uint64_t PeekAlacWord64Slow(const uint8_t* base, uint64_t available, uint64_t byteOffset) {
    uint64_t word = 0;
    for (uint64_t i = 0; i < 8; ++i) {
        const uint64_t offset = byteOffset + i;
        const uint64_t byte = offset < available ? base[offset] : 0;
        word |= byte << (56 - 8 * i);
    }
    return word;
}

namespace {

// Whole loads' worth of values; returns how many were read. After the shift by the bit index
// (at most 7) a load holds at least 57 bits of the packet.
template <uint32_t Bits>
uint32_t ReadWholeLoads(AlacBitReader& reader, uint16_t* out, uint32_t count) {
    constexpr uint32_t kPerLoad = 57 / Bits;
    uint32_t i = 0;
    for (; i + kPerLoad <= count && reader.bytePos + 8 <= reader.sizeBytes; i += kPerLoad) {
        const uint64_t word = PeekAlacWord64(reader.data + reader.bytePos, 8, 0) << reader.bitIndex;
#pragma GCC unroll 8
        for (uint32_t k = 0; k < kPerLoad; ++k) {
            out[i + k] = static_cast<uint16_t>((word << (k * Bits)) >> (64 - Bits));
        }
        AdvanceAlacBits(reader, kPerLoad * Bits);
    }
    return i;
}

}  // namespace

void ReadAlacBitsBlock(AlacBitReader& reader, uint16_t* out, uint32_t count, uint32_t bitCount) {
    // Shifted bytes make the low bits 8 or 16 wide; other widths take the plain path.
    uint32_t i = bitCount == 8 ? ReadWholeLoads<8>(reader, out, count)
                 : bitCount == 16 ? ReadWholeLoads<16>(reader, out, count)
                                  : 0;
    for (; i < count; ++i) {
        out[i] = static_cast<uint16_t>(ReadAlacBits16(reader, bitCount));
    }
}

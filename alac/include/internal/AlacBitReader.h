// Bit reader over one lossless packet, most significant bit first.
//
// Used by the packet decoder for element headers and by the entropy decoder, which reads
// through its own look-ahead words (PeekAlacWord64) and then advances the reader once. The
// reader never touches memory outside the packet: bits past the end read as zero. The
// current byte is kept as an offset rather than a pointer so that advancing past the end
// (which the packet syntax allows and then reports) stays well defined.
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>

struct AlacBitReader {
    const uint8_t* data = nullptr;  // first byte of the packet
    uint64_t bytePos = 0;           // offset of the current byte; may exceed sizeBytes
    uint32_t bitIndex = 0;          // 0..7, counted from the most significant bit
    uint32_t sizeBytes = 0;         // packet size in bytes
};

void InitAlacBitReader(AlacBitReader& reader, const uint8_t* data, uint32_t sizeBytes);

// 64 bits starting at byte `byteOffset` after `base`, big-endian; bytes at or beyond
// `available` read as zero.
uint64_t PeekAlacWord64Slow(const uint8_t* base, uint64_t available, uint64_t byteOffset);

inline uint64_t PeekAlacWord64(const uint8_t* base, uint64_t available, uint64_t byteOffset) {
    if (byteOffset + 8 <= available) {
        uint64_t word;
        std::memcpy(&word, base + byteOffset, sizeof word);
        return __builtin_bswap64(word);
    }
    return PeekAlacWord64Slow(base, available, byteOffset);
}

// Bytes from the reader's current byte to the end of the packet (0 when past the end).
inline uint64_t AlacBytesAvailable(const AlacBitReader& reader) {
    return reader.bytePos < reader.sizeBytes ? reader.sizeBytes - reader.bytePos : 0;
}

// Reads 0..16 bits (widths above 16 are read as two calls by the packet decoder).
inline uint32_t ReadAlacBits16(AlacBitReader& reader, uint32_t bitCount) {
    assert(bitCount <= 16);
    if (bitCount == 0) {
        return 0;
    }
    const uint64_t available = AlacBytesAvailable(reader);
    const uint8_t* base = reader.data + (reader.bytePos < reader.sizeBytes ? reader.bytePos : reader.sizeBytes);
    const uint64_t word = PeekAlacWord64(base, available, 0);
    const uint32_t value = static_cast<uint32_t>((word << reader.bitIndex) >> (64 - bitCount));
    const uint32_t bits = reader.bitIndex + bitCount;
    reader.bytePos += bits >> 3;
    reader.bitIndex = bits & 7;
    return value;
}

inline uint32_t ReadAlacBit(AlacBitReader& reader) { return ReadAlacBits16(reader, 1); }

// Reads `count` values of `bitCount` (0..16) bits into `out`, exactly as `count` calls of
// ReadAlacBits16 would, but several values from each 64-bit load (the shifted-out low bits of
// wide samples come in runs of thousands).
void ReadAlacBitsBlock(AlacBitReader& reader, uint16_t* out, uint32_t count, uint32_t bitCount);

// Reads 0..32 bits as a 16-bit read followed by the rest.
inline uint32_t ReadAlacBits32(AlacBitReader& reader, uint32_t bitCount) {
    assert(bitCount <= 32);
    if (bitCount <= 16) {
        return ReadAlacBits16(reader, bitCount);
    }
    const uint32_t high = ReadAlacBits16(reader, 16);
    return (high << (bitCount - 16)) | ReadAlacBits16(reader, bitCount - 16);
}

inline void AdvanceAlacBits(AlacBitReader& reader, uint64_t bitCount) {
    const uint64_t bits = reader.bitIndex + bitCount;
    reader.bytePos += bits >> 3;
    reader.bitIndex = static_cast<uint32_t>(bits & 7);
}

inline void AlignAlacReader(AlacBitReader& reader) {
    if (reader.bitIndex != 0) {
        reader.bitIndex = 0;
        reader.bytePos += 1;
    }
}

// Bits from the current position to the end of the packet; negative once past it.
inline int64_t AlacRemainingBits(const AlacBitReader& reader) {
    return (static_cast<int64_t>(reader.sizeBytes) - static_cast<int64_t>(reader.bytePos)) * 8 -
           static_cast<int64_t>(reader.bitIndex);
}

inline bool AlacReaderAtOrPastEnd(const AlacBitReader& reader) { return reader.bytePos >= reader.sizeBytes; }
inline bool AlacReaderPastEnd(const AlacBitReader& reader) { return reader.bytePos > reader.sizeBytes; }

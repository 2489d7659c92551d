// Out-of-line parts of the packet bit reader: set-up and the zero-padded tail read.
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

#include "Mp4FileTable.h"

#include <algorithm>

#include "Mp4Limits.h"

namespace {

uint64_t BytesOf(uint64_t entries, unsigned bits) { return (entries * bits + 7) / 8; }

// Unpacks n big-endian entries of `bytes` bytes each.
template <unsigned bytes>
void Unpack(const uint8_t* packed, uint64_t n, uint64_t* out) {
    for (uint64_t k = 0; k < n; ++k, packed += bytes) {
        uint64_t v = 0;
        for (unsigned b = 0; b < bytes; ++b) v = v << 8 | packed[b];
        out[k] = v;
    }
}

// n entries of `bits` bits; 4-bit entries pair up in a byte, high nibble first.
void Unpack(const uint8_t* packed, uint64_t n, unsigned bits, uint64_t* out) {
    switch (bits) {
        case 4:
            for (uint64_t k = 0; k < n; ++k) out[k] = k % 2 == 0 ? packed[k / 2] >> 4 : packed[k / 2] & 0x0F;
            break;
        case 8: Unpack<1>(packed, n, out); break;
        case 16: Unpack<2>(packed, n, out); break;
        case 32: Unpack<4>(packed, n, out); break;
        default: Unpack<8>(packed, n, out); break;
    }
}

}  // namespace

void Mp4FileTable::Attach(Mp4Source& source, Mp4Span entries, uint64_t count, unsigned bits) {
    // count < 2^32, so the product cannot overflow.
    if (BytesOf(count, bits) > entries.size) MP4_FAIL(Mp4Fault::CountTooLarge);
    source_ = &source;
    offset_ = entries.offset;
    count_ = count;
    bits_ = bits;
    window_.reset();
    first_ = held_ = 0;
}

void Mp4FileTable::Fill(uint64_t index) const {
    if (!window_) window_.reset(new uint64_t[std::min<uint64_t>(count_, kMp4TableWindowEntries)]);
    held_ = 0;
    const uint64_t first = index / kMp4TableWindowEntries * kMp4TableWindowEntries;
    const uint64_t held = std::min<uint64_t>(kMp4TableWindowEntries, count_ - first);
    // The window's first entry is a multiple of an even count, so it starts on a byte.
    uint8_t packed[kMp4TableWindowEntries * 8];
    if (!source_->ReadAside(offset_ + first * bits_ / 8, packed, static_cast<size_t>(BytesOf(held, bits_)))) {
        MP4_FAIL(Mp4Fault::Io);
    }
    Unpack(packed, held, bits_, window_.get());
    first_ = first;
    held_ = held;
}

// A reader bounded to one box payload (or, at the top level, to the stream). Every read checks
// the bytes left and throws CISOException kPayloadTooShort instead of reading past the bound or
// past the end of the data, so box code never does its own bounds arithmetic.
#pragma once

#include <cstdint>
#include <vector>

#include "CISOBitBuffer.h"

class CISOBoxReader {
public:
    CISOBoxReader(CISOBitBuffer& buffer, uint64_t end) : buffer_(&buffer), end_(end) {}

    uint64_t Position() const { return buffer_->Position(); }
    uint64_t End() const { return end_; }
    uint64_t Remaining() const;
    CISOBitBuffer& Buffer() { return *buffer_; }

    uint8_t U8();
    uint16_t U16();
    uint32_t U24();
    uint32_t U32();
    uint64_t U64();
    void Bytes(uint8_t* out, uint64_t count);
    void Skip(uint64_t count);
    void SkipToEnd() { Skip(Remaining()); }
    // A reader over the next `count` bytes of this one.
    CISOBoxReader Sub(uint64_t count) const;
    // Throws kBadTable unless `count` entries of `entryBytes` each fit in what is left.
    void RequireEntries(uint64_t count, uint64_t entryBytes) const;

private:
    uint64_t Be(int byteCount);

    CISOBitBuffer* buffer_;
    uint64_t end_;  // absolute offset one past the last readable byte
};

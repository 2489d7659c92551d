// Bounded payload reader (see CISOBoxReader.h).
#include "CISOBoxReader.h"

#include "CISOException.h"

namespace {
const char kSource[] = "..\\..\\src\\CISOBoxReader";
}

uint64_t CISOBoxReader::Remaining() const {
    const uint64_t here = buffer_->Position();
    return here < end_ ? end_ - here : 0;
}

uint64_t CISOBoxReader::Be(int byteCount) {
    uint8_t bytes[8];
    Bytes(bytes, static_cast<uint64_t>(byteCount));
    uint64_t v = 0;
    for (int i = 0; i < byteCount; ++i) v = (v << 8) | bytes[i];
    return v;
}

uint8_t CISOBoxReader::U8() { return static_cast<uint8_t>(Be(1)); }
uint16_t CISOBoxReader::U16() { return static_cast<uint16_t>(Be(2)); }
uint32_t CISOBoxReader::U24() { return static_cast<uint32_t>(Be(3)); }
uint32_t CISOBoxReader::U32() { return static_cast<uint32_t>(Be(4)); }
uint64_t CISOBoxReader::U64() { return Be(8); }

void CISOBoxReader::Bytes(uint8_t* out, uint64_t count) {
    if (count > Remaining()) ISO_THROW(CISOException::kPayloadTooShort, kSource);
    if (buffer_->Read(out, static_cast<size_t>(count)) != count) {
        ISO_THROW(CISOException::kPayloadTooShort, kSource);
    }
}

void CISOBoxReader::Skip(uint64_t count) {
    if (count > Remaining() || count > buffer_->BytesLeftInStream()) {
        ISO_THROW(CISOException::kPayloadTooShort, kSource);
    }
    buffer_->Skip(count);
}

CISOBoxReader CISOBoxReader::Sub(uint64_t count) const {
    if (count > Remaining()) ISO_THROW(CISOException::kPayloadTooShort, kSource);
    return CISOBoxReader(*buffer_, buffer_->Position() + count);
}

void CISOBoxReader::RequireEntries(uint64_t count, uint64_t entryBytes) const {
    // Division instead of a product, so no count from a file can wrap the comparison.
    if (entryBytes != 0 && count > Remaining() / entryBytes) {
        ISO_THROW(CISOException::kBadTable, kSource);
    }
}

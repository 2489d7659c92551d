// 'stsz'/'stz2' parsing and lookup (see CISOSampleSize.h).
#include "CISOSampleSize.h"

#include "CISOException.h"

namespace {
const char kSource[] = "..\\..\\src\\CISOSampleSize";
}

void CISOSampleSize::ParsePayload(CISOBoxReader& payload, int) {
    if (Type() == kBoxStz2) {
        ParseCompact(payload);
        return;
    }
    payload.U32();  // version, flags
    fixedSize_ = payload.U32();
    sampleCount_ = payload.U32();
    if (fixedSize_ != 0) return;
    payload.RequireEntries(sampleCount_, 4);
    prefix_.reserve(uint64_t{sampleCount_} + 1);
    prefix_.push_back(0);
    for (uint32_t i = 0; i < sampleCount_; ++i) prefix_.push_back(prefix_.back() + payload.U32());
}

void CISOSampleSize::ParseCompact(CISOBoxReader& payload) {
    payload.U32();  // version, flags
    payload.U24();  // reserved
    const uint8_t fieldBits = payload.U8();
    sampleCount_ = payload.U32();
    if (fieldBits != 4 && fieldBits != 8 && fieldBits != 16) {
        ISO_THROW(CISOException::kBadTable, kSource);
    }
    const uint64_t bytes = (uint64_t{sampleCount_} * fieldBits + 7) / 8;
    payload.RequireEntries(bytes, 1);
    prefix_.reserve(uint64_t{sampleCount_} + 1);
    prefix_.push_back(0);
    uint32_t pending = 0;  // second 4-bit field of the last byte read
    for (uint32_t i = 0; i < sampleCount_; ++i) {
        uint32_t size = 0;
        if (fieldBits == 16) {
            size = payload.U16();
        } else if (fieldBits == 8) {
            size = payload.U8();
        } else if (i % 2 == 0) {
            const uint8_t pair = payload.U8();
            size = pair >> 4;
            pending = pair & 0x0Fu;
        } else {
            size = pending;
        }
        prefix_.push_back(prefix_.back() + size);
    }
}

uint32_t CISOSampleSize::SizeOf(uint64_t index) const {
    if (index >= sampleCount_) return 0;
    if (fixedSize_ != 0) return fixedSize_;
    return static_cast<uint32_t>(prefix_[index + 1] - prefix_[index]);
}

uint64_t CISOSampleSize::SumOf(uint64_t from, uint64_t to) const {
    if (fixedSize_ != 0) return uint64_t{fixedSize_} * (to - from);
    return prefix_[to] - prefix_[from];
}

// The trimming stage shared by the two FAAD2 jobs, and the "iTunSMPB" text scanner.
//
// Invariants: skipped_ <= skip_; reserve_ <= kMaxReserveBytes; pending_ <= capacity_ <=
// kMaxHeldBytes; the pending bytes start at ring_[head_] and continue, wrapping at capacity_, for
// pending_ bytes; head_ < capacity_ whenever capacity_ != 0.
#include "GaplessTrimmer.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

int ScanSmpbText(const char* text, uint32_t* delay, uint32_t* padding, uint64_t* validLength) {
    if (text == nullptr) return 0;
    unsigned int ignored = 0;
    unsigned int delayField = 0;
    unsigned int paddingField = 0;
    unsigned long long lengthField = 0;
    const int converted = std::sscanf(text, "%X %X %X %llX", &ignored, &delayField, &paddingField, &lengthField);
    // sscanf returns EOF for an empty text: nothing was converted.
    if (converted <= 0) return 0;
    if (converted >= 2 && delay != nullptr) *delay = delayField;
    if (converted >= 3 && padding != nullptr) *padding = paddingField;
    if (converted >= 4 && validLength != nullptr) *validLength = lengthField;
    return converted;
}

GaplessTrimmer::~GaplessTrimmer() { std::free(ring_); }

void GaplessTrimmer::Reset(uint32_t delayBytes, int64_t paddingBytes) {
    // The buffer is kept for reuse; only its content is dropped.
    head_ = 0;
    pending_ = 0;
    skipped_ = 0;
    skip_ = delayBytes;
    reserve_ = static_cast<uint32_t>(std::clamp<int64_t>(paddingBytes, 0, kMaxReserveBytes));
}

bool GaplessTrimmer::Grow(uint32_t needed) {
    // Doubling keeps the total copying of a growing buffer linear in the bytes pushed.
    uint64_t size = std::max<uint64_t>({needed, uint64_t{capacity_} * 2, kMaxBlockBytes});
    size = std::min<uint64_t>(size, kMaxHeldBytes);
    auto* grown = static_cast<uint8_t*>(std::malloc(size));
    if (grown == nullptr) return false;
    // The pending bytes move to the start of the new buffer, unwrapped.
    const uint32_t first = std::min(pending_, capacity_ - head_);
    if (pending_ != 0) {
        std::memcpy(grown, ring_ + head_, first);
        std::memcpy(grown + first, ring_, pending_ - first);
    }
    std::free(ring_);
    ring_ = grown;
    capacity_ = static_cast<uint32_t>(size);
    head_ = 0;
    return true;
}

bool GaplessTrimmer::Push(const uint8_t* bytes, uint32_t byteCount) {
    if (skipped_ < skip_) {
        const uint32_t dropped = std::min(skip_ - skipped_, byteCount);
        skipped_ += dropped;
        bytes += dropped;
        byteCount -= dropped;
    }
    if (byteCount == 0) return true;
    if (byteCount > kMaxHeldBytes - pending_) return false;
    const uint32_t needed = pending_ + byteCount;
    if (needed > capacity_ && !Grow(needed)) return false;
    // The free space starts after the pending bytes and may wrap around the end.
    const uint32_t tail = static_cast<uint32_t>((uint64_t{head_} + pending_) % capacity_);
    const uint32_t first = std::min(byteCount, capacity_ - tail);
    std::memcpy(ring_ + tail, bytes, first);
    std::memcpy(ring_, bytes + first, byteCount - first);
    pending_ = needed;
    return true;
}

uint32_t GaplessTrimmer::ReadyBytes() const {
    if (pending_ <= reserve_) return 0;
    return std::min(pending_ - reserve_, kMaxBlockBytes);
}

uint8_t* GaplessTrimmer::Emit(uint8_t* scratch, uint32_t* count) {
    *count = ReadyBytes();
    if (*count == 0) return scratch;
    uint8_t* out = ring_ + head_;
    const uint32_t first = capacity_ - head_;
    if (*count > first) {
        std::memcpy(scratch, ring_ + head_, first);
        std::memcpy(scratch + first, ring_, *count - first);
        out = scratch;
    }
    pending_ -= *count;
    // An emptied buffer starts again at its front, so the next blocks do not wrap.
    head_ = pending_ == 0 ? 0 : static_cast<uint32_t>((uint64_t{head_} + *count) % capacity_);
    return out;
}

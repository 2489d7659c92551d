// The trimming stage shared by the two FAAD2 jobs, and the "iTunSMPB" text scanner.
//
// Invariants: skipped_ <= skip_; pending_ <= capacity_; buffer_ holds pending_ bytes at its
// start. The buffer grows to exactly what is needed (no spare capacity), so it never holds more
// than the reserve plus one decoded frame beyond what the job has already emitted.
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

uint32_t DelayAfterWithheldFrames(uint32_t delayFrames, uint32_t withheldAccessUnits, uint32_t framesPerAccessUnit) {
    const uint64_t withheld = uint64_t{withheldAccessUnits} * framesPerAccessUnit;
    return withheld >= delayFrames ? 0u : static_cast<uint32_t>(delayFrames - withheld);
}

GaplessTrimmer::~GaplessTrimmer() { std::free(buffer_); }

void GaplessTrimmer::Reset(uint32_t delayBytes, int64_t paddingBytes) {
    std::free(buffer_);
    buffer_ = nullptr;
    capacity_ = 0;
    pending_ = 0;
    skipped_ = 0;
    skip_ = delayBytes;
    if (paddingBytes < 0) {
        reserve_ = 0;
    } else {
        reserve_ = static_cast<uint32_t>(std::min<int64_t>(paddingBytes, UINT32_MAX));
    }
}

bool GaplessTrimmer::Push(const uint8_t* bytes, uint32_t byteCount) {
    if (skipped_ < skip_) {
        const uint32_t dropped = std::min(skip_ - skipped_, byteCount);
        skipped_ += dropped;
        bytes += dropped;
        byteCount -= dropped;
    }
    if (byteCount == 0) return true;
    if (uint64_t{pending_} + byteCount > UINT32_MAX) return false;
    const uint32_t needed = pending_ + byteCount;
    if (needed > capacity_) {
        auto* grown = static_cast<uint8_t*>(std::malloc(needed));
        if (grown == nullptr) return false;
        if (pending_ != 0) std::memcpy(grown, buffer_, pending_);
        std::free(buffer_);
        buffer_ = grown;
        capacity_ = needed;
    }
    std::memcpy(buffer_ + pending_, bytes, byteCount);
    pending_ = needed;
    return true;
}

uint32_t GaplessTrimmer::ReadyBytes() const {
    if (pending_ <= reserve_) return 0;
    return std::min(pending_ - reserve_, kMaxBlockBytes);
}

uint32_t GaplessTrimmer::Emit(uint8_t* out) {
    const uint32_t count = ReadyBytes();
    if (count == 0) return 0;
    std::memcpy(out, buffer_, count);
    pending_ -= count;
    if (pending_ != 0) std::memmove(buffer_, buffer_ + count, pending_);
    return count;
}

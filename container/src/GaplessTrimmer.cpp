// The trimming stage shared by the two FAAD2 jobs, and the "iTunSMPB" text scanner.
//
// Invariants: skipped_ <= skip_; reserve_ <= kMaxReserveBytes; the pending bytes start at
// segments_[0][head_] and run on through the following segments; head_ + pending_ <= the
// segments' total size <= kMaxHeldBytes - kTrimmerSegmentBytes (the spare is the last segment's
// worth). Between calls head_ may sit at or past the first segment's end (its bytes were emitted
// but may still be in the host's hands); DropEmitted releases such segments on the next call.
#include "GaplessTrimmer.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

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

void GaplessTrimmer::Reset(uint32_t delayBytes, int64_t paddingBytes) {
    pending_ = 0;
    DropEmitted();
    skipped_ = 0;
    skip_ = delayBytes;
    reserve_ = static_cast<uint32_t>(std::clamp<int64_t>(paddingBytes, 0, kMaxReserveBytes));
}

void GaplessTrimmer::DropEmitted() {
    // With nothing pending the first segment starts over; otherwise only whole segments go.
    while (!segments_.empty() && (head_ >= kTrimmerSegmentBytes || (pending_ == 0 && segments_.size() > 1))) {
        if (!spare_) spare_ = std::move(segments_.front());
        segments_.pop_front();
        head_ = head_ >= kTrimmerSegmentBytes ? head_ - kTrimmerSegmentBytes : 0;
    }
    if (pending_ == 0) head_ = 0;
}

bool GaplessTrimmer::Push(const uint8_t* bytes, uint32_t byteCount) {
    DropEmitted();
    if (skipped_ < skip_) {
        const uint32_t dropped = std::min(skip_ - skipped_, byteCount);
        skipped_ += dropped;
        bytes += dropped;
        byteCount -= dropped;
    }
    if (byteCount == 0) return true;
    // head_ < kTrimmerSegmentBytes here; the spare segment is counted as held.
    const uint64_t end = uint64_t{head_} + pending_ + byteCount;
    if (end > kMaxHeldBytes - kTrimmerSegmentBytes) return false;
    while (segments_.size() * uint64_t{kTrimmerSegmentBytes} < end) {
        std::unique_ptr<uint8_t[]> segment = spare_ ? std::move(spare_) : nullptr;
        if (!segment) segment.reset(new (std::nothrow) uint8_t[kTrimmerSegmentBytes]);
        if (!segment) return false;  // nothing written yet; the segments added stay for later
        segments_.push_back(std::move(segment));
    }
    for (uint64_t at = end - byteCount; at < end;) {
        const uint32_t offset = static_cast<uint32_t>(at % kTrimmerSegmentBytes);
        const uint32_t n = static_cast<uint32_t>(std::min<uint64_t>(end - at, kTrimmerSegmentBytes - offset));
        std::memcpy(segments_[static_cast<size_t>(at / kTrimmerSegmentBytes)].get() + offset, bytes, n);
        bytes += n;
        at += n;
    }
    pending_ += byteCount;
    return true;
}

uint32_t GaplessTrimmer::ReadyBytes() const {
    if (pending_ <= reserve_) return 0;
    return std::min(pending_ - reserve_, kMaxBlockBytes);
}

uint8_t* GaplessTrimmer::Emit(uint8_t* scratch, uint32_t* count) {
    DropEmitted();
    *count = ReadyBytes();
    if (*count == 0) return scratch;
    uint8_t* out = segments_[0].get() + head_;
    // A block is at most kMaxBlockBytes <= kTrimmerSegmentBytes: it spans at most two segments.
    const uint32_t first = kTrimmerSegmentBytes - head_;
    if (*count > first) {
        std::memcpy(scratch, out, first);
        std::memcpy(scratch + first, segments_[1].get(), *count - first);
        out = scratch;
    }
    head_ += *count;
    pending_ -= *count;
    return out;
}

// 'trun' parsing (see CISOTrackRun.h).
#include "CISOTrackRun.h"

void CISOTrackRun::ParsePayload(CISOBoxReader& payload, int) {
    const uint8_t version = payload.U8();
    flags_ = payload.U24();
    sampleCount_ = payload.U32();
    signedOffsets_ = version != 0;
    if (flags_ & kDataOffset) dataOffset_ = static_cast<int32_t>(payload.U32());
    if (flags_ & kFirstSampleFlags) payload.U32();  // not a source of sample flags here
    const bool hasDuration = flags_ & kSampleDuration;
    const bool hasSize = flags_ & kSampleSize;
    const bool hasFlags = flags_ & kSampleFlags;
    const bool hasOffset = flags_ & kSampleCompositionOffset;
    const uint32_t entryBytes = 4u * (hasDuration + hasSize + hasFlags + hasOffset);
    payload.RequireEntries(sampleCount_, entryBytes);
    if (entryBytes == 0) return;
    if (hasDuration) durations_.reserve(sampleCount_);
    if (hasSize) {
        sizePrefix_.reserve(uint64_t{sampleCount_} + 1);
        sizePrefix_.push_back(0);
    }
    if (hasFlags) sampleFlags_.reserve(sampleCount_);
    if (hasOffset) compositionOffsets_.reserve(sampleCount_);
    for (uint32_t j = 0; j < sampleCount_; ++j) {
        if (hasDuration) durations_.push_back(payload.U32());
        if (hasSize) sizePrefix_.push_back(sizePrefix_.back() + payload.U32());
        if (hasFlags) sampleFlags_.push_back(payload.U32());
        if (hasOffset) {
            const uint32_t raw = payload.U32();
            compositionOffsets_.push_back(
                signedOffsets_ ? static_cast<uint64_t>(int64_t{static_cast<int32_t>(raw)}) : uint64_t{raw});
        }
    }
}

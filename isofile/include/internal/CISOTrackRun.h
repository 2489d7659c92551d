// 'trun' track fragment run (ISO/IEC 14496-12, 8.8.8). Per-sample fields are kept only for the
// flags that carry them, and the sample count is checked against the payload before any of them
// is allocated, so a run without per-sample fields costs no memory whatever its count.
#pragma once

#include <cstdint>
#include <vector>

#include "CISOBox.h"

class CISOTrackRun : public CISOBox {
public:
    enum Flags : uint32_t {
        kDataOffset = 0x1,
        kFirstSampleFlags = 0x4,
        kSampleDuration = 0x100,
        kSampleSize = 0x200,
        kSampleFlags = 0x400,
        kSampleCompositionOffset = 0x800,
    };

    CISOTrackRun() : CISOBox(kBoxTrun) {}

    uint32_t Flags() const { return flags_; }
    uint32_t SampleCount() const { return sampleCount_; }
    // Signed offset from the fragment's base; 0 without flag 0x1.
    int32_t DataOffset() const { return dataOffset_; }
    // Per-sample values; valid only when the matching flag is set and j < SampleCount().
    uint32_t DurationOf(uint32_t j) const { return durations_[j]; }
    uint32_t SizeOf(uint32_t j) const { return static_cast<uint32_t>(sizePrefix_[j + 1] - sizePrefix_[j]); }
    uint32_t FlagsOf(uint32_t j) const { return sampleFlags_[j]; }
    uint64_t CompositionOffsetOf(uint32_t j) const { return compositionOffsets_[j]; }
    // Version 1 stores signed composition offsets; they are held sign-extended.
    bool SignedCompositionOffsets() const { return signedOffsets_; }
    // Bytes of the run's samples before sample j (flag 0x200).
    uint64_t BytesBefore(uint32_t j) const { return sizePrefix_[j]; }

protected:
    void ParsePayload(CISOBoxReader& payload, int depth) override;

private:
    uint32_t flags_ = 0;
    uint32_t sampleCount_ = 0;
    int32_t dataOffset_ = 0;
    bool signedOffsets_ = false;
    std::vector<uint32_t> durations_;
    std::vector<uint64_t> sizePrefix_;  // sizePrefix_[j] = bytes of samples 0..j-1
    std::vector<uint32_t> sampleFlags_;
    std::vector<uint64_t> compositionOffsets_;
};

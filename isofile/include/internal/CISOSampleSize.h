// 'stsz' and 'stz2' sample sizes (ISO/IEC 14496-12, 8.7.3). Per-sample sizes are held as a
// prefix sum (one u64 per sample plus one), which gives both a sample's size and the bytes of
// the samples before it in its chunk in O(1). The table is loaded whole: its memory is bounded
// by the box's bytes, since the count is checked against them before anything is allocated.
#pragma once

#include <cstdint>
#include <vector>

#include "CISOBox.h"

class CISOSampleSize : public CISOBox {
public:
    explicit CISOSampleSize(uint32_t type) : CISOBox(type) {}

    uint32_t SampleCount() const { return sampleCount_; }
    // Size of sample `index`; 0 beyond the table.
    uint32_t SizeOf(uint64_t index) const;
    // Total size of samples [from, to), both within the table.
    uint64_t SumOf(uint64_t from, uint64_t to) const;

protected:
    void ParsePayload(CISOBoxReader& payload, int depth) override;

private:
    void ParseCompact(CISOBoxReader& payload);

    uint32_t sampleCount_ = 0;
    uint32_t fixedSize_ = 0;         // non-zero: every sample has this size, prefix_ is empty
    std::vector<uint64_t> prefix_;   // prefix_[i] = bytes of samples 0..i-1
};

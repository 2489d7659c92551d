// 'stts' time-to-sample table (ISO/IEC 14496-12, 8.6.1.2): runs of samples sharing a duration.
#pragma once

#include <cstdint>
#include <vector>

#include "CISOBox.h"
#include "ISOCumulativeIndex.h"

class CISOTimeToSample : public CISOBox {
public:
    CISOTimeToSample() : CISOBox(kBoxStts) {}
    // Delta of the first entry whose running sample total exceeds `index`; 0 past the table.
    uint32_t DeltaOf(uint64_t index, size_t& cursor) const;

protected:
    void ParsePayload(CISOBoxReader& payload, int depth) override;

private:
    std::vector<uint32_t> deltas_;
    ISOCumulativeIndex totals_;
};

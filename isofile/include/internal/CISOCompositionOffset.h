// 'ctts' composition offsets (ISO/IEC 14496-12, 8.6.1.3). Offsets are held as 64-bit values;
// version 1 offsets are signed and are sign-extended.
#pragma once

#include <cstdint>
#include <vector>

#include "CISOBox.h"
#include "ISOCumulativeIndex.h"

class CISOCompositionOffset : public CISOBox {
public:
    CISOCompositionOffset() : CISOBox(kBoxCtts) {}
    // Offset of the first entry whose running total reaches index + 1, else of the last entry;
    // 0 for an empty table.
    uint64_t OffsetOf(uint64_t index, size_t& cursor) const;

protected:
    void ParsePayload(CISOBoxReader& payload, int depth) override;

private:
    std::vector<uint64_t> offsets_;
    ISOCumulativeIndex totals_;
};

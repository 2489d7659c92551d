// 'stco' (32-bit) and 'co64' (64-bit) chunk offsets (ISO/IEC 14496-12, 8.7.5), held as 64-bit
// values and loaded whole (bounded by the box's bytes).
#pragma once

#include <cstdint>
#include <vector>

#include "CISOBox.h"

class CISOChunkOffset : public CISOBox {
public:
    explicit CISOChunkOffset(uint32_t type) : CISOBox(type) {}
    // Offset of 1-based chunk `chunk`; 0 for a chunk beyond the table.
    uint64_t OffsetOf(uint64_t chunk) const;

protected:
    void ParsePayload(CISOBoxReader& payload, int depth) override;

private:
    std::vector<uint64_t> offsets_;
};

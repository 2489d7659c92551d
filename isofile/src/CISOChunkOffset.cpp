// 'stco'/'co64' parsing (see CISOChunkOffset.h).
#include "CISOChunkOffset.h"

void CISOChunkOffset::ParsePayload(CISOBoxReader& payload, int) {
    payload.U32();  // version, flags
    const uint32_t entryCount = payload.U32();
    const bool wide = Type() == kBoxCo64;
    payload.RequireEntries(entryCount, wide ? 8 : 4);
    offsets_.reserve(entryCount);
    for (uint32_t k = 0; k < entryCount; ++k) offsets_.push_back(wide ? payload.U64() : payload.U32());
}

uint64_t CISOChunkOffset::OffsetOf(uint64_t chunk) const {
    return chunk >= 1 && chunk <= offsets_.size() ? offsets_[chunk - 1] : 0;
}

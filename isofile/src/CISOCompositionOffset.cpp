// 'ctts' parsing and lookup (see CISOCompositionOffset.h).
#include "CISOCompositionOffset.h"

void CISOCompositionOffset::ParsePayload(CISOBoxReader& payload, int) {
    const uint8_t version = payload.U8();
    payload.U24();  // flags
    const uint32_t entryCount = payload.U32();
    payload.RequireEntries(entryCount, 8);
    offsets_.reserve(entryCount);
    totals_.Reserve(entryCount);
    for (uint32_t k = 0; k < entryCount; ++k) {
        totals_.Append(payload.U32());
        const uint32_t raw = payload.U32();
        offsets_.push_back(version == 0 ? uint64_t{raw}
                                        : static_cast<uint64_t>(int64_t{static_cast<int32_t>(raw)}));
    }
}

uint64_t CISOCompositionOffset::OffsetOf(uint64_t index, size_t& cursor) const {
    if (offsets_.empty()) return 0;
    // "Running total reaches index + 1" is the same entry as "running total exceeds index".
    const size_t k = totals_.Find(index, cursor);
    return k == ISOCumulativeIndex::kNotFound ? offsets_.back() : offsets_[k];
}

// 'stts' parsing and lookup (see CISOTimeToSample.h).
#include "CISOTimeToSample.h"

void CISOTimeToSample::ParsePayload(CISOBoxReader& payload, int) {
    payload.U32();  // version, flags
    const uint32_t entryCount = payload.U32();
    payload.RequireEntries(entryCount, 8);
    deltas_.reserve(entryCount);
    totals_.Reserve(entryCount);
    for (uint32_t k = 0; k < entryCount; ++k) {
        totals_.Append(payload.U32());
        deltas_.push_back(payload.U32());
    }
}

uint32_t CISOTimeToSample::DeltaOf(uint64_t index, size_t& cursor) const {
    const size_t k = totals_.Find(index, cursor);
    return k == ISOCumulativeIndex::kNotFound ? 0 : deltas_[k];
}

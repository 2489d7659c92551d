// 'stss' parsing and lookup (see CISOSyncSample.h).
#include "CISOSyncSample.h"

#include <algorithm>

#include "CISOException.h"

namespace {
const char kSource[] = "..\\..\\src\\CISOSyncSample";
}

void CISOSyncSample::ParsePayload(CISOBoxReader& payload, int) {
    payload.U32();  // version, flags
    const uint32_t entryCount = payload.U32();
    payload.RequireEntries(entryCount, 4);
    numbers_.reserve(entryCount);
    for (uint32_t k = 0; k < entryCount; ++k) {
        const uint32_t number = payload.U32();
        if (!numbers_.empty() && number < numbers_.back()) ISO_THROW(CISOException::kBadTable, kSource);
        numbers_.push_back(number);
    }
}

bool CISOSyncSample::IsSync(uint64_t sampleNumber, size_t& cursor) const {
    // The nearer of the first entry not below the number and the one before it equals the number
    // exactly when the first one does, so only that entry matters.
    const auto firstNotBelow = [&](size_t k) {
        return k < numbers_.size() && numbers_[k] >= sampleNumber &&
               (k == 0 || numbers_[k - 1] < sampleNumber);
    };
    size_t k = cursor;
    if (!firstNotBelow(k)) {
        k = static_cast<size_t>(std::lower_bound(numbers_.begin(), numbers_.end(), sampleNumber) -
                                numbers_.begin());
    }
    cursor = k;
    return k < numbers_.size() && numbers_[k] == sampleNumber;
}

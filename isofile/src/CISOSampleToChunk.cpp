// 'stsc' parsing and lookup (see CISOSampleToChunk.h).
#include "CISOSampleToChunk.h"

#include <limits>

#include "CISOException.h"

namespace {
const char kSource[] = "..\\..\\src\\CISOSampleToChunk";
}

void CISOSampleToChunk::ParsePayload(CISOBoxReader& payload, int) {
    payload.U32();  // version, flags
    const uint32_t entryCount = payload.U32();
    payload.RequireEntries(entryCount, 12);
    firstChunks_.reserve(entryCount);
    samplesPerChunk_.reserve(entryCount);
    for (uint32_t k = 0; k < entryCount; ++k) {
        const uint32_t firstChunk = payload.U32();
        const uint32_t perChunk = payload.U32();
        payload.U32();  // sample description index
        if (firstChunk == 0 || (k > 0 && firstChunk <= firstChunks_.back())) {
            ISO_THROW(CISOException::kBadTable, kSource);
        }
        firstChunks_.push_back(firstChunk);
        samplesPerChunk_.push_back(perChunk);
    }
    totals_.Reserve(entryCount);
    for (uint32_t k = 0; k < entryCount; ++k) {
        if (k + 1 == entryCount) {
            // The last entry covers every further chunk: unbounded unless it has no samples.
            totals_.Append(samplesPerChunk_[k] == 0 ? 0 : std::numeric_limits<uint64_t>::max());
            break;
        }
        const uint64_t from = k == 0 ? 1 : firstChunks_[k];
        const uint64_t chunks = firstChunks_[k + 1] > from ? firstChunks_[k + 1] - from : 0;
        totals_.Append(chunks * samplesPerChunk_[k]);  // < 2^64: both factors are below 2^32
    }
}

bool CISOSampleToChunk::Locate(uint64_t index, size_t& cursor, Location& out) const {
    if (firstChunks_.empty()) {
        out = {1, index};
        return true;
    }
    const size_t k = totals_.Find(index, cursor);
    if (k == ISOCumulativeIndex::kNotFound) return false;
    const uint64_t from = k == 0 ? 1 : firstChunks_[k];
    const uint64_t within = index - totals_.StartOf(k);
    const uint64_t perChunk = samplesPerChunk_[k];  // > 0: an entry without samples holds none
    out = {from + within / perChunk, within % perChunk};
    return true;
}

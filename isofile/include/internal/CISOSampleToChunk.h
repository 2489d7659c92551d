// 'stsc' sample-to-chunk table (ISO/IEC 14496-12, 8.7.4). Validated when parsed: first chunks
// start at 1 or later and strictly increase, so that every lookup ends. A first chunk of 0 or a
// table out of order is malformed and fails the parse (code kBadTable).
#pragma once

#include <cstdint>
#include <vector>

#include "CISOBox.h"
#include "ISOCumulativeIndex.h"

class CISOSampleToChunk : public CISOBox {
public:
    struct Location {
        uint64_t chunk;            // 1-based chunk number
        uint64_t samplesBefore;    // samples of that chunk that precede the sample
    };

    CISOSampleToChunk() : CISOBox(kBoxStsc) {}
    // The chunk holding sample `index` (0-based). The first entry applies from chunk 1; the last
    // applies to every further chunk. An empty table gives chunk 1 and the index itself. False
    // when no chunk holds the sample (the last entries have no samples per chunk).
    bool Locate(uint64_t index, size_t& cursor, Location& out) const;

protected:
    void ParsePayload(CISOBoxReader& payload, int depth) override;

private:
    std::vector<uint32_t> firstChunks_;
    std::vector<uint32_t> samplesPerChunk_;
    ISOCumulativeIndex totals_;  // samples up to the end of each entry's chunk range
};

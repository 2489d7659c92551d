// The sample tables of one track (stsz/stz2, stsc, stco/co64, stts, ctts, stss), validated when
// parsed and indexed for lookups: cumulative arrays for binary search by time or index, cursors
// for in-order access. The run-length tables are held in memory, growing with their number of
// runs; the per-sample tables (sizes, chunk offsets) stay in the file behind a fixed window, so
// memory does not grow with the track's length.
//
// Sample ids are 1-based as in the C interface; indexes inside are 0-based.
#pragma once

#include <cstdint>
#include <vector>

#include "Mp4FileTable.h"
#include "Mp4Reader.h"
#include "Mp4RunIndex.h"
#include "Mp4Source.h"

class Mp4SampleTable {
public:
    // Each parser takes the box payload (after the box header) and throws Mp4Error when the box
    // cannot hold what its fields declare. The per-sample tables read only their fixed fields
    // here and keep reading their entries from `source`, which must outlive the table.
    void ParseStsz(Mp4Source& source, Mp4Span payload);
    void ParseStz2(Mp4Source& source, Mp4Span payload);
    void ParseStsc(Mp4Reader payload);
    void ParseChunkOffsets(Mp4Source& source, Mp4Span payload, bool sixtyFourBit);
    void ParseStts(Mp4Reader payload);
    void ParseCtts(Mp4Reader payload);
    void ParseStss(Mp4Reader payload);

    // Builds the stsc index; call once after all boxes are parsed (it needs the chunk count).
    void Finish();

    // The stsz/stz2 sample_count field.
    uint32_t SampleCount() const { return sampleCount_; }

    // File offset and size of a sample; false for id 0, ids past the count, and samples whose
    // chunk is not in the tables. Throws Io when the tables can no longer be read.
    bool Locate(uint32_t sampleId, uint64_t& offset, uint32_t& size) const;

    // Decode time and stts delta of a sample; false when stts does not reach it.
    bool Time(uint32_t sampleId, uint64_t& start, uint64_t& duration) const;

    // The sample whose stts interval holds `when`, counting the exact end of a run as the next
    // run's first sample, so the exact total gives count + 1; 0 past the total or with no stts.
    uint32_t IdFromTime(uint64_t when) const;

    // 1 when the sample is a sync sample (every sample is without stss), 0 otherwise.
    int8_t Sync(uint32_t sampleId) const;

    // First sync sample id >= sampleId (sampleId itself without stss); 0 when none.
    uint32_t SyncAtOrAfter(uint32_t sampleId) const;

    // ctts offset of the sample, 0 without ctts or past its end.
    uint64_t RenderingOffset(uint32_t sampleId) const;

private:
    // Bytes of the samples of a chunk ahead of sample `index` (of `size` bytes), its chunk's
    // first sample being `chunkFirst`; summed on from the sample located last when that one is in
    // the same chunk and not after `index`, so reading in order costs one addition per sample.
    uint64_t BytesBefore(uint64_t index, uint64_t chunkFirst, uint32_t size) const;

    uint32_t sampleCount_ = 0;
    uint32_t constantSize_ = 0;            // stsz sample_size; 0 when sizes are listed
    Mp4FileTable sizes_;                   // listed sizes (sampleCount_ entries)
    struct Located {
        uint64_t index = UINT64_MAX;       // none yet
        uint64_t chunkFirst = 0;
        uint64_t before = 0;               // bytes of the chunk ahead of it
        uint32_t size = 0;                 // its own
    };
    mutable Located last_;

    struct ChunkRun {
        uint32_t firstChunk;      // 1-based
        uint32_t samplesPerChunk;
    };
    std::vector<ChunkRun> stscEntries_;
    Mp4RunIndex chunkRuns_;                // over samples, one run per stsc entry
    Mp4FileTable chunkOffsets_;

    std::vector<uint32_t> timeDeltas_;     // per stts run
    std::vector<uint64_t> timeStarts_;     // per stts run: decode time of its first sample
    std::vector<uint64_t> timeEnds_;       // per stts run: start + count * delta
    Mp4RunIndex timeRuns_;

    std::vector<uint32_t> renderOffsets_;  // per ctts run
    Mp4RunIndex renderRuns_;

    bool hasStss_ = false;
    std::vector<uint32_t> syncIds_;        // sorted, unique
};

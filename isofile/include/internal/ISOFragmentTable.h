// The track fragment runs of every movie fragment of a file, flattened into compact records as
// each 'moof' is parsed, so that the box objects of a fragment live only while it is parsed.
// A fragmented file may hold a fragment per sample; what stays per run is one record and the
// run's per-sample values in arrays shared by all runs: under 100 bytes for a run of one sample
// with its size, where the boxes themselves took about 600.
// The track reader looks its fragment samples up here.
#pragma once

#include <cstdint>
#include <vector>

#include "CISOMovieFragment.h"

class ISOFragmentTable {
public:
    struct Run {
        uint64_t baseDataOffset;    // the 'tfhd' base, resolved (see CISOTrackFragmentHeader)
        uint64_t firstWord;         // the run's per-sample words start here in words_
        uint64_t firstSizeTotal;    // with per-sample sizes: its running totals start here
        uint32_t trackId;
        uint32_t headerFlags;       // 'tfhd' flags and defaults
        uint32_t defaultDuration;
        uint32_t defaultSize;
        uint32_t defaultFlags;
        uint32_t runFlags;          // 'trun' flags (CISOTrackRun::Flags)
        uint32_t sampleCount;
        int32_t dataOffset;         // 0 without CISOTrackRun::kDataOffset
        bool signedCompositionOffsets;  // 'trun' version 1
    };

    // Appends the runs of every track fragment of `fragment`, in file order.
    void Append(const CISOMovieFragment& fragment);
    const std::vector<Run>& Runs() const { return runs_; }

    // Per-sample values of sample j of `run`; each valid only when the run has that field.
    uint32_t DurationOf(const Run& run, uint32_t j) const { return Word(run, j, CISOTrackRun::kSampleDuration); }
    uint32_t SizeOf(const Run& run, uint32_t j) const { return Word(run, j, CISOTrackRun::kSampleSize); }
    uint32_t FlagsOf(const Run& run, uint32_t j) const { return Word(run, j, CISOTrackRun::kSampleFlags); }
    uint64_t CompositionOffsetOf(const Run& run, uint32_t j) const;
    // Bytes of the run's samples before sample j (per-sample sizes only).
    uint64_t BytesBefore(const Run& run, uint32_t j) const { return sizeTotals_[run.firstSizeTotal + j]; }

private:
    // The word of field `field` (one of the per-sample flags) of sample j: each sample has one
    // word per field present, in the order of the flags' bits, as in the box.
    uint32_t Word(const Run& run, uint32_t j, uint32_t field) const;

    std::vector<Run> runs_;
    std::vector<uint32_t> words_;
    std::vector<uint64_t> sizeTotals_;  // per run with sizes: count + 1 running totals from 0
};

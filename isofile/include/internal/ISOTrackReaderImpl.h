// The track reader over a parsed movie. Lookups give the results of the format's definition as
// linear walks from each table's first entry, but each table keeps a cursor and cumulative
// totals, so reading a track in order costs O(1) per sample and a jump costs O(log n).
// Tables are loaded whole when parsed rather than through a paged window: memory grows with the
// number of entries, which the parse bounds by the bytes of each table's box.
#pragma once

#include <cstdint>
#include <vector>

#include "CISOTrack.h"
#include "CISOTrackExtends.h"
#include "ISOCumulativeIndex.h"
#include "ISOFragmentTable.h"
#include "ISOGenericStream.h"
#include "ISOTrackReader.h"

class ISOMovieImpl;

class ISOTrackReaderImpl : public ISOTrackReader {
public:
    ISOTrackReaderImpl(const CISOTrack& track, const ISOMovieImpl& movie, ISOGenericStream& stream);

    int32_t ReadSample(uint32_t index, ISOSampleInfo& info, uint8_t* buffer, uint32_t capacity) override;
    uint32_t SampleCount() override;

private:
    int32_t LocateTableSample(uint32_t index, ISOSampleInfo& info);
    int32_t LocateFragmentSample(uint64_t index, ISOSampleInfo& info);

    const CISOSampleTable* table_ = nullptr;
    const ISOFragmentTable& fragments_;
    ISOGenericStream& stream_;
    const CISOTrackExtends* trackExtends_ = nullptr;
    uint32_t tableSampleCount_ = 0;

    // This track's runs in file order (fragment by fragment) with their running sample totals.
    std::vector<const ISOFragmentTable::Run*> runs_;
    ISOCumulativeIndex runTotals_;

    uint32_t cursor_ = 0;  // index of the next sample for a kCurrentSample read
    // Entry hints of the tables, so that sequential lookups do not search.
    size_t chunkCursor_ = 0;
    size_t durationCursor_ = 0;
    size_t compositionCursor_ = 0;
    size_t syncCursor_ = 0;
    size_t runCursor_ = 0;
};

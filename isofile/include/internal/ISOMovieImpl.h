// The movie object: reads a file's top level (file and segment type, movie box, movie fragments,
// media data and the kept raw boxes) and exposes the tracks, fragment runs and extends to readers.
// Movie fragments and media data boxes are not kept as boxes: a fragment's runs go into the
// fragment table, and media data is read through the sample tables and runs.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "CISOFile.h"
#include "CISOMovie.h"
#include "CISOSegmentIndex.h"
#include "ISOFragmentTable.h"
#include "ISOGenericStream.h"
#include "ISOMovie.h"
#include "ISOTrackImpl.h"

class ISOMovieImpl : public ISOMovie {
public:
    ISOMovieImpl(ISOGenericStream& stream, int32_t mode) : stream_(stream), mode_(mode) {}

    // Parses the top level. Returns the bytes consumed, or 0 when the data is empty or ends at an
    // invalid header before a movie box was parsed. Throws CISOException for malformed boxes.
    uint64_t Read();
    // Makes the track objects of the parsed movie box (no-op without one).
    void MakeTracks();

    uint32_t TrackCount() const override { return static_cast<uint32_t>(tracks_.size()); }
    ISOTrack* TrackAt(uint32_t index) override;

    int32_t Mode() const { return mode_; }
    // The first movie box, or null.
    const CISOMovie* Movie() const { return movie_; }
    const ISOFragmentTable& FragmentRuns() const { return fragmentRuns_; }
    // Every kept top-level box in file order (segment indexes, fragments and media data are not
    // kept here).
    const std::vector<const CISOBox*>& TopLevelBoxes() const { return topLevel_; }

private:
    void Keep(std::unique_ptr<CISOBox> box);

    ISOGenericStream& stream_;
    int32_t mode_;
    CISOFile file_;
    CISOFileSegment segment_;
    std::vector<std::unique_ptr<CISOBox>> owned_;
    std::vector<const CISOBox*> topLevel_;
    const CISOMovie* movie_ = nullptr;
    ISOFragmentTable fragmentRuns_;
    std::vector<std::unique_ptr<CISOSegmentIndex>> segmentIndexes_;
    std::vector<std::unique_ptr<ISOTrackImpl>> tracks_;
};

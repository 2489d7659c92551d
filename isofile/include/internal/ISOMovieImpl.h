// The movie object: reads a file's top level (file and segment type, movie box, movie fragments,
// media data and the kept raw boxes) and exposes the tracks, fragments and extends to readers.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "CISOFile.h"
#include "CISOMediaData.h"
#include "CISOMovie.h"
#include "CISOMovieFragment.h"
#include "CISOSegmentIndex.h"
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
    const std::vector<const CISOMovieFragment*>& Fragments() const { return fragments_; }
    const std::vector<const CISOMediaData*>& MediaData() const { return mediaData_; }
    // Every kept top-level box in file order (segment indexes are not kept here).
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
    std::vector<const CISOMovieFragment*> fragments_;
    std::vector<const CISOMediaData*> mediaData_;
    std::vector<std::unique_ptr<CISOSegmentIndex>> segmentIndexes_;
    std::vector<std::unique_ptr<ISOTrackImpl>> tracks_;
};

// The track over one parsed 'trak' box; owns the readers created through it.
#pragma once

#include <memory>
#include <vector>

#include "CISOTrack.h"
#include "ISOGenericStream.h"
#include "ISOTrack.h"
#include "ISOTrackReader.h"

class ISOMovieImpl;

class ISOTrackImpl : public ISOTrack {
public:
    ISOTrackImpl(const CISOTrack& box, const ISOMovieImpl& movie, ISOGenericStream& stream)
        : box_(box), movie_(movie), stream_(stream) {}

    ISOTrackReader* CreateReader() override;
    ISOTrackWriter* Writer() override { return nullptr; }
    uint32_t SampleCount() override;
    uint32_t TrackId() const override;

private:
    const CISOTrack& box_;
    const ISOMovieImpl& movie_;
    ISOGenericStream& stream_;
    std::vector<std::unique_ptr<ISOTrackReader>> readers_;
};

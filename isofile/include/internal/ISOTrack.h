// A track of a parsed movie as the reader interface sees it: it creates readers for its samples
// and answers the sample-count question through its reader.
#pragma once

#include <cstdint>

class ISOTrackReader;
class ISOTrackWriter;  // the library's writer side; not built in this module

class ISOTrack {
public:
    virtual ~ISOTrack();
    // A new reader positioned at the first sample; owned by the track.
    virtual ISOTrackReader* CreateReader() = 0;
    // The track's writer; null, since this module only reads.
    virtual ISOTrackWriter* Writer() = 0;
    // The newest reader's sample count; 0 when no reader was created.
    virtual uint32_t SampleCount() = 0;
    virtual uint32_t TrackId() const = 0;
};

// A parsed movie as the reader interface sees it: its tracks in file order.
#pragma once

#include <cstdint>
#include <memory>

#include "ISOGenericStream.h"

class ISOTrack;

class ISOMovie {
public:
    virtual ~ISOMovie();
    virtual uint32_t TrackCount() const = 0;
    // Track `index` (0-based, file order), or null.
    virtual ISOTrack* TrackAt(uint32_t index) = 0;

    // Builds a movie over `stream` for open mode `mode`. The read modes (0, 1) and the in-memory
    // mode (5) parse the top level and give null when it yields no movie box; the write modes
    // give an empty movie. Malformed boxes throw CISOException. The stream must outlive the movie.
    static std::unique_ptr<ISOMovie> Build(ISOGenericStream& stream, int32_t mode);
};

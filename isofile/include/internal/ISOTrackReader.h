// Reads the samples of one track by index: first those of the track's sample tables, then those
// of every run of the track in every movie fragment, in file order, as one sequence.
#pragma once

#include <cstdint>

// What a read reports about a sample.
struct ISOSampleInfo {
    uint32_t duration = 0;           // in the track's time scale
    uint64_t compositionOffset = 0;
    uint32_t size = 0;               // bytes
    uint32_t sync = 0;               // 1 sync, 0 not sync, 2 the file says nothing
    uint64_t fileOffset = 0;         // where the sample's bytes begin
};

class ISOTrackReader {
public:
    // The index that stands for the reader's cursor (the sample after the last one read).
    static constexpr uint32_t kCurrentSample = 0xFFFFFFFFu;

    enum Result : int32_t {
        kOk = 0,
        kDescriptionFailed = -1,  // reserved for sample-description changes (not raised here)
        kPastEnd = -2,            // no sample with that index, in the tables or any fragment
        kUnreadable = -3,         // the sample's bytes lie outside the data or cannot be read
        kTooLarge = -4,           // the sample is larger than the caller's buffer
        kNoChunk = -5,            // the sample-to-chunk table places the sample in no chunk
    };

    virtual ~ISOTrackReader();

    // Fills `info` for sample `index` (0-based, or kCurrentSample) and, when `buffer` is not
    // null, copies the sample's bytes into it, never more than `capacity`. Any index other than
    // kCurrentSample becomes the cursor; a successful read advances the cursor by one. `info`
    // holds whatever was found even when the result is negative.
    virtual int32_t ReadSample(uint32_t index, ISOSampleInfo& info, uint8_t* buffer, uint32_t capacity) = 0;
    // Samples of the tables plus samples of every run of this track, capped at 0xFFFFFFFF.
    virtual uint32_t SampleCount() = 0;
};

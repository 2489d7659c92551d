// Opens the input as a movie in memory mode and reads every sample of every track (counts
// capped so that one input stays fast), through the flat interface the xHE-AAC job uses.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "IsoReaderInterface.h"

namespace {
constexpr uint32_t kMaxTracks = 8;
constexpr uint32_t kMaxSamplesPerTrack = 4096;
constexpr uint32_t kBufferBytes = 8192;  // the xHE-AAC job's sample buffer
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ISO_SetMemorySource(data, size);
    ISOMovieHandle* movie = nullptr;
    if (ISO_OpenMovie(&movie, kIsoModeMemory, nullptr) != kIsoOk) return 0;
    ISOSampleRecord* record = nullptr;
    ISO_CreateSample(&record);
    std::vector<uint8_t> buffer(kBufferBytes);
    ISO_SetSampleBuffer(record, buffer.data());
    for (uint32_t t = 0; t < kMaxTracks; ++t) {
        ISOTrackHandle* track = nullptr;
        if (ISO_OpenTrack(movie, &track, t) != kIsoOk) break;
        uint32_t count = 0;
        ISO_GetSampleCount(track, &count);
        ISO_SetSampleNumber(record, 0);
        for (uint32_t k = 0; k < count && k < kMaxSamplesPerTrack; ++k) {
            ISO_SetBufferSize(record, kBufferBytes);
            const int32_t result = ISO_ReadSample(track, record);
            if (result == kIsoEndOfTrack) break;
        }
        // A jump back and one past the end exercise the cursors' search paths.
        ISO_SetSampleNumber(record, count / 2 + 1);
        ISO_SetBufferSize(record, kBufferBytes);
        ISO_ReadSample(track, record);
        // A read leaves the sample's size in the record: the capacity is set again before each.
        ISO_SetSampleNumber(record, count + 1);
        ISO_SetBufferSize(record, kBufferBytes);
        ISO_ReadSample(track, record);
    }
    ISO_FreeSample(record);
    ISO_CloseMovie(movie);
    return 0;
}

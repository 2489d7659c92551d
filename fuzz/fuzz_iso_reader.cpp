// Opens the input as a movie in memory mode and reads every sample of every track (counts
// capped so that one input stays fast), through the flat interface the xHE-AAC job uses.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "IsoReaderInterface.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr uint32_t kMaxTracks = 8, kMaxSamplesPerTrack = 4096, kBufferBytes = 8192;  // the job's sample buffer
    ISO_SetMemorySource(data, size);
    ISOMovieHandle* movie = nullptr;
    if (ISO_OpenMovie(&movie, kIsoModeMemory, nullptr) != kIsoOk) return 0;
    ISOSampleRecord* record = nullptr;
    ISO_CreateSample(&record);
    std::vector<uint8_t> buffer(kBufferBytes);
    ISO_SetSampleBuffer(record, buffer.data());
    ISOTrackHandle* track = nullptr;
    for (uint32_t t = 0; t < kMaxTracks && ISO_OpenTrack(movie, &track, t) == kIsoOk; ++t) {
        uint32_t count = 0;
        ISO_GetSampleCount(track, &count);
        // In order from the start, then a jump back and one past the end for the cursors' searches.
        // A read leaves the sample's size in the record: the capacity is set again before each.
        std::vector<uint32_t> numbers(count < kMaxSamplesPerTrack ? count : kMaxSamplesPerTrack, 0);
        numbers.insert(numbers.end(), {count / 2 + 1, count + 1});
        for (uint32_t number : numbers) {
            ISO_SetSampleNumber(record, number);
            ISO_SetBufferSize(record, kBufferBytes);
            if (ISO_ReadSample(track, record) == kIsoEndOfTrack && number == 0) break;
        }
    }
    ISO_FreeSample(record);
    ISO_CloseMovie(movie);
    return 0;
}

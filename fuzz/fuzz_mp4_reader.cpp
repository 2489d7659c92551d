// Fuzz target for the MP4 reader: opens the input as a file image and makes every call the jobs
// make on every track (configuration, cookie, edit list, time conversions and lookups, metadata),
// reading every sample (capped), freeing everything.
#include <cstddef>
#include <cstdint>

#include "Mp4File.h"
#include "mp4v2/mp4v2.h"

namespace {

constexpr uint32_t kMaxSamplesPerTrack = 10000;

void WalkTrack(MP4FileHandle h, MP4TrackId id) {
    (void)MP4GetTrackType(h, id);
    (void)MP4GetTrackAudioChannels(h, id);
    uint8_t* bytes = nullptr;
    uint32_t size = 0;
    if (MP4GetTrackESConfiguration(h, id, &bytes, &size)) MP4Free(bytes);
    bytes = nullptr;
    if (MP4GetTrackBytesProperty(h, id, "mdia.minf.stbl.stsd.alac.alacInfo", &bytes, &size)) MP4Free(bytes);
    (void)MP4GetTrackEditMediaStart(h, id, 1);
    (void)MP4GetTrackEditDuration(h, id, 1);
    const MP4Duration duration = MP4GetTrackDuration(h, id);
    for (uint64_t t : {uint64_t{0}, uint64_t{1024}, duration, duration + 1, UINT64_MAX}) {
        (void)MP4ConvertToTrackTimestamp(h, id, t, MP4_NANOSECONDS_TIME_SCALE);
        (void)MP4ConvertFromTrackTimestamp(h, id, t, MP4_NANOSECONDS_TIME_SCALE);
        (void)MP4GetSampleIdFromTime(h, id, t, false);
    }
    const uint32_t count = MP4GetTrackNumberOfSamples(h, id);
    for (MP4SampleId s = 0; s <= (count < kMaxSamplesPerTrack ? count : kMaxSamplesPerTrack) + 1; ++s) {
        (void)MP4GetSampleSync(h, id, s);
        (void)MP4GetSampleTime(h, id, s);
        bytes = nullptr;
        if (MP4ReadSample(h, id, s, &bytes, &size)) MP4Free(bytes);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    MP4FileHandle h = Mp4ReadMemory(data, size);
    if (!h) return 0;
    (void)MP4GetTimeScale(h);
    (void)MP4GetAudioProfileLevel(h);
    const uint32_t tracks = MP4GetNumberOfTracks(h, nullptr, 0);
    for (uint32_t i = 0; i <= tracks && i <= UINT16_MAX; ++i) WalkTrack(h, MP4FindTrackId(h, static_cast<uint16_t>(i), nullptr, 0));
    MP4ItmfItemListFree(MP4ItmfGetItemsByMeaning(h, "com.apple.iTunes", "iTunSMPB"));
    MP4Close(h, 0);
    return 0;
}

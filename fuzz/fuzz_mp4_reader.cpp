// Fuzz target for the MP4 reader: opens the input as a file image, then walks every track
// through every call of the C interface and reads every sample (capped), freeing everything.
#include <cstddef>
#include <cstdint>

#include "Mp4File.h"
#include "mp4v2/mp4v2.h"

namespace {

constexpr uint32_t kMaxSamplesPerTrack = 10000;

void WalkTrack(MP4FileHandle h, MP4TrackId id) {
    (void)MP4GetTrackType(h, id);
    (void)MP4GetTrackTimeScale(h, id);
    const MP4Duration duration = MP4GetTrackDuration(h, id);
    (void)MP4GetTrackAudioChannels(h, id);

    uint8_t* bytes = nullptr;
    uint32_t size = 0;
    if (MP4GetTrackESConfiguration(h, id, &bytes, &size)) MP4Free(bytes);
    bytes = nullptr;
    if (MP4GetTrackBytesProperty(h, id, "mdia.minf.stbl.stsd.alac.alacInfo", &bytes, &size)) MP4Free(bytes);
    bytes = nullptr;
    if (MP4GetTrackBytesProperty(h, id, "mdia.minf.stbl.stsd.alac.alac.decoderConfig", &bytes, &size)) MP4Free(bytes);

    for (MP4EditId edit = 0; edit <= 3; ++edit) {
        (void)MP4GetTrackEditMediaStart(h, id, edit);
        (void)MP4GetTrackEditDuration(h, id, edit);
    }
    const uint64_t times[] = {0, 1, 1024, duration, duration + 1, UINT64_MAX};
    for (uint64_t t : times) {
        (void)MP4ConvertToTrackTimestamp(h, id, t, MP4_NANOSECONDS_TIME_SCALE);
        (void)MP4ConvertFromTrackTimestamp(h, id, t, MP4_NANOSECONDS_TIME_SCALE);
        (void)MP4GetSampleIdFromTime(h, id, t, false);
        (void)MP4GetSampleIdFromTime(h, id, t, true);
    }

    const uint32_t count = MP4GetTrackNumberOfSamples(h, id);
    const uint32_t walked = count < kMaxSamplesPerTrack ? count : kMaxSamplesPerTrack;
    for (MP4SampleId s = 0; s <= walked + 1; ++s) {
        (void)MP4GetSampleSync(h, id, s);
        (void)MP4GetSampleTime(h, id, s);
        bytes = nullptr;
        size = 0;
        MP4Timestamp start = 0;
        MP4Duration sampleDuration = 0, offset = 0;
        bool sync = false;
        if (MP4ReadSample(h, id, s, &bytes, &size, &start, &sampleDuration, &offset, &sync)) MP4Free(bytes);
    }
    // The caller's-buffer path, on the last sample walked.
    uint8_t buffer[64];
    bytes = buffer;
    size = sizeof buffer;
    (void)MP4ReadSample(h, id, walked, &bytes, &size);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    MP4FileHandle h = Mp4ReadMemory(data, size);
    if (!h) return 0;
    (void)MP4GetTimeScale(h);
    (void)MP4GetAudioProfileLevel(h);
    const uint32_t tracks = MP4GetNumberOfTracks(h, nullptr, 0);
    (void)MP4GetNumberOfTracks(h, "audio", 0);
    (void)MP4GetNumberOfTracks(h, "soun", 0x40);
    for (uint32_t i = 0; i <= tracks && i <= UINT16_MAX; ++i) {
        WalkTrack(h, MP4FindTrackId(h, static_cast<uint16_t>(i), nullptr, 0));
        (void)MP4FindTrackId(h, static_cast<uint16_t>(i), "soun", 0);
    }
    WalkTrack(h, 0xFFFFFFFF);
    MP4ItmfItemListFree(MP4ItmfGetItemsByMeaning(h, "com.apple.iTunes", "iTunSMPB"));
    MP4ItmfItemListFree(MP4ItmfGetItemsByMeaning(h, "com.apple.iTunes", nullptr));
    MP4Close(h, 0);
    return 0;
}

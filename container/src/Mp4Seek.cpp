#include "Mp4Seek.h"

namespace {
constexpr uint64_t kNanosPerHns = 100;  // host positions are in 100 ns units
}

MP4SampleId FindStartSample(MP4FileHandle file, MP4TrackId track, uint64_t* startPosition) {
    if (startPosition == nullptr || *startPosition == 0) return MP4_INVALID_SAMPLE_ID;
    const uint64_t startHns = *startPosition;
    if (startHns > UINT64_MAX / kNanosPerHns) return MP4_INVALID_SAMPLE_ID;
    const MP4Timestamp target =
        MP4ConvertToTrackTimestamp(file, track, startHns * kNanosPerHns, MP4_NANOSECONDS_TIME_SCALE);
    if (target == MP4_INVALID_TIMESTAMP) return MP4_INVALID_SAMPLE_ID;

    MP4SampleId id = MP4GetSampleIdFromTime(file, track, target, false);
    // A failed sync lookup (-1) counts as sync: audio tracks list no sync samples or all of them.
    while (id != MP4_INVALID_SAMPLE_ID && MP4GetSampleSync(file, track, id) == 0) --id;
    if (id == MP4_INVALID_SAMPLE_ID) return MP4_INVALID_SAMPLE_ID;

    const MP4Timestamp syncTime = MP4GetSampleTime(file, track, id);
    if (syncTime == MP4_INVALID_TIMESTAMP || syncTime > target) return MP4_INVALID_SAMPLE_ID;
    if (syncTime == target) {
        *startPosition = 0;
        return id;
    }
    const uint64_t remainderNs =
        MP4ConvertFromTrackTimestamp(file, track, target - syncTime, MP4_NANOSECONDS_TIME_SCALE);
    if (remainderNs == UINT64_MAX) return MP4_INVALID_SAMPLE_ID;
    *startPosition = remainderNs / kNanosPerHns;
    return id;
}

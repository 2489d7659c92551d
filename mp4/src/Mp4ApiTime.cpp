// C interface: edit lists, time conversions and time lookups.
#include "Mp4ApiGuard.h"
#include "Mp4TimeScale.h"

namespace {

const Mp4Edit* EditOf(MP4FileHandle hFile, MP4TrackId trackId, MP4EditId editId) {
    if (!hFile) return nullptr;
    const Mp4Track* track = Mp4FileOf(hFile)->AnyTrack(trackId);
    if (!track || editId == MP4_INVALID_EDIT_ID || editId > track->edits.size()) return nullptr;
    return &track->edits[editId - 1];
}

}  // namespace

extern "C" {

MP4Timestamp MP4GetTrackEditMediaStart(MP4FileHandle hFile, MP4TrackId trackId, MP4EditId editId) {
    const Mp4Edit* edit = EditOf(hFile, trackId, editId);
    return edit ? edit->mediaTime : MP4_INVALID_TIMESTAMP;
}

MP4Duration MP4GetTrackEditDuration(MP4FileHandle hFile, MP4TrackId trackId, MP4EditId editId) {
    const Mp4Edit* edit = EditOf(hFile, trackId, editId);
    return edit ? edit->segmentDuration : MP4_INVALID_DURATION;
}

MP4Timestamp MP4ConvertToTrackTimestamp(MP4FileHandle hFile, MP4TrackId trackId, uint64_t timeStamp,
                                        uint32_t timeScale) {
    if (!hFile) return MP4_INVALID_TIMESTAMP;
    const Mp4Track* track = Mp4FileOf(hFile)->ListedTrack(trackId);
    return track ? Mp4Rescale(timeStamp, timeScale, track->timeScale) : MP4_INVALID_TIMESTAMP;
}

uint64_t MP4ConvertFromTrackTimestamp(MP4FileHandle hFile, MP4TrackId trackId, MP4Timestamp timeStamp,
                                      uint32_t timeScale) {
    if (!hFile) return MP4_INVALID_TIMESTAMP;
    const Mp4Track* track = Mp4FileOf(hFile)->ListedTrack(trackId);
    return track ? Mp4Rescale(timeStamp, track->timeScale, timeScale) : MP4_INVALID_TIMESTAMP;
}

MP4SampleId MP4GetSampleIdFromTime(MP4FileHandle hFile, MP4TrackId trackId, MP4Timestamp when, bool wantSyncSample) {
    if (!hFile) return MP4_INVALID_SAMPLE_ID;
    const Mp4Track* track = Mp4FileOf(hFile)->ListedTrack(trackId);
    if (!track) return MP4_INVALID_SAMPLE_ID;
    const MP4SampleId id = track->samples.IdFromTime(when);
    if (id == MP4_INVALID_SAMPLE_ID || !wantSyncSample) return id;
    return track->samples.SyncAtOrAfter(id);
}

MP4Timestamp MP4GetSampleTime(MP4FileHandle hFile, MP4TrackId trackId, MP4SampleId sampleId) {
    if (!hFile) return MP4_INVALID_TIMESTAMP;
    const Mp4Track* track = Mp4FileOf(hFile)->ListedTrack(trackId);
    uint64_t start = 0, duration = 0;
    if (!track || !track->samples.Time(sampleId, start, duration)) return MP4_INVALID_TIMESTAMP;
    return start;
}

int8_t MP4GetSampleSync(MP4FileHandle hFile, MP4TrackId trackId, MP4SampleId sampleId) {
    if (!hFile) return -1;
    const Mp4Track* track = Mp4FileOf(hFile)->ListedTrack(trackId);
    return track ? track->samples.Sync(sampleId) : -1;
}

}  // extern "C"

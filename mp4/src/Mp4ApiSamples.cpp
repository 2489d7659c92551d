// C interface: reading sample bytes.
#include <cstdlib>

#include "Mp4ApiGuard.h"

namespace {

// Fills the optional outputs and the sample's bytes; false on any failure, leaving cleanup of a
// buffer it allocated to the caller below.
bool ReadInto(Mp4File& file, Mp4Track& track, MP4SampleId sampleId, uint8_t** ppBytes, uint32_t* pNumBytes,
              bool allocated, MP4Timestamp* pStartTime, MP4Duration* pDuration, MP4Duration* pRenderingOffset,
              bool* pIsSyncSample) {
    uint64_t offset = 0;
    uint32_t size = 0;
    if (!track.samples.Locate(sampleId, offset, size)) return false;
    if (pStartTime || pDuration) {
        uint64_t start = 0, duration = 0;
        if (!track.samples.Time(sampleId, start, duration)) return false;
        if (pStartTime) *pStartTime = start;
        if (pDuration) *pDuration = duration;
    }
    if (pRenderingOffset) *pRenderingOffset = track.samples.RenderingOffset(sampleId);
    if (pIsSyncSample) *pIsSyncSample = track.samples.Sync(sampleId) == 1;
    // The tables say nothing about the file's length; check before allocating so a bogus size
    // never asks for more memory than the file could hold.
    const uint64_t fileSize = file.source->Size();
    if (offset > fileSize || size > fileSize - offset) return false;
    if (size == 0) {
        *pNumBytes = 0;
        return true;
    }
    if (allocated) {
        *ppBytes = static_cast<uint8_t*>(std::malloc(size));
        if (!*ppBytes) return false;
    } else if (*pNumBytes < size) {
        return false;
    }
    if (!file.source->Read(offset, *ppBytes, size)) return false;
    *pNumBytes = size;
    return true;
}

}  // namespace

extern "C" {

bool MP4ReadSample(MP4FileHandle hFile, MP4TrackId trackId, MP4SampleId sampleId, uint8_t** ppBytes,
                   uint32_t* pNumBytes, MP4Timestamp* pStartTime, MP4Duration* pDuration,
                   MP4Duration* pRenderingOffset, bool* pIsSyncSample) {
    if (!ppBytes || !pNumBytes) return false;
    // A NULL buffer on entry means we allocate exactly the sample; otherwise it is the caller's.
    const bool allocated = *ppBytes == nullptr;
    const bool ok = Mp4Guard(false, [&] {
        if (!hFile) return false;
        Mp4File& file = *Mp4FileOf(hFile);
        Mp4Track* track = file.ListedTrack(trackId);
        return track && ReadInto(file, *track, sampleId, ppBytes, pNumBytes, allocated, pStartTime, pDuration,
                                 pRenderingOffset, pIsSyncSample);
    });
    if (!ok) {
        if (allocated) {
            std::free(*ppBytes);
            *ppBytes = nullptr;
        }
        *pNumBytes = 0;
    }
    return ok;
}

}  // extern "C"

// C interface: opening, closing, movie and track properties.
#include <cstdlib>
#include <cstring>
#include <string>

#include "Mp4ApiGuard.h"
#include "Mp4BoxNames.h"
#include "Mp4Limits.h"

namespace {

// malloc'd copy of `bytes` (NULL for none) into the caller's out-parameters.
bool CopyOut(const std::vector<uint8_t>& bytes, uint8_t** ppValue, uint32_t* pSize) {
    uint8_t* copy = nullptr;
    if (!bytes.empty()) {
        copy = static_cast<uint8_t*>(std::malloc(bytes.size()));
        if (!copy) return false;
        std::memcpy(copy, bytes.data(), bytes.size());
    }
    *ppValue = copy;
    *pSize = static_cast<uint32_t>(bytes.size());
    return true;
}

void ClearOut(uint8_t** ppValue, uint32_t* pSize) {
    if (ppValue) *ppValue = nullptr;
    if (pSize) *pSize = 0;
}

// The listed track's handler matches the (normalised) type, and for sound and video tracks with a
// non-zero subType also the esds object type.
bool TrackIsOfType(const Mp4Track& track, const char* type, uint8_t subType) {
    if (!type) return true;
    const char* normalised = Mp4NormaliseTrackType(type);
    if (std::strcmp(track.handler, normalised) != 0) return false;
    const bool typed = std::strcmp(normalised, MP4_AUDIO_TRACK_TYPE) == 0 ||
                       std::strcmp(normalised, MP4_VIDEO_TRACK_TYPE) == 0;
    if (subType == 0 || !typed) return true;
    return track.entry.hasEsds && track.entry.es.objectTypeIndication == subType;
}

}  // namespace

MP4FileHandle Mp4ReadMemory(const uint8_t* data, size_t size) {
    return Mp4Guard<MP4FileHandle>(nullptr, [&]() -> MP4FileHandle {
        return Mp4OpenFile(Mp4MemorySource(data, size)).release();
    });
}

extern "C" {

MP4FileHandle MP4Read(const char* fileName) {
    return Mp4Guard<MP4FileHandle>(nullptr, [&]() -> MP4FileHandle {
        if (!fileName) return nullptr;
        std::unique_ptr<Mp4Source> source = Mp4OpenFileSource(fileName);
        if (!source) return nullptr;
        return Mp4OpenFile(std::move(source)).release();
    });
}

void MP4Close(MP4FileHandle hFile, uint32_t /*flags: meaningful only for files being written*/) {
    delete Mp4FileOf(hFile);
}

uint32_t MP4GetTimeScale(MP4FileHandle hFile) {
    return hFile ? Mp4FileOf(hFile)->movie.timeScale : 0;
}

uint8_t MP4GetAudioProfileLevel(MP4FileHandle hFile) {
    return hFile ? Mp4FileOf(hFile)->movie.audioProfile : 0;
}

uint32_t MP4GetNumberOfTracks(MP4FileHandle hFile, const char* type, uint8_t subType) {
    return Mp4Guard<uint32_t>(0, [&]() -> uint32_t {
        if (!hFile) return 0;
        uint32_t count = 0;
        for (const Mp4Track& track : Mp4FileOf(hFile)->movie.tracks) {
            if (track.listed && TrackIsOfType(track, type, subType)) ++count;
        }
        return count;
    });
}

MP4TrackId MP4FindTrackId(MP4FileHandle hFile, uint16_t index, const char* type, uint8_t subType) {
    return Mp4Guard<MP4TrackId>(MP4_INVALID_TRACK_ID, [&]() -> MP4TrackId {
        if (!hFile) return MP4_INVALID_TRACK_ID;
        uint32_t seen = 0;
        for (const Mp4Track& track : Mp4FileOf(hFile)->movie.tracks) {
            if (!track.listed || !TrackIsOfType(track, type, subType)) continue;
            if (seen++ == index) return track.trackId;
        }
        return MP4_INVALID_TRACK_ID;
    });
}

const char* MP4GetTrackType(MP4FileHandle hFile, MP4TrackId trackId) {
    if (!hFile) return nullptr;
    const Mp4Track* track = Mp4FileOf(hFile)->ListedTrack(trackId);
    return track ? track->handler : nullptr;
}

uint32_t MP4GetTrackTimeScale(MP4FileHandle hFile, MP4TrackId trackId) {
    if (!hFile) return 0;
    const Mp4Track* track = Mp4FileOf(hFile)->ListedTrack(trackId);
    return track ? track->timeScale : 0;
}

MP4Duration MP4GetTrackDuration(MP4FileHandle hFile, MP4TrackId trackId) {
    if (!hFile) return MP4_INVALID_DURATION;
    const Mp4Track* track = Mp4FileOf(hFile)->AnyTrack(trackId);
    return track ? track->duration : MP4_INVALID_DURATION;
}

MP4SampleId MP4GetTrackNumberOfSamples(MP4FileHandle hFile, MP4TrackId trackId) {
    if (!hFile) return 0;
    const Mp4Track* track = Mp4FileOf(hFile)->ListedTrack(trackId);
    return track ? track->samples.SampleCount() : 0;
}

int MP4GetTrackAudioChannels(MP4FileHandle hFile, MP4TrackId trackId) {
    if (!hFile) return -1;
    const Mp4Track* track = Mp4FileOf(hFile)->AnyTrack(trackId);
    return track && track->entry.isSound ? track->entry.channels : -1;
}

bool MP4GetTrackESConfiguration(MP4FileHandle hFile, MP4TrackId trackId, uint8_t** ppConfig, uint32_t* pConfigSize) {
    ClearOut(ppConfig, pConfigSize);
    return Mp4Guard(false, [&] {
        if (!hFile || !ppConfig || !pConfigSize) return false;
        const Mp4Track* track = Mp4FileOf(hFile)->AnyTrack(trackId);
        if (!track || !track->entry.hasEsds || !track->entry.es.hasDecoderSpecificInfo) return false;
        return CopyOut(track->entry.es.decoderSpecificInfo, ppConfig, pConfigSize);
    });
}

bool MP4GetTrackBytesProperty(MP4FileHandle hFile, MP4TrackId trackId, const char* propName, uint8_t** ppValue,
                              uint32_t* pValueSize) {
    ClearOut(ppValue, pValueSize);
    return Mp4Guard(false, [&] {
        if (!hFile || !propName || !ppValue || !pValueSize) return false;
        const Mp4Track* track = Mp4FileOf(hFile)->AnyTrack(trackId);
        if (!track || !track->entry.hasAlacBox) return false;
        const std::vector<uint8_t>& box = track->entry.alacBox;
        if (std::strcmp(propName, kMp4AlacInfoProperty) == 0) return CopyOut(box, ppValue, pValueSize);
        // The same cookie without the inner box's size and type.
        if (std::strcmp(propName, kMp4AlacConfigProperty) == 0 && box.size() >= kMp4BoxHeaderBytes) {
            return CopyOut(std::vector<uint8_t>(box.begin() + kMp4BoxHeaderBytes, box.end()), ppValue, pValueSize);
        }
        return false;
    });
}

void MP4Free(void* p) { std::free(p); }

}  // extern "C"

// The sound-track selection rule shared by the lossless probe, the lossless job and both MP4
// passes of the AAC job: only tracks of type "soun" count, numbered from 0 in file order; a
// wanted index of 0xFFFFFFFF accepts any of them.
#pragma once

#include <cstdint>
#include <cstring>

#include "mp4v2/mp4v2.h"

// Offers each candidate sound track, in file order, to `tryTrack` (MP4TrackId -> bool) until it
// accepts one. Returns the accepted track, or MP4_INVALID_TRACK_ID. With a specific index only
// that one sound track is offered.
template <typename TryTrack>
MP4TrackId FindSoundTrack(MP4FileHandle file, uint32_t wantedIndex, TryTrack&& tryTrack) {
    const uint32_t trackCount = MP4GetNumberOfTracks(file, nullptr, 0);
    uint32_t soundIndex = 0;
    for (uint32_t i = 0; i < trackCount && i <= 0xFFFF; ++i) {
        const MP4TrackId track = MP4FindTrackId(file, static_cast<uint16_t>(i), nullptr, 0);
        const char* type = MP4GetTrackType(file, track);
        if (type == nullptr || std::strcmp(type, MP4_AUDIO_TRACK_TYPE) != 0) continue;
        const bool candidate = wantedIndex == 0xFFFFFFFFu || wantedIndex == soundIndex;
        ++soundIndex;
        if (candidate && tryTrack(track)) return track;
    }
    return MP4_INVALID_TRACK_ID;
}

// MPEG-4 Audio Object Type of an AudioSpecificConfig (ISO/IEC 14496-3, 1.6.2.1): five bits,
// with 31 escaping to 32 + the next six bits. 0 when the configuration is too short.
inline uint32_t AudioObjectType(const uint8_t* config, uint32_t size) {
    if (config == nullptr || size < 1) return 0;
    const uint32_t type = config[0] >> 3;
    if (type != 31) return type;
    if (size < 2) return 0;
    return 32 + (((config[0] & 0x07u) << 3) | (config[1] >> 5));
}

constexpr char kAlacCookieProperty[] = "mdia.minf.stbl.stsd.alac.alacInfo";

#include "ContainerProbe.h"

#include "AacJobs.h"
#include "DecodeJob.h"
#include "SiblingFallback.h"
#include "SoundTracks.h"
#include "XheAacJob.h"
#include "tarnbase.h"

namespace {

MP4FileHandle OpenMp4(const WCHAR* path) {
    char* utf8 = UNC_UnicodeToUtf8(path);
    if (utf8 == nullptr) return MP4_INVALID_FILE_HANDLE;
    MP4FileHandle file = MP4Read(utf8);
    UNC_freeStr(utf8);
    return file;
}

uint32_t ReadU32Be(const uint8_t* p) {
    return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | p[3];
}

bool IsXheAac(uint32_t objectType) { return objectType == 42 || objectType == 45; }

// Routing of a file that holds no lossless track: xHE-AAC in MP4, then AAC in MP4 through
// FAAD2 (or the sibling module when FAAD2 cannot take the track), then the raw stream path for
// anything that does not open as MP4. Returns the thread's exit code; the caller releases the
// job once this returns.
DWORD RouteAacJob(DecodeJob& job) {
    PcmBlock block{};

    MP4FileHandle file = OpenMp4(job.path);
    if (file == MP4_INVALID_FILE_HANDLE) {
        RunRawAacJob(job, block);
        return 0;
    }
    const uint32_t wanted = WantedSoundTrackIndex(job.trackNumber);

    // First pass: an xHE-AAC (USAC) track goes to the FDK decoder; nothing else is opened.
    const MP4TrackId xheTrack = FindSoundTrack(file, wanted, [&](MP4TrackId track) {
        uint8_t* config = nullptr;
        uint32_t size = 0;
        if (!MP4GetTrackESConfiguration(file, track, &config, &size) || config == nullptr) return false;
        const uint32_t objectType = AudioObjectType(config, size);
        MP4Free(config);
        return IsXheAac(objectType);
    });
    if (xheTrack != MP4_INVALID_TRACK_ID) return RunXheAacJob(job, file, xheTrack);
    MP4Close(file, 0);

    NeAACDecHandle decoder = OpenFloatDecoder(false);
    if (decoder == nullptr) {
        PostFinal(job, job.msgFailed);
        return 1;
    }
    file = OpenMp4(job.path);
    if (file == MP4_INVALID_FILE_HANDLE) {
        NeAACDecClose(decoder);
        PostFinal(job, job.msgFailed);
        return 1;
    }

    // Second pass: only the first candidate that has a configuration is tried.
    bool parsed = false;
    const MP4TrackId track = FindSoundTrack(file, wanted, [&](MP4TrackId candidate) {
        uint8_t* config = nullptr;
        uint32_t size = 0;
        if (!MP4GetTrackESConfiguration(file, candidate, &config, &size) || config == nullptr) return false;
        mp4AudioSpecificConfig asc{};
        parsed = NeAACDecAudioSpecificConfig(config, size, &asc) >= 0;
        MP4Free(config);
        return true;
    });
    if (track == MP4_INVALID_TRACK_ID || !parsed) {
        NeAACDecClose(decoder);
        MP4Close(file, 0);
        return HandOverToSibling(job, SiblingHandOverPoint::UnusableConfiguration);
    }

    const Mp4AacOutcome outcome = RunMp4AacJob(job, decoder, file, track, block);
    if (decoder != nullptr) NeAACDecClose(decoder);  // null when its re-creation failed
    MP4Close(file, 0);
    if (outcome == Mp4AacOutcome::SiblingHandOver)
        return HandOverToSibling(job, SiblingHandOverPoint::NoSamples);
    return 0;
}

}  // namespace

bool ProbeAlacTrack(const WCHAR* path, uint32_t soundTrackIndex, uint16_t* channels, uint16_t* bitDepth,
                    uint32_t* sampleRate) {
    *channels = 0;
    *bitDepth = 0;
    *sampleRate = 0;
    MP4FileHandle file = OpenMp4(path);
    if (file == MP4_INVALID_FILE_HANDLE) return false;
    uint8_t* cookie = nullptr;
    uint32_t cookieSize = 0;
    const MP4TrackId track = FindSoundTrack(file, soundTrackIndex, [&](MP4TrackId candidate) {
        return MP4GetTrackBytesProperty(file, candidate, kAlacCookieProperty, &cookie, &cookieSize);
    });
    if (track == MP4_INVALID_TRACK_ID) {
        MP4Close(file, 0);
        return false;
    }
    // The property starts with the inner box's 12-byte header; the lossless job checks the
    // length before it relies on the cookie, the probe only peeks when the bytes are there.
    if (cookie != nullptr && cookieSize >= 36) {
        *channels = cookie[21];
        *bitDepth = cookie[17];
        *sampleRate = ReadU32Be(cookie + 32);
    }
    MP4Free(cookie);
    MP4Close(file, 0);
    return true;
}

DWORD WINAPI RunAacJob(LPVOID parameter) {
    auto* job = static_cast<DecodeJob*>(parameter);
    const DWORD exitCode = RouteAacJob(*job);
    ReleaseDecodeJob(job);  // after the job's last message, on every route
    return exitCode;
}

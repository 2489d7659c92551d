// The lossless job: opens the MP4 file, finds the ALAC sound track and its cookie, seeks to
// the host's start, and hands the host one block of PCM per MP4 sample through the
// rendezvous protocol. Runs on the job thread that Decode started and owns its DecodeJob.
//
// Every way out goes through the resource holder below, so nothing leaks on an early return;
// the order of the explicit releases on the normal paths (file closed before the final
// message, event closed after it) is the one the host relies on: once it has the final
// message it may move or delete the file.
#include "AlacJob.h"

#include <algorithm>
#include <cstdlib>

#include "AlacDecoder.h"
#include "AlacOutput.h"
#include "ChannelOrder.h"
#include "DecodeJob.h"
#include "Mp4Seek.h"
#include "SoundTracks.h"
#include "mp4v2/mp4v2.h"
#include "tarnbase.h"

namespace {

constexpr uint32_t kMinCookiePropertyBytes = 36;  // 12-byte atom header + 24-byte cookie
constexpr DWORD kEndedBeforeFormat = 1;
constexpr DWORD kEndedAfterFormat = 0;

// Everything the job owns besides the DecodeJob; each release is idempotent, and whatever is
// still held when the job returns is released by the destructor.
struct JobResources {
    MP4FileHandle file = MP4_INVALID_FILE_HANDLE;
    uint8_t* cookie = nullptr;  // from MP4GetTrackBytesProperty, released with MP4Free
    AlacDecoder decoder{};
    uint8_t* output = nullptr;
    HANDLE event = nullptr;

    void CloseFile() {
        if (file != MP4_INVALID_FILE_HANDLE) {
            MP4Close(file, 0);
            file = MP4_INVALID_FILE_HANDLE;
        }
    }
    void FreeCookie() {
        MP4Free(cookie);
        cookie = nullptr;
    }
    void ReleaseDecoding() {
        ReleaseAlacDecoder(&decoder);
        std::free(output);
        output = nullptr;
    }
    void CloseEvent() {
        if (event != nullptr) {
            CloseHandle(event);
            event = nullptr;
        }
    }
    ~JobResources() {
        CloseFile();
        FreeCookie();
        ReleaseDecoding();
        CloseEvent();
    }
};

// Releases the DecodeJob when the thread procedure returns, after every message.
struct DecodeJobOwner {
    DecodeJob* job;
    ~DecodeJobOwner() { ReleaseDecodeJob(job); }
};

// Sample buffer from MP4ReadSample, released with MP4Free.
struct SampleBytes {
    uint8_t* bytes = nullptr;
    uint32_t size = 0;
    ~SampleBytes() { MP4Free(bytes); }
};

}  // namespace

DWORD WINAPI RunAlacJob(LPVOID decodeJob) {
    DecodeJobOwner owner{static_cast<DecodeJob*>(decodeJob)};
    const DecodeJob& job = *owner.job;
    JobResources res;

    char* utf8Path = UNC_UnicodeToUtf8(job.path);
    res.file = utf8Path != nullptr ? MP4Read(utf8Path) : MP4_INVALID_FILE_HANDLE;
    UNC_freeStr(utf8Path);
    if (res.file == MP4_INVALID_FILE_HANDLE) {
        PostFinal(job, job.msgFailed);
        return kEndedBeforeFormat;
    }

    uint32_t cookieSize = 0;
    // Every sound track counts, also one whose cookie read failed; the first one with the
    // cookie (or the wanted one, when one is named) is decoded.
    const MP4TrackId track = FindSoundTrack(res.file, WantedSoundTrackIndex(job.trackNumber), [&](MP4TrackId id) {
        uint8_t* value = nullptr;
        uint32_t size = 0;
        if (MP4GetTrackBytesProperty(res.file, id, kAlacCookieProperty, &value, &size)) {
            res.cookie = value;
            cookieSize = size;
            return true;
        }
        MP4Free(value);
        return false;
    });
    if (track == MP4_INVALID_TRACK_ID || res.cookie == nullptr || cookieSize < kMinCookiePropertyBytes) {
        res.CloseFile();
        PostFinal(job, job.msgFailed);
        return kEndedBeforeFormat;
    }

    // A cookie the decoder refuses ends the job here, before any format is announced: its fields
    // are not to be trusted (a frame length of 0xFFFFFFFF would size the output buffer at 16 GiB
    // and every block at 4 GiB of silence; a channel count of 0 announces a format no host can
    // write). Only packet statuses are ignored below. Everything the job sizes or announces comes
    // from the configuration the decoder accepted.
    const AlacStatus status = InitAlacDecoder(&res.decoder, res.cookie, cookieSize);
    res.FreeCookie();
    if (status != kAlacOk) {
        res.CloseFile();
        PostFinal(job, job.msgFailed);
        return kEndedBeforeFormat;
    }
    const AlacConfig& config = res.decoder.config;

    res.event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    if (res.event == nullptr) {
        res.CloseFile();
        PostFinal(job, job.msgFailed);
        return kEndedBeforeFormat;
    }
    PcmBlock block{};
    block.readyEvent = res.event;
    block.jobThread = job.thread;
    block.cancel = 0;
    block.progress = 0.0;
    block.sampleRate = config.sampleRate;
    block.bitsPerSample = config.bitDepth;
    block.channels = config.numChannels;
    block.isFloat = 0;
    block.lossySource = 0;

    const MP4SampleId seekSample = FindStartSample(res.file, track, job.startPosition);
    const MP4SampleId startSample = seekSample == MP4_INVALID_SAMPLE_ID ? 1 : seekSample;

    if (Rendezvous(job, job.msgFormat, block)) {
        // Refused at the format: no further message. The event is closed here too (by the
        // resource holder): nobody else holds it, and leaving it open would leak a handle
        // per refused file.
        return kEndedBeforeFormat;
    }

    // byteCount counts (bit depth / 8) bytes per sample, which is 2 for a 20-bit stream, but
    // the decoder writes 3-byte containers for 20 and 24 bits; the buffer is sized for what
    // the decoder writes.
    const uint32_t bytesPerFrame = (config.bitDepth / 8u) * config.numChannels;
    const uint32_t decodedBytesPerSample = std::max(config.bitDepth / 8u, AlacOutputBytesPerSample(config.bitDepth));
    // At most 2^20 frames of 8 channels of 4 bytes: 32 MiB.
    const size_t outputBytes = static_cast<size_t>(config.frameLength) * config.numChannels * decodedBytesPerSample;
    res.output = static_cast<uint8_t*>(std::calloc(outputBytes, 1));
    if (res.output == nullptr) {
        res.CloseFile();
        res.ReleaseDecoding();
        PostFinal(job, job.msgFailed);
        return kEndedAfterFormat;
    }

    const MP4SampleId sampleCount = MP4GetTrackNumberOfSamples(res.file, track);
    for (uint64_t sampleId = std::max<MP4SampleId>(startSample, 1); sampleId <= sampleCount; ++sampleId) {
        uint32_t frames = 0;
        {
            SampleBytes sample;
            if (!MP4ReadSample(res.file, track, static_cast<MP4SampleId>(sampleId), &sample.bytes, &sample.size,
                               nullptr, nullptr, nullptr, nullptr)) {
                break;  // a sample that cannot be read ends the track
            }
            AlacBitReader reader;
            InitAlacBitReader(reader, sample.bytes, sample.size);
            // Status ignored on purpose: the host gets whatever the decoder wrote, for the
            // sample count it reported.
            (void)DecodeAlacPacket(&res.decoder, &reader, res.output, config.frameLength, config.numChannels, &frames);
        }
        block.progress = static_cast<double>(sampleId) * 100.0 / static_cast<double>(sampleCount);
        block.data = res.output;
        block.byteCount = frames * bytesPerFrame;

        if (config.numChannels >= 5) {
            // Frames as the reorder counts them (the decoder accepts no depth below 16 bits).
            const uint32_t reorderFrameBytes = config.bitDepth * config.numChannels / 8u;
            ReorderAlacChannels(res.output, block.byteCount / reorderFrameBytes, config.bitDepth, config.numChannels);
        }

        if (Rendezvous(job, job.msgBlock, block)) {
            res.CloseFile();
            res.ReleaseDecoding();
            PostFinal(job, job.msgFailed);
            res.CloseEvent();
            return kEndedAfterFormat;
        }
    }

    res.CloseFile();
    res.ReleaseDecoding();
    PostFinal(job, job.msgDone);
    res.CloseEvent();
    return kEndedAfterFormat;
}

// The AAC-in-MP4 job: decodes an AAC-LC, HE-AAC or HE-AAC v2 track with FAAD2 into 32-bit float
// PCM, seeks to the host's start time, removes the encoder delay and the end padding, and hands
// the result to the host in blocks of at most kMaxBlockBytes.
//
// Called by the AAC job's router on the job thread. The router owns the file and the decoder
// handle (it closes whatever handle it holds when this returns) and the DecodeJob; this job owns
// its event, its block buffer and the trimmer, and posts its own final message.
#include <cstdlib>
#include <memory>
#include <new>

#include "AacJobs.h"
#include "ChannelOrder.h"
#include "GaplessTrimmer.h"
#include "Mp4Gapless.h"
#include "Mp4Seek.h"

namespace {

constexpr uint32_t kBytesPerSample = 4;  // FAAD_FMT_FLOAT

struct Mp4Deleter {
    void operator()(uint8_t* p) const { MP4Free(p); }
};
using Mp4Bytes = std::unique_ptr<uint8_t, Mp4Deleter>;

// Initialises `decoder` from the track's ES configuration (fetched afresh each time).
bool InitFromTrack(NeAACDecHandle decoder, MP4FileHandle file, MP4TrackId track, unsigned long& sampleRate,
                   unsigned char& channels) {
    uint8_t* raw = nullptr;
    uint32_t size = 0;
    bool have = MP4GetTrackESConfiguration(file, track, &raw, &size);
    Mp4Bytes config(raw);
    if (!have || config == nullptr || size == 0) return false;
    return NeAACDecInit2(decoder, config.get(), size, &sampleRate, &channels) >= 0;
}

enum class LoopEnd {
    Delivered,      // end of the track after a format was announced
    NothingDecoded, // end of the track without any decodable frame
    Failed,         // a resource or decoder re-creation failure
    Cancelled,      // the host set cancel at a rendezvous
};

struct TrackState {
    MP4FileHandle file;
    MP4TrackId track;
    uint32_t sampleCount;
    GaplessInfo gapless;
};

LoopEnd RunSampleLoop(DecodeJob& job, NeAACDecHandle& decoder, TrackState& state, PcmBlock& block) {
    std::unique_ptr<uint8_t[]> out(new (std::nothrow) uint8_t[kMaxBlockBytes]);
    if (!out) return LoopEnd::Failed;

    GaplessTrimmer trimmer;
    bool trimPending = true;
    bool announced = false;
    bool firstPass = true;
    bool done = false;
    MP4SampleId seekSample = FindStartSample(state.file, state.track, job.startPosition);
    MP4SampleId nextSample = 1;
    StartFrameCounter(decoder);

    while (!done) {
        uint8_t* raw = nullptr;
        uint32_t size = 0;
        bool read = MP4ReadSample(state.file, state.track, nextSample, &raw, &size);
        Mp4Bytes sample(raw);
        ++nextSample;
        if (!read || sample == nullptr || size == 0) break;

        NeAACDecFrameInfo info{};
        void* pcm = NeAACDecDecode(decoder, &info, sample.get(), size);

        if (firstPass) {
            firstPass = false;
            // Implicit SBR signalling made the decoder up-sample a stream that has no SBR: decode
            // it at its core rate instead, with a decoder told not to.
            if (info.sbr == NO_SBR_UPSAMPLED) {
                NeAACDecClose(decoder);
                decoder = OpenFloatDecoder(true);
                if (decoder == nullptr) return LoopEnd::Failed;
                unsigned long rate = 0;
                unsigned char channels = 0;
                if (!InitFromTrack(decoder, state.file, state.track, rate, channels)) return LoopEnd::Failed;
                StartFrameCounter(decoder);
                info = NeAACDecFrameInfo{};
                pcm = NeAACDecDecode(decoder, &info, sample.get(), size);
            }
        }
        sample.reset();
        if (nextSample > state.sampleCount) done = true;

        bool good = info.error == 0;
        if (!announced && good && info.channels > 0) {
            block.channels = info.channels;
            block.sampleRate = static_cast<uint32_t>(info.samplerate);
            block.bitsPerSample = 32;
            block.isFloat = 1;
            block.lossySource = 1;
            announced = true;
            if (Rendezvous(job, job.msgFormat, block)) return LoopEnd::Cancelled;
        }
        if (seekSample != MP4_INVALID_SAMPLE_ID) {
            // The first sample was decoded only to learn the format; decoding restarts at the
            // sync sample, and the whole delay is skipped from there, which also drops the frame
            // decoded without its predecessor. -1 leaves the frame counter as it is: past the
            // first frame, so every frame from here on yields samples.
            nextSample = seekSample;
            seekSample = MP4_INVALID_SAMPLE_ID;
            done = nextSample > state.sampleCount;
            NeAACDecPostSeekReset(decoder, -1);
            continue;
        }
        // A frame whose channel count differs from the announced one cannot be laid out in the
        // announced format; it is dropped like a frame with a decode error.
        bool usable = good && pcm != nullptr && announced && info.samples > 0 && info.channels == block.channels &&
                      info.samples % info.channels == 0;

        if (usable && trimPending) {
            FixGaplessForSbr(state.gapless, info.sbr);
            uint32_t framesPerUnit = static_cast<uint32_t>(info.samples / info.channels);
            uint64_t bytesPerFrame = uint64_t{info.channels} * kBytesPerSample;
            // Padding beyond everything the track can decode to means "deliver nothing"; capping
            // it there bounds what the trimmer holds back.
            uint64_t maxFrames = uint64_t{state.sampleCount} * framesPerUnit;
            uint64_t paddingFrames = state.gapless.padding < maxFrames ? state.gapless.padding : maxFrames;
            uint64_t skipBytes = uint64_t{state.gapless.delay} * bytesPerFrame;
            trimmer.Reset(skipBytes > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(skipBytes),
                          static_cast<int64_t>(paddingFrames * bytesPerFrame));
            trimPending = false;
        }

        if (!usable) continue;

        ReorderAacChannels(static_cast<float*>(pcm), static_cast<uint32_t>(info.samples), info.channels);
        // At most 2048 frames of 8 channels per access unit: far below 2^32 bytes. A failed
        // growth drops this frame's bytes; the stream goes on.
        (void)trimmer.Push(static_cast<const uint8_t*>(pcm), static_cast<uint32_t>(info.samples * kBytesPerSample));
        while (trimmer.ReadyBytes() > 0) {
            uint32_t count = 0;
            block.data = trimmer.Emit(out.get(), &count);
            block.byteCount = count;
            // nextSample already points one past the sample just decoded, so the last blocks
            // report a little over 100; the host expects that.
            block.progress = static_cast<double>(nextSample) * 100.0 / static_cast<double>(state.sampleCount);
            if (Rendezvous(job, job.msgBlock, block)) return LoopEnd::Cancelled;
        }
    }
    // The held-back padding goes with the trimmer.
    return announced ? LoopEnd::Delivered : LoopEnd::NothingDecoded;
}

}  // namespace

Mp4AacOutcome RunMp4AacJob(DecodeJob& job, NeAACDecHandle& decoder, MP4FileHandle file, MP4TrackId track,
                           PcmBlock& block) {
    unsigned long sampleRate = 0;
    unsigned char channels = 0;
    if (!InitFromTrack(decoder, file, track, sampleRate, channels)) {
        PostFinal(job, job.msgFailed);
        return Mp4AacOutcome::Finished;
    }
    uint32_t sampleCount = MP4GetTrackNumberOfSamples(file, track);
    if (sampleCount == 0) return Mp4AacOutcome::SiblingHandOver;
    if (channels == 0) {
        PostFinal(job, job.msgFailed);
        return Mp4AacOutcome::Finished;
    }

    TrackState state{file, track, sampleCount,
                     ReadMp4Gapless(file, track, sampleCount, static_cast<uint32_t>(sampleRate))};

    HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    if (event == nullptr) {
        PostFinal(job, job.msgFailed);
        return Mp4AacOutcome::Finished;
    }
    block.readyEvent = event;
    block.channels = channels;
    block.sampleRate = static_cast<uint32_t>(sampleRate);
    block.bitsPerSample = 32;

    switch (RunSampleLoop(job, decoder, state, block)) {
        case LoopEnd::Delivered:
            PostFinal(job, job.msgDone);
            break;
        case LoopEnd::NothingDecoded:
        case LoopEnd::Failed:
            PostFinal(job, job.msgFailed);
            break;
        case LoopEnd::Cancelled:
            break;  // the host asked to stop: no further message
    }
    // The host signals the event only in answer to msgFormat and msgBlock, and never uses it
    // after the job's last message or after the rendezvous at which it cancelled.
    CloseHandle(event);
    block.readyEvent = nullptr;
    return Mp4AacOutcome::Finished;
}

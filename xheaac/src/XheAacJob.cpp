// The xHE-AAC (USAC) job: decodes one MP4 sound track through FDK AAC into 32-bit integer PCM
// with the user's DRC and loudness settings, drops the edit-list start and the decoder's own
// output delay at the front, drains that delay at the end, and keeps to the edit-list length.
// Samples come from mp4v2, or from the ISO reader when mp4v2 reports none (a track carried in
// movie fragments); timing and the decoder configuration come from mp4v2 either way.
//
// Called by the AAC job's router with the file it opened; the job owns the file from then on.
// Every way out runs the one clean-up in XheAacJob::Finish.
#include "XheAacJob.h"

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "IsoReaderInterface.h"
#include "Mp4Seek.h"
#include "XheAacDecoder.h"
#include "tarnbase.h"

namespace {

constexpr uint32_t kIsoSampleBytes = 8192;  // the largest access unit the ISO path takes
constexpr DWORD kPathChars = 261;           // a Windows path of up to 260 characters, and its NUL
constexpr uint32_t kBytesPerSample = 4;
// A media time of -1 stored in a 32-bit edit arrives here unextended; it means "no edit" too.
constexpr uint64_t kNoEditStart32 = 0xFFFFFFFFu;
// The drain normally takes one or two flush calls: the decoder's delay is a few hundred
// frames. The cap keeps a decoder that yields nothing (frame size 0) from spinning for ever.
constexpr uint32_t kMaxFlushCalls = 16;

struct Mp4Deleter {
    void operator()(uint8_t* p) const { MP4Free(p); }
};
using Mp4Bytes = std::unique_ptr<uint8_t, Mp4Deleter>;

enum class JobEnd {
    Done,           // delivered to the end, or to the length limit
    Failed,         // the file, the set-up or a resource failed
    DecoderFailed,  // the decoder stopped on an error it does not conceal
    Cancelled,      // the host set cancel at a rendezvous
};

class XheAacJob {
public:
    XheAacJob(DecodeJob& job, MP4FileHandle file, MP4TrackId track) : job_(job), file_(file), track_(track) {}

    JobEnd Run() {
        if (!StartUp()) return JobEnd::Failed;
        return Stream();
    }

    // Releases everything the job holds, in this order, and tells the host how it ended.
    DWORD Finish(JobEnd end) {
        std::free(isoBuffer_);
        std::free(output_);
        if (isoSample_ != nullptr) ISO_FreeSample(isoSample_);
        if (isoMovie_ != nullptr) ISO_CloseMovie(isoMovie_);  // with its track handles
        if (decoder_ != nullptr) aacDecoder_Close(decoder_);
        MP4Close(file_, 0);
        if (end == JobEnd::Done) PostFinal(job_, job_.msgDone);
        if (end == JobEnd::Failed || end == JobEnd::DecoderFailed) PostFinal(job_, job_.msgFailed);
        // The host signals the event only in answer to msgFormat and msgBlock, never after the
        // last message or after the rendezvous at which it cancelled.
        if (event_ != nullptr) CloseHandle(event_);
        return end == JobEnd::Failed ? 1 : 0;
    }

private:
    bool StartUp() {
        event_ = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        if (event_ == nullptr) return false;
        block_.readyEvent = event_;

        // The first edit gives the start and the length; without one the track's duration
        // limits the output. Both are counted in output frames; a movie whose time scale is
        // not the output rate has them dropped at the first frame.
        const MP4Timestamp editStart = MP4GetTrackEditMediaStart(file_, track_, 1);
        limit_ = MP4GetTrackDuration(file_, track_);
        if (editStart != MP4_INVALID_TIMESTAMP && editStart != kNoEditStart32) {
            skip_ = editStart;
            const MP4Duration editLength = MP4GetTrackEditDuration(file_, track_, 1);
            if (editLength != MP4_INVALID_DURATION && editLength != 0) limit_ = editLength;
        }
        movieTimeScale_ = MP4GetTimeScale(file_);

        decoder_ = OpenDecoder();
        if (decoder_ == nullptr) return false;
        uint8_t* rawConfig = nullptr;
        uint32_t configSize = 0;
        const bool haveConfig = MP4GetTrackESConfiguration(file_, track_, &rawConfig, &configSize);
        const Mp4Bytes config(rawConfig);
        if (!haveConfig || config == nullptr || !ConfigureXheDecoder(decoder_, config.get(), configSize)) return false;

        totalSamples_ = MP4GetTrackNumberOfSamples(file_, track_);
        if (totalSamples_ == 0 && !OpenIsoSource()) return false;
        output_ = static_cast<uint8_t*>(std::malloc(kXheOutputBytes));
        if (output_ == nullptr || totalSamples_ == 0) return false;
        if (isoMovie_ != nullptr) {
            isoBuffer_ = static_cast<uint8_t*>(std::malloc(kIsoSampleBytes));
            if (isoBuffer_ == nullptr || ISO_SetSampleBuffer(isoSample_, isoBuffer_) != kIsoOk ||
                ISO_SetBufferSize(isoSample_, kIsoSampleBytes) != kIsoOk)
                return false;
        }
        samplesLeft_ = totalSamples_;
        nextSample_ = 1;
        if (isoMovie_ == nullptr) {
            // The host drops the written-back remainder itself; the start trim and the limit
            // stay as the edit list gives them.
            const MP4SampleId start = FindStartSample(file_, track_, job_.startPosition);
            if (start != MP4_INVALID_SAMPLE_ID && start <= totalSamples_) {
                nextSample_ = start;
                samplesLeft_ = totalSamples_ - start + 1;
            }
        }
        return true;
    }

    HANDLE_AACDECODER OpenDecoder() const {
        XheDrcSettings drc{};
        drc.enabled = XHEAAC_DRC_Enabled();  // the three are read in this order, always
        drc.loudness = XHEAAC_DRC_Get_Loudness();
        drc.effect = XHEAAC_DRC_Get_Effect();
        return OpenXheDecoder(drc);
    }

    // The ISO reader opens files by a narrow path in the system code page; the short form of
    // the path keeps a name with characters outside that code page reachable. It always reads
    // from the first sample: a start position applies to the mp4v2 path only.
    bool OpenIsoSource() {
        WCHAR shortPath[kPathChars];
        const DWORD length = GetShortPathNameW(job_.path, shortPath, kPathChars);
        if (length == 0 || length >= kPathChars) return false;
        char narrowPath[kPathChars];
        if (WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, shortPath, -1, narrowPath, kPathChars, nullptr,
                                nullptr) == 0)
            return false;
        // Track ids are taken to run 1, 2, 3 ... in file order, as the ISO reader numbers them.
        return ISO_OpenMovie(&isoMovie_, kIsoModeRead, narrowPath) == kIsoOk &&
               ISO_OpenTrack(isoMovie_, &isoTrack_, track_ - 1) == kIsoOk &&
               ISO_GetSampleCount(isoTrack_, &totalSamples_) == kIsoOk && totalSamples_ != 0 &&
               ISO_CreateSample(&isoSample_) == kIsoOk && ISO_SetSampleNumber(isoSample_, 0) == kIsoOk;
    }

    // Reads the next access unit and hands it to the decoder, whole. `duration` is its length
    // in the track's time scale.
    bool FeedNextSample(uint32_t& duration) {
        Mp4Bytes mp4Sample;
        const uint8_t* bytes = nullptr;
        uint32_t size = 0;
        if (isoMovie_ == nullptr) {
            uint8_t* raw = nullptr;
            MP4Duration sampleDuration = 0;
            const bool read =
                MP4ReadSample(file_, track_, nextSample_, &raw, &size, nullptr, &sampleDuration, nullptr, nullptr);
            mp4Sample.reset(raw);
            if (!read) return false;
            bytes = raw;
            duration = static_cast<uint32_t>(std::min<MP4Duration>(sampleDuration, UINT32_MAX));
        } else {
            // A read overwrites the record's size with the sample's: the capacity is set anew.
            if (ISO_SetBufferSize(isoSample_, kIsoSampleBytes) != kIsoOk ||
                ISO_ReadSample(isoTrack_, isoSample_) != kIsoOk)
                return false;
            bytes = isoBuffer_;
            size = ISO_GetSampleSize(isoSample_);
            duration = ISO_GetSampleDuration(isoSample_);
        }
        --samplesLeft_;
        ++nextSample_;
        // The decoder copies what it takes, so an mp4v2 sample is released on return.
        return bytes != nullptr && size != 0 && FeedXheAccessUnit(decoder_, bytes, size);
    }

    // Announces the format after the first decoded frame. Returns true when the host cancelled.
    bool Announce(const XheFrame& frame) {
        block_.channels = frame.channels;
        block_.sampleRate = frame.sampleRate;
        block_.bitsPerSample = 32;
        block_.isFloat = 0;
        block_.lossySource = 1;
        if (Rendezvous(job_, job_.msgFormat, block_)) return true;
        // Edit-list values in another time scale than the output's cannot be used as frames.
        if (movieTimeScale_ != frame.sampleRate) {
            skip_ = 0;
            limit_ = 0;
        }
        skip_ = skip_ > UINT64_MAX - frame.outputDelay ? UINT64_MAX : skip_ + frame.outputDelay;
        pendingDelay_ = frame.outputDelay;
        return false;
    }

    JobEnd Stream() {
        bool flush = false;
        bool announced = false;
        uint32_t duration = 0;
        uint32_t flushCalls = 0;
        for (;;) {
            if (!flush) {
                if (!FeedNextSample(duration)) return JobEnd::Failed;
                progress_ = static_cast<double>(nextSample_) * 100.0 / static_cast<double>(totalSamples_);
            }
            XheFrame frame{};
            if (!DecodeXheFrame(decoder_, flush, output_, frame)) return JobEnd::DecoderFailed;
            if (!announced) {
                announced = true;
                if (Announce(frame)) return JobEnd::Cancelled;
            } else if (frame.channels != block_.channels || frame.sampleRate != block_.sampleRate) {
                return JobEnd::DecoderFailed;  // blocks of another layout cannot follow the format
            }

            // The frames of this call: the sample's duration (never more than the decoder
            // wrote); at the last sample also as much of the owed delay as the frame still
            // holds; in the drain, whatever is still owed.
            uint64_t count = flush ? frame.frames : std::min(duration, frame.frames);
            if (!flush && samplesLeft_ == 0 && pendingDelay_ > 0 && frame.frames > count) {
                const uint64_t tail = std::min<uint64_t>(frame.frames - count, pendingDelay_);
                count += tail;
                pendingDelay_ -= tail;
            }
            uint64_t offset = 0;
            if (skip_ >= count) {
                skip_ -= count;
                count = 0;
            } else {
                offset = skip_;
                count -= skip_;
                skip_ = 0;
            }
            if (flush) {
                count = std::min(count, pendingDelay_);
                pendingDelay_ -= count;
            }
            if (limit_ != 0) count = std::min(count, limit_ - emitted_);

            if (count > 0) {
                const uint64_t bytesPerFrame = uint64_t{frame.channels} * kBytesPerSample;
                block_.data = output_ + offset * bytesPerFrame;
                block_.byteCount = static_cast<uint32_t>(count * bytesPerFrame);  // at most kXheWideBytes
                block_.progress = progress_;
                if (Rendezvous(job_, job_.msgBlock, block_)) return JobEnd::Cancelled;
                emitted_ += count;
            }
            if (limit_ != 0 && emitted_ == limit_) return JobEnd::Done;
            if (samplesLeft_ == 0) {
                if (pendingDelay_ == 0 || flushCalls == kMaxFlushCalls) return JobEnd::Done;
                flush = true;
                ++flushCalls;
            }
        }
    }

    DecodeJob& job_;
    MP4FileHandle file_;
    MP4TrackId track_;
    PcmBlock block_{};
    HANDLE event_ = nullptr;
    HANDLE_AACDECODER decoder_ = nullptr;
    uint8_t* output_ = nullptr;     // kXheOutputBytes; every block points into it
    ISOMovieHandle* isoMovie_ = nullptr;  // ISO path only, like the three below
    ISOTrackHandle* isoTrack_ = nullptr;  // owned by isoMovie_
    ISOSampleRecord* isoSample_ = nullptr;
    uint8_t* isoBuffer_ = nullptr;  // kIsoSampleBytes
    uint64_t skip_ = 0;             // output frames still to drop at the front
    uint64_t limit_ = 0;            // the most frames to deliver; 0 = no limit
    uint64_t emitted_ = 0;          // frames delivered
    uint64_t pendingDelay_ = 0;     // frames of decoder delay still owed at the end
    uint32_t movieTimeScale_ = 0;
    uint32_t totalSamples_ = 0;     // for the progress figure
    uint32_t samplesLeft_ = 0;
    uint32_t nextSample_ = 1;       // 1-based; the ISO reader keeps its own cursor in step
    double progress_ = 0;
};

}  // namespace

DWORD RunXheAacJob(DecodeJob& job, MP4FileHandle file, MP4TrackId track) {
    XheAacJob run(job, file, track);
    return run.Finish(run.Run());
}

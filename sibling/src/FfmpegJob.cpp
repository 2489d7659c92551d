// The sibling's job. The decoder does all the decoding and, from what the demuxer marks (edit
// lists, priming and padding), all the trimming; the job only converts, announces, and hands
// the PCM over block by block.
//
// Everything the job opens is released before its final message, so that the host may move or
// delete the file as soon as it has that message.
#include "FfmpegJob.h"

#include <algorithm>
#include <memory>
#include <new>

#include "FfmpegInput.h"
#include "GaplessTrimmer.h"  // kMaxBlockBytes
#include "PcmConverter.h"

namespace {

constexpr uint32_t kBytesPerSample = 4;  // 32-bit float

enum class JobEnd { Delivered, Failed, Cancelled };

// FLAC, ALAC, PCM and other codecs that only ever reproduce their input exactly.
uint8_t LossySource(AVCodecID codec) {
    const AVCodecDescriptor* descriptor = avcodec_descriptor_get(codec);
    const bool lossless =
        descriptor && (descriptor->props & AV_CODEC_PROP_LOSSLESS) && !(descriptor->props & AV_CODEC_PROP_LOSSY);
    return lossless ? 0 : 1;
}

// Where decoding starts relative to the host's start time: the distance from the first frame
// to the seek target, in 100 ns rounded down, as the module's MP4 jobs report it. Without a
// seek (or without a timestamp to measure from) the host's value stays as it is, so the host
// drops the whole start time from what is delivered.
void WriteBackStart(uint64_t* startPosition, int64_t target, const AVFrame& first, AVRational timeBase) {
    if (startPosition == nullptr || target == AV_NOPTS_VALUE || first.pts == AV_NOPTS_VALUE) return;
    const int64_t ahead = target > first.pts ? av_sat_sub64(target, first.pts) : 0;
    *startPosition = static_cast<uint64_t>(av_rescale_q_rnd(ahead, timeBase, kHostTimeBase, AV_ROUND_DOWN));
}

// Percent of the track reached at the end of `frame`; never below `previous`, never above 100.
double Progress(const FfmpegInput& input, const AVFrame& frame, double previous) {
    const AVStream& stream = input.Stream();
    const int64_t duration = input.DurationTicks();
    if (duration <= 0 || frame.pts == AV_NOPTS_VALUE || frame.sample_rate <= 0) return previous;
    // In seconds, as doubles: timestamps from the file may be anything.
    const double origin = stream.start_time == AV_NOPTS_VALUE ? 0.0 : static_cast<double>(stream.start_time);
    const double end = (static_cast<double>(frame.pts) - origin) * av_q2d(stream.time_base) +
                       static_cast<double>(frame.nb_samples) / frame.sample_rate;
    const double percent = 100.0 * end / (static_cast<double>(duration) * av_q2d(stream.time_base));
    return std::min(100.0, std::max(previous, percent));
}

struct EventCloser {
    void operator()(void* event) const { CloseHandle(event); }
};
struct FrameFree {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};

JobEnd DecodeTrack(const DecodeJob& job) {
    FfmpegInput input;
    if (!input.Open(job.path, job.trackNumber)) return JobEnd::Failed;
    const bool seek = job.startPosition != nullptr && *job.startPosition != 0;
    const int64_t target = seek ? input.SeekTo(*job.startPosition) : AV_NOPTS_VALUE;

    std::unique_ptr<void, EventCloser> event(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    std::unique_ptr<AVFrame, FrameFree> frame(av_frame_alloc());
    std::unique_ptr<uint8_t[]> out(new (std::nothrow) uint8_t[kMaxBlockBytes]);
    if (event == nullptr || frame == nullptr || out == nullptr) return JobEnd::Failed;
    PcmBlock block{};
    block.readyEvent = event.get();
    PcmConverter converter;
    bool announced = false;

    for (;;) {
        const Pull pulled = input.Next(frame.get());
        if (pulled == Pull::End) return announced ? JobEnd::Delivered : JobEnd::Failed;
        if (pulled == Pull::Failed) return JobEnd::Failed;
        if (!announced) {
            if (!converter.Open(*frame)) return JobEnd::Failed;
            block.channels = converter.Channels();
            block.sampleRate = converter.SampleRate();
            block.bitsPerSample = 32;
            block.isFloat = 1;
            block.lossySource = LossySource(input.Codec());
            WriteBackStart(job.startPosition, target, *frame, input.Stream().time_base);
            announced = true;
            if (Rendezvous(job, job.msgFormat, block)) return JobEnd::Cancelled;
        }
        block.progress = Progress(input, *frame, block.progress);
        // At most 64 channels (the converter takes no more), so a block holds 256 frames or more.
        const uint32_t frameBytes = block.channels * kBytesPerSample;
        const int maxFrames = static_cast<int>(kMaxBlockBytes / frameBytes);
        for (int written = converter.Convert(*frame, true, out.get(), maxFrames); written != 0;
             written = converter.Convert(*frame, false, out.get(), maxFrames)) {
            if (written < 0) return JobEnd::Failed;
            block.data = out.get();
            block.byteCount = static_cast<uint32_t>(written) * frameBytes;
            if (Rendezvous(job, job.msgBlock, block)) return JobEnd::Cancelled;
        }
    }
}

}  // namespace

DWORD WINAPI RunFfmpegJob(LPVOID parameter) {
    DecodeJob* job = static_cast<DecodeJob*>(parameter);
    switch (DecodeTrack(*job)) {
        case JobEnd::Delivered: PostFinal(*job, job->msgDone); break;
        case JobEnd::Failed: PostFinal(*job, job->msgFailed); break;
        case JobEnd::Cancelled: break;  // the host asked to stop: no further message
    }
    ReleaseDecodeJob(job);
    return 0;
}

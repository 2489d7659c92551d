// The raw ADTS/ADIF job: announces the format, decodes frame after frame, reorders, trims the
// encoder delay and padding, and hands the PCM over in blocks with a progress figure.
//
// Outcomes: msgFailed when the stream cannot be opened or no frame yields samples before an
// error; msgDone at the end of the stream, a trailing tag or an error after audio was delivered
// (errors are never skipped over); no final message when the host cancels.
#include <cstdlib>

#include "AacJobs.h"
#include "ChannelOrder.h"
#include "GaplessTrimmer.h"
#include "RawAacStream.h"

namespace {

// The per-job event. The host never uses it after the job's last message, so it is closed
// when the job function returns, on every path.
class JobEvent {
public:
    JobEvent() : handle_(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {}
    ~JobEvent() {
        if (handle_ != nullptr) CloseHandle(handle_);
    }
    JobEvent(const JobEvent&) = delete;
    JobEvent& operator=(const JobEvent&) = delete;
    HANDLE get() const { return handle_; }

private:
    HANDLE handle_;
};

struct OutputBlock {
    uint8_t* bytes = static_cast<uint8_t*>(std::malloc(kMaxBlockBytes));
    ~OutputBlock() { std::free(bytes); }
};

double Progress(double decodedMs, int32_t lengthMs) {
    // An unknown (zero) length gives no percentage; report 0 rather than an infinity or NaN.
    return lengthMs == 0 ? 0.0 : decodedMs * 100.0 / lengthMs;
}

enum class LoopEnd { Done, Failed, Cancelled };

LoopEnd DecodeLoop(RawAacStream& stream, const DecodeJob& job, PcmBlock& block) {
    OutputBlock out;
    if (out.bytes == nullptr) return LoopEnd::Failed;

    GaplessTrimmer trimmer;
    const uint32_t frameBytes = uint32_t{stream.channels} * 4u;
    double decodedMs = 0.0;
    bool firstFrame = true;
    bool previousError = false;

    for (;;) {
        RefillStreamBuffer(stream);
        if (stream.bytesInBuffer <= 0) {
            if (previousError && firstFrame) return LoopEnd::Failed;
            break;
        }
        NeAACDecFrameInfo info{};
        auto* samples = static_cast<float*>(NeAACDecDecode(stream.decoder, &info, stream.buffer,
                                                           static_cast<unsigned long>(stream.bytesInBuffer)));
        ConsumeStreamBytes(stream, info.bytesconsumed > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(info.bytesconsumed));

        const bool error = info.error != 0;
        if (error && firstFrame) return LoopEnd::Failed;
        previousError = error;

        if (info.samples != 0 && samples != nullptr) {
            const auto total = static_cast<uint32_t>(info.samples);
            if (firstFrame) {
                const uint64_t skipBytes = uint64_t{stream.gapless.delay} * frameBytes;
                trimmer.Reset(skipBytes > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(skipBytes),
                              int64_t{stream.gapless.padding} * frameBytes);
                firstFrame = false;
            }
            ReorderAacChannels(samples, total, info.channels);
            if (info.samplerate != 0 && info.channels != 0) {
                decodedMs += total * 1000.0 / (static_cast<double>(info.samplerate) * info.channels);
            }
            // Failure to grow drops this frame's bytes; the stream goes on.
            trimmer.Push(reinterpret_cast<const uint8_t*>(samples), total * 4u);
        }

        while (trimmer.ReadyBytes() > 0) {
            uint32_t count = 0;
            block.data = trimmer.Emit(out.bytes, &count);
            block.byteCount = count;
            block.progress = Progress(decodedMs, stream.lengthMs);
            if (Rendezvous(job, job.msgBlock, block)) return LoopEnd::Cancelled;
        }
        if (error) break;
        // A call that used nothing and gave nothing would repeat for ever on the same bytes.
        if (info.bytesconsumed == 0 && info.samples == 0) break;
    }
    return LoopEnd::Done;
}

}  // namespace

void RunRawAacJob(DecodeJob& job, PcmBlock& block) {
    RawAacStream stream;  // closes decoder and file and frees its buffer on every return
    if (!OpenRawAacStream(stream, job.path)) {
        PostFinal(job, job.msgFailed);
        return;
    }
    JobEvent event;
    if (event.get() == nullptr) {
        PostFinal(job, job.msgFailed);
        return;
    }
    block.channels = stream.channels;
    block.sampleRate = stream.sampleRate;
    block.bitsPerSample = 32;
    block.isFloat = 1;
    block.lossySource = 1;
    block.readyEvent = event.get();
    block.cancel = 0;
    if (Rendezvous(job, job.msgFormat, block)) return;

    switch (DecodeLoop(stream, job, block)) {
        case LoopEnd::Done: PostFinal(job, job.msgDone); break;
        case LoopEnd::Failed: PostFinal(job, job.msgFailed); break;
        case LoopEnd::Cancelled: break;
    }
}

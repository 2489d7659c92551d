// Turns the decoder's frames into what the host takes from every job of the module: 32-bit
// float samples, interleaved, channels in the host's order. Used by the sibling's job.
#pragma once

#include <cstdint>
#include <vector>

extern "C" {
#include <libavutil/frame.h>
#include <libswresample/swresample.h>
}

class PcmConverter {
public:
    PcmConverter() = default;
    ~PcmConverter();
    PcmConverter(const PcmConverter&) = delete;
    PcmConverter& operator=(const PcmConverter&) = delete;

    // Sets up for frames with the sample format, rate and channel layout of `first`.
    bool Open(const AVFrame& first);

    // Whether `frame` has the format, rate and layout the converter was opened for; a frame that
    // has not cannot be laid out in the format announced to the host.
    bool Takes(const AVFrame& frame) const;

    // Converts `frame` and writes at most `maxFrames` sample frames to `out`; what does not fit
    // stays inside and comes out of the following calls with `frame` null. Returns the number of
    // sample frames written (0: nothing left), or a negative FFmpeg error.
    int Convert(const AVFrame* frame, uint8_t* out, int maxFrames);

    uint32_t Channels() const { return static_cast<uint32_t>(layout_.nb_channels); }

private:
    SwrContext* swr_ = nullptr;
    AVChannelLayout layout_{};  // of the frames it takes
    int format_ = -1;
    int rate_ = 0;
    std::vector<int> channelMap_;  // read by every conversion, not only when set
};

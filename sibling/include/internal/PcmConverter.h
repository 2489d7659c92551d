// Turns the decoder's frames into what the host takes from every job of the module: 32-bit
// float samples, interleaved, channels in the host's order, in the one format announced for
// the whole stream. Used by the sibling's job.
#pragma once

#include <cstdint>

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

    // Fixes the output by the first decoded frame: its channels and its rate.
    bool Open(const AVFrame& first);

    // Converts `frame` and writes at most `maxFrames` sample frames to `out`: `fresh` on the
    // first call for a frame, then without until it returns 0 for what did not fit. A frame
    // whose format, rate or channel layout differs from the one before is mixed and resampled
    // to the output's. Returns the sample frames written, or a negative FFmpeg error.
    int Convert(const AVFrame& frame, bool fresh, uint8_t* out, int maxFrames);

    uint32_t Channels() const { return static_cast<uint32_t>(out_.nb_channels); }
    uint32_t SampleRate() const { return static_cast<uint32_t>(outRate_); }

private:
    bool SameInput(const AVFrame& frame) const;
    bool TakeInput(const AVFrame& frame);

    SwrContext* swr_ = nullptr;
    AVChannelLayout in_{};
    AVChannelLayout out_{};
    int inFormat_ = -1;
    int inRate_ = 0;
    int outRate_ = 0;
    int centre_ = -1;  // output index of a 3- or 4-channel layout's centre, which goes first
};

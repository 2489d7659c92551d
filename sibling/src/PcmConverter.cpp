#include "PcmConverter.h"

#include <algorithm>

extern "C" {
#include <libavutil/channel_layout.h>
}

namespace {

constexpr int kMaxChannels = 64;  // what the converter mixes; a block then holds 256 frames or more

// A layout the converter can work with: a native one as it is; otherwise (custom orders,
// unknown positions) the decoder's order, as so many channels of unknown position.
void CopyLayout(AVChannelLayout& to, const AVChannelLayout& from) {
    av_channel_layout_uninit(&to);
    if (from.order == AV_CHANNEL_ORDER_NATIVE && av_channel_layout_copy(&to, &from) == 0) return;
    to.order = AV_CHANNEL_ORDER_UNSPEC;
    to.nb_channels = from.nb_channels;
}

}  // namespace

PcmConverter::~PcmConverter() {
    swr_free(&swr_);
    av_channel_layout_uninit(&in_);
    av_channel_layout_uninit(&out_);
}

bool PcmConverter::Open(const AVFrame& first) {
    CopyLayout(out_, first.ch_layout);
    outRate_ = first.sample_rate;
    // The module's own jobs deliver 3 and 4 channels centre first (C L R, C L R Cs) and 5 to 8
    // in FFmpeg's native order (L R C LFE, then the surround pairs).
    if (out_.nb_channels == 3 || out_.nb_channels == 4) {
        centre_ = av_channel_layout_index_from_channel(&out_, AV_CHAN_FRONT_CENTER);
    }
    return out_.nb_channels > 0 && out_.nb_channels <= kMaxChannels && outRate_ > 0 && TakeInput(first);
}

bool PcmConverter::TakeInput(const AVFrame& frame) {
    swr_free(&swr_);
    CopyLayout(in_, frame.ch_layout);
    inFormat_ = frame.format;
    inRate_ = frame.sample_rate;
    // At the output's own rate nothing is held back between frames.
    return swr_alloc_set_opts2(&swr_, &out_, AV_SAMPLE_FMT_FLT, outRate_, &in_, static_cast<AVSampleFormat>(inFormat_),
                               inRate_, 0, nullptr) >= 0 &&
           swr_init(swr_) >= 0;
}

bool PcmConverter::SameInput(const AVFrame& frame) const {
    AVChannelLayout layout{};
    CopyLayout(layout, frame.ch_layout);
    const bool same = frame.format == inFormat_ && frame.sample_rate == inRate_ &&
                      av_channel_layout_compare(&layout, &in_) == 0;
    av_channel_layout_uninit(&layout);
    return same;
}

int PcmConverter::Convert(const AVFrame& frame, bool fresh, uint8_t* out, int maxFrames) {
    if (fresh && !SameInput(frame) && !TakeInput(frame)) return AVERROR(EINVAL);
    // With no new input the call only fetches what an earlier one could not write.
    const int written = swr_convert(swr_, &out, maxFrames, const_cast<const uint8_t**>(frame.extended_data),
                                    fresh ? frame.nb_samples : 0);
    if (centre_ > 0) {
        float* samples = reinterpret_cast<float*>(out);
        for (int i = 0; i < written; ++i, samples += out_.nb_channels) {
            std::rotate(samples, samples + centre_, samples + centre_ + 1);
        }
    }
    return written;
}

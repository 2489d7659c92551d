#include "PcmConverter.h"

extern "C" {
#include <libavutil/channel_layout.h>
}

namespace {

// The module's own jobs deliver 3 and 4 channels centre first (C L R, C L R Cs) and 5 to 8 in
// FFmpeg's native order (L R C LFE, then the surround pairs). So a native layout keeps its
// order, except that a 3- or 4-channel one with a centre moves the centre to the front; other
// layouts (custom orders, unknown positions) pass in the decoder's order.
std::vector<int> HostChannelMap(const AVChannelLayout& layout) {
    std::vector<int> map;
    const int centre = av_channel_layout_index_from_channel(&layout, AV_CHAN_FRONT_CENTER);
    if ((layout.nb_channels != 3 && layout.nb_channels != 4) || centre < 0) return map;
    map.push_back(centre);
    for (int i = 0; i < layout.nb_channels; ++i) {
        if (i != centre) map.push_back(i);
    }
    return map;
}

}  // namespace

PcmConverter::~PcmConverter() {
    swr_free(&swr_);
    av_channel_layout_uninit(&layout_);
}

bool PcmConverter::Open(const AVFrame& first) {
    if (av_channel_layout_copy(&layout_, &first.ch_layout) < 0 || layout_.nb_channels <= 0) return false;
    format_ = first.format;
    rate_ = first.sample_rate;
    // Same rate in and out: no resampling, so nothing is held back between frames.
    AVChannelLayout channels{};
    if (layout_.order == AV_CHANNEL_ORDER_NATIVE) {
        av_channel_layout_copy(&channels, &layout_);
    } else {
        channels.order = AV_CHANNEL_ORDER_UNSPEC;
        channels.nb_channels = layout_.nb_channels;
    }
    const int made = swr_alloc_set_opts2(&swr_, &channels, AV_SAMPLE_FMT_FLT, rate_, &channels,
                                         static_cast<AVSampleFormat>(format_), rate_, 0, nullptr);
    channelMap_ = HostChannelMap(channels);
    av_channel_layout_uninit(&channels);
    if (made < 0) return false;
    if (!channelMap_.empty() && swr_set_channel_mapping(swr_, channelMap_.data()) < 0) return false;
    return swr_init(swr_) >= 0;
}

bool PcmConverter::Takes(const AVFrame& frame) const {
    return frame.format == format_ && frame.sample_rate == rate_ &&
           av_channel_layout_compare(&frame.ch_layout, &layout_) == 0;
}

int PcmConverter::Convert(const AVFrame* frame, uint8_t* out, int maxFrames) {
    // With no input the call only fetches what an earlier one could not write: without
    // resampling nothing is flushed, so later frames may still follow.
    return swr_convert(swr_, &out, maxFrames, frame ? const_cast<const uint8_t**>(frame->extended_data) : nullptr,
                       frame ? frame->nb_samples : 0);
}

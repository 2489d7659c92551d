// Reorders the channels of interleaved PCM in place, frame by frame.
//
// The pairs are first turned into one source column per destination column (later pairs win,
// columns that no pair names keep their sample), so the per-frame work is a fixed number of
// whole-sample loads and stores: the loops below are written out for each sample width and
// channel count (the pragmas make sure of that at any optimisation level), with no call and no
// variable-size copy per frame.
#include <cstring>

#include "tarnbase.h"

namespace {
constexpr uint32_t kMaxChannels = 8;

uint32_t BytesPerSample(uint32_t bitsPerSample) {
    switch (bitsPerSample) {
        case 16: return 2;
        case 20:  // 20-bit samples travel in the same 3-byte containers as 24-bit ones
        case 24: return 3;
        case 32: return 4;
        default: return 0;
    }
}

template <uint32_t Bytes, uint32_t Channels>
void PermuteFrames(uint8_t* frame, uint32_t frameCount, const uint8_t* sourceOf) {
    uint32_t offset[Channels];
    for (uint32_t c = 0; c < Channels; ++c) offset[c] = sourceOf[c] * Bytes;
    for (uint32_t f = 0; f < frameCount; ++f, frame += Bytes * Channels) {
        uint32_t sample[Channels];  // the whole frame is read before any of it is written
#pragma GCC unroll 8
        for (uint32_t c = 0; c < Channels; ++c) std::memcpy(&sample[c], frame + offset[c], Bytes);
#pragma GCC unroll 8
        for (uint32_t c = 0; c < Channels; ++c) std::memcpy(frame + c * Bytes, &sample[c], Bytes);
    }
}

template <uint32_t Bytes>
void Permute(uint8_t* buffer, uint32_t frameCount, uint32_t channelCount, const uint8_t* sourceOf) {
    switch (channelCount) {
        case 2: return PermuteFrames<Bytes, 2>(buffer, frameCount, sourceOf);
        case 3: return PermuteFrames<Bytes, 3>(buffer, frameCount, sourceOf);
        case 4: return PermuteFrames<Bytes, 4>(buffer, frameCount, sourceOf);
        case 5: return PermuteFrames<Bytes, 5>(buffer, frameCount, sourceOf);
        case 6: return PermuteFrames<Bytes, 6>(buffer, frameCount, sourceOf);
        case 7: return PermuteFrames<Bytes, 7>(buffer, frameCount, sourceOf);
        case 8: return PermuteFrames<Bytes, 8>(buffer, frameCount, sourceOf);
        default: return;  // one channel has nothing to move
    }
}
}  // namespace

extern "C" void ChangeChannelOrder(void* buffer, uint32_t frameCount, uint32_t bitsPerSample, uint32_t channelCount,
                                   const uint8_t* pairs) {
    const uint32_t sampleBytes = BytesPerSample(bitsPerSample);
    if (buffer == nullptr || pairs == nullptr || sampleBytes == 0 || channelCount == 0 ||
        channelCount > kMaxChannels) {
        return;
    }
    uint8_t sourceOf[kMaxChannels];
    for (uint8_t c = 0; c < kMaxChannels; ++c) sourceOf[c] = c;
    for (uint32_t i = 0; i < channelCount; ++i) {
        if (pairs[2 * i] >= channelCount || pairs[2 * i + 1] >= channelCount) return;
        sourceOf[pairs[2 * i + 1]] = pairs[2 * i];
    }
    auto* frames = static_cast<uint8_t*>(buffer);
    switch (sampleBytes) {
        case 2: return Permute<2>(frames, frameCount, channelCount, sourceOf);
        case 3: return Permute<3>(frames, frameCount, channelCount, sourceOf);
        default: return Permute<4>(frames, frameCount, channelCount, sourceOf);
    }
}

// Reorders the channels of interleaved PCM in place, frame by frame.
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
}  // namespace

extern "C" void ChangeChannelOrder(void* buffer, uint32_t frameCount, uint32_t bitsPerSample, uint32_t channelCount,
                                   const uint8_t* pairs) {
    const uint32_t sampleBytes = BytesPerSample(bitsPerSample);
    if (buffer == nullptr || pairs == nullptr || sampleBytes == 0 || channelCount == 0 ||
        channelCount > kMaxChannels) {
        return;
    }
    for (uint32_t i = 0; i < channelCount; ++i) {
        if (pairs[2 * i] >= channelCount || pairs[2 * i + 1] >= channelCount) return;
    }
    const uint32_t frameBytes = sampleBytes * channelCount;
    auto* frame = static_cast<uint8_t*>(buffer);
    uint8_t original[kMaxChannels * 4];
    for (uint32_t f = 0; f < frameCount; ++f, frame += frameBytes) {
        std::memcpy(original, frame, frameBytes);
        for (uint32_t i = 0; i < channelCount; ++i) {
            const uint32_t source = pairs[2 * i];
            const uint32_t destination = pairs[2 * i + 1];
            std::memcpy(frame + destination * sampleBytes, original + source * sampleBytes, sampleBytes);
        }
    }
}

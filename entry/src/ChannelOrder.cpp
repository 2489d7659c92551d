#include "ChannelOrder.h"

#include <cstring>

#include "tarnbase.h"

namespace {

// (source, destination) pairs: the sample at source index s of a frame moves to index d.
// Lossless streams carry their channels in the order of the codec's channel layouts.
constexpr uint8_t kAlac5[] = {1, 0, 2, 1, 0, 2, 3, 3, 4, 4};
constexpr uint8_t kAlac6[] = {1, 0, 2, 1, 0, 2, 5, 3, 3, 4, 4, 5};
constexpr uint8_t kAlac7[] = {0, 2, 1, 0, 2, 1, 3, 5, 4, 6, 5, 4, 6, 3};
constexpr uint8_t kAlac8[] = {1, 0, 2, 1, 0, 2, 7, 3, 5, 4, 6, 5, 3, 6, 4, 7};

// The AAC decoder delivers centre first (C, L, R, ...).
constexpr uint8_t kAac5[] = {0, 2, 1, 0, 2, 1, 3, 3, 4, 4};
constexpr uint8_t kAac7[] = {0, 2, 1, 0, 2, 1, 3, 5, 4, 6, 5, 4, 6, 3};
constexpr uint8_t kAac8[] = {0, 2, 1, 0, 2, 1, 3, 6, 4, 7, 5, 4, 6, 5, 7, 3};

}  // namespace

void ReorderAlacChannels(void* buffer, uint32_t frameCount, uint32_t bitsPerSample, uint32_t channels) {
    const uint8_t* table = nullptr;
    switch (channels) {
        case 5: table = kAlac5; break;
        case 6: table = kAlac6; break;
        case 7: table = kAlac7; break;
        case 8: table = kAlac8; break;
        default: return;
    }
    ChangeChannelOrder(buffer, frameCount, bitsPerSample, channels, table);
}

void ReorderAacChannels(float* samples, uint32_t totalSamples, uint32_t channels) {
    switch (channels) {
        case 5: ChangeChannelOrder(samples, totalSamples / 5, 32, 5, kAac5); return;
        case 7: ChangeChannelOrder(samples, totalSamples / 7, 32, 7, kAac7); return;
        case 8: ChangeChannelOrder(samples, totalSamples / 8, 32, 8, kAac8); return;
        case 6:
            // C L R Ls Rs LFE -> L R C LFE Ls Rs, i.e. new = old (1, 2, 0, 5, 3, 4).
            for (uint32_t i = 0; i + 6 <= totalSamples; i += 6) {
                float* f = samples + i;
                const float c = f[0], l = f[1], r = f[2], ls = f[3], rs = f[4], lfe = f[5];
                f[0] = l;
                f[1] = r;
                f[2] = c;
                f[3] = lfe;
                f[4] = ls;
                f[5] = rs;
            }
            return;
        default: return;
    }
}

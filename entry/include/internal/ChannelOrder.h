// The host's channel order for multichannel output, and the tables that put decoder output
// into it. Every job reorders a decoded frame or packet before trimming and hand-over; 1 to 4
// channels pass unchanged.
#pragma once

#include <cstdint>

// Lossless packets: reorders `frameCount` frames of `bitsPerSample`-bit samples in place
// through the host base library's ChangeChannelOrder (5 to 8 channels only).
void ReorderAlacChannels(void* buffer, uint32_t frameCount, uint32_t bitsPerSample, uint32_t channels);

// AAC frames of 32-bit float samples: `totalSamples` counts every channel. 6 channels are
// reordered here (C L R Ls Rs LFE -> L R C LFE Ls Rs); 5, 7 and 8 through ChangeChannelOrder.
void ReorderAacChannels(float* samples, uint32_t totalSamples, uint32_t channels);

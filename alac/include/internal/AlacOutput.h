// Output stage of the lossless decoder: un-mixes channel pairs, restores shifted-out low
// bits and writes samples into the caller's interleaved buffer in the format of the bit depth
// (16: 2 bytes; 20: 3 bytes holding sample << 4; 24: 3 bytes; 32: 4 bytes; little-endian).
// Other depths write nothing. `output` points at the first byte of sample frame 0 and
// `channel` selects the column; one sample frame is channelCount samples.
#pragma once

#include <cstdint>

// Bytes one sample occupies in the output buffer for a bit depth (0: nothing is written).
uint32_t AlacOutputBytesPerSample(uint32_t bitDepth);

// Writes U (first channel) and V (second) of a pair into columns channel and channel + 1.
// With a non-zero mix residual: L = U + V - ((mixRes * V) >> mixBits), R = L - V. For 24 and
// 32 bits with a non-zero shift the low bits come from lowBits (two per sample frame).
void UnmixPair(const int32_t* u, const int32_t* v, uint8_t* output, uint32_t channel, uint32_t channelCount,
               uint32_t count, uint32_t mixBits, int32_t mixResidual, uint32_t bitDepth, uint32_t shift,
               const uint16_t* lowBits);

// Writes one channel into column `channel`; for 24 and 32 bits with a non-zero shift, each
// sample becomes (U << shift) | lowBits[j].
void CopyMonoChannel(const int32_t* u, uint8_t* output, uint32_t channel, uint32_t channelCount, uint32_t count,
                     uint32_t bitDepth, uint32_t shift, const uint16_t* lowBits);

// Zero samples for columns firstChannel..channelCount-1 of `count` sample frames.
void ZeroFillChannels(uint8_t* output, uint32_t firstChannel, uint32_t channelCount, uint32_t count,
                      uint32_t bitDepth);

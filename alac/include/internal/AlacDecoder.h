// The lossless decoder: configuration from the magic cookie, work buffers, and packet decoding
// into interleaved PCM. Used by the lossless job, one decoder per job, one packet per call.
#pragma once

#include <cstdint>

#include "AlacBitReader.h"
#include "AlacStatus.h"

// The 24-byte magic cookie, fields in host order.
struct AlacConfig {
    uint32_t frameLength;        // samples per channel in a full packet, 1..1048576
    uint8_t compatibleVersion;   // 0
    uint8_t bitDepth;            // 16..32; only 16, 20, 24 and 32 produce output
    uint8_t pb;                  // history multiplier
    uint8_t mb;                  // initial history
    uint8_t kb;                  // k modifier (upper bound of the Golomb parameter)
    uint8_t numChannels;         // 1..8
    uint16_t maxRun;             // stored, unused
    uint32_t maxFrameBytes;      // stored, informational
    uint32_t avgBitRate;         // stored, informational
    uint32_t sampleRate;
};

// Create it zero-initialised (AlacDecoder decoder{};) and release it with ReleaseAlacDecoder.
struct AlacDecoder {
    AlacConfig config;
    uint16_t activeElements;     // bit `tag` per channel element of the current packet
    int32_t* mixBufferU;
    int32_t* mixBufferV;
    // Residuals and predictor scratch; viewed as uint16_t it is also the shift buffer of the
    // low bits (2 per sample frame for a pair), which is read only after prediction is done.
    int32_t* predictorBuffer;
    uint32_t bufferFrames;       // capacity of each buffer in samples; 0 until allocated
};

// Validates and stores the cookie (bare, behind an "alac" atom header, or behind "frma" then
// "alac") and allocates the buffers. A channel count outside 1..8 returns MemoryError after
// the buffers are allocated, so such a decoder still decodes packets.
AlacStatus InitAlacDecoder(AlacDecoder* decoder, const uint8_t* cookie, uint32_t cookieSize);

// Frees the three buffers; the decoder may be initialised again afterwards.
void ReleaseAlacDecoder(AlacDecoder* decoder);

// Decodes one packet. `output` must hold frameLength x channelCount samples of
// AlacOutputBytesPerSample(config.bitDepth) bytes. `frameLength` must not exceed the cookie's
// frame length (checked: ParamError, nothing written, *sampleCount 0). A decoder whose cookie
// was rejected before its buffers were allocated writes zeros over the block and returns
// ParamError, so its packets come out silent.
AlacStatus DecodeAlacPacket(AlacDecoder* decoder, AlacBitReader* reader, uint8_t* output, uint32_t frameLength,
                            uint32_t channelCount, uint32_t* sampleCount);

// The FDK decoder as the xHE-AAC job drives it: opened for raw access units, with dynamic range
// control and loudness set from the user's settings, configured once from the track's
// configuration, fed one whole access unit at a time, its PCM widened to the 32-bit samples the
// job announces. The job and its fuzz target share this code.
#pragma once

#include <fdk-aac/aacdecoder_lib.h>

#include <cstddef>
#include <cstdint>

// The job's one output buffer. The host contract sizes it (0x60000 bytes) and the decode call's
// capacity (24576 samples); both are kept as they are. The library's samples (INT_PCM) are 16
// bits wide in this build while the host is told 32-bit integers, so the buffer holds two
// regions that never overlap: the 32-bit samples the host reads, at the start, and behind them
// the region the library writes, exactly kXheDecodeCapacity INT_PCM values long. The library
// refuses a frame that does not fit that capacity (AAC_DEC_OUTPUT_BUFFER_TOO_SMALL), and
// DecodeXheFrame checks channels x frame size against it again before widening.
constexpr size_t kXheOutputBytes = 0x60000;
constexpr INT kXheDecodeCapacity = 24576;  // in INT_PCM units, per decode call
constexpr size_t kXheWideBytes = kXheDecodeCapacity * sizeof(int32_t);
constexpr size_t kXheDecodedOffset = kXheWideBytes;
static_assert(kXheDecodedOffset + kXheDecodeCapacity * sizeof(INT_PCM) <= kXheOutputBytes,
              "both regions fit the output buffer");

// The user's settings as the host's base library gives them.
struct XheDrcSettings {
    bool enabled;
    int loudness;  // AAC_DRC_REFERENCE_LEVEL units, passed on unchanged
    int effect;    // AAC_UNIDRC_SET_EFFECT code, passed on unchanged; 0 = the decoder's default
};

// What one decode call produced. `frames` sample frames of `channels` 32-bit samples each lie
// at the start of the output buffer.
struct XheFrame {
    uint32_t channels;
    uint32_t sampleRate;
    uint32_t frames;       // the decoder's frame size
    uint32_t outputDelay;  // frames by which the decoder's output lags its input
};

// Opens a decoder for raw access units with the DRC and loudness calls of `drc` applied; null
// when the library cannot open one.
HANDLE_AACDECODER OpenXheDecoder(const XheDrcSettings& drc);

// Hands the decoder the track's configuration; false when it refuses it.
bool ConfigureXheDecoder(HANDLE_AACDECODER decoder, const uint8_t* config, uint32_t size);

// Gives the decoder one access unit; false unless it takes every byte.
bool FeedXheAccessUnit(HANDLE_AACDECODER decoder, const uint8_t* bytes, uint32_t size);

// Decodes one frame into `output` (kXheOutputBytes long), draining the decoder's delay when
// `flush` is set. False on an error the decoder does not conceal, or a frame that has no
// channels or does not fit the capacity; `frame` is then left alone.
bool DecodeXheFrame(HANDLE_AACDECODER decoder, bool flush, uint8_t* output, XheFrame& frame);

// Test material for the AAC-in-MP4 tests: deterministic signals of a known length, encoded with
// ffmpeg (AAC-LC) or our FDK-based encoder (HE-AAC, HE-AAC v2), muxed into MP4 and patched with
// gapless metadata; plus a plain FAAD2 decode of an MP4 track to compare the job against.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace mp4material {

// A deterministic lavfi source of exactly `frames` sample frames.
struct Source {
    std::string expression;  // aevalsrc expression, one per channel separated by '|'
    uint32_t rate;
    uint32_t channels;
    uint64_t frames;
};

// Chirp and noise-burst signals; 1, 2, 6 or 8 channels.
Source Signal(uint32_t rate, uint32_t channels, uint64_t frames);
// Channel k carries a sine of ToneHz(k) only (k = 0 is the host's first channel).
Source Tones(uint32_t rate, uint32_t channels, uint64_t frames);
double ToneHz(uint32_t channel);

// The source as interleaved floats.
std::vector<float> Reference(const std::string& name, const Source& source);

// AAC-LC by ffmpeg into MP4 with `muxArgs` added (e.g. "-movie_timescale 44100"). "" on failure.
std::string LcMp4(const std::string& name, const Source& source, const std::string& muxArgs);

struct Encoded {
    std::string path;
    uint32_t delay = 0;        // encoder delay, output sample frames
    uint32_t frameLength = 0;  // output frames per access unit
    uint32_t units = 0;        // access units
};
// AOT 5 or 29 by our encoder, muxed by ffmpeg -c:a copy with `muxArgs`.
Encoded HeMp4(const std::string& name, const Source& source, int aot, uint32_t bitrate, const std::string& muxArgs);

// A copy of `from` named `name`, patched by the test patcher ("smpb TEXT", "elst S D", "iods L").
std::string Patched(const std::string& name, const std::string& from, const std::vector<std::string>& patches);

std::string SmpbText(uint32_t delay, uint32_t padding, uint64_t length);

// Lag (in frames) at which the channel mix of `output` best matches that of `reference`, searched
// over [-maxLag, maxLag]: output[i + lag] ~ reference[i]. Mixing makes the measure fair to mono
// sources decoded as two channels and to parametric stereo, which rebuilds the channels from a mix.
int BestLag(const std::vector<float>& reference, uint32_t referenceChannels, const std::vector<float>& output,
            uint32_t outputChannels, int maxLag);

// Amplitude of a sine of `hz` in one channel of interleaved PCM (Goertzel over the middle).
double ToneLevel(const std::vector<float>& pcm, uint32_t channels, uint32_t channel, uint32_t rate, double hz);

// The whole track decoded by FAAD2 as the job configures it, before any trimming.
struct Decoded {
    bool ok = false;
    uint32_t rate = 0;
    uint32_t channels = 0;
    std::vector<float> pcm;
};
Decoded DecodeTrack(const std::string& path);

}  // namespace mp4material

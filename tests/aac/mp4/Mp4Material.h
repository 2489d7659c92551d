// Test material for the AAC-in-MP4 tests: deterministic signals of a known length, encoded with
// ffmpeg (AAC-LC) or our FDK-based encoder (HE-AAC, HE-AAC v2), muxed into MP4 and patched with
// gapless metadata; plus a bare FAAD2 decode of an MP4 track to compare the job against.
#pragma once

#include <cstdint>
#include <optional>
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

// A copy of `from` named `name` with an "iTunSMPB" item holding `smpb` (unless it is "") and the
// first edit's media start and duration rewritten where given.
std::string Patched(const std::string& name, const std::string& from, const std::string& smpb,
                    std::optional<uint32_t> editStart = {}, std::optional<uint32_t> editDuration = {});

std::string SmpbText(uint32_t delay, uint32_t padding, uint64_t length);

// The whole track decoded by the bare FAAD2 loop of the speed comparison (bench/aac): the job's
// decoder set-up, no trimming, and FAAD2's default of no output for the first access unit. Kept
// beside the generated material under the file's name; empty on failure.
std::vector<float> DecodeTrack(const std::string& path);

}  // namespace mp4material

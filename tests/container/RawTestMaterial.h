// Raw AAC test material: ADTS streams made with ffmpeg's AAC encoder, split into frames, and
// rebuilt behind tags.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace rawtest {

using Bytes = std::vector<uint8_t>;

// An ADTS stream of exactly `frames` sample frames per channel of a sine (each channel its own
// amplitude, 0.1 * (channel + 1), at 60 Hz so that an LFE channel keeps it) made once per build
// tree. `layout` is an ffmpeg channel layout name ("mono", "stereo", "5.1", "7.1").
std::string AdtsFile(const std::string& layout, uint32_t sampleRate, uint32_t frames);

// The frames of an ADTS stream, each with its 7-byte header (no CRC in ffmpeg's output).
std::vector<Bytes> SplitAdts(const Bytes& stream);

Bytes Join(const std::vector<Bytes>& frames);

// ID3v2.3 tag with one COMM "iTunSMPB" frame (8-bit text) for the given values.
Bytes Id3WithSmpb(uint32_t delay, uint32_t padding, uint64_t length);

Bytes Concat(std::initializer_list<Bytes> parts);
std::string Write(const std::string& name, const Bytes& bytes);  // into a scratch directory

}  // namespace rawtest

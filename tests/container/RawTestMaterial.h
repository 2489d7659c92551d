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

// ID3v2 tags. A comment frame's body: text encoding, language, then the description and the text,
// each zero-terminated in that encoding (UTF-16 with a byte order mark unless NoBom).
enum Id3Text { Latin1, Utf8, Utf16Le, Utf16Be, Utf16BeNoBom };
Bytes CommentBody(Id3Text encoding, const std::string& text, const std::string& description = "iTunSMPB");

// One frame in the layout of ID3v2.`major`: 2 -> 3-char id and 24-bit size, 3 -> plain 32-bit
// size, 4 -> syncsafe size; `sizes` forces one 32-bit size layout.
enum class Id3Sizes { ForVersion, Plain, Syncsafe };
Bytes Id3Frame(int major, const std::string& id, const Bytes& body, Id3Sizes sizes = Id3Sizes::ForVersion);
Bytes Id3Tag(int major, int revision, uint8_t flags, const Bytes& frames, size_t padding = 0);

// ID3v2.3 tag with one COMM "iTunSMPB" frame (8-bit text) for the given values.
Bytes Id3WithSmpb(uint32_t delay, uint32_t padding, uint64_t length);

Bytes Concat(std::initializer_list<Bytes> parts);
std::string Write(const std::string& name, const Bytes& bytes);  // into a scratch directory

}  // namespace rawtest

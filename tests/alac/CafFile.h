// Reads the lossless stream of a CAF file (as ffmpeg writes it) for the decoder tests: the
// cookie ("kuki"), the packet sizes ("pakt", variable-length integers) and the packets
// ("data", after its 4-byte edit count).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace alactest {

struct CafStream {
    std::vector<uint8_t> cookie;
    std::vector<std::vector<uint8_t>> packets;
    uint64_t validFrames = 0;
};

// False (with the reason in *error) when the file is not a CAF file with all three chunks.
bool ReadCafStream(const std::string& path, CafStream* stream, std::string* error);

// Decodes every packet with our decoder. Returns the interleaved PCM in the decoder's output
// format, and the per-packet sample counts in *packetFrames when given. Fails the test on a
// non-zero status.
std::vector<uint8_t> DecodeCafStream(const CafStream& stream, uint32_t* bitDepth, uint32_t* channels,
                                     std::vector<uint32_t>* packetFrames = nullptr);

}  // namespace alactest

#include "CafFile.h"

#include <gtest/gtest.h>

#include "AlacDecoder.h"
#include "AlacOutput.h"
#include "TestFiles.h"

namespace alactest {
namespace {

uint64_t Be(const uint8_t* p, int bytes) {
    uint64_t v = 0;
    for (int i = 0; i < bytes; ++i) {
        v = (v << 8) | p[i];
    }
    return v;
}

}  // namespace

bool ReadCafStream(const std::string& path, CafStream* stream, std::string* error) {
    const std::vector<uint8_t> file = testfiles::ReadAll(path);
    if (file.size() < 8 || std::string(file.begin(), file.begin() + 4) != "caff") {
        *error = "not a CAF file";
        return false;
    }
    std::vector<uint64_t> sizes;
    const uint8_t* dataStart = nullptr;
    uint64_t dataSize = 0;
    size_t pos = 8;
    while (pos + 12 <= file.size()) {
        const std::string type(file.begin() + static_cast<long>(pos), file.begin() + static_cast<long>(pos) + 4);
        uint64_t size = Be(&file[pos + 4], 8);
        pos += 12;
        if (size == ~0ull || pos + size > file.size()) {
            size = file.size() - pos;  // a data chunk of unknown size runs to the end
        }
        const uint8_t* body = &file[pos];
        if (type == "kuki") {
            stream->cookie.assign(body, body + size);
        } else if (type == "pakt" && size >= 24) {
            const uint64_t packetCount = Be(body, 8);
            stream->validFrames = Be(body + 8, 8);
            size_t at = 24;
            for (uint64_t i = 0; i < packetCount && at < size; ++i) {
                uint64_t value = 0;
                while (at < size) {
                    const uint8_t byte = body[at++];
                    value = (value << 7) | (byte & 0x7F);
                    if ((byte & 0x80) == 0) {
                        break;
                    }
                }
                sizes.push_back(value);
            }
        } else if (type == "data" && size >= 4) {
            dataStart = body + 4;
            dataSize = size - 4;
        }
        pos += size;
    }
    if (stream->cookie.empty() || sizes.empty() || dataStart == nullptr) {
        *error = "missing kuki, pakt or data chunk";
        return false;
    }
    uint64_t offset = 0;
    for (uint64_t size : sizes) {
        if (offset + size > dataSize) {
            *error = "packet table runs past the data chunk";
            return false;
        }
        stream->packets.emplace_back(dataStart + offset, dataStart + offset + size);
        offset += size;
    }
    return true;
}

std::vector<uint8_t> DecodeCafStream(const CafStream& stream, uint32_t* bitDepth, uint32_t* channels,
                                     std::vector<uint32_t>* packetFrames) {
    AlacDecoder decoder{};
    std::vector<uint8_t> pcm;
    EXPECT_EQ(InitAlacDecoder(&decoder, stream.cookie.data(), static_cast<uint32_t>(stream.cookie.size())), 0);
    if (decoder.bufferFrames == 0) {
        return pcm;
    }
    *bitDepth = decoder.config.bitDepth;
    *channels = decoder.config.numChannels;
    const uint32_t frameLength = decoder.config.frameLength;
    const size_t frameBytes = static_cast<size_t>(*channels) * AlacOutputBytesPerSample(*bitDepth);
    std::vector<uint8_t> block(frameBytes * frameLength);
    for (size_t i = 0; i < stream.packets.size(); ++i) {
        AlacBitReader reader;
        InitAlacBitReader(reader, stream.packets[i].data(), static_cast<uint32_t>(stream.packets[i].size()));
        uint32_t frames = 0;
        const AlacStatus status = DecodeAlacPacket(&decoder, &reader, block.data(), frameLength, *channels, &frames);
        EXPECT_EQ(status, 0) << "packet " << i;
        pcm.insert(pcm.end(), block.begin(), block.begin() + static_cast<long>(frames * frameBytes));
        if (packetFrames != nullptr) {
            packetFrames->push_back(frames);
        }
    }
    ReleaseAlacDecoder(&decoder);
    return pcm;
}

}  // namespace alactest

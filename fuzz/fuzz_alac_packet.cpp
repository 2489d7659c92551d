// Fuzz target: one lossless packet under a configuration taken from the first input bytes.
//
// Input: [0..1] frame length - 1 (u16 BE, so up to 65536), [2] bit depth, [3] history
// multiplier, [4] initial history, [5] k modifier, [6] channel count, [7] flags (bit 0: pass a
// frame length one above the cookie's, bit 1: pass channel count + 1), then the packet.
// The packet is copied into a buffer of exactly its size so any read past it is caught.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "AlacDecoder.h"
#include "AlacOutput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr size_t kHeaderBytes = 8;
    if (size < kHeaderBytes) {
        return 0;
    }
    const uint32_t frameLength = ((static_cast<uint32_t>(data[0]) << 8) | data[1]) + 1;
    uint8_t cookie[24] = {};
    cookie[0] = static_cast<uint8_t>(frameLength >> 24);
    cookie[1] = static_cast<uint8_t>(frameLength >> 16);
    cookie[2] = static_cast<uint8_t>(frameLength >> 8);
    cookie[3] = static_cast<uint8_t>(frameLength);
    cookie[5] = data[2];
    cookie[6] = data[3];
    cookie[7] = data[4];
    cookie[8] = data[5];
    cookie[9] = data[6];
    const uint8_t flags = data[7];

    AlacDecoder decoder{};
    (void)InitAlacDecoder(&decoder, cookie, sizeof cookie);  // the job ignores this status too

    const uint32_t callFrameLength = frameLength + ((flags & 1) != 0 ? 1 : 0);
    const uint32_t channels = static_cast<uint32_t>(data[6]) + ((flags & 2) != 0 ? 1 : 0);
    const uint32_t bytesPerSample = AlacOutputBytesPerSample(decoder.config.bitDepth);
    std::vector<uint8_t> output(static_cast<size_t>(callFrameLength) * channels * bytesPerSample + 1);

    const size_t packetSize = size - kHeaderBytes;
    uint8_t* packet = static_cast<uint8_t*>(std::malloc(packetSize == 0 ? 1 : packetSize));
    if (packet != nullptr) {
        if (packetSize != 0) {
            std::memcpy(packet, data + kHeaderBytes, packetSize);
        }
        AlacBitReader reader;
        InitAlacBitReader(reader, packet, static_cast<uint32_t>(packetSize));
        uint32_t frames = 0;
        (void)DecodeAlacPacket(&decoder, &reader, output.data(), callFrameLength, channels, &frames);
        if (frames > callFrameLength) {
            std::abort();  // the count sizes the job's block: it must never exceed the frame length
        }
        std::free(packet);
    }
    ReleaseAlacDecoder(&decoder);
    return 0;
}

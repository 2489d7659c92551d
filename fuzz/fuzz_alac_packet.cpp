// One lossless packet under a configuration from the first input bytes: [0..1] frame length - 1
// (u16 BE), [2] bit depth, [3] history multiplier, [4] initial history, [5] k modifier, [6]
// channel count, [7] flags (bit 0: pass a frame length one above the cookie's, bit 1: pass channel
// count + 1), then the packet, copied into a buffer of exactly its size so any read past it is caught.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "AlacDecoder.h"
#include "AlacOutput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 8) return 0;
    const uint32_t frameLength = ((static_cast<uint32_t>(data[0]) << 8) | data[1]) + 1;
    const uint8_t cookie[24] = {0, static_cast<uint8_t>(frameLength >> 16), static_cast<uint8_t>(frameLength >> 8),
                                static_cast<uint8_t>(frameLength), 0, data[2], data[3], data[4], data[5], data[6]};
    AlacDecoder decoder{};
    (void)InitAlacDecoder(&decoder, cookie, sizeof cookie);  // the job ignores this status too

    const uint32_t callFrameLength = frameLength + (data[7] & 1);
    const uint32_t channels = data[6] + ((data[7] >> 1) & 1);
    std::vector<uint8_t> output(static_cast<size_t>(callFrameLength) * channels * AlacOutputBytesPerSample(decoder.config.bitDepth) + 1);
    const std::vector<uint8_t> packet(data + 8, data + size);
    AlacBitReader reader;
    InitAlacBitReader(reader, packet.empty() ? nullptr : packet.data(), static_cast<uint32_t>(packet.size()));
    uint32_t frames = 0;
    (void)DecodeAlacPacket(&decoder, &reader, output.data(), callFrameLength, channels, &frames);
    // The count sizes the job's block: it must never exceed the frame length.
    if (frames > callFrameLength) std::abort();
    ReleaseAlacDecoder(&decoder);
    return 0;
}

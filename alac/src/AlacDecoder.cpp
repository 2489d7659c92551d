// Cookie parsing, buffer ownership and release of the lossless decoder.
#include "AlacDecoder.h"

#include <cstdlib>
#include <cstring>

#include "AlacLimits.h"

namespace {

uint32_t Be32(const uint8_t* p) {
    return (static_cast<uint32_t>(p[0]) << 24) | (static_cast<uint32_t>(p[1]) << 16) |
           (static_cast<uint32_t>(p[2]) << 8) | p[3];
}
uint16_t Be16(const uint8_t* p) { return static_cast<uint16_t>((p[0] << 8) | p[1]); }

bool HasAtomType(const uint8_t* p, const char* type) { return std::memcmp(p + 4, type, 4) == 0; }

}  // namespace

AlacStatus InitAlacDecoder(AlacDecoder* decoder, const uint8_t* cookie, uint32_t cookieSize) {
    if (decoder == nullptr || cookie == nullptr || cookieSize < kAlacAtomHeaderBytes) {
        return kAlacParamError;
    }
    const uint8_t* p = cookie;
    uint32_t size = cookieSize;
    if (HasAtomType(p, "frma")) {
        p += kAlacAtomHeaderBytes;
        size -= kAlacAtomHeaderBytes;
        if (size < kAlacAtomHeaderBytes) {
            return kAlacParamError;
        }
    }
    if (HasAtomType(p, "alac")) {
        p += kAlacAtomHeaderBytes;
        size -= kAlacAtomHeaderBytes;
    }
    if (size < kAlacCookieBytes) {
        return kAlacParamError;
    }
    const uint32_t frameLength = Be32(p);
    if (frameLength == 0 || frameLength > kAlacMaxFrameLength) {
        return kAlacParamError;
    }
    if (p[5] < kAlacMinBitDepth || p[5] > kAlacMaxBitDepth) {
        return kAlacParamError;
    }
    AlacConfig& c = decoder->config;
    c.frameLength = frameLength;
    c.compatibleVersion = p[4];
    c.bitDepth = p[5];
    c.pb = p[6];
    c.mb = p[7];
    c.kb = p[8];
    c.numChannels = p[9];
    c.maxRun = Be16(p + 10);
    c.maxFrameBytes = Be32(p + 12);
    c.avgBitRate = Be32(p + 16);
    c.sampleRate = Be32(p + 20);
    // The fields stay stored even though the version is refused.
    if (c.compatibleVersion != 0) {
        return kAlacParamError;
    }

    ReleaseAlacDecoder(decoder);
    const size_t bytes = static_cast<size_t>(frameLength) * sizeof(int32_t);
    decoder->mixBufferU = static_cast<int32_t*>(std::calloc(1, bytes));
    decoder->mixBufferV = static_cast<int32_t*>(std::calloc(1, bytes));
    decoder->predictorBuffer = static_cast<int32_t*>(std::calloc(1, bytes));
    if (decoder->mixBufferU == nullptr || decoder->mixBufferV == nullptr || decoder->predictorBuffer == nullptr) {
        ReleaseAlacDecoder(decoder);
        return kAlacMemoryError;
    }
    decoder->bufferFrames = frameLength;

    // MemoryError rather than ParamError for a bad channel count: callers treat every
    // non-zero status alike, and the code is kept for compatibility with existing callers.
    if (c.numChannels < kAlacMinChannels || c.numChannels > kAlacMaxChannels) {
        return kAlacMemoryError;
    }
    return kAlacOk;
}

void ReleaseAlacDecoder(AlacDecoder* decoder) {
    if (decoder == nullptr) {
        return;
    }
    std::free(decoder->mixBufferU);
    std::free(decoder->mixBufferV);
    std::free(decoder->predictorBuffer);
    decoder->mixBufferU = nullptr;
    decoder->mixBufferV = nullptr;
    decoder->predictorBuffer = nullptr;
    decoder->bufferFrames = 0;
}

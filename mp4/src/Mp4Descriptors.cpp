#include "Mp4Descriptors.h"

namespace {

constexpr uint8_t kEsDescriptorTag = 0x03;
constexpr uint8_t kDecoderConfigTag = 0x04;
constexpr uint8_t kDecoderSpecificInfoTag = 0x05;
constexpr uint8_t kMp4IodTag = 0x10;
constexpr int kMaxSizeBytes = 4;  // a descriptor length is 1-4 bytes of 7 bits each

// Reads a descriptor's tag and length and returns a reader over its body.
Mp4Reader NextDescriptor(Mp4Reader& in, uint8_t& tag) {
    tag = in.U8();
    uint32_t length = 0;
    for (int i = 0; i < kMaxSizeBytes; ++i) {
        const uint8_t b = in.U8();
        length = (length << 7) | (b & 0x7F);
        if ((b & 0x80) == 0) break;
    }
    return in.Sub(length);
}

// Body of the first descriptor with `wanted` tag among the descriptors filling `in`.
bool FindDescriptor(Mp4Reader in, uint8_t wanted, Mp4Reader& body) {
    while (!in.AtEnd()) {
        uint8_t tag = 0;
        Mp4Reader candidate = NextDescriptor(in, tag);
        if (tag == wanted) {
            body = candidate;
            return true;
        }
    }
    return false;
}

}  // namespace

bool Mp4ParseEsds(Mp4Reader payload, Mp4EsConfig& config) {
    try {
        payload.Skip(4);  // version and flags
        uint8_t tag = 0;
        Mp4Reader es = NextDescriptor(payload, tag);
        if (tag != kEsDescriptorTag) return false;
        es.Skip(2);  // ES_ID
        const uint8_t flags = es.U8();
        if (flags & 0x80) es.Skip(2);          // dependsOn_ES_ID
        if (flags & 0x40) es.Skip(es.U8());    // URL string
        if (flags & 0x20) es.Skip(2);          // OCR_ES_Id
        Mp4Reader decoderConfig;
        if (!FindDescriptor(es, kDecoderConfigTag, decoderConfig)) return false;
        config.objectTypeIndication = decoderConfig.U8();
        decoderConfig.Skip(12);  // streamType, bufferSizeDB, maxBitrate, avgBitrate
        Mp4Reader info;
        if (FindDescriptor(decoderConfig, kDecoderSpecificInfoTag, info)) {
            config.hasDecoderSpecificInfo = true;
            config.decoderSpecificInfo = info.Rest();
        }
        return true;
    } catch (const Mp4Error&) {
        // A broken descriptor chain leaves the track without a configuration rather than making
        // the whole file unreadable; the caller then sees "no configuration".
        config = Mp4EsConfig{};
        return false;
    }
}

uint8_t Mp4ParseIodsAudioProfile(Mp4Reader payload) {
    try {
        payload.Skip(4);  // version and flags
        uint8_t tag = 0;
        Mp4Reader iod = NextDescriptor(payload, tag);
        if (tag != kMp4IodTag) return 0;
        const uint16_t idAndFlags = iod.U16();
        if (idAndFlags & 0x0020) return 0;  // URL_Flag: the profile fields are absent
        iod.Skip(2);                        // OD and scene profile levels
        return iod.U8();
    } catch (const Mp4Error&) {
        return 0;
    }
}

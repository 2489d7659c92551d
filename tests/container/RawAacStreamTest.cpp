// Raw AAC stream framing at the level the job cannot show: the ID3v2 skip, the sync search,
// header types and length estimates, and trailing tags kept from the decoder. What a whole
// file decodes to is checked through the job in RawAacJobTest.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <algorithm>
#include <cstdlib>
#include <functional>

#include "RawAacStream.h"
#include "RawTestMaterial.h"
#include "TestFiles.h"

namespace {

using rawtest::Bytes;

constexpr uint32_t kFrames = 44100;  // one second at 44.1 kHz: 45 AAC frames with delay 1024

const Bytes& StereoAdts() {
    static const Bytes bytes = testfiles::ReadAll(rawtest::AdtsFile("stereo", 44100, kFrames));
    return bytes;
}

// What a decode of the whole stream handed to the decoder, frame by frame.
struct DecodeTrace {
    bool opened = false;
    uint64_t bytesDecoded = 0;   // stream position at the end
    uint64_t samplesPerChannel = 0;
    bool sawTagBytes = false;    // a decoder call began with a trailing tag's signature
    int errors = 0;
};

DecodeTrace DecodeAll(const std::string& path) {
    DecodeTrace trace;
    RawAacStream stream;
    trace.opened = OpenRawAacStream(stream, std::fopen(path.c_str(), "rb"));
    for (int calls = 0; trace.opened && calls < 100000; ++calls) {
        RefillStreamBuffer(stream);
        if (stream.bytesInBuffer <= 0) break;
        const auto* b = reinterpret_cast<const char*>(stream.buffer);
        if (std::memcmp(b, "TAG", 3) == 0 || std::memcmp(b, "APETAGEX", 8) == 0 || std::memcmp(b, "LYRICS", 6) == 0) {
            trace.sawTagBytes = true;
        }
        NeAACDecFrameInfo info{};
        NeAACDecDecode(stream.decoder, &info, stream.buffer, static_cast<unsigned long>(stream.bytesInBuffer));
        ConsumeStreamBytes(stream, static_cast<uint32_t>(info.bytesconsumed));
        if (info.error != 0) {
            ++trace.errors;
            break;
        }
        if (info.channels != 0) trace.samplesPerChannel += info.samples / info.channels;
        if (info.bytesconsumed == 0) break;
    }
    trace.bytesDecoded = stream.streamPosition;
    return trace;
}

TEST(SkipId3v2Header, SizeBytesJoinedWithoutMasking) {
    struct Row {
        const char* name;
        Bytes head;
        int32_t expected;
    };
    const Row rows[] = {
        {"NoTag", Bytes{0xFF, 0xF1, 1, 2, 3, 4, 5, 6, 7, 8, 9}, 0},
        {"Syncsafe", Bytes{'I', 'D', '3', 3, 0, 0, 0, 0, 0x02, 0x01, 0}, 10 + 257},
        {"HighBitsCountUnmasked", Bytes{'I', 'D', '3', 4, 0, 0, 0, 0, 0x81, 0x80, 0}, 10 + ((0x81 << 7) | 0x80)},
        {"FooterFlagIgnored", Bytes{'I', 'D', '3', 4, 0, 0x10, 0, 0, 0, 20, 0}, 30},
        {"ExactlyTenBytes", Bytes{'I', 'D', '3', 3, 0, 0, 0, 0, 0, 0}, 10},
        {"NineBytes", Bytes{'I', 'D', '3', 3, 0, 0, 0, 0, 0}, -1},
        {"Empty", Bytes{}, -1},
    };
    for (const Row& r : rows) {
        const std::string path = rawtest::Write(std::string("id3head_") + r.name, r.head);
        RawAacStream stream;
        stream.file = std::fopen(path.c_str(), "rb");
        ASSERT_NE(stream.file, nullptr);
        EXPECT_EQ(SkipId3v2Header(stream), r.expected) << r.name;
        if (r.expected >= 0) {
            EXPECT_EQ(std::ftell(stream.file), r.expected) << r.name;
        }
    }
}

TEST(FindAudioStart, LooksAtMost1024Positions) {
    const Bytes junk500(500, 0x11);
    const Bytes junk1023(1023, 0x11);
    const Bytes junk1500(1500, 0x11);
    const Bytes& adts = StereoAdts();
    struct Row {
        const char* name;
        Bytes file;
        int64_t from;
        int64_t expected;
    };
    const Row rows[] = {
        {"AtStart", adts, 0, 0},
        {"JunkBelowLimit", rawtest::Concat({junk500, adts}), 0, 500},
        {"SyncAtLastPosition", rawtest::Concat({junk1023, adts}), 0, 1023},
        {"JunkBeyondLimit", rawtest::Concat({junk1500, adts}), 0, 1024},
        {"FromTagEnd", rawtest::Concat({Bytes(40, 0), junk500, adts}), 40, 540},
        {"LayerBitsMustBeZero", rawtest::Concat({Bytes{0xFF, 0xF2, 0, 0}, junk500, adts}), 0, 504},
        {"ShortTailStopsSearch", Bytes(15, 0x11), 0, 6},
    };
    for (const Row& r : rows) {
        const std::string path = rawtest::Write(std::string("sync_") + r.name, r.file);
        FILE* f = std::fopen(path.c_str(), "rb");
        ASSERT_NE(f, nullptr);
        EXPECT_EQ(FindAudioStart(f, r.from), r.expected) << r.name;
        EXPECT_EQ(std::ftell(f), r.expected) << r.name;
        std::fclose(f);
    }
}

int32_t AdtsLengthMs() {
    const size_t frames = rawtest::SplitAdts(StereoAdts()).size();
    return static_cast<int32_t>(frames * 1024 * 1000 / 44100);
}

TEST(RawAacStream, TrailingTagsNeverReachTheDecoder) {
    const size_t audio = StereoAdts().size();
    // Eight bytes are too few for the APE test: they reach the decoder.
    const Bytes apeSignature{'A', 'P', 'E', 'T', 'A', 'G', 'E', 'X'};
    for (const auto& [name, tag] : {std::pair{"id3v1", rawtest::Id3v1Tag()}, std::pair{"ape", rawtest::ApeTag()},
                                    std::pair{"lyrics3", rawtest::Lyrics3Tag()}, std::pair{"none", Bytes{}},
                                    std::pair{"ape signature only", apeSignature}}) {
        const DecodeTrace t = DecodeAll(rawtest::Write(std::string("tail_") + name, rawtest::Concat({StereoAdts(), tag})));
        ASSERT_TRUE(t.opened) << name;
        EXPECT_EQ(t.sawTagBytes, tag == apeSignature) << name;
        if (tag == apeSignature) continue;
        EXPECT_EQ(t.bytesDecoded, audio) << name;
        EXPECT_EQ(t.errors, 0) << name;
        // Every frame's output comes out, the first one's included.
        EXPECT_EQ(t.samplesPerChannel, rawtest::SplitAdts(StereoAdts()).size() * 1024) << name;
    }
}

Bytes WithAdtsField(Bytes bytes, const std::function<void(uint8_t* header)>& change) {
    for (size_t at = 0; at + 7 <= bytes.size();) {
        const size_t length = ((bytes[at + 3] & 0x03u) << 11) | (uint32_t{bytes[at + 4]} << 3) | (bytes[at + 5] >> 5);
        change(bytes.data() + at);
        if (length < 7) break;
        at += length;
    }
    return bytes;
}

void SetFrameLength(uint8_t* h, uint32_t length) {
    h[3] = static_cast<uint8_t>((h[3] & ~0x03) | (length >> 11));
    h[4] = static_cast<uint8_t>(length >> 3);
    h[5] = static_cast<uint8_t>((h[5] & 0x1F) | ((length & 7) << 5));
}

TEST(RawAacStream, HeaderTypeAndLengthEstimate) {
    const std::vector<Bytes> frames = rawtest::SplitAdts(StereoAdts());
    Bytes cut = rawtest::Join(std::vector<Bytes>(frames.begin(), frames.begin() + 20));
    cut.insert(cut.end(), frames[20].begin(), frames[20].begin() + 30);
    const Bytes raw = rawtest::RawBlocks(frames);
    const auto adts = RawHeaderType::Adts;
    const auto adif = RawHeaderType::Adif;
    struct Row {
        const char* name;
        Bytes file;
        RawHeaderType type;
        int32_t lengthMs;  // used when bitRate is 0
        double bitRate;    // otherwise: the estimate from the file size at this rate
    };
    const Row rows[] = {
        {"AdtsCountsFrames", StereoAdts(), adts, AdtsLengthMs(), 0},
        {"AdtsCountStopsAtCutFrame", cut, adts, 20 * 1024 * 1000 / 44100, 0},
        {"AdtsCountStopsAtTrailingTag", rawtest::Concat({StereoAdts(), rawtest::ApeTag(), StereoAdts()}), adts,
         AdtsLengthMs(), 0},
        // Indices 12 to 15 have no rate: 0 frames per second gives the 1.0 s default.
        {"AdtsRateIndex15", WithAdtsField(StereoAdts(), [](uint8_t* h) { h[2] = static_cast<uint8_t>(h[2] | 0x3C); }),
         adts, 1000, 0},
        // Frame lengths below the header size end the count instead of repeating for ever.
        {"AdtsFrameLengthZero", WithAdtsField(StereoAdts(), [](uint8_t* h) { SetFrameLength(h, 0); }), adts, 0, 0},
        {"AdtsFrameLengthSix", WithAdtsField(StereoAdts(), [](uint8_t* h) { SetFrameLength(h, 6); }), adts, 0, 0},
        {"Adif128k", rawtest::Adif(frames, 128000, false), adif, 0, 128000.0},
        {"Adif64kWithCopyrightId", rawtest::Adif(frames, 64000, true), adif, 0, 64000.0},
        {"AdifRateZeroAssumes128k", rawtest::Adif(frames, 0, false), adif, 0, 128000.0},
        // No header: a fixed 128 kbit/s; 16000 bytes -> 1.5 s.
        {"Bare16000Bytes", Bytes(raw.begin(), raw.begin() + 16000), RawHeaderType::None, 1500, 0},
    };
    for (const Row& c : rows) {
        SCOPED_TRACE(c.name);
        RawAacStream stream;
        stream.file = std::fopen(rawtest::Write(std::string("length_") + c.name, c.file).c_str(), "rb");
        ASSERT_NE(stream.file, nullptr);
        stream.buffer = static_cast<uint8_t*>(std::malloc(kStreamBufferBytes));
        DetectHeaderAndLength(stream, 0);
        EXPECT_EQ(stream.headerType, c.type);
        const double size = static_cast<double>(c.file.size());
        EXPECT_EQ(stream.lengthMs,
                  c.bitRate > 0 ? static_cast<int32_t>((size * 8.0 / c.bitRate + 0.5) * 1000.0) : c.lengthMs);
        // The decoder is handed the buffer from the audio start whatever was counted.
        EXPECT_EQ(std::memcmp(stream.buffer, c.file.data(), std::min<size_t>(c.file.size(), 16)), 0);
        EXPECT_EQ(stream.bytesConsumed, 0);
        EXPECT_EQ(stream.bytesInBuffer, static_cast<int32_t>(std::min<size_t>(c.file.size(), kStreamBufferBytes)));
    }
}

}  // namespace

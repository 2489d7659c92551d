// Raw AAC stream opening and framing: tag skipping, the sync search, header types and length
// estimates, trailing tags, and the gapless values taken from a leading ID3v2 tag.
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
    RawHeaderType headerType = RawHeaderType::None;
    int32_t lengthMs = 0;
    uint32_t channels = 0;
    uint32_t sampleRate = 0;
    GaplessInfo gapless;
    uint64_t bytesDecoded = 0;   // stream position at the end
    uint64_t samplesPerChannel = 0;
    bool sawTagBytes = false;    // a decoder call began with a trailing tag's signature
    int errors = 0;
};

DecodeTrace DecodeAll(const std::string& path) {
    DecodeTrace trace;
    RawAacStream stream;
    trace.opened = OpenRawAacStream(stream, std::fopen(path.c_str(), "rb"));
    if (!trace.opened) return trace;
    trace.headerType = stream.headerType;
    trace.lengthMs = stream.lengthMs;
    trace.channels = stream.channels;
    trace.sampleRate = stream.sampleRate;
    trace.gapless = stream.gapless;
    for (int calls = 0; calls < 100000; ++calls) {
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

TEST(RawAacStream, FramesTheAudioBetweenTags) {
    const Bytes& adts = StereoAdts();
    const int32_t ms = AdtsLengthMs();
    const auto t = RawHeaderType::Adts;
    const auto none = RawHeaderType::None;
    struct Row {
        const char* name;
        Bytes file;
        bool opens;
        RawHeaderType type;
        int32_t lengthMs;
        bool decoderSeesTag;
    };
    const Row rows[] = {
        {"PlainAdts", adts, true, t, ms, false},
        {"Id3InFront", rawtest::Concat({rawtest::Id3WithSmpb(1024, 956, kFrames), adts}), true, t, ms, false},
        {"JunkBeforeSync", rawtest::Concat({Bytes(700, 0x22), adts}), true, t, ms, false},
        {"Id3v1Behind", rawtest::Concat({adts, rawtest::Id3v1Tag()}), true, t, ms, false},
        {"ApeBehind", rawtest::Concat({adts, rawtest::ApeTag()}), true, t, ms, false},
        {"Lyrics3Behind", rawtest::Concat({adts, rawtest::Lyrics3Tag()}), true, t, ms, false},
        // Eight bytes are too few for the APE test: they reach the decoder.
        {"ApeSignatureOnly", rawtest::Concat({adts, Bytes{'A', 'P', 'E', 'T', 'A', 'G', 'E', 'X'}}), true, t, ms, true},
        // The sync search looks only for ADTS: an ADIF stream (or bare frames) without such a
        // pattern in its first 1024 bytes starts 1024 bytes in, inside the raw data, where no
        // frame decodes.
        {"AdifStartsLate", rawtest::Adif(rawtest::SplitAdts(adts), 128000, false), false, none, 0, false},
        {"BareFramesStartLate", rawtest::RawBlocks(rawtest::SplitAdts(adts)), false, none, 0, false},
        {"EmptyAfterTag", rawtest::Id3WithSmpb(1024, 956, kFrames), false, none, 0, false},
        {"UnderTenBytes", Bytes{0xFF, 0xF1, 0x50, 0x80}, false, none, 0, false},
        {"OnlyJunk", Bytes(3000, 0x00), false, none, 0, false},
    };
    for (const Row& c : rows) {
        SCOPED_TRACE(c.name);
        const DecodeTrace trace = DecodeAll(rawtest::Write(std::string("open_") + c.name + ".aac", c.file));
        ASSERT_EQ(trace.opened, c.opens);
        if (!c.opens) continue;
        EXPECT_EQ(trace.headerType, c.type);
        EXPECT_EQ(trace.lengthMs, c.lengthMs);
        EXPECT_EQ(trace.channels, 2u);
        EXPECT_EQ(trace.sampleRate, 44100u);
        EXPECT_EQ(trace.sawTagBytes, c.decoderSeesTag);
    }
}

TEST(RawAacStream, TrailingTagsNeverReachTheDecoder) {
    const size_t audio = StereoAdts().size();
    for (const auto& [name, tag] : {std::pair{"id3v1", rawtest::Id3v1Tag()}, std::pair{"ape", rawtest::ApeTag()},
                                    std::pair{"lyrics3", rawtest::Lyrics3Tag()}, std::pair{"none", Bytes{}}}) {
        const DecodeTrace t = DecodeAll(rawtest::Write(std::string("tail_") + name, rawtest::Concat({StereoAdts(), tag})));
        ASSERT_TRUE(t.opened) << name;
        EXPECT_EQ(t.bytesDecoded, audio) << name;
        EXPECT_EQ(t.errors, 0) << name;
        // Every frame's output comes out, the first one's included.
        EXPECT_EQ(t.samplesPerChannel, rawtest::SplitAdts(StereoAdts()).size() * 1024) << name;
    }
}

TEST(RawAacStream, GaplessValuesFromTheLeadingTag) {
    struct Row {
        const char* name;
        Bytes tag;
        uint32_t delay, padding;
    };
    const Row rows[] = {
        {"Complete", rawtest::Id3WithSmpb(2112, 700, 123456), 2112, 700},
        {"ZeroPaddingKeepsDefaults", rawtest::Id3WithSmpb(2112, 0, 123456), 1024, 0},
        {"NoTagKeepsDefaults", Bytes{}, 1024, 0},
    };
    for (const Row& r : rows) {
        const DecodeTrace t = DecodeAll(rawtest::Write(std::string("gapless_") + r.name, rawtest::Concat({r.tag, StereoAdts()})));
        ASSERT_TRUE(t.opened) << r.name;
        EXPECT_EQ(t.gapless.delay, r.delay) << r.name;
        EXPECT_EQ(t.gapless.padding, r.padding) << r.name;
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

TEST(RawAacStream, RealWorldFixtures) {
    const std::string sf15 = testfiles::SharedFixture("rw_adts_sf_index15.aac");
    const std::string adif = testfiles::SharedFixture("rw_adif_truncated.aac");
    if (sf15.empty() || adif.empty()) GTEST_SKIP() << "shared fixtures absent";
    // FAAD2 refuses the index-15 stream at initialisation.
    EXPECT_FALSE(DecodeAll(sf15).opened);
    // No ADTS sync word in the first 1024 bytes: the stream starts at byte 1024, in the middle
    // of the ADIF stream's raw data, where FAAD2 finds no frame.
    EXPECT_FALSE(DecodeAll(adif).opened);
    FILE* f = std::fopen(adif.c_str(), "rb");
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(FindAudioStart(f, 0), 1024);
    std::fclose(f);
}

}  // namespace

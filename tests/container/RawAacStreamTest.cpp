// Raw AAC stream framing at the level the job cannot show: the ID3v2 skip, the sync search,
// the ADTS length estimate, and trailing tags kept from the decoder. What a whole
// file decodes to is checked through the job in RawAacJobTest.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <algorithm>
#include <cstdlib>

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

// Decodes the whole stream the way the job does; true when a decoder call began with a
// trailing tag's signature.
bool TagReachesTheDecoder(const std::string& path, uint64_t& endPosition) {
    RawAacStream stream;
    bool seen = false;
    for (bool open = OpenRawAacStream(stream, std::fopen(path.c_str(), "rb")); open;) {
        RefillStreamBuffer(stream);
        if (stream.bytesInBuffer <= 0) break;
        const auto* b = reinterpret_cast<const char*>(stream.buffer);
        seen |= std::memcmp(b, "TAG", 3) == 0 || std::memcmp(b, "APETAGEX", 8) == 0 || std::memcmp(b, "LYRICS", 6) == 0;
        NeAACDecFrameInfo info{};
        NeAACDecDecode(stream.decoder, &info, stream.buffer, static_cast<unsigned long>(stream.bytesInBuffer));
        ConsumeStreamBytes(stream, static_cast<uint32_t>(info.bytesconsumed));
        if (info.error != 0 || info.bytesconsumed == 0) break;
    }
    endPosition = stream.streamPosition;
    return seen;
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
    const Bytes& adts = StereoAdts();
    struct Row {
        const char* name;
        Bytes file;
        int64_t from;
        int64_t expected;
    };
    const Row rows[] = {
        {"SyncAtLastPosition", rawtest::Concat({Bytes(1023, 0x11), adts}), 0, 1023},
        {"JunkBeyondLimit", rawtest::Concat({Bytes(1500, 0x11), adts}), 0, 1024},
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

TEST(RawAacStream, TrailingTagsNeverReachTheDecoder) {
    // Eight bytes are too few for the APE test: they reach the decoder.
    const Bytes apeSignature{'A', 'P', 'E', 'T', 'A', 'G', 'E', 'X'};
    for (const auto& [name, tag] : {std::pair{"id3v1", rawtest::Id3v1Tag()}, std::pair{"ape", rawtest::ApeTag()},
                                    std::pair{"lyrics3", rawtest::Lyrics3Tag()}, std::pair{"none", Bytes{}},
                                    std::pair{"ape signature only", apeSignature}}) {
        uint64_t end = 0;
        const std::string path = rawtest::Write(std::string("tail_") + name, rawtest::Concat({StereoAdts(), tag}));
        EXPECT_EQ(TagReachesTheDecoder(path, end), tag == apeSignature) << name;
        if (tag != apeSignature) EXPECT_EQ(end, StereoAdts().size()) << name;
    }
}

TEST(RawAacStream, AdtsLengthEstimate) {
    const std::vector<Bytes> frames = rawtest::SplitAdts(StereoAdts());
    Bytes cut = rawtest::Join(std::vector<Bytes>(frames.begin(), frames.begin() + 20));
    cut.insert(cut.end(), frames[20].begin(), frames[20].begin() + 30);
    const int32_t wholeMs = static_cast<int32_t>(frames.size() * 1024 * 1000 / 44100);
    Bytes noRate = StereoAdts();
    noRate[2] |= 0x3C;  // indices 12 to 15 have no rate: 0 frames per second gives the 1.0 s default
    struct Row {
        const char* name;
        Bytes file;
        int32_t lengthMs;
    };
    const Row rows[] = {
        {"CountsFrames", StereoAdts(), wholeMs},
        {"CountStopsAtCutFrame", cut, 20 * 1024 * 1000 / 44100},
        {"CountStopsAtTrailingTag", rawtest::Concat({StereoAdts(), rawtest::ApeTag(), StereoAdts()}), wholeMs},
        {"RateIndex15", noRate, 1000},
    };
    for (const Row& c : rows) {
        SCOPED_TRACE(c.name);
        RawAacStream stream;
        stream.file = std::fopen(rawtest::Write(std::string("length_") + c.name, c.file).c_str(), "rb");
        ASSERT_NE(stream.file, nullptr);
        stream.buffer = static_cast<uint8_t*>(std::malloc(kStreamBufferBytes));
        DetectHeaderAndLength(stream, 0);
        EXPECT_EQ(stream.headerType, RawHeaderType::Adts);
        EXPECT_EQ(stream.lengthMs, c.lengthMs);
        // The decoder is handed the buffer from the audio start whatever was counted.
        EXPECT_EQ(std::memcmp(stream.buffer, c.file.data(), 16), 0);
        EXPECT_EQ(stream.bytesConsumed, 0);
        EXPECT_EQ(stream.bytesInBuffer, static_cast<int32_t>(std::min<size_t>(c.file.size(), kStreamBufferBytes)));
    }
}

}  // namespace

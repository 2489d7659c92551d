// WAV files as zorv-decode writes them, checked field by field and by ffprobe.
#include <gtest/gtest.h>

#include <cstring>

#include "TestFiles.h"
#include "WavWriter.h"

namespace {

uint32_t U32(const std::vector<uint8_t>& b, size_t at) {
    return b[at] | (b[at + 1] << 8) | (b[at + 2] << 16) | (static_cast<uint32_t>(b[at + 3]) << 24);
}
uint16_t U16(const std::vector<uint8_t>& b, size_t at) { return static_cast<uint16_t>(b[at] | (b[at + 1] << 8)); }

struct Chunk {
    size_t payload;
    uint32_t size;
};

Chunk Find(const std::vector<uint8_t>& b, const char* id) {
    for (size_t at = 12; at + 8 <= b.size(); at += 8 + U32(b, at + 4) + (U32(b, at + 4) & 1))
        if (std::memcmp(&b[at], id, 4) == 0) return {at + 8, U32(b, at + 4)};
    return {0, 0};
}

TEST(WavWriter, HeadersDescribeTheAnnouncedFormat) {
    struct Row {
        const char* name;
        PcmFormat format;
        uint16_t tag;
        uint16_t containerBits;
        uint16_t validBits;
        uint32_t mask;
        const char* probeCodec;
    } rows[] = {
        {"16-bit stereo", {2, 44100, 16, false}, 1, 16, 0, 0, "pcm_s16le"},
        {"16-bit mono", {1, 8000, 16, false}, 1, 16, 0, 0, "pcm_s16le"},
        {"float stereo", {2, 48000, 32, true}, 0xFFFE, 32, 32, 0x3, "pcm_f32le"},
        {"24-bit 5.1", {6, 96000, 24, false}, 0xFFFE, 24, 24, 0x60F, "pcm_s24le"},
        {"20-bit stereo in 24-bit containers", {2, 44100, 20, false}, 0xFFFE, 24, 20, 0x3, "pcm_s24le"},
        {"32-bit 7.1", {8, 48000, 32, false}, 0xFFFE, 32, 32, 0x63F, "pcm_s32le"},
    };
    for (const auto& row : rows) {
        const std::string path = testfiles::ScratchDir() + "/header.wav";
        const uint32_t frames = 1001;  // odd byte counts for 1-channel 8-bit would pad; check sizes
        std::vector<uint8_t> pcm(frames * row.format.FrameBytes(), 0x11);
        WavWriter writer;
        ASSERT_TRUE(writer.Open(path, false, row.format)) << row.name;
        ASSERT_TRUE(writer.Write(pcm.data(), pcm.size() / 2)) << row.name;
        ASSERT_TRUE(writer.Write(pcm.data() + pcm.size() / 2, pcm.size() - pcm.size() / 2)) << row.name;
        ASSERT_TRUE(writer.Finish()) << row.name;

        std::vector<uint8_t> b = testfiles::ReadAll(path);
        ASSERT_GT(b.size(), 44u);
        EXPECT_EQ(std::memcmp(b.data(), "RIFF", 4), 0) << row.name;
        EXPECT_EQ(U32(b, 4), b.size() - 8) << row.name;
        Chunk fmt = Find(b, "fmt ");
        Chunk data = Find(b, "data");
        ASSERT_NE(fmt.payload, 0u) << row.name;
        ASSERT_NE(data.payload, 0u) << row.name;
        EXPECT_EQ(data.size, pcm.size()) << row.name;
        EXPECT_EQ(U16(b, fmt.payload), row.tag) << row.name;
        EXPECT_EQ(U16(b, fmt.payload + 2), row.format.channels) << row.name;
        EXPECT_EQ(U32(b, fmt.payload + 4), row.format.sampleRate) << row.name;
        EXPECT_EQ(U16(b, fmt.payload + 12), row.format.FrameBytes()) << row.name;
        EXPECT_EQ(U16(b, fmt.payload + 14), row.containerBits) << row.name;
        if (row.tag == 0xFFFE) {
            EXPECT_EQ(U16(b, fmt.payload + 18), row.validBits) << row.name;
            EXPECT_EQ(U32(b, fmt.payload + 20), row.mask) << row.name;
            EXPECT_EQ(U16(b, fmt.payload + 24), row.format.isFloat ? 3 : 1) << row.name;
        }
        const std::string probe = testfiles::Capture(testfiles::Ffprobe() +
                                                     " -show_entries stream=codec_name,channels,sample_rate "
                                                     "-of default=nw=1 " + path);
        EXPECT_NE(probe.find(std::string("codec_name=") + row.probeCodec), std::string::npos) << row.name << probe;
        EXPECT_NE(probe.find("channels=" + std::to_string(row.format.channels)), std::string::npos) << row.name;
        EXPECT_NE(probe.find("sample_rate=" + std::to_string(row.format.sampleRate)), std::string::npos) << row.name;
    }
}

TEST(WavWriter, RawOutputIsExactlyTheBytes) {
    const std::string path = testfiles::ScratchDir() + "/raw.pcm";
    WavWriter writer;
    ASSERT_TRUE(writer.Open(path, true, PcmFormat{2, 44100, 16, false}));
    const std::vector<uint8_t> bytes = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    ASSERT_TRUE(writer.Write(bytes.data(), bytes.size()));
    ASSERT_TRUE(writer.Finish());
    EXPECT_EQ(testfiles::ReadAll(path), bytes);
}

TEST(WavWriter, UnwritablePathFails) {
    WavWriter writer;
    EXPECT_FALSE(writer.Open("/nonexistent-dir/x.wav", false, PcmFormat{2, 44100, 16, false}));
}

}  // namespace

// WAV files as zorv-decode writes them, read back by ffprobe, plus the header fields it does not
// show (format tag, container and valid bits).
#include <gtest/gtest.h>

#include <cstring>

#include "TestFiles.h"
#include "WavWriter.h"

namespace {

uint32_t Le(const std::vector<uint8_t>& b, size_t at, int n) {
    uint32_t v = 0;
    for (int i = n - 1; i >= 0; --i) v = (v << 8) | b[at + static_cast<size_t>(i)];
    return v;
}

TEST(WavWriter, HeadersDescribeTheAnnouncedFormat) {
    struct Row {
        PcmFormat format;
        uint16_t tag, containerBits, validBits;  // valid bits only in WAVE_FORMAT_EXTENSIBLE
        const char* codec;
        const char* layout;
    } rows[] = {
        {{2, 44100, 16, false}, 1, 16, 0, "pcm_s16le", "unknown"},  // plain PCM carries no channel mask
        {{2, 48000, 32, true}, 0xFFFE, 32, 32, "pcm_f32le", "stereo"},
        {{6, 96000, 24, false}, 0xFFFE, 24, 24, "pcm_s24le", "5.1(side)"},
        {{2, 44100, 20, false}, 0xFFFE, 24, 20, "pcm_s24le", "stereo"},  // 20 bits in 24-bit containers
        {{8, 48000, 32, false}, 0xFFFE, 32, 32, "pcm_s32le", "7.1"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.codec + std::string(" ") + row.layout);
        const std::string path = testfiles::ScratchDir() + "/header.wav";
        const std::vector<uint8_t> pcm(1001 * row.format.FrameBytes(), 0x11);
        WavWriter writer;
        ASSERT_TRUE(writer.Open(path, false, row.format));
        ASSERT_TRUE(writer.Write(pcm.data(), pcm.size() / 2));
        ASSERT_TRUE(writer.Write(pcm.data() + pcm.size() / 2, pcm.size() - pcm.size() / 2));
        ASSERT_TRUE(writer.Finish());
        const std::vector<uint8_t> b = testfiles::ReadAll(path);
        ASSERT_GT(b.size(), 44u);
        EXPECT_EQ(std::memcmp(b.data(), "RIFF", 4), 0);
        EXPECT_EQ(Le(b, 4, 4), b.size() - 8);
        size_t fmt = 0, data = 0;
        for (size_t at = 12; at + 8 <= b.size(); at += 8 + Le(b, at + 4, 4) + (Le(b, at + 4, 4) & 1)) {
            if (std::memcmp(&b[at], "fmt ", 4) == 0) fmt = at + 8;
            if (std::memcmp(&b[at], "data", 4) == 0) data = at + 8;
        }
        ASSERT_TRUE(fmt != 0 && data != 0);
        EXPECT_EQ(Le(b, data - 4, 4), pcm.size());
        EXPECT_EQ(Le(b, fmt, 2), row.tag);
        EXPECT_EQ(Le(b, fmt + 12, 2), row.format.FrameBytes());
        EXPECT_EQ(Le(b, fmt + 14, 2), row.containerBits);
        EXPECT_EQ(row.tag == 1 ? 0 : Le(b, fmt + 18, 2), row.validBits);
        const auto probe = testfiles::ProbeRecords("-show_entries stream=codec_name,channels,sample_rate,channel_layout", path);
        ASSERT_EQ(probe.size(), 1u);
        EXPECT_EQ(probe[0].at("codec_name"), row.codec);
        EXPECT_EQ(probe[0].at("channels"), std::to_string(row.format.channels));
        EXPECT_EQ(probe[0].at("sample_rate"), std::to_string(row.format.sampleRate));
        EXPECT_EQ(probe[0].at("channel_layout"), row.layout);
    }
}

}  // namespace

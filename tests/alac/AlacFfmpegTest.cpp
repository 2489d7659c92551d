// Bit-exactness of the lossless decoder against ffmpeg's decode of the same stream. Material
// is encoded at test time by ffmpeg into CAF, which carries the cookie and the packets
// without involving our MP4 reader.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "CafFile.h"
#include "TestFiles.h"

namespace {

struct EncodeCase {
    const char* name;
    const char* layout;       // ffmpeg channel layout
    int channels;
    int sampleRate;
    int bits;                 // 16 or 24 (ffmpeg's encoder offers no other depth)
    const char* signal;       // "tone", "noise" or "silence"
    double seconds;
    const char* encoderArgs;  // extra encoder options
};

// Each channel gets its own frequency and a little deterministic noise, so channels can be
// told apart and residuals are not trivial.
std::string ToneSource(const EncodeCase& c) {
    std::string exprs;
    for (int ch = 0; ch < c.channels; ++ch) {
        if (ch != 0) {
            exprs += "|";
        }
        exprs += "0.4*sin(2*PI*" + std::to_string(180 + 97 * ch) + "*t)*(0.6+0.4*sin(2*PI*3*t))+0.02*(random(" +
                 std::to_string(ch) + ")-0.5)";
    }
    return "\"aevalsrc='" + exprs + "':c='" + c.layout + "':s=" + std::to_string(c.sampleRate) +
           ":d=" + std::to_string(c.seconds) + "\"";
}

std::string Source(const EncodeCase& c) {
    const std::string rate = std::to_string(c.sampleRate);
    const std::string seconds = std::to_string(c.seconds);
    if (std::string(c.signal) == "noise") {
        // Full-scale white noise does not compress: the encoder falls back to verbatim frames.
        return "anoisesrc=seed=1:a=1:r=" + rate + ":d=" + seconds + " -af aformat=channel_layouts=" + c.layout;
    }
    if (std::string(c.signal) == "silence") {
        return "anullsrc=r=" + rate + ":cl=" + c.layout + " -t " + seconds;
    }
    return ToneSource(c);
}

std::string EncodeCaf(const EncodeCase& c) {
    return testfiles::Generated(std::string("alac_") + c.name + ".caf", [&](const std::string& path) {
        const std::string format = c.bits == 16 ? "s16p" : "s32p";
        return testfiles::Run(testfiles::Ffmpeg() + " -f lavfi -i " + Source(c) + " -c:a alac -sample_fmt " +
                              format + " -bits_per_raw_sample " + std::to_string(c.bits) + " " + c.encoderArgs +
                              " -f caf " + path);
    });
}

std::vector<uint8_t> ReferencePcm(const EncodeCase& c, const std::string& caf) {
    const std::string format = c.bits == 16 ? "s16le" : "s24le";
    const std::string path = testfiles::Generated(std::string("alac_") + c.name + ".ref", [&](const std::string& out) {
        return testfiles::Run(testfiles::Ffmpeg() + " -i " + caf + " -f " + format + " " + out);
    });
    return testfiles::ReadAll(path);
}

std::vector<uint8_t> Column(const std::vector<uint8_t>& pcm, int channels, int bytes, int channel) {
    std::vector<uint8_t> column;
    const size_t frameBytes = static_cast<size_t>(channels) * bytes;
    for (size_t at = static_cast<size_t>(channel) * bytes; at + bytes <= pcm.size(); at += frameBytes) {
        column.insert(column.end(), pcm.begin() + static_cast<long>(at), pcm.begin() + static_cast<long>(at) + bytes);
    }
    return column;
}

class AlacMatchesFfmpeg : public testing::TestWithParam<EncodeCase> {};

TEST_P(AlacMatchesFfmpeg, DecodesBitExact) {
    const EncodeCase& c = GetParam();
    const std::string caf = EncodeCaf(c);
    ASSERT_FALSE(caf.empty());
    alactest::CafStream stream;
    std::string error;
    ASSERT_TRUE(alactest::ReadCafStream(caf, &stream, &error)) << error;
    const std::vector<uint8_t> reference = ReferencePcm(c, caf);
    ASSERT_FALSE(reference.empty());

    uint32_t bitDepth = 0;
    uint32_t channels = 0;
    std::vector<uint32_t> packetFrames;
    const std::vector<uint8_t> ours = alactest::DecodeCafStream(stream, &bitDepth, &channels, &packetFrames);
    ASSERT_EQ(bitDepth, static_cast<uint32_t>(c.bits));
    ASSERT_EQ(channels, static_cast<uint32_t>(c.channels));
    ASSERT_EQ(ours.size(), reference.size());
    const int bytes = c.bits == 16 ? 2 : 3;
    const uint64_t frames = ours.size() / (static_cast<size_t>(channels) * bytes);
    EXPECT_EQ(frames, static_cast<uint64_t>(c.seconds * c.sampleRate + 0.5));
    // The last packet is a partial one whenever the length is not a multiple of the frame length.
    ASSERT_FALSE(packetFrames.empty());
    EXPECT_LE(packetFrames.back(), packetFrames.front());

    if (c.channels <= 2) {
        EXPECT_TRUE(ours == reference) << "first difference at byte "
                                       << (std::mismatch(ours.begin(), ours.end(), reference.begin()).first - ours.begin());
        return;
    }
    // ffmpeg delivers multichannel streams in its own channel order; each of our channels must
    // equal exactly one of its channels.
    std::vector<bool> used(channels, false);
    for (int ch = 0; ch < c.channels; ++ch) {
        const std::vector<uint8_t> column = Column(ours, c.channels, bytes, ch);
        bool found = false;
        for (int ref = 0; ref < c.channels && !found; ++ref) {
            if (!used[ref] && Column(reference, c.channels, bytes, ref) == column) {
                used[ref] = true;
                found = true;
            }
        }
        EXPECT_TRUE(found) << "channel " << ch << " matches no reference channel";
    }
}

const EncodeCase kEncodeCases[] = {
    {"mono16_8k", "mono", 1, 8000, 16, "tone", 1.3, ""},
    {"stereo16_44k", "stereo", 2, 44100, 16, "tone", 1.0, ""},
    {"stereo16_noise", "stereo", 2, 44100, 16, "noise", 0.5, ""},
    {"mono16_noise", "mono", 1, 22050, 16, "noise", 0.5, ""},
    {"stereo24_96k", "stereo", 2, 96000, 24, "tone", 0.7, ""},
    {"stereo24_192k_noise", "stereo", 2, 192000, 24, "noise", 0.3, ""},
    {"mono24_48k", "mono", 1, 48000, 24, "tone", 0.6, ""},
    {"stereo16_silence", "stereo", 2, 44100, 16, "silence", 0.5, ""},
    {"mono24_silence", "mono", 1, 48000, 24, "silence", 0.5, ""},
    {"ch3_16", "3.0", 3, 48000, 16, "tone", 0.3, ""},
    {"ch4_16", "4.0", 4, 48000, 16, "tone", 0.3, ""},
    {"ch5_16", "5.0", 5, 48000, 16, "tone", 0.3, ""},
    {"ch6_16", "5.1", 6, 48000, 16, "tone", 0.3, ""},
    {"ch7_16", "6.1(back)", 7, 48000, 16, "tone", 0.3, ""},
    {"ch8_16", "7.1(wide)", 8, 48000, 16, "tone", 0.3, ""},
    {"ch6_24", "5.1", 6, 96000, 24, "tone", 0.3, ""},
    {"frame1024", "stereo", 2, 44100, 16, "tone", 0.5, "-frame_size 1024"},
    {"frame352_24", "stereo", 2, 48000, 24, "tone", 0.5, "-frame_size 352"},
    {"order1to30", "stereo", 2, 44100, 16, "tone", 0.5, "-min_prediction_order 1 -max_prediction_order 30"},
    {"order8", "stereo", 2, 44100, 24, "tone", 0.5, "-min_prediction_order 8 -max_prediction_order 8"},
    {"order4", "mono", 1, 44100, 16, "tone", 0.5, "-min_prediction_order 4 -max_prediction_order 4"},
    {"order1", "stereo", 2, 44100, 16, "tone", 0.5, "-min_prediction_order 1 -max_prediction_order 1"},
};

INSTANTIATE_TEST_SUITE_P(Streams, AlacMatchesFfmpeg, testing::ValuesIn(kEncodeCases),
                         [](const testing::TestParamInfo<EncodeCase>& row) { return std::string(row.param.name); });

}  // namespace

namespace {

// Streams from another encoder, remuxed without re-encoding into CAF; the expected MD5 of the
// s16le decode is listed with each fixture.
struct FixtureCase {
    const char* file;
    const char* md5;
    uint64_t frames;
};

class AlacFixture : public testing::TestWithParam<FixtureCase> {};

TEST_P(AlacFixture, DecodesToTheListedMd5) {
    const FixtureCase& c = GetParam();
    const std::string source = testfiles::SharedFixture(c.file);
    if (source.empty()) {
        GTEST_SKIP() << c.file << " not present";
    }
    const std::string dir = testfiles::ScratchDir();
    const std::string caf = dir + "/stream.caf";
    ASSERT_TRUE(testfiles::Run(testfiles::Ffmpeg() + " -i '" + source + "' -map 0:a:0 -c copy -f caf " + caf));
    alactest::CafStream stream;
    std::string error;
    ASSERT_TRUE(alactest::ReadCafStream(caf, &stream, &error)) << error;
    uint32_t bitDepth = 0;
    uint32_t channels = 0;
    const std::vector<uint8_t> pcm = alactest::DecodeCafStream(stream, &bitDepth, &channels);
    ASSERT_EQ(bitDepth, 16u);
    EXPECT_EQ(pcm.size(), c.frames * channels * 2);
    ASSERT_TRUE(testfiles::WriteAll(dir + "/pcm", pcm));
    const std::string md5 = testfiles::Capture("md5sum " + dir + "/pcm");
    EXPECT_EQ(md5.substr(0, 32), c.md5);
}

const FixtureCase kFixtures[] = {
    {"rw_qaac_alac_s16_st_44k.m4a", "666a89e0fcc4bfccefe7a3c247ff6e1a", 93624},
    {"rw_itunes11_alac_silence.m4a", "a1b141f766e9849ac3db1030a20a3c77", 162496},
};

INSTANTIATE_TEST_SUITE_P(RealWorld, AlacFixture, testing::ValuesIn(kFixtures),
                         [](const testing::TestParamInfo<FixtureCase>& row) {
                             std::string name = row.param.file;
                             return name.substr(3, name.find('.') - 3);
                         });

}  // namespace

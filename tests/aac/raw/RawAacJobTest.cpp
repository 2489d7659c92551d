// The raw ADTS/ADIF job driven by the test host: sample-exact gapless output against an
// independent decode, channel order, trailing tags, the error policy, progress and cancel.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "RawTestMaterial.h"
#include "TestFiles.h"
#include "TestHost.h"

namespace {

using rawtest::Bytes;

// Anything that does not open as MP4 reaches the raw job through Decode.
testhost::JobRecord RunRaw(const std::string& path, int cancelAt = -1) {
    testhost::RunOptions options;
    options.cancelAt = cancelAt;
    return testhost::RunJob(path, options);
}

// Message roles of the test host: failed, done, block, format.
std::vector<int> Roles(const testhost::JobRecord& r) {
    std::vector<int> roles;
    for (const testhost::Message& m : r.messages) roles.push_back(static_cast<int>(m.id - testhost::MessageId(0, 0)));
    return roles;
}
constexpr int kFailed = 0, kDone = 1, kBlock = 2, kFormat = 3;

// Format, any number of blocks, then `final`.
void ExpectSequence(const testhost::JobRecord& r, int final, bool blocksExpected) {
    const std::vector<int> roles = Roles(r);
    ASSERT_GE(roles.size(), 2u);
    EXPECT_EQ(roles.front(), kFormat);
    EXPECT_EQ(roles.back(), final);
    for (size_t i = 1; i + 1 < roles.size(); ++i) EXPECT_EQ(roles[i], kBlock) << i;
    EXPECT_EQ(roles.size() > 2, blocksExpected);
    EXPECT_EQ(r.finalMessages, 1);
    EXPECT_TRUE(r.threadEnded);
}

struct LayoutCase {
    const char* layout;
    uint32_t channels;     // as FAAD2 delivers them (mono comes out as two equal channels)
    uint32_t encoded;      // channels in the file
    uint32_t sampleRate;
    uint32_t frames;       // N
};

TEST(GaplessLayouts, TagWithGaplessDataDeliversExactlyTheInput) {
    for (const LayoutCase& c : {LayoutCase{"mono", 2, 1, 48000, 30000}, LayoutCase{"stereo", 2, 2, 44100, 44100},
                                LayoutCase{"5.1", 6, 6, 48000, 24000}, LayoutCase{"7.1", 8, 8, 48000, 24000}}) {
        SCOPED_TRACE(c.layout);
        const std::string adts = rawtest::AdtsFile(c.layout, c.sampleRate, c.frames);
        const Bytes stream = testfiles::ReadAll(adts);
        const size_t aacFrames = rawtest::SplitAdts(stream).size();
        // ffmpeg's encoder: 1024 frames of delay, the rest of the last AAC frame is padding.
        const uint32_t padding = static_cast<uint32_t>(aacFrames * 1024 - 1024 - c.frames);
        ASSERT_GT(padding, 0u);
        const std::string path = rawtest::Write(std::string("gapless_") + c.layout + ".aac",
                                                rawtest::Concat({rawtest::Id3WithSmpb(1024, padding, c.frames), stream}));
        const testhost::JobRecord r = RunRaw(path);
        ExpectSequence(r, kDone, true);
        EXPECT_EQ(r.format.channels, c.channels);
        EXPECT_EQ(r.format.sampleRate, c.sampleRate);
        EXPECT_EQ(r.format.bitsPerSample, 32u);  // float and lossy: RoutingTest
        for (uint32_t size : r.blockSizes) EXPECT_LE(size, 65536u);

        const std::vector<float> got = testhost::AsFloats(r);
        ASSERT_EQ(got.size(), size_t{c.frames} * c.channels);

        // ffmpeg's decode without its first 1024 frames, in the host's channel order (ffmpeg's for
        // these layouts); channel c was encoded at amplitude 0.1 * (c + 1).
        const std::vector<float> ref = testfiles::FfmpegFloats(adts);
        ASSERT_GE(ref.size(), (size_t{c.frames} + 1024) * c.encoded);
        double worst = 0;
        for (uint32_t f = 0; f < c.frames; ++f) {
            for (uint32_t ch = 0; ch < c.channels; ++ch) {
                const float want = ref[(size_t{f} + 1024) * c.encoded + (c.encoded == 1 ? 0 : ch)];
                worst = std::max(worst, static_cast<double>(std::fabs(got[size_t{f} * c.channels + ch] - want)));
            }
        }
        EXPECT_LT(worst, 1e-3);
    }
}

const std::string& Stereo() {
    static const std::string path = rawtest::AdtsFile("stereo", 44100, 44100);
    return path;
}
size_t StereoAacFrames() { return rawtest::SplitAdts(testfiles::ReadAll(Stereo())).size(); }

TEST(RawAacJob, LengthWithoutUsableGaplessData) {
    // The default delay of 1024 drops the first frame's output: everything else is delivered,
    // the padding included.
    const size_t all = (StereoAacFrames() - 1) * 1024;
    const Bytes adts = testfiles::ReadAll(Stereo());
    struct Row {
        const char* name;
        Bytes file;
        size_t frames;
    };
    const Row rows[] = {
        {"NoTag", adts, all},
        {"PaddingZeroIgnored", rawtest::Concat({rawtest::Id3WithSmpb(1024, 0, 44100), adts}), all},
        {"JunkBeforeSync", rawtest::Concat({Bytes(700, 0x22), adts}), all},
        // A delay of 2112 is applied as found.
        {"DelayFromTag", rawtest::Concat({rawtest::Id3WithSmpb(2112, 1, 44100), adts}), all + 1024 - 2112 - 1},
        // More padding than audio: nothing at all is delivered.
        {"PaddingBeyondAudio", rawtest::Concat({rawtest::Id3WithSmpb(1024, 100000, 44100), adts}), 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const testhost::JobRecord r = RunRaw(rawtest::Write(std::string("len_") + row.name + ".aac", row.file));
        ExpectSequence(r, kDone, row.frames != 0);
        EXPECT_EQ(r.pcm.size(), row.frames * 2 * 4);
    }
}

Bytes CorruptFrame(const Bytes& adts, size_t index) {
    std::vector<Bytes> frames = rawtest::SplitAdts(adts);
    // 0x55 throughout the payload makes FAAD2 report an error for the frame.
    std::fill(frames.at(index).begin() + 7, frames.at(index).end(), 0x55);
    return rawtest::Join(frames);
}

TEST(RawAacJob, ErrorPolicy) {
    const Bytes adts = testfiles::ReadAll(Stereo());

    // First frame bad: the probe fails before the format is known.
    const testhost::JobRecord first = RunRaw(rawtest::Write("bad_first.aac", CorruptFrame(adts, 0)));
    EXPECT_EQ(Roles(first), std::vector<int>{kFailed});

    // Tenth frame bad: frames 1 to 9 are decoded (the first is the delay), then the job ends well.
    const testhost::JobRecord tenth = RunRaw(rawtest::Write("bad_tenth.aac", CorruptFrame(adts, 9)));
    ExpectSequence(tenth, kDone, true);
    EXPECT_EQ(tenth.pcm.size(), size_t{8} * 1024 * 2 * 4);

    // The sync search looks only for ADTS: a stream without such a pattern in its first 1024 bytes
    // (ADIF, bare frames, junk) starts 1024 bytes in, where no frame decodes.
    for (const auto& [name, bytes] : {std::pair{"under10", Bytes{0xFF, 0xF1, 0x50, 0x80, 0, 0x1F, 0xFC}},
                                      std::pair{"junk", Bytes(5000, 0x00)},
                                      std::pair{"tag only", rawtest::Id3WithSmpb(1024, 956, 44100)}}) {
        const testhost::JobRecord r = RunRaw(rawtest::Write(std::string("bad_") + name, bytes));
        EXPECT_EQ(Roles(r), std::vector<int>{kFailed}) << name;
        EXPECT_TRUE(r.threadEnded) << name;
    }
}

TEST(RawAacJob, ProgressAndCancel) {
    const testhost::JobRecord r = RunRaw(Stereo());
    ExpectSequence(r, kDone, true);
    ASSERT_FALSE(r.progress.empty());
    for (size_t i = 1; i < r.progress.size(); ++i) EXPECT_GE(r.progress[i], r.progress[i - 1]);
    // At the end every decoded frame has been counted: frames * 1024 / 44100 s of the estimated
    // frames * 1024 / 44100 s (truncated to whole milliseconds).
    const size_t frames = StereoAacFrames();
    const double decodedMs = static_cast<double>(frames * 1024) * 1000.0 / 44100.0;
    const int32_t lengthMs = static_cast<int32_t>(frames * 1024 * 1000 / 44100);
    EXPECT_NEAR(r.progress.back(), decodedMs * 100.0 / lengthMs, 1e-9);
    EXPECT_GT(r.progress.front(), 0.0);
    // Cancelled at the format or the first block: no further message.
    EXPECT_EQ(Roles(RunRaw(Stereo(), 0)), std::vector<int>{kFormat});
    EXPECT_EQ(Roles(RunRaw(Stereo(), 1)), (std::vector<int>{kFormat, kBlock}));
}

}  // namespace

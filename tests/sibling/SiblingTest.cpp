// The sibling module zorv_ffmpeg: tracks only it decodes, through zorv-decode against ffmpeg's
// own decode of the same file, and the module's hand-over to it as a host sees it.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>

#include "TestFiles.h"
#include "TestHost.h"

namespace {

using testfiles::Ffmpeg;

// A file of distinct tones per channel (so that any channel mix-up shows), encoded as asked.
std::string Material(const std::string& name, const std::string& layout, int channels, int rate,
                     const std::string& encode) {
    return testfiles::Generated(name, [&](const std::string& out) {
        std::string tones;
        for (int c = 0; c < channels; ++c) tones += (c ? "|" : "") + ("0.4*sin(2*PI*" + std::to_string(300 + 110 * c) + "*t)");
        return testfiles::Run(Ffmpeg() + " -f lavfi -i \"aevalsrc=" + tones + ":c=" + layout + ":s=" +
                              std::to_string(rate) + ":d=1.5\" " + encode + " -strict -2 -f mp4 " + out);
    });
}

std::vector<float> Floats(const std::string& path) {
    const std::vector<uint8_t> bytes = testfiles::ReadAll(path);
    std::vector<float> out(bytes.size() / 4);
    if (!out.empty()) std::memcpy(out.data(), bytes.data(), out.size() * 4);
    return out;
}

TEST(Sibling, DecodesWhatTheModuleHandsOverAsFfmpegDoes) {
    struct Row {
        const char* file;
        const char* layout;
        int channels;
        int rate;
        const char* encode;
        const char* codec;      // in --info's track list
        bool lossless;
        const char* reference;  // ffmpeg's decode of the file, in the host's channel order
    } rows[] = {
        {"sib-mp3.m4a", "stereo", 2, 44100, "-c:a libmp3lame", "MP3 (MPEG audio layer 3)", false, ""},
        {"sib-opus.mp4", "stereo", 2, 48000, "-c:a libopus", "Opus (Opus Interactive Audio Codec)", false, ""},
        {"sib-flac.mp4", "stereo", 2, 44100, "-c:a flac", "FLAC (Free Lossless Audio Codec)", true, ""},
        {"sib-ac3-51.mp4", "5.1", 6, 48000, "-c:a ac3", "ATSC A/52A (AC-3)", false, ""},
        // The module's own jobs deliver 3 channels centre first.
        {"sib-flac-30.mp4", "3.0", 3, 48000, "-c:a flac", "FLAC (Free Lossless Audio Codec)", true, "-af \"channelmap=map=FC|FL|FR\""},
    };
    const std::string dir = testfiles::ScratchDir();
    for (const Row& row : rows) {
        const std::string input = Material(row.file, row.layout, row.channels, row.rate, row.encode);
        const std::string info = testfiles::Capture(testfiles::BinDir() + "/zorv-decode --info " + input);
        EXPECT_NE(info.find(std::to_string(row.channels) + " channels, " + std::to_string(row.rate) + " Hz, 32-bit float" +
                            (row.lossless ? ", lossless\n" : "\n")),
                  std::string::npos) << info;
        EXPECT_NE(info.find("track 1: " + std::string(row.codec)), std::string::npos) << info;

        ASSERT_TRUE(testfiles::Run(testfiles::BinDir() + "/zorv-decode -q -f raw -o " + dir + "/ours.pcm " + input));
        ASSERT_TRUE(testfiles::Run(Ffmpeg() + " -i " + input + " " + row.reference + " -f f32le " + dir + "/ref.pcm"));
        const std::vector<float> ours = Floats(dir + "/ours.pcm");
        const std::vector<float> reference = Floats(dir + "/ref.pcm");
        std::printf("%s: %zu frames, ffmpeg %zu\n", row.file, ours.size() / row.channels, reference.size() / row.channels);
        ASSERT_EQ(ours.size(), reference.size()) << row.file;
        ASSERT_GT(ours.size(), static_cast<size_t>(row.rate)) << row.file;
        size_t differing = 0;
        for (size_t i = 0; i < ours.size(); ++i) differing += std::fabs(ours[i] - reference[i]) > 1e-6f;
        EXPECT_EQ(differing, 0u) << row.file;
    }
}

// Puts the built sibling beside this program, where the module's LoadLibraryW looks first, or
// takes it away (unlinked, never truncated: a loaded copy stays mapped).
void PlaceSibling(bool present) {
    const std::string beside = std::string(ZORV_SIBLING_HOST_DIR) + "/libzorv_ffmpeg.so";
    std::remove(beside.c_str());
    if (present) {
        ASSERT_TRUE(testfiles::WriteAll(beside, testfiles::ReadAll(testfiles::BinDir() + "/libzorv_ffmpeg.so")));
    }
}

// One track without an AAC configuration (Opus) and one AAC track whose samples all lie in
// fragments: the AAC job's two hand-over points.
TEST(Sibling, HandOverFromTheModule) {
    const std::string opus = Material("sib-opus.mp4", "stereo", 2, 48000, "-c:a libopus");
    const std::string fragmented =
        Material("sib-frag-aac.mp4", "stereo", 2, 44100, "-c:a aac -movflags frag_keyframe+empty_moov");
    const std::string flac = Material("sib-flac.mp4", "stereo", 2, 44100, "-c:a flac");

    PlaceSibling(false);
    testhost::JobRecord missing = testhost::RunJob(opus);
    ASSERT_EQ(missing.messages.size(), 1u);
    EXPECT_EQ(missing.final, testhost::Final::Failed);
    EXPECT_EQ(missing.messages[0].wParam, 0u);
    EXPECT_EQ(missing.messages[0].lParam, 0);

    // A failed load is tried again; then 32 jobs at once, over both hand-over points.
    PlaceSibling(true);
    const testhost::JobRecord whole = testhost::RunJob(flac);
    std::vector<std::string> paths;
    for (int i = 0; i < 32; ++i) paths.push_back(i % 2 ? opus : fragmented);
    std::vector<testhost::JobRecord> records = testhost::RunJobs(paths);
    for (size_t k = 0; k < records.size(); ++k) {
        const testhost::JobRecord& r = records[k];
        // Only the sibling's job posts after a hand-over, with job k's ids; our thread ends after it.
        ASSERT_TRUE(r.gotFormat) << k;
        EXPECT_EQ(r.format.sampleRate, k % 2 ? 48000u : 44100u) << k;
        EXPECT_EQ(r.format.isFloat, 1u);
        EXPECT_EQ(r.final, testhost::Final::Done) << k;
        EXPECT_EQ(r.finalMessages, 1) << k;
        EXPECT_EQ(r.exitCode, 0u) << k;
        EXPECT_EQ(r.pcm.size(), records[k % 2].pcm.size()) << k;
        for (size_t b = 0; b < r.blocks.size(); ++b) {
            EXPECT_LE(r.blockSizes[b], 65536u);
            EXPECT_EQ(r.blockSizes[b] % 8, 0u) << "whole sample frames";
            EXPECT_GE(r.progress[b], b ? r.progress[b - 1] : 0.0);
        }
    }
    EXPECT_GE(records[0].pcm.size(), 44100u * 8);

    // Cancelled at the format and at the first block: the job ends without another message.
    for (int cancelAt : {0, 1}) {
        testhost::RunOptions options;
        options.cancelAt = cancelAt;
        testhost::JobRecord r = testhost::RunJob(opus, options);
        EXPECT_EQ(r.finalMessages, 0) << cancelAt;
        EXPECT_EQ(r.blocks.size(), static_cast<size_t>(cancelAt)) << cancelAt;
        EXPECT_TRUE(r.threadEnded);
    }

    // The module stays loaded: with the file gone, a start time inside the lossless track. The
    // sibling starts at the frame before it and writes back how far before; the host drops that
    // much and has exactly the full decode from 1.2 s on.
    PlaceSibling(false);
    testhost::RunOptions options;
    options.useStartPosition = true;
    options.startValue = 12000000;
    testhost::JobRecord from = testhost::RunJob(flac, options);
    ASSERT_EQ(from.final, testhost::Final::Done);
    EXPECT_GT(from.startValueAtFormat, 0u);
    EXPECT_LT(from.startValueAtFormat, 1200000u) << "less than one 4608-frame packet";
    const size_t dropBytes = static_cast<size_t>(std::llround(static_cast<double>(from.startValueAtFormat) * 44100e-7)) * 8;
    ASSERT_EQ(from.pcm.size() - dropBytes, whole.pcm.size() - 52920 * 8);
    EXPECT_TRUE(std::equal(from.pcm.begin() + static_cast<long>(dropBytes), from.pcm.end(),
                           whole.pcm.begin() + 52920 * 8));
}

}  // namespace

// The sibling module zorv_ffmpeg: tracks only it decodes, through zorv-decode against ffmpeg's
// own decode of the same file, and the module's hand-over to it as a host sees it.
#include <gtest/gtest.h>
#ifndef _WIN32
#include <dlfcn.h>
#endif

#include <atomic>
#include <cmath>
#include <cstdio>

#include "TestFiles.h"
#include "TestHost.h"

namespace {

using testfiles::Ffmpeg;

struct Source {
    const char* file;
    const char* layout;
    int channels;
    int rate;
    const char* encode;
};
const Source kMp3{"sib-mp3.m4a", "stereo", 2, 44100, "-c:a libmp3lame"};
const Source kOpus{"sib-opus.mp4", "stereo", 2, 48000, "-c:a libopus"};
const Source kAc3{"sib-ac3-51.mp4", "5.1", 6, 48000, "-c:a ac3"};
const Source kFlac51{"sib-flac-51.mp4", "5.1", 6, 44100, "-c:a flac"};  // frames of 110 KB: several blocks
const Source kFlac30{"sib-flac-30.mp4", "3.0", 3, 48000, "-c:a flac"};
const Source kFragmentedAac{"sib-frag-aac.mp4", "stereo", 2, 44100, "-c:a aac -movflags frag_keyframe+empty_moov"};

// 1.5 s of a distinct tone per channel (so that any channel mix-up shows), encoded as asked.
std::string Make(const Source& source) {
    std::string tones;
    for (int c = 0; c < source.channels; ++c) {
        tones += (c ? "|0.4*sin(2*PI*" : "0.4*sin(2*PI*") + std::to_string(300 + 110 * c) + "*t)";
    }
    return testfiles::FfmpegFile(source.file, "-f lavfi -i \"aevalsrc=" + tones + ":c=" + source.layout + ":s=" +
                                                  std::to_string(source.rate) + ":d=1.5\" " + source.encode + " -strict -2 -f mp4");
}

TEST(Sibling, DecodesWhatTheModuleHandsOverAsFfmpegDoes) {
    struct Row {
        Source source;
        const char* codec;      // in --info's track list
        bool lossless;
        const char* reference;  // ffmpeg's decode of the file, in the host's channel order
    } rows[] = {
        {kMp3, "MP3 (MPEG audio layer 3)", false, ""},
        {kOpus, "Opus (Opus Interactive Audio Codec)", false, ""},
        {kAc3, "ATSC A/52A (AC-3)", false, ""},
        {kFlac51, "FLAC (Free Lossless Audio Codec)", true, ""},
        // The module's own jobs deliver 3 channels centre first.
        {kFlac30, "FLAC (Free Lossless Audio Codec)", true, "-af \"channelmap=map=FC|FL|FR\""},
    };
    const std::string dir = testfiles::ScratchDir();
    for (const Row& row : rows) {
        const Source& source = row.source;
        const std::string input = Make(source);
        const std::string info = testfiles::Capture(testfiles::BinDir() + "/zorv-decode --info " + input);
        EXPECT_NE(info.find(std::to_string(source.channels) + " channels, " + std::to_string(source.rate) +
                            " Hz, 32-bit float" + (row.lossless ? ", lossless\n" : "\n")),
                  std::string::npos) << info;
        EXPECT_NE(info.find("track 1: " + std::string(row.codec)), std::string::npos) << info;

        ASSERT_TRUE(testfiles::Run(testfiles::BinDir() + "/zorv-decode -q -f raw -o " + dir + "/ours.pcm " + input));
        ASSERT_TRUE(testfiles::Run(Ffmpeg() + " -i " + input + " " + row.reference + " -f f32le " + dir + "/ref.pcm"));
        const std::vector<float> ours = testfiles::Floats(testfiles::ReadAll(dir + "/ours.pcm"));
        const std::vector<float> reference = testfiles::Floats(testfiles::ReadAll(dir + "/ref.pcm"));
        ASSERT_EQ(ours.size(), reference.size()) << source.file;
        ASSERT_GT(ours.size(), static_cast<size_t>(source.rate * source.channels)) << source.file;
        size_t differing = 0;
        for (size_t i = 0; i < ours.size(); ++i) differing += std::fabs(ours[i] - reference[i]) > 1e-6f;
        EXPECT_EQ(differing, 0u) << source.file;
    }
}

std::atomic<int> moduleLoads{0};

}  // namespace

#ifndef _WIN32
// The module linked into this program calls this; the platform's LoadLibraryW does the work.
// (Windows' loader cannot be interposed on; there the load count goes unchecked.)
extern "C" HMODULE LoadLibraryW(LPCWSTR name) {
    ++moduleLoads;
    static const auto load = reinterpret_cast<HMODULE (*)(LPCWSTR)>(dlsym(RTLD_NEXT, "LoadLibraryW"));
    return load(name);
}
#endif

namespace {

#ifdef _WIN32
const char kSiblingFile[] = "/zorv_ffmpeg.dll";
#else
const char kSiblingFile[] = "/libzorv_ffmpeg.so";
#endif

// Puts the built sibling beside this program, where the module's LoadLibraryW looks first, or
// takes it away (unlinked, never truncated: a loaded copy stays mapped).
void PlaceSibling(bool present) {
    const std::string beside = ZORV_SIBLING_HOST_DIR + std::string(kSiblingFile);
    std::remove(beside.c_str());
    if (present) {
        ASSERT_TRUE(testfiles::WriteAll(beside, testfiles::ReadAll(testfiles::BinDir() + kSiblingFile)));
    }
}

// FLAC has no AAC configuration, the fragmented AAC track no samples in its table: the AAC
// job's two hand-over points.
TEST(Sibling, HandOverFromTheModule) {
    const std::string flac = Make(kFlac51);
    const std::string fragmented = Make(kFragmentedAac);

    PlaceSibling(false);
    testhost::JobRecord missing = testhost::RunJob(flac);
    ASSERT_EQ(missing.messages.size(), 1u);
    EXPECT_EQ(missing.final, testhost::Final::Failed);
    EXPECT_EQ(missing.messages[0].wParam, 0u);
    EXPECT_EQ(missing.messages[0].lParam, 0);

    // A failed load is tried again; then 32 jobs at once, over both hand-over points.
    PlaceSibling(true);
    std::vector<std::string> paths;
    for (int i = 0; i < 32; ++i) paths.push_back(i % 2 ? flac : fragmented);
    std::vector<testhost::JobRecord> records = testhost::RunJobs(paths);
    for (size_t k = 0; k < records.size(); ++k) {
        const testhost::JobRecord& r = records[k];
        // Only the sibling's job posts after a hand-over, with job k's ids; our thread ends after it.
        ASSERT_TRUE(r.gotFormat) << k;
        EXPECT_EQ(r.format.channels, k % 2 ? 6u : 2u) << k;
        EXPECT_EQ(r.format.lossySource, k % 2 ? 0 : 1) << k;
        EXPECT_EQ(r.final, testhost::Final::Done) << k;
        EXPECT_EQ(r.finalMessages, 1) << k;
        EXPECT_EQ(r.exitCode, 0u) << k;
        EXPECT_EQ(r.pcm.size(), records[k % 2].pcm.size()) << k;
        for (size_t b = 0; b < r.blocks.size(); ++b) {
            EXPECT_LE(r.blockSizes[b], 65536u);
            EXPECT_EQ(r.blockSizes[b] % (r.format.channels * 4), 0u) << "whole sample frames";
            EXPECT_GE(r.progress[b], b ? r.progress[b - 1] : 0.0);
        }
    }
    [[maybe_unused]] const int loadsAfterBatch = moduleLoads;
    EXPECT_EQ(records[1].pcm.size(), 66150u * 24);
    EXPECT_GE(records[0].pcm.size(), 66150u * 8);

    // Sound tracks counted without the video track; 0 takes the first the sibling decodes.
    const std::string tracks = testfiles::FfmpegFile("sib-video-mp3-opus.mp4", "-f lavfi -i color=s=64x64:d=1 -f lavfi -i "
        "sine=r=44100:d=1 -f lavfi -i sine=r=48000:d=1 -map 0 -map 1 -map 2 -c:v mpeg4 -c:a:0 libmp3lame -c:a:1 libopus");
    for (uint32_t track : {0u, 2u, 3u}) {
        testhost::RunOptions options;
        options.trackNumber = track;
        options.cancelAt = 0;
        testhost::JobRecord r = testhost::RunJob(tracks, options);
        EXPECT_EQ(r.format.sampleRate, track == 0 ? 44100u : track == 2 ? 48000u : 0u) << track;
        EXPECT_EQ(r.finalMessages, track == 3 ? 1 : 0) << track;
    }

    // Cancelled at the format and at the first block: the job ends without another message.
    for (int cancelAt : {0, 1}) {
        testhost::RunOptions options;
        options.cancelAt = cancelAt;
        testhost::JobRecord r = testhost::RunJob(flac, options);
        EXPECT_EQ(r.finalMessages, 0) << cancelAt;
        EXPECT_EQ(r.blocks.size(), static_cast<size_t>(cancelAt)) << cancelAt;
        EXPECT_TRUE(r.threadEnded);
    }

    // A start time inside the lossless track: the sibling starts at the packet before it and
    // writes back how far before (less than one 4608-frame packet, in 100 ns units rounded down);
    // the host drops that much and has the full decode from 1.2 s (frame 52920) on.
    testhost::RunOptions options;
    options.useStartPosition = true;
    options.startValue = 12000000;
    testhost::JobRecord from = testhost::RunJob(flac, options);
    ASSERT_EQ(from.final, testhost::Final::Done);
    EXPECT_TRUE(from.startValueAtFormat > 0 && from.startValueAtFormat < 1044898u) << from.startValueAtFormat;
    const auto dropFrames = static_cast<uint64_t>(std::llround(static_cast<double>(from.startValueAtFormat) * 441e-5));
    EXPECT_EQ(from.startValueAtFormat, dropFrames * 10000000 / 44100);
    const std::vector<uint8_t> tail(from.pcm.begin() + static_cast<long>(dropFrames * 24), from.pcm.end());
    EXPECT_TRUE(tail == std::vector<uint8_t>(records[1].pcm.begin() + 52920 * 24, records[1].pcm.end()));
#ifndef _WIN32
    EXPECT_EQ(moduleLoads, loadsAfterBatch) << "both hand-over points keep the module they loaded";
#endif
}

}  // namespace

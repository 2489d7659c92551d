// The lossless job end to end: ALAC in M4A made by ffmpeg (every channel count, depth, frame
// length and prediction order its encoder offers, tones, noise that forces uncompressed frames
// and silence), driven through the test host like the real host drives it, PCM compared with
// ffmpeg's decode bit for bit in the host's channel order; then seeking, cancelling, track
// choice and the real-world fixtures.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "AlacJob.h"
#include "DecodeJob.h"
#include "TestFiles.h"
#include "TestHost.h"

namespace {

using testhost::Final;
using testhost::JobRecord;
using testhost::RunOptions;

// Starts the lossless job directly, the way Decode does once its probe has said "ALAC", so
// these tests do not depend on the probe.
void* StartAlacJob(const WCHAR* path, DWORD hostThreadId, uint64_t* startPosition, UINT msgFailed,
                   UINT msgDone, UINT msgBlock, UINT msgFormat, DWORD trackNumber) {
    DecodeJob* job = NewDecodeJob(path, hostThreadId, startPosition, msgFailed, msgDone, msgBlock, msgFormat,
                                  trackNumber);
    return job ? StartDecodeJob(job, RunAlacJob) : nullptr;
}

JobRecord RunAlac(const std::string& path, RunOptions options = {}) {
    options.decode = &StartAlacJob;
    return testhost::RunJob(path, options);
}

std::vector<uint8_t> FfmpegPcm(const std::string& file, const std::string& format, const std::string& map = "0:a:0") {
    return testfiles::ReadAll(testfiles::FfmpegFile(file.substr(file.rfind('/') + 1) + "." + map.substr(4) + "." + format,
                                                    "-i " + file + " -map " + map + " -f " + format));
}

// Host channel k holds ffmpeg's channel kFfmpegChannel[n][k] of an n-channel stream: both put
// 5.0 and 5.1 in the same order, the rest differ by these fixed permutations.
const std::vector<int> kFfmpegChannel[9] = {
    {}, {0}, {0, 1}, {2, 0, 1}, {2, 0, 1, 3}, {0, 1, 2, 3, 4}, {0, 1, 2, 3, 4, 5}, {0, 1, 2, 3, 6, 4, 5},
    {6, 7, 2, 3, 4, 5, 0, 1},
};

std::vector<uint8_t> InHostOrder(const std::vector<uint8_t>& pcm, int channels, int bytes) {
    std::vector<uint8_t> out(pcm.size());
    const size_t frameBytes = static_cast<size_t>(channels) * bytes;
    for (size_t f = 0; f + frameBytes <= pcm.size(); f += frameBytes)
        for (int k = 0; k < channels; ++k)
            std::memcpy(&out[f + static_cast<size_t>(k) * bytes], &pcm[f + static_cast<size_t>(kFfmpegChannel[channels][k]) * bytes],
                        static_cast<size_t>(bytes));
    return out;
}

void ExpectCleanEnd(const JobRecord& r, Final final) {
    EXPECT_TRUE(r.threadEnded);
    EXPECT_EQ(r.final, final);
    EXPECT_EQ(r.finalMessages, final == Final::None ? 0 : 1);
}

struct StreamCase {
    const char* name;
    const char* layout;  // ffmpeg channel layout
    int channels, rate, bits;
    const char* signal;  // "tone" (each channel its own), "noise" (no compression: verbatim frames), "silence"
    double seconds;
    const char* encoderArgs;  // ffmpeg 5.1's encoder ignores -frame_size: every packet holds 4096 frames
};

std::string Source(const StreamCase& c) {
    const std::string rate = std::to_string(c.rate), seconds = std::to_string(c.seconds);
    if (std::string(c.signal) == "noise")
        return "anoisesrc=seed=1:a=1:r=" + rate + ":d=" + seconds + " -af aformat=channel_layouts=" + c.layout;
    if (std::string(c.signal) == "silence") return "anullsrc=r=" + rate + ":cl=" + c.layout + " -t " + seconds;
    std::string exprs;
    for (int ch = 0; ch < c.channels; ++ch) {
        exprs += (ch ? "|" : "") + std::string("0.4*sin(2*PI*") + std::to_string(180 + 97 * ch) +
                 "*t)*(0.6+0.4*sin(2*PI*3*t))+0.02*(random(" + std::to_string(ch) + ")-0.5)";
    }
    return "\"aevalsrc='" + exprs + "':c='" + c.layout + "':s=" + rate + ":d=" + seconds + "\"";
}

const StreamCase kStreams[] = {
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
    {"ch8_24", "7.1(wide)", 8, 48000, 24, "tone", 0.3, ""},
    {"order1to30", "stereo", 2, 44100, 16, "tone", 0.5, "-min_prediction_order 1 -max_prediction_order 30"},
    {"order8", "stereo", 2, 44100, 24, "tone", 0.5, "-min_prediction_order 8 -max_prediction_order 8"},
    {"order4", "mono", 1, 44100, 16, "tone", 0.5, "-min_prediction_order 4 -max_prediction_order 4"},
    {"order1", "stereo", 2, 44100, 16, "tone", 0.5, "-min_prediction_order 1 -max_prediction_order 1"},
    {"order2", "mono", 1, 44100, 24, "tone", 0.5, "-min_prediction_order 2 -max_prediction_order 2"},
    {"order3", "stereo", 2, 44100, 16, "tone", 0.5, "-min_prediction_order 3 -max_prediction_order 3"},
    {"order7", "stereo", 2, 44100, 24, "tone", 0.5, "-min_prediction_order 7 -max_prediction_order 7"},
};

TEST(AlacJobStreams, DeliversFfmpegsPcmInHostOrder) {
    for (const StreamCase& c : kStreams) {
        SCOPED_TRACE(c.name);
        const std::string m4a = testfiles::FfmpegFile(std::string("alac_") + c.name + ".m4a",
                                        "-f lavfi -i " + Source(c) + " -c:a alac -sample_fmt " + (c.bits == 16 ? "s16p" : "s32p") +
                                            " -bits_per_raw_sample " + std::to_string(c.bits) + " " + c.encoderArgs);
        ASSERT_FALSE(m4a.empty());
        const JobRecord r = RunAlac(m4a);
        ExpectCleanEnd(r, Final::Done);
        EXPECT_EQ(r.exitCode, 0u);
        ASSERT_TRUE(r.gotFormat);
        EXPECT_EQ(r.format.channels, static_cast<uint32_t>(c.channels));
        EXPECT_EQ(r.format.sampleRate, static_cast<uint32_t>(c.rate));
        EXPECT_EQ(r.format.bitsPerSample, static_cast<uint32_t>(c.bits));
        EXPECT_NE(r.format.jobThread, nullptr);

        const int bytes = c.bits / 8;
        const std::vector<uint8_t> expected = InHostOrder(FfmpegPcm(m4a, c.bits == 16 ? "s16le" : "s24le"), c.channels, bytes);
        EXPECT_EQ(expected.size(), static_cast<size_t>(c.seconds * c.rate + 0.5) * c.channels * bytes);
        ASSERT_EQ(r.pcm.size(), expected.size());
        EXPECT_TRUE(r.pcm == expected) << "first difference at byte "
                                       << (std::mismatch(r.pcm.begin(), r.pcm.end(), expected.begin()).first - r.pcm.begin());
        ASSERT_FALSE(r.progress.empty());
        EXPECT_TRUE(std::is_sorted(r.progress.begin(), r.progress.end()));
        EXPECT_DOUBLE_EQ(r.progress.back(), 100.0);
        // One block per packet: every block but the last is a full frame.
        for (size_t i = 0; i + 1 < r.blockSizes.size(); ++i) EXPECT_EQ(r.blockSizes[i], 4096u * c.channels * bytes) << i;
    }
}

// A stereo 48 kHz track of 4096-frame packets: 12288 frames = packets 1..3.
std::string SeekFile() {
    return testfiles::FfmpegFile("alacjob_seek.m4a", "-f lavfi -i \"anoisesrc=seed=5:a=0.2:r=48000:d=1.5\" -ac 2 -c:a alac -sample_fmt s16p");
}

TEST(AlacJobSeek, StartsAtThePacketAndWritesBackTheRemainder) {
    struct Row {
        const char* name;
        uint64_t startHns, writtenBack;
        size_t firstFrame;  // frame of the track where the delivered PCM starts
    } rows[] = {
        // 13290 frames = 3 x 4096 + 1002: 13290 / 48000 s = 2768750 hns; 1002 frames = 208750 hns.
        {"InsidePacket4", 2768750, 208750, 12288},
        {"OnPacketBoundary", 2560000, 0, 12288},
        // Past the end: no sample for that time, decoding from the start, value left alone.
        {"PastTheEnd", 600000000, 600000000, 0},
    };
    const std::string m4a = SeekFile();
    const std::vector<uint8_t> full = FfmpegPcm(m4a, "s16le");
    for (const Row& c : rows) {
        SCOPED_TRACE(c.name);
        RunOptions options;
        options.useStartPosition = true;
        options.startValue = c.startHns;
        const JobRecord r = RunAlac(m4a, options);
        ExpectCleanEnd(r, Final::Done);
        EXPECT_EQ(r.startValueAtFormat, c.writtenBack);
        ASSERT_LE(c.firstFrame * 4, full.size());
        EXPECT_TRUE(r.pcm == std::vector<uint8_t>(full.begin() + static_cast<long>(c.firstFrame * 4), full.end()));
    }
}

// Cancelling, track choice and the ways the job fails: the message sequence, exit code and PCM.
TEST(AlacJobTest, CancelTrackChoiceAndFailures) {
    // Track 1 is AAC, track 2 ALAC.
    const std::string twoTracks = testfiles::FfmpegFile("alacjob_two_tracks.m4a",
                                          "-f lavfi -i \"sine=f=300:r=44100:d=0.5\" -f lavfi -i \"sine=f=700:r=44100:d=0.6\" "
                                          "-map 0 -map 1 -c:a:0 aac -c:a:1 alac -sample_fmt:a:1 s16p");
    const std::vector<uint8_t> second = FfmpegPcm(twoTracks, "s16le", "0:a:1"), none;
    struct Row {
        std::string path;
        uint32_t trackNumber;
        int cancelAt;
        Final final;
        size_t messages, blocks;
        uint32_t exitCode;
        const std::vector<uint8_t>& pcm;
    } rows[] = {
        {SeekFile(), 0, 0, Final::None, 1, 0, 1, none},    // cancelled at the format: no message
        {SeekFile(), 0, 2, Final::Failed, 4, 2, 0, none},  // at block 2: format, block, block, failed
        {testfiles::ScratchDir() + "/absent.m4a", 0, -1, Final::Failed, 1, 0, 1, none},
        {testfiles::FfmpegFile("alacjob_aac_only.m4a", "-f lavfi -i \"sine=f=300:r=44100:d=0.3\" -c:a aac"), 0, -1, Final::Failed, 1, 0, 1, none},
        {twoTracks, 2, -1, Final::Done, 9, 7, 0, second},
        {twoTracks, 0, -1, Final::Done, 9, 7, 0, second},  // any track: the first one with a cookie
        {twoTracks, 1, -1, Final::Failed, 1, 0, 1, none},  // the AAC track
        {twoTracks, 3, -1, Final::Failed, 1, 0, 1, none},
    };
    for (const Row& c : rows) {
        SCOPED_TRACE(c.path + " track " + std::to_string(c.trackNumber) + " cancel " + std::to_string(c.cancelAt));
        RunOptions options;
        options.trackNumber = c.trackNumber;
        options.cancelAt = c.cancelAt;
        const JobRecord r = RunAlac(c.path, options);
        ExpectCleanEnd(r, c.final);
        EXPECT_EQ(r.messages.size(), c.messages);
        EXPECT_EQ(r.blockSizes.size(), c.blocks);
        EXPECT_EQ(r.exitCode, c.exitCode);
        EXPECT_TRUE(c.cancelAt >= 0 || r.pcm == c.pcm);
    }
}

// Files from other encoders, against ffmpeg's decode.
TEST(AlacJobTest, RealWorldFixturesMatchFfmpeg) {
    for (const char* file : {"rw_qaac_alac_s16_st_44k.m4a", "rw_itunes11_alac_silence.m4a"}) {
        const std::string path = testfiles::SharedFixture(file);
        if (path.empty()) GTEST_SKIP() << file << " not present";
        const JobRecord r = RunAlac(path);
        ExpectCleanEnd(r, Final::Done);
        ASSERT_FALSE(HasFailure()) << file;  // without a format there is nothing to reorder by
        const int bytes = static_cast<int>(r.format.bitsPerSample / 8), channels = static_cast<int>(r.format.channels);
        EXPECT_FALSE(r.pcm.empty()) << file;
        EXPECT_TRUE(r.pcm == InHostOrder(FfmpegPcm(path, bytes == 2 ? "s16le" : "s24le"), channels, bytes)) << file;
    }
}

}  // namespace

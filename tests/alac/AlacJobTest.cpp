// The lossless job end to end: ALAC in M4A made by ffmpeg, driven through the test host like
// the real host drives it, PCM compared with ffmpeg's decode bit for bit.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "AlacJob.h"
#include "CafFile.h"
#include "DecodeJob.h"
#include "TestFiles.h"
#include "TestHost.h"
#include "Win32Api.h"

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

std::string MakeM4a(const std::string& name, const std::string& args) {
    return testfiles::Generated(name, [&](const std::string& path) {
        return testfiles::Run(testfiles::Ffmpeg() + " " + args + " -f ipod " + path);
    });
}

std::vector<uint8_t> FfmpegPcm(const std::string& file, const std::string& format, const std::string& map = "0:a:0") {
    const std::string path = testfiles::Generated(
        file.substr(file.rfind('/') + 1) + "." + map.substr(4) + "." + format, [&](const std::string& out) {
            return testfiles::Run(testfiles::Ffmpeg() + " -i " + file + " -map " + map + " -f " + format + " " + out);
        });
    return testfiles::ReadAll(path);
}

// Our decoder's output in ALAC channel order, from the same packets remuxed into CAF.
std::vector<uint8_t> DecoderOrderPcm(const std::string& m4a) {
    const std::string caf = testfiles::Generated(m4a.substr(m4a.rfind('/') + 1) + ".caf", [&](const std::string& out) {
        return testfiles::Run(testfiles::Ffmpeg() + " -i " + m4a + " -map 0:a:0 -c copy -f caf " + out);
    });
    alactest::CafStream stream;
    std::string error;
    EXPECT_TRUE(alactest::ReadCafStream(caf, &stream, &error)) << error;
    uint32_t bits = 0;
    uint32_t channels = 0;
    return alactest::DecodeCafStream(stream, &bits, &channels);
}

// The host channel order: (source, destination) pairs per channel count.
const std::vector<std::pair<int, int>>& HostOrder(int channels) {
    static const std::vector<std::pair<int, int>> tables[4] = {
        {{1, 0}, {2, 1}, {0, 2}, {3, 3}, {4, 4}},
        {{1, 0}, {2, 1}, {0, 2}, {5, 3}, {3, 4}, {4, 5}},
        {{0, 2}, {1, 0}, {2, 1}, {3, 5}, {4, 6}, {5, 4}, {6, 3}},
        {{1, 0}, {2, 1}, {0, 2}, {7, 3}, {5, 4}, {6, 5}, {3, 6}, {4, 7}},
    };
    return tables[channels - 5];
}

std::vector<uint8_t> Reorder(const std::vector<uint8_t>& pcm, int channels, int bytes) {
    std::vector<uint8_t> out(pcm.size());
    const size_t frameBytes = static_cast<size_t>(channels) * bytes;
    for (size_t f = 0; f + frameBytes <= pcm.size(); f += frameBytes) {
        for (const auto& [source, destination] : HostOrder(channels)) {
            std::memcpy(&out[f + static_cast<size_t>(destination) * bytes], &pcm[f + static_cast<size_t>(source) * bytes],
                        static_cast<size_t>(bytes));
        }
    }
    return out;
}

void ExpectCleanEnd(const JobRecord& r, Final final) {
    EXPECT_TRUE(r.threadEnded);
    EXPECT_EQ(r.final, final);
    EXPECT_EQ(r.finalMessages, final == Final::None ? 0 : 1);
    if (!r.messages.empty() && final != Final::None) {
        EXPECT_EQ(r.messages.back().wParam, 0u);
        EXPECT_EQ(r.messages.back().lParam, 0);
    }
}

struct StreamCase {
    const char* name;
    const char* source;   // lavfi source
    const char* encoder;  // sample format options
    int channels;
    int rate;
    int bits;
};

const StreamCase kStreams[] = {
    {"mono16", "sine=f=440:r=22050:d=1", "-sample_fmt s16p", 1, 22050, 16},
    {"stereo16", "anoisesrc=seed=3:a=0.3:r=44100:d=1.2,aformat=channel_layouts=stereo", "-sample_fmt s16p", 2, 44100, 16},
    {"stereo24", "anoisesrc=seed=4:a=0.5:r=96000:d=0.5,aformat=channel_layouts=stereo",
     "-sample_fmt s32p -bits_per_raw_sample 24", 2, 96000, 24},
    {"ch5", "aevalsrc=sin(300*t)|sin(400*t)|sin(500*t)|sin(600*t)|sin(700*t):c=5.0:s=48000:d=0.4", "-sample_fmt s16p",
     5, 48000, 16},
    {"ch6", "aevalsrc=sin(300*t)|sin(400*t)|sin(500*t)|sin(600*t)|sin(700*t)|sin(800*t):c=5.1:s=48000:d=0.4",
     "-sample_fmt s16p", 6, 48000, 16},
    {"ch7", "aevalsrc=sin(300*t)|sin(400*t)|sin(500*t)|sin(600*t)|sin(700*t)|sin(800*t)|sin(900*t):c=6.1(back):s=48000:d=0.4",
     "-sample_fmt s16p", 7, 48000, 16},
    {"ch8_24",
     "aevalsrc=sin(300*t)|sin(400*t)|sin(500*t)|sin(600*t)|sin(700*t)|sin(800*t)|sin(900*t)|sin(990*t):c=7.1(wide):s=48000:d=0.4",
     "-sample_fmt s32p -bits_per_raw_sample 24", 8, 48000, 24},
};

TEST(AlacJobStreams, DeliversFfmpegsPcmInHostOrder) {
    for (const StreamCase& c : kStreams) {
        SCOPED_TRACE(c.name);
        const std::string m4a = MakeM4a(std::string("alacjob_") + c.name + ".m4a",
                                        std::string("-f lavfi -i \"") + c.source + "\" -c:a alac " + c.encoder);
        ASSERT_FALSE(m4a.empty());
        const JobRecord r = RunAlac(m4a);
        ExpectCleanEnd(r, Final::Done);
        EXPECT_EQ(r.exitCode, 0u);
        ASSERT_TRUE(r.gotFormat);
        EXPECT_EQ(r.format.channels, static_cast<uint32_t>(c.channels));
        EXPECT_EQ(r.format.sampleRate, static_cast<uint32_t>(c.rate));
        EXPECT_EQ(r.format.bitsPerSample, static_cast<uint32_t>(c.bits));
        EXPECT_EQ(r.format.isFloat, 0u);
        EXPECT_EQ(r.format.lossySource, 0);
        EXPECT_NE(r.format.readyEvent, nullptr);
        EXPECT_NE(r.format.jobThread, nullptr);

        const int bytes = c.bits / 8;
        std::vector<uint8_t> expected = FfmpegPcm(m4a, c.bits == 16 ? "s16le" : "s24le");
        if (c.channels >= 5) {
            // The job's order is the documented reorder of the decoder's ALAC order; the decoder's
            // own columns are checked against ffmpeg's in the decoder tests.
            expected = Reorder(DecoderOrderPcm(m4a), c.channels, bytes);
        }
        ASSERT_EQ(r.pcm.size(), expected.size());
        EXPECT_TRUE(r.pcm == expected);
        for (size_t i = 1; i < r.progress.size(); ++i) {
            EXPECT_GT(r.progress[i], r.progress[i - 1]);
        }
        ASSERT_FALSE(r.progress.empty());
        EXPECT_DOUBLE_EQ(r.progress.back(), 100.0);
        // One block per packet: every block but the last is a full frame.
        for (size_t i = 0; i + 1 < r.blockSizes.size(); ++i) {
            EXPECT_EQ(r.blockSizes[i], 4096u * c.channels * bytes) << i;
        }
        if (c.channels == 6) {
            ASSERT_GE(r.blockSizes.size(), 2u);
            // Host order L R C LFE Ls Rs is ffmpeg's own order for 5.1.
            EXPECT_TRUE(r.pcm == FfmpegPcm(m4a, "s16le"));
        }
    }
}

// A stereo 48 kHz track of 4096-frame packets: 12288 frames = packets 1..3.
std::string SeekFile() {
    return MakeM4a("alacjob_seek.m4a", "-f lavfi -i \"anoisesrc=seed=5:a=0.2:r=48000:d=1.5\" -ac 2 -c:a alac -sample_fmt s16p");
}

struct SeekCase {
    const char* name;
    uint64_t startHns;
    uint64_t writtenBack;
    size_t firstFrame;  // frame of the track where the delivered PCM starts
};

const SeekCase kSeeks[] = {
    // 13290 frames = 3 x 4096 + 1002: 13290 / 48000 s = 2768750 hns; 1002 frames = 208750 hns.
    {"InsidePacket4", 2768750, 208750, 12288},
    // 12288 frames = 2560000 hns: exactly on the start of packet 4.
    {"OnPacketBoundary", 2560000, 0, 12288},
    // Past the end: no sample for that time, decoding from the start, value left alone.
    {"PastTheEnd", 600000000, 600000000, 0},
};

TEST(AlacJobSeek, StartsAtThePacketAndWritesBackTheRemainder) {
    for (const SeekCase& c : kSeeks) {
        SCOPED_TRACE(c.name);
        RunOptions options;
        options.useStartPosition = true;
        options.startValue = c.startHns;
        const std::string m4a = SeekFile();
        const JobRecord r = RunAlac(m4a, options);
        ExpectCleanEnd(r, Final::Done);
        EXPECT_EQ(r.startValueAtFormat, c.writtenBack);
        const std::vector<uint8_t> full = FfmpegPcm(m4a, "s16le");
        ASSERT_LE(c.firstFrame * 4, full.size());
        EXPECT_TRUE(r.pcm == std::vector<uint8_t>(full.begin() + static_cast<long>(c.firstFrame * 4), full.end()));
    }
}

// Cancelled at the format the job ends without a message; at block 2 it sends format, block,
// block, failed.
TEST(AlacJobTest, CancelEndsTheJob) {
    struct Row { int cancelAt; Final final; size_t messages, blocks; uint32_t exitCode; };
    for (const Row& c : {Row{0, Final::None, 1, 0, 1}, Row{2, Final::Failed, 4, 2, 0}}) {
        RunOptions options;
        options.cancelAt = c.cancelAt;
        const JobRecord r = RunAlac(SeekFile(), options);
        ExpectCleanEnd(r, c.final);
        EXPECT_EQ(r.messages.size(), c.messages);
        EXPECT_TRUE(r.gotFormat);
        EXPECT_EQ(r.blockSizes.size(), c.blocks);
        EXPECT_EQ(r.exitCode, c.exitCode);
    }
}

TEST(AlacJobTest, MissingFileFailsBeforeTheFormat) {
    const JobRecord r = RunAlac(testfiles::ScratchDir() + "/absent.m4a");
    ExpectCleanEnd(r, Final::Failed);
    EXPECT_EQ(r.messages.size(), 1u);
    EXPECT_FALSE(r.gotFormat);
    EXPECT_EQ(r.exitCode, 1u);
}

// Track 1 is AAC, track 2 ALAC.
std::string TwoTrackFile() {
    return MakeM4a("alacjob_two_tracks.m4a",
                   "-f lavfi -i \"sine=f=300:r=44100:d=0.5\" -f lavfi -i \"sine=f=700:r=44100:d=0.6\" -map 0 -map 1 "
                   "-c:a:0 aac -c:a:1 alac -sample_fmt:a:1 s16p");
}

TEST(AlacJobTest, TrackSelection) {
    const std::string m4a = TwoTrackFile();
    const std::vector<uint8_t> second = FfmpegPcm(m4a, "s16le", "0:a:1");
    struct Row {
        const char* name;
        uint32_t trackNumber;
        Final final;
        bool deliversSecond;
    };
    for (const Row& row : {Row{"Track2", 2, Final::Done, true}, Row{"AnyTakesTheFirstWithACookie", 0, Final::Done, true},
                           Row{"Track1IsAac", 1, Final::Failed, false}, Row{"Track3Absent", 3, Final::Failed, false}}) {
        RunOptions options;
        options.trackNumber = row.trackNumber;
        const JobRecord r = RunAlac(m4a, options);
        ExpectCleanEnd(r, row.final);
        EXPECT_EQ(r.gotFormat, row.deliversSecond) << row.name;
        if (row.deliversSecond) {
            EXPECT_TRUE(r.pcm == second) << row.name;
        }
    }
}

TEST(AlacJobTest, FileWithoutAlacFails) {
    const std::string m4a = MakeM4a("alacjob_aac_only.m4a", "-f lavfi -i \"sine=f=300:r=44100:d=0.3\" -c:a aac");
    const JobRecord r = RunAlac(m4a);
    ExpectCleanEnd(r, Final::Failed);
    EXPECT_FALSE(r.gotFormat);
}

struct FixtureCase {
    const char* file;
    const char* md5;
};

TEST(AlacJobTest, RealWorldFixturesMatchTheirMd5) {
    for (const FixtureCase& c : {FixtureCase{"rw_qaac_alac_s16_st_44k.m4a", "666a89e0fcc4bfccefe7a3c247ff6e1a"},
                                 FixtureCase{"rw_itunes11_alac_silence.m4a", "a1b141f766e9849ac3db1030a20a3c77"}}) {
        const std::string path = testfiles::SharedFixture(c.file);
        if (path.empty()) {
            GTEST_SKIP() << c.file << " not present";
        }
        const JobRecord r = RunAlac(path);
        ExpectCleanEnd(r, Final::Done);
        const std::string out = testfiles::ScratchDir() + "/pcm";
        ASSERT_TRUE(testfiles::WriteAll(out, r.pcm));
        EXPECT_EQ(testfiles::Capture("md5sum " + out).substr(0, 32), c.md5) << c.file;
    }
}

}  // namespace

// The AAC-in-MP4 job end to end, through Decode and the test host: gapless length and alignment,
// equality with a plain FAAD2 decode, channel order, seeking, and the message protocol.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "Mp4Material.h"
#include "TestFiles.h"
#include "TestHost.h"

namespace {

using mp4material::Decoded;
using mp4material::Source;

constexpr uint32_t kMaxBlock = 65536;

uint64_t Frames(const testhost::JobRecord& r) {
    return r.format.channels ? r.pcm.size() / (4u * r.format.channels) : 0;
}

// Checks what every finished job must satisfy, whatever the file.
void ExpectCleanRun(const testhost::JobRecord& r) {
    EXPECT_TRUE(r.threadEnded);
    EXPECT_EQ(r.finalMessages, 1);
    EXPECT_EQ(r.final, testhost::Final::Done);
    ASSERT_TRUE(r.gotFormat);
    EXPECT_EQ(r.format.bitsPerSample, 32u);
    EXPECT_EQ(r.format.isFloat, 1u);
    EXPECT_EQ(r.format.lossySource, 1u);
    for (uint32_t size : r.blockSizes) EXPECT_LE(size, kMaxBlock);
    EXPECT_TRUE(std::is_sorted(r.progress.begin(), r.progress.end()));
    if (!r.progress.empty()) {
        EXPECT_GT(r.progress.back(), 100.0);
    }
}

// A job's output compared with FAAD2's own decode of the same track: frames [skip, skip + frames)
// of the untrimmed decode, bit for bit.
void ExpectDecodeSlice(const testhost::JobRecord& r, const Decoded& direct, uint64_t skip, uint64_t frames) {
    if (r.pcm.empty()) {  // (the test host's AsFloats copies from a null pointer here)
        EXPECT_EQ(frames, 0u);
        return;
    }
    std::vector<float> out = testhost::AsFloats(r);
    ASSERT_EQ(out.size(), frames * direct.channels);
    ASSERT_LE((skip + frames) * direct.channels, direct.pcm.size());
    EXPECT_EQ(0, std::memcmp(out.data(), direct.pcm.data() + skip * direct.channels, out.size() * sizeof(float)));
}

struct GaplessRow {
    const char* name;
    std::string path;
    uint32_t sourceChannels;
    int64_t skip;          // frames of the untrimmed FAAD2 decode the job drops at the start
    int64_t frames;        // frames it delivers; -1: everything after the skip
    int lag;               // alignment with the source (0: sample-exact)
    int lagTolerance;      // frames
    uint32_t rate;
};

class Mp4AacGapless : public ::testing::Test {
protected:
    static constexpr uint64_t kN = 88533;  // 2 s + 333 frames at 44.1 kHz
};

TEST_F(Mp4AacGapless, LengthAlignmentAndDecoderEquality) {
    using mp4material::SmpbText;
    const Source stereo = mp4material::Signal(44100, 2, kN);
    const Source mono = mp4material::Signal(44100, 1, kN);
    const Source low = mp4material::Signal(22050, 2, kN / 2);
    const std::string rate = "-movie_timescale 44100";
    std::string plain = mp4material::LcMp4("job_lc_ms", stereo, "");
    std::string exact = mp4material::LcMp4("job_lc_rate", stereo, rate);
    std::string monoExact = mp4material::LcMp4("job_lc_mono_rate", mono, rate);
    std::string lowExact = mp4material::LcMp4("job_lc_22k_rate", low, "-movie_timescale 22050");
    std::string level2c = mp4material::LcMp4("job_lc_rate_2c", stereo, rate + " -skip_iods 0 -iods_audio_profile 44");
    ASSERT_FALSE(plain.empty() || exact.empty() || monoExact.empty() || lowExact.empty() || level2c.empty());

    Decoded plainDecode = mp4material::DecodeTrack(plain);
    ASSERT_TRUE(plainDecode.ok);
    // FAAD2 withholds the first access unit, so the untrimmed decode holds units - 1 of them.
    const int64_t plainFrames = static_cast<int64_t>(plainDecode.pcm.size() / 2);
    const int64_t plainPadding = plainFrames - static_cast<int64_t>(kN);

    mp4material::Encoded he = mp4material::HeMp4("job_he", stereo, 5, 64000, "");
    mp4material::Encoded ps = mp4material::HeMp4("job_hev2", stereo, 29, 32000, "");
    ASSERT_FALSE(he.path.empty() || ps.path.empty());
    auto hePadding = [](const mp4material::Encoded& e) {
        return static_cast<uint32_t>(e.units * e.frameLength - e.delay - kN);
    };
    mp4material::Encoded heEdit = mp4material::HeMp4("job_he_edit", stereo, 5, 64000,
                                                     rate + " -skip_iods 0 -iods_audio_profile 44");
    ASSERT_FALSE(heEdit.path.empty());

    const int64_t n = static_cast<int64_t>(kN);
    const GaplessRow rows[] = {
        // Edit list usable (movie ticks are sample frames): delay 1024 and the padding it implies.
        {"lc_edit_list", exact, 2, 0, n, 0, 0, 44100},
        {"lc_mono_decoded_as_two_channels", monoExact, 1, 0, n, 0, 0, 44100},
        // 22.05 kHz makes FAAD2 up-sample without SBR: the job decodes at the core rate instead.
        {"lc_22k_stays_at_core_rate", lowExact, 2, 0, n / 2, 0, 0, 22050},
        // Only the media start is usable: delay 1024 and no padding.
        {"lc_media_start_only", plain, 2, 0, plainFrames, 0, 0, 44100},
        {"lc_tag_over_media_start",
         mp4material::Patched("job_lc_tag", plain, {"smpb " + SmpbText(1024, static_cast<uint32_t>(plainPadding), kN)}),
         2, 0, n, 0, 0, 44100},
        {"lc_edit_list_ignores_tag", mp4material::Patched("job_lc_rate_tag", exact, {"smpb " + SmpbText(0, 5000, 10)}),
         2, 0, n, 0, 0, 44100},
        {"lc_tag_padding_zero", mp4material::Patched("job_lc_tag_pad0", plain, {"smpb " + SmpbText(1024, 0, kN)}), 2,
         0, plainFrames, 0, 0, 44100},
        // The empty first edit sends the job to the tag, whose delay is 512 frames too long.
        {"lc_empty_edit_uses_tag",
         mp4material::Patched("job_lc_empty_edit_tag", exact, {"elst 0xFFFFFFFF -", "smpb " + SmpbText(1536, 300, kN)}),
         2, 512, plainFrames - 512 - 300, -512, 0, 44100},
        // Level 0x2C counts 2048 frames per unit: the padding exceeds the output, nothing is delivered.
        {"lc_level_2c_padding_swallows_all", level2c, 2, 0, 0, 0, 0, 44100},
        // HE-AAC with the encoder's own delay in a tag (neither 2112 nor 4224: no SBR rewrite).
        // Parametric stereo rebuilds both channels from a mix with its own phase, so the v2
        // correlation peak may land one frame off even where length and decoder output are exact.
        {"he_tag", mp4material::Patched("job_he_tag", he.path, {"smpb " + SmpbText(he.delay, hePadding(he), kN)}), 2,
         he.delay - 2048, n, 0, 0, 44100},
        {"he_v2_tag", mp4material::Patched("job_hev2_tag", ps.path, {"smpb " + SmpbText(ps.delay, hePadding(ps), kN)}),
         2, ps.delay - 2048, n, 0, 1, 44100},
        // HE-AAC from an edit list: without a tag the SBR delay of 962 is added on top and taken
        // off the padding, but not below 0; a shorter padding costs the difference at the end.
        {"he_edit_list_adds_sbr_delay",
         mp4material::Patched("job_he_edit_elst", heEdit.path,
                              {"elst " + std::to_string(heEdit.delay) + " " + std::to_string(kN)}),
         2, heEdit.delay + 962 - 2048, n - std::max<int64_t>(0, 962 - int64_t{hePadding(heEdit)}), -962, 0, 44100},
    };
    for (const GaplessRow& row : rows) {
        SCOPED_TRACE(row.name);
        ASSERT_FALSE(row.path.empty());
        testhost::JobRecord r = testhost::RunJob(row.path);
        ExpectCleanRun(r);
        EXPECT_EQ(r.format.sampleRate, row.rate);
        EXPECT_EQ(r.format.channels, 2u);
        Decoded direct = mp4material::DecodeTrack(row.path);
        ASSERT_TRUE(direct.ok);
        int64_t frames = row.frames >= 0 ? row.frames : static_cast<int64_t>(direct.pcm.size() / 2) - row.skip;
        EXPECT_EQ(Frames(r), static_cast<uint64_t>(frames));
        ExpectDecodeSlice(r, direct, static_cast<uint64_t>(row.skip), static_cast<uint64_t>(frames));
        if (frames > 0) {
            Source source = row.rate == 22050 ? low : row.sourceChannels == 1 ? mono : stereo;
            std::vector<float> reference = mp4material::Reference(
                std::string("job_ref_") + std::to_string(row.rate) + "_" + std::to_string(row.sourceChannels), source);
            int lag = mp4material::BestLag(reference, row.sourceChannels, testhost::AsFloats(r), 2, 1200);
            EXPECT_LE(std::abs(lag - row.lag), row.lagTolerance) << "lag " << lag;
        }
    }
}

TEST(Mp4AacChannels, MultichannelComesOutInHostOrder) {
    for (uint32_t channels : {6u, 8u}) {
        SCOPED_TRACE(channels);
        std::string path = mp4material::LcMp4("job_tones_" + std::to_string(channels),
                                              mp4material::Tones(48000, channels, 96000), "-movie_timescale 48000");
        ASSERT_FALSE(path.empty());
        testhost::JobRecord r = testhost::RunJob(path);
        ExpectCleanRun(r);
        ASSERT_EQ(r.format.channels, channels);
        EXPECT_EQ(Frames(r), 96000u);
        std::vector<float> pcm = testhost::AsFloats(r);
        for (uint32_t c = 0; c < channels; ++c) {
            SCOPED_TRACE(c);
            double own = mp4material::ToneLevel(pcm, channels, c, 48000, mp4material::ToneHz(c));
            EXPECT_GT(own, 0.2);
            for (uint32_t other = 0; other < channels; ++other)
                if (other != c) {
                    EXPECT_LT(mp4material::ToneLevel(pcm, channels, c, 48000, mp4material::ToneHz(other)), 0.05 * own);
                }
        }
    }
}

// Real files: the frame counts their gapless data imply for FAAD2's output (see the manifest).
TEST(Mp4AacRealWorld, DeliveredFrames) {
    struct Row {
        const char* file;
        uint32_t channels;
        uint32_t rate;
        uint64_t frames;
    };
    const Row rows[] = {
        {"rw_fdkaac_cli_lc_smpb.m4a", 2, 44100, 11187},
        {"rw_nero_lc_22k_mono_smpb.mp4", 2, 22050, 7119},
        // Tag 2112/986 on AAC-LC: no SBR rewrite; 89 * 1024 decoded - 2112 - 986.
        {"rw_itunes_aac_256k_smpb_excerpt.m4a", 2, 44100, 88038},
        // No gapless data: the default delay of 1024 is dropped.
        {"rw_apple_voicememo_lc_48k.m4a", 2, 48000, 48128},
        {"rw_faac_mp4v2_lc_44k.m4a", 2, 44100, 162816},
        {"rw_lc_71_48k_chapters.mp4", 8, 48000, 673792},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.file);
        std::string path = testfiles::SharedFixture(row.file);
        if (path.empty()) GTEST_SKIP() << "shared fixtures absent";
        testhost::JobRecord r = testhost::RunJob(path);
        ExpectCleanRun(r);
        EXPECT_EQ(r.format.channels, row.channels);
        EXPECT_EQ(r.format.sampleRate, row.rate);
        EXPECT_EQ(Frames(r), row.frames);
    }
}

class Mp4AacSeek : public ::testing::Test {
protected:
    static constexpr uint64_t kN = 96077;  // 48 kHz, so that whole 100 ns units fall on ticks
    void SetUp() override {
        // Without perceptual noise substitution: the decoder's noise generator carries state from
        // frame to frame, so with it a decode that starts elsewhere is not sample-exact.
        path_ = mp4material::LcMp4("job_seek_nopns", mp4material::Signal(48000, 2, kN), "-aac_pns 0 -movie_timescale 48000");
        ASSERT_FALSE(path_.empty());
        full_ = testhost::RunJob(path_);
        ExpectCleanRun(full_);
        ASSERT_EQ(Frames(full_), kN);
    }
    std::string path_;
    testhost::JobRecord full_;
};

TEST_F(Mp4AacSeek, OutputAfterRemainderMatchesFullDecode) {
    struct Row {
        const char* name;
        uint64_t startHns;
        uint64_t targetFrame;     // the start in sample frames
        uint64_t wantRemainder;   // written back, 100 ns units
    };
    const Row rows[] = {
        // 1.25 s = tick 60000, inside sample 59 (ticks 59392..60415): 608 ticks = 12666666 ns.
        {"inside_a_sample", 12500000, 60000, 126666},
        // Tick 3072 is where sample 4 starts.
        {"on_a_sample_start", 640000, 3072, 0},
        // Tick 480, inside the first sample: decoding restarts at sample 1 after a reset.
        {"inside_first_sample", 100000, 480, 100000},
    };
    std::vector<float> full = testhost::AsFloats(full_);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        testhost::RunOptions options;
        options.useStartPosition = true;
        options.startValue = row.startHns;
        testhost::JobRecord r = testhost::RunJob(path_, options);
        ExpectCleanRun(r);
        ASSERT_TRUE(r.hadStartValue);
        EXPECT_EQ(r.startValueAtFormat, row.wantRemainder);
        // The host drops the remainder; what follows is the full decode from the start onward.
        uint64_t dropFrames = (r.startValueAtFormat * 48000 + 5000000) / 10000000;
        std::vector<float> out = testhost::AsFloats(r);
        ASSERT_EQ(out.size() / 2, kN - row.targetFrame + dropFrames);
        EXPECT_TRUE(std::equal(out.begin() + static_cast<long>(dropFrames * 2), out.end(),
                               full.begin() + static_cast<long>(row.targetFrame * 2)));
    }
}

TEST_F(Mp4AacSeek, StartPastTheEndDeliversFromTheStart) {
    testhost::RunOptions options;
    options.useStartPosition = true;
    options.startValue = 600000000;  // 60 s into a 2 s track: no sample there, no seek
    testhost::JobRecord r = testhost::RunJob(path_, options);
    ExpectCleanRun(r);
    EXPECT_EQ(r.startValueAtFormat, 600000000u);
    EXPECT_EQ(r.pcm, full_.pcm);
}

TEST(Mp4AacProtocol, CancelEndsSilently) {
    std::string path = mp4material::LcMp4("job_lc_rate", mp4material::Signal(44100, 2, 88533), "-movie_timescale 44100");
    ASSERT_FALSE(path.empty());
    for (int cancelAt : {0, 1, 5}) {
        SCOPED_TRACE(cancelAt);
        testhost::RunOptions options;
        options.cancelAt = cancelAt;
        testhost::JobRecord r = testhost::RunJob(path, options);
        EXPECT_TRUE(r.threadEnded);
        EXPECT_EQ(r.finalMessages, 0);
        EXPECT_TRUE(r.gotFormat);
        EXPECT_EQ(r.messages.size(), static_cast<size_t>(1 + cancelAt));
    }
}

// Damaged tracks: the job ends with exactly one msgFailed when nothing decodes, and delivers what
// it can when the damage starts later.
TEST(Mp4AacProtocol, DamagedSamples) {
    std::string good = mp4material::LcMp4("job_lc_rate", mp4material::Signal(44100, 2, 88533), "-movie_timescale 44100");
    ASSERT_FALSE(good.empty());
    std::vector<uint8_t> bytes = testfiles::ReadAll(good);
    auto mdat = std::search(bytes.begin(), bytes.end(), std::begin("mdat"), std::end("mdat") - 1);
    ASSERT_NE(mdat, bytes.end());
    size_t payload = static_cast<size_t>(mdat - bytes.begin()) + 4;
    size_t size = (size_t{bytes[payload - 8]} << 24 | size_t{bytes[payload - 7]} << 16 | size_t{bytes[payload - 6]} << 8 |
                   bytes[payload - 5]) - 8;

    struct Row {
        const char* name;
        double damagedFrom;  // fraction of the sample data left intact
        bool delivers;
    };
    const Row rows[] = {{"all_samples_garbage", 0.0, false}, {"garbage_after_half", 0.5, true}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        std::vector<uint8_t> damaged = bytes;
        uint32_t state = 12345;
        for (size_t i = static_cast<size_t>(static_cast<double>(size) * row.damagedFrom); i < size; ++i) {
            state = state * 1103515245u + 12345u;
            damaged[payload + i] = static_cast<uint8_t>(state >> 23);
        }
        std::string path = testfiles::ScratchDir() + "/" + row.name + ".m4a";
        ASSERT_TRUE(testfiles::WriteAll(path, damaged));
        testhost::JobRecord r = testhost::RunJob(path);
        EXPECT_TRUE(r.threadEnded);
        EXPECT_EQ(r.finalMessages, 1);
        EXPECT_EQ(r.final, row.delivers ? testhost::Final::Done : testhost::Final::Failed);
        EXPECT_EQ(r.gotFormat, row.delivers);
        for (uint32_t s : r.blockSizes) EXPECT_LE(s, kMaxBlock);
    }
}

}  // namespace

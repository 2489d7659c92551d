// The AAC-in-MP4 job end to end, through Decode and the test host: gapless length and alignment
// against a bare FAAD2 decode, channel order against ffmpeg's decode, seeking, and the message
// protocol.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "BoxBuilder.h"
#include "Mp4Material.h"
#include "TestFiles.h"
#include "TestHost.h"

namespace {

using mp4material::SmpbText;

uint64_t Frames(const testhost::JobRecord& r) { return r.format.channels ? r.pcm.size() / (4u * r.format.channels) : 0; }

// What every finished job must satisfy, whatever the file.
void ExpectCleanRun(const testhost::JobRecord& r) {
    EXPECT_TRUE(r.threadEnded);
    EXPECT_EQ(r.finalMessages, 1);
    EXPECT_EQ(r.final, testhost::Final::Done);
    ASSERT_TRUE(r.gotFormat);
    EXPECT_EQ(r.format.bitsPerSample, 32u);  // float and lossy: RoutingTest
    for (uint32_t size : r.blockSizes) EXPECT_LE(size, 65536u);
    EXPECT_TRUE(std::is_sorted(r.progress.begin(), r.progress.end()));
    EXPECT_TRUE(r.progress.empty() || r.progress.back() > 100.0);
}

TEST(Mp4AacGapless, LengthAndAlignmentAgainstABareDecode) {
    constexpr uint64_t kN = 88533;  // 2 s + 333 frames at 44.1 kHz
    const mp4material::Source stereo = mp4material::Signal(44100, 2, kN);
    const std::string rate = "-movie_timescale 44100";
    const std::string plain = mp4material::LcMp4("job_lc_ms", stereo, "");
    const std::string exact = mp4material::LcMp4("job_lc_rate", stereo, rate);
    const std::string monoExact = mp4material::LcMp4("job_lc_mono_rate", mp4material::Signal(44100, 1, kN), rate);
    const std::string lowExact = mp4material::LcMp4("job_lc_22k_rate", mp4material::Signal(22050, 2, kN / 2), "-movie_timescale 22050");
    const std::string level2c = mp4material::LcMp4("job_lc_rate_2c", stereo, rate + " -skip_iods 0 -iods_audio_profile 44");
    ASSERT_FALSE(plain.empty() || exact.empty() || monoExact.empty() || lowExact.empty() || level2c.empty());
    const std::vector<float> plainDecode = mp4material::DecodeTrack(plain);
    ASSERT_FALSE(plainDecode.empty());
    // FAAD2 withholds the first access unit, so the untrimmed decode holds units - 1 of them.
    const int64_t plainFrames = static_cast<int64_t>(plainDecode.size() / 2), n = static_cast<int64_t>(kN);
    const auto padding = [&](const mp4material::Encoded& e) { return static_cast<uint32_t>(e.units * e.frameLength - e.delay - kN); };
    const mp4material::Encoded he = mp4material::HeMp4("job_he", stereo, 5, 64000, "");
    const mp4material::Encoded ps = mp4material::HeMp4("job_hev2", stereo, 29, 32000, "");
    const mp4material::Encoded heEdit = mp4material::HeMp4("job_he_edit", stereo, 5, 64000, rate + " -skip_iods 0 -iods_audio_profile 44");
    ASSERT_FALSE(he.path.empty() || ps.path.empty() || heEdit.path.empty());

    struct Row {
        const char* name;
        std::string path;
        int64_t skip;    // frames of the untrimmed FAAD2 decode the job drops at the start
        int64_t frames;  // frames it delivers
        uint32_t rate;
    } rows[] = {
        // Edit list usable (movie ticks are sample frames): delay 1024 and the padding it implies.
        {"lc_edit_list", exact, 0, n, 44100},
        {"lc_mono_decoded_as_two_channels", monoExact, 0, n, 44100},
        // 22.05 kHz: ffmpeg signals the absence of SBR, so FAAD2 stays at the core rate.
        {"lc_22k_stays_at_core_rate", lowExact, 0, n / 2, 22050},
        // Only the media start is usable: delay 1024 and no padding.
        {"lc_media_start_only", plain, 0, plainFrames, 44100},
        {"lc_tag_over_media_start",
         mp4material::Patched("job_lc_tag", plain, SmpbText(1024, static_cast<uint32_t>(plainFrames - n), kN)), 0, n, 44100},
        {"lc_edit_list_ignores_tag", mp4material::Patched("job_lc_rate_tag", exact, SmpbText(0, 5000, 10)), 0, n, 44100},
        {"lc_tag_padding_zero", mp4material::Patched("job_lc_tag_pad0", plain, SmpbText(1024, 0, kN)), 0, plainFrames, 44100},
        // The empty first edit sends the job to the tag, whose delay is 512 frames too long.
        {"lc_empty_edit_uses_tag",
         mp4material::Patched("job_lc_empty_edit_tag", exact, SmpbText(1536, 300, kN), 0xFFFFFFFF), 512,
         plainFrames - 512 - 300, 44100},
        // Level 0x2C counts 2048 frames per unit: the padding exceeds the output, nothing is delivered.
        {"lc_level_2c_padding_swallows_all", level2c, 0, 0, 44100},
        // HE-AAC with the encoder's own delay in a tag (neither 2112 nor 4224: no SBR rewrite).
        {"he_tag", mp4material::Patched("job_he_tag", he.path, SmpbText(he.delay, padding(he), kN)), he.delay - 2048, n, 44100},
        {"he_v2_tag", mp4material::Patched("job_hev2_tag", ps.path, SmpbText(ps.delay, padding(ps), kN)), ps.delay - 2048, n, 44100},
        // HE-AAC from an edit list: without a tag the SBR delay of 962 is added on top and taken
        // off the padding, but not below 0; a shorter padding costs the difference at the end.
        {"he_edit_list_adds_sbr_delay",
         mp4material::Patched("job_he_edit_elst", heEdit.path, "", heEdit.delay, kN),
         heEdit.delay + 962 - 2048, n - std::max<int64_t>(0, 962 - int64_t{padding(heEdit)}), 44100},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        ASSERT_FALSE(row.path.empty());
        const testhost::JobRecord r = testhost::RunJob(row.path);
        ExpectCleanRun(r);
        EXPECT_EQ(r.format.sampleRate, row.rate);
        EXPECT_EQ(r.format.channels, 2u);
        const std::vector<float> direct = mp4material::DecodeTrack(row.path);
        ASSERT_FALSE(direct.empty());
        // Frames [skip, skip + frames) of the untrimmed decode, bit for bit.
        ASSERT_EQ(Frames(r), static_cast<uint64_t>(row.frames));
        ASSERT_LE((row.skip + row.frames) * 2, static_cast<int64_t>(direct.size()));
        EXPECT_TRUE(r.pcm.empty() || std::memcmp(r.pcm.data(), direct.data() + row.skip * 2, r.pcm.size()) == 0);
    }
}

// 5.1 and 7.1 come out in the host's order, ffmpeg's for these layouts; its decoder skips the same
// priming (it keeps the padding): the two agree frame for frame within the decoders' rounding.
TEST(Mp4AacChannels, MultichannelMatchesFfmpegsOrder) {
    for (uint32_t channels : {6u, 8u}) {
        SCOPED_TRACE(channels);
        const std::string path = mp4material::LcMp4("job_multi_nopns_" + std::to_string(channels),
                                                    mp4material::Signal(48000, channels, 48000), "-aac_pns 0 -movie_timescale 48000");
        ASSERT_FALSE(path.empty());
        const testhost::JobRecord r = testhost::RunJob(path);
        ExpectCleanRun(r);
        ASSERT_EQ(r.format.channels, channels);
        const std::vector<float> ours = testhost::AsFloats(r), ref = testfiles::FfmpegFloats(path);
        ASSERT_EQ(ours.size(), 48000u * channels);
        ASSERT_GE(ref.size(), ours.size());
        double worst = 0;
        for (size_t i = 0; i < ours.size(); ++i) worst = std::max(worst, static_cast<double>(std::fabs(ours[i] - ref[i])));
        EXPECT_LT(worst, 1e-3);
    }
}

TEST(Mp4AacSeek, OutputAfterTheRemainderMatchesTheFullDecode) {
    constexpr uint64_t kN = 96077;  // 48 kHz, so that whole 100 ns units fall on ticks
    // Without perceptual noise substitution: the decoder's noise generator carries state from
    // frame to frame, so with it a decode that starts elsewhere is not sample-exact.
    const std::string path = mp4material::LcMp4("job_seek_nopns", mp4material::Signal(48000, 2, kN), "-aac_pns 0 -movie_timescale 48000");
    ASSERT_FALSE(path.empty());
    const testhost::JobRecord whole = testhost::RunJob(path);
    ExpectCleanRun(whole);
    ASSERT_EQ(Frames(whole), kN);
    const std::vector<float> full = testhost::AsFloats(whole);
    struct Row {
        const char* name;
        uint64_t startHns, targetFrame, wantRemainder;  // remainder written back, 100 ns units
    } rows[] = {
        // 1.25 s = tick 60000, inside sample 59 (ticks 59392..60415): 608 ticks = 12666666 ns.
        {"inside_a_sample", 12500000, 60000, 126666},
        {"on_a_sample_start", 640000, 3072, 0},           // tick 3072 is where sample 4 starts
        {"inside_first_sample", 100000, 480, 100000},     // decoding restarts at sample 1 after a reset
        {"past_the_end", 600000000, 0, 600000000},        // no sample there, no seek, value left alone
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        testhost::RunOptions options;
        options.useStartPosition = true;
        options.startValue = row.startHns;
        const testhost::JobRecord r = testhost::RunJob(path, options);
        ExpectCleanRun(r);
        EXPECT_EQ(r.startValueAtFormat, row.wantRemainder);
        // The host drops the remainder; what follows is the full decode from the start onward.
        const uint64_t dropFrames = row.targetFrame == 0 ? 0 : (r.startValueAtFormat * 48000 + 5000000) / 10000000;
        const std::vector<float> out = testhost::AsFloats(r);
        ASSERT_EQ(out.size() / 2, kN - row.targetFrame + dropFrames);
        EXPECT_TRUE(std::equal(out.begin() + static_cast<long>(dropFrames * 2), out.end(), full.begin() + static_cast<long>(row.targetFrame * 2)));
    }
}

// Cancelling ends the job silently; a damaged track delivers what it can.
TEST(Mp4AacProtocol, CancelAndDamagedSamples) {
    const std::string good = mp4material::LcMp4("job_lc_rate", mp4material::Signal(44100, 2, 88533), "-movie_timescale 44100");
    ASSERT_FALSE(good.empty());
    for (int cancelAt : {0, 1, 5}) {
        testhost::RunOptions options;
        options.cancelAt = cancelAt;
        const testhost::JobRecord r = testhost::RunJob(good, options);
        EXPECT_TRUE(r.threadEnded);
        EXPECT_EQ(r.finalMessages, 0);
        EXPECT_EQ(r.messages.size(), static_cast<size_t>(1 + cancelAt));
    }
    // Random bytes over the second half of the sample data: what decodes before them comes out.
    // (A track where nothing decodes ends failed: HostileInputTest.)
    std::vector<uint8_t> damaged = testfiles::ReadAll(good);
    const size_t payload = FindBox(damaged, "mdat") + 8, size = Be32(damaged, payload - 8) - 8;
    uint32_t state = 12345;
    for (size_t i = size / 2; i < size; ++i) {
        state = state * 1103515245u + 12345u;
        damaged[payload + i] = static_cast<uint8_t>(state >> 23);
    }
    const std::string path = testfiles::ScratchDir() + "/damaged.m4a";
    ASSERT_TRUE(testfiles::WriteAll(path, damaged));
    const testhost::JobRecord r = testhost::RunJob(path);
    EXPECT_TRUE(r.threadEnded && r.gotFormat);
    EXPECT_EQ(r.finalMessages, 1);
    EXPECT_EQ(r.final, testhost::Final::Done);
    for (uint32_t s : r.blockSizes) EXPECT_LE(s, 65536u);
}

}  // namespace

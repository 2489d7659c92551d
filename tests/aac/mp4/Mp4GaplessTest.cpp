// Gapless values of MP4 AAC tracks: the edit-list arithmetic, the iTunSMPB text, the SBR
// correction, and the values read from real files made by ffmpeg and patched by our tools.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "Mp4Gapless.h"
#include "Mp4Material.h"
#include "TestFiles.h"

namespace {

constexpr uint64_t kAllOnes = ~uint64_t{0};

struct EditRow {
    const char* name;
    Mp4EditValues edit;
    uint32_t sampleCount;
    bool final;
    uint32_t delay;
    uint32_t padding;
    uint64_t validLength;
};

TEST(Mp4GaplessEditList, Rows) {
    const EditRow rows[] = {
        {"no_edit", {kAllOnes, kAllOnes, 44100, 0}, 100, false, 1024, 0, 0},
        {"movie_scale_1000_start_only", {2112, 3000, 1000, 0}, 100, false, 2112, 0, 0},
        {"usable_lc", {1024, 100000, 44100, 0}, 100, true, 1024, 1376, 100000},
        {"he_level_2c_doubles_frames", {0, 200000, 44100, 0x2C}, 100, true, 0, 4800, 200000},
        {"he_level_30_doubles_frames", {0, 200000, 44100, 0x30}, 100, true, 0, 4800, 200000},
        {"level_fe_single_frames", {0, 100000, 44100, 0xFE}, 100, true, 0, 2400, 100000},
        {"empty_edit_v0_keeps_default_delay", {0xFFFFFFFFu, 100000, 44100, 0}, 100, false, 1024, 1376, 100000},
        {"empty_edit_v1_keeps_default_delay", {kAllOnes, 100000, 44100, 0}, 100, false, 1024, 1376, 100000},
        {"duration_past_decoded_length", {1024, 200000, 44100, 0}, 100, true, 1024, 0, 200000},
        {"absurd_duration", {1024, kAllOnes - 1, 44100, 0}, 100, true, 1024, 0, kAllOnes - 1},
        {"scale_differs_from_rate", {1024, 100000, 48000, 0}, 100, false, 1024, 0, 0},
        {"start_high_bits_dropped", {0x100000400ull, 100000, 1000, 0}, 100, false, 1024, 0, 0},
    };
    for (const EditRow& row : rows) {
        SCOPED_TRACE(row.name);
        GaplessInfo info;
        EXPECT_EQ(ApplyEditValues(row.edit, row.sampleCount, 44100, info), row.final);
        EXPECT_EQ(info.delay, row.delay);
        EXPECT_EQ(info.padding, row.padding);
        EXPECT_EQ(info.validLength, row.validLength);
        EXPECT_EQ(info.haveSmpb, 0);
    }
}

struct SmpbRow {
    const char* name;
    const char* buffer;
    uint32_t valueSize;  // 0: the whole string
    bool applied;
    uint32_t delay;
    uint32_t padding;
    uint64_t validLength;
};

TEST(Mp4GaplessSmpb, Rows) {
    const SmpbRow rows[] = {
        {"itunes_layout", " 00000000 00000840 000003DA 0000000000ADF3E6 00000000 00000000", 0, true, 2112, 986,
         11400166},
        {"three_fields_leave_length_zero", " 0 840 3DA", 0, true, 2112, 986, 0},
        {"padding_zero_is_taken", " 0 400 0 1000", 0, true, 1024, 0, 4096},
        {"two_fields_ignored", " 0 840", 0, false, 1024, 0, 0},
        {"not_hex_ignored", "gapless", 0, false, 1024, 0, 0},
        // The value is not NUL-terminated: digits after valueSize must not be read.
        {"bounded_by_value_size", " 0 800 10 20FFFF", 10, true, 2048, 16, 0},
        {"empty_value", "", 0, false, 1024, 0, 0},
    };
    for (const SmpbRow& row : rows) {
        SCOPED_TRACE(row.name);
        GaplessInfo info;
        uint32_t size = row.valueSize ? row.valueSize : static_cast<uint32_t>(std::strlen(row.buffer));
        EXPECT_EQ(ApplySmpbValue(reinterpret_cast<const uint8_t*>(row.buffer), size, info), row.applied);
        EXPECT_EQ(info.haveSmpb, row.applied ? 1 : 0);
        EXPECT_EQ(info.delay, row.delay);
        EXPECT_EQ(info.padding, row.padding);
        EXPECT_EQ(info.validLength, row.validLength);
    }
    GaplessInfo info;
    EXPECT_FALSE(ApplySmpbValue(nullptr, 0, info));
}

struct SbrRow {
    const char* name;
    uint8_t haveSmpb;
    uint32_t delay;
    uint32_t padding;
    uint8_t sbr;
    uint32_t wantDelay;
    uint32_t wantPadding;
};

TEST(Mp4GaplessSbrFixUp, Rows) {
    const SbrRow rows[] = {
        {"tag_2112_upsampled", 1, 2112, 986, 1, 5186, 1010},
        {"tag_2112_downsampled", 1, 2112, 986, 2, 5186, 1010},
        {"tag_2112_small_padding_floors", 1, 2112, 100, 1, 5186, 0},
        {"tag_4224_upsampled", 1, 4224, 1000, 1, 5186, 38},
        {"tag_4224_small_padding_floors", 1, 4224, 900, 2, 5186, 0},
        {"tag_other_delay_kept", 1, 5058, 950, 1, 5058, 950},
        {"tag_without_sbr", 1, 2112, 986, 0, 2112, 986},
        {"tag_upsampled_without_sbr", 1, 2112, 986, 3, 2112, 986},
        {"no_tag_upsampled", 0, 1024, 2000, 1, 1986, 1038},
        {"no_tag_downsampled", 0, 1024, 2000, 2, 1505, 1519},
        {"no_tag_small_padding_floors", 0, 1024, 500, 1, 1986, 0},
        {"no_tag_without_sbr", 0, 1024, 2000, 0, 1024, 2000},
        {"no_tag_upsampled_without_sbr", 0, 1024, 2000, 3, 1024, 2000},
        {"no_tag_delay_saturates", 0, 0xFFFFFF00u, 0, 1, 0xFFFFFFFFu, 0},
    };
    for (const SbrRow& row : rows) {
        SCOPED_TRACE(row.name);
        GaplessInfo info;
        info.haveSmpb = row.haveSmpb;
        info.delay = row.delay;
        info.padding = row.padding;
        FixGaplessForSbr(info, row.sbr);
        EXPECT_EQ(info.delay, row.wantDelay);
        EXPECT_EQ(info.padding, row.wantPadding);
    }
}

// Values read from files ffmpeg made from an 88533-frame 44.1 kHz source, some patched by our
// tools. ffmpeg writes a media start of 1024 (its encoder's priming) and an edit duration in movie
// ticks, which are milliseconds unless -movie_timescale says otherwise.
struct FileRow {
    const char* name;
    std::vector<std::string> patches;  // applied to the base file
    bool movieScaleIsRate;
    std::string iods;                  // extra mux arguments for the iods
    uint8_t haveSmpb;
    uint32_t delay;
    uint32_t unitFrames;               // 0: `padding` is exact; else padding = units * unitFrames - `padding`
    int64_t padding;
    uint64_t validLength;
};

uint32_t SampleCount(const std::string& path) {
    MP4FileHandle f = MP4Read(path.c_str());
    if (f == MP4_INVALID_FILE_HANDLE) return 0;
    uint32_t n = MP4GetTrackNumberOfSamples(f, MP4FindTrackId(f, 0, MP4_AUDIO_TRACK_TYPE, 0));
    MP4Close(f, 0);
    return n;
}

TEST(Mp4GaplessFromFile, Rows) {
    using mp4material::SmpbText;
    const int64_t n = 88533;
    const uint64_t len = static_cast<uint64_t>(n);
    const mp4material::Source source = mp4material::Signal(44100, 2, len);
    const FileRow rows[] = {
        {"default_mux", {}, false, "", 0, 1024, 0, 0, 0},
        {"movie_scale_is_rate", {}, true, "", 0, 1024, 1024, 1024 + n, len},
        {"edit_final_ignores_tag", {"smpb " + SmpbText(2112, 7, 99)}, true, "", 0, 1024, 1024, 1024 + n, len},
        {"tag_overrides_media_start", {"smpb " + SmpbText(2048, 77, 11187)}, false, "", 1, 2048, 0, 77, 11187},
        {"tag_padding_zero", {"smpb " + SmpbText(1024, 0, len)}, false, "", 1, 1024, 0, 0, len},
        {"empty_edit_start_uses_tag", {"elst 0xFFFFFFFF -", "smpb " + SmpbText(1536, 300, len)}, true, "", 1, 1536, 0,
         300, len},
        {"empty_edit_start_without_tag", {"elst 0xFFFFFFFF -"}, true, "", 0, 1024, 1024, 1024 + n, len},
        {"iods_level_2c", {}, true, "-skip_iods 0 -iods_audio_profile 44", 0, 1024, 2048, 1024 + n, len},
        {"iods_level_fe", {}, true, "-skip_iods 0", 0, 1024, 1024, 1024 + n, len},
    };
    for (const FileRow& row : rows) {
        SCOPED_TRACE(row.name);
        std::string baseName = std::string("gapless_") + (row.movieScaleIsRate ? "rate" : "ms") +
                               (row.iods.empty() ? "" : row.iods == "-skip_iods 0" ? "_fe" : "_2c");
        std::string base = mp4material::LcMp4(baseName, source,
                                              (row.movieScaleIsRate ? "-movie_timescale 44100 " : "") + row.iods);
        ASSERT_FALSE(base.empty());
        std::string path =
            row.patches.empty() ? base : mp4material::Patched(std::string("gapless_") + row.name, base, row.patches);
        ASSERT_FALSE(path.empty());
        uint32_t units = SampleCount(path);
        ASSERT_GT(units, 80u);
        MP4FileHandle file = MP4Read(path.c_str());
        ASSERT_NE(file, MP4_INVALID_FILE_HANDLE);
        GaplessInfo info = ReadMp4Gapless(file, MP4FindTrackId(file, 0, MP4_AUDIO_TRACK_TYPE, 0), units, 44100);
        MP4Close(file, 0);
        int64_t padding = row.unitFrames == 0 ? row.padding : int64_t{units} * row.unitFrames - row.padding;
        EXPECT_EQ(info.haveSmpb, row.haveSmpb);
        EXPECT_EQ(info.delay, row.delay);
        EXPECT_EQ(info.padding, static_cast<uint32_t>(std::max<int64_t>(padding, 0)));
        EXPECT_EQ(info.validLength, row.validLength);
    }
}

TEST(Mp4GaplessFromFile, RealWorldTags) {
    struct Row {
        const char* file;
        uint8_t haveSmpb;
        uint32_t delay;
        uint32_t padding;
        uint64_t validLength;
    };
    const Row rows[] = {
        {"rw_fdkaac_cli_lc_smpb.m4a", 1, 2048, 77, 11187},
        {"rw_nero_lc_22k_mono_smpb.mp4", 1, 2624, 497, 7119},
        {"rw_itunes_aac_256k_smpb_excerpt.m4a", 1, 2112, 986, 11400166},
        {"rw_apple_voicememo_lc_48k.m4a", 0, 1024, 0, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.file);
        std::string path = testfiles::SharedFixture(row.file);
        if (path.empty()) GTEST_SKIP() << "shared fixtures absent";
        MP4FileHandle file = MP4Read(path.c_str());
        ASSERT_NE(file, MP4_INVALID_FILE_HANDLE);
        MP4TrackId track = MP4FindTrackId(file, 0, MP4_AUDIO_TRACK_TYPE, 0);
        GaplessInfo info = ReadMp4Gapless(file, track, MP4GetTrackNumberOfSamples(file, track),
                                          MP4GetTrackTimeScale(file, track));
        MP4Close(file, 0);
        EXPECT_EQ(info.haveSmpb, row.haveSmpb);
        EXPECT_EQ(info.delay, row.delay);
        EXPECT_EQ(info.padding, row.padding);
        EXPECT_EQ(info.validLength, row.validLength);
    }
}

}  // namespace

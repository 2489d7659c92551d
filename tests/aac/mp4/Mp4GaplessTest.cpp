// Gapless values of MP4 AAC tracks: the edit-list arithmetic, the iTunSMPB text and the SBR
// correction, row by row. Files with these values are decoded end to end in Mp4AacJobTest.
#include <gtest/gtest.h>

#include <cstring>

#include "Mp4Gapless.h"

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
        {"no_leading_space_lower_case", "0 a40 1f1 1bcf", 0, true, 2624, 497, 7119},
        {"sixty_four_bit_length", " 0 0 1 123456789AB", 0, true, 0, 1, 0x123456789ABull},
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
        {"tag_2112_small_padding_floors", 1, 2112, 100, 1, 5186, 0},
        {"tag_4224_upsampled", 1, 4224, 1000, 1, 5186, 38},
        {"tag_4224_small_padding_floors", 1, 4224, 900, 2, 5186, 0},
        {"tag_other_delay_kept", 1, 5058, 950, 1, 5058, 950},
        {"tag_upsampled_without_sbr", 1, 2112, 986, 3, 2112, 986},
        {"no_tag_upsampled", 0, 1024, 2000, 1, 1986, 1038},
        {"no_tag_downsampled", 0, 1024, 2000, 2, 1505, 1519},
        {"no_tag_small_padding_floors", 0, 1024, 500, 1, 1986, 0},
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

}  // namespace

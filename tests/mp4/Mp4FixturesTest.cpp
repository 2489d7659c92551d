// Real-world files from other writers (iTunes, qaac, fdkaac, Nero, mp4v2, exhale, Lavf), with the
// facts their manifest states. Skipped when the shared fixture folder is absent.
#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdio>
#include <optional>

#include "Mp4TestHandle.h"

namespace {

struct Smpb {
    uint32_t delay, padding;
    uint64_t length;
};

struct Edit {
    uint64_t mediaStart, duration;
};

struct FixtureRow {
    const char* file;
    uint32_t soundTracks;
    uint32_t samples;
    uint64_t sttsTotal;         // sum of the sample durations
    uint32_t mediaScale;
    uint32_t movieScale;        // 0: not checked
    std::string config;         // hex of the ES configuration; "" when there is none
    int alacChannels;           // from the cookie; 0 when not ALAC
    std::optional<Smpb> smpb;
    std::optional<Edit> edit;
    uint8_t audioProfile;
};

std::vector<uint8_t> Hex(const std::string& hex) {
    std::vector<uint8_t> out;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) out.push_back(static_cast<uint8_t>(std::stoul(hex.substr(i, 2), nullptr, 16)));
    return out;
}

std::optional<Smpb> ReadSmpb(MP4FileHandle h) {
    MP4ItmfItemList* list = MP4ItmfGetItemsByMeaning(h, "com.apple.iTunes", "iTunSMPB");
    EXPECT_NE(list, nullptr);
    std::optional<Smpb> result;
    if (list && list->size >= 1 && list->elements[0].dataList.size >= 1 && list->elements[0].dataList.elements[0].value) {
        const MP4ItmfData& data = list->elements[0].dataList.elements[0];
        const std::string text(reinterpret_cast<const char*>(data.value), data.valueSize);
        unsigned first = 0, delay = 0, padding = 0;
        unsigned long long length = 0;
        if (std::sscanf(text.c_str(), "%X %X %X %llX", &first, &delay, &padding, &length) == 4) {
            result = Smpb{delay, padding, length};
        }
    }
    MP4ItmfItemListFree(list);
    return result;
}

class Mp4Fixture : public ::testing::TestWithParam<FixtureRow> {};

TEST_P(Mp4Fixture, MatchesManifest) {
    const FixtureRow& row = GetParam();
    const std::string path = testfiles::SharedFixture(row.file);
    if (path.empty()) GTEST_SKIP() << row.file << " not present";
    const Mp4Handle h(MP4Read(path.c_str()));
    ASSERT_TRUE(h);
    ASSERT_EQ(MP4GetNumberOfTracks(h.get(), MP4_AUDIO_TRACK_TYPE, 0), row.soundTracks);
    if (row.movieScale) {
        EXPECT_EQ(MP4GetTimeScale(h.get()), row.movieScale);
    }
    EXPECT_EQ(MP4GetAudioProfileLevel(h.get()), row.audioProfile);
    const MP4TrackId id = MP4FindTrackId(h.get(), 0, MP4_AUDIO_TRACK_TYPE, 0);
    ASSERT_NE(id, MP4_INVALID_TRACK_ID);
    EXPECT_EQ(MP4GetTrackTimeScale(h.get(), id), row.mediaScale);
    ASSERT_EQ(MP4GetTrackNumberOfSamples(h.get(), id), row.samples);

    uint64_t total = 0;
    for (MP4SampleId s = 1; s <= row.samples; ++s) {
        uint8_t* bytes = nullptr;
        uint32_t size = 0;
        MP4Timestamp start = 0;
        MP4Duration duration = 0;
        ASSERT_TRUE(MP4ReadSample(h.get(), id, s, &bytes, &size, &start, &duration)) << s;
        MP4Free(bytes);
        EXPECT_EQ(start, total);
        total += duration;
    }
    EXPECT_EQ(total, row.sttsTotal);
    if (row.samples > 0) {
        EXPECT_EQ(MP4GetSampleIdFromTime(h.get(), id, row.sttsTotal, false), row.samples + 1);
    }

    const auto config = CopyBytes(h.get(), id);
    EXPECT_EQ(config.has_value(), !row.config.empty());
    EXPECT_EQ(config.value_or(std::vector<uint8_t>{}), Hex(row.config));

    const auto cookie = CopyBytes(h.get(), id, "mdia.minf.stbl.stsd.alac.alacInfo");
    EXPECT_EQ(cookie.has_value(), row.alacChannels != 0);
    if (cookie) {
        const std::vector<uint8_t>& c = *cookie;
        ASSERT_GE(c.size(), 36u);
        EXPECT_EQ(c[21], row.alacChannels);
        EXPECT_EQ(c[17], 16);
        EXPECT_EQ((uint32_t{c[32]} << 24) | (uint32_t{c[33]} << 16) | (uint32_t{c[34]} << 8) | c[35], row.mediaScale);
    }

    const std::optional<Smpb> smpb = ReadSmpb(h.get());
    ASSERT_EQ(smpb.has_value(), row.smpb.has_value());
    if (smpb) {
        EXPECT_EQ(smpb->delay, row.smpb->delay);
        EXPECT_EQ(smpb->padding, row.smpb->padding);
        EXPECT_EQ(smpb->length, row.smpb->length);
    }
    if (row.edit) {
        EXPECT_EQ(MP4GetTrackEditMediaStart(h.get(), id, 1), row.edit->mediaStart);
        EXPECT_EQ(MP4GetTrackEditDuration(h.get(), id, 1), row.edit->duration);
    } else {
        EXPECT_EQ(MP4GetTrackEditMediaStart(h.get(), id, 1), MP4_INVALID_TIMESTAMP);
    }
}

const FixtureRow kRows[] = {
    {"rw_itunes_aac_256k_smpb_excerpt.m4a", 1, 89, 89 * 1024, 44100, 0, "1210", 0, Smpb{2112, 986, 11400166}, std::nullopt, 0},
    {"rw_fdkaac_cli_lc_smpb.m4a", 1, 13, 13 * 1024, 44100, 0, "1210", 0, Smpb{2048, 77, 11187}, std::nullopt, 0},
    {"rw_nero_lc_22k_mono_smpb.mp4", 1, 10, 10 * 1024, 22050, 90000, "138856e500", 0, Smpb{2624, 497, 7119}, std::nullopt, 0},
    {"rw_apple_voicememo_lc_48k.m4a", 1, 48, 48 * 1024, 48000, 0, "1188", 0, std::nullopt, std::nullopt, 0},
    {"rw_faac_mp4v2_lc_44k.m4a", 1, 160, 159 * 1024 + 704, 44100, 90000, "1210", 0, std::nullopt, std::nullopt, 0x0F},
    {"rw_lc_71_48k_chapters.mp4", 1, 659, 658 * 1024 + 751, 48000, 0, "11b856e500", 0, std::nullopt, std::nullopt, 0x50},
    {"rw_qaac_alac_s16_st_44k.m4a", 1, 23, 22 * 4096 + 3512, 44100, 0, "", 2, std::nullopt, std::nullopt, 0},
    {"rw_itunes11_alac_silence.m4a", 1, 40, 39 * 4096 + 2752, 44100, 0, "", 2, std::nullopt, std::nullopt, 0},
    {"rw_lavf_xhe_mono_chapters.m4b", 1, 173, 172 * 1024 + 272, 44100, 1000, "f94824211cc01852002000a6104640b800", 0,
     std::nullopt, Edit{0, 4000}, 0},
    {"xhe_st44_p1.m4a", 1, 130, 129 * 1024 + 249, 44100, 44100, "f94844221cc058500020009bf8471cb0", 0, std::nullopt,
     Edit{0, 132345}, 0x49},
    {"xhe_st44_pb_esbr.m4a", 1, 66, 65 * 2048 + 1273, 44100, 44100, "f94844621cc051f210a000400137f08e3960", 0,
     std::nullopt, Edit{2048, 132345}, 0x49},
};

INSTANTIATE_TEST_SUITE_P(Shared, Mp4Fixture, ::testing::ValuesIn(kRows),
                         [](const ::testing::TestParamInfo<FixtureRow>& param) {
                             std::string n = param.param.file;
                             for (char& ch : n) {
                                 if (!isalnum(static_cast<unsigned char>(ch))) ch = '_';
                             }
                             return n;
                         });

TEST(Mp4FixtureFragments, SamplesInMoofAreNotCounted) {
    const std::vector<std::pair<const char*, std::optional<Edit>>> rows = {
        {"xhe_st48_p5_frag.mp4", std::nullopt},
        {"xhe_st48_pa_esbr_frag_elst.mp4", Edit{2048, 192111}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.first);
        const std::string path = testfiles::SharedFixture(row.first);
        if (path.empty()) continue;
        const Mp4Handle h(MP4Read(path.c_str()));
        ASSERT_TRUE(h);
        const MP4TrackId id = MP4FindTrackId(h.get(), 0, MP4_AUDIO_TRACK_TYPE, 0);
        ASSERT_NE(id, MP4_INVALID_TRACK_ID);
        EXPECT_EQ(MP4GetTrackNumberOfSamples(h.get(), id), 0u);
        EXPECT_EQ(MP4GetTrackDuration(h.get(), id), 0u);
        EXPECT_EQ(MP4GetSampleIdFromTime(h.get(), id, 0, false), 0u);
        if (row.second) {
            EXPECT_EQ(MP4GetTrackEditMediaStart(h.get(), id, 1), row.second->mediaStart);
            EXPECT_EQ(MP4GetTrackEditDuration(h.get(), id, 1), row.second->duration);
        }
    }
}

}  // namespace

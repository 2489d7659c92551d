// Movie and track properties: time conversions, edit lists, decoder configuration, the ALAC
// cookie, channel counts, track types, freeform metadata, and every call on a NULL handle.
#include <gtest/gtest.h>

#include <cstring>

#include "Mp4TestHandle.h"
#include "Mp4TestMovie.h"

namespace {

constexpr uint64_t kAllOnes = ~uint64_t{0};

TEST(Mp4Properties, TimeConversions) {
    Mp4TestMovie movie;
    const Mp4Handle h = OpenImage(movie.Build());  // media scale 44100
    Mp4TestMovie zeroScale;
    zeroScale.mediaScale = 0;
    const Mp4Handle z = OpenImage(zeroScale.Build());
    ASSERT_TRUE(h && z);
    struct Row {
        const char* name;
        bool toTrack;
        MP4FileHandle handle;
        uint64_t value;
        uint32_t scale;
        uint64_t expected;
    };
    const std::vector<Row> rows = {
        {"22675 ns", true, h.get(), 22675, 1000000000, 0},
        {"22676 ns", true, h.get(), 22676, 1000000000, 1},
        {"one second in ns", true, h.get(), 1000000000, 1000000000, 44100},
        {"same scale unchanged", true, h.get(), 123456789, 44100, 123456789},
        {"2^48 ns: last exact (floor)", true, h.get(), uint64_t{1} << 48, 1000000000, 12413046472},
        {"2^48+1 ns: double, half up", true, h.get(), (uint64_t{1} << 48) + 1, 1000000000, 12413046473},
        {"from scale 0", true, h.get(), 5, 0, kAllOnes},
        {"to media scale 0", true, z.get(), 5, 1000, 0},
        {"1 tick", false, h.get(), 1, 1000000000, 22675},
        {"22675 ticks", false, h.get(), 22675, 1000000000, 514172335},
        {"2^40-1 ticks, double path", false, h.get(), (uint64_t{1} << 40) - 1, 1000000000, 24932236457482996},
        {"to scale 0", false, h.get(), 5, 0, 0},
        {"from media scale 0", false, z.get(), 5, 1000, kAllOnes},
        {"2^34 ticks still exact", false, h.get(), uint64_t{1} << 34, 1000000000, 389566194648526},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const uint64_t got = row.toTrack ? MP4ConvertToTrackTimestamp(row.handle, 1, row.value, row.scale)
                                         : MP4ConvertFromTrackTimestamp(row.handle, 1, row.value, row.scale);
        EXPECT_EQ(got, row.expected);
    }
    EXPECT_EQ(MP4ConvertToTrackTimestamp(h.get(), 9, 1, 1000), kAllOnes);
    EXPECT_EQ(MP4ConvertFromTrackTimestamp(h.get(), 9, 1, 1000), kAllOnes);
}

TEST(Mp4Properties, EditLists) {
    auto elst = [](uint8_t version, const std::vector<std::pair<uint64_t, uint64_t>>& edits) {
        BoxBuilder b("elst");
        b.Full(version, 0).U32(static_cast<uint32_t>(edits.size()));
        for (const auto& e : edits) {
            if (version == 1) b.U64(e.first).U64(e.second); else b.U32(static_cast<uint32_t>(e.first)).U32(static_cast<uint32_t>(e.second));
            b.U32(0x10000);
        }
        return BoxBuilder("edts").Child(b);
    };
    struct Row {
        const char* name;
        std::optional<BoxBuilder> edts;
        MP4EditId edit;
        MP4Timestamp mediaStart;
        MP4Duration duration;
    };
    const std::vector<Row> rows = {
        {"v0 first", elst(0, {{3000, 1024}}), 1, 1024, 3000},
        {"v0 id 0", elst(0, {{3000, 1024}}), 0, kAllOnes, kAllOnes},
        {"v0 id past count", elst(0, {{3000, 1024}}), 2, kAllOnes, kAllOnes},
        {"v0 id 3", elst(0, {{3000, 1024}}), 3, kAllOnes, kAllOnes},
        {"v0 empty edit zero-extends", elst(0, {{500, 0xFFFFFFFF}, {3000, 0}}), 1, 0xFFFFFFFFu, 500},
        {"v0 second entry", elst(0, {{500, 0xFFFFFFFF}, {3000, 0}}), 2, 0, 3000},
        {"v1 64-bit values", elst(1, {{uint64_t{1} << 33, (uint64_t{1} << 35) + 7}}), 1, (uint64_t{1} << 35) + 7, uint64_t{1} << 33},
        {"v1 empty edit", elst(1, {{500, kAllOnes}}), 1, kAllOnes, 500},
        {"no edts", std::nullopt, 1, kAllOnes, kAllOnes},
        {"edts without elst", BoxBuilder("edts"), 1, kAllOnes, kAllOnes},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Mp4TestMovie movie;
        movie.edts = row.edts;
        const Mp4Handle h = OpenImage(movie.Build());
        ASSERT_TRUE(h);
        EXPECT_EQ(MP4GetTrackEditMediaStart(h.get(), 1, row.edit), row.mediaStart);
        EXPECT_EQ(MP4GetTrackEditDuration(h.get(), 1, row.edit), row.duration);
    }
}

struct ConfigResult {
    bool ok;
    std::vector<uint8_t> bytes;
    bool nullPointer;
};

ConfigResult EsConfiguration(MP4FileHandle h, MP4TrackId id) {
    uint8_t* bytes = reinterpret_cast<uint8_t*>(&h);  // must be overwritten
    uint32_t size = 77;
    ConfigResult r;
    r.ok = MP4GetTrackESConfiguration(h, id, &bytes, &size);
    r.nullPointer = bytes == nullptr;
    if (bytes) r.bytes.assign(bytes, bytes + size);
    if (!bytes) {
        EXPECT_EQ(size, 0u);
    }
    MP4Free(bytes);
    return r;
}

TEST(Mp4Properties, EsConfiguration) {
    const std::vector<uint8_t> asc = {0x12, 0x10, 0x56, 0xE5, 0x00};
    struct Row {
        const char* name;
        BoxBuilder stsd;
        bool ok;
        std::vector<uint8_t> bytes;
    };
    const std::vector<Row> rows = {
        {"mp4a with esds", StsdBox({SoundEntry("mp4a", {EsdsBox(asc)})}), true, asc},
        {"empty DecoderSpecificInfo", StsdBox({SoundEntry("mp4a", {EsdsBox({})})}), true, {}},
        {"no DecoderSpecificInfo", StsdBox({SoundEntry("mp4a", {EsdsBox({}, false)})}), false, {}},
        {"QuickTime wave layout", StsdBox({SoundEntry("mp4a", {BoxBuilder("wave").Child(BoxBuilder("frma").Str("mp4a")).Child(EsdsBox(asc))}, 1)}), true, asc},
        {"sound version 2", StsdBox({SoundEntry("mp4a", {EsdsBox(asc)}, 2, 6)}), true, asc},
        {"alac entry has none", StsdBox({SoundEntry("alac", {AlacCookieBox()})}), false, {}},
        {"only the first entry counts", StsdBox({SoundEntry("alac", {AlacCookieBox()}), SoundEntry("mp4a", {EsdsBox(asc)})}), false, {}},
        {"esds broken", StsdBox({SoundEntry("mp4a", {BoxBuilder("esds").Full(0, 0).U8(3).U8(40).U8(0)})}), false, {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Mp4TestMovie movie;
        movie.stsd = row.stsd;
        const Mp4Handle h = OpenImage(movie.Build());
        ASSERT_TRUE(h);
        const ConfigResult r = EsConfiguration(h.get(), 1);
        EXPECT_EQ(r.ok, row.ok);
        EXPECT_EQ(r.bytes, row.bytes);
        if (row.bytes.empty()) {
            EXPECT_TRUE(r.nullPointer);
        }
    }
}

TEST(Mp4Properties, AlacCookieAndChannels) {
    const std::vector<uint8_t> cookie = AlacCookieBox().Build();
    struct Row {
        const char* name;
        BoxBuilder stsd;
        bool hasCookie;
        int channels;
    };
    const std::vector<Row> rows = {
        {"alac v0", StsdBox({SoundEntry("alac", {AlacCookieBox()})}), true, 2},
        {"alac sound v1", StsdBox({SoundEntry("alac", {AlacCookieBox()}, 1, 2)}), true, 2},
        {"alac sound v2, 6 channels", StsdBox({SoundEntry("alac", {AlacCookieBox()}, 2, 6)}), true, 6},
        {"alac as second entry", StsdBox({SoundEntry("mp4a", {EsdsBox({0x12, 0x10})}, 0, 1), SoundEntry("alac", {AlacCookieBox()})}), true, 1},
        {"alac entry without cookie", StsdBox({SoundEntry("alac", {})}), false, 2},
        {"mp4a", StsdBox({SoundEntry("mp4a", {EsdsBox({0x12, 0x10})})}), false, 2},
        {"not a sound entry", StsdBox({BoxBuilder("mp4v").Zeros(78)}), false, -1},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Mp4TestMovie movie;
        movie.stsd = row.stsd;
        const Mp4Handle h = OpenImage(movie.Build());
        ASSERT_TRUE(h);
        EXPECT_EQ(MP4GetTrackAudioChannels(h.get(), 1), row.channels);
        uint8_t* bytes = reinterpret_cast<uint8_t*>(&movie);
        uint32_t size = 5;
        const bool ok = MP4GetTrackBytesProperty(h.get(), 1, "mdia.minf.stbl.stsd.alac.alacInfo", &bytes, &size);
        EXPECT_EQ(ok, row.hasCookie);
        if (ok) {
            ASSERT_EQ(size, 36u);
            EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + size), cookie);
            // The probe's offsets: channels at 21, bit depth at 17, rate at 32..35.
            EXPECT_EQ(bytes[21], 2);
            EXPECT_EQ(bytes[17], 16);
            EXPECT_EQ((bytes[32] << 24) | (bytes[33] << 16) | (bytes[34] << 8) | bytes[35], 44100);
            MP4Free(bytes);
            bytes = nullptr;
            ASSERT_TRUE(MP4GetTrackBytesProperty(h.get(), 1, "mdia.minf.stbl.stsd.alac.alac.decoderConfig", &bytes, &size));
            EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + size), std::vector<uint8_t>(cookie.begin() + 8, cookie.end()));
            MP4Free(bytes);
        } else {
            EXPECT_EQ(bytes, nullptr);
            EXPECT_EQ(size, 0u);
        }
        bytes = nullptr;
        EXPECT_FALSE(MP4GetTrackBytesProperty(h.get(), 1, "mdia.minf.stbl.stsd.alac.alacinfo", &bytes, &size));
    }
}

TEST(Mp4Properties, AudioProfileLevel) {
    auto iods = [](uint8_t tag, uint16_t idAndFlags, uint8_t audio) {
        return BoxBuilder("iods").Full(0, 0).U8(tag).U8(7).U16(idAndFlags).U8(0xFF).U8(0xFF).U8(audio).U8(0xFF).U8(0xFF);
    };
    const std::vector<std::tuple<const char*, std::optional<BoxBuilder>, uint8_t>> rows = {
        {"none", std::nullopt, 0},
        {"MP4_IOD 0x2C", iods(0x10, 0x004F, 0x2C), 0x2C},
        {"MP4_IOD 0xFE", iods(0x10, 0x004F, 0xFE), 0xFE},
        {"URL flag set", iods(0x10, 0x006F, 0x2C), 0},
        {"tag 0x11", iods(0x11, 0x004F, 0x2C), 0},
        {"cut short", BoxBuilder("iods").Full(0, 0).U8(0x10).U8(7).U16(0x004F), 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::get<0>(row));
        Mp4TestMovie movie;
        movie.iods = std::get<1>(row);
        const Mp4Handle h = OpenImage(movie.Build());
        ASSERT_TRUE(h);
        EXPECT_EQ(MP4GetAudioProfileLevel(h.get()), std::get<2>(row));
    }
}

TEST(Mp4Properties, TrackTypesAndScales) {
    Mp4TestMovie movie;
    movie.movieScale = 90000;
    Mp4TestMovie video = movie;
    video.trackId = 7;
    video.handler = "vide";
    video.mediaScale = 12800;
    Mp4TestMovie second = movie;
    second.trackId = 9;
    second.stsd = StsdBox({SoundEntry("mp4a", {EsdsBox({0x12, 0x10})})});
    movie.extraMoovChildren = {video.Trak(0), second.Trak(0)};
    const Mp4Handle h = OpenImage(movie.Build());
    ASSERT_TRUE(h);
    EXPECT_EQ(MP4GetTimeScale(h.get()), 90000u);
    EXPECT_EQ(MP4GetNumberOfTracks(h.get(), nullptr, 0), 3u);
    EXPECT_EQ(MP4GetNumberOfTracks(h.get(), "soun", 0), 2u);
    EXPECT_EQ(MP4GetNumberOfTracks(h.get(), "Audio", 0), 2u);
    EXPECT_EQ(MP4GetNumberOfTracks(h.get(), "vide", 0), 1u);
    EXPECT_EQ(MP4GetNumberOfTracks(h.get(), "SOUN", 0), 0u);  // the handler comparison is exact
    EXPECT_EQ(MP4GetNumberOfTracks(h.get(), "soun", 0x40), 2u);
    EXPECT_EQ(MP4GetNumberOfTracks(h.get(), "soun", 0x67), 0u);
    EXPECT_EQ(MP4FindTrackId(h.get(), 1, "mp4a", 0), 9u);
    EXPECT_EQ(MP4FindTrackId(h.get(), 0, "vide", 0), 7u);
    EXPECT_EQ(MP4FindTrackId(h.get(), 1, "vide", 0), MP4_INVALID_TRACK_ID);
    EXPECT_STREQ(MP4GetTrackType(h.get(), 7), "vide");
    EXPECT_STREQ(MP4GetTrackType(h.get(), 9), "soun");
    EXPECT_EQ(MP4GetTrackType(h.get(), 2), nullptr);
    EXPECT_EQ(MP4GetTrackTimeScale(h.get(), 7), 12800u);
    EXPECT_EQ(MP4GetTrackDuration(h.get(), 7), 10240u);
    EXPECT_EQ(MP4GetTrackDuration(h.get(), 2), kAllOnes);
}

TEST(Mp4Properties, HeaderVersionsAndZeroScales) {
    Mp4TestMovie movie;
    movie.mvhd = BoxBuilder("mvhd").Full(1, 0).U64(0).U64(0).U32(0).U64(5).Zeros(80);
    movie.mdhd = BoxBuilder("mdhd").Full(1, 0).U64(0).U64(0).U32(48000).U64(uint64_t{1} << 36).U16(0).U16(0);
    movie.tkhd = BoxBuilder("tkhd").Full(1, 3).U64(0).U64(0).U32(42).U32(0).U64(1).Zeros(60);
    const Mp4Handle h = OpenImage(movie.Build());
    ASSERT_TRUE(h);
    EXPECT_EQ(MP4GetTimeScale(h.get()), 0u);
    EXPECT_EQ(MP4FindTrackId(h.get(), 0, nullptr, 0), 42u);
    EXPECT_EQ(MP4GetTrackTimeScale(h.get(), 42), 48000u);
    EXPECT_EQ(MP4GetTrackDuration(h.get(), 42), uint64_t{1} << 36);
}

BoxBuilder Freeform(const std::optional<std::string>& mean, const std::optional<std::string>& name,
                    const std::vector<std::string>& values) {
    BoxBuilder item("----");
    if (mean) item.Child(BoxBuilder("mean").Full(0, 0).Str(*mean));
    if (name) item.Child(BoxBuilder("name").Full(0, 0).Str(*name));
    for (const std::string& v : values) item.Child(BoxBuilder("data").U16(0).U8(0).U8(1).U32(0).Str(v));
    return item;
}

BoxBuilder Udta(const std::vector<BoxBuilder>& items) {
    BoxBuilder ilst("ilst");
    ilst.Child(BoxBuilder("\xA9nam").Child(BoxBuilder("data").U32(1).U32(0).Str("Title")));
    for (const BoxBuilder& i : items) ilst.Child(i);
    BoxBuilder meta("meta");
    meta.Full(0, 0).Child(BoxBuilder("hdlr").Full(0, 0).U32(0).Str("mdir").Zeros(13)).Child(ilst);
    return BoxBuilder("udta").Child(meta);
}

struct FoundItem {
    std::string mean;
    bool hasName;
    std::string name;
    std::vector<std::string> values;
};

std::vector<FoundItem> Find(MP4FileHandle h, const char* meaning, const char* name) {
    std::vector<FoundItem> found;
    MP4ItmfItemList* list = MP4ItmfGetItemsByMeaning(h, meaning, name);
    EXPECT_NE(list, nullptr);
    if (!list) return found;
    if (list->size == 0) {
        EXPECT_EQ(list->elements, nullptr);
    }
    for (uint32_t i = 0; i < list->size; ++i) {
        const MP4ItmfItem& item = list->elements[i];
        EXPECT_STREQ(item.code, "----");
        FoundItem f{item.mean, item.name != nullptr, item.name ? item.name : "", {}};
        if (item.dataList.size == 0) {
            EXPECT_EQ(item.dataList.elements, nullptr);
        }
        for (uint32_t d = 0; d < item.dataList.size; ++d) {
            const MP4ItmfData& data = item.dataList.elements[d];
            EXPECT_EQ(data.typeCode, MP4_ITMF_BT_UTF8);
            f.values.emplace_back(reinterpret_cast<const char*>(data.value), data.valueSize);
        }
        found.push_back(f);
    }
    MP4ItmfItemListFree(list);
    return found;
}

TEST(Mp4Properties, FreeformItemsByMeaning) {
    const std::string apple = "com.apple.iTunes";
    const std::string smpb = " 00000000 00000840 000003DA 0000000000ADF3E6";
    Mp4TestMovie movie;
    movie.udta = Udta({
        Freeform(apple, std::string("iTunSMPB"), {smpb}),                  // 1 match
        Freeform(std::string("com.apple.itunes"), std::string("iTunSMPB"), {"x"}),  // case differs
        Freeform(apple + std::string(1, '\0'), std::string("iTunSMPB"), {"x"}),     // trailing NUL
        Freeform(apple, std::string("itunsmpb"), {"x"}),                   // name case differs
        Freeform(apple, std::string("iTunSMPB\0", 9), {"x"}),               // name trailing NUL
        Freeform(apple, std::string("iTunSMPB"), {"a", "b"}),              // 2 data values
        Freeform(apple, std::nullopt, {"no name"}),                         // no name box
        Freeform(apple, std::string("iTunSMPB"), {}),                      // no data
        Freeform(std::nullopt, std::string("iTunSMPB"), {"no mean"}),       // no mean box
    });
    const Mp4Handle h = OpenImage(movie.Build());
    ASSERT_TRUE(h);
    const std::vector<FoundItem> smpbItems = Find(h.get(), apple.c_str(), "iTunSMPB");
    ASSERT_EQ(smpbItems.size(), 3u);
    EXPECT_EQ(smpbItems[0].values, std::vector<std::string>{smpb});
    EXPECT_EQ(smpbItems[1].values, (std::vector<std::string>{"a", "b"}));
    EXPECT_TRUE(smpbItems[2].values.empty());

    const std::vector<FoundItem> anyName = Find(h.get(), apple.c_str(), nullptr);
    ASSERT_EQ(anyName.size(), 6u);
    EXPECT_FALSE(anyName[4].hasName);
    EXPECT_EQ(anyName[4].values, std::vector<std::string>{"no name"});
    EXPECT_EQ(Find(h.get(), apple.c_str(), "").size(), 6u);
    EXPECT_TRUE(Find(h.get(), "com.example", nullptr).empty());
    EXPECT_EQ(MP4ItmfGetItemsByMeaning(h.get(), nullptr, "iTunSMPB"), nullptr);

    const Mp4Handle bare = OpenImage(Mp4TestMovie().Build());
    EXPECT_TRUE(Find(bare.get(), apple.c_str(), "iTunSMPB").empty());
}

TEST(Mp4Properties, ReturnedCopiesOutliveTheHandle) {
    Mp4TestMovie movie;
    movie.udta = Udta({Freeform(std::string("com.apple.iTunes"), std::string("iTunSMPB"), {"value"})});
    Mp4Handle h = OpenImage(movie.Build());
    ASSERT_TRUE(h);
    MP4ItmfItemList* list = MP4ItmfGetItemsByMeaning(h.get(), "com.apple.iTunes", "iTunSMPB");
    uint8_t* config = nullptr;
    uint32_t size = 0;
    ASSERT_TRUE(MP4GetTrackESConfiguration(h.get(), 1, &config, &size));
    h.reset();
    ASSERT_NE(list, nullptr);
    ASSERT_EQ(list->size, 1u);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(list->elements[0].dataList.elements[0].value), 5), "value");
    EXPECT_EQ(config[0], 0x12);
    MP4ItmfItemListFree(list);
    MP4Free(config);
    MP4ItmfItemListFree(nullptr);
    MP4Free(nullptr);
}

TEST(Mp4Properties, NullHandleGivesEveryErrorValue) {
    MP4FileHandle h = MP4_INVALID_FILE_HANDLE;
    EXPECT_EQ(MP4GetTimeScale(h), 0u);
    EXPECT_EQ(MP4GetAudioProfileLevel(h), 0);
    EXPECT_EQ(MP4GetNumberOfTracks(h, nullptr, 0), 0u);
    EXPECT_EQ(MP4FindTrackId(h, 0, nullptr, 0), MP4_INVALID_TRACK_ID);
    EXPECT_EQ(MP4GetTrackType(h, 1), nullptr);
    EXPECT_EQ(MP4GetTrackTimeScale(h, 1), 0u);
    EXPECT_EQ(MP4GetTrackDuration(h, 1), MP4_INVALID_DURATION);
    EXPECT_EQ(MP4GetTrackNumberOfSamples(h, 1), 0u);
    EXPECT_EQ(MP4GetTrackAudioChannels(h, 1), -1);
    EXPECT_EQ(MP4GetTrackEditMediaStart(h, 1, 1), MP4_INVALID_TIMESTAMP);
    EXPECT_EQ(MP4GetTrackEditDuration(h, 1, 1), MP4_INVALID_DURATION);
    EXPECT_EQ(MP4ConvertToTrackTimestamp(h, 1, 1, 1000), MP4_INVALID_TIMESTAMP);
    EXPECT_EQ(MP4ConvertFromTrackTimestamp(h, 1, 1, 1000), MP4_INVALID_TIMESTAMP);
    EXPECT_EQ(MP4GetSampleIdFromTime(h, 1, 0, false), MP4_INVALID_SAMPLE_ID);
    EXPECT_EQ(MP4GetSampleSync(h, 1, 1), -1);
    EXPECT_EQ(MP4GetSampleTime(h, 1, 1), MP4_INVALID_TIMESTAMP);
    EXPECT_EQ(MP4ItmfGetItemsByMeaning(h, "com.apple.iTunes", nullptr), nullptr);
    uint8_t dummy = 0;
    uint8_t* bytes = &dummy;
    uint32_t size = 3;
    EXPECT_FALSE(MP4GetTrackESConfiguration(h, 1, &bytes, &size));
    EXPECT_EQ(bytes, nullptr);
    EXPECT_EQ(size, 0u);
    bytes = &dummy;
    size = 3;
    EXPECT_FALSE(MP4GetTrackBytesProperty(h, 1, "mdia.minf.stbl.stsd.alac.alacInfo", &bytes, &size));
    EXPECT_EQ(bytes, nullptr);
    EXPECT_EQ(size, 0u);
    MP4Close(h, 0);
}

}  // namespace

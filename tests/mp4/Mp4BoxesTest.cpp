// Our MP4 reader on hand-built files, for what encoders rarely or never write: header forms,
// malformed sizes and counts, missing boxes, sample tables and lookups at their edges, sample
// entry variants, edit lists and time conversions. Files real encoders write
// are compared with ffprobe in Mp4FfmpegTest.
#include <gtest/gtest.h>

#include <functional>

#include "Mp4TestMovie.h"
#include "Mp4TimeScale.h"
#include "TestFiles.h"

namespace {

constexpr uint64_t kAllOnes = ~uint64_t{0};
using Change = std::function<void(Mp4TestMovie&)>;

// How many samples, from the first on, read back with the builder's bytes; every later one
// must fail with no buffer left behind. Read last to first, so no lookup leans on the previous.
size_t ReadablePrefix(MP4FileHandle h, const Mp4TestMovie& movie) {
    size_t readable = 0;
    for (size_t id = movie.sizes.size() + 1; id >= 1; --id) {
        uint8_t* bytes = nullptr;
        uint32_t size = 0;
        const bool ok = MP4ReadSample(h, 1, static_cast<MP4SampleId>(id), &bytes, &size);
        EXPECT_TRUE(ok ? id <= movie.sizes.size() && size == movie.sizes[id - 1] : bytes == nullptr && readable == 0) << id;
        for (size_t j = 0; ok && j < size; ++j) EXPECT_EQ(bytes[j], Mp4TestSampleByte(id - 1, j)) << id << "/" << j;
        MP4Free(bytes);
        if (ok) readable = std::max(readable, id);
    }
    return readable;
}

BoxBuilder Stz2(const std::vector<uint32_t>& sizes, int bits) {
    BoxBuilder b("stz2");
    b.Full(0, 0).U24(0).U8(static_cast<uint32_t>(bits)).U32(static_cast<uint32_t>(sizes.size()));
    for (size_t i = 0; i < sizes.size(); ++i) {
        if (bits == 16) b.U16(sizes[i]);
        if (bits == 8) b.U8(sizes[i]);
        if (bits == 4 && i % 2 == 0) b.U8((sizes[i] << 4) | (i + 1 < sizes.size() ? sizes[i + 1] : 0));
    }
    return b;
}

TEST(Mp4Boxes, WhatOpensAndWhichSamplesRead) {
    const size_t all = 10;
    struct Row {
        const char* name;
        Change change;
        bool opens;
        size_t readable;  // samples 1..readable read; checked when the file opens
    };
    const Row rows[] = {
        {"plain", [](Mp4TestMovie&) {}, true, all},
        {"moov first, mdat to the end of the file", [](Mp4TestMovie& m) { m.moovFirst = m.mdatToEnd = true; }, true, all},
        {"64-bit moov and mdat sizes", [](Mp4TestMovie& m) { m.moovLarge = m.mdatLarge = true; }, true, all},
        {"uuid boxes at the top and in moov", [](Mp4TestMovie& m) {
             m.extraTop = m.extraMoovChildren = {BoxBuilder("uuid").Bytes(std::vector<uint8_t>(16, 0xAB)).Str("x")};
         }, true, all},
        {"stz2 16-bit", [](Mp4TestMovie& m) { m.sizes = {300, 1, 65535, 0, 7}; m.stsz = Stz2(m.sizes, 16); }, true, 5},
        {"stz2 8-bit", [](Mp4TestMovie& m) { m.sizes = {255, 1, 0, 9, 7, 100}; m.stsz = Stz2(m.sizes, 8); }, true, 6},
        {"stz2 4-bit, odd count", [](Mp4TestMovie& m) { m.sizes = {15, 1, 0, 9, 7}; m.stsz = Stz2(m.sizes, 4); }, true, 5},
        // Tables longer than the reader's window of entries: reads from the last sample back
        // cross every window's edge, and chunks of 1000 samples sum sizes across them.
        {"stsz and co64 across windows", [](Mp4TestMovie& m) {
             m.sizes.resize(3000);
             for (size_t i = 0; i < m.sizes.size(); ++i) m.sizes[i] = static_cast<uint32_t>(i % 13);
             m.chunks = {{1, 3}};
             m.co64 = true;
         }, true, 3000},
        {"stz2 4-bit across windows, chunks of 1000", [](Mp4TestMovie& m) {
             m.sizes.resize(9001);
             for (size_t i = 0; i < m.sizes.size(); ++i) m.sizes[i] = static_cast<uint32_t>(i % 16);
             m.chunks = {{1, 1000}};
             m.stsz = Stz2(m.sizes, 4);
         }, true, 9001},
        {"constant size", [](Mp4TestMovie& m) { m.sizes.assign(9, 33); m.stsz = BoxBuilder("stsz").Full(0, 0).U32(33).U32(9); }, true, 9},
        {"chunk runs of 3, 1 and 2 samples", [](Mp4TestMovie& m) {
             m.sizes = {10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20};
             m.chunks = {{1, 3}, {3, 1}, {4, 2}};
         }, true, 11},
        {"stsc run of zero samples skipped", [](Mp4TestMovie& m) { m.stsc = StscBox({{1, 2}, {2, 0}, {2, 2}}); }, true, all},
        {"no samples (as in a fragmented file)", [](Mp4TestMovie& m) { m.sizes = {}; }, true, 0},
        {"empty stsc", [](Mp4TestMovie& m) { m.stsc = StscBox({}); }, true, 0},
        {"stsc first chunk 0 covers nothing", [](Mp4TestMovie& m) { m.stsc = StscBox({{0, 2}}); }, true, 0},
        {"fewer chunks than the samples need", [](Mp4TestMovie& m) { m.stco = TableBox("stco", {28, 28 + 201}); }, true, 4},
        {"stsz counts fewer samples", [](Mp4TestMovie& m) { m.stsz = BoxBuilder("stsz").Full(0, 0).U32(0).U32(4).U32(100).U32(101).U32(102).U32(103); }, true, 4},
        {"stts shorter than the sample count", [](Mp4TestMovie& m) { m.stts = SttsBox({3, 1024}); }, true, all},
        {"size 7 at the top", [](Mp4TestMovie& m) { m.extraTop.push_back(BoxBuilder("free").SizeOverride(7).Zeros(8)); }, false, 0},
        {"size 5 inside moov", [](Mp4TestMovie& m) { m.extraMoovChildren.push_back(BoxBuilder("free").SizeOverride(5).Zeros(8)); }, false, 0},
        {"uuid box of size 20", [](Mp4TestMovie& m) { m.extraTop.push_back(BoxBuilder("uuid").SizeOverride(20).Zeros(16)); }, false, 0},
        {"movie header cut short", [](Mp4TestMovie& m) { m.mvhd = BoxBuilder("mvhd").Full(0, 0).U32(0).U32(0); }, false, 0},
        {"stts total beyond 64 bits", [](Mp4TestMovie& m) { m.stts = SttsBox({0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 2, 0xFFFFFFFF}); }, false, 0},
        {"no movie header", [](Mp4TestMovie& m) { m.omit.insert("mvhd"); }, false, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Mp4TestMovie movie;
        row.change(movie);
        const Mp4Handle h = OpenImage(movie.Build());
        ASSERT_EQ(h != nullptr, row.opens);
        if (!h) continue;
        ASSERT_EQ(MP4GetNumberOfTracks(h.get(), nullptr, 0), 1u);
        EXPECT_EQ(ReadablePrefix(h.get(), movie), row.readable);
    }
    const std::vector<uint8_t> good = Mp4TestMovie().Build();
    EXPECT_FALSE(OpenImage({}));
    EXPECT_FALSE(OpenImage(Concat({{0, 0, 0, 1, 'f', 'r', 'e', 'e', 0, 0, 0, 0, 0, 0, 0, 15}, good})));  // below its header
    EXPECT_FALSE(OpenImage(Concat({good, {0, 0, 0, 1, 'f', 'r', 'e', 'e', 0, 0}})));  // 64-bit header cut by the end
    EXPECT_TRUE(OpenImage(Concat({good, {0, 0, 0, 1, 'f'}})));  // under 8 bytes after the last box are ignored
    EXPECT_EQ(MP4Read((testfiles::ScratchDir() + "/does-not-exist.m4a").c_str()), nullptr);
}

TEST(Mp4Boxes, SampleLookups) {
    Mp4TestMovie runs;  // 4 x 1024, 2 x 0, 4 x 1024: the zero-length run answers its first sample
    runs.stts = SttsBox({4, 1024, 2, 0, 4, 1024});
    runs.stss = StssBox({9, 1, 5});  // unsorted in the file
    Mp4TestMovie emptyStss, emptyStts;
    emptyStss.stss = StssBox({});
    emptyStts.stts = SttsBox({});
    const Mp4Handle h = OpenImage(runs.Build()), noSync = OpenImage(emptyStss.Build()), noTime = OpenImage(emptyStts.Build());
    const Mp4Handle plain = OpenImage(Mp4TestMovie().Build());
    ASSERT_TRUE(h && noSync && noTime && plain);
    for (auto [when, id] : {std::pair<uint64_t, MP4SampleId>{1023, 1}, {4096, 5}, {4097, 7}, {8192, 11}, {8193, 0}}) {
        EXPECT_EQ(MP4GetSampleIdFromTime(h.get(), 1, when, false), id) << when;
    }
    EXPECT_EQ(MP4GetSampleIdFromTime(noTime.get(), 1, 0, false), 0u);
    for (auto [id, sync] : {std::pair<MP4SampleId, int8_t>{1, 1}, {2, 0}, {5, 1}, {8, 0}, {9, 1}, {10, 0}}) {
        EXPECT_EQ(MP4GetSampleSync(h.get(), 1, id), sync) << id;
    }
    EXPECT_EQ(MP4GetSampleSync(noSync.get(), 1, 1), 0);
    EXPECT_EQ(MP4GetSampleSync(plain.get(), 1, 7), 1);
    EXPECT_EQ(MP4GetSampleSync(plain.get(), 2, 1), -1);
    EXPECT_EQ(MP4GetSampleTime(h.get(), 1, 8), 5u * 1024);
    EXPECT_EQ(MP4GetSampleTime(h.get(), 1, 11), kAllOnes);
    EXPECT_EQ(MP4GetSampleTime(h.get(), 1, 0), kAllOnes);
}

TEST(Mp4Boxes, SampleEntries) {
    const std::vector<uint8_t> asc = {0x12, 0x10, 0x56, 0xE5, 0x00}, cookie = AlacCookieBox().Build();
    const auto none = std::optional<std::vector<uint8_t>>();
    const BoxBuilder mp4a = SoundEntry("mp4a", {EsdsBox(asc)}), alac = SoundEntry("alac", {AlacCookieBox()});
    struct Row {
        const char* name;
        BoxBuilder stsd;
        std::optional<std::vector<uint8_t>> config, alacInfo;
        int channels;
    };
    const Row rows[] = {
        {"mp4a", StsdBox({mp4a}), asc, none, 2},
        {"empty DecoderSpecificInfo", StsdBox({SoundEntry("mp4a", {EsdsBox({})})}), std::vector<uint8_t>{}, none, 2},
        {"no DecoderSpecificInfo", StsdBox({SoundEntry("mp4a", {EsdsBox({}, false)})}), none, none, 2},
        {"broken esds", StsdBox({SoundEntry("mp4a", {BoxBuilder("esds").Full(0, 0).U8(3).U8(40).U8(0)})}), none, none, 2},
        {"sound version 2", StsdBox({SoundEntry("mp4a", {EsdsBox(asc)}, 2, 6)}), asc, none, 6},
        {"alac", StsdBox({alac}), none, cookie, 2},
        {"alac without its cookie", StsdBox({SoundEntry("alac", {})}), none, none, 2},
        {"alac second: the first entry's fields", StsdBox({SoundEntry("mp4a", {EsdsBox(asc)}, 0, 1), alac}), asc, cookie, 1},
        {"not a sound entry", StsdBox({BoxBuilder("mp4v").Zeros(78)}), none, none, -1},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Mp4TestMovie movie;
        movie.stsd = row.stsd;
        const Mp4Handle h = OpenImage(movie.Build());
        ASSERT_TRUE(h);
        EXPECT_EQ(CopyBytes(h.get(), 1), row.config);
        EXPECT_EQ(CopyBytes(h.get(), 1, "mdia.minf.stbl.stsd.alac.alacInfo"), row.alacInfo);
        EXPECT_EQ(MP4GetTrackAudioChannels(h.get(), 1), row.channels);
    }
}

TEST(Mp4Boxes, EditLists) {
    auto elst = [](uint8_t version, uint64_t duration, uint64_t start) {
        BoxBuilder b("elst");
        b.Full(version, 0).U32(2);
        for (int i = 0; i < 2; ++i) {
            if (version == 1) b.U64(duration).U64(start).U32(0x10000);
            else b.U32(static_cast<uint32_t>(duration)).U32(static_cast<uint32_t>(start)).U32(0x10000);
        }
        return BoxBuilder("edts").Child(b);
    };
    struct Row {
        const char* name;
        std::optional<BoxBuilder> edts;
        MP4EditId edit;
        uint64_t mediaStart, duration;
    } rows[] = {
        {"v0 empty edit zero-extends", elst(0, 500, 0xFFFFFFFF), 2, 0xFFFFFFFF, 500},
        {"v1 64-bit values", elst(1, uint64_t{1} << 33, kAllOnes), 1, kAllOnes, uint64_t{1} << 33},
        {"edit id 0", elst(0, 3000, 1024), 0, kAllOnes, kAllOnes},
        {"edit id past the count", elst(0, 3000, 1024), 3, kAllOnes, kAllOnes},
        {"edts without elst", BoxBuilder("edts"), 1, kAllOnes, kAllOnes},
    };
    for (const Row& row : rows) {
        Mp4TestMovie movie;
        movie.edts = row.edts;
        const Mp4Handle h = OpenImage(movie.Build());
        ASSERT_TRUE(h) << row.name;
        EXPECT_EQ(MP4GetTrackEditMediaStart(h.get(), 1, row.edit), row.mediaStart) << row.name;
        EXPECT_EQ(MP4GetTrackEditDuration(h.get(), 1, row.edit), row.duration) << row.name;
    }
}

// Exact integer products, then doubles rounded half up, and no answer past 64 bits.
TEST(Mp4Boxes, TimeConversions) {
    struct Row {
        uint64_t value;
        uint32_t from, to;
        uint64_t expected;
    } rows[] = {
        {22675, 1000000000, 44100, 0},  // rounds down
        {22676, 1000000000, 44100, 1},
        {123456789, 44100, 44100, 123456789},
        {uint64_t{1} << 48, 1000000000, 44100, 12413046472},        // last exact product
        {(uint64_t{1} << 48) + 1, 1000000000, 44100, 12413046473},  // double, rounded half up
        {5, 0, 1000, kAllOnes},
        {5, 1000, 0, 0},
        {22675, 44100, 1000000000, 514172335},
        {uint64_t{1} << 34, 44100, 1000000000, 389566194648526},
        {kAllOnes, 44100, 1000000000, kAllOnes},  // not representable
    };
    for (const Row& row : rows) EXPECT_EQ(Mp4Rescale(row.value, row.from, row.to), row.expected) << row.value << " from " << row.from;
    const Mp4Handle h = OpenImage(Mp4TestMovie().Build());
    EXPECT_EQ(MP4ConvertToTrackTimestamp(h.get(), 1, 22676, 1000000000), 1u);
    EXPECT_EQ(MP4ConvertFromTrackTimestamp(h.get(), 1, 22675, 1000000000), 514172335u);
    EXPECT_EQ(MP4ConvertToTrackTimestamp(h.get(), 9, 1, 1000), kAllOnes);
}

}  // namespace

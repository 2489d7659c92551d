// Box headers, malformed sizes and counts, missing boxes and truncation: what opens, and what
// the track list then holds.
#include <gtest/gtest.h>

#include <functional>
#include <set>

#include "Mp4TestHandle.h"
#include "Mp4TestMovie.h"

namespace {

uint32_t TrackCount(const Mp4Handle& h) { return MP4GetNumberOfTracks(h.get(), nullptr, 0); }

// Reads every sample of track 1 and checks its bytes against the builder's pattern.
void ExpectAllSamplesIntact(const Mp4Handle& h, const Mp4TestMovie& movie) {
    ASSERT_EQ(MP4GetTrackNumberOfSamples(h.get(), 1), movie.sizes.size());
    for (size_t i = 0; i < movie.sizes.size(); ++i) {
        std::vector<uint8_t> bytes;
        ASSERT_TRUE(ReadSampleBytes(h.get(), 1, static_cast<MP4SampleId>(i + 1), bytes)) << "sample " << i + 1;
        ASSERT_EQ(bytes.size(), movie.sizes[i]);
        for (size_t j = 0; j < bytes.size(); ++j) ASSERT_EQ(bytes[j], Mp4TestSampleByte(i, j)) << i << "/" << j;
    }
}

struct LayoutCase {
    const char* name;
    std::function<void(Mp4TestMovie&)> change;
};

TEST(Mp4Boxes, HeaderFormsAllReadTheSameSamples) {
    const BoxBuilder uuidBox = BoxBuilder("uuid").Uuid(std::vector<uint8_t>(16, 0xAB)).Str("opaque");
    const std::vector<LayoutCase> cases = {
        {"plain", [](Mp4TestMovie&) {}},
        {"moov first", [](Mp4TestMovie& m) { m.moovFirst = true; }},
        {"moov 64-bit size", [](Mp4TestMovie& m) { m.moovLarge = true; }},
        {"mdat 64-bit size", [](Mp4TestMovie& m) { m.mdatLarge = true; }},
        {"mdat to end of file", [](Mp4TestMovie& m) { m.moovFirst = true; m.mdatToEnd = true; }},
        {"free box inside moov", [](Mp4TestMovie& m) { m.extraMoovChildren.push_back(BoxBuilder("free")); }},
        {"uuid at top level", [uuidBox](Mp4TestMovie& m) { m.extraTop.push_back(uuidBox); }},
        {"uuid inside moov", [uuidBox](Mp4TestMovie& m) { m.extraMoovChildren.push_back(uuidBox); }},
        {"free 64-bit at top", [](Mp4TestMovie& m) { m.extraTop.push_back(BoxBuilder("free").Large64().Zeros(3)); }},
        {"co64 offsets", [](Mp4TestMovie& m) { m.co64 = true; }},
        {"one sample per chunk", [](Mp4TestMovie& m) { m.samplesPerChunk = 1; }},
        {"all samples in one chunk", [](Mp4TestMovie& m) { m.samplesPerChunk = 10; }},
        {"skip box at top", [](Mp4TestMovie& m) { m.extraTop.push_back(BoxBuilder("skip").Zeros(40)); }},
    };
    for (const LayoutCase& c : cases) {
        SCOPED_TRACE(c.name);
        Mp4TestMovie movie;
        c.change(movie);
        const Mp4Handle h = OpenImage(movie.Build());
        ASSERT_TRUE(h);
        EXPECT_EQ(TrackCount(h), 1u);
        ExpectAllSamplesIntact(h, movie);
    }
}

TEST(Mp4Boxes, MoovWithSizeZeroRunsToEndOfFile) {
    Mp4TestMovie movie;
    std::vector<uint8_t> file = movie.Build();
    // The moov is last: rewrite its size field (found by scanning for its type) to 0.
    for (size_t i = 4; i + 4 <= file.size(); ++i) {
        if (std::string(file.begin() + static_cast<long>(i), file.begin() + static_cast<long>(i) + 4) == "moov") {
            file[i - 4] = file[i - 3] = file[i - 2] = file[i - 1] = 0;
            break;
        }
    }
    const Mp4Handle h = OpenImage(file);
    ASSERT_TRUE(h);
    ExpectAllSamplesIntact(h, movie);
}

TEST(Mp4Boxes, MalformedHeadersAndCountsRejectTheFile) {
    auto tooManyEntries = [](const char* type, uint32_t entryBytes, uint32_t count, size_t present) {
        BoxBuilder b(type);
        b.Full(0, 0);
        if (std::string(type) == "stsz") b.U32(0);
        b.U32(count).Zeros(present * entryBytes);
        return b;
    };
    const std::vector<LayoutCase> cases = {
        {"size 2 at top", [](Mp4TestMovie& m) { m.extraTop.push_back(BoxBuilder("free").SizeOverride(2)); }},
        {"size 4 at top", [](Mp4TestMovie& m) { m.extraTop.push_back(BoxBuilder("free").SizeOverride(4)); }},
        {"size 7 at top", [](Mp4TestMovie& m) { m.extraTop.push_back(BoxBuilder("free").SizeOverride(7).Zeros(8)); }},
        {"size 5 in moov", [](Mp4TestMovie& m) { m.extraMoovChildren.push_back(BoxBuilder("free").SizeOverride(5).Zeros(8)); }},
        {"stts count too high", [&](Mp4TestMovie& m) { m.stts = tooManyEntries("stts", 8, 11, 10); }},
        {"stsz count too high", [&](Mp4TestMovie& m) { m.stsz = tooManyEntries("stsz", 4, 11, 10); }},
        {"stsc count too high", [&](Mp4TestMovie& m) { m.stsc = tooManyEntries("stsc", 12, 2, 1); }},
        {"stco count too high", [&](Mp4TestMovie& m) { m.stco = tooManyEntries("stco", 4, 6, 5); }},
        {"co64 count too high", [&](Mp4TestMovie& m) { m.co64 = true; m.stco = tooManyEntries("co64", 8, 6, 5); }},
        {"ctts count too high", [&](Mp4TestMovie& m) { m.ctts = tooManyEntries("ctts", 8, 0xFFFFFFFF, 1); }},
        {"stss count too high", [&](Mp4TestMovie& m) { m.stss = tooManyEntries("stss", 4, 3, 2); }},
        {"stsd count too high", [&](Mp4TestMovie& m) { m.stsd = tooManyEntries("stsd", 8, 0x10000000, 0); }},
        {"elst count too high", [](Mp4TestMovie& m) {
             m.edts = BoxBuilder("edts").Child(BoxBuilder("elst").Full(0, 0).U32(2).U32(1000).U32(0).U32(0x10000));
         }},
        {"elst v1 entry cut short", [](Mp4TestMovie& m) {
             m.edts = BoxBuilder("edts").Child(BoxBuilder("elst").Full(1, 0).U32(1).U64(1000).U32(0));
         }},
        {"stz2 with 16-bit entries too few", [](Mp4TestMovie& m) {
             m.stsz = BoxBuilder("stz2").Full(0, 0).U24(0).U8(16).U32(10).Zeros(19);
         }},
        {"mvhd cut short", [](Mp4TestMovie& m) { m.mvhd = BoxBuilder("mvhd").Full(0, 0).U32(0).U32(0); }},
        {"mdhd v1 cut short", [](Mp4TestMovie& m) { m.mdhd = BoxBuilder("mdhd").Full(1, 0).U64(0).U64(0).U32(44100); }},
    };
    for (const LayoutCase& c : cases) {
        SCOPED_TRACE(c.name);
        Mp4TestMovie movie;
        c.change(movie);
        EXPECT_FALSE(OpenImage(movie.Build()));
    }
}

TEST(Mp4Boxes, FilesWithoutAMovieDoNotOpen) {
    const std::vector<uint8_t> adts = {0xFF, 0xF1, 0x50, 0x80, 0x02, 0x1F, 0xFC, 0x21, 0x00, 0x49, 0x90, 0x02};
    Mp4TestMovie noMvhd;
    noMvhd.omit.insert("mvhd");
    const std::vector<std::pair<const char*, std::vector<uint8_t>>> cases = {
        {"empty", {}},
        {"three bytes", {0, 0, 0}},
        {"raw ADTS", adts},
        {"no moov", Concat({BoxBuilder("ftyp").Str("M4A ").Build(), BoxBuilder("mdat").Zeros(100).Build()})},
        {"moov without mvhd", noMvhd.Build()},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.first);
        EXPECT_FALSE(OpenImage(c.second));
        EXPECT_FALSE(OpenImageFile(c.second, "nomovie.mp4"));
    }
    EXPECT_EQ(MP4Read(nullptr), nullptr);
    EXPECT_EQ(MP4Read((testfiles::ScratchDir() + "/does-not-exist.m4a").c_str()), nullptr);
}

TEST(Mp4Boxes, BadHeaderInFrontOfAGoodMovie) {
    const std::vector<uint8_t> good = Mp4TestMovie().Build();
    const std::vector<std::pair<const char*, std::vector<uint8_t>>> cases = {
        {"64-bit size 8", {0, 0, 0, 1, 'f', 'r', 'e', 'e', 0, 0, 0, 0, 0, 0, 0, 8}},
        {"64-bit size 15", {0, 0, 0, 1, 'f', 'r', 'e', 'e', 0, 0, 0, 0, 0, 0, 0, 15}},
        {"uuid size 20", {0, 0, 0, 20, 'u', 'u', 'i', 'd', 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}},
        {"size 6", {0, 0, 0, 6, 'f', 'r', 'e', 'e'}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.first);
        EXPECT_FALSE(OpenImage(Concat({c.second, good})));
    }
    // A 64-bit size header cut by the end of the file.
    EXPECT_FALSE(OpenImage(Concat({good, {0, 0, 0, 1, 'f', 'r', 'e', 'e', 0, 0}})));
    // Fewer than 8 bytes after the last box are ignored.
    EXPECT_TRUE(OpenImage(Concat({good, {0, 0, 0, 1, 'f'}})));
}

TEST(Mp4Boxes, MinimalMoviesOpen) {
    // No ftyp at all, and a moov holding only mvhd.
    Mp4TestMovie movie;
    std::vector<uint8_t> file = movie.Build();
    file.erase(file.begin(), file.begin() + 20);  // drop ftyp; offsets now point 20 bytes late
    Mp4Handle h = OpenImage(file);
    ASSERT_TRUE(h);
    EXPECT_EQ(TrackCount(h), 1u);

    Mp4TestMovie bare;
    bare.omit.insert("trak");
    h = OpenImage(bare.Build());
    ASSERT_TRUE(h);
    EXPECT_EQ(TrackCount(h), 0u);
    EXPECT_EQ(MP4FindTrackId(h.get(), 0, nullptr, 0), MP4_INVALID_TRACK_ID);
}

TEST(Mp4Boxes, TrakMissingARequiredBoxIsLeftOffTheList) {
    const std::vector<std::pair<const char*, bool>> cases = {
        {"tkhd", false}, {"mdhd", false}, {"hdlr", false}, {"stsz", false}, {"stsc", false},
        {"stco", false}, {"stts", false}, {"stbl", false}, {"minf", false}, {"mdia", false},
        {"stsd", true},  // sample tables without a description still list (configuration calls fail)
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.first);
        Mp4TestMovie movie;
        movie.omit.insert(c.first);
        const Mp4Handle h = OpenImage(movie.Build());
        ASSERT_TRUE(h);
        EXPECT_EQ(TrackCount(h), c.second ? 1u : 0u);
        EXPECT_EQ(MP4GetTrackType(h.get(), 1) != nullptr, c.second);
        EXPECT_EQ(MP4GetTrackNumberOfSamples(h.get(), 1), c.second ? 10u : 0u);
    }
}

TEST(Mp4Boxes, ListSkipsOnlyTheIncompleteTrak) {
    Mp4TestMovie movie;
    Mp4TestMovie second = movie;
    second.trackId = 2;
    second.omit.insert("stsc");
    Mp4TestMovie third = movie;
    third.trackId = 3;
    third.handler = "vide";
    // Offsets of the extra traks are not read here.
    movie.extraMoovChildren = {second.Trak(0), third.Trak(0)};
    const Mp4Handle h = OpenImage(movie.Build());
    ASSERT_TRUE(h);
    ASSERT_EQ(TrackCount(h), 2u);
    EXPECT_EQ(MP4FindTrackId(h.get(), 0, nullptr, 0), 1u);
    EXPECT_EQ(MP4FindTrackId(h.get(), 1, nullptr, 0), 3u);
    EXPECT_EQ(MP4FindTrackId(h.get(), 2, nullptr, 0), MP4_INVALID_TRACK_ID);
    EXPECT_STREQ(MP4GetTrackType(h.get(), 3), "vide");
    // The unlisted trak still answers the property calls that look at every trak.
    EXPECT_EQ(MP4GetTrackDuration(h.get(), 2), 10240u);
    EXPECT_EQ(MP4GetTrackTimeScale(h.get(), 2), 0u);
    EXPECT_EQ(MP4GetTrackNumberOfSamples(h.get(), 2), 0u);
}

// Start and end offsets of every box under the containers on the path to the sample tables.
struct BoxSpan {
    std::string type;
    size_t start, end;
};
void CollectSpans(const std::vector<uint8_t>& f, size_t begin, size_t end, std::vector<BoxSpan>& out) {
    static const std::set<std::string> containers = {"moov", "trak", "mdia", "minf", "stbl"};
    size_t at = begin;
    while (at + 8 <= end) {
        const size_t size = (size_t{f[at]} << 24) | (size_t{f[at + 1]} << 16) | (size_t{f[at + 2]} << 8) | f[at + 3];
        const std::string type(f.begin() + static_cast<long>(at) + 4, f.begin() + static_cast<long>(at) + 8);
        out.push_back({type, at, at + size});
        if (containers.count(type)) CollectSpans(f, at + 8, at + size, out);
        at += size;
    }
}

TEST(Mp4Boxes, TruncationAtEveryBoxBoundaryKeepsWhatIsComplete) {
    const Mp4TestMovie movie;
    const std::vector<uint8_t> file = movie.Build();
    std::vector<BoxSpan> spans;
    CollectSpans(file, 0, file.size(), spans);
    size_t mvhdEnd = 0, stcoEnd = 0, moovStart = 0;
    for (const BoxSpan& s : spans) {
        if (s.type == "mvhd") mvhdEnd = s.end;
        if (s.type == "stco") stcoEnd = s.end;
        if (s.type == "moov") moovStart = s.start;
    }
    ASSERT_GT(mvhdEnd, moovStart);
    std::set<size_t> cuts;
    for (const BoxSpan& s : spans) {
        if (s.type == "moov" || s.type == "trak" || s.type == "mdia" || s.type == "minf" || s.type == "stbl") {
            cuts.insert(s.start + 8);  // just inside a container
        }
        cuts.insert(s.start);
        cuts.insert(s.end);
    }
    // Boundaries inside a sample entry are not between complete boxes of the track's path.
    for (const BoxSpan& s : spans) {
        if (s.type == "stsd") {
            for (auto it = cuts.begin(); it != cuts.end();) it = (*it > s.start && *it < s.end) ? cuts.erase(it) : ++it;
        }
    }
    for (size_t cut : cuts) {
        SCOPED_TRACE("cut at " + std::to_string(cut));
        const std::vector<uint8_t> part(file.begin(), file.begin() + static_cast<long>(cut));
        const Mp4Handle h = OpenImage(part);
        if (cut < mvhdEnd) {
            EXPECT_FALSE(h);
            continue;
        }
        ASSERT_TRUE(h);
        EXPECT_EQ(TrackCount(h), cut >= stcoEnd ? 1u : 0u);
    }
}

TEST(Mp4Boxes, TruncationAtEveryByteNeverCrashes) {
    Mp4TestMovie movie;
    movie.moovFirst = true;
    movie.stss = StssBox({1, 3, 5});
    movie.ctts = BoxBuilder("ctts").Full(0, 0).U32(1).U32(10).U32(1024);
    movie.edts = BoxBuilder("edts").Child(BoxBuilder("elst").Full(0, 0).U32(1).U32(232).U32(1024).U32(0x10000));
    const std::vector<uint8_t> file = movie.Build();
    size_t opened = 0;
    for (size_t cut = 0; cut <= file.size(); ++cut) {
        const std::vector<uint8_t> part(file.begin(), file.begin() + static_cast<long>(cut));
        const Mp4Handle h = OpenImage(part);
        if (!h) continue;
        ++opened;
        const MP4TrackId id = MP4FindTrackId(h.get(), 0, nullptr, 0);
        for (MP4SampleId s = 0; s <= MP4GetTrackNumberOfSamples(h.get(), id) + 1; ++s) {
            std::vector<uint8_t> bytes;
            const bool ok = ReadSampleBytes(h.get(), id, s, bytes);
            // A sample reads only when all of its bytes are inside the cut file.
            if (ok) {
                ASSERT_GE(s, 1u);
                for (size_t j = 0; j < bytes.size(); ++j) ASSERT_EQ(bytes[j], Mp4TestSampleByte(s - 1, j));
            }
        }
    }
    // The full file and cuts inside the mdat (moov already complete) open.
    EXPECT_GT(opened, movie.MediaBytes().size());
}

}  // namespace

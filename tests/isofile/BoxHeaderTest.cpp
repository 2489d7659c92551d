// Box headers, container walking and the top-level parse on hand-built files: what opens through
// the flat interface with how many tracks, and for what does not, the code that names the failing
// check.
#include <gtest/gtest.h>

#include <string>

#include "BoxBuilder.h"
#include "CISOException.h"
#include "ISOInMemoryStream.h"
#include "ISOMovie.h"
#include "IsoTestMovies.h"

using namespace isotest;

namespace {

constexpr int32_t kOpens = 0, kNoMovie = -1;  // codes besides CISOException's

std::vector<uint8_t> Mdat() { return BoxBuilder("mdat").Zeros(16).Build(); }
BoxBuilder Mvhd() { return BoxBuilder("mvhd").Full(0, 0).U32(0).U32(0).U32(1000).U32(0).Zeros(80); }

// A one-sample track with `stsc` entries (first chunk, samples per chunk).
BoxBuilder SmallTrak(uint32_t id, const std::vector<std::pair<uint32_t, uint32_t>>& stsc = {{1, 1}}) {
    Mp4TestMovie m;
    m.sizes = {4};
    m.trackId = id;
    m.stsc = StscBox(stsc);
    return m.Trak(0);
}

// A movie header, track 1 and then `extra` inside the 'moov'.
std::vector<uint8_t> MoovWith(std::initializer_list<std::vector<uint8_t>> extra, bool header = true, bool track = true) {
    BoxBuilder moov("moov");
    if (header) moov.Child(Mvhd());
    if (track) moov.Child(SmallTrak(1));
    for (const auto& child : extra) moov.Bytes(child);
    return moov.Build();
}
std::vector<uint8_t> Movie(std::initializer_list<std::vector<uint8_t>> extra = {}) { return Concat({MoovWith(extra), Mdat()}); }
std::vector<uint8_t> WithTrak(const BoxBuilder& trak) { return Concat({MoovWith({trak.Build()}, true, false), Mdat()}); }
std::vector<uint8_t> Cut(std::vector<uint8_t> bytes, size_t n) { return bytes.resize(bytes.size() - n), bytes; }

// The code ISOMovie::Build raises for `bytes`; kOpens or kNoMovie when it raises none.
int32_t BuildCode(const std::vector<uint8_t>& bytes) {
    ISOInMemoryStream stream(bytes.data(), bytes.size());
    try {
        return ISOMovie::Build(stream, kIsoModeRead) ? kOpens : kNoMovie;
    } catch (const CISOException& e) {
        return e.Code();
    }
}

TEST(BoxHeader, OpenResultTracksAndCodes) {
    Mp4TestMovie big;
    big.sizes.assign(20000, 3);
    big.chunks = {{1, 20000}};
    Mp4TestMovie hugeStsz;
    hugeStsz.stsz = BoxBuilder("stsz").Full(0, 0).U32(0).U32(0x40000000).U32(5);
    BoxBuilder trunTraf("traf");
    trunTraf.Child(BoxBuilder("tfhd").Full(0, 0x20000).U32(1)).Child(BoxBuilder("trun").Full(0, 0x301).U32(1000000).U32(0).U32(1).U32(1));
    const std::vector<uint8_t> large = BoxBuilder("free").Large64().Zeros(4).Build();
    const std::vector<uint8_t> trak2 = SmallTrak(2).Build();
    using CE = CISOException;
    struct Row {
        const char* name;
        std::vector<uint8_t> file;
        int32_t code;
        uint32_t tracks;  // checked when the file opens
    } rows[] = {
        {"Plain", Concat({BoxBuilder("ftyp").Str("M4A ").U32(0).Str("isom").Build(), Movie()}), kOpens, 1},
        {"Size8EmptyPayload", Concat({BoxBuilder("free").Build(), MoovWith({})}), kOpens, 1},
        {"Size7AtTopEndsParseBeforeMovie", Concat({BoxBuilder("free").SizeOverride(7).Zeros(8).Build(), MoovWith({})}), kNoMovie, 0},
        {"Size64BitAtTopIsInvalid", Concat({large, MoovWith({})}), kNoMovie, 0},
        {"InvalidChildHeaderEndsItsContainer", Movie({large, trak2}), kOpens, 1},
        {"TypeStartingWithA9IsInvalid", Movie({BoxBuilder("\xA9nam").Zeros(4).Build(), trak2}), kOpens, 1},
        {"UnknownTypeSkipped", Movie({BoxBuilder("zzzz").Zeros(13).Build(), trak2}), kOpens, 2},
        {"ZeroTypeUnchecked", Movie({{0, 0, 0, 8, 0, 0x80, 0, 0}, trak2}), kOpens, 2},
        {"HighByteAfterNonZeroFourthIsInvalid", Movie({{0, 0, 0, 8, 0, 0x80, 0, 'a'}, trak2}), kOpens, 1},
        {"Size0ChildIsInvalid", Movie({BoxBuilder("free").ToEnd().Build(), trak2}), kOpens, 1},
        {"ChildOverrunsParent", Concat({Movie({BoxBuilder("zzzz").SizeOverride(64).Zeros(8).Build()}), Mdat(), Mdat()}),
         CE::kChildrenMismatch, 0},
        {"ChildrenUnderrunParent", Movie({std::vector<uint8_t>(4, 0)}), CE::kChildrenMismatch, 0},
        {"NoFurtherChildInsideTrack", BoxBuilder("moov").Child(Mvhd()).Child(BoxBuilder("trak").Child(BoxBuilder("tkhd").Full(0, 7).U32(0).U32(0).U32(1).Zeros(68)).Zeros(4)).Build(),
         CE::kNoFurtherChild, 0},
        {"TrailingBytesOfMovieAtEndOfDataKept", MoovWith({std::vector<uint8_t>(4, 0)}), kOpens, 1},
        {"HeaderCutByTheEndOfData", Concat({MoovWith({}), {0, 0, 0, 8, 'f', 'r'}}), kOpens, 1},
        {"MovieWithoutHeader", Concat({MoovWith({}, false), Mdat()}), CE::kMissingChild, 0},
        {"FragmentWithoutHeader", Concat({MoovWith({}, true, false), BoxBuilder("moof").Child(BoxBuilder("traf")).Build()}),
         CE::kMissingChild, 0},
        {"HeaderFieldBeyondBox", Concat({MoovWith({BoxBuilder("mvhd").Full(0, 0).U32(0).Build()}, false, false), Mdat()}),
         CE::kPayloadTooShort, 0},
        {"TruncatedMovie", Cut(MoovWith({}), 10), kNoMovie, 0},
        {"TruncatedAfterMovieKeepsMovie", Cut(Movie(), 3), kOpens, 1},
        {"NoMovieAtAll", Concat({BoxBuilder("free").Zeros(10).Build(), Mdat()}), kNoMovie, 0},
        {"Empty", {}, kNoMovie, 0},
        {"TopLevelUdtaAndUuidKeptRaw", Concat({BoxBuilder("udta").Str("not parsed").Build(), BoxBuilder("uuid").Zeros(16).Build(),
                                               BoxBuilder("wide").Build(), MoovWith({})}), kOpens, 1},
        {"TrackWithoutHeader", Concat({MoovWith({BoxBuilder("trak").Build()}, true, false), Mdat()}), CE::kMissingChild, 0},
        {"StscFirstChunkZero", WithTrak(SmallTrak(1, {{0, 1}})), CE::kBadTable, 0},
        {"StscOutOfOrder", WithTrak(SmallTrak(1, {{1, 1}, {3, 1}, {2, 1}})), CE::kBadTable, 0},
        {"StszCountBeyondBox", WithTrak(hugeStsz.Trak(0)), CE::kBadTable, 0},
        {"TrunCountOverrunsBox", Concat({MoovWith({}), BoxBuilder("moof").Child(trunTraf).Build(), Mdat()}), CE::kBadTable, 0},
        {"MovieLargerThanReadBuffer", Concat({MoovWith({big.Trak(0).Build(), trak2}, true, false), Mdat()}), kOpens, 2},
    };
    for (const Row& c : rows) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(BuildCode(c.file), c.code);
        MovieGuard movie;
        ASSERT_EQ(OpenInMemory(c.file, movie), c.code == kOpens ? kIsoOk : kIsoNotAMovie);
        if (c.code != kOpens) continue;
        ISOTrackHandle* track = nullptr;
        for (uint32_t i = 0; i < c.tracks; ++i) EXPECT_EQ(ISO_OpenTrack(movie.handle, &track, i), kIsoOk) << i;
        EXPECT_EQ(ISO_OpenTrack(movie.handle, &track, c.tracks), kIsoNoTrack);
    }
}

}  // namespace

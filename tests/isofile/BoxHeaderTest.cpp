// Box headers, container walking and the top-level parse, observed through the open result and
// the tracks found.
#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>

#include "BoxBuilder.h"
#include "CISOBitBuffer.h"
#include "CISOBox.h"
#include "CISOException.h"
#include "ISOMovie.h"
#include "ISOFileStream.h"
#include "ISOInMemoryStream.h"
#include "IsoTestMovies.h"
#include "TestFiles.h"

using namespace isotest;

namespace {

TableLayout OneSample() { return TableLayout{{4}, {{1, 1024}}, {{1, 1}}, {}, {}}; }

BoxBuilder SmallTrak(uint32_t id) { return Trak(id, OneSample(), {0}); }

std::vector<uint8_t> Mdat() { return BoxBuilder("mdat").Zeros(16).Build(); }

// A movie header, track 1 and then `extra` inside the 'moov', followed by a media data box.
std::vector<uint8_t> MoovWith(std::initializer_list<std::vector<uint8_t>> extra, bool header = true,
                              bool track = true) {
    BoxBuilder moov("moov");
    if (header) moov.Child(Mvhd());
    if (track) moov.Child(SmallTrak(1));
    for (const auto& child : extra) moov.Bytes(child);
    return moov.Build();
}
std::vector<uint8_t> Movie(std::initializer_list<std::vector<uint8_t>> extra = {}) {
    return Concat({MoovWith(extra), Mdat()});
}
std::vector<uint8_t> WithTrak(const TableLayout& layout) {
    return Concat({MoovWith({Trak(1, layout, {0}).Build()}, true, false), Mdat()});
}
std::vector<uint8_t> Cut(std::vector<uint8_t> bytes, size_t n) {
    bytes.resize(bytes.size() - n);
    return bytes;
}

TEST(BoxHeader, OpenResultAndTracks) {
    TableLayout stscZero = OneSample(), stscUnordered = OneSample(), big;
    stscZero.stsc = {{0, 1}};
    stscUnordered.stsc = {{1, 1}, {3, 1}, {2, 1}};
    big.sizes.assign(20000, 3);
    big.stts = {{20000, 1024}};
    big.stsc = {{1, 20000}};
    BoxBuilder stbl("stbl");
    stbl.Child(BoxBuilder("stsz").Full(0, 0).U32(0).U32(0x40000000).U32(5));
    BoxBuilder stszTrak("trak");
    stszTrak.Child(Tkhd(1)).Child(BoxBuilder("mdia").Child(BoxBuilder("minf").Child(stbl)));
    BoxBuilder trunTraf("traf");
    trunTraf.Child(BoxBuilder("tfhd").Full(0, 0x20000).U32(1))
        .Child(BoxBuilder("trun").Full(0, 0x301).U32(1000000).U32(0).U32(1).U32(1));
    const std::vector<uint8_t> large = BoxBuilder("free").Large64().Zeros(4).Build();
    const std::vector<uint8_t> trak2 = SmallTrak(2).Build();
    struct Row {
        const char* name;
        std::vector<uint8_t> file;
        int32_t openResult;
        uint32_t tracks;  // checked when the open succeeds
    };
    const Row rows[] = {
        {"Plain", Concat({BoxBuilder("ftyp").Str("M4A ").U32(0).Str("isom").Build(), Movie()}), kIsoOk, 1},
        {"Size7AtTopEndsParseBeforeMovie", Concat({BoxBuilder("free").SizeOverride(7).Zeros(8).Build(), MoovWith({})}),
         kIsoNotAMovie, 0},
        {"Size8EmptyPayload", Concat({BoxBuilder("free").Build(), MoovWith({})}), kIsoOk, 1},
        {"Size64BitAtTopIsInvalid", Concat({large, MoovWith({})}), kIsoNotAMovie, 0},
        {"Size64BitChildEndsItsContainer", Movie({large, trak2}), kIsoOk, 1},
        {"Size7ChildEndsItsContainer", Movie({BoxBuilder("abcd").SizeOverride(7).Zeros(4).Build(), trak2}), kIsoOk, 1},
        {"TypeStartingWithA9IsInvalid", Movie({BoxBuilder("\xA9nam").Zeros(4).Build(), trak2}), kIsoOk, 1},
        {"UnknownTypeSkipped", Movie({BoxBuilder("zzzz").Zeros(13).Build(), trak2}), kIsoOk, 2},
        {"ChildOverrunsParent", Concat({Movie({BoxBuilder("zzzz").SizeOverride(64).Zeros(8).Build()}), Mdat(), Mdat()}),
         kIsoNotAMovie, 0},
        {"ChildrenUnderrunParent", Movie({std::vector<uint8_t>(4, 0)}), kIsoNotAMovie, 0},
        {"TrailingBytesOfMovieAtEndOfDataKept", MoovWith({std::vector<uint8_t>(4, 0)}), kIsoOk, 1},
        {"MovieWithoutHeader", Concat({MoovWith({}, false), Mdat()}), kIsoNotAMovie, 0},
        {"TruncatedMovie", Cut(MoovWith({}), 10), kIsoNotAMovie, 0},
        {"TruncatedAfterMovieKeepsMovie", Cut(Movie(), 3), kIsoOk, 1},
        {"MediaDataBeforeMovie", Concat({BoxBuilder("mdat").Zeros(40000).Build(), MoovWith({})}), kIsoOk, 1},
        {"NoMovieAtAll", Concat({BoxBuilder("free").Zeros(10).Build(), Mdat()}), kIsoNotAMovie, 0},
        {"Empty", {}, kIsoNotAMovie, 0},
        {"TopLevelUdtaAndUuidKeptRaw",
         Concat({BoxBuilder("udta").Str("not parsed").Build(), BoxBuilder("uuid").Zeros(16).Build(),
                 BoxBuilder("wide").Build(), MoovWith({})}),
         kIsoOk, 1},
        {"TrackWithoutHeader", Concat({MoovWith({BoxBuilder("trak").Build()}, true, false), Mdat()}), kIsoNotAMovie, 0},
        {"StscFirstChunkZero", WithTrak(stscZero), kIsoNotAMovie, 0},
        {"StscOutOfOrder", WithTrak(stscUnordered), kIsoNotAMovie, 0},
        {"StszCountBeyondBox", Concat({MoovWith({stszTrak.Build()}, true, false), Mdat()}), kIsoNotAMovie, 0},
        {"TrunCountOverrunsBox", Concat({MoovWith({}), BoxBuilder("moof").Child(trunTraf).Build(), Mdat()}),
         kIsoNotAMovie, 0},
        {"MovieLargerThanReadBuffer", Concat({MoovWith({Trak(1, big, {0}).Build(), trak2}, true, false), Mdat()}),
         kIsoOk, 2},
    };
    for (const Row& c : rows) {
        SCOPED_TRACE(c.name);
        MovieGuard movie;
        ASSERT_EQ(OpenInMemory(c.file, movie), c.openResult);
        if (c.openResult != kIsoOk) {
            EXPECT_EQ(movie.handle, nullptr);
            continue;
        }
        ISOTrackHandle* track = nullptr;
        for (uint32_t i = 0; i < c.tracks; ++i) EXPECT_EQ(ISO_OpenTrack(movie.handle, &track, i), kIsoOk) << i;
        EXPECT_EQ(ISO_OpenTrack(movie.handle, &track, c.tracks), kIsoNoTrack);
    }
}

struct TypeCase {
    const char* name;
    std::vector<uint8_t> bytes;
    uint32_t type;
    uint64_t size;
};

TEST(BoxHeader, TypesAndSizes) {
    const TypeCase cases[] = {
        {"Known", BoxBuilder("stsz").Zeros(4).Build(), kBoxStsz, 12},
        {"Unknown", BoxBuilder("qqqq").Build(), kBoxNone, 8},
        {"ZeroTypeUnchecked", {0, 0, 0, 8, 0, 0x80, 0, 0}, kBoxNone, 8},
        {"HighByteAfterNonZeroFourth", {0, 0, 0, 8, 0, 0x80, 0, 'a'}, kBoxInvalid, 0},
        {"ControlByte", {0, 0, 0, 8, 'a', 0x1F, 'b', 'c'}, kBoxInvalid, 0},
        {"Size7", BoxBuilder("free").SizeOverride(7).Build(), kBoxInvalid, 0},
        {"Size0ToEnd", BoxBuilder("free").ToEnd().Build(), kBoxInvalid, 0},
        {"Size1Large", BoxBuilder("free").Large64().Build(), kBoxInvalid, 0},
        {"ShortData", {0, 0, 0, 8, 'f', 'r'}, kBoxInvalid, 0},
    };
    for (const TypeCase& c : cases) {
        ISOInMemoryStream stream(c.bytes.data(), c.bytes.size());
        CISOBitBuffer buffer(stream);
        CISOBoxReader reader(buffer, c.bytes.size());
        const CISOBoxHeader header = CISOBox::ReadHeader(reader);
        EXPECT_EQ(header.type, c.type) << c.name;
        EXPECT_EQ(header.size, c.size) << c.name;
    }
}

TEST(BoxHeader, TableNamesRoundTrip) {
    for (uint32_t type = 2; type < CISOBox::kTypeCount; ++type) {
        const char* name = CISOBox::NameOfType(type);
        EXPECT_EQ(CISOBox::TypeOfName(reinterpret_cast<const uint8_t*>(name)), type) << name;
    }
    EXPECT_STREQ(CISOBox::NameOfType(CISOBox::kTypeCount), "INVD");
}

TEST(FileStream, SeekToCurrentPositionDoesNotSeek) {
    const std::string path = testfiles::ScratchDir() + "/stream.bin";
    ASSERT_TRUE(testfiles::WriteAll(path, std::vector<uint8_t>{1, 2, 3, 4, 5, 6}));
    ISOFileStream stream;
    ASSERT_TRUE(stream.OpenRead(path.c_str()));
    EXPECT_EQ(stream.Size(), 6);
    uint8_t bytes[4] = {};
    EXPECT_TRUE(stream.Seek(0));
    EXPECT_EQ(stream.SeeksPerformed(), 0u);
    ASSERT_EQ(stream.Read(2, bytes), 2u);
    EXPECT_TRUE(stream.Seek(2));
    EXPECT_EQ(stream.SeeksPerformed(), 0u);
    EXPECT_TRUE(stream.Seek(4));
    EXPECT_EQ(stream.SeeksPerformed(), 1u);
    ASSERT_EQ(stream.Read(4, bytes), 2u);
    EXPECT_EQ(bytes[0], 5);
    EXPECT_EQ(stream.Write(1, bytes), 0u);  // read mode does not write
}


// The code a malformed file raises identifies the failing check.
TEST(BoxParse, ExceptionCodes) {
    struct Row {
        const char* name;
        std::vector<uint8_t> bytes;
        int32_t code;
    };
    TableLayout badStsc = OneSample();
    badStsc.stsc = {{0, 1}};
    BoxBuilder overrunTraf("traf");
    overrunTraf.Child(BoxBuilder("tfhd").Full(0, 0x20000).U32(1))
        .Child(BoxBuilder("trun").Full(0, 0x100).U32(3).U32(1024));
    const Row rows[] = {
        {"ChildOverrun",
         Concat({MoovWith({BoxBuilder("zzzz").SizeOverride(40).Build()}, true, false), Mdat(), Mdat()}),
         CISOException::kChildrenMismatch},
        {"ChildUnderrun", Concat({BoxBuilder("moov").Child(Mvhd()).Zeros(5).Build(), Mdat()}),
         CISOException::kChildrenMismatch},
        {"NoFurtherChildInsideTrack",
         BoxBuilder("moov").Child(Mvhd()).Child(BoxBuilder("trak").Child(Tkhd(1)).Zeros(4)).Build(),
         CISOException::kNoFurtherChild},
        {"StscFirstChunkZero", WithTrak(badStsc),
         CISOException::kBadTable},
        {"TrunEntriesBeyondBox",
         Concat({MoovWith({}), BoxBuilder("moof").Child(overrunTraf).Build(), Mdat()}),
         CISOException::kBadTable},
        {"HeaderFieldBeyondBox", Concat({MoovWith({BoxBuilder("mvhd").Full(0, 0).U32(0).Build()}, false, false), Mdat()}),
         CISOException::kPayloadTooShort},
        {"MovieWithoutHeader", Concat({MoovWith({}, false), Mdat()}), CISOException::kMissingChild},
        {"FragmentWithoutHeader", Concat({MoovWith({}, true, false), BoxBuilder("moof").Child(BoxBuilder("traf")).Build()}),
         CISOException::kMissingChild},
    };
    for (const Row& r : rows) {
        ISOInMemoryStream stream(r.bytes.data(), r.bytes.size());
        try {
            ISOMovie::Build(stream, kIsoModeRead);
            ADD_FAILURE() << r.name << ": no exception";
        } catch (const CISOException& e) {
            EXPECT_EQ(e.Code(), r.code) << r.name << " from " << e.SourceName() << ":" << e.Line();
            EXPECT_EQ(std::string(e.SourceName()).rfind("..\\..\\src\\", 0), 0u) << r.name;
        }
    }
}

}  // namespace

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

struct HeaderCase {
    const char* name;
    std::function<std::vector<uint8_t>()> file;
    int32_t openResult;
    uint32_t tracks;  // checked when the open succeeds
};

void PrintTo(const HeaderCase& c, std::ostream* os) { *os << c.name; }

class HeaderCases : public ::testing::TestWithParam<HeaderCase> {};

TEST_P(HeaderCases, OpenResultAndTracks) {
    const HeaderCase& c = GetParam();
    const std::vector<uint8_t> bytes = c.file();
    MovieGuard movie;
    ASSERT_EQ(OpenInMemory(bytes, movie), c.openResult);
    if (c.openResult != kIsoOk) {
        EXPECT_EQ(movie.handle, nullptr);
        return;
    }
    ISOTrackHandle* track = nullptr;
    for (uint32_t i = 0; i < c.tracks; ++i) EXPECT_EQ(ISO_OpenTrack(movie.handle, &track, i), kIsoOk) << i;
    EXPECT_EQ(ISO_OpenTrack(movie.handle, &track, c.tracks), kIsoNoTrack);
}

std::vector<uint8_t> MoovWith(std::initializer_list<std::vector<uint8_t>> children) {
    BoxBuilder moov("moov");
    for (const auto& child : children) moov.Bytes(child);
    return moov.Build();
}

const HeaderCase kHeaderCases[] = {
    {"Plain", [] { return Concat({BoxBuilder("ftyp").Str("M4A ").U32(0).Str("isom").Build(),
                                  MoovWith({Mvhd().Build(), SmallTrak(1).Build()}), Mdat()}); },
     kIsoOk, 1},
    {"Size7AtTopEndsParseBeforeMovie",
     [] { return Concat({BoxBuilder("free").SizeOverride(7).Zeros(8).Build(),
                         MoovWith({Mvhd().Build(), SmallTrak(1).Build()})}); },
     kIsoNotAMovie, 0},
    {"Size8EmptyPayload",
     [] { return Concat({BoxBuilder("free").Build(), MoovWith({Mvhd().Build(), SmallTrak(1).Build()})}); },
     kIsoOk, 1},
    {"Size64BitAtTopIsInvalid",
     [] { return Concat({BoxBuilder("free").Large64().Zeros(4).Build(),
                         MoovWith({Mvhd().Build(), SmallTrak(1).Build()})}); },
     kIsoNotAMovie, 0},
    {"Size64BitChildEndsItsContainer",
     [] { return Concat({MoovWith({Mvhd().Build(), SmallTrak(1).Build(),
                                   BoxBuilder("free").Large64().Zeros(4).Build(), SmallTrak(2).Build()}),
                         Mdat()}); },
     kIsoOk, 1},
    {"Size7ChildEndsItsContainer",
     [] { return Concat({MoovWith({Mvhd().Build(), SmallTrak(1).Build(),
                                   BoxBuilder("abcd").SizeOverride(7).Zeros(4).Build(), SmallTrak(2).Build()}),
                         Mdat()}); },
     kIsoOk, 1},
    {"TypeStartingWithA9IsInvalid",
     [] { return Concat({MoovWith({Mvhd().Build(), SmallTrak(1).Build(),
                                   BoxBuilder("\xA9nam").Zeros(4).Build(), SmallTrak(2).Build()}),
                         Mdat()}); },
     kIsoOk, 1},
    {"UnknownTypeSkipped",
     [] { return Concat({MoovWith({Mvhd().Build(), SmallTrak(1).Build(), BoxBuilder("zzzz").Zeros(13).Build(),
                                   SmallTrak(2).Build()}),
                         Mdat()}); },
     kIsoOk, 2},
    {"ChildOverrunsParent",
     [] { return Concat({MoovWith({Mvhd().Build(), SmallTrak(1).Build(),
                                   BoxBuilder("zzzz").SizeOverride(64).Zeros(8).Build()}),
                         Mdat(), Mdat(), Mdat()}); },
     kIsoNotAMovie, 0},
    {"ChildrenUnderrunParent",
     [] { return Concat({BoxBuilder("moov").Child(Mvhd()).Child(SmallTrak(1)).Zeros(4).Build(), Mdat()}); },
     kIsoNotAMovie, 0},
    {"TrailingBytesOfMovieAtEndOfDataKept",
     [] { return BoxBuilder("moov").Child(Mvhd()).Child(SmallTrak(1)).Zeros(4).Build(); },
     kIsoOk, 1},
    {"MovieWithoutHeader", [] { return Concat({MoovWith({SmallTrak(1).Build()}), Mdat()}); }, kIsoNotAMovie, 0},
    {"TruncatedMovie",
     [] {
         auto bytes = MoovWith({Mvhd().Build(), SmallTrak(1).Build()});
         bytes.resize(bytes.size() - 10);
         return bytes;
     },
     kIsoNotAMovie, 0},
    {"TruncatedAfterMovieKeepsMovie",
     [] {
         auto bytes = Concat({MoovWith({Mvhd().Build(), SmallTrak(1).Build()}), Mdat()});
         bytes.resize(bytes.size() - 3);
         return bytes;
     },
     kIsoOk, 1},
    {"MediaDataBeforeMovie",
     [] { return Concat({BoxBuilder("mdat").Zeros(40000).Build(), MoovWith({Mvhd().Build(), SmallTrak(1).Build()})}); },
     kIsoOk, 1},
    {"NoMovieAtAll", [] { return Concat({BoxBuilder("free").Zeros(10).Build(), Mdat()}); }, kIsoNotAMovie, 0},
    {"Empty", [] { return std::vector<uint8_t>{}; }, kIsoNotAMovie, 0},
    {"TopLevelUdtaAndUuidKeptRaw",
     [] { return Concat({BoxBuilder("udta").Str("not parsed").Build(), BoxBuilder("uuid").Zeros(16).Build(),
                         BoxBuilder("wide").Build(), MoovWith({Mvhd().Build(), SmallTrak(1).Build()})}); },
     kIsoOk, 1},
    {"TrackWithoutHeader",
     [] { return Concat({MoovWith({Mvhd().Build(), BoxBuilder("trak").Build()}), Mdat()}); }, kIsoNotAMovie, 0},
    {"StscFirstChunkZero",
     [] {
         TableLayout layout = OneSample();
         layout.stsc = {{0, 1}};
         return Concat({MoovWith({Mvhd().Build(), Trak(1, layout, {0}).Build()}), Mdat()});
     },
     kIsoNotAMovie, 0},
    {"StscOutOfOrder",
     [] {
         TableLayout layout = OneSample();
         layout.stsc = {{1, 1}, {3, 1}, {2, 1}};
         return Concat({MoovWith({Mvhd().Build(), Trak(1, layout, {0}).Build()}), Mdat()});
     },
     kIsoNotAMovie, 0},
    {"StszCountBeyondBox",
     [] {
         BoxBuilder moov("moov");
         BoxBuilder stbl("stbl");
         stbl.Child(BoxBuilder("stsz").Full(0, 0).U32(0).U32(0x40000000).U32(5));
         BoxBuilder trak("trak");
         trak.Child(Tkhd(1)).Child(BoxBuilder("mdia").Child(BoxBuilder("minf").Child(stbl)));
         return Concat({moov.Child(Mvhd()).Child(trak).Build(), Mdat()});
     },
     kIsoNotAMovie, 0},
    {"TrunCountOverrunsBox",
     [] {
         BoxBuilder traf("traf");
         traf.Child(BoxBuilder("tfhd").Full(0, 0x20000).U32(1))
             .Child(BoxBuilder("trun").Full(0, 0x301).U32(1000000).U32(0).U32(1).U32(1));
         return Concat({MoovWith({Mvhd().Build(), SmallTrak(1).Build()}),
                        BoxBuilder("moof").Child(traf).Build(), Mdat()});
     },
     kIsoNotAMovie, 0},
    {"MovieLargerThanReadBuffer",
     [] {
         TableLayout layout;
         layout.sizes.assign(20000, 3);
         layout.stts = {{20000, 1024}};
         layout.stsc = {{1, 20000}};
         return Concat({MoovWith({Mvhd().Build(), Trak(1, layout, {0}).Build(), SmallTrak(2).Build()}), Mdat()});
     },
     kIsoOk, 2},
};

INSTANTIATE_TEST_SUITE_P(Files, HeaderCases, ::testing::ValuesIn(kHeaderCases),
                         [](const auto& row) { return std::string(row.param.name); });

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

}  // namespace

namespace {

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
         Concat({MoovWith({Mvhd().Build(), BoxBuilder("zzzz").SizeOverride(40).Build()}), Mdat(), Mdat()}),
         CISOException::kChildrenMismatch},
        {"ChildUnderrun", Concat({BoxBuilder("moov").Child(Mvhd()).Zeros(5).Build(), Mdat()}),
         CISOException::kChildrenMismatch},
        {"NoFurtherChildInsideTrack",
         BoxBuilder("moov").Child(Mvhd()).Child(BoxBuilder("trak").Child(Tkhd(1)).Zeros(4)).Build(),
         CISOException::kNoFurtherChild},
        {"StscFirstChunkZero", Concat({MoovWith({Mvhd().Build(), Trak(1, badStsc, {0}).Build()}), Mdat()}),
         CISOException::kBadTable},
        {"TrunEntriesBeyondBox",
         Concat({MoovWith({Mvhd().Build(), SmallTrak(1).Build()}), BoxBuilder("moof").Child(overrunTraf).Build(),
                 Mdat()}),
         CISOException::kBadTable},
        {"HeaderFieldBeyondBox", Concat({MoovWith({BoxBuilder("mvhd").Full(0, 0).U32(0).Build()}), Mdat()}),
         CISOException::kPayloadTooShort},
        {"MovieWithoutHeader", Concat({MoovWith({SmallTrak(1).Build()}), Mdat()}), CISOException::kMissingChild},
        {"FragmentWithoutHeader", Concat({MoovWith({Mvhd().Build()}), BoxBuilder("moof").Child(BoxBuilder("traf")).Build()}),
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

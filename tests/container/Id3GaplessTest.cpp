// The ID3v2 "iTunSMPB" reader over hand-built tags: every version and text encoding, the
// version-number rule, extended headers, padding, and malformed sizes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "Id3Gapless.h"
#include "RawTestMaterial.h"
#include "TestFiles.h"

namespace {

// iTunes' layout: a leading space and twelve fields; delay 0x840, padding 0x1CA, length 0x3E2B36.
const std::string kItunesText =
    " 00000000 00000840 000001CA 00000000003E2B36 00000000 00000000 00000000 00000000 00000000 00000000 "
    "00000000 00000000";

using namespace rawtest;  // the ID3v2 builders

Bytes Text(const std::string& s) { return Bytes(s.begin(), s.end()); }
Bytes Comment(int major, const Bytes& body, Id3Sizes sizes = Id3Sizes::ForVersion) { return Id3Frame(major, "COMM", body, sizes); }
Bytes Latin1Comment(const std::string& text) { return Comment(3, CommentBody(Latin1, text)); }

Bytes TextFrame(int major) { return Id3Frame(major, major == 2 ? "TT2" : "TIT2", Concat({{0}, Text("A title")})); }

const Bytes kAudio(600, 0x55);  // stand-in audio behind the tag, so positions in the file are meaningful

struct Id3Case {
    std::string name;
    Bytes file;
    bool result;
    uint32_t delay, padding;  // expected outputs (untouched outputs stay 7, 8, 9)
    uint64_t length;
};

Id3Case Smpb(const std::string& name, const Bytes& tag) { return {name, Concat({tag, kAudio}), true, 2112, 458, 4074294}; }
Id3Case NoData(const std::string& name, const Bytes& file) { return {name, file, false, 7, 8, 9}; }

std::vector<Id3Case> Cases() {
    std::vector<Id3Case> rows;
    const char* encodings[] = {"Latin1", "Utf8", "Utf16Le", "Utf16Be", "Utf16BeNoBom"};
    for (int major : {2, 3, 4}) {
        for (int enc = Latin1; enc <= Utf16BeNoBom; ++enc) {
            rows.push_back(Smpb("V2_" + std::to_string(major) + "_" + encodings[enc],
                                Id3Tag(major, 0, 0, Concat({TextFrame(major), Comment(major, CommentBody(Id3Text(enc), kItunesText))}), 64)));
        }
    }
    const Bytes utf16 = CommentBody(Utf16Le, kItunesText);  // 250 bytes: sizes differ by layout
    rows.push_back(Smpb("V2_3Revision1SyncsafeSizes", Id3Tag(3, 1, 0, Comment(3, utf16, Id3Sizes::Syncsafe))));
    // A 128-byte body has the plain size 00 00 00 80, which reads as syncsafe 0: end of walk.
    rows.push_back(NoData("V2_3Revision1PlainSizesBreakWalk",
                          Concat({Id3Tag(3, 1, 0, Comment(3, CommentBody(Latin1, kItunesText.substr(0, 114)), Id3Sizes::Plain)), kAudio})));
    // Extended headers: 2.3 counts the size without its own 4 bytes, 2.4 with them.
    rows.push_back(Smpb("V2_3ExtendedHeader", Id3Tag(3, 0, 0x40, Concat({{0, 0, 0, 6, 0, 0, 0, 0, 0, 0}, Latin1Comment(kItunesText)}))));
    rows.push_back(Smpb("V2_4ExtendedHeaderWithCrc",
                        Id3Tag(4, 0, 0x40, Concat({{0, 0, 0, 12, 1, 0x20, 5, 1, 2, 3, 4, 5}, Comment(4, CommentBody(Latin1, kItunesText))}))));
    // Padding ends the walk: a comment frame behind it is never reached.
    rows.push_back(NoData("ZeroPaddingBeforeComment", Concat({Id3Tag(3, 0, 0, Concat({TextFrame(3), Bytes(20, 0), Latin1Comment(kItunesText)})), kAudio})));
    // Comment frames that are not the gapless one are passed over.
    rows.push_back(Smpb("OtherCommentFirst", Id3Tag(3, 0, 0, Concat({Comment(3, CommentBody(Latin1, "just a comment that is long enough to count", "")),
                                                                  Comment(3, CommentBody(Latin1, kItunesText, "iTunNORM")),
                                                                  Comment(3, CommentBody(Utf16Be, kItunesText))}))));
    // Zero values mean no gapless data, but the values are still written.
    rows.push_back({"ZeroDelay", Concat({Id3Tag(3, 0, 0, Latin1Comment(" 00000000 00000000 000001CA 00000000003E2B36")), kAudio}), false, 0, 458, 4074294});
    rows.push_back(NoData("ThreeFieldsOnly", Concat({Id3Tag(3, 0, 0, Latin1Comment(" 00000000 00000840 000001CA                       ")), kAudio})));
    // Malformed sizes and files.
    Bytes oddUtf16 = CommentBody(Utf16Le, kItunesText);
    oddUtf16.push_back('7');  // odd body: the last byte pairs with the terminator
    rows.push_back(Smpb("OddSizedUtf16Body", Id3Tag(3, 0, 0, Comment(3, oddUtf16))));
    Bytes huge = Id3Tag(3, 0, 0, Latin1Comment(kItunesText)), negative = huge;
    huge[14] = 0x7F;      // frame size 0x7F0000xx: far more than the file holds
    negative[14] = 0x80;  // plain size with the top bit set
    rows.push_back(NoData("CommentLargerThanFile", Concat({huge, kAudio})));
    rows.push_back(NoData("NegativeFrameSize", Concat({negative, kAudio})));
    rows.push_back(NoData("NoTag", kAudio));
    return rows;
}

TEST(Id3Gapless, ReadsGaplessValuesAndRestoresPosition) {
    for (const Id3Case& c : Cases()) {
        SCOPED_TRACE(c.name);
        const std::string path = rawtest::Write(c.name + ".aac", c.file);
        const int fd = ::open(path.c_str(), O_RDONLY);
        ASSERT_GE(fd, 0);
        const off_t start = c.file.size() > 3 ? 3 : 0;
        ASSERT_EQ(::lseek(fd, start, SEEK_SET), start);
        uint32_t delay = 7, padding = 8;
        uint64_t length = 9;
        EXPECT_EQ(ReadId3Gapless(fd, &delay, &padding, &length), c.result);
        EXPECT_EQ(delay, c.delay);
        EXPECT_EQ(padding, c.padding);
        EXPECT_EQ(length, c.length);
        EXPECT_EQ(::lseek(fd, 0, SEEK_CUR), start);
        ::close(fd);
    }
}

}  // namespace

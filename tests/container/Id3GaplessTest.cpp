// The ID3v2 "iTunSMPB" reader over hand-built tags: every version and text encoding, the
// version-number rule, extended headers, padding, and malformed sizes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <deque>
#include <string>
#include <vector>

#include "Id3Gapless.h"
#include "TestFiles.h"

namespace {

using Bytes = std::vector<uint8_t>;

// iTunes' layout: a leading space and twelve fields; delay 0x840, padding 0x1CA, length 0x3E2B36.
const std::string kItunesText =
    " 00000000 00000840 000001CA 00000000003E2B36 00000000 00000000 00000000 00000000 00000000 00000000 "
    "00000000 00000000";

enum class Enc { Latin1, Utf8, Utf16Le, Utf16Be, Utf16BeNoBom };

void Append(Bytes& out, const std::string& s) { out.insert(out.end(), s.begin(), s.end()); }

// The text as UTF-16 code units with a zero terminator.
void AppendUtf16(Bytes& out, const std::string& ascii, bool bigEndian) {
    for (char c : ascii) out.insert(out.end(), {bigEndian ? uint8_t{0} : uint8_t(c), bigEndian ? uint8_t(c) : uint8_t{0}});
    out.insert(out.end(), {0, 0});
}

Bytes CommentBody(Enc enc, const std::string& text, const std::string& description = "iTunSMPB") {
    Bytes b;
    switch (enc) {
        case Enc::Latin1:
        case Enc::Utf8:
            b.push_back(enc == Enc::Latin1 ? 0 : 3);
            Append(b, "eng");
            Append(b, description);
            b.push_back(0);
            Append(b, text);
            b.push_back(0);
            break;
        case Enc::Utf16Le:
        case Enc::Utf16Be: {
            const bool be = enc == Enc::Utf16Be;
            b.push_back(1);
            Append(b, "eng");
            const Bytes bom = be ? Bytes{0xFE, 0xFF} : Bytes{0xFF, 0xFE};
            b.insert(b.end(), bom.begin(), bom.end());
            AppendUtf16(b, description, be);
            b.insert(b.end(), bom.begin(), bom.end());
            AppendUtf16(b, text, be);
            break;
        }
        case Enc::Utf16BeNoBom:
            b.push_back(2);
            Append(b, "eng");
            AppendUtf16(b, description, true);
            AppendUtf16(b, text, true);
            break;
    }
    return b;
}

void PutSyncsafe(Bytes& out, uint32_t v) {
    for (int shift = 21; shift >= 0; shift -= 7) out.push_back(static_cast<uint8_t>((v >> shift) & 0x7F));
}
void PutBe(Bytes& out, uint32_t v, int n) {
    for (int i = n - 1; i >= 0; --i) out.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

enum class SizeStyle { ForVersion, Plain, Syncsafe };

// One frame in the layout of `major`: 2 -> 3-char id and 24-bit size, 3 -> plain 32-bit size,
// 4 -> syncsafe size; `style` forces one 32-bit size layout.
Bytes Frame(int major, const std::string& id, const Bytes& body, SizeStyle style = SizeStyle::ForVersion) {
    Bytes f;
    const auto size = static_cast<uint32_t>(body.size());
    if (major == 2) {
        Append(f, id.substr(0, 3));
        PutBe(f, size, 3);
    } else {
        Append(f, id);
        const bool syncsafe = style == SizeStyle::Syncsafe || (style == SizeStyle::ForVersion && major >= 4);
        if (syncsafe) PutSyncsafe(f, size); else PutBe(f, size, 4);
        f.push_back(0);
        f.push_back(0);
    }
    f.insert(f.end(), body.begin(), body.end());
    return f;
}

Bytes Tag(int major, int revision, uint8_t flags, const Bytes& content, size_t padding = 0) {
    Bytes t;
    Append(t, "ID3");
    t.push_back(static_cast<uint8_t>(major));
    t.push_back(static_cast<uint8_t>(revision));
    t.push_back(flags);
    PutSyncsafe(t, static_cast<uint32_t>(content.size() + padding));
    t.insert(t.end(), content.begin(), content.end());
    t.insert(t.end(), padding, 0);
    return t;
}

Bytes Concat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

Bytes TextFrame(int major) {
    Bytes body{0};
    Append(body, "A title");
    return Frame(major, major == 2 ? "TT2" : "TIT2", body);
}

// Stand-in audio behind the tag, so that positions inside the file are meaningful.
const Bytes kAudio(600, 0x55);

struct Id3Case {
    const char* name;
    Bytes file;
    bool result;
    uint32_t delay;       // expected outputs (untouched outputs stay 7, 8, 9)
    uint32_t padding;
    uint64_t length;
};

Id3Case Smpb(const char* name, Bytes tag) {
    return {name, Concat({tag, kAudio}), true, 2112, 458, 4074294};
}
Id3Case NoData(const char* name, Bytes file) { return {name, std::move(file), false, 7, 8, 9}; }

std::vector<Id3Case> Cases() {
    std::vector<Id3Case> rows;
    for (int major : {2, 3, 4}) {
        const std::string v = "V2_" + std::to_string(major);
        for (auto [enc, encName] : {std::pair{Enc::Latin1, "Latin1"}, std::pair{Enc::Utf8, "Utf8"},
                                    std::pair{Enc::Utf16Le, "Utf16Le"}, std::pair{Enc::Utf16Be, "Utf16Be"},
                                    std::pair{Enc::Utf16BeNoBom, "Utf16BeNoBom"}}) {
            static std::deque<std::string> names;  // row names stay put while rows refer to them
            names.push_back(v + "_" + encName);
            rows.push_back(Smpb(names.back().c_str(),
                                Tag(major, 0, 0, Concat({TextFrame(major), Frame(major, "COMM", CommentBody(enc, kItunesText))}),
                                    64)));
        }
    }
    const Bytes utf16Comm = CommentBody(Enc::Utf16Le, kItunesText);  // 250 bytes: sizes differ by layout
    rows.push_back(Smpb("V2_3Revision1SyncsafeSizes",
                        Tag(3, 1, 0, Frame(3, "COMM", utf16Comm, SizeStyle::Syncsafe))));
    // A 128-byte body has the plain size 00 00 00 80, which reads as syncsafe 0: end of walk.
    rows.push_back(NoData("V2_3Revision1PlainSizesBreakWalk",
                          Concat({Tag(3, 1, 0, Frame(3, "COMM", CommentBody(Enc::Latin1, kItunesText.substr(0, 114)),
                                                     SizeStyle::Plain)),
                                  kAudio})));
    rows.push_back(Smpb("V2_4SyncsafeSizeOver127", Tag(4, 0, 0, Frame(4, "COMM", utf16Comm))));

    // Extended headers: 2.3 counts the size without its own 4 bytes, 2.4 with them.
    rows.push_back(Smpb("V2_3ExtendedHeader",
                        Tag(3, 0, 0x40, Concat({Bytes{0, 0, 0, 6, 0, 0, 0, 0, 0, 0},
                                                Frame(3, "COMM", CommentBody(Enc::Latin1, kItunesText))}))));
    rows.push_back(NoData("V2_3ExtendedHeaderSizeBelow6",
                          Concat({Tag(3, 0, 0x40, Concat({Bytes{0, 0, 0, 5, 0, 0, 0, 0, 0},
                                                          Frame(3, "COMM", CommentBody(Enc::Latin1, kItunesText))})),
                                  kAudio})));
    rows.push_back(Smpb("V2_4ExtendedHeaderWithCrc",
                        Tag(4, 0, 0x40, Concat({Bytes{0, 0, 0, 12, 1, 0x20, 5, 1, 2, 3, 4, 5},
                                                Frame(4, "COMM", CommentBody(Enc::Latin1, kItunesText))}))));
    // The smallest 2.4 extended header (6 bytes) is below the accepted size once its own four
    // size bytes are taken off: no gapless data.
    rows.push_back(NoData("V2_4MinimalExtendedHeader",
                          Concat({Tag(4, 0, 0x40, Concat({Bytes{0, 0, 0, 6, 1, 0},
                                                          Frame(4, "COMM", CommentBody(Enc::Latin1, kItunesText))})),
                                  kAudio})));
    rows.push_back(NoData("ExtendedHeaderCutShort", Bytes{'I', 'D', '3', 3, 0, 0x40, 0, 0, 0, 20, 0, 0}));

    // Padding ends the walk: a comment frame behind it is never reached.
    rows.push_back(NoData("ZeroPaddingBeforeComment",
                          Concat({Tag(3, 0, 0, Concat({TextFrame(3), Bytes(20, 0),
                                                       Frame(3, "COMM", CommentBody(Enc::Latin1, kItunesText))})),
                                  kAudio})));
    // Comment frames that are not the gapless one are passed over.
    rows.push_back(Smpb("OtherCommentFirst",
                        Tag(3, 0, 0, Concat({Frame(3, "COMM", CommentBody(Enc::Latin1, "just a comment that is long enough to count", "")),
                                             Frame(3, "COMM", CommentBody(Enc::Latin1, kItunesText, "iTunNORM")),
                                             Frame(3, "COMM", CommentBody(Enc::Utf16Be, kItunesText))}))));

    // Zero values mean no gapless data, but the values are still written.
    rows.push_back({"ZeroPadding",
                    Concat({Tag(3, 0, 0, Frame(3, "COMM", CommentBody(Enc::Latin1, " 00000000 00000840 00000000 00000000003E2B36"))),
                            kAudio}),
                    false, 2112, 0, 4074294});
    rows.push_back({"ZeroDelay",
                    Concat({Tag(3, 0, 0, Frame(3, "COMM", CommentBody(Enc::Latin1, " 00000000 00000000 000001CA 00000000003E2B36"))),
                            kAudio}),
                    false, 0, 458, 4074294});

    // Minimum frame sizes: 57 bytes for 8-bit text (13 before the text, 44 of text and zero).
    const std::string text42 = std::string(" 0 840 1CA 3E2B36") + std::string(25, ' ');
    rows.push_back(NoData("Latin1Frame56Bytes",
                          Concat({Tag(3, 0, 0, Frame(3, "COMM", CommentBody(Enc::Latin1, text42))), kAudio})));
    rows.push_back({"Latin1Frame57Bytes",
                    Concat({Tag(3, 0, 0, Frame(3, "COMM", CommentBody(Enc::Latin1, text42 + " "))), kAudio}),
                    true, 2112, 458, 4074294});
    rows.push_back(NoData("ThreeFieldsOnly",
                          Concat({Tag(3, 0, 0, Frame(3, "COMM", CommentBody(Enc::Latin1, " 00000000 00000840 000001CA                       "))),
                                  kAudio})));

    // Malformed sizes and files.
    Bytes oddUtf16 = CommentBody(Enc::Utf16Le, kItunesText);
    oddUtf16.push_back('7');  // odd body: the last byte pairs with the terminator
    rows.push_back(Smpb("OddSizedUtf16Body", Tag(3, 0, 0, Frame(3, "COMM", oddUtf16))));
    Bytes huge = Tag(3, 0, 0, Frame(3, "COMM", CommentBody(Enc::Latin1, kItunesText)));
    huge[14] = 0x7F;  // frame size 0x7F0000xx: far more than the file holds
    rows.push_back(NoData("CommentLargerThanFile", Concat({huge, kAudio})));
    Bytes negative = Tag(3, 0, 0, Frame(3, "COMM", CommentBody(Enc::Latin1, kItunesText)));
    negative[14] = 0x80;  // plain size with the top bit set
    rows.push_back(NoData("NegativeFrameSize", Concat({negative, kAudio})));
    rows.push_back(NoData("NoTag", kAudio));
    rows.push_back(NoData("ShortFile", Bytes{'I', 'D', '3', 3, 0}));
    rows.push_back(NoData("TagCutInsideFrameHeader", Bytes{'I', 'D', '3', 3, 0, 0, 0, 0, 1, 0, 'C', 'O', 'M'}));
    return rows;
}

TEST(Id3Gapless, ReadsGaplessValuesAndRestoresPosition) {
    for (const Id3Case& c : Cases()) {
        SCOPED_TRACE(c.name);
        const std::string path = testfiles::ScratchDir() + "/" + c.name + ".aac";
        ASSERT_TRUE(testfiles::WriteAll(path, c.file));
        const int fd = ::open(path.c_str(), O_RDONLY);
        ASSERT_GE(fd, 0);
        const off_t start = c.file.size() > 3 ? 3 : 0;
        ASSERT_EQ(::lseek(fd, start, SEEK_SET), start);

        uint32_t delay = 7;
        uint32_t padding = 8;
        uint64_t length = 9;
        EXPECT_EQ(ReadId3Gapless(fd, &delay, &padding, &length), c.result);
        EXPECT_EQ(delay, c.delay);
        EXPECT_EQ(padding, c.padding);
        EXPECT_EQ(length, c.length);
        EXPECT_EQ(::lseek(fd, 0, SEEK_CUR), start);
        ::close(fd);
    }
}

TEST(ScanSmpbText16, UnicodeSpacesSeparateAndOtherUnitsStop) {
    uint32_t delay = 0, padding = 0;
    uint64_t length = 0;
    const std::u16string spaced = u"\u2000840\u3000 1CA\u00A03E2B36";
    EXPECT_EQ(ScanSmpbText16(spaced.data(), static_cast<uint32_t>(spaced.size()), &delay, &padding, &length), 3);
    EXPECT_EQ(delay, 0x1CAu);
    EXPECT_EQ(padding, 0x3E2B36u);

    const std::u16string stopped = u"0 840 \u0431 3";
    delay = padding = 0;
    EXPECT_EQ(ScanSmpbText16(stopped.data(), static_cast<uint32_t>(stopped.size()), &delay, &padding, &length), 2);
    EXPECT_EQ(delay, 0x840u);

    // The count bounds the text even without a zero unit.
    const std::u16string full = u"0 840 1CA 3E2B36";
    EXPECT_EQ(ScanSmpbText16(full.data(), 8, &delay, &padding, &length), 3);
    EXPECT_EQ(padding, 0x1Cu);
}

}  // namespace

// UTF-16 paths and conversions.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "TestFiles.h"
#include "Win32Api.h"

namespace {

std::string ToUtf8(const std::u16string& wide) {
    int n = WideCharToMultiByte(CP_UTF8, 0, wide.c_str(), -1, nullptr, 0, nullptr, nullptr);
    std::string out(static_cast<size_t>(n), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.c_str(), -1, &out[0], n, nullptr, nullptr);
    out.pop_back();
    return out;
}

TEST(Conversions, Utf16ToUtf8) {
    struct Row {
        const char* name;
        std::u16string wide;
        std::string utf8;
    } rows[] = {
        {"ascii", u"abc", "abc"},
        {"latin", u"\u00e9t\u00e9", "\xc3\xa9t\xc3\xa9"},
        {"cjk", u"\u97f3\u697d", "\xe9\x9f\xb3\xe6\xa5\xbd"},
        {"surrogate pair", u"\U0001F3B5", "\xf0\x9f\x8e\xb5"},
        {"lone high surrogate", std::u16string(1, u'\xD83C') + u"x", "\xef\xbf\xbdx"},
        {"lone low surrogate", std::u16string(1, u'\xDF35'), "\xef\xbf\xbd"},
        {"empty", u"", ""},
    };
    for (const auto& row : rows) EXPECT_EQ(ToUtf8(row.wide), row.utf8) << row.name;
}

TEST(Conversions, Utf8ToUtf16AndBufferRules) {
    const char* text = "\xf0\x9f\x8e\xb5" "a" "\xff";
    int n = MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0);
    ASSERT_EQ(n, 5);  // pair, 'a', U+FFFD for the stray byte, NUL
    std::u16string out(5, u'\0');
    ASSERT_EQ(MultiByteToWideChar(CP_UTF8, 0, text, -1, &out[0], 5), 5);
    EXPECT_EQ(out, std::u16string(u"\U0001F3B5a\uFFFD") + u'\0');
    WCHAR small[2];
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, text, -1, small, 2), 0);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    // An explicit length converts no terminator.
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, u"ab", 2, nullptr, 0, nullptr, nullptr), 2);
    char narrow[8];
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, u"ab", -1, narrow, 8, nullptr, nullptr), 3);
    EXPECT_STREQ(narrow, "ab");
    EXPECT_EQ(lstrlenW(u"\U0001F3B5"), 2);
}

TEST(Paths, WideFileNamesOpenAndShortPathIsThePath) {
    const std::string dir = testfiles::ScratchDir();
    const std::u16string name = u"/\u00e9\u97f3\U0001F3B5.bin";
    std::u16string wide;
    for (char c : dir) wide.push_back(static_cast<char16_t>(c));
    wide += name;
    FILE* f = _wfopen(wide.c_str(), u"wb");
    ASSERT_NE(f, nullptr);
    std::fputs("0123456789", f);
    std::fclose(f);
    f = _wfopen(wide.c_str(), u"rb");
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(_fseeki64(f, 0, SEEK_END), 0);
    EXPECT_EQ(_ftelli64(f), 10);
    const int fd = _fileno(f);
    EXPECT_EQ(_lseek(fd, 4, SEEK_SET), 4);
    char buf[8] = {};
    EXPECT_EQ(_read(fd, buf, 3), 3);
    EXPECT_STREQ(buf, "456");
    std::fclose(f);

    WCHAR shortPath[MAX_PATH + 1];
    DWORD n = GetShortPathNameW(wide.c_str(), shortPath, MAX_PATH + 1);
    EXPECT_EQ(n, static_cast<DWORD>(wide.size()));
    EXPECT_EQ(std::u16string(shortPath), wide);
    EXPECT_EQ(GetShortPathNameW(wide.c_str(), shortPath, 3), wide.size() + 1) << "too small: size needed";
    EXPECT_EQ(GetShortPathNameW(u"/no/such/file", shortPath, MAX_PATH + 1), 0u);
}

}  // namespace

// Cookie parsing: accepted layouts and each rejected field, with the exact status.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "AlacDecoder.h"
#include "BitWriter.h"

namespace {

using alactest::CookieFields;
using alactest::MakeCookie;

struct CookieCase {
    const char* name;
    std::vector<uint8_t> bytes;
    AlacStatus status;
    bool buffersAllocated;
};

CookieFields With(void (*change)(CookieFields&)) {
    CookieFields f;
    change(f);
    return f;
}

std::vector<uint8_t> Truncated(std::vector<uint8_t> bytes, size_t size) {
    bytes.resize(size);
    return bytes;
}

std::vector<uint8_t> WithTrailer(std::vector<uint8_t> bytes) {
    bytes.insert(bytes.end(), {0, 0, 0, 24, 'c', 'h', 'a', 'n', 1, 2, 3, 4});
    return bytes;
}

const CookieCase kCookieCases[] = {
    {"Bare24", MakeCookie({}), 0, true},
    {"AlacHeader36", MakeCookie({}, true), 0, true},
    {"FrmaThenAlac48", MakeCookie({}, true, true), 0, true},
    {"TrailingChannelLayoutIgnored", WithTrailer(MakeCookie({}, true)), 0, true},
    {"Size11", Truncated(MakeCookie({}), 11), kAlacParamError, false},
    {"Bare23", Truncated(MakeCookie({}), 23), kAlacParamError, false},
    {"FrmaWith20Bytes", Truncated(MakeCookie({}, true, true), 20), kAlacParamError, false},
    {"FrmaAlacShortRecord", Truncated(MakeCookie({}, true, true), 47), kAlacParamError, false},
    {"FrameLength0", MakeCookie(With([](CookieFields& f) { f.frameLength = 0; })), kAlacParamError, false},
    {"FrameLength1048577", MakeCookie(With([](CookieFields& f) { f.frameLength = 1048577; })), kAlacParamError, false},
    {"FrameLength1048576", MakeCookie(With([](CookieFields& f) { f.frameLength = 1048576; })), 0, true},
    {"BitDepth15", MakeCookie(With([](CookieFields& f) { f.bitDepth = 15; })), kAlacParamError, false},
    {"BitDepth33", MakeCookie(With([](CookieFields& f) { f.bitDepth = 33; })), kAlacParamError, false},
    {"BitDepth17", MakeCookie(With([](CookieFields& f) { f.bitDepth = 17; })), 0, true},
    {"Version1", MakeCookie(With([](CookieFields& f) { f.version = 1; })), kAlacParamError, false},
    {"Channels0", MakeCookie(With([](CookieFields& f) { f.channels = 0; })), kAlacMemoryError, true},
    {"Channels9", MakeCookie(With([](CookieFields& f) { f.channels = 9; })), kAlacMemoryError, true},
    {"Channels8", MakeCookie(With([](CookieFields& f) { f.channels = 8; })), 0, true},
};

class CookieTest : public testing::TestWithParam<CookieCase> {};

TEST_P(CookieTest, ParsesOrRejects) {
    const CookieCase& c = GetParam();
    AlacDecoder decoder{};
    EXPECT_EQ(InitAlacDecoder(&decoder, c.bytes.data(), static_cast<uint32_t>(c.bytes.size())), c.status);
    EXPECT_EQ(decoder.mixBufferU != nullptr && decoder.predictorBuffer != nullptr, c.buffersAllocated);
    ReleaseAlacDecoder(&decoder);
}

INSTANTIATE_TEST_SUITE_P(Cookies, CookieTest, testing::ValuesIn(kCookieCases),
                         [](const testing::TestParamInfo<CookieCase>& row) { return std::string(row.param.name); });

TEST(CookieFieldsTest, AllLayoutsGiveTheSameConfiguration) {
    CookieFields f;
    f.frameLength = 352;
    f.bitDepth = 24;
    f.pb = 41;
    f.mb = 11;
    f.kb = 13;
    f.channels = 6;
    f.maxRun = 0x1234;
    f.maxFrameBytes = 0x01020304;
    f.avgBitRate = 0x0A0B0C0D;
    f.sampleRate = 96000;
    std::vector<AlacConfig> configs;
    for (int layout = 0; layout < 3; ++layout) {
        const std::vector<uint8_t> bytes = MakeCookie(f, layout >= 1, layout == 2);
        AlacDecoder decoder{};
        ASSERT_EQ(InitAlacDecoder(&decoder, bytes.data(), static_cast<uint32_t>(bytes.size())), 0) << layout;
        configs.push_back(decoder.config);
        ReleaseAlacDecoder(&decoder);
    }
    const AlacConfig& c = configs[0];
    EXPECT_EQ(c.frameLength, 352u);
    EXPECT_EQ(c.bitDepth, 24);
    EXPECT_EQ(c.pb, 41);
    EXPECT_EQ(c.mb, 11);
    EXPECT_EQ(c.kb, 13);
    EXPECT_EQ(c.numChannels, 6);
    EXPECT_EQ(c.maxRun, 0x1234);
    EXPECT_EQ(c.maxFrameBytes, 0x01020304u);
    EXPECT_EQ(c.avgBitRate, 0x0A0B0C0Du);
    EXPECT_EQ(c.sampleRate, 96000u);
    for (const AlacConfig& other : configs) {
        EXPECT_EQ(std::memcmp(&other, &c, sizeof c), 0);
    }
}

TEST(CookieFieldsTest, RefusedVersionStillStoresTheFields) {
    CookieFields f;
    f.version = 1;
    f.frameLength = 1234;
    const std::vector<uint8_t> bytes = MakeCookie(f);
    AlacDecoder decoder{};
    EXPECT_EQ(InitAlacDecoder(&decoder, bytes.data(), static_cast<uint32_t>(bytes.size())), kAlacParamError);
    EXPECT_EQ(decoder.config.frameLength, 1234u);
    EXPECT_EQ(decoder.config.compatibleVersion, 1);
}

}  // namespace

// The trimming stage: what it drops, what it holds back and how it cuts blocks; the
// "iTunSMPB" text scanner.
#include <gtest/gtest.h>

#include <numeric>
#include <vector>

#include "GaplessTrimmer.h"

namespace {

struct TrimCase {
    const char* name;
    uint32_t delayBytes;
    int64_t paddingBytes;
    std::vector<uint32_t> frames;       // bytes pushed per frame
    std::vector<uint32_t> blocks;       // expected block sizes, draining after every frame
};

const TrimCase kTrimCases[] = {
    {"NoTrim", 0, 0, {8192, 8192}, {8192, 8192}},
    {"DelayInsideFirstFrame", 1024 * 8, 0, {2048 * 8, 2048 * 8}, {1024 * 8, 2048 * 8}},
    {"DelayLargerThanFirstFrame", 2112 * 8, 0, {1024 * 8, 1024 * 8, 1024 * 8}, {960 * 8}},
    {"DelayEqualsFirstFrame", 8192, 0, {8192, 8192}, {8192}},
    {"PaddingHeldBack", 0, 1000, {8192, 8192}, {7192, 8192}},
    {"PaddingLargerThanOutput", 0, 100000, {8192, 8192, 8192}, {}},
    {"DelayAndPaddingEatEverything", 8000, 400, {4096, 4096}, {}},
    {"NegativePaddingIsNoReserve", 0, -5000, {4096}, {4096}},
    {"LargePendingCutInto64KiB", 0, 0, {150000}, {65536, 65536, 18928}},
    {"BlockLimitWithReserve", 100, 200, {65536 + 300 + 10}, {65536, 10}},
};

TEST(GaplessTrimmer, DropsDelayHoldsPaddingAndCutsBlocks) {
    for (const TrimCase& c : kTrimCases) {
        SCOPED_TRACE(c.name);
        GaplessTrimmer trimmer;
        trimmer.Reset(c.delayBytes, c.paddingBytes);

        // Every byte of the decoded stream carries its position (mod 251), so the emitted bytes
        // show exactly which part of the stream came through.
        uint64_t streamOffset = 0;
        std::vector<uint8_t> emitted;
        std::vector<uint32_t> blocks;
        std::vector<uint8_t> out(kMaxBlockBytes);
        for (uint32_t frameBytes : c.frames) {
            std::vector<uint8_t> frame(frameBytes);
            for (uint32_t i = 0; i < frameBytes; ++i) frame[i] = static_cast<uint8_t>((streamOffset + i) % 251);
            streamOffset += frameBytes;
            ASSERT_TRUE(trimmer.Push(frame.data(), frameBytes));
            while (trimmer.ReadyBytes() > 0) {
                uint32_t n = 0;
                const uint8_t* block = trimmer.Emit(out.data(), &n);
                blocks.push_back(n);
                emitted.insert(emitted.end(), block, block + n);
            }
        }
        EXPECT_EQ(blocks, c.blocks);
        const uint64_t total = streamOffset;
        const uint64_t reserve = c.paddingBytes < 0 ? 0 : static_cast<uint64_t>(c.paddingBytes);
        const uint64_t expected = total > c.delayBytes + reserve ? total - c.delayBytes - reserve : 0;
        ASSERT_EQ(emitted.size(), expected);
        for (size_t i = 0; i < emitted.size(); ++i) {
            ASSERT_EQ(emitted[i], static_cast<uint8_t>((c.delayBytes + i) % 251)) << "byte " << i;
        }
        EXPECT_LE(trimmer.PendingBytes(), reserve);
    }
}

TEST(GaplessTrimmer, ResetDiscardsPendingBytesAndRestartsSkip) {
    GaplessTrimmer trimmer;
    trimmer.Reset(4, 100);
    std::vector<uint8_t> frame(64, 7);
    ASSERT_TRUE(trimmer.Push(frame.data(), 64));
    EXPECT_EQ(trimmer.PendingBytes(), 60u);
    trimmer.Reset(8, 0);
    EXPECT_EQ(trimmer.PendingBytes(), 0u);
    ASSERT_TRUE(trimmer.Push(frame.data(), 64));
    EXPECT_EQ(trimmer.ReadyBytes(), 56u);
}

struct ScanCase {
    const char* name;
    const char* text;
    int fields;
    uint32_t delay;
    uint32_t padding;
    uint64_t length;
};

const ScanCase kScanCases[] = {
    {"ITunesLayout", " 00000000 00000840 000001CA 00000000003E2B36 00000000 00000000", 4, 2112, 458, 4074294},
    {"NoLeadingSpace", "0 840 3DA ADF3E6", 4, 2112, 986, 11400166},
    {"LowerCaseHex", "0 a40 1f1 1bcf", 4, 2624, 497, 7119},
    {"SixtyFourBitLength", "0 0 0 123456789AB", 4, 0, 0, 0x123456789ABull},
    {"ThreeFields", "0 800 4D", 3, 2048, 77, 333},
    {"OneField", "12", 1, 111, 222, 333},
    {"Empty", "", 0, 111, 222, 333},
    {"NotHex", "zz 1 2 3", 0, 111, 222, 333},
};

TEST(SmpbScan, ConvertsFieldsAndLeavesTheRest) {
    for (const ScanCase& c : kScanCases) {
        SCOPED_TRACE(c.name);
        uint32_t delay = 111;
        uint32_t padding = 222;
        uint64_t length = 333;
        EXPECT_EQ(ScanSmpbText(c.text, &delay, &padding, &length), c.fields);
        EXPECT_EQ(delay, c.delay);
        EXPECT_EQ(padding, c.padding);
        EXPECT_EQ(length, c.length);
    }
}

}  // namespace

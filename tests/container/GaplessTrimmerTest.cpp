// The trimming stage: what it drops, what it holds back and how it cuts blocks.
// (The "iTunSMPB" text scanner is checked with the MP4 gapless values.)
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
        const uint64_t reserve = c.paddingBytes < 0 ? 0 : static_cast<uint64_t>(c.paddingBytes);
        const uint64_t expected = streamOffset > c.delayBytes + reserve ? streamOffset - c.delayBytes - reserve : 0;
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

}  // namespace

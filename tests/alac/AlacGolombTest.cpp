// Entropy decoder edge cases, on hand-built bit strings.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "AdaptiveGolomb.h"
#include "BitWriter.h"

namespace {

using alactest::BitWriter;

struct GolombRun {
    AlacStatus status;
    uint32_t bitsUsed;
    std::vector<int32_t> values;
    AlacBitReader reader;
};

GolombRun Decode(const std::vector<uint8_t>& bytes, uint32_t count, uint32_t mb, uint32_t pb, uint32_t kb,
                 uint32_t width = 16, uint32_t startBit = 0) {
    GolombRun run;
    run.values.assign(count + 1, 0x5A5A5A5A);
    InitAlacBitReader(run.reader, bytes.data(), static_cast<uint32_t>(bytes.size()));
    AdvanceAlacBits(run.reader, startBit);
    // pbFactor 4 makes the multiplier equal to the cookie's.
    const AdaptiveGolombParams params = MakeAdaptiveGolombParams(mb, pb, 4, kb, count, 255);
    run.bitsUsed = 0;
    run.status = DecodeAdaptiveGolomb(&params, &run.reader, run.values.data(), count, width, &run.bitsUsed);
    run.values.resize(count);
    return run;
}

TEST(AdaptiveGolombTest, ZeroCountConsumesNothing) {
    const std::vector<uint8_t> bytes{0xFF, 0xFF};
    const GolombRun run = Decode(bytes, 0, 10, 40, 14);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.bitsUsed, 0u);
    EXPECT_EQ(run.reader.bytePos, 0u);
}

// mb 10, pb 40, first value 0: the mean stays 10 and run mode starts at once with
// k = 28 - 24 + 0 = 4. Run "0 0110" = 5 zeros; the zero flag then turns the code "0" into -1.
TEST(AdaptiveGolombTest, RunModeAfterFirstValue) {
    BitWriter w;
    w.Put(0, 1).Put(0, 1).Put(6, 4).Put(0, 1);
    const GolombRun run = Decode(w.Data(), 7, 10, 40, 14);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.values, (std::vector<int32_t>{0, 0, 0, 0, 0, 0, -1}));
    EXPECT_EQ(run.bitsUsed, 7u);
    EXPECT_EQ(run.reader.bytePos, 0u);
    EXPECT_EQ(run.reader.bitIndex, 7u);
}

// A run of exactly 65535 clears the zero flag, one of 65534 keeps it.
TEST(AdaptiveGolombTest, EscapedRunLengthDecidesTheZeroFlag) {
    struct Row {
        const char* name;
        uint32_t runLength;
        int32_t valueAfter;
    };
    for (const Row& row : {Row{"65535", 65535, 0}, Row{"65534", 65534, -1}}) {
        BitWriter w;
        w.Put(0, 1);                          // first value 0 -> run mode
        w.Put(0x1FF, 9).Put(row.runLength, 16);  // escaped run length
        w.Put(0, 1);                          // the next value's code
        const uint32_t count = 1 + row.runLength + 1;
        const GolombRun run = Decode(w.Data(), count, 10, 40, 14);
        EXPECT_EQ(run.status, 0) << row.name;
        EXPECT_EQ(run.values.back(), row.valueAfter) << row.name;
        EXPECT_EQ(run.bitsUsed, 27u) << row.name;
    }
}

// After a run of 65535 zeros and a zero value the mean is 0: run mode again, with k = 8
// (32 leading zeros - 24). The run "0 00000100" is then 3 zeros.
TEST(AdaptiveGolombTest, ZeroMeanInRunModeUsesK8) {
    BitWriter w;
    w.Put(0, 1).Put(0x1FF, 9).Put(65535, 16);  // value 0, escaped run of 65535
    w.Put(0, 1);                                 // value 0 without the zero flag: mean 0
    w.Put(0, 1).Put(4, 8);                       // run of 3 coded with k = 8
    w.Put(0b10, 2);                              // value after the run (zero flag set): u = 2 -> +1
    const GolombRun run = Decode(w.Data(), 1 + 65535 + 1 + 3 + 1, 10, 40, 14);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.bitsUsed, 1u + 25 + 1 + 9 + 2);
    EXPECT_EQ(run.values.back(), 1);
}

// An escaped value of 65536 sets the mean to 65535 whatever the multiplier: the next code
// then uses k = log2(127 + 3) = 7 (the update formula would have given k = 12).
TEST(AdaptiveGolombTest, LargeValueClampsTheMean) {
    BitWriter w;
    w.Put(0x1FF, 9).Put(65536, 18);  // escape, width 18
    w.Put(0, 1).Put(5, 7);           // prefix 0, v = 5 -> n = 4 -> +2
    const GolombRun run = Decode(w.Data(), 2, 10, 40, 14, 18);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.values, (std::vector<int32_t>{32768, 2}));
    EXPECT_EQ(run.bitsUsed, 35u);
}

// A 33-bit escape (32-bit pair without shifted bytes) consumes all 33 bits.
TEST(AdaptiveGolombTest, Width33EscapeKeepsTheStreamInStep) {
    BitWriter w;
    w.Put(0x1FF, 9).Put(1, 1).Put(6, 32);  // n = 2^32 + 6 -> kept modulo 2^32 -> 6 -> +3
    w.Put(0, 1).Put(5, 7);                 // next code with k = 7 (mean clamped)
    const GolombRun run = Decode(w.Data(), 2, 10, 40, 14, 33);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.values, (std::vector<int32_t>{3, 2}));
    EXPECT_EQ(run.bitsUsed, 50u);
}

// k limit 0 decodes plain unary codes.
TEST(AdaptiveGolombTest, KLimitZeroIsUnary) {
    BitWriter w;
    w.Put(0b110, 3).Put(0b10, 2).Put(0, 1);  // n = 2, 1, 0
    const GolombRun run = Decode(w.Data(), 3, 200, 0, 0);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.values, (std::vector<int32_t>{1, -1, 0}));
    EXPECT_EQ(run.bitsUsed, 6u);
}

// A k above 1 with a v below 2 gives back the last suffix bit.
TEST(AdaptiveGolombTest, SmallSuffixReturnsOneBit) {
    // mb 0x4000 (mean >> 9 = 32, k = log2(35) = 5), pb 0 keeps it; m = 31.
    BitWriter w;
    w.Put(0b10, 2).Put(0, 4);    // prefix 1, v = 0 < 2: n = 31 in 6 bits; the 5th suffix bit
    w.Put(0, 1).Put(9, 5);       // is the next code's stop bit: prefix 0, v = 9, n = 8
    const GolombRun run = Decode(w.Data(), 2, 0x4000, 0, 14);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.values, (std::vector<int32_t>{-16, 4}));
    EXPECT_EQ(run.bitsUsed, 12u);
}

TEST(AdaptiveGolombTest, PacketEndingMidBlockIsParamError) {
    // Two bytes of "0" codes at k = 1: 16 values fit, the 17th starts at the limit.
    const std::vector<uint8_t> bytes{0x00, 0x00};
    const GolombRun run = Decode(bytes, 40, 200, 0, 14);
    EXPECT_EQ(run.status, kAlacParamError);
    EXPECT_EQ(run.bitsUsed, 16u);
    EXPECT_EQ(run.values[15], 0);
    EXPECT_EQ(run.values[16], 0x5A5A5A5A);
}

TEST(AdaptiveGolombTest, RunOverfillingTheBlockIsParamError) {
    BitWriter w;
    w.Put(0, 1).Put(0, 1).Put(15, 4);  // value 0, then a run of 14 zeros in a block of 5
    const GolombRun run = Decode(w.Data(), 5, 10, 40, 14);
    EXPECT_EQ(run.status, kAlacParamError);
    EXPECT_EQ(run.values[0], 0);
}

TEST(AdaptiveGolombTest, ReaderStartingMidByteAdvancesByBitsUsed) {
    BitWriter w;
    w.Put(0, 3).Put(0b110, 3).Put(0, 2);  // 3 bits already consumed, then n = 2 at k = 1
    const GolombRun run = Decode(w.Data(), 1, 200, 0, 14, 16, 3);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.values, (std::vector<int32_t>{1}));
    EXPECT_EQ(run.bitsUsed, 3u);
    EXPECT_EQ(run.reader.bitIndex, 6u);
}

TEST(AdaptiveGolombTest, MissingArgumentsAreParamErrors) {
    const std::vector<uint8_t> bytes{0};
    AlacBitReader reader;
    InitAlacBitReader(reader, bytes.data(), 1);
    const AdaptiveGolombParams params = MakeAdaptiveGolombParams(10, 40, 4, 14, 1, 255);
    int32_t out = 0;
    uint32_t bits = 0;
    EXPECT_EQ(DecodeAdaptiveGolomb(nullptr, &reader, &out, 1, 16, &bits), kAlacParamError);
    EXPECT_EQ(DecodeAdaptiveGolomb(&params, nullptr, &out, 1, 16, &bits), kAlacParamError);
    EXPECT_EQ(DecodeAdaptiveGolomb(&params, &reader, nullptr, 1, 16, &bits), kAlacParamError);
    EXPECT_EQ(DecodeAdaptiveGolomb(&params, &reader, &out, 1, 16, nullptr), kAlacParamError);
}

}  // namespace

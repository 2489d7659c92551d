// Bit reader edges: widths 0 and 16, reads across bytes, at and past the end, alignment.
#include <gtest/gtest.h>

#include <vector>

#include "AlacBitReader.h"

namespace {

TEST(AlacBitReaderTest, ReadsMsbFirstAcrossBytes) {
    const std::vector<uint8_t> bytes{0xA5, 0x3C, 0xF0, 0x0F};
    AlacBitReader r;
    InitAlacBitReader(r, bytes.data(), 4);
    EXPECT_EQ(ReadAlacBits16(r, 0), 0u);
    EXPECT_EQ(ReadAlacBits16(r, 3), 0b101u);
    EXPECT_EQ(ReadAlacBits16(r, 16), 0x29E7u);  // 0 0101 0011 1100 111
    EXPECT_EQ(ReadAlacBit(r), 1u);
    EXPECT_EQ(r.bytePos, 2u);
    EXPECT_EQ(r.bitIndex, 4u);
    EXPECT_EQ(AlacRemainingBits(r), 12);
    AlignAlacReader(r);
    EXPECT_EQ(r.bytePos, 3u);
    EXPECT_EQ(r.bitIndex, 0u);
    AlignAlacReader(r);  // already aligned: no move
    EXPECT_EQ(r.bytePos, 3u);
}

TEST(AlacBitReaderTest, ThirtyTwoBitReadsSplitIntoTwo) {
    const std::vector<uint8_t> bytes{0x12, 0x34, 0x56, 0x78, 0x9A};
    AlacBitReader r;
    InitAlacBitReader(r, bytes.data(), 5);
    ReadAlacBits16(r, 4);
    EXPECT_EQ(ReadAlacBits32(r, 32), 0x23456789u);
    EXPECT_EQ(ReadAlacBits32(r, 4), 0xAu);
}

TEST(AlacBitReaderTest, BitsPastTheEndReadAsZero) {
    const std::vector<uint8_t> bytes{0xFF, 0xFF, 0xFF};
    AlacBitReader r;
    InitAlacBitReader(r, bytes.data(), 2);  // the third byte lies outside the packet
    ReadAlacBits16(r, 12);
    EXPECT_EQ(ReadAlacBits16(r, 8), 0xF0u);
    EXPECT_TRUE(AlacReaderAtOrPastEnd(r));
    EXPECT_FALSE(AlacReaderPastEnd(r));
    EXPECT_EQ(ReadAlacBits16(r, 16), 0u);
    EXPECT_TRUE(AlacReaderPastEnd(r));
    EXPECT_LT(AlacRemainingBits(r), 0);
    AdvanceAlacBits(r, 1ull << 40);  // far past the end stays defined
    EXPECT_EQ(ReadAlacBits16(r, 16), 0u);
}

TEST(AlacBitReaderTest, EmptyAndNullPackets) {
    AlacBitReader r;
    InitAlacBitReader(r, nullptr, 100);
    EXPECT_EQ(r.sizeBytes, 0u);
    EXPECT_EQ(ReadAlacBits16(r, 16), 0u);
    EXPECT_TRUE(AlacReaderPastEnd(r));
}

TEST(AlacBitReaderTest, PeekNearTheEndPadsWithZeros) {
    const std::vector<uint8_t> bytes{1, 2, 3, 4, 5, 6, 7, 8, 9};
    EXPECT_EQ(PeekAlacWord64(bytes.data(), 9, 1), 0x0203040506070809ull);
    EXPECT_EQ(PeekAlacWord64(bytes.data(), 9, 2), 0x0304050607080900ull);
    EXPECT_EQ(PeekAlacWord64(bytes.data(), 9, 9), 0ull);
}

}  // namespace

// Multichannel output reaches the host in its channel order.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "ChannelOrder.h"

namespace {

std::vector<float> Frames(uint32_t channels, uint32_t frames) {
    std::vector<float> out;
    for (uint32_t f = 0; f < frames; ++f)
        for (uint32_t c = 0; c < channels; ++c) out.push_back(static_cast<float>(f * 10 + c + 1));
    return out;
}

TEST(AacChannelOrder, DecoderOrderBecomesHostOrder) {
    struct Row {
        uint32_t channels;
        std::vector<float> firstFrame;  // decoder channels 1..n come out as
    } rows[] = {
        {1, {1}},
        {2, {1, 2}},
        {3, {1, 2, 3}},
        {4, {1, 2, 3, 4}},
        {5, {2, 3, 1, 4, 5}},
        {6, {2, 3, 1, 6, 4, 5}},
        {7, {2, 3, 1, 7, 6, 4, 5}},
        {8, {2, 3, 1, 8, 6, 7, 4, 5}},
    };
    for (const auto& row : rows) {
        std::vector<float> pcm = Frames(row.channels, 3);
        ReorderAacChannels(pcm.data(), static_cast<uint32_t>(pcm.size()), row.channels);
        for (uint32_t f = 0; f < 3; ++f)
            for (uint32_t c = 0; c < row.channels; ++c)
                EXPECT_EQ(pcm[f * row.channels + c], row.firstFrame[c] + static_cast<float>(f * 10))
                    << row.channels << " channels, frame " << f << ", channel " << c;
    }
}

template <typename T>
std::vector<uint8_t> Pack(const std::vector<int32_t>& samples, uint32_t width) {
    std::vector<uint8_t> out;
    for (int32_t s : samples)
        for (uint32_t b = 0; b < width; ++b) out.push_back(static_cast<uint8_t>(static_cast<uint32_t>(s) >> (8 * b)));
    return out;
}

TEST(AlacChannelOrder, EverySampleWidthMovesWholeSamples) {
    struct Row {
        uint32_t channels;
        std::vector<int32_t> expected;  // channel values 1..n come out as
    } rows[] = {
        {2, {1, 2}},
        {4, {1, 2, 3, 4}},
        {5, {2, 3, 1, 4, 5}},
        {6, {2, 3, 1, 6, 4, 5}},
        {7, {2, 3, 1, 7, 6, 4, 5}},
        {8, {2, 3, 1, 8, 6, 7, 4, 5}},
    };
    for (uint32_t bits : {16u, 20u, 24u, 32u}) {
        const uint32_t width = bits == 16 ? 2 : bits == 32 ? 4 : 3;
        for (const auto& row : rows) {
            std::vector<int32_t> samples;
            for (uint32_t f = 0; f < 4; ++f)
                for (uint32_t c = 0; c < row.channels; ++c)
                    samples.push_back((static_cast<int32_t>(c) + 1) * 0x010101 * (f % 2 ? -1 : 1));
            std::vector<uint8_t> pcm = Pack<int32_t>(samples, width);
            const size_t before = pcm.size();
            ReorderAlacChannels(pcm.data(), 4, bits, row.channels);
            ASSERT_EQ(pcm.size(), before);
            std::vector<int32_t> want;
            for (uint32_t f = 0; f < 4; ++f)
                for (int32_t v : row.expected) want.push_back(v * 0x010101 * (f % 2 ? -1 : 1));
            EXPECT_EQ(pcm, Pack<int32_t>(want, width)) << bits << " bits, " << row.channels << " channels";
        }
    }
}

}  // namespace

// Multichannel output reaches the host in its channel order, for the float samples of the AAC
// jobs and the whole 2-, 3- and 4-byte samples of the lossless job (the jobs' own tests cover
// 5.1 and 7.1 AAC and 16- and 24-bit lossless streams against ffmpeg).
#include <gtest/gtest.h>

#include <vector>

#include "ChannelOrder.h"

namespace {

TEST(ChannelOrder, DecoderOrderBecomesHostOrder) {
    struct Row {
        uint32_t channels;
        std::vector<int32_t> hostOrder;  // decoder channels 1..n come out as
    } rows[] = {
        {4, {1, 2, 3, 4}}, {5, {2, 3, 1, 4, 5}}, {6, {2, 3, 1, 6, 4, 5}}, {7, {2, 3, 1, 7, 6, 4, 5}}, {8, {2, 3, 1, 8, 6, 7, 4, 5}},
    };
    for (const Row& row : rows) {
        // Three frames; frame f carries (channel + 1) * 0x010101, negated in odd frames.
        std::vector<int32_t> in, want;
        for (int32_t f = 0; f < 3; ++f) {
            for (uint32_t c = 0; c < row.channels; ++c) in.push_back(static_cast<int32_t>(c + 1) * 0x010101 * (f % 2 ? -1 : 1));
            for (int32_t v : row.hostOrder) want.push_back(v * 0x010101 * (f % 2 ? -1 : 1));
        }
        std::vector<float> floats(in.begin(), in.end());
        ReorderAacChannels(floats.data(), static_cast<uint32_t>(floats.size()), row.channels);
        EXPECT_EQ(floats, std::vector<float>(want.begin(), want.end())) << row.channels << " AAC channels";
        for (uint32_t bits : {16u, 20u, 24u, 32u}) {
            const uint32_t width = bits == 16 ? 2 : bits == 32 ? 4 : 3;
            auto pack = [&](const std::vector<int32_t>& samples) {
                std::vector<uint8_t> out;
                for (int32_t s : samples)
                    for (uint32_t b = 0; b < width; ++b) out.push_back(static_cast<uint8_t>(static_cast<uint32_t>(s) >> (8 * b)));
                return out;
            };
            std::vector<uint8_t> pcm = pack(in);
            ReorderAlacChannels(pcm.data(), 3, bits, row.channels);
            EXPECT_EQ(pcm, pack(want)) << bits << " bits, " << row.channels << " channels";
        }
    }
}

}  // namespace

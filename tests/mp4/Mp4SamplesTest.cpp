// Sample lookups: ids from times, times from ids, sync flags, and reading bytes with the
// interface's buffer rules, over hand-built tables.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <random>

#include "Mp4TestHandle.h"
#include "Mp4TestMovie.h"

namespace {

constexpr MP4Timestamp kAllOnes = ~uint64_t{0};

// 131 samples: 130 x 1024 and a last one of 204 ticks (a 3 s AAC track).
Mp4TestMovie ThreeSecondTrack() {
    Mp4TestMovie movie;
    movie.sizes.assign(131, 20);
    movie.stts = SttsBox({{130, 1024}, {1, 204}});
    return movie;
}

TEST(Mp4Samples, SampleIdFromTime) {
    Mp4TestMovie runs;  // 5 x 2048 then 125 x 1024
    runs.sizes.assign(130, 4);
    runs.stts = SttsBox({{5, 2048}, {125, 1024}});
    Mp4TestMovie zeroDelta;  // a run of zero-length samples between two others
    zeroDelta.stts = SttsBox({{4, 1024}, {2, 0}, {4, 1024}});
    Mp4TestMovie emptyStts;
    emptyStts.stts = SttsBox({});

    struct Row {
        const char* name;
        const Mp4TestMovie* movie;
        MP4Timestamp when;
        MP4SampleId expected;
    };
    const Mp4TestMovie three = ThreeSecondTrack();
    const std::vector<Row> rows = {
        {"start", &three, 0, 1},
        {"inside first", &three, 1, 1},
        {"last tick of first", &three, 1023, 1},
        {"exact boundary", &three, 1024, 2},
        {"inside a later sample", &three, 5000, 5},
        {"start of last sample", &three, 130 * 1024, 131},
        {"exact total is count + 1", &three, 133324, 132},
        {"one past the total", &three, 133325, 0},
        {"far beyond", &three, kAllOnes, 0},
        {"end of a run is next run's first", &runs, 10240, 6},
        {"inside second run", &runs, 10241, 6},
        {"zero-delta run answers its first", &zeroDelta, 4096, 5},
        {"after zero-delta run", &zeroDelta, 4097, 7},
        {"empty stts", &emptyStts, 0, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const Mp4Handle h = OpenImage(row.movie->Build());
        ASSERT_TRUE(h);
        EXPECT_EQ(MP4GetSampleIdFromTime(h.get(), 1, row.when, false), row.expected);
    }
}

TEST(Mp4Samples, SampleIdFromTimeWantingSync) {
    Mp4TestMovie movie = ThreeSecondTrack();
    movie.stss = StssBox({1, 5, 9});
    const Mp4Handle h = OpenImage(movie.Build());
    ASSERT_TRUE(h);
    EXPECT_EQ(MP4GetSampleIdFromTime(h.get(), 1, 0, true), 1u);
    EXPECT_EQ(MP4GetSampleIdFromTime(h.get(), 1, 1024, true), 5u);
    EXPECT_EQ(MP4GetSampleIdFromTime(h.get(), 1, 8 * 1024, true), 9u);
    EXPECT_EQ(MP4GetSampleIdFromTime(h.get(), 1, 133324, true), 0u);

    const Mp4Handle noStss = OpenImage(ThreeSecondTrack().Build());
    EXPECT_EQ(MP4GetSampleIdFromTime(noStss.get(), 1, 1024, true), 2u);
}

TEST(Mp4Samples, SampleTime) {
    const Mp4Handle h = OpenImage(ThreeSecondTrack().Build());
    ASSERT_TRUE(h);
    const std::vector<std::pair<MP4SampleId, MP4Timestamp>> rows = {
        {1, 0}, {2, 1024}, {130, 129 * 1024}, {131, 130 * 1024}, {132, kAllOnes}, {133, kAllOnes}, {0, kAllOnes},
    };
    for (const auto& row : rows) EXPECT_EQ(MP4GetSampleTime(h.get(), 1, row.first), row.second) << row.first;
}

TEST(Mp4Samples, SyncFlags) {
    struct Row {
        const char* name;
        std::optional<std::vector<uint32_t>> stss;
        std::vector<std::pair<MP4SampleId, int8_t>> expected;
    };
    const std::vector<Row> rows = {
        {"no stss: every id", std::nullopt, {{0, 1}, {1, 1}, {10, 1}, {11, 1}, {0xFFFFFFFF, 1}}},
        {"empty stss: none", std::vector<uint32_t>{}, {{0, 0}, {1, 0}, {5, 0}}},
        {"listed ids", std::vector<uint32_t>{1, 5, 9}, {{1, 1}, {2, 0}, {5, 1}, {8, 0}, {9, 1}, {10, 0}}},
        // Ids below the first entry answer 0 (not an error).
        {"first entry above 1", std::vector<uint32_t>{3, 7}, {{0, 0}, {1, 0}, {2, 0}, {3, 1}, {7, 1}}},
        {"unsorted in file", std::vector<uint32_t>{9, 1, 5}, {{1, 1}, {5, 1}, {9, 1}, {4, 0}}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Mp4TestMovie movie;
        if (row.stss) movie.stss = StssBox(*row.stss);
        const Mp4Handle h = OpenImage(movie.Build());
        ASSERT_TRUE(h);
        for (const auto& e : row.expected) EXPECT_EQ(MP4GetSampleSync(h.get(), 1, e.first), e.second) << e.first;
        EXPECT_EQ(MP4GetSampleSync(h.get(), 2, 1), -1);
    }
}

TEST(Mp4Samples, ReadSampleBufferRules) {
    Mp4TestMovie movie;
    movie.sizes[3] = 0;  // a zero-size sample
    const Mp4Handle h = OpenImage(movie.Build());
    ASSERT_TRUE(h);

    // Library-allocated buffer of exactly the sample's size.
    uint8_t* bytes = nullptr;
    uint32_t count = 0;
    ASSERT_TRUE(MP4ReadSample(h.get(), 1, 2, &bytes, &count));
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(count, 101u);
    EXPECT_EQ(bytes[100], Mp4TestSampleByte(1, 100));
    MP4Free(bytes);

    // Caller's buffer: large enough works, too small fails and stays the caller's.
    std::vector<uint8_t> mine(200, 0xEE);
    bytes = mine.data();
    count = 200;
    ASSERT_TRUE(MP4ReadSample(h.get(), 1, 3, &bytes, &count));
    EXPECT_EQ(bytes, mine.data());
    EXPECT_EQ(count, 102u);
    EXPECT_EQ(mine[0], Mp4TestSampleByte(2, 0));
    EXPECT_EQ(mine[102], 0xEE);
    count = 50;
    EXPECT_FALSE(MP4ReadSample(h.get(), 1, 3, &bytes, &count));
    EXPECT_EQ(bytes, mine.data());
    EXPECT_EQ(count, 0u);

    // Zero-size sample: success, nothing allocated.
    bytes = nullptr;
    count = 7;
    EXPECT_TRUE(MP4ReadSample(h.get(), 1, 4, &bytes, &count));
    EXPECT_EQ(bytes, nullptr);
    EXPECT_EQ(count, 0u);

    // Bad ids and tracks fail with the pointer reset and the count cleared.
    for (const auto& bad : std::vector<std::pair<MP4TrackId, MP4SampleId>>{{1, 0}, {1, 11}, {1, 12}, {2, 1}}) {
        bytes = nullptr;
        count = 9;
        EXPECT_FALSE(MP4ReadSample(h.get(), bad.first, bad.second, &bytes, &count)) << bad.second;
        EXPECT_EQ(bytes, nullptr);
        EXPECT_EQ(count, 0u);
    }
    bytes = nullptr;
    count = 9;
    EXPECT_FALSE(MP4ReadSample(nullptr, 1, 1, &bytes, &count));
    EXPECT_EQ(count, 0u);
}

TEST(Mp4Samples, ReadSampleOptionalOutputs) {
    Mp4TestMovie movie;
    movie.stts = SttsBox({{9, 1024}, {1, 300}});
    movie.ctts = BoxBuilder("ctts").Full(0, 0).U32(2).U32(2).U32(4).U32(8).U32(0);  // samples 1-2 offset 4
    movie.stss = StssBox({1, 6});
    const Mp4Handle h = OpenImage(movie.Build());
    ASSERT_TRUE(h);
    struct Row {
        MP4SampleId id;
        MP4Timestamp start;
        MP4Duration duration;
        MP4Duration renderingOffset;
        bool sync;
    };
    const std::vector<Row> rows = {
        {1, 0, 1024, 4, true}, {2, 1024, 1024, 4, false}, {3, 2048, 1024, 0, false},
        {6, 5120, 1024, 0, true}, {10, 9216, 300, 0, false},
    };
    for (const Row& row : rows) {
        uint8_t* bytes = nullptr;
        uint32_t count = 0;
        MP4Timestamp start = 0;
        MP4Duration duration = 0, offset = 99;
        bool sync = !row.sync;
        ASSERT_TRUE(MP4ReadSample(h.get(), 1, row.id, &bytes, &count, &start, &duration, &offset, &sync));
        MP4Free(bytes);
        EXPECT_EQ(start, row.start) << row.id;
        EXPECT_EQ(duration, row.duration) << row.id;
        EXPECT_EQ(offset, row.renderingOffset) << row.id;
        EXPECT_EQ(sync, row.sync) << row.id;
    }
}

TEST(Mp4Samples, ReadFailuresFromTheTables) {
    struct Row {
        const char* name;
        std::function<void(Mp4TestMovie&)> change;
        std::vector<MP4SampleId> readable;  // every other id 1..10 must fail
    };
    const std::vector<Row> rows = {
        {"empty stsc", [](Mp4TestMovie& m) { m.stsc = StscBox({}); }, {}},
        {"mdat cut after 3 samples and a bit", [](Mp4TestMovie& m) { m.moovFirst = true; m.mdatTruncate = 100 + 101 + 102 + 50; }, {1, 2, 3}},
        {"stsz count lowered", [](Mp4TestMovie& m) {
             m.stsz = BoxBuilder("stsz").Full(0, 0).U32(0).U32(4).U32(100).U32(101).U32(102).U32(103);
         }, {1, 2, 3, 4}},
        {"fewer chunks than samples need", [](Mp4TestMovie& m) {
             m.stco = BoxBuilder("stco").Full(0, 0).U32(2).U32(28).U32(28 + 201);
         }, {1, 2, 3, 4}},
        {"stsc run of zero samples skipped", [](Mp4TestMovie& m) { m.stsc = StscBox({{1, 2}, {2, 0}, {2, 2}}); },
         {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}},
        {"stsc first chunk 0 covers nothing", [](Mp4TestMovie& m) { m.stsc = StscBox({{0, 2}}); }, {}},
        {"time outputs not needed past stts", [](Mp4TestMovie& m) { m.stts = SttsBox({{3, 1024}}); },
         {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Mp4TestMovie movie;
        row.change(movie);
        const Mp4Handle h = OpenImage(movie.Build());
        ASSERT_TRUE(h);
        for (MP4SampleId id = 1; id <= 10; ++id) {
            std::vector<uint8_t> bytes;
            const bool expected = std::find(row.readable.begin(), row.readable.end(), id) != row.readable.end();
            ASSERT_EQ(ReadSampleBytes(h.get(), 1, id, bytes), expected) << id;
            if (expected) {
                ASSERT_EQ(bytes.size(), 100u + id - 1);
                EXPECT_EQ(bytes.back(), Mp4TestSampleByte(id - 1, bytes.size() - 1));
            }
        }
    }
    // Asking for times past the end of stts fails the read.
    Mp4TestMovie shortStts;
    shortStts.stts = SttsBox({{3, 1024}});
    const Mp4Handle h = OpenImage(shortStts.Build());
    uint8_t* bytes = nullptr;
    uint32_t count = 0;
    MP4Timestamp start = 0;
    EXPECT_TRUE(MP4ReadSample(h.get(), 1, 3, &bytes, &count, &start));
    MP4Free(bytes);
    bytes = nullptr;
    EXPECT_FALSE(MP4ReadSample(h.get(), 1, 4, &bytes, &count, &start));
    EXPECT_EQ(bytes, nullptr);
}

// Sizes stored three ways, and stsc with several runs; random order reads must match in-order.
TEST(Mp4Samples, SizeTablesAndChunkRunsInAnyOrder) {
    auto stz2 = [](const std::vector<uint32_t>& sizes, int bits) {
        BoxBuilder b("stz2");
        b.Full(0, 0).U24(0).U8(static_cast<uint32_t>(bits)).U32(static_cast<uint32_t>(sizes.size()));
        for (size_t i = 0; i < sizes.size(); ++i) {
            if (bits == 16) b.U16(sizes[i]);
            if (bits == 8) b.U8(sizes[i]);
            if (bits == 4 && i % 2 == 0) b.U8((sizes[i] << 4) | (i + 1 < sizes.size() ? sizes[i + 1] : 0));
        }
        return b;
    };
    struct Row {
        const char* name;
        std::function<void(Mp4TestMovie&)> change;
    };
    const std::vector<Row> rows = {
        {"stz2 16-bit", [&](Mp4TestMovie& m) { m.sizes = {300, 1, 65535, 0, 7}; m.stsz = stz2(m.sizes, 16); }},
        {"stz2 8-bit", [&](Mp4TestMovie& m) { m.sizes = {255, 1, 0, 9, 7, 100}; m.stsz = stz2(m.sizes, 8); }},
        {"stz2 4-bit odd count", [&](Mp4TestMovie& m) { m.sizes = {15, 1, 0, 9, 7}; m.stsz = stz2(m.sizes, 4); }},
        // Tables longer than the reader's window: in-order reads cross windows, shuffled ones
        // jump back and forth, and large chunks sum sizes across a window's edge.
        {"stsz and co64 across windows", [](Mp4TestMovie& m) {
             m.sizes.assign(3000, 0);
             for (size_t i = 0; i < m.sizes.size(); ++i) m.sizes[i] = static_cast<uint32_t>(i % 13);
             m.samplesPerChunk = 3;
             m.co64 = true;
         }},
        {"stz2 4-bit across windows, large chunks", [&](Mp4TestMovie& m) {
             m.sizes.assign(9001, 0);
             for (size_t i = 0; i < m.sizes.size(); ++i) m.sizes[i] = static_cast<uint32_t>(i % 16);
             m.samplesPerChunk = 1000;
             m.stsz = stz2(m.sizes, 4);
         }},
        {"constant stsz", [](Mp4TestMovie& m) {
             m.sizes.assign(9, 33);
             m.stsz = BoxBuilder("stsz").Full(0, 0).U32(33).U32(9);
         }},
        {"stsc runs 3,1,2 per chunk", [](Mp4TestMovie& m) {
             // chunks: 1-2 hold 3 samples, 3 holds 1, 4.. hold 2: 3+3+1+2+2 = 11 >= 10
             m.sizes.assign(11, 0);
             for (size_t i = 0; i < m.sizes.size(); ++i) m.sizes[i] = static_cast<uint32_t>(10 + i);
             m.stsc = StscBox({{1, 3}, {3, 1}, {4, 2}});
             const uint32_t base = 28;
             uint32_t at = base;
             BoxBuilder stco("stco");
             stco.Full(0, 0).U32(5);
             const std::vector<int> perChunk = {3, 3, 1, 2, 2};
             size_t sample = 0;
             for (int n : perChunk) {
                 stco.U32(at);
                 for (int k = 0; k < n; ++k) at += m.sizes[sample++];
             }
             m.stco = stco;
             m.stts = SttsBox({{11, 1024}});
         }},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Mp4TestMovie movie;
        row.change(movie);
        if (!movie.stts) movie.stts = SttsBox({{static_cast<uint32_t>(movie.sizes.size()), 1024}});
        const Mp4Handle h = OpenImage(movie.Build());
        ASSERT_TRUE(h);
        const uint32_t n = static_cast<uint32_t>(movie.sizes.size());
        ASSERT_EQ(MP4GetTrackNumberOfSamples(h.get(), 1), n);
        std::vector<MP4SampleId> order;
        for (MP4SampleId id = 1; id <= n; ++id) order.push_back(id);
        for (int pass = 0; pass < 3; ++pass) {
            for (MP4SampleId id : order) {
                std::vector<uint8_t> bytes;
                ASSERT_TRUE(ReadSampleBytes(h.get(), 1, id, bytes)) << id;
                ASSERT_EQ(bytes.size(), movie.sizes[id - 1]) << id;
                for (size_t j = 0; j < bytes.size(); ++j) ASSERT_EQ(bytes[j], Mp4TestSampleByte(id - 1, j));
            }
            std::mt19937 rng(static_cast<unsigned>(pass + 1));
            std::shuffle(order.begin(), order.end(), rng);
        }
    }
}

TEST(Mp4Samples, HugeCountsWithConstantSizeAllocateNothing) {
    Mp4TestMovie movie;
    movie.stsz = BoxBuilder("stsz").Full(0, 0).U32(4).U32(0xFFFFFFFF);
    movie.stsc = StscBox({{1, 0xFFFFFFFF}});
    movie.stts = SttsBox({{0xFFFFFFFF, 0xFFFFFFFF}});
    const Mp4Handle h = OpenImage(movie.Build());
    ASSERT_TRUE(h);
    EXPECT_EQ(MP4GetTrackNumberOfSamples(h.get(), 1), 0xFFFFFFFFu);
    std::vector<uint8_t> bytes;
    EXPECT_TRUE(ReadSampleBytes(h.get(), 1, 1, bytes));
    EXPECT_FALSE(ReadSampleBytes(h.get(), 1, 0xFFFFFFFF, bytes));  // far past the end of the file
    EXPECT_EQ(MP4GetSampleTime(h.get(), 1, 0xFFFFFFFF), uint64_t{0xFFFFFFFE} * 0xFFFFFFFF);
    EXPECT_EQ(MP4GetSampleIdFromTime(h.get(), 1, uint64_t{0xFFFFFFFF} * 0xFFFFFFFF, false), 0u);  // count + 1 wraps
}

TEST(Mp4Samples, SttsTotalBeyond64BitsIsRejected) {
    Mp4TestMovie movie;
    movie.stts = SttsBox({{0xFFFFFFFF, 0xFFFFFFFF}, {0xFFFFFFFF, 0xFFFFFFFF}, {2, 0xFFFFFFFF}});
    EXPECT_FALSE(OpenImage(movie.Build()));
}

}  // namespace

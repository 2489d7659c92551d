// Sample lookup across sample tables and movie fragments, and the source precedence of
// fragment sample fields, through the flat interface, on hand-built movies (ffmpeg's files are
// compared with ffprobe in RealFileTest).
#include <gtest/gtest.h>

#include <vector>

#include "BoxBuilder.h"
#include "IsoTestMovies.h"

using namespace isotest;

namespace {

BoxBuilder Mvex(uint32_t duration, uint32_t size, uint32_t flags) {
    return BoxBuilder("mvex").Child(BoxBuilder("trex").Full(0, 0).U32(1).U32(1).U32(duration).U32(size).U32(flags));
}

// 10 table samples in chunks of 4, 3 and 3 (stts with an empty run, sync samples 1 and 10), then
// two fragments of 5.
TEST(TrackReader, TablesThenFragmentsRepositionAndCapacity) {
    Mp4TestMovie table;
    table.sizes = {11, 12, 13, 14, 15, 16, 17, 18, 19, 20};
    table.chunks = {{1, 4}, {2, 3}};
    table.stts = SttsBox({3, 1000, 0, 7, 7, 1024});
    table.stss = StssBox({1, 10});
    table.extraMoovChildren = {Mvex(0, 0, 0)};
    const std::vector<uint8_t> bytes = Concat({table.Build(), FragmentBoxes(1, 1, 10, {30, 31, 32, 33, 34}, 2048),
                                               FragmentBoxes(1, 2, 15, {40, 41, 42, 43, 44}, 512)});
    std::vector<uint32_t> sizes = table.sizes, durations = {1000, 1000, 1000, 1024, 1024, 1024, 1024, 1024, 1024, 1024};
    for (uint32_t s : {30, 31, 32, 33, 34, 40, 41, 42, 43, 44}) sizes.push_back(s);
    durations.insert(durations.end(), 5, 2048);
    durations.insert(durations.end(), 5, 512);
    Reader r(bytes);
    uint32_t count = 0;
    ASSERT_EQ(ISO_GetSampleCount(r.track, &count), kIsoOk);
    EXPECT_EQ(count, 20u);
    for (uint32_t k = 0; k < 20; ++k) {
        ASSERT_EQ(r.Read(0), kIsoOk) << k;
        EXPECT_EQ(r.record->duration, durations[k]) << k;
        EXPECT_TRUE(k >= 10 || r.record->sync == (k == 0 || k == 9 ? 1u : 0u)) << k;
        EXPECT_EQ(r.Bytes(), Mp4TestSampleBytes(k, sizes[k])) << k;
    }
    EXPECT_EQ(r.Read(0), kIsoEndOfTrack);
    EXPECT_EQ(r.Read(0), kIsoEndOfTrack);
    // Sample number n repositions; number 0 then gives n + 1.
    ASSERT_EQ(r.Read(13), kIsoOk);
    EXPECT_EQ(r.Bytes(), Mp4TestSampleBytes(12, 32));
    ASSERT_EQ(r.Read(0), kIsoOk);
    EXPECT_EQ(r.Bytes(), Mp4TestSampleBytes(13, 33));
    EXPECT_EQ(r.Read(21), kIsoEndOfTrack);
    EXPECT_EQ(r.Read(0xFFFFFFFFu), kIsoEndOfTrack);
    // A sample larger than the buffer is refused untouched, its size reported, and stays next.
    ASSERT_EQ(r.Read(3), kIsoOk);
    r.buffer.assign(8, 0xEE);
    ASSERT_EQ(r.Read(0), kIsoFailed);
    EXPECT_EQ(r.record->size, 14u);
    EXPECT_EQ(r.buffer, std::vector<uint8_t>(8, 0xEE));
    r.buffer.assign(64, 0);
    ISO_SetSampleBuffer(r.record, r.buffer.data());
    ASSERT_EQ(r.Read(0), kIsoOk);
    EXPECT_EQ(r.Bytes(), Mp4TestSampleBytes(3, 14));

    Mp4TestMovie gaps;
    gaps.sizes = {5, 6, 7, 8, 9, 10};
    gaps.chunks = {{1, 2}, {2, 0}, {4, 1}};  // chunks 2 and 3 hold nothing
    Reader skipping(gaps.Build());
    for (uint32_t k = 0; k < 6; ++k) {
        ASSERT_EQ(skipping.Read(0), kIsoOk) << k;
        EXPECT_EQ(skipping.Bytes(), Mp4TestSampleBytes(k, gaps.sizes[k])) << k;
    }
}

// One fragment-only track: a 'trun' of two samples whose second one is read; each field comes
// from the run, else the 'tfhd' defaults, else the 'trex' defaults.
TEST(TrackReader, FragmentFieldPrecedence) {
    constexpr uint32_t kRunSize = 21, kRunSize0 = 20, kRunDuration = 31, kRunCto = 41, kTfhdSize = 22, kTfhdDuration = 32;
    constexpr uint32_t kTrexSize = 23, kTrexDuration = 33, kDataOffset = 100, kExplicitBase = 7;
    struct Row {
        const char* name;
        uint32_t runFlags, tfhdFlags;
        bool trex;
        uint32_t size, duration, sync;
        uint64_t compositionOffset;
        int64_t offsetFromBase;  // expected file offset minus the base
    } rows[] = {
        {"RunValuesFirst", 0xF01, 0x38, true, kRunSize, kRunDuration, 0, kRunCto, kDataOffset + kRunSize0},
        {"RunSizeWithoutDataOffset", 0x200, 0, false, kRunSize, 0, 2, 0, kRunSize0},
        {"TfhdDefaultsSecond", 0x001, 0x38, true, kTfhdSize, kTfhdDuration, 1, 0, kDataOffset + kTfhdSize},
        {"TfhdDefaultSizeWithoutDataOffset", 0x000, 0x10, false, kTfhdSize, 0, 2, 0, kTfhdSize},
        {"TrexThird", 0x001, 0x00, true, kTrexSize, kTrexDuration, 0, 0, kDataOffset + kTrexSize},
        {"NoSourceAtAll", 0x001, 0x00, false, 0, 0, 2, 0, 0},
        {"MixedSources", 0x101, 0x10, true, kTfhdSize, kRunDuration, 0, 0, kDataOffset + kTfhdSize},
        {"TfhdFlagsOverTrex", 0x001, 0x20, true, kTrexSize, kTrexDuration, 1, 0, kDataOffset + kTrexSize},
        {"ExplicitBaseDataOffset", 0x201, 0x01, false, kRunSize, 0, 2, 0, kDataOffset + kRunSize0},
    };
    for (const Row& c : rows) {
        SCOPED_TRACE(c.name);
        BoxBuilder tfhd("tfhd"), trun("trun");
        tfhd.Full(0, c.tfhdFlags | 0x20000).U32(1);
        if (c.tfhdFlags & 0x01) tfhd.U64(kExplicitBase);
        if (c.tfhdFlags & 0x08) tfhd.U32(kTfhdDuration);
        if (c.tfhdFlags & 0x10) tfhd.U32(kTfhdSize);
        if (c.tfhdFlags & 0x20) tfhd.U32(0);  // sample flags: a sync sample
        trun.Full(1, c.runFlags).U32(2);
        if (c.runFlags & 0x001) trun.U32(kDataOffset);
        for (uint32_t j = 0; j < 2; ++j) {
            if (c.runFlags & 0x100) trun.U32(kRunDuration);
            if (c.runFlags & 0x200) trun.U32(j == 0 ? kRunSize0 : kRunSize);
            if (c.runFlags & 0x400) trun.U32(0x10000);  // a non-sync sample
            if (c.runFlags & 0x800) trun.U32(kRunCto);
        }
        Mp4TestMovie empty;  // a track whose samples all lie in the fragment
        empty.sizes = {};
        if (c.trex) empty.extraMoovChildren = {Mvex(kTrexDuration, kTrexSize, 0x10000)};
        const std::vector<uint8_t> head = empty.Build();
        Reader r(Concat({head, BoxBuilder("moof").Child(BoxBuilder("traf").Child(tfhd).Child(trun)).Build(), BoxBuilder("mdat").Zeros(200).Build()}));
        uint32_t count = 0;
        EXPECT_EQ(ISO_GetSampleCount(r.track, &count), kIsoOk);
        EXPECT_EQ(count, 2u);
        ISO_SetSampleBuffer(r.record, nullptr);  // no buffer: fields only
        ASSERT_EQ(r.Read(2), kIsoOk);
        EXPECT_EQ(r.record->size, c.size);
        EXPECT_EQ(r.record->duration, c.duration);
        EXPECT_EQ(r.record->sync, c.sync);
        EXPECT_EQ(r.record->compositionOffset, c.compositionOffset);
        EXPECT_EQ(static_cast<int64_t>(r.record->fileOffset - ((c.tfhdFlags & 0x01) ? kExplicitBase : head.size())),
                  c.offsetFromBase);
    }
}

}  // namespace

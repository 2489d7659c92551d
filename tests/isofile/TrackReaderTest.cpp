// Sample lookup across sample tables and movie fragments, and the source precedence of
// fragment sample fields, through the flat interface.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "BoxBuilder.h"
#include "IsoTestMovies.h"

using namespace isotest;

namespace {

// 10 table samples in chunks of 4, 3 and 3, then two fragments of 5 samples each.
struct MixedMovie {
    TableLayout layout;
    std::vector<uint8_t> bytes;
    std::vector<uint32_t> sizes;      // all 20 samples
    std::vector<uint32_t> durations;  // all 20 samples
    std::vector<uint64_t> offsets;    // all 20 samples

    explicit MixedMovie(std::vector<uint32_t> syncSamples = {}) {
        layout.sizes = {11, 12, 13, 14, 15, 16, 17, 18, 19, 20};
        layout.stts = {{3, 1000}, {0, 7}, {7, 1024}};
        layout.stsc = {{1, 4}, {2, 3}};
        layout.syncSamples = std::move(syncSamples);
        layout.ctts = {{2, 5}, {8, 9}};
        const TableMovie table = MakeTableMovie(layout, {BoxBuilder("mvex").Child(Trex(kTrackId, 0, 0, 0))});
        const std::vector<uint32_t> fragmentA = {30, 31, 32, 33, 34};
        const std::vector<uint32_t> fragmentB = {40, 41, 42, 43, 44};
        const std::vector<uint8_t> a = MakeFragment(1, 10, fragmentA, 2048);
        const std::vector<uint8_t> b = MakeFragment(2, 15, fragmentB, 512);
        bytes = Concat({table.bytes, a, b});
        sizes = layout.sizes;
        sizes.insert(sizes.end(), fragmentA.begin(), fragmentA.end());
        sizes.insert(sizes.end(), fragmentB.begin(), fragmentB.end());
        durations = {1000, 1000, 1000, 1024, 1024, 1024, 1024, 1024, 1024, 1024};
        durations.insert(durations.end(), 5, 2048);
        durations.insert(durations.end(), 5, 512);
        offsets = table.offsets;
        // Each fragment's samples follow its 'mdat' header, right after its 'moof'.
        uint64_t at = table.bytes.size() + a.size() - (30 + 31 + 32 + 33 + 34);
        for (uint32_t s : fragmentA) { offsets.push_back(at); at += s; }
        at = table.bytes.size() + a.size() + b.size() - (40 + 41 + 42 + 43 + 44);
        for (uint32_t s : fragmentB) { offsets.push_back(at); at += s; }
    }
};

class ReaderFixture : public ::testing::Test {
protected:
    void Open(const std::vector<uint8_t>& bytes) {
        ASSERT_EQ(OpenInMemory(bytes, movie_), kIsoOk);
        ASSERT_EQ(ISO_OpenTrack(movie_.handle, &track_, 0), kIsoOk);
        ISO_SetSampleBuffer(sample_.record, buffer_.data());
    }
    int32_t Read(uint32_t sampleNumber) {
        ISO_SetSampleNumber(sample_.record, sampleNumber);
        ISO_SetBufferSize(sample_.record, static_cast<uint32_t>(buffer_.size()));
        return ISO_ReadSample(track_, sample_.record);
    }
    std::vector<uint8_t> Bytes() const {
        return std::vector<uint8_t>(buffer_.begin(), buffer_.begin() + sample_.record->size);
    }

    MovieGuard movie_;
    ISOTrackHandle* track_ = nullptr;
    SampleGuard sample_;
    std::vector<uint8_t> buffer_ = std::vector<uint8_t>(256);
};

TEST_F(ReaderFixture, CountsAndWalksTablesThenFragmentsThenEnds) {
    MixedMovie m;
    Open(m.bytes);
    uint32_t count = 0;
    ASSERT_EQ(ISO_GetSampleCount(track_, &count), kIsoOk);
    EXPECT_EQ(count, 20u);
    for (uint32_t k = 0; k < 20; ++k) {
        ASSERT_EQ(Read(0), kIsoOk) << k;
        EXPECT_EQ(sample_.record->size, m.sizes[k]) << k;
        EXPECT_EQ(sample_.record->duration, m.durations[k]) << k;
        EXPECT_EQ(sample_.record->fileOffset, m.offsets[k]) << k;
        EXPECT_EQ(Bytes(), SampleBytes(k, m.sizes[k])) << k;
    }
    EXPECT_EQ(Read(0), kIsoEndOfTrack);
    EXPECT_EQ(Read(0), kIsoEndOfTrack);
}

TEST_F(ReaderFixture, IndexTwelveIsThirdSampleOfFirstFragment) {
    MixedMovie m;
    Open(m.bytes);
    ASSERT_EQ(Read(13), kIsoOk);
    EXPECT_EQ(sample_.record->size, 32u);
    EXPECT_EQ(sample_.record->duration, 2048u);
    EXPECT_EQ(Bytes(), SampleBytes(12, 32));
    // Sample number n repositions: number 0 then gives n + 1.
    ASSERT_EQ(Read(0), kIsoOk);
    EXPECT_EQ(Bytes(), SampleBytes(13, 33));
    ASSERT_EQ(Read(3), kIsoOk);
    ASSERT_EQ(Read(0), kIsoOk);
    EXPECT_EQ(Bytes(), SampleBytes(3, 14));
    EXPECT_EQ(Read(21), kIsoEndOfTrack);
    EXPECT_EQ(Read(0xFFFFFFFFu), kIsoEndOfTrack);
}

TEST_F(ReaderFixture, RefusesSampleLargerThanCapacity) {
    MixedMovie m;
    Open(m.bytes);
    buffer_.assign(8, 0xEE);
    ASSERT_EQ(Read(1), kIsoFailed);
    EXPECT_EQ(sample_.record->size, 11u);  // what the caller would need
    EXPECT_EQ(buffer_, std::vector<uint8_t>(8, 0xEE));
    // The refused sample is still the next one for number 0.
    buffer_.assign(64, 0);
    ASSERT_EQ(Read(0), kIsoOk);
    EXPECT_EQ(Bytes(), SampleBytes(0, 11));
}

TEST_F(ReaderFixture, StscEntriesWithoutSamplesAreSkipped) {
    TableLayout layout;
    layout.sizes = {5, 6, 7, 8, 9, 10};
    layout.stts = {{6, 1}};
    layout.stsc = {{1, 2}, {2, 0}, {4, 1}};  // chunks 2 and 3 hold nothing
    // Chunk layout: MakeTableMovie follows the entries, giving chunks of 2, 0, 0, 1, 1, 1, 1.
    const TableMovie table = MakeTableMovie(layout);
    Open(table.bytes);
    for (uint32_t k = 0; k < 6; ++k) {
        ASSERT_EQ(Read(0), kIsoOk) << k;
        EXPECT_EQ(sample_.record->fileOffset, table.offsets[k]) << k;
        EXPECT_EQ(Bytes(), SampleBytes(k, layout.sizes[k])) << k;
    }
}

// One fragment-only track: a 'trun' of two samples; sample index 1 (j = 1) is read.
struct PrecedenceCase {
    const char* name;
    uint32_t runFlags;
    uint32_t tfhdFlags;
    bool trex;
    uint32_t size, duration, sync;
    uint64_t compositionOffset;
    int64_t offsetFromBase;  // expected file offset minus the base
};

constexpr uint32_t kRunSize = 21, kRunDuration = 31, kRunFlags = 0x10000, kRunCto = 41;
constexpr uint32_t kRunSize0 = 20;
constexpr uint32_t kTfhdSize = 22, kTfhdDuration = 32, kTfhdFlags = 0x0;
constexpr uint32_t kTrexSize = 23, kTrexDuration = 33, kTrexFlags = 0x10000;
constexpr int32_t kDataOffset = 100;
constexpr uint64_t kExplicitBase = 7;

const PrecedenceCase kPrecedenceCases[] = {
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

TEST(Precedence, FieldsOfSecondSample) {
    for (const PrecedenceCase& c : kPrecedenceCases) {
        SCOPED_TRACE(c.name);
        BoxBuilder tfhd("tfhd");
        tfhd.Full(0, c.tfhdFlags | 0x20000).U32(kTrackId);
        if (c.tfhdFlags & 0x01) tfhd.U64(kExplicitBase);
        if (c.tfhdFlags & 0x08) tfhd.U32(kTfhdDuration);
        if (c.tfhdFlags & 0x10) tfhd.U32(kTfhdSize);
        if (c.tfhdFlags & 0x20) tfhd.U32(kTfhdFlags);
        BoxBuilder trun("trun");
        trun.Full(1, c.runFlags).U32(2);
        if (c.runFlags & 0x001) trun.U32(static_cast<uint32_t>(kDataOffset));
        for (uint32_t j = 0; j < 2; ++j) {
            if (c.runFlags & 0x100) trun.U32(kRunDuration);
            if (c.runFlags & 0x200) trun.U32(j == 0 ? kRunSize0 : kRunSize);
            if (c.runFlags & 0x400) trun.U32(kRunFlags);
            if (c.runFlags & 0x800) trun.U32(kRunCto);
        }
        const std::vector<uint8_t> moof = BoxBuilder("moof").Child(BoxBuilder("traf").Child(tfhd).Child(trun)).Build();
        BoxBuilder moov("moov");
        moov.Child(Mvhd()).Child(Trak(kTrackId, TableLayout{}, {}));
        if (c.trex) moov.Child(BoxBuilder("mvex").Child(Trex(kTrackId, kTrexDuration, kTrexSize, kTrexFlags)));
        const std::vector<uint8_t> moovBytes = moov.Build();
        const std::vector<uint8_t> bytes = Concat({moovBytes, moof, BoxBuilder("mdat").Zeros(200).Build()});
        const uint64_t base = (c.tfhdFlags & 0x01) ? kExplicitBase : moovBytes.size();

        MovieGuard movie;
        ASSERT_EQ(OpenInMemory(bytes, movie), kIsoOk);
        ISOTrackHandle* track = nullptr;
        ASSERT_EQ(ISO_OpenTrack(movie.handle, &track, 0), kIsoOk);
        uint32_t count = 0;
        ASSERT_EQ(ISO_GetSampleCount(track, &count), kIsoOk);
        EXPECT_EQ(count, 2u);
        SampleGuard sample;
        ISO_SetSampleNumber(sample.record, 2);  // no buffer: fields only
        ASSERT_EQ(ISO_ReadSample(track, sample.record), kIsoOk);
        EXPECT_EQ(sample.record->size, c.size);
        EXPECT_EQ(sample.record->duration, c.duration);
        EXPECT_EQ(sample.record->sync, c.sync);
        EXPECT_EQ(sample.record->compositionOffset, c.compositionOffset);
        EXPECT_EQ(static_cast<int64_t>(sample.record->fileOffset - base), c.offsetFromBase);
    }
}

TEST(FragmentData, OffsetOutsideFileFailsTheRead) {
    struct Row { const char* name; int32_t dataOffset; };
    const Row rows[] = {{"BeforeFileStart", -100000}, {"PastFileEnd", 1 << 30}};
    for (const Row& r : rows) {
        BoxBuilder traf("traf");
        traf.Child(BoxBuilder("tfhd").Full(0, 0x20000).U32(kTrackId))
            .Child(BoxBuilder("trun").Full(0, 0x301).U32(1).U32(static_cast<uint32_t>(r.dataOffset)).U32(10).U32(4));
        BoxBuilder moov("moov");
        moov.Child(Mvhd()).Child(Trak(kTrackId, TableLayout{}, {}));
        const std::vector<uint8_t> bytes = Concat({moov.Build(), BoxBuilder("moof").Child(traf).Build(),
                                                   BoxBuilder("mdat").Zeros(8).Build()});
        MovieGuard movie;
        ASSERT_EQ(OpenInMemory(bytes, movie), kIsoOk) << r.name;
        ISOTrackHandle* track = nullptr;
        ASSERT_EQ(ISO_OpenTrack(movie.handle, &track, 0), kIsoOk);
        SampleGuard sample;
        std::vector<uint8_t> buffer(16);
        ISO_SetSampleBuffer(sample.record, buffer.data());
        ISO_SetBufferSize(sample.record, 16);
        EXPECT_EQ(ISO_ReadSample(track, sample.record), kIsoFailed) << r.name;
    }
}

}  // namespace

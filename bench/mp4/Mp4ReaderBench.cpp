// Per-sample cost of the MP4 reader on tracks of 10^4 to 10^6 samples: reading in order, finding
// each sample by time, and reading in random order. Flat per-sample times across the sizes show
// that lookups do not grow with the table sizes.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "BoxBuilder.h"
#include "mp4v2/mp4v2.h"

namespace {

constexpr uint32_t kDeltaRunLength = 1000;  // stts gets a new run every this many samples

// Sample i is 1..16 bytes; chunks alternate 3 and 5 samples (one stsc entry per chunk), and
// stts changes delta every kDeltaRunLength samples, so every table has many entries.
std::vector<uint8_t> BuildFile(uint32_t samples) {
    const std::vector<uint8_t> ftyp = BoxBuilder("ftyp").Str("M4A ").U32(0).Str("M4A ").Build();
    std::vector<uint32_t> sizes(samples);
    uint64_t media = 0;
    for (uint32_t i = 0; i < samples; ++i) media += sizes[i] = 1 + (i * 7) % 16;
    BoxBuilder mdat("mdat");
    mdat.Large64().Zeros(media);
    const uint64_t mediaStart = ftyp.size() + 16;

    BoxBuilder stsz("stsz");
    stsz.Full(0, 0).U32(0).U32(samples);
    for (uint32_t s : sizes) stsz.U32(s);
    BoxBuilder stsc("stsc"), co64("co64");
    std::vector<uint64_t> offsets;
    std::vector<std::pair<uint32_t, uint32_t>> chunkRuns;
    uint64_t at = mediaStart;
    for (uint32_t i = 0, chunk = 1; i < samples; ++chunk) {
        const uint32_t perChunk = chunk % 2 ? 3 : 5;
        chunkRuns.push_back({chunk, perChunk});
        offsets.push_back(at);
        for (uint32_t k = 0; k < perChunk && i < samples; ++k) at += sizes[i++];
    }
    stsc.Full(0, 0).U32(static_cast<uint32_t>(chunkRuns.size()));
    for (const auto& run : chunkRuns) stsc.U32(run.first).U32(run.second).U32(1);
    co64.Full(0, 0).U32(static_cast<uint32_t>(offsets.size()));
    for (uint64_t o : offsets) co64.U64(o);
    BoxBuilder stts("stts");
    const uint32_t runs = (samples + kDeltaRunLength - 1) / kDeltaRunLength;
    stts.Full(0, 0).U32(runs);
    for (uint32_t r = 0; r < runs; ++r) {
        const uint32_t count = r + 1 < runs ? kDeltaRunLength : samples - r * kDeltaRunLength;
        stts.U32(count).U32(1024 + r % 3);
    }
    BoxBuilder stsd("stsd");
    stsd.Full(0, 0).U32(1).Child(BoxBuilder("mp4a").Zeros(6).U16(1).Zeros(8).U16(2).U16(16).U32(0).U32(44100u << 16));
    BoxBuilder stbl("stbl");
    stbl.Child(stsd).Child(stts).Child(stsz).Child(stsc).Child(co64);
    BoxBuilder mdia("mdia");
    mdia.Child(BoxBuilder("mdhd").Full(0, 0).U32(0).U32(0).U32(44100).U32(0).U32(0))
        .Child(BoxBuilder("hdlr").Full(0, 0).U32(0).Str("soun").Zeros(13))
        .Child(BoxBuilder("minf").Child(stbl));
    BoxBuilder trak("trak");
    trak.Child(BoxBuilder("tkhd").Full(0, 3).U32(0).U32(0).U32(1).U32(0).U32(0).Zeros(60)).Child(mdia);
    BoxBuilder moov("moov");
    moov.Child(BoxBuilder("mvhd").Full(0, 0).U32(0).U32(0).U32(1000).U32(0).Zeros(80)).Child(trak);
    return Concat({ftyp, mdat.Build(), moov.Build()});
}

// One temporary file per size, removed at exit.
const std::string& FileFor(uint32_t samples) {
    static std::map<uint32_t, std::string> files;
    auto it = files.find(samples);
    if (it != files.end()) return it->second;
    char path[] = "/tmp/zorv-mp4-bench-XXXXXX";
    const int fd = ::mkstemp(path);
    const std::vector<uint8_t> bytes = BuildFile(samples);
    FILE* out = ::fdopen(fd, "wb");
    std::fwrite(bytes.data(), 1, bytes.size(), out);
    std::fclose(out);
    static struct Cleanup {
        ~Cleanup() {
            for (const auto& f : files) std::remove(f.second.c_str());
        }
    } cleanup;
    return files[samples] = path;
}

struct Open {
    explicit Open(uint32_t samples) : h(MP4Read(FileFor(samples).c_str())) {}
    ~Open() { MP4Close(h, 0); }
    MP4FileHandle h;
};

void BM_ReadInOrder(benchmark::State& state) {
    const uint32_t samples = static_cast<uint32_t>(state.range(0));
    Open file(samples);
    if (!file.h) return state.SkipWithError("open failed");
    uint8_t buffer[64];
    for (auto _ : state) {
        for (MP4SampleId s = 1; s <= samples; ++s) {
            uint8_t* bytes = buffer;
            uint32_t size = sizeof buffer;
            MP4Timestamp start = 0;
            if (!MP4ReadSample(file.h, 1, s, &bytes, &size, &start)) return state.SkipWithError("read failed");
            benchmark::DoNotOptimize(start);
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * samples);
}

void BM_FindByTimeThenRead(benchmark::State& state) {
    const uint32_t samples = static_cast<uint32_t>(state.range(0));
    Open file(samples);
    if (!file.h) return state.SkipWithError("open failed");
    // Times of samples spread over the whole track, visited in a shuffled order.
    std::vector<MP4Timestamp> times;
    for (uint32_t s = 1; s <= samples; s += 7) times.push_back(MP4GetSampleTime(file.h, 1, s) + 5);
    std::shuffle(times.begin(), times.end(), std::mt19937(1));
    uint8_t buffer[64];
    for (auto _ : state) {
        for (MP4Timestamp t : times) {
            const MP4SampleId s = MP4GetSampleIdFromTime(file.h, 1, t, false);
            uint8_t* bytes = buffer;
            uint32_t size = sizeof buffer;
            if (!MP4ReadSample(file.h, 1, s, &bytes, &size)) return state.SkipWithError("read failed");
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * times.size()));
}

void BM_OpenFile(benchmark::State& state) {
    const uint32_t samples = static_cast<uint32_t>(state.range(0));
    FileFor(samples);
    for (auto _ : state) {
        Open file(samples);
        benchmark::DoNotOptimize(file.h);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * samples);
}

BENCHMARK(BM_ReadInOrder)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FindByTimeThenRead)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OpenFile)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();

// Reads every sample of a synthetic fragmented movie (100 samples per fragment) through the flat
// interface. The time per sample must not grow with the number of samples: reading a track in
// order is linear in its length.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "BoxBuilder.h"
#include "IsoReaderInterface.h"

namespace {

constexpr uint32_t kSamplesPerFragment = 100;
constexpr uint32_t kSampleBytes = 6;

std::vector<uint8_t> MakeMovie(uint32_t sampleCount) {
    BoxBuilder stbl("stbl");
    stbl.Child(BoxBuilder("stsd").Full(0, 0).U32(0))
        .Child(BoxBuilder("stts").Full(0, 0).U32(0))
        .Child(BoxBuilder("stsc").Full(0, 0).U32(0))
        .Child(BoxBuilder("stsz").Full(0, 0).U32(0).U32(0))
        .Child(BoxBuilder("stco").Full(0, 0).U32(0));
    BoxBuilder trak("trak");
    trak.Child(BoxBuilder("tkhd").Full(0, 7).U32(0).U32(0).U32(1).U32(0).U32(0).Zeros(60))
        .Child(BoxBuilder("mdia").Child(BoxBuilder("minf").Child(stbl)));
    BoxBuilder moov("moov");
    moov.Child(BoxBuilder("mvhd").Full(0, 0).U32(0).U32(0).U32(1000).U32(0).Zeros(80))
        .Child(trak)
        .Child(BoxBuilder("mvex").Child(BoxBuilder("trex").Full(0, 0).U32(1).U32(1).U32(1024).U32(0).U32(0)));
    std::vector<uint8_t> file = moov.Build();
    const std::vector<uint8_t> mdat =
        BoxBuilder("mdat").Zeros(size_t{kSamplesPerFragment} * kSampleBytes).Build();
    for (uint32_t first = 0; first < sampleCount; first += kSamplesPerFragment) {
        auto build = [&](uint32_t dataOffset) {
            BoxBuilder trun("trun");
            trun.Full(0, 0x301).U32(kSamplesPerFragment).U32(dataOffset);
            for (uint32_t j = 0; j < kSamplesPerFragment; ++j) trun.U32(1024).U32(kSampleBytes);
            BoxBuilder traf("traf");
            traf.Child(BoxBuilder("tfhd").Full(0, 0x20000).U32(1)).Child(trun);
            return BoxBuilder("moof").Child(BoxBuilder("mfhd").Full(0, 0).U32(first + 1)).Child(traf).Build();
        };
        const std::vector<uint8_t> moof = build(static_cast<uint32_t>(build(0).size()) + 8);
        file.insert(file.end(), moof.begin(), moof.end());
        file.insert(file.end(), mdat.begin(), mdat.end());
    }
    return file;
}

void BM_ReadAllFragmentSamples(benchmark::State& state) {
    const uint32_t sampleCount = static_cast<uint32_t>(state.range(0));
    const std::vector<uint8_t> file = MakeMovie(sampleCount);
    ISO_SetMemorySource(file.data(), file.size());
    ISOMovieHandle* movie = nullptr;
    ISOTrackHandle* track = nullptr;
    ISOSampleRecord* record = nullptr;
    if (ISO_OpenMovie(&movie, kIsoModeMemory, nullptr) != kIsoOk || ISO_OpenTrack(movie, &track, 0) != kIsoOk ||
        ISO_CreateSample(&record) != kIsoOk) {
        state.SkipWithError("could not open the synthetic movie");
        return;
    }
    uint8_t buffer[64];
    ISO_SetSampleBuffer(record, buffer);
    uint64_t read = 0;
    for (auto _ : state) {
        ISO_SetSampleNumber(record, 1);
        for (uint32_t k = 0; k < sampleCount; ++k) {
            ISO_SetBufferSize(record, sizeof(buffer));
            if (ISO_ReadSample(track, record) != kIsoOk) {
                state.SkipWithError("read failed");
                break;
            }
            ISO_SetSampleNumber(record, 0);
            ++read;
        }
        benchmark::DoNotOptimize(buffer[0]);
    }
    state.counters["time_per_sample"] =
        benchmark::Counter(static_cast<double>(read), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    ISO_FreeSample(record);
    ISO_CloseMovie(movie);
}

// Opening parses every fragment; its cost per sample must not grow either.
void BM_OpenFragmentedMovie(benchmark::State& state) {
    const uint32_t sampleCount = static_cast<uint32_t>(state.range(0));
    const std::vector<uint8_t> file = MakeMovie(sampleCount);
    for (auto _ : state) {
        ISO_SetMemorySource(file.data(), file.size());
        ISOMovieHandle* movie = nullptr;
        if (ISO_OpenMovie(&movie, kIsoModeMemory, nullptr) != kIsoOk) {
            state.SkipWithError("could not open the synthetic movie");
            break;
        }
        ISO_CloseMovie(movie);
    }
    state.counters["time_per_sample"] = benchmark::Counter(static_cast<double>(sampleCount),
                                                           benchmark::Counter::kIsIterationInvariantRate |
                                                               benchmark::Counter::kInvert);
}

BENCHMARK(BM_OpenFragmentedMovie)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadAllFragmentSamples)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();

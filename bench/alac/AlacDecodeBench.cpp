// Packet decoding speed of the lossless decoder on ffmpeg-encoded material (made on first
// run into the build tree), and the predictor's unrolled orders against the plain rule.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "AlacDecoder.h"
#include "AlacOutput.h"
#include "AlacPredictor.h"

namespace {

struct Stream {
    std::vector<uint8_t> cookie;
    std::vector<std::vector<uint8_t>> packets;
};

uint64_t Be(const uint8_t* p, int n) {
    uint64_t v = 0;
    for (int i = 0; i < n; ++i) {
        v = (v << 8) | p[i];
    }
    return v;
}

// Minimal CAF reader: "kuki", "pakt" (variable-length sizes) and "data" after its edit count.
Stream ReadCaf(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    const std::vector<uint8_t> d((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    Stream s;
    std::vector<uint64_t> sizes;
    const uint8_t* data = nullptr;
    size_t pos = 8;
    while (pos + 12 <= d.size()) {
        const std::string type(d.begin() + static_cast<long>(pos), d.begin() + static_cast<long>(pos) + 4);
        uint64_t size = Be(&d[pos + 4], 8);
        pos += 12;
        if (pos + size > d.size()) {
            size = d.size() - pos;
        }
        const uint8_t* body = &d[pos];
        if (type == "kuki") {
            s.cookie.assign(body, body + size);
        } else if (type == "pakt") {
            const uint64_t count = Be(body, 8);
            size_t at = 24;
            for (uint64_t i = 0; i < count && at < size; ++i) {
                uint64_t v = 0;
                uint8_t b;
                do {
                    b = body[at++];
                    v = (v << 7) | (b & 0x7F);
                } while ((b & 0x80) != 0 && at < size);
                sizes.push_back(v);
            }
        } else if (type == "data") {
            data = body + 4;
        }
        pos += size;
    }
    uint64_t offset = 0;
    for (uint64_t size : sizes) {
        s.packets.emplace_back(data + offset, data + offset + size);
        offset += size;
    }
    return s;
}

// 30 s of a music-like signal: a few partials with vibrato and a noise floor.
const Stream& Material(int bits, int rate) {
    static Stream streams[2];
    Stream& s = streams[bits == 16 ? 0 : 1];
    if (!s.packets.empty()) {
        return s;
    }
    const std::string dir = ZORV_BENCH_DATA_DIR;
    const std::string path = dir + "/alac_" + std::to_string(bits) + "_" + std::to_string(rate) + ".caf";
    if (!std::ifstream(path).good()) {
        const std::string expr =
            "0.3*sin(2*PI*220*t+3*sin(2*PI*5*t))+0.2*sin(2*PI*331*t)+0.1*sin(2*PI*1250*t)+0.05*(random(0)-0.5)|"
            "0.3*sin(2*PI*223*t)+0.2*sin(2*PI*447*t+2*sin(2*PI*3*t))+0.1*sin(2*PI*1800*t)+0.05*(random(1)-0.5)";
        const std::string command = "mkdir -p " + dir + " && ffmpeg -nostdin -loglevel error -y -f lavfi -i \"aevalsrc='" +
                                    expr + "':s=" + std::to_string(rate) + ":d=30\" -c:a alac -sample_fmt " +
                                    (bits == 16 ? "s16p" : "s32p") + " -bits_per_raw_sample " +
                                    std::to_string(bits) + " -f caf " + path;
        if (std::system(command.c_str()) != 0) {
            std::fprintf(stderr, "could not make %s\n", path.c_str());
            std::exit(1);
        }
    }
    s = ReadCaf(path);
    return s;
}

void DecodeStream(benchmark::State& state, int bits, int rate) {
    const Stream& s = Material(bits, rate);
    AlacDecoder decoder{};
    if (InitAlacDecoder(&decoder, s.cookie.data(), static_cast<uint32_t>(s.cookie.size())) != 0) {
        state.SkipWithError("cookie refused");
        return;
    }
    const uint32_t frameLength = decoder.config.frameLength;
    const uint32_t channels = decoder.config.numChannels;
    std::vector<uint8_t> output(static_cast<size_t>(frameLength) * channels *
                                AlacOutputBytesPerSample(decoder.config.bitDepth));
    uint64_t frames = 0;
    for (auto _ : state) {
        for (const auto& packet : s.packets) {
            AlacBitReader reader;
            InitAlacBitReader(reader, packet.data(), static_cast<uint32_t>(packet.size()));
            uint32_t count = 0;
            DecodeAlacPacket(&decoder, &reader, output.data(), frameLength, channels, &count);
            frames += count;
        }
        benchmark::DoNotOptimize(output.data());
    }
    state.counters["frames/s"] = benchmark::Counter(static_cast<double>(frames), benchmark::Counter::kIsRate);
    state.counters["x realtime"] =
        benchmark::Counter(static_cast<double>(frames) / rate, benchmark::Counter::kIsRate);
    ReleaseAlacDecoder(&decoder);
}

void BM_DecodeStereo16(benchmark::State& state) { DecodeStream(state, 16, 44100); }
void BM_DecodeStereo24(benchmark::State& state) { DecodeStream(state, 24, 96000); }
BENCHMARK(BM_DecodeStereo16)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DecodeStereo24)->Unit(benchmark::kMillisecond);

// Predictor alone, order given by the argument: unrolled path against the plain rule.
template <bool Plain>
void BM_Unpredict(benchmark::State& state) {
    const uint32_t order = static_cast<uint32_t>(state.range(0));
    const uint32_t count = 4096;
    std::mt19937 rng(7);
    std::uniform_int_distribution<int32_t> residual(-200, 200);
    std::vector<int32_t> residuals(count);
    for (int32_t& r : residuals) {
        r = residual(rng);
    }
    std::vector<int32_t> out(count + 32);
    std::vector<int16_t> coefs(32);
    for (auto _ : state) {
        for (uint32_t k = 0; k < 32; ++k) {
            coefs[k] = static_cast<int16_t>(k < order ? 300 - 40 * static_cast<int>(k) : 0);
        }
        if (Plain) {
            UnpredictBlockPlain(residuals.data(), out.data(), count, coefs.data(), order, 16, 9);
        } else {
            UnpredictBlock(residuals.data(), out.data(), count, coefs.data(), order, 16, 9);
        }
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * count);
}
BENCHMARK(BM_Unpredict<false>)->Arg(4)->Arg(6)->Arg(8)->Arg(12);
BENCHMARK(BM_Unpredict<true>)->Arg(4)->Arg(6)->Arg(8)->Arg(12);

}  // namespace

BENCHMARK_MAIN();

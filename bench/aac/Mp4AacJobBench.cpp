// The AAC-in-MP4 job in-process, with the plainest host (messages on this thread, the event
// signalled at once), against a bare FAAD2 loop over the same track: the difference is the job's
// own cost (trimming, block hand-over, thread messages) without a host program around it.
//
//   ZORV_BENCH_MP4AAC=file.m4a zorv_bench_mp4aac_job
// (scripts/bench-table.sh makes 10-minute files in ${XDG_CACHE_HOME:-$HOME/.cache}/zorv-bench.)
#include <benchmark/benchmark.h>
#include <neaacdec.h>

#include <cstdlib>
#include <string>

#include "Win32Api.h"
#include "AacJobs.h"
#include "Mp4TrackLoop.h"
#include "zorv/decode.h"

extern "C" HANDLE Decode(const WCHAR* path, DWORD hostThreadId, uint64_t* startPosition, UINT msgFailed,
                         UINT msgDone, UINT msgBlock, UINT msgFormat, DWORD trackNumber);

namespace {

std::string BenchFile() {
    const char* file = std::getenv("ZORV_BENCH_MP4AAC");
    if (file) return file;
    const char* cache = std::getenv("XDG_CACHE_HOME");
    const char* home = std::getenv("HOME");
    return (cache ? std::string(cache) : std::string(home ? home : ".") + "/.cache") + "/zorv-bench/lc256.m4a";
}

constexpr UINT kFailed = WM_APP + 1, kDone = WM_APP + 2, kBlock = WM_APP + 3, kFormat = WM_APP + 4;

void BM_Mp4AacJob(benchmark::State& state) {
    std::string path = BenchFile();
    std::u16string wide(path.begin(), path.end());
    MSG msg;
    PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE);
    for (auto _ : state) {
        HANDLE thread = Decode(wide.c_str(), GetCurrentThreadId(), nullptr, kFailed, kDone, kBlock, kFormat, 0);
        if (thread == nullptr) {
            state.SkipWithError("Decode failed");
            return;
        }
        uint64_t bytes = 0;
        bool ok = false;
        while (GetMessageW(&msg, nullptr, 0, 0) > 0) {
            if (msg.message == kFormat || msg.message == kBlock) {
                auto* block = reinterpret_cast<PcmBlock*>(msg.wParam);
                if (msg.message == kBlock) bytes += block->byteCount;
                SetEvent(block->readyEvent);
            } else if (msg.message == kDone || msg.message == kFailed) {
                ok = msg.message == kDone;
                break;
            }
        }
        WaitForSingleObject(thread, INFINITE);
        CloseHandle(thread);
        if (!ok) {
            state.SkipWithError("job failed");
            return;
        }
        benchmark::DoNotOptimize(bytes);
    }
}

void BM_FaadLoop(benchmark::State& state) {
    std::string path = BenchFile();
    for (auto _ : state) {
        const Mp4TrackLoop loop(path.c_str());
        if (!loop.Opened()) {
            state.SkipWithError("cannot open");
            return;
        }
        std::vector<uint8_t> config = loop.Config();
        NeAACDecHandle h = OpenFloatDecoder(false);
        unsigned long rate = 0;
        unsigned char channels = 0;
        NeAACDecInit2(h, config.data(), static_cast<unsigned long>(config.size()), &rate, &channels);
        double sum = 0;
        loop.ForEachUnit([&](uint8_t* bytes, uint32_t size, MP4SampleId) {
            NeAACDecFrameInfo info{};
            auto* pcm = static_cast<float*>(NeAACDecDecode(h, &info, bytes, size));
            if (info.samples && pcm) sum += pcm[0];
        });
        benchmark::DoNotOptimize(sum);
        NeAACDecClose(h);
    }
}

BENCHMARK(BM_Mp4AacJob)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_FaadLoop)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();

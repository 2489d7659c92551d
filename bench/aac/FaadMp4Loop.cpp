// Reference for the AAC-in-MP4 speed comparison: the plainest loop over an MP4 track that gives
// the same output as the module's job (FAAD2 float output, no down-mix, core rate for streams
// without SBR), with none of the job's trimming, reordering or host hand-over.
//
//   zorv_bench_faad_mp4 FILE [OUTPUT]     (OUTPUT defaults to /dev/null)
//
// scripts/bench-table.sh times it against the module on the same files.
#include <neaacdec.h>

#include <cstdio>

#include "AacJobs.h"
#include "Mp4TrackLoop.h"

namespace {

NeAACDecHandle OpenDecoder(std::vector<uint8_t>& config, bool upsampled) {
    NeAACDecHandle h = OpenFloatDecoder(upsampled);
    unsigned long rate = 0;
    unsigned char channels = 0;
    if (h != nullptr && NeAACDecInit2(h, config.data(), static_cast<unsigned long>(config.size()), &rate, &channels) < 0) {
        NeAACDecClose(h);
        h = nullptr;
    }
    return h;
}

}  // namespace

int main(int argc, char** argv) {
    FILE* out = OpenLoopOutput(argc, argv);
    if (out == nullptr) return 2;
    const Mp4TrackLoop loop(argv[1]);
    std::vector<uint8_t> config = loop.Opened() ? loop.Config() : std::vector<uint8_t>();
    NeAACDecHandle h = config.empty() ? nullptr : OpenDecoder(config, false);
    if (h == nullptr) return 1;

    unsigned long long frames = 0;
    loop.ForEachUnit([&](uint8_t* bytes, uint32_t size, MP4SampleId id) {
        if (h == nullptr) return;  // the decoder for a stream with SBR could not be opened
        NeAACDecFrameInfo info{};
        void* pcm = NeAACDecDecode(h, &info, bytes, size);
        if (id == 1 && info.sbr == NO_SBR_UPSAMPLED) {
            NeAACDecClose(h);
            h = OpenDecoder(config, true);
            pcm = h ? NeAACDecDecode(h, &info, bytes, size) : nullptr;
        }
        if (info.error != 0 || info.samples == 0 || pcm == nullptr) return;
        std::fwrite(pcm, sizeof(float), info.samples, out);
        frames += info.samples / info.channels;
    });
    if (h) NeAACDecClose(h);
    std::fclose(out);
    std::fprintf(stderr, "%llu frames\n", frames);
    return h ? 0 : 1;
}

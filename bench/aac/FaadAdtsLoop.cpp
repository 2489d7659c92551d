// Reference for the raw AAC speed comparison: the plainest FAAD2 loop over an ADTS file that
// gives the same output as the module's raw job (float output, no down-mix), with the whole file
// in memory and none of the job's framing, trimming, reordering or host hand-over.
//
//   zorv_bench_faad_adts FILE [OUTPUT]     (OUTPUT defaults to /dev/null)
#include <neaacdec.h>

#include <cstdio>
#include <vector>

#include "AacJobs.h"

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s FILE [OUTPUT]\n", argv[0]);
        return 2;
    }
    FILE* in = std::fopen(argv[1], "rb");
    FILE* out = std::fopen(argc > 2 ? argv[2] : "/dev/null", "wb");
    if (in == nullptr || out == nullptr) return 1;
    std::vector<unsigned char> bytes;
    unsigned char chunk[1 << 16];
    for (size_t n; (n = std::fread(chunk, 1, sizeof chunk, in)) > 0;) bytes.insert(bytes.end(), chunk, chunk + n);
    std::fclose(in);

    NeAACDecHandle h = OpenFloatDecoder(false);
    unsigned long rate = 0;
    unsigned char channels = 0;
    if (h == nullptr) return 1;
    const long start = NeAACDecInit(h, bytes.data(), static_cast<unsigned long>(bytes.size()), &rate, &channels);
    if (start < 0) return 1;
    unsigned long long frames = 0;
    for (size_t at = static_cast<size_t>(start); at < bytes.size();) {
        NeAACDecFrameInfo info{};
        void* pcm = NeAACDecDecode(h, &info, bytes.data() + at, static_cast<unsigned long>(bytes.size() - at));
        if (info.bytesconsumed == 0) break;
        at += info.bytesconsumed;
        if (info.error != 0 || info.samples == 0 || pcm == nullptr) continue;
        std::fwrite(pcm, sizeof(float), info.samples, out);
        frames += info.samples / info.channels;
    }
    NeAACDecClose(h);
    std::fclose(out);
    std::fprintf(stderr, "%llu frames\n", frames);
    return 0;
}

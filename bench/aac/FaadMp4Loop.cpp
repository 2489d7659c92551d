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
#include "mp4v2/mp4v2.h"

namespace {


bool Init(NeAACDecHandle h, MP4FileHandle file, MP4TrackId track) {
    uint8_t* config = nullptr;
    uint32_t size = 0;
    if (!MP4GetTrackESConfiguration(file, track, &config, &size) || config == nullptr) return false;
    unsigned long rate = 0;
    unsigned char channels = 0;
    bool ok = NeAACDecInit2(h, config, size, &rate, &channels) >= 0;
    MP4Free(config);
    return ok;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s FILE [OUTPUT]\n", argv[0]);
        return 2;
    }
    MP4FileHandle file = MP4Read(argv[1]);
    if (file == MP4_INVALID_FILE_HANDLE) return 1;
    MP4TrackId track = MP4FindTrackId(file, 0, MP4_AUDIO_TRACK_TYPE, 0);
    FILE* out = std::fopen(argc > 2 ? argv[2] : "/dev/null", "wb");
    NeAACDecHandle h = OpenFloatDecoder(false);
    if (out == nullptr || h == nullptr || !Init(h, file, track)) return 1;

    unsigned long long frames = 0;
    MP4SampleId count = MP4GetTrackNumberOfSamples(file, track);
    for (MP4SampleId id = 1; id <= count; ++id) {
        uint8_t* bytes = nullptr;
        uint32_t size = 0;
        if (!MP4ReadSample(file, track, id, &bytes, &size)) break;
        NeAACDecFrameInfo info{};
        void* pcm = NeAACDecDecode(h, &info, bytes, size);
        if (id == 1 && info.sbr == NO_SBR_UPSAMPLED) {
            NeAACDecClose(h);
            h = OpenFloatDecoder(true);
            if (h == nullptr || !Init(h, file, track)) return 1;
            pcm = NeAACDecDecode(h, &info, bytes, size);
        }
        MP4Free(bytes);
        if (info.error != 0 || info.samples == 0 || pcm == nullptr) continue;
        std::fwrite(pcm, sizeof(float), info.samples, out);
        frames += info.samples / info.channels;
    }
    NeAACDecClose(h);
    MP4Close(file, 0);
    std::fclose(out);
    std::fprintf(stderr, "%llu frames\n", frames);
    return 0;
}

// Reference for the xHE-AAC speed comparison: the plainest loop that decodes an MP4 track's
// access units with FDK AAC under the settings the job uses by default (DRC off) and writes the
// library's own 16-bit PCM, with none of the job's trimming, widening or host hand-over.
//
//   zorv_fdk_xhe_loop FILE [OUTPUT]     (OUTPUT defaults to /dev/null)
#include <cstdio>

#include "XheAacDecoder.h"
#include "mp4v2/mp4v2.h"

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s FILE [OUTPUT]\n", argv[0]);
        return 2;
    }
    MP4FileHandle file = MP4Read(argv[1]);
    if (file == MP4_INVALID_FILE_HANDLE) return 1;
    const MP4TrackId track = MP4FindTrackId(file, 0, MP4_AUDIO_TRACK_TYPE, 0);
    FILE* out = std::fopen(argc > 2 ? argv[2] : "/dev/null", "wb");
    HANDLE_AACDECODER decoder = OpenXheDecoder(XheDrcSettings{false, -1, 0});
    uint8_t* config = nullptr;
    uint32_t configSize = 0;
    if (out == nullptr || decoder == nullptr || !MP4GetTrackESConfiguration(file, track, &config, &configSize) ||
        !ConfigureXheDecoder(decoder, config, configSize))
        return 1;
    MP4Free(config);

    static INT_PCM pcm[kXheDecodeCapacity];
    unsigned long long frames = 0;
    const MP4SampleId count = MP4GetTrackNumberOfSamples(file, track);
    for (MP4SampleId id = 1; id <= count; ++id) {
        uint8_t* bytes = nullptr;
        uint32_t size = 0;
        if (!MP4ReadSample(file, track, id, &bytes, &size)) break;
        const bool fed = FeedXheAccessUnit(decoder, bytes, size);
        MP4Free(bytes);
        if (!fed || aacDecoder_DecodeFrame(decoder, pcm, kXheDecodeCapacity, 0) != AAC_DEC_OK) continue;
        const CStreamInfo* info = aacDecoder_GetStreamInfo(decoder);
        std::fwrite(pcm, sizeof(INT_PCM), static_cast<size_t>(info->frameSize * info->numChannels), out);
        frames += static_cast<unsigned long long>(info->frameSize);
    }
    aacDecoder_Close(decoder);
    MP4Close(file, 0);
    std::fclose(out);
    std::fprintf(stderr, "%llu frames\n", frames);
    return 0;
}

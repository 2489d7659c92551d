// Reference for the xHE-AAC speed comparison: the plainest loop that decodes an MP4 track's
// access units with FDK AAC under the settings the job uses by default (DRC off) and writes the
// library's own 16-bit PCM, with none of the job's trimming, widening or host hand-over.
//
//   zorv_fdk_xhe_loop FILE [OUTPUT]     (OUTPUT defaults to /dev/null)
#include <cstdio>

#include "Mp4TrackLoop.h"
#include "XheAacDecoder.h"

int main(int argc, char** argv) {
    FILE* out = OpenLoopOutput(argc, argv);
    if (out == nullptr) return 2;
    const Mp4TrackLoop loop(argv[1]);
    const std::vector<uint8_t> config = loop.Opened() ? loop.Config() : std::vector<uint8_t>();
    HANDLE_AACDECODER decoder = OpenXheDecoder(XheDrcSettings{false, -1, 0});
    if (decoder == nullptr || config.empty() ||
        !ConfigureXheDecoder(decoder, config.data(), static_cast<uint32_t>(config.size())))
        return 1;

    static INT_PCM pcm[kXheDecodeCapacity];
    unsigned long long frames = 0;
    loop.ForEachUnit([&](uint8_t* bytes, uint32_t size, MP4SampleId) {
        if (!FeedXheAccessUnit(decoder, bytes, size) ||
            aacDecoder_DecodeFrame(decoder, pcm, kXheDecodeCapacity, 0) != AAC_DEC_OK)
            return;
        const CStreamInfo* info = aacDecoder_GetStreamInfo(decoder);
        std::fwrite(pcm, sizeof(INT_PCM), static_cast<size_t>(info->frameSize * info->numChannels), out);
        frames += static_cast<unsigned long long>(info->frameSize);
    });
    aacDecoder_Close(decoder);
    std::fclose(out);
    std::fprintf(stderr, "%llu frames\n", frames);
    return 0;
}

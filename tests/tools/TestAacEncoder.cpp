// Test-material encoder: raw 16-bit little-endian interleaved PCM in, ADTS AAC out, through the
// FDK AAC encoder. Makes the HE-AAC and HE-AAC v2 material the MP4 job's tests need (ffmpeg's own
// encoder does only AAC-LC); the tests mux its output into MP4 with ffmpeg -c:a copy.
//
//   zorv_test_aacenc AOT RATE CHANNELS BITRATE in.s16 out.aac
//
// AOT is 2 (AAC-LC), 5 (HE-AAC) or 29 (HE-AAC v2); CHANNELS 1 or 2. On success it prints one line
//   delay=<frames> frameLength=<frames> units=<count>
// where delay is the encoder's delay in output sample frames, frameLength the frames one access
// unit decodes to, units the number of access units written.
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <fdk-aac/aacenc_lib.h>

namespace {

bool Set(HANDLE_AACENCODER encoder, AACENC_PARAM param, UINT value) {
    return aacEncoder_SetParam(encoder, param, value) == AACENC_OK;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 7) {
        std::fprintf(stderr, "usage: %s AOT RATE CHANNELS BITRATE in.s16 out.aac\n", argv[0]);
        return 2;
    }
    int aot = std::atoi(argv[1]);
    int rate = std::atoi(argv[2]);
    int channels = std::atoi(argv[3]);
    int bitrate = std::atoi(argv[4]);
    if (channels != 1 && channels != 2) {
        std::fprintf(stderr, "unsupported channel count %d\n", channels);
        return 2;
    }
    FILE* in = std::fopen(argv[5], "rb");
    FILE* out = std::fopen(argv[6], "wb");
    if (in == nullptr || out == nullptr) return 1;

    HANDLE_AACENCODER encoder = nullptr;
    if (aacEncOpen(&encoder, 0, static_cast<UINT>(channels)) != AACENC_OK) return 1;
    bool ok = Set(encoder, AACENC_AOT, static_cast<UINT>(aot)) && Set(encoder, AACENC_SAMPLERATE, static_cast<UINT>(rate)) &&
              Set(encoder, AACENC_CHANNELMODE, channels == 1 ? MODE_1 : MODE_2) &&
              Set(encoder, AACENC_BITRATE, static_cast<UINT>(bitrate)) && Set(encoder, AACENC_TRANSMUX, TT_MP4_ADTS) &&
              Set(encoder, AACENC_AFTERBURNER, 1) && aacEncEncode(encoder, nullptr, nullptr, nullptr, nullptr) == AACENC_OK;
    AACENC_InfoStruct info{};
    if (!ok || aacEncInfo(encoder, &info) != AACENC_OK) {
        std::fprintf(stderr, "encoder set-up failed\n");
        aacEncClose(&encoder);
        return 1;
    }

    std::vector<INT_PCM> pcm(static_cast<size_t>(info.frameLength) * static_cast<size_t>(channels));
    std::vector<UCHAR> au(static_cast<size_t>(info.maxOutBufBytes) + 1024);
    unsigned long long units = 0;
    bool eof = false;
    for (;;) {
        INT read = 0;
        if (!eof) {
            read = static_cast<INT>(std::fread(pcm.data(), sizeof(INT_PCM), pcm.size(), in));
            if (read == 0) eof = true;
        }
        void* inPtr = pcm.data();
        INT inId = IN_AUDIO_DATA;
        INT inSize = read * static_cast<INT>(sizeof(INT_PCM));
        INT inElSize = sizeof(INT_PCM);
        AACENC_BufDesc inDesc{1, &inPtr, &inId, &inSize, &inElSize};
        void* outPtr = au.data();
        INT outId = OUT_BITSTREAM_DATA;
        INT outSize = static_cast<INT>(au.size());
        INT outElSize = 1;
        AACENC_BufDesc outDesc{1, &outPtr, &outId, &outSize, &outElSize};
        AACENC_InArgs inArgs{eof ? -1 : read, 0};  // -1 flushes the encoder
        AACENC_OutArgs outArgs{};
        AACENC_ERROR err = aacEncEncode(encoder, &inDesc, &outDesc, &inArgs, &outArgs);
        if (err == AACENC_ENCODE_EOF) break;
        if (err != AACENC_OK) {
            std::fprintf(stderr, "encode error 0x%x\n", static_cast<unsigned>(err));
            aacEncClose(&encoder);
            return 1;
        }
        if (outArgs.numOutBytes > 0) {
            std::fwrite(au.data(), 1, static_cast<size_t>(outArgs.numOutBytes), out);
            ++units;
        }
    }
    aacEncClose(&encoder);
    std::fclose(in);
    if (std::fclose(out) != 0) return 1;
    std::printf("delay=%u frameLength=%u units=%llu\n", info.nDelay, info.frameLength, units);
    return 0;
}

// Calls into FDK AAC for the xHE-AAC job (see XheAacDecoder.h).
#include "XheAacDecoder.h"

namespace {

static_assert(sizeof(INT_PCM) == 2, "the widening below assumes the library's 16-bit samples");

// Frame-decoding errors the library conceals: the frame's output is still valid.
bool IsConcealedError(AAC_DECODER_ERROR status) {
    return status >= aac_dec_decode_error_start && status <= aac_dec_decode_error_end;
}

}  // namespace

HANDLE_AACDECODER OpenXheDecoder(const XheDrcSettings& drc) {
    HANDLE_AACDECODER decoder = aacDecoder_Open(TT_MP4_RAW, 1);
    if (decoder == nullptr) return nullptr;
    // The results are not looked at: a setting the library refuses leaves its default, and the
    // stream decodes all the same.
    if (drc.enabled) {
        if (drc.effect != 0) (void)aacDecoder_SetParam(decoder, AAC_UNIDRC_SET_EFFECT, drc.effect);
        (void)aacDecoder_SetParam(decoder, AAC_DRC_REFERENCE_LEVEL, drc.loudness);
    } else {
        // Off means off altogether: no loudness normalisation, no DRC effect, and no output
        // limiter (whose look-ahead is most of the decoder's output delay).
        (void)aacDecoder_SetParam(decoder, AAC_DRC_REFERENCE_LEVEL, -1);
        (void)aacDecoder_SetParam(decoder, AAC_UNIDRC_SET_EFFECT, -1);
        (void)aacDecoder_SetParam(decoder, AAC_PCM_LIMITER_ENABLE, 0);
    }
    return decoder;
}

bool ConfigureXheDecoder(HANDLE_AACDECODER decoder, const uint8_t* config, uint32_t size) {
    UCHAR* buffers[1] = {const_cast<UCHAR*>(config)};  // the library only reads it
    const UINT lengths[1] = {size};
    return aacDecoder_ConfigRaw(decoder, buffers, lengths) == AAC_DEC_OK;
}

bool FeedXheAccessUnit(HANDLE_AACDECODER decoder, const uint8_t* bytes, uint32_t size) {
    UCHAR* buffers[1] = {const_cast<UCHAR*>(bytes)};  // the library only reads it
    const UINT lengths[1] = {size};
    UINT left = size;
    return aacDecoder_Fill(decoder, buffers, lengths, &left) == AAC_DEC_OK && left == 0;
}

bool DecodeXheFrame(HANDLE_AACDECODER decoder, bool flush, uint8_t* output, XheFrame& frame) {
    auto* decoded = reinterpret_cast<INT_PCM*>(output + kXheDecodedOffset);
    const AAC_DECODER_ERROR status =
        aacDecoder_DecodeFrame(decoder, decoded, kXheDecodeCapacity, flush ? AACDEC_FLUSH : 0);
    if (status != AAC_DEC_OK && !IsConcealedError(status)) return false;
    const CStreamInfo* info = aacDecoder_GetStreamInfo(decoder);
    if (info == nullptr || info->numChannels <= 0 || info->frameSize < 0 || info->sampleRate <= 0) return false;
    const auto channels = static_cast<uint32_t>(info->numChannels);
    const auto frames = static_cast<uint32_t>(info->frameSize);
    if (uint64_t{channels} * frames > static_cast<uint64_t>(kXheDecodeCapacity)) return false;

    // The host was told 32-bit samples: each 16-bit sample becomes the top half of one
    // (value << 16, written as a product because shifting a negative value is undefined here).
    auto* wide = reinterpret_cast<int32_t*>(output);
    const size_t count = size_t{channels} * frames;
    for (size_t i = 0; i < count; ++i) wide[i] = int32_t{decoded[i]} * 65536;

    frame.channels = channels;
    frame.sampleRate = static_cast<uint32_t>(info->sampleRate);
    frame.frames = frames;
    frame.outputDelay = info->outputDelay;
    return true;
}

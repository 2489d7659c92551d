// FAAD2 decoder creation shared by the MP4 and raw AAC jobs: 32-bit float output, no
// down-mixing, every other setting at the library's defaults.
#include <neaacdec.h>

#include "AacJobs.h"

NeAACDecHandle OpenFloatDecoder(bool dontUpSampleImplicitSbr) {
    NeAACDecHandle decoder = NeAACDecOpen();
    if (decoder == nullptr) return nullptr;
    NeAACDecConfigurationPtr config = NeAACDecGetCurrentConfiguration(decoder);
    if (config == nullptr) {
        NeAACDecClose(decoder);
        return nullptr;
    }
    config->outputFormat = FAAD_FMT_FLOAT;
    config->downMatrix = 0;
    if (dontUpSampleImplicitSbr) config->dontUpSampleImplicitSBR = 1;
    if (NeAACDecSetConfiguration(decoder, config) == 0) {
        NeAACDecClose(decoder);
        return nullptr;
    }
    return decoder;
}

void StartFrameCounter(NeAACDecHandle decoder) { NeAACDecPostSeekReset(decoder, 1); }

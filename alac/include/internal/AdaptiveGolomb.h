// Adaptive Golomb-Rice decoding of one channel's prediction residuals, with run mode for
// stretches of zeros. Called by the packet decoder once per channel of a compressed element.
#pragma once

#include <cstdint>

#include "AlacBitReader.h"
#include "AlacStatus.h"

// Field order as the packet decoder fills them; only mb0, pb, kb and wb steer decoding.
struct AdaptiveGolombParams {
    uint32_t mb;        // cookie initial history (not used: the working mean starts from mb0)
    uint32_t mb0;       // initial mean, in units of 1/512
    uint32_t pb;        // adaptation multiplier: cookie history multiplier x pbFactor / 4
    uint32_t kb;        // upper bound of the Golomb parameter k
    uint32_t wb;        // run-length mask, (1 << kb) - 1
    uint32_t qb;        // 512 - pb (not used)
    uint32_t fw;        // element sample count (not used)
    uint32_t sw;        // element sample count (not used)
    uint32_t maxRun;    // cookie maximum run (not used)
};

// Fills the parameters for one channel the way the packet decoder does.
AdaptiveGolombParams MakeAdaptiveGolombParams(uint32_t initialHistory, uint32_t historyMultiplier,
                                              uint32_t pbFactor, uint32_t kModifier, uint32_t sampleCount,
                                              uint32_t maxRun);

// Decodes `sampleCount` residuals into `output`. `maxWidth` (0..33) is the width of an escaped
// value. On return `*bitsUsed` holds the bits consumed and the reader has been advanced by
// them, also on failure (the values decoded so far stay in `output`).
AlacStatus DecodeAdaptiveGolomb(const AdaptiveGolombParams* params, AlacBitReader* reader, int32_t* output,
                                uint32_t sampleCount, uint32_t maxWidth, uint32_t* bitsUsed);

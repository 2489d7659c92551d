// Adaptive linear predictor of the lossless decoder: rebuilds a channel's samples from its
// residuals, adapting the coefficients sample by sample with a sign-sign rule.
#pragma once

#include <cstdint>

// Sign-extends from `width` bits; the shift count is taken modulo 32, so width 33 (a 32-bit
// pair without shifted bytes) extends from bit 1 and width 32 or 0 leaves the value alone.
inline int32_t SignExtendAlac(uint32_t value, uint32_t width) {
    const uint32_t shift = (32u - width) & 31u;
    return static_cast<int32_t>(value << shift) >> shift;
}

// `residuals` and `output` may be the same array only for coefficient counts 0 and 31.
// Coefficients are adapted in place. Counts 4 and 8 (the orders common encoders use) run
// unrolled loops that give the same results as UnpredictBlockPlain.
void UnpredictBlock(const int32_t* residuals, int32_t* output, uint32_t count, int16_t* coefficients,
                    uint32_t coefficientCount, uint32_t width, uint32_t denominatorShift);

// The rule written out plainly, one tap at a time; the reference the fast paths are tested against.
void UnpredictBlockPlain(const int32_t* residuals, int32_t* output, uint32_t count, int16_t* coefficients,
                         uint32_t coefficientCount, uint32_t width, uint32_t denominatorShift);

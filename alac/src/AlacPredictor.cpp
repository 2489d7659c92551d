// Adaptive linear predictor.
//
// For sample j after the warm-up, with a taps and top = out[j - a - 1]:
//   sum    = sum over k of coef[k] * (out[j - 1 - k] - top)       (wrapping 32-bit)
//   out[j] = sign-extend_w(top + e + ((sum + r) >> d)),  e = residual[j]
// where r = 2^((d + 31) mod 32): 2^(d - 1) normally, and 2^31 when d = 0. That last term is
// part of the bit-stream definition and must be kept, not "fixed" to 0.
// Then, when e != 0, the taps are nudged from the oldest (k = a - 1) towards the newest, each
// by the sign of (top - out[j - 1 - k]), and e shrinks by (a - k) * (|delta| >> d) until it
// changes sign; the order of updates and the early stop decide the next prediction.
//
// All sample arithmetic wraps modulo 2^32 (done in unsigned, as signed overflow is undefined).
#include "AlacPredictor.h"

#include <algorithm>
#include <cstring>

namespace {

inline int32_t Add(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
inline int32_t Sub(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}
inline int32_t Mul(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}
inline int32_t Sign(int32_t v) { return (v > 0) - (v < 0); }

inline uint32_t RoundingTerm(uint32_t denominatorShift) { return 1u << ((denominatorShift + 31u) & 31u); }

// Prediction of out[j] from the taps, before sign extension.
inline int32_t Predict(int32_t top, int32_t residual, uint32_t sum, uint32_t rounding, uint32_t shift) {
    const int32_t weighted = static_cast<int32_t>(sum + rounding) >> shift;
    return Add(Add(top, residual), weighted);
}

// The first-order pass (a = 31) and the warm-up of the other orders.
inline void RunningSum(const int32_t* residuals, int32_t* output, uint32_t from, uint32_t to, uint32_t width) {
    for (uint32_t j = from; j < to; ++j) {
        output[j] = SignExtendAlac(static_cast<uint32_t>(Add(residuals[j], output[j - 1])), width);
    }
}

// Common start of every order. Returns false when the block is complete. The warm-up of a
// taps would run to index a even when the block is shorter; samples past `count` are never
// read by the output stage or by a later block, so it stops at the block's end instead.
inline bool Start(const int32_t* residuals, int32_t* output, uint32_t count, uint32_t coefficientCount,
                  uint32_t width) {
    output[0] = residuals[0];
    if (coefficientCount == 0) {
        if (count > 1 && residuals != output) {
            std::memcpy(output + 1, residuals + 1, (count - 1) * sizeof(int32_t));
        }
        return false;
    }
    if (coefficientCount == 31) {
        RunningSum(residuals, output, 1, count, width);
        return false;
    }
    RunningSum(residuals, output, 1, std::min(coefficientCount + 1, count), width);
    return coefficientCount + 1 < count;
}

// One sample of the main loop with `a` taps in `coef`; `history` points at out[j - a - 1].
template <typename Taps>
inline void Step(const int32_t* history, int32_t* out, int32_t residual, Taps& coef, uint32_t a,
                 uint32_t width, uint32_t rounding, uint32_t shift) {
    const int32_t top = history[0];
    uint32_t sum = 0;
    for (uint32_t k = 0; k < a; ++k) {
        sum += static_cast<uint32_t>(Mul(coef[k], Sub(history[a - k], top)));
    }
    *out = SignExtendAlac(static_cast<uint32_t>(Predict(top, residual, sum, rounding, shift)), width);

    int32_t e = residual;
    if (e > 0) {
        for (uint32_t k = a; k-- > 0;) {
            const int32_t delta = Sub(top, history[a - k]);
            const int32_t s = Sign(delta);
            coef[k] = static_cast<int16_t>(coef[k] - s);
            e = Sub(e, Mul(static_cast<int32_t>(a - k), Mul(delta, s) >> shift));
            if (e <= 0) {
                break;
            }
        }
    } else if (e < 0) {
        for (uint32_t k = a; k-- > 0;) {
            const int32_t delta = Sub(top, history[a - k]);
            const int32_t s = Sign(delta);
            coef[k] = static_cast<int16_t>(coef[k] + s);
            e = Sub(e, Mul(static_cast<int32_t>(a - k), Sub(0, Mul(delta, s)) >> shift));
            if (e >= 0) {
                break;
            }
        }
    }
}

// Fixed tap count: every tap loop is written out (the pragmas make sure of that at any
// optimisation level) and the taps stay in registers; they are stored back once after the
// block. The differences out[j - 1 - k] - top of the weighted sum are kept for the adaptation,
// which needs their negation; the order of the tap updates and the early stops are the rule's.
template <uint32_t A>
void UnpredictFixed(const int32_t* residuals, int32_t* output, uint32_t count, int16_t* coefficients,
                    uint32_t width, uint32_t shift) {
    int16_t coef[A];
    std::memcpy(coef, coefficients, sizeof coef);
    const uint32_t rounding = RoundingTerm(shift);
    for (uint32_t j = A + 1; j < count; ++j) {
        const int32_t* history = output + j - A - 1;  // history[0] = top, history[A - k] pairs with tap k
        const int32_t top = history[0];
        int32_t difference[A];
        uint32_t sum = 0;
#pragma GCC unroll 8
        for (uint32_t k = 0; k < A; ++k) {
            difference[k] = Sub(history[A - k], top);
            sum += static_cast<uint32_t>(Mul(coef[k], difference[k]));
        }
        int32_t e = residuals[j];
        output[j] = SignExtendAlac(static_cast<uint32_t>(Predict(top, e, sum, rounding, shift)), width);
        if (e > 0) {
#pragma GCC unroll 8
            for (int k = static_cast<int>(A) - 1; k >= 0; --k) {
                const int32_t delta = Sub(0, difference[k]);
                const int32_t s = Sign(delta);
                coef[k] = static_cast<int16_t>(coef[k] - s);
                e = Sub(e, Mul(static_cast<int32_t>(A) - k, Mul(delta, s) >> shift));
                if (e <= 0) break;
            }
        } else if (e < 0) {
#pragma GCC unroll 8
            for (int k = static_cast<int>(A) - 1; k >= 0; --k) {
                const int32_t delta = Sub(0, difference[k]);
                const int32_t s = Sign(delta);
                coef[k] = static_cast<int16_t>(coef[k] + s);
                e = Sub(e, Mul(static_cast<int32_t>(A) - k, Sub(0, Mul(delta, s)) >> shift));
                if (e >= 0) break;
            }
        }
    }
    std::memcpy(coefficients, coef, sizeof coef);
}

}  // namespace

void UnpredictBlockPlain(const int32_t* residuals, int32_t* output, uint32_t count, int16_t* coefficients,
                         uint32_t coefficientCount, uint32_t width, uint32_t denominatorShift) {
    if (count == 0) {
        output[0] = residuals[0];
        return;
    }
    if (!Start(residuals, output, count, coefficientCount, width)) {
        return;
    }
    const uint32_t a = coefficientCount;
    const uint32_t d = denominatorShift;
    const uint32_t rounding = RoundingTerm(d);
    for (uint32_t j = a + 1; j < count; ++j) {
        const int32_t top = output[j - a - 1];
        uint32_t sum = 0;
        for (uint32_t k = 0; k < a; ++k) {
            sum += static_cast<uint32_t>(coefficients[k]) * static_cast<uint32_t>(Sub(output[j - 1 - k], top));
        }
        int32_t e = residuals[j];
        output[j] = SignExtendAlac(static_cast<uint32_t>(Add(Add(top, e), static_cast<int32_t>(sum + rounding) >> d)),
                                   width);
        if (e > 0) {
            for (uint32_t k = a; k-- > 0;) {
                const int32_t delta = Sub(top, output[j - 1 - k]);
                const int32_t s = Sign(delta);
                coefficients[k] = static_cast<int16_t>(coefficients[k] - s);
                const int32_t magnitude = Mul(delta, s);
                e = Sub(e, Mul(static_cast<int32_t>(a - k), magnitude >> d));
                if (e <= 0) {
                    break;
                }
            }
        } else if (e < 0) {
            for (uint32_t k = a; k-- > 0;) {
                const int32_t delta = Sub(top, output[j - 1 - k]);
                const int32_t s = Sign(delta);
                coefficients[k] = static_cast<int16_t>(coefficients[k] + s);
                const int32_t negativeMagnitude = Sub(0, Mul(delta, s));
                e = Sub(e, Mul(static_cast<int32_t>(a - k), negativeMagnitude >> d));
                if (e >= 0) {
                    break;
                }
            }
        }
    }
}

void UnpredictBlock(const int32_t* residuals, int32_t* output, uint32_t count, int16_t* coefficients,
                    uint32_t coefficientCount, uint32_t width, uint32_t denominatorShift) {
    if (count == 0) {
        output[0] = residuals[0];
        return;
    }
    if (!Start(residuals, output, count, coefficientCount, width)) {
        return;
    }
    const uint32_t d = denominatorShift;
    // Apple's encoder writes orders 4 and 8, ffmpeg's 4 to 6 by default; each order up to 8 gets
    // a loop of its own.
    switch (coefficientCount) {
        case 1: return UnpredictFixed<1>(residuals, output, count, coefficients, width, d);
        case 2: return UnpredictFixed<2>(residuals, output, count, coefficients, width, d);
        case 3: return UnpredictFixed<3>(residuals, output, count, coefficients, width, d);
        case 4: return UnpredictFixed<4>(residuals, output, count, coefficients, width, d);
        case 5: return UnpredictFixed<5>(residuals, output, count, coefficients, width, d);
        case 6: return UnpredictFixed<6>(residuals, output, count, coefficients, width, d);
        case 7: return UnpredictFixed<7>(residuals, output, count, coefficients, width, d);
        case 8: return UnpredictFixed<8>(residuals, output, count, coefficients, width, d);
        default: break;
    }
    const uint32_t rounding = RoundingTerm(d);
    for (uint32_t j = coefficientCount + 1; j < count; ++j) {
        Step(output + j - coefficientCount - 1, output + j, residuals[j], coefficients, coefficientCount, width,
             rounding, d);
    }
}

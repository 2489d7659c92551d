// Predictor: the unrolled orders against the plain rule on random input, and the rule's edges.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "AlacPredictor.h"

namespace {

struct Block {
    std::vector<int32_t> residuals;
    std::vector<int16_t> coefficients;
};

Block RandomBlock(std::mt19937& rng, uint32_t count, uint32_t coefficientCount, uint32_t width) {
    Block b;
    std::uniform_int_distribution<int32_t> small(-300, 300);
    std::uniform_int_distribution<int32_t> coef(-2000, 2000);
    std::uniform_int_distribution<uint32_t> any;
    std::bernoulli_distribution zero(0.2);
    std::bernoulli_distribution wild(0.05);
    for (uint32_t i = 0; i < count; ++i) {
        int32_t r = zero(rng) ? 0 : small(rng);
        if (wild(rng)) {
            r = static_cast<int32_t>(any(rng));  // exercise wrapping and sign extension
        }
        b.residuals.push_back(SignExtendAlac(static_cast<uint32_t>(r), width));
    }
    for (uint32_t k = 0; k < 32; ++k) {
        b.coefficients.push_back(static_cast<int16_t>(k < coefficientCount ? coef(rng) : 0));
    }
    return b;
}

TEST(AlacPredictorTest, FastPathsMatchThePlainRule) {
    std::mt19937 rng(12345);
    const uint32_t widths[] = {16, 17, 24, 25, 32, 33};
    for (uint32_t a = 0; a <= 31; ++a) {
        for (uint32_t width : widths) {
            for (uint32_t shift : {0u, 1u, 9u, 15u}) {
                for (uint32_t count : {1u, 2u, a + 1, a + 2, 300u}) {
                    Block b = RandomBlock(rng, count, a, width);
                    Block fastInput = b;
                    std::vector<int32_t> plain(count + 32), fast(count + 32);
                    UnpredictBlockPlain(b.residuals.data(), plain.data(), count, b.coefficients.data(), a, width, shift);
                    UnpredictBlock(fastInput.residuals.data(), fast.data(), count, fastInput.coefficients.data(), a,
                                   width, shift);
                    plain.resize(count);
                    fast.resize(count);
                    ASSERT_EQ(fast, plain) << "a=" << a << " width=" << width << " shift=" << shift << " n=" << count;
                    ASSERT_EQ(fastInput.coefficients, b.coefficients) << "a=" << a;
                }
            }
        }
    }
}

TEST(AlacPredictorTest, OneSampleIsCopiedForEveryOrder) {
    for (uint32_t a = 0; a <= 31; ++a) {
        int32_t residual = -123456789;
        int32_t out = 0;
        int16_t coefs[32] = {};
        UnpredictBlock(&residual, &out, 1, coefs, a, 16, 3);
        EXPECT_EQ(out, -123456789) << a;  // the first sample is not sign-extended
    }
}

TEST(AlacPredictorTest, Order31InPlaceIsASignExtendedRunningSum) {
    std::vector<int32_t> buffer{30000, 30000, 30000, -5, 7};
    int16_t coefs[32] = {};
    UnpredictBlock(buffer.data(), buffer.data(), 5, coefs, 31, 16, 0);
    // 30000, 60000 -> -5536, 24464, 24459, 24466
    EXPECT_EQ(buffer, (std::vector<int32_t>{30000, -5536, 24464, 24459, 24466}));
}

TEST(AlacPredictorTest, ZeroResidualLeavesCoefficientsAlone) {
    std::vector<int32_t> residuals{10, 20, 0, 0, 0};
    std::vector<int32_t> out(5);
    int16_t coefs[1] = {300};
    UnpredictBlock(residuals.data(), out.data(), 5, coefs, 1, 16, 9);
    EXPECT_EQ(coefs[0], 300);
}

// Denominator shift 0 adds 2^31 before the shift: with one tap of 1, out[2] = 0 + 0 + (5 + 2^31).
TEST(AlacPredictorTest, ZeroDenominatorShiftAddsTwoToThe31) {
    std::vector<int32_t> residuals{0, 5, 0};
    std::vector<int32_t> out(3);
    int16_t coefs[1] = {1};
    UnpredictBlock(residuals.data(), out.data(), 3, coefs, 1, 32, 0);
    EXPECT_EQ(out[2], INT32_MIN + 5);
    int16_t plainCoefs[1] = {1};
    UnpredictBlockPlain(residuals.data(), out.data(), 3, plainCoefs, 1, 32, 0);
    EXPECT_EQ(out[2], INT32_MIN + 5);
}

// Width 33 sign-extends from bit 1 (shift count 31): only the lowest bit survives, as a sign.
TEST(AlacPredictorTest, Width33ExtendsModulo32) {
    EXPECT_EQ(SignExtendAlac(3, 33), -1);
    EXPECT_EQ(SignExtendAlac(2, 33), 0);
    EXPECT_EQ(SignExtendAlac(0x8000, 16), -32768);
    EXPECT_EQ(SignExtendAlac(0x80000000u, 32), INT32_MIN);
}

// Positive residual: taps move against the sign of (top - history), oldest first, until the
// residual is used up.
TEST(AlacPredictorTest, AdaptationOrderAndEarlyStop) {
    // a = 2, d = 0 is avoided (rounding 2^31); d = 1. out = 0, 4, 6 (warm-up), then j = 3.
    std::vector<int32_t> residuals{0, 4, 2, 1};
    std::vector<int32_t> out(4);
    int16_t coefs[2] = {0, 0};
    UnpredictBlockPlain(residuals.data(), out.data(), 4, coefs, 2, 16, 1);
    // top = out[0] = 0; sum = 0; out[3] = 0 + 1 + (0 + 1) >> 1 = 1.
    EXPECT_EQ(out[3], 1);
    // e = 1 > 0: k = 1 first: delta = 0 - out[1] = -4, coef[1] += 1, e -= 1 * (4 >> 1) -> -1: stop.
    EXPECT_EQ(coefs[1], 1);
    EXPECT_EQ(coefs[0], 0);
}

}  // namespace

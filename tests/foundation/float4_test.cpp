// The four-lane operations beyond plain arithmetic: masks, the fast estimates and the
// exponential family, checked against double-precision references over wide ranges.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "lumora/foundation/fast_math.hpp"
#include "lumora/foundation/float4.hpp"

namespace lumora {
namespace {

constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

std::vector<float> lanes(Float4 v) { return {v[0], v[1], v[2], v[3]}; }

TEST(Float4, LaneWiseArithmeticMasksAndReductions) {
    const Float4 a(1, 2, 3, 4), b(2, 2, 2, 2);
    const int masks[] = {(a < b).signMask(), (a <= b).signMask(), (a > b).signMask(), (a >= b).signMask(),
                         (a == b).signMask()};
    EXPECT_EQ(std::vector<int>(std::begin(masks), std::end(masks)), (std::vector<int>{1, 3, 12, 14, 2}));
    const Float4 nan(kNaN);
    EXPECT_FALSE((nan == nan).any());  // NaN lanes compare false everywhere
    EXPECT_TRUE((a == a).all());
    const Float4 s = select(a > b, a, Float4(-1.f));
    EXPECT_EQ(s[1] + s[2] + s[3], 6.f);
    EXPECT_EQ(Float4(3, -7, 9, 1).hmax(), 9.f);
    EXPECT_EQ(a.sum(), 10.f);
    const Float4 r = a * Float4(4, 3, 2, 1) + Float4(1.f) - a / Float4(2.f);
    EXPECT_EQ(r[0], 4.5f);
    EXPECT_EQ(r[3], 3.f);
    EXPECT_EQ(min(a, b)[3] + max(a, b)[0], 4.f);
    // Clamping a NaN lane against a bound gives the bound: the NaN cannot spread through clamps.
    EXPECT_EQ(max(nan, Float4(0.f))[0], 0.f);
    EXPECT_EQ(min(nan, Float4(1.f))[2], 1.f);
    EXPECT_TRUE(std::isnan(min(Float4(1.f), nan)[1]));
    EXPECT_EQ(abs(Float4(-2, 2, -0.f, 1))[0] + sqrt(Float4(9.f))[2], 5.f);
    EXPECT_FLOAT_EQ(a.luminance(), 2.f);
}

TEST(Float4, EstimatesKeepTwelveBitsAndTheSpecialCases) {
    for (float v = 1e-30f; v < 1e30f; v *= 1.37f) {
        EXPECT_NEAR(rcp(Float4(v))[0] * v, 1.f, 1.5f / 4096.f) << v;
        EXPECT_NEAR(rsqrt(Float4(v))[0] * std::sqrt(v), 1.f, 1.5f / 4096.f) << v;
    }
    // A denormal input (the last lane) counts as zero.
    EXPECT_EQ(lanes(rcp(Float4(0.f, -0.f, kInf, 1e-40f))), (std::vector<float>{kInf, -kInf, 0.f, kInf}));
    EXPECT_EQ(rsqrt(Float4(0.f))[0], kInf);
    EXPECT_TRUE(std::isnan(rsqrt(Float4(-4.f))[0]));
}

TEST(Float4, ExponentialsAndLogarithmMatchTheLibraryClosely) {
    const auto relative = [](double got, double want) { return std::fabs(got - want) / std::fabs(want); };
    for (float x = -86.f; x < 88.f; x += 0.173f) {
        EXPECT_LT(relative(exp(Float4(x))[1], std::exp(double(x))), 3e-7) << x;
        EXPECT_LT(relative(exp2(Float4(x))[2], std::exp2(double(x))), 3e-7) << x;
    }
    for (float v = 1e-44f; v < 3e38f; v *= 1.29f) {
        const double want = std::log(double(v));
        EXPECT_LT(std::fabs(log(Float4(v))[3] - want), 3e-7 * std::max(1.0, std::fabs(want))) << v;
    }
    EXPECT_EQ(exp(Float4(0.f))[0], 1.f);
    EXPECT_EQ(exp2(Float4(0.f))[0], 1.f);
    EXPECT_EQ(exp2(Float4(5.f))[0], 32.f);
    EXPECT_EQ(log(Float4(1.f))[0], 0.f);
    EXPECT_EQ(lanes(exp(Float4(100.f, -200.f, kInf, -kInf))), (std::vector<float>{kInf, 0.f, kInf, 0.f}));
    const Float4 l = log(Float4(0.f, -1.f, kInf, kNaN));
    EXPECT_EQ(l[0], -kInf);
    EXPECT_EQ(l[2], kInf);
    EXPECT_TRUE(std::isnan(l[1]) && std::isnan(l[3]) && std::isnan(exp(Float4(kNaN))[0]));
}

TEST(FastMath, FastExp2IsExactAtZeroAndCloseElsewhere) {
    EXPECT_EQ(fastExp2(0.f), 1.f);
    EXPECT_EQ(fastExp2(-200.f), 0.f);
    EXPECT_EQ(fastExp2(kNaN), 0.f);
    for (float x = -120.f; x < 120.f; x += 0.31f) EXPECT_NEAR(fastExp2(x) / std::exp2(x), 1.f, 3e-7f) << x;
}

}  // namespace
}  // namespace lumora

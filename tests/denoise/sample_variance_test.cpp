#include <gtest/gtest.h>

#include <cmath>

#include "lumora/denoise/sample_variance.hpp"
#include "lumora/foundation/scheduler.hpp"
#include "synthetic_render.hpp"

namespace lumora {
namespace {

TEST(SampleVariance, IsNeverZeroNorNegativeAndTinyLanesBorrowTheLargest) {
    struct Case {
        const char* what;
        Float4 excessSquares;  // squares minus the squared mean
        float passes;
        Float4 expected;
    };
    const Case cases[] = {
        {"per lane, over n - 1", Float4(0.15f, 0.3f, 0.6f, 0.9f), 16.f, Float4(0.01f, 0.02f, 0.04f, 0.06f)},
        {"empty lanes take the largest colour lane", Float4(0.15f, 0.f, 0.3f, 0.f), 16.f, Float4(0.01f, 0.02f, 0.02f, 0.02f)},
        {"squares below the squared mean", Float4(-0.1f), 16.f, Float4(1e-12f)},
        {"one pass", Float4(1.f), 1.f, Float4(1e-12f)},
        {"no pass", Float4(0.f), 0.f, Float4(1e-12f)},
        {"the fourth lane alone does not count", Float4(0.f, 0.f, 0.f, 3.f), 4.f, Float4(1e-12f)},
    };
    const Float4 m(0.5f, 0.25f, 1.f, 1.f);
    Bitmap<Float4> mean(6, 1, m), squares(6, 1);
    Bitmap<float> passes(6, 1);
    Float4 sum(0.f);
    for (int i = 0; i < 6; ++i) {
        squares(i, 0) = m * m + cases[i].excessSquares;
        passes(i, 0) = cases[i].passes;
        sum += cases[i].expected;
    }
    const Float4 average = computeSampleVariance(mean, squares, passes);
    for (int i = 0; i < 6; ++i) {
        SCOPED_TRACE(cases[i].what);
        for (int lane = 0; lane < 4; ++lane) {
            EXPECT_NEAR(squares(i, 0)[lane], cases[i].expected[lane], 1e-6f * cases[i].expected[lane])
                << testing::describe(squares(i, 0));
        }
    }
    for (int lane = 0; lane < 4; ++lane) EXPECT_NEAR(average[lane], sum[lane] / 6.f, 1e-7f);
}

TEST(SampleVariance, MeanDoesNotDependOnTheThreads) {
    // Variances over many orders of magnitude, so that the order of the additions shows.
    const int width = 16, height = 600;
    Bitmap<Float4> mean(width, height), squares(width, height);
    const Bitmap<float> passes(width, height, 16.f);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const float excess = std::ldexp(1.f + 0.01f * float(x), (x * 7 + y * 13) % 60 - 40);
            mean(x, y) = Float4(0.5f);
            squares(x, y) = Float4(0.25f + excess, 0.25f + 2.f * excess, 0.25f, 0.f);
        }
    }
    std::vector<Float4> results;
    for (const int threads : {1, 2, 4, 2, 4}) {
        scheduler::setWorkerCount(threads);
        Bitmap<Float4> variance = squares;
        results.push_back(computeSampleVariance(mean, variance, passes));
    }
    scheduler::setWorkerCount(0);
    for (const Float4& r : results) {
        EXPECT_TRUE(testing::sameBits(r, results[0])) << testing::describe(r) << " and " << testing::describe(results[0]);
    }
}

}  // namespace
}  // namespace lumora

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "lumora/denoise/hot_pixels_denoiser.hpp"
#include "lumora/foundation/scheduler.hpp"
#include "synthetic_render.hpp"

namespace lumora {
namespace {

using testing::describe;
using testing::makeFlatRender;
using testing::sameBits;
using testing::SyntheticRender;

std::optional<Bitmap<Float4>> runFireflies(SyntheticRender render, DenoiseProgress progress = nullptr) {
    DenoisingData data;
    data.passes = std::move(render.passes);
    return HotPixelsDenoiser(data).denoise(std::move(render.colour), std::move(render.squares),
                                           ElementId(RenderElement::Beauty), std::move(progress));
}

// Every pixel except (cx, cy) keeps its exact bits.
void expectUnchangedExcept(const Bitmap<Float4>& before, const Bitmap<Float4>& after, int cx = -1, int cy = -1) {
    ASSERT_EQ(after.size(), before.size());
    for (int y = 0; y < before.height(); ++y) {
        for (int x = 0; x < before.width(); ++x) {
            ASSERT_TRUE((x == cx && y == cy) || sameBits(before(x, y), after(x, y)))
                << "pixel (" << x << ", " << y << ") changed from " << describe(before(x, y)) << " to " << describe(after(x, y));
        }
    }
}

TEST(HotPixelsDenoiser, ReplacesALoneFireflyByTheMedianOfItsNeighboursAndNothingElse) {
    struct Case {
        int width, height, x, y;
        std::size_t rank;  // of the replacement among the neighbours sorted by luminance
    };
    // The 4-pixel images are smaller than the 5 x 5 support and go through the border form only;
    // a corner firefly takes the brightest of its three neighbours.
    for (const Case c : {Case{24, 20, 10, 8, 4}, Case{24, 20, 2, 1, 4}, Case{24, 20, 0, 0, 2}, Case{24, 20, 23, 19, 2},
                         Case{4, 3, 1, 1, 4}, Case{3, 4, 1, 2, 4}, Case{4, 4, 3, 0, 2}}) {
        SCOPED_TRACE(::testing::Message() << c.width << "x" << c.height << " at (" << c.x << ", " << c.y << ")");
        SyntheticRender render = makeFlatRender(c.width, c.height);
        render.addFirefly(c.x, c.y, 20.f);
        const Bitmap<Float4> before = render.colour;
        const auto result = runFireflies(std::move(render));
        ASSERT_TRUE(result.has_value());

        std::vector<Float4> neighbours;
        for (int y = std::max(c.y - 1, 0); y <= std::min(c.y + 1, c.height - 1); ++y) {
            for (int x = std::max(c.x - 1, 0); x <= std::min(c.x + 1, c.width - 1); ++x) {
                if (x != c.x || y != c.y) neighbours.push_back(before(x, y));
            }
        }
        std::ranges::sort(neighbours, {}, [](Float4 v) { return v.luminance(); });
        EXPECT_TRUE(sameBits((*result)(c.x, c.y), neighbours.at(c.rank))) << describe((*result)(c.x, c.y));
        expectUnchangedExcept(before, *result, c.x, c.y);
    }
}

TEST(HotPixelsDenoiser, LeavesStructuresAndBlackPixelsAlone) {
    SyntheticRender render = makeFlatRender(24, 20);
    // A bright 2 x 2 block whose members support each other.
    for (int y = 8; y < 10; ++y) {
        for (int x = 10; x < 12; ++x) render.addFirefly(x, y, 20.f);
    }
    // A black pixel is never filtered, although a nearly black one in its place would be.
    render.set(4, 4, Float4(0.f), 0.f);
    render.set(16, 14, Float4(0.001f, 0.001f, 0.001f, 0.f), 0.f);
    const Bitmap<Float4> before = render.colour;
    const auto result = runFireflies(std::move(render));
    ASSERT_TRUE(result.has_value());
    expectUnchangedExcept(before, *result, 16, 14);
    EXPECT_FALSE(sameBits((*result)(16, 14), before(16, 14)));
}

TEST(HotPixelsDenoiser, TrustsPixelsWithFewerThanTwoPasses) {
    // No variance can be estimated, so no pixel looks noisy: nothing changes, nothing becomes NaN.
    SyntheticRender render = makeFlatRender(16, 12);
    render.addFirefly(7, 5, 20.f);
    render.addFirefly(2, 9, 1e-5f);
    for (int y = 0; y < 12; ++y) {
        for (int x = 0; x < 16; ++x) render.passes(x, y) = float((x + y) % 2);
    }
    const Bitmap<Float4> before = render.colour;
    const auto result = runFireflies(std::move(render));
    ASSERT_TRUE(result.has_value());
    expectUnchangedExcept(before, *result);
}

TEST(HotPixelsDenoiser, TinyAndEmptyImagesComeBackWhole) {
    for (const auto& [width, height] : {std::pair{1, 1}, {1, 6}, {6, 1}, {2, 2}, {0, 0}}) {
        SyntheticRender render = makeFlatRender(width, height);
        if (width * height > 2) render.addFirefly(width / 2, height / 2, 20.f);
        const auto result = runFireflies(std::move(render));
        ASSERT_TRUE(result.has_value());
        ASSERT_EQ(std::pair(result->width(), result->height()), std::pair(width, height));
        for (std::size_t i = 0; i < result->size(); ++i) EXPECT_TRUE(std::isfinite(result->data()[i].luminance()));
    }
}

SyntheticRender makeSpeckledRender() {
    SyntheticRender render = makeFlatRender(96, 64);
    for (int i = 0; i < 40; ++i) render.addFirefly((i * 37) % 96, (i * 23) % 64, 5.f + float(i));
    return render;
}

TEST(HotPixelsDenoiser, ReportsProgressStopsWhenCancelledAndDoesNotDependOnTheThreads) {
    testing::ProgressProbe cancelled;
    EXPECT_FALSE(runFireflies(makeSpeckledRender(), cancelled.callback(5)).has_value()) << "no partial image";
    EXPECT_FALSE(cancelled.backwards.load());
    EXPECT_LT(cancelled.last.load(), 0.5f) << "the remaining rows were skipped";

    std::vector<Bitmap<Float4>> results;
    for (int threads : {1, 2}) {
        scheduler::setWorkerCount(threads);
        testing::ProgressProbe probe;
        results.push_back(runFireflies(makeSpeckledRender(), probe.callback(1000)).value());
        EXPECT_FALSE(probe.backwards.load());
        EXPECT_EQ(probe.calls.load(), 64);  // one report per row
    }
    scheduler::setWorkerCount(0);
    const SyntheticRender original = makeSpeckledRender();
    int changed = 0;
    for (int y = 0; y < 64; ++y) {
        for (int x = 0; x < 96; ++x) {
            ASSERT_TRUE(sameBits(results[0](x, y), results[1](x, y))) << "pixel (" << x << ", " << y << ")";
            changed += !sameBits(results[0](x, y), original.colour(x, y));
        }
    }
    EXPECT_EQ(changed, 40);
}

}  // namespace
}  // namespace lumora

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "lumora/denoise/nlm_denoiser.hpp"
#include "lumora/denoise/nlm_window.hpp"
#include "lumora/foundation/hash.hpp"
#include "lumora/foundation/scheduler.hpp"
#include "synthetic_render.hpp"

namespace lumora {
namespace {

using testing::SyntheticRender;

// Two materials split by a vertical edge under light that fades downwards, rendered with noise,
// and the features a renderer would have gathered for it.
struct Scene {
    SyntheticRender render;
    Bitmap<Float4> truth;
    DenoisingData data;
};

Scene makeScene(int width, int height, float noise = 0.05f, bool withHair = false) {
    Scene s{{Bitmap<Float4>(width, height), Bitmap<Float4>(width, height),
             Bitmap<float>(width, height, SyntheticRender::kPasses)},
            Bitmap<Float4>(width, height),
            {}};
    std::mt19937 random(7);
    std::normal_distribution<float> gauss(0.f, noise);
    Bitmap<Float4> diffuse(width, height), normals(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const bool right = x >= width / 2;
            const Float4 albedo = right ? Float4(0.8f, 0.6f, 0.2f, 1.f) : Float4(0.2f, 0.3f, 0.5f, 1.f);
            const float light = 0.5f + 0.5f * float(y) / float(height);
            const Float4 truth = albedo * Float4(light, light, light, 1.f);
            s.truth(x, y) = truth;
            s.render.set(x, y, truth + Float4(gauss(random), gauss(random), gauss(random), 0.f), noise * noise);
            diffuse(x, y) = albedo;
            normals(x, y) = right ? Float4(1.f, 0.f, 0.f, 0.5f) : Float4(0.f, 0.f, 1.f, 0.5f);
        }
    }
    const auto feature = [&](FeatureType type, const Bitmap<Float4>& mean) {
        Bitmap<Float4> squares(width, height);
        for (std::size_t i = 0; i < mean.size(); ++i) squares.data()[i] = mean.data()[i] * mean.data()[i];
        s.data.features[type] = FeatureImages{type, mean, std::move(squares)};
    };
    feature(FeatureType::VisibleDiffuse, diffuse);
    feature(FeatureType::VisibleNormals, normals);
    feature(FeatureType::Hybrid, diffuse);
    if (withHair) feature(FeatureType::HairIds, Bitmap<Float4>(width, height));
    s.data.passes = s.render.passes;
    return s;
}

// Mean over pixels and colour lanes of (x - ref)² / (ref² + 0.01).
double relativeMse(const Bitmap<Float4>& image, const Bitmap<Float4>& reference) {
    double sum = 0.0;
    for (std::size_t i = 0; i < image.size(); ++i) {
        for (int lane = 0; lane < 3; ++lane) {
            const double x = image.data()[i][lane], r = reference.data()[i][lane];
            sum += (x - r) * (x - r) / (r * r + 0.01);
        }
    }
    return sum / (3.0 * double(image.size()));
}

std::optional<Bitmap<Float4>> denoise(NlmDenoiser& denoiser, const SyntheticRender& render,
                                      ElementId element = ElementId(RenderElement::Beauty),
                                      DenoiseProgress progress = nullptr) {
    return denoiser.denoise(render.colour, render.squares, element, std::move(progress));
}

TEST(NlmDenoiser, RemovesMostOfTheNoiseAndKeepsTheEdge) {
    Scene scene = makeScene(48, 40);
    NlmDenoiser denoiser(scene.data);
    const auto result = denoise(denoiser, scene.render);
    ASSERT_TRUE(result);
    const double before = relativeMse(scene.render.colour, scene.truth);
    const double after = relativeMse(*result, scene.truth);
    EXPECT_LT(after, before / 3.0) << "before " << before << ", after " << after;
    // No light leaks across the material edge.
    for (int y = 0; y < 40; ++y) {
        EXPECT_NEAR((*result)(23, y).x(), scene.truth(23, y).x(), 0.05f) << "row " << y;
        EXPECT_NEAR((*result)(24, y).x(), scene.truth(24, y).x(), 0.1f) << "row " << y;
    }
}

// The filters' formulas (patch distances, the three candidates, SURE selection with its ties,
// outlier removal, the pyramid) are pinned by the result's bits: a noise-free block makes the
// candidates tie, black and bright-but-quiet pixels take the filters' special paths, the hair
// mask and odd sizes reach every border form. The value changes only with the algorithm.
TEST(NlmDenoiser, ResultIsPinnedToTheBit) {
    Scene scene = makeScene(45, 38, 0.05f, true);
    for (int y = 28; y < 38; ++y) {
        for (int x = 0; x < 14; ++x) scene.render.set(x, y, Float4(0.3f, 0.3f, 0.3f, 1.f), 0.f);
    }
    scene.render.set(5, 5, Float4(0.f), 0.f);
    scene.render.set(6, 5, Float4(0.f), 0.f);
    scene.render.set(30, 10, Float4(2.f, 2.f, 2.f, 1.f), 1e-6f);
    scene.render.addFirefly(40, 20, 30.f);
    scene.data.features[FeatureType::HairIds].mean(20, 20) = Float4(1.f);
    // The plain kernels and, where the CPU has them, the two-pixel ones.
    const bool wide = nlm::wideKernels();
    for (const bool on : {false, true}) {
        nlm::setWideKernels(on);
        SCOPED_TRACE(nlm::wideKernels() ? "two-pixel kernels" : "plain kernels");
        DenoisingData data = scene.data;  // the denoiser takes the features
        NlmDenoiser denoiser(data);
        const auto result = denoise(denoiser, scene.render);
        ASSERT_TRUE(result);
        EXPECT_EQ(utils::hash(result->data(), result->size() * sizeof(Float4)), 0x5922660397befc3au)
            << "pixel (22, 30): " << testing::describe((*result)(22, 30));
    }
    nlm::setWideKernels(wide);
}

TEST(NlmDenoiser, OddAndTinySizesComeBackWhole) {
    for (const auto& [width, height] : {std::pair{17, 11}, std::pair{3, 8}, std::pair{1, 1}, std::pair{2, 1}}) {
        SCOPED_TRACE(::testing::Message() << width << " x " << height);
        Scene scene = makeScene(width, height, 0.05f, true);
        NlmDenoiser denoiser(scene.data);
        const auto result = denoise(denoiser, scene.render);
        ASSERT_TRUE(result);
        ASSERT_EQ(result->width(), width);
        ASSERT_EQ(result->height(), height);
        for (std::size_t i = 0; i < result->size(); ++i) {
            ASSERT_TRUE(std::isfinite(result->data()[i].x())) << i;
        }
    }
}

TEST(NlmDenoiser, TextureElementsGoWithoutNormalsAndTheNextBeautyWithAll) {
    Scene scene = makeScene(24, 20);
    // A cleared fourth lane is 0 even where the renderer wrote infinity.
    scene.data.features[FeatureType::VisibleDiffuse].mean(3, 4) = Float4(0.2f, 0.3f, 0.5f, INFINITY);
    NlmDenoiser denoiser(scene.data);
    const Bitmap<Float4>& diffuse = denoiser.featureFilters().filters()[0].mean;
    for (std::size_t i = 0; i < diffuse.size(); ++i) ASSERT_EQ(diffuse.data()[i].w(), 0.f) << i;
    const auto activity = [&] {
        std::vector<bool> active;
        for (const NlmFeature& f : denoiser.featureFilters().nlmFeatures()) active.push_back(f.active());
        return active;
    };
    // In their order: diffuse, normals, hybrid.
    ASSERT_EQ(denoiser.featureFilters().filters().size(), 3u);
    EXPECT_EQ(denoiser.featureFilters().filters()[1].descriptor.type, FeatureType::VisibleNormals);

    const auto texture = denoise(denoiser, scene.render, ElementId(RenderElementType::Texmap));
    EXPECT_EQ(activity(), (std::vector<bool>{true, false, true}));
    const auto beauty = denoise(denoiser, scene.render);
    EXPECT_EQ(activity(), (std::vector<bool>{true, true, true}));
    ASSERT_TRUE(texture && beauty);
    denoise(denoiser, scene.render, ElementId(RenderElementType::RawComponent));
    EXPECT_EQ(activity(), (std::vector<bool>{true, false, true}));
    denoise(denoiser, scene.render, ElementId(RenderElementType::LightSelect));
    EXPECT_EQ(activity(), (std::vector<bool>{true, true, true}));
}

TEST(NlmDenoiser, SensitivityWidensTheFeatureWidthBeforeItIsInverted) {
    const FeatureDescriptor& diffuse = getFeatureDescriptor(FeatureType::VisibleDiffuse);
    const FeatureDescriptor same = NlmFeatureFilters::rescaled(diffuse, 1.f);
    for (int lane = 0; lane < 4; ++lane) EXPECT_EQ(same.bandwidth[lane], diffuse.bandwidth[lane]);
    // 1 / (0.1 * 2.5)² is 16 exactly in single precision; (1 / 0.1²) / 2.5² is not.
    const FeatureDescriptor wider = NlmFeatureFilters::rescaled(diffuse, 2.5f);
    EXPECT_EQ(wider.bandwidth.x(), 16.f);
    EXPECT_EQ(wider.scale.x(), 2.5f);
}

TEST(NlmDenoiser, ResultDoesNotDependOnTheNumberOfThreads) {
    std::vector<Bitmap<Float4>> results;
    for (int threads : {1, 2}) {
        scheduler::setWorkerCount(threads);
        Scene scene = makeScene(70, 37, 0.05f, true);
        NlmDenoiser denoiser(scene.data);
        results.push_back(denoise(denoiser, scene.render).value());
    }
    scheduler::setWorkerCount(0);
    for (std::size_t i = 0; i < results[0].size(); ++i) {
        ASSERT_TRUE(testing::sameBits(results[0].data()[i], results[1].data()[i]))
            << "pixel " << i << ": " << testing::describe(results[0].data()[i]) << " and "
            << testing::describe(results[1].data()[i]);
    }
}

TEST(NlmDenoiser, ReportsProgressForwardAndStopsWhenCancelled) {
    Scene scene = makeScene(40, 64);
    NlmDenoiser denoiser(scene.data);
    for (const int cancelAfter : {3, 30, 100000}) {
        SCOPED_TRACE(cancelAfter);
        testing::ProgressProbe probe;
        auto progress = probe.callback(cancelAfter);
        const auto result = denoise(denoiser, scene.render, ElementId(RenderElement::Beauty), progress);
        EXPECT_FALSE(probe.backwards.load());
        EXPECT_EQ(result.has_value(), cancelAfter == 100000);
        if (!result) {
            EXPECT_LT(probe.last.load(), 1.f);
        }
    }
    // A cancelled call leaves the denoiser fit for the next element.
    EXPECT_TRUE(denoise(denoiser, scene.render));
}

}  // namespace
}  // namespace lumora

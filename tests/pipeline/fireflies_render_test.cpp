// Denoising a real render through the load and denoise operators: a 16-pass render of the sample
// scene against a 1024-pass reference of the same scene, in the fireflies and the full mode. The
// filters' own rules are checked on synthetic images by the denoiser tests.

#include <gtest/gtest.h>

#include <map>

#include "lumora/pipeline/denoise_operator.hpp"
#include "lumora/pipeline/load_operator.hpp"
#include "lumora/settings/enums.hpp"
#include "lumora/settings/property_descriptor.hpp"
#include "lumora/settings/settings.hpp"
#include "pipeline/pipeline_test_support.hpp"
#include "sample_render/render.hpp"

namespace lumora {
namespace {

constexpr int kWidth = 64;
constexpr int kHeight = 36;
const Bucket kRect{{0, 0}, {kWidth, kHeight}};

ChannelImage render(int passes, std::uint32_t seed) {
    sample::RenderOptions options;
    options.width = kWidth, options.height = kHeight, options.passes = passes, options.seed = seed;
    return sample::renderLxr(options);
}

// The colour of an element of a render; the fourth lane is 0.
Bitmap<Float4> colourOf(const ChannelImage& image, const std::string& element) {
    const Bitmap<Rgb> rgb = image.extractRgbBitmap(element, kRect, 1.f);
    Bitmap<Float4> out(rgb.width(), rgb.height());
    for (std::size_t i = 0; i < rgb.size(); ++i) out.data()[i] = Float4(rgb.data()[i].r, rgb.data()[i].g, rgb.data()[i].b, 0.f);
    return out;
}

// Mean over the pixels and colour channels of (x - r)^2 / (r^2 + 0.01).
double relativeMse(const Bitmap<Float4>& image, const Bitmap<Float4>& reference) {
    double sum = 0.0;
    for (std::size_t i = 0; i < image.size(); ++i) {
        for (int c = 0; c < 3; ++c) {
            const double r = reference.data()[i][c], d = double(image.data()[i][c]) - r;
            sum += d * d / (r * r + 0.01);
        }
    }
    return sum / (3.0 * double(image.size()));
}

TEST(DenoiseRender, FirefliesChangeFewPixelsForTheBetterAndTheFullModeBeatsThemOnEveryElement) {
    const ChannelImage noisy = render(16, 1), reference = render(1024, 2);
    Settings settings;
    LoadOperator load;
    load.setSettings(&settings);
    load.setImageLoader([&](const std::filesystem::path&) { return noisy; });
    load.setInputs({}, {"render16.lxr"});
    ASSERT_TRUE(load.wait());
    DenoiseOperator denoise;
    denoise.setDependency(0, &load);
    denoise.setImageInfo(&load);
    denoise.setSettings(&settings);
    test::MessageLog errors;
    denoise.setErrorCallback(errors.callback());

    const std::vector<std::string> elements{"", "Key", "Fill", "Spot"};
    std::map<DenoisingMode, std::vector<Bitmap<Float4>>> results;
    for (const DenoisingMode mode : {DenoisingMode::Fireflies, DenoisingMode::Full}) {
        settings.set(PropertyId::denoiseFilterType, Property(static_cast<int>(mode)));
        load.markToBeDenoised(elements);
        denoise.startDenoising();
        ASSERT_TRUE(denoise.wait());
        ASSERT_EQ(errors.texts(), std::vector<std::string>{});
        for (const std::string& name : elements) {
            auto denoised = denoise.compute({name, name.empty() ? ElementLayout::Rgba : ElementLayout::Rgb, 0}, kRect, 1.f, 0);
            ASSERT_TRUE(denoised) << name;
            results[mode].push_back(std::move(*denoised));
        }
    }

    // The fireflies mode changes only outliers (directly visible lights go with them) and improves
    // the image as a whole.
    const Bitmap<Float4> beauty = colourOf(noisy, ""), fireflies = results[DenoisingMode::Fireflies][0];
    int changed = 0;
    for (std::size_t i = 0; i < beauty.size(); ++i) {
        for (int c = 0; c < 3; ++c) changed += beauty.data()[i][c] != fireflies.data()[i][c] ? 1 : 0;
    }
    EXPECT_GT(changed, 0);
    EXPECT_LT(changed, 3 * kWidth * kHeight / 100);
    EXPECT_LT(relativeMse(fireflies, colourOf(reference, "")), 0.95 * relativeMse(beauty, colourOf(reference, "")));
    for (std::size_t i = 0; i < elements.size(); ++i) {
        const Bitmap<Float4> expected = colourOf(reference, elements[i]);
        EXPECT_LT(relativeMse(results[DenoisingMode::Full][i], expected),
                  relativeMse(results[DenoisingMode::Fireflies][i], expected))
            << elements[i];
    }
}

}  // namespace
}  // namespace lumora

// Denoising a real render: a 16-pass render of the sample scene against a 1024-pass reference of
// the same scene, in the fireflies and the full mode.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>

#include "lumora/pipeline/denoise_operator.hpp"
#include "lumora/pipeline/load_operator.hpp"
#include "lumora/settings/enums.hpp"
#include "lumora/settings/property_descriptor.hpp"
#include "lumora/settings/settings.hpp"
#include "sample_render/render.hpp"

namespace lumora {
namespace {

constexpr int kWidth = 64;
constexpr int kHeight = 36;
const Bucket kRect{{0, 0}, {kWidth, kHeight}};
const ElementInfo kBeauty{"", ElementLayout::Rgba, 0};

const ChannelImage& render(int passes) {
    // Rendered once per process; the reference takes most of this file's time.
    static std::mutex mutex;
    static std::map<int, ChannelImage> renders;
    std::lock_guard lock(mutex);
    auto it = renders.find(passes);
    if (it == renders.end()) {
        sample::RenderOptions options;
        options.width = kWidth, options.height = kHeight, options.passes = passes, options.seed = passes == 16 ? 1 : 2;
        it = renders.emplace(passes, sample::renderLxr(options)).first;
    }
    return it->second;
}

bool sameColourBits(const Float4& a, const Float4& b) {
    alignas(16) float pa[4], pb[4];
    a.store(pa);
    b.store(pb);
    return std::memcmp(pa, pb, 3 * sizeof(float)) == 0;
}

// Sum over the colour channels of (x - r)^2 / (r^2 + 0.01).
double relativeError(const Float4& value, const Float4& reference) {
    double sum = 0.0;
    for (int c = 0; c < 3; ++c) {
        const double d = double(value[c]) - double(reference[c]);
        const double r = reference[c];
        sum += d * d / (r * r + 0.01);
    }
    return sum;
}

// The 16-pass render loaded by the load operator, its beauty denoised by the denoise operator.
class FirefliesRender : public ::testing::Test {
protected:
    FirefliesRender() {
        load.setSettings(&settings);
        load.setImageLoader([](const std::filesystem::path&) { return render(16); });
        load.setInputs({}, {"render16.lxr"});
        denoise.setDependency(0, &load);
        denoise.setImageInfo(&load);
        denoise.setSettings(&settings);
        denoise.setErrorCallback(std::make_shared<std::function<void(const std::string&)>>(
            [this](const std::string& text) { errors.push_back(text); }));
    }

    std::vector<std::string> errors;
    Settings settings;
    LoadOperator load;
    DenoiseOperator denoise;
};

TEST_F(FirefliesRender, RemovesOutliersAndLeavesEveryOtherPixelBitForBit) {
    ASSERT_TRUE(load.wait());
    settings.set(PropertyId::denoiseFilterType, Property(static_cast<int>(DenoisingMode::Fireflies)));
    load.markToBeDenoised({""});
    denoise.startDenoising();
    ASSERT_TRUE(denoise.wait());
    ASSERT_EQ(errors, std::vector<std::string>{});

    const auto original = load.compute(kBeauty, kRect, 1.f, 0);
    const auto denoised = denoise.compute(kBeauty, kRect, 1.f, 0);
    const Bitmap<Float4> reference = render(1024).extractRgbaBitmap("", kRect, 1.f);
    ASSERT_TRUE(original && denoised);
    ASSERT_EQ(denoised->width(), kWidth);
    ASSERT_EQ(denoised->height(), kHeight);

    // A changed pixel takes the colour of one of its neighbours.
    int changed = 0;
    double before = 0.0, after = 0.0;                // whole image
    double outliersBefore = 0.0, outliersAfter = 0.0;  // changed pixels only
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            before += relativeError((*original)(x, y), reference(x, y));
            after += relativeError((*denoised)(x, y), reference(x, y));
            if (sameColourBits((*denoised)(x, y), (*original)(x, y))) continue;
            ++changed;
            outliersBefore += relativeError((*original)(x, y), reference(x, y));
            outliersAfter += relativeError((*denoised)(x, y), reference(x, y));
            bool fromNeighbour = false;
            for (int dy = -1; dy <= 1; ++dy) {
                for (int dx = -1; dx <= 1; ++dx) {
                    const int nx = x + dx, ny = y + dy;
                    if ((dx || dy) && nx >= 0 && ny >= 0 && nx < kWidth && ny < kHeight) {
                        fromNeighbour |= sameColourBits((*denoised)(x, y), (*original)(nx, ny));
                    }
                }
            }
            EXPECT_TRUE(fromNeighbour) << "pixel (" << x << ", " << y << ")";
        }
    }
    EXPECT_GT(changed, 0);
    EXPECT_LT(changed, kWidth * kHeight / 100) << "only outliers change";
    // Directly visible lights are isolated bright pixels too and go with the fireflies, so the
    // changed pixels improve as a group, not each one.
    EXPECT_LT(after, 0.95 * before);
    EXPECT_LT(outliersAfter, 0.5 * outliersBefore) << changed << " outliers";
}

// The colour of an element of a render; the fourth lane is 0.
Bitmap<Float4> colourOf(const ChannelImage& image, const std::string& element) {
    const Bitmap<Rgb> rgb = image.extractRgbBitmap(element, kRect, 1.f);
    Bitmap<Float4> out(rgb.width(), rgb.height());
    for (std::size_t i = 0; i < rgb.size(); ++i) out.data()[i] = Float4(rgb.data()[i].r, rgb.data()[i].g, rgb.data()[i].b, 0.f);
    return out;
}

// Mean of relativeError over the pixels and colour channels.
double relativeMse(const Bitmap<Float4>& image, const Bitmap<Float4>& reference) {
    double sum = 0.0;
    for (std::size_t i = 0; i < image.size(); ++i) sum += relativeError(image.data()[i], reference.data()[i]);
    return sum / (3.0 * double(image.size()));
}

TEST_F(FirefliesRender, FullModeBeatsItOnTheBeautyAndEveryLightSelect) {
    ASSERT_TRUE(load.wait());
    const std::vector<ElementInfo> elements{kBeauty, {"Key", ElementLayout::Rgb, 0}, {"Fill", ElementLayout::Rgb, 0},
                                            {"Spot", ElementLayout::Rgb, 0}};
    std::map<DenoisingMode, std::vector<Bitmap<Float4>>> results;
    for (const DenoisingMode mode : {DenoisingMode::Fireflies, DenoisingMode::Full}) {
        settings.set(PropertyId::denoiseFilterType, Property(static_cast<int>(mode)));
        load.markToBeDenoised({"", "Key", "Fill", "Spot"});
        denoise.startDenoising();
        ASSERT_TRUE(denoise.wait());
        ASSERT_EQ(errors, std::vector<std::string>{});
        for (const ElementInfo& element : elements) {
            auto denoised = denoise.compute(element, kRect, 1.f, 0);
            ASSERT_TRUE(denoised) << element.name;
            results[mode].push_back(std::move(*denoised));
        }
    }
    for (std::size_t i = 0; i < elements.size(); ++i) {
        SCOPED_TRACE(elements[i].name);
        const Bitmap<Float4> reference = colourOf(render(1024), elements[i].name);
        const double noisy = relativeMse(colourOf(render(16), elements[i].name), reference);
        const double fireflies = relativeMse(results[DenoisingMode::Fireflies][i], reference);
        const double full = relativeMse(results[DenoisingMode::Full][i], reference);
        EXPECT_LT(full, fireflies) << "noisy " << noisy << ", fireflies " << fireflies << ", full " << full;
    }
}

}  // namespace
}  // namespace lumora

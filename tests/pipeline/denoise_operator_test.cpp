// The denoise job's refusals and results, cancellation, and the blend of denoised pictures.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>
#include <mutex>

#include "lumora/image/channel_image.hpp"
#include "lumora/pipeline/blend_denoised_operator.hpp"
#include "lumora/pipeline/denoise_operator.hpp"
#include "lumora/settings/property_descriptor.hpp"
#include "lumora/settings/enums.hpp"
#include "lumora/settings/settings.hpp"

namespace lumora {
namespace {

constexpr int kWidth = 24;
constexpr int kHeight = 16;
const Bucket kRect{{0, 0}, {kWidth, kHeight}};
constexpr std::uint32_t kDenoisable = ElementFlag::DenoisingData | ElementFlag::ToBeDenoised;

// A loaded image: colour and single-channel pictures by element name, served only for the whole
// rectangle at scale 1, as the denoise job asks for them.
class FakeLoad final : public IOperator, public IImageInfoProvider {
public:
    std::int64_t getTimestamp() const override { return 1; }
    std::vector<ElementInfo> getElements() const override { return elements; }
    Bucket getImageRect() const override { return kRect; }
    Bucket getRegion() const override { return kRect; }
    std::optional<Bitmap<Float4>> compute(const ElementInfo& element, const Bucket& region, float scale,
                                          unsigned) override {
        std::lock_guard lock(mutex);
        requested.push_back(element.name);
        const auto it = color.find(element.name);
        if (it == color.end() || region != kRect || scale != 1.f) return std::nullopt;
        return it->second;
    }
    std::optional<Bitmap<float>> computeMono(const ElementInfo& element, const Bucket& region, float scale,
                                             unsigned) override {
        const auto it = mono.find(element.name);
        if (it == mono.end() || region != kRect || scale != 1.f) return std::nullopt;
        return it->second;
    }
    std::optional<RenderElementInfo> findRenderElementInfo(const std::string&) const override {
        return std::nullopt;
    }
    std::vector<ElementInfo> getElementInfos() const override { return elements; }
    std::int64_t getElementsTimestamp() const override { return 1; }

    // A flat, slightly noisy element rendered with 16 passes, with one firefly at (fx, fy).
    void addElement(const std::string& name, std::uint32_t flags, int fx, int fy) {
        elements.push_back({name, ElementLayout::Rgba, flags});
        elements.push_back({squaredElementName(name), ElementLayout::Rgb, ElementFlag::Hidden});
        Bitmap<Float4> mean(kWidth, kHeight);
        Bitmap<Float4> squares(kWidth, kHeight);
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                const float v = 0.5f + 0.01f * static_cast<float>((x * 7 + y * 13) % 5 - 2);
                mean(x, y) = Float4(v, v, v, 1.f);
                squares(x, y) = mean(x, y) * mean(x, y) + Float4(1.5e-3f);
            }
        }
        mean(fx, fy) = Float4(50.f, 50.f, 50.f, 1.f);
        squares(fx, fy) = Float4(2500.f * 16.f);
        color[name] = std::move(mean);
        color[squaredElementName(name)] = std::move(squares);
    }

    std::vector<ElementInfo> elements;
    std::map<std::string, Bitmap<Float4>> color;
    std::map<std::string, Bitmap<float>> mono{{names::weights, Bitmap<float>(kWidth, kHeight, 16.f)}};
    std::mutex mutex;
    std::vector<std::string> requested;
};

struct Reports {
    std::mutex mutex;
    std::vector<std::string> errors;
    std::vector<std::string> texts;
    std::vector<float> values;
};

class DenoiseTest : public ::testing::Test {
protected:
    DenoiseTest() : op(std::make_unique<DenoiseOperator>()) {
        load.addElement("", kDenoisable, 5, 6);
        load.addElement("Key", kDenoisable, 10, 3);
        settings.set(PropertyId::denoiseFilterType, Property(static_cast<int>(DenoisingMode::Fireflies)));
        op->setDependency(0, &load);
        op->setImageInfo(&load);
        op->setSettings(&settings);
        op->setErrorCallback(std::make_shared<std::function<void(const std::string&)>>(
            [r = reports](const std::string& text) {
                std::lock_guard lock(r->mutex);
                r->errors.push_back(text);
            }));
        op->setProgressTextCallback(std::make_shared<std::function<void(const std::string&)>>(
            [r = reports](const std::string& text) {
                std::lock_guard lock(r->mutex);
                r->texts.push_back(text);
            }));
    }

    std::vector<std::string> runJob() {
        op->startDenoising();
        EXPECT_TRUE(op->wait());
        std::lock_guard lock(reports->mutex);
        return reports->errors;
    }

    FakeLoad load;
    Settings settings;
    std::shared_ptr<Reports> reports = std::make_shared<Reports>();
    std::unique_ptr<DenoiseOperator> op;
};

struct Refusal {
    const char* what;
    void (*prepare)(FakeLoad&, Settings&);
    const char* message;
};

class DenoiseRefusal : public DenoiseTest, public ::testing::WithParamInterface<Refusal> {};

TEST_P(DenoiseRefusal, EndsTheJobWithItsMessageAndNoResult) {
    GetParam().prepare(load, settings);
    EXPECT_EQ(runJob(), std::vector<std::string>{GetParam().message});
    EXPECT_FALSE(op->hasResult(""));
}

void setMode(Settings& s, DenoisingMode mode) { s.set(PropertyId::denoiseFilterType, Property(int(mode))); }
constexpr const char* kNotEnabled = "Denoising is not enabled. You have to select the denoise mode first.";
constexpr const char* kNothingSelected =
    "There are not selected any denoisable render elements to be denoised. You need to select some first.";

INSTANTIATE_TEST_SUITE_P(
    Job, DenoiseRefusal,
    ::testing::Values(
        Refusal{"mode None", [](FakeLoad&, Settings& s) { setMode(s, DenoisingMode::None); }, kNotEnabled},
        Refusal{"mode Gather", [](FakeLoad&, Settings& s) { setMode(s, DenoisingMode::Gather); }, kNotEnabled},
        Refusal{"nothing marked",
                [](FakeLoad& l, Settings&) {
                    for (ElementInfo& e : l.elements) e.flags &= ~ElementFlag::ToBeDenoised;
                },
                kNothingSelected},
        Refusal{"marked but hidden or without denoising data",
                [](FakeLoad& l, Settings&) {
                    l.elements[0].flags |= ElementFlag::Hidden;
                    l.elements[2].flags = ElementFlag::ToBeDenoised;
                },
                kNothingSelected},
        Refusal{"no weights", [](FakeLoad& l, Settings&) { l.mono.clear(); },
                "The image is missing \"LUMORA_FB_WEIGHTS\" render element."},
        Refusal{"one pass everywhere",
                [](FakeLoad& l, Settings&) { l.mono[names::weights] = Bitmap<float>(kWidth, kHeight, 1.99f); },
                "No part of the image has been rendered with at least 2 passes."}),
    [](const ::testing::TestParamInfo<Refusal>& info) { return std::to_string(info.index); });

TEST_F(DenoiseTest, DenoisesTheMarkedElementsAndKeepsTheirResults) {
    load.elements[2].flags &= ~ElementFlag::ToBeDenoised;  // "Key" stays as it is
    EXPECT_TRUE(runJob().empty());
    EXPECT_TRUE(op->hasResult(""));
    EXPECT_FALSE(op->hasResult("Key"));
    EXPECT_EQ(reports->texts, (std::vector<std::string>{"Denoising progress", ""}));
    EXPECT_EQ(op->getElements(), (std::vector<ElementInfo>{
                                     {"", ElementLayout::Rgba, kDenoisable | ElementFlag::DenoisedMark}}));
    EXPECT_GT(op->getTimestamp(), load.getTimestamp());

    const auto denoised = op->compute(load.elements[0], kRect, 1.f, 0);
    ASSERT_TRUE(denoised.has_value());
    EXPECT_LT((*denoised)(5, 6).x(), 1.f) << "the firefly is gone";
    EXPECT_EQ((*denoised)(0, 0).x(), load.color[""](0, 0).x());
    EXPECT_FALSE(op->compute(load.elements[2], kRect, 1.f, 0).has_value());

    // A part of the result, halved.
    const auto part = op->compute(load.elements[0], Bucket{{4, 2}, {12, 10}}, 2.f, 0);
    ASSERT_TRUE(part.has_value());
    EXPECT_EQ(part->width(), 4);
    EXPECT_EQ(part->height(), 4);
    EXPECT_EQ((*part)(1, 2).y(), (*denoised)(6, 6).y());
    EXPECT_FALSE(op->compute(load.elements[0], Bucket{{20, 0}, {30, 4}}, 1.f, 0).has_value());

    // The undenoisable list holds the visible colour elements without denoising data.
    load.elements.push_back({"Diffuse", ElementLayout::Rgb, 0});
    EXPECT_EQ(op->undenoisableElements(nullptr).size(), 1u);
    EXPECT_EQ(op->denoisableElements(IOperator::makeElementFilter({"Key"})).size(), 1u);
}

TEST_F(DenoiseTest, StopDuringTheJobLeavesNoResult) {
    // The progress of the first element stops the operator from the job's own thread.
    DenoiseOperator* target = op.get();
    op->setProgressValueCallback(std::make_shared<std::function<void(float)>>([target, r = reports](float value) {
        std::lock_guard lock(r->mutex);
        r->values.push_back(value);
        if (value > 0.f && value < 0.5f) target->stop();
    }));
    op->startDenoising();
    op->wait();
    EXPECT_FALSE(op->hasResult(""));
    op.reset();  // joins the worker

    std::lock_guard lock(reports->mutex);
    EXPECT_TRUE(reports->errors.empty());
    EXPECT_EQ(reports->texts, std::vector<std::string>{"Denoising progress"}) << "the job never finished";
    EXPECT_LT(reports->values.back(), 1.f);
    EXPECT_EQ(std::ranges::count(load.requested, "Key"), 0) << "the second element was never started";
}

// Two fixed pictures standing for the load and the denoise operator.
class FixedPicture final : public IOperator {
public:
    explicit FixedPicture(std::optional<Bitmap<Float4>> picture) : picture(std::move(picture)) {}
    std::int64_t getTimestamp() const override { return 1; }
    std::vector<ElementInfo> getElements() const override { return {{"", ElementLayout::Rgba, 0}}; }
    Bucket getImageRect() const override { return {{0, 0}, {3, 1}}; }
    Bucket getRegion() const override { return getImageRect(); }
    std::optional<Bitmap<Float4>> compute(const ElementInfo&, const Bucket&, float, unsigned) override {
        return picture;
    }
    std::optional<Bitmap<float>> computeMono(const ElementInfo&, const Bucket&, float, unsigned) override {
        return std::nullopt;
    }
    std::optional<Bitmap<Float4>> picture;
};

TEST(BlendDenoised, MixesFiniteDenoisedColoursByTheBlendAmountAndKeepsAlpha) {
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    Bitmap<Float4> original(3, 1);
    original(0, 0) = Float4(0.2f, 0.4f, 0.6f, 0.5f);
    original(1, 0) = Float4(1.f, 1.f, 1.f, 1.f);
    original(2, 0) = Float4(3.f, 2.f, 1.f, 0.25f);
    Bitmap<Float4> denoised(3, 1);
    denoised(0, 0) = Float4(0.6f, 0.8f, 1.0f, 0.f);
    denoised(1, 0) = Float4(2.f, inf, 2.f, 1.f);
    denoised(2, 0) = Float4(nan, 0.f, 0.f, 1.f);

    FixedPicture load(original);
    FixedPicture denoise(denoised);
    Settings settings;
    BlendDenoisedOperator blend;
    blend.setDependency(0, &load);
    blend.setDependency(1, &denoise);
    blend.setSettings(&settings);
    const ElementInfo beauty{"", ElementLayout::Rgba, 0};

    struct Case {
        float amount;
        Float4 first;
    };
    for (const Case& c : {Case{0.f, original(0, 0)}, Case{1.f, Float4(0.6f, 0.8f, 1.0f, 0.5f)},
                          Case{0.25f, Float4(0.3f, 0.5f, 0.7f, 0.5f)}}) {
        settings.set(PropertyId::denoiseBlendAmount, Property(c.amount));
        const auto result = blend.compute(beauty, load.getRegion(), 1.f, IOperator::ComputeUpdate);
        ASSERT_TRUE(result.has_value());
        for (int lane = 0; lane < 4; ++lane) {
            EXPECT_NEAR((*result)(0, 0)[lane], c.first[lane], 1e-6f) << "amount " << c.amount << " lane " << lane;
            EXPECT_EQ((*result)(1, 0)[lane], original(1, 0)[lane]) << "infinite denoised value, lane " << lane;
            EXPECT_EQ((*result)(2, 0)[lane], original(2, 0)[lane]) << "NaN denoised value, lane " << lane;
        }
    }

    // No denoised picture: the original passes through.
    denoise.picture.reset();
    settings.set(PropertyId::denoiseBlendAmount, Property(1.f));
    const auto passed = blend.compute(beauty, load.getRegion(), 1.f, 0);
    ASSERT_TRUE(passed.has_value());
    EXPECT_EQ((*passed)(0, 0).z(), 0.6f);
}

}  // namespace
}  // namespace lumora

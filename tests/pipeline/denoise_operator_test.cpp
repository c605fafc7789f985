// The denoise job's refusals and results, cancellation, and the blend of denoised pictures.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "lumora/image/channel_image.hpp"
#include "lumora/pipeline/blend_denoised_operator.hpp"
#include "lumora/pipeline/denoise_operator.hpp"
#include "lumora/settings/property_descriptor.hpp"
#include "lumora/settings/enums.hpp"
#include "lumora/settings/settings.hpp"
#include "pipeline/pipeline_test_support.hpp"

namespace lumora {
namespace {

constexpr int kWidth = 24;
constexpr int kHeight = 16;
const Bucket kRect{{0, 0}, {kWidth, kHeight}};
constexpr std::uint32_t kDenoisable = ElementFlag::DenoisingData | ElementFlag::ToBeDenoised;

// A flat, slightly noisy element rendered with 16 passes, with one firefly at (fx, fy).
void addElement(test::FakeSource& load, const std::string& name, std::uint32_t flags, int fx, int fy) {
    load.elements.push_back({name, ElementLayout::Rgba, flags});
    load.elements.push_back({squaredElementName(name), ElementLayout::Rgb, ElementFlag::Hidden});
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
    load.colour[name] = std::move(mean);
    load.colour[squaredElementName(name)] = std::move(squares);
}

class DenoiseTest : public ::testing::Test {
protected:
    DenoiseTest() : op(std::make_unique<DenoiseOperator>()) {
        addElement(load, "", kDenoisable, 5, 6);
        addElement(load, "Key", kDenoisable, 10, 3);
        load.mono[names::weights] = Bitmap<float>(kWidth, kHeight, 16.f);
        settings.set(PropertyId::denoiseFilterType, Property(static_cast<int>(DenoisingMode::Fireflies)));
        op->setDependency(0, &load);
        op->setImageInfo(&load);
        op->setSettings(&settings);
        op->setErrorCallback(errors.callback());
        op->setProgressTextCallback(texts.callback());
    }

    std::vector<std::string> runJob() {
        op->startDenoising();
        EXPECT_TRUE(op->wait());
        return errors.texts();
    }

    test::FakeSource load{kRect};
    Settings settings;
    test::MessageLog errors, texts;
    std::unique_ptr<DenoiseOperator> op;
};

struct Refusal {
    const char* what;
    void (*prepare)(test::FakeSource&, Settings&);
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
        Refusal{"mode None", [](test::FakeSource&, Settings& s) { setMode(s, DenoisingMode::None); }, kNotEnabled},
        Refusal{"mode Gather", [](test::FakeSource&, Settings& s) { setMode(s, DenoisingMode::Gather); }, kNotEnabled},
        Refusal{"marked but hidden or without denoising data",
                [](test::FakeSource& l, Settings&) {
                    l.elements[0].flags |= ElementFlag::Hidden;
                    l.elements[2].flags = ElementFlag::ToBeDenoised;
                },
                kNothingSelected},
        // 1.99 passes everywhere: no pixel counts as rendered twice.
        Refusal{"one pass everywhere",
                [](test::FakeSource& l, Settings&) { l.mono[names::weights] = Bitmap<float>(kWidth, kHeight, 1.99f); },
                "No part of the image has been rendered with at least 2 passes."}),
    [](const ::testing::TestParamInfo<Refusal>& info) { return std::to_string(info.index); });

TEST_F(DenoiseTest, DenoisesTheMarkedElementsAndKeepsTheirResults) {
    load.elements[2].flags &= ~ElementFlag::ToBeDenoised;  // "Key" stays as it is
    EXPECT_TRUE(runJob().empty());
    EXPECT_TRUE(op->hasResult(""));
    EXPECT_FALSE(op->hasResult("Key"));
    EXPECT_EQ(texts.texts(), (std::vector<std::string>{"Denoising progress", ""}));
    EXPECT_EQ(op->getElements(), (std::vector<ElementInfo>{
                                     {"", ElementLayout::Rgba, kDenoisable | ElementFlag::DenoisedMark}}));
    EXPECT_GT(op->getTimestamp(), load.getTimestamp());

    // The pixels themselves are the fireflies filter's; here a part of the result, halved.
    const auto denoised = op->compute(load.elements[0], kRect, 1.f, 0);
    const auto part = op->compute(load.elements[0], Bucket{{4, 2}, {12, 10}}, 2.f, 0);
    ASSERT_TRUE(denoised && part);
    EXPECT_LT((*denoised)(5, 6).x(), 1.f) << "the firefly is gone";
    EXPECT_EQ(part->width() * 10 + part->height(), 44);
    EXPECT_EQ((*part)(1, 2).y(), (*denoised)(6, 6).y());
    EXPECT_FALSE(op->compute(load.elements[2], kRect, 1.f, 0).has_value());
    EXPECT_FALSE(op->compute(load.elements[0], Bucket{{20, 0}, {30, 4}}, 1.f, 0).has_value());

    // The undenoisable list holds the visible colour elements without denoising data.
    load.elements.push_back({"Diffuse", ElementLayout::Rgb, 0});
    EXPECT_EQ(op->undenoisableElements(nullptr).size(), 1u);
    EXPECT_EQ(op->denoisableElements(IOperator::makeElementFilter({"Key"})).size(), 1u);
}

TEST_F(DenoiseTest, StopDuringTheJobLeavesNoResult) {
    // The progress of the first element stops the operator from the job's own thread.
    DenoiseOperator* target = op.get();
    std::vector<float> values;  // written by the worker only, read after it is joined
    op->setProgressValueCallback(std::make_shared<std::function<void(float)>>([target, &values](float value) {
        values.push_back(value);
        if (value > 0.f && value < 0.5f) target->stop();
    }));
    op->startDenoising();
    op->wait();
    EXPECT_FALSE(op->hasResult(""));
    op.reset();  // joins the worker

    EXPECT_TRUE(errors.texts().empty());
    EXPECT_EQ(texts.texts(), std::vector<std::string>{"Denoising progress"}) << "the job never finished";
    ASSERT_FALSE(values.empty());
    EXPECT_LT(values.back(), 1.f);
    EXPECT_EQ(load.calls("Key"), 0) << "the second element was never started";
}

TEST(BlendDenoised, MixesFiniteDenoisedColoursByTheBlendAmountAndKeepsAlpha) {
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const Bucket rect{{0, 0}, {3, 1}};
    test::FakeSource load(rect), denoise(rect);
    load.elements = denoise.elements = {{"", ElementLayout::Rgba, 0}};
    Bitmap<Float4>& original = load.colour[""] = Bitmap<Float4>(3, 1);
    original(0, 0) = Float4(0.2f, 0.4f, 0.6f, 0.5f);
    original(1, 0) = Float4(1.f, 1.f, 1.f, 1.f);
    original(2, 0) = Float4(3.f, 2.f, 1.f, 0.25f);
    Bitmap<Float4>& denoised = denoise.colour[""] = Bitmap<Float4>(3, 1);
    denoised(0, 0) = Float4(0.6f, 0.8f, 1.0f, inf);  // whatever the denoised alpha, the original's stays
    denoised(1, 0) = Float4(2.f, inf, 2.f, 1.f);
    denoised(2, 0) = Float4(nan, 0.f, 0.f, 1.f);
    Settings settings;
    BlendDenoisedOperator blend;
    blend.setDependency(0, &load);
    blend.setDependency(1, &denoise);
    blend.setSettings(&settings);

    for (const auto& [amount, first] : {std::pair{0.f, original(0, 0)}, {1.f, Float4(0.6f, 0.8f, 1.0f, 0.5f)},
                                         {0.25f, Float4(0.3f, 0.5f, 0.7f, 0.5f)}}) {
        settings.set(PropertyId::denoiseBlendAmount, Property(amount));
        const auto result = blend.compute(load.elements[0], rect, 1.f, IOperator::ComputeUpdate);
        ASSERT_TRUE(result.has_value());
        for (int lane = 0; lane < 4; ++lane) EXPECT_NEAR((*result)(0, 0)[lane], first[lane], 1e-6f) << amount << " " << lane;
        // Infinite and NaN denoised values keep the original.
        EXPECT_EQ(test::lanes((*result)(1, 0)), test::lanes(original(1, 0)));
        EXPECT_EQ(test::lanes((*result)(2, 0)), test::lanes(original(2, 0)));
    }

    // No denoised picture: the original passes through.
    denoise.colour.clear();
    const auto passed = blend.compute(load.elements[0], rect, 1.f, 0);
    ASSERT_TRUE(passed.has_value());
    EXPECT_EQ((*passed)(0, 0).z(), 0.6f);
}

}  // namespace
}  // namespace lumora

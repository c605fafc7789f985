// The LXR writer: what goes into the file for "*" and for one element, and its messages.

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "lumora/image/property_attributes.hpp"
#include "lumora/pipeline/load_operator.hpp"
#include "lumora/pipeline/save_lxr_operator.hpp"
#include "lumora/settings/property_descriptor.hpp"
#include "lumora/settings/settings.hpp"
#include "pipeline/pipeline_test_support.hpp"

namespace lumora {
namespace {

namespace fs = std::filesystem;

// Stands in for the denoise operator: a constant denoised picture for each listed element.
class FakeDenoise final : public IOperator {
public:
    explicit FakeDenoise(std::map<std::string, ElementInfo> results) : results_(std::move(results)) {}

    std::int64_t getTimestamp() const override { return 0; }
    std::vector<ElementInfo> getElements() const override {
        std::vector<ElementInfo> elements;
        for (const auto& [name, element] : results_) elements.push_back(element);
        return elements;
    }
    Bucket getImageRect() const override { return {}; }
    Bucket getRegion() const override { return {}; }
    std::optional<Bitmap<Float4>> compute(const ElementInfo& element, const Bucket& region, float scale,
                                          unsigned) override {
        if (!results_.contains(element.name) || scale != 1.f) return std::nullopt;
        return Bitmap<Float4>(region.width(), region.height(), Float4(7.f, 8.f, 9.f, 0.5f));
    }
    std::optional<Bitmap<float>> computeMono(const ElementInfo&, const Bucket&, float, unsigned) override {
        return std::nullopt;
    }

private:
    std::map<std::string, ElementInfo> results_;
};

const std::vector<std::string> kChannels{
    "A",           "B",           "G",           "R",          "Key.R",      "Key.G",     "Key.B",
    "SqrBeauty.R", "SqrBeauty.G", "SqrBeauty.B", "SqrKey.R",   "SqrKey.G",   "SqrKey.B",  "LUMORA_FB_WEIGHTS",
    "Z",           "Partial.R",   "Denoised.R",  "Denoised.G", "Denoised.B", "Denoised.A"};

class SaveLxrTest : public testing::Test {
protected:
    void SetUp() override {
        auto image = test::makeImage(4, 3, kChannels);
        test::markAsLxr(image, 16);
        setRenderElementInfos(image, {{"Beauty", RenderElement::Beauty, 1},
                                      {"Key", RenderElementType::LightSelect, 1},
                                      {"LightMix", RenderElementType::LightMix, 3},
                                      {"Z", RenderElementType::ZDepth, 0}});
        load.setImageLoader([image](const fs::path&) { return std::expected<ChannelImage, std::string>(image); });
        load.setInputs({}, {"in.lxr"});
        load.wait();

        settings.set(PropertyId::colorMapGamma, Property(1.7f));
        saver.setSettings(&settings);
        saver.setErrorCallback(errors.callback());
        saver.setInfoCallback(infos.callback());
        saver.setImageWriter(
            [this](const ChannelImage& image, const fs::path& path) -> std::expected<bool, std::string> {
                if (path.filename() == "readonly.lxr")
                    return std::unexpected("Cannot write \"" + path.string() + "\".");
                written = image;
                writtenPath = path;
                return true;
            });
    }

    void save(const std::string& selector, const fs::path& output, FakeDenoise& denoise) {
        saver.wire(&load, &denoise);
        saver.start({selector}, output);
        ASSERT_TRUE(saver.wait());
    }

    Settings settings;
    LoadOperator load;
    SaveLxrOperatorCli saver;
    test::MessageLog errors;
    test::MessageLog infos;
    ChannelImage written;
    fs::path writtenPath;
};

TEST_F(SaveLxrTest, AllElementsKeepEveryChannelTheRecordsAndTheSettingsPlusFreshDenoisedPictures) {
    FakeDenoise denoise({{"Key", {"Key", ElementLayout::Rgb, ElementFlag::DenoisedMark}}});
    save("*", "out/All.lxr", denoise);
    EXPECT_TRUE(errors.texts().empty());
    EXPECT_EQ(infos.texts(), std::vector<std::string>{"Image \"out/All.lxr\" has been successfully saved."});
    EXPECT_EQ(writtenPath, fs::path("out/All.lxr"));

    auto expected = kChannels;
    expected.insert(expected.end(), {"DenoisedKey.R", "DenoisedKey.G", "DenoisedKey.B"});
    std::sort(expected.begin(), expected.end());
    auto names = test::channelNames(written);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, expected);
    EXPECT_EQ(written.getChannel<float>("DenoisedKey.G")->at(3, 2), 8.f);
    EXPECT_EQ(written.getChannel<float>("Denoised.A")->at(0, 0), 1.f);  // the stored variant stays

    EXPECT_EQ(written.getRenderElementInfos().size(), 4u);
    EXPECT_TRUE(written.findRenderElementInfo("LightMix Interactive"));
    EXPECT_TRUE(isLumoraExr(written));
    EXPECT_EQ(written.getAttribute<int>(names::statsPasses)->value, 16);
    const auto gamma = readPropertyAttribute(written, *PropertyDescriptor::get(PropertyId::colorMapGamma));
    EXPECT_EQ(gamma, Property(1.7f));
}

TEST_F(SaveLxrTest, OneElementIsWrittenAloneWithItsDenoisedVariant) {
    FakeDenoise denoise({{"", {"", ElementLayout::Rgba, ElementFlag::DenoisedMark}},
                         {"Key", {"Key", ElementLayout::Rgb, ElementFlag::DenoisedMark}}});
    save("Key", "Key.lxr", denoise);
    EXPECT_TRUE(errors.texts().empty());
    EXPECT_EQ(test::channelNames(written),
              (std::vector<std::string>{"DenoisedKey.B", "DenoisedKey.G", "DenoisedKey.R", "Key.B", "Key.G", "Key.R"}));
    ASSERT_EQ(written.getRenderElementInfos().size(), 1u);
    EXPECT_EQ(written.getRenderElementInfos().front().name, "Key");

    // Fresh results replace the variant stored in the input; the alpha lane goes with an Rgba element.
    save("BEAUTY", "Beauty.lxr", denoise);
    EXPECT_EQ(test::channelNames(written),
              (std::vector<std::string>{"A", "B", "Denoised.A", "Denoised.B", "Denoised.G", "Denoised.R", "G", "R"}));
    EXPECT_EQ(written.getChannel<float>("Denoised.A")->at(1, 1), 0.5f);
    EXPECT_TRUE(written.getRenderElementInfos().front().type.is(RenderElement::Beauty));

    // Without a fresh result the input's stored variant goes along.
    FakeDenoise none({});
    save("BEAUTY", "Beauty.lxr", none);
    EXPECT_EQ(written.getChannel<float>("Denoised.A")->at(1, 1), 1.f);
    EXPECT_EQ(errors.texts().size(), 0u);
}

TEST_F(SaveLxrTest, FailuresAreReportedAsWholeMessagesAndNothingIsWritten) {
    FakeDenoise none({});
    const std::vector<std::pair<std::string, fs::path>> cases{{"*", "folder/"},         {"Nope", "out.lxr"},
                                                              {"SqrBeauty", "out.lxr"}, {"Z", "out.lxr"},
                                                              {"Alpha", "out.lxr"},     {"*", "dir/readonly.lxr"}};
    const std::vector<std::string> messages{
        "Well-formed output image path is expected.",
        "Render element \"Nope\" cannot be saved to Lumora EXR.\nThe element either does not exist, or saving such "
        "element alone is not supported.",
        "Render element \"SqrBeauty\" cannot be saved to Lumora EXR.\nThe element either does not exist, or saving "
        "such element alone is not supported.",
        "Render element \"Z\" cannot be saved to Lumora EXR.\nThe element either does not exist, or saving such "
        "element alone is not supported.",
        "Render element \"Alpha\" cannot be saved to Lumora EXR.\nThe element either does not exist, or saving such "
        "element alone is not supported.",
        "Cannot write \"dir/readonly.lxr\".",
    };
    for (std::size_t i = 0; i < cases.size(); ++i) {
        test::MessageLog log;
        saver.setErrorCallback(log.callback());
        save(cases[i].first, cases[i].second, none);
        EXPECT_EQ(log.texts(), std::vector<std::string>{messages[i]});
    }
    EXPECT_TRUE(infos.texts().empty());
    EXPECT_TRUE(written.channels().empty());
}

TEST(SaveLxrEmpty, AnImageWithoutSavableElementsIsRefused) {
    LoadOperator load;
    load.setImageLoader([](const fs::path&) {
        return std::expected<ChannelImage, std::string>(test::makeImage(2, 2, {"Z", "LUMORA_FB_WEIGHTS", "Half.R"}));
    });
    load.setInputs({}, {"z.exr"});
    load.wait();
    FakeDenoise none({});
    Settings settings;
    SaveLxrOperatorCli saver;
    saver.wire(&load, &none);
    saver.setSettings(&settings);
    test::MessageLog errors;
    saver.setErrorCallback(errors.callback());
    saver.start({}, "out.lxr");
    saver.wait();
    EXPECT_EQ(errors.texts(),
              std::vector<std::string>{"There are no render elements that can be saved to Lumora EXR."});
}

}  // namespace
}  // namespace lumora

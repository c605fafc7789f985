// The LXR writer: what goes into the file for "*" and for one element, and its messages.

#include <gtest/gtest.h>

#include <tuple>

#include "lumora/pipeline/load_operator.hpp"
#include "lumora/pipeline/save_lxr_operator.hpp"
#include "lumora/settings/settings.hpp"
#include "pipeline/pipeline_test_support.hpp"

namespace lumora {
namespace {

namespace fs = std::filesystem;

const std::vector<std::string> kChannels{
    "A",           "B",           "G",           "R",          "Key.R",      "Key.G",     "Key.B",
    "SqrBeauty.R", "SqrBeauty.G", "SqrBeauty.B", "SqrKey.R",   "SqrKey.G",   "SqrKey.B",  "LUMORA_FB_WEIGHTS",
    "Z",           "Partial.R",   "Denoised.R",  "Denoised.G", "Denoised.B", "Denoised.A"};

class SaveLxrTest : public testing::Test {
protected:
    void SetUp() override {
        auto image = test::makeImage(4, 3, kChannels);
        test::markAsLxr(image, 16);
        setRenderElementInfos(image, {{"Beauty", RenderElement::Beauty, 1}, {"Key", RenderElementType::LightSelect, 1},
                                      {"LightMix", RenderElementType::LightMix, 3}, {"Z", RenderElementType::ZDepth, 0}});
        load.setImageLoader([image](const fs::path&) { return std::expected<ChannelImage, std::string>(image); });
        load.setInputs({}, {"in.lxr"});
        load.wait();

        saver.setSettings(&settings);
        saver.setErrorCallback(errors.callback());
        saver.setInfoCallback(infos.callback());
        saver.setImageWriter(
            [this](const ChannelImage& image, const fs::path& path) -> std::expected<bool, std::string> {
                if (path.filename() == "readonly.lxr")
                    return std::unexpected("Cannot write \"" + path.string() + "\".");
                written = image;
                return true;
            });
    }

    // The denoise operator's fresh results: a constant picture for each of the elements.
    void denoised(std::vector<ElementInfo> elements) {
        denoise.colour.clear();
        for (const ElementInfo& e : elements) denoise.colour[e.name] = Bitmap<Float4>(4, 3, Float4(7.f, 8.f, 9.f, 0.5f));
        denoise.elements = std::move(elements);
    }

    void save(const std::string& selector, const fs::path& output) {
        saver.wire(&load, &denoise);
        saver.start({selector}, output);
        ASSERT_TRUE(saver.wait());
    }

    Settings settings;
    LoadOperator load;
    test::FakeSource denoise{{{0, 0}, {4, 3}}};
    SaveLxrOperatorCli saver;
    test::MessageLog errors;
    test::MessageLog infos;
    ChannelImage written;
};

TEST_F(SaveLxrTest, AllElementsTakeFreshDenoisedPicturesAndKeepTheStoredOnes) {
    denoised({{"Key", ElementLayout::Rgb, ElementFlag::DenoisedMark}});
    save("*", "out/All.lxr");
    EXPECT_TRUE(errors.texts().empty());
    EXPECT_EQ(infos.texts(), std::vector<std::string>{"Image \"out/All.lxr\" has been successfully saved."});
    // The editor's runs check the channels, records, statistics and settings in the file.
    EXPECT_EQ(written.getChannel<float>("DenoisedKey.G")->at(3, 2), 8.f);
    EXPECT_EQ(written.getChannel<float>("Denoised.A")->at(0, 0), 1.f);  // the stored variant stays
}

TEST_F(SaveLxrTest, OneElementIsWrittenAloneWithItsDenoisedVariant) {
    denoised({{"", ElementLayout::Rgba, ElementFlag::DenoisedMark}, {"Key", ElementLayout::Rgb, ElementFlag::DenoisedMark}});
    // Fresh results replace the variant stored in the input; the alpha lane goes with an Rgba element.
    // The channel list itself is checked through the editor's own run.
    save("BEAUTY", "Beauty.lxr");
    EXPECT_EQ(written.getChannel<float>("Denoised.A")->at(1, 1), 0.5f);
    ASSERT_EQ(written.getRenderElementInfos().size(), 1u);
    EXPECT_TRUE(written.getRenderElementInfos().front().type.is(RenderElement::Beauty));

    // Without a fresh result the input's stored variant goes along.
    denoised({});
    save("BEAUTY", "Beauty.lxr");
    EXPECT_EQ(written.getChannel<float>("Denoised.A")->at(1, 1), 1.f);
    EXPECT_EQ(errors.texts().size(), 0u);
}

TEST_F(SaveLxrTest, FailuresAreReportedAsWholeMessagesAndNothingIsWritten) {
    const auto notSavable = [](const std::string& element) {
        return "Render element \"" + element +
               "\" cannot be saved to Lumora EXR.\nThe element either does not exist, or saving such element alone "
               "is not supported.";
    };
    const std::vector<std::tuple<std::string, fs::path, std::string>> cases{
        {"*", "folder/", "Well-formed output image path is expected."},
        {"SqrBeauty", "out.lxr", notSavable("SqrBeauty")},
        {"Alpha", "out.lxr", notSavable("Alpha")},
        {"*", "dir/readonly.lxr", "Cannot write \"dir/readonly.lxr\"."}};
    for (const auto& [selector, output, message] : cases) {
        test::MessageLog log;
        saver.setErrorCallback(log.callback());
        save(selector, output);
        EXPECT_EQ(log.texts(), std::vector<std::string>{message});
    }
    EXPECT_TRUE(infos.texts().empty());
    EXPECT_TRUE(written.channels().empty());

    // An image without savable elements is refused.
    load.setImageLoader([](const fs::path&) {
        return std::expected<ChannelImage, std::string>(test::makeImage(2, 2, {"Z", "LUMORA_FB_WEIGHTS", "Half.R"}));
    });
    load.setInputs({}, {"z.exr"});
    load.wait();
    test::MessageLog log;
    saver.setErrorCallback(log.callback());
    saver.start({}, "out.lxr");
    saver.wait();
    EXPECT_EQ(log.texts(), std::vector<std::string>{"There are no render elements that can be saved to Lumora EXR."});
}

}  // namespace
}  // namespace lumora

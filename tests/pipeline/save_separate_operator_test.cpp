// The picture saver over a fake chain: its report, the file names, and that a failure keeps the
// pictures written before it. The editor's picture runs check which elements are saved, with alpha
// and raw data.

#include "lumora/pipeline/save_separate_operator.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <tuple>

#include "cli/run_program.hpp"
#include "pipeline/pipeline_test_support.hpp"

namespace lumora {
namespace {

namespace fs = std::filesystem;

// A saver over a fake chain, in a fresh folder, whose pictures are recorded and written as
// empty files.
struct Fixture {
    Fixture() : source({{0, 0}, {4, 3}}), folder(test::freshFolder("save_separate")) {
        source.elements = {{"Key", ElementLayout::Rgb, ElementFlag::LightSelect},
                           {"Normals", ElementLayout::Rgb, ElementFlag::RawData | ElementFlag::NoSharpenBlur}};
        for (const ElementInfo& e : source.elements) source.colour[e.name] = Bitmap<Float4>(4, 3, Float4(0.5f));
        saver.setDependency(0, &source);
        saver.setInfoCallback(infos.callback());
        saver.setErrorCallback(errors.callback());
        saver.setBitmapSaver([this](const fs::path& path, const Picture&, bool rawData) {
            files.push_back(path.filename().string() + (rawData ? " raw" : ""));
            std::ofstream{path};
            return std::expected<bool, std::string>(true);
        });
    }

    void save(std::vector<ElementInfo> elements, const std::string& output) {
        saver.start(std::move(elements), folder / output, getImageFormatFromFileName(output), {});
        ASSERT_TRUE(saver.wait());
    }

    test::FakeSource source;
    fs::path folder;
    SaveSeparateOperator saver;
    test::MessageLog infos, errors;
    std::vector<std::string> files;  // as the writer is given them, " raw" added for raw data
};

TEST(SaveSeparateOperator, ASingleElementGoesToTheOutputPathMarkedAsRawDataWhereItIs) {
    // Raw data is only left untagged as colour, which pictures read back do not show.
    Fixture f;
    f.save({f.source.elements[1]}, "Normals.png");
    EXPECT_EQ(f.files, std::vector<std::string>{"Normals.png raw"});
    EXPECT_EQ(f.infos.texts(),
              std::vector<std::string>{"Image \"" + (f.folder / "Normals.png").string() + "\" has been successfully saved."});
}

TEST(SaveSeparateOperator, EveryFailureEndsTheJobWithItsWholeMessageAndKeepsTheEarlierPictures) {
    const ElementInfo key{"Key", ElementLayout::Rgb, 0};
    const ElementInfo missing{"Gone", ElementLayout::Rgb, 0};
    using Case = std::tuple<std::vector<ElementInfo>, std::string, std::string, std::vector<std::string>>;
    for (const auto& [elements, output, message, kept] : std::vector<Case>{
             {{key}, "folder.v2/", "Well-formed output image path having a file extension is expected.", {}},
             // The picture of the element before the failing one stays.
             {{key, missing}, "Out.png", "Unable to retrieve output image data of the \"Gone\" render element.",
              {"Out_Key.png"}}}) {
        Fixture f;
        f.save(elements, output);
        EXPECT_EQ(f.errors.texts(), std::vector<std::string>{message}) << output;
        EXPECT_EQ(f.infos.texts(), std::vector<std::string>{}) << output;
        EXPECT_EQ(f.files, kept) << output;
        EXPECT_EQ(test::filesIn(f.folder), kept) << output;
    }

    Fixture f;
    f.saver.setBitmapSaver([](const fs::path&, const Picture&, bool) {
        return std::expected<bool, std::string>(std::unexpected("Cannot operate with image file \"x\". Disk full."));
    });
    f.save({key}, "Out.png");
    EXPECT_EQ(f.errors.texts(), std::vector<std::string>{"Cannot operate with image file \"x\". Disk full."});
}

TEST(SaveSeparateOperator, ElementFileNamesSplitAtTheLastDotAndEscapeTheName) {
    const auto name = [](const std::string& output, const std::string& element) {
        return elementFileName(output, ElementInfo{element, ElementLayout::Rgb, 0}).string();
    };
    EXPECT_EQ(name("Out.png", ""), "Out.png");
    EXPECT_EQ(name("Out.png", "A"), "Out_Alpha.png");
    EXPECT_EQ(name("renders.v2/Out.exr", "Key"), "renders.v2/Out_Key.exr");
    EXPECT_EQ(name("Out.png", "a\\b/c:d*e?f\"g<h>i|j\tk"), "Out_a_b_c_d_e_f_g_h_i_j_k.png");
    EXPECT_EQ(name("Out.png", "Light Ž"), "Out_Light Ž.png");
}

}  // namespace
}  // namespace lumora

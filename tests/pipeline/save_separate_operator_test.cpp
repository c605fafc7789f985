// The picture saver over a fake chain: the file each element goes to, what the writer is told
// about it, and that a failure leaves no file behind. The editor's runs check the pictures.

#include "lumora/pipeline/save_separate_operator.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <tuple>

#include "cli/run_program.hpp"
#include "pipeline/pipeline_test_support.hpp"

namespace lumora {
namespace {

namespace fs = std::filesystem;

struct SavedFile {
    fs::path path;
    bool alpha;
    bool rawData;
    bool operator==(const SavedFile&) const = default;
};

void PrintTo(const SavedFile& f, std::ostream* out) { *out << f.path << (f.alpha ? " alpha" : "") << (f.rawData ? " raw" : ""); }

// The file a staged temporary file becomes: ".Out_Key.png.0123456789ab.part.png" is "Out_Key.png".
std::string committedName(const fs::path& path) {
    const std::string name = path.filename().string();
    const auto part = name.rfind(".part");
    if (name.empty() || name[0] != '.' || part == std::string::npos || part < 14) return name;
    return name.substr(1, part - 14);
}

// A saver over a fake chain, in a fresh folder, whose pictures are recorded and written as
// empty files.
struct Fixture {
    Fixture() : source({{0, 0}, {4, 3}}), folder(test::processFolder("save_separate")) {
        fs::remove_all(folder);
        fs::create_directories(folder);
        // The last as the mono-to-colour step offers a single-channel element.
        source.elements = {{"", ElementLayout::Rgba, 0}, {"Key", ElementLayout::Rgb, ElementFlag::LightSelect},
                           {"Normals", ElementLayout::Rgb, ElementFlag::RawData | ElementFlag::NoSharpenBlur},
                           {"LUMORA_FB_WEIGHTS", ElementLayout::Mono, ElementFlag::Hidden},
                           {"LightMix Interactive", ElementLayout::Rgb, ElementFlag::Virtual},
                           {"A", ElementLayout::Rgb, ElementFlag::RawData | ElementFlag::NoSharpenBlur}};
        for (const ElementInfo& e : source.elements) source.colour[e.name] = Bitmap<Float4>(4, 3, Float4(0.5f));
        source.mono["A"] = Bitmap<float>(4, 3, 0.5f);
        saver.setDependency(0, &source);
        saver.setInfoCallback(infos.callback());
        saver.setErrorCallback(errors.callback());
        saver.setBitmapSaver([this](const fs::path& path, const Picture& picture, bool rawData) {
            files.push_back({committedName(path), picture.alpha, rawData});
            std::ofstream{path};
            return std::expected<bool, std::string>(true);
        });
    }

    void save(std::vector<ElementInfo> elements, const std::string& output) {
        saver.start(std::move(elements), folder / output, getImageFormatFromFileName(output), {});
        ASSERT_TRUE(saver.wait());
    }

    std::vector<ElementInfo> savable(const std::string& selector) const {
        return saver.savableElements(IOperator::makeElementFilter(IOperator::ElementSelector{selector}));
    }

    test::FakeSource source;
    fs::path folder;
    SaveSeparateOperator saver;
    test::MessageLog infos, errors;
    std::vector<SavedFile> files;
};

TEST(SaveSeparateOperator, SavesEveryVisibleColourElementVirtualOnesIncludedOneFileEach) {
    Fixture f;
    std::vector<std::string> names;
    for (const ElementInfo& element : f.savable("*")) names.push_back(element.name);
    EXPECT_EQ(names, (std::vector<std::string>{"", "Key", "Normals", "LightMix Interactive", "A"}));

    f.save(f.savable("*"), "Out.final.png");
    EXPECT_EQ(f.errors.texts(), std::vector<std::string>{});
    const std::vector<SavedFile> expected{
        {"Out.final.png", true, false}, {"Out.final_Key.png", false, false}, {"Out.final_Normals.png", false, true},
        {"Out.final_LightMix Interactive.png", false, false}, {"Out.final_Alpha.png", true, true}};
    EXPECT_EQ(f.files, expected);
    EXPECT_EQ(test::filesIn(f.folder).size(), expected.size());
    EXPECT_EQ(f.infos.texts(),
              std::vector<std::string>{"Image \"" + (f.folder / "Out.final.png").string() + "\" has been successfully saved."});

    // A single element goes to the output path itself.
    Fixture g;
    g.save(g.savable("Key"), "Beauty.png");
    EXPECT_EQ(g.files, (std::vector<SavedFile>{{"Beauty.png", false, false}}));
}

TEST(SaveSeparateOperator, EveryFailureEndsTheJobWithItsWholeMessageAndLeavesNoFile) {
    const ElementInfo key{"Key", ElementLayout::Rgb, 0};
    const ElementInfo missing{"Gone", ElementLayout::Rgb, 0};
    for (const auto& [elements, output, message] : std::vector<std::tuple<std::vector<ElementInfo>, std::string, std::string>>{
             {{key}, "folder.v2/", "Well-formed output image path having a file extension is expected."},
             // The element before the failing one is computed and staged, but not kept.
             {{key, missing}, "Out.png", "Unable to retrieve output image data of the \"Gone\" render element."}}) {
        Fixture f;
        f.save(elements, output);
        EXPECT_EQ(f.errors.texts(), std::vector<std::string>{message}) << output;
        EXPECT_EQ(f.infos.texts(), std::vector<std::string>{}) << output;
        EXPECT_EQ(f.files.size(), elements.size() - 1) << output;
        EXPECT_EQ(test::filesIn(f.folder), std::vector<std::string>{}) << output;
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

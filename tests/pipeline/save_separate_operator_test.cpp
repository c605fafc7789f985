#include "lumora/pipeline/save_separate_operator.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "cli/run_program.hpp"
#include "pipeline/pipeline_test_support.hpp"

namespace lumora {
namespace {

using test::FakeSource;
using test::MessageLog;

constexpr Bucket kRect{{0, 0}, {4, 3}};

struct SavedFile {
    std::filesystem::path path;
    int width;
    bool alpha;
    bool rawData;
    bool operator==(const SavedFile&) const = default;
};

void PrintTo(const SavedFile& f, std::ostream* out) {
    *out << f.path << " w" << f.width << (f.alpha ? " alpha" : "") << (f.rawData ? " raw" : "");
}

namespace fs = std::filesystem;

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
    Fixture() : source(kRect), folder(test::processFolder("save_separate")) {
        fs::remove_all(folder);
        fs::create_directories(folder);
        const auto add = [&](const std::string& name, ElementLayout layout, std::uint32_t flags) {
            source.elements.push_back({name, layout, flags});
            if (layout == ElementLayout::Mono) {
                source.mono[name] = Bitmap<float>(4, 3, 0.25f);
            } else {
                source.colour[name] = Bitmap<Float4>(4, 3, Float4(0.5f));
            }
        };
        add("", ElementLayout::Rgba, 0);
        add("Key", ElementLayout::Rgb, ElementFlag::LightSelect);
        add("Normals", ElementLayout::Rgb, ElementFlag::RawData | ElementFlag::NoSharpenBlur);
        add("Odd/Name:x", ElementLayout::Rgb, 0);
        add("LUMORA_FB_WEIGHTS", ElementLayout::Mono, ElementFlag::Hidden);
        add("SqrBeauty", ElementLayout::Rgb, ElementFlag::Hidden);
        add("LightMix Interactive", ElementLayout::Rgb, ElementFlag::Virtual);
        // As the mono-to-colour step offers a single-channel element: colour layout, mono data.
        source.elements.push_back({"A", ElementLayout::Rgb, ElementFlag::RawData | ElementFlag::NoSharpenBlur});
        source.mono["A"] = Bitmap<float>(4, 3, 0.75f);
        source.colour["A"] = Bitmap<Float4>(4, 3, Float4(0.75f));

        saver.setDependency(0, &source);
        saver.setInfoCallback(infos.callback());
        saver.setErrorCallback(errors.callback());
        saver.setBitmapSaver([this](const std::filesystem::path& path, const Picture& picture, bool rawData) {
            files.push_back({committedName(path), picture.pixels.width(), picture.alpha, rawData});
            std::ofstream{path};
            return std::expected<bool, std::string>(true);
        });
    }

    void save(std::vector<ElementInfo> elements, const std::string& output) {
        saver.start(std::move(elements), folder / output, getImageFormatFromFileName(output), {});
        ASSERT_TRUE(saver.wait());
    }

    std::vector<ElementInfo> all() const {
        return saver.savableElements(IOperator::makeElementFilter(IOperator::ElementSelector{"*"}));
    }

    FakeSource source;
    fs::path folder;
    SaveSeparateOperator saver;
    MessageLog infos, errors;
    std::vector<SavedFile> files;
};

std::vector<std::string> names(const std::vector<ElementInfo>& elements) {
    std::vector<std::string> result;
    for (const ElementInfo& element : elements) result.push_back(element.name);
    return result;
}

TEST(SaveSeparateOperator, SavesEveryVisibleColourElementVirtualOnesIncludedOneFileEach) {
    Fixture f;
    EXPECT_EQ(names(f.all()),
              (std::vector<std::string>{"", "Key", "Normals", "Odd/Name:x", "LightMix Interactive", "A"}));
    EXPECT_EQ(names(f.saver.savableElements(IOperator::makeElementFilter({"Alpha"}))), std::vector<std::string>{"A"});

    f.save(f.all(), "Out.final.png");
    EXPECT_EQ(f.errors.texts(), std::vector<std::string>{});
    const std::vector<SavedFile> expected{
        {"Out.final.png", 4, true, false},
        {"Out.final_Key.png", 4, false, false},
        {"Out.final_Normals.png", 4, false, true},
        {"Out.final_Odd_Name_x.png", 4, false, false},
        {"Out.final_LightMix Interactive.png", 4, false, false},
        {"Out.final_Alpha.png", 4, true, true},
    };
    EXPECT_EQ(f.files, expected);
    std::vector<std::string> onDisk;
    for (const SavedFile& file : expected) onDisk.push_back(file.path.string());
    std::sort(onDisk.begin(), onDisk.end());
    EXPECT_EQ(test::filesIn(f.folder), onDisk);
    EXPECT_EQ(f.infos.texts(),
              std::vector<std::string>{"Image \"" + (f.folder / "Out.final.png").string() + "\" has been successfully saved."});
}

TEST(SaveSeparateOperator, ASingleElementIsSavedToTheOutputPathItself) {
    Fixture f;
    f.save(f.saver.savableElements(IOperator::makeElementFilter({"Key"})), "Beauty.png");
    EXPECT_EQ(f.files, (std::vector<SavedFile>{{"Beauty.png", 4, false, false}}));
}

TEST(SaveSeparateOperator, EveryFailureEndsTheJobWithItsWholeMessage) {
    struct Case {
        std::vector<ElementInfo> elements;
        std::string output;
        std::string message;
    };
    const ElementInfo key{"Key", ElementLayout::Rgb, 0};
    const ElementInfo missing{"Gone", ElementLayout::Rgb, 0};
    const std::string badPath = "Well-formed output image path having a file extension is expected.";
    for (const Case& c : {
             Case{{key}, "Out", badPath},
             Case{{key}, "folder.v2/", badPath},
             Case{{key}, "Out.xyz",
                  "Images cannot be saved in the \"xyz\" format: no supported image format has that file extension."},
             Case{{}, "Out.png",
                  "There are not selected any render elements that can be saved. You need to select at least one."},
             Case{{key, missing}, "Out.png",
                  "Unable to retrieve output image data of the \"Gone\" render element."},
             Case{{{"", ElementLayout::Rgba, 0}, missing}, "Out.png",
                  "Unable to retrieve output image data of the \"Gone\" render element."},
         }) {
        Fixture f;
        f.save(c.elements, c.output);
        EXPECT_EQ(f.errors.texts(), std::vector<std::string>{c.message}) << c.output;
        EXPECT_EQ(f.infos.texts(), std::vector<std::string>{}) << c.output;
        // Elements before the failing one are computed and staged, but no file stays behind.
        EXPECT_EQ(f.files.size(), c.elements.size() == 2 ? 1u : 0u) << c.output;
        EXPECT_EQ(test::filesIn(f.folder), std::vector<std::string>{}) << c.output;
    }

    Fixture f;
    f.saver.setBitmapSaver([](const std::filesystem::path&, const Picture&, bool) {
        return std::expected<bool, std::string>(std::unexpected("Cannot operate with image file \"x\". Disk full."));
    });
    f.save({{"Key", ElementLayout::Rgb, 0}}, "Out.png");
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

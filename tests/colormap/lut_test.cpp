// LUT files: the statuses of malformed files, a corpus in the styles that grading tools write,
// the lookup and its extrapolation, and the cache. Arbitrary bytes are left to the LUT fuzzer.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "lumora/colormap/color_mapping.hpp"
#include "lumora/colormap/lut.hpp"

namespace lumora {
namespace {

namespace fs = std::filesystem;

const fs::path kDir = fs::path(LUMORA_TEST_TMP) / "colormap";
const fs::path kDebugLog = kDir / "debug.log";
// The debug log is named once per process, before anything asks for it.
const bool kLogNamed = [] {
    fs::create_directories(kDir);
    fs::remove(kDebugLog);
    return setenv("LUMORA_DEBUG_LOG", kDebugLog.c_str(), 1) == 0;
}();

fs::path writeFile(const std::string& name, const std::string& text) {
    const fs::path path = kDir / name;
    std::ofstream(path, std::ios::binary) << text;
    return path;
}

constexpr unsigned kPlain = Lut::Enabled;  // no square-root space: the table alone

// An identity table, n per axis, in the style of the tool.
std::string identityCube(int n, const std::string& header, bool shaper = false) {
    std::ostringstream out;
    out << header;
    if (shaper) out << "LUT_1D_SIZE 129\n";
    out << "LUT_3D_SIZE " << n << "\n";
    for (int i = 0; shaper && i < 129; ++i) out << i / 128.0 << " " << i / 128.0 << " " << i / 128.0 << "\n";
    out.precision(9);
    // Red varies fastest.
    for (int i = 0; i < n * n * n; ++i) {
        out << i % n / double(n - 1) << " " << i / n % n / double(n - 1) << " " << i / (n * n) / double(n - 1) << "\n";
    }
    return out.str();
}

std::string identity3dl(int n, int bits, const std::string& header) {
    std::ostringstream out;
    out << header;
    const int top = (1 << bits) - 1;
    for (int i = 0; i < n; ++i) out << (i * 1023) / (n - 1) << (i + 1 < n ? " " : "\n");
    const auto level = [&](int i) { return std::lround(double(i) * top / (n - 1)); };
    // Blue varies fastest.
    for (int i = 0; i < n * n * n; ++i) {
        out << level(i / (n * n)) << " " << level(i / n % n) << " " << level(i % n) << "\n";
    }
    return out.str();
}

LutStatus load(const std::string& name, const std::string& text, unsigned flags = kPlain) {
    Lut lut;
    return lut.load(writeFile(name, text), 1.f, 2.2f, flags);
}

TEST(LutFile, MalformedFilesEndInTheirStatus) {
    struct Case {
        const char* name;
        std::string text;
        LutStatus status;
    };
    const std::string two = "0 0 0\n1 0 0\n0 1 0\n1 1 0\n0 0 1\n1 0 1\n0 1 1\n";
    const std::vector<Case> cases{
        {"ok.cube", "TITLE \"t\"\nLUT_3D_SIZE 2\n" + two + "1 1 1\n", LutStatus::Success},
        {"seven.cube", "LUT_3D_SIZE 2\n" + two, LutStatus::BadFormat},
        {"nine.cube", "LUT_3D_SIZE 2\n" + two + "1 1 1\n1 1 1\n", LutStatus::BadFormat},
        {"flat.cube", "DOMAIN_MIN 0 0 0\nDOMAIN_MAX 1 1 0\nLUT_3D_SIZE 2\n" + two + "1 1 1\n", LutStatus::BadFormat},
        {"range.cube", "LUT_3D_SIZE 2\nLUT_3D_INPUT_RANGE 1 0\n" + two + "1 1 1\n", LutStatus::BadFormat},
        {"truncated.cube", "LUT_3D_SIZE 2\n" + two + "1 1\n", LutStatus::BadFormat},
        {"nan.cube", "LUT_3D_SIZE 2\n" + two + "nan 1 1\n", LutStatus::BadFormat},
        {"inf.cube", "LUT_3D_SIZE 2\n" + two + "1e39 1 1\n", LutStatus::BadFormat},
        {"huge.cube", "LUT_3D_SIZE 2000000000\n0 0 0\n", LutStatus::TooLarge},
        {"badsize.cube", "LUT_3D_SIZE x\n" + two + "1 1 1\n", LutStatus::BadFormat},
        {"nosize.cube", two, LutStatus::BadFormat},
        {"empty.cube", "", LutStatus::BadFormat},
        {"binary.cube", std::string("\x00\xff\x13LUT\x00\n\x80", 9), LutStatus::BadFormat},
        {"lut.txt", "LUT_3D_SIZE 2\n", LutStatus::UnsupportedFormat},
        {"short.3dl", "0 1023\n0 0 0\n1023 1023 1023\n", LutStatus::BadFormat},
        {"negative.3dl", "0 0 -1\n", LutStatus::BadFormat},
        {"ok.3dl", identity3dl(2, 10, ""), LutStatus::Success},
    };
    for (const Case& c : cases) EXPECT_EQ(load(c.name, c.text), c.status) << c.name;
    Lut lut;
    EXPECT_EQ(lut.load(kDir / "missing.cube", 1.f, 2.2f, kPlain), LutStatus::CannotOpen);
    EXPECT_FALSE(lut.isActive());
    EXPECT_EQ(Lut::statusMessage(LutStatus::UnsupportedFormat), "Unsupported file format (must be either .cube or .3dl)");
    EXPECT_EQ(Lut::statusMessage(LutStatus::BadFormat), "LUT file does not have standard format");
    EXPECT_EQ(Lut::statusMessage(LutStatus::TooLarge), "LUT file is too large, try simplifying it.");
}

TEST(LutFile, ToolStyleIdentityTablesReturnTheirInput) {
    struct Style {
        std::string name;
        std::string text;
        float tolerance = 1e-5f;  // integer files: half their step (and float rounding)
    };
    std::vector<Style> styles;
    // The Resolve style carries a 129-entry shaper; 3D tables of 65 and 129 per axis are left to
    // one style (and the largest to the benchmark) to keep the suite fast.
    for (int n : {2, 17, 33}) {
        const std::string size = std::to_string(n);
        styles.push_back({"resolve" + size + ".cube", identityCube(n, "# Resolve\nTITLE \"Look\"\n", true)});
        styles.push_back({"iridas" + size + ".cube",
                          identityCube(n, "TITLE \"Iridas\"\r\nDOMAIN_MIN 0 0 0\r\nDOMAIN_MAX 1 1 1\r\n")});
        styles.push_back({"lustre" + size + ".3dl", identity3dl(n, 12, "3DMESH\nMesh 4 12\n"), 0.5f / 4095.f + 1e-6f});
        styles.push_back({"flame" + size + ".3dl", identity3dl(n, 10, "# Flame\n"), 0.5f / 1023.f + 1e-6f});
    }
    styles.push_back({"axis65.cube", identityCube(65, "")});
    for (const Style& style : styles) {
        Lut plain, sqrtSpace;
        const fs::path path = writeFile(style.name, style.text);
        ASSERT_EQ(plain.load(path, 1.f, 2.2f, kPlain), LutStatus::Success) << style.name;
        ASSERT_EQ(sqrtSpace.load(path, 1.f, 2.2f, kPlain | Lut::SqrtSpace | Lut::ApplyGamma | Lut::BuildInverse),
                  LutStatus::Success);
        for (float v : {0.f, 0.013f, 0.25f, 0.5f, 0.77f, 0.999f}) {
            const Float4 in(v, 1.f - v, v * 0.5f, 1.f);
            const Float4 out = plain.apply(in);
            const Float4 root = sqrtSpace.apply(in);
            for (int c = 0; c < 3; ++c) {
                EXPECT_NEAR(out[c], in[c], style.tolerance) << style.name << " " << v;
                // In square-root space the fast square root's 12 bits are all that is kept.
                EXPECT_NEAR(root[c], in[c], 1.5e-3f * in[c] + 2.f * style.tolerance) << style.name << " " << v;
            }
        }
    }
}

TEST(LutFile, LookupInterpolatesExtrapolatesAndBlends) {
    // 1D: doubling, 3D on [0, 2]: red from blue.
    const fs::path doubling = writeFile("double.cube", "LUT_1D_SIZE 3\n0 0 0\n1 1 1\n2 2 2\n");
    Lut lut;
    ASSERT_EQ(lut.load(doubling, 1.f, 1.f, kPlain), LutStatus::Success);
    EXPECT_FLOAT_EQ(lut.apply(Float4(0.3f, 0.6f, 0.9f, 0.f))[1], 1.2f);
    EXPECT_EQ(lut.apply(Float4(0.3f, 0.6f, 0.9f, 0.7f))[3], 0.7f);  // alpha is not graded
    EXPECT_NEAR(lut.apply(Float4(1.5f, 0.f, 0.f, 0.f))[0], 3.f, 1e-5f);  // slope of the last 0.2
    EXPECT_EQ(lut.apply(Float4(1.5f, 0.f, 0.f, 0.f))[1], 0.f);  // channels in range only interpolate
    Lut half;
    ASSERT_EQ(half.load(doubling, 0.f, 1.f, kPlain), LutStatus::Success);
    EXPECT_EQ(half.apply(Float4(-0.3f, 0.6f, 2.f, 7.f))[0], -0.3f);  // opacity 0: the input exactly
    Lut quarter;
    ASSERT_EQ(quarter.load(doubling, 0.25f, 1.f, kPlain), LutStatus::Success);
    EXPECT_FLOAT_EQ(quarter.apply(Float4(0.4f))[0], 0.25f * 0.8f + 0.75f * 0.4f);

    std::ostringstream swap;
    swap << "LUT_3D_INPUT_RANGE 0 2\nLUT_3D_SIZE 2\n";  // the range may come first
    for (int i = 0; i < 8; ++i) swap << (i >> 2) << " " << (i >> 1 & 1) << " " << (i & 1) << "\n";
    Lut swapped;
    ASSERT_EQ(swapped.load(writeFile("swap.cube", swap.str()), 1.f, 1.f, kPlain), LutStatus::Success);
    const Float4 out = swapped.apply(Float4(0.2f, 1.f, 1.6f, 0.f));
    EXPECT_FLOAT_EQ(out[0], 0.8f);  // blue 1.6 of [0, 2]
    EXPECT_FLOAT_EQ(out[2], 0.1f);
    EXPECT_NEAR(swapped.apply(Float4(0.f, 0.f, 3.f, 0.f))[0], 1.5f, 1e-5f);  // above the range, per channel

    Lut log;
    ASSERT_EQ(log.load(doubling, 1.f, 1.f, kPlain | Lut::ConvertToLog), LutStatus::Success);
    EXPECT_NEAR(log.apply(Float4(0.f))[0], 2.f * 0.0929f, 1e-3f);
    EXPECT_NEAR(log.apply(Float4(1.f))[0], 2.f * 0.6698f, 1e-3f);
}

TEST(LutFile, SecondLoadComesFromTheCacheAndFailuresReachTheMapping) {
    const fs::path path = writeFile("cached.cube", identityCube(3, ""));
    Lut a, b;
    ASSERT_EQ(a.load(path, 1.f, 2.2f, kPlain), LutStatus::Success);
    ASSERT_EQ(b.load(path, 0.5f, 2.2f, kPlain), LutStatus::Success);
    std::ifstream in(kDebugLog);
    const std::string log((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_NE(log.find("Loaded cached.cube\n"), std::string::npos) << log;
    EXPECT_NE(log.find("from cache cached.cube\n"), std::string::npos) << log;
    EXPECT_NE(log.find("LUT - parsing CUBE file: "), std::string::npos) << log;

    ColorMappingSettings s;
    s.imageWidth = s.imageHeight = 4.f;
    s.lutEnable = true;
    s.lutPath = kDir / "grade.txt";
    std::vector<std::string> messages;
    const ColorMapping mapping(s, [&](const std::string& m) { messages.push_back(m); });
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0], "LUT: Unsupported file format (must be either .cube or .3dl) (" + s.lutPath.string() + ")");
    EXPECT_FALSE(mapping.lut().isActive());
    // The table works on linear values before the encoding: the identity changes nothing.
    s.lutPath = path;
    ColorMappingSettings without = s;
    without.lutEnable = false;
    EXPECT_NEAR(ColorMapping(s).apply(Float4(0.3f), 0, 0)[0], ColorMapping(without).apply(Float4(0.3f), 0, 0)[0], 1e-3f);
    s.enabled = false;  // the table stays on
    s.lutPath = writeFile("dark.cube", "LUT_1D_SIZE 2\n0 0 0\n0 0 0\n");
    EXPECT_EQ(ColorMapping(s).apply(Float4(0.3f), 0, 0)[0], 0.f);
}

}  // namespace
}  // namespace lumora

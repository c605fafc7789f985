#include "lumora/settings/conf.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <tuple>
#include <vector>

#include "cli/run_program.hpp"
#include "foundation/thrown_message.hpp"
#include "lumora/settings/property_descriptor.hpp"

namespace lumora {
namespace {

namespace fs = std::filesystem;
using test::thrownMessage;

void parseText(const std::string& text, Settings& settings, const Conf::Filter& filter = {}) {
    std::istringstream stream(text);
    Conf::parse(stream, {}, settings, nullptr, filter);
}

std::string parseError(const std::string& text) {
    Settings settings;
    return thrownMessage([&] { parseText(text, settings); });
}

std::string streamError(int line, const std::string& reason, const std::string& wholeLine) {
    return "Error in.conf file 'Io::TextInputStream' (line " + std::to_string(line) + ") : " + reason +
           ".\n Whole line : " + wholeLine;
}

std::string savedText(const Settings& settings, const Conf::Filter& filter = {}) {
    std::ostringstream out;
    Conf::save(settings, out, filter);
    return out.str();
}

// Properties of one type compare with ==; properties of different types never are equal.
bool sameValue(const Property& a, const Property& b) { return a.type() == b.type() && a == b; }

void writeBytes(const fs::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

TEST(ConfParse, ErrorMessagesNameReasonLineAndWholeLine) {
    const std::vector<std::pair<std::string, std::string>> cases = {  // line, reason
        {"Float colorMap.gamma 2.2", "Missing '='"},
        {"float COLORMAP.GAMMA = 2", "Unknown property"},
        {"Floot colorMap.gamma = 2", "Unknown type:Floot"},
        {"Int system.threadPriority = BelowNormal", "Unknown type:"},
        {"Float colorMap.gamma = abc", "invalid value declaration"},
        {"Vec3 colorMap.tint = 1 2", "invalid value declaration"},
        {"Bool colorMap.enabled = yes", "boolean needs to be 'true' or 'false'"},
        {"Bool colorMap.enabled =", "incomplete line"},
        {"FloatArray colorMap.lightmixIntensities = 0.5 3", "invalid array value declaration"},
        {"BoolArray colorMap.lightmixEnabledLayers = 1, 2, 0", "invalid array value declaration"},
        {"String colorMap.lut.path = \"abc", "Incorrectly escaped string"},
    };
    for (const auto& [line, reason] : cases) EXPECT_EQ(parseError(line), streamError(1, reason, line)) << line;
}

TEST(ConfParse, ParseLineNamesItsOwnSource) {
    Settings settings;
    EXPECT_EQ(thrownMessage([&] { Conf::parseLine("Float colorMap.gamma", settings); }),
              "Error in.conf file 'Conf::parseLine' (line 1) : Missing '='.\n Whole line : Float colorMap.gamma");
    EXPECT_FALSE(Conf::parseLine("   # Float colorMap.gamma = 3", settings));
    EXPECT_FALSE(Conf::parseLine(" \t ", settings));
    EXPECT_TRUE(Conf::parseLine("Float colorMap.gamma = 3", settings));
    EXPECT_EQ(settings.getFloat(PropertyId::colorMapGamma), 3.f);
}

TEST(ConfParse, ValuesOfEveryType) {
    const std::vector<std::tuple<std::string, int, Property>> cases = {  // line, id, value
        {"Float colorMap.gamma = 2.2 # note", 330, Property(2.2f)},
        {"FLOAT colorMap.gamma =-2.5e-1x", 330, Property(-0.25f)},
        {"Int colorMap.gamma = 2", 330, Property(2)},
        {"Int bloomGlare.streakCount = +7abc", 355, Property(7)},
        {"Bool colorMap.enabled = false and more", 331, Property(false)},
        {"Vec3 colorMap.tint = 0.5 1e1   -3", 344, Property(Vec3{0.5f, 10.f, -3.f})},
        {"String colorMap.lut.path = \"C:\\\\luts\\\\my \\\"best\\\" lut.cube\" trailing", 384,
         Property("C:\\luts\\my \"best\" lut.cube")},
        {"String colorMap.lut.path = plain/path.cube other", 384, Property("plain/path.cube")},
        {"String colorMap.lut.path = \"\\x\"", 384, Property("x")},
        {"BoolArray colorMap.lightmixEnabledLayers = 1, 1, 0", 381, Property::boolArray({true, true, false})},
        {"BoolArray colorMap.lightmixEnabledLayers =", 381, Property::boolArray({})},
        {"IntArray colorMap.lightmixEnabledLayers = 4 ,-5,", 381, Property::intArray({4, -5})},
        {"FloatArray colorMap.lightmixIntensities = 0.5,3", 363, Property::floatArray({0.5f, 3.f})},
        {"Vec3Array colorMap.lightmixColors = 0 0 1, 1 0 0, 1 1 1", 362,
         Property::vec3Array({{0, 0, 1}, {1, 0, 0}, {1, 1, 1}})},
        {"Vec2Array curves.master.nodes = 0 0, 0.5 0.6,1 1", 370,
         Property::vec2Array({{0, 0}, {0.5f, 0.6f}, {1, 1}})},
        {"StringArray system.vfbRegions = \"a, b\", word ,\"\\\\\"", 826,
         Property::stringArray({"a, b", "word", "\\"})},
        {"Int denoise.filterType = Full", 996, Property(2)},
        {"Whatever denoise.filterType = NVIDIA AI denoiser", 996, Property(4)},
    };
    for (const auto& [line, id, expected] : cases) {
        Settings settings;
        parseText(line, settings);
        EXPECT_TRUE(sameValue(settings.get(id), expected)) << line << " gives " << toStr(settings.get(id));
    }
}

TEST(ConfParse, SkipsCommentsBlankLinesAndCarriageReturns) {
    Settings settings;
    parseText("\xEF\xBB\xBF# header\r\n\r\n   # Float colorMap.gamma = 9\r\nFloat colorMap.gamma = 1.8\r\n"
              "String colorMap.lut.path = a.cube\r\n",
              settings);
    EXPECT_EQ(settings.getFloat(PropertyId::colorMapGamma), 1.8f);
    EXPECT_EQ(settings.get(384).asString(), "a.cube");
    int stored = 0;
    settings.forEachStored([&stored](int, const Property&) { ++stored; });
    EXPECT_EQ(stored, 2);
}

TEST(ConfParse, FilterDropsRejectedIdsAndLaterLinesWin) {
    Settings settings;
    const auto onlyGamma = [](int id) { return id == PropertyId::colorMapGamma; };
    parseText("Float colorMap.gamma = 1.5\nBool colorMap.enabled = false\nFloat colorMap.gamma = 1.7\n", settings,
              onlyGamma);
    EXPECT_EQ(settings.getFloat(PropertyId::colorMapGamma), 1.7f);
    EXPECT_TRUE(settings.getBool(PropertyId::colorMapEnabled));

    // a second parse overrides the first
    parseText("Float colorMap.gamma = 2.4\n", settings);
    parseText("Float colorMap.gamma = 1.1\nBool colorMap.enabled = false\n", settings);
    EXPECT_EQ(settings.getFloat(PropertyId::colorMapGamma), 1.1f);
    EXPECT_FALSE(settings.getBool(PropertyId::colorMapEnabled));
}

TEST(ConfSave, WritesAlignedLinesInIdOrder) {
    Settings settings;
    settings.set(PropertyId::colorMapGamma, Property(2.5f));
    settings.set(PropertyId::denoiseFilterType, Property(4));
    settings.set(384, Property("a \"b\""));
    const std::set<int> ids = {PropertyId::colorMapGamma, PropertyId::colorMapEnabled, 384, 996, 362, 10};
    const std::string text = savedText(settings, [&ids](int id) { return ids.contains(id); });
    EXPECT_EQ(text,
              "      Float geometry.bvh.costIteration      = 1\n"
              "      Float colorMap.gamma      = 2.5\n"
              "       Bool colorMap.enabled      = true\n"
              "  Vec3Array colorMap.lightmixColors      = \n"
              "     String colorMap.lut.path      = \"a \\\"b\\\"\"\n"
              "        Int denoise.filterType      = NVIDIA AI denoiser\n");
}

TEST(ConfSave, ValueWithoutConstantNameCannotBeReadBack) {
    Settings settings;
    settings.set(PropertyId::denoiseFilterType, Property(9));
    const std::string text = savedText(settings, [](int id) { return id == PropertyId::denoiseFilterType; });
    EXPECT_EQ(text, "        Int denoise.filterType      = \n");
    EXPECT_EQ(parseError(text), streamError(1, "Unknown type:", "        Int denoise.filterType      = "));
}

TEST(ConfSave, DefaultAndChangedValuesReadBackUnchanged) {
    Settings defaults;
    const std::string text = savedText(defaults);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), PropertyDescriptor::descriptorsCount());
    Settings changed;
    const std::pair<int, Property> values[] = {
        {330, Property(0.123456f)}, {344, Property(Vec3{0.25f, 1e10f, -3.f})},
        {384, Property("D:\\path with spaces\\\"quoted\"\\")}, {381, Property::boolArray({true, false, true})},
        {363, Property::floatArray({0.5f, 2.f, 1e-3f})}, {362, Property::vec3Array({{1, 0, 0}, {0, 0.5f, 1}})},
        {370, Property::vec2Array({{0, 0}, {0.25f, 0.75f}})}, {996, Property(4)}, {183, Property(-3)}};
    for (const auto& [id, value] : values) changed.set(id, value);
    for (const Settings* original : {&defaults, &changed}) {
        Settings copy;
        parseText(savedText(*original), copy);
        PropertyDescriptor::enumerate([&](const PropertyDescriptor& d) {
            EXPECT_TRUE(sameValue(copy.get(d.id), original->get(d.id))) << d.name;
        });
        EXPECT_EQ(savedText(copy), savedText(*original));
    }
}

TEST(ConfFile, MissingDefaultFileIsCreatedOnlyWhenAsked) {
    const fs::path folder = test::freshFolder("conf_create");
    EXPECT_EQ(Conf::getDefaultFileName(),
              fs::path("Config-" + std::to_string(PropertyDescriptor::descriptorsHash()) + ".conf"));
    const fs::path path = folder / Conf::getDefaultFileName();
    Settings settings;
    EXPECT_EQ(thrownMessage([&] { Conf::parse(path, {}, settings, nullptr, {}); }),
              "Cannot open the configuration file '" + path.generic_string() + "'.");
    EXPECT_FALSE(fs::exists(path));

    settings.set(PropertyId::colorMapGamma, Property(1.9f));
    Conf::parse(path, Conf::ConfParserFlag::CreateDefaultFile, settings, nullptr, {});

    const std::string written = test::readText(path);
    const std::string header =
        "#####################################################\n"
        "# Default Lumora auto-generated initial config file #\n"
        "#                                                   #\n"
        "# format:                                           #\n"
        "# type name   =   value                             #\n"
        "#####################################################\n";
    EXPECT_EQ(written, header + savedText(settings));

    // an existing file is read, not rewritten
    writeBytes(path, "Float colorMap.gamma = 1.3\n");
    Conf::parse(path, Conf::ConfParserFlag::CreateDefaultFile, settings, nullptr, {});
    EXPECT_EQ(settings.getFloat(PropertyId::colorMapGamma), 1.3f);
    EXPECT_EQ(test::readText(path), "Float colorMap.gamma = 1.3\n");
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
}

TEST(ConfFile, ErrorsNameThePathAndEncodingsAreRead) {
    const fs::path folder = test::freshFolder("conf_encodings");
    const std::string text = "Float colorMap.gamma = 1.6\r\nString colorMap.lut.path = \"\xC3\xA9t\xC3\xA9\"\n";
    std::string utf16le = "\xFF\xFE", utf16be = "\xFE\xFF";
    const std::u16string units = u"Float colorMap.gamma = 1.6\r\nString colorMap.lut.path = \"\u00E9t\u00E9\"\n";
    for (const char16_t unit : units) {
        utf16le += {static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)};
        utf16be += {static_cast<char>(unit >> 8), static_cast<char>(unit & 0xFF)};
    }
    const std::vector<std::pair<std::string, std::string>> files = {
        {"utf8.conf", text}, {"bom.conf", "\xEF\xBB\xBF" + text}, {"le.conf", utf16le}, {"be.conf", utf16be}};
    for (const auto& [name, bytes] : files) {
        writeBytes(folder / name, bytes);
        Settings settings;
        Conf::parse(folder / name, {}, settings, nullptr, {});
        EXPECT_EQ(settings.getFloat(PropertyId::colorMapGamma), 1.6f) << name;
        EXPECT_EQ(settings.get(384).asString(), "\xC3\xA9t\xC3\xA9") << name;
    }

    // The message names the line, counted with comments, and quotes it untrimmed; the lines
    // before it stay stored.
    const fs::path bad = folder / "bad.conf";
    writeBytes(bad, "Float colorMap.gamma = 1.8\n# one\n  Bool colorMap.enabled = maybe  \nInt x = 1\n");
    Settings settings;
    EXPECT_EQ(thrownMessage([&] { Conf::parse(bad, {}, settings, nullptr, {}); }),
              "Error in.conf file '" + bad.generic_string() + "' (line 3) : boolean needs to be 'true' or 'false'.\n"
                  " Whole line :   Bool colorMap.enabled = maybe  ");
    EXPECT_EQ(settings.getFloat(PropertyId::colorMapGamma), 1.8f);
}

TEST(ConfFile, SaveReplacesTheFileWholeOrNotAtAll) {
    const fs::path folder = test::freshFolder("conf_save");
    const fs::path path = folder / "out.conf";
    writeBytes(path, "old\n");
    Settings settings;
    Conf::save(settings, path, {});
    EXPECT_EQ(test::readText(path), savedText(settings));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);

    const fs::path unreachable = folder / "no-such-folder" / "out.conf";
    EXPECT_EQ(thrownMessage([&] { Conf::save(settings, unreachable, {}); }),
              "Cannot write the configuration file '" + unreachable.generic_string() + "'.");

    // saving a value that has no text form fails before the file is touched
    settings.set(PropertyId::colorMapGamma, Property());
    EXPECT_THROW(Conf::save(settings, path, {}), Exception);
    EXPECT_EQ(test::readText(path), savedText(Settings()));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
}
}  // namespace
}  // namespace lumora

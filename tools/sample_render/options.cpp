#include "sample_render/options.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <string_view>

namespace lumora::sample {

namespace {

constexpr int kMaxSize = 16384;
constexpr int kMaxPasses = 1 << 16;

// The whole text must be a decimal number in [low, high].
std::optional<long long> parseWhole(std::string_view text, long long low, long long high) {
    long long value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size() || value < low || value > high) {
        return std::nullopt;
    }
    return value;
}

std::string invalid(std::string_view option, std::string_view text, std::string_view expected) {
    return "Invalid " + std::string(option) + " value '" + std::string(text) + "': expected " + std::string(expected) +
           ".";
}

std::optional<std::string> parseSize(std::string_view text, RenderOptions& options) {
    const std::size_t x = text.find('x');
    const auto w = parseWhole(text.substr(0, x), 1, kMaxSize);
    const auto h = x == std::string_view::npos ? std::nullopt : parseWhole(text.substr(x + 1), 1, kMaxSize);
    if (!w || !h) {
        return invalid("--size", text, "WxH with whole numbers from 1 to 16384, for example 640x360");
    }
    options.width = static_cast<int>(*w);
    options.height = static_cast<int>(*h);
    return std::nullopt;
}

std::optional<std::string> parseRegion(std::string_view text, RenderOptions& options) {
    std::array<int, 4> v{};
    std::string_view rest = text;
    for (std::size_t i = 0; i < v.size(); ++i) {
        const std::size_t comma = i + 1 < v.size() ? rest.find(',') : rest.size();
        const auto n = comma == std::string_view::npos
                           ? std::nullopt
                           : parseWhole(rest.substr(0, comma), 0, kMaxSize);
        if (!n) {
            return invalid("--region", text, "x0,y0,x1,y1 with whole numbers (x1 and y1 exclusive)");
        }
        v[i] = static_cast<int>(*n);
        rest = rest.substr(std::min(rest.size(), comma + 1));
    }
    options.region = Bucket{{v[0], v[1]}, {v[2], v[3]}};
    return std::nullopt;
}

}  // namespace

std::string usageText() {
    return "Usage: lumora-sample-render [options] <output.lxr>\n"
           "\n"
           "Renders a fixed test scene into an LXR file: the beauty with alpha, one light select per\n"
           "light (Key, Fill, Spot), the per-pixel pass counts, squared-sample companions, denoising\n"
           "features, ZDepth and Normals, and the default post-processing settings.\n"
           "\n"
           "Options:\n"
           "  --size WxH                 image size (default 640x360)\n"
           "  --passes N                 passes per pixel, one sample each (default 16)\n"
           "  --seed S                   random seed; other seeds give independent renders (default 1)\n"
           "  --region x0,y0,x1,y1       render only this part of the frame (x1 and y1 exclusive)\n"
           "  --adaptive                 more passes where the image is noisier\n"
           "  --no-denoising-data        leave out the squared companions and denoising features\n"
           "  --set \"<type> <name> = <value>\"\n"
           "                             store this post-processing property value (repeatable)\n"
           "  --threads N                worker threads (default 0: all processors)\n"
           "  --preview <file>           also write the beauty, gamma 2.2, as a picture (PNG, JPEG, ...)\n"
           "  --help                     print this text\n";
}

std::expected<RenderOptions, std::string> parseOptions(std::span<const std::string> arguments) {
    RenderOptions options;
    std::vector<std::string> outputs;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        std::string option = arguments[i];
        std::optional<std::string> attached;
        if (option.starts_with("--") && option.find('=') != std::string::npos) {
            attached = option.substr(option.find('=') + 1);
            option.resize(option.find('='));
        }
        auto takeValue = [&]() -> std::optional<std::string> {
            if (attached) {
                return attached;
            }
            if (i + 1 < arguments.size()) {
                return arguments[++i];
            }
            return std::nullopt;
        };
        auto isSwitch = [&](std::string_view name) { return option == name && !attached; };

        if (isSwitch("--help") || isSwitch("-h")) {
            options.help = true;
        } else if (isSwitch("--adaptive")) {
            options.adaptive = true;
        } else if (isSwitch("--no-denoising-data")) {
            options.denoisingData = false;
        } else if (option == "--size" || option == "--passes" || option == "--seed" || option == "--region" ||
                   option == "--set" || option == "--threads" || option == "--preview") {
            const auto value = takeValue();
            if (!value) {
                return std::unexpected("Option " + option + " needs a value.");
            }
            std::optional<std::string> error;
            if (option == "--size") {
                error = parseSize(*value, options);
            } else if (option == "--passes") {
                const auto n = parseWhole(*value, 1, kMaxPasses);
                error = n ? std::nullopt : std::optional(invalid(option, *value, "a whole number from 1 to 65536"));
                options.passes = static_cast<int>(n.value_or(options.passes));
            } else if (option == "--seed") {
                const auto n = parseWhole(*value, 0, std::numeric_limits<std::uint32_t>::max());
                error = n ? std::nullopt
                          : std::optional(invalid(option, *value, "a whole number from 0 to 4294967295"));
                options.seed = static_cast<std::uint32_t>(n.value_or(options.seed));
            } else if (option == "--threads") {
                const auto n = parseWhole(*value, 0, 1024);
                error = n ? std::nullopt : std::optional(invalid(option, *value, "a whole number from 0 to 1024"));
                options.threads = static_cast<int>(n.value_or(options.threads));
            } else if (option == "--region") {
                error = parseRegion(*value, options);
            } else if (option == "--set") {
                options.settingsLines.push_back(*value);
            } else {
                options.preview = *value;
            }
            if (error) {
                return std::unexpected(*error);
            }
        } else if (option.size() > 1 && option.front() == '-') {
            return std::unexpected("Unknown option '" + arguments[i] + "'.");
        } else {
            outputs.push_back(arguments[i]);
        }
    }
    if (options.help) {
        return options;
    }
    if (outputs.empty()) {
        return std::unexpected(std::string("No output file given."));
    }
    if (outputs.size() > 1) {
        return std::unexpected("More than one output file given: '" + outputs[0] + "' and '" + outputs[1] + "'.");
    }
    options.output = outputs.front();
    if (options.region) {
        const Bucket& r = *options.region;
        if (r.isEmpty() || !Bucket{{0, 0}, {options.width, options.height}}.contains(r)) {
            return std::unexpected("The region " + std::to_string(r.min.x) + "," + std::to_string(r.min.y) + "," +
                                   std::to_string(r.max.x) + "," + std::to_string(r.max.y) +
                                   " is empty or does not lie inside the " + std::to_string(options.width) + "x" +
                                   std::to_string(options.height) + " frame.");
        }
    }
    return options;
}

}  // namespace lumora::sample

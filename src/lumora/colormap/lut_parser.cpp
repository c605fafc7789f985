#include "lumora/colormap/lut_parser.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

#include "lumora/settings/text_scanner.hpp"

namespace lumora {
namespace {

// Lines are read with their end-of-line characters, surrounding white space and tabs normalised:
// the scanner separates values by spaces only.
bool readLine(std::istream& in, std::string& line) {
    if (!std::getline(in, line)) return false;
    std::replace(line.begin(), line.end(), '\t', ' ');
    const auto first = line.find_first_not_of(" \r");
    if (first == std::string::npos) {
        line.clear();
    } else {
        line.erase(0, first);
        line.erase(line.find_last_not_of(" \r") + 1);
    }
    return true;
}

bool matches(std::string_view line, std::string_view pattern, std::initializer_list<scan::Target> targets) {
    return scan::match(line, pattern, std::span<const scan::Target>(targets.begin(), targets.size())) ==
           scan::MatchResult::Match;
}

// A keyword line whose value is wrong: the pattern's literal part matched, a conversion did not.
bool badValue(std::string_view line, std::string_view pattern, std::initializer_list<scan::Target> targets) {
    return scan::match(line, pattern, std::span<const scan::Target>(targets.begin(), targets.size())) ==
           scan::MatchResult::ConversionFailed;
}

struct CubeReader {
    LutTables tables;
    Vec3 domainMin{0.f, 0.f, 0.f};
    Vec3 domainMax{1.f, 1.f, 1.f};
    Float4 scale{1.f};
    Float4 offset{0.f};

    LutTable* filling() {
        if (tables.lut1d && tables.lut1d->entries.size() < std::size_t(tables.lut1d->size)) return &*tables.lut1d;
        if (tables.lut3d) return &*tables.lut3d;
        return tables.lut1d ? &*tables.lut1d : nullptr;
    }
    static std::size_t expected(const LutTable& t, bool is3d) {
        const auto n = static_cast<std::size_t>(t.size);
        return is3d ? n * n * n : n;
    }
    void setDomain() {
        offset = Float4(domainMin.x, domainMin.y, domainMin.z, 0.f);
        scale = Float4(1.f / (domainMax.x - domainMin.x), 1.f / (domainMax.y - domainMin.y),
                       1.f / (domainMax.z - domainMin.z), 1.f);
    }
    bool domainValid() const {
        for (int c = 0; c < 3; ++c) {
            if (!(std::isfinite(scale[c]) && scale[c] > 0.f)) return false;
        }
        return true;
    }
    LutStatus declare(std::optional<LutTable>& table, int size, int limit) {
        if (table || size < 2) return LutStatus::BadFormat;
        if (size > limit) return LutStatus::TooLarge;
        table.emplace().size = size;
        return LutStatus::Success;
    }
    // Input ranges may come before or after their table's size; they are applied at the end.
    std::array<float, 2> range1d{0.f, 1.f}, range3d{0.f, 1.f};
    static LutStatus range(std::array<float, 2>& range, float lo, float hi) {
        if (!(lo < hi) || !std::isfinite(lo) || !std::isfinite(hi)) return LutStatus::BadFormat;
        range = {lo, hi};
        return LutStatus::Success;
    }

    // Success, or the status that ends the file.
    LutStatus line(const std::string& text) {
        float r = 0.f, g = 0.f, b = 0.f;
        if (LutTable* t = filling(); t && matches(text, "%f%f%f", {&r, &g, &b})) {
            if (t->entries.size() >= expected(*t, t == (tables.lut3d ? &*tables.lut3d : nullptr))) {
                return LutStatus::BadFormat;
            }
            const Float4 v = max((Float4(r, g, b, 0.f) - offset) * scale, Float4(0.f));
            if (!std::isfinite(v.sum())) return LutStatus::BadFormat;
            t->entries.push_back(Float4(v[0], v[1], v[2], 0.f));
            return LutStatus::Success;
        }
        int size = 0;
        float lo = 0.f, hi = 0.f;
        Vec3 colour;
        if (matches(text, "TITLE %s", {&tables.title})) return LutStatus::Success;
        if (matches(text, "LUT_1D_SIZE %d", {&size})) return declare(tables.lut1d, size, kMaxLut1DSize);
        if (matches(text, "LUT_3D_SIZE %d", {&size})) return declare(tables.lut3d, size, kMaxLut3DSize);
        if (matches(text, "DOMAIN_MIN %r", {&colour})) return domainMin = colour, setDomain(), LutStatus::Success;
        if (matches(text, "DOMAIN_MAX %r", {&colour})) return domainMax = colour, setDomain(), LutStatus::Success;
        if (matches(text, "LUT_1D_INPUT_RANGE %f %f", {&lo, &hi})) return range(range1d, lo, hi);
        if (matches(text, "LUT_3D_INPUT_RANGE %f %f", {&lo, &hi})) return range(range3d, lo, hi);
        // A known keyword with a value that does not read, or an oversized number.
        for (const char* keyword : {"LUT_1D_SIZE %d", "LUT_3D_SIZE %d"}) {
            if (badValue(text, keyword, {&size})) return LutStatus::BadFormat;
        }
        for (const char* keyword : {"DOMAIN_MIN %r", "DOMAIN_MAX %r"}) {
            if (badValue(text, keyword, {&colour})) return LutStatus::BadFormat;
        }
        for (const char* keyword : {"LUT_1D_INPUT_RANGE %f %f", "LUT_3D_INPUT_RANGE %f %f"}) {
            if (badValue(text, keyword, {&lo, &hi})) return LutStatus::BadFormat;
        }
        // Other keywords (LUT_IN_VIDEO_RANGE and the like) are not ours; entries outside a
        // table, or lines that do not read, leave a table short and fail at the end.
        return LutStatus::Success;
    }

    bool complete() const {
        if (!tables.lut1d && !tables.lut3d) return false;
        if (tables.lut1d && tables.lut1d->entries.size() != expected(*tables.lut1d, false)) return false;
        if (tables.lut3d && tables.lut3d->entries.size() != expected(*tables.lut3d, true)) return false;
        return domainValid();
    }
};

}  // namespace

std::size_t LutTables::bytes() const {
    std::size_t n = sizeof(LutTables) + title.size();
    if (lut1d) n += lut1d->entries.size() * sizeof(Float4);
    if (lut3d) n += lut3d->entries.size() * sizeof(Float4);
    return n;
}

LutParseResult parseCube(std::istream& in) {
    CubeReader reader;
    std::string text;
    while (readLine(in, text)) {
        if (text.empty() || text.front() == '#') continue;
        const LutStatus status = reader.line(text);
        if (status != LutStatus::Success) return {status, {}};
    }
    if (in.bad() || !reader.complete()) return {LutStatus::BadFormat, {}};
    LutTables& tables = reader.tables;
    const auto setRange = [](std::optional<LutTable>& table, const std::array<float, 2>& range) {
        if (table) table->inputMin = range[0], table->inputMax = range[1];
    };
    setRange(tables.lut1d, reader.range1d);
    setRange(tables.lut3d, reader.range3d);
    return {LutStatus::Success, std::move(tables)};
}

// 3DL: an optional header line of input positions (four or more integers), then one integer
// triple per line with blue varying fastest (the file order is b + N g + N^2 r). Integers are
// normalised by the output bit depth: the smallest 2^k - 1 (k >= 1) not below the largest value.
LutParseResult parse3dl(std::istream& in) {
    std::vector<std::array<int, 3>> values;
    std::string text;
    int largest = 0;
    const std::size_t limit = std::size_t(kMaxLut3DSize) * kMaxLut3DSize * kMaxLut3DSize;
    while (readLine(in, text)) {
        if (text.empty() || text.front() == '#') continue;
        int a = 0, b = 0, c = 0, d = 0;
        if (matches(text, "%d%d%d%d", {&a, &b, &c, &d})) {
            if (!values.empty()) return {LutStatus::BadFormat, {}};  // positions after the data
            continue;
        }
        if (matches(text, "%d%d%d", {&a, &b, &c})) {
            if (a < 0 || b < 0 || c < 0) return {LutStatus::BadFormat, {}};
            if (values.size() >= limit) return {LutStatus::TooLarge, {}};
            values.push_back({a, b, c});
            largest = std::max({largest, a, b, c});
        }
        // Other lines ("3DMESH", "Mesh 4 12", "LUT8", "gamma 1.0") describe the file's origin.
    }
    if (in.bad()) return {LutStatus::ReadError, {}};
    const auto n = static_cast<std::size_t>(std::lround(std::cbrt(static_cast<double>(values.size()))));
    if (n < 2 || n * n * n != values.size()) return {LutStatus::BadFormat, {}};
    double depth = 1.0;
    while (depth < largest) depth = depth * 2.0 + 1.0;
    const auto scale = static_cast<float>(1.0 / depth);

    LutParseResult result;
    LutTable& table = result.tables.lut3d.emplace();
    table.size = static_cast<int>(n);
    table.entries.resize(values.size());
    std::size_t i = 0;
    for (std::size_t r = 0; r < n; ++r) {
        for (std::size_t g = 0; g < n; ++g) {
            for (std::size_t b = 0; b < n; ++b, ++i) {
                const auto& v = values[i];
                table.entries[r + n * g + n * n * b] =
                    Float4(float(v[0]) * scale, float(v[1]) * scale, float(v[2]) * scale, 0.f);
            }
        }
    }
    return result;
}

}  // namespace lumora

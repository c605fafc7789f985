#include "lumora/colormap/lut.hpp"

#include <cstdio>
#include <fstream>

#include "lumora/foundation/cache_storage.hpp"
#include "lumora/foundation/debug_log.hpp"
#include "lumora/foundation/debug_timer.hpp"
#include "lumora/foundation/exception.hpp"

namespace lumora {
namespace {

CacheStorage& lutCache() {
    static CacheStorage cache(52428800);  // 50 MiB
    return cache;
}

// Log encoding before the lookup: ln(A v + B) / 7.85.
const float kLogB = 2.07332158f;
const float kLogA = 192.014175f - kLogB;

constexpr float kLastBelowOne = 0.99999899f;

// Position of v in a table of n entries per axis: index i and weight w per lane.
struct Position {
    alignas(16) float i[4];
    alignas(16) float w[4];
};

Position locate(const LutTable& table, Float4 v) {
    const float lo = table.inputMin, hi = table.inputMax;
    const Float4 t = min(max((v - Float4(lo)) / Float4(hi - lo), Float4(0.f)), Float4(kLastBelowOne));
    const Float4 p = t * Float4(float(table.size - 1));
    const Float4 i = floor(p);
    Position pos;
    i.store(pos.i);
    (p - i).store(pos.w);
    return pos;
}

Float4 regular1d(const LutTable& table, Float4 v) {
    const Position pos = locate(table, v);
    const Float4* e = table.entries.data();
    const auto at = [&](int c, int next) { return e[static_cast<std::ptrdiff_t>(pos.i[c]) + next][c]; };
    const Float4 a(at(0, 0), at(1, 0), at(2, 0), 0.f);
    const Float4 b(at(0, 1), at(1, 1), at(2, 1), 0.f);
    return a + Float4::load(pos.w) * (b - a);
}

Float4 regular3d(const LutTable& table, Float4 v) {
    const Position pos = locate(table, v);
    const std::ptrdiff_t n = table.size;
    const Float4* e = table.entries.data() + static_cast<std::ptrdiff_t>(pos.i[0]) +
                      n * static_cast<std::ptrdiff_t>(pos.i[1]) + n * n * static_cast<std::ptrdiff_t>(pos.i[2]);
    const Float4 wr(pos.w[0]), wg(pos.w[1]), wb(pos.w[2]);
    const auto lerp = [](Float4 a, Float4 b, Float4 w) { return a + w * (b - a); };
    const std::ptrdiff_t g = n, b = n * n;
    const Float4 c00 = lerp(e[0], e[1], wr);
    const Float4 c10 = lerp(e[g], e[g + 1], wr);
    const Float4 c01 = lerp(e[b], e[b + 1], wr);
    const Float4 c11 = lerp(e[b + g], e[b + g + 1], wr);
    return lerp(lerp(c00, c10, wg), lerp(c01, c11, wg), wb);
}

// Above the input range the table is continued with the slope of its last 0.2.
template <class Regular>
Float4 extrapolated(const LutTable& table, Float4 v, bool perChannel, Regular regular) {
    const float hi = table.inputMax;
    const Float4 above = v > Float4(hi);
    if ((above.signMask() & 0x7) == 0) return regular(table, v);
    const Float4 c = min(v, Float4(hi));
    const Float4 fc = regular(table, c);
    const Float4 d = v - c;
    if (!perChannel) {
        const Float4 slope = (regular(table, Float4(hi)) - regular(table, Float4(hi - 0.2f))) / Float4(0.2f);
        return max(fc + d * slope, Float4(0.f));
    }
    Float4 sum = fc;
    for (int k = 0; k < 3; ++k) {
        if (!(v[k] > hi)) continue;
        Float4 back = c;
        back = Float4(k == 0 ? hi - 0.2f : back[0], k == 1 ? hi - 0.2f : back[1], k == 2 ? hi - 0.2f : back[2], back[3]);
        const Float4 slope = (fc - regular(table, back)) / Float4(0.2f);
        sum = sum + Float4(d[k]) * slope;
    }
    return max(sum, Float4(0.f));
}

// The path with the file's size and modification time, so that a file rewritten while the
// process runs is read again, and the load parameters that shape the table.
std::string cacheKey(const std::filesystem::path& path, float gamma, unsigned flags) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    const auto time = std::filesystem::last_write_time(path, error).time_since_epoch().count();
    char parameters[96];
    std::snprintf(parameters, sizeof parameters, "|%llu|%lld|%.9g|%u", static_cast<unsigned long long>(size),
                  static_cast<long long>(time), static_cast<double>(gamma), flags & ~Lut::Enabled);
    return path.string() + parameters;
}

}  // namespace

Float4 lookup1d(const LutTable& table, Float4 v) { return extrapolated(table, v, false, regular1d); }
Float4 lookup3d(const LutTable& table, Float4 v) { return extrapolated(table, v, true, regular3d); }

std::string Lut::statusMessage(LutStatus status) {
    switch (status) {
        case LutStatus::Success: return {};
        case LutStatus::CannotOpen: return "File not found or cannot be opened";
        case LutStatus::UnsupportedFormat: return "Unsupported file format (must be either .cube or .3dl)";
        case LutStatus::BadFormat: return "LUT file does not have standard format";
        case LutStatus::ReadError: return "Error occurred while reading the file";
        case LutStatus::TooLarge: return "LUT file is too large, try simplifying it.";
    }
    LUMORA_STOP();
}

const std::string& Lut::title() const {
    static const std::string none;
    return tables_ ? tables_->title : none;
}

LutStatus Lut::load(const std::filesystem::path& path, float opacity, float gamma, unsigned flags) {
    tables_.reset();
    flags_ = flags;
    opacity_ = opacity;
    const std::string key = cacheKey(path, gamma, flags);
    if (auto cached = lutCache().find<LutTables>(key)) {
        tables_ = std::move(cached);
        if (debug::logEnabled()) debug::log("from cache " + path.filename().string());
        return LutStatus::Success;
    }
    if (path.empty()) return LutStatus::CannotOpen;
    const std::string extension = path.extension().string();
    const bool cube = extension == ".cube";
    if (!cube && extension != ".3dl") return LutStatus::UnsupportedFormat;
    std::ifstream in(path, std::ios::binary);
    if (!in || std::filesystem::is_directory(path)) return LutStatus::CannotOpen;

    LutParseResult parsed;
    {
        ScopedDebugTimer timer(cube ? "LUT - parsing CUBE file" : "LUT - parsing 3DL file");
        parsed = cube ? parseCube(in) : parse3dl(in);
    }
    if (parsed.status != LutStatus::Success) return parsed.status;
    auto tables = std::make_shared<const LutTables>(std::move(parsed.tables));
    lutCache().insertAny(key, tables, tables->bytes());
    tables_ = std::move(tables);
    if (debug::logEnabled()) debug::log("Loaded " + path.filename().string());
    return LutStatus::Success;
}

Float4 Lut::apply(Float4 x) const {
    if (!isActive()) return x;
    Float4 v = max(x, Float4(0.f));
    if (flags_ & ConvertToLog) v = log(Float4(kLogA) * v + Float4(kLogB)) / Float4(7.85f);
    const bool sqrtSpace = (flags_ & SqrtSpace) != 0;
    if (sqrtSpace) v = rcp(rsqrt(v));
    if (tables_->lut1d) v = lookup1d(*tables_->lut1d, v);
    if (tables_->lut3d) v = lookup3d(*tables_->lut3d, v);
    if (sqrtSpace) v = v * v;
    // A table grades colours: the fourth lane (alpha in a picture) passes as it came, where the
    // tables' entries, which have no fourth value, would blend it towards 0.
    const Float4 graded = Float4(opacity_) * v + Float4(1.f - opacity_) * x;
    return Float4(graded.x(), graded.y(), graded.z(), x.w());
}

}  // namespace lumora

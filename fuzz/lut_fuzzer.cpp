// The look-up-table readers: any bytes give a status; a table they accept has every entry its
// size declares, all finite, and looks up any value (out of range, infinite, NaN) without
// undefined behaviour (huge entries may extrapolate to infinity, which is not a fault).
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <sstream>
#include <string>

#include "lumora/colormap/lut.hpp"
#include "lumora/colormap/lut_parser.hpp"

using namespace lumora;

namespace {

bool finite(Float4 v) {
    return std::isfinite(v[0]) && std::isfinite(v[1]) && std::isfinite(v[2]) && std::isfinite(v[3]);
}

void check(const LutTable& table, std::size_t entries) {
    if (table.entries.size() != entries) std::abort();
    for (const Float4& entry : table.entries) {
        if (!finite(entry)) std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    // The first byte picks the reader ("3": .3dl, anything else: .cube); the rest is the file.
    std::istringstream in(std::string(reinterpret_cast<const char*>(data) + 1, size - 1));
    const LutParseResult result = data[0] == '3' ? parse3dl(in) : parseCube(in);
    if (result.status != LutStatus::Success) return 0;

    const LutTables& tables = result.tables;
    const float inf = std::numeric_limits<float>::infinity();
    const Float4 probes[] = {Float4(0.f), Float4(1.f), Float4(0.25f, 0.5f, 0.75f, 1.f), Float4(-3.f, 2.f, 1e6f, 0.f),
                             Float4(inf, -inf, std::numeric_limits<float>::quiet_NaN(), 0.5f)};
    volatile float sink = 0.f;
    if (tables.lut1d) {
        check(*tables.lut1d, static_cast<std::size_t>(tables.lut1d->size));
        for (const Float4& p : probes) sink = sink + lookup1d(*tables.lut1d, p)[0];
    }
    if (tables.lut3d) {
        const auto n = static_cast<std::size_t>(tables.lut3d->size);
        check(*tables.lut3d, n * n * n);
        for (const Float4& p : probes) sink = sink + lookup3d(*tables.lut3d, p)[0];
    }
    return 0;
}

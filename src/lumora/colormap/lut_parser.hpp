#pragma once
// Readers of .cube and .3dl look-up-table files into normalised tables.
//
// Entries are stored as (r, g, b, 0) with red varying fastest: index r + N g + N^2 b. Entries
// grow as the file supplies them, so a declared size costs nothing until its entries are there.

#include <filesystem>
#include <istream>
#include <optional>
#include <string>
#include <vector>

#include "lumora/foundation/float4.hpp"

namespace lumora {

enum class LutStatus : int {
    Success = 0,
    CannotOpen = 1,
    UnsupportedFormat = 2,
    BadFormat = 3,
    ReadError = 4,
    TooLarge = 6,
};

// The largest sizes accepted (status 6 beyond): 256 per axis of a 3D table (16.7 million
// entries, 268 MB) and 65536 entries of a 1D table.
inline constexpr int kMaxLut3DSize = 256;
inline constexpr int kMaxLut1DSize = 65536;

struct LutTable {
    int size = 0;                // entries of a 1D table, entries per axis of a 3D one
    std::vector<Float4> entries;
    float inputMin = 0.f;        // the input range that the entries span
    float inputMax = 1.f;
};

struct LutTables {
    std::optional<LutTable> lut1d;
    std::optional<LutTable> lut3d;
    std::string title;

    std::size_t bytes() const;
};

struct LutParseResult {
    LutStatus status = LutStatus::Success;
    LutTables tables;
};

LutParseResult parseCube(std::istream& in);
LutParseResult parse3dl(std::istream& in);

}  // namespace lumora

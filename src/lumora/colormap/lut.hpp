#pragma once
// A look-up-table transform read from a .cube or .3dl file, applied per pixel in the colour
// mapping. Loaded tables are immutable and shared through a process-wide cache of 50 MiB, so
// apply may run on many threads at once.

#include <filesystem>
#include <memory>
#include <string>

#include "lumora/colormap/lut_parser.hpp"
#include "lumora/foundation/float4.hpp"

namespace lumora {

class Lut {
public:
    // Load options. ConvertToLog and SqrtSpace shape apply. ApplyGamma and BuildInverse are
    // accepted and change nothing: the table is looked up on linear values in square-root space
    // (before gamma encoding), so its entries are kept as the file has them, and the editor never
    // applies a table backwards, so no inverse tables are built.
    enum Flags : unsigned {
        Enabled = 1,
        ConvertToLog = 2,
        SqrtSpace = 4,
        ApplyGamma = 8,
        BuildInverse = 16,
    };

    Lut() = default;

    // Loads the table for path, from the cache when it holds it. Anything but Success leaves the
    // transform inactive.
    LutStatus load(const std::filesystem::path& path, float opacity, float gamma, unsigned flags);

    bool isActive() const { return (flags_ & Enabled) != 0 && tables_ != nullptr; }
    const std::string& title() const;

    Float4 apply(Float4 x) const;

    // The message of a load status ("" for success).
    static std::string statusMessage(LutStatus status);

private:
    std::shared_ptr<const LutTables> tables_;
    unsigned flags_ = 0;
    float opacity_ = 1.f;
};

// Table lookups; v lies at or above 0 in every lane.
Float4 lookup1d(const LutTable& table, Float4 v);
Float4 lookup3d(const LutTable& table, Float4 v);

}  // namespace lumora

#pragma once
// How the effects store four-float pixels between their passes: as Float4 or, to halve memory
// traffic, as four half floats. Arithmetic is always on Float4; a pass reads a line into floats,
// works on it and writes it back, so the half form rounds exactly where a value is stored.
//
// Conventions: a storage policy gives float views of a line of pixels. For Float4 storage a view
// is the line itself; otherwise it is the scratch buffer the caller passes, which must hold the
// line's n pixels.

#include <algorithm>
#include <cstdint>

#include "lumora/foundation/float4.hpp"

namespace lumora {

struct Half4 {
    std::uint16_t lanes[4] = {0, 0, 0, 0};
};

// Whether this processor has the half-float conversion instructions (F16C).
bool supportsHalfConversion();

// Conversions of n pixels; call only where supportsHalfConversion() holds. Floats are rounded
// to the nearest half, ties to even.
void halfToFloat(const Half4* in, Float4* out, int n);
void floatToHalf(const Float4* in, Half4* out, int n);

struct FloatPixels {
    using Pixel = Float4;
    // A read-only float view of n pixels.
    static const Float4* view(const Float4* line, Float4*, int) { return line; }
    // A writable float view of n pixels whose changes reach the line through commit().
    static Float4* edit(Float4* line, Float4*, int) { return line; }
    // Where a pass may write n pixels that commit() then stores into the line.
    static Float4* target(Float4* line, Float4*) { return line; }
    static void commit(const Float4* values, Float4* line, int n) {
        if (values != line) std::copy_n(values, n, line);
    }
    // Gives values the precision they would have after a store and a load.
    static void round(Float4*, int) {}
    static Float4 load(const Float4& p) { return p; }
};

struct HalfPixels {
    using Pixel = Half4;
    static const Float4* view(const Half4* line, Float4* scratch, int n) {
        halfToFloat(line, scratch, n);
        return scratch;
    }
    static Float4* edit(Half4* line, Float4* scratch, int n) {
        halfToFloat(line, scratch, n);
        return scratch;
    }
    static Float4* target(Half4*, Float4* scratch) { return scratch; }
    static void commit(const Float4* values, Half4* line, int n) { floatToHalf(values, line, n); }
    static void round(Float4* values, int n);
    static Float4 load(const Half4& p) {
        Float4 f;
        halfToFloat(&p, &f, 1);
        return f;
    }
};

}  // namespace lumora

#pragma once
// The window loop shared by the windowed filters (NlmFilter, NlmVectorFilter, NlmTriFilter).
//
// Evaluating each pixel's patch distance on its own costs a full patch per window offset. For one
// offset (dx, dy), though, the distance of position o between p and q = p + (dx, dy) is the same
// number for every pixel whose patch covers o. So the filters work on tiles: per offset, d(o) is
// computed once for every position the tile's patches cover and summed over the patch, rows first,
// then columns, giving every pixel's distance D for every offset. Then each pixel runs through its
// offsets in order with its sums in registers.
//
// The patch sums add their n taps directly. A running sum (add the entering tap, take off the
// leaving one) would be cheaper for wide patches, but d(o) spans many orders of magnitude where a
// firefly sits, and the rounding left behind by subtracting a huge tap would leak into the
// distances of the next pixels. Direct sums keep each pixel's D the same whatever the tile, band
// or thread that computes it.
//
// Positions outside the image, or whose partner is outside, contribute nothing: this is the
// patch clipped to the image, so border pixels need no separate code. Window offsets whose
// neighbour lies outside the image are skipped.

#include <algorithm>
#include <cstddef>
#include <span>
#include <vector>

#include "lumora/denoise/batch_filter.hpp"
#include "lumora/denoise/nlm_weight.hpp"
#include "lumora/foundation/float4.hpp"

namespace lumora::nlm {

// Half-open rectangle of pixels.
struct Tile {
    int x0, x1, y0, y1;
    int width() const { return x1 - x0; }
    int height() const { return y1 - y0; }
    int area() const { return width() * height(); }
};

// Tile size of a window: its distances, and its feature exponents where there are features
// (Window² floats a pixel each), take about 256 KiB each, so that they stay in the second-level
// cache between being written and being read.
template <int Window>
struct TileShape {
    static constexpr int width = 32;
    static constexpr int rows = std::clamp(65536 / (Window * Window * width), 4, 32);
};

// The images whose patches are compared.
struct PatchSource {
    const Float4* colour;
    const Float4* variance;
    int width;
    int height;
    ColourTerms terms;
};

// Scratch memory of one task, reused from tile to tile.
struct WindowScratch {
    std::vector<Float4> positions;  // d(o) over the tile grown by the patch radius
    std::vector<Float4> rowSums;    // patch rows summed, tile width x grown height
    std::vector<float> distances;   // D of offset i for tile pixel j at i * area + j
    std::vector<float> exponents;   // the feature exponent M, laid out as the distances
};

// Number of the window offset (dx, dy): (dy + r) * Window + dx + r, r the window radius.
template <int Window>
constexpr std::size_t offsetIndex(int dx, int dy) {
    return std::size_t((dy + Window / 2) * Window + dx + Window / 2);
}

// Window offsets of a pixel whose neighbour lies inside the image, inclusive.
struct OffsetRange {
    int dx0, dx1, dy0, dy1;

    static OffsetRange of(int radius, int x, int y, int width, int height) {
        return {std::max(-radius, -x), std::min(radius, width - 1 - x), std::max(-radius, -y),
                std::min(radius, height - 1 - y)};
    }
};

// Computes D for every pixel of the tile and every window offset whose neighbour is inside the
// image (offsets numbered (dy + r) * Window + dx + r, r the window radius); the others are left
// undefined. Returns the distances, laid out as in WindowScratch::distances.
template <int Window, int Patch>
const float* tileDistances(const PatchSource& src, const Tile& tile, WindowScratch& scratch) {
    constexpr int wr = Window / 2;
    constexpr int pr = Patch / 2;
    const int tw = tile.width();
    const int th = tile.height();
    const int gw = tw + 2 * pr;  // grown tile
    const int gh = th + 2 * pr;
    const std::size_t area = std::size_t(tile.area());
    scratch.positions.resize(std::size_t(gw) * std::size_t(gh));
    scratch.rowSums.resize(std::size_t(tw) * std::size_t(gh));
    scratch.distances.resize(area * Window * Window);
    const std::ptrdiff_t stride = src.width;
    const Float4 zero(0.f);

    for (int dy = -wr; dy <= wr; ++dy) {
        for (int dx = -wr; dx <= wr; ++dx) {
            const std::ptrdiff_t shift = dy * stride + dx;
            // d(o) for positions (x, y) of the grown tile, paired with (x + dx, y + dy).
            for (int j = 0; j < gh; ++j) {
                const int y = tile.y0 - pr + j;
                Float4* out = scratch.positions.data() + std::ptrdiff_t(j) * gw;
                const int xs = tile.x0 - pr;
                if (y < 0 || y >= src.height || y + dy < 0 || y + dy >= src.height) {
                    std::fill(out, out + gw, zero);
                    continue;
                }
                const int lo = std::clamp(std::max(0, -dx), xs, xs + gw);
                const int hi = std::clamp(std::min(src.width, src.width - dx), lo, xs + gw);
                std::fill(out, out + (lo - xs), zero);
                const std::ptrdiff_t rowStart = std::ptrdiff_t(y) * stride;
                for (int x = lo; x < hi; ++x) {
                    const std::ptrdiff_t p = rowStart + x;
                    out[x - xs] = positionDistance(src.colour[p], src.colour[p + shift], src.variance[p],
                                                   src.variance[p + shift], src.terms);
                }
                std::fill(out + (hi - xs), out + gw, zero);
            }
            for (int j = 0; j < gh; ++j) {
                const Float4* in = scratch.positions.data() + std::ptrdiff_t(j) * gw;
                Float4* out = scratch.rowSums.data() + std::ptrdiff_t(j) * tw;
                for (int i = 0; i < tw; ++i) {
                    Float4 sum = in[i];
                    for (int k = 1; k < Patch; ++k) sum += in[i + k];
                    out[i] = sum;
                }
            }
            float* distance = scratch.distances.data() + offsetIndex<Window>(dx, dy) * area;
            for (int j = 0; j < th; ++j) {
                const int y = tile.y0 + j;
                if (y + dy < 0 || y + dy >= src.height) continue;
                const int lo = std::max(tile.x0, -dx) - tile.x0;
                const int hi = std::min(tile.x1, src.width - dx) - tile.x0;
                const Float4* column = scratch.rowSums.data() + std::ptrdiff_t(j) * tw;
                float* row = distance + std::ptrdiff_t(j) * tw;
                for (int i = lo; i < hi; ++i) {
                    Float4 sum = column[i];
                    for (int k = 1; k < Patch; ++k) sum += column[std::ptrdiff_t(k) * tw + i];
                    row[i] = (sum * patchFactor<Patch>()).luminance();
                }
            }
        }
    }
    return scratch.distances.data();
}

// Computes the feature exponent M (featureExponent) for every pixel of the tile and every window
// offset whose neighbour is inside the image, floorScale[i] scaling the floors at offset i. Offset
// by offset, like the distances, so that both pixels of every pair run along rows. Returns the
// exponents, laid out as the distances.
template <int Window>
const float* tileFeatureExponents(std::span<const NlmFeature> features, const float* floorScale, int width,
                                  int height, const Tile& tile, WindowScratch& scratch) {
    constexpr int wr = Window / 2;
    const std::size_t area = std::size_t(tile.area());
    scratch.exponents.resize(area * Window * Window);
    for (int dy = -wr; dy <= wr; ++dy) {
        for (int dx = -wr; dx <= wr; ++dx) {
            const std::size_t o = offsetIndex<Window>(dx, dy);
            const std::ptrdiff_t shift = std::ptrdiff_t(dy) * width + dx;
            const int lo = std::max(tile.x0, -dx);
            const int hi = std::min(tile.x1, width - dx);
            for (int y = std::max(tile.y0, -dy); y < std::min(tile.y1, height - dy); ++y) {
                float* out = scratch.exponents.data() + o * area + std::size_t((y - tile.y0) * tile.width() - tile.x0);
                const std::ptrdiff_t row = std::ptrdiff_t(y) * width;
                for (int x = lo; x < hi; ++x) out[x] = featureExponent(features, row + x, row + x + shift, floorScale[o]);
            }
        }
    }
    return scratch.exponents.data();
}

// Calls body(tile, scratch) for every tile of the image, tiles of TileShape<Window>, in bands of
// tile rows run in parallel by batch (progress and cancellation per band). Returns false when
// cancelled.
template <int Window, class Body>
bool forEachTile(BatchFilter& batch, int width, int height, Body&& body) {
    using Shape = TileShape<Window>;
    return batch.runBands(height, Shape::rows, [&](int y0, int y1) {
        WindowScratch scratch;
        for (int x0 = 0; x0 < width; x0 += Shape::width) {
            body(Tile{x0, std::min(width, x0 + Shape::width), y0, y1}, scratch);
        }
    });
}

// Calls body(dx, dy, D) for the offsets of range in window order (dy outer, dx inner, both
// ascending), D being the distance of the tile pixel `local` from tileDistances.
template <int Window, class Body>
inline void forEachOffset(const float* distances, std::size_t area, int local, const OffsetRange& range, Body&& body) {
    for (int dy = range.dy0; dy <= range.dy1; ++dy) {
        const float* row = distances + offsetIndex<Window>(0, dy) * area + std::size_t(local);
        for (int dx = range.dx0; dx <= range.dx1; ++dx) body(dx, dy, row[std::ptrdiff_t(dx) * std::ptrdiff_t(area)]);
    }
}

}  // namespace lumora::nlm

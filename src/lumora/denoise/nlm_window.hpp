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
// undefined. Returns the distances, laid out as in WindowScratch::distances. Forms: (7, 3), (11, 5),
// (13, 7), (17, 3).
template <int Window, int Patch>
const float* tileDistances(const PatchSource& src, const Tile& tile, WindowScratch& scratch);

// The per-pixel kernels exist in a plain form and, where the CPU has AVX2, in a form that handles
// two pixels at once; both give the same bits. Whether the two-pixel form runs: on where the CPU
// has it, unless switched off (tests compare the two).
bool wideKernels();
void setWideKernels(bool on);

// The feature exponents M (featureExponent) of the pixels row + x0 .. row + x1 - 1, each paired
// with the pixel `shift` further on, floors scaled by floorScale, to out[x0] .. out[x1 - 1].
void featureExponentRow(std::span<const NlmFeature> features, float floorScale, std::ptrdiff_t row,
                        std::ptrdiff_t shift, int x0, int x1, float* out);

// What the three-candidate filter (NlmTriFilter) works on in one tile.
struct TriTile {
    const Float4* colour;
    const Float4* variance;
    int width, height;
    Tile tile;
    const float* distances;  // of tileDistances
    const float* exponents;  // of tileFeatureExponents
    std::size_t area;        // of the tile
    Float4 strengths;        // of the candidates, lane 3 zero
    Float4 epsilon;
    float h;
    Float4* value[3];  // the outputs, whole images
    Float4* divergence[3];
    float* weightSum;
};

// The three-candidate filter of the tile's part of row y.
template <int Window, int Patch>
void triRow(const TriTile& t, int y);

// What the weighted means of NlmFilter and NlmVectorFilter work on in one tile.
struct MeansTile {
    const Float4* colour;  // the weights' colour and variance, for the candidate test
    const Float4* variance;
    const Float4* values;  // the image filtered
    int width, height;
    Tile tile;
    const float* distances;  // of tileDistances
    const float* exponents;  // of tileFeatureExponents, or none without features
    std::size_t area;        // of the tile
    float h;
    bool candidatesOnly;  // pixels that are not candidates keep their value
    Float4* out;          // whole image
};

// The weighted means of as many pixels of row y from x on as one group of the kernel
// takes (8 or 4, within the tile; the windows of pixels x .. x + 7 must lie inside the image
// across, or of x .. x + 3 when fewer than eight remain); returns how many. Forms: 7, 11.
template <int Window>
int meansGroup(const MeansTile& t, int x, int y);

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
                featureExponentRow(features, floorScale[o], std::ptrdiff_t(y) * width, shift, lo, hi, out);
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

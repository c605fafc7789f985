#pragma once
// The window loop shared by the windowed filters (NlmFilter, NlmVectorFilter, NlmTriFilter).
//
// Evaluating each pixel's patch distance on its own costs a full patch per window offset. For one
// offset (dx, dy), though, the distance of position o between p and q = p + (dx, dy) is the same
// number for every pixel whose patch covers o. So the loop works on tiles: per offset it computes
// d(o) once for every position the tile's patches cover, sums the rows of the patch and then its
// columns (each sum in the same order for every pixel, so the result never depends on how the
// image was cut into tiles or bands), and hands each pixel its distance D.
//
// Positions outside the image, or whose partner is outside, contribute nothing: this is the
// patch clipped to the image, so border pixels need no separate code. Window offsets whose
// neighbour lies outside the image are skipped.

#include <algorithm>
#include <cstddef>
#include <vector>

#include "lumora/denoise/nlm_weight.hpp"
#include "lumora/foundation/float4.hpp"

namespace lumora::nlm {

// Columns per tile: with the rows of a band, a tile's scratch and accumulators stay in the cache.
inline constexpr int kTileWidth = 64;
inline constexpr int kBandRows = 32;

// Half-open rectangle of pixels.
struct Tile {
    int x0, x1, y0, y1;
    int width() const { return x1 - x0; }
    int height() const { return y1 - y0; }
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
    std::vector<float> distances;   // D of one row of the tile
};

// For every offset of the Window x Window window (dy outer, dx inner, both ascending) and every
// row y of the tile: calls rowBody(y, lo, hi, dx, dy, D) where [lo, hi) are the pixels of the row
// whose neighbour is inside the image and D[x - tile.x0] is the distance of pixel x.
template <int Window, int Patch, class RowBody>
void forEachOffsetRow(const PatchSource& src, const Tile& tile, WindowScratch& scratch, RowBody&& rowBody) {
    constexpr int wr = Window / 2;
    constexpr int pr = Patch / 2;
    const int tw = tile.width();
    const int th = tile.height();
    const int gw = tw + 2 * pr;  // grown tile
    const int gh = th + 2 * pr;
    scratch.positions.resize(std::size_t(gw) * std::size_t(gh));
    scratch.rowSums.resize(std::size_t(tw) * std::size_t(gh));
    scratch.distances.resize(std::size_t(tw));
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
            for (int j = 0; j < th; ++j) {
                const int y = tile.y0 + j;
                if (y + dy < 0 || y + dy >= src.height) continue;
                const int lo = std::max(tile.x0, -dx);
                const int hi = std::min(tile.x1, src.width - dx);
                const Float4* column = scratch.rowSums.data() + std::ptrdiff_t(j) * tw;
                float* distance = scratch.distances.data();
                for (int x = lo; x < hi; ++x) {
                    const int i = x - tile.x0;
                    Float4 sum = column[i];
                    for (int k = 1; k < Patch; ++k) sum += column[std::ptrdiff_t(k) * tw + i];
                    distance[i] = (sum * patchFactor<Patch>()).luminance();
                }
                rowBody(y, lo, hi, dx, dy, static_cast<const float*>(distance));
            }
        }
    }
}

// Calls body(x, y, local, dx, dy, D) for every pixel (x, y) of the tile and every offset of the
// window whose neighbour is inside the image, in the order of forEachOffsetRow;
// local = (y - tile.y0) * tile.width() + (x - tile.x0).
template <int Window, int Patch, class Body>
void forEachOffset(const PatchSource& src, const Tile& tile, WindowScratch& scratch, Body&& body) {
    const int tw = tile.width();
    forEachOffsetRow<Window, Patch>(src, tile, scratch, [&](int y, int lo, int hi, int dx, int dy, const float* d) {
        const int rowLocal = (y - tile.y0) * tw - tile.x0;
        for (int x = lo; x < hi; ++x) body(x, y, rowLocal + x, dx, dy, d[x - tile.x0]);
    });
}

}  // namespace lumora::nlm

// Copies of a region of the channels as bitmaps, optionally scaled: shrinking takes every
// q-th pixel (no averaging, the previews must stay cheap), enlarging replicates each pixel.

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "lumora/foundation/region_sampling.hpp"
#include "lumora/image/channel_image.hpp"

namespace lumora {
namespace {

bool covers(const Channel<float>* channel, const Bucket& region) {
    return channel && region.min.x >= 0 && region.min.y >= 0 && region.max.x <= channel->width &&
           region.max.y <= channel->height &&
           channel->data.size() == static_cast<std::size_t>(channel->width) * static_cast<std::size_t>(channel->height);
}

// read(x, y) returns the pixel at channel coordinates; every coordinate it gets lies in region.
template <class T, class Read>
Bitmap<T> sampleRegion(const Bucket& region, float scale, Read read) {
    if (region.isEmpty()) {
        return {};
    }
    const int rw = region.width();
    const int rh = region.height();
    const auto outWidth = sampledExtent(rw, scale, SampledExtent::RoundUp);
    const auto outHeight = sampledExtent(rh, scale, SampledExtent::RoundUp);
    if (!outWidth || !outHeight) {
        return {};
    }
    Bitmap<T> out(*outWidth, *outHeight);

    if (scale == 1.f) {
        for (int y = 0; y < rh; ++y) {
            T* row = out.row(y);
            for (int x = 0; x < rw; ++x) {
                row[x] = read(region.min.x + x, region.min.y + y);
            }
        }
    } else if (scale > 1.f) {
        for (int y = 0; y < out.height(); ++y) {
            const int sy = sampledSource(y, scale, rh);
            T* row = out.row(y);
            for (int x = 0; x < out.width(); ++x) {
                const int sx = sampledSource(x, scale, rw);
                row[x] = read(region.min.x + sx, region.min.y + sy);
            }
        }
    } else {
        // When 1 / q is not an integer the blocks of round(1 / q) pixels do not tile the output
        // exactly: blocks are cut at its edge, and output pixels that no block reaches stay zero.
        const auto n = static_cast<long long>(std::lround(1.f / scale));
        for (long long py = 0; py < rh; ++py) {
            const long long y0 = py * n;
            const long long y1 = std::min<long long>(y0 + n, out.height());
            for (long long px = 0; px < rw; ++px) {
                const long long x0 = px * n;
                const long long x1 = std::min<long long>(x0 + n, out.width());
                if (x0 >= x1 || y0 >= y1) {
                    continue;
                }
                const T value = read(region.min.x + static_cast<int>(px), region.min.y + static_cast<int>(py));
                for (long long y = y0; y < y1; ++y) {
                    std::fill(out.row(static_cast<int>(y)) + x0, out.row(static_cast<int>(y)) + x1, value);
                }
            }
        }
    }
    return out;
}

}  // namespace

Bitmap<float> ChannelImage::extractMonoBitmap(std::string_view channel, const Bucket& region, float scale) const {
    const auto* source = getChannel<float>(channel);
    if (!covers(source, region)) {
        return {};
    }
    return sampleRegion<float>(region, scale, [source](int x, int y) { return source->at(x, y); });
}

Bitmap<Rgb> ChannelImage::extractRgbBitmap(std::string_view element, const Bucket& region, float scale) const {
    const std::array<const Channel<float>*, 3> c{getChannel<float>(channelName(element, names::R)),
                                                 getChannel<float>(channelName(element, names::G)),
                                                 getChannel<float>(channelName(element, names::B))};
    if (!std::all_of(c.begin(), c.end(), [&](const Channel<float>* ch) { return covers(ch, region); })) {
        return {};
    }
    return sampleRegion<Rgb>(region, scale,
                             [&c](int x, int y) { return Rgb{c[0]->at(x, y), c[1]->at(x, y), c[2]->at(x, y)}; });
}

Bitmap<Float4> ChannelImage::extractRgbaBitmap(std::string_view element, const Bucket& region, float scale) const {
    const std::array<const Channel<float>*, 4> c{
        getChannel<float>(channelName(element, names::R)), getChannel<float>(channelName(element, names::G)),
        getChannel<float>(channelName(element, names::B)), getChannel<float>(channelName(element, names::A))};
    if (!std::all_of(c.begin(), c.end(), [&](const Channel<float>* ch) { return covers(ch, region); })) {
        return {};
    }
    return sampleRegion<Float4>(region, scale, [&c](int x, int y) {
        return Float4(c[0]->at(x, y), c[1]->at(x, y), c[2]->at(x, y), c[3]->at(x, y));
    });
}

}  // namespace lumora

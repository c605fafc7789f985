#include "lumora/denoise/batch_filter.hpp"

#include <algorithm>
#include <atomic>

#include "lumora/foundation/exception.hpp"
#include "lumora/foundation/scheduler.hpp"

namespace lumora {

bool BatchFilter::run(NlmFilterBase& filter, const Float4* image, Float4* out) {
    const int width = filter.width();
    const int height = filter.height();
    const int radius = filter.supportRadius();
    filter.prepare();

    std::atomic<int> rowsDone{0};
    const auto filterRow = [&](int y) {
        Float4* row = out + std::ptrdiff_t(y) * width;
        if (y < radius || y >= height - radius) {
            for (int x = 0; x < width; ++x) filter.filterBorder(row[x], image, x, y);
            return;
        }
        const int left = std::min(radius, width);
        const int right = std::max(left, width - radius);
        for (int x = 0; x < left; ++x) filter.filterBorder(row[x], image, x, y);
        for (int x = left; x < right; ++x) filter.filterInterior(row[x], image, x, y);
        for (int x = right; x < width; ++x) filter.filterBorder(row[x], image, x, y);
    };

    const float rowFraction = height > 0 ? 1.f / float(height) : 0.f;
    scheduler::parallelFor(0, height, 1, [&](std::int64_t begin, std::int64_t end) {
        for (std::int64_t y = begin; y < end; ++y) {
            if (context_.report(float(rowsDone.load(std::memory_order_relaxed)) * rowFraction)) return;
            filterRow(int(y));
            rowsDone.fetch_add(1, std::memory_order_relaxed);
        }
    });
    return !context_.cancelled();
}

std::optional<Bitmap<Float4>> BatchFilter::run(NlmFilterBase& filter, const Bitmap<Float4>& image) {
    LUMORA_ASSERT(image.width() == filter.width() && image.height() == filter.height());
    Bitmap<Float4> out(image.width(), image.height());
    if (!run(filter, image.data(), out.data())) return std::nullopt;
    return out;
}

bool BatchFilter::runBands(int height, int rows, const std::function<void(int, int)>& body) {
    LUMORA_ASSERT(rows > 0);
    const int bands = height > 0 ? (height + rows - 1) / rows : 0;
    std::atomic<int> rowsDone{0};
    const float rowFraction = height > 0 ? 1.f / float(height) : 0.f;
    scheduler::parallelFor(0, bands, 1, [&](std::int64_t begin, std::int64_t end) {
        for (std::int64_t band = begin; band < end; ++band) {
            if (context_.report(float(rowsDone.load(std::memory_order_relaxed)) * rowFraction)) return;
            const int y0 = int(band) * rows;
            const int y1 = std::min(height, y0 + rows);
            body(y0, y1);
            rowsDone.fetch_add(y1 - y0, std::memory_order_relaxed);
        }
    });
    return !context_.cancelled();
}

}  // namespace lumora

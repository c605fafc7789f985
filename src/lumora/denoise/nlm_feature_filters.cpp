#include "lumora/denoise/nlm_feature_filters.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "lumora/denoise/nlm_filter.hpp"
#include "lumora/denoise/nlm_pyramid.hpp"
#include "lumora/denoise/sample_variance.hpp"
#include "lumora/foundation/debug_log.hpp"
#include "lumora/foundation/exception.hpp"
#include "lumora/foundation/scheduler.hpp"

namespace lumora {

namespace {

constexpr std::int64_t kRowsPerTask = 20;

void clearFourthLane(Bitmap<Float4>& image) {
    const int width = image.width();
    scheduler::parallelFor(0, image.height(), kRowsPerTask, [&](std::int64_t begin, std::int64_t end) {
        for (std::int64_t y = begin; y < end; ++y) {
            Float4* row = image.row(int(y));
            // Set, not multiplied by 0: an infinite or NaN fourth lane becomes 0 too.
            for (int x = 0; x < width; ++x) row[x] = Float4(row[x].x(), row[x].y(), row[x].z(), 0.f);
        }
    });
}

// Maps every lane to [0, 1] over the image; a constant lane becomes 0.
void normalise(Bitmap<Float4>& image) {
    if (image.empty()) return;
    Float4 lo(std::numeric_limits<float>::infinity());
    Float4 hi(-std::numeric_limits<float>::infinity());
    for (std::size_t i = 0; i < image.size(); ++i) {
        lo = min(lo, image.data()[i]);
        hi = max(hi, image.data()[i]);
    }
    float factor[4];
    for (int lane = 0; lane < 4; ++lane) {
        factor[lane] = hi[lane] == lo[lane] ? 0.f : 1.f / (hi[lane] - lo[lane]);
    }
    const Float4 scale(factor[0], factor[1], factor[2], factor[3]);
    const int width = image.width();
    scheduler::parallelFor(0, image.height(), kRowsPerTask, [&](std::int64_t begin, std::int64_t end) {
        for (std::int64_t y = begin; y < end; ++y) {
            Float4* row = image.row(int(y));
            for (int x = 0; x < width; ++x) row[x] = (row[x] - lo) * scale;
        }
    });
}

bool allZero(const Bitmap<Float4>& image) {
    for (std::size_t i = 0; i < image.size(); ++i) {
        if (!(image.data()[i] == Float4(0.f)).all()) return false;
    }
    return true;
}

bool hasNoNaN(const Bitmap<Float4>& image) {
    for (std::size_t i = 0; i < image.size(); ++i) {
        if (!(image.data()[i] == image.data()[i]).all()) return false;
    }
    return true;
}

bool isFinite(Float4 v) {
    return std::isfinite(v.x()) && std::isfinite(v.y()) && std::isfinite(v.z()) && std::isfinite(v.w());
}

}  // namespace

FeatureDescriptor NlmFeatureFilters::rescaled(const FeatureDescriptor& descriptor, float sensitivity) {
    FeatureDescriptor d = descriptor;
    // bandwidth holds 1 / width²; the width grows by the sensitivity.
    d.bandwidth = inverseSquare(getFeatureWidth(descriptor.type) * Float4(sensitivity));
    d.scale = descriptor.scale * Float4(sensitivity);
    return d;
}

bool NlmFeatureFilters::add(BatchFilter& batch, Bitmap<Float4> mean, Bitmap<Float4> squares,
                            const Bitmap<float>& passes, const FeatureDescriptor& descriptor) {
    NlmFeatureFilter f{std::move(mean), {}, {}, descriptor};
    if (squares.empty() || passes.width() != f.mean.width() || passes.height() != f.mean.height()) {
        f.variance = Bitmap<Float4>(f.mean.width(), f.mean.height());
    } else {
        f.variance = std::move(squares);
        computeSampleVariance(f.mean, f.variance, passes);
    }
    LUMORA_ASSERT(f.variance.width() == f.mean.width() && f.variance.height() == f.mean.height());

    if (descriptor.has(FeatureFlag::ClearFourthLane)) {
        clearFourthLane(f.mean);
        clearFourthLane(f.variance);
    }
    normalise(f.mean);
    debug::log(" - prefiltering");
    if (descriptor.has(FeatureFlag::Prefilter)) {
        // The feature is smoothed by its own patches: the cancellation factor takes off the
        // noise, the floor keeps noise-free features from dividing by zero.
        const NlmWindowParams params{{descriptor.scale, descriptor.floor}, nullptr, 1.f, 1.f};
        auto smoothed = NlmVectorFilter<11, 5>(f.mean, f.variance, params).run(batch, f.mean);
        if (!smoothed) return false;
        f.mean = std::move(*smoothed);
    }
    debug::log(" - computing gradient");
    auto gradient = squaredGradient(batch, f.mean);
    if (!gradient) return false;
    f.gradient = std::move(*gradient);
    f.gradientDefined = hasNoNaN(f.gradient);
    f.zero = allZero(f.mean) && allZero(f.variance);
    filters_.push_back(std::move(f));
    refreshViews();
    return true;
}

void NlmFeatureFilters::setActive(FeatureType type, bool active) {
    for (NlmFeatureFilter& f : filters_) {
        if (f.descriptor.type != type) continue;
        const auto bit = static_cast<std::uint32_t>(FeatureFlag::Active);
        f.descriptor.flags = active ? (f.descriptor.flags | bit) : (f.descriptor.flags & ~bit);
    }
    refreshViews();
}

void NlmFeatureFilters::setAllActive() {
    for (NlmFeatureFilter& f : filters_) f.descriptor.flags |= static_cast<std::uint32_t>(FeatureFlag::Active);
    refreshViews();
}

std::optional<NlmFeatureFilters> NlmFeatureFilters::halved(BatchFilter& batch) const {
    NlmFeatureFilters out;
    for (const NlmFeatureFilter& f : filters_) {
        NlmFeatureFilter h{downscaleImage(f.mean, kGaussianSigmaOne), downscaleVariance(f.variance, kGaussianSigmaOne),
                           {}, f.descriptor};
        auto gradient = squaredGradient(batch, h.mean);
        if (!gradient) return std::nullopt;
        h.gradient = std::move(*gradient);
        h.gradientDefined = hasNoNaN(h.gradient);
        h.zero = f.zero;  // the reduction of zeros is zero
        out.filters_.push_back(std::move(h));
    }
    out.refreshViews();
    return out;
}

void NlmFeatureFilters::refreshViews() {
    views_.clear();
    for (const NlmFeatureFilter& f : filters_) {
        NlmFeature v{f.mean.data(), f.variance.data(), f.gradient.data(), f.descriptor.bandwidth,
                     f.descriptor.floor, f.descriptor.scale, f.descriptor.flags};
        v.zero = f.zero && isFinite(f.descriptor.bandwidth);
        v.positiveNormaliser = f.gradientDefined && (f.descriptor.floor > Float4(0.f)).all();
        v.zeroLane = v.positiveNormaliser && f.descriptor.has(FeatureFlag::ClearFourthLane) &&
                     std::isfinite(f.descriptor.bandwidth.w()) && std::isfinite(f.descriptor.scale.w());
        views_.push_back(v);
    }
}

}  // namespace lumora

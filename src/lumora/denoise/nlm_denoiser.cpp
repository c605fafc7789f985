#include "lumora/denoise/nlm_denoiser.hpp"

#include <string>

#include "lumora/foundation/debug_timer.hpp"
#include "lumora/denoise/nlm_filter.hpp"
#include "lumora/denoise/nlm_outlier_removal.hpp"
#include "lumora/denoise/nlm_pyramid.hpp"
#include "lumora/denoise/nlm_sure_filter.hpp"
#include "lumora/denoise/nlm_tri_filter.hpp"
#include "lumora/denoise/sample_variance.hpp"
#include "lumora/foundation/debug_log.hpp"
#include "lumora/foundation/exception.hpp"
#include "lumora/foundation/scheduler.hpp"

namespace lumora {

namespace {

constexpr float kOutlierDistanceScale = 2.0408163f;  // 1 / 0.49
constexpr float kOutlierFactor = 5.f;
constexpr float kCandidateWidths[3] = {0.4f, 0.7f, 1.5f};
// Feature floor factor of the tri-filter at levels 1 and 2: the coarse level leans on colour.
constexpr float kLevelFeatureScale[2] = {100.f, 1.f};
constexpr float kSureEpsilon = 0.000001f;

void log(const std::string& line) {
    if (debug::logEnabled()) debug::log(line);
}

bool ignoresNormals(const ElementId& element) {
    return element.tag == ElementId::Tag::RenderElementType &&
           (element.value == static_cast<std::int32_t>(RenderElementType::RawComponent) ||
            element.value == static_cast<std::int32_t>(RenderElementType::Texmap));
}

// The variance left in a filtered image: divided by the weight sum, and no lane below the
// luminance of the result (1e-6 where that is 0).
void residualVariance(Bitmap<Float4>& variance, const Bitmap<float>& weightSum) {
    const int width = variance.width();
    scheduler::parallelFor(0, variance.height(), 16, [&](std::int64_t begin, std::int64_t end) {
        for (std::int64_t y = begin; y < end; ++y) {
            Float4* v = variance.row(int(y));
            const float* w = weightSum.row(int(y));
            for (int x = 0; x < width; ++x) {
                const Float4 r = v[x] / Float4(w[x] + 0.000001f);
                const float lum = r.luminance();
                v[x] = max(r, Float4(lum == 0.f ? 0.000001f : lum));
            }
        }
    });
}

// Progress ranges of the passes, as shares of the element's work, measured on full-HD renders.
struct Span {
    float begin, end;
    float at(float f) const { return begin + (end - begin) * f; }
};

}  // namespace

// One level of the pyramid: its number (2 the finest), mean variance, scale and progress range.
struct NlmDenoiser::Level {
    int number;
    Float4 meanVariance;
    float scale;
    Span progress;
};

NlmDenoiser::NlmDenoiser(DenoisingData& data)
    : DenoiserBase(data), sensitivity_(data.sensitivity), textureBlur_(data.textureBlur) {
    BatchFilter batch(context());
    for (FeatureRecord& record : records()) {
        const FeatureDescriptor descriptor = NlmFeatureFilters::rescaled(record.descriptor, sensitivity_);
        log(std::string("Creating feature ") + descriptor.name);
        context().setRange(0.f, 1.f / 60.f);
        if (!features_.add(batch, std::move(record.mean), std::move(record.squares), passes(), descriptor)) break;
    }
}

std::optional<Bitmap<Float4>> NlmDenoiser::denoise(Bitmap<Float4> image, Bitmap<Float4> squares, ElementId element,
                                                   DenoiseProgress progress) {
    ProgressScope scope(context(), std::move(progress));
    features_.setAllActive();
    if (ignoresNormals(element)) features_.setActive(FeatureType::VisibleNormals, false);

    log("Filtering with ONE BUFFER");
    ScopedDebugTimer timer("Function call: Lumora::NlmDenoiser::filter");
    Bitmap<Float4> colour = std::move(image);
    Bitmap<Float4> variance = std::move(squares);
    LUMORA_ASSERT(variance.width() == colour.width() && variance.height() == colour.height());
    if (colour.empty()) return Bitmap<Float4>(colour.width(), colour.height());
    for (const NlmFeatureFilter& f : features_.filters()) {
        LUMORA_ASSERT(f.mean.width() == colour.width() && f.mean.height() == colour.height());
    }

    const Float4 meanVariance = computeSampleVariance(colour, variance, passes());
    return filterLevel(Level{2, meanVariance, 1.f, {0.f, 1.f}}, std::move(colour), std::move(variance), features_);
}

std::optional<Bitmap<Float4>> NlmDenoiser::filterLevel(const Level& level, Bitmap<Float4> colour,
                                                       Bitmap<Float4> variance, const NlmFeatureFilters& features) {
    BatchFilter batch(context());
    const bool finest = level.number > 1;
    const int width = colour.width();
    const int height = colour.height();
    const bool coarser = finest && width / 2 > 0 && height / 2 > 0;
    // Shares of the level's progress: outliers, tri-filter, SURE (twice), selection, second pass,
    // halving, the coarser level, merging.
    const Span& span = level.progress;
    const auto pass = [&](float begin, float end) { context().setRange(span.at(begin), span.at(end)); };

    log("Smoothing sample variance");
    convolveSeparable(variance, kGaussianSigma075);

    if (finest) {
        log("Removing outliers");
        pass(0.f, 0.03f);
        const FeatureType hair = FeatureType::HairIds;
        const Bitmap<Float4>* mask = nullptr;
        for (const NlmFeatureFilter& f : features.filters()) {
            if (f.descriptor.type == hair) mask = &f.mean;
        }
        NlmParams params;
        params.k = 1.f;
        params.epsilon = 0.01f * level.meanVariance.luminance();
        params.featureScale = 1.f;
        params.h = kOutlierDistanceScale;
        NlmOutlierRemoval outliers(colour, variance, params, kOutlierFactor, false, mask);
        auto cleaned = batch.run(outliers, colour);
        if (!cleaned) return std::nullopt;
        colour = std::move(*cleaned);
    }

    if (debug::logEnabled()) debug::log("FILTERING LEVEL " + std::to_string(level.number));
    float strength[3];
    for (int i = 0; i < 3; ++i) {
        const float w = kCandidateWidths[i] * level.scale;
        strength[i] = 1.f / (w * w);
    }
    const Float4 strengths(strength[0], strength[1], strength[2], 0.f);
    const NlmWindowParams triParams =
        NlmWindowParams::of(2.f, 0.f, 1.f, &features, kLevelFeatureScale[finest ? 1 : 0]);
    pass(finest ? 0.03f : 0.f, finest ? 0.45f : 0.8f);
    std::optional<TriCandidates> candidates =
        finest ? NlmTriFilter<13, 7>(colour, variance, triParams, strengths).run(batch)
               : NlmTriFilter<17, 3>(colour, variance, triParams, strengths).run(batch);
    if (!candidates) return std::nullopt;

    // Pick a candidate per pixel by its estimated error, the estimates and the choice smoothed by
    // weights from the noisy colour.
    const NlmWindowParams sureParams = NlmWindowParams::of(1.f, kSureEpsilon, 1.f);
    std::optional<Bitmap<Float4>> output;
    {
        log("Filtering SURE");
        std::optional<Bitmap<Float4>> sure = NlmSureFilter::estimate(*candidates, colour, variance);
        const NlmVectorFilter<7, 3> sureFilter(colour, variance, sureParams);
        for (int round = 0; round < 2 && sure; ++round) {
            pass(finest ? 0.45f + 0.03f * float(round) : 0.8f + 0.06f * float(round),
                 finest ? 0.48f + 0.03f * float(round) : 0.86f + 0.06f * float(round));
            sure = sureFilter.run(batch, *sure);
        }
        if (!sure) return std::nullopt;
        log("Filtering bitmask");
        pass(finest ? 0.51f : 0.92f, finest ? 0.54f : 1.f);
        auto selection = NlmFilter<7, 3>(colour, variance, sureParams).run(batch, NlmSureFilter::select(*sure, *candidates));
        if (!selection) return std::nullopt;
        output = NlmSureFilter::blend(*selection, *candidates);
    }
    if (!finest) return output;

    residualVariance(variance, candidates->weightSum);
    candidates.reset();
    colour = Bitmap<Float4>();

    log("2nd pass filtering");
    pass(0.54f, 0.62f);
    output = NlmFilter<7, 3>(*output, variance,
                             NlmWindowParams::of(0.f, 0.f, 1.f / (level.scale * level.scale), &features, 1.f))
                 .run(batch, *output);
    if (!output || !coarser) return output;

    log("Downscaling image");
    pass(0.62f, 0.63f);
    Bitmap<Float4> halved = downscaleImage(*output, kGaussianSigmaOne);
    Bitmap<Float4> halvedVariance = downscaleVariance(variance, kGaussianSigmaOne);
    variance = Bitmap<Float4>();
    std::optional<NlmFeatureFilters> halvedFeatures = features.halved(batch);
    if (!halvedFeatures) return std::nullopt;

    const Level next{level.number - 1, Float4(0.25f) * level.meanVariance, 0.5f * level.scale,
                     {span.at(0.63f), span.at(0.97f)}};
    std::optional<Bitmap<Float4>> coarse = filterLevel(next, halved, std::move(halvedVariance), *halvedFeatures);
    halvedFeatures.reset();
    if (!coarse) return std::nullopt;

    log("Upscaling image");
    const Bitmap<Float4> coarseUp = upscaleImage(*coarse, width, height);
    coarse.reset();
    const Bitmap<Float4> halvedUp = upscaleImage(halved, width, height);
    halved = Bitmap<Float4>();

    log("Merging levels");
    pass(0.97f, 1.f);
    std::optional<Bitmap<Float4>> gradient = squaredGradient(batch, coarseUp);
    if (!gradient) return std::nullopt;
    Bitmap<Float4>& fine = *output;
    scheduler::parallelFor(0, height, 16, [&](std::int64_t begin, std::int64_t end) {
        for (std::int64_t y = begin; y < end; ++y) {
            Float4* f = fine.row(int(y));
            const Float4* c = coarseUp.row(int(y));
            const Float4* d = halvedUp.row(int(y));
            const Float4* g = gradient->row(int(y));
            for (int x = 0; x < width; ++x) f[x] = mergeLevels(f[x], c[x], d[x], g[x]);
        }
    });
    return output;
}

}  // namespace lumora

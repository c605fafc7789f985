#include "lumora/effects/bloom_glare.hpp"

#include <algorithm>
#include <optional>

#include "lumora/effects/image_rotation.hpp"
#include "lumora/effects/level_blur.hpp"
#include "lumora/effects/pixel_storage.hpp"
#include "lumora/effects/row_loop.hpp"
#include "lumora/settings/property_descriptor.hpp"
#include "lumora/settings/settings.hpp"

namespace lumora {
namespace {

constexpr std::int64_t kRowGrain = 12;

// Counts units of work (blur levels and rotations) and reports them as a fraction.
class ProgressCounter {
public:
    ProgressCounter(const EffectProgress& progress, int total) : progress_(progress), total_(std::max(total, 1)) {}

    // Reports one more unit done; true when the user has cancelled.
    bool advance() {
        ++done_;
        return progress_ && progress_(std::min(1.f, static_cast<float>(done_) / static_cast<float>(total_)));
    }
    bool cancelled() const { return progress_ && progress_(static_cast<float>(done_) / static_cast<float>(total_)); }

private:
    const EffectProgress& progress_;
    int total_;
    int done_ = 0;
};

// Applies f(Float4&) to every pixel of the image, in place.
template <class S, class F>
void forEachPixel(Bitmap<typename S::Pixel>& image, bool parallel, F f) {
    const int width = image.width();
    forLineRanges(parallel, image.height(), kRowGrain, [&](std::int64_t y0, std::int64_t y1) {
        std::vector<Float4> scratch(static_cast<std::size_t>(width));
        for (auto y = static_cast<int>(y0); y < static_cast<int>(y1); ++y) {
            Float4* line = S::edit(image.row(y), scratch.data(), width);
            for (int x = 0; x < width; ++x) f(line[x]);
            S::commit(line, image.row(y), width);
        }
    });
}

// a = fa * a + fb * b, pixel by pixel.
template <class S>
void combine(Bitmap<typename S::Pixel>& a, float fa, const Bitmap<typename S::Pixel>& b, float fb, bool parallel) {
    const int width = a.width();
    const Float4 wa(fa), wb(fb);
    forLineRanges(parallel, a.height(), kRowGrain, [&](std::int64_t y0, std::int64_t y1) {
        std::vector<Float4> sa(static_cast<std::size_t>(width)), sb(sa.size());
        for (auto y = static_cast<int>(y0); y < static_cast<int>(y1); ++y) {
            Float4* la = S::edit(a.row(y), sa.data(), width);
            const Float4* lb = S::view(b.row(y), sb.data(), width);
            for (int x = 0; x < width; ++x) la[x] = wa * la[x] + wb * lb[x];
            S::commit(la, a.row(y), width);
        }
    });
}

template <class S>
std::optional<Bitmap<typename S::Pixel>> bloom(const Bitmap<typename S::Pixel>& bright,
                                               const PostProcessData::BloomGlare& settings, bool parallel,
                                               ProgressCounter& progress) {
    const LevelBlurParams params{1.f, settings.colorShift, settings.colorIntensity, 1.21f};
    return levelBlur<S>(bright, params, parallel, [&] { return progress.advance(); });
}

// The sum of the streaks; an all-zero image when there are none.
template <class S>
std::optional<Bitmap<typename S::Pixel>> glare(const Bitmap<typename S::Pixel>& bright, unsigned flags,
                                               const PostProcessData::BloomGlare& settings,
                                               ProgressCounter& progress) {
    using P = typename S::Pixel;
    const bool parallel = (flags & ImageOperatorsFlag::Parallel) != 0;
    const int width = bright.width();
    const int height = bright.height();
    const LevelBlurParams params{0.4f * settings.streakBlur, settings.colorShift, settings.colorIntensity, 0.4f};
    std::optional<Bitmap<P>> sum;
    for (int i = 0; i < settings.streakCount; ++i) {
        const float angle = static_cast<float>(i) * (180.f / static_cast<float>(settings.streakCount)) +
                            settings.rotation;
        const Pixel size = (flags & ImageOperatorsFlag::ImageSizeStreaks) != 0
                               ? Pixel{width, height}
                               : rotatedBufferSize(width, height, angle);
        const Bitmap<P> rotated = rotateImage<S>(bright, angle, size.x, size.y, parallel);
        if (progress.advance()) return std::nullopt;
        auto streak = levelBlur<S>(rotated, params, parallel, [&] { return progress.advance(); });
        if (!streak) return std::nullopt;
        Bitmap<P> back = rotateImage<S>(*streak, -angle, width, height, parallel);
        if (progress.advance()) return std::nullopt;
        if (sum) {
            combine<S>(*sum, 1.f, back, 1.f, parallel);
        } else {
            sum = std::move(back);
        }
    }
    if (!sum) sum = Bitmap<P>(width, height);
    return sum;
}

template <class S>
bool bloomGlare(unsigned flags, Bitmap<typename S::Pixel>& image, const PostProcessData::BloomGlare& settings,
                ProgressCounter& progress) {
    const bool parallel = (flags & ImageOperatorsFlag::Parallel) != 0;
    const Float4 threshold(settings.threshold);
    forEachPixel<S>(image, parallel, [&](Float4& p) { p = max(Float4(0.f), p - threshold); });

    const float glareFactor = 0.1f * settings.glareIntensity;
    const float bloomFactor = 0.001f * settings.bloomIntensity;
    const bool withBloom = settings.bloomIntensity > 0.f;
    const bool withGlare = settings.glareIntensity > 0.f;
    std::optional<Bitmap<typename S::Pixel>> b, g;
    if (withBloom && !(b = bloom<S>(image, settings, parallel, progress))) return false;
    if (withGlare && !(g = glare<S>(image, flags, settings, progress))) return false;
    if (withBloom && withGlare) {
        combine<S>(*g, glareFactor, *b, bloomFactor, parallel);
        image = std::move(*g);
    } else if (withBloom) {
        image = std::move(*b);
        forEachPixel<S>(image, parallel, [f = Float4(bloomFactor)](Float4& p) { p = f * p; });
    } else {
        image = std::move(*g);
        forEachPixel<S>(image, parallel, [f = Float4(glareFactor)](Float4& p) { p = f * p; });
    }
    return true;
}

int workUnits(const PostProcessData::BloomGlare& settings) {
    int units = settings.bloomIntensity > 0.f ? kBlurLevelCount : 0;
    if (settings.glareIntensity > 0.f) units += std::max(settings.streakCount, 0) * (kBlurLevelCount + 2);
    return units;
}

}  // namespace

PostProcessData::BloomGlare readBloomGlareSettings(const Settings& settings) {
    PostProcessData::BloomGlare s;
    s.enabled = settings.getBool(PropertyId::bloomGlareEnabled);
    s.halfFloat = settings.getBool(PropertyId::bloomGlareHalfFloat);
    s.bloomIntensity = settings.getFloat(PropertyId::bloomGlareBloomIntensity);
    s.glareIntensity = settings.getFloat(PropertyId::bloomGlareGlareIntensity);
    s.threshold = settings.getFloat(PropertyId::bloomGlareThreshold);
    s.streakCount = settings.getInt(PropertyId::bloomGlareStreakCount);
    s.rotation = settings.getFloat(PropertyId::bloomGlareRotation);
    s.colorShift = settings.getFloat(PropertyId::bloomGlareColorShift);
    s.colorIntensity = settings.getFloat(PropertyId::bloomGlareColorIntensity);
    s.streakBlur = settings.getFloat(PropertyId::bloomGlareStreakBlur);
    return s;
}

bool applyBloomGlare(unsigned flags, Bitmap<Float4>& image, const PostProcessData::BloomGlare& settings,
                     const EffectProgress& progress) {
    if (!(settings.bloomIntensity > 0.f || settings.glareIntensity > 0.f) || image.empty()) return true;
    ProgressCounter counter(progress, workUnits(settings));
    if (counter.cancelled()) return false;
    if (!settings.halfFloat || !supportsHalfConversion()) {
        return bloomGlare<FloatPixels>(flags, image, settings, counter);
    }
    const int width = image.width();
    Bitmap<Half4> halves(width, image.height());
    for (int y = 0; y < image.height(); ++y) floatToHalf(image.row(y), halves.row(y), width);
    if (!bloomGlare<HalfPixels>(flags, halves, settings, counter)) return false;
    for (int y = 0; y < image.height(); ++y) halfToFloat(halves.row(y), image.row(y), width);
    return true;
}

}  // namespace lumora

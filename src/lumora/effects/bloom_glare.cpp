#include "lumora/effects/bloom_glare.hpp"

#include <algorithm>
#include <vector>

#include "lumora/effects/image_buffer.hpp"
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
void forEachPixel(BitmapView<typename S::Pixel> image, bool parallel, F f) {
    const int width = image.width();
    forLineRanges(parallel, image.height(), kRowGrain, [&](std::int64_t y0, std::int64_t y1) {
        Float4* scratch = lineBuffer(0, static_cast<std::size_t>(width));
        for (auto y = static_cast<int>(y0); y < static_cast<int>(y1); ++y) {
            Float4* line = S::edit(image.row(y), scratch, width);
            for (int x = 0; x < width; ++x) f(line[x]);
            S::commit(line, image.row(y), width);
        }
    });
}

// out = fa * a + fb * b, pixel by pixel.
template <class S>
void combine(BitmapView<typename S::Pixel> out, float fa, BitmapView<const typename S::Pixel> a, float fb,
             BitmapView<const typename S::Pixel> b, bool parallel) {
    const int width = out.width();
    const Float4 wa(fa), wb(fb);
    forLineRanges(parallel, out.height(), kRowGrain, [&](std::int64_t y0, std::int64_t y1) {
        Float4* sa = lineBuffer(0, static_cast<std::size_t>(width));
        Float4* sb = lineBuffer(1, static_cast<std::size_t>(width));
        Float4* so = lineBuffer(2, static_cast<std::size_t>(width));
        for (auto y = static_cast<int>(y0); y < static_cast<int>(y1); ++y) {
            const Float4* la = S::view(a.row(y), sa, width);
            const Float4* lb = S::view(b.row(y), sb, width);
            Float4* lo = S::target(out.row(y), so);
            for (int x = 0; x < width; ++x) lo[x] = wa * la[x] + wb * lb[x];
            S::commit(lo, out.row(y), width);
        }
    });
}

// out = f * a, pixel by pixel.
template <class S>
void scale(BitmapView<typename S::Pixel> out, float f, BitmapView<const typename S::Pixel> a, bool parallel) {
    const int width = out.width();
    const Float4 w(f);
    forLineRanges(parallel, out.height(), kRowGrain, [&](std::int64_t y0, std::int64_t y1) {
        Float4* sa = lineBuffer(0, static_cast<std::size_t>(width));
        Float4* so = lineBuffer(2, static_cast<std::size_t>(width));
        for (auto y = static_cast<int>(y0); y < static_cast<int>(y1); ++y) {
            const Float4* la = S::view(a.row(y), sa, width);
            Float4* lo = S::target(out.row(y), so);
            for (int x = 0; x < width; ++x) lo[x] = w * la[x];
            S::commit(lo, out.row(y), width);
        }
    });
}

// The intermediate images, reused from streak to streak and by the bloom.
template <class P>
struct Workspace {
    ImageBuffer<P> glare;    // the sum of the streaks
    ImageBuffer<P> blurred;  // the levels' blurred copies
    ImageBuffer<P> rotated;  // the turned bright image
    ImageBuffer<P> streak;   // its blurred levels before turning back; then the bloom image
};

// Writes the sum of the streaks to sum; all zero when there are none. False when cancelled.
template <class S>
bool glare(BitmapView<const typename S::Pixel> bright, BitmapView<typename S::Pixel> sum, unsigned flags,
           const PostProcessData::BloomGlare& settings, Workspace<typename S::Pixel>& work,
           ProgressCounter& progress) {
    using P = typename S::Pixel;
    const bool parallel = (flags & ImageOperatorsFlag::Parallel) != 0;
    const int width = bright.width();
    const int height = bright.height();
    const LevelBlurParams params{0.4f * settings.streakBlur, settings.colorShift, settings.colorIntensity, 0.4f};
    if (settings.streakCount <= 0) {
        for (int y = 0; y < height; ++y) std::fill_n(sum.row(y), width, P());
        return true;
    }
    std::vector<Pixel> sizes;
    std::size_t largest = 0;
    for (int i = 0; i < settings.streakCount; ++i) {
        const float angle = static_cast<float>(i) * (180.f / static_cast<float>(settings.streakCount)) +
                            settings.rotation;
        sizes.push_back((flags & ImageOperatorsFlag::ImageSizeStreaks) != 0 ? Pixel{width, height}
                                                                             : rotatedBufferSize(width, height, angle));
        largest = std::max(largest, static_cast<std::size_t>(sizes.back().x) * static_cast<std::size_t>(sizes.back().y));
    }
    // Allocated once at the largest streak's size rather than grown streak by streak.
    work.rotated.reserve(largest);
    work.streak.reserve(largest);
    work.blurred.reserve(largest);
    for (int i = 0; i < settings.streakCount; ++i) {
        const float angle = static_cast<float>(i) * (180.f / static_cast<float>(settings.streakCount)) +
                            settings.rotation;
        const Pixel size = sizes[static_cast<std::size_t>(i)];
        const BitmapView<P> rotated = work.rotated.shape(size.x, size.y);
        rotateImage<S>(bright, angle, rotated, false, parallel);
        if (progress.advance()) return false;
        const BitmapView<P> streak = work.streak.shape(size.x, size.y);
        if (!levelBlur<S>(rotated, streak, work.blurred, params, parallel, [&] { return progress.advance(); })) {
            return false;
        }
        rotateImage<S>(streak, -angle, sum, i > 0, parallel);
        if (progress.advance()) return false;
    }
    return true;
}

// Turns the picture into its effect image, in place.
template <class S>
bool bloomGlare(unsigned flags, BitmapView<typename S::Pixel> image, const PostProcessData::BloomGlare& settings,
                ProgressCounter& progress) {
    const bool parallel = (flags & ImageOperatorsFlag::Parallel) != 0;
    const Float4 threshold(settings.threshold);
    forEachPixel<S>(image, parallel, [&](Float4& p) { p = max(Float4(0.f), p - threshold); });

    const float glareFactor = 0.1f * settings.glareIntensity;
    const float bloomFactor = 0.001f * settings.bloomIntensity;
    const bool withBloom = settings.bloomIntensity > 0.f;
    const bool withGlare = settings.glareIntensity > 0.f;
    const int width = image.width();
    const int height = image.height();
    Workspace<typename S::Pixel> work;
    BitmapView<typename S::Pixel> b, g;
    // The glare goes first, so that the bloom can take the buffers of the streaks when they are done.
    if (withGlare) {
        g = work.glare.shape(width, height);
        if (!glare<S>(image, g, flags, settings, work, progress)) return false;
    }
    if (withBloom) {
        const LevelBlurParams params{1.f, settings.colorShift, settings.colorIntensity, 1.21f};
        b = work.streak.shape(width, height);
        if (!levelBlur<S>(image, b, work.blurred, params, parallel, [&] { return progress.advance(); })) return false;
    }
    // The bright image is no longer needed: the effect image takes its place.
    if (withBloom && withGlare) {
        combine<S>(image, glareFactor, g, bloomFactor, b, parallel);
    } else if (withBloom) {
        scale<S>(image, bloomFactor, b, parallel);
    } else {
        scale<S>(image, glareFactor, g, parallel);
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
        return bloomGlare<FloatPixels>(flags, image.view(), settings, counter);
    }
    const int width = image.width();
    ImageBuffer<Half4> storage;
    const BitmapView<Half4> halves = storage.shape(width, image.height());
    for (int y = 0; y < image.height(); ++y) floatToHalf(image.row(y), halves.row(y), width);
    if (!bloomGlare<HalfPixels>(flags, halves, settings, counter)) return false;
    for (int y = 0; y < image.height(); ++y) halfToFloat(halves.row(y), image.row(y), width);
    return true;
}

}  // namespace lumora

#pragma once
// Per-pixel sums of the samples and their finalisation into the channels of an LXR image: every
// element holds the mean of its samples, each squared companion (SqrBeauty, SqrKey, ...) the mean
// of the squared samples, and LUMORA_FB_WEIGHTS the number of samples.

#include <array>
#include <string>
#include <vector>

#include "lumora/image/channel_image.hpp"
#include "sample_render/integrator.hpp"

namespace lumora::sample {

// The scalar values of one sample, in the order the elements below refer to them.
namespace value {
inline constexpr int beauty = 0;
inline constexpr int lights = 3;  // three per light
inline constexpr int alpha = lights + 3 * kLightCount;
inline constexpr int albedo = alpha + 1;
inline constexpr int worldNormal = albedo + 3;
inline constexpr int cameraNormal = worldNormal + 3;
inline constexpr int hybrid = cameraNormal + 3;
inline constexpr int depth = hybrid + 3;
inline constexpr int count = depth + 1;
}  // namespace value

using SampleValues = std::array<float, value::count>;
SampleValues toValues(const SampleResult& sample);

struct PixelSums {
    std::array<double, value::count> sum{};
    std::array<double, value::count> squares{};
    int count = 0;

    void add(const SampleValues& values);
    // Relative standard error of the beauty's mean; 0 with fewer than two samples or a black
    // pixel.
    double relativeError() const;
};

// One element of the written image and where its values come from.
struct FilmElement {
    std::string name;  // "" for the beauty, "A" for its alpha
    int firstValue = 0;
    int components = 3;  // 3 (R, G, B) or 1 (a single channel named after the element)
    bool squared = false;
    RenderElementInfo record;
};

// The elements of a render; the auxiliary elements and squared companions only with denoising
// data.
std::vector<FilmElement> filmElements(const std::vector<std::string>& lightNames, bool denoisingData);

class Film {
public:
    // Adds zero-filled channels of the data window's size for every element to the image.
    Film(ChannelImage& image, std::vector<FilmElement> elements, Pixel size);

    // Stores the finished pixel at (x, y), relative to the data window.
    void write(int x, int y, const PixelSums& pixel);

    const std::vector<FilmElement>& elements() const { return elements_; }

private:
    struct Target {
        float* data;
        int value;
        bool squares;
    };

    std::vector<FilmElement> elements_;
    std::vector<Target> targets_;
    float* weights_ = nullptr;
    int width_ = 0;
};

}  // namespace lumora::sample

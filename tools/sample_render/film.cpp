#include "sample_render/film.hpp"

#include <cmath>
#include <memory>

namespace lumora::sample {

namespace {

void put(SampleValues& values, int first, V3 v) {
    values[static_cast<std::size_t>(first)] = v.x;
    values[static_cast<std::size_t>(first) + 1] = v.y;
    values[static_cast<std::size_t>(first) + 2] = v.z;
}

constexpr RenderElementFlags flags(std::initializer_list<RenderElementFlag> list) {
    RenderElementFlags result = 0;
    for (const RenderElementFlag f : list) {
        result |= static_cast<RenderElementFlags>(f);
    }
    return result;
}

}  // namespace

SampleValues toValues(const SampleResult& sample) {
    SampleValues values{};
    put(values, value::beauty, sample.beauty());
    for (int l = 0; l < kLightCount; ++l) {
        put(values, value::lights + 3 * l, sample.light[static_cast<std::size_t>(l)]);
    }
    values[value::alpha] = sample.coverage;
    put(values, value::albedo, sample.albedo);
    put(values, value::worldNormal, sample.worldNormal);
    put(values, value::cameraNormal, sample.cameraNormal);
    put(values, value::hybrid, sample.hybrid);
    values[value::depth] = sample.depth;
    return values;
}

void PixelSums::add(const SampleValues& values) {
    for (std::size_t i = 0; i < values.size(); ++i) {
        const double v = values[i];
        sum[i] += v;
        squares[i] += v * v;
    }
    ++count;
}

double PixelSums::relativeError() const {
    if (count < 2) {
        return 0.0;
    }
    const double n = count;
    double mean = 0.0, variance = 0.0;
    for (int c = 0; c < 3; ++c) {
        const double m = sum[static_cast<std::size_t>(value::beauty + c)] / n;
        mean += m;
        variance += std::max(0.0, squares[static_cast<std::size_t>(value::beauty + c)] / n - m * m) / (n - 1.0);
    }
    // Below this the pixel is too dark for its noise to be seen.
    constexpr double darkest = 0.03;
    return std::sqrt(variance) / std::max(mean, darkest);
}

std::vector<FilmElement> filmElements(const std::vector<std::string>& lightNames, bool denoisingData) {
    using F = RenderElementFlag;
    const RenderElementFlags colour =
        flags({F::ColorMapped, F::BloomEffect, F::GlareEffect}) | (denoisingData ? flags({F::Denoised}) : 0u);
    const RenderElementFlags virtualColour = flags({F::ColorMapped, F::Virtual, F::BloomEffect, F::GlareEffect});

    std::vector<FilmElement> elements;
    elements.push_back({"", value::beauty, 3, denoisingData, {"Beauty", RenderElement::Beauty, colour}});
    elements.push_back({"A", value::alpha, 1, false, {"Alpha", RenderElement::Alpha, 0}});
    for (std::size_t l = 0; l < lightNames.size(); ++l) {
        elements.push_back({lightNames[l], value::lights + 3 * static_cast<int>(l), 3, denoisingData,
                            {lightNames[l], RenderElementType::LightSelect, colour}});
    }
    // Computed by the editor: records only, no channels.
    elements.push_back({"", -1, 0, false, {"LightMix", RenderElementType::LightMix, virtualColour}});
    elements.push_back({"", -1, 0, false, {"BloomGlare", RenderElementType::BloomGlare, virtualColour}});
    if (denoisingData) {
        using P = PrivateRenderElementType;
        elements.push_back({"VisibleDiffuse", value::albedo, 3, true, {"VisibleDiffuse", P::VisibleDiffuse, 0}});
        elements.push_back(
            {"VisibleNormals", value::worldNormal, 3, true, {"VisibleNormals", P::VisibleNormals, 0}});
        elements.push_back({"OptixNormals", value::cameraNormal, 3, true, {"OptixNormals", P::OptixNormals, 0}});
        elements.push_back({"Hybrid", value::hybrid, 3, true, {"Hybrid", P::Hybrid, 0}});
    }
    elements.push_back({"ZDepth", value::depth, 1, false, {"ZDepth", RenderElementType::ZDepth, 0}});
    elements.push_back({"Normals", value::worldNormal, 3, false, {"Normals", RenderElementType::Normals, 0}});
    return elements;
}

Film::Film(ChannelImage& image, std::vector<FilmElement> elements, Pixel size)
    : elements_(std::move(elements)), width_(size.x) {
    static constexpr std::array<const char*, 3> rgb{names::R, names::G, names::B};
    auto addChannel = [&](const std::string& name) {
        auto channel = std::make_unique<Channel<float>>(name, size.x, size.y);
        float* data = channel->data.data();
        image.addChannel(std::move(channel));
        return data;
    };
    for (const FilmElement& e : elements_) {
        for (int c = 0; c < e.components; ++c) {
            const std::string component = e.components == 1 ? "" : rgb[static_cast<std::size_t>(c)];
            targets_.push_back({addChannel(channelName(e.name, component)), e.firstValue + c, false});
            if (e.squared) {
                targets_.push_back({addChannel(channelName(squaredElementName(e.name), component)),
                                    e.firstValue + c, true});
            }
        }
    }
    weights_ = addChannel(names::weights);
}

void Film::write(int x, int y, const PixelSums& pixel) {
    const std::size_t index =
        static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(x);
    const double n = pixel.count;
    for (const Target& t : targets_) {
        const auto& source = t.squares ? pixel.squares : pixel.sum;
        t.data[index] = n > 0 ? static_cast<float>(source[static_cast<std::size_t>(t.value)] / n) : 0.f;
    }
    weights_[index] = static_cast<float>(pixel.count);
}

}  // namespace lumora::sample

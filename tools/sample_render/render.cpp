#include "sample_render/render.hpp"

#include <atomic>
#include <chrono>
#include <cmath>
#include <limits>

#include "lumora/foundation/exception.hpp"
#include "lumora/foundation/scheduler.hpp"
#include "lumora/image/property_attributes.hpp"
#include "lumora/settings/conf.hpp"
#include "lumora/settings/property_descriptor.hpp"
#include "sample_render/film.hpp"

namespace lumora::sample {

namespace {

// Relative error of a pixel's mean at which it receives all the extra passes it can get.
constexpr double kNoisyPixelError = 0.1;

// Passes the values through to the settings, refusing properties that a render does not store.
class PostProcessingSettings final : public Abstract::Settings {
public:
    explicit PostProcessingSettings(lumora::Settings& target) : target_(target) {}
    Property get(int id) const override { return target_.get(id); }
    void set(int id, const Property& value) override {
        const PropertyDescriptor* descriptor = PropertyDescriptor::get(id);
        if (descriptor && !descriptor->hasFlag(PropertyDescriptor::PostProcessing)) {
            throw Exception("Property " + descriptor->name +
                            " is not a post-processing property, so a render does not store it.");
        }
        target_.set(id, value);
    }

private:
    lumora::Settings& target_;
};

struct Totals {
    std::atomic<std::int64_t> rays{0};
    std::atomic<std::int64_t> samples{0};
};

void renderRow(const Integrator& integrator, const RenderOptions& options, int y, Film& film, Totals& totals) {
    const Bucket window = options.dataWindow();
    const int initial = options.adaptive ? std::max(1, (options.passes + 1) / 2) : options.passes;
    std::int64_t rays = 0, samples = 0;
    for (int x = window.min.x; x < window.max.x; ++x) {
        PixelSums pixel;
        auto run = [&](int firstPass, int endPass) {
            for (int pass = firstPass; pass < endPass; ++pass) {
                SampleStream stream(options.seed, x, y, pass);
                const SampleResult sample = integrator.sample(x, y, options.width, options.height, stream);
                rays += sample.rays;
                pixel.add(toValues(sample));
            }
        };
        run(0, initial);
        if (options.adaptive) {
            run(initial, initial + extraPasses(options.passes, initial, pixel.relativeError()));
        }
        samples += pixel.count;
        film.write(x - window.min.x, y - window.min.y, pixel);
    }
    totals.rays += rays;
    totals.samples += samples;
}

}  // namespace

void applySettingsLines(const std::vector<std::string>& lines, Settings& settings) {
    PostProcessingSettings filtered(settings);
    for (const std::string& line : lines) {
        Conf::parseLine(line, filtered);
    }
    settings.validate();
}

int extraPasses(int requested, int initial, double relativeError) {
    const double share = std::min(1.0, relativeError / kNoisyPixelError);
    return static_cast<int>(std::lround(2.0 * (requested - initial) * share));
}

ChannelImage renderLxr(const RenderOptions& options, Strategy strategy) {
    Settings settings;
    applySettingsLines(options.settingsLines, settings);

    const Scene& scene = Scene::instance();
    std::vector<std::string> lightNames;
    for (const Light& light : scene.lights()) {
        lightNames.push_back(light.name);
    }
    const Bucket window = options.dataWindow();

    ChannelImage image;
    Film film(image, filmElements(lightNames, options.denoisingData), window.size());
    const Integrator integrator(scene, strategy);
    Totals totals;
    const auto start = std::chrono::steady_clock::now();
    scheduler::parallelFor(window.min.y, window.max.y, 1, [&](std::int64_t y0, std::int64_t y1) {
        for (std::int64_t y = y0; y < y1; ++y) {
            renderRow(integrator, options, static_cast<int>(y), film, totals);
        }
    });
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

    image.setAttribute<Bucket>(names::displayWindow, Bucket{{0, 0}, {options.width, options.height}});
    image.setAttribute<Bucket>(names::dataWindow, window);
    image.setAttribute<float>(names::gamma, 1.f);
    image.setAttribute<int>(names::isLumoraExr, 1);
    image.setAttribute<int>(names::statsPasses, options.passes);
    image.setAttribute<int>(names::statsTime, static_cast<int>(std::lround(seconds * 1000.0)));
    const double raysPerSecond = static_cast<double>(totals.rays) / std::max(seconds, 1e-6);
    image.setAttribute<int>(names::statsRaysPerSecond,
                            static_cast<int>(std::min(raysPerSecond, double(std::numeric_limits<int>::max()))));
    image.setAttribute<float>(names::statsRaysPerSample, static_cast<float>(static_cast<double>(totals.rays) /
                                                                            static_cast<double>(totals.samples)));
    std::vector<RenderElementInfo> records;
    for (const FilmElement& e : film.elements()) {
        records.push_back(e.record);
    }
    setRenderElementInfos(image, records);
    storePropertyAttributes(image, settings);
    return image;
}

}  // namespace lumora::sample

#pragma once
// The chain of operators that one processing run of the console editor drives: load (and merge),
// denoise and its blend, light mix, the LXR writers, and the picture chain (bloom and glare and
// its blend, colour mapping, sharpen/blur, mono-to-colour, zoom) that ends in the picture writer.
// One pipeline serves one run.

#include <filesystem>
#include <mutex>
#include <optional>

#include "lumora/foundation/exception.hpp"
#include "lumora/pipeline/blend_denoised_operator.hpp"
#include "lumora/pipeline/bloom_glare_operator.hpp"
#include "lumora/pipeline/color_map_operator.hpp"
#include "lumora/pipeline/denoise_operator.hpp"
#include "lumora/pipeline/lightmix_operator.hpp"
#include "lumora/pipeline/load_operator.hpp"
#include "lumora/pipeline/mono_to_color_operator.hpp"
#include "lumora/pipeline/runtime.hpp"
#include "lumora/pipeline/save_lxr_operator.hpp"
#include "lumora/pipeline/save_separate_operator.hpp"
#include "lumora/pipeline/sharpen_blur_operator.hpp"
#include "lumora/pipeline/zoom_operator.hpp"
#include "lumora/settings/settings.hpp"

namespace lumora {

// Whether the output is written as LXR: the extension ".lxr", in any letter case.
bool isLumoraExrFileName(const std::filesystem::path& path);

namespace Pipeline {

class CliPipeline {
public:
    // settings is owned by the caller and outlives the pipeline.
    explicit CliPipeline(Settings* settings);
    CliPipeline(const CliPipeline&) = delete;
    CliPipeline& operator=(const CliPipeline&) = delete;

    // The whole processing run: load, denoise, save. Nothing is printed on success; warnings go
    // to runtime.printMessage. Throws Exception on every failure.
    void run(Performer::IRuntime& runtime);

private:
    void loadPhase(Performer::IRuntime& runtime);
    void denoisePhase(Performer::IRuntime& runtime);
    void savePhase(Performer::IRuntime& runtime);
    // One finished picture per selected element, in the format the output's extension names.
    void savePictures(const IOperator::ElementSelector& selector, const std::filesystem::path& output);
    // Rethrows the last error an operator reported, if any.
    void throwPendingError();

    Settings* settings_;
    // Declared before the operators: their worker threads may still report while they stop.
    std::mutex pendingErrorMutex_;
    std::optional<Exception> pendingError_;

    LoadOperator load_;
    DenoiseOperator denoise_;
    BlendDenoisedOperator blendDenoised_;
    std::mutex lightMixLock_;
    LightMixOperator lightMix_;
    // The picture chain, in the order a picture passes it.
    BloomGlareOperator bloomGlare_;
    BlendBloomGlareOperator blendBloomGlare_;
    ColorMapOperator<ColorMapping> colorMap_;
    SharpenBlurOperator sharpenBlur_;
    MonoToColorOperator monoToColor_;
    ZoomOperator zoom_;
    SaveLxrOperator saveLxr_;
    SaveLxrOperatorCli saveLxrCli_;
    SaveSeparateOperator saveSeparate_;
};

}  // namespace Pipeline
}  // namespace lumora

#pragma once
// The GPU AI denoiser: hands the colour image with its albedo (VisibleDiffuse) and normals
// (OptixNormals) features to the OptiX "DLDenoiser" stage and returns what the GPU produced.
//
// Every OptiX and CUDA call runs on the denoiser's own standby thread, one job at a time, so the
// OptiX context is never touched by two threads. Failures inside a job are reported through the
// logger (and a version mismatch of the loaded OptiX on standard error); they never escape it.

#include <future>
#include <memory>
#include <optional>
#include <string>

#include "lumora/denoise/denoiser.hpp"
#include "lumora/denoise/denoising_data.hpp"
#include "lumora/foundation/logger.hpp"
#include "lumora/foundation/scheduler.hpp"

namespace lumora {

class OptixDenoiser final : public IDenoiser {
public:
    // Checks once per process that the vendor libraries load (Exception with the missing-library
    // message otherwise) and queues the initialisation, which takes over data; does not wait.
    OptixDenoiser(std::shared_ptr<Logger> logger, DenoisingData data);
    ~OptixDenoiser() override;

    // Denoises image, which must have the size of the features (Exception otherwise). No result
    // when the initialisation failed; a failure of the job itself is logged and the output
    // buffer's content is returned all the same. squares, element and progress are not used:
    // the GPU stage runs in one launch and cannot be cancelled.
    std::optional<Bitmap<Float4>> denoise(Bitmap<Float4> image, Bitmap<Float4> squares, ElementId element,
                                          DenoiseProgress progress) override;

    struct State;  // the OptiX objects; defined with the code that drives them

private:
    void initialize(DenoisingData& data);
    Bitmap<Float4> denoiseOnGpu(const Bitmap<Float4>& image);
    void reportInternalError(const std::string& details) const;
    void logError(const std::string& text) const;

    std::unique_ptr<State> state_;  // null until initialised, and for good when that failed
    std::shared_ptr<Logger> logger_;
    std::future<void> initialized_;
    scheduler::StandbyThread standby_;  // last: stops before the members above go
};

}  // namespace lumora

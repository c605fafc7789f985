#include "lumora/denoise/create_denoiser.hpp"

#include <new>

#include "lumora/denoise/hot_pixels_denoiser.hpp"
#include "lumora/denoise/nlm_denoiser.hpp"
#include "lumora/denoise/optix_denoiser.hpp"
#include "lumora/foundation/exception.hpp"

namespace lumora {

std::unique_ptr<IDenoiser> createDenoiser(DenoisingMode mode, std::shared_ptr<Logger> logger, DenoisingData data) {
    std::shared_ptr<Logger> gpuLogger = std::move(logger);  // only the GPU denoiser keeps it
    switch (mode) {
        case DenoisingMode::None:
        case DenoisingMode::Gather:
            return nullptr;
        case DenoisingMode::Fireflies:
            try {
                return std::make_unique<HotPixelsDenoiser>(data);
            } catch (const std::bad_alloc&) {
                return nullptr;
            }
        case DenoisingMode::Full:
            try {
                return std::make_unique<NlmDenoiser>(data);
            } catch (const std::bad_alloc&) {
                return nullptr;
            }
        case DenoisingMode::NvidiaAiDenoiser:
            try {
                return std::make_unique<OptixDenoiser>(std::move(gpuLogger), std::move(data));
            } catch (const std::bad_alloc&) {
                return nullptr;
            }
    }
    LUMORA_STOP();
}

}  // namespace lumora

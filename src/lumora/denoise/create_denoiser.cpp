#include "lumora/denoise/create_denoiser.hpp"

#include <new>

#include "lumora/denoise/hot_pixels_denoiser.hpp"
#include "lumora/denoise/nlm_denoiser.hpp"
#include "lumora/foundation/exception.hpp"

namespace lumora {

namespace {

[[noreturn]] void notAvailable(DenoisingMode mode) {
    throw Exception("The denoising mode \"" + Detail::valueToString(enumTable<DenoisingMode>(), int(mode)) +
                    "\" is not available in this build yet.");
}

}  // namespace

std::unique_ptr<IDenoiser> createDenoiser(DenoisingMode mode, std::shared_ptr<Logger> logger, DenoisingData data) {
    logger.reset();  // only the GPU denoiser keeps a logger
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
            notAvailable(mode);
    }
    LUMORA_STOP();
}

}  // namespace lumora

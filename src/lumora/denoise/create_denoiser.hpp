#pragma once
// The one entry into denoising: the denoiser that belongs to a mode.

#include <memory>

#include "lumora/denoise/denoiser.hpp"
#include "lumora/denoise/denoising_data.hpp"
#include "lumora/foundation/logger.hpp"
#include "lumora/settings/enums.hpp"

namespace lumora {

// Null for the modes that filter nothing (None, Gather) and when the denoiser cannot be
// allocated. data is taken over by the denoiser. A mode whose denoiser this build lacks is an
// Exception naming the mode.
std::unique_ptr<IDenoiser> createDenoiser(DenoisingMode mode, std::shared_ptr<Logger> logger, DenoisingData data);

}  // namespace lumora

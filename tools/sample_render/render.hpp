#pragma once
// Renders the test scene into a complete LXR image: channels of every element over the data
// window, the display window of the whole frame, the render statistics, the element records and
// the post-processing settings.
//
// Pixels are independent: each (seed, pixel, pass) has its own random stream, so a render does not
// depend on the thread count, and a region render equals the same part of the full render.

#include "lumora/image/channel_image.hpp"
#include "lumora/settings/settings.hpp"
#include "sample_render/integrator.hpp"
#include "sample_render/options.hpp"

namespace lumora::sample {

// Applies the --set lines on top of the registry defaults. Throws Exception for a line that does
// not parse, a property that is not a post-processing property, or an invalid value.
void applySettingsLines(const std::vector<std::string>& lines, Settings& settings);

// Throws Exception for bad settings lines; the image is complete otherwise.
ChannelImage renderLxr(const RenderOptions& options, Strategy strategy = Strategy::Mis);

// In adaptive mode: how many passes a pixel gets after the first `initial` ones, given the
// relative error of its mean so far. Up to twice the remaining passes go to the noisiest pixels.
int extraPasses(int requested, int initial, double relativeError);

}  // namespace lumora::sample

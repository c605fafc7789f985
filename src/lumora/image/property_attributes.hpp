#pragma once
// The post-processing settings stored in an LXR header: one attribute per property under its EXR
// name (getPropertyExrName), typed by the property's type: Bool and Int as int, Float as float,
// Vec3 as Rgb (v3f in the file), String as string, and every array type as a string holding its
// text form (toStr), which reads back through the configuration value syntax.

#include <optional>

#include "lumora/image/channel_image.hpp"
#include "lumora/settings/property.hpp"
#include "lumora/settings/property_descriptor.hpp"
#include "lumora/settings/settings.hpp"

namespace lumora {

// Writes the current value of every descriptor that carries the PostProcessing flag, replacing
// attributes of the same names.
void storePropertyAttributes(ChannelImage& image, const Abstract::Settings& settings);

// Writes one value under the descriptor's EXR name; the value must have the descriptor's type.
void storePropertyAttribute(ChannelImage& image, const PropertyDescriptor& descriptor, const Property& value);

// The stored value of the property, or nothing when the attribute is absent, has the wrong type
// or holds an array text that does not parse as the property's array type.
std::optional<Property> readPropertyAttribute(const ChannelImage& image, const PropertyDescriptor& descriptor);

}  // namespace lumora

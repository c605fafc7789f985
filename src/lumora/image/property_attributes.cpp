#include "lumora/image/property_attributes.hpp"

#include <exception>
#include <string>

#include "lumora/foundation/exception.hpp"
#include "lumora/foundation/text.hpp"
#include "lumora/settings/conf_reader.hpp"
#include "lumora/settings/text_scanner.hpp"

namespace lumora {

namespace {

bool isArrayType(PropertyType type) {
    switch (type) {
        case PropertyType::Vec3Array:
        case PropertyType::FloatArray:
        case PropertyType::Vec2Array:
        case PropertyType::IntArray:
        case PropertyType::BoolArray:
        case PropertyType::StringArray: return true;
        default: return false;
    }
}

// Reads an array text with the same rules as a configuration line of that type, so whatever toStr
// writes (and whatever a user may write in a .conf file) is accepted.
std::optional<Property> parseArrayText(const PropertyDescriptor& descriptor, const std::string& text) {
    if (descriptor.type == PropertyType::StringArray) {
        auto items = Str::parseExportStringArray(text);
        if (!items) {
            return std::nullopt;
        }
        return Property::stringArray(*items);
    }
    const std::string line = text::toLower(propertyTypeName(descriptor.type)) + " " + descriptor.name + " = " + text;
    try {
        auto parsed = Conf::readLine(line);
        if (!parsed || parsed->value.type() != descriptor.type) {
            return std::nullopt;
        }
        return std::move(parsed->value);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

}  // namespace

void storePropertyAttribute(ChannelImage& image, const PropertyDescriptor& descriptor, const Property& value) {
    const std::string name = getPropertyExrName(descriptor);
    switch (descriptor.type) {
        case PropertyType::Bool: image.setAttribute<int>(name, value.asBool() ? 1 : 0); return;
        case PropertyType::Int: image.setAttribute<int>(name, value.asInt()); return;
        case PropertyType::Float: image.setAttribute<float>(name, value.asFloat()); return;
        case PropertyType::Vec3: {
            const Vec3 v = value.asVec3();
            image.setAttribute<Rgb>(name, Rgb{v.x, v.y, v.z});
            return;
        }
        case PropertyType::String: image.setAttribute<std::string>(name, value.asString()); return;
        default: break;
    }
    LUMORA_ASSERT(isArrayType(descriptor.type));
    value.throwIfTypeNot(descriptor.type);
    image.setAttribute<std::string>(name, toStr(value));
}

void storePropertyAttributes(ChannelImage& image, const Abstract::Settings& settings) {
    PropertyDescriptor::enumerate([&](const PropertyDescriptor& descriptor) {
        if (descriptor.hasFlag(PropertyDescriptor::PostProcessing)) {
            storePropertyAttribute(image, descriptor, settings.get(descriptor.id));
        }
    });
}

std::optional<Property> readPropertyAttribute(const ChannelImage& image, const PropertyDescriptor& descriptor) {
    const std::string name = getPropertyExrName(descriptor);
    switch (descriptor.type) {
        case PropertyType::Bool:
            if (const auto* a = image.getAttribute<int>(name)) {
                return Property(a->value != 0);
            }
            return std::nullopt;
        case PropertyType::Int:
            if (const auto* a = image.getAttribute<int>(name)) {
                return Property(a->value);
            }
            return std::nullopt;
        case PropertyType::Float:
            if (const auto* a = image.getAttribute<float>(name)) {
                return Property(a->value);
            }
            return std::nullopt;
        case PropertyType::Vec3:
            if (const auto* a = image.getAttribute<Rgb>(name)) {
                return Property(Vec3{a->value.r, a->value.g, a->value.b});
            }
            return std::nullopt;
        case PropertyType::String:
            if (const auto* a = image.getAttribute<std::string>(name)) {
                return Property(a->value);
            }
            return std::nullopt;
        default: break;
    }
    if (!isArrayType(descriptor.type)) {
        return std::nullopt;
    }
    const auto* a = image.getAttribute<std::string>(name);
    return a ? parseArrayText(descriptor, a->value) : std::nullopt;
}

}  // namespace lumora

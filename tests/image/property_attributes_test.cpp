#include "lumora/image/property_attributes.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace lumora {
namespace {

// A value of the property's type that differs from its default and survives the text forms
// (six significant digits, quoting and escaping).
Property otherValue(const PropertyDescriptor& d) {
    switch (d.type) {
        case PropertyType::Bool: return Property(!d.defaultValue.asBool());
        case PropertyType::Int: return Property(d.defaultValue.asInt() + 1);
        case PropertyType::Float: return Property(d.defaultValue.asFloat() + 0.25f);
        case PropertyType::Vec3: return Property(Vec3{0.25f, 0.5f, 2.f});
        case PropertyType::String: return Property(std::string("C:\\luts\\a \"b\".cube"));
        case PropertyType::BoolArray: return Property::boolArray({true, false, true});
        case PropertyType::IntArray: return Property::intArray({-3, 0, 7});
        case PropertyType::FloatArray: return Property::floatArray({1.f, 0.5f, -2.25f, 1e-05f});
        case PropertyType::Vec2Array: return Property::vec2Array({{0.f, 0.f}, {0.5f, 0.75f}, {1.f, 1.f}});
        case PropertyType::Vec3Array: return Property::vec3Array({{1.f, 0.5f, 0.25f}, {0.f, 2.f, 3.f}});
        case PropertyType::StringArray: return Property::stringArray({"a", "b \"c\"", ""});
        default: break;
    }
    return {};
}

std::vector<const PropertyDescriptor*> postProcessingDescriptors() {
    std::vector<const PropertyDescriptor*> result;
    PropertyDescriptor::enumerate([&](const PropertyDescriptor& d) {
        if (d.hasFlag(PropertyDescriptor::PostProcessing)) result.push_back(&d);
    });
    return result;
}

// Stored values read back equal. The attribute types' way through a file is the EXR round trip's
// part, the stored settings' the editor's runs.
void expectRoundTrip(const Settings& settings) {
    ChannelImage image;
    storePropertyAttributes(image, settings);
    for (const PropertyDescriptor* d : postProcessingDescriptors()) {
        const Property expected = settings.get(d->id);
        const auto stored = readPropertyAttribute(image, *d);
        ASSERT_TRUE(stored.has_value()) << d->name;
        EXPECT_TRUE(*stored == expected) << d->name << ": " << toStr(*stored) << " instead of " << toStr(expected);
    }
}

TEST(PropertyAttributes, EveryPostProcessingPropertyRoundTrips) {
    expectRoundTrip(Settings());
    Settings changed;
    for (const PropertyDescriptor* d : postProcessingDescriptors()) changed.set(d->id, otherValue(*d));
    expectRoundTrip(changed);
}

// Other programs read the header: booleans and named constants are ints, arrays are text.
TEST(PropertyAttributes, AttributeTypesAndNames) {
    Settings settings;
    settings.set(PropertyId::colorMapLightmixEnabledLayers, Property::boolArray({true, false}));
    ChannelImage image;
    storePropertyAttributes(image, settings);
    EXPECT_EQ(image.attributes().size(), postProcessingDescriptors().size());
    EXPECT_NE(image.getAttribute<int>("lumora.cm.enabled"), nullptr);
    EXPECT_NE(image.getAttribute<int>("lumora.curves.master.interpol"), nullptr);
    EXPECT_NE(image.getAttribute<Rgb>("lumora.cm.tint"), nullptr);
    EXPECT_EQ(image.getAttribute<std::string>("lumora.cm.lightmixenabledlayers")->value, "true, false");
}

TEST(PropertyAttributes, ValuesOfAnotherTypeOrMalformedTextCountAsNotStored) {
    ChannelImage image;
    image.setAttribute<int>("lumora.cm.gamma", 2);
    image.setAttribute<std::string>("lumora.cm.enabled", "true");
    image.setAttribute<std::string>("lumora.cm.lightmixintensities", "1, x");
    image.setAttribute<std::string>("lumora.curves.r.nodes", "0 0, 1");
    for (const int id : {PropertyId::colorMapGamma, PropertyId::colorMapEnabled, PropertyId::colorMapLightmixIntensities,
                         PropertyId::curvesRNodes, PropertyId::curvesGNodes}) {
        EXPECT_FALSE(readPropertyAttribute(image, *PropertyDescriptor::get(id)).has_value()) << id;
    }
    // The configuration syntax is accepted beside the canonical text: 0 and 1 for booleans, blanks.
    image.setAttribute<std::string>("lumora.cm.lightmixenabledlayers", " 1 ,false, 0 ");
    EXPECT_EQ(readPropertyAttribute(image, *PropertyDescriptor::get(PropertyId::colorMapLightmixEnabledLayers)),
              Property::boolArray({true, false, false}));
}

}  // namespace
}  // namespace lumora

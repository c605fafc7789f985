#include "cli/property_descriptions.hpp"

#include <span>

#include "lumora/foundation/exception.hpp"
#include "lumora/foundation/text.hpp"

namespace lumora::CommandLine {

namespace {

struct Template {
    const char* name;
    const char* text;
};

const Template toneMappingTemplates[] = {
    {"colorMap.enabled",
     "Specifies whether to apply all the tone mapping (except the exposure settings, which are "
     "always enabled and therefore not affected by this property). The global default is "
     "\"%DEFAULT\" which could be overridden by the input image."},
    {"colorMap.highlightCompression",
     "Defines the white multiplier from the Reinhard mapping. It is the lowest intensity that "
     "will get mapped to pure white. The value is expected to lie between %MIN and %MAX. The "
     "global default is %DEFAULT which could be overridden by the input image."},
    {"colorMap.colorTemp",
     "Defines a white point temperature. It is the color temperature to which a neutral "
     "(white/gray) color will be mapped. The temperature is expected to lie between %MIN and "
     "%MAX. The global default is %DEFAULT which could be overridden by the input image."},
    {"colorMap.contrast",
     "Allows increasing or decreasing the contrast in the image. The value is expected to lie "
     "between %MIN and %MAX. The global default is %DEFAULT which could be overridden by the "
     "input image."},
    {"colorMap.simpleExposure",
     "Controls the global exposure (light intensity) multiplier. Used only when the photographic "
     "exposure is turned off. Uses an exponential scale - the image brightness is actually "
     "multiplied by 2^(exposure value). The value is expected to lie between %MIN and %MAX. The "
     "global default is %DEFAULT which could be overridden by the input image."},
    {"colorMap.iso",
     "Controls camera ISO speed. This is used to calculate exposure when the photographic "
     "exposure is turned on. The ISO is expected to lie between %MIN and %MAX. The global default "
     "is %DEFAULT which could be overridden by the input image."},
    {"colorMap.fStop", ""},
    {"colorMap.shutterSpeed", ""},
    {"colorMap.tint",
     "Applies a color tint to the resulting image. This is a color that the output will be "
     "multiplied with - setting it to values different than white will colorize the image. The "
     "global default is \"%DEFAULT\" which could be overridden by the input image."},
    {"colorMap.usePhotographic",
     "When enabled, the exposure of the image will be calculated from a set of photographic "
     "parameters like F-stop, ISO or shutter speed. This is an alternative to the simple "
     "exposure. The global default is \"%DEFAULT\" which could be overridden by the input image."},
    {"colorMap.filmic.highlightCompression",
     "Controls the compression of highlights in photographic tone mapping. Value %MIN results in "
     "no effect, value %MAX in full effect. The global default is %DEFAULT which could be "
     "overridden by the input image."},
    {"colorMap.filmic.richShadows",
     "Defines shadow richness in photographic tone mapping. Value %MIN results in no effect, "
     "value %MAX in full effect. The global default is %DEFAULT which could be overridden by the "
     "input image."},
    {"colorMap.saturation",
     "Controls the saturation of the image. Value 0 does not change the saturation. Using %MIN "
     "results in a completely unsaturated image, while using %MAX leads to extreme saturation. "
     "The global default is %DEFAULT which could be overridden by the input image."},
    {"vignette.intensity",
     "Defines the radius over which the vignetting effect is NOT applied. Pixels further from the "
     "center of the image than the defined radius will be darkened. When intensity is equal to "
     "%MIN, the radius is larger than the image size and therefore no vignette effect is applied. "
     "When intensity is equal to 1, the radius is equal to zero, and the whole image is "
     "influenced by vignetting. Increasing intensity beyond 1 up to %MAX will increase the rate "
     "of darkening from the radius towards edges of the image. The global default is %DEFAULT "
     "which could be overridden by the input image."},
    {"vignette.falloff", ""},
    {"colorMap.lut.enable",
     "Specifies whether to use the loaded Look-up Table (LUT) transform. A LUT changes the color "
     "of each pixel based on the pixel's original value, thus creating an effect of color grading "
     "and contrast change. The global default is \"%DEFAULT\" which could be overridden by the "
     "input image."},
    {"colorMap.lut.opacity",
     "Defines an opacity, i.e. influence, of the LUT. The opacity is expected to lie between %MIN "
     "and %MAX. The global default is %DEFAULT which could be overridden by the input image."},
    {"colorMap.lut.convertToLog",
     "Enable this if the selected LUT file is designed for Log cameras. None of the LUT files "
     "bundled with Lumora Renderer need this, but if your LUT file gives you washed-out results, "
     "you should enable it. The global default is \"%DEFAULT\" which could be overridden by the "
     "input image."},
    {"curves.enable",
     "Specifies whether to use curve tone mapping or not. The global default is \"%DEFAULT\" "
     "which could be overridden by the input image.To load the curves themselves you can use the "
     "--config argument with a path to a configuration file that contains properties related to "
     "curve tone mapping."},
    {"curves.master.nodes", ""},
    {"curves.master.interpol", ""},
    {"curves.r.nodes", ""},
    {"curves.r.interpol", ""},
    {"curves.g.nodes", ""},
    {"curves.g.interpol", ""},
    {"curves.b.nodes", ""},
    {"curves.b.interpol", ""},
    {"colorMap.lut.path",
     "Defines a path to the source file for the LUT. There is no global default. Nevertheless, "
     "the path could be defined by the input image."},
};

const Template bloomAndGlareTemplates[] = {
    {"bloomGlare.bloomIntensity",
     "Defines the linear scaling of the bloom effect. If the intensity is equal to %MIN, the "
     "bloom effect is disabled. The intensity can go to infinity. The global default is %DEFAULT "
     "which could be overridden by the input image."},
    {"bloomGlare.glareIntensity",
     "Defines the linear scaling of the glare effect. If the intensity is equal to %MIN, the "
     "glare effect is disabled. The intensity can go to infinity. The global default is %DEFAULT "
     "which could be overridden by the input image."},
    {"bloomGlare.streakCount",
     "Controls the number of streaks for the glare effect. It could be from %MIN up to %MAX "
     "streaks. The global default is %DEFAULT which could be overridden by the input image."},
    {"bloomGlare.rotation",
     "Rotates the glare effect in degrees. All real values are possible. The global default is "
     "%DEFAULT degrees which could be overridden by the input image."},
    {"bloomGlare.streakBlur",
     "Controls the blurring of the glare streak perpendicular to the streak direction. The value "
     "is expected to lie between %MIN and %MAX. The global default is %DEFAULT which could be "
     "overridden by the input image."},
    {"bloomGlare.colorIntensity",
     "Defines the intensity of the color shifting effect. Intensity equal to %MIN completely "
     "disables the effect, while intensity equal to %MAX results in full strength of the effect. "
     "The global default is %DEFAULT which could be overridden by the input image."},
    {"bloomGlare.colorShift",
     "Alternates the colors produced by the color shifting effect (which is controlled by the "
     "color intensity property). Values from %MIN to %MAX are available. The global default is "
     "%DEFAULT which could be overridden by the input image."},
    {"bloomGlare.threshold",
     "Only pixels brighter than this threshold are affected by the bloom and glare effects. The "
     "threshold can go from %MIN to infinity. The global default is %DEFAULT which could be "
     "overridden by the input image. Increase this value to make the effects more localized "
     "around only the brightest light sources."},
    {"bloomGlare.enabled",
     "Applies both the bloom and glare effects. The global default is \"%DEFAULT\" which could be "
     "overridden by the input image."},
};

const Template sharpeningBlurringTemplates[] = {
    {"sharpening.amount",
     "Defines the strength of the sharpening. The amount is expected to lie between %MIN and "
     "%MAX. If it is greater than %MIN the image is sharpened. The global default is %DEFAULT "
     "which could be overridden by the input image."},
    {"sharpening.radius",
     "Controls a pixel radius used for sharpening. It corresponds to the size of the "
     "high-frequency detector. The radius could be from %MIN to %MAX. The global default is "
     "%DEFAULT which could be overridden by the input image."},
    {"blurring.radius",
     "Controls a pixel radius used for blurring. It corresponds to the size of the blurring "
     "window. The radius could be from %MIN to %MAX. The global default is %DEFAULT which could "
     "be overridden by the input image."},
    {"sharpening.blurring.enable",
     "Enables both sharpening and blurring the image. The global default is \"%DEFAULT\" which "
     "could be overridden by the input image."},
};

const Template denoisingTemplates[] = {
    {"denoise.blendAmount",
     "Defines an amount, between %MIN and %MAX, of blending between the original image and its "
     "denoised variant. The global default is %DEFAULT which could be overridden by the input "
     "image."},
    {"denoise.filterType",
     "Selects a denoising mode, i.e. the type of noise reduction filter. It can be set to either "
     "to the \"Full\" constant for full-featured denoising, or to the \"Fireflies\" constant to "
     "remove fireflies (high intensity pixels) only. The global default is the \"None\" constant "
     "which could be overridden by the input image."},
    {"denoise.sensitivity",
     "Controls the sensitivity of the denoising to details. It has nothing to do with rendering "
     "or gathering denoising data by Lumora Renderer. In the GUI version of the editor this "
     "property is called denoising radius. The sensitivity is expected to lie between %MIN and "
     "%MAX. A larger sensitivity results in more aggressive filtering (which could result in "
     "greater blurring of details in textures, etc.). The global default is %DEFAULT which could "
     "be overridden by the input image."},
};

const Template lightMixTemplates[] = {
    {"colorMap.lightmixColors",
     "Defines a color multiplier for each light select of the LightMix. They are expected to be "
     "separated by commas. The light selects are ordered in the same way as in the GUI version of "
     "the editor. The global default is a white color (1 1 1) for all the light selects, which "
     "could be overridden by the input image."},
    {"colorMap.lightmixIntensities",
     "Defines an intensity multiplier for each light select of the LightMix. They are expected to "
     "be separated by commas. The light selects are ordered in the same way as in the GUI version "
     "of the editor. The global default is 1 for all the light selects, which could be overridden "
     "by the input image."},
    {"colorMap.lightmixEnabledLayers",
     "Defines an on/off switch for each light select of the LightMix. They are expected to be "
     "either 1 or 0, separated by commas. The light selects are ordered in the same way as in the "
     "GUI version of the editor. The global default is 1 for all the light selects, which could "
     "be overridden by the input image."},
};

std::span<const Template> templatesOf(PropertyCategory category) {
    switch (category) {
        case PropertyCategory::ToneMapping: return toneMappingTemplates;
        case PropertyCategory::BloomAndGlare: return bloomAndGlareTemplates;
        case PropertyCategory::SharpeningBlurring: return sharpeningBlurringTemplates;
        case PropertyCategory::Denoising: return denoisingTemplates;
        case PropertyCategory::LightMix: return lightMixTemplates;
    }
    LUMORA_STOP();
}

const PropertyDescriptor& findDescriptor(const std::string& name) {
    const PropertyDescriptor* found = nullptr;
    PropertyDescriptor::enumerate([&](const PropertyDescriptor& descriptor) {
        if (descriptor.name == name) found = &descriptor;
    });
    LUMORA_ASSERT(found != nullptr);
    return *found;
}

std::string replaceIfPresent(const std::string& text, std::string_view placeholder, const Property& value) {
    // The text form of an empty property is a defect, so it is asked for only when needed.
    if (text.find(placeholder) == std::string::npos) return text;
    return text::replaceAll(text, placeholder, toStr(value));
}

}  // namespace

std::string_view getCategoryName(PropertyCategory category) {
    switch (category) {
        case PropertyCategory::ToneMapping: return "Tone mapping";
        case PropertyCategory::BloomAndGlare: return "Bloom and Glare";
        case PropertyCategory::SharpeningBlurring: return "Sharpening/blurring";
        case PropertyCategory::Denoising: return "Denoising";
        case PropertyCategory::LightMix: return "LightMix";
    }
    LUMORA_STOP();
}

std::string substitutePlaceholders(std::string_view descriptionTemplate, const PropertyDescriptor& descriptor) {
    std::string text = text::trim(descriptionTemplate);
    if (text.empty()) return text;
    text = text::replaceAll(text, "%TYPE", propertyTypeName(descriptor.type));
    text = text::replaceAll(text, "%NAME", descriptor.name);
    text = replaceIfPresent(text, "%DEFAULT", descriptor.defaultValue);
    text = replaceIfPresent(text, "%MIN", descriptor.minValue);
    text = replaceIfPresent(text, "%MAX", descriptor.maxValue);
    return text::trim(text);
}

PropertyDescriptions::PropertyDescriptions() {
    for (const PropertyCategory category : listedCategories) {
        std::map<int, std::string>& descriptions = categories_[static_cast<std::size_t>(category)];
        for (const Template& entry : templatesOf(category)) {
            const PropertyDescriptor& descriptor = findDescriptor(entry.name);
            descriptions[descriptor.id] = substitutePlaceholders(entry.text, descriptor);
        }
    }
}

const PropertyDescriptions& PropertyDescriptions::instance() {
    static const PropertyDescriptions descriptions;
    return descriptions;
}

const std::string& PropertyDescriptions::getDescription(int id) const {
    static const std::string none;
    for (const PropertyCategory category : {PropertyCategory::Denoising, PropertyCategory::LightMix,
                                            PropertyCategory::BloomAndGlare, PropertyCategory::ToneMapping,
                                            PropertyCategory::SharpeningBlurring}) {
        const std::map<int, std::string>& descriptions = getCategory(category);
        if (const auto it = descriptions.find(id); it != descriptions.end()) return it->second;
    }
    return none;
}

}  // namespace lumora::CommandLine

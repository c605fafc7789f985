#include "cli/expected_texts.hpp"

#include <vector>

#include "cli/wrap_text.hpp"

namespace lumora::test {

namespace {

const std::string gap = "    ";
const std::string descriptionPrefix = "        > ";

struct DescribedArgument {
    const char* names;
    const char* description;
};

const DescribedArgument arguments[] = {
    {"-h, --help",
     "Prints this help."},
    {"--list-properties",
     "Prints descriptions of all properties recognized by the --set and --config arguments. See the "
     "information for those arguments for further details."},
    {"--list-examples",
     "Prints some example usage."},
    {"-w, --weights",
     "Sets a weight, or weights, to use while merging/stitching multiple images into one.\n"
     "If more than one input image is given, the editor will compose each pixel as a weighted "
     "arithmetic mean of corresponding pixels retrieved from the input images. Using this argument "
     "you can define a single weight for all input images, or define a different weight for each "
     "individual image (use the semicolon as a separator).\n"
     "Each weight could be either -\n"
     "A float constant for a whole image (use the dot as a decimal separator):\n"
     "--weights \"<float constant>[;<float constant>...]\"\n"
     "Or the name of a special channel containing float weight values for each pixel (prefix the name "
     "with the percent sign):\n"
     "--weights \"%<channel name>[;%<channel name>...]\"\n"
     "If no --weights argument is given, all input images will be merged/stitched using a weight "
     "channel named LUMORA_FB_WEIGHTS that is present in all renders made by Lumora Renderer."},
    {"-e, --element",
     "Selects a render element that should be processed and saved.\n"
     "It could be either -\n"
     "The name of a single render element as it is presented in the GUI version of the editor, for "
     "instance the beauty render element:\n"
     "--element \"BEAUTY\"\n"
     "Or the asterisk symbol for selecting all render elements at once:\n"
     "--element \"*\"\n"
     "If no --element argument is given, the second variant is the default."},
    {"-s, --set",
     "Overrides the value of some selected property.\n"
     "All image operations that the editor can perform are controlled by properties. The value of "
     "each property arises independently from the following precedence list (the latter ones "
     "automatically override the previous ones):\n"
     "(1) global default value defined by Lumora Renderer\n"
     "(2) default value loaded from the input image, if it is in Lumora EXR format and the value is "
     "present there\n"
     "(3) value set by the right-most --set or --config argument on the command-line\n"
     "The argument expects a formatted string in the following form:\n"
     "--set \"<property type> <property name> = <property value>\"\n"
     "All bool values are expected to be either \"true\" or \"false\". Float values must use dots as "
     "decimal separators. Colors are expected as float triplets separated by spaces. Integer values "
     "can sometimes be replaced by predefined string constants. Use the --list-properties argument "
     "for further details."},
    {"-c, --config",
     "Loads a configuration file to override the values of some properties.\n"
     "It expects a path to some configuration file previously exported from the GUI version of the "
     "editor, or from Lumora Renderer's VFB:\n"
     "--config \"C:\\Path\\To\\File.conf\"\n"
     "In all other aspects, it behaves in the same way as the --set argument."},
};

const char* const examples[] = {
    "\n"
    "    1) Load a single input image in Lumora EXR format (LXR) and save it to PNG\n"
    "    format. Before saving the image, it will be automatically processed\n"
    "    according to any settings that are loaded from the input image itself (a\n"
    "    feature specific to LXR images). See the --set argument for further\n"
    "    details.\n"
    "    The alpha channel will be saved automatically if the input image contains\n"
    "    it. Each render element of the input image will be saved to a separate\n"
    "    output image.\n"
    "    Note that the backslash character marks only transition of the command to\n"
    "    a new line - it is not part of the command itself.\n"
    "\n"
    "        ",
    " \\\n"
    "        Input.lxr Output.png\n"
    "\n"
    "    2) Similar to the above but before saving the image, explicitly apply\n"
    "    bloom and glare effects and map tones using some non-zero exposure.\n"
    "    \n"
    "        ",
    " \\\n"
    "        --set \"Bool bloomGlare.enabled = true\" \\\n"
    "        --set \"Float bloomGlare.bloomIntensity = 10\" \\\n"
    "        --set \"Float bloomGlare.glareIntensity = 10\" \\\n"
    "        --set \"Float colorMap.simpleExposure = 1.5\" \\\n"
    "        Input.lxr Output.png\n"
    "\n"
    "    3) Denoise only the beauty element of the input image using \\\"High quality\\\"\n"
    "    denoising mode. Save the element alone (both its denoised and non-denoised \n"
    "    variants) back to the Lumora EXR format to allow further processing by the \n"
    "    editor. See the --element argument for further details on how elements can \n"
    "    be selected.\n"
    "\n"
    "        ",
    " \\\n"
    "        --set \"Int denoise.filterType = Full\" \\\n"
    "        --element \"BEAUTY\" \\\n"
    "        Input.lxr OutputBeauty.lxr\n"
    "\n"
    "    4) Denoise all render elements present in the input image. If some element\n"
    "    is not denoisable, a warning will be printed and the editor will continue\n"
    "    with the next element. The denoising mode is not being set by the --set\n"
    "    argument as above, but through the given configuration file (which may\n"
    "    introduce some other settings too).\n"
    "\n"
    "        ",
    " \\\n"
    "        --config DenoisingSettings.conf \\\n"
    "        --element \"*\" \\\n"
    "        Input.lxr Output.lxr\n"
    "\n"
    "    5) Merge input images from several render nodes. Weights of the images (or\n"
    "    more precisely of each of their pixels - see the --weights argument for\n"
    "    more details) are loaded automatically from the default weight channel\n"
    "    LUMORA_FB_WEIGHTS. This channel is expected to be stored in all the input\n"
    "    images.\n"
    "\n"
    "        ",
    " \\\n"
    "        Input1.lxr Input2.lxr Input3.lxr Output.lxr\n"
    "\n"
    "    6) Same as above, but using a different weight for each of the input\n"
    "    images - a float constant for the first and third image, and the default\n"
    "    weight channel for the second image. \n"
    "\n"
    "        ",
    " \\\n"
    "        --weights \"84;%LUMORA_FB_WEIGHTS;117\" \\\n"
    "        Input1.lxr Input2.lxr Input3.lxr Output.lxr\n"
    "\n"
    "    7) Remove high intensity pixels in one particular render element of an\n"
    "    image merged directly from several input images. If the element does not\n"
    "    exist, the editor will report an error, and the output LXR will not be\n"
    "    created.\n"
    "\n"
    "        ",
    " \\\n"
    "        --set \"Int denoise.filterType = Fireflies\" \\\n"
    "        --element \"some element name\" \\\n"
    "        Input1.lxr Input2.lxr Input3.lxr OutputElement.lxr\n"
    "\n"
    "    8) Use the LightMix feature and mix together lights from two light selects\n"
    "    multiplied by the given intensities and colors. The third light select is\n"
    "    disabled (note that values for intensity and color must still be provided\n"
    "    for disabled light selects, but will have no effect on the result). Save\n"
    "    the resulting mixture into an output image using the regular EXR format.\n"
    "    Denoise the light selects first.\n"
    "\n"
    "        ",
    " \\\n"
    "        --set \"BoolArray colorMap.lightmixEnabledLayers = 1, 1, 0\" \\\n"
    "        --set \"FloatArray colorMap.lightmixIntensities = 0.5, 3, 1\" \\\n"
    "        --set \"Vec3Array colorMap.lightmixColors = 0 0 1, 1 0 0, 1 1 1\" \\\n"
    "        --set \"Int denoise.filterType = Full\" \\\n"
    "        --element \"LightMix Interactive\" \\\n"
    "        Input.lxr Output.exr",
};

struct ListedProperty {
    const char* type;
    const char* name;
    const char* description;
};

struct ListedCategory {
    const char* name;
    std::vector<ListedProperty> properties;
};

const ListedCategory listedProperties[] = {
    {"Tone mapping",
     {
         {"Bool", "colorMap.enabled",
          "Specifies whether to apply all the tone mapping (except the exposure settings, which "
          "are always enabled and therefore not affected by this property). The global default "
          "is \"true\" which could be overridden by the input image."},
         {"Float", "colorMap.highlightCompression",
          "Defines the white multiplier from the Reinhard mapping. It is the lowest intensity "
          "that will get mapped to pure white. The value is expected to lie between 0.01 and "
          "999. The global default is 1 which could be overridden by the input image."},
         {"Float", "colorMap.colorTemp",
          "Defines a white point temperature. It is the color temperature to which a neutral "
          "(white/gray) color will be mapped. The temperature is expected to lie between 2000 "
          "and 99999. The global default is 6500 which could be overridden by the input image."},
         {"Float", "colorMap.contrast",
          "Allows increasing or decreasing the contrast in the image. The value is expected to "
          "lie between 0 and 99. The global default is 1 which could be overridden by the input "
          "image."},
         {"Float", "colorMap.simpleExposure",
          "Controls the global exposure (light intensity) multiplier. Used only when the "
          "photographic exposure is turned off. Uses an exponential scale - the image brightness "
          "is actually multiplied by 2^(exposure value). The value is expected to lie between "
          "-20 and 20. The global default is 0 which could be overridden by the input image."},
         {"Float", "colorMap.iso",
          "Controls camera ISO speed. This is used to calculate exposure when the photographic "
          "exposure is turned on. The ISO is expected to lie between 0.001 and 999999. The "
          "global default is 100 which could be overridden by the input image."},
         {"Vec3", "colorMap.tint",
          "Applies a color tint to the resulting image. This is a color that the output will be "
          "multiplied with - setting it to values different than white will colorize the image. "
          "The global default is \"1 1 1\" which could be overridden by the input image."},
         {"Bool", "colorMap.usePhotographic",
          "When enabled, the exposure of the image will be calculated from a set of photographic "
          "parameters like F-stop, ISO or shutter speed. This is an alternative to the simple "
          "exposure. The global default is \"false\" which could be overridden by the input "
          "image."},
         {"Float", "colorMap.filmic.highlightCompression",
          "Controls the compression of highlights in photographic tone mapping. Value 0 results "
          "in no effect, value 1 in full effect. The global default is 0 which could be "
          "overridden by the input image."},
         {"Float", "colorMap.filmic.richShadows",
          "Defines shadow richness in photographic tone mapping. Value 0 results in no effect, "
          "value 1 in full effect. The global default is 0 which could be overridden by the "
          "input image."},
         {"Float", "colorMap.saturation",
          "Controls the saturation of the image. Value 0 does not change the saturation. Using "
          "-1 results in a completely unsaturated image, while using 1 leads to extreme "
          "saturation. The global default is 0 which could be overridden by the input image."},
         {"Float", "vignette.intensity",
          "Defines the radius over which the vignetting effect is NOT applied. Pixels further "
          "from the center of the image than the defined radius will be darkened. When intensity "
          "is equal to 0, the radius is larger than the image size and therefore no vignette "
          "effect is applied. When intensity is equal to 1, the radius is equal to zero, and the "
          "whole image is influenced by vignetting. Increasing intensity beyond 1 up to 10 will "
          "increase the rate of darkening from the radius towards edges of the image. The global "
          "default is 0 which could be overridden by the input image."},
         {"Bool", "colorMap.lut.enable",
          "Specifies whether to use the loaded Look-up Table (LUT) transform. A LUT changes the "
          "color of each pixel based on the pixel's original value, thus creating an effect of "
          "color grading and contrast change. The global default is \"false\" which could be "
          "overridden by the input image."},
         {"Float", "colorMap.lut.opacity",
          "Defines an opacity, i.e. influence, of the LUT. The opacity is expected to lie "
          "between 0 and 1. The global default is 1 which could be overridden by the input image."},
         {"Bool", "colorMap.lut.convertToLog",
          "Enable this if the selected LUT file is designed for Log cameras. None of the LUT "
          "files bundled with Lumora Renderer need this, but if your LUT file gives you "
          "washed-out results, you should enable it. The global default is \"false\" which could "
          "be overridden by the input image."},
         {"Bool", "curves.enable",
          "Specifies whether to use curve tone mapping or not. The global default is \"false\" "
          "which could be overridden by the input image.To load the curves themselves you can "
          "use the --config argument with a path to a configuration file that contains "
          "properties related to curve tone mapping."},
         {"String", "colorMap.lut.path",
          "Defines a path to the source file for the LUT. There is no global default. "
          "Nevertheless, the path could be defined by the input image."},
     }},
    {"Bloom and Glare",
     {
         {"Float", "bloomGlare.bloomIntensity",
          "Defines the linear scaling of the bloom effect. If the intensity is equal to 0, the "
          "bloom effect is disabled. The intensity can go to infinity. The global default is 1 "
          "which could be overridden by the input image."},
         {"Float", "bloomGlare.glareIntensity",
          "Defines the linear scaling of the glare effect. If the intensity is equal to 0, the "
          "glare effect is disabled. The intensity can go to infinity. The global default is 1 "
          "which could be overridden by the input image."},
         {"Int", "bloomGlare.streakCount",
          "Controls the number of streaks for the glare effect. It could be from 1 up to 8 "
          "streaks. The global default is 3 which could be overridden by the input image."},
         {"Float", "bloomGlare.rotation",
          "Rotates the glare effect in degrees. All real values are possible. The global default "
          "is 15 degrees which could be overridden by the input image."},
         {"Float", "bloomGlare.streakBlur",
          "Controls the blurring of the glare streak perpendicular to the streak direction. The "
          "value is expected to lie between 0 and 1. The global default is 0.2 which could be "
          "overridden by the input image."},
         {"Float", "bloomGlare.colorIntensity",
          "Defines the intensity of the color shifting effect. Intensity equal to 0 completely "
          "disables the effect, while intensity equal to 1 results in full strength of the "
          "effect. The global default is 0.3 which could be overridden by the input image."},
         {"Float", "bloomGlare.colorShift",
          "Alternates the colors produced by the color shifting effect (which is controlled by "
          "the color intensity property). Values from 0 to 1 are available. The global default "
          "is 0.5 which could be overridden by the input image."},
         {"Float", "bloomGlare.threshold",
          "Only pixels brighter than this threshold are affected by the bloom and glare effects. "
          "The threshold can go from 0 to infinity. The global default is 1 which could be "
          "overridden by the input image. Increase this value to make the effects more localized "
          "around only the brightest light sources."},
         {"Bool", "bloomGlare.enabled",
          "Applies both the bloom and glare effects. The global default is \"false\" which could "
          "be overridden by the input image."},
     }},
    {"Sharpening/blurring",
     {
         {"Float", "sharpening.amount",
          "Defines the strength of the sharpening. The amount is expected to lie between 0 and "
          "10. If it is greater than 0 the image is sharpened. The global default is 1 which "
          "could be overridden by the input image."},
         {"Float", "sharpening.radius",
          "Controls a pixel radius used for sharpening. It corresponds to the size of the "
          "high-frequency detector. The radius could be from 0 to 50. The global default is 0.5 "
          "which could be overridden by the input image."},
         {"Float", "blurring.radius",
          "Controls a pixel radius used for blurring. It corresponds to the size of the blurring "
          "window. The radius could be from 0 to 50. The global default is 1.33 which could be "
          "overridden by the input image."},
         {"Bool", "sharpening.blurring.enable",
          "Enables both sharpening and blurring the image. The global default is \"false\" which "
          "could be overridden by the input image."},
     }},
    {"Denoising",
     {
         {"Float", "denoise.blendAmount",
          "Defines an amount, between 0 and 1, of blending between the original image and its "
          "denoised variant. The global default is 0.65 which could be overridden by the input "
          "image."},
         {"Int", "denoise.filterType",
          "Selects a denoising mode, i.e. the type of noise reduction filter. It can be set to "
          "either to the \"Full\" constant for full-featured denoising, or to the \"Fireflies\" "
          "constant to remove fireflies (high intensity pixels) only. The global default is the "
          "\"None\" constant which could be overridden by the input image."},
         {"Float", "denoise.sensitivity",
          "Controls the sensitivity of the denoising to details. It has nothing to do with "
          "rendering or gathering denoising data by Lumora Renderer. In the GUI version of the "
          "editor this property is called denoising radius. The sensitivity is expected to lie "
          "between 0.1 and 10. A larger sensitivity results in more aggressive filtering (which "
          "could result in greater blurring of details in textures, etc.). The global default is "
          "1 which could be overridden by the input image."},
     }},
    {"LightMix",
     {
         {"Vec3Array", "colorMap.lightmixColors",
          "Defines a color multiplier for each light select of the LightMix. They are expected "
          "to be separated by commas. The light selects are ordered in the same way as in the "
          "GUI version of the editor. The global default is a white color (1 1 1) for all the "
          "light selects, which could be overridden by the input image."},
         {"FloatArray", "colorMap.lightmixIntensities",
          "Defines an intensity multiplier for each light select of the LightMix. They are "
          "expected to be separated by commas. The light selects are ordered in the same way as "
          "in the GUI version of the editor. The global default is 1 for all the light selects, "
          "which could be overridden by the input image."},
         {"BoolArray", "colorMap.lightmixEnabledLayers",
          "Defines an on/off switch for each light select of the LightMix. They are expected to "
          "be either 1 or 0, separated by commas. The light selects are ordered in the same way "
          "as in the GUI version of the editor. The global default is 1 for all the light "
          "selects, which could be overridden by the input image."},
     }},
};

}  // namespace

std::string expectedBanner() {
    return "Lumora Image Editor " LUMORA_VERSION " - command-line interface\n"
           "Lumora Software 2014-" +
           std::string(__DATE__).substr(7) +
           "\n"
           "https://lumora.example/image-editor\n"
           "\n"
           "--\n"
           "\n";
}

std::string expectedUsage(const std::string& executableName) {
    std::string text = "Usage (for some examples use --list-examples argument):\n\n" + gap + executableName +
                       " [arguments] <input image> [other input images] <output image>\n\n\nArguments:\n\n";
    for (const DescribedArgument& argument : arguments) {
        text += gap + argument.names + "\n" + utils::wrapText(argument.description, 68, descriptionPrefix) + "\n";
    }
    return text;
}

std::string expectedExamples(const std::string& executableName) {
    std::string text = "Example usage:\n";
    for (const char* example : examples) text += example + executableName;
    // The last text is followed by two line breaks instead of a name.
    text.resize(text.size() - executableName.size());
    return text + "\n\n";
}

std::string expectedProperties() {
    std::string text;
    for (const ListedCategory& category : listedProperties) {
        if (!text.empty()) text += "\n";
        text += std::string(category.name) + " properties:\n\n";
        for (const ListedProperty& property : category.properties) {
            text += gap + property.type + " " + property.name + "\n" +
                    utils::wrapText(property.description, 68, descriptionPrefix) + "\n\n";
        }
    }
    return text;
}

std::string expectedErrorReport(const std::string& message) {
    return "\nError: " + message +
           "\n\nPlease read the help for the editor. The appropriate part of the help can be printed out by using "
           "one of the --help, --list-properties, or --list-examples arguments.\n";
}

}  // namespace lumora::test

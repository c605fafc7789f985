#include "cli/help.hpp"

#include "cli/property_descriptions.hpp"
#include "cli/wrap_text.hpp"
#include "lumora/foundation/system.hpp"
#include "lumora/settings/property_descriptor.hpp"

namespace lumora::CommandLine {

namespace {

// Each example but the last ends where the executable's name follows.
const char* const exampleTexts[] = {
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

std::string executableName() { return utils::getExecutableFilePath().filename().string(); }

}  // namespace

void printUsage(std::ostream& out, const Parser& parser) {
    out << "Usage (for some examples use --list-examples argument):\n\n";
    out << Parser::GAP << executableName() << " [arguments] <input image> [other input images] <output image>\n\n\n";
    out << "Arguments:\n\n";
    parser.printHelp(out);
}

void printExamples(std::ostream& out) {
    const std::string name = executableName();
    out << "Example usage:\n";
    constexpr std::size_t count = std::size(exampleTexts);
    for (std::size_t k = 0; k + 1 < count; ++k) out << exampleTexts[k] << name;
    out << exampleTexts[count - 1] << "\n\n";
}

void printProperties(std::ostream& out) {
    const PropertyDescriptions& descriptions = PropertyDescriptions::instance();
    const std::string prefix = Parser::getDescriptionPrefix();
    for (std::size_t c = 0; c < listedCategories.size(); ++c) {
        const PropertyCategory category = listedCategories[c];
        out << getCategoryName(category) << " properties:\n\n";
        for (const auto& [id, description] : descriptions.getCategory(category)) {
            if (description.empty()) continue;
            const PropertyDescriptor* descriptor = PropertyDescriptor::get(id);
            out << Parser::GAP << propertyTypeName(descriptor->type) << ' ' << descriptor->name << '\n';
            out << utils::wrapText(description, Parser::descriptionWidth, prefix) << "\n\n";
        }
        if (c + 1 < listedCategories.size()) out << '\n';
    }
}

std::string getPropertyDescription(int id) { return PropertyDescriptions::instance().getDescription(id); }

}  // namespace lumora::CommandLine

// lumora-sample-render: writes realistic LXR renders of a fixed test scene.

#include <algorithm>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "lumora/foundation/scheduler.hpp"
#include "lumora/foundation/temporary_files.hpp"
#include "lumora/image/exr_saver.hpp"
#include "sample_render/options.hpp"
#include "sample_render/preview.hpp"
#include "sample_render/render.hpp"

namespace {

int fail(const std::string& message) {
    std::cerr << "Error: " << message << "\nRun 'lumora-sample-render --help' for the options.\n";
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    using namespace lumora;
    io::removeTemporaryFilesOnSignals();
    const std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
    const auto options = sample::parseOptions(arguments);
    if (!options) {
        return fail(options.error());
    }
    if (options->help) {
        std::cout << sample::usageText();
        return 0;
    }
    try {
        if (options->threads > 0) {
            scheduler::setWorkerCount(options->threads);
        }
        const ChannelImage image = sample::renderLxr(*options);
        const auto saved = ExrSaver().save(image, options->output);
        if (!saved) {
            return fail(saved.error());
        }
        if (!options->preview.empty()) {
            const auto previewed = sample::writePreview(image, options->preview);
            if (!previewed) {
                return fail(previewed.error());
            }
        }
    } catch (const std::exception& e) {
        return fail(e.what());
    }
    return 0;
}

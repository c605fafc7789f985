#include "lumora/pipeline/cli_pipeline.hpp"

#include "lumora/foundation/exception.hpp"

namespace lumora::Pipeline {

CliPipeline::CliPipeline(Settings* settings) : settings_(settings) {}

void CliPipeline::run(Performer::IRuntime& runtime) {
    // The operators are not wired in yet: the run checks what the load phase checks first, applies
    // the command-line overrides as it will after loading, and then stops.
    if (runtime.getInputs().empty()) throw Exception("At least one input image path is expected.");
    runtime.applySettingsOverrides(*settings_);
    throw Exception("Processing of render images is not available in this build yet.");
}

}  // namespace lumora::Pipeline

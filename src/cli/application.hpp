#pragma once
// The life of one invocation of the editor: start-up, the informational modes or the processing
// run, tear-down, and the reporting of every error with the exit status.

#include <ostream>
#include <span>
#include <string>

#include "cli/runtime.hpp"
#include "lumora/foundation/application_context.hpp"
#include "lumora/pipeline/cli_pipeline.hpp"

namespace lumora {

class ImageEditorCliContext : public ApplicationContext {
public:
    ImageEditorCliContext();
};

// arguments[0] is the executable's name. Returns the exit status: 0 after an informational mode
// or a finished run, 1 after a reported error. A failure of start-up or tear-down is a defect and
// escapes as an internal-defect Exception.
int run(std::span<const std::string> arguments, std::ostream& out, std::ostream& err);

// Parses the arguments and runs the selected mode; user errors are reported on err.
int mainLogic(CommandLine::Runtime& runtime, Pipeline::CliPipeline& pipeline, std::span<const std::string> arguments,
              std::ostream& out, std::ostream& err);

void printBanner(std::ostream& out);

}  // namespace lumora

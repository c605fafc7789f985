#include "cli/application.hpp"

#include <exception>
#include <memory>

#include "cli/help.hpp"
#include "cli/property_descriptions.hpp"
#include "lumora/foundation/exception.hpp"
#include "lumora/image/library.hpp"
#include "lumora/settings/settings.hpp"

namespace lumora {

namespace {

constexpr Palette cliPalette = {{{200, 200, 200},
                                 {110, 110, 110},
                                 {68, 68, 68},
                                 {37, 37, 37},
                                 {0, 0, 0},
                                 {39, 147, 255},
                                 {0, 73, 112},
                                 {81, 167, 241}}};

void reportError(std::ostream& err, const std::string& message) {
    err << std::endl << "Error: " << message << std::endl << std::endl;
    err << "Please read the help for the editor. The appropriate part of the help can be printed out by using one "
           "of the --help, --list-properties, or --list-examples arguments."
        << std::endl;
}

}  // namespace

ImageEditorCliContext::ImageEditorCliContext()
    : ApplicationContext(ApplicationType::CommandLineInterface, ".", cliPalette) {}

void printBanner(std::ostream& out) {
    // __DATE__ reads like "Mar 27 2019".
    const std::string buildYear = std::string(__DATE__).substr(7);
    out << "Lumora Image Editor " << Library::getLibVersion() << " - command-line interface" << std::endl;
    out << "Lumora Software 2014-" << buildYear << std::endl;
    out << "https://lumora.example/image-editor" << std::endl;
    out << std::endl;
    out << "--" << std::endl;
    out << std::endl;
}

int mainLogic(CommandLine::Runtime& runtime, Pipeline::CliPipeline& pipeline, std::span<const std::string> arguments,
              std::ostream& out, std::ostream& err) {
    try {
        runtime.parse(arguments);
        // When several informational switches are given, only the first of this order counts.
        if (runtime.isHelpRequested()) {
            printBanner(out);
            CommandLine::printUsage(out, runtime.getParser());
        } else if (runtime.isListPropertiesRequested()) {
            printBanner(out);
            CommandLine::printProperties(out);
        } else if (runtime.isListExamplesRequested()) {
            printBanner(out);
            CommandLine::printExamples(out);
        } else {
            pipeline.run(runtime);
        }
        return 0;
    } catch (const Exception& e) {
        reportError(err, e.message());
        return 1;
    }
}

int run(std::span<const std::string> arguments, std::ostream& out, std::ostream& err) {
    try {
        Library::initLib(std::make_shared<ImageEditorCliContext>());
        CommandLine::PropertyDescriptions::instance();

        int status = 1;
        // Destroyed in reverse order of creation, before the library shuts down.
        std::shared_ptr<Settings> settings;
        std::unique_ptr<Pipeline::CliPipeline> pipeline;
        std::unique_ptr<CommandLine::Runtime> runtime;
        try {
            settings = std::make_shared<Settings>();
            pipeline = std::make_unique<Pipeline::CliPipeline>(settings.get());
            runtime = std::make_unique<CommandLine::Runtime>(err);
            status = mainLogic(*runtime, *pipeline, arguments, out, err);
        } catch (const std::exception& e) {
            err << std::endl << "Unhandled error: " << e.what() << std::endl;
            status = 1;
        } catch (...) {
            err << std::endl << "Unhandled error: Something is wrong." << std::endl;
            status = 1;
        }
        runtime.reset();
        pipeline.reset();
        settings.reset();

        Library::shutdownLib();
        return status;
    } catch (...) {
        // Start-up and tear-down do not fail on user input: anything escaping them is a defect.
        LUMORA_STOP();
    }
}

}  // namespace lumora

#pragma once
// The chain of operators that one processing run of the console editor drives.

#include "lumora/pipeline/runtime.hpp"
#include "lumora/settings/settings.hpp"

namespace lumora::Pipeline {

class CliPipeline {
public:
    // settings is owned by the caller and outlives the pipeline.
    explicit CliPipeline(Settings* settings);
    CliPipeline(const CliPipeline&) = delete;
    CliPipeline& operator=(const CliPipeline&) = delete;

    // The whole processing run: load, denoise, save. Throws Exception on every failure.
    void run(Performer::IRuntime& runtime);

private:
    Settings* settings_;
};

}  // namespace lumora::Pipeline

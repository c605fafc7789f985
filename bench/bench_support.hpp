#pragma once
// What the benchmark programs share: a scratch folder, running programs, and sample renders made
// by lumora-sample-render, found beside the benchmark's build folder
// (<build>/tools/lumora-sample-render) or named by the environment variable LUMORA_SAMPLE_RENDER.

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "lumora/foundation/system.hpp"

extern char** environ;

namespace bench {

namespace fs = std::filesystem;

inline fs::path buildFolder() { return lumora::utils::getExecutableFilePath().parent_path().parent_path(); }

// A folder of this run's own, removed at exit.
struct Scratch {
    fs::path path = fs::temp_directory_path() / ("lumora_bench_" + std::to_string(getpid()));
    Scratch() { fs::create_directories(path); }
    ~Scratch() {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
};

inline const fs::path& scratch() {
    static const Scratch folder;
    return folder.path;
}

// Runs the program (looked up in PATH when the name has no "/") and returns its exit status, or
// -1 when it could not run. Its output goes to /dev/null when quiet.
inline int spawn(std::vector<std::string> arguments, bool quiet = false) {
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (quiet) {
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    }
    pid_t pid = 0;
    const int started = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (started != 0) return -1;
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Renders the test scene at 1920 x 1080 with the given seed into the scratch folder.
inline fs::path sampleRender(const std::string& name, const std::string& seed) {
    const char* named = std::getenv("LUMORA_SAMPLE_RENDER");
    const std::string renderer = named ? named : (buildFolder() / "tools" / "lumora-sample-render").string();
    const fs::path path = scratch() / name;
    if (spawn({renderer, "--size", "1920x1080", "--passes", "4", "--seed", seed, path.string()}) != 0) {
        throw std::runtime_error("Cannot run " + renderer);
    }
    return path;
}

}  // namespace bench

#pragma once
// Runs one of the built executables in a folder and collects what it prints and its exit status.

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

extern char** environ;

namespace lumora::test {

struct Outcome {
    int status = -1;  // -1 when a signal ended the program
    std::string out;
    std::string err;
    long peakKiB = 0;  // the program's largest resident size
};

inline std::string readText(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// A folder of this test process's own (ctest runs the test cases in parallel processes).
inline std::filesystem::path processFolder(const std::string& name) {
    const auto folder = std::filesystem::path(LUMORA_TEST_TMP) / (name + "_" + std::to_string(getpid()));
    std::filesystem::create_directories(folder);
    return folder;
}

// The same, emptied first.
inline std::filesystem::path freshFolder(const std::string& name) {
    const auto folder = processFolder(name);
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    return folder;
}

// Standard output and error go to files in the folder, which is also the working directory.
inline Outcome runProgram(const std::string& program, const std::vector<std::string>& arguments,
                          const std::filesystem::path& folder) {
    const auto outPath = folder / "stdout.txt";
    const auto errPath = folder / "stderr.txt";
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());

    std::vector<std::string> argv{program};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& argument : argv) pointers.push_back(argument.data());
    pointers.push_back(nullptr);

    Outcome outcome;
    pid_t pid = 0;
    if (posix_spawn(&pid, program.c_str(), &actions, nullptr, pointers.data(), environ) == 0) {
        int status = 0;
        rusage usage{};
        wait4(pid, &status, 0, &usage);
        outcome.peakKiB = usage.ru_maxrss;
        outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        outcome.out = readText(outPath);
        outcome.err = readText(errPath);
    }
    posix_spawn_file_actions_destroy(&actions);
    return outcome;
}

}  // namespace lumora::test

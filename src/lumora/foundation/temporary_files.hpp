#pragma once
// Temporary files that an interrupted run must not leave behind. Saves write into a hidden
// temporary file next to the target and rename it into place; if the process is stopped by
// SIGINT, SIGTERM or SIGHUP meanwhile (a user's Ctrl+C, a render-farm job being cancelled), the
// signal handler removes every file registered here before the process ends as the signal
// asks.

#include <expected>
#include <filesystem>
#include <string_view>

namespace lumora::io {

// Registers one temporary file for as long as the guard lives (or until release()). A few
// dozen files can be registered at once; beyond that a file is simply not covered.
class TemporaryFileGuard {
public:
    explicit TemporaryFileGuard(const std::filesystem::path& path);
    ~TemporaryFileGuard() { release(); }
    TemporaryFileGuard(const TemporaryFileGuard&) = delete;
    TemporaryFileGuard& operator=(const TemporaryFileGuard&) = delete;

    // Stops covering the file (it was renamed into place or removed).
    void release();

private:
    int slot_ = -1;
};

// A temporary file that is removed when the object goes, unless it was renamed into place.
class TemporaryFile {
public:
    explicit TemporaryFile(std::filesystem::path path) : path_(std::move(path)), guard_(path_) {}
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::filesystem::path& path() const { return path_; }
    // Renames the file to the target: 0 on success, else the errno of the failure.
    int commit(const std::filesystem::path& target);

private:
    std::filesystem::path path_;
    TemporaryFileGuard guard_;
    bool committed_ = false;
};

// Creates a new, empty file with a unique hidden name in the target's folder:
// "." + the target's file name + "." + 12 random hex digits + ".part" + extension. Returns its
// path, or the errno of the failure.
std::expected<std::filesystem::path, int> createTemporarySibling(const std::filesystem::path& target,
                                                                 std::string_view extension = {});

// Installs the handlers for SIGINT, SIGTERM and SIGHUP. Signals that the process ignores stay
// ignored (a job started with nohup keeps ignoring SIGHUP).
void removeTemporaryFilesOnSignals();

}  // namespace lumora::io

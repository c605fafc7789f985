#pragma once
// OpenEXR's stream interfaces over our own files, and the process-wide settings that every EXR
// read and write shares.
//
// Conventions: the streams report failures as OpenEXR's exceptions (Iex), so that the reader and
// the writer handle the library's errors and their own in one place; tellg/tellp never throw,
// because OpenEXR calls them from destructors.

#include <OpenEXR/ImfIO.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>

#include "lumora/foundation/temporary_files.hpp"

namespace lumora {

// OpenEXR's thread pool is process-wide, so EXR reads and writes run one at a time under this lock.
std::mutex& exrIoMutex();

// Sets OpenEXR's global thread count: the logical processor count but at least 2, or 0 to decode
// and encode in the calling thread. Call it holding exrIoMutex().
void setExrThreadCount(bool multithreaded);

// A seekable binary input file. The stream's file name is the path's native text.
class ExrIStreamAdapter final : public Imf::IStream {
public:
    // Throws Iex::ErrnoExc when the file cannot be opened.
    explicit ExrIStreamAdapter(const std::filesystem::path& path);
    ~ExrIStreamAdapter() override;
    ExrIStreamAdapter(const ExrIStreamAdapter&) = delete;
    ExrIStreamAdapter& operator=(const ExrIStreamAdapter&) = delete;

    // Reads exactly n bytes or throws ("Unexpected end of file." at the end of the file).
    bool read(char c[], int n) override;
    std::uint64_t tellg() override;
    void seekg(std::uint64_t pos) override;
    void clear() override;

    // The file's size in bytes when it was opened.
    std::uint64_t fileSize() const { return size_; }

private:
    std::FILE* file_ = nullptr;
    std::uint64_t size_ = 0;
    std::uint64_t position_ = 0;
};

// A read-only view of bytes in memory as an OpenEXR input stream (tests and fuzzing); the bytes
// must outlive the stream.
class ExrMemoryIStream final : public Imf::IStream {
public:
    ExrMemoryIStream(const char* name, const char* data, std::uint64_t size)
        : Imf::IStream(name), data_(data), size_(size) {}

    // Reads exactly n bytes or throws ("Unexpected end of file.").
    bool read(char c[], int n) override;
    std::uint64_t tellg() override { return position_; }
    void seekg(std::uint64_t pos) override { position_ = pos; }

private:
    const char* data_;
    std::uint64_t size_;
    std::uint64_t position_ = 0;
};

// A seekable binary output file that replaces its target only when committed: the bytes go to a
// new file with a unique name in the target's folder, which commit() closes and renames over the
// target. Destroyed without a commit, it removes that file, so a failed write leaves no partial
// file and keeps an earlier one. The stream's file name is the target path's native text.
class ExrOStreamAdapter final : public Imf::OStream {
public:
    // Throws Iex::ErrnoExc when the file cannot be created in the target's folder.
    explicit ExrOStreamAdapter(const std::filesystem::path& target);
    ~ExrOStreamAdapter() override;
    ExrOStreamAdapter(const ExrOStreamAdapter&) = delete;
    ExrOStreamAdapter& operator=(const ExrOStreamAdapter&) = delete;

    void write(const char c[], int n) override;
    std::uint64_t tellp() override;
    void seekp(std::uint64_t pos) override;

    // Closes the file and moves it to the target path; throws Iex::ErrnoExc on failure.
    void commit();

private:
    std::filesystem::path target_;
    std::filesystem::path temporary_;
    std::optional<io::TemporaryFileGuard> guard_;
    std::FILE* file_ = nullptr;
    std::uint64_t position_ = 0;
};

}  // namespace lumora

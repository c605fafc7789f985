#include "lumora/image/exr_streams.hpp"

#include <OpenEXR/Iex.h>
#include <OpenEXR/ImfThreading.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>
#include <utility>

#include "lumora/foundation/system.hpp"

namespace lumora {

namespace {

// Large enough that the byte-sized reads of header parsing rarely reach the system.
constexpr std::size_t kStreamBufferSize = 64 * 1024;

// The system's reason as a sentence, for example "No such file or directory.".
[[noreturn]] void throwErrno(int error) { throw Iex::ErrnoExc(std::string(std::strerror(error)) + "."); }

}  // namespace

std::mutex& exrIoMutex() {
    static std::mutex mutex;
    return mutex;
}

void setExrThreadCount(bool multithreaded) {
    const int threads = multithreaded ? std::max(2, utils::getLogicalProcessorCount()) : 0;
    if (Imf::globalThreadCount() != threads) {
        Imf::setGlobalThreadCount(threads);
    }
}

// ---- input ----

ExrIStreamAdapter::ExrIStreamAdapter(const std::filesystem::path& path) : Imf::IStream(path.c_str()) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        throwErrno(errno);
    }
    struct stat info {};
    if (::fstat(fd, &info) != 0) {
        const int error = errno;
        ::close(fd);
        throwErrno(error);
    }
    if (S_ISDIR(info.st_mode)) {
        ::close(fd);
        throwErrno(EISDIR);
    }
    file_ = ::fdopen(fd, "rb");
    if (file_ == nullptr) {
        const int error = errno;
        ::close(fd);
        throwErrno(error);
    }
    std::setvbuf(file_, nullptr, _IOFBF, kStreamBufferSize);
    size_ = info.st_size > 0 ? static_cast<std::uint64_t>(info.st_size) : 0;
}

ExrIStreamAdapter::~ExrIStreamAdapter() {
    if (file_ != nullptr) {
        std::fclose(file_);
    }
}

bool ExrIStreamAdapter::read(char c[], int n) {
    if (n < 0) {
        throw Iex::InputExc("Unexpected end of file.");
    }
    const std::size_t wanted = static_cast<std::size_t>(n);
    const std::size_t got = std::fread(c, 1, wanted, file_);
    position_ += got;
    if (got != wanted) {
        if (std::ferror(file_)) {
            const int error = errno;
            std::clearerr(file_);
            throwErrno(error);
        }
        std::clearerr(file_);
        throw Iex::InputExc("Unexpected end of file.");
    }
    return true;
}

std::uint64_t ExrIStreamAdapter::tellg() { return position_; }

void ExrIStreamAdapter::seekg(std::uint64_t pos) {
    if (pos > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) {
        throw Iex::InputExc("Unexpected end of file.");
    }
    if (::fseeko(file_, static_cast<off_t>(pos), SEEK_SET) != 0) {
        throwErrno(errno);
    }
    position_ = pos;
}

void ExrIStreamAdapter::clear() { std::clearerr(file_); }

bool ExrMemoryIStream::read(char c[], int n) {
    if (n < 0 || position_ > size_ || static_cast<std::uint64_t>(n) > size_ - position_) {
        throw Iex::InputExc("Unexpected end of file.");
    }
    std::memcpy(c, data_ + position_, static_cast<std::size_t>(n));
    position_ += static_cast<std::uint64_t>(n);
    return true;
}

// ---- output ----

ExrOStreamAdapter::ExrOStreamAdapter(const std::filesystem::path& target)
    : Imf::OStream(target.c_str()), target_(target) {
    const auto temporary = io::createTemporarySibling(target);
    if (!temporary) {
        throwErrno(temporary.error());
    }
    temporary_ = *temporary;
    const int fd = ::open(temporary_.c_str(), O_WRONLY | O_CLOEXEC);
    if (fd < 0) {
        const int error = errno;
        ::unlink(temporary_.c_str());
        throwErrno(error);
    }
    file_ = ::fdopen(fd, "wb");
    if (file_ == nullptr) {
        const int error = errno;
        ::close(fd);
        ::unlink(temporary_.c_str());
        throwErrno(error);
    }
    std::setvbuf(file_, nullptr, _IOFBF, kStreamBufferSize);
    guard_.emplace(temporary_);
}

ExrOStreamAdapter::~ExrOStreamAdapter() {
    if (file_ != nullptr) {
        std::fclose(file_);
        ::unlink(temporary_.c_str());
    }
}

void ExrOStreamAdapter::write(const char c[], int n) {
    if (n <= 0) {
        return;
    }
    const std::size_t wanted = static_cast<std::size_t>(n);
    const std::size_t put = std::fwrite(c, 1, wanted, file_);
    position_ += put;
    if (put != wanted) {
        const int error = errno;
        std::clearerr(file_);
        throwErrno(error != 0 ? error : EIO);
    }
}

std::uint64_t ExrOStreamAdapter::tellp() { return position_; }

void ExrOStreamAdapter::seekp(std::uint64_t pos) {
    if (pos > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) {
        throwErrno(EINVAL);
    }
    if (::fseeko(file_, static_cast<off_t>(pos), SEEK_SET) != 0) {
        throwErrno(errno);
    }
    position_ = pos;
}

void ExrOStreamAdapter::commit() {
    std::FILE* file = std::exchange(file_, nullptr);
    const bool flushed = std::fflush(file) == 0;
    int error = flushed ? 0 : errno;
    if (std::fclose(file) != 0 && error == 0) {
        error = errno;
    }
    if (error == 0 && std::rename(temporary_.c_str(), target_.c_str()) != 0) {
        error = errno;
    }
    if (error == 0) guard_.reset();
    if (error != 0) {
        ::unlink(temporary_.c_str());
        throwErrno(error);
    }
}

}  // namespace lumora

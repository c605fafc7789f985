#include "lumora/foundation/temporary_files.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cerrno>
#include <cstring>
#include <string>

#include "lumora/foundation/system.hpp"

namespace lumora::io {

namespace {

// The handler may only touch lock-free atomics and fixed storage.
enum SlotState : int { Free, Writing, Ready };
constexpr int kSlots = 32;
constexpr std::size_t kPathBytes = 4096;

std::array<std::atomic<int>, kSlots> states{};
char paths[kSlots][kPathBytes];

static_assert(std::atomic<int>::is_always_lock_free);

void onSignal(int signal) {
    const int savedErrno = errno;
    for (int i = 0; i < kSlots; ++i) {
        if (states[static_cast<std::size_t>(i)].load() == Ready) ::unlink(paths[i]);
    }
    errno = savedErrno;
    // The handler was installed with SA_RESETHAND: the signal now takes its default course.
    ::raise(signal);
}

std::string randomHexDigits() {
    unsigned char bytes[6];
    utils::secureRandom(bytes, sizeof bytes);
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (unsigned char b : bytes) {
        text += digits[b >> 4];
        text += digits[b & 15];
    }
    return text;
}

}  // namespace

std::expected<std::filesystem::path, int> createTemporarySibling(const std::filesystem::path& target,
                                                                 std::string_view extension) {
    const std::filesystem::path folder = target.has_parent_path() ? target.parent_path() : ".";
    const std::string name = "." + target.filename().native() + ".";
    for (int attempt = 0;; ++attempt) {
        std::filesystem::path temporary = folder / (name + randomHexDigits() + ".part" + std::string(extension));
        const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0) {
            ::close(fd);
            return temporary;
        }
        if (errno != EEXIST || attempt == 16) return std::unexpected(errno);
    }
}

TemporaryFileGuard::TemporaryFileGuard(const std::filesystem::path& path) {
    const std::string& text = path.native();
    if (text.size() >= kPathBytes) return;
    for (int i = 0; i < kSlots; ++i) {
        int expected = Free;
        if (states[static_cast<std::size_t>(i)].compare_exchange_strong(expected, Writing)) {
            std::memcpy(paths[i], text.c_str(), text.size() + 1);
            states[static_cast<std::size_t>(i)].store(Ready);
            slot_ = i;
            return;
        }
    }
}

void TemporaryFileGuard::release() {
    if (slot_ < 0) return;
    states[static_cast<std::size_t>(slot_)].store(Free);
    slot_ = -1;
}

void removeTemporaryFilesOnSignals() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction current {};
        if (::sigaction(signal, nullptr, &current) != 0 || current.sa_handler == SIG_IGN) continue;
        struct sigaction action {};
        action.sa_handler = onSignal;
        sigemptyset(&action.sa_mask);
        action.sa_flags = SA_RESETHAND;
        ::sigaction(signal, &action, nullptr);
    }
}

TemporaryFile::~TemporaryFile() {
    if (!committed_) ::unlink(path_.c_str());
}

int TemporaryFile::commit(const std::filesystem::path& target) {
    if (std::rename(path_.c_str(), target.c_str()) != 0) return errno;
    committed_ = true;
    guard_.release();
    return 0;
}

}  // namespace lumora::io

#include "lumora/foundation/system.hpp"

#include <sys/random.h>
#include <unistd.h>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include <cerrno>
#include <thread>

#include "lumora/foundation/exception.hpp"

namespace lumora::utils {

int getLogicalProcessorCount() {
    const unsigned n = std::thread::hardware_concurrency();
    return n == 0 ? 1 : static_cast<int>(n);
}

void keepFreedMemoryForReuse() {
#if defined(__GLIBC__)
    // Images of a few megapixels are above the largest size glibc would serve from its heap rather
    // than map on their own, so mapping is switched off, and the heap is never trimmed.
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, -1);
#endif
}

void secureRandom(void* buffer, std::size_t size) {
    auto* p = static_cast<unsigned char*>(buffer);
    while (size > 0) {
        const ssize_t got = ::getrandom(p, size, 0);
        if (got < 0) {
            if (errno == EINTR) continue;
            throw Exception("The secure random number source is not available.");
        }
        p += got;
        size -= static_cast<std::size_t>(got);
    }
}

std::filesystem::path getExecutableFilePath() {
    std::error_code ec;
    auto p = std::filesystem::read_symlink("/proc/self/exe", ec);
    if (ec) return "lumora-image-editor";
    return p;
}

}  // namespace lumora::utils

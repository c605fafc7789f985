#include "lumora/foundation/system.hpp"

#include <sys/mman.h>
#include <sys/random.h>
#include <unistd.h>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <new>
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

void* allocatePixels(std::size_t bytes) {
    void* p = std::malloc(bytes == 0 ? 1 : bytes);
    if (!p) throw std::bad_alloc();
#if defined(MADV_HUGEPAGE)
    // Only a hint, for the large pages inside the block: where the system has none, or the block
    // is smaller, it stays as it is. (Aligning the block itself would leave gaps in the heap.)
    constexpr std::uintptr_t largePage = std::uintptr_t(2) << 20;
    const auto begin = (reinterpret_cast<std::uintptr_t>(p) + largePage - 1) & ~(largePage - 1);
    const auto end = (reinterpret_cast<std::uintptr_t>(p) + bytes) & ~(largePage - 1);
    if (end > begin) ::madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
#endif
    return p;
}

void freePixels(void* pixels) noexcept { std::free(pixels); }

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

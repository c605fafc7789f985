#include "lumora/effects/image_buffer.hpp"

#include <cstdlib>
#include <new>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace lumora {
namespace {

constexpr std::size_t kHugePage = std::size_t{2} << 20;

}  // namespace

void* allocateImageMemory(std::size_t bytes) {
    // Images of a few pages gain nothing from huge pages and would waste most of one.
    const bool huge = bytes >= 4 * kHugePage;
    const std::size_t alignment = huge ? kHugePage : 64;
    const std::size_t size = (bytes + alignment - 1) / alignment * alignment;
    void* memory = std::aligned_alloc(alignment, size == 0 ? alignment : size);
    if (memory == nullptr) throw std::bad_alloc();
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    if (huge) madvise(memory, size, MADV_HUGEPAGE);  // only advice: failing changes nothing but speed
#endif
    return memory;
}

void freeImageMemory(void* memory) { std::free(memory); }

}  // namespace lumora

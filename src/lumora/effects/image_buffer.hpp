#pragma once
// Storage for the effects' large intermediate images, reused while an effect runs. Fresh memory is
// expensive to touch page by page, so the storage is asked for in huge pages where the system
// offers them, and its pixels are not initialised: every user writes an image before reading it.

#include <cstddef>
#include <memory>

#include "lumora/foundation/bitmap.hpp"

namespace lumora {

// bytes of uninitialised memory aligned to 64 bytes; throws std::bad_alloc when there is none.
void* allocateImageMemory(std::size_t bytes);
void freeImageMemory(void* memory);

template <class P>
class ImageBuffer {
public:
    // Room for count pixels; what was stored before is lost when the buffer has to grow.
    void reserve(std::size_t count) {
        if (count <= capacity_) return;
        pixels_.reset();
        capacity_ = 0;
        // Pixel types are trivially copyable, so the memory holds them without construction.
        pixels_.reset(static_cast<P*>(allocateImageMemory(count * sizeof(P))));
        capacity_ = count;
    }

    // A width x height image in the buffer; its pixels are left as they were.
    BitmapView<P> shape(int width, int height) {
        reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
        return {pixels_.get(), width, height, width};
    }

private:
    struct Free {
        void operator()(P* p) const { freeImageMemory(p); }
    };
    std::unique_ptr<P, Free> pixels_;
    std::size_t capacity_ = 0;
};

}  // namespace lumora

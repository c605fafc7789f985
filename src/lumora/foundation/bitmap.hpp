#pragma once
// An owned two-dimensional pixel array, row-major, and a non-owning view of a rectangle of one.
// Moving a bitmap leaves the source empty.

#include <algorithm>
#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

#include "lumora/foundation/exception.hpp"
#include "lumora/foundation/geometry.hpp"
#include "lumora/foundation/system.hpp"

namespace lumora {

// Pixels of a rectangle inside some row-major storage: `stride` pixels from one row to the next.
// The view neither owns nor keeps alive what it looks at.
template <class T>
class BitmapView {
public:
    BitmapView() = default;
    BitmapView(T* data, int width, int height, std::ptrdiff_t stride)
        : data_(data), width_(width), height_(height), stride_(stride) {
        LUMORA_ASSERT(width >= 0 && height >= 0 && stride >= width);
    }
    // A view of const pixels from a view of mutable ones.
    template <class U>
        requires std::is_same_v<T, const U>
    BitmapView(const BitmapView<U>& other)  // NOLINT: implicit like a pointer conversion
        : BitmapView(other.data(), other.width(), other.height(), other.stride()) {}

    int width() const { return width_; }
    int height() const { return height_; }
    std::ptrdiff_t stride() const { return stride_; }
    bool empty() const { return width_ == 0 || height_ == 0; }
    T* data() const { return data_; }
    T* row(int y) const { return data_ + static_cast<std::ptrdiff_t>(y) * stride_; }
    T& operator()(int x, int y) const { return row(y)[x]; }

    // The part of this view inside rect (in this view's coordinates), clipped to the view.
    BitmapView subview(const Bucket& rect) const {
        const int x0 = std::clamp(rect.min.x, 0, width_), x1 = std::clamp(rect.max.x, x0, width_);
        const int y0 = std::clamp(rect.min.y, 0, height_), y1 = std::clamp(rect.max.y, y0, height_);
        return BitmapView(width_ ? row(y0) + x0 : data_, x1 - x0, y1 - y0, stride_);
    }

private:
    T* data_ = nullptr;
    int width_ = 0;
    int height_ = 0;
    std::ptrdiff_t stride_ = 0;
};

// The allocator of bitmap pixels (utils::allocatePixels).
template <class T>
struct PixelAllocator {
    static_assert(alignof(T) <= alignof(std::max_align_t));
    using value_type = T;
    PixelAllocator() = default;
    template <class U>
    PixelAllocator(const PixelAllocator<U>&) noexcept {}
    T* allocate(std::size_t n) {
        if (n > std::size_t(-1) / sizeof(T)) throw std::bad_array_new_length();
        return static_cast<T*>(utils::allocatePixels(n * sizeof(T)));
    }
    void deallocate(T* p, std::size_t) noexcept { utils::freePixels(p); }
    friend bool operator==(PixelAllocator, PixelAllocator) { return true; }
};

template <class T>
class Bitmap {
public:
    Bitmap() = default;
    Bitmap(int width, int height, const T& fill = T())
        : width_(width), height_(height), pixels_(checkedCount(width, height), fill) {}

    Bitmap(const Bitmap&) = default;
    Bitmap& operator=(const Bitmap&) = default;
    Bitmap(Bitmap&& other) noexcept
        : width_(std::exchange(other.width_, 0)),
          height_(std::exchange(other.height_, 0)),
          pixels_(std::move(other.pixels_)) {
        other.pixels_.clear();
    }
    Bitmap& operator=(Bitmap&& other) noexcept {
        if (this != &other) {
            width_ = std::exchange(other.width_, 0);
            height_ = std::exchange(other.height_, 0);
            pixels_ = std::move(other.pixels_);
            other.pixels_.clear();
        }
        return *this;
    }

    int width() const { return width_; }
    int height() const { return height_; }
    bool empty() const { return pixels_.empty(); }
    std::size_t size() const { return pixels_.size(); }

    T& operator()(int x, int y) { return pixels_[index(x, y)]; }
    const T& operator()(int x, int y) const { return pixels_[index(x, y)]; }
    T* row(int y) { return pixels_.data() + index(0, y); }
    const T* row(int y) const { return pixels_.data() + index(0, y); }
    T* data() { return pixels_.data(); }
    const T* data() const { return pixels_.data(); }

    BitmapView<T> view() { return {data(), width_, height_, width_}; }
    BitmapView<const T> view() const { return {data(), width_, height_, width_}; }
    // A copy of the pixels inside rect, clipped to the bitmap.
    Bitmap crop(const Bucket& rect) const { return copyOf(view().subview(rect)); }

    static Bitmap copyOf(BitmapView<const T> source) {
        Bitmap out(source.width(), source.height());
        for (int y = 0; y < source.height(); ++y) std::copy_n(source.row(y), source.width(), out.row(y));
        return out;
    }

private:
    static std::size_t checkedCount(int width, int height) {
        LUMORA_ASSERT(width >= 0 && height >= 0);
        return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    }
    std::size_t index(int x, int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(x);
    }

    int width_ = 0;
    int height_ = 0;
    std::vector<T, PixelAllocator<T>> pixels_;
};

}  // namespace lumora

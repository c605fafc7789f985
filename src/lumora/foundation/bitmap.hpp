#pragma once
// An owned two-dimensional pixel array, row-major. Moving a bitmap leaves the source empty.

#include <cstddef>
#include <utility>
#include <vector>

#include "lumora/foundation/exception.hpp"

namespace lumora {

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
    std::vector<T> pixels_;
};

}  // namespace lumora

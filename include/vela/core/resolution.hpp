#pragma once

#include <cstddef>

namespace vela {

/// A width and a height in pixels.
struct Resolution {
    size_t width = 0;
    size_t height = 0;

    Resolution() = default;
    Resolution(size_t width_, size_t height_) : width(width_), height(height_) {}

    /// Number of pixels, width x height.
    size_t area() const { return width * height; }
    bool operator==(const Resolution& o) const { return width == o.width && height == o.height; }
    bool operator!=(const Resolution& o) const { return !(*this == o); }
};

}  // namespace vela

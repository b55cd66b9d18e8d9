#pragma once

#include <cstddef>

namespace vela {

/// A width and a height in pixels.
struct Resolution {
    /// Columns, in pixels.
    size_t width = 0;
    /// Rows, in pixels.
    size_t height = 0;

    Resolution() = default;
    /// width_ columns by height_ rows.
    Resolution(size_t width_, size_t height_) : width(width_), height(height_) {}

    /// Number of pixels, width x height.
    size_t area() const { return width * height; }
    /// Same width and same height.
    bool operator==(const Resolution& o) const { return width == o.width && height == o.height; }
    /// True when the width or the height differs.
    bool operator!=(const Resolution& o) const { return !(*this == o); }
};

}  // namespace vela

#pragma once

#include <cstddef>

namespace vela {

/// Two contiguous elements of T, used as a Mat element type and in geometry.
template <typename T>
struct Vector2 {
    /// First element; x and y are contiguous and unpadded, so data() addresses both.
    T x{}, y{};
    /// @var y
    /// Second element, right after x.

    Vector2() = default;
    /// (x_, y_).
    Vector2(T x_, T y_) : x(x_), y(y_) {}
    /// Copies the first two elements of `values`.
    explicit Vector2(const T* values) : x(values[0]), y(values[1]) {}

    /// Number of elements, 2.
    static constexpr size_t size() { return 2; }
    /// Address of x; the other elements follow it, so this is a plain array of size() elements.
    T* data() { return &x; }
    /// Read-only address of x, the first of size() contiguous elements.
    const T* data() const { return &x; }
    /// Element i, 0 <= i < 2; the elements are laid out without padding.
    T& operator[](size_t i) { return data()[i]; }
    /// Element i, read-only; i is not checked against size().
    const T& operator[](size_t i) const { return data()[i]; }
    /// Exact comparison of every element.
    bool operator==(const Vector2& o) const { return x == o.x && y == o.y; }
    /// True when any element differs.
    bool operator!=(const Vector2& o) const { return !(*this == o); }
};

/// Three contiguous elements of T, used as a Mat element type and in geometry.
template <typename T>
struct Vector3 {
    /// First element; x, y and z are contiguous and unpadded, so data() addresses all three.
    T x{}, y{}, z{};
    /// @var y
    /// Second element, right after x.

    /// @var z
    /// Third element, right after y.

    Vector3() = default;
    /// (x_, y_, z_).
    Vector3(T x_, T y_, T z_) : x(x_), y(y_), z(z_) {}
    /// Copies the first three elements of `values`.
    explicit Vector3(const T* values) : x(values[0]), y(values[1]), z(values[2]) {}

    /// Number of elements, 3.
    static constexpr size_t size() { return 3; }
    /// Address of x; the other elements follow it, so this is a plain array of size() elements.
    T* data() { return &x; }
    /// Read-only address of x, the first of size() contiguous elements.
    const T* data() const { return &x; }
    /// Element i, 0 <= i < 3; the elements are laid out without padding.
    T& operator[](size_t i) { return data()[i]; }
    /// Element i, read-only; i is not checked against size().
    const T& operator[](size_t i) const { return data()[i]; }
    /// Exact comparison of every element.
    bool operator==(const Vector3& o) const { return x == o.x && y == o.y && z == o.z; }
    /// True when any element differs.
    bool operator!=(const Vector3& o) const { return !(*this == o); }
};

/// Four contiguous elements of T, used as a Mat element type and in geometry.
template <typename T>
struct Vector4 {
    /// First element; x, y, z and w are contiguous and unpadded, so data() addresses all four.
    T x{}, y{}, z{}, w{};
    /// @var y
    /// Second element, right after x.

    /// @var z
    /// Third element, right after y.

    /// @var w
    /// Fourth element, right after z.

    Vector4() = default;
    /// (x_, y_, z_, w_).
    Vector4(T x_, T y_, T z_, T w_) : x(x_), y(y_), z(z_), w(w_) {}
    /// Copies the first four elements of `values`.
    explicit Vector4(const T* values) : x(values[0]), y(values[1]), z(values[2]), w(values[3]) {}

    /// Number of elements, 4.
    static constexpr size_t size() { return 4; }
    /// Address of x; the other elements follow it, so this is a plain array of size() elements.
    T* data() { return &x; }
    /// Read-only address of x, the first of size() contiguous elements.
    const T* data() const { return &x; }
    /// Element i, 0 <= i < 4; the elements are laid out without padding.
    T& operator[](size_t i) { return data()[i]; }
    /// Element i, read-only; i is not checked against size().
    const T& operator[](size_t i) const { return data()[i]; }
    /// Exact comparison of every element.
    bool operator==(const Vector4& o) const { return x == o.x && y == o.y && z == o.z && w == o.w; }
    /// True when any element differs.
    bool operator!=(const Vector4& o) const { return !(*this == o); }
};

static_assert(sizeof(Vector3<float>) == 3 * sizeof(float), "vector elements must be packed");
static_assert(sizeof(Vector3<unsigned char>) == 3, "vector elements must be packed");
static_assert(sizeof(Vector4<char>) == 4, "vector elements must be packed");

}  // namespace vela

#pragma once

#include <cstddef>

namespace vela {

/// Two contiguous elements of T, used as a Mat element type and in geometry.
template <typename T>
struct Vector2 {
    T x{}, y{};

    Vector2() = default;
    Vector2(T x_, T y_) : x(x_), y(y_) {}
    /// Copies the first two elements of `values`.
    explicit Vector2(const T* values) : x(values[0]), y(values[1]) {}

    static constexpr size_t size() { return 2; }
    T* data() { return &x; }
    const T* data() const { return &x; }
    /// Element i, 0 <= i < 2; the elements are laid out without padding.
    T& operator[](size_t i) { return data()[i]; }
    const T& operator[](size_t i) const { return data()[i]; }
    bool operator==(const Vector2& o) const { return x == o.x && y == o.y; }
    bool operator!=(const Vector2& o) const { return !(*this == o); }
};

/// Three contiguous elements of T, used as a Mat element type and in geometry.
template <typename T>
struct Vector3 {
    T x{}, y{}, z{};

    Vector3() = default;
    Vector3(T x_, T y_, T z_) : x(x_), y(y_), z(z_) {}
    /// Copies the first three elements of `values`.
    explicit Vector3(const T* values) : x(values[0]), y(values[1]), z(values[2]) {}

    static constexpr size_t size() { return 3; }
    T* data() { return &x; }
    const T* data() const { return &x; }
    /// Element i, 0 <= i < 3; the elements are laid out without padding.
    T& operator[](size_t i) { return data()[i]; }
    const T& operator[](size_t i) const { return data()[i]; }
    bool operator==(const Vector3& o) const { return x == o.x && y == o.y && z == o.z; }
    bool operator!=(const Vector3& o) const { return !(*this == o); }
};

/// Four contiguous elements of T, used as a Mat element type and in geometry.
template <typename T>
struct Vector4 {
    T x{}, y{}, z{}, w{};

    Vector4() = default;
    Vector4(T x_, T y_, T z_, T w_) : x(x_), y(y_), z(z_), w(w_) {}
    /// Copies the first four elements of `values`.
    explicit Vector4(const T* values) : x(values[0]), y(values[1]), z(values[2]), w(values[3]) {}

    static constexpr size_t size() { return 4; }
    T* data() { return &x; }
    const T* data() const { return &x; }
    /// Element i, 0 <= i < 4; the elements are laid out without padding.
    T& operator[](size_t i) { return data()[i]; }
    const T& operator[](size_t i) const { return data()[i]; }
    bool operator==(const Vector4& o) const { return x == o.x && y == o.y && z == o.z && w == o.w; }
    bool operator!=(const Vector4& o) const { return !(*this == o); }
};

static_assert(sizeof(Vector3<float>) == 3 * sizeof(float), "vector elements must be packed");
static_assert(sizeof(Vector3<unsigned char>) == 3, "vector elements must be packed");
static_assert(sizeof(Vector4<char>) == 4, "vector elements must be packed");

}  // namespace vela

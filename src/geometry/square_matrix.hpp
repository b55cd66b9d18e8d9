#pragma once

// Arithmetic shared by Matrix3f and Matrix4f on row-major N x N float arrays, written once for both sizes.

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

namespace vela {
namespace detail {

/// All zero, then 1 on the diagonal.
template <int N>
void setIdentity(float* m) {
    for (int i = 0; i < N * N; ++i)
        m[i] = 0.0f;
    for (int i = 0; i < N; ++i)
        m[i * N + i] = 1.0f;
}

template <int N>
void transposeInPlace(float* m) {
    for (int i = 0; i < N; ++i)
        for (int j = i + 1; j < N; ++j) {
            const float upper = m[i * N + j];
            m[i * N + j] = m[j * N + i];
            m[j * N + i] = upper;
        }
}

/// out = a x b, out(i,j) = a(i,0)·b(0,j) then one fused multiply-add per further k. The three arrays must
/// not overlap. Each row of `a` is read into locals first so that the compiler keeps a row of `out` in one
/// vector register and sweeps the rows of `b` with broadcast fused multiply-adds.
template <int N>
inline void multiply(const float* __restrict a, const float* __restrict b, float* __restrict out) {
    for (int i = 0; i < N; ++i) {
        float row[N];
        for (int k = 0; k < N; ++k)
            row[k] = a[i * N + k];
        for (int j = 0; j < N; ++j) {
            float sum = row[0] * b[j];
            for (int k = 1; k < N; ++k)
                sum = std::fma(row[k], b[k * N + j], sum);
            out[i * N + j] = sum;
        }
    }
}

/// out[i] = op(a[i], b[i]) over the N x N elements.
template <int N, typename Op>
void elementwise(const float* a, const float* b, float* out, Op op) {
    for (int i = 0; i < N * N; ++i)
        out[i] = op(a[i], b[i]);
}

/// out[i] = op(a[i], scalar) over the N x N elements.
template <int N, typename Op>
void withScalar(const float* a, float scalar, float* out, Op op) {
    for (int i = 0; i < N * N; ++i)
        out[i] = op(a[i], scalar);
}

/// Exact comparison in index order, stopping at the first pair that differs; NaN is unequal to itself.
template <int N>
bool equal(const float* a, const float* b) {
    for (int i = 0; i < N * N; ++i)
        if (!(a[i] == b[i])) return false;
    return true;
}

/// The name, or the object's address in upper-case hexadecimal when unnamed, then one line per row with
/// the elements as "%f" separated by single spaces.
template <int N>
std::string infos(const std::string& name, const void* object, const float* m) {
    std::string text = name;
    if (text.empty()) {
        char address[2 * sizeof(std::uintptr_t) + 1];
        std::snprintf(address, sizeof(address), "%02jX",
                      static_cast<std::uintmax_t>(reinterpret_cast<std::uintptr_t>(object)));
        text = address;
    }
    text += '\n';
    for (int i = 0; i < N; ++i) {
        for (int j = 0; j < N; ++j) {
            if (j > 0) text += ' ';
            text += std::to_string(m[i * N + j]);
        }
        text += '\n';
    }
    return text;
}

}  // namespace detail
}  // namespace vela

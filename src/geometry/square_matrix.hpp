#pragma once

// What Matrix3f and Matrix4f share, written once: templates on row-major N x N float arrays, and the
// member definitions that differ only in the class name and N (VELA_SQUARE_MATRIX_MEMBERS).

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>

#include "vela/core/string.hpp"

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

/// A fresh matrix of op(a[i], b[i]) over the N x N elements.
template <int N, typename M, typename Op>
M elementwise(const M& a, const M& b, Op op) {
    M result;
    for (int i = 0; i < N * N; ++i)
        result.elements[i] = op(a.elements[i], b.elements[i]);
    return result;
}

/// A fresh matrix of op(a[i], scalar) over the N x N elements.
template <int N, typename M, typename Op>
M withScalar(const M& a, float scalar, Op op) {
    M result;
    for (int i = 0; i < N * N; ++i)
        result.elements[i] = op(a.elements[i], scalar);
    return result;
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
String infos(const String& name, const void* object, const float* m) {
    std::string text = name.str();
    if (text.empty()) {
        char address[2 * sizeof(std::uintmax_t) + 1];
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
    return String(text);
}

}  // namespace detail
}  // namespace vela

// The members of the N x N matrix class M that both sizes define alike. Results are built fresh (identity,
// then every element overwritten), so they are unnamed.
#define VELA_SQUARE_MATRIX_MEMBERS(M, N)                                       \
    void M::setZeros() {                                                       \
        std::memset(elements, 0, sizeof(elements));                            \
    }                                                                          \
    M M::zeros() {                                                             \
        M result;                                                              \
        result.setZeros();                                                     \
        return result;                                                         \
    }                                                                          \
    void M::setIdentity() {                                                    \
        detail::setIdentity<N>(elements);                                      \
    }                                                                          \
    M M::identity() {                                                          \
        return M();                                                            \
    }                                                                          \
    void M::transpose() {                                                      \
        detail::transposeInPlace<N>(elements);                                 \
    }                                                                          \
    M M::transpose(const M& in) {                                              \
        M result(in);                                                          \
        result.transpose();                                                    \
        return result;                                                         \
    }                                                                          \
    M M::operator*(const float& scalar) const {                                \
        return detail::withScalar<N>(*this, scalar, std::multiplies<float>()); \
    }                                                                          \
    M M::operator+(const float& scalar) const {                                \
        return detail::withScalar<N>(*this, scalar, std::plus<float>());       \
    }                                                                          \
    M M::operator-(const float& scalar) const {                                \
        return detail::withScalar<N>(*this, scalar, std::minus<float>());      \
    }                                                                          \
    M M::operator+(const M& other) const {                                     \
        return detail::elementwise<N>(*this, other, std::plus<float>());       \
    }                                                                          \
    M M::operator-(const M& other) const {                                     \
        return detail::elementwise<N>(*this, other, std::minus<float>());      \
    }                                                                          \
    bool M::operator==(const M& other) const {                                 \
        return detail::equal<N>(elements, other.elements);                     \
    }                                                                          \
    bool M::operator!=(const M& other) const {                                 \
        return !(*this == other);                                              \
    }                                                                          \
    String M::getInfos() const {                                               \
        return detail::infos<N>(name, this, elements);                         \
    }

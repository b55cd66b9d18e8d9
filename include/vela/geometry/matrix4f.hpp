#pragma once

#include <cstddef>

#include "vela/core/error_code.hpp"
#include "vela/core/export.hpp"
#include "vela/core/string.hpp"
#include "vela/core/vector.hpp"
#include "vela/geometry/matrix3f.hpp"

// Where the caller's build has AVX2 and hardware fused multiply-add, the 4x4 product is inlined so that it
// stays in registers; elsewhere it calls the library's compiled product. Both give the same bits. The
// inlined copy carries its own ABI tag, so that the linker never merges it with the plain copy of a caller
// built without those instructions (which could then run them on a processor that has none).
#if defined(__AVX2__) && defined(__FMA__)
#include <immintrin.h>
#define VELA_INLINE_PRODUCT 1
#define VELA_PRODUCT_ABI __attribute__((abi_tag("avx2_fma")))
#else
#define VELA_INLINE_PRODUCT 0
#define VELA_PRODUCT_ABI
#endif

namespace vela {

namespace detail {
/// out = a x b for row-major 4x4 arrays, which must not overlap: out(i,j) = a(i,0)·b(0,j), then one fused
/// multiply-add per further k. The compiled product, for callers built without hardware fused multiply-add.
VELA_API void multiply4x4(const float* a, const float* b, float* out);
}  // namespace detail

/// A 4x4 single-precision matrix, row-major, with a label used only by getInfos. The name labels one
/// object, not its value: copies and the results of operators and factories are unnamed. No tolerance
/// anywhere: comparisons are exact and only an exactly zero determinant stops an inverse.
class VELA_API Matrix4f {
  public:
    /// Row-major: element (row, col) is elements[row * 4 + col]. First member, so &elements[0] can be
    /// handed to code expecting a plain float array.
    float elements[16];
    /// Printed by getInfos; empty by default and never copied.
    String name;

    /// The identity.
    Matrix4f() : elements{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1} {}
    /// Copies 16 row-major floats from `input`, which may overlap this matrix.
    explicit Matrix4f(const float* input) { copyFrom(input); }
    /// Copies the elements; the copy is unnamed.
    Matrix4f(const Matrix4f& other) { copyFrom(other.elements); }
    /// Copies the elements; this matrix keeps its own name.
    Matrix4f& operator=(const Matrix4f& other) {
        copyFrom(other.elements);
        return *this;
    }
    ~Matrix4f() = default;

    /// Element (row, col); no bounds check.
    float& operator()(int row, int col) { return elements[row * 4 + col]; }
    /// Element (row, col), read-only; no bounds check.
    const float& operator()(int row, int col) const { return elements[row * 4 + col]; }

    /// Every element 0.
    void setZeros();
    /// A matrix of zeros.
    static Matrix4f zeros();
    /// All zero, then 1 on the diagonal.
    void setIdentity();
    /// The identity matrix.
    static Matrix4f identity();
    /// Transposes in place.
    void transpose();
    /// A transposed copy of `in`.
    static Matrix4f transpose(const Matrix4f& in);
    /// Inverts in place as adjugate / determinant. FAILURE when the determinant is exactly 0: the first
    /// column then holds the undivided first adjugate column and the other twelve elements are unchanged.
    ERROR_CODE inverse();
    /// An inverted copy of `in`, returned whatever the status (see inverse()).
    static Matrix4f inverse(const Matrix4f& in);

    /// The product this x other: element (i,j) is this(i,0)·other(0,j), then one fused multiply-add per
    /// further k.
    VELA_PRODUCT_ABI Matrix4f operator*(const Matrix4f& other) const;
    /// A matrix whose row i repeats, in all four columns, the dot product of row i with `v`: any column
    /// is the transformed vector.
    Matrix4f operator*(const Vector4<float>& v) const;
    /// Every element times `scalar`.
    Matrix4f operator*(const float& scalar) const;
    /// Element-wise sum.
    Matrix4f operator+(const Matrix4f& other) const;
    /// Element-wise difference, this - other.
    Matrix4f operator-(const Matrix4f& other) const;
    /// `scalar` added to every element, off-diagonal ones included.
    Matrix4f operator+(const float& scalar) const;
    /// `scalar` subtracted from every element.
    Matrix4f operator-(const float& scalar) const;

    /// Exact element comparison; names are not compared, and a NaN makes a matrix unequal to itself.
    bool operator==(const Matrix4f& other) const;
    /// True when any element differs, or is NaN; names are not compared.
    bool operator!=(const Matrix4f& other) const;

    /// The name (or this object's address in upper-case hexadecimal when unnamed), a newline, then each
    /// row as "%f" values separated by single spaces and ended by a newline.
    String getInfos() const;

    /// Writes `input` at rows row..row+2, columns column..column+2; both must be 0 or 1. Otherwise logs
    /// an error, changes nothing and returns FAILURE.
    ERROR_CODE setSubMatrix3f(const Matrix3f& input, int row, int column);
    /// Writes x, y, z into rows 0..2 of `column` (0..3); row 3 is untouched. FAILURE (logged) otherwise.
    ERROR_CODE setSubVector3f(const Vector3<float>& input, int column);
    /// Writes x, y, z, w into rows 0..3 of `column` (0..3). FAILURE (logged) otherwise.
    ERROR_CODE setSubVector4f(const Vector4<float>& input, int column);

  private:
    /// Reads all 16 floats before writing any, so an overlapping source copies as by memmove.
    void copyFrom(const float* input) {
        float copy[16];
        for (int i = 0; i < 16; ++i)
            copy[i] = input[i];
        for (int i = 0; i < 16; ++i)
            elements[i] = copy[i];
    }
};

#if VELA_INLINE_PRODUCT
namespace detail {
/// Element `column` of each row in a pair of rows, repeated across that row's half. An integer shuffle
/// because current x86 cores issue it on two ports where the floating-point permute has one: with eight
/// per product, that port would otherwise be the bottleneck.
template <int column>
inline __m256 spreadColumn(__m256i rows) {
    return _mm256_castsi256_ps(_mm256_shuffle_epi32(rows, column * 0x55));
}
}  // namespace detail

// Two rows of the result per 256-bit register: each half holds one row of `other` and is scaled by the
// matching element of this row, so every element sums its four products in order k = 0..3, as the
// compiled product does.
inline Matrix4f Matrix4f::operator*(const Matrix4f& other) const {
    const float* b = other.elements;
    __m256 rowsOfOther[4];
    for (std::size_t k = 0; k < 4; ++k) {
        const __m128 row = _mm_loadu_ps(b + 4 * k);
        rowsOfOther[k] = _mm256_set_m128(row, row);
    }
    Matrix4f result;
    for (std::size_t pair = 0; pair < 2; ++pair) {
        const __m256i rows = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(elements + 8 * pair));
        __m256 sum = _mm256_mul_ps(detail::spreadColumn<0>(rows), rowsOfOther[0]);
        sum = _mm256_fmadd_ps(detail::spreadColumn<1>(rows), rowsOfOther[1], sum);
        sum = _mm256_fmadd_ps(detail::spreadColumn<2>(rows), rowsOfOther[2], sum);
        sum = _mm256_fmadd_ps(detail::spreadColumn<3>(rows), rowsOfOther[3], sum);
        _mm256_storeu_ps(result.elements + 8 * pair, sum);
    }
    return result;
}
#else
inline Matrix4f Matrix4f::operator*(const Matrix4f& other) const {
    Matrix4f result;
    detail::multiply4x4(elements, other.elements, result.elements);
    return result;
}
#endif

}  // namespace vela

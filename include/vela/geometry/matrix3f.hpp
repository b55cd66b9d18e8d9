#pragma once

#include "vela/core/export.hpp"
#include "vela/core/string.hpp"

namespace vela {

/// A 3x3 single-precision matrix, row-major, with a label used only by getInfos. The name labels one
/// object, not its value: copies and the results of operators and factories are unnamed. No tolerance
/// anywhere: comparisons are exact and a singular matrix inverts to non-finite elements.
class VELA_API Matrix3f {
  public:
    /// Row-major: element (row, col) is elements[row * 3 + col]. First member, so &elements[0] can be
    /// handed to code expecting a plain float array.
    float elements[9];
    /// Printed by getInfos; empty by default and never copied.
    String name;

    /// The identity.
    Matrix3f() : elements{1, 0, 0, 0, 1, 0, 0, 0, 1} {}
    /// Copies 9 row-major floats from `input`.
    explicit Matrix3f(const float* input) { copyFrom(input); }
    /// Copies the elements; the copy is unnamed.
    Matrix3f(const Matrix3f& other) { copyFrom(other.elements); }
    /// Copies the elements; this matrix keeps its own name.
    Matrix3f& operator=(const Matrix3f& other) {
        copyFrom(other.elements);
        return *this;
    }
    ~Matrix3f() = default;

    /// Element (row, col); no bounds check.
    float& operator()(int row, int col) { return elements[row * 3 + col]; }
    /// Element (row, col), read-only; no bounds check.
    const float& operator()(int row, int col) const { return elements[row * 3 + col]; }

    /// Every element 0.
    void setZeros();
    /// A matrix of zeros.
    static Matrix3f zeros();
    /// All zero, then 1 on the diagonal.
    void setIdentity();
    /// The identity matrix.
    static Matrix3f identity();
    /// Transposes in place.
    void transpose();
    /// A transposed copy of `in`.
    static Matrix3f transpose(const Matrix3f& in);
    /// Inverts in place as adjugate / determinant (expanded along the first row); a zero determinant is
    /// not tested for and leaves infinities or NaN.
    void inverse();
    /// An inverted copy of `in`.
    static Matrix3f inverse(const Matrix3f& in);

    /// The product this x other, each element accumulated with fused multiply-adds.
    Matrix3f operator*(const Matrix3f& other) const;
    /// Every element times `scalar`.
    Matrix3f operator*(const float& scalar) const;
    /// Element-wise sum.
    Matrix3f operator+(const Matrix3f& other) const;
    /// Element-wise difference, this - other.
    Matrix3f operator-(const Matrix3f& other) const;
    /// `scalar` added to every element, off-diagonal ones included.
    Matrix3f operator+(const float& scalar) const;
    /// `scalar` subtracted from every element.
    Matrix3f operator-(const float& scalar) const;

    /// Exact element comparison; names are not compared, and a NaN makes a matrix unequal to itself.
    bool operator==(const Matrix3f& other) const;
    /// True when any element differs, or is NaN; names are not compared.
    bool operator!=(const Matrix3f& other) const;

    /// The name (or this object's address in upper-case hexadecimal when unnamed), a newline, then each
    /// row as "%f" values separated by single spaces and ended by a newline.
    String getInfos() const;

  private:
    /// Reads all 9 floats before writing any, so an overlapping source copies as by memmove.
    void copyFrom(const float* input) {
        float copy[9];
        for (int i = 0; i < 9; ++i)
            copy[i] = input[i];
        for (int i = 0; i < 9; ++i)
            elements[i] = copy[i];
    }
};

}  // namespace vela

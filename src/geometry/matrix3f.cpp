#include "vela/geometry/matrix3f.hpp"

#include "geometry/square_matrix.hpp"

namespace vela {

VELA_SQUARE_MATRIX_MEMBERS(Matrix3f, 3)

Matrix3f Matrix3f::inverse(const Matrix3f& in) {
    Matrix3f result(in);
    result.inverse();
    return result;
}

Matrix3f Matrix3f::operator*(const Matrix3f& other) const {
    Matrix3f result;
    detail::multiply<3>(elements, other.elements, result.elements);
    return result;
}

// m^-1 = adj(m) / det(m), det expanded along the first row with the cofactors c0j of that row.
void Matrix3f::inverse() {
    const float* m = elements;
    const float c00 = m[4] * m[8] - m[5] * m[7];
    const float c01 = m[5] * m[6] - m[3] * m[8];
    const float c02 = m[3] * m[7] - m[4] * m[6];
    const float det = m[0] * c00 + m[1] * c01 + m[2] * c02;
    const float adjugate[9] = {c00, m[2] * m[7] - m[1] * m[8], m[1] * m[5] - m[2] * m[4],
                               c01, m[0] * m[8] - m[2] * m[6], m[2] * m[3] - m[0] * m[5],
                               c02, m[1] * m[6] - m[0] * m[7], m[0] * m[4] - m[1] * m[3]};
    for (int i = 0; i < 9; ++i)
        elements[i] = adjugate[i] / det;
}

}  // namespace vela

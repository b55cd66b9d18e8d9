#include "vela/geometry/matrix4f.hpp"

#include <cstring>

#include "core/logging.hpp"
#include "geometry/square_matrix.hpp"

namespace vela {
namespace {

// Four floats worked on lane by lane.
struct Lanes {
    float v[4];
};

// (p·x - q·y + r·z) · sign, lane by lane.
Lanes cofactors(const Lanes& p, const Lanes& x, const Lanes& q, const Lanes& y, const Lanes& r,
                const Lanes& z, const Lanes& sign) {
    Lanes result;
    for (int j = 0; j < 4; ++j)
        result.v[j] = (p.v[j] * x.v[j] - q.v[j] * y.v[j] + r.v[j] * z.v[j]) * sign.v[j];
    return result;
}

ERROR_CODE invalidParameters(const char* method) {
    detail::logError("{} {} Invalid Parameters.", "[Mat] ", method);
    return ERROR_CODE::FAILURE;
}

}  // namespace

VELA_SQUARE_MATRIX_MEMBERS(Matrix4f, 4)

// m^-1 = adj(m) / det(m) with adj(i,j) = C(j,i), the cofactor of m(j,i): a 3x3 minor, six triple products.
// The three rows of each minor include rows 2-3 or rows 0-1 of m, so its products are grouped by the 2x2
// minors of those two rows, which all sixteen cofactors share. Lane j of the vectors below serves C(j,.):
// lanes 0 and 1 expand rows 1 and 0 of m against the minors of rows 2-3, lanes 2 and 3 expand rows 3 and 2
// against those of rows 0-1; the four lanes compile to single vector operations.
ERROR_CODE Matrix4f::inverse() {
    float m[16];
    std::memcpy(m, elements, sizeof(m));

    Lanes rows[4];   // (m(1,c), m(0,c), m(3,c), m(2,c))
    Lanes upper[4];  // (m(2,c), m(2,c), m(0,c), m(0,c))
    Lanes lower[4];  // (m(3,c), m(3,c), m(1,c), m(1,c))
    for (int c = 0; c < 4; ++c) {
        rows[c] = Lanes{{m[4 + c], m[c], m[12 + c], m[8 + c]}};
        upper[c] = Lanes{{m[8 + c], m[8 + c], m[c], m[c]}};
        lower[c] = Lanes{{m[12 + c], m[12 + c], m[4 + c], m[4 + c]}};
    }
    auto minor = [&](int a, int b) {
        Lanes result;
        for (int j = 0; j < 4; ++j)
            result.v[j] = upper[a].v[j] * lower[b].v[j] - upper[b].v[j] * lower[a].v[j];
        return result;
    };
    // m_ab: the 2x2 minors on columns a and b.
    const Lanes m01 = minor(0, 1), m02 = minor(0, 2), m03 = minor(0, 3);
    const Lanes m12 = minor(1, 2), m13 = minor(1, 3), m23 = minor(2, 3);
    // The cofactor sign (-1)^(i+j) of adj(i,j).
    const Lanes even{{1, -1, 1, -1}}, odd{{-1, 1, -1, 1}};
    const Lanes adjugate[4] = {
        cofactors(rows[1], m23, rows[2], m13, rows[3], m12, even),
        cofactors(rows[0], m23, rows[2], m03, rows[3], m02, odd),
        cofactors(rows[0], m13, rows[1], m03, rows[3], m01, even),
        cofactors(rows[0], m12, rows[1], m02, rows[2], m01, odd),
    };

    // The first adjugate column is stored before the determinant is known, and stays on failure.
    for (int i = 0; i < 4; ++i)
        elements[i * 4] = adjugate[i].v[0];
    const float det =
        m[0] * adjugate[0].v[0] + m[1] * adjugate[1].v[0] + m[2] * adjugate[2].v[0] + m[3] * adjugate[3].v[0];
    if (det == 0.0f) return ERROR_CODE::FAILURE;

    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            elements[i * 4 + j] = adjugate[i].v[j] / det;
    return ERROR_CODE::SUCCESS;
}

// The product with the matrix whose four columns are all v: row i of it repeats row i's dot product with v.
Matrix4f Matrix4f::operator*(const Vector4<float>& v) const {
    const float columns[16] = {v.x, v.x, v.x, v.x, v.y, v.y, v.y, v.y,
                               v.z, v.z, v.z, v.z, v.w, v.w, v.w, v.w};
    Matrix4f result;
    detail::multiply<4>(elements, columns, result.elements);
    return result;
}

// Indices are tested as unsigned, so negative ones fail too.
ERROR_CODE Matrix4f::setSubMatrix3f(const Matrix3f& input, int row, int column) {
    if (static_cast<unsigned>(row) > 1u || static_cast<unsigned>(column) > 1u)
        return invalidParameters("setSubMatrix3f");
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            (*this)(row + i, column + j) = input(i, j);
    return ERROR_CODE::SUCCESS;
}

ERROR_CODE Matrix4f::setSubVector3f(const Vector3<float>& input, int column) {
    if (static_cast<unsigned>(column) > 3u) return invalidParameters("setSubVector3f");
    for (int i = 0; i < 3; ++i)
        (*this)(i, column) = input[i];
    return ERROR_CODE::SUCCESS;
}

ERROR_CODE Matrix4f::setSubVector4f(const Vector4<float>& input, int column) {
    if (static_cast<unsigned>(column) > 3u) return invalidParameters("setSubVector4f");
    for (int i = 0; i < 4; ++i)
        (*this)(i, column) = input[i];
    return ERROR_CODE::SUCCESS;
}

}  // namespace vela

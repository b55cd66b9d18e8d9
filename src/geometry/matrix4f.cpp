#include "vela/geometry/matrix4f.hpp"

#include <cstddef>
#include <cstring>

#include "core/logging.hpp"
#include "geometry/square_matrix.hpp"

namespace vela {
namespace {

// Four floats in one vector register, on every target the compilers support. Written with the compilers'
// vector extensions rather than one instruction set's intrinsics, so one definition serves them all, and
// the shuffles are spelled out: left to the vectoriser, the gathers below cost twice as many.
using Lanes = float __attribute__((vector_size(16)));

// (a[A], a[B], a[C], a[D]) where indices 4..7 select from b.
template <int A, int B, int C, int D>
Lanes shuffle(Lanes a, Lanes b) {
    return __builtin_shufflevector(a, b, A, B, C, D);
}

Lanes load(const float* values) {
    Lanes lanes;
    std::memcpy(&lanes, values, sizeof(lanes));
    return lanes;
}

void store(Lanes lanes, float* values) {
    std::memcpy(values, &lanes, sizeof(lanes));
}

ERROR_CODE invalidParameters(const char* method) {
    detail::logError("{} {} Invalid Parameters.", "[Mat] ", method);
    return ERROR_CODE::FAILURE;
}

}  // namespace

VELA_SQUARE_MATRIX_MEMBERS(Matrix4f, 4)

void detail::multiply4x4(const float* a, const float* b, float* out) {
    multiply<4>(a, b, out);
}

namespace {

// m^-1 = adj(m) / det(m) with adj(i,j) = C(j,i), the cofactor of m(j,i): a 3x3 minor, six triple products.
// The three rows of each minor include rows 2-3 or rows 0-1 of m, so its products are grouped by the 2x2
// minors of those two rows, which all sixteen cofactors share. Lane j of the vectors below serves C(j,.):
// lanes 0 and 1 expand rows 1 and 0 of m against the minors of rows 2-3, lanes 2 and 3 expand rows 3 and 2
// against those of rows 0-1, so each vector of cofactors is one row of the adjugate.
// `out` may be `in`: every element is read before any is written. On failure `out` holds `in` with the first
// adjugate column in place of its first column, the state left by storing that column first and stopping
// at the zero determinant.
ERROR_CODE invert(const float* in, float* out) {
    const Lanes row0 = load(in), row1 = load(in + 4), row2 = load(in + 8), row3 = load(in + 12);
    // (m(0,c), m(1,c), m(0,c+1), m(1,c+1)) for c = 0 and 2, and the same for rows 2 and 3.
    const Lanes top01 = shuffle<0, 4, 1, 5>(row0, row1), top23 = shuffle<2, 6, 3, 7>(row0, row1);
    const Lanes bottom01 = shuffle<0, 4, 1, 5>(row2, row3), bottom23 = shuffle<2, 6, 3, 7>(row2, row3);
    // rows[c] = (m(1,c), m(0,c), m(3,c), m(2,c)), the elements each lane expands along.
    const Lanes rows[4] = {shuffle<1, 0, 5, 4>(top01, bottom01), shuffle<3, 2, 7, 6>(top01, bottom01),
                           shuffle<1, 0, 5, 4>(top23, bottom23), shuffle<3, 2, 7, 6>(top23, bottom23)};
    // upper[c] = (m(2,c), m(2,c), m(0,c), m(0,c)) and lower[c] = (m(3,c), m(3,c), m(1,c), m(1,c)).
    const Lanes upper[4] = {shuffle<0, 0, 4, 4>(bottom01, top01), shuffle<2, 2, 6, 6>(bottom01, top01),
                            shuffle<0, 0, 4, 4>(bottom23, top23), shuffle<2, 2, 6, 6>(bottom23, top23)};
    const Lanes lower[4] = {shuffle<1, 1, 5, 5>(bottom01, top01), shuffle<3, 3, 7, 7>(bottom01, top01),
                            shuffle<1, 1, 5, 5>(bottom23, top23), shuffle<3, 3, 7, 7>(bottom23, top23)};
    auto minor = [&](int a, int b) { return upper[a] * lower[b] - upper[b] * lower[a]; };
    // m_ab: the 2x2 minors on columns a and b.
    const Lanes m01 = minor(0, 1), m02 = minor(0, 2), m03 = minor(0, 3);
    const Lanes m12 = minor(1, 2), m13 = minor(1, 3), m23 = minor(2, 3);
    // The cofactor sign (-1)^(i+j) of adj(i,j).
    const Lanes even = {1, -1, 1, -1}, odd = {-1, 1, -1, 1};
    const Lanes adjugate[4] = {
        (rows[1] * m23 - rows[2] * m13 + rows[3] * m12) * even,
        (rows[0] * m23 - rows[2] * m03 + rows[3] * m02) * odd,
        (rows[0] * m13 - rows[1] * m03 + rows[3] * m01) * even,
        (rows[0] * m12 - rows[1] * m02 + rows[2] * m01) * odd,
    };

    const Lanes firstColumn = shuffle<0, 1, 4, 5>(shuffle<0, 4, 0, 4>(adjugate[0], adjugate[1]),
                                                  shuffle<0, 4, 0, 4>(adjugate[2], adjugate[3]));
    const Lanes terms = row0 * firstColumn;
    const float det = terms[0] + terms[1] + terms[2] + terms[3];
    if (det == 0.0f) {
        const Lanes unchanged[4] = {row0, row1, row2, row3};
        for (std::size_t i = 0; i < 4; ++i) {
            store(unchanged[i], out + 4 * i);
            out[4 * i] = firstColumn[i];
        }
        return ERROR_CODE::FAILURE;
    }
    for (std::size_t i = 0; i < 4; ++i)
        store(adjugate[i] / det, out + 4 * i);
    return ERROR_CODE::SUCCESS;
}

}  // namespace

ERROR_CODE Matrix4f::inverse() {
    return invert(elements, elements);
}

// Inverting straight from `in` leaves the same result as copying it first, without the copy.
Matrix4f Matrix4f::inverse(const Matrix4f& in) {
    Matrix4f result;
    // A singular matrix leaves the identity: inverse() has no status to return.
    static_cast<void>(invert(in.elements, result.elements));
    return result;
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

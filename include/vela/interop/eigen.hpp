#pragma once

// Conversions between vela's matrices and Eigen's, and an Eigen view of a packed point cloud. Opt-in and
// header-only: include it in code that already uses Eigen; vela/vela.hpp never includes it.

#include <Eigen/Core>
#include <Eigen/Geometry>

#include "vela/geometry/matrix3f.hpp"
#include "vela/geometry/matrix4f.hpp"
#include "vela/geometry/transform.hpp"
#include "vela/mat/mat.hpp"

namespace vela {
namespace eigen {

/// `matrix` as an Eigen matrix (vela is row-major, Eigen column-major by default: elements are placed,
/// not copied as memory).
inline Eigen::Matrix3f toEigen(const Matrix3f& matrix) {
    return Eigen::Map<const Eigen::Matrix<float, 3, 3, Eigen::RowMajor>>(matrix.elements);
}
/// `matrix` as an Eigen matrix.
inline Eigen::Matrix4f toEigen(const Matrix4f& matrix) {
    return Eigen::Map<const Eigen::Matrix<float, 4, 4, Eigen::RowMajor>>(matrix.elements);
}
/// `transform` as an Eigen isometry (its bottom row is taken to be (0, 0, 0, 1)).
inline Eigen::Isometry3f toIsometry(const Transform& transform) {
    Eigen::Isometry3f isometry;
    isometry.matrix() = toEigen(static_cast<const Matrix4f&>(transform));
    return isometry;
}

/// An Eigen 3x3 matrix as a Matrix3f.
inline Matrix3f fromEigen(const Eigen::Matrix3f& matrix) {
    Matrix3f out;
    Eigen::Map<Eigen::Matrix<float, 3, 3, Eigen::RowMajor>>(out.elements) = matrix;
    return out;
}
/// An Eigen 4x4 matrix as a Matrix4f.
inline Matrix4f fromEigen(const Eigen::Matrix4f& matrix) {
    Matrix4f out;
    Eigen::Map<Eigen::Matrix<float, 4, 4, Eigen::RowMajor>>(out.elements) = matrix;
    return out;
}
/// An Eigen isometry or affine transform as a Transform.
template <int Mode>
inline Transform toTransform(const Eigen::Transform<float, 3, Mode>& transform) {
    return Transform(fromEigen(Eigen::Matrix4f(transform.matrix())));
}

/// A packed cloud seen by Eigen: one row per point, one column per channel (x, y, z and, for F32_C4,
/// the packed colour), rows of the Mat one after another.
using CloudMap = Eigen::Map<Eigen::Matrix<float, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>>;

/// The host side of an F32_C3 or F32_C4 `cloud` as a (width x height) x channels matrix, without a copy;
/// a 0 x 0 map over null when the cloud is of another type, has no host side, or has padded rows (a view
/// over them is not one matrix). Columns 0 to 2 are the coordinates:
///     cloud.leftCols<3>() = (cloud.leftCols<3>() * R.transpose()).rowwise() + t.transpose();
inline CloudMap pointsOf(Mat& cloud) {
    const MAT_TYPE type = cloud.getDataType();
    float* data = cloud.isInit() ? cloud.getPtr<float>(MEM::CPU) : nullptr;
    const size_t channels = type == MAT_TYPE::F32_C3 ? 3 : type == MAT_TYPE::F32_C4 ? 4 : 0;
    if (data == nullptr || channels == 0 || cloud.getStepBytes(MEM::CPU) != cloud.getWidth() * channels * 4)
        return CloudMap(nullptr, 0, 0);
    return CloudMap(data, static_cast<Eigen::Index>(cloud.getWidth() * cloud.getHeight()),
                    static_cast<Eigen::Index>(channels));
}

}  // namespace eigen
}  // namespace vela

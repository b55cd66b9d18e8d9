#pragma once

#include "vela/core/export.hpp"
#include "vela/core/vector.hpp"
#include "vela/geometry/matrix3f.hpp"
#include "vela/geometry/orientation.hpp"
#include "vela/geometry/translation.hpp"

namespace vela {

/// A 3x3 rotation matrix. Angles are in radians unless a `radian` argument is false (degrees).
class VELA_API Rotation : public Matrix3f {
  public:
    /// The identity.
    Rotation() = default;
    /// Copies the elements; the copy is unnamed.
    Rotation(const Rotation& other) = default;
    /// Copies the elements of `matrix`, taken as a rotation without any check; the copy is unnamed.
    Rotation(const Matrix3f& matrix);  // NOLINT(google-explicit-constructor): products of rotations
    /// Rotation by `angle` radians about `axis`, normalised first as Translation::normalize does (so an
    /// axis shorter than 1 is used as given).
    Rotation(float angle, const Translation& axis);
    /// The matrix of a quaternion (see Orientation::getRotationMatrix).
    explicit Rotation(const Orientation& orientation);
    /// Copies the elements; this matrix keeps its own name.
    Rotation& operator=(const Rotation& other) = default;

    /// The quaternion of this matrix.
    Orientation getOrientation() const;
    /// Becomes the matrix of `orientation`.
    void setOrientation(const Orientation& orientation);

    /// The axis scaled by the angle in radians (Rodrigues); the identity gives the zero vector.
    Vector3<float> getRotationVector() const;
    /// Becomes the rotation of an axis-angle vector; the zero vector gives the identity.
    void setRotationVector(const Vector3<float>& vec);

    /// Angles (about x, about y, about z) of this rotation. Near ±90° about z, where x.y + z.w of the
    /// quaternion passes ±0.499, the angle about x is 0 and the one about z is ±90°.
    Vector3<float> getEulerAngles(bool radian = true) const;
    /// Becomes the rotation of angles (about x, about y, about z), in degrees when `radian` is false.
    void setEulerAngles(const Vector3<float>& euler_angles, bool radian = true);
};

}  // namespace vela

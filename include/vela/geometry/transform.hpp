#pragma once

#include "vela/core/export.hpp"
#include "vela/core/vector.hpp"
#include "vela/geometry/matrix4f.hpp"
#include "vela/geometry/orientation.hpp"
#include "vela/geometry/rotation.hpp"
#include "vela/geometry/translation.hpp"

namespace vela {

/// A 4x4 rigid transform: the rotation is the upper-left 3x3 block, the translation elements (0,3),
/// (1,3) and (2,3). The rotation setters write that block only, the translation setter that column only.
class VELA_API Transform : public Matrix4f {
  public:
    /// The identity.
    Transform() = default;
    /// Copies the elements; the copy is unnamed.
    Transform(const Transform& other) = default;
    /// Copies the elements of `matrix`, taken as a rigid transform without any check; the copy is unnamed.
    Transform(const Matrix4f& matrix);  // NOLINT(google-explicit-constructor): products of transforms
    /// The identity, then the rotation block and the translation column.
    Transform(const Rotation& rotation, const Translation& translation);
    /// The identity, then the rotation block from `orientation` and the translation column.
    Transform(const Orientation& orientation, const Translation& translation);
    /// Copies the elements; this transform keeps its own name.
    Transform& operator=(const Transform& other) = default;

    /// Writes `rotation` into the rotation block.
    void setRotationMatrix(const Rotation& rotation);
    /// The rotation block as a Rotation.
    Rotation getRotationMatrix() const;
    /// Writes `translation` into the translation column; row 3 is untouched.
    void setTranslation(const Translation& translation);
    /// The translation column: elements (0,3), (1,3) and (2,3).
    Translation getTranslation() const;
    /// Writes the matrix of `orientation` into the rotation block; a non-unit quaternion gives the same
    /// rotation.
    void setOrientation(const Orientation& orientation);
    /// The quaternion of the rotation block (see Orientation::setRotationMatrix).
    Orientation getOrientation() const;

    /// Rotation::getRotationVector of the rotation block.
    Vector3<float> getRotationVector() const;
    /// Rotation::setRotationVector into the rotation block.
    void setRotationVector(const Vector3<float>& vec);
    /// Rotation::getEulerAngles of the rotation block.
    Vector3<float> getEulerAngles(bool radian = true) const;
    /// Rotation::setEulerAngles into the rotation block.
    void setEulerAngles(const Vector3<float>& euler_angles, bool radian = true);
};

}  // namespace vela

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
    Transform(const Matrix4f& matrix);  // NOLINT(google-explicit-constructor): products of transforms
    /// The identity, then the rotation block and the translation column.
    Transform(const Rotation& rotation, const Translation& translation);
    Transform(const Orientation& orientation, const Translation& translation);
    Transform& operator=(const Transform& other) = default;

    void setRotationMatrix(const Rotation& rotation);
    Rotation getRotationMatrix() const;
    void setTranslation(const Translation& translation);
    Translation getTranslation() const;
    void setOrientation(const Orientation& orientation);
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

#pragma once

#include "vela/core/export.hpp"
#include "vela/core/vector.hpp"
#include "vela/geometry/translation.hpp"

namespace vela {

class Rotation;

/// A rotation as a quaternion (x, y, z, w): (x, y, z) the vector part, w the scalar part. Nothing
/// normalises it unless asked; a non-unit quaternion still converts to the rotation it stands for.
class VELA_API Orientation : public Vector4<float> {
  public:
    /// The identity (0, 0, 0, 1).
    Orientation();
    /// Copies the four components.
    Orientation(const Orientation& other) = default;
    /// The quaternion (x, y, z, w) of `vector`, taken as given: not normalised.
    Orientation(const Vector4<float>& vector);  // NOLINT(google-explicit-constructor): a vector is one
    /// The quaternion of a rotation matrix (see setRotationMatrix).
    explicit Orientation(const Rotation& rotation);
    /// The rotation turning direction `tr1` into direction `tr2`: angle acos(n1 · n2) of the normalised
    /// inputs, axis the normalised cross product tr1 x tr2. Parallel inputs get no special treatment.
    Orientation(const Translation& tr1, const Translation& tr2);
    /// Copies the four components.
    Orientation& operator=(const Orientation& other) = default;

    /// Component x (0..3) by value; 0 for any other index.
    float operator()(int x) const;

    /// The quaternion of a rotation matrix, by the largest of the trace and the diagonal elements
    /// (strict comparisons, so ties go to the later case); not normalised afterwards.
    void setRotationMatrix(const Rotation& rotation);
    /// The rotation matrix, dividing by the squared norm so that a non-unit quaternion gives the same
    /// rotation; the zero quaternion gives non-finite elements.
    Rotation getRotationMatrix() const;

    /// (0, 0, 0, 1).
    void setIdentity();
    /// The identity quaternion (0, 0, 0, 1).
    static Orientation identity();
    /// (0, 0, 0, 0).
    void setZeros();
    /// The zero quaternion (0, 0, 0, 0); not a rotation: getRotationMatrix() gives non-finite elements.
    static Orientation zeros();
    /// Divides the four components by the quaternion's length when that length is non-zero.
    void normalise();

    /// The Hamilton product this x orient: rotating by orient first, then by this.
    Orientation operator*(const Orientation& orient) const;
};

}  // namespace vela

// getRotationMatrix() returns a Rotation, which needs its full definition at the call site.
#include "vela/geometry/rotation.hpp"  // IWYU pragma: export

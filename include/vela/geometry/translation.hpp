#pragma once

#include "vela/core/export.hpp"
#include "vela/core/vector.hpp"

namespace vela {

class Orientation;

/// A translation or direction (x, y, z), in the caller's length unit.
class VELA_API Translation : public Vector3<float> {
  public:
    /// (0, 0, 0).
    Translation() = default;
    /// Copies the three components.
    Translation(const Translation& other) = default;
    /// (t1, t2, t3).
    Translation(float t1, float t2, float t3);
    /// The components of `vector`.
    Translation(const Vector3<float>& vector);  // NOLINT(google-explicit-constructor): a vector is one
    /// Copies the three components.
    Translation& operator=(const Translation& other) = default;

    /// Component x (0, 1 or 2); no bounds check.
    float& operator()(int x) { return data()[x]; }

    /// Divides by the length L only when the integer part of L is non-zero: vectors shorter than 1,
    /// the zero vector among them, are left unchanged.
    void normalize();
    /// A copy of `tr` normalised as by normalize().
    static Translation normalize(const Translation& tr);

    /// This vector rotated by `mat` as q v q̄, without dividing by the quaternion's norm: a non-unit
    /// quaternion also scales the result by its squared length.
    Translation operator*(const Orientation& mat) const;
};

}  // namespace vela

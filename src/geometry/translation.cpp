#include "vela/geometry/translation.hpp"

#include <cmath>

#include "vela/geometry/orientation.hpp"

namespace vela {

Translation::Translation(float t1, float t2, float t3) : Vector3<float>(t1, t2, t3) {}

Translation::Translation(const Vector3<float>& vector) : Vector3<float>(vector) {}

// The integer part of the length decides: callers rely on vectors shorter than 1 staying as they are.
// The length is clamped before the conversion so that it is defined for any float.
void Translation::normalize() {
    const float length = std::sqrt(x * x + y * y + z * z);
    if (static_cast<int>(std::fmin(length, 2.0f)) > 0) {
        x /= length;
        y /= length;
        z /= length;
    }
}

Translation Translation::normalize(const Translation& tr) {
    Translation result(tr);
    result.normalize();
    return result;
}

// q v q̄ expanded, without the division by |q|².
Translation Translation::operator*(const Orientation& mat) const {
    const float qx = mat.x, qy = mat.y, qz = mat.z, qw = mat.w;
    const float vx = x, vy = y, vz = z;
    return Translation(qw * qw * vx + 2 * qy * qw * vz - 2 * qz * qw * vy + qx * qx * vx + 2 * qy * qx * vy +
                           2 * qz * qx * vz - qz * qz * vx - qy * qy * vx,
                       2 * qx * qy * vx + qy * qy * vy + 2 * qz * qy * vz + 2 * qw * qz * vx - qz * qz * vy +
                           qw * qw * vy - 2 * qx * qw * vz - qx * qx * vy,
                       2 * qx * qz * vx + 2 * qy * qz * vy + qz * qz * vz - 2 * qw * qy * vx - qy * qy * vz +
                           2 * qw * qx * vy - qx * qx * vz + qw * qw * vz);
}

}  // namespace vela

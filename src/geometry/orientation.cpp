#include "vela/geometry/orientation.hpp"

#include <cmath>

#include "geometry/precision.hpp"

namespace vela {

Orientation::Orientation() : Vector4<float>(0.0f, 0.0f, 0.0f, 1.0f) {}

Orientation::Orientation(const Vector4<float>& vector) : Vector4<float>(vector) {}

Orientation::Orientation(const Rotation& rotation) {
    setRotationMatrix(rotation);
}

// The quaternion of a turn by the angle between the directions about the axis perpendicular to both. The
// cross product is taken of the inputs as given, and normalising leaves a vector shorter than 1 as it is.
Orientation::Orientation(const Translation& tr1, const Translation& tr2) : Vector4<float>(0, 0, 0, 0) {
    const Translation n1 = Translation::normalize(tr1);
    const Translation n2 = Translation::normalize(tr2);
    const float angle = detail::acosOf(n1.x * n2.x + n1.y * n2.y + n1.z * n2.z);
    Translation axis(tr1.y * tr2.z - tr1.z * tr2.y, tr1.z * tr2.x - tr1.x * tr2.z,
                     tr1.x * tr2.y - tr1.y * tr2.x);
    axis.normalize();
    const float half = angle / 2;
    const float s = detail::sinOf(half);
    x = axis.x * s;
    y = axis.y * s;
    z = axis.z * s;
    w = detail::cosOf(half);
}

float Orientation::operator()(int index) const {
    return static_cast<unsigned>(index) < 4u ? data()[index] : 0.0f;
}

// Each case starts from the component that the trace or the largest diagonal element shows to be large, so
// that its divisor keeps away from zero.
void Orientation::setRotationMatrix(const Rotation& r) {
    const float trace = r(0, 0) + r(1, 1) + r(2, 2);
    if (trace > 0) {
        const float s = 0.5f / std::sqrt(trace + 1.0f);
        w = 0.25f / s;
        x = (r(2, 1) - r(1, 2)) * s;
        y = (r(0, 2) - r(2, 0)) * s;
        z = (r(1, 0) - r(0, 1)) * s;
    } else if (r(0, 0) > r(1, 1) && r(0, 0) > r(2, 2)) {
        const float s = 2.0f * std::sqrt(1.0f + r(0, 0) - r(1, 1) - r(2, 2));
        x = 0.25f * s;
        y = (r(0, 1) + r(1, 0)) / s;
        z = (r(0, 2) + r(2, 0)) / s;
        w = (r(2, 1) - r(1, 2)) / s;
    } else if (r(1, 1) > r(2, 2)) {
        const float s = 2.0f * std::sqrt(1.0f + r(1, 1) - r(0, 0) - r(2, 2));
        x = (r(0, 1) + r(1, 0)) / s;
        y = 0.25f * s;
        z = (r(1, 2) + r(2, 1)) / s;
        w = (r(0, 2) - r(2, 0)) / s;
    } else {
        const float s = 2.0f * std::sqrt(1.0f + r(2, 2) - r(0, 0) - r(1, 1));
        x = (r(0, 2) + r(2, 0)) / s;
        y = (r(1, 2) + r(2, 1)) / s;
        z = 0.25f * s;
        w = (r(1, 0) - r(0, 1)) / s;
    }
}

// Every term is divided by |q|², so a scaled quaternion gives the same rotation.
Rotation Orientation::getRotationMatrix() const {
    const float xx = x * x, yy = y * y, zz = z * z, ww = w * w;
    const float inv = 1.0f / (xx + yy + zz + ww);
    const float xy = x * y, zw = z * w, xz = x * z, yw = y * w, yz = y * z, xw = x * w;
    Rotation r;
    r(0, 0) = (xx - yy - zz + ww) * inv;
    r(1, 1) = (-xx + yy - zz + ww) * inv;
    r(2, 2) = (-xx - yy + zz + ww) * inv;
    r(1, 0) = 2.0f * (xy + zw) * inv;
    r(0, 1) = 2.0f * (xy - zw) * inv;
    r(2, 0) = 2.0f * (xz - yw) * inv;
    r(0, 2) = 2.0f * (xz + yw) * inv;
    r(2, 1) = 2.0f * (yz + xw) * inv;
    r(1, 2) = 2.0f * (yz - xw) * inv;
    return r;
}

void Orientation::setIdentity() {
    *this = identity();
}

Orientation Orientation::identity() {
    return Orientation();
}

void Orientation::setZeros() {
    *this = zeros();
}

Orientation Orientation::zeros() {
    return Orientation(Vector4<float>(0.0f, 0.0f, 0.0f, 0.0f));
}

void Orientation::normalise() {
    const float length = std::sqrt(x * x + y * y + z * z + w * w);
    if (std::fabs(length) > 0) {
        x /= length;
        y /= length;
        z /= length;
        w /= length;
    }
}

Orientation Orientation::operator*(const Orientation& orient) const {
    const float x2 = orient.x, y2 = orient.y, z2 = orient.z, w2 = orient.w;
    return Orientation(Vector4<float>(w * x2 + x * w2 + y * z2 - z * y2, w * y2 - x * z2 + y * w2 + z * x2,
                                      w * z2 + x * y2 - y * x2 + z * w2, w * w2 - x * x2 - y * y2 - z * z2));
}

}  // namespace vela

#include "vela/geometry/rotation.hpp"

#include <opencv2/calib3d.hpp>
#include <opencv2/core.hpp>

#include <cstring>

#include "geometry/precision.hpp"

namespace vela {
namespace {

constexpr float kDegreesToRadians = 0.017453292f;
constexpr float kRadiansToDegrees = 57.29578f;
constexpr float kQuarterTurn = 1.5707964f;
// |x.y + z.w| of the quaternion beyond which the rotation is taken as ±90° about z.
constexpr double kEulerGuard = 0.499;

}  // namespace

Rotation::Rotation(const Matrix3f& matrix) : Matrix3f(matrix) {}

// R = c I + s [a]x + (1 - c) a aᵀ for the unit axis a.
Rotation::Rotation(float angle, const Translation& axis) {
    const Translation a = Translation::normalize(axis);
    const float c = detail::cosOf(angle);
    const float s = detail::sinOf(angle);
    const float t = 1.0f - c;
    const float x = a.x, y = a.y, z = a.z;
    const float values[9] = {t * x * x + c,     t * x * y - s * z, t * x * z + s * y,
                             t * x * y + s * z, t * y * y + c,     t * y * z - s * x,
                             t * x * z - s * y, t * y * z + s * x, t * z * z + c};
    std::memcpy(elements, values, sizeof(elements));
}

Rotation::Rotation(const Orientation& orientation) {
    setOrientation(orientation);
}

Orientation Rotation::getOrientation() const {
    return Orientation(*this);
}

void Rotation::setOrientation(const Orientation& orientation) {
    *this = orientation.getRotationMatrix();
}

// The nine floats seen as a 3x3 float matrix and the three as a 3x1 float vector; Rodrigues writes
// straight into them because they already have the shape and type it creates.
Vector3<float> Rotation::getRotationVector() const {
    Vector3<float> vec;
    const cv::Mat matrix(3, 3, CV_32F, const_cast<float*>(elements));
    cv::Mat vector(3, 1, CV_32F, vec.data());
    cv::Rodrigues(matrix, vector);
    return vec;
}

void Rotation::setRotationVector(const Vector3<float>& vec) {
    const cv::Mat vector(3, 1, CV_32F, const_cast<float*>(vec.data()));
    cv::Mat matrix(3, 3, CV_32F, elements);
    cv::Rodrigues(vector, matrix);
}

// From the quaternion, with test = x.y + z.w = sin(angle about z) / 2.
Vector3<float> Rotation::getEulerAngles(bool radian) const {
    const Orientation q(*this);
    const float x = q.x, y = q.y, z = q.z, w = q.w;
    const float test = x * y + z * w;
    Vector3<float> angles;
    if (test > kEulerGuard) {
        angles = Vector3<float>(0.0f, 2 * detail::atan2Of(x, w), kQuarterTurn);
    } else if (test < -kEulerGuard) {
        angles = Vector3<float>(0.0f, -2 * detail::atan2Of(x, w), -kQuarterTurn);
    } else {
        angles = Vector3<float>(detail::atan2Of(2 * x * w - 2 * y * z, 1 - 2 * x * x - 2 * z * z),
                                detail::atan2Of(2 * y * w - 2 * x * z, 1 - 2 * y * y - 2 * z * z),
                                detail::asinOf(2 * test));
    }
    if (!radian) {
        for (int i = 0; i < 3; ++i)
            angles[i] *= kRadiansToDegrees;
    }
    return angles;
}

// R = Ry(a1) Rz(a2) Rx(a0).
void Rotation::setEulerAngles(const Vector3<float>& euler_angles, bool radian) {
    const float factor = radian ? 1.0f : kDegreesToRadians;
    float c[3], s[3];
    for (int i = 0; i < 3; ++i) {
        c[i] = detail::cosOf(euler_angles[i] * factor);
        s[i] = detail::sinOf(euler_angles[i] * factor);
    }
    const float values[9] = {c[1] * c[2],
                             s[0] * s[1] - c[0] * c[1] * s[2],
                             c[0] * s[1] + s[0] * c[1] * s[2],
                             s[2],
                             c[0] * c[2],
                             -s[0] * c[2],
                             -s[1] * c[2],
                             c[0] * s[1] * s[2] + s[0] * c[1],
                             c[0] * c[1] - s[0] * s[1] * s[2]};
    std::memcpy(elements, values, sizeof(elements));
}

}  // namespace vela

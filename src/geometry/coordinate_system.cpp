// Axis conventions and length units of single transforms, gravity alignment and heading removal.

#include "vela/geometry/coordinate_system.hpp"

#include <cmath>
#include <cstdint>
#include <limits>

#include "geometry/conversion_ranges.hpp"
#include "geometry/precision.hpp"
#include "vela/geometry/orientation.hpp"
#include "vela/geometry/rotation.hpp"
#include "vela/geometry/translation.hpp"

namespace vela {
namespace {

// Rows of M(s), which writes a point of system s in IMAGE (x right, y down, z forward), by system value.
constexpr float kAxes[detail::kLastCoordinateSystem + 1][9] = {
    {1, 0, 0, 0, 1, 0, 0, 0, 1},    // IMAGE
    {1, 0, 0, 0, -1, 0, 0, 0, 1},   // LEFT_HANDED_Y_UP
    {1, 0, 0, 0, -1, 0, 0, 0, -1},  // RIGHT_HANDED_Y_UP
    {1, 0, 0, 0, 0, -1, 0, 1, 0},   // RIGHT_HANDED_Z_UP
    {0, 1, 0, 0, 0, -1, 1, 0, 0},   // LEFT_HANDED_Z_UP
    {0, -1, 0, 0, 0, -1, 1, 0, 0},  // RIGHT_HANDED_Z_UP_X_FWD
};

// M(s) as a 4x4 with zero translation; a value outside the enumeration leaves the identity.
Matrix4f axesOf(COORDINATE_SYSTEM system) {
    Matrix4f m;
    const int32_t value = toValue(system);
    if (value < 0 || value > detail::kLastCoordinateSystem) return m;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            m(i, j) = kAxes[value][i * 3 + j];
    return m;
}

// Beyond this |sin pitch| the forward axis is within about 26° of the vertical, where heading and roll
// can no longer be told apart.
constexpr float kPitchGuard = 0.9f;
// The tilt used beyond the guard, as (±x, 0, 0, w): a quarter turn about the side axis.
constexpr float kQuarterTurnX = 0.7068252f;
constexpr float kQuarterTurnW = 0.7073882f;
// π as the kit has always folded angles with it; results keep agreeing with poses it produced before.
constexpr float kHalfTurn = 3.14159f;

// The tilt of q = yaw (about y) · pitch (about x) · roll (about z) in IMAGE: q with its yaw taken off,
// rebuilt from its axis and angle.
Rotation tiltOf(const Orientation& q) {
    const float x = q.x, y = q.y, z = q.z, w = q.w;
    const float sinPitch = 2 * (w * x - y * z);
    Orientation tilt;
    if (std::fabs(sinPitch) > kPitchGuard) {
        tilt = Orientation(Vector4<float>(std::copysign(kQuarterTurnX, sinPitch), 0, 0, kQuarterTurnW));
    } else {
        const float yaw = detail::atan2Of(2 * (x * z + w * y), 1 - 2 * (x * x + y * y));
        const Orientation unyaw(Vector4<float>(0, detail::sinOf(-yaw / 2), 0, detail::cosOf(-yaw / 2)));
        tilt = unyaw * q;
    }
    Translation axis(tilt.x, tilt.y, tilt.z);
    const float sinHalf = std::sqrt(axis.x * axis.x + axis.y * axis.y + axis.z * axis.z);
    if (sinHalf > 0) {
        axis.x /= sinHalf;
        axis.y /= sinHalf;
        axis.z /= sinHalf;
    }
    // q and -q are the same rotation: a half angle past a quarter turn folds back by a half turn, axis
    // reversed, so the angle stays within a half turn.
    float half = detail::atan2Of(sinHalf, tilt.w);
    if (half > kHalfTurn / 2) {
        half = kHalfTurn - half;
        axis = Translation(-axis.x, -axis.y, -axis.z);
    }
    return Rotation(2 * half, axis);
}

}  // namespace

Matrix4f getCoordinateTransformConversion4f(COORDINATE_SYSTEM coord_system_src,
                                            COORDINATE_SYSTEM coord_system_dst) {
    return Matrix4f::inverse(axesOf(coord_system_dst)) * axesOf(coord_system_src);
}

Matrix3f getCoordinateTransformConversion3f(COORDINATE_SYSTEM coord_system_src,
                                            COORDINATE_SYSTEM coord_system_dst) {
    const Matrix4f conversion = getCoordinateTransformConversion4f(coord_system_src, coord_system_dst);
    Matrix3f block;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            block(i, j) = conversion(i, j);
    return block;
}

float getScaleMillimeter(UNIT unit) {
    switch (unit) {
        case UNIT::MILLIMETER:
            return 1.0f;
        case UNIT::CENTIMETER:
            return 10.0f;
        case UNIT::METER:
            return 1000.0f;
        case UNIT::INCH:
            return 25.4f;
        case UNIT::FOOT:
            return 304.8f;
    }
    return std::numeric_limits<float>::quiet_NaN();
}

// Equal units give exactly 1 without consulting the sizes, which need not be exact.
float getUnitScale(UNIT unit_src, UNIT unit_dst) {
    if (unit_src == unit_dst) return 1.0f;
    return getScaleMillimeter(unit_src) / getScaleMillimeter(unit_dst);
}

ERROR_CODE convertCoordinateSystem(Transform& motion, COORDINATE_SYSTEM coord_system_src,
                                   COORDINATE_SYSTEM coord_system_dst) {
    if (coord_system_src == coord_system_dst) return ERROR_CODE::SUCCESS;
    if (!detail::systemsInRange(coord_system_src, coord_system_dst))
        return ERROR_CODE::INVALID_COORDINATE_SYSTEM;
    const Matrix4f conversion = getCoordinateTransformConversion4f(coord_system_src, coord_system_dst);
    motion = conversion * motion * Matrix4f::inverse(conversion);
    motion.name.clear();
    return ERROR_CODE::SUCCESS;
}

ERROR_CODE convertUnit(Transform& motion, UNIT unit_src, UNIT unit_dst) {
    if (unit_src == unit_dst) return ERROR_CODE::SUCCESS;
    if (!detail::unitsInRange(unit_src, unit_dst)) return ERROR_CODE::INVALID_FUNCTION_PARAMETERS;
    const float scale = getUnitScale(unit_src, unit_dst);
    for (int i = 0; i < 3; ++i)
        motion(i, 3) *= scale;
    return ERROR_CODE::SUCCESS;
}

// R = I + [v]x + [v]x² (1 - c) / |v|² turns g onto the reference, with v = g x reference and c = g ·
// reference; its transpose turns the reference onto g.
Matrix3f computeRotationMatrixFromGravity(Vector3<float> measured, Vector3<float> reference) {
    const double length = std::sqrt(static_cast<double>(measured.x) * measured.x +
                                    static_cast<double>(measured.y) * measured.y +
                                    static_cast<double>(measured.z) * measured.z);
    const float gx = static_cast<float>(measured.x / length);
    const float gy = static_cast<float>(measured.y / length);
    const float gz = static_cast<float>(measured.z / length);
    const Vector3<float>& r = reference;
    const float vx = gy * r.z - gz * r.y, vy = gz * r.x - gx * r.z, vz = gx * r.y - gy * r.x;
    const float k = 1 - (gx * r.x + gy * r.y + gz * r.z);
    const float n = vx * vx + vy * vy + vz * vz;
    const float crossValues[9] = {0, -vz, vy, vz, 0, -vx, -vy, vx, 0};
    const Matrix3f cross(crossValues);
    return Matrix3f::transpose(Matrix3f::identity() + cross + cross * cross * (k / n));
}

ERROR_CODE removeYaw(Transform& pose, COORDINATE_SYSTEM system) {
    const ERROR_CODE status = convertCoordinateSystem(pose, system, COORDINATE_SYSTEM::IMAGE);
    if (status != ERROR_CODE::SUCCESS) return status;
    pose.setRotationMatrix(tiltOf(pose.getOrientation()));
    return convertCoordinateSystem(pose, COORDINATE_SYSTEM::IMAGE, system);
}

}  // namespace vela

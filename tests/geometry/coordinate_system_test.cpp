// Coordinate systems, units and gravity alignment of single transforms: conversion matrices worked out
// from where each system's axes point, units from their sizes, and heading removal on poses built from
// known roll, pitch and yaw.

#include <gtest/gtest.h>

#include <vela/vela.hpp>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include "geometry/reference_rotation.hpp"

namespace {

using vela::COORDINATE_SYSTEM;
using vela::ERROR_CODE;
using vela::Matrix3f;
using vela::Matrix4f;
using vela::Transform;
using vela::UNIT;
using vela::Vector3;
using vela::test::Matrix3d;

// Directions in IMAGE coordinates.
struct Direction {
    int x, y, z;
};
constexpr Direction kRight{1, 0, 0}, kLeft{-1, 0, 0}, kDown{0, 1, 0}, kUp{0, -1, 0}, kForward{0, 0, 1},
    kBackward{0, 0, -1};

int dot(const Direction& a, const Direction& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

// Where each system's x, y and z axes point, by system value.
struct Axes {
    COORDINATE_SYSTEM system;
    Direction axis[3];
};
const Axes kSystems[] = {
    {COORDINATE_SYSTEM::IMAGE, {kRight, kDown, kForward}},
    {COORDINATE_SYSTEM::LEFT_HANDED_Y_UP, {kRight, kUp, kForward}},
    {COORDINATE_SYSTEM::RIGHT_HANDED_Y_UP, {kRight, kUp, kBackward}},
    {COORDINATE_SYSTEM::RIGHT_HANDED_Z_UP, {kRight, kForward, kUp}},
    {COORDINATE_SYSTEM::LEFT_HANDED_Z_UP, {kForward, kRight, kUp}},
    {COORDINATE_SYSTEM::RIGHT_HANDED_Z_UP_X_FWD, {kForward, kLeft, kUp}},
};

std::string nameOf(COORDINATE_SYSTEM system) {
    return vela::toString(system).c_str();
}

// Coordinate i of a point in `dst` is the dot product of dst's axis i with the point, and the point is the
// sum of src's axes scaled by its coordinates: C(i, j) = dst.axis[i] · src.axis[j].
Matrix4f expectedConversion(const Axes& src, const Axes& dst) {
    Matrix4f c;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            c(i, j) = static_cast<float>(dot(dst.axis[i], src.axis[j]));
    return c;
}

// Direction `d` written in the coordinates of `system`.
Vector3<float> inSystem(const Axes& system, const Direction& d) {
    return Vector3<float>(static_cast<float>(dot(system.axis[0], d)),
                          static_cast<float>(dot(system.axis[1], d)),
                          static_cast<float>(dot(system.axis[2], d)));
}

// Transform applied to a point.
Vector3<float> apply(const Matrix4f& t, const Vector3<float>& p) {
    Vector3<float> r;
    for (int i = 0; i < 3; ++i)
        r[i] = t(i, 0) * p.x + t(i, 1) * p.y + t(i, 2) * p.z + t(i, 3);
    return r;
}

Vector3<float> toImage(COORDINATE_SYSTEM system, const Vector3<float>& p) {
    return apply(vela::getCoordinateTransformConversion4f(system, COORDINATE_SYSTEM::IMAGE), p);
}

TEST(CoordinateSystem, all_36_conversions_match_the_axes_of_each_system) {
    for (const Axes& src : kSystems) {
        for (const Axes& dst : kSystems) {
            SCOPED_TRACE(nameOf(src.system) + " -> " + nameOf(dst.system));
            const Matrix4f expected = expectedConversion(src, dst);
            EXPECT_EQ(vela::getCoordinateTransformConversion4f(src.system, dst.system), expected);
            const Matrix3f block = vela::getCoordinateTransformConversion3f(src.system, dst.system);
            for (int i = 0; i < 3; ++i)
                for (int j = 0; j < 3; ++j)
                    EXPECT_EQ(block(i, j), expected(i, j)) << i << "," << j;
        }
    }
    const float rightHandedYUp[16] = {1, 0, 0, 0, 0, -1, 0, 0, 0, 0, -1, 0, 0, 0, 0, 1};
    EXPECT_EQ(vela::getCoordinateTransformConversion4f(COORDINATE_SYSTEM::IMAGE,
                                                       COORDINATE_SYSTEM::RIGHT_HANDED_Y_UP),
              Matrix4f(rightHandedYUp));
}

TEST(CoordinateSystem, point_1_2_3_of_each_system_in_image_coordinates_and_unknown_systems) {
    const Vector3<float> p(1, 2, 3);
    EXPECT_EQ(toImage(COORDINATE_SYSTEM::IMAGE, p), Vector3<float>(1, 2, 3));
    EXPECT_EQ(toImage(COORDINATE_SYSTEM::LEFT_HANDED_Y_UP, p), Vector3<float>(1, -2, 3));
    EXPECT_EQ(toImage(COORDINATE_SYSTEM::RIGHT_HANDED_Y_UP, p), Vector3<float>(1, -2, -3));
    EXPECT_EQ(toImage(COORDINATE_SYSTEM::RIGHT_HANDED_Z_UP, p), Vector3<float>(1, -3, 2));
    EXPECT_EQ(toImage(COORDINATE_SYSTEM::LEFT_HANDED_Z_UP, p), Vector3<float>(2, -3, 1));
    EXPECT_EQ(toImage(COORDINATE_SYSTEM::RIGHT_HANDED_Z_UP_X_FWD, p), Vector3<float>(-2, -3, 1));
    // Values outside the enumeration select the identity.
    const auto minusOne = static_cast<COORDINATE_SYSTEM>(-1);
    const auto six = static_cast<COORDINATE_SYSTEM>(6);
    EXPECT_EQ(vela::getCoordinateTransformConversion4f(minusOne, COORDINATE_SYSTEM::IMAGE),
              Matrix4f::identity());
    EXPECT_EQ(vela::getCoordinateTransformConversion4f(six, COORDINATE_SYSTEM::RIGHT_HANDED_Y_UP),
              vela::getCoordinateTransformConversion4f(COORDINATE_SYSTEM::IMAGE,
                                                       COORDINATE_SYSTEM::RIGHT_HANDED_Y_UP));
}

// A transform with no zero and no repeated element.
Transform sampleMotion() {
    Transform t(vela::Rotation(0.7f, vela::Translation(1, -2, 2)), vela::Translation(0.5f, -1.25f, 3));
    t.name = "motion";
    return t;
}

TEST(CoordinateSystem, converted_transform_moves_converted_points_as_the_original_moves_points) {
    const Vector3<float> points[] = {{0, 0, 0}, {1, 2, 3}, {-4, 0.5f, 7}};
    for (const Axes& src : kSystems) {
        for (const Axes& dst : kSystems) {
            SCOPED_TRACE(nameOf(src.system) + " -> " + nameOf(dst.system));
            const Matrix4f c = expectedConversion(src, dst);
            Transform motion = sampleMotion();
            ASSERT_EQ(vela::convertCoordinateSystem(motion, src.system, dst.system), ERROR_CODE::SUCCESS);
            for (const Vector3<float>& p : points) {
                const Vector3<float> expected = apply(c, apply(sampleMotion(), p));
                const Vector3<float> actual = apply(motion, apply(c, p));
                for (int i = 0; i < 3; ++i)
                    EXPECT_NEAR(actual[i], expected[i], 1e-5f);
            }
            EXPECT_EQ(std::string(motion.name.c_str()), src.system == dst.system ? "motion" : "");
        }
    }
}

TEST(CoordinateSystem, transform_converters_refuse_values_above_the_last_and_leave_the_transform) {
    const Transform before = sampleMotion();
    Transform motion = sampleMotion();
    EXPECT_EQ(
        vela::convertCoordinateSystem(motion, COORDINATE_SYSTEM::IMAGE, static_cast<COORDINATE_SYSTEM>(6)),
        ERROR_CODE::INVALID_COORDINATE_SYSTEM);
    EXPECT_EQ(
        vela::convertCoordinateSystem(motion, static_cast<COORDINATE_SYSTEM>(7), COORDINATE_SYSTEM::IMAGE),
        ERROR_CODE::INVALID_COORDINATE_SYSTEM);
    EXPECT_EQ(vela::convertUnit(motion, static_cast<UNIT>(5), UNIT::METER),
              ERROR_CODE::INVALID_FUNCTION_PARAMETERS);
    EXPECT_EQ(vela::convertUnit(motion, UNIT::METER, static_cast<UNIT>(5)),
              ERROR_CODE::INVALID_FUNCTION_PARAMETERS);
    EXPECT_EQ(vela::removeYaw(motion, static_cast<COORDINATE_SYSTEM>(6)),
              ERROR_CODE::INVALID_COORDINATE_SYSTEM);
    EXPECT_EQ(motion, before);
    EXPECT_EQ(std::string(motion.name.c_str()), "motion");

    // A negative system passes the signed range test and stands for the identity.
    EXPECT_EQ(
        vela::convertCoordinateSystem(motion, static_cast<COORDINATE_SYSTEM>(-1), COORDINATE_SYSTEM::IMAGE),
        ERROR_CODE::SUCCESS);
    EXPECT_EQ(motion, before);
}

TEST(Units, sizes_in_millimetres_and_scales_between_units) {
    EXPECT_EQ(vela::getScaleMillimeter(UNIT::MILLIMETER), 1.0f);
    EXPECT_EQ(vela::getScaleMillimeter(UNIT::CENTIMETER), 10.0f);
    EXPECT_EQ(vela::getScaleMillimeter(UNIT::METER), 1000.0f);
    EXPECT_EQ(vela::getScaleMillimeter(UNIT::INCH), 25.4f);
    EXPECT_EQ(vela::getScaleMillimeter(UNIT::FOOT), 304.8f);
    EXPECT_TRUE(std::isnan(vela::getScaleMillimeter(static_cast<UNIT>(-1))));

    EXPECT_EQ(vela::getUnitScale(UNIT::METER, UNIT::MILLIMETER), 1000.0f);
    EXPECT_FLOAT_EQ(vela::getUnitScale(UNIT::MILLIMETER, UNIT::METER), 0.001f);
    EXPECT_FLOAT_EQ(vela::getUnitScale(UNIT::INCH, UNIT::CENTIMETER), 2.54f);
    EXPECT_FLOAT_EQ(vela::getUnitScale(UNIT::FOOT, UNIT::INCH), 12.0f);
    EXPECT_FLOAT_EQ(vela::getUnitScale(UNIT::CENTIMETER, UNIT::FOOT), 1 / 30.48f);
    for (UNIT unit : {UNIT::MILLIMETER, UNIT::INCH, UNIT::FOOT, static_cast<UNIT>(-3)})
        EXPECT_EQ(vela::getUnitScale(unit, unit), 1.0f) << "equal units are exactly 1, sizes unread";
}

TEST(Units, transform_unit_change_scales_the_translation_only) {
    Transform motion = sampleMotion();
    ASSERT_EQ(vela::convertUnit(motion, UNIT::METER, UNIT::MILLIMETER), ERROR_CODE::SUCCESS);
    Transform expected = sampleMotion();
    expected(0, 3) = 500;
    expected(1, 3) = -1250;
    expected(2, 3) = 3000;
    EXPECT_EQ(motion, expected);

    motion = sampleMotion();
    ASSERT_EQ(vela::convertUnit(motion, UNIT::FOOT, UNIT::FOOT), ERROR_CODE::SUCCESS);
    EXPECT_EQ(motion, sampleMotion());
}

TEST(Gravity, rotation_turns_the_reference_onto_the_measured_direction) {
    const Matrix3f quarter =
        vela::computeRotationMatrixFromGravity(Vector3<float>(9.81f, 0, 0), Vector3<float>(0, 1, 0));
    const float expected[9] = {0, 1, 0, -1, 0, 0, 0, 0, 1};
    EXPECT_EQ(quarter, Matrix3f(expected));

    const Vector3<float> measured(1.5f, -9.5f, 2.0f);
    const Vector3<float> reference(0, -1, 0);
    const Matrix3f r = vela::computeRotationMatrixFromGravity(measured, reference);
    const double length = std::sqrt(1.5 * 1.5 + 9.5 * 9.5 + 2.0 * 2.0);
    for (int i = 0; i < 3; ++i) {
        const float turned = r(i, 0) * reference.x + r(i, 1) * reference.y + r(i, 2) * reference.z;
        EXPECT_NEAR(turned, measured[i] / length, 1e-6) << i;
    }
    const Matrix3f identity = r * Matrix3f::transpose(r);
    for (int i = 0; i < 9; ++i)
        EXPECT_NEAR(identity.elements[i], Matrix3f::identity().elements[i], 1e-6) << "orthonormal";
    // Parallel vectors give non-finite elements.
    const Matrix3f parallel =
        vela::computeRotationMatrixFromGravity(Vector3<float>(0, -9.81f, 0), Vector3<float>(0, -1, 0));
    for (float element : parallel.elements)
        EXPECT_TRUE(std::isnan(element));
}

Transform poseOf(const Matrix3d& rotation, const vela::Translation& translation) {
    Transform pose;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            pose(i, j) = static_cast<float>(rotation.m[i][j]);
    pose.setTranslation(translation);
    return pose;
}

// Rotation by `angle` about direction `d`, written in `system`.
Matrix3d about(const Axes& system, const Direction& d, double angle) {
    const Vector3<float> axis = inSystem(system, d);
    return vela::test::axisAngle(angle, axis.x, axis.y, axis.z);
}

// Heading, tilt and turn about the forward axis, in radians: yaw about the vertical, pitch about the side
// axis, roll about the forward axis, applied roll first.
struct Attitude {
    double roll, pitch, yaw;
};

// The pose of a body with `attitude` in `system`, whose vertical, side and forward axes are IMAGE's up,
// right and forward written in that system.
Matrix3d attitudeIn(const Axes& system, double roll, double pitch, double yaw) {
    return vela::test::product(vela::test::product(about(system, kUp, yaw), about(system, kRight, pitch)),
                               about(system, kForward, roll));
}

// Float rounding plus the kit's π of 3.14159 in the fold, which moves an angle by up to 5.3e-6.
constexpr double kAttitudeTolerance = 2e-5;

TEST(RemoveYaw, keeps_roll_pitch_and_translation_in_every_system) {
    const double sinGuard = 0.9;
    const Attitude attitudes[] = {
        {0.3, -0.4, 1.2},                // general case
        {-2.5, 0.6, -2.9},               // upside down, heading past a half turn the other way
        {0.2, 0.1, -3.0},                // heading near a half turn
        {0.0, 0.0, 0.0},                 // nothing to remove
        {0.5, 0.0, 0.0},                 // already level in heading
        {0.1, std::asin(0.89), 0.7},     // just inside the guard band
        {-0.3, -std::asin(0.89), -1.9},  // just inside, pitched the other way
    };
    const vela::Translation translation(0.25f, -3.5f, 12.0f);
    for (const Axes& system : kSystems) {
        for (const Attitude& a : attitudes) {
            SCOPED_TRACE(nameOf(system.system) + " roll " + std::to_string(a.roll) + " pitch " +
                         std::to_string(a.pitch) + " yaw " + std::to_string(a.yaw));
            ASSERT_LT(std::fabs(std::sin(a.pitch)), sinGuard);
            Transform pose = poseOf(attitudeIn(system, a.roll, a.pitch, a.yaw), translation);
            ASSERT_EQ(vela::removeYaw(pose, system.system), ERROR_CODE::SUCCESS);
            const Matrix3d expected = attitudeIn(system, a.roll, a.pitch, 0);
            for (int i = 0; i < 3; ++i)
                for (int j = 0; j < 3; ++j)
                    EXPECT_NEAR(pose(i, j), expected.m[i][j], kAttitudeTolerance) << i << "," << j;
            EXPECT_EQ(pose.getTranslation(), translation);
            EXPECT_EQ(pose(3, 0), 0.0f);
            EXPECT_EQ(pose(3, 3), 1.0f);
        }
    }
}

// Beyond |sin pitch| = 0.9 heading and roll cannot be told apart: the tilt becomes the fixed quarter turn
// (0.7068252, 0, 0, 0.7073882) about the side axis, the sign of the pitch kept.
TEST(RemoveYaw, beyond_the_guard_band_the_tilt_is_a_quarter_turn_about_the_side_axis) {
    const double quarterTurn = 2 * std::atan2(0.7068252, 0.7073882);
    const vela::Translation translation(-1, 2, -3);
    for (const Axes& system : kSystems) {
        for (double pitch : {std::asin(0.91), -std::asin(0.91), 1.5}) {
            SCOPED_TRACE(nameOf(system.system) + " pitch " + std::to_string(pitch));
            Transform pose = poseOf(attitudeIn(system, 0.4, pitch, -0.8), translation);
            ASSERT_EQ(vela::removeYaw(pose, system.system), ERROR_CODE::SUCCESS);
            const Matrix3d expected = about(system, kRight, pitch > 0 ? quarterTurn : -quarterTurn);
            for (int i = 0; i < 3; ++i)
                for (int j = 0; j < 3; ++j)
                    EXPECT_NEAR(pose(i, j), expected.m[i][j], kAttitudeTolerance) << i << "," << j;
            EXPECT_EQ(pose.getTranslation(), translation);
        }
    }
}

}  // namespace

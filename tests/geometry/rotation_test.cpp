// Translation, Orientation and Rotation: hand-worked values, references computed in double precision,
// the quaternion branches, the two-direction constructor, rotation vectors and the Euler guard.

#include <gtest/gtest.h>

#include <vela/vela.hpp>

#include <cmath>
#include <vector>

#include "geometry/reference_rotation.hpp"

namespace {

using vela::Matrix3f;
using vela::Orientation;
using vela::Rotation;
using vela::Translation;
using vela::test::axisAngle;
using vela::test::Matrix3d;
using vela::test::product;

const double kPi = 3.14159265358979323846;

Matrix3d degreesXYZ(double a0, double a1, double a2) {
    const double d = kPi / 180;
    return product(product(axisAngle(a1 * d, 0, 1, 0), axisAngle(a2 * d, 0, 0, 1)),
                   axisAngle(a0 * d, 1, 0, 0));
}

void expectNear(const Matrix3f& actual, const Matrix3d& expected, double tolerance) {
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            EXPECT_NEAR(actual(i, j), expected.m[i][j], tolerance) << i << "," << j;
}

void expectNear(const vela::Vector4<float>& actual, double x, double y, double z, double w,
                double tolerance) {
    EXPECT_NEAR(actual.x, x, tolerance);
    EXPECT_NEAR(actual.y, y, tolerance);
    EXPECT_NEAR(actual.z, z, tolerance);
    EXPECT_NEAR(actual.w, w, tolerance);
}

void expectNear(const vela::Vector3<float>& actual, double x, double y, double z, double tolerance) {
    EXPECT_NEAR(actual.x, x, tolerance);
    EXPECT_NEAR(actual.y, y, tolerance);
    EXPECT_NEAR(actual.z, z, tolerance);
}

Rotation fromDouble(const Matrix3d& r) {
    Rotation result;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            result(i, j) = static_cast<float>(r.m[i][j]);
    return result;
}

// Rotations from none to half turns, about the axes and skew axes, and within a hair of both ends.
std::vector<Matrix3d> sampleRotations() {
    return {axisAngle(0, 1, 0, 0),       axisAngle(1e-7, 0, 0, 1),        axisAngle(1e-3, 1, 2, 3),
            axisAngle(kPi / 2, 0, 0, 1), axisAngle(2.0, -1, 0.5, 0.25),   axisAngle(kPi - 1e-3, 0, 1, 0),
            axisAngle(kPi, 1, 0, 0),     axisAngle(kPi, 0, 1, 0),         axisAngle(kPi, 0, 0, 1),
            axisAngle(kPi, 1, 1, 0),     axisAngle(2 * kPi / 3, 1, 1, 1), axisAngle(-2.5, 0.3, -0.9, 0.1)};
}

TEST(Translation, normalize_divides_only_lengths_of_at_least_one) {
    for (const Translation& kept :
         {Translation(0.5f, 0, 0), Translation(0.6f, 0, 0.79f), Translation(0, 0, 0)}) {
        Translation t(kept);
        t.normalize();
        EXPECT_EQ(t, kept);
    }
    Translation t(2, 0, 0);
    t.normalize();
    EXPECT_EQ(t, Translation(1, 0, 0));
    const Translation input(3, 0, -4);
    EXPECT_EQ(Translation::normalize(input), Translation(0.6f, 0, -0.8f));
    EXPECT_EQ(input, Translation(3, 0, -4));
}

TEST(Translation, rotated_by_a_quaternion_and_scaled_by_its_squared_norm) {
    const float h = static_cast<float>(std::sqrt(0.5));
    const Orientation quarterTurnZ(vela::Vector4<float>(0, 0, h, h));
    expectNear(Translation(1, 0, 0) * quarterTurnZ, 0, 1, 0, 1e-6);
    expectNear(Translation(0, 2, 3) * quarterTurnZ, -2, 0, 3, 1e-6);
    const Orientation doubled(vela::Vector4<float>(0, 0, 2 * h, 2 * h));
    expectNear(Translation(1, 0, 0) * doubled, 0, 4, 0, 1e-5);

    const Matrix3d r = axisAngle(2.0, -1, 0.5, 0.25);
    const Translation v(0.3f, -1.2f, 2.5f);
    const Translation rotated = v * Orientation(fromDouble(r));
    for (int i = 0; i < 3; ++i)
        EXPECT_NEAR(rotated[i], r.m[i][0] * v.x + r.m[i][1] * v.y + r.m[i][2] * v.z, 1e-5) << i;
}

TEST(Orientation, components_normalisation_and_the_hamilton_product_of_unit_axes) {
    const Orientation q;
    EXPECT_TRUE(q(3) == 1.0f && q(0) == 0.0f);
    EXPECT_TRUE(q(4) == 0.0f && q(-1) == 0.0f) << "zero outside the four components";
    EXPECT_EQ(Orientation(vela::Vector4<float>(1, 2, 3, 4))(2), 3.0f);

    Orientation n(vela::Vector4<float>(1, 1, 1, 1));
    n.normalise();
    EXPECT_EQ(n, vela::Vector4<float>(0.5f, 0.5f, 0.5f, 0.5f));
    n.setZeros();
    n.normalise();
    EXPECT_EQ(n, vela::Vector4<float>(0, 0, 0, 0)) << "a zero length is left alone";

    const Orientation i(vela::Vector4<float>(1, 0, 0, 0)), j(vela::Vector4<float>(0, 1, 0, 0));
    EXPECT_EQ(i * j, vela::Vector4<float>(0, 0, 1, 0));
    EXPECT_EQ(j * i, vela::Vector4<float>(0, 0, -1, 0));
    EXPECT_EQ(i * i, vela::Vector4<float>(0, 0, 0, -1));
}

TEST(Orientation, matrix_round_trip_and_product_compose_as_matrices_over_samples) {
    const std::vector<Matrix3d> samples = sampleRotations();
    for (size_t a = 0; a < samples.size(); ++a) {
        expectNear(fromDouble(samples[a]).getOrientation().getRotationMatrix(), samples[a], 2e-6);
        const Matrix3d& next = samples[(a + 3) % samples.size()];
        const Orientation qa(fromDouble(samples[a])), qb(fromDouble(next));
        expectNear((qa * qb).getRotationMatrix(), product(samples[a], next), 2e-6);
    }
}

TEST(Orientation, matrix_of_a_scaled_quaternion_is_the_same_rotation) {
    const Matrix3d expected = axisAngle(2.0, -1, 0.5, 0.25);
    const Orientation unit(fromDouble(expected));
    expectNear(unit.getRotationMatrix(), expected, 1e-6);
    const Orientation scaled(vela::Vector4<float>(3 * unit.x, 3 * unit.y, 3 * unit.z, 3 * unit.w));
    expectNear(scaled.getRotationMatrix(), expected, 1e-6);
    expectNear(Rotation(scaled), expected, 1e-6);

    const Rotation fromZero = Orientation::zeros().getRotationMatrix();
    for (float e : fromZero.elements)
        EXPECT_FALSE(std::isfinite(e));
}

// Half turns about x, y and z fall to the second, third and fourth cases; exact inputs, exact results.
TEST(Orientation, half_turns_about_each_axis_take_each_quaternion_branch) {
    const float identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    const float aboutX[9] = {1, 0, 0, 0, -1, 0, 0, 0, -1};
    const float aboutY[9] = {-1, 0, 0, 0, 1, 0, 0, 0, -1};
    const float aboutZ[9] = {-1, 0, 0, 0, -1, 0, 0, 0, 1};
    EXPECT_EQ(Orientation(Rotation(Matrix3f(identity))), vela::Vector4<float>(0, 0, 0, 1));
    EXPECT_EQ(Orientation(Rotation(Matrix3f(aboutX))), vela::Vector4<float>(1, 0, 0, 0));
    EXPECT_EQ(Orientation(Rotation(Matrix3f(aboutY))), vela::Vector4<float>(0, 1, 0, 0));
    EXPECT_EQ(Orientation(Rotation(Matrix3f(aboutZ))), vela::Vector4<float>(0, 0, 1, 0));
    // A third of a turn about (1, 1, 1): trace 0 and a three-way tie on the diagonal, so the last case.
    const float cycle[9] = {0, 0, 1, 1, 0, 0, 0, 1, 0};
    EXPECT_EQ(Orientation(Rotation(Matrix3f(cycle))), vela::Vector4<float>(0.5f, 0.5f, 0.5f, 0.5f));
    // Near half turns, against the double-precision quaternion.
    const double angle = kPi - 0.05;
    const double sine = std::sin(angle / 2), cosine = std::cos(angle / 2);
    expectNear(Orientation(fromDouble(axisAngle(angle, 1, 0, 0))), sine, 0, 0, cosine, 1e-6);
    expectNear(Orientation(fromDouble(axisAngle(angle, 0, 1, 0))), 0, sine, 0, cosine, 1e-6);
    expectNear(Orientation(fromDouble(axisAngle(angle, 0, 0, 1))), 0, 0, sine, cosine, 1e-6);
}

TEST(Orientation, two_directions_give_the_turn_between_them) {
    const double h = std::sqrt(0.5);
    expectNear(Orientation(Translation(1, 0, 0), Translation(0, 1, 0)), 0, 0, h, h, 1e-6);
    expectNear(Orientation(Translation(0, 0, 5), Translation(3, 0, 0)), 0, h, 0, h, 1e-6);
    // Shorter than 1: used as given, so the unnormalised cross product (0, 0, 0.25) scales the result.
    expectNear(Orientation(Translation(0.5f, 0, 0), Translation(0, 0.5f, 0)), 0, 0, 0.25 * h, h, 1e-6);
    // Parallel directions get no special treatment; opposite ones have no axis and a half angle of a
    // quarter turn, so only cos(π/2 rounded to float) is left.
    EXPECT_EQ(Orientation(Translation(2, 0, 0), Translation(3, 0, 0)), vela::Vector4<float>(0, 0, 0, 1));
    const Orientation opposite(Translation(1, 0, 0), Translation(-1, 0, 0));
    EXPECT_TRUE(opposite.x == 0.0f && opposite.y == 0.0f && opposite.z == 0.0f);
    EXPECT_NEAR(opposite.w, 0.0, 1e-7);
}

TEST(Rotation, axis_angle_constructor_matches_the_double_precision_matrix) {
    expectNear(Rotation(static_cast<float>(kPi / 2), Translation(0, 0, 1)), axisAngle(kPi / 2, 0, 0, 1),
               1e-7);
    expectNear(Rotation(2.0f, Translation(-4, 2, 1)), axisAngle(2.0, -4, 2, 1), 1e-6);
    expectNear(Rotation(0.0f, Translation(0, 1, 0)), axisAngle(0, 0, 1, 0), 0);
    // An axis shorter than 1 is not normalised: 90° about (0, 0, 0.5) has t·z² + c = 0.25 and -s·z = -0.5.
    const Rotation shortAxis(static_cast<float>(kPi / 2), Translation(0, 0, 0.5f));
    EXPECT_NEAR(shortAxis(2, 2), 0.25, 1e-7);
    EXPECT_NEAR(shortAxis(0, 1), -0.5, 1e-7);
    EXPECT_NEAR(shortAxis(0, 0), 0.0, 1e-7);
}

TEST(Rotation, rotation_vectors_of_zero_and_of_known_rotations) {
    Rotation r(1.0f, Translation(1, 0, 0));
    r.setRotationVector(vela::Vector3<float>(0, 0, 0));
    EXPECT_EQ(r, Matrix3f::identity());
    EXPECT_EQ(Rotation().getRotationVector(), vela::Vector3<float>(0, 0, 0));

    r.setRotationVector(vela::Vector3<float>(0, 0, static_cast<float>(kPi / 2)));
    expectNear(r, axisAngle(kPi / 2, 0, 0, 1), 1e-6);
    expectNear(r.getRotationVector(), 0, 0, kPi / 2, 1e-6);
    // |(0.3, -0.2, 0.5)| radians about its own direction, and 1.2 radians about (0, 0.6, -0.8).
    r.setRotationVector(vela::Vector3<float>(0.3f, -0.2f, 0.5f));
    expectNear(r, axisAngle(std::sqrt(0.38), 0.3, -0.2, 0.5), 1e-6);
    expectNear(fromDouble(axisAngle(1.2, 0, 3, -4)).getRotationVector(), 0, 0.72, -0.96, 1e-5);
}

TEST(Rotation, euler_angles_set_the_y_z_x_product_and_read_back) {
    Rotation r;
    r.setEulerAngles(vela::Vector3<float>(10, 20, 30), false);
    expectNear(r, degreesXYZ(10, 20, 30), 1e-6);
    r.setEulerAngles(vela::Vector3<float>(-0.5f, 1.0f, 0.25f), true);
    expectNear(r, degreesXYZ(-0.5 * 180 / kPi, 180 / kPi, 0.25 * 180 / kPi), 1e-6);
    // Round trips away from the guard; radians are degrees divided exactly as the degrees were made.
    const std::vector<vela::Vector3<float>> samples = {
        {0, 0, 0},   {90, 0, 0}, {0, 90, 0}, {10, 20, 30}, {-45, 170, -60}, {0.001f, -0.002f, 0.003f},
        {10, 20, 85}};
    for (const vela::Vector3<float>& angles : samples) {
        r.setEulerAngles(angles, false);
        expectNear(r.getEulerAngles(false), angles.x, angles.y, angles.z, 2e-3);
        const vela::Vector3<float> radians = r.getEulerAngles(true);
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(radians[i] * 57.29578f, r.getEulerAngles(false)[i]);
    }
}

// x.y + z.w of the quaternion is half the sine of the angle about z: past 0.499 (about 86.38°) the angle
// about z reads as exactly ±90° and the angle about x as 0, with the remainder folded into y.
TEST(Rotation, euler_guard_near_a_quarter_turn_about_z) {
    Rotation r;
    r.setEulerAngles(vela::Vector3<float>(0, 0, 90), false);
    const vela::Vector3<float> quarter = r.getEulerAngles(false);
    EXPECT_EQ(quarter.x, 0.0f);
    EXPECT_NEAR(quarter.y, 0.0, 1e-4);
    EXPECT_EQ(quarter.z, 1.5707964f * 57.29578f);

    r = fromDouble(degreesXYZ(10, 20, 88));
    const vela::Vector3<float> guarded = r.getEulerAngles(false);
    EXPECT_EQ(guarded.x, 0.0f);
    EXPECT_NEAR(guarded.y, 29.32694, 1e-3);  // 2·atan2(x, w) of the double-precision quaternion
    EXPECT_EQ(guarded.z, 1.5707964f * 57.29578f);

    r = fromDouble(degreesXYZ(10, 20, -88));
    const vela::Vector3<float> below = r.getEulerAngles(true);
    EXPECT_EQ(below.x, 0.0f);
    EXPECT_EQ(below.z, -1.5707964f);

    r = fromDouble(degreesXYZ(10, 20, 86));
    expectNear(r.getEulerAngles(false), 10, 20, 86, 2e-3);
}

}  // namespace

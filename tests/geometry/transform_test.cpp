// Transform and Pose: which elements each setter writes, the forwarding to the rotation operations, and
// what a pose copies.

#include <gtest/gtest.h>

#include <vela/vela.hpp>

#include <cmath>
#include <cstring>
#include <vector>

namespace {

using vela::Orientation;
using vela::Pose;
using vela::Rotation;
using vela::Transform;
using vela::Translation;

const float kQuarterTurn = 1.5707964f;

std::vector<float> elementsOf(const vela::Matrix4f& m) {
    return std::vector<float>(std::begin(m.elements), std::end(m.elements));
}

// Every element distinct, so a setter that writes one element too many shows.
Transform numbered() {
    Transform t;
    for (int i = 0; i < 16; ++i)
        t.elements[i] = static_cast<float>(100 + i);
    return t;
}

TEST(Transform, rotation_and_translation_constructor_lays_out_block_and_column) {
    const Rotation quarterZ(kQuarterTurn, Translation(0, 0, 1));
    const Transform t(quarterZ, Translation(1, 2, 3));
    const float* r = quarterZ.elements;
    EXPECT_EQ(elementsOf(t), (std::vector<float>{r[0], r[1], r[2], 1, r[3], r[4], r[5], 2, r[6], r[7], r[8],
                                                 3, 0, 0, 0, 1}));
    EXPECT_EQ(t.getTranslation(), Translation(1, 2, 3));
    EXPECT_EQ(t.getRotationMatrix(), quarterZ);

    const Orientation q(quarterZ);
    const Transform fromQuaternion(q, Translation(1, 2, 3));
    EXPECT_EQ(fromQuaternion, Transform(q.getRotationMatrix(), Translation(1, 2, 3)));
}

TEST(Transform, setters_write_their_block_or_column_only) {
    Transform t = numbered();
    t.setTranslation(Translation(-1, -2, -3));
    std::vector<float> expected = elementsOf(numbered());
    expected[3] = -1;
    expected[7] = -2;
    expected[11] = -3;
    EXPECT_EQ(elementsOf(t), expected);

    const Rotation r(0.7f, Translation(1, -2, 2));
    expected = elementsOf(numbered());
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            expected[i * 4 + j] = r(i, j);
    t = numbered();
    t.setRotationMatrix(r);
    EXPECT_EQ(elementsOf(t), expected);

    Rotation viaEuler;
    viaEuler.setEulerAngles(vela::Vector3<float>(10, 20, 30), false);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            expected[i * 4 + j] = viaEuler(i, j);
    t = numbered();
    t.setEulerAngles(vela::Vector3<float>(10, 20, 30), false);
    EXPECT_EQ(elementsOf(t), expected);
    EXPECT_EQ(t.getEulerAngles(false), viaEuler.getEulerAngles(false));
}

TEST(Pose, default_and_built_from_values_are_not_valid) {
    const Pose none;
    EXPECT_EQ(none.pose_data, Transform());
    EXPECT_TRUE(none.timestamp == 0u && none.pose_confidence == 0 && !none.valid);
    const Transform t(Rotation(0.3f, Translation(0, 1, 0)), Translation(1, 2, 3));
    const Pose pose(t, 123, 50);
    EXPECT_EQ(pose.pose_data, t);
    EXPECT_EQ(pose.timestamp, 123u);
    EXPECT_EQ(pose.pose_confidence, 50);
    EXPECT_FALSE(pose.valid);
    EXPECT_EQ(pose.getTranslation(), Translation(1, 2, 3));
    EXPECT_NEAR(pose.getEulerAngles(true).y, 0.3, 1e-6);
}

TEST(Pose, copy_keeps_validity_but_not_the_reserved_block) {
    Pose produced(Transform(Rotation(0.3f, Translation(0, 1, 0)), Translation(1, 2, 3)), 77, 90);
    produced.valid = true;
    for (float& f : produced.reserved_block)
        f = 1.0f;

    alignas(Pose) unsigned char storage[sizeof(Pose)];
    std::memset(storage, 0xAB, sizeof(storage));
    const Pose* copy = new (storage) Pose(produced);
    EXPECT_TRUE(copy->valid);
    EXPECT_EQ(copy->timestamp, 77u);
    EXPECT_EQ(copy->pose_confidence, 90);
    EXPECT_EQ(copy->pose_data, produced.pose_data);
    const size_t reserved = reinterpret_cast<const unsigned char*>(copy->reserved_block) - storage;
    for (size_t i = 0; i < sizeof(copy->reserved_block); ++i)
        ASSERT_EQ(storage[reserved + i], 0xAB) << i;
    copy->~Pose();

    Pose assigned;
    assigned = produced;
    EXPECT_TRUE(assigned.valid);
    EXPECT_EQ(assigned.timestamp, 77u);
    EXPECT_EQ(assigned.pose_data, produced.pose_data);
}

}  // namespace

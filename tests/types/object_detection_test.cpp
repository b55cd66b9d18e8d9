// The subclass table, its reverse listing, the invalid-subclass message and the custom object records.

#include <gtest/gtest.h>

#include <vela/vela.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace {

using vela::OBJECT_CLASS;
using vela::OBJECT_SUBCLASS;
using vela::toValue;

const std::string kInvalidSubclassMessage = "[TARN SDK][AI][Core] ERR : INVALID SUBLASS\n";

struct SubclassRow {
    int32_t value;
    std::string name;
    int32_t objectClass;
    int coco;
};

const SubclassRow kSubclasses[] = {
    {0, "Person", 0, 0},      {1, "Bicycle", 1, 1},   {2, "Car", 1, 2},           {3, "Motorbike", 1, 3},
    {4, "Bus", 1, 5},         {5, "Truck", 1, 7},     {6, "Boat", 1, 8},          {7, "Backpack", 2, 24},
    {8, "Handbag", 2, 26},    {9, "Suitcase", 2, 28}, {10, "Bird", 3, 14},        {11, "Cat", 3, 15},
    {12, "Dog", 3, 16},       {13, "Horse", 3, 17},   {14, "Sheep", 3, 18},       {15, "Cow", 3, 19},
    {16, "CellPhone", 4, 67}, {17, "Laptop", 4, 63},  {18, "Banana", 5, 46},      {19, "Apple", 5, 47},
    {20, "Orange", 5, 49},    {21, "Carrot", 5, 51},  {22, "Person head", 0, -1}, {23, "SportsBall", 6, 32},
};

TEST(ObjectClasses, every_subclass_has_its_name_class_and_coco_number_silently) {
    testing::internal::CaptureStdout();
    for (const SubclassRow& row : kSubclasses) {
        const auto subclass = static_cast<OBJECT_SUBCLASS>(row.value);
        EXPECT_EQ(vela::toString(subclass).str(), row.name) << row.value;
        EXPECT_EQ(toValue(vela::getObjectClass(subclass)), row.objectClass) << row.value;
        EXPECT_EQ(vela::getObjectSubClassAsCOCO(subclass), row.coco) << row.value;
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(ObjectClasses, invalid_subclass_prints_the_message_once_per_call) {
    for (const int32_t value : {-1, 24, 1000, INT32_MIN}) {
        const auto subclass = static_cast<OBJECT_SUBCLASS>(value);
        testing::internal::CaptureStdout();
        EXPECT_EQ(vela::getObjectClass(subclass), OBJECT_CLASS::LAST);
        EXPECT_EQ(toValue(OBJECT_CLASS::LAST), 7);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), kInvalidSubclassMessage) << value;

        testing::internal::CaptureStdout();
        EXPECT_EQ(vela::getObjectSubClassAsCOCO(subclass), -1);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), kInvalidSubclassMessage) << value;

        testing::internal::CaptureStdout();
        EXPECT_EQ(vela::toString(subclass).str(), "Unknown");
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << value;
    }
}

TEST(ObjectClasses, subclasses_of_each_class_in_their_listed_order) {
    const std::vector<std::vector<int32_t>> expected = {
        {0, 22}, {1, 2, 3, 4, 5, 6}, {7, 8, 9}, {10, 11, 12, 13, 14, 15}, {16, 17}, {18, 19, 20, 21}, {23},
    };
    testing::internal::CaptureStdout();
    for (int32_t value = -1; value <= 8; ++value) {
        std::vector<int32_t> listed;
        for (const OBJECT_SUBCLASS subclass : vela::getObjectSubClasses(static_cast<OBJECT_CLASS>(value))) {
            listed.push_back(toValue(subclass));
        }
        const bool isClass = value >= 0 && value < static_cast<int32_t>(expected.size());
        EXPECT_EQ(listed, isClass ? expected[value] : std::vector<int32_t>{}) << "class " << value;
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

// The defaults both records start with; `other` is a second record, whose identifier must differ.
void expectFreshBoxDefaults(const vela::CustomBoxObjectData& record, const vela::CustomBoxObjectData& other) {
    EXPECT_EQ(record.unique_object_id.size(), 36u);
    EXPECT_NE(record.unique_object_id, other.unique_object_id);
    ASSERT_EQ(record.bounding_box_2d.size(), 4u);
    for (const auto& corner : record.bounding_box_2d)
        EXPECT_EQ(corner, vela::Vector2<int32_t>(0, 0));
    static_assert(sizeof(vela::Vector2<int32_t>) == 8, "a corner is two 32-bit coordinates");
    EXPECT_EQ(record.label, -1);
    EXPECT_EQ(record.probability, 0.f);
    EXPECT_TRUE(record.is_grounded);
    EXPECT_FALSE(record.is_static);
    EXPECT_EQ(record.tracking_timeout, -1.f);
    EXPECT_EQ(record.tracking_max_dist, -1.f);
}

TEST(CustomObjectData, box_record_starts_empty_with_a_fresh_identifier) {
    expectFreshBoxDefaults(vela::CustomBoxObjectData(), vela::CustomBoxObjectData());
}

TEST(CustomObjectData, mask_record_has_the_box_defaults_and_an_empty_mask) {
    const vela::CustomMaskObjectData record;
    expectFreshBoxDefaults(record, vela::CustomMaskObjectData());
    EXPECT_FALSE(record.box_mask.isInit());
    EXPECT_EQ(record.box_mask.width, 0u);
}

}  // namespace

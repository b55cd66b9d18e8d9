// The subclass table, its reverse listing, the invalid-subclass message and the custom object records.

#include <gtest/gtest.h>

#include <vela/vela.hpp>

#include <cstdint>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace {

using vela::OBJECT_CLASS;
using vela::OBJECT_SUBCLASS;
using vela::toValue;

const std::string kInvalidSubclassMessage = "[TARN SDK][AI][Core] ERR : INVALID SUBLASS\n";

// A few rows written out; every subclass has a distinct name and COCO number (but the head, which has
// none), and the class each one names lists it, in the order the classes list them.
TEST(ObjectClasses, every_subclass_has_its_name_class_and_coco_number_silently) {
    const std::tuple<int32_t, std::string, int32_t, int> rows[] = {
        {0, "Person", 0, 0},        {4, "Bus", 1, 5},          {16, "CellPhone", 4, 67},
        {22, "Person head", 0, -1}, {23, "SportsBall", 6, 32},
    };
    testing::internal::CaptureStdout();
    for (const auto& [value, name, objectClass, coco] : rows) {
        const auto subclass = static_cast<OBJECT_SUBCLASS>(value);
        EXPECT_EQ(vela::toString(subclass).str(), name) << value;
        EXPECT_EQ(toValue(vela::getObjectClass(subclass)), objectClass) << value;
        EXPECT_EQ(vela::getObjectSubClassAsCOCO(subclass), coco) << value;
    }
    std::set<std::string> names;
    std::set<int> cocos;
    std::vector<int32_t> listed;
    for (int32_t value = 0; value <= 7; ++value) {
        for (const OBJECT_SUBCLASS subclass : vela::getObjectSubClasses(static_cast<OBJECT_CLASS>(value))) {
            EXPECT_EQ(toValue(vela::getObjectClass(subclass)), value) << toValue(subclass);
            names.insert(vela::toString(subclass).str());
            cocos.insert(vela::getObjectSubClassAsCOCO(subclass));
            listed.push_back(toValue(subclass));
        }
    }
    EXPECT_EQ(listed, (std::vector<int32_t>{0,  22, 1,  2,  3,  4,  5,  6,  7,  8,  9,  10,
                                            11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 23}));
    EXPECT_EQ(names.size(), 24u);
    EXPECT_EQ(names.count("Unknown"), 0u);
    EXPECT_EQ(cocos.size(), 24u);
    EXPECT_TRUE(vela::getObjectSubClasses(static_cast<OBJECT_CLASS>(-1)).empty());
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

TEST(CustomObjectData, box_and_mask_records_start_empty_with_a_fresh_identifier) {
    expectFreshBoxDefaults(vela::CustomBoxObjectData(), vela::CustomBoxObjectData());
    const vela::CustomMaskObjectData record;
    expectFreshBoxDefaults(record, vela::CustomMaskObjectData());
    EXPECT_FALSE(record.box_mask.isInit());
}

}  // namespace

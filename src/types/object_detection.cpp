#include "vela/types/object_detection.hpp"

#include <iostream>

#include "types/name_table.hpp"

namespace vela {
namespace {

const detail::NameTable<OBJECT_CLASS> kClassNames{
    {"PERSON", OBJECT_CLASS::PERSON},
    {"VEHICLE", OBJECT_CLASS::VEHICLE},
    {"BAG", OBJECT_CLASS::BAG},
    {"ANIMAL", OBJECT_CLASS::ANIMAL},
    {"ELECTRONICS", OBJECT_CLASS::ELECTRONICS},
    {"FRUIT VEGETABLE", OBJECT_CLASS::FRUIT_VEGETABLE},
    {"SPORT", OBJECT_CLASS::SPORT},
};

const detail::NameTable<OBJECT_FILTERING_MODE> kFilteringModeNames{
    {"NONE", OBJECT_FILTERING_MODE::NONE},
    {"NMS3D", OBJECT_FILTERING_MODE::NMS3D},
    {"NMS3D PER CLASS", OBJECT_FILTERING_MODE::NMS3D_PER_CLASS},
};

const detail::NameTable<OBJECT_DETECTION_MODEL> kDetectionModelNames{
    {"MULTI CLASS BOX FAST", OBJECT_DETECTION_MODEL::MULTI_CLASS_BOX_FAST},
    {"MULTI CLASS BOX MEDIUM", OBJECT_DETECTION_MODEL::MULTI_CLASS_BOX_MEDIUM},
    {"MULTI CLASS BOX ACCURATE", OBJECT_DETECTION_MODEL::MULTI_CLASS_BOX_ACCURATE},
    {"PERSON HEAD BOX FAST", OBJECT_DETECTION_MODEL::PERSON_HEAD_BOX_FAST},
    {"PERSON HEAD BOX ACCURATE", OBJECT_DETECTION_MODEL::PERSON_HEAD_BOX_ACCURATE},
    {"CUSTOM BOX OBJECTS", OBJECT_DETECTION_MODEL::CUSTOM_BOX_OBJECTS},
    {"CUSTOM YOLOLIKE BOX OBJECTS", OBJECT_DETECTION_MODEL::CUSTOM_YOLOLIKE_BOX_OBJECTS},
};

struct Subclass {
    const char* name;
    OBJECT_CLASS objectClass;
    int coco;  // zero-based position in the 80 COCO classes; -1: not a COCO class
};

// One row per subclass, in value order.
constexpr Subclass kSubclasses[] = {
    {"Person", OBJECT_CLASS::PERSON, 0},
    {"Bicycle", OBJECT_CLASS::VEHICLE, 1},
    {"Car", OBJECT_CLASS::VEHICLE, 2},
    {"Motorbike", OBJECT_CLASS::VEHICLE, 3},
    {"Bus", OBJECT_CLASS::VEHICLE, 5},
    {"Truck", OBJECT_CLASS::VEHICLE, 7},
    {"Boat", OBJECT_CLASS::VEHICLE, 8},
    {"Backpack", OBJECT_CLASS::BAG, 24},
    {"Handbag", OBJECT_CLASS::BAG, 26},
    {"Suitcase", OBJECT_CLASS::BAG, 28},
    {"Bird", OBJECT_CLASS::ANIMAL, 14},
    {"Cat", OBJECT_CLASS::ANIMAL, 15},
    {"Dog", OBJECT_CLASS::ANIMAL, 16},
    {"Horse", OBJECT_CLASS::ANIMAL, 17},
    {"Sheep", OBJECT_CLASS::ANIMAL, 18},
    {"Cow", OBJECT_CLASS::ANIMAL, 19},
    {"CellPhone", OBJECT_CLASS::ELECTRONICS, 67},
    {"Laptop", OBJECT_CLASS::ELECTRONICS, 63},
    {"Banana", OBJECT_CLASS::FRUIT_VEGETABLE, 46},
    {"Apple", OBJECT_CLASS::FRUIT_VEGETABLE, 47},
    {"Orange", OBJECT_CLASS::FRUIT_VEGETABLE, 49},
    {"Carrot", OBJECT_CLASS::FRUIT_VEGETABLE, 51},
    {"Person head", OBJECT_CLASS::PERSON, -1},
    {"SportsBall", OBJECT_CLASS::SPORT, 32},
};

constexpr size_t kSubclassCount = sizeof(kSubclasses) / sizeof(kSubclasses[0]);
static_assert(kSubclassCount == static_cast<size_t>(OBJECT_SUBCLASS::SPORTSBALL) + 1, "one row per subclass");

// The row of `subclass`, or null outside the table; the cast sends negative values past the end.
const Subclass* findSubclass(OBJECT_SUBCLASS subclass) {
    const auto row = static_cast<uint32_t>(subclass);
    return row < kSubclassCount ? &kSubclasses[row] : nullptr;
}

// Printed rather than logged, so it shows whatever level the library's logger is set to.
void reportInvalidSubclass() {
    std::cout << "[TARN SDK][AI][Core] ERR : INVALID SUBLASS" << std::endl;
}

}  // namespace

VELA_NAME_TABLE_FUNCTIONS(OBJECT_CLASS, kClassNames)

String toString(const OBJECT_SUBCLASS& subclass) {
    const Subclass* row = findSubclass(subclass);
    return row != nullptr ? row->name : detail::kUnknownName;
}

OBJECT_CLASS getObjectClass(OBJECT_SUBCLASS subclass) {
    const Subclass* row = findSubclass(subclass);
    if (row != nullptr) return row->objectClass;
    reportInvalidSubclass();
    return OBJECT_CLASS::LAST;
}

int getObjectSubClassAsCOCO(OBJECT_SUBCLASS subclass) {
    const Subclass* row = findSubclass(subclass);
    if (row != nullptr) return row->coco;
    reportInvalidSubclass();
    return -1;
}

std::vector<OBJECT_SUBCLASS> getObjectSubClasses(OBJECT_CLASS objectClass) {
    std::vector<OBJECT_SUBCLASS> subclasses;
    for (size_t value = 0; value < kSubclassCount; ++value) {
        if (kSubclasses[value].objectClass == objectClass) {
            subclasses.push_back(static_cast<OBJECT_SUBCLASS>(value));
        }
    }
    return subclasses;
}

String toString(const OBJECT_TRACKING_STATE& state) {
    switch (state) {
        case OBJECT_TRACKING_STATE::OFF:
            return "OFF";
        case OBJECT_TRACKING_STATE::OK:
            return "OK";
        case OBJECT_TRACKING_STATE::SEARCHING:
            return "SEARCHING";
        case OBJECT_TRACKING_STATE::TERMINATE:
            return "TERMINATE";
    }
    return detail::kUnknownName;
}

String toString(const OBJECT_ACTION_STATE& state) {
    switch (state) {
        case OBJECT_ACTION_STATE::IDLE:
            return "IDLE";
        case OBJECT_ACTION_STATE::MOVING:
            return "MOVING";
    }
    return detail::kUnknownName;
}

String toString(const INFERENCE_PRECISION& precision) {
    switch (precision) {
        case INFERENCE_PRECISION::FP32:
            return "FP32";
        case INFERENCE_PRECISION::FP16:
            return "FP16";
        case INFERENCE_PRECISION::INT8:
            return "INT8";
    }
    return detail::kUnknownName;
}

VELA_NAME_TABLE_FUNCTIONS(OBJECT_FILTERING_MODE, kFilteringModeNames)
VELA_NAME_TABLE_FUNCTIONS(OBJECT_DETECTION_MODEL, kDetectionModelNames)

}  // namespace vela

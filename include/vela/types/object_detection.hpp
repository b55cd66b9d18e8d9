#pragma once

#include <cstdint>
#include <vector>

#include "vela/core/error_code.hpp"
#include "vela/core/export.hpp"
#include "vela/core/string.hpp"

namespace vela {

/// Coarse class of a detected object; read from configuration text by name.
enum class OBJECT_CLASS : int32_t {
    PERSON = 0,           ///< "PERSON"
    VEHICLE = 1,          ///< "VEHICLE"
    BAG = 2,              ///< "BAG"
    ANIMAL = 3,           ///< "ANIMAL"
    ELECTRONICS = 4,      ///< "ELECTRONICS"
    FRUIT_VEGETABLE = 5,  ///< "FRUIT VEGETABLE"
    SPORT = 6,            ///< "SPORT"
    LAST = 7,             ///< one past the last class: what an invalid subclass maps to
};

/// Fine class of a detected object; each belongs to one OBJECT_CLASS.
enum class OBJECT_SUBCLASS : int32_t {
    PERSON = 0,        ///< "Person", PERSON
    BICYCLE = 1,       ///< "Bicycle", VEHICLE
    CAR = 2,           ///< "Car", VEHICLE
    MOTORBIKE = 3,     ///< "Motorbike", VEHICLE
    BUS = 4,           ///< "Bus", VEHICLE
    TRUCK = 5,         ///< "Truck", VEHICLE
    BOAT = 6,          ///< "Boat", VEHICLE
    BACKPACK = 7,      ///< "Backpack", BAG
    HANDBAG = 8,       ///< "Handbag", BAG
    SUITCASE = 9,      ///< "Suitcase", BAG
    BIRD = 10,         ///< "Bird", ANIMAL
    CAT = 11,          ///< "Cat", ANIMAL
    DOG = 12,          ///< "Dog", ANIMAL
    HORSE = 13,        ///< "Horse", ANIMAL
    SHEEP = 14,        ///< "Sheep", ANIMAL
    COW = 15,          ///< "Cow", ANIMAL
    CELLPHONE = 16,    ///< "CellPhone", ELECTRONICS
    LAPTOP = 17,       ///< "Laptop", ELECTRONICS
    BANANA = 18,       ///< "Banana", FRUIT_VEGETABLE
    APPLE = 19,        ///< "Apple", FRUIT_VEGETABLE
    ORANGE = 20,       ///< "Orange", FRUIT_VEGETABLE
    CARROT = 21,       ///< "Carrot", FRUIT_VEGETABLE
    PERSON_HEAD = 22,  ///< "Person head", PERSON
    SPORTSBALL = 23,   ///< "SportsBall", SPORT
};

/// Tracking state of a detected object.
enum class OBJECT_TRACKING_STATE : int32_t {
    OFF = 0,        ///< "OFF": not tracked
    OK = 1,         ///< "OK"
    SEARCHING = 2,  ///< "SEARCHING": lost for now
    TERMINATE = 3,  ///< "TERMINATE": tracking ended
};

/// What a tracked object is doing.
enum class OBJECT_ACTION_STATE : int32_t {
    IDLE = 0,    ///< "IDLE"
    MOVING = 1,  ///< "MOVING"
};

/// How overlapping detections are merged; read from configuration text by name.
enum class OBJECT_FILTERING_MODE : int32_t {
    NONE = 0,             ///< "NONE"
    NMS3D = 1,            ///< "NMS3D"
    NMS3D_PER_CLASS = 2,  ///< "NMS3D PER CLASS"
};

/// Detector used by object detection; read from configuration text by name.
enum class OBJECT_DETECTION_MODEL : int32_t {
    MULTI_CLASS_BOX_FAST = 0,         ///< "MULTI CLASS BOX FAST"
    MULTI_CLASS_BOX_MEDIUM = 1,       ///< "MULTI CLASS BOX MEDIUM"
    MULTI_CLASS_BOX_ACCURATE = 2,     ///< "MULTI CLASS BOX ACCURATE"
    PERSON_HEAD_BOX_FAST = 3,         ///< "PERSON HEAD BOX FAST"
    PERSON_HEAD_BOX_ACCURATE = 4,     ///< "PERSON HEAD BOX ACCURATE"
    CUSTOM_BOX_OBJECTS = 5,           ///< "CUSTOM BOX OBJECTS": the caller's own detections
    CUSTOM_YOLOLIKE_BOX_OBJECTS = 6,  ///< "CUSTOM YOLOLIKE BOX OBJECTS"
};

/// Arithmetic precision of a detector's inference.
enum class INFERENCE_PRECISION : int32_t {
    FP32 = 0,  ///< "FP32"
    FP16 = 1,  ///< "FP16"
    INT8 = 2,  ///< "INT8"
};

/// The upper-case name, e.g. "FRUIT VEGETABLE"; "Unknown" for any other value.
VELA_API String toString(const OBJECT_CLASS& objectClass);
/// Reads a number or a name in any case, '-' and '_' standing for blanks; FAILURE leaves `out` unchanged
/// and prints a warning on standard error.
VELA_API ERROR_CODE fromString(const String& text, OBJECT_CLASS& out);

/// The display name, e.g. "Person head"; "Unknown" outside 0..23.
VELA_API String toString(const OBJECT_SUBCLASS& subclass);
/// The coarse class of `subclass`; outside 0..23, prints "[TARN SDK][AI][Core] ERR : INVALID SUBLASS" on
/// standard output (flushed) and returns OBJECT_CLASS::LAST.
VELA_API OBJECT_CLASS getObjectClass(OBJECT_SUBCLASS subclass);
/// The zero-based number of `subclass` in the 80 classes of the COCO data set; -1 for PERSON_HEAD, which
/// has none. Outside 0..23, prints the same message as getObjectClass and returns -1.
VELA_API int getObjectSubClassAsCOCO(OBJECT_SUBCLASS subclass);
/// The subclasses of `objectClass` in ascending order; empty for a value that is not a class.
VELA_API std::vector<OBJECT_SUBCLASS> getObjectSubClasses(OBJECT_CLASS objectClass);

/// "OFF", "OK", "SEARCHING" or "TERMINATE"; "Unknown" for any other value.
VELA_API String toString(const OBJECT_TRACKING_STATE& state);
/// "IDLE" or "MOVING"; "Unknown" for any other value.
VELA_API String toString(const OBJECT_ACTION_STATE& state);
/// "FP32", "FP16" or "INT8"; "Unknown" for any other value.
VELA_API String toString(const INFERENCE_PRECISION& precision);

/// The upper-case name, e.g. "NMS3D PER CLASS"; "Unknown" for any other value.
VELA_API String toString(const OBJECT_FILTERING_MODE& mode);
/// Reads a number or a name as fromString of OBJECT_CLASS does.
VELA_API ERROR_CODE fromString(const String& text, OBJECT_FILTERING_MODE& out);
/// The upper-case name, e.g. "CUSTOM BOX OBJECTS"; "Unknown" for any other value.
VELA_API String toString(const OBJECT_DETECTION_MODEL& model);
/// Reads a number or a name as fromString of OBJECT_CLASS does.
VELA_API ERROR_CODE fromString(const String& text, OBJECT_DETECTION_MODEL& out);

}  // namespace vela

// Enumerations of the kit with their display names and parsing, object classes, and the records of
// custom detections.

#include <pybind11/stl.h>

#include "bindings.hpp"
#include "vela/types/body_tracking.hpp"
#include "vela/types/camera.hpp"
#include "vela/types/custom_object_data.hpp"
#include "vela/types/enum_names.hpp"
#include "vela/types/object_detection.hpp"
#include "vela/types/sensors.hpp"
#include "vela/types/units.hpp"

namespace py = pybind11;

namespace vela {
namespace python {
namespace {

void bindUnits(py::module_& m) {
    {
        using E = UNIT;
        bindEnum<E>(m, "UNIT",
                    {VELA_PY_VALUE(MILLIMETER), VELA_PY_VALUE(CENTIMETER), VELA_PY_VALUE(METER),
                     VELA_PY_VALUE(INCH), VELA_PY_VALUE(FOOT)});
        bindToString<E>(m);
        bindFromString<E>(m);
    }
    {
        using E = COORDINATE_SYSTEM;
        bindEnum<E>(m, "COORDINATE_SYSTEM",
                    {VELA_PY_VALUE(IMAGE), VELA_PY_VALUE(LEFT_HANDED_Y_UP), VELA_PY_VALUE(RIGHT_HANDED_Y_UP),
                     VELA_PY_VALUE(RIGHT_HANDED_Z_UP), VELA_PY_VALUE(LEFT_HANDED_Z_UP),
                     VELA_PY_VALUE(RIGHT_HANDED_Z_UP_X_FWD)});
        bindToString<E>(m);
        bindFromString<E>(m);
    }
    m.def("unit2str", &unit2str, py::arg("unit"));
    m.def("str2unit", &str2unit, py::arg("text"));
}

void bindBodyTracking(py::module_& m) {
    {
        using E = BODY_FORMAT;
        bindEnum<E>(m, "BODY_FORMAT",
                    {VELA_PY_VALUE(BODY_18), VELA_PY_VALUE(BODY_34), VELA_PY_VALUE(BODY_38)});
        bindToString<E>(m);
        bindFromString<E>(m);
    }
    {
        using E = BODY_KEYPOINTS_SELECTION;
        bindEnum<E>(m, "BODY_KEYPOINTS_SELECTION", {VELA_PY_VALUE(FULL), VELA_PY_VALUE(UPPER_BODY)});
        bindToString<E>(m);
        bindFromString<E>(m);
    }
    {
        using E = BODY_TRACKING_MODEL;
        bindEnum<E>(m, "BODY_TRACKING_MODEL",
                    {VELA_PY_VALUE(HUMAN_BODY_FAST), VELA_PY_VALUE(HUMAN_BODY_MEDIUM),
                     VELA_PY_VALUE(HUMAN_BODY_ACCURATE)});
        bindToString<E>(m);
        bindFromString<E>(m);
    }
}

void bindCamera(py::module_& m) {
    {
        using E = MODEL;
        bindEnum<E>(m, "MODEL",
                    {VELA_PY_VALUE(TARN), VELA_PY_VALUE(TARN_Q), VELA_PY_VALUE(TARN_R),
                     VELA_PY_VALUE(TARN_RS), VELA_PY_VALUE(TARN_V), VELA_PY_VALUE(TARN_V_LITE),
                     VELA_PY_VALUE(VIRTUAL_TARN_V), VELA_PY_VALUE(TARN_W_GS), VELA_PY_VALUE(TARN_W_UHD)});
        bindToString<E>(m);
        m.def("model2str", &model2str, py::arg("model"));
    }
    {
        using E = INPUT_TYPE;
        bindEnum<E>(m, "INPUT_TYPE",
                    {VELA_PY_VALUE(USB), VELA_PY_VALUE(KVR), VELA_PY_VALUE(STREAM), VELA_PY_VALUE(GMSL)});
        bindToString<E>(m);
    }
    {
        using E = BUS_TYPE;
        bindEnum<E>(m, "BUS_TYPE", {VELA_PY_VALUE(USB), VELA_PY_VALUE(GMSL), VELA_PY_VALUE(AUTO)});
        bindToString<E>(m);
    }
    {
        using E = CAMERA_TYPE;
        bindEnum<E>(m, "CAMERA_TYPE", {VELA_PY_VALUE(MONO), VELA_PY_VALUE(STEREO), VELA_PY_VALUE(LAST)});
        bindToString<E>(m);
    }
    {
        using E = CAMERA_STATE;
        bindEnum<E>(m, "CAMERA_STATE", {VELA_PY_VALUE(AVAILABLE), VELA_PY_VALUE(NOT_AVAILABLE)});
        bindToString<E>(m);
    }
    {
        using E = MODULE;
        bindEnum<E>(
            m, "MODULE",
            {VELA_PY_VALUE(ALL), VELA_PY_VALUE(DEPTH), VELA_PY_VALUE(POSITIONAL_TRACKING),
             VELA_PY_VALUE(OBJECT_DETECTION), VELA_PY_VALUE(BODY_TRACKING), VELA_PY_VALUE(SPATIAL_MAPPING)});
        bindToString<E>(m);
    }
    {
        py::class_<InputType> inputType(m, "InputType", py::module_local());
        using E = InputType::INPUT_TYPE;
        bindEnum<E>(
            inputType, "INPUT_TYPE",
            {VELA_PY_VALUE(USB_ID), VELA_PY_VALUE(USB_SERIAL), VELA_PY_VALUE(KVR_FILE), VELA_PY_VALUE(STREAM),
             VELA_PY_VALUE(GMSL_ID), VELA_PY_VALUE(GMSL_SERIAL), VELA_PY_VALUE(LAST)});
        bindToString<E>(m);
        bindFromString<E>(m);
    }
    {
        using E = STREAMING_CODEC;
        bindEnum<E>(m, "STREAMING_CODEC", {VELA_PY_VALUE(H264), VELA_PY_VALUE(H265)});
        bindToString<E>(m);
        bindFromString<E>(m);
    }
}

void bindSensors(py::module_& m) {
    py::class_<SensorsData> sensorsData(m, "SensorsData", py::module_local());
    {
        py::class_<SensorsData::MagnetometerData> magnetometer(sensorsData, "MagnetometerData",
                                                               py::module_local());
        using E = SensorsData::MagnetometerData::HEADING_STATE;
        bindEnum<E>(magnetometer, "HEADING_STATE",
                    {VELA_PY_VALUE(GOOD), VELA_PY_VALUE(OK), VELA_PY_VALUE(NOT_GOOD),
                     VELA_PY_VALUE(NOT_CALIBRATED), VELA_PY_VALUE(MAG_NOT_AVAILABLE)});
        bindToString<E>(m);
    }
    {
        py::class_<SensorsData::TemperatureData> temperature(sensorsData, "TemperatureData",
                                                             py::module_local());
        using E = SensorsData::TemperatureData::SENSOR_LOCATION;
        bindEnum<E>(temperature, "SENSOR_LOCATION",
                    {VELA_PY_VALUE(IMU), VELA_PY_VALUE(BAROMETER), VELA_PY_VALUE(ONBOARD_LEFT),
                     VELA_PY_VALUE(ONBOARD_RIGHT)});
        bindToString<E>(m);
    }
    {
        using E = SensorsData::CAMERA_MOTION_STATE;
        bindEnum<E>(sensorsData, "CAMERA_MOTION_STATE",
                    {VELA_PY_VALUE(STATIC), VELA_PY_VALUE(MOVING), VELA_PY_VALUE(FALLING)});
        bindToString<E>(m);
    }
    {
        using E = SENSOR_TYPE;
        bindEnum<E>(m, "SENSOR_TYPE",
                    {VELA_PY_VALUE(ACCELEROMETER), VELA_PY_VALUE(GYROSCOPE), VELA_PY_VALUE(MAGNETOMETER),
                     VELA_PY_VALUE(BAROMETER)});
        bindToString<E>(m);
    }
    {
        using E = SENSORS_UNIT;
        bindEnum<E>(m, "SENSORS_UNIT",
                    {VELA_PY_VALUE(M_SEC_2), VELA_PY_VALUE(DEG_SEC), VELA_PY_VALUE(U_T), VELA_PY_VALUE(HPA),
                     VELA_PY_VALUE(CELSIUS), VELA_PY_VALUE(HERTZ)});
        bindToString<E>(m);
    }
}

void bindObjectDetection(py::module_& m) {
    {
        using E = OBJECT_CLASS;
        bindEnum<E>(m, "OBJECT_CLASS",
                    {VELA_PY_VALUE(PERSON), VELA_PY_VALUE(VEHICLE), VELA_PY_VALUE(BAG), VELA_PY_VALUE(ANIMAL),
                     VELA_PY_VALUE(ELECTRONICS), VELA_PY_VALUE(FRUIT_VEGETABLE), VELA_PY_VALUE(SPORT),
                     VELA_PY_VALUE(LAST)});
        bindToString<E>(m);
        bindFromString<E>(m);
    }
    {
        using E = OBJECT_SUBCLASS;
        bindEnum<E>(m, "OBJECT_SUBCLASS",
                    {VELA_PY_VALUE(PERSON),    VELA_PY_VALUE(BICYCLE),     VELA_PY_VALUE(CAR),
                     VELA_PY_VALUE(MOTORBIKE), VELA_PY_VALUE(BUS),         VELA_PY_VALUE(TRUCK),
                     VELA_PY_VALUE(BOAT),      VELA_PY_VALUE(BACKPACK),    VELA_PY_VALUE(HANDBAG),
                     VELA_PY_VALUE(SUITCASE),  VELA_PY_VALUE(BIRD),        VELA_PY_VALUE(CAT),
                     VELA_PY_VALUE(DOG),       VELA_PY_VALUE(HORSE),       VELA_PY_VALUE(SHEEP),
                     VELA_PY_VALUE(COW),       VELA_PY_VALUE(CELLPHONE),   VELA_PY_VALUE(LAPTOP),
                     VELA_PY_VALUE(BANANA),    VELA_PY_VALUE(APPLE),       VELA_PY_VALUE(ORANGE),
                     VELA_PY_VALUE(CARROT),    VELA_PY_VALUE(PERSON_HEAD), VELA_PY_VALUE(SPORTSBALL)});
        bindToString<E>(m);
    }
    {
        using E = OBJECT_TRACKING_STATE;
        bindEnum<E>(
            m, "OBJECT_TRACKING_STATE",
            {VELA_PY_VALUE(OFF), VELA_PY_VALUE(OK), VELA_PY_VALUE(SEARCHING), VELA_PY_VALUE(TERMINATE)});
        bindToString<E>(m);
    }
    {
        using E = OBJECT_ACTION_STATE;
        bindEnum<E>(m, "OBJECT_ACTION_STATE", {VELA_PY_VALUE(IDLE), VELA_PY_VALUE(MOVING)});
        bindToString<E>(m);
    }
    {
        using E = OBJECT_FILTERING_MODE;
        bindEnum<E>(m, "OBJECT_FILTERING_MODE",
                    {VELA_PY_VALUE(NONE), VELA_PY_VALUE(NMS3D), VELA_PY_VALUE(NMS3D_PER_CLASS)});
        bindToString<E>(m);
        bindFromString<E>(m);
    }
    {
        using E = OBJECT_DETECTION_MODEL;
        bindEnum<E>(m, "OBJECT_DETECTION_MODEL",
                    {VELA_PY_VALUE(MULTI_CLASS_BOX_FAST), VELA_PY_VALUE(MULTI_CLASS_BOX_MEDIUM),
                     VELA_PY_VALUE(MULTI_CLASS_BOX_ACCURATE), VELA_PY_VALUE(PERSON_HEAD_BOX_FAST),
                     VELA_PY_VALUE(PERSON_HEAD_BOX_ACCURATE), VELA_PY_VALUE(CUSTOM_BOX_OBJECTS),
                     VELA_PY_VALUE(CUSTOM_YOLOLIKE_BOX_OBJECTS)});
        bindToString<E>(m);
        bindFromString<E>(m);
    }
    {
        using E = INFERENCE_PRECISION;
        bindEnum<E>(m, "INFERENCE_PRECISION",
                    {VELA_PY_VALUE(FP32), VELA_PY_VALUE(FP16), VELA_PY_VALUE(INT8)});
        bindToString<E>(m);
    }
    m.def("getObjectClass", &getObjectClass, py::arg("subclass"));
    m.def("getObjectSubClassAsCOCO", &getObjectSubClassAsCOCO, py::arg("subclass"));
    m.def("getObjectSubClasses", &getObjectSubClasses, py::arg("objectClass"));

    py::class_<CustomBoxObjectData>(m, "CustomBoxObjectData", py::module_local(),
                                    "a detection made by the caller's own detector")
        .def(py::init<>())
        .def_readwrite("unique_object_id", &CustomBoxObjectData::unique_object_id)
        .def_readwrite("bounding_box_2d", &CustomBoxObjectData::bounding_box_2d,
                       "four (x, y) corners; assign a whole list to change it")
        .def_readwrite("label", &CustomBoxObjectData::label)
        .def_readwrite("probability", &CustomBoxObjectData::probability)
        .def_readwrite("is_grounded", &CustomBoxObjectData::is_grounded)
        .def_readwrite("is_static", &CustomBoxObjectData::is_static)
        .def_readwrite("tracking_timeout", &CustomBoxObjectData::tracking_timeout)
        .def_readwrite("tracking_max_dist", &CustomBoxObjectData::tracking_max_dist);
    py::class_<CustomMaskObjectData, CustomBoxObjectData>(m, "CustomMaskObjectData", py::module_local(),
                                                          "a detection with its U8_C1 mask over the box")
        .def(py::init<>())
        .def_readwrite("box_mask", &CustomMaskObjectData::box_mask);
}

}  // namespace

void bindTypes(py::module_& m) {
    bindUnits(m);
    bindBodyTracking(m);
    bindCamera(m);
    bindSensors(m);
    bindObjectDetection(m);
}

}  // namespace python
}  // namespace vela

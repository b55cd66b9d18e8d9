#include "vela/types/sensors.hpp"

#include "types/name_table.hpp"

namespace vela {

String toString(const SensorsData::MagnetometerData::HEADING_STATE& state) {
    using HEADING_STATE = SensorsData::MagnetometerData::HEADING_STATE;
    switch (state) {
        case HEADING_STATE::GOOD:
            return "Good";
        case HEADING_STATE::OK:
            return "OK";
        case HEADING_STATE::NOT_GOOD:
            return "Not good";
        case HEADING_STATE::NOT_CALIBRATED:
            return "Magnetometer not calibrated";
        case HEADING_STATE::MAG_NOT_AVAILABLE:
            return "Magnetometer not available";
    }
    return detail::kUnknownName;
}

String toString(const SensorsData::CAMERA_MOTION_STATE& state) {
    using CAMERA_MOTION_STATE = SensorsData::CAMERA_MOTION_STATE;
    switch (state) {
        case CAMERA_MOTION_STATE::STATIC:
            return "Static";
        case CAMERA_MOTION_STATE::MOVING:
            return "Moving";
        case CAMERA_MOTION_STATE::FALLING:
            return "Falling";
    }
    return detail::kUnknownName;
}

String toString(const SensorsData::TemperatureData::SENSOR_LOCATION& location) {
    using SENSOR_LOCATION = SensorsData::TemperatureData::SENSOR_LOCATION;
    switch (location) {
        case SENSOR_LOCATION::IMU:
            return "IMU";
        case SENSOR_LOCATION::BAROMETER:
            return "BAROMETER";
        // Deliberately one text for both onboard sensors: readers of these texts match on it.
        case SENSOR_LOCATION::ONBOARD_LEFT:
        case SENSOR_LOCATION::ONBOARD_RIGHT:
            return "ONBOARD LEFT";
    }
    return detail::kUnknownName;
}

String toString(const SENSOR_TYPE& type) {
    switch (type) {
        case SENSOR_TYPE::ACCELEROMETER:
            return "Accelerometer";
        case SENSOR_TYPE::GYROSCOPE:
            return "Gyroscope";
        case SENSOR_TYPE::MAGNETOMETER:
            return "Magnetometer";
        case SENSOR_TYPE::BAROMETER:
            return "Barometer";
    }
    return String();
}

String toString(const SENSORS_UNIT& unit) {
    switch (unit) {
        case SENSORS_UNIT::M_SEC_2:
            return "m/s²";
        case SENSORS_UNIT::DEG_SEC:
            return "°/s";
        case SENSORS_UNIT::U_T:
            return "uT";
        case SENSORS_UNIT::HPA:
            return "hPa";
        case SENSORS_UNIT::CELSIUS:
            return "°C";
        case SENSORS_UNIT::HERTZ:
            return "Hz";
    }
    return String();
}

}  // namespace vela

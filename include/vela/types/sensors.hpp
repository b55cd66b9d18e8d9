#pragma once

#include <cstdint>

#include "vela/core/export.hpp"
#include "vela/core/string.hpp"

namespace vela {

/// Readings of a camera's sensors; only the enumerations it scopes are declared here.
class SensorsData {
  public:
    /// Magnetometer reading.
    class MagnetometerData {
      public:
        /// How far the heading from the magnetometer can be trusted.
        enum class HEADING_STATE : int32_t {
            GOOD = 0,               ///< "Good"
            OK = 1,                 ///< "OK"
            NOT_GOOD = 2,           ///< "Not good"
            NOT_CALIBRATED = 3,     ///< "Magnetometer not calibrated"
            MAG_NOT_AVAILABLE = 4,  ///< "Magnetometer not available"
        };
    };

    /// Temperature reading.
    class TemperatureData {
      public:
        /// Where a temperature sensor sits.
        enum class SENSOR_LOCATION : int32_t {
            IMU = 0,            ///< "IMU"
            BAROMETER = 1,      ///< "BAROMETER"
            ONBOARD_LEFT = 2,   ///< "ONBOARD LEFT"
            ONBOARD_RIGHT = 3,  ///< also printed "ONBOARD LEFT"
        };
    };

    /// How the camera moves, from its motion sensors.
    enum class CAMERA_MOTION_STATE : int32_t {
        STATIC = 0,   ///< "Static"
        MOVING = 1,   ///< "Moving"
        FALLING = 2,  ///< "Falling"
    };
};

/// Kind of a motion or environment sensor.
enum class SENSOR_TYPE : int32_t {
    ACCELEROMETER = 0,
    GYROSCOPE = 1,
    MAGNETOMETER = 2,
    BAROMETER = 3,
};

/// Unit of a sensor's readings.
enum class SENSORS_UNIT : int32_t {
    M_SEC_2 = 0,  ///< metres per second squared
    DEG_SEC = 1,  ///< degrees per second
    U_T = 2,      ///< microtesla
    HPA = 3,      ///< hectopascal
    CELSIUS = 4,  ///< degrees Celsius
    HERTZ = 5,    ///< hertz
};

/// "Good", "OK", "Not good", "Magnetometer not calibrated" or "Magnetometer not available"; else "Unknown".
VELA_API String toString(const SensorsData::MagnetometerData::HEADING_STATE& state);
/// "Static", "Moving" or "Falling"; "Unknown" for any other value.
VELA_API String toString(const SensorsData::CAMERA_MOTION_STATE& state);
/// "IMU", "BAROMETER" or "ONBOARD LEFT" (both onboard sensors print so); "Unknown" for any other value.
VELA_API String toString(const SensorsData::TemperatureData::SENSOR_LOCATION& location);
/// "Accelerometer", "Gyroscope", "Magnetometer" or "Barometer"; an empty text for any other value.
VELA_API String toString(const SENSOR_TYPE& type);
/// The unit's symbol in UTF-8, e.g. "m/s²" or "°C"; an empty text for any other value.
VELA_API String toString(const SENSORS_UNIT& unit);

}  // namespace vela

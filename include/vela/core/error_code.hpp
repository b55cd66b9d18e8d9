#pragma once

#include <cstdint>

#include "vela/core/export.hpp"
#include "vela/core/string.hpp"

namespace vela {

/// Status returned by nearly every operation of the kit: negative values are soft warnings,
/// SUCCESS is 0, positive values are failures.
// Version 14 of the formatter glues the brace to the type after an attribute.
// clang-format off
enum class [[nodiscard]] ERROR_CODE : int32_t {
    // clang-format on
    CONFIGURATION_FALLBACK = -4,
    SENSORS_DATA_REQUIRED = -3,
    CORRUPTED_FRAME = -2,
    CAMERA_REBOOTING = -1,
    SUCCESS = 0,
    FAILURE = 1,
    NO_GPU_COMPATIBLE = 2,
    NOT_ENOUGH_GPU_MEMORY = 3,
    CAMERA_NOT_DETECTED = 4,
    SENSORS_MODULE_SERIAL_NOT_VALID = 5,
    CAMERA_MOTION_SENSORS_NOT_DETECTED = 6,
    INVALID_RESOLUTION = 7,
    LOW_USB_BANDWIDTH = 8,
    CALIBRATION_FILE_NOT_AVAILABLE = 9,
    INVALID_CALIBRATION_FILE = 10,
    INVALID_KVR_FILE = 11,
    KVR_RECORDING_ERROR = 12,
    KVR_UNSUPPORTED_COMPRESSION = 13,
    END_OF_KVR_FILE_REACHED = 14,
    INVALID_COORDINATE_SYSTEM = 15,
    INVALID_FIRMWARE = 16,
    INVALID_FUNCTION_PARAMETERS = 17,
    CUDA_ERROR = 18,
    CAMERA_NOT_INITIALIZED = 19,
    NVIDIA_DRIVER_OUT_OF_DATE = 20,
    INVALID_FUNCTION_CALL = 21,
    CORRUPTED_SDK_INSTALLATION = 22,
    INCOMPATIBLE_SDK_VERSION = 23,
    INVALID_AREA_FILE = 24,
    INCOMPATIBLE_AREA_FILE = 25,
    CAMERA_FAILED_TO_SETUP = 26,
    CAMERA_DETECTION_ISSUE = 27,
    CAMERA_STREAM_FAILED_TO_START = 28,
    NO_GPU_DETECTED = 29,
    PLANE_NOT_FOUND = 30,
    MODULE_NOT_COMPATIBLE_WITH_CAMERA = 31,
    MOTION_SENSORS_REQUIRED = 32,
    MODULE_NOT_COMPATIBLE_WITH_CUDA_VERSION = 33,
};

/// Short upper-case name of a status; "Unknown" outside -4..33. For CUDA_ERROR it appends the
/// runtime's pending error number, which reading clears.
VELA_API String toString(const ERROR_CODE& code);
/// Sentence meant for an end user; "Unknown error" outside -4..33 and for code 5. For CUDA_ERROR it
/// appends the runtime's description of its pending error, which reading clears.
VELA_API String toVerbose(const ERROR_CODE& code);
/// Same as toString, taking the code by value.
VELA_API String errorCode2str(ERROR_CODE code);

}  // namespace vela

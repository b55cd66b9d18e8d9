#pragma once

#include <cstdint>

#include "vela/core/error_code.hpp"
#include "vela/core/export.hpp"
#include "vela/core/string.hpp"

namespace vela {

/// Camera model.
enum class MODEL : int32_t {
    TARN = 0,             ///< "TARN"
    TARN_Q = 1,           ///< "TARN-Q"
    TARN_R = 2,           ///< "TARN R"
    TARN_RS = 3,          ///< "TARN Rs"
    TARN_V = 4,           ///< "TARN V"
    TARN_V_LITE = 5,      ///< "TARN V Lite"
    VIRTUAL_TARN_V = 11,  ///< "Virtual TARN-V"
    TARN_W_GS = 30,       ///< "TARN W GS"
    TARN_W_UHD = 31,      ///< "TARN W UHD"
};

/// Where frames come from, in broad terms.
enum class INPUT_TYPE : int32_t {
    USB = 0,     ///< "USB"
    KVR = 1,     ///< "KVR", a recorded file
    STREAM = 2,  ///< "STREAM", from the network
    GMSL = 3,    ///< "GMSL"
};

/// Bus a camera is attached to.
enum class BUS_TYPE : int32_t {
    USB = 0,   ///< "USB"
    GMSL = 1,  ///< "GMSL"
    AUTO = 2,  ///< "AUTO": whichever finds the camera
};

/// Number of imaging sensors of a camera.
enum class CAMERA_TYPE : int32_t {
    MONO = 0,    ///< "MONO"
    STEREO = 1,  ///< "STEREO"
    LAST = 2,    ///< "LAST"
};

/// Whether a connected camera can be opened.
enum class CAMERA_STATE : int32_t {
    AVAILABLE = 0,      ///< "AVAILABLE"
    NOT_AVAILABLE = 1,  ///< "NOT AVAILABLE"
};

/// Processing modules of the kit.
enum class MODULE : int32_t {
    ALL = 0,                  ///< "All"
    DEPTH = 1,                ///< "Depth"
    POSITIONAL_TRACKING = 2,  ///< "Positional Tracking"
    OBJECT_DETECTION = 3,     ///< "Object detection"
    BODY_TRACKING = 4,        ///< "Body tracking"
    SPATIAL_MAPPING = 5,      ///< "Spatial mapping"
};

/// Description of where frames come from; only the enumeration it scopes is declared here.
class InputType {
  public:
    /// The exact source of frames; read from configuration text by name.
    enum class INPUT_TYPE : int32_t {
        USB_ID = 0,       ///< "USB ID"
        USB_SERIAL = 1,   ///< "USB SERIAL"
        KVR_FILE = 2,     ///< "KVR FILE"
        STREAM = 3,       ///< "STREAM"
        GMSL_ID = 4,      ///< "GMSL ID"
        GMSL_SERIAL = 5,  ///< "GMSL SERIAL"
        LAST = 6,         ///< "LAST"
    };
};

/// Video codec of a network stream; read from configuration text by name.
enum class STREAMING_CODEC : int32_t {
    H264 = 0,  ///< "H264"
    H265 = 1,  ///< "H265"
};

/// The model's display name, e.g. "TARN V Lite"; "Unknown" for any other value.
VELA_API String toString(const MODEL& model);
/// Same as toString of the model.
VELA_API String model2str(MODEL model);
/// "USB", "KVR", "STREAM" or "GMSL"; "Unknown" for any other value.
VELA_API String toString(const INPUT_TYPE& type);
/// "USB", "GMSL" or "AUTO"; "Unknown" for any other value.
VELA_API String toString(const BUS_TYPE& bus);
/// "MONO", "STEREO" or "LAST"; "Unknown" for any other value.
VELA_API String toString(const CAMERA_TYPE& type);
/// "AVAILABLE" or "NOT AVAILABLE"; "Unknown" for any other value.
VELA_API String toString(const CAMERA_STATE& state);
/// The module's display name, e.g. "Positional Tracking"; "Unknown" for any other value.
VELA_API String toString(const MODULE& module);

/// The upper-case name, e.g. "USB SERIAL"; "Unknown" for any other value.
VELA_API String toString(const InputType::INPUT_TYPE& type);
/// Reads a number or a name in any case, '-' and '_' standing for blanks; FAILURE leaves `out` unchanged
/// and prints a warning on standard error.
VELA_API ERROR_CODE fromString(const String& text, InputType::INPUT_TYPE& out);
/// "H264" or "H265"; "Unknown" for any other value.
VELA_API String toString(const STREAMING_CODEC& codec);
/// Reads a number or a name as fromString of InputType::INPUT_TYPE does.
VELA_API ERROR_CODE fromString(const String& text, STREAMING_CODEC& out);

}  // namespace vela

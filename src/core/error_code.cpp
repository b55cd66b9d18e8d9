#include "vela/core/error_code.hpp"

#include <cuda_runtime_api.h>

#include <string>

namespace vela {
namespace {

// Where users download a camera's factory calibration file.
#define VELA_CALIBRATION_SITE "https://calibration.vela-sdk.example.com"

struct StatusText {
    const char* brief;
    const char* verbose;  // null: the status has no sentence of its own
};

constexpr int kFirstCode = -4;

// Rows in code order from -4 to 33; the texts are shown to users verbatim, spellings included.
constexpr StatusText kStatusTexts[] = {
    {"CONFIGURATION FALLBACK",
     "The requested configuration can not be used, fallback to a compatible behavior."},
    {"SENSORS DATA REQUIRED FOR THIS MODULE",
     "The module needs the high frequency raw sensors data, it's contains in the KVR gen2 or newer "
     "streaming module and missing from the older KVR gen1"},
    {"CORRUPTED_FRAME", "The image may be corrupted or invalid"},
    {"CAMERA_REBOOTING", "The camera is currently rebooting"},
    {"SUCCESS", "The function works as expected."},
    {"FAILURE", "The function does not perform as expected."},
    {"NO GPU COMPATIBLE",
     "An NVIDIA GPU (Pascal or newer) is required to run this software (for Kepler and Maxwell GPU, please "
     "use CUDA 10.2 TARN SDK installers)"},
    {"NOT ENOUGH GPU MEMORY", "GPU memory limit reached."},
    {"CAMERA NOT DETECTED", "Camera not detected. Replug your device or connect to another port."},
    {"NOT VALID SERIAL NUMBER FOR SENSORS MODULE MCU", nullptr},
    {"CAMERA MOTION SENSORS NOT DETECTED", "Reconnect your TARN, the device did not properly start."},
    {"INVALID RESOLUTION",
     "Invalid selected resolution or frame rate. Try a lower resolution or frame rate."},
    {"LOW USB BANDWIDTH", "Cannot capture images from camera. Connect the device to another port."},
    {"CALIBRATION FILE NOT AVAILABLE",
     "Calibration file not found. Download your factory calibration file from " VELA_CALIBRATION_SITE
     " or use TARN calibration tool to recalibrate."},
    {"INVALID CALIBRATION FILE",
     "Calibration file found but it is corrupted. Download your factory calibration file "
     "from " VELA_CALIBRATION_SITE " or use TARN calibration tool to recalibrate."},
    {"INVALID KVR FILE", "Invalid KVR file."},
    {"KVR RECORDING ERROR",
     "Cannot record KVR. Make sure you have administrator rights, enough storage space to write the KVR "
     "or that the compression codec is supported on your platform."},
    {"KVR UNSUPPORTED HARDWARE FOR COMPRESSION",
     "Cannot record KVR due to unsupported compression mode. Make sure your graphic card is compatible "
     "with the choosen mode. Note that HEVC compression mode is mostly supported on Pascal NVIDIA graphic "
     "card only."},
    {"END OF KVR FILE REACHED", "End of KVR file has been reached. No more frames available."},
    {"INVALID COORDINATE SYSTEM", "Invalid coordinate system."},
    {"INVALID FIRMWARE", "Your firmware needs to be updated. Please update it in TARN Explorer."},
    {"INVALID FUNCTION PARAMETERS", "Invalid function arguments detected."},
    {"CUDA ERROR", "A CUDA related error has been caught, data may be corrupted."},
    {"CAMERA NOT INITIALIZED", "Camera:open must be called before using any other functions of the API."},
    {"NVIDIA DRIVER OUT OF DATE", "Your graphics driver need to be updated."},
    {"INVALID FUNCTION CALL",
     "This function call cannot be processed because of the current state of your Camera instance."},
    {"CORRUPTED SDK INSTALLATION",
     "Corrupted SDK detected. Please reinstall the TARN SDK, or check for missing dependencies when using "
     "vela_ai(cuDNN, TensorRT)."},
    {"INCOMPATIBLE SDK VERSION",
     "The software you are using is not compatible with your current SDK version. Please update to a "
     "compatible TARN SDK."},
    {"INVALID ARE FILE", "Invalid area file. Make sure to specify the path of an existing '.area' file."},
    {"INCOMPATIBLE AREA FILE",
     "The area file you are using has not been recorded with the same DEPTH_MODE. Either select the "
     "DEPTH_MODE used to create the area file, or create a new one."},
    {"CAMERA FAILED TO SETUP", "Unable to open camera."},
    {"CAMERA DETECTION ISSUE",
     "Camera not detected. Replug your device on USB 3.0 or flip the Type-C connector (TARN-Q)."},
    {"CAMERA STREAM FAILED TO START",
     "Cannot start camera stream. Make sure your camera is not already used by another process or blocked "
     "by firewall or antivirus."},
    {"NO GPU DETECTED",
     "No NVIDIA graphics card detected. Install an NVIDIA GPU, CUDA and restart your computer after "
     "completing installation."},
    {"PLANE NOT FOUND", "No plane detected in the scene or at the specified coordinates."},
    {"MODULE NOT COMPATIBLE WITH CAMERA", "The object detection module is not compatible with the TARN"},
    {"MOTION SENSORS REQUIRED",
     "The module needs the sensors to be enabled (see InitParameters::sensors_required) "},
    {"MODULE NOT COMPATIBLE WITH CUDA VERSION",
     "Some features requires newer version of CUDA to be supported (CUDA 10.2 or newer)"},
};

constexpr size_t kRowCount = sizeof(kStatusTexts) / sizeof(kStatusTexts[0]);
static_assert(kRowCount == 38, "one row per status from -4 to 33");

#undef VELA_CALIBRATION_SITE

// The fallbacks are built once at load and read-only afterwards.
const String kUnknown("Unknown");
const String kUnknownError("Unknown error");

// One dispatch: shifting by 4 maps the defined codes onto 0..37 and every other value above 37.
const StatusText* findRow(ERROR_CODE code) {
    const uint32_t row =
        static_cast<uint32_t>(code) - static_cast<uint32_t>(kFirstCode);  // wraps, no overflow
    return row < kRowCount ? &kStatusTexts[row] : nullptr;
}

}  // namespace

String toString(const ERROR_CODE& code) {
    const StatusText* row = findRow(code);
    if (row == nullptr) return kUnknown;
    String text;
    if (code == ERROR_CODE::CUDA_ERROR) {
        // Reading the runtime's error also clears it: a second request sees the cleared state.
        const int pending = static_cast<int>(cudaGetLastError());
        text = std::string(row->brief) + " (Err : " + std::to_string(pending) + ")";
    } else {
        text = row->brief;
    }
    return text;
}

String toVerbose(const ERROR_CODE& code) {
    const StatusText* row = findRow(code);
    if (row == nullptr || row->verbose == nullptr) return kUnknownError;
    String text;
    if (code == ERROR_CODE::CUDA_ERROR) {
        text = std::string(row->verbose) + " CUDA Err: " + cudaGetErrorString(cudaGetLastError());
    } else {
        text = row->verbose;
    }
    return text;
}

String errorCode2str(ERROR_CODE code) {
    return toString(code);
}

}  // namespace vela

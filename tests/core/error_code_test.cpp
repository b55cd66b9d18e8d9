#include <gtest/gtest.h>

#include <string>

#include "sim_device.hpp"
#include "vela/core/error_code.hpp"

namespace {

using vela::ERROR_CODE;

struct StatusRow {
    int code;
    const char* brief;
    const char* verbose;
};

// The texts users see, written out independently of the library's table.
const StatusRow kRows[] = {
    {-4, "CONFIGURATION FALLBACK",
     "The requested configuration can not be used, fallback to a compatible behavior."},
    {-3, "SENSORS DATA REQUIRED FOR THIS MODULE",
     "The module needs the high frequency raw sensors data, it's contains in the KVR gen2 or newer streaming "
     "module and missing from the older KVR gen1"},
    {-2, "CORRUPTED_FRAME", "The image may be corrupted or invalid"},
    {-1, "CAMERA_REBOOTING", "The camera is currently rebooting"},
    {0, "SUCCESS", "The function works as expected."},
    {1, "FAILURE", "The function does not perform as expected."},
    {2, "NO GPU COMPATIBLE",
     "An NVIDIA GPU (Pascal or newer) is required to run this software (for Kepler and Maxwell GPU, please "
     "use "
     "CUDA 10.2 TARN SDK installers)"},
    {3, "NOT ENOUGH GPU MEMORY", "GPU memory limit reached."},
    {4, "CAMERA NOT DETECTED", "Camera not detected. Replug your device or connect to another port."},
    {5, "NOT VALID SERIAL NUMBER FOR SENSORS MODULE MCU", "Unknown error"},
    {6, "CAMERA MOTION SENSORS NOT DETECTED", "Reconnect your TARN, the device did not properly start."},
    {7, "INVALID RESOLUTION",
     "Invalid selected resolution or frame rate. Try a lower resolution or frame rate."},
    {8, "LOW USB BANDWIDTH", "Cannot capture images from camera. Connect the device to another port."},
    {9, "CALIBRATION FILE NOT AVAILABLE",
     "Calibration file not found. Download your factory calibration file from "
     "https://calibration.vela-sdk.example.com or use TARN calibration tool to recalibrate."},
    {10, "INVALID CALIBRATION FILE",
     "Calibration file found but it is corrupted. Download your factory calibration file from "
     "https://calibration.vela-sdk.example.com or use TARN calibration tool to recalibrate."},
    {11, "INVALID KVR FILE", "Invalid KVR file."},
    {12, "KVR RECORDING ERROR",
     "Cannot record KVR. Make sure you have administrator rights, enough storage space to write the KVR or "
     "that "
     "the compression codec is supported on your platform."},
    {13, "KVR UNSUPPORTED HARDWARE FOR COMPRESSION",
     "Cannot record KVR due to unsupported compression mode. Make sure your graphic card is compatible with "
     "the "
     "choosen mode. Note that HEVC compression mode is mostly supported on Pascal NVIDIA graphic card only."},
    {14, "END OF KVR FILE REACHED", "End of KVR file has been reached. No more frames available."},
    {15, "INVALID COORDINATE SYSTEM", "Invalid coordinate system."},
    {16, "INVALID FIRMWARE", "Your firmware needs to be updated. Please update it in TARN Explorer."},
    {17, "INVALID FUNCTION PARAMETERS", "Invalid function arguments detected."},
    {19, "CAMERA NOT INITIALIZED", "Camera:open must be called before using any other functions of the API."},
    {20, "NVIDIA DRIVER OUT OF DATE", "Your graphics driver need to be updated."},
    {21, "INVALID FUNCTION CALL",
     "This function call cannot be processed because of the current state of your Camera instance."},
    {22, "CORRUPTED SDK INSTALLATION",
     "Corrupted SDK detected. Please reinstall the TARN SDK, or check for missing dependencies when using "
     "vela_ai(cuDNN, TensorRT)."},
    {23, "INCOMPATIBLE SDK VERSION",
     "The software you are using is not compatible with your current SDK version. Please update to a "
     "compatible "
     "TARN SDK."},
    {24, "INVALID ARE FILE", "Invalid area file. Make sure to specify the path of an existing '.area' file."},
    {25, "INCOMPATIBLE AREA FILE",
     "The area file you are using has not been recorded with the same DEPTH_MODE. Either select the "
     "DEPTH_MODE "
     "used to create the area file, or create a new one."},
    {26, "CAMERA FAILED TO SETUP", "Unable to open camera."},
    {27, "CAMERA DETECTION ISSUE",
     "Camera not detected. Replug your device on USB 3.0 or flip the Type-C connector (TARN-Q)."},
    {28, "CAMERA STREAM FAILED TO START",
     "Cannot start camera stream. Make sure your camera is not already used by another process or blocked by "
     "firewall or antivirus."},
    {29, "NO GPU DETECTED",
     "No NVIDIA graphics card detected. Install an NVIDIA GPU, CUDA and restart your computer after "
     "completing "
     "installation."},
    {30, "PLANE NOT FOUND", "No plane detected in the scene or at the specified coordinates."},
    {31, "MODULE NOT COMPATIBLE WITH CAMERA", "The object detection module is not compatible with the TARN"},
    {32, "MOTION SENSORS REQUIRED",
     "The module needs the sensors to be enabled (see InitParameters::sensors_required) "},
    {33, "MODULE NOT COMPATIBLE WITH CUDA VERSION",
     "Some features requires newer version of CUDA to be supported (CUDA 10.2 or newer)"},
};

TEST(StatusText, every_code_has_its_exact_short_and_verbose_text) {
    for (const StatusRow& row : kRows) {
        const auto code = static_cast<ERROR_CODE>(row.code);
        EXPECT_EQ(vela::toString(code), row.brief) << "code " << row.code;
        EXPECT_EQ(vela::toVerbose(code), row.verbose) << "code " << row.code;
        EXPECT_EQ(vela::errorCode2str(code), row.brief) << "code " << row.code;
    }
}

TEST(StatusText, values_outside_the_table_are_unknown) {
    for (int value : {-2147483647 - 1, -5, 34, 38, 1000, 2147483647}) {
        const auto code = static_cast<ERROR_CODE>(value);
        EXPECT_EQ(vela::toString(code), "Unknown") << value;
        EXPECT_EQ(vela::toVerbose(code), "Unknown error") << value;
        EXPECT_EQ(vela::errorCode2str(code), "Unknown") << value;
    }
}

class PendingCudaError : public ::testing::Test {
  protected:
    void SetUp() override { vela::sim::reset(); }  // no error left pending by an earlier test
    void TearDown() override { vela::sim::reset(); }
};

TEST_F(PendingCudaError, short_text_reports_then_clears_the_pending_error) {
    EXPECT_EQ(vela::toString(ERROR_CODE::CUDA_ERROR), "CUDA ERROR (Err : 0)");
    vela::sim::setPendingError(cudaErrorLaunchFailure);
    EXPECT_EQ(vela::toString(ERROR_CODE::CUDA_ERROR), "CUDA ERROR (Err : 719)");
    EXPECT_EQ(vela::errorCode2str(ERROR_CODE::CUDA_ERROR), "CUDA ERROR (Err : 0)");
}

TEST_F(PendingCudaError, verbose_text_reports_then_clears_the_pending_error) {
    vela::sim::setPendingError(cudaErrorMemoryAllocation);
    EXPECT_EQ(vela::toVerbose(ERROR_CODE::CUDA_ERROR),
              "A CUDA related error has been caught, data may be corrupted. CUDA Err: out of memory");
    EXPECT_EQ(vela::toVerbose(ERROR_CODE::CUDA_ERROR),
              "A CUDA related error has been caught, data may be corrupted. CUDA Err: no error");
}

TEST_F(PendingCudaError, short_text_consumes_the_error_a_verbose_text_would_have_shown) {
    vela::sim::setPendingError(cudaErrorMemoryAllocation);
    EXPECT_EQ(vela::toString(ERROR_CODE::CUDA_ERROR), "CUDA ERROR (Err : 2)");
    EXPECT_EQ(vela::toVerbose(ERROR_CODE::CUDA_ERROR),
              "A CUDA related error has been caught, data may be corrupted. CUDA Err: no error");
}

}  // namespace

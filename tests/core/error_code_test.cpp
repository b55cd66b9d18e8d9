#include <gtest/gtest.h>

#include <set>
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

// A few of the texts users see, written out independently of the library's table (misspellings kept).
const StatusRow kRows[] = {
    {-4, "CONFIGURATION FALLBACK",
     "The requested configuration can not be used, fallback to a compatible behavior."},
    {-2, "CORRUPTED_FRAME", "The image may be corrupted or invalid"},
    {0, "SUCCESS", "The function works as expected."},
    {5, "NOT VALID SERIAL NUMBER FOR SENSORS MODULE MCU", "Unknown error"},
    {13, "KVR UNSUPPORTED HARDWARE FOR COMPRESSION",
     "Cannot record KVR due to unsupported compression mode. Make sure your graphic card is compatible with "
     "the choosen mode. Note that HEVC compression mode is mostly supported on Pascal NVIDIA graphic card "
     "only."},
    {17, "INVALID FUNCTION PARAMETERS", "Invalid function arguments detected."},
    {19, "CAMERA NOT INITIALIZED", "Camera:open must be called before using any other functions of the API."},
    {24, "INVALID ARE FILE", "Invalid area file. Make sure to specify the path of an existing '.area' file."},
    {33, "MODULE NOT COMPATIBLE WITH CUDA VERSION",
     "Some features requires newer version of CUDA to be supported (CUDA 10.2 or newer)"},
};

TEST(StatusText, codes_have_their_exact_short_and_verbose_text_and_others_are_unknown) {
    for (const StatusRow& row : kRows) {
        const auto code = static_cast<ERROR_CODE>(row.code);
        EXPECT_EQ(vela::toString(code), row.brief) << "code " << row.code;
        EXPECT_EQ(vela::toVerbose(code), row.verbose) << "code " << row.code;
    }
    // Every code from -4 to 33 (18 is CUDA_ERROR, below) has a text of its own.
    std::set<std::string> briefs;
    for (int value = -4; value <= 33; ++value) {
        if (value == 18) continue;
        const auto code = static_cast<ERROR_CODE>(value);
        briefs.insert(vela::toString(code).str());
        EXPECT_EQ(vela::errorCode2str(code), vela::toString(code)) << value;
        EXPECT_TRUE(value == 5 || vela::toVerbose(code).str() != "Unknown error") << value;
    }
    EXPECT_EQ(briefs.size(), 37u);
    EXPECT_EQ(briefs.count("Unknown"), 0u);
    for (int value : {-2147483647 - 1, -5, 34, 2147483647}) {
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

TEST_F(PendingCudaError, texts_report_then_clear_the_pending_error) {
    EXPECT_EQ(vela::toString(ERROR_CODE::CUDA_ERROR), "CUDA ERROR (Err : 0)");
    vela::sim::setPendingError(cudaErrorLaunchFailure);
    EXPECT_EQ(vela::toString(ERROR_CODE::CUDA_ERROR), "CUDA ERROR (Err : 719)");
    EXPECT_EQ(vela::errorCode2str(ERROR_CODE::CUDA_ERROR), "CUDA ERROR (Err : 0)");
    const std::string verbose = "A CUDA related error has been caught, data may be corrupted. CUDA Err: ";
    vela::sim::setPendingError(cudaErrorMemoryAllocation);
    EXPECT_EQ(vela::toVerbose(ERROR_CODE::CUDA_ERROR), verbose + "out of memory");
    EXPECT_EQ(vela::toVerbose(ERROR_CODE::CUDA_ERROR), verbose + "no error");
    vela::sim::setPendingError(cudaErrorMemoryAllocation);
    EXPECT_EQ(vela::toString(ERROR_CODE::CUDA_ERROR), "CUDA ERROR (Err : 2)");
    EXPECT_EQ(vela::toVerbose(ERROR_CODE::CUDA_ERROR), verbose + "no error");
}

}  // namespace

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

// A few texts users see, written out independently of the library's table: the ends of the range, the
// common codes, and those whose spelling (a missing letter, a trailing blank, a typo) a cleanup would lose.
const StatusRow kRows[] = {
    {-4, "CONFIGURATION FALLBACK",
     "The requested configuration can not be used, fallback to a compatible behavior."},
    {-3, "SENSORS DATA REQUIRED FOR THIS MODULE",
     "The module needs the high frequency raw sensors data, it's contains in the KVR gen2 or newer streaming "
     "module and missing from the older KVR gen1"},
    {0, "SUCCESS", "The function works as expected."},
    {1, "FAILURE", "The function does not perform as expected."},
    {5, "NOT VALID SERIAL NUMBER FOR SENSORS MODULE MCU", "Unknown error"},
    {13, "KVR UNSUPPORTED HARDWARE FOR COMPRESSION",
     "Cannot record KVR due to unsupported compression mode. Make sure your graphic card is compatible with "
     "the choosen mode. Note that HEVC compression mode is mostly supported on Pascal NVIDIA graphic card "
     "only."},
    {17, "INVALID FUNCTION PARAMETERS", "Invalid function arguments detected."},
    {24, "INVALID ARE FILE", "Invalid area file. Make sure to specify the path of an existing '.area' file."},
    {32, "MOTION SENSORS REQUIRED",
     "The module needs the sensors to be enabled (see InitParameters::sensors_required) "},
    {33, "MODULE NOT COMPATIBLE WITH CUDA VERSION",
     "Some features requires newer version of CUDA to be supported (CUDA 10.2 or newer)"},
};

TEST(StatusText, codes_have_their_exact_texts_and_others_are_unknown) {
    for (const StatusRow& row : kRows) {
        const auto code = static_cast<ERROR_CODE>(row.code);
        EXPECT_EQ(vela::toString(code), row.brief) << "code " << row.code;
        EXPECT_EQ(vela::toVerbose(code), row.verbose) << "code " << row.code;
        EXPECT_EQ(vela::errorCode2str(code), row.brief) << "code " << row.code;
    }
    // Every code from -4 to 33 has a name of its own (CUDA_ERROR, 18, is the pending runtime error's).
    for (int value = -4; value <= 33; ++value)
        EXPECT_NE(vela::toString(static_cast<ERROR_CODE>(value)), "Unknown") << value;
    for (int value : {-2147483647 - 1, -5, 34, 1000, 2147483647}) {
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

// On a machine without a GPU driver every runtime call fails with error 35: allocation and transfers
// report it under their own signature and go on (allocation) or fail (transfers).

#include <gtest/gtest.h>

#include <vela/vela.hpp>

#include <string>

#include "support/device.hpp"

namespace vela {
namespace test {
namespace {

std::string driverReport(const std::string& signature) {
    return "in " + signature + " : Err [35]: CUDA driver version is insufficient for CUDA runtime version.\n";
}

const std::string kAlloc = "void vela::Mat::alloc(size_t, size_t, vela::MAT_TYPE, vela::MEM)";

class MatWithoutDriver : public ::testing::Test {
  protected:
    void SetUp() override {
        if (deviceStatus() != cudaErrorInsufficientDriver)
            GTEST_SKIP() << "needs a machine without a GPU driver";
    }
};

TEST_F(MatWithoutDriver, gpu_allocations_report_error_35_and_the_mat_still_owns) {
    for (MEM mem : {MEM::GPU, MEM_MANAGED}) {
        testing::internal::CaptureStdout();
        {
            const Mat mat(4, 2, MAT_TYPE::U8_C1, mem);
            EXPECT_TRUE(mat.initialized && mat.memoryOwner);
            EXPECT_EQ(mat.gpuBuffer, nullptr);
        }
        EXPECT_EQ(testing::internal::GetCapturedStdout(), driverReport(kAlloc));
    }
    testing::internal::CaptureStdout();
    const Mat mapped(4, 2, MAT_TYPE::U8_C1, MEM_BOTH);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), driverReport(kAlloc) + driverReport(kAlloc));
    EXPECT_EQ(mapped.memType, MEM_UNIFIED);
    unsigned char value = 1;
    EXPECT_EQ(mapped.getValue(0, 0, &value), ERROR_CODE::FAILURE) << "there is no buffer to read";
    EXPECT_EQ(value, 0);
}

TEST_F(MatWithoutDriver, transfers_report_error_35_and_fail) {
    Mat host(4, 2, MAT_TYPE::U8_C1);
    testing::internal::CaptureStdout();
    EXPECT_EQ(host.updateGPUfromCPU(), ERROR_CODE::FAILURE);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              driverReport("vela::ERROR_CODE vela::Mat::updateGPUfromCPU(cudaStream_t, int)"));
    EXPECT_EQ(host.memType, MEM::CPU);

    Mat gpu;
    testing::internal::CaptureStdout();
    EXPECT_EQ(host.copyTo(gpu, COPY_TYPE::CPU_GPU), ERROR_CODE::FAILURE);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              driverReport(kAlloc) +
                  driverReport(
                      "vela::ERROR_CODE vela::Mat::copyTo(vela::Mat&, vela::COPY_TYPE, cudaStream_t) const"));

    testing::internal::CaptureStdout();
    EXPECT_EQ(gpu.updateCPUfromGPU(), ERROR_CODE::FAILURE);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              driverReport("vela::ERROR_CODE vela::Mat::updateCPUfromGPU(cudaStream_t)"));
    EXPECT_EQ(gpu.memType, MEM_BOTH) << "the host buffer was added before the copy failed";
}

}  // namespace
}  // namespace test
}  // namespace vela

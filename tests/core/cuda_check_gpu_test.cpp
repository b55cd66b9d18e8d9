// The GPU-call report and the CUDA_ERROR texts, checked against whatever runtime this build links: the
// simulated device, a real GPU, or a machine without a driver (where every call fails with error 35).

#include <gtest/gtest.h>

#include <vela/vela.hpp>

#include <cstdint>
#include <string>

#include "support/device.hpp"

namespace {

const char* const kAllocSignature = "void vela::Mat::alloc(size_t, size_t, vela::MAT_TYPE, vela::MEM)";

// The runtime's own texts for the failures these tests provoke.
std::string runtimeText(cudaError_t error) {
    switch (error) {
        case cudaErrorMemoryAllocation:
            return "out of memory";
        case cudaErrorInsufficientDriver:
            return "CUDA driver version is insufficient for CUDA runtime version";
        case cudaErrorNoDevice:
            return "no CUDA-capable device is detected";
        default:
            return "unexpected error " + std::to_string(error);
    }
}

// An allocation no device can serve: fails with "out of memory", or with the reason no GPU is usable.
cudaError_t impossibleAllocation() {
    void* ptr = nullptr;
    const cudaError_t error = VELA_CUDA_CHECK(cudaMalloc(&ptr, SIZE_MAX / 2), kAllocSignature)
                                  ? cudaSuccess
                                  : cudaPeekAtLastError();
    return error;
}

cudaError_t expectedFailure() {
    const cudaError_t status = vela::test::deviceStatus();
    return status == cudaSuccess ? cudaErrorMemoryAllocation : status;
}

TEST(CudaCheck, failing_call_prints_exactly_one_report_line) {
    cudaGetLastError();
    testing::internal::CaptureStdout();
    const cudaError_t error = impossibleAllocation();
    const std::string printed = testing::internal::GetCapturedStdout();
    ASSERT_EQ(error, expectedFailure());
    EXPECT_EQ(printed, "in void vela::Mat::alloc(size_t, size_t, vela::MAT_TYPE, vela::MEM) : Err [" +
                           std::to_string(error) + "]: " + runtimeText(error) + ".\n");
    cudaGetLastError();
}

TEST(CudaCheck, success_prints_nothing_and_the_call_is_evaluated_once) {
    int calls = 0;
    auto call = [&] {
        ++calls;
        return cudaSuccess;
    };
    testing::internal::CaptureStdout();
    EXPECT_TRUE(VELA_CUDA_CHECK(call(), kAllocSignature));
    vela::__cudaSafeCall(cudaSuccess, kAllocSignature, __FILE__, __LINE__);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(calls, 1);
}

// Without a driver the runtime never initialises, and that error stays pending however often it is read.
cudaError_t errorLeftAfterReading(cudaError_t error) {
    return vela::test::deviceStatus() == cudaSuccess ? cudaSuccess : error;
}

cudaError_t failQuietly() {
    cudaGetLastError();
    testing::internal::CaptureStdout();
    const cudaError_t error = impossibleAllocation();
    testing::internal::GetCapturedStdout();
    return error;
}

TEST(StatusText, cuda_error_texts_consume_the_pending_runtime_error) {
    cudaError_t error = failQuietly();
    EXPECT_EQ(vela::toString(vela::ERROR_CODE::CUDA_ERROR).str(),
              "CUDA ERROR (Err : " + std::to_string(error) + ")");
    EXPECT_EQ(vela::toString(vela::ERROR_CODE::CUDA_ERROR).str(),
              "CUDA ERROR (Err : " + std::to_string(errorLeftAfterReading(error)) + ")");
    error = failQuietly();
    const std::string prefix = "A CUDA related error has been caught, data may be corrupted. CUDA Err: ";
    EXPECT_EQ(vela::toVerbose(vela::ERROR_CODE::CUDA_ERROR).str(), prefix + runtimeText(error));
    const cudaError_t left = errorLeftAfterReading(error);
    EXPECT_EQ(vela::toVerbose(vela::ERROR_CODE::CUDA_ERROR).str(),
              prefix + (left == cudaSuccess ? "no error" : runtimeText(left)));
}

}  // namespace

#pragma once

// What the GPU-path tests need to know about the device they run on. The same test sources build against
// the simulated device and against the real CUDA runtime; each build links its own implementation.

#include <gtest/gtest.h>

#include <cuda_runtime_api.h>

#include <cstddef>
#include <string>

namespace vela {
namespace test {

/// True in the build on the simulated device.
bool isSimulated();
/// True when a GPU (real or simulated) can run the test; otherwise `reason` says why not.
bool gpuAvailable(std::string* reason);
/// The runtime's answer to a first call when no GPU can be used (cudaSuccess when one can).
cudaError_t deviceStatus();
/// Makes the next call of `function` fail with `error`; false where failures cannot be injected.
bool injectFailure(const char* function, cudaError_t error);
/// What the device holds: live allocations on the simulated device, bytes in use (cudaMemGetInfo) on a
/// real one; equal before and after a test that frees everything.
size_t liveAllocations();
/// A fault of the device's own work, which every later call returns (cudaSuccess when none or where it
/// cannot be told apart from an ordinary error).
cudaError_t stickyError();
/// Makes 2-D copies refuse pitches above `bytes`, as a device with that maximum pitch would, until endTest;
/// false where the limit cannot be changed.
bool limitPitch(size_t bytes);
/// Ends a test: drops failures it injected but never reached and, after a fault, resets the device.
void endTest();

/// Base of the GPU-path tests: skips when no GPU can run them and checks that a test frees all the device
/// memory it allocated.
class GpuTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string reason;
        if (!gpuAvailable(&reason)) {
            GTEST_SKIP() << reason;
        }
        allocationsBefore = liveAllocations();
        cudaGetLastError();  // no error left pending by an earlier test
    }
    void TearDown() override {
        if (IsSkipped()) return;
        const cudaError_t fault = stickyError();
        EXPECT_EQ(fault, cudaSuccess) << "the device faulted: " << cudaGetErrorString(fault);
        if (fault == cudaSuccess) {
            EXPECT_EQ(liveAllocations(), allocationsBefore) << "device memory leaked";
        }
        endTest();
    }

  private:
    size_t allocationsBefore = 0;
};

}  // namespace test
}  // namespace vela

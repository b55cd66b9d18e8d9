// The simulated GPU must reject what a real one rejects; otherwise GPU-path tests would pass here and fail
// on hardware.

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "kernels/kernels.hpp"
#include "sim_device.hpp"

namespace {

using vela::sim::Kind;

class SimDevice : public ::testing::Test {
  protected:
    void SetUp() override { before = vela::sim::liveAllocations(); }
    void TearDown() override {
        vela::sim::reset();
        EXPECT_EQ(vela::sim::liveAllocations(), before);
    }
    size_t before = 0;
};

TEST_F(SimDevice, pitched_rows_are_padded_to_512_bytes) {
    void* ptr = nullptr;
    size_t pitch = 0;
    ASSERT_EQ(cudaMallocPitch(&ptr, &pitch, 1280 * 3, 2), cudaSuccess);
    EXPECT_EQ(pitch, 4096u);  // 3840 rounded up
    EXPECT_EQ(cudaFree(ptr), cudaSuccess);
    ASSERT_EQ(cudaMallocPitch(&ptr, &pitch, 1, 1), cudaSuccess);
    EXPECT_EQ(pitch, 512u);
    EXPECT_EQ(cudaFree(ptr), cudaSuccess);
}

TEST_F(SimDevice, allocations_are_counted_by_kind_until_freed) {
    void* device = nullptr;
    void* managed = nullptr;
    void* mapped = nullptr;
    ASSERT_EQ(cudaMalloc(&device, 64), cudaSuccess);
    ASSERT_EQ(cudaMallocManaged(&managed, 64, cudaMemAttachGlobal), cudaSuccess);
    ASSERT_EQ(cudaHostAlloc(&mapped, 64, cudaHostAllocMapped), cudaSuccess);
    EXPECT_EQ(vela::sim::liveAllocations(), before + 3);
    EXPECT_EQ(vela::sim::kindOf(device), Kind::Device);
    EXPECT_EQ(vela::sim::kindOf(static_cast<char*>(device) + 63), Kind::Device);
    EXPECT_EQ(vela::sim::kindOf(static_cast<char*>(device) + 64), Kind::Unknown);
    EXPECT_EQ(vela::sim::kindOf(managed), Kind::Managed);
    EXPECT_EQ(vela::sim::kindOf(mapped), Kind::MappedPinned);

    void* deviceView = nullptr;
    EXPECT_EQ(cudaHostGetDevicePointer(&deviceView, mapped, 0), cudaSuccess);
    EXPECT_EQ(deviceView, mapped);  // unified addressing

    // Each kind goes back through its own release call only.
    EXPECT_EQ(cudaFreeHost(device), cudaErrorInvalidValue);
    EXPECT_EQ(cudaFree(mapped), cudaErrorInvalidValue);
    EXPECT_EQ(cudaFree(device), cudaSuccess);
    EXPECT_EQ(cudaFree(device), cudaErrorInvalidValue);  // twice
    EXPECT_EQ(cudaFree(managed), cudaSuccess);
    EXPECT_EQ(cudaFreeHost(mapped), cudaSuccess);
    EXPECT_EQ(cudaFree(nullptr), cudaSuccess);
    cudaGetLastError();
}

TEST_F(SimDevice, copies_whose_pointers_do_not_fit_their_kind_are_refused) {
    void* device = nullptr;
    ASSERT_EQ(cudaMalloc(&device, 16), cudaSuccess);
    std::vector<unsigned char> host(16, 7);

    EXPECT_EQ(cudaMemcpy(host.data(), host.data() + 8, 8, cudaMemcpyHostToDevice), cudaErrorInvalidValue);
    EXPECT_EQ(cudaMemcpy(device, host.data(), 16, cudaMemcpyDeviceToHost), cudaErrorInvalidValue);
    EXPECT_EQ(cudaMemcpy(host.data(), device, 16, cudaMemcpyHostToHost), cudaErrorInvalidValue);
    EXPECT_EQ(cudaMemcpy(device, host.data(), 17, cudaMemcpyHostToDevice),
              cudaErrorInvalidValue);  // past the end
    EXPECT_EQ(cudaMemcpy2D(device, 4, host.data(), 8, 8, 2, cudaMemcpyHostToDevice),
              cudaErrorInvalidPitchValue);

    ASSERT_EQ(cudaMemcpy(device, host.data(), 16, cudaMemcpyHostToDevice), cudaSuccess);
    std::vector<unsigned char> back(16, 0);
    ASSERT_EQ(cudaMemcpy(back.data(), device, 16, cudaMemcpyDefault), cudaSuccess);
    EXPECT_EQ(back, host);
    EXPECT_EQ(cudaFree(device), cudaSuccess);
    cudaGetLastError();
}

TEST_F(SimDevice, host_code_cannot_touch_device_memory) {
    void* device = nullptr;
    ASSERT_EQ(cudaMalloc(&device, 16), cudaSuccess);
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(std::memset(device, 0, 16), "");
    EXPECT_EQ(cudaFree(device), cudaSuccess);
}

TEST_F(SimDevice, last_error_is_kept_until_read_then_cleared) {
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
    EXPECT_EQ(cudaFree(reinterpret_cast<void*>(0x10)), cudaErrorInvalidValue);
    EXPECT_EQ(cudaPeekAtLastError(), cudaErrorInvalidValue);
    void* device = nullptr;
    ASSERT_EQ(cudaMalloc(&device, 16), cudaSuccess);  // success leaves the error pending
    EXPECT_EQ(cudaGetLastError(), cudaErrorInvalidValue);
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
    EXPECT_EQ(cudaFree(device), cudaSuccess);
}

TEST_F(SimDevice, injected_failure_fires_once) {
    vela::sim::failNextCall("cudaMalloc", cudaErrorMemoryAllocation);
    void* device = reinterpret_cast<void*>(0x1);
    EXPECT_EQ(cudaMalloc(&device, 16), cudaErrorMemoryAllocation);
    EXPECT_EQ(device, nullptr);
    EXPECT_EQ(cudaGetLastError(), cudaErrorMemoryAllocation);
    ASSERT_EQ(cudaMalloc(&device, 16), cudaSuccess);
    EXPECT_EQ(cudaFree(device), cudaSuccess);
}

TEST_F(SimDevice, managed_memory_attaches_whole_and_only_when_managed) {
    void* managed = nullptr;
    void* device = nullptr;
    ASSERT_EQ(cudaMallocManaged(&managed, 100, cudaMemAttachGlobal), cudaSuccess);
    ASSERT_EQ(cudaMalloc(&device, 100), cudaSuccess);
    cudaStream_t stream = nullptr;
    ASSERT_EQ(cudaStreamCreate(&stream), cudaSuccess);
    EXPECT_EQ(cudaStreamAttachMemAsync(stream, managed, 100, cudaMemAttachHost), cudaSuccess);
    EXPECT_EQ(cudaStreamAttachMemAsync(stream, managed, 0, cudaMemAttachSingle), cudaSuccess);
    EXPECT_EQ(cudaStreamAttachMemAsync(stream, managed, 50, cudaMemAttachHost), cudaErrorInvalidValue);
    EXPECT_EQ(cudaStreamAttachMemAsync(stream, device, 100, cudaMemAttachHost), cudaErrorInvalidValue);
    // The null stream stands for every stream: memory can be attached to it globally, never singly.
    EXPECT_EQ(cudaStreamAttachMemAsync(nullptr, managed, 0, cudaMemAttachGlobal), cudaSuccess);
    EXPECT_EQ(cudaStreamAttachMemAsync(nullptr, managed, 0, cudaMemAttachSingle), cudaErrorInvalidValue);
    void* empty = nullptr;
    EXPECT_EQ(cudaMallocManaged(&empty, 0, cudaMemAttachGlobal), cudaErrorInvalidValue);
    EXPECT_EQ(cudaStreamDestroy(stream), cudaSuccess);
    EXPECT_EQ(cudaStreamSynchronize(stream), cudaErrorInvalidResourceHandle);  // destroyed
    EXPECT_EQ(cudaFree(managed), cudaSuccess);
    EXPECT_EQ(cudaFree(device), cudaSuccess);
    cudaGetLastError();
}

TEST_F(SimDevice, kernels_run_on_device_memory_and_refuse_host_memory) {
    void* device = nullptr;
    size_t pitch = 0;
    ASSERT_EQ(cudaMallocPitch(&device, &pitch, 3 * sizeof(unsigned short), 2), cudaSuccess);
    auto* grid = static_cast<unsigned short*>(device);
    const size_t step = pitch;  // row steps are counted in bytes
    ASSERT_EQ(vela::cu_matSetToGPU<unsigned short>(0xBEEF, grid, 3, 2, step, nullptr), cudaSuccess);
    unsigned short back[2][3] = {};
    ASSERT_EQ(cudaMemcpy2D(back, sizeof(back[0]), device, pitch, sizeof(back[0]), 2, cudaMemcpyDeviceToHost),
              cudaSuccess);
    for (const auto& row : back)
        for (unsigned short value : row)
            EXPECT_EQ(value, 0xBEEF);

    std::vector<unsigned short> host(6);
    EXPECT_EQ(vela::cu_matSetToGPU<unsigned short>(1, host.data(), 3, 2, 6, nullptr),
              cudaErrorIllegalAddress);
    // A step shorter than the grid's rows, or a grid past the allocation, is an illegal address too.
    EXPECT_EQ(vela::cu_matSetToGPU<unsigned short>(1, grid, 3, 2, 5, nullptr), cudaErrorIllegalAddress);
    EXPECT_EQ(vela::cu_matSetToGPU<unsigned short>(1, grid, 3, 3, step, nullptr), cudaErrorIllegalAddress);
    vela::sim::failNextCall("cu_matSetToGPU", cudaErrorLaunchFailure);
    EXPECT_EQ(vela::cu_matSetToGPU<unsigned short>(1, grid, 3, 2, step, nullptr), cudaErrorLaunchFailure);
    EXPECT_EQ(cudaFree(device), cudaSuccess);
    cudaGetLastError();
}

}  // namespace

// The simulated GPU must reject what a real one rejects; otherwise GPU-path tests would pass here and fail
// on hardware.

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "kernels/grid_ops.hpp"
#include "kernels/kernels.hpp"
#include "kernels/launch.hpp"
#include "sim_device.hpp"

namespace {

using vela::sim::Kind;

class SimDevice : public ::testing::Test {
  protected:
    void SetUp() override { before = vela::sim::liveAllocations(); }
    void TearDown() override {
        vela::sim::reset();
        EXPECT_EQ(vela::sim::stickyError(), cudaSuccess) << "a test that faults resets the device itself";
        if (vela::sim::stickyError() != cudaSuccess) cudaDeviceReset();
        EXPECT_EQ(vela::sim::liveAllocations(), before);
    }
    size_t before = 0;
};

TEST_F(SimDevice, allocations_are_padded_and_counted_by_kind_until_freed) {
    void* device = nullptr;
    void* managed = nullptr;
    void* mapped = nullptr;
    size_t pitch = 0;
    ASSERT_EQ(cudaMallocPitch(&device, &pitch, 1280 * 3, 2), cudaSuccess);
    EXPECT_EQ(pitch, 4096u);  // 3840 rounded up to 512 bytes
    EXPECT_EQ(cudaFree(device), cudaSuccess);
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
    EXPECT_NE(deviceView, mapped) << "the device address of mapped memory may differ from its host address";
    EXPECT_EQ(vela::sim::kindOf(deviceView), Kind::MappedPinned);
    EXPECT_EQ(cudaFreeHost(deviceView), cudaErrorInvalidValue) << "only the address the allocator returned";

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

TEST_F(SimDevice, host_code_cannot_touch_device_memory) {
    void* device = nullptr;
    ASSERT_EQ(cudaMalloc(&device, 16), cudaSuccess);
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(std::memset(device, 0, 16), "");
    EXPECT_EQ(cudaFree(device), cudaSuccess);
}

TEST_F(SimDevice, last_error_is_kept_until_read_and_injected_failures_fire_once) {
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
    EXPECT_EQ(cudaFree(reinterpret_cast<void*>(0x10)), cudaErrorInvalidValue);
    EXPECT_EQ(cudaPeekAtLastError(), cudaErrorInvalidValue);
    void* device = nullptr;
    ASSERT_EQ(cudaMalloc(&device, 16), cudaSuccess);  // success leaves the error pending
    EXPECT_EQ(cudaGetLastError(), cudaErrorInvalidValue);
    EXPECT_EQ(cudaGetLastError(), cudaSuccess);
    EXPECT_EQ(cudaFree(device), cudaSuccess);
    // An injected failure is the call's own result, recorded as the last error, and fires once.
    vela::sim::failNextCall("cudaMalloc", cudaErrorMemoryAllocation);
    device = reinterpret_cast<void*>(0x1);
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

TEST_F(SimDevice, kernels_run_on_device_memory_and_fault_on_host_memory) {
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

    // A refused launch is that launch's own result and leaves the device usable.
    vela::sim::failNextCall("cudaLaunchKernel", cudaErrorLaunchFailure);
    EXPECT_EQ(vela::cu_matSetToGPU<unsigned short>(1, grid, 3, 2, step, nullptr), cudaErrorLaunchFailure);
    EXPECT_EQ(cudaGetLastError(), cudaErrorLaunchFailure);

    // A kernel on host memory launches, then faults when it runs: the fault is sticky, every later call
    // returns it, and only a reset recovers.
    std::vector<unsigned short> host(6);
    EXPECT_EQ(vela::cu_matSetToGPU<unsigned short>(1, host.data(), 3, 2, 6, nullptr), cudaSuccess);
    EXPECT_EQ(cudaDeviceSynchronize(), cudaErrorIllegalAddress);
    void* more = nullptr;
    EXPECT_EQ(cudaMalloc(&more, 16), cudaErrorIllegalAddress);
    EXPECT_EQ(cudaGetLastError(), cudaErrorIllegalAddress);
    EXPECT_EQ(cudaGetLastError(), cudaErrorIllegalAddress) << "reading a sticky error does not clear it";
    EXPECT_EQ(cudaFree(device), cudaErrorIllegalAddress);
    EXPECT_EQ(cudaDeviceReset(), cudaSuccess);
    EXPECT_EQ(vela::sim::liveAllocations(), before) << "the reset released every allocation";

    // A grid past its allocation faults the same way; so does a 16-byte access that is not aligned.
    ASSERT_EQ(cudaMallocPitch(&device, &pitch, 64, 2), cudaSuccess);
    EXPECT_EQ(
        vela::cu_matSetToGPU<unsigned short>(1, static_cast<unsigned short*>(device), 3, 3, pitch, nullptr),
        cudaSuccess);
    EXPECT_EQ(cudaStreamSynchronize(nullptr), cudaErrorIllegalAddress);
    EXPECT_EQ(cudaDeviceReset(), cudaSuccess);
    ASSERT_EQ(cudaMallocPitch(&device, &pitch, 64, 2), cudaSuccess);
    vela::launch::Pitched misaligned;
    misaligned.data = static_cast<unsigned char*>(device) + 4;
    misaligned.step = pitch;
    misaligned.rowBytes = 16;
    misaligned.rows = 1;
    misaligned.alignment = 16;
    vela::ops::Fill<uint4> fill{misaligned, uint4{}};
    EXPECT_EQ(vela::launch::run2d(fill, 1, 1, nullptr), cudaSuccess);
    EXPECT_EQ(cudaDeviceSynchronize(), cudaErrorMisalignedAddress);
    EXPECT_EQ(cudaDeviceReset(), cudaSuccess);

    // A fault of the kernel itself.
    ASSERT_EQ(cudaMalloc(&device, 16), cudaSuccess);
    vela::sim::faultNextKernel(cudaErrorLaunchFailure);
    EXPECT_EQ(
        vela::cu_matSetToGPU<unsigned short>(1, static_cast<unsigned short*>(device), 8, 1, 16, nullptr),
        cudaSuccess);
    EXPECT_EQ(cudaFree(device), cudaErrorLaunchFailure);
    EXPECT_EQ(cudaDeviceReset(), cudaSuccess);
}

// A launch outside the runtime's limits is refused by the launch itself: grid y and z up to 65535, x up to
// 2^31 - 1, at most 1024 threads per block.
TEST_F(SimDevice, launch_configuration_limits_are_the_runtime_s) {
    void* device = nullptr;
    ASSERT_EQ(cudaMalloc(&device, 4), cudaSuccess);
    vela::ops::Fill<unsigned int> fill{};
    fill.grid.data = static_cast<unsigned char*>(device);
    fill.grid.step = fill.grid.rowBytes = 4;
    fill.grid.rows = 1;
    const auto launch = [&](dim3 grid, dim3 block) {
        return vela::launch::enqueue(fill, 1, 1, vela::launch::Shape{grid, block}, nullptr);
    };
    EXPECT_EQ(launch(dim3(1, 65536), dim3(32, 8)), cudaErrorInvalidConfiguration);
    EXPECT_EQ(cudaGetLastError(), cudaErrorInvalidConfiguration);
    EXPECT_EQ(launch(dim3(1, 1, 65536), dim3(32, 8)), cudaErrorInvalidConfiguration);
    EXPECT_EQ(launch(dim3(2147483648u), dim3(32, 8)), cudaErrorInvalidConfiguration);
    EXPECT_EQ(launch(dim3(1), dim3(32, 33)), cudaErrorInvalidConfiguration) << "1056 threads";
    EXPECT_EQ(launch(dim3(1), dim3(1, 1, 65)), cudaErrorInvalidConfiguration);
    EXPECT_EQ(launch(dim3(0), dim3(32)), cudaErrorInvalidConfiguration);
    EXPECT_EQ(launch(dim3(2147483647u, 65535), dim3(1024)), cudaSuccess) << "the largest grid is legal";
    cudaDeviceReset();  // drops that grid rather than running it
    cudaGetLastError();
}

// Work on a stream runs when something orders it: the host sees the old bytes until then.
TEST_F(SimDevice, stream_work_is_deferred_until_synchronised) {
    void* device = nullptr;
    ASSERT_EQ(cudaMalloc(&device, 16), cudaSuccess);
    cudaStream_t stream = nullptr;
    ASSERT_EQ(cudaStreamCreate(&stream), cudaSuccess);
    unsigned char source[16];
    std::memset(source, 7, sizeof(source));
    unsigned char back[16] = {};
    ASSERT_EQ(cudaMemcpyAsync(device, source, 16, cudaMemcpyHostToDevice, stream), cudaSuccess);
    ASSERT_EQ(cudaMemcpyAsync(back, device, 16, cudaMemcpyDeviceToHost, stream), cudaSuccess);
    EXPECT_EQ(back[0], 0) << "nothing has run yet";
    EXPECT_EQ(vela::sim::pendingWork(), 2u);
    ASSERT_EQ(cudaStreamSynchronize(stream), cudaSuccess);
    EXPECT_EQ(back[15], 7);

    // A second stream's work does not run when the first is synchronised; the null stream's work waits for
    // both, and a synchronous copy waits for everything.
    cudaStream_t other = nullptr;
    ASSERT_EQ(cudaStreamCreate(&other), cudaSuccess);
    std::memset(source, 9, sizeof(source));
    ASSERT_EQ(cudaMemcpyAsync(device, source, 16, cudaMemcpyHostToDevice, other), cudaSuccess);
    ASSERT_EQ(cudaStreamSynchronize(stream), cudaSuccess);
    EXPECT_EQ(vela::sim::pendingWork(), 1u);
    ASSERT_EQ(cudaMemcpy(back, device, 16, cudaMemcpyDeviceToHost), cudaSuccess);
    EXPECT_EQ(back[0], 9);
    EXPECT_EQ(vela::sim::pendingWork(), 0u);

    // The documented default-stream handles are accepted.
    for (cudaStream_t handle : {cudaStreamLegacy, cudaStreamPerThread}) {
        ASSERT_EQ(cudaMemcpyAsync(back, device, 16, cudaMemcpyDeviceToHost, handle), cudaSuccess);
        EXPECT_EQ(cudaStreamSynchronize(handle), cudaSuccess);
    }
    EXPECT_EQ(cudaStreamDestroy(other), cudaSuccess);
    EXPECT_EQ(cudaStreamDestroy(stream), cudaSuccess);
    EXPECT_EQ(cudaFree(device), cudaSuccess);
}

// A device without concurrent managed access gives kernels all managed memory until the host synchronises.
TEST_F(SimDevice, without_concurrent_managed_access_the_host_waits_for_kernels) {
    vela::sim::setConcurrentManagedAccess(false);
    void* managed = nullptr;
    ASSERT_EQ(cudaMallocManaged(&managed, 64, cudaMemAttachGlobal), cudaSuccess);
    auto* floats = static_cast<float*>(managed);
    floats[0] = 1.0f;  // no kernel pending: the host may touch it
    ASSERT_EQ(vela::cu_matSetToGPU<float>(7.0f, floats, 16, 1, 64, nullptr), cudaSuccess);
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(floats[0] = 2.0f, "");
    ASSERT_EQ(cudaDeviceSynchronize(), cudaSuccess);
    EXPECT_EQ(floats[15], 7.0f);
    EXPECT_EQ(cudaFree(managed), cudaSuccess);
}

TEST_F(SimDevice, copies_keep_the_documented_rules) {
    // Pointers that do not fit the direction, or a range past the allocation, are refused.
    void* exact = nullptr;
    ASSERT_EQ(cudaMalloc(&exact, 16), cudaSuccess);
    std::vector<unsigned char> small(16, 7);

    EXPECT_EQ(cudaMemcpy(small.data(), small.data() + 8, 8, cudaMemcpyHostToDevice), cudaErrorInvalidValue);
    EXPECT_EQ(cudaMemcpy(exact, small.data(), 16, cudaMemcpyDeviceToHost), cudaErrorInvalidValue);
    EXPECT_EQ(cudaMemcpy(small.data(), exact, 16, cudaMemcpyHostToHost), cudaErrorInvalidValue);
    EXPECT_EQ(cudaMemcpy(exact, small.data(), 17, cudaMemcpyHostToDevice),
              cudaErrorInvalidValue);  // past the end
    EXPECT_EQ(cudaMemcpy2D(exact, 4, small.data(), 8, 8, 2, cudaMemcpyHostToDevice),
              cudaErrorInvalidPitchValue);

    ASSERT_EQ(cudaMemcpy(exact, small.data(), 16, cudaMemcpyHostToDevice), cudaSuccess);
    std::vector<unsigned char> back16(16, 0);
    ASSERT_EQ(cudaMemcpy(back16.data(), exact, 16, cudaMemcpyDefault), cudaSuccess);
    EXPECT_EQ(back16, small);
    EXPECT_EQ(cudaFree(exact), cudaSuccess);
    void* device = nullptr;
    size_t pitch = 0;
    ASSERT_EQ(cudaMallocPitch(&device, &pitch, 64, 4), cudaSuccess);
    std::vector<unsigned char> host(4 * 64, 1);
    // Pitches above the device's maximum are refused, a 1-D copy has none.
    vela::sim::setMaxPitch(256);
    EXPECT_EQ(cudaMemcpy2D(device, pitch, host.data(), 64, 64, 4, cudaMemcpyHostToDevice),
              cudaErrorInvalidPitchValue);
    int reported = 0;
    EXPECT_EQ(cudaDeviceGetAttribute(&reported, cudaDevAttrMaxPitch, 0), cudaSuccess);
    EXPECT_EQ(reported, 256);
    EXPECT_EQ(cudaMemcpy(device, host.data(), 256, cudaMemcpyHostToDevice), cudaSuccess);
    vela::sim::setMaxPitch(size_t{1} << 31);
    // Overlapping areas are refused.
    EXPECT_EQ(cudaMemcpy2D(device, pitch, device, pitch, 64, 2, cudaMemcpyDeviceToDevice),
              cudaErrorInvalidValue);
    EXPECT_EQ(cudaMemcpy(host.data() + 8, host.data(), 16, cudaMemcpyHostToHost), cudaErrorInvalidValue);
    // Mapped memory: the host address is host memory, its alias device memory; cudaMemcpyDefault takes both.
    void* mapped = nullptr;
    void* alias = nullptr;
    ASSERT_EQ(cudaHostAlloc(&mapped, 64, cudaHostAllocMapped), cudaSuccess);
    ASSERT_EQ(cudaHostGetDevicePointer(&alias, mapped, 0), cudaSuccess);
    EXPECT_EQ(cudaMemcpy(mapped, device, 64, cudaMemcpyDeviceToDevice), cudaErrorInvalidValue);
    EXPECT_EQ(cudaMemcpy(host.data(), alias, 64, cudaMemcpyHostToHost), cudaErrorInvalidValue);
    EXPECT_EQ(cudaMemcpy(alias, device, 64, cudaMemcpyDeviceToDevice), cudaSuccess);
    EXPECT_EQ(static_cast<unsigned char*>(mapped)[63], 1) << "both addresses reach the same bytes";
    EXPECT_EQ(cudaMemcpy(host.data(), alias, 64, cudaMemcpyDefault), cudaSuccess);
    cudaPointerAttributes attributes{};
    ASSERT_EQ(cudaPointerGetAttributes(&attributes, alias), cudaSuccess);
    EXPECT_EQ(attributes.hostPointer, mapped);
    EXPECT_EQ(attributes.devicePointer, alias);
    EXPECT_EQ(cudaFreeHost(mapped), cudaSuccess);
    EXPECT_EQ(cudaFree(device), cudaSuccess);
    cudaGetLastError();
}

}  // namespace

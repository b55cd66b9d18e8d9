// Where a Mat's buffers land on the simulated device, and how long they live.

#include <gtest/gtest.h>

#include <vela/vela.hpp>

#include "sim_device.hpp"

namespace vela {
namespace {

bool shareOneControlBlock(const std::shared_ptr<unsigned char>& a, const std::shared_ptr<unsigned char>& b) {
    return !a.owner_before(b) && !b.owner_before(a);
}

TEST(MatOnSimulatedDevice, each_memory_kind_lands_in_the_matching_allocation) {
    const size_t before = sim::liveAllocations();
    {
        Mat gpu(5, 3, MAT_TYPE::F32_C3, MEM::GPU);
        EXPECT_EQ(sim::kindOf(gpu.gpuBuffer.get()), sim::Kind::Device);
        EXPECT_EQ(gpu.stepGPU, sim::kPitchAlignment);
        const Mat mapped(5, 3, MAT_TYPE::F32_C3, MEM_BOTH);
        EXPECT_EQ(sim::kindOf(mapped.gpuBuffer.get()), sim::Kind::MappedPinned);
        EXPECT_EQ(sim::kindOf(mapped.cpuBuffer.get()), sim::Kind::MappedPinned);
        EXPECT_NE(mapped.cpuBuffer.get(), mapped.gpuBuffer.get()) << "the host and the device address apart";
        EXPECT_TRUE(shareOneControlBlock(mapped.cpuBuffer, mapped.gpuBuffer));
        EXPECT_EQ(mapped.gpuBuffer.use_count(), 2);
        const Mat managed(5, 3, MAT_TYPE::F32_C3, MEM_MANAGED);
        EXPECT_EQ(sim::kindOf(managed.gpuBuffer.get()), sim::Kind::Managed);
        EXPECT_TRUE(shareOneControlBlock(managed.cpuBuffer, managed.gpuBuffer));
        Mat host(5, 3, MAT_TYPE::F32_C3);
        EXPECT_EQ(sim::kindOf(host.cpuBuffer.get()), sim::Kind::Unknown) << "an ordinary host array";
        ASSERT_EQ(host.updateGPUfromCPU(), ERROR_CODE::SUCCESS);
        EXPECT_EQ(sim::kindOf(host.gpuBuffer.get()), sim::Kind::Device);
        EXPECT_EQ(host.stepGPU, sim::kPitchAlignment);
        ASSERT_EQ(gpu.updateCPUfromGPU(), ERROR_CODE::SUCCESS);
        EXPECT_EQ(sim::kindOf(gpu.cpuBuffer.get()), sim::Kind::Unknown);
        EXPECT_EQ(sim::liveAllocations(), before + 4);
    }
    EXPECT_EQ(sim::liveAllocations(), before);
}

// On a device without concurrent managed access, the host may read a managed Mat only after waiting for
// the GPU; updateCPUfromGPU is that wait.
TEST(MatOnSimulatedDevice, a_managed_mat_is_read_on_the_host_after_update) {
    sim::setConcurrentManagedAccess(false);
    {
        Mat managed(8, 2, MAT_TYPE::F32_C1, MEM_MANAGED);
        ASSERT_EQ(managed.setTo(2.5f, MEM::GPU), ERROR_CODE::SUCCESS);
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        EXPECT_DEATH(managed.getPtr<float>(MEM::CPU)[0] = 1.0f, "");
        ASSERT_EQ(managed.updateCPUfromGPU(), ERROR_CODE::SUCCESS);
        EXPECT_EQ(managed.getPtr<float>(MEM::CPU)[15], 2.5f);
    }
    sim::reset();
}

TEST(MatOnSimulatedDevice, a_moved_from_mat_keeps_the_buffer_alive_until_it_is_reallocated) {
    const size_t before = sim::liveAllocations();
    Mat source(4, 2, MAT_TYPE::U8_C1, MEM::GPU);
    Mat taker;
    ASSERT_EQ(source.move(taker), ERROR_CODE::SUCCESS);
    taker.free();
    EXPECT_EQ(sim::liveAllocations(), before + 1);
    source.alloc(4, 2, MAT_TYPE::U8_C1, MEM::CPU);
    EXPECT_EQ(sim::liveAllocations(), before);
}

}  // namespace
}  // namespace vela

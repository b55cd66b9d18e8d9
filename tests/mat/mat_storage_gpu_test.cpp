// Mat storage and ownership: allocation on every memory kind, release, sharing, move and swap, the
// one-line description, failure reports of allocation and release, and buffers shared across threads.

#include <gtest/gtest.h>

#include <vela/vela.hpp>

#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "mat/mat_kinds.hpp"
#include "support/device.hpp"

namespace vela {
namespace test {
namespace {

const std::string kAlloc = "void vela::Mat::alloc(size_t, size_t, vela::MAT_TYPE, vela::MEM)";

std::string report(const std::string& signature, int code, const std::string& text) {
    return "in " + signature + " : Err [" + std::to_string(code) + "]: " + text + ".\n";
}

using MatKinds = MatKindTest;
INSTANTIATE_TEST_SUITE_P(Mat, MatKinds, ::testing::ValuesIn(kAllKinds), kindName);

TEST_P(MatKinds, construction_describes_the_storage) {
    const MEM expected[] = {MEM::CPU,    MEM::GPU, MEM_UNIFIED, MEM_MANAGED,
                            MEM_UNIFIED, MEM::CPU, MEM::GPU,    MEM_BOTH};
    const Mat mat = make();
    EXPECT_EQ(mat.memType, expected[static_cast<int>(GetParam())]);
    EXPECT_TRUE(mat.initialized);
    EXPECT_EQ(mat.memoryOwner, owned());
    EXPECT_EQ(mat.channels, 3u);
    EXPECT_EQ(mat.pixelBytes, 12u);
    EXPECT_EQ(mat.getStepBytes(MEM_BOTH), 0u);
    EXPECT_EQ(mat.getStepBytes(MEM_UNIFIED), 0u);
    if (hasHost()) {
        EXPECT_EQ(mat.stepCPU, kRowBytes) << "host rows are packed";
    }
    if (hasGpu()) {
        EXPECT_GE(mat.stepGPU, kRowBytes);
    } else {
        EXPECT_EQ(mat.stepGPU, 0u);
    }
    const bool oneBuffer = hasHost() && hasGpu() && !twoBuffers();
    if (oneBuffer) {
        // Managed memory has one address; mapped memory a host and a device address, which may differ.
        EXPECT_TRUE(!mat.cpuBuffer.owner_before(mat.gpuBuffer) && !mat.gpuBuffer.owner_before(mat.cpuBuffer));
        if (mat.memType == MEM_MANAGED) {
            EXPECT_EQ(mat.cpuBuffer.get(), mat.gpuBuffer.get());
        }
        EXPECT_EQ(mat.stepGPU, kRowBytes);
        EXPECT_EQ(mat.getStepBytes(MEM_MANAGED), kRowBytes);
    }
    EXPECT_EQ(mat.getPtr<Element>(MEM::CPU) != nullptr, hasHost());
    EXPECT_EQ(mat.getPtr<Element>(MEM::GPU) != nullptr, hasGpu());
    EXPECT_EQ(mat.getPtr<Element>(MEM_BOTH), nullptr);
}

TEST_P(MatKinds, copies_share_the_buffers_and_keep_them_alive) {
    Mat source = make();
    fillWithPattern(source);
    Mat assigned(2, 2, MAT_TYPE::U8_C1);
    assigned = source;
    const Mat copy(source);
    for (const Mat* shared : {static_cast<const Mat*>(&assigned), &copy}) {
        EXPECT_EQ(shared->cpuBuffer.get(), source.cpuBuffer.get());
        EXPECT_EQ(shared->gpuBuffer.get(), source.gpuBuffer.get());
        EXPECT_EQ(shared->memType, source.memType);
        EXPECT_EQ(shared->timestamp, 42u);
        EXPECT_FALSE(shared->memoryOwner);
    }
    source.free();
    EXPECT_FALSE(source.initialized);
    EXPECT_TRUE(holdsPattern(copy, firstSide()));
}

// move(), std::move and swap hand over owned storage. A reference is refused by move(), copied by std::move
// and not carried over by swap.
TEST_P(MatKinds, move_and_swap_hand_over_owned_storage_only) {
    Mat source = make();
    fillWithPattern(source);
    source.userFlag = true;
    source.name = "cloud";
    const unsigned char* buffer = hasHost() ? source.cpuBuffer.get() : source.gpuBuffer.get();
    const auto bufferOf = [&](const Mat& mat) {
        return hasHost() ? mat.cpuBuffer.get() : mat.gpuBuffer.get();
    };
    Mat dst(2, 2, MAT_TYPE::U8_C1);
    const unsigned char* held = dst.cpuBuffer.get();
    EXPECT_EQ(source.move(dst), owned() ? ERROR_CODE::SUCCESS : ERROR_CODE::FAILURE);
    if (owned()) {
        EXPECT_FALSE(source.initialized || source.memoryOwner);
        EXPECT_TRUE(dst.initialized && dst.memoryOwner && dst.userFlag);
        EXPECT_EQ(bufferOf(dst), buffer);
        EXPECT_EQ(dst.timestamp, 42u);
        EXPECT_EQ(dst.memType, make().memType);
        EXPECT_TRUE(holdsPattern(dst, firstSide()));
        ASSERT_EQ(dst.move(source), ERROR_CODE::SUCCESS);
    } else {
        EXPECT_EQ(dst.cpuBuffer.get(), held);
        EXPECT_EQ(dst.width, 2u);
        EXPECT_TRUE(dst.memoryOwner);
    }

    Mat constructed(std::move(source));
    EXPECT_EQ(constructed.memoryOwner, owned());
    EXPECT_EQ(constructed.name, "cloud");
    EXPECT_TRUE(holdsPattern(constructed, firstSide()));
    EXPECT_EQ(source.initialized, !owned()) << "an owning source ends empty, a reference stays one";
    EXPECT_EQ(source.cpuBuffer == nullptr && source.gpuBuffer == nullptr, owned());
    Mat assigned(2, 2, MAT_TYPE::U8_C1);
    assigned = std::move(constructed);
    EXPECT_EQ(assigned.memoryOwner, owned());
    EXPECT_EQ(bufferOf(assigned), buffer);
    assigned = std::move(assigned);
    EXPECT_TRUE(holdsPattern(assigned, firstSide())) << "a self-move changes nothing";

    Mat b(2, 2, MAT_TYPE::U8_C1);
    Mat::swap(assigned, b);
    EXPECT_EQ(assigned.width, 2u);
    EXPECT_TRUE(assigned.memoryOwner);
    EXPECT_EQ(b.memoryOwner, owned());
    if (owned()) {
        EXPECT_TRUE(holdsPattern(b, firstSide()));
    } else {
        EXPECT_FALSE(b.initialized) << "a reference is not carried over";
    }
}

TEST(MatMove, a_growing_vector_keeps_every_element_owning) {
    std::vector<Mat> mats;
    for (size_t i = 0; i < 9; ++i) {
        mats.push_back(Mat(4, 2, MAT_TYPE::F32_C1));
        ASSERT_EQ(mats.back().setTo(static_cast<float>(i)), ERROR_CODE::SUCCESS);
    }
    for (size_t i = 0; i < mats.size(); ++i) {
        EXPECT_TRUE(mats[i].isMemoryOwner());
        float value = 0;
        EXPECT_EQ(mats[i].getValue(3, 1, &value), ERROR_CODE::SUCCESS);
        EXPECT_EQ(value, static_cast<float>(i));
    }
}

TEST_P(MatKinds, free_of_the_host_side_keeps_only_an_owned_gpu_buffer) {
    Mat mat = make();
    mat.free(MEM::CPU);
    EXPECT_EQ(mat.initialized, GetParam() == Kind::Gpu);
    mat.free(MEM::GPU);
    EXPECT_FALSE(mat.initialized);
    EXPECT_FALSE(mat.memoryOwner);
    EXPECT_EQ(mat.width + mat.height + mat.channels + mat.stepCPU + mat.stepGPU + mat.pixelBytes, 0u);
}

TEST(MatLayout, type_table_gives_channels_and_element_bytes) {
    const size_t expected[][2] = {{1, 4}, {2, 8}, {3, 12}, {4, 16}, {1, 1},
                                  {2, 2}, {3, 3}, {4, 4},  {1, 2},  {4, 4}};
    for (int type = 0; type < 10; ++type) {
        const Mat mat(3, 2, static_cast<MAT_TYPE>(type));
        EXPECT_EQ(mat.channels, expected[type][0]) << type;
        EXPECT_EQ(mat.pixelBytes, expected[type][1]) << type;
        EXPECT_EQ(mat.stepCPU, 3 * expected[type][1]) << type;
        EXPECT_EQ(mat.stepGPU, 0u) << type;
    }
    const Mat unknown(3, 2, static_cast<MAT_TYPE>(12));
    EXPECT_EQ(unknown.channels + unknown.pixelBytes, 0u);
    EXPECT_TRUE(unknown.memoryOwner);
}

TEST(MatLayout, unknown_memory_is_reported_and_leaves_an_owner_without_buffers) {
    testing::internal::CaptureStdout();
    const Mat seven(4, 2, MAT_TYPE::U8_C1, static_cast<MEM>(7));
    const Mat zero(4, 2, MAT_TYPE::U8_C1, static_cast<MEM>(0));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "ERROR ALLOC MEM TYPE 7\n");
    for (const Mat* mat : {&seven, &zero}) {
        EXPECT_TRUE(mat->initialized && mat->memoryOwner);
        EXPECT_EQ(mat->cpuBuffer, nullptr);
        EXPECT_EQ(mat->gpuBuffer, nullptr);
    }
    EXPECT_EQ(toValue(seven.memType), 7);
}

TEST(MatLayout, ref_of_an_empty_mat_empties_the_target_and_self_assignment_keeps_it) {
    Mat mat(4, 2, MAT_TYPE::U8_C1);
    Mat& same = mat;
    mat = same;
    EXPECT_TRUE(mat.memoryOwner);
    EXPECT_EQ(mat.move(same), ERROR_CODE::SUCCESS);
    EXPECT_TRUE(mat.initialized && mat.memoryOwner);
    mat.ref(Mat(0, 5, MAT_TYPE::U8_C1));
    EXPECT_FALSE(mat.initialized) << "a grid without elements is not shared";
    EXPECT_EQ(mat.width, 0u);
}

class MatStorage : public GpuTest {};

TEST_F(MatStorage, freeing_one_side_of_two_owned_buffers_keeps_the_other) {
    Mat fromGpu(4, 2, MAT_TYPE::U8_C1, MEM::GPU);
    ASSERT_EQ(fromGpu.updateCPUfromGPU(), ERROR_CODE::SUCCESS);
    ASSERT_EQ(fromGpu.memType, MEM_BOTH);
    fromGpu.free(MEM::CPU);
    EXPECT_EQ(fromGpu.memType, MEM::GPU);
    EXPECT_EQ(fromGpu.cpuBuffer, nullptr);
    EXPECT_EQ(fromGpu.stepCPU, 0u);
    EXPECT_NE(fromGpu.gpuBuffer, nullptr);
    fromGpu.free(MEM::GPU);
    EXPECT_FALSE(fromGpu.initialized);

    Mat fromHost(4, 2, MAT_TYPE::U8_C1);
    ASSERT_EQ(fromHost.updateGPUfromCPU(), ERROR_CODE::SUCCESS);
    fromHost.free(MEM::GPU);
    EXPECT_EQ(fromHost.memType, MEM::CPU);
    EXPECT_EQ(fromHost.gpuBuffer, nullptr);
    EXPECT_EQ(fromHost.stepGPU, 0u);
    EXPECT_TRUE(fromHost.initialized);
}

TEST_F(MatStorage, infos_describe_each_state) {
    Mat empty;
    EXPECT_EQ(empty.getInfos().str(), "n/a vela::Mat not initialised");
    empty.name = "";
    std::ostringstream address;
    address << static_cast<const void*>(&empty);
    EXPECT_EQ(empty.getInfos().str(), address.str() + " vela::Mat not initialised");

    Mat left(1280, 720, MAT_TYPE::U8_C4, MEM::GPU);
    left.name = "left";
    EXPECT_EQ(left.getInfos().str(),
              "left Ts 0 vela::Mat of size [1280,720], with 4 channels of type uchar allocated on GPU "
              "(memory owned).\n");
    const Mat view(left);
    EXPECT_EQ(view.getInfos().str(),
              "n/a Ts 0 vela::Mat of size [1280,720], with 4 channels of type uchar allocated on GPU "
              "(reference only).\n");
    Mat host(3, 2, MAT_TYPE::F32_C1);
    host.timestamp = 1700000000123456789u;
    EXPECT_EQ(host.getInfos().str(),
              "n/a Ts 1700000000123456789 vela::Mat of size [3,2], with 1 channels of type float allocated "
              "on CPU (memory owned).\n");
    EXPECT_EQ(
        Mat(2, 2, MAT_TYPE::U16_C1, MEM_BOTH).getInfos().str(),
        "n/a Ts 0 vela::Mat of size [2,2], with 1 channels of type short allocated on  (memory owned).\n");
    EXPECT_EQ(
        Mat(2, 2, MAT_TYPE::S8_C4, MEM_MANAGED).getInfos().str(),
        "n/a Ts 0 vela::Mat of size [2,2], with 4 channels of type char allocated on  (memory owned).\n");
    unsigned char hostBytes[8];
    EXPECT_EQ(Mat(2, 1, MAT_TYPE::U8_C4, hostBytes, 8, left.gpuBuffer.get(), left.stepGPU).getInfos().str(),
              "n/a Ts 0 vela::Mat of size [2,1], with 4 channels of type uchar allocated on both CPU and GPU "
              "(reference only).\n");
    Mat small(2, 1, MAT_TYPE::U8_C2, MEM::GPU);
    ASSERT_EQ(small.updateCPUfromGPU(), ERROR_CODE::SUCCESS);
    EXPECT_EQ(small.getInfos().str(),
              "n/a Ts 0 vela::Mat of size [2,1], with 2 channels of type uchar allocated on both CPU and GPU "
              "(memory owned).\n");
    Mat taker;
    ASSERT_EQ(left.move(taker), ERROR_CODE::SUCCESS);
    EXPECT_EQ(left.getInfos().str(), "left vela::Mat not initialised");
}

TEST_F(MatStorage, failed_allocation_calls_are_reported_and_the_mat_still_owns) {
    struct Case {
        MEM mem;
        const char* call;
        std::string printed;
    };
    const std::string outOfMemory = report(kAlloc, 2, "out of memory");
    const Case cases[] = {
        {MEM::GPU, "cudaMallocPitch", outOfMemory},
        {MEM_MANAGED, "cudaMallocManaged", outOfMemory},
        {MEM_BOTH, "cudaHostAlloc", outOfMemory + report(kAlloc, 1, "invalid argument")},
        {MEM_BOTH, "cudaHostGetDevicePointer", outOfMemory},
    };
    for (const Case& c : cases) {
        if (!injectFailure(c.call, cudaErrorMemoryAllocation)) GTEST_SKIP() << "failures cannot be injected";
        testing::internal::CaptureStdout();
        const Mat mat(4, 2, MAT_TYPE::U8_C1, c.mem);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), c.printed) << c.call;
        EXPECT_TRUE(mat.initialized && mat.memoryOwner) << c.call;
    }
}

TEST_F(MatStorage, failed_release_is_reported_by_the_deleter) {
    const std::string lambda =
        "(unsigned char*, std::shared_ptr<unsigned char>&, bool)::<lambda(unsigned char*)>";
    struct Case {
        MEM mem;
        const char* call;
        std::string signature;
        cudaError_t (*release)(void*);
    };
    const Case cases[] = {
        {MEM::GPU, "cudaFree", "vela::make_cuda_shared" + lambda, cudaFree},
        {MEM_MANAGED, "cudaFree", "vela::make_cuda_shared" + lambda, cudaFree},
        {MEM_BOTH, "cudaFreeHost", "vela::make_cuda_mapped_shared" + lambda, cudaFreeHost},
    };
    for (const Case& c : cases) {
        void* block = nullptr;
        {
            const Mat mat(4, 2, MAT_TYPE::U8_C1, c.mem);
            block =
                c.mem == MEM_BOTH ? mat.cpuBuffer.get() : mat.gpuBuffer.get();  // what the allocator returned
            if (!injectFailure(c.call, cudaErrorLaunchFailure)) GTEST_SKIP() << "failures cannot be injected";
            testing::internal::CaptureStdout();
        }
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  report(c.signature, 719, "unspecified launch failure"));
        EXPECT_EQ(c.release(block), cudaSuccess);
    }
}

// Mats sharing one buffer are copied and destroyed on several threads while the owner goes away; the last
// one, on whichever thread, releases the buffer exactly once (the fixture checks that nothing is left).
TEST_F(MatStorage, copies_on_many_threads_release_a_shared_buffer_once) {
    constexpr int kThreads = 8;
    for (MEM mem : {MEM::CPU, MEM::GPU, MEM_BOTH}) {
        auto owner = std::make_unique<Mat>(64, 16, MAT_TYPE::U8_C4, mem);
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([mine = std::make_unique<Mat>(*owner)]() mutable {
                for (int i = 0; i < 2000; ++i) {
                    Mat copy(*mine);
                    Mat assigned;
                    assigned = copy;
                    mine->ref(assigned);
                }
                mine.reset();
            });
        }
        owner.reset();
        for (std::thread& thread : threads)
            thread.join();
    }
}

}  // namespace
}  // namespace test
}  // namespace vela

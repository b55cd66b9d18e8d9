// Injected faults on the simulated device: each runtime call of each operation failing in turn is reported
// and leaves the Mats usable, and a host allocation the allocator refuses leaves the Mat owning nothing.

#include <gtest/gtest.h>

#include <vela/vela.hpp>

#include <atomic>
#include <cstdlib>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include "sim_device.hpp"
#include "support/log_capture.hpp"

// The test executable's host allocator refuses arrays past 1 TiB, as one on a machine with less memory
// would, by throwing: the sanitizers' allocators abort on such requests instead. Everything else is served
// by malloc, so that arrays are released consistently whoever releases them.
// A test may lower the limit for a while to make an ordinary allocation fail.
namespace {
constexpr size_t kLargestArray = size_t{1} << 40;
std::atomic<size_t> largestArray{kLargestArray};
}  // namespace

void* operator new[](size_t bytes) {
    if (bytes > largestArray.load()) throw std::bad_alloc();
    if (void* block = std::malloc(bytes == 0 ? 1 : bytes)) return block;
    throw std::bad_alloc();
}
void* operator new[](size_t bytes, const std::nothrow_t&) noexcept {
    return bytes > largestArray.load() ? nullptr : std::malloc(bytes == 0 ? 1 : bytes);
}
void operator delete[](void* block) noexcept {
    std::free(block);
}
void operator delete[](void* block, size_t) noexcept {
    std::free(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
    std::free(block);
}

namespace vela {
namespace {

const std::string kAlloc = "void vela::Mat::alloc(size_t, size_t, vela::MAT_TYPE, vela::MEM)";

constexpr cudaError_t kInjected = cudaErrorLaunchFailure;

std::string report(const std::string& signature, int code, const std::string& text) {
    return "in " + signature + " : Err [" + std::to_string(code) + "]: " + text + ".\n";
}

// ---- Faults the module tests do not reach ----

TEST(FaultInjection, a_refused_host_array_leaves_the_mat_owning_nothing) {
    constexpr size_t kSide = size_t{1} << 30;  // 2^60 one-byte elements: the size fits, the memory does not
    const std::string refused = " cannot allocate 1152921504606846976 bytes of host memory.";
    test::LogCapture log(LOGGER_NAME::VELA, LOG_LEVEL::ERROR);
    const size_t before = sim::liveAllocations();
    {
        const Mat host(kSide, kSide, MAT_TYPE::U8_C1);
        EXPECT_TRUE(host.initialized && host.memoryOwner);
        EXPECT_EQ(host.cpuBuffer, nullptr);
        EXPECT_EQ(host.stepCPU, kSide) << "described as after a failed runtime allocation";

        sim::failNextCall("cudaMallocPitch", cudaErrorMemoryAllocation);
        testing::internal::CaptureStdout();
        Mat gpu(kSide, kSide, MAT_TYPE::U8_C1, MEM::GPU);
        EXPECT_EQ(gpu.updateCPUfromGPU(), ERROR_CODE::FAILURE);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), report(kAlloc, 2, "out of memory"));
        EXPECT_EQ(gpu.memType, MEM::GPU) << "no host side was added";
        EXPECT_EQ(gpu.cpuBuffer, nullptr);
    }
    EXPECT_EQ(log.texts(),
              (std::vector<std::string>{"[Mat]  alloc" + refused, "[Mat]  updateCPUfromGPU" + refused}));
    EXPECT_EQ(sim::liveAllocations(), before);
}

TEST(FaultInjection, a_read_whose_allocation_fails_leaves_the_mat_as_it_was) {
    const std::string path = ::testing::TempDir() + "vela_read_allocation.png";
    Mat image(32, 32, MAT_TYPE::U8_C3);
    EXPECT_EQ(image.setTo(Vector3<unsigned char>(1, 2, 3)), ERROR_CODE::SUCCESS);
    ASSERT_EQ(image.write(path.c_str()), ERROR_CODE::SUCCESS);
    Mat mat(4, 4, MAT_TYPE::U16_C1);
    EXPECT_EQ(mat.setTo<uint16_t>(4321), ERROR_CODE::SUCCESS);
    const unsigned char* buffer = mat.cpuBuffer.get();
    test::LogCapture log(LOGGER_NAME::VELA, LOG_LEVEL::ERROR);
    largestArray = 1024;  // the decoded image fits, its host array of 3072 bytes does not
    const ERROR_CODE status = mat.read(path.c_str());
    largestArray = kLargestArray;
    EXPECT_EQ(status, ERROR_CODE::FAILURE);
    EXPECT_EQ(mat.cpuBuffer.get(), buffer);
    EXPECT_EQ(mat.width, 4u);
    EXPECT_EQ(mat.dataType, MAT_TYPE::U16_C1);
    uint16_t value = 0;
    EXPECT_EQ(mat.getValue(3, 3, &value), ERROR_CODE::SUCCESS);
    EXPECT_EQ(value, 4321);
    EXPECT_EQ(log.texts(),
              std::vector<std::string>{"[Mat]  alloc cannot allocate 3072 bytes of host memory."});
    std::remove(path.c_str());
}

// A source whose buffer could not be allocated converts into nothing: the destination keeps its buffer.
TEST(FaultInjection, conversion_of_a_source_without_a_buffer_leaves_the_destination) {
    const size_t before = sim::liveAllocations();
    {
        Mat missing;
        sim::failNextCall("cudaMallocPitch", kInjected);
        testing::internal::CaptureStdout();
        missing.alloc(4, 2, MAT_TYPE::U8_C4, MEM::GPU);
        Mat kept(4, 2, MAT_TYPE::S8_C4, MEM::GPU);
        const unsigned char* buffer = kept.gpuBuffer.get();
        EXPECT_EQ(convertImage(missing, kept), ERROR_CODE::FAILURE);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), report(kAlloc, 719, "unspecified launch failure"));
        EXPECT_EQ(kept.gpuBuffer.get(), buffer);
    }
    EXPECT_EQ(sim::liveAllocations(), before);
}

// ---- Each runtime call of each operation failing in turn ----

// Mats of every memory kind, made before the failures are armed.
struct Workload {
    cudaStream_t stream = nullptr;
    Mat spare, host{5, 3, MAT_TYPE::U8_C4}, gpu{5, 3, MAT_TYPE::U8_C4, MEM::GPU},
        mapped{5, 3, MAT_TYPE::U8_C4, MEM_BOTH}, managed{5, 3, MAT_TYPE::U8_C4, MEM_MANAGED}, copy, converted,
        cloud{4, 3, MAT_TYPE::F32_C4, MEM::GPU}, depth{4, 3, MAT_TYPE::F32_C1, MEM_BOTH},
        points{4, 3, MAT_TYPE::F32_C3, MEM::GPU};
};
const Vector4<unsigned char> kPixel(1, 2, 3, 4);
struct Operation {
    const char* name;
    ERROR_CODE (*run)(Workload&);
    bool failureReturned = true;      // false where a failure is only reported (see the rows)
    const char* signature = nullptr;  // where given, the report's first line is under it
};
const Operation kOperations[] = {
    {"alloc",
     [](Workload& w) {
         w.copy.alloc(5, 3, MAT_TYPE::U8_C4, MEM::GPU);
         w.converted.alloc(5, 3, MAT_TYPE::U8_C4, MEM_BOTH);
         w.spare.alloc(5, 3, MAT_TYPE::U8_C4, MEM_MANAGED);
         const bool all = w.copy.gpuBuffer && w.converted.gpuBuffer && w.spare.gpuBuffer;
         return all ? ERROR_CODE::SUCCESS : ERROR_CODE::FAILURE;
     }},
    // GPU element access reports a runtime failure and returns SUCCESS.
    {"setTo GPU", [](Workload& w) { return w.gpu.setTo(kPixel, MEM::GPU); }, false},
    {"setValue GPU", [](Workload& w) { return w.gpu.setValue(1, 1, kPixel, MEM::GPU); }, false},
    {"getValue GPU",
     [](Workload& w) {
         Vector4<unsigned char> read;
         return w.gpu.getValue(1, 1, &read, MEM::GPU);
     },
     false},
    {"copyTo CPU_GPU", [](Workload& w) { return w.host.copyTo(w.gpu, COPY_TYPE::CPU_GPU); }},
    {"setFrom GPU_CPU", [](Workload& w) { return w.mapped.setFrom(w.gpu, COPY_TYPE::GPU_CPU, w.stream); }},
    {"copyTo GPU_GPU", [](Workload& w) { return w.gpu.copyTo(w.copy, COPY_TYPE::GPU_GPU, w.stream); }},
    {"updateGPUfromCPU", [](Workload& w) { return w.host.updateGPUfromCPU(w.stream); }},
    {"updateCPUfromGPU", [](Workload& w) { return w.gpu.updateCPUfromGPU(); }},
    // The attachment decides the status of a managed update; a failed wait is reported only.
    {"managed updates",
     [](Workload& w) {
         const ERROR_CODE first = w.managed.updateCPUfromGPU(w.stream);
         return first != ERROR_CODE::SUCCESS ? first : w.managed.updateGPUfromCPU(w.stream);
     },
     false},
    {"mapped update", [](Workload& w) { return w.mapped.updateCPUfromGPU(w.stream); }},
    // clone does not return the failures of the copies it makes: they are reported only.
    {"clone", [](Workload& w) { return w.copy.clone(w.mapped); }, false},
    // A failed conversion launch is reported and the call succeeds.
    {"convertImage", [](Workload& w) { return convertImage(w.gpu, w.converted, w.stream); }, false},
    {"convertUnit",
     [](Workload& w) { return convertUnit(w.cloud, UNIT::METER, UNIT::MILLIMETER, MEM::GPU); }},
    {"convertCoordinateSystem",
     [](Workload& w) {
         return convertCoordinateSystem(w.cloud, COORDINATE_SYSTEM::IMAGE,
                                        COORDINATE_SYSTEM::RIGHT_HANDED_Z_UP, MEM::GPU);
     }},
    {"transformPointCloud", [](Workload& w) { return transformPointCloud(w.cloud, Transform(), MEM::GPU); },
     true,
     "vela::ERROR_CODE vela::transformPointCloud(vela::Mat&, const vela::Transform&, vela::MEM, "
     "cudaStream_t)"},
    {"convertPointCloudUnit",
     [](Workload& w) { return convertPointCloudUnit(w.cloud, UNIT::METER, UNIT::MILLIMETER, MEM::GPU); },
     true,
     "vela::ERROR_CODE vela::convertPointCloudUnit(vela::Mat&, vela::UNIT, vela::UNIT, vela::MEM, "
     "cudaStream_t)"},
    {"depthToPointCloud",
     [](Workload& w) {
         CameraParameters camera;
         camera.fx = camera.fy = 2;
         camera.image_size = Resolution(4, 3);
         return depthToPointCloud(w.depth, camera, w.points, {}, MEM::GPU, w.stream);
     },
     true,
     "vela::ERROR_CODE vela::depthToPointCloud(const vela::Mat&, const vela::Mat&, const "
     "vela::CameraParameters&, "
     "vela::Mat&, const vela::DepthToPointCloudParameters&, vela::MEM, cudaStream_t)"},
};

// Fails the n-th runtime call of each operation, n = 1, 2, ... until the operation makes no more: every
// failure is reported under the library's signature with the runtime's code, no kernel runs on what the
// failure left missing, the Mats stay usable (the operation runs again cleanly) and nothing leaks.
TEST(FaultInjection, each_runtime_call_of_each_operation_failing_is_reported_and_frees_everything) {
    const size_t before = sim::liveAllocations();
    for (const Operation& operation : kOperations) {
        size_t n = 1;
        for (;; ++n) {
            const std::string at = std::string(operation.name) + ", call " + std::to_string(n) + ": ";
            bool failed = false;
            {
                Workload w;
                ASSERT_EQ(cudaStreamCreate(&w.stream), cudaSuccess);
                const size_t start = sim::callsMade();
                sim::failCallAfter(n, kInjected);
                testing::internal::CaptureStdout();
                const ERROR_CODE status = operation.run(w);
                const std::string printed = testing::internal::GetCapturedStdout();
                failed = sim::callsMade() - start >= n;
                sim::reset();
                EXPECT_TRUE(status == ERROR_CODE::SUCCESS ? !failed || !operation.failureReturned : failed)
                    << at << "the status";
                EXPECT_TRUE(failed || printed.empty()) << at << printed;
                EXPECT_TRUE(!failed ||
                            printed.find(" : Err [719]: unspecified launch failure.\n") != std::string::npos)
                    << at << printed;
                const std::string under =
                    std::string("in ") + (operation.signature ? operation.signature : "");
                EXPECT_TRUE(!failed || printed.rfind(under, 0) == 0) << at << printed;
                std::istringstream lines(printed);
                for (std::string line; std::getline(lines, line);) {
                    const size_t code = line.find(" : Err [");
                    ASSERT_TRUE(line.rfind("in ", 0) == 0 && code != std::string::npos && line.back() == '.')
                        << at << line;
                    EXPECT_NE(std::atoi(line.c_str() + code + 8), cudaErrorIllegalAddress) << at << line;
                }
                testing::internal::CaptureStdout();
                static_cast<void>(
                    operation.run(w));  // the status is not the point: the device must stay usable
                cudaStreamSynchronize(w.stream);
                const std::string again = testing::internal::GetCapturedStdout();
                EXPECT_EQ(sim::stickyError(), cudaSuccess) << at << "the Mats were left unusable: " << again;
                if (sim::stickyError() != cudaSuccess) cudaDeviceReset();
                cudaStreamDestroy(w.stream);
            }
            EXPECT_EQ(sim::liveAllocations(), before) << at;
            if (!failed) break;
        }
        EXPECT_GT(n, 1u) << operation.name << " makes no runtime call";
    }
    cudaGetLastError();
}

}  // namespace
}  // namespace vela

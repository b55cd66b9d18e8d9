// Grids at the edges of what a Mat can hold: empty and one-pixel grids on every memory kind, and sizes whose
// byte count overflows, which must never get a short buffer. Public interface only: these also run on the
// real CUDA runtime, where a runtime call made without a driver would print its failure.

#include <gtest/gtest.h>

#include <vela/vela.hpp>

#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include "support/device.hpp"
#include "support/log_capture.hpp"

namespace vela {
namespace test {
namespace {

using Element = Vector3<float>;
constexpr MAT_TYPE kType = MAT_TYPE::F32_C3;
constexpr size_t kElementBytes = 12;
const Element kValue(1.5f, -2.0f, 3.25f);

struct Grid {
    size_t width;
    size_t height;
};

// The sides a Mat of memory type `mem` can be read and written on.
std::vector<MEM> sidesOf(MEM mem) {
    if (mem == MEM::CPU) return {MEM::CPU};
    if (mem == MEM::GPU) return {MEM::GPU};
    return {MEM::CPU, MEM::GPU};
}

class SmallGrids : public GpuTest, public ::testing::WithParamInterface<std::tuple<MEM, Grid>> {
  protected:
    MEM mem() const { return std::get<0>(GetParam()); }
    size_t width() const { return std::get<1>(GetParam()).width; }
    size_t height() const { return std::get<1>(GetParam()).height; }
    bool onePixel() const { return width() == 1 && height() == 1; }
    /// MEM_BOTH is served by one mapped buffer.
    MEM memType() const { return mem() == MEM_BOTH ? MEM_UNIFIED : mem(); }
    bool hasSide(MEM side) const { return memType() == side || toValue(memType()) > toValue(MEM::GPU); }

    /// Whether `mat` is a grid of the parameter's size, and holds kValue on `side` when it has a pixel.
    ::testing::AssertionResult holdsTheGrid(const Mat& mat, MEM side) const {
        if (mat.width != width() || mat.height != height() || mat.dataType != kType)
            return ::testing::AssertionFailure() << "size or type differ";
        Element read;
        const ERROR_CODE status = mat.getValue(0, 0, &read, side);
        if (!onePixel()) {
            if (status == ERROR_CODE::SUCCESS)
                return ::testing::AssertionFailure() << "read outside the grid";
            return ::testing::AssertionSuccess();
        }
        if (status != ERROR_CODE::SUCCESS || read != kValue)
            return ::testing::AssertionFailure() << "no value";
        return ::testing::AssertionSuccess();
    }
};

const MEM kKinds[] = {MEM::CPU, MEM::GPU, MEM_BOTH, MEM_MANAGED, MEM_UNIFIED};
const Grid kGrids[] = {{0, 0}, {0, 3}, {3, 0}, {1, 1}};

std::string gridName(const ::testing::TestParamInfo<std::tuple<MEM, Grid>>& info) {
    const char* kinds[] = {"", "Cpu", "Gpu", "Both", "Managed", "Unified"};
    const Grid grid = std::get<1>(info.param);
    return std::string(kinds[toValue(std::get<0>(info.param))]) + std::to_string(grid.width) + "x" +
           std::to_string(grid.height);
}

INSTANTIATE_TEST_SUITE_P(Mat, SmallGrids,
                         ::testing::Combine(::testing::ValuesIn(kKinds), ::testing::ValuesIn(kGrids)),
                         gridName);

TEST_P(SmallGrids, allocation_and_element_access_work_without_a_runtime_report) {
    testing::internal::CaptureStdout();
    {
        Mat mat(width(), height(), kType, mem());
        EXPECT_TRUE(mat.initialized && mat.memoryOwner);
        EXPECT_EQ(mat.memType, memType());
        EXPECT_EQ(mat.width, width());
        EXPECT_EQ(mat.height, height());
        if (hasSide(MEM::CPU)) {
            EXPECT_EQ(mat.getStepBytes(MEM::CPU), width() * kElementBytes) << "host rows are packed";
        }
        if (hasSide(MEM::GPU)) {
            EXPECT_GE(mat.getStepBytes(MEM::GPU), width() * kElementBytes);
        }
        for (MEM side : sidesOf(memType()))
            EXPECT_EQ(mat.setTo(kValue, side), ERROR_CODE::SUCCESS) << toValue(side);
        ASSERT_EQ(cudaDeviceSynchronize(), cudaSuccess);
        for (MEM side : sidesOf(memType())) {
            EXPECT_TRUE(holdsTheGrid(mat, side)) << toValue(side);
            Element read;
            EXPECT_EQ(mat.getValue(width(), 0, &read, side), ERROR_CODE::FAILURE);
            EXPECT_EQ(mat.getValue(0, height(), &read, side), ERROR_CODE::FAILURE);
        }
        for (MEM side : sidesOf(memType())) {
            if (!onePixel()) break;  // no coordinate is inside an empty grid
            const Element written(7.0f, 8.0f, static_cast<float>(toValue(side)));
            Element read;
            EXPECT_EQ(mat.setValue(0, 0, written, side), ERROR_CODE::SUCCESS);
            EXPECT_EQ(mat.getValue(0, 0, &read, side), ERROR_CODE::SUCCESS);
            EXPECT_EQ(read, written);
        }
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_P(SmallGrids, copies_updates_and_clones_carry_the_grid_without_a_runtime_report) {
    Mat source(width(), height(), kType, mem());
    const MEM first = sidesOf(memType()).front();
    ASSERT_EQ(source.setTo(kValue, first), ERROR_CODE::SUCCESS);
    ASSERT_EQ(cudaDeviceSynchronize(), cudaSuccess);
    testing::internal::CaptureStdout();
    for (int value = 0; value < 4; ++value) {
        const auto type = static_cast<COPY_TYPE>(value);
        if (!hasSide(value < 2 ? MEM::CPU : MEM::GPU)) continue;  // the source lacks the side it would read
        const MEM written = value == 0 || value == 3 ? MEM::CPU : MEM::GPU;
        Mat copied;
        Mat set;
        EXPECT_EQ(source.copyTo(copied, type), ERROR_CODE::SUCCESS) << value;
        EXPECT_EQ(set.setFrom(source, type), ERROR_CODE::SUCCESS) << value;
        EXPECT_TRUE(holdsTheGrid(copied, written)) << value;
        EXPECT_TRUE(holdsTheGrid(set, written)) << value;
    }

    Mat copy;
    EXPECT_EQ(copy.clone(source), ERROR_CODE::SUCCESS);
    EXPECT_EQ(copy.memType, memType());
    for (MEM side : sidesOf(memType()))
        EXPECT_TRUE(holdsTheGrid(copy, side)) << toValue(side);

    // A single owned side gains the other one, then each side is brought in step with the other.
    const bool fromHost = hasSide(MEM::CPU);
    EXPECT_EQ(fromHost ? source.updateGPUfromCPU() : source.updateCPUfromGPU(), ERROR_CODE::SUCCESS);
    EXPECT_EQ(fromHost ? source.updateCPUfromGPU() : source.updateGPUfromCPU(), ERROR_CODE::SUCCESS);
    ASSERT_EQ(cudaDeviceSynchronize(), cudaSuccess);
    EXPECT_EQ(source.memType, toValue(memType()) <= toValue(MEM::GPU) ? MEM_BOTH : memType());
    for (MEM side : {MEM::CPU, MEM::GPU})
        EXPECT_TRUE(holdsTheGrid(source, side)) << toValue(side);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

// Sizes whose byte count passes size_t, each with the text its log message gives, worked by hand.
struct Hostile {
    size_t width;
    size_t height;
    MAT_TYPE type;
    const char* size;
};
constexpr size_t kTwoTo32 = size_t{1} << 32;
constexpr size_t kTwoTo62 = size_t{1} << 62;
constexpr size_t kTwoTo63 = size_t{1} << 63;
const Hostile kHostile[] = {
    // 2^64 + 2 bytes: a wrapped product would ask for 2.
    {kTwoTo63 + 1, 2, MAT_TYPE::U8_C1, "9223372036854775809 x 2 elements of 1 bytes"},
    // 2^66 bytes: the element count alone wraps to zero.
    {kTwoTo32, kTwoTo32, MAT_TYPE::U8_C4, "4294967296 x 4294967296 elements of 4 bytes"},
    // A row of 2^64 + 4 bytes: the row the runtime pads would wrap to 4.
    {kTwoTo62 + 1, 1, MAT_TYPE::F32_C1, "4611686018427387905 x 1 elements of 4 bytes"},
    // No rows, but a row that cannot be described.
    {kTwoTo62, 0, MAT_TYPE::F32_C1, "4611686018427387904 x 0 elements of 4 bytes"},
};

std::string overflowMessage(const char* operation, const std::string& size) {
    return std::string("[Mat]  ") + operation + " size overflows: " + size + ".";
}

// The state a failed allocation leaves: described, owning, without a buffer or a row step.
::testing::AssertionResult ownsNothing(const Mat& mat, MEM memType) {
    if (!mat.initialized || !mat.memoryOwner || mat.memType != memType)
        return ::testing::AssertionFailure() << "not an owner of memory type " << toValue(memType);
    if (mat.cpuBuffer != nullptr || mat.gpuBuffer != nullptr)
        return ::testing::AssertionFailure() << "a buffer";
    if (mat.stepCPU != 0 || mat.stepGPU != 0) return ::testing::AssertionFailure() << "a row step";
    return ::testing::AssertionSuccess();
}

TEST(HostileSizes, allocation_whose_size_overflows_is_logged_and_owns_nothing) {
    LogCapture log(LOGGER_NAME::VELA, LOG_LEVEL::ERROR);
    for (const Hostile& hostile : kHostile) {
        for (MEM mem : {MEM::CPU, MEM::GPU, MEM_BOTH, MEM_MANAGED}) {
            testing::internal::CaptureStdout();  // no runtime call is made, so nothing is reported
            {
                const Mat mat(hostile.width, hostile.height, hostile.type, mem);
                EXPECT_TRUE(ownsNothing(mat, mem == MEM_BOTH ? MEM_UNIFIED : mem)) << hostile.size;
                EXPECT_EQ(mat.width, hostile.width);
                EXPECT_EQ(mat.height, hostile.height);
            }
            EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << hostile.size;
            EXPECT_EQ(log.texts(), std::vector<std::string>{overflowMessage("alloc", hostile.size)});
        }
    }
}

TEST(HostileSizes, a_mat_that_owns_nothing_refuses_every_access_and_adds_no_side) {
    const Hostile& hostile = kHostile[0];
    Mat host(hostile.width, hostile.height, hostile.type);
    Mat gpu(hostile.width, hostile.height, hostile.type, MEM::GPU);
    LogCapture log(LOGGER_NAME::VELA, LOG_LEVEL::ERROR);
    testing::internal::CaptureStdout();
    unsigned char read = 1;
    for (Mat* mat : {&host, &gpu}) {
        const MEM side = mat->memType;
        EXPECT_EQ(mat->setTo<unsigned char>(5, side), ERROR_CODE::FAILURE);
        EXPECT_EQ(mat->setValue<unsigned char>(1, 1, 5, side), ERROR_CODE::FAILURE);
        EXPECT_EQ(mat->getValue(1, 1, &read, side), ERROR_CODE::FAILURE);
    }
    EXPECT_EQ(host.updateGPUfromCPU(), ERROR_CODE::FAILURE);
    EXPECT_EQ(gpu.updateCPUfromGPU(), ERROR_CODE::FAILURE);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_TRUE(ownsNothing(host, MEM::CPU));
    EXPECT_TRUE(ownsNothing(gpu, MEM::GPU));
    EXPECT_EQ(log.texts(), (std::vector<std::string>{overflowMessage("updateGPUfromCPU", hostile.size),
                                                     overflowMessage("updateCPUfromGPU", hostile.size)}));
    // Its element count wraps to zero, but the grid is not empty: a reference describes it.
    const Mat square(kTwoTo32, kTwoTo32, MAT_TYPE::U8_C1);
    const Mat view(square);
    EXPECT_TRUE(view.initialized);
    EXPECT_EQ(view.width, kTwoTo32);
    log.take();
}

TEST(HostileSizes, copies_of_a_size_that_cannot_be_held_leave_the_destination_alone) {
    const Hostile& hostile = kHostile[0];
    const Mat source(hostile.width, hostile.height, hostile.type);
    // Fits size_t, but not the 32-bit sizes on the way into a reallocated destination. It wraps no
    // memory: the copy must be refused before anything is read.
    const Mat wide(kTwoTo32 + 1, 1, MAT_TYPE::U8_C1, nullptr, kTwoTo32 + 1, MEM::CPU);
    LogCapture log(LOGGER_NAME::VELA, LOG_LEVEL::ERROR);
    Mat dst(2, 2, MAT_TYPE::U8_C1);
    const unsigned char* buffer = dst.cpuBuffer.get();
    EXPECT_EQ(source.copyTo(dst), ERROR_CODE::FAILURE);
    EXPECT_EQ(dst.setFrom(source, COPY_TYPE::GPU_CPU), ERROR_CODE::FAILURE);
    EXPECT_EQ(wide.copyTo(dst), ERROR_CODE::FAILURE);
    EXPECT_EQ(dst.width, 2u);
    EXPECT_EQ(dst.cpuBuffer.get(), buffer);
    EXPECT_EQ(log.texts(),
              (std::vector<std::string>{overflowMessage("copyTo", hostile.size),
                                        overflowMessage("setFrom", hostile.size),
                                        overflowMessage("copyTo", "4294967297 x 1 elements of 1 bytes")}));

    // The clone's own results are not inspected: it ends owning nothing, both steps logged.
    Mat copy;
    EXPECT_EQ(copy.clone(source), ERROR_CODE::SUCCESS);
    EXPECT_TRUE(ownsNothing(copy, MEM::CPU));
    EXPECT_EQ(log.texts(), (std::vector<std::string>{overflowMessage("alloc", hostile.size),
                                                     overflowMessage("setFrom", hostile.size)}));
}

}  // namespace
}  // namespace test
}  // namespace vela

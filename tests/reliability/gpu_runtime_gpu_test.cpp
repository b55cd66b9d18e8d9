// What a real GPU would break: grids taller than the launch limits, a launch status taken from someone
// else's error, reads that race an asynchronous copy, rows past the maximum pitch, accesses the alignment
// of a wrapped buffer does not allow. Public interface only; these also run on the real CUDA runtime.

#include <gtest/gtest.h>

#include <vela/vela.hpp>

#include <cstring>
#include <string>
#include <vector>

#include "support/device.hpp"
#include "support/float_bits.hpp"

namespace vela {
namespace test {
namespace {

using Point = Vector4<float>;

class GpuAsDocumented : public GpuTest {};

// 600,000 rows of one point: 75,000 blocks of eight rows, past the 65,535 a grid may have along y.
TEST_F(GpuAsDocumented, a_one_column_cloud_of_600000_points_is_filled_and_converted) {
    constexpr size_t kPoints = 600000;
    Mat cloud(1, kPoints, MAT_TYPE::F32_C4, MEM::GPU);
    const Point point(1.0f, -2.0f, 0.5f, 3.0f);
    testing::internal::CaptureStdout();
    ASSERT_EQ(cloud.setTo(point, MEM::GPU), ERROR_CODE::SUCCESS);
    EXPECT_EQ(convertUnit(cloud, UNIT::METER, UNIT::MILLIMETER, MEM::GPU), ERROR_CODE::SUCCESS);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    const std::vector<float> values = floatsOf(cloud, MEM::GPU);
    size_t wrong = 0;
    for (size_t i = 0; i < kPoints; ++i) {
        const float* p = &values[4 * i];
        wrong += p[0] != 1000.0f || p[1] != -2000.0f || p[2] != 500.0f || p[3] != 3.0f;
    }
    EXPECT_EQ(wrong, 0u) << "the last row was " << values[4 * kPoints - 4];
}

// A failed allocation leaves its error unread in the runtime; the next launch reports its own status.
TEST_F(GpuAsDocumented, a_failed_allocation_does_not_fail_the_next_conversion) {
    Mat cloud(4, 3, MAT_TYPE::F32_C3, MEM::GPU);
    ASSERT_EQ(cloud.setTo(Vector3<float>(1.0f, 2.0f, 3.0f), MEM::GPU), ERROR_CODE::SUCCESS);
    testing::internal::CaptureStdout();
    {
        const Mat huge(size_t{1} << 22, size_t{1} << 22, MAT_TYPE::F32_C4, MEM::GPU);  // 256 TiB
        EXPECT_EQ(huge.gpuBuffer, nullptr);
    }
    const std::string refused = testing::internal::GetCapturedStdout();
    EXPECT_NE(refused.find("Err [2]: out of memory"), std::string::npos) << refused;
    testing::internal::CaptureStdout();
    EXPECT_EQ(convertUnit(cloud, UNIT::METER, UNIT::CENTIMETER, MEM::GPU), ERROR_CODE::SUCCESS);
    EXPECT_EQ(convertCoordinateSystem(cloud, COORDINATE_SYSTEM::IMAGE, COORDINATE_SYSTEM::LEFT_HANDED_Y_UP,
                                      MEM::GPU),
              ERROR_CODE::SUCCESS);
    EXPECT_EQ(cloud.setTo(Vector3<float>(1.0f, 2.0f, 3.0f), MEM::GPU), ERROR_CODE::SUCCESS);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "a stale error was reported as the launch's";
    cudaGetLastError();
}

// A copy queued on a stream has not happened when the call returns; the library's synchronous paths have.
TEST_F(GpuAsDocumented, an_asynchronous_copy_is_read_only_after_synchronisation) {
    constexpr size_t kWidth = 64, kHeight = 16;
    Mat gpu(kWidth, kHeight, MAT_TYPE::U8_C4, MEM::GPU);
    ASSERT_EQ(gpu.setTo(Vector4<unsigned char>(9, 8, 7, 6), MEM::GPU), ERROR_CODE::SUCCESS);
    Mat host(kWidth, kHeight, MAT_TYPE::U8_C4);
    ASSERT_EQ(host.setTo(Vector4<unsigned char>(0, 0, 0, 0)), ERROR_CODE::SUCCESS);
    cudaStream_t stream = nullptr;
    ASSERT_EQ(cudaStreamCreate(&stream), cudaSuccess);
    ASSERT_EQ(gpu.copyTo(host, COPY_TYPE::GPU_CPU, stream), ERROR_CODE::SUCCESS);
    if (isSimulated()) {
        // The simulated device runs queued work only when something orders it, so a missing wait shows.
        EXPECT_EQ(host.cpuBuffer.get()[0], 0) << "the copy ran before anything waited for it";
    }
    ASSERT_EQ(cudaStreamSynchronize(stream), cudaSuccess);
    EXPECT_EQ(host.cpuBuffer.get()[4 * kWidth * kHeight - 1], 6);

    // The null stream's paths return with the data in place.
    ASSERT_EQ(gpu.setTo(Vector4<unsigned char>(1, 2, 3, 4), MEM::GPU), ERROR_CODE::SUCCESS);
    ASSERT_EQ(gpu.copyTo(host, COPY_TYPE::GPU_CPU), ERROR_CODE::SUCCESS);
    EXPECT_EQ(host.cpuBuffer.get()[4 * kWidth * kHeight - 1], 4);
    Vector4<unsigned char> read;
    ASSERT_EQ(gpu.getValue(kWidth - 1, kHeight - 1, &read, MEM::GPU), ERROR_CODE::SUCCESS);
    EXPECT_EQ(read, Vector4<unsigned char>(1, 2, 3, 4));
    Mat cloud(8, 2, MAT_TYPE::F32_C3, MEM_BOTH);
    ASSERT_EQ(cloud.setTo(Vector3<float>(1.0f, 1.0f, 1.0f), MEM::CPU), ERROR_CODE::SUCCESS);
    ASSERT_EQ(convertUnit(cloud, UNIT::METER, UNIT::CENTIMETER, MEM_BOTH), ERROR_CODE::SUCCESS);
    EXPECT_EQ(cloud.getPtr<float>(MEM::CPU)[47], 100.0f) << "MEM_BOTH waits for the kernel before returning";
    EXPECT_EQ(cudaStreamDestroy(stream), cudaSuccess);
}

// Rows longer than the device's maximum pitch (about 2 GiB: 134 M F32_C4 points) are copied row by row.
TEST_F(GpuAsDocumented, rows_past_the_maximum_pitch_are_copied_whole) {
    constexpr size_t kWidth = 1000, kHeight = 3;  // 16,000-byte rows
    if (!limitPitch(4096)) GTEST_SKIP() << "the maximum pitch of this device cannot be lowered";
    Mat host(kWidth, kHeight, MAT_TYPE::F32_C4);
    for (size_t y = 0; y < kHeight; ++y)
        for (size_t x = 0; x < kWidth; ++x)
            EXPECT_EQ(host.setValue(x, y, Point(float(x), float(y), 1.0f, 2.0f)), ERROR_CODE::SUCCESS);
    testing::internal::CaptureStdout();
    Mat gpu;
    EXPECT_EQ(host.copyTo(gpu, COPY_TYPE::CPU_GPU), ERROR_CODE::SUCCESS);
    Mat back;
    EXPECT_EQ(gpu.copyTo(back, COPY_TYPE::GPU_CPU), ERROR_CODE::SUCCESS);
    cudaStream_t stream = nullptr;
    ASSERT_EQ(cudaStreamCreate(&stream), cudaSuccess);
    Mat again(kWidth, kHeight, MAT_TYPE::F32_C4);
    EXPECT_EQ(again.setFrom(gpu, COPY_TYPE::GPU_CPU, stream), ERROR_CODE::SUCCESS);
    EXPECT_EQ(cudaStreamSynchronize(stream), cudaSuccess);
    EXPECT_EQ(cudaStreamDestroy(stream), cudaSuccess);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    ASSERT_NE(back.cpuBuffer, nullptr);
    EXPECT_EQ(std::memcmp(back.cpuBuffer.get(), host.cpuBuffer.get(), kWidth * kHeight * sizeof(Point)), 0);
    EXPECT_EQ(std::memcmp(again.cpuBuffer.get(), host.cpuBuffer.get(), kWidth * kHeight * sizeof(Point)), 0);
}

// A wrapped GPU buffer that starts 4 bytes past a 16-byte boundary takes no 16-byte accesses, and an
// image 1 byte past a word boundary no word accesses: a misaligned access faults on a GPU.
TEST_F(GpuAsDocumented, wrapped_buffers_off_the_wide_alignment_convert_correctly) {
    constexpr size_t kWidth = 5, kHeight = 3, kStep = 96;
    void* block = nullptr;
    ASSERT_EQ(cudaMalloc(&block, kStep * kHeight + 16), cudaSuccess);
    {
        Mat cloud(kWidth, kHeight, MAT_TYPE::F32_C4, static_cast<unsigned char*>(block) + 4, kStep, MEM::GPU);
        ASSERT_EQ(cloud.setTo(Point(1.0f, 2.0f, 3.0f, 4.0f), MEM::GPU), ERROR_CODE::SUCCESS);
        EXPECT_EQ(convertUnit(cloud, UNIT::METER, UNIT::CENTIMETER, MEM::GPU), ERROR_CODE::SUCCESS);
        EXPECT_EQ(convertCoordinateSystem(cloud, COORDINATE_SYSTEM::IMAGE,
                                          COORDINATE_SYSTEM::RIGHT_HANDED_Y_UP, MEM::GPU),
                  ERROR_CODE::SUCCESS);
        Point read;
        ASSERT_EQ(cloud.getValue(kWidth - 1, kHeight - 1, &read, MEM::GPU), ERROR_CODE::SUCCESS);
        EXPECT_EQ(read, Point(100.0f, -200.0f, -300.0f, 4.0f));

        Mat image(kWidth, kHeight, MAT_TYPE::U8_C4, static_cast<unsigned char*>(block) + 1, kStep, MEM::GPU);
        ASSERT_EQ(image.setTo(Vector4<unsigned char>(0, 128, 255, 1), MEM::GPU), ERROR_CODE::SUCCESS);
        Mat converted;
        ASSERT_EQ(convertImage(image, converted), ERROR_CODE::SUCCESS);
        Vector4<char> signedPixel;
        ASSERT_EQ(converted.getValue(kWidth - 1, kHeight - 1, &signedPixel, MEM::GPU), ERROR_CODE::SUCCESS);
        EXPECT_EQ(signedPixel, Vector4<char>(-128, 0, 127, -127));
    }
    EXPECT_EQ(cudaFree(block), cudaSuccess);
}

// The change of axes allocates nothing: its matrix travels in the launch.
TEST_F(GpuAsDocumented, a_change_of_axes_needs_no_device_allocation) {
    Mat cloud(3, 2, MAT_TYPE::F32_C4, MEM::GPU);
    ASSERT_EQ(cloud.setTo(Point(1.0f, 2.0f, 3.0f, 4.0f), MEM::GPU), ERROR_CODE::SUCCESS);
    if (!injectFailure("cudaMalloc", cudaErrorMemoryAllocation))
        GTEST_SKIP() << "failures cannot be injected";
    testing::internal::CaptureStdout();
    EXPECT_EQ(convertCoordinateSystem(cloud, COORDINATE_SYSTEM::IMAGE, COORDINATE_SYSTEM::RIGHT_HANDED_Z_UP,
                                      MEM::GPU),
              ERROR_CODE::SUCCESS);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

}  // namespace
}  // namespace test
}  // namespace vela

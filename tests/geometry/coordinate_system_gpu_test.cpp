// Unit scaling and change of axes of whole point clouds, on the host and on the GPU: the results against
// float arithmetic worked out here, packed colours whose bytes read as NaN or subnormal floats, row steps
// on both sides, the host refresh of MEM_BOTH, host against GPU bit for bit, and every refusal.

#include <gtest/gtest.h>

#include <vela/vela.hpp>

#include <cstdint>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "support/device.hpp"
#include "support/float_bits.hpp"

namespace vela {
namespace test {
namespace {

constexpr size_t kWidth = 5;
constexpr size_t kHeight = 3;

// A packed colour as the fourth float of a point carries it: bytes r, g, b, then the unused byte. With the
// unused byte 255 the float is NaN whenever b >= 128 (signalling when bit 6 of b is clear too); with 0 it
// is subnormal whenever b < 128.
float colour(uint8_t r, uint8_t g, uint8_t b, uint8_t unused) {
    return fromBits(static_cast<uint32_t>(r) | static_cast<uint32_t>(g) << 8 |
                    static_cast<uint32_t>(b) << 16 | static_cast<uint32_t>(unused) << 24);
}

const float kColours[] = {
    colour(10, 20, 0x80, 255),  // signalling NaN
    colour(1, 2, 0xC3, 255),    // quiet NaN
    colour(7, 0, 0x10, 255),    // negative normal
    colour(9, 8, 0x05, 0),      // subnormal
    colour(0, 0, 0, 0),         // zero
    colour(200, 100, 0x90, 0),  // tiny normal
};

size_t channelsOf(MAT_TYPE type) {
    return type == MAT_TYPE::F32_C1 ? 1 : type == MAT_TYPE::F32_C3 ? 3 : 4;
}

// Point i of a cloud: distinct non-zero coordinates that round differently under every scale, and a
// colour from the list above when there is a fourth float.
std::vector<float> cloudValues(MAT_TYPE type) {
    const size_t channels = channelsOf(type);
    std::vector<float> values;
    for (size_t i = 0; i < kWidth * kHeight; ++i) {
        const float base = 0.37f * static_cast<float>(i + 1);
        const float point[4] = {base, -2.5f * base + 0.1f, 1000.3f + base, kColours[i % 6]};
        values.insert(values.end(), point, point + channels);
    }
    return values;
}

// Writes `values` into side `side` of `mat`.
void setContent(Mat& mat, MEM side, const std::vector<float>& values) {
    Mat host(mat.width, mat.height, mat.dataType);
    std::memcpy(host.cpuBuffer.get(), values.data(), values.size() * sizeof(float));
    ASSERT_EQ(side == MEM::GPU ? mat.setFrom(host, COPY_TYPE::CPU_GPU) : host.copyTo(mat, COPY_TYPE::CPU_CPU),
              ERROR_CODE::SUCCESS);
}

Mat cloudOn(MAT_TYPE type, MEM side, const std::vector<float>& values) {
    Mat mat(kWidth, kHeight, type, side);
    setContent(mat, side == MEM::GPU ? MEM::GPU : MEM::CPU, values);
    return mat;
}

// Each float times `factor` as float multiplication defines it, the fourth float of F32_C4 points left
// alone when `keepFourth`.
std::vector<float> scaled(const std::vector<float>& values, MAT_TYPE type, float factor, bool keepFourth) {
    std::vector<float> result = values;
    for (size_t i = 0; i < result.size(); ++i) {
        if (!(keepFourth && type == MAT_TYPE::F32_C4 && i % 4 == 3)) result[i] = values[i] * factor;
    }
    return result;
}

// Points written in IMAGE from RIGHT_HANDED_Z_UP, (x, y, z) -> (x, -z, y); colours carried.
std::vector<float> zUpToImage(const std::vector<float>& values, MAT_TYPE type) {
    const size_t channels = channelsOf(type);
    std::vector<float> result = values;
    for (size_t i = 0; i < values.size(); i += channels) {
        result[i + 1] = -values[i + 2];
        result[i + 2] = values[i + 1];
    }
    return result;
}

// Each element type on each side a conversion can run on; MEM_BOTH starts from a GPU-only Mat, whose host
// copy it adds.
class CloudConversion : public GpuTest, public ::testing::WithParamInterface<std::tuple<MAT_TYPE, MEM>> {};
INSTANTIATE_TEST_SUITE_P(PointCloud, CloudConversion,
                         ::testing::Combine(::testing::Values(MAT_TYPE::F32_C1, MAT_TYPE::F32_C3,
                                                              MAT_TYPE::F32_C4),
                                            ::testing::Values(MEM::CPU, MEM::GPU, MEM_BOTH)));

// Unit scaling gives the float product of every float (the GPU keeps colours); the change of axes moves
// points and keeps the colour bits.
TEST_P(CloudConversion, units_scale_every_float_and_axes_move_points_keeping_colours) {
    const struct {
        MAT_TYPE type;
        MEM side;
    } c{std::get<0>(GetParam()), std::get<1>(GetParam())};
    const std::vector<float> values = cloudValues(c.type);
    const auto check = [&](const Mat& cloud, const std::vector<float>& expected) {
        if (c.side != MEM::CPU) {
            EXPECT_GT(cloud.stepGPU, kWidth * cloud.pixelBytes) << "rows are padded on the GPU";
            EXPECT_TRUE(sameBits(floatsOf(cloud, MEM::GPU), expected));
        }
        if (c.side != MEM::GPU) {
            EXPECT_EQ(cloud.getMemoryType(), c.side);
            EXPECT_TRUE(sameBits(floatsOf(cloud, MEM::CPU), expected));
        }
    };
    for (UNIT dst : {UNIT::MILLIMETER, UNIT::FOOT}) {
        Mat cloud = cloudOn(c.type, c.side == MEM::CPU ? MEM::CPU : MEM::GPU, values);
        ASSERT_EQ(convertUnit(cloud, UNIT::INCH, dst, c.side), ERROR_CODE::SUCCESS);
        const float factor = dst == UNIT::MILLIMETER ? 25.4f : 25.4f / 304.8f;
        check(cloud, scaled(values, c.type, factor, c.side != MEM::CPU));
    }
    if (c.type == MAT_TYPE::F32_C1) return;
    Mat cloud = cloudOn(c.type, c.side == MEM::CPU ? MEM::CPU : MEM::GPU, values);
    ASSERT_EQ(convertCoordinateSystem(cloud, COORDINATE_SYSTEM::RIGHT_HANDED_Z_UP, COORDINATE_SYSTEM::IMAGE,
                                      c.side),
              ERROR_CODE::SUCCESS);
    check(cloud, zUpToImage(values, c.type));
}

class PointCloudConversion : public GpuTest {};

TEST_F(PointCloudConversion, host_path_honours_the_row_step_of_a_wrapped_buffer) {
    constexpr size_t kRowFloats = kWidth * 3, kStepFloats = kRowFloats + 2;
    const float padding = fromBits(0x7FA00001);  // a signalling NaN, so any arithmetic on it shows
    std::vector<float> rows(kStepFloats * kHeight, padding);
    const std::vector<float> values = cloudValues(MAT_TYPE::F32_C3);
    for (size_t y = 0; y < kHeight; ++y)
        std::memcpy(&rows[y * kStepFloats], &values[y * kRowFloats], kRowFloats * sizeof(float));
    Mat wrapped(kWidth, kHeight, MAT_TYPE::F32_C3, reinterpret_cast<unsigned char*>(rows.data()),
                kStepFloats * sizeof(float), MEM::CPU);
    ASSERT_EQ(convertUnit(wrapped, UNIT::METER, UNIT::CENTIMETER, MEM::CPU), ERROR_CODE::SUCCESS);
    ASSERT_EQ(convertCoordinateSystem(wrapped, COORDINATE_SYSTEM::RIGHT_HANDED_Z_UP, COORDINATE_SYSTEM::IMAGE,
                                      MEM::CPU),
              ERROR_CODE::SUCCESS);
    const std::vector<float> expected =
        zUpToImage(scaled(values, MAT_TYPE::F32_C3, 100.0f, false), MAT_TYPE::F32_C3);
    for (size_t y = 0; y < kHeight; ++y) {
        const std::vector<float> row(rows.begin() + y * kStepFloats,
                                     rows.begin() + y * kStepFloats + kRowFloats);
        EXPECT_TRUE(sameBits(row, std::vector<float>(expected.begin() + y * kRowFloats,
                                                     expected.begin() + (y + 1) * kRowFloats)));
        EXPECT_EQ(bitsOf(rows[y * kStepFloats + kRowFloats]), bitsOf(padding)) << "row " << y;
        EXPECT_EQ(bitsOf(rows[y * kStepFloats + kRowFloats + 1]), bitsOf(padding)) << "row " << y;
    }
}

TEST_F(PointCloudConversion, mem_both_converts_the_gpu_copy_and_refreshes_the_host_copy) {
    const std::vector<float> values = cloudValues(MAT_TYPE::F32_C4);
    const std::vector<float> expected = scaled(values, MAT_TYPE::F32_C4, 0.001f, true);

    // Two wrapped buffers whose host copy is stale: it ends holding the converted GPU content.
    std::vector<float> hostRows(values.size(), 0.0f);
    size_t pitch = 0;
    void* gpuRows = nullptr;
    ASSERT_EQ(cudaMallocPitch(&gpuRows, &pitch, kWidth * 16, kHeight), cudaSuccess);
    {
        Mat both(kWidth, kHeight, MAT_TYPE::F32_C4, reinterpret_cast<unsigned char*>(hostRows.data()),
                 kWidth * 16, static_cast<unsigned char*>(gpuRows), pitch);
        setContent(both, MEM::GPU, values);
        ASSERT_EQ(convertUnit(both, UNIT::MILLIMETER, UNIT::METER, MEM_BOTH), ERROR_CODE::SUCCESS);
        EXPECT_TRUE(sameBits(hostRows, expected));
        EXPECT_TRUE(sameBits(floatsOf(both, MEM::GPU), expected));
    }
    cudaFree(gpuRows);

    // One mapped buffer seen by both sides.
    Mat mapped = cloudOn(MAT_TYPE::F32_C4, MEM_BOTH, values);
    ASSERT_EQ(convertCoordinateSystem(mapped, COORDINATE_SYSTEM::RIGHT_HANDED_Z_UP, COORDINATE_SYSTEM::IMAGE,
                                      MEM_BOTH),
              ERROR_CODE::SUCCESS);
    EXPECT_TRUE(sameBits(floatsOf(mapped, MEM::CPU), zUpToImage(values, MAT_TYPE::F32_C4)));

    // Managed memory is converted on the GPU side for GPU.
    Mat managed = cloudOn(MAT_TYPE::F32_C4, MEM_MANAGED, values);
    ASSERT_EQ(convertUnit(managed, UNIT::MILLIMETER, UNIT::METER, MEM::GPU), ERROR_CODE::SUCCESS);
    EXPECT_TRUE(sameBits(floatsOf(managed, MEM::CPU), expected));
}

TEST_F(PointCloudConversion, refusals_and_memory_kinds_without_a_path_leave_the_data) {
    using CS = COORDINATE_SYSTEM;
    const ERROR_CODE invalid = ERROR_CODE::INVALID_FUNCTION_PARAMETERS, ok = ERROR_CODE::SUCCESS;
    const std::vector<float> values = cloudValues(MAT_TYPE::F32_C4);
    Mat cloud = cloudOn(MAT_TYPE::F32_C4, MEM::CPU, values);
    const auto unit5 = static_cast<UNIT>(5);
    const auto system6 = static_cast<CS>(6);
    EXPECT_EQ(convertUnit(cloud, unit5, UNIT::METER, MEM::CPU), invalid);
    EXPECT_EQ(convertUnit(cloud, UNIT::METER, unit5, MEM::CPU), invalid);
    EXPECT_EQ(convertCoordinateSystem(cloud, system6, CS::IMAGE, MEM::CPU),
              ERROR_CODE::INVALID_COORDINATE_SYSTEM);
    EXPECT_EQ(convertCoordinateSystem(cloud, CS::IMAGE, system6, MEM::CPU),
              ERROR_CODE::INVALID_COORDINATE_SYSTEM);
    for (MEM other : {MEM_MANAGED, MEM_UNIFIED, static_cast<MEM>(0), static_cast<MEM>(9)}) {
        EXPECT_EQ(convertUnit(cloud, UNIT::METER, UNIT::INCH, other), ok);
        EXPECT_EQ(convertCoordinateSystem(cloud, CS::IMAGE, CS::LEFT_HANDED_Z_UP, other), ok);
    }
    EXPECT_EQ(convertUnit(cloud, UNIT::METER, UNIT::INCH, MEM::GPU), invalid) << "no GPU buffer";
    EXPECT_EQ(convertCoordinateSystem(cloud, CS::IMAGE, CS::LEFT_HANDED_Z_UP, MEM_BOTH), invalid);
    EXPECT_TRUE(sameBits(floatsOf(cloud, MEM::CPU), values));
    Mat onGpu = cloudOn(MAT_TYPE::F32_C4, MEM::GPU, values);
    EXPECT_EQ(convertUnit(onGpu, UNIT::METER, UNIT::INCH, MEM::CPU), invalid) << "no host buffer";
    EXPECT_TRUE(sameBits(floatsOf(onGpu, MEM::GPU), values));

    // The element type is checked after the units and systems; equal ones return before any check.
    for (MAT_TYPE type : {MAT_TYPE::F32_C2, MAT_TYPE::U8_C4, MAT_TYPE::U16_C1, MAT_TYPE::S8_C4}) {
        Mat other(kWidth, kHeight, type);
        EXPECT_EQ(convertUnit(other, UNIT::METER, UNIT::INCH, MEM::CPU), invalid);
        EXPECT_EQ(convertCoordinateSystem(other, CS::IMAGE, CS::RIGHT_HANDED_Y_UP, MEM::CPU), invalid);
        EXPECT_EQ(convertUnit(other, UNIT::INCH, UNIT::INCH, MEM::CPU), ok);
    }
    Mat depth(kWidth, kHeight, MAT_TYPE::F32_C1);
    EXPECT_EQ(convertCoordinateSystem(depth, CS::IMAGE, CS::RIGHT_HANDED_Y_UP, MEM::CPU), invalid);
    EXPECT_EQ(convertCoordinateSystem(depth, CS::IMAGE, system6, MEM::CPU),
              ERROR_CODE::INVALID_COORDINATE_SYSTEM);
    EXPECT_EQ(convertCoordinateSystem(depth, system6, system6, MEM::CPU), ok);
    Mat empty;
    EXPECT_EQ(convertUnit(empty, UNIT::METER, UNIT::INCH, MEM::GPU), ok);
    Mat noColumns(0, kHeight, MAT_TYPE::F32_C3, MEM::GPU);
    EXPECT_EQ(convertCoordinateSystem(noColumns, CS::IMAGE, CS::RIGHT_HANDED_Y_UP, MEM::GPU), ok);
}

// A refused launch (the one runtime call a conversion makes: the matrix travels in its parameters) is
// reported under the conversion's signature, fails it, and leaves the data; MEM_BOTH stops before copying
// back.
TEST_F(PointCloudConversion, runtime_failures_are_reported_and_fail_the_conversion) {
    const std::vector<float> values = cloudValues(MAT_TYPE::F32_C4);
    Mat cloud = cloudOn(MAT_TYPE::F32_C4, MEM::GPU, values);
    if (!injectFailure("cudaLaunchKernel", cudaErrorLaunchFailure))
        GTEST_SKIP() << "failures cannot be injected";
    testing::internal::CaptureStdout();
    EXPECT_EQ(convertCoordinateSystem(cloud, COORDINATE_SYSTEM::IMAGE, COORDINATE_SYSTEM::RIGHT_HANDED_Z_UP,
                                      MEM_BOTH),
              ERROR_CODE::FAILURE);
    injectFailure("cudaLaunchKernel", cudaErrorLaunchFailure);
    EXPECT_EQ(convertUnit(cloud, UNIT::METER, UNIT::FOOT, MEM::GPU), ERROR_CODE::FAILURE);
    EXPECT_EQ(
        testing::internal::GetCapturedStdout(),
        "in vela::ERROR_CODE vela::convertCoordinateSystem(vela::Mat&, vela::COORDINATE_SYSTEM, "
        "vela::COORDINATE_SYSTEM, vela::MEM) : Err [719]: unspecified launch failure.\n"
        "in vela::ERROR_CODE vela::convertUnit(vela::Mat&, vela::UNIT, vela::UNIT, vela::MEM) : Err [719]: "
        "unspecified launch failure.\n");
    cudaGetLastError();
    EXPECT_TRUE(sameBits(floatsOf(cloud, MEM::GPU), values));
    EXPECT_EQ(cloud.getMemoryType(), MEM::GPU);
}

}  // namespace
}  // namespace test
}  // namespace vela

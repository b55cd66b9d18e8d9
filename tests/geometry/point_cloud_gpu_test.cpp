// Depth to point cloud, rigid transforms, colour-safe unit changes and colour order: points worked out by
// hand, every kind of invalid depth, host against GPU bit for bit, and the refusals.

#include <gtest/gtest.h>

#include <vela/vela.hpp>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "support/device.hpp"
#include "support/float_bits.hpp"
#include "support/log_capture.hpp"

namespace vela {
namespace test {
namespace {

const float kNan = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

// Every float of the host side of `mat`, row by row.
std::vector<uint32_t> hostBits(const Mat& mat) {
    std::vector<uint32_t> bits;
    for (size_t y = 0; y < mat.getHeight(); ++y) {
        const auto* row =
            reinterpret_cast<const float*>(mat.getPtr<unsigned char>(MEM::CPU) + y * mat.getStepBytes());
        for (size_t i = 0; i < mat.getWidth() * mat.getChannels(); ++i)
            bits.push_back(bitsOf(row[i]));
    }
    return bits;
}

const float* point(const Mat& cloud, size_t x, size_t y) {
    return reinterpret_cast<const float*>(cloud.getPtr<unsigned char>(MEM::CPU) + y * cloud.getStepBytes()) +
           cloud.getChannels() * x;
}

// x, y and z of point (x, y).
std::vector<float> xyz(const Mat& cloud, size_t x, size_t y) {
    return std::vector<float>(point(cloud, x, y), point(cloud, x, y) + 3);
}

// fx 2, fy 4, principal point (1.5, 1): small numbers whose products are exact.
CameraParameters smallCamera() {
    CameraParameters camera;
    camera.fx = 2;
    camera.fy = 4;
    camera.cx = 1.5f;
    camera.cy = 1;
    camera.image_size = Resolution(4, 3);
    return camera;
}

Mat depthOf(const std::vector<float>& values, size_t width, size_t height) {
    Mat depth(width, height, MAT_TYPE::F32_C1, MEM::CPU);
    for (size_t y = 0; y < height; ++y)
        for (size_t x = 0; x < width; ++x)
            EXPECT_EQ(depth.setValue(x, y, values[y * width + x], MEM::CPU), ERROR_CODE::SUCCESS);
    return depth;
}

TEST(DepthToPointCloud, points_worked_by_hand_in_metres_and_z_up_with_colour) {
    // Depths in millimetres; row 0 holds the invalid kinds, the last pixel lies beyond max_depth.
    const Mat depth = depthOf({kNan, kInf, 0.0f, -5.0f,  //
                               1000, 2000, 500, 4000,    //
                               3000, 1000, 250, 9000},
                              4, 3);
    Mat colour(4, 3, MAT_TYPE::U8_C4, MEM::CPU);
    for (size_t y = 0; y < 3; ++y)
        for (size_t x = 0; x < 4; ++x)
            EXPECT_EQ(colour.setValue(x, y, Vector4<unsigned char>(10 * x, 20 * y, 200, 128), MEM::CPU),
                      ERROR_CODE::SUCCESS);  // b, g, r, a
    DepthToPointCloudParameters parameters;
    parameters.cloud_unit = UNIT::METER;
    parameters.max_depth = 8.0f;
    Mat cloud;
    ASSERT_EQ(depthToPointCloud(depth, colour, smallCamera(), cloud, parameters), ERROR_CODE::SUCCESS);
    ASSERT_EQ(cloud.getDataType(), MAT_TYPE::F32_C4);
    for (size_t x = 0; x < 4; ++x) {
        for (int i = 0; i < 3; ++i) {
            EXPECT_TRUE(std::isnan(point(cloud, x, 0)[i])) << x;
            EXPECT_TRUE(std::isnan(point(cloud, 3, 2)[i]));
        }
    }
    // (u, v) = (0, 1), z = 1 m: x = (0 - 1.5) * 1 / 2, y = (1 - 1) * 1 / 4.
    EXPECT_EQ(xyz(cloud, 0, 1), (std::vector<float>{-0.75f, 0.0f, 1.0f}));
    // (3, 1), z = 4 m: x = 1.5 * 4 / 2 = 3, y = 0.
    EXPECT_EQ(point(cloud, 3, 1)[0], 3.0f);
    // (1, 2), z = 1 m: x = -0.5 / 2 = -0.25, y = 1 / 4 = 0.25.
    EXPECT_EQ(point(cloud, 1, 2)[0], -0.25f);
    EXPECT_EQ(point(cloud, 1, 2)[1], 0.25f);
    // The colour, red first: blue-first bytes (b 10, g 40, r 200, a 128) become 200, 40, 10, 128.
    const Vector4<unsigned char> rgba = unpackColor(point(cloud, 1, 2)[3]);
    EXPECT_EQ(rgba, Vector4<unsigned char>(200, 40, 10, 128));
    // Invalid points keep their colour too.
    EXPECT_EQ(unpackColor(point(cloud, 0, 0)[3]), Vector4<unsigned char>(200, 0, 0, 128));

    // The same pixel (1, 2) in RIGHT_HANDED_Z_UP: (x, y, z) of IMAGE is (x, z, -y).
    parameters.coordinate_system = COORDINATE_SYSTEM::RIGHT_HANDED_Z_UP;
    ASSERT_EQ(depthToPointCloud(depth, smallCamera(), cloud, parameters), ERROR_CODE::SUCCESS);
    ASSERT_EQ(cloud.getDataType(), MAT_TYPE::F32_C3);
    EXPECT_EQ(xyz(cloud, 1, 2), (std::vector<float>{-0.25f, 1.0f, -0.25f}));
}

TEST(DepthToPointCloud, sixteen_bit_counts_are_scaled_and_bgr_gets_opaque_alpha) {
    Mat depth(4, 3, MAT_TYPE::U16_C1, MEM::CPU);
    EXPECT_EQ(depth.setTo<unsigned short>(0, MEM::CPU), ERROR_CODE::SUCCESS);
    EXPECT_EQ(depth.setValue<unsigned short>(3, 2, 500, MEM::CPU),
              ERROR_CODE::SUCCESS);  // 500 counts of 2 mm: 1000 mm
    Mat colour(4, 3, MAT_TYPE::U8_C3, MEM::CPU);
    EXPECT_EQ(colour.setTo(Vector3<unsigned char>(1, 2, 3), MEM::CPU), ERROR_CODE::SUCCESS);
    DepthToPointCloudParameters parameters;
    parameters.depth_scale = 2.0f;
    Mat cloud;
    ASSERT_EQ(depthToPointCloud(depth, colour, smallCamera(), cloud, parameters), ERROR_CODE::SUCCESS);
    // x = (3 - 1.5) * 1000 / 2, y = (2 - 1) * 1000 / 4.
    EXPECT_EQ(xyz(cloud, 3, 2), (std::vector<float>{750.0f, 250.0f, 1000.0f}));
    EXPECT_EQ(unpackColor(point(cloud, 3, 2)[3]), Vector4<unsigned char>(3, 2, 1, 255));
    EXPECT_TRUE(std::isnan(point(cloud, 0, 0)[2]));  // count 0: no depth
}

TEST(DepthToPointCloud, refuses_what_it_cannot_back_project_and_leaves_the_cloud) {
    const Mat depth = depthOf(std::vector<float>(12, 1000.0f), 4, 3);
    Mat cloud(2, 2, MAT_TYPE::F32_C3, MEM::CPU);
    const unsigned char* before = cloud.getPtr<unsigned char>(MEM::CPU);
    CameraParameters camera = smallCamera();
    LogCapture log;
    EXPECT_EQ(depthToPointCloud(depth, camera.scale(Resolution(8, 6)), cloud),
              ERROR_CODE::INVALID_FUNCTION_PARAMETERS);
    camera.fx = 0;
    EXPECT_EQ(depthToPointCloud(depth, camera, cloud), ERROR_CODE::INVALID_FUNCTION_PARAMETERS);
    Mat wrongColour(4, 3, MAT_TYPE::U8_C1, MEM::CPU);
    EXPECT_EQ(depthToPointCloud(depth, wrongColour, smallCamera(), cloud),
              ERROR_CODE::INVALID_FUNCTION_PARAMETERS);
    Mat floatImage(4, 3, MAT_TYPE::F32_C3, MEM::CPU);
    EXPECT_EQ(depthToPointCloud(floatImage, smallCamera(), cloud), ERROR_CODE::INVALID_FUNCTION_PARAMETERS);
    DepthToPointCloudParameters parameters;
    parameters.coordinate_system = static_cast<COORDINATE_SYSTEM>(6);
    EXPECT_EQ(depthToPointCloud(depth, smallCamera(), cloud, parameters),
              ERROR_CODE::INVALID_COORDINATE_SYSTEM);
    parameters = {};
    parameters.cloud_unit = static_cast<UNIT>(5);
    EXPECT_EQ(depthToPointCloud(depth, smallCamera(), cloud, parameters),
              ERROR_CODE::INVALID_FUNCTION_PARAMETERS);
    EXPECT_EQ(depthToPointCloud(depth, smallCamera(), cloud, {}, MEM::GPU),
              ERROR_CODE::INVALID_FUNCTION_PARAMETERS);
    EXPECT_EQ(cloud.getPtr<unsigned char>(MEM::CPU), before);
    EXPECT_EQ(cloud.getWidth(), 2u);
    // An unset image size (0x0) is accepted.
    camera = smallCamera();
    camera.image_size = Resolution();
    EXPECT_EQ(depthToPointCloud(depth, camera, cloud), ERROR_CODE::SUCCESS);
}

TEST(TransformPointCloud, moves_points_keeps_colour_bits_and_nan_points) {
    Transform motion;  // 90 degrees about z, exactly, then (10, 20, 30)
    const float elements[16] = {0, -1, 0, 10, 1, 0, 0, 20, 0, 0, 1, 30, 0, 0, 0, 1};
    std::memcpy(motion.elements, elements, sizeof elements);
    Mat cloud(2, 1, MAT_TYPE::F32_C4, MEM::CPU);
    const float signallingColour = packColor(10, 20, 0x80, 255);  // bytes that read as a signalling NaN
    EXPECT_EQ(cloud.setValue(0, 0, Vector4<float>(1, 2, 3, signallingColour), MEM::CPU), ERROR_CODE::SUCCESS);
    EXPECT_EQ(cloud.setValue(1, 0, Vector4<float>(kNan, kNan, kNan, packColor(1, 2, 3)), MEM::CPU),
              ERROR_CODE::SUCCESS);
    ASSERT_EQ(transformPointCloud(cloud, motion), ERROR_CODE::SUCCESS);
    EXPECT_EQ(xyz(cloud, 0, 0), (std::vector<float>{8.0f, 21.0f, 33.0f}));  // (-2, 1, 3) + (10, 20, 30)
    EXPECT_EQ(bitsOf(point(cloud, 0, 0)[3]), bitsOf(signallingColour));
    EXPECT_TRUE(std::isnan(point(cloud, 1, 0)[0]) && std::isnan(point(cloud, 1, 0)[2]));
    Mat image(2, 1, MAT_TYPE::U8_C4, MEM::CPU);
    EXPECT_EQ(transformPointCloud(image, motion), ERROR_CODE::INVALID_FUNCTION_PARAMETERS);
}

TEST(ConvertPointCloudUnit, scales_xyz_and_keeps_the_colour_on_the_host) {
    Mat cloud(1, 1, MAT_TYPE::F32_C4, MEM::CPU);
    const float colour = packColor(9, 8, 0x05, 0);  // a subnormal float
    EXPECT_EQ(cloud.setValue(0, 0, Vector4<float>(1500, -250, 2000, colour), MEM::CPU), ERROR_CODE::SUCCESS);
    ASSERT_EQ(convertPointCloudUnit(cloud, UNIT::MILLIMETER, UNIT::METER), ERROR_CODE::SUCCESS);
    EXPECT_EQ(xyz(cloud, 0, 0), (std::vector<float>{1500 * 0.001f, -250 * 0.001f, 2.0f}));
    EXPECT_EQ(bitsOf(point(cloud, 0, 0)[3]), bitsOf(colour));
    EXPECT_EQ(convertPointCloudUnit(cloud, UNIT::METER, static_cast<UNIT>(5)),
              ERROR_CODE::INVALID_FUNCTION_PARAMETERS);
}

TEST(ColourOrder, swaps_red_and_blue_in_images_and_cloud_colours) {
    EXPECT_EQ(unpackColor(swapRedBlue(packColor(1, 2, 3, 4))), Vector4<unsigned char>(3, 2, 1, 4));
    Mat bgr(3, 1, MAT_TYPE::U8_C3, MEM::CPU);
    EXPECT_EQ(bgr.setTo(Vector3<unsigned char>(1, 2, 3), MEM::CPU), ERROR_CODE::SUCCESS);
    ASSERT_EQ(swapRedBlue(bgr), ERROR_CODE::SUCCESS);
    Vector3<unsigned char> pixel;
    EXPECT_EQ(bgr.getValue(2, 0, &pixel, MEM::CPU), ERROR_CODE::SUCCESS);
    EXPECT_EQ(pixel, Vector3<unsigned char>(3, 2, 1));
    Mat bgra(5, 1, MAT_TYPE::U8_C4, MEM::CPU);
    EXPECT_EQ(bgra.setTo(Vector4<unsigned char>(1, 2, 3, 4), MEM::CPU), ERROR_CODE::SUCCESS);
    ASSERT_EQ(swapRedBlue(bgra), ERROR_CODE::SUCCESS);
    Vector4<unsigned char> quad;
    EXPECT_EQ(bgra.getValue(4, 0, &quad, MEM::CPU), ERROR_CODE::SUCCESS);
    EXPECT_EQ(quad, Vector4<unsigned char>(3, 2, 1, 4));
    Mat cloud(1, 1, MAT_TYPE::F32_C4, MEM::CPU);
    EXPECT_EQ(cloud.setValue(0, 0, Vector4<float>(1, 2, 3, packColor(10, 20, 30, 40)), MEM::CPU),
              ERROR_CODE::SUCCESS);
    ASSERT_EQ(swapRedBlue(cloud), ERROR_CODE::SUCCESS);
    EXPECT_EQ(point(cloud, 0, 0)[2], 3.0f);
    EXPECT_EQ(unpackColor(point(cloud, 0, 0)[3]), Vector4<unsigned char>(30, 20, 10, 40));
    Mat depth(1, 1, MAT_TYPE::F32_C1, MEM::CPU);
    EXPECT_EQ(swapRedBlue(depth), ERROR_CODE::INVALID_FUNCTION_PARAMETERS);
}

// ---- The GPU paths against the host, bit for bit ----

class PointCloudGpu : public GpuTest {};

// A depth of odd size with every kind of sample, and a colour image.
void randomFrame(size_t width, size_t height, Mat& depth, Mat& colour) {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> metres(0.2f, 9.0f);
    depth.alloc(width, height, MAT_TYPE::F32_C1, MEM::CPU);
    colour.alloc(width, height, MAT_TYPE::U8_C3, MEM::CPU);
    const float specials[] = {kNan, kInf, -kInf, 0.0f, -1.0f, 1e-30f};
    for (size_t y = 0; y < height; ++y)
        for (size_t x = 0; x < width; ++x) {
            const unsigned pick = random() % 16;
            EXPECT_EQ(depth.setValue(x, y, pick < 6 ? specials[pick] : metres(random), MEM::CPU),
                      ERROR_CODE::SUCCESS);
            EXPECT_EQ(colour.setValue(x, y,
                                      Vector3<unsigned char>(static_cast<unsigned char>(random()),
                                                             static_cast<unsigned char>(random()),
                                                             static_cast<unsigned char>(random())),
                                      MEM::CPU),
                      ERROR_CODE::SUCCESS);
        }
}

TEST_F(PointCloudGpu, back_projection_transform_and_unit_give_the_host_bits) {
    Mat depth, colour;
    randomFrame(37, 23, depth, colour);
    CameraParameters camera;
    camera.fx = 31.7f;
    camera.fy = 29.3f;
    camera.cx = 18.2f;
    camera.cy = 11.9f;
    DepthToPointCloudParameters parameters;
    parameters.depth_unit = UNIT::METER;
    parameters.cloud_unit = UNIT::FOOT;
    parameters.coordinate_system = COORDINATE_SYSTEM::RIGHT_HANDED_Z_UP_X_FWD;
    parameters.min_depth = 1.0f;
    parameters.max_depth = 25.0f;
    Transform motion;
    motion.setEulerAngles(Vector3<float>(0.3f, -1.1f, 2.0f));
    motion.setTranslation(Translation(0.25f, -3.5f, 7.125f));

    Mat hostCloud;
    ASSERT_EQ(depthToPointCloud(depth, colour, camera, hostCloud, parameters), ERROR_CODE::SUCCESS);
    ASSERT_EQ(transformPointCloud(hostCloud, motion), ERROR_CODE::SUCCESS);
    ASSERT_EQ(convertPointCloudUnit(hostCloud, UNIT::FOOT, UNIT::CENTIMETER), ERROR_CODE::SUCCESS);

    Mat gpuDepth, gpuColour, gpuCloud;
    ASSERT_EQ(gpuDepth.setFrom(depth, COPY_TYPE::CPU_GPU), ERROR_CODE::SUCCESS);
    ASSERT_EQ(gpuColour.setFrom(colour, COPY_TYPE::CPU_GPU), ERROR_CODE::SUCCESS);
    cudaStream_t stream = nullptr;
    ASSERT_EQ(cudaStreamCreate(&stream), cudaSuccess);
    ASSERT_EQ(depthToPointCloud(gpuDepth, gpuColour, camera, gpuCloud, parameters, MEM::GPU, stream),
              ERROR_CODE::SUCCESS);
    ASSERT_EQ(gpuCloud.getMemoryType(), MEM::GPU);
    ASSERT_EQ(transformPointCloud(gpuCloud, motion, MEM::GPU, stream), ERROR_CODE::SUCCESS);
    ASSERT_EQ(convertPointCloudUnit(gpuCloud, UNIT::FOOT, UNIT::CENTIMETER, MEM::GPU, stream),
              ERROR_CODE::SUCCESS);
    ASSERT_EQ(cudaStreamSynchronize(stream), cudaSuccess);
    ASSERT_EQ(cudaStreamDestroy(stream), cudaSuccess);
    Mat back;
    ASSERT_EQ(back.setFrom(gpuCloud, COPY_TYPE::GPU_CPU), ERROR_CODE::SUCCESS);
    EXPECT_EQ(hostBits(back), hostBits(hostCloud));
    // The same depth without colour, F32_C3 on a pitched GPU buffer, moved too.
    ASSERT_EQ(depthToPointCloud(depth, camera, hostCloud, parameters), ERROR_CODE::SUCCESS);
    ASSERT_EQ(transformPointCloud(hostCloud, motion), ERROR_CODE::SUCCESS);
    ASSERT_EQ(depthToPointCloud(gpuDepth, camera, gpuCloud, parameters, MEM::GPU), ERROR_CODE::SUCCESS);
    ASSERT_EQ(transformPointCloud(gpuCloud, motion, MEM::GPU), ERROR_CODE::SUCCESS);
    ASSERT_EQ(back.setFrom(gpuCloud, COPY_TYPE::GPU_CPU), ERROR_CODE::SUCCESS);
    EXPECT_EQ(hostBits(back), hostBits(hostCloud));
}

}  // namespace
}  // namespace test
}  // namespace vela

// The opt-in adapters against the real libraries: OpenCV views in both directions, Eigen matrices and
// cloud maps, ROS 1 messages through a real serialise and deserialise round trip and ROS's own Python
// reader and writer, and back-projection against Open3D's on the same depth and intrinsics.

#include <gtest/gtest.h>

#include <open3d/camera/PinholeCameraIntrinsic.h>
#include <open3d/geometry/Image.h>
#include <open3d/geometry/PointCloud.h>
#include <ros/serialization.h>
#include <sensor_msgs/Image.h>
#include <sensor_msgs/PointCloud2.h>
#include <vela/interop/eigen.hpp>
#include <vela/interop/opencv.hpp>
#include <vela/interop/ros.hpp>
#include <vela/vela.hpp>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include "support/float_bits.hpp"
#include "support/temp_dir.hpp"

namespace vela {
namespace test {
namespace {

const float kNan = std::numeric_limits<float>::quiet_NaN();

// Distance in units of the last place between two finite floats of the same sign.
int64_t ulps(float a, float b) {
    return std::llabs(static_cast<int64_t>(bitsOf(a)) - static_cast<int64_t>(bitsOf(b)));
}

const float* pointAt(const Mat& cloud, size_t x, size_t y) {
    return reinterpret_cast<const float*>(cloud.getPtr<unsigned char>(MEM::CPU) + y * cloud.getStepBytes()) +
           cloud.getChannels() * x;
}

// A small coloured frame: depths in metres (some invalid) and a blue-first colour image.
void frame(size_t width, size_t height, Mat& depth, Mat& colour) {
    depth.alloc(width, height, MAT_TYPE::F32_C1, MEM::CPU);
    colour.alloc(width, height, MAT_TYPE::U8_C4, MEM::CPU);
    for (size_t y = 0; y < height; ++y)
        for (size_t x = 0; x < width; ++x) {
            const size_t i = y * width + x;
            const float d = i % 7 == 3 ? kNan : i % 11 == 5 ? 0.0f : 0.4f + 0.0371f * static_cast<float>(i);
            EXPECT_EQ(depth.setValue(x, y, d, MEM::CPU), ERROR_CODE::SUCCESS);
            EXPECT_EQ(colour.setValue(x, y,
                                      Vector4<unsigned char>(static_cast<unsigned char>(i),
                                                             static_cast<unsigned char>(3 * i),
                                                             static_cast<unsigned char>(255 - i), 255),
                                      MEM::CPU),
                      ERROR_CODE::SUCCESS);
        }
}

CameraParameters camera(size_t width, size_t height) {
    CameraParameters parameters;
    parameters.fx = 52.3f;
    parameters.fy = 51.7f;
    parameters.cx = 0.5f * static_cast<float>(width) - 0.3f;
    parameters.cy = 0.5f * static_cast<float>(height) + 0.2f;
    parameters.image_size = Resolution(width, height);
    return parameters;
}

// ---- OpenCV ----

TEST(OpenCVAdapter, views_share_pixels_and_steps_both_ways) {
    Mat image(7, 5, MAT_TYPE::U8_C3, MEM::CPU);
    EXPECT_EQ(image.setTo(Vector3<unsigned char>(1, 2, 3), MEM::CPU), ERROR_CODE::SUCCESS);
    cv::Mat view;
    ASSERT_EQ(opencv::toCvMat(image, view), ERROR_CODE::SUCCESS);
    EXPECT_EQ(view.type(), CV_8UC3);
    EXPECT_EQ(view.data, image.getPtr<unsigned char>(MEM::CPU));
    view.at<cv::Vec3b>(4, 6) = cv::Vec3b(9, 8, 7);  // row 4, column 6
    Vector3<unsigned char> pixel;
    EXPECT_EQ(image.getValue(6, 4, &pixel, MEM::CPU), ERROR_CODE::SUCCESS);
    EXPECT_EQ(pixel, Vector3<unsigned char>(9, 8, 7));

    // An OpenCV region of interest has rows longer than its width: the step travels with it.
    cv::Mat big(10, 20, CV_32FC1, cv::Scalar(0));
    cv::Mat roi = big(cv::Rect(3, 2, 5, 4));
    Mat wrapped;
    ASSERT_EQ(opencv::fromCvMat(roi, wrapped), ERROR_CODE::SUCCESS);
    EXPECT_EQ(wrapped.getDataType(), MAT_TYPE::F32_C1);
    EXPECT_EQ(wrapped.getStepBytes(), 20u * 4);
    EXPECT_FALSE(wrapped.isMemoryOwner());
    reinterpret_cast<float*>(wrapped.getPtr<unsigned char>(MEM::CPU) + wrapped.getStepBytes())[1] = 42.0f;
    EXPECT_EQ(big.at<float>(3, 4), 42.0f);

    cv::Mat doubles(2, 2, CV_64FC1);
    Mat untouched(1, 1, MAT_TYPE::U8_C1, MEM::CPU);
    const unsigned char* before = untouched.getPtr<unsigned char>(MEM::CPU);
    EXPECT_EQ(opencv::fromCvMat(doubles, untouched), ERROR_CODE::FAILURE);
    EXPECT_EQ(untouched.getPtr<unsigned char>(MEM::CPU), before);
    cv::Mat kept = big;
    EXPECT_EQ(opencv::toCvMat(Mat(), kept), ERROR_CODE::FAILURE);
    EXPECT_EQ(kept.data, big.data);
}

TEST(OpenCVAdapter, gpu_views_keep_the_device_pointer_and_pitch) {
    // Headers only: no pixel is touched, so a wrapped address stands for a device buffer.
    alignas(16) static unsigned char device[512 * 3];
    Mat gpu(10, 3, MAT_TYPE::F32_C3, device, 512, MEM::GPU);
    cv::cuda::GpuMat view;
    ASSERT_EQ(opencv::toGpuMat(gpu, view), ERROR_CODE::SUCCESS);
    EXPECT_EQ(view.data, device);
    EXPECT_EQ(view.step, 512u);
    EXPECT_EQ(view.type(), CV_32FC3);
    Mat back;
    ASSERT_EQ(opencv::fromGpuMat(view, back), ERROR_CODE::SUCCESS);
    EXPECT_EQ(back.getPtr<unsigned char>(MEM::GPU), device);
    EXPECT_EQ(back.getStepBytes(MEM::GPU), 512u);
    EXPECT_EQ(back.getMemoryType(), MEM::GPU);
    Mat host(4, 4, MAT_TYPE::U8_C1, MEM::CPU);
    EXPECT_EQ(opencv::toGpuMat(host, view), ERROR_CODE::FAILURE);
}

// ---- Eigen ----

TEST(EigenAdapter, matrices_keep_their_elements_and_cloud_maps_transform_in_place) {
    Transform motion;
    motion.setEulerAngles(Vector3<float>(0.1f, 0.2f, 0.3f));
    motion.setTranslation(Translation(1, 2, 3));
    const Eigen::Matrix4f matrix = eigen::toEigen(motion);
    EXPECT_EQ(matrix(0, 3), 1.0f);
    EXPECT_EQ(matrix(1, 0), motion(1, 0));
    EXPECT_EQ(eigen::fromEigen(matrix), motion);
    const Eigen::Isometry3f isometry = eigen::toIsometry(motion);
    EXPECT_EQ(eigen::toTransform(isometry), motion);
    const Matrix3f rotation = motion.getRotationMatrix();
    EXPECT_EQ(eigen::fromEigen(eigen::toEigen(rotation)), rotation);

    Mat cloud(3, 2, MAT_TYPE::F32_C4, MEM::CPU);
    for (size_t i = 0; i < 6; ++i)
        EXPECT_EQ(cloud.setValue(i % 3, i / 3,
                                 Vector4<float>(float(i), 2.0f * i, -1.0f * i, packColor(1, 2, 3)), MEM::CPU),
                  ERROR_CODE::SUCCESS);
    Mat moved;
    EXPECT_EQ(moved.setFrom(cloud, COPY_TYPE::CPU_CPU), ERROR_CODE::SUCCESS);
    ASSERT_EQ(transformPointCloud(moved, motion), ERROR_CODE::SUCCESS);
    eigen::CloudMap points = eigen::pointsOf(cloud);
    ASSERT_EQ(points.rows(), 6);
    ASSERT_EQ(points.cols(), 4);
    points.leftCols<3>() = ((points.leftCols<3>() * isometry.linear().transpose()).rowwise() +
                            isometry.translation().transpose())
                               .eval();
    for (size_t i = 0; i < 6; ++i)
        for (int c = 0; c < 3; ++c)
            EXPECT_NEAR(pointAt(cloud, i % 3, i / 3)[c], pointAt(moved, i % 3, i / 3)[c], 1e-5) << i;
    EXPECT_EQ(bitsOf(pointAt(cloud, 2, 1)[3]), bitsOf(packColor(1, 2, 3)));
    Mat depth(3, 2, MAT_TYPE::F32_C1, MEM::CPU);
    EXPECT_EQ(eigen::pointsOf(depth).size(), 0);
}

// ---- Open3D ----

TEST(Open3DComparison, back_projection_matches_open3d_point_for_point) {
    const size_t width = 64, height = 48;
    Mat depth, colour;
    frame(width, height, depth, colour);
    const CameraParameters intrinsics = camera(width, height);
    DepthToPointCloudParameters parameters;
    parameters.depth_unit = parameters.cloud_unit = UNIT::METER;
    Mat cloud;
    ASSERT_EQ(depthToPointCloud(depth, intrinsics, cloud, parameters), ERROR_CODE::SUCCESS);

    open3d::geometry::Image image;
    image.Prepare(static_cast<int>(width), static_cast<int>(height), 1, 4);
    for (size_t y = 0; y < height; ++y)
        for (size_t x = 0; x < width; ++x)
            *image.PointerAt<float>(static_cast<int>(x), static_cast<int>(y)) = pointAt(depth, x, y)[0];
    const open3d::camera::PinholeCameraIntrinsic pinhole(static_cast<int>(width), static_cast<int>(height),
                                                         intrinsics.fx, intrinsics.fy, intrinsics.cx,
                                                         intrinsics.cy);
    const auto reference = open3d::geometry::PointCloud::CreateFromDepthImage(
        image, pinhole, Eigen::Matrix4d::Identity(), 1.0, 1000.0);
    size_t next = 0;
    int64_t worst = 0;
    for (size_t y = 0; y < height; ++y)
        for (size_t x = 0; x < width; ++x) {
            const float* p = pointAt(cloud, x, y);
            if (std::isnan(p[2])) continue;  // Open3D leaves invalid pixels out
            ASSERT_LT(next, reference->points_.size());
            const Eigen::Vector3d& q = reference->points_[next++];
            for (int c = 0; c < 3; ++c)
                worst = std::max(worst, ulps(p[c], static_cast<float>(q[c])));
        }
    EXPECT_EQ(next, reference->points_.size());
    // Open3D rounds each coordinate once (in double); vela rounds the product and the quotient in float.
    EXPECT_LE(worst, 1);
}

// ---- ROS ----

template <typename Message>
std::vector<uint8_t> serialise(const Message& message) {
    std::vector<uint8_t> bytes(::ros::serialization::serializationLength(message));
    ::ros::serialization::OStream stream(bytes.data(), static_cast<uint32_t>(bytes.size()));
    ::ros::serialization::serialize(stream, message);
    return bytes;
}

template <typename Message>
Message deserialise(std::vector<uint8_t> bytes) {
    Message message;
    ::ros::serialization::IStream stream(bytes.data(), static_cast<uint32_t>(bytes.size()));
    ::ros::serialization::deserialize(stream, message);
    return message;
}

std::vector<uint32_t> cloudBits(const Mat& cloud) {
    std::vector<uint32_t> bits;
    for (size_t y = 0; y < cloud.getHeight(); ++y)
        for (size_t x = 0; x < cloud.getWidth(); ++x)
            for (size_t c = 0; c < cloud.getChannels(); ++c) {
                const float v = pointAt(cloud, x, y)[c];
                bits.push_back(c < 3 && std::isnan(v) ? 0x7FC00000u : bitsOf(v));  // any NaN is a NaN
            }
    return bits;
}

TEST(RosAdapter, ros_python_reader_reads_the_cloud_and_its_writer_fills_one_that_reads_back) {
    const size_t width = 9, height = 4;
    Mat depth, colour, cloud;
    frame(width, height, depth, colour);
    ASSERT_EQ(depthToPointCloud(depth, colour, camera(width, height), cloud), ERROR_CODE::SUCCESS);

    sensor_msgs::PointCloud2 message;
    ASSERT_EQ(ros::toPointCloud2(cloud, message), ERROR_CODE::SUCCESS);
    EXPECT_FALSE(message.is_dense);
    TempDir dir;
    {
        const std::vector<uint8_t> bytes = serialise(message);
        std::ofstream(dir.path("vela.msg"), std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        // What the reader must see, worked from the Mat: x y z as exact decimals, then red, green, blue.
        std::ofstream expected(dir.path("expected.txt"));
        for (size_t y = 0; y < height; ++y)
            for (size_t x = 0; x < width; ++x) {
                const float* p = pointAt(cloud, x, y);
                const Vector4<unsigned char> rgba = unpackColor(p[3]);
                char line[160];
                std::snprintf(line, sizeof line, "%.9g %.9g %.9g %d %d %d\n", p[0], p[1], p[2], rgba[0],
                              rgba[1], rgba[2]);
                expected << line;
            }
    }
    const std::string command = std::string(VELA_SYSTEM_PYTHON) + " " + VELA_ROS_SCRIPT + " " +
                                dir.path("vela.msg") + " " + dir.path("expected.txt") + " " +
                                dir.path("ros.msg");
    ASSERT_EQ(std::system(command.c_str()), 0) << command;

    std::ifstream file(dir.path("ros.msg"), std::ios::binary);
    const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(file)),
                                     std::istreambuf_iterator<char>());
    const auto filled = deserialise<sensor_msgs::PointCloud2>(bytes);
    ASSERT_EQ(filled.fields.front().name, "rgb");  // the writer put the colour first, behind a padding
    Mat read;
    ASSERT_EQ(ros::fromPointCloud2(filled, read), ERROR_CODE::SUCCESS);
    ASSERT_EQ(read.getResolution(), cloud.getResolution());
    ASSERT_EQ(read.getDataType(), MAT_TYPE::F32_C4);
    EXPECT_EQ(cloudBits(read), cloudBits(cloud));
}

TEST(RosAdapter, malformed_clouds_are_refused_and_the_mat_is_left) {
    Mat cloud(2, 2, MAT_TYPE::F32_C3, MEM::CPU);
    EXPECT_EQ(cloud.setTo(Vector3<float>(1, 2, 3), MEM::CPU), ERROR_CODE::SUCCESS);
    sensor_msgs::PointCloud2 good;
    ASSERT_EQ(ros::toPointCloud2(cloud, good), ERROR_CODE::SUCCESS);
    EXPECT_TRUE(good.is_dense);
    Mat out(1, 1, MAT_TYPE::U8_C1, MEM::CPU);
    const unsigned char* before = out.getPtr<unsigned char>(MEM::CPU);
    using Spoil = void (*)(sensor_msgs::PointCloud2&);
    const Spoil spoils[] = {
        [](sensor_msgs::PointCloud2& m) { m.data.pop_back(); },  // one byte short
        [](sensor_msgs::PointCloud2& m) { m.fields[2].datatype = sensor_msgs::PointField::FLOAT64; },
        [](sensor_msgs::PointCloud2& m) { m.fields[1].offset = 10; },           // past point_step
        [](sensor_msgs::PointCloud2& m) { m.row_step = 4; },                    // shorter than a row
        [](sensor_msgs::PointCloud2& m) { m.width = m.height = 0x40000000; },   // the sizes overflow
        [](sensor_msgs::PointCloud2& m) { m.fields.erase(m.fields.begin()); },  // no x
        [](sensor_msgs::PointCloud2& m) { m.is_bigendian = true; },
    };
    for (const Spoil spoil : spoils) {
        sensor_msgs::PointCloud2 bad = good;
        spoil(bad);
        EXPECT_EQ(ros::fromPointCloud2(bad, out), ERROR_CODE::FAILURE);
        EXPECT_EQ(out.getPtr<unsigned char>(MEM::CPU), before);
    }
}

TEST(RosAdapter, images_round_trip_with_their_encodings) {
    Mat depth(3, 2, MAT_TYPE::U16_C1, MEM::CPU);
    EXPECT_EQ(depth.setTo<unsigned short>(1234, MEM::CPU), ERROR_CODE::SUCCESS);
    sensor_msgs::Image message;
    ASSERT_EQ(ros::toImage(depth, message), ERROR_CODE::SUCCESS);
    EXPECT_EQ(message.encoding, "16UC1");
    EXPECT_EQ(message.step, 6u);
    const auto back = deserialise<sensor_msgs::Image>(serialise(message));
    Mat read;
    ASSERT_EQ(ros::fromImage(back, read), ERROR_CODE::SUCCESS);
    unsigned short value = 0;
    EXPECT_EQ(read.getValue(2, 1, &value, MEM::CPU), ERROR_CODE::SUCCESS);
    EXPECT_EQ(value, 1234);

    Mat bgra(2, 1, MAT_TYPE::U8_C4, MEM::CPU);
    EXPECT_EQ(bgra.setTo(Vector4<unsigned char>(1, 2, 3, 4), MEM::CPU),
              ERROR_CODE::SUCCESS);  // blue 1, red 3
    ASSERT_EQ(ros::toImage(bgra, message, true), ERROR_CODE::SUCCESS);
    EXPECT_EQ(message.encoding, "rgba8");
    EXPECT_EQ(message.data[0], 3);
    ASSERT_EQ(ros::fromImage(message, read), ERROR_CODE::SUCCESS);
    Vector4<unsigned char> pixel;
    EXPECT_EQ(read.getValue(1, 0, &pixel, MEM::CPU), ERROR_CODE::SUCCESS);
    EXPECT_EQ(pixel, Vector4<unsigned char>(1, 2, 3, 4));  // blue first again
    message.encoding = "yuv422";
    EXPECT_EQ(ros::fromImage(message, read), ERROR_CODE::FAILURE);
    message.encoding = "bgr8";
    message.step = 3;
    message.data.resize(5);
    EXPECT_EQ(ros::fromImage(message, read), ERROR_CODE::FAILURE);
}

}  // namespace
}  // namespace test
}  // namespace vela

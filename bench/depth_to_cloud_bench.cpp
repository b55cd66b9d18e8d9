// depthToPointCloud and transformPointCloud against what a user would run instead, at both frame sizes, on
// the same depth map (inputs.hpp: millimetres, about 5% NaN) and a pinhole with a 1000-pixel focal length:
// a memcpy of the cloud's bytes (the floor of any writer of them), OpenCV's rgbd::depthTo3d (contrib)
// when installed, Open3D's CreateFromDepthImage and CreateFromRGBDImage (VELA_BENCH_PEERS); for the
// transform, Eigen's and OpenCV's of the same points. Inputs are converted to each peer's types outside
// the timing. GPU versions are registered when a device is present.

#include <cuda_runtime_api.h>

#include <Eigen/Core>
#include <opencv2/core.hpp>

#include <cstring>
#include <string>
#include <vector>

#if __has_include(<opencv2/rgbd.hpp>)
#include <opencv2/rgbd.hpp>
#define VELA_BENCH_OPENCV_RGBD 1
#endif
#if defined(VELA_BENCH_PEERS)
#include <open3d/camera/PinholeCameraIntrinsic.h>
#include <open3d/geometry/Image.h>
#include <open3d/geometry/PointCloud.h>
#include <open3d/geometry/RGBDImage.h>
#endif

#include "inputs.hpp"

namespace vela {
namespace bench {
namespace {

CameraParameters cameraFor(Size size) {
    CameraParameters camera;
    camera.fx = camera.fy = 1000.0f;
    camera.cx = 0.5f * static_cast<float>(size.width);
    camera.cy = 0.5f * static_cast<float>(size.height);
    camera.image_size = Resolution(size.width, size.height);
    return camera;
}

// A blue-first colour image of the frame's size.
const Mat& colourImage(Size size) {
    static Mat images[2];
    Mat& image = images[size.width == kSizes[0].width ? 0 : 1];
    if (!image.isInit()) {
        image.alloc(size.width, size.height, MAT_TYPE::U8_C3, MEM::CPU);
        auto* bytes = image.getPtr<unsigned char>();
        for (size_t i = 0; i < size.width * size.height * 3; ++i)
            bytes[i] = static_cast<unsigned char>(i * 2654435761u >> 24);
    }
    return image;
}

void countPoints(benchmark::State& state, Size size) {
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * size.width * size.height));
}

DepthToPointCloudParameters metres() {
    DepthToPointCloudParameters parameters;
    parameters.cloud_unit = UNIT::METER;
    return parameters;
}

void depth_vela(benchmark::State& state, Size size, bool withColour) {
    const Mat& depth = depthMap(size);
    const Mat noColour;
    const Mat& colour = withColour ? colourImage(size) : noColour;
    const CameraParameters camera = cameraFor(size);
    Mat cloud;
    for (auto _ : state) {
        if (depthToPointCloud(depth, colour, camera, cloud, metres()) != ERROR_CODE::SUCCESS)
            state.SkipWithError("depthToPointCloud failed");
        benchmark::DoNotOptimize(cloud.getPtr<float>());
    }
    countPoints(state, size);
}

void depth_memcpy(benchmark::State& state, Size size, bool withColour) {
    const size_t bytes = size.width * size.height * (withColour ? 16 : 12);
    std::vector<unsigned char> from(bytes, 1), to(bytes);
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), bytes);
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
    countPoints(state, size);
}

// The depth in metres as a float image, as OpenCV and Open3D take it.
cv::Mat depthMetres(Size size) {
    const Mat& depth = depthMap(size);
    cv::Mat millimetres(static_cast<int>(size.height), static_cast<int>(size.width), CV_32FC1,
                        depth.getPtr<float>(), depth.getStepBytes());
    cv::Mat out;
    millimetres.convertTo(out, CV_32FC1, 0.001);
    return out;
}

#if defined(VELA_BENCH_OPENCV_RGBD)
void depth_opencv(benchmark::State& state, Size size) {
    const cv::Mat depth = depthMetres(size);
    const CameraParameters c = cameraFor(size);
    const cv::Matx33f k(c.fx, 0, c.cx, 0, c.fy, c.cy, 0, 0, 1);
    cv::Mat points;
    for (auto _ : state) {
        cv::rgbd::depthTo3d(depth, k, points);
        benchmark::DoNotOptimize(points.data);
    }
    countPoints(state, size);
}
#endif

#if defined(VELA_BENCH_PEERS)
void depth_open3d(benchmark::State& state, Size size, bool withColour) {
    const cv::Mat metresImage = depthMetres(size);
    open3d::geometry::Image depth;
    depth.Prepare(static_cast<int>(size.width), static_cast<int>(size.height), 1, 4);
    std::memcpy(depth.data_.data(), metresImage.data, depth.data_.size());
    open3d::geometry::Image colour;
    colour.Prepare(static_cast<int>(size.width), static_cast<int>(size.height), 3, 1);
    std::memcpy(colour.data_.data(), colourImage(size).getPtr<unsigned char>(), colour.data_.size());
    const auto rgbd = open3d::geometry::RGBDImage::CreateFromColorAndDepth(colour, depth, 1.0, 1000.0, false);
    const CameraParameters c = cameraFor(size);
    const open3d::camera::PinholeCameraIntrinsic pinhole(
        static_cast<int>(size.width), static_cast<int>(size.height), c.fx, c.fy, c.cx, c.cy);
    for (auto _ : state) {
        const auto cloud = withColour ? open3d::geometry::PointCloud::CreateFromRGBDImage(*rgbd, pinhole)
                                      : open3d::geometry::PointCloud::CreateFromDepthImage(
                                            depth, pinhole, Eigen::Matrix4d::Identity(), 1.0, 1000.0);
        benchmark::DoNotOptimize(cloud->points_.data());
    }
    countPoints(state, size);
}
#endif

Transform motion() {
    Transform transform;
    transform.setEulerAngles(Vector3<float>(0.1f, -0.2f, 0.05f));
    transform.setTranslation(Translation(0.01f, -0.02f, 0.03f));
    return transform;
}

void transform_vela(benchmark::State& state, Size size) {
    Mat points;
    require(points.setFrom(cloud3(size), COPY_TYPE::CPU_CPU));
    const Transform transform = motion();
    for (auto _ : state) {
        if (transformPointCloud(points, transform) != ERROR_CODE::SUCCESS)
            state.SkipWithError("transformPointCloud failed");
        benchmark::DoNotOptimize(points.getPtr<float>());
    }
    countPoints(state, size);
}

void transform_eigen(benchmark::State& state, Size size) {
    Mat points;
    require(points.setFrom(cloud3(size), COPY_TYPE::CPU_CPU));
    Eigen::Map<Eigen::Matrix3Xf> map(points.getPtr<float>(), 3,
                                     static_cast<Eigen::Index>(size.width * size.height));
    const Transform transform = motion();
    const Eigen::Matrix3f rotation =
        Eigen::Map<const Eigen::Matrix<float, 3, 4, Eigen::RowMajor>>(transform.elements).leftCols<3>();
    const Eigen::Vector3f translation(transform(0, 3), transform(1, 3), transform(2, 3));
    for (auto _ : state) {
        map = (rotation * map).colwise() + translation;
        benchmark::DoNotOptimize(map.data());
    }
    countPoints(state, size);
}

void transform_opencv(benchmark::State& state, Size size) {
    Mat points;
    require(points.setFrom(cloud3(size), COPY_TYPE::CPU_CPU));
    cv::Mat in(static_cast<int>(size.height), static_cast<int>(size.width), CV_32FC3, points.getPtr<float>());
    cv::Mat out(in.size(), CV_32FC3);
    const Transform transform = motion();
    const cv::Mat matrix(3, 4, CV_32FC1, const_cast<float*>(transform.elements));
    for (auto _ : state) {
        cv::transform(in, out, matrix);
        benchmark::DoNotOptimize(out.data);
    }
    countPoints(state, size);
}

// GPU: the kernel alone, on device buffers, waited for on its stream.
void gpu_depth_vela(benchmark::State& state, Size size) {
    Mat depth, colour, cloud;
    require(depth.setFrom(depthMap(size), COPY_TYPE::CPU_GPU));
    require(colour.setFrom(colourImage(size), COPY_TYPE::CPU_GPU));
    const CameraParameters camera = cameraFor(size);
    cudaStream_t stream = nullptr;
    cudaStreamCreate(&stream);
    for (auto _ : state) {
        if (depthToPointCloud(depth, colour, camera, cloud, metres(), MEM::GPU, stream) !=
                ERROR_CODE::SUCCESS ||
            cudaStreamSynchronize(stream) != cudaSuccess)
            state.SkipWithError("depthToPointCloud on the GPU failed");
    }
    cudaStreamDestroy(stream);
    countPoints(state, size);
}

void gpu_transform_vela(benchmark::State& state, Size size) {
    Mat points;
    require(points.setFrom(cloud(size), COPY_TYPE::CPU_GPU));
    const Transform transform = motion();
    for (auto _ : state) {
        if (transformPointCloud(points, transform, MEM::GPU) != ERROR_CODE::SUCCESS ||
            cudaStreamSynchronize(nullptr) != cudaSuccess)
            state.SkipWithError("transformPointCloud on the GPU failed");
    }
    countPoints(state, size);
}

[[maybe_unused]] const bool registered = [] {
    for (const Size size : kSizes) {
        for (const bool withColour : {false, true}) {
            const std::string operation = withColour ? "depthToPointCloud_colour" : "depthToPointCloud";
            add(operation, size, "vela", depth_vela, withColour);
            add(operation, size, "memcpy", depth_memcpy, withColour);
#if defined(VELA_BENCH_PEERS)
            add(operation, size, "open3d", depth_open3d, withColour);
#endif
        }
#if defined(VELA_BENCH_OPENCV_RGBD)
        add("depthToPointCloud", size, "opencv", depth_opencv);
#endif
        add("transformPointCloud", size, "vela", transform_vela);
        add("transformPointCloud", size, "eigen", transform_eigen);
        add("transformPointCloud", size, "opencv", transform_opencv);
    }
    return true;
}();

}  // namespace

void registerPointCloudGpuBenchmarks() {
    for (const Size size : kSizes) {
        add("gpu_depthToPointCloud_colour", size, "vela", gpu_depth_vela)->UseRealTime();
        add("gpu_transformPointCloud", size, "vela", gpu_transform_vela)->UseRealTime();
    }
}

}  // namespace bench
}  // namespace vela

// The binary PLY and PCD writers on a camera cloud with colour and about 5% invalid points, against one
// fwrite of the same number of bytes (what writing the file can cost at the least) and, when built with
// VELA_BENCH_PEERS, against PCL's and Open3D's binary writers given the same valid points in their own
// cloud types.

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <vela/vela.hpp>

#ifdef VELA_BENCH_PEERS
#include <open3d/geometry/PointCloud.h>
#include <open3d/io/PointCloudIO.h>
#include <pcl/io/pcd_io.h>
#include <pcl/io/ply_io.h>
#include <pcl/point_types.h>
#endif

namespace {

using vela::POINT_CLOUD_FORMAT;

// A width x height camera cloud: x and y across the view, z ahead, random colour, 5% NaN points.
std::shared_ptr<vela::Mat> makeCloud(size_t width, size_t height) {
    auto cloud = std::make_shared<vela::Mat>(width, height, vela::MAT_TYPE::F32_C4);
    std::mt19937 random(99);
    std::uniform_real_distribution<float> across(-3.0f, 3.0f);
    std::uniform_real_distribution<float> ahead(0.3f, 10.0f);
    std::uniform_int_distribution<uint32_t> rgb(0, 0xFFFFFF);
    std::bernoulli_distribution invalid(0.05);
    auto* point = cloud->getPtr<vela::Vector4<float>>();
    for (size_t i = 0; i < width * height; ++i) {
        const uint32_t word = rgb(random);
        float colour;
        std::memcpy(&colour, &word, sizeof colour);
        const float nan = std::numeric_limits<float>::quiet_NaN();
        point[i] = invalid(random)
                       ? vela::Vector4<float>(nan, nan, nan, colour)
                       : vela::Vector4<float>(across(random), across(random), ahead(random), colour);
    }
    return cloud;
}

// One cloud per size, made once.
const vela::Mat& cloudOf(size_t width, size_t height) {
    static std::map<std::pair<size_t, size_t>, std::shared_ptr<vela::Mat>> clouds;
    auto& cloud = clouds[{width, height}];
    if (!cloud) cloud = makeCloud(width, height);
    return *cloud;
}

std::string scratchPath(const std::string& name) {
    return (std::filesystem::temp_directory_path() /
            ("vela_files_bench_" + std::to_string(::getpid()) + "_" + name))
        .string();
}

struct Case {
    POINT_CLOUD_FORMAT format;
    size_t width;
    size_t height;

    const char* extension() const { return format == POINT_CLOUD_FORMAT::PLY ? ".ply" : ".pcd"; }
    std::string path(const char* side) const { return scratchPath(std::string(side) + extension()); }
};

const vela::PointCloudWriteOptions kBinaryRgb{vela::FILE_ENCODING::BINARY, true, false};

void writeVela(benchmark::State& state, Case c) {
    const vela::Mat& cloud = cloudOf(c.width, c.height);
    const std::string path = c.path("vela");
    for (auto _ : state)
        if (vela::writePointCloud(cloud, path, c.format, kBinaryRgb) != vela::ERROR_CODE::SUCCESS)
            state.SkipWithError("writePointCloud failed");
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * std::filesystem::file_size(path)));
    std::filesystem::remove(path);
}

// One fwrite of as many bytes as vela's file has.
void writeFwrite(benchmark::State& state, Case c) {
    const std::string reference = c.path("size");
    vela::writePointCloud(cloudOf(c.width, c.height), reference, c.format, kBinaryRgb);
    const std::vector<char> bytes(std::filesystem::file_size(reference), 'v');
    std::filesystem::remove(reference);
    const std::string path = c.path("fwrite");
    for (auto _ : state) {
        std::FILE* file = std::fopen(path.c_str(), "wb");
        if (file == nullptr || std::fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size())
            state.SkipWithError("fwrite failed");
        if (file != nullptr) std::fclose(file);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
    std::filesystem::remove(path);
}

#ifdef VELA_BENCH_PEERS
template <typename Visit>
void forEachValidPoint(const vela::Mat& cloud, Visit visit) {
    const auto* point = cloud.getPtr<vela::Vector4<float>>();
    for (size_t i = 0; i < cloud.width * cloud.height; ++i) {
        unsigned char rgb[4];
        std::memcpy(rgb, &point[i].w, sizeof rgb);
        if (std::isfinite(point[i].x) && std::isfinite(point[i].y) && std::isfinite(point[i].z))
            visit(point[i], rgb);
    }
}

void writePcl(benchmark::State& state, Case c) {
    pcl::PointCloud<pcl::PointXYZRGB> cloud;
    forEachValidPoint(cloudOf(c.width, c.height),
                      [&](const vela::Vector4<float>& p, const unsigned char* rgb) {
                          pcl::PointXYZRGB point(rgb[0], rgb[1], rgb[2]);
                          point.x = p.x, point.y = p.y, point.z = p.z;
                          cloud.push_back(point);
                      });
    const std::string path = c.path("pcl");
    for (auto _ : state) {
        const int result = c.format == POINT_CLOUD_FORMAT::PLY ? pcl::io::savePLYFileBinary(path, cloud)
                                                               : pcl::io::savePCDFileBinary(path, cloud);
        if (result != 0) state.SkipWithError("PCL failed");
    }
    std::filesystem::remove(path);
}

void writeOpen3d(benchmark::State& state, Case c) {
    open3d::geometry::PointCloud cloud;
    forEachValidPoint(cloudOf(c.width, c.height),
                      [&](const vela::Vector4<float>& p, const unsigned char* rgb) {
                          cloud.points_.emplace_back(p.x, p.y, p.z);
                          cloud.colors_.emplace_back(rgb[0] / 255.0, rgb[1] / 255.0, rgb[2] / 255.0);
                      });
    const std::string path = c.path("open3d");
    for (auto _ : state)
        if (!open3d::io::WritePointCloud(path, cloud, open3d::io::WritePointCloudOption(false)))
            state.SkipWithError("Open3D failed");
    std::filesystem::remove(path);
}
#endif

[[maybe_unused]] const bool registered = [] {
    using Writer = void (*)(benchmark::State&, Case);
    std::vector<std::pair<const char*, Writer>> sides = {{"fwrite", writeFwrite}, {"vela", writeVela}};
#ifdef VELA_BENCH_PEERS
    sides.push_back({"pcl", writePcl});
    sides.push_back({"open3d", writeOpen3d});
#endif
    for (const Case c :
         {Case{POINT_CLOUD_FORMAT::PLY, 1280, 720}, Case{POINT_CLOUD_FORMAT::PCD, 1280, 720},
          Case{POINT_CLOUD_FORMAT::PLY, 1920, 1080}, Case{POINT_CLOUD_FORMAT::PCD, 1920, 1080}}) {
        const std::string operation = std::string(c.format == POINT_CLOUD_FORMAT::PLY ? "ply" : "pcd") +
                                      "_binary_rgb_" + std::to_string(c.width) + "x" +
                                      std::to_string(c.height);
        for (const auto& side : sides)
            benchmark::RegisterBenchmark((operation + "/" + side.first).c_str(), side.second, c)
                ->Unit(benchmark::kMillisecond);
    }
    return true;
}();

}  // namespace

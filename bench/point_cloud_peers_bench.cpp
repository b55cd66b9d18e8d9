// The writers of the two point-cloud libraries a user would pick instead, on the valid points of the same
// clouds as point_cloud_bench.cpp and point_cloud_files_bench.cpp, each given a cloud already in its own
// point type (built outside the timing): PCL's savePCDFile and savePLYFile and Open3D's WritePointCloud,
// in ASCII beside savePointCloudAs and in binary beside writePointCloud.
// Built only with the benchmark option VELA_BENCH_PEERS.

#if defined(VELA_BENCH_PEERS)

#include <open3d/geometry/PointCloud.h>
#include <open3d/io/PointCloudIO.h>
#include <pcl/io/pcd_io.h>
#include <pcl/io/ply_io.h>
#include <pcl/point_cloud.h>
#include <pcl/point_types.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <string>
#include <type_traits>

#include "inputs.hpp"

namespace vela {
namespace bench {
namespace {

// Calls `visit(point, red, green, blue)` for each point of `mat` whose x is finite.
template <typename Visit>
void forEachValid(const Mat& mat, Visit visit) {
    const auto* points = mat.getPtr<Vector4<float>>();
    for (size_t i = 0; i < mat.width * mat.height; ++i) {
        if (!std::isfinite(points[i].x)) continue;
        unsigned char rgb[4];
        std::memcpy(rgb, &points[i].w, sizeof rgb);
        visit(points[i], rgb[0], rgb[1], rgb[2]);
    }
}

template <typename Point>
pcl::PointCloud<Point> pclCloud(const Mat& mat) {
    pcl::PointCloud<Point> result;
    forEachValid(mat, [&](const Vector4<float>& p, unsigned char r, unsigned char g, unsigned char b) {
        Point point;
        point.x = p.x;
        point.y = p.y;
        point.z = p.z;
        if constexpr (std::is_same_v<Point, pcl::PointXYZRGB>) {
            point.r = r;
            point.g = g;
            point.b = b;
        }
        result.push_back(point);
    });
    return result;
}

open3d::geometry::PointCloud open3dCloud(const Mat& mat, bool withColor) {
    open3d::geometry::PointCloud result;
    forEachValid(mat, [&](const Vector4<float>& p, unsigned char r, unsigned char g, unsigned char b) {
        result.points_.emplace_back(p.x, p.y, p.z);
        if (withColor) result.colors_.emplace_back(r / 255.0, g / 255.0, b / 255.0);
    });
    return result;
}

void countPoints(benchmark::State& state, const Mat& mat) {
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * mat.width * mat.height));
}

template <typename Point>
void save_pcl(benchmark::State& state, Size size, bool ply, bool binary) {
    const pcl::PointCloud<Point> points = pclCloud<Point>(cloud(size));
    const std::string path = scratchPath(ply ? "pcl.ply" : "pcl.pcd");
    for (auto _ : state) {
        const int status = ply ? (binary ? pcl::io::savePLYFileBinary(path, points)
                                         : pcl::io::savePLYFileASCII(path, points))
                               : (binary ? pcl::io::savePCDFileBinary(path, points)
                                         : pcl::io::savePCDFileASCII(path, points));
        if (status != 0) state.SkipWithError("the PCL writer failed");
    }
    countPoints(state, cloud(size));
}

void save_open3d(benchmark::State& state, Size size, const char* extension, bool withColor, bool binary) {
    const open3d::geometry::PointCloud points = open3dCloud(cloud(size), withColor);
    const std::string path = scratchPath(std::string("open3d.") + extension);
    using IsAscii = open3d::io::WritePointCloudOption::IsAscii;
    const open3d::io::WritePointCloudOption option(binary ? IsAscii::Binary : IsAscii::Ascii);
    for (auto _ : state) {
        if (!open3d::io::WritePointCloud(path, points, option))
            state.SkipWithError("the Open3D writer failed");
    }
    countPoints(state, cloud(size));
}

void save_pcl_compressed(benchmark::State& state, Size size) {
    const pcl::PointCloud<pcl::PointXYZRGB> points = pclCloud<pcl::PointXYZRGB>(cloud(size));
    const std::string path = scratchPath("pcl_compressed.pcd");
    for (auto _ : state)
        if (pcl::io::savePCDFileBinaryCompressed(path, points) != 0)
            state.SkipWithError("the PCL writer failed");
    state.counters["file_bytes"] = static_cast<double>(std::filesystem::file_size(path));
}

// PCL's reader of the compressed file vela writes, into its own XYZRGB cloud.
void load_pcl_compressed(benchmark::State& state, Size size) {
    const std::string path = scratchPath("pcl_read_compressed.pcd");
    require(writePointCloud(cloud(size), path, POINT_CLOUD_FORMAT::PCD,
                            {FILE_ENCODING::BINARY_COMPRESSED, true, false}));
    for (auto _ : state) {
        pcl::PointCloud<pcl::PointXYZRGB> points;
        if (pcl::io::loadPCDFile(path, points) != 0) state.SkipWithError("the PCL reader failed");
        benchmark::DoNotOptimize(points.data());
    }
}

[[maybe_unused]] const bool registered = [] {
    for (const Size size : kSizes) {
        for (bool ply : {false, true}) {
            const std::string operation = std::string("savePointCloudAs_") + (ply ? "ply" : "pcd");
            add(operation, size, "pcl", save_pcl<pcl::PointXYZ>, ply, false);
            add(operation + "_color", size, "pcl", save_pcl<pcl::PointXYZRGB>, ply, false);
            add(operation, size, "open3d", save_open3d, ply ? "ply" : "pcd", false, false);
            add(operation + "_color", size, "open3d", save_open3d, ply ? "ply" : "pcd", true, false);
            const std::string binary = ply ? "ply_binary_rgb" : "pcd_binary_rgb";
            add(binary, size, "pcl", save_pcl<pcl::PointXYZRGB>, ply, true);
            add(binary, size, "open3d", save_open3d, ply ? "ply" : "pcd", true, true);
        }
        add("savePointCloudAs_xyz", size, "open3d", save_open3d, "xyz", false, false);
        add("pcd_compressed_rgb", size, "pcl", save_pcl_compressed);
        add("read_pcd_compressed_rgb", size, "pcl", load_pcl_compressed);
    }
    return true;
}();

}  // namespace
}  // namespace bench
}  // namespace vela

#endif

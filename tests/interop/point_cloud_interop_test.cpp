// vela's lossless files opened by the readers people use: PCL and Open3D for the point clouds, OpenCV for
// the PFM depth map, on a cloud of real size (1280x720, colour, about 5% invalid points, some of them with
// a finite x and an infinite y). Every value and colour must come back exactly, the right way up. The files
// those libraries write are read back by vela as they read them.

#include <gtest/gtest.h>

#include <open3d/geometry/PointCloud.h>
#include <open3d/io/PointCloudIO.h>
#include <pcl/io/pcd_io.h>
#include <pcl/io/ply_io.h>
#include <pcl/point_types.h>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include <vela/vela.hpp>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "support/point_colour.hpp"
#include "support/temp_dir.hpp"

namespace vela {
namespace {

using test::TempDir;

constexpr size_t kWidth = 1280;
constexpr size_t kHeight = 720;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

struct Rgb {
    unsigned char r, g, b;
};

Rgb rgbOf(float w) {
    unsigned char bytes[4];
    std::memcpy(bytes, &w, sizeof bytes);
    return {bytes[0], bytes[1], bytes[2]};
}

// What a depth camera gives: x and y across the view, z ahead, colour bytes; about 5% invalid, a few of
// those with a finite x and an infinite y.
const Mat& cameraCloud() {
    static const Mat cloud = [] {
        Mat mat(kWidth, kHeight, MAT_TYPE::F32_C4);
        std::mt19937 random(13);
        std::uniform_real_distribution<float> across(-3.0f, 3.0f);
        std::uniform_real_distribution<float> ahead(0.3f, 10.0f);
        std::uniform_int_distribution<uint32_t> bits;
        std::bernoulli_distribution invalid(0.05);
        auto* point = mat.getPtr<Vector4<float>>();
        for (size_t i = 0; i < kWidth * kHeight; ++i) {
            const uint32_t word = bits(random);
            float w;
            std::memcpy(&w, &word, sizeof w);
            point[i] = {across(random), across(random), ahead(random), w};
            if (invalid(random)) point[i].x = point[i].y = point[i].z = kNaN;
            if (i % 50000 == 7) point[i].y = std::numeric_limits<float>::infinity();
        }
        return mat;
    }();
    return cloud;
}

bool isValid(const Vector4<float>& p) {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
}

// The points a file should hold, in order: the valid ones, or the whole grid with invalid points as NaN.
std::vector<Vector4<float>> expectedPoints(bool organised) {
    std::vector<Vector4<float>> points;
    const auto* point = cameraCloud().getPtr<Vector4<float>>();
    for (size_t i = 0; i < kWidth * kHeight; ++i) {
        if (isValid(point[i]))
            points.push_back(point[i]);
        else if (organised)
            points.push_back({kNaN, kNaN, kNaN, point[i].w});
    }
    return points;
}

// What PCL read.
template <typename Point>
std::vector<Vector4<float>> pclPoints(const pcl::PointCloud<Point>& cloud) {
    std::vector<Vector4<float>> points;
    for (const Point& p : cloud) {
        if constexpr (std::is_same_v<Point, pcl::PointXYZ>)
            points.push_back({p.x, p.y, p.z, 0.0f});
        else
            points.push_back({p.x, p.y, p.z, test::colour(p.r, p.g, p.b)});
    }
    return points;
}

// What Open3D read: doubles, which hold a float exactly (binary) or the nearest double to the decimal text
// (ASCII), whose nearest float is then the float written; colour as byte / 255.
std::vector<Vector4<float>> pointsOf(const open3d::geometry::PointCloud& cloud) {
    const auto byte = [](double c) { return static_cast<unsigned char>(std::lround(c * 255)); };
    std::vector<Vector4<float>> points;
    for (size_t i = 0; i < cloud.points_.size(); ++i) {
        const Eigen::Vector3d& p = cloud.points_[i];
        Rgb rgb{0, 0, 0};
        if (cloud.HasColors())
            rgb = {byte(cloud.colors_[i].x()), byte(cloud.colors_[i].y()), byte(cloud.colors_[i].z())};
        points.push_back({static_cast<float>(p.x()), static_cast<float>(p.y()), static_cast<float>(p.z()),
                          test::colour(rgb.r, rgb.g, rgb.b)});
    }
    return points;
}

// What vela read.
std::vector<Vector4<float>> pointsOf(const Mat& cloud) {
    const auto* p = cloud.getPtr<Vector4<float>>();
    return std::vector<Vector4<float>>(p, p + cloud.width * cloud.height);
}

// Exact, with NaN equal to NaN.
bool same(float got, float want) {
    return std::isnan(want) ? std::isnan(got) : got == want;
}

// The points that differ in x, y, z or (with `color`) colour, counted so that one failure does not print a
// million lines.
size_t mismatches(const std::vector<Vector4<float>>& expected, const std::vector<Vector4<float>>& got,
                  bool color) {
    if (got.size() != expected.size()) return std::max(got.size(), expected.size());
    size_t wrong = 0;
    for (size_t i = 0; i < got.size(); ++i) {
        const Rgb a = rgbOf(got[i].w);
        const Rgb b = rgbOf(expected[i].w);
        const bool colourOk = !color || (a.r == b.r && a.g == b.g && a.b == b.b);
        if (!same(got[i].x, expected[i].x) || !same(got[i].y, expected[i].y) ||
            !same(got[i].z, expected[i].z) || !colourOk)
            ++wrong;
    }
    return wrong;
}

struct Form {
    const char* name;
    POINT_CLOUD_FORMAT format;
    PointCloudWriteOptions options;
};

const Form kForms[] = {
    {"cloud_binary.ply", POINT_CLOUD_FORMAT::PLY, {FILE_ENCODING::BINARY, true, false}},
    {"cloud_ascii.ply", POINT_CLOUD_FORMAT::PLY, {FILE_ENCODING::ASCII, true, false}},
    {"cloud_binary.pcd", POINT_CLOUD_FORMAT::PCD, {FILE_ENCODING::BINARY, true, false}},
    {"cloud_ascii.pcd", POINT_CLOUD_FORMAT::PCD, {FILE_ENCODING::ASCII, true, false}},
    {"cloud_organised_binary.pcd", POINT_CLOUD_FORMAT::PCD, {FILE_ENCODING::BINARY, true, true}},
    {"cloud_organised_ascii.pcd", POINT_CLOUD_FORMAT::PCD, {FILE_ENCODING::ASCII, true, true}},
    {"cloud.xyz", POINT_CLOUD_FORMAT::XYZ, {FILE_ENCODING::ASCII, false, false}},
    {"cloud_compressed.pcd", POINT_CLOUD_FORMAT::PCD, {FILE_ENCODING::BINARY_COMPRESSED, true, false}},
    {"cloud_compressed_xyz.pcd", POINT_CLOUD_FORMAT::PCD, {FILE_ENCODING::BINARY_COMPRESSED, false, false}},
    {"cloud_organised_compressed.pcd",
     POINT_CLOUD_FORMAT::PCD,
     {FILE_ENCODING::BINARY_COMPRESSED, true, true}},
};

TEST(Interop, every_new_cloud_form_opens_exactly_in_pcl_and_open3d) {
    const TempDir dir;
    for (const Form& form : kForms) {
        SCOPED_TRACE(form.name);
        const std::string path = dir.path(form.name);
        ASSERT_EQ(writePointCloud(cameraCloud(), path, form.format, form.options), ERROR_CODE::SUCCESS);
        const std::vector<Vector4<float>> expected = expectedPoints(form.options.keepInvalid);
        const bool color = form.options.withColor;

        if (form.format != POINT_CLOUD_FORMAT::XYZ) {
            pcl::PointCloud<pcl::PointXYZRGB> pcl;
            const int loaded = form.format == POINT_CLOUD_FORMAT::PLY ? pcl::io::loadPLYFile(path, pcl)
                                                                      : pcl::io::loadPCDFile(path, pcl);
            ASSERT_EQ(loaded, 0);
            EXPECT_EQ(mismatches(expected, pclPoints(pcl), color), 0u);
            if (form.options.keepInvalid) {
                EXPECT_EQ(pcl.width, kWidth);
                EXPECT_EQ(pcl.height, kHeight);
                EXPECT_FALSE(pcl.is_dense);
            }
        }
        open3d::geometry::PointCloud open3d;
        ASSERT_TRUE(open3d::io::ReadPointCloud(path, open3d));
        EXPECT_EQ(open3d.HasColors(), color);
        EXPECT_EQ(mismatches(expected, pointsOf(open3d), color), 0u);
        // And vela's own reader.
        Mat read;
        ASSERT_EQ(readPointCloud(path, read), ERROR_CODE::SUCCESS);
        EXPECT_EQ(mismatches(expected, pointsOf(read), color), 0u);
    }
}

TEST(Interop, the_pfm_depth_map_opens_exactly_and_the_right_way_up_in_opencv) {
    Mat depth(kWidth, kHeight, MAT_TYPE::F32_C1);
    const auto* points = cameraCloud().getPtr<Vector4<float>>();
    auto* z = depth.getPtr<float>();
    for (size_t i = 0; i < kWidth * kHeight; ++i)
        z[i] = points[i].z;
    const TempDir dir;
    ASSERT_EQ(writeDepth(depth, dir.path("depth.pfm"), DEPTH_FORMAT::PFM), ERROR_CODE::SUCCESS);
    const cv::Mat read = cv::imread(dir.path("depth.pfm"), cv::IMREAD_UNCHANGED);
    ASSERT_EQ(read.type(), CV_32FC1);
    ASSERT_EQ(read.cols, static_cast<int>(kWidth));
    ASSERT_EQ(read.rows, static_cast<int>(kHeight));
    size_t wrong = 0;
    for (size_t y = 0; y < kHeight; ++y)
        for (size_t x = 0; x < kWidth; ++x)
            wrong +=
                same(read.at<float>(static_cast<int>(y), static_cast<int>(x)), z[y * kWidth + x]) ? 0 : 1;
    EXPECT_EQ(wrong, 0u);
}

TEST(Interop, vela_reads_the_files_open3d_writes_as_it_reads_them) {
    const TempDir dir;
    const std::string source = dir.path("source.ply");
    ASSERT_EQ(
        writePointCloud(cameraCloud(), source, POINT_CLOUD_FORMAT::PLY, {FILE_ENCODING::BINARY, true, false}),
        ERROR_CODE::SUCCESS);
    open3d::geometry::PointCloud open3d;
    ASSERT_TRUE(open3d::io::ReadPointCloud(source, open3d));
    // Each file is compared with what its writer's own library reads from it.
    const auto expectVelaReadsAsOpen3d = [&](const std::string& name, bool ascii) {
        SCOPED_TRACE(name);
        ASSERT_TRUE(
            open3d::io::WritePointCloud(dir.path(name), open3d, open3d::io::WritePointCloudOption(ascii)));
        open3d::geometry::PointCloud reference;
        ASSERT_TRUE(open3d::io::ReadPointCloud(dir.path(name), reference));
        Mat read;
        ASSERT_EQ(readPointCloud(dir.path(name), read), ERROR_CODE::SUCCESS);
        EXPECT_EQ(mismatches(pointsOf(reference), pointsOf(read), true), 0u);
    };
    for (const std::string name : {"open3d.ply", "open3d.pcd"}) {
        expectVelaReadsAsOpen3d(name, false);
        expectVelaReadsAsOpen3d("ascii_" + name, true);
    }
}

// The camera cloud as a PCL cloud of `Point`: the valid points, or the whole grid with invalid ones NaN.
template <typename Point>
pcl::PointCloud<Point> pclCloud(bool organised) {
    pcl::PointCloud<Point> cloud;
    const auto* points = cameraCloud().getPtr<Vector4<float>>();
    for (size_t i = 0; i < kWidth * kHeight; ++i) {
        const bool valid = isValid(points[i]);
        if (!valid && !organised) continue;
        Point point;
        point.x = valid ? points[i].x : kNaN;
        point.y = valid ? points[i].y : kNaN;
        point.z = valid ? points[i].z : kNaN;
        if constexpr (!std::is_same_v<Point, pcl::PointXYZ>) {
            const Rgb rgb = rgbOf(points[i].w);
            point.r = rgb.r;
            point.g = rgb.g;
            point.b = rgb.b;
            point.a = 255;
        }
        cloud.push_back(point);
    }
    if (organised) {
        cloud.width = kWidth;
        cloud.height = kHeight;
        cloud.is_dense = false;
    }
    return cloud;
}

enum class PclForm { Binary, Ascii, Compressed, Ply };

// PCL's files of each point type, organised or not, read as PCL reads them and, but for ASCII (whose 8
// digits do not always identify a float), as the points written.
template <typename Point>
void expectVelaReadsPcl(const TempDir& dir, const std::string& name, bool organised, PclForm form) {
    SCOPED_TRACE(name);
    const std::string path = dir.path(name);
    const pcl::PointCloud<Point> written = pclCloud<Point>(organised);
    ASSERT_EQ(form == PclForm::Binary       ? pcl::io::savePCDFileBinary(path, written)
              : form == PclForm::Ascii      ? pcl::io::savePCDFileASCII(path, written)
              : form == PclForm::Compressed ? pcl::io::savePCDFileBinaryCompressed(path, written)
                                            : pcl::io::savePLYFileBinary(path, written),
              0);
    pcl::PointCloud<Point> reference;
    ASSERT_EQ(
        form == PclForm::Ply ? pcl::io::loadPLYFile(path, reference) : pcl::io::loadPCDFile(path, reference),
        0);
    Mat read;
    ASSERT_EQ(readPointCloud(path, read), ERROR_CODE::SUCCESS);
    const bool color = !std::is_same_v<Point, pcl::PointXYZ>;
    EXPECT_EQ(mismatches(pclPoints(reference), pointsOf(read), color), 0u);
    EXPECT_EQ(form == PclForm::Ascii ? 0 : mismatches(expectedPoints(organised), pointsOf(read), color), 0u);
    EXPECT_EQ(read.getResolution(),
              organised ? Resolution(kWidth, kHeight) : Resolution(reference.size(), 1));
}

TEST(Interop, vela_reads_the_files_pcl_writes) {
    const TempDir dir;
    expectVelaReadsPcl<pcl::PointXYZRGB>(dir, "pcl.pcd", false, PclForm::Binary);
    expectVelaReadsPcl<pcl::PointXYZRGB>(dir, "pcl_ascii.pcd", false, PclForm::Ascii);
    expectVelaReadsPcl<pcl::PointXYZRGB>(dir, "pcl.ply", false, PclForm::Ply);
    for (const bool organised : {false, true}) {
        const std::string grid = organised ? "_organised.pcd" : ".pcd";
        expectVelaReadsPcl<pcl::PointXYZ>(dir, "xyz" + grid, organised, PclForm::Compressed);
        expectVelaReadsPcl<pcl::PointXYZRGB>(dir, "xyzrgb" + grid, organised, PclForm::Compressed);
        expectVelaReadsPcl<pcl::PointXYZRGBA>(dir, "xyzrgba" + grid, organised, PclForm::Compressed);
    }
}

}  // namespace
}  // namespace vela

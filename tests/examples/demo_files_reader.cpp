// Opens the demo's files with readers that know nothing of vela: the clouds with PCL, the images with
// OpenCV. Every cloud holds one point per pixel with depth, in the same order, with that pixel's colour
// (exactly, but for the ASCII PCD's packed-float colour).

#include <pcl/io/pcd_io.h>
#include <pcl/io/ply_io.h>
#include <pcl/point_types.h>

#include <cstdio>
#include <cstdlib>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <set>
#include <string>

namespace {

int failures = 0;

void expect(bool condition, const std::string& what) {
    if (condition) return;
    std::fprintf(stderr, "demo files: %s\n", what.c_str());
    ++failures;
}

// The cloud must hold the depth map's valid pixels, row by row, each with the colour image's colour.
void checkCloud(const pcl::PointCloud<pcl::PointXYZRGB>& cloud, const cv::Mat& depth, const cv::Mat& colour,
                const std::string& name) {
    size_t index = 0;
    for (int v = 0; v < depth.rows; ++v) {
        for (int u = 0; u < depth.cols; ++u) {
            if (depth.at<float>(v, u) == 0.0f) continue;  // no depth: written as 0
            if (index >= cloud.size()) {
                expect(false, name + " has fewer points than the depth map has depths");
                return;
            }
            const pcl::PointXYZRGB& point = cloud[index++];
            const cv::Vec4b bgra = colour.at<cv::Vec4b>(v, u);
            const long expected = bgra[2] << 16 | bgra[1] << 8 | bgra[0];
            const long actual = point.r << 16 | point.g << 8 | point.b;
            // PCD colour goes through a packed float printed with 7 digits: its low bits may move a little.
            const long tolerance = name == "cloud.pcd" ? 8 : 0;
            if (std::labs(actual - expected) > tolerance) {
                expect(false,
                       name + ": colour of point " + std::to_string(index - 1) + " differs from the image");
                return;
            }
            // Metres, z up: the depth along the optical axis is y now.
            if (std::abs(point.y - depth.at<float>(v, u) / 1000.0f) > 2e-6f) {
                expect(false, name + ": point " + std::to_string(index - 1) + " is not at its depth");
                return;
            }
        }
    }
    expect(index == cloud.size(), name + " has more points than the depth map has depths");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: demo_files_reader FOLDER\n");
        return 2;
    }
    const std::string dir = std::string(argv[1]) + "/";
    // PFM keeps the float depths; the file is top row first, where OpenCV reads bottom row first.
    cv::Mat depth = cv::imread(dir + "depth.pfm", cv::IMREAD_UNCHANGED);
    expect(!depth.empty() && depth.type() == CV_32FC1, "depth.pfm does not open as float depths");
    if (!depth.empty()) cv::flip(depth, depth, 0);
    const cv::Mat colour = cv::imread(dir + "colour.png", cv::IMREAD_UNCHANGED);
    expect(!colour.empty() && colour.type() == CV_8UC4 && colour.size() == depth.size(),
           "colour.png does not open as a 4-channel image of the depth's size");

    const cv::Mat depth16 = cv::imread(dir + "depth.png", cv::IMREAD_UNCHANGED);
    const cv::Mat depthPgm = cv::imread(dir + "depth.pgm", cv::IMREAD_UNCHANGED);
    expect(!depth16.empty() && depth16.type() == CV_16UC1, "depth.png does not open as 16-bit depths");
    expect(!depthPgm.empty() && depthPgm.type() == CV_16UC1, "depth.pgm does not open as 16-bit depths");
    if (failures == 0) {
        cv::Mat rounded;
        depth.convertTo(rounded, CV_16U);
        expect(cv::norm(rounded, depth16, cv::NORM_INF) == 0, "depth.png is not the depth in millimetres");
        expect(cv::norm(rounded, depthPgm, cv::NORM_INF) == 0, "depth.pgm is not the depth in millimetres");
    }

    // The preview shows the scene: many colours, not one flat fill.
    const cv::Mat preview = cv::imread(dir + "depth_preview.png", cv::IMREAD_COLOR);
    expect(!preview.empty() && preview.size() == depth.size(),
           "depth_preview.png does not open at the depth's size");
    std::set<int> shades;
    for (auto it = preview.begin<cv::Vec3b>(); it != preview.end<cv::Vec3b>(); ++it)
        shades.insert((*it)[0] << 16 | (*it)[1] << 8 | (*it)[2]);
    expect(shades.size() > 100, "depth_preview.png has only " + std::to_string(shades.size()) + " colours");

    // The lossless PFM is bottom row first, as OpenCV reads it: no flip, the same floats.
    const cv::Mat lossless = cv::imread(dir + "depth_lossless.pfm", cv::IMREAD_UNCHANGED);
    expect(!lossless.empty() && lossless.size() == depth.size(), "depth_lossless.pfm does not open");
    if (failures == 0) {
        cv::Mat finite = lossless.clone();
        cv::patchNaNs(finite, 0.0);
        expect(cv::norm(finite, depth, cv::NORM_INF) == 0, "depth_lossless.pfm differs from the depths");
    }

    for (const char* file : {"cloud.ply", "cloud.pcd", "cloud_lossless.ply", "cloud_lossless.pcd"}) {
        if (failures != 0) break;
        const std::string name = file;
        pcl::PointCloud<pcl::PointXYZRGB> cloud;
        const bool ply = name.find(".ply") != std::string::npos;
        const int status =
            ply ? pcl::io::loadPLYFile(dir + name, cloud) : pcl::io::loadPCDFile(dir + name, cloud);
        expect(status == 0, "PCL cannot read " + name);
        if (status == 0) checkCloud(cloud, depth, colour, name);
    }
    if (failures == 0) std::printf("demo files: every file opens and matches the frame\n");
    return failures == 0 ? 0 : 1;
}

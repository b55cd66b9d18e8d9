// saveDepthAs against what a user would write instead, at both frame sizes, on the same depth map in
// millimetres (inputs.hpp, about 5% NaN): OpenCV's imwrite of the same data already in the file's element
// type, with the library's own encoder parameters, and, for PFM, one fwrite of the raw float buffer, the
// limit of any writer of that file.

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include <cstdio>
#include <string>
#include <vector>

#include "inputs.hpp"

namespace vela {
namespace bench {
namespace {

struct Format {
    DEPTH_FORMAT format;
    const char* extension;
    std::vector<int> parameters;  // imwrite's, as the library passes them
};

const Format kFormats[] = {
    {DEPTH_FORMAT::PNG, "png", {cv::IMWRITE_PNG_COMPRESSION, 0}},
    {DEPTH_FORMAT::PFM, "pfm", {}},
    {DEPTH_FORMAT::PGM, "pgm", {cv::IMWRITE_PXM_BINARY, 1}},
};

void countBytes(benchmark::State& state, const Mat& depth) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * depth.width * depth.height * 4));
}

void save_vela(benchmark::State& state, Size size, const Format* format) {
    const Mat& depth = depthMap(size);
    const std::string name = scratchPath(std::string("vela.") + format->extension);
    for (auto _ : state) {
        if (!saveDepthAs(depth, format->format, name)) state.SkipWithError("saveDepthAs failed");
    }
    countBytes(state, depth);
}

// The map as OpenCV holds it: floats for PFM, saturated 16-bit integers for PNG and PGM.
cv::Mat openCvImage(const Mat& depth, DEPTH_FORMAT format) {
    const cv::Mat floats(static_cast<int>(depth.height), static_cast<int>(depth.width), CV_32FC1,
                         depth.getPtr<float>());
    cv::Mat image;
    if (format == DEPTH_FORMAT::PFM)
        floats.copyTo(image);
    else
        floats.convertTo(image, CV_16UC1);
    return image;
}

void save_opencv(benchmark::State& state, Size size, const Format* format) {
    const Mat& depth = depthMap(size);
    const cv::Mat image = openCvImage(depth, format->format);
    const std::string path = scratchPath(std::string("opencv.") + format->extension);
    for (auto _ : state) {
        if (!cv::imwrite(path, image, format->parameters)) state.SkipWithError("imwrite failed");
    }
    countBytes(state, depth);
}

void save_fwrite(benchmark::State& state, Size size) {
    const Mat& depth = depthMap(size);
    const std::string path = scratchPath("fwrite.pfm");
    const size_t count = depth.width * depth.height;
    for (auto _ : state) {
        std::FILE* file = std::fopen(path.c_str(), "wb");
        if (file == nullptr || std::fwrite(depth.getPtr<float>(), sizeof(float), count, file) != count)
            state.SkipWithError("fwrite failed");
        if (file != nullptr) std::fclose(file);
    }
    countBytes(state, depth);
}

[[maybe_unused]] const bool registered = [] {
    for (const Size size : kSizes) {
        for (const Format& format : kFormats) {
            const std::string operation = std::string("saveDepthAs_") + format.extension;
            add(operation, size, "vela", save_vela, &format);
            add(operation, size, "opencv", save_opencv, &format);
        }
        add("saveDepthAs_pfm", size, "fwrite", save_fwrite);
    }
    return true;
}();

}  // namespace
}  // namespace bench
}  // namespace vela

// The binary PLY and PCD writers, with colour, on the suite's clouds (about 5% invalid points), against one
// fwrite of as many bytes as the file has: the least that writing it can cost. PCL's and Open3D's binary
// writers are timed beside them in point_cloud_peers_bench.cpp.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "inputs.hpp"

namespace vela {
namespace bench {
namespace {

const PointCloudWriteOptions kBinaryRgb{FILE_ENCODING::BINARY, true, false};

std::string binaryPath(const char* side, POINT_CLOUD_FORMAT format) {
    return scratchPath(std::string(side) + (format == POINT_CLOUD_FORMAT::PLY ? ".ply" : ".pcd"));
}

void write_vela(benchmark::State& state, Size size, POINT_CLOUD_FORMAT format) {
    const std::string path = binaryPath("vela", format);
    for (auto _ : state)
        if (writePointCloud(cloud(size), path, format, kBinaryRgb) != ERROR_CODE::SUCCESS)
            state.SkipWithError("writePointCloud failed");
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * std::filesystem::file_size(path)));
}

void write_fwrite(benchmark::State& state, Size size, POINT_CLOUD_FORMAT format) {
    const std::string reference = binaryPath("size", format);
    writePointCloud(cloud(size), reference, format, kBinaryRgb);
    const std::vector<char> bytes(std::filesystem::file_size(reference), 'v');
    const std::string path = binaryPath("fwrite", format);
    for (auto _ : state) {
        std::FILE* file = std::fopen(path.c_str(), "wb");
        if (file == nullptr || std::fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size())
            state.SkipWithError("fwrite failed");
        if (file != nullptr) std::fclose(file);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}

[[maybe_unused]] const bool registered = [] {
    for (const Size size : kSizes) {
        for (const POINT_CLOUD_FORMAT format : {POINT_CLOUD_FORMAT::PLY, POINT_CLOUD_FORMAT::PCD}) {
            const std::string operation =
                format == POINT_CLOUD_FORMAT::PLY ? "ply_binary_rgb" : "pcd_binary_rgb";
            add(operation, size, "vela", write_vela, format);
            add(operation, size, "fwrite", write_fwrite, format);
        }
    }
    return true;
}();

}  // namespace
}  // namespace bench
}  // namespace vela

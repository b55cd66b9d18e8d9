// The binary PLY and PCD writers, with colour, on the suite's clouds (about 5% invalid points), against one
// fwrite of as many bytes as the file has: the least that writing it can cost; and the reader of those
// files against one fread of them. PCL's and Open3D's binary writers are timed beside them in
// point_cloud_peers_bench.cpp.

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

void read_vela(benchmark::State& state, Size size, POINT_CLOUD_FORMAT format) {
    const std::string path = binaryPath("read", format);
    writePointCloud(cloud(size), path, format, kBinaryRgb);
    for (auto _ : state) {
        Mat points;
        if (readPointCloud(path, points) != ERROR_CODE::SUCCESS) state.SkipWithError("readPointCloud failed");
        benchmark::DoNotOptimize(points.getPtr<float>());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * std::filesystem::file_size(path)));
}

void read_fread(benchmark::State& state, Size size, POINT_CLOUD_FORMAT format) {
    const std::string path = binaryPath("read", format);
    writePointCloud(cloud(size), path, format, kBinaryRgb);
    std::vector<char> bytes(std::filesystem::file_size(path));
    for (auto _ : state) {
        std::FILE* file = std::fopen(path.c_str(), "rb");
        if (file == nullptr || std::fread(bytes.data(), 1, bytes.size(), file) != bytes.size())
            state.SkipWithError("fread failed");
        if (file != nullptr) std::fclose(file);
        benchmark::DoNotOptimize(bytes.data());
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
            add("read_" + operation, size, "vela", read_vela, format);
            add("read_" + operation, size, "fread", read_fread, format);
        }
    }
    return true;
}();

}  // namespace
}  // namespace bench
}  // namespace vela

// The binary PLY and PCD writers, with colour, on the suite's clouds (about 5% invalid points), against one
// fwrite of as many bytes as the file has: the least that writing it can cost; the reader of those files
// against one fread of them, and of the ASCII files against strtof over the same numbers, already in
// memory: the least that reading them can cost. PCL's and Open3D's writers and PCL's reader of compressed
// PCD are timed beside them in point_cloud_peers_bench.cpp.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "inputs.hpp"

namespace vela {
namespace bench {
namespace {

const PointCloudWriteOptions kBinaryRgb{FILE_ENCODING::BINARY, true, false};
const PointCloudWriteOptions kAsciiRgb{FILE_ENCODING::ASCII, true, false};

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
    require(writePointCloud(cloud(size), reference, format, kBinaryRgb));
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
    require(writePointCloud(cloud(size), path, format, kBinaryRgb));
    for (auto _ : state) {
        Mat points;
        if (readPointCloud(path, points) != ERROR_CODE::SUCCESS) state.SkipWithError("readPointCloud failed");
        benchmark::DoNotOptimize(points.getPtr<float>());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * std::filesystem::file_size(path)));
}

void read_fread(benchmark::State& state, Size size, POINT_CLOUD_FORMAT format) {
    const std::string path = binaryPath("read", format);
    require(writePointCloud(cloud(size), path, format, kBinaryRgb));
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

std::string asciiPath(POINT_CLOUD_FORMAT format) {
    const std::string path = scratchPath(format == POINT_CLOUD_FORMAT::PLY ? "ascii.ply" : "ascii.pcd");
    return path;
}

void read_ascii_vela(benchmark::State& state, Size size, POINT_CLOUD_FORMAT format) {
    const std::string path = asciiPath(format);
    require(writePointCloud(cloud(size), path, format, kAsciiRgb));
    for (auto _ : state) {
        Mat points;
        if (readPointCloud(path, points) != ERROR_CODE::SUCCESS) state.SkipWithError("readPointCloud failed");
        benchmark::DoNotOptimize(points.getPtr<float>());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * std::filesystem::file_size(path)));
}

// strtof over every number after the header, each stored as a float: the file's text is already in memory.
void read_ascii_strtof(benchmark::State& state, Size size, POINT_CLOUD_FORMAT format) {
    const std::string path = asciiPath(format);
    require(writePointCloud(cloud(size), path, format, kAsciiRgb));
    const std::string text = contentOf(path);
    const char* body =
        text.c_str() + text.find(format == POINT_CLOUD_FORMAT::PLY ? "end_header\n" : "DATA ascii\n");
    body = std::strchr(body, '\n') + 1;
    std::vector<float> values(text.size() / 2);
    for (auto _ : state) {
        size_t count = 0;
        for (const char* next = body;;) {
            char* end = nullptr;
            const float value = std::strtof(next, &end);
            if (end == next) break;
            values[count++] = value;
            next = end;
        }
        benchmark::DoNotOptimize(values.data());
        benchmark::DoNotOptimize(count);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void write_compressed_vela(benchmark::State& state, Size size) {
    const std::string path = scratchPath("vela_compressed.pcd");
    for (auto _ : state)
        if (writePointCloud(cloud(size), path, POINT_CLOUD_FORMAT::PCD,
                            {FILE_ENCODING::BINARY_COMPRESSED, true, false}) != ERROR_CODE::SUCCESS)
            state.SkipWithError("writePointCloud failed");
    state.counters["file_bytes"] = static_cast<double>(std::filesystem::file_size(path));
}

void read_compressed_vela(benchmark::State& state, Size size) {
    const std::string path = scratchPath("read_compressed.pcd");
    require(writePointCloud(cloud(size), path, POINT_CLOUD_FORMAT::PCD,
                            {FILE_ENCODING::BINARY_COMPRESSED, true, false}));
    for (auto _ : state) {
        Mat points;
        if (readPointCloud(path, points) != ERROR_CODE::SUCCESS) state.SkipWithError("readPointCloud failed");
        benchmark::DoNotOptimize(points.getPtr<float>());
    }
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
            const std::string ascii =
                format == POINT_CLOUD_FORMAT::PLY ? "read_ply_ascii_rgb" : "read_pcd_ascii_rgb";
            add(ascii, size, "vela", read_ascii_vela, format);
            add(ascii, size, "strtof", read_ascii_strtof, format);
        }
        add("pcd_compressed_rgb", size, "vela", write_compressed_vela);
        add("read_pcd_compressed_rgb", size, "vela", read_compressed_vela);
    }
    return true;
}();

}  // namespace
}  // namespace bench
}  // namespace vela

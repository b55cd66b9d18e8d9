#pragma once

// What every benchmark file shares: the two frame sizes, synthetic clouds and depth maps as a depth camera
// gives them (built once per size and reused), a scratch directory for written files, and the naming of a
// benchmark as "<operation>_<width>x<height>/<side>", which the ratio table pairs by operation.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <vela/vela.hpp>

namespace vela {
namespace bench {

/// A frame size measured by the suite.
struct Size {
    size_t width;
    size_t height;
};

/// 1280x720 and 1920x1080, the sizes every per-frame operation is measured at.
// Stops the run when a set-up step fails: a benchmark of a half-made input measures nothing.
inline void require(ERROR_CODE status) {
    if (status == ERROR_CODE::SUCCESS) return;
    std::fprintf(stderr, "a benchmark's set-up failed: %s\n", toString(status).c_str());
    std::abort();
}

constexpr Size kSizes[] = {{1280, 720}, {1920, 1080}};

/// "<operation>_<width>x<height>/<side>".
std::string benchmarkName(const std::string& operation, Size size, const std::string& side);

/// Registers `run(state, args...)` under benchmarkName(operation, size, side), timed in milliseconds.
template <typename Run, typename... Args>
benchmark::internal::Benchmark* add(const std::string& operation, Size size, const std::string& side, Run run,
                                    Args... args) {
    return benchmark::RegisterBenchmark(benchmarkName(operation, size, side).c_str(), run, size, args...)
        ->Unit(benchmark::kMillisecond);
}

/// A host F32_C4 cloud of `size` points in metres, as a depth camera with a 1000-pixel focal length sees a
/// scene 0.3 to 10 m away: x and y across the view, z ahead, each point with random red, green and blue
/// bytes and an unused fourth colour byte of 0; about 5% of the points are invalid (NaN). Built once.
const Mat& cloud(Size size);
/// The same points as an F32_C3 cloud (colours dropped). Built once.
const Mat& cloud3(Size size);
/// A host F32_C1 depth map of `size` in millimetres, 300 to 10000, about 5% NaN. Built once.
const Mat& depthMap(Size size);

/// Bytes that a pass over `mat` reads plus writes, in place: twice its host bytes.
int64_t bytesReadAndWritten(const Mat& mat);

/// The path of `name` in a scratch directory under $TMPDIR (or /tmp), created on first use and removed at
/// exit.
std::string scratchPath(const std::string& name);
/// The whole content of the file at `path`; empty when it cannot be read.
std::string contentOf(const std::string& path);

/// Registers the GPU benchmarks; called only when a device is present.
void registerGpuBenchmarks();
/// Registers the GPU point-cloud benchmarks (depth_to_cloud_bench.cpp); called only when a device is present.
void registerPointCloudGpuBenchmarks();

}  // namespace bench
}  // namespace vela

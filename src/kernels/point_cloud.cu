// Point-cloud kernels: back-projection, rigid transform and unit scaling, each thread striding over the
// grid so that any size is covered whatever the launch limits.

#include <algorithm>

#include "kernels/point_cloud_kernels.hpp"

namespace vela {
namespace {

constexpr unsigned kBlockWidth = 32;  // a warp along a row reads contiguous memory
constexpr unsigned kBlockHeight = 8;
// gridDim.y is limited to 65535 (CUDA Programming Guide, compute capabilities table); gridDim.x to
// 2^31 - 1. A smaller grid is enough: threads stride over the rest.
constexpr size_t kMaxBlocksY = 65535;
constexpr size_t kMaxBlocksX = 1u << 20;

dim3 strideGrid(size_t width, size_t height) {
    const size_t blocksX = std::min((width + kBlockWidth - 1) / kBlockWidth, kMaxBlocksX);
    const size_t blocksY = std::min((height + kBlockHeight - 1) / kBlockHeight, kMaxBlocksY);
    return dim3(static_cast<unsigned>(blocksX), static_cast<unsigned>(blocksY));
}

template <typename Grid, typename PerElement>
__global__ void strideKernel(Grid grid) {
    const size_t strideX = static_cast<size_t>(gridDim.x) * blockDim.x;
    const size_t strideY = static_cast<size_t>(gridDim.y) * blockDim.y;
    for (size_t y = blockIdx.y * static_cast<size_t>(blockDim.y) + threadIdx.y; y < grid.height; y += strideY)
        for (size_t x = blockIdx.x * static_cast<size_t>(blockDim.x) + threadIdx.x; x < grid.width;
             x += strideX)
            PerElement()(grid, x, y);
}

struct TransformPoint {
    __device__ void operator()(const elementwise::RigidCloudGrid& g, size_t x, size_t y) const {
        elementwise::transformCloudPoint(g, x, y);
    }
};

struct ScalePoint {
    __device__ void operator()(const elementwise::ScaleCloudGrid& g, size_t x, size_t y) const {
        elementwise::scaleCloudPoint(g, x, y);
    }
};

// Launches through cudaLaunchKernel, whose result is this launch's status alone (cudaGetLastError would
// also return an earlier call's error).
template <typename Grid, typename PerElement>
cudaError_t launch(Grid grid, cudaStream_t stream) {
    if (grid.width == 0 || grid.height == 0) return cudaSuccess;
    void* arguments[] = {&grid};
    return cudaLaunchKernel(reinterpret_cast<const void*>(&strideKernel<Grid, PerElement>),
                            strideGrid(grid.width, grid.height), dim3(kBlockWidth, kBlockHeight), arguments,
                            0, stream);
}

// The kernel of the grid's shape, chosen here once rather than per pixel.
template <bool DepthIsU16>
cudaError_t launchDepth(const elementwise::DepthToCloudGrid& grid, cudaStream_t stream) {
    using Grid = elementwise::DepthToCloudGrid;
    if (grid.cloudChannels == 3) return launch<Grid, elementwise::DepthShape<DepthIsU16, 0, 3>>(grid, stream);
    if (grid.colourChannels == 3)
        return launch<Grid, elementwise::DepthShape<DepthIsU16, 3, 4>>(grid, stream);
    if (grid.colourChannels == 4)
        return launch<Grid, elementwise::DepthShape<DepthIsU16, 4, 4>>(grid, stream);
    return launch<Grid, elementwise::DepthShape<DepthIsU16, 0, 4>>(grid, stream);
}

}  // namespace

cudaError_t cu_depthToPointCloud(const elementwise::DepthToCloudGrid& grid, cudaStream_t stream) {
    return grid.depthIsU16 ? launchDepth<true>(grid, stream) : launchDepth<false>(grid, stream);
}

cudaError_t cu_transformPointCloud(const elementwise::RigidCloudGrid& grid, cudaStream_t stream) {
    return launch<elementwise::RigidCloudGrid, TransformPoint>(grid, stream);
}

cudaError_t cu_scalePointCloud(const elementwise::ScaleCloudGrid& grid, cudaStream_t stream) {
    return launch<elementwise::ScaleCloudGrid, ScalePoint>(grid, stream);
}

}  // namespace vela

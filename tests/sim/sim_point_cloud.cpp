// The point-cloud kernels on the simulated device: the same per-element work as the CUDA kernels, run by
// host loops over the simulator's view of device memory, after the checks a real launch would fail.

#include "kernels/point_cloud_kernels.hpp"
#include "sim_device.hpp"

namespace vela {
namespace {

// The launch checks every simulated kernel makes: an injected failure, an unknown stream.
cudaError_t launchStatus(const char* launcher, cudaStream_t stream) {
    const cudaError_t injected = sim::takeInjectedFailure(launcher);
    if (injected != cudaSuccess) return injected;
    if (!sim::isValidStream(stream)) return sim::recordError(cudaErrorInvalidResourceHandle);
    return cudaSuccess;
}

// The simulator's view of `height` rows of `rowBytes` bytes, `step` apart, at `device`; null when any of it
// lies outside GPU-visible memory, where a real kernel would fault with an illegal address.
template <typename Byte>
Byte* view(Byte* device, size_t rowBytes, size_t height, size_t step) {
    if (step < rowBytes) return nullptr;
    return static_cast<Byte*>(sim::deviceView(device, (height - 1) * step + rowBytes));
}

template <typename Grid, typename PerElement>
cudaError_t run(const Grid& grid, PerElement perElement) {
    for (size_t y = 0; y < grid.height; ++y)
        for (size_t x = 0; x < grid.width; ++x)
            perElement(grid, x, y);
    return cudaSuccess;
}

}  // namespace

cudaError_t cu_depthToPointCloud(const elementwise::DepthToCloudGrid& grid, cudaStream_t stream) {
    if (grid.width == 0 || grid.height == 0) return cudaSuccess;
    const cudaError_t status = launchStatus("cu_depthToPointCloud", stream);
    if (status != cudaSuccess) return status;
    elementwise::DepthToCloudGrid local = grid;
    local.depth = view(grid.depth, grid.width * (grid.depthIsU16 ? 2 : 4), grid.height, grid.depthStep);
    local.cloud = view(grid.cloud, grid.width * 4 * static_cast<size_t>(grid.cloudChannels), grid.height,
                       grid.cloudStep);
    if (grid.colour != nullptr)
        local.colour = view(grid.colour, grid.width * static_cast<size_t>(grid.colourChannels), grid.height,
                            grid.colourStep);
    if (local.depth == nullptr || local.cloud == nullptr ||
        (grid.colour != nullptr && local.colour == nullptr))
        return sim::recordError(cudaErrorIllegalAddress);
    return run(local, elementwise::depthToPoint);
}

cudaError_t cu_transformPointCloud(const elementwise::RigidCloudGrid& grid, cudaStream_t stream) {
    if (grid.width == 0 || grid.height == 0) return cudaSuccess;
    const cudaError_t status = launchStatus("cu_transformPointCloud", stream);
    if (status != cudaSuccess) return status;
    elementwise::RigidCloudGrid local = grid;
    local.cloud =
        view(grid.cloud, grid.width * 4 * static_cast<size_t>(grid.channels), grid.height, grid.step);
    if (local.cloud == nullptr) return sim::recordError(cudaErrorIllegalAddress);
    return run(local, elementwise::transformCloudPoint);
}

cudaError_t cu_scalePointCloud(const elementwise::ScaleCloudGrid& grid, cudaStream_t stream) {
    if (grid.width == 0 || grid.height == 0) return cudaSuccess;
    const cudaError_t status = launchStatus("cu_scalePointCloud", stream);
    if (status != cudaSuccess) return status;
    elementwise::ScaleCloudGrid local = grid;
    local.cloud =
        view(grid.cloud, grid.width * 4 * static_cast<size_t>(grid.channels), grid.height, grid.step);
    if (local.cloud == nullptr) return sim::recordError(cudaErrorIllegalAddress);
    return run(local, elementwise::scaleCloudPoint);
}

}  // namespace vela

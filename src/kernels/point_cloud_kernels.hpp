#pragma once

// Host-callable launchers of the point-cloud kernels (launchers.cpp, through launch::run2d). Each queues one
// kernel on `stream` and returns the launch's own status without waiting; the grid's pointers must be
// GPU-visible. The grid travels by value as a kernel parameter.

#include <cuda_runtime_api.h>

#include "kernels/point_cloud_elementwise.hpp"

namespace vela {

/// depthToPoint for every pixel of `grid`.
cudaError_t cu_depthToPointCloud(const elementwise::DepthToCloudGrid& grid, cudaStream_t stream);

/// transformCloudPoint for every point of `grid`.
cudaError_t cu_transformPointCloud(const elementwise::RigidCloudGrid& grid, cudaStream_t stream);

/// scaleCloudPoint for every point of `grid`.
cudaError_t cu_scalePointCloud(const elementwise::ScaleCloudGrid& grid, cudaStream_t stream);

}  // namespace vela

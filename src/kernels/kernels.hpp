#pragma once

// Host-callable launchers of the GPU kernels. Each queues its work on `stream` and returns without
// waiting; the result is the launch status (a failure of the work itself surfaces at the next
// synchronisation). Grids are given in elements, with rows `stepElements` elements apart.

#include <cuda_runtime_api.h>

#include <cstddef>

namespace vela {

/// Writes `value` into every element of the width x height grid at `gpu`.
template <typename T>
cudaError_t cu_matSetToGPU(const T& value, T* gpu, size_t width, size_t height, size_t stepElements,
                           cudaStream_t stream);

}  // namespace vela

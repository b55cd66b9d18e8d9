#pragma once

// Host-callable launchers of the GPU kernels (launchers.cpp, through launch::run2d). Each queues its work
// on `stream` and returns without waiting; the result is this launch's own status (a failure of the work
// itself surfaces at the next synchronisation). Grid sizes are counted in elements and row steps in bytes: a
// GPU pitch need not be a multiple of the element size (three-channel rows on a 512-byte pitch are not).

#include <cuda_runtime_api.h>

#include <cstddef>

#include "vela/core/resolution.hpp"
#include "vela/core/vector.hpp"

namespace vela {

/// Writes `value` into every element of the width x height grid at `gpu`.
template <typename T>
cudaError_t cu_matSetToGPU(const T& value, T* gpu, size_t width, size_t height, size_t stepBytes,
                           cudaStream_t stream);

/// Converts unsigned 4-channel bytes to signed ones, every channel shifted by -128 (0 becomes -128, 255
/// becomes 127, order preserved), over a resolution-sized grid.
cudaError_t cu_cvt2Signed(const Vector4<unsigned char>* src, Vector4<char>* dst, size_t srcStepBytes,
                          size_t dstStepBytes, Resolution resolution, cudaStream_t stream);

/// Multiplies every float of the width x height grid of T (float or Vector3<float>) at `gpu` by `factor`.
template <typename T>
cudaError_t cu_applyFactor(T* gpu, float factor, size_t stepBytes, size_t width, size_t height,
                           cudaStream_t stream);

/// Multiplies x, y and z of every point by `factor`; the fourth float (a packed colour) keeps its bits.
cudaError_t cu_applyFactor4f(Vector4<float>* gpu, float factor, size_t stepBytes, size_t width, size_t height,
                             cudaStream_t stream);

/// Replaces every point by `matrix` · point; `matrix` is a row-major 3x3 in host memory, copied into the
/// launch's parameters.
cudaError_t cu_applyMat3f(Vector3<float>* gpu, const float* matrix, size_t stepBytes, size_t width,
                          size_t height, cudaStream_t stream);

/// Replaces x, y and z of every point by the upper-left 3x3 block of `matrix` (a row-major 4x4 in host
/// memory, copied into the launch's parameters) times them; the fourth float keeps its bits.
cudaError_t cu_applyMat4f(Vector4<float>* gpu, const float* matrix, size_t stepBytes, size_t width,
                          size_t height, cudaStream_t stream);

}  // namespace vela

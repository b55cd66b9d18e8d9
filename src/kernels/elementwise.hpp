#pragma once

// Per-element work shared by the CUDA kernels and the simulated device's host loops: written once,
// compiled for host and device under nvcc and as plain inline functions under the host compiler.

#include <cstddef>

#if defined(__CUDACC__)
#define VELA_HOST_DEVICE __host__ __device__
#else
#define VELA_HOST_DEVICE
#endif

namespace vela {
namespace elementwise {

/// Address of element (x, y) in a grid whose rows are `stepElements` elements apart.
template <typename T>
VELA_HOST_DEVICE inline T* at(T* data, size_t stepElements, size_t x, size_t y) {
    return data + y * stepElements + x;
}

/// One element of a fill.
template <typename T>
VELA_HOST_DEVICE inline void fill(T* data, size_t stepElements, size_t x, size_t y, const T& value) {
    *at(data, stepElements, x, y) = value;
}

}  // namespace elementwise
}  // namespace vela

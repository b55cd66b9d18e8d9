#pragma once

// The GPU side of launch::run2d: one kernel template, launched through cudaLaunchKernel, whose return
// value is this launch's own status (cudaGetLastError would return any earlier call's unread error).

#include <cuda_runtime.h>

#include "kernels/launch.hpp"

namespace vela {
namespace launch {

/// The kernel of every grid operation: each thread runs its grid-stride share.
template <typename Op>
__global__ void gridKernel(Op op, size_t width, size_t height) {
    threadWork(op, width, height, gridDim, blockDim, blockIdx, threadIdx);
}

template <typename Op>
cudaError_t enqueue(const Op& op, size_t width, size_t height, const Shape& shape, cudaStream_t stream) {
    Op parameter = op;
    void* arguments[] = {&parameter, &width, &height};
    return cudaLaunchKernel(&gridKernel<Op>, shape.grid, shape.block, arguments, 0, stream);
}

}  // namespace launch
}  // namespace vela

/// Instantiates the GPU side of launch::run2d for an operation type (variadic: the type may hold
/// commas).
#define VELA_LAUNCH_DEVICE_SIDE(...)                                                            \
    template cudaError_t vela::launch::enqueue<__VA_ARGS__>(const __VA_ARGS__&, size_t, size_t, \
                                                            const ::vela::launch::Shape&, cudaStream_t);

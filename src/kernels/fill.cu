#include "kernels/element_types.hpp"
#include "kernels/elementwise.hpp"
#include "kernels/kernels.hpp"
#include "kernels/launch.cuh"

namespace vela {
namespace {

template <typename T>
__global__ void fillKernel(T value, T* data, size_t width, size_t height, size_t stepBytes) {
    const size_t x = blockIdx.x * static_cast<size_t>(blockDim.x) + threadIdx.x;
    const size_t y = blockIdx.y * static_cast<size_t>(blockDim.y) + threadIdx.y;
    if (x < width && y < height) elementwise::fill(data, stepBytes, x, y, value);
}

}  // namespace

template <typename T>
cudaError_t cu_matSetToGPU(const T& value, T* gpu, size_t width, size_t height, size_t stepBytes,
                           cudaStream_t stream) {
    if (width == 0 || height == 0) return cudaSuccess;
    fillKernel<<<launch::grid2d(width, height), launch::kBlock2d, 0, stream>>>(value, gpu, width, height,
                                                                               stepBytes);
    return cudaGetLastError();
}

#define VELA_INSTANTIATE_FILL(T, type) \
    template cudaError_t cu_matSetToGPU<T>(const T&, T*, size_t, size_t, size_t, cudaStream_t);
VELA_FOR_EACH_ELEMENT_TYPE(VELA_INSTANTIATE_FILL)
#undef VELA_INSTANTIATE_FILL

}  // namespace vela

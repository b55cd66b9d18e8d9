// Point-cloud kernels: unit scaling and change of axes, one thread per element.

#include "kernels/elementwise.hpp"
#include "kernels/kernels.hpp"
#include "kernels/launch.cuh"

namespace vela {
namespace {

template <int Count, typename T>
__global__ void factorKernel(T* data, float factor, size_t stepBytes, size_t width, size_t height) {
    const size_t x = blockIdx.x * static_cast<size_t>(blockDim.x) + threadIdx.x;
    const size_t y = blockIdx.y * static_cast<size_t>(blockDim.y) + threadIdx.y;
    if (x < width && y < height) elementwise::applyFactor<Count>(data, stepBytes, x, y, factor);
}

template <int Stride, typename T>
__global__ void matKernel(T* data, const float* matrix, size_t stepBytes, size_t width, size_t height) {
    const size_t x = blockIdx.x * static_cast<size_t>(blockDim.x) + threadIdx.x;
    const size_t y = blockIdx.y * static_cast<size_t>(blockDim.y) + threadIdx.y;
    if (x < width && y < height) elementwise::applyMat<Stride>(data, stepBytes, x, y, matrix);
}

// Scales the first `Count` floats of each element.
template <int Count, typename T>
cudaError_t launchFactor(T* gpu, float factor, size_t stepBytes, size_t width, size_t height,
                         cudaStream_t stream) {
    if (width == 0 || height == 0) return cudaSuccess;
    factorKernel<Count><<<launch::grid2d(width, height), launch::kBlock2d, 0, stream>>>(
        gpu, factor, stepBytes, width, height);
    return cudaGetLastError();
}

// Applies the 3x3 block of a matrix whose rows are `Stride` floats apart.
template <int Stride, typename T>
cudaError_t launchMat(T* gpu, const float* matrix, size_t stepBytes, size_t width, size_t height,
                      cudaStream_t stream) {
    if (width == 0 || height == 0) return cudaSuccess;
    matKernel<Stride><<<launch::grid2d(width, height), launch::kBlock2d, 0, stream>>>(gpu, matrix, stepBytes,
                                                                                      width, height);
    return cudaGetLastError();
}

}  // namespace

template <typename T>
cudaError_t cu_applyFactor(T* gpu, float factor, size_t stepBytes, size_t width, size_t height,
                           cudaStream_t stream) {
    return launchFactor<sizeof(T) / sizeof(float)>(gpu, factor, stepBytes, width, height, stream);
}
template cudaError_t cu_applyFactor<float>(float*, float, size_t, size_t, size_t, cudaStream_t);
template cudaError_t cu_applyFactor<Vector3<float>>(Vector3<float>*, float, size_t, size_t, size_t,
                                                    cudaStream_t);

cudaError_t cu_applyFactor4f(Vector4<float>* gpu, float factor, size_t stepBytes, size_t width, size_t height,
                             cudaStream_t stream) {
    return launchFactor<3>(gpu, factor, stepBytes, width, height, stream);
}

cudaError_t cu_applyMat3f(Vector3<float>* gpu, const float* matrix, size_t stepBytes, size_t width,
                          size_t height, cudaStream_t stream) {
    return launchMat<3>(gpu, matrix, stepBytes, width, height, stream);
}

cudaError_t cu_applyMat4f(Vector4<float>* gpu, const float* matrix, size_t stepBytes, size_t width,
                          size_t height, cudaStream_t stream) {
    return launchMat<4>(gpu, matrix, stepBytes, width, height, stream);
}

}  // namespace vela

#include "kernels/elementwise.hpp"
#include "kernels/kernels.hpp"
#include "kernels/launch.cuh"

namespace vela {
namespace {

__global__ void cvt2SignedKernel(const unsigned char* src, signed char* dst, size_t srcStepBytes,
                                 size_t dstStepBytes, size_t width, size_t height) {
    const size_t x = blockIdx.x * static_cast<size_t>(blockDim.x) + threadIdx.x;
    const size_t y = blockIdx.y * static_cast<size_t>(blockDim.y) + threadIdx.y;
    if (x < width && y < height) elementwise::cvt2Signed(src, srcStepBytes, dst, dstStepBytes, x, y);
}

}  // namespace

cudaError_t cu_cvt2Signed(const Vector4<unsigned char>* src, Vector4<char>* dst, size_t srcStepBytes,
                          size_t dstStepBytes, Resolution resolution, cudaStream_t stream) {
    if (resolution.width == 0 || resolution.height == 0) return cudaSuccess;
    cvt2SignedKernel<<<launch::grid2d(resolution.width, resolution.height), launch::kBlock2d, 0, stream>>>(
        reinterpret_cast<const unsigned char*>(src), reinterpret_cast<signed char*>(dst), srcStepBytes,
        dstStepBytes, resolution.width, resolution.height);
    return cudaGetLastError();
}

}  // namespace vela

// The GPU kernels on the simulated device: the same per-element work as the CUDA kernels, run by host
// loops over the device memory's simulator view, after the checks a launch on a real GPU would fail.

#include "kernels/element_types.hpp"
#include "kernels/elementwise.hpp"
#include "kernels/kernels.hpp"
#include "sim_device.hpp"

namespace vela {
namespace {

// The simulator's view of a kernel's grid of `height` rows of `rowBytes` bytes, `stepBytes` apart, or null
// after recording why the launch fails.
unsigned char* launchView(const char* launcher, const void* grid, size_t rowBytes, size_t height,
                          size_t stepBytes, cudaStream_t stream, cudaError_t* status) {
    *status = sim::takeInjectedFailure(launcher);
    if (*status != cudaSuccess) return nullptr;
    if (!sim::isValidStream(stream)) {
        *status = sim::recordError(cudaErrorInvalidResourceHandle);
        return nullptr;
    }
    // A real kernel touching memory outside a GPU-visible allocation fails with an illegal address.
    auto* view = static_cast<unsigned char*>(sim::deviceView(grid, (height - 1) * stepBytes + rowBytes));
    if (view == nullptr || stepBytes < rowBytes) *status = sim::recordError(cudaErrorIllegalAddress);
    return *status == cudaSuccess ? view : nullptr;
}

}  // namespace

template <typename T>
cudaError_t cu_matSetToGPU(const T& value, T* gpu, size_t width, size_t height, size_t stepBytes,
                           cudaStream_t stream) {
    if (width == 0 || height == 0) return cudaSuccess;
    cudaError_t status;
    auto* data = reinterpret_cast<T*>(
        launchView("cu_matSetToGPU", gpu, width * sizeof(T), height, stepBytes, stream, &status));
    if (data == nullptr) return status;
    for (size_t y = 0; y < height; ++y)
        for (size_t x = 0; x < width; ++x)
            elementwise::fill(data, stepBytes, x, y, value);
    return cudaSuccess;
}

#define VELA_INSTANTIATE_FILL(T, type) \
    template cudaError_t cu_matSetToGPU<T>(const T&, T*, size_t, size_t, size_t, cudaStream_t);
VELA_FOR_EACH_ELEMENT_TYPE(VELA_INSTANTIATE_FILL)
#undef VELA_INSTANTIATE_FILL

cudaError_t cu_cvt2Signed(const Vector4<unsigned char>* src, Vector4<char>* dst, size_t srcStepBytes,
                          size_t dstStepBytes, Resolution resolution, cudaStream_t stream) {
    const size_t width = resolution.width;
    const size_t height = resolution.height;
    if (width == 0 || height == 0) return cudaSuccess;
    cudaError_t status;
    const unsigned char* from =
        launchView("cu_cvt2Signed", src, width * 4, height, srcStepBytes, stream, &status);
    if (from == nullptr) return status;
    auto* to = reinterpret_cast<signed char*>(
        launchView("cu_cvt2Signed", dst, width * 4, height, dstStepBytes, stream, &status));
    if (to == nullptr) return status;
    for (size_t y = 0; y < height; ++y)
        for (size_t x = 0; x < width; ++x)
            elementwise::cvt2Signed(from, srcStepBytes, to, dstStepBytes, x, y);
    return cudaSuccess;
}

namespace {

// The point-cloud kernels: perElement(data, x, y) over the grid, `data` the simulator's view of `gpu`, after
// the launch checks. `inputsVisible` tells whether the kernel's other inputs lie in GPU-visible memory.
template <typename T, typename PerElement>
cudaError_t simulateGrid(const char* launcher, T* gpu, size_t stepBytes, size_t width, size_t height,
                         cudaStream_t stream, bool inputsVisible, PerElement perElement) {
    if (width == 0 || height == 0) return cudaSuccess;
    cudaError_t status;
    auto* data = reinterpret_cast<T*>(
        launchView(launcher, gpu, width * sizeof(T), height, stepBytes, stream, &status));
    if (data == nullptr) return status;
    if (!inputsVisible) return sim::recordError(cudaErrorIllegalAddress);
    for (size_t y = 0; y < height; ++y)
        for (size_t x = 0; x < width; ++x)
            perElement(data, x, y);
    return cudaSuccess;
}

// The first `Count` floats of each element scaled.
template <int Count, typename T>
cudaError_t simulateFactor(const char* launcher, T* gpu, float factor, size_t stepBytes, size_t width,
                           size_t height, cudaStream_t stream) {
    return simulateGrid(
        launcher, gpu, stepBytes, width, height, stream, true,
        [&](T* data, size_t x, size_t y) { elementwise::applyFactor<Count>(data, stepBytes, x, y, factor); });
}

// Each element through the 3x3 block of a matrix in GPU memory whose rows are `Stride` floats apart.
template <int Stride, typename T>
cudaError_t simulateMat(const char* launcher, T* gpu, const float* matrix, size_t stepBytes, size_t width,
                        size_t height, cudaStream_t stream) {
    const auto* m = static_cast<const float*>(sim::deviceView(matrix, Stride * Stride * sizeof(float)));
    return simulateGrid(
        launcher, gpu, stepBytes, width, height, stream, m != nullptr,
        [&](T* data, size_t x, size_t y) { elementwise::applyMat<Stride>(data, stepBytes, x, y, m); });
}

}  // namespace

template <typename T>
cudaError_t cu_applyFactor(T* gpu, float factor, size_t stepBytes, size_t width, size_t height,
                           cudaStream_t stream) {
    return simulateFactor<sizeof(T) / sizeof(float)>("cu_applyFactor", gpu, factor, stepBytes, width, height,
                                                     stream);
}
template cudaError_t cu_applyFactor<float>(float*, float, size_t, size_t, size_t, cudaStream_t);
template cudaError_t cu_applyFactor<Vector3<float>>(Vector3<float>*, float, size_t, size_t, size_t,
                                                    cudaStream_t);

cudaError_t cu_applyFactor4f(Vector4<float>* gpu, float factor, size_t stepBytes, size_t width, size_t height,
                             cudaStream_t stream) {
    return simulateFactor<3>("cu_applyFactor4f", gpu, factor, stepBytes, width, height, stream);
}

cudaError_t cu_applyMat3f(Vector3<float>* gpu, const float* matrix, size_t stepBytes, size_t width,
                          size_t height, cudaStream_t stream) {
    return simulateMat<3>("cu_applyMat3f", gpu, matrix, stepBytes, width, height, stream);
}

cudaError_t cu_applyMat4f(Vector4<float>* gpu, const float* matrix, size_t stepBytes, size_t width,
                          size_t height, cudaStream_t stream) {
    return simulateMat<4>("cu_applyMat4f", gpu, matrix, stepBytes, width, height, stream);
}

}  // namespace vela

// The GPU kernels on the simulated device: the same per-element work as the CUDA kernels, run by host
// loops over the device memory's simulator view, after the checks a launch on a real GPU would fail.

#include "kernels/element_types.hpp"
#include "kernels/elementwise.hpp"
#include "kernels/kernels.hpp"
#include "sim_device.hpp"

namespace vela {
namespace {

// Bytes spanned by a width x height grid of T with rows `stepElements` apart.
template <typename T>
size_t gridBytes(size_t width, size_t height, size_t stepElements) {
    return ((height - 1) * stepElements + width) * sizeof(T);
}

// The simulator's view of a kernel's grid, or null after recording why the launch fails.
template <typename T>
T* launchView(const char* launcher, const T* grid, size_t width, size_t height, size_t stepElements,
              cudaStream_t stream, cudaError_t* status) {
    *status = sim::takeInjectedFailure(launcher);
    if (*status != cudaSuccess) return nullptr;
    if (!sim::isValidStream(stream)) {
        *status = sim::recordError(cudaErrorInvalidResourceHandle);
        return nullptr;
    }
    // A real kernel touching memory outside a GPU-visible allocation fails with an illegal address.
    auto* view = static_cast<T*>(sim::deviceView(grid, gridBytes<T>(width, height, stepElements)));
    if (view == nullptr || stepElements < width) *status = sim::recordError(cudaErrorIllegalAddress);
    return *status == cudaSuccess ? view : nullptr;
}

}  // namespace

template <typename T>
cudaError_t cu_matSetToGPU(const T& value, T* gpu, size_t width, size_t height, size_t stepElements,
                           cudaStream_t stream) {
    if (width == 0 || height == 0) return cudaSuccess;
    cudaError_t status;
    T* data = launchView("cu_matSetToGPU", gpu, width, height, stepElements, stream, &status);
    if (data == nullptr) return status;
    for (size_t y = 0; y < height; ++y)
        for (size_t x = 0; x < width; ++x)
            elementwise::fill(data, stepElements, x, y, value);
    return cudaSuccess;
}

#define VELA_INSTANTIATE_FILL(T, type) \
    template cudaError_t cu_matSetToGPU<T>(const T&, T*, size_t, size_t, size_t, cudaStream_t);
VELA_FOR_EACH_ELEMENT_TYPE(VELA_INSTANTIATE_FILL)
#undef VELA_INSTANTIATE_FILL

}  // namespace vela

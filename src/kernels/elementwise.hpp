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

/// Address of element (x, y) in a grid whose rows are `stepBytes` bytes apart. Rows are stepped in bytes
/// because a GPU pitch need not be a multiple of the element size (12-byte elements on a 512-byte pitch).
template <typename T>
VELA_HOST_DEVICE inline T* atPitch(T* data, size_t stepBytes, size_t x, size_t y) {
    return reinterpret_cast<T*>(reinterpret_cast<unsigned char*>(data) + y * stepBytes) + x;
}

/// One element of a fill.
template <typename T>
VELA_HOST_DEVICE inline void fill(T* data, size_t stepBytes, size_t x, size_t y, const T& value) {
    *atPitch(data, stepBytes, x, y) = value;
}

/// Unsigned to signed byte, shifted by -128: 0 maps to -128 and 255 to 127, so order is preserved.
VELA_HOST_DEVICE inline signed char toSigned(unsigned char value) {
    return static_cast<signed char>(static_cast<int>(value) - 128);
}

/// One element of cu_cvt2Signed: the four channels of (x, y), each through toSigned.
VELA_HOST_DEVICE inline void cvt2Signed(const unsigned char* src, size_t srcStepBytes, signed char* dst,
                                        size_t dstStepBytes, size_t x, size_t y) {
    const unsigned char* from = src + y * srcStepBytes + 4 * x;
    signed char* to = dst + y * dstStepBytes + 4 * x;
    for (int channel = 0; channel < 4; ++channel)
        to[channel] = toSigned(from[channel]);
}

}  // namespace elementwise
}  // namespace vela

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

/// (x, y, z), the first three floats of `point`, replaced by the 3x3 block of the row-major matrix `m`
/// (rows `Stride` floats apart) times them. Each coordinate is (m(i,0)·x + m(i,1)·y) + m(i,2)·z, in that
/// order and unfused (the build forbids contraction), so every target gives the same bits. A fourth float
/// is not touched: it carries a packed colour, not a homogeneous coordinate, and 0 x colour is NaN for the
/// colours whose bits read as NaN.
template <int Stride>
VELA_HOST_DEVICE inline void transformPoint(const float* m, float* point) {
    const float x = point[0], y = point[1], z = point[2];
    point[0] = m[0] * x + m[1] * y + m[2] * z;
    point[1] = m[Stride] * x + m[Stride + 1] * y + m[Stride + 2] * z;
    point[2] = m[2 * Stride] * x + m[2 * Stride + 1] * y + m[2 * Stride + 2] * z;
}

/// One element of cu_applyFactor and cu_applyFactor4f: the first `Count` floats of element (x, y) times
/// `factor`, in single precision. A further float is not touched, so a packed colour keeps its bits.
template <int Count, typename T>
VELA_HOST_DEVICE inline void applyFactor(T* data, size_t stepBytes, size_t x, size_t y, float factor) {
    float* point = reinterpret_cast<float*>(atPitch(data, stepBytes, x, y));
    for (int i = 0; i < Count; ++i)
        point[i] = point[i] * factor;
}

/// One element of cu_applyMat3f and cu_applyMat4f: element (x, y) through transformPoint.
template <int Stride, typename T>
VELA_HOST_DEVICE inline void applyMat(T* data, size_t stepBytes, size_t x, size_t y, const float* m) {
    transformPoint<Stride>(m, reinterpret_cast<float*>(atPitch(data, stepBytes, x, y)));
}

}  // namespace elementwise
}  // namespace vela

#pragma once

// Per-element arithmetic shared by the CUDA kernels, the simulated device and, where the host does the
// same work, the host loops: written once, compiled for host and device under nvcc and as plain inline
// functions under the host compiler, so every target gives the same bits.

#include <cstddef>
#include <cstdint>

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
    return reinterpret_cast<T*>(reinterpret_cast<uintptr_t>(data) + y * stepBytes) + x;
}

/// Unsigned to signed byte, shifted by -128: 0 maps to -128 and 255 to 127, so order is preserved.
VELA_HOST_DEVICE inline signed char toSigned(unsigned char value) {
    return static_cast<signed char>(static_cast<int>(value) - 128);
}

/// toSigned of the four bytes of one 32-bit word at once: subtracting 128 modulo 256 flips each byte's top
/// bit, so one exclusive or converts a whole pixel.
VELA_HOST_DEVICE inline uint32_t toSignedWord(uint32_t fourBytes) {
    return fourBytes ^ 0x80808080u;
}

/// One coordinate scaled, in single precision.
VELA_HOST_DEVICE inline float scaled(float value, float factor) {
    return value * factor;
}

/// The first `Count` floats of `point` scaled; a further float is not touched, so a packed colour keeps
/// its bits.
template <int Count>
VELA_HOST_DEVICE inline void scalePoint(float* point, float factor) {
    for (int i = 0; i < Count; ++i)
        point[i] = scaled(point[i], factor);
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

}  // namespace elementwise
}  // namespace vela

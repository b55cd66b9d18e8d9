#pragma once

#include <cstdint>

namespace vela {

/// Where a Mat's buffers live. The values also work as a bit set of CPU and GPU.
enum class MEM : int32_t {
    CPU = 1,  ///< host memory
    GPU = 2,  ///< GPU memory
};

/// Host and GPU memory; alloc serves it with one mapped buffer (MEM_UNIFIED).
inline constexpr MEM MEM_BOTH = static_cast<MEM>(3);
/// One CUDA managed buffer seen by both sides.
inline constexpr MEM MEM_MANAGED = static_cast<MEM>(4);
/// One pinned, mapped host buffer seen by both sides: the host through its host address, the GPU through
/// its device address, which may differ.
inline constexpr MEM MEM_UNIFIED = static_cast<MEM>(5);

/// Element type and channel count of a Mat.
enum class MAT_TYPE : int32_t {
    F32_C1 = 0,  ///< float, 1 channel
    F32_C2 = 1,  ///< float, 2 channels
    F32_C3 = 2,  ///< float, 3 channels
    F32_C4 = 3,  ///< float, 4 channels
    U8_C1 = 4,   ///< unsigned char, 1 channel
    U8_C2 = 5,   ///< unsigned char, 2 channels
    U8_C3 = 6,   ///< unsigned char, 3 channels
    U8_C4 = 7,   ///< unsigned char, 4 channels
    U16_C1 = 8,  ///< unsigned short, 1 channel
    S8_C4 = 9,   ///< signed char, 4 channels
};

/// Direction of a copy between two Mats.
enum class COPY_TYPE : int32_t {
    CPU_CPU = 0,  ///< host to host
    CPU_GPU = 1,  ///< host to GPU
    GPU_GPU = 2,  ///< GPU to GPU
    GPU_CPU = 3,  ///< GPU to host
};

/// Numeric value of any of the enumerations above, for ordering tests and tables.
template <typename E>
constexpr int32_t toValue(E e) {
    return static_cast<int32_t>(e);
}

}  // namespace vela
